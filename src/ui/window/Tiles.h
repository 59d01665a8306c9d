#pragma once

#include <vector>

#include "model/AppModel.h"
#include "ui/look/Parts.h"

namespace kestrel {

// What the library is and would become, in five figures.
class Tiles : public QWidget {
    Q_OBJECT

public:
    explicit Tiles(AppModel &model, QWidget *parent = nullptr);
    QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    struct Tile {
        QWidget *card;
        ElidedLabel *value, *detail, *caption;
    };
    Tile add(const char *icon, const char *caption);
    void arrange();
    void update();

    AppModel &m_model;
    std::vector<QWidget *> m_cards;
    int m_columns = 0;
    Tile m_files, m_before, m_after, m_saving, m_time;
};

} // namespace kestrel

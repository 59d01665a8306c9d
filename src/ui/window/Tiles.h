#pragma once

#include <vector>

#include "model/AppModel.h"
#include "ui/look/Parts.h"

class QGridLayout;

namespace kestrel {

// Shows what the library is and would become, in five figures: cards side by side, or a single line of text
// where there is little room.
class Tiles : public QWidget {
    Q_OBJECT

public:
    explicit Tiles(AppModel &model, QWidget *parent = nullptr);
    QSize minimumSizeHint() const override;
    // Replaces the cards by one line, for a window that is too low for them.
    void setLow(bool isLow);

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    struct Tile {
        Card *card;
        IconLabel *icon;
        ElidedLabel *value, *detail, *caption;
    };
    Tile add(const char *icon, const QString &caption);
    bool isLine() const;
    void arrange();
    void arrange(const Tile &tile, bool isLine, bool hasCaption);
    void update();
    void showSaving(bool isPlanned);

    AppModel &m_model;
    std::vector<Tile> m_tiles;
    bool m_isLow = false;
    Tile m_files, m_before, m_after, m_saving, m_time;
};

} // namespace kestrel

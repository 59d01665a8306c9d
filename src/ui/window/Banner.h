#pragma once

#include "model/AppModel.h"
#include "ui/look/Parts.h"

namespace kestrel {

// Shows the model's message, until the user closes it. During a search of a folder the run panel shows it
// instead.
class Banner : public Card {
    Q_OBJECT

public:
    explicit Banner(AppModel &model, QWidget *parent = nullptr);

private:
    void show();

    AppModel &m_model;
    IconLabel *m_icon;
    Label *m_text;
};

} // namespace kestrel

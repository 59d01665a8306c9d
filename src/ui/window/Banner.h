#pragma once

#include "model/AppModel.h"
#include "ui/look/Parts.h"

namespace kestrel {

// The model's message, until it is closed. While a folder is being searched the run panel shows the same.
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

#pragma once

#include <QVBoxLayout>

#include "ui/look/Parts.h"

// Provides the common layout of the pages that replace the library.
namespace kestrel::CentredPage {

// Returns a column in the middle of the window.
inline QVBoxLayout *column(QWidget *view)
{
    auto *outer = new QVBoxLayout(view);
    outer->setContentsMargins(Theme::em(2), Theme::em(2), Theme::em(2), Theme::em(2));
    outer->addStretch(1);
    auto *column = new QVBoxLayout;
    column->setSpacing(Theme::em(0.7));
    outer->addLayout(column);
    outer->addStretch(1);
    return column;
}

inline Label *paragraph(const QString &text, Theme::Tone tone)
{
    auto *label = new Label(text, Theme::Size::body, tone);
    label->wrapped();
    label->setAlignment(Qt::AlignCenter);
    const int width = Theme::em(26);
    label->setFixedSize(width, label->heightForWidth(width));
    return label;
}

} // namespace kestrel::CentredPage

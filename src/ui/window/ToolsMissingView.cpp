#include "ui/window/ToolsMissingView.h"

#include <QVBoxLayout>

#include "ui/look/Phrases.h"
#include "ui/look/Strings.h"
#include "ui/window/CentredPage.h"

namespace kestrel {

ToolsMissingView::ToolsMissingView(AppModel &model, QWidget *parent) : QWidget(parent)
{
    auto *column = CentredPage::column(this);
    column->addWidget(new IconLabel(QStringLiteral("warning"), Theme::Tone::orange, 4), 0, Qt::AlignHCenter);
    auto *heading = new Label(Phrases::toolsMissing, Theme::Size::title);
    heading->setAlignment(Qt::AlignCenter);
    column->addWidget(heading);
    auto *text = new Label(QString(), Theme::Size::body);
    text->wrapped()->selectable();
    text->setAlignment(Qt::AlignCenter);
    column->addWidget(text);
    column->addWidget(
        CentredPage::paragraph(QStringLiteral("Danach Kestrel neu starten."), Theme::Tone::muted), 0,
        Qt::AlignHCenter);
    const auto show = [&model, text] { text->setText(qt(Text::repaired(model.toolError().value_or("")))); };
    connect(&model, &AppModel::toolsChanged, this, show);
    show();
}

} // namespace kestrel

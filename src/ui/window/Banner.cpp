#include "ui/window/Banner.h"

#include <QHBoxLayout>
#include <QToolButton>

#include "ui/look/Accessibility.h"
#include "ui/look/Icon.h"
#include "ui/look/Strings.h"

namespace kestrel {

Banner::Banner(AppModel &model, QWidget *parent)
    : Card(parent), m_model(model), m_icon(new IconLabel(QStringLiteral("info"), Theme::Tone::accent, 1.2)),
      m_text(new Label(QString()))
{
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(Theme::em(0.7), Theme::em(0.4), Theme::em(0.4), Theme::em(0.4));
    row->setSpacing(Theme::em(0.6));
    row->addWidget(m_icon);
    m_text->wrapped()->selectable();
    row->addWidget(m_text, 1);
    auto *close = new QToolButton;
    close->setIcon(Icon::named(QStringLiteral("close"), Theme::Tone::muted));
    close->setAutoRaise(true);
    close->setToolTip(QStringLiteral("Meldung schließen"));
    close->setAccessibleName(close->toolTip());
    connect(close, &QToolButton::clicked, this, [this] { m_model.clearMessage(); });
    row->addWidget(close, 0, Qt::AlignTop);
    setAccessibleName(QStringLiteral("Meldung"));
    connect(&model, &AppModel::messageChanged, this, &Banner::show);
    connect(&model, &AppModel::activityChanged, this, &Banner::show);
    show();
}

void Banner::show()
{
    const auto &message = m_model.message();
    const bool isScanning = m_model.activity().kind == Activity::Kind::scanning;
    setVisible(message.has_value() && !isScanning);
    if (!message)
        return m_text->clear();
    const QString text = qt(Text::repaired(*message));
    const bool isBad = m_model.isMessageOfProblem();
    m_icon->set(isBad ? QStringLiteral("warning") : QStringLiteral("info"),
                isBad ? Theme::Tone::orange : Theme::Tone::accent);
    if (text == m_text->text())
        return;
    m_text->setText(text);
    setAccessibleDescription(text);
    announce(*this, text);
}

} // namespace kestrel

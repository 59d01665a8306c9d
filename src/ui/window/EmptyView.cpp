#include "ui/window/EmptyView.h"

#include <QPainter>
#include <QVBoxLayout>

#include "model/ToolReport.h"
#include "ui/look/Strings.h"

namespace kestrel {

namespace {

// A column in the middle of the window.
QVBoxLayout *centred(QWidget *view)
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

Label *paragraph(const QString &text, Theme::Tone tone)
{
    auto *label = new Label(text, Theme::Size::body, tone);
    label->wrapped();
    label->setAlignment(Qt::AlignCenter);
    const int width = Theme::em(26);
    label->setFixedSize(width, label->heightForWidth(width));
    return label;
}

} // namespace

EmptyView::EmptyView(AppModel &model, QWidget *parent)
    : QWidget(parent), m_model(model),
      m_searching(new Label(QStringLiteral("ffmpeg wird gesucht …"), Theme::Size::body, Theme::Tone::muted)),
      m_choose(new QPushButton(QStringLiteral("Ordner &wählen …"))), m_last(new QPushButton)
{
    auto *column = centred(this);
    column->addWidget(new IconLabel(QStringLiteral("film-stack"), Theme::Tone::accent, 6), 0,
                      Qt::AlignHCenter);
    column->addSpacing(Theme::em(0.3));
    auto *heading = new Label(QStringLiteral("Ordner mit Videos hierher ziehen"), Theme::Size::title);
    heading->setAlignment(Qt::AlignCenter);
    column->addWidget(heading);
    column->addWidget(
        paragraph(QStringLiteral(
                      "Kestrel analysiert alle Videos samt Unterordnern: Codecs, Tonspuren, Untertitel und "
                      "Größe.\nDanach siehst du, wie viel Platz jede Einstellung spart – bevor irgendetwas "
                      "verändert wird."),
                  Theme::Tone::muted),
        0, Qt::AlignHCenter);
    column->addSpacing(Theme::em(0.4));
    m_choose->setDefault(true);
    m_choose->setEnabled(false);
    m_choose->setMinimumWidth(Theme::em(10));
    column->addWidget(m_choose, 0, Qt::AlignHCenter);
    column->addWidget(m_last, 0, Qt::AlignHCenter);
    m_searching->setAlignment(Qt::AlignCenter);
    column->addWidget(m_searching);
    connect(m_choose, &QPushButton::clicked, this, &EmptyView::folderWanted);
    connect(m_last, &QPushButton::clicked, this, [this] {
        if (m_offered)
            emit lastFolderWanted(*m_offered);
    });
    connect(&model, &AppModel::toolsChanged, this, &EmptyView::update);
    update();
}

void EmptyView::update()
{
    const bool hasTools = m_model.tools().has_value();
    if (hasTools && !m_choose->isEnabled()) {
        m_choose->setEnabled(true);
        m_choose->setFocus();
    }
    m_searching->setVisible(!hasTools && !m_model.toolError());
    m_last->setVisible(hasTools && m_offered);
}

void EmptyView::offer(const std::filesystem::path &folder)
{
    m_offered = folder;
    const QString path = shownBriefly(folder);
    m_last->setText(QStringLiteral("Zuletzt geöffnet: ") +
                    m_last->fontMetrics().elidedText(path, Qt::ElideMiddle, Theme::em(22)));
    m_last->setToolTip(plainTip(path));
    m_last->setAccessibleDescription(path);
    update();
}

void EmptyView::setDropTarget(bool isTarget)
{
    m_isDropTarget = isTarget;
    QWidget::update();
}

void EmptyView::paintEvent(QPaintEvent *)
{
    if (!m_isDropTarget)
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Theme::color(Theme::Tone::accent, palette()), 2, Qt::DashLine));
    painter.setBrush(Theme::tinted(Theme::Tone::accent, palette()));
    painter.drawRoundedRect(rect().adjusted(16, 16, -16, -16), 14, 14);
}

ToolsMissingView::ToolsMissingView(AppModel &model, QWidget *parent) : QWidget(parent)
{
    auto *column = centred(this);
    column->addWidget(new IconLabel(QStringLiteral("warning"), Theme::Tone::orange, 4), 0, Qt::AlignHCenter);
    auto *heading = new Label(QStringLiteral("ffmpeg fehlt"), Theme::Size::title);
    heading->setAlignment(Qt::AlignCenter);
    column->addWidget(heading);
    auto *text = new Label(QString(), Theme::Size::body);
    text->wrapped()->selectable();
    text->setAlignment(Qt::AlignCenter);
    column->addWidget(text);
    column->addWidget(paragraph(QStringLiteral("Unter Debian und Ubuntu: %1 – danach Kestrel neu starten.")
                                    .arg(qt(ToolReport::installCommand)),
                                Theme::Tone::muted),
                      0, Qt::AlignHCenter);
    const auto show = [&model, text] { text->setText(qt(Text::repaired(model.toolError().value_or("")))); };
    connect(&model, &AppModel::toolsChanged, this, show);
    show();
}

} // namespace kestrel

#include "ui/window/EmptyView.h"

#include <QPainter>
#include <QVBoxLayout>

#include "ui/look/Phrases.h"
#include "ui/look/Strings.h"
#include "ui/window/CentredPage.h"

namespace kestrel {

EmptyView::EmptyView(AppModel &model, QWidget *parent)
    : QWidget(parent), m_model(model),
      m_searching(new Label(Phrases::lookingForTools, Theme::Size::body, Theme::Tone::muted)),
      m_choose(new QPushButton(Phrases::chooseFolder + QStringLiteral(" …"))), m_last(new QPushButton)
{
    auto *column = CentredPage::column(this);
    column->addWidget(new IconLabel(QStringLiteral("film-stack"), Theme::Tone::accent, 6), 0,
                      Qt::AlignHCenter);
    column->addSpacing(Theme::em(0.3));
    auto *heading = new Label(QStringLiteral("Ordner mit Videos hierher ziehen"), Theme::Size::title);
    heading->setAlignment(Qt::AlignCenter);
    column->addWidget(heading);
    column->addWidget(
        CentredPage::paragraph(
            QStringLiteral(
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
        if (!m_model.rootURL()) // otherwise this page is hidden, and a hidden button would keep the focus
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

} // namespace kestrel

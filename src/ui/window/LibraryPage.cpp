#include "ui/window/LibraryPage.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QShortcut>
#include <QVBoxLayout>

#include "ui/look/Strings.h"
#include "ui/settings/SettingsPanel.h"
#include "ui/window/Banner.h"
#include "ui/window/RunPanel.h"
#include "ui/window/Tiles.h"

namespace kestrel {

namespace {

// In heights of the text: the least width at which the panel fits beside the table, and the least height at
// which the figures fit above it.
constexpr double wide = 62, high = 26;

// Hides the figures where the window is low or the text large, because the table needs their room.
class LibraryColumn : public QWidget {
public:
    Tiles *figures = nullptr;

protected:
    void resizeEvent(QResizeEvent *event) override
    {
        QWidget::resizeEvent(event);
        figures->setLow(height() < Theme::em(high));
    }
};

// Holds what covers the table, and draws a shadow.
class Drawer : public QWidget {
public:
    explicit Drawer(QWidget *parent) : QWidget(parent)
    {
        (new QHBoxLayout(this))->setContentsMargins(shadow(), 0, 0, 0);
        hide();
    }
    static int shadow() { return Theme::em(0.7); }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        QLinearGradient fading(0, 0, shadow(), 0);
        fading.setColorAt(0, QColor(0, 0, 0, 0));
        fading.setColorAt(1, QColor(0, 0, 0, Theme::isDark(palette()) ? 110 : 45));
        painter.fillRect(0, 0, shadow(), height(), fading);
        const auto &colors = Theme::colors(palette());
        painter.fillRect(rect().adjusted(shadow(), 0, 0, 0), colors.window);
        painter.fillRect(shadow(), 0, 1, height(), colors.line);
    }
};

} // namespace

LibraryPage::LibraryPage(AppModel &model)
    : m_model(model), m_panel(new SettingsPanel(model)), m_splitter(new PanelSplitter),
      m_drawer(new Drawer(this))
{
    auto *whole = new QHBoxLayout(this);
    whole->setContentsMargins({});
    whole->addWidget(m_splitter);
    m_splitter->setParts(makeColumn(), m_panel);
    setTabOrder(&m_table->columns(), m_splitter->handle(1));
    auto *close = new QShortcut(Qt::Key_Escape, m_drawer);
    close->setContext(Qt::WidgetWithChildrenShortcut);
    connect(close, &QShortcut::activated, this, [this] { emit panelShown(false); });
    connect(&m_model, &AppModel::folderChanged, this, &LibraryPage::showFolder);
    showFolder();
}

QWidget *LibraryPage::makeColumn()
{
    auto *left = new LibraryColumn;
    auto *column = new QVBoxLayout(left);
    const int margin = Theme::em(0.7);
    column->setContentsMargins(margin, margin, margin, margin);
    column->setSpacing(Theme::em(0.55));
    auto *head = new QHBoxLayout;
    head->setSpacing(Theme::em(0.7));
    m_folder = new ElidedLabel(QString(), Theme::Size::value);
    m_location = new ElidedLabel(QString(), Theme::Size::body, Theme::Tone::muted);
    m_location->setElideMode(Qt::ElideMiddle);
    m_folder->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    m_location->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    head->addWidget(m_folder);
    head->addWidget(m_location, 1, Qt::AlignBottom);
    column->addLayout(head);
    column->addWidget(new Banner(m_model));
    left->figures = new Tiles(m_model);
    column->addWidget(left->figures);
    column->addWidget(new RunPanel(m_model));
    auto *card = new Card;
    auto *inside = new QVBoxLayout(card);
    inside->setContentsMargins(1, 4, 1, 4);
    m_table = new LibraryView(m_model);
    inside->addWidget(m_table);
    column->addWidget(card, 1);
    return left;
}

void LibraryPage::showPanel(bool isShown)
{
    (m_isNarrow ? m_isOverTable : m_isBeside) = isShown;
    placePanel();
}

void LibraryPage::restoreState(const QByteArray &state, bool isPanelBeside)
{
    m_wideState = state;
    restoreWidths();
    m_isBeside = isPanelBeside;
    placePanel();
    emit panelShown(isPanelShown());
}

void LibraryPage::restoreWidths()
{
    if (!m_splitter->restoreState(m_wideState))
        m_splitter->setSizes({10'000, Theme::em(18)});
}

void LibraryPage::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    setNarrow(width() < Theme::em(wide));
    placePanel();
}

// Moves the panel; one that covers the table is hidden at first.
void LibraryPage::setNarrow(bool isNarrow)
{
    if (isNarrow == m_isNarrow)
        return;
    if (isNarrow && isVisible()) // otherwise nothing has its width yet
        m_wideState = m_splitter->saveState();
    m_isNarrow = isNarrow;
    m_isOverTable = false;
    if (m_panel->isAncestorOf(focusWidget()))
        m_table->setFocus();
    if (isNarrow) {
        m_drawer->layout()->addWidget(m_panel);
    } else {
        m_splitter->addWidget(m_panel);
        restoreWidths();
    }
    emit panelShown(isPanelShown());
}

void LibraryPage::placePanel()
{
    const bool isOver = m_isNarrow && m_isOverTable;
    if (!isPanelShown() && m_panel->isAncestorOf(focusWidget()))
        m_table->setFocus();
    m_panel->setVisible(isPanelShown());
    m_drawer->setVisible(isOver);
    if (!isOver)
        return;
    const int usual = std::max(m_panel->sizeHint().width(), m_panel->minimumSizeHint().width());
    const int drawer = std::min(width(), usual + Drawer::shadow());
    m_drawer->setGeometry(width() - drawer, 0, drawer, height());
    m_drawer->raise();
}

void LibraryPage::showFolder()
{
    const auto &root = m_model.rootURL();
    if (!root)
        return;
    m_folder->setText(shown(root->has_filename() ? root->filename() : *root));
    QString location = shownBriefly(*root);
    if (m_model.storage())
        location = qt(m_model.storage()->title()) + QStringLiteral(" · ") + location;
    m_location->setText(location);
}

} // namespace kestrel

#include "ui/window/LibraryPage.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

#include "ui/look/Strings.h"
#include "ui/settings/SettingsPanel.h"
#include "ui/window/Banner.h"
#include "ui/window/RunPanel.h"
#include "ui/window/Tiles.h"

namespace kestrel {

namespace {

// Where the window is low, or the text large, the table needs the room of the figures.
class LibraryColumn : public QWidget {
public:
    QWidget *figures = nullptr;

protected:
    void resizeEvent(QResizeEvent *event) override
    {
        QWidget::resizeEvent(event);
        figures->setVisible(height() >= Theme::em(26));
    }
};

} // namespace

LibraryPage::LibraryPage(AppModel &model) : m_model(model)
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

    m_panel = new SettingsPanel(m_model);
    setParts(left, m_panel);
    setTabOrder(&m_table->columns(), handle(1));
    connect(&m_model, &AppModel::folderChanged, this, &LibraryPage::showFolder);
    showFolder();
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

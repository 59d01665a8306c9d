#include "ui/window/RunPanel.h"

#include <QHBoxLayout>
#include <QVBoxLayout>
#include <array>
#include <utility>

#include "format/Fmt.h"
#include "model/ActivityText.h"
#include "platform/Enumeration.h"
#include "ui/look/Accessibility.h"
#include "ui/look/Strings.h"

namespace kestrel {

namespace {

using Theme::Tone;

using State = ActivityText::State;

struct StateLook {
    State state;
    const char *icon;
    Tone tone;
};
constexpr std::array<StateLook, 9> looks{{
    {State::idle, "", Tone::muted},
    {State::scanning, "search", Tone::purple},
    {State::sampling, "gauge", Tone::purple},
    {State::probeClip, "film", Tone::purple},
    {State::converting, "play", Tone::accent},
    {State::paused, "pause", Tone::orange},
    {State::finished, "check-circle", Tone::green},
    {State::stopped, "stop-circle", Tone::orange},
    {State::interrupted, "stop-circle", Tone::orange},
}};
static_assert(coversEveryCase(looks, &StateLook::state));

} // namespace

std::optional<RunPanel::Look> RunPanel::lookOf(const AppModel &model)
{
    const ActivityText text = ActivityText::of(model);
    if (text.state == State::idle)
        return std::nullopt;
    const StateLook &usual = looks[static_cast<std::size_t>(text.state)];
    Look look{.headline = qt(text.headline()),
              .detail = qt(text.detail()),
              .icon = QString::fromUtf8(usual.icon),
              .tone = usual.tone};
    const QString percent = qt(Fmt::percent(text.progress.value_or(0)));
    switch (text.state) {
    case State::scanning:
        look.count = qt(text.fileCount());
        look.detail.clear(); // the button shows it
        look.progress = text.progress.value_or(-1);
        look.canBeStopped = true;
        break;
    case State::sampling:
        look.progress = text.progress.value_or(-1);
        break;
    case State::probeClip:
        look.count = percent;
        look.detail.clear();
        look.progress = text.progress;
        look.canBeStopped = true;
        break;
    case State::converting:
    case State::paused:
        look.headline = percent;
        look.count = qt(text.fileCount());
        look.progress = text.progress;
        // There is always a line: the table below must not move when the first file is done.
        look.savings = qt(text.note.value_or("Noch keine Datei fertig"));
        break;
    case State::finished:
    case State::stopped:
        if (text.state == State::finished)
            look.headline = qt(*text.note);
        else
            look.sentence = qt(*text.note);
        look.savings = qt(text.saved.value_or(""));
        if (text.failed > 0) {
            look.icon = QStringLiteral("warning");
            look.tone = Tone::orange;
        }
        break;
    case State::interrupted:
        look.headline = qt(text.announcement());
        break;
    case State::idle:
        break;
    }
    return look;
}

QString RunPanel::turnOf(const AppModel &model)
{
    const ActivityText text = ActivityText::of(model);
    if (text.state != State::idle)
        return qt(text.announcement());
    const std::size_t files = model.library().items().size();
    return files > 0 ? counted(files) + QStringLiteral(", bereit") : QString();
}

RunPanel::RunPanel(AppModel &model, QWidget *parent)
    : Card(parent), m_model(model), m_icon(new IconLabel(QString(), Tone::accent, 1.8)),
      m_headline(new Label(QString(), Theme::Size::heading)), m_count(new Label(QString())),
      m_detail(new Label(QString(), Theme::Size::body, Tone::muted)), m_sentence(new Label(QString())),
      m_savings(new Label(QString(), Theme::Size::caption, Tone::muted)), m_bar(new Bar),
      m_stop(new QPushButton(QStringLiteral("A&bbrechen")))
{
    m_icon->onTint();
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(Theme::em(0.7), Theme::em(0.6), Theme::em(0.7), Theme::em(0.6));
    row->setSpacing(Theme::em(0.7));
    row->addWidget(m_icon);
    auto *column = new QVBoxLayout;
    column->setSpacing(Theme::em(0.25));
    auto *first = new QHBoxLayout;
    first->setSpacing(Theme::em(0.7));
    first->addWidget(m_headline);
    first->addWidget(m_count);
    first->addStretch(1);
    first->addWidget(m_detail);
    column->addLayout(first);
    column->addWidget(m_sentence);
    column->addWidget(m_bar);
    column->addWidget(m_savings);
    row->addLayout(column, 1);
    row->addWidget(m_stop);
    setAccessibleName(QStringLiteral("Ablauf"));
    connect(m_stop, &QPushButton::clicked, this, [this] { m_model.stop(); });
    for (const auto signal : {&AppModel::activityChanged, &AppModel::runChanged, &AppModel::folderChanged})
        connect(&model, signal, this, &RunPanel::update);
    connect(&model.library(), &Library::filled, this, &RunPanel::update);
    update();
}

void RunPanel::update()
{
    announceTurn();
    const auto look = lookOf(m_model);
    setVisible(look.has_value());
    if (!look)
        return;
    m_icon->set(look->icon, look->tone);
    const auto set = [](Label *label, const QString &text) {
        if (label->text() != text)
            label->setText(text);
        label->setVisible(!text.isEmpty());
    };
    set(m_headline, look->headline);
    set(m_count, look->count);
    set(m_detail, look->detail);
    set(m_sentence, look->sentence);
    set(m_savings, look->savings);
    m_bar->setVisible(look->progress.has_value());
    if (look->progress)
        m_bar->setValue(*look->progress < 0 ? std::nullopt : look->progress, look->tone);
    m_stop->setVisible(look->canBeStopped);
    m_stop->setEnabled(!m_model.isStopping());
    QStringList parts{look->headline, look->count, look->detail, look->sentence, look->savings};
    parts.removeAll(QString());
    setAccessibleDescription(parts.join(QStringLiteral(", ")));
}

// Announces each state of the work once; the bar reports the numbers.
void RunPanel::announceTurn()
{
    const QString turn = turnOf(m_model);
    if (std::exchange(m_announced, turn) != turn)
        announce(*this, turn);
}

} // namespace kestrel

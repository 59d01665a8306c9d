#include "ui/window/RunPanel.h"

#include <QHBoxLayout>
#include <QVBoxLayout>
#include <algorithm>
#include <chrono>
#include <utility>

#include "format/Fmt.h"
#include "ui/look/Accessibility.h"
#include "ui/look/Strings.h"

namespace kestrel {

namespace {

using Theme::Tone;

QString ofTotal(std::size_t done, std::size_t total)
{
    return QStringLiteral("%1 von %2").arg(done).arg(total);
}

// "heute, 12:30"
QString inSentence(const std::string &dayTime)
{
    QString text = qt(dayTime);
    for (const QString &word : {QStringLiteral("Heute"), QStringLiteral("Morgen")})
        if (text.startsWith(word))
            text[0] = text[0].toLower();
    return text;
}

double share(const Activity &activity)
{
    const double done = static_cast<double>(activity.done) + activity.progress; // of the one in work
    return activity.total > 0 ? done / static_cast<double>(activity.total) : -1;
}

RunPanel::Look converting(const AppModel &model)
{
    const RunStats &run = *model.run();
    const bool isPaused = model.isPaused();
    RunPanel::Look look{.headline = qt(Fmt::percent(model.runProgress())),
                        .count = countedOf(run.processed(), run.total),
                        .icon = isPaused ? QStringLiteral("pause") : QStringLiteral("play"),
                        .tone = isPaused ? Tone::orange : Tone::accent,
                        .progress = model.runProgress()};
    if (model.isStopping())
        look.detail = QStringLiteral("wird gestoppt …");
    else if (isPaused)
        look.detail = QStringLiteral("Pausiert");
    else if (const auto seconds = model.runRemaining())
        look.detail =
            QStringLiteral("noch %1 · fertig %2")
                .arg(qt(Fmt::duration(*seconds)),
                     inSentence(Fmt::dayTime(std::chrono::system_clock::now() +
                                             std::chrono::seconds(static_cast<std::int64_t>(*seconds)))));
    // Always a line: the table below must not jump when the first file is done.
    look.savings = qt(run.soFarText().value_or("Noch keine Datei fertig"));
    return look;
}

RunPanel::Look ended(const RunStats &run)
{
    const bool isComplete = run.isComplete();
    const QString sentence = qt(run.finishedText());
    RunPanel::Look look{.headline = isComplete ? sentence : QStringLiteral("Gestoppt"),
                        .sentence = isComplete ? QString() : sentence,
                        .icon = run.failed > 0 ? QStringLiteral("warning")
                                : isComplete   ? QStringLiteral("check-circle")
                                               : QStringLiteral("stop-circle"),
                        .tone = run.failed > 0 || !isComplete ? Tone::orange : Tone::green};
    if (const auto text = run.soFarText())
        look.savings = qt(*text).replace(QStringLiteral("Bisher: "), QString());
    return look;
}

} // namespace

std::optional<RunPanel::Look> RunPanel::lookOf(const AppModel &model)
{
    using Kind = Activity::Kind;
    const Activity &activity = model.activity();
    switch (activity.kind) {
    case Kind::scanning:
        return Look{.headline = QStringLiteral("Suche Videodateien …"),
                    .count = activity.total > 0 ? countedOf(activity.done, activity.total) : QString(),
                    .icon = QStringLiteral("search"),
                    .tone = Tone::purple,
                    .progress = share(activity),
                    .canBeStopped = true};
    case Kind::sampling:
        return Look{.headline = QStringLiteral("Stichprobe ") +
                                ofTotal(std::min(activity.done + 1, activity.total), activity.total),
                    .detail = model.isStopping() ? QStringLiteral("wird gestoppt …") : QString(),
                    .icon = QStringLiteral("gauge"),
                    .tone = Tone::purple,
                    .progress = share(activity)};
    case Kind::probeClip:
        return Look{.headline = QStringLiteral("Probeclip wird erstellt"),
                    .count = qt(Fmt::percent(activity.progress)),
                    .icon = QStringLiteral("film"),
                    .tone = Tone::purple,
                    .progress = activity.progress,
                    .canBeStopped = true};
    case Kind::converting:
        return converting(model);
    case Kind::idle:
        break;
    }
    if (model.isRunOfLibrary() && model.run()->finished)
        return ended(*model.run());
    const auto &items = model.library().items();
    const auto unasked = std::count_if(items.begin(), items.end(),
                                       [](const auto &item) { return !item->info && !item->probeError; });
    if (unasked == 0)
        return std::nullopt;
    return Look{.headline = QStringLiteral("Die Suche wurde abgebrochen"),
                .detail =
                    counted(static_cast<std::size_t>(unasked)) + QStringLiteral(" noch nicht analysiert"),
                .icon = QStringLiteral("stop-circle"),
                .tone = Tone::orange};
}

QString RunPanel::turnOf(const AppModel &model)
{
    using Kind = Activity::Kind;
    if (model.isStopping())
        return QStringLiteral("wird gestoppt");
    switch (model.activity().kind) {
    case Kind::scanning:
        return QStringLiteral("Suche Videodateien");
    case Kind::sampling:
        return QStringLiteral("Stichproben werden gemessen");
    case Kind::probeClip:
        return QStringLiteral("Probeclip wird erstellt");
    case Kind::converting:
        return model.isPaused() ? QStringLiteral("Pausiert") : QStringLiteral("Konvertierung läuft");
    case Kind::idle:
        break;
    }
    if (const auto look = lookOf(model))
        return look->sentence.isEmpty() ? look->headline
                                        : look->headline + QStringLiteral(". ") + look->sentence;
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
    tell();
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

// Once for each turn that the work takes; the numbers are told by the bar.
void RunPanel::tell()
{
    const QString turn = turnOf(m_model);
    if (std::exchange(m_told, turn) != turn)
        announce(*this, turn);
}

} // namespace kestrel

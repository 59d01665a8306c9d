#include "ui/detail/SearchText.h"

#include <QStringList>
#include <algorithm>

#include "encoding/Sampler.h"
#include "format/Fmt.h"
#include "ui/detail/DetailText.h"
#include "ui/look/Strings.h"

namespace kestrel::SearchText {

namespace {

const QString noValue = QStringLiteral("–");

QString score(const std::optional<double> &vmaf)
{
    return vmaf ? qt(Fmt::number(*vmaf, 1)) : noValue;
}

std::vector<const Sampler::Step *> byCrf(const SampleResult &sample)
{
    std::vector<const Sampler::Step *> steps;
    for (const auto &step : sample.steps)
        steps.push_back(&step);
    std::stable_sort(steps.begin(), steps.end(),
                     [](const auto *a, const auto *b) { return a->value < b->value; });
    return steps;
}

QString tempo(double megapixelsPerSecond, FrameSize frame)
{
    const double megapixels = 1e-6 * frame.width * frame.height;
    if (!(megapixels > 0) || !(megapixelsPerSecond > 0))
        return noValue;
    const double fps = megapixelsPerSecond / megapixels;
    return qt(Fmt::number(fps, fps < 10 ? 1 : 0)) + QStringLiteral(" fps");
}

QString target(const SampleResult &sample)
{
    return QStringLiteral("Ziel: VMAF %1").arg(score(sample.vmafTarget));
}

} // namespace

Search search(const SampleResult &sample, FrameSize frame)
{
    Search search;
    for (const Sampler::Step *step : byCrf(sample)) {
        search.hasScores = search.hasScores || step->vmaf.has_value();
        search.rows.push_back({QString::number(step->value), score(step->vmaf), score(step->vmafWorst),
                               step->bitrate > 0 ? qt(Fmt::bitrate(step->bitrate)) : noValue,
                               tempo(step->megapixelsPerSecond, frame), step->value == sample.qualityValue});
    }
    QStringList parts;
    if (sample.vmafTarget)
        parts.push_back(target(sample));
    QString chosen = QStringLiteral("gewählt: CRF %1").arg(sample.qualityValue);
    if (sample.vmafMean)
        chosen += QStringLiteral(" mit VMAF %1").arg(score(sample.vmafMean));
    parts.push_back(chosen);
    if (sample.measuredSeconds > 0)
        parts.push_back(QStringLiteral("gemessen an %1 der Datei")
                            .arg(qt(Fmt::duration(std::max(1.0, sample.measuredSeconds)))));
    if (!sample.scorer.empty())
        parts.push_back(DetailText::line(sample.scorer));
    search.summary = joined(parts);
    search.summary[0] = search.summary[0].toUpper();
    const double missedBy = sample.vmafTarget.value_or(0) - sample.vmafMean.value_or(100);
    if (missedBy > Sampler::choiceTolerance)
        search.summary += QStringLiteral(". Kein Wert hat das Ziel erreicht, dieser kam ihm am nächsten.");
    if (!search.hasScores)
        search.summary +=
            QStringLiteral(". Die Qualität wurde nicht bewertet, weil das Messen abgeschaltet war.");
    return search;
}

QString searchInWords(const SampleResult &sample)
{
    QStringList points;
    for (const Sampler::Step *step : byCrf(sample))
        if (step->vmaf)
            points.push_back(QStringLiteral("CRF %1: VMAF %2%3")
                                 .arg(step->value)
                                 .arg(score(step->vmaf), step->value == sample.qualityValue
                                                             ? QStringLiteral(" (gewählt)")
                                                             : QString()));
    QString words = points.join(QStringLiteral("; "));
    if (sample.vmafTarget)
        words += QStringLiteral(". ") + target(sample);
    return words;
}

bool canBeSearched(const FileItem &item)
{
    return item.info && item.info->video && item.plan && !item.plan->isNoop && !item.isFinished();
}

QString noSearch(const FileItem &item)
{
    if (item.plan && !item.plan->encodesVideo())
        return QStringLiteral(
            "Für diese Datei wird kein Video neu kodiert, deshalb gibt es nichts zu messen.");
    return QStringLiteral(
        "Mit diesen Einstellungen wurde die Datei noch nicht gemessen. Vor dem Kodieren geschieht "
        "es von selbst.");
}

} // namespace kestrel::SearchText

#include "model/Library.h"

#include <algorithm>
#include <functional>
#include <iterator>

#include "planning/PlannedFile.h"

namespace kestrel {

Library::Contents::Contents(const std::vector<std::filesystem::path> &files,
                            const std::filesystem::path &root)
{
    items.reserve(files.size());
    byId.reserve(files.size());
    for (const auto &file : files) {
        items.push_back(std::make_unique<FileItem>(file, root));
        byId.emplace(file.native(), items.back().get());
    }
    rows = TableTree::make(items, root);
    TableTree::sort(*rows, byName);
    forEachFolder(*rows, [&](const TableNode &folder) { folders.insert(folder.id); });
}

void Library::fill(Contents contents)
{
    emit aboutToBeFilled();
    m_contents = std::move(contents);
    if (m_sortOrder != byName)
        TableTree::sort(*m_contents.rows, m_sortOrder);
    m_selection.clear();
    m_detailItem = nullptr;
    m_expandedFolders = m_contents.folders;
    m_settings.reset();
    m_totals.reset();
    emit filled();
}

FileItem *Library::find(const std::filesystem::path &id) const
{
    const auto found = m_contents.byId.find(id.native());
    return found != m_contents.byId.end() ? found->second : nullptr;
}

Library::Ids Library::fileIds(const Ids &rows) const
{
    Ids files;
    for (const auto &row : rows)
        if (find(row) != nullptr)
            files.insert(row);
    forEachFolder(*m_contents.rows, [&](const TableNode &folder) {
        if (rows.contains(folder.id))
            for (const FileItem *item : folder.folderItems())
                files.insert(item->id);
    });
    return files;
}

void Library::setInfo(FileItem &item, MediaInfo info)
{
    item.info = std::move(info);
    item.needsPlan = true;
    m_totals.reset();
    emit itemChanged(item);
}

void Library::setSample(FileItem &item, const std::string &videoKey, SampleResult sample)
{
    item.samples.insert_or_assign(videoKey, std::move(sample));
    item.needsPlan = true;
    emit itemChanged(item);
}

void Library::setRunPlan(FileItem &item, FileItem::RunPlan plan)
{
    item.inRun = std::move(plan);
    m_totals.reset();
    emit itemChanged(item);
}

void Library::setRunFiles(const std::vector<FileItem *> &files)
{
    for (const auto &item : items())
        item->isOfRun = false;
    for (FileItem *item : files)
        item->isOfRun = true;
    emit recomputed();
}

void Library::setIncluded(const Ids &rows, std::optional<bool> value)
{
    for (const auto &id : fileIds(rows))
        change(*find(id), [&](FileItem &item) { item.included = value.value_or(!item.included); });
    TableTree::updateSums(*m_contents.rows);
    emit recomputed();
}

const Totals &Library::totals() const
{
    if (!m_totals)
        m_totals = Totals::of(items(), m_settings.value_or(ConversionSettings()));
    return *m_totals;
}

Library::Factors Library::learn(const ConversionSettings &settings) const
{
    const std::string key = settings.videoKey();
    const double nominal = throughput(settings.codec, SpeedLevel::normal);
    std::vector<double> content, speed;
    for (const auto &item : m_contents.items) {
        const SampleResult *sample = item->sample(key);
        if (sample == nullptr || !sample->calibrates())
            continue;
        content.push_back(sample->videoBitrate / sample->heuristicBitrate);
        if (nominal > 0)
            speed.push_back(sample->megapixelsPerSecond / nominal);
    }
    return {Estimator::median(std::move(content)), Estimator::median(std::move(speed))};
}

void Library::recompute(const ConversionSettings &settings, const Planner::Abilities &abilities)
{
    const std::string key = settings.videoKey();
    const Factors factors = learn(settings);
    const bool hasNewSettings = m_settings != settings || m_abilities != abilities;
    const bool hasNewFactors = m_factors != factors;
    for (const auto &item : m_contents.items) {
        if (!item->info || !(hasNewSettings || hasNewFactors || item->needsPlan))
            continue;
        PlannedFile planned = PlannedFile::of(*item->info, settings,
                                              {item->sample(key), factors.content, factors.speed, abilities});
        item->plan = std::move(planned.plan);
        item->estimate = planned.estimate;
        item->needsPlan = false;
    }
    m_settings = settings;
    m_abilities = abilities;
    m_factors = factors;
    m_totals.reset();
    updateTable();
    emit recomputed();
}

void Library::updateTable()
{
    TableTree::updateSums(*m_contents.rows);
    const bool isSortedByValues = std::any_of(m_sortOrder.begin(), m_sortOrder.end(), [](const auto &row) {
        return row.column != RowComparator::Column::name;
    });
    if (!isSortedByValues)
        return;
    emit aboutToBeSorted();
    TableTree::sort(*m_contents.rows, m_sortOrder);
    emit sorted();
}

void Library::setSortOrder(SortOrder order)
{
    if (order == m_sortOrder)
        return;
    m_sortOrder = std::move(order);
    emit aboutToBeSorted();
    TableTree::sort(*m_contents.rows, m_sortOrder);
    emit sorted();
}

void Library::toggleFolder(const std::filesystem::path &folder)
{
    if (m_expandedFolders.erase(folder) == 0)
        m_expandedFolders.insert(folder);
    emit expansionChanged();
}

void Library::expand(const Ids &folders)
{
    const std::size_t before = m_expandedFolders.size();
    m_expandedFolders.insert(folders.begin(), folders.end());
    if (m_expandedFolders.size() != before)
        emit expansionChanged();
}

Library::Ids Library::closedFolders() const
{
    Ids closed;
    std::set_difference(m_contents.folders.begin(), m_contents.folders.end(), m_expandedFolders.begin(),
                        m_expandedFolders.end(), std::inserter(closed, closed.end()));
    return closed;
}

void Library::expandAll(bool isExpanded)
{
    m_expandedFolders = isExpanded ? m_contents.folders : Ids();
    emit expansionChanged();
}

void Library::expandAllBut(const Ids &folders)
{
    m_expandedFolders = m_contents.folders;
    for (const auto &folder : folders)
        m_expandedFolders.erase(folder);
    emit expansionChanged();
}

void Library::setSelection(Ids rows)
{
    if (rows == m_selection)
        return;
    m_selection = std::move(rows);
    emit selectionChanged();
}

void Library::setDetailItem(FileItem *item)
{
    if (item == m_detailItem)
        return;
    m_detailItem = item;
    emit detailItemChanged();
}

FileItem *Library::selectedItem() const
{
    return m_selection.size() == 1 ? find(*m_selection.begin()) : nullptr;
}

} // namespace kestrel

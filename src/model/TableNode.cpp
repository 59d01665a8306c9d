#include "model/TableNode.h"

#include <algorithm>
#include <map>

#include <fmt/format.h>

#include "model/FileState.h"
#include "platform/Text.h"

namespace kestrel {

namespace {

void collect(const TableNode &node, std::vector<FileItem *> &items)
{
    if (node.item != nullptr)
        items.push_back(node.item);
    for (const auto &child : node.children)
        collect(*child, items);
}

TableNode *append(TableNode &parent, const std::filesystem::path &id, FileItem *item)
{
    auto node = std::make_unique<TableNode>();
    node->id = id;
    node->name = id.filename().native();
    node->sortName = Text::naturalSortKey(node->name);
    node->parent = &parent;
    node->position = static_cast<int>(parent.children.size());
    node->item = item;
    if (item != nullptr)
        item->row = node.get();
    parent.children.push_back(std::move(node));
    return parent.children.back().get();
}

template <typename Value>
int compare(const Value &a, const Value &b)
{
    return a < b ? -1 : b < a ? 1 : 0;
}

int compare(const TableNode &a, const TableNode &b, RowComparator::Column column)
{
    switch (column) {
    case RowComparator::Column::duration:
        return compare(a.durationValue, b.durationValue);
    case RowComparator::Column::size:
        return compare(a.sizeValue, b.sizeValue);
    case RowComparator::Column::estimate:
        return compare(a.estimateValue, b.estimateValue);
    case RowComparator::Column::name:
        break;
    }
    return compare(a.sortName, b.sortName);
}

bool comesBefore(const TableNode &a, const TableNode &b, const SortOrder &order)
{
    for (const RowComparator &comparator : order)
        if (const int result = compare(a, b, comparator.column); result != 0)
            return (result < 0) == comparator.isAscending;
    // Equal rows keep one order, whatever they were sorted by before.
    const int result = compare(a.sortName, b.sortName);
    return result != 0 ? result < 0 : a.id.native() < b.id.native();
}

} // namespace

std::vector<FileItem *> TableNode::folderItems() const
{
    std::vector<FileItem *> items;
    collect(*this, items);
    return items;
}

void forEachFolder(const TableNode &node, const std::function<void(const TableNode &)> &action)
{
    for (const auto &child : node.children)
        if (child->isFolder()) {
            action(*child);
            forEachFolder(*child, action);
        }
}

FolderProgress folderProgress(const std::vector<FileItem *> &files)
{
    FolderProgress progress;
    double sum = 0;
    for (const FileItem *item : files) {
        const FileState state = FileState::of(*item);
        progress.converted += state.kind == FileState::Kind::done ? 1 : 0;
        progress.failed += state.kind == FileState::Kind::failed ? 1 : 0;
        progress.open += item->isChoosable() && !state.hasEnded() ? 1 : 0;
        if (!item->isOfRun.value_or(item->isActionable() || item->hasOutcome()))
            continue;
        ++progress.count;
        sum += item->runFraction();
        progress.processed += state.hasEnded() ? 1 : 0;
        progress.isWorking = progress.isWorking || state.isInWork();
        progress.isActive = progress.isActive || state.isInWork() || state.kind == FileState::Kind::queued;
    }
    if (progress.count > 0)
        progress.fraction = sum / static_cast<double>(progress.count);
    return progress;
}

std::string FolderProgress::outcome() const
{
    if (converted == 0)
        return {};
    return isFinished() ? "fertig"
                        : fmt::format("{} von {} konvertiert", converted, converted + open + failed);
}

SortOrder sortedFirst(SortOrder order, RowComparator comparator)
{
    std::erase_if(order, [&](const auto &other) { return other.column == comparator.column; });
    order.insert(order.begin(), comparator);
    return order;
}

namespace TableTree {

std::unique_ptr<TableNode> make(const std::vector<std::unique_ptr<FileItem>> &items,
                                const std::filesystem::path &root)
{
    auto top = std::make_unique<TableNode>();
    top->id = root;
    std::map<std::filesystem::path, TableNode *> folders{{{}, top.get()}};
    for (const auto &item : items) {
        TableNode *parent = top.get();
        std::filesystem::path below;
        for (const auto &part : item->folder()) {
            below /= part;
            TableNode *&folder = folders[below];
            if (folder == nullptr)
                folder = append(*parent, root / below, nullptr);
            parent = folder;
        }
        append(*parent, item->id, item.get());
    }
    return top;
}

void updateSums(TableNode &node)
{
    if (node.item != nullptr) {
        node.durationValue = node.item->durationValue();
        node.sizeValue = node.item->bytesBefore();
        const SizeEstimate *expected = node.item->shownEstimate();
        node.estimateValue = node.item->hasOutcome() ? node.item->bytesAfter()
                             : expected != nullptr   ? expected->total()
                                                     : 0;
        return;
    }
    node.durationValue = 0;
    node.sizeValue = 0;
    node.estimateValue = 0;
    for (const auto &child : node.children) {
        updateSums(*child);
        node.durationValue += child->durationValue;
        node.sizeValue += child->sizeValue;
        node.estimateValue += child->isFolder() ? child->estimateValue : child->item->bytesAfter();
    }
}

void sort(TableNode &node, const SortOrder &order)
{
    std::sort(node.children.begin(), node.children.end(),
              [&](const auto &a, const auto &b) { return comesBefore(*a, *b, order); });
    for (int position = 0; const auto &child : node.children) {
        child->position = position++;
        sort(*child, order);
    }
}

} // namespace TableTree

} // namespace kestrel

#include "ui/table/LibraryModel.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "format/Fmt.h"
#include "ui/look/Strings.h"

using namespace std::chrono_literals;

namespace kestrel {

namespace {

constexpr auto interval = 50ms; // between two reports of changes

QString spoken(Qt::CheckState state)
{
    return state == Qt::Checked            ? QStringLiteral("angehakt")
           : state == Qt::PartiallyChecked ? QStringLiteral("teilweise angehakt")
                                           : QStringLiteral("nicht angehakt");
}

// Files from other systems may have decomposed accents.
QString asCompared(const QString &name)
{
    return name.normalized(QString::NormalizationForm_C).toCaseFolded();
}

void collectVisible(std::vector<const TableNode *> &rows, const TableNode &parent, const Library::Ids &open)
{
    for (const auto &child : parent.children) {
        rows.push_back(child.get());
        if (child->isFolder() && open.contains(child->id))
            collectVisible(rows, *child, open);
    }
}

} // namespace

LibraryModel::LibraryModel(AppModel &model, QObject *parent) : QAbstractItemModel(parent), m_model(model)
{
    m_reportTimer.setSingleShot(true);
    m_reportTimer.setInterval(interval);
    connect(&m_reportTimer, &QTimer::timeout, this, &LibraryModel::reportChanges);
    const Library &library = model.library();
    connect(&library, &Library::aboutToBeFilled, this, [this] {
        beginResetModel();
        m_isFilling = true;
        m_folders.clear();
        m_sources.clear();
        m_changed.clear();
    });
    connect(&library, &Library::filled, this, [this] {
        m_isFilling = false;
        endResetModel();
    });
    connect(&library, &Library::aboutToBeSorted, this,
            [this] { emit layoutAboutToBeChanged({}, VerticalSortHint); });
    connect(&library, &Library::sorted, this, &LibraryModel::followSort);
    connect(&library, &Library::itemChanged, this, &LibraryModel::itemChanged);
    connect(&library, &Library::recomputed, this, &LibraryModel::everythingChanged);
    for (const auto signal : {&Library::filled, &Library::recomputed})
        connect(&library, signal, this, &LibraryModel::lookForStatus);
    connect(&model, &AppModel::activityChanged, this, &LibraryModel::lookForStatus);
    lookForStatus();
}

void LibraryModel::lookForStatus()
{
    const auto &items = m_model.library().items();
    const auto kind = m_model.activity().kind;
    const bool hasStatus =
        kind == Activity::Kind::converting || kind == Activity::Kind::sampling ||
        std::any_of(items.begin(), items.end(), [](const auto &item) { return RowText::hasStatus(*item); });
    if (std::exchange(m_hasStatus, hasStatus) != hasStatus)
        emit statusCame();
}

const TableNode &LibraryModel::node(const QModelIndex &index) const
{
    return *static_cast<const TableNode *>(index.constInternalPointer());
}

const TableNode &LibraryModel::nodeOrRoot(const QModelIndex &index) const
{
    return index.isValid() ? node(index) : m_model.library().root();
}

QModelIndex LibraryModel::indexOf(const TableNode &node, int column) const
{
    return node.parent != nullptr ? createIndex(node.position, column, &node) : QModelIndex();
}

QModelIndex LibraryModel::indexOf(const std::filesystem::path &id) const
{
    if (const FileItem *item = m_model.library().find(id))
        return indexOf(*item->row);
    QModelIndex found;
    forEachFolder(m_model.library().root(), [&](const TableNode &folder) {
        if (folder.id == id)
            found = indexOf(folder);
    });
    return found;
}

QModelIndex LibraryModel::index(int row, int column, const QModelIndex &parent) const
{
    if (!hasIndex(row, column, parent))
        return {};
    return createIndex(row, column, nodeOrRoot(parent).children[static_cast<std::size_t>(row)].get());
}

QModelIndex LibraryModel::parent(const QModelIndex &index) const
{
    const TableNode *parent = index.isValid() ? node(index).parent : nullptr;
    return parent != nullptr ? indexOf(*parent, 0) : QModelIndex();
}

int LibraryModel::rowCount(const QModelIndex &parent) const
{
    return parent.column() > 0 ? 0 : static_cast<int>(nodeOrRoot(parent).children.size());
}

int LibraryModel::columnCount(const QModelIndex &) const
{
    return Columns::count;
}

const TableNode *LibraryModel::rowNamed(const QString &beginning, const TableNode *current, bool isNext) const
{
    std::vector<const TableNode *> rows;
    collectVisible(rows, m_model.library().root(), m_model.library().expandedFolders());
    const QString wanted = asCompared(beginning);
    const auto at = std::find(rows.begin(), rows.end(), current);
    const std::size_t first =
        at == rows.end() ? 0 : static_cast<std::size_t>(at - rows.begin()) + (isNext ? 1 : 0);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const TableNode *row = rows[(first + i) % rows.size()];
        if (asCompared(cell(indexOf(*row)).text).startsWith(wanted))
            return row;
    }
    return nullptr;
}

const RowText::Folder &LibraryModel::folder(const TableNode &node) const
{
    auto found = m_folders.find(&node);
    if (found == m_folders.end())
        found = m_folders.emplace(&node, RowText::Folder::of(node)).first;
    return found->second;
}

const RowText::Sources &LibraryModel::sources(const TableNode &node) const
{
    auto found = m_sources.find(&node);
    if (found == m_sources.end())
        found = m_sources.emplace(&node, RowText::Sources::of(node)).first;
    return found->second;
}

std::optional<QString> LibraryModel::completion(const TableNode &node) const
{
    const auto time = m_model.completionOf(node);
    return time ? std::optional(qt(Fmt::dayTime(*time))) : std::nullopt;
}

RowText::Cell LibraryModel::cell(const QModelIndex &index) const
{
    return Columns::at(index.column()).cell(*this, node(index));
}

std::vector<RowText::Chip> LibraryModel::chips(const QModelIndex &index) const
{
    const FileItem *item = node(index).item;
    return item != nullptr && Columns::at(index.column()).hasChips ? RowText::chips(*item)
                                                                   : std::vector<RowText::Chip>();
}

QVariant LibraryModel::checkState(const TableNode &row) const
{
    if (row.item == nullptr) {
        const auto state = folder(row).checkState();
        return state ? QVariant(*state) : QVariant();
    }
    if (!row.item->isChoosable())
        return {};
    return row.item->included ? Qt::Checked : Qt::Unchecked;
}

QVariant LibraryModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return {};
    const TableNode &row = node(index);
    switch (role) {
    case Qt::DisplayRole:
        return cell(index).text;
    case Qt::ToolTipRole: {
        const QString help = plainTip(cell(index).help);
        return help.isEmpty() ? QVariant() : QVariant(help);
    }
    case Qt::CheckStateRole:
        if (index.column() != Columns::include)
            return {};
        return checkState(row);
    case Qt::AccessibleTextRole: {
        if (index.column() == Columns::include) {
            const QVariant state = checkState(row);
            return state.isValid() ? spoken(static_cast<Qt::CheckState>(state.toInt())) : QString();
        }
        const RowText::Cell all = cell(index);
        QStringList parts{all.text, all.detail};
        for (const auto &chip : chips(index))
            parts += chip.help;
        if (all.bar && !all.saysBar)
            parts += qt(Fmt::percent(*all.bar));
        parts.removeAll(QString());
        return parts.join(QStringLiteral(", "));
    }
    case Qt::AccessibleDescriptionRole:
        return cell(index).help;
    default:
        return {};
    }
}

void LibraryModel::setBriefHeading(int section, bool isBrief)
{
    if (std::exchange(m_hasBriefHeading[static_cast<std::size_t>(section)], isBrief) != isBrief)
        emit headerDataChanged(Qt::Horizontal, section, section);
}

QVariant LibraryModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || section < 0 || section >= Columns::count)
        return {};
    const Columns::Column &column = Columns::at(section);
    const bool isBrief = m_hasBriefHeading[static_cast<std::size_t>(section)];
    if (role == Qt::DisplayRole)
        return isBrief ? QString::fromUtf8(column.briefTitle) : Columns::title(column);
    if (role == Qt::ToolTipRole && isBrief)
        return Columns::title(column);
    if (role == Qt::AccessibleTextRole)
        return Columns::spokenTitle(column);
    if (role == Qt::TextAlignmentRole && column.isNumeric)
        return static_cast<int>(Qt::AlignRight | Qt::AlignVCenter);
    return {};
}

Qt::ItemFlags LibraryModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return {};
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    if (index.column() == Columns::include && checkState(node(index)).isValid())
        flags |= Qt::ItemIsUserCheckable;
    if (!node(index).isFolder())
        flags |= Qt::ItemNeverHasChildren;
    return flags;
}

void LibraryModel::itemChanged(const FileItem &item)
{
    for (const TableNode *row = item.row; row != nullptr && row->parent != nullptr; row = row->parent) {
        m_changed.insert(row);
        m_folders.erase(row);
        if (item.needsPlan) // its info may be new
            m_sources.erase(row);
    }
    if (!m_reportTimer.isActive())
        m_reportTimer.start();
}

void LibraryModel::reportChanges()
{
    for (const TableNode *row : m_changed)
        emit dataChanged(indexOf(*row, 0), indexOf(*row, Columns::count - 1));
    m_changed.clear();
}

void LibraryModel::reportBelow(const TableNode &parent)
{
    if (parent.children.empty())
        return;
    emit dataChanged(indexOf(*parent.children.front(), 0),
                     indexOf(*parent.children.back(), Columns::count - 1));
    for (const auto &child : parent.children)
        if (child->isFolder())
            reportBelow(*child);
}

void LibraryModel::everythingChanged()
{
    m_folders.clear();
    m_sources.clear();
    m_changed.clear();
    m_reportTimer.stop();
    reportBelow(m_model.library().root());
}

void LibraryModel::followSort()
{
    const QModelIndexList before = persistentIndexList();
    QModelIndexList after;
    after.reserve(before.size());
    for (const QModelIndex &index : before)
        after.append(indexOf(node(index), index.column()));
    changePersistentIndexList(before, after);
    emit layoutChanged({}, VerticalSortHint);
}

} // namespace kestrel

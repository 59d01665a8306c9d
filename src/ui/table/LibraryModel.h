#pragma once

#include <QAbstractItemModel>
#include <QTimer>
#include <array>
#include <optional>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include "model/AppModel.h"
#include "ui/table/Columns.h"

namespace kestrel {

// Provides the library's rows to Qt's views. Rows keep their position while files change; changes are
// reported together, twenty times a second. REQUIRES: the main thread; the application's model outlives it.
class LibraryModel : public QAbstractItemModel {
    Q_OBJECT

public:
    explicit LibraryModel(AppModel &model, QObject *parent = nullptr);

    const TableNode &node(const QModelIndex &index) const;
    // Returns an invalid index for a row that does not exist.
    QModelIndex indexOf(const TableNode &node, int column = Columns::name) const;
    QModelIndex indexOf(const std::filesystem::path &id) const;

    // Chooses the short title, for a column with little room.
    void setBriefHeading(int section, bool isBrief);
    // Returns the content that a delegate paints.
    RowText::Cell cell(const QModelIndex &index) const;
    std::vector<RowText::Chip> chips(const QModelIndex &index) const;
    // Returns the sums of a folder's row; cached until one of its files changes.
    const RowText::Folder &folder(const TableNode &node) const;
    // Returns the formats in a folder's row; cached until one of its files is analysed again.
    const RowText::Sources &sources(const TableNode &node) const;
    // Returns the time at which the run will have finished a folder; absent while none runs. Cached for a
    // second.
    std::optional<QString> completion(const TableNode &folder) const;
    const ConversionSettings &settings() const { return m_model.settings(); }
    // Returns true during a reset, when no row may be accessed.
    bool isFilling() const { return m_isFilling; }
    // Returns the next visible row whose name begins with this text, or else the first one; includes the
    // current one, unless `isNext`. Null where there is none.
    const TableNode *rowNamed(const QString &beginning, const TableNode *current, bool isNext) const;
    // Returns true when some row has a text in the Status column.
    bool hasStatus() const { return m_hasStatus; }

    QModelIndex index(int row, int column, const QModelIndex &parent = {}) const override;
    QModelIndex parent(const QModelIndex &index) const override;
    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

signals:
    void statusCame(); // the Status column got its first text, or lost its last

private:
    void lookForStatus();
    const TableNode &nodeOrRoot(const QModelIndex &index) const;
    void itemChanged(const FileItem &item);
    void everythingChanged();
    void reportBelow(const TableNode &parent);
    void reportChanges();
    void followSort();
    // Returns an invalid value where there is nothing to choose.
    QVariant checkState(const TableNode &row) const;

    AppModel &m_model;
    bool m_isFilling = false, m_hasStatus = false;
    mutable std::unordered_map<const TableNode *, RowText::Folder> m_folders;
    mutable std::unordered_map<const TableNode *, RowText::Sources> m_sources;
    std::unordered_set<const TableNode *> m_changed;
    QTimer m_reportTimer;
    std::array<bool, Columns::count> m_hasBriefHeading{};
};

} // namespace kestrel

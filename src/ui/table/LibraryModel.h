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

// The library's rows for Qt's views. Rows stay where they are while files change; what has changed is told
// twenty times a second, together. Main thread; the application's model outlives it.
class LibraryModel : public QAbstractItemModel {
    Q_OBJECT

public:
    explicit LibraryModel(AppModel &model, QObject *parent = nullptr);

    const TableNode &node(const QModelIndex &index) const;
    // Invalid for a row that does not exist.
    QModelIndex indexOf(const TableNode &node, int column = Columns::name) const;
    QModelIndex indexOf(const std::filesystem::path &id) const;

    // For a column with little room.
    void setBriefHeading(int section, bool isBrief);
    // What a delegate paints.
    RowText::Cell cell(const QModelIndex &index) const;
    std::vector<RowText::Chip> chips(const QModelIndex &index) const;
    // Of a folder's row; remembered until one of its files changes.
    const RowText::Folder &folder(const TableNode &node) const;
    // Of a folder's row; remembered until there is something new to know of one of its files.
    const RowText::Sources &sources(const TableNode &node) const;
    // The time at which the run will have done a folder; absent while none runs. Remembered for a second.
    std::optional<QString> completion(const TableNode &folder) const;
    const ConversionSettings &settings() const { return m_model.settings(); }
    // Between the old rows and the new ones nobody may ask for any.
    bool isFilling() const { return m_isFilling; }
    // The next row that can be seen and whose name begins so, or the first one again; also the current one
    // itself, unless `isNext`. Null where there is none.
    const TableNode *rowNamed(const QString &beginning, const TableNode *current, bool isNext) const;
    // Some row has something to say in its last column.
    bool hasStatus() const { return m_hasStatus; }

    QModelIndex index(int row, int column, const QModelIndex &parent = {}) const override;
    QModelIndex parent(const QModelIndex &index) const override;
    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

signals:
    void statusCame(); // the column got its first text, or lost its last

private:
    void lookForStatus();
    const TableNode &nodeOrRoot(const QModelIndex &index) const;
    void itemChanged(const FileItem &item);
    void everythingChanged();
    void told(const TableNode &parent);
    void tell();
    void followSort();
    // Invalid where there is nothing to choose.
    QVariant checkState(const TableNode &row) const;

    AppModel &m_model;
    bool m_isFilling = false, m_hasStatus = false;
    mutable std::unordered_map<const TableNode *, RowText::Folder> m_folders;
    mutable std::unordered_map<const TableNode *, RowText::Sources> m_sources;
    std::unordered_set<const TableNode *> m_changed;
    QTimer m_teller;
    std::array<bool, Columns::count> m_hasBriefHeading{};
};

} // namespace kestrel

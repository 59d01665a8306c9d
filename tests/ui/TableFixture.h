#pragma once

#include <QTest>

#include "model/ModelFixture.h"
#include "ui/table/LibraryView.h"

namespace kestrel::test {

class TableTest : public ModelTest {
protected:
    using Column = Columns::Id;

    void open(const std::vector<std::string> &names)
    {
        for (const auto &name : names)
            film(name);
        AppModel::Options options;
        options.settings = ConversionSettings();
        startAndScan(options);
    }
    QStringList names(const LibraryModel &rows, const QModelIndex &parent = {}) const
    {
        QStringList list;
        for (int row = 0; row < rows.rowCount(parent); ++row)
            list += rows.index(row, Column::name, parent).data().toString();
        return list;
    }
    static Qt::CheckState checked(const QModelIndex &index)
    {
        return static_cast<Qt::CheckState>(
            index.siblingAtColumn(Column::include).data(Qt::CheckStateRole).toInt());
    }
};

} // namespace kestrel::test

#pragma once

#include "mibx/mibmodules.h"

#include <QAbstractTableModel>
#include <QList>
#include <QString>

// The rows of the MIB manager's module grid: one per module, holding exactly
// the texts the grid shows (the module name and its import time). Column
// captions are header data; there is no header column.
class MIBListModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { NameColumn = 0, ImportedColumn = 1, ColumnCount = 2 };

    using Module = MIBModules::Module;

    explicit MIBListModel(QObject *parent = nullptr);

    // Replaces every row at once.
    void setModules(QList<Module> modules);
    const QList<Module> &modules() const { return m_modules; }

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

private:
    QList<Module> m_modules;
};

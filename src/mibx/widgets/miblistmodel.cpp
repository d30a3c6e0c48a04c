#include "mibx/widgets/miblistmodel.h"

MIBListModel::MIBListModel(QObject *parent)
    : QAbstractTableModel(parent)
{
}

void MIBListModel::setModules(QList<Module> modules)
{
    beginResetModel();
    m_modules = std::move(modules);
    endResetModel();
}

int MIBListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_modules.size());
}

int MIBListModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant MIBListModel::data(const QModelIndex &index, int role) const
{
    if (role != Qt::DisplayRole || !checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Module &m = m_modules.at(index.row());
    return index.column() == NameColumn ? m.name : m.imported;
}

QVariant MIBListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    switch (section) {
    case NameColumn:
        return QStringLiteral("MIB");
    case ImportedColumn:
        return QStringLiteral("Last Update");
    default:
        return {};
    }
}

Qt::ItemFlags MIBListModel::flags(const QModelIndex &index) const
{
    return index.isValid() ? Qt::ItemIsEnabled | Qt::ItemIsSelectable : Qt::NoItemFlags;
}

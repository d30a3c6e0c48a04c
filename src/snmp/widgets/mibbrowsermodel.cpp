#include "snmp/widgets/mibbrowsermodel.h"

#include "snmp/widgets/livegrid.h"

namespace {

struct CodeInfo
{
    const char *caption;
    int probe;
};

const CodeInfo kCodeInfo[MIBBrowserModel::kCodes] = {
    {"OID", 30},       {"OID Name", 19}, {"Full OID Name", 35}, {"MIB", 21},
    {"Index", 20},     {"Type", 17},     {"Status", 17},        {"Access", 17},
    {"Raw Type", 15},  {"Raw Value", 29}, {"Value", 29},        {"Description", 42},
};

constexpr int kRawValue = 9;
constexpr int kValue = 10;
// Often enough to look live, seldom enough that painting costs the walk nothing.
constexpr int kFlushMs = 100;

} // namespace

MIBBrowserModel::MIBBrowserModel(QObject *parent)
    : QAbstractTableModel(parent)
{
    m_flushTimer.setSingleShot(true);
    m_flushTimer.setInterval(kFlushMs);
    connect(&m_flushTimer, &QTimer::timeout, this, &MIBBrowserModel::flush);
}

MIBBrowserModel::~MIBBrowserModel() = default;

QString MIBBrowserModel::caption(int code)
{
    return code >= 0 && code < kCodes ? QString::fromLatin1(kCodeInfo[code].caption) : QString();
}

int MIBBrowserModel::probeLength(int code)
{
    return code >= 0 && code < kCodes ? kCodeInfo[code].probe : 0;
}

int MIBBrowserModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_shownRows;
}

int MIBBrowserModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_codes.size());
}

QVariant MIBBrowserModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.model() != this || index.row() >= m_shownRows || index.column() >= m_codes.size())
        return QVariant();
    const Row &row = m_rows.at(index.row());
    const int code = m_codes.at(index.column());
    switch (role) {
    case Qt::DisplayRole:
        return code >= 0 && code < kCodes ? row.texts.at(size_t(code)) : QString();
    case Qt::EditRole:
        return row.raw;
    case LiveGrid::PickListRole:
        return row.pickList.isEmpty() ? QVariant() : QVariant(row.pickList);
    default:
        return QVariant();
    }
}

QVariant MIBBrowserModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole || section < 0)
        return QVariant();
    if (orientation == Qt::Horizontal)
        return section < m_codes.size() ? QVariant(caption(m_codes.at(section))) : QVariant();
    return section < m_shownRows ? QVariant(section + 1) : QVariant();
}

Qt::ItemFlags MIBBrowserModel::flags(const QModelIndex &index) const
{
    if (!index.isValid() || index.model() != this || index.row() >= m_shownRows || index.column() >= m_codes.size())
        return Qt::NoItemFlags;
    Qt::ItemFlags f = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    const int code = m_codes.at(index.column());
    if ((code == kRawValue || code == kValue) && m_rows.at(index.row()).writable && editHandler)
        f |= Qt::ItemIsEditable;
    return f;
}

bool MIBBrowserModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (role != Qt::EditRole || !(flags(index) & Qt::ItemIsEditable))
        return false;
    editHandler(index.row(), value);
    return true;
}

void MIBBrowserModel::setCodes(const QVector<int> &codes)
{
    m_flushTimer.stop();
    beginResetModel();
    m_codes = codes;
    m_shownRows = int(m_rows.size());
    endResetModel();
}

int MIBBrowserModel::appendRow(Row row)
{
    const int r = int(m_rows.size());
    m_rowByOid.insert(row.oid, r);
    m_rows.append(std::move(row));
    if (!m_flushTimer.isActive())
        m_flushTimer.start();
    return r;
}

void MIBBrowserModel::replaceRow(int r, Row row)
{
    if (r < 0 || r >= m_rows.size())
        return;
    if (m_rows.at(r).oid != row.oid) {
        m_rowByOid.remove(m_rows.at(r).oid);
        m_rowByOid.insert(row.oid, r);
    }
    m_rows[r] = std::move(row);
    if (r < m_shownRows && !m_codes.isEmpty())
        Q_EMIT dataChanged(index(r, 0), index(r, int(m_codes.size()) - 1));
}

void MIBBrowserModel::clear()
{
    m_flushTimer.stop();
    beginResetModel();
    m_rows.clear();
    m_rowByOid.clear();
    m_shownRows = 0;
    endResetModel();
}

void MIBBrowserModel::flush()
{
    m_flushTimer.stop();
    if (m_rows.size() <= m_shownRows)
        return;
    beginInsertRows(QModelIndex(), m_shownRows, int(m_rows.size()) - 1);
    m_shownRows = int(m_rows.size());
    endInsertRows();
}

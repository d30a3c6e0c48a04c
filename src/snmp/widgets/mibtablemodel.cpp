#include "snmp/widgets/mibtablemodel.h"

#include "snmp/widgets/livegrid.h"
#include "snmp/livevalues_p.h"

#include <QColor>
#include <QGuiApplication>
#include <QPalette>

#include <algorithm>
#include <numeric>

namespace {

// Read-only cells: the base colour a step towards the text colour, so that
// they stand out and stay readable on a light palette (240, 240, 240 on white)
// and a dark one alike.
QColor readOnlyBackground()
{
    const QPalette palette = QGuiApplication::palette();
    const QColor base = palette.color(QPalette::Base);
    const QColor text = palette.color(QPalette::Text);
    const auto mix = [](int b, int t) { return (b * 94 + t * 6 + 50) / 100; };
    return QColor(mix(base.red(), text.red()), mix(base.green(), text.green()), mix(base.blue(), text.blue()));
}
constexpr int kFlushMs = 100;
// Every row announced makes the views lay out and paint again: while values keep
// coming, new rows are announced less often than changed cells.
constexpr int kRowsEveryMs = 1000;

bool numericType(int type)
{
    return type == 2 || type == 65 || type == 66 || type == 67 || type == 70;
}

// Numbers by value, everything else by text without regard to case; empty cells last.
int compareCells(const MIBTableModel::Cell &a, const MIBTableModel::Cell &b)
{
    if (a.type == 0 || b.type == 0)
        return a.type == b.type ? 0 : (a.type == 0 ? 1 : -1);
    if (numericType(a.type) && numericType(b.type)) {
        const long double x = a.raw.toDouble();
        const long double y = b.raw.toDouble();
        return x < y ? -1 : (x > y ? 1 : 0);
    }
    return a.text.compare(b.text, Qt::CaseInsensitive);
}

} // namespace

MIBTableModel::MIBTableModel(QObject *parent)
    : QAbstractTableModel(parent)
{
    m_flushTimer.setSingleShot(true);
    m_flushTimer.setInterval(kFlushMs);
    connect(&m_flushTimer, &QTimer::timeout, this, &MIBTableModel::flushSome);
}

void MIBTableModel::flushSome()
{
    if (m_rows.size() > m_shownRows && m_sinceRowsShown.isValid() && m_sinceRowsShown.elapsed() < kRowsEveryMs) {
        announceChanges();
        m_flushTimer.start();
    } else {
        flush();
    }
}

MIBTableModel::~MIBTableModel() = default;

int MIBTableModel::rowCount(const QModelIndex &parent) const
{
    if (parent.isValid())
        return 0;
    return m_pivoted ? int(m_columns.size()) : m_shownRows;
}

int MIBTableModel::columnCount(const QModelIndex &parent) const
{
    if (parent.isValid())
        return 0;
    return m_pivoted ? m_shownRows : int(m_columns.size());
}

bool MIBTableModel::toTable(const QModelIndex &index, int *row, int *col) const
{
    if (!index.isValid() || index.model() != this)
        return false;
    *row = m_pivoted ? index.column() : index.row();
    *col = m_pivoted ? index.row() : index.column();
    return *row >= 0 && *row < m_shownRows && *col >= 0 && *col < m_columns.size();
}

QModelIndex MIBTableModel::fromTable(int row, int col) const
{
    return m_pivoted ? index(col, row) : index(row, col);
}

QVariant MIBTableModel::data(const QModelIndex &index, int role) const
{
    int row = 0;
    int col = 0;
    if (!toTable(index, &row, &col))
        return QVariant();
    switch (role) {
    case Qt::DisplayRole:
        return m_rows.at(row).cells.at(col).text;
    case Qt::EditRole:
        return m_rows.at(row).cells.at(col).raw;
    case Qt::BackgroundRole:
        return m_columns.at(col).writable ? QVariant() : QVariant(readOnlyBackground());
    case Qt::TextAlignmentRole:
        return m_columns.at(col).alignment != 0 ? QVariant(m_columns.at(col).alignment) : QVariant();
    case LiveGrid::PickListRole:
        return m_columns.at(col).pickList.isEmpty() ? QVariant() : QVariant(m_columns.at(col).pickList);
    default:
        return QVariant();
    }
}

QVariant MIBTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole || section < 0)
        return QVariant();
    const bool columnCaption = (orientation == Qt::Horizontal) != m_pivoted;
    if (columnCaption)
        return section < m_columns.size() ? QVariant(m_columns.at(section).caption) : QVariant();
    return section < m_shownRows ? QVariant(m_rows.at(section).index) : QVariant();
}

Qt::ItemFlags MIBTableModel::flags(const QModelIndex &index) const
{
    int row = 0;
    int col = 0;
    if (!toTable(index, &row, &col))
        return Qt::NoItemFlags;
    Qt::ItemFlags f = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    if (m_columns.at(col).writable && editHandler)
        f |= Qt::ItemIsEditable;
    return f;
}

bool MIBTableModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    int row = 0;
    int col = 0;
    if (role != Qt::EditRole || !toTable(index, &row, &col) || !m_columns.at(col).writable || !editHandler)
        return false;
    editHandler(row, col, value);
    return true;
}

void MIBTableModel::sort(int column, Qt::SortOrder order)
{
    if (m_pivoted || column < 0 || column >= m_columns.size())
        return;
    sortRows(column, order == Qt::AscendingOrder ? SortAscending : SortDescending);
}

void MIBTableModel::setColumns(const QVector<Column> &columns)
{
    m_flushTimer.stop();
    beginResetModel();
    m_columns = columns;
    m_rows.clear();
    m_rowByIndex.clear();
    m_shownRows = 0;
    m_dirtyTop = -1;
    endResetModel();
}

void MIBTableModel::clearRows()
{
    m_flushTimer.stop();
    beginResetModel();
    m_rows.clear();
    m_rowByIndex.clear();
    m_shownRows = 0;
    m_dirtyTop = -1;
    endResetModel();
}

void MIBTableModel::setColumnAlignment(int col, int alignment)
{
    m_columns[col].alignment = alignment;
    if (m_shownRows > 0)
        markChanged(0, col), markChanged(m_shownRows - 1, col);
}

void MIBTableModel::setColumnData(int col, const QVariant &data)
{
    m_columns[col].data = data;
}

int MIBTableModel::addRow(const QString &index)
{
    Row row;
    row.index = index;
    row.cells.resize(m_columns.size());
    m_rows.append(std::move(row));
    const int at = int(m_rows.size()) - 1;
    m_rowByIndex.insert(index, at);
    if (!m_flushTimer.isActive())
        m_flushTimer.start();
    return at;
}

void MIBTableModel::setCell(int row, int col, Cell cell)
{
    m_rows[row].cells[col] = std::move(cell);
    markChanged(row, col);
}

void MIBTableModel::setCellText(int row, int col, const QString &text)
{
    m_rows[row].cells[col].text = text;
    markChanged(row, col);
}

void MIBTableModel::markChanged(int row, int col)
{
    if (row >= m_shownRows)
        return;
    if (m_dirtyTop < 0) {
        m_dirtyTop = m_dirtyBottom = row;
        m_dirtyLeft = m_dirtyRight = col;
    } else {
        m_dirtyTop = qMin(m_dirtyTop, row);
        m_dirtyBottom = qMax(m_dirtyBottom, row);
        m_dirtyLeft = qMin(m_dirtyLeft, col);
        m_dirtyRight = qMax(m_dirtyRight, col);
    }
    if (!m_flushTimer.isActive())
        m_flushTimer.start();
}

void MIBTableModel::announceChanges()
{
    if (m_dirtyTop >= 0) {
        const QModelIndex from = fromTable(m_dirtyTop, m_dirtyLeft);
        const QModelIndex to = fromTable(m_dirtyBottom, m_dirtyRight);
        m_dirtyTop = -1;
        Q_EMIT dataChanged(from, to);
    }
}

void MIBTableModel::flush()
{
    m_flushTimer.stop();
    announceChanges();
    if (m_rows.size() > m_shownRows) {
        m_sinceRowsShown.start();
        const int first = m_shownRows;
        const int last = int(m_rows.size()) - 1;
        if (m_pivoted)
            beginInsertColumns(QModelIndex(), first, last);
        else
            beginInsertRows(QModelIndex(), first, last);
        m_shownRows = int(m_rows.size());
        if (m_pivoted)
            endInsertColumns();
        else
            endInsertRows();
    }
}

void MIBTableModel::moveTableRow(int from, int to)
{
    flush();
    if (from < 0 || to < 0 || from >= m_shownRows || to >= m_shownRows || from == to)
        return;
    const int destination = to > from ? to + 1 : to;
    if (m_pivoted)
        beginMoveColumns(QModelIndex(), from, from, QModelIndex(), destination);
    else
        beginMoveRows(QModelIndex(), from, from, QModelIndex(), destination);
    m_rows.move(from, to);
    rebuildHash();
    if (m_pivoted)
        endMoveColumns();
    else
        endMoveRows();
}

void MIBTableModel::truncateRows(int count)
{
    flush();
    if (count < 0 || count >= m_shownRows)
        return;
    if (m_pivoted)
        beginRemoveColumns(QModelIndex(), count, m_shownRows - 1);
    else
        beginRemoveRows(QModelIndex(), count, m_shownRows - 1);
    m_rows.resize(count);
    m_shownRows = count;
    rebuildHash();
    if (m_pivoted)
        endRemoveColumns();
    else
        endRemoveRows();
}

bool MIBTableModel::rowsInIndexOrder() const
{
    for (int r = 1; r < m_rows.size(); ++r) {
        if (LiveValues::compareOids(m_rows.at(r - 1).index, m_rows.at(r).index) > 0)
            return false;
    }
    return true;
}

void MIBTableModel::sortRows(int col, int method)
{
    flush();
    QVector<int> order(m_rows.size());
    std::iota(order.begin(), order.end(), 0);
    if (method == SortByIndex || col < 0 || col >= m_columns.size()) {
        std::stable_sort(order.begin(), order.end(), [this](int a, int b) {
            return LiveValues::compareOids(m_rows.at(a).index, m_rows.at(b).index) < 0;
        });
    } else {
        const bool descending = method == SortDescending;
        std::stable_sort(order.begin(), order.end(), [this, col, descending](int a, int b) {
            const int c = compareCells(m_rows.at(a).cells.at(col), m_rows.at(b).cells.at(col));
            if (c == 0)
                return false;
            // Empty cells stay last either way.
            if (m_rows.at(a).cells.at(col).type == 0 || m_rows.at(b).cells.at(col).type == 0)
                return c < 0;
            return descending ? c > 0 : c < 0;
        });
    }
    reorder(order);
}

void MIBTableModel::reorder(const QVector<int> &order)
{
    bool unchanged = true;
    for (int i = 0; i < order.size() && unchanged; ++i)
        unchanged = order.at(i) == i;
    if (unchanged)
        return;
    const QList<QPersistentModelIndex> parents;
    Q_EMIT layoutAboutToBeChanged(parents, m_pivoted ? QAbstractItemModel::HorizontalSortHint
                                                     : QAbstractItemModel::VerticalSortHint);
    QVector<int> newPosition(order.size());
    for (int i = 0; i < order.size(); ++i)
        newPosition[order.at(i)] = i;
    const QModelIndexList before = persistentIndexList();
    QModelIndexList after;
    after.reserve(before.size());
    for (const QModelIndex &i : before) {
        int row = 0;
        int col = 0;
        if (toTable(i, &row, &col))
            after.append(fromTable(newPosition.at(row), col));
        else
            after.append(QModelIndex());
    }
    QVector<Row> rows;
    rows.reserve(m_rows.size());
    for (const int from : order)
        rows.append(std::move(m_rows[from]));
    m_rows = std::move(rows);
    rebuildHash();
    changePersistentIndexList(before, after);
    Q_EMIT layoutChanged(parents, m_pivoted ? QAbstractItemModel::HorizontalSortHint
                                            : QAbstractItemModel::VerticalSortHint);
}

void MIBTableModel::rebuildHash()
{
    m_rowByIndex.clear();
    m_rowByIndex.reserve(m_rows.size());
    for (int r = 0; r < m_rows.size(); ++r)
        m_rowByIndex.insert(m_rows.at(r).index, r);
}

void MIBTableModel::setPivoted(bool pivoted)
{
    if (m_pivoted == pivoted)
        return;
    flush();
    beginResetModel();
    m_pivoted = pivoted;
    endResetModel();
}

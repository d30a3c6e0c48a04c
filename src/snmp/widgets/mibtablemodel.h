#pragma once

#include "qxmibtreewidgets_export.h"

#include <QAbstractTableModel>
#include <QElapsedTimer>
#include <QHash>
#include <QTimer>
#include <QVector>

#include <functional>

// The cells of one SNMP table as MIBTable shows them: one row per instance
// index, one column per columnar object, each cell the text the user sees
// with the raw value and its type beside it. Captions are header data: the
// columns' names across, the instance indexes down; pivoted, the two swap.
//
// Table coordinates (row, column from 0) never change with the orientation.
// Rows are found by their index through a hash. Rows added and cells changed
// reach the views in batches: flush() announces them, and a short timer
// flushes on its own while values keep coming.
class QXMIBTREEWIDGETS_EXPORT MIBTableModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    struct Column
    {
        QString caption;
        bool writable = false;
        // "#1;up(1)|#2;down(2)": the editor offers these values.
        QString pickList;
        int alignment = 0;
        QVariant data;
    };
    struct Cell
    {
        QString text;
        QString raw;
        // The BER tag of the value; 0 for a cell that holds none.
        int type = 0;
    };

    // Sort methods: by index (the table's own order), ascending, descending.
    enum SortMethod { SortByIndex = 0, SortAscending = 1, SortDescending = 2 };

    explicit MIBTableModel(QObject *parent = nullptr);
    ~MIBTableModel() override;

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

    // New columns and no rows.
    void setColumns(const QVector<Column> &columns);
    void clearRows();
    int tableRows() const { return int(m_rows.size()); }
    int tableColumns() const { return int(m_columns.size()); }
    const Column &column(int col) const { return m_columns.at(col); }
    void setColumnAlignment(int col, int alignment);
    void setColumnData(int col, const QVariant &data);

    // The row of an instance index, -1 when there is none.
    int findRow(const QString &index) const { return m_rowByIndex.value(index, -1); }
    // Appends a row for a new index and returns it.
    int addRow(const QString &index);
    QString rowIndex(int row) const { return m_rows.at(row).index; }
    const Cell &cell(int row, int col) const { return m_rows.at(row).cells.at(col); }
    void setCell(int row, int col, Cell cell);
    // Only the shown text; raw value and type stay.
    void setCellText(int row, int col, const QString &text);
    QVariant rowData(int row) const { return m_rows.at(row).data; }
    void setRowData(int row, const QVariant &data) { m_rows[row].data = data; }
    // Moves a table row to another position.
    void moveTableRow(int from, int to);
    // Keeps the first count rows.
    void truncateRows(int count);
    // SortByIndex orders rows by their index arcs; the others by a column.
    void sortRows(int col, int method);
    // Whether rows are out of index order (they arrive by column, sparse rows late).
    bool rowsInIndexOrder() const;

    bool pivoted() const { return m_pivoted; }
    void setPivoted(bool pivoted);

    // Announces pending rows and changed cells to the views.
    void flush();
    // Announces changed cells now and pending rows when they have not been for a while.
    void flushSome();

    // Called instead of storing an edit: (row, column, value typed or picked).
    std::function<void(int row, int col, const QVariant &value)> editHandler;

private:
    struct Row
    {
        QString index;
        QVector<Cell> cells;
        QVariant data;
    };

    bool toTable(const QModelIndex &index, int *row, int *col) const;
    QModelIndex fromTable(int row, int col) const;
    void markChanged(int row, int col);
    void announceChanges();
    void reorder(const QVector<int> &order);
    void rebuildHash();

    QVector<Column> m_columns;
    QVector<Row> m_rows;
    QHash<QString, int> m_rowByIndex;
    // Rows the views know of; rows beyond are pending until the next flush.
    int m_shownRows = 0;
    int m_dirtyTop = -1;
    int m_dirtyBottom = -1;
    int m_dirtyLeft = -1;
    int m_dirtyRight = -1;
    bool m_pivoted = false;
    QTimer m_flushTimer;
    QElapsedTimer m_sinceRowsShown;
};

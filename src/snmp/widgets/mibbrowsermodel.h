#pragma once

#include "qxmibtreewidgets_export.h"

#include <QAbstractTableModel>
#include <QHash>
#include <QStringList>
#include <QTimer>
#include <QVector>

#include <array>
#include <functional>

// The rows of a MIBBrowser: one per object listed, one column per column code
// (0 "OID" to 11 "Description"), captions as header data. Each row keeps the
// texts of all twelve codes, so changing the columns needs no look-ups.
//
// Rows appended reach the views in batches, as a walk delivers one row per
// reply and a view lays out and paints again for every announcement: a short
// timer announces them, flush() at once. rows() and row() see every row,
// rowCount() only those announced.
class QXMIBTREEWIDGETS_EXPORT MIBBrowserModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    static constexpr int kCodes = 12;

    struct Row
    {
        QString oid;
        // Texts by column code.
        std::array<QString, kCodes> texts;
        QString raw;
        int type = 0;
        bool writable = false;
        QString pickList;
    };

    explicit MIBBrowserModel(QObject *parent = nullptr);
    ~MIBBrowserModel() override;

    // The caption of a column code; empty outside 0 to 11.
    static QString caption(int code);
    // The number of X characters whose width a column of this code gets.
    static int probeLength(int code);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;

    QVector<int> codes() const { return m_codes; }
    void setCodes(const QVector<int> &codes);

    int rows() const { return int(m_rows.size()); }
    const Row &row(int r) const { return m_rows.at(r); }
    // Appends a row and returns its number (from 0).
    int appendRow(Row row);
    void replaceRow(int r, Row row);
    // The row listing an OID, -1 when none does.
    int findOid(const QString &oid) const { return m_rowByOid.value(oid, -1); }
    void clear();
    // Announces the rows appended since the last announcement.
    void flush();

    // Called instead of storing an edit: (row, value typed or picked).
    std::function<void(int row, const QVariant &value)> editHandler;

private:
    QVector<int> m_codes;
    QVector<Row> m_rows;
    QHash<QString, int> m_rowByOid;
    // Rows the views know of.
    int m_shownRows = 0;
    QTimer m_flushTimer;
};

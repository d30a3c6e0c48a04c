#pragma once

#include "qxmibtreecore_export.h"

#include "snmp/notification.h"

#include <QAbstractTableModel>
#include <QSortFilterProxyModel>
#include <QTimer>

#include <deque>

// Received notifications as a table, newest first: time, sender, version,
// community or user, notification, bindings. Notifications handed to add()
// are inserted together on the next turn of the event loop, so a burst costs
// the views one insertion. At most MaxRows are kept; the oldest go first and
// are counted in DroppedRows.
class QXMIBTREECORE_EXPORT NotificationModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { ReceivedColumn, SourceColumn, VersionColumn, PrincipalColumn, NotificationColumn, BindingsColumn,
                  ColumnCount };

    explicit NotificationModel(QObject *parent = nullptr);
    ~NotificationModel() override;

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    void add(const Notification &notification);
    // Inserts what add() has queued now rather than on the next turn.
    void flush();
    void clear();
    // Row 0 is the newest.
    const Notification &notification(int row) const;

    int maxRows() const { return m_maxRows; }
    // Drops the oldest rows beyond the new cap at once.
    void setMaxRows(int rows);
    int droppedRows() const { return m_dropped; }

    // "ifIndex.2 = 2; ifAdminStatus.2 = down(2)"
    static QString bindingsText(const Notification &notification);

private:
    void trim();

    std::deque<Notification> m_rows;
    std::vector<Notification> m_pending;
    QTimer m_flushTimer;
    int m_maxRows = 10000;
    int m_dropped = 0;
};

// Rows of a NotificationModel whose sender, notification or whole text
// contains the given texts (without regard to case); an empty text lets all pass.
class QXMIBTREECORE_EXPORT NotificationFilterModel : public QSortFilterProxyModel
{
    Q_OBJECT

public:
    explicit NotificationFilterModel(QObject *parent = nullptr);

    void setFilters(const QString &agent, const QString &notification, const QString &text);
    QString agentFilter() const { return m_agent; }
    QString notificationFilter() const { return m_notification; }
    QString textFilter() const { return m_text; }

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const override;

private:
    QString m_agent;
    QString m_notification;
    QString m_text;
};

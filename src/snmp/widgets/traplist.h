#pragma once

#include "qxmibtreewidgets_export.h"

#include "snmp/notification.h"

#include <QStringList>
#include <QWidget>

#include <memory>

class NotificationModel;
class TrapListPrivate;
class TrapReceiver;

// A list of the notifications a TrapReceiver takes in, newest first, with
// the details of the current one below it (laid out as every details pane
// is), filter fields for the sender, the notification and any text, and a
// counter of what arrived, what shows, what was refused and what the row cap
// dropped. A right click offers Export CSV and Clear. Hosts create it as
// "QXMIBTree.TrapList", set Port (and Communities, users) and call Listen.
class QXMIBTREEWIDGETS_EXPORT TrapList : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(QString Address READ Address WRITE setAddress)
    Q_PROPERTY(int Port READ Port WRITE setPort)
    Q_PROPERTY(QStringList Communities READ Communities WRITE setCommunities)
    Q_PROPERTY(bool Listening READ Listening)
    Q_PROPERTY(int MaxRows READ MaxRows WRITE setMaxRows)
    Q_PROPERTY(int Count READ Count)
    Q_PROPERTY(int ReceivedCount READ ReceivedCount)
    Q_PROPERTY(int RejectedCount READ RejectedCount)
    Q_PROPERTY(int DroppedRows READ DroppedRows)
    Q_PROPERTY(QString FilterAgent READ FilterAgent WRITE setFilterAgent)
    Q_PROPERTY(QString FilterNotification READ FilterNotification WRITE setFilterNotification)
    Q_PROPERTY(QString FilterText READ FilterText WRITE setFilterText)
    Q_PROPERTY(QString DetailsText READ DetailsText)
    Q_PROPERTY(QString CounterText READ CounterText)

public:
    Q_INVOKABLE explicit TrapList(QWidget *parent = nullptr);
    ~TrapList() override;

    QString Address() const;
    void setAddress(const QString &address);
    int Port() const;
    void setPort(int port);
    QStringList Communities() const;
    void setCommunities(const QStringList &communities);
    bool Listening() const;
    // Rows kept (10,000 until set); the oldest beyond it are dropped and counted.
    int MaxRows() const;
    void setMaxRows(int rows);
    // Rows kept now, shown or filtered out.
    int Count() const;
    int ReceivedCount() const;
    int RejectedCount() const;
    int DroppedRows() const;
    QString FilterAgent() const;
    void setFilterAgent(const QString &text);
    QString FilterNotification() const;
    void setFilterNotification(const QString &text);
    QString FilterText() const;
    void setFilterText(const QString &text);
    // The details pane as plain text.
    QString DetailsText() const;
    // "3 received, 2 shown, 1 rejected, 0 dropped"
    QString CounterText() const;

    // Throws QXMibError when the port cannot be opened.
    Q_INVOKABLE void Listen();
    Q_INVOKABLE void Close();
    Q_INVOKABLE void Clear();
    // See TrapReceiver::AddUser.
    Q_INVOKABLE void AddUser(const QString &userName, int level, const QString &authProtocol,
                             const QString &authPassword, const QString &privProtocol, const QString &privPassword,
                             const QStringList &engineIds = QStringList());
    // The rows shown (filtered), with captions, as CSV or tab-separated text.
    Q_INVOKABLE QString TableText(bool CSV) const;
    Q_INVOKABLE bool ExportCSV(const QString &Path) const;
    // Makes a shown row current (0 the newest) and shows its details.
    Q_INVOKABLE void SelectRow(int row);

    TrapReceiver *receiver() const;
    NotificationModel *model() const;

Q_SIGNALS:
    void NotificationReceived(const Notification &notification);
    void Rejected(int reason, const QString &description, const QString &source);

protected:
    void contextMenuEvent(QContextMenuEvent *event) override;

private:
    std::unique_ptr<TrapListPrivate> d;
};

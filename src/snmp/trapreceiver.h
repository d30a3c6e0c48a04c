#pragma once

#include "qxmibtreecore_export.h"

#include "snmp/notification.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>

class TrapReceiverPrivate;

// Receives SNMP notifications on one UDP address and port, on the thread's
// event loop beside the SNMP engine: SNMPv1 traps, SNMPv2c traps and informs,
// SNMPv3 traps and informs of the users added with AddUser. Informs are
// answered. Each notification is named and rendered through the MIB database
// and raised as Received; what cannot be taken (a community not in
// Communities, a malformed datagram, an unknown user, a wrong key) is counted
// and raised as Rejected, and the receiver goes on listening.
//
// SNMPv3 informs are checked with keys localized for the receiver's own
// engine id (EngineID); SNMPv3 traps with keys localized for the engine ids
// given with the user, as the sending agents are the authoritative side.
// Create as "QXMIBTree.TrapReceiver".
class QXMIBTREECORE_EXPORT TrapReceiver : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString Address READ Address WRITE setAddress)
    Q_PROPERTY(int Port READ Port WRITE setPort)
    Q_PROPERTY(QStringList Communities READ Communities WRITE setCommunities)
    Q_PROPERTY(bool Listening READ Listening NOTIFY ListeningChanged)
    Q_PROPERTY(QString EngineID READ EngineID)
    Q_PROPERTY(int ReceivedCount READ ReceivedCount NOTIFY CountsChanged)
    Q_PROPERTY(int InformCount READ InformCount NOTIFY CountsChanged)
    Q_PROPERTY(int CommunityRejectedCount READ CommunityRejectedCount NOTIFY CountsChanged)
    Q_PROPERTY(int MalformedCount READ MalformedCount NOTIFY CountsChanged)
    Q_PROPERTY(int UnknownUserCount READ UnknownUserCount NOTIFY CountsChanged)
    Q_PROPERTY(int WrongKeyCount READ WrongKeyCount NOTIFY CountsChanged)
    Q_PROPERTY(int RejectedCount READ RejectedCount NOTIFY CountsChanged)

public:
    enum Rejection { CommunityRejected = 1, Malformed, UnknownUser, WrongKey, NotANotification };
    Q_ENUM(Rejection)

    Q_INVOKABLE explicit TrapReceiver(QObject *parent = nullptr);
    ~TrapReceiver() override;

    // "0.0.0.0" (every IPv4 interface) until set; "::" or an IPv6 address listens on IPv6.
    QString Address() const;
    void setAddress(const QString &address);
    // 162 until set. Ports below 1024 need privileges.
    int Port() const;
    void setPort(int port);
    // Communities accepted from SNMPv1 and SNMPv2c senders; every one when empty.
    QStringList Communities() const;
    void setCommunities(const QStringList &communities);
    bool Listening() const;
    // The receiver's own engine id in hex: SNMPv3 informs are sent to it.
    QString EngineID() const;

    int ReceivedCount() const;
    int InformCount() const;
    int CommunityRejectedCount() const;
    int MalformedCount() const;
    int UnknownUserCount() const;
    int WrongKeyCount() const;
    int RejectedCount() const;

    // Opens the address and port (closing what was open). Throws QXMibError
    // when the port cannot be opened: in use, no privileges, a bad address.
    Q_INVOKABLE void Listen();
    Q_INVOKABLE void Close();
    // An SNMPv3 user: level 1 noAuthNoPriv, 2 authNoPriv, 3 authPriv; protocol
    // names as SnmpSession takes them; engineIds (hex) of the agents whose traps
    // it signs. Throws QXMibError for unknown protocols or short pass phrases.
    Q_INVOKABLE void AddUser(const QString &userName, int level, const QString &authProtocol,
                             const QString &authPassword, const QString &privProtocol, const QString &privPassword,
                             const QStringList &engineIds = QStringList());
    Q_INVOKABLE void ClearUsers();
    Q_INVOKABLE void ResetCounts();

    // The fixed text of a rejection: "Community not accepted", ...
    static QString rejectionText(Rejection reason);

Q_SIGNALS:
    void Received(const Notification &notification);
    // source: "address:port" (IPv6 in brackets) when known.
    void Rejected(int reason, const QString &description, const QString &source);
    void CountsChanged();
    void ListeningChanged(bool listening);

private:
    friend class TrapReceiverPrivate;
    std::unique_ptr<TrapReceiverPrivate> d;
};

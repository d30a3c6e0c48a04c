#pragma once

#include "qxmibtreecore_export.h"

#include <QObject>
#include <QString>

#include <memory>

class SNMPReply;
class SnmpEnginePrivate;
class SnmpQuery;

// The SNMP engine of one thread: sends queries through net-snmp single
// sessions and completes them on the thread's event loop (a socket notifier
// per session socket, one timer for the library's next time-out; no polling,
// no extra thread). Sessions are kept per target, version and credentials and
// reused; a new one resolves its host name and, for SNMPv3, discovers the
// agent's engine id on the event loop too, with queries waiting for it. Every
// SNMPv3 request is signed and encrypted with the keys of exactly the
// credentials it carries, whatever other sessions use the same user name.
//
// Every query ends in exactly one call of its reply object's Reply, unless it
// is cancelled: an answer, an SNMP error, a report or security error, a
// time-out, or a failure to send. Its ErrorNumber is 0, the agent's error
// status (positive), or net-snmp's library error code (negative); see
// SnmpQuery. Use threadEngine(); PelorusWrapper is the component's way in.
class QXMIBTREECORE_EXPORT SnmpEngine : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int OutstandingQueries READ OutstandingQueries)
    Q_PROPERTY(int DefaultTimeout READ DefaultTimeout WRITE setDefaultTimeout)
    Q_PROPERTY(int DefaultRetries READ DefaultRetries WRITE setDefaultRetries)

public:
    explicit SnmpEngine(QObject *parent = nullptr);
    ~SnmpEngine() override;

    // The calling thread's engine, created on first use.
    static SnmpEngine *threadEngine();
    // Drops every reply still due to this object on the calling thread.
    static void forgetCallback(SNMPReply *callback);

    // Takes the query (it is deleted after its reply unless it was given a parent)
    // and sends it. The answer only ever comes later, from the event loop, even
    // when sending fails at once. Returns 0; the asynchronous flag is accepted
    // for the callers that pass it and always treated as true.
    Q_INVOKABLE int Send(SnmpQuery *query, bool asynchronous = true);
    // Ends every outstanding query of the thread without a reply.
    Q_INVOKABLE void CancelAll();
    // Queries sent and not yet handed to their reply object.
    int OutstandingQueries() const;
    // The query whose reply is being delivered now; null outside a reply.
    SnmpQuery *CurrentResponse() const;

    // Milliseconds; 1000 until set.
    int DefaultTimeout() const;
    void setDefaultTimeout(int milliseconds);
    // 5 until set.
    int DefaultRetries() const;
    void setDefaultRetries(int retries);

    // The first address a host name resolves to, as text; empty when it does not
    // resolve. Waits for the resolver, unlike everything else here.
    Q_INVOKABLE static QString ResolveHostName(const QString &hostName);

    // net-snmp's peer name for a target: "host", "host:port", "v6addr",
    // "[v6addr]:port", each optionally behind "udp:" or "udp6:" (port 161 unless
    // given). Empty for a target it cannot be.
    static QString peerName(const QString &target);

private:
    friend class SnmpEnginePrivate;
    std::unique_ptr<SnmpEnginePrivate> d;
};

#pragma once

// The SNMPv3 user of one engine session in net-snmp's user table.
//
// net-snmp keeps one table of USM users per process, keyed by the agent's
// engine id and the user name, and signs, encrypts, checks and decrypts every
// message with the keys it finds there; an entry, once made, is never
// replaced. So two sessions with the same user at the same agent but different
// pass phrases would share whichever keys came first. Instead each engine
// session owns an entry of its own with keys localized for the agent's engine
// id, and puts it into the table (install()) right before net-snmp works on
// that session, under the process-wide library lock.

#include <QByteArray>
#include <QString>

#include <mutex>

#include "snmp/snmpvalues_p.h"

struct usmUser;

namespace Usm {

// Serializes everything that touches net-snmp's process-wide tables (users,
// engine times) across the engines of all threads.
std::recursive_mutex &libraryMutex();

struct Credentials
{
    QString userName;
    int level = 1; // 1 noAuthNoPriv, 2 authNoPriv, 3 authPriv
    QString authProtocol;
    QString authPassword;
    QString privProtocol;
    QString privPassword;
};

// The protocol's object identifier for a name as SnmpSession documents them;
// null for an unknown name.
const oid *authProtocol(const QString &name, size_t *length);
const oid *privProtocol(const QString &name, size_t *length);

// Checks names and pass phrase lengths without deriving keys (cheap enough
// for the send path). Returns 0 or a net-snmp error code with *error set.
int check(const Credentials &credentials, QString *error);

// The entry net-snmp answers an engine id discovery with: no name, no engine.
void ensureProbeUser();

class User
{
public:
    User() = default;
    ~User();
    User(const User &) = delete;
    User &operator=(const User &) = delete;

    // Derives the keys from the pass phrases and localizes them for the
    // engine id. Returns 0 or a net-snmp error code with *error set.
    int localize(const Credentials &credentials, const QByteArray &engineId, QString *error);
    bool isLocalized() const { return m_user != nullptr; }
    // Makes this entry the one net-snmp finds for its engine id and name.
    // Call with libraryMutex() held.
    void install();

private:
    void release();
    usmUser *m_user = nullptr;
};

} // namespace Usm

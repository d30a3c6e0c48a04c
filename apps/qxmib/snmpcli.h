#pragma once

// What the SNMP commands of qxmib share: net-snmp's command line options, the
// MIB database for names and renderings, and the text forms of values in
// both directions.

#include "snmp/snmpsession.h"
#include "snmp/varbind.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <memory>

class QXMibOID;

namespace SnmpCli {

struct Options
{
    int version = 2;
    QString community = QStringLiteral("public");
    QStringList communities; // every -c given, in order
    QStringList securityEngineIds; // every -e given, hex digits
    int timeoutMs = -1; // -1: the user's SNMP settings
    int retries = -1;
    short maxRepetitions = 10;
    QString target;
    QStringList rest; // OIDs, or OID TYPE VALUE triples
    SnmpSession v3;
};

// net-snmp's habits: "-v2c" or "-v 2c", options before or after the target,
// "--" ends them, a negative number is a value, -t in seconds with fractions,
// -Cr<N> for the GetBulk repetitions. False with *error set for a usage error.
// Without needsTarget the first positional argument stays in rest.
bool parseOptions(const QStringList &args, Options *options, QString *error, bool needsTarget = true);

// Numeric OIDs as given; names (sysDescr.0, IF-MIB::ifDescr.3, IF-MIB:ifDescr.3)
// resolved through the MIB database, opened only when a name needs it.
class Names
{
public:
    Names();
    ~Names();

    // Dotted OID without the leading dot; empty when the text names nothing.
    QString resolve(const QString &text);
    // The record of an OID, or null when the database has no definition for it
    // (or there is no database).
    QXMibOID *record(const QString &oid);
    // "sysName.0" for a known OID, else the OID itself.
    QString nameOf(const QString &oid);

private:
    std::unique_ptr<QXMibOID> m_record;
    QString m_recordOid; // what m_record was last set to
    QString m_recordName; // and its Name
    bool m_useDatabase = true;
};

// The text of a received value on one line: printable UTF-8 octet strings as
// text, other octets as hex ("00 A0 C9"), IpAddress dotted, Opaque in hex.
QString valueText(const VarBind &binding);
// The same, through the database's rendering when it knows the object.
QString renderedValue(const VarBind &binding, Names &names);

// A Set value from net-snmp's TYPE and VALUE: i u c C t a o s x d b n, "=" for
// the type the database has, or a BER tag number. Octet strings go as bytes
// (text as UTF-8). False with *error set in net-snmp's words.
bool encodeValue(const QString &oid, const QString &type, const QString &value, Names &names, QVariant *encoded,
                 int *berType, QString *error);

} // namespace SnmpCli

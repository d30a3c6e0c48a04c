#pragma once

#include <QString>
#include <QStringList>

// The peer of the OID look-up benchmark: net-snmp's own parsed MIB tree over
// MIB source files written from the same definitions.
namespace NetSnmpPeer {

struct Result
{
    int modules = 0;
    double startSeconds = 0;  // parsing every module (netsnmp_init_mib)
    double rate = 0;          // instance OIDs resolved per second (read_objid + get_tree)
    int found = 0;            // resolved to the expected definition
};

// Writes one MIB module per module of the database's Tree table into mibDir,
// lets net-snmp parse them all, and resolves every instance OID through its
// tree. bases[i] is the definition OID that instanceOids[i] belongs to.
Result run(const QString &databasePath, const QString &mibDir, const QStringList &instanceOids,
           const QStringList &bases);

} // namespace NetSnmpPeer

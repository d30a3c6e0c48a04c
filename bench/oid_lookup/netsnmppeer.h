#pragma once

#include "measure.h"

#include <QString>
#include <QStringList>

// The peer of the OID look-up benchmark: net-snmp's own parsed MIB tree.
namespace NetSnmpPeer {

struct Result
{
    int modules = 0;
    double startSeconds = 0;       // parsing every module (netsnmp_init_mib)
    OidLookupBench::Rate rate;     // OIDs resolved per second (read_objid + get_tree)
    QStringList labels;            // the label of the node each OID landed on
};

// Parses every module in `mibDirs` and resolves each OID through net-snmp's tree.
Result run(const QStringList &mibDirs, const QStringList &oids);

// Writes one module per MIB of a database's Tree table into mibDir, as plain
// OBJECT IDENTIFIER assignments: what net-snmp keeps of a definition for
// resolving an OID is its label and place. Returns the number of modules.
int writeSources(const QString &databasePath, const QString &mibDir);

} // namespace NetSnmpPeer

#pragma once

#include <QString>

class QXMibOID;

// Resolves what a user types: an OID or instance OID, a descriptor or
// MODULE:descriptor, each optionally followed by a numeric instance suffix
// (sysName.0, IF-MIB:ifDescr.3). Returns false when nothing matches.
bool resolveUserText(QXMibOID &record, const QString &text);

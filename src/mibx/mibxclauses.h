#pragma once

#include "qxmibtreecore_export.h"

#include <QString>

// The clauses of a module's objects that a MIB-X file may carry beyond what
// ImportMIBX reads: UNITS, INDEX (of a row: its index columns, "a, b") and
// DISPLAY-HINT, which `qxmib compile` and the pysnmp converter write. Applied
// after the file's import, through the OID record's own lets: Units, IndexBy,
// and Parse where the display hint maps onto one of the renderer's selectors
// (a Parse hint already set stays).
class QXMIBTREECORE_EXPORT MibxClauses
{
public:
    // Puts the clauses of the file's objects into their rows in the database;
    // returns the number of objects that got any. A file that does not load
    // applies nothing.
    static int apply(const QString &fileName);

    // The renderer's selector for a display hint ("1x:" -> "PhysAddress",
    // DateAndTime's -> "DateAndTime"), or empty where none renders it so.
    static QString parseHintOf(const QString &displayHint);
};

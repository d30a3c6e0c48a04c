#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

// Mends the slips in MIB source text that net-snmp's parser lets pass and
// libsmi's refuses, before libsmi sees the text:
//   - a comma before a closing brace (the last member of a SEQUENCE, the last
//     named number of an enumeration);
//   - the clauses of an OBJECT-TYPE out of order (DEFVAL or INDEX before
//     DESCRIPTION, UNITS after MAX-ACCESS, ...);
//   - a SEQUENCE type whose name starts in lower case, spelled like its entry;
//   - SMIv1's Counter and Gauge in an SMIv2 module, for Counter32 and Gauge32.
// Lines stay where they are, so problems found afterwards point at the
// original text (within an object whose clauses moved, at its first line).
class MibRepair
{
public:
    struct Fix
    {
        int line = 0;
        QString what;
    };

    // The mended text; `fixes` gets one entry per change. Text with nothing to
    // mend comes back as it is, with no fixes.
    static QByteArray repair(const QByteArray &text, QList<Fix> *fixes);
};

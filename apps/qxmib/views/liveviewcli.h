#pragma once

// What qxmib table and qxmib browse share: net-snmp's options plus options of
// their own, the object they show read as the other commands read it, and
// setting up a live view by name.

#include "snmp/snmpoptions.h"

#include <QObject>

struct LiveViewOptions
{
    SnmpOptions snmp;

    // ownFlags: "--csv"; ownValued: "--rows" (read back through snmp.has and snmp.value).
    bool parse(const QStringList &args, const QStringList &ownFlags, const QStringList &ownValued, QString *error);
    // The table or OID given, as a dotted OID when the database knows the text
    // (IF-MIB::ifTable, .1.3.6.1.2.1.1), else as given for the view to report.
    QString object() const;
    // Sets Target, Community, SNMPVersion and SessionHandle on a view through its
    // properties, as hosts do, and time-out and retries in the engine.
    void applyTo(QObject *view);

    static QString usage();
};

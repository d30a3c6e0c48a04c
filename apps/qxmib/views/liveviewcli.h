#pragma once

// What qxmib table and qxmib browse share: the SNMP options of the other SNMP
// commands plus options of their own, and setting up a live view by name.

#include "snmpcli.h"

#include <QHash>
#include <QObject>

struct LiveViewOptions
{
    SnmpCli::Options snmp;
    QStringList flags;              // own options without a value that were given
    QHash<QString, QString> values; // own options with a value

    // ownFlags: "--csv"; ownValued: "--rows". The rest goes to SnmpCli::parseOptions.
    bool parse(const QStringList &args, const QStringList &ownFlags, const QStringList &ownValued, QString *error);
    // Sets Target, Community, SNMPVersion and SessionHandle on a view through its
    // properties, as hosts do, and time-out and retries in the engine.
    void applyTo(QObject *view);

    static const char *usage();
};

#pragma once

#include "targetbar.h"

#include <QString>
#include <QStringList>

// The browser's command line: the agent as net-snmp's tools take it, or a
// private one, and what to show first.
struct BrowserOptions
{
    QString database;
    bool localAgent = false;
    bool showNotifications = false;
    bool haveTarget = false;
    bool snmpOptions = false; // any of -v -c -u -l -a -A -x -X given
    SnmpTarget target;
    QString table;
    QString walk;
    QStringList importFiles;
    QString mibxFile;
    QString screenshot;
    int quitAfterMs = -1;
    int trapPort = 1162; // the Notifications pane's; 0: not listening
    bool help = false;

    // False with *error set for a usage error.
    bool parse(const QStringList &args, QString *error);
    static QString usage();
};

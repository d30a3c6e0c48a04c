#pragma once

#include "snmp/snmpsession.h"

#include <QObject>
#include <QString>
#include <QStringList>

// The SNMP options the live-view commands take, as the other SNMP commands spell
// them: -v 1|2c|3, -c COMMUNITY, -t TIMEOUT_MS, -r RETRIES and the v3 options
// -u -l -a -A -x -X --context --context-engine. Options a command adds of its
// own are given by name with whether they take a value; they end up in extra.
struct SnmpOptions
{
    int version = 2;
    QString community = QStringLiteral("public");
    int timeout = -1;
    int retries = -1;
    SnmpSession v3;
    QStringList positional;
    QStringList flags;
    QList<QPair<QString, QString>> extra;

    // commandOptions: "--csv" (a flag) or "--rows=" (takes a value).
    bool parse(const QStringList &args, const QStringList &commandOptions, QString *error);
    QString value(const QString &option, const QString &fallback = QString()) const;
    bool has(const QString &flag) const { return flags.contains(flag); }

    // Sets Target, Community, SNMPVersion and SessionHandle on a live view by
    // name, the way hosts do, and time-out and retries in the engine.
    void applyTo(QObject *view, const QString &target);

    static const char *usage();
};

#pragma once

#include "qxmibtreecore_export.h"
#include "snmp/snmpsession.h"

#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

// net-snmp's command line options as its tools take them, for every host that
// talks to an agent from its command line: -v 1|2c|3, -c COMMUNITY, -t SECONDS
// (fractions allowed), -r RETRIES, -Cr<N>, and for version 3 -u -l -a -A -x -X
// -n -E -e. The value may be joined to the letter ("-v2c") or follow it ("-v 2c");
// options may come before or after the target; "--" ends them; a negative
// number is a value, not an option.
struct QXMIBTREECORE_EXPORT SnmpOptions
{
    int version = 2;
    QString community = QStringLiteral("public");
    QStringList communities;       // every -c given, in order
    QStringList securityEngineIds; // every -e given, hex digits
    int timeoutMs = -1; // -1: the user's SNMP settings
    int retries = -1;
    short maxRepetitions = 10;
    QString target;    // the first argument that is no option, an agent address; empty when there is none
    QStringList rest;  // the arguments after it: OIDs, or OID TYPE VALUE triples
    SnmpSession v3;
    QString given;     // the letters of the options given, in order
    // The host's own options that were given, in order, with their values.
    QList<QPair<QString, QString>> own;

    // ownFlags ("--csv") and ownValued ("--rows") are the host's own options,
    // taken as they stand. False with *error set in net-snmp's words for a usage error,
    // or in AgentAddress's for a target that is no agent address.
    static bool parse(const QStringList &args, SnmpOptions *options, QString *error,
                      const QStringList &ownFlags = {}, const QStringList &ownValued = {});

    // The lines that explain the agent address and these options, for a host's --help.
    static QString help();

    // The value of the host's own option given last under that name.
    QString value(const QString &name, const QString &otherwise = QString()) const;
    bool has(const QString &name) const;
};

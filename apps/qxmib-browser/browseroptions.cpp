#include "browseroptions.h"

#include "snmp/snmpoptions.h"

bool BrowserOptions::parse(const QStringList &args, QString *error)
{
    // net-snmp's options as qxmib takes them, and the browser's own.
    SnmpOptions o;
    if (!SnmpOptions::parse(args, &o, error, {QStringLiteral("-h"), QStringLiteral("--help"), QStringLiteral("--local-agent"),
                             QStringLiteral("--notifications")},
                            {QStringLiteral("--db"), QStringLiteral("--table"), QStringLiteral("--walk"),
                             QStringLiteral("--import"), QStringLiteral("--view"), QStringLiteral("--screenshot"),
                             QStringLiteral("--quit-after"), QStringLiteral("--trap-port"), QStringLiteral("--db-wait"),
                             QStringLiteral("-p")}))
        return false;
    help = o.has(QStringLiteral("-h")) || o.has(QStringLiteral("--help"));
    localAgent = o.has(QStringLiteral("--local-agent"));
    showNotifications = o.has(QStringLiteral("--notifications"));
    if (o.has(QStringLiteral("--trap-port"))) {
        bool ok = false;
        trapPort = o.value(QStringLiteral("--trap-port")).toInt(&ok);
        if (!ok || trapPort < 0 || trapPort > 65535) {
            *error = QStringLiteral("--trap-port takes a UDP port, or 0 for none");
            return false;
        }
    }
    if (o.has(QStringLiteral("--db-wait"))) {
        bool ok = false;
        const double seconds = o.value(QStringLiteral("--db-wait")).toDouble(&ok);
        if (!ok || seconds < 0 || seconds > 3600) {
            *error = QStringLiteral("--db-wait needs a number of seconds (0 to 3600)");
            return false;
        }
        databaseWaitMs = int(seconds * 1000);
    }
    database = o.value(QStringLiteral("--db"));
    table = o.value(QStringLiteral("--table"));
    walk = o.value(QStringLiteral("--walk"));
    mibxFile = o.value(QStringLiteral("--view"));
    screenshot = o.value(QStringLiteral("--screenshot"));
    if (o.has(QStringLiteral("--quit-after")))
        quitAfterMs = int(o.value(QStringLiteral("--quit-after")).toDouble() * 1000);
    for (const auto &option : std::as_const(o.own)) {
        if (option.first == QLatin1String("--import"))
            importFiles.append(option.second);
    }
    snmpOptions = !o.given.isEmpty();
    target.version = o.version;
    target.community = o.community;
    target.user = o.v3.UserName();
    target.level = o.v3.SecurityLevel();
    target.authProtocol = o.v3.AuthProtocol().toUpper();
    target.authPassword = o.v3.AuthPassword();
    target.privProtocol = o.v3.PrivProtocol().toUpper();
    target.privPassword = o.v3.PrivPassword();
    if (!o.rest.isEmpty()) {
        *error = QStringLiteral("one agent only: %1").arg(o.target + u' ' + o.rest.join(u' '));
        return false;
    }
    haveTarget = !o.target.isEmpty();
    if (haveTarget)
        TargetBar::splitAddress(o.target, &target.host, &target.port);
    if (o.has(QStringLiteral("-p"))) {
        bool ok = false;
        target.port = o.value(QStringLiteral("-p")).toInt(&ok);
        if (!ok || target.port < 1 || target.port > 65535) {
            *error = QStringLiteral("-p takes a port number from 1 to 65535");
            return false;
        }
    }
    if (localAgent && haveTarget) {
        *error = QStringLiteral("--local-agent and an agent of your own exclude each other");
        return false;
    }
    if (target.version == 3 && haveTarget && target.user.isEmpty()) {
        *error = QStringLiteral("SNMPv3 needs a user (-u)");
        return false;
    }
    return true;
}

QString BrowserOptions::usage()
{
    return QStringLiteral(
        "Usage: qxmib-browser [--db PATH] [--db-wait SECONDS] [--local-agent | TARGET [SNMP options]]\n"
        "                     [--table NAME] [--walk OID] [--import FILE]... [--view FILE]\n"
        "                     [--trap-port N] [--notifications] [--screenshot FILE] [--quit-after SECONDS]\n\n"
        "A MIB browser: the tree of all MIBs, tables and walks from an SNMP agent, MIB-X import.\n\n"
        "TARGET is the AGENT below, with net-snmp's options (-t, -r, -n, -Cr are taken, not used;\n"
        "pass phrases are never saved):\n")
        + SnmpOptions::help()
        + QStringLiteral(
        "  --local-agent     start a private snmpd on a free loopback port, stopped on exit\n"
        "  --db PATH         the MIB database (default: MIBs.cfg beside the component)\n"
        "  --db-wait S       how long to wait for another program that holds the database\n"
        "                    before giving up (default 5; the status bar shows the wait)\n"
        "  --table NAME      retrieve a table into the table view (ifTable, IF-MIB:ifXTable, an OID)\n"
        "  --walk OID        walk a subtree in the browser view (system, 1.3.6.1.2.1.4)\n"
        "  --import FILE     import a MIB-X file first\n"
        "  --view FILE       show a MIB-X file in the viewer\n"
        "  --trap-port N     the Notifications pane listens for traps on UDP port N (1162; 0: not at all);\n"
        "                    the private agent of --local-agent sends its traps there\n"
        "  --notifications   show the Notifications pane first\n"
        "  --screenshot FILE save a picture of the window once the views are done, then close\n"
        "  --quit-after S    close after S seconds (with --screenshot: save by then at the latest)\n");
}

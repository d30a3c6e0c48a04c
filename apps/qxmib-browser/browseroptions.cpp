#include "browseroptions.h"

#include <QCoreApplication>

bool BrowserOptions::parse(const QStringList &args, QString *error)
{
    QStringList positional;
    bool portGiven = false;
    for (int i = 0; i < args.size(); ++i) {
        QString a = args.at(i);
        // net-snmp's "-v2c", "-cpublic": the value glued to the option.
        QString glued;
        if (a.size() > 2 && a.at(0) == u'-' && a.at(1) != u'-' && QStringLiteral("vculaAxXp").contains(a.at(1))) {
            glued = a.mid(2);
            a = a.left(2);
        }
        const auto value = [&](QString *out) {
            if (!glued.isEmpty()) {
                *out = glued;
                return true;
            }
            if (i + 1 >= args.size()) {
                *error = QStringLiteral("%1 needs a value").arg(a);
                return false;
            }
            *out = args.at(++i);
            return true;
        };
        QString v;
        if (a == QLatin1String("-h") || a == QLatin1String("--help")) {
            help = true;
        } else if (a == QLatin1String("--local-agent")) {
            localAgent = true;
        } else if (a == QLatin1String("--notifications")) {
            showNotifications = true;
        } else if (a == QLatin1String("--db") || a == QLatin1String("--table") || a == QLatin1String("--walk")
                   || a == QLatin1String("--import") || a == QLatin1String("--view")
                   || a == QLatin1String("--screenshot") || a == QLatin1String("--quit-after")
                   || a == QLatin1String("--trap-port")) {
            if (!value(&v))
                return false;
            if (a == QLatin1String("--db"))
                database = v;
            else if (a == QLatin1String("--table"))
                table = v;
            else if (a == QLatin1String("--walk"))
                walk = v;
            else if (a == QLatin1String("--import"))
                importFiles.append(v);
            else if (a == QLatin1String("--view"))
                mibxFile = v;
            else if (a == QLatin1String("--screenshot"))
                screenshot = v;
            else if (a == QLatin1String("--trap-port")) {
                bool ok = false;
                trapPort = v.toInt(&ok);
                if (!ok || trapPort < 0 || trapPort > 65535) {
                    *error = QStringLiteral("--trap-port takes a UDP port, or 0 for none");
                    return false;
                }
            }
            else
                quitAfterMs = int(v.toDouble() * 1000);
        } else if (a.size() == 2 && a.at(0) == u'-' && QStringLiteral("vculaAxXp").contains(a.at(1))) {
            if (!value(&v))
                return false;
            snmpOptions = snmpOptions || a.at(1) != u'p';
            switch (a.at(1).unicode()) {
            case 'v':
                target.version = v == QLatin1String("1") ? 1 : v == QLatin1String("3") ? 3 : 2;
                if (v != QLatin1String("1") && v != QLatin1String("2c") && v != QLatin1String("2")
                    && v != QLatin1String("3")) {
                    *error = QStringLiteral("-v takes 1, 2c or 3");
                    return false;
                }
                break;
            case 'c': target.community = v; break;
            case 'u': target.user = v; break;
            case 'l':
                target.level = v.compare(QLatin1String("authPriv"), Qt::CaseInsensitive) == 0 ? 3
                    : v.compare(QLatin1String("authNoPriv"), Qt::CaseInsensitive) == 0     ? 2
                                                                                            : 1;
                break;
            case 'a': target.authProtocol = v.toUpper(); break;
            case 'A': target.authPassword = v; break;
            case 'x': target.privProtocol = v.toUpper(); break;
            case 'X': target.privPassword = v; break;
            case 'p':
                target.port = v.toInt();
                portGiven = true;
                break;
            }
        } else if (a.startsWith(u'-') && a.size() > 1) {
            *error = QStringLiteral("unknown option %1").arg(a);
            return false;
        } else {
            positional.append(a);
        }
    }
    if (positional.size() > 1) {
        *error = QStringLiteral("one agent only: %1").arg(positional.join(u' '));
        return false;
    }
    if (!positional.isEmpty()) {
        haveTarget = true;
        // net-snmp's transport prefix: udp:host:port
        QString t = positional.first();
        if (t.startsWith(QLatin1String("udp:")))
            t = t.mid(4);
        const int port = target.port;
        TargetBar::splitAddress(t, &target.host, &target.port);
        if (portGiven)
            target.port = port;
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
        "Usage: qxmib-browser [--db PATH] [--local-agent | TARGET [SNMP options]]\n"
        "                     [--table NAME] [--walk OID] [--import FILE]... [--view FILE]\n"
        "                     [--trap-port N] [--notifications] [--screenshot FILE] [--quit-after SECONDS]\n\n"
        "A MIB browser: the tree of all MIBs, tables and walks from an SNMP agent, MIB-X import.\n\n"
        "  TARGET            the agent: address or host name, optionally :port ([v6addr]:port)\n"
        "  -v 1|2c|3         SNMP version (default 2c)\n"
        "  -c COMMUNITY      community (default public)\n"
        "  -u USER -l noAuthNoPriv|authNoPriv|authPriv -a MD5|SHA|SHA-256|... -A PASSPHRASE\n"
        "  -x DES|AES|AES-192|AES-256 -X PASSPHRASE\n"
        "                    SNMPv3 credentials (pass phrases are never saved)\n"
        "  --local-agent     start a private snmpd on a free loopback port, stopped on exit\n"
        "  --db PATH         the MIB database (default: MIBs.cfg beside the component)\n"
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

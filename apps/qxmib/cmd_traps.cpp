// qxmib traps: receives notifications through the component's TrapReceiver and
// prints one line per notification in snmptrapd's manner, named and rendered
// by the MIB database, until interrupted or --count notifications have come.
// What the receiver refuses goes to stderr.

#include "command.h"
#include "snmpcli.h"

#include "core/qxmiberror.h"
#include "snmp/trapreceiver.h"

#include <QCoreApplication>

#include <cstdio>

namespace {

const char kUsage[] =
    "Usage: qxmib [--db PATH] traps [--address ADDRESS] [--port N] [--count N] [-c COMMUNITY]...\n"
    "                               [-u USER -l LEVEL -a PROTO -A PASS -x PROTO -X PASS [-e ENGINE-ID]...]\n\n"
    "Receives SNMP traps and informs (SNMPv1, SNMPv2c, SNMPv3) and prints one line per notification:\n"
    "time, sender, version, community or user, the notification's name, the uptime, then each binding\n"
    "as name.instance = value, rendered by the MIB database. Informs are answered.\n\n"
    "  --address ADDRESS  address to listen on (0.0.0.0; \"::\" or [v6addr] for IPv6)\n"
    "  --port N           UDP port (162, which needs privileges)\n"
    "  --count N          stop after N notifications (run until interrupted otherwise)\n"
    "  -c COMMUNITY       accept this community (repeatable; every community unless given)\n"
    "  -u USER  -l noAuthNoPriv|authNoPriv|authPriv\n"
    "  -a MD5|SHA|SHA-224|SHA-256|SHA-384|SHA-512  -A PASSPHRASE  -x DES|AES|AES-192|AES-256  -X PASSPHRASE\n"
    "                     an SNMPv3 user; its informs are checked with keys for this receiver's engine id\n"
    "  -e ENGINE-ID       engine id (hex) of an agent whose SNMPv3 traps the user signs (repeatable)\n";

int runTraps(const QStringList &arguments)
{
    if (arguments.contains(QStringLiteral("--help")) || arguments.contains(QStringLiteral("-h"))) {
        printOut(QString::fromLatin1(kUsage));
        return 0;
    }
    QString address = QStringLiteral("0.0.0.0");
    int port = 162;
    long long count = -1;
    QStringList rest;
    for (int i = 0; i < arguments.size(); ++i) {
        const QString a = arguments.at(i);
        if (a != QLatin1String("--address") && a != QLatin1String("--port") && a != QLatin1String("--count")) {
            rest.append(a);
            continue;
        }
        if (i + 1 >= arguments.size()) {
            printErr(QStringLiteral("Option %1 needs a value\n").arg(a));
            return 1;
        }
        const QString value = arguments.at(++i);
        bool ok = true;
        if (a == QLatin1String("--address"))
            address = value;
        else if (a == QLatin1String("--port"))
            port = value.toInt(&ok);
        else
            count = value.toLongLong(&ok);
        if (!ok || port < 1 || port > 65535 || (a == QLatin1String("--count") && count < 1)) {
            printErr(QStringLiteral("Bad value after %1: %2\n").arg(a, value));
            return 1;
        }
    }
    SnmpCli::Options options;
    QString error;
    if (!SnmpCli::parseOptions(rest, &options, &error, false) || !options.rest.isEmpty()) {
        printErr((error.isEmpty() ? QStringLiteral("Unexpected argument: ") + options.rest.first() : error)
                 + QLatin1Char('\n') + QString::fromLatin1(kUsage));
        return 1;
    }

    TrapReceiver receiver;
    long long printed = 0;
    try {
        receiver.setAddress(address);
        receiver.setPort(port);
        receiver.setCommunities(options.communities);
        const SnmpSession &v3 = options.v3;
        if (!v3.UserName().isEmpty())
            receiver.AddUser(v3.UserName(), v3.SecurityLevel(), v3.AuthProtocol(), v3.AuthPassword(),
                             v3.PrivProtocol(), v3.PrivPassword(), options.securityEngineIds);
        receiver.Listen();
    } catch (const QXMibError &e) {
        printErr(e.description() + QLatin1Char('\n'));
        return 1;
    }
    QObject::connect(&receiver, &TrapReceiver::Received, &receiver, [&](const Notification &n) {
        if (count >= 0 && printed >= count)
            return;
        printOut(n.line() + QLatin1Char('\n'));
        std::fflush(stdout);
        if (count >= 0 && ++printed >= count)
            QCoreApplication::exit(0);
    });
    QObject::connect(&receiver, &TrapReceiver::Rejected, &receiver,
                     [](int, const QString &description, const QString &source) {
                         printErr(QStringLiteral("%1 from %2\n")
                                      .arg(description, source.isEmpty() ? QStringLiteral("?") : source));
                     });
    return QCoreApplication::exec();
}

} // namespace

QXMIB_COMMAND("traps", "receive SNMP traps and informs and print them named and rendered", runTraps)

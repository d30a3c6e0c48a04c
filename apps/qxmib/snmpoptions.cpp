#include "snmpoptions.h"

#include "snmp/peloruswrapper.h"

#include <QVariant>

bool SnmpOptions::parse(const QStringList &args, const QStringList &commandOptions, QString *error)
{
    for (int i = 0; i < args.size(); ++i) {
        const QString a = args.at(i);
        if (!a.startsWith(QLatin1Char('-')) || a == QLatin1String("-")) {
            positional.append(a);
            continue;
        }
        if (commandOptions.contains(a)) {
            flags.append(a);
            continue;
        }
        const bool own = commandOptions.contains(a + QLatin1Char('='));
        if (i + 1 >= args.size()) {
            *error = QStringLiteral("option %1 needs a value").arg(a);
            return false;
        }
        const QString v = args.at(++i);
        bool ok = true;
        if (own) {
            extra.append({a, v});
        } else if (a == QLatin1String("-v")) {
            version = v == QLatin1String("1") ? 1 : v == QLatin1String("2c") || v == QLatin1String("2") ? 2
                : v == QLatin1String("3")                                                              ? 3
                                                                                                        : 0;
            ok = version != 0;
        } else if (a == QLatin1String("-c")) {
            community = v;
        } else if (a == QLatin1String("-t")) {
            timeout = v.toInt(&ok);
        } else if (a == QLatin1String("-r")) {
            retries = v.toInt(&ok);
        } else if (a == QLatin1String("-u")) {
            v3.setUserName(v);
        } else if (a == QLatin1String("-l")) {
            const QString l = v.toLower();
            ok = l == QLatin1String("authpriv") || l == QLatin1String("authnopriv") || l == QLatin1String("noauthnopriv");
            v3.setSecurityLevel(l == QLatin1String("authpriv") ? 3 : l == QLatin1String("authnopriv") ? 2 : 1);
        } else if (a == QLatin1String("-a")) {
            v3.setAuthProtocol(v);
        } else if (a == QLatin1String("-A")) {
            v3.setAuthPassword(v);
        } else if (a == QLatin1String("-x")) {
            v3.setPrivProtocol(v);
        } else if (a == QLatin1String("-X")) {
            v3.setPrivPassword(v);
        } else if (a == QLatin1String("--context")) {
            v3.setContextName(v);
        } else if (a == QLatin1String("--context-engine")) {
            v3.setContextEngineID(v);
        } else {
            *error = QStringLiteral("unknown option %1").arg(a);
            return false;
        }
        if (!ok) {
            *error = QStringLiteral("bad value for %1: %2").arg(a, v);
            return false;
        }
    }
    return true;
}

QString SnmpOptions::value(const QString &option, const QString &fallback) const
{
    for (const auto &e : extra) {
        if (e.first == option)
            return e.second;
    }
    return fallback;
}

const char *SnmpOptions::usage()
{
    return "TARGET is an address or host name, optionally with :port; IPv6 as [addr]:port.\n"
           "SNMP options: -v 1|2c|3 (default 2c) -c COMMUNITY (default public) -t TIMEOUT_MS -r RETRIES\n"
           "v3 options: -u USER -l noAuthNoPriv|authNoPriv|authPriv -a MD5|SHA|SHA-224|SHA-256|SHA-384|SHA-512\n"
           "            -A PASSPHRASE -x DES|AES|AES-192|AES-256 -X PASSPHRASE --context NAME --context-engine HEX\n"
           "Time-out, retries and the bulk request size default to the user's SNMP settings.\n";
}

void SnmpOptions::applyTo(QObject *view, const QString &target)
{
    view->setProperty("Target", target);
    view->setProperty("Community", community);
    view->setProperty("SNMPVersion", version);
    view->setProperty("SessionHandle", QVariant::fromValue(&v3));
    // The views write the user's settings into the engine when they are created.
    if (timeout >= 0)
        PelorusWrapper::instance()->setSNMPTimeout(timeout);
    if (retries >= 0)
        PelorusWrapper::instance()->setSNMPRetries(short(retries));
}

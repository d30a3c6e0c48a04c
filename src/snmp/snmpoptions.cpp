#include "snmp/snmpoptions.h"

#include "snmp/agentaddress.h"

#include <QRegularExpression>

#include <algorithm>

namespace {

bool isNegativeNumber(const QString &text)
{
    static const QRegularExpression number(QStringLiteral("^-\\d+(\\.\\d+)?$"));
    return number.match(text).hasMatch();
}

bool oneOf(const QString &value, const char *const *names)
{
    for (; *names != nullptr; ++names) {
        if (value.compare(QLatin1String(*names), Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

} // namespace

bool SnmpOptions::parse(const QStringList &args, SnmpOptions *o, QString *error, const QStringList &ownFlags,
                        const QStringList &ownValued)
{
    static const char *const authNames[] = {"MD5", "SHA", "SHA1", "SHA-1", "SHA-224", "SHA-256", "SHA-384", "SHA-512",
                                            nullptr};
    static const char *const privNames[] = {"DES",     "AES",       "AES-128",   "AES-192",
                                            "AES-256", "AES-192-C", "AES-256-C", nullptr};
    bool positional = false;
    for (int i = 0; i < args.size(); ++i) {
        const QString a = args.at(i);
        if (!positional && ownFlags.contains(a)) {
            o->own.append({a, QString()});
            continue;
        }
        if (!positional && ownValued.contains(a)) {
            if (i + 1 >= args.size()) {
                *error = QStringLiteral("Option %1 needs a value").arg(a);
                return false;
            }
            o->own.append({a, args.at(++i)});
            continue;
        }
        if (positional || a.size() < 2 || !a.startsWith(QLatin1Char('-')) || isNegativeNumber(a)) {
            o->rest.append(a);
            continue;
        }
        if (a == QLatin1String("--")) {
            positional = true;
            continue;
        }
        const QChar letter = a.at(1);
        if (a.startsWith(QLatin1String("--")) || !QStringLiteral("vctrulaAxXnEeC").contains(letter)) {
            *error = QStringLiteral("Unknown option: ") + a;
            return false;
        }
        auto next = [&](QString *value) {
            if (i + 1 >= args.size()) {
                *error = QStringLiteral("Option %1 needs a value").arg(a.left(2));
                return false;
            }
            *value = args.at(++i);
            return true;
        };
        QString v = a.mid(2);
        if (v.isEmpty() && !next(&v))
            return false;
        bool ok = true;
        o->given += letter;
        switch (letter.unicode()) {
        case 'v':
            o->version = v == QLatin1String("1") ? 1 : v == QLatin1String("2c") || v == QLatin1String("2") ? 2
                : v == QLatin1String("3")                                                              ? 3
                                                                                                        : 0;
            if (o->version == 0) {
                *error = QStringLiteral("Invalid version specified after -v flag: ") + v;
                return false;
            }
            break;
        case 'c':
            o->community = v;
            o->communities.append(v);
            break;
        case 't': {
            const double seconds = v.toDouble(&ok);
            if (!ok || seconds <= 0 || seconds > 86400) {
                *error = QStringLiteral("Invalid timeout in seconds after -t flag.");
                return false;
            }
            o->timeoutMs = qMax(1, qRound(seconds * 1000));
            break;
        }
        case 'r':
            o->retries = v.toInt(&ok);
            if (!ok || o->retries < 0) {
                *error = QStringLiteral("Invalid number of retries after -r flag.");
                return false;
            }
            break;
        case 'u':
            o->v3.setUserName(v);
            break;
        case 'l': {
            const QString l = v.toLower();
            const int level = l == QLatin1String("noauthnopriv") || l == QLatin1String("noauth") || l == QLatin1String("1")
                ? 1
                : l == QLatin1String("authnopriv") || l == QLatin1String("auth") || l == QLatin1String("2")
                ? 2
                : l == QLatin1String("authpriv") || l == QLatin1String("priv") || l == QLatin1String("3") ? 3
                                                                                                          : 0;
            if (level == 0) {
                *error = QStringLiteral("Invalid security level specified after -l flag: ") + v;
                return false;
            }
            o->v3.setSecurityLevel(level);
            break;
        }
        case 'a':
            if (!oneOf(v, authNames)) {
                *error = QStringLiteral("Invalid authentication protocol specified after -a flag: ") + v;
                return false;
            }
            o->v3.setAuthProtocol(v);
            break;
        case 'A':
            o->v3.setAuthPassword(v);
            break;
        case 'x':
            if (!oneOf(v, privNames)) {
                *error = QStringLiteral("Invalid privacy protocol specified after -x flag: ") + v;
                return false;
            }
            o->v3.setPrivProtocol(v);
            break;
        case 'X':
            o->v3.setPrivPassword(v);
            break;
        case 'n':
            o->v3.setContextName(v);
            break;
        case 'E':
        case 'e': {
            QString hex = v.startsWith(QLatin1String("0x"), Qt::CaseInsensitive) ? v.mid(2) : v;
            static const QRegularExpression hexDigits(QStringLiteral("^([0-9A-Fa-f]{2})+$"));
            if (!hexDigits.match(hex).hasMatch()) {
                *error = QStringLiteral("Bad engine ID value after -%1 flag.").arg(letter);
                return false;
            }
            if (letter == QLatin1Char('E'))
                o->v3.setContextEngineID(hex);
            else
                o->securityEngineIds.append(hex);
            break;
        }
        case 'C': {
            // -Cr<N> or -Cr N: repetitions per GetBulk request.
            if (!v.startsWith(QLatin1Char('r'))) {
                *error = QStringLiteral("Unknown flag passed to -C: ") + v;
                return false;
            }
            QString count = v.mid(1);
            if (count.isEmpty() && !next(&count))
                return false;
            o->maxRepetitions = count.toShort(&ok);
            if (!ok || o->maxRepetitions < 1) {
                *error = QStringLiteral("Bad number of repetitions after -Cr: ") + count;
                return false;
            }
            break;
        }
        }
    }
    if (o->rest.isEmpty())
        return true;
    o->target = o->rest.takeFirst();
    AgentAddress address;
    return AgentAddress::parse(o->target, &address, error);
}


QString SnmpOptions::value(const QString &name, const QString &otherwise) const
{
    const auto given = std::find_if(own.crbegin(), own.crend(), [&](const auto &option) { return option.first == name; });
    return given != own.crend() ? given->second : otherwise;
}

bool SnmpOptions::has(const QString &name) const
{
    return std::any_of(own.cbegin(), own.cend(), [&](const auto &option) { return option.first == name; });
}

QString SnmpOptions::help()
{
    return QStringLiteral(
        "AGENT: address or host name, optionally with :port; udp:, udp6: and [v6addr]:port as net-snmp takes them.\n"
        "  -v 1|2c|3        SNMP version (2c unless given)\n"
        "  -c COMMUNITY     community for versions 1 and 2c (public)\n"
        "  -t SECONDS       time-out per attempt, fractions allowed\n"
        "  -r RETRIES       retries; time-out and retries default to the user's SNMP settings\n"
        "  -u USER  -l noAuthNoPriv|authNoPriv|authPriv  -n CONTEXT  -E CONTEXT-ENGINE-ID\n"
        "  -a MD5|SHA|SHA-224|SHA-256|SHA-384|SHA-512  -A PASSPHRASE\n"
        "  -x DES|AES|AES-192|AES-256  -X PASSPHRASE\n");
}

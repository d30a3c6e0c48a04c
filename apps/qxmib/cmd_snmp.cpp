// qxmib get / getnext / walk / bulkwalk / set: live SNMP queries through the
// component's wrapper, one line per binding: instance OID, name, rendered value.

#include "command.h"

#include "core/qxmiberror.h"
#include "core/qxmiboid.h"
#include "snmp/peloruswrapper.h"
#include "snmp/settings.h"
#include "snmp/snmpquery.h"
#include "snmp/snmpreply.h"
#include "snmp/snmpsession.h"
#include "snmp/varbindlist.h"

#include <QEventLoop>

#include <memory>

namespace {

enum class Mode { Get, GetNext, Walk, BulkWalk, Set };

struct Options
{
    int version = 2;
    QString community = QStringLiteral("public");
    int timeout = -1;
    int retries = -1;
    short maxReps = 10;
    QString target;
    QStringList rest;
    SnmpSession v3;
};

const char kUsage[] =
    "Usage: qxmib [--db PATH] %1 [-v 1|2c|3] [-c COMMUNITY] [v3 options] [-t TIMEOUT_MS] [-r RETRIES]%2\n"
    "       TARGET %3\n\n"
    "TARGET is an address or host name, optionally with :port; IPv6 as [addr]:port.\n"
    "v3 options: -u USER -l noAuthNoPriv|authNoPriv|authPriv -a MD5|SHA|SHA-224|SHA-256|SHA-384|SHA-512\n"
    "            -A PASSPHRASE -x DES|AES|AES-192|AES-256 -X PASSPHRASE --context NAME --context-engine HEX\n"
    "Time-out and retries default to the user's SNMP settings.\n";

bool parse(const QStringList &args, Options &o, QString *error)
{
    auto value = [&](int &i) -> QString {
        if (i + 1 >= args.size()) {
            *error = QStringLiteral("option %1 needs a value").arg(args.at(i));
            return QString();
        }
        return args.at(++i);
    };
    for (int i = 0; i < args.size(); ++i) {
        const QString a = args.at(i);
        if (!a.startsWith(QLatin1Char('-')) || a == QLatin1String("-")) {
            o.rest.append(a);
            continue;
        }
        const QString v = value(i);
        if (!error->isEmpty())
            return false;
        bool ok = true;
        if (a == QLatin1String("-v")) {
            o.version = v == QLatin1String("1") ? 1 : v == QLatin1String("2c") || v == QLatin1String("2") ? 2
                : v == QLatin1String("3")                                                              ? 3
                                                                                                        : 0;
            ok = o.version != 0;
        } else if (a == QLatin1String("-c")) {
            o.community = v;
        } else if (a == QLatin1String("-t")) {
            o.timeout = v.toInt(&ok);
        } else if (a == QLatin1String("-r")) {
            o.retries = v.toInt(&ok);
        } else if (a == QLatin1String("-n")) {
            o.maxReps = v.toShort(&ok);
        } else if (a == QLatin1String("-u")) {
            o.v3.setUserName(v);
        } else if (a == QLatin1String("-l")) {
            const QString l = v.toLower();
            o.v3.setSecurityLevel(l == QLatin1String("authpriv") ? 3 : l == QLatin1String("authnopriv") ? 2 : 1);
            ok = l == QLatin1String("authpriv") || l == QLatin1String("authnopriv") || l == QLatin1String("noauthnopriv");
        } else if (a == QLatin1String("-a")) {
            o.v3.setAuthProtocol(v);
        } else if (a == QLatin1String("-A")) {
            o.v3.setAuthPassword(v);
        } else if (a == QLatin1String("-x")) {
            o.v3.setPrivProtocol(v);
        } else if (a == QLatin1String("-X")) {
            o.v3.setPrivPassword(v);
        } else if (a == QLatin1String("--context")) {
            o.v3.setContextName(v);
        } else if (a == QLatin1String("--context-engine")) {
            o.v3.setContextEngineID(v);
        } else {
            *error = QStringLiteral("unknown option %1").arg(a);
            return false;
        }
        if (!ok) {
            *error = QStringLiteral("bad value for %1: %2").arg(a, v);
            return false;
        }
    }
    if (o.rest.size() < 2) {
        *error = QStringLiteral("a target and at least one OID are needed");
        return false;
    }
    o.target = o.rest.takeFirst();
    return true;
}

// Names and renders bindings through the MIB database; without one, prints the
// OID and the value as delivered.
class Printer
{
public:
    void print(const VarBind &b)
    {
        QString name = b.OID;
        QString value = b.Value;
        if (m_useDatabase && b.Status == 0) {
            try {
                if (!m_oid)
                    m_oid = std::make_unique<QXMibOID>();
                m_oid->setOID(b.OID);
                if (!m_oid->Name().isEmpty()) {
                    name = m_oid->Name();
                    QString hex = b.HexValue;
                    value = m_oid->ParseValue(b.Value, hex);
                }
            } catch (const QXMibError &) {
                m_useDatabase = false;
            }
        }
        printOut(b.OID + QLatin1Char('\t') + name + QLatin1Char('\t') + value + QLatin1Char('\n'));
    }

private:
    bool m_useDatabase = true;
    std::unique_ptr<QXMibOID> m_oid;
};

bool lessThan(const QString &a, const QString &b)
{
    const QStringList x = a.split(QLatin1Char('.'));
    const QStringList y = b.split(QLatin1Char('.'));
    for (int i = 0; i < x.size() && i < y.size(); ++i) {
        const qulonglong p = x.at(i).toULongLong();
        const qulonglong q = y.at(i).toULongLong();
        if (p != q)
            return p < q;
    }
    return x.size() < y.size();
}

bool inside(const QString &oid, const QString &root)
{
    return oid.startsWith(root + QLatin1Char('.'));
}

class Runner : public SNMPReply
{
public:
    Runner(Mode mode, Options &options)
        : m_mode(mode)
        , m_o(options)
        , m_wrapper(PelorusWrapper::instance())
    {
    }

    int run()
    {
        if (m_o.timeout >= 0 || m_o.retries >= 0) {
            Settings settings;
            m_wrapper->setSNMPTimeout(m_o.timeout >= 0 ? m_o.timeout : settings.SNMPTimeout());
            m_wrapper->setSNMPRetries(short(m_o.retries >= 0 ? m_o.retries : settings.SNMPRetries()));
        } else {
            Settings settings;
            m_wrapper->setSNMPTimeout(settings.SNMPTimeout());
            m_wrapper->setSNMPRetries(settings.SNMPRetries());
        }
        if (m_mode == Mode::BulkWalk && m_o.version == 1) {
            printErr(QStringLiteral("qxmib bulkwalk: GetBulk needs -v 2c or 3\n"));
            return 2;
        }
        if (m_mode == Mode::Set) {
            if (m_o.rest.size() % 3 != 0) {
                printErr(QStringLiteral("qxmib set: give OID TYPE VALUE triples\n"));
                return 2;
            }
            for (int i = 0; i < m_o.rest.size(); i += 3) {
                const int type = typeCode(m_o.rest.at(i + 1));
                if (type < 0) {
                    printErr(QStringLiteral("qxmib set: unknown type %1\n").arg(m_o.rest.at(i + 1)));
                    return 2;
                }
                m_wrapper->SNMPQuerySet(m_o.target, m_o.community, m_o.rest.at(i), m_o.version, this,
                                        m_o.rest.at(i + 2), type, &m_o.v3, true, QString::number(i / 3));
                ++m_expected;
            }
            return finish();
        }
        if (m_mode == Mode::Get || m_mode == Mode::GetNext) {
            for (int i = 0; i < m_o.rest.size(); ++i) {
                if (m_mode == Mode::Get)
                    m_wrapper->SNMPQueryGet(m_o.target, m_o.community, m_o.rest.at(i), m_o.version, this, &m_o.v3,
                                            true, QString::number(i));
                else
                    m_wrapper->SNMPQueryGetNext(m_o.target, m_o.community, m_o.rest.at(i), m_o.version, this,
                                                &m_o.v3, true, QString::number(i));
                ++m_expected;
            }
            return finish();
        }
        // Walks: one subtree after another.
        for (const QString &root : std::as_const(m_o.rest)) {
            m_root = root.startsWith(QLatin1Char('.')) ? root.mid(1) : root;
            m_last = m_root;
            m_walkEnded = false;
            m_walked = 0;
            step();
            m_loop.exec();
            if (m_failed)
                return 1;
            if (m_walked == 0 && m_mode != Mode::Get) {
                // Like net-snmp's tools: a subtree with nothing under it is tried as an instance.
                m_mode = Mode::Get;
                m_expected = 1;
                m_replies.clear();
                m_wrapper->SNMPQueryGet(m_o.target, m_o.community, m_root, m_o.version, this, &m_o.v3, true,
                                        QStringLiteral("0"));
                const int status = finish(true);
                m_mode = Mode::Walk;
                if (status != 0)
                    return status;
            }
        }
        return 0;
    }

    void Reply(SnmpQuery *query) override
    {
        if (m_mode == Mode::Walk || m_mode == Mode::BulkWalk)
            walkReply(query);
        else
            m_replies.insert(query->NodeID().toInt(), {query->ErrorNumber(), query->ErrorDescription(),
                                                       query->VarBinds()->items()});
        if (m_wrapper->SNMPOutstandingQueries() == 0)
            m_loop.quit();
    }

private:
    struct Result
    {
        int error;
        QString description;
        QVector<VarBind> bindings;
    };

    static int typeCode(const QString &name)
    {
        const QString t = name.toLower();
        static const QList<QPair<QString, int>> names = {
            {QStringLiteral("i"), 2},  {QStringLiteral("integer"), 2}, {QStringLiteral("s"), 4},
            {QStringLiteral("string"), 4}, {QStringLiteral("o"), 6}, {QStringLiteral("oid"), 6},
            {QStringLiteral("a"), 64}, {QStringLiteral("ipaddress"), 64}, {QStringLiteral("c"), 65},
            {QStringLiteral("counter32"), 65}, {QStringLiteral("u"), 66}, {QStringLiteral("gauge32"), 66},
            {QStringLiteral("t"), 67}, {QStringLiteral("timeticks"), 67}, {QStringLiteral("counter64"), 70},
            {QStringLiteral("null"), 5}};
        for (const auto &n : names) {
            if (n.first == t)
                return n.second;
        }
        bool ok = false;
        const int code = name.toInt(&ok);
        return ok ? code : -1;
    }

    int finish(bool quietErrors = false)
    {
        if (m_wrapper->SNMPOutstandingQueries() > 0)
            m_loop.exec();
        int status = 0;
        for (auto it = m_replies.cbegin(); it != m_replies.cend(); ++it) {
            if (it->error != 0) {
                if (!quietErrors || it->error < 0)
                    printErr(QStringLiteral("Error %1: %2\n").arg(it->error).arg(it->description));
                status = 1;
                continue;
            }
            for (const VarBind &b : it->bindings)
                m_printer.print(b);
        }
        m_replies.clear();
        return status;
    }

    void step()
    {
        if (m_mode == Mode::BulkWalk)
            m_wrapper->SNMPQueryGetBulk(m_o.target, m_o.community, m_last, m_o.version, this, m_o.maxReps, &m_o.v3,
                                        0, true, m_root);
        else
            m_wrapper->SNMPQueryGetNext(m_o.target, m_o.community, m_last, m_o.version, this, &m_o.v3, true,
                                        m_root);
    }

    void walkReply(SnmpQuery *query)
    {
        if (query->ErrorNumber() != 0) {
            // noSuchName from a version 1 agent is its way of saying the tree has ended.
            if (!(m_o.version == 1 && query->ErrorNumber() == 2)) {
                printErr(QStringLiteral("Error %1: %2\n").arg(query->ErrorNumber()).arg(query->ErrorDescription()));
                m_failed = true;
            }
            return;
        }
        for (const VarBind &b : query->VarBinds()->items()) {
            if (b.Status != 0 || !inside(b.OID, m_root))
                return;
            if (!lessThan(m_last, b.OID)) {
                printErr(QStringLiteral("Error: OID not increasing: %1\n >= %2\n").arg(m_last, b.OID));
                m_failed = true;
                return;
            }
            m_printer.print(b);
            m_last = b.OID;
            ++m_walked;
        }
        step();
    }

    Mode m_mode;
    Options &m_o;
    PelorusWrapper *m_wrapper;
    QEventLoop m_loop;
    Printer m_printer;
    QMap<int, Result> m_replies;
    int m_expected = 0;
    QString m_root;
    QString m_last;
    bool m_walkEnded = false;
    bool m_failed = false;
    int m_walked = 0;
};

int runMode(Mode mode, const char *name, const QStringList &args)
{
    const bool bulk = mode == Mode::BulkWalk;
    if (args.isEmpty() || args.contains(QStringLiteral("--help")) || args.contains(QStringLiteral("-h"))) {
        printOut(QString::fromLatin1(kUsage)
                     .arg(QLatin1String(name), bulk ? QStringLiteral(" [-n MAXREPS]") : QString(),
                          mode == Mode::Set ? QStringLiteral("OID TYPE VALUE...\nTYPE: i s o a c u t counter64 or a BER tag number")
                                            : QStringLiteral("OID...")));
        return args.isEmpty() ? 2 : 0;
    }
    Options options;
    QString error;
    if (!parse(args, options, &error)) {
        printErr(QStringLiteral("qxmib %1: %2\n").arg(QLatin1String(name), error));
        return 2;
    }
    Runner runner(mode, options);
    return runner.run();
}

int cmdGet(const QStringList &args) { return runMode(Mode::Get, "get", args); }
int cmdGetNext(const QStringList &args) { return runMode(Mode::GetNext, "getnext", args); }
int cmdWalk(const QStringList &args) { return runMode(Mode::Walk, "walk", args); }
int cmdBulkWalk(const QStringList &args) { return runMode(Mode::BulkWalk, "bulkwalk", args); }
int cmdSet(const QStringList &args) { return runMode(Mode::Set, "set", args); }

} // namespace

QXMIB_COMMAND("get", "SNMP Get of OIDs from an agent", cmdGet)
QXMIB_COMMAND("getnext", "SNMP GetNext of OIDs from an agent", cmdGetNext)
QXMIB_COMMAND("walk", "walk subtrees of an agent with GetNext", cmdWalk)
QXMIB_COMMAND("bulkwalk", "walk subtrees of an agent with GetBulk", cmdBulkWalk)
QXMIB_COMMAND("set", "SNMP Set of OID TYPE VALUE triples", cmdSet)

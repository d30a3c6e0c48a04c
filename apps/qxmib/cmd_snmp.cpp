// qxmib get / getnext / walk / bulkwalk / set: live SNMP queries through the
// component's wrapper, with net-snmp's options, messages and exit codes (0 done,
// 1 usage, time-out or other failure, 2 an error the agent reported). One line
// per binding: instance OID, name, value.

#include "command.h"
#include "snmpcli.h"

#include "snmp/peloruswrapper.h"
#include "snmp/settings.h"
#include "snmp/snmpoptions.h"
#include "snmp/snmpquery.h"
#include "snmp/snmpreply.h"
#include "snmp/varbindlist.h"

#include <QEventLoop>
#include <QMap>

#include <algorithm>
#include <memory>

using namespace SnmpCli;

namespace {

enum class Mode { Get, GetNext, Walk, BulkWalk, Set };

const char kUsage[] =
    "Usage: qxmib [--db PATH] %1 [OPTIONS] AGENT %2\n\n"
    "OIDs are numeric or names from the MIB database: sysDescr.0, IF-MIB::ifDescr.3.\n"
    "%4%3";

// Numeric OID order, without splitting the texts.
bool lessThan(const QString &a, const QString &b)
{
    // Arcs whose text is the same compare equal: start at the arc where the texts part.
    const qsizetype shared = qMin(a.size(), b.size());
    qsizetype i = std::mismatch(a.cbegin(), a.cbegin() + shared, b.cbegin()).first - a.cbegin();
    while (i > 0 && a.at(i - 1) != QLatin1Char('.'))
        --i;
    qsizetype j = i;
    while (i < a.size() && j < b.size()) {
        qulonglong x = 0;
        qulonglong y = 0;
        for (; i < a.size() && a.at(i) != QLatin1Char('.'); ++i)
            x = x * 10 + qulonglong(a.at(i).unicode() - '0');
        for (; j < b.size() && b.at(j) != QLatin1Char('.'); ++j)
            y = y * 10 + qulonglong(b.at(j).unicode() - '0');
        if (x != y)
            return x < y;
        ++i;
        ++j;
    }
    return i < a.size() ? false : j < b.size();
}

constexpr int kTooBig = 1;

bool inside(const QString &oid, const QString &root)
{
    return oid.size() > root.size() && oid.startsWith(root) && oid.at(root.size()) == QLatin1Char('.');
}

class Runner : public SNMPReply
{
public:
    Runner(Mode mode, const char *name, SnmpOptions &options)
        : m_mode(mode)
        , m_name(QLatin1String(name))
        , m_o(options)
        , m_wrapper(PelorusWrapper::instance())
    {
    }

    int run()
    {
        // The user's settings only where the command line leaves something to them.
        std::unique_ptr<Settings> settings;
        if (m_o.timeoutMs < 0 || m_o.retries < 0)
            settings = std::make_unique<Settings>();
        m_wrapper->setSNMPTimeout(m_o.timeoutMs >= 0 ? m_o.timeoutMs : settings->SNMPTimeout());
        m_wrapper->setSNMPRetries(short(m_o.retries >= 0 ? m_o.retries : settings->SNMPRetries()));
        if (m_mode == Mode::BulkWalk && m_o.version == 1) {
            printErr(QStringLiteral("qxmib bulkwalk: Cannot send V2 PDU on V1 session\n"));
            return 1;
        }
        if (m_mode == Mode::Set)
            return set();
        const bool walk = m_mode == Mode::Walk || m_mode == Mode::BulkWalk;
        if (m_o.rest.isEmpty() && walk)
            m_o.rest.append(QStringLiteral("1.3.6.1.2.1"));
        if (m_o.rest.isEmpty())
            return usage(QStringLiteral("Missing object name"));
        QStringList oids;
        for (const QString &text : std::as_const(m_o.rest)) {
            oids.append(m_names.resolve(text));
            if (oids.last().isEmpty()) {
                printErr(text + QStringLiteral(": Unknown Object Identifier\n"));
                return 1;
            }
        }
        return walk ? walkAll(oids) : getAll(oids);
    }

    void Reply(SnmpQuery *query) override
    {
        if (m_walking)
            walkReply(query);
        else
            m_results.insert(query->NodeID().toInt(), {query->ErrorNumber(), query->ErrorDescription(),
                                                        query->ErrorIndex(), query->VarBinds()->items()});
        if (m_wrapper->SNMPOutstandingQueries() == 0)
            m_loop.quit();
    }

private:
    struct Result
    {
        int error = 0;
        QString description;
        int errorIndex = 0;
        QVector<VarBind> bindings;
    };

    int usage(const QString &text)
    {
        printErr(QStringLiteral("qxmib %1: %2\n").arg(m_name, text));
        return 1;
    }

    void wait()
    {
        if (m_wrapper->SNMPOutstandingQueries() > 0)
            m_loop.exec();
    }

    void print(const VarBind &b)
    {
        QString line;
        append(line, b);
        printOut(line);
    }

    void append(QString &out, const VarBind &b)
    {
        out += b.OID;
        out += QLatin1Char('\t');
        out += b.Status == 0 ? m_names.nameOf(b.OID) : b.OID;
        out += QLatin1Char('\t');
        out += renderedValue(b, m_names);
        out += QLatin1Char('\n');
    }

    // What net-snmp's tools print for a failed request; returns the exit status.
    int report(const Result &r)
    {
        if (r.error > 0) {
            const bool terse = m_mode == Mode::Get;
            QString text = (terse ? QStringLiteral("Error in packet\nReason: ") : QStringLiteral("Error in packet.\nReason: "))
                + r.description + QLatin1Char('\n');
            if (r.errorIndex >= 1 && r.errorIndex <= r.bindings.size())
                text += QStringLiteral("Failed object: ") + m_names.nameOf(r.bindings.at(r.errorIndex - 1).OID)
                    + QLatin1Char('\n');
            printErr(text);
            return 2;
        }
        if (r.error == -24) {
            const bool period = m_mode == Mode::Get || m_mode == Mode::GetNext;
            printErr(QStringLiteral("Timeout: No Response from ") + m_o.target
                     + (period ? QStringLiteral(".\n") : QStringLiteral("\n")));
        } else {
            printErr(QStringLiteral("qxmib %1: %2\n").arg(m_name, r.description));
        }
        return 1;
    }

    void request(int kind, const QString &oid, const QString &nodeId)
    {
        if (kind == SnmpQuery::GetBulk)
            m_wrapper->SNMPQueryGetBulk(m_o.target, m_o.community, oid, m_o.version, this, m_repetitions, &m_o.v3, 0,
                                        true, nodeId);
        else if (kind == SnmpQuery::GetNext)
            m_wrapper->SNMPQueryGetNext(m_o.target, m_o.community, oid, m_o.version, this, &m_o.v3, true, nodeId);
        else
            m_wrapper->SNMPQueryGet(m_o.target, m_o.community, oid, m_o.version, this, &m_o.v3, true, nodeId);
    }

    int getAll(const QStringList &oids)
    {
        for (int i = 0; i < oids.size(); ++i)
            request(m_mode == Mode::Get ? SnmpQuery::Get : SnmpQuery::GetNext, oids.at(i), QString::number(i));
        wait();
        // One failure of the agent or the way to it ends it all, as with one request.
        for (const Result &r : std::as_const(m_results)) {
            if (r.error < 0)
                return report(r);
        }
        int status = 0;
        for (const Result &r : std::as_const(m_results)) {
            if (r.error > 0)
                status = report(r);
            else
                for (const VarBind &b : r.bindings)
                    print(b);
        }
        return status;
    }

    // All triples go in one request: the agent applies them together or none.
    int set()
    {
        const QStringList &rest = m_o.rest;
        if (rest.isEmpty())
            return usage(QStringLiteral("Missing object name"));
        auto *query = new SnmpQuery;
        query->setIPAddress(m_o.target);
        query->setCommunity(m_o.community);
        query->setNodeID(QStringLiteral("0"));
        query->setRequestType(SnmpQuery::Set);
        query->setCallback(this);
        query->setSNMPVersion(m_o.version);
        query->V3Settings()->copyFrom(&m_o.v3);
        for (int i = 0; i < rest.size(); i += 3) {
            const QString oid = m_names.resolve(rest.at(i));
            QString error;
            QVariant value;
            int type = 0;
            if (oid.isEmpty())
                error = rest.at(i) + QStringLiteral(": Unknown Object Identifier");
            else if (i + 2 >= rest.size())
                error = rest.at(i) + (i + 1 < rest.size() ? QStringLiteral(": Needs value")
                                                          : QStringLiteral(": Needs type and value"));
            else
                encodeValue(oid, rest.at(i + 1), rest.at(i + 2), m_names, &value, &type, &error);
            if (!error.isEmpty()) {
                delete query;
                printErr(error + QLatin1Char('\n'));
                return 1;
            }
            query->VarBinds()->Add(oid, value, type);
        }
        m_wrapper->SNMPQueryResponse(query);
        wait();
        const Result r = m_results.value(0);
        if (r.error != 0)
            return report(r);
        for (const VarBind &b : r.bindings)
            print(b);
        return 0;
    }

    int walkAll(const QStringList &roots)
    {
        for (const QString &root : roots) {
            m_root = root;
            m_last = root;
            m_walked = 0;
            m_repetitions = m_o.maxRepetitions;
            m_walking = true;
            step();
            m_loop.exec();
            m_walking = false;
            if (m_status != 0)
                return m_status;
            if (m_walked > 0)
                continue;
            // Like net-snmp's tools: a subtree with nothing under it is asked for as an instance.
            m_results.clear();
            request(SnmpQuery::Get, root, QStringLiteral("0"));
            wait();
            const Result r = m_results.value(0);
            if (r.error < 0)
                return report(r);
            for (const VarBind &b : r.bindings) {
                if (r.error == 0)
                    print(b);
            }
        }
        return 0;
    }

    void step()
    {
        request(m_mode == Mode::BulkWalk ? SnmpQuery::GetBulk : SnmpQuery::GetNext, m_last, m_root);
    }

    void walkReply(SnmpQuery *query)
    {
        if (query->ErrorNumber() == kTooBig && m_mode == Mode::BulkWalk && m_repetitions > 1) {
            // The answer would not fit in one message: ask for fewer values at a time.
            m_repetitions = short(m_repetitions / 2);
            step();
            return;
        }
        if (query->ErrorNumber() != 0) {
            // noSuchName from a version 1 agent is its way of saying the tree has ended.
            if (!(m_o.version == 1 && query->ErrorNumber() == 2))
                m_status = report({query->ErrorNumber(), query->ErrorDescription(), query->ErrorIndex(),
                                   query->VarBinds()->items()});
            return;
        }
        const VarBindList *list = query->VarBinds();
        if (list->Count() == 0) {
            printErr(QStringLiteral("Error: no variables in the response to ") + m_last + QLatin1Char('\n'));
            m_status = 1;
            return;
        }
        const QVector<VarBind> bindings = list->items();
        qsizetype taken = 0;
        bool ended = false;
        QString error;
        for (const VarBind &b : bindings) {
            if (b.Status != 0 || !inside(b.OID, m_root)) {
                ended = true;
                break;
            }
            if (!lessThan(m_last, b.OID)) {
                error = QStringLiteral("Error: OID not increasing: %1\n >= %2\n").arg(m_last, b.OID);
                ended = true;
                break;
            }
            m_last = b.OID;
            ++taken;
        }
        m_walked += int(taken);
        // The agent works on the next request while this reply is written out, in one block.
        if (!ended)
            step();
        QString block;
        for (qsizetype i = 0; i < taken; ++i)
            append(block, bindings.at(i));
        printOut(block);
        if (!error.isEmpty()) {
            printErr(error);
            m_status = 1;
        }
    }

    Mode m_mode;
    QString m_name;
    SnmpOptions &m_o;
    PelorusWrapper *m_wrapper;
    Names m_names;
    QEventLoop m_loop;
    QMap<int, Result> m_results;
    bool m_walking = false;
    QString m_root;
    QString m_last;
    int m_walked = 0;
    short m_repetitions = 10;
    int m_status = 0;
};

int runMode(Mode mode, const char *name, const QStringList &args)
{
    const QString more = mode == Mode::Set ? QStringLiteral("TYPE: i u c C t a o s x d b n, = for the database's type, or a BER tag number\n")
        : mode == Mode::BulkWalk         ? QStringLiteral("  -Cr<N>           repetitions per GetBulk request (10)\n")
                                         : QString();
    const QString usage = QString::fromLatin1(kUsage).arg(
        QLatin1String(name), mode == Mode::Set ? QStringLiteral("OID TYPE VALUE...")
            : mode == Mode::Walk || mode == Mode::BulkWalk ? QStringLiteral("[OID...]")
                                                            : QStringLiteral("OID..."),
        more, SnmpOptions::help());
    if (args.contains(QStringLiteral("--help")) || args.contains(QStringLiteral("-h"))) {
        printOut(usage);
        return 0;
    }
    SnmpOptions options;
    QString error;
    if (!SnmpOptions::parse(args, &options, &error) || (options.target.isEmpty() && error.isEmpty())) {
        if (error.isEmpty())
            error = QStringLiteral("No hostname specified.");
        printErr(QStringLiteral("qxmib %1: %2\n").arg(QLatin1String(name), error) + usage);
        return 1;
    }
    Runner runner(mode, name, options);
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
QXMIB_COMMAND("set", "SNMP Set of OID TYPE VALUE triples, in one request", cmdSet)

#include "netsnmppeer.h"

#include "measure.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QMap>

#include <sqlite3.h>

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>

#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace OidLookupBench;

namespace {

struct Row
{
    QString oid;
    QString name;
};

} // namespace

int NetSnmpPeer::writeSources(const QString &databasePath, const QString &mibDir)
{
    sqlite3 *db = nullptr;
    sqlite3_open_v2(databasePath.toUtf8().constData(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt *stmt = nullptr;
    sqlite3_prepare_v2(db, "SELECT MIB, OID, Name FROM Tree WHERE \"Primary\" <> 0 AND MIB <> 'SNMPv2-SMI' ORDER BY rowid",
                       -1, &stmt, nullptr);
    QMap<QString, QList<Row>> modules;
    QHash<QString, QString> names;
    while (sqlite3_step(stmt) == SQLITE_ROW) {
        const QString mib = QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, 0)));
        const Row r{QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, 1))),
                    QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, 2)))};
        modules[mib].append(r);
        names.insert(r.oid, r.name);
    }
    sqlite3_finalize(stmt);
    sqlite3_close(db);

    QDir().mkpath(mibDir);
    for (auto m = modules.cbegin(); m != modules.cend(); ++m) {
        QByteArray text = m.key().toUtf8() + " DEFINITIONS ::= BEGIN\n";
        for (const Row &r : m.value()) {
            const qsizetype dot = r.oid.lastIndexOf(u'.');
            const QString parent = r.oid.left(dot);
            const QString arc = r.oid.mid(dot + 1);
            const auto parentName = names.constFind(parent);
            QString where;
            if (parentName != names.cend()) {
                where = *parentName + u' ' + arc;
            } else {
                // A registration under a node of no generated module: spell the path out.
                where = QStringLiteral("iso");
                const QStringList arcs = r.oid.split(u'.');
                for (int i = 1; i < arcs.size(); ++i)
                    where += u' ' + arcs.at(i);
            }
            text += r.name.toUtf8() + " OBJECT IDENTIFIER ::= { " + where.toUtf8() + " }\n";
        }
        text += "END\n";
        QFile f(QDir(mibDir).filePath(m.key() + QStringLiteral(".txt")));
        f.open(QIODevice::WriteOnly | QIODevice::Truncate);
        f.write(text);
    }
    return int(modules.size());
}

namespace {

NetSnmpPeer::Result runHere(const QStringList &mibDirs, const QStringList &oids)
{
    NetSnmpPeer::Result result;
    for (const QString &dir : mibDirs)
        result.modules += int(QDir(dir).entryList(QDir::Files).size());

    // Only these modules, no configuration files of the machine.
    setenv("MIBDIRS", mibDirs.join(u':').toLocal8Bit().constData(), 1);
    setenv("MIBS", "ALL", 1);
    setenv("SNMPCONFPATH", mibDirs.first().toLocal8Bit().constData(), 1);
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
    netsnmp_ds_set_int(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_MIB_WARNINGS, 0);
    snmp_set_do_debugging(0);
    snmp_set_save_descriptions(0);

    const Clock::time_point s0 = Clock::now();
    netsnmp_init_mib();
    result.startSeconds = seconds(s0, Clock::now());

    QVector<QByteArray> texts;
    texts.reserve(oids.size());
    for (const QString &o : oids)
        texts.append(o.toLatin1());
    QVector<struct tree *> nodes(texts.size(), nullptr);

    struct tree *head = get_tree_head();
    result.rate = measure(texts.size(), [&] {
        for (int i = 0; i < texts.size(); ++i) {
            oid name[MAX_OID_LEN];
            size_t length = MAX_OID_LEN;
            nodes[i] = read_objid(texts.at(i).constData(), name, &length) ? get_tree(name, length, head) : nullptr;
        }
    });
    for (struct tree *node : std::as_const(nodes))
        result.labels.append(node != nullptr && node->label != nullptr ? QString::fromLatin1(node->label) : QString());
    return result;
}

} // namespace

// net-snmp's MIB tree is process-wide and does not parse a second set of
// modules after shutdown_mib(): each run gets a process of its own.
NetSnmpPeer::Result NetSnmpPeer::run(const QStringList &mibDirs, const QStringList &oids)
{
    int pipeFds[2];
    if (::pipe(pipeFds) != 0)
        return {};
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(pipeFds[0]);
        // Its parse warnings are not ours to show.
        const int null = ::open("/dev/null", O_WRONLY);
        ::dup2(null, STDERR_FILENO);
        const Result r = runHere(mibDirs, oids);
        QByteArray out = QByteArray::number(r.modules) + ' ' + QByteArray::number(r.startSeconds, 'g', 17) + ' '
            + QByteArray::number(r.rate.wall, 'g', 17) + ' ' + QByteArray::number(r.rate.cpu, 'g', 17) + '\n';
        for (const QString &l : r.labels)
            out += l.toLatin1() + '\n';
        for (qsizetype done = 0; done < out.size();) {
            const ssize_t n = ::write(pipeFds[1], out.constData() + done, size_t(out.size() - done));
            if (n <= 0)
                break;
            done += n;
        }
        ::_exit(0);
    }
    ::close(pipeFds[1]);
    QByteArray in;
    char buffer[65536];
    ssize_t n;
    while ((n = ::read(pipeFds[0], buffer, sizeof buffer)) > 0)
        in.append(buffer, n);
    ::close(pipeFds[0]);
    ::waitpid(child, nullptr, 0);
    Result result;
    const QList<QByteArray> lines = in.split('\n');
    const QList<QByteArray> head = lines.value(0).split(' ');
    if (head.size() == 4) {
        result.modules = head.at(0).toInt();
        result.startSeconds = head.at(1).toDouble();
        result.rate.wall = head.at(2).toDouble();
        result.rate.cpu = head.at(3).toDouble();
        for (int i = 1; i <= oids.size() && i < lines.size(); ++i)
            result.labels.append(QString::fromLatin1(lines.at(i)));
    }
    return result;
}

#include "netsnmppeer.h"

#include "measure.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QMap>

#include <sqlite3.h>

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>

#include <cstdlib>

using namespace OidLookupBench;

namespace {

struct Row
{
    QString oid;
    QString name;
};

// One module per MIB of the Tree table, as plain OBJECT IDENTIFIER assignments:
// what net-snmp keeps of a definition for resolving an OID is its label and place.
int writeSources(const QString &databasePath, const QString &mibDir)
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

QString oidOf(struct tree *node)
{
    QStringList arcs;
    for (struct tree *t = node; t != nullptr; t = t->parent)
        arcs.prepend(QString::number(t->subid));
    return arcs.join(u'.');
}

} // namespace

NetSnmpPeer::Result NetSnmpPeer::run(const QString &databasePath, const QString &mibDir,
                                     const QStringList &instanceOids, const QStringList &bases)
{
    Result result;
    result.modules = writeSources(databasePath, mibDir);

    // Only these modules, no configuration files of the machine.
    setenv("MIBDIRS", mibDir.toLocal8Bit().constData(), 1);
    setenv("MIBS", "ALL", 1);
    setenv("SNMPCONFPATH", mibDir.toLocal8Bit().constData(), 1);
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
    snmp_set_do_debugging(0);

    const Clock::time_point s0 = Clock::now();
    netsnmp_init_mib();
    result.startSeconds = seconds(s0, Clock::now());

    QVector<QByteArray> texts;
    texts.reserve(instanceOids.size());
    for (const QString &o : instanceOids)
        texts.append(o.toLatin1());
    QVector<struct tree *> nodes(texts.size(), nullptr);

    struct tree *head = get_tree_head();
    const Clock::time_point t0 = Clock::now();
    for (int i = 0; i < texts.size(); ++i) {
        oid name[MAX_OID_LEN];
        size_t length = MAX_OID_LEN;
        if (read_objid(texts.at(i).constData(), name, &length))
            nodes[i] = get_tree(name, length, head);
    }
    result.rate = texts.size() / seconds(t0, Clock::now());

    // Checked after the clock stopped: each must land on its own definition.
    for (int i = 0; i < nodes.size(); ++i) {
        if (nodes.at(i) != nullptr && oidOf(nodes.at(i)) == bases.at(i))
            ++result.found;
    }
    shutdown_mib();
    return result;
}

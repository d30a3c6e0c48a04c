#include "fixturedatabase.h"

#include "core/database.h"
#include "core/globals.h"
#include "core/qxmiberror.h"
#include "databasebuilder.h"

#include <sqlite3.h>

namespace {
void run(Database &db, const char *sql, const QVariantList &values)
{
    sqlite3_stmt *stmt = nullptr;
    if (sqlite3_prepare_v2(db.handle(), sql, -1, &stmt, nullptr) != SQLITE_OK)
        throw QXMibError(QXMibError::StatementError, QString::fromUtf8(sqlite3_errmsg(db.handle())));
    for (int i = 0; i < values.size(); ++i) {
        const QVariant &v = values.at(i);
        if (v.typeId() == QMetaType::QByteArray) {
            const QByteArray b = v.toByteArray();
            sqlite3_bind_blob(stmt, i + 1, b.constData(), int(b.size()), SQLITE_TRANSIENT);
        } else if (v.typeId() == QMetaType::Int || v.typeId() == QMetaType::Bool) {
            sqlite3_bind_int(stmt, i + 1, v.typeId() == QMetaType::Bool ? (v.toBool() ? -1 : 0) : v.toInt());
        } else {
            const QByteArray t = v.toString().toUtf8();
            sqlite3_bind_text(stmt, i + 1, t.constData(), int(t.size()), SQLITE_TRANSIENT);
        }
    }
    const int rc = sqlite3_step(stmt);
    sqlite3_finalize(stmt);
    if (rc != SQLITE_DONE)
        throw QXMibError(QXMibError::DatabaseError, QString::fromUtf8(sqlite3_errmsg(db.handle())));
}
} // namespace

FixtureDatabase::FixtureDatabase()
    : m_path(m_dir.filePath(QStringLiteral("MIBs.cfg")))
{
    DatabaseBuilder::create(m_path);
    m_db = std::make_unique<Database>();
    m_db->open(m_path);
}

FixtureDatabase::~FixtureDatabase()
{
    // The component's connection must not outlive the file.
    Globals::resetForTesting();
    Globals::setDatabasePath(QString());
}

Database &FixtureDatabase::db()
{
    return *m_db;
}

void FixtureDatabase::addObject(const Object &o)
{
    const qsizetype dot = o.oid.lastIndexOf(u'.');
    const QString parent = dot >= 0 ? o.oid.left(dot) : QString();
    const int index = o.oid.mid(dot + 1).toInt();
    run(*m_db,
        "INSERT INTO Tree (OID, MIB, Name, ParentOID, \"Index\", TypeI, TypeS, Description, Status, Access, Enum, "
        "Parse, Units, IndexBy, Calculation, \"Primary\") VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,'',?)",
        {o.oid, o.mib, o.name, parent, index, o.typeI, o.typeS, o.description, o.status, o.access, o.enumName, o.parse,
         o.units, o.indexBy, o.primary});
}

void FixtureDatabase::addObject(const QString &oid, const QString &mib, const QString &name, const QString &typeS,
                                const QString &enumName)
{
    Object o;
    o.oid = oid;
    o.mib = mib;
    o.name = name;
    o.typeS = typeS;
    o.enumName = enumName;
    addObject(o);
}

void FixtureDatabase::addEnum(const QString &setName, int value, const QString &label)
{
    run(*m_db, "INSERT INTO Enums (Name, Value, Enum) VALUES (?,?,?)", {setName, value, label});
}

void FixtureDatabase::addModule(const QString &name, const QString &description)
{
    run(*m_db, "INSERT INTO MIBs (Name, Description) VALUES (?,?)", {name, description});
}

void FixtureDatabase::addStandardObjects()
{
    const QString smi = QStringLiteral("SNMPv2-SMI");
    const QString v2 = QStringLiteral("SNMPv2-MIB");
    const QString rfc = QStringLiteral("RFC1213-MIB");
    const QString ifMib = QStringLiteral("IF-MIB");
    addObject(QStringLiteral("1.3"), smi, QStringLiteral("org"));
    addObject(QStringLiteral("1.3.6"), smi, QStringLiteral("dod"));
    addObject(QStringLiteral("1.3.6.1"), smi, QStringLiteral("internet"));
    addObject(QStringLiteral("1.3.6.1.2"), smi, QStringLiteral("mgmt"));
    addObject(QStringLiteral("1.3.6.1.2.1"), smi, QStringLiteral("mib-2"));
    addObject(QStringLiteral("1.3.6.1.2.1.1"), v2, QStringLiteral("system"));

    Object o;
    o.mib = v2;
    o.status = 1;
    o.access = 1;
    auto add = [this, &o](const char *oid, const char *name, const char *type, int code) {
        o.oid = QLatin1String(oid);
        o.name = QLatin1String(name);
        o.typeS = QLatin1String(type);
        o.typeI = code;
        o.description = QStringLiteral("The %1 object.").arg(o.name);
        addObject(o);
    };
    add("1.3.6.1.2.1.1.1", "sysDescr", "DisplayString", 4);
    add("1.3.6.1.2.1.1.2", "sysObjectID", "OBJECT IDENTIFIER", 6);
    add("1.3.6.1.2.1.1.3", "sysUpTime", "TimeTicks", 67);
    o.access = 2;
    add("1.3.6.1.2.1.1.4", "sysContact", "DisplayString", 4);
    add("1.3.6.1.2.1.1.5", "sysName", "DisplayString", 4);
    add("1.3.6.1.2.1.1.6", "sysLocation", "DisplayString", 4);
    o.access = 1;
    o.parse = QStringLiteral("SERVICES");
    add("1.3.6.1.2.1.1.7", "sysServices", "INTEGER", 2);
    o.parse.clear();

    o.mib = ifMib;
    addObject(QStringLiteral("1.3.6.1.2.1.2"), ifMib, QStringLiteral("interfaces"));
    add("1.3.6.1.2.1.2.1", "ifNumber", "Integer32", 2);
    o.access = 4;
    add("1.3.6.1.2.1.2.2", "ifTable", "SEQUENCE", 0);
    o.indexBy = QStringLiteral("ifIndex");
    add("1.3.6.1.2.1.2.2.1", "ifEntry", "IfEntry", 0);
    o.indexBy.clear();
    o.access = 1;
    add("1.3.6.1.2.1.2.2.1.1", "ifIndex", "InterfaceIndex", 2);
    add("1.3.6.1.2.1.2.2.1.2", "ifDescr", "DisplayString", 4);
    o.units = QStringLiteral("octets, see the note");
    add("1.3.6.1.2.1.2.2.1.4", "ifMtu", "Integer32", 2);
    o.units.clear();
    o.parse = QStringLiteral("MBPS");
    add("1.3.6.1.2.1.2.2.1.5", "ifSpeed", "Gauge32", 66);
    o.parse.clear();
    add("1.3.6.1.2.1.2.2.1.6", "ifPhysAddress", "PhysAddress", 4);
    o.access = 2;
    o.enumName = QStringLiteral("ifAdminStatus");
    add("1.3.6.1.2.1.2.2.1.7", "ifAdminStatus", "INTEGER", 2);
    o.enumName.clear();
    o.access = 1;
    add("1.3.6.1.2.1.2.2.1.9", "ifLastChange", "TimeTicks", 67);
    addEnum(QStringLiteral("ifAdminStatus"), 1, QStringLiteral("up"));
    addEnum(QStringLiteral("ifAdminStatus"), 2, QStringLiteral("down"));
    addEnum(QStringLiteral("ifAdminStatus"), 3, QStringLiteral("testing"));

    o.mib = rfc;
    addObject(QStringLiteral("1.3.6.1.2.1.4"), rfc, QStringLiteral("ip"));
    add("1.3.6.1.2.1.4.20", "ipAddrTable", "SEQUENCE", 0);
    add("1.3.6.1.2.1.4.20.1", "ipAddrEntry", "IpAddrEntry", 0);
    add("1.3.6.1.2.1.4.20.1.1", "ipAdEntAddr", "IpAddress", 64);

    addModule(smi);
    addModule(v2);
    addModule(ifMib);
    addModule(rfc);
}

void FixtureDatabase::addIcon(const QString &oid, const QByteArray &picture)
{
    run(*m_db, "INSERT INTO Icons (OID, \"Small Icon\") VALUES (?,?)", {oid, picture});
}

void FixtureDatabase::activate()
{
    Globals::resetForTesting();
    Globals::setDatabasePath(m_path);
}

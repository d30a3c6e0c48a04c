#include "livetables.h"

#include "fixturedatabase.h"

#include <QStringList>

namespace {

struct Column
{
    int arc;
    const char *name;
    const char *type;
    int code;
    int access; // 1 read-only, 2 read-write
    const char *enumName;
};

struct Table
{
    const char *oid;
    const char *mib;
    const char *name;
    const char *entry;
    const char *indexBy; // empty: the table is there already
    QList<Column> columns;
};

const QList<Table> &tables()
{
    static const QList<Table> all = {
        {"1.3.6.1.2.1.2.2", "IF-MIB", "ifTable", "ifEntry", "",
         {{3, "ifType", "IANAifType", 2, 1, "ifType"},
          {8, "ifOperStatus", "INTEGER", 2, 1, "ifOperStatus"},
          {10, "ifInOctets", "Counter32", 65, 1, ""},
          {11, "ifInUcastPkts", "Counter32", 65, 1, ""},
          {12, "ifInNUcastPkts", "Counter32", 65, 1, ""},
          {13, "ifInDiscards", "Counter32", 65, 1, ""},
          {14, "ifInErrors", "Counter32", 65, 1, ""},
          {15, "ifInUnknownProtos", "Counter32", 65, 1, ""},
          {16, "ifOutOctets", "Counter32", 65, 1, ""},
          {17, "ifOutUcastPkts", "Counter32", 65, 1, ""},
          {18, "ifOutNUcastPkts", "Counter32", 65, 1, ""},
          {19, "ifOutDiscards", "Counter32", 65, 1, ""},
          {20, "ifOutErrors", "Counter32", 65, 1, ""},
          {21, "ifOutQLen", "Gauge32", 66, 1, ""},
          {22, "ifSpecific", "OBJECT IDENTIFIER", 6, 1, ""}}},
        {"1.3.6.1.2.1.4.20", "RFC1213-MIB", "ipAddrTable", "ipAddrEntry", "",
         {{2, "ipAdEntIfIndex", "INTEGER", 2, 1, ""},
          {3, "ipAdEntNetMask", "IpAddress", 64, 1, ""},
          {4, "ipAdEntBcastAddr", "INTEGER", 2, 1, ""},
          {5, "ipAdEntReasmMaxSize", "INTEGER", 2, 1, ""}}},
        {"1.3.6.1.2.1.25.4.2", "HOST-RESOURCES-MIB", "hrSWRunTable", "hrSWRunEntry", "hrSWRunIndex",
         {{1, "hrSWRunIndex", "Integer32", 2, 1, ""},
          {2, "hrSWRunName", "InternationalDisplayString", 4, 1, ""},
          {3, "hrSWRunID", "ProductID", 6, 1, ""},
          {4, "hrSWRunPath", "InternationalDisplayString", 4, 1, ""},
          {5, "hrSWRunParameters", "InternationalDisplayString", 4, 1, ""},
          {6, "hrSWRunType", "INTEGER", 2, 1, "hrSWRunType"},
          {7, "hrSWRunStatus", "INTEGER", 2, 2, "hrSWRunStatus"}}},
        {"1.3.6.1.2.1.25.6.3", "HOST-RESOURCES-MIB", "hrSWInstalledTable", "hrSWInstalledEntry",
         "hrSWInstalledIndex",
         {{1, "hrSWInstalledIndex", "Integer32", 2, 1, ""},
          {2, "hrSWInstalledName", "InternationalDisplayString", 4, 1, ""},
          {3, "hrSWInstalledID", "ProductID", 6, 1, ""},
          {4, "hrSWInstalledType", "INTEGER", 2, 1, "hrSWRunType"},
          {5, "hrSWInstalledDate", "DateAndTime", 4, 1, ""}}},
        {"1.3.6.1.4.1.2021.10", "UCD-SNMP-MIB", "laTable", "laEntry", "laIndex",
         {{1, "laIndex", "Integer32", 2, 1, ""},
          {2, "laNames", "DisplayString", 4, 1, ""},
          {3, "laLoad", "DisplayString", 4, 1, ""},
          {4, "laConfig", "DisplayString", 4, 2, ""},
          {5, "laLoadInt", "Integer32", 2, 1, ""},
          {6, "laLoadFloat", "Float", 68, 1, ""},
          {100, "laErrorFlag", "UCDErrorFlag", 2, 1, "laErrorFlag"},
          {101, "laErrMessage", "DisplayString", 4, 1, ""}}},
        {"1.3.6.1.4.1.2021.9", "UCD-SNMP-MIB", "dskTable", "dskEntry", "dskIndex",
         {{1, "dskIndex", "Integer32", 2, 1, ""}, {2, "dskPath", "DisplayString", 4, 1, ""}}},
        {"1.3.6.1.2.1.6.13", "RFC1213-MIB", "tcpConnTable", "tcpConnEntry",
         "tcpConnLocalAddress tcpConnLocalPort tcpConnRemAddress tcpConnRemPort",
         {{1, "tcpConnState", "INTEGER", 2, 2, "tcpConnState"},
          {2, "tcpConnLocalAddress", "IpAddress", 64, 1, ""},
          {3, "tcpConnLocalPort", "INTEGER", 2, 1, ""},
          {4, "tcpConnRemAddress", "IpAddress", 64, 1, ""},
          {5, "tcpConnRemPort", "INTEGER", 2, 1, ""}}},
    };
    return all;
}

} // namespace

void LiveTables::add(FixtureDatabase &db)
{
    for (const Table &t : tables()) {
        FixtureDatabase::Object o;
        o.mib = QLatin1String(t.mib);
        o.status = 1;
        if (*t.indexBy != '\0') {
            o.access = 4;
            o.oid = QLatin1String(t.oid);
            o.name = QLatin1String(t.name);
            db.addObject(o);
            o.oid += QStringLiteral(".1");
            o.name = QLatin1String(t.entry);
            o.indexBy = QLatin1String(t.indexBy);
            db.addObject(o);
            o.indexBy.clear();
        }
        for (const Column &c : t.columns) {
            o.oid = QStringLiteral("%1.1.%2").arg(QLatin1String(t.oid)).arg(c.arc);
            o.name = QLatin1String(c.name);
            o.typeS = QLatin1String(c.type);
            o.typeI = c.code;
            o.access = c.access;
            o.enumName = QLatin1String(c.enumName);
            db.addObject(o);
        }
    }
    const QList<std::pair<const char *, QStringList>> enums = {
        {"ifType", {"1:other", "6:ethernetCsmacd", "24:softwareLoopback"}},
        {"ifOperStatus", {"1:up", "2:down", "3:testing"}},
        {"hrSWRunType", {"1:unknown", "2:operatingSystem", "3:deviceDriver", "4:application"}},
        {"hrSWRunStatus", {"1:running", "2:runnable", "3:notRunnable", "4:invalid"}},
        {"laErrorFlag", {"0:noError", "1:error"}},
        {"tcpConnState", {"1:closed", "2:listen", "5:established", "12:deleteTCB"}},
    };
    for (const auto &e : enums) {
        for (const QString &item : e.second)
            db.addEnum(QLatin1String(e.first), item.section(u':', 0, 0).toInt(), item.section(u':', 1));
    }
}

// The notification list control with notifications sent by snmptrap: newest
// first, filters, details, CSV export, the row cap and the counter.

#include "core/globals.h"
#include "core/objectfactory.h"
#include "snmp/notificationmodel.h"
#include "snmp/trapreceiver.h"
#include "snmp/widgets/traplist.h"

#include "snmpagent.h"

#include <QAbstractItemModelTester>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

class tst_TrapList : public QObject
{
    Q_OBJECT

private:
    SnmpAgent m_tools; // only its environment for net-snmp's tools
    std::unique_ptr<TrapList> m_list;

    void send(const QStringList &options, const QStringList &notification)
    {
        QCOMPARE(m_tools.runTool(QStringLiteral("snmptrap"),
                                 options + QStringList{QStringLiteral("127.0.0.1:%1").arg(m_list->Port())} + notification),
                 0);
    }

private Q_SLOTS:
    void initTestCase()
    {
        const QString db = qEnvironmentVariable("QXMIB_BINARY_DIR") + QStringLiteral("/lib/MIBs.cfg");
        if (!QFile::exists(db))
            QSKIP("No default database");
        Globals::resetForTesting();
        Globals::setDatabasePath(db);
        m_list.reset(qobject_cast<TrapList *>(ObjectFactory::create(QStringLiteral("QXMIBTree.TrapList"))));
        QVERIFY(m_list);
        new QAbstractItemModelTester(m_list->model(), QAbstractItemModelTester::FailureReportingMode::QtTest, m_list.get());
        m_list->setAddress(QStringLiteral("127.0.0.1"));
        m_list->setPort(SnmpAgent::freeUdpPort());
        m_list->setCommunities({QStringLiteral("public")});
        m_list->Listen();
        const QStringList v2c = {QStringLiteral("-v2c"), QStringLiteral("-c"), QStringLiteral("public")};
        send(v2c, {QString(), QStringLiteral("1.3.6.1.6.3.1.1.5.3"), QStringLiteral("1.3.6.1.2.1.2.2.1.1.2"),
                   QStringLiteral("i"), QStringLiteral("2"), QStringLiteral("1.3.6.1.2.1.2.2.1.7.2"), QStringLiteral("i"),
                   QStringLiteral("2")});
        QTRY_COMPARE(m_list->Count(), 1);
        send(v2c, {QString(), QStringLiteral("1.3.6.1.6.3.1.1.5.4"), QStringLiteral("1.3.6.1.2.1.1.5.0"),
                   QStringLiteral("s"), QStringLiteral("edge, \"west\"")});
        QTRY_COMPARE(m_list->Count(), 2);
        send({QStringLiteral("-v1"), QStringLiteral("-c"), QStringLiteral("public")},
             {QStringLiteral("1.3.6.1.4.1.8072.3.2.10"), QStringLiteral("192.0.2.7"), QStringLiteral("0"),
              QStringLiteral("0"), QString()});
        QTRY_COMPARE(m_list->Count(), 3);
        send({QStringLiteral("-v2c"), QStringLiteral("-c"), QStringLiteral("other")},
             {QString(), QStringLiteral("1.3.6.1.6.3.1.1.5.1")});
        QTRY_COMPARE(m_list->RejectedCount(), 1);
    }

    void newestFirst()
    {
        const NotificationModel *model = m_list->model();
        QCOMPARE(model->notification(0).NotificationName, QStringLiteral("SNMPv2-MIB:coldStart"));
        QCOMPARE(model->notification(1).NotificationName, QStringLiteral("IF-MIB:linkUp"));
        QCOMPARE(model->notification(2).NotificationName, QStringLiteral("IF-MIB:linkDown"));
        QCOMPARE(model->data(model->index(2, NotificationModel::BindingsColumn)).toString(),
                 QStringLiteral("ifIndex.2 = 2; ifAdminStatus.2 = down(2)"));
        QCOMPARE(m_list->CounterText(), QStringLiteral("3 received, 3 shown, 1 rejected, 0 dropped"));
    }

    void filters_data()
    {
        QTest::addColumn<QString>("agent");
        QTest::addColumn<QString>("notification");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("shown");
        QTest::newRow("none") << "" << "" << "" << QStringList{"coldStart", "linkUp", "linkDown"};
        QTest::newRow("agent address of a v1 trap") << "192.0.2" << "" << "" << QStringList{"coldStart"};
        QTest::newRow("agent nobody") << "10.9.9.9" << "" << "" << QStringList();
        QTest::newRow("notification, any case") << "" << "LINK" << "" << QStringList{"linkUp", "linkDown"};
        QTest::newRow("rendered value") << "" << "" << "down(2)" << QStringList{"linkDown"};
        QTest::newRow("all three") << "127.0.0.1" << "link" << "west" << QStringList{"linkUp"};
    }

    void filters()
    {
        QFETCH(QString, agent);
        QFETCH(QString, notification);
        QFETCH(QString, text);
        QFETCH(QStringList, shown);
        m_list->setFilterAgent(agent);
        m_list->setFilterNotification(notification);
        m_list->setFilterText(text);
        const QStringList lines = m_list->TableText(false).split(u'\n', Qt::SkipEmptyParts).mid(1);
        QStringList names;
        for (const QString &line : lines)
            names.append(line.section(u'\t', 4, 4).section(u':', 1));
        QCOMPARE(names, shown);
        m_list->setFilterAgent(QString());
        m_list->setFilterNotification(QString());
        m_list->setFilterText(QString());
    }

    void detailsOfTheCurrentRow()
    {
        m_list->SelectRow(2);
        const QString details = m_list->DetailsText();
        QVERIFY2(details.startsWith(QLatin1String("IF-MIB:linkDown\r\n")), qPrintable(details));
        QVERIFY(details.contains(QLatin1String("Community \tpublic")));
        QVERIFY(details.contains(QLatin1String("OID \t1.3.6.1.6.3.1.1.5.3")));
        QVERIFY(details.contains(QLatin1String("ifAdminStatus.2\tdown(2)  (INTEGER)")));
        m_list->SelectRow(0);
        QVERIFY(m_list->DetailsText().contains(QLatin1String("Agent \t192.0.2.7")));
    }

    void exportsCsv()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("traps.csv"));
        QVERIFY(m_list->ExportCSV(path));
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QStringList lines = QString::fromUtf8(file.readAll()).split(QStringLiteral("\r\n"), Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 4);
        QCOMPARE(lines[0], QStringLiteral("Received,From,Version,Community/User,Notification,Bindings"));
        QVERIFY2(lines[2].endsWith(QLatin1String(",IF-MIB:linkUp,\"sysName.0 = edge, \"\"west\"\"\"")), qPrintable(lines[2]));
    }

    void rowCapDropsTheOldest()
    {
        m_list->setMaxRows(2);
        QCOMPARE(m_list->Count(), 2);
        QCOMPARE(m_list->DroppedRows(), 1);
        QCOMPARE(m_list->model()->notification(1).NotificationName, QStringLiteral("IF-MIB:linkUp"));
        QCOMPARE(m_list->CounterText(), QStringLiteral("3 received, 2 shown, 1 rejected, 1 dropped"));
        m_list->Clear();
        QCOMPARE(m_list->Count(), 0);
        QCOMPARE(m_list->CounterText(), QStringLiteral("0 received, 0 shown, 0 rejected, 0 dropped"));
        QVERIFY(m_list->DetailsText().isEmpty());
    }
};

QTEST_MAIN(tst_TrapList)
#include "tst_traplist.moc"

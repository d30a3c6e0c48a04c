#include "fixturedatabase.h"
#include "livetables.h"
#include "snmpagent.h"

#include <QtTest>

// qxmib table and qxmib browse against a real agent, without a display.
class tst_QxmibLive : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_db.addStandardObjects();
        LiveTables::add(m_db);
        QString error;
        QVERIFY2(m_agent.startSnmpd(&error), qPrintable(error));
    }

    void commands_data()
    {
        QTest::addColumn<QStringList>("args"); // TARGET stands for the agent
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("header");
        QTest::addColumn<QString>("line");
        QTest::newRow("table") << QStringList{"table", "TARGET", "ifTable"} << 0
                               << "Index\tifIndex\tifDescr\tifType\tifMtu" << "1\t1\tlo\tsoftwareLoopback(24)\t";
        QTest::newRow("table as CSV in one walk") << QStringList{"table", "--csv", "--mode", "0", "TARGET", "laTable"} << 0
                                                  << "Index,laIndex,laNames,laLoad" << "2,2,Load-5,";
        QTest::newRow("chosen columns") << QStringList{"table", "--columns", "laNames,laIndex", "-v", "1", "TARGET", "laTable"}
                                        << 0 << "Index\tlaNames\tlaIndex" << "3\tLoad-15\t3";
        QTest::newRow("unknown table") << QStringList{"table", "TARGET", "noSuchTable"} << 1
                                       << "noSuchTable is not a valid MIB specification." << "";
        QTest::newRow("browse a subtree") << QStringList{"browse", "TARGET", "system"} << 0 << "OID Name\tValue\tType\tOID"
                                          << "sysName.0\t";
        QTest::newRow("browse three objects") << QStringList{"browse", "--rows", "3", "--fields", "1,8", "TARGET", "ifDescr"}
                                              << 0 << "OID Name\tRaw Type" << "ifDescr.3\tOCTET STRING";
    }
    void commands()
    {
        QFETCH(QStringList, args);
        QFETCH(int, status);
        QFETCH(QString, header);
        QFETCH(QString, line);
        args.replaceInStrings(QStringLiteral("TARGET"), m_agent.target());
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.remove(QStringLiteral("QT_QPA_PLATFORM"));
        env.remove(QStringLiteral("DISPLAY"));
        env.remove(QStringLiteral("WAYLAND_DISPLAY"));
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), m_settings.path());
        p.setProcessEnvironment(env);
        p.start(QStringLiteral(QXMIB_CLI), QStringList{QStringLiteral("--db"), m_db.path()} + args);
        QVERIFY(p.waitForFinished(60000));
        const QString out = QString::fromUtf8(p.readAllStandardOutput());
        const QString err = QString::fromUtf8(p.readAllStandardError());
        QCOMPARE(p.exitCode(), status);
        const QStringList lines = (status == 0 ? out : err).split(u'\n');
        QVERIFY2(lines.first().startsWith(header), qPrintable(out + err));
        QVERIFY2(line.isEmpty() || lines.filter(QRegularExpression(u'^' + QRegularExpression::escape(line))).size() == 1,
                 qPrintable(out));
        if (status == 0)
            QCOMPARE(err, QString());
    }

private:
    QTemporaryDir m_settings;
    FixtureDatabase m_db;
    SnmpAgent m_agent;
};

QTEST_GUILESS_MAIN(tst_QxmibLive)
#include "tst_qxmiblive.moc"

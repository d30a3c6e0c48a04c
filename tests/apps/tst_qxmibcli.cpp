#include "fixturedatabase.h"
#include "fakeagent.h"
#include "snmpagent.h"

#include <QtTest>


// The qxmib command line host, run as a user runs it.
class tst_QxmibCli : public QObject
{
    Q_OBJECT

private:
    struct Result
    {
        int status;
        QString out;
        QString err;
    };
    Result run(const QStringList &args, const QString &program = QStringLiteral(QXMIB_CLI))
    {
        // The event loop runs while the command runs, for agents living in this process.
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const QString &line : m_agent.toolEnvironment())
            env.insert(line.section(u'=', 0, 0), line.section(u'=', 1));
        p.setProcessEnvironment(env);
        QSignalSpy finished(&p, &QProcess::finished);
        p.start(program, args);
        if (!finished.wait(30000)) {
            p.kill();
            return {-1, {}, {}};
        }
        return {p.exitCode(), QString::fromUtf8(p.readAllStandardOutput()), QString::fromUtf8(p.readAllStandardError())};
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_fixture = std::make_unique<FixtureDatabase>();
        m_fixture->addStandardObjects();
        QString error;
        QVERIFY2(m_agent.startSnmpd(&error), qPrintable(error));
    }

    void resolve_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("line");
        QTest::newRow("instance OID") << "1.3.6.1.2.1.1.5.0" << "Name: sysName.0\n";
        QTest::newRow("descriptor") << "ifAdminStatus" << "EnumList: #1;up(1)|#2;down(2)|#3;testing(3)\n";
        QTest::newRow("module-qualified") << "IF-MIB:ifDescr" << "BaseOID: 1.3.6.1.2.1.2.2.1.2\n";
        QTest::newRow("descriptor with instance") << "ifDescr.3" << "OID: 1.3.6.1.2.1.2.2.1.2.3\n";
        QTest::newRow("address-indexed") << "1.3.6.1.2.1.4.20.1.1.10.0.0.1" << "Index: 10.0.0.1\n";
        QTest::newRow("long name") << "sysName.0"
                                   << "LongName: iso.org.dod.internet.mgmt.mib-2.system.sysName.0\n";
    }
    void resolve()
    {
        QFETCH(QString, text);
        QFETCH(QString, line);
        const Result r = run({QStringLiteral("--db"), m_fixture->path(), QStringLiteral("resolve"), text});
        QCOMPARE(r.status, 0);
        QVERIFY2(r.out.contains(line), qPrintable(r.out));
        // Every field, in order.
        const QStringList fields{"OID", "Name", "FullName", "LongName", "MIB", "Index", "BaseName", "BaseOID",
                                 "ParentOID", "TypeString", "TypeInteger", "AccessString", "StatusString", "Units",
                                 "Enumerated", "EnumList", "Description"};
        QStringList seen;
        for (const QString &l : r.out.split(u'\n')) {
            if (!l.startsWith(u' ') && l.contains(QStringLiteral(": ")))
                seen << l.section(QStringLiteral(": "), 0, 0);
        }
        QCOMPARE(seen, fields);
    }

    void notFound()
    {
        const Result r = run({QStringLiteral("resolve"), QStringLiteral("noSuchThing"), QStringLiteral("--db"),
                              m_fixture->path(), QStringLiteral("sysName")});
        QCOMPARE(r.status, 1);
        QVERIFY(r.err.contains(QStringLiteral("noSuchThing")));
        QVERIFY(r.out.contains(QStringLiteral("BaseName: sysName\n")));
    }

    void missingDatabase()
    {
        const Result r = run({QStringLiteral("--db"), QStringLiteral("/nonexistent/MIBs.cfg"), QStringLiteral("resolve"),
                              QStringLiteral("sysName")});
        QCOMPARE(r.status, 1);
        QVERIFY2(r.err.contains(QStringLiteral("Cannot open MIB Database (/nonexistent/MIBs.cfg)\n\n")), qPrintable(r.err));
    }

    void render_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("out");
        QTest::newRow("enumerated") << QStringList{"ifAdminStatus.1", "2"} << "down(2)\n";
        QTest::newRow("ticks") << QStringList{"sysUpTime.0", "8640123"} << "1 days, 1 seconds\n";
        QTest::newRow("mac from hex") << QStringList{"ifPhysAddress.1", "", "00A0C91E2B3C"} << "00A0.C91E.2B3C\n";
        QTest::newRow("speed") << QStringList{"ifSpeed.1", "100000000"} << "100 Mbps\n";
    }
    void render()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, out);
        const Result r = run(QStringList{QStringLiteral("--db=") + m_fixture->path(), QStringLiteral("render")} + args);
        QCOMPARE(r.status, 0);
        QCOMPARE(r.out, out);
    }

    void createDatabase()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("new.cfg"));
        QCOMPARE(run({QStringLiteral("db"), QStringLiteral("create"), path}).status, 0);
        QVERIFY(QFileInfo::exists(path));
        QCOMPARE(run({QStringLiteral("db"), QStringLiteral("create"), path}).status, 1); // never overwritten
        const Result r = run({QStringLiteral("--db"), path, QStringLiteral("resolve"), QStringLiteral("sysName")});
        QCOMPARE(r.status, 1);
    }

    // Modules listed with their counts; a delete reports each module, and one it cannot do fails alone.
    void modulesAndDelete()
    {
        FixtureDatabase fixture;
        fixture.addStandardObjects();
        const Result listed = run({QStringLiteral("--db"), fixture.path(), QStringLiteral("modules")});
        QCOMPARE(listed.status, 0);
        QVERIFY2(listed.out.contains(QRegularExpression(QStringLiteral("\nIF-MIB +11\n"))), qPrintable(listed.out));
        QVERIFY(listed.out.startsWith(QStringLiteral("MIB ")) && listed.out.endsWith(QStringLiteral("\n4 modules, 31 OIDs\n")));

        const Result deleted = run({QStringLiteral("--db"), fixture.path(), QStringLiteral("delete"), QStringLiteral("if-mib"),
                                    QStringLiteral("NO-SUCH-MIB"), QStringLiteral("X' OR ''='"), QStringLiteral("RFC1213-MIB")});
        QCOMPARE(deleted.status, 1);
        QCOMPARE(deleted.out, QStringLiteral("Deleted IF-MIB: 11 objects\nDeleted RFC1213-MIB: 4 objects\n"));
        QVERIFY2(deleted.err.contains(QStringLiteral("'NO-SUCH-MIB'")) && deleted.err.contains(QStringLiteral("error 3075")),
                 qPrintable(deleted.err));
        QVERIFY(run({QStringLiteral("--db"), fixture.path(), QStringLiteral("modules")}).out.endsWith(QStringLiteral("\n2 modules, 16 OIDs\n")));
    }

    // A MIB-X file's objects under the database's rows; what cannot be placed goes to stderr.
    void view()
    {
        QTemporaryDir dir;
        QFile file(dir.filePath(QStringLiteral("t.mibx")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("<MIBX><MODULE><NAME>T-MIB</NAME></MODULE><TREE><tMIB><OID>1.3.6.1.2.1.99</OID><SYNTAX/></tMIB>"
                   "<lost><OID>9.9</OID><SYNTAX/></lost></TREE></MIBX>");
        file.close();
        const Result r = run({QStringLiteral("--db"), m_fixture->path(), QStringLiteral("view"), file.fileName()});
        QCOMPARE(r.status, 1);
        QVERIFY2(r.out.contains(QStringLiteral("\n          mib-2 (1)  1.3.6.1.2.1\n            tMIB (99)  1.3.6.1.2.1.99\n")),
                 qPrintable(r.out));
        QCOMPARE(r.err, QStringLiteral("Cannot load tree for lost (9.9)\n"));
    }

    void help()
    {
        const Result r = run({QStringLiteral("--help")});
        QCOMPARE(r.status, 0);
        for (const char *command : {"resolve", "render", "db"})
            QVERIFY(r.out.contains(QLatin1String(command)));
        QCOMPARE(run({QStringLiteral("resolve"), QStringLiteral("--help")}).status, 0);
        QCOMPARE(run({QStringLiteral("nonsense")}).status, 2);
    }

    // The SNMP commands against a real snmpd, row after row (a row sees what the ones
    // before it set). With peer set, net-snmp's own tool runs the same arguments and
    // must end with the same status and message, and peerOut in its output.
    void snmpCommands_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("out");
        QTest::addColumn<QString>("err");
        QTest::addColumn<bool>("peer");
        QTest::addColumn<QString>("peerOut");
        const QStringList v2 = {"-v2c", "-c", "public"};
        const QStringList rw = {"-v2c", "-c", "private"};
        const QStringList v3 = {"-v3", "-l", "authPriv", "-u", "ushaaes", "-a", "SHA", "-x", "AES", "-X", "privpass-AES"};
        const QString sysName = QStringLiteral("1.3.6.1.2.1.1.5.0");
        QTest::newRow("names, options after the agent")
            << QStringList{"get", "AGENT", "-v2c", "-t", "0.5", "sysDescr.0", "IF-MIB::ifDescr.1"} << 0
            << "1.3.6.1.2.1.2.2.1.2.1\tifDescr.1\tlo\n" << "" << false << "";
        QTest::newRow("udp: agent, single colon") << QStringList{"getnext", "udp:AGENT", "IF-MIB:ifDescr"} << 0
                                                  << "\tifDescr.1\tlo\n" << "" << false << "";
        QTest::newRow("UTF-8 text") << QStringList{"set", "AGENT", "-c", "private", "sysName.0", "s", "Z\u00fcrich"} << 0
                                    << "\tsysName.0\tZ\u00fcrich\n" << "" << false << "";
        QTest::newRow("one request, refused as a whole")
            << QStringList{"set"} + rw + QStringList{"AGENT", sysName, "s", "changed", "1.3.6.1.2.1.1.7.0", "i", "5"}
            << 2 << "" << "Failed object: " << true << "";
        QTest::newRow("UTF-8 text unchanged") << QStringList{"get"} + v2 + QStringList{"AGENT", sysName} << 0
                                              << "\tZ\u00fcrich\n" << "" << true << "5A C3 BC 72 69 63 68";
        QTest::newRow("hex value") << QStringList{"set"} + rw + QStringList{"AGENT", sysName, "x", "00 FF 0A"} << 2
                                       << "" << "wrongValue" << true << "";
        QTest::newRow("negative number") << QStringList{"set"} + rw + QStringList{"--", "AGENT", sysName, "i", "-1"} << 2
                                         << "" << "wrongType" << true << "";
        QTest::newRow("negative number, options after it")
            << QStringList{"set", "AGENT", sysName, "i", "-5", "-c", "private"} << 2 << "" << "wrongType" << false << "";
        QTest::newRow("binary octets on one line")
            << QStringList{"get"} + v2 + QStringList{"AGENT", "1.3.6.1.6.3.10.2.1.1.0"} << 0 << "\t80 00 1F 88 " << ""
            << true << "80 00 1F 88 ";
        QTest::newRow("agent error") << QStringList{"get", "-v1", "-c", "public", "AGENT", "1.3.6.1.2.1.1.99.0"} << 2
                                     << "" << "Failed object: " << true << "";
        QTest::newRow("time-out") << QStringList{"get"} + v2 + QStringList{"-t", "0.2", "-r", "0", "DEAD", sysName} << 1
                                  << "" << "Timeout: No Response from DEAD.\n" << true << "";
        QTest::newRow("unknown host") << QStringList{"get"} + v2 + QStringList{"no-such-host.invalid", sysName} << 1 << ""
                                      << "Unknown host (no-such-host.invalid)\n" << true << "";
        QTest::newRow("unknown name") << QStringList{"get", "AGENT", "noSuchThing.0"} << 1 << ""
                                      << "noSuchThing.0: Unknown Object Identifier\n" << false << "";
        QTest::newRow("usage") << QStringList{"get", "-v", "5", "AGENT", sysName} << 1 << ""
                               << "Invalid version specified after -v flag: 5\n" << true << "";
        QTest::newRow("walk") << QStringList{"walk"} + v2 + QStringList{"AGENT", "1.3.6.1.2.1.1"} << 0
                              << "1.3.6.1.2.1.1.3.0\tsysUpTime.0\t" << "" << true << "";
        QTest::newRow("bulkwalk of names") << QStringList{"bulkwalk", "-Cr", "3", "AGENT", "sysUpTime", "IF-MIB::ifDescr"}
                                           << 0 << "\tifDescr.2\t" << "" << false << "";
        QTest::newRow("empty subtree") << QStringList{"bulkwalk"} + v2 + QStringList{"AGENT", "1.3.6.1.2.1.99"} << 0
                                       << "No Such Object available on this agent at this OID\n" << "" << true
                                       << "No Such Object available on this agent at this OID";
        QTest::newRow("bulkwalk on version 1") << QStringList{"bulkwalk", "-v1", "-c", "public", "AGENT", "1.3.6.1.2.1.1"}
                                               << 1 << "" << "Cannot send V2 PDU on V1 session\n" << true << "";
        QTest::newRow("v3") << QStringList{"get"} + v3 + QStringList{"-A", "authpass-SHA", "AGENT", sysName} << 0
                            << "\tZ\u00fcrich\n" << "" << true << "";
        QTest::newRow("v3 wrong pass phrase") << QStringList{"get"} + v3 + QStringList{"-A", "authpass-BAD", "AGENT", sysName}
                                              << 1 << "" << "Authentication failure (incorrect password, community or key)\n"
                                              << true << "";
        QTest::newRow("v3 unknown user")
            << QStringList{"get", "-v3", "-l", "noAuthNoPriv", "-u", "nobodyhere", "AGENT", sysName} << 1 << ""
            << "Unknown user name\n" << true << "";
    }
    void snmpCommands()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, out);
        QFETCH(QString, err);
        QFETCH(bool, peer);
        QFETCH(QString, peerOut);
        const QString dead = QStringLiteral("127.0.0.1:%1").arg(SnmpAgent::freeUdpPort());
        args.replaceInStrings(QStringLiteral("AGENT"), m_agent.target());
        args.replaceInStrings(QStringLiteral("DEAD"), dead);
        err.replace(QStringLiteral("DEAD"), dead);
        const Result r = run(QStringList{QStringLiteral("--db"), m_fixture->path()} + args);
        QTEST(r.status, "status");
        QVERIFY2(r.out.contains(out), qPrintable(r.out));
        QVERIFY2(r.err.contains(err), qPrintable(r.err));
        if (!peer)
            return;
        const Result tool = run(args.mid(1), QStringLiteral("snmp") + args.first());
        QTEST(tool.status, "status");
        QVERIFY2(tool.err.contains(err), qPrintable(tool.err));
        QVERIFY2(tool.out.contains(peerOut), qPrintable(tool.out));
    }

    // Agents that answer wrongly, brokenly, too much or not at all: a command either
    // gets every value or ends with a message, never hangs and never prints a wrong value.
    void misbehavingAgents_data()
    {
        QTest::addColumn<int>("behaviour");
        QTest::addColumn<int>("tooBigAbove");
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("err");
        QTest::addColumn<int>("lines");
        const QStringList walk = {"walk", "-v1", "-r", "0", "AGENT", "1.3.6.1.2.1.2.2.1.1"};
        const QStringList bulk = {"bulkwalk", "-Cr10", "-r", "0", "AGENT", "1.3.6.1.2.1.2.2.1.1"};
        QTest::newRow("same binding again") << int(FakeAgent::Repeat) << 0 << walk << 1 << "OID not increasing" << 1;
        QTest::newRow("no bindings") << int(FakeAgent::Empty) << 0 << walk << 1 << "no variables in the response" << 0;
        QTest::newRow("wrong request ids first") << int(FakeAgent::WrongIdFirst) << 0 << walk << 0 << "" << 20;
        QTest::newRow("garbage and cut-off copies first") << int(FakeAgent::GarbageFirst) << 0 << bulk << 0 << "" << 20;
        QTest::newRow("only cut-off answers") << int(FakeAgent::Truncated) << 0 << walk << 1 << "Timeout: No Response from" << 0;
        QTest::newRow("tooBig backs off") << int(FakeAgent::Normal) << 4 << bulk << 0 << "" << 20;
        QTest::newRow("every other request") << int(FakeAgent::EveryOther) << 0
                                             << QStringList{"walk", "-r", "2", "AGENT", "1.3.6.1.2.1.2.2.1.1"} << 0 << "" << 20;
        QTest::newRow("65,000 octets") << int(FakeAgent::Normal) << 0 << QStringList{"get", "AGENT", "1.3.6.1.2.1.2.2.1.2.1"}
                                       << 0 << "" << 1;
    }
    void misbehavingAgents()
    {
        QFETCH(int, behaviour);
        QFETCH(QStringList, args);
        FakeAgent agent;
        QList<FakeAgent::Binding> data = {{QStringLiteral("1.3.6.1.2.1.2.2.1.2.1"), 4, QByteArray(65000, 'x')}};
        QStringList right = {QStringLiteral("1.3.6.1.2.1.2.2.1.2.1\tifDescr.1\t") + QString(65000, u'x')};
        for (int i = 1; i <= 20; ++i) {
            data.append({QStringLiteral("1.3.6.1.2.1.2.2.1.1.%1").arg(i), 2, QByteArray::number(i)});
            right.append(QStringLiteral("1.3.6.1.2.1.2.2.1.1.%1\tifIndex.%1\t%1").arg(i));
        }
        agent.setData(data);
        agent.behaviour = FakeAgent::Behaviour(behaviour);
        QFETCH(int, tooBigAbove);
        agent.tooBigAbove = tooBigAbove;
        args.replaceInStrings(QStringLiteral("AGENT"), agent.target());
        const Result r = run(QStringList{QStringLiteral("--db"), m_fixture->path()} + args
                             + QStringList{QStringLiteral("-t"), QStringLiteral("0.3")});
        QFETCH(QString, err);
        QVERIFY2(r.err.contains(err) && (err.isEmpty() == r.err.isEmpty()), qPrintable(r.err));
        QTEST(r.status, "status");
        QTEST(int(r.out.count(u'\n')), "lines");
        for (const QString &line : r.out.split(u'\n', Qt::SkipEmptyParts))
            QVERIFY2(right.contains(line), qPrintable(line.left(200)));
    }

    // The agent dies while a walk is under way: the values that came are printed, then the time-out.
    // Until --count notifications have come, one line each; an inform is answered
    // (snmpinform retries until the receiver is up and succeeds once it answers).
    void traps()
    {
        const quint16 port = SnmpAgent::freeUdpPort();
        QProcess receiver;
        receiver.start(QStringLiteral(QXMIB_CLI), {QStringLiteral("--db"), m_fixture->path(), QStringLiteral("traps"),
                                                   QStringLiteral("--address"), QStringLiteral("127.0.0.1"),
                                                   QStringLiteral("--port"), QString::number(port),
                                                   QStringLiteral("--count"), QStringLiteral("2"),
                                                   QStringLiteral("-c"), QStringLiteral("public")});
        QVERIFY(receiver.waitForStarted());
        const QString target = QStringLiteral("127.0.0.1:%1").arg(port);
        QCOMPARE(m_agent.runTool(QStringLiteral("snmpinform"),
                                 {QStringLiteral("-v2c"), QStringLiteral("-c"), QStringLiteral("public"),
                                  QStringLiteral("-t"), QStringLiteral("0.3"), QStringLiteral("-r"), QStringLiteral("30"),
                                  target, QStringLiteral("42"), QStringLiteral("1.3.6.1.6.3.1.1.5.4"),
                                  QStringLiteral("1.3.6.1.2.1.2.2.1.7.2"), QStringLiteral("i"), QStringLiteral("1")}),
                 0);
        QCOMPARE(m_agent.runTool(QStringLiteral("snmptrap"),
                                 {QStringLiteral("-v2c"), QStringLiteral("-c"), QStringLiteral("private"), target,
                                  QStringLiteral(""), QStringLiteral("1.3.6.1.6.3.1.1.5.1")}),
                 0);
        QCOMPARE(m_agent.runTool(QStringLiteral("snmptrap"),
                                 {QStringLiteral("-v1"), QStringLiteral("-c"), QStringLiteral("public"), target,
                                  QStringLiteral("1.3.6.1.4.1.8072.3.2.10"), QStringLiteral("192.0.2.1"),
                                  QStringLiteral("2"), QStringLiteral("0"), QStringLiteral("")}),
                 0);
        QTRY_COMPARE_WITH_TIMEOUT(receiver.state(), QProcess::NotRunning, 30000);
        QCOMPARE(receiver.exitCode(), 0);
        const QStringList lines = QString::fromUtf8(receiver.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 2);
        QVERIFY2(lines[0].contains(QLatin1String("INFORM, SNMP v2c, community public SNMPv2-SMI:internet.6.3.1.1.5.4 Uptime: ")),
                 qPrintable(lines[0]));
        QVERIFY2(lines[0].endsWith(QLatin1String("\tifAdminStatus.2 = up(1)")), qPrintable(lines[0]));
        QVERIFY2(lines[1].contains(QLatin1String("TRAP, SNMP v1, community public SNMPv2-SMI:internet.6.3.1.1.5.3 (enterprise "
                                                 "1.3.6.1.4.1.8072.3.2.10, agent 192.0.2.1, generic 2, specific 0)")),
                 qPrintable(lines[1]));
        QVERIFY2(QString::fromUtf8(receiver.readAllStandardError()).startsWith(QLatin1String("Community not accepted from 127.0.0.1:")),
                 "the trap of the other community is reported");
    }

    void agentKilledDuringWalk()
    {
        SnmpAgent agent;
        QString error;
        QVERIFY2(agent.startSnmpd(&error), qPrintable(error));
        QProcess walk;
        walk.start(QStringLiteral(QXMIB_CLI), {QStringLiteral("--db"), m_fixture->path(), QStringLiteral("walk"),
                                               QStringLiteral("-t"), QStringLiteral("0.3"), QStringLiteral("-r"),
                                               QStringLiteral("1"), agent.target(), QStringLiteral("1.3.6.1")});
        QVERIFY(walk.waitForReadyRead(10000));
        agent.stop(true);
        QVERIFY(walk.waitForFinished(10000));
        QCOMPARE(QString::fromUtf8(walk.readAllStandardError()), QStringLiteral("Timeout: No Response from %1\n").arg(agent.target()));
        const QStringList lines = QString::fromUtf8(walk.readAllStandardOutput()).split(u'\n');
        QVERIFY(lines.size() > 1 && lines.last().isEmpty());
        for (const QString &line : lines.mid(0, lines.size() - 1))
            QVERIFY2(line.count(u'\t') >= 2, qPrintable(line));
        QCOMPARE(walk.exitCode(), 1);
    }

private:
    std::unique_ptr<FixtureDatabase> m_fixture;
    SnmpAgent m_agent;
};

QTEST_GUILESS_MAIN(tst_QxmibCli)
#include "tst_qxmibcli.moc"

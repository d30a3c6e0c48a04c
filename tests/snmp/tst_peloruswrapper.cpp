#include "core/qxmiberror.h"
#include "snmp/peloruswrapper.h"
#include "snmp/snmpengine.h"
#include "snmp/snmpquery.h"
#include "snmp/snmpreply.h"
#include "snmp/snmpsession.h"
#include "snmp/varbindlist.h"
#include "snmpagent.h"

#include <QThread>
#include <QtTest>

namespace {

// What one reply showed, read inside the handler both from the query and through the wrapper.
struct Seen
{
    QString nodeId;
    QString community;
    QString address;
    int requestType = -1;
    short maxRepetitions = 0;
    int nonRepeaters = 0;
    QList<VarBind> bindings;
    int errorNumber = 0;
    QString wrapperNodeId;
    int wrapperErrorNumber = 0;
    QString wrapperCommunity;
    QString wrapperAddress;
};

class Collector : public QObject, public SNMPReply
{
    Q_OBJECT
    Q_INTERFACES(SNMPReply)

public:
    void Reply(SnmpQuery *query) override
    {
        PelorusWrapper *w = PelorusWrapper::instance();
        Seen s;
        s.nodeId = query->NodeID();
        s.community = query->Community();
        s.address = query->IPAddress();
        s.requestType = query->RequestType();
        s.maxRepetitions = query->MaxRepetitions();
        s.nonRepeaters = query->NonRepeaters();
        for (int i = 0; i < query->VarBinds()->Count(); ++i)
            s.bindings.append(query->VarBinds()->Item(i));
        s.errorNumber = query->ErrorNumber();
        s.wrapperNodeId = w->ResponseNodeID();
        s.wrapperErrorNumber = w->ResponseErrorNumber();
        s.wrapperCommunity = w->ResponseCommunity();
        s.wrapperAddress = w->ResponseIPAddress();
        seen.append(s);
        if (resendOnce && seen.size() == 1) {
            query->setNodeID(QStringLiteral("again"));
            w->SNMPQueryResponse(query);
        }
    }

    QList<Seen> seen;
    bool resendOnce = false;
};

} // namespace

// The requests the wrapper builds, seen in the replies of a port where nobody
// answers: a time-out hands the query back as it was sent.
class tst_PelorusWrapper : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_target = QStringLiteral("127.0.0.1:%1").arg(SnmpAgent::freeUdpPort());
        // As the views and hosts set them: by property name.
        PelorusWrapper *w = PelorusWrapper::instance();
        QVERIFY(w->setProperty("SNMPTimeout", 100) && w->setProperty("SNMPRetries", 0));
        QCOMPARE(w->engine()->DefaultTimeout(), 100);
        QCOMPARE(w->engine()->DefaultRetries(), 0);
    }

    void requestBuilding_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<short>("maxReps");
        QTest::addColumn<int>("nonRepeaters");
        QTest::addColumn<QString>("value");
        QTest::addColumn<int>("valueType");

        QTest::newRow("get") << 0 << short(-1) << -1 << "" << 5;
        QTest::newRow("getnext") << 1 << short(-1) << -1 << "" << 5;
        QTest::newRow("set") << 2 << short(-1) << -1 << "router-7" << 4;
        QTest::newRow("getbulk, engine defaults") << 4 << short(-1) << -1 << "" << 5;
        QTest::newRow("getbulk, table view's settings") << 4 << short(10) << 0 << "" << 5;
    }
    void requestBuilding()
    {
        QFETCH(int, kind);
        QFETCH(short, maxReps);
        QFETCH(int, nonRepeaters);
        QFETCH(QString, value);
        QFETCH(int, valueType);
        PelorusWrapper *w = PelorusWrapper::instance();
        Collector c;
        const QString oid = QStringLiteral("1.3.6.1.2.1.1.5.0");
        const QString node = QStringLiteral("GetType,%1").arg(kind);
        // Versions 1 and 2 never read the session, so none is given.
        switch (kind) {
        case 0:
            w->SNMPQueryGet(m_target, QStringLiteral("public"), oid, 1, &c, nullptr, true, node);
            break;
        case 1:
            w->SNMPQueryGetNext(m_target, QStringLiteral("public"), oid, 2, &c, nullptr, true, node);
            break;
        case 2:
            w->SNMPQuerySet(m_target, QStringLiteral("private"), oid, 2, &c, value, valueType, nullptr, true, node);
            break;
        case 4:
            w->SNMPQueryGetBulk(m_target, QStringLiteral("public"), oid, 2, &c, maxReps, nullptr, nonRepeaters, true,
                                node);
            break;
        }
        // Nothing arrives inside the call; the count holds the query until its reply.
        QVERIFY(c.seen.isEmpty());
        QCOMPARE(w->SNMPOutstandingQueries(), 1);
        QTRY_COMPARE_WITH_TIMEOUT(c.seen.size(), 1, 5000);
        QCOMPARE(w->SNMPOutstandingQueries(), 0);

        const Seen &s = c.seen.first();
        QCOMPARE(s.requestType, kind);
        QCOMPARE(s.nodeId, node);
        QCOMPARE(s.address, m_target);
        QCOMPARE(s.community, kind == 2 ? QStringLiteral("private") : QStringLiteral("public"));
        QCOMPARE(s.maxRepetitions, maxReps);
        QCOMPARE(s.nonRepeaters, nonRepeaters);
        QCOMPARE(s.bindings.size(), 1);
        QCOMPARE(s.bindings.first().OID, oid);
        QCOMPARE(s.bindings.first().Value, value);
        QCOMPARE(s.bindings.first().ValueType, valueType);
        // A time-out is no failure of the call: it arrives as an error number in the reply.
        QVERIFY(s.errorNumber != 0);
        QCOMPARE(s.wrapperNodeId, s.nodeId);
        QCOMPARE(s.wrapperErrorNumber, s.errorNumber);
        QCOMPARE(s.wrapperCommunity, s.community);
        // The address, not the target text with its port.
        QCOMPARE(s.wrapperAddress, QStringLiteral("127.0.0.1"));
    }

    void responseSentAgain()
    {
        Collector c;
        c.resendOnce = true;
        PelorusWrapper::instance()->SNMPQueryGet(m_target, QStringLiteral("public"), QStringLiteral("1.3.6.1"), 1, &c,
                                                 nullptr, true, QStringLiteral("first"));
        QTRY_COMPARE_WITH_TIMEOUT(c.seen.size(), 2, 5000);
        QCOMPARE(c.seen.at(1).nodeId, QStringLiteral("again"));
        QCOMPARE(c.seen.at(1).bindings.size(), 1);
    }

    void versionThreeNeedsASession()
    {
        Collector c;
        QVERIFY_THROWS_EXCEPTION(QXMibError,
                                 PelorusWrapper::instance()->SNMPQueryGet(m_target, QString(), QStringLiteral("1.3"), 3,
                                                                          &c, nullptr, true, QStringLiteral("v3")));
        QCOMPARE(PelorusWrapper::instance()->SNMPOutstandingQueries(), 0);
    }

    void onePerThread()
    {
        PelorusWrapper *here = PelorusWrapper::instance();
        SnmpSession *session = PelorusWrapper::defaultSession();
        QCOMPARE(PelorusWrapper::instance(), here);
        QCOMPARE(PelorusWrapper::defaultSession(), session);
        PelorusWrapper *there = nullptr;
        SnmpSession *thereSession = nullptr;
        std::unique_ptr<QThread> t(QThread::create([&] {
            there = PelorusWrapper::instance();
            thereSession = PelorusWrapper::defaultSession();
        }));
        t->start();
        QVERIFY(t->wait(5000));
        QVERIFY(there != nullptr && there != here);
        QVERIFY(thereSession != nullptr && thereSession != session);
    }

private:
    QString m_target;
};

QTEST_GUILESS_MAIN(tst_PelorusWrapper)
#include "tst_peloruswrapper.moc"

#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QUdpSocket>

// An SNMP agent in the test's own process (v1 and v2c, community ignored) on
// 127.0.0.1, answering Get, GetNext, GetBulk and Set from a list of bindings,
// with the misbehaviours real agents are not made to show: going round in
// circles, empty answers, tooBig for large bulk requests, falling silent,
// answers to other requests or broken ones, answering only every other request
// or only late.
class FakeAgent : public QObject
{
public:
    struct Binding
    {
        QString oid;
        int type; // 2 INTEGER, 4 OCTET STRING, 6 OID, 64 IpAddress (dotted), 65-67 unsigned
        QByteArray value;
    };
    enum Behaviour {
        Normal,
        Repeat,       // every answer is the first binding
        Empty,        // answers hold no bindings
        WrongIdFirst, // each answer comes after one with another request id
        GarbageFirst, // each answer comes after junk and cut-off copies of itself
        Truncated,    // answers lose their last octets
        EveryOther    // the second, fourth, ... request goes unanswered
    };

    FakeAgent();
    quint16 port() const { return m_socket.localPort(); }
    QString target() const { return QStringLiteral("127.0.0.1:%1").arg(port()); }

    void setData(QList<Binding> data);
    const QList<Binding> &data() const { return m_data; }

    Behaviour behaviour = Normal;
    // GetBulk with more repetitions than this is answered tooBig (0: never).
    int tooBigAbove = 0;
    // After this many requests it answers no more (negative: never falls silent).
    int answerLimit = -1;
    // The first this many requests go unanswered.
    int silentFor = 0;
    // Answers leave this many milliseconds after their request came.
    int answerDelayMs = 0;
    // The PDU tag of every request, in order (0xA0 Get, 0xA1 GetNext, 0xA3 Set, 0xA5 GetBulk).
    QList<int> pduTypes;

private:
    void answer();
    QList<QByteArray> respond(const QByteArray &request);

    QUdpSocket m_socket;
    QList<Binding> m_data;
};

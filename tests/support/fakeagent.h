#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>
#include <QUdpSocket>

#include <functional>

// An SNMPv1/v2c agent inside the test's own process, on 127.0.0.1, for what
// real agents never do: each request goes to a function of the test, which
// returns the datagrams to send back (none, one or several; right, wrong or
// broken). It answers while the test's event loop runs.
class FakeAgent : public QObject
{
public:
    struct Binding
    {
        QString oid;
        int type = 5;     // BER tag: 2 INTEGER, 4 OCTET STRING, 5 NULL, 6 OID, 0x41.. application types, 0x82 endOfMibView
        QByteArray value; // the content octets (integers: big-endian two's complement)
    };
    struct Request
    {
        int number = 0;  // 1 for the first request the agent got
        int version = 0; // 0 for v1, 1 for v2c
        QByteArray community;
        int type = 0;    // 0xA0 Get, 0xA1 GetNext, 0xA3 Set, 0xA5 GetBulk
        qint64 id = 0;
        int nonRepeaters = 0;
        int maxRepetitions = 0;
        QList<Binding> bindings;
    };
    using Answer = std::function<QList<QByteArray>(const Request &)>;

    explicit FakeAgent(Answer answer);
    // "127.0.0.1:port"
    QString target() const;

    // The response datagram to a request, with the request's id unless another is given.
    static QByteArray response(const Request &request, const QList<Binding> &bindings, int errorStatus = 0,
                               int errorIndex = 0);
    // What an agent holding view (in increasing OID order) answers a Get, GetNext or GetBulk.
    static QList<Binding> lookup(const QList<Binding> &view, const Request &request);
    static Binding integer(const QString &oid, qint64 value, int type = 2);
    static Binding octets(const QString &oid, const QByteArray &value);

private:
    void answer();

    QUdpSocket m_socket;
    Answer m_answer;
    int m_count = 0;
};

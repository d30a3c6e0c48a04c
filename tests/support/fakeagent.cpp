#include "fakeagent.h"

#include <QVector>

namespace {

QByteArray length(qsizetype n)
{
    if (n < 128)
        return QByteArray(1, char(n));
    QByteArray digits;
    for (; n > 0; n >>= 8)
        digits.prepend(char(n & 0xff));
    return char(0x80 | digits.size()) + digits;
}

QByteArray tlv(int tag, const QByteArray &content)
{
    return char(tag) + length(content.size()) + content;
}

QByteArray integerContent(qint64 v)
{
    QByteArray out;
    do {
        out.prepend(char(v & 0xff));
        v >>= 8;
    } while (!((v == 0 && !(out.at(0) & 0x80)) || (v == -1 && (out.at(0) & 0x80))));
    return out;
}

QByteArray oidContent(const QString &oid)
{
    const QStringList arcs = oid.split(u'.');
    QByteArray out;
    for (int i = 1; i < arcs.size(); ++i) {
        quint64 arc = arcs.at(i).toULongLong();
        if (i == 1)
            arc += 40 * arcs.at(0).toULongLong();
        QByteArray base128(1, char(arc & 0x7f));
        for (arc >>= 7; arc > 0; arc >>= 7)
            base128.prepend(char(0x80 | (arc & 0x7f)));
        out += base128;
    }
    return out;
}

// Reads one element at *pos: its tag and content; false when the input ends early.
bool element(const QByteArray &b, qsizetype *pos, int *tag, QByteArray *content)
{
    if (*pos + 2 > b.size())
        return false;
    *tag = quint8(b.at(*pos));
    qsizetype len = quint8(b.at(*pos + 1));
    qsizetype start = *pos + 2;
    if (len & 0x80) {
        const int n = int(len & 0x7f);
        len = 0;
        for (int i = 0; i < n && start < b.size(); ++i)
            len = (len << 8) | quint8(b.at(start++));
    }
    if (start + len > b.size())
        return false;
    *content = b.mid(start, len);
    *pos = start + len;
    return true;
}

qint64 integerValue(const QByteArray &c)
{
    qint64 v = c.isEmpty() ? 0 : qint8(c.at(0));
    for (qsizetype i = 1; i < c.size(); ++i)
        v = (v << 8) | quint8(c.at(i));
    return v;
}

QString oidText(const QByteArray &c)
{
    QStringList arcs;
    quint64 arc = 0;
    for (const char byte : c) {
        arc = (arc << 7) | (quint8(byte) & 0x7f);
        if (quint8(byte) & 0x80)
            continue;
        if (arcs.isEmpty())
            arcs << QString::number(qMin<quint64>(arc / 40, 2)) << QString::number(arc - 40 * qMin<quint64>(arc / 40, 2));
        else
            arcs << QString::number(arc);
        arc = 0;
    }
    return arcs.join(u'.');
}

bool parse(const QByteArray &datagram, FakeAgent::Request *r)
{
    qsizetype pos = 0;
    int tag = 0;
    QByteArray message, part;
    if (!element(datagram, &pos, &tag, &message) || tag != 0x30)
        return false;
    pos = 0;
    QByteArray pdu;
    if (!element(message, &pos, &tag, &part))
        return false;
    r->version = int(integerValue(part));
    if (!element(message, &pos, &tag, &r->community) || !element(message, &pos, &r->type, &pdu))
        return false;
    qint64 fields[3] = {};
    pos = 0;
    for (qint64 &field : fields) {
        if (!element(pdu, &pos, &tag, &part))
            return false;
        field = integerValue(part);
    }
    r->id = fields[0];
    r->nonRepeaters = int(fields[1]);
    r->maxRepetitions = int(fields[2]);
    QByteArray list, binding, oid, value;
    if (!element(pdu, &pos, &tag, &list))
        return false;
    for (qsizetype at = 0; element(list, &at, &tag, &binding);) {
        qsizetype inner = 0;
        FakeAgent::Binding b;
        if (!element(binding, &inner, &tag, &oid) || !element(binding, &inner, &b.type, &b.value))
            return false;
        b.oid = oidText(oid);
        r->bindings.append(b);
    }
    return true;
}

QVector<quint64> arcs(const QString &oid)
{
    QVector<quint64> out;
    for (const QString &arc : oid.split(u'.'))
        out.append(arc.toULongLong());
    return out;
}

} // namespace

FakeAgent::FakeAgent(Answer answer)
    : m_answer(std::move(answer))
{
    m_socket.bind(QHostAddress::LocalHost, 0);
    connect(&m_socket, &QUdpSocket::readyRead, this, [this] { this->answer(); });
}

QString FakeAgent::target() const
{
    return QStringLiteral("127.0.0.1:%1").arg(m_socket.localPort());
}

void FakeAgent::answer()
{
    while (m_socket.hasPendingDatagrams()) {
        QHostAddress from;
        quint16 port = 0;
        QByteArray datagram(int(m_socket.pendingDatagramSize()), '\0');
        m_socket.readDatagram(datagram.data(), datagram.size(), &from, &port);
        Request request;
        if (!parse(datagram, &request))
            continue;
        request.number = ++m_count;
        for (const QByteArray &reply : m_answer(request))
            m_socket.writeDatagram(reply, from, port);
    }
}

QByteArray FakeAgent::response(const Request &r, const QList<Binding> &bindings, int errorStatus, int errorIndex)
{
    QByteArray list;
    for (const Binding &b : bindings)
        list += tlv(0x30, tlv(0x06, oidContent(b.oid)) + tlv(b.type, b.value));
    const QByteArray pdu = tlv(0xA2, tlv(0x02, integerContent(r.id)) + tlv(0x02, integerContent(errorStatus))
                                         + tlv(0x02, integerContent(errorIndex)) + tlv(0x30, list));
    return tlv(0x30, tlv(0x02, integerContent(r.version)) + tlv(0x04, r.community) + pdu);
}

QList<FakeAgent::Binding> FakeAgent::lookup(const QList<Binding> &view, const Request &r)
{
    QList<Binding> out;
    auto after = [&view](const QString &oid) {
        const QVector<quint64> key = arcs(oid);
        for (const Binding &b : view) {
            if (key < arcs(b.oid))
                return b;
        }
        return Binding{oid, 0x82, {}};
    };
    if (r.type == 0xA0) {
        for (const Binding &asked : r.bindings) {
            Binding found{asked.oid, 0x81, {}};
            for (const Binding &b : view) {
                if (b.oid == asked.oid)
                    found = b;
            }
            out.append(found);
        }
        return out;
    }
    const int repetitions = r.type == 0xA5 ? r.maxRepetitions : 1;
    for (const Binding &asked : r.bindings) {
        QString oid = asked.oid;
        for (int i = 0; i < repetitions; ++i) {
            out.append(after(oid));
            oid = out.last().oid;
        }
    }
    return out;
}

FakeAgent::Binding FakeAgent::integer(const QString &oid, qint64 value, int type)
{
    return {oid, type, integerContent(value)};
}

FakeAgent::Binding FakeAgent::octets(const QString &oid, const QByteArray &value)
{
    return {oid, 4, value};
}

#include "fakeagent.h"

#include <QStringList>
#include <QTimer>

#include <algorithm>
#include <utility>

namespace {

struct Reader
{
    const QByteArray &bytes;
    int pos = 0;
    // The element at pos: its tag, content and whole encoding; pos moves past it.
    bool next(int *tag, QByteArray *content, QByteArray *whole = nullptr)
    {
        const int start = pos;
        if (pos + 2 > bytes.size())
            return false;
        *tag = quint8(bytes.at(pos));
        int length = quint8(bytes.at(pos + 1));
        pos += 2;
        if (length & 0x80) {
            const int n = length & 0x7f;
            length = 0;
            for (int i = 0; i < n && pos < bytes.size(); ++i)
                length = (length << 8) | quint8(bytes.at(pos++));
        }
        if (pos + length > bytes.size())
            return false;
        *content = bytes.mid(pos, length);
        pos += length;
        if (whole != nullptr)
            *whole = bytes.mid(start, pos - start);
        return true;
    }
};

QByteArray tlv(int tag, const QByteArray &content)
{
    QByteArray out(1, char(tag));
    if (content.size() < 128) {
        out += char(content.size());
    } else {
        out += char(0x82);
        out += char(content.size() >> 8);
        out += char(content.size() & 0xff);
    }
    return out + content;
}

QByteArray integer(qint64 value, bool isUnsigned = false)
{
    QByteArray out;
    for (int i = 7; i >= 0; --i)
        out += char((value >> (8 * i)) & 0xff);
    while (out.size() > 1
           && ((out.at(0) == 0 && !(out.at(1) & 0x80)) || (!isUnsigned && out.at(0) == char(0xff) && (out.at(1) & 0x80))))
        out.remove(0, 1);
    if (isUnsigned && (out.at(0) & 0x80))
        out.prepend('\0');
    return out;
}

qint64 number(const QByteArray &content)
{
    qint64 v = content.isEmpty() || !(content.at(0) & 0x80) ? 0 : -1;
    for (const char c : content)
        v = (v << 8) | quint8(c);
    return v;
}

QByteArray oidBytes(const QString &oid)
{
    const QStringList arcs = oid.split(u'.');
    QByteArray out;
    auto put = [&out](quint64 arc) {
        QByteArray part(1, char(arc & 0x7f));
        while (arc >>= 7)
            part.prepend(char(0x80 | (arc & 0x7f)));
        out += part;
    };
    put(arcs.value(0).toULongLong() * 40 + arcs.value(1).toULongLong());
    for (int i = 2; i < arcs.size(); ++i)
        put(arcs.at(i).toULongLong());
    return out;
}

QString oidText(const QByteArray &bytes)
{
    QStringList arcs;
    quint64 arc = 0;
    for (const char c : bytes) {
        arc = (arc << 7) | (quint8(c) & 0x7f);
        if (c & 0x80)
            continue;
        if (arcs.isEmpty()) {
            arcs << QString::number(arc < 80 ? arc / 40 : 2) << QString::number(arc < 80 ? arc % 40 : arc - 80);
        } else {
            arcs << QString::number(arc);
        }
        arc = 0;
    }
    return arcs.join(u'.');
}

bool oidLess(const QString &a, const QString &b)
{
    const QStringList x = a.split(u'.');
    const QStringList y = b.split(u'.');
    for (int i = 0; i < x.size() && i < y.size(); ++i) {
        if (x.at(i).toULongLong() != y.at(i).toULongLong())
            return x.at(i).toULongLong() < y.at(i).toULongLong();
    }
    return x.size() < y.size();
}

QByteArray encode(const FakeAgent::Binding &b)
{
    QByteArray value;
    switch (b.type) {
    case 2: value = tlv(2, integer(b.value.toLongLong())); break;
    case 6: value = tlv(6, oidBytes(QString::fromLatin1(b.value))); break;
    case 64: {
        QByteArray octets;
        for (const QByteArray &part : b.value.split('.'))
            octets += char(part.toInt());
        value = tlv(0x40, octets);
        break;
    }
    case 65: case 66: case 67: case 70: value = tlv(b.type, integer(b.value.toLongLong(), true)); break;
    default: value = tlv(b.type, b.value); break;
    }
    return tlv(0x30, tlv(6, oidBytes(b.oid)) + value);
}

} // namespace

FakeAgent::FakeAgent()
{
    m_socket.bind(QHostAddress::LocalHost, 0);
    connect(&m_socket, &QUdpSocket::readyRead, this, [this] { answer(); });
}

void FakeAgent::setData(QList<Binding> data)
{
    std::sort(data.begin(), data.end(), [](const Binding &a, const Binding &b) { return oidLess(a.oid, b.oid); });
    m_data = std::move(data);
}

void FakeAgent::answer()
{
    while (m_socket.hasPendingDatagrams()) {
        QHostAddress from;
        quint16 fromPort = 0;
        QByteArray request(int(m_socket.pendingDatagramSize()), '\0');
        m_socket.readDatagram(request.data(), request.size(), &from, &fromPort);
        auto send = [this, replies = respond(request), from, fromPort] {
            for (const QByteArray &reply : replies)
                m_socket.writeDatagram(reply, from, fromPort);
        };
        if (answerDelayMs > 0)
            QTimer::singleShot(answerDelayMs, Qt::PreciseTimer, this, send);
        else
            send();
    }
}

QList<QByteArray> FakeAgent::respond(const QByteArray &request)
{
    int tag = 0;
    QByteArray message, version, versionTlv, community, communityTlv, pdu, requestId, a, b, list;
    Reader top{request};
    if (!top.next(&tag, &message))
        return {};
    Reader m{message};
    int pduTag = 0;
    if (!m.next(&tag, &version, &versionTlv) || !m.next(&tag, &community, &communityTlv) || !m.next(&pduTag, &pdu))
        return {};
    Reader p{pdu};
    QByteArray requestIdTlv;
    if (!p.next(&tag, &requestId, &requestIdTlv) || !p.next(&tag, &a) || !p.next(&tag, &b) || !p.next(&tag, &list))
        return {};
    QStringList oids;
    QList<QByteArray> values;
    Reader l{list};
    for (QByteArray binding; l.next(&tag, &binding);) {
        Reader v{binding};
        QByteArray oid, value, valueTlv;
        int valueTag = 0;
        v.next(&tag, &oid);
        v.next(&valueTag, &value, &valueTlv);
        oids << oidText(oid);
        values << valueTlv;
    }
    pduTypes.append(pduTag);
    if ((answerLimit >= 0 && pduTypes.size() > answerLimit) || (behaviour == EveryOther && pduTypes.size() % 2 == 0)
        || pduTypes.size() <= silentFor)
        return {};

    const bool v1 = number(version) == 0;
    int errorStatus = 0;
    int errorIndex = 0;
    QByteArray out;
    auto next = [this](const QString &oid) {
        return std::find_if(m_data.cbegin(), m_data.cend(), [&](const Binding &d) { return oidLess(oid, d.oid); });
    };
    auto fail = [&](int status, int index) {
        errorStatus = status;
        errorIndex = index;
    };
    for (int i = 0; i < oids.size(); ++i) {
        const QString &oid = oids.at(i);
        const auto exact = std::find_if(m_data.begin(), m_data.end(), [&](const Binding &d) { return d.oid == oid; });
        if (pduTag == 0xA0) {
            if (exact != m_data.end())
                out += encode(*exact);
            else if (v1)
                fail(2, i + 1);
            else
                out += tlv(0x30, tlv(6, oidBytes(oid)) + tlv(0x80, {}));
        } else if (pduTag == 0xA3) {
            if (exact == m_data.end()) {
                fail(v1 ? 2 : 17, i + 1);
                continue;
            }
            Reader v{values.at(i)};
            QByteArray content;
            int valueTag = 0;
            v.next(&valueTag, &content);
            exact->value = valueTag == 4 ? content : QByteArray::number(number(content));
            out += encode(*exact);
        } else {
            const int repetitions = pduTag == 0xA5 && i >= number(a) ? int(number(b)) : 1;
            if (pduTag == 0xA5 && tooBigAbove > 0 && repetitions > tooBigAbove) {
                fail(1, 0);
                break;
            }
            QString from = oid;
            for (int r = 0; r < repetitions; ++r) {
                const auto found = next(from);
                if (found == m_data.cend()) {
                    if (v1)
                        fail(2, i + 1);
                    else
                        out += tlv(0x30, tlv(6, oidBytes(from)) + tlv(0x82, {}));
                    break;
                }
                out += encode(*found);
                from = found->oid;
            }
        }
    }
    if (errorStatus != 0) {
        out.clear();
        for (int i = 0; i < oids.size(); ++i)
            out += tlv(0x30, tlv(6, oidBytes(oids.at(i))) + values.at(i));
    } else if (behaviour == Repeat && !m_data.isEmpty()) {
        out = encode(m_data.first());
    } else if (behaviour == Empty) {
        out.clear();
    }
    auto answerWith = [&](const QByteArray &idTlv) {
        return tlv(0x30, versionTlv + communityTlv
                             + tlv(0xA2, idTlv + tlv(2, integer(errorStatus)) + tlv(2, integer(errorIndex)) + tlv(0x30, out)));
    };
    // A GetBulk answer loses bindings from its end to fit a datagram.
    const int room = 65507 - int(answerWith(requestIdTlv).size() - out.size());
    if (out.size() > room && pduTag == 0xA5) {
        const QByteArray all = std::exchange(out, {});
        Reader l{all};
        for (QByteArray content, whole; l.next(&tag, &content, &whole) && out.size() + whole.size() <= room;)
            out += whole;
    }
    const QByteArray reply = answerWith(requestIdTlv);
    switch (behaviour) {
    case WrongIdFirst:
        return {answerWith(tlv(2, integer(number(requestId) + 7))), reply};
    case GarbageFirst:
        return {QByteArray("\x30\x03\x02\x01"), QByteArray(40, '\xff'), reply.left(reply.size() / 2), reply.chopped(1), reply};
    case Truncated:
        return {reply.chopped(3)};
    default:
        return {reply};
    }
}

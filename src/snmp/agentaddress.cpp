#include "agentaddress.h"

#include <QRegularExpression>

bool AgentAddress::parse(const QString &target, AgentAddress *out, QString *error)
{
    const QString given = target.trimmed();
    *out = AgentAddress();
    const auto fail = [&](const QString &message) {
        if (error != nullptr)
            *error = message + given;
        return false;
    };
    QString text = given;
    if (text.startsWith(QLatin1String("udp6:"), Qt::CaseInsensitive)) {
        text = text.mid(5);
        out->ipv6 = true;
    } else if (text.startsWith(QLatin1String("udp:"), Qt::CaseInsensitive)) {
        text = text.mid(4);
    }
    QString port;
    if (text.startsWith(u'[')) {
        const qsizetype close = text.indexOf(u']');
        const QString rest = text.mid(close + 1);
        if (close < 2 || (!rest.isEmpty() && !rest.startsWith(u':')))
            return fail(QStringLiteral("Bad agent address: "));
        out->host = text.mid(1, close - 1);
        port = rest.mid(1);
        out->ipv6 = true;
        if (rest == QLatin1String(":"))
            port = QStringLiteral(":");
    } else if (text.count(u':') > 1) {
        out->host = text;
        out->ipv6 = true;
    } else {
        const qsizetype colon = text.indexOf(u':');
        out->host = colon < 0 ? text : text.left(colon);
        port = colon < 0 ? QString() : text.mid(colon + 1);
        if (colon >= 0 && port.isEmpty())
            port = QStringLiteral(":");
    }
    static const QRegularExpression v6(QStringLiteral("^[0-9A-Fa-f:.]+(%\\S+)?$"));
    if (out->host.isEmpty() || out->host.contains(u' ') || out->host.contains(u'/')
        || (out->ipv6 && out->host.contains(u':') && !v6.match(out->host).hasMatch()))
        return fail(QStringLiteral("Bad agent address: "));
    if (!port.isEmpty()) {
        bool ok = false;
        out->port = port.toInt(&ok);
        if (!ok || out->port < 1 || out->port > 65535 || !port.at(0).isDigit())
            return fail(QStringLiteral("Bad port number in agent address: "));
    }
    return true;
}

QString AgentAddress::text(int defaultPort) const
{
    const int p = port > 0 ? port : defaultPort;
    if (p <= 0)
        return host;
    return (host.contains(u':') ? u'[' + host + u']' : host) + u':' + QString::number(p);
}

QString AgentAddress::peerName() const
{
    const QString p = QString::number(port > 0 ? port : 161);
    return ipv6 ? QStringLiteral("udp6:[%1]:%2").arg(host, p) : QStringLiteral("udp:%1:%2").arg(host, p);
}

#include "snmp/notification.h"

QString NotificationBinding::displayName() const
{
    if (Name.isEmpty())
        return OID;
    return Instance.isEmpty() ? Name : Name + QLatin1Char('.') + Instance;
}

QString Notification::versionText() const
{
    return Version == 1 ? QStringLiteral("v1") : Version == 3 ? QStringLiteral("v3") : QStringLiteral("v2c");
}

QString Notification::principal() const
{
    return Version == 3 ? UserName : Community;
}

QString Notification::line() const
{
    QString text = Received.toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    text += QLatin1Char(' ');
    text += Transport.isEmpty() ? SourceAddress : QLatin1Char('[') + Transport + QLatin1Char(']');
    text += QStringLiteral(": ") + (Inform ? QStringLiteral("INFORM") : QStringLiteral("TRAP"));
    text += QStringLiteral(", SNMP ") + versionText();
    text += Version == 3 ? QStringLiteral(", user ") : QStringLiteral(", community ");
    text += principal();
    text += QLatin1Char(' ') + NotificationName;
    if (Version == 1)
        text += QStringLiteral(" (enterprise %1, agent %2, generic %3, specific %4)")
                    .arg(Enterprise, AgentAddress)
                    .arg(GenericTrap)
                    .arg(SpecificTrap);
    text += QStringLiteral(" Uptime: ") + UpTimeText;
    for (const NotificationBinding &b : Bindings)
        text += QLatin1Char('\t') + b.displayName() + QStringLiteral(" = ") + b.Rendered;
    return text;
}

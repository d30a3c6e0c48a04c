#include "liveviewcli.h"

#include "core/oidtext.h"
#include "core/qxmiberror.h"
#include "core/qxmiboid.h"
#include "snmp/peloruswrapper.h"

#include <QVariant>

bool LiveViewOptions::parse(const QStringList &args, const QStringList &ownFlags, const QStringList &ownValued,
                            QString *error)
{
    if (!SnmpOptions::parse(args, &snmp, error, ownFlags, ownValued))
        return false;
    // The target and one object.
    if (snmp.target.isEmpty() || snmp.rest.size() != 1) {
        *error = QStringLiteral("give the agent and one table or OID");
        return false;
    }
    return true;
}

QString LiveViewOptions::object() const
{
    const QString text = snmp.rest.at(0).trimmed();
    try {
        QXMibOID record;
        if (OidText::resolve(record, text))
            return record.OID();
    } catch (const QXMibError &) {
        // No database: the view says so when it looks the text up.
    }
    return OidText::isNumeric(text) && text.startsWith(u'.') ? text.mid(1) : text;
}

void LiveViewOptions::applyTo(QObject *view)
{
    view->setProperty("Target", snmp.target);
    view->setProperty("Community", snmp.community);
    view->setProperty("SNMPVersion", snmp.version);
    view->setProperty("SessionHandle", QVariant::fromValue(&snmp.v3));
    // The views write the user's settings into the engine when they are created.
    if (snmp.timeoutMs >= 0)
        PelorusWrapper::instance()->setSNMPTimeout(snmp.timeoutMs);
    if (snmp.retries >= 0)
        PelorusWrapper::instance()->setSNMPRetries(short(snmp.retries));
}

QString LiveViewOptions::usage()
{
    return SnmpOptions::help() + QStringLiteral("The bulk request size defaults to the user's SNMP settings.\n");
}

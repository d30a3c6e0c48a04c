// qxmib resolve / render: what the database knows about an OID, and how a value of it reads.

#include "command.h"

#include "core/oidtext.h"
#include "core/qxmiboid.h"

#include <QCommandLineParser>

namespace {

bool wantsHelp(const QStringList &args)
{
    return args.contains(QStringLiteral("--help")) || args.contains(QStringLiteral("-h"));
}

QString field(const QString &name, const QString &value)
{
    // Continuation lines of long texts (descriptions) are indented under the field.
    QString v = value;
    v.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    v.replace(u'\n', QStringLiteral("\n  "));
    return name + QStringLiteral(": ") + v + u'\n';
}

int resolve(const QStringList &args)
{
    if (wantsHelp(args) || args.isEmpty()) {
        printOut(QStringLiteral(
            "Usage: qxmib [--db PATH] resolve TEXT...\n\n"
            "Looks each TEXT up in the MIB database and prints the fields of its definition.\n"
            "TEXT is an OID (1.3.6.1.2.1.1.5), an instance OID (1.3.6.1.2.1.2.2.1.2.3), a descriptor\n"
            "(sysName), MODULE:descriptor or MODULE::descriptor (IF-MIB::ifDescr), or a descriptor with\n"
            "an instance in net-snmp's index forms (ifDescr.3, nsExtendOutputFull.\"hello\", name.'x').\n"
            "Exit status 1 when a TEXT matches nothing.\n"));
        return args.isEmpty() ? 2 : 0;
    }
    int status = 0;
    bool first = true;
    for (const QString &text : args) {
        QXMibOID record;
        if (!OidText::resolve(record, text)) {
            printErr(QStringLiteral("qxmib resolve: no MIB object matches '%1'\n").arg(text));
            status = 1;
            continue;
        }
        if (!first)
            printOut(QStringLiteral("\n"));
        first = false;
        QString out;
        out += field(QStringLiteral("OID"), record.OID());
        out += field(QStringLiteral("Name"), record.Name());
        out += field(QStringLiteral("FullName"), record.FullName());
        out += field(QStringLiteral("LongName"), record.LongName());
        out += field(QStringLiteral("MIB"), record.MIB());
        out += field(QStringLiteral("Index"), record.Index());
        out += field(QStringLiteral("BaseName"), record.BaseName());
        out += field(QStringLiteral("BaseOID"), record.BaseOID());
        out += field(QStringLiteral("ParentOID"), record.ParentOID());
        out += field(QStringLiteral("TypeString"), record.TypeString());
        out += field(QStringLiteral("TypeInteger"), QString::number(record.TypeInteger()));
        out += field(QStringLiteral("AccessString"), record.AccessString());
        out += field(QStringLiteral("StatusString"), record.StatusString());
        out += field(QStringLiteral("Units"), record.Units());
        out += field(QStringLiteral("Enumerated"), record.Enumerated());
        out += field(QStringLiteral("EnumList"), record.EnumList());
        out += field(QStringLiteral("Description"), record.Description());
        printOut(out);
    }
    return status;
}

QString hexOf(const QString &value)
{
    QString hex;
    for (const QChar c : value)
        hex += QStringLiteral("%1").arg(c.unicode() & 0xFF, 2, 16, QLatin1Char('0')).toUpper();
    return hex;
}

QString octetsOf(const QString &hex)
{
    QString value;
    for (qsizetype i = 0; i + 1 < hex.size(); i += 2)
        value += QChar(hex.mid(i, 2).toUShort(nullptr, 16));
    return value;
}

int render(const QStringList &args)
{
    if (wantsHelp(args) || args.size() < 2 || args.size() > 3) {
        printOut(QStringLiteral(
            "Usage: qxmib [--db PATH] render OID VALUE [HEX]\n\n"
            "Prints VALUE as the object's type, enumeration or rendering hint would show it.\n"
            "VALUE is the printable form (decimal numbers, dotted OIDs, text); HEX the same octets as\n"
            "hexadecimal digits. Without HEX it is made from VALUE; with an empty VALUE, VALUE is made\n"
            "from HEX (for addresses: qxmib render ipAdEntAddr.1 '' 0A000001).\n"));
        return wantsHelp(args) ? 0 : 2;
    }
    QXMibOID record;
    if (!OidText::resolve(record, args.at(0))) {
        printErr(QStringLiteral("qxmib render: no MIB object matches '%1'\n").arg(args.at(0)));
        return 1;
    }
    QString value = args.at(1);
    QString hex = args.size() > 2 ? args.at(2) : hexOf(value);
    if (value.isEmpty() && !hex.isEmpty())
        value = octetsOf(hex);
    printOut(record.ParseValue(value, hex) + u'\n');
    return 0;
}

} // namespace

QXMIB_COMMAND("resolve", "print the definition of OIDs, instance OIDs and names", resolve)
QXMIB_COMMAND("render", "render a raw value as the object's type would show it", render)

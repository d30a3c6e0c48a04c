#include "qxmiboid.h"

#include "commonfunctions.h"
#include "database.h"
#include "globals.h"
#include "objectfactory.h"
#include "parser.h"
#include "qxmiberror.h"
#include "recordset.h"

#include <mutex>

QXMIB_REGISTER_CLASS(OID, QXMibOID)

class QXMibOIDPrivate
{
public:
    void load(const Recordset &rs);
    // A recordset on the shared connection.
    static Database *db() { return Globals::database(); }

    QString oid;
    QString baseOid;
    QString parentOid;
    QString index;
    QString suffix;
    QString mib;
    QString fullName;
    QString name;
    QString baseName;
    QString description;
    int status = 0;
    int access = 0;
    int typeCode = 0;
    QString typeName;
    QString enumeration;
    QString units;
    QString parse;
    QString indexBy;
    QString calculation;
    short line = 0;
    bool skip = false;
    QString key;
};

namespace {

std::mutex &handlerMutex()
{
    static std::mutex m;
    return m;
}

QXMibOID::DetailsHandler &detailsHandler()
{
    static QXMibOID::DetailsHandler handler;
    return handler;
}

} // namespace

void QXMibOIDPrivate::load(const Recordset &rs)
{
    baseOid = rs.text(QStringLiteral("OID"));
    parentOid = rs.text(QStringLiteral("ParentOID"));
    mib = rs.text(QStringLiteral("MIB"));
    baseName = rs.text(QStringLiteral("Name"));
    typeCode = rs.value(QStringLiteral("TypeI")).toInt();
    typeName = rs.text(QStringLiteral("TypeS"));
    description = rs.text(QStringLiteral("Description"));
    status = rs.value(QStringLiteral("Status")).toInt();
    access = rs.value(QStringLiteral("Access")).toInt();
    enumeration = rs.text(QStringLiteral("Enum"));
    parse = rs.text(QStringLiteral("Parse"));
    units = rs.text(QStringLiteral("Units"));
    indexBy = rs.text(QStringLiteral("IndexBy"));
    // Older database files may lack the column.
    if (rs.hasField(QStringLiteral("Calculation")))
        calculation = rs.text(QStringLiteral("Calculation"));

    oid = baseOid + suffix;
    index = suffix.startsWith(u'.') ? suffix.mid(1) : suffix;
    name = baseName + suffix;
    fullName = mib + u':' + baseName + suffix;
}

QXMibOID::QXMibOID(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<QXMibOIDPrivate>())
{
    Globals::OpenDatabase();
}

QXMibOID::~QXMibOID() = default;

QString QXMibOID::OID() const
{
    return d->oid;
}

void QXMibOID::setOID(const QString &oid)
{
    Clear();
    QString s = oid;
    s.remove(u'"');
    const QString given = s;
    if (s.endsWith(QLatin1String(".0"))) {
        d->suffix = QStringLiteral(".0");
        s.chop(2);
    }
    while (!s.isEmpty()) {
        Recordset rs(d->db(), QStringLiteral("Select * from Tree WHERE OID = ") + Globals::dq(s)
                                  + QStringLiteral(" AND Primary=TRUE"));
        if (!rs.eof()) {
            d->load(rs);
            return;
        }
        const qsizetype dot = s.lastIndexOf(u'.');
        if (dot < 0)
            return;
        s.truncate(dot);
        d->suffix = given.mid(dot);
    }
}

void QXMibOID::ShowOIDDetails()
{
    DetailsHandler handler;
    {
        std::lock_guard<std::mutex> lock(handlerMutex());
        handler = detailsHandler();
    }
    if (handler)
        handler(d->oid);
}

void QXMibOID::setShowDetailsHandler(DetailsHandler handler)
{
    std::lock_guard<std::mutex> lock(handlerMutex());
    detailsHandler() = std::move(handler);
}

bool QXMibOID::Skip() const { return d->skip; }
void QXMibOID::setSkip(bool skip) { d->skip = skip; }
QString QXMibOID::Key() const { return d->key; }
void QXMibOID::setKey(const QString &key) { d->key = key; }
QString QXMibOID::ParentOID() const { return d->parentOid; }
void QXMibOID::setParentOID(const QString &parentOid) { d->parentOid = parentOid; }
QString QXMibOID::IndexBy() const { return d->indexBy; }
void QXMibOID::setIndexBy(const QString &indexBy) { d->indexBy = indexBy; }
QString QXMibOID::Calculation() const { return d->calculation; }
void QXMibOID::setCalculation(const QString &calculation) { d->calculation = calculation; }
short QXMibOID::Line() const { return d->line; }
void QXMibOID::setLine(short line) { d->line = line; }
QString QXMibOID::Index() const { return d->index; }
void QXMibOID::setIndex(const QString &index) { d->index = index; }
QString QXMibOID::MIB() const { return d->mib; }
void QXMibOID::setMIB(const QString &mib) { d->mib = mib; }
QString QXMibOID::FullName() const { return d->fullName; }

void QXMibOID::setFullName(const QString &fullName)
{
    if (fullName.startsWith(QLatin1String("1.2.")) || fullName.startsWith(QLatin1String("1.3."))) {
        setOID(fullName);
        return;
    }
    QString statement;
    const qsizetype colon = fullName.indexOf(u':');
    if (colon >= 0) {
        statement = QStringLiteral("Select TOP 1 * from Tree WHERE MIB = ") + Globals::dq(fullName.left(colon))
            + QStringLiteral(" AND Name = ") + Globals::dq(fullName.mid(colon + 1));
    } else {
        statement = QStringLiteral("Select Top 1 * from Tree WHERE Name = ") + Globals::dq(fullName)
            + QStringLiteral("  AND Primary=TRUE");
    }
    Clear();
    Recordset rs(d->db(), statement);
    if (!rs.eof())
        d->load(rs);
}

QString QXMibOID::LongName() const
{
    QString result;
    QString prefix;
    const QStringList arcs = d->oid.split(u'.');
    for (int i = 0; i < arcs.size(); ++i) {
        if (i > 0)
            prefix += u'.';
        prefix += arcs.at(i);
        Recordset rs(d->db(), QStringLiteral("Select Name from Tree WHERE OID = ") + Globals::dq(prefix));
        if (i > 0)
            result += u'.';
        result += rs.eof() ? arcs.at(i) : rs.text(QStringLiteral("Name"));
    }
    return result;
}

QString QXMibOID::Name() const { return d->name; }

void QXMibOID::setName(const QString &name)
{
    const QString statement = QStringLiteral("Select * from Tree WHERE Name = ") + Globals::dq(name);
    Clear();
    Recordset rs(d->db(), statement);
    if (!rs.eof())
        d->load(rs);
}

QString QXMibOID::Description() const { return d->description; }
void QXMibOID::setDescription(const QString &description) { d->description = description; }
int QXMibOID::Status() const { return d->status; }

QString QXMibOID::StatusString() const
{
    switch (d->status) {
    case 1: return QStringLiteral("mandatory");
    case 2: return QStringLiteral("optional");
    case 3: return QStringLiteral("obsolete");
    case 4: return QStringLiteral("deprecated");
    default: return QStringLiteral("unknown");
    }
}

int QXMibOID::Access() const { return d->access; }

QString QXMibOID::AccessString() const
{
    switch (d->access) {
    case 1: return QStringLiteral("read-only");
    case 2: return QStringLiteral("read-write");
    case 3: return QStringLiteral("write-only");
    case 4: return QStringLiteral("not-available");
    default: return QStringLiteral("unknown");
    }
}

int QXMibOID::TypeInteger() const { return d->typeCode; }
QString QXMibOID::TypeString() const { return d->typeName; }
QString QXMibOID::Enumerated() const { return d->enumeration; }
QString QXMibOID::Parse() const { return d->parse; }

void QXMibOID::setParse(const QString &parse)
{
    d->parse = parse;
    Sync();
}

QString QXMibOID::Units() const { return d->units; }

void QXMibOID::setUnits(const QString &units)
{
    d->units = units;
    Sync();
}

QString QXMibOID::BaseName() const { return d->baseName; }
QString QXMibOID::BaseOID() const { return d->baseOid; }

QString QXMibOID::ParseValue(const QString &value, QString &hexValue)
{
    return Parser::RenderValue(*this, value, hexValue);
}

QString QXMibOID::ParseValue(const QString &value, const QString &hexValue)
{
    QString hex = hexValue;
    return Parser::RenderValue(*this, value, hex);
}

void QXMibOID::Clear()
{
    d->oid.clear();
    d->mib.clear();
    d->suffix.clear();
    d->name.clear();
    d->baseName.clear();
    d->fullName.clear();
    d->status = 0;
    d->access = 0;
    d->typeCode = 0;
    d->typeName.clear();
    d->enumeration.clear();
    d->parse.clear();
    d->units.clear();
    d->description.clear();
    d->indexBy.clear();
}

void QXMibOID::Sync()
{
    Recordset rs(d->db(), QStringLiteral("Select * from Tree WHERE OID = ") + Globals::dq(d->oid), Recordset::Mode::Updatable);
    if (rs.eof()) {
        rs.addNew();
        rs.setValue(QStringLiteral("Primary"), true);
    }
    rs.setValue(QStringLiteral("OID"), d->oid);
    rs.setValue(QStringLiteral("MIB"), d->mib);
    rs.setValue(QStringLiteral("ParentOID"), d->parentOid);
    rs.setValue(QStringLiteral("Name"), d->name);
    rs.setValue(QStringLiteral("TypeI"), d->typeCode);
    rs.setValue(QStringLiteral("TypeS"), d->typeName);
    rs.setValue(QStringLiteral("Description"), d->description);
    rs.setValue(QStringLiteral("Status"), d->status);
    rs.setValue(QStringLiteral("Access"), d->access);
    rs.setValue(QStringLiteral("Enum"), d->enumeration);
    rs.setValue(QStringLiteral("Parse"), d->parse);
    rs.setValue(QStringLiteral("Units"), d->units);
    // Older database files may lack these two columns.
    try {
        rs.setValue(QStringLiteral("IndexBy"), d->indexBy);
    } catch (const QXMibError &) {
    }
    try {
        rs.setValue(QStringLiteral("Calculation"), d->calculation);
    } catch (const QXMibError &) {
    }
    rs.update();
    rs.close();
}

int QXMibOID::OIDIndex(const QString &oid) const
{
    const QString last = oid.mid(oid.lastIndexOf(u'.') + 1);
    const double n = CommonFunctions::LeadingNumber(last);
    if (n > 2147483647.0 || n < -2147483648.0)
        return 0;
    return int(n);
}

namespace {
QString enumStatement(const QString &set, int value)
{
    return QStringLiteral("Select * From Enums Where Name = ") + Globals::dq(set) + QStringLiteral(" AND Value = ")
        + QString::number(value) + QStringLiteral(" order by Value");
}
} // namespace

QString QXMibOID::EnumString(int value) const
{
    Recordset rs(d->db(), enumStatement(d->enumeration, value));
    if (rs.eof())
        return QStringLiteral("unknown(") + QString::number(value) + u')';
    return rs.text(QStringLiteral("Enum")) + u'(' + QString::number(value) + u')';
}

QString QXMibOID::EnumName(int value, const QString &defaultText) const
{
    Recordset rs(d->db(), enumStatement(d->enumeration, value));
    if (!rs.eof())
        return rs.text(QStringLiteral("Enum"));
    return defaultText.isEmpty() ? QString::number(value) : defaultText;
}

QString QXMibOID::EnumWords(int value, const QString &defaultText) const
{
    QString label = EnumName(value, defaultText);
    if (label.isEmpty())
        return label;
    label[0] = label.at(0).toUpper();
    QString words;
    words.reserve(label.size() * 2);
    // The first letter gets its blank like any other (trimmed below), so the
    // capital after it is copied plainly: "ISDN" gives "IS DN".
    bool blankInserted = false;
    for (const QChar c : std::as_const(label)) {
        const bool upper = c.toLower() != c;
        if (upper && !blankInserted) {
            words += u' ';
            blankInserted = true;
        } else {
            blankInserted = false;
        }
        words += c;
    }
    return words.trimmed();
}

QString QXMibOID::EnumList() const
{
    if (d->enumeration.isEmpty())
        return QString();
    QString list;
    Recordset rs(d->db(), QStringLiteral("Select * From Enums Where Name = ") + Globals::dq(d->enumeration)
                              + QStringLiteral(" order by Value"));
    while (!rs.eof()) {
        const QString value = QString::number(rs.value(QStringLiteral("Value")).toLongLong());
        if (!list.isEmpty())
            list += u'|';
        list += u'#' + value + u';' + rs.text(QStringLiteral("Enum")) + u'(' + value + u')';
        rs.moveNext();
    }
    return list;
}

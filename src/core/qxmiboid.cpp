#include "qxmiboid.h"

#include "commonfunctions.h"
#include "database.h"
#include "definitioncache_p.h"
#include "globals.h"
#include "objectfactory.h"
#include "parser.h"
#include "qxmiberror.h"
#include "recordset.h"

#include <mutex>

QXMIB_REGISTER_CLASS(OID, QXMibOID)

using Question = DefinitionCache::Question;

class QXMibOIDPrivate
{
public:
    // A record loaded from the definition cache shares the cached row and reads
    // its fields from it; a field holds a value of its own once it is set, cleared
    // or loaded from a recordset. So a resolution copies no field.
    enum Field : quint32 {
        Oid = 1u << 0,
        BaseOid = 1u << 1,
        ParentOid = 1u << 2,
        Index = 1u << 3,
        Mib = 1u << 4,
        FullName = 1u << 5,
        Name = 1u << 6,
        BaseName = 1u << 7,
        Description = 1u << 8,
        Status = 1u << 9,
        Access = 1u << 10,
        TypeCode = 1u << 11,
        TypeName = 1u << 12,
        Enumeration = 1u << 13,
        Units = 1u << 14,
        Parse = 1u << 15,
        IndexBy = 1u << 16,
        Calculation = 1u << 17,
        AllFields = (1u << 18) - 1,
    };

    void load(const Recordset &rs);
    // Loads the first row of a Tree statement; false when it gives none.
    bool loadFirst(const QString &statement);
    void load(const TreeDefinition *t, const QString &suffix, const QString &fullOid);
    void derive();
    // The shared connection.
    static Database *db() { return Globals::database(); }
    // Its definitions in memory, when they answer the question for this file.
    static DefinitionCache *cache(Question question) { return DefinitionCache::answering(db(), question); }

    QString text(Field f, const QString &mine, QString TreeDefinition::*column) const
    {
        return (own & f) != 0 ? mine : row.constData()->*column;
    }
    int number(Field f, int mine, int TreeDefinition::*column) const
    {
        return (own & f) != 0 ? mine : row.constData()->*column;
    }
    template<typename T>
    void set(Field f, T &field, const T &value)
    {
        field = value;
        own |= f;
    }

    QExplicitlySharedDataPointer<const TreeDefinition> row;
    quint32 own = AllFields;
    QString rowOid;    // the full OID the row was found for
    QString rowSuffix; // its instance suffix

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

bool QXMibOIDPrivate::loadFirst(const QString &statement)
{
    if (DefinitionCache *c = cache(Question::TreeRows)) {
        const TreeDefinition *row = c->firstRow(statement);
        if (row != nullptr)
            load(row, QString(), row->oid);
        return row != nullptr;
    }
    Recordset rs(db(), statement);
    if (rs.eof())
        return false;
    load(rs);
    return true;
}

void QXMibOIDPrivate::load(const Recordset &rs)
{
    set(BaseOid, baseOid, rs.text(QStringLiteral("OID")));
    set(ParentOid, parentOid, rs.text(QStringLiteral("ParentOID")));
    set(Mib, mib, rs.text(QStringLiteral("MIB")));
    set(BaseName, baseName, rs.text(QStringLiteral("Name")));
    set(TypeCode, typeCode, rs.value(QStringLiteral("TypeI")).toInt());
    set(TypeName, typeName, rs.text(QStringLiteral("TypeS")));
    set(Description, description, rs.text(QStringLiteral("Description")));
    set(Status, status, rs.value(QStringLiteral("Status")).toInt());
    set(Access, access, rs.value(QStringLiteral("Access")).toInt());
    set(Enumeration, enumeration, rs.text(QStringLiteral("Enum")));
    set(Parse, parse, rs.text(QStringLiteral("Parse")));
    set(Units, units, rs.text(QStringLiteral("Units")));
    // Older database files may lack these two columns.
    if (rs.hasField(QStringLiteral("IndexBy")))
        set(IndexBy, indexBy, rs.text(QStringLiteral("IndexBy")));
    if (rs.hasField(QStringLiteral("Calculation")))
        set(Calculation, calculation, rs.text(QStringLiteral("Calculation")));
    derive();
}

void QXMibOIDPrivate::load(const TreeDefinition *t, const QString &instanceSuffix, const QString &fullOid)
{
    quint32 kept = 0;
    if (!t->hasCalculation) {
        // A row without the column leaves the calculation as it was.
        calculation = text(Calculation, calculation, &TreeDefinition::calculation);
        kept = Calculation;
    }
    row = QExplicitlySharedDataPointer<const TreeDefinition>(t);
    rowSuffix = instanceSuffix;
    rowOid = fullOid;
    own = kept;
}

void QXMibOIDPrivate::derive()
{
    set(Oid, oid, baseOid + suffix);
    set(Index, index, suffix.startsWith(u'.') ? suffix.mid(1) : suffix);
    set(Name, name, baseName + suffix);
    set(FullName, fullName, mib + u':' + baseName + suffix);
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
    return (d->own & QXMibOIDPrivate::Oid) != 0 ? d->oid : d->rowOid;
}

void QXMibOID::setOID(const QString &oid)
{
    Clear();
    QString given = oid;
    if (given.contains(u'"'))
        given.remove(u'"');
    QStringView s(given);
    if (s.endsWith(u".0")) {
        d->suffix = QStringLiteral(".0");
        s.chop(2);
    }
    if (DefinitionCache *cache = d->cache(Question::Oids)) {
        qsizetype matched = 0;
        if (const TreeDefinition *row = cache->resolve(s, &matched))
            d->load(row, matched == given.size() ? QString() : given.mid(matched), given);
        return;
    }
    while (!s.isEmpty()) {
        Recordset rs(d->db(), QStringLiteral("Select * from Tree WHERE OID = ") + Globals::dq(s.toString())
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
        handler(OID());
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
QString QXMibOID::ParentOID() const
{
    return d->text(QXMibOIDPrivate::ParentOid, d->parentOid, &TreeDefinition::parentOid);
}
void QXMibOID::setParentOID(const QString &parentOid) { d->set(QXMibOIDPrivate::ParentOid, d->parentOid, parentOid); }
QString QXMibOID::IndexBy() const { return d->text(QXMibOIDPrivate::IndexBy, d->indexBy, &TreeDefinition::indexBy); }
void QXMibOID::setIndexBy(const QString &indexBy) { d->set(QXMibOIDPrivate::IndexBy, d->indexBy, indexBy); }
QString QXMibOID::Calculation() const
{
    return d->text(QXMibOIDPrivate::Calculation, d->calculation, &TreeDefinition::calculation);
}
void QXMibOID::setCalculation(const QString &calculation)
{
    d->set(QXMibOIDPrivate::Calculation, d->calculation, calculation);
}
short QXMibOID::Line() const { return d->line; }
void QXMibOID::setLine(short line) { d->line = line; }
QString QXMibOID::Index() const
{
    if ((d->own & QXMibOIDPrivate::Index) != 0)
        return d->index;
    return d->rowSuffix.startsWith(u'.') ? d->rowSuffix.mid(1) : d->rowSuffix;
}
void QXMibOID::setIndex(const QString &index) { d->set(QXMibOIDPrivate::Index, d->index, index); }
QString QXMibOID::MIB() const { return d->text(QXMibOIDPrivate::Mib, d->mib, &TreeDefinition::mib); }
void QXMibOID::setMIB(const QString &mib) { d->set(QXMibOIDPrivate::Mib, d->mib, mib); }
QString QXMibOID::FullName() const
{
    if ((d->own & QXMibOIDPrivate::FullName) != 0)
        return d->fullName;
    return d->row->mib + u':' + d->row->name + d->rowSuffix;
}

void QXMibOID::setFullName(const QString &fullName)
{
    if (fullName.startsWith(QLatin1String("1.2.")) || fullName.startsWith(QLatin1String("1.3."))) {
        setOID(fullName);
        return;
    }
    // Names compare with their case, as SNMP compares them: a row spelled exactly
    // so wins; one spelled so but for letter case is taken only when there is none.
    QString statement;
    QString exact;
    const qsizetype colon = fullName.indexOf(u':');
    if (colon >= 0) {
        const QString mib = Globals::dq(fullName.left(colon));
        const QString name = Globals::dq(fullName.mid(colon + 1));
        statement = QStringLiteral("Select TOP 1 * from Tree WHERE MIB = ") + mib + QStringLiteral(" AND Name = ") + name;
        exact = statement + QStringLiteral(" AND MIB = ") + mib + QStringLiteral(" COLLATE BINARY AND Name = ") + name
            + QStringLiteral(" COLLATE BINARY");
    } else {
        const QString name = Globals::dq(fullName);
        statement = QStringLiteral("Select Top 1 * from Tree WHERE Name = ") + name + QStringLiteral("  AND Primary=TRUE");
        exact = statement + QStringLiteral(" AND Name = ") + name + QStringLiteral(" COLLATE BINARY");
    }
    Clear();
    if (!d->loadFirst(exact))
        d->loadFirst(statement);
}

QString QXMibOID::LongName() const
{
    const QString oid = OID();
    // An OID holding a quote fails below, at the prefix that holds it.
    if (!oid.contains(u'"')) {
        if (DefinitionCache *cache = d->cache(Question::Oids))
            return cache->longName(oid);
    }
    QString result;
    QString prefix;
    const QStringList arcs = oid.split(u'.');
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

QString QXMibOID::Name() const
{
    if ((d->own & QXMibOIDPrivate::Name) != 0)
        return d->name;
    return d->rowSuffix.isEmpty() ? d->row->name : d->row->name + d->rowSuffix;
}

void QXMibOID::setName(const QString &name)
{
    // With its case first, as setFullName.
    const QString statement = QStringLiteral("Select * from Tree WHERE Name = ") + Globals::dq(name);
    Clear();
    if (!d->loadFirst(statement + QStringLiteral(" AND Name = ") + Globals::dq(name) + QStringLiteral(" COLLATE BINARY")))
        d->loadFirst(statement);
}

QString QXMibOID::Description() const
{
    return d->text(QXMibOIDPrivate::Description, d->description, &TreeDefinition::description);
}
void QXMibOID::setDescription(const QString &description)
{
    d->set(QXMibOIDPrivate::Description, d->description, description);
}
int QXMibOID::Status() const { return d->number(QXMibOIDPrivate::Status, d->status, &TreeDefinition::status); }

QString QXMibOID::StatusString() const
{
    switch (Status()) {
    case 1: return QStringLiteral("mandatory");
    case 2: return QStringLiteral("optional");
    case 3: return QStringLiteral("obsolete");
    case 4: return QStringLiteral("deprecated");
    default: return QStringLiteral("unknown");
    }
}

int QXMibOID::Access() const { return d->number(QXMibOIDPrivate::Access, d->access, &TreeDefinition::access); }

QString QXMibOID::AccessString() const
{
    switch (Access()) {
    case 1: return QStringLiteral("read-only");
    case 2: return QStringLiteral("read-write");
    case 3: return QStringLiteral("write-only");
    case 4: return QStringLiteral("not-available");
    default: return QStringLiteral("unknown");
    }
}

int QXMibOID::TypeInteger() const
{
    return d->number(QXMibOIDPrivate::TypeCode, d->typeCode, &TreeDefinition::typeCode);
}
QString QXMibOID::TypeString() const { return d->text(QXMibOIDPrivate::TypeName, d->typeName, &TreeDefinition::typeName); }
QString QXMibOID::Enumerated() const
{
    return d->text(QXMibOIDPrivate::Enumeration, d->enumeration, &TreeDefinition::enumeration);
}
QString QXMibOID::Parse() const { return d->text(QXMibOIDPrivate::Parse, d->parse, &TreeDefinition::parse); }

void QXMibOID::setParse(const QString &parse)
{
    d->set(QXMibOIDPrivate::Parse, d->parse, parse);
    Sync();
}

QString QXMibOID::Units() const { return d->text(QXMibOIDPrivate::Units, d->units, &TreeDefinition::units); }

void QXMibOID::setUnits(const QString &units)
{
    d->set(QXMibOIDPrivate::Units, d->units, units);
    Sync();
}

QString QXMibOID::BaseName() const { return d->text(QXMibOIDPrivate::BaseName, d->baseName, &TreeDefinition::name); }
QString QXMibOID::BaseOID() const { return d->text(QXMibOIDPrivate::BaseOid, d->baseOid, &TreeDefinition::oid); }

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
    d->own |= QXMibOIDPrivate::Oid | QXMibOIDPrivate::Mib | QXMibOIDPrivate::Name | QXMibOIDPrivate::BaseName
        | QXMibOIDPrivate::FullName | QXMibOIDPrivate::Status | QXMibOIDPrivate::Access | QXMibOIDPrivate::TypeCode
        | QXMibOIDPrivate::TypeName | QXMibOIDPrivate::Enumeration | QXMibOIDPrivate::Parse | QXMibOIDPrivate::Units
        | QXMibOIDPrivate::Description | QXMibOIDPrivate::IndexBy;
}

void QXMibOID::Sync()
{
    const QString oid = OID();
    Recordset rs(d->db(), QStringLiteral("Select * from Tree WHERE OID = ") + Globals::dq(oid), Recordset::Mode::Updatable);
    if (rs.eof()) {
        rs.addNew();
        rs.setValue(QStringLiteral("Primary"), true);
    }
    rs.setValue(QStringLiteral("OID"), oid);
    rs.setValue(QStringLiteral("MIB"), MIB());
    rs.setValue(QStringLiteral("ParentOID"), ParentOID());
    rs.setValue(QStringLiteral("Name"), Name());
    rs.setValue(QStringLiteral("TypeI"), TypeInteger());
    rs.setValue(QStringLiteral("TypeS"), TypeString());
    rs.setValue(QStringLiteral("Description"), Description());
    rs.setValue(QStringLiteral("Status"), Status());
    rs.setValue(QStringLiteral("Access"), Access());
    rs.setValue(QStringLiteral("Enum"), Enumerated());
    rs.setValue(QStringLiteral("Parse"), Parse());
    rs.setValue(QStringLiteral("Units"), Units());
    // Older database files may lack these two columns.
    try {
        rs.setValue(QStringLiteral("IndexBy"), IndexBy());
    } catch (const QXMibError &) {
    }
    try {
        rs.setValue(QStringLiteral("Calculation"), Calculation());
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
// The rows of "... AND Value = n": SQLite's numeric equality, which a text value never meets.
const EnumValue *findValue(const QVector<EnumValue> &set, int value)
{
    for (const EnumValue &e : set) {
        const bool equal = e.value.typeId() == QMetaType::LongLong ? e.value.toLongLong() == value
            : e.value.typeId() == QMetaType::Double                ? e.value.toDouble() == double(value)
                                                                   : false;
        if (equal)
            return &e;
    }
    return nullptr;
}

// The cache of the enumeration's set, unless the name holds a quote (its statement fails on that).
DefinitionCache *enumCache(const QString &set)
{
    return set.contains(u'"') ? nullptr : DefinitionCache::answering(Globals::database(), Question::Enums);
}

QString enumStatement(const QString &set, int value)
{
    return QStringLiteral("Select * From Enums Where Name = ") + Globals::dq(set) + QStringLiteral(" AND Value = ")
        + QString::number(value) + QStringLiteral(" order by Value");
}
} // namespace

QString QXMibOID::EnumString(int value) const
{
    const QString set = Enumerated();
    if (DefinitionCache *cache = enumCache(set)) {
        const EnumValue *e = findValue(cache->enumSet(set), value);
        return (e != nullptr ? e->label : QStringLiteral("unknown")) + u'(' + QString::number(value) + u')';
    }
    Recordset rs(d->db(), enumStatement(set, value));
    if (rs.eof())
        return QStringLiteral("unknown(") + QString::number(value) + u')';
    return rs.text(QStringLiteral("Enum")) + u'(' + QString::number(value) + u')';
}

QString QXMibOID::EnumName(int value, const QString &defaultText) const
{
    const QString set = Enumerated();
    if (DefinitionCache *cache = enumCache(set)) {
        if (const EnumValue *e = findValue(cache->enumSet(set), value))
            return e->label;
        return defaultText.isEmpty() ? QString::number(value) : defaultText;
    }
    Recordset rs(d->db(), enumStatement(set, value));
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
    const QString set = Enumerated();
    if (set.isEmpty())
        return QString();
    QString list;
    if (DefinitionCache *cache = enumCache(set)) {
        for (const EnumValue &e : cache->enumSet(set)) {
            const QString value = QString::number(e.value.toLongLong());
            if (!list.isEmpty())
                list += u'|';
            list += u'#' + value + u';' + e.label + u'(' + value + u')';
        }
        return list;
    }
    Recordset rs(d->db(), QStringLiteral("Select * From Enums Where Name = ") + Globals::dq(set)
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

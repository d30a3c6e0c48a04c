#include "importmibx.h"

#include "core/database.h"
#include "core/definitioncache_p.h"
#include "core/durablebatch.h"
#include "core/globals.h"
#include "core/objectfactory.h"
#include "core/oidtype.h"
#include "core/oidtypes.h"
#include "core/qxmiberror.h"
#include "core/recordset.h"

#include <QLocale>
#include <QRegularExpression>

#include <cmath>
#include <limits>

QXMIB_REGISTER_CLASS(ImportMIBX, ImportMIBX)

namespace {

const QString versionTag = QStringLiteral("Tarnbrookeware MIB-X 1.0");
const QString crlf = QStringLiteral("\r\n");

bool isDigits(QStringView s, int base)
{
    if (s.isEmpty())
        return false;
    for (QChar c : s) {
        const int v = c.isDigit() ? c.digitValue() : (base == 16 && c.isLetter() ? c.toUpper().unicode() - 'A' + 10 : 99);
        if (v < 0 || v >= base)
            return false;
    }
    return true;
}

// The classic runtime's numeric test, as far as an OID component can meet it:
// blanks around, a sign, decimal digits with an optional exponent, or &H / &O numbers.
bool isNumeric(const QString &text)
{
    const QStringView s = QStringView(text).trimmed();
    if (s.size() > 2 && s.at(0) == u'&') {
        const QChar kind = s.at(1).toUpper();
        if (kind == u'H')
            return isDigits(s.mid(2), 16);
        if (kind == u'O')
            return isDigits(s.mid(2), 8);
        return false;
    }
    // [+-]?[0-9]+([eE][+-]?[0-9]+)?
    qsizetype i = 0;
    auto digits = [&s, &i] {
        const qsizetype start = i;
        while (i < s.size() && s.at(i) >= u'0' && s.at(i) <= u'9')
            ++i;
        return i > start;
    };
    if (i < s.size() && (s.at(i) == u'+' || s.at(i) == u'-'))
        ++i;
    if (!digits())
        return false;
    if (i < s.size() && (s.at(i) == u'e' || s.at(i) == u'E')) {
        ++i;
        if (i < s.size() && (s.at(i) == u'+' || s.at(i) == u'-'))
            ++i;
        if (!digits())
            return false;
    }
    return i == s.size();
}

// The leading number of a text, blanks skipped, 0 when there is none.
double leadingNumber(const QString &text)
{
    QString compact = text;
    compact.remove(u' ').remove(u'\t');
    if (compact.size() > 2 && compact.at(0) == u'&') {
        const QChar kind = compact.at(1).toUpper();
        const int base = kind == u'H' ? 16 : kind == u'O' ? 8 : 0;
        if (base != 0) {
            int end = 2;
            while (end < compact.size() && isDigits(QStringView(compact).mid(end, 1), base))
                ++end;
            return double(compact.mid(2, end - 2).toLongLong(nullptr, base));
        }
    }
    static const QRegularExpression number(QStringLiteral("^[+-]?([0-9]+\\.?[0-9]*|\\.[0-9]+)([eE][+-]?[0-9]+)?"));
    const QRegularExpressionMatch m = number.match(compact);
    return m.hasMatch() ? m.captured(0).toDouble() : 0.0;
}

// A double as the classic runtime writes it into text: no fraction for whole numbers.
QString numberText(double value)
{
    if (std::abs(value) < 1e15 && value == std::floor(value))
        return QString::number(qint64(value));
    return QString::number(value, 'g', 15);
}

QDateTime zeroDate()
{
    return QDateTime(QDate(1899, 12, 30), QTime(0, 0));
}

} // namespace

class ImportMIBXPrivate
{
public:
    int errors = 0;
    int oidCount = 0;
    int duplicates = 0;
    int unchanged = 0;
    QString fileName;
    QString moduleName;
    QString lastMessage;
    std::unique_ptr<MibxDocument> document;
    std::unique_ptr<OIDTypes> types;
};

ImportMIBX::ImportMIBX(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<ImportMIBXPrivate>())
{
    Globals::OpenDatabase();
}

ImportMIBX::~ImportMIBX() = default;

int ImportMIBX::Errors() const
{
    return d->errors;
}

int ImportMIBX::Warnings() const
{
    return 0;
}

int ImportMIBX::OIDCount() const
{
    return d->oidCount;
}

int ImportMIBX::Duplicates() const
{
    return d->duplicates;
}

int ImportMIBX::Unchanged() const
{
    return d->unchanged;
}

QString ImportMIBX::ModuleName() const
{
    return d->moduleName;
}

void ImportMIBX::raiseError(const QString &message)
{
    d->lastMessage = message;
    ++d->errors;
    QString text = message;
    Q_EMIT Error(text);
}

void ImportMIBX::raiseLog(const QString &message)
{
    d->lastMessage = message;
    QString text = message;
    Q_EMIT Log(text);
}

bool ImportMIBX::ImportMIBXFile(const QString &FileName)
{
    d->fileName = FileName;
    if (!d->document)
        d->document = std::make_unique<MibxDocument>();
    if (!d->document->load(FileName)) {
        raiseError(QStringLiteral("Could not load ") + FileName + crlf + d->document->errorText());
        return false;
    }
    const MibxNode version = d->document->selectSingleNode(QStringLiteral("MIBX/VERSION"));
    if (version.isNull()) {
        raiseError(FileName + QStringLiteral(" is not a Tarnbrooke MIBX file or is corrupt."));
        return false;
    }
    const QString versionText = version.text();
    if (versionText != versionTag) {
        raiseError(FileName + QStringLiteral(" is '") + versionText
                   + QStringLiteral("' format. This version of the MIB-Compiler/Browser only supports MIB-X Version "
                                    "1.0. Visit Tarnbrookeware for an update."));
        return false;
    }
    // Each object's rows are committed as they are complete; the file's work
    // reaches the disk once, before this returns.
    DurableBatch batch(Globals::database());
    importBody();
    batch.finish();
    return true;
}

void ImportMIBX::importBody()
{
    raiseLog(QStringLiteral("Importing ") + d->fileName + QStringLiteral(" ..."));
    raiseLog(QStringLiteral("    File Format = '") + versionTag + u'\'');

    const MibxNode name = d->document->selectSingleNode(QStringLiteral("MIBX/MODULE/NAME"));
    if (name.isNull()) {
        raiseError(d->fileName + QStringLiteral(" is not a Tarnbrooke MIBX file or is corrupt."));
        return;
    }
    d->moduleName = name.text();
    const MibxNode tree = d->document->selectSingleNode(QStringLiteral("MIBX/TREE"));
    if (tree.isNull()) {
        raiseError(d->fileName + QStringLiteral(" is not a Tarnbrooke MIBX file or is corrupt."));
        return;
    }
    for (MibxNode object = tree.firstChild(); !object.isNull(); object = object.nextSibling())
        importObject(object);
    writeModule();
}

void ImportMIBX::importObject(const MibxNode &element)
{
    QString name = element.nodeName();
    QString oid;
    QString access;
    QString syntax;
    QString status;
    QString description;
    QString enumName;

    for (MibxNode child = element.firstChild(); !child.isNull(); child = child.nextSibling()) {
        const QString tag = child.nodeName();
        if (tag == QLatin1String("OID")) {
            if (!ConvertOID(child.text(), oid))
                return;
        } else if (tag == QLatin1String("ACCESS")) {
            access = child.text();
        } else if (tag == QLatin1String("SYNTAX")) {
            syntax = child.text();
        } else if (tag == QLatin1String("STATUS")) {
            status = child.text();
        } else if (tag == QLatin1String("DESCRIPTION")) {
            description = child.text();
        } else if (tag == QLatin1String("ENUMS")) {
            if (child.hasChildNodes()) {
                enumName = name;
                AddEnums(name, child);
            } else {
                enumName.clear();
            }
        }
    }

    if (oid.isEmpty()) {
        raiseError(name + QStringLiteral(" has no OID."));
        return;
    }

    const qsizetype dot = oid.lastIndexOf(u'.');
    if (dot < 0)
        throw QXMibError(QXMibError::InvalidCall, QStringLiteral("Invalid procedure call or argument"));
    const QString parentOid = oid.left(dot);
    const double indexNumber = std::round(leadingNumber(oid.mid(dot + 1)));
    if (indexNumber > std::numeric_limits<qint32>::max() || indexNumber < std::numeric_limits<qint32>::min())
        throw QXMibError(QXMibError::Overflow, QStringLiteral("Overflow"));
    const int index = int(indexNumber);

    ++d->oidCount;

    Database *db = Globals::database();
    // The module's own row of that name, spelled with the same case: Modem-MIB's
    // mdmMib and mdmMIB are two objects.
    const QString mib = Globals::sq(d->moduleName);
    const QString quotedName = Globals::sq(name);
    Recordset rs(db,
                 QStringLiteral("Select * From Tree Where MIB=") + mib + QStringLiteral(" AND Name=") + quotedName
                     + QStringLiteral(" AND MIB=") + mib + QStringLiteral(" COLLATE BINARY AND Name=") + quotedName
                     + QStringLiteral(" COLLATE BINARY"),
                 Recordset::Mode::Updatable);
    if (!d->types)
        d->types = std::make_unique<OIDTypes>();
    const OIDType *type = d->types->find(syntax);

    bool duplicate = false;
    if (rs.eof()) {
        rs.addNew();
        rs.setValue(QStringLiteral("Primary"), true);
    } else {
        ++d->duplicates;
        duplicate = true;
        // The same definition as before: nothing for this object changes.
        if (rs.text(QStringLiteral("ParentOID")) == parentOid && rs.value(QStringLiteral("Index")).toInt() == index
            && rs.text(QStringLiteral("OID")) == oid
            && rs.value(QStringLiteral("TypeI")).toInt() == (type != nullptr ? int(type->Value()) : 0)
            && rs.text(QStringLiteral("TypeS")) == syntax && rs.text(QStringLiteral("Description")) == description
            && rs.value(QStringLiteral("Access")).toInt() == accessCode(access)
            && rs.value(QStringLiteral("Status")).toInt() == statusCode(status)
            && rs.text(QStringLiteral("Enum")) == enumName)
            ++d->unchanged;
    }

    rs.setValue(QStringLiteral("MIB"), d->moduleName);
    rs.setValue(QStringLiteral("Name"), name);
    rs.setValue(QStringLiteral("ParentOID"), parentOid);
    rs.setValue(QStringLiteral("Index"), index);
    rs.setValue(QStringLiteral("OID"), oid);
    rs.setValue(QStringLiteral("TypeI"), type != nullptr ? int(type->Value()) : 0);
    rs.setValue(QStringLiteral("TypeS"), syntax);
    rs.setValue(QStringLiteral("Description"), description);
    rs.setValue(QStringLiteral("Access"), accessCode(access));
    rs.setValue(QStringLiteral("Status"), statusCode(status));
    rs.setValue(QStringLiteral("Enum"), enumName);
    rs.setValue(QStringLiteral("Parse"), QString());
    rs.setValue(QStringLiteral("Units"), QString());
    rs.update();
    rs.close();

    Q_EMIT OIDImported(name, oid, duplicate);
}

void ImportMIBX::writeModule()
{
    const MibxNode compiledNode = d->document->selectSingleNode(QStringLiteral("MIBX/COMPILED"));
    if (compiledNode.isNull()) {
        raiseError(d->fileName + QStringLiteral(" is not a Tarnbrooke MIBX file or is corrupt."));
        return;
    }
    const QDateTime compiled = convertDate(compiledNode.text());

    QString name;
    QString description;
    QString contact;
    QString organization;
    QDateTime lastUpdated = zeroDate();
    const MibxNode module = d->document->selectSingleNode(QStringLiteral("MIBX/MODULE"));
    for (MibxNode c = module.firstChild(); !c.isNull(); c = c.nextSibling()) {
        const QString tag = c.nodeName();
        if (tag == QLatin1String("NAME"))
            name = c.text();
        else if (tag == QLatin1String("DESCRIPTION"))
            description = c.text();
        else if (tag == QLatin1String("CONTACT"))
            contact = c.text();
        else if (tag == QLatin1String("ORGANIZATION"))
            organization = c.text();
        else if (tag == QLatin1String("LAST-UPDATED"))
            lastUpdated = convertDate(c.text());
    }

    Recordset rs(Globals::database(),
                 QStringLiteral("Select * From MIBs Where Name=") + Globals::sq(name) + QStringLiteral(" COLLATE BINARY"),
                 Recordset::Mode::Updatable);
    if (rs.eof())
        rs.addNew();
    rs.setValue(QStringLiteral("Name"), name);
    rs.setValue(QStringLiteral("Description"), description);
    rs.setValue(QStringLiteral("Organization"), organization);
    rs.setValue(QStringLiteral("Contact"), contact);
    rs.setValue(QStringLiteral("Compiled"), compiled);
    rs.setValue(QStringLiteral("Imported"), QDateTime::currentDateTime());
    rs.setValue(QStringLiteral("LastUpdated"), lastUpdated);
    rs.update();
    rs.close();
}

void ImportMIBX::AddEnums(const QString &enumName, const MibxNode &EnumTree)
{
    for (MibxNode label = EnumTree.firstChild(); !label.isNull(); label = label.nextSibling()) {
        const double value = leadingNumber(label.text());
        Recordset rs(Globals::database(),
                     QStringLiteral("Select * From Enums Where Name =") + Globals::sq(enumName)
                         + QStringLiteral(" AND Value=") + numberText(value),
                     Recordset::Mode::Updatable);
        if (rs.eof())
            rs.addNew();
        rs.setValue(QStringLiteral("Name"), enumName);
        rs.setValue(QStringLiteral("Value"), value);
        rs.setValue(QStringLiteral("Enum"), label.nodeName());
        rs.update();
        rs.close();
    }
}

bool ImportMIBX::ConvertOID(const QString &oidText, QString &result)
{
    QString separator;
    const QStringList parts = oidText.split(u'.');
    for (const QString &part : parts) {
        const qsizetype open = part.indexOf(u'(') + 1;   // 1-based positions, 0 when absent
        const qsizetype close = part.indexOf(u')') + 1;
        if (isNumeric(part)) {
            result += separator + part;
        } else if ((open & close) != 0) {
            // Deliberately the bitwise AND of the two positions: "abcde(1)" has them at
            // 6 and 8, fails here and is looked up by name instead.
            result += separator + part.mid(open);
            // ")" before "(" leaves no ")" in the result to cut at: an invalid call, as
            // cutting at position -1 is to the classic runtime.
            const qsizetype cut = result.indexOf(u')');
            if (cut < 0)
                throw QXMibError(QXMibError::InvalidCall, QStringLiteral("Invalid procedure call or argument"));
            result.truncate(cut);
        } else if (part == QLatin1String("iso")) {
            result += separator + QStringLiteral("1");
        } else if (part == QLatin1String("org")) {
            result += separator + QStringLiteral("1.3");
        } else if (part == QLatin1String("dod")) {
            result += separator + QStringLiteral("1.3.6");
        } else if (part == QLatin1String("internet")) {
            result += separator + QStringLiteral("1.3.6.1");
        } else {
            QString found;
            if (!LookupOID(part, found)) {
                raiseError(QStringLiteral("Cannot determine OID value for '") + part + QStringLiteral("' in { ")
                           + oidText + QStringLiteral(" }."));
                return false;
            }
            result += separator + found;
        }
        separator = QStringLiteral(".");
    }
    return true;
}

bool ImportMIBX::LookupOID(const QString &name, QString &oid)
{
    // A descriptor spelled with its case first, then any row spelled so but for case.
    const QString any = QStringLiteral("Select * From Tree Where Name=") + Globals::sq(name);
    const QString exact = any + QStringLiteral(" AND Name=") + Globals::sq(name) + QStringLiteral(" COLLATE BINARY");
    for (const QString &statement : {exact, any}) {
        if (DefinitionCache *cache = DefinitionCache::answering(Globals::database(), DefinitionCache::Question::TreeRows)) {
            if (const TreeDefinition *row = cache->firstRow(statement)) {
                oid = row->oid;
                return true;
            }
            continue;
        }
        Recordset rs(Globals::database(), statement);
        if (!rs.eof()) {
            oid = rs.text(QStringLiteral("OID"));
            return true;
        }
    }
    return false;
}

int ImportMIBX::accessCode(const QString &access)
{
    const QString a = access.toUpper();
    if (a == QLatin1String("READ-ONLY"))
        return 1;
    if (a == QLatin1String("READ-WRITE") || a == QLatin1String("READ-CREATE"))
        return 2;
    if (a == QLatin1String("WRITE-ONLY"))
        return 3;
    if (a == QLatin1String("NOT-ACCESSIBLE"))
        return 4;
    return 0;
}

int ImportMIBX::statusCode(const QString &status)
{
    const QString s = status.toUpper();
    if (s == QLatin1String("MANDATORY"))
        return 1;
    if (s == QLatin1String("OPTIONAL"))
        return 2;
    if (s == QLatin1String("OBSOLETE"))
        return 3;
    if (s == QLatin1String("DEPRECATED"))
        return 4;
    if (s == QLatin1String("CURRENT"))
        return 5;
    return 0;
}

QDateTime ImportMIBX::convertDate(const QString &text)
{
    const QString t = text.trimmed();
    auto wallClock = [](const QDateTime &dt) { return QDateTime(dt.date(), dt.time()); };

    // SMI's own forms: YYYYMMDDHHMMZ and the old YYMMDDHHMMZ (19YY).
    static const QRegularExpression smi(QStringLiteral("^(\\d{2}|\\d{4})(\\d{2})(\\d{2})(\\d{2})(\\d{2})[Zz]$"));
    const QRegularExpressionMatch m = smi.match(t);
    if (m.hasMatch()) {
        int year = m.captured(1).toInt();
        if (m.captured(1).size() == 2)
            year += 1900;
        const QDateTime dt(QDate(year, m.captured(2).toInt(), m.captured(3).toInt()),
                           QTime(m.captured(4).toInt(), m.captured(5).toInt()));
        if (dt.isValid())
            return dt;
    }

    QDateTime dt = QDateTime::fromString(t, Qt::ISODateWithMs);
    if (dt.isValid())
        return wallClock(dt);
    dt = QDateTime::fromString(t, Qt::RFC2822Date);
    if (dt.isValid())
        return wallClock(dt);

    static const char *const dateTimeForms[] = {
        "yyyy-MM-dd HH:mm:ss", "yyyy-MM-dd HH:mm", "yyyy-MM-dd",       "yyyy/M/d H:mm:ss",
        "yyyy/M/d",            "M/d/yyyy h:mm:ss AP", "M/d/yyyy h:mm AP", "M/d/yyyy H:mm:ss",
        "M/d/yyyy H:mm",       "M/d/yyyy",            "d.M.yyyy H:mm:ss", "d.M.yyyy H:mm",
        "d.M.yyyy",            "d MMM yyyy H:mm:ss",  "d MMM yyyy",       "MMMM d, yyyy",
        "MMM d, yyyy",         "d MMMM yyyy",
    };
    const QLocale c = QLocale::c();
    for (const char *form : dateTimeForms) {
        const QString f = QLatin1String(form);
        dt = c.toDateTime(t, f);
        if (dt.isValid())
            return dt;
        // Day and month names in the user's language too.
        dt = QLocale().toDateTime(t, f);
        if (dt.isValid())
            return dt;
    }
    throw QXMibError(QXMibError::TypeMismatch, QStringLiteral("Type mismatch: '%1' is not a date").arg(text));
}

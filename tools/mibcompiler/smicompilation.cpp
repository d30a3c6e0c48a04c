#include "smicompilation.h"

#include "mibsource.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QRegularExpression>
#include <QSaveFile>
#include <QSet>
#include <QXmlStreamWriter>

#include "smi_p.h"

#include <algorithm>
#include <vector>

namespace {

struct TypeInfo
{
    QString name;
    QString root; // upper case, as the Types table keeps it
    int code = 0; // BER tag of the root type
};

QJsonObject problemRecord(const QString &file, int line, int severity, const QString &message)
{
    return QJsonObject{{QStringLiteral("problem"),
                        QJsonObject{{QStringLiteral("file"), file},
                                    {QStringLiteral("line"), line},
                                    {QStringLiteral("severity"), severity},
                                    {QStringLiteral("message"), message}}}};
}

// libsmi reports problems through one C callback with no user pointer.
struct ProblemCollector
{
    const SmiCompilation::Sink *sink = nullptr;
    int level = 2;
    int limit = 500;
    int reported = 0;
    int dropped = 0;
    QSet<QString> filesWithSyntaxErrors;
    QSet<QString> missingModules; // reported by our own check already
    QMultiHash<QString, QString> unimported; // file -> "symbol (from MODULE)" it could not import

    void report(const QJsonObject &record)
    {
        if (reported < limit) {
            ++reported;
            (*sink)(record);
        } else {
            ++dropped;
        }
    }
};
ProblemCollector *collector = nullptr;

extern "C" void collectProblem(char *path, int line, int severity, char *msg, char * /*tag*/)
{
    if (collector == nullptr)
        return;
    const QString file = QString::fromLocal8Bit(path != nullptr ? path : "");
    const QString message = QString::fromUtf8(msg != nullptr ? msg : "");
    if (message.startsWith(QLatin1String("syntax error")))
        collector->filesWithSyntaxErrors.insert(file);
    static const QLatin1String notLocated("failed to locate MIB module `");
    if (message.startsWith(notLocated) && collector->missingModules.contains(message.mid(notLocated.size()).chopped(1)))
        return;
    // "identifier `X' cannot be imported from module `M'"
    static const QRegularExpression notExported(QStringLiteral("^identifier `([^']*)' cannot be imported from module `([^']*)'"));
    const QRegularExpressionMatch unexported = notExported.match(message);
    if (unexported.hasMatch())
        collector->unimported.insert(file, QStringLiteral("%1 (from %2)").arg(unexported.captured(1), unexported.captured(2)));
    if (severity <= collector->level)
        collector->report(problemRecord(file, line, severity, message));
}

QString fromC(const char *text)
{
    return text != nullptr ? QString::fromUtf8(text) : QString();
}

bool isXmlName(const QString &name)
{
    static const QRegularExpression re(QStringLiteral("^[A-Za-z_][A-Za-z0-9_.-]*$"));
    return re.match(name).hasMatch();
}

QString oidText(const SmiNode *node)
{
    QString text;
    for (unsigned int i = 0; i < node->oidlen; ++i) {
        if (i > 0)
            text += u'.';
        text += QString::number(node->oid[i]);
    }
    return text;
}

// The name SMI writes for libsmi's built-in base types.
QString smiBaseName(const SmiType *type)
{
    const QString name = fromC(type->name);
    if (name == QLatin1String("OctetString"))
        return QStringLiteral("OCTET STRING");
    if (name == QLatin1String("ObjectIdentifier"))
        return QStringLiteral("OBJECT IDENTIFIER");
    if (name == QLatin1String("Enumeration"))
        return QStringLiteral("INTEGER");
    if (name == QLatin1String("Bits"))
        return QStringLiteral("BITS");
    return name;
}

bool isBuiltIn(const SmiType *type)
{
    // Types of no module: libsmi's own base types.
    const SmiModule *m = smiGetTypeModule(const_cast<SmiType *>(type));
    return m == nullptr || m->name == nullptr || m->name[0] == '\0';
}

// The application types of the SMI, which a textual convention can refine.
const QHash<QString, QPair<QString, int>> &applicationTypes()
{
    static const QHash<QString, QPair<QString, int>> types = {
        {QStringLiteral("IpAddress"), {QStringLiteral("IPADDRESS"), 64}},
        {QStringLiteral("NetworkAddress"), {QStringLiteral("IPADDRESS"), 64}},
        {QStringLiteral("Counter"), {QStringLiteral("COUNTER32"), 65}},
        {QStringLiteral("Counter32"), {QStringLiteral("COUNTER32"), 65}},
        {QStringLiteral("Gauge"), {QStringLiteral("GAUGE32"), 66}},
        {QStringLiteral("Gauge32"), {QStringLiteral("GAUGE32"), 66}},
        {QStringLiteral("Unsigned32"), {QStringLiteral("GAUGE32"), 66}},
        {QStringLiteral("TimeTicks"), {QStringLiteral("TIMETICKS"), 67}},
        {QStringLiteral("Opaque"), {QStringLiteral("OPAQUE"), 68}},
        {QStringLiteral("Counter64"), {QStringLiteral("COUNTER64"), 70}},
    };
    return types;
}

// Root type name and BER tag of a type, through its chain of parents.
QPair<QString, int> rootOf(SmiType *type)
{
    SmiBasetype base = SMI_BASETYPE_UNKNOWN;
    for (SmiType *t = type; t != nullptr; t = smiGetParentType(t)) {
        base = t->basetype;
        const auto app = applicationTypes().constFind(fromC(t->name));
        if (app != applicationTypes().constEnd() && !isBuiltIn(t))
            return *app;
    }
    switch (base) {
    case SMI_BASETYPE_INTEGER32:
    case SMI_BASETYPE_ENUM:
        return {QStringLiteral("INTEGER"), 2};
    case SMI_BASETYPE_OCTETSTRING:
    case SMI_BASETYPE_BITS:
        return {QStringLiteral("OCTET STRING"), 4};
    case SMI_BASETYPE_OBJECTIDENTIFIER:
        return {QStringLiteral("OBJECT IDENTIFIER"), 6};
    case SMI_BASETYPE_UNSIGNED32:
        return {QStringLiteral("GAUGE32"), 66};
    case SMI_BASETYPE_INTEGER64:
    case SMI_BASETYPE_UNSIGNED64:
        return {QStringLiteral("COUNTER64"), 70};
    default:
        return {QString(), 0};
    }
}

// A named type that is neither a base nor an application type: a textual
// convention (or an SMIv1 type assignment that serves as one).
bool isConvention(const SmiType *type)
{
    if (type == nullptr || type->name == nullptr || isBuiltIn(type))
        return false;
    if (type->basetype == SMI_BASETYPE_UNKNOWN)
        return false;
    const QString name = fromC(type->name);
    return !applicationTypes().contains(name) && name != QLatin1String("Integer32");
}

QString syntaxOf(SmiNode *node)
{
    switch (node->nodekind) {
    case SMI_NODEKIND_TABLE:
        return QStringLiteral("SEQUENCE");
    case SMI_NODEKIND_ROW: {
        SmiType *type = smiGetNodeType(node);
        if (type != nullptr && type->name != nullptr)
            return fromC(type->name);
        QString name = fromC(node->name);
        if (!name.isEmpty())
            name[0] = name.at(0).toUpper();
        return name;
    }
    case SMI_NODEKIND_NOTIFICATION:
        return QStringLiteral("TRAP");
    case SMI_NODEKIND_SCALAR:
    case SMI_NODEKIND_COLUMN:
        break;
    default:
        return QString();
    }
    // The object's own type, or the named type an inline refinement narrows.
    for (SmiType *t = smiGetNodeType(node); t != nullptr; t = smiGetParentType(t)) {
        if (t->name != nullptr)
            return isBuiltIn(t) ? smiBaseName(t) : fromC(t->name);
    }
    return QString();
}

QString accessOf(SmiNode *node)
{
    switch (node->access) {
    case SMI_ACCESS_NOT_ACCESSIBLE:
        return QStringLiteral("NOT-ACCESSIBLE");
    case SMI_ACCESS_NOTIFY:
        return QStringLiteral("ACCESSIBLE-FOR-NOTIFY");
    case SMI_ACCESS_READ_ONLY:
        return QStringLiteral("READ-ONLY");
    case SMI_ACCESS_READ_WRITE: {
        // libsmi folds read-create into read-write; the row says whether it creates.
        if (node->nodekind == SMI_NODEKIND_COLUMN) {
            SmiNode *row = smiGetParentNode(node);
            if (row != nullptr && row->create)
                return QStringLiteral("READ-CREATE");
        }
        return QStringLiteral("READ-WRITE");
    }
    default:
        return QString();
    }
}

QString statusOf(SmiStatus status)
{
    switch (status) {
    case SMI_STATUS_CURRENT:
        return QStringLiteral("CURRENT");
    case SMI_STATUS_DEPRECATED:
        return QStringLiteral("DEPRECATED");
    case SMI_STATUS_MANDATORY:
        return QStringLiteral("MANDATORY");
    case SMI_STATUS_OPTIONAL:
        return QStringLiteral("OPTIONAL");
    case SMI_STATUS_OBSOLETE:
        return QStringLiteral("OBSOLETE");
    default:
        return QString();
    }
}

struct Object
{
    std::vector<unsigned int> arcs;
    SmiNode *node;
};

class ModuleWriter
{
public:
    ModuleWriter(SmiModule *module, const QDateTime &compiled)
        : m_module(module)
        , m_compiled(compiled)
    {
    }

    bool write(const QString &fileName)
    {
        std::vector<Object> objects;
        for (SmiNode *n = smiGetFirstNode(m_module, SMI_NODEKIND_ANY); n != nullptr;
             n = smiGetNextNode(n, SMI_NODEKIND_ANY)) {
            if (n->name == nullptr || n->oidlen == 0)
                continue;
            objects.push_back({std::vector<unsigned int>(n->oid, n->oid + n->oidlen), n});
        }
        // A node registered under a label libsmi could not resolve gets a one-arc
        // OID; it and everything below it would land at a wrong place.
        std::vector<std::vector<unsigned int>> unresolved;
        for (const Object &o : objects) {
            if (o.arcs.size() < 2)
                unresolved.push_back(o.arcs);
        }
        objects.erase(std::remove_if(objects.begin(), objects.end(),
                                     [&](const Object &o) {
                                         for (const auto &u : unresolved) {
                                             if (o.arcs.size() >= u.size()
                                                 && std::equal(u.begin(), u.end(), o.arcs.begin())) {
                                                 ++m_skipped;
                                                 problem(QStringLiteral("the OID of %1 cannot be resolved; skipped")
                                                             .arg(fromC(o.node->name)),
                                                         smiGetNodeLine(o.node));
                                                 return true;
                                             }
                                         }
                                         return false;
                                     }),
                      objects.end());
        // Parents before children: numeric arc order.
        std::stable_sort(objects.begin(), objects.end(),
                         [](const Object &a, const Object &b) { return a.arcs < b.arcs; });

        // Written aside and renamed when complete: a worker that dies while
        // writing leaves no half file behind.
        QSaveFile file(fileName);
        if (!file.open(QIODevice::WriteOnly)) {
            problem(QStringLiteral("cannot write %1: %2").arg(fileName, file.errorString()));
            return false;
        }
        QXmlStreamWriter xml(&file);
        xml.setAutoFormatting(true);
        xml.setAutoFormattingIndent(1);
        xml.writeStartDocument();
        xml.writeStartElement(QStringLiteral("MIBX"));
        xml.writeTextElement(QStringLiteral("VERSION"), QStringLiteral("Tarnbrookeware MIB-X 1.0"));
        xml.writeTextElement(QStringLiteral("COMPILED"), m_compiled.toString(Qt::ISODate));

        xml.writeStartElement(QStringLiteral("MODULE"));
        xml.writeTextElement(QStringLiteral("NAME"), fromC(m_module->name));
        optional(xml, QStringLiteral("DESCRIPTION"), fromC(m_module->description));
        optional(xml, QStringLiteral("CONTACT"), fromC(m_module->contactinfo));
        optional(xml, QStringLiteral("ORGANIZATION"), fromC(m_module->organization));
        time_t latest = 0;
        for (SmiRevision *r = smiGetFirstRevision(m_module); r != nullptr; r = smiGetNextRevision(r))
            latest = std::max(latest, r->date);
        if (latest > 0)
            xml.writeTextElement(QStringLiteral("LAST-UPDATED"),
                                 QDateTime::fromSecsSinceEpoch(qint64(latest), Qt::UTC).toString(Qt::ISODate));
        xml.writeEndElement();

        xml.writeStartElement(QStringLiteral("TREE"));
        for (const Object &o : objects)
            writeObject(xml, o.node);
        xml.writeEndElement();

        // Textual conventions defined here, then those the objects use.
        for (SmiType *t = smiGetFirstType(m_module); t != nullptr; t = smiGetNextType(t))
            meetType(t);
        xml.writeStartElement(QStringLiteral("TYPES"));
        for (const TypeInfo &t : std::as_const(m_types)) {
            xml.writeStartElement(QStringLiteral("TYPE"));
            xml.writeTextElement(QStringLiteral("NAME"), t.name);
            xml.writeTextElement(QStringLiteral("ROOT"), t.root);
            xml.writeTextElement(QStringLiteral("CODE"), QString::number(t.code));
            xml.writeEndElement();
        }
        xml.writeEndElement();

        xml.writeEndElement();
        xml.writeEndDocument();
        if (xml.hasError() || !file.commit()) {
            problem(QStringLiteral("cannot write %1").arg(fileName));
            return false;
        }
        return true;
    }

    QList<TypeInfo> types() const { return m_types; }
    // Objects left out: OIDs that do not resolve, names XML cannot hold.
    int skipped() const { return m_skipped; }

private:
    void optional(QXmlStreamWriter &xml, const QString &tag, const QString &text)
    {
        if (!text.isEmpty())
            xml.writeTextElement(tag, text);
    }

    void problem(const QString &message, int line = 0)
    {
        collector->report(problemRecord(fromC(m_module->path), line, 2, message));
    }

    // The INDEX columns of a row, or of the row it AUGMENTS, as "a, b".
    static QString indexOf(SmiNode *row)
    {
        SmiNode *indexed = row;
        for (int hops = 0; indexed != nullptr && indexed->indexkind != SMI_INDEX_INDEX && hops < 8; ++hops)
            indexed = indexed->indexkind == SMI_INDEX_AUGMENT || indexed->indexkind == SMI_INDEX_SPARSE
                    || indexed->indexkind == SMI_INDEX_EXPAND
                ? smiGetRelatedNode(indexed)
                : nullptr;
        QStringList names;
        if (indexed != nullptr) {
            for (SmiElement *e = smiGetFirstElement(indexed); e != nullptr; e = smiGetNextElement(e)) {
                if (SmiNode *column = smiGetElementNode(e))
                    names.append(fromC(column->name));
            }
        }
        return names.join(QStringLiteral(", "));
    }

    void meetType(SmiType *type)
    {
        for (SmiType *t = type; t != nullptr; t = smiGetParentType(t)) {
            if (!isConvention(t))
                continue;
            const QString name = fromC(t->name);
            if (m_seenTypes.contains(name))
                continue;
            m_seenTypes.insert(name);
            const QPair<QString, int> root = rootOf(t);
            if (root.second != 0)
                m_types.append({name, root.first, root.second});
        }
    }

    void writeObject(QXmlStreamWriter &xml, SmiNode *node)
    {
        const QString name = fromC(node->name);
        if (!isXmlName(name)) {
            ++m_skipped;
            problem(QStringLiteral("'%1' cannot be written as an element name; skipped").arg(name),
                    smiGetNodeLine(node));
            return;
        }
        xml.writeStartElement(name);
        xml.writeTextElement(QStringLiteral("OID"), oidText(node));
        xml.writeTextElement(QStringLiteral("SYNTAX"), syntaxOf(node));
        const QString access = accessOf(node);
        if (!access.isEmpty())
            xml.writeTextElement(QStringLiteral("ACCESS"), access);
        const QString status = statusOf(node->status);
        if (!status.isEmpty())
            xml.writeTextElement(QStringLiteral("STATUS"), status);
        optional(xml, QStringLiteral("DESCRIPTION"), fromC(node->description));
        // Beyond what the import reads: the units, the index list of a row and
        // the display hint, which the importing tools put in the database after.
        if (node->nodekind == SMI_NODEKIND_ROW)
            optional(xml, QStringLiteral("INDEX"), indexOf(node));

        if (node->nodekind == SMI_NODEKIND_SCALAR || node->nodekind == SMI_NODEKIND_COLUMN) {
            SmiType *type = smiGetNodeType(node);
            QString units = fromC(node->units);
            QString hint = fromC(node->format);
            for (SmiType *t = type; t != nullptr && (units.isEmpty() || hint.isEmpty()); t = smiGetParentType(t)) {
                if (units.isEmpty())
                    units = fromC(t->units);
                if (hint.isEmpty())
                    hint = fromC(t->format);
            }
            optional(xml, QStringLiteral("UNITS"), units);
            optional(xml, QStringLiteral("DISPLAY-HINT"), hint);
            meetType(type);
            if (type != nullptr
                && (type->basetype == SMI_BASETYPE_ENUM || type->basetype == SMI_BASETYPE_BITS)) {
                xml.writeStartElement(QStringLiteral("ENUMS"));
                for (SmiNamedNumber *nn = smiGetFirstNamedNumber(type); nn != nullptr;
                     nn = smiGetNextNamedNumber(nn)) {
                    const QString label = fromC(nn->name);
                    if (!isXmlName(label)) {
                        problem(QStringLiteral("label '%1' of %2 cannot be written as an element name; skipped")
                                    .arg(label, name),
                                smiGetNodeLine(node));
                        continue;
                    }
                    const qint64 value = nn->value.basetype == SMI_BASETYPE_UNSIGNED32
                                             ? qint64(nn->value.value.unsigned32)
                                             : qint64(nn->value.value.integer32);
                    xml.writeTextElement(label, QString::number(value));
                }
                xml.writeEndElement();
            }
        }
        xml.writeEndElement();
    }

    SmiModule *m_module;
    QDateTime m_compiled;
    QList<TypeInfo> m_types;
    QSet<QString> m_seenTypes;
    int m_skipped = 0;
};

} // namespace


SmiCompilation::SmiCompilation(Sink sink)
    : m_sink(std::move(sink))
{
}

void SmiCompilation::run(const CompileRequest &request)
{
    QDir().mkpath(request.outputDir);
    const QDateTime compiled = request.compiled.isValid() ? request.compiled : QDateTime::currentDateTime();

    smiInit("qxmib");
    QStringList folders = request.path;
    char *configured = smiGetPath();
    if (configured != nullptr)
        folders += QString::fromLocal8Bit(configured).split(u':', Qt::SkipEmptyParts);
    free(configured);
    folders.removeDuplicates();
    folders.erase(std::remove_if(folders.begin(), folders.end(), [](const QString &f) { return !QFileInfo(f).isDir(); }),
                  folders.end());
    smiSetPath(folders.join(u':').toLocal8Bit().constData());
    // Syntax errors (severity 1) are always seen: they decide whether a module is written.
    smiSetErrorLevel(std::max(request.errorLevel, 1));
    smiSetFlags((smiGetFlags() & ~SMI_FLAG_NODESCR) | SMI_FLAG_ERRORS);

    ProblemCollector problems;
    problems.sink = &m_sink;
    problems.level = request.errorLevel;
    problems.limit = request.problemLimit;
    collector = &problems;
    smiSetErrorHandler(collectProblem);

    for (int i = 0; i < request.sources.size(); ++i) {
        const CompileRequest::Source &source = request.sources.at(i);
        m_sink(QJsonObject{{QStringLiteral("begin"), i}});
        problems.reported = 0;
        problems.dropped = 0;


        const QSet<QString> missing = checkImports(request, source, folders);
        problems.missingModules.unite(missing);
        bool written = false;
        if (missing.isEmpty()) {
            // Loading by module name lets libsmi reuse a module already loaded as an import.
            char *loaded = smiLoadModule(source.module.toLatin1().constData());
            SmiModule *m = loaded != nullptr ? smiGetModule(loaded) : nullptr;
            // After a syntax error libsmi keeps a half-built module whose node
            // list cannot be walked safely; such a module is reported and left
            // out. Errors libsmi reads past (redefinitions, unknown types, ...)
            // leave a module that is written, and reported as incomplete where
            // objects or imports are missing.
            const QStringList unimported = m != nullptr ? problems.unimported.values(fromC(m->path)) : QStringList();
            if (m != nullptr && problems.filesWithSyntaxErrors.contains(fromC(m->path))) {
                m_sink(problemRecord(source.file, 0, 1,
                                     QStringLiteral("%1 not compiled: syntax errors").arg(source.module)));
            } else if (m != nullptr && !unimported.isEmpty()) {
                m_sink(problemRecord(source.file, 0, 1,
                                     QStringLiteral("%1 not compiled: its imports %2 were not found")
                                         .arg(source.module, unimported.join(QStringLiteral(", ")))));
            } else if (m != nullptr) {
                const QString out = QDir(request.outputDir).filePath(fromC(m->name) + QStringLiteral(".mibx"));
                ModuleWriter writer(m, compiled);
                if (writer.write(out)) {
                    QJsonArray types;
                    for (const TypeInfo &t : writer.types())
                        types.append(QJsonArray{t.name, t.root, t.code});
                    m_sink(QJsonObject{{QStringLiteral("module"), fromC(m->name)},
                                       {QStringLiteral("output"), out},
                                       {QStringLiteral("types"), types}});
                    written = true;
                    if (writer.skipped() > 0)
                        m_sink(QJsonObject{{QStringLiteral("incomplete"), i}});
                }
            }
        } else {
            QStringList names = missing.values();
            names.sort();
            m_sink(problemRecord(source.file, 0, 1,
                                 QStringLiteral("%1 not compiled: its imports %2 were not found")
                                     .arg(source.module, names.join(QStringLiteral(", ")))));
        }
        if (!written)
            m_sink(QJsonObject{{QStringLiteral("failed"), i}});
        if (problems.dropped > 0)
            m_sink(problemRecord(source.file, 0, 2, QStringLiteral("%1 more problems not shown").arg(problems.dropped)));
        m_sink(QJsonObject{{QStringLiteral("end"), i}});
    }

    collector = nullptr;
    smiExit();
}

QSet<QString> SmiCompilation::checkImports(const CompileRequest &request, const CompileRequest::Source &source,
                                  const QStringList &folders)
{
    auto fileOf = [&](const QString &module) {
        const auto known = m_moduleFiles.constFind(module);
        if (known != m_moduleFiles.constEnd())
            return *known;
        const QString file = MibSource::findModuleFile(module, folders);
        m_moduleFiles.insert(module, file);
        return file;
    };
    auto importsOf = [&](const QString &file) {
        auto known = m_imports.constFind(file);
        if (known == m_imports.constEnd())
            known = m_imports.insert(file, MibSource::read(file).imports());
        return *known;
    };
    // The modules from `module` on that lead back to `target`, or none.
    QSet<QString> visited;
    std::function<QStringList(const QString &, const QString &)> pathBack = [&](const QString &module,
                                                                              const QString &target) -> QStringList {
        if (module == target)
            return {module};
        if (visited.contains(module))
            return {};
        visited.insert(module);
        const QString file = fileOf(module);
        if (file.isEmpty())
            return {};
        for (const MibSource::Import &i : importsOf(file)) {
            const QStringList rest = pathBack(i.module, target);
            if (!rest.isEmpty())
                return QStringList{module} + rest;
        }
        return {};
    };

    QSet<QString> missing;
    const MibSource own = MibSource::read(source.file);
    const QString name = own.module().isEmpty() ? source.module : own.module();
    for (const MibSource::Import &import : own.imports()) {
        if (fileOf(import.module).isEmpty()) {
            QStringList searched;
            for (const QString &f : folders)
                searched << (f == request.givenFolder ? QStringLiteral("the files given") : QDir::toNativeSeparators(f));
            m_sink(problemRecord(source.file, import.line, 2,
                                 QStringLiteral("%1 imports %2, which was not found (searched: %3)")
                                     .arg(name, import.module, searched.join(QStringLiteral(", ")))));
            missing.insert(import.module);
            continue;
        }
        visited.clear();
        const QStringList cycle = pathBack(import.module, name);
        if (!cycle.isEmpty()) {
            m_sink(problemRecord(source.file, import.line, 2,
                                 QStringLiteral("%1 imports %2: modules that import each other cannot be compiled")
                                     .arg(name, cycle.join(QStringLiteral(", which imports ")))));
        }
    }
    return missing;
}

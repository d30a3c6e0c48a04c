#include "mibcompiler.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QXmlStreamWriter>

#include "smi_p.h"

#include <algorithm>
#include <vector>

namespace {

// libsmi reports problems through one C callback with no user pointer.
QList<MibCompiler::Problem> *collectedProblems = nullptr;
QSet<QString> *filesWithSyntaxErrors = nullptr;
int collectLevel = 2;

extern "C" void collectProblem(char *path, int line, int severity, char *msg, char * /*tag*/)
{
    if (filesWithSyntaxErrors != nullptr && msg != nullptr && qstrncmp(msg, "syntax error", 12) == 0)
        filesWithSyntaxErrors->insert(QString::fromLocal8Bit(path != nullptr ? path : ""));
    if (collectedProblems == nullptr || severity > collectLevel)
        return;
    MibCompiler::Problem p;
    p.file = QString::fromLocal8Bit(path != nullptr ? path : "");
    p.line = line;
    p.severity = severity;
    p.message = QString::fromUtf8(msg != nullptr ? msg : "");
    collectedProblems->append(p);
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
    ModuleWriter(SmiModule *module, const QDateTime &compiled, MibCompiler::Result &result)
        : m_module(module)
        , m_compiled(compiled)
        , m_result(result)
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

        QFile file(fileName);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
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
        for (const MibCompiler::TypeInfo &t : std::as_const(m_types)) {
            xml.writeStartElement(QStringLiteral("TYPE"));
            xml.writeTextElement(QStringLiteral("NAME"), t.name);
            xml.writeTextElement(QStringLiteral("ROOT"), t.root);
            xml.writeTextElement(QStringLiteral("CODE"), QString::number(t.code));
            xml.writeEndElement();
        }
        xml.writeEndElement();

        xml.writeEndElement();
        xml.writeEndDocument();
        file.close();
        if (xml.hasError() || file.error() != QFileDevice::NoError) {
            problem(QStringLiteral("cannot write %1").arg(fileName));
            return false;
        }
        return true;
    }

    QList<MibCompiler::TypeInfo> types() const { return m_types; }

private:
    void optional(QXmlStreamWriter &xml, const QString &tag, const QString &text)
    {
        if (!text.isEmpty())
            xml.writeTextElement(tag, text);
    }

    void problem(const QString &message, int line = 0)
    {
        MibCompiler::Problem p;
        p.file = fromC(m_module->path);
        p.line = line;
        p.severity = 2;
        p.message = message;
        m_result.problems.append(p);
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

        if (node->nodekind == SMI_NODEKIND_SCALAR || node->nodekind == SMI_NODEKIND_COLUMN) {
            SmiType *type = smiGetNodeType(node);
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
    MibCompiler::Result &m_result;
    QList<MibCompiler::TypeInfo> m_types;
    QSet<QString> m_seenTypes;
};

} // namespace

QString MibCompiler::Problem::text() const
{
    return QStringLiteral("%1:%2: %3").arg(file).arg(line).arg(message);
}

MibCompiler::MibCompiler() = default;

QString MibCompiler::moduleNameOf(const QString &sourceFile)
{
    QFile f(sourceFile);
    if (!f.open(QIODevice::ReadOnly))
        return QString();
    // Comments run from "--" to the end of the line (or the next "--").
    static const QRegularExpression comment(QStringLiteral("--[^\\n]*?(--|$)"),
                                            QRegularExpression::MultilineOption);
    static const QRegularExpression definitions(
        QStringLiteral("([A-Za-z][-A-Za-z0-9]*)\\s+(?:\\{[^}]*\\}\\s*)?DEFINITIONS\\s*(?:[A-Z]+\\s+TAGS\\s*)?::="));
    QString text = QString::fromLatin1(f.read(1 << 20));
    text.remove(comment);
    const QRegularExpressionMatch m = definitions.match(text);
    return m.hasMatch() ? m.captured(1) : QString();
}

MibCompiler::Result MibCompiler::compile(const QStringList &files, const QString &outputDir)
{
    Result result;
    QDir().mkpath(outputDir);
    const QDateTime compiled = m_compiled.isValid() ? m_compiled : QDateTime::currentDateTime();

    // libsmi finds an imported module by file name; sources are often named
    // otherwise (IF-MIB.mib, rfc2863.txt), so each one given is linked under
    // its module's name in a folder searched first.
    QTemporaryDir links;
    QHash<QString, QString> linkTargets; // link path -> real path
    QStringList folders{links.path()};
    QSet<QString> modulesSeen;
    QStringList sources;
    for (const QString &file : files) {
        const QFileInfo info(file);
        const QString module = moduleNameOf(file);
        if (module.isEmpty()) {
            Problem p;
            p.file = file;
            p.severity = 1;
            p.message = info.exists() ? QStringLiteral("no module definition found")
                                      : QStringLiteral("file not found");
            result.problems.append(p);
            result.failedFiles.append(file);
            continue;
        }
        if (modulesSeen.contains(module))
            continue;
        modulesSeen.insert(module);
        const QString link = links.filePath(module);
        QFile::link(info.absoluteFilePath(), link);
        linkTargets.insert(link, file);
        sources.append(file);
        if (!folders.contains(info.absolutePath()))
            folders.append(info.absolutePath());
    }
    folders += m_searchPath;

    smiInit("qxmib");
    char *defaultPath = smiGetPath();
    QString path = folders.join(u':');
    if (defaultPath != nullptr && defaultPath[0] != '\0')
        path += u':' + QString::fromLocal8Bit(defaultPath);
    free(defaultPath);
    smiSetPath(path.toLocal8Bit().constData());
    // Syntax errors (severity 1) are always seen: they decide whether a module is written.
    smiSetErrorLevel(std::max(m_errorLevel, 1));
    smiSetFlags((smiGetFlags() & ~SMI_FLAG_NODESCR) | SMI_FLAG_ERRORS);
    collectLevel = m_errorLevel;
    QList<Problem> problems;
    collectedProblems = &problems;
    QSet<QString> brokenFiles;
    filesWithSyntaxErrors = &brokenFiles;
    smiSetErrorHandler(collectProblem);

    QHash<QString, ModuleWriter *> writers;
    QSet<QString> typesSeen;
    for (const QString &file : std::as_const(sources)) {
        const QString module = moduleNameOf(file);
        // Loading by module name lets libsmi reuse a module already loaded as an import.
        char *loaded = smiLoadModule(module.toLatin1().constData());
        SmiModule *m = loaded != nullptr ? smiGetModule(loaded) : nullptr;
        // After a syntax error libsmi keeps a half-built module whose node list
        // cannot be walked safely; such a module is reported and left out.
        if (m == nullptr || brokenFiles.contains(fromC(m->path))) {
            result.failedFiles.append(file);
            continue;
        }
        const QString out = QDir(outputDir).filePath(fromC(m->name) + QStringLiteral(".mibx"));
        ModuleWriter writer(m, compiled, result);
        if (writer.write(out)) {
            result.modules.append(fromC(m->name));
            result.outputFiles.append(out);
            for (const TypeInfo &t : writer.types()) {
                if (!typesSeen.contains(t.name)) {
                    typesSeen.insert(t.name);
                    result.types.append(t);
                }
            }
        } else {
            result.failedFiles.append(file);
        }
    }

    collectedProblems = nullptr;
    filesWithSyntaxErrors = nullptr;
    smiExit();

    // Problems name the real source files, not the links.
    result.problems = problems + result.problems;
    for (Problem &p : result.problems) {
        const auto real = linkTargets.constFind(p.file);
        if (real != linkTargets.constEnd())
            p.file = *real;
    }
    return result;
}

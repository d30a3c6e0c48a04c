#include "mibxdocument.h"

#include <QFile>
#include <QXmlStreamReader>

#include <vector>

// All character data of the document sits in one buffer in document order; an
// element covers the range its descendants wrote, so its text is one slice.
class MibxDocumentData
{
public:
    struct Element
    {
        QString name;
        int textBegin = 0;
        int textEnd = 0;
        int firstChild = -1;
        int lastChild = -1;
        int nextSibling = -1;
    };

    std::vector<Element> elements;
    QString text;
};

namespace {

// Element names repeat a great deal (OID, SYNTAX, ... once per object): share one copy.
class NamePool
{
public:
    QString intern(QStringView name)
    {
        for (const QString &known : m_recent) {
            if (known == name)
                return known;
        }
        QString s = name.toString();
        m_recent[m_next] = s;
        m_next = (m_next + 1) % Size;
        return s;
    }

private:
    static constexpr int Size = 16;
    QString m_recent[Size];
    int m_next = 0;
};

std::shared_ptr<const MibxDocumentData> parse(QXmlStreamReader &xml, QString *error)
{
    auto data = std::make_shared<MibxDocumentData>();
    std::vector<int> open;
    NamePool names;
    while (!xml.atEnd()) {
        switch (xml.readNext()) {
        case QXmlStreamReader::StartElement: {
            const int index = int(data->elements.size());
            MibxDocumentData::Element e;
            e.name = names.intern(xml.name());
            e.textBegin = int(data->text.size());
            if (!open.empty()) {
                MibxDocumentData::Element &parent = data->elements[open.back()];
                if (parent.lastChild >= 0)
                    data->elements[parent.lastChild].nextSibling = index;
                else
                    parent.firstChild = index;
                parent.lastChild = index;
            } else if (!data->elements.empty()) {
                *error = QStringLiteral("The document has more than one root element.");
                return nullptr;
            }
            data->elements.push_back(std::move(e));
            open.push_back(index);
            break;
        }
        case QXmlStreamReader::EndElement:
            data->elements[open.back()].textEnd = int(data->text.size());
            open.pop_back();
            break;
        case QXmlStreamReader::Characters:
            if (!open.empty() && !xml.isWhitespace())
                data->text += xml.text();
            break;
        case QXmlStreamReader::DTD:
            *error = QStringLiteral("Line %1: document type declarations are not accepted.").arg(xml.lineNumber());
            return nullptr;
        case QXmlStreamReader::EntityReference:
            *error = QStringLiteral("Line %1: entity references are not accepted.").arg(xml.lineNumber());
            return nullptr;
        default:
            break;
        }
    }
    if (xml.hasError()) {
        *error = QStringLiteral("Line %1, column %2: %3")
                     .arg(xml.lineNumber())
                     .arg(xml.columnNumber())
                     .arg(xml.errorString());
        return nullptr;
    }
    if (data->elements.empty()) {
        *error = QStringLiteral("The document has no root element.");
        return nullptr;
    }
    return data;
}

} // namespace

MibxNode::MibxNode(std::shared_ptr<const MibxDocumentData> doc, int index)
    : m_doc(std::move(doc))
    , m_index(index)
{
}

QString MibxNode::nodeName() const
{
    return isNull() ? QString() : m_doc->elements[m_index].name;
}

QString MibxNode::text() const
{
    if (isNull())
        return QString();
    const MibxDocumentData::Element &e = m_doc->elements[m_index];
    return QStringView(m_doc->text).mid(e.textBegin, e.textEnd - e.textBegin).trimmed().toString();
}

bool MibxNode::hasChildNodes() const
{
    return !isNull() && m_doc->elements[m_index].firstChild >= 0;
}

QList<MibxNode> MibxNode::childNodes() const
{
    QList<MibxNode> children;
    for (MibxNode c = firstChild(); !c.isNull(); c = c.nextSibling())
        children.append(c);
    return children;
}

MibxNode MibxNode::firstChild() const
{
    if (isNull() || m_doc->elements[m_index].firstChild < 0)
        return MibxNode();
    return MibxNode(m_doc, m_doc->elements[m_index].firstChild);
}

MibxNode MibxNode::nextSibling() const
{
    if (isNull() || m_doc->elements[m_index].nextSibling < 0)
        return MibxNode();
    return MibxNode(m_doc, m_doc->elements[m_index].nextSibling);
}

MibxNode MibxNode::selectSingleNode(const QString &path) const
{
    if (isNull())
        return MibxNode();
    int current = m_index;
    for (QStringView part : QStringView(path).split(u'/')) {
        int child = m_doc->elements[current].firstChild;
        while (child >= 0 && m_doc->elements[child].name != part)
            child = m_doc->elements[child].nextSibling;
        if (child < 0)
            return MibxNode();
        current = child;
    }
    return MibxNode(m_doc, current);
}

MibxDocument::MibxDocument() = default;
MibxDocument::~MibxDocument() = default;

bool MibxDocument::load(const QString &fileName)
{
    m_data.reset();
    m_error.clear();
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        m_error = file.errorString();
        return false;
    }
    QXmlStreamReader xml(&file);
    m_data = parse(xml, &m_error);
    return m_data != nullptr;
}

bool MibxDocument::loadXml(const QByteArray &bytes)
{
    m_data.reset();
    m_error.clear();
    QXmlStreamReader xml(bytes);
    m_data = parse(xml, &m_error);
    return m_data != nullptr;
}

MibxNode MibxDocument::documentElement() const
{
    return m_data ? MibxNode(m_data, 0) : MibxNode();
}

MibxNode MibxDocument::selectSingleNode(const QString &path) const
{
    if (!m_data)
        return MibxNode();
    const qsizetype slash = path.indexOf(u'/');
    const QStringView first = QStringView(path).left(slash < 0 ? path.size() : slash);
    if (m_data->elements[0].name != first)
        return MibxNode();
    if (slash < 0)
        return documentElement();
    return documentElement().selectSingleNode(path.mid(slash + 1));
}

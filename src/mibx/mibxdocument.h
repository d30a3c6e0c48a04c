#pragma once

#include "qxmibtreecore_export.h"

#include <QList>
#include <QMetaType>
#include <QString>

#include <memory>

class MibxDocumentData;

// One element of a loaded MibxDocument. A light handle: copying it is cheap and
// it keeps the document's data alive. A default-constructed node is null, which
// is what a look-up that finds nothing returns.
class QXMIBTREECORE_EXPORT MibxNode
{
public:
    MibxNode() = default;

    bool isNull() const { return m_doc == nullptr; }
    // The element's name, exactly as written (names are case-sensitive).
    QString nodeName() const;
    // The text of the element and all its descendants in document order,
    // without the leading and trailing white space.
    QString text() const;
    bool hasChildNodes() const;
    // The child elements in document order.
    QList<MibxNode> childNodes() const;
    MibxNode firstChild() const;
    MibxNode nextSibling() const;
    // The first descendant along a path of child names separated by "/", or a null node.
    MibxNode selectSingleNode(const QString &path) const;

private:
    friend class MibxDocument;
    MibxNode(std::shared_ptr<const MibxDocumentData> doc, int index);

    std::shared_ptr<const MibxDocumentData> m_doc;
    int m_index = -1;
};

// A MIB-X file held in memory, read through QXmlStreamReader. Files come from
// anywhere, so a file with a document type declaration or an entity reference
// is refused outright: no DTD, external entity or entity expansion is ever read.
// Whitespace-only text between elements is dropped; attributes, comments and
// processing instructions are ignored.
class QXMIBTREECORE_EXPORT MibxDocument
{
public:
    MibxDocument();
    ~MibxDocument();

    // Loads a file; on failure the document is empty and errorText() says why.
    bool load(const QString &fileName);
    bool loadXml(const QByteArray &xml);
    QString errorText() const { return m_error; }

    MibxNode documentElement() const;
    // Walks from the document: the first name of the path must be the root element's.
    MibxNode selectSingleNode(const QString &path) const;

private:
    std::shared_ptr<const MibxDocumentData> m_data;
    QString m_error;
};

Q_DECLARE_METATYPE(MibxNode)

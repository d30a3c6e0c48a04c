#include "trees/widgets/singlemibtree.h"

#include "core/database.h"
#include "core/globals.h"
#include "core/messagesink.h"
#include "core/widgets/widgetfactory.h"
#include "core/qxmiberror.h"
#include "core/qxmiboid.h"
#include "core/recordset.h"
#include "trees/widgets/detailslayout.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QLabel>
#include <QLayout>
#include <QPointer>
#include <QRegularExpression>
#include <QTreeView>

#include <algorithm>
#include <numeric>

QXMIB_REGISTER_WIDGET(SingleMIBTree, SingleMIBTree)

namespace {

const QString unknownIcon = QStringLiteral("Unknown");

QString parentOf(const QString &oid)
{
    const qsizetype dot = oid.lastIndexOf(QLatin1Char('.'));
    return dot < 0 ? QString() : oid.left(dot);
}

bool isArc(const QString &text)
{
    if (text.isEmpty())
        return false;
    for (const QChar c : text) {
        if (!c.isDigit())
            return false;
    }
    return true;
}

// Keyword lines of a MIB-X definition; a line that starts with no keyword continues the one before.
DetailsLayout::MibxFields parseDefinition(const QString &text)
{
    DetailsLayout::MibxFields fields;
    QString *field = nullptr;
    const QStringList lines = text.split(QRegularExpression(QStringLiteral("\r\n|\r|\n")));
    for (const QString &line : lines) {
        const QString trimmed = line.trimmed();
        const qsizetype blank = trimmed.indexOf(QRegularExpression(QStringLiteral("\\s")));
        const QString word = (blank < 0 ? trimmed : trimmed.left(blank)).toUpper();
        QString *keyword = nullptr;
        if (word == QLatin1String("SYNTAX"))
            keyword = &fields.syntax;
        else if (word == QLatin1String("VALUE"))
            keyword = &fields.value;
        else if (word == QLatin1String("ACCESS"))
            keyword = &fields.access;
        else if (word == QLatin1String("DESCRIPTION"))
            keyword = &fields.description;
        else if (word == QLatin1String("STATUS"))
            keyword = &fields.status;
        else if (word == QLatin1String("OID"))
            keyword = &fields.oid;
        if (keyword != nullptr) {
            field = keyword;
            *field = blank < 0 ? QString() : trimmed.mid(blank + 1).trimmed();
        } else if (field != nullptr) {
            *field += QStringLiteral("\r\n") + trimmed;
        }
    }
    return fields;
}

} // namespace

SingleMIBTree::SingleMIBTree(QWidget *parent)
    : TreeControl(parent)
{
    setObjectName(QStringLiteral("SingleMIBTree"));
    m_status = new QLabel(this);
    m_status->setObjectName(QStringLiteral("StatusMessage"));
    m_status->hide();
    addToTreePane(m_status);
}

SingleMIBTree::~SingleMIBTree() = default;

QString SingleMIBTree::MIB() const
{
    return m_mib;
}

void SingleMIBTree::setMIB(const QString &mib)
{
    m_mib = mib;
}

QString SingleMIBTree::ModuleName() const
{
    return m_mib;
}

void SingleMIBTree::Refresh()
{
    const QString loading = QStringLiteral("Loading '") + m_mib + QStringLiteral("' ... ");
    m_status->setText(loading);
    m_status->show();
    paintStatus();
    const QPointer<SingleMIBTree> alive(this);
    const quint64 generation = ++m_generation;
    m_sliceStarted = QDeadlineTimer::current().deadline();
    // One reset for the whole module instead of a signal per row.
    model()->beginBulkLoad();
    bool finished = false;
    try {
        Clear();
        forgetIconIndex();
        setUpGrid();
        addRoots(QStringLiteral("folder-gray"));
        finished = loadModule(loading);
    } catch (...) {
        if (alive != nullptr && generation == m_generation) {
            m_isLoading = false;
            m_loading.clear();
            if (model()->bulkDepth() > 0)
                model()->endBulkLoad();
            if (m_viewHiddenForLoad)
                view()->show();
            m_viewHiddenForLoad = false;
        }
        throw;
    }
    if (!finished)
        return;
    model()->endBulkLoad();
    if (m_viewHiddenForLoad)
        view()->show();
    m_viewHiddenForLoad = false;
    m_status->clear();
    m_status->hide();
    if (rowCountWithHeader() > 1)
        setCurrentRow(1);
}

// A module too big to load within one slice lets the event loop run between
// slices, as the views do while they place values: the caption shows the count,
// the window repaints and answers. The rows placed so far reach the model with
// a reset, the tree itself stays hidden until the last slice. False when the
// control was destroyed or refreshed again meanwhile: the caller gives up.
bool SingleMIBTree::keepResponsive(const QString &loading)
{
    constexpr qint64 sliceMs = 25;
    const qint64 now = QDeadlineTimer::current().deadline();
    if (now - m_sliceStarted < sliceMs)
        return true;
    // A caller that holds a bulk load of its own gets the whole load in one piece.
    if (model()->bulkDepth() != 1)
        return true;
    m_status->setText(loading + QString::number(rowCountWithHeader()));
    if (!m_viewHiddenForLoad && isVisible()) {
        view()->hide();
        m_viewHiddenForLoad = true;
    }
    model()->endBulkLoad();
    const QPointer<SingleMIBTree> alive(this);
    const quint64 generation = m_generation;
    QCoreApplication::processEvents();
    if (alive == nullptr || generation != m_generation)
        return false;
    model()->beginBulkLoad();
    m_sliceStarted = QDeadlineTimer::current().deadline();
    return true;
}

bool SingleMIBTree::loadModule(const QString &loading)
{
    // Read the module first, so that its own branches are known before any row is placed.
    QVector<QString> order;
    m_loading.clear();
    {
        Recordset rs(Globals::database(), QStringLiteral("Select * From Tree Where MIB=") + Globals::sq(m_mib));
        int read = 0;
        for (; !rs.eof(); rs.moveNext()) {
            Definition definition;
            definition.oid = rs.text(QStringLiteral("OID")).trimmed();
            definition.name = rs.text(QStringLiteral("Name"));
            definition.index = rs.text(QStringLiteral("Index"));
            definition.typeS = rs.text(QStringLiteral("TypeS"));
            if (!m_loading.contains(definition.oid))
                order.append(definition.oid);
            m_loading.insert(definition.oid, definition);
            // Room ahead of need: regrowing a big table at once is a pause of its own.
            if (++read % 4096 == 0 && m_loading.capacity() < 2 * read) {
                if (!keepResponsive(loading))
                    return false;
                m_loading.reserve(8 * read);
            }
            if (read % 512 == 0 && !keepResponsive(loading))
                return false;
        }
    }
    // Arc order: parents come before their children, and siblings stand in Index
    // order. Sorted in runs, then merged, each step a slice of its own.
    std::vector<qulonglong> arcs;
    std::vector<std::pair<quint32, quint32>> spans; // where each OID's arcs start, and how many
    arcs.reserve(size_t(order.size()) * 12);
    spans.reserve(size_t(order.size()));
    for (const QString &oid : std::as_const(order)) {
        const auto start = quint32(arcs.size());
        for (const QStringView arc : QStringView(oid).tokenize(QLatin1Char('.')))
            arcs.push_back(arc.toULongLong());
        spans.emplace_back(start, quint32(arcs.size()) - start);
        if (spans.size() % 4096 == 0 && !keepResponsive(loading))
            return false;
    }
    const auto before = [&](int a, int b) {
        const auto *x = arcs.data() + spans[size_t(a)].first;
        const auto *y = arcs.data() + spans[size_t(b)].first;
        return std::lexicographical_compare(x, x + spans[size_t(a)].second, y, y + spans[size_t(b)].second);
    };
    model()->reserve(model()->nodeCount() + int(order.size()) + 1024);
    std::vector<int> sorted(size_t(order.size()));
    std::iota(sorted.begin(), sorted.end(), 0);
    constexpr size_t run = 8192;
    const size_t count = sorted.size();
    for (size_t first = 0; first < count; first += run) {
        std::sort(sorted.begin() + first, sorted.begin() + std::min(count, first + run), before);
        if (!keepResponsive(loading))
            return false;
    }
    for (size_t width = run; width < count; width *= 2) {
        for (size_t first = 0; first + width < count; first += 2 * width) {
            std::inplace_merge(sorted.begin() + first, sorted.begin() + first + width,
                               sorted.begin() + std::min(count, first + 2 * width), before);
            if (!keepResponsive(loading))
                return false;
        }
    }
    m_isLoading = true;
    int placed = 0;
    for (const int entry : sorted) {
        findOrCreate(order.at(entry));
        // The caption follows in steps, not per row.
        if (++placed % 256 == 0) {
            m_status->setText(loading + QString::number(rowCountWithHeader()));
            if (!keepResponsive(loading))
                return false;
        }
    }
    m_status->setText(loading + QString::number(rowCountWithHeader()));
    m_isLoading = false;
    freeInBackground(std::move(m_loading));
    freeInBackground(std::move(order));
    m_loading.clear();
    return true;
}

// The load keeps the event loop waiting, so the caption is laid out and drawn here and now.
void SingleMIBTree::paintStatus()
{
    if (!isVisible())
        return;
    for (QWidget *w = m_status->parentWidget(); w != nullptr && w != this->parentWidget(); w = w->parentWidget()) {
        if (w->layout() != nullptr)
            w->layout()->activate();
    }
    m_status->repaint();
}

bool SingleMIBTree::definedHere(const QString &oid)
{
    if (m_isLoading)
        return m_loading.contains(oid);
    return OIDinMIB(oid);
}

bool SingleMIBTree::OIDinMIB(const QString &OID)
{
    Recordset rs(Globals::database(), QStringLiteral("Select OID From Tree Where MIB=") + Globals::sq(m_mib)
                                          + QStringLiteral(" AND OID=") + Globals::sq(OID));
    return !rs.eof();
}

MIBTreeModel::Node *SingleMIBTree::rowForOID(const QString &oid) const
{
    MIBTreeModel::Node *node = model()->find(QStringLiteral("O:") + oid);
    return node != nullptr ? node : model()->find(QStringLiteral("F:") + oid);
}

MIBTreeModel::Node *SingleMIBTree::findOrCreate(const QString &oid)
{
    if (MIBTreeModel::Node *node = rowForOID(oid))
        return node;
    const QString parentOid = parentOf(oid);
    if (parentOid.isEmpty())
        return nullptr;
    MIBTreeModel::Node *parent = rowForOID(parentOid);
    if (parent == nullptr)
        parent = findOrCreate(parentOid);
    if (parent == nullptr)
        return nullptr;
    const auto own = m_loading.constFind(oid);
    if (own != m_loading.constEnd()) {
        addDefinitionRow(parent, *own, QStringLiteral("O:") + oid, true);
    } else {
        Recordset rs(Globals::database(), QStringLiteral("Select * from Tree WHERE OID = ") + Globals::sq(oid));
        if (!rs.eof()) {
            const Definition ancestor{rs.text(QStringLiteral("OID")).trimmed(), rs.text(QStringLiteral("Name")),
                                      rs.text(QStringLiteral("Index")), rs.text(QStringLiteral("TypeS"))};
            addDefinitionRow(parent, ancestor, QStringLiteral("O:") + oid, true);
        }
    }
    return model()->find(QStringLiteral("O:") + oid);
}

MIBTreeModel::Node *SingleMIBTree::addDefinitionRow(MIBTreeModel::Node *parent, const Definition &definition,
                                                    const QString &key, bool branchInModule, const QString &text)
{
    MIBTreeModel::NewRow row;
    row.caption = definition.name + QStringLiteral(" (") + definition.index + QLatin1Char(')');
    row.oid = key.mid(2);
    row.key = key;
    row.definition = text;
    const QString icon = TreeControl::LookupIcon(row.oid);
    if (icon != unknownIcon)
        row.icon = icon;
    else if (definition.typeS == QLatin1String("SEQUENCE"))
        row.icon = QStringLiteral("table");
    else if (definition.typeS.compare(definition.name, Qt::CaseInsensitive) == 0 && !definition.typeS.isEmpty())
        row.icon = QStringLiteral("key");
    else if (!definition.typeS.isEmpty())
        row.icon = QStringLiteral("leaf");
    else if (!branchInModule || definedHere(row.oid))
        row.icon = QStringLiteral("folder-closed");
    else
        row.icon = QStringLiteral("folder-gray");
    return model()->addChild(parent, row);
}

void SingleMIBTree::loadPathTo(const QString &oid)
{
    if (rowForOID(oid) != nullptr)
        return;
    const qsizetype dot = oid.lastIndexOf(QLatin1Char('.'));
    if (dot < 0)
        return;
    const QString parentOid = oid.left(dot);
    const QString index = oid.mid(dot + 1);
    if (!isArc(index))
        return;
    loadPathTo(parentOid);
    MIBTreeModel::Node *parent = rowForOID(parentOid);
    if (parent == nullptr)
        return;
    Recordset rs(Globals::database(),
                 QStringLiteral("Select DISTINCT Name, Index, OID, TypeS from Tree WHERE Primary=-1 AND ParentOID = ")
                     + Globals::sq(parentOid) + QStringLiteral(" AND Index=") + index + QStringLiteral(" Order By Index"));
    if (rs.eof())
        return;
    const Definition found{rs.text(QStringLiteral("OID")), rs.text(QStringLiteral("Name")), rs.text(QStringLiteral("Index")),
                           rs.text(QStringLiteral("TypeS"))};
    rs.close();
    addDefinitionRow(parent, found, QStringLiteral("O:") + found.oid, true);
}

bool SingleMIBTree::AddDefinition(const QString &name, const QString &OID, const QString &type, const QString &index,
                                  const QString &definition)
{
    const QString parentOid = parentOf(OID);
    MIBTreeModel::Node *parent = parentOid.isEmpty() ? nullptr : findOrCreate(parentOid);
    if (parent == nullptr) {
        MessageSink::warn(QStringLiteral("Cannot load tree for ") + name + QStringLiteral(" (") + OID + QLatin1Char(')'));
        return false;
    }
    return addDefinitionRow(parent, Definition{OID, name, index, type}, QStringLiteral("F:") + OID, false, definition)
        != nullptr;
}

void SingleMIBTree::SelectOID(const QString &OID)
{
    TreeControl::SelectOID(OID);
}

void SingleMIBTree::SelectAll()
{
    selectAllRows();
}

QString SingleMIBTree::GetOIDDetails(QXMibOID *OID)
{
    if (OID == nullptr)
        throw QXMibError(QXMibError::ObjectRequired, QStringLiteral("Object required"));
    const StyledText text = DetailsLayout::shortTreeLayout(*OID);
    composeInPreload(text);
    return text.toPlainText();
}

QString SingleMIBTree::GetOIDDetails_RTF(QXMibOID *OID)
{
    if (OID == nullptr)
        throw QXMibError(QXMibError::ObjectRequired, QStringLiteral("Object required"));
    const StyledText text = DetailsLayout::shortTreeLayout(*OID);
    composeInPreload(text);
    return text.toRtf();
}

QString SingleMIBTree::GetOIDDetailsRTF(QXMibOID *OID)
{
    return GetOIDDetails_RTF(OID);
}

QString SingleMIBTree::GetOIDDetails_MIBX()
{
    const MIBTreeModel::Node *node = nodeAtRow(currentRow());
    if (node == nullptr)
        return QString();
    DetailsLayout::MibxFields fields = parseDefinition(node->definition);
    fields.name = node->caption.left(node->caption.indexOf(QLatin1Char('('))).trimmed();
    if (fields.oid.isEmpty())
        fields.oid = node->oid;
    fields.module = m_mib;
    const StyledText text = DetailsLayout::mibxLayout(fields);
    showInPane(text);
    return text.toPlainText();
}

QXMibOID *SingleMIBTree::LookupOID(int row)
{
    auto *record = new QXMibOID;
    record->setOID(GetOIDbyRow(row));
    return record;
}

QString SingleMIBTree::GetOIDbyRow(int row) const
{
    const MIBTreeModel::Node *node = nodeAtRow(row);
    return node != nullptr ? node->key.mid(2) : QString();
}

void SingleMIBTree::DeleteOID(const QString &OID)
{
    Globals::database()->execute(QStringLiteral("Delete From Tree Where MIB=") + Globals::sq(m_mib)
                                 + QStringLiteral(" AND OID=") + Globals::sq(OID));
}

void SingleMIBTree::DeleteSelectedMIBs()
{
    int first = 0;
    int last = 0;
    if (!selectedRange(first, last))
        return;
    QStringList oids;
    for (int row = first; row <= last; ++row)
        oids.append(GetOIDbyRow(row));
    for (const QString &oid : std::as_const(oids))
        DeleteOID(oid);
}

QString SingleMIBTree::LookupIcon(const QString &OID)
{
    return TreeControl::LookupIcon(OID);
}

void SingleMIBTree::PopupOIDDetails(QXMibOID *OID)
{
    TreeControl::PopupOIDDetails(OID);
}

void SingleMIBTree::SearchMIBTree(bool modal)
{
    TreeControl::SearchMIBTree(modal);
}

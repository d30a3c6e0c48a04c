#include "trees/widgets/treecontrol.h"

#include "core/database.h"
#include "core/globals.h"
#include "core/messagesink.h"
#include "core/qxmiberror.h"
#include "core/qxmiboid.h"
#include "core/recordset.h"
#include "core/widgets/styledtext.h"
#include "snmp/settings.h"
#include "trees/widgets/detailslayout.h"
#include "trees/widgets/oiddetailsform.h"
#include "trees/widgets/searchmibtreeform.h"
#include "trees/widgets/treeicons.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QDrag>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMenu>
#include <QMimeData>
#include <QSet>
#include <QSplitter>
#include <QTextEdit>
#include <QTreeView>
#include <QVBoxLayout>

namespace {

const QString crlf = QStringLiteral("\r\n");
const QString unknownIcon = QStringLiteral("Unknown");

// Sizes of the details pane, in twips as the control has always been told them.
constexpr int detailsShownTwips = 1900;
constexpr int detailsStripTwips = 35;

int buttonCode(Qt::MouseButton button)
{
    switch (button) {
    case Qt::LeftButton:
        return 1;
    case Qt::RightButton:
        return 2;
    case Qt::MiddleButton:
        return 4;
    default:
        return 0;
    }
}

int shiftCode(Qt::KeyboardModifiers modifiers)
{
    return (modifiers & Qt::ShiftModifier ? 1 : 0) | (modifiers & Qt::ControlModifier ? 2 : 0)
        | (modifiers & Qt::AltModifier ? 4 : 0);
}

// The character code a key would type, as the classic KeyPress event gave it; 0 for keys that type nothing.
short characterCode(const QKeyEvent *event)
{
    const int key = event->key();
    if ((event->modifiers() & Qt::ControlModifier) && !(event->modifiers() & Qt::AltModifier) && key >= Qt::Key_A
        && key <= Qt::Key_Z)
        return short(key - Qt::Key_A + 1);
    switch (key) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        return 13;
    case Qt::Key_Escape:
        return 27;
    case Qt::Key_Backspace:
        return 8;
    case Qt::Key_Tab:
        return 9;
    case Qt::Key_Space:
        return 32;
    default:
        break;
    }
    const QString text = event->text();
    if (text.isEmpty() || !text.at(0).isPrint() || text.at(0).unicode() > 0x7fff)
        return 0;
    return short(text.at(0).unicode());
}

} // namespace

// The outline named "Tree": a plain QTreeView that hands typed keys, mouse
// presses, double clicks and drags to its control.
class MIBTreeView : public QTreeView
{
public:
    MIBTreeView(TreeControl *control, QWidget *parent)
        : QTreeView(parent)
        , m_control(control)
    {
    }

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void startDrag(Qt::DropActions supportedActions) override;

private:
    void toggle(const QModelIndex &index)
    {
        const QModelIndex first = index.sibling(index.row(), 0);
        if (!first.isValid() || !model()->hasChildren(first))
            return;
        setExpanded(first, !isExpanded(first));
    }

    TreeControl *m_control;
};

class TreeControlPrivate
{
public:
    explicit TreeControlPrivate(TreeControl *q)
        : q(q)
    {
    }

    QString line(const MIBTreeModel::Node *node, int baseLevel, QXMibOID *record) const;
    bool hidden(const MIBTreeModel::Node *node) const;
    void applyDetailsSize();
    void loadIconIndex();
    void show(const StyledText &text);
    // The shown text in the details box, in colours its background lets one read.
    void showReadable();
    QXMibOID &record()
    {
        if (!current)
            current = std::make_unique<QXMibOID>();
        return *current;
    }

    TreeControl *q;
    MIBTreeModel *model = nullptr;
    MIBTreeView *view = nullptr;
    QWidget *treePane = nullptr;
    QSplitter *splitter = nullptr;
    QTextEdit *details = nullptr;
    QTextEdit *preload = nullptr;
    QMenu *detailsPopup = nullptr;
    StyledText shown;
    std::unique_ptr<QXMibOID> current;
    QString currentKey;
    short dragMethod = 0;
    bool detailsVisible = true;
    Settings *settings = nullptr;
    // Database icons read so far, by OID; each is read once per control.
    QHash<QString, QIcon> images;
    // Which OIDs have a row in Icons; read once per Refresh so a miss costs no statement.
    QSet<QString> iconOids;
    bool iconIndexLoaded = false;
};

void MIBTreeView::keyPressEvent(QKeyEvent *event)
{
    const short typed = characterCode(event);
    if (typed == 0) {
        QTreeView::keyPressEvent(event);
        return;
    }
    short code = typed;
    TreeControl::guarded([&] { Q_EMIT m_control->KeyPress(code); });
    switch (code) {
    case 0:
        break;
    case 3:
        // Ctrl+C copies nothing from the outline: copying is the Copy entry's job.
        if (QClipboard *clipboard = QGuiApplication::clipboard())
            clipboard->clear();
        break;
    case 13:
    case 32:
        toggle(currentIndex());
        break;
    default:
        QTreeView::keyPressEvent(event);
        return;
    }
    event->accept();
}

void MIBTreeView::mousePressEvent(QMouseEvent *event)
{
    const QPoint pos = event->position().toPoint();
    if (event->button() == Qt::RightButton) {
        const QModelIndex under = indexAt(pos);
        if (under.isValid() && selectionModel()->selectedRows().size() <= 1)
            setCurrentIndex(under);
    }
    TreeControl::guarded([&] {
        Q_EMIT m_control->MouseDown(buttonCode(event->button()), shiftCode(event->modifiers()), pos.x(), pos.y());
    });
    if (event->button() != Qt::RightButton)
        QTreeView::mousePressEvent(event);
}

void MIBTreeView::mouseDoubleClickEvent(QMouseEvent *event)
{
    const QModelIndex index = indexAt(event->position().toPoint());
    if (!index.isValid() || event->button() != Qt::LeftButton) {
        QTreeView::mouseDoubleClickEvent(event);
        return;
    }
    const QModelIndex first = index.sibling(index.row(), 0);
    if (model()->hasChildren(first))
        toggle(first);
    else
        TreeControl::guarded([this] { Q_EMIT m_control->OIDDoubleClick(&m_control->currentRecord()); });
    event->accept();
}

void MIBTreeView::startDrag(Qt::DropActions)
{
    QString text;
    TreeControl::guarded([&] { text = m_control->Selection(); });
    auto *mime = new QMimeData;
    mime->setText(text);
    auto *drag = new QDrag(this);
    drag->setMimeData(mime);
    const QIcon icon = currentIndex().sibling(currentIndex().row(), 0).data(Qt::DecorationRole).value<QIcon>();
    if (!icon.isNull())
        drag->setPixmap(icon.pixmap(16, 16));
    drag->exec(Qt::CopyAction, Qt::CopyAction);
}

TreeControl::TreeControl(QWidget *parent)
    : QWidget(parent)
    , d(std::make_unique<TreeControlPrivate>(this))
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    d->splitter = new QSplitter(Qt::Vertical, this);
    d->splitter->setObjectName(QStringLiteral("Splitter"));
    d->splitter->setChildrenCollapsible(false);
    layout->addWidget(d->splitter);

    d->treePane = new QWidget(d->splitter);
    d->treePane->setObjectName(QStringLiteral("TreePane"));
    auto *paneLayout = new QVBoxLayout(d->treePane);
    paneLayout->setContentsMargins(0, 0, 0, 0);
    paneLayout->setSpacing(2);

    d->model = new MIBTreeModel(this);
    d->view = new MIBTreeView(this, d->treePane);
    d->view->setObjectName(QStringLiteral("Tree"));
    d->view->setModel(d->model);
    d->view->setUniformRowHeights(true);
    d->view->setSelectionMode(QAbstractItemView::ContiguousSelection);
    d->view->setSelectionBehavior(QAbstractItemView::SelectRows);
    d->view->setEditTriggers(QAbstractItemView::NoEditTriggers);
    d->view->setExpandsOnDoubleClick(false);
    d->view->setDragEnabled(true);
    d->view->setDragDropMode(QAbstractItemView::DragOnly);
    d->view->setDefaultDropAction(Qt::CopyAction);
    d->view->setAllColumnsShowFocus(true);
    d->view->header()->setStretchLastSection(true);
    paneLayout->addWidget(d->view);

    d->details = new QTextEdit(d->splitter);
    d->details->setObjectName(QStringLiteral("Details"));
    d->preload = new QTextEdit(this);
    d->preload->setObjectName(QStringLiteral("DetailsPreload"));
    d->preload->hide();
    for (QTextEdit *box : {d->details, d->preload}) {
        box->setReadOnly(true);
        box->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
        box->setTabStopDistance(box->fontMetrics().horizontalAdvance(QLatin1Char('x')) * 10);
    }
    // The pane may shrink to a strip of a few pixels.
    d->details->setMinimumHeight(1);
    d->splitter->addWidget(d->details);
    d->splitter->setStretchFactor(0, 1);
    d->splitter->setStretchFactor(1, 0);

    d->detailsPopup = new QMenu(this);
    d->detailsPopup->setObjectName(QStringLiteral("DetailsPopup"));
    QAction *print = d->detailsPopup->addAction(tr("&Print"));
    print->setObjectName(QStringLiteral("PrintPopup"));
    QAction *copy = d->detailsPopup->addAction(tr("&Copy"));
    copy->setObjectName(QStringLiteral("CopyDetailsPopup"));
    connect(print, &QAction::triggered, this, [this] {
        guarded([this] { DetailsLayout::print(CurrentOIDDetailsRTF(), d->record().FullName()); });
    });
    connect(copy, &QAction::triggered, this, [this] {
        guarded([this] {
            const QTextCursor cursor = d->details->textCursor();
            DetailsLayout::copyToClipboard(d->shown, cursor.selectionStart(), cursor.selectionEnd());
        });
    });
    d->details->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(d->details, &QWidget::customContextMenuRequested, this,
            [this](const QPoint &pos) { d->detailsPopup->popup(d->details->viewport()->mapToGlobal(pos)); });

    d->model->setIconProvider([this](const QString &key) {
        if (TreeIcons::isBuiltIn(key))
            return TreeIcons::icon(key, d->view->palette());
        return d->images.value(key);
    });
    d->model->setLoader([this](MIBTreeModel::Node *node) {
        guarded([this, node] {
            QApplication::setOverrideCursor(Qt::WaitCursor);
            try {
                loadChildrenOf(node);
            } catch (...) {
                QApplication::restoreOverrideCursor();
                throw;
            }
            QApplication::restoreOverrideCursor();
        });
    });
    // A view that expands a node before its pending layout ran fetches nothing itself.
    connect(d->view, &QTreeView::expanded, d->model, [this](const QModelIndex &index) {
        if (d->model->canFetchMore(index))
            d->model->fetchMore(index);
    });
    connect(d->view->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this](const QModelIndex &) { guarded([this] { currentRowArrived(); }); });

    setUpGrid();
    d->applyDetailsSize();
}

TreeControl::~TreeControl() = default;

void TreeControl::guarded(const std::function<void()> &work)
{
    try {
        work();
    } catch (const QXMibError &e) {
        MessageSink::show(e.description(), QString());
    } catch (const std::exception &e) {
        MessageSink::show(QString::fromLocal8Bit(e.what()), QString());
    }
}

QTreeView *TreeControl::view() const
{
    return d->view;
}

MIBTreeModel *TreeControl::model() const
{
    return d->model;
}

QXMibOID &TreeControl::currentRecord()
{
    return d->record();
}

void TreeControl::setUpGrid()
{
    // Each change makes the view lay itself out again: only what differs is set.
    const QFont arial(QStringLiteral("Arial"));
    if (d->view->font() != arial)
        d->view->setFont(arial);
    const QFontMetrics metrics(d->view->font());
    // The sample text, plus room for the icon and for the indentation of a few levels,
    // which a grid draws inside the cell's text width and an outline view beside it.
    if (d->view->indentation() != 16)
        d->view->setIndentation(16);
    const int room = d->view->iconSize().isValid() ? d->view->iconSize().width() : 16;
    const int widths[] = {metrics.horizontalAdvance(QString(34, QLatin1Char('X'))) + room + 6 * d->view->indentation(),
                          metrics.horizontalAdvance(QString(23, QLatin1Char('X')))};
    for (int section = 0; section < 2; ++section) {
        if (d->view->header()->sectionSize(section) != widths[section])
            d->view->header()->resizeSection(section, widths[section]);
    }
}

void TreeControl::addRoots(const QString &icon)
{
    d->model->addRoot(QStringLiteral("ccitt (0)"), QStringLiteral("0"), QStringLiteral("O:0"), icon);
    d->model->addRoot(QStringLiteral("iso (1)"), QStringLiteral("1"), QStringLiteral("O:1"), icon);
}

void TreeControl::expandNode(MIBTreeModel::Node *node)
{
    if (node != nullptr && !node->children.empty())
        d->view->expand(d->model->indexOf(node));
}

void TreeControl::collapseNodesFrom(int level)
{
    for (MIBTreeModel::Node *node : d->model->rowsInOrder()) {
        if (node->level >= level && !node->children.empty())
            d->view->collapse(d->model->indexOf(node));
    }
}

MIBTreeModel::Node *TreeControl::rowForOID(const QString &oid) const
{
    return d->model->find(QStringLiteral("O:") + oid);
}

void TreeControl::loadChildrenOf(MIBTreeModel::Node *)
{
}

void TreeControl::forgetIconIndex()
{
    d->iconOids.clear();
    d->iconIndexLoaded = false;
}

void TreeControlPrivate::loadIconIndex()
{
    iconIndexLoaded = true;
    Recordset rs(Globals::database(), QStringLiteral("Select OID From Icons"));
    for (; !rs.eof(); rs.moveNext())
        iconOids.insert(rs.text(QStringLiteral("OID")));
}

QString TreeControl::LookupIcon(const QString &OID)
{
    if (d->images.contains(OID))
        return OID;
    try {
        if (!d->iconIndexLoaded)
            d->loadIconIndex();
        if (!d->iconOids.contains(OID))
            return unknownIcon;
        Recordset rs(Globals::database(), QStringLiteral("Select [Small Icon] From Icons WHERE OID = ") + Globals::dq(OID));
        if (rs.eof())
            return unknownIcon;
        // Read straight from memory: the component's folder may not be writable.
        const QIcon icon = TreeIcons::iconFromBytes(rs.value(QStringLiteral("Small Icon")).toByteArray());
        if (icon.isNull())
            return unknownIcon;
        d->images.insert(OID, icon);
        return OID;
    } catch (...) {
        return unknownIcon;
    }
}

void TreeControl::clearDetails()
{
    d->shown.clear();
    d->details->clear();
    d->preload->clear();
}

void TreeControlPrivate::show(const StyledText &text)
{
    shown = text;
    preload->setHtml(text.toHtml());
    showReadable();
}

void TreeControlPrivate::showReadable()
{
    // The control's own palette: on a change it is new before the box's is.
    details->setHtml(shown.readableOn(q->palette().color(QPalette::Base)).toHtml());
}

void TreeControl::showInPane(const StyledText &text)
{
    d->show(text);
}

void TreeControl::addToTreePane(QWidget *widget)
{
    d->treePane->layout()->addWidget(widget);
}

void TreeControl::composeInPreload(const StyledText &text)
{
    d->preload->setHtml(text.toHtml());
}

void TreeControl::Clear()
{
    clearDetails();
    d->model->clear();
    d->currentKey.clear();
    // No row is current any more: SelectedOID and MIBName say so.
    if (d->current)
        d->current->Clear();
}

QString TreeControl::GetOIDDetails(QXMibOID *OID)
{
    if (OID == nullptr)
        throw QXMibError(QXMibError::ObjectRequired, QStringLiteral("Object required"));
    const StyledText text = DetailsLayout::treeLayout(*OID);
    composeInPreload(text);
    return text.toPlainText();
}

QString TreeControl::GetOIDDetailsRTF(QXMibOID *OID)
{
    if (OID == nullptr)
        throw QXMibError(QXMibError::ObjectRequired, QStringLiteral("Object required"));
    const StyledText text = DetailsLayout::treeLayout(*OID);
    composeInPreload(text);
    return text.toRtf();
}

void TreeControl::ShowOIDDetails(QXMibOID *OID)
{
    if (OID == nullptr)
        throw QXMibError(QXMibError::ObjectRequired, QStringLiteral("Object required"));
    d->show(DetailsLayout::treeLayout(*OID));
}

QString TreeControl::CurrentOIDDetailsRTF() const
{
    return d->shown.toRtf();
}

void TreeControl::PopupOIDDetails(QXMibOID *OID)
{
    if (OID == nullptr)
        throw QXMibError(QXMibError::ObjectRequired, QStringLiteral("Object required"));
    OIDDetailsForm::popup(OID->OID(), QString(), QString());
}

void TreeControl::SearchMIBTree(bool modal)
{
    auto *form = new SearchMIBTreeForm(this);
    form->setAttribute(Qt::WA_DeleteOnClose);
    form->Search(this, modal);
}

QString TreeControl::SelectedOID() const
{
    return d->current ? d->current->OID() : QString();
}

QString TreeControl::MIBName() const
{
    return d->current ? d->current->MIB() : QString();
}

Settings *TreeControl::SNMPSettings()
{
    if (d->settings == nullptr)
        d->settings = new Settings(this);
    return d->settings;
}

QAbstractItemView *TreeControl::Table() const
{
    return d->view;
}

void TreeControl::setDragMethod(short method)
{
    d->dragMethod = method;
}

short TreeControl::DragMethod() const
{
    return d->dragMethod;
}

bool TreeControl::OIDsVisible() const
{
    return !d->view->isColumnHidden(1);
}

void TreeControl::setOIDsVisible(bool visible)
{
    d->view->setColumnHidden(1, !visible);
}

void TreeControlPrivate::applyDetailsSize()
{
    const int dpi = q->logicalDpiY() > 0 ? q->logicalDpiY() : 96;
    const int pane = qMax(1, qRound((detailsVisible ? detailsShownTwips : detailsStripTwips) * dpi / 1440.0));
    const int total = splitter->height() > pane * 2 ? splitter->height() - splitter->handleWidth() : pane * 4;
    splitter->setSizes({total - pane, pane});
}

void TreeControl::setDetailsVisible(bool visible)
{
    d->detailsVisible = visible;
    d->applyDetailsSize();
}

bool TreeControl::DetailsVisible() const
{
    return d->detailsVisible;
}

void TreeControl::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::PaletteChange) {
        d->view->viewport()->update();
        if (!d->shown.isEmpty())
            d->showReadable();
    }
    QWidget::changeEvent(event);
}

void TreeControl::currentRowArrived()
{
    const MIBTreeModel::Node *node = d->model->nodeOf(d->view->currentIndex());
    if (node == nullptr || node->key == d->currentKey)
        return;
    d->currentKey = node->key;
    QXMibOID &record = d->record();
    if (showCurrentRow(node, record))
        Q_EMIT SelectionChanged(&record);
}

bool TreeControl::showCurrentRow(const MIBTreeModel::Node *node, QXMibOID &record)
{
    if (!node->key.startsWith(QLatin1String("O:")))
        return false;
    record.setOID(node->key.mid(2));
    ShowOIDDetails(&record);
    return true;
}

void TreeControl::SelectOID(const QString &OID)
{
    QString oid = OID.trimmed();
    if (oid.startsWith(QLatin1Char('.')))
        oid.remove(0, 1);
    d->view->setUpdatesEnabled(false);
    MIBTreeModel::Node *node = nullptr;
    try {
        loadPathTo(oid);
        node = rowForOID(oid);
        for (MIBTreeModel::Node *up = node != nullptr ? node->parent : nullptr; up != nullptr; up = up->parent) {
            const QModelIndex index = d->model->indexOf(up);
            if (!d->view->isExpanded(index))
                d->view->expand(index);
        }
    } catch (...) {
        d->view->setUpdatesEnabled(true);
        throw;
    }
    d->view->setUpdatesEnabled(true);
    if (node == nullptr)
        return;
    const QModelIndex index = d->model->indexOf(node);
    d->view->selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    d->view->scrollTo(index);
    if (d->record().OID() != node->oid && node->key.startsWith(QLatin1String("O:")))
        d->record().setOID(node->oid);
}

bool TreeControlPrivate::hidden(const MIBTreeModel::Node *node) const
{
    for (const MIBTreeModel::Node *up = node->parent; up != nullptr; up = up->parent) {
        if (!view->isExpanded(model->indexOf(up)))
            return true;
    }
    return false;
}

QString TreeControlPrivate::line(const MIBTreeModel::Node *node, int baseLevel, QXMibOID *record) const
{
    const QChar tab(u'\t');
    const QString dq(u'"');
    const QString &oid = node->oid;
    if (record != nullptr)
        record->setOID(oid);
    switch (dragMethod) {
    case 0:
        return node->caption + tab + oid;
    case 1:
        return oid;
    case 2:
        return record->Name() + tab + oid;
    case 3:
        return oid + tab + record->Name();
    case 4:
        return QString(qMax(0, node->level - baseLevel), tab) + node->caption;
    case 5:
        return record->FullName();
    case 6:
        return record->FullName() + tab + oid;
    case 7:
        return oid + tab + record->FullName();
    case 8:
        return record->LongName();
    case 9:
        return QStringLiteral("#define") + tab + QStringLiteral("OID_") + record->Name() + tab + dq + oid + dq;
    case 10:
        return QStringLiteral("Global Const ") + tab + QStringLiteral("OID_") + record->Name() + tab
            + QStringLiteral("= ") + dq + oid + dq;
    default:
        return QString();
    }
}

bool TreeControl::selectedRange(int &first, int &last) const
{
    first = -1;
    last = -1;
    const QModelIndexList selected = d->view->selectionModel()->selectedIndexes();
    for (const QModelIndex &index : selected) {
        const int row = d->model->orderOf(d->model->nodeOf(index)) + 1;
        if (row <= 0)
            continue;
        first = first < 0 ? row : qMin(first, row);
        last = qMax(last, row);
    }
    if (first < 0) {
        first = last = currentRow();
    }
    return first > 0;
}

void TreeControl::selectAllRows()
{
    QItemSelection all;
    const auto addChildren = [this, &all](const QModelIndex &parent) {
        const int rows = d->model->rowCount(parent);
        if (rows > 0)
            all.select(d->model->index(0, 0, parent), d->model->index(rows - 1, 1, parent));
    };
    addChildren(QModelIndex());
    for (const MIBTreeModel::Node *node : d->model->rowsInOrder()) {
        if (!node->children.empty())
            addChildren(d->model->indexOf(node));
    }
    d->view->selectionModel()->select(all, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
}

QString TreeControl::Selection() const
{
    int first = 0;
    int last = 0;
    if (!selectedRange(first, last))
        return QString();
    const QVector<MIBTreeModel::Node *> &rows = d->model->rowsInOrder();
    const int baseLevel = rows.at(first - 1)->level;
    // Formats that read the definition need a record; the others must not open the database.
    std::unique_ptr<QXMibOID> record;
    if (d->dragMethod == 2 || d->dragMethod == 3 || (d->dragMethod >= 5 && d->dragMethod <= 10))
        record = std::make_unique<QXMibOID>();
    QString text;
    for (int row = first; row <= last; ++row) {
        const MIBTreeModel::Node *node = rows.at(row - 1);
        if (d->hidden(node))
            continue;
        text += d->line(node, baseLevel, record.get()) + crlf;
    }
    return text;
}

int TreeControl::currentRow() const
{
    const MIBTreeModel::Node *node = d->model->nodeOf(d->view->currentIndex());
    return node != nullptr ? d->model->orderOf(node) + 1 : -1;
}

void TreeControl::setCurrentRow(int row)
{
    MIBTreeModel::Node *node = nodeAtRow(row);
    if (node == nullptr)
        throw QXMibError(QXMibError::SubscriptOutOfRange, QStringLiteral("Invalid Row value"));
    for (MIBTreeModel::Node *up = node->parent; up != nullptr; up = up->parent)
        d->view->expand(d->model->indexOf(up));
    const int column = qMax(0, d->view->currentIndex().column());
    d->view->selectionModel()->setCurrentIndex(d->model->indexOf(node, column),
                                               QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
}

int TreeControl::currentColumn() const
{
    return d->view->currentIndex().isValid() ? d->view->currentIndex().column() : 0;
}

void TreeControl::setCurrentColumn(int column)
{
    if (column < 0 || column > 1)
        throw QXMibError(QXMibError::SubscriptOutOfRange, QStringLiteral("Invalid Col value"));
    const QModelIndex current = d->view->currentIndex();
    if (current.isValid())
        d->view->selectionModel()->setCurrentIndex(current.sibling(current.row(), column), QItemSelectionModel::NoUpdate);
}

int TreeControl::rowCountWithHeader() const
{
    return d->model->nodeCount() + 1;
}

MIBTreeModel::Node *TreeControl::nodeAtRow(int row) const
{
    return d->model->nodeInOutline(row - 1);
}

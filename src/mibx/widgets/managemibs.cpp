#include "mibx/widgets/managemibs.h"

#include "core/database.h"
#include "core/globals.h"
#include "core/messagesink.h"
#include "core/widgets/widgetfactory.h"
#include "core/qxmiberror.h"
#include "core/recordset.h"
#include "core/widgets/styledtext.h"
#include "mibx/mibmodules.h"
#include "mibx/widgets/miblistmodel.h"

#include <QHash>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QScrollBar>
#include <QSplitter>
#include <QTextEdit>
#include <QVBoxLayout>

#include <algorithm>

QXMIB_REGISTER_WIDGET(ManageMIBs, ManageMIBs)

namespace {

const QString crlf = QStringLiteral("\r\n");

// The widths of the two columns are those of these texts in the grid's font.
const QString nameProbe = QString(42, u'X');
const QString importedProbe = QString(17, u'X');

// Host handlers run inside our event handlers: nothing may escape them.
template <typename F>
void guarded(F &&f)
{
    try {
        f();
    } catch (const QXMibError &e) {
        MessageSink::show(e.description(), QString());
    } catch (const std::exception &e) {
        MessageSink::show(QString::fromLocal8Bit(e.what()), QString());
    }
}

// The Windows virtual-key code of a key (what hosts written against the grid
// compare with), or 0 when the key has none.
int virtualKey(const QKeyEvent &event)
{
    const int key = event.key();
    if (event.modifiers() & Qt::KeypadModifier) {
        if (key >= Qt::Key_0 && key <= Qt::Key_9)
            return 0x60 + key - Qt::Key_0;
        switch (key) {
        case Qt::Key_Asterisk: return 0x6A;
        case Qt::Key_Plus: return 0x6B;
        case Qt::Key_Minus: return 0x6D;
        case Qt::Key_Period: return 0x6E;
        case Qt::Key_Slash: return 0x6F;
        default: break;
        }
    }
    if ((key >= Qt::Key_A && key <= Qt::Key_Z) || (key >= Qt::Key_0 && key <= Qt::Key_9))
        return key;
    if (key >= Qt::Key_F1 && key <= Qt::Key_F24)
        return 0x70 + key - Qt::Key_F1;
    static const QHash<int, int> codes{
        {Qt::Key_Backspace, 0x08}, {Qt::Key_Tab, 0x09}, {Qt::Key_Backtab, 0x09}, {Qt::Key_Return, 0x0D},
        {Qt::Key_Enter, 0x0D}, {Qt::Key_Shift, 0x10}, {Qt::Key_Control, 0x11}, {Qt::Key_Alt, 0x12},
        {Qt::Key_Pause, 0x13}, {Qt::Key_CapsLock, 0x14}, {Qt::Key_Escape, 0x1B}, {Qt::Key_Space, 0x20},
        {Qt::Key_PageUp, 0x21}, {Qt::Key_PageDown, 0x22}, {Qt::Key_End, 0x23}, {Qt::Key_Home, 0x24},
        {Qt::Key_Left, 0x25}, {Qt::Key_Up, 0x26}, {Qt::Key_Right, 0x27}, {Qt::Key_Down, 0x28},
        {Qt::Key_Print, 0x2C}, {Qt::Key_Insert, 0x2D}, {Qt::Key_Delete, 0x2E}, {Qt::Key_Help, 0x2F},
        {Qt::Key_Menu, 0x5D}, {Qt::Key_NumLock, 0x90}, {Qt::Key_ScrollLock, 0x91},
        // Punctuation keys of a US keyboard, plain and shifted.
        {Qt::Key_Semicolon, 0xBA}, {Qt::Key_Colon, 0xBA}, {Qt::Key_Equal, 0xBB}, {Qt::Key_Plus, 0xBB},
        {Qt::Key_Comma, 0xBC}, {Qt::Key_Less, 0xBC}, {Qt::Key_Minus, 0xBD}, {Qt::Key_Underscore, 0xBD},
        {Qt::Key_Period, 0xBE}, {Qt::Key_Greater, 0xBE}, {Qt::Key_Slash, 0xBF}, {Qt::Key_Question, 0xBF},
        {Qt::Key_QuoteLeft, 0xC0}, {Qt::Key_AsciiTilde, 0xC0}, {Qt::Key_BracketLeft, 0xDB},
        {Qt::Key_BraceLeft, 0xDB}, {Qt::Key_Backslash, 0xDC}, {Qt::Key_Bar, 0xDC}, {Qt::Key_BracketRight, 0xDD},
        {Qt::Key_BraceRight, 0xDD}, {Qt::Key_Apostrophe, 0xDE}, {Qt::Key_QuoteDbl, 0xDE},
        // Shifted digits report the symbol; the key is the digit's.
        {Qt::Key_Exclam, '1'}, {Qt::Key_At, '2'}, {Qt::Key_NumberSign, '3'}, {Qt::Key_Dollar, '4'},
        {Qt::Key_Percent, '5'}, {Qt::Key_AsciiCircum, '6'}, {Qt::Key_Ampersand, '7'}, {Qt::Key_Asterisk, '8'},
        {Qt::Key_ParenLeft, '9'}, {Qt::Key_ParenRight, '0'},
    };
    return codes.value(key, 0);
}

qint16 mouseButton(Qt::MouseButton button)
{
    switch (button) {
    case Qt::LeftButton: return 1;
    case Qt::RightButton: return 2;
    case Qt::MiddleButton: return 4;
    default: return 0;
    }
}

qint16 shiftState(Qt::KeyboardModifiers modifiers)
{
    return qint16((modifiers & Qt::ShiftModifier ? 1 : 0) | (modifiers & Qt::ControlModifier ? 2 : 0)
                  | (modifiers & Qt::AltModifier ? 4 : 0));
}

} // namespace

class ManageMIBsPrivate
{
public:
    MIBListModel *model = nullptr;
    QTableView *list = nullptr;
    QTextEdit *details = nullptr;
    QSplitter *splitter = nullptr;
    StyledText shown;
    // The module the details were last composed for, failed or not, and whether
    // the database may have changed since (a reload).
    QString shownName;
    bool stale = true;
    bool loaded = false;
    bool sized = false;

    int listWidth() const
    {
        return list->columnWidth(0) + list->columnWidth(1) + 2 * list->frameWidth()
            + list->verticalScrollBar()->sizeHint().width();
    }

    // The grid's font, captions and the widths of its two columns.
    void resetGrid()
    {
        QFont font = list->font();
        font.setFamily(QStringLiteral("Arial"));
        list->setFont(font);
        // The delegate keeps a margin on each side of a cell's text; the probe text must fit between them.
        const int margin = 2 * (list->style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, list) + 1);
        const QFontMetrics metrics(font);
        list->setColumnWidth(MIBListModel::NameColumn, metrics.horizontalAdvance(nameProbe) + margin);
        list->setColumnWidth(MIBListModel::ImportedColumn, metrics.horizontalAdvance(importedProbe) + margin);
    }

    StyledText compose(ManageMIBs *q) const
    {
        StyledText text;
        const QString name = q->SelectedMIB();
        if (name.isEmpty())
            return text;
        const int count = q->objectCount(name);
        Recordset rs(Globals::database(), QStringLiteral("Select * From MIBs Where Name=") + Globals::sq(name));
        if (rs.eof())
            return text;
        const QColor black(0, 0, 0);
        text.append(rs.text(QStringLiteral("Name")).trimmed() + crlf, QColor(0, 128, 0), false, 10, true);
        text.append(QString::number(count) + QStringLiteral(" unique OIDs") + crlf, black, false, 8);
        const QString organization = rs.text(QStringLiteral("Organization")).trimmed();
        if (!organization.isEmpty())
            text.append(organization + crlf, QColor(0, 0, 255), false, 8);
        const QString contact = rs.text(QStringLiteral("Contact")).trimmed();
        if (!contact.isEmpty())
            text.append(contact + crlf, black, false, 8);
        const QString description = rs.text(QStringLiteral("Description")).trimmed();
        if (!description.isEmpty())
            text.append(crlf + description + crlf, black, false, 8);
        return text;
    }

    void showDetails(ManageMIBs *q)
    {
        shown.clear();
        details->clear();
        shownName = q->SelectedMIB();
        stale = false;
        guarded([&] {
            shown = compose(q);
            details->setHtml(shown.readableOn(details->palette().color(QPalette::Base)).toHtml());
        });
    }
};

ManageMIBs::ManageMIBs(QWidget *parent)
    : QWidget(parent)
    , d(std::make_unique<ManageMIBsPrivate>())
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    d->splitter = new QSplitter(Qt::Horizontal, this);
    d->splitter->setObjectName(QStringLiteral("Splitter"));
    d->splitter->setChildrenCollapsible(false);
    layout->addWidget(d->splitter);

    d->list = new QTableView(d->splitter);
    d->list->setObjectName(QStringLiteral("MIBList"));
    d->model = new MIBListModel(d->list);
    d->list->setModel(d->model);
    d->list->verticalHeader()->hide();
    d->list->horizontalHeader()->setStretchLastSection(false);
    d->list->horizontalHeader()->setHighlightSections(false);
    // The grid selects whole rows, and always one range of them: deleting the
    // selection deletes everything from its first to its last row.
    d->list->setSelectionBehavior(QAbstractItemView::SelectRows);
    d->list->setSelectionMode(QAbstractItemView::ContiguousSelection);
    d->list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    d->list->setWordWrap(false);
    d->list->setTabKeyNavigation(false);
    d->resetGrid();
    d->list->verticalHeader()->setDefaultSectionSize(d->list->fontMetrics().height() + 4);

    d->details = new QTextEdit(d->splitter);
    d->details->setObjectName(QStringLiteral("MIBDetails"));
    d->details->setReadOnly(true);
    d->details->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    d->splitter->setStretchFactor(0, 0);
    d->splitter->setStretchFactor(1, 1);

    // One click changes both the current row and the selection; the details follow the current module once.
    const auto follow = [this] {
        if (d->stale || SelectedMIB() != d->shownName)
            d->showDetails(this);
    };
    connect(d->list->selectionModel(), &QItemSelectionModel::currentRowChanged, this, follow);
    connect(d->list->selectionModel(), &QItemSelectionModel::selectionChanged, this, follow);

    d->list->installEventFilter(this);
    d->list->viewport()->installEventFilter(this);
    d->list->horizontalHeader()->viewport()->installEventFilter(this);
}

ManageMIBs::~ManageMIBs() = default;

int ManageMIBs::Row() const
{
    const QModelIndex current = d->list->selectionModel()->currentIndex();
    return current.isValid() ? current.row() + 1 : 0;
}

void ManageMIBs::setRow(int row)
{
    if (row < 0 || row > MIBCount())
        throw QXMibError(QXMibError::SubscriptOutOfRange, QStringLiteral("Invalid Row value"));
    QItemSelectionModel *selection = d->list->selectionModel();
    if (row == 0) {
        selection->clear();
        return;
    }
    const QModelIndex index = d->model->index(row - 1, MIBListModel::NameColumn);
    selection->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    d->list->scrollTo(index);
}

int ManageMIBs::MIBCount() const
{
    return d->model->rowCount();
}

int ManageMIBs::OIDCount() const
{
    return MIBModules::totalObjectCount();
}

QList<int> ManageMIBs::Selection() const
{
    QList<int> rows;
    for (const QModelIndex &index : d->list->selectionModel()->selectedRows())
        rows.append(index.row() + 1);
    std::sort(rows.begin(), rows.end());
    return rows;
}

void ManageMIBs::Refresh()
{
    const int row = Row();
    QList<MIBModules::Module> modules = MIBModules::list();
    d->loaded = true;
    d->stale = true;
    d->resetGrid();
    d->model->setModules(std::move(modules));
    if (MIBCount() > 0)
        setRow(std::clamp(row, 1, MIBCount()));
    else
        d->showDetails(this);
}

QStringList ManageMIBs::DeleteMIB(const QString &name)
{
    return MIBModules::remove(name);
}

QStringList ManageMIBs::DeleteSelectedMIBs()
{
    const QList<int> rows = Selection();
    if (rows.isEmpty())
        return {};
    QStringList names;
    for (int row = rows.first(); row <= rows.last(); ++row)
        names.append(d->model->modules().at(row - 1).name);
    QStringList kept;
    for (const QString &name : names)
        kept += DeleteMIB(name);
    // A module deleted later in the run is no keeper.
    kept.erase(std::remove_if(kept.begin(), kept.end(), [&](const QString &m) { return names.contains(m); }), kept.end());
    kept.removeDuplicates();
    kept.sort();
    return kept;
}

QTableView *ManageMIBs::TableObject() const
{
    return d->list;
}

void ManageMIBs::SelectAll()
{
    if (MIBCount() == 0)
        return;
    d->list->selectionModel()->setCurrentIndex(d->model->index(0, MIBListModel::NameColumn),
                                               QItemSelectionModel::NoUpdate);
    d->list->selectAll();
}

QString ManageMIBs::SelectedMIB() const
{
    const int row = Row();
    return row > 0 ? d->model->modules().at(row - 1).name : QString();
}

int ManageMIBs::objectCount(const QString &name) const
{
    return MIBModules::objectCount(name);
}

const StyledText &ManageMIBs::shownDetails() const
{
    return d->shown;
}

bool ManageMIBs::eventFilter(QObject *watched, QEvent *event)
{
    const bool onGrid = watched == d->list->viewport() || watched == d->list->horizontalHeader()->viewport();
    switch (event->type()) {
    case QEvent::KeyPress:
        if (watched == d->list) {
            const int code = virtualKey(*static_cast<QKeyEvent *>(event));
            if (code != 0)
                guarded([&] { Q_EMIT KeyDown(qint16(code)); });
        }
        break;
    case QEvent::MouseButtonRelease:
        if (onGrid) {
            const auto *mouse = static_cast<QMouseEvent *>(event);
            const QPointF at = static_cast<QWidget *>(watched)->mapTo(d->list, mouse->position());
            guarded([&] {
                Q_EMIT MouseUp(mouseButton(mouse->button()), shiftState(mouse->modifiers()), float(at.x()),
                               float(at.y()));
            });
        }
        break;
    case QEvent::MouseButtonDblClick:
        if (onGrid)
            guarded([&] { Q_EMIT DblClick(); });
        break;
    default:
        break;
    }
    return QWidget::eventFilter(watched, event);
}

void ManageMIBs::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (!d->loaded) {
        d->loaded = true;
        try {
            Refresh();
        } catch (const QXMibError &e) {
            // A database that did not open has said so already.
            if (e.number() != QXMibError::DatabaseNotOpen)
                MessageSink::show(e.description(), QString());
        }
    }
    if (!d->sized) {
        d->sized = true;
        const int grid = d->listWidth();
        d->splitter->setSizes({grid, std::max(d->splitter->width() - grid, grid / 2)});
    }
}

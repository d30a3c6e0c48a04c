#include "snmp/widgets/livegrid.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>
#include <QStyledItemDelegate>

#include <algorithm>

namespace {

constexpr int kShownLength = 1024;

class LiveGridDelegate : public QStyledItemDelegate
{
public:
    explicit LiveGridDelegate(LiveGrid *grid)
        : QStyledItemDelegate(grid)
        , m_grid(grid)
    {
    }

    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                          const QModelIndex &index) const override
    {
        const QString pickList = index.data(LiveGrid::PickListRole).toString();
        if (pickList.isEmpty())
            return QStyledItemDelegate::createEditor(parent, option, index);
        auto *box = new QComboBox(parent);
        box->setEditable(true);
        // Items are "#value;caption": the value goes to the agent, the caption is shown.
        for (const QString &item : pickList.split(u'|', Qt::SkipEmptyParts)) {
            const qsizetype semicolon = item.indexOf(u';');
            QString data = semicolon < 0 ? item : item.left(semicolon);
            if (data.startsWith(u'#'))
                data.remove(0, 1);
            box->addItem(semicolon < 0 ? item : item.mid(semicolon + 1), data);
        }
        return box;
    }

    void setEditorData(QWidget *editor, const QModelIndex &index) const override
    {
        if (auto *box = qobject_cast<QComboBox *>(editor)) {
            const QString value = index.data(Qt::EditRole).toString();
            const int at = box->findData(value);
            if (at >= 0)
                box->setCurrentIndex(at);
            else
                box->setEditText(value);
            return;
        }
        QStyledItemDelegate::setEditorData(editor, index);
    }

    void setModelData(QWidget *editor, QAbstractItemModel *model, const QModelIndex &index) const override
    {
        if (auto *box = qobject_cast<QComboBox *>(editor)) {
            const int at = box->findText(box->currentText());
            model->setData(index, at >= 0 ? box->itemData(at) : QVariant(box->currentText()), Qt::EditRole);
            return;
        }
        QStyledItemDelegate::setModelData(editor, model, index);
    }

protected:
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        if (m_grid->hasFormatter()) {
            QString text = option->text;
            QColor fore = option->palette.color(QPalette::Text);
            QColor back = option->backgroundBrush.style() != Qt::NoBrush ? option->backgroundBrush.color() : QColor();
            QFont font = option->font;
            m_grid->format(index.row() + 1, index.column() + 1, text, fore, back, font);
            option->text = text;
            option->palette.setColor(QPalette::Text, fore);
            option->backgroundBrush = back.isValid() ? QBrush(back) : QBrush();
            option->font = font;
            option->fontMetrics = QFontMetrics(font);
        }
        // An octet string may hold 64 KB; laying all of it out for every paint
        // only to elide it costs a frame. No column shows more than this.
        if (option->text.size() > kShownLength)
            option->text.truncate(kShownLength);
    }

private:
    LiveGrid *m_grid;
};

// Captions go through the grid's formatter too: row 0 for the column captions,
// column 0 for the row captions.
class LiveGridHeader : public QHeaderView
{
public:
    LiveGridHeader(Qt::Orientation orientation, LiveGrid *grid)
        : QHeaderView(orientation, grid)
        , m_grid(grid)
    {
    }

protected:
    void paintSection(QPainter *painter, const QRect &rect, int logicalIndex) const override
    {
        if (!m_grid->hasFormatter() || model() == nullptr) {
            QHeaderView::paintSection(painter, rect, logicalIndex);
            return;
        }
        m_text = model()->headerData(logicalIndex, orientation(), Qt::DisplayRole).toString();
        m_fore = palette().color(QPalette::ButtonText);
        m_back = QColor();
        QFont font = painter->font();
        const int gridRow = orientation() == Qt::Horizontal ? 0 : logicalIndex + 1;
        const int gridCol = orientation() == Qt::Horizontal ? logicalIndex + 1 : 0;
        m_grid->format(gridRow, gridCol, m_text, m_fore, m_back, font);
        painter->save();
        painter->setFont(font);
        m_formatting = true;
        QHeaderView::paintSection(painter, rect, logicalIndex);
        m_formatting = false;
        painter->restore();
    }

    void initStyleOptionForIndex(QStyleOptionHeader *option, int logicalIndex) const override
    {
        QHeaderView::initStyleOptionForIndex(option, logicalIndex);
        if (!m_formatting)
            return;
        option->text = m_text;
        option->palette.setColor(QPalette::ButtonText, m_fore);
        if (m_back.isValid()) {
            option->palette.setColor(QPalette::Button, m_back);
            option->palette.setColor(QPalette::Window, m_back);
        }
    }

private:
    LiveGrid *m_grid;
    mutable bool m_formatting = false;
    mutable QString m_text;
    mutable QColor m_fore;
    mutable QColor m_back;
};

class CornerIndicator : public QWidget
{
public:
    explicit CornerIndicator(LiveGrid *grid)
        : QWidget(grid)
        , m_grid(grid)
    {
        setAttribute(Qt::WA_TransparentForMouseEvents);
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        if (m_grid->indicator() != 1)
            return;
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        const int d = qMax(4, qMin(width(), height()) / 2);
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(230, 140, 0));
        p.drawEllipse(QRect((width() - d) / 2, (height() - d) / 2, d, d));
    }

private:
    LiveGrid *m_grid;
};

QString csvField(const QString &text)
{
    if (!text.contains(u',') && !text.contains(u'"') && !text.contains(u'\n') && !text.contains(u'\r'))
        return text;
    QString quoted = text;
    quoted.replace(QStringLiteral("\""), QStringLiteral("\"\""));
    return u'"' + quoted + u'"';
}

QString tsvField(QString text)
{
    for (QChar &c : text) {
        if (c == u'\t' || c == u'\n' || c == u'\r')
            c = u' ';
    }
    return text;
}

} // namespace

LiveGrid::LiveGrid(QWidget *parent)
    : QTableView(parent)
{
    setObjectName(QStringLiteral("Table"));
    setHorizontalHeader(new LiveGridHeader(Qt::Horizontal, this));
    setVerticalHeader(new LiveGridHeader(Qt::Vertical, this));
    horizontalHeader()->setSectionsMovable(true);
    horizontalHeader()->setHighlightSections(true);
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    setItemDelegate(new LiveGridDelegate(this));
    setMouseTracking(true);
    setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed);
    setWordWrap(false);
    m_corner = new CornerIndicator(this);
}

LiveGrid::~LiveGrid() = default;

void LiveGrid::setFormatter(Formatter formatter)
{
    m_formatter = std::move(formatter);
    viewport()->update();
}

void LiveGrid::format(int gridRow, int gridCol, QString &text, QColor &fore, QColor &back, QFont &font) const
{
    if (m_formatter)
        m_formatter(gridRow, gridCol, text, fore, back, font);
}

void LiveGrid::setWatermark(const QString &text)
{
    m_watermark = text;
    viewport()->update();
}

void LiveGrid::setIndicator(int state)
{
    if (m_indicator == state)
        return;
    m_indicator = state;
    m_corner->update();
}

int LiveGrid::gridRows() const
{
    return model() != nullptr ? model()->rowCount() + 1 : 1;
}

int LiveGrid::gridCols() const
{
    return model() != nullptr ? model()->columnCount() + 1 : 1;
}

QString LiveGrid::gridText(int gridRow, int gridCol) const
{
    const QAbstractItemModel *m = model();
    if (m == nullptr || gridRow < 0 || gridCol < 0 || gridRow >= gridRows() || gridCol >= gridCols())
        return QString();
    if (gridRow == 0)
        return gridCol == 0 ? QString() : m->headerData(gridCol - 1, Qt::Horizontal).toString();
    if (gridCol == 0)
        return m->headerData(gridRow - 1, Qt::Vertical).toString();
    return m->index(gridRow - 1, gridCol - 1).data().toString();
}

int LiveGrid::currentGridRow() const
{
    const QModelIndex current = currentIndex();
    return current.isValid() ? current.row() + 1 : 0;
}

int LiveGrid::currentGridCol() const
{
    const QModelIndex current = currentIndex();
    return current.isValid() ? current.column() + 1 : 0;
}

void LiveGrid::setCurrentGridCell(int gridRow, int gridCol)
{
    if (model() == nullptr)
        return;
    const QModelIndex index = model()->index(gridRow - 1, gridCol - 1);
    if (index.isValid())
        setCurrentIndex(index);
}

int LiveGrid::gridRowSel() const
{
    const QModelIndexList cells = selectedCells();
    if (cells.isEmpty())
        return currentGridRow();
    const int top = cells.first().row() + 1;
    const int bottom = cells.last().row() + 1;
    return currentGridRow() == top ? bottom : top;
}

int LiveGrid::gridColSel() const
{
    const QModelIndexList cells = selectedCells();
    if (cells.isEmpty())
        return currentGridCol();
    int left = cells.first().column();
    int right = left;
    for (const QModelIndex &i : cells) {
        left = qMin(left, i.column());
        right = qMax(right, i.column());
    }
    return currentGridCol() == left + 1 ? right + 1 : left + 1;
}

void LiveGrid::selectTo(int gridRow, int gridCol)
{
    if (model() == nullptr || selectionModel() == nullptr)
        return;
    const QModelIndex from = currentIndex();
    const QModelIndex to = model()->index(gridRow - 1, gridCol - 1);
    if (!from.isValid() || !to.isValid())
        return;
    selectionModel()->select(QItemSelection(from, to), QItemSelectionModel::ClearAndSelect);
}

QModelIndexList LiveGrid::selectedCells() const
{
    if (selectionModel() == nullptr)
        return {};
    QModelIndexList cells = selectionModel()->selectedIndexes();
    std::sort(cells.begin(), cells.end(), [](const QModelIndex &a, const QModelIndex &b) {
        return a.row() != b.row() ? a.row() < b.row() : a.column() < b.column();
    });
    return cells;
}

QString LiveGrid::selectionText() const
{
    const QModelIndexList cells = selectedCells();
    if (cells.isEmpty())
        return QString();
    int left = cells.first().column();
    int right = left;
    for (const QModelIndex &i : cells) {
        left = qMin(left, i.column());
        right = qMax(right, i.column());
    }
    QString out;
    int row = cells.first().row();
    QStringList fields(right - left + 1);
    auto endRow = [&] {
        out += fields.join(u'\t') + u'\n';
        fields = QStringList(right - left + 1);
    };
    for (const QModelIndex &i : cells) {
        if (i.row() != row) {
            endRow();
            row = i.row();
        }
        fields[i.column() - left] = tsvField(i.data().toString());
    }
    endRow();
    return out;
}

void LiveGrid::copySelection() const
{
    const QString text = selectionText();
    if (!text.isEmpty())
        QApplication::clipboard()->setText(text);
}

QString LiveGrid::modelText(const QAbstractItemModel *model, bool csv, const QString &rowCaptionTitle)
{
    if (model == nullptr)
        return QString();
    const QString separator = csv ? QStringLiteral(",") : QStringLiteral("\t");
    const QString lineEnd = csv ? QStringLiteral("\r\n") : QStringLiteral("\n");
    auto field = [csv](const QString &text) { return csv ? csvField(text) : tsvField(text); };
    const int rows = model->rowCount();
    const int cols = model->columnCount();
    const bool withRowCaptions = !rowCaptionTitle.isEmpty();
    QString out;
    QStringList fields;
    if (withRowCaptions)
        fields.append(field(rowCaptionTitle));
    for (int c = 0; c < cols; ++c)
        fields.append(field(model->headerData(c, Qt::Horizontal).toString()));
    out += fields.join(separator) + lineEnd;
    for (int r = 0; r < rows; ++r) {
        fields.clear();
        if (withRowCaptions)
            fields.append(field(model->headerData(r, Qt::Vertical).toString()));
        for (int c = 0; c < cols; ++c)
            fields.append(field(model->index(r, c).data().toString()));
        out += fields.join(separator) + lineEnd;
    }
    return out;
}

void LiveGrid::keyPressEvent(QKeyEvent *event)
{
    if (event == QKeySequence::Copy) {
        copySelection();
        event->accept();
        return;
    }
    QTableView::keyPressEvent(event);
}

void LiveGrid::mouseMoveEvent(QMouseEvent *event)
{
    const QPoint at = event->position().toPoint();
    const int row = rowAt(at.y());
    const int col = columnAt(at.x());
    m_mouseRow = row >= 0 && col >= 0 ? row + 1 : -1;
    m_mouseCol = row >= 0 && col >= 0 ? col + 1 : -1;
    QTableView::mouseMoveEvent(event);
}

void LiveGrid::leaveEvent(QEvent *event)
{
    m_mouseRow = -1;
    m_mouseCol = -1;
    QTableView::leaveEvent(event);
}

void LiveGrid::dataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight, const QList<int> &roles)
{
    // A changed range makes the base class repaint the whole grid; values arriving
    // below the visible rows need no paint at all.
    if (topLeft.isValid() && bottomRight.isValid() && topLeft != bottomRight && state() != EditingState) {
        const int top = qMax(topLeft.row(), qMax(0, rowAt(0)));
        const int lastVisible = rowAt(viewport()->height() - 1);
        const int bottom = qMin(bottomRight.row(), lastVisible < 0 ? model()->rowCount() - 1 : lastVisible);
        // Moved columns keep their numbers but not their places: then all of them count.
        const bool moved = horizontalHeader()->sectionsMoved();
        const int left = moved ? topLeft.column() : qMax(topLeft.column(), qMax(0, columnAt(0)));
        const int lastColumn = moved ? -1 : columnAt(viewport()->width() - 1);
        const int right = qMin(bottomRight.column(), lastColumn < 0 ? model()->columnCount() - 1 : lastColumn);
        if (top > bottom || left > right)
            return;
        QTableView::dataChanged(model()->index(top, left), model()->index(bottom, right), roles);
        return;
    }
    QTableView::dataChanged(topLeft, bottomRight, roles);
}

void LiveGrid::paintEvent(QPaintEvent *event)
{
    if (!m_watermark.isEmpty()) {
        QPainter p(viewport());
        QFont font = p.font();
        font.setPointSizeF(font.pointSizeF() * 2.5);
        font.setBold(true);
        p.setFont(font);
        p.setPen(QColor(215, 215, 215));
        p.drawText(viewport()->rect(), Qt::AlignCenter | Qt::TextWordWrap, m_watermark);
    }
    QTableView::paintEvent(event);
}

void LiveGrid::resizeEvent(QResizeEvent *event)
{
    QTableView::resizeEvent(event);
    placeIndicator();
}

void LiveGrid::updateGeometries()
{
    QTableView::updateGeometries();
    placeIndicator();
}

void LiveGrid::placeIndicator()
{
    const int frame = frameWidth();
    m_corner->setGeometry(frame, frame, qMax(8, verticalHeader()->width()), qMax(8, horizontalHeader()->height()));
    m_corner->raise();
}

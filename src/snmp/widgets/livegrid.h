#pragma once

#include "qxmibtreewidgets_export.h"

#include <QColor>
#include <QFont>
#include <QTableView>

#include <functional>

class QAbstractItemModel;

// The grid of the live views (MIBTable, MIBBrowser): a table view over the
// view's model with the flex-grid addressing its hosts use. Grid row 0 is the
// caption row and grid column 0 the row captions; data cells start at 1, so
// grid (r, c) is model index (r - 1, c - 1).
//
// Before a cell or a caption is drawn it asks its formatter, which may change
// the text, the colours and the font. Ctrl+C copies the selection as
// tab-separated text. While a view is busy the top left corner flashes.
class QXMIBTREEWIDGETS_EXPORT LiveGrid : public QTableView
{
    Q_OBJECT

public:
    // Model roles beyond Qt's own.
    enum Role {
        // Pick-list text "#1;up(1)|#2;down(2)" of an enumerated cell: its editor is a list.
        PickListRole = Qt::UserRole + 1,
    };

    // gridRow/gridCol in grid numbering; text, colours and font may be changed.
    using Formatter = std::function<void(int gridRow, int gridCol, QString &text, QColor &fore, QColor &back,
                                         QFont &font)>;

    explicit LiveGrid(QWidget *parent = nullptr);
    ~LiveGrid() override;

    void setFormatter(Formatter formatter);
    bool hasFormatter() const { return bool(m_formatter); }
    void format(int gridRow, int gridCol, QString &text, QColor &fore, QColor &back, QFont &font) const;

    // Text painted faintly across the empty grid.
    QString watermark() const { return m_watermark; }
    void setWatermark(const QString &text);

    // 0 idle, 1 busy (flash on), 2 done.
    int indicator() const { return m_indicator; }
    void setIndicator(int state);

    // The grid cell under the mouse; -1 when the mouse is not over a cell.
    int mouseRow() const { return m_mouseRow; }
    int mouseCol() const { return m_mouseCol; }

    // Grid-numbered access to what the grid shows.
    int gridRows() const;
    int gridCols() const;
    QString gridText(int gridRow, int gridCol) const;
    int currentGridRow() const;
    int currentGridCol() const;
    void setCurrentGridCell(int gridRow, int gridCol);
    int gridRowSel() const;
    int gridColSel() const;
    // Selects the rectangle from the current cell to (gridRow, gridCol).
    void selectTo(int gridRow, int gridCol);
    // The model indexes of the selected cells, in row and column order.
    QModelIndexList selectedCells() const;

    // The selected rectangle's texts, tab-separated, one line per row.
    QString selectionText() const;
    Q_INVOKABLE void copySelection() const;

    // The grid with captions as delimited text: CSV (RFC 4180) or tab-separated.
    // With a row caption title the row captions come first, under that title.
    static QString modelText(const QAbstractItemModel *model, bool csv, const QString &rowCaptionTitle = QString());

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void updateGeometries() override;
    void dataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight,
                     const QList<int> &roles = QList<int>()) override;

private:
    void placeIndicator();

    Formatter m_formatter;
    QString m_watermark;
    int m_indicator = 0;
    int m_mouseRow = -1;
    int m_mouseCol = -1;
    QWidget *m_corner = nullptr;
};

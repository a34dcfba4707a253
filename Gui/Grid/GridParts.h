// The grid control's inner parts: the table model of the value cells, the heading painter with
// its several rows and spans, and the cell painter and editor. Only GridCtrl.cpp uses them.
#pragma once

#include "GridCtrl.h"

#include <QAbstractTableModel>
#include <QHeaderView>
#include <QPersistentModelIndex>
#include <QStyledItemDelegate>

#include <functional>
#include <vector>

// The value cells and row headings, as a Qt table model.
class CGridModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    // A role of setData: the index of the chosen drop-list entry.
    static constexpr int kOptionRole = Qt::UserRole + 1;

    explicit CGridModel(CGridCtrl& grid);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int iRole) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int iRole) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QVariant headerData(int iSection, Qt::Orientation eOrientation, int iRole) const override;

    // Changes the number of rows and columns, keeping what stays. Returns true when it changed.
    bool Resize(int iRows, int iColumns);
    SGridCell& At(int iRow, int iColumn) { return m_cells[static_cast<size_t>(iRow * m_iColumns + iColumn)]; }
    const SGridCell& At(int iRow, int iColumn) const
    {
        return m_cells[static_cast<size_t>(iRow * m_iColumns + iColumn)];
    }
    bool Contains(int iRow, int iColumn) const
    {
        return iRow >= 0 && iRow < m_iRows && iColumn >= 0 && iColumn < m_iColumns;
    }
    std::vector<QString>& RowHeadings() { return m_rowHeadings; }
    // Tells the views that one cell, or everything, changed.
    void CellChanged(int iRow, int iColumn);
    // Tells the views that every cell changed, except the one being edited, whose editor keeps
    // what the user has typed so far.
    void AllChanged(const QModelIndex& editing);
    // While an editor commits, the reports of its change wait until the editor is closed, so an
    // owner that reshapes the grid in answer never pulls the editor from under the view.
    void DeferReports(bool bDefer) { m_bDeferReports = bDefer; }
    void FlushReports();
    void BeginReset() { beginResetModel(); }
    void EndReset() { endResetModel(); }

private:
    CGridCtrl& m_grid;
    int m_iRows = 0;
    int m_iColumns = 0;
    std::vector<SGridCell> m_cells; // row by row
    std::vector<QString> m_rowHeadings;
    bool m_bDeferReports = false;
    std::vector<std::function<void()>> m_pendingReports;

    void Report(std::function<void()> report);
};

// One heading cell: its place, spans and looks.
struct SGridHeading
{
    int iRow = 0;
    int iColumn = 0;
    int iColumnSpan = 1;
    int iRowSpan = 1;
    QString strText;
    QColor crColour;
    QString strToolTip;

    bool Covers(int iAtRow, int iAtColumn) const
    {
        return iAtRow >= iRow && iAtRow < iRow + iRowSpan && iAtColumn >= iColumn &&
               iAtColumn < iColumn + iColumnSpan;
    }
};

// The heading area above the columns: several rows of heading cells, painted over the sections
// of a horizontal header so that they scroll and size with the columns.
class CGridHeader : public QHeaderView
{
    Q_OBJECT
public:
    explicit CGridHeader(QWidget* pParent);

    void SetRowCount(int iRows);
    int RowCount() const { return m_iRows; }
    // The heading that covers (row, column), or nullptr.
    const SGridHeading* At(int iRow, int iColumn) const;
    SGridHeading* At(int iRow, int iColumn);
    // Places a heading cell, removing those it overlaps.
    SGridHeading& Place(int iRow, int iColumn, int iColumnSpan, int iRowSpan);
    // Drops heading cells that start at or beyond a column count.
    void Trim(int iColumns);
    void Clear();
    const std::vector<SGridHeading>& Headings() const { return m_headings; }
    std::vector<QString>& ColumnToolTips() { return m_columnToolTips; }

    // The width a heading's text needs, margins included.
    int TextWidth(const SGridHeading& heading) const;
    // Sets the heights of the heading rows from the line counts of their texts.
    void ComputeRowHeights();
    int TotalHeight() const;
    // The heading cell's rectangle in the header's viewport.
    QRect HeadingRect(const SGridHeading& heading) const;
    QString ToolTipAt(const QPoint& point) const;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* pEvent) override;
    bool viewportEvent(QEvent* pEvent) override;

private:
    int m_iRows = 1;
    std::vector<SGridHeading> m_headings;
    std::vector<QString> m_columnToolTips;
    std::vector<int> m_rowHeights;
};

// Paints the value cells (background, text, drop-list arrow, button, check box) and makes their
// editors (a line edit for text, a combo box for drop lists).
class CGridDelegate : public QStyledItemDelegate
{
    Q_OBJECT
public:
    CGridDelegate(CGridCtrl& grid, CGridModel& model);

    void paint(QPainter* pPainter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QWidget* createEditor(QWidget* pParent, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const override;
    void setEditorData(QWidget* pEditor, const QModelIndex& index) const override;
    void setModelData(QWidget* pEditor, QAbstractItemModel* pModel, const QModelIndex& index) const override;
    void updateEditorGeometry(QWidget* pEditor, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const override;
    bool editorEvent(QEvent* pEvent, QAbstractItemModel* pModel, const QStyleOptionViewItem& option,
                     const QModelIndex& index) override;

    // The width a cell's content needs, margins included.
    int ContentWidth(const SGridCell& cell, const QFontMetrics& metrics) const;

private:
    CGridCtrl& m_grid;
    CGridModel& m_model;
    QPersistentModelIndex m_pressed; // the button cell under a held mouse button
};

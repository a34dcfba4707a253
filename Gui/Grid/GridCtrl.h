// The grid control: a spreadsheet-like editor that the device tools show their tables in.
//
// It knows nothing of what it shows. Its owner gives it
//   - columns, each with a minimum width in pixels (a column grows to show its heading lines and
//     its cells' text unclipped, never shrinks below what was asked);
//   - heading rows above the values: each heading cell has text (lines split at '\n'), a colour,
//     a tool tip, and may span several columns (a group heading such as "Transmitter" over three
//     columns) or several heading rows (a column heading beside a row of group headings);
//   - value rows, each with a row heading ("Compare", "Mask", a lane number);
//   - cells: text, text colour, background colour, read-only, a tool tip, and a kind: plain text
//     (edited in place), a drop list of (value, text) entries, a push button, or a check box.
// The user's changes come back as signals after the grid has taken them into the cell: the owner
// decides what they mean and sets the cell's text and colours again (typically by rebuilding the
// whole grid from its own model between BeginUpdate and EndUpdate, which is cheap).
//
// Keyboard: arrows move, Tab moves right (Shift+Tab left), Enter or F2 edits the current cell (or
// opens its drop list, presses its button, toggles its box), typing starts an edit with that
// character, Esc cancels an edit. An edit ends and is reported on Enter, Tab or loss of focus.
#pragma once

#include <QColor>
#include <QString>
#include <QTableView>

#include <cstdint>
#include <vector>

class CGridModel;
class CGridHeader;
class CGridDelegate;

// One entry of a cell's drop list: the owner's value and the text shown.
struct SGridOption
{
    int64_t llValue = 0;
    QString strText;
};

// What a value cell is.
enum class EGridCellKind
{
    eText,     // text, edited in place unless read-only
    eDropList, // text of the chosen option; a drop list to choose another
    eButton,   // a push button with the cell's text as caption
    eCheck,    // a check box (the text, if any, is drawn beside it)
};

// Everything about one value cell. An invalid colour means the grid's default (white background,
// light grey for read-only cells; the palette's text colour).
struct SGridCell
{
    EGridCellKind eKind = EGridCellKind::eText;
    QString strText;
    QColor crText;
    QColor crBackground;
    bool bReadOnly = false;
    QString strToolTip;
    std::vector<SGridOption> options; // eDropList: the entries, in order
    int iSelected = -1;               // eDropList: the chosen entry, -1 for none
    bool bChecked = false;            // eCheck: the box's state
};

// A colour given as a Windows-style colour value 0x00BBGGRR (so 255 is red).
QColor GridColourFromRef(uint32_t ulColourRef);

class CGridCtrl : public QTableView
{
    Q_OBJECT
public:
    explicit CGridCtrl(QWidget* pParent = nullptr);
    ~CGridCtrl() override;

    // --- Shape -----------------------------------------------------------------------------------
    // Sets the number of columns, heading rows and value rows. Cells, headings and widths of the
    // places that remain are kept; new ones start empty.
    void SetShape(int iColumns, int iHeadingRows, int iRows);
    void SetColumnCount(int iColumns);
    void SetHeadingRowCount(int iHeadingRows);
    void SetRowCount(int iRows);
    int ColumnCount() const;
    int HeadingRowCount() const;
    int RowCount() const;
    // Drops every heading, cell and width, leaving an empty grid of the same shape.
    void ClearAll();

    // The least width of a column in pixels (default 50).
    void SetColumnWidth(int iColumn, int iWidth);
    // The width the column is shown with: at least the asked width, and wide enough for its
    // heading lines and its cells' text.
    int ColumnWidth(int iColumn) const;

    // --- Headings --------------------------------------------------------------------------------
    // A heading cell at (heading row, first column), covering iColumnSpan columns and iRowSpan
    // heading rows. It replaces any heading cell that overlapped that area, keeping the colour and
    // tool tip of one that started at the same place.
    void SetHeading(int iHeadingRow, int iColumn, const QString& strText, int iColumnSpan = 1,
                    int iRowSpan = 1);
    // The heading cell's colour; an invalid colour returns it to the default.
    void SetHeadingColour(int iHeadingRow, int iColumn, const QColor& crColour);
    // The same colour for every heading cell that starts in the column.
    void SetColumnHeadingColour(int iColumn, const QColor& crColour);
    void SetHeadingToolTip(int iHeadingRow, int iColumn, const QString& strToolTip);
    // The tool tip shown over any heading cell of the column that has none of its own.
    void SetColumnToolTip(int iColumn, const QString& strToolTip);
    // The text of the heading cell that covers (heading row, column), empty when none does.
    QString HeadingText(int iHeadingRow, int iColumn) const;
    // The text in the top-left corner, above the row headings.
    void SetCornerText(const QString& strText);
    QString CornerText() const { return m_strCornerText; }

    // --- Rows ------------------------------------------------------------------------------------
    void SetRowHeading(int iRow, const QString& strText);
    QString RowHeading(int iRow) const;

    // --- Cells -----------------------------------------------------------------------------------
    void SetCell(int iRow, int iColumn, const SGridCell& cell);
    const SGridCell& Cell(int iRow, int iColumn) const;
    void SetCellText(int iRow, int iColumn, const QString& strText);
    QString CellText(int iRow, int iColumn) const;
    void SetCellColours(int iRow, int iColumn, const QColor& crText, const QColor& crBackground);
    void SetCellReadOnly(int iRow, int iColumn, bool bReadOnly);
    void SetCellToolTip(int iRow, int iColumn, const QString& strToolTip);
    // Makes the cell a drop list; the cell shows the chosen entry's text (or nothing).
    void SetCellOptions(int iRow, int iColumn, const std::vector<SGridOption>& options, int iSelected);
    // Makes the cell a push button with the caption.
    void SetCellButton(int iRow, int iColumn, const QString& strCaption);
    // Makes the cell a check box.
    void SetCellCheck(int iRow, int iColumn, bool bChecked);
    bool IsCellChecked(int iRow, int iColumn) const;

    // --- Rebuilding ------------------------------------------------------------------------------
    // Between BeginUpdate and EndUpdate the setters only record; EndUpdate lays the grid out and
    // repaints once. Calls nest. An edit in progress survives a rebuild that keeps the number of
    // rows and columns (a timed refresh doesn't disturb the user's typing); a change of shape ends
    // it without a report. A rebuild from inside one of the signals below is safe.
    void BeginUpdate();
    void EndUpdate();

    // --- Geometry, for owners that place things beside the grid, and for tests ---------------------
    // The heading cell covering (heading row, column), in the grid widget's coordinates; an empty
    // rectangle when no heading cell covers it or it is scrolled out of sight.
    QRect HeadingRect(int iHeadingRow, int iColumn) const;
    // A value cell, in the grid widget's coordinates.
    QRect CellRect(int iRow, int iColumn) const;
    // The tool tip the heading shows at a point of the grid widget, empty when none.
    QString HeadingToolTipAt(const QPoint& point) const;
    // The height of the heading area.
    int HeadingHeight() const;
    // The size that shows every column and row without scroll bars.
    QSize FullSize() const;
    QSize sizeHint() const override;

    // Starts editing the cell as the user would by F2 (opens the drop list, presses the button,
    // toggles the box). Returns false for a read-only cell.
    bool EditCell(int iRow, int iColumn);
    // True while a cell's editor (text or drop list) is open.
    bool IsEditing() const { return state() == QAbstractItemView::EditingState; }

signals:
    // A text cell's edit ended by Enter, Tab or loss of focus, with the text typed (the cell
    // already holds it).
    void CellEdited(int iRow, int iColumn, const QString& strText);
    // An entry of a drop list was chosen (the cell already shows it).
    void OptionChosen(int iRow, int iColumn, int iIndex);
    // A button cell was pressed.
    void ButtonClicked(int iRow, int iColumn);
    // A check-box cell was toggled (the cell already holds the new state).
    void CheckToggled(int iRow, int iColumn, bool bChecked);
    // A value cell was double-clicked (read-only cells too).
    void CellDoubleClicked(int iRow, int iColumn);

protected:
    void keyPressEvent(QKeyEvent* pEvent) override;
    void mouseDoubleClickEvent(QMouseEvent* pEvent) override;
    bool eventFilter(QObject* pObject, QEvent* pEvent) override;
    void commitData(QWidget* pEditor) override;
    void closeEditor(QWidget* pEditor, QAbstractItemDelegate::EndEditHint eHint) override;

private:
    friend class CGridModel;
    friend class CGridDelegate;

    // Lays out columns, heading rows and value rows again (at EndUpdate when inside an update).
    // With a column given, only that column's own content is measured again.
    void Relayout(int iColumn = -1);
    void FitColumns(int iColumn);
    void PaintCorner();
    bool ValidColumn(int iColumn) const;
    bool ValidCell(int iRow, int iColumn) const;
    bool ValidHeading(int iHeadingRow, int iColumn) const;

    CGridModel* m_pModel = nullptr;
    CGridHeader* m_pHeader = nullptr;
    CGridDelegate* m_pDelegate = nullptr;
    int m_iUpdateDepth = 0;
    bool m_bLayoutPending = false;
    std::vector<int> m_minWidths;     // per column, as the owner asked
    std::vector<int> m_contentWidths; // per column, what its own headings and cells need
    QString m_strCornerText;
    QWidget* m_pCorner = nullptr;
};

// The grid control: a table view over the grid's model, with the multi-row heading, the cell
// painter and editors, spreadsheet keys, and one layout pass per rebuild.
#include "GridCtrl.h"

#include "GridParts.h"

#include <QAbstractButton>
#include <QKeyEvent>
#include <QPainter>
#include <QtGlobal>

#include <algorithm>

namespace
{
constexpr int kDefaultColumnWidth = 50;
constexpr int kRowHeadingMargin = 6; // each side of a row heading's text
const QColor kCornerColour(0xE4, 0xE4, 0xE4);
const QColor kCornerLineColour(0xA0, 0xA0, 0xA0);
} // namespace

QColor GridColourFromRef(uint32_t ulColourRef)
{
    return QColor(static_cast<int>(ulColourRef & 0xFF), static_cast<int>((ulColourRef >> 8) & 0xFF),
                  static_cast<int>((ulColourRef >> 16) & 0xFF));
}

CGridCtrl::CGridCtrl(QWidget* pParent) : QTableView(pParent)
{
    m_pModel = new CGridModel(*this);
    m_pHeader = new CGridHeader(this);
    setHorizontalHeader(m_pHeader);
    setModel(m_pModel);
    m_pDelegate = new CGridDelegate(*this, *m_pModel);
    setItemDelegate(m_pDelegate);

    setSelectionMode(QAbstractItemView::SingleSelection);
    setSelectionBehavior(QAbstractItemView::SelectItems);
    setEditTriggers(QAbstractItemView::SelectedClicked | QAbstractItemView::EditKeyPressed |
                    QAbstractItemView::AnyKeyPressed);
    setTabKeyNavigation(true);
    setWordWrap(false);
    setCornerButtonEnabled(false);
    setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);

    QHeaderView* pRows = verticalHeader();
    pRows->setSectionResizeMode(QHeaderView::Fixed);
    pRows->setSectionsClickable(false);
    pRows->setHighlightSections(false);
    pRows->setDefaultAlignment(Qt::AlignCenter);

    // The corner above the row headings shows the corner text.
    m_pCorner = findChild<QAbstractButton*>();
    if (m_pCorner)
        m_pCorner->installEventFilter(this);
    m_pHeader->SetRowCount(1);
    Relayout();
}

CGridCtrl::~CGridCtrl() = default;

// --- Shape -------------------------------------------------------------------------------------

void CGridCtrl::SetShape(int iColumns, int iHeadingRows, int iRows)
{
    iColumns = std::max(0, iColumns);
    iRows = std::max(0, iRows);
    if (iRows != m_pModel->rowCount() || iColumns != m_pModel->columnCount())
    {
        // A change of shape is told to the view at once, even inside an update, so that it never
        // looks at cells that are gone.
        m_pModel->BeginReset();
        m_pModel->Resize(iRows, iColumns);
        m_minWidths.resize(static_cast<size_t>(iColumns), kDefaultColumnWidth);
        m_contentWidths.resize(static_cast<size_t>(iColumns), 0);
        m_pHeader->Trim(iColumns);
        m_pModel->EndReset();
    }
    if (iHeadingRows != m_pHeader->RowCount())
        m_pHeader->SetRowCount(iHeadingRows);
    Relayout();
}

void CGridCtrl::SetColumnCount(int iColumns)
{
    SetShape(iColumns, HeadingRowCount(), RowCount());
}

void CGridCtrl::SetHeadingRowCount(int iHeadingRows)
{
    SetShape(ColumnCount(), iHeadingRows, RowCount());
}

void CGridCtrl::SetRowCount(int iRows)
{
    SetShape(ColumnCount(), HeadingRowCount(), iRows);
}

int CGridCtrl::ColumnCount() const
{
    return m_pModel->columnCount();
}

int CGridCtrl::HeadingRowCount() const
{
    return m_pHeader->RowCount();
}

int CGridCtrl::RowCount() const
{
    return m_pModel->rowCount();
}

void CGridCtrl::ClearAll()
{
    for (int r = 0; r < RowCount(); ++r)
        for (int c = 0; c < ColumnCount(); ++c)
            m_pModel->At(r, c) = SGridCell();
    std::fill(m_pModel->RowHeadings().begin(), m_pModel->RowHeadings().end(), QString());
    std::fill(m_minWidths.begin(), m_minWidths.end(), kDefaultColumnWidth);
    m_pHeader->Clear();
    m_strCornerText.clear();
    if (m_iUpdateDepth == 0)
        m_pModel->AllChanged(QModelIndex());
    Relayout();
}

void CGridCtrl::SetColumnWidth(int iColumn, int iWidth)
{
    if (!ValidColumn(iColumn))
        return;
    m_minWidths[static_cast<size_t>(iColumn)] = std::max(1, iWidth);
    Relayout(iColumn);
}

int CGridCtrl::ColumnWidth(int iColumn) const
{
    return ValidColumn(iColumn) ? columnWidth(iColumn) : 0;
}

// --- Headings ----------------------------------------------------------------------------------

void CGridCtrl::SetHeading(int iHeadingRow, int iColumn, const QString& strText, int iColumnSpan,
                           int iRowSpan)
{
    if (!ValidHeading(iHeadingRow, iColumn))
        return;
    iColumnSpan = std::clamp(iColumnSpan, 1, ColumnCount() - iColumn);
    iRowSpan = std::clamp(iRowSpan, 1, HeadingRowCount() - iHeadingRow);
    m_pHeader->Place(iHeadingRow, iColumn, iColumnSpan, iRowSpan).strText = strText;
    Relayout();
}

void CGridCtrl::SetHeadingColour(int iHeadingRow, int iColumn, const QColor& crColour)
{
    if (!ValidHeading(iHeadingRow, iColumn))
        return;
    SGridHeading* pHeading = m_pHeader->At(iHeadingRow, iColumn);
    if (!pHeading)
        pHeading = &m_pHeader->Place(iHeadingRow, iColumn, 1, 1);
    pHeading->crColour = crColour;
    if (m_iUpdateDepth == 0)
        m_pHeader->viewport()->update();
}

void CGridCtrl::SetColumnHeadingColour(int iColumn, const QColor& crColour)
{
    if (!ValidColumn(iColumn))
        return;
    for (int r = 0; r < HeadingRowCount(); ++r)
        if (const SGridHeading* pHeading = m_pHeader->At(r, iColumn);
            !pHeading || pHeading->iColumn == iColumn)
            SetHeadingColour(r, iColumn, crColour);
}

void CGridCtrl::SetHeadingToolTip(int iHeadingRow, int iColumn, const QString& strToolTip)
{
    if (!ValidHeading(iHeadingRow, iColumn))
        return;
    SGridHeading* pHeading = m_pHeader->At(iHeadingRow, iColumn);
    if (!pHeading)
        pHeading = &m_pHeader->Place(iHeadingRow, iColumn, 1, 1);
    pHeading->strToolTip = strToolTip;
}

void CGridCtrl::SetColumnToolTip(int iColumn, const QString& strToolTip)
{
    if (!ValidColumn(iColumn))
        return;
    m_pHeader->ColumnToolTips()[static_cast<size_t>(iColumn)] = strToolTip;
}

QString CGridCtrl::HeadingText(int iHeadingRow, int iColumn) const
{
    const SGridHeading* pHeading = m_pHeader->At(iHeadingRow, iColumn);
    return pHeading ? pHeading->strText : QString();
}

void CGridCtrl::SetCornerText(const QString& strText)
{
    m_strCornerText = strText;
    Relayout();
}

// --- Rows and cells ------------------------------------------------------------------------------

void CGridCtrl::SetRowHeading(int iRow, const QString& strText)
{
    if (iRow < 0 || iRow >= RowCount())
    {
        qWarning("CGridCtrl: row %d outside 0..%d", iRow, RowCount() - 1);
        return;
    }
    m_pModel->RowHeadings()[static_cast<size_t>(iRow)] = strText;
    if (m_iUpdateDepth == 0)
        emit m_pModel->headerDataChanged(Qt::Vertical, iRow, iRow);
    Relayout(-2);
}

QString CGridCtrl::RowHeading(int iRow) const
{
    return iRow >= 0 && iRow < RowCount() ? m_pModel->RowHeadings()[static_cast<size_t>(iRow)] : QString();
}

void CGridCtrl::SetCell(int iRow, int iColumn, const SGridCell& cell)
{
    if (!ValidCell(iRow, iColumn))
        return;
    m_pModel->At(iRow, iColumn) = cell;
    m_pModel->CellChanged(iRow, iColumn);
    Relayout(iColumn);
}

const SGridCell& CGridCtrl::Cell(int iRow, int iColumn) const
{
    static const SGridCell s_none;
    return ValidCell(iRow, iColumn) ? m_pModel->At(iRow, iColumn) : s_none;
}

void CGridCtrl::SetCellText(int iRow, int iColumn, const QString& strText)
{
    if (!ValidCell(iRow, iColumn))
        return;
    m_pModel->At(iRow, iColumn).strText = strText;
    m_pModel->CellChanged(iRow, iColumn);
    Relayout(iColumn);
}

QString CGridCtrl::CellText(int iRow, int iColumn) const
{
    return Cell(iRow, iColumn).strText;
}

void CGridCtrl::SetCellColours(int iRow, int iColumn, const QColor& crText, const QColor& crBackground)
{
    if (!ValidCell(iRow, iColumn))
        return;
    SGridCell& cell = m_pModel->At(iRow, iColumn);
    cell.crText = crText;
    cell.crBackground = crBackground;
    m_pModel->CellChanged(iRow, iColumn);
}

void CGridCtrl::SetCellReadOnly(int iRow, int iColumn, bool bReadOnly)
{
    if (!ValidCell(iRow, iColumn))
        return;
    m_pModel->At(iRow, iColumn).bReadOnly = bReadOnly;
    m_pModel->CellChanged(iRow, iColumn);
}

void CGridCtrl::SetCellToolTip(int iRow, int iColumn, const QString& strToolTip)
{
    if (!ValidCell(iRow, iColumn))
        return;
    m_pModel->At(iRow, iColumn).strToolTip = strToolTip;
}

void CGridCtrl::SetCellOptions(int iRow, int iColumn, const std::vector<SGridOption>& options, int iSelected)
{
    if (!ValidCell(iRow, iColumn))
        return;
    SGridCell& cell = m_pModel->At(iRow, iColumn);
    cell.eKind = EGridCellKind::eDropList;
    cell.options = options;
    cell.iSelected = iSelected >= 0 && iSelected < static_cast<int>(options.size()) ? iSelected : -1;
    cell.strText = cell.iSelected >= 0 ? options[static_cast<size_t>(cell.iSelected)].strText : QString();
    m_pModel->CellChanged(iRow, iColumn);
    Relayout(iColumn);
}

void CGridCtrl::SetCellButton(int iRow, int iColumn, const QString& strCaption)
{
    if (!ValidCell(iRow, iColumn))
        return;
    SGridCell& cell = m_pModel->At(iRow, iColumn);
    cell.eKind = EGridCellKind::eButton;
    cell.strText = strCaption;
    m_pModel->CellChanged(iRow, iColumn);
    Relayout(iColumn);
}

void CGridCtrl::SetCellCheck(int iRow, int iColumn, bool bChecked)
{
    if (!ValidCell(iRow, iColumn))
        return;
    SGridCell& cell = m_pModel->At(iRow, iColumn);
    cell.eKind = EGridCellKind::eCheck;
    cell.bChecked = bChecked;
    m_pModel->CellChanged(iRow, iColumn);
    Relayout(iColumn);
}

bool CGridCtrl::IsCellChecked(int iRow, int iColumn) const
{
    return Cell(iRow, iColumn).bChecked;
}

// --- Rebuilding and layout -----------------------------------------------------------------------

void CGridCtrl::BeginUpdate()
{
    ++m_iUpdateDepth;
}

void CGridCtrl::EndUpdate()
{
    if (m_iUpdateDepth == 0 || --m_iUpdateDepth > 0)
        return;
    m_pModel->AllChanged(IsEditing() ? currentIndex() : QModelIndex());
    m_bLayoutPending = false;
    Relayout();
    m_pHeader->viewport()->update();
}

void CGridCtrl::Relayout(int iColumn)
{
    if (m_iUpdateDepth > 0)
    {
        m_bLayoutPending = true;
        return;
    }
    // -2: only the row headings changed.
    if (iColumn != -2)
        FitColumns(iColumn);

    // Row headings: as wide as the widest and the corner text; hidden when there are none.
    const QFontMetrics rowMetrics(verticalHeader()->font());
    int iRowHeadingWidth = m_strCornerText.isEmpty() ? 0 : rowMetrics.horizontalAdvance(m_strCornerText);
    bool bAnyRowHeading = !m_strCornerText.isEmpty();
    for (const QString& strHeading : m_pModel->RowHeadings())
    {
        bAnyRowHeading = bAnyRowHeading || !strHeading.isEmpty();
        iRowHeadingWidth = std::max(iRowHeadingWidth, rowMetrics.horizontalAdvance(strHeading));
    }
    verticalHeader()->setVisible(bAnyRowHeading);
    verticalHeader()->setMinimumWidth(iRowHeadingWidth + 2 * kRowHeadingMargin);

    // Value rows: the most lines of text any cell has, or a check box, or a button, whichever is
    // highest.
    const QFontMetrics metrics(font());
    const int iIndicator = style()->pixelMetric(QStyle::PM_IndicatorHeight, nullptr, this);
    qsizetype nLines = 1;
    for (int r = 0; r < RowCount(); ++r)
        for (int c = 0; c < ColumnCount(); ++c)
            nLines = std::max(nLines, m_pModel->At(r, c).strText.count(QLatin1Char('\n')) + 1);
    const int iRowHeight = std::max(metrics.height() * static_cast<int>(nLines) + 10, iIndicator + 8);
    verticalHeader()->setMinimumSectionSize(iRowHeight);
    verticalHeader()->setDefaultSectionSize(iRowHeight);

    if (iColumn == -1)
    {
        m_pHeader->ComputeRowHeights();
        m_pHeader->updateGeometry();
    }
    updateGeometries();
    m_pHeader->viewport()->update();
    if (m_pCorner)
        m_pCorner->update();
    updateGeometry();
}

void CGridCtrl::FitColumns(int iColumn)
{
    const int iColumns = ColumnCount();
    const QFontMetrics metrics(font());
    const int iFirst = iColumn >= 0 ? iColumn : 0;
    const int iLast = iColumn >= 0 ? iColumn : iColumns - 1;
    // Each column's own needs: the headings over it alone, and its cells.
    for (int c = iFirst; c <= iLast && c < iColumns; ++c)
    {
        int iWidth = 0;
        for (const SGridHeading& heading : m_pHeader->Headings())
            if (heading.iColumn == c && heading.iColumnSpan == 1)
                iWidth = std::max(iWidth, m_pHeader->TextWidth(heading));
        for (int r = 0; r < RowCount(); ++r)
            iWidth = std::max(iWidth, m_pDelegate->ContentWidth(m_pModel->At(r, c), metrics));
        m_contentWidths[static_cast<size_t>(c)] = iWidth;
    }
    std::vector<int> widths(static_cast<size_t>(iColumns));
    for (int c = 0; c < iColumns; ++c)
        widths[static_cast<size_t>(c)] =
            std::max(m_minWidths[static_cast<size_t>(c)], m_contentWidths[static_cast<size_t>(c)]);
    // A group heading wider than its columns shares what it lacks out among them.
    for (const SGridHeading& heading : m_pHeader->Headings())
    {
        if (heading.iColumnSpan < 2)
            continue;
        int iHave = 0;
        for (int c = heading.iColumn; c < heading.iColumn + heading.iColumnSpan; ++c)
            iHave += widths[static_cast<size_t>(c)];
        const int iLack = m_pHeader->TextWidth(heading) - iHave;
        for (int i = 0; iLack > 0 && i < heading.iColumnSpan; ++i)
            widths[static_cast<size_t>(heading.iColumn + i)] +=
                iLack / heading.iColumnSpan + (i < iLack % heading.iColumnSpan ? 1 : 0);
    }
    for (int c = 0; c < iColumns; ++c)
        if (columnWidth(c) != widths[static_cast<size_t>(c)])
            setColumnWidth(c, widths[static_cast<size_t>(c)]);
}

// --- Geometry ------------------------------------------------------------------------------------

QRect CGridCtrl::HeadingRect(int iHeadingRow, int iColumn) const
{
    const SGridHeading* pHeading = m_pHeader->At(iHeadingRow, iColumn);
    if (!pHeading)
        return {};
    const QRect rect = m_pHeader->HeadingRect(*pHeading);
    if (rect.isEmpty())
        return {};
    return rect.translated(m_pHeader->viewport()->mapTo(this, QPoint(0, 0)));
}

QRect CGridCtrl::CellRect(int iRow, int iColumn) const
{
    if (!ValidCell(iRow, iColumn))
        return {};
    return visualRect(m_pModel->index(iRow, iColumn)).translated(viewport()->mapTo(this, QPoint(0, 0)));
}

QString CGridCtrl::HeadingToolTipAt(const QPoint& point) const
{
    return m_pHeader->ToolTipAt(m_pHeader->viewport()->mapFrom(this, point));
}

int CGridCtrl::HeadingHeight() const
{
    return m_pHeader->TotalHeight();
}

QSize CGridCtrl::FullSize() const
{
    int iWidth = 2 * frameWidth();
    if (!verticalHeader()->isHidden())
        iWidth += std::max(verticalHeader()->minimumWidth(), verticalHeader()->sizeHint().width());
    for (int c = 0; c < ColumnCount(); ++c)
        iWidth += columnWidth(c);
    int iHeight = 2 * frameWidth() + HeadingHeight();
    for (int r = 0; r < RowCount(); ++r)
        iHeight += rowHeight(r);
    return QSize(iWidth, iHeight);
}

QSize CGridCtrl::sizeHint() const
{
    return FullSize();
}

// --- User input ----------------------------------------------------------------------------------

bool CGridCtrl::EditCell(int iRow, int iColumn)
{
    if (!ValidCell(iRow, iColumn))
        return false;
    const SGridCell& cell = m_pModel->At(iRow, iColumn);
    if (cell.bReadOnly)
        return false;
    const QModelIndex index = m_pModel->index(iRow, iColumn);
    setCurrentIndex(index);
    switch (cell.eKind)
    {
    case EGridCellKind::eText:
    case EGridCellKind::eDropList:
        edit(index);
        return state() == QAbstractItemView::EditingState;
    case EGridCellKind::eButton:
        emit ButtonClicked(iRow, iColumn);
        return true;
    case EGridCellKind::eCheck:
        return m_pModel->setData(index, cell.bChecked ? Qt::Unchecked : Qt::Checked, Qt::CheckStateRole);
    }
    return false;
}

void CGridCtrl::keyPressEvent(QKeyEvent* pEvent)
{
    const QModelIndex current = currentIndex();
    if (state() != QAbstractItemView::EditingState && current.isValid() &&
        pEvent->modifiers() == Qt::NoModifier)
    {
        const EGridCellKind eKind = m_pModel->At(current.row(), current.column()).eKind;
        const int iKey = pEvent->key();
        const bool bEditKey = iKey == Qt::Key_Return || iKey == Qt::Key_Enter || iKey == Qt::Key_F2;
        const bool bPressKey =
            iKey == Qt::Key_Space && (eKind == EGridCellKind::eButton || eKind == EGridCellKind::eCheck);
        if (bEditKey || bPressKey)
        {
            EditCell(current.row(), current.column());
            pEvent->accept();
            return;
        }
    }
    QTableView::keyPressEvent(pEvent);
}

void CGridCtrl::mouseDoubleClickEvent(QMouseEvent* pEvent)
{
    const QPersistentModelIndex index = indexAt(pEvent->position().toPoint());
    QTableView::mouseDoubleClickEvent(pEvent);
    if (index.isValid() && pEvent->button() == Qt::LeftButton)
        emit CellDoubleClicked(index.row(), index.column());
}

void CGridCtrl::commitData(QWidget* pEditor)
{
    m_pModel->DeferReports(true);
    QTableView::commitData(pEditor);
    m_pModel->DeferReports(false);
}

void CGridCtrl::closeEditor(QWidget* pEditor, QAbstractItemDelegate::EndEditHint eHint)
{
    // Tab ends an edit and moves on, as in a spreadsheet, without opening the next cell's editor.
    if (eHint == QAbstractItemDelegate::EditNextItem || eHint == QAbstractItemDelegate::EditPreviousItem)
    {
        QTableView::closeEditor(pEditor, QAbstractItemDelegate::NoHint);
        const QModelIndex next = moveCursor(
            eHint == QAbstractItemDelegate::EditNextItem ? MoveNext : MovePrevious, Qt::NoModifier);
        if (next.isValid())
            setCurrentIndex(next);
    }
    else
        QTableView::closeEditor(pEditor, eHint);
    // The editor is gone: now the owner may hear of the change, and rebuild as it likes.
    m_pModel->FlushReports();
}

bool CGridCtrl::eventFilter(QObject* pObject, QEvent* pEvent)
{
    if (pObject == m_pCorner && pEvent->type() == QEvent::Paint)
    {
        PaintCorner();
        return true;
    }
    return QTableView::eventFilter(pObject, pEvent);
}

void CGridCtrl::PaintCorner()
{
    QPainter painter(m_pCorner);
    const QRect rect = m_pCorner->rect();
    painter.fillRect(rect, kCornerColour);
    painter.setPen(kCornerLineColour);
    painter.drawLine(rect.topRight(), rect.bottomRight());
    painter.drawLine(rect.bottomLeft(), rect.bottomRight());
    painter.setPen(palette().color(QPalette::ButtonText));
    painter.setFont(verticalHeader()->font());
    painter.drawText(rect, Qt::AlignCenter, m_strCornerText);
}

// --- Argument checks -------------------------------------------------------------------------------

bool CGridCtrl::ValidColumn(int iColumn) const
{
    if (iColumn >= 0 && iColumn < ColumnCount())
        return true;
    qWarning("CGridCtrl: column %d outside 0..%d", iColumn, ColumnCount() - 1);
    return false;
}

bool CGridCtrl::ValidCell(int iRow, int iColumn) const
{
    if (m_pModel->Contains(iRow, iColumn))
        return true;
    qWarning("CGridCtrl: cell (%d, %d) outside %d x %d", iRow, iColumn, RowCount(), ColumnCount());
    return false;
}

bool CGridCtrl::ValidHeading(int iHeadingRow, int iColumn) const
{
    if (iHeadingRow >= 0 && iHeadingRow < HeadingRowCount() && iColumn >= 0 && iColumn < ColumnCount())
        return true;
    qWarning("CGridCtrl: heading (%d, %d) outside %d x %d", iHeadingRow, iColumn, HeadingRowCount(),
             ColumnCount());
    return false;
}

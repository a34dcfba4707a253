// The grid's value cells as a table model. Changes the user makes are taken into the cell first and
// then reported through the grid's signals, so an owner that ignores a signal still sees the cell
// as the user left it, and an owner that rebuilds overwrites it.
#include "GridParts.h"

#include <QBrush>

CGridModel::CGridModel(CGridCtrl& grid) : QAbstractTableModel(&grid), m_grid(grid) {}

int CGridModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_iRows;
}

int CGridModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_iColumns;
}

QVariant CGridModel::data(const QModelIndex& index, int iRole) const
{
    if (!index.isValid() || !Contains(index.row(), index.column()))
        return {};
    const SGridCell& cell = At(index.row(), index.column());
    switch (iRole)
    {
    case Qt::DisplayRole:
    case Qt::EditRole:
        return cell.strText;
    case Qt::ToolTipRole:
        return cell.strToolTip.isEmpty() ? QVariant() : QVariant(cell.strToolTip);
    case Qt::ForegroundRole:
        return cell.crText.isValid() ? QVariant(QBrush(cell.crText)) : QVariant();
    case Qt::BackgroundRole:
        return cell.crBackground.isValid() ? QVariant(QBrush(cell.crBackground)) : QVariant();
    case Qt::CheckStateRole:
        if (cell.eKind == EGridCellKind::eCheck)
            return cell.bChecked ? Qt::Checked : Qt::Unchecked;
        return {};
    case kOptionRole:
        return cell.iSelected;
    default:
        return {};
    }
}

bool CGridModel::setData(const QModelIndex& index, const QVariant& value, int iRole)
{
    if (!index.isValid() || !Contains(index.row(), index.column()))
        return false;
    const int iRow = index.row();
    const int iColumn = index.column();
    SGridCell& cell = At(iRow, iColumn);
    if (cell.bReadOnly)
        return false;
    switch (cell.eKind)
    {
    case EGridCellKind::eText:
        if (iRole != Qt::EditRole)
            return false;
        cell.strText = value.toString();
        CellChanged(iRow, iColumn);
        Report([this, iRow, iColumn, strText = value.toString()]
               { emit m_grid.CellEdited(iRow, iColumn, strText); });
        return true;
    case EGridCellKind::eDropList:
    {
        const int iIndex = value.toInt();
        if (iRole != kOptionRole || iIndex < 0 || iIndex >= static_cast<int>(cell.options.size()))
            return false;
        cell.iSelected = iIndex;
        cell.strText = cell.options[static_cast<size_t>(iIndex)].strText;
        CellChanged(iRow, iColumn);
        Report([this, iRow, iColumn, iIndex] { emit m_grid.OptionChosen(iRow, iColumn, iIndex); });
        return true;
    }
    case EGridCellKind::eCheck:
    {
        if (iRole != Qt::CheckStateRole)
            return false;
        const bool bChecked = value.toInt() == Qt::Checked;
        cell.bChecked = bChecked;
        CellChanged(iRow, iColumn);
        Report([this, iRow, iColumn, bChecked] { emit m_grid.CheckToggled(iRow, iColumn, bChecked); });
        return true;
    }
    case EGridCellKind::eButton:
        return false;
    }
    return false;
}

Qt::ItemFlags CGridModel::flags(const QModelIndex& index) const
{
    if (!index.isValid() || !Contains(index.row(), index.column()))
        return Qt::NoItemFlags;
    const SGridCell& cell = At(index.row(), index.column());
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    if (!cell.bReadOnly)
    {
        if (cell.eKind == EGridCellKind::eText || cell.eKind == EGridCellKind::eDropList)
            flags |= Qt::ItemIsEditable;
        if (cell.eKind == EGridCellKind::eCheck)
            flags |= Qt::ItemIsUserCheckable;
    }
    return flags;
}

QVariant CGridModel::headerData(int iSection, Qt::Orientation eOrientation, int iRole) const
{
    if (eOrientation == Qt::Vertical && iSection >= 0 && iSection < m_iRows)
    {
        if (iRole == Qt::DisplayRole)
            return m_rowHeadings[static_cast<size_t>(iSection)];
        if (iRole == Qt::TextAlignmentRole)
            return QVariant::fromValue(Qt::AlignCenter);
    }
    return {};
}

bool CGridModel::Resize(int iRows, int iColumns)
{
    iRows = std::max(0, iRows);
    iColumns = std::max(0, iColumns);
    if (iRows == m_iRows && iColumns == m_iColumns)
        return false;
    std::vector<SGridCell> cells(static_cast<size_t>(iRows * iColumns));
    for (int r = 0; r < std::min(iRows, m_iRows); ++r)
        for (int c = 0; c < std::min(iColumns, m_iColumns); ++c)
            cells[static_cast<size_t>(r * iColumns + c)] = std::move(At(r, c));
    m_cells = std::move(cells);
    m_rowHeadings.resize(static_cast<size_t>(iRows));
    m_iRows = iRows;
    m_iColumns = iColumns;
    return true;
}

void CGridModel::CellChanged(int iRow, int iColumn)
{
    if (m_grid.m_iUpdateDepth > 0)
        return;
    const QModelIndex at = index(iRow, iColumn);
    emit dataChanged(at, at);
}

void CGridModel::AllChanged(const QModelIndex& editing)
{
    if (m_iRows > 0 && m_iColumns > 0)
    {
        if (!editing.isValid() || !Contains(editing.row(), editing.column()))
            emit dataChanged(index(0, 0), index(m_iRows - 1, m_iColumns - 1));
        else
        {
            // Whole rows above and below, and the two sides of the edited cell in its row.
            const int iRow = editing.row();
            const int iColumn = editing.column();
            if (iRow > 0)
                emit dataChanged(index(0, 0), index(iRow - 1, m_iColumns - 1));
            if (iColumn > 0)
                emit dataChanged(index(iRow, 0), index(iRow, iColumn - 1));
            if (iColumn + 1 < m_iColumns)
                emit dataChanged(index(iRow, iColumn + 1), index(iRow, m_iColumns - 1));
            if (iRow + 1 < m_iRows)
                emit dataChanged(index(iRow + 1, 0), index(m_iRows - 1, m_iColumns - 1));
        }
    }
    if (m_iRows > 0)
        emit headerDataChanged(Qt::Vertical, 0, m_iRows - 1);
}

void CGridModel::Report(std::function<void()> report)
{
    if (m_bDeferReports)
        m_pendingReports.push_back(std::move(report));
    else
        report();
}

void CGridModel::FlushReports()
{
    std::vector<std::function<void()>> reports;
    reports.swap(m_pendingReports);
    for (const auto& report : reports)
        report();
}

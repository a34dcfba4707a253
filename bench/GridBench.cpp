// The grid control's rebuild from its owner's model, at the two sizes the device tools use: a
// packet grid of 40 columns by 3 rows (two value rows under one heading row) and a lane grid of
// 17 columns by 60 rows under two heading rows with groups. A rebuild sets every heading and cell
// between BeginUpdate and EndUpdate and is then painted; it is set against filling a
// QTableWidget with the same texts and colours and painting that, measured in the same run, and
// against a 16 ms frame.
#include "GridCtrl.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTableWidget>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace
{
constexpr int kRounds = 40;
const QColor kIllegal(255, 0, 0);

QString CellText(int iRow, int iColumn, int iRound)
{
    return QString::number((iRow * 131 + iColumn * 17 + iRound) & 0xFFFF, 16).toUpper();
}

// One rebuild of the grid as an owner does it after a change of its model.
void RebuildGrid(CGridCtrl& grid, int iColumns, int iHeadingRows, int iRows, int iRound)
{
    grid.BeginUpdate();
    grid.SetShape(iColumns, iHeadingRows, iRows);
    for (int c = 0; c < iColumns; ++c)
    {
        grid.SetColumnWidth(c, 50);
        grid.SetHeading(iHeadingRows - 1, c, QStringLiteral("Field %1\n[%2]").arg(c).arg(c % 32 + 1));
        grid.SetColumnHeadingColour(c, QColor(0xC0 + c % 32, 0xD8, 0xF0));
        grid.SetColumnToolTip(c, QStringLiteral("Column %1").arg(c));
    }
    if (iHeadingRows > 1)
        for (int c = 0; c + 3 <= iColumns; c += 3)
            grid.SetHeading(0, c, QStringLiteral("Group %1").arg(c / 3), 3);
    for (int r = 0; r < iRows; ++r)
    {
        grid.SetRowHeading(r, QString::number(r));
        for (int c = 0; c < iColumns; ++c)
        {
            SGridCell cell;
            cell.strText = CellText(r, c, iRound);
            cell.crBackground = (r + c + iRound) % 7 == 0 ? kIllegal : Qt::white;
            cell.bReadOnly = c == 0;
            grid.SetCell(r, c, cell);
        }
    }
    grid.EndUpdate();
}

void FillTable(QTableWidget& table, int iColumns, int iHeadingRows, int iRows, int iRound)
{
    table.setColumnCount(iColumns);
    table.setRowCount(iRows);
    for (int c = 0; c < iColumns; ++c)
    {
        table.setColumnWidth(c, 50);
        auto* pHeading = new QTableWidgetItem(QStringLiteral("Field %1\n[%2]").arg(c).arg(c % 32 + 1));
        pHeading->setBackground(QColor(0xC0 + c % 32, 0xD8, 0xF0));
        pHeading->setToolTip(QStringLiteral("Column %1").arg(c));
        table.setHorizontalHeaderItem(c, pHeading);
    }
    (void)iHeadingRows; // a QTableWidget has one heading row only: the baseline does less
    for (int r = 0; r < iRows; ++r)
    {
        table.setVerticalHeaderItem(r, new QTableWidgetItem(QString::number(r)));
        for (int c = 0; c < iColumns; ++c)
        {
            auto* pItem = new QTableWidgetItem(CellText(r, c, iRound));
            pItem->setBackground((r + c + iRound) % 7 == 0 ? kIllegal : QColor(Qt::white));
            if (c == 0)
                pItem->setFlags(pItem->flags() & ~Qt::ItemIsEditable);
            table.setItem(r, c, pItem);
        }
    }
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Median milliseconds of a rebuild followed by a repaint of the whole widget.
template <typename TWidget, typename TFill> double Time(TWidget& widget, TFill fill)
{
    std::vector<double> times;
    for (int i = 0; i < kRounds; ++i)
    {
        QElapsedTimer timer;
        timer.start();
        fill(i);
        widget.repaint();
        QApplication::processEvents();
        times.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
    }
    return Median(times);
}

void Measure(const char* pszName, int iColumns, int iHeadingRows, int iRows)
{
    CGridCtrl grid;
    RebuildGrid(grid, iColumns, iHeadingRows, iRows, 0);
    grid.resize(std::min(grid.FullSize().width(), 1600), std::min(grid.FullSize().height(), 1000));
    grid.show();
    QTableWidget table;
    table.resize(grid.size());
    table.show();
    QApplication::processEvents();

    // Alternate the two so that both see the same machine load.
    std::vector<double> gridTimes, tableTimes;
    for (int i = 0; i < 5; ++i)
    {
        gridTimes.push_back(Time(grid, [&](int r) { RebuildGrid(grid, iColumns, iHeadingRows, iRows, r); }));
        tableTimes.push_back(Time(table, [&](int r) { FillTable(table, iColumns, iHeadingRows, iRows, r); }));
    }
    const double dGrid = Median(gridTimes);
    const double dTable = Median(tableTimes);
    std::printf("%-22s rebuild+paint %7.3f ms   QTableWidget fill+paint %7.3f ms   ratio %5.2f   "
                "of a 16 ms frame %5.2f\n",
                pszName, dGrid, dTable, dGrid / dTable, dGrid / 16.0);
}
} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    Measure("packet 40 x 3", 40, 1, 2);
    Measure("lanes 17 x 60", 17, 2, 60);
    return 0;
}

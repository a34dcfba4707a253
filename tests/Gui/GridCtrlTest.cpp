// The grid control under the offscreen platform: headings laid out over their columns with every
// line showing, and the user's edits, choices, presses and toggles reported as the owner needs them.
#include "GridCtrl.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QHeaderView>
#include <QImage>
#include <QLineEdit>
#include <QListView>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>

#include <memory>

#include <gtest/gtest.h>

namespace
{
// The application object of the test process, made once.
class CQtEnvironment : public testing::Environment
{
public:
    void SetUp() override
    {
        static int s_argc = 1;
        static char s_name[] = "nv_test_gui_grid";
        static char* s_argv[] = {s_name, nullptr};
        m_pApplication = std::make_unique<QApplication>(s_argc, s_argv);
    }
    void TearDown() override { m_pApplication.reset(); }

private:
    std::unique_ptr<QApplication> m_pApplication;
};

[[maybe_unused]] testing::Environment* const g_pEnvironment =
    testing::AddGlobalTestEnvironment(new CQtEnvironment);

const QStringList kReceiverTaps = {"DFE\nON/OFF", "Tap 0", "Tap 1", "Tap 2", "Tap 3", "Tap 4"};

// A lane grid as the SerDes window shows it: two heading rows, with "Lane" and "Port\nSpeed" over
// both, groups over the transmitter and receiver columns, buttons, check boxes, read-only counts.
void BuildLaneGrid(CGridCtrl& grid, int iLanes)
{
    grid.BeginUpdate();
    grid.SetShape(17, 2, iLanes);
    for (int c = 0; c < 17; ++c)
        grid.SetColumnWidth(c, 30); // narrower than most headings: the grid must widen them
    grid.SetHeading(0, 0, "Lane", 1, 2);
    grid.SetHeading(0, 1, "Port\nSpeed", 1, 2);
    grid.SetHeading(0, 2, "Transmitter", 3);
    grid.SetHeading(0, 5, "Receiver", 6);
    grid.SetHeading(1, 2, "Strength");
    grid.SetHeading(1, 3, "Pre");
    grid.SetHeading(1, 4, "Post");
    for (int i = 0; i < kReceiverTaps.size(); ++i)
        grid.SetHeading(1, 5 + i, kReceiverTaps[i]);
    const QStringList others = {"DFE\nScan",           "DFE\nMonitor", "DFE\nAdjust", "10b Loopback\nEnable",
                                "Error Count\nEnable", "Error\nCount"};
    for (int i = 0; i < others.size(); ++i)
        grid.SetHeading(0, 11 + i, others[i], 1, 2);
    grid.SetHeadingColour(0, 2, QColor(0xC0, 0xD8, 0xF0));
    grid.SetHeadingColour(0, 5, QColor(0xD8, 0xF0, 0xC0));
    grid.SetColumnToolTip(11, "Press button to scan DFE parameters and select the best.");
    grid.SetHeadingToolTip(0, 5, "Receiver equaliser");
    const std::vector<SGridOption> speeds = {{0, "1.25"}, {1, "2.5"}, {2, "3.125"}, {3, "5.0"}, {4, "6.25"}};
    for (int r = 0; r < iLanes; ++r)
    {
        grid.SetRowHeading(r, QString::number(r));
        grid.SetCell(r, 0, SGridCell{.strText = QString::number(r), .bReadOnly = true});
        grid.SetCellOptions(r, 1, speeds, 3);
        for (int c = 2; c < 11; ++c)
            grid.SetCellText(r, c, c == 5 ? QString() : QString::number(c * 3 + r, 16).toUpper());
        grid.SetCellCheck(r, 5, r % 2 == 0);
        grid.SetCellButton(r, 11, "Scan");
        grid.SetCellButton(r, 12, "Monitor");
        grid.SetCellButton(r, 13, "Adjust");
        grid.SetCellCheck(r, 14, false);
        grid.SetCellCheck(r, 15, true);
        grid.SetCell(r, 16, SGridCell{.strText = "123456", .bReadOnly = true});
    }
    grid.SetCornerText("Row");
    grid.EndUpdate();
}

QPoint Centre(const CGridCtrl& grid, int iRow, int iColumn)
{
    return grid.viewport()->mapFrom(&grid, grid.CellRect(iRow, iColumn).center());
}

void Click(CGridCtrl& grid, int iRow, int iColumn)
{
    QTest::mouseClick(grid.viewport(), Qt::LeftButton, Qt::NoModifier, Centre(grid, iRow, iColumn));
}

// The cell editor open now (closed ones linger hidden until deleted).
template <typename TEditor> TEditor* OpenEditor(CGridCtrl& grid)
{
    for (TEditor* pEditor : grid.viewport()->findChildren<TEditor*>())
        if (pEditor->isVisible())
            return pEditor;
    return nullptr;
}

QLineEdit* OpenLineEditor(CGridCtrl& grid)
{
    return OpenEditor<QLineEdit>(grid);
}

// Every heading line fits inside its heading cell, every heading cell lies exactly over the value
// cells of the columns it spans, and the heading area ends where the values start.
void ExpectHeadingsFitTheirColumns(const CGridCtrl& grid)
{
    const QFontMetrics metrics(grid.horizontalHeader()->font());
    for (int r = 0; r < grid.HeadingRowCount(); ++r)
        for (int c = 0; c < grid.ColumnCount(); ++c)
        {
            const QString strText = grid.HeadingText(r, c);
            if (strText.isEmpty())
                continue;
            const QRect rect = grid.HeadingRect(r, c);
            ASSERT_FALSE(rect.isEmpty()) << strText.toStdString();
            const QStringList lines = strText.split('\n');
            for (const QString& strLine : lines)
                EXPECT_LE(metrics.horizontalAdvance(strLine), rect.width() - 2)
                    << strLine.toStdString() << " clipped in a column " << rect.width() << " wide";
            EXPECT_LE((lines.size() - 1) * metrics.lineSpacing() + metrics.height(), rect.height())
                << strText.toStdString() << " loses a line";
            // Find the span: the columns this same heading covers.
            int iFirst = c;
            while (iFirst > 0 && grid.HeadingRect(r, iFirst - 1) == rect)
                --iFirst;
            int iLast = c;
            while (iLast + 1 < grid.ColumnCount() && grid.HeadingRect(r, iLast + 1) == rect)
                ++iLast;
            EXPECT_EQ(grid.CellRect(0, iFirst).left(), rect.left()) << strText.toStdString();
            EXPECT_EQ(grid.CellRect(0, iLast).right(), rect.right() - 1) << strText.toStdString();
        }
    // The headings sit directly on top of the first value row.
    EXPECT_EQ(grid.HeadingRect(0, 0).bottom() + 1, grid.CellRect(0, 0).top());
}
} // namespace

TEST(GridCtrlTest, HeadingsShowAllTheirLinesAndGroupsCoverExactlyTheirColumns)
{
    CGridCtrl grid;
    BuildLaneGrid(grid, 4);
    grid.resize(grid.FullSize());
    grid.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&grid));

    ExpectHeadingsFitTheirColumns(grid);
    if (const QByteArray dir = qgetenv("NV_SCREENSHOT_DIR"); !dir.isEmpty())
        grid.grab().save(QDir(QString::fromLocal8Bit(dir)).filePath("grid-lanes.png"));
    // The groups: "Transmitter" over columns 2 to 4, "Receiver" over 5 to 10, and neither beyond.
    const QRect transmitter = grid.HeadingRect(0, 2);
    EXPECT_EQ(grid.CellRect(0, 2).left(), transmitter.left());
    EXPECT_EQ(grid.CellRect(0, 4).right() + 1, transmitter.right());
    EXPECT_EQ(grid.HeadingRect(0, 4), transmitter);
    EXPECT_NE(grid.HeadingRect(0, 5), transmitter);
    EXPECT_EQ("Receiver", grid.HeadingText(0, 10));
    EXPECT_EQ("Error\nCount", grid.HeadingText(1, 16));
    // A heading over both rows is as high as the two rows of its neighbours.
    EXPECT_EQ(grid.HeadingRect(0, 2).top(), grid.HeadingRect(0, 0).top());
    EXPECT_EQ(grid.HeadingRect(1, 2).bottom(), grid.HeadingRect(0, 0).bottom());
    // Asked widths are the least a column gets; a short heading leaves the asked width alone.
    grid.SetColumnWidth(3, 90);
    EXPECT_EQ(90, grid.ColumnWidth(3));
    EXPECT_GT(grid.ColumnWidth(12), 30) << "\"Monitor\" and \"DFE\\nMonitor\" need more than 30";
    // A whole view shows without scroll bars at its full size.
    EXPECT_FALSE(grid.horizontalScrollBar()->isVisible());
    EXPECT_FALSE(grid.verticalScrollBar()->isVisible());

    // A long group heading over narrow columns widens them until it fits; the columns stay aligned.
    grid.SetHeading(0, 2, "Transmitter drive and emphasis settings", 3);
    ExpectHeadingsFitTheirColumns(grid);

    // Scrolled sideways, the headings move with their columns.
    grid.resize(grid.FullSize().width() / 2, grid.FullSize().height() + 40);
    QApplication::processEvents();
    ASSERT_TRUE(grid.horizontalScrollBar()->isVisible());
    grid.horizontalScrollBar()->setValue(grid.horizontalScrollBar()->maximum());
    QApplication::processEvents();
    EXPECT_EQ(grid.CellRect(0, 16).left(), grid.HeadingRect(0, 16).left());
    EXPECT_EQ(grid.CellRect(0, 16).right(), grid.HeadingRect(0, 16).right() - 1);

    // Tool tips: a column's own, and a heading's own over the column's.
    EXPECT_EQ("Press button to scan DFE parameters and select the best.",
              grid.HeadingToolTipAt(grid.HeadingRect(0, 11).center()));
    grid.horizontalScrollBar()->setValue(0);
    QApplication::processEvents();
    EXPECT_EQ("Receiver equaliser", grid.HeadingToolTipAt(grid.HeadingRect(0, 7).center()));
    EXPECT_EQ("", grid.HeadingToolTipAt(grid.HeadingRect(1, 3).center()));
}

TEST(GridCtrlTest, ValueCellsOfSeveralLinesMakeTheRowsTallAndTheColumnAsWideAsTheWidestLine)
{
    CGridCtrl grid;
    grid.SetShape(2, 1, 2);
    grid.SetColumnWidth(0, 1);
    grid.SetCellCheck(0, 0, true);
    grid.SetCellText(0, 0, "Enabled");
    grid.SetCellText(0, 1, "x");
    const int iOneLine = grid.rowHeight(0);
    const int iWidth = grid.ColumnWidth(0);
    // A running time under the word: the row grows by a line, the column keeps the word's width.
    grid.SetCellText(0, 0, "Enabled\n0:00:05");
    const int iLine = grid.fontMetrics().height();
    EXPECT_EQ(iOneLine + iLine, grid.rowHeight(0));
    EXPECT_EQ(grid.rowHeight(0), grid.rowHeight(1)) << "the rows stay even";
    EXPECT_EQ(iWidth, grid.ColumnWidth(0));
    grid.SetCellText(0, 0, "Enabled");
    EXPECT_EQ(iOneLine, grid.rowHeight(0));
}

TEST(GridCtrlTest, ShapeChangesKeepWhatRemainsAndRebuildsKeepAnEditOpen)
{
    CGridCtrl grid;
    grid.SetShape(3, 1, 2);
    grid.SetHeading(0, 0, "AckID");
    grid.SetHeading(0, 1, "Group", 2);
    grid.SetCellText(1, 1, "kept");
    grid.SetCellText(1, 2, "gone");
    grid.SetShape(2, 1, 3);
    EXPECT_EQ("kept", grid.CellText(1, 1));
    EXPECT_EQ("", grid.CellText(2, 1));
    EXPECT_EQ("AckID", grid.HeadingText(0, 0));
    EXPECT_EQ("Group", grid.HeadingText(0, 1))
        << "a group cut at the new last column stays over what is left";
    // Setting a heading's text again keeps its colour and tool tip.
    grid.SetHeadingColour(0, 0, Qt::yellow);
    grid.SetHeadingToolTip(0, 0, "Acknowledge ID");
    grid.SetHeading(0, 0, "Ack\nID");
    grid.resize(grid.FullSize());
    grid.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&grid));
    EXPECT_EQ("Acknowledge ID", grid.HeadingToolTipAt(grid.HeadingRect(0, 0).center()));
    EXPECT_EQ(QColor(Qt::yellow),
              grid.grab().toImage().pixelColor(grid.HeadingRect(0, 0).topLeft() + QPoint(2, 2)));
    // A heading placed over part of a group replaces the group.
    grid.SetHeading(0, 1, "Alone");
    EXPECT_EQ("Alone", grid.HeadingText(0, 1));
    grid.ClearAll();
    EXPECT_EQ("", grid.CellText(1, 1));
    EXPECT_EQ("", grid.HeadingText(0, 0));
    EXPECT_EQ(3, grid.RowCount());

    // A timed refresh of the same shape leaves the user's typing alone.
    grid.SetCellText(0, 0, "1");
    ASSERT_TRUE(grid.EditCell(0, 0));
    QLineEdit* pEdit = OpenLineEditor(grid);
    ASSERT_TRUE(pEdit);
    QTest::keyClicks(pEdit, "AB");
    grid.BeginUpdate();
    grid.SetCellText(0, 1, "refreshed");
    grid.EndUpdate();
    ASSERT_EQ(pEdit, OpenLineEditor(grid));
    EXPECT_EQ("AB", pEdit->text());
    QSignalSpy edited(&grid, &CGridCtrl::CellEdited);
    QTest::keyClick(pEdit, Qt::Key_Return);
    QApplication::processEvents();
    ASSERT_EQ(1, edited.size());
    EXPECT_EQ("AB", edited[0][2].toString());
}

TEST(GridCtrlTest, TextEditsAreReportedOnEnterTabAndFocusLossAndEscapeCancels)
{
    CGridCtrl grid;
    grid.SetShape(4, 1, 2);
    for (int c = 0; c < 4; ++c)
        grid.SetCellText(0, c, QString("%1").arg(c));
    grid.SetCellReadOnly(0, 3, true);
    grid.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&grid));
    QSignalSpy edited(&grid, &CGridCtrl::CellEdited);

    // F2 edits the current cell; Enter reports the text, which the cell then holds.
    grid.setCurrentIndex(grid.model()->index(0, 0));
    QTest::keyClick(grid.viewport(), Qt::Key_F2);
    QLineEdit* pEdit = OpenLineEditor(grid);
    ASSERT_TRUE(pEdit);
    EXPECT_EQ("0", pEdit->text());
    pEdit->setText("1Fh");
    QTest::keyClick(pEdit, Qt::Key_Return);
    QApplication::processEvents();
    ASSERT_EQ(1, edited.size());
    EXPECT_EQ(0, edited[0][0].toInt());
    EXPECT_EQ(0, edited[0][1].toInt());
    EXPECT_EQ("1Fh", edited[0][2].toString());
    EXPECT_EQ("1Fh", grid.CellText(0, 0));

    // Esc drops the typing: no report, the text as it was.
    QTest::keyClick(grid.viewport(), Qt::Key_Right);
    EXPECT_EQ(1, grid.currentIndex().column());
    QTest::keyClick(grid.viewport(), Qt::Key_Return);
    pEdit = OpenLineEditor(grid);
    ASSERT_TRUE(pEdit);
    QTest::keyClicks(pEdit, "77");
    QTest::keyClick(pEdit, Qt::Key_Escape);
    QApplication::processEvents();
    EXPECT_EQ(1, edited.size());
    EXPECT_EQ("1", grid.CellText(0, 1));

    // Typing on a cell starts an edit with what is typed; Tab reports it and moves right, no editor open.
    QTest::keyClicks(grid.viewport(), "5");
    pEdit = OpenLineEditor(grid);
    ASSERT_TRUE(pEdit);
    QTest::keyClicks(pEdit, "A");
    QTest::keyClick(pEdit, Qt::Key_Tab);
    QApplication::processEvents();
    ASSERT_EQ(2, edited.size());
    EXPECT_EQ("5A", edited[1][2].toString());
    EXPECT_EQ(1, edited[1][1].toInt());
    EXPECT_EQ(2, grid.currentIndex().column());
    EXPECT_FALSE(grid.IsEditing());

    // Losing focus ends the edit and reports it.
    QLineEdit elsewhere;
    elsewhere.show();
    grid.activateWindow();
    ASSERT_TRUE(grid.EditCell(0, 2));
    pEdit = OpenLineEditor(grid);
    ASSERT_TRUE(pEdit);
    pEdit->setText("C0");
    pEdit->setFocus();
    elsewhere.activateWindow();
    elsewhere.setFocus();
    QApplication::processEvents();
    ASSERT_EQ(3, edited.size());
    EXPECT_EQ("C0", edited[2][2].toString());

    // A read-only cell can't be edited, by key or call; arrows still move over it.
    grid.setCurrentIndex(grid.model()->index(0, 3));
    EXPECT_FALSE(grid.EditCell(0, 3));
    QTest::keyClick(grid.viewport(), Qt::Key_F2);
    QTest::keyClicks(grid.viewport(), "9");
    EXPECT_FALSE(OpenLineEditor(grid));
    QTest::keyClick(grid.viewport(), Qt::Key_Down);
    EXPECT_EQ(1, grid.currentIndex().row());
    EXPECT_EQ(3, edited.size());
    EXPECT_EQ("3", grid.CellText(0, 3));

    // A double click is reported for any cell, read-only ones included.
    QSignalSpy doubled(&grid, &CGridCtrl::CellDoubleClicked);
    QTest::mouseDClick(grid.viewport(), Qt::LeftButton, Qt::NoModifier, Centre(grid, 0, 3));
    ASSERT_EQ(1, doubled.size());
    EXPECT_EQ(0, doubled[0][0].toInt());
    EXPECT_EQ(3, doubled[0][1].toInt());
}

TEST(GridCtrlTest, DropListsReportTheChosenIndexEvenWhenTheOwnerReshapesTheGrid)
{
    CGridCtrl grid;
    grid.SetShape(2, 1, 1);
    grid.SetCellOptions(0, 0, {{2, "NREAD"}, {5, "NWRITE"}, {8, "Maintenance"}}, 2);
    EXPECT_EQ("Maintenance", grid.CellText(0, 0));
    grid.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&grid));

    // The owner does what the packet grid does on a new packet type: a different number of columns.
    QSignalSpy chosen(&grid, &CGridCtrl::OptionChosen);
    QObject::connect(&grid, &CGridCtrl::OptionChosen, &grid,
                     [&grid](int, int, int iIndex)
                     {
                         grid.BeginUpdate();
                         grid.SetShape(3 + iIndex, 1, 1);
                         grid.SetCellOptions(0, 0, {{2, "NREAD"}, {5, "NWRITE"}, {8, "Maintenance"}}, iIndex);
                         grid.EndUpdate();
                     });
    ASSERT_TRUE(grid.EditCell(0, 0));
    auto* pCombo = OpenEditor<QComboBox>(grid);
    ASSERT_TRUE(pCombo);
    EXPECT_EQ(3, pCombo->count());
    EXPECT_EQ(2, pCombo->currentIndex());
    // The list opens by itself; Up and Enter in it choose the entry above.
    ASSERT_TRUE(QTest::qWaitFor([&] { return pCombo->view()->isVisible(); }));
    QTest::keyClick(pCombo->view(), Qt::Key_Up);
    QTest::keyClick(pCombo->view(), Qt::Key_Return);
    ASSERT_EQ(1, chosen.size());
    EXPECT_EQ(1, chosen[0][2].toInt());
    QApplication::processEvents();
    EXPECT_EQ(4, grid.ColumnCount());
    EXPECT_EQ("NWRITE", grid.CellText(0, 0));
    EXPECT_EQ(1, grid.Cell(0, 0).iSelected);
    EXPECT_EQ(5, grid.Cell(0, 0).options[1].llValue);

    // Opening the list and leaving it without a choice reports nothing.
    ASSERT_TRUE(grid.EditCell(0, 0));
    pCombo = OpenEditor<QComboBox>(grid);
    ASSERT_TRUE(pCombo);
    ASSERT_TRUE(QTest::qWaitFor([&] { return pCombo->view()->isVisible(); }));
    QTest::keyClick(pCombo->view(), Qt::Key_Escape);
    QTest::keyClick(pCombo, Qt::Key_Escape);
    QApplication::processEvents();
    EXPECT_EQ(1, chosen.size());
    EXPECT_EQ("NWRITE", grid.CellText(0, 0));
}

TEST(GridCtrlTest, ButtonsClickOnceAndCheckBoxesToggleByMouseAndSpace)
{
    CGridCtrl grid;
    BuildLaneGrid(grid, 3);
    grid.resize(grid.FullSize());
    grid.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&grid));
    QSignalSpy clicked(&grid, &CGridCtrl::ButtonClicked);
    QSignalSpy toggled(&grid, &CGridCtrl::CheckToggled);
    QSignalSpy edited(&grid, &CGridCtrl::CellEdited);

    Click(grid, 1, 12);
    ASSERT_EQ(1, clicked.size());
    EXPECT_EQ(1, clicked[0][0].toInt());
    EXPECT_EQ(12, clicked[0][1].toInt());
    // Pressed on one button and let go over another: no click.
    QTest::mousePress(grid.viewport(), Qt::LeftButton, Qt::NoModifier, Centre(grid, 0, 11));
    QTest::mouseRelease(grid.viewport(), Qt::LeftButton, Qt::NoModifier, Centre(grid, 0, 13));
    EXPECT_EQ(1, clicked.size());
    // Space and Enter press the current button.
    grid.setCurrentIndex(grid.model()->index(2, 13));
    QTest::keyClick(grid.viewport(), Qt::Key_Space);
    QTest::keyClick(grid.viewport(), Qt::Key_Return);
    ASSERT_EQ(3, clicked.size());
    EXPECT_EQ(13, clicked[2][1].toInt());
    EXPECT_EQ("Adjust", grid.CellText(2, 13));

    // A click toggles a box and reports its new state, which the cell holds.
    ASSERT_FALSE(grid.IsCellChecked(1, 14));
    Click(grid, 1, 14);
    ASSERT_EQ(1, toggled.size());
    EXPECT_TRUE(toggled[0][2].toBool());
    EXPECT_TRUE(grid.IsCellChecked(1, 14));
    grid.setCurrentIndex(grid.model()->index(1, 14));
    QTest::keyClick(grid.viewport(), Qt::Key_Space);
    ASSERT_EQ(2, toggled.size());
    EXPECT_FALSE(toggled[1][2].toBool());
    EXPECT_FALSE(grid.IsCellChecked(1, 14));
    // A read-only box doesn't move.
    grid.SetCellReadOnly(0, 15, true);
    Click(grid, 0, 15);
    grid.setCurrentIndex(grid.model()->index(0, 15));
    QTest::keyClick(grid.viewport(), Qt::Key_Space);
    EXPECT_EQ(2, toggled.size());
    EXPECT_TRUE(grid.IsCellChecked(0, 15));
    // A read-only button (a scan running) doesn't click, by mouse or key.
    grid.SetCellReadOnly(2, 11, true);
    Click(grid, 2, 11);
    grid.setCurrentIndex(grid.model()->index(2, 11));
    QTest::keyClick(grid.viewport(), Qt::Key_Space);
    EXPECT_EQ(3, clicked.size());
    // Buttons and boxes never open a text editor.
    EXPECT_EQ(0, edited.size());
    EXPECT_FALSE(OpenLineEditor(grid));
}

TEST(GridCtrlTest, CellsPaintTheirColoursAndToolTipsComeFromTheCell)
{
    const QColor red = GridColourFromRef(255);
    EXPECT_EQ(QColor(255, 0, 0), red);
    EXPECT_EQ(QColor(0x56, 0x34, 0x12), GridColourFromRef(0x123456));

    CGridCtrl grid;
    grid.SetShape(3, 1, 1);
    grid.SetCellText(0, 0, "FF");
    grid.SetCellColours(0, 0, Qt::black, red);
    grid.SetCellText(0, 1, "00");
    grid.SetCellToolTip(0, 1, "Destination ID of the packet");
    grid.SetCell(0, 2, SGridCell{.strText = "See below", .bReadOnly = true});
    grid.resize(grid.FullSize());
    grid.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&grid));

    // Current or not, a red cell is painted red, a plain one white, a read-only one grey.
    grid.setCurrentIndex(grid.model()->index(0, 0));
    const QImage shot = grid.grab().toImage();
    const auto PixelNearRightEdge = [&](int iColumn)
    {
        const QRect rect = grid.CellRect(0, iColumn);
        return shot.pixelColor(rect.right() - 4, rect.center().y());
    };
    EXPECT_EQ(red, PixelNearRightEdge(0));
    EXPECT_EQ(QColor(Qt::white), PixelNearRightEdge(1));
    const QColor grey = PixelNearRightEdge(2);
    EXPECT_NE(QColor(Qt::white), grey);
    EXPECT_EQ(grey.red(), grey.blue()) << "a neutral grey";

    EXPECT_EQ("Destination ID of the packet", grid.model()->data(grid.model()->index(0, 1), Qt::ToolTipRole));
    EXPECT_FALSE(grid.model()->data(grid.model()->index(0, 0), Qt::ToolTipRole).isValid());
    // The owner turns the cell white again once the value is legal.
    grid.SetCellColours(0, 0, QColor(), QColor());
    EXPECT_EQ(QColor(Qt::white), grid.grab().toImage().pixelColor(grid.CellRect(0, 0).right() - 4,
                                                                  grid.CellRect(0, 0).center().y()));
}

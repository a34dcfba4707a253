// The routing table view and the routing table editor's window on maps built by hand: the lines
// and rows they show, the number format, the entry fields and closing through the editor.
#include "GuiTestEnvironment.h"

#include "NetworkMap.h"
#include "Preferences.h"
#include "RecordingUserInterface.h"
#include "RoutingTableDlg.h"
#include "RoutingTableEditorDlg.h"

#include <QAction>
#include <QHeaderView>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTreeWidget>

#include <gtest/gtest.h>

namespace
{
class RoutingTableDlgTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        nvguitest::AddPE(m_map, 0, 0x0038, 0x0374, kPETypeSwitch, 100, 100, 4);
        nvguitest::AddPE(m_map, 1, 0x0038, 0x0310, kPETypeSwitch, 300, 100, 8);
        m_pPerPort = m_map.ActivePEs.GetByNodeNumber(0);
        m_pPerPort->bHasPerPortRoutingTables = true;
        m_pOneTable = m_map.ActivePEs.GetByNodeNumber(1);
        auto pTable = std::make_unique<CRoutingTable>();
        pTable->AddEntry(0x05, 2, eRoutePort, 0, false);
        pTable->AddEntry(0x10, 1, eRouteMulticast, 0, false);
        pTable->AddEntry(0x20, 3, eRouteSpecial, 2, false);
        m_pPerPort->RoutingTables[1] = std::move(pTable);
    }
    void TearDown() override
    {
        RemovePreference(QStringLiteral("Preferences"), QStringLiteral("DefaultBase"));
        SetMapTransportAccess(nullptr, nullptr);
    }
    static QStringList Lines(const QListWidget* pList)
    {
        QStringList lines;
        for (int i = 0; i < pList->count(); ++i)
        {
            lines << pList->item(i)->text();
        }
        return lines;
    }
    static QStringList Row(const QTreeWidget* pTree, int iRow)
    {
        const QTreeWidgetItem* pItem = pTree->topLevelItem(iRow);
        return pItem ? QStringList{pItem->text(0), pItem->text(1), pItem->text(2)} : QStringList{};
    }

    // Each heading and each cell of the ID and type columns fits its column, so no text is cut
    // and the next column starts after it.
    static void ExpectColumnsFit(const QTreeWidget* pTree)
    {
        const QFontMetrics metrics(pTree->font());
        for (int iColumn = 0; iColumn < 2; ++iColumn)
        {
            const int iWidth = pTree->columnWidth(iColumn);
            EXPECT_LE(pTree->header()->sectionSizeHint(iColumn), iWidth) << iColumn;
            EXPECT_LT(metrics.horizontalAdvance(pTree->headerItem()->text(iColumn)), iWidth) << iColumn;
            for (int iRow = 0; iRow < pTree->topLevelItemCount(); ++iRow)
            {
                const QString strText = pTree->topLevelItem(iRow)->text(iColumn);
                EXPECT_LT(metrics.horizontalAdvance(strText), iWidth) << strText.toStdString();
            }
        }
    }

    nvtest::CRecordingUserInterface m_ui;
    CNetworkDocument m_map;
    CPEPrimitive* m_pPerPort = nullptr;
    CPEPrimitive* m_pOneTable = nullptr;
};

TEST_F(RoutingTableDlgTest, TheViewListsATableByTheNumberFormatAndMarksAModifiedOne)
{
    m_pPerPort->SetDefaultPort(7);
    CRoutingTableDlg hex(*m_pPerPort, 1);
    EXPECT_EQ((QStringList{"  ? >> 7", "  5h >> 2", "  10h >> Mask 1", "  20h >> ?3"}), Lines(hex.List()));
    EXPECT_EQ("OK", hex.Button()->text());
    EXPECT_EQ(80, hex.ColumnWidth());
    const QColor plain = hex.List()->palette().color(QPalette::Base);

    SetPreference(QStringLiteral("Preferences"), QStringLiteral("DefaultBase"), 2u);
    m_pPerPort->RoutingTables[1]->bModified = true;
    CRoutingTableDlg binary(*m_pPerPort, 1);
    EXPECT_EQ("  00000101b >> 2", binary.List()->item(1)->text().toStdString());
    EXPECT_EQ(100, binary.ColumnWidth());
    EXPECT_NE(plain, binary.List()->palette().color(QPalette::Base)) << "a modified table is highlighted";
    SetMapTransportAccess([] { return 16; }, nullptr);
    CRoutingTableDlg wide(*m_pPerPort, 1);
    EXPECT_EQ("  0000000000000101b >> 2", wide.List()->item(1)->text().toStdString());
    EXPECT_EQ(160, wide.ColumnWidth());

    CRoutingTableDlg absent(*m_pPerPort, 2);
    EXPECT_EQ((QStringList{"No routes"}), Lines(absent.List()));
    EXPECT_EQ("Close", absent.Button()->text());
}

TEST_F(RoutingTableDlgTest, TheEditorShowsTheTablesAndEditsThroughItsFields)
{
    CRoutingTableEditorDlg dialog(m_map, *m_pPerPort, false);
    EXPECT_EQ(4, dialog.Tables()->count());
    EXPECT_EQ("Port 3", dialog.Tables()->item(3)->text());
    EXPECT_TRUE(dialog.Tables()->isEnabled());
    EXPECT_FALSE(dialog.Button("Upload")->isEnabled()) << "no transfers without a target";
    EXPECT_FALSE(dialog.Entries()->isHeaderHidden());
    EXPECT_EQ("Destination ID", dialog.Entries()->headerItem()->text(0));
    EXPECT_EQ("Type", dialog.Entries()->headerItem()->text(1));
    EXPECT_EQ("Port", dialog.Entries()->headerItem()->text(2));
    EXPECT_LE(80, dialog.Entries()->columnWidth(0));
    EXPECT_LE(80, dialog.Entries()->columnWidth(1));

    dialog.Tables()->setCurrentRow(1);
    ExpectColumnsFit(dialog.Entries());
    ASSERT_EQ(3, dialog.Entries()->topLevelItemCount());
    EXPECT_EQ((QStringList{"5h", "Port Route", "2"}), Row(dialog.Entries(), 0));
    EXPECT_EQ((QStringList{"10h", "Multicast", "1"}), Row(dialog.Entries(), 1));
    EXPECT_EQ((QStringList{"20h", "Special 2", "3"}), Row(dialog.Entries(), 2));
    dialog.Entries()->setCurrentItem(dialog.Entries()->topLevelItem(2));
    EXPECT_EQ("20h", dialog.IDField()->text());
    EXPECT_EQ("3", dialog.PortField()->text());

    for (QAction* pAction : dialog.findChildren<QAction*>())
    {
        if (pAction->text() == "Decimal")
        {
            pAction->trigger();
        }
    }
    EXPECT_EQ("32", dialog.IDField()->text()) << "the selected entry's field follows the format";
    EXPECT_EQ("16", Row(dialog.Entries(), 1).at(0));
    for (QAction* pAction : dialog.findChildren<QAction*>())
    {
        if (pAction->text() == "Binary")
        {
            pAction->trigger();
        }
    }
    ExpectColumnsFit(dialog.Entries());
    for (QAction* pAction : dialog.findChildren<QAction*>())
    {
        if (pAction->text() == "Decimal")
        {
            pAction->trigger();
        }
    }

    dialog.IDField()->setText("7");
    dialog.PortField()->setText("0");
    dialog.Button("Add")->click();
    ASSERT_EQ(4, dialog.Entries()->topLevelItemCount());
    EXPECT_EQ((QStringList{"7", "Port Route", "0"}), Row(dialog.Entries(), 1));
    EXPECT_TRUE(m_pPerPort->RoutingTables[1]->bModified);

    dialog.Entries()->setCurrentItem(dialog.Entries()->topLevelItem(0));
    dialog.Button("Delete")->click();
    EXPECT_EQ(-1, m_pPerPort->RoutingTables[1]->FindEntry(0x05));
    EXPECT_TRUE(dialog.IDField()->text().isEmpty());
    EXPECT_TRUE(dialog.PortField()->text().isEmpty());

    dialog.IDField()->setText("x1");
    dialog.Button("Add")->click();
    EXPECT_EQ(QStringList{"Invalid data entry."}, m_ui.messages);
    EXPECT_EQ(3, dialog.Entries()->topLevelItemCount());
}

TEST_F(RoutingTableDlgTest, TheEditorOfAModifiedOneTableSwitchStaysOpenOnlyOnCancel)
{
    CRoutingTableEditorDlg dialog(m_map, *m_pOneTable, true);
    EXPECT_EQ(1, dialog.Tables()->count());
    EXPECT_EQ("All Ports", dialog.Tables()->item(0)->text());
    EXPECT_FALSE(dialog.Tables()->isEnabled());
    dialog.show();
    dialog.IDField()->setText("7");
    dialog.PortField()->setText("1");
    dialog.Button("Add")->click();
    m_ui.answers = {eAnswerCancel, eAnswerNo};
    dialog.Button("Close")->click();
    EXPECT_TRUE(dialog.isVisible());
    dialog.Button("Close")->click();
    EXPECT_FALSE(dialog.isVisible());
    EXPECT_EQ(2, m_ui.questions.size());
}
} // namespace

// The multicast configuration window on a map built by hand: the ports in two columns that line
// up, the masks, the ID list with its field, buttons and number format, and the command that opens
// the window from the map and from the network browser.
#include "GuiTestEnvironment.h"

#include "MainFrame.h"
#include "MulticastDlg.h"
#include "NetBrowserDlgBar.h"
#include "NetworkMap.h"
#include "Preferences.h"
#include "RecordingUserInterface.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QHeaderView>
#include <QLineEdit>
#include <QListWidget>
#include <QMenuBar>
#include <QPushButton>
#include <QTimer>
#include <QTreeWidget>
#include <QTreeWidgetItemIterator>

#include <gtest/gtest.h>

namespace
{
// Node 0: a switch with 6 ports: an endpoint on port 0, an empty record on port 2, another
// switch on port 5; ports 1, 3 and 4 have no link. Its map holds mask 2: ID 21h to ports 0 and 5.
void BuildMap(CNetworkDocument& map)
{
    nvguitest::AddPE(map, 0, 0xFFF0, 0x0002, kPETypeSwitch, 200, 100, 6);
    nvguitest::AddPE(map, 1, 0xFFF0, 0x0001, kPETypeProcessor, 100, 250);
    nvguitest::AddPE(map, 2, 0xFFFF, 0xFFFF, kPETypeNull, 200, 250);
    nvguitest::AddPE(map, 3, 0xFFF0, 0x0002, kPETypeSwitch, 300, 250, 4);
    nvguitest::AddLink(map, 0, 0, 0, 1, 0);
    nvguitest::AddLink(map, 1, 0, 2, 2, 0);
    nvguitest::AddLink(map, 2, 3, 1, 0, 5);
    CMulticastInfo& info = map.ActivePEs.GetByNodeNumber(0)->Multicast;
    info.bCapsValid = info.bSupportsMulticast = info.bSupportsPerPortAssociation = true;
    info.iMaxMasks = 4;
    info.iMaxAssociationsPerMask = 16;
    const int iMask = info.AddMask(2);
    info.AddDestID(iMask, 0x21);
    info.AddPort(iMask, 0);
    info.AddPort(iMask, 5);
}

QStringList Texts(const QListWidget* pList)
{
    QStringList texts;
    for (int i = 0; i < pList->count(); ++i)
        texts << pList->item(i)->text();
    return texts;
}

std::vector<int> TickedPorts(const QTreeWidget* pPorts)
{
    std::vector<int> ports;
    for (int iRow = 0; iRow < pPorts->topLevelItemCount(); ++iRow)
    {
        if (pPorts->topLevelItem(iRow)->checkState(0) == Qt::Checked)
            ports.push_back(CMulticastDlg::RowPort(pPorts, iRow));
    }
    return ports;
}

QAction* MenuAction(const QWidget* pDialog, const QString& strText)
{
    for (QAction* pAction : pDialog->findChild<QMenuBar*>()->actions().front()->menu()->actions())
    {
        if (pAction->text() == strText)
            return pAction;
    }
    return nullptr;
}

class MulticastDlgTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        SetMapTransportAccess([] { return 8; }, [](int) {});
        BuildMap(m_map);
        m_pSwitch = m_map.ActivePEs.GetByNodeNumber(0);
    }
    void TearDown() override { SetMapTransportAccess(nullptr, nullptr); }

    nvtest::CRecordingUserInterface m_ui;
    CNetworkDocument m_map;
    CPEPrimitive* m_pSwitch = nullptr;
};

TEST_F(MulticastDlgTest, PortsShowAsAlignedColumnsTickedByTheirOwnPortNumbers)
{
    CMulticastEditor editor(m_map, *m_pSwitch, false);
    CMulticastDlg dialog(editor);
    dialog.show();
    QApplication::processEvents();
    EXPECT_EQ("Switch - Multicast Configuration Dialog", dialog.windowTitle().toStdString());

    const QTreeWidget* pPorts = dialog.Ports();
    ASSERT_EQ(3, pPorts->topLevelItemCount());
    const QStringList expected[] = {
        {"Port 0", "Connected"}, {"Port 2", "(Not Connected)"}, {"Port 5", "Connected"}};
    for (int iRow = 0; iRow < 3; ++iRow)
    {
        const QTreeWidgetItem* pItem = pPorts->topLevelItem(iRow);
        EXPECT_EQ(expected[iRow], (QStringList{pItem->text(0), pItem->text(1)})) << iRow;
    }
    // Row 2 is port 5: the ticks follow the port numbers, not the rows.
    EXPECT_EQ(5, CMulticastDlg::RowPort(pPorts, 2));
    EXPECT_EQ((std::vector<int>{0, 5}), TickedPorts(pPorts));

    // The state column starts right of the widest port text with its tick box, at one x for all
    // rows, and no cell is cut.
    const QFontMetrics metrics(pPorts->font());
    const int iStateX = pPorts->visualItemRect(pPorts->topLevelItem(0)).x() + pPorts->columnWidth(0);
    for (int iRow = 0; iRow < pPorts->topLevelItemCount(); ++iRow)
    {
        QTreeWidgetItem* pItem = pPorts->topLevelItem(iRow);
        const QRect portCell = pPorts->visualRect(pPorts->model()->index(iRow, 0));
        const QRect stateCell = pPorts->visualRect(pPorts->model()->index(iRow, 1));
        EXPECT_EQ(iStateX, stateCell.x()) << iRow;
        EXPECT_LT(metrics.horizontalAdvance(pItem->text(0)) + 16, portCell.width()) << iRow;
        EXPECT_LE(metrics.horizontalAdvance(pItem->text(1)), stateCell.width()) << iRow;
        EXPECT_LE(stateCell.right(), pPorts->viewport()->width()) << "the state column fits the list";
    }
    // The list is as wide as its columns need, not spread over the window.
    const int iWidest = metrics.horizontalAdvance(QStringLiteral("(Not Connected)"));
    EXPECT_LT(pPorts->width(), pPorts->columnWidth(0) + iWidest + 80);

    // The masks of the device, the map's first one chosen.
    ASSERT_EQ(4, dialog.Masks()->count());
    EXPECT_EQ("Mask 3", dialog.Masks()->itemText(3).toStdString());
    EXPECT_EQ(2, dialog.Masks()->currentIndex());
    EXPECT_EQ(QStringList{"21h"}, Texts(dialog.IDs()));

    // Ticking a row ticks its port in the mask; another mask shows its own ticks and IDs.
    dialog.Ports()->topLevelItem(1)->setCheckState(0, Qt::Checked);
    EXPECT_TRUE(editor.IsPortTicked(2));
    dialog.Masks()->setCurrentIndex(1);
    EXPECT_TRUE(TickedPorts(pPorts).empty());
    EXPECT_EQ(0, dialog.IDs()->count());
    dialog.Masks()->setCurrentIndex(2);
    EXPECT_EQ((std::vector<int>{0, 2, 5}), TickedPorts(pPorts));
    EXPECT_FALSE(editor.Changed()) << "ticks are no change to offer";
}

TEST_F(MulticastDlgTest, IdsAreAddedRemovedAndReformattedAndOkStoresTheEdit)
{
    CMulticastEditor editor(m_map, *m_pSwitch, false);
    CMulticastDlg dialog(editor);
    dialog.show();

    dialog.IDField()->setText("22h");
    dialog.Button("Add ID")->click();
    EXPECT_EQ((QStringList{"21h", "22h"}), Texts(dialog.IDs()));
    EXPECT_TRUE(dialog.IDField()->text().isEmpty());
    // Enter in the field adds as well, and a listed ID isn't listed twice.
    dialog.IDField()->setText("35");
    emit dialog.IDField()->returnPressed();
    dialog.IDField()->setText("0x22");
    dialog.Button("Add ID")->click();
    EXPECT_EQ((QStringList{"21h", "22h", "23h"}), Texts(dialog.IDs()));
    EXPECT_TRUE(m_ui.messages.isEmpty());

    // A bad text is refused and stays in the field to be put right.
    dialog.IDField()->setText("12x");
    dialog.Button("Add ID")->click();
    EXPECT_EQ(QStringList{"Invalid Destination ID."}, m_ui.messages);
    EXPECT_EQ("12x", dialog.IDField()->text().toStdString());
    EXPECT_EQ(3, dialog.IDs()->count());

    // The number format menu shows the list anew.
    QAction* pBinary = MenuAction(&dialog, "Binary");
    ASSERT_TRUE(pBinary);
    pBinary->trigger();
    EXPECT_EQ((QStringList{"00100001b", "00100010b", "00100011b"}), Texts(dialog.IDs()));
    MenuAction(&dialog, "Decimal")->trigger();
    EXPECT_EQ((QStringList{"33", "34", "35"}), Texts(dialog.IDs()));

    // Remove ID takes the selected row.
    dialog.IDs()->setCurrentRow(0);
    dialog.Button("Remove ID")->click();
    EXPECT_EQ((QStringList{"34", "35"}), Texts(dialog.IDs()));
    EXPECT_TRUE(editor.Changed());

    // OK stores the edit into the PE; without a target nothing is asked.
    dialog.Button("OK")->click();
    EXPECT_EQ(QDialog::Accepted, dialog.result());
    EXPECT_TRUE(m_ui.questions.isEmpty());
    const CMulticastInfo& stored = m_pSwitch->Multicast;
    ASSERT_EQ(1, stored.GetNumMasks());
    EXPECT_EQ((std::vector<uint16_t>{0x22, 0x23}), stored.GetMask(0)->DestIDs);
}

TEST_F(MulticastDlgTest, CancelLeavesThePEsMasksAsTheyWere)
{
    CMulticastEditor editor(m_map, *m_pSwitch, false);
    CMulticastDlg dialog(editor);
    dialog.IDField()->setText("40h");
    dialog.Button("Add ID")->click();
    dialog.Button("Cancel")->click();
    EXPECT_EQ(QDialog::Rejected, dialog.result());
    ASSERT_EQ(1, m_pSwitch->Multicast.GetNumMasks());
    EXPECT_EQ(std::vector<uint16_t>{0x21}, m_pSwitch->Multicast.GetMask(0)->DestIDs);
}

TEST(MulticastCommandTest, TheMapAndTheBrowserOpenTheWindowAndOkMarksTheMapChanged)
{
    CMainFrame frame;
    nvtest::CRecordingUserInterface ui; // installed after the frame's own
    SetMapTransportAccess([] { return 8; }, [](int) {});
    BuildMap(frame.Core().Document());
    frame.Core().NotifyMap();
    frame.Core().SetModified(false);

    // From the PE pop-up: the window opens on the switch; OK with an added ID.
    QString strTitle;
    QTimer::singleShot(0,
                       [&]
                       {
                           auto* pDialog = qobject_cast<CMulticastDlg*>(QApplication::activeModalWidget());
                           if (!pDialog)
                           {
                               ADD_FAILURE() << "no multicast window";
                               if (QWidget* pModal = QApplication::activeModalWidget())
                                   pModal->close();
                               return;
                           }
                           strTitle = pDialog->windowTitle();
                           pDialog->IDField()->setText("23h");
                           pDialog->Button("Add ID")->click();
                           pDialog->Button("OK")->click();
                       });
    SCommandContext context;
    context.iNode = 0;
    frame.RunCommand(eCmdMulticastConfigure, context);
    EXPECT_EQ("Switch - Multicast Configuration Dialog", strTitle.toStdString());
    EXPECT_TRUE(frame.Core().IsModified());
    CPEPrimitive* pSwitch = frame.Core().Document().ActivePEs.GetByNodeNumber(0);
    EXPECT_EQ((std::vector<uint16_t>{0x21, 0x23}), pSwitch->Multicast.GetMask(0)->DestIDs);

    // The browser's multicast item opens it too, without reading capabilities: a switch without
    // them is refused with the reason.
    pSwitch->Multicast.bCapsValid = false;
    frame.Browser()->Rebuild(frame.Core().Document());
    frame.Browser()->ExpandNode(0);
    QTreeWidgetItem* pMulticast = nullptr;
    for (QTreeWidgetItemIterator it(frame.Browser()->Tree()); *it; ++it)
    {
        if ((*it)->text(0) == "Multicast")
            pMulticast = *it;
    }
    ASSERT_NE(nullptr, pMulticast);
    emit frame.Browser()->Tree()->itemDoubleClicked(pMulticast, 0);
    EXPECT_EQ(QStringList{"There is no multicast support information stored for the PE that you have "
                          "selected.\n\nPlease connect and try again.\n"},
              ui.messages);

    // The downloads need the target, and say so without one.
    for (ECommand eCommand : {eCmdMulticastDownload, eCmdDownloadAllMulticast})
    {
        ui.messages.clear();
        frame.RunCommand(eCommand, context);
        EXPECT_EQ(QStringList{"Not connected to a target. Connect to a target first."}, ui.messages)
            << eCommand;
    }
    EXPECT_TRUE(ui.workTitles.isEmpty());
    SetMapTransportAccess(nullptr, nullptr);
}
} // namespace

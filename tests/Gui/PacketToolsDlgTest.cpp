// The packet generator and the trace and filter windows of a Gen2 switch, without a target: which
// PEs open them, one generator window per map that re-targets and keeps its list, the grid of the
// packet in hand and its editors, the trace template's 160-bit headings, the Enable matrix
// following the comparators, and layouts whose texts are not cut.
#include "GuiTestEnvironment.h"

#include "NetworkDocument.h"
#include "PacketGenDlg.h"
#include "PacketTraceDlg.h"
#include "Preferences.h"
#include "RIOPacket.h"
#include "RecordingUserInterface.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QTabWidget>
#include <QTimer>

#include <gtest/gtest.h>

namespace
{
class PacketToolsDlgTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        Add(0, 0x0374, 18); // CPS-1848
        Add(1, 0x0379, 16); // CPS-1616
        Add(2, 0x0578, 8);  // not a Gen2 switch
    }
    void Add(int iNode, uint16_t wDevice, int nPorts)
    {
        auto pPE = std::make_unique<CPEPrimitive>();
        pPE->iNodeNumber = iNode;
        pPE->ManufID = 0x0038;
        pPE->DeviceID = wDevice;
        pPE->SetIdentity(0x0038, wDevice, true, false, false, false);
        pPE->iNumLocalPorts = nPorts;
        m_map.ActivePEs.AddPrimitive(std::move(pPE));
    }
    static void Shot(QWidget& window, const char* pszName)
    {
        const QString strShots = qEnvironmentVariable("NV_SCREENSHOT_DIR");
        if (!strShots.isEmpty())
            window.grab().save(strShots + QLatin1Char('/') + QLatin1String(pszName));
    }
    static void ExpectUnclipped(QWidget& window)
    {
        for (QPushButton* pButton : window.findChildren<QPushButton*>())
        {
            if (pButton->isVisible())
            {
                EXPECT_GE(pButton->width(), pButton->fontMetrics().horizontalAdvance(pButton->text()))
                    << pButton->text().toStdString();
            }
        }
        for (QComboBox* pBox : window.findChildren<QComboBox*>())
        {
            if (pBox->isVisible() && pBox->currentIndex() >= 0)
            {
                EXPECT_GE(pBox->width(), pBox->fontMetrics().horizontalAdvance(pBox->currentText()))
                    << pBox->currentText().toStdString();
            }
        }
    }

    nvtest::CRecordingUserInterface m_ui;
    CNetworkDocument m_map;
};

TEST_F(PacketToolsDlgTest, GeneratorWindowIsOnePerMapKeepsItsListAndShowsThePacketInHand)
{
    EXPECT_EQ(nullptr, CIDT_Gen2_PacketGenDlg::Open(m_map, 2)) << "a Tsi578 has no packet generator";
    CIDT_Gen2_PacketGenDlg* pDlg = CIDT_Gen2_PacketGenDlg::Open(m_map, 0);
    ASSERT_NE(nullptr, pDlg);
    EXPECT_EQ(QStringLiteral("Packet Generation and Capture"), pDlg->windowTitle());
    EXPECT_EQ(18, pDlg->StartBox()->count());
    EXPECT_EQ(-1, pDlg->StartBox()->currentIndex()) << "no default port";
    EXPECT_EQ(-1, pDlg->FlowBox()->currentIndex());
    EXPECT_EQ(QStringLiteral("VC0 PRI 0 CRF 1"), pDlg->FlowBox()->itemText(1));
    EXPECT_FALSE(pDlg->TestBox()->isEnabled()) << "scenario 1";
    pDlg->ScenarioButton(2)->click();
    EXPECT_TRUE(pDlg->TestBox()->isEnabled());

    // A new tool opens on a maintenance read with 8-bit IDs: "FType" shows 8 and there is no data.
    IDT_Gen2_PacketGenGrid* pGrid = pDlg->Grid();
    int nFType = -1;
    for (int i = 0; i < pGrid->ColumnCount(); ++i)
    {
        if (pGrid->HeadingText(0, i) == QStringLiteral("FType\n[4]"))
            nFType = i;
    }
    ASSERT_GE(nFType, 0);
    EXPECT_EQ(EGridCellKind::eDropList, pGrid->Cell(0, nFType).eKind);
    EXPECT_EQ(QStringLiteral("8"), pGrid->CellText(0, nFType));
    EXPECT_EQ(QStringLiteral("Maintenance Class"),
              pGrid->Cell(0, nFType).options[static_cast<size_t>(pGrid->Cell(0, nFType).iSelected)].strText);
    EXPECT_FALSE(pDlg->DataEditor()->isVisibleTo(pDlg));

    // An illegal value turns its cell red; the raw editor follows the packet.
    emit pGrid->CellEdited(0, nFType, QStringLiteral("3"));
    EXPECT_EQ(GridColourFromRef(255), pGrid->Cell(0, nFType).crBackground);
    std::vector<uint8_t> stream;
    pDlg->Packet().GetStream(stream);
    EXPECT_EQ(stream, pDlg->RawEditor()->Bytes());

    // A write class with 16 bytes of data shows the data editor; Fill repeats the pattern.
    pDlg->Packet().SetTypeAndIDSize(5, 0);
    pDlg->Packet().FindField(eRIOFieldSIZE)->SetValue(11, false);
    pDlg->Packet().FindField(eRIOFieldWDPTR)->SetValue(1, false);
    EXPECT_TRUE(pDlg->DataEditor()->isVisibleTo(pDlg));
    pDlg->FillBox()->setText(QStringLiteral("a"));
    pDlg->Fill();
    EXPECT_EQ(QStringLiteral("0A "), pDlg->FillBox()->text());
    std::vector<uint8_t> data;
    ASSERT_TRUE(pDlg->Packet().GetData(data));
    EXPECT_EQ(std::vector<uint8_t>(16, 0x0A), data);

    // The list: Edit and the rest wait for a selection.
    EXPECT_FALSE(pDlg->Button(QStringLiteral("Edit"))->isEnabled());
    pDlg->Button(QStringLiteral("Add to Packet List"))->click();
    ASSERT_EQ(1, pDlg->List()->count());
    pDlg->Packet().GetStream(stream);
    EXPECT_EQ(PacketStreamLine(pDlg->Packet()), pDlg->List()->item(0)->text());
    pDlg->List()->setCurrentRow(0);
    EXPECT_TRUE(pDlg->Button(QStringLiteral("Delete"))->isEnabled());

    pDlg->show();
    pDlg->resize(1100, 760);
    QApplication::processEvents();
    ExpectUnclipped(*pDlg);
    Shot(*pDlg, "packetgen.png");

    // Asked for again on the other switch: the same window, its ports, the list kept.
    EXPECT_EQ(pDlg, CIDT_Gen2_PacketGenDlg::Open(m_map, 1));
    EXPECT_EQ(16, pDlg->StartBox()->count());
    EXPECT_EQ(1, pDlg->List()->count());
    EXPECT_EQ(1, pDlg->Node());

    // Without a target a send stops at the first check.
    pDlg->Button(QStringLiteral("Send Packet"))->click();
    EXPECT_EQ(QStringList{"Not connected."}, m_ui.messages);
    EXPECT_EQ(QStringList{"Packet Generator"}, m_ui.messageTitles);
    delete pDlg;
    EXPECT_EQ(nullptr, CIDT_Gen2_PacketGenDlg::Instance());
}

TEST_F(PacketToolsDlgTest, TraceTemplateHeadingsCountTheFirst160BitsAndTheMatrixFollowsTheComparators)
{
    EXPECT_EQ(QStringLiteral("Addr\n[29(10)]"), TraceFieldHeading(QStringLiteral("Addr"), 29, 150, true));
    EXPECT_EQ(QStringLiteral("CRC\n[16(0)]"), TraceFieldHeading(QStringLiteral("CRC"), 16, 160, true));
    EXPECT_EQ(QStringLiteral("Hop\nCount\n[8]"),
              TraceFieldHeading(QStringLiteral("Hop\nCount"), 8, 152, true));
    EXPECT_EQ(QStringLiteral("Address"), TraceFieldHeading(QStringLiteral("Address"), 66, 40, false));

    SetPreference(QStringLiteral("Preferences"), QStringLiteral("LastConnTab"), 1u);
    EXPECT_EQ(nullptr, CIDT_Gen2_PacketTraceTabDlg::Open(m_map, 2));
    CIDT_Gen2_PacketTraceTabDlg* pDlg = CIDT_Gen2_PacketTraceTabDlg::Open(m_map, 0);
    ASSERT_NE(nullptr, pDlg);
    EXPECT_EQ(QStringLiteral("Packet Trace / Filter"), pDlg->windowTitle());
    EXPECT_EQ(1, pDlg->Tabs()->currentIndex()) << "the tab shown last";
    pDlg->Tabs()->setCurrentIndex(0);
    EXPECT_EQ(0u, GetPreference(QStringLiteral("Preferences"), QStringLiteral("LastConnTab"), 9u));
    EXPECT_EQ(18, pDlg->TracePortBox()->count()) << "without a target every port counts as usable";

    // An NWRITE with 16-bit IDs and 66-bit addresses: the data starts at bit 128 and crosses 160.
    CIDT_Gen2_PacketTraceCfgDlg* pCfg = pDlg->CfgTab();
    IDT_Gen2_PacketTraceGrid* pGrid = pCfg->Grid();
    pGrid->Packet().SetAddressBits(66);
    pGrid->Packet().SetTypeAndIDSize(5, 1);
    pGrid->Packet().FindField(eRIOFieldTRANSACTION)->SetValue(4, false);
    pGrid->Packet().FindField(eRIOFieldSIZE)->SetValue(12, false); // 32 bytes
    int nData = -1;
    int nCrc = -1;
    for (int i = 0; i < pGrid->ColumnCount(); ++i)
    {
        if (pGrid->HeadingText(0, i).startsWith(QStringLiteral("Data\n")))
            nData = i;
        if (pGrid->HeadingText(0, i).startsWith(QStringLiteral("CRC\n")))
            nCrc = i;
    }
    ASSERT_GE(nData, 0);
    ASSERT_GE(nCrc, 0);
    EXPECT_EQ(QStringLiteral("Data\n[256(32)]"), pGrid->HeadingText(0, nData));
    EXPECT_EQ(QStringLiteral("See below left"), pGrid->CellText(0, nData));
    EXPECT_EQ(QStringLiteral("See below right"), pGrid->CellText(1, nData));
    EXPECT_EQ(QStringLiteral("CRC\n[16(0)]"), pGrid->HeadingText(0, nCrc));
    EXPECT_EQ(QStringLiteral("Excluded"), pGrid->CellText(0, nCrc));
    EXPECT_TRUE(pGrid->Cell(1, nCrc).bReadOnly);
    // The comparator took the template: its first byte after the header's is the FType's.
    EXPECT_EQ(0x15, pDlg->Trace().Compare(0)[1]) << "TT 1, FType 5";
    EXPECT_EQ(QStringLiteral("0001 0101"), pCfg->BinaryBox(1, false)->text());

    // Rows follow their comparator's enable; Port Write is always there.
    EXPECT_FALSE(pDlg->EnableBox(0, 3)->isEnabled());
    EXPECT_TRUE(pDlg->EnableBox(kTraceRowPortWrite, 3)->isEnabled());
    pCfg->EnabledBox()->click();
    EXPECT_TRUE(pDlg->Trace().ComparatorEnabled(0));
    EXPECT_TRUE(pDlg->EnableBox(0, 3)->isEnabled());
    EXPECT_TRUE(pDlg->EnableBox(4, 3)->isEnabled());
    EXPECT_FALSE(pDlg->EnableBox(1, 3)->isEnabled());
    pDlg->EnableBox(0, 3)->click();
    EXPECT_TRUE(pDlg->Trace().Check(0, 3));
    EXPECT_TRUE(pDlg->RunTab()->CounterButton(0, 3)->isEnabled());
    EXPECT_FALSE(pDlg->RunTab()->CounterButton(0, 4)->isEnabled());

    // The binary editor writes the first 20 bytes back.
    pCfg->BinaryBox(0, true)->setText(QStringLiteral("0000 0011"));
    pCfg->TakeBinary();
    EXPECT_EQ(0x03, pDlg->Trace().Mask(0)[0]);

    // Buttons without a target beep and stay stopped.
    pDlg->PlayButton()->click();
    EXPECT_EQ(eTraceStopped, pDlg->Trace().RunState());
    EXPECT_EQ(1, m_ui.nBeeps);
    EXPECT_FALSE(pDlg->Timer()->isActive());

    pDlg->show();
    QApplication::processEvents();
    ExpectUnclipped(*pDlg);
    Shot(*pDlg, "packettrace.png");
    pDlg->Tabs()->setCurrentIndex(1);
    QApplication::processEvents();
    Shot(*pDlg, "packettrace-counters.png");
    EXPECT_EQ(pDlg, CIDT_Gen2_PacketTraceTabDlg::Find(0));
    delete pDlg;
    EXPECT_EQ(nullptr, CIDT_Gen2_PacketTraceTabDlg::Find(0));
}
TEST_F(PacketToolsDlgTest, AllEighteenCounterColumnsFitTheWindowsDefaultSizeWithoutScrolling)
{
    CIDT_Gen2_PacketTraceTabDlg* pDlg = CIDT_Gen2_PacketTraceTabDlg::Open(m_map, 0);
    ASSERT_NE(nullptr, pDlg);
    pDlg->Tabs()->setCurrentIndex(1);
    pDlg->show();
    QApplication::processEvents();
    CIDT_Gen2_PacketTraceRunDlg* pRun = pDlg->RunTab();
    QScrollArea* pScroll = qobject_cast<QScrollArea*>(pRun->parentWidget()->parentWidget());
    ASSERT_NE(nullptr, pScroll);
    EXPECT_FALSE(pScroll->horizontalScrollBar()->isVisible());
    const QWidget* pViewport = pScroll->viewport();
    for (int p = 0; p < kTraceMaxPorts; ++p)
    {
        for (int r = 0; r < kTraceCounterRows; ++r)
        {
            QPushButton* pButton = pRun->CounterButton(r, p);
            ASSERT_TRUE(pButton->isVisible()) << "Port " << p;
            const QRect rect(pButton->mapTo(pViewport, QPoint(0, 0)), pButton->size());
            EXPECT_GE(rect.left(), 0);
            EXPECT_LE(rect.right(), pViewport->width()) << "Port " << p << " runs past the tab";
        }
    }
    // Seven digits of a running total fit a counter without being cut.
    pDlg->Trace().SetComparatorEnabled(0, true);
    pDlg->Trace().SetCheck(0, 17, true);
    QPushButton* pLast = pRun->CounterButton(0, 17);
    pLast->setText(QStringLiteral("9999999"));
    EXPECT_GE(pLast->width(), pLast->fontMetrics().horizontalAdvance(pLast->text()) + 4);
    ExpectUnclipped(*pDlg);
    Shot(*pDlg, "packettrace-counters-default.png");
    delete pDlg;
}
} // namespace

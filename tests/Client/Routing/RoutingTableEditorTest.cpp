// The routing table editor on simulated switches: entries made in the editor reach the switch and
// come back from it, an absent table clears the switch's, and closing with modified tables.
#include "RoutingTableEditor.h"
#include "ClientSimFixture.h"
#include "Discovery.h"
#include "FFRoutes.h"
#include "TableTransfer.h"

namespace nvtest
{
namespace
{
// host0 - sw1 (CPS-1848, a table per port) with ep1 on port 2, the one-table 70K2000 sw2 on port 1
// with ep2 behind it, and a Tsi568 on port 3.
std::string Fabric()
{
    return std::string(kHostLine) +
           "device sw1 switch model=cps1848\ndevice sw2 switch model=70k2000\ndevice sw3 switch "
           "model=tsi568\n"
           "device ep1 endpoint device=0x1001 memory\ndevice ep2 endpoint device=0x1002 memory\n"
           "host host0\nlink host0:0 sw1:0\nlink sw1:1 sw2:0\nlink sw1:2 ep1:0\nlink sw2:1 ep2:0\n"
           "link sw1:3 sw3:0\n";
}

const QString kQuestion = QStringLiteral("Do you want to download modified tables to the switch?");

class CEditorTest : public CClientSimTest
{
protected:
    void SetUp() override
    {
        CClientSimTest::SetUp();
        Load(Fabric());
        SDiscoveryRequest request;
        request.bEnumerate = true;
        request.bTryAllClockRates = false;
        ASSERT_EQ(0, StandardDiscovery(request, m_map, &m_host, {}));
    }
    CPEPrimitive* ByDevice(uint16_t wDeviceID)
    {
        for (const auto& pPE : m_map.ActivePEs)
        {
            if (pPE->DeviceID == wDeviceID)
            {
                return pPE.get();
            }
        }
        return nullptr;
    }
    // The port the switch itself holds for an ID in one of its tables, read past the editor; -1
    // for none.
    int HardwarePort(const CPEPrimitive& pe, uint8_t uchTable, uint16_t wID)
    {
        uint32_t ulDestID = 0;
        uint8_t uchHop = 0;
        std::unique_ptr<CRoutingTable> pTable;
        EXPECT_TRUE(ReachPE(m_map, pe, &ulDestID, &uchHop));
        EXPECT_EQ(0, UploadTable(pe.ManufID, pe.DeviceID, 0, ulDestID, uchHop, uchTable, &pTable));
        uint8_t uchPort = 0;
        return pTable && pTable->FindEntry(wID, &uchPort) >= 0 ? uchPort : -1;
    }

    CNetworkDocument m_map;
};

TEST_F(CEditorTest, EditsOfAPerPortTableReachTheSwitchAndComeBack)
{
    CPEPrimitive* pSw1 = ByDevice(0x0374);
    const CPEPrimitive* pEp1 = ByDevice(0x1001);
    ASSERT_TRUE(pSw1 && pEp1);
    const uint16_t wEp1 = pEp1->GetDestID();
    pSw1->RoutingTables[0].reset();

    CRoutingTableEditor editor(m_map, *pSw1, true);
    ASSERT_EQ(18, editor.TableNames().size());
    EXPECT_EQ("Port 17", editor.TableNames().back());
    EXPECT_TRUE(editor.TableChoiceEnabled());
    // Requests from the host come in on port 0: its table decides where ep1's ID goes.
    editor.SetNumberBase(16);
    ASSERT_TRUE(editor.Add(RouteIDText(wEp1, 10, 8), QStringLiteral("2")));
    ASSERT_TRUE(editor.Add(QStringLiteral("77h"), QStringLiteral("5")));
    ASSERT_TRUE(editor.Add(QStringLiteral("77h"), QStringLiteral("4"))) << "an existing ID is overwritten";
    ASSERT_EQ(2u, editor.Rows().size());
    EXPECT_EQ((QStringList{"77h", "Port Route", "4"}),
              (QStringList{editor.Rows()[1].strID, editor.Rows()[1].strType, editor.Rows()[1].strPort}));
    editor.SetNumberBase(2);
    EXPECT_EQ("01110111b", editor.Rows()[1].strID);
    EXPECT_TRUE(editor.CurrentTableData()->bModified);

    EXPECT_EQ(0u, IdentityAt(wEp1, 1)) << "the switch doesn't route ep1's ID before the download";
    ASSERT_TRUE(editor.Download());
    EXPECT_FALSE(editor.CurrentTableData()->bModified);
    // ep1's answers come in on port 2 and need their way back to the host (ID 1).
    ASSERT_TRUE(editor.SelectTable(2));
    ASSERT_TRUE(editor.Add(QStringLiteral("1"), QStringLiteral("0")));
    ASSERT_TRUE(editor.Download());
    EXPECT_EQ((uint32_t{pEp1->DeviceID} << 16) | pEp1->ManufID, IdentityAt(wEp1, 1));

    // The map's copy drifts from the switch; an upload brings the switch's table back.
    ASSERT_TRUE(editor.SelectTable(0));
    ASSERT_TRUE(editor.SelectEntry(1));
    EXPECT_EQ("01110111b", editor.IDField());
    EXPECT_EQ("4", editor.PortField());
    ASSERT_TRUE(editor.DeleteSelected());
    EXPECT_TRUE(editor.IDField().isEmpty() && editor.PortField().isEmpty());
    EXPECT_TRUE(editor.CurrentTableData()->bModified);
    ASSERT_TRUE(editor.Add(QStringLiteral("33h"), QStringLiteral("6")));
    pSw1->ClearDefaultPort();
    ASSERT_TRUE(editor.Upload());
    uint8_t uchPort = 0;
    EXPECT_GE(editor.CurrentTableData()->FindEntry(0x77, &uchPort), 0);
    EXPECT_EQ(4, uchPort);
    EXPECT_EQ(-1, editor.CurrentTableData()->FindEntry(0x33));
    EXPECT_FALSE(editor.CurrentTableData()->bModified);
    EXPECT_TRUE(pSw1->HasDefaultPort());
    EXPECT_TRUE(editor.MapChanged());

    // An absent table goes down as an empty one and clears what the switch held.
    pSw1->RoutingTables[0].reset();
    ASSERT_TRUE(editor.Download());
    EXPECT_EQ(0u, IdentityAt(wEp1, 1));
    EXPECT_EQ(-1, HardwarePort(*pSw1, 0, 0x77));
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join('|').toStdString();
}

TEST_F(CEditorTest, FieldsThatDontParseAddNothing)
{
    CPEPrimitive* pSw1 = ByDevice(0x0374);
    ASSERT_TRUE(pSw1);
    pSw1->RoutingTables[4].reset();
    CRoutingTableEditor editor(m_map, *pSw1, false);
    ASSERT_TRUE(editor.SelectTable(4));
    EXPECT_FALSE(editor.Add(QStringLiteral("zz"), QStringLiteral("1")));
    EXPECT_FALSE(editor.Add(QStringLiteral("5"), QString()));
    EXPECT_FALSE(editor.Add(QStringLiteral("100h"), QStringLiteral("1"))) << "beyond an 8-bit ID";
    EXPECT_FALSE(editor.Add(QStringLiteral("5"), QStringLiteral("100h")));
    EXPECT_EQ(QStringList(4, QStringLiteral("Invalid data entry.")), m_ui.messages);
    EXPECT_FALSE(pSw1->RoutingTables[4]) << "no table is made for a refused entry";
    EXPECT_FALSE(editor.MapChanged());

    ASSERT_TRUE(editor.Add(QStringLiteral("101b"), QStringLiteral("3")));
    ASSERT_TRUE(pSw1->RoutingTables[4]);
    const SRouteEntry& entry = pSw1->RoutingTables[4]->GetEntry(0);
    EXPECT_EQ(5, entry.DestID);
    EXPECT_EQ(eRoutePort, entry.eType);
    EXPECT_EQ(0u, entry.uSpecialType);
}

TEST_F(CEditorTest, ClosingAPerPortSwitchAsksOnceAndSendsTheModifiedTables)
{
    CPEPrimitive* pSw1 = ByDevice(0x0374);
    ASSERT_TRUE(pSw1);
    CRoutingTableEditor editor(m_map, *pSw1, true);
    EXPECT_TRUE(editor.Close());
    EXPECT_TRUE(m_ui.questions.isEmpty()) << "nothing modified, nothing asked";
    ASSERT_TRUE(editor.SelectTable(2));
    ASSERT_TRUE(editor.Add(QStringLiteral("66h"), QStringLiteral("1")));
    ASSERT_TRUE(editor.SelectTable(5));
    ASSERT_TRUE(editor.Add(QStringLiteral("67h"), QStringLiteral("2")));
    CRoutingTableEditor offline(m_map, *pSw1, false);
    EXPECT_TRUE(offline.Close()) << "without a target nothing is asked";

    m_ui.answers = {eAnswerCancel, eAnswerNo};
    EXPECT_FALSE(editor.Close());
    EXPECT_TRUE(editor.Close());
    EXPECT_EQ(QStringList(2, kQuestion), m_ui.questions);
    EXPECT_EQ(-1, HardwarePort(*pSw1, 2, 0x66)) << "Cancel and No send nothing";
    EXPECT_EQ(-1, HardwarePort(*pSw1, 5, 0x67));

    m_ui.answers = {eAnswerYes};
    EXPECT_TRUE(editor.Close());
    EXPECT_EQ(3, m_ui.questions.size()) << "one question for all modified tables";
    EXPECT_FALSE(pSw1->RoutingTables[2]->bModified);
    EXPECT_FALSE(pSw1->RoutingTables[5]->bModified);
    EXPECT_EQ(1, HardwarePort(*pSw1, 2, 0x66));
    EXPECT_EQ(2, HardwarePort(*pSw1, 5, 0x67));
}

TEST_F(CEditorTest, AOneTableSwitchIsAskedWhenModifiedAndClosingSendsNothing)
{
    CPEPrimitive* pSw2 = ByDevice(0x0310);
    ASSERT_TRUE(pSw2);
    CRoutingTableEditor editor(m_map, *pSw2, true);
    EXPECT_EQ(QStringList{QStringLiteral("All Ports")}, editor.TableNames());
    EXPECT_FALSE(editor.TableChoiceEnabled());

    ASSERT_TRUE(editor.Add(QStringLiteral("55h"), QStringLiteral("1")));
    ASSERT_TRUE(editor.Download()) << "the one table goes down as table 255";
    EXPECT_EQ(1, HardwarePort(*pSw2, 255, 0x55));
    EXPECT_TRUE(editor.Close());
    EXPECT_TRUE(m_ui.questions.isEmpty()) << "nothing left to send";

    ASSERT_TRUE(editor.Add(QStringLiteral("56h"), QStringLiteral("1")));
    m_ui.answers = {eAnswerCancel, eAnswerNo, eAnswerYes};
    EXPECT_FALSE(editor.Close());
    EXPECT_TRUE(editor.Close());
    EXPECT_TRUE(editor.Close());
    EXPECT_EQ(-1, HardwarePort(*pSw2, 255, 0x56)) << "neither Yes nor No sends the table";
    EXPECT_TRUE(pSw2->RoutingTables[0]->bModified);
}

TEST_F(CEditorTest, AnUnreadableDefaultPortIsClearedOnUpload)
{
    CPEPrimitive* pSw3 = ByDevice(0x0568);
    ASSERT_TRUE(pSw3);
    CRoutingTableEditor editor(m_map, *pSw3, true);
    ASSERT_TRUE(editor.Upload());
    ASSERT_TRUE(pSw3->HasDefaultPort());
    // A default route beyond the switch's ports reads back as a failure.
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    ASSERT_TRUE(ReachPE(m_map, *pSw3, &ulDestID, &uchHop));
    const uint32_t ulBadPort = 0xFF;
    ASSERT_EQ(0, m_pFabric->MaintWrite(0, ulDestID, uchHop, 0x7C, &ulBadPort, 1, 4, 4, false));
    ASSERT_TRUE(editor.Upload());
    EXPECT_FALSE(pSw3->HasDefaultPort());
}

TEST_F(CEditorTest, ALinkShowsTheTableOfTheSwitchAtItsEnd)
{
    const CPEPrimitive* pSw1 = ByDevice(0x0374);
    const CPEPrimitive* pEp1 = ByDevice(0x1001);
    ASSERT_TRUE(pSw1 && pEp1);
    // Either order of the ends: the switch's port on the link names the table.
    CConnectionPrimitive link;
    link.iPE1 = pEp1->iNodeNumber;
    link.iPE1Port = 0;
    link.iPE2 = pSw1->iNodeNumber;
    link.iPE2Port = 2;
    const CPEPrimitive* pPE = nullptr;
    int iTable = -1;
    ASSERT_TRUE(LinkRoutingTable(m_map, link, &pPE, &iTable));
    EXPECT_EQ(pSw1, pPE);
    EXPECT_EQ(2, iTable);
    link.iPE2 = ByDevice(0x1002)->iNodeNumber;
    EXPECT_FALSE(LinkRoutingTable(m_map, link, &pPE, &iTable)) << "no switch on the link";
    link.iPE2 = ByDevice(0x0310)->iNodeNumber;
    ASSERT_TRUE(LinkRoutingTable(m_map, link, &pPE, &iTable));
    EXPECT_EQ(0, iTable) << "a one-table switch keeps its table in slot 0";
}
} // namespace
} // namespace nvtest

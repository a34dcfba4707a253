// The multicast edit of a switch: which switches it takes, the ports and masks it shows, what the
// ID list takes and when the change mark goes up, the masks it keeps, and the update that takes
// the edit to simulated switches, after which packets to the multicast ID are copied.
#include "ClientSimFixture.h"
#include "Discovery.h"
#include "Multicast.h"
#include "NVXLTypes.h"
#include "nvsim/Fabric.h"
#include "nvsim/StdDevice.h"

#include <algorithm>

namespace nvtest
{
namespace
{
constexpr uint16_t kGroup = 0x80; // the multicast ID, given to no PE

const QString kUpdateQuestion = QStringLiteral("Do you want to update the PE?");

// ---- The edit on a map built by hand -----------------------------------------------------------

class CMulticastEditorTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        SetMapTransportAccess([] { return 8; }, [](int) {});
        // Node 0: a six-port switch. Port 0: an endpoint; 1: an empty record; 2: an unknown
        // device; 3: nothing; 4: another switch; 5: a link deleted from the map.
        m_pSwitch = AddPE(0, kPETypeSwitch, 6);
        AddPE(1, kPETypeProcessor, 1);
        AddPE(2, kPETypeNull, 1);
        AddPE(3, kPETypeUnknown, 1);
        AddPE(4, kPETypeSwitch, 4);
        AddPE(5, kPETypeMemory, 1);
        AddLink(0, 1, 0);
        AddLink(1, 2, 0);
        AddLink(2, 3, 0, true); // the far end first: the port is found on either end of a link
        AddLink(4, 4, 0, true);
        AddLink(5, 5, 0)->bDeleted = true;
        CMulticastInfo& info = m_pSwitch->Multicast;
        info.bCapsValid = info.bSupportsMulticast = info.bSupportsPerPortAssociation = true;
        info.iMaxMasks = 4;
        info.iMaxAssociationsPerMask = 8;
        // Mask 2 as the map holds it: ID 21h to ports 0 and 4.
        const int iMask = info.AddMask(2);
        info.AddDestID(iMask, 0x21);
        info.AddPort(iMask, 0);
        info.AddPort(iMask, 4);
    }
    void TearDown() override { SetMapTransportAccess(nullptr, nullptr); }

    CPEPrimitive* AddPE(int iNode, uint32_t uType, int iPorts)
    {
        auto pPE = std::make_unique<CPEPrimitive>();
        pPE->iNodeNumber = iNode;
        pPE->SetIdentity(0xFFF0, static_cast<uint32_t>(iNode + 1), uType & kPETypeSwitch,
                         uType & kPETypeProcessor, uType & kPETypeMemory, false);
        pPE->uType = uType;
        pPE->iNumLocalPorts = iPorts;
        CPEPrimitive* pRaw = pPE.get();
        m_map.ActivePEs.AddPrimitive(std::move(pPE));
        return pRaw;
    }
    // A link from port iPort of the switch to port iFarPort of node iFar; with bReversed the far
    // end is written as the link's first end.
    CConnectionPrimitive* AddLink(int iPort, int iFar, int iFarPort, bool bReversed = false)
    {
        auto pLink = std::make_unique<CConnectionPrimitive>();
        pLink->iNodeNumber = m_map.ActiveConnections.GetCount();
        pLink->iPE1 = bReversed ? iFar : 0;
        pLink->iPE1Port = bReversed ? iFarPort : iPort;
        pLink->iPE2 = bReversed ? 0 : iFar;
        pLink->iPE2Port = bReversed ? iPort : iFarPort;
        CConnectionPrimitive* pRaw = pLink.get();
        m_map.ActiveConnections.AddPrimitive(std::move(pLink));
        return pRaw;
    }
    static std::vector<int> MaskIDs(const CMulticastInfo& info)
    {
        std::vector<int> ids;
        for (int i = 0; i < info.GetNumMasks(); ++i)
            ids.push_back(info.GetMask(i)->MaskID);
        return ids;
    }

    CRecordingUserInterface m_ui;
    CNetworkDocument m_map;
    CPEPrimitive* m_pSwitch = nullptr;
};

TEST_F(CMulticastEditorTest, PortsListLinkedPortsByTheirOwnNumbersAndMasksAreTheDevicesMasks)
{
    CMulticastEditor editor(m_map, *m_pSwitch, false);
    std::vector<int> ports;
    QStringList texts;
    for (const CMulticastEditor::SPortRow& row : editor.PortRows())
    {
        ports.push_back(row.iPort);
        texts << row.strText;
    }
    // Port 3 has no link and port 5 only a deleted one: no rows, so row 3 is port 4.
    EXPECT_EQ((std::vector<int>{0, 1, 2, 4}), ports);
    EXPECT_EQ((QStringList{"Port 0\tConnected", "Port 1\t(Not Connected)", "Port 2\t(Not Connected)",
                           "Port 4\tConnected"}),
              texts);
    EXPECT_EQ((QStringList{"Mask 0", "Mask 1", "Mask 2", "Mask 3"}), editor.MaskNames());

    // The edit opens on the switch's first mask, with its IDs and ports.
    EXPECT_EQ(2, editor.CurrentMask());
    EXPECT_EQ(QStringList{"21h"}, editor.IDTexts());
    EXPECT_TRUE(editor.IsPortTicked(0));
    EXPECT_TRUE(editor.IsPortTicked(4));
    EXPECT_FALSE(editor.IsPortTicked(1));

    EXPECT_EQ("Switch - Multicast Configuration Dialog", editor.Title().toStdString());
    m_pSwitch->CommonName = QStringLiteral("Backplane SW");
    EXPECT_EQ("Backplane SW - Multicast Configuration Dialog", editor.Title().toStdString());
}

TEST_F(CMulticastEditorTest, AnIdIsListedOnceAndOnlyAddingOrRemovingIdsRaisesTheChangeMark)
{
    CMulticastEditor editor(m_map, *m_pSwitch, false);
    ASSERT_TRUE(editor.SelectMask(1));
    EXPECT_TRUE(editor.IDs().empty());

    // Ticks alone are no change to offer to the switch.
    editor.TickPort(1, true);
    editor.TickPort(4, true);
    EXPECT_FALSE(editor.Changed());

    EXPECT_TRUE(editor.AddID("10h"));
    EXPECT_TRUE(editor.Changed());
    EXPECT_TRUE(editor.AddID("10h"));
    EXPECT_TRUE(editor.AddID("16")) << "decimal 16 is the same ID";
    EXPECT_TRUE(editor.AddID("0000_0011b"));
    EXPECT_EQ((std::vector<uint16_t>{0x10, 0x03}), editor.IDs());
    EXPECT_TRUE(m_ui.messages.isEmpty());

    // Not a number, or beyond the 8-bit IDs of this network: refused, nothing added.
    for (const char* pszText : {"", "zz", "100h", "-1"})
    {
        m_ui.messages.clear();
        EXPECT_FALSE(editor.AddID(pszText)) << pszText;
        EXPECT_EQ(QStringList{"Invalid Destination ID."}, m_ui.messages) << pszText;
    }
    EXPECT_EQ(2u, editor.IDs().size());

    // The list is shown in the number base in force and read back in it.
    editor.SetNumberBase(2);
    EXPECT_EQ((QStringList{"00010000b", "00000011b"}), editor.IDTexts());
    editor.SetNumberBase(10);
    EXPECT_EQ((QStringList{"16", "3"}), editor.IDTexts());
    editor.SetNumberBase(16);
    EXPECT_EQ((QStringList{"10h", "3h"}), editor.IDTexts());

    // The device associates at most 8 IDs with a mask: the ninth is refused.
    for (uint16_t wID = 0x40; wID < 0x46; ++wID)
        ASSERT_TRUE(editor.AddID(QString::asprintf("%Xh", wID)));
    m_ui.messages.clear();
    EXPECT_FALSE(editor.AddID("50h"));
    EXPECT_EQ(QStringList{"Unable to add destID to list"}, m_ui.messages);
    EXPECT_EQ(8u, editor.IDs().size());

    // Removing marks a change as well; a row out of range removes nothing.
    CMulticastEditor other(m_map, *m_pSwitch, false);
    EXPECT_FALSE(other.RemoveID(1));
    EXPECT_FALSE(other.Changed());
    EXPECT_TRUE(other.RemoveID(0));
    EXPECT_TRUE(other.Changed());
    EXPECT_TRUE(other.IDs().empty());
}

TEST_F(CMulticastEditorTest, ChoosingMasksKeepsEachOnesContentsAndAnEmptiedMaskDropsOut)
{
    CMulticastEditor editor(m_map, *m_pSwitch, false);
    // Mask 2 emptied of its ID and ports.
    ASSERT_TRUE(editor.RemoveID(0));
    editor.TickPort(0, false);
    editor.TickPort(4, false);
    // Mask 0 with ports only, mask 3 with an ID only.
    ASSERT_TRUE(editor.SelectMask(0));
    editor.TickPort(1, true);
    ASSERT_TRUE(editor.SelectMask(3));
    ASSERT_TRUE(editor.AddID("7"));
    ASSERT_TRUE(editor.SelectMask(1));
    EXPECT_EQ((std::vector<int>{0, 3}), MaskIDs(editor.Copy())) << "mask 2 dropped out";
    EXPECT_FALSE(editor.SelectMask(4));
    EXPECT_FALSE(editor.SelectMask(-1));

    // Coming back to a mask shows what it was left with.
    ASSERT_TRUE(editor.SelectMask(0));
    EXPECT_TRUE(editor.IsPortTicked(1));
    EXPECT_TRUE(editor.IDs().empty());
    ASSERT_TRUE(editor.SelectMask(3));
    EXPECT_EQ(std::vector<uint16_t>{7}, editor.IDs());
    EXPECT_FALSE(editor.IsPortTicked(1));

    // The PE keeps its masks until the edit is accepted.
    EXPECT_EQ(std::vector<int>{2}, MaskIDs(m_pSwitch->Multicast));
    editor.Accept();
    const CMulticastInfo& stored = m_pSwitch->Multicast;
    EXPECT_EQ((std::vector<int>{0, 3}), MaskIDs(stored));
    EXPECT_EQ(std::vector<uint8_t>{1}, stored.GetMask(stored.FindMask(0))->Ports);
    EXPECT_EQ(std::vector<uint16_t>{7}, stored.GetMask(stored.FindMask(3))->DestIDs);
    EXPECT_TRUE(stored.bCapsValid) << "the capabilities go along with the copy";
    EXPECT_TRUE(m_ui.questions.isEmpty()) << "no target: nothing offered";
}

TEST_F(CMulticastEditorTest, AcceptOffersTheUpdateOnlyForChangedIdsWithATarget)
{
    // Ports ticked, no ID touched: stored without a question.
    {
        CMulticastEditor editor(m_map, *m_pSwitch, true);
        editor.TickPort(1, true);
        editor.Accept();
        EXPECT_TRUE(m_ui.questions.isEmpty());
        const SMulticastMask* pMask = m_pSwitch->Multicast.GetMask(m_pSwitch->Multicast.FindMask(2));
        ASSERT_TRUE(pMask);
        EXPECT_EQ((std::vector<uint8_t>{0, 1, 4}), pMask->Ports);
    }
    // An ID added: the question; No stores the edit and writes nothing.
    {
        CMulticastEditor editor(m_map, *m_pSwitch, true);
        ASSERT_TRUE(editor.AddID("22h"));
        m_ui.answers = {eAnswerNo};
        editor.Accept();
        EXPECT_EQ(QStringList{kUpdateQuestion}, m_ui.questions);
        EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join('|').toStdString();
        EXPECT_EQ((std::vector<uint16_t>{0x21, 0x22}), m_pSwitch->Multicast.GetMask(0)->DestIDs);
        EXPECT_TRUE(editor.Changed()) << "the switch still lacks the change";
    }
    // Without a target the edit is only stored.
    m_ui.questions.clear();
    CMulticastEditor editor(m_map, *m_pSwitch, false);
    ASSERT_TRUE(editor.RemoveID(0));
    editor.Accept();
    EXPECT_TRUE(m_ui.questions.isEmpty());
    EXPECT_EQ(std::vector<uint16_t>{0x22}, m_pSwitch->Multicast.GetMask(0)->DestIDs);
}

// ---- The edit and update on simulated switches ---------------------------------------------------

// host0 on port 0 of a Tsi578 given the standard multicast registers; endpoints on ports 1 to 3.
std::string Fabric(const char* pszSwitch = "model=tsi578 multicast masks=4 perportassoc")
{
    return std::string(kHostLine) + "device sw switch " + pszSwitch +
           "\ndevice a endpoint device=0x1001 memory\ndevice b endpoint device=0x1002 memory\n"
           "device c endpoint device=0x1003 memory\n"
           "host host0\nlink host0:0 sw:0\nlink sw:1 a:0\nlink sw:2 b:0\nlink sw:3 c:0\n";
}

class CMulticastUpdateTest : public CClientSimTest
{
protected:
    void Discover(const std::string& strTopology)
    {
        m_map = CNetworkDocument();
        m_pSwitch = nullptr;
        Load(strTopology);
        SDiscoveryRequest request;
        request.bEnumerate = true;
        request.bTryAllClockRates = false;
        ASSERT_EQ(0, StandardDiscovery(request, m_map, &m_host, {})) << m_ui.messages.join('|').toStdString();
        for (const auto& pPE : m_map.ActivePEs)
            m_pSwitch = (pPE->uType & kPETypeSwitch) ? pPE.get() : m_pSwitch;
        ASSERT_TRUE(m_pSwitch);
        m_ui.messages.clear();
    }
    // EditMulticast from the map with a target, the dialog doing what edit does and pressing OK.
    bool Edit(const std::function<void(CMulticastEditor&)>& edit, bool bFetchCaps = true)
    {
        m_nDialogs = 0;
        return EditMulticast(m_map, *m_pSwitch, true, bFetchCaps,
                             [&](CMulticastEditor& editor)
                             {
                                 ++m_nDialogs;
                                 edit(editor);
                                 editor.Accept();
                                 return true;
                             });
    }
    std::optional<std::vector<uint8_t>> HardwarePorts(uint16_t wID, uint8_t uchIngress)
    {
        return m_pFabric->Device("sw").MulticastPorts(wID, false, uchIngress);
    }

    CNetworkDocument m_map;
    CPEPrimitive* m_pSwitch = nullptr;
    int m_nDialogs = 0;
};

TEST_F(CMulticastUpdateTest, OnlySwitchesOfThePerPortModelAloneAreEditedAndMissingCapsAreRead)
{
    // Per-port association alone: edited, after the capabilities were read from the switch.
    Discover(Fabric());
    m_pSwitch->Multicast = CMulticastInfo();
    EXPECT_TRUE(Edit([](CMulticastEditor&) {}));
    EXPECT_EQ(1, m_nDialogs);
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join('|').toStdString();
    EXPECT_TRUE(m_pSwitch->Multicast.bCapsValid);
    EXPECT_TRUE(m_pSwitch->Multicast.bSupportsPerPortAssociation);
    EXPECT_EQ(4, m_pSwitch->Multicast.iMaxMasks);
    EXPECT_EQ(256, m_pSwitch->Multicast.iMaxAssociationsPerMask);

    // The browser's edit doesn't read them: a PE without them is refused.
    m_pSwitch->Multicast = CMulticastInfo();
    EXPECT_FALSE(Edit([](CMulticastEditor&) {}, false));
    EXPECT_EQ(0, m_nDialogs);
    EXPECT_EQ(QStringList{"There is no multicast support information stored for the PE that you have "
                          "selected.\n\nPlease connect and try again.\n"},
              m_ui.messages);

    // A read that fails says why, and nothing is stored.
    m_ui.messages.clear();
    m_pFabric->Link("host0", 0)->LoseResponses(100);
    EXPECT_FALSE(Edit([](CMulticastEditor&) {}));
    m_pFabric->Link("host0", 0)->ClearFaults();
    EXPECT_EQ(0, m_nDialogs);
    ASSERT_EQ(1, m_ui.messages.size());
    const QString strLead = QStringLiteral("Unable to retrieve multicast support information from the PE.  "
                                           "The following\nerror was reported:\n\n");
    EXPECT_TRUE(m_ui.messages[0].startsWith(strLead)) << m_ui.messages[0].toStdString();
    EXPECT_GT(m_ui.messages[0].size(), strLead.size()) << "the error's text follows";
    EXPECT_FALSE(m_pSwitch->Multicast.bCapsValid);

    // The simple model is refused first, though the switch offers the per-port model too; the
    // capabilities read are kept.
    Discover(Fabric("model=tsi578 multicast masks=4 simpleassoc perportassoc"));
    m_pSwitch->Multicast = CMulticastInfo();
    EXPECT_TRUE(Edit([](CMulticastEditor&) {})) << "the capabilities read changed the map";
    EXPECT_EQ(0, m_nDialogs);
    EXPECT_EQ(QStringList{"Simple Association Multipath model is currently not supported.\n"}, m_ui.messages);
    EXPECT_TRUE(m_pSwitch->Multicast.bSupportsSimpleAssociation);

    // A switch without multicast at all.
    Discover(Fabric("model=tsi578"));
    EXPECT_FALSE(Edit([](CMulticastEditor&) {}));
    EXPECT_EQ(0, m_nDialogs);
    EXPECT_EQ(QStringList{"This switch does not support multicast."}, m_ui.messages);
}

TEST_F(CMulticastUpdateTest, UpdateReplacesTheSwitchsMasksAndAWriteToTheGroupThenReachesBothEndpoints)
{
    Discover(Fabric());
    // The map's mask 3 (ID 90h to port 3) is on the switch as well.
    CMulticastInfo& info = m_pSwitch->Multicast;
    const int iOld = info.AddMask(3);
    info.AddDestID(iOld, 0x90);
    info.AddPort(iOld, 3);
    ASSERT_TRUE(DownloadMulticast(m_map, *m_pSwitch));
    ASSERT_EQ(std::vector<uint8_t>{3}, HardwarePorts(0x90, 0));

    // The edit empties mask 3 and makes mask 1: the group ID to ports 1 and 2.
    EXPECT_TRUE(Edit(
        [](CMulticastEditor& editor)
        {
            ASSERT_EQ(3, editor.CurrentMask());
            ASSERT_TRUE(editor.RemoveID(0));
            editor.TickPort(3, false);
            ASSERT_TRUE(editor.SelectMask(1));
            editor.TickPort(1, true);
            editor.TickPort(2, true);
            ASSERT_TRUE(editor.AddID(QString::asprintf("%Xh", kGroup)));
        }));
    EXPECT_EQ(QStringList{kUpdateQuestion}, m_ui.questions);
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join('|').toStdString();

    EXPECT_EQ(std::vector<uint8_t>{}, HardwarePorts(0x90, 0)) << "the removed mask is gone from the switch";
    for (uint8_t uchIngress = 0; uchIngress < 16; ++uchIngress)
        EXPECT_EQ((std::vector<uint8_t>{1, 2}), HardwarePorts(kGroup, uchIngress)) << int{uchIngress};
    ASSERT_EQ(1, info.GetNumMasks());
    EXPECT_EQ(1, info.GetMask(0)->MaskID);

    // One NWRITE (no response) to the group ID lands in the memory of a and b, not c.
    const uint8_t aData[] = {0xCA, 0xFE, 0xF0, 0x0D};
    ASSERT_EQ(0, m_pFabric->DataWrite(0, kGroup, 0, 0x2000, 1, aData, 4, false));
    for (const char* pszDevice : {"a", "b", "c"})
    {
        uint8_t aStored[4] = {};
        m_pFabric->Device(pszDevice).ReadMemory(0x2000, aStored, 4);
        EXPECT_EQ(std::string(pszDevice) != "c", std::equal(aData, aData + 4, aStored)) << pszDevice;
    }
    // Without routes of its own the switch gets no routing table entries from the update.
    for (const auto& pTable : m_pSwitch->RoutingTables)
        EXPECT_TRUE(!pTable || pTable->FindEntry(kGroup) < 0);
}

TEST_F(CMulticastUpdateTest, AFailingWriteEndsTheUpdateWithItsTextAndKeepsTheEdit)
{
    Discover(Fabric());
    // The switch refuses the associations: the ports of the mask are written, the rest isn't.
    m_pTransport->fnIntercept = [](const SMaintAccess& access, uint32_t*, int32_t* pnStatus)
    {
        if (access.bWrite && access.ulOffset == 0x84)
        {
            *pnStatus = NVXL_ERR_TIMEOUT;
            return true;
        }
        return false;
    };
    std::unique_ptr<CMulticastEditor> pKept;
    EXPECT_TRUE(EditMulticast(m_map, *m_pSwitch, true, true,
                              [&](CMulticastEditor& editor)
                              {
                                  editor.TickPort(2, true);
                                  EXPECT_TRUE(editor.AddID("81h"));
                                  editor.Accept();
                                  EXPECT_TRUE(editor.Changed()) << "the switch lacks the change still";
                                  return true;
                              }));
    EXPECT_EQ(QStringList{"Unable to associate destination ID 129 to mask 0.\n"}, m_ui.messages);
    EXPECT_TRUE(dynamic_cast<nvsim::CStdDevice&>(m_pFabric->Device("sw")).MulticastMaskHasPort(0, 2));
    EXPECT_FALSE(HardwarePorts(0x81, 0));
    ASSERT_EQ(1, m_pSwitch->Multicast.GetNumMasks()) << "the edit is kept in the map";
    EXPECT_EQ(std::vector<uint16_t>{0x81}, m_pSwitch->Multicast.GetMask(0)->DestIDs);
}

TEST_F(CMulticastUpdateTest, ASwitchThatNeedsRoutesGetsAMulticastEntryInEveryPortsTable)
{
    // A CPS-1848 (a table per port) given the standard multicast registers too; its map says it
    // takes per-port associations and needs routes, as a map file may.
    Discover(Fabric("model=cps1848 multicast masks=8 perportassoc"));
    ASSERT_TRUE(m_pSwitch->bHasPerPortRoutingTables);
    CMulticastInfo& info = m_pSwitch->Multicast;
    info.bSupportsPerPortAssociation = true;
    info.bNeedsRoutes = true;
    info.iMaxMasks = 8;
    for (auto& pTable : m_pSwitch->RoutingTables)
    {
        if (pTable)
            pTable->bModified = false;
    }
    m_pTransport->bRecord = true;

    CMulticastEditor editor(m_map, *m_pSwitch, true);
    ASSERT_TRUE(editor.SelectMask(5));
    editor.TickPort(0, true);
    editor.TickPort(7, true);
    ASSERT_TRUE(editor.AddID("80h"));
    ASSERT_TRUE(editor.Update()) << m_ui.messages.join('|').toStdString();
    EXPECT_FALSE(editor.Changed());
    ASSERT_EQ(1, info.GetNumMasks()) << "the update stored the edit";

    const int nPorts = m_pSwitch->iNumLocalPorts;
    ASSERT_EQ(18, nPorts);
    for (int iPort = 0; iPort < nPorts; ++iPort)
    {
        const CRoutingTable* pTable = m_pSwitch->RoutingTables[static_cast<size_t>(iPort)].get();
        ASSERT_TRUE(pTable) << iPort;
        const int iEntry = pTable->FindEntry(kGroup);
        ASSERT_GE(iEntry, 0) << iPort;
        EXPECT_EQ(eRouteMulticast, pTable->GetEntry(iEntry).eType);
        EXPECT_EQ(5, pTable->GetEntry(iEntry).Port);
        EXPECT_TRUE(pTable->bModified);
        // The switch's own table names the mask as well.
        NVXL_ROUTE_TYPE eType = eNVXL_RouteTypeUndefined;
        uint8_t uchPort = 0;
        uint32_t ulExtra = 0;
        ASSERT_EQ(NVXL_OK, HalRouteGetEntry(m_pSwitch->ManufID, m_pSwitch->DeviceID, 0, 0xFF, 0,
                                            static_cast<uint8_t>(iPort), kGroup, &eType, &uchPort, &ulExtra));
        EXPECT_EQ(eNVXL_RouteTypeMCast, eType) << iPort;
        EXPECT_EQ(5, uchPort) << iPort;
    }
    // The route writes went to the multicast ID itself, at the switch's hop count.
    const auto nToGroup =
        std::count_if(m_pTransport->accesses.begin(), m_pTransport->accesses.end(),
                      [](const SMaintAccess& access) { return access.bWrite && access.ulDestID == kGroup; });
    EXPECT_GE(nToGroup, nPorts);
    for (const SMaintAccess& access : m_pTransport->accesses)
    {
        if (access.ulDestID == kGroup)
        {
            EXPECT_EQ(0, access.uchHopCount);
        }
    }

    // A route write the switch doesn't answer ends the update with the table and the error.
    m_pTransport->fnIntercept = [](const SMaintAccess& access, uint32_t*, int32_t* pnStatus)
    {
        if (access.ulDestID == kGroup)
        {
            *pnStatus = NVXL_ERR_TIMEOUT;
            return true;
        }
        return false;
    };
    ASSERT_TRUE(editor.AddID("81h"));
    EXPECT_FALSE(editor.Update());
    ASSERT_EQ(1, m_ui.messages.size());
    EXPECT_TRUE(m_ui.messages[0].startsWith("Unable to add the multicast route for destination ID 128 to "
                                            "the routing table of port 0."))
        << m_ui.messages[0].toStdString();
    EXPECT_TRUE(editor.Changed());
}
} // namespace
} // namespace nvtest

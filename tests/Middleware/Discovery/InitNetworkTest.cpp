// Initialisation from a template against the simulated fabric: a template made by enumerating one
// fabric brings a second one, fresh from reset, to the same IDs and routing tables; and a template
// that doesn't fit the fabric stops the walk with its reason and writes nothing it shouldn't.
#include "Discovery/DiscoveryInternal.h"
#include "DiscoveryFixture.h"

#include <algorithm>
#include <cstring>

namespace nvtest
{
namespace
{
const char* const kHost = "device host0 endpoint device=0x0001 processor memory id=0x01 largeid=0x0001\n";

// host0 - sw1 - sw2 - ep2, with ep1 on sw1, fresh from reset. The links may be given extra words.
std::string Fabric(const std::string& strEp2Device = "0x1002", const std::string& strHostLink = "",
                   const std::string& strSwitchLink = "")
{
    return std::string(kHost) + "device sw1 " + kSwitch + "\n" + "device sw2 " + kSwitch + "\n" +
           "device ep1 endpoint device=0x1001 memory\n"
           "device ep2 endpoint device=" +
           strEp2Device +
           " memory\n"
           "host host0\n"
           "link host0:0 sw1:0 " +
           strHostLink + "\nlink sw1:1 sw2:0 " + strSwitchLink +
           "\n"
           "link sw1:2 ep1:0\n"
           "link sw2:3 ep2:0\n";
}

bool Contains(const std::string& strText, const std::string& strPart)
{
    return strText.find(strPart) != std::string::npos;
}

constexpr uint32_t kTimeouts = NVXL_DISCOVER_SET_RESPONSE_TIMEOUT | NVXL_DISCOVER_SET_LINK_TIMEOUT;

class CInitNetworkTest : public CDiscoveryTest
{
protected:
    // Enumerates a fabric with IDs from 10h in steps of 3, gives its switches the routes between
    // every pair, and keeps the records as the template.
    void MakeTemplate(const std::string& strTopology, uint32_t ulExtraFlags = 0)
    {
        Load(strTopology);
        ASSERT_EQ(0, Discover(NVXL_DISCOVER_ENUMERATE | ulExtraFlags, 2, 0x10, 3));
        std::vector<uint32_t> switches;
        for (const NVXL_PE* pPE : m_pNetwork->PEs(NVXL_PE_SWITCH))
            switches.push_back(pPE->ulNodeID);
        NVXL_RT_GenerateRoutes(m_pNetwork->network.ulNumPEs, m_pNetwork->network.pPEs,
                               m_pNetwork->network.ulNumConnections, m_pNetwork->network.pConnections,
                               switches.data(), static_cast<uint32_t>(switches.size()), nullptr, nullptr);
        m_pTemplate = std::move(m_pNetwork);
    }
    // Loads a fresh fabric and initialises it from the template, with every access recorded.
    NVXL_STATUS Init(const std::string& strTopology, uint32_t ulFlags = kTimeouts)
    {
        Load(strTopology);
        m_pTransport->bRecord = true;
        m_log.clear();
        m_errors.clear();
        m_debug.clear();
        return NVXL_InitNetwork(ulFlags, 0x00123400u, 0x00567800u, &m_pTemplate->network);
    }
    std::vector<SMaintAccess> Writes() const
    {
        std::vector<SMaintAccess> writes;
        std::copy_if(m_pTransport->accesses.begin(), m_pTransport->accesses.end(), std::back_inserter(writes),
                     [](const SMaintAccess& access) { return access.bWrite; });
        return writes;
    }
    uint32_t SmallID(const char* pszDevice) { return (Device(pszDevice).Reg(0x60) >> 16) & 0xFFu; }

    std::unique_ptr<SNetwork> m_pTemplate;
};

TEST_F(CInitNetworkTest, AFreshFabricTakesTheTemplatesIDsTablesAndTimeoutsAndNothingElse)
{
    MakeTemplate(Fabric());
    const NVXL_PE* pEp1 = m_pTemplate->ByDevice(0x1001);
    const NVXL_PE* pEp2 = m_pTemplate->ByDevice(0x1002);
    ASSERT_TRUE(pEp1 && pEp2);
    ASSERT_EQ(0x10u, pEp2->wShortDestID);
    ASSERT_EQ(0x13u, pEp1->wShortDestID);

    for (uint32_t i = 0; i < m_pTemplate->network.ulNumConnections; i++)
        m_pTemplate->connections[i].ulState = NVXL_CONNECTION_DOWN;
    ASSERT_EQ(0, Init(Fabric())) << LogText();
    EXPECT_TRUE(m_errors.empty());
    EXPECT_EQ(2u, SmallID("host0"));
    EXPECT_EQ(0x10u, SmallID("ep2"));
    EXPECT_EQ(0x13u, SmallID("ep1"));

    // Every entry of every table of the template routes in the switch as it says; the temporary
    // entries that reached the endpoints were overwritten.
    size_t nEntries = 0;
    for (const NVXL_PE* pSwitch : m_pTemplate->PEs(NVXL_PE_SWITCH))
    {
        const std::string strName = pSwitch->ulNodeID == 1 ? "sw1" : "sw2";
        for (uint32_t ulPort = 0; ulPort < pSwitch->ulNumPorts; ulPort++)
        {
            const int32_t lHandle = pSwitch->alRouteTables[ulPort];
            if (lHandle == NVXL_NO_TABLE)
                continue;
            uint32_t ulPos = 0;
            for (const NVXL_RT_ENTRY* pEntry = NVXL_RT_FirstEntry(lHandle, &ulPos); pEntry;
                 pEntry = NVXL_RT_NextEntry(lHandle, &ulPos), nEntries++)
            {
                uint8_t uchEgress = 0xEE;
                ASSERT_TRUE(
                    Device(strName).Route(pEntry->wDestID, false, static_cast<uint8_t>(ulPort), &uchEgress))
                    << strName << " port " << ulPort << " ID " << pEntry->wDestID;
                EXPECT_EQ(pEntry->uchPort, uchEgress)
                    << strName << " port " << ulPort << " ID " << pEntry->wDestID;
            }
        }
    }
    EXPECT_GE(nEntries, 6u);
    uint8_t uchEgress = 0;
    ASSERT_TRUE(Device("sw1").Route(0x10, false, 0, &uchEgress));
    EXPECT_EQ(1u, uchEgress) << "ep2 lies behind sw2";

    // Time-outs on the host and every PE walked; no breadcrumb, lock or Discovered bit anywhere.
    for (const char* pszName : {"host0", "sw1", "sw2", "ep1", "ep2"})
    {
        EXPECT_EQ(0x00567800u, Device(pszName).Reg(0x120) & 0xFFFFFF00u) << pszName;
        EXPECT_EQ(0x00123400u, Device(pszName).Reg(0x124) & 0xFFFFFF00u) << pszName;
        EXPECT_EQ(0xFFFFu, Device(pszName).Reg(0x68)) << pszName;
        EXPECT_EQ(0u, Device(pszName).Reg(0x6C)) << pszName;
    }
    for (const SMaintAccess& access : Writes())
    {
        EXPECT_NE(0x68u, access.ulOffset);
        EXPECT_NE(0x6Cu, access.ulOffset);
    }

    const std::string strLog = LogText();
    const int nEp1 = static_cast<int>(pEp1->ulNodeID) + 1, nEp2 = static_cast<int>(pEp2->ulNodeID) + 1;
    EXPECT_TRUE(Contains(strLog, "Endpoint at node " + std::to_string(nEp1) + " has been initialized.\n"));
    EXPECT_TRUE(Contains(strLog, "Endpoint at node " + std::to_string(nEp2) + " has been initialized.\n"));
    EXPECT_TRUE(Contains(strLog, "Routing responses in port 1, out port 0 to DestID 2 (host)\n"));
    EXPECT_TRUE(Contains(strLog, "Downloading routing table for port 0 to node 2\n"));
    // sw2's tables go down before sw1's, which carry the way to it.
    EXPECT_LT(strLog.find("to node 3\n"), strLog.find("Downloading routing table for port 0 to node 2\n"));
    EXPECT_TRUE(Contains(m_debug, "Set Short DestID:10\n"));
    // The links the walk went through are up again in the records.
    for (const NVXL_CONNECTION* pConnection : m_pTemplate->Connections())
    {
        if (pConnection->ulTypeB != NVXL_PE_EMPTY && pConnection->ulNodeA != 0)
        {
            EXPECT_EQ(NVXL_CONNECTION_UP, pConnection->ulState);
        }
    }
}

TEST_F(CInitNetworkTest, ADeviceThatIsNotTheTemplatesStopsTheWalkBeforeAnythingIsWrittenToIt)
{
    MakeTemplate(Fabric());
    // ep2 (behind sw2) is another part; ep1, which the walk reaches after it, is never touched.
    EXPECT_EQ(NVXL_ERR_UNSPECIFIED, Init(Fabric("0x1009")));
    EXPECT_TRUE(m_errors.empty()) << "a mismatch is told in the log, not as a HAL failure";
    const std::string strLog = LogText();
    EXPECT_TRUE(Contains(strLog, "PE device/vendor IDs do not match network template.\n")) << strLog;
    const NVXL_PE* pEp2 = m_pTemplate->ByDevice(0x1002);
    ASSERT_TRUE(pEp2);
    EXPECT_TRUE(
        Contains(strLog, "Node " + std::to_string(pEp2->ulNodeID + 1) +
                             " of the template is DeviceID=1002h VendorID=FFF0h; the PE at hop count 2 "
                             "behind port 3 of node 3 is DeviceID=1009h VendorID=FFF0h.\n"))
        << strLog;
    EXPECT_FALSE(Contains(strLog, "Downloading routing table"));
    EXPECT_EQ(0xFFu, SmallID("ep2"));
    EXPECT_EQ(0xFFu, SmallID("ep1"));
    // The switches on the way were set up before the walk reached ep2; the endpoints keep their reset state.
    for (const char* pszName : {"sw1", "sw2"})
        EXPECT_EQ(0x00123400u, Device(pszName).Reg(0x124) & 0xFFFFFF00u) << pszName;
    for (const char* pszName : {"ep1", "ep2"})
        EXPECT_EQ(0xFFFFFF00u, Device(pszName).Reg(0x124) & 0xFFFFFF00u) << pszName << " keeps its time-out";
    // The last access is the read of ep2's identity: nothing was written after it.
    ASSERT_FALSE(m_pTransport->accesses.empty());
    const SMaintAccess& last = m_pTransport->accesses.back();
    EXPECT_FALSE(last.bWrite);
    EXPECT_EQ(0u, last.ulOffset);
    EXPECT_EQ(2u, last.uchHopCount);
}

TEST_F(CInitNetworkTest, AnotherHostOrAnUntrainedHostPortEndsAtTheHost)
{
    MakeTemplate(Fabric());
    // Another host part: nothing at all is written.
    const std::string strOtherHost =
        std::string(Fabric()).replace(Fabric().find("device=0x0001"), 13, "device=0x0002");
    EXPECT_EQ(NVXL_ERR_UNSPECIFIED, Init(strOtherHost));
    EXPECT_TRUE(Contains(LogText(),
                         "Host PE does not match network template.\nNode 1 of the template is "
                         "DeviceID=0001h VendorID=FFF0h; the host PE is DeviceID=0002h VendorID=FFF0h.\n"))
        << LogText();
    EXPECT_TRUE(Writes().empty());

    // The host's link down: the host takes its ID (the first step), and the walk goes no further.
    EXPECT_EQ(NVXL_ERR_UNSPECIFIED, Init(Fabric("0x1002", "trained=no")));
    EXPECT_TRUE(Contains(LogText(), "Host port is not trained.\n")) << LogText();
    uint32_t ulFar = 0, ulFarPort = 0;
    const NVXL_CONNECTION* pHostLink = FindConnectionAtPort(&m_pTemplate->network, 0, 0, &ulFar, &ulFarPort);
    ASSERT_TRUE(pHostLink);
    EXPECT_EQ(NVXL_CONNECTION_DOWN, pHostLink->ulState);
    EXPECT_EQ(2u, SmallID("host0"));
    for (const SMaintAccess& access : Writes())
        EXPECT_EQ(NVXL_HOST_DESTID, access.ulDestID) << "offset " << access.ulOffset;
}

TEST_F(CInitNetworkTest, AnUntrainedSwitchLinkIsRecordedDownAndEndsTheWalk)
{
    MakeTemplate(Fabric());
    EXPECT_EQ(NVXL_ERR_UNSPECIFIED, Init(Fabric("0x1002", "", "trained=no")));
    const std::string strLog = LogText();
    EXPECT_TRUE(Contains(strLog,
                         "Port is not trained.\nPort 1 of node 2, which leads to node 3 in the template, is "
                         "not trained.\n"))
        << strLog;
    const NVXL_PE& sw1 = m_pTemplate->pes[1];
    EXPECT_EQ(0u, sw1.asPorts[1].ulActive);
    uint32_t ulFar = 0, ulFarPort = 0;
    const NVXL_CONNECTION* pLink = FindConnectionAtPort(&m_pTemplate->network, 1, 1, &ulFar, &ulFarPort);
    ASSERT_TRUE(pLink);
    EXPECT_EQ(NVXL_CONNECTION_DOWN, pLink->ulState);
    // sw1 was set up as far as its first port: its tables never went down.
    EXPECT_EQ(0x00123400u, Device("sw1").Reg(0x124) & 0xFFFFFF00u);
    EXPECT_FALSE(Contains(strLog, "Downloading routing table"));
}

TEST_F(CInitNetworkTest, TemplatesWithoutAWayInAreRefused)
{
    Load(Fabric());
    SNetwork empty;
    EXPECT_EQ(NVXL_ERR_INVALID_PARAM, NVXL_InitNetwork(kTimeouts, 0, 0, &empty.network));
    EXPECT_EQ("No PEs found in network.\n", LogText());

    // A host alone, with no link at its port 0.
    m_log.clear();
    SNetwork lonely;
    lonely.network.ulNumPEs = 1;
    lonely.pes[0].ulValid = 1;
    lonely.pes[0].ulNodeID = 0;
    lonely.pes[0].wDeviceID = 0x0001;
    lonely.pes[0].wVendorID = 0xFFF0;
    m_pTransport->bRecord = true;
    EXPECT_EQ(NVXL_ERR_UNSPECIFIED, NVXL_InitNetwork(kTimeouts, 0, 0, &lonely.network));
    EXPECT_EQ("No connections found to host PE.\n", LogText());
    EXPECT_TRUE(m_pTransport->accesses.empty());
}

TEST_F(CInitNetworkTest, TheIDWidthIsTheOneThePreviousRunLeft)
{
    MakeTemplate(Fabric());
    // The discovery that made the template ran with small IDs; a first large run still uses them.
    // The host's ID is taken from the record's large field; the endpoints are looked for by their
    // large original ID (FFFFh), which small transport doesn't carry, so the walk ends at the first.
    EXPECT_NE(0, Init(Fabric(), kTimeouts | NVXL_DISCOVER_USE_LONG_DESTIDS));
    EXPECT_EQ(0u, HalGetLargeTransport());
    EXPECT_TRUE(Contains(m_debug, "Set Long DestID:0001\n")) << m_debug;
    EXPECT_TRUE(Contains(LogText(), "Setting routing tables up for destID FFFFh\n"));
    // The next run goes by the width that this one stored.
    EXPECT_EQ(NVXL_ERR_INVALID_PARAM, NVXL_InitNetwork(kTimeouts, 0, 0, nullptr));
    EXPECT_EQ(1u, HalGetLargeTransport());
    NVXL_InitNetwork(0, 0, 0, nullptr);
    EXPECT_EQ(0u, HalGetLargeTransport()) << "back to small for the run after";
}
} // namespace
} // namespace nvtest

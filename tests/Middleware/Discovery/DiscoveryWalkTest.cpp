// Standard discovery against the simulated fabric: what it records, what it leaves in the devices,
// and how it ends on every kind of trouble a fabric offers.
#include "Discovery/DiscoveryInternal.h"
#include "DiscoveryFixture.h"

#include <algorithm>
#include <cstring>

namespace nvtest
{
namespace
{
const char* const kHost = "device host0 endpoint device=0x0001 processor memory id=0x01 largeid=0x0001\n";

std::string Switch(const std::string& strName, const std::string& strExtra = "")
{
    return "device " + strName + " " + kSwitch + " " + strExtra + "\n";
}

// host0 - sw1 - sw2 - ep2, with ep1 on sw1.
std::string Chain(const std::string& strEndpointExtra = "", const std::string& strSwitchExtra = "")
{
    return std::string(kHost) + Switch("sw1", strSwitchExtra) + Switch("sw2", strSwitchExtra) +
           "device ep1 endpoint device=0x1001 memory " + strEndpointExtra + "\n" +
           "device ep2 endpoint device=0x1002 memory " + strEndpointExtra + "\n" +
           "host host0\n"
           "link host0:0 sw1:0\n"
           "link sw1:1 sw2:0\n"
           "link sw1:2 ep1:0\n"
           "link sw2:3 ep2:0\n";
}

size_t Count(const std::vector<std::string>& lines, const std::string& strLine)
{
    return static_cast<size_t>(std::count(lines.begin(), lines.end(), strLine));
}

bool Contains(const std::string& strText, const std::string& strPart)
{
    return strText.find(strPart) != std::string::npos;
}

const NVXL_CONNECTION* ConnectionBetween(const SNetwork& network, uint32_t ulNodeA, uint32_t ulPortA,
                                         uint32_t ulNodeB, uint32_t ulPortB)
{
    for (const NVXL_CONNECTION* pConnection : network.Connections())
    {
        if ((pConnection->ulNodeA == ulNodeA && pConnection->ulPortA == ulPortA &&
             pConnection->ulNodeB == ulNodeB && pConnection->ulPortB == ulPortB) ||
            (pConnection->ulNodeA == ulNodeB && pConnection->ulPortA == ulPortB &&
             pConnection->ulNodeB == ulNodeA && pConnection->ulPortB == ulPortA))
            return pConnection;
    }
    return nullptr;
}

constexpr uint32_t kEnumerate = NVXL_DISCOVER_ENUMERATE;

TEST_F(CDiscoveryTest, EnumerationRecordsTheChainAndLeavesOnlyIDsAndMarksBehind)
{
    Load(Chain());
    const uint32_t ulFlags = kEnumerate | NVXL_DISCOVER_SET_DISCOVERED | NVXL_DISCOVER_SET_RESPONSE_TIMEOUT |
                             NVXL_DISCOVER_SET_LINK_TIMEOUT;
    ASSERT_EQ(0, Discover(ulFlags));
    EXPECT_TRUE(m_errors.empty());

    // The host comes first, with the ID it was given and the one it had.
    const NVXL_PE& host = m_pNetwork->pes[0];
    EXPECT_EQ(1u, host.ulValid);
    EXPECT_STREQ("1fff0", host.szUniqueID);
    EXPECT_EQ(1u, host.wShortDestID);
    EXPECT_EQ(1u, host.wOrigShortDestID);
    EXPECT_EQ(NVXL_PE_PROCESSOR | NVXL_PE_MEMORY, host.ulTypeFlags);
    EXPECT_EQ(1u, host.asPorts[0].ulActive);

    // Depth first in port order: ep2 behind sw2 takes the first ID, ep1 the second.
    const NVXL_PE* pSw1 = m_pNetwork->ByUniqueID("1fff00037438");
    const NVXL_PE* pSw2 = m_pNetwork->ByUniqueID("1fff000374381037438");
    const NVXL_PE* pEp1 = m_pNetwork->ByDevice(0x1001);
    const NVXL_PE* pEp2 = m_pNetwork->ByDevice(0x1002);
    ASSERT_TRUE(pSw1 && pSw2 && pEp1 && pEp2);
    EXPECT_EQ(1u, pSw1->ulNodeID);
    EXPECT_EQ(2u, pSw2->ulNodeID);
    EXPECT_STREQ("1fff000374381037438301002fff0", pEp2->szUniqueID);
    EXPECT_EQ(5u, pEp2->wShortDestID);
    EXPECT_EQ(10u, pEp1->wShortDestID);
    EXPECT_EQ(0xFFu, pEp1->wOrigShortDestID);
    EXPECT_EQ(5u, (Device("ep2").Reg(0x60) >> 16) & 0xFFu);
    EXPECT_EQ(10u, (Device("ep1").Reg(0x60) >> 16) & 0xFFu);
    for (const NVXL_PE* pSwitch : {pSw1, pSw2})
    {
        EXPECT_EQ(NVXL_PE_SWITCH, pSwitch->ulTypeFlags);
        EXPECT_EQ(0u, pSwitch->ulHasDestID);
        EXPECT_EQ(1u, pSwitch->ulPerPortTables);
        EXPECT_EQ(18u, pSwitch->ulNumPorts);
        EXPECT_EQ(0xFFFFu, pSwitch->wOrigShortDestID);
    }
    // Every port that leads nowhere has an empty record behind a down connection.
    const std::vector<const NVXL_PE*> empty = m_pNetwork->PEs(NVXL_PE_EMPTY);
    EXPECT_EQ(15u + 16u, empty.size());
    for (const NVXL_CONNECTION* pConnection : m_pNetwork->Connections())
    {
        EXPECT_EQ(pConnection->ulTypeB == NVXL_PE_EMPTY, pConnection->ulState == NVXL_CONNECTION_DOWN);
    }
    const NVXL_CONNECTION* pLink = ConnectionBetween(*m_pNetwork, 1, 1, 2, 0);
    ASSERT_TRUE(pLink);
    EXPECT_EQ(1u, pLink->ulNodeA) << "end A is the end nearer the host";
    EXPECT_EQ(NVXL_CONNECTION_UP, pLink->ulState);
    ASSERT_TRUE(ConnectionBetween(*m_pNetwork, 2, 3, pEp2->ulNodeID, 0));

    // Locks given back, temporary routes undone, breadcrumbs of one session, Discovered set.
    const uint32_t ulBreadcrumb = Device("host0").Reg(0x6C) & 0xFFFFFF00u;
    for (const char* pszName : {"host0", "sw1", "sw2", "ep1", "ep2"})
    {
        EXPECT_EQ(0xFFFFu, Device(pszName).Reg(0x68)) << pszName;
        EXPECT_EQ(ulBreadcrumb, Device(pszName).Reg(0x6C) & 0xFFFFFF00u) << pszName;
        EXPECT_NE(0u, Device(pszName).Reg(0x13C) & 0x20000000u) << pszName;
    }
    EXPECT_EQ(pEp2->ulNodeID, Device("ep2").Reg(0x6C) & 0xFFu);
    for (const char* pszName : {"sw1", "sw2"})
    {
        uint8_t uchEgress = 0;
        EXPECT_FALSE(Device(pszName).Route(0xFF, false, 0, &uchEgress)) << pszName;
        EXPECT_FALSE(Device(pszName).Route(0x01, false, 1, &uchEgress)) << pszName;
        EXPECT_FALSE(Device(pszName).Route(0x05, false, 0, &uchEgress)) << pszName;
        // Switches without an ID of their own get no response time-out, every switch a link time-out.
        EXPECT_EQ(0x00FFFF00u, Device(pszName).Reg(0x120)) << pszName;
        EXPECT_EQ(0xFFFFFF00u, Device(pszName).Reg(0x124)) << pszName;
    }
    EXPECT_EQ(0x00FFFF00u, Device("host0").Reg(0x124));

    // What the application saw.
    ASSERT_GE(m_progress.size(), 3u);
    EXPECT_EQ("Beginning standard network discovery...", m_progress.front());
    EXPECT_EQ("Enumerating RapidIO Network.  Please wait...", m_progress[1]);
    EXPECT_EQ("Network discovery complete.", m_progress.back());
    EXPECT_EQ(1u, Count(m_progress, "FOUND DEVICE HopCount=01:  DeviceID=0374h  VendorID=0038h"));
    ASSERT_EQ(5u, m_found.size());
    EXPECT_EQ("1 0001 fff0 ffff 0", m_found[0]);
    EXPECT_EQ("0 0374 0038 00ff 0", m_found[1]);
    EXPECT_EQ("0 1002 fff0 00ff 2", m_found[3]);
    EXPECT_TRUE(Contains(LogText(),
                         "Settings...\n\tPriority: High\n\tNoLocks: No\n\tBreakLocks: No\n\tIgnoreLocks: "
                         "No\n\tTryAllClockRates: No\n\tEnumerate: Yes\n\tUseLongDestIDs: No\n"
                         "\tScanExistingPEIDs: No\n\tSetDiscovered: Yes\n\tSetResponseTimeout: Yes\n"
                         "\tUploadRoutingTables: No\n\tSkipUploadUnusedPorts: No\n\tSetLinkTimeout: Yes\n"
                         "\tAssignVDIDs: No\n\tHostDestID: 1h\n\tFirstDestID: 5h\n\tDestIDIncr: 5h\n"
                         "\tResponseTimeout: FFFF00h\n\tLinkTimeout: FFFF00h\nScan Sequence: \n"
                         "Discovery initialization is complete.\n"
                         "Performing standard discovery with enumeration.\n"));
    EXPECT_EQ("Network discovery complete.\n", m_log.back());
}

TEST_F(CDiscoveryTest, WithoutEnumerationTheIDsAreReadAndOnlyTheWalksMarksAreWritten)
{
    Load(Chain("id=0x21"));
    m_pTransport->bRecord = true;
    ASSERT_EQ(0, Discover(0, 0x77));
    EXPECT_TRUE(Contains(LogText(), "Host Device ID is 1\n"));
    EXPECT_EQ("Discovering RapidIO Network.  Please wait...", m_progress[1]);
    EXPECT_EQ(0x21u, m_pNetwork->ByDevice(0x1001)->wShortDestID);
    for (const SMaintAccess& access : m_pTransport->accesses)
        EXPECT_FALSE(access.bWrite && access.ulOffset == 0x60) << "an ID was written";
    // The locks are taken with the host's ID as read, and given back.
    EXPECT_NE(m_pTransport->accesses.end(),
              std::find_if(m_pTransport->accesses.begin(), m_pTransport->accesses.end(),
                           [](const SMaintAccess& a)
                           { return a.bWrite && a.ulOffset == 0x68 && a.ulFirstWord == 1; }));
    EXPECT_EQ(0xFFFFu, Device("sw2").Reg(0x68));

    m_pTransport->accesses.clear();
    ASSERT_EQ(0, Discover(NVXL_DISCOVER_NO_LOCKS));
    for (const SMaintAccess& access : m_pTransport->accesses)
        EXPECT_NE(0x68u, access.ulOffset) << "a NoLocks discovery touched a lock";
    EXPECT_TRUE(Contains(LogText(), "\tNoLocks: Yes\n"));
}

TEST_F(CDiscoveryTest, LoopsAddOneConnectionAndAPortWiredToItsOwnSwitchIsALoopback)
{
    Load(std::string(kHost) + Switch("sw1") + Switch("sw2") + Switch("sw3") +
         "device ep1 endpoint device=0x1001\n"
         "host host0\n"
         "link host0:0 sw1:0\n"
         "link sw1:1 sw2:0\n"
         "link sw1:2 sw3:0\n"
         "link sw2:1 sw3:1\n"
         "link sw3:3 sw3:4\n"
         "link sw2:2 ep1:0\n");
    ASSERT_EQ(0, Discover(kEnumerate));
    EXPECT_EQ(3u, m_pNetwork->PEs(NVXL_PE_SWITCH).size());
    // sw3 is reached through sw2 first; the link from sw1 to sw3 closes the ring.
    const NVXL_PE* pSw2 = m_pNetwork->ByUniqueID("1fff000374381037438");
    ASSERT_TRUE(pSw2);
    const NVXL_PE* pSw3 = m_pNetwork->ByUniqueID("1fff0003743810374381137438");
    ASSERT_TRUE(pSw3);
    EXPECT_TRUE(ConnectionBetween(*m_pNetwork, 1, 2, pSw3->ulNodeID, 0));
    EXPECT_TRUE(ConnectionBetween(*m_pNetwork, pSw2->ulNodeID, 1, pSw3->ulNodeID, 1));
    size_t nLoopbacks = 0;
    for (const NVXL_CONNECTION* pConnection : m_pNetwork->Connections())
    {
        if (pConnection->ulLoopback)
        {
            nLoopbacks++;
            EXPECT_EQ(pSw3->ulNodeID, pConnection->ulNodeA);
            EXPECT_EQ(pSw3->ulNodeID, pConnection->ulNodeB);
            EXPECT_EQ(NVXL_CONNECTION_UP, pConnection->ulState);
        }
    }
    EXPECT_EQ(1u, nLoopbacks);
    EXPECT_EQ(4u, Count(m_log, "We've already visited this node."))
        << "sw1 and sw3 once each, the loopback twice";
}

TEST_F(CDiscoveryTest, UntrainedHostPortGivesTwoRecordsAndADownConnection)
{
    Load(std::string(kHost) + Switch("sw1") + "host host0\nlink host0:0 sw1:0 trained=no\n");
    ASSERT_EQ(0, Discover(kEnumerate));
    ASSERT_EQ(2u, m_pNetwork->network.ulNumPEs);
    ASSERT_EQ(1u, m_pNetwork->network.ulNumConnections);
    EXPECT_EQ(NVXL_PE_EMPTY, m_pNetwork->pes[1].ulTypeFlags);
    EXPECT_STREQ("1fff000ffffffff", m_pNetwork->pes[1].szUniqueID);
    EXPECT_EQ(NVXL_CONNECTION_DOWN, m_pNetwork->connections[0].ulState);
    EXPECT_EQ(1u, Count(m_progress, "Note:  The host PE's RapidIO device is not trained."));
    EXPECT_TRUE(Contains(LogText(),
                         "The host PE's RapidIO device is not trained.\nPort is not trained on the host "
                         "device.\n"));
    EXPECT_EQ(0xFFFFu, Device("host0").Reg(0x68)) << "the host's lock is given back";
}

TEST_F(CDiscoveryTest, AnUnansweringDeviceBecomesAnUnknownEndpointWithItsDiagnosis)
{
    Load(Chain() + "device mute endpoint device=0x1003\nlink sw1:3 mute:0\nfault mute:device=mute\n");
    ASSERT_EQ(0, Discover(kEnumerate));
    EXPECT_TRUE(m_errors.empty()) << "an unanswered identity is no failure of the discovery";
    const std::vector<const NVXL_PE*> unknown = m_pNetwork->PEs(NVXL_PE_UNKNOWN);
    ASSERT_EQ(1u, unknown.size());
    const NVXL_PE& pe = *unknown[0];
    EXPECT_STREQ("1fff0003743830ffffffff", pe.szUniqueID);
    EXPECT_EQ(0u, pe.ulHasDestID);
    EXPECT_EQ(0u, std::string(pe.szError)
                      .find("A RapidIO error was encountered while attempting to read the Device ID "
                            "and Vendor ID for this PE during discovery\nThe following RapidIO "
                            "errors were detected:\n[0x00000001] Maintenance response timeout: "
                            "DestID 0xff HopCount 1 Offset 0x0"))
        << pe.szError;
    const NVXL_CONNECTION* pLink = ConnectionBetween(*m_pNetwork, 1, 3, pe.ulNodeID, 0);
    ASSERT_TRUE(pLink);
    EXPECT_EQ(NVXL_CONNECTION_INTERMITTENT, pLink->ulState);
    EXPECT_TRUE(Contains(LogText(),
                         "This is an unknown endpoint\nError -5 (Norvanta Driver Error: RapidIO error.) "
                         "when attempting to read the DeviceID and VendorID for this PE\n"));
    // The walk went on past it: ep1 on the next port was found.
    EXPECT_TRUE(m_pNetwork->ByDevice(0x1001));
}

TEST_F(CDiscoveryTest, ADeviceClosedToTheAllOnesIDIsFoundThroughTheScanSequence)
{
    Load(Chain("accept=own id=0x21"));
    ASSERT_EQ(0, Discover(0, 1, 5, 5, {0x01, 0xFF, 0x100, 0x21, 0x21}));
    EXPECT_TRUE(Contains(LogText(), "Scan Sequence: 1h 21h \n"));
    EXPECT_TRUE(Contains(LogText(), "NOTE:  Destination ID 1 in scan sequence ignored - same as host ID.\n"));
    const NVXL_PE* pEp1 = m_pNetwork->ByDevice(0x1001);
    ASSERT_TRUE(pEp1);
    EXPECT_EQ(0x21u, pEp1->wShortDestID);
    EXPECT_TRUE(m_pNetwork->PEs(NVXL_PE_UNKNOWN).empty());

    // Seeded from the old network: the ID the place had when it was found is tried before the one it
    // was given last, and both before the caller's list.
    SNetwork old(4, 4);
    old.network.ulNumPEs = 3;
    old.network.ulNumConnections = 1;
    std::strcpy(old.pes[0].szUniqueID, "1fff0");
    old.pes[0].ulHasDestID = 1;
    old.pes[0].wShortDestID = 0x01;
    std::strcpy(old.pes[1].szUniqueID, "1fff00037438");
    std::strcpy(old.pes[2].szUniqueID, "unused");
    old.pes[2].ulHasDestID = 1;
    old.pes[2].wShortDestID = 0x21;
    old.pes[2].wOrigShortDestID = 0x33;
    old.connections[0] = {1, 0, 2, 1, 0, 2, 2, 4, "", 0};
    ASSERT_EQ(0, Discover(NVXL_DISCOVER_SCAN_EXISTING_PE_IDS, 1, 5, 5, {0x40}, &old.network));
    const std::string strLog = LogText();
    EXPECT_TRUE(Contains(strLog, "Scan Sequence: 21h 1h 40h \n"));
    // ep2 behind sw2 has no place in the old network; ep1 on sw1 has.
    const size_t nSeeded = strLog.find("Scan Sequence: 33h 21h 1h 40h \n");
    ASSERT_NE(std::string::npos, nSeeded);
    EXPECT_LT(strLog.find("dest ID 33h", nSeeded), strLog.find("dest ID 21h", nSeeded));
    EXPECT_EQ(0x21u, m_pNetwork->ByDevice(0x1001)->wShortDestID);
}

TEST_F(CDiscoveryTest, ALockHeldByAnotherHostIsBrokenOnlyWhenAllowed)
{
    Load(Chain() + "fault lock:device=sw1,holder=0x30\n");
    const std::string strHeld = "The host PE was found to be already locked with an ID of 48.\n  ";
    EXPECT_EQ(NVXL_ERR_HIGHER_PRIORITY, Discover(kEnumerate | NVXL_DISCOVER_IGNORE_LOCKS));
    EXPECT_EQ(1u, Count(m_progress, strHeld + "'BreakLocks' is not set so aborting."));
    ASSERT_EQ(1u, m_errors.size());
    EXPECT_EQ(
        "The following error was encountered while attepting to lock PE (Already locked, 'BreakLocks' not "
        "set)\n[7] Another host has a higher priority.",
        m_errors[0]);
    EXPECT_EQ(15u, s_sleeps.size()) << "the lock is tried once a second for 15 seconds";
    EXPECT_EQ(1u, Device("host0").Reg(0x68)) << "a failed discovery keeps the locks it took";
    EXPECT_EQ(0x30u, Device("sw1").Reg(0x68));

    Device("host0").SetReg(0x68, 0xFFFF);
    ASSERT_EQ(0, Discover(kEnumerate | NVXL_DISCOVER_BREAK_LOCKS));
    EXPECT_EQ(1u, Count(m_progress, strHeld + "Attempting to break lock..."));
    EXPECT_EQ(0xFFFFu, Device("sw1").Reg(0x68)) << "a broken lock is taken and given back";

    // A second host that takes the lock straight back.
    m_pTransport->fnIntercept = [](const SMaintAccess& access, uint32_t* pulValue, int32_t* pnStatus)
    {
        if (access.ulOffset != 0x68 || access.ulDestID != 0xFF || access.uchHopCount != 0)
            return false;
        *pulValue = 0x30;
        *pnStatus = 0;
        return true;
    };
    EXPECT_EQ(NVXL_ERR_LOCKED, Discover(kEnumerate | NVXL_DISCOVER_BREAK_LOCKS));
    EXPECT_EQ(1u, Count(m_progress, "Unable to break the existing lock. Aborting."));
    EXPECT_EQ(
        "The following error was encountered while attepting to break existing lock and re-lock the host PE "
        "(user abort)\n[8] Another host already acquired the specified PE.",
        m_errors.back());
    EXPECT_EQ(0, Discover(kEnumerate | NVXL_DISCOVER_BREAK_LOCKS | NVXL_DISCOVER_IGNORE_LOCKS));
    EXPECT_TRUE(m_pNetwork->ByDevice(0x1002)) << "the walk went on behind the switch it couldn't lock";
}

TEST_F(CDiscoveryTest, TheFiftyFirstNestedSwitchEndsTheDiscovery)
{
    auto chain = [](int nSwitches)
    {
        std::string strText = kHost;
        for (int i = 1; i <= nSwitches; i++)
            strText += "device s" + std::to_string(i) + " switch vendor=0x0038 device=0x0374 ports=2\n";
        strText += "device ep endpoint device=0x1001\nhost host0\nlink host0:0 s1:0\n";
        for (int i = 1; i < nSwitches; i++)
            strText += "link s" + std::to_string(i) + ":1 s" + std::to_string(i + 1) + ":0\n";
        return strText + "link s" + std::to_string(nSwitches) + ":1 ep:0\n";
    };
    Load(chain(50));
    ASSERT_EQ(0, Discover(kEnumerate));
    EXPECT_TRUE(m_pNetwork->ByDevice(0x1001));
    Load(chain(51));
    EXPECT_EQ(NVXL_ERR_TOO_MANY_SWITCHES, Discover(kEnumerate));
    ASSERT_EQ(1u, m_errors.size());
    EXPECT_EQ(
        "The following error was encountered while attempting to add the most recently discovered switch to "
        "the switch stack\n[12] There are too many switches in the network.",
        m_errors[0]);
    EXPECT_EQ(NVXL_ERR_TOO_MANY_SWITCHES, m_errorCodes[0]);
}

TEST_F(CDiscoveryTest, AFullRecordArrayEndsTheDiscoveryWithItsOwnText)
{
    Load(Chain());
    EXPECT_EQ(NVXL_ERR_NO_MEMORY, Discover(kEnumerate, 1, 5, 5, {}, nullptr, 10, 400));
    EXPECT_EQ(10u, m_pNetwork->network.ulNumPEs);
    ASSERT_EQ(1u, m_errors.size());
    EXPECT_EQ(
        "The following error was encountered while attempting to record more PEs than the 10 that a "
        "discovery "
        "can hold (the rest of the network was not walked)\n[14] Not enough memory to complete operation.",
        m_errors[0]);
    EXPECT_EQ(NVXL_ERR_NO_MEMORY, Discover(kEnumerate, 1, 5, 5, {}, nullptr, 400, 3));
    EXPECT_EQ(3u, m_pNetwork->network.ulNumConnections);
    EXPECT_TRUE(Contains(m_errors.at(0), "more connections than the 3 that a discovery can hold"));
}

TEST_F(CDiscoveryTest, LongIDsComeFromTheCounterInSixteenBits)
{
    Load(Chain("", "routelimit=0xFFFF"));
    ASSERT_EQ(0, Discover(kEnumerate | NVXL_DISCOVER_USE_LONG_DESTIDS, 0x1234, 0x100, 1));
    EXPECT_EQ(0x1234u, m_pNetwork->pes[0].wLongDestID);
    EXPECT_EQ(0x1234u, Device("host0").Reg(0x60) & 0xFFFFu);
    EXPECT_EQ(0x100u, m_pNetwork->ByDevice(0x1002)->wLongDestID);
    EXPECT_EQ(0x101u, Device("ep1").Reg(0x60) & 0xFFFFu);
    const NVXL_PE* pSw1 = m_pNetwork->ByUniqueID("1fff00037438");
    EXPECT_EQ(0xFFFFu, pSw1->wLongDestID);
    EXPECT_EQ(0u, pSw1->wShortDestID);
    EXPECT_EQ(1u, pSw1->ulUseLongDestID);
    EXPECT_EQ("0 0374 0038 ffff 0", m_found[1]);
}

// The counter may not hand out the all-ones ID or run past it: the PE that would get it stops the
// enumeration untouched, with a text that names the ID and the way out.
TEST_F(CDiscoveryTest, EnumerationStopsAtThePEThatTheTransportsIDsCannotNumber)
{
    // FEh is the last ID of 8-bit transport and is handed out: ep2 takes F9h, ep1 FEh.
    Load(Chain());
    ASSERT_EQ(0, Discover(kEnumerate, 1, 0xF9, 5));
    EXPECT_EQ(0xFEu, m_pNetwork->ByDevice(0x1001)->wShortDestID);

    Load(Chain());
    EXPECT_EQ(NVXL_ERR_INVALID_PARAM, Discover(kEnumerate, 1, 0xFA, 5));
    ASSERT_EQ(1u, m_errors.size());
    EXPECT_EQ("The following error was encountered while attempting to give the most recently discovered "
              "endpoint destination ID FFh, beyond FEh, the last ID of 8-bit transport. The rest of the "
              "network was not walked: enumerate it with 16-bit IDs, or with a smaller first ID or "
              "increment\n[10] Invalid parameter specified on function call.",
              m_errors[0]);
    EXPECT_EQ(NVXL_ERR_INVALID_PARAM, m_errorCodes[0]);
    EXPECT_EQ("Enumeration stopped: destination ID FFh is beyond FEh, the last ID of 8-bit transport.",
              m_progress.back());
    // ep2 was numbered; ep1 was found and left as it was, with no record.
    EXPECT_EQ(0xFAu, m_pNetwork->ByDevice(0x1002)->wShortDestID);
    EXPECT_EQ(nullptr, m_pNetwork->ByDevice(0x1001));
    EXPECT_EQ(0xFFu, (Device("ep1").Reg(0x60) >> 16) & 0xFFu);

    // 16 bits: the same at FFFFh.
    Load(Chain("", "routelimit=0xFFFF"));
    EXPECT_EQ(NVXL_ERR_INVALID_PARAM, Discover(kEnumerate | NVXL_DISCOVER_USE_LONG_DESTIDS, 1, 0xFFFA, 5));
    ASSERT_EQ(1u, m_errors.size());
    EXPECT_TRUE(Contains(m_errors[0], "endpoint destination ID FFFFh, beyond FFFEh, the last ID of 16-bit "
                                      "transport. The rest of the network was not walked: enumerate it "
                                      "with a smaller first ID or increment\n[10]"))
        << m_errors[0];
    EXPECT_EQ(0xFFFFu, Device("ep1").Reg(0x60) & 0xFFFFu);

    // A switch with an ID of its own: the counter is past FEh before it is written.
    Load(std::string(kHost) + "device pmc switch model=pmc6352\ndevice ep1 endpoint device=0x1001 memory\n"
                              "host host0\nlink host0:0 pmc:3\nlink pmc:0 ep1:0\n");
    EXPECT_EQ(NVXL_ERR_INVALID_PARAM, Discover(kEnumerate, 1, 0x100, 1));
    ASSERT_EQ(1u, m_errors.size());
    EXPECT_TRUE(Contains(m_errors[0], "attempting to give the most recently discovered switch destination ID "
                                      "100h, beyond FEh"))
        << m_errors[0];
    EXPECT_EQ(1u, m_pNetwork->network.ulNumPEs) << "only the host";
    EXPECT_EQ(0xFFu, (Device("pmc").Reg(0x60) >> 16) & 0xFFu);
}

TEST_F(CDiscoveryTest, AHostIDThatStandsForNoneStopsTheEnumerationBeforeAnythingIsWritten)
{
    Load(Chain());
    m_pTransport->bRecord = true;
    EXPECT_EQ(NVXL_ERR_INVALID_PARAM, Discover(kEnumerate, 0xFF));
    ASSERT_EQ(1u, m_errors.size());
    EXPECT_EQ("The following error was encountered while attempting to give the host PE destination ID FFh: "
              "the IDs of 8-bit transport end at FEh, and FFh stands for none\n[10] Invalid parameter "
              "specified on function call.",
              m_errors[0]);
    for (const SMaintAccess& access : m_pTransport->accesses)
        EXPECT_FALSE(access.bWrite) << std::hex << access.ulOffset;
    EXPECT_TRUE(m_pNetwork->PEs().empty());
    // Only an enumeration gives the host an ID: a discovery that reads takes the one it has.
    EXPECT_EQ(0, Discover(0, 0xFF));
    Load(Chain("", "routelimit=0xFFFF"));
    EXPECT_EQ(NVXL_ERR_INVALID_PARAM, Discover(kEnumerate | NVXL_DISCOVER_USE_LONG_DESTIDS, 0xFFFF));
    ASSERT_EQ(1u, m_errors.size());
    EXPECT_TRUE(Contains(m_errors[0], "ID FFFFh: the IDs of 16-bit transport end at FFFEh")) << m_errors[0];
    EXPECT_EQ(0, Discover(kEnumerate | NVXL_DISCOVER_USE_LONG_DESTIDS, 0xFFFE));
    EXPECT_EQ(0xFFFEu, Device("host0").Reg(0x60) & 0xFFFFu);
}

TEST_F(CDiscoveryTest, VirtualIDsThatRunPastTheLastIDStopTheEnumerationWithOneReport)
{
    // sw1 has no ID of its own and takes two virtual ones, FDh and 102h: the second doesn't fit.
    Load(Chain());
    NVXL_SetVDIDCounts(2, 2, 2, 2, 1);
    EXPECT_EQ(NVXL_ERR_INVALID_PARAM, Discover(kEnumerate | NVXL_DISCOVER_ASSIGN_VDIDS, 1, 0xFD, 5));
    ASSERT_EQ(1u, m_errors.size()) << "reported once, not again as a failure of the VDIDs";
    EXPECT_TRUE(Contains(m_errors[0], "attempting to give the most recently discovered switch the virtual "
                                      "destination ID 102h, beyond FEh"))
        << m_errors[0];
    // With one VDID a switch both fit, and the endpoint behind sw2 is next to run out.
    Load(Chain());
    NVXL_SetVDIDCounts(1, 2, 2, 2, 1);
    EXPECT_EQ(NVXL_ERR_INVALID_PARAM, Discover(kEnumerate | NVXL_DISCOVER_ASSIGN_VDIDS, 1, 0xFC, 1));
    ASSERT_EQ(1u, m_errors.size());
    EXPECT_TRUE(Contains(m_errors[0], "endpoint destination ID FFh")) << m_errors[0];
    NVXL_SetVDIDCounts(2, 2, 2, 2, 1);
}

TEST_F(CDiscoveryTest, VirtualIDsFollowTheOwnIDsInTheCountersStride)
{
    // Vendor 0x30 device 0x96 offers three secondary IDs and accept-all, device 0 one secondary ID.
    Load(std::string(kHost) + Switch("sw1") +
         "device v96 endpoint vendor=0x0030 device=0x0096 memory\n"
         "device v00 endpoint vendor=0x0030 device=0x0000 memory\n"
         "device gen endpoint device=0x1001\n"
         "host host0\nlink host0:0 sw1:0\nlink sw1:1 v96:0\nlink sw1:2 v00:0\nlink sw1:3 gen:0\n");
    NVXL_SetVDIDCounts(2, 2, 2, 2, 2);
    ASSERT_EQ(0, Discover(kEnumerate | NVXL_DISCOVER_ASSIGN_VDIDS, 1, 5, 5));
    const NVXL_PE& host = m_pNetwork->pes[0];
    EXPECT_EQ(0u, host.wNumShortVDIDs);
    EXPECT_EQ(0x8002u, host.wVDIDMode);
    const NVXL_PE* pSw1 = m_pNetwork->ByUniqueID("1fff00037438");
    EXPECT_EQ(2u, pSw1->wNumShortVDIDs);
    EXPECT_EQ(5u, pSw1->wShortVDIDs[0]);
    EXPECT_EQ(10u, pSw1->wShortVDIDs[1]);
    const NVXL_PE* pV96 = m_pNetwork->ByDevice(0x0096);
    ASSERT_TRUE(pV96);
    EXPECT_EQ(15u, pV96->wShortDestID);
    EXPECT_EQ(0x8001u, pV96->wVDIDMode);
    EXPECT_EQ(2u, pV96->wNumShortVDIDs);
    EXPECT_EQ(20u, pV96->wShortVDIDs[0]);
    EXPECT_EQ(25u, pV96->wShortVDIDs[1]);
    uint8_t abWord[4] = {};
    Device("v96").ReadMemory(0x02D00088, abWord, 4);
    EXPECT_EQ(25u, abWord[1]) << "the second secondary ID went to the device";
    // Only a secondary ID and a preference for them: the device's own count of one.
    const NVXL_PE* pV00 = m_pNetwork->ByDevice(0x0000);
    EXPECT_EQ(30u, pV00->wShortDestID);
    EXPECT_EQ(1u, pV00->wNumShortVDIDs);
    EXPECT_EQ(35u, pV00->wShortVDIDs[0]);
    const NVXL_PE* pGen = m_pNetwork->ByDevice(0x1001);
    EXPECT_EQ(40u, pGen->wShortDestID);
    EXPECT_EQ(0u, pGen->wNumShortVDIDs);
    EXPECT_EQ(0x8002u, pGen->wVDIDMode);

    // Preference for accept-all with a device that only has secondary IDs: accept-all it is.
    NVXL_SetVDIDCounts(2, 2, 2, 2, 1);
    ASSERT_EQ(0, Discover(kEnumerate | NVXL_DISCOVER_ASSIGN_VDIDS, 1, 5, 5));
    EXPECT_EQ(0x8002u, m_pNetwork->ByDevice(0x0000)->wVDIDMode);
    EXPECT_EQ(2u, m_pNetwork->ByDevice(0x0000)->wNumShortVDIDs);
}

TEST_F(CDiscoveryTest, ALinkThatDropsMidWalkEndsTheDiscoveryWithItsText)
{
    Load(Chain());
    nvsim::CSimLink* pLink = m_pFabric->Link("sw1", 1);
    m_pTransport->fnIntercept = [pLink](const SMaintAccess& access, uint32_t*, int32_t*)
    {
        // The link goes down just as sw2 is marked.
        if (access.bWrite && access.ulOffset == 0x6C && access.uchHopCount == 1)
            pLink->SetTrained(false);
        return false;
    };
    EXPECT_EQ(NVXL_ERR_RIO, Discover(kEnumerate));
    ASSERT_EQ(1u, m_errors.size());
    EXPECT_EQ(0u, m_errors[0].find(
                      "A RapidIO error was encountered while attempting to write to the breadcrumb on a "
                      "discovered PE\nThe following RapidIO errors were detected:\n[0x00000001] "
                      "Maintenance response timeout: DestID 0xff HopCount 1 Offset 0x6c"))
        << m_errors[0];
    EXPECT_EQ(1u, Device("host0").Reg(0x68));
    EXPECT_EQ(1u, Device("sw1").Reg(0x68));
    EXPECT_EQ(0, g_sDiscovery.lStackTop) << "the stack is left as it stood";
}

TEST_F(CDiscoveryTest, AStaleRecordIsReplacedWhenTheDeviceIsReachedAnotherWay)
{
    // The responses of swC's first two reads through swB are lost: from swB's side it is unknown.
    Load(std::string(kHost) + Switch("swA") + Switch("swB") + Switch("swC") +
         "host host0\nlink host0:0 swA:0\nlink swA:1 swB:0\nlink swA:2 swC:0\nlink swB:2 swC:1\n"
         "fault loseresp:link=swB:2,count=2\n");
    ASSERT_EQ(0, Discover(kEnumerate));
    std::vector<const NVXL_PE*> unknown;
    for (uint32_t i = 0; i < m_pNetwork->network.ulNumPEs; i++)
    {
        if (m_pNetwork->pes[i].ulTypeFlags == NVXL_PE_UNKNOWN)
            unknown.push_back(&m_pNetwork->pes[i]);
    }
    ASSERT_EQ(1u, unknown.size());
    EXPECT_EQ(0u, unknown[0]->ulValid) << "the stale record is deleted";
    const NVXL_PE* pSwB = m_pNetwork->ByUniqueID("1fff000374381037438");
    const NVXL_PE* pSwC = m_pNetwork->ByUniqueID("1fff000374382037438");
    ASSERT_TRUE(pSwB && pSwC);
    for (uint32_t i = 0; i < m_pNetwork->network.ulNumConnections; i++)
    {
        const NVXL_CONNECTION& connection = m_pNetwork->connections[i];
        EXPECT_FALSE(connection.ulNodeB == unknown[0]->ulNodeID && connection.ulValid);
    }
    const NVXL_CONNECTION* pLink = ConnectionBetween(*m_pNetwork, pSwC->ulNodeID, 1, pSwB->ulNodeID, 2);
    ASSERT_TRUE(pLink);
    EXPECT_EQ(pSwC->ulNodeID, pLink->ulNodeA);
    EXPECT_EQ(3u, m_pNetwork->PEs(NVXL_PE_SWITCH).size());
}

TEST_F(CDiscoveryTest, RoutingTablesAreUploadedIntoThePool)
{
    Load(Chain() + "route sw1 0x01 3\n");
    ASSERT_EQ(0, Discover(kEnumerate | NVXL_DISCOVER_UPLOAD_ROUTING_TABLES |
                          NVXL_DISCOVER_SKIP_UPLOAD_UNUSED_PORTS));
    const NVXL_PE* pSw1 = m_pNetwork->ByUniqueID("1fff00037438");
    ASSERT_NE(NVXL_NO_TABLE, pSw1->alRouteTables[0]);
    uint32_t ulPos = 0;
    // The temporary entries of the walk are gone again; the entry the switch came up with is there.
    const NVXL_RT_ENTRY* pEntry = NVXL_RT_FirstEntry(pSw1->alRouteTables[0], &ulPos);
    ASSERT_TRUE(pEntry);
    EXPECT_EQ(nullptr, NVXL_RT_NextEntry(pSw1->alRouteTables[0], &ulPos));
    EXPECT_EQ(1u, pEntry->wDestID);
    EXPECT_EQ(3u, pEntry->uchPort);
    EXPECT_EQ(static_cast<uint32_t>(eNVXL_RouteTypePort), pEntry->ulType);
    EXPECT_NE(NVXL_NO_TABLE, pSw1->alRouteTables[2]);
    EXPECT_EQ(NVXL_NO_TABLE, pSw1->alRouteTables[3]) << "an unused port's table is left out";
    EXPECT_TRUE(Contains(LogText(), "Uploading routing table for port 0 of switch at node 2\n"));
}

TEST(DiscoveryReportFailure, AFullTextNeitherStoresNorReportsYetStillFails)
{
    static int s_nReports = 0;
    NVXL_RegisterReportError([](const char*, int32_t, void*) { return ++s_nReports; }, nullptr);
    char szText[120] = "";
    EXPECT_EQ(0, NVXL_ReportFailure(1, "attempting to do nothing", szText, sizeof szText, 0));
    EXPECT_EQ(1, NVXL_ReportFailure(1, "attempting to fill", szText, sizeof szText, NVXL_ERR_TIMEOUT));
    EXPECT_STREQ(
        "The following error was encountered while attempting to fill\n[6] A RapidIO timeout has occurred.",
        szText);
    EXPECT_EQ(1, s_nReports);
    EXPECT_EQ(1, NVXL_ReportFailure(1, "attempting to overflow", szText, sizeof szText, NVXL_ERR_TIMEOUT));
    EXPECT_EQ(1, s_nReports);
    EXPECT_EQ(0u, std::string(szText).find("The following error was encountered while attempting to fill"));
    EXPECT_EQ(std::string::npos, std::string(szText).find("overflow"));
    NVXL_RegisterReportError(nullptr, nullptr);
}
} // namespace
} // namespace nvtest

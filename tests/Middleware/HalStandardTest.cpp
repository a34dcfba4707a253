// The standard RapidIO behaviour of the HAL operations, checked access by access against a fake
// device that plays the registers as the RapidIO standard defines them.
#include "HalFixture.h"

#include <cstdlib>
#include <vector>

namespace nvtest
{
namespace
{
// A device without a record: every operation takes the standard path.
constexpr uint16_t kVendor = 0xFFFF;
constexpr uint16_t kDevice = 0xFFFF;
constexpr uint32_t kDest = 0x42;
constexpr uint8_t kHop = 2;
constexpr uint32_t kLock = 0x68;
constexpr uint32_t kExtPtr = 0x100;

// The accesses as (write?, offset, first word) for compact comparison.
struct SStep
{
    bool bWrite;
    uint32_t ulOffset;
    uint32_t ulValue;
    bool operator==(const SStep&) const = default;
};

std::ostream& operator<<(std::ostream& os, const SStep& s)
{
    return os << (s.bWrite ? "W " : "R ") << std::hex << s.ulOffset << "=" << s.ulValue;
}

std::vector<SStep> Steps(const CFakeTarget& target)
{
    std::vector<SStep> aSteps;
    for (const SAccess& a : target.m_aAccesses)
        aSteps.push_back({a.bWrite, a.ulOffset, a.aulWords.empty() ? 0u : a.aulWords[0]});
    return aSteps;
}

class HalStandardTest : public CHalTest
{
protected:
    NVXL_STATUS Acquire(uint16_t wHost, int32_t nTimeout, uint32_t bBreak, uint16_t* pwOwner)
    {
        return HalAcquireDeviceLock(kVendor, kDevice, 0, kDest, kHop, wHost, pwOwner, nTimeout, bBreak);
    }
    // Every access addresses the device, one word at a time.
    void ExpectSingleWords(uint32_t ulStride)
    {
        for (const SAccess& a : m_target.m_aAccesses)
        {
            EXPECT_EQ(a.ulDestID, kDest);
            EXPECT_EQ(a.uchHopCount, kHop);
            EXPECT_EQ(a.ulWordCount, 1u);
            EXPECT_EQ(a.ulWordSize, 4u);
            EXPECT_EQ(a.ulStride, ulStride) << std::hex << a.ulOffset;
        }
    }
};

TEST_F(HalStandardTest, LockWithoutTimeoutTriesOnce)
{
    m_target.WriteLockAsOtherHost(5);
    uint16_t wOwner = 0;
    EXPECT_EQ(Acquire(3, 0, 0, &wOwner), -7);
    EXPECT_EQ(wOwner, 5);
    EXPECT_EQ(s_nSleeps, 0);
    EXPECT_EQ(Steps(m_target), (std::vector<SStep>{{true, kLock, 3}, {false, kLock, 5}}));
    ExpectSingleWords(4);

    // A free lock is taken at the first attempt.
    m_target.m_aAccesses.clear();
    m_target.WriteLockAsOtherHost(5);
    EXPECT_EQ(Acquire(3, 0, 0, &wOwner), 0);
    EXPECT_EQ(m_target.Reg(kLock), 3u);
    EXPECT_EQ(m_target.m_aAccesses.size(), 2u);
}

TEST_F(HalStandardTest, TwoHostsHigherIDHasPriority)
{
    uint16_t wOwner = 0;
    EXPECT_EQ(Acquire(2, 0, 0, &wOwner), 0);
    EXPECT_EQ(Acquire(1, 0, 0, &wOwner), -7);
    EXPECT_EQ(wOwner, 2);

    // The other way round: host 1 holds the lock when host 2 arrives.
    m_target.WriteLockAsOtherHost(2);
    EXPECT_EQ(Acquire(1, 0, 0, &wOwner), 0);
    ASSERT_EQ(m_target.Reg(kLock), 1u);
    EXPECT_EQ(Acquire(2, 0, 0, &wOwner), -8);
    EXPECT_EQ(wOwner, 1);
}

TEST_F(HalStandardTest, LockRetriesOnceASecondUntilItsTimeRunsOut)
{
    m_target.WriteLockAsOtherHost(5);
    // The holder gives the lock back during the second wait.
    s_fnOnSleep = [this](int nSleeps)
    {
        if (nSleeps == 2)
            m_target.WriteLockAsOtherHost(5);
    };
    uint16_t wOwner = 0;
    EXPECT_EQ(Acquire(3, 15, 0, &wOwner), 0);
    EXPECT_EQ(s_nSleeps, 2);
    EXPECT_EQ(m_target.Reg(kLock), 3u);
    EXPECT_EQ(m_target.NumWrites(), 3u);

    // A holder that never lets go: the timeout counts the waits.
    s_fnOnSleep = nullptr;
    s_nSleeps = 0;
    EXPECT_EQ(Acquire(4, 3, 0, &wOwner), -8);
    EXPECT_EQ(wOwner, 3);
    EXPECT_EQ(s_nSleeps, 3);

    // The device without a usable lock register counts as locked at once.
    m_target.m_aAccesses.clear();
    EXPECT_EQ(HalAcquireDeviceLock(0x0001, 0x0008, 0, kDest, kHop, 4, &wOwner, 15, 1), 0);
    EXPECT_EQ(HalReleaseDeviceLock(0x0001, 0x0008, 0, kDest, kHop, 4, &wOwner), 0);
    EXPECT_TRUE(m_target.m_aAccesses.empty());
}

TEST_F(HalStandardTest, BreakLockWritesTheOwnersIDFirst)
{
    m_target.WriteLockAsOtherHost(5);
    uint16_t wOwner = 0;
    EXPECT_EQ(Acquire(3, 0, 1, &wOwner), 0);
    EXPECT_EQ(Steps(m_target), (std::vector<SStep>{{false, kLock, 5},
                                                   {true, kLock, 5},
                                                   {false, kLock, 0xFFFF},
                                                   {true, kLock, 3},
                                                   {false, kLock, 3}}));

    // Another host that takes the lock the moment it opens wins it.
    m_target.m_aAccesses.clear();
    m_target.WriteLockAsOtherHost(3);
    m_target.WriteLockAsOtherHost(5);
    m_target.m_fnAfterWrite = [this](const SAccess& a)
    {
        if (a.ulOffset == kLock && a.aulWords[0] == 5)
            m_target.WriteLockAsOtherHost(7);
    };
    EXPECT_EQ(Acquire(3, 0, 1, &wOwner), -8);
    EXPECT_EQ(wOwner, 7);
    EXPECT_EQ(m_target.NumWrites(), 1u);
}

TEST_F(HalStandardTest, ReleaseWritesOnlyALockItHolds)
{
    uint16_t wOwner = 0;
    EXPECT_EQ(HalReleaseDeviceLock(kVendor, kDevice, 0, kDest, kHop, 3, &wOwner), 0);
    EXPECT_EQ(Steps(m_target), (std::vector<SStep>{{false, kLock, 0xFFFF}}));

    m_target.m_aAccesses.clear();
    m_target.WriteLockAsOtherHost(9);
    EXPECT_EQ(HalReleaseDeviceLock(kVendor, kDevice, 0, kDest, kHop, 3, &wOwner), -8);
    EXPECT_EQ(wOwner, 9);
    EXPECT_EQ(m_target.NumWrites(), 0u);

    m_target.m_aAccesses.clear();
    m_target.WriteLockAsOtherHost(9);
    m_target.WriteLockAsOtherHost(3);
    EXPECT_EQ(HalReleaseDeviceLock(kVendor, kDevice, 0, kDest, kHop, 3, &wOwner), 0);
    EXPECT_EQ(Steps(m_target),
              (std::vector<SStep>{{false, kLock, 3}, {true, kLock, 3}, {false, kLock, 0xFFFF}}));
    EXPECT_EQ(m_target.Reg(kLock), 0xFFFFu);

    // A device that stops answering after the release has still released.
    m_target.WriteLockAsOtherHost(3);
    m_target.m_fnAfterWrite = [this](const SAccess&) { m_target.FailReads(kLock, -6); };
    EXPECT_EQ(HalReleaseDeviceLock(kVendor, kDevice, 0, kDest, kHop, 3, &wOwner), 0);
}

TEST_F(HalStandardTest, LinkRequestIsWrittenTwice)
{
    m_target.SetReg(0x0C, kExtPtr);
    const uint32_t ulPort = 2;
    m_target.SetReg(kExtPtr + 0x44 + 32 * ulPort, 0x80000000 | (21u << 5) | 0x10);
    uint32_t ulAckID = 0, ulLinkStatus = 0;
    EXPECT_EQ(HalSendLinkMaintRequest(kVendor, kDevice, 0, kDest, kHop, ulPort, 4, &ulAckID, &ulLinkStatus),
              0);
    EXPECT_EQ(ulAckID, 21u);
    EXPECT_EQ(ulLinkStatus, 0x10u);
    EXPECT_EQ(Steps(m_target), (std::vector<SStep>{{false, 0x0C, kExtPtr},
                                                   {true, kExtPtr + 0x40 + 64, 4},
                                                   {true, kExtPtr + 0x40 + 64, 4},
                                                   {false, kExtPtr + 0x44 + 64, 0x800002B0}}));
    EXPECT_EQ(m_target.m_aAccesses[1].ulStride, 0u);
    EXPECT_EQ(m_target.m_aAccesses[3].ulStride, 0u);

    // No valid response: the request failed.
    m_target.SetReg(kExtPtr + 0x44 + 32 * ulPort, 0x10);
    EXPECT_EQ(HalSendLinkMaintRequest(kVendor, kDevice, 0, kDest, kHop, ulPort, 3, &ulAckID, &ulLinkStatus),
              -15);

    // Only reset (3) and input status (4) exist.
    m_target.m_aAccesses.clear();
    EXPECT_EQ(HalSendLinkMaintRequest(kVendor, kDevice, 0, kDest, kHop, ulPort, 5, &ulAckID, &ulLinkStatus),
              -10);
    EXPECT_TRUE(m_target.m_aAccesses.empty());
}

TEST_F(HalStandardTest, ClearPortErrorsTriesTwiceAtMost)
{
    m_target.SetReg(0x0C, kExtPtr);
    const uint32_t ulStatusReg = kExtPtr + 0x58 + 32 * 1;

    // A clean port is only read.
    m_target.SetErrorStatusRegister(ulStatusReg, 0x00000002, 0);
    uint32_t ulRemaining = 99;
    EXPECT_EQ(HalClearPortErrors(kVendor, kDevice, 0, kDest, kHop, 1, &ulRemaining), 0);
    EXPECT_EQ(ulRemaining, 0u);
    EXPECT_EQ(m_target.NumWrites(), 0u);

    // Errors that go at the first write; the OK bit is written back as it was.
    m_target.m_aAccesses.clear();
    HalSetDebugFlag(2, 1);
    m_target.SetErrorStatusRegister(ulStatusReg, 0x00020206, 0);
    EXPECT_EQ(HalClearPortErrors(kVendor, kDevice, 0, kDest, kHop, 1, &ulRemaining), 0);
    EXPECT_EQ(ulRemaining, 0u);
    EXPECT_EQ(Steps(m_target), (std::vector<SStep>{{false, 0x0C, kExtPtr},
                                                   {false, ulStatusReg, 0x00020206},
                                                   {true, ulStatusReg, 0x00020206},
                                                   {false, ulStatusReg, 0x00000002}}));
    for (size_t i = 1; i < m_target.m_aAccesses.size(); i++)
        EXPECT_EQ(m_target.m_aAccesses[i].ulStride, 0u);
    const std::string strLog = m_target.DebugText();
    EXPECT_NE(
        strLog.find("Port Error Status: 0x00020206\nError bits: 0x00020204\nNon-Error bits: 0x00000002\n"
                    "Reset bits: 0x00020206\n"),
        std::string::npos)
        << strLog;

    // An error that comes straight back: two writes, and what stays is reported.
    m_target.m_aAccesses.clear();
    m_target.SetErrorStatusRegister(ulStatusReg, 0x00000216, 0x00000010);
    EXPECT_EQ(HalClearPortErrors(kVendor, kDevice, 0, kDest, kHop, 1, &ulRemaining), 0);
    EXPECT_EQ(ulRemaining, 0x00000010u);
    EXPECT_EQ(m_target.NumWrites(), 2u);
}

TEST_F(HalStandardTest, AckIDsTimeoutsAndDiscoveredBit)
{
    m_target.SetReg(0x0C, kExtPtr);
    m_target.SetReg(kExtPtr + 0x48 + 32 * 3, (7u << 24) | (9u << 8) | 11u);
    uint8_t uchIn = 0, uchOutstanding = 0, uchOut = 0;
    EXPECT_EQ(HalGetPortAckIDs(kVendor, kDevice, 0, kDest, kHop, 3, &uchIn, &uchOutstanding, &uchOut), 0);
    EXPECT_EQ(uchIn, 7);
    EXPECT_EQ(uchOutstanding, 9);
    EXPECT_EQ(uchOut, 11);
    EXPECT_EQ(m_target.m_aAccesses.back().ulStride, 0u);

    m_target.m_aAccesses.clear();
    m_target.SetReg(0x124, 0x00001000);
    uint32_t ulTimeout = 0x0000FF00;
    EXPECT_EQ(HalSetResponseTimeout(kVendor, kDevice, 0, kDest, kHop, &ulTimeout), 0);
    EXPECT_EQ(ulTimeout, 0x00001000u);
    EXPECT_EQ(m_target.Reg(0x124), 0x0000FF00u);
    ulTimeout = 0x00002000;
    EXPECT_EQ(HalSetLinkTimeout(kVendor, kDevice, 0, kDest, kHop, &ulTimeout), 0);
    EXPECT_EQ(m_target.Reg(0x120), 0x00002000u);
    ExpectSingleWords(4);

    m_target.SetReg(kExtPtr + 0x3C, 0x80000001);
    EXPECT_EQ(HalSetPortDiscovered(kVendor, kDevice, 0, kDest, kHop, 1), 0);
    EXPECT_EQ(m_target.Reg(kExtPtr + 0x3C), 0xA0000001u);
    EXPECT_EQ(HalSetPortDiscovered(kVendor, kDevice, 0, kDest, kHop, 0), 0);
    EXPECT_EQ(m_target.Reg(kExtPtr + 0x3C), 0x80000001u);
    EXPECT_EQ(m_target.m_aAccesses.back().ulStride, 0u);

    // A failed access ends the operation with its status.
    m_target.FailReads(kExtPtr + 0x3C, -5);
    EXPECT_EQ(HalSetPortDiscovered(kVendor, kDevice, 0, kDest, kHop, 1), -5);
    EXPECT_FALSE(m_target.m_aAccesses.back().bWrite);
}

TEST_F(HalStandardTest, MulticastInfoAndCommands)
{
    uint32_t bSupported = 9, bSimple = 9, bBlock = 9, bPerPort = 9, ulMaxAssoc = 9, ulMaxMasks = 9, ulRes = 9;
    m_target.SetReg(0x10, 0x10000000);
    EXPECT_EQ(HalGetMulticastInfo(kVendor, kDevice, 0, kDest, kHop, &bSupported, &bSimple, &bBlock, &bPerPort,
                                  &ulMaxAssoc, &ulMaxMasks, &ulRes),
              0);
    EXPECT_EQ(bSupported, 0u);
    EXPECT_EQ(bSimple, 9u);

    m_target.SetReg(0x10, 0x10000400);
    m_target.SetReg(0x30, 0x80000000);
    m_target.SetReg(0x38, 0x4007000C);
    EXPECT_EQ(HalGetMulticastInfo(kVendor, kDevice, 0, kDest, kHop, &bSupported, &bSimple, &bBlock, &bPerPort,
                                  &ulMaxAssoc, &ulMaxMasks, &ulRes),
              0);
    EXPECT_EQ(bSupported, 1u);
    EXPECT_EQ(bSimple, 1u);
    EXPECT_EQ(bBlock, 0u);
    EXPECT_EQ(bPerPort, 1u);
    EXPECT_EQ(ulMaxAssoc, 8u);
    EXPECT_EQ(ulMaxMasks, 12u);
    EXPECT_EQ(ulRes, 0u);

    m_target.m_aAccesses.clear();
    EXPECT_EQ(HalMulticastMaskPort(kVendor, kDevice, 0, kDest, kHop, 0, 1, 2, nullptr), -10);
    EXPECT_TRUE(m_target.m_aAccesses.empty());
    EXPECT_EQ(HalMulticastMaskPort(kVendor, kDevice, 0, kDest, kHop, 5, 0x0003, 4, nullptr), 0);
    EXPECT_EQ(Steps(m_target), (std::vector<SStep>{{true, 0x80, 0x00030450}}));
    m_target.m_aAccesses.clear();
    uint32_t ulResult = 0;
    EXPECT_EQ(HalMulticastMaskPort(kVendor, kDevice, 0, kDest, kHop, 0, 0x0003, 4, &ulResult), 0);
    EXPECT_EQ(Steps(m_target), (std::vector<SStep>{{true, 0x80, 0x00030400}, {false, 0x80, 0x00030400}}));
    EXPECT_EQ(ulResult, 0u);

    m_target.m_aAccesses.clear();
    EXPECT_EQ(
        HalMulticastAssociate(kVendor, kDevice, 0, kDest, kHop, 3, 1, 0x0010, 0x0020, 0x0005, 6, nullptr), 0);
    ASSERT_EQ(m_target.m_aAccesses.size(), 1u);
    const SAccess& a = m_target.m_aAccesses[0];
    EXPECT_EQ(a.ulOffset, 0x84u);
    EXPECT_EQ(a.ulWordCount, 2u);
    EXPECT_EQ(a.ulStride, 4u);
    // The standard's layout: ID high and mask low in 84h; block size high, port, large
    // transport and the command low in 88h.
    EXPECT_EQ(a.aulWords, (std::vector<uint32_t>{0x00200005, 0x001006E0}));

    // A small ID sits in bits 23..16, a large one fills bits 31..16; delete is 40h.
    m_target.m_aAccesses.clear();
    EXPECT_EQ(HalMulticastAssociate(kVendor, kDevice, 0, kDest, kHop, 2, 0, 0, 0x00A7, 0x0011, 3, nullptr),
              0);
    EXPECT_EQ(HalMulticastAssociate(kVendor, kDevice, 0, kDest, kHop, 3, 1, 0, 0xBEEF, 0x0002, 0, nullptr),
              0);
    ASSERT_EQ(m_target.m_aAccesses.size(), 2u);
    EXPECT_EQ(m_target.m_aAccesses[0].aulWords, (std::vector<uint32_t>{0x00A70011, 0x00000340}));
    EXPECT_EQ(m_target.m_aAccesses[1].aulWords, (std::vector<uint32_t>{0xBEEF0002, 0x000000E0}));
}

TEST_F(HalStandardTest, DefaultRouteNeedsASwitchWithTheStandardTable)
{
    m_target.SetReg(0x10, 0x00000100);
    EXPECT_EQ(HalSetDefaultRoute(kVendor, kDevice, 0, kDest, kHop, 3), -13);
    m_target.SetReg(0x10, 0x10000200);
    EXPECT_EQ(HalSetDefaultRoute(kVendor, kDevice, 0, kDest, kHop, 3), -9);
    uint8_t uchPort = 0;
    EXPECT_EQ(HalGetDefaultRoute(kVendor, kDevice, 0, kDest, kHop, &uchPort), -9);
    EXPECT_EQ(m_target.NumWrites(), 0u);

    m_target.SetReg(0x10, 0x10000100);
    EXPECT_EQ(HalSetDefaultRoute(kVendor, kDevice, 0, kDest, kHop, 3), 0);
    EXPECT_EQ(m_target.Reg(0x78), 3u);
    m_target.SetReg(0x78, 0xAB07);
    EXPECT_EQ(HalGetDefaultRoute(kVendor, kDevice, 0, kDest, kHop, &uchPort), 0);
    EXPECT_EQ(uchPort, 7);
}

// A switch with 4 ports and 8 IDs in its table; port 4 and 255 are not ports of it.
class HalRoutingTableTest : public HalStandardTest
{
protected:
    void SetUpSwitch(uint32_t ulTableForm, bool bLargeForm)
    {
        m_target.SetReg(0x10, 0x10000000 | ulTableForm);
        m_target.SetReg(0x34, 7);
        m_target.SetReg(0x14, 0x0401);
        m_target.SetRouteTable({0, 1, 255, 3, 4, 2, 255, 0}, bLargeForm);
    }

    void ExpectLoaded(uint32_t ulNumEntries, NVXL_ROUTE_ENTRY* pTable)
    {
        const std::vector<std::pair<uint16_t, uint8_t>> aExpected = {{0, 0}, {1, 1}, {3, 3}, {5, 2}, {7, 0}};
        ASSERT_EQ(ulNumEntries, aExpected.size());
        for (size_t i = 0; i < aExpected.size(); i++)
        {
            EXPECT_EQ(pTable[i].wDestID, aExpected[i].first);
            EXPECT_EQ(pTable[i].uchPort, aExpected[i].second);
            EXPECT_EQ(pTable[i].eType, eNVXL_RouteTypePort);
            EXPECT_EQ(pTable[i].ulExtra, 0u);
        }
    }

    static NVXL_ROUTE_ENTRY Port(uint16_t wDestID, uint8_t uchPort)
    {
        return {wDestID, uchPort, eNVXL_RouteTypePort, 0};
    }
};

TEST_F(HalRoutingTableTest, LoadSmallTableReadsEveryID)
{
    SetUpSwitch(0x100, false);
    HalSetDebugFlag(3, 1);
    uint32_t ulNumEntries = 0;
    NVXL_ROUTE_ENTRY* pTable = nullptr;
    ASSERT_EQ(HalLoadRoutingTable(kVendor, kDevice, 0, kDest, kHop, 255, &ulNumEntries, &pTable), 0);
    ExpectLoaded(ulNumEntries, pTable);
    std::free(pTable);
    EXPECT_EQ(m_target.m_astrDebug.back(), "Loading standard routing table\n");

    // Features, limit and port information, then one select and one read per ID.
    const std::vector<SStep> aSteps = Steps(m_target);
    ASSERT_EQ(aSteps.size(), 3u + 2 * 8);
    for (uint32_t i = 0; i < 8; i++)
    {
        EXPECT_EQ(aSteps[3 + 2 * i], (SStep{true, 0x70, i}));
        EXPECT_FALSE(aSteps[4 + 2 * i].bWrite);
        EXPECT_EQ(aSteps[4 + 2 * i].ulOffset, 0x74u);
    }
    ExpectSingleWords(4);
}

TEST_F(HalRoutingTableTest, LoadLargeTableReadsFourIDsAtATime)
{
    SetUpSwitch(0x300, true);
    HalSetDebugFlag(2, 1);
    uint32_t ulNumEntries = 0;
    NVXL_ROUTE_ENTRY* pTable = nullptr;
    ASSERT_EQ(HalLoadRoutingTable(kVendor, kDevice, 0, kDest, kHop, 0, &ulNumEntries, &pTable), 0);
    ExpectLoaded(ulNumEntries, pTable);
    std::free(pTable);
    EXPECT_NE(m_target.DebugText().find("Loading standard routing table\n"), std::string::npos);
    std::vector<SStep> aSelects;
    for (const SStep& s : Steps(m_target))
    {
        if (s.bWrite)
            aSelects.push_back(s);
    }
    EXPECT_EQ(aSelects, (std::vector<SStep>{{true, 0x70, 0}, {true, 0x70, 4}}));
}

TEST_F(HalRoutingTableTest, LoadOfAnEmptyTableOrWithoutATableForm)
{
    SetUpSwitch(0x100, false);
    m_target.SetRouteTable(std::vector<uint8_t>(8, 255), false);
    uint32_t ulNumEntries = 99;
    NVXL_ROUTE_ENTRY sSentinel{};
    NVXL_ROUTE_ENTRY* pTable = &sSentinel;
    EXPECT_EQ(HalLoadRoutingTable(kVendor, kDevice, 0, kDest, kHop, 255, &ulNumEntries, &pTable), 0);
    EXPECT_EQ(ulNumEntries, 0u);
    EXPECT_EQ(pTable, &sSentinel);

    m_target.SetReg(0x10, 0x10000000);
    EXPECT_EQ(HalLoadRoutingTable(kVendor, kDevice, 0, kDest, kHop, 255, &ulNumEntries, &pTable), -9);
    EXPECT_EQ(HalStoreRoutingTable(kVendor, kDevice, 0, kDest, kHop, 255, 1, &sSentinel), -9);

    // A failed read ends the load and leaves the outputs alone.
    SetUpSwitch(0x100, false);
    m_target.FailReads(0x74, -6);
    ulNumEntries = 99;
    EXPECT_EQ(HalLoadRoutingTable(kVendor, kDevice, 0, kDest, kHop, 255, &ulNumEntries, &pTable), -6);
    EXPECT_EQ(ulNumEntries, 99u);
    EXPECT_EQ(pTable, &sSentinel);
}

TEST_F(HalRoutingTableTest, StoreSmallTableWritesTheFirstEntriesOnly)
{
    SetUpSwitch(0x100, false);
    m_target.SetRouteTable(std::vector<uint8_t>(8, 9), false);
    // Four records are passed; the fifth lies behind the caller's count and must not be read.
    std::vector<NVXL_ROUTE_ENTRY> aTable = {
        Port(0, 2), {1, 3, eNVXL_RouteTypeUnrouted, 0}, Port(2, 1), Port(6, 3), Port(1, 3)};
    EXPECT_EQ(HalStoreRoutingTable(kVendor, kDevice, 0, kDest, kHop, 255, 4, aTable.data()), 0);
    EXPECT_EQ(m_target.RouteTable(), (std::vector<uint8_t>{2, 255, 1, 255, 9, 9, 9, 9}));
    // After the features and the route limit, one write of ID and port per ID.
    ASSERT_EQ(m_target.m_aAccesses.size(), 2u + 4);
    for (size_t i = 2; i < m_target.m_aAccesses.size(); i++)
    {
        const SAccess& a = m_target.m_aAccesses[i];
        EXPECT_EQ(a.ulOffset, 0x70u);
        EXPECT_EQ(a.ulWordCount, 2u);
        EXPECT_EQ(a.ulStride, 4u);
        EXPECT_EQ(a.aulWords[0], i - 2);
    }
    EXPECT_EQ(m_target.NumWrites(), 4u);

    // The walk stops at the switch's size: records beyond it do not count.
    m_target.SetRouteTable(std::vector<uint8_t>(8, 9), false);
    std::vector<NVXL_ROUTE_ENTRY> aLong(10, NVXL_ROUTE_ENTRY{0, 0, eNVXL_RouteTypeUnrouted, 0});
    aLong[0] = Port(0, 1);
    aLong[9] = Port(0, 3);
    EXPECT_EQ(HalStoreRoutingTable(kVendor, kDevice, 0, kDest, kHop, 255, 10, aLong.data()), 0);
    EXPECT_EQ(m_target.RouteTable(), (std::vector<uint8_t>{1, 255, 255, 255, 255, 255, 255, 255}));

    // No table: nothing to do. A failed write ends the store.
    m_target.m_aAccesses.clear();
    EXPECT_EQ(HalStoreRoutingTable(kVendor, kDevice, 0, kDest, kHop, 255, 4, nullptr), 0);
    EXPECT_TRUE(m_target.m_aAccesses.empty());
    m_target.FailWrites(0x70, -5);
    EXPECT_EQ(HalStoreRoutingTable(kVendor, kDevice, 0, kDest, kHop, 255, 4, aTable.data()), -5);
    EXPECT_EQ(m_target.NumWrites(), 1u);
}

TEST_F(HalRoutingTableTest, StoreLargeTablePacksFourPortsAWrite)
{
    SetUpSwitch(0x200, true);
    m_target.SetRouteTable(std::vector<uint8_t>(8, 9), true);
    // Six records: IDs 6 and 7 are not in the caller's table and stay unrouted; the seventh
    // record would route ID 2 if it were read.
    std::vector<NVXL_ROUTE_ENTRY> aTable = {Port(0, 1), Port(1, 2), {2, 0, eNVXL_RouteTypeDefault, 0},
                                            Port(3, 0), Port(4, 3), Port(5, 3),
                                            Port(2, 3)};
    EXPECT_EQ(HalStoreRoutingTable(kVendor, kDevice, 0, kDest, kHop, 255, 6, aTable.data()), 0);
    ASSERT_EQ(m_target.m_aAccesses.size(), 2u + 2);
    EXPECT_EQ(m_target.m_aAccesses[2].aulWords, (std::vector<uint32_t>{0x80000000, 0x00FF0201}));
    EXPECT_EQ(m_target.m_aAccesses[3].aulWords, (std::vector<uint32_t>{0x80000004, 0xFFFF0303}));
    EXPECT_EQ(m_target.RouteTable(), (std::vector<uint8_t>{1, 2, 255, 0, 3, 3, 255, 255}));
}
} // namespace
} // namespace nvtest

// The dispatcher: registry, lookup, the defaults of devices without an entry, the particular
// operations, the gates and their debug log.
#include "HalFixture.h"

#include <array>
#include <string>

namespace nvtest
{
namespace
{
constexpr uint16_t kVendor = 0x0038;
constexpr uint16_t kDevice = 0x0374;
constexpr uint32_t kKey = (uint32_t(kDevice) << 16) | kVendor;

// What the entries of the test records were called with.
struct SCall
{
    int nCalls = 0;
    uint16_t wVendorID = 0;
    uint16_t wDeviceID = 0;
    uint8_t uchLocalPort = 0;
    uint32_t ulDestID = 0;
    uint8_t uchHopCount = 0;
    uint32_t ulArg = 0;
};
SCall g_sCall;

void Note(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
          uint8_t uchHopCount, uint32_t ulArg)
{
    g_sCall.nCalls++;
    g_sCall.wVendorID = wVendorID;
    g_sCall.wDeviceID = wDeviceID;
    g_sCall.uchLocalPort = uchLocalPort;
    g_sCall.ulDestID = ulDestID;
    g_sCall.uchHopCount = uchHopCount;
    g_sCall.ulArg = ulArg;
}

NVXL_STATUS CustomFeatures(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                           uint8_t uchHopCount, uint32_t* pulFeatures)
{
    Note(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, 0);
    *pulFeatures = 0x80000000;
    return -1234;
}

NVXL_STATUS CustomRouteAdd(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                           uint8_t uchHopCount, uint8_t uchWhichTable, uint16_t wRouteDestID, uint8_t uchPort,
                           NVXL_ROUTE_TYPE eType, uint32_t ulExtra)
{
    Note(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
         (uint32_t(uchWhichTable) << 24) | (uint32_t(wRouteDestID) << 8) | uchPort);
    return eType == eNVXL_RouteTypePort && ulExtra == 7 ? 0 : -1;
}

int32_t CustomPerPort(uint16_t wVendorID, uint16_t wDeviceID)
{
    Note(wVendorID, wDeviceID, 0, 0, 0, 0);
    return 1;
}

NVXL_STATUS CustomSetSpeed(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                           uint8_t uchHopCount, uint8_t, uint32_t ulSpeed)
{
    Note(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, ulSpeed);
    return 0;
}

NVXL_STATUS CustomSetDeviceID(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                              uint8_t uchHopCount, const uint16_t*, const uint16_t*)
{
    Note(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, 0);
    return 0;
}

NVXL_STATUS CustomReadEEPROM(uint16_t, uint16_t, uint8_t, uint32_t, uint8_t, uint16_t, uint16_t, uint8_t*)
{
    return 0;
}

NVXL_STATUS CustomSetEEPROMAddress(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                   uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchAddressSize,
                                   uint8_t uchI2CAddress)
{
    Note(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
         (uint32_t(uchAddressSize) << 8) | uchI2CAddress);
    return 0;
}

NVXL_STATUS CustomExtFeaturesPtr(uint16_t, uint16_t, uint8_t, uint32_t, uint8_t, uint16_t* pwPtr)
{
    *pwPtr = 0x200;
    return 0;
}

NVXL_STATUS CustomWriteBreadcrumb(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                  uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulValue)
{
    Note(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, ulValue);
    return 0;
}

uint16_t g_wCapsFlags = 0;
NVXL_STATUS g_nCapsStatus = 0;
NVXL_STATUS CustomVDIDCaps(uint16_t, uint16_t, uint8_t, uint32_t, uint8_t, uint16_t* pwFlags,
                           uint16_t* pwNum2ary)
{
    *pwFlags = g_wCapsFlags;
    *pwNum2ary = 99; // what the caps entry leaves does not count
    return g_nCapsStatus;
}

NVXL_STATUS CustomNum2ary(uint16_t, uint16_t, uint8_t, uint32_t, uint8_t, uint16_t* pwNum2ary)
{
    *pwNum2ary = 3;
    return 0;
}

class HalDispatchTest : public CHalTest
{
protected:
    void SetUp() override
    {
        CHalTest::SetUp();
        g_sCall = SCall();
    }
};

TEST_F(HalDispatchTest, EntryGetsTheSameArgumentsAndItsResultIsReturned)
{
    static HalInterface s_record{};
    s_record.ulDeviceKey = kKey;
    s_record.pfnGetFeatures = &CustomFeatures;
    s_record.pfnRouteAddEntry = &CustomRouteAdd;
    s_record.pfnIsPerPortRouting = &CustomPerPort;
    ASSERT_EQ(HalRegisterInterface(&s_record), 1);

    uint32_t ulFeatures = 0;
    EXPECT_EQ(HalGetFeatures(kVendor, kDevice, 3, 0x1234, 5, &ulFeatures), -1234);
    EXPECT_EQ(ulFeatures, 0x80000000u);
    EXPECT_EQ(g_sCall.wVendorID, kVendor);
    EXPECT_EQ(g_sCall.wDeviceID, kDevice);
    EXPECT_EQ(g_sCall.uchLocalPort, 3);
    EXPECT_EQ(g_sCall.ulDestID, 0x1234u);
    EXPECT_EQ(g_sCall.uchHopCount, 5);

    EXPECT_EQ(HalRouteAddEntry(kVendor, kDevice, 0, 9, 1, 4, 0x0102, 6, eNVXL_RouteTypePort, 7), 0);
    EXPECT_EQ(g_sCall.ulArg, 0x04010206u);
    EXPECT_EQ(HalIsPerPortRouting(kVendor, kDevice), 1);
    EXPECT_EQ(g_sCall.nCalls, 3);
    // The entries answered alone: nothing went to the target.
    EXPECT_TRUE(m_target.m_aAccesses.empty());
}

TEST_F(HalDispatchTest, UnknownDeviceGetsTheDefaultsWithoutTouchingTheTarget)
{
    // 0xFFFF/0xFFFF is what callers pass that do not know the device.
    const uint16_t wV = 0xFFFF, wD = 0xFFFF;
    std::array<uint8_t, 4> auchWidths{};
    uint32_t bParallel = 7, ulPortType = 7;
    EXPECT_EQ(HalGetPortWidth(wV, wD, 0, 1, 0, 2, &auchWidths[0], &auchWidths[1], &auchWidths[2],
                              &auchWidths[3], &bParallel, &ulPortType),
              0);
    EXPECT_EQ(auchWidths, (std::array<uint8_t, 4>{255, 255, 255, 255}));
    EXPECT_EQ(bParallel, 0u);
    EXPECT_EQ(ulPortType, 0u);

    uint32_t ulMask = 0xFFFFFFFF;
    NVXL_PORT_CONFIG sConfig{};
    EXPECT_EQ(HalGetPortConfig(wV, wD, 0, 1, 0, 0, &ulMask, &sConfig), -9);
    EXPECT_EQ(ulMask, 0u);
    uint32_t ulSpeed = 77;
    EXPECT_EQ(HalGetPortSpeedMHz(wV, wD, 0, 1, 0, 0, nullptr), -10);
    EXPECT_EQ(HalGetPortSpeedMHz(wV, wD, 0, 1, 0, 0, &ulSpeed), 0);
    EXPECT_EQ(ulSpeed, 0u);

    EXPECT_EQ(HalRouteAddEntry(wV, wD, 0, 1, 0, 255, 5, 1, eNVXL_RouteTypePort, 0), -9);
    NVXL_ROUTE_TYPE eType{};
    uint8_t uchPort = 0;
    uint32_t ulExtra = 0;
    EXPECT_EQ(HalRouteGetEntry(wV, wD, 0, 1, 0, 255, 5, &eType, &uchPort, nullptr), -10);
    EXPECT_EQ(HalRouteGetEntry(wV, wD, 0, 1, 0, 255, 5, &eType, &uchPort, &ulExtra), -9);

    uint8_t abData[4] = {};
    EXPECT_EQ(HalInitEEPROM(wV, wD, 0, 1, 0), -9);
    EXPECT_EQ(HalWriteEEPROM(wV, wD, 0, 1, 0, 4, 0, abData), -9);
    EXPECT_EQ(HalReadEEPROM(wV, wD, 0, 1, 0, 4, 0, abData), -9);
    EXPECT_EQ(HalSetEEPROMAddress(wV, wD, 0, 1, 0, 1, 0x50), -9);
    NVXL_ROUTE_ENTRY sEntry{};
    EXPECT_EQ(HalFlashRoutingTable(wV, wD, 0, 1, 0, 255, 1, &sEntry), -9);
    EXPECT_EQ(HalResyncAckIDs(wV, wD, 0, 1, 0, 1), -9);
    uint16_t wSmall = 0, wLarge = 0;
    EXPECT_EQ(HalGet2aryDestID(wV, wD, 0, 1, 0, 0, &wSmall, &wLarge), -9);
    EXPECT_EQ(HalSet2aryDestID(wV, wD, 0, 1, 0, 0, &wSmall, &wLarge), -9);
    uint16_t wNum = 5;
    EXPECT_EQ(HalGetNum2aryDestIDs(wV, wD, 0, 1, 0, &wNum), 0);
    EXPECT_EQ(wNum, 0);

    EXPECT_EQ(HalSetPortEnables(wV, wD, 0, 1, 0, 1, 1, 1), 0);
    EXPECT_EQ(HalEnableHostAccess(wV, wD, 0, 1, 0, 1), 0);
    EXPECT_EQ(HalResetRoutingTable(wV, wD, 0, 1, 0), 0);
    EXPECT_EQ(HalIsPerPortRouting(wV, wD), 0);
    EXPECT_EQ(HalUsesDestID(wV, wD), 0);
    EXPECT_EQ(HalSupportsEEPROM(wV, wD), 0);
    EXPECT_TRUE(m_target.m_aAccesses.empty());
}

TEST_F(HalDispatchTest, FirstRegisteredRecordOfAKeyWinsEvenWithoutTheOperation)
{
    static HalInterface s_first{};
    s_first.ulDeviceKey = kKey;
    static HalInterface s_second{};
    s_second.ulDeviceKey = kKey;
    s_second.pfnGetFeatures = &CustomFeatures;
    ASSERT_EQ(HalRegisterInterface(&s_first), 1);
    ASSERT_EQ(HalRegisterInterface(&s_second), 1);
    EXPECT_EQ(HalFindInterface(kDevice, kVendor), &s_first);

    m_target.SetReg(0x10, 0x10000100);
    uint32_t ulFeatures = 0;
    EXPECT_EQ(HalGetFeatures(kVendor, kDevice, 0, 1, 0, &ulFeatures), 0);
    EXPECT_EQ(ulFeatures, 0x10000100u);
    EXPECT_EQ(g_sCall.nCalls, 0);
    ASSERT_EQ(m_target.m_aAccesses.size(), 1u);
    EXPECT_EQ(m_target.m_aAccesses[0].ulOffset, 0x10u);

    // The key is read through the pointer at each lookup: a re-keyed record answers to its new key.
    s_first.ulDeviceKey = 0x00030002;
    EXPECT_EQ(HalFindInterface(0x0003, 0x0002), &s_first);
    EXPECT_EQ(HalFindInterface(kDevice, kVendor), &s_second);
    s_first.ulDeviceKey = kKey;
}

TEST_F(HalDispatchTest, RegistryRefusesThe257thRecordAndKeepsWorking)
{
    HalSetDebugFlag(0, 1);
    static std::array<HalInterface, MAXHALIONTERFACES + 1> s_aRecords{};
    for (uint32_t i = 0; i < s_aRecords.size(); i++)
        s_aRecords[i].ulDeviceKey = 0x10000u * (i + 1) + 0x0D;
    for (uint32_t i = 0; i < MAXHALIONTERFACES; i++)
        ASSERT_EQ(HalRegisterInterface(&s_aRecords[i]), 1);
    EXPECT_EQ(m_target.m_astrDebug.front(),
              "Custom HAL I/F for Vendor 000Dh, Device 0001h has been registered.\n");
    EXPECT_EQ(m_target.m_astrDebug.size(), size_t(MAXHALIONTERFACES));

    testing::internal::CaptureStderr();
    EXPECT_EQ(HalRegisterInterface(&s_aRecords[MAXHALIONTERFACES]), 0);
    EXPECT_EQ(
        testing::internal::GetCapturedStderr(),
        "Unable to register custom HAL I/F for Vendor 000Dh, Device 0101h.  Increase MAXHALIONTERFACES.\n");
    EXPECT_EQ(m_target.m_astrDebug.size(), size_t(MAXHALIONTERFACES));

    EXPECT_EQ(HalFindInterface(0x0101, 0x000D), nullptr);
    EXPECT_EQ(HalFindInterface(0x0001, 0x000D), &s_aRecords[0]);
    EXPECT_EQ(HalFindInterface(0x0100, 0x000D), &s_aRecords[MAXHALIONTERFACES - 1]);

    // Initialising again empties the registry.
    HalInitialize();
    EXPECT_EQ(HalFindInterface(0x0001, 0x000D), nullptr);
}

TEST_F(HalDispatchTest, SetPortSpeedChecksTheSpeedBeforeAnyDevice)
{
    static HalInterface s_record{};
    s_record.ulDeviceKey = kKey;
    s_record.pfnSetPortSpeedMHz = &CustomSetSpeed;
    HalRegisterInterface(&s_record);
    HalSetDebugFlag(2, 1);

    EXPECT_EQ(HalSetPortSpeedMHz(kVendor, kDevice, 0, 7, 2, 3, 3000), -10);
    EXPECT_EQ(HalSetPortSpeedMHz(0x1234, 0x0012, 0, 7, 2, 3, 3000), -10);
    EXPECT_EQ(g_sCall.nCalls, 0);
    EXPECT_EQ(m_target.DebugText(),
              "SetPortSpeedMHz\n\tVendor=0x38\n\tDevice=0x374\n\tLocalPort=0\n\tDestID=7\n\tHopCount=2\n"
              "\tPort=3\n\tSpeed=3000\nInvalid speed setting 3000.\n"
              "SetPortSpeedMHz\n\tVendor=0x1234\n\tDevice=0x12\n\tLocalPort=0\n\tDestID=7\n\tHopCount=2\n"
              "\tPort=3\n\tSpeed=3000\nInvalid speed setting 3000.\n");

    m_target.m_astrDebug.clear();
    EXPECT_EQ(HalSetPortSpeedMHz(kVendor, kDevice, 0, 7, 2, 3, 6250), 0);
    EXPECT_EQ(g_sCall.ulArg, 6250u);
    EXPECT_EQ(HalSetPortSpeedMHz(0x1234, 0x0012, 0, 7, 2, 3, 1250), -9);
    EXPECT_EQ(m_target.m_astrDebug.back(), "No SetPortSpeed implementation for Device 12 Vendor 1234.\n");
    EXPECT_TRUE(m_target.m_aAccesses.empty());
}

TEST_F(HalDispatchTest, SetDeviceIDRefusesASmallIDAbove255BeforeAnyAccess)
{
    static HalInterface s_record{};
    s_record.ulDeviceKey = kKey;
    s_record.pfnSetDeviceID = &CustomSetDeviceID;
    HalRegisterInterface(&s_record);

    const uint16_t wTooLarge = 256;
    EXPECT_EQ(HalSetDeviceID(kVendor, kDevice, 0, 1, 0, &wTooLarge, nullptr), -10);
    EXPECT_EQ(HalSetDeviceID(0xFFFF, 0xFFFF, 0, 1, 0, &wTooLarge, nullptr), -10);
    EXPECT_EQ(g_sCall.nCalls, 0);
    EXPECT_TRUE(m_target.m_aAccesses.empty());

    // The standard path changes only the IDs it is given.
    m_target.SetReg(0x60, 0xAB12CDEF);
    const uint16_t wSmall = 0x34;
    EXPECT_EQ(HalSetDeviceID(0xFFFF, 0xFFFF, 0, 1, 0, &wSmall, nullptr), 0);
    EXPECT_EQ(m_target.Reg(0x60), 0xAB34CDEFu);
    const uint16_t wLarge = 0x5678;
    EXPECT_EQ(HalSetDeviceID(0xFFFF, 0xFFFF, 0, 1, 0, nullptr, &wLarge), 0);
    EXPECT_EQ(m_target.Reg(0x60), 0xAB345678u);
    uint16_t wReadSmall = 0, wReadLarge = 0;
    EXPECT_EQ(HalGetDeviceID(0xFFFF, 0xFFFF, 0, 1, 0, &wReadSmall, &wReadLarge), 0);
    EXPECT_EQ(wReadSmall, 0x34);
    EXPECT_EQ(wReadLarge, 0x5678);
}

TEST_F(HalDispatchTest, SetEEPROMAddressNeedsTheReadEntry)
{
    static HalInterface s_addressOnly{};
    s_addressOnly.ulDeviceKey = kKey;
    s_addressOnly.pfnSetEEPROMAddress = &CustomSetEEPROMAddress;
    static HalInterface s_both{};
    s_both.ulDeviceKey = 0x0574000D;
    s_both.pfnReadEEPROM = &CustomReadEEPROM;
    s_both.pfnSetEEPROMAddress = &CustomSetEEPROMAddress;
    HalRegisterInterface(&s_addressOnly);
    HalRegisterInterface(&s_both);

    EXPECT_EQ(HalSetEEPROMAddress(kVendor, kDevice, 0, 1, 0, 2, 0x50), -9);
    EXPECT_EQ(g_sCall.nCalls, 0);
    EXPECT_EQ(HalSetEEPROMAddress(0x000D, 0x0574, 0, 1, 0, 2, 0x50), 0);
    EXPECT_EQ(g_sCall.nCalls, 1);
    EXPECT_EQ(g_sCall.ulArg, 0x0250u);
}

TEST_F(HalDispatchTest, OperationsOfAFamilyReachEachOtherThroughTheDispatcher)
{
    // A record that moves the extended features block moves the port status that the standard
    // training test reads.
    static HalInterface s_record{};
    s_record.ulDeviceKey = kKey;
    s_record.pfnGetExtFeaturesPtr = &CustomExtFeaturesPtr;
    HalRegisterInterface(&s_record);
    m_target.SetReg(0x0C, 0x0100);
    m_target.SetReg(0x200 + 0x58 + 32 * 2, 0x2);

    uint32_t bTrained = 0;
    EXPECT_EQ(HalIsPortTrained(kVendor, kDevice, 0, 1, 0, 2, &bTrained), 0);
    EXPECT_EQ(bTrained, 1u);
    ASSERT_EQ(m_target.m_aAccesses.size(), 1u);
    EXPECT_EQ(m_target.m_aAccesses[0].ulOffset, 0x200u + 0x58 + 64);
    EXPECT_EQ(m_target.m_aAccesses[0].ulStride, 0u);

    // The standard device finds its block through register 0x0C.
    m_target.m_aAccesses.clear();
    EXPECT_EQ(HalIsPortTrained(0xFFFF, 0xFFFF, 0, 1, 0, 2, &bTrained), 0);
    EXPECT_EQ(bTrained, 0u);
    ASSERT_EQ(m_target.m_aAccesses.size(), 2u);
    EXPECT_EQ(m_target.m_aAccesses[0].ulOffset, 0x0Cu);
    EXPECT_EQ(m_target.m_aAccesses[1].ulOffset, 0x100u + 0x58 + 64);
}

TEST_F(HalDispatchTest, BreadcrumbsLiveInTheComponentTagUnlessTheDeviceSaysOtherwise)
{
    HalSetDebugFlag(1, 1);
    EXPECT_EQ(HalWriteBreadcrumb(0xFFFF, 0xFFFF, 0, 9, 1, 0x12345600), 0);
    EXPECT_EQ(m_target.Reg(0x6C), 0x12345600u);
    uint32_t ulValue = 0;
    EXPECT_EQ(HalReadBreadcrumb(0xFFFF, 0xFFFF, 0, 9, 1, &ulValue), 0);
    EXPECT_EQ(ulValue, 0x12345600u);
    EXPECT_EQ(m_target.DebugText(),
              "Calling MaintWrite(LocalPort=0 DestID=9 Hop=1 Offset=0x6c Value=12345600) to "
              "set ComponentTag for ffff ffff\n"
              "Calling MaintRead(LocalPort=0 DestID=9 Hop=1 Offset=0x6c) to get "
              "ComponentTag for ffff ffff\n");

    static HalInterface s_record{};
    s_record.ulDeviceKey = kKey;
    s_record.pfnWriteBreadcrumb = &CustomWriteBreadcrumb;
    HalRegisterInterface(&s_record);
    m_target.m_astrDebug.clear();
    m_target.m_aAccesses.clear();
    EXPECT_EQ(HalWriteBreadcrumb(kVendor, kDevice, 0, 9, 1, 0xAB), 0);
    EXPECT_EQ(g_sCall.ulArg, 0xABu);
    EXPECT_TRUE(m_target.m_aAccesses.empty());
    EXPECT_EQ(m_target.DebugText(), "Calling custom HalWriteBreadcrumb for 0038 0374, value 000000ab\n");
}

TEST_F(HalDispatchTest, VDIDCapsAskTheCountOnlyOfDevicesWithSecondaryIDs)
{
    HalSetDebugFlag(1, 1);
    uint16_t wFlags = 9, wNum = 9;
    EXPECT_EQ(HalGetVDIDCaps(0xFFFF, 0xFFFF, 0, 1, 0, &wFlags, &wNum), 0);
    EXPECT_EQ(wFlags, 0);
    EXPECT_EQ(wNum, 0);
    EXPECT_EQ(m_target.DebugText(), "No custom VDID Caps. Flags=0, Num2ary=0\n");
    wNum = 9;
    EXPECT_EQ(HalGetVDIDCaps(0xFFFF, 0xFFFF, 0, 1, 0, nullptr, &wNum), 0);
    EXPECT_EQ(wNum, 9);

    static HalInterface s_record{};
    s_record.ulDeviceKey = kKey;
    s_record.pfnGetVDIDCaps = &CustomVDIDCaps;
    s_record.pfnGetNum2aryDestIDs = &CustomNum2ary;
    HalRegisterInterface(&s_record);

    m_target.m_astrDebug.clear();
    g_wCapsFlags = 3;
    g_nCapsStatus = 0;
    EXPECT_EQ(HalGetVDIDCaps(kVendor, kDevice, 0, 1, 0, &wFlags, &wNum), 0);
    EXPECT_EQ(wFlags, 3);
    EXPECT_EQ(wNum, 3);
    EXPECT_EQ(m_target.DebugText(), "Supports 2ary DestIDs.\nNum2ary=3\n");

    m_target.m_astrDebug.clear();
    g_wCapsFlags = 2;
    EXPECT_EQ(HalGetVDIDCaps(kVendor, kDevice, 0, 1, 0, &wFlags, &wNum), 0);
    EXPECT_EQ(wNum, 0);
    EXPECT_EQ(m_target.DebugText(), "No custom VDID Caps. Num2ary=0\n");

    m_target.m_astrDebug.clear();
    g_nCapsStatus = -6;
    EXPECT_EQ(HalGetVDIDCaps(kVendor, kDevice, 0, 1, 0, &wFlags, &wNum), -6);
    EXPECT_EQ(m_target.DebugText(), "Can't get VDID caps.\n");
}

TEST_F(HalDispatchTest, MaintenanceGatesLogAtLevelTwoAndPassTheSettings)
{
    HalSetDebugFlag(2, 1);
    HalSetLargeTransport(1);
    HalSetPriority(1);
    m_target.SetReg(0x10, 0xCAFE);

    uint32_t ulValue = 0;
    EXPECT_EQ(MaintRead(1, 0xFFFFFFFF, 0, 0x10, &ulValue, 1, 4, 4), 0);
    EXPECT_EQ(ulValue, 0xCAFEu);
    const uint32_t aulWords[2] = {0x11223344, 0x55667788};
    uint32_t aulCopy[2] = {aulWords[0], aulWords[1]};
    EXPECT_EQ(MaintWrite(0, 5, 3, 0x70, aulCopy, 2, 4, 4), 0);
    // The caller's words are unchanged and went out in host order, one after the other.
    EXPECT_EQ(aulCopy[0], aulWords[0]);
    EXPECT_EQ(aulCopy[1], aulWords[1]);
    ASSERT_EQ(m_target.m_aAccesses.size(), 2u);
    EXPECT_EQ(m_target.m_aAccesses[1].aulWords, (std::vector<uint32_t>{0x11223344, 0x55667788}));
    for (const SAccess& sAccess : m_target.m_aAccesses)
    {
        EXPECT_EQ(sAccess.bLargeTransport, 1u);
        EXPECT_EQ(sAccess.ulPriority, 1u);
    }
    EXPECT_EQ(
        m_target.DebugText(),
        "MaintRead\n\tLocalPort=1\n\tDestID=-1\n\tHopCount=0\n\tOffset=0x10\n\tWordCount=1\n\tWordSize=4\n"
        "\tStride=4\n\tFirstWord=cafe\n\treturn=0\n"
        "MaintWrite\n\tLocalPort=0\n\tDestID=5\n\tHopCount=3\n\tOffset=0x70\n\tWordCount=2\n\tWordSize=4\n"
        "\tStride=4\n\tFirstWord=11223344\n\treturn=0\n");

    // A failed read still prints what the caller's buffer held.
    m_target.m_astrDebug.clear();
    m_target.FailReads(0x14, -6);
    ulValue = 0xDEADBEEF;
    EXPECT_EQ(MaintRead(0, 2, 1, 0x14, &ulValue, 1, 4, 4), -6);
    EXPECT_EQ(m_target.DebugText(),
              "MaintRead\n\tLocalPort=0\n\tDestID=2\n\tHopCount=1\n\tOffset=0x14\n"
              "\tWordCount=1\n\tWordSize=4\n\tStride=4\n\tFirstWord=deadbeef\n\treturn=-6\n");
    // FirstWord is read at the word size.
    m_target.m_astrDebug.clear();
    const uint8_t abBytes[2] = {0xA5, 0x5A};
    MaintWrite(0, 2, 1, 0x14, abBytes, 2, 1, 1);
    EXPECT_NE(m_target.DebugText().find("\tFirstWord=a5\n"), std::string::npos);

    // With level 2 off nothing is written, and nothing is formatted.
    m_target.m_astrDebug.clear();
    HalSetDebugFlag(2, 0);
    MaintRead(0, 2, 1, 0x10, &ulValue, 1, 4, 4);
    EXPECT_TRUE(m_target.m_astrDebug.empty());
    EXPECT_EQ(HalDebugPrint(2, "%d", 12345), 0);
    HalSetDebugFlag(5, 1);
    EXPECT_EQ(HalDebugPrint(5, "%d\n", 12345), 6);
    EXPECT_EQ(m_target.m_astrDebug.back(), "12345\n");
    HalSetDebugFlag(6, 1);
    EXPECT_EQ(HalGetDebugFlag(6), 0u);
}

TEST_F(HalDispatchTest, WithoutTransportEveryGateFailsAsDriverNotOpen)
{
    HalSetLargeTransport(1);
    HalSetPriority(0);
    HalInitialize();
    EXPECT_EQ(HalGetLargeTransport(), 0u);
    EXPECT_EQ(HalGetPriority(), 2u);
    EXPECT_EQ(NVXL_GetTransport(), nullptr);

    uint32_t ulValue = 0;
    char szText[16] = "";
    EXPECT_EQ(MaintRead(0, 1, 0, 0, &ulValue, 1, 4, 4), -3);
    EXPECT_EQ(MaintWrite(0, 1, 0, 0, &ulValue, 1, 4, 4), -3);
    EXPECT_EQ(DataWrite(0, 1, 0, 0, 1, 2, &ulValue, 4), -3);
    EXPECT_EQ(GetRioErrors(szText, sizeof szText), -3);
    uint16_t wDevice = 0, wVendor = 0;
    EXPECT_EQ(HalGetFeatures(0xFFFF, 0xFFFF, 0, 1, 0, &ulValue), -3);

    // A transport without the function does not support the operation.
    m_target.Install();
    EXPECT_EQ(DoorbellSend(0, 1, 2, 0x55), -9);
    m_target.SetReg(0x00, 0x03740038);
    EXPECT_EQ(GetDeviceAndVendor(0, 1, 0, &wDevice, &wVendor), 0);
    EXPECT_EQ(wDevice, 0x0374);
    EXPECT_EQ(wVendor, 0x0038);
}
} // namespace
} // namespace nvtest

// The automation methods against a simulated fabric: the values they read are the ones the
// simulated devices hold, what they write arrives there, and every refusal has its text.
#include "AutomationTestSupport.h"

#include "nvsim/Faults.h"

using autotest::AutomationSimTest;
using autotest::N;
using autotest::Refused;
using autotest::ScriptArray;
using autotest::SOutcome;
using autotest::Text;

namespace
{
CAutoValue I4s(const std::vector<int64_t>& values)
{
    return CAutoValue::NumberArray(eVtI4, values);
}
CAutoValue I2s(const std::vector<int64_t>& values)
{
    return CAutoValue::NumberArray(eVtI2, values);
}
CAutoValue Bytes(const std::vector<int64_t>& values, uint16_t vt = eVtUI1)
{
    return CAutoValue::NumberArray(vt, values);
}
// The endpoint behind the switch, and the switch itself (consumed at hop 0).
const std::vector<CAutoValue> kEp = {N(0), N(5), N(1)};
const std::vector<CAutoValue> kSw = {N(0), N(0xFF), N(0)};
const std::vector<CAutoValue> kSwDevice = {N(0xFFF0), N(0x0010)};
// The Tsi574 one hop behind the generic switch.
const std::vector<CAutoValue> kTs = {N(0), N(0xFF), N(1)};
const std::vector<CAutoValue> kTsDevice = {N(0x000D), N(0x0574)};

std::vector<CAutoValue> operator+(std::vector<CAutoValue> a, const std::vector<CAutoValue>& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
} // namespace

TEST_F(AutomationSimTest, MaintenanceReadsAndWritesReachTheDevicesRegisters)
{
    SOutcome outcome =
        Run("MaintWrite", kEp + std::vector<CAutoValue>{N(0x6C), N(1), I4s({0x12345678}), N(4)});
    ASSERT_TRUE(outcome.bOk) << outcome.error.strText.toStdString();
    EXPECT_EQ(1, outcome.value.nValue);
    EXPECT_EQ(0x12345678u, Register("ep", 0x6C));

    outcome = Run("MaintRead", kEp + std::vector<CAutoValue>{N(0x60), N(4), N(4)});
    ASSERT_TRUE(outcome.bOk) << outcome.error.strText.toStdString();
    EXPECT_EQ(eVtArray | eVtI4, outcome.value.vt);
    EXPECT_EQ((std::vector<int64_t>{0x00050005, 0, 0xFFFF, 0x12345678}), outcome.Numbers());
    // The stride steps from 0x60 to 0x6C.
    outcome = Run("MaintRead", kEp + std::vector<CAutoValue>{N(0x60), N(2), N(0xC)});
    EXPECT_EQ((std::vector<int64_t>{0x00050005, 0x12345678}), outcome.Numbers());

    outcome = Run("MaintRead8", kEp + std::vector<CAutoValue>{N(0x6C), N(4)});
    EXPECT_EQ(eVtArray | eVtUI1, outcome.value.vt);
    EXPECT_EQ((std::vector<int64_t>{0x12, 0x34, 0x56, 0x78}), outcome.Numbers());

    // A script's array of numbers is taken for 16-bit words; -2 and 0xFFFE are the same word.
    outcome =
        Run("MaintWrite16", kEp + std::vector<CAutoValue>{N(0x6C), N(2), ScriptArray({N(0xBEEF), N(-2)})});
    ASSERT_TRUE(outcome.bOk) << outcome.error.strText.toStdString();
    EXPECT_EQ(0xBEEFFFFEu, Register("ep", 0x6C));
    outcome = Run("MaintRead16", kEp + std::vector<CAutoValue>{N(0x6C), N(2)});
    EXPECT_EQ(eVtArray | eVtI2, outcome.value.vt);
    EXPECT_EQ((std::vector<int64_t>{static_cast<int16_t>(0xBEEF), -2}), outcome.Numbers());

    EXPECT_TRUE(Run("MaintWrite8", kEp + std::vector<CAutoValue>{N(0x6F), N(1), Bytes({0xAA})}).bOk);
    EXPECT_EQ(0xBEEFFFAAu, Register("ep", 0x6C));

    // A VBScript Long of -1 is the host's own DestID and an all-ones tag.
    EXPECT_TRUE(Run("SetComponentTag", {N(0), N(-1), N(0), N(-1)}).bOk);
    EXPECT_EQ(0xFFFFFFFFu, Register("host0", 0x6C));
    EXPECT_EQ(0xFFFFFFFF, Run("GetComponentTag", {N(0), Text("0xFFFFFFFF"), N(0)}).value.nValue);
    EXPECT_EQ(0x00C0FFEE, Run("GetComponentTag", kSw).value.nValue);
}

TEST_F(AutomationSimTest, WriteDataMustBeAnArrayOfTheElementTypeHoldingAtLeastTheCount)
{
    const auto Write = [&](const char* pszMethod, uint32_t ulCount, const CAutoValue& data)
    {
        std::vector<CAutoValue> args = kEp + std::vector<CAutoValue>{N(0x6C), N(ulCount), data};
        if (std::string(pszMethod) == "MaintWrite")
        {
            args.push_back(N(4));
        }
        return Run(pszMethod, args);
    };
    const QString strI4 = Refused("Invalid VARIANT type.  Expected (VT_BYREF | VT_ARRAY | VT_I4).");
    const QString strI2 = Refused("Invalid VARIANT type.  Expected (VT_BYREF | VT_ARRAY | VT_I2).");
    const QString strUI1 = Refused("Invalid VARIANT type.  Expected (VT_BYREF | VT_ARRAY | VT_UI1).");
    EXPECT_EQ(strI4, Write("MaintWrite", 1, N(7)).error.strText);
    EXPECT_EQ(strI4, Write("MaintWrite", 1, CAutoValue::NumberArray(eVtI4, {7}, false)).error.strText)
        << "a typed array must come by reference";
    EXPECT_EQ(strI2, Write("MaintWrite16", 1, I4s({7})).error.strText);
    EXPECT_EQ(strUI1, Write("MaintWrite8", 1, I2s({7})).error.strText);
    EXPECT_EQ(strUI1, Write("MaintWrite8", 2, ScriptArray({N(1), Text("2")})).error.strText);
    EXPECT_EQ(strUI1, Write("MaintWrite8", 1, ScriptArray({N(256)})).error.strText);
    EXPECT_EQ(strI2, Write("MaintWrite16", 1, ScriptArray({N(-32769)})).error.strText);
    EXPECT_EQ(Refused("VARIANT array size does not match word count."),
              Write("MaintWrite", 2, I4s({1})).error.strText);
    EXPECT_EQ(Refused("VARIANT array size does not match byte count."),
              Write("MaintWrite8", 4, Bytes({1, 2, 3})).error.strText);
    EXPECT_EQ(-39, Write("MaintWrite16", 3, ScriptArray({N(1), N(2)})).error.nStatus);
    EXPECT_EQ(0u, Register("ep", 0x6C)) << "no refused write reached the device";

    // A longer array is taken; only the count is written.
    ASSERT_TRUE(Write("MaintWrite", 1, I4s({0x11, 0x22, 0x33})).bOk);
    EXPECT_EQ(0x11u, Register("ep", 0x6C));
    EXPECT_EQ(0u, Register("ep", 0x70));
}

TEST_F(AutomationSimTest, AFailedReadKeepsItsStatusAsTheLastErrorUntilTheNextFailure)
{
    std::string strError;
    ASSERT_TRUE(nvsim::ApplyFaultSpec("status:status=-45", *m_pFabric, m_pServer->Faults(), &strError))
        << strError;
    const std::vector<CAutoValue> read = kEp + std::vector<CAutoValue>{N(0x60), N(1), N(4)};
    SOutcome outcome = Run("MaintRead", read);
    EXPECT_FALSE(outcome.bOk);
    EXPECT_EQ(-45, outcome.error.nStatus);
    EXPECT_EQ(RioErrorText(-45), outcome.error.strText);
    EXPECT_EQ(45, Run("GetLastError").value.nValue);
    EXPECT_EQ(RioErrorText(-45), Run("GetLastErrorString").value.strValue);

    EXPECT_TRUE(Run("MaintRead", read).bOk);
    EXPECT_EQ(45, Run("GetLastError").value.nValue) << "a success does not clear the error";

    // The code of a maintenance read is the low 16 bits of the negated status; the last error keeps
    // the whole status.
    ASSERT_TRUE(nvsim::ApplyFaultSpec("status:status=-65581", *m_pFabric, m_pServer->Faults(), &strError));
    outcome = Run("MaintRead8", kEp + std::vector<CAutoValue>{N(0x60), N(4)});
    EXPECT_EQ(-45, outcome.error.nStatus);
    EXPECT_EQ(-65581, m_automation.LastError());
    EXPECT_EQ(65581, Run("GetLastError").value.nValue);

    // Nothing answers behind a link that is down.
    outcome = Run("GetComponentTag", {N(0), N(7), N(1)});
    EXPECT_FALSE(outcome.bOk);
    EXPECT_EQ(-outcome.error.nStatus, Run("GetLastError").value.nValue);
}

TEST_F(AutomationSimTest, IdentityIDsLocksAndPortsComeFromTheDevice)
{
    EXPECT_EQ((std::vector<int64_t>{0x0002, 0xFFF0}), Run("GetDeviceAndVendor", kEp).Numbers());
    EXPECT_EQ(0x0010, Run("GetDevice", kSw).value.nValue);
    EXPECT_EQ(0xFFF0, Run("GetVendor", kSw).value.nValue);

    EXPECT_EQ(5, Run("GetDeviceID", kEp).value.nValue);
    EXPECT_EQ(5, Run("GetLongDeviceID", kEp).value.nValue);
    const std::vector<CAutoValue> epDevice = {N(0xFFF0), N(0x0002)};
    ASSERT_TRUE(Run("SetDeviceID", epDevice + kEp + std::vector<CAutoValue>{N(6)}).bOk);
    EXPECT_EQ(0x00060005u, Register("ep", 0x60)) << "the large ID is left as it was";
    ASSERT_TRUE(Run("SetLongDeviceID", epDevice + kEp + std::vector<CAutoValue>{N(0x1234)}).bOk);
    EXPECT_EQ(0x00061234u, Register("ep", 0x60)) << "the small ID is left as it was";

    EXPECT_EQ(1, Run("AcquireDeviceLock", kSw + std::vector<CAutoValue>{N(1), N(1), N(0)}).value.nValue);
    EXPECT_EQ(1, Run("GetCurDeviceLock", kSw).value.nValue);
    EXPECT_EQ(0xFFFF, Run("ReleaseDeviceLock", kSw + std::vector<CAutoValue>{N(1)}).value.nValue);
    EXPECT_EQ(0xFFFFu, Register("sw", 0x68) & 0xFFFF);

    EXPECT_NE(0, Run("GetFeatures", kSw).value.nValue & (1 << 28));
    EXPECT_EQ(0x0800, Run("GetSwitchPortInfo", kSw).value.nValue) << "8 ports, entered on port 0";
    EXPECT_EQ(0x100, Run("GetExtFeaturesPtr", kSw).value.nValue);
    EXPECT_EQ(1, Run("GetNumLocalPorts").value.nValue);

    // Ports 0 and 1 are trained; 2 is down and the others have no link.
    SOutcome outcome = Run("ArePortsTrained", kSwDevice + kSw + std::vector<CAutoValue>{N(16)});
    ASSERT_TRUE(outcome.bOk) << outcome.error.strText.toStdString();
    EXPECT_EQ(eVtArray | eVtBool, outcome.value.vt);
    EXPECT_EQ((std::vector<int64_t>{1, 1, 0, 1, 0, 0, 0, 0}), outcome.Numbers()) << "the switch has 8 ports";
    EXPECT_EQ((std::vector<int64_t>{1, 1, 0}),
              Run("ArePortsTrained", kSwDevice + kSw + std::vector<CAutoValue>{N(3)}).Numbers());
    EXPECT_EQ(1, Run("IsPortTrained", kSwDevice + kSw + std::vector<CAutoValue>{N(1)}).value.nValue);
    EXPECT_EQ(0, Run("IsPortTrained", kSwDevice + kSw + std::vector<CAutoValue>{N(2)}).value.nValue);

    const uint32_t ulOld = static_cast<uint32_t>(
        Run("SetResponseTimeout", kSw + std::vector<CAutoValue>{N(0x1000)}).value.nValue);
    EXPECT_NE(0x1000u, ulOld);
    EXPECT_EQ(0x1000, Run("SetResponseTimeout", kSw + std::vector<CAutoValue>{N(0x2000)}).value.nValue);

    {
        auto lock = m_pFabric->Lock();
        m_pFabric->Device("sw").InjectPortErrors(1, 0x00000004);
    }
    EXPECT_EQ(0, Run("ClearPortErrors", kSwDevice + kSw + std::vector<CAutoValue>{N(1)}).value.nValue);
    EXPECT_EQ(0u, Register("sw", 0x158 + 32) & 0x4);
    // An input-status request answers with the partner's port state, OK (0x10), in bits 4..0.
    outcome = Run("SendLinkMaintRequest", kSwDevice + kSw + std::vector<CAutoValue>{N(1), N(4)});
    ASSERT_TRUE(outcome.bOk) << outcome.error.strText.toStdString();
    EXPECT_EQ(0x10, outcome.value.nValue & 0x1F);
    // The generic device has no speed registers of a known layout; the Tsi574 has.
    EXPECT_EQ(0, Run("GetPortSpeedMHz", kSwDevice + kSw + std::vector<CAutoValue>{N(1)}).value.nValue);
    EXPECT_EQ(3125, Run("GetPortSpeedMHz", kTsDevice + kTs + std::vector<CAutoValue>{N(0)}).value.nValue);
}

TEST_F(AutomationSimTest, RoutingTablesGoDownAsPairsAndComeBackTheSame)
{
    // IDs 0..7; the host's (1) and the endpoint's (5) routes stay as they were.
    const std::vector<int64_t> pairs = {0, 2, 1, 0, 2, 3, 3, 7, 4, 6, 5, 1, 6, 5, 7, 4};
    // What the switch then holds: those and the all-ones ID to the Tsi574, which the store leaves.
    std::vector<int64_t> table = pairs;
    table.insert(table.end(), {0xFF, 3});
    const std::vector<CAutoValue> table0 = kSwDevice + kSw + std::vector<CAutoValue>{N(0)};
    SOutcome outcome = Run("PutRoutingTable", table0 + std::vector<CAutoValue>{N(8), I2s(pairs), N(0)});
    ASSERT_TRUE(outcome.bOk) << outcome.error.strText.toStdString();
    {
        auto lock = m_pFabric->Lock();
        uint8_t uchPort = 0;
        ASSERT_TRUE(m_pFabric->Device("sw").Route(3, false, 0, &uchPort));
        EXPECT_EQ(7, uchPort);
    }
    outcome = Run("GetRoutingTable", table0);
    ASSERT_TRUE(outcome.bOk) << outcome.error.strText.toStdString();
    EXPECT_EQ(eVtArray | eVtI2, outcome.value.vt);
    EXPECT_EQ(table, outcome.Numbers());

    // The generic switch leaves single entries to its table store; the Tsi574 takes them, in the
    // table of every port (255).
    EXPECT_FALSE(Run("RouteAddEntry", kSwDevice + kSw + std::vector<CAutoValue>{N(0), N(9), N(2)}).bOk);
    outcome = Run("RouteAddEntry", kTsDevice + kTs + std::vector<CAutoValue>{N(255), N(9), N(2)});
    ASSERT_TRUE(outcome.bOk) << outcome.error.strText.toStdString();
    {
        auto lock = m_pFabric->Lock();
        uint8_t uchPort = 0;
        ASSERT_TRUE(m_pFabric->Device("ts").Route(9, false, 5, &uchPort));
        EXPECT_EQ(2, uchPort);
    }
    const std::vector<int64_t> tsTable =
        Run("GetRoutingTable", kTsDevice + kTs + std::vector<CAutoValue>{N(0)}).Numbers();
    bool bFound = false;
    for (size_t i = 0; i + 1 < tsTable.size(); i += 2)
    {
        bFound = bFound || (tsTable[i] == 9 && tsTable[i + 1] == 2);
    }
    EXPECT_TRUE(bFound) << "the entry comes back with the table";

    EXPECT_EQ(
        Refused("VARIANT array size does not match NumEntries value."),
        Run("PutRoutingTable", table0 + std::vector<CAutoValue>{N(8), I2s({0, 1, 2}), N(0)}).error.strText);
    EXPECT_EQ(
        Refused("Invalid VARIANT type.  Expected (VT_BYREF | VT_ARRAY | VT_I2)."),
        Run("PutRoutingTable", table0 + std::vector<CAutoValue>{N(1), I4s({0, 1}), N(0)}).error.strText);
    // The generic switch has no table in flash: the flash store fails and the table stays.
    EXPECT_FALSE(
        Run("PutRoutingTable", table0 + std::vector<CAutoValue>{N(8), I2s(std::vector<int64_t>(16)), N(1)})
            .bOk);
    EXPECT_EQ(table, Run("GetRoutingTable", table0).Numbers());
}

TEST_F(AutomationSimTest, DataTransfersMessagesAndDoorbellsReachTheEndpoint)
{
    const std::vector<int64_t> data = {1, 2, 3, 4, 0xFD, 0xFE, 0xFF, 0};
    SOutcome outcome = Run("DataWrite", {N(0), N(5), N(0), N(0x1000), N(2), N(0), Bytes(data), N(8)});
    ASSERT_TRUE(outcome.bOk) << outcome.error.strText.toStdString();
    {
        auto lock = m_pFabric->Lock();
        uint8_t abStored[8] = {};
        m_pFabric->Device("ep").ReadMemory(0x1000, abStored, 8);
        EXPECT_EQ(data, std::vector<int64_t>(abStored, abStored + 8));
    }
    outcome = Run("DataRead", {N(0), N(5), N(0), N(0x1000), N(3), N(1), N(8)});
    ASSERT_TRUE(outcome.bOk) << outcome.error.strText.toStdString();
    EXPECT_EQ(eVtArray | eVtUI1, outcome.value.vt);
    EXPECT_EQ(data, outcome.Numbers());

    EXPECT_EQ(Refused("Invalid XferType.  Must be 3."),
              Run("DataRead", {N(0), N(5), N(0), N(0x1000), N(1), N(7), N(8)}).error.strText);
    EXPECT_EQ(Refused("Invalid priority.  Must be 0, 1, or 2."),
              Run("DataRead", {N(0), N(5), N(0), N(0x1000), N(3), N(3), N(8)}).error.strText);
    EXPECT_EQ(Refused("Invalid XferType.  Must be 0, 1 or 2."),
              Run("DataWrite", {N(0), N(5), N(0), N(0), N(3), N(7), N(0), N(8)}).error.strText);
    EXPECT_EQ(Refused("Invalid priority.  Must be 0, 1, or 2."),
              Run("DataWrite", {N(0), N(5), N(0), N(0), N(0), N(3), N(0), N(8)}).error.strText);
    EXPECT_EQ(Refused("VARIANT array size does not match byte count."),
              Run("DataWrite", {N(0), N(5), N(0), N(0), N(0), N(0), Bytes({1}), N(8)}).error.strText);

    // MessageSend's checks, in their order: each case also breaks every later check.
    const auto Send =
        [&](int64_t bMulti, int64_t nPacket, int64_t nTotal, int64_t nPriority, const CAutoValue& v)
    {
        return Run("MessageSend", {N(0), N(5), N(nPriority), N(bMulti), N(1), v, N(nPacket), N(nTotal)})
            .error.strText;
    };
    const CAutoValue none = N(0);
    EXPECT_EQ(Refused("Invalid TotalByteCount.  Must be a multiple of 8 bytes."), Send(1, 0, 12, 3, none));
    EXPECT_EQ(Refused("Invalid PacketByteCount.  Must be >0 and <=256."), Send(1, 0, 16, 3, none));
    EXPECT_EQ(Refused("Invalid PacketByteCount.  Must be >0 and <=256."), Send(1, 264, 16, 3, none));
    EXPECT_EQ(Refused("Invalid PacketByteCount.  Must be a multiple of 8 bytes."), Send(1, 12, 16, 3, none));
    EXPECT_EQ(Refused("Incompatible Total/PacketByteCount.  Total must be <= Packet*16."),
              Send(1, 64, 1032, 3, none));
    EXPECT_EQ(Refused("Invalid TotalByteCount.  Max allowed is 256."), Send(0, 0, 264, 3, none));
    EXPECT_EQ(Refused("Invalid priority.  Must be 0, 1, or 2."), Send(1, 64, 1024, 3, none));
    EXPECT_EQ(Refused("VARIANT array size does not match TotalByteCount."), Send(0, 0, 16, 2, Bytes({1})));

    // The endpoint echoes the message to the host's queue of its mailbox.
    std::vector<int64_t> message(16);
    for (size_t i = 0; i < message.size(); ++i)
    {
        message[i] = static_cast<int64_t>(0xA0 + i);
    }
    outcome = Run("MessageSend", {N(0), N(5), N(1), N(0), N(1), Bytes(message), N(16), N(16)});
    ASSERT_TRUE(outcome.bOk) << outcome.error.strText.toStdString();
    outcome = Run("MessageGet", {N(1)});
    ASSERT_TRUE(outcome.bOk) << outcome.error.strText.toStdString();
    const std::vector<int64_t> received = outcome.Numbers();
    ASSERT_EQ(4096u, received.size());
    EXPECT_EQ(message, std::vector<int64_t>(received.begin(), received.begin() + 16));
    EXPECT_EQ(0, received[16]);
    EXPECT_EQ(16, Run("MessageGetLastSize").value.nValue);
    EXPECT_EQ(5, Run("MessageGetLastSourceID").value.nValue);
    EXPECT_EQ(1, Run("MessageGetLastMailboxNum").value.nValue);
    EXPECT_EQ(0, Run("MessageGetLastOverflow").value.nValue);
    EXPECT_TRUE(Run("MessageFlush", {N(1)}).bOk);

    ASSERT_TRUE(Run("DoorbellSend", {N(0), N(5), N(0), N(0xBEEF)}).bOk);
    EXPECT_EQ(0xBEEF, Run("DoorbellGet", {N(0)}).value.nValue);
    EXPECT_EQ(0, Run("DoorbellGetLastOverflow").value.nValue);
    EXPECT_TRUE(Run("DoorbellFlush", {N(0)}).bOk);
    EXPECT_EQ(Refused("Invalid priority.  Must be 0, 1, or 2."),
              Run("DoorbellSend", {N(0), N(5), N(3), N(1)}).error.strText);
}

TEST_F(AutomationSimTest, HostMemoryAndFlashTakeWordsOfTheirSize)
{
    SOutcome outcome = Run("MemoryWrite", {N(0), N(0x100), N(2), N(2), I2s({0x1234, -2})});
    ASSERT_TRUE(outcome.bOk) << outcome.error.strText.toStdString();
    outcome = Run("MemoryRead", {N(0), N(0x100), N(2), N(2)});
    ASSERT_TRUE(outcome.bOk) << outcome.error.strText.toStdString();
    EXPECT_EQ(eVtArray | eVtI2, outcome.value.vt);
    EXPECT_EQ((std::vector<int64_t>{0x1234, -2}), outcome.Numbers());

    ASSERT_TRUE(Run("MemoryWrite", {N(0), N(0x200), N(1), N(4), ScriptArray({N(0xCAFEF00D)})}).bOk);
    EXPECT_EQ((std::vector<int64_t>{static_cast<int32_t>(0xCAFEF00D)}),
              Run("MemoryRead", {N(0), N(0x200), N(1), N(4)}).Numbers());
    // Bytes: a D-Bus byte array stands in for the signed bytes.
    ASSERT_TRUE(Run("MemoryWrite", {N(0), N(0x300), N(2), N(1), Bytes({0x80, 0x7F})}).bOk);
    outcome = Run("MemoryRead", {N(0), N(0x300), N(2), N(1)});
    EXPECT_EQ(eVtArray | eVtI1, outcome.value.vt);
    EXPECT_EQ((std::vector<int64_t>{-128, 127}), outcome.Numbers());

    EXPECT_EQ(Refused("Invalid WordSize.  Must be 1, 2 or 4."),
              Run("MemoryRead", {N(0), N(0), N(1), N(3)}).error.strText);
    EXPECT_EQ(Refused("Invalid WordSize.  Must be 1, 2, or 4."),
              Run("MemoryWrite", {N(0), N(0), N(1), N(8), I4s({0})}).error.strText);
    EXPECT_EQ(Refused("Invalid VARIANT type.  Expected (VT_BYREF | VT_ARRAY | VT_I2)."),
              Run("MemoryWrite", {N(0), N(0), N(1), N(2), I4s({0})}).error.strText);
    EXPECT_EQ(Refused("VARIANT array size does not match word count."),
              Run("MemoryWrite", {N(0), N(0), N(3), N(4), I4s({0, 1})}).error.strText);

    ASSERT_TRUE(Run("FlashWrite", {N(0), N(0x10), N(4), Bytes({1, 2, 3, -1}, eVtI1)}).bOk);
    outcome = Run("FlashRead", {N(0), N(0x10), N(5)});
    EXPECT_EQ(eVtArray | eVtUI1, outcome.value.vt);
    EXPECT_EQ((std::vector<int64_t>{1, 2, 3, 0xFF, 0xFF}), outcome.Numbers()) << "erased flash reads 0xFF";
    EXPECT_EQ(Refused("Invalid VARIANT type.  Expected (VT_BYREF | VT_ARRAY | VT_I1)."),
              Run("FlashWrite", {N(0), N(0x10), N(1), I2s({1})}).error.strText);
    EXPECT_EQ(Refused("VARIANT array size does not match byte count."),
              Run("FlashWrite", {N(0), N(0x10), N(2), Bytes({1}, eVtI1)}).error.strText);
}

TEST_F(AutomationSimTest, TransactionsAreLoggedOnlyWhileTheObjectsLoggingIsOn)
{
    ASSERT_TRUE(Run("CreateLogFile", {CAutoValue::Text(m_strLog)}).bOk);
    const std::vector<CAutoValue> read = kEp + std::vector<CAutoValue>{N(0x60), N(1), N(4)};
    ASSERT_TRUE(Run("MaintRead", read).bOk);
    EXPECT_EQ("", nvtest::ReadFile(m_strLog.toStdString()));
    ASSERT_TRUE(Run("EnableLogging", {N(1)}).bOk);
    ASSERT_TRUE(Run("MaintRead", read).bOk);
    EXPECT_FALSE(IsLoggingEnabled());
    const std::string strLog = nvtest::ReadFile(m_strLog.toStdString());
    EXPECT_NE(std::string::npos, strLog.find("Maint_read")) << strLog;
    EXPECT_NE(std::string::npos, strLog.find("Succeeded")) << strLog;
}

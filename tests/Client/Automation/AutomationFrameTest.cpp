// The automation object's frame without a target: the method table callers bind to, the methods
// that need no target, the connected check, argument conversion and the error bookkeeping.
#include "AutomationTestSupport.h"

#include "NetworkDocument.h"

#include <QStringList>

#include <tuple>

using autotest::Call;
using autotest::N;
using autotest::Refused;
using autotest::SOutcome;
using autotest::Text;

namespace
{
// The interface as scripts know it: names in dispatch order.
const char* const kNames[] = {"GetLastErrorString",
                              "GetLastError",
                              "GetVersionMajor",
                              "GetVersionMinor",
                              "GetVersionSubMinor",
                              "GetVersionString",
                              "IsConnected",
                              "SetMaintReadPriority",
                              "GetMaintReadPriority",
                              "MaintRead",
                              "MaintRead8",
                              "MaintRead16",
                              "SetMaintWritePriority",
                              "GetMaintWritePriority",
                              "MaintWrite",
                              "MaintWrite8",
                              "MaintWrite16",
                              "GetDeviceAndVendor",
                              "GetDeviceID",
                              "GetLongDeviceID",
                              "SetDeviceID",
                              "SetLongDeviceID",
                              "GetNumLocalPorts",
                              "GetFeatures",
                              "GetSwitchPortInfo",
                              "GetExtFeaturesPtr",
                              "AcquireDeviceLock",
                              "GetCurDeviceLock",
                              "ReleaseDeviceLock",
                              "GetComponentTag",
                              "SetComponentTag",
                              "ArePortsTrained",
                              "IsPortTrained",
                              "RouteAddEntry",
                              "SetResponseTimeout",
                              "GetRoutingTable",
                              "PutRoutingTable",
                              "DataRead",
                              "DataWrite",
                              "MessageSend",
                              "MessageGet",
                              "MessageFlush",
                              "MessageGetLastSize",
                              "MessageGetLastTT",
                              "MessageGetLastOverflow",
                              "MessageGetLastSourceID",
                              "MessageGetLastPriority",
                              "MessageGetLastMailboxNum",
                              "DoorbellSend",
                              "DoorbellGet",
                              "DoorbellFlush",
                              "DoorbellGetLastOverflow",
                              "CreateLogFile",
                              "EnableLogging",
                              "WriteToLog",
                              "GetHopCountForNode",
                              "GetDestIDForNode",
                              "MapToClipboard",
                              "MemoryRead",
                              "MemoryWrite",
                              "MemoryViewerOpen",
                              "MemoryViewerClose",
                              "FlashRead",
                              "FlashWrite",
                              "ClearPortErrors",
                              "SendLinkMaintRequest",
                              "EnableProbe",
                              "DisableProbe",
                              "GetProbeConfig",
                              "SetProbeConfig",
                              "GetPortSpeedMHz",
                              "GetDevice",
                              "GetVendor",
                              "GetNodeList"};

QString Signature(const SAutoMethod& method)
{
    QStringList args;
    for (const SAutoArg& arg : method.args)
    {
        args << QStringLiteral("%1:%2").arg(QLatin1String(arg.pszName)).arg(arg.vt);
    }
    return QStringLiteral("%1(%2)->%3")
        .arg(QLatin1String(method.pszName), args.join(QLatin1Char(' ')))
        .arg(method.vtResult);
}

struct SDisconnected
{
    bool bConnected = false;
    CAutomation automation{SAutomationHooks{[this] { return bConnected; }, {}, {}, {}, {}, {}}};
    SOutcome Run(const char* pszMethod, const std::vector<CAutoValue>& args = {})
    {
        return Call(automation, pszMethod, args);
    }
};
} // namespace

TEST(AutomationTable, HasTheInterfaceMethodsInDispatchOrderWithTheirArgumentTypes)
{
    const auto& methods = CAutomation::Methods();
    ASSERT_EQ(std::size(kNames), methods.size());
    for (size_t i = 0; i < methods.size(); ++i)
    {
        EXPECT_EQ(static_cast<int>(i + 1), methods[i].iDispID);
        EXPECT_STREQ(kNames[i], methods[i].pszName);
    }
    // Signatures of the methods whose argument lists are the easiest to get wrong.
    EXPECT_EQ(
        QStringLiteral("MaintRead(uchLocalPort:17 ulDestID:19 uchHopCount:17 ulOffset:19 ulWordCount:19 "
                       "ulStride:19)->8195"),
        Signature(methods[9]));
    EXPECT_EQ(
        QStringLiteral("MaintWrite(uchLocalPort:17 ulDestID:19 uchHopCount:17 ulOffset:19 ulWordCount:19 "
                       "vData:12 ulStride:19)->3"),
        Signature(methods[14]));
    EXPECT_EQ(QStringLiteral("ArePortsTrained(wVendorID:18 wDeviceID:18 uchLocalPort:17 ulDestID:19 "
                             "uchHopCount:17 wNumPortsToCheck:18)->8203"),
              Signature(methods[31]));
    EXPECT_EQ(QStringLiteral("PutRoutingTable(wVendorID:18 wDeviceID:18 uchLocalPort:17 ulDestID:19 "
                             "uchHopCount:17 uchWhichTable:17 ulNumEntries:19 pvTable:12 bFlash:3)->3"),
              Signature(methods[36]));
    EXPECT_EQ(QStringLiteral("MessageSend(uchLocalPort:17 ulDestID:19 ulPriority:19 bMultiPacket:3 "
                             "ulMailboxNum:19 pvData:12 ulPacketByteCount:19 ulTotalByteCount:19)->3"),
              Signature(methods[39]));
    EXPECT_EQ(QStringLiteral("AcquireDeviceLock(uchLocalPort:17 ulDestID:19 uchHopCount:17 wHostDeviceID:18 "
                             "nTimeoutSec:18 bBreakLock:3)->18"),
              Signature(methods[26]));
    EXPECT_EQ(eVtArray | eVtUI1, methods[10].vtResult); // MaintRead8
    EXPECT_EQ(eVtArray | eVtI2, methods[11].vtResult);  // MaintRead16
    EXPECT_EQ(eVtArray | eVtI2, methods[35].vtResult);  // GetRoutingTable
    EXPECT_EQ(eVtArray | eVtI4, methods[73].vtResult);  // GetNodeList

    ASSERT_NE(nullptr, CAutomation::FindMethod(QStringLiteral("maintread16")));
    EXPECT_EQ(12, CAutomation::FindMethod(QStringLiteral("maintread16"))->iDispID);
    EXPECT_EQ(nullptr, CAutomation::FindMethod(QStringLiteral("MaintRead32")));
}

TEST(AutomationFrame, MethodsWithoutTargetWorkDisconnectedAndTheOthersFailWithNotConnected)
{
    SDisconnected d;
    EXPECT_EQ(0, d.Run("IsConnected").value.nValue);
    EXPECT_EQ(0, d.Run("GetLastError").value.nValue);
    const SOutcome version = d.Run("GetVersionString");
    ASSERT_TRUE(version.bOk);
    EXPECT_EQ(QStringLiteral("%1.%2.%3")
                  .arg(d.Run("GetVersionMajor").value.nValue)
                  .arg(d.Run("GetVersionMinor").value.nValue)
                  .arg(d.Run("GetVersionSubMinor").value.nValue),
              version.value.strValue);
    EXPECT_TRUE(d.Run("SetMaintReadPriority", {N(1)}).bOk);
    EXPECT_TRUE(d.Run("MessageGetLastSize").bOk);
    EXPECT_TRUE(d.Run("DoorbellGetLastOverflow").bOk);
    const SOutcome nodes = d.Run("GetNodeList");
    ASSERT_TRUE(nodes.bOk);
    EXPECT_EQ(eVtArray | eVtI4, nodes.value.vt);
    EXPECT_TRUE(nodes.value.elements.empty());

    // Everything that reaches the target, including the priority getters and the port count of the
    // host, is refused before any argument is looked at further.
    for (const auto& [pszMethod, args] : std::vector<std::pair<const char*, std::vector<CAutoValue>>>{
             {"GetMaintReadPriority", {}},
             {"GetNumLocalPorts", {}},
             {"MaintRead", {N(0), N(5), N(1), N(0), N(1), N(4)}},
             {"DataWrite", {N(0), N(5), N(0), N(0), N(7), N(9), N(0), N(8)}},
             {"GetDestIDForNode", {N(1)}},
             {"DisableProbe", {}}})
    {
        const SOutcome outcome = d.Run(pszMethod, args);
        EXPECT_FALSE(outcome.bOk) << pszMethod;
        EXPECT_EQ(-38, outcome.error.nStatus) << pszMethod;
        EXPECT_EQ(RioErrorText(-38), outcome.error.strText) << pszMethod;
    }
    EXPECT_EQ(38, d.Run("GetLastError").value.nValue);
    EXPECT_EQ(RioErrorText(-38), d.Run("GetLastErrorString").value.strValue);
    EXPECT_EQ(-38, d.automation.LastError());
}

TEST(AutomationFrame, PrioritiesAreCheckedAndKept)
{
    SDisconnected d;
    d.bConnected = true;
    EXPECT_EQ(2, d.Run("GetMaintReadPriority").value.nValue);
    EXPECT_EQ(2, d.Run("GetMaintWritePriority").value.nValue);
    for (const char* pszSetter : {"SetMaintReadPriority", "SetMaintWritePriority"})
    {
        const SOutcome refused = d.Run(pszSetter, {N(3)});
        EXPECT_FALSE(refused.bOk);
        EXPECT_EQ(-39, refused.error.nStatus);
        EXPECT_EQ(Refused("Invalid priority.  Must be 0, 1, or 2."), refused.error.strText);
    }
    EXPECT_EQ(2, d.Run("GetMaintReadPriority").value.nValue) << "a refused priority changes nothing";
    const SOutcome set = d.Run("SetMaintReadPriority", {N(0)});
    EXPECT_TRUE(set.bOk);
    EXPECT_EQ(1, set.value.nValue);
    EXPECT_TRUE(d.Run("SetMaintWritePriority", {N(1)}).bOk);
    EXPECT_EQ(0, d.Run("GetMaintReadPriority").value.nValue);
    EXPECT_EQ(1, d.Run("GetMaintWritePriority").value.nValue);
    EXPECT_EQ(39, d.Run("GetLastError").value.nValue) << "the success after the refusal leaves the error";
}

TEST(AutomationFrame, ScalarArgumentsConvertFromNumbersAndNumericTextOrAreRefusedByName)
{
    SDisconnected d;
    d.bConnected = true;
    // Text that holds a number: decimal, 0x and &H hexadecimal.
    EXPECT_TRUE(d.Run("SetMaintReadPriority", {Text("1")}).bOk);
    EXPECT_EQ(1, d.Run("GetMaintReadPriority").value.nValue);
    EXPECT_TRUE(d.Run("SetMaintReadPriority", {Text(" 0x2 ")}).bOk);
    EXPECT_EQ(2, d.Run("GetMaintReadPriority").value.nValue);
    EXPECT_TRUE(d.Run("SetMaintReadPriority", {Text("&H0")}).bOk);
    EXPECT_EQ(0, d.Run("GetMaintReadPriority").value.nValue);
    // Other number types convert by value.
    EXPECT_TRUE(d.Run("SetMaintReadPriority", {CAutoValue::Number(eVtUI1, 1)}).bOk);
    EXPECT_EQ(1, d.Run("GetMaintReadPriority").value.nValue);

    struct SCase
    {
        const char* pszMethod;
        std::vector<CAutoValue> args;
        const char* pszReason;
    };
    const std::vector<SCase> cases = {
        {"SetMaintReadPriority",
         {Text("two")},
         "The argument ulReadPriority of SetMaintReadPriority must be a number; \"two\" is not one."},
        {"SetMaintReadPriority",
         {Text("0x")},
         "The argument ulReadPriority of SetMaintReadPriority must be a number; \"0x\" is not one."},
        {"SetMaintReadPriority",
         {CAutoValue{}},
         "The argument ulReadPriority of SetMaintReadPriority must be a number; none was given."},
        {"SetMaintReadPriority",
         {Text("-1")},
         "The argument ulReadPriority of SetMaintReadPriority must be from 0 to 4294967295; -1 is out of "
         "range."},
        {"SetMaintReadPriority",
         {CAutoValue::Number(eVtI4, int64_t{1} << 32)},
         "The argument ulReadPriority of SetMaintReadPriority must be from 0 to 4294967295; 4294967296 is "
         "out "
         "of range."},
        {"MaintRead",
         {N(0), N(5), N(256), N(0), N(1), N(4)},
         "The argument uchHopCount of MaintRead must be from 0 to 255; 256 is out of range."},
        {"GetCurDeviceLock",
         {N(0), CAutoValue::NumberArray(eVtI4, {5}), N(0)},
         "The argument ulDestID of GetCurDeviceLock must be a number, not an array."},
        {"MessageGet",
         {CAutoValue::Number(eVtUI4, 0x80000000ll + 0x100000000ll)},
         "The argument lWhichQueue of MessageGet must be from -2147483648 to 2147483647; 6442450944 is out "
         "of range."},
        {"MaintRead", {N(0), N(5), N(1), N(0), N(1)}, "MaintRead takes 6 arguments, not 5."},
        {"DisableProbe", {N(1)}, "DisableProbe takes 0 arguments, not 1."},
        {"GetDestIDForNode", {}, "GetDestIDForNode takes 1 argument, not 0."},
        {"MaintReed", {}, "There is no method named \"MaintReed\"."},
    };
    for (const SCase& c : cases)
    {
        const SOutcome outcome = d.Run(c.pszMethod, c.args);
        EXPECT_FALSE(outcome.bOk) << c.pszReason;
        EXPECT_EQ(-39, outcome.error.nStatus) << c.pszReason;
        EXPECT_EQ(Refused(c.pszReason), outcome.error.strText);
    }
    // A refused argument is refused before the connection is looked at.
    d.bConnected = false;
    EXPECT_EQ(-39, d.Run("MaintRead", {N(0), N(5), N(256), N(0), N(1), N(4)}).error.nStatus);
    EXPECT_EQ(-38, d.Run("MaintRead", {N(0), Text("0x5"), N(255), N(0), N(1), N(4)}).error.nStatus);
    // The dispatch ID of a method that does not exist.
    SAutoError error;
    CAutoValue result;
    EXPECT_FALSE(d.automation.Invoke(75, {}, &result, &error));
    EXPECT_EQ(Refused("There is no method with dispatch ID 75."), error.strText);
}

TEST(AutomationFrame, LoggingFollowsTheObjectsSwitchAndIsOffAfterEveryTargetCall)
{
    SDisconnected d;
    const std::string strLog = nvtest::ProcessTempDir() + "/frame.log";
    EXPECT_TRUE(d.Run("CreateLogFile", {Text(strLog.c_str())}).bOk);
    EXPECT_TRUE(d.Run("WriteToLog", {Text("not logged\n")}).bOk);
    EXPECT_TRUE(d.Run("EnableLogging", {N(1)}).bOk);
    EXPECT_TRUE(d.Run("WriteToLog", {Text("first line\n")}).bOk);
    EXPECT_TRUE(d.Run("GetNodeList").bOk);
    EXPECT_EQ("first line\nGetNodeList called.\n", nvtest::ReadFile(strLog));
    // The application turned the log on by other means: a target call turns it off again.
    EnableLogging(true);
    d.bConnected = true;
    d.Run("GetMaintReadPriority");
    EXPECT_FALSE(IsLoggingEnabled());
    EXPECT_TRUE(d.Run("EnableLogging", {N(0)}).bOk);
    EXPECT_TRUE(d.Run("WriteToLog", {Text("not logged either\n")}).bOk);
    EXPECT_EQ("first line\nGetNodeList called.\n", nvtest::ReadFile(strLog));

    const SOutcome notText = d.Run("WriteToLog", {N(5)});
    EXPECT_EQ(Refused("Invalid VARIANT type.  Expected VT_BSTR."), notText.error.strText);
    const SOutcome badPath = d.Run("CreateLogFile", {Text("/nonexistent-dir/x.log")});
    EXPECT_FALSE(badPath.bOk);
    EXPECT_EQ(Refused("Unable to create the log file \"/nonexistent-dir/x.log\"."), badPath.error.strText);
}

TEST(AutomationFrame, MapPictureAndMemoryViewerGoThroughTheApplicationsHooks)
{
    SDisconnected d;
    d.bConnected = true;
    EXPECT_EQ(Refused("There is no map window here to copy the map from."),
              d.Run("MapToClipboard").error.strText);
    int nCopies = 0;
    d.automation.Hooks().mapToClipboard = [&] { return ++nCopies == 1; };
    EXPECT_EQ(1, d.Run("MapToClipboard").value.nValue);
    EXPECT_EQ(Refused("The map could not be copied to the clipboard."),
              d.Run("MapToClipboard").error.strText);

    CNetworkDocument map;
    auto pPE = std::make_unique<CPEPrimitive>();
    pPE->iNodeNumber = 0;
    pPE->uType = kPETypeProcessor | kPETypeMemory;
    map.ActivePEs.AddPrimitive(std::move(pPE));
    d.automation.Hooks().document = [&] { return &map; };
    std::vector<std::tuple<uint32_t, uint64_t, uint32_t, bool, uint32_t, bool, uint32_t>> opened;
    std::vector<uint32_t> closed;
    d.automation.Hooks().memoryViewerOpen = [&](uint32_t ulNode, uint64_t ullAddress, uint32_t ulBytes,
                                                bool bBig, uint32_t ulWord, bool bAscii, uint32_t ulColumns)
    {
        opened.emplace_back(ulNode, ullAddress, ulBytes, bBig, ulWord, bAscii, ulColumns);
        return 0;
    };
    d.automation.Hooks().memoryViewerClose = [&](uint32_t ulNode)
    {
        closed.push_back(ulNode);
        return ulNode == 1 ? 0 : -10000;
    };
    const SOutcome tooMany = d.Run("MemoryViewerOpen", {N(1), N(0), N(0), N(4097), N(1), N(4), N(1), N(8)});
    EXPECT_EQ(Refused("Invalid NumBytes.  Max allowed is 4096."), tooMany.error.strText);
    EXPECT_EQ(-10000,
              d.Run("MemoryViewerOpen", {N(2), N(0), N(0), N(16), N(1), N(4), N(1), N(8)}).error.nStatus);
    EXPECT_EQ(-10000, d.Run("MemoryViewerClose", {N(0)}).error.nStatus);
    EXPECT_TRUE(opened.empty());
    EXPECT_TRUE(d.Run("MemoryViewerOpen", {N(1), N(0x12), N(0x3400), N(4096), N(0), N(2), N(1), N(16)}).bOk);
    ASSERT_EQ(1u, opened.size());
    EXPECT_EQ(std::make_tuple(1u, 0x1200003400ull, 4096u, false, 2u, true, 16u), opened[0]);
    EXPECT_TRUE(d.Run("MemoryViewerClose", {N(1)}).bOk);
    EXPECT_EQ(std::vector<uint32_t>{1}, closed);
}

TEST(AutomationFrame, ProbeMethodsCheckTheModeAndNeedTheApplicationsProbe)
{
    SDisconnected d;
    d.bConnected = true;
    const SOutcome badMode = d.Run("EnableProbe", {N(4), N(1), N(2), N(3), N(0), N(1), N(2), N(0)});
    EXPECT_EQ(Refused("Invalid mode.  Must be 1, 2 or 3."), badMode.error.strText);
    EXPECT_EQ(Refused("Invalid mode.  Must be 1, 2 or 3."),
              d.Run("EnableProbe", {N(0), N(1), N(2), N(3), N(0), N(1), N(2), N(0)}).error.strText);
    // No probe set-up in this application.
    EXPECT_EQ(Refused("Unable to configure probe dialog."),
              d.Run("EnableProbe", {N(1), N(1), N(2), N(3), N(0), N(1), N(2), N(0)}).error.strText);
    EXPECT_EQ(Refused("Unable to configure probe dialog."), d.Run("DisableProbe").error.strText);
    EXPECT_EQ(Refused("Unable to configure probe dialog."), d.Run("GetProbeConfig", {N(212)}).error.strText);
    // The data of SetProbeConfig is checked first, as with every write.
    EXPECT_EQ(Refused("Invalid VARIANT type.  Expected (VT_BYREF | VT_ARRAY | VT_I1)."),
              d.Run("SetProbeConfig", {N(212), CAutoValue::NumberArray(eVtI4, std::vector<int64_t>(212))})
                  .error.strText);
    EXPECT_EQ(Refused("VARIANT array size does not match byte count."),
              d.Run("SetProbeConfig", {N(212), CAutoValue::NumberArray(eVtI1, std::vector<int64_t>(211))})
                  .error.strText);
}

// The automation object's frame: the method table, the conversion of the callers' values to the
// methods' argument types, the connected check, the transaction log around each call and the error
// bookkeeping. The method bodies are in AutomationMethods.cpp and AutomationNodes.cpp.
//
// How values are taken:
//
// - A scalar argument takes any number whose value fits the argument's type, and a string that
//   holds one ("16", "0x10", "&H10"). A negative number of a signed type of the same width as the
//   argument counts as its bit pattern, so a VBScript &HFFFF (an Integer, -1) is 0xFFFF for a
//   USHORT and &HFFFFFFFF (a Long, -1) is 0xFFFFFFFF for a ULONG. Anything else is refused with
//   status -39 and a text naming the method and the argument.
// - The data of a write method is an array passed by reference whose element type is the method's
//   (VT_I4, VT_I2, VT_UI1 or VT_I1). Script languages have no typed arrays: an array whose element
//   type is VARIANT is taken when every element is a number of the element type's width (from the
//   least signed to the largest unsigned value of that width, so both -1 and 255 are a byte).
//   D-Bus has no signed byte: a byte array (VT_UI1) is taken where VT_I1 is expected. Any other
//   array, or an element that is not such a number, gets the method's "Invalid VARIANT type" text.
//   An array longer than the count is taken, a shorter one refused.
#include "AutomationInternal.h"

#include "ClientStatus.h"
#include "StatusText.h"
#include "TransactionLog.h"

#include <limits>

namespace automation
{
namespace
{
// Client status of a call that needs the target while the application is not connected.
constexpr int32_t kNotConnected = -38;

struct SEntry
{
    const char* pszName;
    std::vector<SAutoArg> args;
    uint16_t vtResult;
    bool bNeedsTarget;
    bool bMaintRead; // its error code is the negated low 16 bits of the status
    Handler fn;
};

std::vector<SAutoArg> Join(std::initializer_list<std::vector<SAutoArg>> parts)
{
    std::vector<SAutoArg> all;
    for (const auto& part : parts)
    {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

const std::vector<SAutoArg> kTarget = {
    {"uchLocalPort", eVtUI1}, {"ulDestID", eVtUI4}, {"uchHopCount", eVtUI1}};
const std::vector<SAutoArg> kDevice = {{"wVendorID", eVtUI2}, {"wDeviceID", eVtUI2}};

std::vector<SAutoArg> DeviceTarget(std::initializer_list<SAutoArg> more = {})
{
    return Join({kDevice, kTarget, std::vector<SAutoArg>(more)});
}
std::vector<SAutoArg> Target(std::initializer_list<SAutoArg> more = {})
{
    return Join({kTarget, std::vector<SAutoArg>(more)});
}

constexpr uint16_t Array(uint16_t vtElement)
{
    return static_cast<uint16_t>(eVtArray | vtElement);
}

// Every method in dispatch order. Needs target: the method tests the connected flag first.
const std::vector<SEntry>& Entries()
{
    static const std::vector<SEntry> entries = {
        {"GetLastErrorString", {}, eVtBstr, false, false, &GetLastErrorString},
        {"GetLastError", {}, eVtI4, false, false, &GetLastError},
        {"GetVersionMajor", {}, eVtUI4, false, false, &GetVersionMajor},
        {"GetVersionMinor", {}, eVtUI4, false, false, &GetVersionMinor},
        {"GetVersionSubMinor", {}, eVtUI4, false, false, &GetVersionSubMinor},
        {"GetVersionString", {}, eVtBstr, false, false, &GetVersionString},
        {"IsConnected", {}, eVtI4, false, false, &IsConnected},
        {"SetMaintReadPriority", {{"ulReadPriority", eVtUI4}}, eVtI4, false, false, &SetMaintReadPriority},
        {"GetMaintReadPriority", {}, eVtUI4, true, false, &GetMaintReadPriority},
        {"MaintRead", Target({{"ulOffset", eVtUI4}, {"ulWordCount", eVtUI4}, {"ulStride", eVtUI4}}),
         Array(eVtI4), true, true, &MaintRead},
        {"MaintRead8", Target({{"ulOffset", eVtUI4}, {"ulByteCount", eVtUI4}}), Array(eVtUI1), true, true,
         &MaintRead8},
        {"MaintRead16", Target({{"ulOffset", eVtUI4}, {"ulWordCount", eVtUI4}}), Array(eVtI2), true, true,
         &MaintRead16},
        {"SetMaintWritePriority", {{"ulWritePriority", eVtUI4}}, eVtI4, false, false, &SetMaintWritePriority},
        {"GetMaintWritePriority", {}, eVtUI4, true, false, &GetMaintWritePriority},
        {"MaintWrite",
         Target({{"ulOffset", eVtUI4}, {"ulWordCount", eVtUI4}, {"vData", eVtVariant}, {"ulStride", eVtUI4}}),
         eVtI4, true, false, &MaintWrite},
        {"MaintWrite8", Target({{"ulOffset", eVtUI4}, {"ulByteCount", eVtUI4}, {"vData", eVtVariant}}), eVtI4,
         true, false, &MaintWrite8},
        {"MaintWrite16", Target({{"ulOffset", eVtUI4}, {"ulWordCount", eVtUI4}, {"vData", eVtVariant}}),
         eVtI4, true, false, &MaintWrite16},
        {"GetDeviceAndVendor", Target(), Array(eVtI4), true, false, &GetDeviceAndVendor},
        {"GetDeviceID", Target(), eVtUI2, true, false, &GetDeviceID},
        {"GetLongDeviceID", Target(), eVtUI2, true, false, &GetLongDeviceID},
        {"SetDeviceID", DeviceTarget({{"wNewDeviceID", eVtUI2}}), eVtI4, true, false, &SetDeviceID},
        {"SetLongDeviceID", DeviceTarget({{"wNewDeviceID", eVtUI2}}), eVtI4, true, false, &SetLongDeviceID},
        {"GetNumLocalPorts", {}, eVtUI2, true, false, &GetNumLocalPorts},
        {"GetFeatures", Target(), eVtUI4, true, false, &GetFeatures},
        {"GetSwitchPortInfo", Target(), eVtUI4, true, false, &GetSwitchPortInfo},
        {"GetExtFeaturesPtr", Target(), eVtUI2, true, false, &GetExtFeaturesPtr},
        {"AcquireDeviceLock",
         Target({{"wHostDeviceID", eVtUI2}, {"nTimeoutSec", eVtUI2}, {"bBreakLock", eVtI4}}), eVtUI2, true,
         false, &AcquireDeviceLock},
        {"GetCurDeviceLock", Target(), eVtUI2, true, false, &GetCurDeviceLock},
        {"ReleaseDeviceLock", Target({{"wHostDeviceID", eVtUI2}}), eVtUI2, true, false, &ReleaseDeviceLock},
        {"GetComponentTag", Target(), eVtUI4, true, false, &GetComponentTag},
        {"SetComponentTag", Target({{"ulComponentTag", eVtUI4}}), eVtI4, true, false, &SetComponentTag},
        {"ArePortsTrained", DeviceTarget({{"wNumPortsToCheck", eVtUI2}}), Array(eVtBool), true, false,
         &ArePortsTrained},
        {"IsPortTrained", DeviceTarget({{"uchPortNum", eVtUI1}}), eVtI4, true, false, &IsPortTrained},
        {"RouteAddEntry",
         DeviceTarget({{"uchWhichTable", eVtUI1}, {"wRouteDestID", eVtUI2}, {"uchRoutePortNum", eVtUI1}}),
         eVtI4, true, false, &RouteAddEntry},
        {"SetResponseTimeout", Target({{"ulTimeout", eVtUI4}}), eVtUI4, true, false, &SetResponseTimeout},
        {"GetRoutingTable", DeviceTarget({{"uchWhichTable", eVtUI1}}), Array(eVtI2), true, false,
         &GetRoutingTable},
        {"PutRoutingTable",
         DeviceTarget({{"uchWhichTable", eVtUI1},
                       {"ulNumEntries", eVtUI4},
                       {"pvTable", eVtVariant},
                       {"bFlash", eVtI4}}),
         eVtI4, true, false, &PutRoutingTable},
        {"DataRead",
         {{"uchLocalPort", eVtUI1},
          {"ulDestID", eVtUI4},
          {"ulRioAddressHi", eVtUI4},
          {"ulRioAddressLo", eVtUI4},
          {"ulXferType", eVtUI4},
          {"ulPriority", eVtUI4},
          {"ulByteCount", eVtUI4}},
         Array(eVtUI1),
         true,
         false,
         &DataRead},
        {"DataWrite",
         {{"uchLocalPort", eVtUI1},
          {"ulDestID", eVtUI4},
          {"ulRioAddressHi", eVtUI4},
          {"ulRioAddressLo", eVtUI4},
          {"ulXferType", eVtUI4},
          {"ulPriority", eVtUI4},
          {"pvData", eVtVariant},
          {"ulByteCount", eVtUI4}},
         eVtI4,
         true,
         false,
         &DataWrite},
        {"MessageSend",
         {{"uchLocalPort", eVtUI1},
          {"ulDestID", eVtUI4},
          {"ulPriority", eVtUI4},
          {"bMultiPacket", eVtI4},
          {"ulMailboxNum", eVtUI4},
          {"pvData", eVtVariant},
          {"ulPacketByteCount", eVtUI4},
          {"ulTotalByteCount", eVtUI4}},
         eVtI4,
         true,
         false,
         &MessageSend},
        {"MessageGet", {{"lWhichQueue", eVtI4}}, Array(eVtUI1), true, false, &MessageGet},
        {"MessageFlush", {{"lWhichQueue", eVtI4}}, eVtI4, true, false, &MessageFlush},
        {"MessageGetLastSize", {}, eVtUI4, false, false, &MessageGetLastSize},
        {"MessageGetLastTT", {}, eVtI4, false, false, &MessageGetLastTT},
        {"MessageGetLastOverflow", {}, eVtI4, false, false, &MessageGetLastOverflow},
        {"MessageGetLastSourceID", {}, eVtUI4, false, false, &MessageGetLastSourceID},
        {"MessageGetLastPriority", {}, eVtUI4, false, false, &MessageGetLastPriority},
        {"MessageGetLastMailboxNum", {}, eVtUI4, false, false, &MessageGetLastMailboxNum},
        {"DoorbellSend",
         {{"uchLocalPort", eVtUI1}, {"ulDestID", eVtUI4}, {"ulPriority", eVtUI4}, {"wInfoWord", eVtUI2}},
         eVtI4,
         true,
         false,
         &DoorbellSend},
        {"DoorbellGet", {{"lWhichQueue", eVtI4}}, eVtUI4, true, false, &DoorbellGet},
        {"DoorbellFlush", {{"lWhichQueue", eVtI4}}, eVtI4, true, false, &DoorbellFlush},
        {"DoorbellGetLastOverflow", {}, eVtI4, false, false, &DoorbellGetLastOverflow},
        {"CreateLogFile", {{"pvstrFileName", eVtVariant}}, eVtI4, false, false, &CreateLogFile},
        {"EnableLogging", {{"bEnable", eVtI4}}, eVtI4, false, false, &EnableLogging},
        {"WriteToLog", {{"pvstrMessage", eVtVariant}}, eVtI4, false, false, &WriteToLog},
        {"GetHopCountForNode", {{"ulNode", eVtUI4}}, eVtUI4, true, false, &GetHopCountForNode},
        {"GetDestIDForNode", {{"ulNode", eVtUI4}}, eVtUI4, true, false, &GetDestIDForNode},
        {"MapToClipboard", {}, eVtI4, false, false, &MapToClipboard},
        {"MemoryRead",
         {{"dwAddressHi", eVtUI4}, {"dwAddressLo", eVtUI4}, {"dwWordCount", eVtUI4}, {"dwWordSize", eVtUI4}},
         Array(eVtVariant),
         true,
         false,
         &MemoryRead},
        {"MemoryWrite",
         {{"dwAddressHi", eVtUI4},
          {"dwAddressLo", eVtUI4},
          {"dwWordCount", eVtUI4},
          {"dwWordSize", eVtUI4},
          {"vData", eVtVariant}},
         eVtI4,
         true,
         false,
         &MemoryWrite},
        {"MemoryViewerOpen",
         {{"dwNode", eVtUI4},
          {"dwAddressHi", eVtUI4},
          {"dwAddressLo", eVtUI4},
          {"dwNumBytes", eVtUI4},
          {"bBigEndian", eVtI4},
          {"dwWordSize", eVtUI4},
          {"bShowASCII", eVtI4},
          {"dwNumColumns", eVtUI4}},
         eVtI4,
         true,
         false,
         &MemoryViewerOpen},
        {"MemoryViewerClose", {{"dwNode", eVtUI4}}, eVtI4, true, false, &MemoryViewerClose},
        {"FlashRead",
         {{"dwAddressHi", eVtUI4}, {"dwAddressLo", eVtUI4}, {"dwByteCount", eVtUI4}},
         Array(eVtUI1),
         true,
         false,
         &FlashRead},
        {"FlashWrite",
         {{"dwAddressHi", eVtUI4}, {"dwAddressLo", eVtUI4}, {"dwByteCount", eVtUI4}, {"vData", eVtVariant}},
         eVtI4,
         true,
         false,
         &FlashWrite},
        {"ClearPortErrors", DeviceTarget({{"uchWhichPort", eVtUI1}}), eVtUI4, true, false, &ClearPortErrors},
        {"SendLinkMaintRequest", DeviceTarget({{"uchWhichPort", eVtUI1}, {"dwCommand", eVtUI4}}), eVtUI4,
         true, false, &SendLinkMaintRequest},
        {"EnableProbe",
         {{"uchMode", eVtUI1},
          {"ulDataSourceDestID", eVtUI4},
          {"ulDataTargetDestID", eVtUI4},
          {"ulSystemSwitchNodeID", eVtUI4},
          {"ulSourceIngressPort", eVtUI4},
          {"ulPortToProbe", eVtUI4},
          {"ulTargetEgressPort", eVtUI4},
          {"bBlockResponsePackets", eVtI4}},
         eVtI4,
         true,
         false,
         &EnableProbe},
        {"DisableProbe", {}, eVtI4, true, false, &DisableProbe},
        {"GetProbeConfig", {{"dwByteCount", eVtUI4}}, Array(eVtUI1), true, false, &GetProbeConfig},
        {"SetProbeConfig",
         {{"dwByteCount", eVtUI4}, {"vData", eVtVariant}},
         eVtI4,
         true,
         false,
         &SetProbeConfig},
        {"GetPortSpeedMHz", DeviceTarget({{"uchPortNum", eVtUI1}}), eVtUI4, true, false, &GetPortSpeedMHz},
        {"GetDevice", Target(), eVtUI2, true, false, &GetDevice},
        {"GetVendor", Target(), eVtUI2, true, false, &GetVendor},
        {"GetNodeList", {}, Array(eVtI4), false, false, &GetNodeList},
    };
    return entries;
}

QString TypeName(uint16_t vt)
{
    switch (vt)
    {
    case eVtI1:
        return QStringLiteral("VT_I1");
    case eVtUI1:
        return QStringLiteral("VT_UI1");
    case eVtI2:
        return QStringLiteral("VT_I2");
    case eVtUI2:
        return QStringLiteral("VT_UI2");
    case eVtI4:
        return QStringLiteral("VT_I4");
    case eVtUI4:
        return QStringLiteral("VT_UI4");
    case eVtBool:
        return QStringLiteral("VT_BOOL");
    case eVtBstr:
        return QStringLiteral("VT_BSTR");
    default:
        return QStringLiteral("VT_VARIANT");
    }
}

// Width in bits of an element or argument type.
int WidthOf(uint16_t vt)
{
    switch (vt)
    {
    case eVtI1:
    case eVtUI1:
        return 8;
    case eVtI2:
    case eVtUI2:
    case eVtBool:
        return 16;
    default:
        return 32;
    }
}

bool IsSigned(uint16_t vt)
{
    return vt == eVtI1 || vt == eVtI2 || vt == eVtI4 || vt == eVtInt || vt == eVtBool;
}

// A number written as text: decimal with an optional sign, or hexadecimal after 0x or &H.
bool ParseNumber(const QString& strText, int64_t* pn)
{
    QString str = strText.trimmed();
    bool bNegative = false;
    if (str.startsWith(QLatin1Char('-')))
    {
        bNegative = true;
        str = str.mid(1);
    }
    int iBase = 10;
    if (str.startsWith(QLatin1String("0x"), Qt::CaseInsensitive) ||
        str.startsWith(QLatin1String("&h"), Qt::CaseInsensitive))
    {
        iBase = 16;
        str = str.mid(2);
    }
    if (str.isEmpty())
    {
        return false;
    }
    bool bOk = false;
    const qulonglong ull = str.toULongLong(&bOk, iBase);
    if (!bOk || ull > static_cast<qulonglong>(std::numeric_limits<int64_t>::max()))
    {
        return false;
    }
    *pn = bNegative ? -static_cast<int64_t>(ull) : static_cast<int64_t>(ull);
    return true;
}

// Converts one scalar argument to its type; false with the reason.
bool ConvertScalar(const CAutoValue& value, const SAutoArg& arg, const char* pszMethod, int64_t* pn,
                   QString* pReason)
{
    const QString strWhere =
        QStringLiteral("argument %1 of %2").arg(QLatin1String(arg.pszName), QLatin1String(pszMethod));
    if (value.IsArray())
    {
        *pReason = QStringLiteral("The %1 must be a number, not an array.").arg(strWhere);
        return false;
    }
    int64_t n = 0;
    uint16_t vtSource = value.ElementType();
    if (vtSource == eVtBstr)
    {
        if (!ParseNumber(value.strValue, &n))
        {
            *pReason =
                QStringLiteral("The %1 must be a number; \"%2\" is not one.").arg(strWhere, value.strValue);
            return false;
        }
        vtSource = eVtEmpty; // a number written out counts by its value alone
    }
    else if (value.IsNumber())
    {
        n = value.nValue;
    }
    else
    {
        *pReason = QStringLiteral("The %1 must be a number; none was given.").arg(strWhere);
        return false;
    }

    const int iWidth = WidthOf(arg.vt);
    const int64_t nUnsignedMax = (int64_t{1} << iWidth) - 1;
    const int64_t nSignedMin = -(int64_t{1} << (iWidth - 1));
    const int64_t nSignedMax = (int64_t{1} << (iWidth - 1)) - 1;
    const bool bSameWidthOther = vtSource != eVtEmpty && WidthOf(vtSource) == iWidth;
    int64_t nMin = 0;
    int64_t nMax = 0;
    if (IsSigned(arg.vt))
    {
        nMin = nSignedMin;
        nMax = nSignedMax;
        if (bSameWidthOther && !IsSigned(vtSource) && n > nSignedMax && n <= nUnsignedMax)
        {
            n -= nUnsignedMax + 1; // the same bits as a signed number
        }
    }
    else
    {
        nMin = 0;
        nMax = nUnsignedMax;
        if (bSameWidthOther && IsSigned(vtSource) && n < 0 && n >= nSignedMin)
        {
            n += nUnsignedMax + 1; // the same bits as an unsigned number
        }
    }
    if (n < nMin || n > nMax)
    {
        *pReason = QStringLiteral("The %1 must be from %2 to %3; %4 is out of range.")
                       .arg(strWhere)
                       .arg(nMin)
                       .arg(nMax)
                       .arg(n);
        return false;
    }
    *pn = n;
    return true;
}

bool Run(const SEntry& entry, SCall& call)
{
    const size_t nArgs = entry.args.size();
    if (call.raw.size() != nArgs)
    {
        return call.Refuse(QStringLiteral("%1 takes %2 argument%3, not %4.")
                               .arg(QLatin1String(entry.pszName))
                               .arg(nArgs)
                               .arg(nArgs == 1 ? QString() : QStringLiteral("s"))
                               .arg(call.raw.size()));
    }
    call.n.assign(nArgs, 0);
    for (size_t i = 0; i < nArgs; ++i)
    {
        if (entry.args[i].vt == eVtVariant)
        {
            continue;
        }
        QString strReason;
        if (!ConvertScalar(call.raw[i], entry.args[i], entry.pszName, &call.n[i], &strReason))
        {
            return call.Refuse(strReason);
        }
    }
    if (!entry.bNeedsTarget)
    {
        return entry.fn(call);
    }
    if (!call.hooks.isConnected || !call.hooks.isConnected())
    {
        return call.Fail(kNotConnected);
    }
    // The transaction goes to the log only while the object's logging is on; whatever turned the log
    // on before, it is off again after the call.
    ::EnableLogging(call.state.bLogging != 0);
    const bool bOk = entry.fn(call);
    ::EnableLogging(false);
    return bOk;
}
} // namespace

bool SCall::Fail(int32_t nFailStatus)
{
    nStatus = nFailStatus;
    strText = RioErrorText(nFailStatus);
    return false;
}

bool SCall::FailWith(int32_t nFailStatus, const QString& strReason)
{
    nStatus = nFailStatus;
    strText = RioErrorText(nFailStatus) + QStringLiteral(", ") + strReason;
    return false;
}

bool SCall::Refuse(const QString& strReason)
{
    return FailWith(eRioInvalidParameter, strReason);
}

bool SCall::Return(uint16_t vt, int64_t nValue)
{
    result = CAutoValue::Number(vt, nValue);
    return true;
}

bool GetDataArray(SCall& call, size_t iArg, uint16_t vtElement, uint32_t ulCount, const char* pszCountName,
                  std::vector<int64_t>* pValues)
{
    const CAutoValue& value = call.raw[iArg];
    const QString strTypeText = QStringLiteral("Invalid VARIANT type.  Expected (VT_BYREF | VT_ARRAY | %1).")
                                    .arg(TypeName(vtElement));
    if (!value.IsArray())
    {
        return call.Refuse(strTypeText);
    }
    pValues->clear();
    pValues->reserve(value.elements.size());
    const uint16_t vtGiven = value.ElementType();
    const bool bTyped =
        value.IsByRef() && (vtGiven == vtElement || (vtElement == eVtI1 && vtGiven == eVtUI1));
    if (bTyped)
    {
        for (const CAutoValue& element : value.elements)
        {
            pValues->push_back(element.nValue);
        }
    }
    else if (vtGiven == eVtVariant)
    {
        const int iWidth = WidthOf(vtElement);
        const int64_t nMin = -(int64_t{1} << (iWidth - 1));
        const int64_t nMax = (int64_t{1} << iWidth) - 1;
        for (const CAutoValue& element : value.elements)
        {
            if (!element.IsNumber() || element.nValue < nMin || element.nValue > nMax)
            {
                return call.Refuse(strTypeText);
            }
            pValues->push_back(element.nValue);
        }
    }
    else
    {
        return call.Refuse(strTypeText);
    }
    if (pValues->size() < ulCount)
    {
        return call.Refuse(
            QStringLiteral("VARIANT array size does not match %1.").arg(QLatin1String(pszCountName)));
    }
    return true;
}

bool GetTextArgument(SCall& call, size_t iArg, QString* pText)
{
    const CAutoValue& value = call.raw[iArg];
    if (value.IsArray() || value.ElementType() != eVtBstr)
    {
        return call.Refuse(QStringLiteral("Invalid VARIANT type.  Expected VT_BSTR."));
    }
    *pText = value.strValue;
    return true;
}

// The methods that need no target.

bool GetLastErrorString(SCall& call)
{
    call.result = CAutoValue::Text(RioErrorText(call.state.lLastError));
    return true;
}

bool GetLastError(SCall& call)
{
    return call.Return(eVtI4, -static_cast<int64_t>(call.state.lLastError));
}

bool GetVersionMajor(SCall& call)
{
    return call.Return(eVtUI4, NV_VERSION_MAJOR);
}

bool GetVersionMinor(SCall& call)
{
    return call.Return(eVtUI4, NV_VERSION_MINOR);
}

bool GetVersionSubMinor(SCall& call)
{
    return call.Return(eVtUI4, NV_VERSION_BUILD);
}

bool GetVersionString(SCall& call)
{
    call.result = CAutoValue::Text(
        QStringLiteral("%1.%2.%3").arg(NV_VERSION_MAJOR).arg(NV_VERSION_MINOR).arg(NV_VERSION_BUILD));
    return true;
}

bool IsConnected(SCall& call)
{
    return call.Return(eVtI4, call.hooks.isConnected && call.hooks.isConnected() ? 1 : 0);
}

namespace
{
bool ValidPriority(uint32_t ulPriority)
{
    return ulPriority <= 2;
}
} // namespace

const QString& PriorityText()
{
    static const QString str = QStringLiteral("Invalid priority.  Must be 0, 1, or 2.");
    return str;
}

bool SetMaintReadPriority(SCall& call)
{
    if (!ValidPriority(call.U32(0)))
    {
        return call.Refuse(PriorityText());
    }
    call.state.ulReadPriority = call.U32(0);
    return call.ReturnBool();
}

bool SetMaintWritePriority(SCall& call)
{
    if (!ValidPriority(call.U32(0)))
    {
        return call.Refuse(PriorityText());
    }
    call.state.ulWritePriority = call.U32(0);
    return call.ReturnBool();
}

bool GetMaintReadPriority(SCall& call)
{
    if (!ValidPriority(call.state.ulReadPriority))
    {
        return call.Fail(eRioInvalidParameter);
    }
    return call.Return(eVtUI4, call.state.ulReadPriority);
}

bool GetMaintWritePriority(SCall& call)
{
    if (!ValidPriority(call.state.ulWritePriority))
    {
        return call.Fail(eRioInvalidParameter);
    }
    return call.Return(eVtUI4, call.state.ulWritePriority);
}

bool MessageGetLastSize(SCall& call)
{
    return call.Return(eVtUI4, call.state.ulMessageSize);
}

bool MessageGetLastTT(SCall& call)
{
    return call.Return(eVtI4, call.state.bMessageTT);
}

bool MessageGetLastOverflow(SCall& call)
{
    return call.Return(eVtI4, call.state.bMessageOverflow);
}

bool MessageGetLastSourceID(SCall& call)
{
    return call.Return(eVtUI4, call.state.ulMessageSourceID);
}

bool MessageGetLastPriority(SCall& call)
{
    return call.Return(eVtUI4, call.state.ulMessagePriority <= 2 ? call.state.ulMessagePriority : 0);
}

bool MessageGetLastMailboxNum(SCall& call)
{
    return call.Return(eVtUI4, call.state.ulMessageMailbox);
}

bool DoorbellGetLastOverflow(SCall& call)
{
    return call.Return(eVtI4, call.state.bDoorbellOverflow);
}

bool CreateLogFile(SCall& call)
{
    QString strPath;
    if (!GetTextArgument(call, 0, &strPath))
    {
        return false;
    }
    if (strPath.isEmpty() || !::CreateLogFile(strPath))
    {
        return call.Refuse(QStringLiteral("Unable to create the log file \"%1\".").arg(strPath));
    }
    return call.ReturnBool();
}

bool EnableLogging(SCall& call)
{
    call.state.bLogging = call.I32(0) != 0 ? 1 : 0;
    return call.ReturnBool();
}

bool WriteToLog(SCall& call)
{
    QString strMessage;
    if (!GetTextArgument(call, 0, &strMessage))
    {
        return false;
    }
    if (call.state.bLogging)
    {
        ::EnableLogging(true);
        ::WriteToLog("%s", strMessage.toLocal8Bit().constData());
        ::EnableLogging(false);
    }
    return call.ReturnBool();
}
} // namespace automation

using automation::Entries;

CAutomation::CAutomation(SAutomationHooks hooks)
    : m_hooks(std::move(hooks)), m_pState(std::make_unique<SState>())
{
}

CAutomation::~CAutomation() = default;

const std::vector<SAutoMethod>& CAutomation::Methods()
{
    static const std::vector<SAutoMethod> methods = []
    {
        std::vector<SAutoMethod> list;
        int iDispID = 1;
        for (const auto& entry : Entries())
        {
            list.push_back(SAutoMethod{iDispID++, entry.pszName, entry.args, entry.vtResult});
        }
        return list;
    }();
    return methods;
}

const SAutoMethod* CAutomation::FindMethod(const QString& strName)
{
    for (const SAutoMethod& method : Methods())
    {
        if (strName.compare(QLatin1String(method.pszName), Qt::CaseInsensitive) == 0)
        {
            return &method;
        }
    }
    return nullptr;
}

bool CAutomation::Invoke(int iDispID, const std::vector<CAutoValue>& args, CAutoValue* pResult,
                         SAutoError* pError)
{
    automation::SCall call{*m_pState, m_hooks, args, {}, {}, 0, {}};
    bool bOk = false;
    bool bMaintRead = false;
    if (iDispID < 1 || iDispID > static_cast<int>(Entries().size()))
    {
        bOk = call.Refuse(QStringLiteral("There is no method with dispatch ID %1.").arg(iDispID));
    }
    else
    {
        const auto& entry = Entries()[static_cast<size_t>(iDispID - 1)];
        bMaintRead = entry.bMaintRead;
        bOk = automation::Run(entry, call);
    }
    if (!bOk)
    {
        m_pState->lLastError = call.nStatus;
        if (pError)
        {
            // A maintenance read reports the low 16 bits of the negated status.
            pError->nStatus = bMaintRead
                                  ? -static_cast<int32_t>(static_cast<uint32_t>(-call.nStatus) & 0xFFFFu)
                                  : call.nStatus;
            pError->strText = call.strText;
        }
        return false;
    }
    if (pResult)
    {
        *pResult = std::move(call.result);
    }
    return true;
}

bool CAutomation::Invoke(const QString& strMethod, const std::vector<CAutoValue>& args, CAutoValue* pResult,
                         SAutoError* pError)
{
    const SAutoMethod* pMethod = FindMethod(strMethod);
    if (!pMethod)
    {
        automation::SCall call{*m_pState, m_hooks, args, {}, {}, 0, {}};
        call.Refuse(QStringLiteral("There is no method named \"%1\".").arg(strMethod));
        m_pState->lLastError = call.nStatus;
        if (pError)
        {
            pError->nStatus = call.nStatus;
            pError->strText = call.strText;
        }
        return false;
    }
    return Invoke(pMethod->iDispID, args, pResult, pError);
}

int32_t CAutomation::LastError() const
{
    return m_pState->lLastError;
}

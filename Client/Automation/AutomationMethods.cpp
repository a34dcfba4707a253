// The automation methods that reach the target: maintenance reads and writes, the HAL wrappers,
// routing tables, data transfers, messages and doorbells, the server's memory and flash. The frame
// (Automation.cpp) has converted the arguments and checked the connection before any of these runs.
#include "AutomationInternal.h"

#include "ClientStatus.h"
#include "HalWrappers.h"
#include "TargetClient.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace automation
{
namespace
{
// A buffer larger than this is not attempted: the call fails as if memory had run out (-40).
constexpr uint64_t kMaxBufferBytes = 64u * 1024u * 1024u;
constexpr int32_t kNoMemory = -40;
// The host's own registers.
constexpr uint32_t kHostDestID = 0xFFFFFFFFu;
// Identity pair for wrappers whose method names no device: no record has it, so the standard
// RapidIO behaviour applies.
constexpr uint16_t kAnyDevice = 0xFFFF;
// Room for the fetch of a received message.
constexpr uint32_t kMessageBufferBytes = 4096;

CTargetClient& Client()
{
    return CTargetClient::Instance();
}

// Makes room for ulCount elements of type T; fails the call with -40 when that can't be had.
template <typename T> bool Allocate(SCall& call, uint64_t ullCount, std::vector<T>* pBuffer)
{
    if (ullCount * sizeof(T) > kMaxBufferBytes)
    {
        return call.Fail(kNoMemory);
    }
    try
    {
        pBuffer->assign(static_cast<size_t>(ullCount), T{});
    }
    catch (const std::bad_alloc&)
    {
        return call.Fail(kNoMemory);
    }
    return true;
}

// An array result of numbers of one element type.
template <typename T> bool ReturnArray(SCall& call, uint16_t vtElement, const T* pValues, size_t nCount)
{
    std::vector<int64_t> values(nCount);
    for (size_t i = 0; i < nCount; ++i)
    {
        values[i] = static_cast<int64_t>(pValues[i]);
    }
    call.result = CAutoValue::NumberArray(vtElement, values, false);
    return true;
}

// A result that is a status: 1 on success, the failure otherwise.
bool Done(SCall& call, int32_t nStatus)
{
    return nStatus == 0 ? call.ReturnBool() : call.Fail(nStatus);
}

// The argument positions of the Target triple, after iFirst arguments before it.
struct STarget
{
    uint8_t uchLocalPort;
    uint32_t ulDestID;
    uint8_t uchHopCount;
};
STarget TargetAt(const SCall& call, size_t iFirst)
{
    return {call.U8(iFirst), call.U32(iFirst + 1), call.U8(iFirst + 2)};
}

// A maintenance read of words of type T, given as elements of type TOut.
template <typename T, typename TOut> bool ReadWords(SCall& call, uint32_t ulStride, uint16_t vtElement)
{
    const STarget t = TargetAt(call, 0);
    const uint32_t ulCount = call.U32(4);
    std::vector<T> words;
    if (!Allocate(call, ulCount, &words))
    {
        return false;
    }
    const int32_t nStatus = Client().Maint_read(t.uchLocalPort, t.ulDestID, t.uchHopCount, call.U32(3),
                                                words.data(), ulCount, ulStride, call.state.ulReadPriority);
    if (nStatus != 0)
    {
        return call.Fail(nStatus);
    }
    const std::vector<TOut> values(words.begin(), words.end());
    return ReturnArray(call, vtElement, values.data(), values.size());
}

template <typename T>
bool WriteWords(SCall& call, uint32_t ulStride, uint16_t vtElement, const char* pszCountName)
{
    const STarget t = TargetAt(call, 0);
    const uint32_t ulCount = call.U32(4);
    std::vector<int64_t> values;
    if (!GetDataArray(call, 5, vtElement, ulCount, pszCountName, &values))
    {
        return false;
    }
    std::vector<T> words;
    if (!Allocate(call, ulCount, &words))
    {
        return false;
    }
    for (uint32_t i = 0; i < ulCount; ++i)
    {
        words[i] = static_cast<T>(values[i]);
    }
    return Done(call, Client().Maint_write(t.uchLocalPort, t.ulDestID, t.uchHopCount, call.U32(3),
                                           words.data(), ulCount, ulStride, call.state.ulWritePriority));
}

// The device identity CAR: device ID in the high half, vendor ID in the low half.
bool ReadIdentity(SCall& call, uint16_t* pwDevice, uint16_t* pwVendor)
{
    const STarget t = TargetAt(call, 0);
    uint32_t ulIdentity = 0;
    const int32_t nStatus = Client().Maint_read(t.uchLocalPort, t.ulDestID, t.uchHopCount, 0, &ulIdentity, 1,
                                                4, call.state.ulReadPriority);
    if (nStatus != 0)
    {
        return call.Fail(nStatus);
    }
    *pwDevice = static_cast<uint16_t>(ulIdentity >> 16);
    *pwVendor = static_cast<uint16_t>(ulIdentity & 0xFFFF);
    return true;
}

bool ReadIDs(SCall& call, bool bLarge)
{
    const STarget t = TargetAt(call, 0);
    uint16_t wSmall = 0;
    uint16_t wLarge = 0;
    const int32_t nStatus = ::GetDeviceID(t.uchLocalPort, t.ulDestID, t.uchHopCount, &wSmall, &wLarge);
    if (nStatus != 0)
    {
        return call.Fail(nStatus);
    }
    return call.Return(eVtUI2, bLarge ? wLarge : wSmall);
}

bool WriteID(SCall& call, bool bLarge)
{
    const STarget t = TargetAt(call, 2);
    const uint16_t wNew = call.U16(5);
    return Done(call, ::SetDeviceID(t.uchLocalPort, t.ulDestID, t.uchHopCount, bLarge ? nullptr : &wNew,
                                    bLarge ? &wNew : nullptr));
}

// A 32-bit result of a wrapper of the form Wrapper(target..., &value).
template <typename TValue, typename TFn> bool TargetValue(SCall& call, uint16_t vtResult, TFn fn)
{
    const STarget t = TargetAt(call, 0);
    TValue value = 0;
    const int32_t nStatus = fn(t.uchLocalPort, t.ulDestID, t.uchHopCount, &value);
    if (nStatus != 0)
    {
        return call.Fail(nStatus);
    }
    return call.Return(vtResult, value);
}
} // namespace

bool MaintRead(SCall& call)
{
    // Unlike the other two, the 32-bit read takes the stride from its caller.
    return ReadWords<uint32_t, int32_t>(call, call.U32(5), eVtI4);
}

bool MaintRead8(SCall& call)
{
    return ReadWords<uint8_t, uint8_t>(call, 1, eVtUI1);
}

bool MaintRead16(SCall& call)
{
    return ReadWords<uint16_t, int16_t>(call, 2, eVtI2);
}

bool MaintWrite(SCall& call)
{
    // The stride comes after the data here.
    return WriteWords<uint32_t>(call, call.U32(6), eVtI4, "word count");
}

bool MaintWrite8(SCall& call)
{
    return WriteWords<uint8_t>(call, 1, eVtUI1, "byte count");
}

bool MaintWrite16(SCall& call)
{
    return WriteWords<uint16_t>(call, 2, eVtI2, "word count");
}

bool GetDeviceAndVendor(SCall& call)
{
    uint16_t wDevice = 0;
    uint16_t wVendor = 0;
    if (!ReadIdentity(call, &wDevice, &wVendor))
    {
        return false;
    }
    const int32_t aValues[2] = {wDevice, wVendor};
    return ReturnArray(call, eVtI4, aValues, 2);
}

bool GetDevice(SCall& call)
{
    uint16_t wDevice = 0;
    uint16_t wVendor = 0;
    return ReadIdentity(call, &wDevice, &wVendor) && call.Return(eVtUI2, wDevice);
}

bool GetVendor(SCall& call)
{
    uint16_t wDevice = 0;
    uint16_t wVendor = 0;
    return ReadIdentity(call, &wDevice, &wVendor) && call.Return(eVtUI2, wVendor);
}

bool GetDeviceID(SCall& call)
{
    return ReadIDs(call, false);
}

bool GetLongDeviceID(SCall& call)
{
    return ReadIDs(call, true);
}

bool SetDeviceID(SCall& call)
{
    return WriteID(call, false);
}

bool SetLongDeviceID(SCall& call)
{
    return WriteID(call, true);
}

bool GetNumLocalPorts(SCall& call)
{
    uint32_t ulPorts = 0;
    const int32_t nStatus = ::GetNumLocalPorts(0, kHostDestID, 0, &ulPorts);
    if (nStatus != 0)
    {
        return call.Fail(nStatus);
    }
    return call.Return(eVtUI2, static_cast<uint16_t>(ulPorts));
}

bool GetFeatures(SCall& call)
{
    return TargetValue<uint32_t>(call, eVtUI4, &::GetFeatures);
}

bool GetSwitchPortInfo(SCall& call)
{
    return TargetValue<uint32_t>(call, eVtUI4, &::GetSwitchPortInfo);
}

bool GetExtFeaturesPtr(SCall& call)
{
    return TargetValue<uint16_t>(call, eVtUI2, &::GetExtFeaturesPtr);
}

bool GetCurDeviceLock(SCall& call)
{
    return TargetValue<uint16_t>(call, eVtUI2, &::GetCurDeviceLock);
}

bool GetComponentTag(SCall& call)
{
    return TargetValue<uint32_t>(call, eVtUI4, &::GetComponentTag);
}

bool SetComponentTag(SCall& call)
{
    const STarget t = TargetAt(call, 0);
    return Done(call, ::SetComponentTag(t.uchLocalPort, t.ulDestID, t.uchHopCount, call.U32(3)));
}

bool AcquireDeviceLock(SCall& call)
{
    const STarget t = TargetAt(call, 0);
    // The wrapper names the owner only when the lock stays with someone else.
    uint16_t wOwner = call.U16(3);
    const int32_t nStatus =
        ::AcquireDeviceLock(kAnyDevice, kAnyDevice, t.uchLocalPort, t.ulDestID, t.uchHopCount, call.U16(3),
                            &wOwner, call.U16(4), call.I32(5) != 0);
    if (nStatus != 0)
    {
        return call.Fail(nStatus);
    }
    return call.Return(eVtUI2, wOwner);
}

bool ReleaseDeviceLock(SCall& call)
{
    const STarget t = TargetAt(call, 0);
    // Released (or free already) unless the wrapper names another owner.
    uint16_t wOwner = 0xFFFF;
    const int32_t nStatus = ::ReleaseDeviceLock(kAnyDevice, kAnyDevice, t.uchLocalPort, t.ulDestID,
                                                t.uchHopCount, call.U16(3), &wOwner);
    if (nStatus != 0)
    {
        return call.Fail(nStatus);
    }
    return call.Return(eVtUI2, wOwner);
}

bool ArePortsTrained(SCall& call)
{
    const STarget t = TargetAt(call, 2);
    const uint16_t wAsked = call.U16(5);
    // The front end stores at most the asked count; the buffer holds the most ports a device has.
    std::vector<uint8_t> trained;
    if (!Allocate(call, std::max<uint32_t>(wAsked, 256), &trained))
    {
        return call.Fail(-26);
    }
    uint32_t ulPorts = wAsked;
    const int32_t nStatus = Client().ArePortsTrained(call.U16(0), call.U16(1), t.uchLocalPort, t.ulDestID,
                                                     t.uchHopCount, &ulPorts, trained.data());
    if (nStatus != 0)
    {
        return call.Fail(nStatus);
    }
    const size_t nCount = std::min<size_t>(wAsked, ulPorts);
    std::vector<int32_t> values(nCount);
    for (size_t i = 0; i < nCount; ++i)
    {
        values[i] = trained[i] ? 1 : 0;
    }
    return ReturnArray(call, eVtBool, values.data(), values.size());
}

bool IsPortTrained(SCall& call)
{
    const STarget t = TargetAt(call, 2);
    uint8_t bTrained = 0;
    const int32_t nStatus = ::IsPortTrained(call.U16(0), call.U16(1), t.uchLocalPort, t.ulDestID,
                                            t.uchHopCount, call.U8(5), &bTrained);
    if (nStatus != 0)
    {
        return call.Fail(nStatus);
    }
    return call.Return(eVtI4, bTrained ? 1 : 0);
}

bool RouteAddEntry(SCall& call)
{
    const STarget t = TargetAt(call, 2);
    return Done(call, ::RouteAddEntry(call.U16(0), call.U16(1), t.uchLocalPort, t.ulDestID, t.uchHopCount,
                                      call.U8(5), call.U16(6), call.U8(7), eNVXL_RouteTypePort, 0));
}

bool SetResponseTimeout(SCall& call)
{
    const STarget t = TargetAt(call, 0);
    uint32_t ulTimeout = call.U32(3);
    const int32_t nStatus = ::SetResponseTimeout(t.uchLocalPort, t.ulDestID, t.uchHopCount, &ulTimeout);
    if (nStatus != 0)
    {
        return call.Fail(nStatus);
    }
    return call.Return(eVtUI4, ulTimeout);
}

bool GetRoutingTable(SCall& call)
{
    const STarget t = TargetAt(call, 2);
    uint32_t ulEntries = 0;
    NVXL_ROUTE_ENTRY* pTable = nullptr;
    const int32_t nStatus = ::LoadRoutingTable(call.U16(0), call.U16(1), t.uchLocalPort, t.ulDestID,
                                               t.uchHopCount, call.U8(5), &ulEntries, &pTable);
    if (nStatus != 0)
    {
        std::free(pTable);
        return call.Fail(nStatus);
    }
    // Pairs of (destination ID, port); an entry of another kind than a port route stays (0, 0).
    std::vector<int16_t> pairs(pTable ? 2 * static_cast<size_t>(ulEntries) : 0, 0);
    for (size_t i = 0; pTable && i < ulEntries; ++i)
    {
        if (pTable[i].eType == eNVXL_RouteTypePort)
        {
            pairs[2 * i] = static_cast<int16_t>(pTable[i].wDestID);
            pairs[2 * i + 1] = static_cast<int16_t>(pTable[i].uchPort);
        }
    }
    std::free(pTable);
    return ReturnArray(call, eVtI2, pairs.data(), pairs.size());
}

bool PutRoutingTable(SCall& call)
{
    const STarget t = TargetAt(call, 2);
    const uint32_t ulEntries = call.U32(6);
    const uint32_t ulValues = ulEntries > 0x7FFFFFFFu ? 0xFFFFFFFFu : 2 * ulEntries;
    std::vector<int64_t> values;
    if (!GetDataArray(call, 7, eVtI2, ulValues, "NumEntries value", &values))
    {
        return false;
    }
    std::vector<NVXL_ROUTE_ENTRY> table;
    if (!Allocate(call, ulEntries, &table))
    {
        return false;
    }
    for (uint32_t i = 0; i < ulEntries; ++i)
    {
        table[i].wDestID = static_cast<uint16_t>(values[2 * i]);
        table[i].uchPort = static_cast<uint8_t>(values[2 * i + 1]);
        table[i].eType = eNVXL_RouteTypePort;
        table[i].ulExtra = 0;
    }
    const auto fnStore = call.I32(8) != 0 ? &::FlashRoutingTable : &::StoreRoutingTable;
    return Done(call, fnStore(call.U16(0), call.U16(1), t.uchLocalPort, t.ulDestID, t.uchHopCount, call.U8(5),
                              ulEntries, table.data()));
}

bool DataRead(SCall& call)
{
    if (call.U32(4) != 3)
    {
        return call.Refuse(QStringLiteral("Invalid XferType.  Must be 3."));
    }
    if (call.U32(5) > 2)
    {
        return call.Refuse(PriorityText());
    }
    const uint32_t ulBytes = call.U32(6);
    std::vector<uint8_t> data;
    if (!Allocate(call, ulBytes, &data))
    {
        return false;
    }
    const int32_t nStatus = Client().Nread(call.U8(0), call.U32(1), call.U32(2), call.U32(3), call.U32(4),
                                           call.U32(5), data.data(), ulBytes);
    if (nStatus != 0)
    {
        return call.Fail(nStatus);
    }
    return ReturnArray(call, eVtUI1, data.data(), data.size());
}

bool DataWrite(SCall& call)
{
    if (call.U32(4) > 2)
    {
        return call.Refuse(QStringLiteral("Invalid XferType.  Must be 0, 1 or 2."));
    }
    if (call.U32(5) > 2)
    {
        return call.Refuse(PriorityText());
    }
    const uint32_t ulBytes = call.U32(7);
    std::vector<int64_t> values;
    if (!GetDataArray(call, 6, eVtUI1, ulBytes, "byte count", &values))
    {
        return false;
    }
    const std::vector<uint8_t> data(values.begin(), values.begin() + ulBytes);
    return Done(call, Client().DataWrite(call.U8(0), call.U32(1), call.U32(2), call.U32(3), call.U32(4),
                                         call.U32(5), data.data(), ulBytes));
}

bool MessageSend(SCall& call)
{
    const bool bMultiPacket = call.I32(3) != 0;
    const uint32_t ulPacket = call.U32(6);
    const uint32_t ulTotal = call.U32(7);
    if (ulTotal % 8 != 0)
    {
        return call.Refuse(QStringLiteral("Invalid TotalByteCount.  Must be a multiple of 8 bytes."));
    }
    if (bMultiPacket)
    {
        if (ulPacket == 0 || ulPacket > 256)
        {
            return call.Refuse(QStringLiteral("Invalid PacketByteCount.  Must be >0 and <=256."));
        }
        if (ulPacket % 8 != 0)
        {
            return call.Refuse(QStringLiteral("Invalid PacketByteCount.  Must be a multiple of 8 bytes."));
        }
        if (static_cast<uint64_t>(ulTotal) > 16ull * ulPacket)
        {
            return call.Refuse(
                QStringLiteral("Incompatible Total/PacketByteCount.  Total must be <= Packet*16."));
        }
    }
    else if (ulTotal > 256)
    {
        return call.Refuse(QStringLiteral("Invalid TotalByteCount.  Max allowed is 256."));
    }
    if (call.U32(2) > 2)
    {
        return call.Refuse(PriorityText());
    }
    std::vector<int64_t> values;
    if (!GetDataArray(call, 5, eVtUI1, ulTotal, "TotalByteCount", &values))
    {
        return false;
    }
    const std::vector<uint8_t> data(values.begin(), values.begin() + ulTotal);
    return Done(call, Client().Message(call.U8(0), call.U32(1), call.U32(2), bMultiPacket, call.U32(4),
                                       data.data(), ulPacket, ulTotal));
}

bool MessageGet(SCall& call)
{
    std::vector<uint8_t> buffer(kMessageBufferBytes, 0);
    uint8_t bTT = 0;
    uint8_t bOverflow = 0;
    uint32_t ulSource = 0;
    uint32_t ulPriority = 0;
    uint32_t ulMailbox = 0;
    uint32_t ulSize = 0;
    const int32_t nStatus = Client().MessageQueue(static_cast<uint32_t>(call.I32(0)), 1, &bTT, &bOverflow,
                                                  &ulSource, &ulPriority, &ulMailbox, &ulSize, buffer.data());
    if (nStatus != 0)
    {
        return call.Fail(nStatus);
    }
    SObjectState& state = call.state;
    state.ulMessageSize = ulSize;
    state.bMessageTT = bTT;
    state.bMessageOverflow = bOverflow;
    state.ulMessageSourceID = ulSource;
    state.ulMessagePriority = ulPriority;
    state.ulMessageMailbox = ulMailbox;
    // The array always has the buffer's size; only the message's own bytes are copied into it.
    std::vector<uint8_t> message(kMessageBufferBytes, 0);
    std::memcpy(message.data(), buffer.data(), std::min(ulSize, kMessageBufferBytes));
    return ReturnArray(call, eVtUI1, message.data(), message.size());
}

bool MessageFlush(SCall& call)
{
    std::vector<uint8_t> buffer(kMessageBufferBytes, 0);
    return Done(call, Client().MessageQueue(static_cast<uint32_t>(call.I32(0)), 2, nullptr, nullptr, nullptr,
                                            nullptr, nullptr, nullptr, buffer.data()));
}

bool DoorbellSend(SCall& call)
{
    if (call.U32(2) > 2)
    {
        return call.Refuse(PriorityText());
    }
    return Done(call, Client().Doorbell(call.U8(0), call.U32(1), call.U32(2), call.U16(3)));
}

bool DoorbellGet(SCall& call)
{
    uint8_t bValid = 0;
    uint8_t bOverflow = 0;
    uint16_t wInfo = 0;
    const int32_t nStatus =
        Client().DoorbellQueue(static_cast<uint32_t>(call.I32(0)), 1, &bValid, &bOverflow, &wInfo);
    if (nStatus != 0)
    {
        return call.Fail(nStatus);
    }
    call.state.bDoorbellOverflow = bOverflow;
    return call.Return(eVtUI4, wInfo);
}

bool DoorbellFlush(SCall& call)
{
    return Done(call,
                Client().DoorbellQueue(static_cast<uint32_t>(call.I32(0)), 2, nullptr, nullptr, nullptr));
}

namespace
{
uint16_t MemoryElementType(uint32_t ulWordSize)
{
    return ulWordSize == 1 ? eVtI1 : ulWordSize == 2 ? eVtI2 : eVtI4;
}
} // namespace

bool MemoryRead(SCall& call)
{
    const uint32_t ulCount = call.U32(2);
    const uint32_t ulSize = call.U32(3);
    if (ulSize != 1 && ulSize != 2 && ulSize != 4)
    {
        return call.Refuse(QStringLiteral("Invalid WordSize.  Must be 1, 2 or 4."));
    }
    std::vector<uint8_t> data;
    if (!Allocate(call, static_cast<uint64_t>(ulCount) * ulSize, &data))
    {
        return false;
    }
    const int32_t nStatus = Client().MemRead(call.U32(0), call.U32(1), ulCount, ulSize, data.data());
    if (nStatus != 0)
    {
        return call.Fail(nStatus);
    }
    // The words come in host order.
    std::vector<int64_t> values(ulCount);
    for (uint32_t i = 0; i < ulCount; ++i)
    {
        const uint8_t* p = data.data() + static_cast<size_t>(i) * ulSize;
        if (ulSize == 1)
        {
            values[i] = static_cast<int8_t>(*p);
        }
        else if (ulSize == 2)
        {
            int16_t w = 0;
            std::memcpy(&w, p, 2);
            values[i] = w;
        }
        else
        {
            int32_t l = 0;
            std::memcpy(&l, p, 4);
            values[i] = l;
        }
    }
    call.result = CAutoValue::NumberArray(MemoryElementType(ulSize), values, false);
    return true;
}

bool MemoryWrite(SCall& call)
{
    const uint32_t ulCount = call.U32(2);
    const uint32_t ulSize = call.U32(3);
    if (ulSize != 1 && ulSize != 2 && ulSize != 4)
    {
        return call.Refuse(QStringLiteral("Invalid WordSize.  Must be 1, 2, or 4."));
    }
    std::vector<int64_t> values;
    if (!GetDataArray(call, 4, MemoryElementType(ulSize), ulCount, "word count", &values))
    {
        return false;
    }
    std::vector<uint8_t> data;
    if (!Allocate(call, static_cast<uint64_t>(ulCount) * ulSize, &data))
    {
        return false;
    }
    for (uint32_t i = 0; i < ulCount; ++i)
    {
        uint8_t* p = data.data() + static_cast<size_t>(i) * ulSize;
        if (ulSize == 1)
        {
            *p = static_cast<uint8_t>(values[i]);
        }
        else if (ulSize == 2)
        {
            const uint16_t w = static_cast<uint16_t>(values[i]);
            std::memcpy(p, &w, 2);
        }
        else
        {
            const uint32_t l = static_cast<uint32_t>(values[i]);
            std::memcpy(p, &l, 4);
        }
    }
    return Done(call, Client().MemWrite(call.U32(0), call.U32(1), ulCount, ulSize, data.data()));
}

bool FlashRead(SCall& call)
{
    const uint32_t ulBytes = call.U32(2);
    std::vector<uint8_t> data;
    if (!Allocate(call, ulBytes, &data))
    {
        return false;
    }
    const int32_t nStatus = Client().FlashRead(call.U32(0), call.U32(1), ulBytes, data.data());
    if (nStatus != 0)
    {
        return call.Fail(nStatus);
    }
    return ReturnArray(call, eVtUI1, data.data(), data.size());
}

bool FlashWrite(SCall& call)
{
    const uint32_t ulBytes = call.U32(2);
    std::vector<int64_t> values;
    if (!GetDataArray(call, 3, eVtI1, ulBytes, "byte count", &values))
    {
        return false;
    }
    const std::vector<uint8_t> data(values.begin(), values.begin() + ulBytes);
    return Done(call, Client().FlashWrite(call.U32(0), call.U32(1), ulBytes, data.data()));
}

bool ClearPortErrors(SCall& call)
{
    const STarget t = TargetAt(call, 2);
    uint32_t ulRemaining = 0;
    const int32_t nStatus = ::ClearPortErrors(call.U16(0), call.U16(1), t.uchLocalPort, t.ulDestID,
                                              t.uchHopCount, call.U8(5), &ulRemaining);
    if (nStatus != 0)
    {
        return call.Fail(nStatus);
    }
    return call.Return(eVtUI4, ulRemaining);
}

// The link response as the port's link maintenance response register holds it: the ackID status in
// bits 9..5 and the link status in bits 4..0.
bool SendLinkMaintRequest(SCall& call)
{
    const STarget t = TargetAt(call, 2);
    uint32_t ulAckID = 0;
    uint32_t ulLinkStatus = 0;
    const int32_t nStatus =
        ::SendLinkMaintRequest(call.U16(0), call.U16(1), t.uchLocalPort, t.ulDestID, t.uchHopCount,
                               call.U8(5), call.U32(6), &ulAckID, &ulLinkStatus);
    if (nStatus != 0)
    {
        return call.Fail(nStatus);
    }
    return call.Return(eVtUI4, ((ulAckID & 0x1F) << 5) | (ulLinkStatus & 0x1F));
}

bool GetPortSpeedMHz(SCall& call)
{
    const STarget t = TargetAt(call, 2);
    uint32_t ulSpeed = 0;
    const int32_t nStatus = ::GetPortSpeedMHz(call.U16(0), call.U16(1), t.uchLocalPort, t.ulDestID,
                                              t.uchHopCount, call.U8(5), &ulSpeed);
    if (nStatus != 0)
    {
        return call.Fail(nStatus);
    }
    return call.Return(eVtUI4, ulSpeed);
}
} // namespace automation

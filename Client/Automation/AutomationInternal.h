// Inside the automation object: its state, one call as the method bodies see it, and the method
// bodies themselves. Only the Automation*.cpp files include this.
#pragma once

#include "Automation.h"

#include <QString>

#include <cstdint>
#include <vector>

namespace automation
{
// What the object keeps between calls.
struct SObjectState
{
    int32_t bLogging = 0;         // calls go to the transaction log
    uint32_t ulReadPriority = 2;  // priority of maintenance reads
    uint32_t ulWritePriority = 2; // priority of maintenance writes
    int32_t lLastError = 0;       // client status of the last failure; a success leaves it

    // The reply fields of the last MessageGet and the overflow flag of the last DoorbellGet.
    uint32_t ulMessageSize = 0;
    uint8_t bMessageTT = 0;
    uint8_t bMessageOverflow = 0;
    uint32_t ulMessageSourceID = 0;
    uint32_t ulMessagePriority = 0;
    uint32_t ulMessageMailbox = 0;
    uint8_t bDoorbellOverflow = 0;
};

// One call: the arguments converted to the method's scalar types (n[i]; 0 for a VARIANT argument,
// which stays in raw[i]), the result, and the failure when there is one.
struct SCall
{
    SObjectState& state;
    SAutomationHooks& hooks;
    const std::vector<CAutoValue>& raw;
    std::vector<int64_t> n;
    CAutoValue result;
    int32_t nStatus = 0;
    QString strText;

    uint8_t U8(size_t i) const { return static_cast<uint8_t>(n[i]); }
    uint16_t U16(size_t i) const { return static_cast<uint16_t>(n[i]); }
    uint32_t U32(size_t i) const { return static_cast<uint32_t>(n[i]); }
    int32_t I32(size_t i) const { return static_cast<int32_t>(n[i]); }

    // Fails with a client status; the text is RioErrorText(status).
    bool Fail(int32_t nFailStatus);
    // Refuses an argument: status -39, text RioErrorText(-39) + ", " + the reason.
    bool Refuse(const QString& strReason);
    // Fails with a status whose text names what went wrong after RioErrorText(status).
    bool FailWith(int32_t nFailStatus, const QString& strReason);
    // Results.
    bool Return(uint16_t vt, int64_t nValue);
    bool ReturnBool() { return Return(eVtI4, 1); }
};

// The data array of a write method, as the numbers it holds. The array must be passed by reference
// with the method's element type, or be a script's generic array (element type eVtVariant) whose
// elements are all numbers of the element type's width; see Automation.cpp for the rule. Fails the
// call with the method's texts when the type is wrong or the array holds fewer than ulCount
// elements (pszCountName: "word count", "byte count", "NumEntries value", "TotalByteCount").
bool GetDataArray(SCall& call, size_t iArg, uint16_t vtElement, uint32_t ulCount, const char* pszCountName,
                  std::vector<int64_t>* pValues);

// "Invalid priority.  Must be 0, 1, or 2."
const QString& PriorityText();

// A text argument (a VARIANT holding a string).
bool GetTextArgument(SCall& call, size_t iArg, QString* pText);

using Handler = bool (*)(SCall&);

// The method bodies, by dispatch ID; the method table in Automation.cpp pairs each with its name
// and arguments.
bool GetLastErrorString(SCall&);
bool GetLastError(SCall&);
bool GetVersionMajor(SCall&);
bool GetVersionMinor(SCall&);
bool GetVersionSubMinor(SCall&);
bool GetVersionString(SCall&);
bool IsConnected(SCall&);
bool SetMaintReadPriority(SCall&);
bool GetMaintReadPriority(SCall&);
bool MaintRead(SCall&);
bool MaintRead8(SCall&);
bool MaintRead16(SCall&);
bool SetMaintWritePriority(SCall&);
bool GetMaintWritePriority(SCall&);
bool MaintWrite(SCall&);
bool MaintWrite8(SCall&);
bool MaintWrite16(SCall&);
bool GetDeviceAndVendor(SCall&);
bool GetDeviceID(SCall&);
bool GetLongDeviceID(SCall&);
bool SetDeviceID(SCall&);
bool SetLongDeviceID(SCall&);
bool GetNumLocalPorts(SCall&);
bool GetFeatures(SCall&);
bool GetSwitchPortInfo(SCall&);
bool GetExtFeaturesPtr(SCall&);
bool AcquireDeviceLock(SCall&);
bool GetCurDeviceLock(SCall&);
bool ReleaseDeviceLock(SCall&);
bool GetComponentTag(SCall&);
bool SetComponentTag(SCall&);
bool ArePortsTrained(SCall&);
bool IsPortTrained(SCall&);
bool RouteAddEntry(SCall&);
bool SetResponseTimeout(SCall&);
bool GetRoutingTable(SCall&);
bool PutRoutingTable(SCall&);
bool DataRead(SCall&);
bool DataWrite(SCall&);
bool MessageSend(SCall&);
bool MessageGet(SCall&);
bool MessageFlush(SCall&);
bool MessageGetLastSize(SCall&);
bool MessageGetLastTT(SCall&);
bool MessageGetLastOverflow(SCall&);
bool MessageGetLastSourceID(SCall&);
bool MessageGetLastPriority(SCall&);
bool MessageGetLastMailboxNum(SCall&);
bool DoorbellSend(SCall&);
bool DoorbellGet(SCall&);
bool DoorbellFlush(SCall&);
bool DoorbellGetLastOverflow(SCall&);
bool CreateLogFile(SCall&);
bool EnableLogging(SCall&);
bool WriteToLog(SCall&);
bool GetHopCountForNode(SCall&);
bool GetDestIDForNode(SCall&);
bool MapToClipboard(SCall&);
bool MemoryRead(SCall&);
bool MemoryWrite(SCall&);
bool MemoryViewerOpen(SCall&);
bool MemoryViewerClose(SCall&);
bool FlashRead(SCall&);
bool FlashWrite(SCall&);
bool ClearPortErrors(SCall&);
bool SendLinkMaintRequest(SCall&);
bool EnableProbe(SCall&);
bool DisableProbe(SCall&);
bool GetProbeConfig(SCall&);
bool SetProbeConfig(SCall&);
bool GetPortSpeedMHz(SCall&);
bool GetDevice(SCall&);
bool GetVendor(SCall&);
bool GetNodeList(SCall&);
} // namespace automation

struct CAutomation::SState : automation::SObjectState
{
};

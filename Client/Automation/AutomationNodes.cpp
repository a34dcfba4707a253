// The automation methods that work on the map: the way to a node, the node list, the map's picture
// and the memory viewer. Nodes are numbered from 1 as people see them: node n is the PE whose node
// number in the model is n - 1.
#include "AutomationInternal.h"

#include "ClientStatus.h"
#include "NetworkDocument.h"
#include "PETypes.h"
#include "RouteSearch.h"
#include "TransactionLog.h"

namespace automation
{
namespace
{
constexpr int32_t kNotConnected = -38;
constexpr uint32_t kMaxViewerBytes = 4096;

CNetworkDocument* Document(const SCall& call)
{
    return call.hooks.document ? call.hooks.document() : nullptr;
}

// A PE of the map that has destination IDs: not deleted, and not one of the two placeholder kinds.
bool IsAddressablePE(const CPEPrimitive* pPE)
{
    return pPE && !pPE->bDeleted && (pPE->uType & (kPETypeUnknown | kPETypeNull)) == 0;
}

// The PE of a node number as people see it (from 1); fails the call with -10000 when there is none.
bool FindNode(SCall& call, uint32_t ulNode, CPEPrimitive** ppPE)
{
    CNetworkDocument* pDocument = Document(call);
    CPEPrimitive* pPE = nullptr;
    if (pDocument && ulNode >= 1 && ulNode <= 0x7FFFFFFFu)
    {
        pPE = pDocument->ActivePEs.GetByNodeNumber(static_cast<int>(ulNode - 1));
    }
    if (!IsAddressablePE(pPE))
    {
        return call.Fail(eRioNodeNotFound);
    }
    *ppPE = pPE;
    return true;
}

// The destination ID and hop count that reach a node from the host.
bool WayToNode(SCall& call, uint32_t* pulDestID, uint8_t* puchHopCount)
{
    CPEPrimitive* pPE = nullptr;
    if (!FindNode(call, call.U32(0), &pPE))
    {
        return false;
    }
    CNetworkDocument* pDocument = Document(call);
    const CPEPrimitive* pHost = pDocument->ActivePEs.GetHostPE();
    if (!pHost)
    {
        return call.Fail(kNotConnected);
    }
    if (pHost == pPE)
    {
        *pulDestID = pPE->GetDestID();
        *puchHopCount = 0;
        return true;
    }
    // The tables as the hardware has them: the access goes to the hardware.
    const int32_t nStatus = FindRoute(pHost, pPE, pDocument->ActivePEs, pDocument->ActiveConnections,
                                      pulDestID, puchHopCount, false, nullptr);
    if (nStatus != 0)
    {
        return call.Fail(nStatus);
    }
    return true;
}
} // namespace

bool GetHopCountForNode(SCall& call)
{
    uint32_t ulDestID = 0;
    uint8_t uchHopCount = 0;
    return WayToNode(call, &ulDestID, &uchHopCount) && call.Return(eVtUI4, uchHopCount);
}

bool GetDestIDForNode(SCall& call)
{
    uint32_t ulDestID = 0;
    uint8_t uchHopCount = 0;
    return WayToNode(call, &ulDestID, &uchHopCount) && call.Return(eVtUI4, ulDestID);
}

bool GetNodeList(SCall& call)
{
    if (call.state.bLogging)
    {
        ::EnableLogging(true);
        ::WriteToLog("GetNodeList called.\n");
        ::EnableLogging(false);
    }
    std::vector<int64_t> nodes;
    if (const CNetworkDocument* pDocument = Document(call))
    {
        for (const CPEPrimitive* pPE : pDocument->ActivePEs.LivePEsInNodeOrder())
        {
            if (IsAddressablePE(pPE) && pPE->iNodeNumber >= 0)
            {
                nodes.push_back(
                    static_cast<int32_t>((static_cast<uint32_t>(pPE->iNodeNumber) << 16) + pPE->uType));
            }
        }
    }
    call.result = CAutoValue::NumberArray(eVtI4, nodes, false);
    return true;
}

bool MapToClipboard(SCall& call)
{
    if (!call.hooks.mapToClipboard)
    {
        return call.Refuse(QStringLiteral("There is no map window here to copy the map from."));
    }
    if (!call.hooks.mapToClipboard())
    {
        return call.Refuse(QStringLiteral("The map could not be copied to the clipboard."));
    }
    return call.ReturnBool();
}

bool MemoryViewerOpen(SCall& call)
{
    if (call.U32(3) > kMaxViewerBytes)
    {
        return call.Refuse(QStringLiteral("Invalid NumBytes.  Max allowed is 4096."));
    }
    CPEPrimitive* pPE = nullptr;
    if (!FindNode(call, call.U32(0), &pPE))
    {
        return false;
    }
    if (!call.hooks.memoryViewerOpen)
    {
        return call.Refuse(QStringLiteral("There is no memory viewer in this program."));
    }
    const uint64_t ullAddress = (static_cast<uint64_t>(call.U32(1)) << 32) + call.U32(2);
    const int32_t nStatus = call.hooks.memoryViewerOpen(
        call.U32(0), ullAddress, call.U32(3), call.I32(4) != 0, call.U32(5), call.I32(6) != 0, call.U32(7));
    return nStatus == 0 ? call.ReturnBool() : call.Fail(nStatus);
}

bool MemoryViewerClose(SCall& call)
{
    CPEPrimitive* pPE = nullptr;
    if (!FindNode(call, call.U32(0), &pPE))
    {
        return false;
    }
    if (!call.hooks.memoryViewerClose)
    {
        return call.Refuse(QStringLiteral("There is no memory viewer in this program."));
    }
    const int32_t nStatus = call.hooks.memoryViewerClose(call.U32(0));
    return nStatus == 0 ? call.ReturnBool() : call.Fail(nStatus);
}
} // namespace automation

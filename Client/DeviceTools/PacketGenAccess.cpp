#include "PacketGenAccess.h"

#include "FFRoutes.h"
#include "HalWrappers.h"
#include "NetworkDocument.h"
#include "RouteSearch.h"
#include "TargetClient.h"
#include "TargetLink.h"

#include <QThread>

#include <vector>

namespace
{
constexpr uint32_t kHostDestID = 0xFFFFFFFFu;
constexpr int32_t kNoRoute = -28; // "There is no valid route to a PE using the current routing tables"
constexpr int32_t kNotConnected = -11;
} // namespace

bool IsGen2ToolSwitch(uint16_t wVendorID, uint16_t wDeviceID)
{
    if (wVendorID != 0x0038)
        return false;
    switch (wDeviceID)
    {
    case 0x374:
    case 0x375:
    case 0x377:
    case 0x378:
    case 0x379:
        return true;
    default:
        return false;
    }
}

CTargetGen2Access::CTargetGen2Access(const CNetworkDocument& document, int iNode)
    : m_document(document), m_iNode(iNode)
{
}

bool ConfigureSwitchRoute(const CNetworkDocument& document, int iNode, uint32_t* pulDestID, uint8_t* puchHop)
{
    const CPEPrimitive* pPE = document.pCurrentPEs->GetByNodeNumber(iNode);
    if (!pPE || pPE->bDeleted)
        return false;
    if (pPE->bHasHostLink && pPE->bHostLinkOpen)
    {
        *pulDestID = kHostDestID;
        *puchHop = 0;
        return true;
    }
    const CPEPrimitive* pHost = MapHostPE(document);
    if (!pHost)
        return false;
    if (pPE->bUsesDestID && FindRoute(pHost, pPE, *document.pCurrentPEs, *document.pCurrentConnections,
                                      pulDestID, puchHop, false, nullptr) == 0)
    {
        return true;
    }
    uint8_t uchHop = 0;
    if (SetupFFRoute(document, pHost, pPE, MapUsesLongIDs(), &uchHop) != 0)
        return false;
    *pulDestID = MapUsesLongIDs() ? 0xFFFFu : 0xFFu;
    *puchHop = uchHop;
    return true;
}

bool CTargetGen2Access::IsConnected()
{
    const CTargetLink* pLink = CTargetClient::Instance().Link();
    return pLink && pLink->IsConnected();
}

bool CTargetGen2Access::ConfigureRoute()
{
    return ConfigureSwitchRoute(m_document, m_iNode, &m_ulDestID, &m_uchHop);
}

bool CTargetGen2Access::FindConnectedPE()
{
    const CPEPrimitive* pPE = m_document.pCurrentPEs->GetByNodeNumber(m_iNode);
    return pPE && !pPE->bDeleted;
}

int CTargetGen2Access::NumPorts()
{
    const CPEPrimitive* pPE = m_document.pCurrentPEs->GetByNodeNumber(m_iNode);
    return pPE ? pPE->iNumLocalPorts : 0;
}

int32_t CTargetGen2Access::Read(uint32_t ulOffset, uint32_t* pulValue)
{
    return ReadBurst(ulOffset, pulValue, 1);
}

int32_t CTargetGen2Access::Write(uint32_t ulOffset, uint32_t ulValue)
{
    return WriteBurst(ulOffset, &ulValue, 1);
}

int32_t CTargetGen2Access::ReadBurst(uint32_t ulOffset, uint32_t* pulValues, uint32_t nWords)
{
    if (!IsConnected())
        return kNotConnected;
    return CTargetClient::Instance().Maint_read(0, m_ulDestID, m_uchHop, ulOffset, pulValues, nWords, 4, 0);
}

int32_t CTargetGen2Access::WriteBurst(uint32_t ulOffset, const uint32_t* pulValues, uint32_t nWords)
{
    if (!IsConnected())
        return kNotConnected;
    // The front end swaps the words in place for the send.
    std::vector<uint32_t> words(pulValues, pulValues + nWords);
    return CTargetClient::Instance().Maint_write(0, m_ulDestID, m_uchHop, ulOffset, words.data(), nWords, 4,
                                                 0);
}

int32_t CTargetGen2Access::SetPortEnables(uint8_t uchPort, bool bInput, bool bOutput)
{
    const CPEPrimitive* pPE = m_document.pCurrentPEs->GetByNodeNumber(m_iNode);
    if (!pPE)
        return kNoRoute;
    return ::SetPortEnables(pPE->ManufID, pPE->DeviceID, 0, m_ulDestID, m_uchHop, uchPort, bInput, bOutput);
}

int32_t CTargetGen2Access::RouteAddEntry(uint8_t uchTable, uint16_t wRouteDestID, uint8_t uchPort)
{
    const CPEPrimitive* pPE = m_document.pCurrentPEs->GetByNodeNumber(m_iNode);
    if (!pPE)
        return kNoRoute;
    return ::RouteAddEntry(pPE->ManufID, pPE->DeviceID, 0, m_ulDestID, m_uchHop, uchTable, wRouteDestID,
                           uchPort, eNVXL_RouteTypePort, 0);
}

int32_t CTargetGen2Access::IsPortTrained(uint8_t uchPort, bool* pbTrained)
{
    const CPEPrimitive* pPE = m_document.pCurrentPEs->GetByNodeNumber(m_iNode);
    if (!pPE)
        return kNoRoute;
    uint8_t bTrained = 0;
    const int32_t nStatus =
        ::IsPortTrained(pPE->ManufID, pPE->DeviceID, 0, m_ulDestID, m_uchHop, uchPort, &bTrained);
    *pbTrained = bTrained != 0;
    return nStatus;
}

void CTargetGen2Access::Sleep(int nMilliseconds)
{
    QThread::msleep(static_cast<unsigned long>(nMilliseconds));
}

#include "Multicast.h"

#include "FFRoutes.h"
#include "HalWrappers.h"
#include "NumberText.h"
#include "RouteSearch.h"
#include "RoutingTableEditor.h"
#include "StatusText.h"
#include "TableTransfer.h"
#include "UserInterface.h"

#include <QStringList>

#include <algorithm>

namespace
{
// Multicast Mask Port commands (RapidIO Part 11).
constexpr uint32_t kAddPort = 1;
constexpr uint32_t kDeleteAllPorts = 4;
// Multicast Associate command: add an association.
constexpr uint32_t kAddAssociation = 3;

// The all-ones ID of the network's width, the host's own device for the host.
constexpr uint32_t kOwnDevice = 0xFFFFFFFFu;

bool IsSwitch(const CPEPrimitive& pe)
{
    return !pe.bDeleted && (pe.uType & kPETypeSwitch) != 0;
}

// Steps shared by the update and the download: every mask of the device emptied, so that a mask
// the list no longer has is gone from the hardware too, then each mask of the list in order, its
// ports added and each of its IDs associated with it. The first failure is shown and ends.
bool WriteMasks(const CPEPrimitive& pe, const CMulticastInfo& info, uint32_t ulDestID, uint8_t uchHop)
{
    const uint16_t wVendor = pe.ManufID;
    const uint16_t wDevice = pe.DeviceID;
    for (int iMask = 0; iMask < info.iMaxMasks; ++iMask)
    {
        if (MulticastMaskPort(wVendor, wDevice, 0, ulDestID, uchHop, kDeleteAllPorts,
                              static_cast<uint16_t>(iMask), 0, nullptr) != 0)
        {
            ShowMessage(QStringLiteral("Unable to delete ports from current mask.\n"));
            return false;
        }
    }
    const bool bLarge = MapUsesLongIDs();
    for (int i = 0; i < info.GetNumMasks(); ++i)
    {
        const SMulticastMask& mask = *info.GetMask(i);
        const auto wMask = static_cast<uint16_t>(mask.MaskID);
        for (uint8_t uchPort : mask.Ports)
        {
            if (MulticastMaskPort(wVendor, wDevice, 0, ulDestID, uchHop, kAddPort, wMask, uchPort, nullptr) !=
                0)
            {
                ShowMessage(QString::asprintf("Unable to add port %d to mask %d.\n", uchPort, mask.MaskID));
                return false;
            }
        }
        // With per-port association an ID is multicast only for packets entering on the port it
        // was associated for: it is associated for every port, so that it is multicast whichever
        // way the packet comes in.
        for (uint16_t wID : mask.DestIDs)
        {
            for (int iPort = 0; iPort < pe.iNumLocalPorts; ++iPort)
            {
                if (MulticastAssociate(wVendor, wDevice, 0, ulDestID, uchHop, kAddAssociation, bLarge, 0, wID,
                                       wMask, static_cast<uint8_t>(iPort), nullptr) != 0)
                {
                    ShowMessage(QString::asprintf("Unable to associate destination ID %d to mask %d.\n", wID,
                                                  mask.MaskID));
                    return false;
                }
            }
        }
    }
    return true;
}

// What is at the far end of a port's link: nothing (no link, -1), a real PE (1) or an empty or
// unknown record (0). A link whose far PE isn't on the map counts as leading nowhere known.
int PortLink(const CNetworkDocument& map, const CPEPrimitive& pe, int iPort)
{
    for (const auto& pLink : *map.pCurrentConnections)
    {
        if (pLink->bDeleted)
        {
            continue;
        }
        int iFar = -1;
        if (pLink->iPE1 == pe.iNodeNumber && pLink->iPE1Port == iPort)
        {
            iFar = pLink->iPE2;
        }
        else if (pLink->iPE2 == pe.iNodeNumber && pLink->iPE2Port == iPort)
        {
            iFar = pLink->iPE1;
        }
        else
        {
            continue;
        }
        const CPEPrimitive* pFar = map.pCurrentPEs->GetByNodeNumber(iFar);
        return pFar && !pFar->bDeleted && !(pFar->uType & (kPETypeNull | kPETypeUnknown)) ? 1 : 0;
    }
    return -1;
}
} // namespace

bool CheckMulticastSupport(const CPEPrimitive& pe)
{
    const CMulticastInfo& info = pe.Multicast;
    if (!info.bCapsValid)
    {
        ShowMessage(
            QStringLiteral("There is no multicast support information stored for the PE that you have "
                           "selected.\n\nPlease connect and try again.\n"));
        return false;
    }
    // The simple model is refused even where the per-port model is offered too.
    if (info.bSupportsSimpleAssociation)
    {
        ShowMessage(QStringLiteral("Simple Association Multipath model is currently not supported.\n"));
        return false;
    }
    if (info.bSupportsBlockAssociation)
    {
        ShowMessage(QStringLiteral("Block Association Multipath model is currently not supported.\n"));
        return false;
    }
    if (!info.bSupportsMulticast || !info.bSupportsPerPortAssociation)
    {
        ShowMessage(QStringLiteral("This switch does not support multicast."));
        return false;
    }
    return true;
}

bool DownloadMulticast(const CNetworkDocument& map, const CPEPrimitive& pe)
{
    if (!CheckMulticastSupport(pe))
    {
        return false;
    }
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    if (!ReachPE(map, pe, &ulDestID, &uchHop))
    {
        return false;
    }
    return WriteMasks(pe, pe.Multicast, ulDestID, uchHop);
}

SMulticastDownload DownloadAllMulticast(const CNetworkDocument& map)
{
    SMulticastDownload result;
    UI().BeginWork(QStringLiteral("Downloading all multicast definitions..."), false);
    for (const auto& pPE : *map.pCurrentPEs)
    {
        if (UI().WorkCancelled())
        {
            break;
        }
        if (!IsSwitch(*pPE) || !pPE->Multicast.bCapsValid || pPE->Multicast.GetNumMasks() == 0)
        {
            continue;
        }
        ++result.nSwitches;
        const int iNode = pPE->iNodeNumber + 1;
        UI().SetWorkProgress(QString::asprintf("Processing Node %d.  Please wait...", iNode));
        UI().SetWorkProgress(
            QString::asprintf("Downloading multicast configuration to Node %d.  Please wait...", iNode));
        // A switch that fails has shown why; the others still get their masks.
        if (DownloadMulticast(map, *pPE))
        {
            ++result.nDone;
        }
    }
    UI().EndWork(QString());
    return result;
}

CMulticastEditor::CMulticastEditor(CNetworkDocument& map, CPEPrimitive& pe, bool bConnected)
    : m_map(map), m_pe(pe), m_bConnected(bConnected), m_copy(pe.Multicast), m_nBase(RoutingTableNumberBase()),
      m_iIDBits(RoutingTableIDBits())
{
    // The edit opens on the first mask the switch has, or on mask 0.
    const SMulticastMask* pFirst = m_copy.GetMask(0);
    const int iFirst =
        pFirst && pFirst->MaskID >= 0 && pFirst->MaskID < m_copy.iMaxMasks ? pFirst->MaskID : 0;
    if (m_copy.iMaxMasks > 0)
    {
        ShowMask(iFirst);
    }
}

QString CMulticastEditor::Title() const
{
    const QString strName = m_pe.CommonName.isEmpty() ? m_pe.GetTypeString() : m_pe.CommonName;
    return strName + QStringLiteral(" - Multicast Configuration Dialog");
}

std::vector<CMulticastEditor::SPortRow> CMulticastEditor::PortRows() const
{
    std::vector<SPortRow> rows;
    for (int iPort = 0; iPort < std::min(m_pe.iNumLocalPorts, kMaxPorts); ++iPort)
    {
        const int iLink = PortLink(m_map, m_pe, iPort);
        if (iLink < 0)
        {
            continue;
        }
        rows.push_back({iPort, iLink > 0 ? QString::asprintf("Port %d\tConnected", iPort)
                                         : QString::asprintf("Port %d\t(Not Connected)", iPort)});
    }
    return rows;
}

QStringList CMulticastEditor::MaskNames() const
{
    QStringList names;
    for (int iMask = 0; iMask < m_copy.iMaxMasks; ++iMask)
    {
        names << QString::asprintf("Mask %d", iMask);
    }
    return names;
}

bool CMulticastEditor::SelectMask(int iMask)
{
    if (iMask < 0 || iMask >= m_copy.iMaxMasks)
    {
        return false;
    }
    SaveCurrentMask();
    ShowMask(iMask);
    return true;
}

void CMulticastEditor::ShowMask(int iMask)
{
    m_iCurrentMask = iMask;
    m_IDs.clear();
    m_abTicked.fill(false);
    const int iPosition = m_copy.FindMask(iMask);
    if (const SMulticastMask* pMask = m_copy.GetMask(iPosition))
    {
        m_IDs = pMask->DestIDs;
        for (uint8_t uchPort : pMask->Ports)
        {
            m_abTicked[uchPort] = true;
        }
    }
}

void CMulticastEditor::SetNumberBase(int nBase)
{
    m_nBase = nBase == 2 || nBase == 10 ? nBase : 16;
}

QStringList CMulticastEditor::IDTexts() const
{
    QStringList texts;
    for (uint16_t wID : m_IDs)
    {
        texts << RouteIDText(wID, m_nBase, m_iIDBits);
    }
    return texts;
}

bool CMulticastEditor::IsPortTicked(int iPort) const
{
    return iPort >= 0 && iPort < kMaxPorts && m_abTicked[static_cast<size_t>(iPort)];
}

void CMulticastEditor::TickPort(int iPort, bool bTicked)
{
    if (iPort >= 0 && iPort < kMaxPorts && m_iCurrentMask >= 0)
    {
        m_abTicked[static_cast<size_t>(iPort)] = bTicked;
    }
}

bool CMulticastEditor::AddID(const QString& strText)
{
    uint64_t ulID = 0;
    if (m_iCurrentMask < 0 || !NumberFromText(strText, m_iIDBits == 16 ? 0xFFFFu : 0xFFu, &ulID))
    {
        ShowMessage(QStringLiteral("Invalid Destination ID."));
        return false;
    }
    const auto wID = static_cast<uint16_t>(ulID);
    if (std::find(m_IDs.begin(), m_IDs.end(), wID) != m_IDs.end())
    {
        return true;
    }
    // The list is full when it holds as many IDs as the device associates with one mask.
    if (m_copy.iMaxAssociationsPerMask > 0 &&
        static_cast<int>(m_IDs.size()) >= m_copy.iMaxAssociationsPerMask)
    {
        ShowMessage(QStringLiteral("Unable to add destID to list"));
        return false;
    }
    m_IDs.push_back(wID);
    m_bChanged = true;
    return true;
}

bool CMulticastEditor::RemoveID(int iRow)
{
    if (iRow < 0 || iRow >= static_cast<int>(m_IDs.size()))
    {
        return false;
    }
    m_IDs.erase(m_IDs.begin() + iRow);
    m_bChanged = true;
    return true;
}

void CMulticastEditor::SaveCurrentMask()
{
    if (m_iCurrentMask < 0)
    {
        return;
    }
    m_copy.RemoveMaskAt(m_copy.FindMask(m_iCurrentMask));
    const bool bAnyPort = std::find(m_abTicked.begin(), m_abTicked.end(), true) != m_abTicked.end();
    if (m_IDs.empty() && !bAnyPort)
    {
        return;
    }
    const int iPosition = m_copy.AddMask(m_iCurrentMask);
    for (uint16_t wID : m_IDs)
    {
        m_copy.AddDestID(iPosition, wID);
    }
    for (int iPort = 0; iPort < kMaxPorts; ++iPort)
    {
        if (m_abTicked[static_cast<size_t>(iPort)])
        {
            m_copy.AddPort(iPosition, static_cast<uint8_t>(iPort));
        }
    }
}

bool CMulticastEditor::Update()
{
    const CPEPrimitive* pHost = MapHostPE(m_map);
    const bool bLong = MapUsesLongIDs();
    uint8_t uchHop = 0;
    if (!pHost || SetupFFRoute(m_map, pHost, &m_pe, bLong, &uchHop) != 0)
    {
        ShowMessage(QStringLiteral("Unable to configure routing tables in order to reach the switch.\n"));
        return false;
    }
    const uint32_t ulDestID = pHost == &m_pe ? kOwnDevice : bLong ? 0xFFFFu : 0xFFu;
    SaveCurrentMask();
    if (!WriteMasks(m_pe, m_copy, ulDestID, uchHop))
    {
        return false;
    }
    m_pe.Multicast = m_copy;
    if (m_copy.bNeedsRoutes && !AddMulticastRoutes(uchHop))
    {
        return false;
    }
    m_bChanged = false;
    return true;
}

bool CMulticastEditor::AddMulticastRoutes(uint8_t uchHopCount)
{
    // A device that copies by its routing table needs an entry naming the mask for each of the
    // mask's IDs: in every port's table where the device has one per port, else in its one table.
    // The write goes to the multicast ID itself: the switch at the end of the all-ones route's hop
    // count consumes the request whichever ID it carries.
    const bool bPerPort = m_pe.bHasPerPortRoutingTables;
    const int nTables = bPerPort ? std::clamp(m_pe.iNumLocalPorts, 0, kMaxPorts) : 1;
    const bool bHost = MapHostPE(m_map) == &m_pe;
    for (int i = 0; i < m_copy.GetNumMasks(); ++i)
    {
        const SMulticastMask& mask = *m_copy.GetMask(i);
        const auto uchMask = static_cast<uint8_t>(mask.MaskID);
        for (uint16_t wID : mask.DestIDs)
        {
            for (int iTable = 0; iTable < nTables; ++iTable)
            {
                std::unique_ptr<CRoutingTable>& pTable = m_pe.RoutingTables[static_cast<size_t>(iTable)];
                if (!pTable)
                {
                    pTable = std::make_unique<CRoutingTable>();
                }
                pTable->AddEntry(wID, uchMask, eRouteMulticast, 0, true);
                const int32_t nStatus = RouteAddEntry(
                    m_pe.ManufID, m_pe.DeviceID, 0, bHost ? kOwnDevice : wID, uchHopCount,
                    static_cast<uint8_t>(bPerPort ? iTable : 255), wID, uchMask, eNVXL_RouteTypeMCast, 0);
                if (nStatus != 0)
                {
                    const QString strTable = bPerPort
                                                 ? QString::asprintf("the routing table of port %d", iTable)
                                                 : QStringLiteral("the routing table");
                    ShowMessage(
                        QStringLiteral("Unable to add the multicast route for destination ID %1 to %2.  "
                                       "The following\nerror was reported:\n\n%3")
                            .arg(wID)
                            .arg(strTable, RioErrorText(nStatus)));
                    return false;
                }
            }
        }
    }
    return true;
}

void CMulticastEditor::Accept()
{
    SaveCurrentMask();
    if (m_bChanged && m_bConnected &&
        UI().Ask(QStringLiteral("Do you want to update the PE?"), ApplicationTitle(), false) == eAnswerYes)
    {
        Update();
    }
    m_pe.Multicast = m_copy;
}

namespace
{
// Reads the switch's multicast capabilities into the map. A failure has been shown; false then.
bool FetchMulticastCaps(const CNetworkDocument& map, CPEPrimitive& pe)
{
    const CPEPrimitive* pHost = MapHostPE(map);
    const bool bLong = MapUsesLongIDs();
    uint8_t uchHop = 0;
    int32_t nStatus = pHost ? SetupFFRoute(map, pHost, &pe, bLong, &uchHop) : kNoRouteStatus;
    uint8_t bSupported = 0, bSimple = 0, bBlock = 0, bPerPort = 0;
    uint32_t ulAssociations = 0, ulMasks = 0, ulReserved = 0;
    if (nStatus == 0)
    {
        const uint32_t ulDestID = pHost == &pe ? kOwnDevice : bLong ? 0xFFFFu : 0xFFu;
        nStatus = GetMulticastInfo(pe.ManufID, pe.DeviceID, 0, ulDestID, uchHop, &bSupported, &bSimple,
                                   &bBlock, &bPerPort, &ulAssociations, &ulMasks, &ulReserved);
    }
    if (nStatus != 0)
    {
        ShowMessage(QStringLiteral("Unable to retrieve multicast support information from the PE.  The "
                                   "following\nerror was reported:\n\n%1")
                        .arg(RioErrorText(nStatus)));
        return false;
    }
    CMulticastInfo& info = pe.Multicast;
    info.bCapsValid = true;
    info.bSupportsMulticast = bSupported != 0;
    info.bSupportsSimpleAssociation = bSimple != 0;
    info.bSupportsBlockAssociation = bBlock != 0;
    info.bSupportsPerPortAssociation = bPerPort != 0;
    info.iMaxAssociationsPerMask = static_cast<int>(ulAssociations);
    info.iMaxMasks = static_cast<int>(ulMasks);
    return true;
}
} // namespace

bool EditMulticast(CNetworkDocument& map, CPEPrimitive& pe, bool bConnected, bool bFetchCaps,
                   const std::function<bool(CMulticastEditor&)>& fnDialog)
{
    // Capabilities read here are kept in the map even when the switch is then refused.
    const bool bFetch = bFetchCaps && bConnected && !pe.Multicast.bCapsValid;
    if (bFetch && !FetchMulticastCaps(map, pe))
    {
        return false;
    }
    if (!CheckMulticastSupport(pe))
    {
        return bFetch;
    }
    CMulticastEditor editor(map, pe, bConnected);
    const bool bAccepted = fnDialog && fnDialog(editor);
    return bAccepted || bFetch;
}

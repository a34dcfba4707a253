#include "TableTransfer.h"

#include "FFRoutes.h"
#include "HalWrappers.h"
#include "NVXLStatus.h"
#include "NumberText.h"
#include "StatusText.h"
#include "UserInterface.h"

#include <cstdlib>
#include <vector>

namespace
{
constexpr uint8_t kAllTables = 255;

bool IsSwitch(const CPEPrimitive& pe)
{
    return (pe.uType & kPETypeSwitch) != 0;
}

void ShowFailure(int32_t nStatus)
{
    ShowMessage(RioErrorText(nStatus));
}

// One step of an operation's own window, or of the caller's.
class CProgress
{
public:
    CProgress(bool bOwn, const QString& strTitle) : m_bOwn(bOwn)
    {
        if (m_bOwn)
        {
            UI().BeginWork(strTitle, false);
        }
    }
    ~CProgress()
    {
        if (m_bOwn)
        {
            UI().EndWork(QString());
        }
    }
    void Step(const QString& strText)
    {
        if (m_bOwn)
        {
            UI().SetWorkProgress(strText);
        }
    }

private:
    bool m_bOwn;
};

// The tables a switch keeps: one per port, or the one of all ports (HAL table 255 in slot 0).
struct STables
{
    int iCount;
    bool bPerPort;
};

STables TablesOf(const CPEPrimitive& pe)
{
    return pe.bHasPerPortRoutingTables ? STables{std::max(pe.iNumLocalPorts, 0), true} : STables{1, false};
}
} // namespace

int32_t UploadTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                    uint8_t uchHopCount, uint8_t uchTable, std::unique_ptr<CRoutingTable>* ppTable)
{
    uint32_t ulCount = 0;
    NVXL_ROUTE_ENTRY* pEntries = nullptr;
    const int32_t nStatus = LoadRoutingTable(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
                                             uchTable, &ulCount, &pEntries);
    if (nStatus != 0)
    {
        std::free(pEntries);
        return nStatus;
    }
    if (!*ppTable)
    {
        *ppTable = std::make_unique<CRoutingTable>();
    }
    (*ppTable)->Clear();
    for (uint32_t i = 0; i < ulCount && pEntries; ++i)
    {
        const NVXL_ROUTE_ENTRY& entry = pEntries[i];
        if (entry.eType == eNVXL_RouteTypePort || entry.eType == eNVXL_RouteTypeMCast)
        {
            (*ppTable)->AddEntry(entry.wDestID, entry.uchPort, entry.eType, 0, true);
        }
        else if (entry.eType == eNVXL_RouteTypeSpecial)
        {
            (*ppTable)->AddEntry(entry.wDestID, entry.uchPort, entry.eType, entry.ulExtra, true);
        }
    }
    std::free(pEntries);
    return 0;
}

int32_t DownloadTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                      uint8_t uchHopCount, uint8_t uchTable, const CRoutingTable* pTable, bool bFlash)
{
    std::vector<NVXL_ROUTE_ENTRY> entries;
    if (pTable)
    {
        for (const SRouteEntry& entry : pTable->Entries())
        {
            const NVXL_ROUTE_TYPE eType = entry.eType == eRoutePort        ? eNVXL_RouteTypePort
                                          : entry.eType == eRouteMulticast ? eNVXL_RouteTypeMCast
                                                                           : eNVXL_RouteTypeSpecial;
            entries.push_back({entry.DestID, entry.Port, eType, entry.uSpecialType});
        }
    }
    // The HAL writes IDs it finds in the table and leaves no route for the others, so an empty table
    // clears what the hardware held.
    NVXL_ROUTE_ENTRY none = {0, 0xFF, eNVXL_RouteTypeUnrouted, 0};
    const NVXL_ROUTE_ENTRY* pData = entries.empty() ? &none : entries.data();
    const uint32_t ulCount = static_cast<uint32_t>(entries.size());
    return bFlash ? FlashRoutingTable(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, uchTable,
                                      ulCount, pData)
                  : StoreRoutingTable(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, uchTable,
                                      ulCount, pData);
}

bool SendPETable(CPEPrimitive& pe, uint32_t ulDestID, uint8_t uchHopCount, int iTable, bool bFlash)
{
    CRoutingTable* pTable = pe.RoutingTables[static_cast<size_t>(iTable)].get();
    const uint8_t uchTable = pe.bHasPerPortRoutingTables ? static_cast<uint8_t>(iTable) : kAllTables;
    const int32_t nStatus =
        DownloadTable(pe.ManufID, pe.DeviceID, 0, ulDestID, uchHopCount, uchTable, pTable, bFlash);
    if (nStatus != 0)
    {
        ShowFailure(nStatus);
        return false;
    }
    if (pTable)
    {
        pTable->bModified = false;
    }
    return true;
}

bool FetchPETable(CPEPrimitive& pe, uint32_t ulDestID, uint8_t uchHopCount, int iTable)
{
    std::unique_ptr<CRoutingTable>& pTable = pe.RoutingTables[static_cast<size_t>(iTable)];
    const uint8_t uchTable = pe.bHasPerPortRoutingTables ? static_cast<uint8_t>(iTable) : kAllTables;
    const int32_t nStatus = UploadTable(pe.ManufID, pe.DeviceID, 0, ulDestID, uchHopCount, uchTable, &pTable);
    if (nStatus != 0)
    {
        ShowFailure(nStatus);
        return false;
    }
    pTable->bModified = false;
    return true;
}

bool IsUnusedPort(const CNetworkDocument& map, const CPEPrimitive& pe, int iPort)
{
    for (const auto& pConnection : *map.pCurrentConnections)
    {
        if (pConnection->bDeleted)
        {
            continue;
        }
        int iFar = -1;
        if (pConnection->iPE1 == pe.iNodeNumber && pConnection->iPE1Port == iPort)
        {
            iFar = pConnection->iPE2;
        }
        else if (pConnection->iPE2 == pe.iNodeNumber && pConnection->iPE2Port == iPort)
        {
            iFar = pConnection->iPE1;
        }
        else
        {
            continue;
        }
        const CPEPrimitive* pFar = map.pCurrentPEs->GetByNodeNumber(iFar);
        return pFar && (pFar->uType & (kPETypeNull | kPETypeUnknown)) != 0;
    }
    return false;
}

bool DownloadPETables(const CNetworkDocument& map, CPEPrimitive& pe, bool bFlash, bool bInitEEPROM,
                      bool bSkipUnused, bool bOwnWindow)
{
    CProgress progress(bOwnWindow, bFlash ? QStringLiteral("Flashing routing tables. Please wait...")
                                          : QStringLiteral("Downloading routing tables. Please wait..."));
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    if (!ReachPE(map, pe, &ulDestID, &uchHop))
    {
        return false;
    }
    if (bFlash && bInitEEPROM)
    {
        int32_t nStatus = InitEEPROM(pe.ManufID, pe.DeviceID, 0, ulDestID, uchHop);
        if (nStatus != 0)
        {
            ShowFailure(nStatus);
            return false;
        }
    }
    const STables tables = TablesOf(pe);
    for (int i = 0; i < tables.iCount; ++i)
    {
        progress.Step(tables.bPerPort ? QString::asprintf("Downloading Table %d of %d", i + 1, tables.iCount)
                                      : QStringLiteral("Downloading table 1 of 1."));
        if (tables.bPerPort && bSkipUnused && IsUnusedPort(map, pe, i))
        {
            continue;
        }
        if (!SendPETable(pe, ulDestID, uchHop, i, bFlash))
        {
            return false;
        }
    }
    return true;
}

bool UploadPETables(const CNetworkDocument& map, CPEPrimitive& pe, bool bSkipUnused, bool bOwnWindow)
{
    CProgress progress(bOwnWindow, QStringLiteral("Uploading routing tables. Please wait..."));
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    if (!ReachPE(map, pe, &ulDestID, &uchHop))
    {
        return false;
    }
    const STables tables = TablesOf(pe);
    for (int i = 0; i < tables.iCount; ++i)
    {
        progress.Step(tables.bPerPort ? QString::asprintf("Uploading Table %d of %d", i + 1, tables.iCount)
                                      : QStringLiteral("Uploading table 1 of 1."));
        if (tables.bPerPort && bSkipUnused && IsUnusedPort(map, pe, i))
        {
            continue;
        }
        if (!FetchPETable(pe, ulDestID, uchHop, i))
        {
            return false;
        }
    }
    uint8_t uchDefault = 0;
    if (GetDefaultRoute(pe.ManufID, pe.DeviceID, 0, ulDestID, uchHop, &uchDefault) == 0)
    {
        pe.SetDefaultPort(uchDefault);
    }
    return true;
}

namespace
{
int CountSwitches(const CNetworkDocument& map)
{
    int nSwitches = 0;
    for (const auto& pPE : *map.pCurrentPEs)
    {
        nSwitches += !pPE->bDeleted && IsSwitch(*pPE) ? 1 : 0;
    }
    return nSwitches;
}

QString SwitchCountText(int nSwitch, int nSwitches)
{
    return QString::asprintf("Switch %d of %d", nSwitch, nSwitches);
}
} // namespace

int DownloadAllTables(CNetworkDocument& map)
{
    const bool bSkip = AskDontAsk(QStringLiteral("SkipDownloadToUnusedPorts"),
                                  QStringLiteral("Skip routing table download for unused ports?"),
                                  ApplicationTitle()) == eAnswerYes;
    UI().BeginWork(QStringLiteral("Downloading all routing tables..."), false);
    const int nSwitches = CountSwitches(map);
    int nSwitch = 0;
    int nDone = 0;
    for (const auto& pPE : *map.pCurrentPEs)
    {
        if (UI().WorkCancelled())
        {
            break;
        }
        if (pPE->bDeleted || !IsSwitch(*pPE))
        {
            continue;
        }
        UI().SetWorkProgress(QString::asprintf("Downloading routing tables for Node %d.  Please wait...",
                                               pPE->iNodeNumber + 1));
        UI().SetWorkCounts(SwitchCountText(++nSwitch, nSwitches));
        // A switch that fails has shown why; the others still get their tables.
        if (DownloadPETables(map, *pPE, false, false, bSkip, false))
        {
            ++nDone;
        }
    }
    UI().EndWork(QString());
    return nDone;
}

bool AskSkipUploadForUnusedPorts()
{
    return AskDontAsk(QStringLiteral("SkipUploadFromUnusedPorts"),
                      QStringLiteral("Skip routing table upload for unused ports?"),
                      ApplicationTitle()) == eAnswerYes;
}

int UploadAllTables(CNetworkDocument& map, bool bSkipUnused)
{
    UI().BeginWork(QStringLiteral("Uploading all routing tables..."), false);
    const int nSwitches = CountSwitches(map);
    int nSwitch = 0;
    int nDone = 0;
    for (const auto& pPE : *map.pCurrentPEs)
    {
        if (UI().WorkCancelled())
        {
            break;
        }
        if (pPE->bDeleted || !IsSwitch(*pPE))
        {
            continue;
        }
        UI().SetWorkProgress(
            QString::asprintf("Uploading routing tables for Node %d.  Please wait...", pPE->iNodeNumber + 1));
        UI().SetWorkCounts(SwitchCountText(++nSwitch, nSwitches));
        if (UploadPETables(map, *pPE, bSkipUnused, false))
        {
            ++nDone;
        }
    }
    UI().EndWork(QString());
    return nDone;
}

bool ReadDefaultPort(const CNetworkDocument& map, CPEPrimitive& pe, QString* pstrShown)
{
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    if (!ReachPE(map, pe, &ulDestID, &uchHop))
    {
        return false;
    }
    uint8_t uchPort = 0;
    const int32_t nStatus = GetDefaultRoute(pe.ManufID, pe.DeviceID, 0, ulDestID, uchHop, &uchPort);
    if (nStatus == HalStatusToClient(NVXL_ERR_NOT_SUPPORTED))
    {
        ShowMessage(QStringLiteral("This switch does not support the default output port feature.\n"));
        return false;
    }
    if (nStatus != 0 && nStatus != -28)
    {
        ShowMessage(QStringLiteral("Unabled to read current default port setting."));
        return false;
    }
    *pstrShown = QString::asprintf("%lxh", static_cast<unsigned long>(uchPort));
    return true;
}

bool SetDefaultPortFromText(const CNetworkDocument& map, CPEPrimitive& pe, const QString& strText)
{
    if (strText.trimmed().isEmpty())
    {
        ShowMessage(QStringLiteral("Please enter a default port value."));
        return false;
    }
    uint64_t ulPort = 0;
    if (!NumberFromText(strText, 0xFF, &ulPort))
    {
        ShowMessage(QStringLiteral("Invalid format for default port"));
        return false;
    }
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    if (!ReachPE(map, pe, &ulDestID, &uchHop))
    {
        return false;
    }
    const int32_t nStatus =
        SetDefaultRoute(pe.ManufID, pe.DeviceID, 0, ulDestID, uchHop, static_cast<uint8_t>(ulPort));
    if (nStatus != 0)
    {
        ShowFailure(nStatus);
        return false;
    }
    pe.SetDefaultPort(static_cast<uint8_t>(ulPort));
    return true;
}

QString RouteIDText(uint16_t wID, int nBase, int iIDBits)
{
    if (nBase == 2)
    {
        return QStringLiteral("%1b").arg(wID, iIDBits == 16 ? 16 : 8, 2, QLatin1Char('0'));
    }
    return nBase == 10 ? QString::asprintf("%d", wID) : QString::asprintf("%Xh", wID);
}

QStringList RoutingTableLines(const CRoutingTable* pTable, bool bShowDefault, uint8_t uchDefaultPort,
                              int nBase, int iIDBits)
{
    if (!pTable)
    {
        return {QStringLiteral("No routes")};
    }
    QStringList lines;
    if (bShowDefault)
    {
        lines << QString::asprintf("  ? >> %d", uchDefaultPort);
    }
    for (const SRouteEntry& entry : pTable->Entries())
    {
        const QByteArray id = RouteIDText(entry.DestID, nBase, iIDBits).toLatin1();
        if (entry.eType == eRouteMulticast)
        {
            lines << QString::asprintf("  %s >> Mask %d", id.constData(), entry.Port);
        }
        else if (entry.eType == eRouteSpecial)
        {
            lines << QString::asprintf("  %s >> ?%d", id.constData(), entry.Port);
        }
        else
        {
            lines << QString::asprintf("  %s >> %d", id.constData(), entry.Port);
        }
    }
    return lines;
}

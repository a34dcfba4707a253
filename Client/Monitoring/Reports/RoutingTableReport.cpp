#include "RoutingTableReport.h"

#include "NetworkDocument.h"
#include "Primitives.h"
#include "ReportTemplate.h"
#include "RoutingTableEditor.h"
#include "TableTransfer.h"
#include "UserInterface.h"

#include <algorithm>
#include <map>

namespace
{
std::vector<const CPEPrimitive*> Switches(const CNetworkDocument& map)
{
    std::vector<const CPEPrimitive*> switches;
    if (map.pCurrentPEs)
    {
        for (const CPEPrimitive* pPE : map.pCurrentPEs->LivePEsInNodeOrder())
        {
            if (pPE->uType & kPETypeSwitch)
            {
                switches.push_back(pPE);
            }
        }
    }
    return switches;
}
} // namespace

QString ReportBaseText(int nBase)
{
    return nBase == 10 ? QStringLiteral("DEC") : nBase == 2 ? QStringLiteral("BIN") : QStringLiteral("HEX");
}

QString DestIDListText(const std::vector<uint16_t>& ids, int nBase, int iIDBits)
{
    std::vector<uint16_t> sorted = ids;
    std::sort(sorted.begin(), sorted.end());
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    QStringList parts;
    for (size_t i = 0; i < sorted.size();)
    {
        size_t j = i;
        while (j + 1 < sorted.size() && sorted[j + 1] == sorted[j] + 1)
        {
            ++j;
        }
        if (j - i >= 2)
        {
            parts << RouteIDText(sorted[i], nBase, iIDBits) + QLatin1Char('-') +
                         RouteIDText(sorted[j], nBase, iIDBits);
        }
        else
        {
            for (size_t k = i; k <= j; ++k)
            {
                parts << RouteIDText(sorted[k], nBase, iIDBits);
            }
        }
        i = j + 1;
    }
    return parts.join(QStringLiteral(", "));
}

std::vector<std::pair<QString, QString>> RoutingReportRows(const CRoutingTable* pTable, bool bHasDefault,
                                                           uint8_t uchDefaultPort, int nBase, int iIDBits)
{
    // Keyed by kind, then port, mask or special number, so the rows come out in that order.
    std::map<std::pair<int, uint32_t>, std::vector<uint16_t>> outputs;
    if (pTable)
    {
        for (const SRouteEntry& entry : pTable->Entries())
        {
            const int iKind = entry.eType == eRoutePort ? 0 : entry.eType == eRouteMulticast ? 1 : 2;
            const uint32_t uWhich = iKind == 2 ? entry.uSpecialType : entry.Port;
            outputs[{iKind, uWhich}].push_back(entry.DestID);
        }
    }
    std::vector<std::pair<QString, QString>> rows;
    for (const auto& [key, ids] : outputs)
    {
        const QString strOutput = key.first == 0   ? QStringLiteral("Port %1").arg(key.second)
                                  : key.first == 1 ? QStringLiteral("Mask %1").arg(key.second)
                                                   : QStringLiteral("Special %1").arg(key.second);
        rows.emplace_back(strOutput, DestIDListText(ids, nBase, iIDBits));
    }
    if (bHasDefault)
    {
        rows.emplace_back(QStringLiteral("Port %1 (default)").arg(uchDefaultPort),
                          QStringLiteral("All other IDs"));
    }
    if (rows.empty())
    {
        rows.emplace_back(QStringLiteral("None"), QStringLiteral("No routes"));
    }
    return rows;
}

CRoutingTableReport::CRoutingTableReport(const CNetworkDocument& map)
    : CReport(eReportRoutingTable), m_map(map), m_nBase(RoutingTableNumberBase()),
      m_iIDBits(RoutingTableIDBits())
{
    SetMapName(map.FileName);
}

bool CRoutingTableReport::CheckContent()
{
    if (Switches(m_map).empty())
    {
        ShowMessage(QStringLiteral("There are no switches in the map to report routing tables of."));
        return false;
    }
    return true;
}

bool CRoutingTableReport::WriteBody()
{
    for (const CPEPrimitive* pPE : Switches(m_map))
    {
        const QString strName = pPE->CommonName.isEmpty() ? pPE->GetTypeString() : pPE->CommonName;
        if (!WritePiece(QStringLiteral("rtr_peh.htm"),
                        {QStringLiteral("MAXPORTS"), QStringLiteral("NODE"), QStringLiteral("DESTID")},
                        {QString::number(pPE->iNumLocalPorts),
                         QStringLiteral("%1 - %2").arg(pPE->iNodeNumber + 1).arg(ReportEscape(strName)),
                         pPE->GetDestID() == kNoDestID ? QStringLiteral("None")
                                                       : RouteIDText(pPE->GetDestID(), m_nBase, m_iIDBits)}))
        {
            return false;
        }
        const int nTables = pPE->bHasPerPortRoutingTables ? std::clamp(pPE->iNumLocalPorts, 0, kMaxPorts) : 1;
        for (int iTable = 0; iTable < nTables; ++iTable)
        {
            const QString strPort =
                pPE->bHasPerPortRoutingTables ? QString::number(iTable) : QStringLiteral("**All**");
            if (!WritePiece(QStringLiteral("rtr_rth.htm"),
                            {QStringLiteral("PORTNUMBER"), QStringLiteral("BASE")},
                            {strPort, ReportBaseText(m_nBase)}))
            {
                return false;
            }
            for (const auto& [strOutput, strIDs] :
                 RoutingReportRows(pPE->RoutingTables[static_cast<size_t>(iTable)].get(),
                                   pPE->HasDefaultPort(), pPE->GetDefaultPort(), m_nBase, m_iIDBits))
            {
                if (!WritePiece(QStringLiteral("rtr_rtl.htm"),
                                {QStringLiteral("OUTPUTPORT"), QStringLiteral("DESTIDS")},
                                {strOutput, strIDs}))
                {
                    return false;
                }
            }
            if (!WritePiece(QStringLiteral("rtr_rtf.htm")))
            {
                return false;
            }
        }
        if (!WritePiece(QStringLiteral("rtr_pef.htm")))
        {
            return false;
        }
    }
    return true;
}

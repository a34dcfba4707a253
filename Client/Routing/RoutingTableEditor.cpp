#include "RoutingTableEditor.h"

#include "FFRoutes.h"
#include "HalWrappers.h"
#include "NumberText.h"
#include "Preferences.h"
#include "TableTransfer.h"
#include "UserInterface.h"

#include <algorithm>
#include <utility>

namespace
{
bool IsSwitch(const CPEPrimitive* pPE)
{
    return pPE && !pPE->bDeleted && (pPE->uType & kPETypeSwitch) != 0;
}
} // namespace

int RoutingTableNumberBase()
{
    const uint32_t ulBase = GetPreference(QStringLiteral("Preferences"), QStringLiteral("DefaultBase"), 16u);
    return ulBase == 2 || ulBase == 10 ? static_cast<int>(ulBase) : 16;
}

int RoutingTableIDBits()
{
    return MapUsesLongIDs() ? 16 : 8;
}

bool LinkRoutingTable(const CNetworkDocument& map, const CConnectionPrimitive& connection,
                      const CPEPrimitive** ppPE, int* piTable)
{
    const std::pair<int, int> ends[] = {{connection.iPE1, connection.iPE1Port},
                                        {connection.iPE2, connection.iPE2Port}};
    for (const auto& [iNode, iPort] : ends)
    {
        const CPEPrimitive* pPE = map.pCurrentPEs->GetByNodeNumber(iNode);
        if (!IsSwitch(pPE) || iPort < 0 || iPort >= kMaxPorts)
        {
            continue;
        }
        *ppPE = pPE;
        *piTable = pPE->bHasPerPortRoutingTables ? iPort : 0;
        return true;
    }
    return false;
}

CRoutingTableEditor::CRoutingTableEditor(CNetworkDocument& map, CPEPrimitive& pe, bool bConnected)
    : m_map(map), m_pe(pe), m_bConnected(bConnected), m_nBase(RoutingTableNumberBase()),
      m_iIDBits(RoutingTableIDBits())
{
}

int CRoutingTableEditor::TableCount() const
{
    return m_pe.bHasPerPortRoutingTables ? std::clamp(m_pe.iNumLocalPorts, 0, kMaxPorts) : 1;
}

QStringList CRoutingTableEditor::TableNames() const
{
    if (!m_pe.bHasPerPortRoutingTables)
    {
        return {QStringLiteral("All Ports")};
    }
    QStringList names;
    for (int i = 0; i < TableCount(); ++i)
    {
        names << QString::asprintf("Port %d", i);
    }
    return names;
}

bool CRoutingTableEditor::SelectTable(int iTable)
{
    if (iTable < 0 || iTable >= TableCount())
    {
        return false;
    }
    m_iTable = iTable;
    ClearFields();
    return true;
}

const CRoutingTable* CRoutingTableEditor::CurrentTableData() const
{
    return m_pe.RoutingTables[static_cast<size_t>(m_iTable)].get();
}

void CRoutingTableEditor::SetNumberBase(int nBase)
{
    m_nBase = nBase == 2 || nBase == 10 ? nBase : 16;
    if (m_iSelected >= 0)
    {
        SelectEntry(m_iSelected);
    }
}

std::vector<CRoutingTableEditor::SRow> CRoutingTableEditor::Rows() const
{
    std::vector<SRow> rows;
    const CRoutingTable* pTable = CurrentTableData();
    if (!pTable)
    {
        return rows;
    }
    for (const SRouteEntry& entry : pTable->Entries())
    {
        SRow row;
        row.strID = RouteIDText(entry.DestID, m_nBase, m_iIDBits);
        // Anything but a port or multicast route goes to the switch as a special route.
        row.strType = entry.eType == eRoutePort        ? QStringLiteral("Port Route")
                      : entry.eType == eRouteMulticast ? QStringLiteral("Multicast")
                                                       : QString::asprintf("Special %u", entry.uSpecialType);
        row.strPort = QString::number(entry.Port);
        rows.push_back(row);
    }
    return rows;
}

bool CRoutingTableEditor::SelectEntry(int iRow)
{
    const CRoutingTable* pTable = CurrentTableData();
    if (iRow == -1)
    {
        ClearFields();
        return true;
    }
    if (!pTable || iRow < 0 || iRow >= pTable->GetNumEntries())
    {
        return false;
    }
    const SRouteEntry& entry = pTable->GetEntry(iRow);
    m_iSelected = iRow;
    m_strIDField = RouteIDText(entry.DestID, m_nBase, m_iIDBits);
    m_strPortField = QString::number(entry.Port);
    return true;
}

void CRoutingTableEditor::ClearFields()
{
    m_iSelected = -1;
    m_strIDField.clear();
    m_strPortField.clear();
}

bool CRoutingTableEditor::Add(const QString& strID, const QString& strPort)
{
    uint64_t ulID = 0;
    uint64_t ulPort = 0;
    if (!NumberFromText(strID, m_iIDBits == 16 ? 0xFFFFu : 0xFFu, &ulID) ||
        !NumberFromText(strPort, 0xFFu, &ulPort))
    {
        ShowMessage(InvalidEntryText());
        return false;
    }
    std::unique_ptr<CRoutingTable>& pTable = m_pe.RoutingTables[static_cast<size_t>(m_iTable)];
    if (!pTable)
    {
        pTable = std::make_unique<CRoutingTable>();
    }
    pTable->AddEntry(static_cast<uint16_t>(ulID), static_cast<uint8_t>(ulPort), eRoutePort, 0, true);
    m_iSelected = -1;
    m_bMapChanged = true;
    return true;
}

bool CRoutingTableEditor::DeleteSelected()
{
    CRoutingTable* pTable = m_pe.RoutingTables[static_cast<size_t>(m_iTable)].get();
    if (!pTable || !pTable->RemoveAt(m_iSelected))
    {
        return false;
    }
    // The copy now differs from the switch's table, as after an add.
    pTable->bModified = true;
    m_bMapChanged = true;
    ClearFields();
    return true;
}

bool CRoutingTableEditor::Upload()
{
    uint32_t ulDestID = 0;
    uint8_t uchHopCount = 0;
    if (!ReachPE(m_map, m_pe, &ulDestID, &uchHopCount))
    {
        return false;
    }
    if (!FetchPETable(m_pe, ulDestID, uchHopCount, m_iTable))
    {
        return false;
    }
    m_bMapChanged = true;
    ClearFields();
    uint8_t uchDefault = 0;
    if (GetDefaultRoute(m_pe.ManufID, m_pe.DeviceID, 0, ulDestID, uchHopCount, &uchDefault) == 0)
    {
        m_pe.SetDefaultPort(uchDefault);
    }
    else
    {
        m_pe.ClearDefaultPort();
    }
    return true;
}

bool CRoutingTableEditor::Download()
{
    uint32_t ulDestID = 0;
    uint8_t uchHopCount = 0;
    return ReachPE(m_map, m_pe, &ulDestID, &uchHopCount) &&
           SendPETable(m_pe, ulDestID, uchHopCount, m_iTable, false);
}

bool CRoutingTableEditor::Close()
{
    if (!m_bConnected)
    {
        return true;
    }
    const QString strQuestion = QStringLiteral("Do you want to download modified tables to the switch?");
    auto isModified = [this](int iTable)
    {
        const CRoutingTable* pTable = m_pe.RoutingTables[static_cast<size_t>(iTable)].get();
        return pTable && pTable->bModified;
    };
    if (!m_pe.bHasPerPortRoutingTables)
    {
        // Kept as the editor has always behaved: on a switch with one table neither Yes nor No
        // sends the modified table (its Download button does); only Cancel keeps the editor open.
        return TableCount() == 0 || !isModified(0) ||
               UI().Ask(strQuestion, ApplicationTitle(), true) != eAnswerCancel;
    }
    int iFirst = 0;
    while (iFirst < TableCount() && !isModified(iFirst))
    {
        ++iFirst;
    }
    if (iFirst == TableCount())
    {
        return true;
    }
    const int nAnswer = UI().Ask(strQuestion, ApplicationTitle(), true);
    if (nAnswer != eAnswerYes)
    {
        return nAnswer == eAnswerNo;
    }
    uint32_t ulDestID = 0;
    uint8_t uchHopCount = 0;
    if (!ReachPE(m_map, m_pe, &ulDestID, &uchHopCount))
    {
        return false;
    }
    for (int i = iFirst; i < TableCount(); ++i)
    {
        if (isModified(i) && !SendPETable(m_pe, ulDestID, uchHopCount, i, false))
        {
            return false;
        }
    }
    return true;
}

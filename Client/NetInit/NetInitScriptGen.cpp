#include "NetInitScriptGen.h"

#include "FFRoutes.h"
#include "NetworkDocument.h"
#include "NumberText.h"
#include "RegisterInfoCache.h"
#include "RouteSearch.h"
#include "SRecord.h"
#include "UserInterface.h"

#include <algorithm>
#include <functional>

namespace
{
constexpr uint8_t kDeviceTable = 255;
// Type flags of the kinds that can be a host: bridge, memory, processor.
constexpr uint32_t kEndpointKinds = 0x0D;
constexpr uint32_t kNoPEKinds = kPETypeUnknown | kPETypeNull;

QString NodeText(const char* pszFormat, int iNode)
{
    return QString::asprintf(pszFormat, iNode + 1);
}

const char* const kRouteTypeNames[] = {"eNVXL_RouteTypeUndefined", "eNVXL_RouteTypeUnrouted",
                                       "eNVXL_RouteTypeDefault",   "eNVXL_RouteTypePort",
                                       "eNVXL_RouteTypeMCast",     "eNVXL_RouteTypeSpecial"};

// A register is read-only when it has fields and none of them can be written.
bool IsReadOnly(const CRegister& reg)
{
    if (reg.GetNumBitFields() == 0)
    {
        return false;
    }
    for (int i = 0; i < reg.GetNumBitFields(); ++i)
    {
        if (reg.GetBitField(i)->iAccess != eAccessReadOnly)
        {
            return false;
        }
    }
    return true;
}

SInitTreeItem RegisterItem(const CRegister& reg, uint32_t ulOffset, const QString& strName, int iNode,
                           const CPEPrimitive& pe)
{
    SInitTreeItem item;
    item.eKind = eInitItemRegister;
    item.iNode = iNode;
    item.ulOffset = ulOffset;
    item.bReadOnly = IsReadOnly(reg);
    item.strRegisterName = strName;
    item.strText = strName + (item.bReadOnly ? QStringLiteral(" [Read Only]") : QString());
    item.bChecked = pe.SavedRegisters.Find(ulOffset) != nullptr;
    return item;
}

// The registers of the PE's register file: a group per block (and a level below for each set of a
// block that has sets), maintenance registers only.
SInitTreeItem RegistersItem(const CPEPrimitive& pe)
{
    SInitTreeItem registers;
    registers.eKind = eInitItemRegisters;
    registers.strText = QStringLiteral("Registers");
    registers.iNode = pe.iNodeNumber;
    CRegisterFileInfo* pFile =
        GetRegisterInfoCache().GetFileInfo(pe.DeviceID, pe.ManufID, (pe.uType & kPETypeSwitch) != 0);
    if (!pFile)
    {
        registers.bChecked = false;
        return registers;
    }
    for (int b = 0; b < pFile->GetNumBlocks(); ++b)
    {
        const CRegisterBlock& block = *pFile->GetBlock(b);
        if (block.bMemSpaceIO)
        {
            continue;
        }
        SInitTreeItem group;
        group.eKind = eInitItemRegisterGroup;
        group.strText = block.Name;
        group.iNode = pe.iNodeNumber;
        auto addRegisters = [&](SInitTreeItem& parent, uint32_t ulBase, const QString& strPrefix)
        {
            for (int r = 0; r < block.GetNumRegisters(); ++r)
            {
                const CRegister& reg = *block.GetRegister(r);
                parent.children.push_back(
                    RegisterItem(reg, ulBase + reg.uByteOffset, strPrefix + reg.Name, pe.iNodeNumber, pe));
            }
        };
        if (block.GetNumSets() == 0)
        {
            addRegisters(group, 0, QString());
        }
        for (int s = 0; s < block.GetNumSets(); ++s)
        {
            const RegisterSetInfo& set = *block.GetSet(s);
            SInitTreeItem setItem;
            setItem.eKind = eInitItemRegisterGroup;
            setItem.strText = set.Name;
            setItem.iNode = pe.iNodeNumber;
            addRegisters(setItem, set.uOffset, set.Name + QLatin1Char(' '));
            group.children.push_back(std::move(setItem));
        }
        registers.children.push_back(std::move(group));
    }
    return registers;
}
} // namespace

void SInitTreeItem::SetChecked(bool bCheck)
{
    bChecked = bCheck;
    for (SInitTreeItem& child : children)
    {
        child.SetChecked(bCheck);
    }
}

CNetInitScriptGen::CNetInitScriptGen(const CNetworkDocument& map) : m_map(map) {}

void CNetInitScriptGen::BuildTree()
{
    m_tree.clear();
    for (const auto& pPE : *m_map.pCurrentPEs)
    {
        const CPEPrimitive& pe = *pPE;
        if (pe.bDeleted || (pe.uType & kNoPEKinds))
        {
            continue;
        }
        SInitTreeItem node;
        node.eKind = eInitItemNode;
        node.iNode = pe.iNodeNumber;
        node.strText = NodeText("Node %d", pe.iNodeNumber);

        SInitTreeItem ids;
        ids.eKind = eInitItemDestID;
        ids.iNode = pe.iNodeNumber;
        ids.strText =
            QStringLiteral("DestID: Short=%1 Long=%2")
                .arg(QString::asprintf("%02Xh", pe.ShortDestID), QString::asprintf("%04Xh", pe.LongDestID));
        node.children.push_back(std::move(ids));
        node.children.push_back(RegistersItem(pe));

        if (pe.uType & kPETypeSwitch)
        {
            auto tableItem = [&](int iPort, const QString& strText)
            {
                SInitTreeItem table;
                table.eKind = eInitItemTable;
                table.iNode = pe.iNodeNumber;
                table.iPort = iPort;
                table.strText = strText;
                table.bChecked = pe.RoutingTables[static_cast<size_t>(std::max(iPort, 0))] != nullptr;
                return table;
            };
            if (pe.bHasPerPortRoutingTables)
            {
                SInitTreeItem tables;
                tables.eKind = eInitItemRoutingTables;
                tables.iNode = pe.iNodeNumber;
                tables.strText = QStringLiteral("Routing Tables");
                for (int p = 0; p < std::min(pe.iNumLocalPorts, kMaxPorts); ++p)
                {
                    tables.children.push_back(tableItem(p, QStringLiteral("Port %1").arg(p)));
                }
                node.children.push_back(std::move(tables));
            }
            else
            {
                node.children.push_back(tableItem(-1, QStringLiteral("All Ports")));
            }
        }

        SInitTreeItem ports;
        ports.eKind = eInitItemPortSettings;
        ports.iNode = pe.iNodeNumber;
        ports.strText = QStringLiteral("Port Settings");
        for (int p = 0; p < std::min(pe.iNumLocalPorts, kMaxPorts); ++p)
        {
            const uint32_t ulSpeed = pe.Ports[static_cast<size_t>(p)].uSpeedMHz;
            if (ulSpeed == 0)
            {
                continue;
            }
            SInitTreeItem speed;
            speed.eKind = eInitItemPortSpeed;
            speed.iNode = pe.iNodeNumber;
            speed.iPort = p;
            speed.strText = QString::asprintf("Port %d, %.3f Gbps", p, ulSpeed / 1000.0);
            ports.children.push_back(std::move(speed));
        }
        node.children.push_back(std::move(ports));
        m_tree.push_back(std::move(node));
    }
}

SInitTreeItem* CNetInitScriptGen::NodeItem(int iNode)
{
    for (SInitTreeItem& item : m_tree)
    {
        if (item.iNode == iNode)
        {
            return &item;
        }
    }
    return nullptr;
}

std::vector<int> CNetInitScriptGen::InitOrder(int iHostNode) const
{
    std::vector<int> order{iHostNode};
    const CPEList& PEs = *m_map.pCurrentPEs;
    const CConnectionList& connections = *m_map.pCurrentConnections;
    std::function<void(int, int)> visit = [&](int iNode, int iPort)
    {
        int iFar = -1;
        for (const auto& pConnection : connections)
        {
            if (pConnection->bDeleted)
            {
                continue;
            }
            if (pConnection->iPE1 == iNode && pConnection->iPE1Port == iPort)
            {
                iFar = pConnection->iPE2;
                break;
            }
            if (pConnection->iPE2 == iNode && pConnection->iPE2Port == iPort)
            {
                iFar = pConnection->iPE1;
                break;
            }
        }
        const CPEPrimitive* pFar = iFar >= 0 ? PEs.GetByNodeNumber(iFar) : nullptr;
        if (!pFar || pFar->bDeleted || (pFar->uType & kNoPEKinds) ||
            std::find(order.begin(), order.end(), iFar) != order.end())
        {
            return;
        }
        order.push_back(iFar);
        if (pFar->uType & kPETypeSwitch)
        {
            for (int p = 0; p < std::min(pFar->iNumLocalPorts, kMaxPorts); ++p)
            {
                visit(iFar, p);
            }
        }
    };
    visit(iHostNode, 0);
    return order;
}

bool CNetInitScriptGen::Generate(const QString& strHostNumber)
{
    const CPEList& PEs = *m_map.pCurrentPEs;
    int iHighest = -1;
    for (const auto& pPE : PEs)
    {
        iHighest = std::max(iHighest, pPE->iNodeNumber);
    }
    uint64_t ulHost = 0;
    const CPEPrimitive* pHost = nullptr;
    if (NumberFromText(strHostNumber, &ulHost) && ulHost >= 1 &&
        ulHost <= static_cast<uint64_t>(iHighest) + 1)
    {
        pHost = PEs.GetByNodeNumber(static_cast<int>(ulHost - 1));
    }
    if (!pHost || pHost->bDeleted)
    {
        ShowMessage(QStringLiteral("Please enter a valid host node number."));
        return false;
    }
    if (!(pHost->uType & kEndpointKinds))
    {
        ShowMessage(QStringLiteral("The Host PE must be an endpoint.  Please select an endpoint.\n"));
        return false;
    }
    return GenerateFrom(pHost->iNodeNumber);
}

bool CNetInitScriptGen::GenerateFrom(int iHostNode)
{
    const CPEPrimitive* pHost = m_map.pCurrentPEs->GetByNodeNumber(iHostNode);
    if (!pHost || pHost->bDeleted)
    {
        return false;
    }
    m_pHost = pHost;
    m_records.clear();
    m_strErrors.clear();
    m_nErrors = 0;
    for (const int iNode : InitOrder(pHost->iNodeNumber))
    {
        const SInitTreeItem* pItem = NodeItem(iNode);
        if (!pItem)
        {
            continue;
        }
        m_nErrors += GenerateNode(*pItem);
        m_nErrors += GenerateRegisters(*pItem);
    }
    m_strScript = FormatInitScript(m_records, eFormat);
    if (m_nErrors != 0)
    {
        m_strErrors += QStringLiteral("%1 errors.\r\n").arg(m_nErrors);
    }
    return true;
}

bool CNetInitScriptGen::Find(const CPEPrimitive& pe, uint32_t* pulDest, uint8_t* puchHop,
                             CRoute* pRoute) const
{
    // The generator reads the map as it stands: every table it holds is the one to be programmed.
    return FindRoute(m_pHost, &pe, *m_map.pCurrentPEs, *m_map.pCurrentConnections, pulDest, puchHop, true,
                     pRoute) == 0;
}

SInitScriptRecord& CNetInitScriptGen::Add(uint32_t eOp, const CPEPrimitive& pe, uint32_t ulDest,
                                          uint8_t uchHop, const QString& strComment)
{
    SInitScriptRecord record;
    record.s.eOp = eOp;
    record.s.wVendor = pe.ManufID;
    record.s.wDevice = pe.DeviceID;
    record.s.ulDest = ulDest;
    record.s.byHop = uchHop;
    record.strComment = bComments ? strComment : QString();
    m_records.push_back(record);
    return m_records.back();
}

void CNetInitScriptGen::AddComment(const QString& strComment)
{
    if (bComments)
    {
        SInitScriptRecord record;
        record.strComment = strComment;
        m_records.push_back(record);
    }
}

int CNetInitScriptGen::AddTemporaryRoutes(const CPEPrimitive& pe, uint16_t wPowerUpID, int* pnErrors)
{
    CRoute hops;
    FindShortest(hops, *m_map.pCurrentConnections, static_cast<uint32_t>(m_pHost->iNodeNumber),
                 static_cast<uint32_t>(pe.iNodeNumber));
    AddComment(QStringLiteral("Add routes for original (power-up) destID"));
    // Hop i stands at the node where link i - 1 arrives and link i leaves; the last hop is the PE.
    for (int i = 1; i < hops.GetCount(); ++i)
    {
        const ROUTEENTRY& in = *hops.GetEntry(i - 1);
        const ROUTEENTRY& out = *hops.GetEntry(i);
        const CPEPrimitive* pSwitch = m_map.pCurrentPEs->GetByNodeNumber(static_cast<int>(out.ulFromNode));
        if (!pSwitch || !(pSwitch->uType & kPETypeSwitch))
        {
            continue;
        }
        uint32_t ulDest = 0;
        uint8_t uchHop = 0;
        if (!Find(*pSwitch, &ulDest, &uchHop, nullptr))
        {
            AddError(QString::asprintf(
                "Unable to add temporary route to table %d of PE %d for %d to go out port %d.  "
                "Unable to find a valid route to the PE.  Make sure routing tables are "
                "complete.\r\n",
                in.ulToPort, pSwitch->iNodeNumber + 1, wPowerUpID, out.ulFromPort));
            ++*pnErrors;
            return -1;
        }
        SInitScriptRecord& record = Add(eNVXL_ScrOpRoute, *pSwitch, ulDest, uchHop, QString());
        record.s.u.sRoute.byTable = static_cast<uint8_t>(in.ulToPort);
        record.s.u.sRoute.wTarget = wPowerUpID;
        record.s.u.sRoute.byPort = static_cast<uint8_t>(out.ulFromPort);
        record.s.u.sRoute.eType = eNVXL_RouteTypePort;
        record.s.u.sRoute.ulSpecial = 0;
    }
    return std::max(hops.GetHopCount(), 0);
}

int CNetInitScriptGen::AddTable(const CPEPrimitive& pe, int iTable, uint32_t ulDest, uint8_t uchHop)
{
    const CRoutingTable* pTable = pe.RoutingTables[static_cast<size_t>(std::max(iTable, 0))].get();
    if (!pTable)
    {
        AddError(NodeText("No routing table entries available for Node %d.\r\n", pe.iNodeNumber));
        return 1;
    }
    for (const SRouteEntry& entry : pTable->Entries())
    {
        SInitScriptRecord& record = Add(eNVXL_ScrOpRoute, pe, ulDest, uchHop, QString());
        record.s.u.sRoute.byTable = iTable < 0 ? kDeviceTable : static_cast<uint8_t>(iTable);
        record.s.u.sRoute.wTarget = entry.DestID;
        record.s.u.sRoute.byPort = entry.Port;
        record.s.u.sRoute.eType = entry.eType;
        record.s.u.sRoute.ulSpecial = entry.uSpecialType;
    }
    return 0;
}

int CNetInitScriptGen::GenerateNode(const SInitTreeItem& item)
{
    const CPEPrimitive& pe = *m_map.pCurrentPEs->GetByNodeNumber(item.iNode);
    uint32_t ulDest = 0;
    uint8_t uchHop = 0;
    CRoute route;
    if (!Find(pe, &ulDest, &uchHop, &route))
    {
        AddError(NodeText(
            "Unable to initialize Node %d:  Unable to find a valid route to the PE.  Make sure routing "
            "tables are complete.\r\n",
            item.iNode));
        return 1;
    }
    int nErrors = 0;
    for (const SInitTreeItem& child : item.children)
    {
        if (child.eKind == eInitItemDestID && child.bChecked)
        {
            uint32_t ulSetDest = 0xFFFFFFFFu;
            uint8_t uchSetHop = 0;
            if (&pe != m_pHost)
            {
                // Until it has its new ID the PE answers to the one it had at power-up: the
                // request carries that one, along routes laid for it.
                const bool bLong = pe.bLargeTransport;
                uint16_t wPowerUp = bLong ? pe.OrigLongDestID : pe.OrigShortDestID;
                if (!bLong)
                {
                    wPowerUp &= 0xFF;
                }
                const int iHops = AddTemporaryRoutes(pe, wPowerUp, &nErrors);
                ulSetDest = wPowerUp;
                uchSetHop = static_cast<uint8_t>(iHops < 0 ? uchHop : iHops);
            }
            SInitScriptRecord& record =
                Add(eNVXL_ScrOpSetDest, pe, ulSetDest, uchSetHop, QStringLiteral("Set destination ID"));
            record.s.u.sSetDest.wShortID = pe.ShortDestID;
            record.s.u.sSetDest.wLongID = pe.LongDestID;
        }
        else if (child.eKind == eInitItemTable && child.bChecked)
        {
            AddComment(QStringLiteral("Initialize device routing table"));
            nErrors += AddTable(pe, child.iPort, ulDest, uchHop);
        }
        else if (child.eKind == eInitItemRoutingTables)
        {
            for (const SInitTreeItem& table : child.children)
            {
                if (table.eKind != eInitItemTable || !table.bChecked)
                {
                    continue;
                }
                const QString strText = QStringLiteral("Initialize Port %1 routing table").arg(table.iPort);
                if (bPreInitRT)
                {
                    Add(eNVXL_ScrOpInitRT, pe, ulDest, uchHop, strText).s.u.sRoutingTable.byTable =
                        static_cast<uint8_t>(table.iPort);
                }
                else
                {
                    AddComment(strText);
                }
                nErrors += AddTable(pe, table.iPort, ulDest, uchHop);
            }
        }
        else if (child.eKind == eInitItemPortSettings)
        {
            for (const SInitTreeItem& speed : child.children)
            {
                if (speed.eKind != eInitItemPortSpeed || !speed.bChecked)
                {
                    continue;
                }
                // A port the way to this PE runs through keeps its speed: changing it would cut
                // the script off from what follows.
                const uint32_t ulNode = static_cast<uint32_t>(pe.iNodeNumber);
                const uint32_t ulPort = static_cast<uint32_t>(speed.iPort);
                const bool bOnPath =
                    std::any_of(route.Entries().begin(), route.Entries().end(),
                                [&](const ROUTEENTRY& link)
                                {
                                    return (link.ulFromNode == ulNode && link.ulFromPort == ulPort) ||
                                           (link.ulToNode == ulNode && link.ulToPort == ulPort);
                                });
                if (bOnPath)
                {
                    continue;
                }
                SInitScriptRecord& record =
                    Add(eNVXL_ScrOpSetSpeed, pe, ulDest, uchHop, QStringLiteral("Set port speed"));
                record.s.u.sPortSettings.byPort = static_cast<uint8_t>(speed.iPort);
                record.s.u.sPortSettings.wSpeedMHz =
                    static_cast<uint16_t>(pe.Ports[static_cast<size_t>(speed.iPort)].uSpeedMHz);
            }
        }
    }
    return nErrors;
}

int CNetInitScriptGen::GenerateRegisters(const SInitTreeItem& item)
{
    const CPEPrimitive& pe = *m_map.pCurrentPEs->GetByNodeNumber(item.iNode);
    uint32_t ulDest = 0;
    uint8_t uchHop = 0;
    if (!Find(pe, &ulDest, &uchHop, nullptr))
    {
        AddError(NodeText(
            "Unable to initialize registers on Node %d:  Unable to find a valid route to the PE.  Make "
            "sure routing tables are complete.\r\n",
            item.iNode));
        return 1;
    }
    int nErrors = 0;
    std::function<void(const SInitTreeItem&)> walk = [&](const SInitTreeItem& current)
    {
        for (const SInitTreeItem& child : current.children)
        {
            if (child.eKind == eInitItemRegisterGroup)
            {
                walk(child);
                continue;
            }
            if (child.eKind != eInitItemRegister || !child.bChecked)
            {
                continue;
            }
            const SRegisterValue* pValue = pe.SavedRegisters.Find(child.ulOffset);
            if (!pValue)
            {
                AddError(
                    QStringLiteral("Unable to initialize register '%1': No value has been uploaded for this "
                                   "register.\r\n")
                        .arg(child.strRegisterName));
                ++nErrors;
                continue;
            }
            if (bExcludeRO && child.bReadOnly)
            {
                continue;
            }
            SInitScriptRecord& record = Add(eNVXL_ScrOpMaintW, pe, ulDest, uchHop,
                                            QStringLiteral("Initialize '%1'").arg(child.strRegisterName));
            record.s.u.sMaint.ulOffset = child.ulOffset;
            record.s.u.sMaint.ulValue = pValue->uValue;
        }
    };
    for (const SInitTreeItem& child : item.children)
    {
        if (child.eKind == eInitItemRegisters)
        {
            walk(child);
        }
    }
    return nErrors;
}

QString FormatInitScript(const std::vector<SInitScriptRecord>& records, int eFormat)
{
    QString strText;
    int nActions = 0;
    if (eFormat == eInitFormatHeader)
    {
        strText += QStringLiteral("NVXL_SCRIPTCOMMANDSTRUCT asScript[] = {\r\n");
    }
    for (const SInitScriptRecord& record : records)
    {
        const NVXL_SCRIPTCOMMANDSTRUCT& s = record.s;
        const bool bComment = !record.strComment.isEmpty();
        if (eFormat == eInitFormatScript)
        {
            if (bComment)
            {
                strText += QStringLiteral("# %1\r\n").arg(record.strComment);
            }
            const QString strHead = QString::asprintf(" Vendor:%Xh Device:%Xh Dest:%Xh Hop:%Xh", s.wVendor,
                                                      s.wDevice, s.ulDest, s.byHop);
            switch (s.eOp)
            {
            case eNVXL_ScrOpSetDest:
                strText += QStringLiteral("SETDEST") + strHead +
                           QString::asprintf(" ShortID:%Xh LongID:%Xh\r\n", s.u.sSetDest.wShortID,
                                             s.u.sSetDest.wLongID);
                break;
            case eNVXL_ScrOpMaintW:
                strText +=
                    QStringLiteral("MAINTW") + strHead +
                    QString::asprintf(" Offset:%Xh Value:%Xh\r\n", s.u.sMaint.ulOffset, s.u.sMaint.ulValue);
                break;
            case eNVXL_ScrOpRoute:
                strText += QStringLiteral("ROUTE") + strHead +
                           QString::asprintf(" Table:%Xh Target:%Xh Port:%Xh Type:%Xh Special:%Xh\r\n",
                                             s.u.sRoute.byTable, s.u.sRoute.wTarget, s.u.sRoute.byPort,
                                             s.u.sRoute.eType, s.u.sRoute.ulSpecial);
                break;
            case eNVXL_ScrOpSetSpeed:
                strText += QStringLiteral("SPEED") + strHead +
                           QString::asprintf(" Port:%Xh Speed:%Xh\r\n", s.u.sPortSettings.byPort,
                                             s.u.sPortSettings.wSpeedMHz);
                break;
            case eNVXL_ScrOpInitRT:
                strText += QStringLiteral("INITRT") + strHead +
                           QString::asprintf(" Table:%Xh\r\n", s.u.sRoutingTable.byTable);
                break;
            default:
                break;
            }
            continue;
        }
        if (eFormat == eInitFormatHeader)
        {
            if (bComment)
            {
                strText += QStringLiteral("\t/* %1 */\r\n").arg(record.strComment);
            }
            static const char* const kOps[] = {nullptr,
                                               "eNVXL_ScrOpSetDest",
                                               "eNVXL_ScrOpMaintW",
                                               "eNVXL_ScrOpRoute",
                                               "eNVXL_ScrOpSetSpeed",
                                               "eNVXL_ScrOpInitRT"};
            static const char* const kMembers[] = {nullptr,  "sSetDest",      "sMaint",
                                                   "sRoute", "sPortSettings", "sRoutingTable"};
            if (s.eOp == eNVXL_ScrOpNone || s.eOp > eNVXL_ScrOpInitRT)
            {
                continue;
            }
            ++nActions;
            strText += QStringLiteral("\t{\r\n");
            strText += QString::asprintf("\t\t.eOp=%s,\r\n", kOps[s.eOp]);
            strText += QString::asprintf("\t\t.wVendor=0x%X,\r\n", s.wVendor);
            strText += QString::asprintf("\t\t.wDevice=0x%X,\r\n", s.wDevice);
            strText += QString::asprintf("\t\t.ulDest=0x%X,\r\n", s.ulDest);
            strText += QString::asprintf("\t\t.byHop=%d,\r\n", s.byHop);
            strText += QString::asprintf("\t\t.u.%s=\r\n", kMembers[s.eOp]);
            strText += QStringLiteral("\t\t{\r\n");
            switch (s.eOp)
            {
            case eNVXL_ScrOpSetDest:
                strText += QString::asprintf("\t\t\t.wShortID=0x%X,\r\n\t\t\t.wLongID=0x%X,\r\n",
                                             s.u.sSetDest.wShortID, s.u.sSetDest.wLongID);
                break;
            case eNVXL_ScrOpMaintW:
                strText += QString::asprintf("\t\t\t.ulOffset=0x%X,\r\n\t\t\t.ulValue=0x%X,\r\n",
                                             s.u.sMaint.ulOffset, s.u.sMaint.ulValue);
                break;
            case eNVXL_ScrOpRoute:
                strText += QString::asprintf("\t\t\t.byTable=0x%X,\r\n\t\t\t.byPort=0x%X,\r\n\t\t\t.wTarget="
                                             "0x%X,\r\n\t\t\t.ulSpecial=0x%X,\r\n",
                                             s.u.sRoute.byTable, s.u.sRoute.byPort, s.u.sRoute.wTarget,
                                             s.u.sRoute.ulSpecial);
                if (s.u.sRoute.eType <= eNVXL_RouteTypeSpecial)
                {
                    strText += QString::asprintf("\t\t\t.eType=%s,\r\n", kRouteTypeNames[s.u.sRoute.eType]);
                }
                break;
            case eNVXL_ScrOpSetSpeed:
                strText += QString::asprintf("\t\t\t.byPort=0x%X,\r\n\t\t\t.wSpeedMHz=0x%X,\r\n",
                                             s.u.sPortSettings.byPort, s.u.sPortSettings.wSpeedMHz);
                break;
            case eNVXL_ScrOpInitRT:
                strText += QString::asprintf("\t\t\t.byTable=0x%X,\r\n", s.u.sRoutingTable.byTable);
                break;
            default:
                break;
            }
            strText += QStringLiteral("\t\t}\r\n\t},\r\n");
            continue;
        }
        // The value files: register writes only, every other record gives its comment alone.
        if (bComment)
        {
            strText += eFormat == eInitFormatCsv ? record.strComment + QStringLiteral("\r\n")
                                                 : QStringLiteral("// %1\r\n").arg(record.strComment);
        }
        if (s.eOp != eNVXL_ScrOpMaintW)
        {
            continue;
        }
        const uint32_t ulOffset = s.u.sMaint.ulOffset;
        const uint32_t ulValue = s.u.sMaint.ulValue;
        if (eFormat == eInitFormatIdt)
        {
            strText += QString::asprintf("W %X %X\r\n", ulOffset, ulValue);
        }
        else if (eFormat == eInitFormatSRecord)
        {
            const uint8_t abValue[4] = {static_cast<uint8_t>(ulValue >> 24),
                                        static_cast<uint8_t>(ulValue >> 16),
                                        static_cast<uint8_t>(ulValue >> 8), static_cast<uint8_t>(ulValue)};
            QString strRecord = FormatSRecord(abValue, 4, ulOffset, 4);
            if (strRecord.endsWith(QLatin1Char('\n')))
            {
                strRecord.chop(1);
            }
            strText += strRecord + QStringLiteral("\r\n");
        }
        else if (eFormat == eInitFormatCsv)
        {
            strText += QString::asprintf("%06X,%08X\r\n", ulOffset, ulValue);
        }
    }
    if (eFormat == eInitFormatHeader)
    {
        strText += QStringLiteral("};\r\n") + QStringLiteral("#define NUMSCRIPTENTRIES %1\r\n").arg(nActions);
    }
    return strText;
}

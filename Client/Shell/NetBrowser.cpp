#include "NetBrowser.h"

#include "ClientStatus.h"
#include "DeviceInfo.h"
#include "NetworkDocument.h"
#include "RegisterInfoCache.h"
#include "StatusText.h"
#include "TargetClient.h"
#include "UserInterface.h"

#include <QCoreApplication>

namespace
{
// The all-ones destination ID that addresses the host's own device.
constexpr uint32_t kHostDestID = 0xFFFFFFFFu;
// The status route search gives for a PE it can't reach.
constexpr int32_t kNoRoute = -28;
// The most registers a bulk command reads without asking first.
constexpr size_t kRegistersWithoutQuestion = 50;

SBrowserItem Text(int iNode, const QString& strText)
{
    SBrowserItem item;
    item.iNode = iNode;
    item.strText = strText;
    return item;
}

QString IDText(uint16_t wID)
{
    return wID == kNoDestID ? QStringLiteral("None") : QString::asprintf("%Xh", wID);
}

bool IsReadOnly(const CRegister& reg)
{
    for (int i = 0; i < reg.GetNumBitFields(); ++i)
    {
        if (reg.GetBitField(i)->iAccess != eAccessReadOnly)
        {
            return false;
        }
    }
    return reg.GetNumBitFields() > 0;
}

SBrowserItem RegisterItem(const CPEPrimitive& pe, const CRegister& reg, uint32_t uSetOffset)
{
    SBrowserItem item;
    item.eKind = eBrowseRegister;
    item.iNode = pe.iNodeNumber;
    item.uOffset = reg.uByteOffset + uSetOffset;
    item.bCheckable = !reg.bMemSpaceIO;
    item.strText = reg.Name;
    const SRegisterValue* pSaved = pe.SavedRegisters.Find(item.uOffset);
    if (pSaved)
    {
        item.strText += QString::asprintf(" = %08Xh", pSaved->uValue);
    }
    if (IsReadOnly(reg))
    {
        item.strText += QStringLiteral(" [Read Only]");
    }
    return item;
}

SBrowserItem RegistersItem(const CPEPrimitive& pe)
{
    SBrowserItem registers = Text(pe.iNodeNumber, QStringLiteral("Registers"));
    registers.eKind = eBrowseRegisters;
    const bool bSwitch = (pe.uType & kPETypeSwitch) != 0;
    if (CRegisterFileInfo* pInfo = GetRegisterInfoCache().GetFileInfo(pe.DeviceID, pe.ManufID, bSwitch))
    {
        for (int b = 0; b < pInfo->GetNumBlocks(); ++b)
        {
            const CRegisterBlock& block = *pInfo->GetBlock(b);
            SBrowserItem blockItem = Text(pe.iNodeNumber, block.Name);
            blockItem.eKind = eBrowseBlock;
            const int nSets = std::max(1, block.GetNumSets());
            for (int s = 0; s < nSets; ++s)
            {
                const RegisterSetInfo* pSet = block.GetSet(s);
                const uint32_t uSetOffset = pSet ? pSet->uOffset : 0;
                std::vector<SBrowserItem> regs;
                for (int r = 0; r < block.GetNumRegisters(); ++r)
                {
                    regs.push_back(RegisterItem(pe, *block.GetRegister(r), uSetOffset));
                }
                if (block.GetNumSets() > 1)
                {
                    SBrowserItem setItem = Text(pe.iNodeNumber, pSet->Name);
                    setItem.eKind = eBrowseRegisterSet;
                    setItem.children = std::move(regs);
                    blockItem.children.push_back(std::move(setItem));
                }
                else
                {
                    blockItem.children = std::move(regs);
                }
            }
            registers.children.push_back(std::move(blockItem));
        }
    }
    if (!CDeviceInfo::DeviceFilesExist(pe.DeviceID, pe.ManufID))
    {
        registers.children.push_back(
            Text(pe.iNodeNumber,
                 QStringLiteral("Contact the Device Vendor directly for access to proprietary registers.")));
    }
    return registers;
}

QString RouteLine(const SRouteEntry& entry)
{
    const QString strID = QString::asprintf("%Xh", entry.DestID);
    switch (entry.eType)
    {
    case eRoutePort:
        return QString::asprintf("  %s >> %d", qPrintable(strID), entry.Port);
    case eRouteMulticast:
        return QString::asprintf("  %s >> Mask %d", qPrintable(strID), entry.Port);
    case eRouteSpecial:
        return QString::asprintf("  %s >> Special %d", qPrintable(strID), entry.uSpecialType);
    default:
        return QString::asprintf("  ? >> %d", entry.Port);
    }
}

SBrowserItem TablesItem(const CPEPrimitive& pe)
{
    SBrowserItem tables = Text(pe.iNodeNumber, QStringLiteral("Routing Tables"));
    tables.eKind = eBrowseTables;
    for (int iSlot = 0; iSlot < kMaxPorts; ++iSlot)
    {
        const CRoutingTable* pTable = pe.RoutingTables[static_cast<size_t>(iSlot)].get();
        if (!pTable)
        {
            continue;
        }
        SBrowserItem table =
            Text(pe.iNodeNumber, pe.bHasPerPortRoutingTables ? QString::asprintf("Port %d", iSlot)
                                                             : QStringLiteral("All Ports"));
        table.eKind = eBrowseTable;
        table.iTableSlot = iSlot;
        for (const SRouteEntry& entry : pTable->Entries())
        {
            table.children.push_back(Text(pe.iNodeNumber, RouteLine(entry)));
        }
        tables.children.push_back(std::move(table));
    }
    return tables;
}

SBrowserItem MulticastItem(const CPEPrimitive& pe)
{
    const CMulticastInfo& info = pe.Multicast;
    SBrowserItem multicast = Text(pe.iNodeNumber, QStringLiteral("Multicast"));
    multicast.eKind = eBrowseMulticast;
    SBrowserItem caps = Text(pe.iNodeNumber, QStringLiteral("Capabilities"));
    if (!info.bSupportsMulticast)
    {
        caps.children.push_back(Text(pe.iNodeNumber, QStringLiteral("Multicast NOT supported")));
    }
    else
    {
        caps.children.push_back(
            Text(pe.iNodeNumber, info.bSupportsSimpleAssociation
                                     ? QStringLiteral("Simple Association supported")
                                     : QStringLiteral("Simple Association NOT supported")));
        caps.children.push_back(
            Text(pe.iNodeNumber, info.bSupportsBlockAssociation
                                     ? QStringLiteral("Block Association supported")
                                     : QStringLiteral("Block Association NOT supported")));
        caps.children.push_back(
            Text(pe.iNodeNumber, info.bSupportsPerPortAssociation
                                     ? QStringLiteral("Per-port Association supported")
                                     : QStringLiteral("Per-port Association NOT supported")));
        caps.children.push_back(Text(
            pe.iNodeNumber, QString::asprintf("%d associations per mask", info.iMaxAssociationsPerMask)));
        caps.children.push_back(Text(pe.iNodeNumber, QString::asprintf("%d masks", info.iMaxMasks)));
    }
    multicast.children.push_back(std::move(caps));
    for (int m = 0; m < info.GetNumMasks(); ++m)
    {
        const SMulticastMask& mask = *info.GetMask(m);
        SBrowserItem maskItem = Text(pe.iNodeNumber, QString::asprintf("Mask %d", mask.MaskID));
        maskItem.eKind = eBrowseMask;
        SBrowserItem ports = Text(pe.iNodeNumber, QStringLiteral("Ports"));
        for (uint8_t uchPort : mask.Ports)
        {
            ports.children.push_back(Text(pe.iNodeNumber, QString::asprintf("Port %d", uchPort)));
        }
        SBrowserItem ids = Text(pe.iNodeNumber, QStringLiteral("Destination IDs"));
        for (uint16_t wID : mask.DestIDs)
        {
            ids.children.push_back(Text(pe.iNodeNumber, QString::asprintf("%Xh", wID)));
        }
        maskItem.children.push_back(std::move(ports));
        maskItem.children.push_back(std::move(ids));
        multicast.children.push_back(std::move(maskItem));
    }
    return multicast;
}

SBrowserItem PortsItem(const CPEPrimitive& pe)
{
    SBrowserItem ports = Text(pe.iNodeNumber, QStringLiteral("Port Settings"));
    ports.eKind = eBrowsePorts;
    for (int p = 0; p < pe.iNumLocalPorts && p < kMaxPorts; ++p)
    {
        SBrowserItem port =
            Text(pe.iNodeNumber, QString::asprintf("Port %d, %.3f Gbps", p,
                                                   pe.Ports[static_cast<size_t>(p)].uSpeedMHz / 1000.0));
        port.eKind = eBrowsePort;
        ports.children.push_back(std::move(port));
    }
    return ports;
}
} // namespace

std::vector<SBrowserItem> BrowserPEItems(const CNetworkDocument& document)
{
    std::vector<SBrowserItem> items;
    std::vector<const CPEPrimitive*> pes;
    for (const auto& pPE : *document.pCurrentPEs)
    {
        if (!pPE->bDeleted)
        {
            pes.push_back(pPE.get());
        }
    }
    std::stable_sort(pes.begin(), pes.end(),
                     [](const CPEPrimitive* pA, const CPEPrimitive* pB)
                     { return pA->iNodeNumber < pB->iNodeNumber; });
    items.reserve(pes.size());
    for (const CPEPrimitive* pPE : pes)
    {
        SBrowserItem item;
        item.eKind = eBrowsePE;
        item.iNode = pPE->iNodeNumber;
        item.strText = QString::asprintf("Node %d", pPE->iNodeNumber + 1);
        if (!pPE->CommonName.isEmpty())
        {
            item.strText += QStringLiteral(" (%1)").arg(pPE->CommonName);
        }
        item.bHasLazyChildren = true;
        items.push_back(std::move(item));
    }
    return items;
}

std::vector<SBrowserItem> BrowserPEChildren(const CPEPrimitive& pe)
{
    std::vector<SBrowserItem> children;
    children.push_back(
        Text(pe.iNodeNumber,
             QStringLiteral("DestID: Short=%1 Long=%2").arg(IDText(pe.ShortDestID), IDText(pe.LongDestID))));
    if (!(pe.uType & (kPETypeNull | kPETypeUnknown)))
    {
        children.push_back(RegistersItem(pe));
    }
    if (pe.uType & kPETypeSwitch)
    {
        children.push_back(TablesItem(pe));
        children.push_back(MulticastItem(pe));
    }
    children.push_back(PortsItem(pe));
    return children;
}

QString BrowserFailureText(int32_t nStatus, const QString& strAction, const QString& strDetail)
{
    const QString strStatus = RioErrorText(nStatus);
    if (strDetail.isEmpty())
    {
        return QStringLiteral(
                   "Error %1 (%2) encountered when %3.\r\n\r\nThis error is often caused by invalid "
                   "routing tables.")
            .arg(nStatus)
            .arg(strStatus, strAction);
    }
    return QStringLiteral(
               "Error %1 (%2) encountered when %3.\r\n\r\nAdditional information follows:\r\n\r\n%4"
               "\r\n\r\nThis error is often caused by invalid routing tables.")
        .arg(nStatus)
        .arg(strStatus, strAction, strDetail);
}

RouteFinder& PERouteFinder()
{
    static RouteFinder finder = HostOnlyRoute;
    return finder;
}

int32_t HostOnlyRoute(const CNetworkDocument& document, int iNode, uint32_t* pulDestID, uint8_t* puchHopCount)
{
    const CPEPrimitive* pPE = document.ActivePEs.GetByNodeNumber(iNode);
    if (pPE && pPE->bHasHostLink && pPE->bHostLinkOpen)
    {
        *pulDestID = kHostDestID;
        *puchHopCount = 0;
        return eRioOk;
    }
    return kNoRoute;
}

std::vector<SCheckedRegister> AllRegisters(const CNetworkDocument& document)
{
    std::vector<SCheckedRegister> registers;
    for (const auto& pPE : *document.pCurrentPEs)
    {
        if (pPE->bDeleted || (pPE->uType & (kPETypeNull | kPETypeUnknown)))
        {
            continue;
        }
        CRegisterFileInfo* pInfo = GetRegisterInfoCache().GetFileInfo(pPE->DeviceID, pPE->ManufID,
                                                                      (pPE->uType & kPETypeSwitch) != 0);
        for (int b = 0; pInfo && b < pInfo->GetNumBlocks(); ++b)
        {
            const CRegisterBlock& block = *pInfo->GetBlock(b);
            for (int s = 0; s < std::max(1, block.GetNumSets()); ++s)
            {
                const RegisterSetInfo* pSet = block.GetSet(s);
                for (int r = 0; r < block.GetNumRegisters(); ++r)
                {
                    const CRegister& reg = *block.GetRegister(r);
                    if (!reg.bMemSpaceIO)
                    {
                        registers.push_back({pPE->iNodeNumber, reg.uByteOffset + (pSet ? pSet->uOffset : 0)});
                    }
                }
            }
        }
    }
    return registers;
}

int UploadRegisters(CNetworkDocument& document, const std::vector<SCheckedRegister>& registers)
{
    CTargetClient& client = CTargetClient::Instance();
    int nRead = 0;
    UI().BeginWork(QStringLiteral("Upload Registers"), false);
    UI().SetWorkProgress(QStringLiteral("Working...Please wait."));
    QString strFailure;
    int iRoutedNode = -1;
    uint32_t ulDestID = 0;
    uint8_t uchHopCount = 0;
    for (const SCheckedRegister& reg : registers)
    {
        if (UI().WorkCancelled())
        {
            break;
        }
        CPEPrimitive* pPE = document.pCurrentPEs->GetByNodeNumber(reg.iNode);
        if (!pPE)
        {
            continue;
        }
        // The way to a PE is found once for a run of its registers: finding it may write routes.
        if (reg.iNode != iRoutedNode)
        {
            const int32_t nStatus = PERouteFinder()(document, reg.iNode, &ulDestID, &uchHopCount);
            if (nStatus != eRioOk)
            {
                strFailure = BrowserFailureText(
                    nStatus, QStringLiteral("attempting to find a route to Node %1").arg(reg.iNode + 1));
                break;
            }
            iRoutedNode = reg.iNode;
        }
        uint32_t ulValue = 0;
        const int32_t nStatus = client.Maint_read(0, ulDestID, uchHopCount, reg.uOffset, &ulValue, 1, 4, 0);
        if (nStatus != eRioOk)
        {
            strFailure = BrowserFailureText(
                nStatus, QString::asprintf("reading the register at offset %06Xh of Node %d", reg.uOffset,
                                           reg.iNode + 1));
            break;
        }
        pPE->SavedRegisters.SetValue(reg.uOffset, ulValue, false);
        ++nRead;
    }
    UI().EndWork(QString());
    if (!strFailure.isEmpty())
    {
        ShowMessage(strFailure);
    }
    return nRead;
}

int UploadCheckedRegisters(CNetworkDocument& document, const std::vector<SCheckedRegister>& registers)
{
    if (registers.empty())
    {
        ShowMessage(QStringLiteral("Nothing to upload."), EMessageKind::Information);
        return 0;
    }
    if (registers.size() > kRegistersWithoutQuestion &&
        UI().Ask(QString::asprintf("Upload %d registers?", static_cast<int>(registers.size())),
                 ApplicationTitle(), false) != eAnswerYes)
    {
        return 0;
    }
    return UploadRegisters(document, registers);
}

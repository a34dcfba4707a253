#include "NetBrowser.h"

#include "ClientStatus.h"
#include "DeviceInfo.h"
#include "NetworkDocument.h"
#include "RegisterAccess.h"
#include "RegisterInfoCache.h"
#include "RegisterTree.h"
#include "RegisterValueList.h"
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
// A transport a test put in place of the target's.
IRegisterTransport* g_pRegisterTransport = nullptr;

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

SBrowserItem RegisterBrowserItem(const CPEPrimitive& pe, const SRegisterTreeItem& treeItem, int iTreeItem)
{
    const CRegister& reg = *treeItem.pRegister;
    SBrowserItem item;
    item.eKind = eBrowseRegister;
    item.iNode = pe.iNodeNumber;
    item.iTreeItem = iTreeItem;
    item.uOffset = treeItem.uOffset;
    item.bCheckable = !reg.bMemSpaceIO;
    item.strText = reg.Name;
    const SRegisterValue* pSaved = reg.bMemSpaceIO ? nullptr : pe.SavedRegisters.Find(item.uOffset);
    if (pSaved)
    {
        item.strText += QString::asprintf(" = %08Xh", pSaved->uValue);
    }
    if (reg.GetNumBitFields() > 0 && IsReadOnlyRegister(reg))
    {
        item.strText += QStringLiteral(" [Read Only]");
    }
    return item;
}

SBrowserItem RegistersItem(const CPEPrimitive& pe)
{
    SBrowserItem registers = Text(pe.iNodeNumber, QStringLiteral("Registers"));
    registers.eKind = eBrowseRegisters;
    if (const CRegisterFileInfo* pInfo = RegisterFileOf(pe))
    {
        // The register tree's own order, so that a search's place is a position in this branch.
        const std::vector<SRegisterTreeItem> treeItems = RegisterTreeItems(*pInfo);
        SBrowserItem* pBlock = nullptr;
        SBrowserItem* pSet = nullptr;
        for (size_t i = 0; i < treeItems.size(); ++i)
        {
            const SRegisterTreeItem& treeItem = treeItems[i];
            const int iTreeItem = static_cast<int>(i);
            switch (treeItem.eKind)
            {
            case eTreeBlock:
            {
                SBrowserItem blockItem = Text(pe.iNodeNumber, treeItem.Text());
                blockItem.eKind = eBrowseBlock;
                blockItem.iTreeItem = iTreeItem;
                registers.children.push_back(std::move(blockItem));
                pBlock = &registers.children.back();
                pSet = nullptr;
                break;
            }
            case eTreeSet:
            {
                SBrowserItem setItem = Text(pe.iNodeNumber, treeItem.Text());
                setItem.eKind = eBrowseRegisterSet;
                setItem.iTreeItem = iTreeItem;
                pBlock->children.push_back(std::move(setItem));
                pSet = &pBlock->children.back();
                break;
            }
            case eTreeRegister:
                (pSet ? pSet : pBlock)->children.push_back(RegisterBrowserItem(pe, treeItem, iTreeItem));
                break;
            }
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
    const std::vector<CPEPrimitive*> pes = document.pCurrentPEs->LivePEsInNodeOrder();
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

IRegisterTransport& ShellRegisterTransport()
{
    return g_pRegisterTransport ? *g_pRegisterTransport : TargetRegisterTransport();
}

void SetShellRegisterTransport(IRegisterTransport* pTransport)
{
    g_pRegisterTransport = pTransport;
}

namespace
{
// One pass of a bulk command over checked registers: the way to each PE is found once for a run
// of its registers (finding it may write routes), then each register is handled in turn; the
// first failure is shown in the browser's form and ends the pass.
int BulkTransfer(
    CNetworkDocument& document, const std::vector<SCheckedRegister>& registers, const QString& strTitle,
    const QString& strProgress,
    const std::function<QString(CPEPrimitive&, const SCheckedRegister&, uint32_t, uint8_t)>& transfer)
{
    int nDone = 0;
    UI().BeginWork(strTitle, false);
    UI().SetWorkProgress(strProgress);
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
        strFailure = transfer(*pPE, reg, ulDestID, uchHopCount);
        if (!strFailure.isEmpty())
        {
            break;
        }
        ++nDone;
    }
    UI().EndWork(QString());
    if (!strFailure.isEmpty())
    {
        ShowMessage(strFailure);
    }
    return nDone;
}

QString FailureWithDetail(IRegisterTransport& transport, int32_t nStatus, const QString& strAction)
{
    return BrowserFailureText(nStatus, strAction, transport.RioErrorDetail());
}

// Whether a bulk command goes ahead: "Nothing to ..." for an empty list, and the question above
// 50 registers.
bool ConfirmBulk(const std::vector<SCheckedRegister>& registers, bool bUpload)
{
    if (registers.empty())
    {
        ShowMessage(bUpload ? QStringLiteral("Nothing to upload.") : QStringLiteral("Nothing to download."),
                    EMessageKind::Information);
        return false;
    }
    const int nCount = static_cast<int>(registers.size());
    return registers.size() <= kRegistersWithoutQuestion ||
           UI().Ask(bUpload ? QString::asprintf("Upload %d registers?", nCount)
                            : QString::asprintf("Download %d registers?", nCount),
                    ApplicationTitle(), false) == eAnswerYes;
}
} // namespace

int UploadRegisters(CNetworkDocument& document, const std::vector<SCheckedRegister>& registers)
{
    IRegisterTransport& transport = ShellRegisterTransport();
    return BulkTransfer(
        document, registers, QStringLiteral("Upload Registers"),
        QStringLiteral("Uploading register data.  Please wait..."),
        [&transport](CPEPrimitive& pe, const SCheckedRegister& reg, uint32_t ulDestID, uint8_t uchHopCount)
        {
            uint32_t ulValue = 0;
            const int32_t nStatus = transport.MaintRead(ulDestID, uchHopCount, reg.uOffset, &ulValue);
            if (nStatus != eRioOk)
            {
                return FailureWithDetail(transport, nStatus,
                                         QStringLiteral("attempting to upload a register"));
            }
            pe.SavedRegisters.SetValue(reg.uOffset, ulValue, false);
            return QString();
        });
}

int DownloadRegisters(CNetworkDocument& document, const std::vector<SCheckedRegister>& registers)
{
    IRegisterTransport& transport = ShellRegisterTransport();
    return BulkTransfer(
        document, registers, QStringLiteral("Download Registers"),
        QStringLiteral("Downloading register data.  Please wait..."),
        [&transport](CPEPrimitive& pe, const SCheckedRegister& reg, uint32_t ulDestID, uint8_t uchHopCount)
        {
            const SRegisterValue* pSaved = pe.SavedRegisters.Find(reg.uOffset);
            if (!pSaved)
            {
                // Nothing was read or loaded for it: there is nothing to write.
                return QString();
            }
            const uint32_t ulWritten = pSaved->uValue;
            int32_t nStatus = transport.MaintWrite(ulDestID, uchHopCount, reg.uOffset, ulWritten);
            if (nStatus != eRioOk)
            {
                return FailureWithDetail(transport, nStatus,
                                         QStringLiteral("attempting to write data to a register"));
            }
            pe.SavedRegisters.SetValue(reg.uOffset, ulWritten, true);
            uint32_t ulRead = 0;
            nStatus = transport.MaintRead(ulDestID, uchHopCount, reg.uOffset, &ulRead);
            if (nStatus != eRioOk)
            {
                return FailureWithDetail(
                    transport, nStatus, QStringLiteral("attempting to read back the contents of a register"));
            }
            pe.SavedRegisters.SetValue(reg.uOffset, ulRead, false);
            return QString();
        });
}

int UploadCheckedRegisters(CNetworkDocument& document, const std::vector<SCheckedRegister>& registers)
{
    return ConfirmBulk(registers, true) ? UploadRegisters(document, registers) : 0;
}

int DownloadCheckedRegisters(CNetworkDocument& document, const std::vector<SCheckedRegister>& registers)
{
    return ConfirmBulk(registers, false) ? DownloadRegisters(document, registers) : 0;
}

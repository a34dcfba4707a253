#include "MapCommands.h"

#include "PETypes.h"

#include <array>
#include <initializer_list>

namespace
{
struct SCommandText
{
    ECommand eCommand;
    const char* pszText;
};

// The text of every command as its menu shows it.
constexpr SCommandText kTexts[] = {
    {eCmdFileNew, "New"},
    {eCmdFileOpen, "Open..."},
    {eCmdFileSave, "Save"},
    {eCmdFileSaveAs, "Save As..."},
    {eCmdFilePrint, "Print..."},
    {eCmdFileProperties, "Properties..."},
    {eCmdFileExit, "Exit"},
    {eCmdUndo, "Undo"},
    {eCmdRedo, "Redo"},
    {eCmdSelectAll, "Select All"},
    {eCmdGroup, "Group"},
    {eCmdViewToolbar, "Toolbar"},
    {eCmdViewStatusBar, "Status Bar"},
    {eCmdViewWatchWindow, "Watch Window"},
    {eCmdViewBrowser, "Network Browser"},
    {eCmdLabels, "Labels..."},
    {eCmdHideNulls, "Hide Nulls"},
    {eCmdWatermark, "Watermark"},
    {eCmdWordMark, "Word Mark"},
    {eCmdResetAllTriggers, "Reset All Triggers"},
    {eCmdActiveMap, "Active Map"},
    {eCmdTemplateMap, "Template Map"},
    {eCmdPreviousView, "Previous"},
    {eCmdNextView, "Next"},
    {eCmdConnect, "Connect..."},
    {eCmdConnectDemo, "Connect to Demo Fabric"},
    {eCmdStandardDiscovery, "Standard Discovery"},
    {eCmdPassiveDiscovery, "Passive Discovery"},
    {eCmdCompareWithFabric, "Compare with Fabric"},
    {eCmdClearComparison, "Clear Comparison"},
    {eCmdUploadAllTables, "Upload All from Target"},
    {eCmdGenerateAllTables, "Generate All"},
    {eCmdDownloadAllTables, "Download All to Target"},
    {eCmdCreateBidirectionalRoute, "Create Bidirectional Route"},
    {eCmdCreateForwardRoute, "Create Forward Route"},
    {eCmdCreateReverseRoute, "Create Reverse Route"},
    {eCmdDownloadAllMulticast, "Download All to Target"},
    {eCmdHealthMonitoring, "System Health Monitoring"},
    {eCmdValidateNetwork, "Validate Network"},
    {eCmdPEInfoReport, "Generate PE Info Report"},
    {eCmdRoutingTableReport, "Generate Routing Table Report"},
    {eCmdTransportSmall, "Small"},
    {eCmdTransportLarge, "Large"},
    {eCmdCaptureTemplate, "Capture Active Map as Template"},
    {eCmdMapSize, "Map Size..."},
    {eCmdAutosizeMap, "Autosize Map Now"},
    {eCmdReferenceLibrary, "Reference Library..."},
    {eCmdBaseHex, "Hex"},
    {eCmdBaseDecimal, "Decimal"},
    {eCmdBaseBinary, "Binary"},
    {eCmdParameters, "Parameters..."},
    {eCmdReportDirectories, "Report Directories..."},
    {eCmdProbePortConfig, "Port Configuration..."},
    {eCmdProbeCaptureConfig, "Packet Capture Configuration..."},
    {eCmdDefaultSettings, "Default Settings..."},
    {eCmdCheckForUpdates, "Check for Updates"},
    {eCmdUpdateSettings, "Settings..."},
    {eCmdManageScripts, "Manage Scripts..."},
    {eCmdHelpTopics, "Help Topics"},
    {eCmdAutomationReference, "Automation Interface Reference"},
    {eCmdAbout, "About..."},
    {eCmdDebugLogging, "Logging..."},
    {eCmdInitializeNetwork, "Initialize Network"},
    {eCmdCreateInitScript, "Create Network Initialization Script..."},
    {eCmdShowSelectedItemInfo, "Show Selected Item Info"},
    {eCmdDisplayPEInfo, "Display PE Info..."},
    {eCmdConfigureVDIDs, "Configure VDIDs..."},
    {eCmdUpdatePE, "Update PE"},
    {eCmdTableUpload, "Upload from Target"},
    {eCmdTableGenerate, "Generate"},
    {eCmdTableDownload, "Download to Target"},
    {eCmdSetDefaultPort, "Set Default Port..."},
    {eCmdTableEdit, "Edit..."},
    {eCmdMulticastConfigure, "Configure..."},
    {eCmdMulticastDownload, "Download to Target"},
    {eCmdEEPROMSetType, "Set EEPROM Device Type..."},
    {eCmdEEPROMConnectI2C, "Connect to EEPROM via I2C Cable..."},
    {eCmdEEPROMCreateImage, "Create Device Initialization EEPROM Image..."},
    {eCmdEEPROMRead, "Read EEPROM Image..."},
    {eCmdEEPROMWrite, "Write EEPROM Image..."},
    {eCmdSaveRegisters, "Save Registers..."},
    {eCmdLoadRegisters, "Load Registers..."},
    {eCmdRunScript, "Run Script..."},
    {eCmdOpenReferenceManual, "Open Reference Manual"},
    {eCmdEditMemory, "Edit Memory..."},
    {eCmdPEConnect, "Connect..."},
    {eCmdPEDisconnect, "Disconnect"},
    {eCmdPEStandardDiscovery, "Standard Discovery"},
    {eCmdPEPassiveDiscovery, "Passive Discovery"},
    {eCmdResetTrigger, "Reset Trigger"},
    {eCmdTrafficGenerator, "Traffic Generator..."},
    {eCmdServerInfo, "Server Info..."},
    {eCmdPerformanceMonitor, "Performance Monitor..."},
    {eCmdTsi578PerformanceMonitor, "Performance Monitor..."},
    {eCmdPortQuadMap, "Port/Quad Map..."},
    {eCmdPortLaneMapping, "Port/Lane Mapping and Control..."},
    {eCmdPacketGenerator, "Packet Generator..."},
    {eCmdPacketTrace, "Packet Trace/Filter..."},
    {eCmdSerDesConfig, "SerDes Configuration..."},
    {eCmdPcieToRioBridge, "PCIe to RapidIO Bridge..."},
    {eCmdRioToPcieBridge, "RapidIO to PCIe Bridge..."},
    {eCmdDmaRegisters, "DMA Registers..."},
    {eCmdMsgTxRegisters, "Msg Tx Registers..."},
    {eCmdMsgRxRegisters, "Msg Rx Registers..."},
    {eCmdBridgePortStatus, "Port Status..."},
    {eCmdLinkStatus, "Link Status..."},
    {eCmdResyncAckIDs, "Re-sync AckIDs"},
    {eCmdLinkRoutingTable, "Routing Table..."},
    {eCmdSetPortSpeed, "Set Port Speed..."},
    {eCmdStraightLink, "Straight Link"},
    {eCmdTrafficEfficiency, "Traffic Efficiency..."},
    {eCmdBitErrorRate, "Bit Error Rate..."},
    {eCmdThroughput, "Throughput..."},
    {eCmdCopyToClipboard, "Copy Map to Clipboard"},
    {eCmdAutoLayout, "Auto-Layout"},
    {eCmdGroupOpen, "Open"},
    {eCmdGroupProperties, "Properties..."},
    {eCmdUploadRegisters, "Upload Registers From Target"},
    {eCmdDownloadRegisters, "Download Registers To Target"},
    {eCmdEditAllLikeThis, "Edit All Like This Register..."},
    {eCmdFindRegister, "Find Register..."},
    {eCmdEditRegister, "Edit Register..."},
};

const std::array<QString, eCmdCount>& Texts()
{
    static const std::array<QString, eCmdCount> texts = []
    {
        std::array<QString, eCmdCount> all;
        for (const SCommandText& entry : kTexts)
        {
            all[static_cast<size_t>(entry.eCommand)] = QString::fromLatin1(entry.pszText);
        }
        return all;
    }();
    return texts;
}

SMenuItem Item(ECommand eCommand, bool bNeedsTarget = false, const char* pszShortcut = nullptr)
{
    SMenuItem item;
    item.eCommand = eCommand;
    item.strText = Texts()[static_cast<size_t>(eCommand)];
    item.bNeedsTarget = bNeedsTarget;
    if (pszShortcut)
    {
        item.strShortcut = QString::fromLatin1(pszShortcut);
    }
    return item;
}

SMenuItem Separator()
{
    return SMenuItem();
}

SMenuItem SubMenu(const char* pszText, std::initializer_list<SMenuItem> children)
{
    SMenuItem item;
    item.strText = QString::fromLatin1(pszText);
    item.children = children;
    return item;
}

bool InRange(uint16_t wValue, uint16_t wFirst, uint16_t wLast)
{
    return wValue >= wFirst && wValue <= wLast;
}

constexpr uint16_t kVendorIDT = 0x0038;
constexpr uint16_t kVendorTundra = 0x000D;

// The Gen2 CPS switches with their SerDes and packet tools.
bool IsGen2Cps(uint16_t wDevice)
{
    return wDevice == 0x0374 || wDevice == 0x0375 || InRange(wDevice, 0x0377, 0x0379);
}
// The IDT switches with quad maps: the Gen1 CPS and SPS parts and the Gen2 CPS.
bool HasQuadMap(uint16_t wDevice)
{
    return wDevice == 0x0310 || InRange(wDevice, 0x035A, 0x035F) || IsGen2Cps(wDevice);
}
} // namespace

const std::vector<SMenuItem>& MainMenu()
{
    static const std::vector<SMenuItem> menu = {
        SubMenu("File",
                {Item(eCmdFileNew), Item(eCmdFileOpen), Item(eCmdFileSave), Item(eCmdFileSaveAs), Separator(),
                 Item(eCmdFilePrint), Item(eCmdFileProperties), Separator(), Item(eCmdFileExit)}),
        SubMenu("Edit", {Item(eCmdUndo), Item(eCmdRedo), Separator(), Item(eCmdSelectAll), Item(eCmdGroup)}),
        SubMenu("View", {Item(eCmdViewToolbar), Item(eCmdViewStatusBar), Item(eCmdViewWatchWindow),
                         Item(eCmdViewBrowser), Separator(), Item(eCmdLabels), Item(eCmdHideNulls),
                         Item(eCmdWatermark), Item(eCmdWordMark), Separator(), Item(eCmdResetAllTriggers),
                         Separator(), Item(eCmdActiveMap), Item(eCmdTemplateMap), Separator(),
                         Item(eCmdPreviousView), Item(eCmdNextView)}),
        SubMenu("Target", {Item(eCmdConnect, false, "Alt+C"), Item(eCmdConnectDemo)}),
        SubMenu("Network",
                {Item(eCmdStandardDiscovery, true, "Alt+D"), Item(eCmdPassiveDiscovery, true, "Alt+P"),
                 Item(eCmdCompareWithFabric, true), Item(eCmdClearComparison), Separator(),
                 SubMenu("Routing Tables",
                         {Item(eCmdUploadAllTables, true), Item(eCmdGenerateAllTables),
                          Item(eCmdDownloadAllTables, true), Separator(), Item(eCmdCreateBidirectionalRoute),
                          Item(eCmdCreateForwardRoute), Item(eCmdCreateReverseRoute)}),
                 SubMenu("Multicast", {Item(eCmdDownloadAllMulticast, true)}), Separator(),
                 Item(eCmdHealthMonitoring, true), Item(eCmdValidateNetwork, true),
                 SubMenu("Reports", {Item(eCmdPEInfoReport), Item(eCmdRoutingTableReport)}),
                 SubMenu("Transport Type", {Item(eCmdTransportSmall), Item(eCmdTransportLarge)}), Separator(),
                 Item(eCmdCaptureTemplate)}),
        SubMenu("Settings",
                {Item(eCmdMapSize), Item(eCmdAutosizeMap), Separator(), Item(eCmdReferenceLibrary),
                 SubMenu("Default Base", {Item(eCmdBaseHex), Item(eCmdBaseDecimal), Item(eCmdBaseBinary)}),
                 Item(eCmdParameters), Item(eCmdReportDirectories),
                 SubMenu("Probe", {Item(eCmdProbePortConfig), Item(eCmdProbeCaptureConfig)}), Separator(),
                 Item(eCmdDefaultSettings),
                 SubMenu("Updates", {Item(eCmdCheckForUpdates), Item(eCmdUpdateSettings)})}),
        SubMenu("Tools", {Item(eCmdManageScripts)}),
        SubMenu("Help", {Item(eCmdHelpTopics), Item(eCmdAutomationReference), Separator(), Item(eCmdAbout)}),
        SubMenu("Debug", {Item(eCmdDebugLogging), Item(eCmdInitializeNetwork, true),
                          Item(eCmdCreateInitScript), Item(eCmdShowSelectedItemInfo)}),
    };
    return menu;
}

std::vector<SMenuItem> DeviceMenuItems(uint16_t wVendorID, uint16_t wDeviceID)
{
    std::vector<SMenuItem> items;
    if (wVendorID == kVendorIDT && (HasQuadMap(wDeviceID) || wDeviceID == 0x0320 || wDeviceID == 0x04F0))
    {
        items.push_back(Item(eCmdPerformanceMonitor, true));
    }
    if (wVendorID == kVendorTundra && (wDeviceID == 0x0578 || wDeviceID == 0x0577 || wDeviceID == 0x0574))
    {
        items.push_back(Item(eCmdTsi578PerformanceMonitor, true));
    }
    if (wVendorID == kVendorIDT && HasQuadMap(wDeviceID))
    {
        items.push_back(Item(eCmdPortQuadMap, true));
    }
    if (wVendorID == kVendorIDT && IsGen2Cps(wDeviceID))
    {
        items.push_back(Item(eCmdPortLaneMapping, true));
        items.push_back(Item(eCmdPacketGenerator, true));
        items.push_back(Item(eCmdPacketTrace, true));
        items.push_back(Item(eCmdSerDesConfig, true));
    }
    if (wVendorID == kVendorIDT && wDeviceID == 0x80AB)
    {
        for (ECommand eCommand : {eCmdPcieToRioBridge, eCmdRioToPcieBridge, eCmdDmaRegisters,
                                  eCmdMsgTxRegisters, eCmdMsgRxRegisters, eCmdBridgePortStatus})
        {
            items.push_back(Item(eCommand, true));
        }
    }
    return items;
}

std::vector<SMenuItem> PEPopupMenu(uint16_t wVendorID, uint16_t wDeviceID, uint32_t uType)
{
    if (uType == kPETypeNull)
    {
        return {};
    }
    std::vector<SMenuItem> items = {
        Item(eCmdDisplayPEInfo),
        SubMenu("Virtual Destination IDs", {Item(eCmdConfigureVDIDs, true), Item(eCmdUpdatePE, true)}),
        SubMenu("Routing Table",
                {Item(eCmdTableUpload, true), Item(eCmdTableGenerate), Item(eCmdTableDownload, true),
                 Item(eCmdSetDefaultPort), Item(eCmdTableEdit)}),
        SubMenu("Multicast", {Item(eCmdMulticastConfigure), Item(eCmdMulticastDownload, true)}),
        SubMenu("EEPROM", {Item(eCmdEEPROMSetType), Item(eCmdEEPROMConnectI2C), Item(eCmdEEPROMCreateImage),
                           Item(eCmdEEPROMRead, true), Item(eCmdEEPROMWrite, true)}),
        SubMenu("Registers", {Item(eCmdSaveRegisters, true), Item(eCmdLoadRegisters, true)}),
        SubMenu("Scripts", {Item(eCmdRunScript, true)}),
        Item(eCmdOpenReferenceManual),
        Item(eCmdEditMemory, true),
        Separator(),
        Item(eCmdPEConnect),
        Item(eCmdPEDisconnect, true),
        Item(eCmdPEStandardDiscovery, true),
        Item(eCmdPEPassiveDiscovery, true),
        Separator(),
        Item(eCmdResetTrigger),
        Item(eCmdTrafficGenerator, true),
        Item(eCmdServerInfo, true),
    };
    std::vector<SMenuItem> device = DeviceMenuItems(wVendorID, wDeviceID);
    if (!device.empty())
    {
        items.push_back(Separator());
        items.insert(items.end(), device.begin(), device.end());
    }
    return items;
}

const std::vector<SMenuItem>& ConnectionPopupMenu()
{
    static const std::vector<SMenuItem> menu = {
        Item(eCmdLinkStatus, true),        Item(eCmdResyncAckIDs, true), Item(eCmdLinkRoutingTable),
        Item(eCmdSetPortSpeed, true),      Item(eCmdStraightLink),       Separator(),
        Item(eCmdTrafficEfficiency, true), Item(eCmdBitErrorRate, true), Item(eCmdThroughput, true)};
    return menu;
}

const std::vector<SMenuItem>& BackgroundPopupMenu()
{
    static const std::vector<SMenuItem> menu = {
        Item(eCmdLabels),          Item(eCmdMapSize),         Item(eCmdAutosizeMap), Separator(),
        Item(eCmdCopyToClipboard), Item(eCmdCaptureTemplate), Separator(),           Item(eCmdAutoLayout)};
    return menu;
}

const std::vector<SMenuItem>& GroupPopupMenu()
{
    static const std::vector<SMenuItem> menu = {Item(eCmdGroupOpen), Item(eCmdGroupProperties)};
    return menu;
}

const std::vector<SMenuItem>& RegisterPopupMenu()
{
    static const std::vector<SMenuItem> menu = {
        Item(eCmdUploadRegisters, true), Item(eCmdDownloadRegisters, true), {},
        Item(eCmdEditRegister),          Item(eCmdEditAllLikeThis),         {},
        Item(eCmdFindRegister)};
    return menu;
}

QString CommandName(ECommand eCommand)
{
    QString strName =
        eCommand > eCmdNone && eCommand < eCmdCount ? Texts()[static_cast<size_t>(eCommand)] : QString();
    while (strName.endsWith(QLatin1Char('.')))
    {
        strName.chop(1);
    }
    return strName;
}

QString NotAvailableText(ECommand eCommand)
{
    return QStringLiteral("\"%1\" is not available in this version of Norvanta yet.")
        .arg(CommandName(eCommand));
}

// The command set of the application: the main menu, and the pop-ups of a PE, a link, a group,
// the map's background and a register of the browser. The shell describes them as data; the
// window builds its menus from these lists and hands every choice to one dispatcher, so a
// subsystem that lands later adds its command with one handler and nothing else.
#pragma once

#include <QString>

#include <cstdint>
#include <vector>

enum ECommand
{
    eCmdNone = 0,
    // File
    eCmdFileNew,
    eCmdFileOpen,
    eCmdFileSave,
    eCmdFileSaveAs,
    eCmdFilePrint,
    eCmdFileProperties,
    eCmdFileExit,
    // Edit
    eCmdUndo,
    eCmdRedo,
    eCmdSelectAll,
    eCmdGroup,
    // View
    eCmdViewToolbar,
    eCmdViewStatusBar,
    eCmdViewWatchWindow,
    eCmdViewBrowser,
    eCmdLabels,
    eCmdHideNulls,
    eCmdWatermark,
    eCmdWordMark,
    eCmdResetAllTriggers,
    eCmdActiveMap,
    eCmdTemplateMap,
    eCmdPreviousView,
    eCmdNextView,
    // Target
    eCmdConnect,
    eCmdConnectDemo,
    // Network
    eCmdStandardDiscovery,
    eCmdPassiveDiscovery,
    eCmdUploadAllTables,
    eCmdGenerateAllTables,
    eCmdDownloadAllTables,
    eCmdCreateBidirectionalRoute,
    eCmdCreateForwardRoute,
    eCmdCreateReverseRoute,
    eCmdDownloadAllMulticast,
    eCmdHealthMonitoring,
    eCmdValidateNetwork,
    eCmdPEInfoReport,
    eCmdRoutingTableReport,
    eCmdTransportSmall,
    eCmdTransportLarge,
    eCmdCaptureTemplate,
    // Settings
    eCmdMapSize,
    eCmdAutosizeMap,
    eCmdReferenceLibrary,
    eCmdBaseHex,
    eCmdBaseDecimal,
    eCmdBaseBinary,
    eCmdParameters,
    eCmdReportDirectories,
    eCmdProbePortConfig,
    eCmdProbeCaptureConfig,
    eCmdDefaultSettings,
    eCmdCheckForUpdates,
    eCmdUpdateSettings,
    // Tools, Help, Debug
    eCmdManageScripts,
    eCmdHelpTopics,
    eCmdAutomationReference,
    eCmdAbout,
    eCmdDebugLogging,
    eCmdInitializeNetwork,
    eCmdCreateInitScript,
    eCmdShowSelectedItemInfo,
    // The PE pop-up
    eCmdDisplayPEInfo,
    eCmdConfigureVDIDs,
    eCmdUpdatePE,
    eCmdTableUpload,
    eCmdTableGenerate,
    eCmdTableDownload,
    eCmdSetDefaultPort,
    eCmdTableEdit,
    eCmdMulticastConfigure,
    eCmdMulticastDownload,
    eCmdEEPROMSetType,
    eCmdEEPROMConnectI2C,
    eCmdEEPROMCreateImage,
    eCmdEEPROMRead,
    eCmdEEPROMWrite,
    eCmdSaveRegisters,
    eCmdLoadRegisters,
    eCmdRunScript,
    eCmdOpenReferenceManual,
    eCmdEditMemory,
    eCmdPEConnect,
    eCmdPEDisconnect,
    eCmdPEStandardDiscovery,
    eCmdPEPassiveDiscovery,
    eCmdResetTrigger,
    eCmdTrafficGenerator,
    eCmdServerInfo,
    // Items of particular devices
    eCmdPerformanceMonitor,
    eCmdTsi578PerformanceMonitor,
    eCmdPortQuadMap,
    eCmdPortLaneMapping,
    eCmdPacketGenerator,
    eCmdPacketTrace,
    eCmdSerDesConfig,
    eCmdPcieToRioBridge,
    eCmdRioToPcieBridge,
    eCmdDmaRegisters,
    eCmdMsgTxRegisters,
    eCmdMsgRxRegisters,
    eCmdBridgePortStatus,
    // The link pop-up
    eCmdLinkStatus,
    eCmdResyncAckIDs,
    eCmdLinkRoutingTable,
    eCmdSetPortSpeed,
    eCmdStraightLink,
    eCmdTrafficEfficiency,
    eCmdBitErrorRate,
    eCmdThroughput,
    // The background and group pop-ups
    eCmdCopyToClipboard,
    eCmdAutoLayout,
    eCmdGroupOpen,
    eCmdGroupProperties,
    // The browser's register commands
    eCmdUploadRegisters,
    eCmdDownloadRegisters,
    eCmdEditAllLikeThis,
    eCmdFindRegister,
    eCmdEditRegister,
    // Network: the live fabric against the map
    eCmdCompareWithFabric,
    eCmdClearComparison,
    eCmdCount
};

// One entry of a menu: a command, a sub-menu (children, no command) or a separator (neither).
struct SMenuItem
{
    ECommand eCommand = eCmdNone;
    QString strText;           // as shown, without the shortcut
    QString strShortcut;       // "Alt+C" and the like, or empty
    bool bNeedsTarget = false; // offered only while a target is connected
    std::vector<SMenuItem> children;

    bool IsSeparator() const { return eCommand == eCmdNone && children.empty(); }
    bool IsSubMenu() const { return !children.empty(); }
};

// The main menu: File, Edit, View, Target, Network, Settings, Tools, Help, Debug.
const std::vector<SMenuItem>& MainMenu();
// The pop-up of a PE, with the items of its device type behind the common ones. A Null PE has
// none: the list is empty.
std::vector<SMenuItem> PEPopupMenu(uint16_t wVendorID, uint16_t wDeviceID, uint32_t uType);
// The items that a device type adds to its pop-up.
std::vector<SMenuItem> DeviceMenuItems(uint16_t wVendorID, uint16_t wDeviceID);
const std::vector<SMenuItem>& ConnectionPopupMenu();
const std::vector<SMenuItem>& BackgroundPopupMenu();
const std::vector<SMenuItem>& GroupPopupMenu();
const std::vector<SMenuItem>& RegisterPopupMenu();

// The command's name for messages: its menu text without the trailing dots.
QString CommandName(ECommand eCommand);
// What a command says while the part of the program that carries it out isn't there yet.
QString NotAvailableText(ECommand eCommand);

// The application's frame without its window: the one network document, the connection to the
// target with the host PE that stands for it in the map, the status texts, the title, the map
// file commands and the dispatch of every command. The desktop window drives it; so do tests
// and the headless demo, which is why nothing here shows a widget.
#pragma once

#include "Automation.h"
#include "DemoTarget.h"
#include "MapCommands.h"
#include "NetworkDocument.h"
#include "Probe.h"
#include "TargetSession.h"

#include <QString>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

class CPEPrimitive;

// What a command applies to: the item under the last right-click and where it was.
struct SCommandContext
{
    int iNode = -1;              // node number of the PE, or -1
    int iConnection = -1;        // node number of the link, or -1
    uint32_t uGroupUniqueID = 0; // unique ID of the group node, or 0
    int iMapX = 0;               // map position of the click
    int iMapY = 0;
    bool bFromBrowser = false; // chosen in the network browser rather than on the map
};

// How a connection is chosen: the connection dialog in the window, a fixed answer in tests.
// Returns false when the person cancels.
using ConnectionChooser = std::function<bool(int32_t* pnChoice, uint32_t* pulAddressWord)>;
using CommandHandler = std::function<void(const SCommandContext&)>;

class CMainFrameCore
{
public:
    CMainFrameCore();
    ~CMainFrameCore();
    CMainFrameCore(const CMainFrameCore&) = delete;
    CMainFrameCore& operator=(const CMainFrameCore&) = delete;

    CNetworkDocument& Document() { return m_document; }
    const CNetworkDocument& Document() const { return m_document; }

    // The connect command: asks "Are you sure you want to disconnect?" when connected, else
    // asks the chooser for a connection and connects.
    void OnTargetConnect(const ConnectionChooser& chooser);
    // Opens a connection choice and puts its host PE in the map. False when the link failed or
    // the person declined a host PE other than the map's.
    bool Connect(int32_t nChoice, uint32_t ulAddressWord);
    // Starts the built-in demo fabric and connects to it.
    bool ConnectDemo();
    // Closes the link, clears the host PE's open mark and stops the demo fabric when that was
    // the target.
    void Disconnect();
    // True once the target is connected and a host PE stands in the map.
    bool IsConnected() const { return m_bConnected; }
    // True while the connection is the one to the built-in demo fabric.
    bool IsDemoConnection() const { return m_bConnected && m_bDemo; }
    CTargetSession& Session() { return m_session; }
    // The probe set-up of the application (the window, the automation methods and the map's
    // labels share it).
    CProbe& Probe() { return m_probe; }
    // The application's automation object: the one that D-Bus callers and macros drive. Its
    // hooks see this frame's connection and map; a window adds what only it can do.
    CAutomation& Automation() { return *m_pAutomation; }
    // The map's PE of the open link, or null.
    CPEPrimitive* HostPE() const;

    // Status texts: "Not Connected" or the target's name, and "TT=Small" or "TT=Large".
    QString ConnectionStatusText() const { return m_strConnectionStatus; }
    QString TransportStatusText() const;
    // "Norvanta 4 - " and the map's name, or "Norvanta - Untitled".
    QString TitleText() const;
    // Sets the transport size (8 or 16 bits), with the note about tables and enumeration.
    void SetTransportSize(int iBits);

    // Map files. Each reports its own failures and leaves the document whole or empty as the
    // map reader does.
    void NewMap();
    bool OpenMap(const QString& strPath);
    bool SaveMap();
    // A path without an extension gets ".nvm" (asking before it replaces a file of that name).
    bool SaveMapAs(const QString& strChosenPath);
    bool IsModified() const { return m_bModified; }
    void SetModified(bool bModified = true);

    // Asked before the program ends: "Disconnect from current target?" when connected, and
    // the offer to save a changed map. Both are asked before the link closes, so false (the
    // person wants to stay) leaves the program as it was.
    bool QueryClose();

    // Runs a command: its handler when one is installed, else the note that it isn't there yet.
    void RunCommand(ECommand eCommand, const SCommandContext& context = {});
    // Installs the handler of a command (an empty one removes it).
    void SetCommandHandler(ECommand eCommand, CommandHandler handler);

    // Tells the observers that the map changed (a command that fills or edits the model, such as
    // discovery, calls this when it is done), or that the status texts or the title did.
    void NotifyMap();
    void NotifyStatus();

    // Observers: the map was replaced or changed (redraw, rebuild the browser), and the status
    // texts or the title changed.
    std::function<void()> onMapChanged;
    std::function<void()> onStatusChanged;

private:
    // Marks the map's PE of the open link as open; false when there is none.
    bool MarkOpenHostPE(const SHostIdentity& identity);
    void AddHostPE(const SHostIdentity& identity);
    // Asks "Do you want to enable the SRIO interface?" when the server reports an interface to
    // open (not on a PCIe link), and opens it on Yes.
    void OfferHostInterface(const SHostIdentity& identity);

    CNetworkDocument m_document;
    CTargetSession m_session;
    CDemoTarget m_demo;
    bool m_bConnected = false;
    bool m_bDemo = false;
    bool m_bModified = false;
    QString m_strConnectionStatus;
    std::array<CommandHandler, eCmdCount> m_handlers;
    std::vector<int> m_demoHosts; // node numbers of host PEs made by demo connections
    CProbe m_probe{m_document, [this] { return m_bConnected; }};
    std::unique_ptr<CAutomation> m_pAutomation;
};

// Where the reference of the automation interface (docs/automation.md) is found: beside the
// installed program, else in the source tree it was built from; empty when neither has it.
QString AutomationReferencePath();

// The custom GUI plug-ins: shared libraries in the "CustomGUI" folder that add commands to the
// pop-up of a PE for the device types they name (the C interface is
// Plugins/CustomGui/CustomGuiPlugin.h). One manager per program, made and loaded with the main
// frame and unloaded with it; everything runs on the GUI thread.
#pragma once

#include "CustomGuiPlugin.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <vector>

class CNetworkDocument;
class CPEPrimitive;
class QMenu;
class QWidget;

// One device a plug-in supports, with the plug-in's optional exports (each may be null).
struct SCustomGUIDevice
{
    uint16_t wHigh = 0; // the vendor ID
    uint16_t wLow = 0;  // the device ID
    PFN_CGUI_UPDATE_PE_POPUP_MENU pfnUpdatePEPopupMenu = nullptr;
    PFN_CGUI_ON_PE_COMMAND pfnRCG_OnPECommand = nullptr;
    PFN_CGUI_ON_UPDATE_PE_COMMAND pfnOnUpdatePECommand = nullptr;
    size_t iLibrary = 0; // index into the library list
};

// One loaded library and the command IDs it took: wFirstID up to, not including, wEndID.
struct SCustomGUILibrary
{
    QString strPath;
    void* hLibrary = nullptr;
    PFN_CGUI_CLEAN_UP pfnCleanUp = nullptr;
    uint16_t wFirstID = 0;
    uint16_t wEndID = 0;
};

class CCustomGUIManager
{
public:
    static constexpr uint16_t kFirstCommandID = NV_CGUI_FIRST_COMMAND_ID;

    explicit CCustomGUIManager(QWidget* pMainWindow = nullptr);
    // Ends every plug-in (Unload).
    ~CCustomGUIManager();
    CCustomGUIManager(const CCustomGUIManager&) = delete;
    CCustomGUIManager& operator=(const CCustomGUIManager&) = delete;

    // Loads every "*.so" of the folder in file-name order. A library that fails shows its
    // messages and is passed over; the others load on.
    void LoadFolder(const QString& strFolder);
    // Loads one library with every check and message; true when it stays loaded. A library
    // without SetCommandBaseID is dropped without a word (and false).
    bool LoadLibrary(const QString& strPath);
    // At the end: the device list goes, then each library in the order of loading gets its
    // CleanUp call and is unloaded.
    void Unload();

    QWidget* MainWindow() const { return m_pMainWindow; }
    void SetMainWindow(QWidget* pMainWindow) { m_pMainWindow = pMainWindow; }
    uint16_t NextCommandID() const { return m_wNextCommandID; }
    const std::vector<SCustomGUIDevice>& Devices() const { return m_devices; }
    const std::vector<SCustomGUILibrary>& Libraries() const { return m_libraries; }

    // The map the plug-ins' register accesses are routed through, and the connected flag; without
    // a map they fail with "node not found".
    void SetMapSource(std::function<CNetworkDocument*()> fnMap, std::function<bool()> fnConnected);

    // Adds the items of every plug-in that supports the PE's device to its pop-up, behind a
    // separator, each with the enabled and checked state the plug-in gives it; choosing one
    // carries it out. Returns the number of items added.
    int ExtendPEPopup(QMenu* pMenu, const CNetworkDocument& document, const CPEPrimitive& pe);
    // The PE as a plug-in sees it.
    NV_CGUI_PE DescribePE(const CNetworkDocument& document, const CPEPrimitive& pe) const;

    // The table handed to Initialize.
    const NV_CGUI_HOST& HostTable() const { return m_host; }

private:
    enum class ELoad
    {
        Loaded,
        Failed,  // a message was shown
        Dropped, // without a word
    };
    ELoad Load(const QString& strPath);

    static int32_t HostMaintRead32(void* pvHost, int32_t iNode, uint32_t ulOffset, uint32_t* pulValue);
    static int32_t HostMaintWrite32(void* pvHost, int32_t iNode, uint32_t ulOffset, uint32_t ulValue);
    static void HostShowMessage(void* pvHost, const char* pszText, const char* pszTitle, uint32_t ulKind);
    static uint32_t HostStatusText(void* pvHost, int32_t nStatus, char* pszText, uint32_t ulSize);
    int32_t Route(int32_t iNode, uint32_t* pulDestID, uint8_t* puchHopCount) const;

    QWidget* m_pMainWindow = nullptr;
    uint16_t m_wNextCommandID = kFirstCommandID;
    std::vector<SCustomGUILibrary> m_libraries;
    std::vector<SCustomGUIDevice> m_devices;
    std::function<CNetworkDocument*()> m_fnMap;
    std::function<bool()> m_fnConnected;
    NV_CGUI_HOST m_host{};
};

// The plug-in folder: the "CustomGUI" value of the section "Directories", or by default
// share/norvanta/CustomGUI of the installed tree, or of the build tree.
QString CustomGUIFolder();

// The program's manager, made and loaded from CustomGUIFolder() at the first call. A non-null
// pMainWindow replaces the stored one; a later call loads nothing.
CCustomGUIManager& GetCustomGUIManager(QWidget* pMainWindow);
// The program's manager if it has been made, else null.
CCustomGUIManager* ExistingCustomGUIManager();
// Ends the plug-ins and forgets the manager (the main frame's destruction).
void ReleaseCustomGUIManager();

#include "CustomGUIManager.h"

#include "ClientStatus.h"
#include "FFRoutes.h"
#include "InstallPaths.h"
#include "NetworkCommands.h"
#include "NetworkDocument.h"
#include "RouteSearch.h"
#include "StatusText.h"
#include "TargetClient.h"
#include "UserInterface.h"

#include <QAction>
#include <QDir>
#include <QFileInfo>
#include <QMenu>

#include <dlfcn.h>

#include <algorithm>
#include <cstring>
#include <memory>

namespace
{
// What a plug-in's AddItem calls add to: the menu, the library whose UpdatePEPopupMenu runs and
// the entry it came from, and the PE.
struct SMenuBuild
{
    QMenu* pMenu = nullptr;
    const SCustomGUILibrary* pLibrary = nullptr;
    const SCustomGUIDevice* pDevice = nullptr;
    NV_CGUI_PE pe{};
    bool bSeparatorDue = true; // the first item of all plug-ins goes behind a separator
    int iAdded = 0;
};

void SeparateOnce(SMenuBuild& build)
{
    if (build.bSeparatorDue)
    {
        build.pMenu->addSeparator();
        build.bSeparatorDue = false;
    }
}

int32_t MenuAddItem(void* pvMenu, uint16_t wCommandID, const char* pszText)
{
    auto& build = *static_cast<SMenuBuild*>(pvMenu);
    // An ID outside the plug-in's block would reach another plug-in's command.
    if (!pszText || wCommandID < build.pLibrary->wFirstID || wCommandID >= build.pLibrary->wEndID)
    {
        return 1;
    }
    SeparateOnce(build);
    QAction* pAction = build.pMenu->addAction(QString::fromUtf8(pszText));
    pAction->setProperty("customGuiCommand", static_cast<int>(wCommandID));
    const SCustomGUIDevice device = *build.pDevice;
    const NV_CGUI_PE pe = build.pe;
    if (device.pfnOnUpdatePECommand)
    {
        const uint32_t ulState = device.pfnOnUpdatePECommand(wCommandID, &pe);
        pAction->setEnabled((ulState & NV_CGUI_CMD_ENABLED) != 0);
        if (ulState & NV_CGUI_CMD_CHECKED)
        {
            pAction->setCheckable(true);
            pAction->setChecked(true);
        }
    }
    if (device.pfnRCG_OnPECommand)
    {
        QObject::connect(pAction, &QAction::triggered, pAction,
                         [device, pe, wCommandID] { device.pfnRCG_OnPECommand(wCommandID, &pe); });
    }
    ++build.iAdded;
    return 0;
}

int32_t MenuAddSeparator(void* pvMenu)
{
    auto& build = *static_cast<SMenuBuild*>(pvMenu);
    if (build.bSeparatorDue)
    {
        // A leading separator is the one the host puts there anyway.
        SeparateOnce(build);
        return 0;
    }
    build.pMenu->addSeparator();
    return 0;
}

CCustomGUIManager*& TheManager()
{
    static CCustomGUIManager* s_pManager = nullptr;
    return s_pManager;
}
} // namespace

CCustomGUIManager::CCustomGUIManager(QWidget* pMainWindow) : m_pMainWindow(pMainWindow)
{
    m_host.ulSize = sizeof(m_host);
    m_host.ulVersion = NV_CGUI_HOST_VERSION;
    m_host.pvHost = this;
    m_host.MaintRead32 = &CCustomGUIManager::HostMaintRead32;
    m_host.MaintWrite32 = &CCustomGUIManager::HostMaintWrite32;
    m_host.ShowMessage = &CCustomGUIManager::HostShowMessage;
    m_host.StatusText = &CCustomGUIManager::HostStatusText;
}

CCustomGUIManager::~CCustomGUIManager()
{
    Unload();
}

void CCustomGUIManager::LoadFolder(const QString& strFolder)
{
    if (strFolder.isEmpty())
    {
        return;
    }
    const QDir folder(strFolder);
    const QStringList names = folder.entryList({QStringLiteral("*.so")}, QDir::Files, QDir::Name);
    for (const QString& strName : names)
    {
        LoadLibrary(folder.absoluteFilePath(strName));
    }
}

bool CCustomGUIManager::LoadLibrary(const QString& strPath)
{
    const ELoad eResult = Load(strPath);
    if (eResult == ELoad::Failed)
    {
        ShowMessage(QStringLiteral("Unable to load '%1'").arg(strPath));
    }
    return eResult == ELoad::Loaded;
}

CCustomGUIManager::ELoad CCustomGUIManager::Load(const QString& strPath)
{
    const QByteArray path = QFile::encodeName(strPath);
    void* hLibrary = dlopen(path.constData(), RTLD_NOW | RTLD_LOCAL);
    if (!hLibrary)
    {
        const char* pszError = dlerror();
        ShowMessage(QStringLiteral("Error loading %1\n\n%2")
                        .arg(strPath, QString::fromLocal8Bit(pszError ? pszError : "unknown error")));
        return ELoad::Failed;
    }
    auto symbol = [hLibrary](const char* pszName) { return dlsym(hLibrary, pszName); };
    auto fail = [&](const char* pszExport)
    {
        ShowMessage(QStringLiteral("Error.  Required interface '%1' not found in %2")
                        .arg(QLatin1String(pszExport), strPath));
        dlclose(hLibrary);
        return ELoad::Failed;
    };

    // The command IDs first of all, so that they go out in file order.
    auto pfnSetBase =
        reinterpret_cast<PFN_CGUI_SET_COMMAND_BASE_ID>(symbol(NV_CGUI_EXPORT_SET_COMMAND_BASE_ID));
    if (!pfnSetBase)
    {
        dlclose(hLibrary);
        return ELoad::Dropped;
    }
    SCustomGUILibrary library;
    library.strPath = strPath;
    library.hLibrary = hLibrary;
    library.wFirstID = m_wNextCommandID;
    m_wNextCommandID = pfnSetBase(m_wNextCommandID);
    // A plug-in that hands back less than it was given took nothing.
    library.wEndID = std::max(library.wFirstID, m_wNextCommandID);

    library.pfnCleanUp = reinterpret_cast<PFN_CGUI_CLEAN_UP>(symbol(NV_CGUI_EXPORT_CLEAN_UP));
    if (!library.pfnCleanUp)
    {
        return fail(NV_CGUI_EXPORT_CLEAN_UP);
    }
    auto pfnInitialize = reinterpret_cast<PFN_CGUI_INITIALIZE>(symbol(NV_CGUI_EXPORT_INITIALIZE));
    if (!pfnInitialize)
    {
        return fail(NV_CGUI_EXPORT_INITIALIZE);
    }
    pfnInitialize(m_pMainWindow, &m_host);
    auto pfnFirst = reinterpret_cast<PFN_CGUI_GET_FIRST_DEVICE>(symbol(NV_CGUI_EXPORT_GET_FIRST_DEVICE));
    if (!pfnFirst)
    {
        return fail(NV_CGUI_EXPORT_GET_FIRST_DEVICE);
    }
    auto pfnNext = reinterpret_cast<PFN_CGUI_GET_NEXT_DEVICE>(symbol(NV_CGUI_EXPORT_GET_NEXT_DEVICE));
    if (!pfnNext)
    {
        return fail(NV_CGUI_EXPORT_GET_NEXT_DEVICE);
    }

    SCustomGUIDevice device;
    device.pfnUpdatePEPopupMenu =
        reinterpret_cast<PFN_CGUI_UPDATE_PE_POPUP_MENU>(symbol(NV_CGUI_EXPORT_UPDATE_PE_POPUP_MENU));
    device.pfnRCG_OnPECommand =
        reinterpret_cast<PFN_CGUI_ON_PE_COMMAND>(symbol(NV_CGUI_EXPORT_ON_PE_COMMAND));
    device.pfnOnUpdatePECommand =
        reinterpret_cast<PFN_CGUI_ON_UPDATE_PE_COMMAND>(symbol(NV_CGUI_EXPORT_ON_UPDATE_PE_COMMAND));
    device.iLibrary = m_libraries.size();
    uint32_t ulID = 0;
    // A plug-in that never says "no more" would hang the program: a device list longer than every
    // vendor and device pair there is has gone round in circles.
    constexpr size_t kMaxDevices = 0x10000;
    size_t nDevices = 0;
    for (int32_t nResult = pfnFirst(&ulID); nResult == 0 && nDevices < kMaxDevices;
         nResult = pfnNext(&ulID), ++nDevices)
    {
        device.wHigh = static_cast<uint16_t>(ulID >> 16);
        device.wLow = static_cast<uint16_t>(ulID & 0xFFFF);
        m_devices.push_back(device);
    }
    m_libraries.push_back(std::move(library));
    return ELoad::Loaded;
}

void CCustomGUIManager::Unload()
{
    m_devices.clear();
    std::vector<SCustomGUILibrary> libraries;
    libraries.swap(m_libraries);
    for (SCustomGUILibrary& library : libraries)
    {
        library.pfnCleanUp();
        dlclose(library.hLibrary);
    }
}

void CCustomGUIManager::SetMapSource(std::function<CNetworkDocument*()> fnMap,
                                     std::function<bool()> fnConnected)
{
    m_fnMap = std::move(fnMap);
    m_fnConnected = std::move(fnConnected);
}

NV_CGUI_PE CCustomGUIManager::DescribePE(const CNetworkDocument& document, const CPEPrimitive& pe) const
{
    NV_CGUI_PE described{};
    described.ulSize = sizeof(described);
    described.iNode = pe.iNodeNumber;
    described.wVendorID = pe.ManufID;
    described.wDeviceID = pe.DeviceID;
    described.ulDestID = pe.bUsesDestID ? pe.GetDestID() : NV_CGUI_NO_DEST_ID;
    described.ulRouteDestID = NV_CGUI_NO_DEST_ID;
    described.uchHopCount = NV_CGUI_NO_HOP_COUNT;
    if (pe.bHasHostLink && pe.bHostLinkOpen)
    {
        described.uchHopCount = 0;
    }
    else if (const CPEPrimitive* pHost = MapHostPE(document))
    {
        // The map's own tables only: building a menu must not touch the hardware.
        uint32_t ulDestID = 0;
        uint8_t uchHops = 0;
        if (FindRoute(pHost, &pe, *document.pCurrentPEs, *document.pCurrentConnections, &ulDestID, &uchHops,
                      false, nullptr) == 0)
        {
            described.ulRouteDestID = ulDestID;
            described.uchHopCount = uchHops;
        }
    }
    described.ulTypeFlags = pe.uType;
    described.ulNumPorts = static_cast<uint32_t>(std::max(pe.iNumLocalPorts, 0));
    described.bConnected = m_fnConnected && m_fnConnected() ? 1u : 0u;
    return described;
}

int CCustomGUIManager::ExtendPEPopup(QMenu* pMenu, const CNetworkDocument& document, const CPEPrimitive& pe)
{
    SMenuBuild build;
    build.pMenu = pMenu;
    build.pe = DescribePE(document, pe);
    NV_CGUI_MENU menu{};
    menu.ulSize = sizeof(menu);
    menu.pvMenu = &build;
    menu.AddItem = &MenuAddItem;
    menu.AddSeparator = &MenuAddSeparator;
    std::vector<PFN_CGUI_UPDATE_PE_POPUP_MENU> called;
    for (const SCustomGUIDevice& device : m_devices)
    {
        if (device.wHigh != pe.ManufID || device.wLow != pe.DeviceID || !device.pfnUpdatePEPopupMenu)
        {
            continue;
        }
        // A plug-in that names a device twice adds its items once.
        if (std::find(called.begin(), called.end(), device.pfnUpdatePEPopupMenu) != called.end())
        {
            continue;
        }
        called.push_back(device.pfnUpdatePEPopupMenu);
        build.pLibrary = &m_libraries[device.iLibrary];
        build.pDevice = &device;
        device.pfnUpdatePEPopupMenu(&build.pe, &menu);
    }
    return build.iAdded;
}

int32_t CCustomGUIManager::Route(int32_t iNode, uint32_t* pulDestID, uint8_t* puchHopCount) const
{
    CNetworkDocument* pDocument = m_fnMap ? m_fnMap() : nullptr;
    if (!pDocument || !pDocument->pCurrentPEs->GetByNodeNumber(iNode))
    {
        return eRioNodeNotFound;
    }
    return MapRouteToPE(*pDocument, iNode, pulDestID, puchHopCount);
}

int32_t CCustomGUIManager::HostMaintRead32(void* pvHost, int32_t iNode, uint32_t ulOffset, uint32_t* pulValue)
{
    if (!pulValue)
    {
        return eRioInvalidParameter;
    }
    uint32_t ulDestID = 0;
    uint8_t uchHops = 0;
    const int32_t nStatus = static_cast<CCustomGUIManager*>(pvHost)->Route(iNode, &ulDestID, &uchHops);
    if (nStatus != eRioOk)
    {
        return nStatus;
    }
    return CTargetClient::Instance().Maint_read(0, ulDestID, uchHops, ulOffset, pulValue, 1, 4, 0);
}

int32_t CCustomGUIManager::HostMaintWrite32(void* pvHost, int32_t iNode, uint32_t ulOffset, uint32_t ulValue)
{
    uint32_t ulDestID = 0;
    uint8_t uchHops = 0;
    const int32_t nStatus = static_cast<CCustomGUIManager*>(pvHost)->Route(iNode, &ulDestID, &uchHops);
    if (nStatus != eRioOk)
    {
        return nStatus;
    }
    return CTargetClient::Instance().Maint_write(0, ulDestID, uchHops, ulOffset, &ulValue, 1, 4, 0);
}

void CCustomGUIManager::HostShowMessage(void*, const char* pszText, const char* pszTitle, uint32_t ulKind)
{
    const EMessageKind eKind = ulKind == 2   ? EMessageKind::Error
                               : ulKind == 1 ? EMessageKind::Warning
                                             : EMessageKind::Information;
    const QString strText = QString::fromUtf8(pszText ? pszText : "");
    if (pszTitle && *pszTitle)
    {
        UI().ShowMessage(strText, QString::fromUtf8(pszTitle), eKind);
    }
    else
    {
        ShowMessage(strText, eKind);
    }
}

uint32_t CCustomGUIManager::HostStatusText(void*, int32_t nStatus, char* pszText, uint32_t ulSize)
{
    const QByteArray text = RioErrorText(nStatus).toUtf8();
    if (pszText && ulSize > 0)
    {
        const size_t nCopy = std::min(static_cast<size_t>(text.size()), static_cast<size_t>(ulSize - 1));
        std::memcpy(pszText, text.constData(), nCopy);
        pszText[nCopy] = '\0';
    }
    return static_cast<uint32_t>(text.size());
}

QString CustomGUIFolder()
{
    return CustomGUIDirectory();
}

CCustomGUIManager& GetCustomGUIManager(QWidget* pMainWindow)
{
    CCustomGUIManager*& pManager = TheManager();
    if (!pManager)
    {
        pManager = new CCustomGUIManager(pMainWindow);
        pManager->LoadFolder(CustomGUIFolder());
    }
    else if (pMainWindow)
    {
        pManager->SetMainWindow(pMainWindow);
    }
    return *pManager;
}

CCustomGUIManager* ExistingCustomGUIManager()
{
    return TheManager();
}

void ReleaseCustomGUIManager()
{
    std::unique_ptr<CCustomGUIManager> pManager(TheManager());
    TheManager() = nullptr;
}

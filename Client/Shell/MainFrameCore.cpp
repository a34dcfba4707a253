#include "MainFrameCore.h"

#include "DebugLog.h"
#include "NetworkMap.h"
#include "Preferences.h"
#include "UserInterface.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace
{
// Processing Element Features CAR, bits counted from the least significant one.
constexpr uint32_t kFeatureBridge = 1u << 31;
constexpr uint32_t kFeatureMemory = 1u << 30;
constexpr uint32_t kFeatureProcessor = 1u << 29;
constexpr uint32_t kFeatureSwitch = 1u << 28;

// Where the host PE of a new connection is drawn.
constexpr int kHostX = 100;
constexpr int kHostY = 150;

bool LargeTransport()
{
    return GetPreference(QStringLiteral("Preferences"), QStringLiteral("DefaultDestIDSize"), 8u) == 16;
}

bool MapIsEmpty(const CNetworkDocument& document)
{
    for (const auto& pPE : document.ActivePEs)
    {
        if (!pPE->bDeleted)
        {
            return false;
        }
    }
    return true;
}

// The demo's host link names a process of this run, not a server anyone can reach again.
void StripHostLink(CPEPrimitive& pe)
{
    pe.bHasHostLink = false;
    pe.bHostLinkOpen = false;
    pe.uNetworkServerAddress = 0;
    pe.eConnectionType = eConnUnknown;
}
} // namespace

CMainFrameCore::CMainFrameCore() : m_strConnectionStatus(QStringLiteral("Not Connected"))
{
    SAutomationHooks hooks;
    hooks.isConnected = [this] { return m_bConnected; };
    hooks.document = [this] { return &m_document; };
    hooks.probe = [this] { return &m_probe; };
    m_pAutomation = std::make_unique<CAutomation>(std::move(hooks));
    SetCommandHandler(
        eCmdAutomationReference,
        [](const SCommandContext&)
        {
            const QString strPath = AutomationReferencePath();
            if (strPath.isEmpty())
            {
                ShowMessage(QStringLiteral("Error:  File not found: '%1'")
                                .arg(QDir::cleanPath(QCoreApplication::applicationDirPath() +
                                                     QStringLiteral("/../share/norvanta/docs/"
                                                                    "automation.md"))));
            }
            else if (!UI().OpenDocument(strPath))
            {
                ShowMessage(
                    QStringLiteral("Error: No application associated with the file: '%1'").arg(strPath));
            }
        });
}

QString AutomationReferencePath()
{
    const QString strAppDir = QCoreApplication::applicationDirPath();
    const QString strSetDir =
        GetPreference(QStringLiteral("Directories"), QStringLiteral("AppDir"), strAppDir);
    for (const QString& strPath : {strSetDir + QStringLiteral("/../share/norvanta/docs/automation.md"),
                                   strAppDir + QStringLiteral("/../share/norvanta/docs/automation.md"),
                                   QStringLiteral(NV_SOURCE_DIR "/docs/automation.md")})
    {
        if (QFileInfo(strPath).isFile())
        {
            return QDir::cleanPath(QFileInfo(strPath).absoluteFilePath());
        }
    }
    return QString();
}

CMainFrameCore::~CMainFrameCore()
{
    if (m_session.IsConnected())
    {
        m_session.Close();
    }
}

QString CMainFrameCore::TransportStatusText() const
{
    return LargeTransport() ? QStringLiteral("TT=Large") : QStringLiteral("TT=Small");
}

QString CMainFrameCore::TitleText() const
{
    if (m_document.FileName.isEmpty())
    {
        return QStringLiteral("Norvanta - Untitled");
    }
    return QStringLiteral("Norvanta 4 - ") + m_document.FileName;
}

CPEPrimitive* CMainFrameCore::HostPE() const
{
    return m_document.ActivePEs.GetHostPE();
}

void CMainFrameCore::OnTargetConnect(const ConnectionChooser& chooser)
{
    if (m_bConnected)
    {
        if (UI().Ask(QStringLiteral("Are you sure you want to disconnect?"), ApplicationTitle(), false) ==
            eAnswerYes)
        {
            Disconnect();
        }
        return;
    }
    int32_t nChoice = 0;
    uint32_t ulAddressWord = 0;
    if (!chooser || !chooser(&nChoice, &ulAddressWord))
    {
        return;
    }
    Connect(nChoice, ulAddressWord);
}

bool CMainFrameCore::Connect(int32_t nChoice, uint32_t ulAddressWord)
{
    if (m_bConnected)
    {
        return false;
    }
    UI().SetBusy(true);
    const bool bOpened = m_session.Open(nChoice, ulAddressWord);
    UI().SetBusy(false);
    if (!bOpened)
    {
        return false;
    }
    SHostIdentity identity;
    if (!m_session.ReadHostIdentity(&identity))
    {
        m_session.Close();
        return false;
    }
    m_strConnectionStatus = m_session.TargetName();
    if (!MarkOpenHostPE(identity))
    {
        if (!MapIsEmpty(m_document))
        {
            const int nAnswer =
                UI().Ask(QStringLiteral("You are connecting to a different host PE than what is in the "
                                        "current network map.\n\nDo you want to continue?"),
                         QStringLiteral("Host PE Mismatch"), false);
            if (nAnswer != eAnswerYes)
            {
                m_session.Close();
                m_strConnectionStatus = QStringLiteral("Not Connected");
                NotifyStatus();
                return false;
            }
            m_document.New();
            m_bModified = false;
        }
        AddHostPE(identity);
        SetModified();
        OfferHostInterface(identity);
    }
    m_bConnected = true;
    NotifyMap();
    NotifyStatus();
    return true;
}

bool CMainFrameCore::ConnectDemo()
{
    if (m_bConnected)
    {
        if (UI().Ask(QStringLiteral("Are you sure you want to disconnect?"), ApplicationTitle(), false) !=
            eAnswerYes)
        {
            return false;
        }
        Disconnect();
    }
    if (!m_demo.Start())
    {
        return false;
    }
    m_bDemo = true;
    if (!Connect(eConnInternetTCP, CDemoTarget::kAddress))
    {
        m_bDemo = false;
        m_demo.Stop();
        return false;
    }
    return true;
}

bool CMainFrameCore::MarkOpenHostPE(const SHostIdentity& identity)
{
    for (const auto& pPE : m_document.ActivePEs)
    {
        if (!pPE->bDeleted && pPE->bHasHostLink && pPE->eConnectionType == m_session.ConnectionType() &&
            pPE->uNetworkServerAddress == m_session.AddressWord() && pPE->DeviceID == identity.wDeviceID &&
            pPE->ManufID == identity.wVendorID)
        {
            pPE->bHostLinkOpen = true;
            return true;
        }
    }
    return false;
}

void CMainFrameCore::AddHostPE(const SHostIdentity& identity)
{
    int iNodeNumber = 0;
    for (const auto& pPE : m_document.ActivePEs)
    {
        iNodeNumber = std::max(iNodeNumber, pPE->iNodeNumber + 1);
    }
    auto pPE = std::make_unique<CPEPrimitive>();
    pPE->iNodeNumber = iNodeNumber;
    pPE->DeviceID = identity.wDeviceID;
    pPE->ManufID = identity.wVendorID;
    pPE->SetIdentity(identity.wVendorID, identity.wDeviceID, (identity.ulFeatures & kFeatureSwitch) != 0,
                     (identity.ulFeatures & kFeatureProcessor) != 0,
                     (identity.ulFeatures & kFeatureMemory) != 0,
                     (identity.ulFeatures & kFeatureBridge) != 0);
    pPE->bHasHostLink = true;
    pPE->bHostLinkOpen = true;
    pPE->eConnectionType = m_session.ConnectionType();
    pPE->uNetworkServerAddress = m_session.AddressWord();
    pPE->bUsesDestID = identity.bUsesDestID;
    pPE->bLargeTransport = LargeTransport();
    pPE->ShortDestID = identity.wShortDestID;
    pPE->LongDestID = identity.bHasLongDestID ? identity.wLongDestID : kNoDestID;
    pPE->bHasLongDestID = identity.bHasLongDestID;
    pPE->iNumLocalPorts = identity.iNumLocalPorts;
    pPE->UniqueID = QString::asprintf("%x%x", identity.wDeviceID, identity.wVendorID);
    DebugPrint(eDebugGeneral, "Host PE %04Xh/%04Xh, component tag %08Xh\n", identity.wDeviceID,
               identity.wVendorID, identity.ulComponentTag);

    auto pNode = std::make_unique<CDrawPE>();
    pNode->uUniqueID = CNetworkDocument::MakeUniqueTimeID();
    pNode->iAssociatedPrimitive = iNodeNumber;
    pNode->BitmapNoSel = pPE->BitmapNoSel;
    pNode->BitmapSel = pPE->BitmapSel;
    pNode->Move(kHostX, kHostY);
    m_document.FindView(kExpandedViewID)->pNodes.Add(std::move(pNode));
    m_document.ActivePEs.AddPrimitive(std::move(pPE));
    if (m_bDemo)
    {
        m_demoHosts.push_back(iNodeNumber);
    }
}

void CMainFrameCore::OfferHostInterface(const SHostIdentity& identity)
{
    // A bridge on the PCIe link is the interface itself; a server that reports one of these
    // capability bits has an interface the host may have to open first.
    constexpr uint32_t kInterfaceCapabilities = (1u << 28) | (1u << 30) | (1u << 31);
    if (m_session.ConnectionType() == eConnTsi721Driver ||
        (m_session.Capabilities() & kInterfaceCapabilities) == 0)
    {
        return;
    }
    if (UI().Ask(QStringLiteral("Do you want to enable the SRIO interface?"), ApplicationTitle(), false) ==
        eAnswerYes)
    {
        m_session.EnableHostInterface(identity);
    }
}

void CMainFrameCore::Disconnect()
{
    m_session.Close();
    for (const auto& pPE : m_document.ActivePEs)
    {
        pPE->bHostLinkOpen = false;
    }
    m_bConnected = false;
    if (m_bDemo)
    {
        m_demo.Stop();
        m_bDemo = false;
    }
    m_strConnectionStatus = QStringLiteral("Not Connected");
    NotifyMap();
    NotifyStatus();
}

void CMainFrameCore::SetTransportSize(int iBits)
{
    ShowMessage(QStringLiteral("Please note that you may need to regenerate routing tables, and possibly "
                               "re-enumerate\nafter changing the transport type."),
                EMessageKind::Information);
    SetPreference(QStringLiteral("Preferences"), QStringLiteral("DefaultDestIDSize"), iBits == 16 ? 16u : 8u);
    for (CPEList* pList : {&m_document.ActivePEs, &m_document.TemplatePEs})
    {
        for (const auto& pPE : *pList)
        {
            pPE->bLargeTransport = iBits == 16;
        }
    }
    NotifyMap();
    NotifyStatus();
}

void CMainFrameCore::NewMap()
{
    m_document.New();
    m_demoHosts.clear();
    m_bModified = false;
    NotifyMap();
    NotifyStatus();
}

bool CMainFrameCore::OpenMap(const QString& strPath)
{
    const bool bOpened = m_document.Open(strPath);
    m_demoHosts.clear();
    m_bModified = false;
    if (bOpened && m_bConnected)
    {
        SHostIdentity identity;
        if (m_session.ReadHostIdentity(&identity))
        {
            MarkOpenHostPE(identity);
        }
    }
    NotifyMap();
    NotifyStatus();
    return bOpened;
}

bool CMainFrameCore::SaveMap()
{
    if (m_document.PathName.isEmpty())
    {
        const QString strPath = UI().ChooseFile(true, QStringLiteral("Save As"), CNetworkMap::FileFilter(),
                                                QStringLiteral("Untitled.nvm"));
        return !strPath.isEmpty() && SaveMapAs(strPath);
    }
    return SaveMapAs(m_document.PathName);
}

bool CMainFrameCore::SaveMapAs(const QString& strChosenPath)
{
    // A name typed without an extension gets the map's, so that File > Open lists the file.
    QString strPath = strChosenPath;
    if (QFileInfo(strPath).suffix().isEmpty())
    {
        if (strPath.endsWith(QLatin1Char('.')))
        {
            strPath.chop(1);
        }
        strPath += CNetworkMap::DefaultExtension();
        // The person named another file: one of the new name is not replaced without asking.
        if (QFileInfo::exists(strPath) &&
            UI().Ask(QStringLiteral("%1 already exists.\nDo you want to replace it?")
                         .arg(QFileInfo(strPath).fileName()),
                     QStringLiteral("Save As"), false) != eAnswerYes)
        {
            return false;
        }
    }
    bool bSaved = false;
    if (m_demoHosts.empty())
    {
        bSaved = m_document.SaveAs(strPath);
    }
    else
    {
        CNetworkDocument copy(m_document);
        for (int iNode : m_demoHosts)
        {
            if (CPEPrimitive* pPE = copy.ActivePEs.GetByNodeNumber(iNode))
            {
                StripHostLink(*pPE);
            }
        }
        bSaved = copy.SaveAs(strPath);
        if (bSaved)
        {
            m_document.PathName = copy.PathName;
            m_document.FileName = copy.FileName;
        }
    }
    if (bSaved)
    {
        m_bModified = false;
    }
    NotifyStatus();
    return bSaved;
}

void CMainFrameCore::SetModified(bool bModified)
{
    m_bModified = bModified;
}

bool CMainFrameCore::QueryClose()
{
    // Both questions come before anything is done, so that a Cancel leaves the program exactly as
    // it was, still connected.
    if (m_bConnected &&
        UI().Ask(QStringLiteral("Disconnect from current target?"), ApplicationTitle(), false) != eAnswerYes)
    {
        return false;
    }
    if (m_bModified)
    {
        const QString strName =
            m_document.FileName.isEmpty() ? QStringLiteral("Untitled") : m_document.FileName;
        const int nAnswer =
            UI().Ask(QStringLiteral("Save changes to %1?").arg(strName), ApplicationTitle(), true);
        if (nAnswer == eAnswerCancel || (nAnswer == eAnswerYes && !SaveMap()))
        {
            return false;
        }
    }
    if (m_bConnected)
    {
        Disconnect();
    }
    return true;
}

void CMainFrameCore::RunCommand(ECommand eCommand, const SCommandContext& context)
{
    if (eCommand <= eCmdNone || eCommand >= eCmdCount)
    {
        return;
    }
    const CommandHandler& handler = m_handlers[static_cast<size_t>(eCommand)];
    if (handler)
    {
        handler(context);
        return;
    }
    UI().ShowMessage(NotAvailableText(eCommand), ApplicationTitle(), EMessageKind::Information);
}

void CMainFrameCore::SetCommandHandler(ECommand eCommand, CommandHandler handler)
{
    if (eCommand > eCmdNone && eCommand < eCmdCount)
    {
        m_handlers[static_cast<size_t>(eCommand)] = std::move(handler);
    }
}

void CMainFrameCore::NotifyMap()
{
    // A map made anew (a discovery, a file) gets the labels of an enabled probe again.
    m_probe.MarkMap();
    if (onMapChanged)
    {
        onMapChanged();
    }
}

void CMainFrameCore::NotifyStatus()
{
    if (onStatusChanged)
    {
        onStatusChanged();
    }
}

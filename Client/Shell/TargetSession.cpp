#include "TargetSession.h"

#include "ClientStatus.h"
#include "HalWrappers.h"
#include "LinkSettings.h"
#include "StatusText.h"
#include "TargetClient.h"
#include "TargetConnection.h"
#include "UserInterface.h"

#include <utility>

namespace
{
// The host's own device: local port 0, the all-ones destination ID, hop count 0.
constexpr uint32_t kHostDestID = 0xFFFFFFFFu;
// Processing Element Features CAR: bit 28 (counted from the least significant bit) says switch.
constexpr uint32_t kFeatureSwitch = 1u << 28;
} // namespace

CTargetSession::CTargetSession() : m_pConnection(std::make_unique<CTargetConnection>()) {}

CTargetSession::~CTargetSession() = default;

bool CTargetSession::Open(int32_t nChoice, uint32_t ulAddressWord)
{
    const uint16_t wPort = std::exchange(m_wNextPort, uint16_t{0});
    const bool bServer = nChoice >= eConnEthernetTCP && nChoice <= eConnInternetUDP;
    if (bServer && wPort != 0 && !m_pConnection->IsConnected())
    {
        // A UDP link sends every datagram to the settings' port, so the chosen one stands there
        // until the link closes.
        m_wSettingsPort = LinkSettings().wServerPort;
        m_bPortReplaced = true;
        LinkSettings().wServerPort = wPort;
    }
    const bool bOpened = m_pConnection->OpenTarget(nChoice, ulAddressWord);
    if (!bOpened)
    {
        RestoreServerPort();
    }
    return bOpened;
}

void CTargetSession::Close()
{
    if (m_pConnection->IsConnected())
    {
        m_pConnection->Disconnect();
    }
    RestoreServerPort();
}

void CTargetSession::RestoreServerPort()
{
    if (m_bPortReplaced)
    {
        LinkSettings().wServerPort = m_wSettingsPort;
        m_bPortReplaced = false;
    }
}

bool CTargetSession::IsConnected() const
{
    return m_pConnection->IsConnected();
}

bool CTargetSession::ReadHostIdentity(SHostIdentity* pIdentity)
{
    CTargetClient& client = CTargetClient::Instance();
    uint32_t ulIdentity = 0;
    int32_t nStatus = client.Maint_read(0, kHostDestID, 0, 0x00, &ulIdentity, 1, 4, 0);
    if (nStatus == eRioOk)
    {
        nStatus = GetFeatures(0, kHostDestID, 0, &pIdentity->ulFeatures);
    }
    if (nStatus != eRioOk)
    {
        ShowMessage(RioErrorText(nStatus));
        return false;
    }
    pIdentity->wDeviceID = static_cast<uint16_t>(ulIdentity >> 16);
    pIdentity->wVendorID = static_cast<uint16_t>(ulIdentity & 0xFFFF);
    const SServerInfo& info = m_pConnection->ServerInfo();
    pIdentity->wShortDestID = info.wShortDestID;
    pIdentity->wLongDestID = info.wLongDestID;
    pIdentity->bHasLongDestID = info.bLongDestIDValid != 0;
    pIdentity->iNumLocalPorts = static_cast<int>(info.ulNumLocalPorts);
    const bool bSwitch = (pIdentity->ulFeatures & kFeatureSwitch) != 0;
    pIdentity->bUsesDestID = !bSwitch || UsesDestID(pIdentity->wVendorID, pIdentity->wDeviceID);
    // A host without a component tag register still connects: the tag only labels it.
    if (GetComponentTag(0, kHostDestID, 0, &pIdentity->ulComponentTag) != eRioOk)
    {
        pIdentity->ulComponentTag = 0;
    }
    return true;
}

bool CTargetSession::EnableHostInterface(const SHostIdentity& identity)
{
    const int32_t nStatus = EnableHostAccess(identity.wVendorID, identity.wDeviceID, 0, kHostDestID, 0, true);
    if (nStatus != eRioOk)
    {
        ShowMessage(QStringLiteral("Unable to enable the SRIO interface.\n%1").arg(RioErrorText(nStatus)));
        return false;
    }
    return true;
}

QString CTargetSession::TargetName() const
{
    return m_pConnection->TargetName();
}

int32_t CTargetSession::ConnectionType() const
{
    return m_pConnection->ConnectionType();
}

uint32_t CTargetSession::AddressWord() const
{
    return m_pConnection->AddressWord();
}

uint32_t CTargetSession::Capabilities() const
{
    return m_pConnection->Capabilities();
}

QStringList CTargetSession::ServerInfo() const
{
    return ServerInfoLines(m_pConnection->ServerInfo());
}

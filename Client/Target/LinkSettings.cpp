#include "LinkSettings.h"

#include "Preferences.h"

#include <arpa/inet.h>

namespace
{
SLinkSettings g_settings;
bool g_bLoaded = false;

uint16_t PortPreference(const char* pszKey, uint16_t wDefault)
{
    const uint32_t ulValue =
        GetPreference(QStringLiteral("Preferences"), QString::fromLatin1(pszKey), wDefault);
    return ulValue <= 0xFFFF ? static_cast<uint16_t>(ulValue) : wDefault;
}
} // namespace

void ReloadLinkSettings()
{
    const SLinkSettings defaults;
    g_settings.wServerPort = PortPreference("ServerPort", defaults.wServerPort);
    g_settings.wUdpLocalPort = PortPreference("UdpLocalPort", defaults.wUdpLocalPort);
    g_settings.wBroadcastPort = PortPreference("BroadcastPort", defaults.wBroadcastPort);
    g_settings.wReplyPort = PortPreference("BroadcastReplyPort", defaults.wReplyPort);
    const QString strAddress = GetPreference(
        QStringLiteral("Preferences"), QStringLiteral("BroadcastAddress"), QStringLiteral("255.255.255.255"));
    in_addr address{};
    g_settings.ulBroadcastAddress = inet_pton(AF_INET, strAddress.toLatin1().constData(), &address) == 1
                                        ? ntohl(address.s_addr)
                                        : defaults.ulBroadcastAddress;
    g_settings.ulWaitMilliseconds = GetPreference(
        QStringLiteral("Preferences"), QStringLiteral("ReceiveWaitMs"), defaults.ulWaitMilliseconds);
    g_settings.ulSearchMilliseconds = GetPreference(
        QStringLiteral("Preferences"), QStringLiteral("SearchWaitMs"), defaults.ulSearchMilliseconds);
    g_bLoaded = true;
}

SLinkSettings& LinkSettings()
{
    if (!g_bLoaded)
    {
        ReloadLinkSettings();
    }
    return g_settings;
}

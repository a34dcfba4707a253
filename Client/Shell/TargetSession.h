// The connection of the application to its target, seen from the shell: open and close a target
// by the person's choice, and read what the shell needs of the host PE. It keeps the target
// access headers out of the files that work on the network model.
#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>

class CTargetConnection;

// What the shell reads of the host PE after a connection.
struct SHostIdentity
{
    uint16_t wDeviceID = 0;
    uint16_t wVendorID = 0;
    uint16_t wShortDestID = 0xFFFF; // the host's IDs as the server reports them
    uint16_t wLongDestID = 0xFFFF;
    bool bHasLongDestID = false;
    int iNumLocalPorts = 0;
    uint32_t ulFeatures = 0; // Processing Element Features CAR
    bool bUsesDestID = true; // answers to a destination ID (anything but a plain switch)
    uint32_t ulComponentTag = 0;
};

class CTargetSession
{
public:
    CTargetSession();
    ~CTargetSession();
    CTargetSession(const CTargetSession&) = delete;
    CTargetSession& operator=(const CTargetSession&) = delete;

    // Opens the target of a connection choice (1..9) and its address word; the link layers show
    // their own messages on failure, and the link stays closed.
    bool Open(int32_t nChoice, uint32_t ulAddressWord);
    // The server port of the next Open of a server link, in place of the settings' port while that
    // connection lasts (0: the settings' port). One Open takes it.
    void SetNextServerPort(uint16_t wPort) { m_wNextPort = wPort; }
    // Sends the closure message, shuts the link down and closes it; the settings' server port
    // stands again.
    void Close();
    bool IsConnected() const;

    // Reads the host PE's identity, features and component tag through the open link. On failure
    // shows the status text and returns false.
    bool ReadHostIdentity(SHostIdentity* pIdentity);

    // Turns the host PE's RapidIO interface on (host access). Shows a failure and returns false.
    bool EnableHostInterface(const SHostIdentity& identity);

    // "%2u.%2u.%2u.%2u" for a server, or the name of the direct link.
    QString TargetName() const;
    int32_t ConnectionType() const;
    uint32_t AddressWord() const;
    // The capability mask of the server's extended identity.
    uint32_t Capabilities() const;
    // The lines of the server information dialog.
    QStringList ServerInfo() const;

private:
    void RestoreServerPort();

    std::unique_ptr<CTargetConnection> m_pConnection;
    uint16_t m_wNextPort = 0;
    bool m_bPortReplaced = false;
    uint16_t m_wSettingsPort = 0; // the settings' port while a chosen one replaces it
};

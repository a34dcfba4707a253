// Opening a target and closing it: the link of the chosen kind, the server's identity and
// capabilities, the version check and the target's name for the title bar.
#pragma once

#include "PETypes.h"
#include "ServerProtocol.h"
#include "TargetLink.h"

#include <QString>
#include <QStringList>
#include <cstdint>

// The link kind of a connection choice (EConnectionType; eLinkNone for a value outside 1..9).
ELinkKind LinkKindOfConnection(int32_t nChoice);

// The server's information as the server information dialog lists it, one line each.
QStringList ServerInfoLines(const SServerInfo& info);

class CTargetConnection
{
public:
    CTargetConnection();
    ~CTargetConnection();

    // Opens the target of a connection choice and its 32-bit address word. Shows its own messages
    // and returns false on any failure, leaving the link closed.
    bool OpenTarget(int32_t nChoice, uint32_t ulAddressWord);
    // Sends the closure message (not on JTAG or I2C), shuts the link down and closes it.
    void Disconnect();
    bool IsConnected() const;

    CTargetLink& Link() { return m_link; }
    const SServerInfo& ServerInfo() const { return m_info; }
    uint32_t Capabilities() const { return m_ulCapabilities; }
    int32_t ConnectionType() const { return m_nChoice; }
    uint32_t AddressWord() const { return m_ulAddressWord; }
    // "%2u.%2u.%2u.%2u" for a server, or the name of the direct link.
    const QString& TargetName() const { return m_strName; }

private:
    CTargetLink m_link;
    SServerInfo m_info;
    uint32_t m_ulCapabilities = 0;
    int32_t m_nChoice = 0;
    uint32_t m_ulAddressWord = 0;
    QString m_strName;
};

// The one object that stands for the connection to the target, whatever carries it: a TCP or
// UDP socket to a server, a serial line, a JTAG or I2C pod, or a local PCIe bridge.
#pragma once

#include "DirectLinks.h"

#include <cstdint>
#include <memory>

enum ELinkKind : int32_t
{
    eLinkTCP = 0,
    eLinkBroadcastSender = 1,
    eLinkBroadcastReceiver = 2,
    eLinkUDP = 3,
    eLinkRS232 = 4,
    eLinkJTAG = 5,
    eLinkI2C = 6,
    eLinkPCIe = 7,
    eLinkNone = 8
};

class CRS232CommsManager;

class CTargetLink
{
public:
    CTargetLink();
    ~CTargetLink();
    CTargetLink(const CTargetLink&) = delete;
    CTargetLink& operator=(const CTargetLink&) = delete;

    // Sockets and handles closed, pointers empty, the open flags clear.
    void Reset();
    // Opens a link of eKind to ulIPAddress (host order); fails if the link is connected.
    bool Open(ELinkKind eKind, uint32_t ulIPAddress);
    bool IsConnected() const;
    // Sends the whole buffer; a short send is a failure with no message.
    bool Send(const void* pvBuffer, uint32_t ulLength);
    // Waits for *pulLength bytes with the wait limit applied afresh to every select. True when all
    // have come; *pulLength is the number that came either way.
    bool Receive(void* pvBuffer, uint32_t* pulLength, uint32_t ulSeconds, uint32_t ulMicroSeconds);
    // Sends to the broadcast address and port of the search.
    bool SendBroadcast(const void* pvBuffer, uint32_t ulLength);
    // One select and one recvfrom; the sender's IPv4 address in host order.
    bool ReceiveDatagram(void* pvBuffer, uint32_t* pulLength, uint32_t ulSeconds, uint32_t ulMicroSeconds,
                         uint32_t* pulSender);
    // Ends the link in an orderly way, then closes what is left.
    void Shutdown();
    void Close();

    // Installs the register path of a direct link that its own layer opened (JTAG, I2C, PCIe).
    void AttachPod(ELinkKind eKind, std::unique_ptr<IRegisterPod> pPod);
    void AttachBridge(std::unique_ptr<ITsi721Bridge> pBridge);

    ELinkKind eKind = eLinkTCP; // a new link is a closed socket link
    int32_t lJTAGDevice = -1;
    uint8_t bI2C7Bit = 1;
    uint8_t uchI2CDevice = 0;
    uint16_t wI2CAddress = 0;
    uint8_t uchI2CChannel = 1;
    int32_t lI2CHandle = -1;
    ITsi721Bridge* pTsi721 = nullptr;
    int sSocket = -1;
    uint32_t ulIPAddress = 0;
    CRS232CommsManager* pRS232 = nullptr;
    uint32_t ulCOMPort = 0;
    int32_t lBaudRate = -1;
    uint8_t bJTAGOpen = 0;
    uint8_t bI2COpen = 0;
    uint8_t bTsi721Open = 0;
    uint16_t wTsi721Device = 0;

    // The register path of a JTAG or I2C link, when open.
    IRegisterPod* Pod() const { return m_pPod.get(); }

private:
    bool OpenTcp();
    bool OpenUdp();
    bool OpenBroadcastSender();
    bool OpenBroadcastReceiver();
    bool OpenDirect();
    bool WaitReadable(uint32_t ulSeconds, uint32_t ulMicroSeconds) const;

    std::unique_ptr<IRegisterPod> m_pPod;
    std::unique_ptr<ITsi721Bridge> m_pBridge;
};

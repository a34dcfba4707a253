// The one object that stands for the connection to the target, whatever carries it: a TCP or
// UDP socket to a server, a serial line, a JTAG or I2C pod, or a local PCIe bridge.
#pragma once

#include "DirectLinks.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <sys/types.h>

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
    // Sends the pieces in order, each whole. A TCP stream takes them in one go; a datagram link
    // and a serial line send every piece on its own, as their peers count on that framing.
    struct SPiece
    {
        const void* pv;
        uint32_t ulLength;
    };
    bool SendPieces(const SPiece* pPieces, uint32_t ulCount);
    // Waits for *pulLength bytes with the wait limit applied afresh to every wait. True when all
    // have come; *pulLength is the number that came either way. A UDP link takes datagrams from
    // the server's address and port only.
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
    std::string strCOMDevice; // the serial device of ulCOMPort (a path under /dev)
    int32_t lFlowControl = 0; // ERS232Flow
    uint8_t bJTAGOpen = 0;
    uint8_t bI2COpen = 0;
    uint8_t bTsi721Open = 0;
    uint16_t wTsi721Device = 0;

    // The register path of a JTAG or I2C link, when open.
    IRegisterPod* Pod() const { return m_pPod.get(); }

    // Replies that missed their wait limit on this connection and may still come. The front end
    // notes them here and throws them away when they turn up, so that none passes for the answer
    // to a later request. Cleared whenever the link opens or closes.
    struct SLateReplies
    {
        static constexpr uint32_t kAnyLength = 0xFFFFFFFFu;
        static constexpr uint32_t kMaxReplies = 8;
        struct SReply
        {
            uint32_t ulMessageID;
            uint32_t ulLength; // kAnyLength when the request does not fix it
        };
        std::array<SReply, kMaxReplies> replies{}; // in the order they are due
        uint32_t ulCount = 0;
        uint32_t ulRestBytes = 0;            // rest of a reply whose header came
        std::array<uint8_t, 8> abHeadPart{}; // start of a header that came in part
        uint32_t ulHeadPart = 0;

        bool Empty() const { return ulCount == 0 && ulRestBytes == 0 && ulHeadPart == 0; }
        void Clear() { *this = SLateReplies{}; }
        // Notes one more; the oldest goes when there are too many.
        void Add(uint32_t ulMessageID, uint32_t ulLength);
        void PopFront();
    };
    SLateReplies& Late() { return m_late; }

private:
    bool OpenTcp();
    bool OpenUdp();
    bool OpenBroadcastSender();
    bool OpenBroadcastReceiver();
    bool OpenDirect();
    bool OpenRS232();
    bool WaitReadable(uint32_t ulSeconds, uint32_t ulMicroSeconds) const;
    // One receive of at most ulMax bytes, waiting up to the limit: the count, 0 for a closed
    // connection, -1 for an error (errno) or, with *pbTimedOut set, an expired limit.
    ssize_t ReceiveSome(uint8_t* pbBuffer, uint32_t ulMax, uint32_t ulSeconds, uint32_t ulMicroSeconds,
                        bool* pbTimedOut);
    ssize_t ReceiveStream(uint8_t* pbBuffer, uint32_t ulMax, uint32_t ulSeconds, uint32_t ulMicroSeconds,
                          bool* pbTimedOut);
    ssize_t ReceiveFromServer(uint8_t* pbBuffer, uint32_t ulMax, uint32_t ulSeconds, uint32_t ulMicroSeconds,
                              bool* pbTimedOut);
    void ForgetStreamState();

    std::unique_ptr<CRS232CommsManager> m_pRS232;
    uint64_t m_ullLineErrors = 0; // bad frames of the serial line already taken into account
    std::unique_ptr<IRegisterPod> m_pPod;
    std::unique_ptr<ITsi721Bridge> m_pBridge;
    SLateReplies m_late;
    // TCP: bytes that one receive brought beyond what was asked, kept for the next.
    std::array<uint8_t, 4096> m_abAhead{};
    uint32_t m_ulAheadStart = 0;
    uint32_t m_ulAheadEnd = 0;
    // TCP: the receive timeout set on the socket, in microseconds; ~0 when none is set.
    uint64_t m_ullTimeoutSet = ~0ull;
};

#include "TargetLink.h"

#include "JtagLink.h"

#include "I2cLink.h"
#include "LinkSettings.h"
#include "MportBridge.h"
#include "RS232Comms.h"
#include "SocketErrorText.h"
#include "UserInterface.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

namespace
{
void SocketMessage(const char* pszText, int nError)
{
    ShowMessage(QString::asprintf("%s\nError is %d, '%s'", pszText, nError,
                                  SocketErrorText(nError).toLocal8Bit().constData()));
}

sockaddr_in Address(uint32_t ulAddress, uint16_t wPort)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(wPort);
    address.sin_addr.s_addr = htonl(ulAddress);
    return address;
}

// RAII for the wait cursor around a blocking connect.
struct SBusy
{
    SBusy() { UI().SetBusy(true); }
    ~SBusy() { UI().SetBusy(false); }
};
} // namespace

CTargetLink::CTargetLink()
{
    Reset();
}

CTargetLink::~CTargetLink()
{
    if (sSocket >= 0)
    {
        ::close(sSocket);
    }
    if (m_pPod)
    {
        m_pPod->Close();
    }
    if (m_pBridge)
    {
        m_pBridge->Close();
    }
}

void CTargetLink::SLateReplies::Add(uint32_t ulMessageID, uint32_t ulLength)
{
    if (ulCount == kMaxReplies)
    {
        PopFront();
    }
    replies[ulCount++] = SReply{ulMessageID, ulLength};
}

void CTargetLink::SLateReplies::PopFront()
{
    if (ulCount)
    {
        std::move(replies.begin() + 1, replies.begin() + ulCount, replies.begin());
        --ulCount;
    }
}

void CTargetLink::ForgetStreamState()
{
    m_late.Clear();
    m_ulAheadStart = 0;
    m_ulAheadEnd = 0;
    m_ullTimeoutSet = ~0ull;
}

void CTargetLink::Reset()
{
    ForgetStreamState();
    sSocket = -1;
    lI2CHandle = -1;
    lJTAGDevice = -1;
    pTsi721 = nullptr;
    pRS232 = nullptr;
    bJTAGOpen = 0;
    bI2COpen = 0;
    bTsi721Open = 0;
    ulCOMPort = 0;
    lBaudRate = -1;
}

bool CTargetLink::Open(ELinkKind eNewKind, uint32_t ulNewAddress)
{
    if (IsConnected())
    {
        return false;
    }
    ForgetStreamState();
    eKind = eNewKind;
    ulIPAddress = ulNewAddress;
    switch (eKind)
    {
    case eLinkTCP:
        return OpenTcp();
    case eLinkUDP:
        return OpenUdp();
    case eLinkBroadcastSender:
        return OpenBroadcastSender();
    case eLinkBroadcastReceiver:
        return OpenBroadcastReceiver();
    case eLinkRS232:
        return OpenRS232();
    case eLinkNone:
        return true;
    default:
        return OpenDirect();
    }
}

bool CTargetLink::OpenTcp()
{
    sSocket = ::socket(AF_INET, SOCK_STREAM, 0);
    if (sSocket < 0)
    {
        ShowMessage(QStringLiteral("Unable to create response socket."));
        sSocket = -1;
        return false;
    }
    // Flash data go in pieces after their header: without this each piece would wait for the
    // peer's delayed acknowledgement.
    const int nOne = 1;
    ::setsockopt(sSocket, IPPROTO_TCP, TCP_NODELAY, &nOne, sizeof(nOne));
    const sockaddr_in address = Address(ulIPAddress, LinkSettings().wServerPort);
    int nResult = 0;
    {
        SBusy busy;
        do
        {
            nResult = ::connect(sSocket, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
        } while (nResult < 0 && errno == EINTR);
    }
    if (nResult < 0)
    {
        const int nError = errno;
        if (nError == ECONNREFUSED)
        {
            ShowMessage(QStringLiteral(
                "Unable to connect to the Norvanta Server.\n\nThe server is either not currently "
                "running, or it is busy with another\nNorvanta Client connection."));
        }
        else
        {
            SocketMessage("Unable to connect to the Norvanta Server.", nError);
        }
        Close();
        return false;
    }
    return true;
}

bool CTargetLink::OpenUdp()
{
    sSocket = ::socket(AF_INET, SOCK_DGRAM, 0);
    if (sSocket < 0)
    {
        ShowMessage(QStringLiteral("Unable to create UDP RxTx socket."));
        sSocket = -1;
        return false;
    }
    const sockaddr_in address = Address(INADDR_ANY, LinkSettings().wUdpLocalPort);
    if (::bind(sSocket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) < 0)
    {
        SocketMessage("Unable to configure system to receive broadcasts from Norvanta Servers.", errno);
        Close();
        return false;
    }
    return true;
}

bool CTargetLink::OpenBroadcastSender()
{
    sSocket = ::socket(AF_INET, SOCK_DGRAM, 0);
    if (sSocket < 0)
    {
        ShowMessage(QStringLiteral("Unable to create broadcast socket."));
        sSocket = -1;
        return false;
    }
    const int nOne = 1;
    if (::setsockopt(sSocket, SOL_SOCKET, SO_BROADCAST, &nOne, sizeof(nOne)) < 0)
    {
        SocketMessage("Unable to configure system for broadcast to all Norvanta Servers.", errno);
        Close();
        return false;
    }
    return true;
}

bool CTargetLink::OpenBroadcastReceiver()
{
    sSocket = ::socket(AF_INET, SOCK_DGRAM, 0);
    if (sSocket < 0)
    {
        ShowMessage(QStringLiteral("Unable to create response socket."));
        sSocket = -1;
        return false;
    }
    const sockaddr_in address = Address(INADDR_ANY, LinkSettings().wReplyPort);
    if (::bind(sSocket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) < 0)
    {
        SocketMessage("Unable to configure system to receive broadcasts from Norvanta Servers.", errno);
        Close();
        return false;
    }
    return true;
}

bool CTargetLink::OpenDirect()
{
    // The serial line and the pods open through their own layers, which attach their register
    // path here once the device answers.
    switch (eKind)
    {
    case eLinkJTAG:
        // The address word names the chain entry: (pod << 16) | chain position.
        return OpenJtagLink(*this, ulIPAddress);
    case eLinkI2C:
        return OpenI2CLink(*this);
    case eLinkPCIe:
    {
        // The mport layer shows why when the bridge does not open.
        std::unique_ptr<ITsi721Bridge> pBridge = OpenMportBridge(wTsi721Device);
        if (!pBridge)
        {
            return false;
        }
        AttachBridge(std::move(pBridge));
        return true;
    }
    default:
        break;
    }
    return false;
}

bool CTargetLink::OpenRS232()
{
    // A new port every time: a line that failed may have come back under the same name.
    m_pRS232.reset();
    pRS232 = nullptr;
    auto pManager = std::make_unique<CRS232CommsManager>(QString::fromStdString(strCOMDevice), ulCOMPort);
    if (!pManager->Init(lBaudRate, static_cast<ERS232Flow>(lFlowControl)))
    {
        return false;
    }
    m_pRS232 = std::move(pManager);
    pRS232 = m_pRS232.get();
    m_ullLineErrors = 0;
    return true;
}

void CTargetLink::AttachPod(ELinkKind eNewKind, std::unique_ptr<IRegisterPod> pPod)
{
    eKind = eNewKind;
    m_pPod = std::move(pPod);
    if (eKind == eLinkJTAG)
    {
        bJTAGOpen = m_pPod ? 1 : 0;
    }
    else if (eKind == eLinkI2C)
    {
        bI2COpen = m_pPod ? 1 : 0;
        lI2CHandle = m_pPod ? 0 : -1;
    }
}

void CTargetLink::AttachBridge(std::unique_ptr<ITsi721Bridge> pBridge)
{
    eKind = eLinkPCIe;
    m_pBridge = std::move(pBridge);
    pTsi721 = m_pBridge.get();
    bTsi721Open = m_pBridge ? 1 : 0;
}

bool CTargetLink::IsConnected() const
{
    switch (eKind)
    {
    case eLinkRS232:
        return pRS232 != nullptr;
    case eLinkJTAG:
        return bJTAGOpen != 0;
    case eLinkI2C:
        return bI2COpen != 0;
    case eLinkPCIe:
        return bTsi721Open != 0;
    case eLinkNone:
        return true;
    default:
        return sSocket >= 0;
    }
}

bool CTargetLink::Send(const void* pvBuffer, uint32_t ulLength)
{
    ssize_t nSent = -1;
    switch (eKind)
    {
    case eLinkTCP:
        if (sSocket < 0)
        {
            return false;
        }
        nSent = ::send(sSocket, pvBuffer, ulLength, MSG_NOSIGNAL);
        break;
    case eLinkUDP:
    case eLinkBroadcastSender:
    case eLinkBroadcastReceiver:
    {
        if (sSocket < 0)
        {
            return false;
        }
        const sockaddr_in address = Address(ulIPAddress, LinkSettings().wServerPort);
        nSent = ::sendto(sSocket, pvBuffer, ulLength, 0, reinterpret_cast<const sockaddr*>(&address),
                         sizeof(address));
        break;
    }
    case eLinkRS232:
        return pRS232 && pRS232->Send(pvBuffer, ulLength);
    default:
        return false;
    }
    return nSent == static_cast<ssize_t>(ulLength);
}

bool CTargetLink::SendPieces(const SPiece* pPieces, uint32_t ulCount)
{
    constexpr uint32_t kMaxPieces = 8;
    if (eKind == eLinkTCP && ulCount <= kMaxPieces)
    {
        if (sSocket < 0)
        {
            return false;
        }
        // One system call for the whole message: the stream carries the same bytes either way.
        iovec aPieces[kMaxPieces];
        msghdr message{};
        size_t nTotal = 0;
        for (uint32_t i = 0; i < ulCount; ++i)
        {
            if (pPieces[i].ulLength)
            {
                aPieces[message.msg_iovlen].iov_base = const_cast<void*>(pPieces[i].pv);
                aPieces[message.msg_iovlen].iov_len = pPieces[i].ulLength;
                ++message.msg_iovlen;
                nTotal += pPieces[i].ulLength;
            }
        }
        message.msg_iov = aPieces;
        ssize_t nSent = 0;
        do
        {
            nSent = ::sendmsg(sSocket, &message, MSG_NOSIGNAL);
        } while (nSent < 0 && errno == EINTR);
        return nSent >= 0 && static_cast<size_t>(nSent) == nTotal;
    }
    for (uint32_t i = 0; i < ulCount; ++i)
    {
        if (pPieces[i].ulLength && !Send(pPieces[i].pv, pPieces[i].ulLength))
        {
            return false;
        }
    }
    return true;
}

bool CTargetLink::WaitReadable(uint32_t ulSeconds, uint32_t ulMicroSeconds) const
{
    fd_set readSet;
    FD_ZERO(&readSet);
    FD_SET(sSocket, &readSet);
    timeval limit{static_cast<time_t>(ulSeconds), static_cast<suseconds_t>(ulMicroSeconds)};
    int nReady = 0;
    do
    {
        nReady = ::select(sSocket + 1, &readSet, nullptr, nullptr, &limit);
    } while (nReady < 0 && errno == EINTR);
    return nReady > 0;
}

bool CTargetLink::Receive(void* pvBuffer, uint32_t* pulLength, uint32_t ulSeconds, uint32_t ulMicroSeconds)
{
    const uint32_t ulWanted = *pulLength;
    if (static_cast<int32_t>(ulWanted) <= 0)
    {
        return true;
    }
    if (eKind == eLinkRS232)
    {
        if (!pRS232)
        {
            *pulLength = 0;
            return false;
        }
        // A reply the line damaged is gone for good, and whole replies are all a serial link
        // hands on: those noted as late will not come, and the next unit is this request's.
        const uint64_t ullLineErrors = pRS232->Comms().LineErrors();
        if (ullLineErrors != m_ullLineErrors)
        {
            m_ullLineErrors = ullLineErrors;
            m_late.ulCount = 0;
        }
        return pRS232->Receive(pvBuffer, pulLength, ulSeconds, ulMicroSeconds);
    }
    *pulLength = 0;
    if (sSocket < 0 || (eKind != eLinkTCP && eKind != eLinkUDP))
    {
        return false;
    }
    auto* pbBuffer = static_cast<uint8_t*>(pvBuffer);
    uint32_t ulReceived = 0;
    while (ulReceived < ulWanted)
    {
        bool bTimedOut = false;
        const ssize_t nGot =
            ReceiveSome(pbBuffer + ulReceived, ulWanted - ulReceived, ulSeconds, ulMicroSeconds, &bTimedOut);
        if (nGot <= 0)
        {
            const int nError = errno;
            *pulLength = ulReceived;
            if (nGot == 0)
            {
                // An orderly close by the peer sets no error.
                SocketMessage("Norvanta Server has dropped the connection.", 0);
            }
            else if (!bTimedOut)
            {
                SocketMessage("Unable to get data from Norvanta Server.", nError);
            }
            return false;
        }
        ulReceived += static_cast<uint32_t>(nGot);
    }
    *pulLength = ulReceived;
    return true;
}

ssize_t CTargetLink::ReceiveSome(uint8_t* pbBuffer, uint32_t ulMax, uint32_t ulSeconds,
                                 uint32_t ulMicroSeconds, bool* pbTimedOut)
{
    return eKind == eLinkTCP ? ReceiveStream(pbBuffer, ulMax, ulSeconds, ulMicroSeconds, pbTimedOut)
                             : ReceiveFromServer(pbBuffer, ulMax, ulSeconds, ulMicroSeconds, pbTimedOut);
}

ssize_t CTargetLink::ReceiveStream(uint8_t* pbBuffer, uint32_t ulMax, uint32_t ulSeconds,
                                   uint32_t ulMicroSeconds, bool* pbTimedOut)
{
    if (m_ulAheadStart < m_ulAheadEnd)
    {
        const uint32_t ulTake = std::min(ulMax, m_ulAheadEnd - m_ulAheadStart);
        std::memcpy(pbBuffer, m_abAhead.data() + m_ulAheadStart, ulTake);
        m_ulAheadStart += ulTake;
        return ulTake;
    }
    m_ulAheadStart = 0;
    m_ulAheadEnd = 0;
    // The wait and the read are one system call: the socket's own receive timeout is the limit.
    // A limit of 0 only takes what is there.
    const uint64_t ullLimit = static_cast<uint64_t>(ulSeconds) * 1000000u + ulMicroSeconds;
    int nFlags = 0;
    if (ullLimit == 0)
    {
        nFlags = MSG_DONTWAIT;
    }
    else if (ullLimit != m_ullTimeoutSet)
    {
        const timeval limit{static_cast<time_t>(ullLimit / 1000000u),
                            static_cast<suseconds_t>(ullLimit % 1000000u)};
        if (::setsockopt(sSocket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit)) == 0)
        {
            m_ullTimeoutSet = ullLimit;
        }
        else
        {
            m_ullTimeoutSet = ~0ull;
            if (!WaitReadable(ulSeconds, ulMicroSeconds))
            {
                *pbTimedOut = true;
                return -1;
            }
            nFlags = MSG_DONTWAIT;
        }
    }
    // A small request reads what has come into the buffer ahead, so that a reply's header, body
    // and data usually take one receive between them.
    const bool bAhead = ulMax < m_abAhead.size();
    uint8_t* pbInto = bAhead ? m_abAhead.data() : pbBuffer;
    const size_t nRoom = bAhead ? m_abAhead.size() : ulMax;
    ssize_t nGot = 0;
    do
    {
        nGot = ::recv(sSocket, pbInto, nRoom, nFlags);
    } while (nGot < 0 && errno == EINTR);
    if (nGot < 0)
    {
        *pbTimedOut = errno == EAGAIN || errno == EWOULDBLOCK;
        return -1;
    }
    if (nGot == 0 || !bAhead)
    {
        return nGot;
    }
    const uint32_t ulTake = std::min(ulMax, static_cast<uint32_t>(nGot));
    std::memcpy(pbBuffer, m_abAhead.data(), ulTake);
    m_ulAheadStart = ulTake;
    m_ulAheadEnd = static_cast<uint32_t>(nGot);
    return ulTake;
}

ssize_t CTargetLink::ReceiveFromServer(uint8_t* pbBuffer, uint32_t ulMax, uint32_t ulSeconds,
                                       uint32_t ulMicroSeconds, bool* pbTimedOut)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline =
        Clock::now() + std::chrono::seconds(ulSeconds) + std::chrono::microseconds(ulMicroSeconds);
    const uint32_t ulServer = htonl(ulIPAddress);
    const uint16_t wServerPort = htons(LinkSettings().wServerPort);
    for (;;)
    {
        sockaddr_in sender{};
        socklen_t nSenderSize = sizeof(sender);
        ssize_t nGot = ::recvfrom(sSocket, pbBuffer, ulMax, MSG_DONTWAIT,
                                  reinterpret_cast<sockaddr*>(&sender), &nSenderSize);
        if (nGot < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR))
        {
            const auto remaining =
                std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now()).count();
            if (remaining <= 0 || !WaitReadable(static_cast<uint32_t>(remaining / 1000000),
                                                static_cast<uint32_t>(remaining % 1000000)))
            {
                *pbTimedOut = true;
                return -1;
            }
            continue;
        }
        if (nGot < 0)
        {
            return -1;
        }
        // Only the server answers: a datagram from any other address or port is dropped, and the
        // wait goes on within the same limit.
        if (sender.sin_addr.s_addr == ulServer && sender.sin_port == wServerPort)
        {
            return nGot;
        }
    }
}

bool CTargetLink::SendBroadcast(const void* pvBuffer, uint32_t ulLength)
{
    if (eKind == eLinkRS232)
    {
        return Send(pvBuffer, ulLength);
    }
    const sockaddr_in address = Address(LinkSettings().ulBroadcastAddress, LinkSettings().wBroadcastPort);
    const ssize_t nSent = sSocket < 0
                              ? -1
                              : ::sendto(sSocket, pvBuffer, ulLength, 0,
                                         reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    if (nSent != static_cast<ssize_t>(ulLength))
    {
        SocketMessage("Unable to transmit broadcast message to the Norvanta Server.", nSent < 0 ? errno : 0);
        return false;
    }
    return true;
}

bool CTargetLink::ReceiveDatagram(void* pvBuffer, uint32_t* pulLength, uint32_t ulSeconds,
                                  uint32_t ulMicroSeconds, uint32_t* pulSender)
{
    if (sSocket < 0 || !WaitReadable(ulSeconds, ulMicroSeconds))
    {
        *pulLength = 0;
        *pulSender = 0;
        return false;
    }
    sockaddr_in sender{};
    socklen_t nSenderSize = sizeof(sender);
    const ssize_t nGot =
        ::recvfrom(sSocket, pvBuffer, *pulLength, 0, reinterpret_cast<sockaddr*>(&sender), &nSenderSize);
    if (nGot < 0)
    {
        *pulLength = 0;
        *pulSender = 0;
        return false;
    }
    *pulLength = static_cast<uint32_t>(nGot);
    *pulSender = ntohl(sender.sin_addr.s_addr);
    return true;
}

void CTargetLink::Shutdown()
{
    if (m_pRS232)
    {
        m_pRS232->Close();
        m_pRS232.reset();
    }
    pRS232 = nullptr;
    if (bJTAGOpen)
    {
        if (m_pPod)
        {
            m_pPod->Close();
            m_pPod.reset();
        }
        bJTAGOpen = 0;
        lJTAGDevice = -1;
    }
    if (bI2COpen)
    {
        if (m_pPod)
        {
            m_pPod->Close();
            m_pPod.reset();
        }
        lI2CHandle = -1;
        bI2COpen = 0;
    }
    if (bTsi721Open)
    {
        if (m_pBridge)
        {
            m_pBridge->Close();
            m_pBridge.reset();
        }
        pTsi721 = nullptr;
        bTsi721Open = 0;
    }
    if (!IsConnected() || sSocket < 0)
    {
        return;
    }
    // A datagram socket has nothing to shut down; only a connected stream does.
    if (eKind == eLinkTCP && ::shutdown(sSocket, SHUT_RDWR) < 0 && errno != ENOTCONN)
    {
        SocketMessage("Unable to gracefully shut down connection to Norvanta Server.", errno);
    }
}

void CTargetLink::Close()
{
    Shutdown();
    if (sSocket >= 0)
    {
        if (::close(sSocket) < 0)
        {
            SocketMessage("Unable to close connection to Norvanta Server.", errno);
        }
        sSocket = -1;
    }
    ForgetStreamState();
}

#include "ScriptedServer.h"

#include <arpa/inet.h>
#include <chrono>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace nvtest
{
std::vector<uint8_t> Bytes(const std::string& strHex)
{
    std::vector<uint8_t> bytes;
    std::string strDigits;
    for (const char ch : strHex)
    {
        if (ch != ' ' && ch != '\n')
        {
            strDigits += ch;
        }
        if (strDigits.size() == 2)
        {
            bytes.push_back(static_cast<uint8_t>(std::stoul(strDigits, nullptr, 16)));
            strDigits.clear();
        }
    }
    return bytes;
}

CScriptedServer::CScriptedServer() = default;

CScriptedServer::~CScriptedServer()
{
    if (m_thread.joinable())
    {
        m_thread.join();
    }
    if (m_nListen >= 0)
    {
        ::close(m_nListen);
    }
}

void CScriptedServer::Expect(size_t nBytes, std::vector<std::vector<uint8_t>> answer, bool bHangUp,
                             int nDelayMs)
{
    m_steps.push_back(SStep{nBytes, std::move(answer), bHangUp, nDelayMs});
}

uint16_t CScriptedServer::Start()
{
    m_nListen = ::socket(AF_INET, SOCK_STREAM, 0);
    const int nOne = 1;
    ::setsockopt(m_nListen, SOL_SOCKET, SO_REUSEADDR, &nOne, sizeof(nOne));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(m_nListen, reinterpret_cast<sockaddr*>(&address), sizeof(address));
    ::listen(m_nListen, 1);
    socklen_t nSize = sizeof(address);
    ::getsockname(m_nListen, reinterpret_cast<sockaddr*>(&address), &nSize);
    m_thread = std::thread([this] { Run(); });
    return ntohs(address.sin_port);
}

void CScriptedServer::Run()
{
    pollfd accept{m_nListen, POLLIN, 0};
    if (::poll(&accept, 1, 20000) <= 0)
    {
        return;
    }
    const int nClient = ::accept(m_nListen, nullptr, nullptr);
    if (nClient < 0)
    {
        return;
    }
    const int nOne = 1;
    ::setsockopt(nClient, IPPROTO_TCP, TCP_NODELAY, &nOne, sizeof(nOne));
    for (const SStep& step : m_steps)
    {
        size_t nGot = 0;
        while (nGot < step.nExpect)
        {
            pollfd wait{nClient, POLLIN, 0};
            if (::poll(&wait, 1, 20000) <= 0)
            {
                ::close(nClient);
                return;
            }
            uint8_t abBuffer[4096];
            const ssize_t n = ::recv(nClient, abBuffer, std::min(sizeof(abBuffer), step.nExpect - nGot), 0);
            if (n <= 0)
            {
                ::close(nClient);
                return;
            }
            m_received.insert(m_received.end(), abBuffer, abBuffer + n);
            nGot += static_cast<size_t>(n);
        }
        if (step.nDelayMs)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(step.nDelayMs));
        }
        for (const auto& piece : step.answer)
        {
            ::send(nClient, piece.data(), piece.size(), MSG_NOSIGNAL);
        }
        if (step.bHangUp)
        {
            ::close(nClient);
            return;
        }
    }
    // Let the client read the last answer and close its side first.
    pollfd wait{nClient, POLLIN, 0};
    ::poll(&wait, 1, 2000);
    ::close(nClient);
}

std::vector<uint8_t> CScriptedServer::Finish()
{
    if (m_thread.joinable())
    {
        m_thread.join();
    }
    return m_received;
}
} // namespace nvtest

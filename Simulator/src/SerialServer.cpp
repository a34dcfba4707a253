#include "nvsim/SerialServer.h"

#include "SerialFraming.h"
#include "ServerCodec.h"
#include "TextUtil.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

namespace nvsim
{
namespace
{
using Clock = std::chrono::steady_clock;

// A part of a request with no byte after it for this long is thrown away (see the framing page).
constexpr std::chrono::milliseconds kSilenceLimit{500};
// How often the loop looks at the clock while the line is quiet.
constexpr int kPollMs = 100;

void CloseFd(int& fd)
{
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}
} // namespace

class CSimSerialServer::CImpl
{
public:
    CImpl(CSimFabric& fabric, std::function<void(const std::string&)> fnLog)
        : m_fabric(fabric), m_fnLog(std::move(fnLog))
    {
    }

    bool Start(std::string* pError);
    void Stop();
    void Run();
    void TakeRequests();
    bool WriteAll(const uint8_t* pb, size_t n);
    void SendReply(std::vector<uint8_t> line);

    CSimFabric& m_fabric;
    std::function<void(const std::string&)> m_fnLog;
    int m_master = -1;
    int m_slave = -1; // held open so the line stays up between clients
    int m_wake[2] = {-1, -1};
    std::string m_strPath;
    std::thread m_thread;
    serial::CFrameReader m_reader;
    Clock::time_point m_lastByte{};
    Clock::time_point m_start = Clock::now();
    mutable std::mutex m_mutex; // guards the two below
    SSerialLineFaults m_faults;
    SSerialCounters m_counters;
};

bool CSimSerialServer::CImpl::Start(std::string* pError)
{
    auto fail = [&](const char* pszWhat)
    {
        *pError = std::string("serial line: ") + pszWhat + ": " + std::strerror(errno);
        Stop();
        return false;
    };
    m_master = ::posix_openpt(O_RDWR | O_NOCTTY);
    if (m_master < 0)
        return fail("cannot make a pseudo-terminal");
    if (::grantpt(m_master) != 0 || ::unlockpt(m_master) != 0)
        return fail("cannot unlock the pseudo-terminal");
    char szName[128] = "";
    if (::ptsname_r(m_master, szName, sizeof(szName)) != 0)
        return fail("cannot name the pseudo-terminal");
    m_strPath = szName;
    m_slave = ::open(szName, O_RDWR | O_NOCTTY);
    if (m_slave < 0)
        return fail("cannot open the pseudo-terminal");
    // Raw from the start: no echo and no line editing, whatever the client does before it sets
    // its own attributes.
    termios attributes{};
    if (::tcgetattr(m_slave, &attributes) != 0)
        return fail("cannot read the line settings");
    ::cfmakeraw(&attributes);
    if (::tcsetattr(m_slave, TCSANOW, &attributes) != 0)
        return fail("cannot set the line raw");
    if (::pipe2(m_wake, O_CLOEXEC) != 0)
        return fail("cannot make the wake-up pipe");
    ::fcntl(m_master, F_SETFL, ::fcntl(m_master, F_GETFL) | O_NONBLOCK);
    m_thread = std::thread([this] { Run(); });
    return true;
}

void CSimSerialServer::CImpl::Stop()
{
    if (m_thread.joinable())
    {
        const char c = 0;
        [[maybe_unused]] const ssize_t n = ::write(m_wake[1], &c, 1);
        m_thread.join();
    }
    CloseFd(m_master);
    CloseFd(m_slave);
    CloseFd(m_wake[0]);
    CloseFd(m_wake[1]);
}

bool CSimSerialServer::CImpl::WriteAll(const uint8_t* pb, size_t n)
{
    while (n)
    {
        const ssize_t nDone = ::write(m_master, pb, n);
        if (nDone < 0 && errno == EINTR)
            continue;
        if (nDone < 0 && errno == EAGAIN)
        {
            pollfd out{m_master, POLLOUT, 0};
            ::poll(&out, 1, kPollMs);
            continue;
        }
        if (nDone <= 0)
            return false;
        pb += nDone;
        n -= static_cast<size_t>(nDone);
    }
    return true;
}

void CSimSerialServer::CImpl::SendReply(std::vector<uint8_t> line)
{
    SSerialLineFaults faults;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        faults = m_faults;
        m_faults.ulDropByte = 0;
    }
    if (faults.ulDropByte && faults.ulDropByte <= line.size())
        line.erase(line.begin() + static_cast<std::ptrdiff_t>(faults.ulDropByte - 1));
    const size_t nPiece = faults.ulPieceBytes ? faults.ulPieceBytes : line.size();
    for (size_t nAt = 0; nAt < line.size(); nAt += nPiece)
    {
        if (nAt && faults.ulPieceGapMs)
            std::this_thread::sleep_for(std::chrono::milliseconds(faults.ulPieceGapMs));
        if (!WriteAll(line.data() + nAt, std::min(nPiece, line.size() - nAt)))
            return;
    }
}

void CSimSerialServer::CImpl::TakeRequests()
{
    std::vector<uint8_t>& stream = m_reader.Stream();
    while (stream.size() >= codec::kHeaderSize)
    {
        const uint32_t ulId = codec::Get32(stream, 0);
        const uint32_t ulLength = codec::Get32(stream, 4);
        if (ulLength > codec::kMaxRequestLength)
        {
            // No request is that long: the line lost the bytes that would make sense of these.
            stream.clear();
            std::lock_guard<std::mutex> lock(m_mutex);
            ++m_counters.ullDropped;
            return;
        }
        if (stream.size() < codec::kHeaderSize + ulLength)
            return;
        const std::vector<uint8_t> body(stream.begin() + codec::kHeaderSize,
                                        stream.begin() +
                                            static_cast<std::ptrdiff_t>(codec::kHeaderSize + ulLength));
        stream.erase(stream.begin(),
                     stream.begin() + static_cast<std::ptrdiff_t>(codec::kHeaderSize + ulLength));
        const uint64_t ullNowUs = static_cast<uint64_t>(
            std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - m_start).count());
        // The serial server has no traffic generator; a datagen request is answered as by a server
        // without one.
        codec::SOutcome outcome = codec::Handle(m_fabric, ulId, body, false, ullNowUs);
        if (m_fnLog)
            m_fnLog("serial " + outcome.strSummary);
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            ++m_counters.ullRequests;
        }
        if (outcome.ulLatencyMs)
            std::this_thread::sleep_for(std::chrono::milliseconds(outcome.ulLatencyMs));
        // A close ends nothing on a serial line: the next request may come at any time.
        if (outcome.eAction == codec::EAction::Reply)
            SendReply(serial::EncodeBlock(codec::Serialize(outcome.reply)));
    }
}

void CSimSerialServer::CImpl::Run()
{
    uint8_t abBuffer[4096];
    for (;;)
    {
        pollfd fds[2] = {{m_master, POLLIN, 0}, {m_wake[0], POLLIN, 0}};
        const int nReady = ::poll(fds, 2, kPollMs);
        if (nReady < 0 && errno != EINTR)
            return;
        if (fds[1].revents)
            return;
        std::vector<uint8_t>& stream = m_reader.Stream();
        if (!(fds[0].revents & POLLIN))
        {
            if (!stream.empty() && Clock::now() - m_lastByte > kSilenceLimit)
            {
                stream.clear();
                std::lock_guard<std::mutex> lock(m_mutex);
                ++m_counters.ullDropped;
            }
            continue;
        }
        const ssize_t nGot = ::read(m_master, abBuffer, sizeof(abBuffer));
        if (nGot <= 0)
            continue;
        m_lastByte = Clock::now();
        // Byte by byte, so that the requests a good frame completes are carried out before a bad
        // frame after it in the same read throws away the request it was part of.
        for (ssize_t i = 0; i < nGot; ++i)
        {
            const size_t nBefore = stream.size();
            const unsigned uErrors = m_reader.Push(abBuffer + i, 1);
            if (uErrors)
            {
                stream.clear();
                std::lock_guard<std::mutex> lock(m_mutex);
                m_counters.ullLineErrors += uErrors;
                ++m_counters.ullDropped;
            }
            else if (stream.size() != nBefore)
                TakeRequests();
        }
    }
}

CSimSerialServer::CSimSerialServer(CSimFabric& fabric, std::function<void(const std::string&)> fnLog)
    : m_pImpl(std::make_unique<CImpl>(fabric, std::move(fnLog)))
{
}

CSimSerialServer::~CSimSerialServer()
{
    m_pImpl->Stop();
}

bool CSimSerialServer::Start(std::string* pError)
{
    return m_pImpl->Start(pError);
}

void CSimSerialServer::Stop()
{
    m_pImpl->Stop();
}

const std::string& CSimSerialServer::DevicePath() const
{
    return m_pImpl->m_strPath;
}

void CSimSerialServer::SetFaults(const SSerialLineFaults& faults)
{
    std::lock_guard<std::mutex> lock(m_pImpl->m_mutex);
    m_pImpl->m_faults = faults;
}

SSerialCounters CSimSerialServer::Counters() const
{
    std::lock_guard<std::mutex> lock(m_pImpl->m_mutex);
    return m_pImpl->m_counters;
}

bool ApplySerialFaultSpec(const std::string& strSpec, CSimSerialServer& server, std::string* pError)
{
    std::string strKey, strValue;
    text::KeyValue(strSpec, &strKey, &strValue);
    SSerialLineFaults faults;
    uint64_t ullA = 0, ullB = 0;
    if (strKey == "clear" && strValue.empty())
    {
        server.SetFaults(faults);
        return true;
    }
    if (strKey == "drop" && text::ParseUnsigned(strValue, 0xFFFFFFFFu, &ullA) && ullA > 0)
    {
        faults.ulDropByte = static_cast<uint32_t>(ullA);
        server.SetFaults(faults);
        return true;
    }
    const std::vector<std::string> parts = text::Split(strValue, '/');
    if (strKey == "pieces" && parts.size() == 2 && text::ParseUnsigned(parts[0], 0xFFFFFFFFu, &ullA) &&
        ullA > 0 && text::ParseUnsigned(parts[1], 60000, &ullB))
    {
        faults.ulPieceBytes = static_cast<uint32_t>(ullA);
        faults.ulPieceGapMs = static_cast<uint32_t>(ullB);
        server.SetFaults(faults);
        return true;
    }
    *pError = "serial fault '" + strSpec + "': use drop=N (N from 1), pieces=N/MS or clear";
    return false;
}
} // namespace nvsim

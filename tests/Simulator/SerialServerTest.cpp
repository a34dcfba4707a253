// The simulator's serial server on its pseudo-terminal, driven with raw bytes: requests in frames
// come back answered in frames, and a request whose first frame the line lost does not swallow
// the next request.
#include "nvsim/SerialServer.h"
#include "SerialFraming.h"
#include "nvsim/Topology.h"

#include "SimTestUtil.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fcntl.h>
#include <poll.h>
#include <thread>
#include <unistd.h>

namespace
{
std::vector<uint8_t> Header(uint32_t ulId, uint32_t ulLength)
{
    return {static_cast<uint8_t>(ulId >> 24),     static_cast<uint8_t>(ulId >> 16),
            static_cast<uint8_t>(ulId >> 8),      static_cast<uint8_t>(ulId),
            static_cast<uint8_t>(ulLength >> 24), static_cast<uint8_t>(ulLength >> 16),
            static_cast<uint8_t>(ulLength >> 8),  static_cast<uint8_t>(ulLength)};
}

// Reads line bytes until the reader holds a whole unit or a second passes; the unit's bytes.
std::vector<uint8_t> ReadUnit(int fd, nvsim::serial::CFrameReader& reader)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    while (std::chrono::steady_clock::now() < deadline)
    {
        std::vector<uint8_t>& stream = reader.Stream();
        if (stream.size() >= 8)
        {
            const size_t nUnit = 8 + (uint32_t{stream[4]} << 24 | uint32_t{stream[5]} << 16 |
                                      uint32_t{stream[6]} << 8 | stream[7]);
            if (stream.size() >= nUnit)
            {
                std::vector<uint8_t> unit(stream.begin(),
                                          stream.begin() + static_cast<std::ptrdiff_t>(nUnit));
                stream.erase(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(nUnit));
                return unit;
            }
        }
        pollfd in{fd, POLLIN, 0};
        if (::poll(&in, 1, 50) > 0)
        {
            uint8_t ab[512];
            const ssize_t n = ::read(fd, ab, sizeof(ab));
            if (n > 0)
                reader.Push(ab, static_cast<size_t>(n));
        }
    }
    return {};
}

void WriteFrame(int fd, const std::vector<uint8_t>& block)
{
    const std::vector<uint8_t> line = nvsim::serial::EncodeBlock(block);
    ASSERT_EQ(static_cast<ssize_t>(line.size()), ::write(fd, line.data(), line.size()));
}

TEST(SimSerialServer, AnswersFramedRequestsAndRecoversFromALostFirstFrame)
{
    auto pFabric = simtest::ShippedFabric("demo.topo");
    nvsim::CSimSerialServer server(*pFabric);
    std::string strError;
    ASSERT_TRUE(server.Start(&strError)) << strError;
    const int fd = ::open(server.DevicePath().c_str(), O_RDWR | O_NOCTTY);
    ASSERT_GE(fd, 0);
    nvsim::serial::CFrameReader reader;

    // Identification: header and (empty) body as the client sends them.
    WriteFrame(fd, Header(9, 0));
    std::vector<uint8_t> reply = ReadUnit(fd, reader);
    ASSERT_EQ(8u + 136u, reply.size());
    EXPECT_EQ(Header(10, 136), std::vector<uint8_t>(reply.begin(), reply.begin() + 8));

    // A maintenance read whose header frame was lost: only its 36-byte body arrives. Its first
    // bytes look like a header asking for more than follows; after the line's silence it is dropped, and
    // the identification that follows is answered.
    std::vector<uint8_t> body(36, 0);
    body[6] = 0x01; // its second word, read as a Length: 256
    WriteFrame(fd, body);
    std::this_thread::sleep_for(std::chrono::milliseconds(700));
    WriteFrame(fd, Header(9, 0));
    reply = ReadUnit(fd, reader);
    ASSERT_EQ(8u + 136u, reply.size());
    EXPECT_EQ(1u, server.Counters().ullDropped);

    // A damaged frame is a line error and loses only its own request.
    std::vector<uint8_t> line = nvsim::serial::EncodeBlock(Header(9, 0));
    line[3] ^= 0x40;
    ASSERT_EQ(static_cast<ssize_t>(line.size()), ::write(fd, line.data(), line.size()));
    WriteFrame(fd, Header(9, 0));
    reply = ReadUnit(fd, reader);
    ASSERT_EQ(8u + 136u, reply.size());
    EXPECT_TRUE(ReadUnit(fd, reader).empty());
    EXPECT_EQ(1u, server.Counters().ullLineErrors);
    EXPECT_EQ(3u, server.Counters().ullRequests);
    ::close(fd);
}

TEST(SimSerialServer, FaultSpecsOfTheCommandLine)
{
    auto pFabric = simtest::ShippedFabric("demo.topo");
    nvsim::CSimSerialServer server(*pFabric);
    std::string strError;
    EXPECT_TRUE(nvsim::ApplySerialFaultSpec("drop=3", server, &strError));
    EXPECT_TRUE(nvsim::ApplySerialFaultSpec("pieces=4/10", server, &strError));
    EXPECT_TRUE(nvsim::ApplySerialFaultSpec("clear", server, &strError));
    for (const char* pszBad : {"drop=0", "drop=x", "pieces=4", "pieces=0/1", "lose=1"})
    {
        strError.clear();
        EXPECT_FALSE(nvsim::ApplySerialFaultSpec(pszBad, server, &strError)) << pszBad;
        EXPECT_NE(std::string::npos, strError.find(pszBad)) << strError;
    }
}
} // namespace

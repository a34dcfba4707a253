// The RS232 link: its frames against the simulator's own implementation of them, the parser that
// cuts the server's units out of the line, and the link end to end against the simulator's serial
// server on a pseudo-terminal, with a line that loses bytes, delivers in pieces and goes away.
#include "ClientStatus.h"
#include "LinkSettings.h"
#include "Preferences.h"
#include "RS232Comms.h"
#include "RecordingUserInterface.h"
#include "TargetClient.h"
#include "TargetConnection.h"

#include "SerialFraming.h"
#include "TestSupport.h"
#include "nvsim/SerialServer.h"
#include "nvsim/Topology.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>

#include <chrono>
#include <numeric>
#include <thread>

namespace
{
std::vector<uint8_t> Unit(uint32_t ulId, std::vector<uint8_t> body)
{
    std::vector<uint8_t> unit = {static_cast<uint8_t>(ulId >> 24),
                                 static_cast<uint8_t>(ulId >> 16),
                                 static_cast<uint8_t>(ulId >> 8),
                                 static_cast<uint8_t>(ulId),
                                 0,
                                 static_cast<uint8_t>(body.size() >> 16),
                                 static_cast<uint8_t>(body.size() >> 8),
                                 static_cast<uint8_t>(body.size())};
    unit.insert(unit.end(), body.begin(), body.end());
    return unit;
}

// Every byte value, so each escaped one is among them.
std::vector<uint8_t> AllBytes(size_t nSize)
{
    std::vector<uint8_t> bytes(nSize);
    for (size_t i = 0; i < nSize; ++i)
    {
        bytes[i] = static_cast<uint8_t>(i * 7 + 0x11);
    }
    return bytes;
}

struct SCollected
{
    std::vector<std::vector<uint8_t>> payloads;
    int nErrors = 0;
    rs232::CDeframer deframer{[this](const uint8_t* pb, size_t n) { payloads.emplace_back(pb, pb + n); },
                              [this] { ++nErrors; }};
};

TEST(RS232Framing, CrcIsTheEthernetCrcAndFramesAreTransparentToFlagEscapeAndXonXoff)
{
    const std::string strCheck = "123456789";
    EXPECT_EQ(0xCBF43926u, rs232::Crc32(reinterpret_cast<const uint8_t*>(strCheck.data()), strCheck.size()));
    EXPECT_EQ(0xCBF43926u,
              nvsim::serial::FrameCrc(reinterpret_cast<const uint8_t*>(strCheck.data()), strCheck.size()));

    const std::vector<uint8_t> block = AllBytes(600);
    std::vector<uint8_t> line;
    rs232::AppendFrames(block.data(), block.size(), &line);
    // Between the two flags no flag and no raw XON or XOFF: software flow control can't eat a byte.
    ASSERT_EQ(0x7E, line.front());
    ASSERT_EQ(0x7E, line.back());
    EXPECT_EQ(line.end() - 1, std::find(line.begin() + 1, line.end() - 1, 0x7E));
    EXPECT_EQ(0, std::count(line.begin(), line.end(), 0x11) + std::count(line.begin(), line.end(), 0x13));
    // Both implementations write the same bytes, and each reads the other's.
    EXPECT_EQ(line, nvsim::serial::EncodeBlock(block));
    nvsim::serial::CFrameReader reader;
    EXPECT_EQ(0u, reader.Push(line.data(), line.size()));
    EXPECT_EQ(block, reader.Stream());

    // Byte by byte, after noise before the first flag, it gives the same payload once.
    SCollected collected;
    const std::vector<uint8_t> noise = {0x01, 0x7D, 0x55};
    collected.deframer.Feed(noise.data(), noise.size());
    for (uint8_t b : nvsim::serial::EncodeBlock(block))
    {
        collected.deframer.Feed(&b, 1);
    }
    ASSERT_EQ(1u, collected.payloads.size());
    EXPECT_EQ(block, collected.payloads[0]);
    EXPECT_EQ(0, collected.nErrors);
}

TEST(RS232Framing, LongBlocksGoAsSeveralFramesAndTwoBlocksInOneReadGiveTwoPayloads)
{
    const std::vector<uint8_t> big = AllBytes(rs232::kMaxFramePayload + 100);
    const std::vector<uint8_t> small = {1, 2, 3};
    std::vector<uint8_t> line;
    rs232::AppendFrames(big.data(), big.size(), &line);
    rs232::AppendFrames(small.data(), small.size(), &line);
    rs232::AppendFrames(small.data(), 0, &line); // an empty block sends nothing
    SCollected collected;
    collected.deframer.Feed(line.data(), line.size());
    ASSERT_EQ(3u, collected.payloads.size());
    EXPECT_EQ(rs232::kMaxFramePayload, collected.payloads[0].size());
    EXPECT_EQ(100u, collected.payloads[1].size());
    EXPECT_TRUE(std::equal(big.begin() + rs232::kMaxFramePayload, big.end(), collected.payloads[1].begin()));
    EXPECT_EQ(small, collected.payloads[2]);
    EXPECT_EQ(0, collected.nErrors);
}

TEST(RS232Framing, DamagedFramesAreLineErrorsAndTheNextFrameIsReadAgain)
{
    const std::vector<uint8_t> block = AllBytes(40);
    std::vector<uint8_t> good;
    rs232::AppendFrames(block.data(), block.size(), &good);

    struct SCase
    {
        const char* pszName;
        std::vector<uint8_t> line;
    };
    std::vector<SCase> cases;
    cases.push_back({"a byte lost", good});
    cases.back().line.erase(cases.back().line.begin() + 10);
    cases.push_back({"a byte changed", good});
    cases.back().line[12] ^= 0x01;
    cases.push_back({"an escape before the flag", {0x7E, 1, 2, 3, 4, 5, 0x7D, 0x7E}});
    cases.push_back({"an escape of a plain byte", {0x7E, 1, 0x7D, 0x41, 2, 3, 4, 5, 0x7E}});
    cases.push_back({"shorter than its CRC", {0x7E, 1, 2, 0x7E}});
    std::vector<uint8_t> tooLong = {0x7E};
    tooLong.resize(rs232::kMaxFramePayload + 10, 0x55);
    tooLong.push_back(0x7E);
    cases.push_back({"too long", tooLong});
    for (const SCase& c : cases)
    {
        SCollected collected;
        std::vector<uint8_t> line = c.line;
        line.insert(line.end(), good.begin(), good.end());
        collected.deframer.Feed(line.data(), line.size());
        EXPECT_EQ(1, collected.nErrors) << c.pszName;
        ASSERT_EQ(1u, collected.payloads.size()) << c.pszName;
        EXPECT_EQ(block, collected.payloads[0]) << c.pszName;
        // The simulator judges the same line the same way.
        nvsim::serial::CFrameReader reader;
        EXPECT_EQ(1u, reader.Push(line.data(), line.size())) << c.pszName;
        EXPECT_EQ(block, reader.Stream()) << c.pszName;
    }
}

class CCollectingSink : public IRS232MsgSink
{
public:
    void Deliver(std::unique_ptr<CNVTCommsMsg> pMsg) override { msgs.push_back(std::move(pMsg)); }
    std::vector<std::unique_ptr<CNVTCommsMsg>> msgs;
};

TEST(RS232Parser, CutsUnitsOutOfBlocksWhateverTheirPieces)
{
    CCollectingSink sink;
    CNvtMsgParser parser(&sink);
    const std::vector<uint8_t> first = Unit(4, AllBytes(30));
    const std::vector<uint8_t> second = Unit(6, {});
    std::vector<uint8_t> both = first;
    both.insert(both.end(), second.begin(), second.end());

    // Fewer than 8 bytes wait; a unit split over two blocks comes once the second arrives.
    EXPECT_FALSE(parser.Parse(both.data(), 5));
    EXPECT_TRUE(sink.msgs.empty());
    EXPECT_EQ(5u, parser.ulPendingSize);
    parser.Parse(both.data() + 5, 20);
    EXPECT_TRUE(sink.msgs.empty());
    // The rest of the first and the whole second in one block: two units.
    parser.Parse(both.data() + 25, static_cast<uint32_t>(both.size() - 25));
    ASSERT_EQ(2u, sink.msgs.size());
    EXPECT_EQ(first, sink.msgs[0]->GetData());
    EXPECT_EQ(second, sink.msgs[1]->GetData());
    EXPECT_EQ(0u, parser.ulPendingSize);

    // After a line error a unit begun is thrown away, so the next one starts clean.
    parser.Parse(first.data(), 12);
    parser.Reset();
    parser.Parse(second.data(), static_cast<uint32_t>(second.size()));
    ASSERT_EQ(3u, sink.msgs.size());
    EXPECT_EQ(second, sink.msgs[2]->GetData());

    // A Length no reply can have: the bytes before it went astray; nothing waits for it.
    const std::vector<uint8_t> absurd = {0, 0, 0, 4, 0x40, 0, 0, 0, 1, 2};
    parser.Parse(absurd.data(), static_cast<uint32_t>(absurd.size()));
    EXPECT_EQ(0u, parser.ulPendingSize);
}

// The link against the simulator's serial server on the demo fabric.
class RS232LinkTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::string strError;
        m_pFabric =
            nvsim::LoadTopologyFile(nvtest::SourceDir() + "/Simulator/topologies/demo.topo", &strError);
        ASSERT_TRUE(m_pFabric) << strError;
        m_pServer = std::make_unique<nvsim::CSimSerialServer>(*m_pFabric);
        ASSERT_TRUE(m_pServer->Start(&strError)) << strError;
        SetPreferenceOverride(QStringLiteral("Preferences/RS232"), QStringLiteral("ExtraPorts"),
                              QString::fromStdString(m_pServer->DevicePath()));
        m_ulPort = static_cast<uint32_t>(
            SerialPortCandidates().indexOf(QString::fromStdString(m_pServer->DevicePath())));
        m_ulSavedWait = LinkSettings().ulWaitMilliseconds;
        LinkSettings().ulWaitMilliseconds = 400;
    }
    void TearDown() override
    {
        if (m_connection.IsConnected())
        {
            m_connection.Disconnect();
        }
        LinkSettings().ulWaitMilliseconds = m_ulSavedWait;
        ClearPreferenceOverrides();
    }
    int32_t Read(uint32_t ulOffset, uint32_t* pulValue, uint32_t ulDest = 0xFFFFFFFFu, uint8_t uchHop = 0)
    {
        return CTargetClient::Instance().Maint_read(0, ulDest, uchHop, ulOffset, pulValue, 1, 4, 0);
    }
    int32_t Write(uint32_t ulOffset, uint32_t ulValue)
    {
        return CTargetClient::Instance().Maint_write(0, 0xFFFFFFFFu, 0, ulOffset, &ulValue, 1, 4, 0);
    }

    nvtest::CRecordingUserInterface m_ui;
    std::unique_ptr<nvsim::CSimFabric> m_pFabric;
    std::unique_ptr<nvsim::CSimSerialServer> m_pServer;
    CTargetConnection m_connection;
    uint32_t m_ulPort = 0;
    uint32_t m_ulSavedWait = 0;
};

TEST_F(RS232LinkTest, OpensTheLineAndCarriesReadsAndWritesOfTheHostAndBehindTheSwitch)
{
    ASSERT_TRUE(m_connection.OpenTarget(eConnRS232, m_ulPort)) << m_ui.messages.join('\n').toStdString();
    EXPECT_EQ("Serial Connection", m_connection.TargetName().toStdString());
    EXPECT_EQ(m_pServer->DevicePath(), m_connection.Link().strCOMDevice);
    EXPECT_EQ(115200, m_connection.Link().lBaudRate);
    EXPECT_EQ(2, m_connection.ServerInfo().uchServerMajor);

    ASSERT_EQ(eRioOk, Write(0x6C, 0x7E7D1113)); // the framing's own bytes as data
    uint32_t ulValue = 0;
    ASSERT_EQ(eRioOk, Read(0x6C, &ulValue));
    EXPECT_EQ(0x7E7D1113u, ulValue);
    {
        auto lock = m_pFabric->Lock();
        EXPECT_EQ(0x7E7D1113u, m_pFabric->Host().Reg(0x6C));
    }
    // A block of words in one reply, and the first switch one hop out.
    uint32_t aWords[8] = {};
    ASSERT_EQ(eRioOk, CTargetClient::Instance().Maint_read(0, 0xFFFFFFFFu, 0, 0x00, aWords, 8, 4, 0));
    EXPECT_EQ(m_pFabric->Host().Reg(0x00), aWords[0]);
    EXPECT_EQ(m_pFabric->Host().Reg(0x1C), aWords[7]);
    ASSERT_EQ(eRioOk, Read(0x00, &ulValue, 0xFF, 0));
    EXPECT_NE(aWords[0], ulValue);
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join('\n').toStdString();
}

TEST_F(RS232LinkTest, AReplyInSmallSlowPiecesIsPutTogether)
{
    ASSERT_TRUE(m_connection.OpenTarget(eConnRS232, m_ulPort));
    m_pServer->SetFaults({0, 3, 4}); // 3 line bytes every 4 ms
    uint32_t aWords[4] = {};
    ASSERT_EQ(eRioOk, CTargetClient::Instance().Maint_read(0, 0xFFFFFFFFu, 0, 0x00, aWords, 4, 4, 0));
    EXPECT_EQ(m_pFabric->Host().Reg(0x0C), aWords[3]);
    EXPECT_EQ(0u, m_connection.Link().pRS232->Comms().LineErrors());
}

TEST_F(RS232LinkTest, ALostByteCostsOneTransactionWithItsReceiveStatusAndTheNextWorks)
{
    ASSERT_TRUE(m_connection.OpenTarget(eConnRS232, m_ulPort));
    uint32_t ulBefore = 0;
    ASSERT_EQ(eRioOk, Read(0x00, &ulBefore));
    for (uint32_t ulByte : {2u, 5u, 20u})
    {
        SCOPED_TRACE(ulByte);
        nvsim::SSerialLineFaults faults;
        faults.ulDropByte = ulByte;
        m_pServer->SetFaults(faults);
        uint32_t ulValue = 0xDEADBEEF;
        EXPECT_EQ(eRioReceiveReadFailed, Read(0x00, &ulValue));
        ASSERT_EQ(eRioOk, Read(0x00, &ulValue));
        EXPECT_EQ(ulBefore, ulValue);
    }
    EXPECT_EQ(3u, m_connection.Link().pRS232->Comms().LineErrors());
    uint32_t ulValue = 0;
    // Losing the opening flag costs nothing: the closing flag of the reply before opens the frame.
    m_pServer->SetFaults({1, 0, 0});
    EXPECT_EQ(eRioOk, Read(0x00, &ulValue));
    // Losing the closing flag holds the reply back until the next one's flag ends it: that read
    // fails, and the next takes its own reply, not the late one.
    ASSERT_EQ(eRioOk, Write(0x6C, 0x55));
    m_pServer->SetFaults({52, 0, 0}); // the last byte of a reply of one word
    EXPECT_EQ(eRioReceiveReadFailed, Read(0x6C, &ulValue));
    ASSERT_EQ(eRioOk, Write(0x6C, 0x66));
    ASSERT_EQ(eRioOk, Read(0x6C, &ulValue));
    EXPECT_EQ(0x66u, ulValue);
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join('\n').toStdString();
}

TEST_F(RS232LinkTest, AWaitWithNothingComingPollsAtMostOnceEvery50Ms)
{
    ASSERT_TRUE(m_connection.OpenTarget(eConnRS232, m_ulPort));
    uint8_t abBuffer[8];
    uint32_t ulLength = sizeof(abBuffer);
    ASSERT_FALSE(m_connection.Link().Receive(abBuffer, &ulLength, 0, 500000));
    EXPECT_EQ(0u, ulLength);
    EXPECT_GE(10u, m_connection.Link().pRS232->LastPollCount());
    EXPECT_LE(1u, m_connection.Link().pRS232->LastPollCount());
}

TEST_F(RS232LinkTest, ALineThatGoesAwayGivesTheLinksMessageAndABadDeviceCantOpen)
{
    ASSERT_TRUE(m_connection.OpenTarget(eConnRS232, m_ulPort));
    // The far end goes away while a reply is on its way in slow pieces.
    m_pServer->SetFaults({0, 2, 40});
    std::thread unplug(
        [this]
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            m_pServer->Stop();
        });
    uint32_t ulValue = 0;
    EXPECT_EQ(eRioReceiveReadFailed, Read(0x00, &ulValue));
    unplug.join();
    // The next transaction can't even send; the message was shown once.
    EXPECT_EQ(eRioSendReadFailed, Read(0x00, &ulValue));
    ASSERT_EQ(1, m_ui.messages.size());
    EXPECT_TRUE(m_ui.messages[0].startsWith("Norvanta Server has dropped the connection.\n\n"))
        << m_ui.messages[0].toStdString();
    m_connection.Disconnect();

    m_ui.messages.clear();
    SetPreferenceOverride(QStringLiteral("Preferences/RS232"), QStringLiteral("ExtraPorts"),
                          QStringLiteral("/nonexistent/ttyNV9"));
    const auto ulMissing =
        static_cast<uint32_t>(SerialPortCandidates().indexOf(QStringLiteral("/nonexistent/ttyNV9")));
    EXPECT_FALSE(m_connection.OpenTarget(eConnRS232, ulMissing));
    ASSERT_EQ(1, m_ui.messages.size());
    EXPECT_TRUE(m_ui.messages[0].startsWith("Failed to Initalize RS232 Comms: /nonexistent/ttyNV9: "))
        << m_ui.messages[0].toStdString();
    EXPECT_FALSE(m_connection.IsConnected());
}
} // namespace

// The trace port's capture: set-up keeps the rest of the registers, each waiting packet is read as
// 75 words, and the end puts the port and PGC mode back.
#include "PacketTraceCapture.h"
#include "PacketGen.h"
#include "ScriptedSwitch.h"

#include <gtest/gtest.h>

namespace
{
TEST(TraceCaptureTest, CapturesEveryWaitingPacketAndRestoresThePortAndPgcMode)
{
    nvtest::CScriptedSwitch sw;
    sw.regs[kGen2DeviceControl] = 0x00008006;
    sw.regs[PgcControl(3)] = 0x00051000;
    CTraceCapture capture(sw);
    QString strError;
    ASSERT_TRUE(capture.Begin(3, &strError));
    EXPECT_EQ((QStringList{"R F2000C", "W F2000C 10008006", "R 100130", "W 100130 000523FC"}), sw.Accesses());

    // Two packets wait, then none.
    sw.readQueue[PgcControl(3)] = {0x8000 | 0x23FC, 0x8000 | 0x23FC, 0x23FC};
    for (uint32_t w = 0; w < 150; ++w)
        sw.readQueue[PgcControl(3) + 4].push_back(w);
    sw.log.clear();
    std::vector<std::vector<uint8_t>> packets;
    ASSERT_TRUE(
        capture.Drain([&](const uint8_t* p, uint32_t n) { packets.emplace_back(p, p + n); }, &strError));
    ASSERT_EQ(2u, packets.size());
    EXPECT_EQ(300u, packets[1].size());
    EXPECT_EQ((std::vector<uint8_t>{0, 0, 0, 75}),
              std::vector<uint8_t>(packets[1].begin(), packets[1].begin() + 4));
    EXPECT_EQ(150, sw.log.filter(QStringLiteral("W 100130 000563FC")).size())
        << "capture mode with data access";
    EXPECT_EQ(3, sw.log.filter(QStringLiteral("R 100130")).size());

    sw.log.clear();
    ASSERT_TRUE(capture.End(&strError));
    EXPECT_EQ((QStringList{"W 100130 00051000", "R F2000C", "W F2000C 00008006"}), sw.Accesses());

    // A failed read of the data word ends the drain with its message.
    ASSERT_TRUE(capture.Begin(3, &strError));
    sw.readQueue[PgcControl(3)] = {0x8000};
    sw.ulFailOffset = PgcControl(3) + 4;
    sw.cFailKind = 'R';
    EXPECT_FALSE(capture.Drain([](const uint8_t*, uint32_t) {}, &strError));
    EXPECT_EQ(QStringLiteral("Unable to read end port data. [1]\n\nTimeout on RapidIO transaction"),
              strError);
}
} // namespace

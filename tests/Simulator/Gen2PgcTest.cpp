// The Gen2 switches' packet generation and capture engine and trace/filter comparators, at the
// register level: what the generation buffer holds after the words a client loads, when a packet
// leaves, what a capture reads back word by word, which packets a comparator matches, what the
// match counters count, and where trace copies go.
#include "Gen2Registers.h"
#include "SimTestUtil.h"

#include "models/Gen2Pgc.h"
#include "models/IdtGen2.h"
#include "nvsim/Fabric.h"

#include <gtest/gtest.h>

#include <map>
#include <utility>
#include <vector>

using namespace nvsim;
using namespace nvsim::models;
using Bytes = std::vector<uint8_t>;

namespace
{
using namespace gen2test;

constexpr uint32_t kTraceOn = 0x8000;
constexpr uint32_t kCountersOn = 0x04000000;

// The engine on its own, its switch played by a register map that records what it counts and sends.
struct SFakeSwitch
{
    std::map<uint32_t, uint32_t> regs;
    std::map<std::pair<uint8_t, uint32_t>, uint32_t> counts; // (port, counter offset)
    std::vector<std::pair<uint8_t, Bytes>> sent;
    CGen2Pgc pgc;

    SFakeSwitch()
        : pgc(18, CGen2Pgc::SHost{[this](uint32_t ulAt) { return regs.count(ulAt) ? regs[ulAt] : 0u; },
                                  [this](uint8_t p, uint32_t ulCounter) {
                                      ++counts[{p, ulCounter}];
                                  },
                                  [this](uint8_t p, const Bytes& packet) { sent.emplace_back(p, packet); }})
    {
    }
    // Comparator c of port p: value and mask, both as 20 bytes (fewer: the rest 0).
    void SetComparator(uint8_t p, uint32_t c, const Bytes& value, const Bytes& mask)
    {
        for (uint32_t w = 0; w < 5; ++w)
        {
            uint32_t ulValue = 0, ulMask = 0;
            for (uint32_t b = 0; b < 4; ++b)
            {
                const size_t n = 4 * w + b;
                ulValue = (ulValue << 8) | (n < value.size() ? value[n] : 0);
                ulMask = (ulMask << 8) | (n < mask.size() ? mask[n] : 0);
            }
            regs[Comparator(p, c) + 4 * w] = ulValue;
            regs[Comparator(p, c) + 20 + 4 * w] = ulMask;
        }
    }
};

// Loads a packet into port p's generator as the client's send procedure does: each word to the
// data register, then the mode word with EN, SOP on the first word, EOP on the last.
void Load(CGen2Pgc& pgc, uint8_t p, const Bytes& packet, uint32_t ulFlow = 0)
{
    const uint32_t ulBase = (1u << ulFlow) | CGen2Pgc::kGenerate | CGen2Pgc::kDataAccess;
    const size_t nWords = (packet.size() + 3) / 4;
    for (size_t w = 0; w < nWords; ++w)
    {
        uint32_t ulWord = 0;
        for (size_t b = 0; b < 4; ++b)
            ulWord = (ulWord << 8) | (4 * w + b < packet.size() ? packet[4 * w + b] : 0);
        pgc.WriteData(p, ulWord);
        pgc.WriteMode(p, ulBase | (w == 0 ? CGen2Pgc::kSop : 0) | (w + 1 == nWords ? CGen2Pgc::kEop : 0));
    }
}

// Reads n words of port p's capture as the client does (END_PORT | EN, then the data register).
Bytes ReadCapture(CGen2Pgc& pgc, uint8_t p, size_t nWords = 75)
{
    Bytes bytes;
    for (size_t w = 0; w < nWords; ++w)
    {
        pgc.WriteMode(p, CGen2Pgc::kCapture | CGen2Pgc::kDataAccess | 0x4);
        const uint32_t ulWord = pgc.ReadData(p);
        for (int s = 24; s >= 0; s -= 8)
            bytes.push_back(static_cast<uint8_t>(ulWord >> s));
    }
    return bytes;
}

const Bytes kTen = {0x00, 0x12, 0x05, 0x01, 0x40, 0x00, 0x00, 0x01, 0xAB, 0xCD};
} // namespace

TEST(Gen2Pgc, LoadingBuildsThePacketWordByWord)
{
    SFakeSwitch sw;
    // Ten bytes: three words, the last with two zero bytes.
    Load(sw.pgc, 3, kTen);
    Bytes expected = kTen;
    expected.insert(expected.end(), {0, 0});
    EXPECT_EQ(sw.pgc.GenerationBuffer(3), expected);
    EXPECT_TRUE(sw.pgc.GenerationBuffer(2).empty()) << "another port's buffer is its own";

    // Words after EOP are ignored until the next SOP, which starts afresh.
    sw.pgc.WriteData(3, 0xDEADBEEF);
    sw.pgc.WriteMode(3, CGen2Pgc::kGenerate | CGen2Pgc::kDataAccess);
    EXPECT_EQ(sw.pgc.GenerationBuffer(3), expected);
    sw.pgc.WriteMode(3, CGen2Pgc::kGenerate | CGen2Pgc::kDataAccess | CGen2Pgc::kSop | CGen2Pgc::kEop);
    EXPECT_EQ(sw.pgc.GenerationBuffer(3), (Bytes{0xDE, 0xAD, 0xBE, 0xEF}));

    // Without EN (or without START_PORT) a mode write latches nothing.
    sw.pgc.WriteData(3, 0x11111111);
    sw.pgc.WriteMode(3, CGen2Pgc::kGenerate | CGen2Pgc::kSop);
    sw.pgc.WriteMode(3, CGen2Pgc::kDataAccess | CGen2Pgc::kSop);
    EXPECT_EQ(sw.pgc.GenerationBuffer(3), (Bytes{0xDE, 0xAD, 0xBE, 0xEF}));
}

TEST(Gen2Pgc, SendNeedsPgcModeAndAClosedPacket)
{
    SFakeSwitch sw;
    const uint32_t ulSend = CGen2Pgc::kGenerate | CGen2Pgc::kSend | 0x1;
    Load(sw.pgc, 5, kTen);

    // PGC mode off: nothing goes and START stays as written.
    sw.pgc.WriteMode(5, ulSend);
    EXPECT_TRUE(sw.sent.empty());
    EXPECT_EQ(sw.pgc.ReadMode(5) & CGen2Pgc::kSend, CGen2Pgc::kSend);

    // PGC mode on: the packet leaves by its own port and START clears.
    sw.regs[kDeviceControl] = kPgcOn;
    sw.pgc.WriteMode(5, ulSend);
    ASSERT_EQ(sw.sent.size(), 1u);
    EXPECT_EQ(sw.sent[0].first, 5);
    EXPECT_EQ(sw.sent[0].second, sw.pgc.GenerationBuffer(5));
    EXPECT_EQ(sw.pgc.ReadMode(5), CGen2Pgc::kGenerate | 0x1);

    // The client's step between loading and sending (EN, SOP, EOP and flow cleared) keeps the
    // buffer, and the packet can go again.
    sw.pgc.WriteMode(5, CGen2Pgc::kGenerate);
    sw.pgc.WriteMode(5, ulSend);
    ASSERT_EQ(sw.sent.size(), 2u);
    EXPECT_EQ(sw.sent[1].second, sw.sent[0].second);

    // A packet still open (no EOP yet) does not go.
    sw.pgc.WriteData(5, 0x01020304);
    sw.pgc.WriteMode(5, CGen2Pgc::kGenerate | CGen2Pgc::kDataAccess | CGen2Pgc::kSop);
    sw.pgc.WriteMode(5, ulSend);
    EXPECT_EQ(sw.sent.size(), 2u);
}

TEST(Gen2Pgc, CaptureTakesLeavingPacketsAndReadsThemOutWordByWord)
{
    SFakeSwitch sw;
    const uint32_t ulCapture = CGen2Pgc::kCapture | 0x4;
    sw.pgc.WriteMode(7, ulCapture);
    const Bytes first = {0x10, 0x22, 0x01, 0x05, 0x20, 0x00, 0x00, 0x00, 0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC};
    const Bytes second = {0x18, 0x22, 0x01, 0x05, 0x21};

    // PGC mode off: the port does not capture.
    EXPECT_FALSE(sw.pgc.Leaving(7, first));
    EXPECT_EQ(sw.pgc.ReadMode(7) & CGen2Pgc::kRxDone, 0u);

    sw.regs[kDeviceControl] = kPgcOn;
    EXPECT_FALSE(sw.pgc.Leaving(6, first)) << "a port not in capture mode lets packets go";
    EXPECT_TRUE(sw.pgc.Leaving(7, first));
    EXPECT_TRUE(sw.pgc.Leaving(7, second));
    EXPECT_EQ(sw.pgc.ReadMode(7) & CGen2Pgc::kRxDone, CGen2Pgc::kRxDone);

    // 75 words: the packet most significant byte first, zeros past its end; then the next one.
    Bytes expected = first;
    expected.resize(300, 0);
    EXPECT_EQ(ReadCapture(sw.pgc, 7), expected);
    EXPECT_EQ(sw.pgc.CapturedCount(7), 1u);
    EXPECT_EQ(sw.pgc.ReadMode(7) & CGen2Pgc::kRxDone, CGen2Pgc::kRxDone);
    expected = second;
    expected.resize(300, 0);
    EXPECT_EQ(ReadCapture(sw.pgc, 7), expected);
    EXPECT_EQ(sw.pgc.ReadMode(7) & CGen2Pgc::kRxDone, 0u);
    // An empty FIFO reads zeros.
    EXPECT_EQ(ReadCapture(sw.pgc, 7, 2), Bytes(8, 0));

    // Sixteen packets fit; a seventeenth is taken off the link all the same, and lost.
    for (int n = 0; n < 17; ++n)
        EXPECT_TRUE(sw.pgc.Leaving(7, Bytes{static_cast<uint8_t>(n)}));
    EXPECT_EQ(sw.pgc.CapturedCount(7), 16u);
    // A half-read packet and the rest go with a mode write that has EN clear.
    ReadCapture(sw.pgc, 7, 3);
    sw.pgc.WriteMode(7, ulCapture);
    EXPECT_EQ(sw.pgc.CapturedCount(7), 0u);
    EXPECT_EQ(sw.pgc.ReadMode(7) & CGen2Pgc::kRxDone, 0u);
    // RX_DONE is read-only.
    sw.pgc.WriteMode(7, ulCapture | CGen2Pgc::kRxDone);
    EXPECT_EQ(sw.pgc.ReadMode(7) & CGen2Pgc::kRxDone, 0u);
}

TEST(Gen2Pgc, ComparatorMatchesTheMaskedFirstTwentyBytes)
{
    // Value: TT 0 and FType 8 (maintenance) in byte 1, destination ID 0x05 in byte 2; mask on them.
    uint32_t aulBlock[10] = {0x00080500, 0, 0, 0, 0, 0x003FFF00, 0, 0, 0, 0};
    const Bytes maint = {0xF8, 0x08, 0x05, 0x01, 0x00, 0x00};
    EXPECT_TRUE(CGen2Pgc::Matches(aulBlock, maint)) << "unmasked bits (ackID, priority) do not count";
    EXPECT_FALSE(CGen2Pgc::Matches(aulBlock, Bytes{0x00, 0x02, 0x05, 0x01})) << "FType 2 is not 8";
    EXPECT_FALSE(CGen2Pgc::Matches(aulBlock, Bytes{0x00, 0x08, 0x06, 0x01})) << "another destination";
    EXPECT_FALSE(CGen2Pgc::Matches(aulBlock, Bytes{0x00, 0x18, 0x05, 0x01})) << "TT bits are under the mask";

    // The last byte compared is byte 19; byte 20 never counts.
    uint32_t aulTail[10] = {0, 0, 0, 0, 0x000000AA, 0, 0, 0, 0, 0x000000FF};
    Bytes packet(24, 0);
    packet[19] = 0xAA;
    packet[20] = 0x55;
    EXPECT_TRUE(CGen2Pgc::Matches(aulTail, packet));
    packet[19] = 0xAB;
    EXPECT_FALSE(CGen2Pgc::Matches(aulTail, packet));
    // Bytes past a short packet's end read 0: they match a zero value, not 0xAA.
    EXPECT_FALSE(CGen2Pgc::Matches(aulTail, Bytes(12, 0)));
    aulTail[4] = 0;
    EXPECT_TRUE(CGen2Pgc::Matches(aulTail, Bytes(12, 0)));
    // An all-zero mask matches everything, even an empty packet.
    const uint32_t aulAny[10] = {0x12345678, 1, 2, 3, 4, 0, 0, 0, 0, 0};
    EXPECT_TRUE(CGen2Pgc::Matches(aulAny, Bytes{}));
}

TEST(Gen2Pgc, TraceCountsAndCopiesFilterCountsAndDrops)
{
    SFakeSwitch sw;
    const Bytes toFive = {0x00, 0x08, 0x05, 0x01, 0x00, 0x00, 0x00, 0x00};
    const Bytes toSix = {0x00, 0x08, 0x06, 0x01, 0x00, 0x00, 0x00, 0x00};
    // Comparators 1 and 2 of port 2 both match ID 5; comparator 3 matches ID 6.
    sw.SetComparator(2, 1, {0, 0, 0x05}, {0, 0, 0xFF});
    sw.SetComparator(2, 2, {0, 0x08, 0x05}, {0, 0x0F, 0xFF});
    sw.SetComparator(2, 3, {0, 0, 0x06}, {0, 0, 0xFF});

    // Nothing armed on the port: comparators are not looked at.
    EXPECT_FALSE(sw.pgc.WatchesArrivals(2));
    EXPECT_TRUE(sw.pgc.Arriving(2, toFive));
    EXPECT_TRUE(sw.counts.empty());

    // Trace 1 and 2 armed, trace off in Device Control: counted, not copied.
    sw.regs[Ops(2)] = CGen2Pgc::TraceEnable(1) | CGen2Pgc::TraceEnable(2);
    EXPECT_TRUE(sw.pgc.WatchesArrivals(2));
    EXPECT_FALSE(sw.pgc.WatchesArrivals(3));
    EXPECT_TRUE(sw.pgc.Arriving(2, toFive));
    EXPECT_EQ((sw.counts[{2, 0x24}]), 1u);
    EXPECT_EQ((sw.counts[{2, 0x28}]), 1u);
    EXPECT_TRUE(sw.sent.empty());

    // Trace on, trace port 9 (bits 5..1): one copy however many comparators match.
    sw.regs[kDeviceControl] = kTraceOn | (9 << 1);
    EXPECT_TRUE(sw.pgc.Arriving(2, toFive));
    ASSERT_EQ(sw.sent.size(), 1u);
    EXPECT_EQ(sw.sent[0], std::make_pair(uint8_t{9}, toFive));
    EXPECT_TRUE(sw.pgc.Arriving(2, toSix)) << "comparator 3 is not armed";
    EXPECT_EQ(sw.sent.size(), 1u);

    // Filter 3 armed as well: ID 6 is counted and dropped, ID 5 still passes and is traced.
    sw.regs[Ops(2)] |= CGen2Pgc::FilterEnable(3);
    EXPECT_FALSE(sw.pgc.Arriving(2, toSix));
    EXPECT_EQ((sw.counts[{2, 0x3C}]), 1u);
    EXPECT_EQ((sw.counts[{2, 0x2C}]), 0u) << "comparator 3 traces nothing";
    EXPECT_TRUE(sw.pgc.Arriving(2, toFive));
    EXPECT_EQ((sw.counts[{2, 0x24}]), 3u);
    EXPECT_EQ(sw.sent.size(), 2u);

    // Trace and filter on the same comparator: copied, counted twice, dropped.
    sw.regs[Ops(2)] = CGen2Pgc::TraceEnable(3) | CGen2Pgc::FilterEnable(3);
    EXPECT_FALSE(sw.pgc.Arriving(2, toSix));
    EXPECT_EQ((sw.counts[{2, 0x2C}]), 1u);
    EXPECT_EQ((sw.counts[{2, 0x3C}]), 2u);
    EXPECT_EQ(sw.sent.size(), 3u);
}

TEST(Gen2Pgc, LoopBackByEitherBit)
{
    SFakeSwitch sw;
    EXPECT_FALSE(sw.pgc.LoopsBack(4));
    sw.regs[Ops(4)] = 0x00200000;
    EXPECT_TRUE(sw.pgc.LoopsBack(4));
    EXPECT_FALSE(sw.pgc.LoopsBack(5));
    sw.regs[Ops(5)] = 0x00000100;
    EXPECT_TRUE(sw.pgc.LoopsBack(5));
    sw.regs[Ops(4)] = kCountersOn;
    EXPECT_FALSE(sw.pgc.LoopsBack(4));
}

// The engine inside the switch model: its registers at their addresses, and the match counters
// among the performance counters.
class Gen2PgcRegisters : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_pFabric = simtest::Fabric(R"(
device host endpoint device=0x0001 processor memory id=0x01
device sw   switch model=cps1848
device sw16 switch model=cps1616
host host
link host:0 sw:0
)");
        ASSERT_TRUE(m_pFabric);
        m_pSwitch = dynamic_cast<CIdtGen2Switch*>(&m_pFabric->Device("sw"));
        ASSERT_NE(m_pSwitch, nullptr);
    }
    uint32_t Peek(uint32_t ulAt) { return m_pSwitch->ReadRegister(ulAt, SRegAccess{0, true}); }
    void Poke(uint32_t ulAt, uint32_t ulValue)
    {
        m_pSwitch->WriteRegister(ulAt, ulValue, 0xFFFFFFFF, SRegAccess{0, true});
    }

    std::unique_ptr<CSimFabric> m_pFabric;
    CIdtGen2Switch* m_pSwitch = nullptr;
};

TEST_F(Gen2PgcRegisters, PgcRegistersReachTheEngine)
{
    // Port 17, the CPS-1848's last: the mode and data registers of each port are its own.
    Poke(Data(17), 0xCAFEF00D);
    Poke(Mode(17), 0x1000 | 0x4000 | 0x400 | 0x800);
    EXPECT_EQ(m_pSwitch->Pgc().GenerationBuffer(17), (Bytes{0xCA, 0xFE, 0xF0, 0x0D}));
    EXPECT_EQ(Peek(Data(17)), 0xCAFEF00Du);
    EXPECT_EQ(Peek(Mode(17)), 0x1000u | 0x4000 | 0x400 | 0x800);
    EXPECT_TRUE(m_pSwitch->Pgc().GenerationBuffer(16).empty());
    EXPECT_EQ(Peek(Data(16)), 0u);

    // A capture reads out through the registers.
    Poke(kDeviceControl, kPgcOn);
    Poke(Mode(1), 0x2000 | 0x4);
    EXPECT_TRUE(m_pSwitch->Pgc().Leaving(1, Bytes{0x01, 0x02, 0x03, 0x04, 0x05}));
    EXPECT_EQ(Peek(Mode(1)) & 0x8000, 0x8000u);
    Poke(Mode(1), 0x2000 | 0x4000 | 0x4);
    EXPECT_EQ(Peek(Data(1)), 0x01020304u);
    Poke(Mode(1), 0x2000 | 0x4000 | 0x4);
    EXPECT_EQ(Peek(Data(1)), 0x05000000u);
}

TEST_F(Gen2PgcRegisters, MatchCountersCountWhileEnabledAndClearOnRead)
{
    // Comparator 0 of port 3 matches every packet (mask 0); trace 0 and filter 0 armed.
    Poke(Ops(3), 0x200 | 0x2000);
    CGen2Pgc& pgc = m_pSwitch->Pgc();
    EXPECT_FALSE(pgc.Arriving(3, Bytes{0, 2, 5, 1}));
    EXPECT_EQ(Peek(TraceCounter(3, 0)), 0u) << "no counting without CNTRS_EN";
    EXPECT_EQ(Peek(FilterCounter(3, 0)), 0u);

    Poke(Ops(3), 0x200 | 0x2000 | kCountersOn);
    pgc.Arriving(3, Bytes{0, 2, 5, 1});
    pgc.Arriving(3, Bytes{0, 2, 5, 1});
    EXPECT_EQ(Peek(TraceCounter(3, 0)), 2u);
    EXPECT_EQ(Peek(TraceCounter(3, 0)), 0u) << "clear on read";
    EXPECT_EQ(Peek(FilterCounter(3, 0)), 2u);
    EXPECT_EQ(Peek(TraceCounter(4, 0)), 0u);
    // The counters are read-only; the next counter (VC0 packet-accepted received) is not a match counter.
    pgc.Arriving(3, Bytes{0, 2, 5, 1});
    Poke(TraceCounter(3, 0), 0);
    EXPECT_EQ(Peek(TraceCounter(3, 0)), 1u);
    EXPECT_EQ(Peek(FilterCounter(3, 0)), 1u);
    EXPECT_EQ(Peek(0xF40040 + 0x300), 0u);

    // A comparator written through the port's block decides; one written to another port does not.
    Poke(Comparator(3, 0) + 20, 0x00FF0000); // mask: byte 1 (TT, FType)
    Poke(Comparator(3, 0), 0x00020000);      // value: FType 2
    EXPECT_TRUE(pgc.Arriving(3, Bytes{0, 0x08, 5, 1}));
    EXPECT_FALSE(pgc.Arriving(3, Bytes{0, 0x02, 5, 1}));
    EXPECT_EQ(Peek(FilterCounter(3, 0)), 1u);
}

TEST_F(Gen2PgcRegisters, BroadcastComparatorWritesEveryPort)
{
    Poke(0xE4F000 + 40 * 2 + 4, 0x11223344); // comparator 2, value word 1
    for (uint8_t p = 0; p < 18; ++p)
        EXPECT_EQ(Peek(Comparator(p, 2) + 4), 0x11223344u) << "port " << int{p};
    EXPECT_EQ(Peek(Comparator(0, 1) + 4), 0u);
    Poke(Comparator(0, 2) + 4, 0x55);
    EXPECT_EQ(Peek(0xE4F000 + 40 * 2 + 4), 0x55u) << "a broadcast read gives port 0's";
    EXPECT_EQ(Peek(Comparator(1, 2) + 4), 0x11223344u);
}

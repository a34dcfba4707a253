// The Gen2 packet generation and capture engine and the trace/filter comparators in a running
// fabric (gen2tools.topo), driven as the client drives them: maintenance reads and writes from
// the host to the CPS-1848. A request loaded into one port's generator reaches its endpoint and
// the response comes back out of another port's capture registers, with the start port looped
// back or not; comparators count, copy and drop the host's own traffic.
#include "Gen2Registers.h"
#include "SimTestUtil.h"

#include "nvsim/Fabric.h"
#include "nvsim/Packet.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace nvsim;
using namespace simtest;

namespace
{
using namespace gen2test;

constexpr uint32_t kSwitchId = 0xFF; // sw1 is reached at hop count 0
constexpr uint32_t kDeviceReset = 0xF20300;

constexpr uint32_t PortControl(uint8_t p)
{
    return 0x15C + 0x20 * p;
}
constexpr uint32_t RouteEntry(uint8_t uchTable, uint32_t ulId)
{
    return 0xE10000 + 0x1000 * uchTable + 4 * ulId;
}

// A maintenance read request of Base Device ID (0x60) from source ID 0x33, an ID nothing in the
// fabric uses, so that only the generator's route leads its response anywhere. A switch on the
// way takes the request for itself unless the hop count is still above 0 when it gets there.
std::vector<uint8_t> ReadBaseIdRequest(uint32_t ulDestId, uint8_t uchHop = 0)
{
    SRioPacket request;
    request.uchFType = ftype::kMaintenance;
    request.uchTrans = ttype::kMaintRead;
    request.uchSize = 8; // one word
    request.ulDestId = ulDestId;
    request.ulSourceId = 0x33;
    request.uchSourceTid = 0x5A;
    request.uchHopCount = uchHop;
    request.SetRegisterOffset(0x60);
    std::string strError;
    std::vector<uint8_t> bytes = EncodePacket(request, &strError);
    EXPECT_FALSE(bytes.empty()) << strError;
    return bytes;
}

class Gen2PgcFabric : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_pFabric = ShippedFabric("gen2tools.topo");
        ASSERT_TRUE(m_pFabric);
    }
    uint32_t Rd(uint32_t ulAt) { return ReadOk(*m_pFabric, kSwitchId, 0, ulAt); }
    void Wr(uint32_t ulAt, uint32_t ulValue) { WriteOk(*m_pFabric, kSwitchId, 0, ulAt, ulValue); }

    // Scenario 2's loop-back of the start port, and taking it out again, as the generator does:
    // port disabled around the change of its operations register.
    void SetLoopBack(uint8_t s, bool bOn)
    {
        const uint32_t ulControl = Rd(PortControl(s)) | 0x00800000;
        Wr(PortControl(s), ulControl);
        const uint32_t ulOps = Rd(Ops(s));
        Wr(Ops(s), bOn ? ulOps | 0x00200000 : ulOps & ~0x00200000u);
        Wr(PortControl(s), ulControl & ~0x00800000u);
    }

    // The generator's send procedure from PGC mode on: end port e in capture mode, start port s
    // in generate mode, the packet loaded word by word (SOP on the first, EOP on the last), sent;
    // then up to ten polls for reception complete. Returns the 300 bytes read out of e's capture,
    // or nothing when no packet was received.
    std::vector<uint8_t> SendAndCapture(uint8_t s, uint8_t e, uint32_t f, const std::vector<uint8_t>& packet)
    {
        Wr(kDeviceReset, 0x80000000);
        const uint32_t ulControl = Rd(kDeviceControl);
        Wr(kDeviceControl, ulControl | kPgcOn);
        const uint32_t ulEnd = Rd(Mode(e));
        Wr(Mode(e), (ulEnd & 0xFFFFEC00) | (1u << (f + 2)) | 0x2000);
        uint32_t c1 = (Rd(Mode(s)) & 0xFFFFDC00) | (1u << f) | 0x1000;
        Wr(Mode(s), c1);
        c1 |= 0x4000;
        const size_t nWords = (packet.size() + 3) / 4;
        for (size_t w = 0; w < nWords; ++w)
        {
            uint32_t ulWord = 0;
            for (size_t b = 0; b < 4; ++b)
                ulWord = (ulWord << 8) | (4 * w + b < packet.size() ? packet[4 * w + b] : 0);
            Wr(Data(s), ulWord);
            c1 = w == 0 ? c1 | 0x400 : c1 & ~0x400u;
            if (w + 1 == nWords)
                c1 |= 0x800;
            Wr(Mode(s), c1);
        }
        c1 &= 0xFFFFB000;
        Wr(Mode(s), c1);
        c1 |= 0x10000;
        Wr(Mode(s), c1);
        EXPECT_EQ(Rd(Mode(s)) & 0x10000, 0u) << "START clears once the packet has gone";

        bool bReceived = false;
        for (int n = 0; n < 10 && !bReceived; ++n)
            bReceived = (Rd(Mode(e)) & 0x8000) != 0;
        std::vector<uint8_t> captured;
        if (bReceived)
        {
            const uint32_t w = (ulEnd & 0xFFFFFC00) | (1u << (f + 2)) | 0x6000;
            for (int n = 0; n < 75; ++n)
            {
                Wr(Mode(e), w);
                const uint32_t ulWord = Rd(Data(e));
                for (int nShift = 24; nShift >= 0; nShift -= 8)
                    captured.push_back(static_cast<uint8_t>(ulWord >> nShift));
            }
        }
        Wr(kDeviceControl, ulControl & ~kPgcOn);
        return captured;
    }

    // Comparator c of port p from a value and a mask of up to 20 bytes each.
    void SetComparator(uint8_t p, uint32_t c, const std::vector<uint8_t>& value,
                       const std::vector<uint8_t>& mask)
    {
        for (uint32_t w = 0; w < 10; ++w)
        {
            const std::vector<uint8_t>& bytes = w < 5 ? value : mask;
            uint32_t ulWord = 0;
            for (uint32_t b = 0; b < 4; ++b)
            {
                const size_t n = 4 * (w % 5) + b;
                ulWord = (ulWord << 8) | (n < bytes.size() ? bytes[n] : 0);
            }
            Wr(Comparator(p, c) + 4 * w, ulWord);
        }
    }

    std::unique_ptr<CSimFabric> m_pFabric;
};

// The packet at the start of a capture: the shortest length that decodes with good CRCs.
bool DecodeCaptured(const std::vector<uint8_t>& captured, SRioPacket* pPacket)
{
    for (size_t n = 8; n <= captured.size(); n += 2)
    {
        if (DecodePacket(captured.data(), n, 34, pPacket) == EDecodeResult::Ok)
            return true;
    }
    return false;
}

void ExpectBaseIdResponse(const std::vector<uint8_t>& captured, uint32_t ulFrom)
{
    SRioPacket response;
    ASSERT_TRUE(DecodeCaptured(captured, &response)) << PacketText(captured);
    EXPECT_EQ(response.uchFType, ftype::kMaintenance);
    EXPECT_EQ(response.uchTrans, ttype::kMaintReadResp);
    EXPECT_EQ(response.uchStatus, kRioStatusDone);
    EXPECT_EQ(response.uchTargetTid, 0x5A);
    EXPECT_EQ(response.ulDestId, 0x33u);
    EXPECT_EQ(response.ulSourceId, ulFrom);
    ASSERT_GE(response.data.size(), 4u);
    // Base Device ID: the small ID in bits 23..16, the large one in 15..0.
    EXPECT_EQ(std::vector<uint8_t>(response.data.begin(), response.data.begin() + 4),
              (std::vector<uint8_t>{0x00, static_cast<uint8_t>(ulFrom), 0x00, static_cast<uint8_t>(ulFrom)}));
}
} // namespace

TEST_F(Gen2PgcFabric, ScenarioOneSendsOutOfTheStartPortAndCapturesTheResponse)
{
    // s = 1 (ep1, ID 0x05), e = 2, flow 3; the response to 0x33 is steered from port 1 to port 2.
    Wr(RouteEntry(1, 0x33), 2);
    const std::vector<uint8_t> captured = SendAndCapture(1, 2, 3, ReadBaseIdRequest(0x05));
    ASSERT_EQ(captured.size(), 300u) << "no packet came to the end port";
    ExpectBaseIdResponse(captured, 0x05);
    EXPECT_EQ(Rd(Mode(2)) & 0x8000, 0u) << "the whole packet was read";
    EXPECT_EQ(m_pFabric->Device("ep2").Counters(0).RxPackets(), 0u) << "the capture kept it off the link";

    // Without a route for 0x33 the response goes nowhere, and the poll gives up.
    Wr(RouteEntry(1, 0x33), 0xDF);
    EXPECT_TRUE(SendAndCapture(1, 2, 3, ReadBaseIdRequest(0x05)).empty());
}

TEST_F(Gen2PgcFabric, ScenarioTwoLoopsTheStartPortBack)
{
    // s = 6 (no link), t = 3 (ep3, ID 0x0F), e = 2: the packet comes straight back into port 6,
    // is routed to the test port by its destination, and the answer is steered to port 2. The
    // request passes the switch once more, so it needs a hop count of 1.
    Wr(RouteEntry(3, 0x33), 2);
    Wr(RouteEntry(6, 0x0F), 3);
    SetLoopBack(6, true);
    const std::vector<uint8_t> captured = SendAndCapture(6, 2, 0, ReadBaseIdRequest(0x0F, 1));
    ASSERT_EQ(captured.size(), 300u) << "no packet came to the end port";
    ExpectBaseIdResponse(captured, 0x0F);

    // Out of the loop, the packet goes onto port 6's link, which there isn't.
    SetLoopBack(6, false);
    EXPECT_EQ(Rd(Ops(6)) & 0x00200000, 0u);
    EXPECT_TRUE(SendAndCapture(6, 2, 0, ReadBaseIdRequest(0x0F, 1)).empty());
}

TEST_F(Gen2PgcFabric, TraceComparatorCountsAndCopiesToTheTracePort)
{
    // Comparator 1 of port 0 (the host's): NREAD (tt 0, FType 2) to ID 0x0A. Trace port 7, which
    // has no link: a capture there shows the copy.
    SetComparator(0, 1, {0x00, 0x02, 0x0A}, {0x00, 0x3F, 0xFF});
    Wr(Ops(0), 0x400 | 0x04000000);
    Wr(kDeviceControl, (Rd(kDeviceControl) & ~0x3Eu) | 0x8000 | (7 << 1) | kPgcOn);
    Wr(Mode(7), 0x2000);

    uint8_t auch[8] = {};
    ASSERT_EQ(m_pFabric->DataRead(0, 0x0A, 0, 0x1000, auch, 8, false), 0) << "a traced packet goes on";
    ASSERT_EQ(m_pFabric->DataRead(0, 0x0F, 0, 0x1000, auch, 8, false), 0);
    EXPECT_EQ(Rd(TraceCounter(0, 1)), 1u) << "only the read of 0x0A matches";
    EXPECT_EQ(Rd(TraceCounter(0, 1)), 0u) << "clear on read";
    EXPECT_EQ(Rd(TraceCounter(0, 0)), 0u);

    ASSERT_EQ(Rd(Mode(7)) & 0x8000, 0x8000u) << "the copy reached the trace port";
    std::vector<uint8_t> copy;
    for (int n = 0; n < 75; ++n)
    {
        Wr(Mode(7), 0x6000);
        const uint32_t ulWord = Rd(Data(7));
        for (int nShift = 24; nShift >= 0; nShift -= 8)
            copy.push_back(static_cast<uint8_t>(ulWord >> nShift));
    }
    SRioPacket traced;
    ASSERT_TRUE(DecodeCaptured(copy, &traced)) << PacketText(copy);
    EXPECT_EQ(traced.uchFType, ftype::kRequest);
    EXPECT_EQ(traced.uchTrans, ttype::kNread);
    EXPECT_EQ(traced.ulDestId, 0x0Au);
    EXPECT_EQ(traced.ulSourceId, 0x01u);
    EXPECT_EQ(traced.Address(), 0x1000u);
    EXPECT_EQ(Rd(Mode(7)) & 0x8000, 0u) << "one copy only";

    // Trace off in Device Control: still counted, no copy.
    Wr(kDeviceControl, Rd(kDeviceControl) & ~0x8000u);
    ASSERT_EQ(m_pFabric->DataRead(0, 0x0A, 0, 0x1000, auch, 8, false), 0);
    EXPECT_EQ(Rd(TraceCounter(0, 1)), 1u);
    EXPECT_EQ(Rd(Mode(7)) & 0x8000, 0u);
}

TEST_F(Gen2PgcFabric, FilterDropsTheMatchingRequestsOnly)
{
    // Filter comparator 2 of port 0: anything to ID 0x0A.
    SetComparator(0, 2, {0x00, 0x00, 0x0A}, {0x00, 0x30, 0xFF});
    Wr(Ops(0), 0x8000 | 0x04000000);
    uint8_t auch[8] = {};
    EXPECT_EQ(m_pFabric->DataRead(0, 0x0A, 0, 0x1000, auch, 8, false), -310) << "dropped: the host times out";
    EXPECT_EQ(m_pFabric->DataRead(0, 0x0F, 0, 0x1000, auch, 8, false), 0);
    uint32_t ulWord = 0;
    EXPECT_EQ(m_pFabric->MaintRead(0, 0x0A, 1, 0x60, &ulWord, 1, 4, 4, false), -310);
    EXPECT_EQ(Rd(FilterCounter(0, 2)), 2u);
    EXPECT_EQ(Rd(TraceCounter(0, 2)), 0u);

    // Disarmed, the same read goes through.
    Wr(Ops(0), 0x04000000);
    EXPECT_EQ(m_pFabric->DataRead(0, 0x0A, 0, 0x1000, auch, 8, false), 0);
    EXPECT_EQ(Rd(FilterCounter(0, 2)), 0u);
}

TEST_F(Gen2PgcFabric, PortWritesAreCountedByAComparatorOnTheirWayIn)
{
    // Comparator 3 of port 1 (ep1): maintenance (FType 8) port-writes (transaction 4).
    SetComparator(1, 3, {0x00, 0x08, 0x00, 0x00, 0x40}, {0x00, 0x0F, 0x00, 0x00, 0xF0});
    Wr(Ops(1), (0x200 << 3) | 0x04000000);

    SRioPacket portWrite;
    portWrite.uchFType = ftype::kMaintenance;
    portWrite.uchTrans = ttype::kPortWrite;
    portWrite.uchSize = 11; // a double-word
    portWrite.ulDestId = 0x01;
    portWrite.ulSourceId = 0x05;
    portWrite.data = {0, 0, 0, 0x38, 0, 0, 0, 0x01};
    const std::vector<uint8_t> bytes = EncodePacket(portWrite);
    ASSERT_FALSE(bytes.empty());
    CSimDevice& ep1 = m_pFabric->Device("ep1");
    m_pFabric->InjectPacket(ep1, 0, bytes);
    m_pFabric->InjectPacket(ep1, 0, bytes);
    // A maintenance read from ep1's side is FType 8 too, but no port-write.
    m_pFabric->InjectPacket(ep1, 0, ReadBaseIdRequest(0x0A));
    EXPECT_EQ(Rd(TraceCounter(1, 3)), 2u);
}

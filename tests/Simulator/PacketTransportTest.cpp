// Packets as bytes in the fabric: the packets of the server's transactions, packets a device
// sends of its own, device hooks that filter or take packets, port loop-back and the pcap file.
#include "SimTestUtil.h"

#include "SimProcess.h"
#include "TestSupport.h"
#include "nvsim/Fabric.h"
#include "nvsim/Packet.h"
#include "nvsim/Status.h"
#include "nvsim/StdDevice.h"

#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <set>

using namespace simtest;
using nvsim::EPacketAction;
using nvsim::EPacketFate;
using nvsim::SRioPacket;

namespace
{
// A switch whose packet hooks the test sets.
class CHookSwitch : public nvsim::CStdDevice
{
public:
    using CStdDevice::CStdDevice;

    std::function<EPacketAction(uint8_t, const Bytes&)> fnArriving;
    std::function<bool(uint8_t, const Bytes&)> fnLeaving;
    std::set<uint8_t> loopedBack;

    bool WantsPacketBytes(uint8_t, bool bTransmit) const override
    {
        return bTransmit ? static_cast<bool>(fnLeaving) : static_cast<bool>(fnArriving);
    }
    EPacketAction PacketArriving(uint8_t uchPort, const Bytes& bytes) override
    {
        return fnArriving(uchPort, bytes);
    }
    bool PacketLeaving(uint8_t uchPort, const Bytes& bytes) override { return fnLeaving(uchPort, bytes); }
    bool PortLoopedBack(uint8_t uchPort) const override { return loopedBack.count(uchPort) > 0; }
};

struct STapped
{
    std::string strFrom;
    uint8_t uchFromPort;
    std::string strTo;
    uint8_t uchToPort;
    Bytes bytes;
};

SRioPacket Decode(const Bytes& bytes)
{
    SRioPacket packet;
    std::string strError;
    EXPECT_EQ(nvsim::EDecodeResult::Ok, nvsim::DecodePacket(bytes, 34, &packet, &strError))
        << strError << ": " << nvsim::PacketText(bytes);
    return packet;
}

// host (ID 0x01) - sw port 0; sw port 1 - ep (ID 0x05, memory); sw port 2 has no link.
class PacketTransport : public ::testing::Test
{
protected:
    void SetUp() override
    {
        nvsim::SDeviceConfig host;
        host.bProcessor = true;
        host.bMemory = true;
        host.uchSmallId = 0x01;
        nvsim::SDeviceConfig sw;
        sw.bSwitch = true;
        sw.uchPortCount = 4;
        nvsim::SDeviceConfig ep;
        ep.bMemory = true;
        ep.uchSmallId = 0x05;
        std::string strError;
        ASSERT_TRUE(m_fabric.AddDevice(std::make_unique<nvsim::CStdDevice>("host", host), &strError));
        auto pSwitch = std::make_unique<CHookSwitch>("sw", sw);
        m_pSwitch = pSwitch.get();
        ASSERT_TRUE(m_fabric.AddDevice(std::move(pSwitch), &strError));
        ASSERT_TRUE(m_fabric.AddDevice(std::make_unique<nvsim::CStdDevice>("ep", ep), &strError));
        m_pHost = &m_fabric.Device("host");
        m_pEndpoint = &m_fabric.Device("ep");
        ASSERT_TRUE(m_fabric.Connect(*m_pHost, 0, *m_pSwitch, 0, &strError)) << strError;
        ASSERT_TRUE(m_fabric.Connect(*m_pSwitch, 1, *m_pEndpoint, 0, &strError)) << strError;
        ASSERT_TRUE(m_fabric.SetHost("host", {0}, &strError)) << strError;
        m_pSwitch->SetRouteEntry(0x01, 0);
        m_pSwitch->SetRouteEntry(0x05, 1);
        m_pSwitch->SetRouteEntry(0x07, 2);
    }

    void Tap()
    {
        m_fabric.SetPacketTap(
            [this](const nvsim::SLinkEnd& from, const nvsim::SLinkEnd& to, const Bytes& bytes) {
                m_tapped.push_back(
                    {from.pDevice->Name(), from.uchPort, to.pDevice->Name(), to.uchPort, bytes});
            });
    }

    // A maintenance request as bytes, with the simulator's encoder.
    static Bytes MaintRequest(bool bWrite, uint32_t ulDestId, uint8_t uchHop, uint32_t ulOffset,
                              uint8_t uchTid, uint32_t ulValue = 0)
    {
        SRioPacket p;
        p.uchAckId = 0x3F; // the link puts its own ackID in
        p.uchFType = nvsim::ftype::kMaintenance;
        p.uchTrans = bWrite ? nvsim::ttype::kMaintWrite : nvsim::ttype::kMaintRead;
        p.ulDestId = ulDestId;
        p.ulSourceId = 0x01;
        p.uchHopCount = uchHop;
        p.uchSourceTid = uchTid;
        p.uchSize = 8;
        p.SetRegisterOffset(ulOffset);
        if (bWrite)
        {
            p.data.assign(8, 0);
            for (int i = 0; i < 4; ++i)
                p.data[(ulOffset & 4) + i] = static_cast<uint8_t>(ulValue >> (24 - 8 * i));
        }
        return nvsim::EncodePacket(p);
    }

    nvsim::CSimFabric m_fabric;
    CHookSwitch* m_pSwitch = nullptr;
    nvsim::CSimDevice* m_pHost = nullptr;
    nvsim::CSimDevice* m_pEndpoint = nullptr;
    std::vector<STapped> m_tapped;
};

TEST_F(PacketTransport, AMaintenanceReadSentAsBytesIsAnsweredWithTheRegisterAsBytes)
{
    m_pEndpoint->SetReg(nvsim::reg::kComponentTag, 0xC0FFEE01);
    Tap();
    const nvsim::SInjectResult result =
        m_fabric.InjectPacket(*m_pHost, 0, MaintRequest(false, 0x05, 1, nvsim::reg::kComponentTag, 0x42));
    EXPECT_EQ(EPacketFate::Consumed, result.eFate) << result.strWhy;
    EXPECT_EQ(m_pEndpoint, result.pDevice) << result.strWhy;
    ASSERT_TRUE(result.bResponse);
    EXPECT_EQ(EPacketFate::Consumed, result.eResponseFate);
    EXPECT_EQ(m_pHost, result.pResponseDevice);

    ASSERT_EQ(4u, m_tapped.size());
    // The switch counted the hop count down and made the CRC anew; every link numbered its
    // packets with its own ackIDs, from 0.
    const SRioPacket first = Decode(m_tapped[0].bytes), second = Decode(m_tapped[1].bytes);
    EXPECT_EQ("sw", m_tapped[1].strFrom);
    EXPECT_EQ(1, first.uchHopCount);
    EXPECT_EQ(0, second.uchHopCount);
    EXPECT_EQ(0, first.uchAckId);
    EXPECT_EQ(0, second.uchAckId);
    EXPECT_EQ(nvsim::reg::kComponentTag, second.RegisterOffset());

    const SRioPacket response = Decode(m_tapped[3].bytes);
    EXPECT_EQ("host", m_tapped[3].strTo);
    EXPECT_EQ(nvsim::ttype::kMaintReadResp, response.uchTrans);
    EXPECT_EQ(0x42, response.uchTargetTid);
    EXPECT_EQ(0x01u, response.ulDestId);
    EXPECT_EQ(0x05u, response.ulSourceId);
    EXPECT_EQ(nvsim::kRioStatusDone, response.uchStatus);
    EXPECT_EQ((Bytes{0, 0, 0, 0, 0xC0, 0xFF, 0xEE, 0x01}), response.data);

    // A write at hop count 0 reaches the switch's own register, and a second request on the same
    // links takes the next ackIDs.
    m_tapped.clear();
    const nvsim::SInjectResult write = m_fabric.InjectPacket(
        *m_pHost, 0, MaintRequest(true, 0xFF, 0, nvsim::reg::kComponentTag, 7, 0x12345678));
    EXPECT_EQ(EPacketFate::Consumed, write.eFate) << write.strWhy;
    EXPECT_EQ(m_pSwitch, write.pDevice);
    EXPECT_EQ(0x12345678u, m_pSwitch->Reg(nvsim::reg::kComponentTag));
    ASSERT_EQ(2u, m_tapped.size());
    EXPECT_EQ(1, Decode(m_tapped[0].bytes).uchAckId);
    EXPECT_EQ(nvsim::ttype::kMaintWriteResp, Decode(m_tapped[1].bytes).uchTrans);
}

TEST_F(PacketTransport, TheServersTransactionsCrossAsTheirPackets)
{
    Tap();
    uint32_t ulWord = 0;
    m_pEndpoint->SetReg(0x60, 0x00050005);
    ASSERT_EQ(0, m_fabric.MaintRead(0, 0x05, 1, 0x60, &ulWord, 1, 4, 4, false));
    ASSERT_EQ(4u, m_tapped.size());
    const SRioPacket request = Decode(m_tapped[1].bytes);
    EXPECT_EQ(nvsim::ttype::kMaintRead, request.uchTrans);
    EXPECT_EQ(0x60u, request.RegisterOffset());
    EXPECT_EQ(0, request.uchHopCount);
    EXPECT_EQ(8, request.uchSize);
    const SRioPacket response = Decode(m_tapped[3].bytes);
    EXPECT_EQ(request.uchSourceTid, response.uchTargetTid);
    EXPECT_EQ((Bytes{0x00, 0x05, 0x00, 0x05, 0, 0, 0, 0}), response.data);
    EXPECT_EQ(Decode(m_tapped[0].bytes).uchPriority + 1, response.uchPriority); // responses go one up

    // An NWRITE_R of 300 bytes is two packets of 256 and 44 bytes, each answered.
    m_tapped.clear();
    Bytes data(300);
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<uint8_t>(i * 7);
    ASSERT_EQ(0, m_fabric.DataWrite(0, 0x05, 0, 0x1000, 2, data.data(), 300, false));
    ASSERT_EQ(8u, m_tapped.size()); // two requests on each of two links, two responses back
    const SRioPacket chunk0 = Decode(m_tapped[0].bytes), chunk1 = Decode(m_tapped[1].bytes);
    EXPECT_EQ(nvsim::ftype::kWrite, chunk0.uchFType);
    EXPECT_EQ(nvsim::ttype::kNwriteR, chunk0.uchTrans);
    EXPECT_EQ(0x1000u, chunk0.Address() & ~7ull); // wdptr is part of the size here
    EXPECT_EQ(256u, nvsim::TransferBytes(chunk0.uchSize, chunk0.bWdptr));
    EXPECT_EQ(Bytes(data.begin(), data.begin() + 256), chunk0.data);
    EXPECT_EQ(0x1100u, chunk1.Address() & ~7ull);
    // 44 bytes need the write size of 64 (there is none of 48).
    ASSERT_EQ(64u, chunk1.data.size());
    EXPECT_EQ(64u, nvsim::TransferBytes(chunk1.uchSize, chunk1.bWdptr));
    EXPECT_EQ(Bytes(data.begin() + 256, data.end()), Bytes(chunk1.data.begin(), chunk1.data.begin() + 44));
    EXPECT_EQ(1, (Decode(m_tapped[1].bytes).uchAckId - chunk0.uchAckId));
    EXPECT_EQ(nvsim::ftype::kResponse, Decode(m_tapped[7].bytes).uchFType);

    // An NREAD's response carries what the memory holds.
    m_tapped.clear();
    Bytes back(16);
    ASSERT_EQ(0, m_fabric.DataRead(0, 0x05, 0, 0x1008, back.data(), 16, false));
    ASSERT_EQ(4u, m_tapped.size());
    const SRioPacket read = Decode(m_tapped[0].bytes);
    EXPECT_EQ(nvsim::ttype::kNread, read.uchTrans);
    EXPECT_EQ(16u, nvsim::TransferBytes(read.uchSize, read.bWdptr));
    EXPECT_EQ(Bytes(data.begin() + 8, data.begin() + 24), Decode(m_tapped[3].bytes).data);

    // A doorbell and its response.
    m_tapped.clear();
    ASSERT_EQ(0, m_fabric.SendDoorbell(0, 0x05, 1, 0xBEEF, true));
    ASSERT_EQ(4u, m_tapped.size());
    const SRioPacket doorbell = Decode(m_tapped[0].bytes);
    EXPECT_EQ(nvsim::ftype::kDoorbell, doorbell.uchFType);
    EXPECT_EQ(1, doorbell.uchTt);
    EXPECT_EQ(0xBEEF, doorbell.wInfo);
    EXPECT_EQ(doorbell.uchSourceTid, Decode(m_tapped[3].bytes).uchTargetTid);
}

TEST_F(PacketTransport, NothingIsEncodedWhileNobodyLooks)
{
    // The hooks see bytes only when they ask for them; a tap-less fabric builds none.
    int nSeen = 0;
    m_pSwitch->fnArriving = [&](uint8_t, const Bytes&)
    {
        ++nSeen;
        return EPacketAction::Pass;
    };
    uint32_t ulWord = 0;
    ASSERT_EQ(0, m_fabric.MaintRead(0, 0x05, 1, 0x60, &ulWord, 1, 4, 4, false));
    EXPECT_EQ(2, nSeen); // the request from the host, the response from the endpoint
    m_pSwitch->fnArriving = nullptr;
    ASSERT_EQ(0, m_fabric.MaintRead(0, 0x05, 1, 0x60, &ulWord, 1, 4, 4, false));
    EXPECT_EQ(2, nSeen);
}

TEST_F(PacketTransport, AFilteredRequestTimesOutAndIsCountedAsDropped)
{
    // Drops maintenance requests for the component tag as they come in on port 0.
    m_pSwitch->fnArriving = [](uint8_t uchPort, const Bytes& bytes)
    {
        const SRioPacket p = Decode(bytes);
        const bool bDrop = uchPort == 0 && p.uchFType == nvsim::ftype::kMaintenance &&
                           p.RegisterOffset() == nvsim::reg::kComponentTag;
        return bDrop ? EPacketAction::Drop : EPacketAction::Pass;
    };
    uint32_t ulWord = 0;
    EXPECT_EQ(nvsim::kStatusTimeout,
              m_fabric.MaintRead(0, 0x05, 1, nvsim::reg::kComponentTag, &ulWord, 1, 4, 4, false));
    const auto errors = m_fabric.GetRioErrors();
    ASSERT_EQ(1u, errors.size());
    EXPECT_EQ("Maintenance response timeout: DestID 0x5 HopCount 1 Offset 0x6c", errors[0].strText);
    EXPECT_EQ(1u, m_pSwitch->Counters(0).Events(nvsim::ELinkEvent::DroppedRx));
    EXPECT_EQ(0u, m_pEndpoint->Counters(0).RxPackets());
    // Other offsets pass.
    EXPECT_EQ(0, m_fabric.MaintRead(0, 0x05, 1, 0x60, &ulWord, 1, 4, 4, false));

    const nvsim::SInjectResult injected =
        m_fabric.InjectPacket(*m_pHost, 0, MaintRequest(false, 0x05, 1, nvsim::reg::kComponentTag, 1));
    EXPECT_EQ(EPacketFate::Dropped, injected.eFate);
    EXPECT_EQ(m_pSwitch, injected.pDevice);
    EXPECT_EQ("dropped by sw port 0 as it arrived", injected.strWhy);
    EXPECT_FALSE(injected.bResponse);
}

TEST_F(PacketTransport, ALeavingPacketCanBeTakenByTheDevice)
{
    std::vector<Bytes> captured;
    m_pSwitch->fnLeaving = [&](uint8_t uchPort, const Bytes& bytes)
    {
        if (uchPort != 1)
            return false;
        captured.push_back(bytes);
        return true;
    };
    uint32_t ulWord = 0;
    EXPECT_EQ(nvsim::kStatusTimeout, m_fabric.MaintRead(0, 0x05, 1, 0x60, &ulWord, 1, 4, 4, false));
    ASSERT_EQ(1u, captured.size());
    const SRioPacket p = Decode(captured[0]);
    EXPECT_EQ(0, p.uchHopCount);
    EXPECT_EQ(0x60u, p.RegisterOffset());
    EXPECT_EQ(0u, m_pSwitch->Counters(1).TxPackets());
    // Taken, it used up no ackID of the link.
    EXPECT_EQ(0, m_pSwitch->Port(1).uchOutboundAckId);
}

TEST_F(PacketTransport, APortInLoopBackTakesItsOwnPacketsBackIn)
{
    uint32_t ulWord = 0;
    // Port 2 has no link: a request routed there is lost.
    EXPECT_EQ(nvsim::kStatusTimeout, m_fabric.MaintRead(0, 0x07, 1, 0x00, &ulWord, 1, 4, 4, false));
    // Looped back, the request comes back into the switch with its hop count run out; the
    // switch answers it out of the same port, and the answer comes back in and goes home.
    m_pSwitch->loopedBack = {2};
    uint32_t ulOwn = 0;
    ASSERT_EQ(0, m_fabric.MaintRead(0, 0xFF, 0, 0x00, &ulOwn, 1, 4, 4, false));
    ASSERT_EQ(0, m_fabric.MaintRead(0, 0x07, 1, 0x00, &ulWord, 1, 4, 4, false));
    EXPECT_EQ(ulOwn, ulWord);
    const nvsim::SPortCounters counters = m_pSwitch->Counters(2);
    EXPECT_EQ(2u, counters.TxPackets());
    EXPECT_EQ(2u, counters.RxPackets());
    EXPECT_EQ(2, m_pSwitch->Port(2).uchOutboundAckId);
    EXPECT_EQ(2, m_pSwitch->Port(2).uchInboundAckId);

    // A packet the switch sends of its own out of the looped port comes back and is routed on:
    // an NWRITE to the endpoint's memory.
    SRioPacket write;
    write.uchFType = nvsim::ftype::kWrite;
    write.uchTrans = nvsim::ttype::kNwrite;
    write.ulDestId = 0x05;
    write.ulSourceId = 0x07;
    write.uchSize = 11;
    write.SetAddress(0x2000);
    write.data = {1, 2, 3, 4, 5, 6, 7, 8};
    const nvsim::SInjectResult result = m_fabric.InjectPacket(*m_pSwitch, 2, nvsim::EncodePacket(write));
    EXPECT_EQ(EPacketFate::Consumed, result.eFate) << result.strWhy;
    EXPECT_EQ(m_pEndpoint, result.pDevice);
    EXPECT_FALSE(result.bResponse);
    Bytes memory(8);
    m_pEndpoint->ReadMemory(0x2000, memory.data(), 8);
    EXPECT_EQ(write.data, memory);
}

TEST_F(PacketTransport, ABadCrcIsDroppedByTheReceivingPortAndCounted)
{
    Tap();
    Bytes bytes = MaintRequest(false, 0x05, 1, 0x60, 3);
    bytes[bytes.size() - 3] ^= 0x10; // in the CRC
    const nvsim::SInjectResult result = m_fabric.InjectPacket(*m_pHost, 0, bytes);
    EXPECT_EQ(EPacketFate::Dropped, result.eFate);
    EXPECT_EQ(m_pSwitch, result.pDevice);
    EXPECT_EQ("sw port 0 dropped it: bad CRC", result.strWhy);
    EXPECT_EQ(1u, m_pSwitch->Counters(0).Events(nvsim::ELinkEvent::CrcError));
    EXPECT_EQ(1u, m_pHost->Counters(0).Events(nvsim::ELinkEvent::NackReceived));
    EXPECT_EQ(0u, m_pSwitch->Counters(0).RxPackets());
    ASSERT_EQ(1u, m_tapped.size()); // it was on the wire
    // Its ackID was not used up: the next good packet is taken.
    EXPECT_EQ(0, m_pSwitch->Port(0).uchInboundAckId);
    EXPECT_EQ(EPacketFate::Consumed,
              m_fabric.InjectPacket(*m_pHost, 0, MaintRequest(false, 0x05, 1, 0x60, 4)).eFate);

    EXPECT_EQ(EPacketFate::Invalid, m_fabric.InjectPacket(*m_pHost, 0, Bytes{0, 8}).eFate);
    EXPECT_EQ(EPacketFate::Invalid, m_fabric.InjectPacket(*m_pHost, 3, bytes).eFate);
}

TEST_F(PacketTransport, DataDoorbellsAndMessagesSentAsBytesReachTheEndpoint)
{
    Tap();
    auto header = [](uint8_t uchFType)
    {
        SRioPacket p;
        p.uchFType = uchFType;
        p.ulDestId = 0x05;
        p.ulSourceId = 0x01;
        p.uchSourceTid = 0x10;
        return p;
    };
    // NWRITE_R of two bytes at lanes 6 and 7 of a double-word.
    SRioPacket write = header(nvsim::ftype::kWrite);
    write.uchTrans = nvsim::ttype::kNwriteR;
    ASSERT_TRUE(nvsim::SizeFor(0x3006, 2, true, &write.uchSize, &write.bWdptr));
    write.SetAddress(0x3000);
    write.bWdptr = true;
    write.data = {0, 0, 0, 0, 0, 0, 0xAB, 0xCD};
    nvsim::SInjectResult result = m_fabric.InjectPacket(*m_pHost, 0, nvsim::EncodePacket(write));
    EXPECT_EQ(EPacketFate::Consumed, result.eFate) << result.strWhy;
    EXPECT_EQ(EPacketFate::Consumed, result.eResponseFate);
    Bytes memory(8);
    m_pEndpoint->ReadMemory(0x3000, memory.data(), 8);
    EXPECT_EQ((Bytes{0, 0, 0, 0, 0, 0, 0xAB, 0xCD}), memory);
    EXPECT_EQ(nvsim::kRioStatusDone, Decode(m_tapped.back().bytes).uchStatus);

    // NREAD of the double-word: the response carries it.
    SRioPacket read = header(nvsim::ftype::kRequest);
    read.uchTrans = nvsim::ttype::kNread;
    read.uchSize = 11;
    read.SetAddress(0x3000);
    m_tapped.clear();
    result = m_fabric.InjectPacket(*m_pHost, 0, nvsim::EncodePacket(read));
    EXPECT_EQ(EPacketFate::Consumed, result.eResponseFate);
    const SRioPacket answer = Decode(m_tapped.back().bytes);
    EXPECT_EQ(nvsim::ttype::kResponseWithData, answer.uchTrans);
    EXPECT_EQ(memory, answer.data);
    EXPECT_EQ(0x10, answer.uchTargetTid);

    // A doorbell lands in the endpoint's queue.
    SRioPacket doorbell = header(nvsim::ftype::kDoorbell);
    doorbell.wInfo = 0x1234;
    EXPECT_EQ(EPacketFate::Consumed, m_fabric.InjectPacket(*m_pHost, 0, nvsim::EncodePacket(doorbell)).eFate);
    bool bOverflow = false;
    const auto oDoorbell = m_pEndpoint->TakeDoorbell(0, &bOverflow);
    ASSERT_TRUE(oDoorbell);
    EXPECT_EQ(0x1234, oDoorbell->wInfo);
    EXPECT_EQ(0x01u, oDoorbell->ulSourceId);

    // A message of two segments is queued once the second has come.
    SRioPacket segment = header(nvsim::ftype::kMessage);
    segment.uchMsgLen = 1;
    segment.uchSize = 9;
    segment.uchMailbox = 1;
    segment.data.assign(8, 0x11);
    EXPECT_EQ(EPacketFate::Consumed,
              m_fabric.InjectPacket(*m_pHost, 0, nvsim::EncodePacket(segment)).eResponseFate);
    EXPECT_EQ(0u, m_pEndpoint->MessageCount(1));
    segment.uchMsgSeg = 1;
    segment.data.assign(8, 0x22);
    m_tapped.clear();
    m_fabric.InjectPacket(*m_pHost, 0, nvsim::EncodePacket(segment));
    const auto oMessage = m_pEndpoint->TakeMessage(1, &bOverflow);
    ASSERT_TRUE(oMessage);
    EXPECT_EQ((Bytes{0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22,
                     0x22}),
              oMessage->data);
    const SRioPacket messageResponse = Decode(m_tapped.back().bytes);
    EXPECT_EQ(nvsim::ttype::kResponseMessage, messageResponse.uchTrans);
    EXPECT_EQ(1, messageResponse.uchMsgSeg);
    EXPECT_EQ(1, messageResponse.uchMailbox);
}

// The records of a pcap file, read with a few lines of our own.
struct SPcap
{
    bool bHeaderOk = false;
    std::vector<Bytes> records;
};

SPcap ReadPcap(const std::string& strPath)
{
    std::ifstream in(strPath, std::ios::binary);
    const Bytes file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    SPcap pcap;
    auto le32 = [&](size_t n)
    { return file[n] | (file[n + 1] << 8) | (file[n + 2] << 16) | (uint32_t{file[n + 3]} << 24); };
    if (file.size() < 24)
        return pcap;
    // Magic d4 c3 b2 a1, version 2.4, snaplen 65535, link-layer type 147.
    pcap.bHeaderOk = Bytes(file.begin(), file.begin() + 4) == Bytes{0xD4, 0xC3, 0xB2, 0xA1} && file[4] == 2 &&
                     file[5] == 0 && file[6] == 4 && file[7] == 0 && le32(16) == 65535 && le32(20) == 147;
    for (size_t n = 24; n + 16 <= file.size();)
    {
        const uint32_t ulCaptured = le32(n + 8);
        EXPECT_EQ(ulCaptured, le32(n + 12));
        if (n + 16 + ulCaptured > file.size())
        {
            ADD_FAILURE() << "a record is cut short";
            break;
        }
        pcap.records.emplace_back(file.begin() + static_cast<long>(n + 16),
                                  file.begin() + static_cast<long>(n + 16 + ulCaptured));
        n += 16 + ulCaptured;
    }
    return pcap;
}

TEST_F(PacketTransport, ThePcapFileHoldsEveryPacketAsItCrossed)
{
    const std::string strPath = nvtest::ProcessTempDir() + "/session.pcap";
    std::string strError;
    ASSERT_TRUE(m_fabric.StartPcap(strPath, &strError)) << strError;
    Tap();
    uint32_t ulWord = 0;
    ASSERT_EQ(0, m_fabric.MaintRead(0, 0x05, 1, 0x60, &ulWord, 1, 4, 4, false));
    const uint8_t data[8] = {9, 8, 7, 6, 5, 4, 3, 2};
    ASSERT_EQ(0, m_fabric.DataWrite(0, 0x05, 0, 0x40, 1, data, 8, false));
    // Readable while the capture runs.
    const SPcap running = ReadPcap(strPath);
    EXPECT_TRUE(running.bHeaderOk);
    ASSERT_EQ(6u, running.records.size());
    m_fabric.StopPcap();
    ASSERT_EQ(m_tapped.size(), running.records.size());
    for (size_t i = 0; i < m_tapped.size(); ++i)
        EXPECT_EQ(m_tapped[i].bytes, running.records[i]) << i;
    EXPECT_EQ(nvsim::ttype::kMaintRead, Decode(running.records[0]).uchTrans);
    EXPECT_EQ(nvsim::ttype::kMaintReadResp, Decode(running.records[3]).uchTrans);
    const SRioPacket write = Decode(running.records[5]);
    EXPECT_EQ(nvsim::ftype::kWrite, write.uchFType);
    EXPECT_EQ(Bytes(data, data + 8), write.data);
    // Stopped, nothing more is written.
    ASSERT_EQ(0, m_fabric.MaintRead(0, 0x05, 1, 0x60, &ulWord, 1, 4, 4, false));
    EXPECT_EQ(6u, ReadPcap(strPath).records.size());

    EXPECT_FALSE(m_fabric.StartPcap(nvtest::ProcessTempDir() + "/no/such/dir/x.pcap", &strError));
    EXPECT_NE(std::string::npos, strError.find("cannot write the capture file")) << strError;
}

TEST(SimProgramPcap, WritesEveryPacketOfASessionAndStopsCleanly)
{
    const std::string strPath = nvtest::ProcessTempDir() + "/sim.pcap";
    nvtest::CSimProcess sim("demo.topo", {"--pcap", strPath});
    ASSERT_TRUE(sim.Ready());
    {
        // NVT_MAINTREAD of the first switch's Device Identity (hop count 0).
        CTcpClient client(sim.TcpPort());
        const Bytes body = Cat({B8(0), Zeros(2), B8(0), B32(0xFF), B8(0), Zeros(2), B8(0), B32(0), B32(0x00),
                                B32(1), B32(4), B32(4), B32(2)});
        ASSERT_TRUE(client.Send(Cat({B32(3), B32(static_cast<uint32_t>(body.size())), body})));
        EXPECT_FALSE(client.Receive(12).empty());
    }
    // Flushed record by record: there while the program runs.
    const SPcap running = ReadPcap(strPath);
    EXPECT_TRUE(running.bHeaderOk);
    ASSERT_EQ(2u, running.records.size());
    const SRioPacket request = Decode(running.records[0]);
    EXPECT_EQ(nvsim::ttype::kMaintRead, request.uchTrans);
    EXPECT_EQ(0u, request.RegisterOffset());
    EXPECT_EQ(nvsim::ttype::kMaintReadResp, Decode(running.records[1]).uchTrans);
    EXPECT_EQ(0, sim.Stop());
    EXPECT_EQ(2u, ReadPcap(strPath).records.size());
}

TEST(SimProgramPcap, RefusesACaptureFileItCannotWrite)
{
    const nvtest::SRunResult result = nvtest::RunProgram(
        nvtest::BuiltProgram("Simulator/norvanta-sim"),
        {"--tcp-port", "0", "--no-udp", "--no-broadcast", "--pcap", "/nonexistent/dir/x.pcap",
         nvtest::SourceDir() + "/Simulator/topologies/demo.topo"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ(
        "norvanta-sim: cannot write the capture file /nonexistent/dir/x.pcap: No such file or directory\n",
        result.strErr);
}
} // namespace

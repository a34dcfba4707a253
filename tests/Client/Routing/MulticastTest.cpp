// Multicast masks of the map written to simulated switches: what a download clears and sets, the
// packets that are then copied, and the switches that are refused with nothing written.
#include "Multicast.h"
#include "ClientSimFixture.h"
#include "Discovery.h"
#include "nvsim/Fabric.h"
#include "nvsim/StdDevice.h"

namespace nvtest
{
namespace
{
// host0 on port 0 of a Tsi578 given the standard multicast registers with per-port association;
// endpoints on ports 1 to 3.
std::string Fabric(const char* pszAssociation = "perportassoc")
{
    return std::string(kHostLine) + "device sw switch model=tsi578 multicast masks=4 " + pszAssociation +
           "\ndevice a endpoint device=0x1001 memory\ndevice b endpoint device=0x1002 memory\n"
           "device c endpoint device=0x1003 memory\n"
           "host host0\nlink host0:0 sw:0\nlink sw:1 a:0\nlink sw:2 b:0\nlink sw:3 c:0\n";
}

constexpr uint16_t kGroup = 0x80; // the multicast ID, given to no PE

class CMulticastTest : public CClientSimTest
{
protected:
    void Discover()
    {
        SDiscoveryRequest request;
        request.bEnumerate = true;
        request.bTryAllClockRates = false;
        ASSERT_EQ(0, StandardDiscovery(request, m_map, &m_host, {}))
            << m_ui.messages.join('|').toStdString() << m_ui.workLines.join('|').toStdString();
        for (const auto& pPE : m_map.ActivePEs)
            m_pSwitch = (pPE->uType & kPETypeSwitch) ? pPE.get() : m_pSwitch;
        ASSERT_TRUE(m_pSwitch);
    }
    // Mask 1: ports 1 and 2 with the group ID.
    void AddMask()
    {
        const int iMask = m_pSwitch->Multicast.AddMask(1);
        m_pSwitch->Multicast.AddPort(iMask, 1);
        m_pSwitch->Multicast.AddPort(iMask, 2);
        m_pSwitch->Multicast.AddDestID(iMask, kGroup);
    }
    // Whether an endpoint's memory holds the bytes at the address.
    bool Holds(const char* pszDevice, uint64_t ullAddress, const std::vector<uint8_t>& data)
    {
        std::vector<uint8_t> stored(data.size());
        m_pFabric->Device(pszDevice).ReadMemory(ullAddress, stored.data(), stored.size());
        return stored == data;
    }
    std::optional<std::vector<uint8_t>> HardwarePorts(uint16_t wID, uint8_t uchIngress)
    {
        return m_pFabric->Device("sw").MulticastPorts(wID, false, uchIngress);
    }

    CNetworkDocument m_map;
    CPEPrimitive* m_pSwitch = nullptr;
};
} // namespace

TEST_F(CMulticastTest, DownloadClearsEveryMaskAndOneWriteThenReachesBothEndpoints)
{
    Load(Fabric());
    Discover();
    ASSERT_TRUE(m_pSwitch->Multicast.bCapsValid) << "discovery stored the capabilities";
    EXPECT_TRUE(m_pSwitch->Multicast.bSupportsPerPortAssociation);
    EXPECT_EQ(4, m_pSwitch->Multicast.iMaxMasks);
    // What the hardware held before: mask 3 with port 3, which the map doesn't have.
    auto& sw = m_pFabric->Device("sw");
    sw.WriteRegister(0x80, (3u << 16) | (3u << 8) | 0x10, 0xFFFFFFFF, {0, true});
    sw.WriteRegister(0x84, (0x90u << 16) | 3u, 0xFFFFFFFF, {0, true});
    sw.WriteRegister(0x88, 0x60, 0xFFFFFFFF, {0, true});
    AddMask();

    ASSERT_TRUE(DownloadMulticast(m_map, *m_pSwitch)) << m_ui.messages.join('|').toStdString();
    EXPECT_TRUE(m_ui.messages.isEmpty());
    EXPECT_EQ(std::vector<uint8_t>{}, HardwarePorts(0x90, 0)) << "mask 3 was emptied";
    for (uint8_t uchIngress = 0; uchIngress < 16; ++uchIngress)
        EXPECT_EQ((std::vector<uint8_t>{1, 2}), HardwarePorts(kGroup, uchIngress)) << int{uchIngress};

    const std::vector<uint8_t> data = {0xDE, 0xAD, 0xBE, 0xEF};
    ASSERT_EQ(0, m_pFabric->DataWrite(0, kGroup, 0, 0x3000, 1, data.data(), 4, false));
    EXPECT_TRUE(Holds("a", 0x3000, data));
    EXPECT_TRUE(Holds("b", 0x3000, data));
    EXPECT_FALSE(Holds("c", 0x3000, data));
}

TEST_F(CMulticastTest, SwitchesWithoutThePerPortModelAreRefusedWithTheirTextAndNothingWritten)
{
    struct SCase
    {
        const char* pszTopology;
        const char* pszText;
    };
    const SCase aCases[] = {
        {"simpleassoc perportassoc", "Simple Association Multipath model is currently not supported.\n"},
        {"blockassoc perportassoc", "Block Association Multipath model is currently not supported.\n"},
        {"", "This switch does not support multicast."},
    };
    for (const SCase& test : aCases)
    {
        SCOPED_TRACE(test.pszTopology);
        m_map = CNetworkDocument();
        m_pSwitch = nullptr;
        m_ui.messages.clear();
        Load(Fabric(test.pszTopology));
        Discover();
        auto& sw = m_pFabric->Device("sw");
        sw.WriteRegister(0x80, (1u << 16) | (3u << 8) | 0x10, 0xFFFFFFFF, {0, true});
        AddMask();
        EXPECT_FALSE(DownloadMulticast(m_map, *m_pSwitch));
        EXPECT_EQ(QStringList{QString::fromLatin1(test.pszText)}, m_ui.messages);
        EXPECT_FALSE(HardwarePorts(kGroup, 0)) << "no association was made";
        EXPECT_TRUE(dynamic_cast<nvsim::CStdDevice&>(sw).MulticastMaskHasPort(1, 3)) << "mask 1 kept port 3";
    }

    // A PE whose capabilities were never read.
    m_ui.messages.clear();
    m_pSwitch->Multicast.bCapsValid = false;
    EXPECT_FALSE(DownloadMulticast(m_map, *m_pSwitch));
    EXPECT_EQ(
        QStringList{QStringLiteral("There is no multicast support information stored for the PE that you "
                                   "have selected.\n\nPlease connect and try again.\n")},
        m_ui.messages);
}

TEST_F(CMulticastTest, AFailedWriteEndsTheDownloadWithItsTextAndDownloadAllGoesOn)
{
    Load(Fabric());
    Discover();
    AddMask();
    // The switch's answers get lost: the first write of the download fails.
    m_pFabric->Link("host0", 0)->LoseResponses(0);
    EXPECT_FALSE(DownloadMulticast(m_map, *m_pSwitch));
    ASSERT_FALSE(m_ui.messages.isEmpty());
    EXPECT_EQ(QStringLiteral("Unable to delete ports from current mask.\n"), m_ui.messages.last());
    m_pFabric->Link("host0", 0)->ClearFaults();

    // Download of all: the switch with masks is done; one without masks is not counted.
    m_ui.messages.clear();
    const SMulticastDownload result = DownloadAllMulticast(m_map);
    EXPECT_EQ(1, result.nSwitches);
    EXPECT_EQ(1, result.nDone);
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join('|').toStdString();
    EXPECT_EQ((std::vector<uint8_t>{1, 2}), HardwarePorts(kGroup, 0));
    m_pSwitch->Multicast.ClearMasks();
    EXPECT_EQ(0, DownloadAllMulticast(m_map).nSwitches);
}
} // namespace nvtest

// The comparison's walk on the in-process simulator: a fabric discovered and kept as a map compares
// equal to itself, a changed fabric gives the lines of what changed, and the walk leaves every
// device as it found it.
#include "ClientSimFixture.h"
#include "Discovery.h"
#include "FabricDiff.h"

#include <map>
#include <tuple>

namespace nvtest
{
namespace
{
// The demo network's shape: host - sw1 = sw2 (two parallel links), two endpoints on each switch,
// enumerated and routed.
std::string Fabric(const std::string& strExtra = {})
{
    return std::string(kHostLine) +
           "device sw1 switch model=cps1848\ndevice sw2 switch model=cps1848\n"
           "device ep1 endpoint memory id=0x05\ndevice ep2 endpoint memory id=0x0A\n"
           "device ep3 endpoint memory id=0x0F\ndevice ep4 endpoint memory id=0x14\n"
           "host host0\n"
           "link host0:0 sw1:0 speed=3.125 width=4\nlink sw1:1 ep1:0 speed=3.125 width=4\n"
           "link sw1:2 ep2:0 speed=3.125 width=4\nlink sw1:4 sw2:4 speed=5 width=4\n"
           "link sw1:5 sw2:5 speed=5 width=4\nlink sw2:1 ep3:0 speed=3.125 width=4\n"
           "link sw2:2 ep4:0 speed=3.125 width=4\n"
           "route sw1 0x01 0\nroute sw1 0x05 1\nroute sw1 0x0A 2\nroute sw1 0x0F 4\nroute sw1 0x14 4\n"
           "route sw2 0x01 5\nroute sw2 0x05 5\nroute sw2 0x0A 5\nroute sw2 0x0F 1\nroute sw2 0x14 2\n" +
           strExtra;
}

// What a running system depends on in each device: where each ID goes from each port, the IDs it
// answers to, its port enables and its lock. (The component tag is discovery's breadcrumb.)
using Snapshot = std::map<std::tuple<std::string, int, int>, uint32_t>;
Snapshot Take(nvsim::CSimFabric& fabric)
{
    Snapshot state;
    for (nvsim::CSimDevice* pDevice : fabric.Devices())
    {
        state[{pDevice->Name(), -1, 0}] = pDevice->BaseDeviceId(false);
        state[{pDevice->Name(), -2, 0}] = pDevice->Reg(0x68);
        for (int iPort = 0; iPort < pDevice->PortCount(); ++iPort)
        {
            state[{pDevice->Name(), iPort, -1}] = pDevice->PortEnabled(uint8_t(iPort));
            if (!pDevice->IsSwitch())
            {
                continue;
            }
            for (int iID = 0; iID < 256; ++iID)
            {
                uint8_t uchEgress = 0xFF;
                state[{pDevice->Name(), iPort, iID}] =
                    pDevice->Route(uint32_t(iID), false, uint8_t(iPort), &uchEgress) ? uchEgress : 0x100u;
            }
        }
    }
    return state;
}

// The entries that differ, for a message.
std::string Changes(const Snapshot& before, const Snapshot& after)
{
    std::string strText;
    for (const auto& [key, value] : before)
    {
        const auto it = after.find(key);
        if (it != after.end() && it->second != value)
        {
            strText += std::get<0>(key) + " " + std::to_string(std::get<1>(key)) + "/" +
                       std::to_string(std::get<2>(key)) + ": " + std::to_string(value) + " -> " +
                       std::to_string(it->second) + "\n";
        }
    }
    return strText;
}

class CFabricDiffWalkTest : public CClientSimTest
{
protected:
    // A discovery without enumeration that reads the tables, as an engineer saves a map of a
    // running system.
    void SaveMap()
    {
        SDiscoveryRequest request;
        request.bUploadRoutingTables = true;
        request.bTryAllClockRates = false;
        ASSERT_EQ(0, StandardDiscovery(request, m_saved, &m_host, {}));
    }
    std::vector<QString> Diff()
    {
        CNetworkDocument live;
        EXPECT_EQ(0, WalkLiveFabric(m_saved, &m_host, &live));
        std::vector<QString> lines;
        for (const SFabricDifference& difference : CompareFabricMaps(m_saved, live))
        {
            lines.push_back(difference.strText);
        }
        return lines;
    }

    CNetworkDocument m_saved;
};

TEST_F(CFabricDiffWalkTest, TheSavedFabricMatchesAndTheWalkLeavesEveryDeviceAsItWas)
{
    Load(Fabric());
    SaveMap();
    const Snapshot before = Take(*m_pFabric);
    m_pTransport->bRecord = true;
    EXPECT_EQ(std::vector<QString>{}, Diff());
    EXPECT_EQ("", Changes(before, Take(*m_pFabric)));
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join(QLatin1Char('\n')).toStdString();
    // Nothing that would stay: no ID, lock, time-out or Discovered bit was written.
    for (const SMaintAccess& access : m_pTransport->accesses)
    {
        if (access.bWrite)
        {
            EXPECT_NE(0x60u, access.ulOffset) << "base device ID";
            EXPECT_NE(0x68u, access.ulOffset) << "host base device ID lock";
        }
    }
    EXPECT_GT(m_pTransport->ullMaintReads, m_pTransport->ullMaintWrites);
}

TEST_F(CFabricDiffWalkTest, ALinkThatWentDownAndARouteThatChangedAreTheLines)
{
    Load(Fabric());
    SaveMap();
    m_pFabric->Link("sw1", 5)->SetTrained(false);
    // sw2 sends ep3's ID to ep4 now, in the table of every port; the way to sw2 is sw1's entry for
    // the all-ones ID, which the comparison leaves out.
    ASSERT_EQ(0, HalRouteAddEntry(0x38, 0x374, 0, 0xFF, 0, 0, 0xFF, 4, eNVXL_RouteTypePort, 0));
    for (int iPort = 0; iPort < 18; ++iPort)
    {
        ASSERT_EQ(0,
                  HalRouteAddEntry(0x38, 0x374, 0, 0xFF, 1, uint8_t(iPort), 0x0F, 2, eNVXL_RouteTypePort, 0));
    }
    const Snapshot before = Take(*m_pFabric);
    EXPECT_EQ((std::vector<QString>{
                  QStringLiteral("Node 2 port 5 down (was up to Node 6 port 5)"),
                  QStringLiteral("Node 6 tables of ports 0-17: route Fh to port 1, now to port 2")}),
              Diff());
    EXPECT_EQ("", Changes(before, Take(*m_pFabric)));
}

TEST_F(CFabricDiffWalkTest, AHostWithoutAnIDIsRefusedBeforeAnythingIsWritten)
{
    Load(Fabric());
    SaveMap();
    m_pFabric->Host().SetReg(0x60, 0x00FFFFFF);
    m_pTransport->ullMaintWrites = 0;
    CNetworkDocument live;
    EXPECT_NE(0, WalkLiveFabric(m_saved, &m_host, &live));
    EXPECT_EQ(0u, m_pTransport->ullMaintWrites);
    ASSERT_EQ(1, m_ui.messages.size());
    EXPECT_TRUE(
        m_ui.messages[0].startsWith(QStringLiteral("The host has no destination ID of its own (FFh)")))
        << m_ui.messages[0].toStdString();
}
} // namespace
} // namespace nvtest

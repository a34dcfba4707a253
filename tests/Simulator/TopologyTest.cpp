// Topology files: what their lines make of the fabric, the errors they are refused with, and the
// topologies shipped with the simulator.
#include "SimTestUtil.h"

#include "TestSupport.h"
#include "nvsim/StdDevice.h"
#include "nvsim/Topology.h"

#include <fstream>
#include <gtest/gtest.h>

using namespace nvsim;
using namespace simtest;

namespace
{
std::string LoadError(const std::string& strText)
{
    std::string strError;
    EXPECT_FALSE(LoadTopologyText(strText, &strError)) << strText;
    return strError;
}

std::string Shipped(const std::string& strName)
{
    return nvtest::SourceDir() + "/Simulator/topologies/" + strName;
}
} // namespace

TEST(Topology, DeviceOptionsBecomeRegisterValues)
{
    auto pFabric = Fabric(R"(
        # comments and blank lines are fine

        device host endpoint vendor=0x1234 device=0x5678 rev=0x0102 processor bridge id=0x11 largeid=0x2233 \
               assy=0xAAAA assyvendor=0xBBBB assyrev=0x0003 tag=0xC0FFEE addrmodes=34,66 smallonly
        device sw switch ports=16 routelimit=0x3FF
        host host flash=none
        link host:0 sw:15 speed=6.25 width=1
    )");
    ASSERT_TRUE(pFabric);
    CSimDevice& host = pFabric->Device("host");
    const SRegAccess local{0, true};
    EXPECT_EQ(0x56781234u, host.ReadRegister(0x00, local));
    EXPECT_EQ(0x0102u, host.ReadRegister(0x04, local));
    EXPECT_EQ(0xAAAABBBBu, host.ReadRegister(0x08, local));
    EXPECT_EQ(0x00030100u, host.ReadRegister(0x0C, local));
    EXPECT_EQ(0xA0000008u | 0x5u, host.ReadRegister(0x10, local)) << "bridge, processor, no large transport";
    EXPECT_EQ(0x00112233u, host.ReadRegister(0x60, local));
    EXPECT_EQ(0x00C0FFEEu, host.ReadRegister(0x6C, local));
    EXPECT_FALSE(pFabric->HostConfig().bFlash);

    CSimDevice& sw = pFabric->Device("sw");
    EXPECT_EQ(0x0000100Fu, sw.ReadRegister(0x14, SRegAccess{15, false}));
    EXPECT_EQ(0x3FFu, sw.ReadRegister(0x34, {}));
    const CSimLink* pLink = pFabric->Link("sw", 15);
    ASSERT_TRUE(pLink);
    EXPECT_EQ(6250u, pLink->SpeedMbaud());
    EXPECT_EQ(1u, pLink->Width());
    EXPECT_EQ(&host, pLink->Other(&sw, 15)->pDevice);
}

TEST(Topology, ErrorsNameTheLineAndTheProblem)
{
    struct SCase
    {
        const char* pszText;
        const char* pszError;
    };
    const SCase cases[] = {
        {"device a endpoint\nhost a\nbogus x", "<text>:3: unknown statement 'bogus'"},
        {"device a widget", "<text>:1: a device line reads: device NAME endpoint|switch [OPTION]..."},
        {"device a endpoint\nhost a\nlink a:0 b:0",
         "<text>:3: device 'b' is not declared (declare it before use)"},
        {"device a endpoint\ndevice b endpoint\nhost a\nlink a:1 b:0",
         "<text>:4: device 'a' has no port '1'"},
        {"device a endpoint\ndevice b switch\ndevice c endpoint\nhost a\nlink a:0 b:0\nlink b:0 c:0",
         "<text>:6: device 'b' port 0 is linked already"},
        {"device a endpoint", "<text>: no 'host' line: the topology must name the server's host device"},
        {"device a endpoint\ndevice a switch", "<text>:2: device 'a' is defined twice"},
        {"device a endpoint vendor=0x10000",
         "<text>:1: 'vendor' needs a number from 0 to 65535, not '0x10000'"},
        {"device a endpoint perport", "<text>:1: option 'perport' applies to switches only"},
        {"device a switch echo", "<text>:1: option 'echo' applies to endpoints only"},
        {"device a switch model=CPS1848", "<text>:1: unknown device model 'CPS1848'"},
        {"device a endpoint\nhost a\nroute a 5 0", "<text>:3: device 'a' is not a switch"},
        {"device s switch\nhost s\nroute s 5 0 table=1",
         "<text>:3: switch 's' has one routing table; 'table' needs 'perport'"},
        {"device s switch\nhost s\nroute s 0x100 0",
         "<text>:3: '0x100' is not a destination ID within the route limit of 's' (255)"},
        {"device a endpoint\nhost a\nhost a", "<text>:3: the host is named twice"},
        {"device a endpoint\nhost a\nreg a 0x62 1", "<text>:3: '0x62' is not a word offset in the 24-bit "
                                                    "configuration space"},
        {"device a endpoint\nhost a\nlink a:0 a:0", "<text>:3: a port cannot be linked to itself"},
        {"device a endpoint width=3", "<text>:1: 'width' is 1, 2, 4, 8 or 16 lanes, not '3'"},
        {"device a endpoint width=1\ndevice b endpoint\nhost a\nlink a:0 b:0 width=4",
         "<text>:4: a link of 4 lanes is wider than its ports (1)"},
        {"device a endpoint addrmodes=50",
         "<text>:1: 'addrmodes' must include 34: every RapidIO PE supports 34-bit "
         "addresses"},
        {"server speed=9", "<text>:1: unknown server option 'speed=9'"},
        {"device a endpoint\nhost a\nfault drop", "<text>:3: fault 'drop': a reply fault has no place here"},
        // A statement continued over lines is reported at the line it starts on.
        {"device a endpoint\ndevice b endpoint \\\n    vendor=1 \\\n    colour=red\nhost a",
         "<text>:2: unknown device option 'colour=red'"},
        // A continuation on the last line continues into nothing, and is no statement.
        {"\\\n", "<text>: no 'host' line: the topology must name the server's host device"},
    };
    for (const SCase& c : cases)
        EXPECT_EQ(c.pszError, LoadError(c.pszText));

    std::string strError;
    EXPECT_TRUE(LoadTopologyText("device a endpoint\nhost a \\\n\\", &strError)) << strError;
    EXPECT_FALSE(LoadTopologyFile("/nonexistent/x.topo", &strError));
    EXPECT_EQ("/nonexistent/x.topo: cannot open the topology file", strError);
}

TEST(Topology, FileErrorsNameTheFile)
{
    const std::string strPath = nvtest::ProcessTempDir() + "/broken.topo";
    std::ofstream(strPath) << "device a endpoint\n\nlink a:0 z:0\n";
    std::string strError;
    EXPECT_FALSE(LoadTopologyFile(strPath, &strError));
    EXPECT_EQ(strPath + ":3: device 'z' is not declared (declare it before use)", strError);
}

TEST(Topology, FabricFaultsAndRegistersCanBeSetInTheFile)
{
    auto pFabric = Fabric(R"(
        device host endpoint id=1
        device sw switch ports=4
        device ep endpoint
        host host
        link host:0 sw:0
        link sw:1 ep:0
        reg sw 0x6C 0x12345678
        fault lock:device=sw,holder=0x44
        fault linkdown:link=sw:1
    )");
    ASSERT_TRUE(pFabric);
    EXPECT_EQ(0x12345678u, pFabric->Device("sw").Reg(0x6C));
    EXPECT_EQ(0x44u, ReadOk(*pFabric, 0xFF, 0, 0x68));
    EXPECT_FALSE(pFabric->PortTrained(pFabric->Device("ep"), 0));
}

TEST(Topology, ShippedTopologiesLoadAndTheDemoWorksAtOnce)
{
    for (const char* pszName : {"demo.topo", "chain.topo", "loop.topo"})
    {
        std::string strError;
        EXPECT_TRUE(LoadTopologyFile(Shipped(pszName), &strError)) << strError;
    }

    std::string strError;
    auto pDemo = LoadTopologyFile(Shipped("demo.topo"), &strError);
    ASSERT_TRUE(pDemo) << strError;
    CSimFabric& f = *pDemo;
    EXPECT_EQ(7u, f.Devices().size());
    EXPECT_EQ(7u, f.Links().size());
    for (const CSimLink* pLink : f.Links())
        EXPECT_TRUE(f.PortTrained(*pLink->EndA().pDevice, pLink->EndA().uchPort));
    EXPECT_EQ(1u, f.NumLocalPorts());
    // Every endpoint answers at its ID, at the hop count behind its switch.
    const std::pair<uint32_t, uint8_t> endpoints[] = {{0x05, 1}, {0x0A, 1}, {0x0F, 2}, {0x14, 2}};
    for (const auto& [ulId, uchHop] : endpoints)
    {
        EXPECT_EQ(0x0002FFF0u, ReadOk(f, ulId, uchHop, 0x00)) << "ID " << ulId;
        EXPECT_EQ(ulId, ReadOk(f, ulId, uchHop, 0x60) >> 16);
        const uint8_t aData[] = {0x5A};
        EXPECT_EQ(0, f.DataWrite(0, ulId, 0, 0x40, 2, aData, 1, false)) << "ID " << ulId;
    }
    // The far endpoints are reached over the parallel links, and the large IDs route too.
    EXPECT_EQ(0x0002FFF0u, ReadOk(f, 0x0014, 2, 0x00, true));
    EXPECT_EQ(0, f.SendDoorbell(0, 0x14, 0, 0x77, false));
    SDoorbell doorbell;
    bool bValid = false;
    ASSERT_EQ(0, f.FetchDoorbell(0, &doorbell, &bValid, nullptr));
    EXPECT_TRUE(bValid) << "ep4 echoes";
    EXPECT_TRUE(f.GetRioErrors().empty());
}

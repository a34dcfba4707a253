// norvanta-cli's multicast download against a simulator served in this process: a fabric with a
// multicast switch discovered and saved, a mask added to the saved map, the mask sent down, and
// one packet to the multicast ID then arriving at both endpoints of the mask.
#include "NetworkDocument.h"
#include "SimProcess.h"
#include "TestSupport.h"
#include "nvsim/Server.h"
#include "nvsim/Topology.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{
using nvtest::RunProgram;
using nvtest::SRunResult;

// A Tsi578 given the standard multicast registers with per-port association; the host on its
// port 0, endpoints a and b on ports 1 and 2 (the mask's), c on port 3.
const char* const kTopology = R"(
device host0 endpoint device=0x0001 processor memory id=0x01 largeid=0x0001
device sw    switch model=tsi578 multicast masks=4 perportassoc
device a     endpoint device=0x1001 memory
device b     endpoint device=0x1002 memory
device c     endpoint device=0x1003 memory
host host0
link host0:0 sw:0
link sw:1 a:0
link sw:2 b:0
link sw:3 c:0
)";

constexpr uint16_t kGroup = 0x80;

class MulticastCli : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::string strError;
        m_pFabric = nvsim::LoadTopologyText(kTopology, &strError);
        ASSERT_TRUE(m_pFabric) << strError;
        nvsim::SServerOptions options;
        options.wTcpPort = 0;
        options.bUdp = false;
        options.bBroadcast = false;
        m_pServer = std::make_unique<nvsim::CSimServer>(*m_pFabric, options);
        ASSERT_TRUE(m_pServer->Start(&strError)) << strError;
    }
    void TearDown() override
    {
        if (m_pServer)
            m_pServer->Stop();
    }
    SRunResult Cli(std::vector<std::string> args)
    {
        std::vector<std::string> all = {"--server", "127.0.0.1", "--wait-ms",
                                        "1500",     "--port",    std::to_string(m_pServer->TcpPort())};
        all.insert(all.end(), args.begin(), args.end());
        return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), all);
    }
    // Whether an endpoint's memory holds the bytes.
    bool Holds(const char* pszDevice, uint64_t ullAddress, const std::vector<uint8_t>& data)
    {
        auto lock = m_pFabric->Lock();
        std::vector<uint8_t> stored(data.size());
        m_pFabric->Device(pszDevice).ReadMemory(ullAddress, stored.data(), stored.size());
        return stored == data;
    }
    size_t Doorbells(const char* pszDevice)
    {
        auto lock = m_pFabric->Lock();
        return m_pFabric->Device(pszDevice).DoorbellCount(0);
    }

    std::unique_ptr<nvsim::CSimFabric> m_pFabric;
    std::unique_ptr<nvsim::CSimServer> m_pServer;
};

// The switch of a saved map, changed by fnChange and saved again; its node number as shown.
int ChangeSwitch(const std::string& strMap, const std::function<void(CPEPrimitive&)>& fnChange)
{
    CNetworkDocument map;
    if (!map.Open(QString::fromStdString(strMap)))
        return 0;
    for (const auto& pPE : map.ActivePEs)
    {
        if (pPE->uType & kPETypeSwitch)
        {
            fnChange(*pPE);
            const int iNode = pPE->iNodeNumber + 1;
            return map.SaveAs(QString::fromStdString(strMap)) ? iNode : 0;
        }
    }
    return 0;
}
} // namespace

TEST_F(MulticastCli, AMaskOfTheSavedMapGoesDownAndOnePacketToItsIdReachesBothEndpoints)
{
    const std::string strMap = nvtest::ProcessTempDir() + "/multicast.nvm";
    SRunResult result = Cli({"discover", "--enumerate", "--no-layout", "--save", strMap});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    // Tables for the unicast IDs, so that the doorbell's response finds its way back.
    result = Cli({"routes", "generate", strMap, "--download"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    bool bCaps = false;
    const int iSwitch =
        ChangeSwitch(strMap,
                     [&](CPEPrimitive& pe)
                     {
                         bCaps = pe.Multicast.bCapsValid && pe.Multicast.bSupportsPerPortAssociation;
                         const int iMask = pe.Multicast.AddMask(2);
                         pe.Multicast.AddPort(iMask, 1);
                         pe.Multicast.AddPort(iMask, 2);
                         pe.Multicast.AddDestID(iMask, kGroup);
                     });
    ASSERT_NE(0, iSwitch);
    EXPECT_TRUE(bCaps) << "the discovery stored the switch's multicast capabilities in the map";

    result = Cli({"multicast", "download", strMap});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("Downloaded the multicast masks of 1 of 1 switches\n", result.strOut);

    const std::vector<uint8_t> data = {0x4D, 0x43, 0x41, 0x53, 0x54};
    ASSERT_EQ(0, m_pFabric->DataWrite(0, kGroup, 0, 0x8000, 1, data.data(), 5, false)) << "one NWRITE";
    EXPECT_TRUE(Holds("a", 0x8000, data));
    EXPECT_TRUE(Holds("b", 0x8000, data));
    EXPECT_FALSE(Holds("c", 0x8000, data));
    ASSERT_EQ(0, m_pFabric->SendDoorbell(0, kGroup, 0, 0x1234, false)) << "one doorbell";
    EXPECT_EQ(1u, Doorbells("a"));
    EXPECT_EQ(1u, Doorbells("b"));
    EXPECT_EQ(0u, Doorbells("c"));

    // One switch by its node: the mask now copies to c instead of b.
    ChangeSwitch(strMap,
                 [](CPEPrimitive& pe)
                 {
                     pe.Multicast.ClearMasks();
                     const int iMask = pe.Multicast.AddMask(2);
                     pe.Multicast.AddPort(iMask, 3);
                     pe.Multicast.AddDestID(iMask, kGroup);
                 });
    result = Cli({"multicast", "download", strMap, std::to_string(iSwitch)});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("Downloaded 1 multicast masks to Node " + std::to_string(iSwitch) +
                  ": 1 ports, 1 destination IDs\n",
              result.strOut);
    ASSERT_EQ(0, m_pFabric->SendDoorbell(0, kGroup, 0, 0x5678, false));
    EXPECT_EQ(1u, Doorbells("b")) << "port 2 left the mask";
    EXPECT_EQ(1u, Doorbells("c"));
}

TEST_F(MulticastCli, ASwitchWithoutSupportIsRefusedWithItsTextAndNothingIsWritten)
{
    const std::string strMap = nvtest::ProcessTempDir() + "/nomulticast.nvm";
    ASSERT_EQ(0, Cli({"discover", "--enumerate", "--no-layout", "--save", strMap}).nExitCode);
    const int iSwitch = ChangeSwitch(strMap,
                                     [](CPEPrimitive& pe)
                                     {
                                         pe.Multicast.bSupportsPerPortAssociation = false;
                                         const int iMask = pe.Multicast.AddMask(0);
                                         pe.Multicast.AddPort(iMask, 1);
                                         pe.Multicast.AddDestID(iMask, kGroup);
                                     });
    ASSERT_NE(0, iSwitch);
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"multicast", "download", strMap, std::to_string(iSwitch)},
          std::vector<std::string>{"multicast", "download", strMap}})
    {
        const SRunResult result = Cli(args);
        EXPECT_EQ(1, result.nExitCode);
        EXPECT_NE(std::string::npos, result.strErr.find("This switch does not support multicast.\n"))
            << result.strErr;
    }
    const std::vector<uint8_t> data = {7};
    m_pFabric->DataWrite(0, kGroup, 0, 0x10, 1, data.data(), 1, false);
    EXPECT_FALSE(Holds("a", 0x10, data)) << "no mask and no association went down";

    // Bad usage is refused before anything is read.
    EXPECT_EQ(2, Cli({"multicast", "download"}).nExitCode);
    EXPECT_EQ(2, Cli({"multicast", "download", strMap, "0"}).nExitCode);
    EXPECT_EQ(2, Cli({"multicast", "download", strMap, "zz"}).nExitCode);
    EXPECT_EQ(2, Cli({"multicast", "download", strMap, "1", "2"}).nExitCode);
    const SRunResult missing = Cli({"multicast", "download", nvtest::ProcessTempDir() + "/none.nvm"});
    EXPECT_EQ(1, missing.nExitCode);
    EXPECT_FALSE(missing.strErr.empty());
}

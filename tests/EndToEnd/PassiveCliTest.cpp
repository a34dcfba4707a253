// norvanta-cli's passive discovery against norvanta-sim serving a fabric in service: the
// endpoints that answer only their own IDs are identified through the routes the system uses,
// the one nothing routes to stays unknown, the map is saved, and the simulator's journal of
// routing table changes shows that only free entries (and the all-ones ID) were written.
#include "NetworkDocument.h"
#include "SimProcess.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace
{
using nvtest::RunProgram;
using nvtest::SRunResult;

std::string TempPath(const char* pszName)
{
    return nvtest::ProcessTempDir() + "/" + pszName;
}

SRunResult Cli(const nvtest::CSimProcess& sim, std::vector<std::string> args)
{
    std::vector<std::string> all = {"--server", "127.0.0.1", "--wait-ms",
                                    "1500",     "--port",    std::to_string(sim.TcpPort())};
    all.insert(all.end(), args.begin(), args.end());
    return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), all);
}

TEST(PassiveCli, AFabricInServiceIsIdentifiedThroughItsRoutesAndOnlyFreeEntriesAreWritten)
{
    const std::string strJournal = TempPath("inservice.journal");
    std::remove(strJournal.c_str());
    nvtest::CSimProcess sim("inservice.topo", {"--no-udp", "--no-broadcast", "--route-journal", strJournal});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const std::string strMap = TempPath("inservice.nvm");
    const SRunResult result = Cli(sim, {"discover", "--passive", "--no-layout", "--save", strMap});
    ASSERT_EQ(0, result.nExitCode) << result.strErr << result.strOut;
    EXPECT_NE(
        std::string::npos,
        result.strOut.find("Identified through existing routes: Node 3 (destID 5h), Node 6 (destID Fh), "
                           "Node 7 (destID 14h)\nLeft unknown: Node 8\n"))
        << result.strOut;
    EXPECT_NE(std::string::npos,
              result.strOut.find("Node 7: Processor with Memory device 0101h vendor FFF0h destID 14h"));
    EXPECT_NE(std::string::npos, result.strOut.find("Saved " + strMap + "\n"));
    ASSERT_EQ(0, sim.Stop()) << sim.ErrorOutput();

    CNetworkDocument map;
    ASSERT_TRUE(map.Open(QString::fromStdString(strMap)));
    const CPEPrimitive* pDsp3 = map.ActivePEs.GetByNodeNumber(6);
    ASSERT_TRUE(pDsp3);
    EXPECT_EQ(0x14, pDsp3->ShortDestID);
    EXPECT_FALSE(pDsp3->uType & kPETypeUnknown);

    std::ifstream in(strJournal);
    ASSERT_TRUE(in) << "the simulator writes its journal when it stops";
    std::string strLine;
    int nChanges = 0;
    bool bOnramp = false;
    while (std::getline(in, strLine))
    {
        ++nChanges;
        bOnramp = bOnramp || strLine == "sw1 table 0 id 0x14: 0xde -> 0x03";
        if (strLine.find(" id 0xff: ") != std::string::npos)
            continue;
        // 0xDE and 0xDF: the IDT switches' "use the default port" and "no route".
        EXPECT_TRUE(strLine.find(": 0xde -> ") != std::string::npos ||
                    strLine.find(": 0xdf -> ") != std::string::npos)
            << strLine;
    }
    EXPECT_GT(nChanges, 1);
    EXPECT_TRUE(bOnramp) << "the on-ramp that lets the host reach dsp3";
}

TEST(PassiveCli, DiscoverySettingsAreRefusedWithPassive)
{
    nvtest::CSimProcess sim("inservice.topo", {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const SRunResult result =
        Cli(sim, {"discover", "--passive", "--enumerate", "--save", TempPath("refused.nvm")});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_NE(std::string::npos, result.strErr.find("--passive takes no discovery settings"))
        << result.strErr;
}
} // namespace

// norvanta-cli's VDID command against norvanta-sim: a discovered endpoint given secondary IDs
// answers to them through the routes laid, a switch takes automatically chosen IDs, and refused
// input leaves the target and the map as they were.
#include "SimProcess.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace
{
using nvtest::RunProgram;
using nvtest::SRunResult;

// host0 - sw1 - sw2 - ep30 (vendor 0x30 device 0x96, answering only its own ID), and a generic
// endpoint on sw1; the switches route the primary IDs.
const char* const kTopology = "device host0 endpoint device=0x0001 processor memory id=0x01 largeid=0x0001\n"
                              "device sw1 switch model=cps1848\ndevice sw2 switch model=cps1848\n"
                              "device ep30 endpoint model=v30dev96 memory accept=own id=0x05 largeid=0x0005\n"
                              "device ep endpoint device=0x1002 memory accept=own id=0x0A largeid=0x000A\n"
                              "host host0\nlink host0:0 sw1:0\nlink sw1:1 sw2:1\nlink sw2:2 ep30:0\n"
                              "link sw1:2 ep:0\nroute sw1 0x01 0\nroute sw1 0x05 1\nroute sw1 0x0A 2\n"
                              "route sw2 0x01 1\nroute sw2 0x05 2\n";

std::string TempPath(const char* pszName)
{
    return nvtest::ProcessTempDir() + "/" + pszName;
}

std::string Slurp(const std::string& strPath)
{
    std::ifstream in(strPath, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

class VdidCli : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const std::string strTopology = TempPath("vdid.topo");
        std::ofstream(strTopology) << kTopology;
        m_pSim = std::make_unique<nvtest::CSimProcess>(
            strTopology, std::vector<std::string>{"--no-udp", "--no-broadcast"});
        ASSERT_TRUE(m_pSim->Ready()) << m_pSim->ErrorOutput();
        m_strMap = TempPath("vdid.nvm");
        const SRunResult result =
            Cli({"discover", "--scan", "5,0Ah", "--upload-tables", "--no-layout", "--save", m_strMap});
        ASSERT_EQ(0, result.nExitCode) << result.strErr;
        ASSERT_NE(std::string::npos, result.strOut.find("Node 5: Memory device 0096h vendor 0030h destID 5h"))
            << result.strOut;
    }
    SRunResult Cli(std::vector<std::string> args)
    {
        std::vector<std::string> all = {"--server", "127.0.0.1", "--wait-ms",
                                        "1500",     "--port",    std::to_string(m_pSim->TcpPort())};
        all.insert(all.end(), args.begin(), args.end());
        return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), all);
    }

    std::unique_ptr<nvtest::CSimProcess> m_pSim;
    std::string m_strMap;
};

TEST_F(VdidCli, AnEndpointGivenSecondaryIDsAnswersToThem)
{
    EXPECT_EQ(1, Cli({"read", "0", "--dest", "21h", "--hop", "2"}).nExitCode) << "nothing answers to 21h yet";
    const std::string strOut = TempPath("vdid-set.nvm");
    SRunResult result =
        Cli({"vdid", "set", m_strMap, "5", "--mode", "secondary", "--ids", "21h,22h,23h", "--save", strOut});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("Node 5: VDIDs secondary IDs, 2 allowed: 21h,22h\n"
              "Updated the PE and the routing tables on the way to it\n"
              "Saved " +
                  strOut + "\n",
              result.strOut);
    EXPECT_EQ("Too many VDIDs have been defined. All but the first 2 will be ignored.\n", result.strErr);
    for (const char* pszID : {"21h", "22h"})
    {
        result = Cli({"read", "0", "--dest", pszID, "--hop", "2"});
        EXPECT_EQ(0, result.nExitCode) << pszID << ": " << result.strErr;
        EXPECT_EQ("0x00960030\n", result.strOut) << pszID;
    }
    EXPECT_EQ(1, Cli({"read", "0", "--dest", "23h", "--hop", "2"}).nExitCode) << "dropped, not set";

    // The saved map knows the VDIDs and the routes: route search finds the endpoint by them.
    const std::string strMapText = Slurp(strOut);
    EXPECT_NE(std::string::npos, strMapText.find("VDID_ShortID_1")) << "the second VDID is saved";
    result = Cli({"route", "find", strOut, "5"});
    EXPECT_EQ(0, result.nExitCode) << result.strErr;

    // An ID the endpoint now answers to is in use for every other PE: refused before the target
    // is touched, and the map is left as it was.
    const std::string strBefore = Slurp(strOut);
    result = Cli({"vdid", "set", strOut, "2", "--mode", "accept-all", "--ids", "22h"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("Destination ID 22h is already in use by another PE.\nNothing was changed.\n", result.strErr);
    EXPECT_EQ(strBefore, Slurp(strOut));
}

TEST_F(VdidCli, ASwitchTakesFreeIDsAndBadInputChangesNothing)
{
    SRunResult result = Cli({"vdid", "set", m_strMap, "3", "--mode", "accept-all", "--auto"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ(0u, result.strOut.find("Node 3: VDIDs accept-all, 2 allowed: 02h,03h\n")) << result.strOut;
    // sw2 (three hops away at hop count 1) consumes a maintenance request for its VDID.
    result = Cli({"read", "0", "--dest", "3", "--hop", "1"});
    EXPECT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("0x03740038\n", result.strOut);

    const std::string strBefore = Slurp(m_strMap);
    result = Cli({"vdid", "set", m_strMap, "5", "--mode", "secondary", "--ids", "40h,zz"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("Invalid VDID format for 'zz'\nNothing was changed.\n", result.strErr);
    result = Cli({"vdid", "set", m_strMap, "5", "--mode", "secondary", "--ids", "140h"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("DestID 140h is too big.\nNothing was changed.\n", result.strErr);
    result = Cli({"vdid", "set", m_strMap, "21", "--mode", "secondary", "--ids", "40h"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("Node 21 has no secondary IDs mode\n", result.strErr);
    EXPECT_EQ(strBefore, Slurp(m_strMap));
    EXPECT_EQ(1, Cli({"read", "0", "--dest", "40h", "--hop", "2"}).nExitCode) << "nothing reached the target";

    for (const std::vector<std::string>& bad :
         {std::vector<std::string>{"vdid", "set", m_strMap, "5"},
          {"vdid", "set", m_strMap, "5", "--mode", "all"},
          {"vdid", "set", m_strMap, "5", "--mode", "secondary", "--ids", "40h", "--auto"},
          {"vdid", "set", m_strMap, "99", "--mode", "off"}})
    {
        result = Cli(bad);
        EXPECT_EQ(2, result.nExitCode) << bad.back();
    }
    EXPECT_EQ(strBefore, Slurp(m_strMap));
}
} // namespace

// norvanta-cli's register commands against norvanta-sim's demo fabric, discovered into a map first:
// saving a switch's registers read from the device, loading value files into it, setting one
// field, and searching the CPS-1848's register tree.
#include "SimProcess.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>

namespace
{
using nvtest::RunProgram;
using nvtest::SRunResult;

// Node 6 of the discovered demo map is sw2, a CPS-1848 reached through sw1 by all-ones routes.
constexpr const char* kSwitchNode = "6";

class RegsCliTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_sim.Ready()) << m_sim.ErrorOutput();
        const SRunResult result = Cli({"discover", "--save", m_strMap});
        ASSERT_EQ(0, result.nExitCode) << result.strErr;
    }
    SRunResult Cli(std::vector<std::string> args)
    {
        std::vector<std::string> all = {"--server", "127.0.0.1", "--wait-ms",
                                        "1500",     "--port",    std::to_string(m_sim.TcpPort())};
        all.insert(all.end(), args.begin(), args.end());
        return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), all);
    }
    static std::string Temp(const std::string& strName) { return nvtest::ProcessTempDir() + "/" + strName; }
    // The offset -> value pairs of a saved CSV file, which must have CR LF line ends.
    static std::map<uint32_t, uint32_t> ReadCsv(const std::string& strPath)
    {
        std::map<uint32_t, uint32_t> values;
        std::istringstream text(nvtest::ReadFile(strPath));
        std::string strLine;
        while (std::getline(text, strLine))
        {
            EXPECT_EQ(16u, strLine.size()) << strLine;
            EXPECT_EQ('\r', strLine.back());
            values[static_cast<uint32_t>(std::stoul(strLine.substr(0, 6), nullptr, 16))] =
                static_cast<uint32_t>(std::stoul(strLine.substr(7, 8), nullptr, 16));
        }
        return values;
    }
    // The registers that read the same in two saves running: counters and the ackIDs of the ports
    // that carry our own packets change between any two reads and are left out of comparisons.
    std::map<uint32_t, uint32_t> SaveStable(const std::string& strName)
    {
        std::map<uint32_t, uint32_t> first = Save(strName);
        const std::map<uint32_t, uint32_t> second = Save(strName);
        EXPECT_EQ(first.size(), second.size());
        for (auto it = first.begin(); it != first.end();)
        {
            const auto other = second.find(it->first);
            it = other == second.end() || other->second != it->second ? first.erase(it) : std::next(it);
        }
        // Only a few registers are volatile.
        EXPECT_GT(first.size(), second.size() - 20);
        return first;
    }
    std::map<uint32_t, uint32_t> Save(const std::string& strName)
    {
        const SRunResult result = Cli({"regs", "save", m_strMap, kSwitchNode, Temp(strName)});
        EXPECT_EQ(0, result.nExitCode) << result.strErr;
        return ReadCsv(Temp(strName));
    }

    nvtest::CSimProcess m_sim{"demo.topo", {"--no-udp", "--no-broadcast"}};
    std::string m_strMap = Temp("regs-demo.nvm");
};

TEST_F(RegsCliTest, SavedValuesComeFromTheDeviceInEveryForm)
{
    SRunResult result = Cli({"regs", "save", m_strMap, kSwitchNode, Temp("sw2.csv")});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("Read 1576 registers of Node 6\nSaved 1576 register values to " + Temp("sw2.csv") + "\n",
              result.strOut);
    const std::map<uint32_t, uint32_t> values = ReadCsv(Temp("sw2.csv"));
    ASSERT_EQ(1576u, values.size());
    // The device identity CAR: device 0374h of vendor 0038h; the CPS-1848 has 18 ports.
    EXPECT_EQ(0x03740038u, values.at(0x0));
    EXPECT_EQ(0x00001200u, values.at(0x14) & 0x0000FF00u);

    // The IDT script and S-Record forms hold the same values; srec_info reads the records.
    result = Cli({"regs", "save", m_strMap, kSwitchNode, Temp("sw2.out"), "--format", "idt"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ(0u, nvtest::ReadFile(Temp("sw2.out")).find("W 0 3740038\r\nW 4 "));
    result = Cli({"regs", "save", m_strMap, kSwitchNode, Temp("sw2.sre")});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ(0u, nvtest::ReadFile(Temp("sw2.sre")).find("S3090000000003740038"));
    const SRunResult info = RunProgram("/usr/bin/srec_info", {Temp("sw2.sre")});
    EXPECT_EQ(0, info.nExitCode) << info.strErr;
    EXPECT_NE(std::string::npos, info.strOut.find("Motorola S-Record")) << info.strOut;

    // Refusals: a form nobody knows, a node the map doesn't have.
    result = Cli({"regs", "save", m_strMap, kSwitchNode, Temp("sw2.xls")});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("regs save: Invalid file extension.\n", result.strErr);
    result = Cli({"regs", "save", m_strMap, kSwitchNode, Temp("sw2.csv"), "--format", "xml"});
    EXPECT_EQ(2, result.nExitCode);
    result = Cli({"regs", "save", m_strMap, "42", Temp("sw2.csv")});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("regs save: Node not found\n", result.strErr);
}

TEST_F(RegsCliTest, ALoadedFileReachesTheDeviceAndSavesBack)
{
    const std::map<uint32_t, uint32_t> before = SaveStable("before.csv");
    // The component tag (6Ch) changed in a value file of our own, with an offset no register has,
    // which is loaded (and written) all the same.
    std::ofstream(Temp("load.sre"), std::ios::binary) << "S3090000006CCAFEF00D00\r\n" // checksum not checked
                                                      << "S309000000FC1234567800\r\n";
    SRunResult result = Cli({"regs", "load", m_strMap, kSwitchNode, Temp("load.sre")});
    EXPECT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("Loaded 2 register values from " + Temp("load.sre") + " and wrote them to Node 6\n",
              result.strOut);
    EXPECT_EQ("regs load: Reg not found: offset 0000FCh\n", result.strErr);
    const std::map<uint32_t, uint32_t> after = Save("after.csv");
    EXPECT_EQ(0xCAFEF00Du, after.at(0x6C));
    // Everything else reads as before.
    for (const auto& [ulOffset, ulValue] : before)
    {
        if (ulOffset != 0x6C)
        {
            EXPECT_EQ(ulValue, after.at(ulOffset)) << std::hex << ulOffset;
        }
    }

    // A saved file loads back as it was written; the component tag goes back to its first value.
    std::string strLines;
    {
        std::ostringstream text;
        text << std::uppercase << std::hex;
        text.fill('0');
        text.width(6);
        text << 0x6C << ',';
        text.width(8);
        text << before.at(0x6C) << "\r\n";
        strLines = text.str();
    }
    std::ofstream(Temp("tag.csv"), std::ios::binary) << strLines;
    result = Cli({"regs", "load", m_strMap, kSwitchNode, Temp("tag.csv")});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    const std::map<uint32_t, uint32_t> again = Save("again.csv");
    for (const auto& [ulOffset, ulValue] : before)
    {
        EXPECT_EQ(ulValue, again.at(ulOffset)) << std::hex << ulOffset;
    }

    // A file with bare line feeds is refused with the line and nothing is written.
    std::ofstream(Temp("lf.csv"), std::ios::binary) << "00006C,11111111\n";
    result = Cli({"regs", "load", m_strMap, kSwitchNode, Temp("lf.csv")});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("regs load: Line 1: Invalid line length detected.\n", result.strErr);
    std::ofstream(Temp("bad.sre"), std::ios::binary)
        << "S3090000006C11111111FF\r\nS3080000006C11111111FF\r\n";
    result = Cli({"regs", "load", m_strMap, kSwitchNode, Temp("bad.sre")});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("regs load: Line 2: Invalid format - SRecord byte count is incorrect.\n", result.strErr);
    EXPECT_EQ(before.at(0x6C), Save("unchanged.csv").at(0x6C));
    result = Cli({"regs", "load", m_strMap, kSwitchNode});
    EXPECT_EQ(2, result.nExitCode);
}

TEST_F(RegsCliTest, SetChangesOnlyTheField)
{
    const std::map<uint32_t, uint32_t> before = SaveStable("set-before.csv");
    // Port 3 of sw2 has no link: its Port Control CSR (1BCh), field Port Width Override (bits 5:7).
    SRunResult result = Cli({"regs", "set", m_strMap, kSwitchNode, "1BCh", "port width override", "101b"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    const uint32_t ulExpected = (before.at(0x1BC) & ~0x07000000u) | 0x05000000u;
    char szLine[128];
    std::snprintf(szLine, sizeof(szLine),
                  "Node 6 Port Control CSR at 1BCh, field Port Width Override = 5h: %08Xh -> %08Xh\n",
                  before.at(0x1BC), ulExpected);
    EXPECT_EQ(szLine, result.strOut);
    const std::map<uint32_t, uint32_t> after = Save("set-after.csv");
    for (const auto& [ulOffset, ulValue] : before)
    {
        EXPECT_EQ(ulOffset == 0x1BC ? ulExpected : ulValue, after.at(ulOffset)) << std::hex << ulOffset;
    }
    // A name that several ports share asks for the offset; a unique name does.
    result = Cli({"regs", "set", m_strMap, kSwitchNode, "Port Control CSR", "Port Disable", "1"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ(
        0u, result.strErr.find("regs set: 'Port Control CSR' names several registers; give its offset: 15Ch "
                               "(LP-Serial Port Registers, Port 0), 17Ch"))
        << result.strErr;
    result = Cli({"regs", "set", m_strMap, kSwitchNode, "Component Tag CSR", "component_tag", "0x1234"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ(0x1234u, Save("tag.csv").at(0x6C));
    // Values that don't fit, unknown fields and registers.
    result = Cli({"regs", "set", m_strMap, kSwitchNode, "1BCh", "Port Width Override", "8"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ("regs set: Invalid data entry. '8' does not fit the 3 bits of Port Width Override\n",
              result.strErr);
    result = Cli({"regs", "set", m_strMap, kSwitchNode, "1BCh", "Port Speed", "1"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("regs set: Register 'Port Control CSR' has no field 'Port Speed'\n", result.strErr);
    result = Cli({"regs", "set", m_strMap, kSwitchNode, "No Such Register", "X", "1"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("regs set: No register 'No Such Register' on Node 6\n", result.strErr);
}

TEST_F(RegsCliTest, FindListsEveryHitInTreeOrder)
{
    SRunResult result =
        Cli({"regs", "find", "374h", "38h", "^Port Control CSR$", "--regex", "--scope", "names"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    std::istringstream lines(result.strOut);
    std::string strLine;
    int iPort = 0;
    while (std::getline(lines, strLine))
    {
        char szExpected[128];
        std::snprintf(szExpected, sizeof(szExpected),
                      "register  %06Xh  Port Control CSR  [LP-Serial Port Registers, Port %d]  (name)",
                      0x15C + 0x20 * iPort, iPort);
        EXPECT_EQ(szExpected, strLine);
        ++iPort;
    }
    EXPECT_EQ(18, iPort);
    // Group titles, then case: "lp-serial" finds the two LP-Serial blocks only without --match-case.
    result = Cli({"regs", "find", "374h", "38h", "lp-serial", "--scope", "groups"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("group     LP-Serial Registers\ngroup     LP-Serial Port Registers\n", result.strOut);
    result = Cli({"regs", "find", "374h", "38h", "lp-serial", "--scope", "groups", "--match-case"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("regs find: Not found.\n", result.strErr);
    // Offsets in hexadecimal, and what matched.
    result = Cli({"regs", "find", "374h", "38h", "68", "--scope", "offsets,names"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ(0u, result.strOut.find("register  000068h  Host Base Device ID Lock CSR  "
                                     "[Command and Status Registers (CSRs)]  (offset)\n"))
        << result.strOut;
    result = Cli({"regs", "find", "374h", "38h", "(port", "--regex"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("regs find: A closing parenthesis was expected\n", result.strErr);
    result = Cli({"regs", "find", "374h", "38h", "port", "--scope", "colours"});
    EXPECT_EQ(2, result.nExitCode);
}
} // namespace

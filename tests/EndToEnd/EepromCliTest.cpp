// norvanta-cli's EEPROM commands against norvanta-sim: a switch's boot image made from a
// discovered map, written to the Tsi578's EEPROM through its I2C master, read back, and loaded by
// the switch when the host sends it a reset-device link-request.
#include "SimProcess.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace
{
using nvtest::RunProgram;
using nvtest::SRunResult;

std::string Temp(const std::string& strName)
{
    return nvtest::ProcessTempDir() + "/eeprom_" + strName;
}

// A host, a Tsi578 with a 32 KB EEPROM, and two endpoints behind it.
std::string Topology()
{
    const std::string strPath = Temp("fabric.topo");
    std::ofstream(strPath) << "device host endpoint processor id=0x01\n"
                              "device sw switch model=tsi578 eeprom=32K\n"
                              "device ep2 endpoint device=0x1002 memory\n"
                              "device ep3 endpoint device=0x1003 memory\n"
                              "host host\nlink host:0 sw:0\nlink sw:2 ep2:0\nlink sw:3 ep3:0\n";
    return strPath;
}

class EepromCliTest : public ::testing::Test
{
protected:
    EepromCliTest() : m_sim(Topology(), {"--no-udp", "--no-broadcast"}) {}
    void SetUp() override { ASSERT_TRUE(m_sim.Ready()) << m_sim.ErrorOutput(); }
    SRunResult Cli(std::vector<std::string> args)
    {
        std::vector<std::string> all = {"--server", "127.0.0.1", "--port", std::to_string(m_sim.TcpPort())};
        all.insert(all.end(), args.begin(), args.end());
        return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), all);
    }
    std::string Trimmed(const SRunResult& result)
    {
        return result.strOut.substr(0, result.strOut.find('\n'));
    }
    nvtest::CSimProcess m_sim;
};

TEST_F(EepromCliTest, AnImageFromTheMapIsWrittenReadBackAndLoadedWhenTheSwitchResets)
{
    const std::string strMap = Temp("map.nvm");
    SRunResult result = Cli({"discover", "--enumerate", "--no-layout", "--save", strMap});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    ASSERT_EQ(0, Cli({"routes", "generate", strMap}).nExitCode);

    // Node 2 is the switch. Port 0's speed is one the HAL never changes, so the port speeds are
    // left out; with them the play stops at that action and says which.
    const std::string strImage = Temp("image.bin");
    result = Cli({"eeprom", "image", strMap, "2", "--type", "AT24C256", "--out", strImage});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_NE(std::string::npos, result.strErr.find("Line 11 of the script failed: SPEED")) << result.strErr;
    EXPECT_FALSE(std::filesystem::exists(strImage));
    result =
        Cli({"eeprom", "image", strMap, "2", "--type", "AT24C64", "--out", strImage, "--no-port-speeds"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("EEPROM image is full.\n", result.strErr) << "three full route tables need 12 KB";
    result =
        Cli({"eeprom", "image", strMap, "2", "--type", "AT24C256", "--out", strImage, "--no-port-speeds"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("EEPROM image of node 2: 12328 of 32768 bytes used; saved " + strImage + "\n", result.strOut);
    EXPECT_EQ(12328u, std::filesystem::file_size(strImage));

    // The switch as it runs now: its ID changed, port 0's table sends ep2's ID 5 nowhere.
    ASSERT_EQ(0, Cli({"write", "0x60", "0x00AA00AA", "--dest", "0xFF", "--hop", "0"}).nExitCode);
    EXPECT_EQ("destid=0x0005 type=unrouted port=255 extra=0x0",
              Trimmed(Cli({"route", "get", "0", "5", "--dest", "0xFF", "--hop", "0"})));

    result = Cli({"eeprom", "write", "0xFF:0", strImage, "--type", "AT24C256"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("Wrote 12328 bytes to the EEPROM and read them back\n", result.strOut);
    const std::string strBack = Temp("back.sre");
    result = Cli({"eeprom", "read", "0xFF:0", strBack, "--type", "AT24C256", "--bytes", "12328"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    const std::string strRecords = nvtest::ReadFile(strBack);
    EXPECT_EQ(0u, strRecords.find("S11300000604FFFFFFFFFFFF0000006000FFFFFF8B\n"))
        << strRecords.substr(0, 60);

    // Nothing changes until the switch resets: the host's port 0 sends the reset-device.
    EXPECT_EQ("0x00aa00aa", Trimmed(Cli({"read", "0x60", "--dest", "0xFF", "--hop", "0"})));
    ASSERT_EQ(0, Cli({"write", "0x140", "3", "--dest", "0xFFFFFFFF", "--hop", "0"}).nExitCode);
    EXPECT_EQ("0x00ffffff", Trimmed(Cli({"read", "0x60", "--dest", "0xFF", "--hop", "0"})));
    EXPECT_EQ("destid=0x0005 type=port port=2 extra=0x0",
              Trimmed(Cli({"route", "get", "0", "5", "--dest", "0xFF", "--hop", "0"})));
    EXPECT_EQ("destid=0x000a type=port port=3 extra=0x0",
              Trimmed(Cli({"route", "get", "0", "10", "--dest", "0xFF", "--hop", "0"})));
}

TEST_F(EepromCliTest, FilesAndTypesThatDoNotFitAreRefusedBeforeAnythingIsWritten)
{
    const std::string strBig = Temp("big.bin");
    std::ofstream(strBig, std::ios::binary) << std::string(300, '\x5A');
    SRunResult result = Cli({"eeprom", "write", "0xFF:0", strBig, "--type", "Generic 256 Bit"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("The selected image is will not fit in the specified EEPROM.\n", result.strErr);
    result = Cli({"eeprom", "read", "0xFF:0", Temp("erased.bin"), "--type", "AT24C64", "--bytes", "16"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ(std::string(16, '\xFF'), nvtest::ReadFile(Temp("erased.bin")))
        << "the write above left it erased";

    const std::string strText = Temp("image.txt");
    std::ofstream(strText) << "x";
    result = Cli({"eeprom", "write", "0xFF:0", strText});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("Unknown file type.  Must be .bin or .sre\n", result.strErr);
    result = Cli({"eeprom", "write", "0xFF:0", strBig, "--type", "AT24C1024"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ(0u,
              result.strErr.find("Unknown EEPROM device type 'AT24C1024'; the types are: Generic 256 Bit,"));
    result = Cli({"eeprom", "write", "5", strBig});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("NODE is DEST:HOP, the destination ID and hop count of the device\n", result.strErr);
    // ep2 (ID 5, one hop) has no EEPROM behind it.
    ASSERT_EQ(0, Cli({"route", "add", "0", "5", "2", "--dest", "0xFF", "--hop", "0"}).nExitCode);
    ASSERT_EQ(0, Cli({"route", "add", "2", "1", "0", "--dest", "0xFF", "--hop", "0"}).nExitCode);
    result = Cli({"eeprom", "write", "5:1", strBig, "--type", "AT24C64"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("This device does not support EEPROM access via RapidIO maintenance transactions.\n",
              result.strErr);
}
} // namespace

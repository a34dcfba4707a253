// norvanta-cli pgen send against norvanta-sim (gen2tools.topo): packets composed with packet
// encode go out of a CPS-1848's packet generator and what comes back is read from another port's
// capture. Maintenance reads and writes reach the endpoints' registers, an NWRITE their memory; a
// packet nobody answers times out and the clean-up still runs; scenario 2 loops the start port
// back; a test port with a loop-back plug returns a copy of the packet; bad files and choices are
// refused with the window's texts.
//
// The packets carry source ID 0x33 (or 0x34, 0x35), an ID no endpoint has: scenario 1 steers that
// ID's answers in the start port's table to the end port, and the host's own ID stays routed home.
#include "PcapFile.h"
#include "SimProcess.h"
#include "TestSupport.h"

#include "nvsim/Packet.h"

#include <gtest/gtest.h>

#include <fstream>

namespace
{
using nvtest::SRunResult;

// The CPS-1848 is node 2 of the discovered map. Port 5 has no link: it is every test's end port.
constexpr const char* kSwitch = "2";
constexpr const char* kEnd = "5";

std::string Temp(const std::string& strName)
{
    return nvtest::ProcessTempDir() + "/pgen-" + strName;
}

bool HasLine(const std::string& strText, const std::string& strLine)
{
    for (const std::string& strHave : nvtest::Lines(strText))
    {
        if (strHave == strLine)
            return true;
    }
    return false;
}

class PgenCliTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_sim.Ready()) << m_sim.ErrorOutput();
        const SRunResult result = Cli({"discover", "--no-layout", "--save", m_strMap});
        ASSERT_EQ(0, result.nExitCode) << result.strErr;
    }

    SRunResult Cli(std::vector<std::string> args) const
    {
        std::vector<std::string> all = {"--server", "127.0.0.1", "--wait-ms",
                                        "1500",     "--port",    std::to_string(m_sim.TcpPort())};
        all.insert(all.end(), args.begin(), args.end());
        return nvtest::RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), all);
    }
    // The packet list line of a packet given by its fields.
    std::string Encode(std::vector<std::string> fields) const
    {
        fields.insert(fields.begin(), {"packet", "encode"});
        const SRunResult result = Cli(fields);
        EXPECT_EQ(0, result.nExitCode) << result.strErr;
        return nvtest::Lines(result.strOut).empty() ? std::string() : nvtest::Lines(result.strOut)[0];
    }
    std::string Npf(const std::string& strName, const std::vector<std::string>& packets) const
    {
        const std::string strPath = Temp(strName);
        std::ofstream file(strPath);
        file << "Norvanta Packet File\nV1.0\n";
        for (const std::string& strPacket : packets)
            file << strPacket << "\n";
        return strPath;
    }
    SRunResult Send(const std::string& strFile, std::vector<std::string> options) const
    {
        std::vector<std::string> args = {"pgen", "send", m_strMap, kSwitch, strFile};
        args.insert(args.end(), options.begin(), options.end());
        return Cli(args);
    }
    // A register of the switch (hop 0) or of an endpoint (its ID, hop 1).
    uint32_t Read(uint32_t ulOffset, const std::string& strDest = "0xFF",
                  const std::string& strHop = "0") const
    {
        const SRunResult result = Cli({"read", std::to_string(ulOffset), "--dest", strDest, "--hop", strHop});
        EXPECT_EQ(0, result.nExitCode) << result.strErr;
        return static_cast<uint32_t>(std::stoul(result.strOut, nullptr, 16));
    }

    std::string m_strSimPcap = Temp("sim.pcap");
    nvtest::CSimProcess m_sim{"gen2tools.topo", {"--no-udp", "--no-broadcast", "--pcap", m_strSimPcap}};
    std::string m_strMap = Temp("gen2tools.nvm");
};

TEST_F(PgenCliTest, AMaintenanceReadComesBackAsAResponseWithTheRegistersValue)
{
    // The Device Identity CAR of the endpoint with ID 5 behind port 1.
    const std::string strRead = Encode({"FType=8", "Trans=0", "DestID=5", "SourceID=33h", "Size=8",
                                        "SourceTID=7", "HopCount=0", "RegisterAddress=0"});
    ASSERT_EQ("00080533 08070000 00006BE1", strRead);
    const SRunResult result =
        Send(Npf("read.npf", {strRead}), {"--start", "1", "--end", kEnd, "--flow", "3"});
    ASSERT_EQ(0, result.nExitCode) << result.strOut << result.strErr;
    EXPECT_EQ("", result.strErr);
    const std::vector<std::string> lines = nvtest::Lines(result.strOut);
    ASSERT_GE(lines.size(), 3u) << result.strOut;
    EXPECT_EQ("Packet 1: " + strRead, lines[0]);
    // The response one priority up, hop count FF, the register's word in the first half of the
    // double-word, and its own CRC: the line is cut where that checks.
    EXPECT_EQ("Response: 00483305 2007FF00 00000002 FFF00000 0000639D", lines[1]);
    for (const char* pszLine : {"  Dest ID: 33", "  Source ID: 05", "  Trans: 2 (Maint Read Response)",
                                "  Status: 0 (Done)", "  Target TID: 07", "  Data: 0002FFF0 00000000"})
        EXPECT_TRUE(HasLine(result.strOut, pszLine)) << pszLine << "\n" << result.strOut;
    // The response is a packet the field model takes with a good CRC.
    const SRunResult decoded = Cli({"packet", "decode", "00483305 2007FF00 00000002 FFF00000 0000639D"});
    EXPECT_TRUE(HasLine(decoded.strOut, "CRC good")) << decoded.strOut;
    EXPECT_EQ(0u, Read(0xF2000C) & 0x10000000u) << "PGC mode is off after the send";
}

TEST_F(PgenCliTest, AMaintenanceWriteChangesTheEndpointsRegisterAndItsResponseIsCaptured)
{
    // Component Tag CSR (0x6C) of the endpoint with ID 0x0A behind port 2: the second word.
    ASSERT_NE(0xCAFEBABEu, Read(0x6C, "0x0A", "1"));
    const std::string strWrite =
        Encode({"FType=8", "Trans=1", "DestID=0Ah", "SourceID=33h", "Size=8", "SourceTID=9", "HopCount=0",
                "RegisterAddress=6Ch", "Data=00000000CAFEBABE"});
    const SRunResult result =
        Send(Npf("write.npf", {strWrite}), {"--start", "2", "--end", kEnd, "--flow", "0"});
    ASSERT_EQ(0, result.nExitCode) << result.strOut << result.strErr;
    EXPECT_TRUE(HasLine(result.strOut, "  Trans: 3 (Maint Write Response)")) << result.strOut;
    EXPECT_TRUE(HasLine(result.strOut, "  Source ID: 0A")) << result.strOut;
    EXPECT_TRUE(HasLine(result.strOut, "  Target TID: 09")) << result.strOut;
    EXPECT_EQ(0xCAFEBABEu, Read(0x6C, "0x0A", "1"));
}

TEST_F(PgenCliTest, AnNwriteHasNoCaptureAndReachesMemoryWhereAnNreadFindsIt)
{
    // One file of two packets: the write to the endpoint with ID 0x0F, then the read of it back.
    const std::string strWrite = Encode({"FType=5", "Trans=4", "DestID=0Fh", "SourceID=33h", "Size=11",
                                         "SourceTID=1", "Address=1000h", "Data=0102030405060708"});
    const std::string strRead = Encode(
        {"FType=2", "Trans=4", "DestID=0Fh", "SourceID=33h", "Size=11", "SourceTID=2", "Address=1000h"});
    const SRunResult result =
        Send(Npf("nwrite.npf", {strWrite, strRead}), {"--start", "3", "--end", kEnd, "--flow", "0"});
    ASSERT_EQ(0, result.nExitCode) << result.strOut << result.strErr;
    // The end port is polled after every packet; nothing comes for the NWRITE, which is no failure.
    EXPECT_EQ("Timeout waiting for packet reception.\n", result.strErr);
    const std::vector<std::string> lines = nvtest::Lines(result.strOut);
    ASSERT_GE(lines.size(), 4u) << result.strOut;
    EXPECT_EQ("Packet 1: " + strWrite, lines[0]);
    EXPECT_EQ("Sent, no response expected.", lines[1]);
    EXPECT_EQ("Packet 2: " + strRead, lines[2]);
    // A response with data of 8 bytes, cut there (not at a longer layout over the capture's zeros).
    const std::string strPrefix = "Response: ";
    ASSERT_EQ(0u, lines[3].find(strPrefix + "004D330F 80020102 03040506 0708")) << lines[3];
    const std::string strResponse = lines[3].substr(strPrefix.size());
    EXPECT_EQ(std::string("004D330F 80020102 03040506 0708CCCC").size(), strResponse.size()) << strResponse;
    EXPECT_TRUE(HasLine(Cli({"packet", "decode", strResponse}).strOut, "CRC good")) << strResponse;
    EXPECT_TRUE(HasLine(result.strOut, "  Data: 01020304 05060708")) << result.strOut;
}

TEST_F(PgenCliTest, APacketNobodyAnswersTimesOutAndTheCleanUpStillRuns)
{
    // Scenario 2: port 6 (no link) looped back, the packet routed by its destination ID out of the
    // test port 4 to the CPS-1616, which has no route for ID 0x77 and drops it.
    const std::string strRead = Encode({"FType=8", "Trans=0", "DestID=77h", "SourceID=34h", "Size=8",
                                        "SourceTID=3", "HopCount=5", "RegisterAddress=60h"});
    const SRunResult result = Send(Npf("nobody.npf", {strRead}), {"--scenario", "2", "--start", "6", "--test",
                                                                  "4", "--end", kEnd, "--flow", "1"});
    EXPECT_EQ(3, result.nExitCode) << result.strOut << result.strErr;
    EXPECT_EQ("Timeout waiting for packet reception.\n", result.strErr);
    EXPECT_EQ("Packet 1: " + strRead + "\n", result.strOut);
    // Steps 12 and 13: port 6 out of its loop and enabled, PGC mode off.
    EXPECT_EQ(0u, Read(0xF40604) & 0x00200000u);
    EXPECT_EQ(0u, Read(0x15C + 6 * 0x20) & 0x00800000u);
    EXPECT_EQ(0u, Read(0xF2000C) & 0x10000000u);
}

TEST_F(PgenCliTest, ScenarioTwoLoopsTheStartPortBackAndTheAnswerComesToTheEndPort)
{
    // The packet comes back into port 6 and crosses the switch once to the test port: a hop count
    // of 1 (with 0 the switch itself would take the request).
    const std::string strRead = Encode({"FType=8", "Trans=0", "DestID=5", "SourceID=34h", "Size=8",
                                        "SourceTID=8", "HopCount=1", "RegisterAddress=0"});
    const SRunResult result = Send(Npf("loop.npf", {strRead}), {"--scenario", "2", "--start", "6", "--test",
                                                                "1", "--end", kEnd, "--flow", "7"});
    ASSERT_EQ(0, result.nExitCode) << result.strOut << result.strErr;
    EXPECT_TRUE(HasLine(result.strOut, "Response: 00483405 2008FF00 00000002 FFF00000 0000CA50"))
        << result.strOut;
    EXPECT_EQ(0u, Read(0xF40604) & 0x00200000u) << "the loop-back is taken out again";
    EXPECT_EQ(0u, Read(0x15C + 6 * 0x20) & 0x00800000u);
}

TEST_F(PgenCliTest, ATestPortWithALoopBackPlugReturnsACopyOfThePacket)
{
    // Test port 7 sends what it transmits back into itself (as a loop-back plug would): an NREAD
    // addressed to its own source ID goes 6 -> 7 -> back into 7, where the route to the source ID
    // the tool laid leads it to the end port.
    ASSERT_EQ(0, Cli({"write", "0xF40704", "0x00200000", "--dest", "0xFF", "--hop", "0"}).nExitCode);
    const std::string strRead = Encode(
        {"FType=2", "Trans=4", "DestID=35h", "SourceID=35h", "Size=11", "SourceTID=4", "Address=2000h"});
    const SRunResult result = Send(Npf("copy.npf", {strRead}), {"--scenario", "2", "--start", "6", "--test",
                                                                "7", "--end", kEnd, "--flow", "0"});
    ASSERT_EQ(0, result.nExitCode) << result.strOut << result.strErr;
    EXPECT_EQ("Packet 1: " + strRead + "\nA copy of the transmitted packet was received.\n", result.strOut);
}

TEST_F(PgenCliTest, TheClientsDoorbellGoesOutPaddedToAWordAndIsTakenAsAStandardOne)
{
    // The field model gives a doorbell an 8-bit Info (0x42), then its CRC (74DD) and a pad; the
    // generator loads whole words, so 12 bytes go on the link. The standard's doorbell has a 16-bit
    // Info: the receiver reads 0x4274, then DD00 where the CRC belongs and a 16-bit pad. The CRC
    // check does not need the layout (the CRC run over a packet and its CRC leaves 0, and the zeros
    // after it keep it so), so the doorbell is not dropped: the endpoint queues it and answers DONE.
    const std::string strDoorbell =
        Encode({"FType=10", "DestID=5", "SourceID=33h", "SourceTID=5", "Info=42h"});
    ASSERT_EQ("000A0533 00054274 DD0000", strDoorbell);
    const SRunResult result =
        Send(Npf("doorbell.npf", {strDoorbell}), {"--start", "1", "--end", kEnd, "--flow", "0"});
    ASSERT_EQ(0, result.nExitCode) << result.strOut << result.strErr;
    EXPECT_TRUE(HasLine(result.strOut, "  Trans: 0 (Response WITHOUT Data)")) << result.strOut;
    EXPECT_TRUE(HasLine(result.strOut, "  Status: 0 (Done)")) << result.strOut;

    // The simulator's capture of the link, decoded by its own decoder.
    std::vector<SPcapRecord> records;
    uint32_t ulLinkType = 0;
    QString strError;
    ASSERT_TRUE(ReadPcapFile(QString::fromStdString(m_strSimPcap), &records, &ulLinkType, &strError))
        << strError.toStdString();
    int nDoorbells = 0;
    for (const SPcapRecord& record : records)
    {
        nvsim::SRioPacket packet;
        if (nvsim::DecodePacket(record.bytes, 34, &packet) != nvsim::EDecodeResult::Ok ||
            packet.uchFType != 10 || packet.ulSourceId != 0x33)
            continue;
        ++nDoorbells;
        EXPECT_EQ(12u, record.bytes.size());
        EXPECT_EQ(0x4274, packet.wInfo);
        EXPECT_EQ(5u, packet.ulDestId);
        EXPECT_EQ(5u, packet.uchSourceTid);
    }
    EXPECT_EQ(1, nDoorbells);
}

TEST_F(PgenCliTest, FilesOfAnotherFormatAndBadChoicesAreRefusedWithTheWindowsTexts)
{
    const std::string strRead = Encode({"FType=8", "Trans=0", "DestID=5", "SourceID=33h", "Size=8",
                                        "SourceTID=7", "HopCount=0", "RegisterAddress=0"});
    struct SFile
    {
        const char* pszText;
        const char* pszError;
    };
    const SFile files[] = {
        {"", "pgen: Invalid packet file format. [1]\n"},
        {"Packet File\nV1.0\n", "pgen: Invalid packet file format. [2]\n"},
        {"Norvanta Packet File\n", "pgen: Invalid packet file format. [3]\n"},
        {"Norvanta Packet File\nV2.0\n00080533\n", "pgen: Invalid packet file format. [4]\n"},
    };
    int n = 0;
    for (const SFile& file : files)
    {
        const std::string strPath = Temp("bad" + std::to_string(n++) + ".npf");
        std::ofstream(strPath) << file.pszText;
        const SRunResult result = Send(strPath, {"--start", "1", "--end", kEnd, "--flow", "0"});
        EXPECT_EQ(2, result.nExitCode) << file.pszError;
        EXPECT_EQ(file.pszError, result.strErr);
        EXPECT_EQ("", result.strOut);
    }
    const std::string strMissing = Temp("missing.npf");
    const SRunResult missing = Send(strMissing, {"--start", "1", "--end", kEnd, "--flow", "0"});
    EXPECT_EQ(2, missing.nExitCode);
    EXPECT_EQ("pgen: Unable to open packet file " + strMissing + ", error 2\n", missing.strErr);

    struct SChoice
    {
        std::vector<std::string> options;
        const char* pszError;
    };
    const SChoice choices[] = {
        {{"--end", kEnd, "--flow", "0"}, "Start Port not selected.\n"},
        {{"--start", "1", "--flow", "0"}, "End Port not selected.\n"},
        {{"--start", "1", "--end", "1", "--flow", "0"}, "Start Port and End Port must be different.\n"},
        {{"--start", "1", "--end", kEnd}, "Flow Type not selected.\n"},
        {{"--scenario", "2", "--start", "6", "--end", kEnd, "--flow", "0"}, "Test Port not selected.\n"},
        {{"--scenario", "2", "--start", "6", "--end", kEnd, "--test", "5", "--flow", "0"},
         "Test Port must not be the same as Start Port or End Port.\n"},
    };
    const std::string strFile = Npf("good.npf", {strRead});
    for (const SChoice& choice : choices)
    {
        const SRunResult result = Send(strFile, choice.options);
        EXPECT_EQ(1, result.nExitCode) << choice.pszError;
        EXPECT_EQ(choice.pszError, result.strErr);
        EXPECT_EQ("Packet 1: " + strRead + "\n", result.strOut);
    }
}
} // namespace

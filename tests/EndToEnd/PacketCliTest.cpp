// norvanta-cli packet encode|decode: packets worked out by hand and the golden table's packets
// encode to their bytes and decode back with good CRCs; illegal values, fields the layout doesn't
// have, unknown fields, bad numbers and bad CRCs give their texts and exit codes.
#include "SimProcess.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace
{
using nvtest::SRunResult;

SRunResult Cli(std::vector<std::string> args)
{
    return nvtest::RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), args);
}

SRunResult Encode(std::vector<std::string> fields)
{
    fields.insert(fields.begin(), {"packet", "encode"});
    return Cli(fields);
}

SRunResult Decode(std::vector<std::string> args)
{
    args.insert(args.begin(), {"packet", "decode"});
    return Cli(args);
}

// CRC-CCITT bit by bit, start 0xFFFF, over bytes with the six ackID bits taken as 0.
uint16_t WireCrc(std::vector<uint8_t> bytes)
{
    bytes[0] &= 0x03;
    uint16_t uCrc = 0xFFFF;
    for (uint8_t b : bytes)
    {
        for (int nBit = 7; nBit >= 0; --nBit)
        {
            const bool bFeedback = (((b >> nBit) & 1) != 0) != ((uCrc & 0x8000) != 0);
            uCrc = static_cast<uint16_t>((uCrc << 1) ^ (bFeedback ? 0x1021 : 0));
        }
    }
    return uCrc;
}

std::string ListForm(const std::vector<uint8_t>& bytes)
{
    std::string strLine;
    char sz[3];
    for (size_t i = 0; i < bytes.size(); ++i)
    {
        if (i && i % 4 == 0)
        {
            strLine += ' ';
        }
        std::snprintf(sz, sizeof sz, "%02X", bytes[i]);
        strLine += sz;
    }
    return strLine;
}

bool HasLine(const std::string& strText, const std::string& strLine)
{
    for (const std::string& strHave : nvtest::Lines(strText))
    {
        if (strHave == strLine)
        {
            return true;
        }
    }
    return false;
}

TEST(PacketCli, AnNreadWorkedOutByHandEncodesAndDecodes)
{
    // ackID 3, prio 1, tt 0, ftype 2 = 0C 42; dest 12, src 34; NREAD of 4 bytes = 48; srcTID 56;
    // address word 12345678 with wdptr 1 and xamsbs 1 = 1234567D.
    std::vector<uint8_t> bytes = {0x0C, 0x42, 0x12, 0x34, 0x48, 0x56, 0x12, 0x34, 0x56, 0x7D};
    const uint16_t uCrc = WireCrc(bytes);
    bytes.push_back(static_cast<uint8_t>(uCrc >> 8));
    bytes.push_back(static_cast<uint8_t>(uCrc));
    // Fields in any order, captions in any case, one with its blank inside the word; bare digits
    // are decimal.
    const SRunResult encoded =
        Encode({"Addr=0x2468ACF", "wdptr=1", "ExtAddMSBs=1", "ackid=3", "Priority=1", "Dest ID=0x12",
                "SourceID=52", "SOURCETID=56h", "Size=8", "Trans=4", "FType=2"});
    ASSERT_EQ(0, encoded.nExitCode) << encoded.strErr;
    EXPECT_EQ(ListForm(bytes) + "\n", encoded.strOut);
    EXPECT_EQ("", encoded.strErr);

    const SRunResult decoded = Decode({ListForm(bytes)});
    ASSERT_EQ(0, decoded.nExitCode) << decoded.strErr;
    for (const char* pszLine :
         {"AckID: 03", "Priority: 1 (Medium)", "FType: 2 (Request Class)", "Dest ID: 12", "Source ID: 34",
          "Trans: 4 (NREAD)", "Size: 8 (4 Bytes  [00001111])", "Source TID: 56", "Address: 11234567C",
          "Addr: 02468ACF", "wdptr: 1 (4 Bytes  [00001111])", "ExtAdd MSBs: 1", "CRC good"})
    {
        EXPECT_TRUE(HasLine(decoded.strOut, pszLine)) << pszLine << " in\n" << decoded.strOut;
    }
    EXPECT_EQ("CRC good", nvtest::Lines(decoded.strOut).back());

    // The same bytes as one word with 0x ahead decode alike; a flipped bit is a bad CRC.
    std::string strWord = "0x" + ListForm(bytes);
    strWord.erase(std::remove(strWord.begin(), strWord.end(), ' '), strWord.end());
    EXPECT_EQ(decoded.strOut, Decode({strWord}).strOut);
    bytes[4] ^= 0x01;
    const SRunResult bad = Decode({ListForm(bytes)});
    EXPECT_EQ(1, bad.nExitCode);
    char szVerdict[80];
    std::snprintf(szVerdict, sizeof szVerdict, "CRC bad: the packet has %04X, computed %04X", uCrc,
                  WireCrc(std::vector<uint8_t>(bytes.begin(), bytes.end() - 2)));
    EXPECT_EQ(szVerdict, nvtest::Lines(bad.strOut).back());
}

TEST(PacketCli, ALongWriteCarriesAnEarlyCrcAndBothAreChecked)
{
    std::string strData;
    for (int i = 0; i < 128; ++i)
    {
        char sz[3];
        std::snprintf(sz, sizeof sz, "%02X", (i * 13 + 1) & 0xFF);
        strData += sz;
    }
    const SRunResult encoded =
        Encode({"FType=5", "Trans=14", "Size=12", "wdptr=1", "DestID=5", "Data=" + strData});
    ASSERT_EQ(0, encoded.nExitCode) << encoded.strErr;
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i + 1 < encoded.strOut.size(); ++i)
    {
        if (std::isxdigit(static_cast<unsigned char>(encoded.strOut[i])) &&
            std::isxdigit(static_cast<unsigned char>(encoded.strOut[i + 1])))
        {
            bytes.push_back(static_cast<uint8_t>(std::stoul(encoded.strOut.substr(i, 2), nullptr, 16)));
            ++i;
        }
    }
    // 10 header bytes and 70 of data, early CRC, 58 of data, CRC, pad.
    ASSERT_EQ(144u, bytes.size());
    EXPECT_EQ(WireCrc(std::vector<uint8_t>(bytes.begin(), bytes.begin() + 80)), bytes[80] << 8 | bytes[81]);
    EXPECT_EQ(WireCrc(std::vector<uint8_t>(bytes.begin(), bytes.begin() + 140)),
              bytes[140] << 8 | bytes[141]);

    const SRunResult decoded = Decode({ListForm(bytes)});
    EXPECT_EQ(0, decoded.nExitCode);
    EXPECT_EQ("Early CRC good, CRC good", nvtest::Lines(decoded.strOut).back());
    EXPECT_TRUE(HasLine(decoded.strOut, "Trans: E (Atomic Test & Swap)")) << decoded.strOut;

    // A spoilt early CRC: both are named, each with its verdict.
    bytes[81] ^= 0xFF;
    const SRunResult bad = Decode({ListForm(bytes)});
    EXPECT_EQ(1, bad.nExitCode);
    const std::string strVerdict = nvtest::Lines(bad.strOut).back();
    EXPECT_EQ(0u, strVerdict.find("Early CRC bad: the packet has ")) << strVerdict;
    EXPECT_NE(std::string::npos, strVerdict.find(", CRC bad: ")) << "the final CRC covers the early one";
}

TEST(PacketCli, WideAddressesAndDataSizedClassesEncode)
{
    const SRunResult wide = Encode(
        {"--address-bits", "66", "FType=2", "Trans=4", "Size=5", "ExtAddr=0x89ABCDEF", "Addr=1", "wdptr=1"});
    ASSERT_EQ(0, wide.nExitCode) << wide.strErr;
    // Header, trans and size 45, srcTID 00, the 32-bit extended address, then addr 1 with wdptr: 0000000C.
    std::vector<uint8_t> bytes = {0x00, 0x02, 0x00, 0x00, 0x45, 0x00, 0x89,
                                  0xAB, 0xCD, 0xEF, 0x00, 0x00, 0x00, 0x0C};
    const uint16_t uCrc = WireCrc(bytes);
    bytes.push_back(static_cast<uint8_t>(uCrc >> 8));
    bytes.push_back(static_cast<uint8_t>(uCrc));
    EXPECT_EQ(ListForm(bytes) + "\n", wide.strOut);
    const SRunResult decoded = Decode({"--address-bits", "66", wide.strOut});
    EXPECT_EQ(0, decoded.nExitCode);
    EXPECT_TRUE(HasLine(decoded.strOut, "Ext Addr: 89ABCDEF")) << decoded.strOut;

    // A streaming write takes its data's length as Data Size, and decode finds it from the length.
    const SRunResult swrite = Encode({"FType=6", "Data=0102030405060708090A0B0C0D0E0F10"});
    ASSERT_EQ(0, swrite.nExitCode) << swrite.strErr;
    const SRunResult back = Decode({swrite.strOut});
    EXPECT_EQ(0, back.nExitCode);
    EXPECT_TRUE(HasLine(back.strOut, "Data Size (bytes): 0010")) << back.strOut;
    EXPECT_TRUE(HasLine(back.strOut, "Data: 01020304 05060708 090A0B0C 0D0E0F10")) << back.strOut;
}

TEST(PacketCli, IllegalValuesAndMissingFieldsAreRefusedWithTheirTexts)
{
    SRunResult result = Encode({"FType=2", "Trans=3", "Size=8"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("", result.strOut);
    EXPECT_EQ("Trans=3 is not legal with FType 2; legal values: 4 (NREAD), 12 (ATOMIC inc), 13 (ATOMIC dec), "
              "14 (ATOMIC set), 15 (ATOMIC clr)\n",
              result.strErr);

    result = Encode({"FType=10", "Info=0x100"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("Info=0x100 is out of range: Info holds 8 bits, 0 to 255 (ffh)\n", result.strErr);

    result = Encode({"FType=13", "Trans=0", "Data=00"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ(0u,
              result.strErr.find("Data is not a field of this packet (FType 13, Trans 0); its fields are: "))
        << result.strErr;

    result = Encode({"FType=3"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ(0u, result.strErr.find("FType=3 is not legal; legal values: 2 (Request Class)"))
        << result.strErr;
}

TEST(PacketCli, UnknownFieldsAndBadNumbersAreUsageErrors)
{
    SRunResult result = Encode({"FType=2", "Colour=red"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ("unknown field 'Colour'\nusage: norvanta-cli packet encode [--address-bits 34|50|66] "
              "FIELD=VALUE...\n",
              result.strErr);
    result = Encode({"FType=2", "DestID=0xZZ"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ(0u, result.strErr.find("Invalid data entry. '0xZZ' for DestID\n")) << result.strErr;
    result = Encode({"FType"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ(0u, result.strErr.find("FIELD=VALUE expected, not 'FType'\n"));
    result = Encode({"--address-bits", "40", "FType=2"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ(0u, result.strErr.find("--address-bits takes 34, 50 or 66, not '40'\n"));
    EXPECT_EQ(2, Encode({}).nExitCode);

    result = Decode({"00081234 0801FF00 0058D5D"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ(0u, result.strErr.find("Invalid data entry. HEX is pairs of hexadecimal digits"))
        << result.strErr;
    EXPECT_EQ(2, Decode({"0008G234"}).nExitCode);
    EXPECT_EQ(2, Decode({std::string(2050, '0')}).nExitCode) << "over 1024 bytes";
    EXPECT_EQ(2, Decode({}).nExitCode);
}

TEST(PacketCli, DecodeSaysWhenTheBytesDontFillTheLayout)
{
    // A response without data and two extra bytes: its fields, its good CRC and the length.
    std::vector<uint8_t> bytes = {0x00, 0x4D, 0x00, 0x05, 0x00, 0x21};
    const uint16_t uCrc = WireCrc(bytes);
    bytes.push_back(static_cast<uint8_t>(uCrc >> 8));
    bytes.push_back(static_cast<uint8_t>(uCrc));
    bytes.push_back(0xAA);
    bytes.push_back(0xBB);
    const SRunResult result = Decode({ListForm(bytes)});
    EXPECT_EQ(0, result.nExitCode);
    EXPECT_TRUE(HasLine(result.strOut, "Target TID: 21"));
    EXPECT_TRUE(HasLine(result.strOut, "Length: 10 bytes given, the fields of this packet take 8"))
        << result.strOut;
    EXPECT_EQ("CRC good", nvtest::Lines(result.strOut).back());
}

TEST(PacketCli, TheGoldenPacketsEncodeToTheirBytesAndDecodeWithGoodCrcs)
{
    std::ifstream file(nvtest::SourceDir() + "/tests/data/golden-packets.txt");
    if (!file)
    {
        GTEST_SKIP() << "tests/data/golden-packets.txt is not there yet";
    }
    std::string strLine;
    int nPackets = 0;
    while (std::getline(file, strLine))
    {
        if (strLine.empty() || strLine[0] == '#')
        {
            continue;
        }
        std::vector<std::string> parts;
        std::stringstream stream(strLine);
        for (std::string strPart; std::getline(stream, strPart, ';');)
        {
            parts.push_back(strPart.substr(strPart.find_first_not_of(' ')));
        }
        ASSERT_GE(parts.size(), 4u) << strLine;
        SCOPED_TRACE(parts[0]);
        std::vector<std::string> args = {"--address-bits", parts[1]};
        std::stringstream fields(parts[2]);
        for (std::string strField; fields >> strField;)
        {
            args.push_back(strField);
        }
        const std::string strBytes = parts.size() > 4 ? parts[4] : parts[3];
        const SRunResult encoded = Encode(args);
        EXPECT_EQ(0, encoded.nExitCode) << encoded.strErr;
        EXPECT_EQ(strBytes + "\n", encoded.strOut);
        const SRunResult decoded = Decode({"--address-bits", parts[1], strBytes});
        EXPECT_EQ(0, decoded.nExitCode) << decoded.strOut;
        EXPECT_EQ(std::string::npos, decoded.strOut.find("bad")) << decoded.strOut;
        EXPECT_EQ(std::string::npos, decoded.strOut.find("Length:")) << decoded.strOut;
        ++nPackets;
    }
    EXPECT_GT(nPackets, 20);
}
} // namespace

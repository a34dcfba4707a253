// The simulator's RapidIO packet encoder and decoder against the golden packet table, an
// independent bit-by-bit CRC and packets written out by hand.
#include "TestSupport.h"
#include "nvsim/Packet.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>
#include <sstream>

namespace
{
using nvsim::EDecodeResult;
using nvsim::SRioPacket;
using Bytes = std::vector<uint8_t>;

// CRC-16-CCITT one bit at a time, as the RapidIO standard draws it (Part 6, the CRC-16 circuit):
// shift in each bit of the packet, most significant first, feeding back 0x1021.
uint16_t BitwiseCrc(const Bytes& bytes, size_t n)
{
    uint16_t wCrc = 0xFFFF;
    for (size_t i = 0; i < n; ++i)
    {
        const uint8_t uch = i == 0 ? bytes[0] & 0x03 : bytes[i];
        for (int bit = 7; bit >= 0; --bit)
        {
            const bool bFeedback = ((wCrc >> 15) ^ (uch >> bit)) & 1;
            wCrc = static_cast<uint16_t>(wCrc << 1);
            if (bFeedback)
                wCrc ^= 0x1021;
        }
    }
    return wCrc;
}

std::string Trim(const std::string& str)
{
    const size_t nFirst = str.find_first_not_of(" \t");
    if (nFirst == std::string::npos)
        return {};
    return str.substr(nFirst, str.find_last_not_of(" \t\r") - nFirst + 1);
}

std::string Lower(std::string str)
{
    std::transform(str.begin(), str.end(), str.begin(), [](unsigned char ch) { return std::tolower(ch); });
    return str;
}

struct SGolden
{
    std::string strName;
    uint8_t uchAddressBits = 34;
    std::map<std::string, uint64_t> fields; // lower-case name -> value (Data apart)
    Bytes data;
    bool bHasData = false;
    Bytes bytes;
    Bytes clientBytes;
};

Bytes Hex(const std::string& strText)
{
    Bytes bytes;
    EXPECT_TRUE(nvsim::ParsePacketText(strText, &bytes)) << strText;
    return bytes;
}

std::vector<SGolden> LoadGolden()
{
    std::ifstream in(nvtest::SourceDir() + "/tests/data/golden-packets.txt");
    EXPECT_TRUE(in.good());
    std::vector<SGolden> lines;
    std::string strLine;
    while (std::getline(in, strLine))
    {
        if (Trim(strLine).empty() || Trim(strLine)[0] == '#')
            continue;
        std::vector<std::string> parts;
        std::stringstream split(strLine);
        for (std::string strPart; std::getline(split, strPart, ';');)
            parts.push_back(Trim(strPart));
        EXPECT_TRUE(parts.size() == 4 || parts.size() == 5) << strLine;
        if (parts.size() < 4)
            continue;
        SGolden golden;
        golden.strName = parts[0];
        golden.uchAddressBits = static_cast<uint8_t>(std::stoul(parts[1]));
        std::stringstream fields(parts[2]);
        for (std::string strField; fields >> strField;)
        {
            const size_t nEq = strField.find('=');
            EXPECT_NE(std::string::npos, nEq) << strField;
            const std::string strKey = Lower(strField.substr(0, nEq));
            const std::string strValue = strField.substr(nEq + 1);
            if (strKey == "data")
            {
                golden.data = Hex(strValue);
                golden.bHasData = true;
            }
            else
                golden.fields[strKey] = std::stoull(strValue, nullptr, 0);
        }
        golden.bytes = Hex(parts[3]);
        if (parts.size() == 5)
            golden.clientBytes = Hex(parts[4]);
        lines.push_back(std::move(golden));
    }
    return lines;
}

uint64_t Get(const SRioPacket& p, const std::string& strField)
{
    static const std::map<std::string, std::function<uint64_t(const SRioPacket&)>> kGet = {
        {"ackid", [](const SRioPacket& q) { return q.uchAckId; }},
        {"vc", [](const SRioPacket& q) { return q.bVc; }},
        {"crf", [](const SRioPacket& q) { return q.bCrf; }},
        {"priority", [](const SRioPacket& q) { return q.uchPriority; }},
        {"tt", [](const SRioPacket& q) { return q.uchTt; }},
        {"ftype", [](const SRioPacket& q) { return q.uchFType; }},
        {"destid", [](const SRioPacket& q) { return q.ulDestId; }},
        {"sourceid", [](const SRioPacket& q) { return q.ulSourceId; }},
        {"trans", [](const SRioPacket& q) { return q.uchTrans; }},
        {"size", [](const SRioPacket& q) { return q.uchSize; }},
        {"status", [](const SRioPacket& q) { return q.uchStatus; }},
        {"sourcetid", [](const SRioPacket& q) { return q.uchSourceTid; }},
        {"targettid", [](const SRioPacket& q) { return q.uchTargetTid; }},
        {"hopcount", [](const SRioPacket& q) { return q.uchHopCount; }},
        {"addr", [](const SRioPacket& q) { return q.ulAddr; }},
        {"extaddr", [](const SRioPacket& q) { return q.ulExtAddr; }},
        {"extaddmsbs", [](const SRioPacket& q) { return q.uchXamsbs; }},
        {"configoffset", [](const SRioPacket& q) { return q.ulConfigOffset; }},
        {"wdptr", [](const SRioPacket& q) { return q.bWdptr; }},
        {"info", [](const SRioPacket& q) { return q.wInfo; }},
        {"msglen", [](const SRioPacket& q) { return q.uchMsgLen; }},
        {"letter", [](const SRioPacket& q) { return q.uchLetter; }},
        {"mailbox", [](const SRioPacket& q) { return q.uchMailbox; }},
        {"msgseg", [](const SRioPacket& q) { return q.uchMsgSeg; }},
        {"datasize", [](const SRioPacket& q) { return q.data.size(); }},
    };
    const auto it = kGet.find(strField);
    EXPECT_NE(kGet.end(), it) << "unknown field " << strField;
    return it == kGet.end() ? 0 : it->second(p);
}

SRioPacket Build(const SGolden& golden)
{
    SRioPacket p;
    p.uchAddressBits = golden.uchAddressBits;
    for (const auto& [strField, ullValue] : golden.fields)
    {
        const auto u8 = static_cast<uint8_t>(ullValue);
        const auto u32 = static_cast<uint32_t>(ullValue);
        if (strField == "ackid")
            p.uchAckId = u8;
        else if (strField == "vc")
            p.bVc = ullValue != 0;
        else if (strField == "crf")
            p.bCrf = ullValue != 0;
        else if (strField == "priority")
            p.uchPriority = u8;
        else if (strField == "tt")
            p.uchTt = u8;
        else if (strField == "ftype")
            p.uchFType = u8;
        else if (strField == "destid")
            p.ulDestId = u32;
        else if (strField == "sourceid")
            p.ulSourceId = u32;
        else if (strField == "trans")
            p.uchTrans = u8;
        else if (strField == "size")
            p.uchSize = u8;
        else if (strField == "status")
            p.uchStatus = u8;
        else if (strField == "sourcetid")
            p.uchSourceTid = u8;
        else if (strField == "targettid")
            p.uchTargetTid = u8;
        else if (strField == "hopcount")
            p.uchHopCount = u8;
        else if (strField == "addr")
            p.ulAddr = u32;
        else if (strField == "extaddr")
            p.ulExtAddr = u32;
        else if (strField == "extaddmsbs")
            p.uchXamsbs = u8;
        else if (strField == "configoffset")
            p.ulConfigOffset = u32;
        else if (strField == "wdptr")
            p.bWdptr = ullValue != 0;
        else if (strField == "info")
            p.wInfo = static_cast<uint16_t>(ullValue);
        else if (strField == "msglen")
            p.uchMsgLen = u8;
        else if (strField == "letter")
            p.uchLetter = u8;
        else if (strField == "mailbox")
            p.uchMailbox = u8;
        else if (strField == "msgseg")
            p.uchMsgSeg = u8;
        else
            EXPECT_EQ("datasize", strField) << "unknown field in " << golden.strName;
    }
    p.data = golden.data;
    return p;
}

// Fields a line lists that the class does not carry on the wire (the field model's aids).
bool OnWire(const SRioPacket& p, const std::string& strField)
{
    if (strField == "datasize")
        return false;
    if (strField == "size" && p.uchFType == nvsim::ftype::kMaintenance && nvsim::IsResponsePacket(p))
        return false;
    return true;
}

class GoldenPacketTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_lines = LoadGolden();
        ASSERT_GE(m_lines.size(), 20u);
    }
    std::vector<SGolden> m_lines;
};

TEST_F(GoldenPacketTest, EncoderGivesTheGoldenBytes)
{
    for (const SGolden& golden : m_lines)
    {
        std::string strError;
        const Bytes bytes = nvsim::EncodePacket(Build(golden), &strError);
        EXPECT_EQ(nvsim::PacketText(golden.bytes), nvsim::PacketText(bytes))
            << golden.strName << ": " << strError;
    }
}

TEST_F(GoldenPacketTest, DecoderReadsEveryFieldBack)
{
    for (const SGolden& golden : m_lines)
    {
        SRioPacket decoded;
        std::string strError;
        ASSERT_EQ(EDecodeResult::Ok,
                  nvsim::DecodePacket(golden.bytes, golden.uchAddressBits, &decoded, &strError))
            << golden.strName << ": " << strError;
        for (const auto& [strField, ullValue] : golden.fields)
        {
            if (OnWire(decoded, strField))
            {
                EXPECT_EQ(ullValue, Get(decoded, strField)) << golden.strName << " " << strField;
            }
        }
        EXPECT_EQ(golden.data, decoded.data) << golden.strName;
        if (golden.fields.count("datasize"))
        {
            EXPECT_EQ(golden.fields.at("datasize"), decoded.data.size()) << golden.strName;
        }
        // And back again.
        EXPECT_EQ(golden.bytes, nvsim::EncodePacket(decoded)) << golden.strName;
    }
}

TEST_F(GoldenPacketTest, CrcsAgreeWithABitwiseCrc)
{
    for (const SGolden& golden : m_lines)
    {
        const Bytes& b = golden.bytes;
        // The final CRC sits before the pad: where depends on whether there is one, which
        // the CRC itself tells apart (a pad's zeros are no CRC of what comes before).
        size_t nCrcAt = b.size() - 2;
        if (BitwiseCrc(b, nCrcAt) != ((b[nCrcAt] << 8) | b[nCrcAt + 1]))
            nCrcAt -= 2;
        EXPECT_EQ(BitwiseCrc(b, nCrcAt), (b[nCrcAt] << 8) | b[nCrcAt + 1]) << golden.strName;
        EXPECT_EQ(BitwiseCrc(b, nCrcAt), nvsim::PacketCrc(b.data(), nCrcAt)) << golden.strName;
        if (nCrcAt > 82)
        {
            EXPECT_EQ(BitwiseCrc(b, 80), (b[80] << 8) | b[81]) << golden.strName << ": early CRC";
        }
        EXPECT_EQ(0u, b.size() % 4) << golden.strName;
    }
}

TEST_F(GoldenPacketTest, CoversEveryClassSizeAndAddressWidth)
{
    std::set<std::pair<uint64_t, uint64_t>> classes; // (ftype, transaction)
    std::set<uint64_t> tts, addressBits;
    bool bNonZeroAckId = false, bLong = false, b256 = false;
    for (const SGolden& golden : m_lines)
    {
        const uint64_t ullFType = golden.fields.at("ftype");
        const bool bTrans = ullFType == 2 || ullFType == 5 || ullFType == 8 || ullFType == 13;
        classes.emplace(ullFType, bTrans ? golden.fields.at("trans") : 0);
        tts.insert(golden.fields.at("tt"));
        if (ullFType == 2 || ullFType == 5 || ullFType == 6)
            addressBits.insert(golden.uchAddressBits);
        bNonZeroAckId |= golden.fields.at("ackid") != 0;
        bLong |= golden.bytes.size() > 84;
        b256 |= golden.data.size() == 256;
    }
    for (const auto& want : std::set<std::pair<uint64_t, uint64_t>>{{2, 4},
                                                                    {5, 4},
                                                                    {5, 5},
                                                                    {6, 0},
                                                                    {8, 0},
                                                                    {8, 1},
                                                                    {8, 2},
                                                                    {8, 3},
                                                                    {8, 4},
                                                                    {10, 0},
                                                                    {11, 0},
                                                                    {13, 0},
                                                                    {13, 1},
                                                                    {13, 8}})
        EXPECT_TRUE(classes.count(want)) << "no ftype " << want.first << " transaction " << want.second;
    EXPECT_EQ((std::set<uint64_t>{0, 1}), tts);
    EXPECT_EQ((std::set<uint64_t>{34, 50, 66}), addressBits);
    EXPECT_TRUE(bNonZeroAckId);
    EXPECT_TRUE(bLong);
    EXPECT_TRUE(b256);
}

TEST_F(GoldenPacketTest, ClientBytesOnlyForTheDoorbellWithItsCrc)
{
    size_t nClient = 0;
    for (const SGolden& golden : m_lines)
    {
        if (golden.clientBytes.empty())
            continue;
        ++nClient;
        EXPECT_EQ(10u, golden.fields.at("ftype")) << golden.strName;
        // The field model's doorbell: the standard's header up to Info, Info in 8 bits, the
        // CRC over what comes before, and a 16-bit pad.
        const Bytes& c = golden.clientBytes;
        const size_t nIds = golden.fields.at("tt") ? 4 : 2;
        const size_t nInfoAt = 2 + nIds + 2;
        ASSERT_EQ(nInfoAt + 1 + 2 + 2, c.size()) << golden.strName;
        EXPECT_TRUE(std::equal(c.begin(), c.begin() + nInfoAt, golden.bytes.begin())) << golden.strName;
        EXPECT_EQ(golden.fields.at("info"), c[nInfoAt]) << golden.strName;
        EXPECT_EQ(BitwiseCrc(c, nInfoAt + 1), (c[nInfoAt + 1] << 8) | c[nInfoAt + 2]) << golden.strName;
        EXPECT_EQ(0, c[nInfoAt + 3] | c[nInfoAt + 4]) << golden.strName;
    }
    EXPECT_EQ(2u, nClient);
}

TEST(PacketCrcTest, IsTheCcittCrcWithTheAckIdLeftOut)
{
    // The CRC-16/CCITT-FALSE check value of "123456789".
    const std::string strCheck = "123456789";
    EXPECT_EQ(0x29B1, nvsim::RioCrc16(reinterpret_cast<const uint8_t*>(strCheck.data()), strCheck.size()));
    // The ackID bits of the first byte do not count; VC and CRF do.
    const Bytes a = {0x00, 0x08, 0x12, 0x34}, b = {0xFC, 0x08, 0x12, 0x34}, c = {0x01, 0x08, 0x12, 0x34};
    EXPECT_EQ(nvsim::PacketCrc(a.data(), 4), nvsim::PacketCrc(b.data(), 4));
    EXPECT_NE(nvsim::PacketCrc(a.data(), 4), nvsim::PacketCrc(c.data(), 4));
}

// A maintenance read request written out by hand from the standard's layout.
TEST(PacketEncoderTest, MaintenanceReadLaidOutByHand)
{
    SRioPacket p;
    p.uchAckId = 3;
    p.uchPriority = 2;
    p.uchTt = 1;
    p.uchFType = nvsim::ftype::kMaintenance;
    p.ulDestId = 0x1234;
    p.ulSourceId = 0x00AB;
    p.uchTrans = nvsim::ttype::kMaintRead;
    p.uchSize = 8;
    p.uchSourceTid = 0x5C;
    p.uchHopCount = 7;
    p.SetRegisterOffset(0xF2000C);
    const Bytes bytes = nvsim::EncodePacket(p);
    ASSERT_EQ(16u, bytes.size()); // 12 bytes of header, CRC, pad
    // ackID 3 in bits 7..2, VC and CRF 0; prio 2, tt 1, ftype 8.
    EXPECT_EQ(0x0C, bytes[0]);
    EXPECT_EQ(0x98, bytes[1]);
    EXPECT_EQ((Bytes{0x12, 0x34, 0x00, 0xAB, 0x08, 0x5C, 0x07}), Bytes(bytes.begin() + 2, bytes.begin() + 9));
    // config_offset 0x1E4001 (21 bits), wdptr 1, 2 reserved bits: 0xF2000C itself.
    EXPECT_EQ((Bytes{0xF2, 0x00, 0x0C}), Bytes(bytes.begin() + 9, bytes.begin() + 12));
    EXPECT_EQ(BitwiseCrc(bytes, 12), (bytes[12] << 8) | bytes[13]);
    EXPECT_EQ((Bytes{0, 0}), Bytes(bytes.begin() + 14, bytes.end()));
    EXPECT_EQ(0xF2000Cu, p.RegisterOffset());
}

// Every field of a long packet survives encoding and decoding, whatever the values.
TEST(PacketEncoderTest, RandomPacketsSurviveARoundTrip)
{
    std::mt19937 random(20240611);
    auto pick = [&](uint32_t ulMax) { return static_cast<uint32_t>(random() % (uint64_t{ulMax} + 1)); };
    const uint8_t ftypes[] = {2, 5, 6, 8, 10, 11, 13};
    for (int n = 0; n < 2000; ++n)
    {
        SRioPacket p;
        p.uchFType = ftypes[pick(6)];
        p.uchAddressBits = static_cast<uint8_t>(34 + 16 * pick(2));
        p.uchAckId = static_cast<uint8_t>(pick(63));
        p.bVc = pick(1);
        p.bCrf = pick(1);
        p.uchPriority = static_cast<uint8_t>(pick(3));
        p.uchTt = static_cast<uint8_t>(pick(1));
        p.ulDestId = pick(p.uchTt ? 0xFFFF : 0xFF);
        p.ulSourceId = pick(p.uchTt ? 0xFFFF : 0xFF);
        const bool bAddress = p.uchFType == 2 || p.uchFType == 5 || p.uchFType == 6;
        if (bAddress)
        {
            p.ulAddr = pick(0x1FFFFFFF);
            p.uchXamsbs = static_cast<uint8_t>(pick(3));
            p.ulExtAddr = p.uchAddressBits == 66   ? pick(0xFFFFFFFF)
                          : p.uchAddressBits == 50 ? pick(0xFFFF)
                                                   : 0;
            p.bWdptr = p.uchFType != 6 && pick(1);
        }
        switch (p.uchFType)
        {
        case 2:
        case 5:
            p.uchTrans = static_cast<uint8_t>(pick(15));
            p.uchSize = static_cast<uint8_t>(pick(15));
            p.uchSourceTid = static_cast<uint8_t>(pick(255));
            break;
        case 8:
            p.uchTrans = static_cast<uint8_t>(pick(4));
            p.uchHopCount = static_cast<uint8_t>(pick(255));
            if (nvsim::IsResponsePacket(p))
            {
                p.uchStatus = static_cast<uint8_t>(pick(15));
                p.uchTargetTid = static_cast<uint8_t>(pick(255));
            }
            else
            {
                p.uchSize = static_cast<uint8_t>(pick(15));
                p.uchSourceTid = static_cast<uint8_t>(pick(255));
                p.ulConfigOffset = pick(0x1FFFFF);
                p.bWdptr = pick(1);
            }
            break;
        case 10:
            p.uchSourceTid = static_cast<uint8_t>(pick(255));
            p.wInfo = static_cast<uint16_t>(pick(0xFFFF));
            break;
        case 11:
            p.uchMsgLen = static_cast<uint8_t>(pick(15));
            p.uchSize = static_cast<uint8_t>(9 + pick(5));
            p.uchLetter = static_cast<uint8_t>(pick(3));
            p.uchMailbox = static_cast<uint8_t>(pick(3));
            p.uchMsgSeg = static_cast<uint8_t>(pick(15));
            break;
        case 13:
            p.uchTrans = std::array<uint8_t, 3>{0, 1, 8}[pick(2)];
            p.uchStatus = static_cast<uint8_t>(pick(15));
            if (p.uchTrans == 1)
            {
                p.uchLetter = static_cast<uint8_t>(pick(3));
                p.uchMailbox = static_cast<uint8_t>(pick(3));
                p.uchMsgSeg = static_cast<uint8_t>(pick(15));
            }
            else
                p.uchTargetTid = static_cast<uint8_t>(pick(255));
            break;
        default:
            break;
        }
        if (nvsim::CarriesData(p))
        {
            p.data.resize(8 * (1 + pick(31)));
            for (uint8_t& uch : p.data)
                uch = static_cast<uint8_t>(pick(255));
        }
        std::string strError;
        const Bytes bytes = nvsim::EncodePacket(p, &strError);
        ASSERT_FALSE(bytes.empty()) << strError;
        ASSERT_EQ(0u, bytes.size() % 4);
        SRioPacket back;
        ASSERT_EQ(EDecodeResult::Ok, nvsim::DecodePacket(bytes, p.uchAddressBits, &back, &strError))
            << strError << " " << nvsim::PacketText(bytes);
        ASSERT_EQ(p, back) << nvsim::PacketText(bytes);
        EXPECT_EQ(bytes.size() > 84, nvsim::HeaderBytes(p) + p.data.size() > 80);
    }
}

TEST(PacketDecoderTest, EveryDamagedBitIsCaughtButTheAckId)
{
    for (const SGolden& golden : LoadGolden())
    {
        if (golden.bytes.size() > 40 && golden.bytes.size() < 200)
            continue; // a short and a long packet of each kind are plenty
        for (size_t nBit = 0; nBit < golden.bytes.size() * 8; ++nBit)
        {
            Bytes damaged = golden.bytes;
            damaged[nBit / 8] ^= static_cast<uint8_t>(0x80 >> (nBit % 8));
            SRioPacket p;
            const EDecodeResult eResult = nvsim::DecodePacket(damaged, golden.uchAddressBits, &p);
            if (nBit < 6)
                EXPECT_EQ(EDecodeResult::Ok, eResult) << golden.strName << " ackID bit " << nBit;
            else
                EXPECT_NE(EDecodeResult::Ok, eResult) << golden.strName << " bit " << nBit;
        }
    }
}

TEST(PacketDecoderTest, RefusesWhatIsNoPacketWithAReason)
{
    SRioPacket p;
    p.uchFType = nvsim::ftype::kRequest;
    p.uchTrans = nvsim::ttype::kNread;
    p.uchSize = 11;
    const Bytes nread = nvsim::EncodePacket(p);
    ASSERT_EQ(12u, nread.size());
    SRioPacket out;
    std::string strError;
    EXPECT_EQ(EDecodeResult::Short, nvsim::DecodePacket(nread.data(), 8, 34, &out, &strError));
    EXPECT_NE(std::string::npos, strError.find("8 bytes")) << strError;
    EXPECT_EQ(EDecodeResult::Short, nvsim::DecodePacket(nread.data(), 1, 34, &out, &strError));
    EXPECT_EQ(EDecodeResult::Short, nvsim::DecodePacket(nread.data(), 10, 34, &out, &strError));
    EXPECT_NE(std::string::npos, strError.find("32-bit")) << strError;

    // An NREAD has no payload: eight more bytes are no NREAD.
    Bytes longer = nread;
    longer.insert(longer.begin() + 10, 8, 0x55);
    EXPECT_EQ(EDecodeResult::UnexpectedData, nvsim::DecodePacket(longer, 34, &out, &strError));
    EXPECT_NE(std::string::npos, strError.find("no payload")) << strError;

    Bytes unknown = nread;
    unknown[1] = (unknown[1] & 0xF0) | 0x3;
    EXPECT_EQ(EDecodeResult::UnknownFType, nvsim::DecodePacket(unknown, 34, &out, &strError));
    EXPECT_NE(std::string::npos, strError.find("ftype 3")) << strError;
    Bytes reservedTt = nread;
    reservedTt[1] |= 0x20;
    EXPECT_EQ(EDecodeResult::UnknownFType, nvsim::DecodePacket(reservedTt, 34, &out, &strError));

    // A bad early CRC is told apart from a bad final CRC, and the fields are still there.
    SRioPacket write;
    write.uchFType = nvsim::ftype::kStreamWrite;
    write.ulDestId = 0x42;
    write.data.assign(128, 0xA5);
    Bytes bytes = nvsim::EncodePacket(write);
    bytes[80] ^= 1;
    const uint16_t wCrc = nvsim::PacketCrc(bytes.data(), bytes.size() - 2);
    bytes[bytes.size() - 2] = static_cast<uint8_t>(wCrc >> 8);
    bytes[bytes.size() - 1] = static_cast<uint8_t>(wCrc);
    EXPECT_EQ(EDecodeResult::BadEarlyCrc, nvsim::DecodePacket(bytes, 34, &out, &strError));
    EXPECT_NE(std::string::npos, strError.find("early CRC")) << strError;
    EXPECT_EQ(0x42u, out.ulDestId);
    EXPECT_EQ(write.data, out.data);
}

TEST(PacketEncoderTest, RefusesFieldsThatDoNotFit)
{
    SRioPacket p;
    p.uchFType = nvsim::ftype::kDoorbell;
    std::string strError;
    p.ulDestId = 0x100; // 8-bit IDs
    EXPECT_TRUE(nvsim::EncodePacket(p, &strError).empty());
    EXPECT_NE(std::string::npos, strError.find("destination ID 0x100")) << strError;
    p.uchTt = 1;
    EXPECT_FALSE(nvsim::EncodePacket(p, &strError).empty());

    p.uchAckId = 64;
    EXPECT_TRUE(nvsim::EncodePacket(p, &strError).empty());
    EXPECT_NE(std::string::npos, strError.find("ackID")) << strError;

    SRioPacket write;
    write.uchFType = nvsim::ftype::kWrite;
    write.data.assign(264, 0);
    EXPECT_TRUE(nvsim::EncodePacket(write, &strError).empty());
    EXPECT_NE(std::string::npos, strError.find("264 bytes")) << strError;
    write.data.resize(256);
    write.SetAddress(uint64_t{1} << 40); // beyond 34 bits
    EXPECT_TRUE(nvsim::EncodePacket(write, &strError).empty());
    EXPECT_NE(std::string::npos, strError.find("extended address")) << strError;
    write.uchAddressBits = 50;
    EXPECT_FALSE(nvsim::EncodePacket(write, &strError).empty()) << strError;
    EXPECT_EQ(uint64_t{1} << 40, write.Address());

    SRioPacket unknown;
    unknown.uchFType = 7;
    EXPECT_TRUE(nvsim::EncodePacket(unknown, &strError).empty());
    EXPECT_NE(std::string::npos, strError.find("ftype 7")) << strError;
}

TEST(PacketSizesTest, ReadAndWriteSizesFollowTheStandardTables)
{
    uint8_t uchFirst = 0;
    EXPECT_EQ(1u, nvsim::TransferBytes(3, true, &uchFirst));
    EXPECT_EQ(7, uchFirst);
    EXPECT_EQ(3u, nvsim::TransferBytes(5, true, &uchFirst));
    EXPECT_EQ(5, uchFirst);
    EXPECT_EQ(5u, nvsim::TransferBytes(7, true, &uchFirst));
    EXPECT_EQ(3, uchFirst);
    EXPECT_EQ(16u, nvsim::TransferBytes(11, true));
    EXPECT_EQ(224u, nvsim::TransferBytes(15, false));
    EXPECT_EQ(256u, nvsim::TransferBytes(15, true));

    uint8_t uchSize = 0;
    bool bWdptr = false;
    // A word in the upper half of a double-word.
    ASSERT_TRUE(nvsim::SizeFor(0x1004, 4, false, &uchSize, &bWdptr));
    EXPECT_EQ(8, uchSize);
    EXPECT_TRUE(bWdptr);
    // Two bytes at lanes 6 and 7.
    ASSERT_TRUE(nvsim::SizeFor(0x1006, 2, true, &uchSize, &bWdptr));
    EXPECT_EQ(6, uchSize);
    EXPECT_TRUE(bWdptr);
    // 96 bytes: a read size, but a write has to use 128.
    ASSERT_TRUE(nvsim::SizeFor(0x2000, 96, false, &uchSize, &bWdptr));
    EXPECT_EQ(96u, nvsim::TransferBytes(uchSize, bWdptr));
    ASSERT_TRUE(nvsim::SizeFor(0x2000, 96, true, &uchSize, &bWdptr));
    EXPECT_EQ(128u, nvsim::TransferBytes(uchSize, bWdptr));
    // Three bytes at lanes 1..3 are no size of their own: the whole double-word.
    ASSERT_TRUE(nvsim::SizeFor(0x3001, 3, true, &uchSize, &bWdptr));
    EXPECT_EQ(8u, nvsim::TransferBytes(uchSize, bWdptr));
    EXPECT_FALSE(nvsim::SizeFor(0x4004, 256, false, &uchSize, &bWdptr));

    EXPECT_EQ(9, nvsim::MessageSizeFor(1));
    EXPECT_EQ(12, nvsim::MessageSizeFor(33));
    EXPECT_EQ(14, nvsim::MessageSizeFor(256));
    EXPECT_EQ(128u, nvsim::MessageSegmentBytes(13));
    EXPECT_EQ(0u, nvsim::MessageSegmentBytes(15));
}

TEST(PacketTextTest, ListFormGroupsFourBytes)
{
    const Bytes bytes = {0x00, 0xA2, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77};
    EXPECT_EQ("00A20011 22334455 6677", nvsim::PacketText(bytes));
    Bytes back;
    ASSERT_TRUE(nvsim::ParsePacketText("00A20011 22334455 6677", &back));
    EXPECT_EQ(bytes, back);
    EXPECT_FALSE(nvsim::ParsePacketText("00A2001", &back));
    EXPECT_FALSE(nvsim::ParsePacketText("0 0A2", &back));
    EXPECT_FALSE(nvsim::ParsePacketText("00G2", &back));
}
} // namespace

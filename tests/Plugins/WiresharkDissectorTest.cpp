// The Wireshark dissector of Plugins/wireshark/rapidio.lua, run by tshark on a capture of packets
// built here from the RapidIO standard's formats: every field it shows, both CRC checks and the
// Info line. tshark may refuse Lua scripts to root; then the capture is read again as an
// unprivileged user, and the same checks must hold.
#include "SimProcess.h"
#include "TestSupport.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QStringList>
#include <QTemporaryDir>

#include <cstdint>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

namespace
{
using Bytes = std::vector<uint8_t>;

// CRC-16 of the LP-Serial physical layer: polynomial 0x1021, start 0xFFFF, most significant bit
// first, the six ackID bits of the first byte counted as zeros. Bit by bit, unlike the dissector.
uint16_t RioCrc(const Bytes& bytes, size_t length)
{
    uint16_t crc = 0xFFFF;
    for (size_t i = 0; i < length; ++i)
    {
        const uint8_t byte = i == 0 ? static_cast<uint8_t>(bytes[i] & 0x03) : bytes[i];
        crc ^= static_cast<uint16_t>(byte << 8);
        for (int bit = 0; bit < 8; ++bit)
            crc =
                (crc & 0x8000) ? static_cast<uint16_t>((crc << 1) ^ 0x1021) : static_cast<uint16_t>(crc << 1);
    }
    return crc;
}

// A packet under construction: the physical and transport header first, then the logical
// fields, then Finish() adds what the physical layer adds.
struct SPacket
{
    Bytes bytes;

    SPacket(int iAckID, int iPrio, int iTT, int iFType, uint32_t ulDest, uint32_t ulSource)
    {
        bytes.push_back(static_cast<uint8_t>(iAckID << 2)); // VC and CRF 0
        bytes.push_back(static_cast<uint8_t>(iPrio << 6 | iTT << 4 | iFType));
        Id(ulDest, iTT);
        Id(ulSource, iTT);
    }
    void Id(uint32_t ulId, int iTT)
    {
        if (iTT == 1)
            bytes.push_back(static_cast<uint8_t>(ulId >> 8));
        bytes.push_back(static_cast<uint8_t>(ulId));
    }
    SPacket& Add(std::initializer_list<int> values)
    {
        for (int v : values)
            bytes.push_back(static_cast<uint8_t>(v));
        return *this;
    }
    SPacket& Data(size_t count, uint8_t first)
    {
        for (size_t i = 0; i < count; ++i)
            bytes.push_back(static_cast<uint8_t>(first + i));
        return *this;
    }
    // More than 80 bytes ahead of the final CRC: an early CRC over the first 80 goes in after them.
    // Then the final CRC over everything before it, and a zero pad up to a multiple of 32 bits.
    Bytes Finish()
    {
        if (bytes.size() > 80)
        {
            const uint16_t early = RioCrc(bytes, 80);
            bytes.insert(bytes.begin() + 80, {static_cast<uint8_t>(early >> 8), static_cast<uint8_t>(early)});
        }
        const uint16_t crc = RioCrc(bytes, bytes.size());
        bytes.push_back(static_cast<uint8_t>(crc >> 8));
        bytes.push_back(static_cast<uint8_t>(crc));
        if (bytes.size() % 4 != 0)
            bytes.insert(bytes.end(), {0, 0});
        return bytes;
    }
};

void Put32(Bytes& out, uint32_t ul)
{
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<uint8_t>(ul >> (8 * i)));
}

// A classic little-endian pcap file of link-layer type 147, one record per packet.
Bytes Pcap(const std::vector<Bytes>& packets)
{
    Bytes out = {0xD4, 0xC3, 0xB2, 0xA1, 2, 0, 4, 0};
    Put32(out, 0);     // time zone
    Put32(out, 0);     // accuracy
    Put32(out, 65535); // snaplen
    Put32(out, 147);   // LINKTYPE_USER0
    uint32_t ulSecond = 1700000000;
    for (const Bytes& packet : packets)
    {
        Put32(out, ulSecond++);
        Put32(out, 0);
        Put32(out, static_cast<uint32_t>(packet.size()));
        Put32(out, static_cast<uint32_t>(packet.size()));
        out.insert(out.end(), packet.begin(), packet.end());
    }
    return out;
}

std::string Hex(const Bytes& bytes, size_t first, size_t count)
{
    std::string text;
    char buffer[3];
    for (size_t i = first; i < first + count; ++i)
    {
        std::snprintf(buffer, sizeof buffer, "%02x", bytes[i]);
        text += buffer;
    }
    return text;
}

const char* const kFields[] = {
    "rio.ackid",
    "rio.vc",
    "rio.crf",
    "rio.prio",
    "rio.tt",
    "rio.ftype",
    "rio.destid",
    "rio.srcid",
    "rio.ttype",
    "rio.size",
    "rio.status",
    "rio.srctid",
    "rio.targettid",
    "rio.hopcount",
    "rio.config_offset",
    "rio.wdptr",
    "rio.address",
    "rio.ext_address",
    "rio.xamsbs",
    "rio.full_address",
    "rio.info",
    "rio.msglen",
    "rio.letter",
    "rio.mbox",
    "rio.msgseg",
    "rio.data",
    "rio.data_length",
    "rio.early_crc",
    "rio.early_crc.status",
    "rio.crc",
    "rio.crc.status",
    "rio.pad",
    "_ws.col.Info",
    "_ws.expert.message",
};

class WiresharkDissectorTest : public testing::Test
{
protected:
    void SetUp() override
    {
        m_strTshark = QStandardPaths::findExecutable("tshark");
        if (m_strTshark.isEmpty())
            GTEST_SKIP() << "tshark is not installed (scripts/setup-deps.sh installs it)";
        // A folder any user may read, for the script, the captures and an unprivileged home: outside
        // the test process's own temporary folder, which only its owner may enter.
        ASSERT_TRUE(m_dir.isValid());
        QFile::setPermissions(m_dir.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                QFileDevice::ExeOwner | QFileDevice::ReadOther |
                                                QFileDevice::ExeOther | QFileDevice::WriteOther |
                                                QFileDevice::ReadGroup | QFileDevice::ExeGroup);
        m_strScript = m_dir.filePath("rapidio.lua");
        ASSERT_TRUE(QFile::copy(
            QString::fromStdString(nvtest::SourceDir() + "/Plugins/wireshark/rapidio.lua"), m_strScript));
        QFile::setPermissions(m_strScript,
                              QFileDevice::ReadOwner | QFileDevice::ReadOther | QFileDevice::ReadGroup);
    }

    QString WriteCapture(const std::vector<Bytes>& packets)
    {
        const QString strPath = m_dir.filePath(QString("capture%1.pcap").arg(m_iCaptures++));
        const Bytes bytes = Pcap(packets);
        QFile file(strPath);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<qint64>(bytes.size()));
        file.close();
        QFile::setPermissions(strPath, QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                           QFileDevice::ReadOther | QFileDevice::ReadGroup);
        return strPath;
    }

    // Runs tshark with the script, as this user or (bAsNobody) as the unprivileged user nobody.
    QString Tshark(const QStringList& arguments, bool bAsNobody, QString* pstrError = nullptr)
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("HOME", m_dir.path());
        environment.remove("XDG_CONFIG_HOME");
        process.setProcessEnvironment(environment);
        // -G has to come first; everything else may follow it.
        QStringList all = arguments;
        all += QStringList{"-X", "lua_script:" + m_strScript};
        if (bAsNobody)
        {
            all.prepend(m_strTshark);
            all = QStringList{"--reuid=nobody", "--regid=nogroup", "--clear-groups", "--"} + all;
            process.start("setpriv", all);
        }
        else
            process.start(m_strTshark, all);
        process.setWorkingDirectory(m_dir.path());
        EXPECT_TRUE(process.waitForFinished(120000));
        if (pstrError)
            *pstrError = QString::fromLocal8Bit(process.readAllStandardError());
        return QString::fromLocal8Bit(process.readAllStandardOutput());
    }

    // Whether tshark run thus has taken the script in (its fields are known).
    bool ScriptLoaded(bool bAsNobody)
    {
        return Tshark({"-G", "fields"}, bAsNobody).contains("\trio.crc.status\t");
    }

    // One map of field name to text per packet, as tshark's field output gives them.
    std::vector<std::map<std::string, std::string>> Decode(const QString& strCapture, bool bAsNobody,
                                                           const QStringList& preferences = {})
    {
        QStringList arguments = {"-r",          strCapture, "-T",           "fields", "-E",
                                 "separator=|", "-E",       "occurrence=a", "-E",     "aggregator=,"};
        for (const QString& strPreference : preferences)
            arguments += QStringList{"-o", strPreference};
        for (const char* pszField : kFields)
            arguments += QStringList{"-e", pszField};
        QString strError;
        const QString strOut = Tshark(arguments, bAsNobody, &strError);
        std::vector<std::map<std::string, std::string>> packets;
        for (const QString& strLine : strOut.split('\n', Qt::SkipEmptyParts))
        {
            const QStringList values = strLine.split('|');
            EXPECT_EQ(static_cast<qsizetype>(std::size(kFields)), values.size()) << strLine.toStdString();
            std::map<std::string, std::string> fields;
            for (qsizetype i = 0; i < values.size() && i < static_cast<qsizetype>(std::size(kFields)); ++i)
                fields[kFields[i]] = values[i].toStdString();
            packets.push_back(fields);
        }
        EXPECT_FALSE(packets.empty()) << strError.toStdString();
        return packets;
    }

    // Root may be refused Lua scripts by tshark: then the unprivileged user reads the capture.
    bool NeedsNobody()
    {
        if (ScriptLoaded(false))
            return false;
        EXPECT_EQ(0u, geteuid()) << "tshark refused the script to an ordinary user";
        return true;
    }

    QString m_strTshark;
    QTemporaryDir m_dir{"/tmp/nv-wireshark-XXXXXX"};
    QString m_strScript;
    int m_iCaptures = 0;
};

// The packets of the capture, each built from the standard's field layout.
struct SCapture
{
    Bytes maintRead, maintResponse16, longWrite, doorbellBadCrc, nread, swrite, message, response, badEarly,
        swrite80;
    std::vector<Bytes> All() const
    {
        return {maintRead, maintResponse16, longWrite, doorbellBadCrc, nread,
                swrite,    message,         response,  badEarly,       swrite80};
    }
};

SCapture BuildCapture()
{
    SCapture capture;
    // Maintenance read request (ftype 8, ttype 0, rdsize 8 = 4 bytes), 8-bit IDs, register 0x60 by hop 1.
    capture.maintRead = SPacket(5, 1, 0, 8, 0x34, 0x12).Add({0x08, 0x2A, 0x01, 0x00, 0x00, 0x60}).Finish();
    // Maintenance read response, 16-bit IDs, status DONE, a double-word of data.
    capture.maintResponse16 =
        SPacket(63, 2, 1, 8, 0x1234, 0xABCD).Add({0x20, 0x2A, 0xFF, 0x00, 0x00, 0x00}).Data(8, 0x11).Finish();
    // NWRITE of 256 bytes (wrsize 15, wdptr 1) to 34-bit address 0x2_1234_5678: early CRC at byte 80.
    capture.longWrite =
        SPacket(1, 0, 0, 5, 0x02, 0x01).Add({0x4F, 0x77, 0x12, 0x34, 0x56, 0x7E}).Data(256, 0).Finish();
    // A doorbell whose final CRC is wrong.
    capture.doorbellBadCrc = SPacket(2, 1, 0, 10, 0x05, 0x01).Add({0x00, 0x07, 0xBE, 0xEF}).Finish();
    capture.doorbellBadCrc[capture.doorbellBadCrc.size() - 3] ^= 0x01; // CRC's low byte, ahead of the pad
    // NREAD of 8 bytes (rdsize 11, wdptr 0) from 34-bit address 0x0_0000_1000.
    capture.nread = SPacket(3, 0, 0, 2, 0x40, 0x01).Add({0x4B, 0x09, 0x00, 0x00, 0x10, 0x00}).Finish();
    // SWRITE of 16 bytes to 34-bit address 0x1_0000_0020 (rsvd bit, xamsbs 1).
    capture.swrite = SPacket(4, 0, 0, 6, 0x40, 0x01).Add({0x00, 0x00, 0x00, 0x21}).Data(16, 0xA0).Finish();
    // Message of one segment (msglen 0, ssize 9 = 8 bytes) to letter 1, mailbox 2.
    capture.message = SPacket(6, 0, 0, 11, 0x40, 0x01).Add({0x09, 0x60}).Data(8, 0x30).Finish();
    // Response WITH data (ttype 8), status DONE, target TID 0x2A.
    capture.response = SPacket(7, 1, 0, 13, 0x01, 0x40).Add({0x80, 0x2A}).Data(8, 0x50).Finish();
    // A long NWRITE whose early CRC is wrong while its final CRC is right over what was sent.
    SPacket bad(8, 0, 1, 5, 0x0102, 0x0304);
    bad.Add({0x4D, 0x01, 0x00, 0x00, 0x20, 0x04}).Data(128, 0x80);
    capture.badEarly = bad.Finish();
    capture.badEarly[81] ^= 0x80;
    const uint16_t crc = RioCrc(capture.badEarly, capture.badEarly.size() - 2);
    capture.badEarly[capture.badEarly.size() - 2] = static_cast<uint8_t>(crc >> 8);
    capture.badEarly[capture.badEarly.size() - 1] = static_cast<uint8_t>(crc);
    // SWRITE of 72 bytes: exactly 80 bytes ahead of the final CRC, so no early CRC, then a pad.
    capture.swrite80 = SPacket(9, 0, 0, 6, 0x40, 0x01).Add({0x00, 0x00, 0x01, 0x00}).Data(72, 0x00).Finish();
    return capture;
}

// The fields of every packet of the capture, as this user (or, refused, as nobody) decodes them.
void ExpectCaptureFields(const std::vector<std::map<std::string, std::string>>& decoded,
                         const SCapture& capture)
{
    ASSERT_EQ(10u, decoded.size());
    // Maintenance read request.
    auto packet = decoded[0];
    EXPECT_EQ("5", packet["rio.ackid"]);
    EXPECT_EQ("1", packet["rio.prio"]);
    EXPECT_EQ("0", packet["rio.tt"]);
    EXPECT_EQ("8", packet["rio.ftype"]);
    EXPECT_EQ("0x0034", packet["rio.destid"]);
    EXPECT_EQ("0x0012", packet["rio.srcid"]);
    EXPECT_EQ("0", packet["rio.ttype"]);
    EXPECT_EQ("8", packet["rio.size"]);
    EXPECT_EQ("0x2a", packet["rio.srctid"]);
    EXPECT_EQ("1", packet["rio.hopcount"]);
    EXPECT_EQ("0x00000060", packet["rio.config_offset"]);
    EXPECT_EQ("0", packet["rio.wdptr"]);
    EXPECT_EQ("", packet["rio.data"]);
    EXPECT_EQ("", packet["rio.pad"]) << "12 bytes need no pad";
    EXPECT_EQ("1", packet["rio.crc.status"]);
    EXPECT_EQ("Maint Read Request 0x12 -> 0x34 hop 1 offset 0x60", packet["_ws.col.Info"]);

    // Maintenance read response with 16-bit IDs.
    packet = decoded[1];
    EXPECT_EQ("63", packet["rio.ackid"]);
    EXPECT_EQ("2", packet["rio.prio"]);
    EXPECT_EQ("1", packet["rio.tt"]);
    EXPECT_EQ("0x1234", packet["rio.destid"]);
    EXPECT_EQ("0xabcd", packet["rio.srcid"]);
    EXPECT_EQ("2", packet["rio.ttype"]);
    EXPECT_EQ("0", packet["rio.status"]);
    EXPECT_EQ("0x2a", packet["rio.targettid"]);
    EXPECT_EQ("255", packet["rio.hopcount"]);
    EXPECT_EQ("1112131415161718", packet["rio.data"]);
    EXPECT_EQ("0x0000", packet["rio.pad"]);
    EXPECT_EQ("1", packet["rio.crc.status"]);
    EXPECT_EQ(Hex(capture.maintResponse16, 20, 2), packet["rio.crc"].substr(2));
    EXPECT_EQ("Maint Read Response 0xabcd -> 0x1234 hop 255 tid 0x2a status DONE len 8",
              packet["_ws.col.Info"]);

    // The long NWRITE: data up to byte 80, the early CRC, the rest of the data, the final CRC.
    packet = decoded[2];
    EXPECT_EQ("5", packet["rio.ftype"]);
    EXPECT_EQ("4", packet["rio.ttype"]);
    EXPECT_EQ("15", packet["rio.size"]);
    EXPECT_EQ("1", packet["rio.wdptr"]);
    EXPECT_EQ("0x77", packet["rio.srctid"]);
    EXPECT_EQ("0x12345678", packet["rio.address"]);
    EXPECT_EQ("2", packet["rio.xamsbs"]);
    EXPECT_EQ("0x212345678", packet["rio.full_address"]);
    EXPECT_EQ("256", packet["rio.data_length"]);
    EXPECT_EQ(Hex(capture.longWrite, 10, 70) + "," + Hex(capture.longWrite, 82, 186), packet["rio.data"]);
    EXPECT_EQ("0x" + Hex(capture.longWrite, 80, 2), packet["rio.early_crc"]);
    EXPECT_EQ("1", packet["rio.early_crc.status"]);
    EXPECT_EQ("0x" + Hex(capture.longWrite, 268, 2), packet["rio.crc"]);
    EXPECT_EQ("1", packet["rio.crc.status"]);
    EXPECT_EQ("0x0000", packet["rio.pad"]);
    EXPECT_EQ(272u, capture.longWrite.size());
    EXPECT_EQ("NWRITE 0x01 -> 0x02 tid 0x77 addr 0x212345678 size 256 len 256", packet["_ws.col.Info"]);

    // The doorbell with the wrong CRC: bad, with an expert note saying what it should be.
    packet = decoded[3];
    EXPECT_EQ("10", packet["rio.ftype"]);
    EXPECT_EQ("0x07", packet["rio.srctid"]);
    EXPECT_EQ("0xbeef", packet["rio.info"]);
    EXPECT_EQ("0", packet["rio.crc.status"]);
    const uint16_t right = RioCrc(capture.doorbellBadCrc, 8);
    char szExpert[80];
    std::snprintf(szExpert, sizeof szExpert, "Bad CRC 0x%04x (should be 0x%04x)", right ^ 0x0001, right);
    EXPECT_NE(std::string::npos, packet["_ws.expert.message"].find(szExpert)) << packet["_ws.expert.message"];
    EXPECT_EQ("Doorbell 0x01 -> 0x05 tid 0x07 info 0xbeef [BAD CRC]", packet["_ws.col.Info"]);

    // NREAD, SWRITE, message, response.
    packet = decoded[4];
    EXPECT_EQ("4", packet["rio.ttype"]);
    EXPECT_EQ("11", packet["rio.size"]);
    EXPECT_EQ("0x00001000", packet["rio.address"]);
    EXPECT_EQ("1", packet["rio.crc.status"]);
    EXPECT_EQ("NREAD 0x01 -> 0x40 tid 0x09 addr 0x000001000 size 8", packet["_ws.col.Info"]);
    packet = decoded[5];
    EXPECT_EQ("0x00000020", packet["rio.address"]);
    EXPECT_EQ("1", packet["rio.xamsbs"]);
    EXPECT_EQ("a0a1a2a3a4a5a6a7a8a9aaabacadaeaf", packet["rio.data"]);
    EXPECT_EQ("0x0000", packet["rio.pad"]);
    EXPECT_EQ("1", packet["rio.crc.status"]);
    packet = decoded[6];
    EXPECT_EQ("0", packet["rio.msglen"]);
    EXPECT_EQ("9", packet["rio.size"]);
    EXPECT_EQ("1", packet["rio.letter"]);
    EXPECT_EQ("2", packet["rio.mbox"]);
    EXPECT_EQ("0", packet["rio.msgseg"]);
    EXPECT_EQ("3031323334353637", packet["rio.data"]);
    EXPECT_EQ("1", packet["rio.crc.status"]);
    packet = decoded[7];
    EXPECT_EQ("13", packet["rio.ftype"]);
    EXPECT_EQ("8", packet["rio.ttype"]);
    EXPECT_EQ("0x2a", packet["rio.targettid"]);
    EXPECT_EQ("5051525354555657", packet["rio.data"]);
    EXPECT_EQ("Response WITH Data 0x40 -> 0x01 tid 0x2a status DONE len 8", packet["_ws.col.Info"]);

    // A bad early CRC is reported on its own; the final CRC over it is good.
    packet = decoded[8];
    EXPECT_EQ("0x0102", packet["rio.destid"]);
    EXPECT_EQ("0", packet["rio.early_crc.status"]);
    EXPECT_EQ("1", packet["rio.crc.status"]);
    EXPECT_NE(std::string::npos, packet["_ws.expert.message"].find("Bad early CRC"))
        << packet["_ws.expert.message"];
    EXPECT_NE(std::string::npos, packet["_ws.col.Info"].find("[BAD CRC]"));

    // 80 bytes ahead of the final CRC are not yet a long packet.
    packet = decoded[9];
    EXPECT_EQ(84u, capture.swrite80.size());
    EXPECT_EQ("", packet["rio.early_crc"]);
    EXPECT_EQ("72", packet["rio.data_length"]);
    EXPECT_EQ(Hex(capture.swrite80, 8, 72), packet["rio.data"]);
    EXPECT_EQ("0x" + Hex(capture.swrite80, 80, 2), packet["rio.crc"]);
    EXPECT_EQ("1", packet["rio.crc.status"]);
    EXPECT_EQ("0x0000", packet["rio.pad"]);
    EXPECT_EQ("SWRITE 0x01 -> 0x40 addr 0x000000100 len 72", packet["_ws.col.Info"]);
}
} // namespace

TEST_F(WiresharkDissectorTest, TheTestsCrcIsTheStandardCcittCrc)
{
    // CRC-16 with polynomial 0x1021 and start 0xFFFF over "123456789" is 0x29B1; the ackID masking
    // only touches the first byte ('1' = 0x31 keeps its low two bits, 0x01).
    const Bytes check = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    Bytes masked = check;
    masked[0] &= 0x03;
    Bytes plain = {0x01, '2', '3', '4', '5', '6', '7', '8', '9'};
    EXPECT_EQ(RioCrc(plain, plain.size()), RioCrc(check, check.size()));
    uint16_t crc = 0xFFFF;
    for (uint8_t byte : check)
    {
        crc ^= static_cast<uint16_t>(byte << 8);
        for (int bit = 0; bit < 8; ++bit)
            crc =
                (crc & 0x8000) ? static_cast<uint16_t>((crc << 1) ^ 0x1021) : static_cast<uint16_t>(crc << 1);
    }
    EXPECT_EQ(0x29B1, crc);
}

TEST_F(WiresharkDissectorTest, DecodesEveryClassWithBothCrcChecks)
{
    const SCapture capture = BuildCapture();
    const QString strCapture = WriteCapture(capture.All());
    const bool bAsNobody = NeedsNobody();
    ASSERT_TRUE(ScriptLoaded(bAsNobody)) << "tshark takes the script neither as this user nor as nobody";
    ExpectCaptureFields(Decode(strCapture, bAsNobody), capture);
}

TEST_F(WiresharkDissectorTest, AnUnprivilegedUserDecodesTheSameAsRoot)
{
    if (geteuid() != 0)
        GTEST_SKIP()
            << "runs as root only: it checks the fallback that root uses when tshark refuses it scripts";
    const SCapture capture = BuildCapture();
    const QString strCapture = WriteCapture(capture.All());
    ASSERT_TRUE(ScriptLoaded(true));
    ExpectCaptureFields(Decode(strCapture, true), capture);
}

TEST_F(WiresharkDissectorTest, TheAddressSizeComesFromThePreferenceOrFromTheCrc)
{
    // NREAD with a 50-bit address: extended address 0xBEEF, xamsbs 3, address 0x89ABCDE8, wdptr 0.
    const Bytes nread50 =
        SPacket(0, 0, 0, 2, 0x40, 0x01).Add({0x48, 0x11, 0xBE, 0xEF, 0x89, 0xAB, 0xCD, 0xEB}).Finish();
    // NWRITE of 8 bytes with a 66-bit address: extended 0x00000001, xamsbs 0, address 0x100.
    const Bytes nwrite66 = SPacket(0, 0, 0, 5, 0x40, 0x01)
                               .Add({0x4B, 0x12, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x01, 0x00})
                               .Data(8, 0xC0)
                               .Finish();
    const QString strCapture = WriteCapture({nread50, nwrite66});
    const bool bAsNobody = NeedsNobody();

    auto decoded = Decode(strCapture, bAsNobody, {"rio.address_bits:50"});
    ASSERT_EQ(2u, decoded.size());
    EXPECT_EQ("0x0000beef", decoded[0]["rio.ext_address"]);
    EXPECT_EQ("3", decoded[0]["rio.xamsbs"]);
    EXPECT_EQ("0x89abcde8", decoded[0]["rio.address"]);
    EXPECT_EQ("0x2fbbf89abcde8", decoded[0]["rio.full_address"]);
    EXPECT_EQ("1", decoded[0]["rio.crc.status"]);

    // Auto: each packet takes the size at which its CRC lies where it should.
    decoded = Decode(strCapture, bAsNobody, {"rio.address_bits:auto"});
    ASSERT_EQ(2u, decoded.size());
    EXPECT_EQ("0x89abcde8", decoded[0]["rio.address"]);
    EXPECT_EQ("0x00000001", decoded[1]["rio.ext_address"]);
    EXPECT_EQ("0x00000100", decoded[1]["rio.address"]);
    EXPECT_EQ("0x400000100", decoded[1]["rio.full_address"]);
    EXPECT_EQ("c0c1c2c3c4c5c6c7", decoded[1]["rio.data"]);
    EXPECT_EQ("1", decoded[1]["rio.crc.status"]);

    // The default, 34 bits, reads the 66-bit packet's extended address as address and data: the
    // CRC still checks (it doesn't depend on the layout), the address doesn't.
    decoded = Decode(strCapture, bAsNobody);
    ASSERT_EQ(2u, decoded.size());
    EXPECT_EQ("", decoded[1]["rio.ext_address"]);
    EXPECT_EQ("0x00000000", decoded[1]["rio.address"]);
}

namespace
{
// One packet of the golden table: its name, address size, fields and the bytes the standard gives.
struct SGolden
{
    std::string strName;
    int iAddressBits = 34;
    std::map<std::string, QString> fields; // caption in lower case -> value as written
    Bytes bytes;
};

std::vector<SGolden> ReadGoldenTable()
{
    std::vector<SGolden> table;
    for (const std::string& strLine :
         nvtest::Lines(nvtest::ReadFile(nvtest::SourceDir() + "/tests/data/golden-packets.txt")))
    {
        const QString strText = QString::fromStdString(strLine).trimmed();
        if (strText.isEmpty() || strText.startsWith('#'))
            continue;
        const QStringList parts = strText.split(';');
        EXPECT_GE(parts.size(), 4) << strLine;
        if (parts.size() < 4)
            continue;
        SGolden golden;
        golden.strName = parts[0].trimmed().toStdString();
        golden.iAddressBits = parts[1].trimmed().toInt();
        for (const QString& strField : parts[2].split(' ', Qt::SkipEmptyParts))
            golden.fields[strField.section('=', 0, 0).toLower().toStdString()] = strField.section('=', 1);
        const QString strHex = parts[3].simplified().remove(' ');
        for (qsizetype i = 0; i + 1 < strHex.size(); i += 2)
            golden.bytes.push_back(static_cast<uint8_t>(strHex.mid(i, 2).toUInt(nullptr, 16)));
        table.push_back(golden);
    }
    return table;
}

uint32_t Number(const QString& strValue)
{
    bool bOk = false;
    const uint32_t ulValue = strValue.startsWith("0x", Qt::CaseInsensitive) ? strValue.mid(2).toUInt(&bOk, 16)
                                                                            : strValue.toUInt(&bOk, 10);
    EXPECT_TRUE(bOk) << strValue.toStdString();
    return ulValue;
}

std::string Format(const char* pszFormat, uint32_t ulValue)
{
    char szText[32];
    std::snprintf(szText, sizeof szText, pszFormat, ulValue);
    return szText;
}

// What the dissector must show for one field of the table, or nothing when the packet's class
// doesn't carry the field on the wire (the table lists Size for responses, for the field model).
std::pair<std::string, std::string> Expected(const std::string& strField, const QString& strValue,
                                             const SGolden& golden)
{
    const uint32_t ulFType = Number(golden.fields.at("ftype"));
    const uint32_t ulTrans = golden.fields.count("trans") ? Number(golden.fields.at("trans")) : 0;
    if (strField == "data")
        return {"rio.data", strValue.toLower().toStdString()};
    const uint32_t v = Number(strValue);
    static const std::map<std::string, std::pair<const char*, const char*>> kPlain = {
        {"ackid", {"rio.ackid", "%u"}},
        {"vc", {"rio.vc", "%u"}},
        {"crf", {"rio.crf", "%u"}},
        {"priority", {"rio.prio", "%u"}},
        {"tt", {"rio.tt", "%u"}},
        {"ftype", {"rio.ftype", "%u"}},
        {"destid", {"rio.destid", "0x%04x"}},
        {"sourceid", {"rio.srcid", "0x%04x"}},
        {"trans", {"rio.ttype", "%u"}},
        {"status", {"rio.status", "%u"}},
        {"sourcetid", {"rio.srctid", "0x%02x"}},
        {"targettid", {"rio.targettid", "0x%02x"}},
        {"hopcount", {"rio.hopcount", "%u"}},
        {"wdptr", {"rio.wdptr", "%u"}},
        {"extaddr", {"rio.ext_address", "0x%08x"}},
        {"extaddmsbs", {"rio.xamsbs", "%u"}},
        {"info", {"rio.info", "0x%04x"}},
        {"msglen", {"rio.msglen", "%u"}},
        {"letter", {"rio.letter", "%u"}},
        {"mailbox", {"rio.mbox", "%u"}},
        {"msgseg", {"rio.msgseg", "%u"}},
        {"datasize", {"rio.data_length", "%u"}},
    };
    if (strField == "size")
    {
        if (ulFType == 13 || (ulFType == 8 && (ulTrans == 2 || ulTrans == 3)))
            return {};
        return {"rio.size", Format("%u", v)};
    }
    if (strField == "addr")
        return {"rio.address", Format("0x%08x", v << 3)};
    if (strField == "configoffset")
        return {"rio.config_offset", Format("0x%08x", v << 3)};
    const auto found = kPlain.find(strField);
    EXPECT_NE(kPlain.end(), found) << golden.strName << ": a field the test doesn't know: " << strField;
    if (found == kPlain.end())
        return {};
    return {found->second.first, Format(found->second.second, v)};
}
} // namespace

// The golden table of the simulator's and the field model's encoders, read by the dissector: every
// field as the table gives it, both CRCs good, the early CRC exactly where the packet is long.
TEST_F(WiresharkDissectorTest, DecodesEveryGoldenPacketAsTheTableGivesIt)
{
    const std::vector<SGolden> table = ReadGoldenTable();
    ASSERT_GE(table.size(), 30u);
    const bool bAsNobody = NeedsNobody();
    int iCompared = 0;
    for (int iBits : {34, 50, 66})
    {
        std::vector<const SGolden*> packets;
        std::vector<Bytes> capture;
        for (const SGolden& golden : table)
            if (golden.iAddressBits == iBits)
            {
                packets.push_back(&golden);
                capture.push_back(golden.bytes);
            }
        if (packets.empty())
            continue;
        auto decoded = Decode(WriteCapture(capture), bAsNobody, {QString("rio.address_bits:%1").arg(iBits)});
        ASSERT_EQ(packets.size(), decoded.size());
        for (size_t i = 0; i < packets.size(); ++i)
        {
            const SGolden& golden = *packets[i];
            auto& shown = decoded[i];
            SCOPED_TRACE(golden.strName);
            EXPECT_EQ("1", shown["rio.crc.status"]);
            EXPECT_EQ(golden.bytes.size() > 84 ? "1" : "", shown["rio.early_crc.status"]);
            shown["rio.data"] = QString::fromStdString(shown["rio.data"]).remove(',').toStdString();
            for (const auto& [strField, strValue] : golden.fields)
            {
                const auto [strShown, strExpected] = Expected(strField, strValue, golden);
                if (!strShown.empty())
                {
                    EXPECT_EQ(strExpected, shown[strShown]) << strField << "=" << strValue.toStdString();
                    ++iCompared;
                }
            }
        }
    }
    // Every field of every packet but the response sizes was looked at.
    EXPECT_GT(iCompared, 10 * static_cast<int>(table.size()));
}

// What norvanta-sim --pcap writes while norvanta-cli discovers its demo fabric: every packet a
// maintenance packet with a good CRC, requests and their responses in the Info column's form.
TEST_F(WiresharkDissectorTest, TheSimulatorsCaptureOfADiscoveryDecodesWithGoodCrcs)
{
    const QString strCapture = m_dir.filePath("discovery.pcap");
    nvtest::CSimProcess sim("demo.topo", {"--no-udp", "--no-broadcast", "--pcap", strCapture.toStdString()});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const nvtest::SRunResult result = nvtest::RunProgram(
        nvtest::BuiltProgram("Cli/norvanta-cli"),
        {"--server", "127.0.0.1", "--wait-ms", "1500", "--port", std::to_string(sim.TcpPort()), "discover",
         "--enumerate", "--save", m_dir.filePath("demo.nvm").toStdString()});
    ASSERT_EQ(0, result.nExitCode) << result.strOut << result.strErr;
    ASSERT_EQ(0, sim.Stop()) << sim.ErrorOutput();
    QFile::setPermissions(strCapture, QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                          QFileDevice::ReadOther | QFileDevice::ReadGroup);

    const auto decoded = Decode(strCapture, NeedsNobody());
    ASSERT_GT(decoded.size(), 20u);
    const QRegularExpression request(
        "^Maint (Read|Write) Request 0x[0-9a-f]{2,4} -> 0x[0-9a-f]{2,4} hop \\d+ "
        "offset 0x[0-9a-f]+( len (4|8))?$");
    const QRegularExpression response(
        "^Maint (Read|Write) Response 0x[0-9a-f]{2,4} -> 0x[0-9a-f]{2,4} hop \\d+ "
        "tid 0x[0-9a-f]{2} status DONE( len 8)?$");
    size_t nRequests = 0;
    size_t nResponses = 0;
    size_t nWrites = 0;
    for (auto packet : decoded)
    {
        SCOPED_TRACE(packet["_ws.col.Info"]);
        EXPECT_EQ("8", packet["rio.ftype"]);
        EXPECT_EQ("1", packet["rio.crc.status"]);
        EXPECT_EQ("", packet["_ws.expert.message"]);
        const QString strInfo = QString::fromStdString(packet["_ws.col.Info"]);
        if (request.match(strInfo).hasMatch())
        {
            ++nRequests;
            if (packet["rio.ttype"] == "1")
            {
                ++nWrites;
                EXPECT_FALSE(packet["rio.data"].empty());
            }
        }
        else
        {
            EXPECT_TRUE(response.match(strInfo).hasMatch());
            ++nResponses;
        }
    }
    // Enumeration writes IDs; every request the fabric answers has one response.
    EXPECT_GT(nWrites, 0u);
    EXPECT_GT(nResponses, 0u);
    EXPECT_LE(nResponses, nRequests);
}

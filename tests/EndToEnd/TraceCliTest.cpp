// norvanta-cli trace run against norvanta-sim (gen2tools.topo): a comparator on the CPS-1848's
// port 0, where the host's requests come in, matches the host's maintenance reads to the endpoint
// with ID 0x0F while reads to another ID pass unmatched. Traced, they are counted and copied to
// the trace port, whose capture the command saves as pcap (read back with the client's reader and
// field model, and with tshark and the Wireshark dissector when tshark is there); filtered, they
// are dropped and time out until the command has ended.
#include "PacketGenerator.h"
#include "PcapFile.h"
#include "RIOPacket.h"
#include "SimProcess.h"
#include "TestSupport.h"

#include <QProcess>
#include <QStandardPaths>
#include <QString>

#include <gtest/gtest.h>

#include <fstream>
#include <poll.h>
#include <unistd.h>

namespace
{
using nvtest::SRunResult;

std::string Temp(const std::string& strName)
{
    return nvtest::ProcessTempDir() + "/trace-" + strName;
}

// norvanta-cli running in the background, its standard output read as it comes.
class CRunningCli
{
public:
    explicit CRunningCli(const std::vector<std::string>& args)
    {
        const std::string strProgram = nvtest::BuiltProgram("Cli/norvanta-cli");
        m_args = args;
        std::vector<char*> argv = nvtest::ArgumentVector(strProgram, m_args);
        int fds[2];
        if (pipe(fds) != 0)
            return;
        m_pid = fork();
        if (m_pid == 0)
        {
            dup2(fds[1], STDOUT_FILENO);
            close(fds[0]);
            close(fds[1]);
            execv(strProgram.c_str(), argv.data());
            _exit(127);
        }
        close(fds[1]);
        m_fd = fds[0];
    }
    ~CRunningCli()
    {
        if (m_fd >= 0)
            close(m_fd);
        if (m_pid > 0 && !m_bWaited)
            nvtest::WaitForExit(m_pid);
    }
    CRunningCli(const CRunningCli&) = delete;
    CRunningCli& operator=(const CRunningCli&) = delete;

    // Reads until the output holds the text; false when the program ends or 20 s pass first.
    bool WaitFor(const std::string& strText)
    {
        while (m_strOut.find(strText) == std::string::npos)
        {
            if (!ReadSome())
                return false;
        }
        return true;
    }
    // Reads the rest and waits for the exit code.
    int Finish()
    {
        while (ReadSome())
        {
        }
        m_bWaited = true;
        return nvtest::WaitForExit(m_pid);
    }
    const std::string& Out() const { return m_strOut; }

private:
    bool ReadSome()
    {
        pollfd pfd = {m_fd, POLLIN, 0};
        if (m_fd < 0 || poll(&pfd, 1, 20000) <= 0)
            return false;
        char buffer[4096];
        const ssize_t n = read(m_fd, buffer, sizeof buffer);
        if (n <= 0)
            return false;
        m_strOut.append(buffer, static_cast<size_t>(n));
        return true;
    }

    std::vector<std::string> m_args;
    pid_t m_pid = -1;
    int m_fd = -1;
    bool m_bWaited = false;
    std::string m_strOut;
};

class TraceCliTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_sim.Ready()) << m_sim.ErrorOutput();
        const SRunResult result = Cli({"discover", "--no-layout", "--save", m_strMap});
        ASSERT_EQ(0, result.nExitCode) << result.strErr;
        // Comparator template: a maintenance read request (tt 0, ftype 8, transaction 0) to ID 0x0F.
        // The mask's second line makes the ID size, FType, destination ID and transaction count.
        std::ofstream(m_strComparator) << "Norvanta Packet File\nV1.0\n"
                                          "00080F01 08000000 00000000\n"
                                          "003FFF00 F0000000 00000000\n";
    }
    std::vector<std::string> Args(std::vector<std::string> args) const
    {
        std::vector<std::string> all = {"--server", "127.0.0.1", "--wait-ms",
                                        "1500",     "--port",    std::to_string(m_sim.TcpPort())};
        all.insert(all.end(), args.begin(), args.end());
        return all;
    }
    SRunResult Cli(std::vector<std::string> args) const
    {
        return nvtest::RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), Args(std::move(args)));
    }
    // A maintenance read of the Base Device ID CSR of the endpoint with this ID, behind the switch.
    SRunResult ReadEndpoint(const std::string& strID) const
    {
        return Cli({"read", "0x60", "--dest", strID, "--hop", "1"});
    }

    nvtest::CSimProcess m_sim{"gen2tools.topo", {"--no-udp", "--no-broadcast"}};
    std::string m_strMap = Temp("gen2tools.nvm");
    std::string m_strComparator = Temp("reads.npf");
};

// tshark's fields of every packet of a capture, decoded by the dissector; empty when tshark is not
// installed or refuses Lua scripts to this user.
std::vector<QStringList> TsharkFields(const QString& strCapture, const QStringList& fields)
{
    const QString strTshark = QStandardPaths::findExecutable(QStringLiteral("tshark"));
    if (strTshark.isEmpty())
        return {};
    const QString strScript = QString::fromStdString(nvtest::SourceDir() + "/Plugins/wireshark/rapidio.lua");
    QStringList arguments = {"-r", strCapture, "-X", "lua_script:" + strScript,
                             "-T", "fields",   "-E", "separator=|"};
    for (const QString& strField : fields)
        arguments += QStringList{"-e", strField};
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), QString::fromStdString(nvtest::ProcessTempDir()));
    process.setProcessEnvironment(environment);
    process.start(strTshark, arguments);
    if (!process.waitForFinished(120000))
        return {};
    std::vector<QStringList> packets;
    for (const QString& strLine :
         QString::fromLocal8Bit(process.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts))
        packets.push_back(strLine.split('|'));
    return packets;
}

TEST_F(TraceCliTest, TracedReadsAreCountedCopiedToTheTracePortAndSavedAsPcap)
{
    const std::string strPcap = Temp("traced.pcap");
    // Trace port 4 (to the second switch): its capture takes the copies for the file.
    CRunningCli trace(Args({"trace", "run", m_strMap, "2", "--comparator", "1=" + m_strComparator, "--ports",
                            "0", "--seconds", "4", "--trace-port", "4", "--pcap", strPcap}));
    ASSERT_TRUE(trace.WaitFor("Second 1: ")) << trace.Out();
    for (int i = 0; i < 5; ++i)
    {
        EXPECT_EQ(0, ReadEndpoint("0x0F").nExitCode);
        if (i < 3)
        {
            EXPECT_EQ(0, ReadEndpoint("0x0A").nExitCode) << "another ID, not matched";
        }
    }
    ASSERT_EQ(0, trace.Finish()) << trace.Out();
    const std::vector<std::string> lines = nvtest::Lines(trace.Out());
    ASSERT_EQ(6u, lines.size()) << trace.Out();
    EXPECT_EQ("Trace/Filter on node 2, comparator 1, trace on port 0, trace port 4", lines[0]);
    EXPECT_EQ("Second 4: Port 0 Trace 1=5", lines[4]);
    EXPECT_EQ("Captured 5 packets to " + strPcap, lines[5]);

    std::vector<SPcapRecord> records;
    uint32_t ulLinkType = 0;
    QString strError;
    ASSERT_TRUE(ReadPcapFile(QString::fromStdString(strPcap), &records, &ulLinkType, &strError))
        << strError.toStdString();
    EXPECT_EQ(147u, ulLinkType);
    ASSERT_EQ(5u, records.size());
    for (const SPcapRecord& record : records)
    {
        CRIOPacket packet;
        ASSERT_TRUE(LoadPacketLine(packet, record.bytes)) << "a layout covers the record exactly";
        EXPECT_EQ(12u, record.bytes.size());
        EXPECT_EQ(8u, packet.GetFType());
        EXPECT_EQ(0u, packet.GetTT());
        EXPECT_EQ(0x0Fu, packet.GetDestID());
        EXPECT_EQ(0x01u, packet.GetSourceID());
        ASSERT_NE(nullptr, packet.FindField(eRIOFieldTRANSACTION));
        EXPECT_EQ(0u, packet.FindField(eRIOFieldTRANSACTION)->GetValue());
        ASSERT_NE(nullptr, packet.FindField(eRIOFieldCONFIGOFFSET));
        EXPECT_EQ(0x60u >> 3, packet.FindField(eRIOFieldCONFIGOFFSET)->GetValue()) << "register 0x60";
        packet.UpdateCRC(true);
        ASSERT_NE(nullptr, packet.FindField(eRIOFieldCRC));
        EXPECT_TRUE(packet.FindField(eRIOFieldCRC)->IsValueValid());
    }

    const std::vector<QStringList> decoded = TsharkFields(
        QString::fromStdString(strPcap), {"rio.ftype", "rio.ttype", "rio.destid", "rio.srcid", "rio.hopcount",
                                          "rio.config_offset", "rio.crc.status"});
    if (decoded.empty())
    {
        std::cout << "[   NOTE   ] tshark with the dissector was not run (not installed, or Lua refused)\n";
        return;
    }
    ASSERT_EQ(5u, decoded.size());
    for (const QStringList& fields : decoded)
    {
        const QStringList expected = {"8", "0", "0x000f", "0x0001", "1", "0x00000060", "1"};
        EXPECT_EQ(expected.join('|').toStdString(), fields.join('|').toStdString());
    }
}

TEST_F(TraceCliTest, AFilterDropsTheReadsWhileArmedAndTheyWorkAgainOnceTheCommandHasEnded)
{
    CRunningCli filter(Args({"trace", "run", m_strMap, "2", "--comparator", "2=" + m_strComparator, "--ports",
                             "0", "--seconds", "3", "--filter"}));
    ASSERT_TRUE(filter.WaitFor("Second 1: ")) << filter.Out();
    const SRunResult dropped = ReadEndpoint("0x0F");
    EXPECT_NE(0, dropped.nExitCode);
    EXPECT_NE(std::string::npos, dropped.strErr.find("Maintenance response timeout: DestID 0xf HopCount 1"))
        << dropped.strErr;
    EXPECT_EQ(0, ReadEndpoint("0x0A").nExitCode) << "another ID passes";
    ASSERT_EQ(0, filter.Finish()) << filter.Out();
    const std::vector<std::string> lines = nvtest::Lines(filter.Out());
    ASSERT_EQ(4u, lines.size()) << filter.Out();
    EXPECT_EQ("Trace/Filter on node 2, comparator 2, filter on port 0, trace port 0", lines[0]);
    EXPECT_EQ("Second 3: Port 0 Filter 2=1", lines[3]);

    const SRunResult after = ReadEndpoint("0x0F");
    EXPECT_EQ(0, after.nExitCode) << after.strErr;
    EXPECT_EQ("0x000f000f\n", after.strOut);
    // Stop turned the trace off; the command cleared the comparators' enables, counters stay on.
    const SRunResult ops = Cli({"read", "0xF40004", "--dest", "0xFF", "--hop", "0"});
    EXPECT_EQ("0x04000000\n", ops.strOut);
}
} // namespace

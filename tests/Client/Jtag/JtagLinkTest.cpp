// The JTAG link end to end against the simulated pod library: the scan, the connection, register
// reads and writes through the front end, the devices the library does not know, and the faults
// a person can cause (no library, a library without an entry point, an old driver, a pod pulled
// out in the middle of a transfer).
#include "JtagLink.h"
#include "ClientStatus.h"
#include "DebugLog.h"
#include "PETypes.h"
#include "Preferences.h"
#include "RecordingUserInterface.h"
#include "StatusText.h"
#include "TargetClient.h"
#include "TargetConnection.h"
#include "TestSupport.h"
#include "TransactionLog.h"
#include "nvsim/Topology.h"

#include <QFile>
#include <QProcess>
#include <dlfcn.h>
#include <gtest/gtest.h>

namespace
{
using ConfigureFn = int32_t (*)(const char*);
using UnplugFn = void (*)(uint32_t);
using ReadFn = int32_t (*)(int32_t, uint32_t, uint32_t*);

const QString kNoPods =
    QStringLiteral("No compatible JTAG Pods found.\r\n\r\nThis could be due to the JTAG Pod not being "
                   "connected, or the FTDI D2XX\r\ndrivers not being installed properly.");

std::string DemoTopology()
{
    return nvtest::SourceDir() + "/Simulator/topologies/demo.topo";
}

// The simulated pod library, opened by the test as the client opens it: one instance, one state.
void* SimPod()
{
    static void* pvLibrary = dlopen(NV_SIM_JTAGPOD, RTLD_NOW);
    return pvLibrary;
}

template <typename Fn> Fn SimEntry(const char* pszName)
{
    return reinterpret_cast<Fn>(dlsym(SimPod(), pszName));
}

// The identity (Device Identity CAR) of a device of the demo fabric, as the simulator models it.
uint32_t IdentityOf(const std::string& strDevice)
{
    std::string strError;
    auto pFabric = nvsim::LoadTopologyFile(DemoTopology(), &strError);
    const auto& config = pFabric->Device(strDevice).Config();
    return (uint32_t{config.wDeviceId} << 16) | config.wVendorId;
}

class JtagLinkTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_NE(SimPod(), nullptr) << dlerror();
        qputenv("NORVANTA_JTAG_LIBRARY", NV_SIM_JTAGPOD);
        SaveJtagUserDevices({});
        Configure("pod=host0,sw1,ep1;pod=sw2");
    }
    void TearDown() override
    {
        if (m_connection.IsConnected())
        {
            m_connection.Disconnect();
        }
        CTargetClient::Instance().SetLink(nullptr);
        qunsetenv("NORVANTA_JTAG_LIBRARY");
    }
    void Configure(const std::string& strRest)
    {
        const std::string strConfig = "topology=" + DemoTopology() + ";" + strRest;
        ASSERT_EQ(SimEntry<ConfigureFn>("simjtagConfigure")(strConfig.c_str()), 0)
            << SimEntry<const char* (*)()>("simjtagLastError")();
    }
    bool Connect(uint32_t ulPod, uint32_t ulPosition)
    {
        return m_connection.OpenTarget(eConnJTAG, JtagAddressWord(ulPod, ulPosition));
    }

    nvtest::CRecordingUserInterface m_ui;
    CTargetConnection m_connection;
};

TEST_F(JtagLinkTest, ScanListsEveryPodsChainWithTheIdentityReadThroughThePod)
{
    QString strNotFound;
    const std::vector<SJtagChainEntry> rows = ScanJtagPods(&strNotFound);
    ASSERT_EQ(rows.size(), 4u) << strNotFound.toStdString();
    const struct
    {
        uint32_t ulPod, ulPosition;
        const char* pszDevice;
    } kExpected[] = {{0, 0, "host0"}, {0, 1, "sw1"}, {0, 2, "ep1"}, {1, 0, "sw2"}};
    for (size_t i = 0; i < rows.size(); ++i)
    {
        SCOPED_TRACE(kExpected[i].pszDevice);
        EXPECT_EQ(rows[i].ulPod, kExpected[i].ulPod);
        EXPECT_EQ(rows[i].ulPosition, kExpected[i].ulPosition);
        const uint32_t ulIdentity = IdentityOf(kExpected[i].pszDevice);
        EXPECT_EQ(rows[i].wDeviceID, ulIdentity >> 16);
        EXPECT_EQ(rows[i].wVendorID, ulIdentity & 0xFFFF);
        EXPECT_FALSE(rows[i].strName.isEmpty());
    }
    EXPECT_TRUE(strNotFound.isEmpty());
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join('|').toStdString();
}

TEST_F(JtagLinkTest, ConnectionCarriesMaintenanceReadsAndWritesToTheSelectedDevice)
{
    ASSERT_TRUE(Connect(0, 2)) << m_ui.messages.join('|').toStdString();
    EXPECT_EQ(m_connection.TargetName(), QStringLiteral("JTAG Connection"));
    EXPECT_EQ(m_connection.Link().lJTAGDevice, static_cast<int32_t>(JtagAddressWord(0, 2)));
    EXPECT_EQ(m_connection.ServerInfo().wDeviceID, IdentityOf("ep1") >> 16);
    EXPECT_EQ(m_connection.ServerInfo().wVendorID, IdentityOf("ep1") & 0xFFFF);

    CTargetClient& client = CTargetClient::Instance();
    // DestID and hop count do not matter: the pod reaches the device it selected.
    uint32_t aulWords[2] = {};
    ASSERT_EQ(client.Maint_read(0, 0x1234, 7, 0x0, aulWords, 2, 4, 2), eRioOk);
    EXPECT_EQ(aulWords[0], IdentityOf("ep1"));
    uint32_t ulInfo = 0;
    ASSERT_EQ(client.Maint_read(0, 0xFFFFFFFF, 0, 0x4, &ulInfo, 1, 4, 2), eRioOk);
    EXPECT_EQ(aulWords[1], ulInfo) << "the second word of a strided read is the register at Offset + Stride";

    // The component tag register holds what is written; the value must survive a new connection.
    uint32_t ulTag = 0x5A5AC3C3;
    ASSERT_EQ(client.Maint_write(0, 0xFFFFFFFF, 0, 0x6C, &ulTag, 1, 4, 2), eRioOk);
    EXPECT_EQ(ulTag, 0x5A5AC3C3u) << "a successful write leaves the caller's word as it was";
    m_connection.Disconnect();
    ASSERT_TRUE(Connect(0, 2));
    uint32_t ulBack = 0;
    ASSERT_EQ(client.Maint_read(0, 0xFFFFFFFF, 0, 0x6C, &ulBack, 1, 4, 2), eRioOk);
    EXPECT_EQ(ulBack, 0x5A5AC3C3u);
    // The other devices on the chain did not see it.
    m_connection.Disconnect();
    ASSERT_TRUE(Connect(0, 0));
    ASSERT_EQ(client.Maint_read(0, 0xFFFFFFFF, 0, 0x6C, &ulBack, 1, 4, 2), eRioOk);
    EXPECT_NE(ulBack, 0x5A5AC3C3u);
}

TEST_F(JtagLinkTest, TransactionsAPodCannotCarryAreNotSupportedViaJtag)
{
    ASSERT_TRUE(Connect(1, 0));
    CTargetClient& client = CTargetClient::Instance();
    const QString strLog = QString::fromStdString(nvtest::ProcessTempDir() + "/jtag-transactions.log");
    ASSERT_TRUE(CreateLogFile(strLog));
    EnableLogging(true);
    uint16_t awHalf[1] = {};
    EXPECT_EQ(client.Maint_read(0, 0xFFFFFFFF, 0, 0, awHalf, 1, 2, 2), eRioJtagUnsupported);
    uint8_t abData[8] = {};
    EXPECT_EQ(client.Nread(0, 5, 0, 0, 0, 0, abData, sizeof(abData)), eRioJtagUnsupported);
    EXPECT_EQ(client.DataWrite(0, 5, 0, 0, 1, 0, abData, sizeof(abData)), eRioJtagUnsupported);
    EXPECT_EQ(client.Doorbell(0, 5, 0, 0x1234), eRioJtagUnsupported);
    EXPECT_EQ(client.Message(0, 5, 0, false, 0, abData, 8, 8), eRioJtagUnsupported);
    char szErrors[64];
    EXPECT_EQ(client.GetRioErrors(szErrors, sizeof(szErrors)), eRioJtagUnsupported);
    EnableLogging(false);
    EXPECT_EQ(RioErrorText(eRioJtagUnsupported), QStringLiteral("Operation not supported via JTAG"));
    const std::string strText = nvtest::ReadFile(strLog.toStdString());
    EXPECT_NE(strText.find("Doorbell 5 1234 # Failed -500\n"), std::string::npos) << strText;
    EXPECT_NE(strText.find("Nread 5 0 0 000000000 8 # Failed -500\n"), std::string::npos) << strText;
}

TEST_F(JtagLinkTest, APodPulledOutMidTransferFailsTheReadAndTheWriteWithTheirTexts)
{
    ASSERT_TRUE(Connect(0, 1));
    CTargetClient& client = CTargetClient::Instance();
    SimEntry<UnplugFn>("simjtagUnplugAfter")(2);
    uint32_t aulWords[4] = {0xAAAAAAAA, 0xAAAAAAAA, 0xAAAAAAAA, 0xAAAAAAAA};
    EXPECT_EQ(client.Maint_read(0, 0xFFFFFFFF, 0, 0x0, aulWords, 4, 4, 2), eRioJtagReadFailed);
    EXPECT_EQ(RioErrorText(eRioJtagReadFailed), QStringLiteral("JTAG register read failed"));
    uint32_t ulValue = 1;
    EXPECT_EQ(client.Maint_write(0, 0xFFFFFFFF, 0, 0x6C, &ulValue, 1, 4, 2), eRioJtagWriteFailed);
    EXPECT_EQ(RioErrorText(eRioJtagWriteFailed), QStringLiteral("JTAG register write failed"));
    // The pod is gone: a new connection finds none.
    m_connection.Disconnect();
    EXPECT_FALSE(Connect(0, 1));
    ASSERT_FALSE(m_ui.messages.isEmpty());
    EXPECT_EQ(m_ui.messages.back(), kNoPods);
    EXPECT_FALSE(m_connection.IsConnected());
}

TEST_F(JtagLinkTest, DisconnectClosesThePod)
{
    ASSERT_TRUE(Connect(1, 0));
    const auto pfnRead = SimEntry<ReadFn>("jtagRead");
    uint32_t ulValue = 0;
    ASSERT_EQ(pfnRead(1, 0, &ulValue), kJtagOk) << "pod 1 is open while connected";
    m_connection.Disconnect();
    EXPECT_EQ(pfnRead(1, 0, &ulValue), kJtagBadHandle);
    EXPECT_FALSE(m_connection.Link().IsConnected());
    EXPECT_EQ(m_connection.Link().lJTAGDevice, -1);
}

TEST_F(JtagLinkTest, AnUnknownPartBlocksTheChainUntilItIsAddedWithItsIRLength)
{
    Configure("pod=host0,part:cpld:0x0123A0F3:8,sw1");
    QString strNotFound;
    EXPECT_TRUE(ScanJtagPods(&strNotFound).empty());
    EXPECT_EQ(strNotFound, QStringLiteral("No devices found on JTAG chain."));
    EXPECT_FALSE(Connect(0, 2));
    ASSERT_FALSE(m_ui.messages.isEmpty());
    EXPECT_TRUE(m_ui.messages.back().contains(QStringLiteral("Unsupported JTAG Devices")));

    // A wrong IR length does not line the chain up either.
    ASSERT_TRUE(SaveJtagUserDevices({{QStringLiteral("Board CPLD"), 0x0123A0F3, 7}}));
    EXPECT_TRUE(ScanJtagPods(&strNotFound).empty());

    ASSERT_TRUE(SaveJtagUserDevices({{QStringLiteral("Board CPLD"), 0x0123A0F3, 8}}));
    strNotFound.clear();
    const std::vector<SJtagChainEntry> rows = ScanJtagPods(&strNotFound);
    ASSERT_EQ(rows.size(), 2u) << "the CPLD has no RapidIO registers and gets no row";
    EXPECT_EQ(rows[0].ulPosition, 0u);
    EXPECT_EQ(rows[1].ulPosition, 2u);
    EXPECT_EQ(rows[1].wDeviceID, IdentityOf("sw1") >> 16);
    ASSERT_TRUE(Connect(0, 2)) << m_ui.messages.join('|').toStdString();
    EXPECT_EQ(m_connection.ServerInfo().wDeviceID, IdentityOf("sw1") >> 16);
}

TEST_F(JtagLinkTest, APositionBeyondTheChainIsRefusedWithTheChainLength)
{
    EXPECT_FALSE(Connect(1, 3));
    ASSERT_EQ(m_ui.messages.size(), 1);
    EXPECT_EQ(
        m_ui.messages[0],
        QStringLiteral("There is no device at position 3 of the JTAG chain on USB1: the chain holds 1."));
    EXPECT_FALSE(m_connection.Link().IsConnected());
}

TEST_F(JtagLinkTest, LibraryProblemsAreToldAndNothingOpens)
{
    qputenv("NORVANTA_JTAG_LIBRARY", "/nonexistent/libnvt_jtag.so");
    QString strNotFound;
    EXPECT_TRUE(ScanJtagPods(&strNotFound).empty());
    EXPECT_EQ(strNotFound, kNoPods);
    EXPECT_TRUE(m_ui.messages.isEmpty()) << "the scan shows its text in the tab, not in a box";
    EXPECT_FALSE(Connect(0, 0));
    EXPECT_EQ(m_ui.messages.back(), kNoPods);

    qputenv("NORVANTA_JTAG_LIBRARY", NV_NINEPOINT_JTAGPOD);
    m_ui.messages.clear();
    EXPECT_FALSE(Connect(0, 0));
    ASSERT_EQ(m_ui.messages.size(), 1);
    EXPECT_TRUE(m_ui.messages[0].contains(QStringLiteral("no entry point jtagWrite")))
        << m_ui.messages[0].toStdString();
    EXPECT_FALSE(m_connection.IsConnected());

    // Back to a good library with an old driver: told, and the link still works.
    qputenv("NORVANTA_JTAG_LIBRARY", NV_SIM_JTAGPOD);
    Configure("pod=sw2;driver=0x00020800");
    m_ui.messages.clear();
    ASSERT_TRUE(Connect(0, 0));
    ASSERT_EQ(m_ui.messages.size(), 1);
    EXPECT_EQ(m_ui.messages[0],
              QStringLiteral("FTDI D2XX Driver is not up to date.\n\n Please download and install "
                             "V2.08.14 or later from ftdichip.com."));
}

TEST_F(JtagLinkTest, TheLibrarysDiagnosticsGoToTheJtagChannelWhenItIsOn)
{
    // The library is started afresh so that it takes the debug level and callback of now.
    qputenv("NORVANTA_JTAG_LIBRARY", NV_NINEPOINT_JTAGPOD);
    QString strNotFound;
    ScanJtagPods(&strNotFound);
    qputenv("NORVANTA_JTAG_LIBRARY", NV_SIM_JTAGPOD);
    ClearLog();
    SetDebugFlag(eDebugJTAG, true);
    ScanJtagPods(&strNotFound);
    SetDebugFlag(eDebugJTAG, false);
    const std::string strLog = nvtest::ReadFile(DebugLogPath().toStdString());
    EXPECT_NE(strLog.find("05:JTAG: USB0 open\n"), std::string::npos) << strLog;
    EXPECT_NE(strLog.find("05:JTAG: USB1 closed\n"), std::string::npos) << strLog;
}

TEST(JtagUserDevices, TheListIsStoredAndReadBackAndShrinks)
{
    const std::vector<SJtagUserDevice> two = {{QStringLiteral("Board CPLD"), 0x0123A0F3, 8},
                                              {QStringLiteral("FPGA #2"), 0xFFFFFFFF, 10}};
    ASSERT_TRUE(SaveJtagUserDevices(two));
    EXPECT_EQ(LoadJtagUserDevices(), two);
    EXPECT_EQ(FindJtagUserDevice(two, 0xFFFFFFFF), 1);
    EXPECT_EQ(FindJtagUserDevice(two, 0x0123A0F2), -1);
    ASSERT_TRUE(SaveJtagUserDevices({two[1]}));
    EXPECT_EQ(LoadJtagUserDevices(), std::vector<SJtagUserDevice>{two[1]});
    EXPECT_EQ(GetPreference(QStringLiteral("JtagDeviceList"), QStringLiteral("Device1"), "gone"),
              QStringLiteral("gone"));

    SJtagUserDevice device;
    EXPECT_FALSE(ParseJtagUserDevice(QStringLiteral("0123A0F3 0 cpld"), &device)) << "an IR length of 0";
    EXPECT_FALSE(ParseJtagUserDevice(QStringLiteral("0123A0F3 8"), &device)) << "no name";
    EXPECT_FALSE(ParseJtagUserDevice(QStringLiteral("XYZ 8 cpld"), &device));
    ASSERT_TRUE(ParseJtagUserDevice(JtagUserDeviceText(two[0]), &device));
    EXPECT_EQ(device, two[0]);
}
} // namespace

namespace
{
struct SCliRun
{
    int nExit = -1;
    std::string strOut, strErr;
};

SCliRun RunCli(const QStringList& args)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("NORVANTA_JTAG_LIBRARY"), QStringLiteral(NV_SIM_JTAGPOD));
    environment.insert(QStringLiteral("NORVANTA_SIM_JTAG"),
                       QString::fromStdString("topology=" + DemoTopology() + ";pod=host0,sw1,ep1;pod=sw2"));
    process.setProcessEnvironment(environment);
    process.start(QString::fromStdString(nvtest::BuiltProgram("Cli/norvanta-cli")), args);
    SCliRun run;
    if (process.waitForFinished(60000))
    {
        run.nExit = process.exitCode();
    }
    run.strOut = process.readAllStandardOutput().toStdString();
    run.strErr = process.readAllStandardError().toStdString();
    return run;
}

TEST(JtagCli, ScansAndCarriesReadsAndWritesOverTheJtagOption)
{
    const SCliRun scan = RunCli({QStringLiteral("jtag"), QStringLiteral("scan")});
    ASSERT_EQ(scan.nExit, 0) << scan.strErr;
    const std::vector<std::string> lines = nvtest::Lines(scan.strOut);
    ASSERT_EQ(lines.size(), 5u) << scan.strOut;
    EXPECT_EQ(lines[0].rfind("JTAG Pod  Chain Pos Device ID Vendor ID Device Name", 0), 0u);
    char szSw2[64];
    std::snprintf(szSw2, sizeof(szSw2), "USB1      0         %04Xh     %04Xh", IdentityOf("sw2") >> 16,
                  IdentityOf("sw2") & 0xFFFF);
    EXPECT_EQ(lines[4].rfind(szSw2, 0), 0u) << lines[4];

    const SCliRun read = RunCli(
        {QStringLiteral("--jtag"), QStringLiteral("USB0:1"), QStringLiteral("read"), QStringLiteral("0")});
    ASSERT_EQ(read.nExit, 0) << read.strErr;
    char szIdentity[16];
    std::snprintf(szIdentity, sizeof(szIdentity), "0x%08x\n", IdentityOf("sw1"));
    EXPECT_EQ(read.strOut, szIdentity);

    const SCliRun write = RunCli({QStringLiteral("--jtag"), QStringLiteral("1:0"), QStringLiteral("write"),
                                  QStringLiteral("0x6C"), QStringLiteral("0x1234")});
    EXPECT_EQ(write.nExit, 0) << write.strErr;

    const SCliRun half = RunCli({QStringLiteral("--jtag"), QStringLiteral("0:1"), QStringLiteral("read"),
                                 QStringLiteral("0"), QStringLiteral("--size"), QStringLiteral("2")});
    EXPECT_EQ(half.nExit, 1);
    EXPECT_NE(half.strErr.find("Operation not supported via JTAG"), std::string::npos) << half.strErr;

    const SCliRun bad =
        RunCli({QStringLiteral("--jtag"), QStringLiteral("USB0"), QStringLiteral("identify")});
    EXPECT_NE(bad.nExit, 0);
    EXPECT_NE(bad.strErr.find("--jtag wants POD:POSITION"), std::string::npos) << bad.strErr;
}
} // namespace

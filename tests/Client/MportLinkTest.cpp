// The PCIe link through the mport character device: the ioctl arguments against the layout of
// <linux/rio_mport_cdev.h>, and the link end to end against the simulated Tsi721 mport library
// over tsi721.topo, checked against a second copy of that fabric read directly.
#include "RecordingUserInterface.h"
#include "TestSupport.h"

#include "ClientStatus.h"
#include "LinkSettings.h"
#include "MportBridge.h"
#include "MportIoctl.h"
#include "Preferences.h"
#include "ServerCaps.h"
#include "TargetClient.h"
#include "TargetConnection.h"

#include "nvsim/Fabric.h"
#include "nvsim/Topology.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace
{
template <typename T> std::vector<uint8_t> BytesOf(const T& value)
{
    std::vector<uint8_t> bytes(sizeof(value));
    std::memcpy(bytes.data(), &value, sizeof(value));
    return bytes;
}

uint64_t LittleEndian(const std::vector<uint8_t>& bytes, size_t nAt, size_t nSize)
{
    uint64_t ull = 0;
    for (size_t i = 0; i < nSize; ++i)
    {
        ull |= static_cast<uint64_t>(bytes.at(nAt + i)) << (8 * i);
    }
    return ull;
}

// The ioctl numbers the kernel's driver answers to, written out as _IOC(dir, 'm', nr, size)
// with the sizes of the structures as the header lays them out (x86-64 and every other
// little-endian 64-bit Linux: dir read 2, write 1, both 3, in bits 31..30; size in 29..16).
constexpr unsigned long Ioc(unsigned long ulDir, unsigned long ulNr, unsigned long ulSize)
{
    return (ulDir << 30) | (ulSize << 16) | (0x6Dul << 8) | ulNr;
}

TEST(MportIoctl, RequestNumbersAndSizesAreTheKernels)
{
    EXPECT_EQ(24u, sizeof(rio_mport_maint_io));
    EXPECT_EQ(48u, sizeof(rio_transfer_io));
    EXPECT_EQ(24u, sizeof(rio_transaction));
    EXPECT_EQ(48u, sizeof(rio_mport_properties));
    EXPECT_EQ(Ioc(2, 5, 24), static_cast<unsigned long>(RIO_MPORT_MAINT_READ_LOCAL));
    EXPECT_EQ(Ioc(1, 6, 24), static_cast<unsigned long>(RIO_MPORT_MAINT_WRITE_LOCAL));
    EXPECT_EQ(Ioc(2, 7, 24), static_cast<unsigned long>(RIO_MPORT_MAINT_READ_REMOTE));
    EXPECT_EQ(Ioc(1, 8, 24), static_cast<unsigned long>(RIO_MPORT_MAINT_WRITE_REMOTE));
    EXPECT_EQ(Ioc(3, 21, 24), static_cast<unsigned long>(RIO_TRANSFER));
    EXPECT_EQ(Ioc(2, 4, 48), static_cast<unsigned long>(RIO_MPORT_GET_PROPERTIES));
}

TEST(MportIoctl, MaintenanceArgumentPutsEachFieldWhereTheDriverReadsIt)
{
    uint32_t aulBuffer[2] = {};
    const std::vector<uint8_t> bytes = BytesOf(mport::MaintIo(0xBEEF, 0xA5, 0x00C0FFEC, 8, aulBuffer));
    ASSERT_EQ(24u, bytes.size());
    EXPECT_EQ(0xBEEFu, LittleEndian(bytes, 0, 2));     // rioid
    EXPECT_EQ(0xA5u, LittleEndian(bytes, 2, 1));       // hopcount
    EXPECT_EQ(0u, LittleEndian(bytes, 3, 5));          // padding, zero
    EXPECT_EQ(0x00C0FFECu, LittleEndian(bytes, 8, 4)); // offset
    EXPECT_EQ(8u, LittleEndian(bytes, 12, 4));         // length in bytes
    EXPECT_EQ(reinterpret_cast<uintptr_t>(aulBuffer), LittleEndian(bytes, 16, 8));
}

TEST(MportIoctl, TransferArgumentsDescribeOneSynchronousUserBufferTransfer)
{
    uint8_t abData[16] = {};
    const rio_transfer_io transfer =
        mport::Transfer(0x1234, 0x0000000512345678ull, abData, sizeof(abData), RIO_EXCHANGE_NWRITE_R_ALL);
    const std::vector<uint8_t> t = BytesOf(transfer);
    EXPECT_EQ(0x0000000512345678ull, LittleEndian(t, 0, 8));               // rio_addr
    EXPECT_EQ(reinterpret_cast<uintptr_t>(abData), LittleEndian(t, 8, 8)); // loc_addr
    EXPECT_EQ(0u, LittleEndian(t, 16, 8));                                 // handle: none
    EXPECT_EQ(0u, LittleEndian(t, 24, 8));                                 // offset
    EXPECT_EQ(16u, LittleEndian(t, 32, 8));                                // length
    EXPECT_EQ(0x1234u, LittleEndian(t, 40, 2));                            // rioid
    EXPECT_EQ(static_cast<uint64_t>(RIO_EXCHANGE_NWRITE_R_ALL), LittleEndian(t, 42, 2));

    const std::vector<uint8_t> x = BytesOf(mport::Transaction(&transfer, RIO_TRANSFER_DIR_WRITE));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(&transfer), LittleEndian(x, 0, 8)); // block
    EXPECT_EQ(1u, LittleEndian(x, 8, 4));                                     // count
    EXPECT_EQ(static_cast<uint64_t>(RIO_TRANSFER_MODE_TRANSFER), LittleEndian(x, 12, 4));
    EXPECT_EQ(static_cast<uint64_t>(RIO_TRANSFER_SYNC), LittleEndian(x, 16, 2));
    EXPECT_EQ(static_cast<uint64_t>(RIO_TRANSFER_DIR_WRITE), LittleEndian(x, 18, 2));
}

TEST(MportIoctl, WriteTypesOfTheFlagsWordChooseTheExchange)
{
    // Priority and the front end's flag bit around the type must not change the choice.
    EXPECT_EQ(RIO_EXCHANGE_SWRITE, mport::ExchangeOfFlags(128 + 2));
    EXPECT_EQ(RIO_EXCHANGE_NWRITE, mport::ExchangeOfFlags(64 + 16 + 1));
    EXPECT_EQ(RIO_EXCHANGE_NWRITE_R_ALL, mport::ExchangeOfFlags(192));
    EXPECT_EQ(-1, mport::ExchangeOfFlags(2));
}

TEST(MportIoctl, BaseDeviceIdCsrPacksSmallIdHighAndLargeIdLow)
{
    EXPECT_EQ(0x00050105u, mport::PackDestIDs(0x00050105u));
    // Bits 31..24 of the CSR are reserved and stay out.
    EXPECT_EQ(0x00AB1234u, mport::PackDestIDs(0xFFAB1234u));
}

TEST(MportIoctl, PciConfigFileIsFoundUpTheDeviceLinks)
{
    const QString strRoot = QString::fromStdString(nvtest::ProcessTempDir()) + QStringLiteral("/sysfs-mport");
    const QString strClass = strRoot + QStringLiteral("/rio_mport3");
    ASSERT_TRUE(QDir().mkpath(strClass + QStringLiteral("/device/device")));
    EXPECT_TRUE(FindPciConfigFile(strClass).isEmpty());
    QFile config(strClass + QStringLiteral("/device/device/config"));
    ASSERT_TRUE(config.open(QIODevice::WriteOnly));
    config.close();
    EXPECT_EQ(strClass + QStringLiteral("/device/device/config"), FindPciConfigFile(strClass));
    EXPECT_TRUE(FindPciConfigFile(strRoot + QStringLiteral("/rio_mport9")).isEmpty());
}

// The link opened on the simulated bridge. The library keeps one fabric per process, so each
// test works on registers and memory of its own.
class MportLinkTest : public ::testing::Test
{
protected:
    static std::string Topology() { return nvtest::SourceDir() + "/Simulator/topologies/tsi721.topo"; }
    void SetUp() override
    {
        ::setenv(kMportLibraryVariable, (nvtest::BinaryDir() + "/Simulator/libnvsim_mport.so").c_str(), 1);
        ::setenv("NVSIM_MPORT_TOPOLOGY", Topology().c_str(), 1);
        std::string strError;
        m_pReference = nvsim::LoadTopologyFile(Topology(), &strError);
        ASSERT_TRUE(m_pReference) << strError;
    }
    void TearDown() override
    {
        if (connection.IsConnected())
        {
            connection.Disconnect();
        }
        ::unsetenv(kMportLibraryVariable);
        ::unsetenv("NVSIM_MPORT_TOPOLOGY");
        ::unsetenv("NVSIM_MPORT_LARGE");
        ClearPreferenceOverrides();
    }
    uint32_t Reference(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset)
    {
        uint32_t ulValue = 0;
        EXPECT_EQ(0, m_pReference->MaintRead(0, ulDestID, uchHop, ulOffset, &ulValue, 1, 4, 4, false));
        return ulValue;
    }

    nvtest::CRecordingUserInterface ui;
    CTargetConnection connection;
    CTargetClient& client = CTargetClient::Instance();
    std::unique_ptr<nvsim::CSimFabric> m_pReference;
};

TEST_F(MportLinkTest, OpensTheBridgeAndMakesItsIdentityFromItsOwnRegisters)
{
    ASSERT_TRUE(connection.OpenTarget(eConnTsi721Driver, 0))
        << ui.messages.join(QLatin1Char('\n')).toStdString();
    EXPECT_TRUE(ui.messages.isEmpty());
    const SServerInfo& info = connection.ServerInfo();
    EXPECT_EQ(0x80ABu, info.wDeviceID);
    EXPECT_EQ(0x0038u, info.wVendorID);
    // tsi721.topo gives the bridge small ID 0x05 and large ID 0x0105.
    EXPECT_EQ(0x05u, info.wShortDestID);
    EXPECT_EQ(0x0105u, info.wLongDestID);
    EXPECT_EQ(0xF3u, connection.Capabilities());
    EXPECT_EQ(QStringLiteral("Tsi721 Eval Board"), connection.TargetName());
    connection.Disconnect();
    EXPECT_FALSE(connection.IsConnected());
}

TEST_F(MportLinkTest, ReadsGoToPciConfigurationBridgeRegistersOrTheFabric)
{
    ASSERT_TRUE(connection.OpenTarget(eConnTsi721Driver, 0));
    uint32_t aulValues[2] = {};
    // 0x70000..0x7FFFF: the bridge's PCI configuration space.
    ASSERT_EQ(eRioOk, client.Maint_read(0, 0xFFFFFFFFu, 0, 0x70000, aulValues, 1, 4, 2));
    EXPECT_EQ(0x80AB111Du, aulValues[0]);
    ASSERT_EQ(eRioOk, client.Maint_read(0, 0xFFFFFFFFu, 0, 0x70010, aulValues, 1, 4, 2));
    EXPECT_EQ(0xFE000000u, aulValues[0]);
    // The host's own registers, two words with a stride.
    ASSERT_EQ(eRioOk, client.Maint_read(0, 0xFFFFFFFFu, 0, 0x0, aulValues, 2, 0x60, 2));
    EXPECT_EQ(Reference(0xFFFFFFFFu, 0, 0x0), aulValues[0]);
    EXPECT_EQ(Reference(0xFFFFFFFFu, 0, 0x60), aulValues[1]);
    // The switch by hop count, the endpoint by its ID through the switch's route.
    ASSERT_EQ(eRioOk, client.Maint_read(0, 0xFF, 0, 0x0, aulValues, 1, 4, 2));
    EXPECT_EQ(Reference(0xFF, 0, 0x0), aulValues[0]);
    EXPECT_NE(Reference(0xFFFFFFFFu, 0, 0x0), aulValues[0]);
    ASSERT_EQ(eRioOk, client.Maint_read(0, 0x20, 1, 0x8, aulValues, 1, 4, 2));
    EXPECT_EQ(Reference(0x20, 1, 0x8), aulValues[0]);
    // Word sizes other than 4 are refused before anything is sent.
    uint16_t awHalves[2] = {};
    EXPECT_EQ(eRioTsi721Unsupported, client.Maint_read(0, 0x20, 1, 0x8, awHalves, 1, 4, 2));
    // An ID nobody routes: the request is lost and the read fails.
    EXPECT_EQ(eRioTsi721ReadFailed, client.Maint_read(0, 0x33, 1, 0x0, aulValues, 1, 4, 2));
}

TEST_F(MportLinkTest, WritesReachTheDeviceAndTheConfigurationWindowIsReadOnly)
{
    ASSERT_TRUE(connection.OpenTarget(eConnTsi721Driver, 0));
    // The component tag of the endpoint (RapidIO Part 3, Component Tag CSR at 0x6C).
    uint32_t ulValue = 0x13572468u;
    ASSERT_EQ(eRioOk, client.Maint_write(0, 0x20, 1, 0x6C, &ulValue, 1, 4, 2));
    uint32_t ulRead = 0;
    ASSERT_EQ(eRioOk, client.Maint_read(0, 0x20, 1, 0x6C, &ulRead, 1, 4, 2));
    EXPECT_EQ(0x13572468u, ulRead);
    // A write at 0x70010 goes to the bridge's register space; the configuration word stays.
    ulValue = 0x0000ABCDu;
    ASSERT_EQ(eRioOk, client.Maint_write(0, 0xFFFFFFFFu, 0, 0x70010, &ulValue, 1, 4, 2));
    ASSERT_EQ(eRioOk, client.Maint_read(0, 0xFFFFFFFFu, 0, 0x70010, &ulRead, 1, 4, 2));
    EXPECT_EQ(0xFE000000u, ulRead);
    uint32_t ulRegister = 0;
    ASSERT_TRUE(client.Link()->pTsi721->RegisterRead(0x70010, &ulRegister));
    EXPECT_EQ(0x0000ABCDu, ulRegister);
    // An offset with the top bit set writes nothing and succeeds.
    ulValue = 0x11111111u;
    EXPECT_EQ(eRioOk, client.Maint_write(0, 0x20, 1, 0x8000006Cu, &ulValue, 1, 4, 2));
    ASSERT_EQ(eRioOk, client.Maint_read(0, 0x20, 1, 0x6C, &ulRead, 1, 4, 2));
    EXPECT_EQ(0x13572468u, ulRead);
    EXPECT_EQ(eRioTsi721WriteFailed, client.Maint_write(0, 0x33, 1, 0x6C, &ulValue, 1, 4, 2));
}

TEST_F(MportLinkTest, DataWrittenToTheEndpointsMemoryReadsBack)
{
    ASSERT_TRUE(connection.OpenTarget(eConnTsi721Driver, 0));
    std::array<uint8_t, 64> abOut{};
    for (size_t i = 0; i < abOut.size(); ++i)
    {
        abOut[i] = static_cast<uint8_t>(0xA0 + i * 7);
    }
    for (uint32_t ulType = 0; ulType < 3; ++ulType)
    {
        const uint32_t ulAddress = 0x4000 + ulType * 0x100;
        uint32_t ulCount = static_cast<uint32_t>(abOut.size());
        ASSERT_EQ(eRioOk,
                  client.DataWriteEx(0, 0x20, 0, 0, ulAddress, 1, ulType, false, abOut.data(), &ulCount))
            << "type " << ulType;
        std::array<uint8_t, 64> abIn{};
        ulCount = static_cast<uint32_t>(abIn.size());
        ASSERT_EQ(eRioOk, client.NreadEx(0, 0x20, 0, 0, ulAddress, 1, false, abIn.data(), &ulCount));
        EXPECT_EQ(abOut, abIn) << "type " << ulType;
        std::array<uint8_t, 64> abReference{};
        ASSERT_EQ(0, m_pReference->DataRead(0, 0x20, 0, ulAddress, abReference.data(), 64, false));
        EXPECT_NE(abReference, abIn) << "the write must have changed the memory";
    }
    // A 66-bit address cannot travel through the mport device.
    uint32_t ulCount = 4;
    EXPECT_EQ(eRioTsi721DataReadFailed,
              client.NreadEx(0, 0x20, 1, 0, 0x4000, 1, false, abOut.data(), &ulCount));
    EXPECT_EQ(eRioTsi721DataWriteFailed,
              client.DataWriteEx(0, 0x20, 2, 0, 0x4000, 1, 1, false, abOut.data(), &ulCount));
    // Nobody at that ID.
    EXPECT_EQ(eRioTsi721DataReadFailed,
              client.NreadEx(0, 0x33, 0, 0, 0x4000, 1, false, abOut.data(), &ulCount));
}

TEST_F(MportLinkTest, TheDriversTransportSizeStandsAndAMismatchIsTold)
{
    // The driver runs 16-bit IDs; the settings ask for 8-bit ones.
    ::setenv("NVSIM_MPORT_LARGE", "1", 1);
    ASSERT_TRUE(connection.OpenTarget(eConnTsi721Driver, 0));
    ASSERT_EQ(1, ui.messages.size());
    EXPECT_EQ(
        QStringLiteral("The Tsi721 bridge's driver addresses the fabric with 16-bit destination IDs, not "
                       "the 8-bit IDs of the settings. Requests carry 16-bit IDs."),
        ui.messages[0]);
    auto* pBridge = dynamic_cast<CMportBridge*>(client.Link()->pTsi721);
    ASSERT_NE(nullptr, pBridge);
    EXPECT_TRUE(pBridge->LargeDestIDs());
    // A request still reaches the switch by its hop count.
    uint32_t ulValue = 0;
    ASSERT_EQ(eRioOk, client.Maint_read(0, 0xFFFF, 0, 0x0, &ulValue, 1, 4, 2));
    EXPECT_EQ(Reference(0xFF, 0, 0x0), ulValue);
    connection.Disconnect();

    // Settings and driver agree: nothing to tell.
    ui.messages.clear();
    SetPreferenceOverride(QStringLiteral("Preferences"), QStringLiteral("DefaultDestIDSize"),
                          QStringLiteral("16"));
    ASSERT_TRUE(connection.OpenTarget(eConnTsi721Driver, 0));
    EXPECT_TRUE(ui.messages.isEmpty()) << ui.messages.join('|').toStdString();
    connection.Disconnect();

    // An 8-bit driver with 16-bit settings: told the other way round.
    ::unsetenv("NVSIM_MPORT_LARGE");
    ASSERT_TRUE(connection.OpenTarget(eConnTsi721Driver, 0));
    ASSERT_EQ(1, ui.messages.size());
    EXPECT_TRUE(ui.messages[0].contains(QStringLiteral("with 8-bit destination IDs, not the 16-bit IDs")));
    pBridge = dynamic_cast<CMportBridge*>(client.Link()->pTsi721);
    ASSERT_NE(nullptr, pBridge);
    EXPECT_FALSE(pBridge->LargeDestIDs());
}

TEST_F(MportLinkTest, TabListsTheBridgeAndAMissingIndexIsNoBoard)
{
    EXPECT_TRUE(MportDriverPresent());
    EXPECT_TRUE(MportBridgeOpens(0));
    EXPECT_FALSE(MportBridgeOpens(1));
    EXPECT_FALSE(connection.OpenTarget(eConnTsi721Driver, 1));
    ASSERT_EQ(1, ui.messages.size());
    EXPECT_EQ(QStringLiteral("No PCIe Tsi721 boards found."), ui.messages[0]);
    EXPECT_FALSE(connection.IsConnected());
}

TEST_F(MportLinkTest, ALibraryWithoutTheEntriesCountsAsNoDriver)
{
    // A real shared object, but not an mport stand-in.
    ::setenv(kMportLibraryVariable, "libm.so.6", 1);
    EXPECT_FALSE(MportBridgeOpens(0));
    EXPECT_FALSE(connection.OpenTarget(eConnTsi721Driver, 0));
    ASSERT_EQ(1, ui.messages.size());
    EXPECT_TRUE(ui.messages[0].startsWith(QStringLiteral("The Tsi721 device driver could not be loaded.")));
    ::setenv(kMportLibraryVariable, "/nonexistent/libnothing.so", 1);
    EXPECT_FALSE(MportDriverPresent());
}
} // namespace

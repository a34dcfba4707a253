// The I2C layer and the I2C link against the simulated pod library: register ports of CPS and Tsi
// devices of a simulated fabric, serial EEPROMs, NAKs and a pod pulled out mid-transfer. The pod
// is loaded the way a run loads it, from NORVANTA_I2C_POD.
#include "I2cLink.h"
#include "ClientStatus.h"
#include "RecordingUserInterface.h"
#include "TargetClient.h"
#include "TargetConnection.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <QLibrary>

#include <cstdlib>

namespace
{
using PFN_Configure = int32_t (*)(const char*);
using PFN_LastError = const char* (*)();
using PFN_DeviceRegister = int32_t (*)(const char*, uint32_t, uint32_t*);

std::string PodPath()
{
    return nvtest::BinaryDir() + "/Simulator/libnvsim_i2cpod.so";
}

class I2cLinkTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ::setenv("NORVANTA_I2C_POD", PodPath().c_str(), 1);
        m_library.setFileName(QString::fromStdString(PodPath()));
        ASSERT_TRUE(m_library.load()) << m_library.errorString().toStdString();
        m_pfnConfigure = reinterpret_cast<PFN_Configure>(m_library.resolve("NvI2cSimConfigure"));
        m_pfnLastError = reinterpret_cast<PFN_LastError>(m_library.resolve("NvI2cSimLastError"));
        m_pfnRegister = reinterpret_cast<PFN_DeviceRegister>(m_library.resolve("NvI2cSimDeviceRegister"));
        ASSERT_TRUE(m_pfnConfigure && m_pfnLastError && m_pfnRegister);
        Configure("");
    }
    void TearDown() override
    {
        layer().I2CClose(0);
        layer().I2CClose(1);
        layer().SetPod(eI2cPodLibrary, nullptr);
    }

    static CI2cLayer& layer() { return CI2cLayer::Instance(); }

    // A fresh bus; the layer takes the pod anew so no channel of an older bus stays open.
    void Configure(const std::string& strItems)
    {
        const std::string strConfig = "topology=" + nvtest::SourceDir() +
                                      "/Simulator/topologies/families.topo;" +
                                      "port=sw0@0x03;port=sw578@0x04;port=cps1616@0x2A5;" + strItems;
        ASSERT_EQ(0, m_pfnConfigure(strConfig.c_str())) << m_pfnLastError();
        layer().SetPod(eI2cPodLibrary, MakeI2cPod(eI2cPodLibrary));
    }
    void ConfigureEeprom(const std::string& strItems)
    {
        ASSERT_EQ(0, m_pfnConfigure(strItems.c_str())) << m_pfnLastError();
        layer().SetPod(eI2cPodLibrary, MakeI2cPod(eI2cPodLibrary));
    }
    uint32_t FabricRegister(const char* pszDevice, uint32_t ulOffset)
    {
        uint32_t ulValue = 0;
        EXPECT_EQ(0, m_pfnRegister(pszDevice, ulOffset, &ulValue));
        return ulValue;
    }

    nvtest::CRecordingUserInterface m_ui;
    QLibrary m_library;
    PFN_Configure m_pfnConfigure = nullptr;
    PFN_LastError m_pfnLastError = nullptr;
    PFN_DeviceRegister m_pfnRegister = nullptr;
};

TEST_F(I2cLinkTest, RegisterPortsOfBothFamiliesReadAndWrite)
{
    const auto channels = layer().Channels();
    const auto it =
        std::find_if(channels.begin(), channels.end(),
                     [](const SI2cPodChannel& channel) { return channel.ePod == eI2cPodLibrary; });
    ASSERT_NE(channels.end(), it);
    EXPECT_EQ(QStringLiteral("Norvanta Simulated I2C Pod A"), it->info.strDescription);

    // A CPS-1848: the probe finds no Tsi window, so the CPS byte order is used.
    ASSERT_TRUE(layer().I2COpen(0, eI2cPodLibrary, 0, 0x03, true, eI2cDeviceRegisters));
    EXPECT_EQ(eI2cDeviceRegisters, layer().ProbeDeviceKind(0));
    uint32_t ulValue = 0;
    ASSERT_EQ(eI2cOk, layer().I2CReadReg(0, 0, &ulValue));
    EXPECT_EQ(0x03740038u, ulValue);
    ASSERT_EQ(eI2cOk, layer().I2CWriteReg(0, 0x6C, 0x12345678));
    EXPECT_EQ(0x12345678u, FabricRegister("sw0", 0x6C));
    ASSERT_EQ(eI2cOk, layer().I2CReadReg(0, 0x6C, &ulValue));
    EXPECT_EQ(0x12345678u, ulValue);

    // A Tsi578 in slot 1 on the same channel: the probe finds Tundra's vendor ID through the window.
    ASSERT_TRUE(layer().I2COpen(1, eI2cPodLibrary, 0, 0x04, true, eI2cDeviceRegisters));
    EXPECT_EQ(eI2cDeviceTsi, layer().ProbeDeviceKind(1));
    ASSERT_EQ(eI2cOk, layer().I2CReadReg(1, 0, &ulValue));
    EXPECT_EQ(FabricRegister("sw578", 0), ulValue);
    EXPECT_EQ(0x000Du, ulValue & 0xFFFF);
    ASSERT_EQ(eI2cOk, layer().I2CWriteReg(1, 0x6C, 0xCAFE0001));
    EXPECT_EQ(0xCAFE0001u, FabricRegister("sw578", 0x6C));
    // Closing one slot leaves the other's channel open.
    layer().I2CClose(1);
    ASSERT_EQ(eI2cOk, layer().I2CReadReg(0, 0x6C, &ulValue));
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join(QLatin1Char('|')).toStdString();
}

TEST_F(I2cLinkTest, TenBitAddressingAndItsRefusalForTsiDevices)
{
    ASSERT_TRUE(layer().I2COpen(0, eI2cPodLibrary, 0, 0x2A5, false, eI2cDeviceRegisters));
    EXPECT_EQ(eI2cDeviceRegisters, layer().ProbeDeviceKind(0));
    uint32_t ulValue = 0;
    ASSERT_EQ(eI2cOk, layer().I2CReadReg(0, 0, &ulValue));
    EXPECT_EQ(FabricRegister("cps1616", 0), ulValue);
    ASSERT_EQ(eI2cOk, layer().I2CWriteReg(0, 0x6C, 0xA5A5));
    EXPECT_EQ(0xA5A5u, FabricRegister("cps1616", 0x6C));

    // A Tsi device with 10-bit addressing never sends a byte: on a pod that goes away at its first
    // transfer, a refused access leaves the pod in place.
    Configure("unplug=1");
    ASSERT_TRUE(layer().I2COpen(0, eI2cPodLibrary, 0, 0x104, false, eI2cDeviceTsi));
    EXPECT_EQ(eI2cInvalidParameter, layer().I2CReadReg(0, 0, &ulValue));
    EXPECT_EQ(eI2cInvalidParameter, layer().I2CWriteReg(0, 0, 1));
    EXPECT_EQ((QStringList{QStringLiteral("10-bit addressing is not supported with TsiXXX devices."),
                           QStringLiteral("10-bit addressing is not supported with TsiXXX devices.")}),
              m_ui.messages);
    uint32_t ulChannels = 0;
    auto pPod = MakeI2cPod(eI2cPodLibrary);
    ASSERT_EQ(eI2cOk, pPod->GetNumChannels(&ulChannels));
    EXPECT_EQ(1u, ulChannels);
}

TEST_F(I2cLinkTest, NakUnplugAndBadSlotsAreTold)
{
    // Slots other than 0 and 1 fail with no message.
    EXPECT_FALSE(layer().I2COpen(2, eI2cPodLibrary, 0, 0x03, true, eI2cDeviceRegisters));
    uint32_t ulValue = 0;
    EXPECT_NE(eI2cOk, layer().I2CReadReg(2, 0, &ulValue));
    EXPECT_TRUE(m_ui.messages.isEmpty());
    // A channel the pod doesn't have.
    EXPECT_FALSE(layer().I2COpen(0, eI2cPodLibrary, 5, 0x03, true, eI2cDeviceRegisters));
    ASSERT_EQ(1, m_ui.messages.size());
    EXPECT_TRUE(m_ui.messages[0].startsWith(QStringLiteral("Unable to open channel 5 of the I2C pod")));
    m_ui.messages.clear();

    // No device at the address: its NAK ends the first step.
    ASSERT_TRUE(layer().I2COpen(0, eI2cPodLibrary, 0, 0x33, true, eI2cDeviceRegisters));
    EXPECT_EQ(eI2cAddressNak, layer().I2CReadReg(0, 0, &ulValue));
    EXPECT_EQ(QStringList{QStringLiteral("I2C Write failed with error 32\n")}, m_ui.messages);
    m_ui.messages.clear();

    // The pod is pulled out during the read that follows the address.
    Configure("unplug=2");
    ASSERT_TRUE(layer().I2COpen(0, eI2cPodLibrary, 0, 0x03, true, eI2cDeviceRegisters));
    EXPECT_EQ(eI2cDeviceNotFound, layer().I2CReadReg(0, 0x6C, &ulValue));
    EXPECT_EQ(
        QStringList{QStringLiteral("I2C Byte Read of 4 bytes starting at offset 0x6C failed with error 2\n")},
        m_ui.messages);
    m_ui.messages.clear();
    EXPECT_EQ(eI2cDeviceNotFound, layer().I2CWriteReg(0, 0x6C, 1));
    EXPECT_EQ(QStringList{QStringLiteral("I2C Write failed with error 2\n")}, m_ui.messages);
}

TEST_F(I2cLinkTest, EepromImageIsWrittenPageWiseAndReadBack)
{
    ConfigureEeprom("eeprom=AT24C64@0x50;eeprom=256@0x51");
    ASSERT_TRUE(layer().I2COpen(1, eI2cPodLibrary, 0, 0x50, true, eI2cDeviceNone, 2));
    // Not page aligned at its end, and longer than a page: the last page is a short one.
    std::vector<uint8_t> image(100);
    for (size_t i = 0; i < image.size(); ++i)
    {
        image[i] = static_cast<uint8_t>(i * 7 + 3);
    }
    ASSERT_TRUE(layer().WriteEEPROM(1, image.data(), static_cast<uint32_t>(image.size()), 32, 8192));
    std::vector<uint8_t> back(110);
    ASSERT_EQ(eI2cOk, layer().I2CByteRead(1, static_cast<uint32_t>(back.size()), 0, back.data()));
    EXPECT_TRUE(std::equal(image.begin(), image.end(), back.begin()));
    EXPECT_EQ(std::vector<uint8_t>(10, 0xFF), std::vector<uint8_t>(back.begin() + 100, back.end()));

    // Too big for the part: refused before a byte goes.
    std::vector<uint8_t> tooBig(8193, 0x11);
    EXPECT_FALSE(layer().WriteEEPROM(1, tooBig.data(), static_cast<uint32_t>(tooBig.size()), 32, 8192));
    EXPECT_EQ(QStringList{QStringLiteral("The selected image is will not fit in the specified EEPROM.")},
              m_ui.messages);
    ASSERT_EQ(eI2cOk, layer().I2CByteRead(1, 4, 0, back.data()));
    EXPECT_EQ(image[0], back[0]);
    m_ui.messages.clear();

    // A part of one address byte with no page buffer, in pieces of 8.
    ASSERT_TRUE(layer().I2COpen(0, eI2cPodLibrary, 0, 0x51, true, eI2cDeviceNone, 1));
    ASSERT_TRUE(layer().WriteEEPROM(0, image.data(), 20, 0, 256));
    ASSERT_EQ(eI2cOk, layer().I2CByteRead(0, 20, 0, back.data()));
    EXPECT_TRUE(std::equal(image.begin(), image.begin() + 20, back.begin()));

    // A write on a slot that isn't open.
    layer().I2CClose(0);
    EXPECT_FALSE(layer().WriteEEPROM(0, image.data(), 20, 0, 256));
    EXPECT_EQ(QStringList{QStringLiteral("WriteEEPROM failed: invalid handle.")}, m_ui.messages);
}

TEST_F(I2cLinkTest, EepromWriteStopsAtTheStepThatFailed)
{
    // Per page: the write, the address of the read-back, the read-back. The pod goes away during
    // the second transfer (the first read-back's address), the third (its read) or the fourth (the
    // second page's write).
    const std::pair<int, const char*> kCases[] = {
        {4, "DoByteWrite failed."}, {2, "DoByteWrite failed.(2)"}, {3, "DoByteWrite failed.(3)"}};
    std::vector<uint8_t> image(64, 0x5A);
    for (const auto& [nUnplug, pszText] : kCases)
    {
        ConfigureEeprom("eeprom=AT24C64@0x50;unplug=" + std::to_string(nUnplug));
        ASSERT_TRUE(layer().I2COpen(0, eI2cPodLibrary, 0, 0x50, true, eI2cDeviceNone, 2));
        m_ui.messages.clear();
        EXPECT_FALSE(layer().WriteEEPROM(0, image.data(), 64, 32, 8192));
        EXPECT_EQ(QStringList{QString::fromLatin1(pszText)}, m_ui.messages) << nUnplug;
    }
    // The read-back finds what the part holds: a part that keeps only the last page of a longer
    // write (a page size the user chose too big) fails the comparison.
    ConfigureEeprom("eeprom=AT24C64@0x50");
    ASSERT_TRUE(layer().I2COpen(0, eI2cPodLibrary, 0, 0x50, true, eI2cDeviceNone, 2));
    std::vector<uint8_t> ramp(64);
    for (size_t i = 0; i < ramp.size(); ++i)
    {
        ramp[i] = static_cast<uint8_t>(i);
    }
    m_ui.messages.clear();
    EXPECT_FALSE(layer().WriteEEPROM(0, ramp.data(), 64, 64, 8192));
    EXPECT_EQ(QStringList{QStringLiteral("Read back comparison failed.")}, m_ui.messages);
}

TEST_F(I2cLinkTest, SimulatedPodRefusesABadConfigurationAndOffersNoChannel)
{
    const std::pair<const char*, const char*> kCases[] = {
        {"port=sw0@0x03", "a register port needs a topology"},
        {"eeprom=AT24C999@0x50", "unknown EEPROM type 'AT24C999'"},
        {"eeprom=AT24C64", "bad eeprom item 'AT24C64' (TYPE@ADDR)"},
        {"channels=3", "channels must be 1 or 2"},
        {"colour=blue", "unknown item 'colour'"},
    };
    for (const auto& [pszConfig, pszError] : kCases)
    {
        EXPECT_NE(0, m_pfnConfigure(pszConfig)) << pszConfig;
        EXPECT_STREQ(pszError, m_pfnLastError());
        auto pPod = MakeI2cPod(eI2cPodLibrary);
        uint32_t ulChannels = 9;
        ASSERT_EQ(eI2cOk, pPod->GetNumChannels(&ulChannels));
        EXPECT_EQ(0u, ulChannels) << pszConfig;
    }
}

TEST_F(I2cLinkTest, FrontEndCarriesMaintenanceOverTheLink)
{
    CTargetConnection connection;
    ASSERT_TRUE(connection.OpenTarget(eConnI2C7Bit, (0x03u << 16) | (eI2cPodLibrary << 8) | 0))
        << m_ui.messages.join(QLatin1Char('|')).toStdString();
    EXPECT_EQ(QStringLiteral("I2C 0x03"), connection.TargetName());
    EXPECT_EQ(0x0374u, connection.ServerInfo().wDeviceID);
    EXPECT_EQ(0x0038u, connection.ServerInfo().wVendorID);
    CTargetClient& client = CTargetClient::Instance();
    uint32_t aulWords[2] = {0x00C0FFEE, 0x00000002};
    ASSERT_EQ(eRioOk, client.Maint_write(0, 0xFFFFFFFF, 0, 0x6C, aulWords, 1, 4, 2));
    EXPECT_EQ(0x00C0FFEEu, FabricRegister("sw0", 0x6C));
    uint32_t aulRead[2] = {};
    ASSERT_EQ(eRioOk, client.Maint_read(0, 0xFFFFFFFF, 0, 0x68, aulRead, 2, 4, 2));
    EXPECT_EQ(FabricRegister("sw0", 0x68), aulRead[0]);
    EXPECT_EQ(0x00C0FFEEu, aulRead[1]);
    // Word sizes the register port can't carry.
    uint16_t awHalf[1] = {};
    EXPECT_EQ(eRioI2CUnsupported, client.Maint_read(0, 0xFFFFFFFF, 0, 0x6C, awHalf, 1, 2, 2));

    // The pod goes away: reads give the I2C read status after the step's text.
    using PFN_Unplug = void (*)(uint32_t);
    const auto pfnUnplug = reinterpret_cast<PFN_Unplug>(m_library.resolve("NvI2cSimUnplugAfter"));
    ASSERT_TRUE(pfnUnplug);
    pfnUnplug(1);
    m_ui.messages.clear();
    EXPECT_EQ(eRioI2CReadFailed, client.Maint_read(0, 0xFFFFFFFF, 0, 0x6C, aulRead, 1, 4, 2));
    EXPECT_EQ(QStringList{QStringLiteral("I2C Write failed with error 2\n")}, m_ui.messages);
    connection.Disconnect();
    EXPECT_FALSE(layer().IsOpen(0));
}
} // namespace

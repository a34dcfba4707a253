// Boot EEPROM images: the plug-in folder, the log turned into an image by the Tsi57x plug-in, an
// image made from a discovered map without touching the target, and the image written to a
// simulated Tsi578's EEPROM, which the switch loads when a reset-device link-request reaches it.
#include "EepromImage.h"

#include "ClientSimFixture.h"
#include "Discovery.h"
#include "HalRegAccess.h"
#include "NetInitScriptGen.h"
#include "RouteGeneration.h"
#include "TargetClient.h"
#include "TransactionLog.h"
#include "models/TsiSwitch.h"
#include "nvsim/Device.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

namespace nvtest
{
namespace
{
constexpr uint16_t kTundra = 0x000D;
constexpr uint16_t kTsi578 = 0x0578;

uint32_t Word(const QByteArray& bytes, int iAt)
{
    const auto* pb = reinterpret_cast<const uint8_t*>(bytes.constData()) + iAt;
    return (uint32_t{pb[0]} << 24) | (uint32_t{pb[1]} << 16) | (uint32_t{pb[2]} << 8) | pb[3];
}

// A folder holding copies of the named shared objects, loaded into a fresh plug-in list.
class CPluginFolder
{
public:
    explicit CPluginFolder(const std::vector<std::pair<const char*, QString>>& files)
    {
        for (const auto& [pszSource, strName] : files)
        {
            EXPECT_TRUE(QFile::copy(QString::fromLatin1(pszSource), m_dir.filePath(strName))) << pszSource;
        }
        plugins.LoadFolder(m_dir.path(), &messages);
    }
    QString Path() const { return m_dir.path(); }
    QTemporaryDir m_dir;
    CEepromPlugins plugins;
    QStringList messages;
};

QString WriteLog(QTemporaryDir& dir, const char* pszText)
{
    const QString strPath = dir.filePath(QStringLiteral("log.txt"));
    QFile file(strPath);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(pszText);
    return strPath;
}

TEST(EepromPlugins, AFolderListsCompletePluginsInLoadingOrderAndPassesOverTheRest)
{
    QTemporaryDir junkSource;
    const QString strJunk = junkSource.filePath(QStringLiteral("junk"));
    {
        QFile junk(strJunk);
        ASSERT_TRUE(junk.open(QIODevice::WriteOnly));
        junk.write("not a shared object\n");
    }
    const QByteArray junkPath = strJunk.toLocal8Bit();
    CPluginFolder folder({{NV_EEPROM_SAMPLE_PLUGIN, QStringLiteral("a_tsi57x.so")},
                          {NV_EEPROM_NO_FINALIZE_PLUGIN, QStringLiteral("b_nofinalize.so")},
                          {NV_EEPROM_FIRST_WINS_PLUGIN, QStringLiteral("c_firstwins.so")},
                          {junkPath.constData(), QStringLiteral("d_junk.so")},
                          {NV_EEPROM_SAMPLE_PLUGIN, QStringLiteral("e_not_a_library.txt")}});

    // The junk file says why it would not load; the one without Finalize goes silently.
    ASSERT_EQ(1, folder.messages.size());
    EXPECT_TRUE(folder.messages[0].startsWith(QStringLiteral("Error loading ") + folder.Path() +
                                              QStringLiteral("/d_junk.so\n\n")))
        << folder.messages[0].toStdString();
    EXPECT_EQ(2, folder.plugins.Libraries().size());

    // Five Tsi57x parts from the sample, then the two of the later plug-in.
    std::vector<uint32_t> ids;
    for (const SEepromPluginDevice& device : folder.plugins.Devices())
    {
        ids.push_back((uint32_t{device.wVendorOrHigh} << 16) | device.wDeviceOrLow);
    }
    EXPECT_EQ((std::vector<uint32_t>{0x000D0574, 0x000D0575, 0x000D0576, 0x000D0577, 0x000D0578, 0xABCD1234,
                                     0x000D0578}),
              ids);
    const SEepromPluginDevice* pTsi578 = folder.plugins.Find(kTundra, kTsi578);
    ASSERT_NE(nullptr, pTsi578);
    EXPECT_TRUE(pTsi578->strLibrary.endsWith(QStringLiteral("a_tsi57x.so")));
    EXPECT_EQ(nullptr, folder.plugins.Find(kTundra, 0x0568)) << "a Tsi568 has no boot EEPROM";
}

TEST(EepromPlugins, ADeviceOnlyAnIncompletePluginNamesHasNoImageMaker)
{
    CPluginFolder folder({{NV_EEPROM_NO_FINALIZE_PLUGIN, QStringLiteral("nofinalize.so")}});
    EXPECT_TRUE(folder.messages.isEmpty());
    EXPECT_TRUE(folder.plugins.Devices().empty());
    QTemporaryDir dir;
    const QString strLog = WriteLog(dir, "Maint_write ffffffff 2 0 60 4 ffffff # Succeeded\n");
    QByteArray image;
    uint32_t ulUsed = 0;
    QString strError;
    EXPECT_FALSE(LogToImage(folder.plugins, strLog, kTundra, kTsi578, 1024, &image, &ulUsed, &strError));
    EXPECT_EQ(QStringLiteral("Don't know how to create a boot image for this type of device."), strError);
}

TEST(EepromPlugins, ResultCodesHaveTheirTexts)
{
    EXPECT_EQ(QStringLiteral("No error."), EepromPluginErrorText(0));
    EXPECT_EQ(QStringLiteral("No more supported devices found."), EepromPluginErrorText(1));
    EXPECT_EQ(QStringLiteral("EEPROM image is full."), EepromPluginErrorText(2));
    EXPECT_EQ(QStringLiteral("Invalid EEPROM image size."), EepromPluginErrorText(3));
    EXPECT_EQ(QStringLiteral("Unknown error."), EepromPluginErrorText(7));
}

TEST(EepromTypes, TheTableKeepsItsOrderAndFindsPartsByName)
{
    const std::vector<SEepromType>& types = EepromTypes();
    ASSERT_EQ(11u, types.size());
    EXPECT_STREQ("Generic 256 Bit", types.front().pszDeviceType);
    EXPECT_EQ(1u, types.front().ulAddressSize);
    EXPECT_STREQ("AT24C64", types.back().pszDeviceType);
    const SEepromType* pType = FindEepromType(QStringLiteral("at24c256"));
    ASSERT_NE(nullptr, pType);
    EXPECT_EQ(32768u, pType->ulSize);
    EXPECT_EQ(64u, pType->ulPageSize);
    EXPECT_EQ(nullptr, FindEepromType(QStringLiteral("AT24C512")));
}

class CTsi57xLogToImage : public ::testing::Test
{
protected:
    CTsi57xLogToImage() : m_folder({{NV_EEPROM_SAMPLE_PLUGIN, QStringLiteral("tsi57x.so")}}) {}
    bool Convert(const char* pszLog, uint32_t ulSize = 256)
    {
        m_strError.clear();
        m_strCaption.clear();
        return LogToImage(m_folder.plugins, WriteLog(m_dir, pszLog), kTundra, kTsi578, ulSize, &m_image,
                          &m_ulUsed, &m_strError, &m_strCaption);
    }
    CPluginFolder m_folder;
    QTemporaryDir m_dir;
    QByteArray m_image;
    uint32_t m_ulUsed = 0;
    QString m_strError;
    QString m_strCaption;
};

TEST_F(CTsi57xLogToImage, WritesBecomeRecordsAndEverythingElseIsPassedOver)
{
    ASSERT_TRUE(Convert("Maint_read ffffffff 2 0 60 4 # 0 Succeeded\n"
                        "MAINT_WRITE ffffffff 2 0 60 4 ffffff # Succeeded\n"
                        "Nwrite 5 1 000001000 4 # Succeeded\n"
                        "Maint_write ffffffff 2 0 6c 8 12345678 9abcdef0 # Succeeded\n"
                        "Maint_write ffffffff 2 0 11070 4 80000000 # Succeeded\n"
                        "Maint_write ffffffff 2 0 11074 c ff 2 3 # Succeeded\n"
                        "Maint_write ffffffff 2 0 100 0 # Succeeded\n"
                        "Maint_write ffffffff 2 0 104 3 7 # Succeeded\n"))
        << m_strError.toStdString();
    ASSERT_EQ(256, m_image.size());
    // Seven records: 0x60, 0x6C and 0x70, the table's DestID register, and three entries that
    // all go through the table's port register. Byte counts below 4 add nothing.
    EXPECT_EQ(8u + 7u * 8u, m_ulUsed);
    EXPECT_EQ(0x0007FFFFu, Word(m_image, 0));
    EXPECT_EQ(0xFFFFFFFFu, Word(m_image, 4));
    const std::vector<std::pair<uint32_t, uint32_t>> expected = {
        {0x60, 0xFFFFFF}, {0x6C, 0x12345678}, {0x70, 0x9ABCDEF0}, {0x11070, 0x80000000},
        {0x11074, 0xFF},  {0x11074, 2},       {0x11074, 3}};
    for (size_t i = 0; i < expected.size(); ++i)
    {
        const int iAt = 8 + 8 * static_cast<int>(i);
        EXPECT_EQ(expected[i].first, Word(m_image, iAt)) << i;
        EXPECT_EQ(expected[i].second, Word(m_image, iAt + 4)) << i;
    }
    EXPECT_EQ(QByteArray(256 - 64, '\xFF'), m_image.mid(64)) << "the rest stays erased";
}

TEST_F(CTsi57xLogToImage, ALogWithoutWritesIsTheHeaderAlone)
{
    ASSERT_TRUE(Convert("Maint_read ffffffff 2 0 60 4 # 0 Succeeded\n"));
    EXPECT_EQ(8u, m_ulUsed);
    EXPECT_EQ(0x0000FFFFu, Word(m_image, 0));
}

TEST_F(CTsi57xLogToImage, BadTokensAndAFullImageStopWithTheirTexts)
{
    const std::vector<std::pair<const char*, const char*>> cases = {
        {"Maint_write\n", "Invalid token: looking for destID."},
        {"Maint_write ffffffff\n", "Invalid token: looking for priority."},
        {"Maint_write ffffffff 2 # x\n", "Invalid token: looking for hop count."},
        {"Maint_write ffffffff 2 0\n", "Invalid token: looking for offset."},
        {"Maint_write ffffffff 2 0 6q 4 1\n", "Invalid offset token format."},
        {"Maint_write ffffffff 2 0 60\n", "Invalid token: looking for byte count"},
        {"Maint_write ffffffff 2 0 60 z 1\n", "Invalid byte count token format."},
        {"Maint_write ffffffff 2 0 60 8 1 # Succeeded\n", "Invalid token: looking for value."},
        {"Maint_write ffffffff 2 0 60 4 12g4\n", "Invalid value token format."},
    };
    for (const auto& [pszLog, pszText] : cases)
    {
        EXPECT_FALSE(Convert(pszLog)) << pszLog;
        EXPECT_EQ(QString::fromLatin1(pszText), m_strError) << pszLog;
        EXPECT_TRUE(m_strCaption.isEmpty()) << pszLog;
    }
    // 24 bytes hold the header and two records; the third write does not fit.
    EXPECT_FALSE(Convert("Maint_write ffffffff 2 0 60 8 1 2\nMaint_write ffffffff 2 0 6c 4 3\n", 24));
    EXPECT_EQ(QStringLiteral("EEPROM image is full."), m_strError);
    EXPECT_EQ(QStringLiteral("Error"), m_strCaption);
    EXPECT_FALSE(Convert("Maint_write ffffffff 2 0 60 4 1\n", 4));
    EXPECT_EQ(QStringLiteral("Invalid EEPROM image size."), m_strError);
    EXPECT_FALSE(LogToImage(m_folder.plugins, m_dir.filePath(QStringLiteral("missing.txt")), kTundra, kTsi578,
                            256, &m_image, &m_ulUsed, &m_strError));
    EXPECT_EQ(QStringLiteral("Unable to open transaction log."), m_strError);
}

// A host, a Tsi578 with a 32 KB EEPROM and two endpoints.
const char* const kTopology = "device sw switch model=tsi578 eeprom=32K\n"
                              "device ep2 endpoint device=0x1002 memory\n"
                              "device ep3 endpoint device=0x1003 memory\n"
                              "host host0\nlink host0:0 sw:0\nlink sw:2 ep2:0\nlink sw:3 ep3:0\n";

class CEepromOnSim : public CClientSimTest
{
protected:
    void SetUp() override
    {
        CClientSimTest::SetUp();
        m_strOldTemp = qgetenv("TMPDIR");
        qputenv("TMPDIR", m_temp.path().toLocal8Bit());
    }
    void TearDown() override
    {
        qputenv("TMPDIR", m_strOldTemp);
        CClientSimTest::TearDown();
    }
    // Discovers and enumerates the fabric, with routes generated and downloaded; the switch's PE.
    CPEPrimitive* Discover(const std::string& strTopology)
    {
        Load(std::string(kHostLine) + strTopology);
        SDiscoveryRequest request;
        request.bEnumerate = true;
        request.bTryAllClockRates = false;
        EXPECT_EQ(0, StandardDiscovery(request, m_map, &m_host, {}));
        GenerateRoutes(m_map);
        for (int i = 0; i < m_map.ActivePEs.GetCount(); ++i)
        {
            CPEPrimitive* pPE = m_map.ActivePEs.GetByIndex(i);
            if (pPE->DeviceID == kTsi578)
            {
                return pPE;
            }
        }
        ADD_FAILURE() << "no switch in the map";
        return nullptr;
    }
    // The image of the switch without port speeds (the HAL never changes port 0's).
    SEepromImageResult MakeImage(CPEPrimitive& pe, uint32_t ulSize, std::vector<QString>* pProgress = nullptr)
    {
        CNetInitScriptGen gen(m_map);
        gen.BuildTree();
        std::function<void(std::vector<SInitTreeItem>&)> uncheck =
            [&uncheck](std::vector<SInitTreeItem>& items)
        {
            for (SInitTreeItem& item : items)
            {
                if (item.eKind == eInitItemPortSettings)
                {
                    item.SetChecked(false);
                }
                uncheck(item.children);
            }
        };
        uncheck(gen.Tree());
        return GenerateEepromImage(gen, pe, ulSize, false,
                                   [pProgress](const QString& strText)
                                   {
                                       if (pProgress)
                                       {
                                           pProgress->push_back(strText);
                                       }
                                   });
    }
    nvsim::CSimDevice& Switch() { return m_pFabric->Device("sw"); }
    std::vector<uint8_t>& Eeprom()
    {
        return static_cast<nvsim::models::CTsiSwitch&>(Switch()).I2c()->Eeprom();
    }
    uint8_t RouteOf(uint8_t uchInPort, uint32_t ulDestID)
    {
        uint8_t uchOut = 0xFF;
        return Switch().Route(ulDestID, false, uchInPort, &uchOut) ? uchOut : 0xFF;
    }
    QStringList TemporaryFiles() const { return QDir(m_temp.path()).entryList(QDir::Files); }

    CNetworkDocument m_map;
    QTemporaryDir m_temp;
    QByteArray m_strOldTemp;
    SEepromTarget m_target{kTundra, kTsi578, 0, 0xFF, 0, 0x50};
};

uint16_t DestIdOf(CNetworkDocument& map, uint16_t wDevice)
{
    for (int i = 0; i < map.ActivePEs.GetCount(); ++i)
    {
        if (map.ActivePEs.GetByIndex(i)->DeviceID == wDevice)
        {
            return map.ActivePEs.GetByIndex(i)->GetDestID();
        }
    }
    return 0xFFFF;
}

TEST_F(CEepromOnSim, AnImageIsMadeWithoutTouchingTheTargetAndLeavesNoTemporaryFiles)
{
    // The front end exists before the fabric's transport goes in (making it installs its own).
    CTargetLink* pLinkBefore = CTargetClient::Instance().Link();
    CPEPrimitive* pSwitch = Discover(kTopology);
    ASSERT_NE(nullptr, pSwitch);
    const uint64_t ullReads = m_pTransport->ullMaintReads;
    const uint64_t ullWrites = m_pTransport->ullMaintWrites;
    std::vector<QString> progress;

    const SEepromImageResult result = MakeImage(*pSwitch, 32768, &progress);
    ASSERT_TRUE(result.bOk) << result.strError.toStdString();
    EXPECT_EQ(ullReads, m_pTransport->ullMaintReads) << "the play reads the register image only";
    EXPECT_EQ(ullWrites, m_pTransport->ullMaintWrites);
    EXPECT_TRUE(TemporaryFiles().isEmpty()) << TemporaryFiles().join(QLatin1Char(' ')).toStdString();
    EXPECT_FALSE(IsLoggingEnabled());
    EXPECT_EQ(pLinkBefore, CTargetClient::Instance().Link());
    EXPECT_EQ(std::vector<QString>({QStringLiteral("Determinging initialization order...\n"),
                                    QStringLiteral("Checking for errors...\n"),
                                    QStringLiteral("Generating initialization sequence...\n"),
                                    QStringLiteral("Creating EEPROM image based upon your selections...\n"),
                                    QStringLiteral("Converting to EEPROM image...\n")}),
              progress);
    // The HAL still reaches the fabric afterwards.
    uint32_t ulIdentity = 0;
    ASSERT_EQ(NVXL_OK, HalReadReg(0, 0xFF, 0, 0, &ulIdentity));
    EXPECT_EQ(0x0578000Du, ulIdentity);

    // The switch's own IDs first; three route tables of 512 entries each follow (ports 0, 2, 3).
    const QByteArray& image = result.image;
    const uint32_t ulRecords = Word(image, 0) >> 16;
    EXPECT_EQ(8 + 8 * static_cast<int>(ulRecords), image.size());
    EXPECT_EQ(0x60u, Word(image, 8));
    EXPECT_EQ((uint32_t{pSwitch->ShortDestID} << 16) | pSwitch->LongDestID, Word(image, 12));
    EXPECT_EQ(1u + 3u * (1u + 512u), ulRecords);
}

TEST_F(CEepromOnSim, AWrittenImageIsWhatTheSwitchLoadsWhenItResets)
{
    CPEPrimitive* pSwitch = Discover(kTopology);
    ASSERT_NE(nullptr, pSwitch);
    const SEepromImageResult result = MakeImage(*pSwitch, 32768);
    ASSERT_TRUE(result.bOk) << result.strError.toStdString();
    std::vector<QString> progress;
    QString strError;
    ASSERT_TRUE(WriteEepromImage(m_target, *FindEepromType(QStringLiteral("AT24C256")), result.image,
                                 &strError,
                                 [&progress](const QString& strText) { progress.push_back(strText); }))
        << strError.toStdString();
    EXPECT_EQ(std::vector<QString>({QStringLiteral("Writing the image to the EEPROM...\n"),
                                    QStringLiteral("Reading the image back from the EEPROM...\n"),
                                    QStringLiteral("Comparing...\n")}),
              progress);
    EXPECT_EQ(result.image, QByteArray(reinterpret_cast<const char*>(Eeprom().data()), result.image.size()));
    QByteArray readBack;
    ASSERT_TRUE(ReadEepromImage(m_target, *FindEepromType(QStringLiteral("AT24C256")),
                                static_cast<uint32_t>(result.image.size()), &readBack, &strError));
    EXPECT_EQ(result.image, readBack);

    // The running switch differs from the map: enumeration left its tables empty, and its ID
    // is changed here.
    const uint16_t wEp2 = DestIdOf(m_map, 0x1002);
    const uint16_t wEp3 = DestIdOf(m_map, 0x1003);
    const uint32_t ulMapIds = (uint32_t{pSwitch->ShortDestID} << 16) | pSwitch->LongDestID;
    const uint32_t ulOtherIds = 0x00AA00AAu;
    ASSERT_EQ(0, m_pFabric->MaintWrite(0, 0xFF, 0, 0x60, &ulOtherIds, 1, 4, 4, false));
    for (uint8_t uchPort : {0, 2, 3})
    {
        Switch().WriteRegister(0x11070 + 0x100u * uchPort, 0x80000000u, 0xFFFFFFFF, {0, true});
        for (uint32_t i = 0; i < 512; ++i)
        {
            Switch().WriteRegister(0x11074 + 0x100u * uchPort, 0xFF, 0xFFFFFFFF, {0, true});
        }
    }
    ASSERT_EQ(0xFF, RouteOf(0, wEp2));

    // The host sends a reset-device link-request out of its port 0 to the switch.
    const uint32_t ulResetDevice = 3;
    ASSERT_EQ(0, m_pFabric->MaintWrite(0, 0xFFFFFFFF, 0, 0x140, &ulResetDevice, 1, 4, 4, false));
    auto& model = static_cast<nvsim::models::CTsiSwitch&>(Switch());
    EXPECT_EQ(Word(result.image, 0) >> 16, model.BootRecordsLoaded());
    uint32_t ulIds = 0;
    ASSERT_EQ(0, m_pFabric->MaintRead(0, 0xFF, 0, 0x60, &ulIds, 1, 4, 4, false));
    EXPECT_EQ(ulMapIds, ulIds);
    EXPECT_EQ(2, RouteOf(0, wEp2));
    EXPECT_EQ(3, RouteOf(0, wEp3));
    EXPECT_EQ(0, RouteOf(2, DestIdOf(m_map, 0x0001)));
    EXPECT_EQ(3, RouteOf(2, wEp3));
    EXPECT_EQ(0xFF, RouteOf(0, 0x77)) << "an ID the map does not route";
}

TEST_F(CEepromOnSim, AnImageTooLargeForThePartOrALostWriteIsRefusedWithItsText)
{
    Load(std::string(kHostLine) + kTopology);
    QByteArray image(300, '\x5A');
    QString strError;
    EXPECT_FALSE(
        WriteEepromImage(m_target, *FindEepromType(QStringLiteral("Generic 256 Bit")), image, &strError));
    EXPECT_EQ(QStringLiteral("The selected image is will not fit in the specified EEPROM."), strError);
    EXPECT_EQ(std::vector<uint8_t>(Eeprom().size(), 0xFF), Eeprom()) << "nothing written half way";
    EXPECT_FALSE(WriteEepromImage(m_target, *FindEepromType(QStringLiteral("AT24C64")),
                                  QByteArray(0x10001, 0), &strError));
    EXPECT_EQ(QStringLiteral("The selected image is too large."), strError);

    // Nothing answers at 0x51: the writes go nowhere, and the read-back finds it out.
    SEepromTarget elsewhere = m_target;
    elsewhere.uchI2CAddress = 0x51;
    std::vector<QString> progress;
    EXPECT_FALSE(WriteEepromImage(elsewhere, *FindEepromType(QStringLiteral("AT24C64")), image, &strError,
                                  [&progress](const QString& strText) { progress.push_back(strText); }));
    EXPECT_EQ(QStringLiteral("Write validation failed."), strError);
    EXPECT_EQ(QStringLiteral("Write validation failed\n"), progress.back());

    // A device without an EEPROM behind it.
    SEepromTarget endpoint{0xFFF0, 0x1002, 0, 5, 1, 0x50};
    EXPECT_FALSE(WriteEepromImage(endpoint, *FindEepromType(QStringLiteral("AT24C64")), image, &strError));
    EXPECT_EQ(
        QStringLiteral("This device does not support EEPROM access via RapidIO maintenance transactions."),
        strError);
}

TEST_F(CEepromOnSim, AnErasedEepromLoadsNothingAtReset)
{
    Load(std::string(kHostLine) + kTopology);
    const uint32_t ulIds = 0x00AA00AAu;
    ASSERT_EQ(0, m_pFabric->MaintWrite(0, 0xFF, 0, 0x60, &ulIds, 1, 4, 4, false));
    const uint32_t ulResetDevice = 3;
    ASSERT_EQ(0, m_pFabric->MaintWrite(0, 0xFFFFFFFF, 0, 0x140, &ulResetDevice, 1, 4, 4, false));
    EXPECT_EQ(0u, static_cast<nvsim::models::CTsiSwitch&>(Switch()).BootRecordsLoaded());
    uint32_t ulRead = 0;
    ASSERT_EQ(0, m_pFabric->MaintRead(0, 0xFF, 0, 0x60, &ulRead, 1, 4, 4, false));
    EXPECT_EQ(ulIds, ulRead);
}
} // namespace
} // namespace nvtest

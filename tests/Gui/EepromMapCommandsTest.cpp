// The map window's EEPROM commands against the in-process fabric (a Tsi578 whose I2C master has an
// EEPROM) and against the simulated I2C pod's EEPROM for a device without maintenance access.
#include "GuiTestEnvironment.h"

#include "ClientSimFixture.h"
#include "Discovery.h"
#include "EepromImage.h"
#include "EepromMapCommands.h"
#include "EepromTypeSelectDlg.h"
#include "I2cLink.h"
#include "Preferences.h"
#include "RouteGeneration.h"
#include "SRecord.h"
#include "TargetClient.h"
#include "TestSupport.h"
#include "models/TsiSwitch.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLibrary>
#include <QLineEdit>
#include <QListWidget>
#include <QTimer>
#include <QTreeWidget>

#include <cstdlib>
#include <functional>

namespace
{
const char* const kTsiFabric = "device sw switch model=tsi578 eeprom=32K\n"
                               "device ep2 endpoint device=0x1002 memory\n"
                               "host host0\nlink host0:0 sw:0\nlink sw:2 ep2:0\n";
const QString kNoAccess =
    QStringLiteral("This device does not support EEPROM access via RapidIO maintenance transactions.");

QString TempDir(const char* pszName)
{
    const QString strPath = QString::fromStdString(nvtest::ProcessTempDir()) + "/" + pszName;
    QDir().mkpath(strPath);
    return strPath;
}

QByteArray Pattern(int nBytes, int nSeed)
{
    QByteArray bytes(nBytes, '\0');
    for (int i = 0; i < nBytes; ++i)
    {
        bytes[i] = static_cast<char>((i * 7 + nSeed) & 0xFF);
    }
    return bytes;
}

void WriteFile(const QString& strPath, const QByteArray& bytes)
{
    QFile file(strPath);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

QByteArray ReadFile(const QString& strPath)
{
    QFile file(strPath);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Works the next modal dialog once the command's exec has shown it.
void OnNextDialog(std::function<void(QWidget*)> work)
{
    QTimer::singleShot(0,
                       [work]
                       {
                           QWidget* pDialog = QApplication::activeModalWidget();
                           ASSERT_NE(nullptr, pDialog);
                           work(pDialog);
                       });
}

class EepromMapCommandsTest : public nvtest::CClientSimTest
{
protected:
    void SetUp() override
    {
        nvtest::CClientSimTest::SetUp();
        SetPreference(QStringLiteral("Preferences"), QStringLiteral("DefaultI2Cchip"),
                      QStringLiteral("AT24C64"));
        SetPreference(QStringLiteral("Preferences"), QStringLiteral("I2C_EEPROMAddress"), 0x50u);
        // The client's front end makes itself the HAL's transport when it first comes up; the
        // in-process fabric takes that place after it.
        CTargetClient::Instance();
        Load(std::string(nvtest::kHostLine) + kTsiFabric);
        SDiscoveryRequest request;
        request.bEnumerate = true;
        request.bTryAllClockRates = false;
        ASSERT_EQ(0, StandardDiscovery(request, m_map, &m_host, {}));
        GenerateRoutes(m_map);
        for (const auto& pPE : m_map.ActivePEs)
        {
            (pPE->DeviceID == 0x0578 ? m_pSwitch : m_pEndpoint) = pPE.get();
        }
        ASSERT_NE(nullptr, m_pSwitch);
        ASSERT_NE(nullptr, m_pEndpoint);
    }
    void TearDown() override
    {
        CI2cLayer::Instance().I2CClose(1);
        CI2cLayer::Instance().SetPod(eI2cPodLibrary, nullptr);
        RemovePreference(QStringLiteral("Preferences"), QStringLiteral("DefaultI2Cchip"));
        RemovePreference(QStringLiteral("Preferences"), QStringLiteral("I2C_EEPROMAddress"));
        nvtest::CClientSimTest::TearDown();
    }
    std::vector<uint8_t>& Eeprom()
    {
        return static_cast<nvsim::models::CTsiSwitch&>(m_pFabric->Device("sw")).I2c()->Eeprom();
    }
    QByteArray EepromBytes(int nBytes)
    {
        return QByteArray(reinterpret_cast<const char*>(Eeprom().data()), nBytes);
    }
    // The simulated pod with one AT24C64 at 50h on its bus.
    void UsePod(const char* pszExtra = "")
    {
        ::setenv("NORVANTA_I2C_POD", (nvtest::BinaryDir() + "/Simulator/libnvsim_i2cpod.so").c_str(), 1);
        ::setenv("NORVANTA_I2C_SIM", (std::string("eeprom=AT24C64@0x50") + pszExtra).c_str(), 1);
        CI2cLayer::Instance().SetPod(eI2cPodLibrary, MakeI2cPod(eI2cPodLibrary));
        // The library stays loaded between tests: its bus starts over with this configuration.
        QLibrary library(QString::fromStdString(nvtest::BinaryDir() + "/Simulator/libnvsim_i2cpod.so"));
        auto pfnConfigure = reinterpret_cast<int32_t (*)(const char*)>(library.resolve("NvI2cSimConfigure"));
        ASSERT_NE(nullptr, pfnConfigure);
        ASSERT_EQ(0, pfnConfigure((std::string("eeprom=AT24C64@0x50") + pszExtra).c_str()));
    }
    // Answers the connect dialog with the simulated pod's channel and an address.
    static void ConnectDialogChooses(const QString& strAddress)
    {
        OnNextDialog(
            [strAddress](QWidget* pWidget)
            {
                auto* pDialog = qobject_cast<CEepromConnectDlg*>(pWidget);
                ASSERT_NE(nullptr, pDialog);
                const QList<QListWidgetItem*> items = pDialog->ChannelList()->findItems(
                    QStringLiteral("Norvanta Simulated I2C Pod A\t0"), Qt::MatchExactly);
                ASSERT_EQ(1, items.size());
                pDialog->ChannelList()->setCurrentItem(items[0]);
                EXPECT_EQ(QStringLiteral("50h"), pDialog->Address()->text()) << "the kept address";
                pDialog->Address()->setText(strAddress);
                if (!pDialog->TakeChoice())
                {
                    pDialog->reject();
                }
            });
    }

    CNetworkDocument m_map;
    CPEPrimitive* m_pSwitch = nullptr;
    CPEPrimitive* m_pEndpoint = nullptr;
};

TEST_F(EepromMapCommandsTest, WritesAnImageOverMaintenanceAndReadsItBack)
{
    const QString strDir = TempDir("eeprom-map-write");
    const QByteArray image = Pattern(300, 3);
    WriteFile(strDir + "/boot.bin", image);
    m_ui.texts = {strDir + "/boot.bin"};
    ASSERT_TRUE(WriteEepromImageCommand(m_map, *m_pSwitch, nullptr)) << m_ui.messages.join('|').toStdString();
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join('|').toStdString();
    EXPECT_EQ(image, EepromBytes(image.size()));
    EXPECT_EQ(0xFF, Eeprom()[300]) << "nothing beyond the image";
    EXPECT_TRUE(m_ui.workTitles.contains("Working...Please wait."));
    EXPECT_TRUE(m_ui.workTitles.contains("Writing image to EEPROM..."));
    EXPECT_TRUE(m_ui.workLines.contains("Writing the image to the EEPROM...\n"));
    EXPECT_TRUE(m_ui.workLines.contains("Reading the image back from the EEPROM...\n"));
    EXPECT_TRUE(m_ui.workLines.contains("Comparing...\n"));

    // An S-Record file of another image writes over it.
    const QByteArray second = Pattern(100, 91);
    {
        QFile records(strDir + "/boot.sre");
        ASSERT_TRUE(records.open(QIODevice::WriteOnly | QIODevice::Truncate));
        ASSERT_TRUE(WriteSRecordImage(reinterpret_cast<const uint8_t*>(second.constData()),
                                      static_cast<size_t>(second.size()), records, 0, 2));
    }
    m_ui.texts = {strDir + "/boot.sre"};
    ASSERT_TRUE(WriteEepromImageCommand(m_map, *m_pSwitch, nullptr)) << m_ui.messages.join('|').toStdString();
    EXPECT_EQ(second + image.mid(100), EepromBytes(300));

    // Reading gives the whole part, to a binary file and to S-Records.
    m_ui.workTitles.clear();
    m_ui.texts = {strDir + "/read.bin"};
    ASSERT_TRUE(ReadEepromImageCommand(m_map, *m_pSwitch, nullptr)) << m_ui.messages.join('|').toStdString();
    EXPECT_EQ(QStringList{"Reading EEPROM..."}, m_ui.workTitles);
    const QByteArray readBack = ReadFile(strDir + "/read.bin");
    ASSERT_EQ(8192, readBack.size()) << "an AT24C64";
    EXPECT_EQ(EepromBytes(8192), readBack);
    m_ui.texts = {strDir + "/read.sre"};
    ASSERT_TRUE(ReadEepromImageCommand(m_map, *m_pSwitch, nullptr));
    QFile records(strDir + "/read.sre");
    ASSERT_TRUE(records.open(QIODevice::ReadOnly));
    std::unique_ptr<uint8_t[]> data;
    size_t nSize = 0;
    ASSERT_TRUE(ReadSRecordImage(records, &data, &nSize));
    ASSERT_EQ(8192u, nSize);
    EXPECT_EQ(readBack, QByteArray(reinterpret_cast<const char*>(data.get()), 8192));
}

TEST_F(EepromMapCommandsTest, BadImagesAreRefusedWithTheirTextsAndLeaveTheEepromAlone)
{
    const QString strDir = TempDir("eeprom-map-bad");
    const std::vector<uint8_t> blank(Eeprom().size(), 0xFF);
    struct SCase
    {
        QString strFile;
        QByteArray content;
        const char* pszType;
        QString strMessage;
    };
    const SCase cases[] = {
        {"image.txt", Pattern(16, 1), "AT24C64", "Unknown file type.  Must be .bin or .sre"},
        {"big.bin", Pattern(8193, 1), "AT24C64",
         "The selected image is will not fit in the specified EEPROM."},
        {"huge.bin", Pattern(0x10001, 1), "AT24C256", "The selected image is too large."},
        {"bad.sre", "S1130000zz\n", "AT24C64", "Unable to read EEPROM image file."},
    };
    for (const SCase& one : cases)
    {
        SetPreference(QStringLiteral("Preferences"), QStringLiteral("DefaultI2Cchip"), QString(one.pszType));
        WriteFile(strDir + "/" + one.strFile, one.content);
        m_ui.messages.clear();
        m_ui.texts = {strDir + "/" + one.strFile};
        EXPECT_FALSE(WriteEepromImageCommand(m_map, *m_pSwitch, nullptr)) << one.strFile.toStdString();
        ASSERT_FALSE(m_ui.messages.isEmpty()) << one.strFile.toStdString();
        EXPECT_EQ(one.strMessage, m_ui.messages.back()) << one.strFile.toStdString();
        EXPECT_EQ(blank, Eeprom()) << one.strFile.toStdString();
    }
    m_ui.messages.clear();
    m_ui.texts = {strDir + "/missing.bin"};
    EXPECT_FALSE(WriteEepromImageCommand(m_map, *m_pSwitch, nullptr));
    ASSERT_EQ(1, m_ui.messages.size());
    EXPECT_TRUE(m_ui.messages[0].startsWith("Unable to open " + strDir + "/missing.bin\n\n"))
        << m_ui.messages[0].toStdString();
    EXPECT_EQ(0, m_ui.nBeeps);
}

TEST_F(EepromMapCommandsTest, WithoutMaintenanceAccessTheImageGoesThroughTheI2cPod)
{
    UsePod();
    const QString strDir = TempDir("eeprom-map-pod");
    const QByteArray image = Pattern(200, 17);
    WriteFile(strDir + "/boot.bin", image);
    const QString strQuestion = kNoAccess + "  Do you want to connect via I2C?";

    // No: nothing written, and why.
    m_ui.texts = {strDir + "/boot.bin"};
    m_ui.answers = {eAnswerNo};
    EXPECT_FALSE(WriteEepromImageCommand(m_map, *m_pEndpoint, nullptr));
    EXPECT_EQ(QStringList{strQuestion}, m_ui.questions);
    EXPECT_EQ(QStringList{kNoAccess}, m_ui.messages);
    EXPECT_FALSE(EepromConnectedByI2c());

    // An address beyond 7 bits keeps the dialog open with its text; the pod is not connected.
    m_ui.messages.clear();
    m_ui.questions.clear();
    m_ui.texts = {strDir + "/boot.bin"};
    m_ui.answers = {eAnswerYes};
    ConnectDialogChooses("80h");
    EXPECT_FALSE(WriteEepromImageCommand(m_map, *m_pEndpoint, nullptr));
    EXPECT_EQ((QStringList{"Address out of range.", kNoAccess}), m_ui.messages);

    // Yes, and the pod's channel with the EEPROM's address: written through the pod.
    m_ui.messages.clear();
    m_ui.texts = {strDir + "/boot.bin"};
    m_ui.answers = {eAnswerYes};
    ConnectDialogChooses("50h");
    ASSERT_TRUE(WriteEepromImageCommand(m_map, *m_pEndpoint, nullptr))
        << m_ui.messages.join('|').toStdString();
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join('|').toStdString();
    EXPECT_TRUE(EepromConnectedByI2c());
    EXPECT_TRUE(m_ui.workTitles.contains("Writing image to EEPROM via I2C Pod..."));
    EXPECT_EQ(std::vector<uint8_t>(Eeprom().size(), 0xFF), Eeprom()) << "the switch's EEPROM is not the one";

    // Connected, the read asks nothing and brings back what the pod's EEPROM holds.
    m_ui.questions.clear();
    m_ui.texts = {strDir + "/read.bin"};
    ASSERT_TRUE(ReadEepromImageCommand(m_map, *m_pEndpoint, nullptr))
        << m_ui.messages.join('|').toStdString();
    EXPECT_TRUE(m_ui.questions.isEmpty());
    EXPECT_TRUE(m_ui.workTitles.contains("Reading EEPROM via I2C Pod..."));
    const QByteArray readBack = ReadFile(strDir + "/read.bin");
    ASSERT_EQ(8192, readBack.size());
    EXPECT_EQ(image, readBack.left(image.size()));
    EXPECT_EQ(QByteArray(8192 - image.size(), '\xFF'), readBack.mid(image.size()));
    EXPECT_EQ(0x50u, GetPreference(QStringLiteral("Preferences"), QStringLiteral("I2C_EEPROMAddress"), 0u));
}

TEST_F(EepromMapCommandsTest, APodUnpluggedMidWriteFailsWithItsText)
{
    UsePod(";unplug=4");
    const QString strDir = TempDir("eeprom-map-unplug");
    WriteFile(strDir + "/boot.bin", Pattern(256, 5));
    m_ui.texts = {strDir + "/boot.bin"};
    m_ui.answers = {eAnswerYes};
    ConnectDialogChooses("50h");
    EXPECT_FALSE(WriteEepromImageCommand(m_map, *m_pEndpoint, nullptr));
    ASSERT_FALSE(m_ui.messages.isEmpty());
    EXPECT_EQ("Write failed.", m_ui.messages.back()) << m_ui.messages.join('|').toStdString();
}

TEST_F(EepromMapCommandsTest, SetTypeKeepsTheChosenPart)
{
    RemovePreference(QStringLiteral("Preferences"), QStringLiteral("DefaultI2Cchip"));
    OnNextDialog([](QWidget* pWidget) { pWidget->close(); });
    EXPECT_FALSE(SetEepromTypeCommand(nullptr));
    EXPECT_EQ(nullptr, CEepromTypeSelectDlg::DefaultType());
    OnNextDialog(
        [](QWidget* pWidget)
        {
            auto* pDialog = qobject_cast<CEepromTypeSelectDlg*>(pWidget);
            ASSERT_NE(nullptr, pDialog);
            pDialog->List()->setCurrentItem(pDialog->List()->topLevelItem(10));
            pDialog->OnNext();
        });
    ASSERT_TRUE(SetEepromTypeCommand(nullptr));
    ASSERT_NE(nullptr, CEepromTypeSelectDlg::DefaultType());
    EXPECT_STREQ("AT24C64", CEepromTypeSelectDlg::DefaultType()->pszDeviceType);
}
} // namespace

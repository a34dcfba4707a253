// The boot EEPROM image of a PE from the script window: the EEPROM part chosen from the table of
// parts, the image made from the checked items, saved in both formats, and written to the
// simulated Tsi578's EEPROM when the person says so.
#include "GuiTestEnvironment.h"

#include "ClientSimFixture.h"
#include "Discovery.h"
#include "EepromImage.h"
#include "EepromTypeSelectDlg.h"
#include "NetInitScriptGenDlg.h"
#include "Preferences.h"
#include "RouteGeneration.h"
#include "TestSupport.h"
#include "models/TsiSwitch.h"

#include <QDir>
#include <QFile>
#include <QHeaderView>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeWidget>

namespace
{
const char* const kTsiFabric = "device sw switch model=tsi578 eeprom=32K\n"
                               "device ep2 endpoint device=0x1002 memory\n"
                               "host host0\nlink host0:0 sw:0\nlink sw:2 ep2:0\n";

QString TempDir(const char* pszName)
{
    const QString strPath = QString::fromStdString(nvtest::ProcessTempDir()) + "/" + pszName;
    QDir().mkpath(strPath);
    return strPath;
}

class EepromImageDlgTest : public nvtest::CClientSimTest
{
protected:
    void SetUp() override
    {
        nvtest::CClientSimTest::SetUp();
        RemovePreference(QStringLiteral("Preferences"), QStringLiteral("DefaultI2Cchip"));
    }
    void TearDown() override
    {
        RemovePreference(QStringLiteral("Preferences"), QStringLiteral("DefaultI2Cchip"));
        nvtest::CClientSimTest::TearDown();
    }
    CPEPrimitive* DiscoverSwitch()
    {
        Load(std::string(nvtest::kHostLine) + kTsiFabric);
        SDiscoveryRequest request;
        request.bEnumerate = true;
        request.bTryAllClockRates = false;
        EXPECT_EQ(0, StandardDiscovery(request, m_map, &m_host, {}));
        GenerateRoutes(m_map);
        for (const auto& pPE : m_map.ActivePEs)
        {
            if (pPE->DeviceID == 0x0578)
            {
                return pPE.get();
            }
        }
        return nullptr;
    }
    std::vector<uint8_t>& Eeprom()
    {
        return static_cast<nvsim::models::CTsiSwitch&>(m_pFabric->Device("sw")).I2c()->Eeprom();
    }
    CNetworkDocument m_map;
};

TEST_F(EepromImageDlgTest, TheTypeListAsksForARowAndKeepsTheChoice)
{
    CEepromTypeSelectDlg dialog;
    EXPECT_EQ(nullptr, CEepromTypeSelectDlg::DefaultType());
    QTreeWidget* pList = dialog.List();
    ASSERT_EQ(11, pList->topLevelItemCount());
    EXPECT_EQ(
        (QStringList{"Manufacturer", "Device Type", "Size (bytes)", "Page Size (bytes)",
                     "Addr Size (bytes)"}),
        (QStringList{pList->headerItem()->text(0), pList->headerItem()->text(1), pList->headerItem()->text(2),
                     pList->headerItem()->text(3), pList->headerItem()->text(4)}));
    // Every column shows its longest text whole.
    for (int iColumn = 0; iColumn < 5; ++iColumn)
    {
        for (int iRow = 0; iRow < pList->topLevelItemCount(); ++iRow)
        {
            EXPECT_LE(pList->fontMetrics().horizontalAdvance(pList->topLevelItem(iRow)->text(iColumn)),
                      pList->columnWidth(iColumn))
                << iRow << " " << iColumn;
        }
    }
    EXPECT_FALSE(dialog.OnNext());
    EXPECT_EQ(QStringList{"Please select an EEPROM Device"}, m_ui.messages);
    pList->setCurrentItem(pList->topLevelItem(8));
    ASSERT_TRUE(dialog.OnNext());
    ASSERT_NE(nullptr, dialog.Chosen());
    EXPECT_STREQ("AT24C256", dialog.Chosen()->pszDeviceType);
    EXPECT_EQ(dialog.Chosen(), CEepromTypeSelectDlg::DefaultType());
    EXPECT_EQ(QStringLiteral("AT24C256"),
              GetPreference(QStringLiteral("Preferences"), QStringLiteral("DefaultI2Cchip"), QString()));
}

TEST_F(EepromImageDlgTest, SaveEepromImageSavesTheImageAndWritesItWhenAsked)
{
    CPEPrimitive* pSwitch = DiscoverSwitch();
    ASSERT_NE(nullptr, pSwitch);
    SetPreference(QStringLiteral("Preferences"), QStringLiteral("DefaultI2Cchip"),
                  QStringLiteral("AT24C256"));
    CNetInitScriptGenDlg dialog(m_map, *pSwitch, CNetInitScriptGenDlg::SEepromImageUse{});
    EXPECT_EQ("EEPROM Device Initialization Image", dialog.windowTitle());
    EXPECT_EQ("Save EEPROM Image", dialog.SaveButton()->text());
    EXPECT_TRUE(dialog.MakesEepromImage());
    EXPECT_FALSE(dialog.SavesRegisterValues());
    EXPECT_TRUE(dialog.HostField()->isHidden());
    ASSERT_EQ(1, dialog.Tree()->topLevelItemCount()) << "only the PE in hand";

    // With port 0's speed checked the play stops there: the HAL never changes that port.
    const QString strDir = TempDir("eeprom-images");
    m_ui.texts = {strDir + "/never.bin"};
    EXPECT_FALSE(dialog.OnSaveEepromImage());
    ASSERT_FALSE(m_ui.messages.isEmpty());
    EXPECT_TRUE(m_ui.messages.back().startsWith("Action not supported for specified PE\nLine "))
        << m_ui.messages.back().toStdString();
    EXPECT_FALSE(QFile::exists(strDir + "/never.bin"));

    QTreeWidgetItem* pNode = dialog.Tree()->topLevelItem(0);
    pNode->setExpanded(true);
    for (int i = 0; i < pNode->childCount(); ++i)
    {
        if (pNode->child(i)->text(0) == QLatin1String("Port Settings"))
        {
            pNode->child(i)->setCheckState(0, Qt::Unchecked);
        }
    }
    m_ui.messages.clear();
    m_ui.texts = {strDir + "/switch.sre"};
    m_ui.answers = {eAnswerNo};
    ASSERT_TRUE(dialog.OnSaveEepromImage()) << m_ui.messages.join('|').toStdString();
    QFile records(strDir + "/switch.sre");
    ASSERT_TRUE(records.open(QIODevice::ReadOnly));
    EXPECT_TRUE(records.readLine().startsWith("S1130000")) << "two address bytes: S1 records";
    EXPECT_EQ(std::vector<uint8_t>(Eeprom().size(), 0xFF), Eeprom()) << "No leaves the EEPROM alone";

    m_ui.texts = {strDir + "/switch.bin"};
    m_ui.answers = {eAnswerYes};
    ASSERT_TRUE(dialog.OnSaveEepromImage()) << m_ui.messages.join('|').toStdString();
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join('|').toStdString();
    EXPECT_EQ(QStringList{"Do you also want to write the image to the EEPROM?"}, m_ui.questions.mid(1));
    QFile image(strDir + "/switch.bin");
    ASSERT_TRUE(image.open(QIODevice::ReadOnly));
    const QByteArray bytes = image.readAll();
    ASSERT_GT(bytes.size(), 8);
    EXPECT_EQ(bytes, QByteArray(reinterpret_cast<const char*>(Eeprom().data()), bytes.size()));
}
} // namespace

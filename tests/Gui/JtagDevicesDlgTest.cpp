// "Unsupported JTAG Devices" on the stored list, and the JTAG tab of the connection dialog on the
// simulated pod library: a chain with a part the library doesn't know lists nothing until the
// part is told to it through the dialog, then lists the RapidIO devices and connects.
#include "GuiTestEnvironment.h"

#include "ConnectDlg.h"
#include "JtagDevicesDlg.h"
#include "JtagLink.h"
#include "NumberText.h"
#include "RecordingUserInterface.h"
#include "TargetConnection.h"
#include "TestSupport.h"

#include <QApplication>
#include <QFontMetrics>
#include <QHeaderView>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTabWidget>
#include <QTimer>
#include <QTreeWidget>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

namespace
{
const QString kAlreadyListed =
    QStringLiteral("A device with that JTAG ID is already in the list. Do you want to update it?");

class JtagDevicesDlgTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(SaveJtagUserDevices({})); }
    void TearDown() override { SaveJtagUserDevices({}); }

    static void Fields(CJTAGDefineDevicesDlg& dialog, const QString& strName, const QString& strID,
                       const QString& strIR)
    {
        dialog.NameEdit()->setText(strName);
        dialog.JtagIDEdit()->setText(strID);
        dialog.IRLengthEdit()->setText(strIR);
    }
    static QStringList Row(const CJTAGDefineDevicesDlg& dialog, int iRow)
    {
        const QTreeWidgetItem* pItem = dialog.List()->topLevelItem(iRow);
        return pItem ? QStringList{pItem->text(0), pItem->text(1), pItem->text(2)} : QStringList{};
    }

    nvtest::CRecordingUserInterface m_ui;
};

TEST_F(JtagDevicesDlgTest, AddStoresEachDeviceAndASecondOfTheSameIDAsksBeforeReplacing)
{
    CJTAGDefineDevicesDlg dialog;
    EXPECT_EQ(0, dialog.List()->topLevelItemCount());
    EXPECT_FALSE(dialog.UpdateButton()->isEnabled());
    EXPECT_FALSE(dialog.DeleteButton()->isEnabled());

    // Numbers are taken as engineers type them: hexadecimal with h or 0x, decimal bare.
    Fields(dialog, QStringLiteral("Board CPLD"), QStringLiteral("0123A0F3h"), QStringLiteral("8"));
    ASSERT_TRUE(dialog.Add());
    Fields(dialog, QStringLiteral("FPGA"), QStringLiteral("0x0A1B2C3D"), QStringLiteral("10"));
    ASSERT_TRUE(dialog.Add());
    const std::vector<SJtagUserDevice> two = {{QStringLiteral("Board CPLD"), 0x0123A0F3, 8},
                                              {QStringLiteral("FPGA"), 0x0A1B2C3D, 10}};
    EXPECT_EQ(two, LoadJtagUserDevices());
    EXPECT_EQ((QStringList{QStringLiteral("FPGA"), QStringLiteral("0A1B2C3Dh"), QStringLiteral("10")}),
              Row(dialog, 1));
    EXPECT_TRUE(dialog.DeleteButton()->isEnabled());
    EXPECT_TRUE(m_ui.questions.isEmpty());

    // The same JTAG ID again: the question, and No leaves the list as it was.
    Fields(dialog, QStringLiteral("CPLD rev B"), QStringLiteral("123A0F3h"), QStringLiteral("6"));
    m_ui.answers = {eAnswerNo};
    EXPECT_FALSE(dialog.Add());
    EXPECT_EQ(QStringList{kAlreadyListed}, m_ui.questions);
    EXPECT_EQ(two, LoadJtagUserDevices());

    // Yes replaces that entry in place, not adding a second.
    m_ui.answers = {eAnswerYes};
    ASSERT_TRUE(dialog.Add());
    EXPECT_EQ(2, m_ui.questions.size());
    const std::vector<SJtagUserDevice> replaced = {{QStringLiteral("CPLD rev B"), 0x0123A0F3, 6}, two[1]};
    EXPECT_EQ(replaced, LoadJtagUserDevices());
    EXPECT_EQ(2, dialog.List()->topLevelItemCount());
    EXPECT_EQ(QStringLiteral("CPLD rev B"), Row(dialog, 0)[0]);
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join('|').toStdString();
}

TEST_F(JtagDevicesDlgTest, FieldsThatAreNotValidAreToldAndNothingIsStored)
{
    CJTAGDefineDevicesDlg dialog;
    const struct
    {
        const char *pszName, *pszID, *pszIR;
    } kBad[] = {{"cpld", "XYZ", "8"},     {"cpld", "1_0000_0000h", "8"}, {"cpld", "1234h", "0"},
                {"cpld", "1234h", "256"}, {"cpld", "1234h", ""},         {"cpld", "", "8"}};
    for (const auto& bad : kBad)
    {
        SCOPED_TRACE(std::string(bad.pszID) + " / " + bad.pszIR);
        m_ui.messages.clear();
        Fields(dialog, QString::fromLatin1(bad.pszName), QString::fromLatin1(bad.pszID),
               QString::fromLatin1(bad.pszIR));
        EXPECT_FALSE(dialog.Add());
        EXPECT_EQ(QStringList{InvalidEntryText()}, m_ui.messages);
    }
    Fields(dialog, QStringLiteral("  "), QStringLiteral("1234h"), QStringLiteral("8"));
    m_ui.messages.clear();
    EXPECT_FALSE(dialog.Add());
    EXPECT_EQ(1, m_ui.messages.size());
    EXPECT_TRUE(LoadJtagUserDevices().empty());
    EXPECT_EQ(0, dialog.List()->topLevelItemCount());
}

TEST_F(JtagDevicesDlgTest, UpdateAndDeleteWorkOnTheSelectedRowAndAreStored)
{
    ASSERT_TRUE(SaveJtagUserDevices({{QStringLiteral("A"), 0x1111, 4},
                                     {QStringLiteral("B"), 0x2222, 5},
                                     {QStringLiteral("C"), 0x3333, 6}}));
    CJTAGDefineDevicesDlg dialog;
    ASSERT_EQ(3, dialog.List()->topLevelItemCount());
    // Choosing a row shows it in the fields.
    dialog.List()->setCurrentItem(dialog.List()->topLevelItem(1));
    EXPECT_EQ(QStringLiteral("B"), dialog.NameEdit()->text());
    EXPECT_EQ(QStringLiteral("00002222h"), dialog.JtagIDEdit()->text());
    EXPECT_EQ(QStringLiteral("5"), dialog.IRLengthEdit()->text());

    dialog.IRLengthEdit()->setText(QStringLiteral("7"));
    dialog.JtagIDEdit()->setText(QStringLiteral("2223h"));
    ASSERT_TRUE(dialog.Update());
    EXPECT_TRUE(m_ui.questions.isEmpty());
    std::vector<SJtagUserDevice> expected = {
        {QStringLiteral("A"), 0x1111, 4}, {QStringLiteral("B"), 0x2223, 7}, {QStringLiteral("C"), 0x3333, 6}};
    EXPECT_EQ(expected, LoadJtagUserDevices());

    // Giving B the ID that C holds asks, and Yes updates C rather than listing the ID twice.
    dialog.JtagIDEdit()->setText(QStringLiteral("3333h"));
    m_ui.answers = {eAnswerYes};
    ASSERT_TRUE(dialog.Update());
    EXPECT_EQ(QStringList{kAlreadyListed}, m_ui.questions);
    expected[2] = {QStringLiteral("B"), 0x3333, 7};
    EXPECT_EQ(expected, LoadJtagUserDevices());

    dialog.List()->setCurrentItem(dialog.List()->topLevelItem(0));
    ASSERT_TRUE(dialog.Delete());
    expected.erase(expected.begin());
    EXPECT_EQ(expected, LoadJtagUserDevices());
    EXPECT_EQ(2, dialog.List()->topLevelItemCount());
    EXPECT_EQ(QStringLiteral("B"), Row(dialog, 0)[0]);

    // Nothing selected: Update and Delete only beep.
    dialog.List()->setCurrentItem(nullptr);
    EXPECT_FALSE(dialog.Delete());
    EXPECT_FALSE(dialog.Update());
    EXPECT_EQ(2, m_ui.nBeeps);
    EXPECT_EQ(expected, LoadJtagUserDevices());
}

TEST_F(JtagDevicesDlgTest, TheColumnsShowTheirWholeTexts)
{
    ASSERT_TRUE(SaveJtagUserDevices({{QStringLiteral("Board CPLD"), 0xFFFFFFFF, 255}}));
    CJTAGDefineDevicesDlg dialog;
    dialog.show();
    QApplication::processEvents();
    const QFontMetrics metrics(dialog.List()->font());
    const QHeaderView* pHeader = dialog.List()->header();
    EXPECT_GE(pHeader->sectionSize(1), metrics.horizontalAdvance(QStringLiteral("FFFFFFFFh")));
    EXPECT_GE(pHeader->sectionSize(2), metrics.horizontalAdvance(QStringLiteral("IR Length")));
    EXPECT_GE(pHeader->sectionSize(0), metrics.horizontalAdvance(QStringLiteral("Board CPLD")));
    EXPECT_LE(pHeader->length(), dialog.List()->viewport()->width() + 1);
    // Add, Update and Delete stand in one row.
    EXPECT_EQ(dialog.AddButton()->y(), dialog.DeleteButton()->y());
    EXPECT_LT(dialog.AddButton()->x(), dialog.UpdateButton()->x());
    EXPECT_LT(dialog.UpdateButton()->x(), dialog.DeleteButton()->x());
}

// The simulated pod's one chain: a host, a part no pod library knows, a switch. Until that part is
// told with its IDCODE and IR length no position on the chain can be selected.
class JtagTabTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ::setenv("NORVANTA_JTAG_LIBRARY", (nvtest::BinaryDir() + "/Simulator/libnvsimjtagpod.so").c_str(), 1);
        ::setenv("NORVANTA_SIM_JTAG",
                 ("topology=" + nvtest::SourceDir() +
                  "/Simulator/topologies/demo.topo;pod=host0,part:cpld:0x0123A0F3:8,sw1")
                     .c_str(),
                 1);
        ASSERT_TRUE(SaveJtagUserDevices({}));
    }
    void TearDown() override
    {
        SaveJtagUserDevices({});
        ::unsetenv("NORVANTA_JTAG_LIBRARY");
        ::unsetenv("NORVANTA_SIM_JTAG");
    }

    nvtest::CRecordingUserInterface m_ui;
};

TEST_F(JtagTabTest, ThePartToldThroughTheDialogOpensTheChainAndTheChoiceConnects)
{
    CConnectDlg dialog;
    dialog.Tabs()->setCurrentIndex(eTabJTAG);
    EXPECT_EQ(nullptr, dialog.JtagDeviceList());
    EXPECT_EQ(QStringLiteral("No devices found on JTAG chain."), dialog.NotFoundText(eTabJTAG));

    // The tab's button opens the dialog; the part is added there and the chain walked again.
    bool bSawDialog = false;
    QTimer::singleShot(0,
                       [&]
                       {
                           auto* pDevices =
                               qobject_cast<CJTAGDefineDevicesDlg*>(QApplication::activeModalWidget());
                           if (!pDevices)
                           {
                               return;
                           }
                           bSawDialog = true;
                           pDevices->NameEdit()->setText(QStringLiteral("cpld"));
                           pDevices->JtagIDEdit()->setText(QStringLiteral("0123A0F3h"));
                           pDevices->IRLengthEdit()->setText(QStringLiteral("8"));
                           pDevices->AddButton()->click();
                           pDevices->accept();
                       });
    QPushButton* pDefine = nullptr;
    for (QPushButton* pButton : dialog.Tabs()->widget(eTabJTAG)->findChildren<QPushButton*>())
    {
        if (pButton->text() == QStringLiteral("Unsupported Devices..."))
        {
            pDefine = pButton;
        }
    }
    ASSERT_NE(nullptr, pDefine);
    pDefine->click();
    ASSERT_TRUE(bSawDialog);
    EXPECT_EQ(1u, LoadJtagUserDevices().size());
    EXPECT_EQ(eTabJTAG, dialog.Tabs()->currentIndex());

    // The host and the switch have RapidIO registers; the CPLD between them has none.
    QTreeWidget* pList = dialog.JtagDeviceList();
    ASSERT_NE(nullptr, pList) << dialog.NotFoundText(eTabJTAG).toStdString();
    ASSERT_EQ(5, pList->columnCount());
    EXPECT_EQ(QStringLiteral("Chain Pos"), pList->headerItem()->text(1));
    ASSERT_EQ(2, pList->topLevelItemCount());
    EXPECT_EQ(QStringLiteral("USB0"), pList->topLevelItem(0)->text(0));
    EXPECT_EQ(QStringLiteral("0"), pList->topLevelItem(0)->text(1));
    EXPECT_EQ(QStringLiteral("2"), pList->topLevelItem(1)->text(1));
    pList->setCurrentItem(pList->topLevelItem(1));
    ASSERT_TRUE(dialog.TakeChoice());
    EXPECT_EQ(eConnJTAG, dialog.Choice());
    EXPECT_EQ(JtagAddressWord(0, 2), dialog.AddressWord());

    CTargetConnection connection;
    ASSERT_TRUE(connection.OpenTarget(dialog.Choice(), dialog.AddressWord()))
        << m_ui.messages.join('|').toStdString();
    EXPECT_EQ(QStringLiteral("JTAG Connection"), connection.TargetName());
    // The identity read at connection is the one the scan showed for that position.
    EXPECT_EQ(QString::asprintf("%04Xh", connection.ServerInfo().wDeviceID), pList->topLevelItem(1)->text(2));
    EXPECT_NE(0, connection.ServerInfo().wDeviceID);
    connection.Disconnect();

    // Every column shows its whole text.
    dialog.show();
    QApplication::processEvents();
    const QFontMetrics metrics(pList->font());
    for (int iColumn = 0; iColumn < 4; ++iColumn)
    {
        SCOPED_TRACE(iColumn);
        const int nText = std::max(metrics.horizontalAdvance(pList->headerItem()->text(iColumn)),
                                   metrics.horizontalAdvance(pList->topLevelItem(1)->text(iColumn)));
        EXPECT_GE(pList->header()->sectionSize(iColumn), nText);
    }
}
} // namespace

// The Traffic Generator window and its rate profile editor: the checks made on Enable with their
// texts and in their order, the start and stop sent, the status tick's lag and stopping statuses,
// Dynamic mode without a profile, and the profile editor's list.
#include "GuiTestEnvironment.h"

#include "DataGenDlg.h"
#include "DynamicDGDlg.h"
#include "NetworkDocument.h"
#include "RecordingUserInterface.h"
#include "StatusText.h"
#include "TestSupport.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QSlider>
#include <QSpinBox>
#include <QTreeWidget>

#include <gtest/gtest.h>

#include <cstring>

namespace
{
// host (node 1, ID 1) -- ep (node 2, ID 5); lone (node 3, ID 9) has no link, so no route.
class DataGenDlgTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        Add(0, 1, true);
        Add(1, 5, false);
        Add(2, 9, false);
        auto pConnection = std::make_unique<CConnectionPrimitive>();
        pConnection->iNodeNumber = 0;
        pConnection->iPE1 = 0;
        pConnection->iPE1Port = 0;
        pConnection->iPE2 = 1;
        pConnection->iPE2Port = 0;
        pConnection->SetStatus(QStringLiteral("Up"));
        m_map.ActiveConnections.AddPrimitive(std::move(pConnection));
    }
    void Add(int iNode, uint16_t wID, bool bHost)
    {
        auto pPE = std::make_unique<CPEPrimitive>();
        pPE->iNodeNumber = iNode;
        pPE->SetIdentity(0xFFF0, 0x0001, false, true, false, false);
        pPE->iNumLocalPorts = 1;
        pPE->bUsesDestID = true;
        pPE->ShortDestID = wID;
        pPE->bHasHostLink = bHost;
        pPE->bHostLinkOpen = bHost;
        m_map.ActivePEs.AddPrimitive(std::move(pPE));
    }
    // A generator whose server answers each command with m_nStatus and the lag flag.
    CDataGenerator Generator()
    {
        return CDataGenerator(
            [this](const uint8_t* pRequest, uint8_t* pReply)
            {
                m_commands.push_back(pRequest[3]);
                std::memcpy(pReply, pRequest, kDataGenRequestSize);
                std::memset(pReply + 212, 0, 16);
                pReply[223] = m_bLagging ? 1 : 0;
                return m_nStatus;
            },
            [this] { return m_bLinkOpen; });
    }
    std::unique_ptr<CDataGenDlg> Window(int iNode)
    {
        return std::make_unique<CDataGenDlg>(
            m_map, iNode, [this] { ++m_nRedraws; }, Generator());
    }

    nvtest::CRecordingUserInterface m_ui;
    CNetworkDocument m_map;
    std::vector<int> m_commands;
    int32_t m_nStatus = 0;
    bool m_bLagging = false;
    bool m_bLinkOpen = true;
    int m_nRedraws = 0;
};
} // namespace

TEST_F(DataGenDlgTest, AHostPEUsesItsServersGeneratorAndTheRateBoxFollowsTheKind)
{
    auto pWindow = Window(0);
    EXPECT_EQ(QStringLiteral("Traffic Generator - Node 1, DestID 1"), pWindow->windowTitle());
    EXPECT_EQ(0xFFFF, pWindow->RemoteDestID());
    EXPECT_FALSE(pWindow->ControlEdit()->isEnabled());
    EXPECT_EQ(QStringLiteral("0xefbff000"), pWindow->DestAddressEdit()->text());
    EXPECT_EQ(QStringLiteral("0x00400000"), pWindow->DestSizeEdit()->text());
    EXPECT_EQ(QStringLiteral("Requested Transfer Rate (x1000 Bytes / second)"), pWindow->RateBox()->title());
    pWindow->KindCombo()->setCurrentIndex(pWindow->KindCombo()->findText(QStringLiteral("Doorbell")));
    EXPECT_EQ(QStringLiteral("Transaction Rate (Doorbells / second)"), pWindow->RateBox()->title());

    auto pRemote = Window(1);
    EXPECT_EQ(QStringLiteral("Traffic Generator - Node 2, DestID 5"), pRemote->windowTitle());
    EXPECT_EQ(5, pRemote->RemoteDestID());
    EXPECT_TRUE(pRemote->ControlEdit()->isEnabled());
}

TEST_F(DataGenDlgTest, EnableChecksInOrderAndEachRefusalClearsTheCheck)
{
    auto pWindow = Window(0);
    auto refused = [&](const QString& strMessage)
    {
        m_ui.messages.clear();
        EXPECT_FALSE(pWindow->Enable(true));
        EXPECT_FALSE(pWindow->EnableCheck()->isChecked());
        EXPECT_EQ(QStringList{strMessage}, m_ui.messages);
    };
    m_bLinkOpen = false;
    refused(QStringLiteral("Invalid socket or not connected.  Unable to enable traffic generator."));
    m_bLinkOpen = true;
    refused(QStringLiteral("Please enter a destination ID."));
    pWindow->DestIDEdit()->setText(QStringLiteral("1"));
    refused(
        QStringLiteral("This PE cannot send data to itself.  Please choose another PE as the destination."));
    pWindow->DestIDEdit()->setText(QStringLiteral("5"));
    pWindow->DestAddressEdit()->clear();
    refused(QStringLiteral("Please enter a destination RapidIO address."));
    pWindow->DestAddressEdit()->setText(QStringLiteral("0xefbff000"));

    // An ID no PE has, and a PE no route reaches, are questions; No refuses.
    m_ui.answers = {eAnswerNo};
    pWindow->DestIDEdit()->setText(QStringLiteral("33h"));
    EXPECT_FALSE(pWindow->Enable(true));
    ASSERT_EQ(1, m_ui.questions.size());
    EXPECT_TRUE(m_ui.questions.back().startsWith(
        QStringLiteral("There is no PE with the specified destination ID.")));
    m_ui.answers = {eAnswerNo};
    pWindow->DestIDEdit()->setText(QStringLiteral("9"));
    EXPECT_FALSE(pWindow->Enable(true));
    ASSERT_EQ(2, m_ui.questions.size());
    EXPECT_TRUE(m_ui.questions.back().startsWith(
        QStringLiteral("Warning:\n\nRouting tables do not support a route")));
    EXPECT_TRUE(m_commands.empty()) << "nothing is sent before the checks pass";

    // A server without a generator refuses the start; the inputs come back.
    pWindow->DestIDEdit()->setText(QStringLiteral("5"));
    m_nStatus = -306;
    m_ui.messages.clear();
    EXPECT_FALSE(pWindow->Enable(true));
    EXPECT_EQ(
        QStringList{QStringLiteral("Unable to send command to server.\nError -306\n") + RioErrorText(-306)},
        m_ui.messages);
    EXPECT_TRUE(pWindow->DestIDEdit()->isEnabled());

    m_nStatus = 0;
    EXPECT_TRUE(pWindow->Enable(true));
    EXPECT_TRUE(pWindow->EnableCheck()->isChecked());
    EXPECT_FALSE(pWindow->DestIDEdit()->isEnabled());
    EXPECT_EQ(2, m_commands.back());
    EXPECT_EQ(5, pWindow->Generator().Settings().wDestID);

    // Moving the rate while running in fixed mode sends it.
    pWindow->RateSlider()->setValue(400);
    EXPECT_EQ(1, m_commands.back());
    EXPECT_EQ(400, pWindow->RateSpin()->value());

    EXPECT_TRUE(pWindow->Enable(false));
    EXPECT_EQ(0, m_commands.back());
    EXPECT_TRUE(pWindow->DestIDEdit()->isEnabled());
}

TEST_F(DataGenDlgTest, TheStatusTickShowsLagAndAStoppingStatusEndsTheRun)
{
    auto pWindow = Window(0);
    pWindow->DestIDEdit()->setText(QStringLiteral("5"));
    ASSERT_TRUE(pWindow->Enable(true));
    m_bLagging = true;
    pWindow->OnTick();
    EXPECT_EQ(3, m_commands.back());
    EXPECT_EQ(QStringLiteral("Lagging"), pWindow->LagLabel()->text());
    EXPECT_FALSE(pWindow->DestIDEdit()->isEnabled());
    m_bLagging = false;
    pWindow->OnTick();
    EXPECT_TRUE(pWindow->LagLabel()->text().isEmpty());

    m_ui.messages.clear();
    m_nStatus = -403;
    pWindow->OnTick();
    EXPECT_EQ(QStringList{QStringLiteral("Traffic Generator Error.\n\n") + RioErrorText(-403)},
              m_ui.messages);
    EXPECT_FALSE(pWindow->EnableCheck()->isChecked());
    EXPECT_FALSE(pWindow->Generator().Running());
    EXPECT_TRUE(pWindow->DestIDEdit()->isEnabled());
}

TEST_F(DataGenDlgTest, DynamicModeNeedsAProfile)
{
    auto pWindow = Window(0);
    pWindow->DynamicRadio()->setChecked(true);
    EXPECT_EQ(QStringList{QStringLiteral(
                  "No Dynamic Data Generation profile specified.  Reverting to 'Fixed' mode.")},
              m_ui.messages);
    EXPECT_TRUE(pWindow->FixedRadio()->isChecked());
    EXPECT_TRUE(pWindow->Generator().Settings().bFixed);

    pWindow->Generator().Settings().steps = CDataGenProfile::Default().Steps();
    pWindow->DynamicRadio()->setChecked(true);
    EXPECT_FALSE(pWindow->Generator().Settings().bFixed);
    EXPECT_FALSE(pWindow->RateSlider()->isEnabled());
}

TEST_F(DataGenDlgTest, TheProfileEditorListsEditsAndRefusesWithItsTexts)
{
    CDynamicDGDlg dialog(eDataGenDoorbell, {});
    EXPECT_EQ(QStringLiteral("Rate (Hz)"), dialog.List()->headerItem()->text(2));
    ASSERT_EQ(5, dialog.List()->topLevelItemCount());
    EXPECT_EQ(QStringLiteral("500000"), dialog.List()->topLevelItem(2)->text(2));

    dialog.DurationEdit()->setText(QStringLiteral("3"));
    dialog.RateEdit()->setText(QStringLiteral("500001"));
    EXPECT_FALSE(dialog.Add());
    EXPECT_EQ(QStringList{QStringLiteral("Transfer rate must be between 1 and 500000.")}, m_ui.messages);
    dialog.RateEdit()->setText(QStringLiteral("42"));
    EXPECT_TRUE(dialog.Add());
    ASSERT_EQ(6, dialog.List()->topLevelItemCount());
    dialog.Up();
    EXPECT_EQ(QStringLiteral("42"), dialog.List()->topLevelItem(4)->text(2));
    EXPECT_EQ(4, dialog.List()->indexOfTopLevelItem(dialog.List()->currentItem()));
    EXPECT_EQ(std::make_pair(3u, 42000u), dialog.Steps()[4]);

    CDynamicDGDlg data(eDataGenNWrite, dialog.Steps());
    EXPECT_EQ(QStringLiteral("Rate (1000 B/s)"), data.List()->headerItem()->text(2));
    EXPECT_EQ(6, data.List()->topLevelItemCount());
}

TEST_F(DataGenDlgTest, NoTextIsCutInEitherWindow)
{
    auto pWindow = Window(1);
    pWindow->show();
    CDynamicDGDlg dialog(eDataGenSWrite, {});
    dialog.show();
    for (QWidget* pTop : std::initializer_list<QWidget*>{pWindow.get(), &dialog})
    {
        for (QLabel* pLabel : pTop->findChildren<QLabel*>())
        {
            if (pLabel->isVisible() && !pLabel->text().isEmpty())
            {
                EXPECT_GE(pLabel->width(), pLabel->sizeHint().width()) << pLabel->text().toStdString();
            }
        }
        for (QGroupBox* pBox : pTop->findChildren<QGroupBox*>())
            EXPECT_GE(pBox->width(), pBox->fontMetrics().horizontalAdvance(pBox->title()))
                << pBox->title().toStdString();
    }
    EXPECT_GE(pWindow->RateSpin()->width(), pWindow->RateSpin()->sizeHint().width());
    const QString strShots = qEnvironmentVariable("NV_SCREENSHOT_DIR");
    if (!strShots.isEmpty())
    {
        pWindow->grab().save(strShots + QStringLiteral("/datagen.png"));
        dialog.grab().save(strShots + QStringLiteral("/dynamicdg.png"));
    }
}

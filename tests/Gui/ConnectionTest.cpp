// Connecting the window to a target and leaving it: the host PE in the map, the status texts,
// reconnection, a different host, failures a person can cause, the demo fabric and closing.
#include "GuiTestEnvironment.h"

#include "ChildView.h"
#include "ConnectDlg.h"
#include "DemoTarget.h"
#include "EnumerationSettings.h"
#include "LinkSettings.h"
#include "MainFrame.h"
#include "MapMerge.h"
#include "MapScene.h"
#include "NetBrowserDlgBar.h"
#include "NetworkCommands.h"
#include "NetworkMap.h"
#include "Preferences.h"
#include "QtUserInterface.h"
#include "RecordingUserInterface.h"
#include "SimProcess.h"
#include "TestSupport.h"
#include "TransactionLog.h"
#include "WorkingDlg.h"

#include <QAction>
#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QProcessEnvironment>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QTabWidget>
#include <QThread>
#include <QTimer>
#include <QTreeWidget>

#include <gtest/gtest.h>

#include <csignal>
#include <vector>

namespace
{
constexpr uint32_t kLoopback = 0x7F000001u;

// Writes a simulator topology of the test's own into the scratch directory; returns its path.
std::string WriteTopology(const char* pszName, const char* pszText)
{
    const std::string strPath = nvtest::ProcessTempDir() + "/" + pszName;
    QFile topology(QString::fromStdString(strPath));
    EXPECT_TRUE(topology.open(QIODevice::WriteOnly)) << strPath;
    topology.write(pszText);
    return strPath;
}

class ConnectionTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_sim.Ready()) << m_sim.ErrorOutput();
        nvguitest::PointLinkAtSimulator(m_sim.TcpPort());
        m_pFrame = std::make_unique<CMainFrame>();
        // The recorder comes after the window, which installs its own port when it is made.
        m_pUI = std::make_unique<nvtest::CRecordingUserInterface>();
        m_pFrame->SetConnectionChooser(
            [this](int32_t* pnChoice, uint32_t* pulAddress)
            {
                ++m_nChooserCalls;
                *pnChoice = eConnInternetTCP;
                *pulAddress = kLoopback;
                return true;
            });
    }
    void TearDown() override
    {
        if (m_pFrame->Core().IsConnected())
        {
            m_pFrame->Core().Disconnect();
        }
        m_pUI.reset();
        m_pFrame.reset();
        ReloadLinkSettings();
    }

    CMainFrameCore& Core() { return m_pFrame->Core(); }
    int LivePEs() const
    {
        int nCount = 0;
        for (const auto& pPE : m_pFrame->Core().Document().ActivePEs)
        {
            nCount += pPE->bDeleted ? 0 : 1;
        }
        return nCount;
    }

    nvtest::CSimProcess m_sim{"demo.topo"};
    std::unique_ptr<CMainFrame> m_pFrame;
    std::unique_ptr<nvtest::CRecordingUserInterface> m_pUI;
    int m_nChooserCalls = 0;
};

TEST_F(ConnectionTest, ConnectPutsTheHostPEInTheMapAndDisconnectClearsIt)
{
    m_pFrame->RunCommand(eCmdConnect);
    ASSERT_TRUE(Core().IsConnected()) << m_pUI->messages.join(QLatin1Char('|')).toStdString();
    EXPECT_EQ(1, m_nChooserCalls);
    EXPECT_EQ("127. 0. 0. 1", m_pFrame->ConnectionStatus()->text().toStdString());
    EXPECT_EQ("TT=Small", m_pFrame->TransportStatus()->text().toStdString());
    EXPECT_EQ("Disconnect...", m_pFrame->Action(eCmdConnect)->text().toStdString());

    // The demo host: a processor endpoint with memory, device 0001h of vendor FFF0h, ID 1.
    const CPEPrimitive* pHost = Core().HostPE();
    ASSERT_NE(nullptr, pHost);
    EXPECT_EQ(0x0001, pHost->DeviceID);
    EXPECT_EQ(0xFFF0, pHost->ManufID);
    EXPECT_EQ(kPETypeProcessor | kPETypeMemory, pHost->uType);
    EXPECT_EQ(0x01, pHost->ShortDestID);
    EXPECT_EQ(eConnInternetTCP, pHost->eConnectionType);
    EXPECT_EQ(kLoopback, pHost->uNetworkServerAddress);
    EXPECT_EQ("1fff0", pHost->UniqueID.toStdString());
    EXPECT_TRUE(pHost->bUsesDestID);
    const CDrawPE* pNode = Core().Document().FindView(kExpandedViewID)->pNodes.FindPENode(pHost->iNodeNumber);
    ASSERT_NE(nullptr, pNode);
    EXPECT_EQ(100, pNode->iXPos);
    EXPECT_EQ(150, pNode->iYPos);
    // The window shows it: one node on the map and one PE in the browser.
    EXPECT_EQ(1, m_pFrame->MapWindow()->MapScene()->NodeCount());
    ASSERT_EQ(1, m_pFrame->Browser()->Tree()->topLevelItemCount());
    EXPECT_EQ("Node 1", m_pFrame->Browser()->Tree()->topLevelItem(0)->text(0).toStdString());

    // Disconnecting asks first; No keeps the connection.
    m_pUI->answers = {eAnswerNo};
    m_pFrame->RunCommand(eCmdConnect);
    EXPECT_TRUE(Core().IsConnected());
    m_pFrame->RunCommand(eCmdConnect);
    EXPECT_EQ(QStringList({"Are you sure you want to disconnect?", "Are you sure you want to disconnect?"}),
              m_pUI->questions);
    EXPECT_FALSE(Core().IsConnected());
    EXPECT_EQ("Not Connected", m_pFrame->ConnectionStatus()->text().toStdString());
    EXPECT_EQ("Connect...", m_pFrame->Action(eCmdConnect)->text().toStdString());
    EXPECT_EQ(nullptr, Core().HostPE());
    EXPECT_EQ(1, LivePEs());
}

TEST_F(ConnectionTest, ReconnectingToTheSameHostReusesItsPE)
{
    m_pFrame->RunCommand(eCmdConnect);
    ASSERT_TRUE(Core().IsConnected());
    Core().Disconnect();
    m_pFrame->RunCommand(eCmdConnect);
    ASSERT_TRUE(Core().IsConnected());
    EXPECT_EQ(1, LivePEs());
    EXPECT_TRUE(m_pUI->questions.isEmpty()) << m_pUI->questions.join(QLatin1Char('|')).toStdString();
    ASSERT_NE(nullptr, Core().HostPE());
    EXPECT_EQ(0, Core().HostPE()->iNodeNumber);
    EXPECT_EQ(1, Core().Document().FindView(kExpandedViewID)->pNodes.GetCount());
}

TEST_F(ConnectionTest, ADifferentHostAsksBeforeTheMapIsReplaced)
{
    // A map of some other network: one switch.
    nvguitest::AddPE(Core().Document(), 0, 0x0038, 0x0374, kPETypeSwitch, 300, 300, 18);
    const QString strMismatch =
        QStringLiteral("You are connecting to a different host PE than what is in the current "
                       "network map.\n\nDo you want to continue?");
    m_pUI->answers = {eAnswerNo};
    m_pFrame->RunCommand(eCmdConnect);
    EXPECT_EQ(QStringList{strMismatch}, m_pUI->questions);
    EXPECT_FALSE(Core().IsConnected());
    EXPECT_FALSE(Core().Session().IsConnected());
    ASSERT_EQ(1, LivePEs());
    EXPECT_EQ(0x0374, Core().Document().ActivePEs.GetByIndex(0)->DeviceID);

    m_pUI->answers = {eAnswerYes};
    m_pFrame->RunCommand(eCmdConnect);
    ASSERT_TRUE(Core().IsConnected());
    ASSERT_EQ(1, LivePEs());
    EXPECT_EQ(0x0001, Core().Document().ActivePEs.GetByIndex(0)->DeviceID);
}

TEST_F(ConnectionTest, FailuresAPersonCausesAreToldAndLoseNothing)
{
    nvguitest::AddPE(Core().Document(), 0, 0x0038, 0x0374, kPETypeSwitch, 300, 300, 18);
    // Nobody listens on the port: the server is not running.
    LinkSettings().wServerPort = nvtest::FreeUdpPort();
    m_pFrame->RunCommand(eCmdConnect);
    EXPECT_FALSE(Core().IsConnected());
    EXPECT_EQ(
        QStringList{
            "Unable to connect to the Norvanta Server.\n\nThe server is either not currently running, "
            "or it is busy with another\nNorvanta Client connection."},
        m_pUI->messages);
    EXPECT_EQ("Not Connected", m_pFrame->ConnectionStatus()->text().toStdString());
    EXPECT_EQ(1, LivePEs());

    // The server goes away under a connection: the next transaction fails with its text and the
    // map stays as it was.
    LinkSettings().wServerPort = m_sim.TcpPort();
    m_pUI->messages.clear();
    m_pUI->answers = {eAnswerYes};
    m_pFrame->RunCommand(eCmdConnect);
    ASSERT_TRUE(Core().IsConnected());
    m_sim.Stop();
    m_pFrame->Browser()->ExpandNode(0);
    EXPECT_EQ(0, UploadRegisters(Core().Document(), {{0, 0x60}}));
    // The link tells of the drop where it sees it, then the read gives its status.
    ASSERT_EQ(2, m_pUI->messages.size());
    EXPECT_TRUE(m_pUI->messages[0].startsWith("Norvanta Server has dropped the connection.\nError is ") ||
                m_pUI->messages[0].startsWith("Unable to get data from Norvanta Server.\nError is "))
        << m_pUI->messages[0].toStdString();
    EXPECT_TRUE(m_pUI->messages[1].startsWith("Error ")) << m_pUI->messages[1].toStdString();
    EXPECT_TRUE(m_pUI->messages[1].endsWith("encountered when attempting to upload a register.\r\n\r\n"
                                            "This error is often caused by invalid routing tables."))
        << m_pUI->messages[1].toStdString();
    EXPECT_EQ(1, LivePEs());
    Core().Disconnect();
    EXPECT_FALSE(Core().IsConnected());
}

TEST_F(ConnectionTest, RegistersUploadFromTheHostAndOtherPEsNeedARoute)
{
    m_pFrame->RunCommand(eCmdConnect);
    ASSERT_TRUE(Core().IsConnected());
    // A second PE the host can't reach yet: route search is what gives a way to it.
    nvguitest::AddPE(Core().Document(), 1, 0x0038, 0x0374, kPETypeSwitch, 300, 150, 18);
    EXPECT_EQ(1, UploadRegisters(Core().Document(), {{0, 0x60}, {1, 0x60}}));
    EXPECT_EQ(QStringList{"Upload Registers"}, m_pUI->workTitles);
    ASSERT_NE(nullptr, Core().HostPE()->SavedRegisters.Find(0x60));
    // The Base Device ID CSR of the demo host: small ID 01h, large ID 0001h.
    EXPECT_EQ(0x00010001u, Core().HostPE()->SavedRegisters.Find(0x60)->uValue);
    ASSERT_EQ(1, m_pUI->messages.size());
    EXPECT_EQ(
        "Error -28 (There is no valid route to a PE using the current routing tables) encountered when "
        "attempting to find a route to Node 2.\r\n\r\nThis error is often caused by invalid routing tables.",
        m_pUI->messages[0].toStdString());
}

TEST_F(ConnectionTest, ClosingWhileConnectedAsksToDisconnectAndOffersToSave)
{
    m_pFrame->RunCommand(eCmdConnect);
    ASSERT_TRUE(Core().IsConnected());
    m_pUI->answers = {eAnswerNo};
    EXPECT_FALSE(Core().QueryClose());
    EXPECT_TRUE(Core().IsConnected());
    // Yes to disconnecting, then Cancel to saving the new map: the program stays as it was, still
    // connected and able to read the target.
    m_pUI->answers = {eAnswerYes, eAnswerCancel};
    EXPECT_FALSE(Core().QueryClose());
    EXPECT_TRUE(Core().IsConnected());
    EXPECT_TRUE(Core().Session().IsConnected());
    EXPECT_EQ("127. 0. 0. 1", m_pFrame->ConnectionStatus()->text().toStdString());
    ASSERT_NE(nullptr, Core().HostPE());
    EXPECT_TRUE(Core().HostPE()->bHostLinkOpen);
    EXPECT_TRUE(Core().IsModified());
    EXPECT_EQ(1, UploadRegisters(Core().Document(), {{Core().HostPE()->iNodeNumber, 0x60}}));
    EXPECT_EQ(QStringList({"Disconnect from current target?", "Disconnect from current target?",
                           "Save changes to Untitled?"}),
              m_pUI->questions);
    // A save that fails is a Cancel too.
    m_pUI->answers = {eAnswerYes, eAnswerYes};
    m_pUI->texts = {QStringLiteral("/no-such-directory/closing")};
    EXPECT_FALSE(Core().QueryClose());
    EXPECT_TRUE(Core().IsConnected());
    m_pUI->messages.clear();
    // Saving goes to the file the person picks.
    const QString strPath = QString::fromStdString(nvtest::ProcessTempDir()) + QStringLiteral("/closing.nvm");
    m_pUI->answers = {eAnswerYes, eAnswerYes};
    m_pUI->texts = {strPath};
    EXPECT_TRUE(Core().QueryClose());
    EXPECT_FALSE(Core().IsConnected());
    CNetworkDocument reread;
    ASSERT_TRUE(reread.Open(strPath));
    EXPECT_EQ(1, reread.ActivePEs.GetCount());
    EXPECT_TRUE(reread.ActivePEs.GetByIndex(0)->bHasHostLink);
}

TEST_F(ConnectionTest, UploadingCheckedRegistersKeepsTheBrowserAsItWasAndShowsTheValues)
{
    m_pFrame->RunCommand(eCmdConnect);
    ASSERT_TRUE(Core().IsConnected());
    CNetBrowserDlgBar* pBrowser = m_pFrame->Browser();
    const int iHost = Core().HostPE()->iNodeNumber;
    m_pFrame->RunCommand(eCmdUploadRegisters);
    EXPECT_EQ(QStringList{"Nothing to upload."}, m_pUI->messages);
    m_pUI->messages.clear();

    // The person opens the host's registers, checks two, closes the block of one and picks the
    // other.
    ASSERT_NE(nullptr, pBrowser->ExpandNode(iHost));
    QTreeWidgetItem* pIdentity = pBrowser->FindRegister(iHost, 0x00);
    QTreeWidgetItem* pBaseID = pBrowser->FindRegister(iHost, 0x60);
    ASSERT_NE(nullptr, pIdentity);
    ASSERT_NE(nullptr, pBaseID);
    for (QTreeWidgetItem* pItem = pBaseID->parent(); pItem; pItem = pItem->parent())
    {
        pItem->setExpanded(true);
    }
    pIdentity->setCheckState(0, Qt::Checked);
    pBaseID->setCheckState(0, Qt::Checked);
    m_pFrame->Browser()->Tree()->setCurrentItem(pBaseID);
    const QString strBaseIDName = pBaseID->text(0);
    EXPECT_FALSE(strBaseIDName.contains(" = "));
    const bool bSameBlock = pIdentity->parent() == pBaseID->parent();
    if (!bSameBlock)
    {
        pIdentity->parent()->setExpanded(false);
    }

    m_pFrame->RunCommand(eCmdUploadRegisters);
    EXPECT_TRUE(m_pUI->messages.isEmpty()) << m_pUI->messages.join('|').toStdString();
    EXPECT_TRUE(Core().IsModified());
    pIdentity = pBrowser->FindRegister(iHost, 0x00);
    pBaseID = pBrowser->FindRegister(iHost, 0x60);
    ASSERT_NE(nullptr, pIdentity);
    ASSERT_NE(nullptr, pBaseID);
    EXPECT_EQ(Qt::Checked, pIdentity->checkState(0));
    EXPECT_EQ(Qt::Checked, pBaseID->checkState(0));
    EXPECT_EQ(pBaseID, pBrowser->Tree()->currentItem());
    for (QTreeWidgetItem* pItem = pBaseID->parent(); pItem; pItem = pItem->parent())
    {
        EXPECT_TRUE(pItem->isExpanded()) << pItem->text(0).toStdString();
    }
    if (!bSameBlock)
    {
        EXPECT_FALSE(pIdentity->parent()->isExpanded());
    }
    // The values read show beside the names: the demo host's Base Device ID and its identity.
    EXPECT_TRUE(pBaseID->text(0).startsWith(strBaseIDName.section(" [", 0, 0) + " = 00010001h"))
        << pBaseID->text(0).toStdString();
    EXPECT_TRUE(pIdentity->text(0).contains(" = 0001FFF0h")) << pIdentity->text(0).toStdString();
    // Other PEs stay closed.
    EXPECT_EQ(2, pBrowser->GetCheckedRegisters().size());
}

// A server whose host has an interface to open: capability bit 28, on a vendor 2 device 3 host,
// whose HAL opens it by writing 1 to 0x10000.
TEST(HostInterfaceTest, ConnectingOffersToEnableTheInterfaceAndYesOpensIt)
{
    nvtest::CSimProcess sim(
        WriteTopology("interface.topo", "server version=2.8 driver=1.0 interface=0x20071021 caps=0x100003F3\n"
                                        "device host0 endpoint vendor=0x0002 device=0x0003 processor memory "
                                        "id=0x01 largeid=0x0001\n"
                                        "host host0 localports=0\n"));
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    nvguitest::PointLinkAtSimulator(sim.TcpPort());
    const QString strLog = QString::fromStdString(nvtest::ProcessTempDir()) + "/interface.log";
    ASSERT_TRUE(CreateLogFile(strLog));
    EnableLogging(true);
    {
        CMainFrame frame;
        nvtest::CRecordingUserInterface ui;
        auto choose = [](int32_t* pnChoice, uint32_t* pulAddress)
        {
            *pnChoice = eConnInternetTCP;
            *pulAddress = kLoopback;
            return true;
        };
        frame.SetConnectionChooser(choose);
        const QRegularExpression write("Maint_write ffffffff \\d+ 0 10000 4 ");

        // No leaves the interface as it is.
        ui.answers = {eAnswerNo};
        frame.RunCommand(eCmdConnect);
        ASSERT_TRUE(frame.Core().IsConnected()) << ui.messages.join('|').toStdString();
        EXPECT_EQ(QStringList{"Do you want to enable the SRIO interface?"}, ui.questions);
        EXPECT_FALSE(QString::fromStdString(nvtest::ReadFile(strLog.toStdString())).contains(write));
        frame.Core().Disconnect();
        // Back to the same host PE: the map has it, and nothing is asked.
        frame.RunCommand(eCmdConnect);
        EXPECT_EQ(1, ui.questions.size());
        frame.Core().Disconnect();

        // On a new map the question comes again, and Yes opens the host's interface.
        frame.Core().NewMap();
        ui.answers = {eAnswerYes};
        frame.RunCommand(eCmdConnect);
        ASSERT_TRUE(frame.Core().IsConnected());
        EXPECT_EQ(2, ui.questions.size());
        EXPECT_TRUE(QString::fromStdString(nvtest::ReadFile(strLog.toStdString())).contains(write))
            << nvtest::ReadFile(strLog.toStdString());
        EXPECT_TRUE(ui.messages.isEmpty()) << ui.messages.join('|').toStdString();
        frame.Core().Disconnect();
    }
    EnableLogging(false);
    ReloadLinkSettings();
}

// The connection dialog's Internet tab reaches a server on a port of its own: the address typed
// as "host:port", for TCP and for UDP, whose every datagram goes to that port.
TEST(ServerPortTest, AnAddressWithAPortReachesAServerOffTheSettingsPort)
{
    nvtest::CSimProcess sim("demo.topo");
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    ReloadLinkSettings();
    const uint16_t wSettingsPort = nvtest::FreeUdpPort();
    LinkSettings().wServerPort = wSettingsPort; // nothing listens there
    LinkSettings().wUdpLocalPort = 0;
    LinkSettings().ulWaitMilliseconds = 3000;
    CMainFrame frame;
    nvtest::CRecordingUserInterface ui;
    for (const auto& [bUdp, wPort] : {std::pair{false, sim.TcpPort()}, std::pair{true, sim.UdpPort()}})
    {
        bool bAnswered = false;
        QTimer::singleShot(0,
                           [&, bUdp = bUdp, wPort = wPort]
                           {
                               auto* pDialog = qobject_cast<CConnectDlg*>(QApplication::activeModalWidget());
                               ASSERT_NE(nullptr, pDialog);
                               bAnswered = true;
                               pDialog->Tabs()->setCurrentIndex(eTabInternet);
                               pDialog->InternetUdp()->setChecked(bUdp);
                               pDialog->InternetAddress()->setText(QStringLiteral("127.0.0.1:%1").arg(wPort));
                               pDialog->accept();
                           });
        frame.RunCommand(eCmdConnect);
        ASSERT_TRUE(bAnswered);
        ASSERT_TRUE(frame.Core().IsConnected()) << ui.messages.join('|').toStdString();
        EXPECT_EQ(bUdp ? eConnInternetUDP : eConnInternetTCP, frame.Core().HostPE()->eConnectionType);
        // Traffic after the connection goes there too.
        EXPECT_EQ(1, UploadRegisters(frame.Core().Document(), {{frame.Core().HostPE()->iNodeNumber, 0x60}}));
        ui.answers = {eAnswerYes};
        frame.RunCommand(eCmdConnect);
        ASSERT_FALSE(frame.Core().IsConnected());
        EXPECT_EQ(wSettingsPort, LinkSettings().wServerPort) << "the settings' port stands again";
    }
    EXPECT_TRUE(ui.messages.isEmpty()) << ui.messages.join('|').toStdString();

    // A bad port is told and keeps the dialog open, so nothing connects.
    QTimer::singleShot(0,
                       [&]
                       {
                           auto* pDialog = qobject_cast<CConnectDlg*>(QApplication::activeModalWidget());
                           ASSERT_NE(nullptr, pDialog);
                           pDialog->Tabs()->setCurrentIndex(eTabInternet);
                           pDialog->InternetAddress()->setText(QStringLiteral("127.0.0.1:99999"));
                           pDialog->accept();
                           EXPECT_TRUE(pDialog->isVisible());
                           pDialog->reject();
                       });
    frame.RunCommand(eCmdConnect);
    EXPECT_FALSE(frame.Core().IsConnected());
    EXPECT_EQ(QStringList{InvalidPortText()}, ui.messages);
    RemovePreference("Preferences", "LastConnTab");
    ReloadLinkSettings();
}

// A discovery that ends with a warning: the working window stays with its log, its counts and the
// warning, its button reading "Close", until the person closes it.
TEST(DiscoveryWindowTest, AWarningKeepsTheWindowWithItsLogUntilClosed)
{
    nvtest::CSimProcess sim(WriteTopology("twins.topo",
                                          "server version=2.8 driver=1.0 interface=0x20071021 caps=0x3F3\n"
                                          "device host0 endpoint device=0x0001 processor memory id=0x01 "
                                          "largeid=0x0001\n"
                                          "device sw1 switch model=cps1848\n"
                                          "device ep1 endpoint memory id=0x05 largeid=0x0005\n"
                                          "device ep2 endpoint memory id=0x05 largeid=0x0005\n"
                                          "host host0 localports=0\n"
                                          "link host0:0 sw1:0 speed=3.125 width=4\n"
                                          "link sw1:1 ep1:0 speed=3.125 width=4\n"
                                          "link sw1:2 ep2:0 speed=3.125 width=4\n"));
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    nvguitest::PointLinkAtSimulator(sim.TcpPort());
    // The questions on the way are answered for good, so that only the working window shows.
    for (const char* pszKey : {"DiscoveryLog", "SkipUploadFromUnusedPorts", "NoOverlaps"})
    {
        SetPreference("Messages", QStringLiteral("%1DontAsk").arg(QLatin1String(pszKey)), 1u);
        SetPreference("Messages", QStringLiteral("%1Response").arg(QLatin1String(pszKey)),
                      QLatin1String(pszKey) == QLatin1String("DiscoveryLog") ? 6u : 7u);
    }
    SetPreference("Preferences", "DiscoveryDetails", 1u);
    {
        CMainFrame frame;
        nvguitest::AnswerConnectWithLoopbackServer(frame);
        frame.SetDiscoverySettingsChooser(
            [](CEnumerationSettings& settings)
            {
                settings.SetEnumerate(false);
                settings.SetTryAllClockRates(false);
                return settings.Validate() == CEnumerationSettings::eFieldNone;
            });
        frame.RunCommand(eCmdConnect);
        ASSERT_TRUE(frame.Core().IsConnected());
        CQtUserInterface ui(&frame);
        bool bSeen = false;
        std::function<void()> watch = [&]
        {
            CWorkingDlg* pWindow = ui.WorkingWindow();
            if (!pWindow || pWindow->Button()->text() != QLatin1String("Close"))
            {
                QTimer::singleShot(20, watch);
                return;
            }
            bSeen = true;
            EXPECT_EQ("Standard Discovery", pWindow->windowTitle().toStdString());
            EXPECT_TRUE(pWindow->ProgressText().startsWith("Warning: Destination IDs are not unique."))
                << pWindow->ProgressText().toStdString();
            EXPECT_TRUE(pWindow->LogText().contains("Begin Discovery: Norvanta"));
            EXPECT_TRUE(pWindow->LogText().contains("FOUND DEVICE"));
            EXPECT_TRUE(pWindow->DetailsShown()) << "the details state of the preferences";
            EXPECT_EQ("PEs found: 4    Switches: 1    Endpoints: 3", pWindow->CountsText().toStdString());
            EXPECT_TRUE(pWindow->isVisible());
            // It stays until the person closes it: a moment later it is still there.
            QTimer::singleShot(200,
                               [&ui, pWindow]
                               {
                                   ASSERT_EQ(pWindow, ui.WorkingWindow());
                                   EXPECT_TRUE(pWindow->isVisible());
                                   pWindow->DetailsButton()->click(); // closes the details
                                   pWindow->Button()->click();
                               });
        };
        QTimer::singleShot(20, watch);
        frame.RunCommand(eCmdStandardDiscovery);
        EXPECT_TRUE(bSeen);
        EXPECT_EQ(nullptr, ui.WorkingWindow());
        // The window's state is kept for the next discovery.
        EXPECT_EQ(0u, GetPreference("Preferences", "DiscoveryDetails", 1u));
        frame.Core().Disconnect();
        frame.Core().SetModified(false);
    }
    for (const char* pszKey : {"DiscoveryLog", "SkipUploadFromUnusedPorts", "NoOverlaps"})
    {
        RemovePreference("Messages", QStringLiteral("%1DontAsk").arg(QLatin1String(pszKey)));
        RemovePreference("Messages", QStringLiteral("%1Response").arg(QLatin1String(pszKey)));
    }
    RemovePreference("Preferences", "DiscoveryDetails");
    RemovePreference("Preferences", "DiscoveryPinned");
    ReloadLinkSettings();
}

TEST_F(ConnectionTest, TransportTypeChangesWithItsNote)
{
    m_pFrame->RunCommand(eCmdConnect);
    ASSERT_TRUE(Core().IsConnected());
    m_pFrame->RunCommand(eCmdTransportLarge);
    EXPECT_EQ(
        QStringList{"Please note that you may need to regenerate routing tables, and possibly re-enumerate\n"
                    "after changing the transport type."},
        m_pUI->messages);
    EXPECT_EQ(16u, GetPreference("Preferences", "DefaultDestIDSize", 8u));
    EXPECT_EQ("TT=Large", m_pFrame->TransportStatus()->text().toStdString());
    EXPECT_TRUE(Core().HostPE()->bLargeTransport);
    EXPECT_EQ(0x0001, Core().HostPE()->GetDestID());
    m_pFrame->RunCommand(eCmdTransportSmall);
    EXPECT_EQ("TT=Small", m_pFrame->TransportStatus()->text().toStdString());
    EXPECT_FALSE(Core().HostPE()->bLargeTransport);
}

TEST(DemoTargetTest, TheDemoRunsOnLoopbackAndIsNeverSavedAsAHostLink)
{
    nvtest::CRecordingUserInterface ui;
    CMainFrameCore core;
    ASSERT_TRUE(core.ConnectDemo()) << ui.messages.join(QLatin1Char('|')).toStdString();
    EXPECT_TRUE(core.IsDemoConnection());
    EXPECT_EQ(kLoopback, LinkSettings().ulBroadcastAddress);
    ASSERT_NE(nullptr, core.HostPE());
    EXPECT_TRUE(core.HostPE()->bHasHostLink);

    const QString strPath = QString::fromStdString(nvtest::ProcessTempDir()) + QStringLiteral("/demo.nvm");
    ASSERT_TRUE(core.SaveMapAs(strPath));
    EXPECT_EQ("Norvanta 4 - demo.nvm", core.TitleText().toStdString());
    CNetworkDocument saved;
    ASSERT_TRUE(saved.Open(strPath));
    ASSERT_EQ(1, saved.ActivePEs.GetCount());
    const CPEPrimitive& pe = *saved.ActivePEs.GetByIndex(0);
    EXPECT_FALSE(pe.bHasHostLink);
    EXPECT_EQ(0u, pe.uNetworkServerAddress);
    EXPECT_EQ(0x0001, pe.DeviceID);
    // The map in the window keeps its open link.
    EXPECT_TRUE(core.HostPE()->bHostLinkOpen);

    core.Disconnect();
    EXPECT_FALSE(core.IsDemoConnection());
    // The settings of the preferences are back once the simulator is gone.
    EXPECT_EQ(15000, LinkSettings().wServerPort);
}
} // namespace

namespace
{
TEST_F(ConnectionTest, OpeningAMapWhileConnectedFindsItsHostPE)
{
    m_pFrame->RunCommand(eCmdConnect);
    ASSERT_TRUE(Core().IsConnected());
    const QString strPath = QString::fromStdString(nvtest::ProcessTempDir()) + QStringLiteral("/host.nvm");
    ASSERT_TRUE(Core().SaveMapAs(strPath));
    Core().NewMap();
    EXPECT_EQ(nullptr, Core().HostPE());
    EXPECT_EQ("Norvanta - Untitled", m_pFrame->windowTitle().toStdString());

    ASSERT_TRUE(Core().OpenMap(strPath));
    ASSERT_NE(nullptr, Core().HostPE());
    EXPECT_EQ(0x0001, Core().HostPE()->DeviceID);
    EXPECT_EQ("Norvanta 4 - host.nvm", m_pFrame->windowTitle().toStdString());
    EXPECT_EQ(1, m_pFrame->MapWindow()->MapScene()->NodeCount());

    // A file that isn't a map leaves an empty document and says why.
    const QString strBad = QString::fromStdString(nvtest::ProcessTempDir()) + QStringLiteral("/bad.nvm");
    QFile bad(strBad);
    ASSERT_TRUE(bad.open(QIODevice::WriteOnly));
    bad.write("<NetworkMap Version=\"1.7\"><PEList><PE>");
    bad.close();
    EXPECT_FALSE(Core().OpenMap(strBad));
    EXPECT_TRUE(Core().Document().ActivePEs.IsEmpty());
    EXPECT_FALSE(m_pUI->messages.isEmpty());
    EXPECT_EQ(0, m_pFrame->MapWindow()->MapScene()->NodeCount());
}

TEST(HeadlessDemoTest, TheDemoWithoutADisplaySavesAMapThatTheCommandLinePrints)
{
    const std::string strMap = nvtest::ProcessTempDir() + "/headless.nvm";
    const nvtest::SRunResult demo =
        nvtest::RunProgram(nvtest::BuiltProgram("App/norvanta"), {"--headless-demo", strMap});
    ASSERT_EQ(0, demo.nExitCode) << demo.strOut << demo.strErr;
    for (const char* pszLine :
         {"Connected: 127. 0. 0. 1, TT=Small\n", "  Processor: Norvanta Simulator\n",
          "Host PE: Node 1, device 0001h, vendor FFF0h, Processor with Memory\n",
          "Network > Standard Discovery\n  Enable discovery logging? [Yes]\n",
          "  The routing tables have been generated.\n\nDo you want to download them to the target? [Yes]\n",
          "Disconnected: Not Connected\n"})
    {
        EXPECT_NE(std::string::npos, demo.strOut.find(pszLine)) << pszLine << demo.strOut;
    }
    const nvtest::SRunResult map =
        nvtest::RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), {"map", "show", strMap});
    ASSERT_EQ(0, map.nExitCode) << map.strErr;
    // The discovered fabric: the host, two CPS-1848s, the endpoints and the Null PEs of free ports.
    EXPECT_NE(std::string::npos, map.strOut.find("PEs: 34\n  Node 1  0001h/FFF0h  Processor with Memory"))
        << map.strOut;
    EXPECT_NE(std::string::npos, map.strOut.find("Node 6  CPS-1848  Switch")) << map.strOut;
    EXPECT_NE(std::string::npos, map.strOut.find("Memory  device 0002h vendor FFF0h  ports 1  destID 14h"))
        << map.strOut;
    // The demo's link is not in the file.
    EXPECT_EQ(std::string::npos, map.strOut.find("host link")) << map.strOut;
}
} // namespace

namespace
{
TEST_F(ConnectionTest, ADiscoveryDrawsTheMapAndGeneratedTablesGoToTheSwitches)
{
    m_pFrame->RunCommand(eCmdConnect);
    ASSERT_TRUE(Core().IsConnected());
    int nSettingsShown = 0;
    m_pFrame->SetDiscoverySettingsChooser(
        [&nSettingsShown](CEnumerationSettings& settings)
        {
            ++nSettingsShown;
            settings.SetEnumerate(true);
            settings.SetUploadRegisters(true);
            settings.SetTryAllClockRates(false);
            return settings.Validate() == CEnumerationSettings::eFieldNone;
        });
    m_pFrame->RunCommand(eCmdStandardDiscovery);
    EXPECT_EQ(1, nSettingsShown);
    EXPECT_TRUE(m_pUI->messages.isEmpty()) << m_pUI->messages.join(QLatin1Char('|')).toStdString();
    EXPECT_EQ(QStringList({"Enable discovery logging?", "Skip routing table upload for unused ports?",
                           "Elliminate PE overlaps?"}),
              m_pUI->questions);
    EXPECT_EQ(QStringList({"Standard Discovery", "Upload Registers"}), m_pUI->workTitles);
    // The counts grew while the walk went on, and the last one tells the whole fabric: seven
    // PEs, two of them switches (the Null PEs of free ports aren't counted).
    ASSERT_GE(m_pUI->workCounts.size(), 3);
    EXPECT_EQ("PEs found: 7    Switches: 2    Endpoints: 5", m_pUI->workCounts.last().toStdString());
    EXPECT_TRUE(m_pUI->workCounts.contains("PEs found: 2    Switches: 1    Endpoints: 1"))
        << m_pUI->workCounts.join('|').toStdString();

    // The demo fabric: the host, two CPS-1848s, four endpoints, and a Null PE on every free port.
    const CNetworkDocument& document = Core().Document();
    std::vector<const CPEPrimitive*> switches;
    int nEndpoints = 0;
    int nPEs = 0;
    for (const auto& pPE : document.ActivePEs)
    {
        ++nPEs;
        if (pPE->uType & kPETypeSwitch)
        {
            switches.push_back(pPE.get());
        }
        else if (!(pPE->uType & kPETypeNull))
        {
            ++nEndpoints;
        }
    }
    ASSERT_EQ(2u, switches.size());
    EXPECT_EQ(0x0374, switches[0]->DeviceID);
    EXPECT_EQ(5, nEndpoints);
    EXPECT_TRUE(Core().IsModified());
    ASSERT_NE(nullptr, Core().HostPE()) << "the host PE keeps the open link";
    // The registers of every PE were read after the walk, the far switch's too.
    const SRegisterValue* pIdentity = switches[1]->SavedRegisters.Find(0x0);
    ASSERT_NE(nullptr, pIdentity);
    EXPECT_EQ(0x03740038u, pIdentity->uValue);
    ASSERT_NE(nullptr, Core().HostPE()->SavedRegisters.Find(0x60));
    EXPECT_EQ(0x00010001u, Core().HostPE()->SavedRegisters.Find(0x60)->uValue);

    // Every PE is drawn once and listed in the browser; the layout moved them off the grid.
    EXPECT_EQ(nPEs, m_pFrame->MapWindow()->MapScene()->NodeCount());
    EXPECT_EQ(document.ActiveConnections.GetCount(), m_pFrame->MapWindow()->MapScene()->EdgeCount());
    EXPECT_EQ(nPEs, m_pFrame->Browser()->Tree()->topLevelItemCount());
    const CDrawPE* pSwitchNode =
        document.FindView(kExpandedViewID)->pNodes.FindPENode(switches[1]->iNodeNumber);
    ASSERT_NE(nullptr, pSwitchNode);
    EXPECT_NE(DefaultGridPosition(switches[1]->iNodeNumber), QPoint(pSwitchNode->iXPos, pSwitchNode->iYPos));

    // Generate All, and Yes to the download: sw1 sends ep4 (14h) over the first parallel link.
    m_pUI->questions.clear();
    m_pFrame->RunCommand(eCmdGenerateAllTables);
    EXPECT_TRUE(m_pUI->messages.isEmpty()) << m_pUI->messages.join(QLatin1Char('|')).toStdString();
    EXPECT_EQ(
        QStringList({"The routing tables have been generated.\n\nDo you want to download them to the target?",
                     "Skip routing table download for unused ports?"}),
        m_pUI->questions);
    const CPEPrimitive* pSw1 = switches[0];
    ASSERT_FALSE(pSw1->RoutingTables.empty());
    const CRoutingTable* pTable = pSw1->RoutingTables[0].get();
    ASSERT_NE(nullptr, pTable);
    uint8_t uchPort = 0;
    ASSERT_GE(pTable->FindEntry(0x14, &uchPort), 0);
    EXPECT_EQ(4, uchPort);
    EXPECT_FALSE(pTable->bModified) << "downloaded";
    // The hardware has them: the route search, which follows downloaded tables only, reaches ep4.
    const CPEPrimitive* pEp4 = nullptr;
    for (const auto& pPE : document.ActivePEs)
    {
        pEp4 = pPE->ShortDestID == 0x14 && !(pPE->uType & kPETypeSwitch) ? pPE.get() : pEp4;
    }
    ASSERT_NE(nullptr, pEp4);
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    ASSERT_EQ(0, MapRouteToPE(document, pEp4->iNodeNumber, &ulDestID, &uchHop));
    EXPECT_EQ(0x14u, ulDestID);
    EXPECT_EQ(2, uchHop);
}
} // namespace

namespace
{
// The link between two PEs of the map at the given ports, or -1.
int LinkBetween(const CNetworkDocument& document, int iNode1, int iPort1, int iNode2, int iPort2)
{
    for (const auto& pLink : document.ActiveConnections)
    {
        if ((pLink->iPE1 == iNode1 && pLink->iPE1Port == iPort1 && pLink->iPE2 == iNode2 &&
             pLink->iPE2Port == iPort2) ||
            (pLink->iPE2 == iNode1 && pLink->iPE2Port == iPort1 && pLink->iPE1 == iNode2 &&
             pLink->iPE1Port == iPort2))
        {
            return pLink->iNodeNumber;
        }
    }
    return -1;
}

TEST_F(ConnectionTest, LinkCommandsWorkOnTheEndNearerTheHost)
{
    m_pFrame->RunCommand(eCmdConnect);
    ASSERT_TRUE(Core().IsConnected());
    m_pFrame->SetDiscoverySettingsChooser(
        [](CEnumerationSettings& settings)
        {
            settings.SetTryAllClockRates(false);
            return settings.Validate() == CEnumerationSettings::eFieldNone;
        });
    m_pFrame->RunCommand(eCmdStandardDiscovery);
    ASSERT_TRUE(m_pUI->messages.isEmpty()) << m_pUI->messages.join(QLatin1Char('|')).toStdString();
    const CNetworkDocument& document = Core().Document();
    std::vector<int> switches;
    int iEp1 = -1;
    for (const auto& pPE : document.ActivePEs)
    {
        if (pPE->uType & kPETypeSwitch)
        {
            switches.push_back(pPE->iNodeNumber);
        }
        iEp1 = pPE->ShortDestID == 0x05 && !(pPE->uType & kPETypeSwitch) ? pPE->iNodeNumber : iEp1;
    }
    ASSERT_EQ(2u, switches.size());
    // Given as sw2's end first: the command still reads sw1's port 5, one hop nearer.
    const int iParallel = LinkBetween(document, switches[1], 5, switches[0], 5);
    ASSERT_GE(iParallel, 0);
    SCommandContext context;
    context.iConnection = iParallel;
    m_pFrame->RunCommand(eCmdLinkStatus, context);
    ASSERT_EQ(1, m_pUI->messages.size());
    const QString strStatus = m_pUI->messages.takeFirst();
    for (const char* pszLine :
         {"Port Type:\t\tSerial RapidIO\n", "Port State:\t\tOK\n", "Current Port Width:\tx4\n",
          "Port Disabled:\t\tNo\n", "Output Port Enabled:\tYes\n", "Port Speed:\t\t5000 MHz"})
    {
        EXPECT_TRUE(strStatus.contains(QLatin1String(pszLine))) << pszLine << strStatus.toStdString();
    }

    // The CPS-1848 has no ackID repair of its own.
    m_pFrame->RunCommand(eCmdResyncAckIDs, context);
    ASSERT_EQ(1, m_pUI->messages.size());
    EXPECT_TRUE(m_pUI->messages.takeFirst().startsWith(
        "Unable to re-synch AckIDs.  The following\nerror was reported:\n\n"));

    // sw1's port 1 to ep1 at 5 Gbaud: the warning is Yes, both ends offer the rate, the link
    // comes back at it.
    const int iToEp1 = LinkBetween(document, switches[0], 1, iEp1, 0);
    ASSERT_GE(iToEp1, 0);
    context.iConnection = iToEp1;
    m_pUI->numbers = {5000};
    m_pUI->questions.clear();
    m_pFrame->RunCommand(eCmdSetPortSpeed, context);
    EXPECT_EQ(
        QStringList{"NOTE:  Not changing the port speed of the link partner will cause the link to go down"},
        m_pUI->questions);
    EXPECT_TRUE(m_pUI->messages.isEmpty()) << m_pUI->messages.join(QLatin1Char('|')).toStdString();
    m_pFrame->RunCommand(eCmdLinkStatus, context);
    ASSERT_EQ(1, m_pUI->messages.size());
    EXPECT_TRUE(m_pUI->messages[0].contains("Port Speed:\t\t5000 MHz")) << m_pUI->messages[0].toStdString();
    EXPECT_TRUE(m_pUI->messages[0].contains("Port State:\t\tOK")) << m_pUI->messages[0].toStdString();
}
} // namespace

namespace
{
// The processes the kernel lists as children of a process.
std::vector<pid_t> ChildrenOf(pid_t pid)
{
    QFile file(QStringLiteral("/proc/%1/task/%1/children").arg(pid));
    std::vector<pid_t> children;
    if (file.open(QIODevice::ReadOnly))
    {
        for (const QByteArray& word : file.readAll().split(' '))
        {
            if (!word.trimmed().isEmpty())
            {
                children.push_back(static_cast<pid_t>(word.trimmed().toLong()));
            }
        }
    }
    return children;
}

bool Alive(pid_t pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    // A zombie has ended; only its parent has not yet collected it.
    return stat.open(QIODevice::ReadOnly) && !stat.readAll().contains(") Z ");
}
} // namespace

// A program killed without a chance to stop its demo simulator takes the simulator with it.
TEST(DemoTargetTest, TheDemoSimulatorEndsWhenTheProgramIsKilled)
{
    QProcess program;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    environment.insert(QStringLiteral("HOME"), QString::fromStdString(nvtest::ProcessTempDir()));
    // The window would serve its automation interface on a session bus this test did not start.
    environment.remove(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"),
                       QString::fromStdString(nvtest::ProcessTempDir()) + QStringLiteral("/killed-config"));
    program.setProcessEnvironment(environment);
    program.start(QString::fromStdString(nvtest::BuiltProgram("App/norvanta")), {QStringLiteral("--demo")});
    ASSERT_TRUE(program.waitForStarted());
    pid_t simulator = 0;
    for (int i = 0; i < 200 && simulator == 0; ++i)
    {
        for (const pid_t child : ChildrenOf(static_cast<pid_t>(program.processId())))
        {
            QFile cmdline(QStringLiteral("/proc/%1/cmdline").arg(child));
            if (cmdline.open(QIODevice::ReadOnly) && cmdline.readAll().contains("norvanta-sim"))
            {
                simulator = child;
            }
        }
        if (simulator == 0)
        {
            QThread::msleep(50);
        }
    }
    ASSERT_NE(0, simulator) << "the program started no simulator";
    ::kill(static_cast<pid_t>(program.processId()), SIGKILL);
    program.waitForFinished();
    bool bGone = false;
    for (int i = 0; i < 100 && !bGone; ++i)
    {
        bGone = !Alive(simulator);
        if (!bGone)
        {
            QThread::msleep(50);
        }
    }
    if (!bGone)
    {
        ::kill(simulator, SIGKILL);
    }
    EXPECT_TRUE(bGone) << "the demo simulator outlived its program";
}

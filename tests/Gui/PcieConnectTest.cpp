// The PCIe tab of the connection dialog on the simulated Tsi721 mport library: the bridge is
// listed, choosing it connects the window, and the host PE is the bridge on a PCIe link.
#include "GuiTestEnvironment.h"

#include "ConnectDlg.h"
#include "MainFrame.h"
#include "MainFrameCore.h"
#include "NetworkCommands.h"
#include "Preferences.h"
#include "RecordingUserInterface.h"
#include "TestSupport.h"

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QListWidget>
#include <QTabWidget>
#include <QTimer>

#include <gtest/gtest.h>

#include <cstdlib>

namespace
{
class PcieConnectTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ::setenv("NORVANTA_MPORT_LIBRARY", (nvtest::BinaryDir() + "/Simulator/libnvsim_mport.so").c_str(), 1);
        ::setenv("NVSIM_MPORT_TOPOLOGY", (nvtest::SourceDir() + "/Simulator/topologies/tsi721.topo").c_str(),
                 1);
    }
    void TearDown() override
    {
        ::unsetenv("NORVANTA_MPORT_LIBRARY");
        ::unsetenv("NVSIM_MPORT_TOPOLOGY");
        RemovePreference("Preferences", "LastConnTab");
    }
};

TEST_F(PcieConnectTest, TheTabListsTheBridgeAndChoosingItConnects)
{
    CMainFrame frame;
    nvtest::CRecordingUserInterface ui;
    bool bAnswered = false;
    QTimer::singleShot(
        0,
        [&]
        {
            auto* pDialog = qobject_cast<CConnectDlg*>(QApplication::activeModalWidget());
            ASSERT_NE(nullptr, pDialog);
            bAnswered = true;
            pDialog->Tabs()->setCurrentIndex(eTabPCIe);
            auto* pList = pDialog->Tabs()->widget(eTabPCIe)->findChild<QListWidget*>();
            ASSERT_NE(nullptr, pList);
            ASSERT_EQ(1, pList->count());
            EXPECT_EQ(QStringLiteral("Tsi721 RapidIO/PCIe Bridge 0"), pList->item(0)->text());
            EXPECT_EQ(0, pList->currentRow()) << "the first bridge is chosen";
            if (const QByteArray dir = qgetenv("NV_SCREENSHOT_DIR"); !dir.isEmpty())
            {
                pDialog->grab().save(
                    QDir(QString::fromLocal8Bit(dir)).filePath(QStringLiteral("connect-pcie.png")));
            }
            pDialog->accept();
        });
    frame.RunCommand(eCmdConnect);
    ASSERT_TRUE(bAnswered);
    ASSERT_TRUE(frame.Core().IsConnected()) << ui.messages.join('|').toStdString();
    const CPEPrimitive* pHost = frame.Core().HostPE();
    ASSERT_NE(nullptr, pHost);
    EXPECT_EQ(eConnTsi721Driver, pHost->eConnectionType);
    EXPECT_EQ(0x80AB, pHost->DeviceID);
    EXPECT_EQ(0x0038, pHost->ManufID);
    EXPECT_EQ(0x05, pHost->ShortDestID);
    frame.Core().Disconnect();
    EXPECT_FALSE(frame.Core().IsConnected());
    EXPECT_TRUE(ui.messages.isEmpty()) << ui.messages.join('|').toStdString();
}

TEST_F(PcieConnectTest, AFabricWithoutATsi721ShowsNoBoard)
{
    ::setenv("NVSIM_MPORT_TOPOLOGY", (nvtest::SourceDir() + "/Simulator/topologies/chain.topo").c_str(), 1);
    nvtest::CRecordingUserInterface ui;
    CConnectDlg dialog;
    EXPECT_EQ(QStringLiteral("No PCIe Tsi721 boards found."), dialog.NotFoundText(eTabPCIe));
    dialog.Tabs()->setCurrentIndex(eTabPCIe);
    EXPECT_FALSE(dialog.TakeChoice()) << "nothing to choose";
}
} // namespace

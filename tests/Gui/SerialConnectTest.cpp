// The RS232 tab of the connection dialog against norvanta-sim --serial: the simulator's
// pseudo-terminal, named in the extra ports of the preferences, is listed, and its choice opens
// the link with the rate and flow control chosen on the tab.
#include "GuiTestEnvironment.h"

#include "ConnectDlg.h"
#include "Preferences.h"
#include "RecordingUserInterface.h"
#include "SimProcess.h"
#include "TargetConnection.h"
#include "TestSupport.h"

#include <QComboBox>
#include <QListWidget>
#include <QTabWidget>

#include <gtest/gtest.h>

namespace
{
const QString kRS232 = QStringLiteral("Preferences/RS232");

class SerialConnectTest : public ::testing::Test
{
protected:
    void TearDown() override
    {
        RemovePreference(kRS232, QStringLiteral("ExtraPorts"));
        RemovePreference(kRS232, QStringLiteral("BaudRate"));
        RemovePreference(kRS232, QStringLiteral("Handshake"));
    }

    nvtest::CRecordingUserInterface m_ui;
};

TEST_F(SerialConnectTest, TheSimulatorsLineIsListedAndItsChoiceConnects)
{
    nvtest::CSimProcess sim("demo.topo", {"--serial", "--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const QString strPath = QString::fromStdString(sim.SerialPath());
    ASSERT_TRUE(SetPreference(kRS232, QStringLiteral("ExtraPorts"), strPath));

    CConnectDlg dialog;
    dialog.Tabs()->setCurrentIndex(eTabRS232);
    QListWidget* pPorts = dialog.SerialPortList();
    ASSERT_NE(nullptr, pPorts);
    const QList<QListWidgetItem*> items = pPorts->findItems(strPath, Qt::MatchExactly);
    ASSERT_EQ(1, items.size());

    // No port chosen: the tab's text, and the dialog stays.
    pPorts->setCurrentItem(nullptr);
    EXPECT_FALSE(dialog.TakeChoice());
    EXPECT_EQ(QStringList{QStringLiteral("Please select a valid COM Port.")}, m_ui.messages);
    m_ui.messages.clear();

    pPorts->setCurrentItem(items[0]);
    QComboBox* pBaud = nullptr;
    QComboBox* pFlow = nullptr;
    for (QComboBox* pBox : dialog.findChildren<QComboBox*>())
    {
        (pBox->findText(QStringLiteral("115200")) >= 0 ? pBaud : pFlow) = pBox;
    }
    ASSERT_NE(nullptr, pBaud);
    ASSERT_NE(nullptr, pFlow);
    EXPECT_EQ(QStringLiteral("115200"), pBaud->currentText());
    pBaud->setCurrentIndex(pBaud->findText(QStringLiteral("57600")));
    pFlow->setCurrentIndex(pFlow->findText(QStringLiteral("Software")));
    ASSERT_TRUE(dialog.TakeChoice());
    EXPECT_EQ(eConnRS232, dialog.Choice());
    EXPECT_EQ(57600u, GetPreference(kRS232, QStringLiteral("BaudRate"), 0u));
    EXPECT_EQ(2u, GetPreference(kRS232, QStringLiteral("Handshake"), 0u));

    // The server's identification comes back over the pseudo-terminal.
    CTargetConnection connection;
    ASSERT_TRUE(connection.OpenTarget(dialog.Choice(), dialog.AddressWord()))
        << m_ui.messages.join('|').toStdString();
    EXPECT_EQ(QStringLiteral("Serial Connection"), connection.TargetName());
    EXPECT_NE(0, connection.ServerInfo().wDeviceID);
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join('|').toStdString();
    connection.Disconnect();
    EXPECT_EQ(0, sim.Stop()) << sim.ErrorOutput();
}
} // namespace

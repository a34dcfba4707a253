// The I2C tab of the connection dialog against the simulated pod library: it lists the pod's
// channel, checks the address against the addressing chosen, and its choice opens the link.
#include "ConnectDlg.h"
#include "I2cLink.h"
#include "RecordingUserInterface.h"
#include "TargetConnection.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QLineEdit>
#include <QListWidget>
#include <QRadioButton>
#include <QTabWidget>

#include <cstdlib>

namespace
{
class I2cConnectTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ::setenv("NORVANTA_I2C_POD", (nvtest::BinaryDir() + "/Simulator/libnvsim_i2cpod.so").c_str(), 1);
        ::setenv(
            "NORVANTA_I2C_SIM",
            ("topology=" + nvtest::SourceDir() + "/Simulator/topologies/families.topo;port=sw0@0x03").c_str(),
            1);
        CI2cLayer::Instance().SetPod(eI2cPodLibrary, MakeI2cPod(eI2cPodLibrary));
    }
    void TearDown() override { CI2cLayer::Instance().SetPod(eI2cPodLibrary, nullptr); }

    nvtest::CRecordingUserInterface m_ui;
};

TEST_F(I2cConnectTest, TheTabListsThePodAndItsChoiceConnects)
{
    CConnectDlg dialog;
    dialog.Tabs()->setCurrentIndex(eTabI2C);
    QListWidget* pChannels = dialog.I2CChannelList();
    ASSERT_NE(nullptr, pChannels);
    const QList<QListWidgetItem*> items =
        pChannels->findItems(QStringLiteral("Norvanta Simulated I2C Pod A\t0"), Qt::MatchExactly);
    ASSERT_EQ(1, items.size());
    pChannels->setCurrentItem(items[0]);

    // The two addressings stand together at the left, not spread over the row.
    dialog.show();
    QApplication::processEvents();
    const QString strShots = qEnvironmentVariable("NV_SCREENSHOT_DIR");
    if (!strShots.isEmpty())
        dialog.grab().save(strShots + QStringLiteral("/connect-i2c.png"));
    const QRect tenBit = dialog.I2C10Bit()->geometry();
    EXPECT_LT(tenBit.left(), dialog.I2C10Bit()->parentWidget()->width() / 2);
    // The address box is sized for an address, not stretched across the tab.
    EXPECT_LT(dialog.I2CAddress()->width(), dialog.I2CAddress()->parentWidget()->width() / 2);

    // 80h needs 10 bits: the dialog says so and stays open.
    dialog.I2CAddress()->setText(QStringLiteral("80h"));
    EXPECT_FALSE(dialog.TakeChoice());
    EXPECT_EQ(QStringList{QStringLiteral("Address out of range.")}, m_ui.messages);

    dialog.I2CAddress()->setText(QStringLiteral("3"));
    ASSERT_TRUE(dialog.TakeChoice());
    EXPECT_EQ(eConnI2C7Bit, dialog.Choice());
    EXPECT_EQ((3u << 16) | (eI2cPodLibrary << 8) | 0u, dialog.AddressWord());

    CTargetConnection connection;
    ASSERT_TRUE(connection.OpenTarget(dialog.Choice(), dialog.AddressWord()))
        << m_ui.messages.join(QLatin1Char('|')).toStdString();
    EXPECT_EQ(QStringLiteral("I2C 0x03"), connection.TargetName());
    EXPECT_EQ(0x0374u, connection.ServerInfo().wDeviceID);
    connection.Disconnect();
}
} // namespace

// The Packet Generator window against norvanta-sim (gen2tools.topo): connected and with the
// discovered map open, a maintenance read composed in the grid goes out of the CPS-1848's port 1
// when Send Packet is pressed, and the endpoint's response comes back through port 5's capture as
// a new list entry and as the packet in hand, which the grid shows.
#include "GuiTestEnvironment.h"

#include "LinkSettings.h"
#include "MainFrame.h"
#include "PacketGenDlg.h"
#include "RIOPacket.h"
#include "RecordingUserInterface.h"
#include "SimProcess.h"
#include "TestSupport.h"

#include <QApplication>
#include <QComboBox>
#include <QListWidget>
#include <QPushButton>

#include <gtest/gtest.h>

namespace
{
void Set(CRIOPacket& packet, uint32_t nField, uint32_t ulValue)
{
    ASSERT_NE(nullptr, packet.FindField(nField)) << nField;
    packet.FindField(nField)->SetValue(ulValue, false);
}

TEST(PacketGenTargetTest, SendPacketListsTheEndpointsResponseAndShowsItInTheGrid)
{
    nvtest::CSimProcess sim("gen2tools.topo", {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const std::string strMap = nvtest::ProcessTempDir() + "/pgen-gui.nvm";
    const nvtest::SRunResult discovery =
        nvtest::RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"),
                           {"--server", "127.0.0.1", "--wait-ms", "1500", "--port",
                            std::to_string(sim.TcpPort()), "discover", "--no-layout", "--save", strMap});
    ASSERT_EQ(0, discovery.nExitCode) << discovery.strErr;

    nvguitest::PointLinkAtSimulator(sim.TcpPort());
    CMainFrame frame;
    nvtest::CRecordingUserInterface ui;
    nvguitest::AnswerConnectWithLoopbackServer(frame);
    frame.RunCommand(eCmdConnect);
    ASSERT_TRUE(frame.Core().IsConnected()) << ui.messages.join('|').toStdString();
    ASSERT_TRUE(frame.Core().OpenMap(QString::fromStdString(strMap)));

    // Node 2 of the map, the CPS-1848.
    CIDT_Gen2_PacketGenDlg* pDlg = CIDT_Gen2_PacketGenDlg::Open(frame.Core().Document(), 1);
    ASSERT_NE(nullptr, pDlg);
    pDlg->show();
    // A maintenance read of the Device Identity CAR of the endpoint with ID 5 behind port 1, from
    // ID 0x33, whose answers the tool steers to the end port.
    CRIOPacket& packet = pDlg->Packet();
    packet.SetTypeAndIDSize(8, 0);
    Set(packet, eRIOFieldTRANSACTION, 0);
    Set(packet, eRIOFieldDESTID8, 0x05);
    Set(packet, eRIOFieldSRCID8, 0x33);
    Set(packet, eRIOFieldSIZE, 8);
    Set(packet, eRIOFieldSOURCETID, 0x07);
    Set(packet, eRIOFieldHOPCOUNT, 0);
    Set(packet, eRIOFieldREGADDRESS, 0);
    pDlg->Grid()->Rebuild();
    const QString strRequest = PacketStreamLine(packet);
    ASSERT_EQ(QStringLiteral("00080533 08070000 00006BE1"), strRequest);

    ASSERT_EQ(18, pDlg->StartBox()->count());
    pDlg->StartBox()->setCurrentIndex(1);
    pDlg->EndBox()->setCurrentIndex(5);
    pDlg->FlowBox()->setCurrentIndex(2);
    QPushButton* pSend = pDlg->Button(QStringLiteral("Send Packet"));
    ASSERT_NE(nullptr, pSend);
    pSend->click();
    QApplication::processEvents();
    EXPECT_TRUE(ui.messages.isEmpty()) << ui.messages.join('|').toStdString();

    // The request went into the list first, then the response as a new entry, selected.
    ASSERT_EQ(2, pDlg->List()->count());
    EXPECT_EQ(strRequest, pDlg->List()->item(0)->text());
    EXPECT_EQ(1, pDlg->List()->currentRow());
    EXPECT_EQ(-1, pDlg->Generator().List().CurrentPacketID());
    // The response, in the packet in hand: a maintenance read response from ID 5 to ID 0x33. It is
    // loaded in the layout the packet in hand has (the request's, 12 bytes: the field model's
    // LoadStream does not lay a packet out anew), so the list shows its first 12 bytes and the grid
    // the request's fields with the response's values; norvanta-cli pgen send prints a response
    // whole, laid out by its own header.
    EXPECT_EQ(8u, packet.GetFType());
    EXPECT_EQ(0x33u, packet.GetDestID());
    EXPECT_EQ(0x05u, packet.GetSourceID());
    ASSERT_NE(nullptr, packet.FindField(eRIOFieldTRANSACTION));
    EXPECT_EQ(2u, packet.FindField(eRIOFieldTRANSACTION)->GetValue());
    ASSERT_NE(nullptr, packet.FindField(eRIOFieldHOPCOUNT));
    EXPECT_EQ(0xFFu, packet.FindField(eRIOFieldHOPCOUNT)->GetValue());
    // With automatic CRCs on, the CRC is recomputed for what the packet in hand now holds, and the
    // list entry carries the same CRC as the grid's CRC cell.
    ASSERT_NE(nullptr, packet.FindField(eRIOFieldCRC));
    const uint32_t ulCrc = packet.FindField(eRIOFieldCRC)->GetValue();
    EXPECT_TRUE(packet.FindField(eRIOFieldCRC)->IsValueValid());
    EXPECT_NE(0x0002u, ulCrc);
    EXPECT_EQ(QStringLiteral("00483305 2007FF00 0000%1").arg(ulCrc, 4, 16, QLatin1Char('0')).toUpper(),
              pDlg->List()->item(1)->text());
    // The grid shows it: the Trans column reads 2.
    bool bTrans = false;
    for (int i = 0; i < pDlg->Grid()->ColumnCount(); ++i)
    {
        if (pDlg->Grid()->HeadingText(0, i).startsWith(QStringLiteral("Trans\n")))
        {
            bTrans = true;
            EXPECT_EQ(QStringLiteral("2"), pDlg->Grid()->CellText(0, i));
        }
    }
    EXPECT_TRUE(bTrans);
    const QString strShots = qEnvironmentVariable("NV_SCREENSHOT_DIR");
    if (!strShots.isEmpty())
        pDlg->grab().save(strShots + QStringLiteral("/packetgen-response.png"));
    delete pDlg;
    frame.Core().Disconnect();
    ReloadLinkSettings();
}
} // namespace

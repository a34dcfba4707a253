// The Virtual Destination IDs window of a PE and the two commands of the PE pop-up that use it: the
// modes the device allows, the automatic choice, typed lists that are refused or cut, what OK and
// Cancel leave in the PE, and, against norvanta-sim, the update that makes the PE answer to its IDs.
#include "GuiTestEnvironment.h"

#include "DialogVDIDs.h"
#include "HalRegAccess.h"
#include "LinkSettings.h"
#include "MainFrame.h"
#include "NVXLHal.h"
#include "RecordingUserInterface.h"
#include "SimProcess.h"
#include "TestSupport.h"
#include "VDIDCommands.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTimer>

#include <gtest/gtest.h>

#include <fstream>

namespace
{
using nvguitest::AddPE;

// Node 0: a switch without VDID capabilities; 1: an endpoint with one secondary ID register and
// 40h in it; 2: an endpoint with neither; 3: an endpoint that can accept all, with the VDID 16h.
// The endpoints' own IDs are 11h, 12h and 13h.
class VDIDDialogTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        AddPE(m_map, 0, 0x0038, 0x0374, kPETypeSwitch, 0, 0, 18);
        AddPE(m_map, 1, 0x0030, 0x0096, kPETypeMemory, 100, 0);
        AddPE(m_map, 2, 0xFFF0, 0x1002, kPETypeMemory, 200, 0);
        AddPE(m_map, 3, 0x0002, 0x0012, kPETypeMemory, 300, 0);
        CPEPrimitive& secondary = PE(1);
        secondary.VDID_Caps = kVDIDSecondary;
        secondary.VDID_NumSecondaryIDs = 1;
        secondary.VDID_Impl = kVDIDAssigned | kVDIDSecondary;
        secondary.VDID_NumShortIDs = 1;
        secondary.VDID_ShortIDs = {0x40, 0};
        CPEPrimitive& acceptAll = PE(3);
        acceptAll.VDID_Caps = kVDIDAcceptAll;
        acceptAll.VDID_Impl = kVDIDAcceptAll;
        acceptAll.VDID_NumShortIDs = 1;
        acceptAll.VDID_ShortIDs = {0x16, 0};
    }
    CPEPrimitive& PE(int iNode) { return *m_map.ActivePEs.GetByNodeNumber(iNode); }
    static void ClickOK(CDialogVDIDs& dialog)
    {
        auto* pButtons = dialog.findChild<QDialogButtonBox*>();
        ASSERT_NE(nullptr, pButtons);
        pButtons->button(QDialogButtonBox::Ok)->click();
    }

    nvtest::CRecordingUserInterface m_ui;
    CNetworkDocument m_map;
};

TEST_F(VDIDDialogTest, ModesAreOfferedAsTheDeviceAllowsAndASwitchMayAlwaysAcceptAll)
{
    CDialogVDIDs sw(PE(0), m_map.ActivePEs, false);
    EXPECT_EQ(QStringLiteral("Virtual Destination IDs - Node 1"), sw.windowTitle());
    EXPECT_TRUE(sw.DisabledButton()->isChecked());
    EXPECT_FALSE(sw.SecondaryButton()->isEnabled());
    EXPECT_TRUE(sw.AcceptAllButton()->isEnabled()) << "a switch without the capability";
    EXPECT_FALSE(sw.IDEdit()->isEnabled());
    EXPECT_FALSE(sw.AutoButton()->isEnabled());
    EXPECT_TRUE(sw.SupportLabel()->text().isEmpty());
    sw.AcceptAllButton()->click();
    EXPECT_EQ(QStringLiteral("2 Virtual Destination IDs supported"), sw.SupportLabel()->text());
    EXPECT_TRUE(sw.IDEdit()->isEnabled());
    EXPECT_TRUE(sw.AutoButton()->isEnabled());
    sw.DisabledButton()->click();
    EXPECT_TRUE(sw.SupportLabel()->text().isEmpty());
    EXPECT_FALSE(sw.IDEdit()->isEnabled());

    CDialogVDIDs secondary(PE(1), m_map.ActivePEs, false);
    EXPECT_TRUE(secondary.SecondaryButton()->isChecked()) << "bit 0 of the mode word";
    EXPECT_TRUE(secondary.SecondaryButton()->isEnabled());
    EXPECT_FALSE(secondary.AcceptAllButton()->isEnabled());
    EXPECT_EQ(QStringLiteral("1 Virtual Destination IDs supported"), secondary.SupportLabel()->text());
    EXPECT_EQ(QStringLiteral("40h"), secondary.IDEdit()->text());
    EXPECT_TRUE(secondary.IDEdit()->isEnabled());

    CDialogVDIDs plain(PE(2), m_map.ActivePEs, false);
    EXPECT_TRUE(plain.DisabledButton()->isChecked());
    EXPECT_FALSE(plain.SecondaryButton()->isEnabled());
    EXPECT_FALSE(plain.AcceptAllButton()->isEnabled());
    EXPECT_FALSE(plain.AutoButton()->isEnabled());

    CDialogVDIDs acceptAll(PE(3), m_map.ActivePEs, false);
    EXPECT_TRUE(acceptAll.AcceptAllButton()->isChecked());
    EXPECT_FALSE(acceptAll.SecondaryButton()->isEnabled());
    EXPECT_EQ(QStringLiteral("2 Virtual Destination IDs supported"), acceptAll.SupportLabel()->text());
    // A 16-bit network shows the 16-bit IDs, four digits each.
    PE(3).VDID_NumLongIDs = 2;
    PE(3).VDID_LongIDs = {0x0116, 0x0ABC};
    CDialogVDIDs wide(PE(3), m_map.ActivePEs, true);
    EXPECT_EQ(QStringLiteral("0116h,0ABCh"), wide.IDEdit()->text());
}

TEST_F(VDIDDialogTest, AutomaticChoiceFillsTheFieldAndOKWritesThePEBack)
{
    // The switch uses no ID of its own, so the search starts at 1; 11h to 13h and 16h are taken.
    CDialogVDIDs sw(PE(0), m_map.ActivePEs, false);
    sw.AcceptAllButton()->click();
    sw.AutoButton()->click();
    EXPECT_EQ(QStringLiteral("01h,02h"), sw.IDEdit()->text());
    EXPECT_EQ(0, PE(0).VDID_NumShortIDs) << "nothing reaches the PE before OK";
    ClickOK(sw);
    EXPECT_EQ(QDialog::Accepted, sw.result());
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join('|').toStdString();
    EXPECT_EQ(kVDIDAssigned | kVDIDAcceptAll, PE(0).VDID_Impl);
    EXPECT_EQ(2, PE(0).VDID_NumShortIDs);
    EXPECT_EQ(0x01, PE(0).VDID_ShortIDs[0]);
    EXPECT_EQ(0x02, PE(0).VDID_ShortIDs[1]);

    // The endpoint at 12h searches upwards from 13h, which is taken.
    PE(2).VDID_Caps = kVDIDAcceptAll;
    CDialogVDIDs ep(PE(2), m_map.ActivePEs, false);
    ep.AcceptAllButton()->click();
    ep.AutoButton()->click();
    EXPECT_EQ(QStringLiteral("14h,15h"), ep.IDEdit()->text());

    // A place that holds an ID keeps it; only the empty one is filled.
    CDialogVDIDs kept(PE(3), m_map.ActivePEs, false);
    kept.AutoButton()->click();
    EXPECT_EQ(QStringLiteral("16h,14h"), kept.IDEdit()->text());
}

TEST_F(VDIDDialogTest, WrongListsKeepTheWindowOpenAndCancelLeavesThePEAlone)
{
    CDialogVDIDs dialog(PE(3), m_map.ActivePEs, false);
    dialog.show();
    dialog.IDEdit()->setText(QStringLiteral("21h,zz"));
    ClickOK(dialog);
    EXPECT_TRUE(dialog.isVisible());
    EXPECT_EQ(QStringList{QStringLiteral("Invalid VDID format for 'zz'")}, m_ui.messages);
    EXPECT_EQ(QStringList{QStringLiteral("Input Error")}, m_ui.messageTitles);

    m_ui.messages.clear();
    dialog.IDEdit()->setText(QStringLiteral("100h"));
    ClickOK(dialog);
    EXPECT_TRUE(dialog.isVisible());
    EXPECT_EQ(QStringList{QStringLiteral("DestID 100h is too big.")}, m_ui.messages);

    // Another PE's primary ID is refused; the PE's own VDID is not looked for in its own list.
    m_ui.messages.clear();
    dialog.IDEdit()->setText(QStringLiteral("16h 12h"));
    ClickOK(dialog);
    EXPECT_TRUE(dialog.isVisible());
    EXPECT_EQ(QStringList{QStringLiteral("Destination ID 12h is already in use by another PE.")},
              m_ui.messages);
    EXPECT_EQ(1, PE(3).VDID_NumShortIDs);
    EXPECT_EQ(0x16, PE(3).VDID_ShortIDs[0]);

    // Cancel drops what was chosen.
    dialog.DisabledButton()->click();
    dialog.reject();
    EXPECT_FALSE(dialog.isVisible());
    EXPECT_EQ(kVDIDAcceptAll, PE(3).VDID_Impl);
    EXPECT_EQ(1, PE(3).VDID_NumShortIDs);

    // Three IDs for two places: the note once, and the first two kept.
    m_ui.messages.clear();
    m_ui.messageTitles.clear();
    CDialogVDIDs many(PE(3), m_map.ActivePEs, false);
    many.show();
    many.IDEdit()->setText(QStringLiteral("16h;20h.21h"));
    ClickOK(many);
    EXPECT_FALSE(many.isVisible());
    EXPECT_EQ(
        QStringList{QStringLiteral("Too many VDIDs have been defined. All but the first 2 will be ignored.")},
        m_ui.messages);
    EXPECT_EQ(QStringList{QStringLiteral("Please Note")}, m_ui.messageTitles);
    EXPECT_EQ(2, PE(3).VDID_NumShortIDs);
    EXPECT_EQ(0x20, PE(3).VDID_ShortIDs[1]);

    // IDs typed for a disabled PE are dropped, with a note, and OK goes on.
    m_ui.messages.clear();
    CDialogVDIDs disabled(PE(2), m_map.ActivePEs, false);
    disabled.show();
    disabled.IDEdit()->setText(QStringLiteral("30h"));
    ClickOK(disabled);
    EXPECT_FALSE(disabled.isVisible());
    EXPECT_EQ(QStringList{QStringLiteral("Defined VDIDs will be ignored.")}, m_ui.messages);
    EXPECT_EQ(0, PE(2).VDID_NumShortIDs);
}

TEST_F(VDIDDialogTest, TheWindowLaysItsControlsOutWithoutOverlapOrClipping)
{
    CDialogVDIDs dialog(PE(0), m_map.ActivePEs, true);
    dialog.AcceptAllButton()->click();
    dialog.IDEdit()->setText(QStringLiteral("FFFDh,FFFCh"));
    dialog.show();
    QApplication::processEvents();
    const QList<QWidget*> controls = {dialog.DisabledButton(),  dialog.SecondaryButton(),
                                      dialog.AcceptAllButton(), dialog.SupportLabel(),
                                      dialog.IDEdit(),          dialog.AutoButton()};
    for (QWidget* pControl : controls)
    {
        EXPECT_GE(pControl->width(), pControl->sizeHint().width()) << pControl->metaObject()->className();
        EXPECT_TRUE(dialog.rect().contains(QRect(pControl->mapTo(&dialog, QPoint(0, 0)), pControl->size())))
            << pControl->metaObject()->className();
    }
    // The three choices and the count stand in one column, one under the other.
    for (QWidget* pControl :
         QList<QWidget*>{dialog.SecondaryButton(), dialog.AcceptAllButton(), dialog.SupportLabel()})
    {
        EXPECT_EQ(dialog.DisabledButton()->x(), pControl->x());
    }
    EXPECT_LT(dialog.DisabledButton()->geometry().bottom(), dialog.SecondaryButton()->y());
    EXPECT_LT(dialog.SecondaryButton()->geometry().bottom(), dialog.AcceptAllButton()->y());
    // The field shows a list of the full width whole, beside the button.
    EXPECT_GE(dialog.IDEdit()->width(),
              dialog.IDEdit()->fontMetrics().horizontalAdvance(dialog.IDEdit()->text()));
    const QRect edit(dialog.IDEdit()->mapTo(&dialog, QPoint(0, 0)), dialog.IDEdit()->size());
    const QRect button(dialog.AutoButton()->mapTo(&dialog, QPoint(0, 0)), dialog.AutoButton()->size());
    EXPECT_FALSE(edit.intersects(button));
}

// The commands on a frame with no target: the window's answer decides whether the map changed.
TEST(VDIDCommandsTest, OKChangesTheMapAndOnlyAConnectedMapIsOfferedTheUpdate)
{
    nvtest::CRecordingUserInterface ui;
    CMainFrameCore core;
    AddPE(core.Document(), 0, 0x0038, 0x0374, kPETypeSwitch, 0, 0, 18);
    AddPE(core.Document(), 1, 0xFFF0, 0x0000, kPETypeNull, 100, 0);
    int nMapChanges = 0;
    core.onMapChanged = [&nMapChanges] { ++nMapChanges; };
    bool bAnswer = false;
    std::vector<int> shown;
    InstallVDIDCommands(core,
                        [&](CPEPrimitive& pe, const CPEList& PEs, bool bLong)
                        {
                            shown.push_back(pe.iNodeNumber);
                            EXPECT_EQ(&PEs, core.Document().pCurrentPEs);
                            EXPECT_FALSE(bLong);
                            if (bAnswer)
                            {
                                pe.VDID_Impl = kVDIDAcceptAll;
                            }
                            return bAnswer;
                        });
    SCommandContext context;
    context.iNode = 0;
    core.RunCommand(eCmdConfigureVDIDs, context);
    EXPECT_EQ(std::vector<int>{0}, shown);
    EXPECT_FALSE(core.IsModified()) << "cancelled";
    EXPECT_EQ(0, nMapChanges);

    bAnswer = true;
    core.RunCommand(eCmdConfigureVDIDs, context);
    EXPECT_TRUE(core.IsModified());
    EXPECT_EQ(1, nMapChanges);
    EXPECT_TRUE(ui.questions.isEmpty()) << "no target to update";
    EXPECT_TRUE(ui.messages.isEmpty());

    // A Null PE and a click off any PE open nothing.
    context.iNode = 1;
    core.RunCommand(eCmdConfigureVDIDs, context);
    context.iNode = -1;
    core.RunCommand(eCmdConfigureVDIDs, context);
    EXPECT_EQ(2u, shown.size());

    context.iNode = 0;
    core.RunCommand(eCmdUpdatePE, context);
    EXPECT_EQ(QStringList{QStringLiteral("Not connected to a target. Connect to a target first.")},
              ui.messages);
}

// host0 - sw1 - sw2 - ep30 (vendor 0x30 device 0x96, answering only its own ID), and a generic
// endpoint on sw1; the switches route the primary IDs.
const char* const kTopology = "device host0 endpoint device=0x0001 processor memory id=0x01 largeid=0x0001\n"
                              "device sw1 switch model=cps1848\ndevice sw2 switch model=cps1848\n"
                              "device ep30 endpoint model=v30dev96 memory accept=own id=0x05 largeid=0x0005\n"
                              "device ep endpoint device=0x1002 memory accept=own id=0x0A largeid=0x000A\n"
                              "host host0\nlink host0:0 sw1:0\nlink sw1:1 sw2:1\nlink sw2:2 ep30:0\n"
                              "link sw1:2 ep:0\nroute sw1 0x01 0\nroute sw1 0x05 1\nroute sw1 0x0A 2\n"
                              "route sw2 0x01 1\nroute sw2 0x05 2\n";

std::string TempPath(const char* pszName)
{
    return nvtest::ProcessTempDir() + "/" + pszName;
}

// The identity the target answers with at an ID two switches away, or 0 when nothing answers.
uint32_t IdentityAt(uint32_t ulDestID)
{
    uint32_t ulValue = 0;
    return HalReadReg(0, ulDestID, 2, 0, &ulValue) == 0 ? ulValue : 0;
}

TEST(VDIDTargetTest, TheWindowsIDsReachTheTargetOnYesOrThroughUpdatePE)
{
    const std::string strTopology = TempPath("vdid-gui.topo");
    std::ofstream(strTopology) << kTopology;
    nvtest::CSimProcess sim(strTopology, {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    // The map comes from a discovery by the command line, with the switches' tables.
    const std::string strMap = TempPath("vdid-gui.nvm");
    const nvtest::SRunResult discovery = nvtest::RunProgram(
        nvtest::BuiltProgram("Cli/norvanta-cli"),
        {"--server", "127.0.0.1", "--wait-ms", "1500", "--port", std::to_string(sim.TcpPort()), "discover",
         "--scan", "5,0Ah", "--upload-tables", "--no-layout", "--save", strMap});
    ASSERT_EQ(0, discovery.nExitCode) << discovery.strErr;

    nvguitest::PointLinkAtSimulator(sim.TcpPort());
    LinkSettings().ulWaitMilliseconds = 1000;
    CMainFrame frame;
    nvtest::CRecordingUserInterface ui;
    nvguitest::AnswerConnectWithLoopbackServer(frame);
    frame.RunCommand(eCmdConnect);
    ASSERT_TRUE(frame.Core().IsConnected()) << ui.messages.join('|').toStdString();
    ASSERT_TRUE(frame.Core().OpenMap(QString::fromStdString(strMap)));
    ASSERT_NE(nullptr, frame.Core().HostPE());
    CPEPrimitive* pEp30 = frame.Core().Document().ActivePEs.GetPEByDestID(0x05);
    ASSERT_NE(nullptr, pEp30);
    ASSERT_EQ(0x00960030u, IdentityAt(0x05));
    EXPECT_EQ(0u, IdentityAt(0x21)) << "nothing answers to 21h yet";

    // The window, driven as a person would: secondary IDs, two typed, OK; the update declined.
    bool bSeen = false;
    QTimer::singleShot(0,
                       [&]
                       {
                           auto* pDialog = qobject_cast<CDialogVDIDs*>(QApplication::activeModalWidget());
                           ASSERT_NE(nullptr, pDialog);
                           bSeen = true;
                           EXPECT_TRUE(pDialog->SecondaryButton()->isEnabled());
                           EXPECT_TRUE(pDialog->AcceptAllButton()->isEnabled());
                           pDialog->SecondaryButton()->click();
                           EXPECT_EQ(QStringLiteral("2 Virtual Destination IDs supported"),
                                     pDialog->SupportLabel()->text());
                           pDialog->IDEdit()->setText(QStringLiteral("21h,22h"));
                           pDialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
                       });
    ui.answers = {eAnswerNo};
    SCommandContext context;
    context.iNode = pEp30->iNodeNumber;
    frame.RunCommand(eCmdConfigureVDIDs, context);
    ASSERT_TRUE(bSeen);
    EXPECT_EQ(
        QStringList{QStringLiteral("Do you want to update the PE and routing tables based upon your changes "
                                   "to the VDID configuration?")},
        ui.questions);
    EXPECT_TRUE(frame.Core().IsModified());
    EXPECT_EQ(kVDIDSecondary, pEp30->VDID_Impl);
    EXPECT_EQ(2, pEp30->VDID_NumShortIDs);
    EXPECT_EQ(0u, IdentityAt(0x21)) << "declined: the target is as it was";

    // Update PE takes the IDs to the device and routes them through both switches.
    frame.RunCommand(eCmdUpdatePE, context);
    EXPECT_TRUE(ui.messages.isEmpty()) << ui.messages.join('|').toStdString();
    EXPECT_EQ(0x00960030u, IdentityAt(0x21));
    EXPECT_EQ(0x00960030u, IdentityAt(0x22));
    EXPECT_EQ(0u, IdentityAt(0x23)) << "an ID it wasn't given";

    // Yes runs the same update at once. Accept-all writes no register, only routes: the device
    // answers once it is open to the host.
    QTimer::singleShot(0,
                       [&]
                       {
                           auto* pDialog = qobject_cast<CDialogVDIDs*>(QApplication::activeModalWidget());
                           ASSERT_NE(nullptr, pDialog);
                           pDialog->AcceptAllButton()->click();
                           pDialog->IDEdit()->setText(QStringLiteral("33h"));
                           pDialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
                       });
    ui.answers = {eAnswerYes};
    frame.RunCommand(eCmdConfigureVDIDs, context);
    EXPECT_TRUE(ui.messages.isEmpty()) << ui.messages.join('|').toStdString();
    EXPECT_EQ(kVDIDAcceptAll, pEp30->VDID_Impl);
    EXPECT_EQ(pEp30, frame.Core().Document().ActivePEs.GetPEByDestID(0x33)) << "the map knows it by the ID";
    ASSERT_EQ(NVXL_OK, HalEnableHostAccess(0x0030, 0x0096, 0, 0x05, 2, 1));
    EXPECT_EQ(0x00960030u, IdentityAt(0x33));
    frame.Core().Disconnect();
    ReloadLinkSettings();
}
} // namespace

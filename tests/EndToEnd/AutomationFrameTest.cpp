// The application's automation object as the frame owns it: it sees the frame's connection and
// map, and Help > Automation Interface Reference opens the reference of the interface.
#include "Automation.h"
#include "MainFrameCore.h"
#include "RecordingUserInterface.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <gtest/gtest.h>

namespace
{
void EnsureApplication()
{
    if (!QCoreApplication::instance())
    {
        static int s_argc = 1;
        static char s_achName[] = "nv_test_automation_dbus";
        static char* s_argv[] = {s_achName, nullptr};
        new QCoreApplication(s_argc, s_argv);
    }
}

CAutoValue Call(CAutomation& automation, const char* pszMethod, std::vector<CAutoValue> args,
                SAutoError* pError)
{
    CAutoValue result;
    automation.Invoke(QLatin1String(pszMethod), args, &result, pError);
    return result;
}

std::vector<CAutoValue> HostRead(int64_t nOffset)
{
    return {CAutoValue::Number(eVtUI1, 0), CAutoValue::Number(eVtUI4, 0xFFFFFFFF),
            CAutoValue::Number(eVtUI1, 0), CAutoValue::Number(eVtUI4, nOffset),
            CAutoValue::Number(eVtUI4, 1), CAutoValue::Number(eVtUI4, 4)};
}

TEST(FrameCoreAutomation, FollowsTheFramesConnectionAndMap)
{
    EnsureApplication();
    nvtest::CRecordingUserInterface ui;
    CMainFrameCore frame;
    CAutomation& automation = frame.Automation();
    SAutoError error;
    EXPECT_EQ(0, Call(automation, "IsConnected", {}, &error).nValue);
    Call(automation, "MaintRead", HostRead(0), &error);
    EXPECT_EQ(-38, error.nStatus);

    ASSERT_TRUE(frame.ConnectDemo()) << ui.messages.join(QLatin1Char('|')).toStdString();
    EXPECT_EQ(1, Call(automation, "IsConnected", {}, &error).nValue);
    error = SAutoError();
    const CAutoValue words = Call(automation, "MaintRead", HostRead(0), &error);
    EXPECT_EQ(0, error.nStatus) << error.strText.toStdString();
    ASSERT_EQ(1u, words.elements.size());
    EXPECT_EQ(0x0001FFF0, words.elements[0].nValue);
    // The map of the frame: the host PE the connection put there, node index 0 in the high half
    // and the demo host's type (processor 8, memory 4) in the low.
    const CAutoValue nodes = Call(automation, "GetNodeList", {}, &error);
    ASSERT_EQ(1u, nodes.elements.size());
    EXPECT_EQ(0x0000000C, nodes.elements[0].nValue);

    frame.Disconnect();
    EXPECT_EQ(0, Call(automation, "IsConnected", {}, &error).nValue);
    Call(automation, "MaintRead", HostRead(0), &error);
    EXPECT_EQ(-38, error.nStatus);
}

TEST(FrameCoreAutomation, HelpOpensTheReferenceOrSaysWhyItCant)
{
    EnsureApplication();
    nvtest::CRecordingUserInterface ui;
    CMainFrameCore frame;
    frame.RunCommand(eCmdAutomationReference);
    ASSERT_EQ(1, ui.openedDocuments.size()) << ui.messages.join(QLatin1Char('|')).toStdString();
    EXPECT_TRUE(ui.openedDocuments[0].endsWith(QStringLiteral("/docs/automation.md")));
    EXPECT_TRUE(QFileInfo(ui.openedDocuments[0]).isFile());
    EXPECT_TRUE(ui.messages.isEmpty());

    ui.bOpenDocuments = false;
    frame.RunCommand(eCmdAutomationReference);
    ASSERT_EQ(1, ui.messages.size());
    EXPECT_EQ(
        QStringLiteral("Error: No application associated with the file: '%1'").arg(ui.openedDocuments[1]),
        ui.messages[0]);
}
} // namespace

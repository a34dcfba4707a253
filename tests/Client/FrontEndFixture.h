// A front end connected over TCP to a scripted server on loopback, with a recording user
// interface, a short wait limit and a transaction log in the test's private directory.
#pragma once

#include "RecordingUserInterface.h"
#include "ScriptedServer.h"
#include "TestSupport.h"

#include "LinkSettings.h"
#include "Preferences.h"
#include "ServerCaps.h"
#include "TargetClient.h"
#include "TargetLink.h"
#include "TransactionLog.h"

#include <gtest/gtest.h>
#include <memory>

namespace nvtest
{
class FrontEndTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ClearPreferenceOverrides();
        m_savedSettings = LinkSettings();
        LinkSettings().ulWaitMilliseconds = 300;
        m_strLog = QString::fromStdString(ProcessTempDir() + "/transactions.log");
        ASSERT_TRUE(CreateLogFile(m_strLog));
        EnableLogging(true);
        CServerCaps::Instance().Fill(0x20071021u, 0x3FFu);
    }

    void TearDown() override
    {
        if (m_pLink)
        {
            m_pLink->Close();
        }
        CTargetClient::Instance().SetLink(nullptr);
        EnableLogging(false);
        LinkSettings() = m_savedSettings;
        ClearPreferenceOverrides();
    }

    // Connects the front end to the scripted server.
    void Connect()
    {
        LinkSettings().wServerPort = server.Start();
        m_pLink = std::make_unique<CTargetLink>();
        ASSERT_TRUE(m_pLink->Open(eLinkTCP, 0x7F000001u));
        CTargetClient::Instance().SetLink(m_pLink.get());
    }

    // Closes the client side and returns what the server received.
    std::vector<uint8_t> Sent()
    {
        m_pLink->Close();
        return server.Finish();
    }

    std::string Log() const { return ReadFile(m_strLog.toStdString()); }

    CTargetClient& client = CTargetClient::Instance();
    CScriptedServer server;
    CRecordingUserInterface ui;
    std::unique_ptr<CTargetLink> m_pLink;
    SLinkSettings m_savedSettings;
    QString m_strLog;
};
} // namespace nvtest

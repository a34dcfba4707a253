// Calling the automation object as a script host would, and a simulator served in this process on
// a free loopback port with the client's front end connected to it.
#pragma once

#include "Automation.h"
#include "HalAdapter.h"
#include "LinkSettings.h"
#include "Preferences.h"
#include "RecordingUserInterface.h"
#include "ServerCaps.h"
#include "StatusText.h"
#include "TargetClient.h"
#include "TargetLink.h"
#include "TestSupport.h"
#include "TransactionLog.h"
#include "nvsim/Server.h"
#include "nvsim/Topology.h"

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

// Texts show as text when a check fails.
inline void PrintTo(const QString& str, std::ostream* pOut)
{
    *pOut << '"' << str.toStdString() << '"';
}

namespace autotest
{
// What a call gave.
struct SOutcome
{
    bool bOk = false;
    CAutoValue value;
    SAutoError error;

    std::vector<int64_t> Numbers() const
    {
        std::vector<int64_t> numbers;
        for (const CAutoValue& element : value.elements)
        {
            numbers.push_back(element.nValue);
        }
        return numbers;
    }
};

// A script's integer (VBScript Long, JavaScript number).
inline CAutoValue N(int64_t n)
{
    return CAutoValue::Number(eVtI4, n);
}
inline CAutoValue Text(const char* psz)
{
    return CAutoValue::Text(QString::fromLatin1(psz));
}
// A script's own array: element type VARIANT, each element typed.
inline CAutoValue ScriptArray(const std::vector<CAutoValue>& elements)
{
    CAutoValue v;
    v.vt = eVtArray | eVtVariant;
    v.elements = elements;
    return v;
}
// The text of a refused argument.
inline QString Refused(const char* pszReason)
{
    return RioErrorText(-39) + QStringLiteral(", ") + QString::fromLatin1(pszReason);
}

inline SOutcome Call(CAutomation& automation, const char* pszMethod, const std::vector<CAutoValue>& args = {})
{
    SOutcome outcome;
    outcome.bOk = automation.Invoke(QString::fromLatin1(pszMethod), args, &outcome.value, &outcome.error);
    return outcome;
}

// Host (ID 1) on port 0 of a generic 8-port switch, endpoint ep (ID 5, memory, echoes messages
// and doorbells) on port 1, an endpoint behind a link that is down on port 2, and a Tsi574 on port
// 3 that the generic switch sends the all-ones ID to.
inline const char* const kTopology = R"(
device host0 endpoint device=0x0001 processor memory id=0x01 largeid=0x0001
device sw    switch tag=0x00C0FFEE
device ep    endpoint memory echo id=0x05 largeid=0x0005
device far   endpoint id=0x07
device ts    switch model=tsi574
host host0 flash=64K
link host0:0 sw:0
link sw:1 ep:0
link sw:2 far:0
link sw:3 ts:0
fault linkdown:link=sw:2
route sw 0x01 0
route sw 0x05 1
route sw 0xFF 3
)";

class AutomationSimTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ClearPreferenceOverrides();
        m_savedSettings = LinkSettings();
        LinkSettings().ulWaitMilliseconds = 1500;
        std::string strError;
        m_pFabric = nvsim::LoadTopologyText(kTopology, &strError);
        ASSERT_TRUE(m_pFabric) << strError;
        nvsim::SServerOptions options;
        options.wTcpPort = 0;
        options.bUdp = false;
        options.bBroadcast = false;
        m_pServer = std::make_unique<nvsim::CSimServer>(*m_pFabric, options);
        ASSERT_TRUE(m_pServer->Start(&strError)) << strError;
        LinkSettings().wServerPort = m_pServer->TcpPort();
        ASSERT_TRUE(m_link.Open(eLinkTCP, 0x7F000001u));
        CTargetClient::Instance().SetLink(&m_link);
        InstallHalAdapter(&CTargetClient::Instance());
        CServerCaps::Instance().Fill(0x20071021u, 0x3F3u);
        m_strLog = QString::fromStdString(nvtest::ProcessTempDir() + "/automation.log");
    }
    void TearDown() override
    {
        m_link.Close();
        CTargetClient::Instance().SetLink(nullptr);
        if (m_pServer)
        {
            m_pServer->Stop();
        }
        EnableLogging(false);
        LinkSettings() = m_savedSettings;
        ClearPreferenceOverrides();
    }

    SOutcome Run(const char* pszMethod, const std::vector<CAutoValue>& args = {})
    {
        return Call(m_automation, pszMethod, args);
    }
    // A register as the simulated device holds it.
    uint32_t Register(const char* pszDevice, uint32_t ulOffset)
    {
        auto lock = m_pFabric->Lock();
        return m_pFabric->Device(pszDevice).Reg(ulOffset);
    }

    nvtest::CRecordingUserInterface m_ui;
    std::unique_ptr<nvsim::CSimFabric> m_pFabric;
    std::unique_ptr<nvsim::CSimServer> m_pServer;
    CTargetLink m_link;
    SLinkSettings m_savedSettings;
    QString m_strLog;
    bool m_bConnected = true;
    CAutomation m_automation{SAutomationHooks{[this] { return m_bConnected; }, {}, {}, {}, {}, {}}};
};
} // namespace autotest

// Simple scripts: the transcript of every kind of line, the warnings and errors that stop or don't
// stop a run, the way to the target, the register set's update, and the script's file commands.
#include "SimpleScript.h"

#include "ClientSimFixture.h"
#include "Discovery.h"
#include "StatusText.h"

#include "TestSupport.h"

#include <fstream>
#include <map>

namespace nvtest
{
namespace
{
// Registers kept by the test: a write stores, a read gives what was stored (0 otherwise). Each
// access notes where it went; a status set below makes the next access of that kind fail.
class CRegisterAccess final : public IScriptAccess
{
public:
    bool IsConnected() override { return bConnected; }
    int32_t Write(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t ulValue) override
    {
        Note(ulDestID, uchHop);
        if (nWriteStatus != 0)
        {
            return nWriteStatus;
        }
        registers[ulOffset] = ulValue & ulWritableMask;
        return 0;
    }
    int32_t Read(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t* pulValue) override
    {
        Note(ulDestID, uchHop);
        if (nReadStatus != 0)
        {
            return nReadStatus;
        }
        *pulValue = registers[ulOffset];
        return 0;
    }

    bool bConnected = true;
    int32_t nWriteStatus = 0;
    int32_t nReadStatus = 0;
    uint32_t ulWritableMask = 0xFFFFFFFF; // bits a write can set
    std::map<uint32_t, uint32_t> registers;
    std::vector<std::pair<uint32_t, int>> ways; // destination ID and hop count of each access

private:
    void Note(uint32_t ulDestID, uint8_t uchHop) { ways.emplace_back(ulDestID, uchHop); }
};

// A map of one PE, the host, which the scripts reach as destination FFFFFFFFh.
class CScriptTest : public ::testing::Test
{
protected:
    CScriptTest()
    {
        auto pHost = std::make_unique<CPEPrimitive>();
        pHost->iNodeNumber = 0;
        pHost->uType = kPETypeProcessor;
        pHost->bHasHostLink = true;
        pHost->bHostLinkOpen = true;
        m_pHost = m_map.ActivePEs.AddPrimitive(std::move(pHost));
        SetMapTransportAccess([] { return 8; }, [](int) {});
    }

    QString Run(const QString& strScript)
    {
        CScriptRunCore script(m_map, *m_pHost, m_access);
        script.SetText(strScript);
        script.Run();
        return script.Transcript();
    }

    CRecordingUserInterface m_ui;
    CNetworkDocument m_map;
    CPEPrimitive* m_pHost = nullptr;
    CRegisterAccess m_access;
};

TEST_F(CScriptTest, TranscriptEchoesEachLineWithWhatWasReadAndCountsWarnings)
{
    m_access.registers[0x15C] = 0xD0600001;
    m_access.ulWritableMask = 0x00000FFF;
    const QString strTranscript = Run(QStringLiteral("// clear the port's status\r\n"
                                                     "w 0x158 -1\r\n"
                                                     "r 15C\r\n"
                                                     "   \t \r\n"
                                                     "\tW 0X10  \r\n"
                                                     "R 100\r\n"
                                                     "W -1 0\r\n"
                                                     "w 6 aBcD trailing words are ignored\r\n"
                                                     "r FFFFFF"));
    EXPECT_EQ(QStringLiteral("// clear the port's status\r\n"
                             "w 0x158 -1\r\n"
                             "        /*read back: 0x00000158 0x00000FFF*/\r\n"
                             "r 15C\r\n"
                             "        /*0x0000015C 0xD0600001*/\r\n"
                             "   \t \r\n"
                             "\tW 0X10  \r\n"
                             ">>>>>>>>Invalid or missing address field.\r\n"
                             ">>>>>>>>Script aborted with 1 error and 0 warnings.\r\n"),
              strTranscript)
        << "W 0X10: the prefix is lower-case only, so X is no hex digit";

    const QString strSecond =
        Run(QStringLiteral("R 100\nW -1 0\nw 6 aBcD trailing words are ignored\nr FFFFFF"));
    EXPECT_EQ(QStringLiteral("R 100\r\n"
                             ">>>>>>>>Warning: Unrecognized command ignored\r\n"
                             "W -1 0\r\n"
                             ">>>>>>>>Warning: Address not 32-bit aligned.  Used FFFFF8 instead.\r\n"
                             "w 6 aBcD trailing words are ignored\r\n"
                             ">>>>>>>>Warning: Address not 32-bit aligned.  Used 0 instead.\r\n"
                             "        /*read back: 0x00000000 0x00000BCD*/\r\n"
                             "r FFFFFF\r\n"
                             ">>>>>>>>Warning: Address not 32-bit aligned.  Used FFFFF8 instead.\r\n"
                             "        /*0x00FFFFF8 0x00000000*/\r\n"
                             "\r\nScript completed with 0 errors and 4 warnings.\r\n"),
              strSecond);
    EXPECT_EQ(0xFFFu, m_access.registers[0x158]);
    // Everything went to the host's own device.
    for (const auto& way : m_access.ways)
    {
        EXPECT_EQ(0xFFFFFFFFu, way.first);
        EXPECT_EQ(0, way.second);
    }
}

TEST_F(CScriptTest, EveryFieldErrorEndsTheScriptWithItsOwnText)
{
    const QString kAddress = QStringLiteral(">>>>>>>>Invalid or missing address field.\r\n");
    const QString kData = QStringLiteral(">>>>>>>>Invalid or missing data field.\r\n");
    const std::vector<std::pair<QString, QString>> cases = {
        {QStringLiteral("w 0x 0"), kAddress},        // the prefix needs a longer field
        {QStringLiteral("w 1000000 0"), kAddress},   // above FFFFFFh
        {QStringLiteral("r 000000100"), kAddress},   // nine digits
        {QStringLiteral("r"), kAddress},             // missing
        {QStringLiteral("r 12g"), kAddress},         // no hex digit
        {QStringLiteral("w -2 0"), kAddress},        // only -1 stands for a value
        {QStringLiteral("w 100"), kData},            // missing
        {QStringLiteral("W 100 123456789"), kData},  // nine digits
        {QStringLiteral("w 100 0x123456789"), kData} // nine after the prefix
    };
    for (const auto& [strLine, strError] : cases)
    {
        const QString strTranscript = Run(QStringLiteral("r 0\n") + strLine + QStringLiteral("\nr 4\n"));
        EXPECT_EQ(QStringLiteral("r 0\r\n        /*0x00000000 0x00000000*/\r\n") + strLine +
                      QStringLiteral("\r\n") + strError +
                      QStringLiteral(">>>>>>>>Script aborted with 1 error and 0 warnings.\r\n"),
                  strTranscript)
            << strLine.toStdString();
    }
    // The largest fields pass.
    EXPECT_TRUE(Run(QStringLiteral("w 0xFFFFFC 0xFFFFFFFF")).endsWith(QStringLiteral("0 warnings.\r\n")));
    EXPECT_EQ(0xFFFFFFFFu, m_access.registers[0xFFFFFC]);
}

TEST_F(CScriptTest, FailedAccessesNameTheFrontEndsError)
{
    const QString strTimeout = RioErrorText(-6);
    m_access.nWriteStatus = -6;
    EXPECT_EQ(QStringLiteral("w 60 1\r\n>>>>>>>>Write failed.  Error: '%1'\r\n"
                             ">>>>>>>>Script aborted with 1 error and 0 warnings.\r\n")
                  .arg(strTimeout),
              Run(QStringLiteral("w 60 1\nw 64 1")));
    m_access.nWriteStatus = 0;
    m_access.nReadStatus = -17;
    EXPECT_EQ(QStringLiteral("R 1\r\n>>>>>>>>Warning: Unrecognized command ignored\r\n"
                             "W 60 1\r\n>>>>>>>>Readback failed.  Error: '%1'\r\n"
                             ">>>>>>>>Script aborted with 1 error and 1 warnings.\r\n")
                  .arg(RioErrorText(-17)),
              Run(QStringLiteral("R 1\nW 60 1")));
    EXPECT_EQ(QStringLiteral("r 60\r\n>>>>>>>>Read failed.  Error: '%1'\r\n"
                             ">>>>>>>>Script aborted with 1 error and 0 warnings.\r\n")
                  .arg(RioErrorText(-17)),
              Run(QStringLiteral("r 60")));
    EXPECT_NE(strTimeout, RioErrorText(-17)) << "the two texts must tell the failures apart";
}

TEST_F(CScriptTest, ALineIsCutAt256Characters)
{
    // 300 characters: the data field starts beyond the cut, so the line has none.
    const QString strLong = QStringLiteral("w 6C") + QString(252, QLatin1Char(' ')) + QStringLiteral("1234") +
                            QString(40, QLatin1Char('x'));
    ASSERT_EQ(300, strLong.size());
    EXPECT_EQ(strLong.left(256) + QStringLiteral("\r\n>>>>>>>>Invalid or missing data field.\r\n"
                                                 ">>>>>>>>Script aborted with 1 error and 0 warnings.\r\n"),
              Run(strLong));
    // Within the cut the same fields are taken, and the rest of the line goes unseen.
    const QString strFits = QStringLiteral("w 6C") + QString(248, QLatin1Char(' ')) + QStringLiteral("1234") +
                            QString(44, QLatin1Char('x'));
    EXPECT_EQ(strFits.left(256) + QStringLiteral("\r\n        /*read back: 0x0000006C 0x00001234*/\r\n"
                                                 "\r\nScript completed with 0 errors and 0 warnings.\r\n"),
              Run(strFits));
}

TEST_F(CScriptTest, EmptyScriptsAndStoppedRuns)
{
    EXPECT_EQ(QStringLiteral("\r\nScript completed with 0 errors and 0 warnings.\r\n"), Run(QString()));
    // A final line end leaves an empty last line, which is echoed.
    EXPECT_EQ(QStringLiteral("r 0\r\n        /*0x00000000 0x00000000*/\r\n\r\n"
                             "\r\nScript completed with 0 errors and 0 warnings.\r\n"),
              Run(QStringLiteral("r 0\n")));

    m_access.ways.clear();
    CScriptRunCore script(m_map, *m_pHost, m_access);
    script.SetText(QStringLiteral("w 60 5"));
    script.SetStopMark(true);
    EXPECT_FALSE(script.Run());
    EXPECT_EQ(QStringLiteral(">>>>>>>>Script aborted with 1 error and 0 warnings.\r\n"), script.Transcript());
    EXPECT_TRUE(m_access.ways.empty()) << "a stopped script touches nothing";
}

TEST_F(CScriptTest, NothingRunsWithoutAConnection)
{
    m_access.bConnected = false;
    CScriptRunCore script(m_map, *m_pHost, m_access);
    script.SetText(QStringLiteral("r 0"));
    EXPECT_FALSE(script.Run());
    ASSERT_EQ(1, m_ui.messages.size());
    EXPECT_EQ(QStringLiteral("Norvanta must be connected to the target."), m_ui.messages[0]);
    EXPECT_TRUE(script.Transcript().isEmpty());
    EXPECT_TRUE(m_access.ways.empty());
}

TEST_F(CScriptTest, ValuesReadBackUpdateTheRegisterSetWhereItHoldsThem)
{
    m_pHost->SavedRegisters.SetValue(0x6C, 0x11, true);
    m_access.registers[0x6C] = 0x22;
    m_access.registers[0x70] = 0x33;
    std::vector<std::pair<uint32_t, uint32_t>> told;
    CScriptRunCore script(m_map, *m_pHost, m_access);
    script.fnRegisterChanged = [&](uint32_t ulOffset, uint32_t ulValue)
    { told.emplace_back(ulOffset, ulValue); };
    script.SetText(QStringLiteral("r 6C\nr 70\nW 6C 44"));
    ASSERT_TRUE(script.Run());
    ASSERT_NE(nullptr, m_pHost->SavedRegisters.Find(0x6C));
    EXPECT_EQ(0x44u, m_pHost->SavedRegisters.Find(0x6C)->uValue);
    EXPECT_FALSE(m_pHost->SavedRegisters.Find(0x6C)->bFlag) << "confirmed by a read";
    EXPECT_EQ(nullptr, m_pHost->SavedRegisters.Find(0x70)) << "the set gains no register";
    EXPECT_EQ((std::vector<std::pair<uint32_t, uint32_t>>{{0x6C, 0x22}, {0x6C, 0x44}}), told);
}

TEST_F(CScriptTest, TitleAndFiles)
{
    m_pHost->iNodeNumber = 6;
    CScriptRunCore script(m_map, *m_pHost, m_access);
    EXPECT_EQ(QStringLiteral("Script - Untitled - Target Node 7"), script.Title());
    script.SetText(QStringLiteral("r 0\nr 4"));
    EXPECT_EQ(QStringLiteral("Script - Untitled* - Target Node 7"), script.Title());

    const QString strDir = QString::fromStdString(ProcessTempDir());
    // Save As keeps the dialogs' default extension; the lines are written each with a line end.
    ASSERT_TRUE(script.SaveAs(strDir + QStringLiteral("/first")));
    EXPECT_EQ(strDir + QStringLiteral("/first.bin"), script.PathName());
    EXPECT_EQ("r 0\nr 4\n", ReadFile(strDir.toStdString() + "/first.bin"));
    EXPECT_EQ(QStringLiteral("Script - first.bin - Target Node 7"), script.Title());

    // Opening asks about the changes first; Cancel keeps everything.
    script.SetText(QStringLiteral("w 60 1"));
    m_ui.answers = {eAnswerCancel};
    EXPECT_FALSE(script.Open(strDir + QStringLiteral("/first.bin")));
    EXPECT_EQ(QStringLiteral("The script has been modified.\r\n\r\nDo you want to save the changes?"),
              m_ui.questions.back());
    EXPECT_EQ(QStringLiteral("w 60 1"), script.Text());
    m_ui.answers = {eAnswerNo};
    EXPECT_FALSE(script.Open(strDir + QStringLiteral("/first.bin")));
    EXPECT_EQ(QStringLiteral("Unknown script type."), m_ui.messages.back());

    std::ofstream(strDir.toStdString() + "/second.txt") << "r 8\r\n// note\r\n";
    m_ui.answers = {eAnswerNo};
    ASSERT_TRUE(script.Open(strDir + QStringLiteral("/second")));
    EXPECT_EQ(QStringLiteral("r 8\r\n// note\r\n"), script.Text());
    EXPECT_FALSE(script.IsModified());
    EXPECT_EQ(QStringLiteral("Script - second.txt - Target Node 7"), script.Title());

    EXPECT_FALSE(script.Open(strDir + QStringLiteral("/missing.txt")));
    EXPECT_EQ(QStringLiteral("Unable to open script file %1/missing.txt, error 2").arg(strDir),
              m_ui.messages.back());

    // Yes saves before the new script replaces the old one.
    script.SetText(QStringLiteral("r C"));
    m_ui.answers = {eAnswerYes};
    ASSERT_TRUE(script.New());
    EXPECT_EQ("r C\n", ReadFile(strDir.toStdString() + "/second.txt"));
    EXPECT_TRUE(script.Text().isEmpty());
    EXPECT_EQ(QStringLiteral("Script - Untitled - Target Node 7"), script.Title());
    EXPECT_TRUE(script.QueryClose()) << "nothing to ask about";
}

// On the simulated fabric: a PE that no table leads to is reached by routes for the all-ones ID,
// and the script's accesses go out as destination 65535.
class CScriptOnFabricTest : public CClientSimTest
{
};

class CFabricAccess final : public IScriptAccess
{
public:
    explicit CFabricAccess(nvsim::CSimFabric& fabric) : m_fabric(fabric) {}
    bool IsConnected() override { return true; }
    int32_t Write(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t ulValue) override
    {
        ways.emplace_back(ulDestID, uchHop);
        return m_fabric.MaintWrite(0, ulDestID, uchHop, ulOffset, &ulValue, 1, 4, 4, false);
    }
    int32_t Read(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t* pulValue) override
    {
        ways.emplace_back(ulDestID, uchHop);
        return m_fabric.MaintRead(0, ulDestID, uchHop, ulOffset, pulValue, 1, 4, 4, false);
    }
    std::vector<std::pair<uint32_t, int>> ways;

private:
    nvsim::CSimFabric& m_fabric;
};

TEST_F(CScriptOnFabricTest, APEWithoutARouteIsReachedThroughTheAllOnesID)
{
    Load(std::string(kHostLine) +
         "device sw1 switch model=cps1848\ndevice ep1 endpoint device=0x1001 memory\n"
         "host host0\nlink host0:0 sw1:0\nlink sw1:2 ep1:0\n");
    CNetworkDocument map;
    SDiscoveryRequest request;
    request.bEnumerate = false;
    request.bTryAllClockRates = false;
    ASSERT_EQ(0, StandardDiscovery(request, map, &m_host, {}));
    CPEPrimitive* pEndpoint = nullptr;
    for (const auto& pPE : map.ActivePEs)
    {
        pEndpoint = pPE->DeviceID == 0x1001 ? pPE.get() : pEndpoint;
    }
    ASSERT_NE(nullptr, pEndpoint);
    CFabricAccess access(*m_pFabric);
    CScriptRunCore script(map, *pEndpoint, access);
    script.SetText(QStringLiteral("r 0\nw 6C 5A5A"));
    ASSERT_TRUE(script.Run()) << script.Transcript().toStdString();
    EXPECT_EQ(QStringLiteral("r 0\r\n        /*0x00000000 0x1001FFF0*/\r\n"
                             "w 6C 5A5A\r\n        /*read back: 0x0000006C 0x00005A5A*/\r\n"
                             "\r\nScript completed with 0 errors and 0 warnings.\r\n"),
              script.Transcript());
    ASSERT_FALSE(access.ways.empty());
    EXPECT_EQ(65535u, access.ways[0].first);
    EXPECT_EQ(1, access.ways[0].second);

    // A fabric that stops answering while the routes are laid: nothing runs.
    m_pTransport->fnIntercept = [](const SMaintAccess&, uint32_t*, int32_t* pnStatus)
    {
        *pnStatus = -6;
        return true;
    };
    access.ways.clear();
    EXPECT_FALSE(script.Run());
    ASSERT_FALSE(m_ui.messages.isEmpty());
    EXPECT_TRUE(
        m_ui.messages.back().startsWith(QStringLiteral("Unable to determine route to target device.\n\n")))
        << m_ui.messages.back().toStdString();
    EXPECT_GT(m_ui.messages.back().size(), 46);
    EXPECT_TRUE(access.ways.empty());
}
} // namespace
} // namespace nvtest

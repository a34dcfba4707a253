// The traffic generator client: the NVT_DATAGEN bodies it builds (read back by the simulator's own
// decoder), and start, status ticks, lag, the dynamic profile's steps and stop against the
// simulator's generators on a clock the test drives; the rate profile editor's rules.
#include "DataGen.h"

#include "StatusText.h"
#include "nvsim/Fabric.h"
#include "nvsim/Topology.h"
#include "nvsim/TrafficGen.h"

#include <gtest/gtest.h>

#include <cstring>

namespace
{
// The host's generator sends through a switch; gen (ID 0x07) is a remote generator with its
// control structure at 0x00400000; the link to slow (0x09) is 1.25 Gbaud x1.
constexpr const char* kFabric = R"(
server caps=0x3FF
device host endpoint device=0x0001 processor memory id=0x01
device sw   switch ports=4
device ep   endpoint memory id=0x05
device gen  endpoint memory id=0x07 datagen=0x00400000
device slow endpoint memory id=0x09
host host
link host:0 sw:0
link sw:1   ep:0
link sw:2   gen:0
link sw:3   slow:0 speed=1.25 width=1
route sw 0x01 0
route sw 0x05 1
route sw 0x07 2
route sw 0x09 3
)";

constexpr uint64_t kSecondUs = 1000000;

std::vector<uint8_t> Body(const SDataGenSettings& settings, uint32_t ulCommand)
{
    const auto body = BuildDataGenRequest(settings, ulCommand);
    return {body.begin(), body.end()};
}

void Put32(uint8_t* p, uint32_t ulValue)
{
    p[0] = static_cast<uint8_t>(ulValue >> 24);
    p[1] = static_cast<uint8_t>(ulValue >> 16);
    p[2] = static_cast<uint8_t>(ulValue >> 8);
    p[3] = static_cast<uint8_t>(ulValue);
}

// The simulator's generators behind the exchange, as its server answers NVT_DATAGEN.
class DataGenAgainstSim : public ::testing::Test
{
protected:
    void Load(const std::string& strTopology)
    {
        std::string strError;
        m_pFabric = nvsim::LoadTopologyText(strTopology, &strError);
        ASSERT_TRUE(m_pFabric) << strError;
        m_pGenerators = std::make_unique<nvsim::CTrafficGenerators>(*m_pFabric);
    }
    void SetUp() override { Load(kFabric); }
    CDataGenerator Generator()
    {
        return CDataGenerator(
            [this](const uint8_t* pRequest, uint8_t* pReply)
            {
                ++m_nExchanges;
                nvsim::SDataGenRequest request;
                EXPECT_TRUE(nvsim::DecodeDataGen({pRequest, pRequest + kDataGenRequestSize}, &request));
                const nvsim::SDataGenReply answer = m_pGenerators->Command(request, m_ullNowUs);
                std::memcpy(pReply, pRequest, kDataGenRequestSize);
                Put32(pReply + 212, static_cast<uint32_t>(answer.nStatus));
                Put32(pReply + 216, answer.ulCurrentStep);
                Put32(pReply + 220, answer.bLagging);
                Put32(pReply + 224, answer.bFinished);
                return answer.nStatus;
            },
            [this] { return m_bLinkOpen; });
    }
    void Advance(uint64_t ullUs)
    {
        m_ullNowUs += ullUs;
        m_pGenerators->Advance(m_ullNowUs);
    }

    std::unique_ptr<nvsim::CSimFabric> m_pFabric;
    std::unique_ptr<nvsim::CTrafficGenerators> m_pGenerators;
    uint64_t m_ullNowUs = 0;
    bool m_bLinkOpen = true;
    int m_nExchanges = 0;
};
} // namespace

TEST(DataGenBody, FixedStartOnTheLocalGeneratorCarriesOneStepAndNoControlStructure)
{
    SDataGenSettings settings;
    settings.eKind = eDataGenNWrite;
    settings.ulTransferSize = 128;
    settings.wDestID = 0x0B;
    settings.ullDestAddress = 0x1'2345'6000ull;
    settings.ulDestSize = 0x1000;
    settings.ulRate = 250;
    settings.ulControlAddress = 0x00400000; // typed, but the local generator has none
    nvsim::SDataGenRequest request;
    ASSERT_TRUE(nvsim::DecodeDataGen(Body(settings, eDataGenStart), &request));
    EXPECT_EQ(2u, request.ulCommand);
    EXPECT_EQ(1u, request.ulKind);
    EXPECT_EQ(128u, request.ulTransferSize);
    EXPECT_TRUE(request.bRepeat);
    EXPECT_FALSE(request.bLarge);
    EXPECT_EQ(0x0B, request.wDestId);
    EXPECT_EQ(0xFFFF, request.wRemoteDestId);
    EXPECT_EQ(0x1'2345'6000ull, request.ullDestAddress);
    EXPECT_EQ(0x1000u, request.ulDestBufferSize);
    EXPECT_EQ(0u, request.ulControlLo);
    ASSERT_EQ(1u, request.steps.size());
    EXPECT_EQ(std::make_pair(1u, 250000u), request.steps[0]);

    // Status asks only: no destination, no steps.
    ASSERT_TRUE(nvsim::DecodeDataGen(Body(settings, eDataGenStatus), &request));
    EXPECT_EQ(3u, request.ulCommand);
    EXPECT_EQ(0, request.wDestId);
    EXPECT_EQ(0u, request.ulDestBufferSize);
    EXPECT_TRUE(request.steps.empty());
}

TEST(DataGenBody, DynamicStartOnARemoteGeneratorCopiesTheProfileAndRepeatFlag)
{
    SDataGenSettings settings;
    settings.wRemoteDestID = 0x07;
    settings.ulControlAddress = 0x00400000;
    settings.bLarge = true;
    settings.bFixed = false;
    settings.steps = CDataGenProfile::Default().Steps();
    settings.bRepeat = false;
    settings.wDestID = 0x1234;
    nvsim::SDataGenRequest request;
    ASSERT_TRUE(nvsim::DecodeDataGen(Body(settings, eDataGenStart), &request));
    EXPECT_FALSE(request.bRepeat);
    EXPECT_TRUE(request.bLarge);
    EXPECT_EQ(0x1234, request.wDestId);
    EXPECT_EQ(0x07, request.wRemoteDestId);
    EXPECT_EQ(0x00400000u, request.ulControlLo);
    ASSERT_EQ(5u, request.steps.size());
    EXPECT_EQ(std::make_pair(5u, 500000000u), request.steps[2]);

    settings.bRepeat = true;
    ASSERT_TRUE(nvsim::DecodeDataGen(Body(settings, eDataGenStart), &request));
    EXPECT_TRUE(request.bRepeat);
}

TEST_F(DataGenAgainstSim, StartTicksWhileRunningThenStopLeavesTheGeneratorIdle)
{
    CDataGenerator generator = Generator();
    generator.Settings().wDestID = 0x05;
    generator.Settings().ulRate = 1000; // 1 MB/s of 256-byte SWRITEs
    QString strError;
    ASSERT_TRUE(generator.Start(&strError)) << strError.toStdString();
    EXPECT_TRUE(generator.Running());
    EXPECT_TRUE(m_pGenerators->Running(0xFFFF));

    Advance(kSecondUs);
    const CDataGenerator::STick tick = generator.Tick();
    EXPECT_EQ(CDataGenerator::STick::eRunning, tick.eState);
    EXPECT_FALSE(tick.reply.bLagging);
    EXPECT_FALSE(generator.Lagging());
    // About a second's worth: 1,000,000 bytes in 256-byte transactions.
    EXPECT_NEAR(1000000.0 / 256, static_cast<double>(m_pGenerators->Sent(0xFFFF)), 2.0);

    generator.Stop();
    EXPECT_FALSE(generator.Running());
    EXPECT_FALSE(m_pGenerators->Running(0xFFFF));
    const int nBefore = m_nExchanges;
    EXPECT_EQ(CDataGenerator::STick::eIdle, generator.Tick().eState);
    EXPECT_EQ(nBefore, m_nExchanges) << "an idle tool asks nothing";
}

TEST_F(DataGenAgainstSim, AStreamFasterThanItsLinkIsReportedLagging)
{
    CDataGenerator generator = Generator();
    generator.Settings().wRemoteDestID = 0x07;
    generator.Settings().ulControlAddress = 0x00400000;
    generator.Settings().wDestID = 0x09;
    generator.Settings().ulRate = kDataGenMaxRate; // 500 MB/s, but gen's own link is 3.125 Gbaud x1
    QString strError;
    ASSERT_TRUE(generator.Start(&strError)) << strError.toStdString();
    Advance(kSecondUs);
    const CDataGenerator::STick tick = generator.Tick();
    EXPECT_EQ(CDataGenerator::STick::eRunning, tick.eState);
    EXPECT_TRUE(tick.reply.bLagging);
    EXPECT_TRUE(generator.Lagging());

    // Slowed to what the link carries, it keeps up again.
    EXPECT_EQ(0, generator.ChangeRate(10));
    Advance(kSecondUs);
    Advance(kSecondUs);
    EXPECT_FALSE(generator.Tick().reply.bLagging);
    EXPECT_FALSE(generator.Lagging());
}

TEST_F(DataGenAgainstSim, TheDynamicProfileMovesTheShownRateStepByStep)
{
    CDataGenerator generator = Generator();
    SDataGenSettings& settings = generator.Settings();
    settings.wDestID = 0x05;
    settings.bFixed = false;
    CDataGenProfile profile;
    ASSERT_TRUE(profile.Add("2", "100").isEmpty());
    ASSERT_TRUE(profile.Add("3", "700").isEmpty());
    ASSERT_TRUE(profile.Add("1", "50").isEmpty());
    settings.steps = profile.Steps();
    settings.bRepeat = false;
    QString strError;
    ASSERT_TRUE(generator.Start(&strError)) << strError.toStdString();
    EXPECT_EQ(100u, generator.ShownRate());

    Advance(kSecondUs);
    EXPECT_EQ(0u, generator.Tick().reply.ulCurrentStep);
    EXPECT_EQ(100u, generator.ShownRate());
    Advance(2 * kSecondUs); // 3 s: second step
    EXPECT_EQ(1u, generator.Tick().reply.ulCurrentStep);
    EXPECT_EQ(700u, generator.ShownRate());
    Advance(2 * kSecondUs); // 5 s: third step
    EXPECT_EQ(2u, generator.Tick().reply.ulCurrentStep);
    EXPECT_EQ(50u, generator.ShownRate());
    Advance(2 * kSecondUs); // 7 s: run once, so finished
    EXPECT_TRUE(generator.Tick().reply.bFinished);
}

TEST_F(DataGenAgainstSim, AServerWithoutAGeneratorRefusesTheStartWithItsText)
{
    std::string strNoGenerators = kFabric;
    strNoGenerators.replace(strNoGenerators.find("caps=0x3FF"), 10, "caps=0x3F3");
    Load(strNoGenerators);
    CDataGenerator generator = Generator();
    generator.Settings().wDestID = 0x05;
    QString strError;
    EXPECT_FALSE(generator.Start(&strError));
    EXPECT_FALSE(generator.Running());
    EXPECT_EQ(QStringLiteral("Unable to send command to server.\nError -306\n") + RioErrorText(-306),
              strError);
    EXPECT_TRUE(RioErrorText(-306).startsWith(QStringLiteral("Norvanta Driver Error: Data Generation")));
}

TEST_F(DataGenAgainstSim, TheControlStructureCheckAnswersOnlyAtItsAddress)
{
    CDataGenerator generator = Generator();
    generator.Settings().wRemoteDestID = 0x07;
    generator.Settings().ulControlAddress = 0x00400000;
    QString strError;
    EXPECT_TRUE(generator.CheckControl(&strError)) << strError.toStdString();
    generator.Settings().ulControlAddress = 0x00500000;
    EXPECT_FALSE(generator.CheckControl(&strError));
    EXPECT_EQ(QStringLiteral("Traffic Generator Error.\n\n") + RioErrorText(-402), strError);
}

TEST_F(DataGenAgainstSim, ALostLinkStopsTheToolWithoutAskingTheServer)
{
    CDataGenerator generator = Generator();
    generator.Settings().wDestID = 0x05;
    QString strError;
    ASSERT_TRUE(generator.Start(&strError));
    m_bLinkOpen = false;
    const int nBefore = m_nExchanges;
    EXPECT_EQ(CDataGenerator::STick::eLinkLost, generator.Tick().eState);
    EXPECT_FALSE(generator.Running());
    EXPECT_EQ(nBefore, m_nExchanges);
}

TEST(DataGenTick, StoppingStatusesEndTheToolOthersOnlyReport)
{
    for (const int32_t nStatus : {-403, -402, -400, -306, -307, -30})
    {
        bool bFail = false;
        CDataGenerator generator(
            [&bFail, nStatus](const uint8_t* pRequest, uint8_t* pReply)
            {
                std::memcpy(pReply, pRequest, kDataGenRequestSize);
                return bFail ? nStatus : 0;
            },
            [] { return true; });
        QString strError;
        ASSERT_TRUE(generator.Start(&strError));
        bFail = true;
        const CDataGenerator::STick tick = generator.Tick();
        const bool bStops = nStatus != -307 && nStatus != -30;
        EXPECT_EQ(bStops ? CDataGenerator::STick::eStopped : CDataGenerator::STick::eError, tick.eState)
            << nStatus;
        EXPECT_EQ(!bStops, generator.Running()) << nStatus;
        EXPECT_EQ(QStringLiteral("Traffic Generator Error.\n\n") + RioErrorText(nStatus), tick.strError);
    }
}

TEST(DataGenProfile, EditingKeepsTwentyValidLinesInOrder)
{
    CDataGenProfile profile = CDataGenProfile::Default();
    EXPECT_EQ(QStringList({"5\t100000", "5\t300000", "5\t500000", "5\t400000", "5\t200000"}),
              profile.Texts());

    EXPECT_EQ(QStringLiteral("Invalid duration.  Please re-enter."), profile.Add("0", "10"));
    EXPECT_EQ(QStringLiteral("Invalid duration.  Please re-enter."), profile.Add("x", "10"));
    EXPECT_EQ(QStringLiteral("Invalid transfer rate.  Please enter a number between 1 and 500,000."),
              profile.Add("1", "fast"));
    EXPECT_EQ(QStringLiteral("Transfer rate must be between 1 and 500000."), profile.Add("1", "500001"));
    EXPECT_EQ(QStringLiteral("Transfer rate must be between 1 and 500000."), profile.Add("1", "0"));
    EXPECT_EQ(5, profile.Count());

    EXPECT_TRUE(profile.Up(1));
    EXPECT_FALSE(profile.Up(0));
    EXPECT_TRUE(profile.Down(3));
    EXPECT_FALSE(profile.Down(4));
    EXPECT_EQ(QStringList({"5\t300000", "5\t100000", "5\t500000", "5\t200000", "5\t400000"}),
              profile.Texts());
    EXPECT_TRUE(profile.Modify(2, "7", "500000").isEmpty());
    EXPECT_EQ(std::make_pair(7u, 500000000u), profile.Steps()[2]);
    EXPECT_EQ(profile.Texts(), CDataGenProfile::FromSteps(profile.Steps()).Texts());

    while (profile.Count() < 20)
        ASSERT_TRUE(profile.Add("1", "1").isEmpty());
    EXPECT_EQ(QStringLiteral("The list is full."), profile.Add("1", "1"));
    EXPECT_EQ(20, profile.Count());
}

TEST(DataGenEntries, TextChecksSayWhatIsWrong)
{
    uint16_t wDest = 0;
    EXPECT_EQ(QStringLiteral("Please enter a destination ID."), CheckDataGenDestID(" ", false, &wDest));
    EXPECT_EQ(QStringLiteral("Invalid destination ID format.  Please re-enter."),
              CheckDataGenDestID("5q", false, &wDest));
    EXPECT_EQ(QStringLiteral("Invalid destination ID value.  Please enter number between 0 and 255 (FFh)."),
              CheckDataGenDestID("256", false, &wDest));
    EXPECT_EQ(
        QStringLiteral("Invalid destination ID value.  Please enter number between 0 and 65535 (FFFFh)."),
        CheckDataGenDestID("10000h", true, &wDest));
    EXPECT_TRUE(CheckDataGenDestID("0x1FF", true, &wDest).isEmpty());
    EXPECT_EQ(0x1FF, wDest);

    uint32_t ulControl = 0;
    EXPECT_EQ(
        QStringLiteral("Please enter the address of the control structure on the remote traffic generator."),
        CheckDataGenControl("", &ulControl));
    EXPECT_EQ(QStringLiteral("Invalid control structure address format.  Please re-enter."),
              CheckDataGenControl("0xZZ", &ulControl));
    uint64_t ullAddress = 0;
    EXPECT_TRUE(CheckDataGenDestAddress("0xefbff000", &ullAddress).isEmpty());
    EXPECT_EQ(0xefbff000u, ullAddress);
    EXPECT_EQ(QStringLiteral("Please enter a destination RapidIO address."),
              CheckDataGenDestAddress("", &ullAddress));
    uint32_t ulSize = 0;
    EXPECT_EQ(QStringLiteral("Invalid destination buffer size format.  Please re-enter."),
              CheckDataGenDestSize("4 MB", &ulSize));

    EXPECT_EQ(QStringLiteral("Requested Transfer Rate (x1000 Bytes / second)"),
              DataGenRateTitle(eDataGenNRead));
    EXPECT_EQ(QStringLiteral("Transaction Rate (Doorbells / second)"), DataGenRateTitle(eDataGenDoorbell));
    EXPECT_EQ(QStringLiteral("Transaction Rate (Messages / second)"), DataGenRateTitle(eDataGenMessage));
    EXPECT_EQ(QStringLiteral("Rate (1000 B/s)"), DataGenRateColumn(eDataGenSWrite));
    EXPECT_EQ(QStringLiteral("Rate (Hz)"), DataGenRateColumn(eDataGenMessage));
}

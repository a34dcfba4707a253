// Status texts, the two status mappings and the collection of discovery's failure texts.
#include "HalFixture.h"
#include "NVXLDiscovery.h"
#include "NVXLStatus.h"

#include <string>
#include <vector>

namespace nvtest
{
namespace
{
TEST(HalStatusTest, ErrorTextsOfEveryStatusAndUnknownOnes)
{
    const std::vector<std::pair<int32_t, std::string>> aTexts = {
        {0, "No Error."},
        {-1, "Unable to open local RIO device."},
        {-2, "Unspecified error encountered."},
        {-3, "Norvanta Driver Error: Driver is not open."},
        {-4, "Norvanta Driver Error: Invalid parameter detected."},
        {-5, "Norvanta Driver Error: RapidIO error."},
        {-6, "A RapidIO timeout has occurred."},
        {-7, "Another host has a higher priority."},
        {-8, "Another host already acquired the specified PE."},
        {-9, "HAL operation is not supported."},
        {-10, "Invalid parameter specified on function call."},
        {-11, "Switch cannot suport requested routing."},
        {-12, "There are too many switches in the network."},
        {-13, "Device is not a switch."},
        {-14, "Not enough memory to complete operation."},
        {-15, "Link request failed."},
        {-16, "Child process error."},
    };
    for (const auto& [nStatus, strText] : aTexts)
        EXPECT_EQ(HalErrorText(nStatus), strText) << nStatus;
    // Client statuses that pass into the HAL unchanged have no HAL text.
    for (int32_t nStatus : {-17, -18, -19, 1, -305})
        EXPECT_STREQ(HalErrorText(nStatus), "Unknown error.") << nStatus;

    // One static buffer: the next call overwrites the text of the last.
    const char* pszFirst = HalErrorText(-6);
    HalErrorText(-9);
    EXPECT_STREQ(pszFirst, "HAL operation is not supported.");
}

TEST(HalStatusTest, HalToClientMapsTheTableAndPassesEverythingElse)
{
    const std::vector<std::pair<int32_t, int32_t>> aPairs = {
        {0, 0},     {-1, -301},  {-2, -302}, {-3, -303}, {-4, -304}, {-5, -305},
        {-6, -45},  {-7, -103},  {-8, -107}, {-9, -47},  {-10, -39}, {-11, -110},
        {-12, -46}, {-13, -111}, {-14, -69}, {-15, -62}, {-18, -73},
    };
    for (const auto& [nHal, nClient] : aPairs)
    {
        EXPECT_EQ(HalStatusToClient(nHal), nClient) << nHal;
        // The HAL statuses survive the way there and back, but for "AckIDs are not misaligned",
        // which the client never hands back to the HAL.
        if (nHal != -18)
        {
            EXPECT_EQ(ClientStatusToHal(HalStatusToClient(nHal)), nHal) << nHal;
        }
    }
    EXPECT_EQ(ClientStatusToHal(-73), -73);
    for (int32_t nStatus : {-16, -17, -19, -50, 1, 5})
        EXPECT_EQ(HalStatusToClient(nStatus), nStatus) << nStatus;
}

TEST(HalStatusTest, ClientToHalMapsTheTableAndPassesEverythingElse)
{
    const std::vector<std::pair<int32_t, int32_t>> aPairs = {
        {0, 0},      {-39, -10},  {-45, -6},  {-46, -12}, {-47, -9},  {-62, -15},
        {-69, -14},  {-105, -5},  {-305, -5}, {-310, -5}, {-107, -8}, {-103, -7},
        {-110, -11}, {-111, -13}, {-301, -1}, {-302, -2}, {-303, -3}, {-304, -4},
    };
    for (const auto& [nClient, nHal] : aPairs)
        EXPECT_EQ(ClientStatusToHal(nClient), nHal) << nClient;

    // Failed sends and receives keep their own numbers on the way into the HAL.
    std::vector<int32_t> anUnchanged;
    for (int32_t n = -1; n >= -38; n--)
        anUnchanged.push_back(n);
    for (int32_t n = -40; n >= -44; n--)
        anUnchanged.push_back(n);
    for (int32_t n = -48; n >= -61; n--)
        anUnchanged.push_back(n);
    for (int32_t n : {-73, -104, -106, -306, -309, -311, -400, -10000, 1, 100})
        anUnchanged.push_back(n);
    for (int32_t nStatus : anUnchanged)
        EXPECT_EQ(ClientStatusToHal(nStatus), nStatus) << nStatus;
}

// Records what discovery's debug channel and error callback receive.
struct SEchoes
{
    std::vector<std::string> astrDebug;
    std::vector<std::pair<std::string, int32_t>> aErrors;
};

void RecordDebug(const char* pszText, void* pContext)
{
    static_cast<SEchoes*>(pContext)->astrDebug.emplace_back(pszText);
}

int32_t RecordError(const char* pszText, int32_t lError, void* pContext)
{
    static_cast<SEchoes*>(pContext)->aErrors.emplace_back(pszText, lError);
    return 0;
}

class AddErrorTextTest : public CHalTest
{
protected:
    void SetUp() override
    {
        CHalTest::SetUp();
        NVXL_RegisterDebugOutput(&RecordDebug, &m_echoes);
        NVXL_RegisterReportError(&RecordError, &m_echoes);
        m_echoes = SEchoes();
    }
    void TearDown() override
    {
        NVXL_RegisterDebugOutput(nullptr, nullptr);
        NVXL_RegisterReportError(nullptr, nullptr);
        CHalTest::TearDown();
    }
    SEchoes m_echoes;
};

TEST_F(AddErrorTextTest, ComposesAppendsAndEchoesFailures)
{
    char szBuffer[1000] = "";
    EXPECT_EQ(AddErrorText(0, "reading the features", szBuffer, sizeof szBuffer, -6), 1);
    EXPECT_STREQ(szBuffer, "The following error was encountered while reading the features\n[6] "
                           "A RapidIO timeout has occurred.");
    EXPECT_TRUE(m_echoes.aErrors.empty());

    // A second text follows after a line end; a status without a HAL text still gets its number.
    EXPECT_EQ(AddErrorText(1, "locking", szBuffer, sizeof szBuffer, -17), 1);
    const std::string strSecond = "The following error was encountered while locking\n[17] Unknown error.";
    EXPECT_EQ(std::string(szBuffer), "The following error was encountered while reading the features\n[6] "
                                     "A RapidIO timeout has occurred.\n" +
                                         strSecond);
    ASSERT_EQ(m_echoes.aErrors.size(), 1u);
    EXPECT_EQ(m_echoes.aErrors[0].first, strSecond);
    EXPECT_EQ(m_echoes.aErrors[0].second, -17);
    ASSERT_EQ(m_echoes.astrDebug.size(), 1u);
    EXPECT_EQ(m_echoes.astrDebug[0], strSecond);
}

TEST_F(AddErrorTextTest, RapidIOErrorFetchesTheTargetsList)
{
    char szBuffer[1000] = "";
    m_target.m_strRioErrors = "The following RapidIO errors were detected:\n[0x00000004] Packet CRC";
    EXPECT_EQ(AddErrorText(0, "walking", szBuffer, sizeof szBuffer, -5), 1);
    EXPECT_STREQ(szBuffer, "A RapidIO error was encountered while walking\nThe following RapidIO errors were "
                           "detected:\n[0x00000004] Packet CRC");

    szBuffer[0] = '\0';
    m_target.m_nRioErrorsStatus = -6;
    EXPECT_EQ(AddErrorText(0, "walking", szBuffer, sizeof szBuffer, -5), 1);
    EXPECT_STREQ(szBuffer, "A RapidIO error was encountered while walking\nNorvanta Driver Error: RapidIO "
                           "error.\nAn attempt to obtain additional information describing the error was "
                           "unsuccessful.");

    // Without a target the list cannot be fetched either.
    NVXL_SetTransport(nullptr);
    szBuffer[0] = '\0';
    EXPECT_EQ(AddErrorText(0, "walking", szBuffer, sizeof szBuffer, -5), 1);
    EXPECT_NE(std::string(szBuffer).find("An attempt to obtain additional information"), std::string::npos);
}

TEST_F(AddErrorTextTest, FullBufferKeepsItsTextAndEchoesNothing)
{
    const std::string strText =
        "The following error was encountered while x\n[8] Another host already acquired "
        "the specified PE.";
    // Exactly the room for the text and its terminator.
    std::vector<char> abExact(strText.size() + 1, '\0');
    EXPECT_EQ(AddErrorText(1, "x", abExact.data(), static_cast<uint32_t>(abExact.size()), -8), 1);
    EXPECT_EQ(std::string(abExact.data()), strText);

    // One character less: nothing is added and nothing echoed, yet the result is 1.
    m_echoes = SEchoes();
    std::vector<char> abShort(strText.size(), '\0');
    EXPECT_EQ(AddErrorText(1, "x", abShort.data(), static_cast<uint32_t>(abShort.size()), -8), 1);
    EXPECT_STREQ(abShort.data(), "");
    EXPECT_TRUE(m_echoes.aErrors.empty());
    EXPECT_TRUE(m_echoes.astrDebug.empty());

    // Status 0 adds nothing and returns 0, full buffer or not.
    char szFull[4] = "abc";
    EXPECT_EQ(AddErrorText(1, "x", szFull, sizeof szFull, 0), 0);
    EXPECT_STREQ(szFull, "abc");
    EXPECT_TRUE(m_echoes.aErrors.empty());
}

} // namespace
} // namespace nvtest

// Status texts, number entry, the preference store, don't-ask questions and the debug log.
#include "RecordingUserInterface.h"
#include "TestSupport.h"

#include "DebugLog.h"
#include "NumberText.h"
#include "Preferences.h"
#include "StatusText.h"
#include "UserInterface.h"

#include <gtest/gtest.h>

namespace
{
TEST(StatusText, ClientTextsKeepTheirOwnWordingAndUnknownValuesSayTheirNumber)
{
    EXPECT_EQ(QStringLiteral("No Error"), RioErrorText(0));
    EXPECT_EQ(QStringLiteral("Socket invalid (not connected)"), RioErrorText(-11));
    EXPECT_EQ(QStringLiteral("In invalid parameter was specified"), RioErrorText(-39));
    EXPECT_EQ(QStringLiteral("A memory allocation error occured within Norvanta"), RioErrorText(-40));
    EXPECT_EQ(QStringLiteral("Switch cannot suport requested routing"), RioErrorText(-110));
    EXPECT_EQ(QStringLiteral("Norvanta Driver Error: RapidIO Timeout detected"), RioErrorText(-310));
    EXPECT_EQ(
        QStringLiteral("Norvanta DG Error: An unknown DG request ID was received by the Norvanta Server,"),
        RioErrorText(-400));
    // -524 is the failed write but shares the read's text.
    EXPECT_EQ(RioErrorText(-523), RioErrorText(-524));
    EXPECT_EQ(QStringLiteral("Node not found"), RioErrorText(-10000));
    EXPECT_EQ(QStringLiteral("Unknown Error 5"), RioErrorText(5));
    EXPECT_EQ(QStringLiteral("Unknown Error -74"), RioErrorText(-74));
}

TEST(NumberText, FollowsTheEntryRule)
{
    const struct
    {
        const char* pszText;
        bool bValid;
        uint64_t ulValue;
    } cases[] = {
        {"101", true, 101},
        {"101b", true, 5},
        {"101B", true, 5},
        {"FF", true, 0xFF},
        {"FFh", true, 0xFF},
        {"ffH", true, 0xFF},
        {"10d", true, 10},
        {"1_000", true, 1000},
        {" 1 2 ", true, 12},
        {"12b", true, 0x12B},
        {"1Ad", true, 0x1AD},
        {"0x1F", true, 0x1F},
        {"", false, 0},
        {"  _ ", false, 0},
        {"h", false, 0},
        {"12G", false, 0},
        {"FFFFFFFFFFFFFFFFh", true, UINT64_MAX},
        {"1FFFFFFFFFFFFFFFFh", false, 0},
    };
    for (const auto& c : cases)
    {
        uint64_t ulValue = 0;
        EXPECT_EQ(c.bValid, NumberFromText(QString::fromLatin1(c.pszText), &ulValue)) << c.pszText;
        if (c.bValid)
        {
            EXPECT_EQ(c.ulValue, ulValue) << c.pszText;
        }
    }
    uint64_t ulValue = 7;
    EXPECT_FALSE(NumberFromText(QStringLiteral("256"), 255, &ulValue));
    EXPECT_EQ(7u, ulValue);
    EXPECT_EQ(QStringLiteral("Invalid data entry."), InvalidEntryText());
    EXPECT_EQ(QStringLiteral("101b"), NumberToText(5, 2, true));
    EXPECT_EQ(QStringLiteral("FFh"), NumberToText(255, 16, true));
    EXPECT_EQ(QStringLiteral("255"), NumberToText(255, 10, false));
}

TEST(NumberText, TakesOnlyAsciiDigitsLettersAndBlanks)
{
    // Digits of other scripts, full-width forms and blanks other than ASCII are no part of a
    // number, even where Unicode gives them a digit value.
    const char16_t* const kInvalid[] = {
        u"\uFF11\uFF12",         // full-width 12
        u"\uFF11\uFF12h",        // full-width 12 with a tail
        u"1\uFF12",              // one full-width digit among ASCII ones
        u"\u0661\u0662",         // Arabic-Indic 12
        u"\u0967\u0968d",        // Devanagari 12 with a decimal tail
        u"\uFF26\uFF26",         // full-width FF
        u"101\uFF42",            // full-width b as the tail
        u"0x\uFF11",             // full-width digit after the prefix
        u"\U0001D7CF\U0001D7D0", // mathematical bold 12
        u"1\u30002",             // ideographic space between digits
        u"1\u00A02",             // no-break space between digits
    };
    for (const char16_t* pszText : kInvalid)
    {
        const QString strText = QString::fromUtf16(pszText);
        uint64_t ulValue = 99;
        EXPECT_FALSE(NumberFromText(strText, &ulValue)) << strText.toStdString();
        EXPECT_EQ(99u, ulValue) << strText.toStdString();
    }
    uint64_t ulValue = 0;
    ASSERT_TRUE(NumberFromText(QStringLiteral("\t1 2_3\t"), &ulValue));
    EXPECT_EQ(123u, ulValue);
}

TEST(Preferences, EmptyStoreGivesDefaultsAndValuesSurviveAReread)
{
    EXPECT_EQ(8u, GetPreference(QStringLiteral("Preferences"), QStringLiteral("DefaultDestIDSize"), 8u));
    EXPECT_EQ(QStringLiteral("none"),
              GetPreference(QStringLiteral("Directories"), QStringLiteral("AppDir"), "none"));
    EXPECT_TRUE(SetPreference(QStringLiteral("Preferences"), QStringLiteral("DefaultDestIDSize"), 16u));
    EXPECT_TRUE(
        SetPreference(QStringLiteral("Directories"), QStringLiteral("AppDir"), QStringLiteral("/opt/nv")));
    EXPECT_EQ(16u, GetPreference(QStringLiteral("Preferences"), QStringLiteral("DefaultDestIDSize"), 8u));
    EXPECT_EQ(QStringLiteral("/opt/nv"),
              GetPreference(QStringLiteral("Directories"), QStringLiteral("AppDir"), ""));
    // A text where a number belongs reads as the default.
    SetPreference(QStringLiteral("Preferences"), QStringLiteral("Broken"), QStringLiteral("abc"));
    EXPECT_EQ(3u, GetPreference(QStringLiteral("Preferences"), QStringLiteral("Broken"), 3u));
    // The store is a file in the user's configuration directory.
    SyncPreferences();
    const std::string strFile = nvtest::ReadFile(nvtest::ProcessTempDir() + "/config/Halvorn/Norvanta4.conf");
    EXPECT_NE(std::string::npos, strFile.find("DefaultDestIDSize=16"));
}

TEST(Preferences, OverlongStringReadsAsDefaultAndOverridesAreNotStored)
{
    SetPreference(QStringLiteral("Preferences"), QStringLiteral("Long"), QString(1025, QLatin1Char('a')));
    EXPECT_EQ(QStringLiteral("dflt"),
              GetPreference(QStringLiteral("Preferences"), QStringLiteral("Long"), "dflt"));
    SetPreference(QStringLiteral("Preferences"), QStringLiteral("Edge"), QString(1024, QLatin1Char('a')));
    EXPECT_EQ(1024, GetPreference(QStringLiteral("Preferences"), QStringLiteral("Edge"), "dflt").size());

    SetPreferenceOverride(QStringLiteral("Preferences"), QStringLiteral("ServerPort"),
                          QStringLiteral("2000"));
    EXPECT_EQ(2000u, GetPreference(QStringLiteral("Preferences"), QStringLiteral("ServerPort"), 15000u));
    ClearPreferenceOverrides();
    EXPECT_EQ(15000u, GetPreference(QStringLiteral("Preferences"), QStringLiteral("ServerPort"), 15000u));
}

TEST(Preferences, DontAskQuestionUsesTheStoredResponse)
{
    nvtest::CRecordingUserInterface ui;
    ui.answers = {eAnswerNo};
    EXPECT_EQ(eAnswerNo, AskDontAsk(QStringLiteral("DiscoveryLog"),
                                    QStringLiteral("Enable discovery logging?"), QStringLiteral("Norvanta")));
    EXPECT_EQ(QStringList({"Enable discovery logging?"}), ui.questions);
    SetPreference(QStringLiteral("Messages"), QStringLiteral("DiscoveryLogDontAsk"), 1u);
    SetPreference(QStringLiteral("Messages"), QStringLiteral("DiscoveryLogResponse"), 7u);
    EXPECT_EQ(eAnswerNo, AskDontAsk(QStringLiteral("DiscoveryLog"),
                                    QStringLiteral("Enable discovery logging?"), QStringLiteral("Norvanta")));
    EXPECT_EQ(1, ui.questions.size());
}

TEST(DebugLog, ChannelsWriteTheirNumberAndOnlyWhenOn)
{
    nvtest::CRecordingUserInterface ui;
    DebugInit();
    const std::string strPath = DebugLogPath().toStdString();
    EXPECT_EQ(nvtest::ProcessTempDir() + "/tmp/Norvanta.log", strPath);
    ASSERT_TRUE(ClearLog());
    DebugPrint(eDebugMiddleware, "off %d\n", 1);
    EXPECT_EQ("", nvtest::ReadFile(strPath));
    SetDebugFlag(eDebugMiddleware, true);
    SetDebugFlag(eDebugGeneral, true);
    DebugPrint(eDebugMiddleware, "MaintRead\n\tOffset=0x%x\n", 0x60);
    DebugPrint(eDebugGeneral, "hello\n");
    DebugPrint(eDebugJTAG, "not on\n");
    EXPECT_EQ("04:MaintRead\n\tOffset=0x60\n00:hello\n", nvtest::ReadFile(strPath));
    EXPECT_EQ(1u, GetPreference(QStringLiteral("Debug"), QStringLiteral("Middleware"), 0u));
    ASSERT_TRUE(ClearLog());
    EXPECT_EQ("", nvtest::ReadFile(strPath));
    EXPECT_TRUE(ui.messages.isEmpty());
}
} // namespace

// The preference store's file: what it holds after a reread, files of Qt's own INI writer, and a
// write that fails.
#include "FaultInjection.h"
#include "Preferences.h"
#include "RecordingUserInterface.h"
#include "TestSupport.h"

#include <QFile>
#include <QSettings>

#include <gtest/gtest.h>

namespace
{
QString StorePath()
{
    return QString::fromStdString(nvtest::ProcessTempDir() + "/config/Halvorn/Norvanta4.conf");
}

QByteArray StoreBytes()
{
    QFile file(StorePath());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

struct STrickyValue
{
    const char* pszKey;
    QString strValue;
};

std::vector<STrickyValue> TrickyValues()
{
    return {
        {"List", QStringLiteral("a, b; c")},
        {"Padded", QStringLiteral("  padded  ")},
        {"Escapes", QStringLiteral("C:\\dir\\\"quoted\"")},
        {"Lines", QStringLiteral("line1\nline2\r\tend")},
        {"At", QStringLiteral("@Variant(not one)")},
        {"Equals", QStringLiteral("a=b")},
        {"Key With Spaces", QStringLiteral("x")},
        {"Unicode", QString::fromUtf8("\xc3\xbcnic\xc3\xb8"
                                      "de \xe2\x82\xac")},
        {"\xd0\x9a\xd0\xbb\xd1\x8e\xd1\x87", QStringLiteral("cyrillic key")},
        {"Empty", QString()},
    };
}
} // namespace

TEST(PreferenceStore, AwkwardKeysAndValuesComeBackFromTheFile)
{
    for (const STrickyValue& v : TrickyValues())
    {
        ASSERT_TRUE(SetPreference(QStringLiteral("Directories"), QString::fromUtf8(v.pszKey), v.strValue));
    }
    ASSERT_TRUE(SetPreference(QStringLiteral("Preferences"), QStringLiteral("DefaultDestIDSize"), 16u));
    ReopenPreferences();
    for (const STrickyValue& v : TrickyValues())
    {
        EXPECT_EQ(v.strValue,
                  GetPreference(QStringLiteral("Directories"), QString::fromUtf8(v.pszKey), "absent"))
            << v.pszKey;
    }
    EXPECT_EQ(16u, GetPreference(QStringLiteral("Preferences"), QStringLiteral("DefaultDestIDSize"), 8u));
    // The file stays a readable INI text, one group per section.
    const QByteArray text = StoreBytes();
    EXPECT_TRUE(text.contains("\n[Preferences]\n")) << text.toStdString();
    EXPECT_TRUE(text.contains("\nDefaultDestIDSize=16\n")) << text.toStdString();
    EXPECT_TRUE(text.contains("List=\"a, b; c\"\n")) << text.toStdString();
    EXPECT_TRUE(text.contains("Key%20With%20Spaces=x\n")) << text.toStdString();
}

// A settings file of an earlier build, written by Qt's INI writer, reads the same.
TEST(PreferenceStore, ReadsAFileOfQtsOwnIniWriter)
{
    ReopenPreferences();
    QFile::remove(StorePath());
    {
        QSettings qt(StorePath(), QSettings::IniFormat);
        for (const STrickyValue& v : TrickyValues())
        {
            qt.setValue(QStringLiteral("TargetList/") + QString::fromUtf8(v.pszKey), v.strValue);
        }
        qt.setValue(QStringLiteral("Preferences/DefaultDestIDSize"), 16ull);
        qt.sync();
        ASSERT_EQ(QSettings::NoError, qt.status());
    }
    for (const STrickyValue& v : TrickyValues())
    {
        EXPECT_EQ(v.strValue,
                  GetPreference(QStringLiteral("TargetList"), QString::fromUtf8(v.pszKey), "absent"))
            << v.pszKey << " in\n"
            << StoreBytes().toStdString();
    }
    EXPECT_EQ(16u, GetPreference(QStringLiteral("Preferences"), QStringLiteral("DefaultDestIDSize"), 8u));
}

// The store's file can't grow past its present size: each kind of change fails, says so, and
// the file on disk is exactly the old one.
TEST(PreferenceStore, AFailedWriteKeepsTheOldFileAndIsShown)
{
    ASSERT_TRUE(SetPreference(QStringLiteral("Preferences"), QStringLiteral("DefaultDestIDSize"), 16u));
    // Large enough that the store's lock file fits under the limit while the settings don't.
    ASSERT_TRUE(SetPreference(QStringLiteral("Directories"), QStringLiteral("AppDir"),
                              QStringLiteral("/opt/") + QString(300, QLatin1Char('d'))));
    const QByteArray old = StoreBytes();
    ASSERT_FALSE(old.isEmpty());
    const std::string strError = nvtest::RunInChild(
        [&]() -> std::string
        {
            nvtest::CRecordingUserInterface ui;
            nvtest::LimitFileSize(old.size() + 4);
            const QString strLong(200, QLatin1Char('p'));
            if (SetPreference(QStringLiteral("Directories"), QStringLiteral("ModuleDir"), strLong))
            {
                return "a string set past the size limit succeeded";
            }
            if (SetPreference(QStringLiteral("Preferences"),
                              QStringLiteral("DefaultSmallHostIDWithALongName"), 123456789u))
            {
                return "a number set past the size limit succeeded";
            }
            if (StoreBytes() != old)
            {
                return "the settings file changed:\n" + StoreBytes().toStdString();
            }
            const QStringList expected = {
                QStringLiteral("Unable to save the setting Directories/ModuleDir: the settings file %1 could "
                               "not be written. The old file is untouched, and the change lasts only until "
                               "the program ends.")
                    .arg(StorePath()),
                QStringLiteral("Unable to create HKCU/Preferences/DefaultSmallHostIDWithALongName\n"),
            };
            if (ui.messages != expected)
            {
                return "messages: " + ui.messages.join(QStringLiteral(" | ")).toStdString();
            }
            // The value stands for the rest of the run.
            if (GetPreference(QStringLiteral("Directories"), QStringLiteral("ModuleDir"), "") != strLong)
            {
                return "the value was lost for this run";
            }
            // With room again the next change writes the file, the earlier one with it.
            nvtest::LimitFileSize(-1);
            ui.messages.clear();
            if (!SetPreference(QStringLiteral("Preferences"), QStringLiteral("Later"), 5u) ||
                !StoreBytes().contains(strLong.toUtf8()) || !StoreBytes().contains("Later=5"))
            {
                return "the store did not recover: " + ui.messages.join(QStringLiteral(" | ")).toStdString() +
                       "\n" + StoreBytes().toStdString();
            }
            return std::string();
        });
    EXPECT_EQ("", strError);
}

// docs/automation.md carries the method table generated from the automation object's own table,
// so the reference can't drift from what the bus offers. NV_UPDATE_DOCS=1 rewrites it in place.
#include "AutomationDBus.h"
#include "TestSupport.h"

#include <QFile>

#include <gtest/gtest.h>

namespace
{
const QString kBegin = QStringLiteral("<!-- methods -->\n");
const QString kEnd = QStringLiteral("<!-- end of methods -->\n");

TEST(AutomationReference, TheDocumentListsEveryMethodAsTheBusOffersIt)
{
    const QString strPath =
        QString::fromStdString(nvtest::SourceDir()) + QStringLiteral("/docs/automation.md");
    QString strText = QString::fromStdString(nvtest::ReadFile(strPath.toStdString()));
    const qsizetype iBegin = strText.indexOf(kBegin);
    const qsizetype iEnd = strText.indexOf(kEnd);
    ASSERT_GE(iBegin, 0) << "no methods marker in " << strPath.toStdString();
    ASSERT_GT(iEnd, iBegin);
    const QString strExpected = AutomationMethodReference();
    const QString strDocumented = strText.mid(iBegin + kBegin.size(), iEnd - iBegin - kBegin.size());
    if (strDocumented != strExpected && qEnvironmentVariableIsSet("NV_UPDATE_DOCS"))
    {
        strText.replace(iBegin + kBegin.size(), iEnd - iBegin - kBegin.size(), strExpected);
        QFile file(strPath);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(strText.toUtf8());
        GTEST_SKIP() << "rewrote " << strPath.toStdString();
    }
    EXPECT_EQ(strExpected.toStdString(), strDocumented.toStdString())
        << "run this test with NV_UPDATE_DOCS=1 to rewrite the table";
    // One row per method, the header and its rule besides.
    EXPECT_EQ(74 + 2, strDocumented.count(QLatin1Char('\n')));
    EXPECT_TRUE(strDocumented.contains(QStringLiteral("| 10 | `MaintRead` | uchLocalPort `y`, ulDestID `u`, "
                                                      "uchHopCount `y`, ulOffset `u`, ulWordCount `u`, "
                                                      "ulStride `u` | `yuyuuu` | `v` holding `ai` |")));
}
} // namespace

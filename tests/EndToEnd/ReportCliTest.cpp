// norvanta-cli's reports of a saved map: each page written to Output/ below --dir, the node
// restriction of the register report, and the exit status and line of every failure.
#include "SimProcess.h"
#include "TestSupport.h"

#include "NetworkDocument.h"
#include "Primitives.h"
#include "WatchItem.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

namespace
{
using nvtest::RunProgram;
using nvtest::SRunResult;

SRunResult Cli(const std::vector<std::string>& args)
{
    return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), args);
}

std::string Temp(const std::string& strName)
{
    return nvtest::ProcessTempDir() + "/" + strName;
}

QString PageText(const std::string& strPath)
{
    QFile file(QString::fromStdString(strPath));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// A map of a CPS-1848 with one shared routing table and two stored registers, a processor behind
// it with one stored register, and a watch item on the switch; with or without the watch item.
std::string WriteMap(const std::string& strName, bool bWatch)
{
    CNetworkDocument map;
    auto pSwitch = std::make_unique<CPEPrimitive>();
    pSwitch->iNodeNumber = 0;
    pSwitch->SetIdentity(0x0038, 0x0374, true, false, false, false);
    pSwitch->DeviceID = 0x0374;
    pSwitch->ManufID = 0x0038;
    pSwitch->iNumLocalPorts = 18;
    pSwitch->UniqueID = QStringLiteral("1");
    pSwitch->RoutingTables[0] = std::make_unique<CRoutingTable>();
    for (uint16_t wID = 1; wID <= 4; ++wID)
    {
        pSwitch->RoutingTables[0]->AddEntry(wID, 2, eRoutePort, 0, false);
    }
    pSwitch->SavedRegisters.SetValue(0x0, 0x03740038, false);
    pSwitch->SavedRegisters.SetValue(0x6C, 0x00001234, false);
    map.ActivePEs.AddPrimitive(std::move(pSwitch));
    auto pEndpoint = std::make_unique<CPEPrimitive>();
    pEndpoint->iNodeNumber = 1;
    pEndpoint->SetIdentity(0xFFF0, 0x0001, false, true, false, false);
    pEndpoint->DeviceID = 0x0001;
    pEndpoint->ManufID = 0xFFF0;
    pEndpoint->iNumLocalPorts = 1;
    pEndpoint->ShortDestID = 2;
    pEndpoint->UniqueID = QStringLiteral("12");
    pEndpoint->SavedRegisters.SetValue(0x6C, 0x000000AB, false);
    map.ActivePEs.AddPrimitive(std::move(pEndpoint));
    if (bWatch)
    {
        WatchItem item;
        item.iPEID = 0;
        item.RegName = QStringLiteral("Component Tag CSR");
        // A field by name: the map file holds names as they are, and "<All>" would not read back.
        item.BFName = QStringLiteral("component_tag");
        item.uRegOffset = 0x6C;
        item.eType = eTriggerLessThan;
        item.uParam1 = 0x10;
        map.WatchItems.push_back(item);
    }
    const std::string strPath = Temp(strName);
    EXPECT_TRUE(map.SaveAs(QString::fromStdString(strPath)));
    return strPath;
}

TEST(ReportCli, WritesEachReportOfASavedMap)
{
    const std::string strMap = WriteMap("report.nvm", true);
    const std::string strDir = Temp("cli-reports");
    struct SCase
    {
        const char* pszKind;
        const char* pszPage;
        const char* pszText;
    };
    for (const SCase& test : {SCase{"pe", "PE Info Report.HTM", "<title>PE - report.nvm</title>"},
                              SCase{"routing", "Routing Table Report.HTM", "<td class=\"ids\">1h-4h</td>"},
                              SCase{"registers", "Register Report.HTM", "<code>0x000000AB</code>"},
                              SCase{"watch", "Watch Window Report.HTM", "BF &lt 10h"}})
    {
        const std::string strKindDir = strDir + "/" + test.pszKind;
        const SRunResult result = Cli({"report", test.pszKind, strMap, "--dir", strKindDir});
        ASSERT_EQ(0, result.nExitCode) << test.pszKind << ": " << result.strErr;
        const std::string strPage = strKindDir + "/Output/" + test.pszPage;
        EXPECT_EQ("Wrote " + strPage + "\n", result.strOut);
        EXPECT_TRUE(PageText(strPage).contains(QString::fromLatin1(test.pszText))) << test.pszKind;
        EXPECT_TRUE(QFileInfo::exists(QString::fromStdString(strKindDir + "/Output/report.css")));
    }
    // Both PEs' registers, then the switch's alone.
    QString strPage = PageText(strDir + "/registers/Output/Register Report.HTM");
    EXPECT_TRUE(strPage.contains(QStringLiteral("<code>0x00001234</code>")));
    EXPECT_EQ(2, strPage.count(QStringLiteral("<h2>Node ")));
    const SRunResult one = Cli({"report", "registers", strMap, "--node", "1", "--dir", strDir + "/one"});
    ASSERT_EQ(0, one.nExitCode) << one.strErr;
    strPage = PageText(strDir + "/one/Output/Register Report.HTM");
    EXPECT_EQ(1, strPage.count(QStringLiteral("<h2>Node ")));
    EXPECT_FALSE(strPage.contains(QStringLiteral("0x000000AB")));
}

TEST(ReportCli, FailuresSayWhyWithTheirExitStatus)
{
    const std::string strMap = WriteMap("nowatch.nvm", false);
    SRunResult result = Cli({"report", "watch", strMap, "--dir", Temp("w")});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("The map has no watch items to report.\n", result.strErr);

    result = Cli({"report", "perf", strMap, "--dir", Temp("p")});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_NE(std::string::npos, result.strErr.find("not available")) << result.strErr;

    result = Cli({"report", "registers", strMap, "--node", "9", "--dir", Temp("r")});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ("Node 9 is not in the map\n", result.strErr);

    // A directory below a plain file can't be made.
    const std::string strFile = Temp("plain-file");
    {
        QFile file(QString::fromStdString(strFile));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }
    result = Cli({"report", "pe", strMap, "--dir", strFile + "/reports"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ("Unable to create directory '" + strFile + "/reports/'\n", result.strErr);
    EXPECT_EQ("", result.strOut);

    // A map that isn't one.
    const std::string strBroken = Temp("broken-report.nvm");
    {
        QFile file(QString::fromStdString(strBroken));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("<NorvantaMap Version=\"1.7\"><ActiveMap>");
    }
    result = Cli({"report", "pe", strBroken, "--dir", Temp("b")});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_NE(std::string::npos, result.strErr.find("Unable to read the map '" + strBroken + "'"))
        << result.strErr;
    EXPECT_FALSE(QDir(QString::fromStdString(Temp("b"))).exists());

    // Missing words.
    EXPECT_EQ(2, Cli({"report", "pe"}).nExitCode);
    EXPECT_EQ(2, Cli({"report", "pe", strMap, "--node", "1"}).nExitCode);
}
} // namespace

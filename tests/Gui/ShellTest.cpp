// The shell's pieces that need no window: the layout program's input and output, the browser's
// contents, the debug key file, the settings a new user starts with, and the connection checks.
#include "GuiTestEnvironment.h"

#include "AutoLayout.h"
#include "ConnectionChoice.h"
#include "DebugKeyFile.h"
#include "DefaultSettings.h"
#include "MapCommands.h"
#include "MapOptions.h"
#include "NetBrowser.h"
#include "Preferences.h"
#include "RecordingUserInterface.h"
#include "SafeFile.h"
#include "TestSupport.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <map>

#include <gtest/gtest.h>

namespace
{
using nvguitest::AddLink;
using nvguitest::AddPE;

// The texts of every command in a menu tree, depth first, sub-menu titles included.
std::vector<QString> MenuTexts(const std::vector<SMenuItem>& items)
{
    std::vector<QString> texts;
    for (const SMenuItem& item : items)
    {
        if (!item.IsSeparator())
        {
            texts.push_back(item.strText);
            const std::vector<QString> children = MenuTexts(item.children);
            texts.insert(texts.end(), children.begin(), children.end());
        }
    }
    return texts;
}

QString TempDir(const char* pszName)
{
    const QString strPath = QString::fromStdString(nvtest::ProcessTempDir()) + "/" + pszName;
    QDir().mkpath(strPath);
    return strPath;
}

TEST(ShellTest, AnEmptyStoreGivesTheDefaults)
{
    EXPECT_EQ(8, DefaultDestIDSize());
    EXPECT_EQ(0xFDu, DefaultSmallHostID());
    for (const SQuestionKey& question : DefaultSettingsQuestions())
    {
        EXPECT_EQ(eQuestionAsk, QuestionState(QLatin1String(question.pszKey))) << question.pszKey;
    }
    EXPECT_EQ(0u, GetPreference("SystemSettings", "CheckForUpdates", 0u));
    EXPECT_EQ(eTabEthernet, LastConnectionTab());
    EXPECT_TRUE(RecentFiles().isEmpty());
    const SMapOptions window = SMapOptions::Load(false);
    EXPECT_TRUE(window[eOptNodeIDs]);
    EXPECT_FALSE(window[eOptPortWidths]);
    // A question answered for good stands for its answer, and the store says so.
    SetQuestionState("NoOverlaps", eQuestionAlwaysNo);
    EXPECT_EQ(7u, GetPreference("Messages", "NoOverlapsResponse", 0u));
    nvtest::CRecordingUserInterface ui;
    EXPECT_FALSE(CAutoLayout::AskNoOverlaps());
    EXPECT_TRUE(ui.questions.isEmpty());
    SetQuestionState("NoOverlaps", eQuestionAsk);
    EXPECT_EQ(eQuestionAsk, QuestionState("NoOverlaps"));
}

TEST(ShellTest, RecentFilesKeepTheNewestFour)
{
    for (const char* pszPath : {"/a.nvm", "/b.nvm", "/c.nvm", "/d.nvm", "/e.nvm", "/c.nvm"})
    {
        AddRecentFile(QLatin1String(pszPath));
    }
    EXPECT_EQ(QStringList({"/c.nvm", "/e.nvm", "/d.nvm", "/b.nvm"}), RecentFiles());
}

TEST(ShellTest, LayoutInputFollowsTheViewAndLeavesGroupsOut)
{
    CNetworkDocument document;
    AddPE(document, 0, 0x0038, 0x0374, kPETypeSwitch, 100, 100, 18);
    AddPE(document, 1, 0x0038, 0x80AB, kPETypeBridge | kPETypeProcessor, 200, 100);
    AddPE(document, 2, 0xFFFF, 0xFFFF, kPETypeNull, 300, 100);
    AddPE(document, 3, 0xFFF0, 0x0002, kPETypeProcessor, 400, 100);
    AddLink(document, 0, 0, 1, 1, 0);
    AddLink(document, 1, 0, 2, 2, 0);
    AddLink(document, 2, 0, 3, 3, 0);
    // Node 3 belongs to a group: neither it nor its link to the switch is laid out.
    static_cast<CDrawNode*>(document.pCurrentNodes->FindPENode(3))->iBelongsToGroup = 77;

    // The switch shows two lines under its icon; the others none.
    static_cast<CDrawNode*>(document.pCurrentNodes->FindPENode(0))->TextLines =
        QStringList{"CPS-1848", "Node 1"};

    // The program's lines, each node's followed by its size from its icon and labels (an estimate
    // without a window to measure text), and overlap removal with room between the nodes.
    const char* const kNode = ",height=0.5,width=0.5,fixedsize=true,fontsize=10,fontname=Helvetica]; ";
    const QByteArray expected =
        QByteArray("graph NVT {\n\tnormalize=true\n\toverlap=compress\n") +
        "\toverlap=prism\n\toverlap_shrink=true\n\tsep=\"+7.2\"\n" + "\tnode [shape=ellipse" + kNode +
        "P0\n\tP0 [width=0.60,height=1.08]\n" + "\tnode [shape=rectangle" + kNode +
        "P1\n\tP1 [width=0.52,height=0.52]\n" +
        "\tnode [shape=ellipse,height=0.35,width=0.35,fixedsize=true,fontsize=10,fontname=Helvetica]; "
        "P2\n\tP2 [width=0.52,height=0.52]\n\n" +
        "\tP0 -- P1 "
        "[headlabel=\"XX\",taillabel=\"XX\",labeldistance=0.5,fontsize=7,fontname=Helvetica,color=green]\n" +
        "\tP0 -- P2 "
        "[headlabel=\"XX\",taillabel=\"XX\",labeldistance=0.5,fontsize=7,fontname=Helvetica,color=green]\n" +
        "}\n";
    EXPECT_EQ(expected.toStdString(), CAutoLayout::LayoutInput(document, true, false).toStdString());

    // Labels at the ends of links widen the margin: half a 40-pixel label and padding, in points.
    SLayoutRoom room;
    room.dLinkLabel = 40;
    room.nodeRoom = [](const QStringList& lines) {
        return SNodeRoom{100.0, 30.0, 30.0 + 13.0 * static_cast<double>(lines.size())};
    };
    const QByteArray measured = CAutoLayout::LayoutInput(document, true, false, room);
    EXPECT_TRUE(measured.contains("\tsep=\"+20.2\"\n")) << measured.toStdString();
    EXPECT_TRUE(measured.contains("\tP0 [width=2.00,height=1.12]\n")) << measured.toStdString();
    EXPECT_FALSE(measured.contains("layout=")) << "a small map is laid out by neato itself";

    // Hidden nulls and no overlap answer: the Null PE and its link drop out, and so does the room.
    const QByteArray hidden = CAutoLayout::LayoutInput(document, false, true);
    EXPECT_FALSE(hidden.contains("overlap"));
    EXPECT_FALSE(hidden.contains("sep="));
    EXPECT_FALSE(hidden.contains("P2"));
    EXPECT_TRUE(hidden.contains("\tP0 -- P1 "));

    // From the threshold on, the multiscale method lays the map out.
    SetPreference(QStringLiteral("Preferences"), QStringLiteral("LayoutFastThreshold"), 3u);
    const QByteArray fast = CAutoLayout::LayoutInput(document, true, false);
    EXPECT_TRUE(fast.contains("\toverlap=prism20\n\toverlap_shrink=true\n")) << fast.toStdString();
    EXPECT_TRUE(fast.contains("\tlayout=sfdp\n")) << fast.toStdString();
    EXPECT_FALSE(CAutoLayout::LayoutInput(document, true, true).contains("layout="))
        << "two nodes with nulls hidden";
    SetPreference(QStringLiteral("Preferences"), QStringLiteral("LayoutFastThreshold"), 400u);
}

TEST(ShellTest, LayoutOutputMovesNodesUntilALineDoesNotParse)
{
    CNetworkDocument document;
    AddPE(document, 0, 0x0038, 0x0374, kPETypeSwitch, 10, 10, 18);
    AddPE(document, 1, 0xFFF0, 0x0002, kPETypeProcessor, 20, 20);
    AddPE(document, 2, 0xFFF0, 0x0002, kPETypeProcessor, 30, 30);
    AddLink(document, 0, 0, 1, 1, 0);
    const QByteArray output = "graph 1 4.5 3.25\n"
                              "node P0 1.5 2.25 0.5 0.5 P0 solid ellipse black lightgrey\n"
                              "NODE P1 0.125 3 0.5 0.5 P1 solid ellipse black lightgrey\n"
                              "node P2 x1 0.5 0.5 0.5 P2 solid ellipse black lightgrey\n"
                              "node P0 9 9 0.5 0.5 P0 solid ellipse black lightgrey\n"
                              "stop\n";
    const std::vector<SLayoutPosition> positions = CAutoLayout::ParseOutput(output);
    ASSERT_EQ(2u, positions.size());
    EXPECT_EQ(2, CAutoLayout::Apply(document, positions));
    // y is turned over against the height; 100 + 100 times each, cut to an integer.
    const CDrawPrimitive* pSwitch = document.pCurrentNodes->FindPENode(0);
    EXPECT_EQ(250, pSwitch->iXPos);
    EXPECT_EQ(200, pSwitch->iYPos);
    const CDrawPrimitive* pFirst = document.pCurrentNodes->FindPENode(1);
    EXPECT_EQ(112, pFirst->iXPos);
    EXPECT_EQ(125, pFirst->iYPos);
    EXPECT_EQ(30, document.pCurrentNodes->FindPENode(2)->iXPos);
    const auto* pEdge = static_cast<const CDrawEdge*>(document.pCurrentEdges->GetAt(0));
    EXPECT_EQ(QPoint(250, 200), pEdge->GetPath().front());
    EXPECT_EQ(QPoint(112, 125), pEdge->GetPath().back());
}

TEST(ShellTest, LayoutRunsNeatoAndReportsAMissingApplicationDirectory)
{
    CNetworkDocument document;
    for (int i = 0; i < 6; ++i)
    {
        AddPE(document, i, 0xFFF0, 0x0002, kPETypeProcessor, 100, 100);
        if (i > 0)
        {
            AddLink(document, i, 0, i, i, 0);
        }
    }
    nvtest::CRecordingUserInterface ui;
    ASSERT_TRUE(CAutoLayout::Run(document, false)) << ui.messages.join("|").toStdString();
    std::set<std::pair<int, int>> positions;
    for (const auto& pNode : *document.pCurrentNodes)
    {
        positions.insert({pNode->iXPos, pNode->iYPos});
    }
    EXPECT_EQ(6u, positions.size());

    SetPreference("Directories", "AppDir", TempDir("no-such") + "/gone");
    EXPECT_FALSE(CAutoLayout::Run(document, false));
    EXPECT_EQ("Application directory not found.", ui.messages.back().toStdString());
    RemovePreference("Directories", "AppDir");
}

TEST(ShellTest, BrowserShowsTablesMulticastPortsAndRegisters)
{
    CNetworkDocument document;
    AddPE(document, 0, 0x0038, 0x0374, kPETypeSwitch, 0, 0, 2);
    CPEPrimitive& pe = *document.ActivePEs.GetByNodeNumber(0);
    pe.ShortDestID = 0x22;
    pe.LongDestID = 0x1234;
    pe.Ports[0].uSpeedMHz = 3125;
    pe.Ports[1].uSpeedMHz = 6250;
    auto pTable = std::make_unique<CRoutingTable>();
    pTable->AddEntry(0x05, 1, eRoutePort, 0, false);
    pTable->AddEntry(0x06, 2, eRouteMulticast, 0, false);
    pTable->AddEntry(0x07, 0, eRouteSpecial, 3, false);
    pe.RoutingTables[0] = std::move(pTable);
    pe.Multicast.bSupportsMulticast = true;
    pe.Multicast.bSupportsSimpleAssociation = true;
    pe.Multicast.iMaxAssociationsPerMask = 16;
    pe.Multicast.iMaxMasks = 8;
    const int iMask = pe.Multicast.AddMask(3);
    pe.Multicast.AddPort(iMask, 4);
    pe.Multicast.AddDestID(iMask, 0x40);

    const std::vector<SBrowserItem> pes = BrowserPEItems(document);
    ASSERT_EQ(1u, pes.size());
    EXPECT_EQ("Node 1 (CPS-1848)", pes[0].strText.toStdString());
    const std::vector<SBrowserItem> items = BrowserPEChildren(pe);
    ASSERT_EQ(5u, items.size());
    EXPECT_EQ("DestID: Short=22h Long=1234h", items[0].strText.toStdString());
    EXPECT_EQ("Registers", items[1].strText.toStdString());
    ASSERT_FALSE(items[1].children.empty());
    bool bReadOnly = false;
    for (const SBrowserItem& block : items[1].children)
    {
        for (const SBrowserItem& item : block.children)
        {
            bReadOnly |=
                item.eKind == eBrowseRegister && item.strText.endsWith(" [Read Only]") && item.bCheckable;
        }
    }
    EXPECT_TRUE(bReadOnly);
    const SBrowserItem& tables = items[2];
    ASSERT_EQ(1u, tables.children.size());
    EXPECT_EQ("All Ports", tables.children[0].strText.toStdString());
    QStringList lines;
    for (const SBrowserItem& line : tables.children[0].children)
    {
        lines << line.strText;
    }
    EXPECT_EQ(QStringList({"  5h >> 1", "  6h >> Mask 2", "  7h >> Special 3"}), lines);
    const SBrowserItem& multicast = items[3];
    ASSERT_EQ(2u, multicast.children.size());
    QStringList caps;
    for (const SBrowserItem& line : multicast.children[0].children)
    {
        caps << line.strText;
    }
    EXPECT_EQ(QStringList({"Simple Association supported", "Block Association NOT supported",
                           "Per-port Association NOT supported", "16 associations per mask", "8 masks"}),
              caps);
    EXPECT_EQ("Mask 3", multicast.children[1].strText.toStdString());
    EXPECT_EQ("Port 4", multicast.children[1].children[0].children[0].strText.toStdString());
    EXPECT_EQ("40h", multicast.children[1].children[1].children[0].strText.toStdString());
    ASSERT_EQ(2u, items[4].children.size());
    EXPECT_EQ("Port 1, 6.250 Gbps", items[4].children[1].strText.toStdString());

    // A device the library doesn't know: the generic registers, and the vendor's note.
    CNetworkDocument other;
    AddPE(other, 0, 0xFFF0, 0x0002, kPETypeProcessor, 0, 0);
    const std::vector<SBrowserItem> unknown = BrowserPEChildren(*other.ActivePEs.GetByIndex(0));
    EXPECT_EQ("Contact the Device Vendor directly for access to proprietary registers.",
              unknown[1].children.back().strText.toStdString());
    // A Null PE has no registers and no tables.
    AddPE(other, 1, 0xFFFF, 0xFFFF, kPETypeNull, 0, 0);
    EXPECT_EQ(2u, BrowserPEChildren(*other.ActivePEs.GetByNodeNumber(1)).size());
}

TEST(ShellTest, BrowserFailuresHaveTheirFormWithAndWithoutDetail)
{
    EXPECT_EQ("Error -45 (Timeout on RapidIO transaction) encountered when reading.\r\n\r\nThis error "
              "is often caused by invalid routing tables.",
              BrowserFailureText(-45, "reading").toStdString());
    EXPECT_EQ(
        "Error -45 (Timeout on RapidIO transaction) encountered when reading.\r\n\r\n"
        "Additional information follows:\r\n\r\nport 3\r\n\r\nThis error is often caused by invalid routing "
        "tables.",
        BrowserFailureText(-45, "reading", "port 3").toStdString());
}

TEST(ShellTest, DebugKeyFileThatCannotBeWrittenLeavesTheOldOne)
{
    const QString strDir = TempDir("full-keys");
    const QDate today = QDate::currentDate();
    nvtest::CRecordingUserInterface ui;
    const DebugFlags flags{true, true, false, false, false, false};
    ASSERT_TRUE(WriteDebugKeyFile(strDir, today, flags));
    const QString strPath = QDir(strDir).filePath(DebugKeyFileName(today));

    // The disk takes nothing more: the replacement fails, says so, and the first file stands.
    SSafeFileCalls full = SafeFileSystemCalls();
    full.pfnWrite = [](int, const void*, size_t) -> ssize_t
    {
        errno = ENOSPC;
        return -1;
    };
    const SSafeFileCalls real = SetSafeFileCalls(full);
    ui.answers = {eAnswerYes};
    const bool bWritten = WriteDebugKeyFile(strDir, today, DebugFlags{});
    SetSafeFileCalls(real);
    EXPECT_FALSE(bWritten);
    EXPECT_EQ(
        QStringList{QStringLiteral("Saving %1 failed: No space left on device. The old file is untouched.")
                        .arg(strPath)},
        ui.messages);
    DebugFlags read{};
    ASSERT_TRUE(ReadDebugKeyFile(strPath, &read));
    EXPECT_EQ(flags, read);
    EXPECT_EQ(QStringList{DebugKeyFileName(today)},
              QDir(strDir).entryList(QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot));
}

TEST(ShellTest, DebugKeyFileTurnsChannelsOnForItsDayOnly)
{
    EXPECT_EQ("07EA000B0016.DbgKey", DebugKeyFileName(QDate(2026, 11, 22)).toStdString());
    const QString strDir = TempDir("keys");
    const QDate today = QDate::currentDate();
    nvtest::CRecordingUserInterface ui;
    DebugFlags flags{true, false, true, false, false, true};
    ASSERT_TRUE(WriteDebugKeyFile(strDir, today, flags));
    QFile file(QDir(strDir).filePath(DebugKeyFileName(today)));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray raw = file.readAll();
    EXPECT_EQ(16, raw.size());
    EXPECT_NE(QByteArray("\x01\x00\x01", 3), raw.left(3)); // enciphered, not plain
    DebugFlags read{};
    ASSERT_TRUE(ReadDebugKeyFile(file.fileName(), &read));
    EXPECT_EQ(flags, read);

    // An existing file is replaced only on Yes.
    ui.answers = {eAnswerNo};
    EXPECT_FALSE(WriteDebugKeyFile(strDir, today, DebugFlags{}));
    EXPECT_EQ(QStringList{"Do you want to overwrite the existing key file?"}, ui.questions);
    ASSERT_TRUE(ReadDebugKeyFile(file.fileName(), &read));
    EXPECT_EQ(flags, read);

    // Yesterday's file has no effect today.
    const QString strOld = TempDir("old-keys");
    ASSERT_TRUE(WriteDebugKeyFile(strOld, today.addDays(-1), flags));
    EXPECT_FALSE(ApplyDebugKeyFile(strOld, today));

    // Today's file overrides the stored flags for this run, all of them, zeros included.
    SetPreference("Debug", "FindRoute", 1u);
    ui.answers = {eAnswerYes};
    ASSERT_TRUE(WriteDebugKeyFile(strDir, today, DebugFlags{}));
    ASSERT_TRUE(ApplyDebugKeyFile(strDir, today));
    EXPECT_EQ(0u, GetPreference("Debug", "FindRoute", 1u));
    ClearPreferenceOverrides();
    EXPECT_EQ(1u, GetPreference("Debug", "FindRoute", 0u));
}

TEST(ShellTest, ConnectionChecksOfWhatAPersonTypes)
{
    uint32_t ulAddress = 0;
    EXPECT_TRUE(ParseInternetAddress(" 10.1.2.3 ", &ulAddress));
    EXPECT_EQ(0x0A010203u, ulAddress);
    for (const char* pszBad : {"10.1.2", "0.0.0.0", "10.1.2.256", "a.b.c.d", "10.1.2.3.4", ""})
    {
        EXPECT_FALSE(ParseInternetAddress(QLatin1String(pszBad), &ulAddress)) << pszBad;
    }
    EXPECT_EQ(0x00510102u, I2CAddressWord(0x51, 1, 2));
    EXPECT_TRUE(I2CAddressInRange(0x7F, true));
    EXPECT_FALSE(I2CAddressInRange(0x80, true));
    EXPECT_TRUE(I2CAddressInRange(0x3FF, false));
    EXPECT_FALSE(I2CAddressInRange(0x400, false));
    EXPECT_EQ(12u, BaudRates().size());
    // Without a bridge driver the PCIe tab says so; this machine has none.
    const SLinkList bridges = PcieBridges();
    if (bridges.entries.empty())
    {
        EXPECT_TRUE(bridges.strNotFound.startsWith("The Tsi721 device driver could not be loaded.") ||
                    bridges.strNotFound == "No PCIe Tsi721 boards found.");
    }
}

TEST(ShellTest, AServerMayBeTypedWithItsPortAndParametersFollowTheNumberEntryRule)
{
    uint32_t ulAddress = 0;
    uint16_t wPort = 1;
    QString strError;
    ASSERT_TRUE(ParseInternetTarget(" 127.0.0.1:15123 ", &ulAddress, &wPort, &strError));
    EXPECT_EQ(0x7F000001u, ulAddress);
    EXPECT_EQ(15123, wPort);
    ASSERT_TRUE(ParseInternetTarget("10.1.2.3", &ulAddress, &wPort, &strError));
    EXPECT_EQ(0x0A010203u, ulAddress);
    EXPECT_EQ(0, wPort) << "no port: the settings' server port";
    for (const char* pszBad : {"10.1.2.3:", "10.1.2.3:0", "10.1.2.3:65536", "10.1.2.3:1x", "10.1.2.3:-5"})
    {
        EXPECT_FALSE(ParseInternetTarget(QLatin1String(pszBad), &ulAddress, &wPort, &strError)) << pszBad;
        EXPECT_EQ(InvalidPortText(), strError) << pszBad;
    }
    for (const char* pszBad : {"10.1.2:80", "0.0.0.0:80", ":80", "host"})
    {
        EXPECT_FALSE(ParseInternetTarget(QLatin1String(pszBad), &ulAddress, &wPort, &strError)) << pszBad;
        EXPECT_EQ("Please enter a valid IP address.", strError.toStdString()) << pszBad;
    }

    // The parameters are the keys the links read, with the standard values as defaults.
    std::map<std::string, const SLinkParameter*> byKey;
    for (const SLinkParameter& parameter : LinkParameters())
    {
        byKey[parameter.pszKey] = &parameter;
    }
    for (const char* pszKey : {"ServerPort", "UdpLocalPort", "BroadcastAddress", "BroadcastPort",
                               "BroadcastReplyPort", "SearchWaitMs", "ReceiveWaitMs"})
    {
        ASSERT_EQ(1u, byKey.count(pszKey)) << pszKey;
    }
    const SLinkParameter& server = *byKey["ServerPort"];
    const SLinkParameter& address = *byKey["BroadcastAddress"];
    EXPECT_EQ("15000", LinkParameterText(server).toStdString());
    EXPECT_EQ("255.255.255.255", LinkParameterText(address).toStdString());
    EXPECT_EQ("10000", LinkParameterText(*byKey["ReceiveWaitMs"]).toStdString());
    uint32_t ulValue = 0;
    ASSERT_TRUE(ParseLinkParameter(server, "3A98h", &ulValue, &strError));
    EXPECT_EQ(15000u, ulValue);
    ASSERT_TRUE(ParseLinkParameter(server, "15_001", &ulValue, &strError));
    EXPECT_EQ(15001u, ulValue);
    EXPECT_FALSE(ParseLinkParameter(server, "15000x", &ulValue, &strError));
    EXPECT_EQ("Invalid data entry.", strError.toStdString());
    EXPECT_FALSE(ParseLinkParameter(server, "65536", &ulValue, &strError));
    EXPECT_EQ("Server port must lie in the range 1 to 65535.", strError.toStdString());
    EXPECT_FALSE(ParseLinkParameter(server, "0", &ulValue, &strError));
    EXPECT_TRUE(ParseLinkParameter(*byKey["UdpLocalPort"], "0", &ulValue, &strError)) << "any local port";
    EXPECT_FALSE(ParseLinkParameter(*byKey["ReceiveWaitMs"], "99", &ulValue, &strError));
    ASSERT_TRUE(ParseLinkParameter(address, "127.0.0.1", &ulValue, &strError));
    EXPECT_EQ(0x7F000001u, ulValue);
    EXPECT_FALSE(ParseLinkParameter(address, "127.0.0", &ulValue, &strError));
    EXPECT_EQ("Please enter a valid IP address.", strError.toStdString());
    // Stored as the links read them: the address dotted, numbers as numbers.
    StoreLinkParameter(address, 0x7F000001u);
    StoreLinkParameter(server, 15001);
    EXPECT_EQ("127.0.0.1", GetPreference("Preferences", "BroadcastAddress", QString()).toStdString());
    EXPECT_EQ(15001u, GetPreference("Preferences", "ServerPort", 0u));
    EXPECT_EQ("15001", LinkParameterText(server).toStdString());
    RemovePreference("Preferences", "BroadcastAddress");
    RemovePreference("Preferences", "ServerPort");
}

TEST(ShellTest, MenusHoldTheCommandSet)
{
    QStringList tops;
    for (const SMenuItem& menu : MainMenu())
    {
        tops << menu.strText;
    }
    EXPECT_EQ(
        QStringList({"File", "Edit", "View", "Target", "Network", "Settings", "Tools", "Help", "Debug"}),
        tops);
    const std::vector<QString> network = MenuTexts(MainMenu()[4].children);
    for (const char* pszText : {"Upload All from Target", "Generate All", "Create Reverse Route", "Small",
                                "Large", "Capture Active Map as Template", "Generate Routing Table Report"})
    {
        EXPECT_NE(network.end(), std::find(network.begin(), network.end(), QLatin1String(pszText)))
            << pszText;
    }
    // The generic performance monitor of the IDT switches, and the Tsi-578's own.
    EXPECT_EQ(eCmdPerformanceMonitor, DeviceMenuItems(0x0038, 0x0320).front().eCommand);
    EXPECT_EQ(eCmdTsi578PerformanceMonitor, DeviceMenuItems(0x000D, 0x0578).front().eCommand);
    EXPECT_EQ(2u, DeviceMenuItems(0x0038, 0x035C).size()); // Gen1 SPS: monitor and quad map
    EXPECT_TRUE(DeviceMenuItems(0x000D, 0x0568).empty());
    EXPECT_TRUE(PEPopupMenu(0xFFFF, 0xFFFF, kPETypeNull).empty());
}
} // namespace

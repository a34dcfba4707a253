// Initialisation scripts generated from enumerated maps: the order of the nodes, the actions and
// their comments, the errors a person can cause, and every output format byte for byte.
#include "NetInitScriptGen.h"

#include "ClientSimFixture.h"
#include "Discovery.h"
#include "RouteGeneration.h"

#include <QRegularExpression>

namespace nvtest
{
namespace
{
// host0 - sw1 - ep1 (port 2), one CPS-1848 with a table per port.
const char* const kOneSwitch = "device sw1 switch model=cps1848\ndevice ep1 endpoint device=0x1001 memory\n"
                               "host host0\nlink host0:0 sw1:0\nlink sw1:2 ep1:0\n";
// host0 - sw1 - sw2 - ep2; ep1 and ep3 on sw1.
const char* const kTwoSwitches =
    "device sw1 switch model=cps1848\ndevice sw2 switch model=cps1848\n"
    "device ep1 endpoint device=0x1001 memory\ndevice ep2 endpoint device=0x1002 memory\n"
    "device ep3 endpoint device=0x1003 memory\n"
    "host host0\nlink host0:0 sw1:0\nlink sw1:1 sw2:0\nlink sw1:2 ep1:0\nlink sw2:3 ep2:0\nlink sw1:4 "
    "ep3:0\n";

class CNetInitTest : public CClientSimTest
{
protected:
    void Discover(const char* pszFabric, bool bRoutes = true)
    {
        Load(std::string(kHostLine) + pszFabric);
        SDiscoveryRequest request;
        request.bEnumerate = true;
        request.bTryAllClockRates = false;
        ASSERT_EQ(0, StandardDiscovery(request, m_map, &m_host, {}));
        if (bRoutes)
        {
            GenerateRoutes(m_map);
        }
    }
    const CPEPrimitive* ByDevice(uint16_t wDevice) const
    {
        for (const auto& pPE : m_map.ActivePEs)
        {
            if (pPE->DeviceID == wDevice && !(pPE->uType & (kPETypeNull | kPETypeUnknown)))
            {
                return pPE.get();
            }
        }
        return nullptr;
    }
    CNetworkDocument m_map;
};

TEST_F(CNetInitTest, AnEnumeratedFabricGivesIDsTablesAndSpeedsInWalkOrder)
{
    Discover(kOneSwitch);
    CNetInitScriptGen gen(m_map);
    gen.BuildTree();
    gen.bComments = true;
    ASSERT_TRUE(gen.Generate(QStringLiteral("1")));
    // The switch is reached at hop 0 through the ID its tables route (5, the endpoint's), its port
    // 0 keeps its speed since the way to it comes in there, and the endpoint still answers to its
    // power-up ID FFh, which the switch is told to route towards it first.
    const QString strExpected =
        "# Set destination ID\r\n"
        "SETDEST Vendor:FFF0h Device:1h Dest:FFFFFFFFh Hop:0h ShortID:1h LongID:1h\r\n"
        "# Add routes for original (power-up) destID\r\n"
        "# Set destination ID\r\n"
        "SETDEST Vendor:38h Device:374h Dest:FFh Hop:0h ShortID:FFh LongID:0h\r\n"
        "# Initialize Port 0 routing table\r\n"
        "ROUTE Vendor:38h Device:374h Dest:5h Hop:0h Table:0h Target:5h Port:2h Type:3h Special:0h\r\n"
        "# Initialize Port 2 routing table\r\n"
        "ROUTE Vendor:38h Device:374h Dest:5h Hop:0h Table:2h Target:1h Port:0h Type:3h Special:0h\r\n"
        "# Set port speed\r\n"
        "SPEED Vendor:38h Device:374h Dest:5h Hop:0h Port:2h Speed:C35h\r\n"
        "# Add routes for original (power-up) destID\r\n"
        "ROUTE Vendor:38h Device:374h Dest:5h Hop:0h Table:0h Target:FFh Port:2h Type:3h Special:0h\r\n"
        "# Set destination ID\r\n"
        "SETDEST Vendor:FFF0h Device:1001h Dest:FFh Hop:1h ShortID:5h LongID:FFFFh\r\n";
    EXPECT_EQ(strExpected, gen.ScriptText());
    EXPECT_EQ(0, gen.ErrorCount());
    EXPECT_TRUE(gen.ErrorsText().isEmpty());
    EXPECT_FALSE(gen.ShowErrorsTab());

    // Without comments the actions stay and the comment records go; pre-initialised tables start
    // with INITRT.
    gen.bComments = false;
    gen.bPreInitRT = true;
    ASSERT_TRUE(gen.Generate(QStringLiteral("1")));
    QString strBare = strExpected;
    strBare.remove(QRegularExpression(QStringLiteral("# [^\r]*\r\n")));
    strBare.replace(QStringLiteral("ROUTE Vendor:38h Device:374h Dest:5h Hop:0h Table:0h Target:5h"),
                    QStringLiteral("INITRT Vendor:38h Device:374h Dest:5h Hop:0h Table:0h\r\n"
                                   "ROUTE Vendor:38h Device:374h Dest:5h Hop:0h Table:0h Target:5h"));
    strBare.replace(QStringLiteral("ROUTE Vendor:38h Device:374h Dest:5h Hop:0h Table:2h"),
                    QStringLiteral("INITRT Vendor:38h Device:374h Dest:5h Hop:0h Table:2h\r\n"
                                   "ROUTE Vendor:38h Device:374h Dest:5h Hop:0h Table:2h"));
    EXPECT_EQ(strBare, gen.ScriptText());
    EXPECT_EQ(9u, gen.Records().size()) << "no comment records without comments";
}

TEST_F(CNetInitTest, NodesFollowTheWalkFromTheHostsPortZeroIntoSwitchesOnly)
{
    Discover(kTwoSwitches);
    CNetInitScriptGen gen(m_map);
    std::vector<uint16_t> devices;
    for (const int iNode : gen.InitOrder(0))
    {
        devices.push_back(m_map.ActivePEs.GetByNodeNumber(iNode)->DeviceID);
    }
    EXPECT_EQ((std::vector<uint16_t>{0x0001, 0x0374, 0x0374, 0x1002, 0x1001, 0x1003}), devices);
    // From an endpoint other than node 1, the walk starts at that endpoint.
    const CPEPrimitive* pEp3 = ByDevice(0x1003);
    ASSERT_NE(nullptr, pEp3);
    const std::vector<int> fromEp3 = gen.InitOrder(pEp3->iNodeNumber);
    ASSERT_EQ(6u, fromEp3.size());
    EXPECT_EQ(pEp3->iNodeNumber, fromEp3[0]);
    EXPECT_EQ(0x0374, m_map.ActivePEs.GetByNodeNumber(fromEp3[1])->DeviceID);
}

TEST_F(CNetInitTest, ARefusedHostGeneratesNothing)
{
    Discover(kOneSwitch);
    CNetInitScriptGen gen(m_map);
    gen.BuildTree();
    for (const char* pszHost : {"0", "abc", "", "999"})
    {
        EXPECT_FALSE(gen.Generate(QString::fromLatin1(pszHost))) << pszHost;
        EXPECT_EQ(QStringLiteral("Please enter a valid host node number."), m_ui.messages.back());
    }
    EXPECT_FALSE(gen.Generate(QStringLiteral("2")));
    EXPECT_EQ(QStringLiteral("The Host PE must be an endpoint.  Please select an endpoint.\n"),
              m_ui.messages.back());
    EXPECT_TRUE(gen.Records().empty());
}

TEST_F(CNetInitTest, ErrorsAreCollectedAndTheRestIsGenerated)
{
    Discover(kOneSwitch, false);
    CNetInitScriptGen gen(m_map);
    gen.BuildTree();
    // Without tables only the host and its neighbour, at hop 0, can be reached: the endpoint fails
    // twice, and everything else is generated.
    ASSERT_TRUE(gen.Generate(QStringLiteral("1")));
    EXPECT_EQ(2, gen.ErrorCount());
    EXPECT_TRUE(gen.ShowErrorsTab());
    const QString strUnreachable = QStringLiteral(
        "Unable to initialize Node %1:  Unable to find a valid route to the PE.  Make sure routing "
        "tables are complete.\r\n"
        "Unable to initialize registers on Node %1:  Unable to find a valid route to the PE.  Make "
        "sure routing tables are complete.\r\n");
    const int iSwitch = ByDevice(0x0374)->iNodeNumber + 1;
    const int iEndpoint = ByDevice(0x1001)->iNodeNumber + 1;
    EXPECT_EQ(strUnreachable.arg(iEndpoint) + QStringLiteral("2 errors.\r\n"), gen.ErrorsText());
    ASSERT_EQ(3u, gen.Records().size()) << "the IDs of host and switch, the switch's port speed";
    EXPECT_EQ(uint32_t(eNVXL_ScrOpSetDest), gen.Records()[1].s.eOp);
    EXPECT_EQ(uint32_t(eNVXL_ScrOpSetSpeed), gen.Records()[2].s.eOp);

    GenerateRoutes(m_map);
    // A table that the map doesn't hold, checked by hand; and a register checked with no value.
    SInitTreeItem* pSwitch = gen.NodeItem(iSwitch - 1);
    ASSERT_NE(nullptr, pSwitch);
    SInitTreeItem* pRegister = nullptr;
    for (SInitTreeItem& child : pSwitch->children)
    {
        if (child.eKind == eInitItemRoutingTables)
        {
            ASSERT_GT(child.children.size(), 5u);
            EXPECT_FALSE(child.children[5].bChecked) << "no table for port 5 in the map";
            child.children[5].bChecked = true;
        }
        if (child.eKind == eInitItemRegisters && !child.children.empty())
        {
            SInitTreeItem* pGroup = &child.children[0];
            while (!pGroup->children.empty() && pGroup->children[0].eKind == eInitItemRegisterGroup)
            {
                pGroup = &pGroup->children[0];
            }
            ASSERT_FALSE(pGroup->children.empty());
            pRegister = &pGroup->children[0];
        }
    }
    ASSERT_NE(nullptr, pRegister) << "the switch's register file gives it registers";
    EXPECT_FALSE(pRegister->bChecked) << "no value was uploaded";
    pRegister->bChecked = true;
    ASSERT_TRUE(gen.Generate(QStringLiteral("1")));
    EXPECT_EQ(
        QStringLiteral("No routing table entries available for Node %1.\r\n"
                       "Unable to initialize register '%2': No value has been uploaded for this register.\r\n"
                       "2 errors.\r\n")
            .arg(iSwitch)
            .arg(pRegister->strRegisterName),
        gen.ErrorsText());

    // With a value the register is written; a read-only one is left out only when asked.
    CPEPrimitive* pSwitchPE = m_map.ActivePEs.GetByNodeNumber(iSwitch - 1);
    pSwitchPE->SavedRegisters.SetValue(pRegister->ulOffset, 0xC0FFEE, false);
    pSwitch->children[0].bChecked = false; // the ID
    gen.bComments = true;
    gen.eFormat = eInitFormatIdt;
    ASSERT_TRUE(gen.Generate(QStringLiteral("1")));
    EXPECT_EQ(1, gen.ErrorCount()) << gen.ErrorsText().toStdString();
    EXPECT_TRUE(
        gen.ScriptText().contains(QStringLiteral("// Initialize '%1'\r\n").arg(pRegister->strRegisterName) +
                                  QString::asprintf("W %X C0FFEE\r\n", pRegister->ulOffset)))
        << gen.ScriptText().toStdString();
    pRegister->bReadOnly = true;
    gen.bExcludeRO = true;
    ASSERT_TRUE(gen.Generate(QStringLiteral("1")));
    EXPECT_FALSE(gen.ScriptText().contains(QStringLiteral("C0FFEE")));
}

TEST_F(CNetInitTest, UncheckedItemsGiveNothingAndNodesStillGiveTheirChildren)
{
    Discover(kOneSwitch);
    CNetInitScriptGen gen(m_map);
    gen.BuildTree();
    SInitTreeItem* pSwitch = gen.NodeItem(ByDevice(0x0374)->iNodeNumber);
    pSwitch->SetChecked(false);
    for (const SInitTreeItem& child : pSwitch->children)
    {
        EXPECT_FALSE(child.bChecked) << "the check rolls down";
    }
    ASSERT_TRUE(gen.Generate(QStringLiteral("1")));
    // Only the endpoint's temporary route goes to the switch.
    EXPECT_EQ(1, gen.ScriptText().count(QStringLiteral("Device:374h")));
    EXPECT_TRUE(gen.ScriptText().contains(QStringLiteral("Target:FFh")));
    pSwitch->bChecked = true;
    pSwitch->children[0].bChecked = true; // its ID only
    ASSERT_TRUE(gen.Generate(QStringLiteral("1")));
    EXPECT_EQ(2, gen.ScriptText().count(QStringLiteral("Device:374h")));
    EXPECT_TRUE(gen.ScriptText().contains(QStringLiteral("SETDEST Vendor:38h Device:374h")));
    gen.NodeItem(ByDevice(0x1001)->iNodeNumber)->bChecked = false;
    ASSERT_TRUE(gen.Generate(QStringLiteral("1")));
    EXPECT_TRUE(gen.ScriptText().contains(QStringLiteral("SETDEST Vendor:FFF0h Device:1001h")))
        << "an unchecked node's checked children are generated";
}

std::vector<SInitScriptRecord> SampleRecords()
{
    std::vector<SInitScriptRecord> records(7);
    records[0].strComment = QStringLiteral("Set destination ID");
    records[0].s = {eNVXL_ScrOpSetDest, 0x38, 0x374, 0xFFFFFFFF, 0, {}};
    records[0].s.u.sSetDest = {0x1, 0xABCD};
    records[1].strComment = QStringLiteral("a comment alone");
    records[2].strComment = QStringLiteral("Initialize 'Port 0 Control'");
    records[2].s = {eNVXL_ScrOpMaintW, 0x38, 0x374, 0, 1, {}};
    records[2].s.u.sMaint = {0x15C, 0xD0600001};
    records[3].s = {eNVXL_ScrOpRoute, 0x38, 0x374, 0x5, 12, {}};
    records[3].s.u.sRoute = {255, 3, 0x14, 0x7, 7};
    records[4].s = {eNVXL_ScrOpSetSpeed, 0x38, 0x374, 0x5, 0, {}};
    records[4].s.u.sPortSettings = {2, 3125};
    records[5].s = {eNVXL_ScrOpInitRT, 0x38, 0x374, 0x5, 0, {}};
    records[5].s.u.sRoutingTable = {4};
    records[6].s = {eNVXL_ScrOpMaintW, 0x38, 0x374, 0, 1, {}};
    records[6].s.u.sMaint = {0x60, 0x00FF0005};
    return records;
}

TEST(InitScriptFormats, EachFormatByteForByte)
{
    std::vector<SInitScriptRecord> records = SampleRecords();
    EXPECT_EQ(
        QStringLiteral("# Set destination ID\r\n"
                       "SETDEST Vendor:38h Device:374h Dest:FFFFFFFFh Hop:0h ShortID:1h LongID:ABCDh\r\n"
                       "# a comment alone\r\n"
                       "# Initialize 'Port 0 Control'\r\n"
                       "MAINTW Vendor:38h Device:374h Dest:0h Hop:1h Offset:15Ch Value:D0600001h\r\n"
                       "ROUTE Vendor:38h Device:374h Dest:5h Hop:Ch Table:FFh Target:14h Port:3h Type:7h "
                       "Special:7h\r\n"
                       "SPEED Vendor:38h Device:374h Dest:5h Hop:0h Port:2h Speed:C35h\r\n"
                       "INITRT Vendor:38h Device:374h Dest:5h Hop:0h Table:4h\r\n"
                       "MAINTW Vendor:38h Device:374h Dest:0h Hop:1h Offset:60h Value:FF0005h\r\n"),
        FormatInitScript(records, eInitFormatScript));
    EXPECT_EQ(
        QStringLiteral("NVXL_SCRIPTCOMMANDSTRUCT asScript[] = {\r\n"
                       "\t/* Set destination ID */\r\n"
                       "\t{\r\n\t\t.eOp=eNVXL_ScrOpSetDest,\r\n\t\t.wVendor=0x38,\r\n\t\t.wDevice=0x374,\r\n"
                       "\t\t.ulDest=0xFFFFFFFF,\r\n\t\t.byHop=0,\r\n\t\t.u.sSetDest=\r\n\t\t{\r\n"
                       "\t\t\t.wShortID=0x1,\r\n\t\t\t.wLongID=0xABCD,\r\n\t\t}\r\n\t},\r\n"
                       "\t/* a comment alone */\r\n"
                       "\t/* Initialize 'Port 0 Control' */\r\n"
                       "\t{\r\n\t\t.eOp=eNVXL_ScrOpMaintW,\r\n\t\t.wVendor=0x38,\r\n\t\t.wDevice=0x374,\r\n"
                       "\t\t.ulDest=0x0,\r\n\t\t.byHop=1,\r\n\t\t.u.sMaint=\r\n\t\t{\r\n"
                       "\t\t\t.ulOffset=0x15C,\r\n\t\t\t.ulValue=0xD0600001,\r\n\t\t}\r\n\t},\r\n"
                       "\t{\r\n\t\t.eOp=eNVXL_ScrOpRoute,\r\n\t\t.wVendor=0x38,\r\n\t\t.wDevice=0x374,\r\n"
                       "\t\t.ulDest=0x5,\r\n\t\t.byHop=12,\r\n\t\t.u.sRoute=\r\n\t\t{\r\n"
                       "\t\t\t.byTable=0xFF,\r\n\t\t\t.byPort=0x3,\r\n\t\t\t.wTarget=0x14,\r\n"
                       "\t\t\t.ulSpecial=0x7,\r\n\t\t}\r\n\t},\r\n"
                       "\t{\r\n\t\t.eOp=eNVXL_ScrOpSetSpeed,\r\n\t\t.wVendor=0x38,\r\n\t\t.wDevice=0x374,\r\n"
                       "\t\t.ulDest=0x5,\r\n\t\t.byHop=0,\r\n\t\t.u.sPortSettings=\r\n\t\t{\r\n"
                       "\t\t\t.byPort=0x2,\r\n\t\t\t.wSpeedMHz=0xC35,\r\n\t\t}\r\n\t},\r\n"
                       "\t{\r\n\t\t.eOp=eNVXL_ScrOpInitRT,\r\n\t\t.wVendor=0x38,\r\n\t\t.wDevice=0x374,\r\n"
                       "\t\t.ulDest=0x5,\r\n\t\t.byHop=0,\r\n\t\t.u.sRoutingTable=\r\n\t\t{\r\n"
                       "\t\t\t.byTable=0x4,\r\n\t\t}\r\n\t},\r\n"
                       "\t{\r\n\t\t.eOp=eNVXL_ScrOpMaintW,\r\n\t\t.wVendor=0x38,\r\n\t\t.wDevice=0x374,\r\n"
                       "\t\t.ulDest=0x0,\r\n\t\t.byHop=1,\r\n\t\t.u.sMaint=\r\n\t\t{\r\n"
                       "\t\t\t.ulOffset=0x60,\r\n\t\t\t.ulValue=0xFF0005,\r\n\t\t}\r\n\t},\r\n"
                       "};\r\n#define NUMSCRIPTENTRIES 6\r\n"),
        FormatInitScript(records, eInitFormatHeader))
        << "a type above 5 gives no eType line, and the comment record no block";
    EXPECT_EQ(
        QStringLiteral("// Set destination ID\r\n// a comment alone\r\n// Initialize 'Port 0 Control'\r\n"
                       "W 15C D0600001\r\nW 60 FF0005\r\n"),
        FormatInitScript(records, eInitFormatIdt));
    // S3, 9 bytes: address, value big-endian, checksum ~(09+00+00+01+5C+D0+60+00+01) = 0x68.
    EXPECT_EQ(
        QStringLiteral("// Set destination ID\r\n// a comment alone\r\n// Initialize 'Port 0 Control'\r\n"
                       "S3090000015CD060000168\r\nS3090000006000FF000592\r\n"),
        FormatInitScript(records, eInitFormatSRecord));
    EXPECT_EQ(QStringLiteral("Set destination ID\r\na comment alone\r\nInitialize 'Port 0 Control'\r\n"
                             "00015C,D0600001\r\n000060,00FF0005\r\n"),
              FormatInitScript(records, eInitFormatCsv));

    records[3].s.u.sRoute.eType = eNVXL_RouteTypeMCast;
    EXPECT_TRUE(FormatInitScript(records, eInitFormatHeader)
                    .contains(QStringLiteral("\t\t\t.eType=eNVXL_RouteTypeMCast,\r\n")));
    EXPECT_EQ(
        QStringLiteral("NVXL_SCRIPTCOMMANDSTRUCT asScript[] = {\r\n};\r\n#define NUMSCRIPTENTRIES 0\r\n"),
        FormatInitScript({}, eInitFormatHeader));
    EXPECT_EQ(QString(), FormatInitScript({}, eInitFormatScript));
}
} // namespace
} // namespace nvtest

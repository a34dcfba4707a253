// Initialisation scripts read back and played: a script generated from an enumerated map, played on
// a fresh fabric of the same topology, leaves the IDs and routes the enumeration and the table
// download left.
#include "InitScriptPlayer.h"

#include "ClientSimFixture.h"
#include "Discovery.h"
#include "NetInitScriptGen.h"
#include "RouteGeneration.h"
#include "TableTransfer.h"

namespace nvtest
{
namespace
{
TEST(InitScriptReader, TakesTheScriptFormatAndNamesTheFirstLineThatDoesNotFit)
{
    std::vector<NVXL_SCRIPTCOMMANDSTRUCT> records;
    int iBad = 0;
    ASSERT_TRUE(
        ParseInitScript(QStringLiteral("# Set destination ID\r\n"
                                       "SETDEST Vendor:38h Device:374h Dest:FFFFFFFFh Hop:0h ShortID:1h "
                                       "LongID:1h\r\n"
                                       "\r\n"
                                       "NOP anything at all\n"
                                       "ROUTE Vendor:38h Device:374h Dest:5h Hop:2h Table:FFh Target:14h "
                                       "Port:3h Type:5h Special:7h\n"
                                       "MAINTW Device:374h Vendor:38h Dest:0h Hop:1h Offset:15Ch "
                                       "Value:D0600001h\n"
                                       "SPEED Vendor:38h Device:374h Dest:5h Hop:0h Port:2h Speed:3125\n"
                                       "INITRT Vendor:38h Device:374h Dest:5h Hop:0h Table:4h"),
                        &records, &iBad));
    ASSERT_EQ(5u, records.size());
    EXPECT_EQ(uint32_t(eNVXL_ScrOpSetDest), records[0].eOp);
    EXPECT_EQ(0xFFFFFFFFu, records[0].ulDest);
    EXPECT_EQ(0x14, records[1].u.sRoute.wTarget);
    EXPECT_EQ(0xFF, records[1].u.sRoute.byTable);
    EXPECT_EQ(5u, records[1].u.sRoute.eType);
    EXPECT_EQ(7u, records[1].u.sRoute.ulSpecial);
    EXPECT_EQ(2, records[1].byHop);
    EXPECT_EQ(0xD0600001u, records[2].u.sMaint.ulValue) << "fields in any order";
    EXPECT_EQ(3125, records[3].u.sPortSettings.wSpeedMHz) << "a number without h is decimal";
    EXPECT_EQ(4, records[4].u.sRoutingTable.byTable);

    const std::vector<std::pair<const char*, int>> bad = {
        {"SETDEST Vendor:38h Device:374h Dest:0h Hop:0h ShortID:1h", 1},                // LongID missing
        {"# fine\nMAINTW Vendor:38h Device:374h Dest:0h Hop:0h Offset:XYZ Value:1", 2}, // not a number
        {"\n\nINITRT Vendor:38h Device:374h Dest:0h Hop:0h Table:1h Port:2h", 3},       // a field too many
        {"WRITE Vendor:38h Device:374h Dest:0h Hop:0h", 1},                             // no such keyword
        {"SPEED Vendor:38h Device:374h Dest:0h Hop:0h Port 2h Speed:1", 1},             // no colon
        {"MAINTW Vendor:38h Device:374h Dest:100000000h Hop:0h Offset:0 Value:0", 1},   // beyond 32 bits
    };
    for (const auto& [pszText, iLine] : bad)
    {
        iBad = 0;
        EXPECT_FALSE(ParseInitScript(QString::fromLatin1(pszText), &records, &iBad)) << pszText;
        EXPECT_EQ(iLine, iBad) << pszText;
    }
}

const char* const kTopology =
    "device sw1 switch model=cps1848\ndevice sw2 switch model=cps1848\n"
    "device ep1 endpoint device=0x1001 memory\ndevice ep2 endpoint device=0x1002 memory\n"
    "device ep3 endpoint device=0x1003 memory\n"
    "host host0\nlink host0:0 sw1:0\nlink sw1:1 sw2:0\nlink sw1:2 ep1:0\nlink sw2:3 ep2:0\nlink sw1:4 ep3:0\n"
    "link sw2:5 sw1:5\n";

// What a fabric's devices answer to and how its switches route: base IDs of every device, and the
// port every switch sends each ID to from each port. The all-ones ID is left out: both ways of
// setting up a fabric leave their temporary routes for it. A switch's 16-bit ID is left out in this
// 8-bit fabric: the map holds 0 for it (the walk records the width not in use as 0), so the script
// writes 0 where the enumeration never wrote.
std::map<std::string, std::vector<int>> FabricState(nvsim::CSimFabric& fabric)
{
    std::map<std::string, std::vector<int>> state;
    for (nvsim::CSimDevice* pDevice : fabric.Devices())
    {
        std::vector<int>& values = state[pDevice->Name()];
        values = {static_cast<int>(pDevice->BaseDeviceId(false))};
        if (!pDevice->IsSwitch())
        {
            values.push_back(static_cast<int>(pDevice->BaseDeviceId(true)));
            continue;
        }
        for (uint8_t uchIn = 0; uchIn < pDevice->PortCount(); ++uchIn)
        {
            for (uint32_t ulID = 0; ulID < 0xFF; ++ulID)
            {
                uint8_t uchOut = 0;
                values.push_back(pDevice->Route(ulID, false, uchIn, &uchOut) ? uchOut : -1);
            }
        }
    }
    return state;
}

class CInitScriptPlayTest : public CClientSimTest
{
};

TEST_F(CInitScriptPlayTest, AGeneratedScriptOnAFreshFabricLeavesWhatTheEnumerationLeft)
{
    for (const bool bPreInit : {false, true})
    {
        Load(std::string(kHostLine) + kTopology);
        CNetworkDocument map;
        SDiscoveryRequest request;
        request.bEnumerate = true;
        request.bTryAllClockRates = false;
        ASSERT_EQ(0, StandardDiscovery(request, map, &m_host, {}));
        GenerateRoutes(map);
        m_ui.answers = {eAnswerNo};
        ASSERT_EQ(2, DownloadAllTables(map));
        const auto discovered = FabricState(*m_pFabric);

        CNetInitScriptGen gen(map);
        gen.BuildTree();
        gen.bComments = true;
        gen.bPreInitRT = bPreInit;
        ASSERT_TRUE(gen.Generate(QStringLiteral("1")));
        ASSERT_EQ(0, gen.ErrorCount()) << gen.ErrorsText().toStdString();
        std::vector<NVXL_SCRIPTCOMMANDSTRUCT> records;
        int iBad = 0;
        ASSERT_TRUE(ParseInitScript(gen.ScriptText(), &records, &iBad)) << iBad;

        Load(std::string(kHostLine) + kTopology);
        const auto fresh = FabricState(*m_pFabric);
        ASSERT_NE(discovered, fresh) << "the test must start from a fabric that differs";
        int iFailed = 0;
        ASSERT_EQ(0, PlayScript(records, &iFailed)) << "action " << iFailed << "\n"
                                                    << gen.ScriptText().toStdString();
        EXPECT_EQ(-1, iFailed);
        EXPECT_EQ(discovered, FabricState(*m_pFabric)) << (bPreInit ? "pre-initialised" : "entry by entry");
    }
}

TEST_F(CInitScriptPlayTest, TheFirstFailureEndsThePlayAndCollectedRoutesAreStoredAtTheEnd)
{
    Load(std::string(kHostLine) + kTopology);
    std::vector<NVXL_SCRIPTCOMMANDSTRUCT> records;
    int iBad = 0;
    // sw1 is reached at hop 0; its table for port 2 is collected, then stored when the script ends.
    ASSERT_TRUE(
        ParseInitScript(QStringLiteral("SETDEST Vendor:FFF0h Device:1h Dest:FFFFFFFFh Hop:0h ShortID:1h "
                                       "LongID:1h\n"
                                       "INITRT Vendor:38h Device:374h Dest:FFh Hop:0h Table:2h\n"
                                       "ROUTE Vendor:38h Device:374h Dest:FFh Hop:0h Table:2h Target:1h "
                                       "Port:0h Type:3h Special:0h\n"
                                       "ROUTE Vendor:38h Device:374h Dest:FFh Hop:0h Table:2h Target:7h "
                                       "Port:4h Type:3h Special:0h\n"),
                        &records, &iBad));
    m_pTransport->bRecord = true;
    int iFailed = 0;
    ASSERT_EQ(0, PlayScript(records, &iFailed));
    nvsim::CSimDevice& sw1 = m_pFabric->Device("sw1");
    uint8_t uchOut = 0;
    ASSERT_TRUE(sw1.Route(7, false, 2, &uchOut));
    EXPECT_EQ(4, uchOut);
    ASSERT_TRUE(sw1.Route(1, false, 2, &uchOut));
    EXPECT_EQ(0, uchOut);
    EXPECT_FALSE(sw1.Route(7, false, 1, &uchOut)) << "only port 2's table";

    // An endpoint that isn't there: the play stops at that action.
    ASSERT_TRUE(
        ParseInitScript(QStringLiteral("MAINTW Vendor:FFF0h Device:1h Dest:FFFFFFFFh Hop:0h Offset:6Ch "
                                       "Value:1\n"
                                       "MAINTW Vendor:FFF0h Device:1001h Dest:33h Hop:5h Offset:6Ch Value:2\n"
                                       "MAINTW Vendor:FFF0h Device:1h Dest:FFFFFFFFh Hop:0h Offset:6Ch "
                                       "Value:3\n"),
                        &records, &iBad));
    EXPECT_NE(0, PlayScript(records, &iFailed));
    EXPECT_EQ(1, iFailed);
    uint32_t ulTag = 0;
    ASSERT_EQ(0, m_pFabric->MaintRead(0, 0xFFFFFFFF, 0, 0x6C, &ulTag, 1, 4, 4, false));
    EXPECT_EQ(1u, ulTag) << "nothing after the failure ran";
}
} // namespace
} // namespace nvtest

// The journal of routing table changes: off until enabled, one entry for each table an entry of
// changed in (a CPS-1848's broadcast table reaches every port's), nothing for a write that leaves
// the entry as it was, and the same for a switch with one table reached through another.
#include "SimTestUtil.h"

#include "nvsim/Fabric.h"
#include "nvsim/StdDevice.h"

#include <gtest/gtest.h>

namespace
{
using nvsim::reg::kRouteDestId;
using nvsim::reg::kRoutePort;

constexpr uint32_t kAllOnes = 0xFF;

TEST(RouteJournal, RecordsEachChangedEntryOfEveryTableAndNothingElse)
{
    auto pFabric = simtest::ShippedFabric("inservice.topo");
    ASSERT_TRUE(pFabric);
    nvsim::CRouteJournal& journal = pFabric->RouteJournal();
    // Off: a change goes unrecorded.
    simtest::WriteOk(*pFabric, kAllOnes, 0, kRouteDestId, 0x33);
    simtest::WriteOk(*pFabric, kAllOnes, 0, kRoutePort, 2);
    EXPECT_TRUE(journal.Entries().empty());

    journal.Enable(true);
    simtest::WriteOk(*pFabric, kAllOnes, 0, kRouteDestId, 0x34);
    simtest::WriteOk(*pFabric, kAllOnes, 0, kRoutePort, 5);
    // The CPS-1848's standard route registers write its broadcast table: every port's table.
    ASSERT_EQ(18u, journal.Entries().size()) << journal.Text();
    for (size_t i = 0; i < journal.Entries().size(); ++i)
    {
        const nvsim::SRouteWrite& write = journal.Entries()[i];
        EXPECT_EQ("sw1", write.strSwitch);
        EXPECT_EQ(static_cast<int>(i), write.nTable);
        EXPECT_EQ(0x34u, write.ulDestId);
        EXPECT_EQ(0xDE, write.uchOld) << "the reset value: use the default port";
        EXPECT_EQ(5, write.uchNew);
    }
    EXPECT_EQ(0u, journal.Text().find("sw1 table 0 id 0x34: 0xde -> 0x05\n"));
    // Written again with what it holds: nothing changed, nothing recorded; a read neither.
    simtest::WriteOk(*pFabric, kAllOnes, 0, kRoutePort, 5);
    EXPECT_EQ(5u, simtest::ReadOk(*pFabric, kAllOnes, 0, kRoutePort));
    EXPECT_EQ(18u, journal.Entries().size());

    // The 70K2000 behind sw1's port 3, reached at hop 1 once sw1 routes the all-ones ID there.
    journal.Clear();
    simtest::WriteOk(*pFabric, kAllOnes, 0, kRouteDestId, kAllOnes);
    simtest::WriteOk(*pFabric, kAllOnes, 0, kRoutePort, 3);
    journal.Clear();
    simtest::WriteOk(*pFabric, kAllOnes, 1, kRouteDestId, 0x0F);
    simtest::WriteOk(*pFabric, kAllOnes, 1, kRoutePort, 2);
    ASSERT_EQ(1u, journal.Entries().size()) << journal.Text();
    EXPECT_EQ("sw2", journal.Entries()[0].strSwitch);
    EXPECT_EQ(0, journal.Entries()[0].nTable);
    EXPECT_EQ(0x0Fu, journal.Entries()[0].ulDestId);
    EXPECT_EQ(1, journal.Entries()[0].uchOld) << "the topology's entry for dsp2";
    EXPECT_EQ(2, journal.Entries()[0].uchNew);
}
} // namespace

// The node methods on a small map built by hand: node numbers from 1, the host, the route search
// through the map's tables, and the kinds of element that have no destination ID.
#include "AutomationTestSupport.h"
#include "RoutingMaps.h"

using autotest::Call;
using autotest::N;
using autotest::SOutcome;

namespace
{
// The two-switch tree: switch 0, endpoints 1 and 2 (IDs 1, 2), switch 3 (per-port tables),
// endpoints 4 and 5 (IDs 3, 4); endpoint 1 is the host. Node 6 is a Null PE behind switch 3.
// Node numbers as people see them are one more.
struct SNodeMap
{
    routemaps::SBuilder map;
    bool bConnected = true;
    CAutomation automation{
        SAutomationHooks{[this] { return bConnected; }, [this] { return &map.doc; }, {}, {}, {}, {}}};

    SNodeMap()
    {
        routemaps::Tree(map);
        map.PE(1).bHasHostLink = true;
        map.PE(1).bHostLinkOpen = true;
        const int iNull = map.Null();
        map.Link(3, 3, iNull, 0);
    }
    SOutcome Run(const char* pszMethod, int64_t nNode) { return Call(automation, pszMethod, {N(nNode)}); }
};
} // namespace

TEST(AutomationNodes, NodesCountFromOneAndAreReachedThroughTheMapsTables)
{
    SNodeMap m;
    // The host itself: its own ID, no hops.
    EXPECT_EQ(1, m.Run("GetDestIDForNode", 2).value.nValue);
    EXPECT_EQ(0, m.Run("GetHopCountForNode", 2).value.nValue);
    // Endpoint 2 (node 3) behind switch 0; endpoint ID 3 (node 5) behind both switches.
    EXPECT_EQ(2, m.Run("GetDestIDForNode", 3).value.nValue);
    EXPECT_EQ(1, m.Run("GetHopCountForNode", 3).value.nValue);
    EXPECT_EQ(3, m.Run("GetDestIDForNode", 5).value.nValue);
    EXPECT_EQ(2, m.Run("GetHopCountForNode", 5).value.nValue);

    // No node 0, nothing past the last node, and the Null PE has no ID.
    for (int64_t nNode : {0, 8, 7}) // 7 is the Null PE
    {
        for (const char* pszMethod : {"GetDestIDForNode", "GetHopCountForNode"})
        {
            const SOutcome outcome = m.Run(pszMethod, nNode);
            EXPECT_FALSE(outcome.bOk);
            EXPECT_EQ(-10000, outcome.error.nStatus) << pszMethod << " " << nNode;
        }
    }
    // A deleted PE is gone.
    m.map.PE(4).bDeleted = true;
    EXPECT_EQ(-10000, m.Run("GetDestIDForNode", 5).error.nStatus);
    m.map.PE(4).bDeleted = false;

    // An endpoint that no table routes to has no route.
    const int iUnrouted = m.map.Endpoint(9);
    m.map.Link(0, 3, iUnrouted, 0);
    const SOutcome noRoute = m.Run("GetDestIDForNode", iUnrouted + 1);
    EXPECT_FALSE(noRoute.bOk);
    EXPECT_EQ(-28, noRoute.error.nStatus);

    // No host: not connected to the network.
    m.map.PE(1).bHostLinkOpen = false;
    EXPECT_EQ(-38, m.Run("GetDestIDForNode", 3).error.nStatus);
}

TEST(AutomationNodes, TheNodeListHasOneElementPerPEWithItsIndexAndTypeFlags)
{
    SNodeMap m;
    m.map.PE(2).bDeleted = true;
    const SOutcome outcome = Call(m.automation, "GetNodeList");
    ASSERT_TRUE(outcome.bOk);
    EXPECT_EQ(eVtArray | eVtI4, outcome.value.vt);
    EXPECT_EQ((std::vector<int64_t>{(0 << 16) + kPETypeSwitch, (1 << 16) + kPETypeProcessor,
                                    (3 << 16) + kPETypeSwitch, (4 << 16) + kPETypeProcessor,
                                    (5 << 16) + kPETypeProcessor}),
              outcome.Numbers())
        << "the deleted PE and the Null PE are left out";
}

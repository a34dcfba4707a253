// The Initialize Network command on the in-process simulator: its questions and working window,
// the active map it makes from the template, and the active map it leaves alone when the fabric
// doesn't fit the template.
#include "ClientSimFixture.h"
#include "Discovery.h"
#include "InitNetwork.h"
#include "RouteGeneration.h"

namespace nvtest
{
namespace
{
std::string Fabric(const char* pszEp2Device = "0x1002")
{
    return std::string(kHostLine) +
           "device sw1 switch model=cps1848\ndevice sw2 switch model=cps1848\n"
           "device ep1 endpoint device=0x1001 memory\ndevice ep2 endpoint device=" +
           pszEp2Device +
           " memory\n"
           "host host0\nlink host0:0 sw1:0\nlink sw1:1 sw2:0\nlink sw1:2 ep1:0\nlink sw2:3 ep2:0\n";
}

class CInitNetworkClientTest : public CClientSimTest
{
protected:
    // A map whose template is an enumerated, routed copy of Fabric(), with a name on ep1 and a
    // placed drawing object, and whose active map is something else.
    void MakeTemplate()
    {
        Load(Fabric());
        SDiscoveryRequest request;
        request.bEnumerate = true;
        request.bTryAllClockRates = false;
        request.ulFirstDestID = 0x30;
        ASSERT_EQ(0, StandardDiscovery(request, m_map, &m_host, {}));
        GenerateAllRoutesCommand(m_map, false, false);
        for (const auto& pPE : m_map.ActivePEs)
        {
            if (pPE->DeviceID == 0x1001)
            {
                pPE->CommonName = QStringLiteral("left board");
                m_iEp1 = pPE->iNodeNumber;
            }
        }
        m_map.Views.front()->pNodes.FindPENode(m_iEp1)->Move(730, 410);
        m_map.CopyActiveToTemplate();
        m_map.ActivePEs.RemoveAll();
        m_map.ActiveConnections.RemoveAll();
        m_map.Views.front()->pNodes.RemoveAll();
        m_map.Views.front()->pEdges.RemoveAll();
        m_ui.questions.clear();
        m_ui.messages.clear();
    }

    CNetworkDocument m_map;
    int m_iEp1 = -1;
};

TEST_F(CInitNetworkClientTest, TheCommandAsksInitialisesAndMakesTheTemplateTheActiveMap)
{
    MakeTemplate();
    Load(Fabric());
    m_ui.answers = {eAnswerYes, eAnswerYes};
    bool bInitialised = false;
    EXPECT_EQ(0, InitializeNetworkCommand(m_map, &m_host, false, &bInitialised));
    EXPECT_TRUE(bInitialised);
    ASSERT_GE(m_ui.questions.size(), 2);
    EXPECT_EQ(QStringLiteral("Perform network initialization?"), m_ui.questions[0]);
    EXPECT_EQ(QStringLiteral("Enable logging?"), m_ui.questions[1]);
    EXPECT_TRUE(m_ui.workTitles.contains(QStringLiteral("Network Initialization")));
    EXPECT_TRUE(m_ui.workLines.contains(QStringLiteral("Downloading routing table for port 0 to node 2\n")))
        << m_ui.workLines.join(QString()).toStdString();
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join('\n').toStdString();

    // The active map is the template as found: same PEs and IDs, its tables, its name, its place.
    EXPECT_EQ(m_map.TemplatePEs.GetCount(), m_map.ActivePEs.GetCount());
    const CPEPrimitive* pEp1 = m_map.ActivePEs.GetByNodeNumber(m_iEp1);
    ASSERT_TRUE(pEp1);
    EXPECT_EQ(QStringLiteral("left board"), pEp1->CommonName);
    EXPECT_EQ(m_map.TemplatePEs.GetByNodeNumber(m_iEp1)->ShortDestID, pEp1->ShortDestID);
    EXPECT_EQ(pEp1->ShortDestID, (m_pFabric->Device("ep1").Reg(0x60) >> 16) & 0xFFu);
    const CDrawPE* pNode = m_map.Views.front()->pNodes.FindPENode(m_iEp1);
    ASSERT_TRUE(pNode);
    EXPECT_EQ(730, pNode->iXPos);
    EXPECT_EQ(410, pNode->iYPos);
    const CPEPrimitive* pSw1 = m_map.ActivePEs.GetByNodeNumber(1);
    ASSERT_TRUE(pSw1 && pSw1->RoutingTables[0]);
    EXPECT_EQ(m_map.TemplatePEs.GetByNodeNumber(1)->RoutingTables[0]->Entries().size(),
              pSw1->RoutingTables[0]->Entries().size());
    EXPECT_TRUE(m_map.ActivePEs.GetByNodeNumber(0)->bHasHostLink);
}

TEST_F(CInitNetworkClientTest, WithoutATemplateOrWithNoNothingIsDone)
{
    Load(Fabric());
    bool bInitialised = true;
    EXPECT_EQ(0, InitializeNetworkCommand(m_map, &m_host, false, &bInitialised));
    EXPECT_FALSE(bInitialised);
    EXPECT_EQ(QStringList{QStringLiteral(
                  "You must have a template map in order to perform network initialization.")},
              m_ui.messages);
    EXPECT_TRUE(m_ui.questions.isEmpty());

    MakeTemplate();
    Load(Fabric());
    m_pTransport->bRecord = true;
    m_ui.answers = {eAnswerNo};
    EXPECT_EQ(0, InitializeNetworkCommand(m_map, &m_host, false, &bInitialised));
    EXPECT_FALSE(bInitialised);
    EXPECT_TRUE(m_pTransport->accesses.empty());
    EXPECT_TRUE(m_map.ActivePEs.IsEmpty());
}

TEST_F(CInitNetworkClientTest, AFabricThatDoesNotFitShowsWhyAndKeepsTheActiveMap)
{
    MakeTemplate();
    Load(Fabric("0x100A"));
    m_ui.answers = {eAnswerYes, eAnswerNo};
    bool bInitialised = true;
    EXPECT_NE(0, InitializeNetworkCommand(m_map, &m_host, false, &bInitialised));
    EXPECT_FALSE(bInitialised);
    ASSERT_EQ(1, m_ui.messages.size()) << m_ui.messages.join('\n').toStdString();
    EXPECT_TRUE(m_ui.messages[0].startsWith(
        QStringLiteral("PE device/vendor IDs do not match network template.\nNode ")))
        << m_ui.messages[0].toStdString();
    EXPECT_TRUE(m_ui.messages[0].endsWith(QStringLiteral("is DeviceID=100Ah VendorID=FFF0h.")))
        << m_ui.messages[0].toStdString();
    EXPECT_TRUE(m_map.ActivePEs.IsEmpty()) << "a failed initialisation leaves the active map";
    EXPECT_TRUE(m_ui.workLines.filter(QStringLiteral("Downloading")).isEmpty())
        << "the log was not asked for";
}
} // namespace
} // namespace nvtest

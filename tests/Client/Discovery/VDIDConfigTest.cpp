// Virtual destination IDs of a PE: what the configuration lets a person choose and type, the IDs it
// picks by itself, and the update that takes them to a simulated fabric, after which the PE answers
// to them.
#include "VDIDConfig.h"
#include "ClientSimFixture.h"
#include "Discovery.h"
#include "FFRoutes.h"
#include "RouteSearch.h"
#include "models/Vendor30.h"

#include <QCoreApplication>

namespace nvtest
{
namespace
{
// A PE on a hand-made map, with its primary ID.
CPEPrimitive* AddPE(CPEList& PEs, uint32_t uType, uint16_t wID, bool bUsesID = true)
{
    auto pPE = std::make_unique<CPEPrimitive>();
    pPE->iNodeNumber = PEs.GetCount();
    pPE->uType = uType;
    pPE->ShortDestID = wID;
    pPE->LongDestID = wID;
    pPE->bUsesDestID = bUsesID;
    return PEs.AddPrimitive(std::move(pPE));
}

class CVDIDConfigTest : public ::testing::Test
{
protected:
    CRecordingUserInterface m_ui;
    CPEList m_PEs;
};

TEST_F(CVDIDConfigTest, ModesFollowTheCapabilitiesAndASwitchMayAlwaysAcceptAll)
{
    CPEPrimitive* pSwitch = AddPE(m_PEs, kPETypeSwitch, 0xFF, false);
    CPEPrimitive* pPlain = AddPE(m_PEs, kPETypeMemory, 0x05);
    CPEPrimitive* pSecondary = AddPE(m_PEs, kPETypeMemory, 0x06);
    pSecondary->VDID_Caps = kVDIDSecondary;
    pSecondary->VDID_NumSecondaryIDs = 3;
    pSecondary->VDID_Impl = 0x8001;
    pSecondary->VDID_NumShortIDs = 2;
    pSecondary->VDID_ShortIDs = {0x07, 0x0B};
    pSecondary->VDID_NumLongIDs = 1;
    pSecondary->VDID_LongIDs = {0x0107, 0};

    const CVDIDConfig sw(*pSwitch, m_PEs, false);
    EXPECT_TRUE(sw.AcceptAllAllowed()) << "without the capability";
    EXPECT_FALSE(sw.SecondaryAllowed());
    EXPECT_EQ(EVDIDMode::eDisabled, sw.Mode());
    EXPECT_FALSE(sw.IDsEnabled());
    EXPECT_TRUE(sw.SupportText().isEmpty());

    const CVDIDConfig plain(*pPlain, m_PEs, false);
    EXPECT_FALSE(plain.AcceptAllAllowed());
    EXPECT_FALSE(plain.SecondaryAllowed());

    CVDIDConfig secondary(*pSecondary, m_PEs, false);
    EXPECT_TRUE(secondary.SecondaryAllowed());
    EXPECT_FALSE(secondary.AcceptAllAllowed());
    EXPECT_EQ(EVDIDMode::eSecondary, secondary.Mode()) << "bit 0 of the mode word";
    EXPECT_EQ(2, secondary.MaxVDIDs()) << "three registers, two kept";
    EXPECT_EQ(QStringLiteral("2 Virtual Destination IDs supported"), secondary.SupportText());
    EXPECT_EQ(QStringLiteral("07h,0Bh"), secondary.IDText());
    EXPECT_EQ(QStringLiteral("0107h"), CVDIDConfig(*pSecondary, m_PEs, true).IDText())
        << "the 16-bit IDs in a 16-bit network";
    secondary.ChooseMode(EVDIDMode::eAcceptAll);
    EXPECT_EQ(kVDIDAcceptAll, secondary.Block().wMode);
    EXPECT_EQ(QStringLiteral("2 Virtual Destination IDs supported"), secondary.SupportText());
    secondary.ChooseMode(EVDIDMode::eDisabled);
    EXPECT_EQ(0, secondary.MaxVDIDs());
    EXPECT_FALSE(secondary.IDsEnabled());
    // Nothing reaches the PE before the copy is written back.
    EXPECT_EQ(0x8001, pSecondary->VDID_Impl);
}

TEST_F(CVDIDConfigTest, TypedListsAreCutToTheModesLimitAndBadTokensKeepTheWindowOpen)
{
    CPEPrimitive* pPE = AddPE(m_PEs, kPETypeMemory, 0x05);
    pPE->VDID_Caps = kVDIDSecondary;
    pPE->VDID_NumSecondaryIDs = 1;
    pPE->VDID_NumShortIDs = 2;
    pPE->VDID_ShortIDs = {0x40, 0x41};

    CVDIDConfig one(*pPE, m_PEs, false);
    one.ChooseMode(EVDIDMode::eSecondary);
    EXPECT_EQ(QStringLiteral("1 Virtual Destination IDs supported"), one.SupportText());
    one.ChooseMode(EVDIDMode::eAcceptAll);
    ASSERT_TRUE(one.Accept(QStringLiteral("21h; 22h 23h.24h")));
    EXPECT_EQ(
        QStringList{QStringLiteral("Too many VDIDs have been defined. All but the first 2 will be ignored.")},
        m_ui.messages)
        << "once, although two tokens are dropped";
    EXPECT_EQ(QStringList{QStringLiteral("Please Note")}, m_ui.messageTitles);
    EXPECT_EQ(2, one.Count());
    EXPECT_EQ(0x21, one.ID(0));
    EXPECT_EQ(0x22, one.ID(1));

    m_ui.messages.clear();
    m_ui.messageTitles.clear();
    CVDIDConfig bad(*pPE, m_PEs, false);
    bad.ChooseMode(EVDIDMode::eAcceptAll);
    EXPECT_FALSE(bad.Accept(QStringLiteral("21h,zz")));
    EXPECT_FALSE(bad.Accept(QStringLiteral("1FFh")));
    CVDIDConfig wide(*pPE, m_PEs, true);
    wide.ChooseMode(EVDIDMode::eAcceptAll);
    EXPECT_TRUE(wide.Accept(QStringLiteral("1FFh"))) << "fits 16 bits";
    EXPECT_EQ((QStringList{QStringLiteral("Invalid VDID format for 'zz'"),
                           QStringLiteral("DestID 1FFh is too big.")}),
              m_ui.messages);
    EXPECT_EQ((QStringList{QStringLiteral("Input Error"), QStringLiteral("Input Error")}),
              m_ui.messageTitles);
    EXPECT_EQ(0x40, pPE->VDID_ShortIDs[0]) << "the PE keeps its IDs";

    // A device without secondary ID registers takes none in that mode; what was typed is dropped.
    m_ui.messages.clear();
    pPE->VDID_NumSecondaryIDs = 0;
    pPE->VDID_NumLongIDs = 1;
    CVDIDConfig none(*pPE, m_PEs, false);
    none.ChooseMode(EVDIDMode::eSecondary);
    EXPECT_EQ(0, none.MaxVDIDs());
    EXPECT_EQ(QStringLiteral("0 Virtual Destination IDs supported"), none.SupportText());
    ASSERT_TRUE(none.Accept(QStringLiteral("21h")));
    EXPECT_EQ(QStringList{QStringLiteral("Defined VDIDs will be ignored.")}, m_ui.messages);
    none.WriteTo(*pPE);
    EXPECT_EQ(0, pPE->VDID_NumShortIDs);
    EXPECT_EQ(0, pPE->VDID_NumLongIDs);
    EXPECT_EQ(kVDIDSecondary, pPE->VDID_Impl);
}

TEST_F(CVDIDConfigTest, AnIDAnotherPEAnswersToIsRefusedButThePEsOwnIsNot)
{
    CPEPrimitive* pPE = AddPE(m_PEs, kPETypeMemory, 0x05);
    CPEPrimitive* pOther = AddPE(m_PEs, kPETypeMemory, 0x0A);
    pOther->VDID_NumShortIDs = 1;
    pOther->VDID_ShortIDs = {0x30, 0};
    CPEPrimitive* pGone = AddPE(m_PEs, kPETypeMemory, 0x31);
    pGone->bDeleted = true;
    AddPE(m_PEs, kPETypeSwitch, 0x32, false);
    pPE->VDID_Caps = kVDIDAcceptAll;

    for (const char* pszTaken : {"0Ah", "30h", "21h,30h"})
    {
        CVDIDConfig config(*pPE, m_PEs, false);
        config.ChooseMode(EVDIDMode::eAcceptAll);
        EXPECT_FALSE(config.Accept(QString::fromLatin1(pszTaken))) << pszTaken;
    }
    EXPECT_EQ((QStringList{QStringLiteral("Destination ID Ah is already in use by another PE."),
                           QStringLiteral("Destination ID 30h is already in use by another PE."),
                           QStringLiteral("Destination ID 30h is already in use by another PE.")}),
              m_ui.messages);
    EXPECT_EQ(QStringLiteral("Input Error"), m_ui.messageTitles.value(0));

    // Its own ID, a deleted PE's and a switch's that it doesn't use are free.
    CVDIDConfig config(*pPE, m_PEs, false);
    config.ChooseMode(EVDIDMode::eAcceptAll);
    ASSERT_TRUE(config.Accept(QStringLiteral("5,31h")));
    config.WriteTo(*pPE);
    EXPECT_EQ(kVDIDAcceptAll, pPE->VDID_Impl);
    EXPECT_EQ(2, pPE->VDID_NumShortIDs);
    EXPECT_EQ(0x05, pPE->VDID_ShortIDs[0]);
    EXPECT_EQ(0x31, pPE->VDID_ShortIDs[1]);
    EXPECT_EQ(3, m_ui.messages.size());
    // The other PE now finds this one's VDID in use.
    pOther->VDID_Caps = kVDIDAcceptAll;
    CVDIDConfig other(*pOther, m_PEs, false);
    other.ChooseMode(EVDIDMode::eAcceptAll);
    EXPECT_FALSE(other.Accept(QStringLiteral("30h,31h")));
}

TEST_F(CVDIDConfigTest, AutomaticChoiceTakesFreeIDsAboveItsOwnAndWrapsBelowTheTopTwo)
{
    CPEPrimitive* pPE = AddPE(m_PEs, kPETypeMemory, 0xFB);
    pPE->VDID_Caps = kVDIDAcceptAll;
    AddPE(m_PEs, kPETypeMemory, 0xFC);
    AddPE(m_PEs, kPETypeMemory, 0x01);
    CPEPrimitive* pThird = AddPE(m_PEs, kPETypeMemory, 0x03);
    pThird->VDID_NumShortIDs = 1;
    pThird->VDID_ShortIDs = {0x02, 0};

    CVDIDConfig config(*pPE, m_PEs, false);
    config.ChooseMode(EVDIDMode::eAcceptAll);
    ASSERT_TRUE(config.ChooseAutomatically());
    EXPECT_EQ(QStringLiteral("FDh,04h"), config.IDText()) << "FEh and FFh are never given; 1 to 3 are used";
    EXPECT_EQ(0x8002, config.Block().wMode);
    ASSERT_TRUE(config.Accept(config.IDText()));
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join(QLatin1Char('|')).toStdString();

    // A place that holds an ID keeps it; the other gets one that differs from it.
    pPE->VDID_NumShortIDs = 1;
    pPE->VDID_ShortIDs = {0xFD, 0};
    CVDIDConfig kept(*pPE, m_PEs, false);
    kept.ChooseMode(EVDIDMode::eAcceptAll);
    ASSERT_TRUE(kept.ChooseAutomatically());
    EXPECT_EQ(QStringLiteral("FDh,04h"), kept.IDText());

    // A 16-bit network searches up to FFFDh; a PE without an ID of its own starts at 1.
    CPEPrimitive* pSwitch = AddPE(m_PEs, kPETypeSwitch, 0xFFFF, false);
    CVDIDConfig sw(*pSwitch, m_PEs, true);
    sw.ChooseMode(EVDIDMode::eAcceptAll);
    ASSERT_TRUE(sw.ChooseAutomatically());
    EXPECT_EQ(QStringLiteral("0002h,0004h"), sw.IDText()) << "02h is a VDID of the 8-bit width only";

    // Every ID of the 8-bit width in use: the choice stops with the message.
    CPEList full;
    CPEPrimitive* pLast = AddPE(full, kPETypeSwitch, 0xFF, false);
    for (uint16_t wID = 0; wID < 0xFE; ++wID)
    {
        if (wID != 0x20)
        {
            AddPE(full, kPETypeMemory, wID);
        }
    }
    CVDIDConfig crowded(*pLast, full, false);
    crowded.ChooseMode(EVDIDMode::eAcceptAll);
    EXPECT_FALSE(crowded.ChooseAutomatically());
    EXPECT_EQ(QStringLiteral("Could not find enough unused IDs in the network."), m_ui.messages.value(0));
    EXPECT_EQ(QStringLiteral("Error"), m_ui.messageTitles.value(0));
    EXPECT_EQ(QStringLiteral("20h"), crowded.IDText()) << "the one free ID was taken before it ran out";
}

// host0 - sw1 - sw2 - ep30 (vendor 0x30 device 0x96, own ID only), with ep (generic) on sw1. The
// switches route the primary IDs already.
std::string VdidFabric()
{
    return std::string(kHostLine) +
           "device sw1 switch model=cps1848\ndevice sw2 switch model=cps1848\n"
           "device ep30 endpoint model=v30dev96 memory accept=own id=0x05 largeid=0x0005\n"
           "device ep endpoint device=0x1002 memory accept=own id=0x0A largeid=0x000A\n"
           "host host0\nlink host0:0 sw1:0\nlink sw1:1 sw2:1\nlink sw2:2 ep30:0\nlink sw1:2 ep:0\n"
           "route sw1 0x01 0\nroute sw1 0x05 1\nroute sw1 0x0A 2\nroute sw2 0x01 1\nroute sw2 0x05 2\n";
}

class CVDIDUpdateTest : public CClientSimTest
{
protected:
    void SetUp() override
    {
        CClientSimTest::SetUp();
        Load(VdidFabric());
        SDiscoveryRequest request;
        request.bTryAllClockRates = false;
        request.bUploadRoutingTables = true;
        request.scanIDs = {0x05, 0x0A};
        ASSERT_EQ(0, StandardDiscovery(request, m_map, &m_host, {}));
        m_pEp30 = m_map.ActivePEs.GetPEByDestID(0x05);
        m_pEp = m_map.ActivePEs.GetPEByDestID(0x0A);
        ASSERT_TRUE(m_pEp30 && m_pEp);
        m_ui.messages.clear();
    }
    nvsim::models::CVendor30Endpoint& Ep30()
    {
        return dynamic_cast<nvsim::models::CVendor30Endpoint&>(m_pFabric->Device("ep30"));
    }
    CNetworkDocument m_map;
    CPEPrimitive* m_pEp30 = nullptr;
    CPEPrimitive* m_pEp = nullptr;
};

TEST_F(CVDIDUpdateTest, SecondaryIDsGoIntoTheDeviceAndTheSwitchesRouteThemThere)
{
    EXPECT_EQ(kVDIDSecondary | kVDIDAcceptAll, m_pEp30->VDID_Caps) << "read by the discovery";
    EXPECT_EQ(3, m_pEp30->VDID_NumSecondaryIDs);
    EXPECT_EQ(0u, IdentityAt(0x21, 2)) << "nothing answers to 21h yet";

    CVDIDConfig config(*m_pEp30, m_map.ActivePEs, false);
    config.ChooseMode(EVDIDMode::eSecondary);
    ASSERT_TRUE(config.Accept(QStringLiteral("21h,22h")));
    config.WriteTo(*m_pEp30);
    ASSERT_EQ(0, UpdatePEVDIDs(m_map, *m_pEp30)) << m_ui.messages.join(QLatin1Char('|')).toStdString();
    EXPECT_TRUE(m_ui.messages.isEmpty());

    EXPECT_EQ(0x21u, (Ep30().BlockWord(0x84) >> 16) & 0xFF);
    EXPECT_EQ(0x22u, (Ep30().BlockWord(0x88) >> 16) & 0xFF);
    EXPECT_EQ(0xFFFFu, Ep30().BlockWord(0x88) & 0xFFFF) << "the large half is left alone";
    EXPECT_EQ(0x00960030u, IdentityAt(0x21, 2));
    EXPECT_EQ(0x00960030u, IdentityAt(0x22, 2));
    uint8_t ab[8] = {};
    EXPECT_EQ(0, m_pFabric->DataRead(0, 0x22, 0, nvsim::models::CVendor30Endpoint::kBlock, ab, 8, false))
        << "data requests reach it too";
    EXPECT_EQ(0u, IdentityAt(0x23, 2)) << "an ID it wasn't given";

    // The map's tables hold the entries laid, so route search finds the VDIDs.
    const CPEPrimitive* pSw1 = m_map.ActivePEs.GetByNodeNumber(1);
    ASSERT_TRUE(pSw1 && (pSw1->uType & kPETypeSwitch));
    const CRoutingTable* pIn = pSw1->RoutingTables[0].get();
    ASSERT_TRUE(pIn);
    uint8_t uchPort = 0;
    ASSERT_GE(pIn->FindEntry(0x21, &uchPort), 0);
    EXPECT_EQ(1, uchPort);
    EXPECT_EQ(m_pEp30, m_map.ActivePEs.GetPEByDestID(0x22));
}

TEST_F(CVDIDUpdateTest, AcceptAllLaysOnlyRoutesAndTheSixteenBitIDsUseTheLargeHalf)
{
    // Accept-all writes no register: the route is laid, and the device answers once it is open to
    // the host.
    m_pEp30->VDID_Impl = kVDIDAcceptAll;
    m_pEp30->VDID_NumShortIDs = 1;
    m_pEp30->VDID_ShortIDs = {0x33, 0};
    ASSERT_EQ(0, UpdatePEVDIDs(m_map, *m_pEp30));
    EXPECT_EQ(0x00FFFFFFu, Ep30().BlockWord(0x84)) << "no register written in accept-all mode";
    EXPECT_EQ(0u, IdentityAt(0x33, 2)) << "routed there, but the device isn't open";
    ASSERT_EQ(NVXL_OK, HalEnableHostAccess(0x0030, 0x0096, 0, 0x05, 2, 1));
    EXPECT_EQ(0x00960030u, IdentityAt(0x33, 2));

    SetMapTransportAccess([] { return 16; }, [](int) {});
    HalSetLargeTransport(1);
    m_pEp30->VDID_Impl = kVDIDSecondary;
    m_pEp30->VDID_NumLongIDs = 1;
    m_pEp30->VDID_LongIDs = {0x0444, 0};
    // The 16-bit route back to the host is laid with the host's large ID.
    ASSERT_EQ(0, UpdatePEVDIDs(m_map, *m_pEp30)) << m_ui.messages.join(QLatin1Char('|')).toStdString();
    EXPECT_EQ(0x0444u, Ep30().BlockWord(0x84) & 0xFFFF);
    EXPECT_EQ(0xFFu, (Ep30().BlockWord(0x84) >> 16) & 0xFF) << "the small half is left alone";
}

TEST_F(CVDIDUpdateTest, WithoutARouteNothingIsWrittenAndTheQuestionCanBeDeclined)
{
    m_pEp30->VDID_Impl = kVDIDSecondary;
    m_pEp30->VDID_NumShortIDs = 1;
    m_pEp30->VDID_ShortIDs = {0x21, 0};
    // Declined: nothing happens.
    m_ui.answers = {eAnswerNo};
    EXPECT_FALSE(OfferPEVDIDUpdate(m_map, *m_pEp30));
    EXPECT_EQ(
        QStringList{QStringLiteral("Do you want to update the PE and routing tables based upon your changes "
                                   "to the VDID configuration?")},
        m_ui.questions);
    EXPECT_EQ(0x00FFFFFFu, Ep30().BlockWord(0x84));

    // The map without its tables knows no way to the PE.
    for (const auto& pPE : m_map.ActivePEs)
    {
        for (auto& pTable : pPE->RoutingTables)
        {
            pTable.reset();
        }
    }
    EXPECT_EQ(kNoRouteStatus, UpdatePEVDIDs(m_map, *m_pEp30));
    EXPECT_EQ(QStringList{QStringLiteral("Unable to find a route to that PE in order to make the change.\n")},
              m_ui.messages);
    EXPECT_EQ(0x00FFFFFFu, Ep30().BlockWord(0x84));

    // A switch that won't take the entry ends the update with the step that failed.
    m_ui.messages.clear();
    m_pEp30->VDID_Impl = kVDIDAcceptAll;
    m_pTransport->fnIntercept = [](const SMaintAccess& access, uint32_t*, int32_t* pnStatus)
    {
        if (access.bWrite && access.ulDestID == 0xFF && access.uchHopCount == 1)
        {
            *pnStatus = NVXL_ERR_TIMEOUT;
            return true;
        }
        return false;
    };
    EXPECT_NE(0, UpdatePEVDIDs(m_map, *m_pEp30));
    ASSERT_EQ(1, m_ui.messages.size());
    EXPECT_TRUE(
        m_ui.messages[0].startsWith(QStringLiteral("Unable to route VDID 21h to the node: an error was "
                                                   "encountered while ")))
        << m_ui.messages[0].toStdString();
    EXPECT_TRUE(m_ui.messages[0].contains(QStringLiteral("adding routing table entry to switch at node ")))
        << m_ui.messages[0].toStdString();
}
} // namespace
} // namespace nvtest

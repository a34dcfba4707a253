// Watch items at work on an in-process simulated fabric found by discovery: a host, a CPS-1848 and
// two endpoints. The tests change a register in the fabric between ticks and look at what the
// triggers, the actions, the log and the failures make of it.
#include "WatchMonitor.h"
#include "ClientSimFixture.h"
#include "Discovery.h"
#include "NumberText.h"
#include "Preferences.h"
#include "RegisterAccess.h"
#include "RouteSearch.h"
#include "TestSupport.h"
#include "WatchReport.h"
#include "WatchTrigger.h"

#include <QDir>
#include <QFile>

namespace nvtest
{
namespace
{
constexpr uint32_t kTagOffset = 0x6C; // Component Tag CSR, read/write on every RapidIO device

std::string WatchFabric()
{
    return std::string(kHostLine) + "device sw1 switch model=cps1848\n"
                                    "device ep1 endpoint memory id=0x05 largeid=0x0005\n"
                                    "device ep2 endpoint memory id=0x0A largeid=0x000A\n"
                                    "host host0\nlink host0:0 sw1:0\nlink sw1:1 ep1:0\nlink sw1:2 ep2:0\n"
                                    "route sw1 0x01 0\nroute sw1 0x05 1\nroute sw1 0x0A 2\n";
}

// Register access straight on the fabric, counting reads; a test can close the link or make the
// next reads fail.
class CFabricTransport final : public IRegisterTransport
{
public:
    explicit CFabricTransport(nvsim::CSimFabric& fabric) : m_fabric(fabric) {}
    bool IsOpen() override { return bOpen; }
    int32_t MaintRead(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t* pulValue) override
    {
        ++nReads;
        reads.push_back({ulDestID, uchHop, ulOffset});
        if (nReadStatus != 0)
        {
            return nReadStatus;
        }
        return m_fabric.MaintRead(0, ulDestID, uchHop, ulOffset, pulValue, 1, 4, 4, false);
    }
    int32_t MaintWrite(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t ulValue) override
    {
        return m_fabric.MaintWrite(0, ulDestID, uchHop, ulOffset, &ulValue, 1, 4, 4, false);
    }
    int32_t NRead(uint32_t, uint64_t, uint32_t*) override { return -1; }
    int32_t NWrite(uint32_t, uint64_t, uint32_t) override { return -1; }
    int32_t LocalRead(uint64_t, uint32_t*) override { return -1; }
    int32_t LocalWrite(uint64_t, uint32_t) override { return -1; }
    int32_t I2CRead(uint32_t, uint8_t, uint32_t, uint32_t, uint8_t*) override { return -1; }
    int32_t I2CWrite(uint32_t, uint8_t, uint32_t, uint32_t, uint8_t) override { return -1; }
    QString RioErrorDetail() override { return QString(); }

    struct SRead
    {
        uint32_t ulDestID;
        uint8_t uchHop;
        uint32_t ulOffset;
    };
    bool bOpen = true;
    int32_t nReadStatus = 0;
    int nReads = 0;
    std::vector<SRead> reads;

private:
    nvsim::CSimFabric& m_fabric;
};

class CWatchTest : public CClientSimTest
{
protected:
    void SetUp() override
    {
        CClientSimTest::SetUp();
        Load(WatchFabric());
        SDiscoveryRequest request;
        request.bTryAllClockRates = false;
        request.bUploadRoutingTables = true;
        request.scanIDs = {0x05, 0x0A};
        ASSERT_EQ(0, StandardDiscovery(request, m_map, &m_host, {}));
        m_pEp1 = m_map.ActivePEs.GetPEByDestID(0x05);
        m_pEp2 = m_map.ActivePEs.GetPEByDestID(0x0A);
        ASSERT_TRUE(m_pEp1 && m_pEp2);
        ASSERT_NE(nullptr, m_map.ActivePEs.GetHostPE()) << "the host link stays open in the map";
        m_pTransport = std::make_unique<CFabricTransport>(*m_pFabric);
        m_pMonitor = std::make_unique<CWatchMonitor>(m_map, *m_pTransport);
        m_pMonitor->clock = [] { return QDateTime(QDate(2024, 3, 7), QTime(9, 5, 2)); };
        SetPreferenceOverride(QStringLiteral("Preferences"), QStringLiteral("DefaultBase"),
                              QStringLiteral("16"));
        m_ui.messages.clear();
    }
    void TearDown() override
    {
        m_pMonitor.reset();
        ClearPreferenceOverrides();
        CClientSimTest::TearDown();
    }
    // Sets the component tag of an endpoint in the fabric, as another master on the network would.
    void SetTag(const CPEPrimitive& pe, uint32_t ulValue)
    {
        uint32_t ulDestID = 0;
        uint8_t uchHop = 0;
        ASSERT_EQ(0, FindRoute(m_map.ActivePEs.GetHostPE(), &pe, m_map.ActivePEs, m_map.ActiveConnections,
                               &ulDestID, &uchHop, false, nullptr));
        ASSERT_EQ(0, m_pTransport->MaintWrite(ulDestID, uchHop, kTagOffset, ulValue));
    }
    // A whole-register watch on an endpoint's tag, polled at every tick, enabled.
    int WatchTag(const CPEPrimitive& pe, uint32_t ulInitial, int iFirst = 0, int iLast = 31)
    {
        SetTag(pe, ulInitial);
        const int i = m_pMonitor->AddWatch(
            m_map.ActivePEs.GetIndexOf(&pe), pe.ShortDestID, QStringLiteral("Component Tag CSR"), kTagOffset,
            QStringLiteral("<All>"), iLast - iFirst + 1, iLast, iFirst, ulInitial);
        m_pMonitor->SetPeriod(i, 1);
        EXPECT_TRUE(m_pMonitor->SetEnabled(i, true));
        return i;
    }
    WatchItem& Item(int i) { return m_map.WatchItems[static_cast<size_t>(i)]; }
    // Sets the tag and runs one tick; returns whether the item's trigger fired.
    bool TickWith(int i, uint32_t ulTag)
    {
        const int nBefore = Item(i).iNumEvents;
        SetTag(*m_pEp1, ulTag);
        m_pMonitor->Tick();
        EXPECT_EQ(ulTag, Item(i).uNewValue);
        return Item(i).iNumEvents == nBefore + 1 && m_pMonitor->IsMarked(i);
    }

    CNetworkDocument m_map;
    CPEPrimitive* m_pEp1 = nullptr;
    CPEPrimitive* m_pEp2 = nullptr;
    std::unique_ptr<CFabricTransport> m_pTransport;
    std::unique_ptr<CWatchMonitor> m_pMonitor;
};

TEST(WatchTrigger, FieldsAreTakenFromA32BitWordInRapidIONumbering)
{
    EXPECT_EQ(0x78u, WatchFieldValue(0x12345678u, 24, 31));
    EXPECT_EQ(0x12345678u, WatchFieldValue(0x12345678u, 0, 31));
    // A field of an 8-bit register at bits 0 to 7 is the top byte of the word.
    EXPECT_EQ(0x12u, WatchFieldValue(0x12345678u, 0, 7));
    EXPECT_EQ(0x1u, WatchFieldValue(0x80000000u, 0, 0));
    EXPECT_EQ(0x5u, WatchFieldValue(0x00500000u, 8, 11));
}

TEST(WatchTrigger, EveryTypeHasItsBoundariesAndTexts)
{
    // {type, X1, X2, value, fires}
    struct SCase
    {
        int eType;
        uint32_t uX1, uX2, uValue;
        bool bFires;
    };
    const SCase cases[] = {
        {eTriggerNotEqual, 5, 0, 5, false},
        {eTriggerNotEqual, 5, 0, 6, true},
        {eTriggerEqualTo, 5, 0, 5, true},
        {eTriggerEqualTo, 5, 0, 4, false},
        {eTriggerGreaterThan, 5, 0, 5, false},
        {eTriggerGreaterThan, 5, 0, 6, true},
        {eTriggerGreaterThanOrEqualTo, 5, 0, 5, true},
        {eTriggerGreaterThanOrEqualTo, 5, 0, 4, false},
        {eTriggerLessThan, 5, 0, 5, false},
        {eTriggerLessThan, 5, 0, 4, true},
        {eTriggerLessThanOrEqualTo, 5, 0, 5, true},
        {eTriggerLessThanOrEqualTo, 5, 0, 6, false},
        {eTriggerBetweenExclusive, 10, 20, 10, false},
        {eTriggerBetweenExclusive, 10, 20, 11, true},
        {eTriggerBetweenExclusive, 10, 20, 20, false},
        {eTriggerBetweenInclusive, 10, 20, 10, true},
        {eTriggerBetweenInclusive, 10, 20, 20, true},
        {eTriggerBetweenInclusive, 10, 20, 21, false},
        {eTriggerNotBetweenExclusive, 10, 20, 9, true},
        {eTriggerNotBetweenExclusive, 10, 20, 21, true},
        {eTriggerNotBetweenExclusive, 10, 20, 10, false},
        {eTriggerNotBetweenExclusive, 10, 20, 15, false},
        {eTriggerNotBetweenExclusive, 10, 20, 20, false},
        {eTriggerNotBetweenInclusive, 10, 20, 10, true},
        {eTriggerNotBetweenInclusive, 10, 20, 20, true},
        {eTriggerNotBetweenInclusive, 10, 20, 15, false},
        // Unsigned: the top bit is a large value, not a negative one.
        {eTriggerGreaterThan, 5, 0, 0x80000000u, true},
        {11, 0, 0, 1, false},
    };
    for (const SCase& c : cases)
    {
        EXPECT_EQ(c.bFires, TriggerFires(c.eType, 0, c.uValue, c.uX1, c.uX2))
            << "type " << c.eType << " value " << c.uValue;
    }
    EXPECT_TRUE(TriggerFires(eTriggerChange, 1, 2, 0, 0));
    EXPECT_FALSE(TriggerFires(eTriggerChange, 2, 2, 0, 0));

    WatchItem item;
    item.uParam1 = 10;
    item.uParam2 = 0x20;
    const char* const shown[] = {"BF Changes",
                                 "BF != A",
                                 "BF == A",
                                 "BF > A",
                                 "BF >= A",
                                 "BF < A",
                                 "BF <= A",
                                 "A < BF < 20",
                                 "A <= BF <= 20",
                                 "(BF < A) || (BF > 20)",
                                 "(BF <= A) || (BF >= 20)"};
    for (int eType = 0; eType < kNumWatchTriggers; ++eType)
    {
        item.eType = eType;
        EXPECT_EQ(QString::fromLatin1(shown[eType]), TriggerText(item, 16));
    }
    item.eType = eTriggerBetweenInclusive;
    EXPECT_EQ(QStringLiteral("10 <= BF <= 32"), TriggerText(item, 10));
    EXPECT_EQ(QStringLiteral("1010 <= BF <= 100000"), TriggerText(item, 2));
    item.eType = 12;
    EXPECT_EQ(QStringLiteral("Invalid"), TriggerText(item, 16));
    EXPECT_EQ(QStringLiteral("(BF <= X1) || (BF >= X2)"), TriggerLabel(10));
    EXPECT_EQ(QStringLiteral("Highlight PE"), WatchActionText(2));
    EXPECT_EQ(QStringLiteral("Invalid"), WatchActionText(4));
    EXPECT_EQ(QStringLiteral("Triggers"), WatchLogText(2));
    EXPECT_EQ(QStringLiteral("Invalid"), WatchLogText(-1));
    EXPECT_EQ(QStringLiteral("0Fh"), WatchValueText(0xF, 8, 16, true));
    EXPECT_EQ(QStringLiteral("0101b"), WatchValueText(5, 4, 2, true));
    EXPECT_EQ(QStringLiteral("15"), WatchValueText(15, 32, 10, false));
}

TEST(WatchTrigger, TypedTriggersInWordAndLabelForm)
{
    int eType = -1;
    uint32_t uX1 = 0;
    uint32_t uX2 = 0;
    EXPECT_EQ(QString(), ParseTriggerSpec(QStringLiteral("change"), &eType, &uX1, &uX2));
    EXPECT_EQ(eTriggerChange, eType);
    EXPECT_EQ(QString(), ParseTriggerSpec(QStringLiteral("EqualTo:1Fh"), &eType, &uX1, &uX2));
    EXPECT_EQ(eTriggerEqualTo, eType);
    EXPECT_EQ(0x1Fu, uX1);
    EXPECT_EQ(QString(), ParseTriggerSpec(QStringLiteral("notbetweeninclusive:10:20"), &eType, &uX1, &uX2));
    EXPECT_EQ(eTriggerNotBetweenInclusive, eType);
    EXPECT_EQ(10u, uX1);
    EXPECT_EQ(20u, uX2);
    // The labels, with numbers for X1 and X2, blanks and brackets as one likes.
    const std::pair<const char*, int> labels[] = {{"BF != 3", eTriggerNotEqual},
                                                  {"BF==3", eTriggerEqualTo},
                                                  {"bf > 3", eTriggerGreaterThan},
                                                  {"BF >= 3", eTriggerGreaterThanOrEqualTo},
                                                  {"BF < 3", eTriggerLessThan},
                                                  {"BF<=3", eTriggerLessThanOrEqualTo},
                                                  {"3 < BF < 9", eTriggerBetweenExclusive},
                                                  {"3<=BF<=9", eTriggerBetweenInclusive},
                                                  {"(BF < 3) || (BF > 9)", eTriggerNotBetweenExclusive},
                                                  {"BF<=3||BF>=9", eTriggerNotBetweenInclusive},
                                                  {"BF Changes", eTriggerChange}};
    for (const auto& [pszText, eExpected] : labels)
    {
        EXPECT_EQ(QString(), ParseTriggerSpec(QString::fromLatin1(pszText), &eType, &uX1, &uX2)) << pszText;
        EXPECT_EQ(eExpected, eType) << pszText;
        if (TriggerParamCount(eExpected) >= 1)
        {
            EXPECT_EQ(3u, uX1) << pszText;
        }
        if (TriggerParamCount(eExpected) == 2)
        {
            EXPECT_EQ(9u, uX2) << pszText;
        }
    }
    // Refusals say what is wrong.
    EXPECT_EQ(QStringLiteral("X2 must be larger than X1 (trigger '9 < BF < 9')"),
              ParseTriggerSpec(QStringLiteral("9 < BF < 9"), &eType, &uX1, &uX2));
    EXPECT_EQ(QStringLiteral("Invalid data entry. (trigger 'EqualTo:1G')"),
              ParseTriggerSpec(QStringLiteral("EqualTo:1G"), &eType, &uX1, &uX2));
    EXPECT_EQ(QStringLiteral("Invalid data entry. (trigger 'BF > 100000000h')"),
              ParseTriggerSpec(QStringLiteral("BF > 100000000h"), &eType, &uX1, &uX2));
    EXPECT_EQ(QStringLiteral("Trigger 'LessThan' takes 1 parameter(s): BF < X1"),
              ParseTriggerSpec(QStringLiteral("LessThan"), &eType, &uX1, &uX2));
    EXPECT_EQ(QStringLiteral("Unknown trigger 'BF ~ 3'"),
              ParseTriggerSpec(QStringLiteral("BF ~ 3"), &eType, &uX1, &uX2));
}

TEST_F(CWatchTest, EachTriggerFiresOnTheRightValuesReadFromTheFabric)
{
    const int i = WatchTag(*m_pEp1, 0x10);
    // The first poll compares with the value the item was added with.
    EXPECT_FALSE(TickWith(i, 0x10));
    EXPECT_TRUE(TickWith(i, 0x11));
    EXPECT_FALSE(TickWith(i, 0x11)) << "a change fires once";
    EXPECT_EQ(0x11u, Item(i).uOldValue);

    struct SStep
    {
        const char* pszTrigger;
        std::vector<std::pair<uint32_t, bool>> values;
    };
    const SStep steps[] = {
        {"BF != 7", {{7, false}, {8, true}, {8, true}}},
        {"BF == 7", {{7, true}, {7, true}, {6, false}}},
        {"BF > 7", {{7, false}, {8, true}}},
        {"BF >= 7", {{6, false}, {7, true}}},
        {"BF < 7", {{7, false}, {6, true}}},
        {"BF <= 7", {{8, false}, {7, true}}},
        {"10 < BF < 20", {{10, false}, {15, true}, {20, false}}},
        {"10 <= BF <= 20", {{9, false}, {10, true}, {20, true}, {21, false}}},
        {"(BF < 10) || (BF > 20)", {{9, true}, {21, true}, {10, false}, {15, false}, {20, false}}},
        {"(BF <= 10) || (BF >= 20)", {{10, true}, {20, true}, {15, false}}},
    };
    for (const SStep& step : steps)
    {
        int eType = -1;
        uint32_t uX1 = 0;
        uint32_t uX2 = 0;
        ASSERT_EQ(QString(), ParseTriggerSpec(QString::fromLatin1(step.pszTrigger), &eType, &uX1, &uX2));
        ASSERT_TRUE(
            m_pMonitor->SetTrigger(i, eType, NumberToText(uX1, 16, true), NumberToText(uX2, 16, true)));
        EXPECT_EQ(QString::fromLatin1(step.pszTrigger), TriggerText(Item(i), 10));
        for (const auto& [uValue, bFires] : step.values)
        {
            EXPECT_EQ(bFires, TickWith(i, uValue)) << step.pszTrigger << " at " << uValue;
        }
    }
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join('|').toStdString();
    // The poll went to the endpoint by its own ID through the switch.
    ASSERT_FALSE(m_pTransport->reads.empty());
    EXPECT_EQ(0x05u, m_pTransport->reads.back().ulDestID);
    EXPECT_EQ(1u, m_pTransport->reads.back().uchHop);
    EXPECT_EQ(kTagOffset, m_pTransport->reads.back().ulOffset);
}

TEST_F(CWatchTest, PeriodsCountTicksAndFieldsAreCutFromTheWord)
{
    const int iSlow = WatchTag(*m_pEp1, 0x12345678, 24, 31);
    m_pMonitor->SetPeriod(iSlow, 5);
    const int iFast = WatchTag(*m_pEp2, 0xAB000000, 0, 7);
    EXPECT_EQ(0x78u, Item(iSlow).uNewValue) << "added with the field's part of the value";
    EXPECT_EQ(8, Item(iSlow).iNumBits);
    m_pTransport->reads.clear();
    for (int t = 0; t < 10; ++t)
    {
        m_pMonitor->Tick();
    }
    int nSlow = 0;
    int nFast = 0;
    for (const auto& read : m_pTransport->reads)
    {
        (read.ulDestID == 0x05 ? nSlow : nFast)++;
    }
    EXPECT_EQ(2, nSlow);
    EXPECT_EQ(10, nFast);
    EXPECT_EQ(0x78u, Item(iSlow).uNewValue);
    EXPECT_EQ(0xABu, Item(iFast).uNewValue) << "the top byte: bits 0 to 7 of the 32-bit word";
    // A disabled item isn't read.
    m_pMonitor->SetEnabled(iFast, false);
    m_pTransport->reads.clear();
    m_pMonitor->Tick();
    EXPECT_TRUE(m_pTransport->reads.empty());
}

TEST_F(CWatchTest, LogModesAndTheLineOfALoggedPoll)
{
    const int iNone = WatchTag(*m_pEp1, 1);
    const int iAll = WatchTag(*m_pEp1, 1);
    const int iTriggers = WatchTag(*m_pEp1, 1);
    m_pMonitor->SetLog(iNone, eWatchLogNone);
    m_pMonitor->SetLog(iAll, eWatchLogAll);
    m_pMonitor->SetLog(iTriggers, eWatchLogTriggers);
    for (int i : {iNone, iAll, iTriggers})
    {
        m_pMonitor->SetTrigger(i, eTriggerEqualTo, QStringLiteral("2"), QString());
    }
    QStringList seen;
    m_pMonitor->onLogLine = [&seen](const QString& strLine) { seen << strLine; };
    SetTag(*m_pEp1, 1);
    m_pMonitor->Tick(); // no item fires
    SetTag(*m_pEp1, 2);
    m_pMonitor->Tick(); // all fire
    const int iNode = m_pEp1->iNodeNumber + 1;
    const QString strHead =
        QStringLiteral("T=07/03/2024 09:05:02 NODE:%1 DESTID:0005h Reg='Component Tag CSR' "
                       "BF='<All>' Value=")
            .arg(iNode, -3);
    EXPECT_EQ(QStringList({strHead + "00000001h Trigger='BF == 2' #Event=0",
                           strHead + "00000002h Trigger='BF == 2' #Event=1",
                           strHead + "00000002h Trigger='BF == 2' #Event=1"}),
              m_pMonitor->LogLines());
    EXPECT_EQ(seen, m_pMonitor->LogLines());
    ASSERT_EQ(3u, m_pMonitor->LogRecords().size());
    EXPECT_EQ(1u, m_pMonitor->LogRecords()[1].uOldValue);
    EXPECT_EQ(2u, m_pMonitor->LogRecords()[1].uNewValue);
    EXPECT_EQ(m_pEp1->iNodeNumber, m_pMonitor->LogRecords()[1].iNode);
    // In decimal the value carries its "d".
    SetPreferenceOverride(QStringLiteral("Preferences"), QStringLiteral("DefaultBase"), QStringLiteral("10"));
    m_pMonitor->Tick();
    EXPECT_TRUE(m_pMonitor->LogLines().last().endsWith("Value=2d Trigger='BF == 2' #Event=2"))
        << m_pMonitor->LogLines().last().toStdString();

    // The log goes to a file line by line, and an unwritable place says so.
    const QString strPath = QString::fromStdString(ProcessTempDir()) + "/watch.txt";
    ASSERT_TRUE(m_pMonitor->SaveLog(strPath));
    QFile file(strPath);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ((m_pMonitor->LogLines().join('\n') + '\n').toLocal8Bit(), file.readAll());
    EXPECT_FALSE(m_pMonitor->SaveLog(QStringLiteral("/nonexistent-dir/watch.txt")));
    EXPECT_EQ(QStringList({"Unable to open/nonexistent-dir/watch.txt, error 2"}), m_ui.messages);
    m_pMonitor->ClearLog();
    EXPECT_TRUE(m_pMonitor->LogLines().isEmpty());
    EXPECT_TRUE(m_pMonitor->LogRecords().empty());
}

// The Watch Window Report of a run: one row per item with the trigger and action as the window
// words them, one line per logged poll, and the page written from them.
TEST_F(CWatchTest, TheReportOfARunHoldsTheTableAndTheLoggedPolls)
{
    const int iTag = WatchTag(*m_pEp1, 1);
    m_pMonitor->SetTrigger(iTag, eTriggerBetweenInclusive, QStringLiteral("2"), QStringLiteral("1A"));
    m_pMonitor->SetLog(iTag, eWatchLogTriggers);
    m_pMonitor->SetAction(iTag, eWatchActionBeep);
    const int iField = WatchTag(*m_pEp2, 0, 24, 31); // the low byte of ep2's tag, never fires
    m_pMonitor->SetLog(iField, eWatchLogAll);
    m_pMonitor->SetPeriod(iField, 2);
    SetTag(*m_pEp2, 0);
    EXPECT_TRUE(TickWith(iTag, 0x05));  // ep1 fires and logs; ep2 is not due
    EXPECT_FALSE(TickWith(iTag, 0x40)); // ep1 out of range, not logged; ep2 is due and logs
    EXPECT_TRUE(TickWith(iTag, 0x1A));  // ep1 fires at the top of the range
    m_pMonitor->SetEnabled(iField, false);

    const std::vector<SWatchReportItem> items = WatchReportItems(m_map, 16);
    ASSERT_EQ(2u, items.size());
    EXPECT_EQ(m_pEp1->iNodeNumber, items[0].iNode);
    EXPECT_EQ(0x05, items[0].uDestID);
    EXPECT_EQ(QStringLiteral("<All>"), items[0].strBitField);
    EXPECT_EQ(QStringLiteral("1Ah"), items[0].strValue);
    EXPECT_EQ(QStringLiteral("2h <= BF <= 1Ah"), items[0].strTrigger);
    EXPECT_EQ(2, items[0].iNumEvents);
    EXPECT_EQ(QStringLiteral("Beep"), items[0].strAction);
    EXPECT_EQ(1, items[0].iUpdatePeriod);
    EXPECT_TRUE(items[0].bEnabled);
    EXPECT_EQ(m_pEp2->iNodeNumber, items[1].iNode);
    EXPECT_EQ(QStringLiteral("BF Changes"), items[1].strTrigger);
    EXPECT_EQ(0, items[1].iNumEvents);
    EXPECT_FALSE(items[1].bEnabled);

    // The log: ep1's two firings and ep2's one due poll, in the order they happened.
    const std::vector<SWatchReportLogRecord> log = WatchReportLog(m_pMonitor->LogRecords(), 16);
    ASSERT_EQ(3u, log.size());
    EXPECT_EQ(QStringLiteral("07/03/2024 09:05:02"), log[0].strTime);
    EXPECT_EQ(m_pEp1->iNodeNumber, log[0].iNode);
    EXPECT_EQ(0x05, log[0].uDestID);
    EXPECT_EQ(QStringLiteral("00000005h"), log[0].strValue);
    EXPECT_EQ(QStringLiteral("2 <= BF <= 1A"), log[0].strTrigger); // as logged
    EXPECT_EQ(1, log[0].iNumEvents);
    EXPECT_EQ(m_pEp2->iNodeNumber, log[1].iNode);
    EXPECT_EQ(0x0A, log[1].uDestID);
    EXPECT_EQ(QStringLiteral("00h"), log[1].strValue); // an 8-bit field is two digits wide
    EXPECT_EQ(0, log[1].iNumEvents);
    EXPECT_EQ(QStringLiteral("0000001Ah"), log[2].strValue);
    EXPECT_EQ(2, log[2].iNumEvents);
    // In binary the field's value keeps its width.
    EXPECT_EQ(QStringLiteral("00000000b"), WatchReportLog(m_pMonitor->LogRecords(), 2)[1].strValue);

    // The page: every item and every log line, the trigger's "<" made safe.
    m_map.FileName = QStringLiteral("watch.nvm");
    const std::unique_ptr<CWatchReport> pReport = MakeWatchRunReport(m_map, m_pMonitor->LogRecords(), 16);
    const QString strDir = QString::fromStdString(ProcessTempDir()) + QStringLiteral("/watch-report/");
    QDir(strDir).removeRecursively();
    pReport->SetReportDirectory(strDir);
    pReport->SetOpenWhenDone(false);
    ASSERT_TRUE(pReport->GenerateReport()) << m_ui.messages.join('\n').toStdString();
    QFile page(pReport->OutputPath());
    ASSERT_TRUE(page.open(QIODevice::ReadOnly));
    const QString strPage = QString::fromUtf8(page.readAll());
    EXPECT_TRUE(strPage.contains(QStringLiteral("watch.nvm")));
    EXPECT_TRUE(strPage.contains(QStringLiteral("2h &lt= BF &lt= 1Ah")));
    EXPECT_EQ(2, strPage.count(QStringLiteral("2 &lt= BF &lt= 1A</td>")))
        << "each firing of ep1 is a log line";
    EXPECT_TRUE(strPage.contains(QStringLiteral("0000001Ah")));
    EXPECT_TRUE(strPage.contains(QStringLiteral("<td>OFF</td>")));
    EXPECT_FALSE(strPage.contains(QStringLiteral("##!!!")));
}

TEST_F(CWatchTest, ActionsBeepHighlightAndNotify)
{
    const int i = WatchTag(*m_pEp1, 0);
    std::vector<SWatchEvent> events;
    m_pMonitor->onWatchEvent = [&events](const SWatchEvent& event) { events.push_back(event); };
    int nRedraws = 0;
    m_pMonitor->onMapRedraw = [&nRedraws] { ++nRedraws; };

    m_pMonitor->SetAction(i, eWatchActionBeep);
    EXPECT_TRUE(TickWith(i, 1));
    EXPECT_EQ(1, m_ui.nBeeps);
    EXPECT_FALSE(TickWith(i, 1));
    EXPECT_EQ(1, m_ui.nBeeps) << "no beep without a firing";

    m_pMonitor->SetAction(i, eWatchActionMessageBox);
    EXPECT_TRUE(TickWith(i, 2));
    ASSERT_EQ(1, m_ui.messages.size());
    EXPECT_EQ(QStringLiteral("Trigger!"), m_ui.messageTitles.front());
    EXPECT_TRUE(m_ui.messages.front().contains("Component Tag CSR")) << m_ui.messages.front().toStdString();

    m_pMonitor->SetAction(i, eWatchActionHighlightPE);
    CDrawPE* pNode = m_map.pCurrentNodes->FindPENode(m_pEp1->iNodeNumber);
    ASSERT_NE(nullptr, pNode);
    EXPECT_FALSE(pNode->bHighlighted);
    EXPECT_TRUE(TickWith(i, 3));
    EXPECT_TRUE(pNode->bHighlighted);
    EXPECT_TRUE(Item(i).bHighlighted);
    EXPECT_EQ(1, nRedraws);
    // The highlight comes back with the view, and the PE's clear command takes it away for good.
    pNode->bHighlighted = false;
    m_map.SelectView(kExpandedViewID, false);
    EXPECT_TRUE(pNode->bHighlighted);
    m_pMonitor->ClearHighlight(m_pEp1->iNodeNumber);
    EXPECT_FALSE(pNode->bHighlighted);
    EXPECT_FALSE(Item(i).bHighlighted);
    m_map.SelectView(kExpandedViewID, false);
    EXPECT_FALSE(pNode->bHighlighted);
    EXPECT_TRUE(TickWith(i, 4));
    m_pMonitor->ClearAllHighlights();
    EXPECT_FALSE(pNode->bHighlighted);
    EXPECT_FALSE(Item(i).bHighlighted);

    // Every firing raised the event with the item's data, counted after the firing.
    ASSERT_EQ(4u, events.size());
    EXPECT_EQ(i, events.back().iIndex);
    EXPECT_EQ(4, events.back().Item.iNumEvents);
    const QVariantList arguments = WatchEventArguments(events.back());
    ASSERT_EQ(17, arguments.size());
    EXPECT_EQ(QStringLiteral("Component Tag CSR"), arguments[3].toString());
    EXPECT_EQ(kTagOffset, arguments[4].toUInt());
    EXPECT_EQ(3u, arguments[9].toUInt());
    EXPECT_EQ(4u, arguments[10].toUInt());
    EXPECT_EQ(QMetaType::UChar, arguments[16].metaType().id());
}

TEST_F(CWatchTest, FailuresStopOnlyTheirItemAndTellWhy)
{
    const int iFine = WatchTag(*m_pEp1, 0);
    const int iNoRoute = WatchTag(*m_pEp2, 0);
    // The switch forgets its route to ep2 in the map: no table leads there any more.
    CPEPrimitive* pSwitch = nullptr;
    for (const auto& pPE : m_map.ActivePEs)
    {
        if (pPE->uType & kPETypeSwitch)
        {
            pSwitch = pPE.get();
        }
    }
    ASSERT_NE(nullptr, pSwitch);
    for (auto& pTable : pSwitch->RoutingTables)
    {
        const int iEntry = pTable ? pTable->FindEntry(0x0A) : -1;
        if (iEntry >= 0)
        {
            pTable->RemoveAt(iEntry);
        }
    }
    m_pMonitor->Tick();
    EXPECT_TRUE(Item(iFine).bEnabled);
    EXPECT_FALSE(Item(iNoRoute).bEnabled);
    EXPECT_EQ(QStringList({"Watch item 2 disabled.  Must synchronize routing tables."}),
              m_pMonitor->LogLines());
    EXPECT_TRUE(m_ui.messages.isEmpty()) << "the log tells, no message box";

    // A RapidIO error: the item stops with the status.
    m_pTransport->nReadStatus = -305;
    m_pMonitor->Tick();
    EXPECT_FALSE(Item(iFine).bEnabled);
    EXPECT_EQ(QStringLiteral("Watch item 1 disabled due to RapidIO error -305"),
              m_pMonitor->LogLines().last());
    m_pTransport->nReadStatus = 0;

    // A PE that is gone skips its poll and stays enabled.
    ASSERT_TRUE(m_pMonitor->SetEnabled(iFine, true));
    Item(iFine).iPEID = 99;
    const int nReads = m_pTransport->nReads;
    m_pMonitor->Tick();
    EXPECT_TRUE(Item(iFine).bEnabled);
    EXPECT_EQ(nReads, m_pTransport->nReads);

    // The link drops: the next tick clears every check box, silently; the values stay.
    Item(iFine).iPEID = m_map.ActivePEs.GetIndexOf(m_pEp1);
    ASSERT_TRUE(m_pMonitor->SetEnabled(iNoRoute, true));
    const size_t nLines = static_cast<size_t>(m_pMonitor->LogLines().size());
    m_pTransport->bOpen = false;
    m_pMonitor->Tick();
    EXPECT_FALSE(Item(iFine).bEnabled);
    EXPECT_FALSE(Item(iNoRoute).bEnabled);
    EXPECT_EQ(nLines, static_cast<size_t>(m_pMonitor->LogLines().size()));
    EXPECT_EQ(nReads, m_pTransport->nReads);
    EXPECT_EQ(2u, m_map.WatchItems.size());
    // And nothing can be switched on again until it is back.
    EXPECT_FALSE(m_pMonitor->SetEnabled(iFine, true));
    EXPECT_EQ(QStringList({"You must be connected to the target system before you can enable a watch item."}),
              m_ui.messages);
    m_ui.messages.clear();
    m_pMonitor->EnableAll();
    EXPECT_EQ(1, m_ui.messages.size()) << "one message for the lot";
    EXPECT_FALSE(Item(iNoRoute).bEnabled);
}

TEST_F(CWatchTest, TheTriggerWindowsChecksAndTheTableCommands)
{
    const int i = WatchTag(*m_pEp1, 0x1F);
    int nModified = 0;
    m_pMonitor->onModified = [&nModified] { ++nModified; };
    EXPECT_FALSE(
        m_pMonitor->SetTrigger(i, eTriggerBetweenExclusive, QStringLiteral("20"), QStringLiteral("20")));
    EXPECT_FALSE(m_pMonitor->SetTrigger(i, eTriggerEqualTo, QStringLiteral("xyz"), QString()));
    EXPECT_FALSE(m_pMonitor->SetTrigger(i, eTriggerEqualTo, QString(), QString()));
    EXPECT_EQ(QStringList({"X2 must be larger than X1", "Invalid data entry.", "Invalid data entry."}),
              m_ui.messages);
    EXPECT_EQ(eTriggerChange, Item(i).eType) << "a refused entry changes nothing";
    EXPECT_EQ(0, nModified);
    // A box the type doesn't need isn't read.
    EXPECT_TRUE(m_pMonitor->SetTrigger(i, eTriggerLessThan, QStringLiteral("101b"), QStringLiteral("junk")));
    EXPECT_EQ(5u, Item(i).uParam1);
    EXPECT_EQ(1, nModified);

    // The cells as the window shows them.
    m_pMonitor->SetAction(i, eWatchActionHighlightPE);
    m_pMonitor->SetLog(i, eWatchLogTriggers);
    m_pMonitor->SetPeriod(i, 3);
    const QStringList expected = {"1",
                                  QString::number(m_pEp1->iNodeNumber + 1),
                                  "0005h",
                                  "Component Tag CSR",
                                  "<All>",
                                  "0000001F",
                                  "BF < 5",
                                  "0",
                                  "Highlight PE",
                                  "Triggers",
                                  "3 Seconds"};
    for (int c = 0; c < eWatchColCount; ++c)
    {
        EXPECT_EQ(expected[c], m_pMonitor->CellText(i, c)) << "column " << c;
    }
    EXPECT_EQ(11, WatchColumnHeadings().size());
    Item(i).uDestID = 0xFFFF;
    EXPECT_EQ(QString(), m_pMonitor->CellText(i, eWatchColDestID));

    Item(i).iNumEvents = 7;
    m_pMonitor->ResetEvents(i);
    EXPECT_EQ(0, Item(i).iNumEvents);
    // Removing asks first.
    m_ui.answers = {eAnswerNo};
    EXPECT_FALSE(m_pMonitor->Remove(i));
    EXPECT_EQ(QStringList({"Remove this watch item?"}), m_ui.questions);
    EXPECT_TRUE(m_pMonitor->Remove(i));
    EXPECT_TRUE(m_map.WatchItems.empty());
}

TEST_F(CWatchTest, TheSavedMapKeepsTheTableButNotItsRunningState)
{
    const int i = WatchTag(*m_pEp1, 3);
    m_pMonitor->SetAction(i, eWatchActionHighlightPE);
    m_pMonitor->SetLog(i, eWatchLogAll);
    m_pMonitor->SetTrigger(i, eTriggerNotBetweenInclusive, QStringLiteral("4"), QStringLiteral("9"));
    EXPECT_TRUE(TickWith(i, 0x1234));
    EXPECT_TRUE(TickWith(i, 0x1235));
    ASSERT_TRUE(Item(i).bHighlighted);
    const WatchItem before = Item(i);

    const QString strPath = QString::fromStdString(ProcessTempDir()) + "/watch-roundtrip.nvm";
    ASSERT_TRUE(m_map.SaveAs(strPath));
    QFile file(strPath);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(file.readAll().contains("\t\t\t<BFName>&lt;All&gt;</BFName>\n"));
    CNetworkDocument reloaded;
    ASSERT_TRUE(reloaded.Open(strPath)) << m_ui.messages.join('|').toStdString();
    ASSERT_EQ(1u, reloaded.WatchItems.size());
    const WatchItem& after = reloaded.WatchItems[0];
    EXPECT_EQ(before.eType, after.eType);
    EXPECT_EQ(before.iPEID, after.iPEID);
    EXPECT_EQ(before.uDestID, after.uDestID);
    EXPECT_EQ(before.RegName, after.RegName);
    EXPECT_EQ(before.uRegOffset, after.uRegOffset);
    EXPECT_EQ(before.BFName, after.BFName);
    EXPECT_EQ(before.uOldValue, after.uOldValue);
    EXPECT_EQ(0x1235u, after.uNewValue);
    EXPECT_EQ(4u, after.uParam1);
    EXPECT_EQ(9u, after.uParam2);
    EXPECT_EQ(eWatchLogAll, after.eLog);
    EXPECT_EQ(1, after.iUpdatePeriod);
    EXPECT_EQ(eWatchActionHighlightPE, after.eAction);
    // A loaded item is off, with its counters at rest.
    EXPECT_FALSE(after.bEnabled);
    EXPECT_FALSE(after.bHighlighted);
    EXPECT_EQ(0, after.iTicks);
    EXPECT_EQ(0, after.iNumEvents) << "the file keeps no count of events";
}
} // namespace
} // namespace nvtest

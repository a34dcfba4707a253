// Replaying transaction logs: the writes go out again, the reads are compared, and every line that
// can't be replayed says why.
#include "TransactionReplay.h"

#include "StatusText.h"

#include <gtest/gtest.h>

#include <map>
#include <tuple>

namespace
{
class CLoggedTarget final : public IScriptAccess
{
public:
    bool IsConnected() override { return true; }
    int32_t Write(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t ulValue) override
    {
        writes.emplace_back(ulDestID, uchHop, ulOffset, ulValue);
        if (ulOffset == ulFailingOffset)
        {
            return -20;
        }
        registers[ulOffset] = ulValue;
        return 0;
    }
    int32_t Read(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t* pulValue) override
    {
        reads.emplace_back(ulDestID, uchHop, ulOffset, 0);
        if (ulOffset == ulFailingOffset)
        {
            return -17;
        }
        *pulValue = registers[ulOffset];
        return 0;
    }
    std::map<uint32_t, uint32_t> registers;
    std::vector<std::tuple<uint32_t, int, uint32_t, uint32_t>> writes;
    std::vector<std::tuple<uint32_t, int, uint32_t, uint32_t>> reads;
    uint32_t ulFailingOffset = 0xFFFFFFFF;
};

TEST(TransactionReplay, WritesGoOutAgainAndReadsAreCompared)
{
    CLoggedTarget target;
    target.registers[0x60] = 0x00FF0005;
    const QString strLog =
        QStringLiteral("Maint_write ff 2 1 6c 4 12345678 # Succeeded\n"
                       "Maint_read ff 2 1 6c 4 # 12345678 Succeeded\n"
                       "Maint_read 5 2 0 60 4 # ff0001 Succeeded\n"
                       "Maint_write ffffffff 2 0 68 4 1 # Failed -11\n"
                       "Maint_read ffffffff 2 0 0 4 # \n"
                       "Maint_read 5 2 0 158 40 # 1 2 3 4 5 6 7 8 9 a b c d e f 10 Succeeded\n"
                       "Nread 5 0 2 0000001000 8 # 1 2 3 4 5 6 7 8 Succeeded\n"
                       "Maint_read 5 2 zz 60 4 # 1 Succeeded\n"
                       "\n");
    const SReplayResult result = ReplayTransactionLog(strLog, target);
    EXPECT_FALSE(result.bFailed);
    EXPECT_EQ(1, result.nWrites);
    EXPECT_EQ(2, result.nReads);
    EXPECT_EQ(1, result.nMismatches);
    EXPECT_EQ(5, result.nSkipped);
    ASSERT_EQ(1u, target.writes.size());
    EXPECT_EQ(std::make_tuple(0xFFu, 1, 0x6Cu, 0x12345678u), target.writes[0]);
    EXPECT_EQ(0x12345678u, target.registers[0x6C]);
    ASSERT_EQ(2u, target.reads.size());
    EXPECT_EQ(std::make_tuple(5u, 0, 0x60u, 0u), target.reads[1]);
    EXPECT_EQ((QStringList{
                  QStringLiteral(
                      "Line 3: read of offset 60h at destID 5h hop 0h gave FF0005h, the log has FF0001h"),
                  QStringLiteral("Line 4: skipped: the transaction did not succeed when it was logged"),
                  QStringLiteral("Line 5: skipped: the transaction did not succeed when it was logged"),
                  QStringLiteral(
                      "Line 6: skipped: only single 32-bit words are replayed (the log holds no stride)"),
                  QStringLiteral("Line 7: skipped: only maintenance transactions are replayed"),
                  QStringLiteral("Line 8: skipped: not a line of a transaction log"),
              }),
              result.lines);
}

TEST(TransactionReplay, AFailingTransactionEndsTheReplay)
{
    CLoggedTarget target;
    target.ulFailingOffset = 0x6C;
    SReplayResult result = ReplayTransactionLog(QStringLiteral("Maint_write 5 2 0 60 4 1 # Succeeded\n"
                                                               "Maint_write 5 2 0 6c 4 1 # Succeeded\n"
                                                               "Maint_write 5 2 0 70 4 1 # Succeeded\n"),
                                                target);
    EXPECT_TRUE(result.bFailed);
    EXPECT_EQ(1, result.nWrites);
    EXPECT_EQ(2u, target.writes.size()) << "nothing after the failure";
    EXPECT_EQ(QStringList{QStringLiteral("Line 2: write failed: ") + RioErrorText(-20)}, result.lines);

    result = ReplayTransactionLog(QStringLiteral("Maint_read 5 2 0 6c 4 # 1 Succeeded\r\n"), target);
    EXPECT_TRUE(result.bFailed);
    EXPECT_EQ(QStringList{QStringLiteral("Line 1: read failed: ") + RioErrorText(-17)}, result.lines);
}

TEST(TransactionReplay, ReadsOfOneOrTwoBytesAreNotTakenForWords)
{
    CLoggedTarget target;
    // A 2-byte read of one word: the head's count is 2.
    const SReplayResult result =
        ReplayTransactionLog(QStringLiteral("Maint_read 5 2 0 60 2 # ff Succeeded"), target);
    EXPECT_EQ(0, result.nReads);
    EXPECT_EQ(1, result.nSkipped);
    EXPECT_TRUE(target.reads.empty());
}
} // namespace

// The file ciphers: AES-256 on each whole 16-byte block, the tail left as it is, separate keys.
#include "Cipher.h"

#include <gtest/gtest.h>

TEST(Cipher, BlocksAreEncipheredOneByOneAndTheTailStays)
{
    const QByteArray plain = QByteArray(16, 'A') + QByteArray(16, 'A') + QByteArray("tail!", 5);
    QByteArray buffer = plain;
    ASSERT_TRUE(EncipherBuffer(buffer, ECipherKey::MapFile));
    ASSERT_EQ(buffer.size(), plain.size());
    EXPECT_NE(buffer.left(16), plain.left(16));
    // No chaining: equal blocks give equal output.
    EXPECT_EQ(buffer.mid(0, 16), buffer.mid(16, 16));
    EXPECT_EQ(buffer.right(5), QByteArray("tail!"));

    QByteArray other = plain;
    ASSERT_TRUE(EncipherBuffer(other, ECipherKey::RegisterFile));
    EXPECT_NE(other.left(16), buffer.left(16));

    ASSERT_TRUE(DecipherBuffer(buffer, ECipherKey::MapFile));
    EXPECT_EQ(buffer, plain);
    QByteArray wrongKey = other;
    ASSERT_TRUE(DecipherBuffer(wrongKey, ECipherKey::MapFile));
    EXPECT_NE(wrongKey, plain);

    QByteArray shortBuffer("fifteen bytes..", 15);
    ASSERT_TRUE(EncipherBuffer(shortBuffer, ECipherKey::MapFile));
    EXPECT_EQ(shortBuffer, QByteArray("fifteen bytes..", 15));
}

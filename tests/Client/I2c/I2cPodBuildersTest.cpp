// The byte-level builders of the two hardware pods: the I2C_RDWR messages of the kernel pod, held
// against the layout of <linux/i2c.h>, and the MPSSE command streams of the FTDI pod, held against
// FTDI's AN_108 opcodes. Neither needs the hardware.
#include "I2cKernelPod.h"
#include "I2cMpssePod.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <cstddef>

namespace
{
TEST(I2cKernelPodTest, MessagesFollowTheKernelLayout)
{
    // The kernel reads struct i2c_msg as addr, flags, len (16 bits each) and the buffer pointer;
    // I2C_RDWR takes them through i2c_rdwr_ioctl_data. A change of either would corrupt every
    // transfer, so the builder's output is read back field by field.
    static_assert(offsetof(i2c_msg, addr) == 0 && offsetof(i2c_msg, flags) == 2 &&
                  offsetof(i2c_msg, len) == 4);
    static_assert(sizeof(i2c_rdwr_ioctl_data::nmsgs) == 4);

    SI2cHeldWrite held;
    held.bHeld = true;
    held.ulAddress = 0x03;
    held.bytes = {0x00, 0x00, 0x00};
    uint8_t abRead[4] = {};
    std::vector<i2c_msg> messages;
    ASSERT_EQ(eI2cOk, BuildI2cMessages(held, 0x03, true, abRead, 4, &messages));
    // The held address write and the read go in one I2C_RDWR: a repeated start between them.
    ASSERT_EQ(2u, messages.size());
    EXPECT_EQ(0x03, messages[0].addr);
    EXPECT_EQ(0, messages[0].flags);
    EXPECT_EQ(3, messages[0].len);
    EXPECT_EQ(held.bytes.data(), messages[0].buf);
    EXPECT_EQ(0x03, messages[1].addr);
    EXPECT_EQ(I2C_M_RD, messages[1].flags);
    EXPECT_EQ(4, messages[1].len);
    EXPECT_EQ(abRead, messages[1].buf);

    // A plain write with a stop is one message.
    SI2cHeldWrite none;
    uint8_t abWrite[7] = {0, 0, 0x1B, 0x12, 0x34, 0x56, 0x78};
    ASSERT_EQ(eI2cOk, BuildI2cMessages(none, 0x50, false, abWrite, 7, &messages));
    ASSERT_EQ(1u, messages.size());
    EXPECT_EQ(0x50, messages[0].addr);
    EXPECT_EQ(0, messages[0].flags);
    EXPECT_EQ(7, messages[0].len);
}

TEST(I2cKernelPodTest, TenBitAddressesBecomeTenBitMessages)
{
    // The layer forms a 10-bit address as 11110xx and the low byte at the head of the data; the
    // kernel wants the whole address with I2C_M_TEN and the data without that byte.
    SI2cHeldWrite held;
    held.bHeld = true;
    held.ulAddress = 0x78 | 2;
    held.bytes = {0xA5, 0x00, 0x00, 0x00};
    uint8_t abRead[4] = {};
    std::vector<i2c_msg> messages;
    ASSERT_EQ(eI2cOk, BuildI2cMessages(held, 0x78 | 2, true, abRead, 4, &messages));
    ASSERT_EQ(2u, messages.size());
    EXPECT_EQ(0x2A5, messages[0].addr);
    EXPECT_EQ(I2C_M_TEN, messages[0].flags);
    EXPECT_EQ(3, messages[0].len);
    EXPECT_EQ(held.bytes.data() + 1, messages[0].buf);
    EXPECT_EQ(0x2A5, messages[1].addr);
    EXPECT_EQ(I2C_M_TEN | I2C_M_RD, messages[1].flags);

    SI2cHeldWrite none;
    uint8_t abWrite[4] = {0x13, 1, 2, 3};
    ASSERT_EQ(eI2cOk, BuildI2cMessages(none, 0x79, false, abWrite, 4, &messages));
    ASSERT_EQ(1u, messages.size());
    EXPECT_EQ(0x113, messages[0].addr);
    EXPECT_EQ(I2C_M_TEN, messages[0].flags);
    EXPECT_EQ(3, messages[0].len);

    // A 10-bit read with no address before it, or one to another device than the held write's,
    // names no device.
    EXPECT_EQ(eI2cInvalidParameter, BuildI2cMessages(none, 0x79, true, abRead, 4, &messages));
    EXPECT_EQ(eI2cInvalidParameter, BuildI2cMessages(held, 0x79, true, abRead, 4, &messages));
    // Nor can a message longer than the kernel takes.
    std::vector<uint8_t> big(8193);
    EXPECT_EQ(eI2cInvalidParameter, BuildI2cMessages(none, 0x50, true, big.data(), 8193, &messages));
}

TEST(I2cKernelPodTest, AdaptersAreListedAndOpenFailuresTold)
{
    QTemporaryDir sys;
    QTemporaryDir dev;
    ASSERT_TRUE(sys.isValid() && dev.isValid());
    for (const auto& [pszName, pszDescription] :
         {std::pair{"i2c-3", "SMBus I801 adapter"}, {"i2c-10", "i915 gmbus"}})
    {
        ASSERT_TRUE(QDir(sys.path()).mkpath(QString::fromLatin1(pszName)));
        QFile name(sys.filePath(QStringLiteral("%1/name").arg(QString::fromLatin1(pszName))));
        ASSERT_TRUE(name.open(QIODevice::WriteOnly));
        name.write(QByteArray(pszDescription) + "\n");
    }
    ASSERT_TRUE(QDir(sys.path()).mkpath(QStringLiteral("other")));
    // A device file that is no adapter: the I2C_FUNCS ioctl fails on it.
    QFile notAdapter(dev.filePath(QStringLiteral("i2c-3")));
    ASSERT_TRUE(notAdapter.open(QIODevice::WriteOnly));
    notAdapter.close();

    CI2cKernelPod pod(dev.path(), sys.path());
    uint32_t ulCount = 0;
    ASSERT_EQ(eI2cOk, pod.GetNumChannels(&ulCount));
    ASSERT_EQ(2u, ulCount);
    SI2cChannelInfo info;
    ASSERT_EQ(eI2cOk, pod.GetChannelInfo(0, &info));
    EXPECT_EQ(QStringLiteral("i915 gmbus"), info.strDescription);
    EXPECT_EQ(10u, info.ulId);
    ASSERT_EQ(eI2cOk, pod.GetChannelInfo(1, &info));
    EXPECT_EQ(QStringLiteral("SMBus I801 adapter"), info.strDescription);
    EXPECT_EQ(3u, info.ulId);
    EXPECT_EQ(eI2cInvalidParameter, pod.GetChannelInfo(2, &info));

    intptr_t hChannel = 0;
    EXPECT_EQ(eI2cDeviceNotOpened, pod.OpenChannel(3, &hChannel));
    EXPECT_EQ(eI2cDeviceNotFound, pod.OpenChannel(10, &hChannel));
    uint32_t ulDone = 0;
    uint8_t ab[1] = {};
    EXPECT_EQ(eI2cInvalidHandle, pod.DeviceRead(12345, 0x50, 1, ab, &ulDone, kI2cStartStop));
}

// MPSSE commands of one I2C byte as AN_108 numbers them.
TEST(I2cMpsseTest, CommandStreamsUseTheMpsseOpcodes)
{
    // 100 kHz with three-phase clocking: 60 MHz / ((1 + 199) x 3).
    EXPECT_EQ(199, mpsse::ClockDivisor(100000));
    EXPECT_EQ(49, mpsse::ClockDivisor(400000));
    std::vector<uint8_t> setup;
    mpsse::AppendSetup(setup, 100000);
    ASSERT_GE(setup.size(), 7u);
    EXPECT_EQ((std::vector<uint8_t>{0x8A, 0x97, 0x8C, 0x86, 199, 0, 0x85}),
              std::vector<uint8_t>(setup.begin(), setup.begin() + 7));

    std::vector<uint8_t> start;
    mpsse::AppendStart(start);
    // SDA falls while SCL stays high, then SCL falls: the values of the three phases in order.
    std::vector<uint8_t> values;
    for (size_t i = 0; i + 2 < start.size(); i += 3)
    {
        ASSERT_EQ(0x80, start[i]);
        if (values.empty() || values.back() != start[i + 1])
        {
            values.push_back(start[i + 1]);
        }
    }
    EXPECT_EQ((std::vector<uint8_t>{0x03, 0x01, 0x00}), values);

    std::vector<uint8_t> write;
    mpsse::AppendWriteByte(write, 0xA6);
    const std::vector<uint8_t> clockOut = {0x11, 0x00, 0x00, 0xA6};
    EXPECT_NE(write.end(), std::search(write.begin(), write.end(), clockOut.begin(), clockOut.end()));
    // The acknowledge: SDA released (direction SCL only), then one bit clocked in.
    const std::vector<uint8_t> ack = {0x80, 0x00, 0x01, 0x22, 0x00};
    EXPECT_TRUE(std::equal(ack.rbegin(), ack.rend(), write.rbegin()));

    std::vector<uint8_t> readLast;
    mpsse::AppendReadByte(readLast, false);
    const std::vector<uint8_t> nak = {0x13, 0x00, 0xFF};
    EXPECT_NE(readLast.end(), std::search(readLast.begin(), readLast.end(), nak.begin(), nak.end()));
    std::vector<uint8_t> readMore;
    mpsse::AppendReadByte(readMore, true);
    const std::vector<uint8_t> ackBit = {0x13, 0x00, 0x00};
    EXPECT_NE(readMore.end(), std::search(readMore.begin(), readMore.end(), ackBit.begin(), ackBit.end()));

    std::vector<uint8_t> stop;
    mpsse::AppendStop(stop);
    // Ends with both lines released.
    EXPECT_TRUE(std::equal(stop.end() - 3, stop.end(), std::vector<uint8_t>{0x80, 0x03, 0x00}.begin()));
}
} // namespace

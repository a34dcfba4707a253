// The I2C pod of a Linux i2c-dev adapter (/dev/i2c-N). A write without a stop is held and goes
// out with the next transfer in one I2C_RDWR, so the device sees a repeated start between them.
#pragma once

#include "I2cPod.h"

#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include <map>
#include <vector>

// A write held until the transfer that follows it.
struct SI2cHeldWrite
{
    bool bHeld = false;
    uint32_t ulAddress = 0; // 7-bit address as the caller gave it (78h..7Bh for 10-bit)
    std::vector<uint8_t> bytes;
};

// The messages of one I2C_RDWR: the held write (if any) and then the transfer. A 10-bit address
// (a first byte 78h..7Bh) becomes an I2C_M_TEN message whose address takes the low byte from the
// start of the write; a read that follows reuses it. False (eI2cInvalidParameter) when the
// transfer can't be expressed: a 10-bit read with nothing before it, a message over 8192 bytes.
// The messages point into held and pbBuffer, which must outlive them.
int32_t BuildI2cMessages(SI2cHeldWrite& held, uint32_t ulAddress, bool bRead, uint8_t* pbBuffer,
                         uint32_t ulCount, std::vector<i2c_msg>* pMessages);

class CI2cKernelPod : public II2cPod
{
public:
    // sDevDir: where the adapters' device files are (normally /dev); sSysDir: their class folder
    // (normally /sys/class/i2c-dev), whose entries' name files describe the adapters.
    CI2cKernelPod(QString strDevDir = QStringLiteral("/dev"),
                  QString strSysDir = QStringLiteral("/sys/class/i2c-dev"));
    ~CI2cKernelPod() override;

    int32_t GetNumChannels(uint32_t* pulChannels) override;
    int32_t GetChannelInfo(uint32_t ulIndex, SI2cChannelInfo* pInfo) override;
    int32_t OpenChannel(uint32_t ulId, intptr_t* phChannel) override;
    int32_t InitChannel(intptr_t hChannel, uint32_t ulClockHz) override;
    int32_t CloseChannel(intptr_t hChannel) override;
    int32_t DeviceRead(intptr_t hChannel, uint32_t ulAddress, uint32_t ulCount, uint8_t* pbBuffer,
                       uint32_t* pulTransferred, uint32_t ulOptions) override;
    int32_t DeviceWrite(intptr_t hChannel, uint32_t ulAddress, uint32_t ulCount, const uint8_t* pbBuffer,
                        uint32_t* pulTransferred, uint32_t ulOptions) override;

private:
    void Scan();
    int32_t Transfer(intptr_t hChannel, uint32_t ulAddress, bool bRead, uint8_t* pbBuffer, uint32_t ulCount,
                     bool bStop, uint32_t* pulTransferred);

    QString m_strDevDir;
    QString m_strSysDir;
    std::vector<SI2cChannelInfo> m_channels;
    std::map<intptr_t, SI2cHeldWrite> m_held; // by file descriptor
};

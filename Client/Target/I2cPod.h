// An I2C pod: a master that reaches a RapidIO device's I2C register port or a serial EEPROM.
// Every pod offers the same seven operations, whatever drives it: a kernel i2c-dev adapter, an
// FTDI MPSSE cable through libftdi1, or a pod library loaded at run time (the ABI below).
#pragma once

#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

// Option flags of a transfer: a start condition before it, a stop condition after it. A transfer
// with a start and no stop leaves the bus held, so the next one begins with a repeated start.
enum : uint32_t
{
    kI2cStart = 0x01,
    kI2cStop = 0x02,
    kI2cStartStop = kI2cStart | kI2cStop,
};

// Results of the pod operations (0 is success). A person sees them as the number in "failed with
// error %d".
enum EI2cPodStatus : int32_t
{
    eI2cOk = 0,
    eI2cInvalidHandle = 1,    // no such channel open
    eI2cDeviceNotFound = 2,   // the pod is gone (unplugged)
    eI2cDeviceNotOpened = 3,  // the channel could not be opened
    eI2cIoError = 4,          // the transfer broke off
    eI2cInvalidParameter = 6, // a count, address or option the pod can't carry
    eI2cAddressNak = 32,      // no device acknowledged the address
    eI2cDataNak = 33,         // the device refused a data byte
};

// A text for a pod status, for logs and the CLI.
QString I2cPodStatusText(int32_t nStatus);

struct SI2cChannelInfo
{
    QString strDescription; // what the pod calls the channel
    uint32_t ulId = 0;      // the number OpenChannel takes
};

class II2cPod
{
public:
    virtual ~II2cPod() = default;
    virtual int32_t GetNumChannels(uint32_t* pulChannels) = 0;
    virtual int32_t GetChannelInfo(uint32_t ulIndex, SI2cChannelInfo* pInfo) = 0;
    virtual int32_t OpenChannel(uint32_t ulId, intptr_t* phChannel) = 0;
    // Sets the clock (Hz) and readies the bus.
    virtual int32_t InitChannel(intptr_t hChannel, uint32_t ulClockHz) = 0;
    virtual int32_t CloseChannel(intptr_t hChannel) = 0;
    // ulAddress is the 7-bit address; 10-bit addressing is formed by the caller (78h or the two
    // top bits, the low byte first in the data). *pulTransferred counts the bytes that went.
    virtual int32_t DeviceRead(intptr_t hChannel, uint32_t ulAddress, uint32_t ulCount, uint8_t* pbBuffer,
                               uint32_t* pulTransferred, uint32_t ulOptions) = 0;
    virtual int32_t DeviceWrite(intptr_t hChannel, uint32_t ulAddress, uint32_t ulCount,
                                const uint8_t* pbBuffer, uint32_t* pulTransferred, uint32_t ulOptions) = 0;
};

// The pods of this build, by the pod index of a connection's address word.
enum EI2cPodKind : uint32_t
{
    eI2cPodKernel = 0,  // /dev/i2c-N; the channel is N
    eI2cPodFtdi = 1,    // FTDI MPSSE cables; the channel counts the accepted cables from 0
    eI2cPodLibrary = 2, // the pod library named by NORVANTA_I2C_POD; its channel numbers
    eI2cPodKinds = 3,
};

// The pod library a run uses: the path in the environment variable NORVANTA_I2C_POD, or empty.
QString I2cPodLibraryPath();

// Makes the pod of a kind; null when this machine can't offer it (no library, no libftdi1).
std::unique_ptr<II2cPod> MakeI2cPod(EI2cPodKind eKind);

// ABI of a pod library: a shared object exporting these seven C functions. Results are the
// statuses above; handles are opaque pointers the library hands out.
extern "C"
{
    typedef int32_t (*PFN_I2C_GetNumChannels)(uint32_t* pulChannels);
    // Writes the channel's description (NUL-terminated, cut to ulSize) and its id.
    typedef int32_t (*PFN_I2C_GetChannelInfo)(uint32_t ulIndex, char* pszDescription, uint32_t ulSize,
                                              uint32_t* pulId);
    typedef int32_t (*PFN_I2C_OpenChannel)(uint32_t ulId, void** ppHandle);
    typedef int32_t (*PFN_I2C_InitChannel)(void* pHandle, uint32_t ulClockHz);
    typedef int32_t (*PFN_I2C_CloseChannel)(void* pHandle);
    typedef int32_t (*PFN_I2C_DeviceRead)(void* pHandle, uint32_t ulAddress, uint32_t ulCount,
                                          uint8_t* pbBuffer, uint32_t* pulTransferred, uint32_t ulOptions);
    typedef int32_t (*PFN_I2C_DeviceWrite)(void* pHandle, uint32_t ulAddress, uint32_t ulCount,
                                           const uint8_t* pbBuffer, uint32_t* pulTransferred,
                                           uint32_t ulOptions);
}

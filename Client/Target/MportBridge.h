// A local Tsi721 bridge through the Linux RapidIO mport character device (/dev/rio_mportN): the
// register paths of the PCIe link.
//
// The device calls are the kernel's (open, the ioctls of <linux/rio_mport_cdev.h>, close) and,
// for the PCI configuration space, the function's `config` file in sysfs. When the environment
// names a library in NORVANTA_MPORT_LIBRARY, the same calls go to that library instead (the
// simulated bridge of the tests exports them: see kMportLibrary* below); nothing else differs.
#pragma once

#include "DirectLinks.h"

#include <QString>

#include <cstdint>
#include <memory>

// The device calls of one open mport. Results are 0 or a negative errno.
class IMportDevice
{
public:
    virtual ~IMportDevice() = default;
    virtual int Ioctl(unsigned long ulRequest, void* pvArg) = 0;
    virtual int PciConfigRead(uint32_t ulOffset, uint32_t* pulValue) = 0;
};

// The exports of a library that stands in for the kernel's mport device:
//   int  nv_mport_open(uint32_t ulIndex, int* pnHandle);             0 or -errno
//   int  nv_mport_ioctl(int nHandle, unsigned long ulRequest, void* pvArg);
//   int  nv_mport_pci_config_read(int nHandle, uint32_t ulOffset, uint32_t* pulValue);
//   void nv_mport_close(int nHandle);
inline constexpr const char* kMportLibraryVariable = "NORVANTA_MPORT_LIBRARY";
using MportOpenFn = int (*)(uint32_t, int*);
using MportIoctlFn = int (*)(int, unsigned long, void*);
using MportPciConfigReadFn = int (*)(int, uint32_t, uint32_t*);
using MportCloseFn = void (*)(int);

// Why an mport could not be opened.
enum class EMportOpen
{
    Ok,
    NoDriver, // no mport driver on this machine (or the stand-in library did not load)
    NoBridge, // the driver is there, but no bridge of that index, or it is not a Tsi721
    NoAccess, // the device exists but may not be opened by this user
    Failed,   // anything else; the text says what
};

struct SMportOpenResult
{
    std::unique_ptr<IMportDevice> pDevice;
    EMportOpen eWhy = EMportOpen::Failed;
    QString strDetail; // the system's words, for NoAccess and Failed
};

// Opens mport ulIndex through the library the environment names or through the kernel.
SMportOpenResult OpenMportDevice(uint32_t ulIndex);

// The PCI function's configuration file of the mport whose class folder is strClassDir
// (/sys/class/rio_mport/rio_mportN): the first `config` file found going up its `device` links.
// Empty if there is none.
QString FindPciConfigFile(const QString& strClassDir);

// The Tsi721 behind one open mport.
class CMportBridge : public ITsi721Bridge
{
public:
    explicit CMportBridge(std::unique_ptr<IMportDevice> pDevice);

    bool PciCfgRead(uint32_t ulOffset, uint32_t* pulValue) override;
    bool RegisterRead(uint32_t ulOffset, uint32_t* pulValue) override;
    bool RegisterWrite(uint32_t ulOffset, uint32_t ulValue) override;
    bool SrioMaintRead(uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
                       uint32_t* pulValue) override;
    bool SrioMaintWrite(uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset, uint32_t ulValue) override;
    bool DataRead(uint32_t ulDestID, uint32_t ulAddressHi, uint32_t ulAddressLo, uint32_t ulFlags,
                  void* pvData, uint32_t* pulByteCount) override;
    bool DataWrite(uint32_t ulDestID, uint32_t ulAddressHi, uint32_t ulAddressLo, uint32_t ulFlags,
                   const void* pvData, uint32_t* pulByteCount) override;
    bool GetDestIDs(uint32_t* pulIDs) override;
    void SetDestIDSize(bool bLarge) override;
    void Close() override;

    // The size of the destination IDs the requests carry. The driver fixes it (the mport's
    // common transport size); until it is known the size set last stands.
    bool LargeDestIDs() const { return m_bLarge; }
    // The errno of the last failed call, 0 after a success.
    int LastError() const { return m_nLastError; }

private:
    bool Call(unsigned long ulRequest, void* pvArg);

    std::unique_ptr<IMportDevice> m_pDevice;
    bool m_bLarge = false;
    int m_nDriverLarge = -1; // the driver's transport size: 1 16-bit, 0 8-bit, -1 not known
    int m_nLastError = 0;
};

// Opens bridge ulIndex for the PCIe link: the mport must be there and be a Tsi721. On failure
// the user is shown why and the result is empty.
std::unique_ptr<ITsi721Bridge> OpenMportBridge(uint32_t ulIndex);

// For the PCIe tab: whether an mport driver is present, and whether bridge ulIndex opens as a
// Tsi721 (it is closed again at once).
bool MportDriverPresent();
bool MportBridgeOpens(uint32_t ulIndex);

// The register paths of the links that need no server: a JTAG pod, an I2C pod and a local Tsi721
// bridge. A link of those kinds holds one of these; the transaction front end reads and writes
// device registers through it.
#pragma once

#include <cstdint>

// A device on a JTAG chain or behind an I2C pod: 32-bit registers by offset.
class IRegisterPod
{
public:
    virtual ~IRegisterPod() = default;
    virtual bool ReadRegister(uint32_t ulOffset, uint32_t* pulValue) = 0;
    virtual bool WriteRegister(uint32_t ulOffset, uint32_t ulValue) = 0;
    virtual void Close() = 0;
};

// A local Tsi721 PCIe-to-RapidIO bridge.
class ITsi721Bridge
{
public:
    virtual ~ITsi721Bridge() = default;
    // The bridge's PCI configuration space.
    virtual bool PciCfgRead(uint32_t ulOffset, uint32_t* pulValue) = 0;
    // The bridge's own registers.
    virtual bool RegisterRead(uint32_t ulOffset, uint32_t* pulValue) = 0;
    virtual bool RegisterWrite(uint32_t ulOffset, uint32_t ulValue) = 0;
    // Maintenance transactions into the fabric.
    virtual bool SrioMaintRead(uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
                               uint32_t* pulValue) = 0;
    virtual bool SrioMaintWrite(uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
                                uint32_t ulValue) = 0;
    // NREAD and NWRITE of the 66-bit address forms; ulFlags carries priority, address
    // extension and type as the front end builds them.
    virtual bool DataRead(uint32_t ulDestID, uint32_t ulAddressHi, uint32_t ulAddressLo, uint32_t ulFlags,
                          void* pvData, uint32_t* pulByteCount) = 0;
    virtual bool DataWrite(uint32_t ulDestID, uint32_t ulAddressHi, uint32_t ulAddressLo, uint32_t ulFlags,
                           const void* pvData, uint32_t* pulByteCount) = 0;
    // The bridge's destination IDs: small in the high half, large in the low half.
    virtual bool GetDestIDs(uint32_t* pulIDs) = 0;
    virtual void SetDestIDSize(bool bLarge) = 0;
    virtual void Close() = 0;
};

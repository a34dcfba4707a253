// The I2C pod layer: two device slots on the pods of this machine, 32-bit register access to a
// RapidIO device's I2C register port, byte access to a serial EEPROM and the page-wise writing of
// an EEPROM image. The transaction front end reaches the register port of slot 0 through the
// IRegisterPod that OpenI2CLink attaches to a link of kind 6.
#pragma once

#include "DirectLinks.h"
#include "I2cPod.h"

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

class CTargetLink;

// What a slot talks to.
enum EI2cDevice : uint32_t
{
    eI2cDeviceNone = 0,
    eI2cDeviceRegisters = 1, // a switch or endpoint with 32-bit registers (CPS register port)
    eI2cDeviceTsi = 2,       // a device of the Tsi family
};

// One pod channel as the connection dialog offers it.
struct SI2cPodChannel
{
    EI2cPodKind ePod;
    SI2cChannelInfo info;
};

class CI2cLayer
{
public:
    static constexpr uint32_t kSlots = 2;
    static constexpr uint32_t kClockHz = 100000;

    static CI2cLayer& Instance();

    // Makes the pods at first use. False, with "libMPSSE.dll was not loaded.", when this machine
    // offers none; quiet when bQuiet.
    bool I2CInit(bool bQuiet = false);
    // Replaces the pod of a kind (a test's or a second library); null removes it.
    void SetPod(EI2cPodKind ePod, std::unique_ptr<II2cPod> pPod);
    // The channels of every pod; kernel adapters are listed whatever their description, cables only
    // with one of the accepted descriptions.
    std::vector<SI2cPodChannel> Channels();

    // Opens a slot on a channel; the channel is shared by the slots that use it. False for a slot
    // other than 0 or 1 (no message) and when the channel can't be opened (its message).
    bool I2COpen(uint32_t ulSlot, uint32_t ulPod, uint32_t ulChannel, uint16_t wAddress, bool b7Bit,
                 uint32_t eDevice, uint32_t ulAddrSize = 2);
    void I2CClose(uint32_t ulSlot);
    bool IsOpen(uint32_t ulSlot) const { return ulSlot < kSlots && m_slots[ulSlot].bOpen; }
    uint32_t DeviceKind(uint32_t ulSlot) const { return ulSlot < kSlots ? m_slots[ulSlot].eDevice : 0; }

    // One 32-bit register of the slot's device: the pod status (0 success) after the text of the
    // failing step. bQuiet leaves the texts out (a probe).
    int32_t I2CReadReg(uint32_t ulSlot, uint32_t ulOffset, uint32_t* pulValue, bool bQuiet = false);
    int32_t I2CWriteReg(uint32_t ulSlot, uint32_t ulOffset, uint32_t ulValue);
    // EEPROM bytes at an address.
    int32_t I2CByteRead(uint32_t ulSlot, uint32_t ulCount, uint32_t ulAddress, uint8_t* pbBuffer);
    int32_t I2CByteWrite(uint32_t ulSlot, uint32_t ulCount, uint32_t ulAddress, const uint8_t* pbBuffer);
    // Writes an image from address 0 page by page, each page read back and compared 50 ms after
    // its write. ulPageSize 0 (a part without a page buffer) writes 8 bytes at a time, the page of
    // the smallest 24-series parts. An image larger than ulEepromSize is refused before any byte
    // goes. False after the message of the step that failed.
    bool WriteEEPROM(uint32_t ulSlot, const uint8_t* pbImage, uint32_t ulSize, uint32_t ulPageSize,
                     uint32_t ulEepromSize);

    // Tells a register port of the Tsi family from another device: a Tsi window read of the
    // Device Identity CAR that names Tundra (000Dh) or the Tsi721. Leaves the slot's kind set.
    uint32_t ProbeDeviceKind(uint32_t ulSlot);

private:
    struct SSlot
    {
        bool bOpen = false;
        uint16_t wAddress = 0;
        uint32_t eDevice = eI2cDeviceNone;
        bool b7Bit = true;
        uint32_t ulChannel = 0;
        uint32_t ulAddrSize = 2;
        uint32_t ulPod = 0;
        intptr_t hChannel = 0;
    };
    struct SOpenChannel
    {
        intptr_t hChannel = 0;
        uint32_t ulUsers = 0;
    };

    // The slot's pod, or null.
    II2cPod* PodOf(const SSlot& slot) const;
    // The address byte and the bytes that start every write to the slot's device.
    void AddressBytes(const SSlot& slot, uint8_t* puchAddress, std::vector<uint8_t>* pLead) const;

    std::array<std::unique_ptr<II2cPod>, eI2cPodKinds> m_pods;
    bool m_bInitialised = false;
    std::array<SSlot, kSlots> m_slots{};
    std::vector<std::pair<uint32_t, SOpenChannel>> m_channels; // by (pod << 8) | channel
};

// The register path of a link of kind 6: slot 0 of the layer.
class CI2cRegisterPod : public IRegisterPod
{
public:
    bool ReadRegister(uint32_t ulOffset, uint32_t* pulValue) override;
    bool WriteRegister(uint32_t ulOffset, uint32_t ulValue) override;
    void Close() override;
};

// Opens slot 0 on the link's pod, channel and address, tells the device's kind, and attaches the
// register path. False after the layer's message.
bool OpenI2CLink(CTargetLink& link);

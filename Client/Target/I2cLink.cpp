#include "I2cLink.h"

#include "DebugLog.h"
#include "TargetLink.h"
#include "UserInterface.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace
{
// What a page of an EEPROM needs after its stop before it is read back: the write cycle of the
// 24-series parts is at most 5 ms (10 ms for the oldest); 50 ms leaves room for any of them.
constexpr auto kPageSettle = std::chrono::milliseconds(50);
// A part with no page buffer of its own is written in pieces this size.
constexpr uint32_t kDefaultPiece = 8;

void Say(const QString& strText)
{
    ShowMessage(strText);
}

uint32_t ChannelKey(uint32_t ulPod, uint32_t ulChannel)
{
    return (ulPod << 8) | (ulChannel & 0xFF);
}
} // namespace

CI2cLayer& CI2cLayer::Instance()
{
    static CI2cLayer layer;
    return layer;
}

bool CI2cLayer::I2CInit(bool bQuiet)
{
    if (!m_bInitialised)
    {
        for (uint32_t ulPod = 0; ulPod < eI2cPodKinds; ++ulPod)
        {
            if (!m_pods[ulPod])
            {
                m_pods[ulPod] = MakeI2cPod(static_cast<EI2cPodKind>(ulPod));
            }
        }
        m_bInitialised = true;
    }
    const bool bAny =
        std::any_of(m_pods.begin(), m_pods.end(), [](const auto& pPod) { return pPod != nullptr; });
    if (!bAny && !bQuiet)
    {
        Say(QStringLiteral("libMPSSE.dll was not loaded."));
    }
    return bAny;
}

void CI2cLayer::SetPod(EI2cPodKind ePod, std::unique_ptr<II2cPod> pPod)
{
    for (uint32_t ulSlot = 0; ulSlot < kSlots; ++ulSlot)
    {
        if (m_slots[ulSlot].bOpen && m_slots[ulSlot].ulPod == ePod)
        {
            I2CClose(ulSlot);
        }
    }
    m_pods[ePod] = std::move(pPod);
}

std::vector<SI2cPodChannel> CI2cLayer::Channels()
{
    I2CInit(true);
    std::vector<SI2cPodChannel> channels;
    for (uint32_t ulPod = 0; ulPod < eI2cPodKinds; ++ulPod)
    {
        II2cPod* pPod = m_pods[ulPod].get();
        uint32_t ulCount = 0;
        if (!pPod || pPod->GetNumChannels(&ulCount) != eI2cOk)
        {
            continue;
        }
        for (uint32_t i = 0; i < ulCount; ++i)
        {
            SI2cPodChannel channel{static_cast<EI2cPodKind>(ulPod), {}};
            if (pPod->GetChannelInfo(i, &channel.info) == eI2cOk)
            {
                channels.push_back(channel);
            }
        }
    }
    return channels;
}

II2cPod* CI2cLayer::PodOf(const SSlot& slot) const
{
    return slot.ulPod < eI2cPodKinds ? m_pods[slot.ulPod].get() : nullptr;
}

bool CI2cLayer::I2COpen(uint32_t ulSlot, uint32_t ulPod, uint32_t ulChannel, uint16_t wAddress, bool b7Bit,
                        uint32_t eDevice, uint32_t ulAddrSize)
{
    if (ulSlot >= kSlots)
    {
        return false;
    }
    if (!I2CInit())
    {
        return false;
    }
    if (m_slots[ulSlot].bOpen)
    {
        I2CClose(ulSlot);
    }
    II2cPod* pPod = ulPod < eI2cPodKinds ? m_pods[ulPod].get() : nullptr;
    if (!pPod)
    {
        Say(QStringLiteral("libMPSSE.dll was not loaded."));
        return false;
    }
    const uint32_t ulKey = ChannelKey(ulPod, ulChannel);
    auto it = std::find_if(m_channels.begin(), m_channels.end(),
                           [&](const auto& entry) { return entry.first == ulKey; });
    if (it == m_channels.end())
    {
        intptr_t hChannel = 0;
        int32_t nStatus = pPod->OpenChannel(ulChannel, &hChannel);
        if (nStatus == eI2cOk)
        {
            nStatus = pPod->InitChannel(hChannel, kClockHz);
            if (nStatus != eI2cOk)
            {
                pPod->CloseChannel(hChannel);
            }
        }
        if (nStatus != eI2cOk)
        {
            Say(QStringLiteral("Unable to open channel %1 of the I2C pod: %2 (error %3).")
                    .arg(ulChannel)
                    .arg(I2cPodStatusText(nStatus))
                    .arg(nStatus));
            return false;
        }
        m_channels.push_back({ulKey, SOpenChannel{hChannel, 0}});
        it = m_channels.end() - 1;
    }
    ++it->second.ulUsers;
    SSlot& slot = m_slots[ulSlot];
    slot.bOpen = true;
    slot.wAddress = static_cast<uint16_t>(wAddress & (b7Bit ? 0x7F : 0x3FF));
    slot.b7Bit = b7Bit;
    slot.eDevice = eDevice;
    slot.ulChannel = ulChannel;
    slot.ulAddrSize = ulAddrSize == 1 ? 1 : 2;
    slot.ulPod = ulPod;
    slot.hChannel = it->second.hChannel;
    return true;
}

void CI2cLayer::I2CClose(uint32_t ulSlot)
{
    if (ulSlot >= kSlots || !m_slots[ulSlot].bOpen)
    {
        return;
    }
    SSlot& slot = m_slots[ulSlot];
    const uint32_t ulKey = ChannelKey(slot.ulPod, slot.ulChannel);
    auto it = std::find_if(m_channels.begin(), m_channels.end(),
                           [&](const auto& entry) { return entry.first == ulKey; });
    if (it != m_channels.end() && --it->second.ulUsers == 0)
    {
        if (II2cPod* pPod = PodOf(slot))
        {
            pPod->CloseChannel(it->second.hChannel);
        }
        m_channels.erase(it);
    }
    slot = SSlot{};
}

void CI2cLayer::AddressBytes(const SSlot& slot, uint8_t* puchAddress, std::vector<uint8_t>* pLead) const
{
    pLead->clear();
    if (slot.b7Bit)
    {
        *puchAddress = static_cast<uint8_t>(slot.wAddress & 0x7F);
        return;
    }
    // 10-bit addressing: 11110 and the two top address bits, then the low address byte.
    *puchAddress = static_cast<uint8_t>(0x78 | ((slot.wAddress >> 8) & 3));
    pLead->push_back(static_cast<uint8_t>(slot.wAddress));
}

int32_t CI2cLayer::I2CReadReg(uint32_t ulSlot, uint32_t ulOffset, uint32_t* pulValue, bool bQuiet)
{
    if (ulSlot >= kSlots || !m_slots[ulSlot].bOpen)
    {
        return eI2cInvalidHandle;
    }
    const SSlot& slot = m_slots[ulSlot];
    II2cPod* pPod = PodOf(slot);
    if (!pPod)
    {
        return eI2cInvalidHandle;
    }
    auto fail = [&](const QString& strText, int32_t nStatus)
    {
        if (!bQuiet)
        {
            Say(strText);
        }
        return nStatus;
    };
    uint32_t ulDone = 0;
    uint8_t abValue[4] = {};
    if (slot.eDevice == eI2cDeviceTsi)
    {
        if (!slot.b7Bit)
        {
            return fail(QStringLiteral("10-bit addressing is not supported with TsiXXX devices."),
                        eI2cInvalidParameter);
        }
        const uint8_t abSelect[5] = {
            0x10, static_cast<uint8_t>(ulOffset), static_cast<uint8_t>(ulOffset >> 8),
            static_cast<uint8_t>(ulOffset >> 16), static_cast<uint8_t>(ulOffset >> 24)};
        DebugPrint(eDebugGeneral, "I2C Write: [start] %x %x %x %x %x [stop]\n", abSelect[0], abSelect[1],
                   abSelect[2], abSelect[3], abSelect[4]);
        int32_t nStatus =
            pPod->DeviceWrite(slot.hChannel, slot.wAddress, 5, abSelect, &ulDone, kI2cStartStop);
        if (nStatus != eI2cOk)
        {
            return fail(QString::asprintf("I2C Write failed with error %d\n", nStatus), nStatus);
        }
        const uint8_t uchData = 0x14;
        DebugPrint(eDebugGeneral, "I2C Write: [START] %x\n", uchData);
        nStatus = pPod->DeviceWrite(slot.hChannel, slot.wAddress, 1, &uchData, &ulDone, kI2cStart);
        if (nStatus != eI2cOk)
        {
            return fail(QString::asprintf("I2C Write failed with error %d\n", nStatus), nStatus);
        }
        nStatus = pPod->DeviceRead(slot.hChannel, slot.wAddress, 4, abValue, &ulDone, kI2cStartStop);
        if (nStatus != eI2cOk || ulDone != 4)
        {
            nStatus = nStatus != eI2cOk ? nStatus : eI2cIoError;
            return fail(
                QString::asprintf("I2C Byte Read of 4 bytes starting at offset 0x%X failed with error %d\n",
                                  ulOffset, nStatus),
                nStatus);
        }
        // The window holds the data least significant byte first.
        *pulValue = uint32_t(abValue[0]) | (uint32_t(abValue[1]) << 8) | (uint32_t(abValue[2]) << 16) |
                    (uint32_t(abValue[3]) << 24);
        return eI2cOk;
    }
    uint8_t uchAddress = 0;
    std::vector<uint8_t> bytes;
    AddressBytes(slot, &uchAddress, &bytes);
    bytes.insert(bytes.end(), {static_cast<uint8_t>(ulOffset >> 18), static_cast<uint8_t>(ulOffset >> 10),
                               static_cast<uint8_t>(ulOffset >> 2)});
    int32_t nStatus = pPod->DeviceWrite(slot.hChannel, uchAddress, static_cast<uint32_t>(bytes.size()),
                                        bytes.data(), &ulDone, kI2cStart);
    if (nStatus != eI2cOk)
    {
        return fail(QString::asprintf("I2C Write failed with error %d\n", nStatus), nStatus);
    }
    nStatus = pPod->DeviceRead(slot.hChannel, uchAddress, 4, abValue, &ulDone, kI2cStartStop);
    if (nStatus != eI2cOk || ulDone != 4)
    {
        nStatus = nStatus != eI2cOk ? nStatus : eI2cIoError;
        return fail(
            QString::asprintf("I2C Byte Read of 4 bytes starting at offset 0x%X failed with error %d\n",
                              ulOffset, nStatus),
            nStatus);
    }
    *pulValue = (uint32_t(abValue[0]) << 24) | (uint32_t(abValue[1]) << 16) | (uint32_t(abValue[2]) << 8) |
                abValue[3];
    return eI2cOk;
}

int32_t CI2cLayer::I2CWriteReg(uint32_t ulSlot, uint32_t ulOffset, uint32_t ulValue)
{
    if (ulSlot >= kSlots || !m_slots[ulSlot].bOpen)
    {
        return eI2cInvalidHandle;
    }
    const SSlot& slot = m_slots[ulSlot];
    II2cPod* pPod = PodOf(slot);
    if (!pPod)
    {
        return eI2cInvalidHandle;
    }
    uint8_t uchAddress = 0;
    std::vector<uint8_t> bytes;
    if (slot.eDevice == eI2cDeviceTsi)
    {
        if (!slot.b7Bit)
        {
            Say(QStringLiteral("10-bit addressing is not supported with TsiXXX devices."));
            return eI2cInvalidParameter;
        }
        uchAddress = static_cast<uint8_t>(slot.wAddress);
        bytes = {0x10};
        for (uint32_t ulWord : {ulOffset, ulValue})
        {
            for (int i = 0; i < 4; ++i)
            {
                bytes.push_back(static_cast<uint8_t>(ulWord >> (8 * i)));
            }
        }
    }
    else
    {
        AddressBytes(slot, &uchAddress, &bytes);
        bytes.insert(bytes.end(), {static_cast<uint8_t>(ulOffset >> 18), static_cast<uint8_t>(ulOffset >> 10),
                                   static_cast<uint8_t>(ulOffset >> 2), static_cast<uint8_t>(ulValue >> 24),
                                   static_cast<uint8_t>(ulValue >> 16), static_cast<uint8_t>(ulValue >> 8),
                                   static_cast<uint8_t>(ulValue)});
    }
    uint32_t ulDone = 0;
    int32_t nStatus = pPod->DeviceWrite(slot.hChannel, uchAddress, static_cast<uint32_t>(bytes.size()),
                                        bytes.data(), &ulDone, kI2cStartStop);
    if (nStatus == eI2cOk && ulDone != bytes.size())
    {
        nStatus = eI2cIoError;
    }
    if (nStatus != eI2cOk)
    {
        Say(QString::asprintf("I2C Write failed with error %d\n", nStatus));
    }
    return nStatus;
}

namespace
{
std::vector<uint8_t> MemoryAddress(uint32_t ulAddress, uint32_t ulAddrSize)
{
    if (ulAddrSize == 1)
    {
        return {static_cast<uint8_t>(ulAddress)};
    }
    return {static_cast<uint8_t>(ulAddress >> 8), static_cast<uint8_t>(ulAddress)};
}
} // namespace

int32_t CI2cLayer::I2CByteRead(uint32_t ulSlot, uint32_t ulCount, uint32_t ulAddress, uint8_t* pbBuffer)
{
    if (ulSlot >= kSlots || !m_slots[ulSlot].bOpen || !PodOf(m_slots[ulSlot]))
    {
        return eI2cInvalidHandle;
    }
    const SSlot& slot = m_slots[ulSlot];
    II2cPod* pPod = PodOf(slot);
    uint8_t uchAddress = 0;
    std::vector<uint8_t> bytes;
    AddressBytes(slot, &uchAddress, &bytes);
    const std::vector<uint8_t> memory = MemoryAddress(ulAddress, slot.ulAddrSize);
    bytes.insert(bytes.end(), memory.begin(), memory.end());
    uint32_t ulDone = 0;
    int32_t nStatus = pPod->DeviceWrite(slot.hChannel, uchAddress, static_cast<uint32_t>(bytes.size()),
                                        bytes.data(), &ulDone, kI2cStart);
    if (nStatus != eI2cOk)
    {
        Say(QString::asprintf("I2C write of address failed with error %d\n", nStatus));
        return nStatus;
    }
    nStatus = pPod->DeviceRead(slot.hChannel, uchAddress, ulCount, pbBuffer, &ulDone, kI2cStartStop);
    if (nStatus == eI2cOk && ulDone != ulCount)
    {
        nStatus = eI2cIoError;
    }
    if (nStatus != eI2cOk)
    {
        Say(QString::asprintf("I2C Read of %d bytes starting at offset 0x%X failed with error %d\n",
                              static_cast<int>(ulCount), ulAddress, nStatus));
    }
    return nStatus;
}

int32_t CI2cLayer::I2CByteWrite(uint32_t ulSlot, uint32_t ulCount, uint32_t ulAddress,
                                const uint8_t* pbBuffer)
{
    if (ulSlot >= kSlots || !m_slots[ulSlot].bOpen || !PodOf(m_slots[ulSlot]))
    {
        return eI2cInvalidHandle;
    }
    const SSlot& slot = m_slots[ulSlot];
    II2cPod* pPod = PodOf(slot);
    uint8_t uchAddress = 0;
    std::vector<uint8_t> bytes;
    AddressBytes(slot, &uchAddress, &bytes);
    const std::vector<uint8_t> memory = MemoryAddress(ulAddress, slot.ulAddrSize);
    bytes.insert(bytes.end(), memory.begin(), memory.end());
    bytes.insert(bytes.end(), pbBuffer, pbBuffer + ulCount);
    uint32_t ulDone = 0;
    int32_t nStatus = pPod->DeviceWrite(slot.hChannel, uchAddress, static_cast<uint32_t>(bytes.size()),
                                        bytes.data(), &ulDone, kI2cStartStop);
    if (nStatus == eI2cOk && ulDone != bytes.size())
    {
        nStatus = eI2cIoError;
    }
    return nStatus;
}

bool CI2cLayer::WriteEEPROM(uint32_t ulSlot, const uint8_t* pbImage, uint32_t ulSize, uint32_t ulPageSize,
                            uint32_t ulEepromSize)
{
    if (ulSlot >= kSlots || !m_slots[ulSlot].bOpen)
    {
        Say(QStringLiteral("WriteEEPROM failed: invalid handle."));
        return false;
    }
    const SSlot& slot = m_slots[ulSlot];
    II2cPod* pPod = PodOf(slot);
    if (!pPod)
    {
        Say(QStringLiteral("WriteEEPROM failed: Invalid pod handle."));
        return false;
    }
    if (ulSize > ulEepromSize)
    {
        Say(QStringLiteral("The selected image is will not fit in the specified EEPROM."));
        return false;
    }
    const uint32_t ulPiece = ulPageSize ? ulPageSize : kDefaultPiece;
    std::vector<uint8_t> readBack(ulPiece);
    for (uint32_t ulAddress = 0; ulAddress < ulSize; ulAddress += ulPiece)
    {
        const uint32_t ulCount = std::min(ulPiece, ulSize - ulAddress);
        const int32_t nWrite = I2CByteWrite(ulSlot, ulCount, ulAddress, pbImage + ulAddress);
        if (nWrite != eI2cOk)
        {
            DebugPrint(eDebugGeneral, "EEPROM page at 0x%X not written: error %d\n", ulAddress, nWrite);
            Say(QStringLiteral("DoByteWrite failed."));
            return false;
        }
        std::this_thread::sleep_for(kPageSettle);
        // Read back: the address with a repeated start, then the page.
        uint8_t uchAddress = 0;
        std::vector<uint8_t> bytes;
        AddressBytes(slot, &uchAddress, &bytes);
        const std::vector<uint8_t> memory = MemoryAddress(ulAddress, slot.ulAddrSize);
        bytes.insert(bytes.end(), memory.begin(), memory.end());
        uint32_t ulDone = 0;
        int32_t nStatus = pPod->DeviceWrite(slot.hChannel, uchAddress, static_cast<uint32_t>(bytes.size()),
                                            bytes.data(), &ulDone, kI2cStart);
        if (nStatus != eI2cOk)
        {
            DebugPrint(eDebugGeneral, "EEPROM read-back address 0x%X: error %d\n", ulAddress, nStatus);
            Say(QStringLiteral("DoByteWrite failed.(2)"));
            return false;
        }
        nStatus =
            pPod->DeviceRead(slot.hChannel, uchAddress, ulCount, readBack.data(), &ulDone, kI2cStartStop);
        if (nStatus != eI2cOk || ulDone != ulCount)
        {
            DebugPrint(eDebugGeneral, "EEPROM read-back at 0x%X: error %d\n", ulAddress, nStatus);
            Say(QStringLiteral("DoByteWrite failed.(3)"));
            return false;
        }
        if (!std::equal(readBack.begin(), readBack.begin() + ulCount, pbImage + ulAddress))
        {
            DebugPrint(eDebugGeneral, "EEPROM page at 0x%X reads back different\n", ulAddress);
            Say(QStringLiteral("Read back comparison failed."));
            return false;
        }
    }
    return true;
}

uint32_t CI2cLayer::ProbeDeviceKind(uint32_t ulSlot)
{
    if (ulSlot >= kSlots || !m_slots[ulSlot].bOpen)
    {
        return eI2cDeviceNone;
    }
    SSlot& slot = m_slots[ulSlot];
    if (slot.b7Bit)
    {
        slot.eDevice = eI2cDeviceTsi;
        uint32_t ulIdentity = 0;
        if (I2CReadReg(ulSlot, 0, &ulIdentity, true) == eI2cOk &&
            ((ulIdentity & 0xFFFF) == 0x000D || ulIdentity == 0x80AB0038u))
        {
            return slot.eDevice;
        }
    }
    slot.eDevice = eI2cDeviceRegisters;
    return slot.eDevice;
}

bool CI2cRegisterPod::ReadRegister(uint32_t ulOffset, uint32_t* pulValue)
{
    return CI2cLayer::Instance().I2CReadReg(0, ulOffset, pulValue) == eI2cOk;
}

bool CI2cRegisterPod::WriteRegister(uint32_t ulOffset, uint32_t ulValue)
{
    return CI2cLayer::Instance().I2CWriteReg(0, ulOffset, ulValue) == eI2cOk;
}

void CI2cRegisterPod::Close()
{
    CI2cLayer::Instance().I2CClose(0);
}

bool OpenI2CLink(CTargetLink& link)
{
    CI2cLayer& layer = CI2cLayer::Instance();
    if (!layer.I2COpen(0, link.uchI2CDevice, link.uchI2CChannel, link.wI2CAddress, link.bI2C7Bit != 0,
                       eI2cDeviceRegisters))
    {
        return false;
    }
    layer.ProbeDeviceKind(0);
    link.AttachPod(eLinkI2C, std::make_unique<CI2cRegisterPod>());
    return true;
}

#include "I2cMpssePod.h"

#include <ftdi.h>
#include <libusb.h>

#include <map>

namespace
{
// MPSSE opcodes (AN_108).
constexpr uint8_t kSetBitsLow = 0x80;       // value, direction of ADBUS7..0
constexpr uint8_t kClockBytesOutNeg = 0x11; // bytes out, MSB first, on the falling edge
constexpr uint8_t kClockBitsOutNeg = 0x13;  // bits out, MSB first, on the falling edge
constexpr uint8_t kClockBytesInPos = 0x20;  // bytes in, MSB first, on the rising edge
constexpr uint8_t kClockBitsInPos = 0x22;   // bits in, MSB first, on the rising edge
constexpr uint8_t kLoopbackOff = 0x85;
constexpr uint8_t kSetDivisor = 0x86;
constexpr uint8_t kSendImmediate = 0x87;
constexpr uint8_t kDivideBy5Off = 0x8A;
constexpr uint8_t kThreePhaseOn = 0x8C;
constexpr uint8_t kAdaptiveOff = 0x97;

constexpr uint8_t kScl = 0x01;
constexpr uint8_t kSdaOut = 0x02;
// Each line state is held for a few command slots so the bus sees the set-up and hold times.
constexpr int kRepeat = 4;

void SetLines(std::vector<uint8_t>& commands, uint8_t uchValue, uint8_t uchDirection, int nTimes = kRepeat)
{
    for (int i = 0; i < nTimes; ++i)
    {
        commands.insert(commands.end(), {kSetBitsLow, uchValue, uchDirection});
    }
}
} // namespace

const std::vector<QString>& AcceptedMpsseDescriptions()
{
    static const std::vector<QString> names = {
        QStringLiteral("Dual RS232-HS"), QStringLiteral("Quad RS232-HS"), QStringLiteral("Single RS232-HS"),
        QStringLiteral("C232HM-DDHSL-0")};
    return names;
}

namespace mpsse
{
uint16_t ClockDivisor(uint32_t ulClockHz)
{
    if (ulClockHz == 0)
    {
        return 0xFFFF;
    }
    // Three-phase clocking makes a bit last three half periods: f = 60 MHz / ((1 + d) x 3).
    const uint32_t ulDivisor = (60000000u + 3 * ulClockHz - 1) / (3 * ulClockHz);
    return static_cast<uint16_t>(ulDivisor == 0 ? 0 : std::min<uint32_t>(ulDivisor - 1, 0xFFFF));
}

void AppendSetup(std::vector<uint8_t>& commands, uint32_t ulClockHz)
{
    const uint16_t wDivisor = ClockDivisor(ulClockHz);
    commands.insert(commands.end(),
                    {kDivideBy5Off, kAdaptiveOff, kThreePhaseOn, kSetDivisor, static_cast<uint8_t>(wDivisor),
                     static_cast<uint8_t>(wDivisor >> 8), kLoopbackOff});
    SetLines(commands, kScl | kSdaOut, 0, 1);
}

void AppendStart(std::vector<uint8_t>& commands)
{
    SetLines(commands, kScl | kSdaOut, kScl | kSdaOut); // both high (a repeated start too)
    SetLines(commands, kScl, kScl | kSdaOut);           // SDA falls while SCL is high
    SetLines(commands, 0, kScl | kSdaOut);              // then SCL
}

void AppendStop(std::vector<uint8_t>& commands)
{
    SetLines(commands, 0, kScl | kSdaOut);
    SetLines(commands, kScl, kScl | kSdaOut);           // SCL rises with SDA low
    SetLines(commands, kScl | kSdaOut, kScl | kSdaOut); // then SDA
    SetLines(commands, kScl | kSdaOut, 0, 1);           // release both
}

void AppendWriteByte(std::vector<uint8_t>& commands, uint8_t uchByte)
{
    SetLines(commands, 0, kScl | kSdaOut, 1);
    commands.insert(commands.end(), {kClockBytesOutNeg, 0x00, 0x00, uchByte});
    SetLines(commands, 0, kScl, 1); // release SDA for the acknowledge
    commands.insert(commands.end(), {kClockBitsInPos, 0x00});
}

void AppendReadByte(std::vector<uint8_t>& commands, bool bAck)
{
    SetLines(commands, 0, kScl, 1);
    commands.insert(commands.end(), {kClockBytesInPos, 0x00, 0x00});
    SetLines(commands, 0, kScl | kSdaOut, 1);
    commands.insert(commands.end(), {kClockBitsOutNeg, 0x00, static_cast<uint8_t>(bAck ? 0x00 : 0xFF)});
    SetLines(commands, 0, kScl, 1);
}

void AppendFlush(std::vector<uint8_t>& commands)
{
    commands.push_back(kSendImmediate);
}
} // namespace mpsse

namespace
{
class CI2cMpssePod : public II2cPod
{
public:
    ~CI2cMpssePod() override
    {
        for (auto& entry : m_open)
        {
            ftdi_usb_close(entry.second);
            ftdi_free(entry.second);
        }
    }

    int32_t GetNumChannels(uint32_t* pulChannels) override
    {
        Scan();
        *pulChannels = static_cast<uint32_t>(m_channels.size());
        return eI2cOk;
    }
    int32_t GetChannelInfo(uint32_t ulIndex, SI2cChannelInfo* pInfo) override
    {
        if (ulIndex >= m_channels.size())
        {
            return eI2cInvalidParameter;
        }
        pInfo->strDescription = m_channels[ulIndex].strDescription;
        pInfo->ulId = ulIndex;
        return eI2cOk;
    }
    int32_t OpenChannel(uint32_t ulId, intptr_t* phChannel) override
    {
        if (m_channels.empty())
        {
            Scan();
        }
        if (ulId >= m_channels.size())
        {
            return eI2cDeviceNotFound;
        }
        ftdi_context* pContext = ftdi_new();
        if (!pContext)
        {
            return eI2cDeviceNotOpened;
        }
        const SCable& cable = m_channels[ulId];
        if (ftdi_set_interface(pContext, INTERFACE_A) < 0 ||
            ftdi_usb_open_bus_addr(pContext, cable.uchBus, cable.uchAddress) < 0)
        {
            ftdi_free(pContext);
            return eI2cDeviceNotOpened;
        }
        if (ftdi_usb_reset(pContext) < 0 || ftdi_set_latency_timer(pContext, 1) < 0 ||
            ftdi_set_bitmode(pContext, 0, BITMODE_RESET) < 0 ||
            ftdi_set_bitmode(pContext, 0, BITMODE_MPSSE) < 0)
        {
            ftdi_usb_close(pContext);
            ftdi_free(pContext);
            return eI2cDeviceNotOpened;
        }
        const intptr_t hChannel = m_hNext++;
        m_open[hChannel] = pContext;
        *phChannel = hChannel;
        return eI2cOk;
    }
    int32_t InitChannel(intptr_t hChannel, uint32_t ulClockHz) override
    {
        ftdi_context* pContext = Context(hChannel);
        if (!pContext)
        {
            return eI2cInvalidHandle;
        }
        std::vector<uint8_t> commands;
        mpsse::AppendSetup(commands, ulClockHz);
        return Send(pContext, commands);
    }
    int32_t CloseChannel(intptr_t hChannel) override
    {
        ftdi_context* pContext = Context(hChannel);
        if (!pContext)
        {
            return eI2cInvalidHandle;
        }
        ftdi_set_bitmode(pContext, 0, BITMODE_RESET);
        ftdi_usb_close(pContext);
        ftdi_free(pContext);
        m_open.erase(hChannel);
        return eI2cOk;
    }
    int32_t DeviceWrite(intptr_t hChannel, uint32_t ulAddress, uint32_t ulCount, const uint8_t* pbBuffer,
                        uint32_t* pulTransferred, uint32_t ulOptions) override
    {
        *pulTransferred = 0;
        ftdi_context* pContext = Context(hChannel);
        if (!pContext)
        {
            return eI2cInvalidHandle;
        }
        // The address byte, then each data byte, one acknowledge bit read back per byte.
        std::vector<uint8_t> commands;
        if (ulOptions & kI2cStart)
        {
            mpsse::AppendStart(commands);
        }
        mpsse::AppendWriteByte(commands, static_cast<uint8_t>(ulAddress << 1));
        for (uint32_t i = 0; i < ulCount; ++i)
        {
            mpsse::AppendWriteByte(commands, pbBuffer[i]);
        }
        if (ulOptions & kI2cStop)
        {
            mpsse::AppendStop(commands);
        }
        mpsse::AppendFlush(commands);
        std::vector<uint8_t> acks(ulCount + 1);
        const int32_t nStatus = Exchange(pContext, commands, acks);
        if (nStatus != eI2cOk)
        {
            return nStatus;
        }
        if (acks[0] & 1)
        {
            StopAfterNak(pContext);
            return eI2cAddressNak;
        }
        for (uint32_t i = 0; i < ulCount; ++i)
        {
            if (acks[i + 1] & 1)
            {
                *pulTransferred = i;
                StopAfterNak(pContext);
                return eI2cDataNak;
            }
        }
        *pulTransferred = ulCount;
        return eI2cOk;
    }
    int32_t DeviceRead(intptr_t hChannel, uint32_t ulAddress, uint32_t ulCount, uint8_t* pbBuffer,
                       uint32_t* pulTransferred, uint32_t ulOptions) override
    {
        *pulTransferred = 0;
        ftdi_context* pContext = Context(hChannel);
        if (!pContext)
        {
            return eI2cInvalidHandle;
        }
        std::vector<uint8_t> commands;
        if (ulOptions & kI2cStart)
        {
            mpsse::AppendStart(commands);
        }
        mpsse::AppendWriteByte(commands, static_cast<uint8_t>((ulAddress << 1) | 1));
        for (uint32_t i = 0; i < ulCount; ++i)
        {
            mpsse::AppendReadByte(commands, i + 1 < ulCount);
        }
        if (ulOptions & kI2cStop)
        {
            mpsse::AppendStop(commands);
        }
        mpsse::AppendFlush(commands);
        std::vector<uint8_t> reply(ulCount + 1);
        const int32_t nStatus = Exchange(pContext, commands, reply);
        if (nStatus != eI2cOk)
        {
            return nStatus;
        }
        if (reply[0] & 1)
        {
            StopAfterNak(pContext);
            return eI2cAddressNak;
        }
        std::copy(reply.begin() + 1, reply.end(), pbBuffer);
        *pulTransferred = ulCount;
        return eI2cOk;
    }

private:
    struct SCable
    {
        QString strDescription;
        uint8_t uchBus = 0;
        uint8_t uchAddress = 0;
    };

    void Scan()
    {
        m_channels.clear();
        ftdi_context* pContext = ftdi_new();
        if (!pContext)
        {
            return;
        }
        ftdi_device_list* pList = nullptr;
        // Vendor 0x0403 with product 0: every product id of FTDI's own parts.
        if (ftdi_usb_find_all(pContext, &pList, 0x0403, 0) > 0)
        {
            for (ftdi_device_list* pEntry = pList; pEntry; pEntry = pEntry->next)
            {
                char szDescription[128] = "";
                if (ftdi_usb_get_strings(pContext, pEntry->dev, nullptr, 0, szDescription,
                                         sizeof(szDescription), nullptr, 0) < 0)
                {
                    continue;
                }
                const QString strDescription = QString::fromLatin1(szDescription);
                const auto& accepted = AcceptedMpsseDescriptions();
                if (std::find(accepted.begin(), accepted.end(), strDescription) == accepted.end())
                {
                    continue;
                }
                m_channels.push_back({strDescription, libusb_get_bus_number(pEntry->dev),
                                      libusb_get_device_address(pEntry->dev)});
            }
        }
        ftdi_list_free(&pList);
        ftdi_free(pContext);
    }

    ftdi_context* Context(intptr_t hChannel) const
    {
        auto it = m_open.find(hChannel);
        return it == m_open.end() ? nullptr : it->second;
    }

    static int32_t Send(ftdi_context* pContext, const std::vector<uint8_t>& commands)
    {
        const int nWritten = ftdi_write_data(pContext, commands.data(), static_cast<int>(commands.size()));
        if (nWritten < 0)
        {
            return nWritten == -666 ? eI2cDeviceNotFound : eI2cIoError;
        }
        return nWritten == static_cast<int>(commands.size()) ? eI2cOk : eI2cIoError;
    }

    static int32_t Exchange(ftdi_context* pContext, const std::vector<uint8_t>& commands,
                            std::vector<uint8_t>& reply)
    {
        const int32_t nStatus = Send(pContext, commands);
        if (nStatus != eI2cOk)
        {
            return nStatus;
        }
        size_t nHave = 0;
        for (int nTries = 0; nHave < reply.size() && nTries < 1000; ++nTries)
        {
            const int nRead =
                ftdi_read_data(pContext, reply.data() + nHave, static_cast<int>(reply.size() - nHave));
            if (nRead < 0)
            {
                return nRead == -666 ? eI2cDeviceNotFound : eI2cIoError;
            }
            nHave += static_cast<size_t>(nRead);
        }
        return nHave == reply.size() ? eI2cOk : eI2cIoError;
    }

    static void StopAfterNak(ftdi_context* pContext)
    {
        std::vector<uint8_t> commands;
        mpsse::AppendStop(commands);
        Send(pContext, commands);
    }

    std::vector<SCable> m_channels;
    std::map<intptr_t, ftdi_context*> m_open;
    intptr_t m_hNext = 1;
};
} // namespace

std::unique_ptr<II2cPod> MakeMpssePod()
{
    return std::make_unique<CI2cMpssePod>();
}

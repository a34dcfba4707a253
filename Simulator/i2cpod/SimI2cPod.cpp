// A simulated I2C pod: a shared object with the seven pod entry points, whose bus carries the I2C
// register ports of devices of a simulated fabric and serial EEPROMs. The client loads it as it
// would any pod library (NORVANTA_I2C_POD), so it is a peer of the client's I2C layer, not a mock
// of it. Its byte protocols are written from the parts' documentation, independently of the client.
//
// Configuration: the environment variable NORVANTA_I2C_SIM, or NvI2cSimConfigure(), a list of
// KEY=VALUE items separated by ';' or new lines:
//   topology=FILE          the fabric (Simulator/topologies format); required for a register port
//   port=DEVICE@ADDR       the register port of a topology device; an ADDR above 0x7F is a 10-bit
//                          address. Without any port= the fabric's host answers at 0x10.
//   eeprom=TYPE@ADDR       a serial EEPROM: 24XX128, AT24C256, AT24C128, AT24C64, or a size in
//                          bytes (a generic part with 8-byte pages)
//   channels=N             channels the pod reports (1 or 2; one bus behind both)
//   unplug=N               the pod goes away during its N-th transfer (counted from 1)
//
// Register port of the IDT CPS switches and other devices with 32-bit registers (CPS-1848 and
// CPS-1616 user manuals, "I2C slave interface"): a write carries three bytes of word address
// (register offset bits 23..2, most significant byte first) and, for a register write, the four
// bytes of the value, most significant first. A read after the address returns the register's four
// bytes the same way. Assumption: the address does not advance after an access.
//
// Register port of the Tsi family (Tsi57x, Tsi500, Tsi721: the slave's register window): the
// first byte of a write sets a window pointer, and every further byte is stored at the pointer,
// which then advances. Window bytes 10h..13h hold the register offset and 14h..17h the data, both
// least significant byte first. Storing byte 17h writes the register; a read starting at 14h reads
// it. Assumption: bytes outside 10h..17h are accepted and ignored.
//
// EEPROMs (Microchip 24XX128, Atmel AT24C64/128/256 data sheets): one or two address bytes, high
// first; a read continues from the address and wraps at the part's size; written bytes wrap within
// the page of the first one and are committed by the stop condition, after which the part is busy
// for its write cycle (5 ms) and does not acknowledge its address.
#include "nvsim/Fabric.h"
#include "nvsim/Topology.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

namespace
{
// Pod statuses, as the pod library ABI numbers them.
constexpr int32_t kOk = 0;
constexpr int32_t kInvalidHandle = 1;
constexpr int32_t kDeviceNotFound = 2;
constexpr int32_t kInvalidParameter = 6;
constexpr int32_t kAddressNak = 32;
constexpr int32_t kStart = 1;
constexpr int32_t kStop = 2;

using Clock = std::chrono::steady_clock;

class CSlave
{
public:
    virtual ~CSlave() = default;
    // Whether the slave acknowledges its address now.
    virtual bool Present() const { return true; }
    // A start condition (or a repeated one) addressed to this slave.
    virtual void Start() {}
    virtual void WriteByte(uint8_t uch) = 0;
    virtual uint8_t ReadByte() = 0;
    virtual void Stop() {}
};

// The register port of a device with the CPS slave protocol.
class CCpsPort : public CSlave
{
public:
    CCpsPort(nvsim::CSimFabric& fabric, nvsim::CSimDevice& device) : m_fabric(fabric), m_device(device) {}
    void Start() override
    {
        m_ulWritten = 0;
        m_ulReadPos = 0;
    }
    void WriteByte(uint8_t uch) override
    {
        if (m_ulWritten < 3)
        {
            m_aAddress[m_ulWritten] = uch;
        }
        else if (m_ulWritten < 7)
        {
            m_aData[m_ulWritten - 3] = uch;
        }
        ++m_ulWritten;
        if (m_ulWritten == 3)
        {
            m_ulOffset = ((uint32_t(m_aAddress[0]) << 16) | (uint32_t(m_aAddress[1]) << 8) | m_aAddress[2])
                         << 2;
        }
        if (m_ulWritten == 7)
        {
            const uint32_t ulValue = (uint32_t(m_aData[0]) << 24) | (uint32_t(m_aData[1]) << 16) |
                                     (uint32_t(m_aData[2]) << 8) | m_aData[3];
            auto lock = m_fabric.Lock();
            m_device.WriteRegister(m_ulOffset, ulValue, 0xFFFFFFFFu, nvsim::SRegAccess{0, true});
        }
    }
    uint8_t ReadByte() override
    {
        if (m_ulReadPos % 4 == 0)
        {
            auto lock = m_fabric.Lock();
            m_ulValue = m_device.ReadRegister(m_ulOffset, nvsim::SRegAccess{0, true});
        }
        const uint8_t uch = static_cast<uint8_t>(m_ulValue >> (24 - 8 * (m_ulReadPos % 4)));
        ++m_ulReadPos;
        return uch;
    }

private:
    nvsim::CSimFabric& m_fabric;
    nvsim::CSimDevice& m_device;
    uint8_t m_aAddress[3] = {};
    uint8_t m_aData[4] = {};
    uint32_t m_ulWritten = 0;
    uint32_t m_ulOffset = 0;
    uint32_t m_ulReadPos = 0;
    uint32_t m_ulValue = 0;
};

// The register port of a device of the Tsi family: a byte window.
class CTsiPort : public CSlave
{
public:
    CTsiPort(nvsim::CSimFabric& fabric, nvsim::CSimDevice& device) : m_fabric(fabric), m_device(device) {}
    void Start() override
    {
        m_bPointerNext = true;
        m_bReading = false;
    }
    void WriteByte(uint8_t uch) override
    {
        if (m_bPointerNext)
        {
            m_uchPointer = uch;
            m_bPointerNext = false;
            return;
        }
        if (m_uchPointer >= 0x10 && m_uchPointer <= 0x17)
        {
            m_aWindow[m_uchPointer - 0x10] = uch;
        }
        if (m_uchPointer == 0x17)
        {
            auto lock = m_fabric.Lock();
            m_device.WriteRegister(Word(0), Word(4), 0xFFFFFFFFu, nvsim::SRegAccess{0, true});
        }
        ++m_uchPointer;
    }
    uint8_t ReadByte() override
    {
        if (!m_bReading && m_uchPointer == 0x14)
        {
            auto lock = m_fabric.Lock();
            const uint32_t ulValue = m_device.ReadRegister(Word(0), nvsim::SRegAccess{0, true});
            for (int i = 0; i < 4; ++i)
            {
                m_aWindow[4 + i] = static_cast<uint8_t>(ulValue >> (8 * i));
            }
        }
        m_bReading = true;
        const uint8_t uch =
            m_uchPointer >= 0x10 && m_uchPointer <= 0x17 ? m_aWindow[m_uchPointer - 0x10] : uint8_t{0xFF};
        ++m_uchPointer;
        return uch;
    }

private:
    uint32_t Word(int iStart) const
    {
        return uint32_t(m_aWindow[iStart]) | (uint32_t(m_aWindow[iStart + 1]) << 8) |
               (uint32_t(m_aWindow[iStart + 2]) << 16) | (uint32_t(m_aWindow[iStart + 3]) << 24);
    }

    nvsim::CSimFabric& m_fabric;
    nvsim::CSimDevice& m_device;
    uint8_t m_aWindow[8] = {};
    uint8_t m_uchPointer = 0;
    bool m_bPointerNext = true;
    bool m_bReading = false;
};

class CEeprom : public CSlave
{
public:
    CEeprom(uint32_t ulSize, uint32_t ulPage, uint32_t ulAddressBytes)
        : m_memory(ulSize, 0xFF), m_ulPage(ulPage), m_ulAddressBytes(ulAddressBytes)
    {
    }
    bool Present() const override { return Clock::now() >= m_busyUntil; }
    void Start() override
    {
        m_ulAddressSeen = 0;
        m_pending.clear();
    }
    void WriteByte(uint8_t uch) override
    {
        if (m_ulAddressSeen < m_ulAddressBytes)
        {
            m_ulAddress = m_ulAddressSeen == 0 ? uch : ((m_ulAddress << 8) | uch);
            m_ulAddress %= static_cast<uint32_t>(m_memory.size());
            ++m_ulAddressSeen;
            return;
        }
        m_pending.push_back(uch);
    }
    uint8_t ReadByte() override
    {
        const uint8_t uch = m_memory[m_ulAddress];
        m_ulAddress = (m_ulAddress + 1) % static_cast<uint32_t>(m_memory.size());
        return uch;
    }
    void Stop() override
    {
        if (m_pending.empty())
        {
            return;
        }
        const uint32_t ulPageStart = m_ulAddress - m_ulAddress % m_ulPage;
        uint32_t ulOffset = m_ulAddress % m_ulPage;
        // A page takes at most a page of data; earlier bytes of a longer burst are overwritten.
        for (uint8_t uch : m_pending)
        {
            m_memory[ulPageStart + ulOffset] = uch;
            ulOffset = (ulOffset + 1) % m_ulPage;
        }
        m_pending.clear();
        m_busyUntil = Clock::now() + std::chrono::milliseconds(5);
    }

private:
    std::vector<uint8_t> m_memory;
    uint32_t m_ulPage;
    uint32_t m_ulAddressBytes;
    uint32_t m_ulAddressSeen = 0;
    uint32_t m_ulAddress = 0;
    std::vector<uint8_t> m_pending;
    Clock::time_point m_busyUntil{};
};

struct SPod
{
    std::unique_ptr<nvsim::CSimFabric> pFabric;
    std::map<uint32_t, std::unique_ptr<CSlave>> slaves; // by 7-bit address, or 0x400 + a 10-bit one
    uint32_t ulChannels = 1;
    uint32_t ulUnplugAt = 0; // 0: never
    uint32_t ulTransfers = 0;
    bool bGone = false;
    std::string strError;
    // The bus: the slave that holds it between a start and a stop, and the 10-bit slave last
    // addressed by a full address (the one a repeated start with 11110xx R reaches).
    CSlave* pHeld = nullptr;
    CSlave* pTenBit = nullptr;
    uint32_t ulOpen = 0; // bit per open channel
};

std::mutex g_mutex;
std::unique_ptr<SPod> g_pPod;

std::string Trim(const std::string& str)
{
    const size_t nStart = str.find_first_not_of(" \t\r\n");
    const size_t nEnd = str.find_last_not_of(" \t\r\n");
    return nStart == std::string::npos ? std::string() : str.substr(nStart, nEnd - nStart + 1);
}

bool ParseNumber(const std::string& str, uint32_t* pul)
{
    char* pEnd = nullptr;
    const unsigned long ul = std::strtoul(str.c_str(), &pEnd, 0);
    if (str.empty() || *pEnd != '\0')
    {
        return false;
    }
    *pul = static_cast<uint32_t>(ul);
    return true;
}

// Splits "NAME@ADDR".
bool ParseAt(const std::string& strValue, std::string* pstrName, uint32_t* pulAddress)
{
    const size_t nAt = strValue.find('@');
    if (nAt == std::string::npos)
    {
        return false;
    }
    *pstrName = Trim(strValue.substr(0, nAt));
    return ParseNumber(Trim(strValue.substr(nAt + 1)), pulAddress) && *pulAddress <= 0x3FF;
}

uint32_t SlaveKey(uint32_t ulAddress)
{
    return ulAddress > 0x7F ? 0x400 + ulAddress : ulAddress;
}

std::unique_ptr<CSlave> MakePort(nvsim::CSimFabric& fabric, nvsim::CSimDevice& device)
{
    uint32_t ulIdentity = 0;
    {
        auto lock = fabric.Lock();
        ulIdentity = device.ReadRegister(0, nvsim::SRegAccess{0, true});
    }
    const uint32_t ulVendor = ulIdentity & 0xFFFF;
    const bool bTsi = ulVendor == 0x000D || ulIdentity == 0x80AB0038u;
    if (bTsi)
    {
        return std::make_unique<CTsiPort>(fabric, device);
    }
    return std::make_unique<CCpsPort>(fabric, device);
}

std::unique_ptr<SPod> Configure(const std::string& strText, std::string* pError)
{
    auto pPod = std::make_unique<SPod>();
    std::string strNormal = strText;
    std::replace(strNormal.begin(), strNormal.end(), ';', '\n');
    std::istringstream lines(strNormal);
    std::string strLine;
    std::vector<std::pair<std::string, uint32_t>> ports;
    while (std::getline(lines, strLine))
    {
        strLine = Trim(strLine);
        if (strLine.empty())
        {
            continue;
        }
        const size_t nEq = strLine.find('=');
        const std::string strKey = nEq == std::string::npos ? strLine : Trim(strLine.substr(0, nEq));
        const std::string strValue = nEq == std::string::npos ? std::string() : Trim(strLine.substr(nEq + 1));
        if (strKey == "topology")
        {
            pPod->pFabric = nvsim::LoadTopologyFile(strValue, pError);
            if (!pPod->pFabric)
            {
                return nullptr;
            }
        }
        else if (strKey == "port")
        {
            std::string strName;
            uint32_t ulAddress = 0;
            if (!ParseAt(strValue, &strName, &ulAddress))
            {
                *pError = "bad port item '" + strValue + "' (DEVICE@ADDR)";
                return nullptr;
            }
            ports.emplace_back(strName, ulAddress);
        }
        else if (strKey == "eeprom")
        {
            std::string strType;
            uint32_t ulAddress = 0;
            if (!ParseAt(strValue, &strType, &ulAddress))
            {
                *pError = "bad eeprom item '" + strValue + "' (TYPE@ADDR)";
                return nullptr;
            }
            uint32_t ulSize = 0;
            uint32_t ulPage = 8;
            if (strType == "24XX128" || strType == "AT24C128")
            {
                ulSize = 16384;
                ulPage = 64;
            }
            else if (strType == "AT24C256")
            {
                ulSize = 32768;
                ulPage = 64;
            }
            else if (strType == "AT24C64")
            {
                ulSize = 8192;
                ulPage = 32;
            }
            else if (!ParseNumber(strType, &ulSize) || ulSize < 16 || ulSize > 65536)
            {
                *pError = "unknown EEPROM type '" + strType + "'";
                return nullptr;
            }
            pPod->slaves[SlaveKey(ulAddress)] =
                std::make_unique<CEeprom>(ulSize, ulPage, ulSize > 256 ? 2 : 1);
        }
        else if (strKey == "channels")
        {
            if (!ParseNumber(strValue, &pPod->ulChannels) || pPod->ulChannels < 1 || pPod->ulChannels > 2)
            {
                *pError = "channels must be 1 or 2";
                return nullptr;
            }
        }
        else if (strKey == "unplug")
        {
            if (!ParseNumber(strValue, &pPod->ulUnplugAt))
            {
                *pError = "bad unplug count '" + strValue + "'";
                return nullptr;
            }
        }
        else
        {
            *pError = "unknown item '" + strKey + "'";
            return nullptr;
        }
    }
    if (pPod->pFabric)
    {
        if (ports.empty())
        {
            pPod->slaves[SlaveKey(0x10)] = MakePort(*pPod->pFabric, pPod->pFabric->Host());
        }
        for (const auto& [strName, ulAddress] : ports)
        {
            nvsim::CSimDevice* pDevice = pPod->pFabric->FindDevice(strName);
            if (!pDevice)
            {
                *pError = "no device '" + strName + "' in the topology";
                return nullptr;
            }
            pPod->slaves[SlaveKey(ulAddress)] = MakePort(*pPod->pFabric, *pDevice);
        }
    }
    else if (!ports.empty())
    {
        *pError = "a register port needs a topology";
        return nullptr;
    }
    return pPod;
}

// The pod, configured from the environment at first use. Call with g_mutex held.
SPod* Pod()
{
    if (!g_pPod)
    {
        const char* pszConfig = std::getenv("NORVANTA_I2C_SIM");
        std::string strError;
        g_pPod = Configure(pszConfig ? pszConfig : "", &strError);
        if (!g_pPod)
        {
            g_pPod = std::make_unique<SPod>();
            g_pPod->ulChannels = 0;
            g_pPod->strError = strError;
        }
    }
    return g_pPod.get();
}

// Counts a transfer; true when the pod went away during it.
bool Unplugged(SPod& pod)
{
    ++pod.ulTransfers;
    if (pod.ulUnplugAt && pod.ulTransfers >= pod.ulUnplugAt)
    {
        pod.bGone = true;
    }
    return pod.bGone;
}

bool ValidHandle(SPod& pod, void* pHandle)
{
    const auto ulId = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pHandle)) - 1;
    return ulId < pod.ulChannels && (pod.ulOpen & (1u << ulId));
}

// Addresses a slave after a start: a 7-bit address, or the first byte 11110xx of a 10-bit one, in
// which case the write's first data byte completes it (pbFirst) or, for a read, the last 10-bit
// slave is meant.
CSlave* Address(SPod& pod, uint32_t ulAddress, const uint8_t* pbFirst)
{
    if (ulAddress >= 0x78 && ulAddress <= 0x7B)
    {
        if (pbFirst)
        {
            const uint32_t ulTen = ((ulAddress & 3) << 8) | *pbFirst;
            auto it = pod.slaves.find(0x400 + ulTen);
            pod.pTenBit = it != pod.slaves.end() && it->second->Present() ? it->second.get() : nullptr;
            return pod.pTenBit;
        }
        return pod.pTenBit;
    }
    auto it = pod.slaves.find(ulAddress);
    return it != pod.slaves.end() && it->second->Present() ? it->second.get() : nullptr;
}
} // namespace

extern "C"
{
    __attribute__((visibility("default"))) int32_t I2C_GetNumChannels(uint32_t* pulChannels)
    {
        std::lock_guard guard(g_mutex);
        SPod* pPod = Pod();
        if (pPod->bGone)
        {
            *pulChannels = 0;
            return kOk;
        }
        *pulChannels = pPod->ulChannels;
        return kOk;
    }

    __attribute__((visibility("default"))) int32_t I2C_GetChannelInfo(uint32_t ulIndex, char* pszDescription,
                                                                      uint32_t ulSize, uint32_t* pulId)
    {
        std::lock_guard guard(g_mutex);
        SPod* pPod = Pod();
        if (ulIndex >= pPod->ulChannels || pPod->bGone)
        {
            return kInvalidParameter;
        }
        const std::string strText = "Norvanta Simulated I2C Pod " + std::string(1, char('A' + ulIndex));
        if (ulSize)
        {
            std::snprintf(pszDescription, ulSize, "%s", strText.c_str());
        }
        *pulId = ulIndex;
        return kOk;
    }

    __attribute__((visibility("default"))) int32_t I2C_OpenChannel(uint32_t ulId, void** ppHandle)
    {
        std::lock_guard guard(g_mutex);
        SPod* pPod = Pod();
        if (pPod->bGone)
        {
            return kDeviceNotFound;
        }
        if (ulId >= pPod->ulChannels)
        {
            return kInvalidParameter;
        }
        pPod->ulOpen |= 1u << ulId;
        *ppHandle = reinterpret_cast<void*>(static_cast<uintptr_t>(ulId + 1));
        return kOk;
    }

    __attribute__((visibility("default"))) int32_t I2C_InitChannel(void* pHandle, uint32_t ulClockHz)
    {
        std::lock_guard guard(g_mutex);
        SPod* pPod = Pod();
        if (!ValidHandle(*pPod, pHandle))
        {
            return kInvalidHandle;
        }
        return ulClockHz == 0 || ulClockHz > 3400000 ? kInvalidParameter : kOk;
    }

    __attribute__((visibility("default"))) int32_t I2C_CloseChannel(void* pHandle)
    {
        std::lock_guard guard(g_mutex);
        SPod* pPod = Pod();
        if (!ValidHandle(*pPod, pHandle))
        {
            return kInvalidHandle;
        }
        pPod->ulOpen &= ~(1u << (static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pHandle)) - 1));
        return kOk;
    }

    __attribute__((visibility("default"))) int32_t I2C_DeviceWrite(void* pHandle, uint32_t ulAddress,
                                                                   uint32_t ulCount, const uint8_t* pbBuffer,
                                                                   uint32_t* pulTransferred,
                                                                   uint32_t ulOptions)
    {
        std::lock_guard guard(g_mutex);
        SPod* pPod = Pod();
        *pulTransferred = 0;
        if (!ValidHandle(*pPod, pHandle))
        {
            return kInvalidHandle;
        }
        if (ulAddress > 0x7F || !(ulOptions & kStart))
        {
            return kInvalidParameter;
        }
        const bool bGoes = Unplugged(*pPod);
        CSlave* pSlave = Address(*pPod, ulAddress, ulCount ? pbBuffer : nullptr);
        if (!pSlave)
        {
            pPod->pHeld = nullptr;
            return bGoes ? kDeviceNotFound : kAddressNak;
        }
        pSlave->Start();
        const bool bTen = ulAddress >= 0x78;
        // A pod pulled out mid-transfer sends half the bytes and no stop.
        const uint32_t ulSend = bGoes ? ulCount / 2 : ulCount;
        for (uint32_t i = bTen ? 1 : 0; i < ulSend; ++i)
        {
            pSlave->WriteByte(pbBuffer[i]);
        }
        *pulTransferred = ulSend;
        if (bGoes)
        {
            pPod->pHeld = nullptr;
            return kDeviceNotFound;
        }
        if (ulOptions & kStop)
        {
            pSlave->Stop();
            pPod->pHeld = nullptr;
        }
        else
        {
            pPod->pHeld = pSlave;
        }
        return kOk;
    }

    __attribute__((visibility("default"))) int32_t I2C_DeviceRead(void* pHandle, uint32_t ulAddress,
                                                                  uint32_t ulCount, uint8_t* pbBuffer,
                                                                  uint32_t* pulTransferred,
                                                                  uint32_t ulOptions)
    {
        std::lock_guard guard(g_mutex);
        SPod* pPod = Pod();
        *pulTransferred = 0;
        if (!ValidHandle(*pPod, pHandle))
        {
            return kInvalidHandle;
        }
        if (ulAddress > 0x7F || !(ulOptions & kStart))
        {
            return kInvalidParameter;
        }
        const bool bGoes = Unplugged(*pPod);
        // A repeated start keeps the slave's address pointer; only the EEPROM and the ports' own
        // logic decide what that means.
        CSlave* pSlave = Address(*pPod, ulAddress, nullptr);
        if (!pSlave)
        {
            pPod->pHeld = nullptr;
            return bGoes ? kDeviceNotFound : kAddressNak;
        }
        if (pPod->pHeld != pSlave)
        {
            pSlave->Start();
        }
        const uint32_t ulGet = bGoes ? ulCount / 2 : ulCount;
        for (uint32_t i = 0; i < ulGet; ++i)
        {
            pbBuffer[i] = pSlave->ReadByte();
        }
        *pulTransferred = ulGet;
        pPod->pHeld = (ulOptions & kStop) || bGoes ? nullptr : pSlave;
        return bGoes ? kDeviceNotFound : kOk;
    }

    // Replaces the configuration (the text as NORVANTA_I2C_SIM takes it). 0 on success, else 6
    // with the reason in NvI2cSimLastError().
    __attribute__((visibility("default"))) int32_t NvI2cSimConfigure(const char* pszConfig)
    {
        std::lock_guard guard(g_mutex);
        std::string strError;
        auto pPod = Configure(pszConfig ? pszConfig : "", &strError);
        if (!pPod)
        {
            g_pPod = std::make_unique<SPod>();
            g_pPod->ulChannels = 0;
            g_pPod->strError = strError;
            return kInvalidParameter;
        }
        g_pPod = std::move(pPod);
        return kOk;
    }

    __attribute__((visibility("default"))) const char* NvI2cSimLastError()
    {
        std::lock_guard guard(g_mutex);
        return Pod()->strError.c_str();
    }

    // The pod goes away during the N-th transfer from now (1: the next one).
    __attribute__((visibility("default"))) void NvI2cSimUnplugAfter(uint32_t ulTransfers)
    {
        std::lock_guard guard(g_mutex);
        SPod* pPod = Pod();
        pPod->ulUnplugAt = ulTransfers ? pPod->ulTransfers + ulTransfers : 0;
    }

    // A register of a topology device as the fabric holds it, for tests that check what a write
    // through the pod did. 0 on success.
    __attribute__((visibility("default"))) int32_t
    NvI2cSimDeviceRegister(const char* pszDevice, uint32_t ulOffset, uint32_t* pulValue)
    {
        std::lock_guard guard(g_mutex);
        SPod* pPod = Pod();
        nvsim::CSimDevice* pDevice = pPod->pFabric ? pPod->pFabric->FindDevice(pszDevice) : nullptr;
        if (!pDevice)
        {
            return kInvalidParameter;
        }
        auto lock = pPod->pFabric->Lock();
        *pulValue = pDevice->ReadRegister(ulOffset, nvsim::SRegAccess{0, true});
        return kOk;
    }
}

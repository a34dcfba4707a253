// A simulated JTAG pod library: the ten entry points of a pod library (the calling forms the
// client documents for its pods) over the devices of a simulated fabric, so that the client's
// JTAG link runs against a peer and not against a mock of its own calls.
//
// Configuration, from the environment variable NORVANTA_SIM_JTAG at the first call or from
// simjtagConfigure() at any time (which starts afresh), as "key=value" items split by ';':
//   topology=FILE        the fabric, a topology file (Simulator/README.md); required
//   pod=ITEM,ITEM,...    one pod per item list, "USB0" first; an ITEM is a device of the
//                        topology or part:NAME:IDCODE:IRLENGTH, a part that is no RapidIO device
//                        and that this library does not know. Without pod=, one pod holds every
//                        device of the topology in the order of the file.
//   driver=0x00MMmmbb    the USB driver version reported (default 0x00020814)
//   unplug-after=N       the pods are pulled out after N register transfers: the transfer that
//                        would be the N+1th fails, and so does everything after it
//
// Assumptions, since a real pod library's chain handling is its own:
// - A RapidIO device of the topology is known to the library, with a 5-bit instruction
//   register, and answers to its IDCODE (IEEE 1149.1: bit 0 set, manufacturer in bits 11..1,
//   part number in bits 27..12, version in bits 31..28) composed here as version 1, part number
//   its RapidIO device ID and manufacturer the low 11 bits of its RapidIO vendor ID. Real parts
//   have IDCODEs of their own; the composition only has to be stable and distinct.
// - Its register space is reached by offset as a local maintenance access would reach it, so
//   registers with behaviour behave as they do for a maintenance request from the host.
// - A part of unknown instruction register length makes every selection on that chain fail until
//   the client adds its IDCODE with the right length; a wrong length fails the same way, as the
//   IR capture pattern would not line up. Selecting such a part works, but it has no RapidIO
//   registers: reads and writes fail with "no device".
#include "nvsim/Fabric.h"
#include "nvsim/Topology.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#define NV_JTAG_EXPORT extern "C" __attribute__((visibility("default")))

namespace
{
// Statuses of the pod library interface.
constexpr int32_t kOk = 0;
constexpr int32_t kNoPod = -1;
constexpr int32_t kBadHandle = -2;
constexpr int32_t kNoDevice = -3;
constexpr int32_t kUnknownChain = -4;
constexpr int32_t kTransferFailed = -5;
constexpr int32_t kBadConfig = -6;

constexpr uint32_t kRioIRLength = 5;

using DebugFn = void (*)(void*, const char*);

struct SChainPart
{
    std::string strName;
    uint32_t ulIdCode = 0;
    uint32_t ulIRLength = 0;
    nvsim::CSimDevice* pDevice = nullptr; // null for a part that is no RapidIO device
};

struct SPod
{
    std::vector<SChainPart> chain;
    bool bOpen = false;
    bool bDiscovered = false;
    int32_t lSelected = -1;
    // Parts the client told of: IDCODE and IR length.
    std::vector<std::pair<uint32_t, uint32_t>> added;
};

struct SState
{
    bool bConfigured = false;
    std::string strError;
    std::unique_ptr<nvsim::CSimFabric> pFabric;
    std::vector<SPod> pods;
    uint32_t ulDriver = 0x00020814;
    bool bUnplugLimit = false;
    uint32_t ulTransfersLeft = 0;
    bool bUnplugged = false;
    int32_t lDebugLevel = 0;
    DebugFn pfnDebug = nullptr;
    void* pvDebugContext = nullptr;
};

std::recursive_mutex g_mutex;
SState g_state;

void Debug(const char* pszFormat, ...) __attribute__((format(printf, 1, 2)));
void Debug(const char* pszFormat, ...)
{
    if (g_state.lDebugLevel <= 0 || !g_state.pfnDebug)
    {
        return;
    }
    char szLine[512];
    va_list args;
    va_start(args, pszFormat);
    std::vsnprintf(szLine, sizeof(szLine), pszFormat, args);
    va_end(args);
    g_state.pfnDebug(g_state.pvDebugContext, szLine);
}

uint32_t IdCodeOf(const nvsim::CSimDevice& device)
{
    const auto& config = device.Config();
    return (1u << 28) | (uint32_t{config.wDeviceId} << 12) | ((config.wVendorId & 0x7FFu) << 1) | 1u;
}

std::vector<std::string> Split(const std::string& strText, char chSeparator)
{
    std::vector<std::string> items;
    std::string strItem;
    std::istringstream stream(strText);
    while (std::getline(stream, strItem, chSeparator))
    {
        if (!strItem.empty())
        {
            items.push_back(strItem);
        }
    }
    return items;
}

bool ParseNumber(const std::string& strText, uint32_t* pulValue)
{
    if (strText.empty())
    {
        return false;
    }
    char* pszEnd = nullptr;
    const unsigned long ulValue = std::strtoul(strText.c_str(), &pszEnd, 0);
    if (*pszEnd != '\0' || ulValue > 0xFFFFFFFFul)
    {
        return false;
    }
    *pulValue = static_cast<uint32_t>(ulValue);
    return true;
}

int32_t Fail(const std::string& strError)
{
    g_state.strError = strError;
    g_state.bConfigured = false;
    g_state.pods.clear();
    g_state.pFabric.reset();
    return kBadConfig;
}

int32_t Configure(const char* pszConfig)
{
    const DebugFn pfnDebug = g_state.pfnDebug;
    void* const pvContext = g_state.pvDebugContext;
    const int32_t lLevel = g_state.lDebugLevel;
    g_state = SState{};
    g_state.pfnDebug = pfnDebug;
    g_state.pvDebugContext = pvContext;
    g_state.lDebugLevel = lLevel;

    std::string strTopology;
    std::vector<std::string> podItems;
    for (const std::string& strItem : Split(pszConfig ? pszConfig : "", ';'))
    {
        const size_t nEquals = strItem.find('=');
        if (nEquals == std::string::npos)
        {
            return Fail("item without '=': " + strItem);
        }
        const std::string strKey = strItem.substr(0, nEquals);
        const std::string strValue = strItem.substr(nEquals + 1);
        if (strKey == "topology")
        {
            strTopology = strValue;
        }
        else if (strKey == "pod")
        {
            podItems.push_back(strValue);
        }
        else if (strKey == "driver")
        {
            if (!ParseNumber(strValue, &g_state.ulDriver))
            {
                return Fail("bad driver version: " + strValue);
            }
        }
        else if (strKey == "unplug-after")
        {
            if (!ParseNumber(strValue, &g_state.ulTransfersLeft))
            {
                return Fail("bad transfer count: " + strValue);
            }
            g_state.bUnplugLimit = true;
        }
        else
        {
            return Fail("unknown key: " + strKey);
        }
    }
    if (strTopology.empty())
    {
        return Fail("no topology= given");
    }
    std::string strError;
    g_state.pFabric = nvsim::LoadTopologyFile(strTopology, &strError);
    if (!g_state.pFabric)
    {
        return Fail(strError);
    }
    auto rioPart = [](nvsim::CSimDevice* pDevice) {
        return SChainPart{pDevice->Name(), IdCodeOf(*pDevice), kRioIRLength, pDevice};
    };
    if (podItems.empty())
    {
        SPod pod;
        for (nvsim::CSimDevice* pDevice : g_state.pFabric->Devices())
        {
            pod.chain.push_back(rioPart(pDevice));
        }
        g_state.pods.push_back(std::move(pod));
    }
    for (const std::string& strPod : podItems)
    {
        SPod pod;
        for (const std::string& strPart : Split(strPod, ','))
        {
            if (strPart.rfind("part:", 0) == 0)
            {
                const std::vector<std::string> fields = Split(strPart, ':');
                SChainPart part;
                if (fields.size() != 4 || !ParseNumber(fields[2], &part.ulIdCode) ||
                    !ParseNumber(fields[3], &part.ulIRLength) || part.ulIRLength == 0)
                {
                    return Fail("bad part: " + strPart);
                }
                part.strName = fields[1];
                pod.chain.push_back(part);
                continue;
            }
            nvsim::CSimDevice* pDevice = g_state.pFabric->FindDevice(strPart);
            if (!pDevice)
            {
                return Fail("no device " + strPart + " in the topology");
            }
            pod.chain.push_back(rioPart(pDevice));
        }
        g_state.pods.push_back(std::move(pod));
    }
    g_state.bConfigured = true;
    return kOk;
}

// Configures from the environment at the first call that needs it.
bool Ready()
{
    if (!g_state.bConfigured && g_state.strError.empty())
    {
        const char* pszConfig = std::getenv("NORVANTA_SIM_JTAG");
        if (!pszConfig)
        {
            g_state.strError = "NORVANTA_SIM_JTAG is not set";
            return false;
        }
        Configure(pszConfig);
    }
    return g_state.bConfigured;
}

SPod* PodOf(int32_t lHandle)
{
    if (!Ready() || lHandle < 0 || static_cast<size_t>(lHandle) >= g_state.pods.size() ||
        !g_state.pods[static_cast<size_t>(lHandle)].bOpen)
    {
        return nullptr;
    }
    return &g_state.pods[static_cast<size_t>(lHandle)];
}

// Whether a part's IR length is known to the library now, for the pod's walk.
bool LengthKnown(const SPod& pod, const SChainPart& part)
{
    if (part.pDevice)
    {
        return true;
    }
    for (const auto& [ulIdCode, ulIRLength] : pod.added)
    {
        if (ulIdCode == part.ulIdCode)
        {
            return ulIRLength == part.ulIRLength;
        }
    }
    return false;
}

// One register transfer: counts against the unplug limit. False when the pod is gone.
bool Transfer()
{
    if (g_state.bUnplugged)
    {
        return false;
    }
    if (g_state.bUnplugLimit)
    {
        if (g_state.ulTransfersLeft == 0)
        {
            g_state.bUnplugged = true;
            Debug("pod unplugged in the middle of a transfer");
            return false;
        }
        --g_state.ulTransfersLeft;
    }
    return true;
}

// The selected RapidIO device of an open pod, or a status.
int32_t Selected(int32_t lHandle, nvsim::CSimDevice** ppDevice)
{
    SPod* pPod = PodOf(lHandle);
    if (!pPod)
    {
        return kBadHandle;
    }
    if (pPod->lSelected < 0 || !pPod->chain[static_cast<size_t>(pPod->lSelected)].pDevice)
    {
        return kNoDevice;
    }
    if (!Transfer())
    {
        return kTransferFailed;
    }
    *ppDevice = pPod->chain[static_cast<size_t>(pPod->lSelected)].pDevice;
    return kOk;
}
} // namespace

// Not one of the ten: lets a test set the library up, as NORVANTA_SIM_JTAG does. 0 or -6.
NV_JTAG_EXPORT int32_t simjtagConfigure(const char* pszConfig)
{
    std::lock_guard lock(g_mutex);
    return Configure(pszConfig);
}

// Why the last configuration failed; empty after a good one.
NV_JTAG_EXPORT const char* simjtagLastError()
{
    std::lock_guard lock(g_mutex);
    return g_state.strError.c_str();
}

// Not one of the ten: pulls the pods out after ulTransfers more register transfers, keeping all
// else as it is, so a test can unplug a pod in the middle of a session.
NV_JTAG_EXPORT void simjtagUnplugAfter(uint32_t ulTransfers)
{
    std::lock_guard lock(g_mutex);
    g_state.bUnplugLimit = true;
    g_state.ulTransfersLeft = ulTransfers;
}

NV_JTAG_EXPORT int32_t jtagGetDriverVersion(uint32_t* pulVersion)
{
    std::lock_guard lock(g_mutex);
    if (!Ready())
    {
        return kNoPod;
    }
    *pulVersion = g_state.ulDriver;
    return kOk;
}

NV_JTAG_EXPORT int32_t jtagSetDebugLevel(int32_t lLevel)
{
    std::lock_guard lock(g_mutex);
    g_state.lDebugLevel = lLevel;
    return kOk;
}

NV_JTAG_EXPORT int32_t jtagSetDebugCallback(DebugFn pfnCallback, void* pvContext)
{
    std::lock_guard lock(g_mutex);
    g_state.pfnDebug = pfnCallback;
    g_state.pvDebugContext = pvContext;
    return kOk;
}

NV_JTAG_EXPORT int32_t jtagOpen(const char* pszPod, int32_t* plHandle)
{
    std::lock_guard lock(g_mutex);
    *plHandle = -1;
    if (!Ready() || g_state.bUnplugged || !pszPod || std::strncmp(pszPod, "USB", 3) != 0)
    {
        return kNoPod;
    }
    uint32_t ulIndex = 0;
    if (!ParseNumber(pszPod + 3, &ulIndex) || ulIndex >= g_state.pods.size())
    {
        return kNoPod;
    }
    SPod& pod = g_state.pods[ulIndex];
    pod.bOpen = true;
    pod.bDiscovered = false;
    pod.lSelected = -1;
    pod.added.clear();
    *plHandle = static_cast<int32_t>(ulIndex);
    Debug("%s open", pszPod);
    return kOk;
}

NV_JTAG_EXPORT int32_t jtagAddDevice(int32_t lHandle, const char* pszName, uint32_t ulJtagID,
                                     uint32_t ulIRLength)
{
    std::lock_guard lock(g_mutex);
    SPod* pPod = PodOf(lHandle);
    if (!pPod)
    {
        return kBadHandle;
    }
    pPod->added.emplace_back(ulJtagID, ulIRLength);
    Debug("added %s, IDCODE %08X, IR length %u", pszName ? pszName : "", ulJtagID, ulIRLength);
    return kOk;
}

NV_JTAG_EXPORT int32_t jtagDiscover(int32_t lHandle, uint32_t* pulNumDevices)
{
    std::lock_guard lock(g_mutex);
    SPod* pPod = PodOf(lHandle);
    if (!pPod)
    {
        return kBadHandle;
    }
    if (g_state.bUnplugged)
    {
        return kTransferFailed;
    }
    // IDCODEs shift out after test-logic reset without any knowledge of IR lengths.
    pPod->bDiscovered = true;
    pPod->lSelected = -1;
    *pulNumDevices = static_cast<uint32_t>(pPod->chain.size());
    for (size_t i = 0; i < pPod->chain.size(); ++i)
    {
        Debug("chain %zu: %s IDCODE %08X", i, pPod->chain[i].strName.c_str(), pPod->chain[i].ulIdCode);
    }
    return kOk;
}

NV_JTAG_EXPORT int32_t jtagDeviceSelect(int32_t lHandle, uint32_t ulPosition)
{
    std::lock_guard lock(g_mutex);
    SPod* pPod = PodOf(lHandle);
    if (!pPod)
    {
        return kBadHandle;
    }
    if (!pPod->bDiscovered || ulPosition >= pPod->chain.size())
    {
        return kNoDevice;
    }
    for (const SChainPart& part : pPod->chain)
    {
        if (!LengthKnown(*pPod, part))
        {
            Debug("IR length of %s (IDCODE %08X) unknown", part.strName.c_str(), part.ulIdCode);
            pPod->lSelected = -1;
            return kUnknownChain;
        }
    }
    pPod->lSelected = static_cast<int32_t>(ulPosition);
    Debug("selected %u: %s", ulPosition, pPod->chain[ulPosition].strName.c_str());
    return kOk;
}

NV_JTAG_EXPORT int32_t jtagRead(int32_t lHandle, uint32_t ulOffset, uint32_t* pulValue)
{
    std::lock_guard lock(g_mutex);
    nvsim::CSimDevice* pDevice = nullptr;
    const int32_t lStatus = Selected(lHandle, &pDevice);
    if (lStatus != kOk)
    {
        return lStatus;
    }
    auto fabricLock = g_state.pFabric->Lock();
    nvsim::SRegAccess access;
    access.bLocal = true;
    *pulValue = pDevice->ReadRegister(ulOffset, access);
    Debug("read %08X: %08X", ulOffset, *pulValue);
    return kOk;
}

NV_JTAG_EXPORT int32_t jtagWrite(int32_t lHandle, uint32_t ulOffset, uint32_t ulValue)
{
    std::lock_guard lock(g_mutex);
    nvsim::CSimDevice* pDevice = nullptr;
    const int32_t lStatus = Selected(lHandle, &pDevice);
    if (lStatus != kOk)
    {
        return lStatus;
    }
    auto fabricLock = g_state.pFabric->Lock();
    nvsim::SRegAccess access;
    access.bLocal = true;
    pDevice->WriteRegister(ulOffset, ulValue, 0xFFFFFFFFu, access);
    Debug("write %08X: %08X", ulOffset, ulValue);
    return kOk;
}

NV_JTAG_EXPORT int32_t jtagClose(int32_t lHandle)
{
    std::lock_guard lock(g_mutex);
    SPod* pPod = PodOf(lHandle);
    if (!pPod)
    {
        return kBadHandle;
    }
    pPod->bOpen = false;
    pPod->lSelected = -1;
    Debug("USB%d closed", lHandle);
    return kOk;
}

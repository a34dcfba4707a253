// Commands that reach the HAL for the device at a destination ID and hop count: routing table
// entries and tables, port speeds, the device lock, port training and port errors. Each first
// reads the device's identity, so the device's own HAL record answers.
#include "CliCommand.h"
#include "CliOptions.h"
#include "CliTarget.h"

#include "ClientStatus.h"
#include "HalWrappers.h"
#include "NVXLHal.h"
#include "NVXLStatus.h"
#include "Preferences.h"
#include "TargetClient.h"
#include "TargetConnection.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace
{
const char* const kTypeNames[] = {"undefined", "unrouted", "default", "port", "multicast", "special"};

// The device a command works on, once the target is open.
struct SDevice
{
    uint32_t ulDestID = 0xFFFFFFFFu;
    uint8_t uchHop = 0;
    uint16_t wVendor = 0xFFFF;
    uint16_t wDevice = 0xFFFF;
};

// Parses --dest and --hop, opens the target and reads the device's identity.
class CDeviceCommand
{
public:
    CDeviceCommand(const SCliInvocation& invocation, std::vector<std::string> valueOptions,
                   std::vector<std::string> flagOptions = {})
        : m_connection(nullptr, [](CTargetConnection*) {})
    {
        valueOptions.push_back("--dest");
        valueOptions.push_back("--hop");
        m_pOptions = std::make_unique<CCliOptions>(invocation.args, valueOptions, flagOptions);
    }

    const CCliOptions& Options() const { return *m_pOptions; }

    // Opens the target and reads the identity; 0 on success, else the exit status.
    int Open()
    {
        uint64_t ulDestID = 0xFFFFFFFFu;
        uint64_t ulHop = 0;
        if (!m_pOptions->Number("--dest", 0xFFFFFFFFu, &ulDestID) ||
            !m_pOptions->Number("--hop", 0xFF, &ulHop))
        {
            return 2;
        }
        device.ulDestID = static_cast<uint32_t>(ulDestID);
        device.uchHop = static_cast<uint8_t>(ulHop);
        m_connection = OpenCliTarget();
        if (!m_connection)
        {
            return 1;
        }
        HalSetLargeTransport(CliGlobals().bLarge ? 1 : 0);
        const int32_t nStatus = HalStatusToClient(
            GetDeviceAndVendor(0, device.ulDestID, device.uchHop, &device.wDevice, &device.wVendor));
        return nStatus == eRioOk ? 0 : CliFailure(nStatus);
    }

    // The host's own ID at the transport size in use, the lock owner of this client.
    uint16_t HostID() const
    {
        const SServerInfo& info = m_connection->ServerInfo();
        return CliGlobals().bLarge ? info.wLongDestID : info.wShortDestID;
    }

    SDevice device;

private:
    std::unique_ptr<CCliOptions> m_pOptions;
    std::unique_ptr<CTargetConnection, void (*)(CTargetConnection*)> m_connection;
};

bool ParseType(const std::string& strType, NVXL_ROUTE_TYPE* peType)
{
    for (int i = 0; i < 6; ++i)
    {
        if (strType == kTypeNames[i])
        {
            *peType = static_cast<NVXL_ROUTE_TYPE>(i);
            return true;
        }
    }
    std::fprintf(stderr, "unknown route type '%s'\n", strType.c_str());
    return false;
}

void PrintEntry(uint16_t wDestID, NVXL_ROUTE_TYPE eType, uint8_t uchPort, uint32_t ulExtra)
{
    const char* pszType = static_cast<unsigned>(eType) < 6 ? kTypeNames[eType] : "unknown";
    std::printf("destid=0x%04x type=%s port=%u extra=0x%x\n", wDestID, pszType, uchPort, ulExtra);
}

int RunRouteGet(const SCliInvocation& invocation)
{
    const char* const pszUsage = "route get TABLE DESTID [--dest ID] [--hop N]";
    CDeviceCommand command(invocation, {});
    uint64_t ulTable = 0, ulID = 0;
    if (!command.Options().Ok() || command.Options().Positional().size() != 2)
    {
        return CliUsage(pszUsage);
    }
    if (!CliNumber(command.Options().Positional()[0], 255, &ulTable) ||
        !CliNumber(command.Options().Positional()[1], 0xFFFF, &ulID))
    {
        return 2;
    }
    if (const int nExit = command.Open())
    {
        return nExit;
    }
    const SDevice& d = command.device;
    NVXL_ROUTE_TYPE eType = eNVXL_RouteTypeUndefined;
    uint8_t uchPort = 0;
    uint32_t ulExtra = 0;
    const int32_t nStatus =
        RouteGetEntry(d.wVendor, d.wDevice, 0, d.ulDestID, d.uchHop, static_cast<uint8_t>(ulTable),
                      static_cast<uint16_t>(ulID), &eType, &uchPort, &ulExtra);
    if (nStatus != eRioOk)
    {
        return CliFailure(nStatus);
    }
    PrintEntry(static_cast<uint16_t>(ulID), eType, uchPort, ulExtra);
    return 0;
}

int RunRouteAdd(const SCliInvocation& invocation)
{
    const char* const pszUsage =
        "route add TABLE DESTID PORT [--type TYPE] [--extra N] [--dest ID] [--hop N]";
    CDeviceCommand command(invocation, {"--type", "--extra"});
    uint64_t ulTable = 0, ulID = 0, ulPort = 0, ulExtra = 0;
    if (!command.Options().Ok() || command.Options().Positional().size() != 3)
    {
        return CliUsage(pszUsage);
    }
    NVXL_ROUTE_TYPE eType = eNVXL_RouteTypePort;
    if (!CliNumber(command.Options().Positional()[0], 255, &ulTable) ||
        !CliNumber(command.Options().Positional()[1], 0xFFFF, &ulID) ||
        !CliNumber(command.Options().Positional()[2], 255, &ulPort) ||
        !command.Options().Number("--extra", 0xFFFFFFFFu, &ulExtra) ||
        (command.Options().Has("--type") && !ParseType(command.Options().Value("--type"), &eType)))
    {
        return 2;
    }
    if (const int nExit = command.Open())
    {
        return nExit;
    }
    const SDevice& d = command.device;
    const int32_t nStatus = RouteAddEntry(
        d.wVendor, d.wDevice, 0, d.ulDestID, d.uchHop, static_cast<uint8_t>(ulTable),
        static_cast<uint16_t>(ulID), static_cast<uint8_t>(ulPort), eType, static_cast<uint32_t>(ulExtra));
    if (nStatus != eRioOk)
    {
        return CliFailure(nStatus);
    }
    PrintEntry(static_cast<uint16_t>(ulID), eType, static_cast<uint8_t>(ulPort),
               static_cast<uint32_t>(ulExtra));
    return 0;
}

int RunRouteLoad(const SCliInvocation& invocation)
{
    const char* const pszUsage = "route load TABLE [--dest ID] [--hop N]";
    CDeviceCommand command(invocation, {});
    uint64_t ulTable = 0;
    if (!command.Options().Ok() || command.Options().Positional().size() != 1)
    {
        return CliUsage(pszUsage);
    }
    if (!CliNumber(command.Options().Positional()[0], 255, &ulTable))
    {
        return 2;
    }
    if (const int nExit = command.Open())
    {
        return nExit;
    }
    const SDevice& d = command.device;
    uint32_t ulCount = 0;
    NVXL_ROUTE_ENTRY* pTable = nullptr;
    const int32_t nStatus = LoadRoutingTable(d.wVendor, d.wDevice, 0, d.ulDestID, d.uchHop,
                                             static_cast<uint8_t>(ulTable), &ulCount, &pTable);
    if (nStatus != eRioOk)
    {
        std::free(pTable);
        return CliFailure(nStatus);
    }
    for (uint32_t i = 0; i < ulCount && pTable; ++i)
    {
        PrintEntry(pTable[i].wDestID, pTable[i].eType, pTable[i].uchPort, pTable[i].ulExtra);
    }
    std::free(pTable);
    return 0;
}

int RunRouteStore(const SCliInvocation& invocation)
{
    const char* const pszUsage = "route store TABLE DESTID=PORT... [--dest ID] [--hop N]";
    CDeviceCommand command(invocation, {});
    uint64_t ulTable = 0;
    if (!command.Options().Ok() || command.Options().Positional().empty())
    {
        return CliUsage(pszUsage);
    }
    if (!CliNumber(command.Options().Positional()[0], 255, &ulTable))
    {
        return 2;
    }
    // A whole table: every ID unrouted but those given. The stores walk the table by ID.
    std::vector<NVXL_ROUTE_ENTRY> table(0x10000);
    for (size_t i = 0; i < table.size(); ++i)
    {
        table[i] = NVXL_ROUTE_ENTRY{static_cast<uint16_t>(i), 0xFF, eNVXL_RouteTypeUnrouted, 0};
    }
    for (size_t i = 1; i < command.Options().Positional().size(); ++i)
    {
        const std::string& strPair = command.Options().Positional()[i];
        const size_t nEquals = strPair.find('=');
        uint64_t ulID = 0, ulPort = 0;
        if (nEquals == std::string::npos)
        {
            return CliUsage(pszUsage);
        }
        if (!CliNumber(strPair.substr(0, nEquals), 0xFFFF, &ulID) ||
            !CliNumber(strPair.substr(nEquals + 1), 255, &ulPort))
        {
            return 2;
        }
        table[ulID] = NVXL_ROUTE_ENTRY{static_cast<uint16_t>(ulID), static_cast<uint8_t>(ulPort),
                                       eNVXL_RouteTypePort, 0};
    }
    if (const int nExit = command.Open())
    {
        return nExit;
    }
    const SDevice& d = command.device;
    uint32_t ulLimit = 0;
    int32_t nStatus = GetRouteLimit(d.wVendor, d.wDevice, 0, d.ulDestID, d.uchHop, &ulLimit);
    if (nStatus != eRioOk)
    {
        return CliFailure(nStatus);
    }
    const uint32_t ulEntries = (ulLimit & 0xFFFF) + 1;
    nStatus = StoreRoutingTable(d.wVendor, d.wDevice, 0, d.ulDestID, d.uchHop, static_cast<uint8_t>(ulTable),
                                ulEntries, table.data());
    if (nStatus != eRioOk)
    {
        return CliFailure(nStatus);
    }
    std::printf("stored %u entries\n", ulEntries);
    return 0;
}

int RunSpeedGet(const SCliInvocation& invocation)
{
    CDeviceCommand command(invocation, {});
    uint64_t ulPort = 0;
    if (!command.Options().Ok() || command.Options().Positional().size() != 1)
    {
        return CliUsage("speed get PORT [--dest ID] [--hop N]");
    }
    if (!CliNumber(command.Options().Positional()[0], 255, &ulPort))
    {
        return 2;
    }
    if (const int nExit = command.Open())
    {
        return nExit;
    }
    const SDevice& d = command.device;
    uint32_t ulSpeed = 0;
    const int32_t nStatus = GetPortSpeedMHz(d.wVendor, d.wDevice, 0, d.ulDestID, d.uchHop,
                                            static_cast<uint8_t>(ulPort), &ulSpeed);
    if (nStatus != eRioOk)
    {
        return CliFailure(nStatus);
    }
    std::printf("%u\n", ulSpeed);
    return 0;
}

int RunSpeedSet(const SCliInvocation& invocation)
{
    CDeviceCommand command(invocation, {});
    uint64_t ulPort = 0, ulSpeed = 0;
    if (!command.Options().Ok() || command.Options().Positional().size() != 2)
    {
        return CliUsage("speed set PORT MHZ [--dest ID] [--hop N]");
    }
    if (!CliNumber(command.Options().Positional()[0], 255, &ulPort) ||
        !CliNumber(command.Options().Positional()[1], 0xFFFFFFFFu, &ulSpeed))
    {
        return 2;
    }
    if (const int nExit = command.Open())
    {
        return nExit;
    }
    const SDevice& d = command.device;
    const int32_t nStatus = SetPortSpeedMHz(d.wVendor, d.wDevice, 0, d.ulDestID, d.uchHop,
                                            static_cast<uint8_t>(ulPort), static_cast<uint32_t>(ulSpeed));
    if (nStatus != eRioOk)
    {
        return CliFailure(nStatus);
    }
    std::printf("%u\n", static_cast<uint32_t>(ulSpeed));
    return 0;
}

int RunLock(const SCliInvocation& invocation, int nAction)
{
    CDeviceCommand command(invocation, {"--host", "--timeout"}, {"--break"});
    if (!command.Options().Ok() || !command.Options().Positional().empty())
    {
        return CliUsage(nAction == 0
                            ? "lock acquire [--host ID] [--timeout SECONDS] [--break] [--dest ID] [--hop N]"
                        : nAction == 1 ? "lock release [--host ID] [--dest ID] [--hop N]"
                                       : "lock show [--dest ID] [--hop N]");
    }
    uint64_t ulHost = 0x10000, ulTimeout = 0;
    if (!command.Options().Number("--host", 0xFFFF, &ulHost) ||
        !command.Options().Number("--timeout", 3600, &ulTimeout))
    {
        return 2;
    }
    if (const int nExit = command.Open())
    {
        return nExit;
    }
    const SDevice& d = command.device;
    const uint16_t wHost = ulHost > 0xFFFF ? command.HostID() : static_cast<uint16_t>(ulHost);
    uint16_t wOwner = 0xFFFF;
    int32_t nStatus = eRioOk;
    if (nAction == 0)
    {
        nStatus = AcquireDeviceLock(d.wVendor, d.wDevice, 0, d.ulDestID, d.uchHop, wHost, &wOwner,
                                    static_cast<int32_t>(ulTimeout), command.Options().Has("--break"));
    }
    else if (nAction == 1)
    {
        nStatus = ReleaseDeviceLock(d.wVendor, d.wDevice, 0, d.ulDestID, d.uchHop, wHost, &wOwner);
    }
    if (nStatus == eRioOk)
    {
        nStatus = GetCurDeviceLock(0, d.ulDestID, d.uchHop, &wOwner);
    }
    if (nStatus != eRioOk)
    {
        std::fprintf(stderr, "lock owner: 0x%04x\n", wOwner);
        return CliFailure(nStatus);
    }
    std::printf(wOwner == 0xFFFF ? "lock owner: none\n" : "lock owner: 0x%04x\n", wOwner);
    return 0;
}

int RunLockAcquire(const SCliInvocation& invocation)
{
    return RunLock(invocation, 0);
}
int RunLockRelease(const SCliInvocation& invocation)
{
    return RunLock(invocation, 1);
}
int RunLockShow(const SCliInvocation& invocation)
{
    return RunLock(invocation, 2);
}

int RunPortsTrained(const SCliInvocation& invocation)
{
    CDeviceCommand command(invocation, {});
    if (!command.Options().Ok() || !command.Options().Positional().empty())
    {
        return CliUsage("ports trained [--dest ID] [--hop N]");
    }
    if (const int nExit = command.Open())
    {
        return nExit;
    }
    const SDevice& d = command.device;
    uint8_t abTrained[256] = {};
    uint32_t ulPorts = 256;
    const int32_t nStatus = CTargetClient::Instance().ArePortsTrained(d.wVendor, d.wDevice, 0, d.ulDestID,
                                                                      d.uchHop, &ulPorts, abTrained);
    if (nStatus != eRioOk)
    {
        return CliFailure(nStatus);
    }
    for (uint32_t i = 0; i < ulPorts && i < 256; ++i)
    {
        std::printf("port %u: %s\n", i, abTrained[i] ? "trained" : "not trained");
    }
    return 0;
}

int RunPortErrorsClear(const SCliInvocation& invocation)
{
    CDeviceCommand command(invocation, {});
    uint64_t ulPort = 0;
    if (!command.Options().Ok() || command.Options().Positional().size() != 1)
    {
        return CliUsage("port errors clear PORT [--dest ID] [--hop N]");
    }
    if (!CliNumber(command.Options().Positional()[0], 255, &ulPort))
    {
        return 2;
    }
    if (const int nExit = command.Open())
    {
        return nExit;
    }
    const SDevice& d = command.device;
    uint32_t ulRemaining = 0;
    const int32_t nStatus = ClearPortErrors(d.wVendor, d.wDevice, 0, d.ulDestID, d.uchHop,
                                            static_cast<uint8_t>(ulPort), &ulRemaining);
    if (nStatus != eRioOk)
    {
        return CliFailure(nStatus);
    }
    std::printf("remaining errors: 0x%08x\n", ulRemaining);
    return ulRemaining ? 1 : 0;
}
} // namespace

extern const SCliCommand g_aDeviceCommands[] = {
    {"route get", "TABLE DESTID [--dest ID] [--hop N]", RunRouteGet},
    {"route add", "TABLE DESTID PORT [--type TYPE] [--extra N] [--dest ID] [--hop N]", RunRouteAdd},
    {"route load", "TABLE [--dest ID] [--hop N]", RunRouteLoad},
    {"route store", "TABLE DESTID=PORT... [--dest ID] [--hop N]", RunRouteStore},
    {"speed get", "PORT [--dest ID] [--hop N]", RunSpeedGet},
    {"speed set", "PORT MHZ [--dest ID] [--hop N]", RunSpeedSet},
    {"lock acquire", "[--host ID] [--timeout SECONDS] [--break] [--dest ID] [--hop N]", RunLockAcquire},
    {"lock release", "[--host ID] [--dest ID] [--hop N]", RunLockRelease},
    {"lock show", "[--dest ID] [--hop N]", RunLockShow},
    {"ports trained", "[--dest ID] [--hop N]", RunPortsTrained},
    {"port errors clear", "PORT [--dest ID] [--hop N]", RunPortErrorsClear},
    {nullptr, nullptr, nullptr},
};

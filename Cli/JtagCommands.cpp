// Commands of the JTAG pods: the scan of every pod's chain, and the list of devices the pod
// library does not know (name, JTAG ID, IR length), which every scan and connection adds first.
#include "CliCommand.h"
#include "CliOptions.h"

#include "JtagLink.h"

#include <cstdio>

namespace
{
int RunScan(const SCliInvocation& invocation)
{
    if (!invocation.args.empty())
    {
        return CliUsage("jtag scan");
    }
    QString strNotFound;
    const std::vector<SJtagChainEntry> rows = ScanJtagPods(&strNotFound);
    if (rows.empty())
    {
        std::fprintf(stderr, "%s\n", strNotFound.toLocal8Bit().constData());
        return 1;
    }
    std::printf("%-9s %-9s %-9s %-9s %s\n", "JTAG Pod", "Chain Pos", "Device ID", "Vendor ID", "Device Name");
    for (const SJtagChainEntry& row : rows)
    {
        std::printf("%-9s %-9u %04Xh     %04Xh     %s\n",
                    QStringLiteral("USB%1").arg(row.ulPod).toLatin1().constData(), row.ulPosition,
                    row.wDeviceID, row.wVendorID, row.strName.toLocal8Bit().constData());
    }
    return 0;
}

int RunDevices(const SCliInvocation& invocation)
{
    if (!invocation.args.empty())
    {
        return CliUsage("jtag devices");
    }
    for (const SJtagUserDevice& device : LoadJtagUserDevices())
    {
        std::printf("%08X %u %s\n", device.ulJtagID, device.ulIRLength,
                    device.strName.toLocal8Bit().constData());
    }
    return 0;
}

// Adds a device, or updates the one with the same JTAG ID.
int RunDeviceAdd(const SCliInvocation& invocation)
{
    const char* const pszUsage = "jtag device add NAME JTAG-ID IR-LENGTH";
    const CCliOptions options(invocation.args, {}, {});
    if (!options.Ok() || options.Positional().size() != 3)
    {
        return CliUsage(pszUsage);
    }
    uint64_t ulJtagID = 0;
    uint64_t ulIRLength = 0;
    if (!CliNumber(options.Positional()[1], 0xFFFFFFFFu, &ulJtagID) ||
        !CliNumber(options.Positional()[2], 255, &ulIRLength) || ulIRLength == 0)
    {
        return CliUsage(pszUsage);
    }
    std::vector<SJtagUserDevice> devices = LoadJtagUserDevices();
    const SJtagUserDevice device{QString::fromStdString(options.Positional()[0]),
                                 static_cast<uint32_t>(ulJtagID), static_cast<uint32_t>(ulIRLength)};
    const int iIndex = FindJtagUserDevice(devices, device.ulJtagID);
    if (iIndex >= 0)
    {
        devices[static_cast<size_t>(iIndex)] = device;
    }
    else
    {
        devices.push_back(device);
    }
    return SaveJtagUserDevices(devices) ? 0 : 1;
}

int RunDeviceDelete(const SCliInvocation& invocation)
{
    const CCliOptions options(invocation.args, {}, {});
    uint64_t ulJtagID = 0;
    if (!options.Ok() || options.Positional().size() != 1 ||
        !CliNumber(options.Positional()[0], 0xFFFFFFFFu, &ulJtagID))
    {
        return CliUsage("jtag device delete JTAG-ID");
    }
    std::vector<SJtagUserDevice> devices = LoadJtagUserDevices();
    const int iIndex = FindJtagUserDevice(devices, static_cast<uint32_t>(ulJtagID));
    if (iIndex < 0)
    {
        std::fprintf(stderr, "No device with the JTAG ID %08X is in the list.\n",
                     static_cast<uint32_t>(ulJtagID));
        return 1;
    }
    devices.erase(devices.begin() + iIndex);
    return SaveJtagUserDevices(devices) ? 0 : 1;
}
} // namespace

extern const SCliCommand g_aJtagCommands[] = {
    {"jtag scan", "", RunScan},
    {"jtag devices", "", RunDevices},
    {"jtag device add", "NAME JTAG-ID IR-LENGTH", RunDeviceAdd},
    {"jtag device delete", "JTAG-ID", RunDeviceDelete},
    {nullptr, nullptr, nullptr},
};

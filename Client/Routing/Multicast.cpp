#include "Multicast.h"

#include "FFRoutes.h"
#include "HalWrappers.h"
#include "UserInterface.h"

namespace
{
// Multicast Mask Port commands (RapidIO Part 11).
constexpr uint32_t kAddPort = 1;
constexpr uint32_t kDeleteAllPorts = 4;
// Multicast Associate command: add an association.
constexpr uint32_t kAddAssociation = 3;

bool IsSwitch(const CPEPrimitive& pe)
{
    return !pe.bDeleted && (pe.uType & kPETypeSwitch) != 0;
}
} // namespace

bool CheckMulticastSupport(const CPEPrimitive& pe)
{
    const CMulticastInfo& info = pe.Multicast;
    if (!info.bCapsValid)
    {
        ShowMessage(
            QStringLiteral("There is no multicast support information stored for the PE that you have "
                           "selected.\n\nPlease connect and try again.\n"));
        return false;
    }
    // The simple model is refused even where the per-port model is offered too.
    if (info.bSupportsSimpleAssociation)
    {
        ShowMessage(QStringLiteral("Simple Association Multipath model is currently not supported.\n"));
        return false;
    }
    if (info.bSupportsBlockAssociation)
    {
        ShowMessage(QStringLiteral("Block Association Multipath model is currently not supported.\n"));
        return false;
    }
    if (!info.bSupportsMulticast || !info.bSupportsPerPortAssociation)
    {
        ShowMessage(QStringLiteral("This switch does not support multicast."));
        return false;
    }
    return true;
}

bool DownloadMulticast(const CNetworkDocument& map, const CPEPrimitive& pe)
{
    if (!CheckMulticastSupport(pe))
    {
        return false;
    }
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    if (!ReachPE(map, pe, &ulDestID, &uchHop))
    {
        return false;
    }
    const uint16_t wVendor = pe.ManufID;
    const uint16_t wDevice = pe.DeviceID;
    // Every mask of the device is emptied first, so that a mask the map no longer has is gone
    // from the hardware too.
    for (int iMask = 0; iMask < pe.Multicast.iMaxMasks; ++iMask)
    {
        if (MulticastMaskPort(wVendor, wDevice, 0, ulDestID, uchHop, kDeleteAllPorts,
                              static_cast<uint16_t>(iMask), 0, nullptr) != 0)
        {
            ShowMessage(QStringLiteral("Unable to delete ports from current mask.\n"));
            return false;
        }
    }
    const bool bLarge = MapUsesLongIDs();
    for (int i = 0; i < pe.Multicast.GetNumMasks(); ++i)
    {
        const SMulticastMask& mask = *pe.Multicast.GetMask(i);
        const auto wMask = static_cast<uint16_t>(mask.MaskID);
        for (uint8_t uchPort : mask.Ports)
        {
            if (MulticastMaskPort(wVendor, wDevice, 0, ulDestID, uchHop, kAddPort, wMask, uchPort, nullptr) !=
                0)
            {
                ShowMessage(QString::asprintf("Unable to add port %d to mask %d.\n", uchPort, mask.MaskID));
                return false;
            }
        }
        // With per-port association an ID is multicast only for packets entering on the port it
        // was associated for: it is associated for every port, so that it is multicast whichever
        // way the packet comes in.
        for (uint16_t wID : mask.DestIDs)
        {
            for (int iPort = 0; iPort < pe.iNumLocalPorts; ++iPort)
            {
                if (MulticastAssociate(wVendor, wDevice, 0, ulDestID, uchHop, kAddAssociation, bLarge, 0, wID,
                                       wMask, static_cast<uint8_t>(iPort), nullptr) != 0)
                {
                    ShowMessage(QString::asprintf("Unable to associate destination ID %d to mask %d.\n", wID,
                                                  mask.MaskID));
                    return false;
                }
            }
        }
    }
    return true;
}

SMulticastDownload DownloadAllMulticast(const CNetworkDocument& map)
{
    SMulticastDownload result;
    UI().BeginWork(QStringLiteral("Downloading all multicast definitions..."), false);
    for (const auto& pPE : *map.pCurrentPEs)
    {
        if (UI().WorkCancelled())
        {
            break;
        }
        if (!IsSwitch(*pPE) || !pPE->Multicast.bCapsValid || pPE->Multicast.GetNumMasks() == 0)
        {
            continue;
        }
        ++result.nSwitches;
        const int iNode = pPE->iNodeNumber + 1;
        UI().SetWorkProgress(QString::asprintf("Processing Node %d.  Please wait...", iNode));
        UI().SetWorkProgress(
            QString::asprintf("Downloading multicast configuration to Node %d.  Please wait...", iNode));
        // A switch that fails has shown why; the others still get their masks.
        if (DownloadMulticast(map, *pPE))
        {
            ++result.nDone;
        }
    }
    UI().EndWork(QString());
    return result;
}

// Writing a switch's multicast masks from the map to the hardware: one switch, or every switch of
// the map that has masks. Only the per-port association model is served; a switch whose stored
// capabilities say otherwise is refused with the reason, and nothing is written to it.
#pragma once

#include "NetworkDocument.h"

// Whether the masks of the PE may go to its hardware, by the capabilities stored in the map: shows
// why not (no capabilities stored, the simple or block association model, no per-port
// association) and returns false.
bool CheckMulticastSupport(const CPEPrimitive& pe);

// Reaches the switch, deletes all ports of every mask up to the device's number of masks, then
// for each of the PE's masks in list order adds its ports and associates each of its destination
// IDs with it for every ingress port of the switch. The first failure is shown and ends the
// download; what was written stays. False when refused or ended on a failure.
bool DownloadMulticast(const CNetworkDocument& map, const CPEPrimitive& pe);

// What a download of all switches did.
struct SMulticastDownload
{
    int nSwitches = 0; // switches with valid capabilities and at least one mask
    int nDone = 0;     // of those, downloaded without a failure
};

// DownloadMulticast for each switch with valid multicast capabilities and masks, in map order,
// under one working window; Cancel stops between switches, leaving what was written.
SMulticastDownload DownloadAllMulticast(const CNetworkDocument& map);

// Where the server links go: ports, the broadcast address of the search, and the wait limit of
// a receive. They are preferences with the standard values as defaults; tests and the command line
// point them at loopback addresses and free ports.
#pragma once

#include <cstdint>

struct SLinkSettings
{
    uint16_t wServerPort = 15000;              // TCP and UDP traffic with the server
    uint16_t wUdpLocalPort = 15000;            // port a UDP link binds on this side
    uint16_t wBroadcastPort = 15001;           // where servers listen for the search
    uint16_t wReplyPort = 15002;               // where the search's answers come in
    uint32_t ulBroadcastAddress = 0xFFFFFFFFu; // host order
    uint32_t ulWaitMilliseconds = 10000;       // wait limit of every receive
    uint32_t ulSearchMilliseconds = 3000;      // the search ends this long after the last answer
};

// The settings in force. They are read from the section Preferences on first use (keys
// ServerPort, UdpLocalPort, BroadcastPort, BroadcastReplyPort, BroadcastAddress,
// ReceiveWaitMs, SearchWaitMs) and may then be changed in memory.
SLinkSettings& LinkSettings();
// Reads them again from the preferences.
void ReloadLinkSettings();

// Type flags and fixed values shared by the network model, the map file and the register library.
#pragma once

#include <cstdint>

// Type flags of a PE; a PE may combine the first four.
enum EPETypeFlags : uint32_t
{
    kPETypeBridge = 0x01,
    kPETypeSwitch = 0x02,
    kPETypeMemory = 0x04,
    kPETypeProcessor = 0x08,
    kPETypeUnknown = 0x10, // something answered but couldn't be identified
    kPETypeNull = 0x20,    // nothing answered behind a port
};

// Identity pairs of the two placeholder kinds of PE (device and vendor both).
constexpr uint16_t kUnknownDeviceIdentity = 0xFFFE;
constexpr uint16_t kNullDeviceIdentity = 0xFFFF;

// An unassigned 16-bit destination ID.
constexpr uint16_t kNoDestID = 0xFFFF;

// Number of ports a PE can have, and so of per-port records and routing table slots.
constexpr int kMaxPorts = 256;

// How the client is attached to a host PE.
enum EConnectionType
{
    eConnUnknown = 0,
    eConnEthernetTCP = 1,
    eConnEthernetUDP = 2,
    eConnInternetTCP = 3,
    eConnInternetUDP = 4,
    eConnRS232 = 5,
    eConnJTAG = 6,
    eConnI2C7Bit = 7,
    eConnI2C10Bit = 8,
    eConnTsi721Driver = 9,
};

// The kinds of route entry the model keeps (the same numbers as the HAL's route entries).
enum ERouteType : uint32_t
{
    eRouteUndefined = 0,
    eRouteUnrouted = 1,
    eRouteDefault = 2,
    eRoutePort = 3,
    eRouteMulticast = 4,
    eRouteSpecial = 5,
};

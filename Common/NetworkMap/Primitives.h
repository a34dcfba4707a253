// The records of the network model: a connection between two ports, and a PE (or a port that
// leads nowhere). Both carry a node number, which is how everything else names them.
#pragma once

#include "MulticastInfo.h"
#include "PETypes.h"
#include "RegisterValueList.h"
#include "RoutingTable.h"

#include <QString>

#include <array>
#include <cstdint>
#include <memory>

enum EPrimitiveType
{
    ePrimitiveConnection = 1,
    ePrimitivePE = 2,
};

class CPrimitive
{
public:
    explicit CPrimitive(int iType) : iPrimitiveType(iType) {}
    virtual ~CPrimitive() = default;

    int iPrimitiveType;              // 1 connection, 2 PE
    std::array<int, 4> aiReserved{}; // carried along by copies
    bool bDeleted = false;           // deleted by the user; stays until the map is saved and read
    int iNodeNumber = -1;            // number in its network; -1 for a PE without one yet

protected:
    CPrimitive(const CPrimitive&) = default;
    CPrimitive& operator=(const CPrimitive&) = default;
};

// Connection states by the status word.
enum EConnectionStatus
{
    eConnectionUp = 0,
    eConnectionIntermittent = 1,
    eConnectionOther = 2,
};

class CConnectionPrimitive : public CPrimitive
{
public:
    CConnectionPrimitive() : CPrimitive(ePrimitiveConnection) {}
    CConnectionPrimitive(const CConnectionPrimitive&) = default;
    CConnectionPrimitive& operator=(const CConnectionPrimitive&) = default;
    ~CConnectionPrimitive() override = default;

    int iPE1Port = 0; // port on the first PE
    int iPE1 = -1;    // node number of the first PE
    int iPE2Port = 0;
    int iPE2 = -1;
    uint32_t uPE1Type = kPETypeUnknown; // copies of the two PEs' type flags
    uint32_t uPE2Type = kPETypeUnknown;

    // The status word as the health monitor and discovery write it ("Up", "Down",
    // "Intermittent"). Setting it also sets eStatus: "Up" gives 0 and "Intermittent" 1, ignoring
    // case, and any other word 2.
    void SetStatus(const QString& strStatus);
    const QString& GetStatus() const { return Status; }
    int eStatus = eConnectionOther;

private:
    QString Status;
};

// Per-port data of a PE.
struct PortInfo
{
    uint8_t InitialWidth = 0xFF; // 0xFF: unknown
    uint8_t CurrentWidth = 0xFF;
    uint8_t CurrentLane = 0xFF;
    uint8_t OverrideWidth = 0xFF;
    bool bPoweredDown = false;
    int eType = 0;          // 0 Unknown, 1 Serial, 2 Parallel
    uint32_t uSpeedMHz = 0; // 0: unknown
};

enum EPortType
{
    ePortUnknown = 0,
    ePortSerial = 1,
    ePortParallel = 2,
};

// What the health monitor found on one port.
struct SPortHealth
{
    bool bChecked = false;
    bool bError = false;
    bool bDown = false;
    QString Reason; // why the port is in error; empty when there is nothing to say
};

// What the last validation found for a PE.
enum EValidationStatus
{
    eValidationUnknown = 0,
    eValidationOK = 1,
    eValidationNotResponding = 2,
    eValidationIDsNotMatching = 3,
};

struct PEValidationState
{
    int eStatus = eValidationUnknown;
    uint16_t uFoundDeviceID = 0xFFFF; // value read back; 0xFFFF: this one matched
    uint16_t uFoundVendorID = 0xFFFF;
    std::array<uint8_t, kMaxPorts> PortState{}; // a byte of state per port
};

class CPEPrimitive : public CPrimitive
{
public:
    CPEPrimitive() : CPrimitive(ePrimitivePE) {}
    // Deep copy: routing tables, register values, multicast data and port notes are copied.
    CPEPrimitive(const CPEPrimitive& other);
    CPEPrimitive& operator=(const CPEPrimitive& other);
    ~CPEPrimitive() override = default;

    uint16_t DeviceID = 0;
    uint16_t ManufID = 0; // 0xFFFF in both identity fields marks a Null PE, 0xFFFE an unknown one
    uint16_t ShortDestID = kNoDestID;
    uint16_t LongDestID = kNoDestID;
    uint16_t OrigShortDestID = kNoDestID; // the IDs before enumeration changed them
    uint16_t OrigLongDestID = kNoDestID;
    // Multicast destination IDs: bit 31 marks a slot in use, the low 16 bits are the ID.
    std::array<uint32_t, 2> ShortMCastDestID{};
    std::array<uint32_t, 2> LongMCastDestID{};
    bool bLargeTransport = false; // addressed by LongDestID
    bool bHasLongDestID = false;
    QString Comment;
    QString CommonName;
    uint32_t uType = kPETypeUnknown;
    QString Symbol; // icon family name
    int iNumLocalPorts = 0;
    std::array<std::unique_ptr<CRoutingTable>, kMaxPorts>
        RoutingTables;                  // per port; slot 0 only without per-port tables
    uint32_t uNetworkServerAddress = 0; // IPv4 address of the server (valid with bHasHostLink)
    int eConnectionType = eConnUnknown; // valid with bHasHostLink
    bool bHasHostLink = false;          // the client reaches the network at this PE
    bool bHostLinkOpen = false;         // that link is open now; never saved
    bool bHasDefaultPort = false;
    bool bUsesDestID = false; // answers to a destination ID (no plain switch)
    bool bHasPerPortRoutingTables = false;
    uint8_t DefaultPort = 0;
    CRegisterValueList SavedRegisters;
    CMulticastInfo Multicast;
    QString UniqueID; // identity across discoveries
    std::array<PortInfo, kMaxPorts> Ports;
    uint16_t VDID_Caps = 0;
    uint16_t VDID_NumSecondaryIDs = 0;
    uint16_t VDID_Impl = 0;
    uint16_t VDID_NumShortIDs = 0;
    uint16_t VDID_NumLongIDs = 0;
    std::array<uint16_t, 2> VDID_ShortIDs{};
    std::array<uint16_t, 2> VDID_LongIDs{};
    std::array<SPortHealth, kMaxPorts> PortHealth;
    PEValidationState Health;
    QString BitmapNoSel; // full paths of the two icon files
    QString BitmapSel;
    QString ErrorNote;   // what discovery found wrong with an unknown device; not saved with the map
    uint8_t uchUser = 0; // carried between the map and the middleware's records untouched; not saved

    // LongDestID with large transport, else ShortDestID.
    uint16_t GetDestID() const { return bLargeTransport ? LongDestID : ShortDestID; }
    // Number of valid VDIDs of the width in use.
    int GetNumVDIDs() const;
    // Walk over the VDIDs of the width in use; false at the end.
    bool GetFirstVDID(uint16_t* pwID, int* piCursor) const;
    bool GetNextVDID(uint16_t* pwID, int* piCursor) const;
    // Whether an ID is the primary ID (when bCheckPrimary) or one of the VDIDs (when bCheckVDIDs).
    bool HasDestID(uint16_t wID, bool bCheckPrimary, bool bCheckVDIDs) const;

    // "Processor/Bridge/Switch with Memory", "Unknown", "Null" and so on.
    QString GetTypeString() const;
    // What the last validation found, in words.
    QString GetStatusString() const;
    // The port technology where it isn't serial.
    QString GetPortTypeString() const;

    void SetDefaultPort(uint8_t uchPort);
    void ClearDefaultPort();
    uint8_t GetDefaultPort() const { return DefaultPort; }
    bool HasDefaultPort() const { return bHasDefaultPort; }

    // Sets type, symbol, common name and icon paths from the identity: from the device
    // information file when the device is known, else from the flags given.
    void SetIdentity(uint32_t uVendor, uint32_t uDevice, bool bSwitch, bool bProcessor, bool bMemory,
                     bool bBridge);

private:
    void CopyFrom(const CPEPrimitive& other);
};

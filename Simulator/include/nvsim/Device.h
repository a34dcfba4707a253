// A simulated RapidIO processing element: a sparse 24-bit configuration space of 32-bit
// registers with per-register behaviour, its ports' link-level state, its memory and its
// inbound message and doorbell queues.
//
// CSimDevice is the base every model derives from. It knows nothing of the standard registers:
// CStdDevice (StdDevice.h) installs the RapidIO standard behaviour, and device family models
// derive from CStdDevice and replace the hooks or virtuals where their part strays from it.
#pragma once

#include "nvsim/Memory.h"
#include "nvsim/Traffic.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace nvsim
{
class CSimFabric;

// Which routing table configuration form a switch offers at 0x70/0x74 (PE features bits 8, 9).
enum class ERouteForm
{
    Standard, // one port per selected destination ID
    Extended, // four ports per selected destination ID, always (the device has no other form)
    Both      // standard, or extended while Ext_config_en (bit 31 of 0x70) is written set
};

// Baud rates as a set, one bit a rate, for what a port can train at (RapidIO Part 6 rates).
namespace speeds
{
inline constexpr uint32_t k1250 = 1u << 0;
inline constexpr uint32_t k2500 = 1u << 1;
inline constexpr uint32_t k3125 = 1u << 2;
inline constexpr uint32_t k5000 = 1u << 3;
inline constexpr uint32_t k6250 = 1u << 4;
inline constexpr uint32_t kAll = 0x1F;
// The bit of a rate in Mbaud; 0 for a rate that is none of the five.
uint32_t Bit(uint32_t ulMbaud);
// The fastest rate of a set in Mbaud; 0 for an empty set.
uint32_t Fastest(uint32_t ulSet);
// The set as text: "1.25,3.125", or "none".
std::string Text(uint32_t ulSet);
} // namespace speeds

// What a topology says about one device. Every field has the value a plain single-port
// endpoint of the simulator's own identity would have.
struct SDeviceConfig
{
    std::string strModel = "generic"; // device family model; "generic" is plain standard RapidIO
    bool bSwitch = false;             // PE features bit 28
    uint16_t wVendorId = 0xFFF0;      // Device Identity CAR, low half
    uint16_t wDeviceId = 0x0002;      // Device Identity CAR, high half
    uint32_t ulDeviceRev = 0;         // Device Information CAR
    uint16_t wAssyId = 0;             // Assembly Identity CAR, high half
    uint16_t wAssyVendorId = 0;       // Assembly Identity CAR, low half
    uint16_t wAssyRev = 0;            // Assembly Information CAR, high half
    uint8_t uchPortCount = 1;         // Switch Port Information bits 15..8
    uint8_t uchSmallId = 0xFF;        // Base Device ID at reset, bits 23..16
    uint16_t wLargeId = 0xFFFF;       // Base Device ID at reset, bits 15..0
    uint32_t ulComponentTag = 0;      // Component Tag at reset
    bool bBridge = false;             // PE features bit 31
    bool bMemory = false;             // PE features bit 30; also: NREAD/NWRITE reach its memory
    bool bProcessor = false;          // PE features bit 29
    bool bLargeTransport = true;      // PE features bit 4: common transport large systems
    uint8_t uchAddressModes = 0x1;    // PE features bits 2..0 (0b001: 34-bit addresses)
    ERouteForm eRouteForm = ERouteForm::Standard;
    uint16_t wRouteLimit = 0xFF;           // Route Table Destination ID Limit: highest ID in the table
    bool bPerPortRouting = false;          // one routing table per ingress port
    bool bMulticast = false;               // PE features bit 10 and the multicast registers
    uint16_t wMulticastMasks = 8;          // Switch Multicast Information bits 15..0
    uint16_t wMulticastAssociations = 256; // maximum associations per mask
    bool bSimpleAssoc = false;             // Switch Multicast Support bit 31
    bool bBlockAssoc = false;              // Switch Multicast Information bit 31
    bool bPerPortAssoc = false;            // Switch Multicast Information bit 30
    std::optional<uint32_t> oSourceOps;    // Source Operations CAR; derived from the kind when unset
    std::optional<uint32_t> oDestOps;      // Destination Operations CAR; likewise
    uint8_t uchMaxWidth = 4;               // lanes a port supports: 1, 2, 4, 8 or 16
    // A switch answers a maintenance request it consumed out of the port the request came in
    // on, as switches do (hop count 0 responses never touch the routing table); set, it routes
    // the response by its table like any other packet.
    bool bResponseByTable = false;
    bool bEcho = false;       // send every received message and doorbell back to its sender
    bool bAcceptAnyId = true; // an endpoint consumes packets for any destination ID
    // Baud rates the ports are enabled for at reset (Port n Control 2); a port that offers
    // several trains at the one its link partner offers too.
    uint32_t ulSpeeds = speeds::kAll;
    // Models: the quad configuration a switch comes out of reset with (pin straps on the part).
    std::optional<uint32_t> oQuadConfig;
    // IDT Gen2 switches: the DFE taps 0 to 4 at which every lane receives without errors (empty:
    // the lane model's default).
    std::vector<int> dfeOptimum;
    // Models with an I2C master: the serial EEPROM on its bus, its size in bytes (0: none) and
    // its 7-bit I2C address.
    uint32_t ulEepromBytes = 0;
    uint8_t uchEepromAddress = 0x50;
    // An endpoint with a traffic generator of its own: the address of its control structure,
    // which NVT_DATAGEN names to reach it.
    std::optional<uint32_t> oDataGenControl;
};

// Context of one maintenance access.
struct SRegAccess
{
    uint8_t uchIngressPort = 0; // port the request came in on (the host port for local access)
    bool bLocal = false;        // reached without a packet (DestID 0xFFFFFFFF on the host)
};

// Reads a register as an access sees it.
using RegReadFn = std::function<uint32_t(const SRegAccess&)>;
// Writes ulValue to the bytes of a register selected by ulByteMask (0xFF per byte lane).
using RegWriteFn = std::function<void(uint32_t ulValue, uint32_t ulByteMask, const SRegAccess&)>;

// Link-level state of one port that the fabric's packet transport uses.
struct SPortState
{
    uint8_t uchInboundAckId = 0;     // next ackID the input port expects
    uint8_t uchOutstandingAckId = 0; // next ackID the output port expects acknowledged
    uint8_t uchOutboundAckId = 0;    // next ackID the output port transmits
    uint32_t ulErrorStatus = 0;      // error and state bits of Port n Error and Status, bits 1..0 excluded
};

// What a device does with a packet that arrived on one of its ports (CSimDevice::PacketArriving).
enum class EPacketAction : uint8_t
{
    Pass, // route or consume it as usual
    Drop, // discard it
    Take, // the device keeps it for itself
};

// A message in an inbound queue.
struct SMessage
{
    uint32_t ulSourceId = 0;   // destination ID of the sender
    bool bLarge = false;       // 16-bit IDs (TT of the packets)
    uint32_t ulPriority = 0;   // request priority
    uint32_t ulMailbox = 0;    // mailbox it was sent to
    std::vector<uint8_t> data; // payload
};

// A doorbell in an inbound queue.
struct SDoorbell
{
    uint32_t ulSourceId = 0;
    bool bLarge = false;
    uint16_t wInfo = 0; // information word
};

// One inbound queue: entries in arrival order and a flag set when an arrival found it full.
template <typename T> struct SInboundQueue
{
    std::deque<T> entries;
    bool bOverflow = false;
};

class CSimDevice
{
public:
    // Entries an inbound queue holds; further arrivals are dropped and flag an overflow.
    static constexpr size_t kQueueDepth = 64;

    CSimDevice(std::string strName, SDeviceConfig config);
    virtual ~CSimDevice();
    CSimDevice(const CSimDevice&) = delete;
    CSimDevice& operator=(const CSimDevice&) = delete;

    // Name in the topology.
    const std::string& Name() const { return m_strName; }
    // Configuration it was made with.
    const SDeviceConfig& Config() const { return m_config; }
    bool IsSwitch() const { return m_config.bSwitch; }
    uint8_t PortCount() const { return m_config.uchPortCount; }

    // Maintenance read of the word at ulOffset as a request that entered on
    // access.uchIngressPort sees it. The default runs the offset's hook or reads storage.
    virtual uint32_t ReadRegister(uint32_t ulOffset, const SRegAccess& access);
    // Maintenance write of the byte lanes in ulByteMask. The default runs the offset's hook or
    // stores the bytes; a register with a read hook and no write hook ignores writes.
    virtual void WriteRegister(uint32_t ulOffset, uint32_t ulValue, uint32_t ulByteMask,
                               const SRegAccess& access);

    // Stored word at ulOffset, without running any behaviour (0 if never set). For models,
    // assertions and fault injection; registers whose value depends on the access (the ingress
    // port at 0x14, port OK at 0x158 + 32n) hold only their stored part here.
    uint32_t Reg(uint32_t ulOffset) const;
    // Sets the stored word without running any behaviour.
    void SetReg(uint32_t ulOffset, uint32_t ulValue);

    // Egress port for a packet to ulDestId (a 16-bit ID when bLarge) that entered on
    // uchIngressPort; false drops it. Only switches route; the base drops everything.
    virtual bool Route(uint32_t ulDestId, bool bLarge, uint8_t uchIngressPort, uint8_t* puchEgress) const;
    // Egress ports of the copies a switch makes of a request to a multicast ID that entered on
    // uchIngressPort: the ports of the mask the ID is associated with (possibly none). Nullopt when
    // the ID is not a multicast ID here and the packet is routed as usual. The base has none.
    virtual std::optional<std::vector<uint8_t>> MulticastPorts(uint32_t ulDestId, bool bLarge,
                                                               uint8_t uchIngressPort) const;
    // Whether an endpoint consumes a packet addressed to ulDestId.
    virtual bool Accepts(uint32_t ulDestId, bool bLarge) const;
    // The device's own destination ID at 8 or 16 bits.
    virtual uint32_t BaseDeviceId(bool bLarge) const;
    // Whether a port takes part in link training (not disabled).
    virtual bool PortEnabled(uint8_t uchPort) const;
    // Baud rates (a speeds:: set) a port can train at as the part is set up now. A link trains
    // only at a rate both its ends offer. The base offers every rate.
    virtual uint32_t PortSpeeds(uint8_t uchPort) const;
    // Lanes a port has as the part is set up now; 0 for a port that does not exist in the
    // present configuration (it cannot train). The base gives the configured width.
    virtual uint8_t PortLanes(uint8_t uchPort) const;
    // Sets a port up as if the part had come out of reset running its link at ulMbaud (the
    // topology's link speed): pin straps, PLLs, lane rates. False with *pError if the port
    // cannot run at that rate. The base has nothing to set.
    virtual bool PresetPortSpeed(uint8_t uchPort, uint32_t ulMbaud, std::string* pError);
    // Whether the host takes the response to a request it addressed to ulDestId: a device whose
    // responses carry another source ID (its ID changed under the request) answers in vain.
    virtual bool AnswersAs(uint32_t ulDestId, bool bLarge) const;
    // Whether a switch consumes requests addressed to its own base device ID, as an endpoint
    // would, whatever their hop count.
    virtual bool ConsumesOwnId() const;
    // Whether the server host's memory at [ullAddress, ullAddress + ulCount) is this host
    // device's register block (reached by DataRead/DataWrite) rather than plain memory.
    virtual bool MapsHostMemory(uint64_t ullAddress, uint32_t ulCount) const;
    // Puts a port's link-level state back as a port reset leaves it: ackIDs 0, no errors.
    // The link partner keeps its own state.
    void ResetPort(uint8_t uchPort);

    // NREAD and NWRITE reaching this device: a client status (0, or an ERROR response).
    virtual int32_t DataRead(uint64_t ullAddress, uint8_t* p, uint32_t ulCount);
    virtual int32_t DataWrite(uint64_t ullAddress, const uint8_t* p, uint32_t ulCount);
    // A message or doorbell arriving; false if the queue was full (the entry is dropped).
    bool DeliverMessage(SMessage message);
    bool DeliverDoorbell(SDoorbell doorbell);
    // Takes the oldest entry of a queue, with the overflow flag, which is cleared by the fetch.
    std::optional<SMessage> TakeMessage(uint32_t ulQueue, bool* pbOverflow);
    std::optional<SDoorbell> TakeDoorbell(uint32_t ulQueue, bool* pbOverflow);
    void FlushMessages(uint32_t ulQueue);
    void FlushDoorbells(uint32_t ulQueue);
    // Number of entries waiting in a queue.
    size_t MessageCount(uint32_t ulQueue) const;
    size_t DoorbellCount(uint32_t ulQueue) const;

    // Memory behind NREAD/NWRITE, for tests to seed and inspect.
    void ReadMemory(uint64_t ullAddress, uint8_t* p, size_t n) const;
    void WriteMemory(uint64_t ullAddress, const uint8_t* p, size_t n);

    // Link-level state of a port (ackIDs and error bits). Hold the fabric's lock while using
    // the reference when a server runs on the fabric.
    SPortState& Port(uint8_t uchPort);
    const SPortState& Port(uint8_t uchPort) const;
    // Fault injection: sets error or state bits of Port n Error and Status (bits 1..0 are the
    // link's and cannot be set this way).
    void InjectPortErrors(uint8_t uchPort, uint32_t ulBits);
    // Fault injection: forces the port's ackIDs, for instance out of step with its partner.
    void SetAckIds(uint8_t uchPort, uint8_t uchInbound, uint8_t uchOutstanding, uint8_t uchOutbound);
    // Fault injection: a mute device takes the requests addressed to it and neither carries
    // them out nor answers; it still forwards packets that pass through it.
    void SetMute(bool bMute);
    bool IsMute() const;
    // Fault injection: the device takes maintenance reads and writes of one register (its word
    // offset) and neither carries them out nor answers, so that one step of a tool's sequence
    // fails while the others go through.
    void MuteRegister(uint32_t ulOffset);
    bool IsRegisterMuted(uint32_t ulOffset) const;

    // --- Traffic. The fabric calls these as packets cross the port's link: ulCount packets of
    // one kind carrying ullPayloadBytes of data in all, transmitted or received. Models add the
    // counters of their part; they must call the base, which keeps the simulator's own totals.
    virtual void CountPackets(uint8_t uchPort, bool bTransmit, const SPacketInfo& packet, uint32_t ulCount,
                              uint64_t ullPayloadBytes);
    // ulCount link-level events at a port, about packets of the kind given.
    virtual void CountLinkEvent(uint8_t uchPort, ELinkEvent eEvent, uint32_t ulCount,
                                const SPacketInfo& packet);
    // A reset-device link-request came in on a port from the link partner (RapidIO Part 6:
    // link-request/reset-device asks the receiving device to reset). The base ignores it; a
    // model that boots from an EEPROM loads it here.
    virtual void ResetDeviceReceived(uint8_t uchPort);
    // The simulator's own totals of what crossed a port (not the device's registers).
    SPortCounters Counters(uint8_t uchPort) const;
    // Sets the simulator's totals of every port back to 0 (the device's registers keep theirs).
    void ClearCounters();

    // --- Packets as bytes. The fabric encodes the packets that cross a port (RapidIO packets as
    // on the link, ackID to final CRC or pad; nvsim/Packet.h) only when somebody looks at them:
    // a packet capture, or a device that says here that it wants them. Models with packet
    // engines, comparators or filters override these; the base looks at nothing, lets
    // everything pass and has no loop-back.
    //
    // Whether the device wants the bytes of packets arriving on (bTransmit false) or about to
    // leave by (bTransmit true) a port; only then are PacketArriving and PacketLeaving called.
    virtual bool WantsPacketBytes(uint8_t uchPort, bool bTransmit) const;
    // A packet the port's input accepted (its ackID and CRC were right), before the device
    // routes or consumes it. Pass lets it go on; Drop discards it (a filter: the transaction it
    // belongs to times out, as on hardware); Take means the device has kept it for itself.
    // The fabric's lock is held; the device may call CSimFabric::InjectPacket.
    virtual EPacketAction PacketArriving(uint8_t uchPort, const std::vector<uint8_t>& bytes);
    // A packet about to leave by the port. True: the device took it (a capture engine), and it
    // does not leave. Called whether or not the port's link is up.
    virtual bool PacketLeaving(uint8_t uchPort, const std::vector<uint8_t>& bytes);
    // Whether the port loops what it transmits straight back into its own input (port
    // loop-back), instead of onto its link.
    virtual bool PortLoopedBack(uint8_t uchPort) const;

protected:
    // Installs the behaviour of one register. fnRead empty: reads return the stored word.
    // fnWrite empty: writes are ignored.
    void SetHook(uint32_t ulOffset, RegReadFn fnRead, RegWriteFn fnWrite);
    // A read-only register holding ulValue.
    void SetReadOnly(uint32_t ulOffset, uint32_t ulValue);
    // A plain register whose bits in ulWritable take what is written; the rest keep ulValue.
    void SetMasked(uint32_t ulOffset, uint32_t ulValue, uint32_t ulWritable);
    // The fabric this device is part of, or null before it is added.
    CSimFabric* Fabric() const { return m_pFabric; }
    // Lock of the fabric (a no-op before the device is added).
    std::unique_lock<std::recursive_mutex> Guard() const;

private:
    friend class CSimFabric;

    struct SRegHook
    {
        RegReadFn fnRead;
        RegWriteFn fnWrite;
    };

    std::string m_strName;
    SDeviceConfig m_config;
    CSimFabric* m_pFabric = nullptr;
    std::unordered_map<uint32_t, uint32_t> m_regs;
    std::unordered_map<uint32_t, SRegHook> m_hooks;
    std::vector<SPortState> m_ports;
    std::vector<SPortCounters> m_counters; // one per port
    CSparseMemory m_memory;
    std::map<uint32_t, SInboundQueue<SMessage>> m_messageQueues;
    std::map<uint32_t, SInboundQueue<SDoorbell>> m_doorbellQueues;
    bool m_bMute = false;
    std::vector<uint32_t> m_mutedRegisters;
};

// Makes a device of the named model (the table in DeviceModels.cpp). Null with *pError set for
// an unknown model.
std::unique_ptr<CSimDevice> CreateDevice(const std::string& strName, const SDeviceConfig& config,
                                         std::string* pError);
// Fills in what the model of pConfig->strModel is, where the topology did not say otherwise:
// identity, port count, width, route table form. fnGiven tells whether the topology gave an
// option (by its key). False with *pError for an unknown model, or one that is a switch
// declared as an endpoint or the other way round.
bool ApplyModelDefaults(SDeviceConfig* pConfig, const std::function<bool(const std::string&)>& fnGiven,
                        std::string* pError);
// Names of all models, in the order of the table.
std::vector<std::string> ModelNames();
} // namespace nvsim

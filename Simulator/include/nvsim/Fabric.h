// The simulated RapidIO fabric: devices, the links between their ports, the host device the
// server sits on, and the transactions the server carries out for its client.
//
// Transactions travel as packets do in RapidIO. A request leaves the host's port, crosses
// links and is routed by destination ID through the switches' tables; a maintenance request
// is consumed by the switch where its hop count runs out or by the first endpoint it reaches.
// The response leaves the device that consumed the request by the port the request came in on
// and is routed back by the host's ID through the switches on the way. Anything that loses a
// request or a response (no route, an untrained link, a loop, a response that ends up at another
// endpoint, a mute device, an injected loss) shows to the client as a time-out (-310) and leaves
// an entry in the RapidIO error list.
//
// Thread safety: the fabric's recursive mutex guards all of it. Transactions, Reg/SetReg and
// the fault setters take it themselves; hold Lock() around anything else while a server runs.
#pragma once

#include "nvsim/Device.h"
#include "nvsim/Memory.h"
#include "nvsim/Packet.h"
#include "nvsim/RouteJournal.h"

#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

namespace nvsim
{
// One end of a link.
struct SLinkEnd
{
    CSimDevice* pDevice = nullptr;
    uint8_t uchPort = 0;
};

class CSimLink
{
public:
    const SLinkEnd& EndA() const { return m_a; }
    const SLinkEnd& EndB() const { return m_b; }
    // The end across from (pDevice, uchPort), or null if that is not an end of this link.
    const SLinkEnd* Other(const CSimDevice* pDevice, uint8_t uchPort) const;

    // Whether the link trained, as configured (a port disabled at either end, or ends that
    // agree on no baud rate, also keep the link down; CSimFabric::PortTrained tells the
    // effective state).
    bool IsTrained() const { return m_bTrained; }
    // Baud rate in Mbaud (1250, 2500, 3125, 5000, 6250) and lanes (1, 2, 4, 8, 16) the link was
    // set up with; CSimFabric::LinkSpeedMbaud and LinkWidth tell what the two ports make of it.
    uint32_t SpeedMbaud() const { return m_ulSpeedMbaud; }
    uint8_t Width() const { return m_uchWidth; }

    // Speed and width the link trains to.
    void SetShape(uint32_t ulSpeedMbaud, uint8_t uchWidth);
    // Fault injection. Untrained: nothing crosses and both ports lose "port OK".
    void SetTrained(bool bTrained);
    // The next ulCount responses that try to cross are lost; 0 loses every response.
    void LoseResponses(uint32_t ulCount);
    // Every packet that crosses takes ulMs milliseconds longer.
    void SetDelayMs(uint32_t ulMs);
    uint32_t DelayMs() const { return m_ulDelayMs; }
    // Fault injection: of the transmissions that try to cross (either way), the fraction
    // dCrcRate arrives with a bad CRC (the receiver answers packet-not-accepted and the packet is
    // sent again, up to kCrcLimit times) and the fraction dRetryRate is refused with packet-retry
    // (and sent again). Rates from 0 to 1, spread evenly rather than at random (every 1/rate-th
    // transmission), so that a count of errors is exact.
    void SetErrorRates(double dCrcRate, double dRetryRate);
    double CrcRate() const { return m_dCrcRate; }
    double RetryRate() const { return m_dRetryRate; }
    // Undoes LoseResponses, SetDelayMs and SetErrorRates.
    void ClearFaults();

    // Transmissions of one packet that may fail with a bad CRC before the sender gives up and
    // drops it (the simulator's limit; RapidIO leaves it to the implementation).
    static constexpr uint32_t kCrcLimit = 8;

private:
    friend class CSimFabric;

    CSimFabric* m_pFabric = nullptr;
    SLinkEnd m_a, m_b;
    bool m_bTrained = true;
    uint32_t m_ulSpeedMbaud = 3125;
    uint8_t m_uchWidth = 4;
    bool m_bLoseAllResponses = false;
    uint32_t m_ulResponsesToLose = 0;
    uint32_t m_ulDelayMs = 0;
    double m_dCrcRate = 0, m_dRetryRate = 0;
    double m_dCrcDue = 0, m_dRetryDue = 0; // errors owed so far, spread evenly
};

// What became of a packet given to CSimFabric::InjectPacket.
enum class EPacketFate : uint8_t
{
    Consumed, // a device consumed it: carried out the request, or took the response
    Dropped,  // a device dropped it: bad CRC, no route, a filter, a response nobody waits for
    Taken,    // a device's packet hook kept it (a capture engine)
    Lost,     // it did not get across: link down, ackID refused, caught in a loop
    Invalid,  // the bytes are no packet a port could send (fewer than 4, or more than 276)
};

// Where an injected packet (and the response to it) ended.
struct SInjectResult
{
    EPacketFate eFate = EPacketFate::Lost;
    CSimDevice* pDevice = nullptr; // device where it ended (the sender when it did not get out)
    uint8_t uchPort = 0;           // port it came in on there (the sender's port when it did not get out)
    std::string strWhy;            // what happened, in words
    // A request that was carried out and answered: what became of the response.
    bool bResponse = false;
    EPacketFate eResponseFate = EPacketFate::Lost;
    CSimDevice* pResponseDevice = nullptr;
    uint8_t uchResponsePort = 0;
};

// Every packet that crosses a link, as bytes: the port it left by, the port it entered (the
// same one for a port in loop-back) and the packet as on the link.
using PacketTapFn =
    std::function<void(const SLinkEnd& from, const SLinkEnd& to, const std::vector<uint8_t>& bytes)>;

// An entry of the RapidIO error list (message pair 19/20).
struct SRioError
{
    uint32_t ulCode = 0;
    std::string strText;
};

// Codes of the entries this simulator records.
inline constexpr uint32_t kRioErrorResponseTimeout = 0x00000001;
inline constexpr uint32_t kRioErrorErrorResponse = 0x00000002;

// What the server tells about itself in its identity record and capability mask.
struct SServerConfig
{
    uint32_t ulInterfaceVersion = 0x20071021;
    uint8_t uchServerMajor = 2;
    uint8_t uchServerMinor = 8;
    uint32_t ulDriverMajor = 1;
    uint32_t ulDriverMinor = 0;
    uint16_t wOsType = 0;        // 0: "Norvanta Simulator"
    uint16_t wProcessorType = 0; // 0: "Norvanta Simulator"
    uint32_t ulCapabilities = 0x3F3;
    // uchStatus of the record: 0 says "ready" (1 on TCP, 4 on UDP); 2 busy, 3 not available.
    uint8_t uchStatusOverride = 0;
};

// The server host: which device it is, which of its ports are the server's local ports, and
// its flash.
struct SHostConfig
{
    std::vector<uint8_t> localPorts; // LocalPort k leaves by device port localPorts[k]
    bool bFlash = true;
    uint64_t ullFlashSize = 16u << 20;
    bool bFlashWriteProtect = false;
};

class CSimFabric
{
public:
    // Longest way a packet may travel before it counts as caught in a loop.
    static constexpr uint32_t kMaxHops = 256;
    // Link crossings all copies of one multicast packet may make together.
    static constexpr uint32_t kMaxCrossings = 4096;
    // Entries the error list keeps; older ones give way.
    static constexpr size_t kMaxRioErrors = 64;

    CSimFabric();
    ~CSimFabric();
    CSimFabric(const CSimFabric&) = delete;
    CSimFabric& operator=(const CSimFabric&) = delete;

    // --- Building
    // Adds a device; false (and *pError) if its name is taken.
    bool AddDevice(std::unique_ptr<CSimDevice> pDevice, std::string* pError);
    // Links two ports; null (and *pError) if a port does not exist or is linked already.
    CSimLink* Connect(CSimDevice& a, uint8_t uchPortA, CSimDevice& b, uint8_t uchPortB, std::string* pError);
    // Makes a device the server host. Empty localPorts: all its ports in order.
    bool SetHost(const std::string& strName, std::vector<uint8_t> localPorts, std::string* pError);

    // --- Looking at it
    // Device by name; throws std::out_of_range if there is none.
    CSimDevice& Device(const std::string& strName);
    CSimDevice* FindDevice(const std::string& strName);
    // Devices in the order they were added.
    std::vector<CSimDevice*> Devices() const;
    // The server host; throws std::logic_error before SetHost.
    CSimDevice& Host();
    const SHostConfig& HostConfig() const { return m_host; }
    SHostConfig& HostConfig() { return m_host; }
    SServerConfig& ServerConfig() { return m_server; }
    const SServerConfig& ServerConfig() const { return m_server; }
    // Number of the server's local ports.
    uint32_t NumLocalPorts() const { return static_cast<uint32_t>(m_host.localPorts.size()); }
    // The link on a device's port, or null.
    CSimLink* LinkAt(const CSimDevice& device, uint8_t uchPort) const;
    CSimLink* Link(const std::string& strDevice, uint8_t uchPort);
    // Whether the port's link is up: linked, trained, enabled at both ends, with lanes at both
    // ends and a baud rate both ends offer.
    bool PortTrained(const CSimDevice& device, uint8_t uchPort) const;
    // The baud rate a link runs at: its own rate if both ends offer it, else the fastest both
    // offer; 0 if they agree on none.
    uint32_t LinkSpeedMbaud(const CSimLink& link) const;
    // The lanes a link runs on: its own width, narrowed to the lanes each end has.
    uint8_t LinkWidth(const CSimLink& link) const;
    // All links, in the order they were made.
    std::vector<CSimLink*> Links() const;

    // --- Transactions, as the server carries them out. Each returns a client status: 0, -310
    // when the request or its response is lost, -105 for an ERROR response, -304 for a request
    // the server cannot make. Words and data are in host order. pulLatencyMs, when given,
    // receives the time the packets spent on slow links. ulPriority is the request's priority
    // (0..2; its response goes one higher), which the ports on the way count it by.
    int32_t MaintRead(uint8_t uchLocalPort, uint32_t ulDestId, uint8_t uchHop, uint32_t ulOffset,
                      uint32_t* pWords, uint32_t ulCount, uint32_t ulWordSize, uint32_t ulStride, bool bLarge,
                      uint32_t* pulLatencyMs = nullptr, uint32_t ulPriority = 0);
    int32_t MaintWrite(uint8_t uchLocalPort, uint32_t ulDestId, uint8_t uchHop, uint32_t ulOffset,
                       const uint32_t* pWords, uint32_t ulCount, uint32_t ulWordSize, uint32_t ulStride,
                       bool bLarge, uint32_t* pulLatencyMs = nullptr, uint32_t ulPriority = 0);
    // NREAD of ulCount bytes at the RapidIO address (ulAddressHi:ulAddressLo).
    int32_t DataRead(uint8_t uchLocalPort, uint32_t ulDestId, uint32_t ulAddressHi, uint32_t ulAddressLo,
                     uint8_t* p, uint32_t ulCount, bool bLarge, uint32_t* pulLatencyMs = nullptr,
                     uint32_t ulPriority = 0);
    // ulXferType 0 SWRITE, 1 NWRITE (both without response), 2 NWRITE_R.
    int32_t DataWrite(uint8_t uchLocalPort, uint32_t ulDestId, uint32_t ulAddressHi, uint32_t ulAddressLo,
                      uint32_t ulXferType, const uint8_t* p, uint32_t ulCount, bool bLarge,
                      uint32_t* pulLatencyMs = nullptr, uint32_t ulPriority = 0);
    // A message of up to 4096 bytes to a mailbox 0..3.
    int32_t SendMessage(uint8_t uchLocalPort, uint32_t ulDestId, uint32_t ulPriority, uint32_t ulMailbox,
                        const uint8_t* p, uint32_t ulCount, bool bLarge, uint32_t* pulLatencyMs = nullptr);
    int32_t SendDoorbell(uint8_t uchLocalPort, uint32_t ulDestId, uint32_t ulPriority, uint16_t wInfo,
                         bool bLarge, uint32_t* pulLatencyMs = nullptr);

    // --- Generated traffic (the traffic generators, TrafficGen.h): ullTransactions transactions of
    // one kind from a device's port, counted by every port they cross like any other packets.
    struct SGenerated
    {
        EPacketKind eKind =
            EPacketKind::Write; // Read, Write, WriteWithResponse, StreamWrite, Doorbell, Message
        uint8_t uchPriority = 0;
        uint32_t ulDestId = 0;
        bool bLarge = false;
        uint64_t ullAddress = 0;    // start of the destination buffer
        uint32_t ulBufferBytes = 0; // its size; writes go round it
        uint64_t ullOffset = 0;     // where in it the first of these transactions goes
        uint32_t ulBytes = 0;       // payload of each transaction (data kinds, messages)
    };
    // Returns the transactions that reached their destination.
    uint64_t SendGenerated(CSimDevice& source, uint8_t uchPort, const SGenerated& what,
                           uint64_t ullTransactions);

    // --- Packets as bytes.
    // A packet a device sends of its own (a packet generator, a trace copy): it leaves by
    // uchPort (the ackID in the bytes is replaced by the link's), crosses links (a port in
    // loop-back takes it straight back in), is routed by its destination ID and consumed where
    // RapidIO says: a maintenance request where its hop count runs out (a switch) or by the
    // endpoint it reaches, which carries it out and sends the response back as bytes, routed by
    // the request's source ID; NREAD and NWRITE reach the endpoint's memory, doorbells and
    // message segments its queues. A packet with a bad CRC is dropped by the port that receives
    // it and counted as a CRC error. Safe to call from a device's packet hooks.
    SInjectResult InjectPacket(CSimDevice& device, uint8_t uchPort, std::vector<uint8_t> bytes);

    // Writes every packet that crosses a link to a pcap file (see Simulator/README.md: classic
    // pcap, link-layer type 147, one record per packet as on the link), each record flushed at
    // once. Replaces a capture already running. False with *pError when the file cannot be
    // made.
    bool StartPcap(const std::string& strPath, std::string* pError);
    // Closes the capture file.
    void StopPcap();
    bool PcapRunning() const;
    // Link-layer type of the records.
    static constexpr uint32_t kPcapLinkType = 147;
    // Calls fn with every packet that crosses a link (empty fn: none). For tests and tools.
    void SetPacketTap(PacketTapFn fn);

    // --- The host's inbound queues (message queue k holds mailbox k; doorbells go to queue 0).
    // *pbValid says whether an entry came; the overflow flag is reported once.
    int32_t FetchMessage(uint32_t ulQueue, SMessage* pMessage, bool* pbValid, bool* pbOverflow);
    int32_t FlushMessages(uint32_t ulQueue);
    int32_t FetchDoorbell(uint32_t ulQueue, SDoorbell* pDoorbell, bool* pbValid, bool* pbOverflow);
    int32_t FlushDoorbells(uint32_t ulQueue);

    // --- The server host's own memory (words of 1, 2, 4 or 8 bytes, raw bytes) and flash.
    int32_t MemRead(uint64_t ullAddress, uint32_t ulWordCount, uint32_t ulWordSize, uint8_t* p);
    int32_t MemWrite(uint64_t ullAddress, uint32_t ulWordCount, uint32_t ulWordSize, const uint8_t* p);
    int32_t FlashRead(uint64_t ullAddress, uint8_t* p, uint32_t ulCount);
    int32_t FlashWrite(uint64_t ullAddress, const uint8_t* p, uint32_t ulCount);

    // --- The RapidIO error list: takes (and empties) it.
    std::vector<SRioError> GetRioErrors();
    void AddRioError(uint32_t ulCode, std::string strText);

    // --- The journal of routing table changes made by maintenance writes (off until enabled).
    CRouteJournal& RouteJournal() { return m_routeJournal; }
    const CRouteJournal& RouteJournal() const { return m_routeJournal; }

    // The fabric's lock, for code that inspects devices while a server runs.
    std::unique_lock<std::recursive_mutex> Lock() const { return std::unique_lock(m_mutex); }
    std::recursive_mutex& Mutex() const { return m_mutex; }

private:
    struct STravel;

    bool HostPort(uint8_t uchLocalPort, uint8_t* puchPort) const;
    // Sends what travel carries out of a port: across its link, or back into the port when it
    // loops back; false (travel says why) when nothing got across.
    bool CrossPort(const SLinkEnd& from, bool bResponse, STravel& travel);
    // The packets of travel entering a port: the capture sees them, the device's hook may
    // drop or keep them.
    bool Arrive(const SLinkEnd& from, const SLinkEnd& to, uint8_t uchFirstAckId, STravel& travel);
    // Packet n of travel as bytes with the ackID given; empty when travel describes none.
    std::vector<uint8_t> PacketBytes(const STravel& travel, uint32_t n, uint8_t uchAckId) const;
    static std::string PortName(const CSimDevice& device, uint8_t uchPort);
    // Carries a packet given as bytes from a device's port to where it is consumed; a request
    // consumed is carried out and, with bAnswer, its response carried back. ulBudget: link
    // crossings left to all copies.
    SInjectResult CarryBytes(CSimDevice& from, uint8_t uchPort, std::vector<uint8_t>& bytes, bool bAnswer,
                             uint32_t& ulBudget);
    // A device consuming a packet given as bytes: carries the request out; the response, if any.
    std::optional<std::vector<uint8_t>> Consume(CSimDevice& device, uint8_t uchIngress,
                                                const std::vector<uint8_t>& bytes, std::string* pWhat);
    // Source TIDs for n requests: the first of n consecutive ones.
    uint8_t TakeTids(uint32_t n)
    {
        const uint8_t uchFirst = m_uchNextTid;
        m_uchNextTid = static_cast<uint8_t>(m_uchNextTid + n);
        return uchFirst;
    }
    bool SendRequest(uint8_t uchHostPort, uint32_t ulDestId, bool bLarge, bool bMaintenance, uint8_t uchHop,
                     STravel& travel);
    bool SendResponse(CSimDevice& from, uint8_t uchIngressPort, uint32_t ulDestId, bool bLarge,
                      STravel& travel);
    bool Forward(CSimDevice* pDevice, uint8_t uchEgress, uint32_t ulDestId, bool bLarge, bool bResponse,
                 bool bMaintenance, uint8_t uchHop, STravel& travel);
    // Sends a copy of a request out of each port of a multicast mask (but its ingress port);
    // false if no copy reached an endpoint.
    bool Replicate(CSimDevice* pSwitch, const std::vector<uint8_t>& ports, uint32_t ulDestId, bool bLarge,
                   STravel& travel);
    // The endpoints a request reached: every copy of a multicast one, else the one device.
    static std::vector<std::pair<CSimDevice*, uint8_t>> Reached(const STravel& travel);
    bool EchoToSender(CSimDevice& from, uint8_t uchIngressPort, uint32_t ulSenderId, bool bLarge,
                      STravel& travel);
    uint32_t CutDestId(uint32_t ulDestId, bool bLarge) const;

    // Hands the bytes of a packet crossing a link to the capture and the tap.
    void Record(const SLinkEnd& from, const SLinkEnd& to, const std::vector<uint8_t>& bytes);

    // Message segments that came as bytes, by receiver, sender, large IDs, letter and mailbox.
    std::map<std::tuple<CSimDevice*, uint32_t, bool, uint8_t, uint8_t>, std::vector<std::vector<uint8_t>>>
        m_reassembly;
    std::FILE* m_pPcap = nullptr;
    PacketTapFn m_fnTap;
    uint8_t m_uchNextTid = 0; // source TID of the next request the fabric makes
    mutable std::recursive_mutex m_mutex;
    std::vector<std::unique_ptr<CSimDevice>> m_devices;
    std::unordered_map<std::string, CSimDevice*> m_byName;
    std::vector<std::unique_ptr<CSimLink>> m_links;
    std::unordered_map<const CSimDevice*, std::vector<CSimLink*>> m_portLinks; // link on each port
    CSimDevice* m_pHost = nullptr;
    SHostConfig m_host;
    SServerConfig m_server;
    CSparseMemory m_hostMemory{0x00};
    CSparseMemory m_flash{0xFF};
    std::vector<SRioError> m_errors;
    CRouteJournal m_routeJournal;
};
} // namespace nvsim

// The probe: a RapidIO switch with a capture processor behind it, put into a network so that the
// traffic between two PEs can be seen. Enabling it programs routes and multicast in the switches
// around it so that a copy of the chosen traffic reaches the probe's processor; disabling it undoes
// that. The set-up window and the automation methods drive the same object.
#pragma once

#include <QString>

#include <cstdint>
#include <functional>
#include <vector>

class CNetworkDocument;
class CPEPrimitive;

// The probe's configuration, in the order of its configuration block.
//
// The block (GetConfig/SetConfig) is 212 bytes: the fields below in this order, each a 32-bit
// little-endian word (the bools as 0 or 1), then zeros to the end:
//   bytes  0..3   ulMode                 bytes 20..23  ulSystemSwitchNodeID
//   bytes  4..7   bActive                bytes 24..27  ulSourceIngressPort
//   bytes  8..11  bBlockResponses        bytes 28..31  ulPortToProbe
//   bytes 12..15  ulDataSourceDestID     bytes 32..35  ulTargetEgressPort
//   bytes 16..19  ulDataTargetDestID     bytes 36..211 reserved: written as 0, ignored when read
// A block read back never changes bActive: whether the probe is enabled is what was done to the
// fabric, not a setting (see SetConfig).
struct SProbeConfig
{
    uint32_t ulMode = 1; // 1, 2 or 3
    bool bActive = false;
    bool bBlockResponses = false;
    uint32_t ulDataSourceDestID = 0;
    uint32_t ulDataTargetDestID = 0;
    uint32_t ulSystemSwitchNodeID = 0; // node number as a person sees it (map element + 1)
    uint32_t ulSourceIngressPort = 0;
    uint32_t ulPortToProbe = 0;
    uint32_t ulTargetEgressPort = 0;
};

// Results of the probe's operations, as client statuses.
constexpr int32_t kProbeAlreadyEnabled = -65;
constexpr int32_t kProbeInvalidInput = -39;
constexpr int32_t kProbeNotConnected = -38;
constexpr int32_t kProbeConfigError = -67;
// The host is not a probe's capture processor.
constexpr int32_t kProbeNotFound = -64;

// The probe assembly: the capture processor's assembly information, the probe switch's place in
// the map (its node number, "Node 2" on screen: the first device behind the processor) and the
// ports the set-up uses on it.
namespace probe
{
constexpr uint16_t kAssemblyVendor = 1;
constexpr uint16_t kAssemblyID = 106;
constexpr int kProbeSwitchNode = 1;
constexpr uint8_t kProcessorPort = 2;  // the capture processor's link
constexpr uint8_t kLoopbackPort = 0;   // looped back in mode 3
constexpr uint8_t kReturnPort = 6;     // mode 2's way on, mode 3's way back
constexpr uint8_t kSystemSidePort = 4; // mode 1: the system switch's copies arrive here
constexpr uint8_t kDiscardPort = 255;  // a route to no port
constexpr uint16_t kMask = 1;          // the multicast mask the set-up uses on either switch
// The processor's multicast destination ID, in the server host's memory: bits 15..0 with large
// transport, bits 23..16 with small.
constexpr uint32_t kProcessorDestIDAddress = 0x02D00084;
// The probe switch's SMAC0_DLOOP_CLK_SEL (Tsi578 user manual; Tsi578.h of IDT's Device Access
// Routines): DLB_EVEN_EN (bit 8) loops port 0's transmitter back into its receiver.
constexpr uint32_t kLoopbackRegister = 0x130C8;
constexpr uint32_t kLoopbackEnable = 0x100;
} // namespace probe

class CProbe
{
public:
    // The map the probe works on, and the application's connected flag.
    CProbe(CNetworkDocument& document, std::function<bool()> isConnected);
    ~CProbe();
    CProbe(const CProbe&) = delete;
    CProbe& operator=(const CProbe&) = delete;

    SProbeConfig& Config() { return m_config; }
    const SProbeConfig& Config() const { return m_config; }
    bool IsEnabled() const { return m_config.bActive; }

    // Validates the configuration and programs the fabric for its mode; 0 on success. A failed step
    // undoes the steps done before it, in reverse order, and shows its message.
    int32_t Enable();
    // Undoes what Enable did; failures are shown as warnings and don't stop the undoing.
    int32_t Disable();

    // The configuration as its block of kConfigBytes bytes, and back. SetConfig takes every field
    // but bActive, which stays as it is; while the probe is enabled the new settings wait for the
    // next Enable, and Disable undoes what the last Enable did.
    static constexpr uint32_t kConfigBytes = 212;
    void GetConfig(uint8_t* pBlock) const;
    void SetConfig(const uint8_t* pBlock);

    // Checks the settings for the mode, showing the first fault ("Invalid Data Source DestID."
    // and the like); 0 or kProbeInvalidInput.
    int32_t Validate() const;

    // The map's labels of the probe's points while it is enabled: "Probe 1" on the probe switch,
    // and in modes 1 and 3 "Probe %d.%d" on the system switch, with its node number as a person
    // sees it and the port whose traffic is probed. Node numbers are the map's.
    struct SMapLabel
    {
        int iNode = -1;
        QString strText;
    };
    std::vector<SMapLabel> MapLabels() const;
    // Puts the labels on the PE nodes of every view of the active map and takes stale ones off.
    void MarkMap() const;

    // Told after Enable or Disable changed the state (the map's labels, a window's buttons).
    std::function<void()> onStateChanged;

private:
    // A switch of the map and the way to it.
    struct SSwitchWay
    {
        const CPEPrimitive* pPE = nullptr;
        uint32_t ulDestID = 0;
        uint8_t uchHop = 0;
    };
    // A routing table entry as it was before the set-up changed it.
    struct SSavedRoute
    {
        uint8_t uchTable = 0;
        uint16_t wDestID = 0;
        uint8_t uchPort = 0xFF;
        int eType = 0;
        uint32_t ulExtra = 0;
        bool bKnown = false; // read before the change; an entry not read is not put back
    };
    // What an Enable changed, so that Disable puts back just that.
    struct SUndo
    {
        SSwitchWay system;
        SSwitchWay probe;
        std::vector<uint8_t> systemPorts; // ports added to the system switch's mask
        std::vector<uint8_t> probePorts;  // ports added to the probe switch's mask
        uint8_t uchAssocPort = 0;
        bool bAssociated = false;
        SSavedRoute probeRoute;   // mode 1 step 3
        SSavedRoute discardRoute; // the block of responses
        SSavedRoute firstRoute;   // mode 3 step 1
        SSavedRoute returnRoute;  // mode 3 step 4
        bool bLoopbackWasOn = false;
        uint32_t ulProcessorWord = 0;
    };

    bool FindSwitch(int iNode, SSwitchWay* pWay) const;
    int32_t EnableMode1(uint32_t* pulDone);
    int32_t EnableMode2(uint32_t* pulDone);
    int32_t EnableMode3(uint32_t* pulDone);
    // Undoes the steps of the mode whose bits are set in ulSteps (bit 0 step 1), last first.
    void DisableMode(uint32_t ulMode, uint32_t ulSteps);
    bool AddMaskPort(const SSwitchWay& way, uint8_t uchPort, std::vector<uint8_t>* pAdded);
    bool Associate(const SSwitchWay& way, uint8_t uchIngressPort);
    bool SetRoute(const SSwitchWay& way, uint8_t uchTable, uint16_t wDestID, uint8_t uchPort,
                  SSavedRoute* pSaved);
    bool RestoreRoute(const SSwitchWay& way, const SSavedRoute& saved);
    // Step 5 of mode 1: the data target ID into the processor's multicast destination ID. Null,
    // or the text of the access that failed.
    const char* SetProcessorDestID();
    bool LargeIDs() const;

    CNetworkDocument& m_document;
    std::function<bool()> m_isConnected;
    SProbeConfig m_config;
    SProbeConfig m_applied; // the settings of the last Enable
    uint32_t m_ulStepsDone = 0;
    SUndo m_undo;
};

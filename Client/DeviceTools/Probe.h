// The probe: a RapidIO switch with a capture processor behind it, put into a network so that the
// traffic between two PEs can be seen. Enabling it programs routes and multicast in the switches
// around it so that a copy of the chosen traffic reaches the probe's processor; disabling it undoes
// that. The set-up window and the automation methods drive the same object.
#pragma once

#include <cstdint>
#include <functional>

class CNetworkDocument;

// The probe's configuration, in the order of its configuration block.
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

    // The configuration as its block of kConfigBytes bytes, and back.
    static constexpr uint32_t kConfigBytes = 212;
    void GetConfig(uint8_t* pBlock) const;
    void SetConfig(const uint8_t* pBlock);

private:
    CNetworkDocument& m_document;
    std::function<bool()> m_isConnected;
    SProbeConfig m_config;
};

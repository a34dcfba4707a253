// The register access of the Gen2 switch tools (packet generator, trace and filter): 32-bit
// maintenance accesses to one switch, its port enables and route entries through the HAL, and the
// waits between polls. The tools run their register sequences through this interface so that
// tests can script the switch and see every access in order.
#pragma once

#include <cstdint>

class CNetworkDocument;

// The way to the switch of node iNode for maintenance accesses: the host's own link, the map's
// route, or all-ones routes laid to it. False when there is none.
bool ConfigureSwitchRoute(const CNetworkDocument& document, int iNode, uint32_t* pulDestID, uint8_t* puchHop);

class IGen2SwitchAccess
{
public:
    virtual ~IGen2SwitchAccess() = default;

    // Whether a target is connected at all.
    virtual bool IsConnected() = 0;
    // Sets up the way to the switch as every maintenance access does (the map's routes, or
    // all-ones routes laid to it); false when there is none.
    virtual bool ConfigureRoute() = 0;
    // Whether the switch is a PE of the connected map.
    virtual bool FindConnectedPE() = 0;
    // Number of ports of the switch (from its PE record).
    virtual int NumPorts() = 0;

    // One 32-bit word; a client status.
    virtual int32_t Read(uint32_t ulOffset, uint32_t* pulValue) = 0;
    virtual int32_t Write(uint32_t ulOffset, uint32_t ulValue) = 0;
    // nWords successive words from ulOffset in one transaction.
    virtual int32_t ReadBurst(uint32_t ulOffset, uint32_t* pulValues, uint32_t nWords) = 0;
    virtual int32_t WriteBurst(uint32_t ulOffset, const uint32_t* pulValues, uint32_t nWords) = 0;

    // HalSetPortEnables of the switch.
    virtual int32_t SetPortEnables(uint8_t uchPort, bool bInput, bool bOutput) = 0;
    // HalRouteAddEntry in the table of uchTable: wRouteDestID to uchPort, as a port route.
    virtual int32_t RouteAddEntry(uint8_t uchTable, uint16_t wRouteDestID, uint8_t uchPort) = 0;
    // Whether a port of the switch is trained; a client status.
    virtual int32_t IsPortTrained(uint8_t uchPort, bool* pbTrained) = 0;

    // Waits between two polls of the hardware.
    virtual void Sleep(int nMilliseconds) = 0;
};

// The switch of node iNode of a map, reached through the target's front end (local port 0,
// priority 0). The way to it is looked up by ConfigureRoute and kept until the next call.
class CTargetGen2Access final : public IGen2SwitchAccess
{
public:
    CTargetGen2Access(const CNetworkDocument& document, int iNode);

    int Node() const { return m_iNode; }
    void SetNode(int iNode) { m_iNode = iNode; }

    bool IsConnected() override;
    bool ConfigureRoute() override;
    bool FindConnectedPE() override;
    int NumPorts() override;
    int32_t Read(uint32_t ulOffset, uint32_t* pulValue) override;
    int32_t Write(uint32_t ulOffset, uint32_t ulValue) override;
    int32_t ReadBurst(uint32_t ulOffset, uint32_t* pulValues, uint32_t nWords) override;
    int32_t WriteBurst(uint32_t ulOffset, const uint32_t* pulValues, uint32_t nWords) override;
    int32_t SetPortEnables(uint8_t uchPort, bool bInput, bool bOutput) override;
    int32_t RouteAddEntry(uint8_t uchTable, uint16_t wRouteDestID, uint8_t uchPort) override;
    int32_t IsPortTrained(uint8_t uchPort, bool* pbTrained) override;
    void Sleep(int nMilliseconds) override;

private:
    const CNetworkDocument& m_document;
    int m_iNode;
    uint32_t m_ulDestID = 0xFFFFFFFFu;
    uint8_t m_uchHop = 0;
};

// The Gen2 switches the tools work on: vendor 0x0038, devices 0x374, 0x375, 0x377, 0x378, 0x379.
bool IsGen2ToolSwitch(uint16_t wVendorID, uint16_t wDeviceID);

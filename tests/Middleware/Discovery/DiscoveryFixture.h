// Common set-up of the discovery tests: a fresh HAL with the device families, an in-process
// fabric as its transport, no real waits, and the discovery's callbacks captured.
#pragma once

#include "HalTestHooks.h"
#include "NVXLDiscovery.h"
#include "NVXLHal.h"
#include "NVXLRoute.h"
#include "SimTransport.h"
#include "nvsim/Topology.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace nvtest
{
// The IDT CPS-8 identity that the simulated switches of these tests wear: a switch family whose
// route entries go through the standard route registers, with one table per port.
inline const char* const kSwitch = "switch model=cps1848";
inline constexpr uint16_t kSwitchDevice = 0x0374;
inline constexpr uint16_t kSwitchVendor = 0x0038;

// A network's records with the arrays behind them.
struct SNetwork
{
    explicit SNetwork(uint32_t ulMaxPEs = 400, uint32_t ulMaxConnections = 400)
        : pes(ulMaxPEs), connections(ulMaxConnections)
    {
        for (NVXL_PE& pe : pes)
            NVXL_InitPE(&pe);
        for (NVXL_CONNECTION& connection : connections)
            NVXL_InitConnection(&connection);
        network.ulMaxPEs = ulMaxPEs;
        network.ulMaxConnections = ulMaxConnections;
        network.pPEs = pes.data();
        network.pConnections = connections.data();
    }
    ~SNetwork() { NVXL_FreePETables(network.pPEs, network.ulNumPEs); }

    // Live records only.
    std::vector<const NVXL_PE*> PEs(uint32_t ulTypeFlags = 0) const;
    std::vector<const NVXL_CONNECTION*> Connections() const;
    // The live record with that unique ID, or null.
    const NVXL_PE* ByUniqueID(const std::string& strID) const;
    // The live endpoint record of a device ID, or null.
    const NVXL_PE* ByDevice(uint16_t wDeviceID) const;

    std::vector<NVXL_PE> pes;
    std::vector<NVXL_CONNECTION> connections;
    NVXL_NETWORK network{};
};

class CDiscoveryTest : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    // Builds the fabric from topology text and makes it the HAL's target.
    void Load(const std::string& strTopology);
    // One discovery into m_pNetwork (made with the given capacity).
    NVXL_STATUS Discover(uint32_t ulFlags, uint32_t ulHostID = 1, uint32_t ulFirstID = 5,
                         uint32_t ulIncrement = 5, const std::vector<uint32_t>& scanIDs = {},
                         const NVXL_NETWORK* pOld = nullptr, uint32_t ulMaxPEs = 400,
                         uint32_t ulMaxConnections = 400);
    // The whole log as one text.
    std::string LogText() const;
    nvsim::CSimDevice& Device(const std::string& strName) { return m_pFabric->Device(strName); }

    std::unique_ptr<nvsim::CSimFabric> m_pFabric;
    std::unique_ptr<CSimTransport> m_pTransport;
    std::unique_ptr<SNetwork> m_pNetwork;
    std::vector<std::string> m_progress;
    std::vector<std::string> m_log;
    std::vector<std::string> m_errors;
    std::vector<int32_t> m_errorCodes;
    std::vector<std::string> m_found; // "host dev ven dest hop"
    std::string m_debug;
    static inline std::vector<uint32_t> s_sleeps;
};
} // namespace nvtest

// Common set-up of the tests of the HAL's device families against the simulator: a fabric from
// topology text with the in-process transport carrying the HAL's transactions into it, every
// family registered, and the HAL's waits recorded instead of taken.
#pragma once

#include "HalTestHooks.h"
#include "NVXLHal.h"
#include "SimTransport.h"
#include "nvsim/Fabric.h"

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace nvtest
{
class CFamilySimTest : public ::testing::Test
{
protected:
    void TearDown() override;

    // Loads the fabric (the test fails if it does not load) and installs the transport.
    void Load(const std::string& strTopology);
    nvsim::CSimFabric& Fabric() { return *m_pFabric; }
    nvsim::CSimDevice& Device(const std::string& strName) { return m_pFabric->Device(strName); }
    template <typename T> T& Model(const std::string& strName) { return dynamic_cast<T&>(Device(strName)); }

    // A word of a device's register as a maintenance read from the host sees it, and a write.
    uint32_t Read(uint32_t ulDestId, uint8_t uchHop, uint32_t ulOffset);
    void Write(uint32_t ulDestId, uint8_t uchHop, uint32_t ulOffset, uint32_t ulValue);
    // Whether the host reaches a device by its ID (a read of its identity gets an answer); the
    // hop count is that of a device behind one switch.
    bool Reaches(uint32_t ulDestId, uint8_t uchHop = 1);
    // Whether a device's port has a trained link, and the rate it runs at.
    bool Trained(const std::string& strDevice, uint8_t uchPort);
    uint32_t LinkMbaud(const std::string& strDevice, uint8_t uchPort);

    // Whether the HAL asked for a wait of this length since the fabric was loaded or the list
    // cleared.
    static bool Waited(uint32_t ulMs);
    // The waits the HAL asked for.
    static inline std::vector<uint32_t> s_aulWaits;

private:
    static void RecordWait(uint32_t ulMilliseconds) { s_aulWaits.push_back(ulMilliseconds); }

    std::unique_ptr<nvsim::CSimFabric> m_pFabric;
    std::unique_ptr<CSimTransport> m_pTransport;
};
} // namespace nvtest

namespace nvtest
{
// A route entry as (ID, port, type, extra), for comparing tables.
struct SRoute
{
    uint16_t wDestID;
    uint8_t uchPort;
    int nType;
    uint32_t ulExtra;
    bool operator==(const SRoute&) const = default;
};

inline std::ostream& operator<<(std::ostream& os, const SRoute& r)
{
    return os << "{" << r.wDestID << " port " << int{r.uchPort} << " type " << r.nType << " extra "
              << r.ulExtra << "}";
}

// A table as HalLoadRoutingTable gives it (the HAL's array freed).
std::vector<SRoute> LoadTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchTable, NVXL_STATUS* pnStatus,
                              uint32_t ulDestID = 0xFF, uint8_t uchHopCount = 0);
// Stores a table through HalStoreRoutingTable.
NVXL_STATUS StoreTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchTable,
                       const std::vector<SRoute>& routes, uint32_t ulDestID = 0xFF, uint8_t uchHopCount = 0);
// One entry through HalRouteGetEntry.
SRoute GetRoute(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchTable, uint16_t wRouteDestID,
                NVXL_STATUS* pnStatus, uint32_t ulDestID = 0xFF, uint8_t uchHopCount = 0);
} // namespace nvtest

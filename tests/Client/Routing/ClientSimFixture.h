// Client tests on an in-process simulated fabric: the HAL with its device families talks to the
// fabric directly, messages and questions go to a recording user interface, and the preferences
// live in the test process's private directory.
#pragma once

#include "HalTestHooks.h"
#include "NVXLHal.h"
#include "NetworkDocument.h"
#include "NetworkMap.h"
#include "RecordingUserInterface.h"
#include "SimTransport.h"
#include "nvsim/Topology.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace nvtest
{
inline const char* const kHostLine =
    "device host0 endpoint device=0x0001 processor memory id=0x01 largeid=0x0001\n";

class CClientSimTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        HalInitialize();
        HalRegisterDeviceFamilies();
        HalSetSleepHook([](uint32_t) {});
        SetMapTransportAccess([] { return 8; }, [](int) {});
        m_host.bHasHostLink = true;
        m_host.bHostLinkOpen = true;
    }
    void TearDown() override
    {
        m_pTransport.reset();
        HalSetSleepHook(nullptr);
        HalInitialize();
    }
    void Load(const std::string& strTopology)
    {
        std::string strError;
        m_pFabric = nvsim::LoadTopologyText(strTopology, &strError);
        ASSERT_TRUE(m_pFabric) << strError;
        m_pTransport = std::make_unique<CSimTransport>(*m_pFabric);
        m_pTransport->Install();
    }
    // The identity the fabric answers at a destination ID and hop count, or 0 when nothing does.
    uint32_t IdentityAt(uint32_t ulDestID, uint8_t uchHop)
    {
        uint32_t ulValue = 0;
        return m_pFabric->MaintRead(0, ulDestID, uchHop, 0, &ulValue, 1, 4, 4, false) == 0 ? ulValue : 0;
    }

    CRecordingUserInterface m_ui;
    std::unique_ptr<nvsim::CSimFabric> m_pFabric;
    std::unique_ptr<CSimTransport> m_pTransport;
    CPEPrimitive m_host;
};
} // namespace nvtest

// The probe methods drive the application's probe: the configuration they set is the one the probe
// enables with, its block goes both ways, and the probe's refusals come back with their status.
#include "AutomationTestSupport.h"

#include "NetworkDocument.h"
#include "Probe.h"

using autotest::AutomationSimTest;
using autotest::N;
using autotest::Refused;
using autotest::SOutcome;

namespace
{
uint32_t Word(const std::vector<int64_t>& bytes, size_t iOffset)
{
    uint32_t ulValue = 0;
    for (size_t i = 0; i < 4; ++i)
    {
        ulValue |= static_cast<uint32_t>(bytes[iOffset + i] & 0xFF) << (8 * i);
    }
    return ulValue;
}
} // namespace

TEST_F(AutomationSimTest, ProbeMethodsConfigureAndEnableTheApplicationsProbe)
{
    CNetworkDocument map;
    bool bProbeConnected = false;
    CProbe probe(map, [&] { return bProbeConnected; });
    m_automation.Hooks().probe = [&] { return &probe; };

    // Mode 1: source 3 to target 4 seen at node 5, ports 1, 2, 3; block responses.
    const std::vector<CAutoValue> mode1 = {N(1), N(3), N(4), N(5), N(1), N(2), N(3), N(1)};
    SOutcome outcome = Run("EnableProbe", mode1);
    EXPECT_FALSE(outcome.bOk);
    EXPECT_EQ(-38, outcome.error.nStatus);
    EXPECT_EQ(RioErrorText(-38) + QStringLiteral(", Unable to enable probe."), outcome.error.strText);
    EXPECT_TRUE(m_ui.messages.contains(QStringLiteral("Norvanta is not connected to the target system.")));
    EXPECT_EQ(3u, probe.Config().ulDataSourceDestID);
    EXPECT_EQ(5u, probe.Config().ulSystemSwitchNodeID);
    EXPECT_TRUE(probe.Config().bBlockResponses);

    // Connected to a host that is no probe's capture processor.
    bProbeConnected = true;
    outcome = Run("EnableProbe", mode1);
    EXPECT_EQ(kProbeNotFound, outcome.error.nStatus);
    EXPECT_FALSE(probe.IsEnabled());
    EXPECT_TRUE(Run("DisableProbe").bOk) << "disabling a probe that is not enabled does nothing";

    // The block: the settings as little-endian words, then zeros.
    outcome = Run("GetProbeConfig", {N(CProbe::kConfigBytes)});
    ASSERT_TRUE(outcome.bOk);
    std::vector<int64_t> block = outcome.Numbers();
    ASSERT_EQ(CProbe::kConfigBytes, block.size());
    EXPECT_EQ(1u, Word(block, 0));
    EXPECT_EQ(3u, Word(block, 12));
    EXPECT_EQ(4u, Word(block, 16));
    EXPECT_EQ(0u, Word(block, 208));
    EXPECT_EQ(16u, Run("GetProbeConfig", {N(16)}).value.elements.size());

    block[12] = 7; // the source ID
    block[0] = 2;  // the mode
    ASSERT_TRUE(Run("SetProbeConfig", {N(CProbe::kConfigBytes), CAutoValue::NumberArray(eVtUI1, block)}).bOk);
    EXPECT_EQ(7u, probe.Config().ulDataSourceDestID);
    EXPECT_EQ(2u, probe.Config().ulMode);
    // Only the bytes given change.
    ASSERT_TRUE(Run("SetProbeConfig", {N(1), CAutoValue::NumberArray(eVtI1, {3})}).bOk);
    EXPECT_EQ(3u, probe.Config().ulMode);
    EXPECT_EQ(7u, probe.Config().ulDataSourceDestID);
}

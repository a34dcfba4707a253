// The automation methods of the probe: they fill in the same configuration the probe's set-up
// window edits and run the same enable and disable.
#include "AutomationInternal.h"

#include "Probe.h"

#include <algorithm>
#include <array>

namespace automation
{
namespace
{
const QString& NoProbeText()
{
    static const QString str = QStringLiteral("Unable to configure probe dialog.");
    return str;
}

CProbe* Probe(const SCall& call)
{
#ifdef NV_AUTOMATION_NO_PROBE
    // A build without the probe's implementation has no probe to drive.
    (void)call;
    return nullptr;
#else
    return call.hooks.probe ? call.hooks.probe() : nullptr;
#endif
}

#ifdef NV_AUTOMATION_NO_PROBE
// Never reached: Probe() gives no probe in such a build.
int32_t RunEnable(CProbe&)
{
    return kProbeConfigError;
}
int32_t RunDisable(CProbe&)
{
    return kProbeConfigError;
}
void ReadBlock(const CProbe&, uint8_t*) {}
void WriteBlock(CProbe&, const uint8_t*) {}
#else
int32_t RunEnable(CProbe& probe)
{
    return probe.Enable();
}
int32_t RunDisable(CProbe& probe)
{
    return probe.Disable();
}
void ReadBlock(const CProbe& probe, uint8_t* pBlock)
{
    probe.GetConfig(pBlock);
}
void WriteBlock(CProbe& probe, const uint8_t* pBlock)
{
    probe.SetConfig(pBlock);
}
#endif
} // namespace

bool EnableProbe(SCall& call)
{
    const uint32_t ulMode = call.U8(0);
    if (ulMode < 1 || ulMode > 3)
    {
        return call.Refuse(QStringLiteral("Invalid mode.  Must be 1, 2 or 3."));
    }
    CProbe* pProbe = Probe(call);
    if (!pProbe)
    {
        return call.Refuse(NoProbeText());
    }
    // An enabled probe keeps the configuration it was enabled with: disabling undoes exactly that.
    if (pProbe->IsEnabled())
    {
        return call.FailWith(kProbeAlreadyEnabled, QStringLiteral("Unable to enable probe."));
    }
    SProbeConfig& config = pProbe->Config();
    config.ulMode = ulMode;
    config.ulDataSourceDestID = call.U32(1);
    config.ulDataTargetDestID = call.U32(2);
    config.ulSystemSwitchNodeID = call.U32(3);
    config.ulSourceIngressPort = call.U32(4);
    config.ulPortToProbe = call.U32(5);
    config.ulTargetEgressPort = call.U32(6);
    config.bBlockResponses = call.I32(7) != 0;
    const int32_t nStatus = RunEnable(*pProbe);
    if (nStatus != 0)
    {
        return call.FailWith(nStatus, QStringLiteral("Unable to enable probe."));
    }
    return call.ReturnBool();
}

bool DisableProbe(SCall& call)
{
    CProbe* pProbe = Probe(call);
    if (!pProbe)
    {
        return call.Refuse(NoProbeText());
    }
    const int32_t nStatus = RunDisable(*pProbe);
    if (nStatus != 0)
    {
        return call.FailWith(nStatus, QStringLiteral("Unable to disable probe."));
    }
    return call.ReturnBool();
}

// dwByteCount bytes: the configuration block, with zeros after its end.
bool GetProbeConfig(SCall& call)
{
    CProbe* pProbe = Probe(call);
    if (!pProbe)
    {
        return call.Refuse(NoProbeText());
    }
    const uint32_t ulBytes = call.U32(0);
    if (ulBytes > 64u * 1024u * 1024u)
    {
        return call.Fail(-40);
    }
    std::array<uint8_t, CProbe::kConfigBytes> block{};
    ReadBlock(*pProbe, block.data());
    std::vector<int64_t> values(ulBytes, 0);
    for (uint32_t i = 0; i < std::min<uint32_t>(ulBytes, CProbe::kConfigBytes); ++i)
    {
        values[i] = block[i];
    }
    call.result = CAutoValue::NumberArray(eVtUI1, values, false);
    return true;
}

// The first dwByteCount bytes of the configuration block; the rest stays as it is. An enabled probe
// keeps what it did: the new settings wait for the next enable.
bool SetProbeConfig(SCall& call)
{
    const uint32_t ulBytes = call.U32(0);
    std::vector<int64_t> values;
    if (!GetDataArray(call, 1, eVtI1, ulBytes, "byte count", &values))
    {
        return false;
    }
    CProbe* pProbe = Probe(call);
    if (!pProbe)
    {
        return call.Refuse(NoProbeText());
    }
    std::array<uint8_t, CProbe::kConfigBytes> block{};
    ReadBlock(*pProbe, block.data());
    for (uint32_t i = 0; i < std::min<uint32_t>(ulBytes, CProbe::kConfigBytes); ++i)
    {
        block[i] = static_cast<uint8_t>(values[i]);
    }
    WriteBlock(*pProbe, block.data());
    return call.ReturnBool();
}
} // namespace automation

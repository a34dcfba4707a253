#include "ProbePorts.h"

#include "FFRoutes.h"
#include "HalWrappers.h"
#include "NVXLHal.h"
#include "NVXLStatus.h"
#include "NetworkDocument.h"
#include "Probe.h"
#include "RouteSearch.h"

QString ProbePortStatusText(const SProbePortState& state)
{
    if (state.eTrained < 0)
        return QStringLiteral("Status: Unknown");
    return state.eTrained ? QStringLiteral("Status: Trained") : QStringLiteral("Status: Not Trained");
}

CProbePorts::CProbePorts(const CNetworkDocument& map) : m_map(map) {}

bool CProbePorts::Reach()
{
    m_bReached = false;
    const CPEPrimitive* pSwitch = m_map.ActivePEs.GetByNodeNumber(probe::kProbeSwitchNode);
    const CPEPrimitive* pHost = MapHostPE(m_map);
    if (!pSwitch || pSwitch->bDeleted || !(pSwitch->uType & kPETypeSwitch) || !pHost)
        return false;
    if (FindRoute(pHost, pSwitch, m_map.ActivePEs, m_map.ActiveConnections, &m_ulDestID, &m_uchHop, false,
                  nullptr) != 0)
        return false;
    m_wVendor = pSwitch->ManufID;
    m_wDevice = pSwitch->DeviceID;
    m_bReached = true;
    return true;
}

int32_t CProbePorts::ReadReg(uint32_t ulOffset, uint32_t* pulValue) const
{
    return HalStatusToClient(MaintRead(0, m_ulDestID, m_uchHop, ulOffset, pulValue, 1, 4, 4));
}

int32_t CProbePorts::WriteReg(uint32_t ulOffset, uint32_t ulValue) const
{
    return HalStatusToClient(MaintWrite(0, m_ulDestID, m_uchHop, ulOffset, &ulValue, 1, 4, 4));
}

SProbePortState CProbePorts::Read(uint8_t uchPort) const
{
    SProbePortState state;
    if (!m_bReached)
        return state;
    uint8_t bTrained = 0;
    if (IsPortTrained(m_wVendor, m_wDevice, 0, m_ulDestID, m_uchHop, uchPort, &bTrained) == 0)
        state.eTrained = bTrained ? 1 : 0;
    uint32_t ulSpeed = 0;
    if (GetPortSpeedMHz(m_wVendor, m_wDevice, 0, m_ulDestID, m_uchHop, uchPort, &ulSpeed) == 0)
        state.ulSpeedMHz = ulSpeed;
    uint32_t ulDloop = 0, ulLane = 0;
    if (ReadReg(DloopRegister(uchPort), &ulDloop) == 0 && ReadReg(LaneRegister(uchPort, 0), &ulLane) == 0)
    {
        state.bReverseRx = (ulDloop & kSwapRx) != 0;
        state.bReverseTx = (ulDloop & kSwapTx) != 0;
        state.bInvertRx = (ulLane & kInvertRx) != 0;
        state.bInvertTx = (ulLane & kInvertTx) != 0;
        state.bRead = true;
    }
    return state;
}

int32_t CProbePorts::SetSpeed(uint8_t uchPort, uint32_t ulSpeedMHz, SProbePortState* pState) const
{
    const int32_t nStatus =
        SetPortSpeedMHz(m_wVendor, m_wDevice, 0, m_ulDestID, m_uchHop, uchPort, ulSpeedMHz);
    *pState = Read(uchPort);
    return nStatus;
}

int32_t CProbePorts::SetControl(uint8_t uchPort, EControl eControl, bool bOn, SProbePortState* pState) const
{
    int32_t nStatus = 0;
    if (eControl == eReverseRx || eControl == eReverseTx)
    {
        const uint32_t ulBit = eControl == eReverseRx ? kSwapRx : kSwapTx;
        uint32_t ulValue = 0;
        nStatus = ReadReg(DloopRegister(uchPort), &ulValue);
        if (nStatus == 0)
            nStatus = WriteReg(DloopRegister(uchPort), bOn ? ulValue | ulBit : ulValue & ~ulBit);
    }
    else
    {
        // The polarity is a property of each lane: all four of the port change together.
        const uint32_t ulBit = eControl == eInvertRx ? kInvertRx : kInvertTx;
        for (uint32_t l = 0; l < 4 && nStatus == 0; ++l)
        {
            uint32_t ulValue = 0;
            nStatus = ReadReg(LaneRegister(uchPort, l), &ulValue);
            if (nStatus == 0)
                nStatus = WriteReg(LaneRegister(uchPort, l), bOn ? ulValue | ulBit : ulValue & ~ulBit);
        }
    }
    *pState = Read(uchPort);
    return nStatus;
}

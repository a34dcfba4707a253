#include "SerDesAccess.h"

#include "NVXLHal.h"
#include "TargetClient.h"

int32_t CTargetSerDesAccess::Read(uint32_t ulOffset, uint32_t* pulValue)
{
    return CTargetClient::Instance().Maint_read(0, m_ulDestID, m_uchHopCount, ulOffset, pulValue, 1, 4, 2);
}

int32_t CTargetSerDesAccess::Write(uint32_t ulOffset, uint32_t ulValue)
{
    return CTargetClient::Instance().Maint_write(0, m_ulDestID, m_uchHopCount, ulOffset, &ulValue, 1, 4, 2);
}

bool IsSerDesDevice(uint16_t wDeviceID)
{
    return wDeviceID == 884 || wDeviceID == 885 || wDeviceID == 887 || IsCPS1616Grid(wDeviceID);
}

bool IsCPS1616Grid(uint16_t wDeviceID)
{
    return wDeviceID == 888 || wDeviceID == 889;
}

bool LoadSerDesDeviceTable(ISerDesAccess& access, uint16_t wDeviceID, SSerDesDeviceTable* pTable)
{
    pTable->wDeviceID = wDeviceID;
    pTable->ports.clear();
    uint32_t ulConfig = 0;
    if (!IsSerDesDevice(wDeviceID) || access.Read(serdes::kQuadConfig, &ulConfig) != 0)
    {
        return false;
    }
    uint32_t ulFirst = 0, ulLanes = 0, ulPorts = 0;
    if (HalGen2PortLanes(wDeviceID, ulConfig, 0, &ulFirst, &ulLanes, &ulPorts) != NVXL_OK)
    {
        return false;
    }
    for (uint32_t p = 0; p < ulPorts; ++p)
    {
        HalGen2PortLanes(wDeviceID, ulConfig, p, &ulFirst, &ulLanes, &ulPorts);
        pTable->ports.push_back({ulFirst, ulLanes});
    }
    return true;
}

#include "CliMap.h"

#include "FFRoutes.h"
#include "NVXLHal.h"
#include "NetworkDocument.h"
#include "NetworkMap.h"
#include "PacketGenAccess.h"
#include "Primitives.h"
#include "TargetConnection.h"

#include <QString>

bool LoadCommandMap(const std::string& strPath, CNetworkDocument& map)
{
    int iBits = 8;
    SetMapTransportAccess([&iBits] { return iBits; }, [&iBits](int iNewBits) { iBits = iNewBits; });
    if (!map.Open(QString::fromStdString(strPath)))
    {
        return false;
    }
    const int iRead = iBits;
    SetMapTransportAccess([iRead] { return iRead; }, [](int) {});
    return true;
}

CliConnection OpenMapTarget(CNetworkDocument& map)
{
    CliConnection connection = OpenCliTarget();
    if (!connection)
    {
        return connection;
    }
    HalSetLargeTransport(MapUsesLongIDs() ? 1 : 0);
    if (CPEPrimitive* pHost = MapHostPE(map))
    {
        pHost->bHasHostLink = true;
        pHost->bHostLinkOpen = true;
    }
    return connection;
}

const CPEPrimitive* Gen2ToolSwitchNode(const CNetworkDocument& map, uint64_t ulNode, const QString& strTool,
                                       QString* pstrError)
{
    const CPEPrimitive* pPE = map.ActivePEs.GetByNodeNumber(static_cast<int>(ulNode - 1));
    if (!pPE || pPE->bDeleted)
    {
        *pstrError = QStringLiteral("Node %1 not found").arg(ulNode);
        return nullptr;
    }
    if (!IsGen2ToolSwitch(pPE->ManufID, pPE->DeviceID))
    {
        *pstrError = QStringLiteral("Node %1 (device %2, vendor %3) has no %4: it is not an IDT Gen2 switch "
                                    "(CPS-1848, CPS-1432, VPS-1616, SPS-1616, CPS-1616)")
                         .arg(ulNode)
                         .arg(pPE->DeviceID, 4, 16, QLatin1Char('0'))
                         .arg(pPE->ManufID, 4, 16, QLatin1Char('0'))
                         .arg(strTool);
        return nullptr;
    }
    return pPE;
}

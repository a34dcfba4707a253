#include "CliMap.h"

#include "FFRoutes.h"
#include "NVXLHal.h"
#include "NetworkDocument.h"
#include "NetworkMap.h"
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

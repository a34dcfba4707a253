#include "CliMap.h"

#include "NetworkDocument.h"
#include "NetworkMap.h"

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

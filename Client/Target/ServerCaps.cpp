#include "ServerCaps.h"

CServerCaps& CServerCaps::Instance()
{
    static CServerCaps caps;
    return caps;
}

void CServerCaps::Fill(uint32_t ulInterfaceVersion, uint32_t ulMask)
{
    const auto grant = [ulMask](bool& bFlag, int nBit)
    {
        if (ulMask & (1u << nBit))
        {
            bFlag = true;
        }
    };
    if (ulInterfaceVersion >= 0x20070910u)
    {
        grant(bMemoryRead, 0);
        grant(bMemoryWrite, 1);
        grant(bLocalTrafficGen, 2);
        grant(bRemoteTrafficGen, 3);
        grant(bDoorbellTx, 4);
        grant(bDoorbellRx, 5);
        grant(bMessageTx, 6);
        grant(bMessageRx, 7);
        grant(bBit10, 10);
    }
    if (ulInterfaceVersion >= 0x20071021u)
    {
        grant(bFlashRead, 8);
        grant(bFlashWrite, 9);
    }
}

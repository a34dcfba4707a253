// What the connected server can do, from the capability mask of its extended identity.
#pragma once

#include <cstdint>

struct CServerCaps
{
    bool bMemoryRead = false;
    bool bMemoryWrite = false;
    bool bLocalTrafficGen = false;
    bool bRemoteTrafficGen = false;
    bool bBit10 = false; // a capability no function of the client tests
    bool bDoorbellTx = false;
    bool bDoorbellRx = false;
    bool bMessageTx = false;
    bool bMessageRx = false;
    bool bFlashRead = false;
    bool bFlashWrite = false;

    // The one record of the program. Its flags are only ever set, never cleared.
    static CServerCaps& Instance();
    // Sets the flags that the mask and the server's interface version grant.
    void Fill(uint32_t ulInterfaceVersion, uint32_t ulMask);
};

// The map file reader on any file: every version of the format, the UTF-8 mark, whatever the
// parser makes of broken XML. A failed load must leave an empty document, never a half-filled
// one; a map that loads must write out again.
#include "FuzzSupport.h"
#include "NetworkDocument.h"
#include "NetworkMap.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    nvfuzz::Silence();
    static int iTransportBits = 8;
    SetMapTransportAccess([] { return iTransportBits; }, [](int iBits) { iTransportBits = iBits; });
    CNetworkDocument document;
    CNetworkMap map;
    if (map.LoadMap(nvfuzz::ScratchFile(pData, nSize, ".nvm"), document, false))
    {
        CNetworkMap writer;
        (void)writer.WriteMapText(document);
    }
    else if (document.ActivePEs.GetCount() != 0 || document.ActiveConnections.GetCount() != 0 ||
             document.WatchItems.size() != 0)
    {
        std::abort(); // a failed load left part of the map behind
    }
    return 0;
}

// The map file reader on any text: every version of the format, the UTF-8 mark, enciphered
// buffers. A failed read must leave an empty document; a successful one must write out again.
#include "FuzzSupport.h"
#include "NetworkDocument.h"
#include "NetworkMap.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    nvfuzz::Silence();
    SetMapTransportAccess([] { return 8; }, [](int) {});
    const QByteArray text(reinterpret_cast<const char*>(pData), static_cast<qsizetype>(nSize));
    CNetworkDocument document;
    CNetworkMap map;
    if (map.ReadMapText(text, document))
    {
        // What was read can be written.
        CNetworkMap writer;
        (void)writer.WriteMapText(document);
    }
    else if (document.ActivePEs.GetCount() != 0 || document.ActiveConnections.GetCount() != 0)
    {
        std::abort(); // a failed read left a half-filled map
    }
    return 0;
}

// Initialisation of the fabric from the template map: the client flattens the template (with its
// routing tables), the middleware walks it and programs the devices, and on success the active map
// becomes the template as the walk found it, drawn where the template's PEs stand.
#pragma once

#include "NetworkDocument.h"

#include <QString>
#include <QStringList>

#include <cstdint>

struct SInitNetworkRequest
{
    bool bLog = false; // the initialisation log goes to the working window
    bool bLongDestIDs = false;
    bool bSetResponseTimeout = true;
    bool bSetLinkTimeout = true;
};

// What one initialisation did, for those who report it.
struct SInitNetworkResult
{
    int32_t nStatus = 0;  // client status
    QString strFailure;   // the reason shown for a failure (empty on success)
    QStringList logLines; // every line of the initialisation log, shown or not
};

// Initialises the target from map's template. On success map's active PEs and connections are the
// template's, with the connection states and port activity the walk found and the template's
// routing tables, and every view's active drawing objects are copies of its template ones; pHostPE
// (may be null) gives the host its link. On failure the active map is left as it was and the reason
// has been shown: a device or link that doesn't match the template by the initialisation's own
// words, a failed step of the hardware by the text of its error.
SInitNetworkResult InitNetworkFromTemplate(const SInitNetworkRequest& request, CNetworkDocument& map,
                                           const CPEPrimitive* pHostPE);

// The Initialize Network command: refuses without a template map, asks "Perform network
// initialization?" and "Enable logging?", runs the initialisation under the working window "Network
// Initialization", and afterwards checks the map's IDs, showing a problem as "Warning: %s". Returns
// the client status (0 also when the person said No); *pbInitialised (may be null) tells whether the
// fabric was initialised and the active map replaced.
int32_t InitializeNetworkCommand(CNetworkDocument& map, const CPEPrimitive* pHostPE, bool bLongDestIDs,
                                 bool* pbInitialised = nullptr);

// True when the map holds a template to initialise from: a PE that is neither deleted nor empty.
bool HasTemplateMap(const CNetworkDocument& map);

// The texts of the command.
extern const char* const kNoTemplateText;
extern const char* const kPerformInitText;

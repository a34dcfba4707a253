// The commands of a link's pop-up that work on a port of the hardware: its status, the repair of
// its ackIDs and its speed. Each works on the link's end nearer the host, whose registers can be
// reached whatever state the link is in.
#pragma once

#include "NetworkDocument.h"

// The end of a link that the host reaches with fewer hops (the first end on a tie); false when
// the link isn't on the map or neither end is.
bool NearLinkEnd(const CNetworkDocument& document, int iConnection, const CPEPrimitive** ppPE, int* piPort);

// The commands: each shows its outcome or its failure.
void LinkStatusCommand(const CNetworkDocument& document, int iConnection);
void ResyncAckIDsCommand(const CNetworkDocument& document, int iConnection);
void SetPortSpeedCommand(const CNetworkDocument& document, int iConnection);

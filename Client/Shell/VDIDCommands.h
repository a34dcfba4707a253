// The Virtual Destination IDs commands of the PE pop-up, installed on the frame so that the window
// and tests run the same commands: Configure VDIDs (the PE's VDID window; after OK the map is
// changed and, while connected, the update of the PE is offered) and Update PE (the PE's VDIDs and
// their routes go to the target).
#pragma once

#include <functional>

class CMainFrameCore;
class CPEList;
class CPEPrimitive;

// Shows the VDID window of pe, on a map whose PEs are PEs (bLong: 16-bit IDs). True when the person
// pressed OK and the window wrote the PE; false when cancelled, with the PE untouched.
using VDIDDialogFn = std::function<bool(CPEPrimitive& pe, const CPEList& PEs, bool bLong)>;

// Installs the handlers of eCmdConfigureVDIDs and eCmdUpdatePE. Both act on the PE the command was
// given and ignore a Null PE or a deleted one.
void InstallVDIDCommands(CMainFrameCore& frame, VDIDDialogFn configure);

#include "VDIDCommands.h"

#include "FFRoutes.h"
#include "MainFrameCore.h"
#include "UserInterface.h"
#include "VDIDConfig.h"

namespace
{
// The PE a command was given; null for a click off a PE, a Null PE or a deleted one.
CPEPrimitive* CommandPE(CMainFrameCore& frame, const SCommandContext& context)
{
    CPEPrimitive* pPE = frame.Document().pCurrentPEs->GetByNodeNumber(context.iNode);
    return pPE && !pPE->bDeleted && !(pPE->uType & kPETypeNull) ? pPE : nullptr;
}

// Whether an update of pe lays routes, which changes the switches' tables in the map.
bool UpdateLaysRoutes(const CPEPrimitive& pe)
{
    const int nCount = MapUsesLongIDs() ? pe.VDID_NumLongIDs : pe.VDID_NumShortIDs;
    return nCount > 0 && (pe.VDID_Impl & (kVDIDSecondary | kVDIDAcceptAll)) != 0;
}
} // namespace

void InstallVDIDCommands(CMainFrameCore& frame, VDIDDialogFn configure)
{
    frame.SetCommandHandler(eCmdConfigureVDIDs,
                            [&frame, configure = std::move(configure)](const SCommandContext& context)
                            {
                                CPEPrimitive* pPE = CommandPE(frame, context);
                                if (!pPE || !configure ||
                                    !configure(*pPE, *frame.Document().pCurrentPEs, MapUsesLongIDs()))
                                {
                                    return;
                                }
                                frame.SetModified();
                                if (frame.IsConnected())
                                {
                                    OfferPEVDIDUpdate(frame.Document(), *pPE);
                                }
                                frame.NotifyMap();
                            });
    frame.SetCommandHandler(
        eCmdUpdatePE,
        [&frame](const SCommandContext& context)
        {
            CPEPrimitive* pPE = CommandPE(frame, context);
            if (!pPE)
            {
                return;
            }
            if (!frame.IsConnected())
            {
                ShowMessage(QStringLiteral("Not connected to a target. Connect to a target first."));
                return;
            }
            UpdatePEVDIDs(frame.Document(), *pPE);
            // Routes laid before a failure stay in the map's tables as they do
            // in the switches.
            if (UpdateLaysRoutes(*pPE))
            {
                frame.SetModified();
            }
            frame.NotifyMap();
        });
}

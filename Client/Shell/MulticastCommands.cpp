#include "MulticastCommands.h"

#include "MainFrameCore.h"
#include "Multicast.h"
#include "UserInterface.h"

#include <utility>

namespace
{
// The switch a PE command names, or null: other pop-ups never offer the commands.
CPEPrimitive* CommandSwitch(CMainFrameCore& frame, const SCommandContext& context)
{
    CPEPrimitive* pPE = frame.Document().pCurrentPEs->GetByNodeNumber(context.iNode);
    return pPE && !pPE->bDeleted && (pPE->uType & kPETypeSwitch) ? pPE : nullptr;
}

// The downloads go to the hardware: without a link they say so (a script or the headless demo may
// run them).
bool NeedTarget(const CMainFrameCore& frame)
{
    if (frame.IsConnected())
    {
        return true;
    }
    ShowMessage(QStringLiteral("Not connected to a target. Connect to a target first."));
    return false;
}
} // namespace

void InstallMulticastCommands(CMainFrameCore& frame, MulticastDialog fnDialog)
{
    frame.SetCommandHandler(eCmdMulticastConfigure,
                            [&frame, fnDialog = std::move(fnDialog)](const SCommandContext& context)
                            {
                                CPEPrimitive* pSwitch = CommandSwitch(frame, context);
                                if (!pSwitch)
                                {
                                    return;
                                }
                                if (!fnDialog)
                                {
                                    ShowMessage(NotAvailableText(eCmdMulticastConfigure));
                                    return;
                                }
                                // The browser's edit works on what the map holds; the map's reads what it
                                // lacks.
                                if (EditMulticast(frame.Document(), *pSwitch, frame.IsConnected(),
                                                  !context.bFromBrowser, fnDialog))
                                {
                                    frame.SetModified();
                                    frame.NotifyMap();
                                }
                            });
    frame.SetCommandHandler(eCmdMulticastDownload,
                            [&frame](const SCommandContext& context)
                            {
                                CPEPrimitive* pSwitch = CommandSwitch(frame, context);
                                if (pSwitch && NeedTarget(frame))
                                {
                                    DownloadMulticast(frame.Document(), *pSwitch);
                                }
                            });
    frame.SetCommandHandler(eCmdDownloadAllMulticast,
                            [&frame](const SCommandContext&)
                            {
                                if (NeedTarget(frame))
                                {
                                    DownloadAllMulticast(frame.Document());
                                }
                            });
}

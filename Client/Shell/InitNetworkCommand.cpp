#include "InitNetworkCommand.h"

#include "FFRoutes.h"
#include "InitNetwork.h"
#include "MainFrameCore.h"
#include "UserInterface.h"

void InstallInitNetworkCommand(CMainFrameCore& frame)
{
    frame.SetCommandHandler(
        eCmdInitializeNetwork,
        [&frame](const SCommandContext&)
        {
            if (!frame.IsConnected())
            {
                ShowMessage(QStringLiteral("Not connected to a target. Connect to a target first."));
                return;
            }
            CNetworkDocument& map = frame.Document();
            bool bInitialised = false;
            InitializeNetworkCommand(map, frame.HostPE(), MapUsesLongIDs(), &bInitialised);
            if (bInitialised)
            {
                frame.SetModified();
                frame.NotifyMap();
            }
        });
}

#include "CompareCommand.h"

#include "FabricDiff.h"
#include "MainFrameCore.h"
#include "UserInterface.h"

void InstallCompareCommands(CMainFrameCore& frame)
{
    frame.SetCommandHandler(
        eCmdCompareWithFabric,
        [&frame](const SCommandContext&)
        {
            if (!frame.IsConnected())
            {
                ShowMessage(QStringLiteral("Not connected to a target. Connect to a target first."));
                return;
            }
            CFabricComparison& comparison = CurrentFabricComparison();
            comparison.Clear();
            UI().BeginWork(QStringLiteral("Compare with Fabric"), true);
            CNetworkDocument live;
            if (WalkLiveFabric(frame.Document(), frame.HostPE(), &live) != 0)
            {
                UI().EndWork(QStringLiteral("The comparison stopped on an error; nothing was marked."));
                frame.NotifyMap();
                return;
            }
            const std::vector<SFabricDifference> differences = CompareFabricMaps(frame.Document(), live);
            for (const SFabricDifference& difference : differences)
            {
                UI().AppendWorkLog(difference.strText + QLatin1Char('\n'));
            }
            comparison.Set(frame.Document(), differences);
            // Differences keep the window open with its log, to be read there and on the map.
            if (differences.empty())
            {
                UI().AppendWorkLog(QStringLiteral("The fabric matches the map.\n"));
                UI().EndWork(QString());
            }
            else
            {
                UI().EndWork(QStringLiteral(
                                 "%1 differences from the map, marked on it: magenta is gone, green is new, "
                                 "orange has changed.")
                                 .arg(differences.size()));
            }
            frame.NotifyMap();
        });
    frame.SetCommandHandler(eCmdClearComparison,
                            [&frame](const SCommandContext&)
                            {
                                CurrentFabricComparison().Clear();
                                frame.NotifyMap();
                            });
}

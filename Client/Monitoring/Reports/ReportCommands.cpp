#include "ReportCommands.h"

#include "MainFrameCore.h"
#include "PEReport.h"
#include "RoutingTableReport.h"

void InstallReportCommands(CMainFrameCore& frame)
{
    frame.SetCommandHandler(eCmdPEInfoReport,
                            [&frame](const SCommandContext&)
                            {
                                CPEReport report(frame.Document());
                                report.GenerateReport();
                            });
    frame.SetCommandHandler(eCmdRoutingTableReport,
                            [&frame](const SCommandContext&)
                            {
                                CRoutingTableReport report(frame.Document());
                                report.GenerateReport();
                            });
}

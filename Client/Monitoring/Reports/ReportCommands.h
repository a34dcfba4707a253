// The report commands of the Network menu, installed on the frame so that the window, the
// headless demo and tests run the same ones.
#pragma once

class CMainFrameCore;

// "Generate PE Info Report" and "Generate Routing Table Report" on the map on show.
void InstallReportCommands(CMainFrameCore& frame);

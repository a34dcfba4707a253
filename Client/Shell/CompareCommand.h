// The window's "Compare with Fabric" and "Clear Comparison": the map in the window against the
// fabric the window is connected to, the differences listed in the working window's log and marked
// on the map until they are cleared.
#pragma once

class CMainFrameCore;

void InstallCompareCommands(CMainFrameCore& frame);

// The Initialize Network command of the Debug menu, installed on the frame so that the window,
// the headless demo and tests run the same command.
#pragma once

class CMainFrameCore;

// Installs the handler of eCmdInitializeNetwork: the fabric is initialised from the map's template
// (with the questions and working window of the command), and on success the map shows as changed.
void InstallInitNetworkCommand(CMainFrameCore& frame);

// The commands of the script windows: the PE pop-up's Scripts > Run Script and Registers > Save
// Registers, and Debug > Create Network Initialization Script.
#pragma once

class CMainFrameCore;
class QWidget;

// Installs their handlers in the frame's dispatcher; the windows open over pParent.
void InstallScriptCommands(CMainFrameCore& core, QWidget* pParent);

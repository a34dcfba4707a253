// The multicast commands of the map, installed on the frame so that the window, the headless demo
// and tests run the same commands: the PE pop-up's Multicast > Configure... (also the network
// browser's multicast item) and Download to Target, and Network > Multicast > Download All to
// Target.
#pragma once

#include <functional>

class CMainFrameCore;
class CMulticastEditor;

// Shows the configuration window over the editor until the person closes it; true on OK.
using MulticastDialog = std::function<bool(CMulticastEditor&)>;

// Installs the handlers of eCmdMulticastConfigure, eCmdMulticastDownload and
// eCmdDownloadAllMulticast. Without a dialog the configure command refuses and shows why.
void InstallMulticastCommands(CMainFrameCore& frame, MulticastDialog fnDialog);

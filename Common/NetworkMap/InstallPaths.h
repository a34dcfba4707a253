// Where the register library and the icons are installed. Both are preferences of the section
// Directories; without one the program looks beside itself (share/norvanta/... of an installed
// tree) and then in the build tree it was built in.
#pragma once

#include <QString>

// The register library directory (preference ModuleDir), ending in a separator.
QString ModuleDirectory();
// The icon directory (preference BitmapDir), ending in a separator.
QString BitmapDirectory();
// The custom GUI plug-in directory (preference CustomGUI), ending in a separator.
QString CustomGUIDirectory();

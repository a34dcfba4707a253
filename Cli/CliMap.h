// Reading the map a norvanta-cli command works on.
#pragma once

#include <string>

class CNetworkDocument;

// Opens the map file of a command. The map's own ID width (its transport type) is then the one
// in force for the rest of the run, as it would be in the window after opening the file.
bool LoadCommandMap(const std::string& strPath, CNetworkDocument& map);

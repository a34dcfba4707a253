// Reading the map a norvanta-cli command works on.
#pragma once

#include "CliTarget.h"

#include <string>

class CNetworkDocument;
class CPEPrimitive;
class QString;

// Opens the map file of a command. The map's own ID width (its transport type) is then the one
// in force for the rest of the run, as it would be in the window after opening the file.
bool LoadCommandMap(const std::string& strPath, CNetworkDocument& map);

// Opens the target of the globals for a map: the map's ID width goes on the wire and the map's host
// PE is marked as the one reached through the link. Prints the failure and returns nullptr when
// the target can't be opened.
CliConnection OpenMapTarget(CNetworkDocument& map);

// The PE of node ulNode (counted from 1) when it is one of the IDT Gen2 switches that carry the
// packet and lane tools; nullptr with *pstrError saying why not. strTool names what the command
// wanted of it ("packet generator", ...).
const CPEPrimitive* Gen2ToolSwitchNode(const CNetworkDocument& map, uint64_t ulNode, const QString& strTool,
                                       QString* pstrError);

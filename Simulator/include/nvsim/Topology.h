// Topology files: the line-oriented text that describes a fabric (Simulator/README.md has the
// whole format). Errors name the file, the line and what is wrong, as "FILE:LINE: text".
#pragma once

#include "nvsim/Fabric.h"

#include <memory>
#include <string>

namespace nvsim
{
// Reads a topology file; null with *pError set if it cannot be read or is not valid.
std::unique_ptr<CSimFabric> LoadTopologyFile(const std::string& strPath, std::string* pError);
// The same for text held in memory; errors name it "<text>".
std::unique_ptr<CSimFabric> LoadTopologyText(const std::string& strText, std::string* pError);
} // namespace nvsim

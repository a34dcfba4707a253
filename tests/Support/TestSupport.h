// Helpers shared by the test executables.
#pragma once

#include <string>
#include <vector>

namespace nvtest
{
// A directory private to this test process, made at start-up and removed at exit. HOME,
// XDG_CONFIG_HOME and TMPDIR point into it, so preferences and logs never touch the user's own.
const std::string& ProcessTempDir();
// Root of the source tree and of the build tree.
std::string SourceDir();
std::string BinaryDir();
// Path of a program built in this tree, such as "Simulator/norvanta-sim".
std::string BuiltProgram(const std::string& strRelative);
// Whole contents of a file, or an empty string.
std::string ReadFile(const std::string& strPath);
// The lines of a text, without their line ends.
std::vector<std::string> Lines(const std::string& strText);
} // namespace nvtest

// Runs a program of the build with its standard error on a pseudo-terminal, as a person at a
// terminal would see it, and its standard output in a file; or with an environment of its own.
#pragma once

#include <string>
#include <vector>

namespace nvtest
{
struct STerminalRun
{
    int nExitCode = -1; // -1 when it could not run or died of a signal
    std::string strOut;
    std::string strTerminal; // what reached the terminal, line ends as the program wrote them
};

STerminalRun RunOnTerminal(const std::string& strProgram, const std::vector<std::string>& args);

// Runs a program with exactly the environment given ("NAME=value" entries); standard output and
// error are captured into strOut and strTerminal.
STerminalRun RunWithEnvironment(const std::string& strProgram, const std::vector<std::string>& args,
                                const std::vector<std::string>& environment);
} // namespace nvtest

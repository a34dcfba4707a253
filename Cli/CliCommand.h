// A command of norvanta-cli: the words that name it, its usage line, and the function that
// runs it. Each command group keeps its table in its own file; main lists the tables.
#pragma once

#include <string>
#include <vector>

// What a command gets: the words after its name, with the global options already removed.
struct SCliInvocation
{
    std::vector<std::string> args; // positional words and the command's own options, in order
};

struct SCliCommand
{
    const char* pszName;  // the command words, such as "map show"
    const char* pszUsage; // the rest of the usage line, such as "FILE"
    // Runs the command: prints its results on standard output, its failure on standard error,
    // and returns the process exit status (0 success).
    int (*pfnRun)(const SCliInvocation& invocation);
};

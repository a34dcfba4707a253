// norvanta-cli: the headless front end. Global options say where the target is; the command
// words that follow pick a command from the tables of the command groups.
#include "CliCommand.h"
#include "CliOptions.h"
#include "CliTarget.h"

#include "LinkSettings.h"
#include "Preferences.h"
#include "TransactionLog.h"

#include <QString>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

extern const SCliCommand g_aTargetCommands[];
extern const SCliCommand g_aDeviceCommands[];
extern const SCliCommand g_aMapCommands[];
extern const SCliCommand g_aRegsCommands[];
extern const SCliCommand g_aDiscoveryCommands[];
extern const SCliCommand g_aRouteCommands[];
extern const SCliCommand g_aMulticastCommands[];
extern const SCliCommand g_aScriptCommands[];
extern const SCliCommand g_aInitScriptCommands[];
extern const SCliCommand g_aInitCommands[];
extern const SCliCommand g_aVdidCommands[];
extern const SCliCommand g_aHealthCommands[];
extern const SCliCommand g_aWatchCommands[];
extern const SCliCommand g_aDiffCommands[];
extern const SCliCommand g_aReportCommands[];
extern const SCliCommand g_aPerfmonCommands[];
extern const SCliCommand g_aLinkmonCommands[];
extern const SCliCommand g_aTrafficCommands[];
extern const SCliCommand g_aDfeCommands[];
extern const SCliCommand g_aPacketCommands[];
extern const SCliCommand g_aPgenCommands[];
extern const SCliCommand g_aTraceCommands[];
extern const SCliCommand g_aJtagCommands[];
extern const SCliCommand g_aEepromCommands[];
extern const SCliCommand g_aMacroCommands[];

namespace
{
const SCliCommand* const kCommandTables[] = {
    g_aTargetCommands,  g_aDeviceCommands,    g_aMapCommands,     g_aRegsCommands,       g_aDiscoveryCommands,
    g_aRouteCommands,   g_aMulticastCommands, g_aScriptCommands,  g_aInitScriptCommands, g_aInitCommands,
    g_aVdidCommands,    g_aHealthCommands,    g_aWatchCommands,   g_aDiffCommands,       g_aReportCommands,
    g_aPerfmonCommands, g_aLinkmonCommands,   g_aTrafficCommands, g_aPacketCommands,     g_aPgenCommands,
    g_aTraceCommands,   g_aDfeCommands,       g_aJtagCommands,    g_aEepromCommands,     g_aMacroCommands};

const char* const kGlobalUsage =
    "usage: norvanta-cli [--server ADDR] [--port N] [--udp] [--local-port N] [--large] [--log FILE]\n"
    "                    [--wait-ms N] [--broadcast ADDR] [--broadcast-port N] [--reply-port N]\n"
    "                    [--serial DEV [--baud N] [--flow none|hw|sw]] [--jtag POD:POSITION] [--pcie N]\n"
    "                    [--i2c CHANNEL:ADDRESS [--ten-bit]]\n"
    "                    COMMAND [ARGS...]\n"
    "commands:\n";

void PrintUsage()
{
    std::fputs(kGlobalUsage, stderr);
    for (const SCliCommand* pTable : kCommandTables)
    {
        for (const SCliCommand* pCommand = pTable; pCommand->pszName; ++pCommand)
        {
            std::fprintf(stderr, "  %s %s\n", pCommand->pszName, pCommand->pszUsage);
        }
    }
}

// Number of leading words of args that name the command, or 0 when none matches.
const SCliCommand* FindCommand(const std::vector<std::string>& words, size_t* pnUsed)
{
    const SCliCommand* pBest = nullptr;
    size_t nBest = 0;
    for (const SCliCommand* pTable : kCommandTables)
    {
        for (const SCliCommand* pCommand = pTable; pCommand->pszName; ++pCommand)
        {
            std::vector<std::string> name;
            std::string strName = pCommand->pszName;
            for (size_t nStart = 0; nStart <= strName.size();)
            {
                const size_t nSpace = strName.find(' ', nStart);
                name.push_back(strName.substr(nStart, nSpace - nStart));
                if (nSpace == std::string::npos)
                {
                    break;
                }
                nStart = nSpace + 1;
            }
            if (name.size() <= words.size() && name.size() > nBest &&
                std::equal(name.begin(), name.end(), words.begin()))
            {
                pBest = pCommand;
                nBest = name.size();
            }
        }
    }
    *pnUsed = nBest;
    return pBest;
}
} // namespace

int main(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN);
    std::vector<std::string> args(argv + 1, argv + argc);
    // The global options may stand anywhere; what is left is the command and its words. A command
    // may own a global option's name: after its word the option is the command's (watch's --log is
    // its log of trigger lines, not the transaction log; perfmon's and report's --port is a switch port,
    // pgen's --flow a flow type).
    const std::vector<std::pair<std::string, std::string>> commandOptions = {{"watch", "--log"},
                                                                             {"perfmon", "--port"},
                                                                             {"report", "--port"},
                                                                             {"dfe", "--port"},
                                                                             {"pgen", "--flow"}};
    const std::vector<std::string> valueGlobals = {
        "--server",     "--port",   "--local-port", "--log",  "--wait-ms", "--broadcast", "--broadcast-port",
        "--reply-port", "--serial", "--baud",       "--flow", "--jtag",    "--pcie",      "--i2c"};
    const std::vector<std::string> flagGlobals = {"--udp", "--large", "--ten-bit", "--help"};
    std::vector<std::string> rest;
    SCliGlobals& globals = CliGlobals();
    for (size_t i = 0; i < args.size(); ++i)
    {
        const std::string& strWord = args[i];
        const bool bOwned =
            !rest.empty() && std::find(commandOptions.begin(), commandOptions.end(),
                                       std::make_pair(rest.front(), strWord)) != commandOptions.end();
        const bool bValue =
            std::find(valueGlobals.begin(), valueGlobals.end(), strWord) != valueGlobals.end();
        const bool bFlag = std::find(flagGlobals.begin(), flagGlobals.end(), strWord) != flagGlobals.end();
        if (bOwned || (!bValue && !bFlag))
        {
            rest.push_back(strWord);
            continue;
        }
        if (bFlag)
        {
            if (strWord == "--udp")
            {
                globals.bUdp = true;
            }
            else if (strWord == "--large")
            {
                globals.bLarge = true;
            }
            else if (strWord == "--ten-bit")
            {
                globals.bI2cTenBit = true;
            }
            else
            {
                PrintUsage();
                return 0;
            }
            continue;
        }
        if (i + 1 >= args.size())
        {
            std::fprintf(stderr, "option %s needs a value\n", strWord.c_str());
            return 2;
        }
        const std::string strValue = args[++i];
        uint64_t ulValue = 0;
        if (strWord == "--server")
        {
            globals.strServer = strValue;
        }
        else if (strWord == "--broadcast")
        {
            SetPreferenceOverride(QStringLiteral("Preferences"), QStringLiteral("BroadcastAddress"),
                                  QString::fromStdString(strValue));
        }
        else if (strWord == "--jtag")
        {
            globals.strJtag = strValue;
        }
        else if (strWord == "--log")
        {
            globals.strLog = strValue;
        }
        else if (strWord == "--pcie")
        {
            if (!CliNumber(strValue, 0x7FFF, &ulValue))
            {
                return 2;
            }
            globals.lPcie = static_cast<int32_t>(ulValue);
        }
        else if (strWord == "--serial" || strWord == "--baud" || strWord == "--flow")
        {
            if (!SetCliSerialOption(strWord, strValue))
            {
                return 2;
            }
        }
        else if (strWord == "--i2c")
        {
            globals.strI2c = strValue;
        }
        else
        {
            const uint64_t ulMax = strWord == "--wait-ms" ? 3600000u : 0xFFFFu;
            if (!CliNumber(strValue, ulMax, &ulValue))
            {
                return 2;
            }
            const QString strKey = strWord == "--port"             ? QStringLiteral("ServerPort")
                                   : strWord == "--local-port"     ? QStringLiteral("UdpLocalPort")
                                   : strWord == "--broadcast-port" ? QStringLiteral("BroadcastPort")
                                   : strWord == "--reply-port"     ? QStringLiteral("BroadcastReplyPort")
                                                                   : QStringLiteral("ReceiveWaitMs");
            SetPreferenceOverride(QStringLiteral("Preferences"), strKey, QString::number(ulValue));
        }
    }
    if (globals.bLarge)
    {
        SetPreferenceOverride(QStringLiteral("Preferences"), QStringLiteral("DefaultDestIDSize"),
                              QStringLiteral("16"));
    }
    ReloadLinkSettings();
    if (!globals.strLog.empty())
    {
        if (!CreateLogFile(QString::fromStdString(globals.strLog)))
        {
            std::fprintf(stderr, "Unable to create the log file '%s'\n", globals.strLog.c_str());
            return 1;
        }
        EnableLogging(true);
    }

    size_t nUsed = 0;
    const SCliCommand* pCommand = FindCommand(rest, &nUsed);
    if (!pCommand)
    {
        if (!rest.empty())
        {
            std::fprintf(stderr, "unknown command '%s'\n", rest[0].c_str());
        }
        PrintUsage();
        return 2;
    }
    SCliInvocation invocation;
    invocation.args.assign(rest.begin() + static_cast<std::ptrdiff_t>(nUsed), rest.end());
    return pCommand->pfnRun(invocation);
}

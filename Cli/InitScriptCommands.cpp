// Network initialisation scripts of a saved map, in any of their formats, and a script played on
// the target.
#include "CliCommand.h"
#include "CliMap.h"
#include "CliOptions.h"
#include "CliTarget.h"

#include "InitScriptPlayer.h"
#include "NVXLHal.h"
#include "NetInitScriptGen.h"
#include "NetworkDocument.h"
#include "NetworkMap.h"
#include "StatusText.h"
#include "TargetConnection.h"

#include <QFile>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>

namespace
{
int RunInitScript(const SCliInvocation& invocation)
{
    const char* const pszUsage = "initscript MAP --host NODE --format script|header|idt|sre|csv [--comments] "
                                 "[--preinit] [--exclude-read-only] [--out FILE]";
    const CCliOptions options(invocation.args, {"--host", "--format", "--out"},
                              {"--comments", "--preinit", "--exclude-read-only"});
    static const std::map<std::string, int> kFormats = {{"script", eInitFormatScript},
                                                        {"header", eInitFormatHeader},
                                                        {"idt", eInitFormatIdt},
                                                        {"sre", eInitFormatSRecord},
                                                        {"csv", eInitFormatCsv}};
    const auto format = kFormats.find(options.Value("--format"));
    if (!options.Ok() || options.Positional().size() != 1 || !options.Has("--host") ||
        format == kFormats.end())
    {
        return CliUsage(pszUsage);
    }
    CNetworkDocument map;
    if (!LoadCommandMap(options.Positional()[0], map))
    {
        return 1;
    }
    CNetInitScriptGen gen(map);
    gen.BuildTree();
    gen.bComments = options.Has("--comments");
    gen.bPreInitRT = options.Has("--preinit");
    gen.bExcludeRO = options.Has("--exclude-read-only");
    gen.eFormat = format->second;
    if (!gen.Generate(QString::fromStdString(options.Value("--host"))))
    {
        return 1;
    }
    // The script and the header are text files with the platform's line ends; the value files keep
    // CR LF, which their readers expect.
    QString strText = gen.ScriptText();
    if (gen.eFormat == eInitFormatScript || gen.eFormat == eInitFormatHeader)
    {
        strText.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    }
    const QByteArray bytes = strText.toLocal8Bit();
    int nActions = 0;
    for (const SInitScriptRecord& record : gen.Records())
    {
        nActions += record.s.eOp != eNVXL_ScrOpNone ? 1 : 0;
    }
    if (options.Has("--out"))
    {
        const std::string strOut = options.Value("--out");
        FILE* pFile = std::fopen(strOut.c_str(), "wb");
        if (!pFile || std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), pFile) !=
                          static_cast<size_t>(bytes.size()))
        {
            const int nError = errno;
            if (pFile)
            {
                std::fclose(pFile);
            }
            std::fprintf(stderr, "Unable to open%s, error %d\n", strOut.c_str(), nError);
            return 1;
        }
        if (std::fclose(pFile) != 0)
        {
            std::fprintf(stderr, "Unable to open%s, error %d\n", strOut.c_str(), errno);
            return 1;
        }
        std::printf("Generated %d actions from host node %s; saved %s\n", nActions,
                    options.Value("--host").c_str(), strOut.c_str());
    }
    else
    {
        std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    }
    if (gen.ErrorCount() != 0)
    {
        QString strErrors = gen.ErrorsText();
        strErrors.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
        std::fputs(strErrors.toLocal8Bit().constData(), stderr);
        return 1;
    }
    return 0;
}

int RunInitScriptPlay(const SCliInvocation& invocation)
{
    const char* const pszUsage = "initscript play FILE";
    const CCliOptions options(invocation.args, {}, {});
    if (!options.Ok() || options.Positional().size() != 1)
    {
        return CliUsage(pszUsage);
    }
    const std::string& strPath = options.Positional()[0];
    QFile file(QString::fromStdString(strPath));
    if (!file.open(QIODevice::ReadOnly))
    {
        std::fprintf(stderr, "Unable to open %s\n", strPath.c_str());
        return 1;
    }
    std::vector<NVXL_SCRIPTCOMMANDSTRUCT> records;
    std::vector<int> lines;
    int iBad = 0;
    if (!ParseInitScript(QString::fromLocal8Bit(file.readAll()), &records, &iBad, &lines))
    {
        std::fprintf(stderr, "Line %d of %s is not an initialisation script command\n", iBad,
                     strPath.c_str());
        return 1;
    }
    auto connection = OpenCliTarget();
    if (!connection)
    {
        return 1;
    }
    HalSetLargeTransport(CliGlobals().bLarge ? 1 : 0);
    int iFailed = -1;
    const int32_t nStatus = PlayScript(records, &iFailed);
    if (nStatus != 0)
    {
        std::printf("Played %d of %zu actions\n", iFailed, records.size());
        std::fprintf(stderr, "Line %d failed:\n", iFailed >= 0 ? lines[static_cast<size_t>(iFailed)] : 0);
        return CliFailure(nStatus);
    }
    std::printf("Played %zu actions\n", records.size());
    return 0;
}
} // namespace

extern const SCliCommand g_aInitScriptCommands[] = {
    {"initscript",
     "MAP --host NODE --format script|header|idt|sre|csv [--comments] [--preinit] "
     "[--exclude-read-only] [--out FILE]",
     RunInitScript},
    {"initscript play", "FILE", RunInitScriptPlay},
    {nullptr, nullptr, nullptr},
};

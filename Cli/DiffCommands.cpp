// norvanta-cli diff: what the live fabric has that a saved map doesn't, and the other way round.
// The fabric is walked as discovery does without enumeration and left as it was found; one line is
// printed for each difference. Exit status 0: they match; 1: they differ; 2: no comparison was
// possible (bad map file, no target, a walk that failed), said in one line on standard error.
#include "CliCollectingInterface.h"
#include "CliCommand.h"
#include "CliMap.h"
#include "CliOptions.h"
#include "CliTarget.h"

#include "FabricDiff.h"
#include "NetworkDocument.h"
#include "TargetConnection.h"

#include <cstdio>

namespace
{
const char* const kUsage = "diff MAP";
constexpr int kMatch = 0;
constexpr int kDiffers = 1;
constexpr int kError = 2;

// What the readers and the walk would show in message boxes, as one line after a lead-in.
int Fail(const QString& strLeadIn, const QStringList& messages)
{
    QString strText = messages.join(QLatin1Char(' ')).simplified();
    std::fprintf(stderr, "%s%s\n", strLeadIn.toLocal8Bit().constData(),
                 strText.isEmpty() ? "" : (QStringLiteral(": ") + strText).toLocal8Bit().constData());
    return kError;
}

bool HasRealPE(const CNetworkDocument& map)
{
    for (const auto& pPE : map.ActivePEs)
    {
        if (!pPE->bDeleted && !(pPE->uType & kPETypeNull))
        {
            return true;
        }
    }
    return false;
}

int RunDiff(const SCliInvocation& invocation)
{
    const CCliOptions options(invocation.args, {}, {});
    if (!options.Ok() || options.Positional().size() != 1)
    {
        CliUsage(kUsage);
        return kError;
    }
    const std::string& strPath = options.Positional()[0];
    const QString strMap = QString::fromStdString(strPath);
    CNetworkDocument saved;
    {
        CCollectingInterface messages;
        if (!LoadCommandMap(strPath, saved))
        {
            return Fail(QStringLiteral("Unable to read the map %1").arg(strMap), messages.Messages);
        }
    }
    if (!HasRealPE(saved))
    {
        return Fail(QStringLiteral("The map %1 has no PEs to compare with the fabric").arg(strMap), {});
    }
    CCollectingInterface messages;
    CliConnection connection = OpenMapTarget(saved);
    if (!connection)
    {
        return Fail(QStringLiteral("Unable to reach the target"), messages.Messages);
    }
    CPEPrimitive host;
    SetCliHostLink(host);
    CNetworkDocument live;
    if (WalkLiveFabric(saved, &host, &live) != 0)
    {
        return Fail(QStringLiteral("The walk of the fabric failed"), messages.Messages);
    }
    const std::vector<SFabricDifference> differences = CompareFabricMaps(saved, live);
    for (const SFabricDifference& difference : differences)
    {
        std::printf("%s\n", difference.strText.toLocal8Bit().constData());
    }
    return differences.empty() ? kMatch : kDiffers;
}
} // namespace

extern const SCliCommand g_aDiffCommands[] = {
    {"diff", "MAP", RunDiff},
    {nullptr, nullptr, nullptr},
};

// Virtual destination IDs of a PE on a saved map: the mode and the IDs, checked as the
// configuration window checks them, then written to the device and routed on the target, and
// the map saved.
#include "CliCollectingInterface.h"
#include "CliCommand.h"
#include "CliMap.h"
#include "CliOptions.h"
#include "CliTarget.h"

#include "FFRoutes.h"
#include "NVXLHal.h"
#include "NetworkDocument.h"
#include "NetworkMap.h"
#include "TargetConnection.h"
#include "VDIDConfig.h"

#include <cstdio>
#include <memory>

namespace
{
const char* const kUsage =
    "vdid set MAP NODE --mode off|secondary|accept-all [--ids LIST | --auto] [--save MAP]";

void PrintMessages(const QStringList& messages)
{
    for (const QString& strText : messages)
    {
        std::fprintf(stderr, "%s\n", strText.trimmed().toLocal8Bit().constData());
    }
}

QString ModeName(EVDIDMode eMode)
{
    switch (eMode)
    {
    case EVDIDMode::eSecondary:
        return QStringLiteral("secondary IDs");
    case EVDIDMode::eAcceptAll:
        return QStringLiteral("accept-all");
    case EVDIDMode::eDisabled:
        break;
    }
    return QStringLiteral("off");
}

int RunVdidSet(const SCliInvocation& invocation)
{
    const CCliOptions options(invocation.args, {"--mode", "--ids", "--save"}, {"--auto"});
    if (!options.Ok() || options.Positional().size() != 2 || !options.Has("--mode") ||
        (options.Has("--ids") && options.Has("--auto")))
    {
        return CliUsage(kUsage);
    }
    const std::string strMode = options.Value("--mode");
    EVDIDMode eMode = EVDIDMode::eDisabled;
    if (strMode == "secondary")
    {
        eMode = EVDIDMode::eSecondary;
    }
    else if (strMode == "accept-all")
    {
        eMode = EVDIDMode::eAcceptAll;
    }
    else if (strMode != "off")
    {
        return CliUsage(kUsage);
    }
    uint64_t ulNode = 0;
    if (!CliNumber(options.Positional()[1], 0x7FFFFFFFu, &ulNode))
    {
        return 2;
    }
    const std::string& strMapPath = options.Positional()[0];
    CNetworkDocument map;
    {
        CCollectingInterface messages;
        if (!LoadCommandMap(strMapPath, map))
        {
            PrintMessages(messages.Messages.isEmpty() ? QStringList{QStringLiteral("Unable to open the map.")}
                                                      : messages.Messages);
            return 1;
        }
    }
    CPEPrimitive* pPE = ulNode ? map.ActivePEs.GetByNodeNumber(static_cast<int>(ulNode - 1)) : nullptr;
    if (!pPE || pPE->bDeleted || (pPE->uType & kPETypeNull))
    {
        std::fprintf(stderr, "Node %s is not a PE on the map\n", options.Positional()[1].c_str());
        return 2;
    }
    const bool bLong = MapUsesLongIDs();
    CVDIDConfig config(*pPE, map.ActivePEs, bLong);
    if ((eMode == EVDIDMode::eSecondary && !config.SecondaryAllowed()) ||
        (eMode == EVDIDMode::eAcceptAll && !config.AcceptAllAllowed()))
    {
        std::fprintf(stderr, "Node %llu has no %s mode\n", static_cast<unsigned long long>(ulNode),
                     ModeName(eMode).toLocal8Bit().constData());
        return 1;
    }
    config.ChooseMode(eMode);
    {
        // What the window would show goes to standard error; a refusal ends the command before
        // the target is touched.
        CCollectingInterface messages;
        QString strIDs = options.Has("--ids") ? QString::fromStdString(options.Value("--ids")) : QString();
        bool bOk = true;
        if (options.Has("--auto"))
        {
            bOk = config.ChooseAutomatically();
            strIDs = config.IDText();
        }
        else if (!options.Has("--ids") && eMode != EVDIDMode::eDisabled)
        {
            strIDs = config.IDText();
        }
        bOk = bOk && config.Accept(strIDs);
        PrintMessages(messages.Messages);
        if (!bOk)
        {
            std::fprintf(stderr, "Nothing was changed.\n");
            return 1;
        }
    }
    config.WriteTo(*pPE);
    std::printf("Node %llu: VDIDs %s, %d allowed: %s\n", static_cast<unsigned long long>(ulNode),
                ModeName(config.Mode()).toLocal8Bit().constData(), config.MaxVDIDs(),
                config.Count() ? config.IDText().toLocal8Bit().constData() : "none");

    auto connection = OpenCliTarget();
    if (!connection)
    {
        return 1;
    }
    HalSetLargeTransport(bLong ? 1 : 0);
    if (CPEPrimitive* pHost = MapHostPE(map))
    {
        pHost->bHasHostLink = true;
        pHost->bHostLinkOpen = true;
    }
    int32_t nStatus = 0;
    {
        CCollectingInterface messages;
        nStatus = UpdatePEVDIDs(map, *pPE);
        PrintMessages(messages.Messages);
    }
    if (nStatus == 0)
    {
        std::printf("Updated the PE and the routing tables on the way to it\n");
    }
    // The map keeps what the target now holds, even after an update that ended half way.
    const std::string strOut = options.Has("--save") ? options.Value("--save") : strMapPath;
    if (!map.SaveAs(QString::fromStdString(strOut)))
    {
        std::fprintf(stderr, "Unable to save the map to %s\n", strOut.c_str());
        return 1;
    }
    std::printf("Saved %s\n", strOut.c_str());
    return nStatus == 0 ? 0 : 1;
}
} // namespace

extern const SCliCommand g_aVdidCommands[] = {
    {"vdid set", "MAP NODE --mode off|secondary|accept-all [--ids LIST | --auto] [--save MAP]", RunVdidSet},
    {nullptr, nullptr, nullptr},
};

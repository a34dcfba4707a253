// Standard discovery from the command line: walks the target's fabric (enumerating it on request)
// and saves the map it makes. The questions the desktop asks are answered by the options.
#include "CliCommand.h"
#include "CliOptions.h"
#include "CliTarget.h"

#include "AutoLayout.h"
#include "Discovery.h"
#include "NetworkMap.h"
#include "PassiveDiscovery.h"
#include "TargetConnection.h"
#include "UserInterface.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <optional>

#include <algorithm>

#include <cstdio>
#include <memory>
#include <unistd.h>

namespace
{
const QString kLogQuestion = QStringLiteral("Enable discovery logging?");

// Messages go to standard error, the discovery log to standard output; the questions are answered
// as the options say (Yes to anything else).
class CCliAnswers final : public IUserInterface
{
public:
    CCliAnswers(bool bLog, bool bSkipUnused, bool bGuide)
        : m_bLog(bLog), m_bSkipUnused(bSkipUnused), m_bGuide(bGuide),
          m_bShowProgress(isatty(STDERR_FILENO) != 0)
    {
        SetUserInterface(this);
    }
    ~CCliAnswers() override { SetUserInterface(nullptr); }

    void ShowMessage(const QString& strText, const QString&, EMessageKind) override
    {
        std::fprintf(stderr, "%s\n", strText.toLocal8Bit().constData());
    }
    int Ask(const QString& strText, const QString&, bool) override
    {
        if (strText == kLogQuestion)
        {
            return m_bLog ? eAnswerYes : eAnswerNo;
        }
        if (strText.startsWith(QStringLiteral("Skip routing table")))
        {
            return m_bSkipUnused ? eAnswerYes : eAnswerNo;
        }
        if (strText.contains(QStringLiteral("as a guide?")))
        {
            return m_bGuide ? eAnswerYes : eAnswerNo;
        }
        return eAnswerYes;
    }
    void Beep() override {}
    void SetBusy(bool) override {}
    // A person watching at a terminal sees each step of a long operation as it is taken (a device
    // found, a switch's tables on their way); a pipe or a file gets only the results.
    void SetWorkProgress(const QString& strText) override
    {
        IUserInterface::SetWorkProgress(strText);
        if (m_bShowProgress && !strText.isEmpty())
        {
            std::fprintf(stderr, "%s\n", strText.toLocal8Bit().constData());
            std::fflush(stderr);
        }
    }
    void AppendWorkLog(const QString& strLine) override
    {
        std::fputs(strLine.toLocal8Bit().constData(), stdout);
    }

private:
    bool m_bLog;
    bool m_bSkipUnused;
    bool m_bGuide;
    bool m_bShowProgress;
};

// The IDs of a scan sequence option: numbers separated by commas, semicolons, full stops or blanks.
bool ScanIDs(const std::string& strText, std::vector<uint32_t>* pIDs)
{
    const QStringList tokens = QString::fromStdString(strText).split(
        QRegularExpression(QStringLiteral("[,;. ]")), Qt::SkipEmptyParts);
    for (const QString& strToken : tokens)
    {
        uint64_t ulID = 0;
        if (!CliNumber(strToken.toStdString(), 0xFFFF, &ulID))
        {
            return false;
        }
        pIDs->push_back(static_cast<uint32_t>(ulID));
    }
    return true;
}

void PrintMap(const CNetworkDocument& map)
{
    int nSwitches = 0, nEndpoints = 0, nUnknown = 0, nEmpty = 0, nConnections = 0;
    for (const auto& pPE : map.ActivePEs)
    {
        if (pPE->bDeleted)
        {
            continue;
        }
        // Counted as listed: whatever shows as an unknown device is one, a place where something
        // answered but couldn't be read as much as a device whose features name no kind.
        const bool bUnknown = pPE->uType == kPETypeUnknown;
        const bool bEmpty = pPE->ManufID == kNullDeviceIdentity && pPE->DeviceID == kNullDeviceIdentity;
        nSwitches += (pPE->uType & kPETypeSwitch) ? 1 : 0;
        nUnknown += bUnknown ? 1 : 0;
        nEmpty += bEmpty ? 1 : 0;
        nEndpoints += !(pPE->uType & kPETypeSwitch) && !bUnknown && !bEmpty ? 1 : 0;
        if (bEmpty)
        {
            continue;
        }
        std::printf("Node %d: %s device %04Xh vendor %04Xh", pPE->iNodeNumber + 1,
                    pPE->GetTypeString().toLocal8Bit().constData(), pPE->DeviceID, pPE->ManufID);
        if (pPE->bUsesDestID)
        {
            std::printf(" destID %Xh", pPE->GetDestID());
        }
        std::printf("  %s\n", pPE->UniqueID.toLocal8Bit().constData());
        if (!pPE->ErrorNote.isEmpty())
        {
            std::printf("  %s\n", QString(pPE->ErrorNote)
                                      .replace(QLatin1Char('\n'), QStringLiteral("\n  "))
                                      .toLocal8Bit()
                                      .constData());
        }
    }
    for (const auto& pConnection : map.ActiveConnections)
    {
        nConnections += pConnection->bDeleted ? 0 : 1;
    }
    std::printf("Found %d switches, %d endpoints, %d unknown devices, %d empty ports, %d connections\n",
                nSwitches, nEndpoints, nUnknown, nEmpty, nConnections);
}

// What the routes in the tables resolved, and what stays unknown.
void PrintPassiveResult(const CNetworkDocument& map, const std::vector<int>& identified)
{
    QStringList found, unknown;
    for (int iNode : identified)
    {
        if (const CPEPrimitive* pPE = map.ActivePEs.GetByNodeNumber(iNode))
        {
            found << QString::asprintf("Node %d (destID %Xh)", iNode + 1, pPE->GetDestID());
        }
    }
    for (const auto& pPE : map.ActivePEs)
    {
        if (!pPE->bDeleted && pPE->uType == kPETypeUnknown)
        {
            unknown << QString::asprintf("Node %d", pPE->iNodeNumber + 1);
        }
    }
    std::printf("Identified through existing routes: %s\n",
                found.isEmpty() ? "none" : found.join(QStringLiteral(", ")).toLocal8Bit().constData());
    std::printf("Left unknown: %s\n",
                unknown.isEmpty() ? "none" : unknown.join(QStringLiteral(", ")).toLocal8Bit().constData());
}

// The options that set up a standard discovery.
const char* const kSettingOptions[] = {"--enumerate",       "--host",          "--first",
                                       "--increment",       "--scan",          "--locks",
                                       "--vdids",           "--try-speeds",    "--no-scan-existing",
                                       "--generate-routes", "--upload-tables", "--skip-unused"};

int RunDiscover(const SCliInvocation& invocation)
{
    const char* const pszUsage =
        "discover [--enumerate] [--host ID] [--first ID] [--increment N] [--scan IDS] [--locks] [--vdids]\n"
        "                    [--try-speeds] [--no-scan-existing] [--generate-routes] [--upload-tables] "
        "[--skip-unused]\n"
        "                    [--discovery-log] [--map OLD] [--no-layout] --save MAP\n"
        "       discover --passive [--discovery-log] [--map OLD] [--no-layout] --save MAP";
    const CCliOptions options(
        invocation.args, {"--host", "--first", "--increment", "--scan", "--map", "--save"},
        {"--enumerate", "--locks", "--vdids", "--try-speeds", "--no-scan-existing", "--generate-routes",
         "--upload-tables", "--skip-unused", "--discovery-log", "--no-layout", "--passive"});
    // Passive discovery has no settings: it never enumerates, locks, scans or routes anew.
    const bool bPassive = options.Has("--passive");
    const bool bSettings = std::any_of(std::begin(kSettingOptions), std::end(kSettingOptions),
                                       [&options](const char* pszOption) { return options.Has(pszOption); });
    if (!options.Ok() || !options.Positional().empty() || !options.Has("--save") || (bPassive && bSettings))
    {
        if (!options.Ok())
        {
            std::fprintf(stderr, "%s\n", options.Error().c_str());
        }
        else if (bPassive && bSettings)
        {
            std::fprintf(stderr, "--passive takes no discovery settings\n");
        }
        return CliUsage(pszUsage);
    }
    const bool bLarge = CliGlobals().bLarge;
    const uint64_t ulMaxID = bLarge ? 0xFFFF : 0xFF;
    uint64_t ulHost = 1, ulFirst = 5, ulIncrement = 5;
    CEnumerationSettings settings;
    if (!options.Number("--host", ulMaxID, &ulHost) || !options.Number("--first", ulMaxID, &ulFirst) ||
        !options.Number("--increment", ulMaxID, &ulIncrement) ||
        (options.Has("--scan") && !ScanIDs(options.Value("--scan"), &settings.scanIDs)))
    {
        return 2;
    }
    settings.b16BitIDs = bLarge;
    settings.bEnumerate = options.Has("--enumerate");
    settings.bNoLocks = !options.Has("--locks");
    // Trying every speed on every idle port costs seconds on a large switch: asked for, not assumed.
    settings.bTryAllClockRates = options.Has("--try-speeds");
    settings.bScanExistingIDs = !options.Has("--no-scan-existing");
    settings.bAssignVDIDs = options.Has("--vdids");
    settings.bBuildRoutingTables = options.Has("--generate-routes");
    settings.bUploadRoutingTables = options.Has("--upload-tables") && !settings.bEnumerate;
    settings.ulHostDestID = static_cast<uint32_t>(ulHost);
    settings.ulStartingDestID = static_cast<uint32_t>(ulFirst);
    settings.ulDestIDIncrement = static_cast<uint32_t>(ulIncrement);

    CCliAnswers answers(options.Has("--discovery-log"), options.Has("--skip-unused"), options.Has("--map"));
    CNetworkDocument map;
    if (options.Has("--map") && !map.Open(QString::fromStdString(options.Value("--map"))))
    {
        return 1;
    }
    SetMapTransportAccess([bLarge] { return bLarge ? 16 : 8; }, [](int) {});
    auto connection = OpenCliTarget();
    if (!connection)
    {
        return 1;
    }
    CPEPrimitive host;
    SetCliHostLink(host);
    // The layout program is looked for beside the program, which needs the application object.
    static int s_argc = 1;
    static char s_szName[] = "norvanta-cli";
    static char* s_argv[] = {s_szName, nullptr};
    // A serial link made it already.
    std::optional<QCoreApplication> application;
    if (!QCoreApplication::instance())
    {
        application.emplace(s_argc, s_argv);
    }
    const LayoutFn layout =
        options.Has("--no-layout")
            ? LayoutFn()
            : LayoutFn([](CNetworkDocument& document) { return CAutoLayout::Run(document, false); });
    std::vector<int> identified;
    const int32_t nStatus = bPassive ? PassiveDiscoveryCommand(map, &host, layout, &identified)
                                     : StandardDiscoveryCommand(settings, map, &host, true, layout);
    if (nStatus != 0)
    {
        std::fprintf(stderr, "The discovery failed; nothing was saved.\n");
        return 1;
    }
    PrintMap(map);
    if (bPassive)
    {
        PrintPassiveResult(map, identified);
    }
    const QString strPath = QString::fromStdString(options.Value("--save"));
    if (!map.SaveAs(strPath))
    {
        std::fprintf(stderr, "Unable to save the map to %s\n", options.Value("--save").c_str());
        return 1;
    }
    std::printf("Saved %s\n", options.Value("--save").c_str());
    return 0;
}
} // namespace

// The answering user interface of the route commands too.
std::unique_ptr<IUserInterface> MakeCliAnswers(bool bSkipUnused)
{
    return std::make_unique<CCliAnswers>(false, bSkipUnused, false);
}

extern const SCliCommand g_aDiscoveryCommands[] = {
    {"discover",
     "[--enumerate] [--host ID] [--first ID] [--increment N] [--scan IDS] [--locks] [--vdids] [--try-speeds] "
     "[--no-scan-existing] [--generate-routes] [--upload-tables] [--skip-unused] [--discovery-log] [--map "
     "OLD] [--no-layout] "
     "--save MAP; or --passive [--discovery-log] [--map OLD] [--no-layout] --save MAP",
     RunDiscover},
    {nullptr, nullptr, nullptr},
};

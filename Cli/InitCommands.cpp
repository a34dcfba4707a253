// Initialisation from the command line: brings the target's fabric up as the template map of a map
// file says (IDs, time-outs, port enables and speeds, routing tables), prints what it did, and
// saves the resulting map on request. A file without a template map is refused, as the desktop
// program refuses it: its active map is the network as it was seen, not as it is wanted, and it
// becomes a template only by being captured as one.
#include "CliCommand.h"
#include "CliMap.h"
#include "CliOptions.h"
#include "CliTarget.h"

#include "FFRoutes.h"
#include "InitNetwork.h"
#include "NVXLDiscovery.h"
#include "NetworkDocument.h"
#include "TargetConnection.h"
#include "UserInterface.h"

#include <cstdio>

namespace
{
const char* const kUsage = "init TEMPLATE [--init-log] [--save MAP]";

// Messages go to standard error; the initialisation log, when asked for, to standard output.
class CInitAnswers final : public IUserInterface
{
public:
    explicit CInitAnswers(bool bLog) : m_pPrevious(&UI()), m_bLog(bLog) { SetUserInterface(this); }
    ~CInitAnswers() override { SetUserInterface(m_pPrevious); }
    CInitAnswers(const CInitAnswers&) = delete;
    CInitAnswers& operator=(const CInitAnswers&) = delete;

    void ShowMessage(const QString& strText, const QString&, EMessageKind) override
    {
        std::fprintf(stderr, "%s\n", strText.toLocal8Bit().constData());
    }
    int Ask(const QString&, const QString&, bool) override { return eAnswerNo; }
    void Beep() override {}
    void SetBusy(bool) override {}
    void AppendWorkLog(const QString& strLine) override
    {
        if (m_bLog)
        {
            std::fputs(strLine.toLocal8Bit().constData(), stdout);
        }
    }

private:
    IUserInterface* m_pPrevious;
    bool m_bLog;
};

bool IsEmptyPlace(const CPEPrimitive& pe)
{
    return pe.ManufID == kNullDeviceIdentity && pe.DeviceID == kNullDeviceIdentity;
}

// One line for each device the initialisation set up, and the count.
void PrintInitialised(const CNetworkDocument& map)
{
    int nSwitches = 0, nEndpoints = 0;
    for (const auto& pPE : map.ActivePEs)
    {
        if (pPE->bDeleted || IsEmptyPlace(*pPE) || pPE->uType == kPETypeUnknown)
        {
            continue;
        }
        const bool bSwitch = (pPE->uType & kPETypeSwitch) != 0;
        (bSwitch ? nSwitches : nEndpoints)++;
        std::printf("Node %d: %s device %04Xh vendor %04Xh", pPE->iNodeNumber + 1,
                    pPE->GetTypeString().toLocal8Bit().constData(), pPE->DeviceID, pPE->ManufID);
        if (pPE->bUsesDestID)
        {
            std::printf(" destID %Xh", pPE->GetDestID());
        }
        if (bSwitch)
        {
            int nTables = 0, nEntries = 0;
            for (const auto& pTable : pPE->RoutingTables)
            {
                if (pTable)
                {
                    ++nTables;
                    nEntries += pTable->GetNumEntries();
                }
            }
            std::printf(", %d routing table%s with %d entries", nTables, nTables == 1 ? "" : "s", nEntries);
        }
        std::printf("\n");
    }
    std::printf("Initialized %d switches and %d endpoints from the template\n", nSwitches, nEndpoints);
}

int RunInit(const SCliInvocation& invocation)
{
    const CCliOptions options(invocation.args, {"--save"}, {"--init-log"});
    if (!options.Ok() || options.Positional().size() != 1)
    {
        if (!options.Ok())
        {
            std::fprintf(stderr, "%s\n", options.Error().c_str());
        }
        return CliUsage(kUsage);
    }
    CInitAnswers answers(options.Has("--init-log"));
    CNetworkDocument map;
    if (!LoadCommandMap(options.Positional()[0], map))
    {
        std::fprintf(stderr, "Unable to read the map %s\n", options.Positional()[0].c_str());
        return 1;
    }
    if (!HasTemplateMap(map))
    {
        std::fprintf(stderr, "%s\n", kNoTemplateText);
        return 1;
    }
    auto connection = OpenCliTarget();
    if (!connection)
    {
        return 1;
    }
    SInitNetworkRequest request;
    request.bLog = options.Has("--init-log");
    request.bLongDestIDs = MapUsesLongIDs();
    // The middleware runs an initialisation on the ID width that the one before it stored, so that
    // in the desktop program the first run after a change of width still uses the old one. This
    // process has had no run before: one on no network stores the template's width (and writes
    // nothing) so that the real run uses it.
    NVXL_InitNetwork(request.bLongDestIDs ? NVXL_DISCOVER_USE_LONG_DESTIDS : 0u, 0, 0, nullptr);

    CPEPrimitive host;
    SetCliHostLink(host);
    const SInitNetworkResult result = InitNetworkFromTemplate(request, map, &host);
    if (result.nStatus != 0)
    {
        std::fprintf(stderr, "The network initialization failed; nothing was saved.\n");
        return 1;
    }
    PrintInitialised(map);
    QString strProblem;
    if (!map.ValidateUniqueDestIDs(strProblem))
    {
        std::fprintf(stderr, "Warning: %s\n", strProblem.toLocal8Bit().constData());
    }
    if (options.Has("--save"))
    {
        if (!map.SaveAs(QString::fromStdString(options.Value("--save"))))
        {
            std::fprintf(stderr, "Unable to save the map to %s\n", options.Value("--save").c_str());
            return 1;
        }
        std::printf("Saved %s\n", options.Value("--save").c_str());
    }
    return 0;
}
} // namespace

extern const SCliCommand g_aInitCommands[] = {
    {"init", "TEMPLATE [--init-log] [--save MAP]", RunInit},
    {nullptr, nullptr, nullptr},
};

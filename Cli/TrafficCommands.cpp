// norvanta-cli traffic: the traffic generator of the server (or of a remote endpoint reached
// through its control structure). start sends one NVT_DATAGEN start with a fixed rate or a rate
// profile; status asks how the generator fares; stop stops it; check asks a remote generator
// whether its control structure is where we say. Exit status 0: done, the generator keeps up;
// 2: bad usage, no target, a refused command, or a generator that lags (said on standard error).
#include "CliCommand.h"
#include "CliOptions.h"
#include "CliTarget.h"

#include "DataGen.h"
#include "StatusText.h"
#include "TargetConnection.h"

#include <cstdio>
#include <string>

namespace
{
constexpr int kOk = 0;
constexpr int kFailed = 2;

const char* const kStartUsage =
    "traffic start --dest ID [--generator ID --control ADDR] [--kind swrite|nwrite|nwrite_r|nread|doorbell|"
    "message] [--size N] [--address ADDR] [--buffer N] [--priority 0|1|2] [--rate N | --profile "
    "SECS:RATE,... "
    "[--repeat]]";
const char* const kStatusUsage = "traffic status|stop [--generator ID]";
const char* const kCheckUsage = "traffic check --generator ID --control ADDR";

int Fail(const QString& strText)
{
    std::fprintf(stderr, "%s\n", strText.toLocal8Bit().constData());
    return kFailed;
}

bool KindFromText(const std::string& strText, uint32_t* pulKind)
{
    const QString strKind = QString::fromStdString(strText).toUpper();
    for (uint32_t ulKind : {0u, 1u, 2u, 3u, 10u, 11u})
    {
        if (DataGenKindName(ulKind).toUpper() == strKind)
        {
            *pulKind = ulKind;
            return true;
        }
    }
    return false;
}

// --generator and --control: which generator the command is for. Empty text when they are good.
QString ReadGenerator(const CCliOptions& options, bool bNeedControl, SDataGenSettings* pSettings)
{
    pSettings->bLarge = CliGlobals().bLarge;
    if (!options.Has("--generator"))
    {
        pSettings->wRemoteDestID = kLocalDataGen;
        return QString();
    }
    uint16_t wGenerator = 0;
    QString strError =
        CheckDataGenDestID(QString::fromStdString(options.Value("--generator")), true, &wGenerator);
    if (!strError.isEmpty())
        return strError;
    pSettings->wRemoteDestID = wGenerator;
    if (bNeedControl || options.Has("--control"))
        return CheckDataGenControl(QString::fromStdString(options.Value("--control")),
                                   &pSettings->ulControlAddress);
    return QString();
}

// "SECS:RATE,SECS:RATE": a rate profile with the checks of the profile editor.
QString ReadProfile(const std::string& strText, CDataGenProfile* pProfile)
{
    const QStringList pairs = QString::fromStdString(strText).split(QLatin1Char(','));
    for (const QString& strPair : pairs)
    {
        const QStringList parts = strPair.split(QLatin1Char(':'));
        if (parts.size() != 2)
            return QStringLiteral("Invalid duration.  Please re-enter.");
        const QString strError = pProfile->Add(parts[0], parts[1]);
        if (!strError.isEmpty())
            return strError;
    }
    return QString();
}

int RunStart(const SCliInvocation& invocation)
{
    const CCliOptions options(invocation.args,
                              {"--dest", "--generator", "--control", "--kind", "--size", "--address",
                               "--buffer", "--priority", "--rate", "--profile"},
                              {"--repeat"});
    if (!options.Ok() || !options.Positional().empty() || (options.Has("--rate") && options.Has("--profile")))
        return CliUsage(kStartUsage);
    CDataGenerator generator;
    SDataGenSettings& settings = generator.Settings();
    QString strError = ReadGenerator(options, true, &settings);
    if (strError.isEmpty())
        strError = CheckDataGenDestID(QString::fromStdString(options.Value("--dest")), settings.bLarge,
                                      &settings.wDestID);
    if (strError.isEmpty() && options.Has("--address"))
        strError = CheckDataGenDestAddress(QString::fromStdString(options.Value("--address")),
                                           &settings.ullDestAddress);
    if (strError.isEmpty() && options.Has("--buffer"))
        strError =
            CheckDataGenDestSize(QString::fromStdString(options.Value("--buffer")), &settings.ulDestSize);
    if (!strError.isEmpty())
        return Fail(strError);
    if (options.Has("--kind") && !KindFromText(options.Value("--kind"), &settings.eKind))
        return CliUsage(kStartUsage);
    uint64_t ullValue = settings.ulTransferSize;
    if (!options.Number("--size", 0xFFFFFFFFu, &ullValue))
        return kFailed;
    settings.ulTransferSize = static_cast<uint32_t>(ullValue);
    ullValue = 0;
    if (!options.Number("--priority", 2, &ullValue))
        return kFailed;
    settings.ulPriority = static_cast<uint32_t>(ullValue);
    if (options.Has("--profile"))
    {
        CDataGenProfile profile;
        strError = ReadProfile(options.Value("--profile"), &profile);
        if (!strError.isEmpty())
            return Fail(strError);
        settings.bFixed = false;
        settings.steps = profile.Steps();
        settings.bRepeat = options.Has("--repeat");
    }
    else if (options.Has("--rate"))
    {
        ullValue = 0;
        if (!options.Number("--rate", UINT64_MAX, &ullValue))
            return kFailed;
        if (ullValue < 1 || ullValue > kDataGenMaxRate)
            return Fail(QStringLiteral("Transfer rate must be between 1 and %1.").arg(kDataGenMaxRate));
        settings.ulRate = static_cast<uint32_t>(ullValue);
    }
    CliConnection connection = OpenCliTarget();
    if (!connection)
        return kFailed;
    if (!generator.Start(&strError))
        return Fail(strError);
    std::printf("Traffic generator started: %s to destination ID %u (%Xh), ",
                DataGenKindName(settings.eKind).toLocal8Bit().constData(), settings.wDestID,
                settings.wDestID);
    if (settings.bFixed)
        std::printf("%s %u\n", DataGenRateTitle(settings.eKind).toLocal8Bit().constData(), settings.ulRate);
    else
        std::printf("%zu steps%s\n", settings.steps.size(), settings.bRepeat ? ", repeated" : "");
    return kOk;
}

int RunStatusOrStop(const SCliInvocation& invocation, bool bStop)
{
    const CCliOptions options(invocation.args, {"--generator", "--control"}, {});
    if (!options.Ok() || !options.Positional().empty())
        return CliUsage(kStatusUsage);
    CDataGenerator generator;
    const QString strError = ReadGenerator(options, false, &generator.Settings());
    if (!strError.isEmpty())
        return Fail(strError);
    CliConnection connection = OpenCliTarget();
    if (!connection)
        return kFailed;
    const SDataGenReply reply = generator.SendCommand(bStop ? eDataGenStop : eDataGenStatus);
    if (reply.nStatus != 0)
    {
        return Fail(bStop ? QStringLiteral("Unable to send command to server.\nError %1\n%2")
                                .arg(reply.nStatus)
                                .arg(RioErrorText(reply.nStatus))
                          : QStringLiteral("Traffic Generator Error.\n\n") + RioErrorText(reply.nStatus));
    }
    if (bStop)
    {
        std::printf("Traffic generator stopped\n");
        return kOk;
    }
    std::printf("%s, step %u\n", reply.bFinished ? "Finished" : "Running", reply.ulCurrentStep);
    if (reply.bLagging)
        return Fail(QStringLiteral("Lagging"));
    return kOk;
}

int RunStatus(const SCliInvocation& invocation)
{
    return RunStatusOrStop(invocation, false);
}

int RunStop(const SCliInvocation& invocation)
{
    return RunStatusOrStop(invocation, true);
}

int RunCheck(const SCliInvocation& invocation)
{
    const CCliOptions options(invocation.args, {"--generator", "--control"}, {});
    if (!options.Ok() || !options.Positional().empty() || !options.Has("--generator"))
        return CliUsage(kCheckUsage);
    CDataGenerator generator;
    QString strError = ReadGenerator(options, true, &generator.Settings());
    if (!strError.isEmpty())
        return Fail(strError);
    CliConnection connection = OpenCliTarget();
    if (!connection)
        return kFailed;
    if (!generator.CheckControl(&strError))
        return Fail(strError);
    std::printf("Control structure address appears to be valid.\n");
    return kOk;
}
} // namespace

extern const SCliCommand g_aTrafficCommands[] = {
    {"traffic start", kStartUsage + 14, RunStart},
    {"traffic status", "[--generator ID]", RunStatus},
    {"traffic stop", "[--generator ID]", RunStop},
    {"traffic check", "--generator ID --control ADDR", RunCheck},
    {nullptr, nullptr, nullptr},
};

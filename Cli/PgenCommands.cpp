// norvanta-cli pgen send: the packet generator of an IDT Gen2 switch, driven as its window drives
// it. Each packet of a packet file is sent in turn through the switch's packet generation and
// capture registers from the start port, and what comes back at the end port is reported: a
// response (printed in the packet list's form), a copy of the packet, or a time-out. Exit status
// 0: every packet went and every expected answer came; 1: a send failed or a check refused it
// (the program's message on standard error; later packets are not sent); 2: bad usage, map, node
// or file; 3: at least one packet that expects a response timed out waiting for reception (the
// others were still sent). The end port is polled for every packet, so a packet without a response
// (NWRITE, SWRITE, port-write) shows "Timeout waiting for packet reception." unless something else
// arrives there, and counts as sent.
#include "CliCommand.h"
#include "CliMap.h"
#include "CliOptions.h"

#include "NetworkDocument.h"
#include "NpfFile.h"
#include "PacketGenerator.h"
#include "PacketText.h"
#include "RIOPacket.h"
#include "UserInterface.h"

#include <cstdio>
#include <vector>

namespace
{
const char* const kUsage = "pgen send MAP NODE FILE.npf [--start P --end Q --flow F --scenario S --test T]";
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr int kExitTimedOut = 3;

// Prints the program's messages as they come: errors on standard error, the rest on standard
// output; questions are answered No.
class CPrintingInterface final : public IUserInterface
{
public:
    CPrintingInterface() : m_pPrevious(&UI()) { SetUserInterface(this); }
    ~CPrintingInterface() override { SetUserInterface(m_pPrevious); }
    CPrintingInterface(const CPrintingInterface&) = delete;
    CPrintingInterface& operator=(const CPrintingInterface&) = delete;

    void ShowMessage(const QString& strText, const QString&, EMessageKind eKind) override
    {
        std::FILE* pOut = eKind == EMessageKind::Error ? stderr : stdout;
        for (const QString& strLine : strText.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
            std::fprintf(pOut, "%s\n", qPrintable(strLine));
        std::fflush(pOut);
    }
    int Ask(const QString&, const QString&, bool) override { return eAnswerNo; }
    void Beep() override {}
    void SetBusy(bool) override {}

private:
    IUserInterface* m_pPrevious;
};

int Fail(const QString& strText)
{
    std::fprintf(stderr, "pgen: %s\n", qPrintable(strText));
    return kExitUsage;
}
} // namespace

int RunPgenSend(const SCliInvocation& invocation)
{
    const CCliOptions options(invocation.args, {"--start", "--end", "--flow", "--scenario", "--test"}, {});
    if (!options.Ok() || options.Positional().size() != 3)
    {
        if (!options.Ok())
            std::fprintf(stderr, "pgen: %s\n", options.Error().c_str());
        return CliUsage(kUsage);
    }
    uint64_t ulNode = 0;
    uint64_t ulStart = 0xFFFF;
    uint64_t ulEnd = 0xFFFF;
    uint64_t ulFlow = 0xFFFF; // none chosen: the window's check says so
    uint64_t ulScenario = 1;
    uint64_t ulTest = 0xFFFF;
    if (!CliNumber(options.Positional()[1], 0xFFFFu, &ulNode) || !options.Number("--start", 17, &ulStart) ||
        !options.Number("--end", 17, &ulEnd) || !options.Number("--flow", 7, &ulFlow) ||
        !options.Number("--scenario", 2, &ulScenario) || !options.Number("--test", 17, &ulTest))
    {
        return kExitUsage;
    }
    if (ulNode == 0 || ulScenario == 0)
        return Fail(QStringLiteral("NODE and --scenario count from 1"));

    CPrintingInterface printer;
    CNetworkDocument map;
    const std::string& strMap = options.Positional()[0];
    if (!LoadCommandMap(strMap, map))
        return Fail(QStringLiteral("Unable to read the map %1").arg(QString::fromStdString(strMap)));
    QString strNodeError;
    const CPEPrimitive* pPE = Gen2ToolSwitchNode(map, ulNode, QStringLiteral("packet generator"), &strNodeError);
    if (!pPE)
        return Fail(strNodeError);
    const auto chosen = [&](uint64_t ulValue) { return ulValue == 0xFFFF ? -1 : static_cast<int>(ulValue); };
    const int nPorts = pPE->iNumLocalPorts > 0 ? pPE->iNumLocalPorts : 18;
    for (uint64_t ulPort : {ulStart, ulEnd, ulTest})
    {
        if (ulPort != 0xFFFF && static_cast<int>(ulPort) >= nPorts)
            return Fail(QStringLiteral("Port %1 is not a port of node %2: Port 0 to Port %3")
                            .arg(ulPort)
                            .arg(ulNode)
                            .arg(nPorts - 1));
    }

    QStringList lines;
    QString strError;
    const QString strFile = QString::fromStdString(options.Positional()[2]);
    if (!ReadNpfFile(strFile, &lines, &strError))
        return Fail(strError);
    if (lines.isEmpty())
        return Fail(QStringLiteral("%1 holds no packet").arg(strFile));

    CliConnection connection = OpenMapTarget(map);
    if (!connection)
        return kExitUsage;
    CTargetGen2Access access(map, pPE->iNodeNumber);
    CPacketGenerator generator(access);
    generator.SetAutoCRC(false); // the file's CRCs go out as they are
    SPacketGenSettings& settings = generator.Settings();
    settings.nScenario = static_cast<int>(ulScenario);
    settings.nFlow = chosen(ulFlow);
    settings.nStartPort = chosen(ulStart);
    settings.nEndPort = chosen(ulEnd);
    settings.nTestPort = chosen(ulTest);

    int nExit = 0;
    for (int i = 0; i < lines.size(); ++i)
    {
        const std::vector<uint8_t> bytes = ParsePacketListLine(lines[i]);
        std::printf("Packet %d: %s\n", i + 1, qPrintable(PacketListString(bytes)));
        std::fflush(stdout);
        CRIOPacket packet;
        if (!LoadPacketLine(packet, bytes))
        {
            std::printf("Note: no layout of FType %u is %zu bytes long; sent as laid out: %s\n",
                        packet.GetFType(), bytes.size(), qPrintable(PacketStreamLine(packet)));
        }
        // Each packet is sent as a new one, as after "Add to Packet List".
        generator.List().SetCurrentPacketID(-1);
        const EPgcResult eResult = generator.Send(&packet);
        if (eResult == EPgcResult::Failed)
            return kExitFailed;
        if (eResult == EPgcResult::TimedOut)
        {
            // The wait runs for every packet; only one that expects a response misses it.
            if (packet.ExpectsResponse())
                nExit = kExitTimedOut;
            else
                std::printf("Sent, no response expected.\n");
            std::fflush(stdout);
            continue;
        }
        if (eResult == EPgcResult::Sent)
        {
            std::printf("Sent, no response expected.\n");
        }
        else if (!generator.LastWasCopy())
        {
            std::vector<uint8_t> response;
            const auto& capture = generator.LastCapture();
            if (MeasureCapturedPacket(capture.data(), kPgcCaptureBytes, &response))
            {
                std::printf("Response: %s\n", qPrintable(PacketListString(response)));
                CRIOPacket decoded;
                LoadPacketLine(decoded, response);
                for (const QString& strLine : PacketFieldLines(decoded))
                    std::printf("  %s\n", qPrintable(strLine));
            }
            else
            {
                std::printf("Response (no layout's CRC checks): %s\n",
                            qPrintable(generator.List().Texts().last()));
            }
        }
        std::fflush(stdout);
    }
    return nExit;
}

extern const SCliCommand g_aPgenCommands[] = {
    {"pgen send", "MAP NODE FILE.npf [--start P --end Q --flow F --scenario S --test T]", RunPgenSend},
    {nullptr, nullptr, nullptr},
};

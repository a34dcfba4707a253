// norvanta-cli trace run: the trace and filter tool of an IDT Gen2 switch for a number of seconds.
// Comparator N takes the first packet of a packet file as its compare value; its mask is the
// file's second line when there is one, else all ones over the packet's first 20 bytes (or all
// of a shorter one) except the ackID bits, so that the packet matches however its ackID runs.
// Its Trace check (default) or Filter check (--filter; --trace as well for both) is set on the
// listed ports; the tool plays, ticks once a second printing the running totals, stops, and
// clears the comparators' enables on every port (Stop alone leaves a filter dropping packets).
// With --pcap the trace port's copies are caught by its packet capture for the run and written to
// a pcap file. Exit status 0: done; 1: the switch refused (the program's message on standard
// error); 2: bad usage, map, node or file.
#include "CliCommand.h"
#include "CliMap.h"
#include "CliOptions.h"

#include "NetworkDocument.h"
#include "NpfFile.h"
#include "PacketGenerator.h"
#include "PacketText.h"
#include "PacketTrace.h"
#include "PacketTraceCapture.h"
#include "PcapFile.h"
#include "UserInterface.h"

#include <QDateTime>

#include <chrono>
#include <cstdio>
#include <thread>

namespace
{
const char* const kUsage =
    "trace run MAP NODE --comparator N=FILE.npf --ports LIST --seconds S [--pcap FILE] "
    "[--filter] [--trace] [--trace-port P]";
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

// Collects the program's messages, so the command can tell a refusal from success.
class CTraceInterface final : public IUserInterface
{
public:
    CTraceInterface() : m_pPrevious(&UI()) { SetUserInterface(this); }
    ~CTraceInterface() override { SetUserInterface(m_pPrevious); }
    CTraceInterface(const CTraceInterface&) = delete;
    CTraceInterface& operator=(const CTraceInterface&) = delete;

    void ShowMessage(const QString& strText, const QString&, EMessageKind) override { messages << strText; }
    // A performance monitor of this process can't hold a counter; No lets the start go on.
    int Ask(const QString&, const QString&, bool) override { return eAnswerNo; }
    void Beep() override { ++nBeeps; }
    void SetBusy(bool) override {}

    QStringList messages;
    int nBeeps = 0;

private:
    IUserInterface* m_pPrevious;
};

int Fail(const QString& strText, int nExit = kExitUsage)
{
    for (const QString& strLine : strText.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        std::fprintf(stderr, "trace: %s\n", qPrintable(strLine));
    return nExit;
}

// "1,2,5-7".
bool ParsePorts(const std::string& strText, int nPorts, std::vector<int>* pPorts)
{
    for (const QString& strPart : QString::fromStdString(strText).split(QLatin1Char(','), Qt::SkipEmptyParts))
    {
        const QStringList range = strPart.split(QLatin1Char('-'));
        uint64_t ulFirst = 0;
        uint64_t ulLast = 0;
        if (range.size() > 2 ||
            !CliNumber(range[0].trimmed().toStdString(), static_cast<uint64_t>(nPorts - 1), &ulFirst) ||
            !CliNumber(range.last().trimmed().toStdString(), static_cast<uint64_t>(nPorts - 1), &ulLast) ||
            ulLast < ulFirst)
        {
            return false;
        }
        for (uint64_t p = ulFirst; p <= ulLast; ++p)
            pPorts->push_back(static_cast<int>(p));
    }
    return !pPorts->empty();
}
} // namespace

int RunTrace(const SCliInvocation& invocation)
{
    const CCliOptions options(invocation.args,
                              {"--comparator", "--ports", "--seconds", "--pcap", "--trace-port"},
                              {"--filter", "--trace"});
    if (!options.Ok() || options.Positional().size() != 2 || !options.Has("--comparator") ||
        !options.Has("--ports") || !options.Has("--seconds"))
    {
        if (!options.Ok())
            std::fprintf(stderr, "trace: %s\n", options.Error().c_str());
        return CliUsage(kUsage);
    }
    uint64_t ulNode = 0;
    uint64_t ulSeconds = 0;
    uint64_t ulTracePort = 0xFFFF;
    if (!CliNumber(options.Positional()[1], 0xFFFFu, &ulNode) ||
        !options.Number("--seconds", 86400, &ulSeconds) || !options.Number("--trace-port", 17, &ulTracePort))
    {
        return kExitUsage;
    }
    if (ulNode == 0)
        return Fail(QStringLiteral("NODE counts from 1"));
    const QString strComparator = QString::fromStdString(options.Value("--comparator"));
    const qsizetype nEquals = strComparator.indexOf(QLatin1Char('='));
    uint64_t ulComparator = 0;
    if (nEquals <= 0 || !CliNumber(strComparator.left(nEquals).toStdString(), 4, &ulComparator) ||
        ulComparator == 0)
        return Fail(QStringLiteral("--comparator takes N=FILE.npf with N from 1 to 4"));
    const int c = static_cast<int>(ulComparator) - 1;

    CTraceInterface messages;
    CNetworkDocument map;
    const std::string& strMap = options.Positional()[0];
    if (!LoadCommandMap(strMap, map))
        return Fail(QStringLiteral("Unable to read the map %1").arg(QString::fromStdString(strMap)));
    QString strNodeError;
    const CPEPrimitive* pPE =
        Gen2ToolSwitchNode(map, ulNode, QStringLiteral("trace and filter comparators"), &strNodeError);
    if (!pPE)
        return Fail(strNodeError);
    const int nPorts =
        pPE->iNumLocalPorts > 0 ? std::min(pPE->iNumLocalPorts, kTraceMaxPorts) : kTraceMaxPorts;
    std::vector<int> ports;
    if (!ParsePorts(options.Value("--ports"), nPorts, &ports))
        return Fail(
            QStringLiteral("--ports takes a list of ports from 0 to %1, such as 1,2,5-7").arg(nPorts - 1));

    // The comparator's template.
    QStringList lines;
    QString strError;
    const QString strFile = strComparator.mid(nEquals + 1);
    if (!ReadNpfFile(strFile, &lines, &strError))
        return Fail(strError);
    const std::vector<uint8_t> compare =
        lines.isEmpty() ? std::vector<uint8_t>() : ParsePacketListLine(lines[0]);
    if (compare.empty())
        return Fail(QStringLiteral("%1 holds no packet").arg(strFile));
    std::vector<uint8_t> mask;
    if (lines.size() > 1)
    {
        mask = ParsePacketListLine(lines[1]);
        mask.resize(compare.size(), 0);
    }
    else
    {
        mask.assign(compare.size(), 0);
        for (size_t i = 0; i < compare.size() && i < static_cast<size_t>(kTraceCompareBytes); ++i)
            mask[i] = 0xFF;
        mask[0] = 0x03; // the six ackID bits differ link by link
    }

    CliConnection connection = OpenMapTarget(map);
    if (!connection)
        return kExitUsage;
    CTargetGen2Access access(map, pPE->iNodeNumber);
    CPacketTrace trace(access, pPE->iNodeNumber);
    trace.Open();
    if (!messages.messages.isEmpty())
        return Fail(messages.messages.join(QLatin1Char('\n')), kExitFailed);
    if (ulTracePort != 0xFFFF)
    {
        if (!trace.PortUsable(static_cast<int>(ulTracePort)))
            return Fail(
                QStringLiteral("Port %1 is not trained: it can't be the trace port").arg(ulTracePort));
        trace.SetTracePort(static_cast<int>(ulTracePort));
    }
    for (int p : ports)
    {
        if (!trace.PortUsable(p))
            return Fail(QStringLiteral("Port %1 is not trained").arg(p));
    }
    trace.SetComparator(c, compare.data(), mask.data(), static_cast<int>(compare.size()));
    trace.SetComparatorEnabled(c, true);
    const bool bFilter = options.Has("--filter");
    const bool bTrace = options.Has("--trace") || !bFilter;
    for (int p : ports)
    {
        trace.SetCheck(c, p, bTrace);
        trace.SetCheck(kTraceComparators + c, p, bFilter);
    }

    CTraceCapture capture(access);
    CPcapWriter pcap;
    const bool bPcap = options.Has("--pcap");
    if (bPcap)
    {
        if (!pcap.Open(QString::fromStdString(options.Value("--pcap")), &strError))
            return Fail(strError);
        if (!capture.Begin(trace.TracePort(), &strError))
            return Fail(strError, kExitFailed);
    }
    int nUnmeasured = 0;
    const auto drain = [&]() -> bool
    {
        return capture.Drain(
            [&](const uint8_t* pBytes, uint32_t nBytes)
            {
                std::vector<uint8_t> packet;
                if (!MeasureCapturedPacket(pBytes, nBytes, &packet))
                {
                    // Kept whole rather than lost: the record then holds the capture's 300 bytes.
                    packet.assign(pBytes, pBytes + nBytes);
                    ++nUnmeasured;
                }
                pcap.Write(packet.data(), static_cast<uint32_t>(packet.size()),
                           static_cast<uint64_t>(QDateTime::currentMSecsSinceEpoch()) * 1000u);
            },
            &strError);
    };

    std::printf("Trace/Filter on node %llu, comparator %d, %s on port%s %s, trace port %d\n",
                static_cast<unsigned long long>(ulNode), c + 1,
                bTrace && bFilter ? "trace and filter"
                : bFilter         ? "filter"
                                  : "trace",
                ports.size() > 1 ? "s" : "", qPrintable(QString::fromStdString(options.Value("--ports"))),
                trace.TracePort());
    trace.Play();
    int nExit = 0;
    if (trace.RunState() != eTraceRunning)
    {
        nExit = Fail(messages.messages.join(QLatin1Char('\n')), kExitFailed);
    }
    else
    {
        for (uint64_t s = 1; s <= ulSeconds; ++s)
        {
            std::this_thread::sleep_for(std::chrono::seconds(1));
            const int nBeeps = messages.nBeeps;
            trace.Tick();
            if (bPcap && !drain())
            {
                nExit = Fail(strError, kExitFailed);
                break;
            }
            QStringList totals;
            for (int p : ports)
            {
                for (int r : {c, kTraceComparators + c})
                {
                    if (trace.CounterEnabled(r, p))
                        totals << QStringLiteral("Port %1 %2=%3")
                                      .arg(p)
                                      .arg(TraceRowName(r))
                                      .arg(trace.Total(r, p));
                }
            }
            std::printf("Second %llu: %s%s\n", static_cast<unsigned long long>(s),
                        qPrintable(totals.join(QStringLiteral(", "))),
                        messages.nBeeps != nBeeps ? " (the counters could not be read)" : "");
            std::fflush(stdout);
        }
        trace.Stop();
        if (trace.RunState() != eTraceStopped && nExit == 0)
            nExit = Fail(messages.messages.join(QLatin1Char('\n')), kExitFailed);
    }
    // Stop turns the trace off but the ports keep their comparators armed, and a filter would go on
    // dropping packets after the command: the enables are cleared (also after a start that failed
    // half way, whose first ports stay armed).
    messages.messages.clear();
    if (!trace.Disarm() && nExit == 0)
        nExit = Fail(messages.messages.join(QLatin1Char('\n')), kExitFailed);
    if (bPcap)
    {
        // What the last second traced, before the port goes back to normal.
        if (nExit == 0 && !drain())
            nExit = Fail(strError, kExitFailed);
        if (!capture.End(&strError) && nExit == 0)
            nExit = Fail(strError, kExitFailed);
        if (!pcap.Close(&strError))
            return Fail(strError, kExitFailed);
        std::printf("Captured %d packet%s to %s\n", pcap.Records(), pcap.Records() == 1 ? "" : "s",
                    options.Value("--pcap").c_str());
        if (nUnmeasured > 0)
            std::printf(
                "%d of them could not be laid out by any packet class: written with all 300 bytes read\n",
                nUnmeasured);
    }
    return nExit;
}

extern const SCliCommand g_aTraceCommands[] = {
    {"trace run",
     "MAP NODE --comparator N=FILE.npf --ports LIST --seconds S [--pcap FILE] [--filter] [--trace] "
     "[--trace-port P]",
     RunTrace},
    {nullptr, nullptr, nullptr},
};

// norvanta-sim: serves a simulated RapidIO fabric, described by a topology file, to the client
// over TCP and UDP, and answers broadcast searches, until SIGINT or SIGTERM.
#include "nvsim/Faults.h"
#include "nvsim/SerialServer.h"
#include "nvsim/Server.h"
#include "nvsim/Topology.h"

#include "TextUtil.h"

#include <csignal>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <signal.h>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace
{
constexpr const char* kUsage =
    "usage: norvanta-sim [--bind ADDR] [--tcp-port N] [--udp-port N] [--broadcast-port N]\n"
    "                    [--reply-port N] [--no-udp] [--no-broadcast] [--fault SPEC]...\n"
    "                    [--route-journal FILE] [--pcap FILE] [--serial [--serial-fault SPEC]]\n"
    "                    [--verbose] TOPOLOGY\n"
    "Ports default to 15000 (TCP and UDP), 15001 (broadcast) and 15002 (broadcast replies);\n"
    "port 0 takes any free port. --bind (default 127.0.0.1) is the address of every socket;\n"
    "searches are heard there and at the broadcast address of its network, and 0.0.0.0\n"
    "serves every address (and hears searches sent to 255.255.255.255).\n"
    "Once the sockets are bound it prints\n"
    "  norvanta-sim ready tcp=PORT udp=PORT broadcast=PORT\n"
    "and, with --serial, \" serial=PATH\" at its end: a pseudo-terminal that serves the same\n"
    "fabric to a client's RS232 link (framing in docs/serial-framing.md). --serial-fault drop=N\n"
    "loses the next reply's line byte N, pieces=N/MS sends every reply in pieces of N bytes MS ms\n"
    "apart.\n"
    "and serves until SIGINT or SIGTERM. --route-journal writes the routing table changes\n"
    "made while serving to FILE when it stops. --pcap writes every packet that crosses a link to\n"
    "FILE as it goes (pcap, link-layer type 147: RapidIO packets as on the link). While it runs it takes "
    "commands on standard input,\n"
    "one a line (\"help\" lists them), to change faults and look at the counters. Fault specs and\n"
    "the topology format are described in Simulator/README.md.\n";

constexpr const char* kControlHelp =
    "commands: fault SPEC | faults clear | serial drop=N|pieces=N/MS|clear | counters DEVICE PORT | "
    "generators | help";

// One line of the control on standard input; the answer is one line.
std::string Control(const std::string& strLine, nvsim::CSimFabric& fabric, nvsim::CSimServer& server,
                    nvsim::CSimSerialServer* pSerial)
{
    std::istringstream words(strLine);
    std::string strCommand, strArg;
    words >> strCommand;
    if (strCommand.empty())
        return "";
    if (strCommand == "help")
        return kControlHelp;
    if (strCommand == "fault" && words >> strArg)
    {
        std::string strError;
        return nvsim::ApplyFaultSpec(strArg, fabric, server.Faults(), &strError) ? "ok"
                                                                                 : "error: " + strError;
    }
    if (strCommand == "serial" && words >> strArg)
    {
        if (!pSerial)
            return "error: no serial line (start with --serial)";
        std::string strError;
        return nvsim::ApplySerialFaultSpec(strArg, *pSerial, &strError) ? "ok" : "error: " + strError;
    }
    if (strCommand == "faults" && words >> strArg && strArg == "clear")
    {
        server.Faults().Clear();
        for (nvsim::CSimLink* pLink : fabric.Links())
            pLink->ClearFaults();
        return "ok";
    }
    if (strCommand == "counters" && words >> strArg)
    {
        unsigned uPort = 0;
        nvsim::CSimDevice* pDevice = fabric.FindDevice(strArg);
        if (!pDevice || !(words >> uPort) || uPort >= pDevice->PortCount())
            return "error: counters needs a device and one of its ports";
        const nvsim::SPortCounters c = pDevice->Counters(static_cast<uint8_t>(uPort));
        using nvsim::ELinkEvent;
        std::ostringstream out;
        out << "tx " << c.TxPackets() << " rx " << c.RxPackets() << " txbytes " << c.ullTxPayloadBytes
            << " rxbytes " << c.ullRxPayloadBytes << " crc " << c.Events(ELinkEvent::CrcError) << " retries "
            << c.Events(ELinkEvent::RetrySent) << " nacks " << c.Events(ELinkEvent::NackSent) << " dropped "
            << c.Events(ELinkEvent::DroppedRx) + c.Events(ELinkEvent::DroppedTx);
        return out.str();
    }
    if (strCommand == "generators")
        return std::string("local ") + (server.Generators().Running(0xFFFF) ? "running" : "idle") + " sent " +
               std::to_string(server.Generators().Sent(0xFFFF));
    return std::string("error: unknown command; ") + kControlHelp;
}

int Usage(const std::string& strProblem)
{
    std::cerr << "norvanta-sim: " << strProblem << "\n" << kUsage;
    return 2;
}

bool Port(const std::string& strText, uint16_t* pwPort)
{
    uint64_t ullPort = 0;
    if (!nvsim::text::ParseUnsigned(strText, 65535, &ullPort))
        return false;
    *pwPort = static_cast<uint16_t>(ullPort);
    return true;
}
} // namespace

int main(int argc, char** argv)
{
    nvsim::SServerOptions options;
    std::vector<std::string> faults;
    std::string strTopology;
    bool bVerbose = false;
    std::string strJournal;
    std::string strPcap;
    bool bSerial = false;
    std::vector<std::string> serialFaults;

    const std::vector<std::string> args(argv + 1, argv + argc);
    for (size_t i = 0; i < args.size(); ++i)
    {
        const std::string& strArg = args[i];
        auto value = [&](std::string* pValue)
        {
            if (i + 1 >= args.size())
                return false;
            *pValue = args[++i];
            return true;
        };
        std::string strValue;
        if (strArg == "--help" || strArg == "-h")
        {
            std::cout << kUsage;
            return 0;
        }
        if (strArg == "--bind")
        {
            if (!value(&options.strBindAddress))
                return Usage("--bind needs an address");
        }
        else if (strArg == "--tcp-port" || strArg == "--udp-port" || strArg == "--broadcast-port" ||
                 strArg == "--reply-port")
        {
            uint16_t* pwPort = strArg == "--tcp-port"         ? &options.wTcpPort
                               : strArg == "--udp-port"       ? &options.wUdpPort
                               : strArg == "--broadcast-port" ? &options.wBroadcastPort
                                                              : &options.wReplyPort;
            if (!value(&strValue) || !Port(strValue, pwPort))
                return Usage(strArg + " needs a port number from 0 to 65535");
        }
        else if (strArg == "--no-udp")
            options.bUdp = false;
        else if (strArg == "--no-broadcast")
            options.bBroadcast = false;
        else if (strArg == "--fault")
        {
            if (!value(&strValue))
                return Usage("--fault needs a fault spec");
            faults.push_back(strValue);
        }
        else if (strArg == "--route-journal")
        {
            if (!value(&strJournal))
                return Usage("--route-journal needs a file name");
        }
        else if (strArg == "--pcap")
        {
            if (!value(&strPcap))
                return Usage("--pcap needs a file name");
        }
        else if (strArg == "--serial")
            bSerial = true;
        else if (strArg == "--serial-fault")
        {
            if (!value(&strValue))
                return Usage("--serial-fault needs a fault spec");
            serialFaults.push_back(strValue);
        }
        else if (strArg == "--verbose")
            bVerbose = true;
        else if (!strArg.empty() && strArg[0] == '-')
            return Usage("unknown option " + strArg);
        else if (!strTopology.empty())
            return Usage("one topology file only");
        else
            strTopology = strArg;
    }
    if (strTopology.empty())
        return Usage("no topology file given");

    std::string strError;
    std::unique_ptr<nvsim::CSimFabric> pFabric = nvsim::LoadTopologyFile(strTopology, &strError);
    if (!pFabric)
    {
        std::cerr << "norvanta-sim: " << strError << "\n";
        return 1;
    }
    pFabric->RouteJournal().Enable(!strJournal.empty());
    if (!strPcap.empty() && !pFabric->StartPcap(strPcap, &strError))
    {
        std::cerr << "norvanta-sim: " << strError << "\n";
        return 1;
    }
    if (bVerbose)
        options.fnLog = [](const std::string& strLine) { std::cerr << "norvanta-sim: " + strLine + "\n"; };

    nvsim::CSimServer server(*pFabric, options);
    for (const std::string& strFault : faults)
    {
        if (!nvsim::ApplyFaultSpec(strFault, *pFabric, server.Faults(), &strError))
        {
            std::cerr << "norvanta-sim: " << strError << "\n";
            return 1;
        }
    }

    // SIGINT and SIGTERM are taken by sigwait below; blocked before the server thread starts,
    // they reach no other thread.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    if (!serialFaults.empty() && !bSerial)
        return Usage("--serial-fault needs --serial");
    std::unique_ptr<nvsim::CSimSerialServer> pSerial;
    if (bSerial)
    {
        pSerial = std::make_unique<nvsim::CSimSerialServer>(*pFabric, options.fnLog);
        for (const std::string& strFault : serialFaults)
        {
            if (!nvsim::ApplySerialFaultSpec(strFault, *pSerial, &strError))
                return Usage(strError);
        }
        if (!pSerial->Start(&strError))
        {
            std::cerr << "norvanta-sim: " << strError << "\n";
            return 1;
        }
    }
    if (!server.Start(&strError))
    {
        std::cerr << "norvanta-sim: " << strError << "\n";
        return 1;
    }
    std::printf("norvanta-sim ready tcp=%u udp=%u broadcast=%u%s\n", server.TcpPort(), server.UdpPort(),
                server.BroadcastPort(), pSerial ? (" serial=" + pSerial->DevicePath()).c_str() : "");
    std::fflush(stdout);
    if (bVerbose && options.bBroadcast)
    {
        std::string strWhere;
        for (const std::string& strSocket : server.Stats().searchSockets)
            strWhere += (strWhere.empty() ? "" : " and ") + strSocket;
        std::cerr << "norvanta-sim: searches heard on " << strWhere << "\n";
    }

    // The control: commands on standard input until it ends (a closed or empty input leaves the
    // server running as before).
    std::thread(
        [&pFabric, &server, &pSerial]
        {
            std::string strLine;
            while (std::getline(std::cin, strLine))
            {
                const std::string strAnswer = Control(strLine, *pFabric, server, pSerial.get());
                if (!strAnswer.empty())
                {
                    std::printf("%s\n", strAnswer.c_str());
                    std::fflush(stdout);
                }
            }
        })
        .detach();

    int nSignal = 0;
    sigwait(&signals, &nSignal);
    if (bVerbose)
        std::cerr << "norvanta-sim: signal " << nSignal << ", stopping\n";
    server.Stop();
    if (pSerial)
        pSerial->Stop();
    pFabric->StopPcap();
    if (!strJournal.empty())
    {
        std::ofstream journal(strJournal);
        journal << pFabric->RouteJournal().Text();
        if (!journal.flush())
        {
            std::cerr << "norvanta-sim: cannot write the route journal to " << strJournal << "\n";
            return 1;
        }
    }
    return 0;
}

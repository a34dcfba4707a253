// Map file speed, each time next to libxml2's parse of the same file in the same run:
//  1. `map check` on a map of 5000 PEs and 10000 connections (9 MB): reading the file into a
//     document and checking it, as a ratio to libxml2 building its tree of the file (target x3).
//  2. A map of a 1005-PE fabric whose 59 switches hold a table per port of every ID (about
//     55 MB): load, the listing of `map show`, and save, each in seconds (target 3 s).
// Rounds alternate between baseline and subject so that the machine's noise falls on both alike;
// medians are shown, of wall-clock time and of process CPU time. The ratio is taken on CPU time,
// since on a shared machine wall-clock time also counts waiting for a core.
//
// "nv-bench-mapfile --keep DIR" also leaves the two maps in DIR, for the command line and profilers.
#include "MapListing.h"
#include "NetworkDocument.h"
#include "NetworkMap.h"
#include "UserInterface.h"

#include <QDir>
#include <QTemporaryDir>

#include <libxml/parser.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

namespace
{
// ---------------------------------------------------------------------------------------------
// The maps

std::unique_ptr<CPEPrimitive> MakePE(int iNode, bool bSwitch, int iPorts, uint16_t wDestID)
{
    auto pPE = std::make_unique<CPEPrimitive>();
    pPE->iNodeNumber = iNode;
    pPE->DeviceID = bSwitch ? 0x0374 : 0x80AB;
    pPE->ManufID = 0x0038;
    pPE->uType = bSwitch ? kPETypeSwitch : (kPETypeProcessor | kPETypeBridge);
    pPE->Symbol = bSwitch ? QStringLiteral("sw-reg") : QStringLiteral("ep-reg");
    pPE->CommonName = bSwitch ? QStringLiteral("CPS-1848") : QStringLiteral("Tsi721");
    pPE->UniqueID = QString::asprintf("%x%x", iNode, pPE->DeviceID);
    pPE->bUsesDestID = !bSwitch;
    pPE->ShortDestID = wDestID;
    pPE->iNumLocalPorts = iPorts;
    for (int p = 0; p < iPorts; ++p)
    {
        pPE->Ports[static_cast<size_t>(p)].eType = ePortSerial;
        pPE->Ports[static_cast<size_t>(p)].CurrentWidth = 4;
        pPE->Ports[static_cast<size_t>(p)].uSpeedMHz = 3125;
    }
    return pPE;
}

// Adds PEs and connections with their drawing in the expanded view, on a grid of 100 columns.
class CMapBuilder
{
public:
    CNetworkDocument Document;

    CPEPrimitive* AddPE(bool bSwitch, int iPorts, uint16_t wDestID)
    {
        const int iNode = Document.ActivePEs.GetCount();
        auto pNode = std::make_unique<CDrawPE>();
        pNode->uUniqueID = static_cast<uint32_t>(1000000 + iNode);
        pNode->iAssociatedPrimitive = iNode;
        pNode->Move((iNode % 100) * 100, (iNode / 100) * 100);
        View().pNodes.Add(std::move(pNode));
        return Document.ActivePEs.AddPrimitive(MakePE(iNode, bSwitch, iPorts, wDestID));
    }
    void Connect(int iPE1, int iPort1, int iPE2, int iPort2)
    {
        const int iConnection = Document.ActiveConnections.GetCount();
        auto pConnection = std::make_unique<CConnectionPrimitive>();
        pConnection->iNodeNumber = iConnection;
        pConnection->iPE1 = iPE1;
        pConnection->iPE1Port = iPort1;
        pConnection->iPE2 = iPE2;
        pConnection->iPE2Port = iPort2;
        pConnection->SetStatus(QStringLiteral("Up"));
        Document.ActiveConnections.AddPrimitive(std::move(pConnection));
        auto pEdge = std::make_unique<CDrawPEConn>();
        pEdge->uUniqueID = static_cast<uint32_t>(2000000 + iConnection);
        pEdge->iAssociatedPrimitive = iConnection;
        pEdge->eStartKind = eDrawKindPE;
        pEdge->uStartUniqueID = static_cast<uint32_t>(1000000 + iPE1);
        pEdge->eEndKind = eDrawKindPE;
        pEdge->uEndUniqueID = static_cast<uint32_t>(1000000 + iPE2);
        pEdge->SetPath(
            {QPoint((iPE1 % 100) * 100, (iPE1 / 100) * 100), QPoint((iPE2 % 100) * 100, (iPE2 / 100) * 100)});
        View().pEdges.Add(std::move(pEdge));
    }

private:
    CMapView& View() { return *Document.Views.front(); }
};

// 1000 switches of 16 ports, each with 4 endpoints and 6 links to the next switches: 5000 PEs and
// 10000 connections, each switch with a table of 64 routes.
CNetworkDocument LargeMap()
{
    constexpr int kSwitches = 1000;
    constexpr int kEndpoints = 4000;
    constexpr int kPorts = 16;
    CMapBuilder map;
    for (int i = 0; i < kSwitches + kEndpoints; ++i)
    {
        const bool bSwitch = i < kSwitches;
        CPEPrimitive* pPE =
            map.AddPE(bSwitch, bSwitch ? kPorts : 1, bSwitch ? kNoDestID : static_cast<uint16_t>(i));
        if (bSwitch)
        {
            auto pTable = std::make_unique<CRoutingTable>();
            for (int d = 0; d < 64; ++d)
            {
                pTable->AddEntry(static_cast<uint16_t>(kSwitches + (i * 4 + d) % kEndpoints),
                                 static_cast<uint8_t>(d % kPorts), eRoutePort, 0, false);
            }
            pPE->RoutingTables[0] = std::move(pTable);
        }
    }
    for (int e = 0; e < kEndpoints; ++e)
    {
        map.Connect(e / 4, e % 4, kSwitches + e, 0);
    }
    for (int s = 0; s < kSwitches; ++s)
    {
        for (int k = 0; k < 6; ++k)
        {
            map.Connect(s, 4 + k, (s + k + 1) % kSwitches, 10 + k);
        }
    }
    return std::move(map.Document);
}

// A tree of 1005 PEs as an enumerated fabric of CPS-1848s has it: the host on the root switch,
// which feeds 4 switches, which feed 54 leaf switches; every other switch port holds an endpoint.
// Every switch keeps a routing table per input port with a route for each of the 946 endpoint IDs.
CNetworkDocument RoutedFabric()
{
    constexpr int kPorts = 18;
    CMapBuilder map;
    std::vector<int> switches;
    std::vector<int> endpoints;
    auto addSwitch = [&]
    {
        switches.push_back(map.Document.ActivePEs.GetCount());
        map.AddPE(true, kPorts, kNoDestID)->bHasPerPortRoutingTables = true;
        return switches.back();
    };
    auto addEndpoint = [&](int iSwitch, int iPort)
    {
        const int iNode = map.Document.ActivePEs.GetCount();
        map.AddPE(false, 1, static_cast<uint16_t>(endpoints.size() + 1));
        endpoints.push_back(iNode);
        map.Connect(iSwitch, iPort, iNode, 0);
    };
    const int iHost = map.Document.ActivePEs.GetCount();
    map.AddPE(false, 1, 1);
    endpoints.push_back(iHost);
    const int iRoot = addSwitch();
    map.Connect(iRoot, 0, iHost, 0);
    int nLeaves = 0;
    for (int m = 0; m < 4; ++m)
    {
        const int iMid = addSwitch();
        map.Connect(iRoot, 1 + m, iMid, 0);
        const int nMidLeaves = m < 2 ? 14 : 13;
        for (int l = 0; l < nMidLeaves; ++l, ++nLeaves)
        {
            const int iLeaf = addSwitch();
            map.Connect(iMid, 1 + l, iLeaf, 0);
            for (int p = 1; p < kPorts; ++p)
            {
                addEndpoint(iLeaf, p);
            }
        }
        for (int p = 1 + nMidLeaves; p < kPorts; ++p)
        {
            addEndpoint(iMid, p);
        }
    }
    for (int p = 5; p < kPorts; ++p)
    {
        addEndpoint(iRoot, p);
    }
    for (const int iSwitch : switches)
    {
        CPEPrimitive* pSwitch = map.Document.ActivePEs.GetByIndex(iSwitch);
        for (int iSlot = 0; iSlot < kPorts; ++iSlot)
        {
            auto pTable = std::make_unique<CRoutingTable>();
            for (size_t e = 0; e < endpoints.size(); ++e)
            {
                pTable->AddEntry(static_cast<uint16_t>(e + 1),
                                 static_cast<uint8_t>((e * 7 + static_cast<size_t>(iSwitch)) % kPorts),
                                 eRoutePort, 0, false);
            }
            pSwitch->RoutingTables[static_cast<size_t>(iSlot)] = std::move(pTable);
        }
    }
    return std::move(map.Document);
}

// ---------------------------------------------------------------------------------------------
// Timing

double CpuSeconds()
{
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double WallSeconds()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

struct STimes
{
    std::vector<double> Wall;
    std::vector<double> Cpu;

    static double Median(std::vector<double> values)
    {
        if (values.empty())
        {
            return 0.0;
        }
        std::sort(values.begin(), values.end());
        return values[values.size() / 2];
    }
    double MedianWall() const { return Median(Wall); }
    double MedianCpu() const { return Median(Cpu); }
};

// Times one run of a step; false stops the benchmark with the step's reason.
bool Time(STimes& times, const std::function<bool()>& step)
{
    const double dWall = WallSeconds();
    const double dCpu = CpuSeconds();
    if (!step())
    {
        return false;
    }
    times.Cpu.push_back(CpuSeconds() - dCpu);
    times.Wall.push_back(WallSeconds() - dWall);
    return true;
}

// libxml2 reading the file and building its tree, then freeing it, as `xmllint --noout` does.
bool LibXmlParse(const QString& strPath)
{
    xmlDocPtr pDoc = xmlReadFile(QFile::encodeName(strPath).constData(), nullptr, XML_PARSE_NONET);
    if (!pDoc)
    {
        std::fprintf(stderr, "libxml2 refused %s\n", qPrintable(strPath));
        return false;
    }
    xmlFreeDoc(pDoc);
    return true;
}

bool Load(const QString& strPath, CNetworkDocument& document, CNetworkMap& map, int nPEs)
{
    if (!map.LoadMap(strPath, document, false) || document.ActivePEs.GetCount() != nPEs)
    {
        std::fprintf(stderr, "%s didn't load whole: %s\n", qPrintable(strPath), qPrintable(map.LastError()));
        return false;
    }
    return true;
}

void PrintRow(const char* pszWhat, const STimes& times, const STimes& baseline)
{
    std::printf("  %-26s %8.3f s wall %8.3f s CPU   libxml2 parse %7.3f s wall %7.3f s CPU   x%.2f\n",
                pszWhat, times.MedianWall(), times.MedianCpu(), baseline.MedianWall(), baseline.MedianCpu(),
                times.MedianCpu() / baseline.MedianCpu());
}

// A map file the program wrote, and its size.
struct SMapFile
{
    QString strPath;
    qint64 llBytes = 0;
    int nPEs = 0;
};

SMapFile WriteMap(const CNetworkDocument& document, const QString& strPath)
{
    CNetworkDocument copy = document;
    CNetworkMap map;
    if (!map.SaveMapAs(copy, strPath))
    {
        std::fprintf(stderr, "Unable to write %s\n", qPrintable(strPath));
        std::exit(1);
    }
    return {strPath, QFileInfo(strPath).size(), document.ActivePEs.GetCount()};
}

int Rounds(int argc, char** argv, int nDefault)
{
    for (int i = 1; i + 1 < argc; ++i)
    {
        if (std::strcmp(argv[i], "--rounds") == 0)
        {
            return std::max(1, std::atoi(argv[i + 1]));
        }
    }
    return nDefault;
}

bool MapCheckRow(const SMapFile& file, int nRounds)
{
    STimes parse;
    STimes check;
    for (int i = 0; i < nRounds; ++i)
    {
        if (!Time(parse, [&] { return LibXmlParse(file.strPath); }) ||
            !Time(check,
                  [&]
                  {
                      CNetworkDocument document;
                      CNetworkMap map;
                      return Load(file.strPath, document, map, file.nPEs) && CheckMap(document).isEmpty();
                  }))
        {
            return false;
        }
    }
    std::printf("Map of 5000 PEs and 10000 connections (%.1f MB), medians of %d rounds:\n",
                static_cast<double>(file.llBytes) / 1e6, nRounds);
    PrintRow("map check (load + check)", check, parse);
    const double dRatio = check.MedianCpu() / parse.MedianCpu();
    std::printf("Ratio map check / libxml2 parse: %.2f (target at most 3)\n", dRatio);
    return true;
}

bool RoutedFabricRows(const SMapFile& file, const QString& strSavePath, int nRounds)
{
    STimes parse;
    STimes load;
    STimes show;
    STimes save;
    size_t nListing = 0;
    for (int i = 0; i < nRounds; ++i)
    {
        CNetworkDocument document;
        CNetworkMap map;
        if (!Time(parse, [&] { return LibXmlParse(file.strPath); }) ||
            !Time(load, [&] { return Load(file.strPath, document, map, file.nPEs); }) ||
            !Time(show,
                  [&]
                  {
                      nListing = static_cast<size_t>(MapListing(document, map).size());
                      return nListing > 0;
                  }) ||
            !Time(save, [&] { return map.SaveMapAs(document, strSavePath); }))
        {
            return false;
        }
    }
    std::printf("Map of 1005 PEs with a routing table per switch port (%.1f MB, listing %.1f MB), "
                "medians of %d rounds:\n",
                static_cast<double>(file.llBytes) / 1e6, static_cast<double>(nListing) / 1e6, nRounds);
    PrintRow("load", load, parse);
    PrintRow("map show listing", show, parse);
    PrintRow("save", save, parse);
    std::printf("Load + listing (map show): %.3f s CPU, load + save: %.3f s CPU (target at most 3 s each)\n",
                load.MedianCpu() + show.MedianCpu(), load.MedianCpu() + save.MedianCpu());
    return true;
}
} // namespace

int main(int argc, char** argv)
{
    // Messages of the reader go nowhere: a failure is reported by the benchmark itself.
    class CQuiet final : public IUserInterface
    {
    public:
        void ShowMessage(const QString& strText, const QString&, EMessageKind) override
        {
            std::fprintf(stderr, "%s\n", qPrintable(strText));
        }
        int Ask(const QString&, const QString&, bool) override { return eAnswerNo; }
        void Beep() override {}
        void SetBusy(bool) override {}
    } quiet;
    SetUserInterface(&quiet);

    QTemporaryDir temporary;
    QString strDir = temporary.path();
    for (int i = 1; i + 1 < argc; ++i)
    {
        if (std::strcmp(argv[i], "--keep") == 0)
        {
            strDir = QString::fromLocal8Bit(argv[i + 1]);
            QDir().mkpath(strDir);
        }
    }
    xmlInitParser();
    const SMapFile large = WriteMap(LargeMap(), QDir(strDir).filePath(QStringLiteral("large.nvm")));
    const SMapFile routed = WriteMap(RoutedFabric(), QDir(strDir).filePath(QStringLiteral("routed.nvm")));
    const int nRounds = Rounds(argc, argv, 5);
    const bool bOk = MapCheckRow(large, nRounds) &&
                     RoutedFabricRows(routed, QDir(temporary.path()).filePath(QStringLiteral("saved.nvm")),
                                      std::max(1, nRounds / 2 + 1));
    xmlCleanupParser();
    return bOk ? 0 : 1;
}

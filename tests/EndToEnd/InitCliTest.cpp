// norvanta-cli init against norvanta-sim: a fabric enumerated and routed, its map captured as the
// template, and a second fabric fresh from reset brought to the same IDs and routing tables; a
// template of another fabric refused without a change to the devices.
#include "NetworkDocument.h"
#include "NetworkMap.h"
#include "PETypes.h"
#include "SimProcess.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <map>

namespace
{
using nvtest::RunProgram;
using nvtest::SRunResult;

// host0 - sw1 - sw2 with ep1 on sw1 and ep2, ep3 on sw2; nothing numbered, nothing routed.
const char* const kFabric = "device host0 endpoint device=0x0001 processor memory id=0x01 largeid=0x0001\n"
                            "device sw1 switch model=cps1848\n"
                            "device sw2 switch model=cps1848\n"
                            "device ep1 endpoint device=0x1001 memory\n"
                            "device ep2 endpoint device=0x1002 memory\n"
                            "device ep3 endpoint device=0x1003 memory\n"
                            "host host0\n"
                            "link host0:0 sw1:0\n"
                            "link sw1:1 sw2:0\n"
                            "link sw1:2 ep1:0\n"
                            "link sw2:3 ep2:0\n"
                            "link sw2:5 ep3:0\n";

std::string TempPath(const std::string& strName)
{
    return nvtest::ProcessTempDir() + "/init-" + strName;
}

std::string WriteTopology(const std::string& strName, const std::string& strText)
{
    const std::string strPath = TempPath(strName);
    std::ofstream(strPath) << strText;
    return strPath;
}

SRunResult Cli(const nvtest::CSimProcess& sim, std::vector<std::string> args)
{
    std::vector<std::string> all = {"--server", "127.0.0.1", "--wait-ms",
                                    "1500",     "--port",    std::to_string(sim.TcpPort())};
    all.insert(all.end(), args.begin(), args.end());
    return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), all);
}

bool Has(const std::string& strText, const std::string& strPart)
{
    return strText.find(strPart) != std::string::npos;
}

std::string Hex(uint32_t ulValue)
{
    char szText[16];
    std::snprintf(szText, sizeof szText, "0x%X", ulValue);
    return szText;
}

// Captures a discovered map as its own template and saves it, as "Capture Active Map as Template"
// and Save do in the window.
void CaptureTemplate(const std::string& strMap, const std::string& strTemplate, CNetworkDocument& document)
{
    // The map's transport size outlives this call: later map opens in the test set it too, so it
    // must not live on this function's stack.
    static int s_iBits = 8;
    s_iBits = 8;
    SetMapTransportAccess([] { return s_iBits; }, [](int iNew) { s_iBits = iNew; });
    ASSERT_TRUE(document.Open(QString::fromStdString(strMap)));
    document.CopyActiveToTemplate();
    ASSERT_TRUE(document.SaveAs(QString::fromStdString(strTemplate)));
}

const CPEPrimitive* ByDevice(const CNetworkDocument& document, uint16_t wDevice)
{
    for (const auto& pPE : document.TemplatePEs)
    {
        if (!pPE->bDeleted && pPE->DeviceID == wDevice && pPE->ManufID == 0xFFF0)
            return pPE.get();
    }
    return nullptr;
}

class InitCli : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const std::string strTopology = WriteTopology("fabric.topo", kFabric);
        nvtest::CSimProcess first(strTopology, {"--no-udp", "--no-broadcast"});
        ASSERT_TRUE(first.Ready()) << first.ErrorOutput();
        const SRunResult result =
            Cli(first, {"discover", "--enumerate", "--first", "0x20", "--increment", "3", "--generate-routes",
                        "--no-layout", "--save", TempPath("found.nvm")});
        ASSERT_EQ(0, result.nExitCode) << result.strErr;
        CaptureTemplate(TempPath("found.nvm"), m_strTemplate, m_template);
        for (uint16_t wDevice : {0x1001, 0x1002, 0x1003})
        {
            const CPEPrimitive* pPE = ByDevice(m_template, wDevice);
            ASSERT_TRUE(pPE && pPE->bUsesDestID);
            m_ids[wDevice] = pPE->ShortDestID;
        }
    }

    const std::string m_strTemplate = TempPath("template.nvm");
    CNetworkDocument m_template;
    std::map<uint16_t, uint32_t> m_ids; // endpoint device -> ID in the template
};

TEST_F(InitCli, AFreshFabricIsBroughtUpWithTheTemplatesIDsAndRoutingTables)
{
    nvtest::CSimProcess sim(TempPath("fabric.topo"), {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    // Fresh from reset: the endpoints answer FFh only.
    ASSERT_NE(0, Cli(sim, {"read", "0", "--dest", Hex(m_ids[0x1001]), "--hop", "1"}).nExitCode);

    const std::string strSaved = TempPath("initialised.nvm");
    const SRunResult result = Cli(sim, {"init", m_strTemplate, "--save", strSaved});
    ASSERT_EQ(0, result.nExitCode) << result.strErr << result.strOut;
    EXPECT_TRUE(Has(result.strOut, "Initialized 2 switches and 4 endpoints from the template\n"))
        << result.strOut;
    EXPECT_TRUE(Has(result.strOut, "Saved " + strSaved));
    EXPECT_TRUE(
        Has(result.strOut, "Memory device 1002h vendor FFF0h destID " + Hex(m_ids[0x1002]).substr(2) + "h\n"))
        << result.strOut;

    // Each endpoint answers its template ID through the tables that went down: ep1 behind sw1,
    // ep2 and ep3 behind sw2.
    const std::map<uint16_t, int> hops = {{0x1001, 1}, {0x1002, 2}, {0x1003, 2}};
    for (const auto& [wDevice, nHop] : hops)
    {
        char szExpected[32];
        std::snprintf(szExpected, sizeof szExpected, "0x%08x\n", (m_ids[wDevice] << 16) | 0xFFFFu);
        const SRunResult read =
            Cli(sim, {"read", "0x60", "--dest", Hex(m_ids[wDevice]), "--hop", std::to_string(nHop)});
        ASSERT_EQ(0, read.nExitCode) << read.strErr;
        EXPECT_EQ(szExpected, read.strOut) << "device " << std::hex << wDevice;
    }

    // Every entry of every table of the template reads back from its switch.
    size_t nChecked = 0;
    for (const auto& pPE : m_template.TemplatePEs)
    {
        if (!(pPE->uType & kPETypeSwitch))
            continue;
        // sw1 is at hop 0, sw2 at hop 1 behind it (on the way to ep2).
        const bool bFirst = pPE->UniqueID == QLatin1String("1fff00037438");
        const std::vector<std::string> where = {"--dest", Hex(m_ids[bFirst ? 0x1001 : 0x1002]), "--hop",
                                                bFirst ? "0" : "1"};
        for (size_t t = 0; t < pPE->RoutingTables.size(); ++t)
        {
            const CRoutingTable* pTable = pPE->RoutingTables[t].get();
            if (!pTable)
                continue;
            std::vector<std::string> args = {"route", "load", std::to_string(t)};
            args.insert(args.end(), where.begin(), where.end());
            const SRunResult load = Cli(sim, args);
            ASSERT_EQ(0, load.nExitCode) << load.strErr;
            for (const SRouteEntry& entry : pTable->Entries())
            {
                char szLine[80];
                std::snprintf(szLine, sizeof szLine, "destid=0x%04x type=port port=%u extra=0x0\n",
                              entry.DestID, entry.Port);
                EXPECT_TRUE(Has(load.strOut, szLine))
                    << "table " << t << " of " << pPE->UniqueID.toStdString() << ": " << szLine
                    << load.strOut;
                ++nChecked;
            }
        }
    }
    EXPECT_GE(nChecked, 12u);

    // The saved map has the template's IDs in its active map.
    CNetworkDocument saved;
    ASSERT_TRUE(saved.Open(QString::fromStdString(strSaved)));
    int nEndpoints = 0;
    for (const auto& pPE : saved.ActivePEs)
    {
        if (m_ids.count(pPE->DeviceID) && pPE->ManufID == 0xFFF0)
        {
            EXPECT_EQ(m_ids[pPE->DeviceID], pPE->ShortDestID);
            ++nEndpoints;
        }
    }
    EXPECT_EQ(3, nEndpoints);
}

TEST_F(InitCli, ATemplateOfAnotherFabricIsRefusedAndTheDevicesAreLeftAsTheyWere)
{
    // The host's neighbour is a plain switch where the template has a CPS-1848; its table leads the
    // unnumbered ID to ep1 and the host's back, so that both can be read before and after.
    const std::string strOther = WriteTopology(
        "other.topo", "device host0 endpoint device=0x0001 processor memory id=0x01 largeid=0x0001\n"
                      "device sw1 switch ports=4\n"
                      "device ep1 endpoint device=0x1001 memory\n"
                      "host host0\n"
                      "link host0:0 sw1:0\n"
                      "link sw1:1 ep1:0\n"
                      "route sw1 0xFF 1\n"
                      "route sw1 0x01 0\n");
    nvtest::CSimProcess sim(strOther, {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    auto readBack = [&sim]
    {
        std::string strState;
        for (const char* pszOffset : {"0x60", "0x68", "0x6C", "0x120", "0x124", "0x13C", "0x70"})
        {
            for (const char* pszHop : {"0", "1"})
            {
                const SRunResult read = Cli(sim, {"read", pszOffset, "--dest", "0xFF", "--hop", pszHop});
                strState += std::string(pszOffset) + "@" + pszHop + "=" + read.strOut + read.strErr;
            }
        }
        return strState;
    };
    const std::string strBefore = readBack();
    ASSERT_TRUE(Has(strBefore, "0x60@1=0x00ffffff")) << strBefore;

    const std::string strSaved = TempPath("refused.nvm");
    const SRunResult result = Cli(sim, {"init", m_strTemplate, "--save", strSaved});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_TRUE(Has(result.strErr,
                    "PE device/vendor IDs do not match network template.\nNode 2 of the template is "
                    "DeviceID=0374h VendorID=0038h; the PE at hop count 0 behind port 0 of node 1 "
                    "is DeviceID="))
        << result.strErr;
    EXPECT_TRUE(Has(result.strErr, "The network initialization failed; nothing was saved.\n"));
    EXPECT_FALSE(std::ifstream(strSaved).good());
    EXPECT_EQ(strBefore, readBack());
}

TEST_F(InitCli, AMapWithoutATemplateAndBadUsageAreRefused)
{
    nvtest::CSimProcess sim(TempPath("fabric.topo"), {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    SRunResult result = Cli(sim, {"init", TempPath("found.nvm")});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("You must have a template map in order to perform network initialization.\n", result.strErr);
    EXPECT_NE(0, Cli(sim, {"read", "0", "--dest", Hex(m_ids[0x1001]), "--hop", "1"}).nExitCode)
        << "nothing was initialised";
    EXPECT_EQ(2, Cli(sim, {"init"}).nExitCode);
    EXPECT_EQ(2, Cli(sim, {"init", m_strTemplate, "--bogus"}).nExitCode);
    EXPECT_EQ(2, Cli(sim, {"init", m_strTemplate, m_strTemplate}).nExitCode);
    result = Cli(sim, {"init", TempPath("no-such.nvm")});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_FALSE(result.strErr.empty());
}
} // namespace

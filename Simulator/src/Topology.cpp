#include "nvsim/Topology.h"

#include "TextUtil.h"
#include "nvsim/Faults.h"
#include "nvsim/StdDevice.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

namespace nvsim
{
namespace
{
// Identity of the simulator's own generic devices. Vendor 0xFFF0 is used by no device family
// the client knows, and the devices are the simulator's, not models of any real part.
constexpr uint16_t kSimVendorId = 0xFFF0;
constexpr uint16_t kSimEndpointId = 0x0002;
constexpr uint16_t kSimSwitchId = 0x0010;
constexpr uint8_t kDefaultSwitchPorts = 8;

struct SLine
{
    int nNumber = 0;                // line the statement starts on
    std::vector<std::string> words; // words of the statement, comments removed
};

// Splits the text into statements: '#' starts a comment, a line ending in '\' goes on in the
// next one.
std::vector<SLine> Statements(const std::string& strText)
{
    std::vector<SLine> lines;
    std::istringstream in(strText);
    std::string strLine;
    int nNumber = 0;
    bool bContinued = false;
    while (std::getline(in, strLine))
    {
        ++nNumber;
        const size_t nComment = strLine.find('#');
        if (nComment != std::string::npos)
            strLine.erase(nComment);
        while (!strLine.empty() && std::isspace(static_cast<unsigned char>(strLine.back())))
            strLine.pop_back();
        const bool bContinues = !strLine.empty() && strLine.back() == '\\';
        if (bContinues)
            strLine.pop_back();
        if (!bContinued)
            lines.push_back({nNumber, {}});
        std::istringstream words(strLine);
        for (std::string strWord; words >> strWord;)
            lines.back().words.push_back(strWord);
        if (lines.back().words.empty() && !bContinues)
            lines.pop_back();
        bContinued = bContinues;
    }
    // A continuation on the last line continues into nothing.
    if (!lines.empty() && lines.back().words.empty())
        lines.pop_back();
    return lines;
}

class CTopologyReader
{
public:
    explicit CTopologyReader(std::string strName) : m_strName(std::move(strName)) {}

    std::unique_ptr<CSimFabric> Read(const std::string& strText, std::string* pError)
    {
        m_pFabric = std::make_unique<CSimFabric>();
        for (const SLine& line : Statements(strText))
        {
            m_nLine = line.nNumber;
            if (!Statement(line.words))
            {
                if (pError)
                    *pError = m_strName + ":" + std::to_string(m_nLine) + ": " + m_strError;
                return nullptr;
            }
        }
        if (!m_bHost)
        {
            if (pError)
                *pError = m_strName + ": no 'host' line: the topology must name the server's host device";
            return nullptr;
        }
        if (!CheckLinksTrain(pError))
            return nullptr;
        return std::move(m_pFabric);
    }

private:
    bool Fail(std::string strError)
    {
        m_strError = std::move(strError);
        return false;
    }

    bool Statement(const std::vector<std::string>& words)
    {
        const std::string& strKeyword = words[0];
        if (strKeyword == "server")
            return Server(words);
        if (strKeyword == "device")
            return Device(words);
        if (strKeyword == "host")
            return Host(words);
        if (strKeyword == "link")
            return Link(words);
        if (strKeyword == "route")
            return Route(words);
        if (strKeyword == "reg")
            return Reg(words);
        if (strKeyword == "fault")
            return Fault(words);
        return Fail("unknown statement '" + strKeyword + "'");
    }

    // A number option no larger than ullMax.
    bool Number(const std::string& strKey, const std::string& strValue, uint64_t ullMax, uint64_t* pValue)
    {
        if (!text::ParseUnsigned(strValue, ullMax, pValue))
            return Fail("'" + strKey + "' needs a number from 0 to " + std::to_string(ullMax) + ", not '" +
                        strValue + "'");
        return true;
    }

    // "MAJOR.MINOR".
    bool Version(const std::string& strKey, const std::string& strValue, uint64_t* pMajor, uint64_t* pMinor)
    {
        const std::vector<std::string> parts = text::Split(strValue, '.');
        if (parts.size() != 2 || !text::ParseUnsigned(parts[0], 255, pMajor) ||
            !text::ParseUnsigned(parts[1], 255, pMinor))
            return Fail("'" + strKey + "' needs MAJOR.MINOR, not '" + strValue + "'");
        return true;
    }

    CSimDevice* Declared(const std::string& strName)
    {
        CSimDevice* pDevice = m_pFabric->FindDevice(strName);
        if (!pDevice)
            Fail("device '" + strName + "' is not declared (declare it before use)");
        return pDevice;
    }

    bool Server(const std::vector<std::string>& words)
    {
        SServerConfig& server = m_pFabric->ServerConfig();
        for (size_t i = 1; i < words.size(); ++i)
        {
            std::string strKey, strValue;
            text::KeyValue(words[i], &strKey, &strValue);
            uint64_t ullA = 0, ullB = 0;
            if (strKey == "version")
            {
                if (!Version(strKey, strValue, &ullA, &ullB))
                    return false;
                server.uchServerMajor = static_cast<uint8_t>(ullA);
                server.uchServerMinor = static_cast<uint8_t>(ullB);
            }
            else if (strKey == "driver")
            {
                if (!Version(strKey, strValue, &ullA, &ullB))
                    return false;
                server.ulDriverMajor = static_cast<uint32_t>(ullA);
                server.ulDriverMinor = static_cast<uint32_t>(ullB);
            }
            else if (strKey == "interface" || strKey == "caps")
            {
                if (!Number(strKey, strValue, UINT32_MAX, &ullA))
                    return false;
                (strKey == "caps" ? server.ulCapabilities : server.ulInterfaceVersion) =
                    static_cast<uint32_t>(ullA);
            }
            else if (strKey == "ostype" || strKey == "cputype")
            {
                if (!Number(strKey, strValue, UINT16_MAX, &ullA))
                    return false;
                (strKey == "ostype" ? server.wOsType : server.wProcessorType) = static_cast<uint16_t>(ullA);
            }
            else if (strKey == "status")
            {
                if (strValue == "ready")
                    server.uchStatusOverride = 0;
                else if (strValue == "busy")
                    server.uchStatusOverride = 2;
                else if (strValue == "unavailable")
                    server.uchStatusOverride = 3;
                else
                    return Fail("'status' is ready, busy or unavailable, not '" + strValue + "'");
            }
            else
                return Fail("unknown server option '" + words[i] + "'");
        }
        return true;
    }

    bool Device(const std::vector<std::string>& words)
    {
        if (words.size() < 3 || (words[2] != "endpoint" && words[2] != "switch"))
            return Fail("a device line reads: device NAME endpoint|switch [OPTION]...");
        const std::string& strName = words[1];
        if (strName.find_first_of(":=,") != std::string::npos)
            return Fail("a device name cannot hold ':', '=' or ','");
        SDeviceConfig config;
        config.bSwitch = words[2] == "switch";
        config.wVendorId = kSimVendorId;
        config.wDeviceId = config.bSwitch ? kSimSwitchId : kSimEndpointId;
        config.uchPortCount = config.bSwitch ? kDefaultSwitchPorts : 1;
        std::set<std::string> given;
        for (size_t i = 3; i < words.size(); ++i)
        {
            if (!DeviceOption(words[i], &config))
                return false;
            std::string strKey, strValue;
            text::KeyValue(words[i], &strKey, &strValue);
            given.insert(strKey);
        }
        // The model fills in what the part is, where the line did not say otherwise.
        std::string strModelError;
        if (!ApplyModelDefaults(
                &config, [&given](const std::string& strKey) { return given.count(strKey) != 0; },
                &strModelError))
            return Fail(strModelError);
        if (config.bSwitch && config.uchPortCount < 2)
            return Fail("a switch needs at least 2 ports");
        std::string strError;
        std::unique_ptr<CSimDevice> pDevice = CreateDevice(strName, config, &strError);
        if (!pDevice || !m_pFabric->AddDevice(std::move(pDevice), &strError))
            return Fail(strError);
        return true;
    }

    bool DeviceOption(const std::string& strWord, SDeviceConfig* pConfig)
    {
        SDeviceConfig& c = *pConfig;
        std::string strKey, strValue;
        text::KeyValue(strWord, &strKey, &strValue);
        uint64_t ullValue = 0;
        const bool bFlag = strWord.find('=') == std::string::npos;

        // Options that only make sense on one kind of device.
        static const char* const kSwitchOnly[] = {"routetable",   "routelimit", "perport",     "multicast",
                                                  "masks",        "assoc",      "simpleassoc", "blockassoc",
                                                  "perportassoc", "response",   "quadcfg",     "dfeopt"};
        static const char* const kEndpointOnly[] = {"memory", "echo", "accept", "datagen"};
        for (const char* pszKey : kSwitchOnly)
        {
            if (strKey == pszKey && !c.bSwitch)
                return Fail("option '" + strKey + "' applies to switches only");
        }
        for (const char* pszKey : kEndpointOnly)
        {
            if (strKey == pszKey && c.bSwitch)
                return Fail("option '" + strKey + "' applies to endpoints only");
        }

        if (bFlag)
        {
            static const std::pair<const char*, bool SDeviceConfig::*> kFlags[] = {
                {"bridge", &SDeviceConfig::bBridge},
                {"memory", &SDeviceConfig::bMemory},
                {"processor", &SDeviceConfig::bProcessor},
                {"echo", &SDeviceConfig::bEcho},
                {"perport", &SDeviceConfig::bPerPortRouting},
                {"multicast", &SDeviceConfig::bMulticast},
                {"simpleassoc", &SDeviceConfig::bSimpleAssoc},
                {"blockassoc", &SDeviceConfig::bBlockAssoc},
                {"perportassoc", &SDeviceConfig::bPerPortAssoc},
            };
            for (const auto& [pszFlag, pMember] : kFlags)
            {
                if (strKey == pszFlag)
                {
                    c.*pMember = true;
                    return true;
                }
            }
            if (strKey == "smallonly")
            {
                c.bLargeTransport = false;
                return true;
            }
            return Fail("unknown device option '" + strWord + "'");
        }

        if (strKey == "model")
            c.strModel = strValue;
        else if (strKey == "vendor" || strKey == "device" || strKey == "assy" || strKey == "assyvendor" ||
                 strKey == "assyrev" || strKey == "largeid")
        {
            if (!Number(strKey, strValue, UINT16_MAX, &ullValue))
                return false;
            const uint16_t wValue = static_cast<uint16_t>(ullValue);
            if (strKey == "vendor")
                c.wVendorId = wValue;
            else if (strKey == "device")
                c.wDeviceId = wValue;
            else if (strKey == "assy")
                c.wAssyId = wValue;
            else if (strKey == "assyvendor")
                c.wAssyVendorId = wValue;
            else if (strKey == "assyrev")
                c.wAssyRev = wValue;
            else
                c.wLargeId = wValue;
        }
        else if (strKey == "rev" || strKey == "tag" || strKey == "srcops" || strKey == "dstops")
        {
            if (!Number(strKey, strValue, UINT32_MAX, &ullValue))
                return false;
            const uint32_t ulValue = static_cast<uint32_t>(ullValue);
            if (strKey == "rev")
                c.ulDeviceRev = ulValue;
            else if (strKey == "tag")
                c.ulComponentTag = ulValue;
            else if (strKey == "srcops")
                c.oSourceOps = ulValue;
            else
                c.oDestOps = ulValue;
        }
        else if (strKey == "ports")
        {
            if (!Number(strKey, strValue, 255, &ullValue))
                return false;
            if (ullValue == 0)
                return Fail("a device needs at least one port");
            c.uchPortCount = static_cast<uint8_t>(ullValue);
        }
        else if (strKey == "id")
        {
            if (!Number(strKey, strValue, 255, &ullValue))
                return false;
            c.uchSmallId = static_cast<uint8_t>(ullValue);
        }
        else if (strKey == "routelimit")
        {
            if (!Number(strKey, strValue, UINT16_MAX, &ullValue))
                return false;
            c.wRouteLimit = static_cast<uint16_t>(ullValue);
        }
        else if (strKey == "masks" || strKey == "assoc")
        {
            if (!Number(strKey, strValue, strKey == "masks" ? UINT16_MAX : 0x4000, &ullValue))
                return false;
            if (ullValue == 0)
                return Fail("'" + strKey + "' needs at least 1");
            (strKey == "masks" ? c.wMulticastMasks : c.wMulticastAssociations) =
                static_cast<uint16_t>(ullValue);
        }
        else if (strKey == "width")
        {
            if (!ParseWidth(strValue, &c.uchMaxWidth))
                return false;
        }
        else if (strKey == "accept")
        {
            if (strValue != "any" && strValue != "own")
                return Fail("'accept' is any or own, not '" + strValue + "'");
            c.bAcceptAnyId = strValue == "any";
        }
        else if (strKey == "response")
        {
            if (strValue != "ingress" && strValue != "table")
                return Fail("'response' is ingress or table, not '" + strValue + "'");
            c.bResponseByTable = strValue == "table";
        }
        else if (strKey == "routetable")
        {
            if (strValue == "standard")
                c.eRouteForm = ERouteForm::Standard;
            else if (strValue == "extended")
                c.eRouteForm = ERouteForm::Extended;
            else if (strValue == "both")
                c.eRouteForm = ERouteForm::Both;
            else
                return Fail("'routetable' is standard, extended or both, not '" + strValue + "'");
        }
        else if (strKey == "addrmodes")
            return AddressModes(strValue, &c.uchAddressModes);
        else if (strKey == "speeds")
            return Speeds(strValue, &c.ulSpeeds);
        else if (strKey == "quadcfg")
        {
            if (!Number(strKey, strValue, UINT32_MAX, &ullValue))
                return false;
            c.oQuadConfig = static_cast<uint32_t>(ullValue);
        }
        else if (strKey == "dfeopt")
            return DfeOptimum(strValue, &c.dfeOptimum);
        else if (strKey == "eeprom")
        {
            if (!text::ParseSize(strValue, &ullValue) || ullValue == 0 || ullValue > 0x10000)
                return Fail("'eeprom' needs a size of 1 byte to 64K, such as 8K, not '" + strValue + "'");
            c.ulEepromBytes = static_cast<uint32_t>(ullValue);
        }
        else if (strKey == "eepromaddr")
        {
            if (!Number(strKey, strValue, 0x7F, &ullValue))
                return false;
            c.uchEepromAddress = static_cast<uint8_t>(ullValue);
        }
        else if (strKey == "datagen")
        {
            if (!Number(strKey, strValue, UINT32_MAX, &ullValue))
                return false;
            c.oDataGenControl = static_cast<uint32_t>(ullValue);
        }
        else
            return Fail("unknown device option '" + strWord + "'");
        return true;
    }

    // The five DFE taps of dfeopt=T0,T1,T2,T3,T4, each within its field's range.
    bool DfeOptimum(const std::string& strValue, std::vector<int>* pTaps)
    {
        static const int kRange[5][2] = {{0, 15}, {0, 31}, {-15, 15}, {-7, 7}, {-3, 3}};
        pTaps->clear();
        size_t nStart = 0;
        while (nStart <= strValue.size() && pTaps->size() < 5)
        {
            const size_t nComma = strValue.find(',', nStart);
            const std::string strTap = strValue.substr(nStart, nComma - nStart);
            const int i = static_cast<int>(pTaps->size());
            char* pEnd = nullptr;
            const long lTap = std::strtol(strTap.c_str(), &pEnd, 10);
            if (strTap.empty() || *pEnd || lTap < kRange[i][0] || lTap > kRange[i][1])
                return Fail("'dfeopt' needs five taps T0,T1,T2,T3,T4 within 0..15, 0..31, -15..15, -7..7, "
                            "-3..3, not '" +
                            strValue + "'");
            pTaps->push_back(static_cast<int>(lTap));
            if (nComma == std::string::npos)
                break;
            nStart = nComma + 1;
        }
        if (pTaps->size() != 5 || std::count(strValue.begin(), strValue.end(), ',') != 4)
            return Fail("'dfeopt' needs five taps T0,T1,T2,T3,T4, not '" + strValue + "'");
        return true;
    }

    // A link speed in Gbaud, as link lines write it; 0 if it is none.
    static uint32_t SpeedMbaud(const std::string& strValue)
    {
        static const std::pair<const char*, uint32_t> kSpeeds[] = {
            {"1.25", 1250}, {"2.5", 2500}, {"3.125", 3125}, {"5", 5000}, {"5.0", 5000}, {"6.25", 6250}};
        for (const auto& [pszText, ulMbaud] : kSpeeds)
        {
            if (strValue == pszText)
                return ulMbaud;
        }
        return 0;
    }

    // The rates the ports are enabled for: "1.25,3.125" and so on.
    bool Speeds(const std::string& strValue, uint32_t* pulSpeeds)
    {
        uint32_t ulSpeeds = 0;
        for (const std::string& strSpeed : text::Split(strValue, ','))
        {
            const uint32_t ulMbaud = SpeedMbaud(strSpeed);
            if (!ulMbaud)
                return Fail("'speeds' lists 1.25, 2.5, 3.125, 5 and 6.25 Gbaud, not '" + strSpeed + "'");
            ulSpeeds |= speeds::Bit(ulMbaud);
        }
        *pulSpeeds = ulSpeeds;
        return true;
    }

    bool ParseWidth(const std::string& strValue, uint8_t* puchWidth)
    {
        uint64_t ullValue = 0;
        if (!text::ParseUnsigned(strValue, 16, &ullValue) ||
            (ullValue != 1 && ullValue != 2 && ullValue != 4 && ullValue != 8 && ullValue != 16))
            return Fail("'width' is 1, 2, 4, 8 or 16 lanes, not '" + strValue + "'");
        *puchWidth = static_cast<uint8_t>(ullValue);
        return true;
    }

    // Extended addressing support of the PE features (RapidIO Part 1, 5.4.5): every PE offers 34-bit
    // addresses; 50 and 66 bits add bits 1 and 2.
    bool AddressModes(const std::string& strValue, uint8_t* puchModes)
    {
        uint8_t uchModes = 0;
        for (const std::string& strMode : text::Split(strValue, ','))
        {
            if (strMode == "34")
                uchModes |= 0x1;
            else if (strMode == "50")
                uchModes |= 0x2;
            else if (strMode == "66")
                uchModes |= 0x4;
            else
                return Fail("'addrmodes' lists 34, 50 and 66, not '" + strMode + "'");
        }
        if (!(uchModes & 0x1))
            return Fail("'addrmodes' must include 34: every RapidIO PE supports 34-bit addresses");
        *puchModes = uchModes;
        return true;
    }

    bool Host(const std::vector<std::string>& words)
    {
        if (words.size() < 2)
            return Fail("a host line reads: host DEVICE [localports=P,...] [flash=SIZE|none] [flashprotect]");
        if (m_bHost)
            return Fail("the host is named twice");
        CSimDevice* pDevice = Declared(words[1]);
        if (!pDevice)
            return false;
        std::vector<uint8_t> localPorts;
        SHostConfig& host = m_pFabric->HostConfig();
        for (size_t i = 2; i < words.size(); ++i)
        {
            std::string strKey, strValue;
            text::KeyValue(words[i], &strKey, &strValue);
            uint64_t ullValue = 0;
            if (strKey == "localports" && !strValue.empty())
            {
                for (const std::string& strPort : text::Split(strValue, ','))
                {
                    if (!Number(strKey, strPort, pDevice->PortCount() - 1u, &ullValue))
                        return false;
                    localPorts.push_back(static_cast<uint8_t>(ullValue));
                }
            }
            else if (strKey == "flash" && strValue == "none")
                host.bFlash = false;
            else if (strKey == "flash")
            {
                if (!text::ParseSize(strValue, &ullValue) || ullValue == 0)
                    return Fail("'flash' needs a size such as 0x100000, 1024K or 16M, or none");
                host.ullFlashSize = ullValue;
            }
            else if (words[i] == "flashprotect")
                host.bFlashWriteProtect = true;
            else
                return Fail("unknown host option '" + words[i] + "'");
        }
        std::string strError;
        if (!m_pFabric->SetHost(words[1], std::move(localPorts), &strError))
            return Fail(strError);
        m_bHost = true;
        return true;
    }

    // "DEVICE:PORT".
    bool LinkEnd(const std::string& strWord, CSimDevice** ppDevice, uint8_t* puchPort)
    {
        const size_t nColon = strWord.rfind(':');
        if (nColon == std::string::npos)
            return Fail("a link end reads DEVICE:PORT, not '" + strWord + "'");
        *ppDevice = Declared(strWord.substr(0, nColon));
        if (!*ppDevice)
            return false;
        uint64_t ullPort = 0;
        if (!text::ParseUnsigned(strWord.substr(nColon + 1), 255, &ullPort) ||
            ullPort >= (*ppDevice)->PortCount())
            return Fail("device '" + (*ppDevice)->Name() + "' has no port '" + strWord.substr(nColon + 1) +
                        "'");
        *puchPort = static_cast<uint8_t>(ullPort);
        return true;
    }

    bool Link(const std::vector<std::string>& words)
    {
        if (words.size() < 3)
            return Fail("a link line reads: link DEVICE:PORT DEVICE:PORT [speed=GBAUD] [width=LANES] "
                        "[trained=yes|no]");
        CSimDevice* pA = nullptr;
        CSimDevice* pB = nullptr;
        uint8_t uchA = 0, uchB = 0;
        if (!LinkEnd(words[1], &pA, &uchA) || !LinkEnd(words[2], &pB, &uchB))
            return false;
        uint32_t ulSpeed = 3125;
        uint8_t uchWidth = 0;
        bool bTrained = true;
        for (size_t i = 3; i < words.size(); ++i)
        {
            std::string strKey, strValue;
            text::KeyValue(words[i], &strKey, &strValue);
            if (strKey == "speed")
            {
                ulSpeed = SpeedMbaud(strValue);
                if (ulSpeed == 0)
                    return Fail("'speed' is 1.25, 2.5, 3.125, 5 or 6.25 Gbaud, not '" + strValue + "'");
            }
            else if (strKey == "width")
            {
                if (!ParseWidth(strValue, &uchWidth))
                    return false;
            }
            else if (strKey == "trained" && (strValue == "yes" || strValue == "no"))
                bTrained = strValue == "yes";
            else
                return Fail("unknown link option '" + words[i] + "'");
        }
        // A link trains to the widest width both ports support unless told otherwise.
        const uint8_t uchMaxWidth = std::min(pA->Config().uchMaxWidth, pB->Config().uchMaxWidth);
        if (uchWidth == 0)
            uchWidth = uchMaxWidth;
        else if (uchWidth > uchMaxWidth)
            return Fail("a link of " + std::to_string(uchWidth) + " lanes is wider than its ports (" +
                        std::to_string(uchMaxWidth) + ")");
        std::string strError;
        CSimLink* pLink = m_pFabric->Connect(*pA, uchA, *pB, uchB, &strError);
        if (!pLink)
            return Fail(strError);
        pLink->SetShape(ulSpeed, uchWidth);
        pLink->SetTrained(bTrained);
        // The ports come out of reset set up for the link's rate.
        for (const auto& [pDevice, uchPort] : {std::pair{pA, uchA}, std::pair{pB, uchB}})
        {
            if (!pDevice->PresetPortSpeed(uchPort, ulSpeed, &strError))
                return Fail("device '" + pDevice->Name() + "' port " + std::to_string(uchPort) + ": " +
                            strError);
        }
        m_linkLines[pLink] = m_nLine;
        return true;
    }

    // A link set up as trained whose ports cannot agree on a rate (two ports sharing a PLL or a
    // SerDes set up for different rates, say) is a mistake in the file, not a fault to inject.
    bool CheckLinksTrain(std::string* pError)
    {
        for (CSimLink* pLink : m_pFabric->Links())
        {
            const SLinkEnd& a = pLink->EndA();
            const SLinkEnd& b = pLink->EndB();
            if (!pLink->IsTrained() || m_pFabric->LinkSpeedMbaud(*pLink) != 0)
                continue;
            if (pError)
                *pError = m_strName + ":" + std::to_string(m_linkLines[pLink]) +
                          ": the link cannot train: " + a.pDevice->Name() + ":" + std::to_string(a.uchPort) +
                          " runs at " + speeds::Text(a.pDevice->PortSpeeds(a.uchPort)) + " Gbaud, " +
                          b.pDevice->Name() + ":" + std::to_string(b.uchPort) + " at " +
                          speeds::Text(b.pDevice->PortSpeeds(b.uchPort)) +
                          " Gbaud (ports that share a PLL or SerDes run at one rate)";
            return false;
        }
        return true;
    }

    bool Route(const std::vector<std::string>& words)
    {
        if (words.size() < 4)
            return Fail("a route line reads: route SWITCH DESTID|default PORT [table=INGRESS]");
        CSimDevice* pDevice = Declared(words[1]);
        if (!pDevice)
            return false;
        auto* pSwitch = dynamic_cast<CStdDevice*>(pDevice);
        if (!pSwitch || !pSwitch->IsSwitch())
            return Fail("device '" + words[1] + "' is not a switch");
        uint64_t ullPort = 0;
        if (!text::ParseUnsigned(words[3], 255, &ullPort) || ullPort >= pSwitch->PortCount())
            return Fail("switch '" + words[1] + "' has no port '" + words[3] + "'");
        int nTable = -1;
        for (size_t i = 4; i < words.size(); ++i)
        {
            std::string strKey, strValue;
            text::KeyValue(words[i], &strKey, &strValue);
            uint64_t ullTable = 0;
            if (strKey != "table")
                return Fail("unknown route option '" + words[i] + "'");
            if (!pSwitch->Config().bPerPortRouting)
                return Fail("switch '" + words[1] + "' has one routing table; 'table' needs 'perport'");
            if (!Number(strKey, strValue, pSwitch->PortCount() - 1u, &ullTable))
                return false;
            nTable = static_cast<int>(ullTable);
        }
        if (words[2] == "default")
        {
            if (nTable >= 0)
                return Fail("the default port is one for the whole switch");
            pSwitch->SetDefaultPort(static_cast<uint8_t>(ullPort));
            return true;
        }
        uint64_t ullDestId = 0;
        if (!text::ParseUnsigned(words[2], pSwitch->Config().wRouteLimit, &ullDestId))
            return Fail("'" + words[2] + "' is not a destination ID within the route limit of '" + words[1] +
                        "' (" + std::to_string(pSwitch->Config().wRouteLimit) + ")");
        pSwitch->SetRouteEntry(static_cast<uint32_t>(ullDestId), static_cast<uint8_t>(ullPort), nTable);
        return true;
    }

    bool Reg(const std::vector<std::string>& words)
    {
        if (words.size() != 4)
            return Fail("a reg line reads: reg DEVICE OFFSET VALUE");
        CSimDevice* pDevice = Declared(words[1]);
        if (!pDevice)
            return false;
        uint64_t ullOffset = 0, ullValue = 0;
        if (!text::ParseUnsigned(words[2], 0xFFFFFC, &ullOffset) || (ullOffset & 3) != 0)
            return Fail("'" + words[2] + "' is not a word offset in the 24-bit configuration space");
        if (!Number("value", words[3], UINT32_MAX, &ullValue))
            return false;
        pDevice->SetReg(static_cast<uint32_t>(ullOffset), static_cast<uint32_t>(ullValue));
        return true;
    }

    bool Fault(const std::vector<std::string>& words)
    {
        if (words.size() != 2)
            return Fail("a fault line reads: fault KIND:KEY=VALUE,... (no blanks)");
        std::string strError;
        if (!ApplyFabricFault(words[1], *m_pFabric, &strError))
            return Fail(strError);
        return true;
    }

    std::string m_strName;
    std::unique_ptr<CSimFabric> m_pFabric;
    int m_nLine = 0;
    std::string m_strError;
    bool m_bHost = false;
    std::map<const CSimLink*, int> m_linkLines; // line of each link statement
};
} // namespace

std::unique_ptr<CSimFabric> LoadTopologyText(const std::string& strText, std::string* pError)
{
    return CTopologyReader("<text>").Read(strText, pError);
}

std::unique_ptr<CSimFabric> LoadTopologyFile(const std::string& strPath, std::string* pError)
{
    std::ifstream in(strPath, std::ios::binary);
    if (!in)
    {
        if (pError)
            *pError = strPath + ": cannot open the topology file";
        return nullptr;
    }
    std::ostringstream text;
    text << in.rdbuf();
    return CTopologyReader(strPath).Read(text.str(), pError);
}
} // namespace nvsim

#include "CliTarget.h"

#include "JtagLink.h"

#include "ConnectionChoice.h"
#include "I2cPod.h"
#include "NumberText.h"

#include "NVXLStatus.h"
#include "Preferences.h"
#include "Primitives.h"
#include "RS232Comms.h"
#include "StatusText.h"
#include "TargetClient.h"
#include "TargetConnection.h"
#include "UserInterface.h"

#include <QCoreApplication>

#include <algorithm>
#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>

SCliGlobals& CliGlobals()
{
    static SCliGlobals globals;
    return globals;
}

namespace
{
const QString kRS232Section = QStringLiteral("Preferences/RS232");

// The number of the serial device of the globals in the list of serial devices; the device is
// added to the list for this run when it has another name.
uint32_t CliSerialPort()
{
    const QString strDevice = QString::fromStdString(CliGlobals().strSerial);
    qsizetype iIndex = SerialPortCandidates().indexOf(strDevice);
    if (iIndex < 0)
    {
        SetPreferenceOverride(kRS232Section, QStringLiteral("ExtraPorts"), strDevice);
        iIndex = SerialPortCandidates().indexOf(strDevice);
    }
    return static_cast<uint32_t>(std::max<qsizetype>(iIndex, 0));
}

// The serial port watches its device through the application object's event dispatcher, which a
// command otherwise only makes when it needs one.
void EnsureApplication()
{
    if (!QCoreApplication::instance())
    {
        static int s_argc = 1;
        static char s_szName[] = "norvanta-cli";
        static char* s_argv[] = {s_szName, nullptr};
        static QCoreApplication s_application(s_argc, s_argv);
    }
}
} // namespace

bool SetCliSerialOption(const std::string& strOption, const std::string& strValue)
{
    if (strOption == "--serial")
    {
        CliGlobals().strSerial = strValue;
        return true;
    }
    if (strOption == "--baud")
    {
        bool bOk = false;
        const int iRate = QString::fromStdString(strValue).toInt(&bOk, 10);
        if (!bOk || std::find(BaudRates().begin(), BaudRates().end(), iRate) == BaudRates().end())
        {
            std::fprintf(stderr, "Please select a valid BAUD Rate.\n");
            return false;
        }
        SetPreferenceOverride(kRS232Section, QStringLiteral("BaudRate"), QString::number(iRate));
        return true;
    }
    ERS232Flow eFlow = eFlowNone;
    if (!ParseRS232Flow(QString::fromStdString(strValue), &eFlow))
    {
        std::fprintf(stderr, "Please select a valid flow control setting.\n");
        return false;
    }
    SetPreferenceOverride(kRS232Section, QStringLiteral("Handshake"), QString::number(eFlow));
    return true;
}

CliConnection OpenCliTarget()
{
    auto close = [](CTargetConnection* pConnection)
    {
        if (pConnection->IsConnected())
        {
            pConnection->Disconnect();
        }
        delete pConnection;
    };
    CliConnection pConnection(new CTargetConnection, close);
    if (!CliGlobals().strJtag.empty())
    {
        uint32_t ulAddressWord = 0;
        if (!ParseJtagTarget(CliGlobals().strJtag, &ulAddressWord))
        {
            std::fprintf(stderr, "--jtag wants POD:POSITION, such as USB0:1\n");
            return {nullptr, close};
        }
        if (!pConnection->OpenTarget(eConnJTAG, ulAddressWord))
        {
            return {nullptr, close};
        }
        return pConnection;
    }
    if (CliGlobals().lPcie >= 0)
    {
        if (!pConnection->OpenTarget(eConnTsi721Driver, static_cast<uint32_t>(CliGlobals().lPcie)))
        {
            return {nullptr, close};
        }
        return pConnection;
    }
    if (!CliGlobals().strSerial.empty())
    {
        EnsureApplication();
        if (!pConnection->OpenTarget(eConnRS232, CliSerialPort()))
        {
            return {nullptr, close};
        }
        return pConnection;
    }
    if (!CliGlobals().strI2c.empty())
    {
        int32_t nChoice = 0;
        uint32_t ulWord = 0;
        std::string strError;
        if (!ParseCliI2cTarget(CliGlobals().strI2c, CliGlobals().bI2cTenBit, &nChoice, &ulWord, &strError))
        {
            ShowMessage(QString::fromStdString(strError));
            return {nullptr, close};
        }
        if (!pConnection->OpenTarget(nChoice, ulWord))
        {
            return {nullptr, close};
        }
        return pConnection;
    }
    in_addr address{};
    if (inet_pton(AF_INET, CliGlobals().strServer.c_str(), &address) != 1 || address.s_addr == 0)
    {
        ShowMessage(QStringLiteral("Please enter a valid IP address."));
        return {nullptr, close};
    }
    const int32_t nChoice = CliGlobals().bUdp ? eConnInternetUDP : eConnInternetTCP;
    if (!pConnection->OpenTarget(nChoice, ntohl(address.s_addr)))
    {
        return {nullptr, close};
    }
    return pConnection;
}

bool ParseJtagTarget(const std::string& strText, uint32_t* pulAddressWord)
{
    const size_t nColon = strText.find(':');
    if (nColon == std::string::npos)
    {
        return false;
    }
    std::string strPod = strText.substr(0, nColon);
    if (strPod.rfind("USB", 0) == 0)
    {
        strPod = strPod.substr(3);
    }
    const std::string strPosition = strText.substr(nColon + 1);
    auto number = [](const std::string& strDigits, uint32_t ulMax, uint32_t* pulValue)
    {
        if (strDigits.empty() || strDigits.size() > 5 ||
            strDigits.find_first_not_of("0123456789") != std::string::npos)
        {
            return false;
        }
        *pulValue = static_cast<uint32_t>(std::stoul(strDigits));
        return *pulValue <= ulMax;
    };
    uint32_t ulPod = 0;
    uint32_t ulPosition = 0;
    if (!number(strPod, kMaxJtagPods - 1, &ulPod) || !number(strPosition, 0xFFFF, &ulPosition))
    {
        return false;
    }
    *pulAddressWord = JtagAddressWord(ulPod, ulPosition);
    return true;
}

bool ParseCliI2cTarget(const std::string& strText, bool bTenBit, int32_t* pnChoice, uint32_t* pulAddressWord,
                       std::string* pstrError)
{
    const size_t nColon = strText.rfind(':');
    const std::string strUsage = "--i2c takes CHANNEL:ADDRESS (CHANNEL: N for /dev/i2c-N, ftdiN, podN)";
    if (nColon == std::string::npos || nColon == 0)
    {
        *pstrError = strUsage;
        return false;
    }
    std::string strChannel = strText.substr(0, nColon);
    uint32_t ulPod = eI2cPodKernel;
    for (const auto& [pszPrefix, ePod] : {std::pair{"ftdi", eI2cPodFtdi}, std::pair{"pod", eI2cPodLibrary}})
    {
        if (strChannel.rfind(pszPrefix, 0) == 0)
        {
            ulPod = ePod;
            strChannel.erase(0, std::strlen(pszPrefix));
        }
    }
    char* pEnd = nullptr;
    const unsigned long ulChannel = std::strtoul(strChannel.c_str(), &pEnd, 10);
    if (strChannel.empty() || *pEnd != '\0' || ulChannel > 0xFF)
    {
        *pstrError = strUsage;
        return false;
    }
    uint64_t ulAddress = 0;
    if (!NumberFromText(QString::fromStdString(strText.substr(nColon + 1)), 0xFFFF, &ulAddress))
    {
        *pstrError = InvalidEntryText().toStdString();
        return false;
    }
    if (!I2CAddressInRange(static_cast<uint32_t>(ulAddress), !bTenBit))
    {
        *pstrError = "Address out of range.";
        return false;
    }
    *pnChoice = bTenBit ? eConnI2C10Bit : eConnI2C7Bit;
    *pulAddressWord =
        I2CAddressWord(static_cast<uint32_t>(ulAddress), ulPod, static_cast<uint32_t>(ulChannel));
    return true;
}

void SetCliHostLink(CPEPrimitive& host)
{
    host.bHasHostLink = true;
    host.bHostLinkOpen = true;
    if (!CliGlobals().strJtag.empty())
    {
        host.eConnectionType = eConnJTAG;
        return;
    }
    if (CliGlobals().lPcie >= 0)
    {
        host.eConnectionType = eConnTsi721Driver;
        host.uNetworkServerAddress = static_cast<uint32_t>(CliGlobals().lPcie);
        return;
    }
    if (!CliGlobals().strSerial.empty())
    {
        host.uNetworkServerAddress = CliSerialPort();
        host.eConnectionType = eConnRS232;
        return;
    }
    in_addr address{};
    inet_pton(AF_INET, CliGlobals().strServer.c_str(), &address);
    host.uNetworkServerAddress = ntohl(address.s_addr);
    host.eConnectionType = CliGlobals().bUdp ? eConnInternetUDP : eConnInternetTCP;
}

int CliFailure(int32_t nStatus)
{
    std::fprintf(stderr, "%s\n", RioErrorText(nStatus).toLocal8Bit().constData());
    // After a RapidIO error only the target knows more: ask it for its list of errors.
    CTargetClient& client = CTargetClient::Instance();
    if (ClientStatusToHal(nStatus) == NVXL_ERR_RIO && client.Link() && client.Link()->IsConnected())
    {
        char szErrors[2048] = "";
        if (client.GetRioErrors(szErrors, sizeof(szErrors)) == 0 && szErrors[0])
        {
            std::fprintf(stderr, "%s\n", szErrors);
        }
        else
        {
            std::fprintf(stderr,
                         "A RapidIO Error was encountered.  Additional information is not available.\n");
        }
    }
    return 1;
}

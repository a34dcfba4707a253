#include "CliTarget.h"

#include "ConnectionChoice.h"
#include "I2cPod.h"
#include "NumberText.h"

#include "NVXLStatus.h"
#include "Primitives.h"
#include "StatusText.h"
#include "TargetClient.h"
#include "TargetConnection.h"
#include "UserInterface.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>

SCliGlobals& CliGlobals()
{
    static SCliGlobals globals;
    return globals;
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

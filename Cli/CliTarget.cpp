#include "CliTarget.h"

#include "StatusText.h"
#include "TargetConnection.h"
#include "UserInterface.h"

#include <arpa/inet.h>
#include <cstdio>

SCliGlobals& CliGlobals()
{
    static SCliGlobals globals;
    return globals;
}

std::unique_ptr<CTargetConnection, void (*)(CTargetConnection*)> OpenCliTarget()
{
    auto close = [](CTargetConnection* pConnection) {
        if (pConnection->IsConnected())
        {
            pConnection->Disconnect();
        }
        delete pConnection;
    };
    std::unique_ptr<CTargetConnection, void (*)(CTargetConnection*)> pConnection(new CTargetConnection, close);
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

int CliFailure(int32_t nStatus)
{
    std::fprintf(stderr, "%s\n", RioErrorText(nStatus).toLocal8Bit().constData());
    return 1;
}

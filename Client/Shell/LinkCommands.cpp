#include "LinkCommands.h"

#include "FFRoutes.h"
#include "HalWrappers.h"
#include "NetworkCommands.h"
#include "RouteSearch.h"
#include "StatusText.h"
#include "TargetClient.h"
#include "UserInterface.h"

namespace
{
// Offsets in a LP-Serial extended features block (RapidIO Part 6): the Port n Error and Status
// CSR and the Port n Control CSR of port n at 0x20 n from these.
constexpr uint32_t kPortErrorStatus = 0x58;
constexpr uint32_t kPortControl = 0x5C;
constexpr uint32_t kPortStride = 0x20;

// The HAL's answer of a repair that found nothing to do, as a client status.
constexpr int32_t kAckIDsAlreadySynched = -73;

const char* YesNo(bool bOn)
{
    return bOn ? "Yes" : "No";
}

QString SupportedWidths(uint32_t ulControl)
{
    // Port Width Support (bits 31..30) and Extended Port Width Support (bits 13..12), over the
    // single lane that every port has.
    QStringList widths{QStringLiteral("x1")};
    if (ulControl & 0x80000000u)
    {
        widths << QStringLiteral("x2");
    }
    if (ulControl & 0x40000000u)
    {
        widths << QStringLiteral("x4");
    }
    if (ulControl & 0x00002000u)
    {
        widths << QStringLiteral("x8");
    }
    if (ulControl & 0x00001000u)
    {
        widths << QStringLiteral("x16");
    }
    return widths.join(QStringLiteral(", "));
}

QString InitializedWidth(uint32_t ulControl)
{
    switch ((ulControl >> 27) & 7u)
    {
    case 0:
        return QStringLiteral("x1 (lane 0)");
    case 1:
        return QStringLiteral("x1 (lane R)");
    case 2:
        return QStringLiteral("x4");
    case 3:
        return QStringLiteral("x2");
    case 4:
        return QStringLiteral("x8");
    case 5:
        return QStringLiteral("x16");
    default:
        return QStringLiteral("Reserved");
    }
}

QString WidthOverride(uint32_t ulControl)
{
    switch ((ulControl >> 24) & 7u)
    {
    case 0:
        return QStringLiteral("No override");
    case 2:
        return QStringLiteral("Force x1, lane 0");
    case 3:
        return QStringLiteral("Force x1, lane R");
    case 1:
        return QStringLiteral("Reserved");
    default:
        return QStringLiteral("Width modes chosen (%1b)").arg((ulControl >> 24) & 7u, 3, 2, QLatin1Char('0'));
    }
}

QString PortState(uint32_t ulStatus)
{
    QStringList states;
    if (ulStatus & 0x1u)
    {
        states << QStringLiteral("Uninitialized");
    }
    if (ulStatus & 0x2u)
    {
        states << QStringLiteral("OK");
    }
    if (ulStatus & 0x4u)
    {
        states << QStringLiteral("Error");
    }
    if (ulStatus & 0x100u)
    {
        states << QStringLiteral("Input error-stopped");
    }
    if (ulStatus & 0x10000u)
    {
        states << QStringLiteral("Output error-stopped");
    }
    if (ulStatus & 0x01000000u)
    {
        states << QStringLiteral("Output dropping packets");
    }
    return states.isEmpty() ? QStringLiteral("Unknown") : states.join(QStringLiteral(", "));
}

// Finds the way to a PE as every command on the hardware does, showing why there is none.
bool Reach(const CNetworkDocument& document, const CPEPrimitive& pe, uint32_t* pulDestID, uint8_t* puchHop)
{
    const int32_t nStatus = MapRouteToPE(document, pe.iNodeNumber, pulDestID, puchHop);
    if (nStatus == kNoRouteStatus)
    {
        ShowMessage(QStringLiteral("Unable to find a route to that PE.\n"));
        return false;
    }
    if (nStatus != 0)
    {
        ShowMessage(QStringLiteral("Unable to configure routing tables.\n"));
        return false;
    }
    return true;
}

// The link's near end, or the message that there is none.
bool CommandEnd(const CNetworkDocument& document, int iConnection, const CPEPrimitive** ppPE, int* piPort)
{
    if (NearLinkEnd(document, iConnection, ppPE, piPort))
    {
        return true;
    }
    ShowMessage(QStringLiteral("Unable to find a route to that PE.\n"));
    return false;
}
} // namespace

bool NearLinkEnd(const CNetworkDocument& document, int iConnection, const CPEPrimitive** ppPE, int* piPort)
{
    const CConnectionPrimitive* pLink = document.pCurrentConnections->GetByNodeNumber(iConnection);
    const CPEPrimitive* pHost = MapHostPE(document);
    if (!pLink || !pHost)
    {
        return false;
    }
    int iBest = -1;
    for (int iEnd = 0; iEnd < 2; ++iEnd)
    {
        const int iNode = iEnd == 0 ? pLink->iPE1 : pLink->iPE2;
        const CPEPrimitive* pPE = document.pCurrentPEs->GetByNodeNumber(iNode);
        if (!pPE || (pPE->uType & (kPETypeNull | kPETypeUnknown)))
        {
            continue;
        }
        CRoute route;
        const int iHops =
            iNode == pHost->iNodeNumber
                ? 0
                : FindShortest(route, *document.pCurrentConnections,
                               static_cast<uint32_t>(pHost->iNodeNumber), static_cast<uint32_t>(iNode));
        if (iNode != pHost->iNodeNumber && iHops == 0)
        {
            continue;
        }
        if (iBest < 0 || iHops < iBest)
        {
            iBest = iHops;
            *ppPE = pPE;
            *piPort = iEnd == 0 ? pLink->iPE1Port : pLink->iPE2Port;
        }
    }
    return iBest >= 0;
}

bool LinkStatusText(const CNetworkDocument& document, const CPEPrimitive& pe, int iPort, QString* pstrText)
{
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    if (!Reach(document, pe, &ulDestID, &uchHop))
    {
        return false;
    }
    uint16_t wBlock = 0;
    uint32_t ulWords[2] = {0, 0};
    if (GetExtFeaturesPtr(0, ulDestID, uchHop, &wBlock) != 0 || wBlock == 0 ||
        CTargetClient::Instance().Maint_read(
            0, ulDestID, uchHop, wBlock + kPortErrorStatus + kPortStride * static_cast<uint32_t>(iPort),
            ulWords, 2, 4, 0) != 0)
    {
        ShowMessage(QStringLiteral("Unable to access PE."));
        return false;
    }
    const uint32_t ulStatus = ulWords[0];
    const uint32_t ulControl = ulWords[1];
    QStringList lines;
    lines << QStringLiteral("Port Type:\t\tSerial RapidIO")
          << QStringLiteral("Port State:\t\t%1").arg(PortState(ulStatus))
          << QStringLiteral("Power Up Port Width:\t%1").arg(SupportedWidths(ulControl))
          << QStringLiteral("Current Port Width:\t%1").arg(InitializedWidth(ulControl))
          << QStringLiteral("Override Width:\t\t%1").arg(WidthOverride(ulControl))
          << QString::asprintf("Port Disabled:\t\t%s", YesNo(ulControl & 0x00800000u))
          << QString::asprintf("Output Port Enabled:\t%s", YesNo(ulControl & 0x00400000u))
          << QString::asprintf("Input Port Enabled:\t%s", YesNo(ulControl & 0x00200000u))
          << QString::asprintf("Error Checking Disabled:\t%s", YesNo(ulControl & 0x00100000u))
          << QString::asprintf("Multicast Enabled:\t%s", YesNo(ulControl & 0x00080000u))
          << QString::asprintf("Enumeration Boundary:\t%s", YesNo(ulControl & 0x00020000u));
    uint32_t ulSpeed = 0;
    if (GetPortSpeedMHz(pe.ManufID, pe.DeviceID, 0, ulDestID, uchHop, static_cast<uint8_t>(iPort),
                        &ulSpeed) == 0 &&
        ulSpeed != 0)
    {
        lines << QString::asprintf("Port Speed:\t\t%u MHz", ulSpeed);
    }
    *pstrText = lines.join(QLatin1Char('\n'));
    return true;
}

void LinkStatusCommand(const CNetworkDocument& document, int iConnection)
{
    const CPEPrimitive* pPE = nullptr;
    int iPort = 0;
    QString strText;
    if (CommandEnd(document, iConnection, &pPE, &iPort) && LinkStatusText(document, *pPE, iPort, &strText))
    {
        UI().ShowMessage(strText,
                         QString::asprintf("Link Status - Node %d, Port %d", pPE->iNodeNumber + 1, iPort),
                         EMessageKind::Information);
    }
}

void ResyncAckIDsCommand(const CNetworkDocument& document, int iConnection)
{
    const CPEPrimitive* pPE = nullptr;
    int iPort = 0;
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    if (!CommandEnd(document, iConnection, &pPE, &iPort) || !Reach(document, *pPE, &ulDestID, &uchHop))
    {
        return;
    }
    const int32_t nStatus =
        ResyncAckIDs(pPE->ManufID, pPE->DeviceID, 0, ulDestID, uchHop, static_cast<uint8_t>(iPort));
    if (nStatus == kAckIDsAlreadySynched)
    {
        ShowMessage(QStringLiteral("AckIDs are not out of synch on this port."), EMessageKind::Information);
    }
    else if (nStatus == 0)
    {
        ShowMessage(QStringLiteral("AckIDs have been re-synched."), EMessageKind::Information);
    }
    else
    {
        ShowMessage(QStringLiteral("Unable to re-synch AckIDs.  The following\nerror was reported:\n\n%1")
                        .arg(RioErrorText(nStatus)));
    }
}

void SetPortSpeedCommand(const CNetworkDocument& document, int iConnection)
{
    const CPEPrimitive* pPE = nullptr;
    int iPort = 0;
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    if (!CommandEnd(document, iConnection, &pPE, &iPort) || !Reach(document, *pPE, &ulDestID, &uchHop))
    {
        return;
    }
    uint32_t ulSpeed = 0;
    if (GetPortSpeedMHz(pPE->ManufID, pPE->DeviceID, 0, ulDestID, uchHop, static_cast<uint8_t>(iPort),
                        &ulSpeed) != 0)
    {
        ulSpeed = 0;
    }
    uint64_t ulNew = ulSpeed;
    const QString strTitle =
        QString::asprintf("Set Port Speed - Node %d, Port %d", pPE->iNodeNumber + 1, iPort);
    if (!UI().AskNumber(QStringLiteral("Port speed in MHz (1250, 2500, 3125, 5000 or 6250):"), strTitle,
                        &ulNew))
    {
        return;
    }
    if (AskDontAsk(
            QStringLiteral("LPSCWarning"),
            QStringLiteral(
                "NOTE:  Not changing the port speed of the link partner will cause the link to go down"),
            strTitle) != eAnswerYes)
    {
        return;
    }
    const int32_t nStatus = SetPortSpeedMHz(pPE->ManufID, pPE->DeviceID, 0, ulDestID, uchHop,
                                            static_cast<uint8_t>(iPort), static_cast<uint32_t>(ulNew));
    if (nStatus != 0)
    {
        ShowMessage(RioErrorText(nStatus));
    }
}

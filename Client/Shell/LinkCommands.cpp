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

// The texts of the bits of a register that are set, joined by commas.
struct SBitText
{
    uint32_t ulMask;
    const char* pszText;
};
template <size_t N> QStringList SetBits(uint32_t ulValue, const SBitText (&bits)[N])
{
    QStringList texts;
    for (const SBitText& bit : bits)
    {
        if (ulValue & bit.ulMask)
        {
            texts << QLatin1String(bit.pszText);
        }
    }
    return texts;
}

QString SupportedWidths(uint32_t ulControl)
{
    // Port Width Support (bits 31..30) and Extended Port Width Support (bits 13..12), over the
    // single lane that every port has.
    static const SBitText kWidths[] = {
        {0x80000000u, "x2"}, {0x40000000u, "x4"}, {0x00002000u, "x8"}, {0x00001000u, "x16"}};
    return (QStringList{QStringLiteral("x1")} + SetBits(ulControl, kWidths)).join(QStringLiteral(", "));
}

QString InitializedWidth(uint32_t ulControl)
{
    static const char* const kWidths[8] = {"x1 (lane 0)", "x1 (lane R)", "x4",       "x2",
                                           "x8",          "x16",         "Reserved", "Reserved"};
    return QLatin1String(kWidths[(ulControl >> 27) & 7u]);
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
    // The state bits of the Port n Error and Status CSR.
    static const SBitText kStates[] = {{0x1u, "Uninitialized"},
                                       {0x2u, "OK"},
                                       {0x4u, "Error"},
                                       {0x100u, "Input error-stopped"},
                                       {0x10000u, "Output error-stopped"},
                                       {0x01000000u, "Output dropping packets"}};
    const QStringList states = SetBits(ulStatus, kStates);
    return states.isEmpty() ? QStringLiteral("Unknown") : states.join(QStringLiteral(", "));
}

// A port of the hardware that a link command works on: the link's near end and the way to it.
struct SLinkPort
{
    const CPEPrimitive* pPE = nullptr;
    int iPort = 0;
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
};

// Finds the link's near end and the way to it as every command on the hardware does, showing why
// there is none.
bool ReachNearEnd(const CNetworkDocument& document, int iConnection, SLinkPort* pPort)
{
    int32_t nStatus = kNoRouteStatus;
    if (NearLinkEnd(document, iConnection, &pPort->pPE, &pPort->iPort))
    {
        nStatus = MapRouteToPE(document, pPort->pPE->iNodeNumber, &pPort->ulDestID, &pPort->uchHop);
    }
    if (nStatus == kNoRouteStatus)
    {
        ShowMessage(QStringLiteral("Unable to find a route to that PE.\n"));
    }
    else if (nStatus != 0)
    {
        ShowMessage(QStringLiteral("Unable to configure routing tables.\n"));
    }
    return nStatus == 0;
}

// The status of the port as lines of text ("Port Type:\t\tSerial RapidIO" first): widths, state
// and the enable bits of its control register. False when its registers can't be read.
bool LinkStatusText(const SLinkPort& port, QString* pstrText)
{
    const CPEPrimitive& pe = *port.pPE;
    uint16_t wBlock = 0;
    uint32_t ulWords[2] = {0, 0};
    if (GetExtFeaturesPtr(0, port.ulDestID, port.uchHop, &wBlock) != 0 || wBlock == 0 ||
        CTargetClient::Instance().Maint_read(0, port.ulDestID, port.uchHop,
                                             wBlock + kPortErrorStatus +
                                                 kPortStride * static_cast<uint32_t>(port.iPort),
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
    if (GetPortSpeedMHz(pe.ManufID, pe.DeviceID, 0, port.ulDestID, port.uchHop,
                        static_cast<uint8_t>(port.iPort), &ulSpeed) == 0 &&
        ulSpeed != 0)
    {
        lines << QString::asprintf("Port Speed:\t\t%u MHz", ulSpeed);
    }
    *pstrText = lines.join(QLatin1Char('\n'));
    return true;
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

void LinkStatusCommand(const CNetworkDocument& document, int iConnection)
{
    SLinkPort port;
    QString strText;
    if (ReachNearEnd(document, iConnection, &port) && LinkStatusText(port, &strText))
    {
        UI().ShowMessage(
            strText,
            QString::asprintf("Link Status - Node %d, Port %d", port.pPE->iNodeNumber + 1, port.iPort),
            EMessageKind::Information);
    }
}

void ResyncAckIDsCommand(const CNetworkDocument& document, int iConnection)
{
    SLinkPort port;
    if (!ReachNearEnd(document, iConnection, &port))
    {
        return;
    }
    const int32_t nStatus = ResyncAckIDs(port.pPE->ManufID, port.pPE->DeviceID, 0, port.ulDestID, port.uchHop,
                                         static_cast<uint8_t>(port.iPort));
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
    SLinkPort port;
    if (!ReachNearEnd(document, iConnection, &port))
    {
        return;
    }
    const CPEPrimitive& pe = *port.pPE;
    const uint8_t uchPort = static_cast<uint8_t>(port.iPort);
    uint32_t ulSpeed = 0;
    if (GetPortSpeedMHz(pe.ManufID, pe.DeviceID, 0, port.ulDestID, port.uchHop, uchPort, &ulSpeed) != 0)
    {
        ulSpeed = 0;
    }
    uint64_t ulNew = ulSpeed;
    const QString strTitle =
        QString::asprintf("Set Port Speed - Node %d, Port %d", pe.iNodeNumber + 1, port.iPort);
    if (!UI().AskNumber(QStringLiteral("Port speed in MHz (1250, 2500, 3125, 5000 or 6250):"), strTitle,
                        &ulNew) ||
        AskDontAsk(
            QStringLiteral("LPSCWarning"),
            QStringLiteral(
                "NOTE:  Not changing the port speed of the link partner will cause the link to go down"),
            strTitle) != eAnswerYes)
    {
        return;
    }
    const int32_t nStatus = SetPortSpeedMHz(pe.ManufID, pe.DeviceID, 0, port.ulDestID, port.uchHop, uchPort,
                                            static_cast<uint32_t>(ulNew));
    if (nStatus != 0)
    {
        ShowMessage(RioErrorText(nStatus));
    }
}

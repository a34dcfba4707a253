#include "PEReport.h"

#include "DeviceInfo.h"
#include "InstallPaths.h"
#include "NetworkDocument.h"
#include "Primitives.h"
#include "ReportTemplate.h"
#include "UserInterface.h"

#include <QFileInfo>

#include <algorithm>

namespace
{
// The PEs a report lists: those of the map on show, by node number, but the Null ones (a port
// that leads nowhere).
std::vector<const CPEPrimitive*> ReportedPEs(const CNetworkDocument& map)
{
    std::vector<const CPEPrimitive*> pes;
    if (!map.pCurrentPEs)
    {
        return pes;
    }
    for (const CPEPrimitive* pPE : map.pCurrentPEs->LivePEsInNodeOrder())
    {
        if (!(pPE->uType & kPETypeNull))
        {
            pes.push_back(pPE);
        }
    }
    return pes;
}

// What is wrong with a port, in words; empty when nothing is.
QString PortError(const SPortHealth& health)
{
    if (!health.Reason.isEmpty())
    {
        return health.Reason;
    }
    if (health.bDown)
    {
        return QStringLiteral("Port Down");
    }
    return health.bError ? QStringLiteral("Port Error") : QString();
}
} // namespace

QString RoutingFormatText(const CPEPrimitive& pe)
{
    if (pe.bHasPerPortRoutingTables)
    {
        return QStringLiteral("One per ingress port");
    }
    // Only a switch routes between ports of its own.
    if (pe.iNumLocalPorts <= 0 || !(pe.uType & kPETypeSwitch))
    {
        return QStringLiteral("N/A");
    }
    return QStringLiteral("One for all ports");
}

QString PortConfigText(const CPEPrimitive& pe)
{
    QStringList ports;
    const int nPorts = std::clamp(pe.iNumLocalPorts, 0, kMaxPorts);
    for (int i = 0; i < nPorts; ++i)
    {
        const QString strError = PortError(pe.PortHealth[static_cast<size_t>(i)]);
        ports << QStringLiteral("Port %1 - %2")
                     .arg(i)
                     .arg(strError.isEmpty() ? QStringLiteral("No Errors") : ReportEscape(strError));
    }
    return ports.join(QStringLiteral("<br>"));
}

QStringList PEReportKeys()
{
    return {QStringLiteral("NODE"),       QStringLiteral("TYPE"),     QStringLiteral("ICON"),
            QStringLiteral("COMMONNAME"), QStringLiteral("DEVICEID"), QStringLiteral("VENDORID"),
            QStringLiteral("PORTCONFIG"), QStringLiteral("RTFORMAT"), QStringLiteral("STATUS"),
            QStringLiteral("COMMENT")};
}

QStringList PEReportValues(const CPEPrimitive& pe, const QString& strIcon)
{
    const QString strName = pe.CommonName.isEmpty() ? pe.GetTypeString() : pe.CommonName;
    QString strComment = ReportEscape(pe.Comment);
    strComment.replace(QLatin1Char('\n'), QStringLiteral("<br>"));
    return {QStringLiteral("%1 - %2").arg(pe.iNodeNumber + 1).arg(ReportEscape(strName)),
            ReportEscape(pe.GetTypeString()),
            strIcon,
            ReportEscape(pe.CommonName),
            QString::asprintf("%04Xh", pe.DeviceID),
            QString::asprintf("%04Xh", pe.ManufID),
            PortConfigText(pe),
            RoutingFormatText(pe),
            ReportEscape(pe.GetStatusString()),
            strComment};
}

CPEReport::CPEReport(const CNetworkDocument& map) : CReport(eReportPEInfo), m_map(map)
{
    SetMapName(map.FileName);
}

QString CPEReport::IconSource(const CPEPrimitive& pe)
{
    // Set by the PE's identity in this run. The map may come from another machine: the icon
    // directory in force comes first.
    const QString strName = QFileInfo(pe.BitmapNoSel).fileName();
    if (!strName.isEmpty())
    {
        if (const QString strHere = BitmapDirectory() + strName; QFileInfo(strHere).isFile())
        {
            return strHere;
        }
        if (QFileInfo(pe.BitmapNoSel).isFile())
        {
            return pe.BitmapNoSel;
        }
    }
    // Read from a map file: the symbol names the family, and the register library says whether
    // the device is a known one; the type stands in for a missing symbol.
    QString strSymbol = pe.Symbol;
    if (strSymbol.isEmpty())
    {
        const QString strEnd = (pe.uType & kPETypeMemory) ? QStringLiteral("mem") : QStringLiteral("reg");
        strSymbol = pe.uType == kPETypeNull         ? QStringLiteral("null-reg")
                    : (pe.uType & kPETypeSwitch)    ? QStringLiteral("sw-") + strEnd
                    : (pe.uType & kPETypeProcessor) ? QStringLiteral("ep-") + strEnd
                    : (pe.uType & kPETypeBridge)    ? QStringLiteral("br-") + strEnd
                    : (pe.uType & kPETypeMemory)    ? QStringLiteral("mem-reg")
                                                    : QStringLiteral("unkwn-reg");
    }
    const bool bSpecial = pe.uType == kPETypeNull || pe.uType == kPETypeUnknown;
    const bool bKnown = bSpecial || CDeviceInfo::DeviceFilesExist(pe.DeviceID, pe.ManufID);
    const QString strPath = BitmapDirectory() + strSymbol +
                            (bKnown ? QStringLiteral("-kwn") : QStringLiteral("-unkwn")) +
                            QStringLiteral("-lrg-nosel.svg");
    return QFileInfo(strPath).isFile() ? strPath : QString();
}

bool CPEReport::CheckContent()
{
    if (ReportedPEs(m_map).empty())
    {
        ShowMessage(QStringLiteral("There are no PEs in the map to report."));
        return false;
    }
    return true;
}

bool CPEReport::CopyExtras()
{
    QStringList copied;
    for (const CPEPrimitive* pPE : ReportedPEs(m_map))
    {
        const QString strSource = IconSource(*pPE);
        const QString strName = QFileInfo(strSource).fileName();
        if (strSource.isEmpty() || copied.contains(strName))
        {
            continue;
        }
        if (!CopyToOutput(strSource, strName))
        {
            return false;
        }
        copied << strName;
    }
    return true;
}

bool CPEReport::WriteBody()
{
    if (!WritePiece(QStringLiteral("per_peh.htm")))
    {
        return false;
    }
    const QStringList keys = PEReportKeys();
    for (const CPEPrimitive* pPE : ReportedPEs(m_map))
    {
        const QString strIcon = QFileInfo(IconSource(*pPE)).fileName();
        if (!WritePiece(QStringLiteral("per_pei.htm"), keys, PEReportValues(*pPE, strIcon)))
        {
            return false;
        }
    }
    return WritePiece(QStringLiteral("per_pef.htm"));
}

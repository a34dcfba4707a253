// The PE information report: one entry per PE of the map on show, with its identity, picture,
// ports, kind of routing table, status and comment.
#pragma once

#include "Report.h"

#include <QSet>

class CNetworkDocument;
class CPEPrimitive;

// The markers of one PE's piece, and their values for a PE whose picture, copied beside the page,
// is named strIcon (empty when it has none). Values are ready for the page: texts are escaped,
// the port list is joined by "<br>".
QStringList PEReportKeys();
QStringList PEReportValues(const CPEPrimitive& pe, const QString& strIcon);

// "One per ingress port", "N/A", or "One for all ports".
QString RoutingFormatText(const CPEPrimitive& pe);
// "Port %d - %s" for each port, joined by "<br>"; "No Errors" for a port without one.
QString PortConfigText(const CPEPrimitive& pe);

class CPEReport : public CReport
{
public:
    explicit CPEReport(const CNetworkDocument& map);

protected:
    // "There are no PEs in the map to report." for an empty map.
    bool CheckContent() override;
    bool CopyExtras() override;
    bool WriteBody() override;

private:
    // The picture file of a PE in the icon directory, or empty.
    static QString IconSource(const CPEPrimitive& pe);

    const CNetworkDocument& m_map;
};

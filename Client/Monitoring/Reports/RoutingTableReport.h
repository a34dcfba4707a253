// The routing table report: for each switch of the map on show, each of its tables as rows of an
// output port and the destination IDs routed to it.
#pragma once

#include "Report.h"

#include <cstdint>
#include <utility>
#include <vector>

class CNetworkDocument;
class CRoutingTable;

// "HEX", "DEC" or "BIN": the number base in use.
QString ReportBaseText(int nBase);
// Destination IDs as a list, runs of three or more written as "first-last", each ID as the routing
// table windows write it.
QString DestIDListText(const std::vector<uint16_t>& ids, int nBase, int iIDBits);
// The rows of one table: {OUTPUTPORT, DESTIDS} for each port ("Port %d"), multicast mask
// ("Mask %d") and special route ("Special %d") in that order; a switch's default port adds
// "Port %d (default)" with "All other IDs". A table that is absent or empty gives one row
// "None", "No routes".
std::vector<std::pair<QString, QString>> RoutingReportRows(const CRoutingTable* pTable, bool bHasDefault,
                                                           uint8_t uchDefaultPort, int nBase, int iIDBits);

class CRoutingTableReport : public CReport
{
public:
    explicit CRoutingTableReport(const CNetworkDocument& map);

    // The base and width of the IDs (the preference and the map's transport unless set).
    void SetNumberFormat(int nBase, int iIDBits)
    {
        m_nBase = nBase;
        m_iIDBits = iIDBits;
    }

protected:
    bool CheckContent() override;
    bool WriteBody() override;

private:
    const CNetworkDocument& m_map;
    int m_nBase;
    int m_iIDBits;
};

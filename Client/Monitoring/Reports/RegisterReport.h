// The register report: the stored values of registers, PE by PE and block by block, each register
// as a table of its bit fields, four fields across.
#pragma once

#include "RegisterAccess.h"
#include "Report.h"

#include <vector>

class CNetworkDocument;

// The registers whose stored values a map's report shows: every maintenance register of each PE's
// register tree, in tree order; iNode restricts them to the PE of that node number (-1: all).
std::vector<RegisterItem> MapRegisterItems(CNetworkDocument& map, int iNode = -1);

// One row of four fields of a register: the head's values and the row's.
struct SRegisterReportRow
{
    QStringList headValues; // REG_OFFSET_TITLE, REG_NAME_TITLE, BFBITS_A to BFBITS_D
    QStringList rowValues;  // OFFSET, REGNAME, BFNAME_A to BFNAME_D, BFDATA_A to BFDATA_D
};
QStringList RegisterReportHeadKeys();
QStringList RegisterReportRowKeys();
// The rows of one register with its value: "Offset: 0x%x" and "Register Name" head the first,
// fields go four across in their order, and "&nbsp" fills what has nothing.
std::vector<SRegisterReportRow> RegisterReportRows(const CRegister& reg, uint32_t uOffset, uint32_t uValue,
                                                   bool bConfirmed);

class CRegisterReport : public CReport
{
public:
    // The registers to report (those without a stored value are passed over), and the map they
    // belong to.
    CRegisterReport(const CNetworkDocument& map, std::vector<RegisterItem> items);

protected:
    // "There are no valid register values to report." when no register has a value.
    bool CheckContent() override;
    bool WriteBody() override;

private:
    std::vector<RegisterItem> m_items;
};

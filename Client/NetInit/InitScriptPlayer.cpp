#include "InitScriptPlayer.h"

#include "HalWrappers.h"
#include "NVXLHal.h"
#include "NVXLStatus.h"
#include "NumberText.h"

#include <QRegularExpression>
#include <QStringList>

#include <map>

namespace
{
// The fields each keyword needs besides Vendor, Device, Dest and Hop.
const std::map<QString, std::pair<uint32_t, QStringList>>& Keywords()
{
    static const std::map<QString, std::pair<uint32_t, QStringList>> keywords = {
        {QStringLiteral("SETDEST"),
         {eNVXL_ScrOpSetDest, {QStringLiteral("ShortID"), QStringLiteral("LongID")}}},
        {QStringLiteral("MAINTW"), {eNVXL_ScrOpMaintW, {QStringLiteral("Offset"), QStringLiteral("Value")}}},
        {QStringLiteral("ROUTE"),
         {eNVXL_ScrOpRoute,
          {QStringLiteral("Table"), QStringLiteral("Target"), QStringLiteral("Port"), QStringLiteral("Type"),
           QStringLiteral("Special")}}},
        {QStringLiteral("SPEED"), {eNVXL_ScrOpSetSpeed, {QStringLiteral("Port"), QStringLiteral("Speed")}}},
        {QStringLiteral("INITRT"), {eNVXL_ScrOpInitRT, {QStringLiteral("Table")}}},
    };
    return keywords;
}

bool ParseLine(const QStringList& words, NVXL_SCRIPTCOMMANDSTRUCT* pRecord)
{
    const auto it = Keywords().find(words[0]);
    if (it == Keywords().end())
    {
        return false;
    }
    QStringList needed = {QStringLiteral("Vendor"), QStringLiteral("Device"), QStringLiteral("Dest"),
                          QStringLiteral("Hop")};
    needed += it->second.second;
    std::map<QString, uint64_t> values;
    for (int i = 1; i < words.size(); ++i)
    {
        const qsizetype iColon = words[i].indexOf(QLatin1Char(':'));
        const QString strName = words[i].left(iColon);
        uint64_t ulValue = 0;
        if (iColon <= 0 || !needed.contains(strName) ||
            !NumberFromText(words[i].mid(iColon + 1), 0xFFFFFFFFu, &ulValue))
        {
            return false;
        }
        values[strName] = ulValue;
    }
    if (values.size() != static_cast<size_t>(needed.size()))
    {
        return false;
    }
    NVXL_SCRIPTCOMMANDSTRUCT& r = *pRecord;
    r = {};
    r.eOp = it->second.first;
    r.wVendor = static_cast<uint16_t>(values[QStringLiteral("Vendor")]);
    r.wDevice = static_cast<uint16_t>(values[QStringLiteral("Device")]);
    r.ulDest = static_cast<uint32_t>(values[QStringLiteral("Dest")]);
    r.byHop = static_cast<uint8_t>(values[QStringLiteral("Hop")]);
    switch (r.eOp)
    {
    case eNVXL_ScrOpSetDest:
        r.u.sSetDest.wShortID = static_cast<uint16_t>(values[QStringLiteral("ShortID")]);
        r.u.sSetDest.wLongID = static_cast<uint16_t>(values[QStringLiteral("LongID")]);
        break;
    case eNVXL_ScrOpMaintW:
        r.u.sMaint.ulOffset = static_cast<uint32_t>(values[QStringLiteral("Offset")]);
        r.u.sMaint.ulValue = static_cast<uint32_t>(values[QStringLiteral("Value")]);
        break;
    case eNVXL_ScrOpRoute:
        r.u.sRoute.byTable = static_cast<uint8_t>(values[QStringLiteral("Table")]);
        r.u.sRoute.wTarget = static_cast<uint16_t>(values[QStringLiteral("Target")]);
        r.u.sRoute.byPort = static_cast<uint8_t>(values[QStringLiteral("Port")]);
        r.u.sRoute.eType = static_cast<uint32_t>(values[QStringLiteral("Type")]);
        r.u.sRoute.ulSpecial = static_cast<uint32_t>(values[QStringLiteral("Special")]);
        break;
    case eNVXL_ScrOpSetSpeed:
        r.u.sPortSettings.byPort = static_cast<uint8_t>(values[QStringLiteral("Port")]);
        r.u.sPortSettings.wSpeedMHz = static_cast<uint16_t>(values[QStringLiteral("Speed")]);
        break;
    default:
        r.u.sRoutingTable.byTable = static_cast<uint8_t>(values[QStringLiteral("Table")]);
        break;
    }
    return true;
}

// The table an INITRT started, with the routes collected for it.
struct SPendingTable
{
    NVXL_SCRIPTCOMMANDSTRUCT start{};
    std::vector<NVXL_ROUTE_ENTRY> entries;
};

int32_t StoreTable(const SPendingTable& table)
{
    const NVXL_SCRIPTCOMMANDSTRUCT& s = table.start;
    return StoreRoutingTable(s.wVendor, s.wDevice, 0, s.ulDest, s.byHop, s.u.sRoutingTable.byTable,
                             static_cast<uint32_t>(table.entries.size()), table.entries.data());
}
} // namespace

bool ParseInitScript(const QString& strText, std::vector<NVXL_SCRIPTCOMMANDSTRUCT>* pRecords, int* piBadLine,
                     std::vector<int>* pLines)
{
    static const QRegularExpression kBlanks(QStringLiteral("\\s+"));
    pRecords->clear();
    if (pLines)
    {
        pLines->clear();
    }
    const QStringList lines = strText.split(QLatin1Char('\n'));
    for (int i = 0; i < lines.size(); ++i)
    {
        const QString strLine = lines[i].trimmed();
        const QStringList words = strLine.split(kBlanks, Qt::SkipEmptyParts);
        if (words.isEmpty() || strLine.startsWith(QLatin1Char('#')) || words[0] == QLatin1String("NOP"))
        {
            continue;
        }
        NVXL_SCRIPTCOMMANDSTRUCT record;
        if (!ParseLine(words, &record))
        {
            *piBadLine = i + 1;
            return false;
        }
        pRecords->push_back(record);
        if (pLines)
        {
            pLines->push_back(i + 1);
        }
    }
    return true;
}

int32_t PlayScript(const std::vector<NVXL_SCRIPTCOMMANDSTRUCT>& records, int* piFailed)
{
    *piFailed = -1;
    // 0 nothing yet, 1 collecting routes for a table, 2 acting directly.
    int iState = 0;
    SPendingTable pending;
    int iPendingIndex = -1;
    for (size_t i = 0; i < records.size(); ++i)
    {
        const NVXL_SCRIPTCOMMANDSTRUCT& s = records[i];
        int32_t nStatus = 0;
        if (iState == 1 && s.eOp != eNVXL_ScrOpRoute)
        {
            nStatus = StoreTable(pending);
            iState = 2;
            if (nStatus != 0)
            {
                *piFailed = iPendingIndex;
                return nStatus;
            }
        }
        switch (s.eOp)
        {
        case eNVXL_ScrOpSetDest:
            nStatus = SetDeviceID(0, s.ulDest, s.byHop, &s.u.sSetDest.wShortID, &s.u.sSetDest.wLongID);
            break;
        case eNVXL_ScrOpMaintW:
            nStatus = HalStatusToClient(
                MaintWrite(0, s.ulDest, s.byHop, s.u.sMaint.ulOffset, &s.u.sMaint.ulValue, 1, 4, 4));
            break;
        case eNVXL_ScrOpRoute:
            if (iState == 1)
            {
                NVXL_ROUTE_ENTRY entry{};
                entry.wDestID = s.u.sRoute.wTarget;
                entry.uchPort = s.u.sRoute.byPort;
                entry.eType = static_cast<NVXL_ROUTE_TYPE>(s.u.sRoute.eType);
                entry.ulExtra = s.u.sRoute.ulSpecial;
                pending.entries.push_back(entry);
                continue;
            }
            nStatus = RouteAddEntry(s.wVendor, s.wDevice, 0, s.ulDest, s.byHop, s.u.sRoute.byTable,
                                    s.u.sRoute.wTarget, s.u.sRoute.byPort,
                                    static_cast<NVXL_ROUTE_TYPE>(s.u.sRoute.eType), s.u.sRoute.ulSpecial);
            break;
        case eNVXL_ScrOpSetSpeed:
            nStatus = SetPortSpeedMHz(s.wVendor, s.wDevice, 0, s.ulDest, s.byHop, s.u.sPortSettings.byPort,
                                      s.u.sPortSettings.wSpeedMHz);
            break;
        case eNVXL_ScrOpInitRT:
            pending = SPendingTable{s, {}};
            iPendingIndex = static_cast<int>(i);
            iState = 1;
            continue;
        default:
            continue;
        }
        iState = 2;
        if (nStatus != 0)
        {
            *piFailed = static_cast<int>(i);
            return nStatus;
        }
    }
    if (iState == 1)
    {
        const int32_t nStatus = StoreTable(pending);
        if (nStatus != 0)
        {
            *piFailed = iPendingIndex;
            return nStatus;
        }
    }
    return 0;
}

// A Gen2 switch for the tools' tests: registers in a map, every access logged as a line of text
// in order, reads answered from queues where a test scripts a sequence, and any one access made
// to fail.
#pragma once

#include "PacketGenAccess.h"

#include <QString>
#include <QStringList>

#include <deque>
#include <map>
#include <set>

namespace nvtest
{
class CScriptedSwitch final : public IGen2SwitchAccess
{
public:
    bool IsConnected() override { return bConnected; }
    bool ConfigureRoute() override
    {
        log << QStringLiteral("route");
        return bRoute;
    }
    bool FindConnectedPE() override { return bPE; }
    int NumPorts() override { return nPorts; }

    int32_t Read(uint32_t ulOffset, uint32_t* pulValue) override
    {
        log << QStringLiteral("R %1").arg(ulOffset, 6, 16, QLatin1Char('0')).toUpper();
        if (Failing(ulOffset, 'R'))
            return nFailStatus;
        *pulValue = Value(ulOffset);
        return 0;
    }
    int32_t Write(uint32_t ulOffset, uint32_t ulValue) override
    {
        log << QStringLiteral("W %1 %2")
                   .arg(ulOffset, 6, 16, QLatin1Char('0'))
                   .arg(ulValue, 8, 16, QLatin1Char('0'))
                   .toUpper();
        if (Failing(ulOffset, 'W'))
            return nFailStatus;
        regs[ulOffset] = ulValue;
        return 0;
    }
    int32_t ReadBurst(uint32_t ulOffset, uint32_t* pulValues, uint32_t nWords) override
    {
        log << QStringLiteral("RB %1 %2").arg(ulOffset, 6, 16, QLatin1Char('0')).toUpper().arg(nWords);
        if (Failing(ulOffset, 'R'))
            return nFailStatus;
        for (uint32_t i = 0; i < nWords; ++i)
            pulValues[i] = Value(ulOffset + 4 * i);
        return 0;
    }
    int32_t WriteBurst(uint32_t ulOffset, const uint32_t* pulValues, uint32_t nWords) override
    {
        QString strLine = QStringLiteral("WB %1").arg(ulOffset, 6, 16, QLatin1Char('0')).toUpper();
        for (uint32_t i = 0; i < nWords; ++i)
            strLine += QStringLiteral(" %1").arg(pulValues[i], 8, 16, QLatin1Char('0')).toUpper();
        log << strLine;
        if (Failing(ulOffset, 'W'))
            return nFailStatus;
        for (uint32_t i = 0; i < nWords; ++i)
            regs[ulOffset + 4 * i] = pulValues[i];
        return 0;
    }
    int32_t SetPortEnables(uint8_t uchPort, bool bInput, bool bOutput) override
    {
        log << QStringLiteral("enable %1 %2 %3").arg(uchPort).arg(bInput).arg(bOutput);
        return 0;
    }
    int32_t RouteAddEntry(uint8_t uchTable, uint16_t wRouteDestID, uint8_t uchPort) override
    {
        log << QStringLiteral("routeadd %1 %2 %3")
                   .arg(uchTable)
                   .arg(wRouteDestID, 4, 16, QLatin1Char('0'))
                   .arg(uchPort);
        if (nRouteFailAt >= 0 && nRouteCalls++ == nRouteFailAt)
            return nFailStatus;
        return 0;
    }
    int32_t IsPortTrained(uint8_t uchPort, bool* pbTrained) override
    {
        if (bTrainedQueryFails)
            return nFailStatus;
        *pbTrained = trained.count(uchPort) != 0;
        return 0;
    }
    void Sleep(int nMilliseconds) override { log << QStringLiteral("sleep %1").arg(nMilliseconds); }

    // The lines of the log that are register accesses (R, W, RB, WB).
    QStringList Accesses() const
    {
        QStringList lines;
        for (const QString& strLine : log)
        {
            if (strLine.startsWith(QLatin1Char('R')) && !strLine.startsWith(QStringLiteral("route")))
                lines << strLine;
            else if (strLine.startsWith(QLatin1Char('W')))
                lines << strLine;
        }
        return lines;
    }

    bool bConnected = true;
    bool bRoute = true;
    bool bPE = true;
    int nPorts = 18;
    std::map<uint32_t, uint32_t> regs;
    // Reads of an offset answered in turn before regs is consulted.
    std::map<uint32_t, std::deque<uint32_t>> readQueue;
    std::set<int> trained;
    bool bTrainedQueryFails = false;
    QStringList log;
    // The access that fails: the nFailAt-th (from 0) of kind cFailKind ('R' or 'W') at ulFailOffset.
    uint32_t ulFailOffset = 0xFFFFFFFFu;
    char cFailKind = 0;
    int nFailAt = 0;
    int nRouteFailAt = -1;
    int nRouteCalls = 0;
    int32_t nFailStatus = -45;

private:
    uint32_t Value(uint32_t ulOffset)
    {
        auto it = readQueue.find(ulOffset);
        if (it != readQueue.end() && !it->second.empty())
        {
            const uint32_t ulValue = it->second.front();
            it->second.pop_front();
            return ulValue;
        }
        return regs.count(ulOffset) ? regs[ulOffset] : 0u;
    }
    bool Failing(uint32_t ulOffset, char cKind)
    {
        if (ulOffset != ulFailOffset || cKind != cFailKind)
            return false;
        return m_nSeen++ == nFailAt;
    }
    int m_nSeen = 0;
};
} // namespace nvtest

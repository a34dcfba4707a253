// The performance monitor report: for each counter a person watched, the monitor it ran in and the
// rates it sampled. The monitor windows hand their records over; the report only writes them.
#pragma once

#include "Report.h"

#include <cstdint>
#include <vector>

struct SPerfSample
{
    QString strTime;  // when the sample was taken, as the monitor shows it
    double dRate = 0; // counts per second
};

// One counter on one port of one PE, as a trace of a monitor window.
struct SPerfMonitorRecord
{
    QString strMonitor; // the window's title, "IDT CPS-1616 Performance Monitor" and the like
    int iNode = -1;     // node number of the PE (shown plus one)
    int iPort = 0;
    uint16_t uDestID = 0xFFFF;
    QString strCounter; // "VC0 Packets Received" and the like
    std::vector<SPerfSample> samples;
};

QStringList PerfMonitorKeys();
QStringList PerfMonitorValues(const SPerfMonitorRecord& record);
// A rate as the table shows it: counts per second with one decimal.
QString PerfRateText(double dRate);

class CPerformanceReport : public CReport
{
public:
    CPerformanceReport(const QString& strMapName, std::vector<SPerfMonitorRecord> monitors);

protected:
    // "There is no performance monitor data to report." without a monitor.
    bool CheckContent() override;
    bool WriteBody() override;

private:
    std::vector<SPerfMonitorRecord> m_monitors;
};

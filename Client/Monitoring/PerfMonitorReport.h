// The records of a performance monitor as the performance report takes them. Header only: the
// monitor knows nothing of the report, and the report nothing of the monitor; the window and the
// command line, which have both, hand one to the other with this.
#pragma once

#include "PerfMonitor.h"
#include "PerformanceReport.h"

#include <vector>

inline std::vector<SPerfMonitorRecord> PerfReportRecords(const std::vector<SPerfTraceRecord>& traces)
{
    std::vector<SPerfMonitorRecord> records;
    for (const SPerfTraceRecord& trace : traces)
    {
        SPerfMonitorRecord record;
        record.strMonitor = trace.strMonitor;
        record.iNode = trace.iNode;
        record.iPort = trace.iPort;
        record.uDestID = trace.uDestID;
        record.strCounter = trace.strCounter;
        for (const SPerfRateSample& sample : trace.samples)
            record.samples.push_back({sample.strTime, sample.dRate});
        records.push_back(std::move(record));
    }
    return records;
}

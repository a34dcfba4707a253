#include "PerformanceReport.h"

#include "ReportTemplate.h"
#include "UserInterface.h"

#include <QLocale>

QStringList PerfMonitorKeys()
{
    return {QStringLiteral("PERFMONTYP"), QStringLiteral("MONITORPORT"), QStringLiteral("DESTID")};
}

QStringList PerfMonitorValues(const SPerfMonitorRecord& record)
{
    return {ReportEscape(QStringLiteral("%1 - Node %2").arg(record.strMonitor).arg(record.iNode + 1)),
            QStringLiteral("Port %1").arg(record.iPort),
            record.uDestID == 0xFFFF ? QStringLiteral("None") : QString::asprintf("%04Xh", record.uDestID)};
}

QString PerfRateText(double dRate)
{
    return QLocale::c().toString(dRate, 'f', 1);
}

CPerformanceReport::CPerformanceReport(const QString& strMapName, std::vector<SPerfMonitorRecord> monitors)
    : CReport(eReportPerformance), m_monitors(std::move(monitors))
{
    SetMapName(strMapName);
}

bool CPerformanceReport::CheckContent()
{
    if (m_monitors.empty())
    {
        ShowMessage(QStringLiteral("There is no performance monitor data to report."));
        return false;
    }
    return true;
}

bool CPerformanceReport::WriteBody()
{
    for (const SPerfMonitorRecord& monitor : m_monitors)
    {
        if (!WritePiece(QStringLiteral("pmr_pmh.htm"), PerfMonitorKeys(), PerfMonitorValues(monitor)) ||
            !WritePiece(QStringLiteral("pmr_th.htm"), {QStringLiteral("TABLETITLE")},
                        {ReportEscape(monitor.strCounter) + QStringLiteral(" (counts per second)")}))
        {
            return false;
        }
        for (const SPerfSample& sample : monitor.samples)
        {
            if (!WritePiece(QStringLiteral("pmr_tl.htm"),
                            {QStringLiteral("SAMPLETIME"), QStringLiteral("SAMPLEDATA")},
                            {ReportEscape(sample.strTime), PerfRateText(sample.dRate)}))
            {
                return false;
            }
        }
        if (!WritePiece(QStringLiteral("pmr_tf.htm")))
        {
            return false;
        }
    }
    return true;
}

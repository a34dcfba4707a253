// Reports written into a scratch report directory of each test's own, with the recording
// user-interface port, and maps made up of PEs that the tests describe.
#pragma once

#include "RecordingUserInterface.h"
#include "TestSupport.h"

#include "NetworkDocument.h"
#include "Preferences.h"
#include "Primitives.h"
#include "Report.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace nvtest
{
class CReportTest : public testing::Test
{
protected:
    void SetUp() override
    {
        const auto* pInfo = testing::UnitTest::GetInstance()->current_test_info();
        m_strDir = QString::fromStdString(ProcessTempDir()) + QStringLiteral("/reports/") +
                   QString::fromLatin1(pInfo->test_suite_name()) + QLatin1Char('.') +
                   QString::fromLatin1(pInfo->name()) + QLatin1Char('/');
        QDir(m_strDir).removeRecursively();
    }

    // A PE of the map with an identity from the register library, as discovery makes it.
    CPEPrimitive& AddPE(int iNode, uint16_t wVendor, uint16_t wDevice, bool bSwitch, int nPorts)
    {
        auto pPE = std::make_unique<CPEPrimitive>();
        pPE->iNodeNumber = iNode;
        pPE->SetIdentity(wVendor, wDevice, bSwitch, !bSwitch, false, false);
        pPE->iNumLocalPorts = nPorts;
        pPE->DeviceID = wDevice;
        pPE->ManufID = wVendor;
        return *m_map.ActivePEs.AddPrimitive(std::move(pPE));
    }

    // The page a report wrote, or an empty text.
    static QString Page(const CReport& report)
    {
        QFile file(report.OutputPath());
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

    // Runs a report on the scratch directory with a fixed date; the page is not shown.
    bool Generate(CReport& report)
    {
        report.SetReportDirectory(m_strDir);
        report.SetDate(QDate(2024, 3, 5));
        return report.GenerateReport();
    }

    CRecordingUserInterface m_ui;
    CNetworkDocument m_map;
    QString m_strDir;
};
} // namespace nvtest

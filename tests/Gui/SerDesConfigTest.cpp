// The SerDes configuration window and the DFE parameter dialogs on the packet and lane tools'
// topology, discovered from the in-process fabric: the window on a CPS-1848, an edit reaching the
// lane's register, a scan run from its dialog through the working window to the lane model's
// optimum, a cancelled scan, the refusal on a port without a link, the dialogs' fields, checks and
// estimates, and layouts whose headings sit over their columns unclipped.
#include "GuiTestEnvironment.h"

#include "ClientSimFixture.h"
#include "DfeAdjustParamsDlg.h"
#include "DfeMonitorParamsDlg.h"
#include "DfeScanParamsDlg.h"
#include "DfeTaps.h"
#include "Discovery.h"
#include "Preferences.h"
#include "QtUserInterface.h"
#include "SerDesConfig.h"
#include "TestSupport.h"
#include "WorkingDlg.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <functional>

namespace nvtest
{
namespace
{
// Lane 4 is the first lane of port 1, which links the CPS-1848 to ep1.
constexpr int kPort = 1;
constexpr uint32_t kLane = 4;
// The lane model's optimum on a switch whose topology names none.
const DfeTapValues kOptimum = {8, 12, 6, 3, 1, 0};
// A sample period that makes "1 in 1 x 10^7 bits" at 3.125 Gbaud 1024 samples a setting.
constexpr double kSamplePeriod = 1e7 / 3.125e9 / 1024;

void Shot(QWidget& window, const char* pszName)
{
    const QString strShots = qEnvironmentVariable("NV_SCREENSHOT_DIR");
    if (!strShots.isEmpty())
        window.grab().save(QDir(strShots).filePath(QLatin1String(pszName)));
}

// Runs fnStep once the condition holds, polling while a modal loop runs.
void WhenReady(const std::function<bool()>& fnReady, const std::function<void()>& fnStep, int nTries = 2000)
{
    QTimer::singleShot(5,
                       [=]
                       {
                           if (fnReady())
                               fnStep();
                           else if (nTries > 0)
                               WhenReady(fnReady, fnStep, nTries - 1);
                       });
}

template <typename T> T* ActiveModal()
{
    return qobject_cast<T*>(QApplication::activeModalWidget());
}

// The working window once its run has ended and its button reads "Close".
CWorkingDlg* FinishedWorkingWindow()
{
    for (QWidget* pWidget : QApplication::topLevelWidgets())
    {
        auto* pWorking = qobject_cast<CWorkingDlg*>(pWidget);
        if (pWorking && pWorking->isVisible() && pWorking->Button()->text() == QStringLiteral("Close"))
            return pWorking;
    }
    return nullptr;
}

class SerDesConfigTest : public CClientSimTest
{
protected:
    void SetUp() override
    {
        CClientSimTest::SetUp();
        std::string strError;
        m_pFabric = nvsim::LoadTopologyFile(SourceDir() + "/Simulator/topologies/gen2tools.topo", &strError);
        ASSERT_TRUE(m_pFabric) << strError;
        m_pTransport = std::make_unique<CSimTransport>(*m_pFabric);
        m_pTransport->Install();
        SDiscoveryRequest request;
        request.bTryAllClockRates = false;
        request.bUploadRoutingTables = true;
        request.scanIDs = {0x05, 0x0A, 0x0F, 0x14};
        ASSERT_EQ(0, StandardDiscovery(request, m_map, &m_host, {}));
        for (const auto& pPE : m_map.ActivePEs)
        {
            if (pPE->DeviceID == 0x0374)
                m_iSwitch = pPE->iNodeNumber;
            if (pPE->DeviceID == 0x0379)
                m_i1616 = pPE->iNodeNumber;
        }
        ASSERT_GE(m_iSwitch, 0);
        ASSERT_GE(m_i1616, 0);
        m_ui.messages.clear();
    }
    void TearDown() override
    {
        if (CSerDesConfigWnd* pWindow = FindSerDesConfig(m_iSwitch))
            delete pWindow;
        if (CSerDesConfigWnd* pWindow = FindSerDesConfig(m_i1616))
            delete pWindow;
        CClientSimTest::TearDown();
    }
    uint32_t Register(uint32_t ulOffset)
    {
        return m_pFabric->Device("sw1").ReadRegister(ulOffset, {0, true});
    }
    // The window on the CPS-1848 showing port 1, with a fixed sample period.
    CSerDesConfigWnd* OpenOnPort1()
    {
        CSerDesConfigWnd* pWindow = OpenSerDesConfig(m_map, m_iSwitch);
        if (!pWindow)
            return nullptr;
        pWindow->fnMeasureSamplePeriod = [](uint32_t) { return kSamplePeriod; };
        const int iIndex = pWindow->PortBox()->findData(kPort);
        pWindow->PortBox()->setCurrentIndex(iIndex);
        emit pWindow->PortBox()->activated(iIndex);
        return pWindow;
    }
    // Types a value into a cell of the grid as a person does: F2, the text, Enter.
    static void Type(CSerDesConfigGrid& grid, int iRow, int iColumn, const QString& strText)
    {
        grid.setFocus();
        ASSERT_TRUE(grid.EditCell(iRow, iColumn));
        QLineEdit* pEdit = nullptr;
        for (QLineEdit* pOpen : grid.viewport()->findChildren<QLineEdit*>())
            if (pOpen->isVisible())
                pEdit = pOpen;
        ASSERT_NE(nullptr, pEdit);
        pEdit->setText(strText);
        QTest::keyClick(pEdit, Qt::Key_Return);
        QApplication::processEvents();
    }

    CNetworkDocument m_map;
    int m_iSwitch = -1;
    int m_i1616 = -1;
};

TEST_F(SerDesConfigTest, TheWindowShowsAPortsLanesAndEditsReachTheirRegisters)
{
    EXPECT_EQ(nullptr, OpenSerDesConfig(m_map, 0)) << "the host is no Gen2 switch";
    CSerDesConfigWnd* pWindow = OpenOnPort1();
    ASSERT_NE(nullptr, pWindow);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(pWindow));
    EXPECT_EQ(pWindow, OpenSerDesConfig(m_map, m_iSwitch)) << "one window a switch";
    EXPECT_NE(nullptr, dynamic_cast<CCPS1848_SerDesConfig*>(pWindow));
    EXPECT_NE(nullptr, dynamic_cast<CPS1848_SerDesConfigGrid*>(pWindow->Grid()));
    EXPECT_EQ(QStringLiteral("SerDes Configuration - CPS-1848, Node %1").arg(m_iSwitch + 1),
              pWindow->windowTitle());
    // Ports 0 to 11 have four lanes each in the reset quad configuration; 12 to 17 have none.
    ASSERT_EQ(12, pWindow->PortBox()->count());
    EXPECT_EQ("Port 11", pWindow->PortBox()->itemText(11));
    CSerDesConfigGrid& grid = *pWindow->Grid();
    ASSERT_EQ(4, grid.RowCount());
    EXPECT_EQ("4", grid.CellText(0, eSerDesLane));
    EXPECT_EQ("7", grid.CellText(3, eSerDesLane));
    EXPECT_EQ("3.125", grid.CellText(0, eSerDesSpeed));
    // Out of reset: tap 0 at 8, the equaliser's control word not the tools' (bit 18 set: "ON" on
    // revision 0 silicon), no loop-back, no counting.
    EXPECT_EQ("8", grid.CellText(0, eSerDesTap0));
    EXPECT_EQ("0", grid.CellText(0, eSerDesTap2));
    EXPECT_EQ("ON", grid.CellText(0, eSerDesDfeOn));
    EXPECT_EQ("Disabled", grid.CellText(0, eSerDesLoopback));
    EXPECT_EQ(EGridCellKind::eButton, grid.Cell(0, eSerDesScan).eKind);
    EXPECT_EQ(EGridCellKind::eCheck, grid.Cell(0, eSerDesCountEnable).eKind);
    EXPECT_TRUE(grid.Cell(0, eSerDesErrorCount).bReadOnly);

    // A tap typed into lane 5's row goes to lane 5's register, and the row shows what it holds.
    Type(grid, 1, eSerDesTap2, "-3");
    EXPECT_EQ(-3, DecodeTaps(Register(serdes::DfeTaps(5)))[2]);
    EXPECT_EQ(0, DecodeTaps(Register(serdes::DfeTaps(4)))[2]) << "lane 4 untouched";
    EXPECT_EQ("-3", grid.CellText(1, eSerDesTap2));
    // The strength, past its end, and text that is no number.
    Type(grid, 0, eSerDesStrength, "99");
    EXPECT_EQ(63u, (Register(serdes::LaneControl(4)) >> 5) & 0x3F);
    EXPECT_EQ("63", grid.CellText(0, eSerDesStrength));
    Type(grid, 0, eSerDesPre, "3q");
    EXPECT_EQ(QStringList{"Invalid data entry."}, m_ui.messages);

    // Loop-back from any row covers the port's four lanes.
    grid.setCurrentIndex(grid.model()->index(2, eSerDesLoopback));
    QTest::keyClick(&grid, Qt::Key_Space);
    QApplication::processEvents();
    for (uint32_t l = 4; l < 8; ++l)
        EXPECT_TRUE(Register(serdes::LaneControl(l)) & 0x8000) << "lane " << l;
    EXPECT_FALSE(Register(serdes::LaneControl(8)) & 0x8000);
    EXPECT_EQ("Enabled", grid.CellText(0, eSerDesLoopback));

    // Error counting: the port's registers, then each tick's count and time in the cells.
    grid.setCurrentIndex(grid.model()->index(0, eSerDesCountEnable));
    QTest::keyClick(&grid, Qt::Key_Space);
    QApplication::processEvents();
    EXPECT_TRUE(pWindow->CountTimer()->isActive());
    EXPECT_EQ(1000, pWindow->CountTimer()->interval());
    EXPECT_EQ(0x4E8015u, Register(serdes::PortErrorRateEnable(kPort)));
    EXPECT_TRUE(Register(serdes::PortOperations(kPort)) & serdes::kCountersEnable);
    pWindow->Tick();
    pWindow->Tick();
    EXPECT_EQ("Enabled\n0:00:02", grid.CellText(3, eSerDesCountEnable));
    // The taps out of reset are far from the optimum: the lanes count errors.
    EXPECT_NE("0", grid.CellText(0, eSerDesErrorCount));
    EXPECT_GT(grid.rowHeight(0), 2 * grid.fontMetrics().height()) << "the time shows under \"Enabled\"";
    Shot(*pWindow, "serdes-config.png");
    grid.setCurrentIndex(grid.model()->index(1, eSerDesCountEnable));
    QTest::keyClick(&grid, Qt::Key_Space);
    QApplication::processEvents();
    EXPECT_FALSE(pWindow->CountTimer()->isActive());
    EXPECT_FALSE(Register(serdes::PortOperations(kPort)) & serdes::kCountersEnable);
    EXPECT_EQ("Disabled", grid.CellText(0, eSerDesCountEnable));

    // The speed's pick list goes through the HAL: the lanes' rate bits change.
    pWindow->Grid()->OptionChosen(0, eSerDesSpeed, 1);
    EXPECT_EQ("2.5", grid.CellText(2, eSerDesSpeed));
    EXPECT_EQ(10u, Register(serdes::LaneControl(6)) & 0x1E) << "rate 1 in both halves of bits 4..1";
}

TEST_F(SerDesConfigTest, HeadingsSitUnclippedOverTheirColumnsAndButtonsTellWhatTheyDo)
{
    CSerDesConfigWnd* pWindow = OpenOnPort1();
    ASSERT_NE(nullptr, pWindow);
    pWindow->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(pWindow));
    CSerDesConfigGrid& grid = *pWindow->Grid();
    const QFontMetrics metrics(grid.horizontalHeader()->font());
    for (int r = 0; r < 2; ++r)
    {
        for (int c = 0; c < eSerDesColumns; ++c)
        {
            const QRect rect = grid.HeadingRect(r, c);
            ASSERT_FALSE(rect.isEmpty()) << r << "," << c;
            const QStringList lines = grid.HeadingText(r, c).split('\n');
            for (const QString& strLine : lines)
                EXPECT_LE(metrics.horizontalAdvance(strLine), rect.width() - 2) << strLine.toStdString();
            EXPECT_LE((lines.size() - 1) * metrics.lineSpacing() + metrics.height(), rect.height())
                << grid.HeadingText(r, c).toStdString();
        }
    }
    EXPECT_EQ("Transmitter", grid.HeadingText(0, eSerDesPre));
    EXPECT_EQ("Receiver", grid.HeadingText(0, eSerDesTap4));
    EXPECT_EQ("DFE\nTap 3", grid.HeadingText(1, eSerDesTap3));
    EXPECT_EQ("Error Count\nEnable", grid.HeadingText(1, eSerDesCountEnable)) << "over both rows";
    // Each group heading spans exactly its columns.
    const QRect transmitter = grid.HeadingRect(0, eSerDesStrength);
    EXPECT_EQ(grid.CellRect(0, eSerDesStrength).left(), transmitter.left());
    EXPECT_EQ(grid.CellRect(0, eSerDesPost).right() + 1, transmitter.right());
    const QRect receiver = grid.HeadingRect(0, eSerDesDfeOn);
    EXPECT_EQ(grid.CellRect(0, eSerDesDfeOn).left(), receiver.left());
    EXPECT_EQ(grid.CellRect(0, eSerDesTap4).right() + 1, receiver.right());
    EXPECT_EQ(grid.HeadingRect(0, eSerDesTap0), receiver);
    // The button columns' tool tips.
    EXPECT_EQ("Press button to scan DFE parameters and select the best.",
              grid.HeadingToolTipAt(grid.HeadingRect(0, eSerDesScan).center()));
    EXPECT_EQ("Press button to monitor bit error rate for each link, and invoke berAdjust if/when necessary.",
              grid.HeadingToolTipAt(grid.HeadingRect(0, eSerDesMonitor).center()));
    EXPECT_EQ("Press button to adjust DFE parameters based on bit error rate.",
              grid.Cell(2, eSerDesAdjust).strToolTip);
    // The whole grid shows, without scroll bars.
    EXPECT_GE(grid.width(), grid.FullSize().width());
    EXPECT_GE(grid.height(), grid.FullSize().height());

    // The CPS-1616 has its own window and grid.
    CSerDesConfigWnd* p1616 = OpenSerDesConfig(m_map, m_i1616);
    ASSERT_NE(nullptr, p1616);
    EXPECT_NE(nullptr, dynamic_cast<CCPS1616_SerDesConfig*>(p1616));
    EXPECT_NE(nullptr, dynamic_cast<CPS1616_SerDesConfigGrid*>(p1616->Grid()));
    EXPECT_EQ(QStringLiteral("SerDes Configuration - CPS-1616, Node %1").arg(m_i1616 + 1),
              p1616->windowTitle());
}

TEST_F(SerDesConfigTest, AScanFromItsDialogRunsUnderTheWorkingWindowToTheOptimum)
{
    CSerDesConfigWnd* pWindow = OpenOnPort1();
    ASSERT_NE(nullptr, pWindow);
    CQtUserInterface qtUi;
    bool bDialog = false;
    QString strLog, strTitle, strProgress;
    // The dialog: the cheapest BER, tap 0 held at 8, tap 1's limit for a quarter of the default
    // samples, then "Go (Ratio)".
    WhenReady([] { return ActiveModal<CIDT_DFE_ScanParamsDlg>() != nullptr; },
              [&]
              {
                  auto* pDialog = ActiveModal<CIDT_DFE_ScanParamsDlg>();
                  bDialog = true;
                  Shot(*pDialog, "dfe-scan-params.png");
                  pDialog->BerEdit()->IntBox()->setCurrentIndex(0);
                  pDialog->BerEdit()->ExpBox()->setCurrentIndex(0);
                  pDialog->FromEdit(0)->setText("8");
                  pDialog->ToEdit(0)->setText("8");
                  pDialog->MaxErrsEdit(1)->setText("32");
                  pDialog->RatioButton()->click();
              });
    // The working window, once the run has ended.
    WhenReady([] { return FinishedWorkingWindow() != nullptr; },
              [&]
              {
                  CWorkingDlg* pWorking = FinishedWorkingWindow();
                  strTitle = pWorking->windowTitle();
                  strLog = pWorking->LogText();
                  EXPECT_TRUE(pWorking->DetailsShown());
                  Shot(*pWorking, "dfe-scan-finished.png");
                  pWorking->Button()->click();
              });
    // Pressed in lane 4's row.
    pWindow->Grid()->setFocus();
    ASSERT_TRUE(pWindow->Grid()->EditCell(0, eSerDesScan));
    QApplication::processEvents();
    SetUserInterface(&m_ui);
    ASSERT_TRUE(bDialog);
    EXPECT_EQ("DFE Scan Search - Port 1, Lane 4", strTitle);
    EXPECT_TRUE(strLog.startsWith("Enabling DFE control on port 1 lane 4\nResetting Port 1\n"))
        << strLog.toStdString();
    EXPECT_TRUE(strLog.contains("Tap0\tTap1\tTap2\tTap3\tTap4\tErrorCnt\n 8\t 0\t  0\t 0\t 0\t"));
    EXPECT_TRUE(strLog.contains("\nBEST RATIO SCAN TAP VALUES FOUND:\n 8\t12\t  6\t 3\t 1\t0\n"))
        << strLog.toStdString();
    // The lane holds the optimum, and the row was read again.
    EXPECT_EQ(kOptimum, DecodeTaps(Register(serdes::DfeTaps(kLane))));
    EXPECT_EQ("12", pWindow->Grid()->CellText(0, eSerDesTap1));
    EXPECT_EQ("6", pWindow->Grid()->CellText(0, eSerDesTap2));
    // The dialog's input is remembered.
    EXPECT_EQ("32", GetPreference("Preferences", "IDT_DFE_Scan_MaxErrs1", QString()));
    EXPECT_EQ(7u, GetPreference("Preferences", "IDT_DFE_Scan_BER_Exp", 0u));
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join('|').toStdString();
}

TEST_F(SerDesConfigTest, CancelStopsTheRunAndAPortWithoutALinkIsRefused)
{
    CSerDesConfigWnd* pWindow = OpenOnPort1();
    ASSERT_NE(nullptr, pWindow);
    {
        CQtUserInterface qtUi;
        QString strLog, strButton;
        WhenReady([] { return ActiveModal<CIDT_DFE_ScanParamsDlg>() != nullptr; },
                  [&]
                  {
                      auto* pDialog = ActiveModal<CIDT_DFE_ScanParamsDlg>();
                      pDialog->BerEdit()->ExpBox()->setCurrentIndex(0);
                      pDialog->OneAtATimeButton()->click();
                  });
        // Cancel as soon as the first settings are in the log.
        WhenReady(
            [&]
            {
                CWorkingDlg* pWorking = qtUi.WorkingWindow();
                return pWorking && pWorking->LogText().count('\n') > 6;
            },
            [&] { qtUi.WorkingWindow()->Button()->click(); });
        WhenReady([] { return FinishedWorkingWindow() != nullptr; },
                  [&]
                  {
                      CWorkingDlg* pWorking = FinishedWorkingWindow();
                      strLog = pWorking->LogText();
                      strButton = pWorking->Button()->text();
                      pWorking->Button()->click();
                  });
        EXPECT_TRUE(pWindow->RunDfe(EDfeProcedure::Scan, 1));
        EXPECT_EQ("Close", strButton);
        EXPECT_TRUE(strLog.contains("\n\nAborted by user...")) << strLog.toStdString();
        EXPECT_FALSE(strLog.contains("BEST")) << "no result after a cancel";
    }
    SetUserInterface(&m_ui);
    // The row shows what the lane holds after the cancel.
    EXPECT_EQ(QString::number(DecodeTaps(Register(serdes::DfeTaps(5)))[1]),
              pWindow->Grid()->CellText(1, eSerDesTap1));

    // Port 5 has no link: refused before any dialog, nothing written.
    const int iIndex = pWindow->PortBox()->findData(5);
    emit pWindow->PortBox()->activated(iIndex);
    ASSERT_EQ(20u, pWindow->Model().LaneOf(0));
    m_pTransport->bRecord = true;
    m_pTransport->accesses.clear();
    EXPECT_FALSE(pWindow->RunDfe(EDfeProcedure::Adjust, 0));
    EXPECT_EQ(
        QStringList{"Port 5 is not trained: a DFE run needs the link up to count its errors. Nothing was "
                    "written."},
        m_ui.messages);
    for (const SMaintAccess& access : m_pTransport->accesses)
        EXPECT_FALSE(access.bWrite) << std::hex << access.ulOffset;
}

TEST_F(SerDesConfigTest, TheParameterDialogsCheckTheirFieldsEstimateAndRememberThem)
{
    SDfeLine line;
    line.ulSpeedMHz = 3125;
    line.dSampleSeconds = kSamplePeriod;

    // Scan: the BER's ranges, the estimates following N and E, the checks in tap order.
    {
        SetPreference("Preferences", "IDT_DFE_Scan_Max3", QStringLiteral("5"));
        CIDT_DFE_ScanParamsDlg dialog(line);
        EXPECT_EQ("DFE Scan Algorithm", dialog.windowTitle());
        EXPECT_EQ(9, dialog.BerEdit()->IntBox()->count());
        ASSERT_EQ(6, dialog.BerEdit()->ExpBox()->count());
        EXPECT_EQ("7", dialog.BerEdit()->ExpBox()->itemText(0));
        EXPECT_EQ("12", dialog.BerEdit()->ExpBox()->itemText(5));
        EXPECT_EQ("5", dialog.ToEdit(3)->text()) << "the remembered input";
        EXPECT_EQ("Clear Taps at Start", dialog.ClearTapsBox()->text());
        dialog.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&dialog));
        // Defaults: tap 0 at 8 alone, tap 1 over 32 settings, 1 in 1 x 10^9 bits.
        dialog.BerEdit()->IntBox()->setCurrentIndex(0);
        dialog.BerEdit()->ExpBox()->setCurrentIndex(2);
        EXPECT_EQ(QString::asprintf("Time = %f seconds", 32 * 1e9 / 3.125e9),
                  dialog.RatioTimeLabel()->text());
        dialog.BerEdit()->IntBox()->setCurrentIndex(2);
        EXPECT_EQ(QString::asprintf("Time = %f seconds", 32 * 3e9 / 3.125e9),
                  dialog.RatioTimeLabel()->text());
        // One at a time: (31 + 15 + 5 + 3) / 1 settings after the first.
        EXPECT_EQ(QString::asprintf("Time = %f seconds", 54 * 3e9 / 3.125e9),
                  dialog.OneAtATimeTimeLabel()->text());
        for (QWidget* pWidget :
             {static_cast<QWidget*>(dialog.RatioButton()), static_cast<QWidget*>(dialog.OneAtATimeButton())})
        {
            auto* pButton = static_cast<QPushButton*>(pWidget);
            EXPECT_GE(pButton->width(), pButton->fontMetrics().horizontalAdvance(pButton->text()));
        }
        EXPECT_GE(dialog.RatioTimeLabel()->width(),
                  dialog.RatioTimeLabel()->fontMetrics().horizontalAdvance(dialog.RatioTimeLabel()->text()));
        Shot(dialog, "dfe-scan-dialog.png");

        dialog.FromEdit(2)->setText("-16");
        EXPECT_FALSE(dialog.Go(0));
        dialog.FromEdit(2)->setText("0");
        dialog.ToEdit(1)->setText("3");
        dialog.FromEdit(1)->setText("4");
        EXPECT_FALSE(dialog.Go(0));
        dialog.FromEdit(1)->setText("0");
        dialog.ByEdit(4)->setText("0");
        EXPECT_FALSE(dialog.Go(1));
        EXPECT_EQ(
            QStringList({"Please enter an integer value between -15 and 15", "Max must not be less than Min",
                         "Please enter an integer value greater than 1"}),
            m_ui.messages);
        EXPECT_EQ(QStringList({"Invalid value.", "Invalid value.", "Invalid value."}), m_ui.messageTitles);
        // A Max Errs that is no number ends the check with no box.
        dialog.ByEdit(4)->setText("1");
        dialog.MaxErrsEdit(2)->setText("zz");
        const int nBeeps = m_ui.nBeeps;
        EXPECT_FALSE(dialog.Go(1));
        EXPECT_EQ(3, m_ui.messages.size());
        EXPECT_EQ(nBeeps + 1, m_ui.nBeeps);
        EXPECT_TRUE(dialog.isVisible());
        dialog.MaxErrsEdit(2)->setText("40h");
        EXPECT_TRUE(dialog.Go(1));
        EXPECT_EQ(QDialog::Accepted, dialog.result());
        EXPECT_EQ(1u, dialog.Params().ulMode);
        EXPECT_EQ(0x40u, dialog.Params().aTaps[2].ulMaxErrs);
        EXPECT_EQ(3u * 1024u * 100u, dialog.Params().ulSamples) << "3 x 10^9 bits";
        EXPECT_EQ("40h", GetPreference("Preferences", "IDT_DFE_Scan_MaxErrs2", QString()));
        EXPECT_EQ(3u, GetPreference("Preferences", "IDT_DFE_Scan_BER_Int", 0u));
    }

    // Monitor: its BER runs from 10^9 to 10^14; the iterations are written under another key.
    {
        CIDT_DFE_MonitorParamsDlg dialog(line);
        EXPECT_EQ("DFE Monitor Algorithm", dialog.windowTitle());
        ASSERT_EQ(6, dialog.BerEdit()->ExpBox()->count());
        EXPECT_EQ("9", dialog.BerEdit()->ExpBox()->itemText(0));
        EXPECT_EQ("14", dialog.BerEdit()->ExpBox()->itemText(5));
        EXPECT_EQ(9, dialog.LeakBox()->count());
        EXPECT_EQ(9, dialog.FailBox()->count());
        EXPECT_EQ(10, dialog.IterationsBox()->count());
        dialog.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&dialog));
        Shot(dialog, "dfe-monitor-dialog.png");
        dialog.BerEdit()->ExpBox()->setCurrentIndex(0);
        dialog.LeakBox()->setCurrentIndex(2);
        dialog.FailBox()->setCurrentIndex(6);
        dialog.IterationsBox()->setCurrentIndex(9);
        dialog.GoButton()->click();
        EXPECT_EQ(QDialog::Accepted, dialog.result());
        EXPECT_EQ(3u, dialog.Params().ulLeak);
        EXPECT_EQ(7u, dialog.Params().ulFail);
        EXPECT_EQ(10u, dialog.Params().ulIterations);
        EXPECT_EQ(102400u, dialog.Params().ulSamples);
        EXPECT_EQ(10u, GetPreference("Preferences", "IDT_DFE_MON_Iterations", 0u));
        EXPECT_EQ(7u, GetPreference("Preferences", "IDT_DFE_Mon_MaxErrCount", 0u));
    }
    {
        CIDT_DFE_MonitorParamsDlg dialog(line);
        EXPECT_EQ(6, dialog.FailBox()->currentIndex() + 0) << "Max Err Count is remembered";
        EXPECT_EQ(4, dialog.IterationsBox()->currentIndex())
            << "the iterations are not: read from another key";
    }

    // Adjust: only the enabled rows, in row order; a delta that is no number stops Go.
    {
        CIDT_DFE_AdjustParamsDlg dialog(line);
        EXPECT_EQ("DFE Adjust Algorithm", dialog.windowTitle());
        EXPECT_EQ("7", dialog.BerEdit()->ExpBox()->itemText(0));
        EXPECT_EQ(5, dialog.TapBox(0)->count());
        dialog.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&dialog));
        Shot(dialog, "dfe-adjust-dialog.png");
        EXPECT_FALSE(dialog.DeltaEdit(4)->isEnabled()) << "row 5 is off by default";
        dialog.EnableBox(1)->setChecked(false);
        dialog.EnableBox(4)->setChecked(true);
        dialog.TapBox(4)->setCurrentIndex(0);
        dialog.DeltaEdit(4)->setText("q");
        const int nBeeps = m_ui.nBeeps;
        EXPECT_FALSE(dialog.Go());
        EXPECT_EQ(nBeeps + 1, m_ui.nBeeps);
        EXPECT_EQ(dialog.DeltaEdit(4), dialog.focusWidget()) << "the refused field takes the focus";
        dialog.DeltaEdit(4)->setText("2");
        dialog.BerEdit()->ExpBox()->setCurrentIndex(0);
        ASSERT_TRUE(dialog.Go());
        const SDfeAdjustParams& params = dialog.Params();
        ASSERT_EQ(4u, params.ulCount);
        EXPECT_EQ((std::vector<uint32_t>{1, 3, 4, 0}), std::vector<uint32_t>(params.auSeq, params.auSeq + 4));
        EXPECT_EQ((std::vector<uint32_t>{1, 1, 1, 2}),
                  std::vector<uint32_t>(params.auDelta, params.auDelta + 4));
        EXPECT_EQ(1024u, params.ulSamples);
        EXPECT_EQ(0u, GetPreference("Preferences", "IDT_DFE_Adj_Enable1", 1u));
        EXPECT_EQ("2", GetPreference("Preferences", "IDT_DFE_Adj_Delta4", QString()));
    }
}
} // namespace
} // namespace nvtest

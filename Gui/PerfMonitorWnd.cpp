#include "PerfMonitorWnd.h"

#include "MainFrameCore.h"
#include "MapCommands.h"
#include "NetworkDocument.h"
#include "OScopeCtrl.h"
#include "PerfMonitorReport.h"
#include "PerformanceReport.h"
#include "UserInterface.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QFileInfo>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTimer>
#include <QVBoxLayout>

#include <cmath>
#include <map>

namespace
{
std::map<int, CPerfMonitorWnd*>& Windows()
{
    static std::map<int, CPerfMonitorWnd*> s_windows;
    return s_windows;
}

// The chart's top: the next 1, 2 or 5 times a power of ten above the highest rate, at least 10.
double ChartTop(double dPeak)
{
    double dTop = 10.0;
    while (dTop < dPeak)
    {
        const double dMantissa = dTop / std::pow(10.0, std::floor(std::log10(dTop)));
        dTop *= dMantissa < 1.5 ? 2.0 : dMantissa < 3.0 ? 2.5 : 2.0;
    }
    return dTop;
}

// Quarters of the top are the grid lines: below 100 they need a decimal (2.5, 12.5).
void SetChartTop(COScopeCtrl& chart, double dPeak)
{
    const double dTop = ChartTop(dPeak);
    if (dTop != chart.Upper() || chart.Decimals() != (dTop < 100.0 ? 1 : 0))
        chart.SetRange(0.0, dTop, dTop < 100.0 ? 1 : 0);
}
} // namespace

CPerfMonitorWnd* CPerfMonitorWnd::Find(int iNode)
{
    const auto it = Windows().find(iNode);
    return it == Windows().end() ? nullptr : it->second;
}

CPerfMonitorWnd* CPerfMonitorWnd::Open(CNetworkDocument& document, int iNode, QWidget* pParent,
                                       IPerfTransport& transport)
{
    if (CPerfMonitorWnd* pWindow = Find(iNode))
    {
        pWindow->show();
        pWindow->raise();
        pWindow->activateWindow();
        return pWindow;
    }
    const CPEPrimitive* pPE = document.ActivePEs.GetByNodeNumber(iNode);
    if (!pPE || !FindPerfDevice(pPE->ManufID, pPE->DeviceID))
        return nullptr;
    auto* pWindow = new CPerfMonitorWnd(document, iNode, transport, pParent);
    pWindow->show();
    return pWindow;
}

CPerfMonitorWnd::CPerfMonitorWnd(CNetworkDocument& document, int iNode, IPerfTransport& transport,
                                 QWidget* pParent)
    : QWidget(pParent, Qt::Window), m_document(document),
      m_pMonitor(std::make_unique<CPerfMonitor>(document, iNode, transport))
{
    setAttribute(Qt::WA_DeleteOnClose);
    setObjectName(QStringLiteral("PerfMonitorWnd"));
    setWindowTitle(m_pMonitor->Title());
    Windows()[iNode] = this;

    auto* pMain = new QVBoxLayout(this);
    auto* pBar = new QHBoxLayout;
    m_pEnable = new QPushButton(QStringLiteral("Enable"), this);
    m_pEnable->setCheckable(true);
    m_pDepth = new QSpinBox(this);
    m_pDepth->setRange(1, kPerfMaxDepth);
    m_pDepth->setValue(m_pMonitor->Depth());
    auto* pReport = new QPushButton(QStringLiteral("Report"), this);
    auto* pClose = new QPushButton(QStringLiteral("Close"), this);
    pBar->addWidget(m_pEnable);
    pBar->addSpacing(12);
    pBar->addWidget(new QLabel(QStringLiteral("Averaging depth:"), this));
    pBar->addWidget(m_pDepth);
    pBar->addStretch(1);
    pBar->addWidget(pReport);
    pBar->addWidget(pClose);
    pMain->addLayout(pBar);

    const QStringList counters = m_pMonitor->CounterNames();
    const QStringList ports = m_pMonitor->PortNames();
    auto* pGrid = new QGridLayout;
    for (int i = 0; i < kPerfTraces; ++i)
    {
        STraceWidgets& trace = m_traces[static_cast<size_t>(i)];
        auto* pBox = new QGroupBox(QStringLiteral("Trace %1").arg(i + 1), this);
        auto* pBoxLayout = new QHBoxLayout(pBox);
        auto* pControls = new QVBoxLayout;
        trace.pOn = new QCheckBox(QStringLiteral("On"), pBox);
        trace.pCounter = new QComboBox(pBox);
        trace.pCounter->addItems(counters);
        trace.pCounter->setCurrentIndex(m_pMonitor->Trace(i).iCounter);
        trace.pCounter->setSizeAdjustPolicy(QComboBox::AdjustToContents);
        trace.pPort = new QComboBox(pBox);
        trace.pPort->addItems(ports);
        trace.pRate = new QLineEdit(pBox);
        trace.pRate->setReadOnly(true);
        trace.pRate->setAlignment(Qt::AlignRight);
        auto* pRateRow = new QHBoxLayout;
        pRateRow->addWidget(trace.pRate, 1);
        pRateRow->addWidget(new QLabel(QStringLiteral("per second"), pBox));
        pControls->addWidget(trace.pOn);
        pControls->addWidget(trace.pCounter);
        pControls->addWidget(trace.pPort);
        pControls->addLayout(pRateRow);
        pControls->addStretch(1);
        trace.pChart = new COScopeCtrl(pBox);
        trace.pChart->SetTitle(counters.value(trace.pCounter->currentIndex()));
        trace.pChart->SetYUnits(QStringLiteral("Counts/s"));
        // 61 places: the axis ticks fall on 0, 15, 30, 45 and 60 seconds back.
        trace.pChart->SetSamples(61);
        SetChartTop(*trace.pChart, 0);
        trace.pChart->setMinimumSize(360, 200);
        pBoxLayout->addLayout(pControls);
        pBoxLayout->addWidget(trace.pChart, 1);
        pGrid->addWidget(pBox, i / 2, i % 2);

        connect(trace.pOn, &QCheckBox::toggled, this, [this, i](bool bOn) { OnTraceOn(i, bOn); });
        connect(trace.pCounter, &QComboBox::currentIndexChanged, this,
                [this, i](int iCounter)
                {
                    STraceWidgets& widgets = m_traces[static_cast<size_t>(i)];
                    m_pMonitor->SelectCounter(i, iCounter);
                    widgets.pChart->Reset();
                    widgets.pChart->SetTitle(m_pMonitor->CounterNames().value(iCounter));
                    widgets.dPeak = 0;
                    SetChartTop(*widgets.pChart, 0);
                    widgets.pRate->clear();
                    // The new counter may be taken by another window: the box shows what is so.
                    const QSignalBlocker blocker(widgets.pOn);
                    widgets.pOn->setChecked(m_pMonitor->Trace(i).bOn);
                });
        connect(trace.pPort, &QComboBox::currentIndexChanged, this,
                [this, i](int iPort)
                {
                    STraceWidgets& widgets = m_traces[static_cast<size_t>(i)];
                    m_pMonitor->SelectPort(i, iPort);
                    widgets.pChart->Reset();
                    widgets.pRate->clear();
                    const QSignalBlocker blocker(widgets.pOn);
                    widgets.pOn->setChecked(m_pMonitor->Trace(i).bOn);
                });
    }
    pMain->addLayout(pGrid, 1);

    m_pTimer = new QTimer(this);
    m_pTimer->setInterval(1000);
    connect(m_pTimer, &QTimer::timeout, this, &CPerfMonitorWnd::OnTick);
    connect(m_pEnable, &QPushButton::toggled, this, &CPerfMonitorWnd::OnEnable);
    connect(m_pDepth, &QSpinBox::valueChanged, this, [this](int iDepth) { m_pMonitor->SetDepth(iDepth); });
    connect(pReport, &QPushButton::clicked, this, [this] { MakeReport(); });
    connect(pClose, &QPushButton::clicked, this, &QWidget::close);
    m_pMonitor->onRate = [this](int iTrace, double dRate) { OnRate(iTrace, dRate); };
    m_pMonitor->onSwitchedOff = [this] { SwitchedOff(); };
}

CPerfMonitorWnd::~CPerfMonitorWnd()
{
    const auto it = Windows().find(m_pMonitor->Node());
    if (it != Windows().end() && it->second == this)
        Windows().erase(it);
}

void CPerfMonitorWnd::closeEvent(QCloseEvent* pEvent)
{
    m_pTimer->stop();
    m_pMonitor->Disable();
    pEvent->accept();
}

void CPerfMonitorWnd::OnEnable(bool bChecked)
{
    if (bChecked)
    {
        if (!m_pMonitor->Enable())
        {
            const QSignalBlocker blocker(m_pEnable);
            m_pEnable->setChecked(false);
            return;
        }
        m_pEnable->setText(QStringLiteral("Disable"));
        m_pTimer->start();
        return;
    }
    m_pMonitor->Disable();
    m_pTimer->stop();
    m_pEnable->setText(QStringLiteral("Enable"));
}

void CPerfMonitorWnd::OnTraceOn(int iTrace, bool bOn)
{
    const bool bNow = m_pMonitor->SetTraceOn(iTrace, bOn);
    STraceWidgets& trace = m_traces[static_cast<size_t>(iTrace)];
    if (bNow != bOn)
    {
        const QSignalBlocker blocker(trace.pOn);
        trace.pOn->setChecked(bNow);
    }
    if (!bNow)
        trace.pRate->clear();
}

void CPerfMonitorWnd::OnRate(int iTrace, double dRate)
{
    STraceWidgets& trace = m_traces[static_cast<size_t>(iTrace)];
    if (dRate > trace.dPeak)
    {
        trace.dPeak = dRate;
        SetChartTop(*trace.pChart, dRate);
    }
    trace.pChart->AppendPoint(dRate);
    trace.pRate->setText(QString::asprintf("%.1f", dRate));
}

void CPerfMonitorWnd::SwitchedOff()
{
    m_pTimer->stop();
    const QSignalBlocker blocker(m_pEnable);
    m_pEnable->setChecked(false);
    m_pEnable->setText(QStringLiteral("Enable"));
}

void CPerfMonitorWnd::OnTick()
{
    m_pMonitor->Tick();
}

bool CPerfMonitorWnd::MakeReport()
{
    CPerformanceReport report(QFileInfo(m_document.FileName).fileName(),
                              PerfReportRecords(m_pMonitor->Records()));
    return report.GenerateReport();
}

void InstallPerfMonitorCommands(CMainFrameCore& frame, QWidget* pParent)
{
    const CommandHandler open = [&frame, pParent](const SCommandContext& context)
    {
        if (!CPerfMonitorWnd::Open(frame.Document(), context.iNode, pParent))
        {
            ShowMessage(QStringLiteral("This device has no performance monitor."), EMessageKind::Information);
        }
    };
    frame.SetCommandHandler(eCmdPerformanceMonitor, open);
    frame.SetCommandHandler(eCmdTsi578PerformanceMonitor, open);
}

#include "LinkMonitorWnd.h"

#include "MainFrameCore.h"
#include "MapCommands.h"
#include "NetworkDocument.h"
#include "OScopeCtrl.h"
#include "UserInterface.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPointer>
#include <QPushButton>
#include <QSpinBox>
#include <QTimer>
#include <QVBoxLayout>

#include <cmath>
#include <map>
#include <tuple>

namespace
{
constexpr int kTickMs = 1000;
constexpr int kSamplesAcross = 60;

// A chart's starting Y maximum: ten retries, a kilopacket a second, a packet of 256 bytes with
// its header, all of a link. A point above the maximum raises it (see NextScale).
double DefaultMaximum(ELinkMonitorKind eKind, int iChart)
{
    switch (eKind)
    {
    case eLinkMonitorBitErrors:
        return 10.0;
    case eLinkMonitorThroughput:
        return 1.0;
    case eLinkMonitorEfficiency:
        return iChart == 0 ? 1.0 : iChart == 1 ? 276.0 : 100.0;
    }
    return 100.0;
}

// The smallest of 1, 2 and 5 times a power of ten at or above d.
double NextScale(double d)
{
    double dStep = std::pow(10.0, std::floor(std::log10(d)));
    for (double dFactor : {1.0, 2.0, 5.0, 10.0})
    {
        if (dStep * dFactor >= d)
        {
            return dStep * dFactor;
        }
    }
    return dStep * 10.0;
}

int Decimals(ELinkMonitorKind eKind, int iChart)
{
    if (eKind == eLinkMonitorEfficiency)
    {
        return iChart == 0 ? 2 : iChart == 1 ? 0 : 1;
    }
    return eKind == eLinkMonitorBitErrors ? 1 : 2;
}
} // namespace

CLinkMonitorWnd::CLinkMonitorWnd(ELinkMonitorKind eKind, CNetworkDocument& document,
                                 ILinkMonitorTransport& transport, int iNode, int iPort, QWidget* pParent)
    : QWidget(pParent, Qt::Window), m_monitor(eKind, document, transport, iNode, iPort)
{
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(m_monitor.Title());
    m_pTimer = new QTimer(this);
    m_pTimer->setInterval(kTickMs);
    connect(m_pTimer, &QTimer::timeout, this, &CLinkMonitorWnd::OnTick);
    m_monitor.onDisabled = [this] { SetEnabled(false); };

    auto* pLayout = new QVBoxLayout(this);
    auto* pControls = new QHBoxLayout;
    m_pEnable = new QPushButton(QStringLiteral("Enable"), this);
    m_pEnable->setMinimumWidth(90);
    connect(m_pEnable, &QPushButton::clicked, this, [this] { SetEnabled(!m_monitor.IsEnabled()); });
    pControls->addWidget(m_pEnable);

    pControls->addWidget(new QLabel(QStringLiteral("Averaging depth:"), this));
    m_pDepth = new QSpinBox(this);
    m_pDepth->setRange(1, kLinkMonitorMaxDepth);
    m_pDepth->setValue(m_monitor.Depth());
    connect(m_pDepth, &QSpinBox::valueChanged, this, [this](int i) { m_monitor.SetDepth(i); });
    pControls->addWidget(m_pDepth);

    const QStringList priorities = {QStringLiteral("Priority 0"), QStringLiteral("Priority 1"),
                                    QStringLiteral("Priority 2"), QStringLiteral("Priority 3")};
    if (eKind == eLinkMonitorBitErrors)
    {
        m_pFirstChoice = new QComboBox(this);
        for (int b = 0; b < 4; ++b)
        {
            m_pFirstChoice->addItem(QStringLiteral("Buffer %1").arg(b));
        }
        connect(m_pFirstChoice, &QComboBox::currentIndexChanged, this,
                [this](int i)
                {
                    m_monitor.SetBuffer(i);
                    ApplyChartSettings();
                });
        pControls->addWidget(m_pFirstChoice);
    }
    else if (eKind == eLinkMonitorThroughput)
    {
        pControls->addWidget(new QLabel(QStringLiteral("Read:"), this));
        m_pFirstChoice = new QComboBox(this);
        m_pFirstChoice->addItems(priorities);
        pControls->addWidget(m_pFirstChoice);
        pControls->addWidget(new QLabel(QStringLiteral("Write:"), this));
        m_pSecondChoice = new QComboBox(this);
        m_pSecondChoice->addItems(priorities);
        pControls->addWidget(m_pSecondChoice);
        auto apply = [this]
        {
            m_monitor.SetPriorities(m_pFirstChoice->currentIndex(), m_pSecondChoice->currentIndex());
            ApplyChartSettings();
        };
        connect(m_pFirstChoice, &QComboBox::currentIndexChanged, this, apply);
        connect(m_pSecondChoice, &QComboBox::currentIndexChanged, this, apply);
    }
    else
    {
        pControls->addWidget(new QLabel(QStringLiteral("Line rate (MB/s):"), this));
        m_pLineRate = new QLineEdit(QLocale::c().toString(m_monitor.LineRate(), 'g', 10), this);
        m_pLineRate->setMaximumWidth(80);
        pControls->addWidget(m_pLineRate);
        auto* pOk = new QPushButton(QStringLiteral("OK"), this);
        connect(pOk, &QPushButton::clicked, this, &CLinkMonitorWnd::OnLineRateOk);
        pControls->addWidget(pOk);
    }
    pControls->addStretch(1);
    auto* pReport = new QPushButton(QStringLiteral("Report"), this);
    connect(pReport, &QPushButton::clicked, this, &CLinkMonitorWnd::OnReport);
    pControls->addWidget(pReport);
    pLayout->addLayout(pControls);

    for (int i = 0; i < m_monitor.NumCharts(); ++i)
    {
        auto* pRow = new QHBoxLayout;
        auto* pChart = new COScopeCtrl(this);
        pChart->setMinimumSize(560, 190);
        pChart->SetSamples(kSamplesAcross);
        pRow->addWidget(pChart, 1);
        auto* pScale = new QFormLayout;
        auto* pMax = new QDoubleSpinBox(this);
        pMax->setRange(0.001, 1e9);
        pMax->setDecimals(3);
        pMax->setValue(DefaultMaximum(eKind, i));
        connect(pMax, &QDoubleSpinBox::valueChanged, this, [this] { ApplyChartSettings(); });
        pScale->addRow(QStringLiteral("Max:"), pMax);
        pRow->addLayout(pScale);
        pLayout->addLayout(pRow, 1);
        m_charts.push_back(pChart);
        m_maxima.push_back(pMax);
    }
    if (eKind == eLinkMonitorEfficiency)
    {
        m_pLinkUse = new QLabel(QStringLiteral("Link use: - %"), this);
        pLayout->addWidget(m_pLinkUse);
    }
    ApplyChartSettings();
}

CLinkMonitorWnd::~CLinkMonitorWnd() = default;

void CLinkMonitorWnd::ApplyChartSettings()
{
    for (size_t i = 0; i < m_charts.size(); ++i)
    {
        const int iChart = static_cast<int>(i);
        m_charts[i]->SetTitle(m_monitor.ChartTitle(iChart));
        m_charts[i]->SetYUnits(m_monitor.ChartUnits(iChart));
        m_charts[i]->SetRange(0.0, m_maxima[i]->value(), Decimals(m_monitor.Kind(), iChart));
    }
}

bool CLinkMonitorWnd::TimerActive() const
{
    return m_pTimer->isActive();
}

void CLinkMonitorWnd::SetEnabled(bool bEnabled)
{
    if (bEnabled)
    {
        if (!m_monitor.Enable())
        {
            return; // the monitor said why; it stays off
        }
        m_pTimer->start();
    }
    else
    {
        m_monitor.Disable();
        m_pTimer->stop();
    }
    m_pEnable->setText(bEnabled ? QStringLiteral("Disable") : QStringLiteral("Enable"));
}

void CLinkMonitorWnd::OnTick()
{
    if (!m_monitor.Tick())
    {
        return;
    }
    for (size_t i = 0; i < m_charts.size(); ++i)
    {
        const double dValue = m_monitor.LastValues()[i];
        if (dValue > m_maxima[i]->value())
        {
            m_maxima[i]->setValue(NextScale(dValue)); // the chart follows through ApplyChartSettings
        }
        m_charts[i]->AppendPoint(dValue);
    }
    if (m_pLinkUse)
    {
        const SEfficiency& e = m_monitor.LastEfficiency();
        m_pLinkUse->setText(QStringLiteral("Packet rate: %1 packets/s    Payload: %2 bytes    Link use: %3 %")
                                .arg(QString::asprintf("%.3f", e.dPacketRate),
                                     QLocale::c().toString(e.dPayload, 'f', 1),
                                     QLocale::c().toString(e.dLinkUse, 'f', 3)));
    }
}

void CLinkMonitorWnd::OnReport()
{
    m_monitor.GenerateReport(strMapName);
}

void CLinkMonitorWnd::OnLineRateOk()
{
    bool bOk = false;
    const double d = QLocale::c().toDouble(m_pLineRate->text().trimmed(), &bOk);
    if (!bOk || d <= 0)
    {
        ShowMessage(QStringLiteral("Invalid data entry."));
        m_pLineRate->setText(QLocale::c().toString(m_monitor.LineRate(), 'g', 10));
        return;
    }
    m_monitor.SetLineRate(d);
    CLinkMonitor::StoreLineRate(d);
}

void CLinkMonitorWnd::closeEvent(QCloseEvent* pEvent)
{
    SetEnabled(false);
    QWidget::closeEvent(pEvent);
}

void InstallLinkMonitorCommands(CMainFrameCore& frame, QWidget* pParent)
{
    // One window per kind and port; a window closed is deleted and drops out.
    using Key = std::tuple<int, int, int>;
    auto pWindows = std::make_shared<std::map<Key, QPointer<CLinkMonitorWnd>>>();
    auto open = [&frame, pParent, pWindows](ELinkMonitorKind eKind, const SCommandContext& context)
    {
        int iNode = -1;
        int iPort = 0;
        QString strWhy;
        if (!LinkMonitorEnd(frame.Document(), context.iConnection, eKind, &iNode, &iPort, &strWhy))
        {
            ShowMessage(strWhy);
            return;
        }
        QPointer<CLinkMonitorWnd>& pWindow = (*pWindows)[Key(eKind, iNode, iPort)];
        if (!pWindow)
        {
            pWindow = new CLinkMonitorWnd(eKind, frame.Document(), TargetLinkMonitorTransport(), iNode, iPort,
                                          pParent);
            pWindow->strMapName = QFileInfo(frame.Document().PathName).fileName();
        }
        pWindow->show();
        pWindow->raise();
        pWindow->activateWindow();
    };
    frame.SetCommandHandler(eCmdBitErrorRate,
                            [open](const SCommandContext& context) { open(eLinkMonitorBitErrors, context); });
    frame.SetCommandHandler(eCmdThroughput, [open](const SCommandContext& context)
                            { open(eLinkMonitorThroughput, context); });
    frame.SetCommandHandler(eCmdTrafficEfficiency, [open](const SCommandContext& context)
                            { open(eLinkMonitorEfficiency, context); });
}

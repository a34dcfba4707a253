#include "SerDesConfig.h"

#include "DfeAdjustParamsDlg.h"
#include "DfeMonitorParamsDlg.h"
#include "DfeScanParamsDlg.h"
#include "MainFrameCore.h"
#include "MapCommands.h"
#include "NetworkDocument.h"
#include "StatusText.h"
#include "UserInterface.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include <map>

namespace
{
const QString kCaption = QStringLiteral("SerDes Configuration");
constexpr int kTickMilliseconds = 1000;

std::map<int, QPointer<CSerDesConfigWnd>>& Windows()
{
    static std::map<int, QPointer<CSerDesConfigWnd>> windows;
    return windows;
}

QString DeviceName(uint16_t wDeviceID)
{
    switch (wDeviceID)
    {
    case 884:
        return QStringLiteral("CPS-1848");
    case 885:
        return QStringLiteral("CPS-1432");
    case 887:
        return QStringLiteral("VPS-1616");
    case 888:
        return QStringLiteral("SPS-1616");
    case 889:
        return QStringLiteral("CPS-1616");
    default:
        return QStringLiteral("%1").arg(wDeviceID, 4, 16, QLatin1Char('0'));
    }
}

void Message(const QString& strText)
{
    UI().ShowMessage(strText, kCaption, EMessageKind::Error);
}
} // namespace

// --- The grids -----------------------------------------------------------------------------------

CSerDesConfigGrid::CSerDesConfigGrid(QWidget* pParent) : CGridCtrl(pParent) {}

bool CPS1848_SerDesConfigGrid::ServesDevice(uint16_t wDeviceID) const
{
    return wDeviceID == 884 || wDeviceID == 885 || wDeviceID == 887;
}

bool CPS1616_SerDesConfigGrid::ServesDevice(uint16_t wDeviceID) const
{
    return wDeviceID == 888 || wDeviceID == 889;
}

void CSerDesConfigGrid::Show(const CSerDesGrid& model)
{
    const int nRows = model.RowCount();
    BeginUpdate();
    SetShape(eSerDesColumns, 2, nRows);
    for (int c = 0; c < eSerDesColumns; ++c)
    {
        const bool bGrouped = c >= eSerDesStrength && c <= eSerDesTap4;
        if (bGrouped)
            SetHeading(1, c, SerDesColumnHeading(c));
        else
            SetHeading(0, c, SerDesColumnHeading(c), 1, 2);
        const QString strToolTip = SerDesColumnToolTip(c);
        if (!strToolTip.isEmpty())
            SetColumnToolTip(c, strToolTip);
    }
    SetHeading(0, eSerDesStrength, QStringLiteral("Transmitter"), eSerDesPost - eSerDesStrength + 1);
    SetHeading(0, eSerDesDfeOn, QStringLiteral("Receiver"), eSerDesTap4 - eSerDesDfeOn + 1);
    SetColumnWidth(eSerDesLane, 40);
    for (int c = eSerDesTap0; c <= eSerDesTap4; ++c)
        SetColumnWidth(c, 46);

    std::vector<SGridOption> speeds;
    const QStringList speedTexts = SerDesSpeedTexts();
    for (size_t i = 0; i < SerDesSpeedsMHz().size(); ++i)
        speeds.push_back({static_cast<int64_t>(SerDesSpeedsMHz()[i]), speedTexts[static_cast<int>(i)]});
    const std::vector<SGridOption> onOff = {{1, QStringLiteral("ON")}, {0, QStringLiteral("OFF")}};

    for (int r = 0; r < nRows; ++r)
    {
        const SSerDesLaneRow& row = model.Row(r);
        for (int c = 0; c < eSerDesColumns; ++c)
        {
            SGridCell cell;
            cell.strText = model.CellText(r, c);
            switch (c)
            {
            case eSerDesLane:
            case eSerDesErrorCount:
            case eSerDesErrorRate:
                cell.bReadOnly = true;
                break;
            case eSerDesSpeed:
                cell.eKind = EGridCellKind::eDropList;
                cell.options = speeds;
                for (size_t i = 0; i < speeds.size(); ++i)
                    if (row.bRead && speeds[i].llValue == row.ulSpeedMHz)
                        cell.iSelected = static_cast<int>(i);
                break;
            case eSerDesDfeOn:
                cell.eKind = EGridCellKind::eDropList;
                cell.options = onOff;
                cell.iSelected = row.bRead ? (row.bDfeOn ? 0 : 1) : -1;
                break;
            case eSerDesScan:
            case eSerDesMonitor:
            case eSerDesAdjust:
                cell.eKind = EGridCellKind::eButton;
                cell.strToolTip = SerDesColumnToolTip(c);
                break;
            case eSerDesLoopback:
                cell.eKind = EGridCellKind::eCheck;
                cell.bChecked = row.bLoopback;
                break;
            case eSerDesCountEnable:
                cell.eKind = EGridCellKind::eCheck;
                cell.bChecked = model.IsCounting();
                break;
            default:
                break;
            }
            SetCell(r, c, cell);
        }
    }
    EndUpdate();
}

// --- The window ----------------------------------------------------------------------------------

CSerDesConfigWnd::CSerDesConfigWnd(const CNetworkDocument& document, int iNode, CSerDesConfigGrid* pGrid,
                                   QWidget* pParent)
    : QWidget(pParent, Qt::Window), m_access(document, iNode), m_model(m_access), m_pGrid(pGrid)
{
    setAttribute(Qt::WA_DeleteOnClose, true);
    m_pGrid->setParent(this);
    fnMeasureSamplePeriod = [this](uint32_t ulLane) { return MeasureDfeSamplePeriod(m_access, ulLane); };

    auto* pLayout = new QVBoxLayout(this);
    auto* pTop = new QHBoxLayout;
    pTop->addWidget(new QLabel(QStringLiteral("Port:"), this));
    m_pPort = new QComboBox(this);
    pTop->addWidget(m_pPort);
    m_pLanes = new QLabel(this);
    pTop->addWidget(m_pLanes);
    pTop->addStretch(1);
    m_pRefresh = new QPushButton(QStringLiteral("Refresh"), this);
    m_pRefresh->setToolTip(QStringLiteral("Read the lanes of the port from the switch again."));
    pTop->addWidget(m_pRefresh);
    pLayout->addLayout(pTop);
    pLayout->addWidget(m_pGrid, 1);

    m_pTimer = new QTimer(this);
    m_pTimer->setInterval(kTickMilliseconds);
    connect(m_pTimer, &QTimer::timeout, this, &CSerDesConfigWnd::Tick);
    connect(m_pRefresh, &QPushButton::clicked, this, &CSerDesConfigWnd::Refresh);
    connect(m_pPort, &QComboBox::activated, this, &CSerDesConfigWnd::ShowPort);
    connect(m_pGrid, &CGridCtrl::CellEdited, this, &CSerDesConfigWnd::OnEdited);
    connect(m_pGrid, &CGridCtrl::OptionChosen, this, &CSerDesConfigWnd::OnOption);
    connect(m_pGrid, &CGridCtrl::ButtonClicked, this, &CSerDesConfigWnd::OnButton);
    connect(m_pGrid, &CGridCtrl::CheckToggled, this, &CSerDesConfigWnd::OnCheck);
}

CSerDesConfigWnd::~CSerDesConfigWnd()
{
    // Counting stops with the window: the port's counters are not left running unseen.
    m_pTimer->stop();
    m_model.SetErrorCounting(false);
    auto& windows = Windows();
    auto it = windows.find(Node());
    if (it != windows.end() && (it->second.isNull() || it->second.data() == this))
        windows.erase(it);
}

CCPS1848_SerDesConfig::CCPS1848_SerDesConfig(const CNetworkDocument& document, int iNode, QWidget* pParent)
    : CSerDesConfigWnd(document, iNode, new CPS1848_SerDesConfigGrid, pParent)
{
}

CCPS1616_SerDesConfig::CCPS1616_SerDesConfig(const CNetworkDocument& document, int iNode, QWidget* pParent)
    : CSerDesConfigWnd(document, iNode, new CPS1616_SerDesConfigGrid, pParent)
{
}

bool CSerDesConfigWnd::Start(uint16_t wDeviceID, const QString& strDevice)
{
    setWindowTitle(QStringLiteral("%1 - %2, Node %3").arg(kCaption, strDevice).arg(Node() + 1));
    if (!m_access.ConfigureRoute())
    {
        Message(QStringLiteral("Unable to configure routing tables."));
        return false;
    }
    if (!m_access.FindConnectedPE())
    {
        Message(QStringLiteral("Unable to find connected PE."));
        return false;
    }
    if (!m_pGrid->ServesDevice(wDeviceID) || !m_model.Load(wDeviceID))
    {
        Message(QStringLiteral("Unable to read the quad configuration of the switch."));
        return false;
    }
    const std::vector<uint32_t> ports = m_model.Ports();
    if (ports.empty())
    {
        Message(QStringLiteral("No port of the switch has lanes in its present quad configuration."));
        return false;
    }
    for (uint32_t p : ports)
        m_pPort->addItem(QStringLiteral("Port %1").arg(p), p);
    ShowPort(0);
    return true;
}

void CSerDesConfigWnd::ShowPort(int iIndex)
{
    if (iIndex < 0 || iIndex >= m_pPort->count())
        return;
    m_pPort->setCurrentIndex(iIndex);
    m_pTimer->stop();
    m_model.SelectPort(m_pPort->itemData(iIndex).toUInt());
    const SSerDesPort& port = m_model.Table().ports[m_model.Port()];
    m_pLanes->setText(port.ulLanes == 1 ? QStringLiteral("Lane %1").arg(port.ulFirstLane)
                                        : QStringLiteral("Lanes %1 to %2")
                                              .arg(port.ulFirstLane)
                                              .arg(port.ulFirstLane + port.ulLanes - 1));
    ShowRows();
    adjustSize();
}

void CSerDesConfigWnd::ShowRows()
{
    m_pGrid->Show(m_model);
    // The grid shows whole: a running count's second line or a longer rate widens the window.
    m_pGrid->setMinimumSize(m_pGrid->FullSize());
}

void CSerDesConfigWnd::Refresh()
{
    m_model.ReadAll();
    ShowRows();
}

void CSerDesConfigWnd::Tick()
{
    m_model.Tick();
    ShowRows();
}

void CSerDesConfigWnd::OnEdited(int iRow, int iColumn, const QString& strText)
{
    QString strError;
    if (!m_model.EditCell(iRow, iColumn, strText, &strError) && !strError.isEmpty())
        UI().ShowMessage(strError, kCaption, EMessageKind::Warning);
    ShowRows();
}

void CSerDesConfigWnd::OnOption(int iRow, int iColumn, int iIndex)
{
    if (iColumn == eSerDesSpeed && iIndex >= 0 && iIndex < static_cast<int>(SerDesSpeedsMHz().size()))
    {
        UI().SetBusy(true);
        const int32_t nStatus = m_model.SetPortSpeed(SerDesSpeedsMHz()[static_cast<size_t>(iIndex)]);
        UI().SetBusy(false);
        if (nStatus != 0)
        {
            UI().ShowMessage(QStringLiteral("Unable to set the speed of port %1.\n\n%2")
                                 .arg(m_model.Port())
                                 .arg(RioErrorText(nStatus)),
                             kCaption, EMessageKind::Error);
        }
    }
    else if (iColumn == eSerDesDfeOn)
    {
        m_model.SetDfeOn(iRow, iIndex == 0);
    }
    ShowRows();
}

void CSerDesConfigWnd::OnButton(int iRow, int iColumn)
{
    switch (iColumn)
    {
    case eSerDesScan:
        RunDfe(EDfeProcedure::Scan, iRow);
        break;
    case eSerDesMonitor:
        RunDfe(EDfeProcedure::Monitor, iRow);
        break;
    case eSerDesAdjust:
        RunDfe(EDfeProcedure::Adjust, iRow);
        break;
    default:
        break;
    }
}

void CSerDesConfigWnd::OnCheck(int, int iColumn, bool bChecked)
{
    if (iColumn == eSerDesLoopback)
    {
        m_model.SetLoopback(bChecked);
    }
    else if (iColumn == eSerDesCountEnable)
    {
        m_model.SetErrorCounting(bChecked);
        if (m_model.IsCounting())
            m_pTimer->start();
        else
            m_pTimer->stop();
    }
    ShowRows();
}

bool CSerDesConfigWnd::RunDfe(EDfeProcedure eProcedure, int iRow)
{
    if (iRow < 0 || iRow >= m_model.RowCount())
        return false;
    const uint32_t ulPort = m_model.Port();
    const uint32_t ulLane = m_model.LaneOf(iRow);
    if (!m_access.ConfigureRoute())
    {
        Message(QStringLiteral("Unable to configure routing tables."));
        return false;
    }
    // The tables of ports and lanes as the switch is configured now.
    SSerDesDeviceTable table;
    if (!LoadSerDesDeviceTable(m_access, m_access.DeviceID(), &table))
    {
        Message(QStringLiteral("Unable to read the quad configuration of the switch."));
        return false;
    }
    // The errors a run counts only mean something on a link that is up.
    uint32_t ulStatus = 0;
    if (m_access.Read(serdes::PortErrorStatus(ulPort), &ulStatus) != 0 || !(ulStatus & serdes::kPortOk))
    {
        UI().ShowMessage(QStringLiteral("Port %1 is not trained: a DFE run needs the link up to count its "
                                        "errors. Nothing was written.")
                             .arg(ulPort),
                         kCaption, EMessageKind::Warning);
        return false;
    }

    SDfeLine line;
    if (m_access.GetPortSpeedMHz(ulPort, &line.ulSpeedMHz) != 0)
        line.ulSpeedMHz = 0;
    UI().SetBusy(true);
    line.dSampleSeconds = fnMeasureSamplePeriod(ulLane);
    UI().SetBusy(false);

    SDfeScanParams scan;
    SDfeMonitorParams monitor;
    SDfeAdjustParams adjust;
    switch (eProcedure)
    {
    case EDfeProcedure::Scan:
    {
        CIDT_DFE_ScanParamsDlg dialog(line, this);
        if (dialog.exec() != QDialog::Accepted)
            return false;
        scan = dialog.Params();
        break;
    }
    case EDfeProcedure::Monitor:
    {
        CIDT_DFE_MonitorParamsDlg dialog(line, this);
        if (dialog.exec() != QDialog::Accepted)
            return false;
        monitor = dialog.Params();
        break;
    }
    case EDfeProcedure::Adjust:
    {
        CIDT_DFE_AdjustParamsDlg dialog(line, this);
        if (dialog.exec() != QDialog::Accepted)
            return false;
        adjust = dialog.Params();
        break;
    }
    }

    // The error count reads the lane error status too: it waits while the run counts.
    const bool bTicking = m_pTimer->isActive();
    m_pTimer->stop();
    UI().BeginWork(DfeWorkTitle(eProcedure, ulPort, ulLane), true);
    // The log is the point of the run: it shows, and stays to be read with "Close" at the end.
    UI().SetWorkWindowState(true, true);
    UI().SetWorkProgress(DfeWorkText(eProcedure));
    CDfeSearch search(m_access, table);
    switch (eProcedure)
    {
    case EDfeProcedure::Scan:
        search.Scan(ulPort, ulLane, scan);
        break;
    case EDfeProcedure::Monitor:
        search.Monitor(ulPort, ulLane, monitor, adjust);
        break;
    case EDfeProcedure::Adjust:
        search.Adjust(ulPort, ulLane, adjust);
        break;
    }
    UI().EndWork(QString());
    if (bTicking)
        m_pTimer->start();
    m_model.ReadAll();
    ShowRows();
    return true;
}

// --- Opening -------------------------------------------------------------------------------------

CSerDesConfigWnd* FindSerDesConfig(int iNode)
{
    auto& windows = Windows();
    auto it = windows.find(iNode);
    return it == windows.end() ? nullptr : it->second.data();
}

CSerDesConfigWnd* OpenSerDesConfig(CNetworkDocument& document, int iNode, QWidget* pParent)
{
    const CPEPrimitive* pPE = document.pCurrentPEs->GetByNodeNumber(iNode);
    if (!pPE || pPE->ManufID != kSerDesVendorID || !IsSerDesDevice(pPE->DeviceID))
        return nullptr;
    if (CSerDesConfigWnd* pOpen = FindSerDesConfig(iNode))
    {
        pOpen->show();
        pOpen->raise();
        pOpen->activateWindow();
        return pOpen;
    }
    CSerDesConfigWnd* pWindow = nullptr;
    if (IsCPS1616Grid(pPE->DeviceID))
        pWindow = new CCPS1616_SerDesConfig(document, iNode, pParent);
    else
        pWindow = new CCPS1848_SerDesConfig(document, iNode, pParent);
    if (!pWindow->Start(pPE->DeviceID, DeviceName(pPE->DeviceID)))
    {
        delete pWindow;
        return nullptr;
    }
    Windows()[iNode] = pWindow;
    pWindow->show();
    pWindow->raise();
    return pWindow;
}

void InstallSerDesConfigCommands(CMainFrameCore& frame, QWidget* pParent)
{
    frame.SetCommandHandler(eCmdSerDesConfig, [&frame, pParent](const SCommandContext& context)
                            { OpenSerDesConfig(frame.Document(), context.iNode, pParent); });
}

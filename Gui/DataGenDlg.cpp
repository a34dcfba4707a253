#include "DataGenDlg.h"

#include "DrawObjects.h"
#include "DynamicDGDlg.h"
#include "NetworkDocument.h"
#include "Route.h"
#include "RouteSearch.h"
#include "StatusText.h"
#include "UserInterface.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHash>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QSpinBox>
#include <QTimer>
#include <QVBoxLayout>

namespace
{
// The open windows, by node number.
QHash<int, QPointer<CDataGenDlg>>& OpenWindows()
{
    static QHash<int, QPointer<CDataGenDlg>> windows;
    return windows;
}

CPEPrimitive* PEOfNode(const CNetworkDocument& document, int iNode)
{
    for (const auto& pPE : document.ActivePEs)
    {
        if (!pPE->bDeleted && pPE->iNodeNumber == iNode)
            return pPE.get();
    }
    return nullptr;
}

bool Yes(const QString& strText)
{
    return UI().Ask(strText, ApplicationTitle(), false) == eAnswerYes;
}

const uint32_t kKinds[] = {eDataGenSWrite, eDataGenNWrite,   eDataGenNWriteR,
                           eDataGenNRead,  eDataGenDoorbell, eDataGenMessage};
} // namespace

CDataGenDlg* CDataGenDlg::OpenFor(CNetworkDocument& document, int iNode, std::function<void()> fnRedraw,
                                  QWidget* pParent)
{
    QPointer<CDataGenDlg>& pWindow = OpenWindows()[iNode];
    if (!pWindow)
    {
        pWindow = new CDataGenDlg(document, iNode, std::move(fnRedraw), CDataGenerator(), pParent);
        pWindow->setAttribute(Qt::WA_DeleteOnClose);
    }
    pWindow->show();
    pWindow->raise();
    pWindow->activateWindow();
    return pWindow;
}

CDataGenDlg::CDataGenDlg(CNetworkDocument& document, int iNode, std::function<void()> fnRedraw,
                         CDataGenerator generator, QWidget* pParent)
    : QDialog(pParent), m_document(document), m_iNode(iNode), m_fnRedraw(std::move(fnRedraw)),
      m_generator(std::move(generator))
{
    setModal(false);
    m_pPE = PEOfNode(document, iNode);
    const bool bHost = m_pPE && m_pPE->bHasHostLink;
    const uint16_t wOwnID = m_pPE ? m_pPE->GetDestID() : 0;
    m_wRemoteDestID = bHost ? kLocalDataGen : wOwnID;
    setWindowTitle(QStringLiteral("Traffic Generator - Node %1, DestID %2").arg(iNode + 1).arg(wOwnID));
    SDataGenSettings& settings = m_generator.Settings();
    settings.wRemoteDestID = m_wRemoteDestID;
    settings.bLarge = m_pPE && m_pPE->bLargeTransport;

    // Generator: a remote one is reached through its control structure.
    auto* pGenBox = new QGroupBox(QStringLiteral("Remote Traffic Generator"), this);
    m_pControl = new QLineEdit(pGenBox);
    m_pControl->setEnabled(!bHost);
    m_pTest = new QPushButton(QStringLiteral("Test"), pGenBox);
    m_pTest->setEnabled(!bHost);
    auto* pGenLayout = new QHBoxLayout(pGenBox);
    pGenLayout->addWidget(new QLabel(QStringLiteral("Control Structure Address:"), pGenBox));
    pGenLayout->addWidget(m_pControl, 1);
    pGenLayout->addWidget(m_pTest);

    auto* pDestBox = new QGroupBox(QStringLiteral("Destination"), this);
    m_pDestID = new QLineEdit(pDestBox);
    m_pDestAddress = new QLineEdit(QStringLiteral("0xefbff000"), pDestBox);
    m_pDestSize = new QLineEdit(QStringLiteral("0x00400000"), pDestBox);
    auto* pDestLayout = new QFormLayout(pDestBox);
    pDestLayout->addRow(QStringLiteral("Destination ID:"), m_pDestID);
    pDestLayout->addRow(QStringLiteral("Destination Address:"), m_pDestAddress);
    pDestLayout->addRow(QStringLiteral("Buffer Size:"), m_pDestSize);

    auto* pTypeBox = new QGroupBox(QStringLiteral("Transaction"), this);
    m_pKind = new QComboBox(pTypeBox);
    for (uint32_t ulKind : kKinds)
        m_pKind->addItem(DataGenKindName(ulKind), ulKind);
    m_pSize = new QSpinBox(pTypeBox);
    m_pSize->setRange(1, 4096);
    m_pSize->setValue(static_cast<int>(settings.ulTransferSize));
    m_pSize->setSuffix(QStringLiteral(" bytes"));
    m_pPriority = new QComboBox(pTypeBox);
    m_pPriority->addItems({QStringLiteral("0"), QStringLiteral("1"), QStringLiteral("2")});
    auto* pTypeLayout = new QFormLayout(pTypeBox);
    pTypeLayout->addRow(QStringLiteral("Transaction Type:"), m_pKind);
    pTypeLayout->addRow(QStringLiteral("Transfer Size:"), m_pSize);
    pTypeLayout->addRow(QStringLiteral("Priority:"), m_pPriority);

    auto* pModeBox = new QGroupBox(QStringLiteral("Output Mode"), this);
    m_pFixed = new QRadioButton(QStringLiteral("Fixed"), pModeBox);
    m_pDynamic = new QRadioButton(QStringLiteral("Dynamic"), pModeBox);
    m_pFixed->setChecked(true);
    auto* pModeGroup = new QButtonGroup(this);
    pModeGroup->addButton(m_pFixed);
    pModeGroup->addButton(m_pDynamic);
    m_pProfile = new QPushButton(QStringLiteral("Profile..."), pModeBox);
    m_pRepeat = new QCheckBox(QStringLiteral("Repeat"), pModeBox);
    auto* pModeLayout = new QHBoxLayout(pModeBox);
    pModeLayout->addWidget(m_pFixed);
    pModeLayout->addWidget(m_pDynamic);
    pModeLayout->addStretch(1);
    pModeLayout->addWidget(m_pRepeat);
    pModeLayout->addWidget(m_pProfile);

    m_pRateBox = new QGroupBox(DataGenRateTitle(eDataGenSWrite), this);
    m_pSlider = new QSlider(Qt::Horizontal, m_pRateBox);
    m_pSlider->setRange(1, static_cast<int>(kDataGenMaxRate));
    m_pRateSpin = new QSpinBox(m_pRateBox);
    m_pRateSpin->setRange(1, static_cast<int>(kDataGenMaxRate));
    m_pRateSpin->setMinimumWidth(90);
    m_pRateSpin->setAlignment(Qt::AlignRight);
    auto* pRateLayout = new QHBoxLayout(m_pRateBox);
    pRateLayout->addWidget(m_pSlider, 1);
    pRateLayout->addWidget(m_pRateSpin);

    m_pEnable = new QCheckBox(QStringLiteral("Enable"), this);
    m_pLag = new QLabel(this);
    m_pLag->setStyleSheet(QStringLiteral("color: #c00000; font-weight: bold"));
    m_pLag->setMinimumWidth(80);
    auto* pClose = new QPushButton(QStringLiteral("Close"), this);
    auto* pBottom = new QHBoxLayout;
    pBottom->addWidget(m_pEnable);
    pBottom->addWidget(m_pLag);
    pBottom->addStretch(1);
    pBottom->addWidget(pClose);

    auto* pGrid = new QGridLayout;
    pGrid->addWidget(pDestBox, 0, 0);
    pGrid->addWidget(pTypeBox, 0, 1);
    auto* pLayout = new QVBoxLayout(this);
    pLayout->addWidget(pGenBox);
    pLayout->addLayout(pGrid);
    pLayout->addWidget(pModeBox);
    pLayout->addWidget(m_pRateBox);
    pLayout->addLayout(pBottom);

    m_pTimer = new QTimer(this);
    m_pTimer->setInterval(1000);
    connect(m_pTimer, &QTimer::timeout, this, &CDataGenDlg::OnTick);
    connect(m_pEnable, &QCheckBox::clicked, this, [this](bool bOn) { Enable(bOn); });
    connect(m_pTest, &QPushButton::clicked, this, [this] { Test(); });
    connect(pClose, &QPushButton::clicked, this, &QDialog::close);
    connect(m_pProfile, &QPushButton::clicked, this, &CDataGenDlg::EditProfile);
    connect(m_pDynamic, &QRadioButton::toggled, this, [this](bool bOn) { SetDynamic(bOn); });
    connect(m_pKind, &QComboBox::currentIndexChanged, this, &CDataGenDlg::KindChanged);
    connect(m_pSlider, &QSlider::valueChanged, this,
            [this](int nValue)
            {
                if (!m_bUpdating)
                    SetRate(static_cast<uint32_t>(nValue));
            });
    connect(m_pRateSpin, &QSpinBox::valueChanged, this,
            [this](int nValue)
            {
                if (!m_bUpdating)
                    SetRate(static_cast<uint32_t>(nValue));
            });
    SetRate(settings.ulRate);
    // Opening clears the marks an earlier window may have left.
    SetMarks(false);
}

CDataGenDlg::~CDataGenDlg()
{
    if (m_generator.Running())
    {
        m_generator.Stop();
        m_fnRedraw = nullptr; // the map may be going too
        SetMarks(false);
    }
}

void CDataGenDlg::KindChanged()
{
    const uint32_t ulKind = m_pKind->currentData().toUInt();
    m_pRateBox->setTitle(DataGenRateTitle(ulKind));
    m_pSize->setEnabled(ulKind != eDataGenDoorbell);
}

void CDataGenDlg::SetRate(uint32_t ulRate)
{
    m_bUpdating = true;
    m_pSlider->setValue(static_cast<int>(ulRate));
    m_pRateSpin->setValue(static_cast<int>(ulRate));
    m_bUpdating = false;
    const int32_t nStatus = m_generator.ChangeRate(ulRate);
    if (nStatus != 0)
        ShowMessage(QStringLiteral("Traffic Generator Error.\n\n") + RioErrorText(nStatus));
}

void CDataGenDlg::SetDynamic(bool bDynamic)
{
    if (bDynamic && m_generator.Settings().steps.empty())
    {
        ShowMessage(
            QStringLiteral("No Dynamic Data Generation profile specified.  Reverting to 'Fixed' mode."));
        m_pFixed->setChecked(true);
        bDynamic = false;
    }
    m_generator.Settings().bFixed = !bDynamic;
    m_pSlider->setEnabled(!bDynamic);
    m_pRateSpin->setEnabled(!bDynamic);
}

void CDataGenDlg::EditProfile()
{
    CDynamicDGDlg dialog(m_pKind->currentData().toUInt(), m_generator.Settings().steps, this);
    if (dialog.exec() == QDialog::Accepted)
        m_generator.Settings().steps = dialog.Steps();
}

bool CDataGenDlg::Validate(bool bForTest)
{
    SDataGenSettings& settings = m_generator.Settings();
    if (!bForTest && !m_generator.LinkOpen())
    {
        ShowMessage(QStringLiteral("Invalid socket or not connected.  Unable to enable traffic generator."));
        return false;
    }
    if (m_wRemoteDestID < 0xFFFF)
    {
        const QString strError = CheckDataGenControl(m_pControl->text(), &settings.ulControlAddress);
        if (!strError.isEmpty())
        {
            ShowMessage(strError);
            return false;
        }
    }
    if (bForTest)
        return true;
    QString strError = CheckDataGenDestID(m_pDestID->text(), settings.bLarge, &settings.wDestID);
    if (!strError.isEmpty())
    {
        ShowMessage(strError);
        return false;
    }
    m_pTargetPE = m_document.ActivePEs.GetPEByDestID(settings.wDestID);
    if (!m_pTargetPE)
    {
        if (!Yes(QStringLiteral(
                "There is no PE with the specified destination ID.\n\r\n\rDo you wish to enable the "
                "traffic generator")))
            return false;
    }
    else if (m_pTargetPE == m_pPE)
    {
        ShowMessage(QStringLiteral(
            "This PE cannot send data to itself.  Please choose another PE as the destination."));
        return false;
    }
    strError = CheckDataGenDestAddress(m_pDestAddress->text(), &settings.ullDestAddress);
    if (strError.isEmpty())
        strError = CheckDataGenDestSize(m_pDestSize->text(), &settings.ulDestSize);
    if (!strError.isEmpty())
    {
        ShowMessage(strError);
        return false;
    }
    if (m_pTargetPE && m_pPE)
    {
        uint32_t ulDest = 0;
        uint8_t uchHops = 0;
        CRoute route;
        if (FindRoute(m_pPE, m_pTargetPE, m_document.ActivePEs, m_document.ActiveConnections, &ulDest,
                      &uchHops, false, &route) != 0 &&
            !Yes(QStringLiteral("Warning:\n\nRouting tables do not support a route between the source and\n"
                                "destination PEs. Do you wi")))
            return false;
    }
    settings.eKind = m_pKind->currentData().toUInt();
    settings.ulTransferSize = static_cast<uint32_t>(m_pSize->value());
    settings.ulPriority = static_cast<uint32_t>(m_pPriority->currentIndex());
    settings.bRepeat = m_pRepeat->isChecked();
    return true;
}

void CDataGenDlg::SetInputsEnabled(bool bOn)
{
    const bool bRemote = m_wRemoteDestID < 0xFFFF;
    for (QWidget* pWidget :
         std::initializer_list<QWidget*>{m_pDestID, m_pDestAddress, m_pDestSize, m_pKind, m_pSize,
                                         m_pPriority, m_pFixed, m_pDynamic, m_pProfile, m_pRepeat})
        pWidget->setEnabled(bOn);
    m_pControl->setEnabled(bOn && bRemote);
    m_pTest->setEnabled(bOn && bRemote);
    if (bOn)
        KindChanged();
}

void CDataGenDlg::SetMarks(bool bOn)
{
    if (m_document.pCurrentNodes)
    {
        if (CDrawPE* pNode = m_document.pCurrentNodes->FindPENode(m_iNode))
            pNode->bTrafficSource = bOn;
        if (m_pTargetPE)
        {
            if (CDrawPE* pNode = m_document.pCurrentNodes->FindPENode(m_pTargetPE->iNodeNumber))
                pNode->bTrafficTarget = bOn;
        }
    }
    if (m_fnRedraw)
        m_fnRedraw();
}

bool CDataGenDlg::Enable(bool bOn)
{
    if (!bOn)
    {
        SetInputsEnabled(true);
        if (m_generator.Running())
            m_generator.Stop();
        StopTool();
        return true;
    }
    if (!Validate(false))
    {
        m_pEnable->setChecked(false);
        return false;
    }
    SetInputsEnabled(false);
    QString strError;
    if (!m_generator.Start(&strError))
    {
        ShowMessage(strError);
        m_pEnable->setChecked(false);
        SetInputsEnabled(true);
        return false;
    }
    m_pEnable->setChecked(true);
    m_pTimer->start();
    SetMarks(true);
    return true;
}

void CDataGenDlg::StopTool()
{
    m_pTimer->stop();
    m_pEnable->setChecked(false);
    m_pLag->clear();
    SetInputsEnabled(true);
    SetMarks(false);
}

bool CDataGenDlg::Test()
{
    if (!Validate(true))
        return false;
    uint16_t wDest = 0;
    if (CheckDataGenDestID(m_pDestID->text(), m_generator.Settings().bLarge, &wDest).isEmpty() && m_pPE)
    {
        const CPEPrimitive* pTarget = m_document.ActivePEs.GetPEByDestID(wDest);
        uint32_t ulDest = 0;
        uint8_t uchHops = 0;
        CRoute route;
        if (pTarget && pTarget != m_pPE &&
            FindRoute(m_pPE, pTarget, m_document.ActivePEs, m_document.ActiveConnections, &ulDest, &uchHops,
                      false, &route) != 0)
        {
            ShowMessage(
                QStringLiteral("Error:\n\nRouting tables do not support a route between the source and\n"
                               "destination PEs.  Please upl"));
            return false;
        }
    }
    QString strError;
    if (!m_generator.CheckControl(&strError))
    {
        ShowMessage(strError);
        return false;
    }
    UI().ShowMessage(QStringLiteral("Control structure address appears to be valid."), ApplicationTitle(),
                     EMessageKind::Information);
    return true;
}

void CDataGenDlg::OnTick()
{
    const CDataGenerator::STick tick = m_generator.Tick();
    switch (tick.eState)
    {
    case CDataGenerator::STick::eIdle:
        return;
    case CDataGenerator::STick::eLinkLost:
        StopTool();
        return;
    case CDataGenerator::STick::eStopped:
        StopTool();
        ShowMessage(tick.strError);
        return;
    case CDataGenerator::STick::eError:
        ShowMessage(tick.strError);
        return;
    case CDataGenerator::STick::eRunning:
        break;
    }
    if (!m_generator.Settings().bFixed)
    {
        m_bUpdating = true;
        m_pSlider->setValue(static_cast<int>(m_generator.ShownRate()));
        m_pRateSpin->setValue(static_cast<int>(m_generator.ShownRate()));
        m_bUpdating = false;
    }
    m_pLag->setText(tick.reply.bLagging ? QStringLiteral("Lagging") : QString());
}

void CDataGenDlg::closeEvent(QCloseEvent* pEvent)
{
    if (m_generator.Running())
    {
        if (!Yes(QStringLiteral(
                "Closing this window will terminate traffic generation from this node.\nIf you want "
                "to hide the windo")))
        {
            pEvent->ignore();
            return;
        }
        m_generator.Stop();
        StopTool();
    }
    pEvent->accept();
}

#include "ProbeSetupDlg.h"

#include "MainFrameCore.h"
#include "NumberText.h"
#include "Probe.h"
#include "ProbePortConfigDlg.h"
#include "ProbePorts.h"
#include "UserInterface.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace
{
struct SFieldText
{
    const char* pszLabel;
    const char* pszInvalid;
};
const SFieldText kFields[CProbeSetupDlg::eFieldCount] = {
    {"Data Source DestID:", "Invalid Data Source DestID."},
    {"Data Target DestID:", "Invalid Data Target DestID."},
    {"System Switch NodeID:", "Invalid System Switch NodeID."},
    {"Source Ingress Port:", "Invalid Source Ingress Port."},
    {"Port To Probe:", "Invalid Port To Probe."},
    {"Target Egress Port:", "Invalid Target Egress Port."},
};
const char* const kModes[3] = {
    "Mode 1: the system switch copies the traffic to the probe",
    "Mode 2: the probe is in the path between source and target",
    "Mode 3: the system switch passes the traffic through the probe",
};
} // namespace

CProbeSetupDlg::CProbeSetupDlg(CProbe& probe, QWidget* pParent) : QDialog(pParent), m_probe(probe)
{
    setWindowTitle(QStringLiteral("Probe Packet Capture Configuration"));
    auto* pLayout = new QVBoxLayout(this);

    auto* pModeBox = new QGroupBox(QStringLiteral("Operating Mode"), this);
    auto* pModeLayout = new QVBoxLayout(pModeBox);
    auto* pModeGroup = new QButtonGroup(this);
    for (int i = 0; i < 3; ++i)
    {
        m_apModes[static_cast<size_t>(i)] = new QRadioButton(QString::fromLatin1(kModes[i]), pModeBox);
        pModeGroup->addButton(m_apModes[static_cast<size_t>(i)], i + 1);
        pModeLayout->addWidget(m_apModes[static_cast<size_t>(i)]);
    }
    pLayout->addWidget(pModeBox);

    auto* pTrafficBox = new QGroupBox(QStringLiteral("Traffic"), this);
    auto* pForm = new QFormLayout(pTrafficBox);
    for (int i = 0; i < eFieldCount; ++i)
    {
        m_apFields[static_cast<size_t>(i)] = new QLineEdit(pTrafficBox);
        m_apLabels[static_cast<size_t>(i)] =
            new QLabel(QString::fromLatin1(kFields[i].pszLabel), pTrafficBox);
        pForm->addRow(m_apLabels[static_cast<size_t>(i)], m_apFields[static_cast<size_t>(i)]);
    }
    m_pBlock = new QCheckBox(QStringLiteral("Block Response Packets"), pTrafficBox);
    pForm->addRow(QString(), m_pBlock);
    pLayout->addWidget(pTrafficBox);

    m_pState = new QLabel(this);
    pLayout->addWidget(m_pState);
    auto* pButtons = new QHBoxLayout;
    m_pEnable = new QPushButton(QStringLiteral("Enable"), this);
    m_pDisable = new QPushButton(QStringLiteral("Disable"), this);
    auto* pClose = new QPushButton(QStringLiteral("Close"), this);
    pButtons->addStretch();
    pButtons->addWidget(m_pEnable);
    pButtons->addWidget(m_pDisable);
    pButtons->addWidget(pClose);
    pLayout->addLayout(pButtons);

    connect(m_pEnable, &QPushButton::clicked, this, [this] { EnableProbe(); });
    connect(m_pDisable, &QPushButton::clicked, this, [this] { DisableProbe(); });
    connect(pClose, &QPushButton::clicked, this, &QDialog::accept);
    connect(pModeGroup, &QButtonGroup::idToggled, this,
            [this](int, bool bOn)
            {
                if (bOn)
                    ShowState();
            });
    ShowSettings();
    ShowState();
}

void CProbeSetupDlg::ShowSettings()
{
    const SProbeConfig& c = m_probe.Config();
    const int iMode = c.ulMode >= 1 && c.ulMode <= 3 ? static_cast<int>(c.ulMode) : 1;
    Mode(iMode)->setChecked(true);
    // IDs in hexadecimal with their tail, as the map shows them; node and ports in decimal.
    Field(eSourceID)->setText(NumberToText(c.ulDataSourceDestID, 16, true));
    Field(eTargetID)->setText(NumberToText(c.ulDataTargetDestID, 16, true));
    Field(eSystemNode)->setText(QString::number(c.ulSystemSwitchNodeID));
    Field(eIngressPort)->setText(QString::number(c.ulSourceIngressPort));
    Field(ePortToProbe)->setText(QString::number(c.ulPortToProbe));
    Field(eEgressPort)->setText(QString::number(c.ulTargetEgressPort));
    m_pBlock->setChecked(c.bBlockResponses);
}

void CProbeSetupDlg::ShowState()
{
    const bool bActive = m_probe.IsEnabled();
    int iMode = 1;
    for (int i = 1; i <= 3; ++i)
        iMode = Mode(i)->isChecked() ? i : iMode;
    for (int i = 1; i <= 3; ++i)
        Mode(i)->setEnabled(!bActive);
    for (int i = 0; i < eFieldCount; ++i)
    {
        // Mode 2 has no system switch.
        const bool bUsed = iMode != 2 || i < eSystemNode;
        m_apFields[static_cast<size_t>(i)]->setEnabled(!bActive && bUsed);
        m_apLabels[static_cast<size_t>(i)]->setEnabled(bUsed);
    }
    m_pBlock->setEnabled(!bActive && iMode != 3);
    m_pEnable->setEnabled(!bActive);
    m_pDisable->setEnabled(bActive);
    m_pState->setText(bActive ? QStringLiteral("The probe is enabled.")
                              : QStringLiteral("The probe is disabled."));
}

bool CProbeSetupDlg::TakeFields()
{
    std::array<uint32_t, eFieldCount> values{};
    int iMode = 1;
    for (int i = 1; i <= 3; ++i)
        iMode = Mode(i)->isChecked() ? i : iMode;
    for (int i = 0; i < eFieldCount; ++i)
    {
        if (iMode == 2 && i >= eSystemNode)
            continue; // not used, kept as it was
        uint64_t ullValue = 0;
        if (!NumberFromText(m_apFields[static_cast<size_t>(i)]->text(), 0xFFFFFFFFu, &ullValue))
        {
            ShowMessage(QString::fromLatin1(kFields[i].pszInvalid));
            m_apFields[static_cast<size_t>(i)]->setFocus();
            return false;
        }
        values[static_cast<size_t>(i)] = static_cast<uint32_t>(ullValue);
    }
    SProbeConfig& c = m_probe.Config();
    c.ulMode = static_cast<uint32_t>(iMode);
    c.bBlockResponses = m_pBlock->isChecked();
    c.ulDataSourceDestID = values[eSourceID];
    c.ulDataTargetDestID = values[eTargetID];
    if (iMode != 2)
    {
        c.ulSystemSwitchNodeID = values[eSystemNode];
        c.ulSourceIngressPort = values[eIngressPort];
        c.ulPortToProbe = values[ePortToProbe];
        c.ulTargetEgressPort = values[eEgressPort];
    }
    return true;
}

int32_t CProbeSetupDlg::EnableProbe()
{
    if (!TakeFields())
        return kProbeInvalidInput;
    const int32_t nResult = m_probe.Enable();
    ShowState();
    return nResult;
}

int32_t CProbeSetupDlg::DisableProbe()
{
    const int32_t nResult = m_probe.Disable();
    ShowState();
    return nResult;
}

void InstallProbeCommands(CMainFrameCore& frame, QWidget* pParent)
{
    frame.Probe().onStateChanged = [&frame] { frame.NotifyMap(); };
    frame.SetCommandHandler(eCmdProbeCaptureConfig,
                            [&frame, pParent](const SCommandContext&)
                            {
                                CProbeSetupDlg dlg(frame.Probe(), pParent);
                                dlg.exec();
                            });
    frame.SetCommandHandler(eCmdProbePortConfig,
                            [&frame, pParent](const SCommandContext&)
                            {
                                if (!frame.IsConnected())
                                {
                                    ShowMessage(
                                        QStringLiteral("Norvanta is not connected to the target system."));
                                    return;
                                }
                                CProbePorts ports(frame.Document());
                                if (!ports.Reach())
                                {
                                    ShowMessage(QStringLiteral("Norvanta Probe Switch not found."));
                                    return;
                                }
                                CProbePortConfigDlg dlg(ports, pParent);
                                dlg.exec();
                            });
}

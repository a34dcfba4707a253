#include "ProbePortConfigDlg.h"

#include "StatusText.h"
#include "UserInterface.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace
{
const char* const kCheckTexts[4] = {"Invert RX Data", "Invert TX Data", "Reverse RX Lanes",
                                    "Reverse TX Lanes"};
const char* const kSpeedTexts[3] = {"1.25 Gbaud", "2.5 Gbaud", "3.125 Gbaud"};
} // namespace

CProbePortConfigDlg::CProbePortConfigDlg(CProbePorts& ports, QWidget* pParent)
    : QDialog(pParent), m_ports(ports)
{
    setWindowTitle(QStringLiteral("Probe Port Configuration"));
    auto* pLayout = new QVBoxLayout(this);
    auto* pPorts = new QHBoxLayout;
    pLayout->addLayout(pPorts);
    for (int i = 0; i < 3; ++i)
    {
        const uint8_t uchPort = CProbePorts::kPorts[static_cast<size_t>(i)];
        SRow& row = m_rows[static_cast<size_t>(i)];
        auto* pBox = new QGroupBox(QStringLiteral("Port %1").arg(uchPort), this);
        auto* pGrid = new QGridLayout(pBox);
        row.pStatus = new QLabel(pBox);
        pGrid->addWidget(row.pStatus, 0, 0, 1, 2);
        pGrid->addWidget(new QLabel(QStringLiteral("Speed:"), pBox), 1, 0);
        row.pSpeed = new QComboBox(pBox);
        for (int s = 0; s < 3; ++s)
            row.pSpeed->addItem(QString::fromLatin1(kSpeedTexts[s]),
                                CProbePorts::kSpeedsMHz[static_cast<size_t>(s)]);
        pGrid->addWidget(row.pSpeed, 1, 1);
        for (int c = 0; c < 4; ++c)
        {
            row.apChecks[static_cast<size_t>(c)] = new QCheckBox(QString::fromLatin1(kCheckTexts[c]), pBox);
            pGrid->addWidget(row.apChecks[static_cast<size_t>(c)], 2 + c, 0, 1, 2);
        }
        pPorts->addWidget(pBox);

        connect(row.pSpeed, &QComboBox::activated, this,
                [this, i, uchPort](int iIndex)
                {
                    if (m_bShowing)
                        return;
                    SProbePortState state;
                    const int32_t nStatus = m_ports.SetSpeed(
                        uchPort, m_rows[static_cast<size_t>(i)].pSpeed->itemData(iIndex).toUInt(), &state);
                    Written(i, nStatus, state);
                });
        for (int c = 0; c < 4; ++c)
        {
            connect(row.apChecks[static_cast<size_t>(c)], &QCheckBox::toggled, this,
                    [this, i, c, uchPort](bool bOn)
                    {
                        if (m_bShowing)
                            return;
                        SProbePortState state;
                        const int32_t nStatus =
                            m_ports.SetControl(uchPort, static_cast<CProbePorts::EControl>(c), bOn, &state);
                        Written(i, nStatus, state);
                    });
        }
        Show(i, m_ports.Read(uchPort));
    }
    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    pLayout->addWidget(pButtons);
}

void CProbePortConfigDlg::Show(int i, const SProbePortState& state)
{
    m_bShowing = true;
    SRow& row = m_rows[static_cast<size_t>(i)];
    row.pStatus->setText(ProbePortStatusText(state));
    // A rate the switch didn't tell shows no choice.
    row.pSpeed->setCurrentIndex(row.pSpeed->findData(state.ulSpeedMHz));
    const std::array<bool, 4> on = {state.bInvertRx, state.bInvertTx, state.bReverseRx, state.bReverseTx};
    for (size_t c = 0; c < 4; ++c)
    {
        row.apChecks[c]->setChecked(on[c]);
        row.apChecks[c]->setEnabled(state.bRead);
    }
    row.pSpeed->setEnabled(state.ulSpeedMHz != 0);
    m_bShowing = false;
}

void CProbePortConfigDlg::Written(int i, int32_t nStatus, const SProbePortState& state)
{
    Show(i, state);
    if (nStatus != 0)
    {
        ShowMessage(QStringLiteral("Unable to configure Port %1 of the Probe Switch.\n'%2'")
                        .arg(CProbePorts::kPorts[static_cast<size_t>(i)])
                        .arg(RioErrorText(nStatus)));
    }
}

#include "DfeMonitorParamsDlg.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>

namespace
{
// A pick list of 1 to ulMax showing ulValue (brought into range).
QComboBox* CountBox(uint32_t ulMax, uint32_t ulValue, QWidget* pParent)
{
    auto* pBox = new QComboBox(pParent);
    for (uint32_t n = 1; n <= ulMax; ++n)
        pBox->addItem(QString::number(n));
    pBox->setCurrentIndex(static_cast<int>(std::clamp<uint32_t>(ulValue, 1, ulMax) - 1));
    return pBox;
}
} // namespace

CIDT_DFE_MonitorParamsDlg::CIDT_DFE_MonitorParamsDlg(const SDfeLine& line, QWidget* pParent)
    : QDialog(pParent), m_line(line)
{
    setWindowTitle(QStringLiteral("DFE Monitor Algorithm"));
    const SDfeMonitorEntry entry = LoadDfeMonitorEntry();

    auto* pLayout = new QVBoxLayout(this);
    auto* pForm = new QFormLayout;
    pForm->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    m_pBer = new CDfeBerEdit(9, 14, entry.ber, this);
    m_pLeak = CountBox(9, entry.ulLeak, this);
    m_pFail = CountBox(9, entry.ulFail, this);
    m_pIterations = CountBox(10, entry.ulIterations, this);
    pForm->addRow(QStringLiteral("BER:"), m_pBer);
    pForm->addRow(QStringLiteral("Leak Rate:"), m_pLeak);
    pForm->addRow(QStringLiteral("Max Err Count:"), m_pFail);
    pForm->addRow(QStringLiteral("Iterations:"), m_pIterations);
    pLayout->addLayout(pForm);

    auto* pButtons = new QDialogButtonBox(this);
    m_pGo = pButtons->addButton(QStringLiteral("Go"), QDialogButtonBox::AcceptRole);
    pButtons->addButton(QDialogButtonBox::Cancel);
    disconnect(pButtons, nullptr, this, nullptr);
    connect(m_pGo, &QPushButton::clicked, this, &CIDT_DFE_MonitorParamsDlg::Go);
    connect(pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    pLayout->addWidget(pButtons);
}

SDfeMonitorEntry CIDT_DFE_MonitorParamsDlg::Entry() const
{
    SDfeMonitorEntry entry;
    entry.ber = m_pBer->Ber();
    entry.ulLeak = static_cast<uint32_t>(m_pLeak->currentIndex() + 1);
    entry.ulFail = static_cast<uint32_t>(m_pFail->currentIndex() + 1);
    entry.ulIterations = static_cast<uint32_t>(m_pIterations->currentIndex() + 1);
    return entry;
}

void CIDT_DFE_MonitorParamsDlg::Go()
{
    const SDfeMonitorEntry entry = Entry();
    StoreDfeMonitorEntry(entry);
    SDfeMonitorParams params;
    params.ulSamples = DfeBerToSamples(entry.ber, m_line.ulSpeedMHz, m_line.dSampleSeconds);
    params.ulLeak = entry.ulLeak;
    params.ulFail = entry.ulFail;
    params.ulIterations = entry.ulIterations;
    m_params = params;
    accept();
}

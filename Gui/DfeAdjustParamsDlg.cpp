#include "DfeAdjustParamsDlg.h"

#include "NumberText.h"
#include "UserInterface.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>

CIDT_DFE_AdjustParamsDlg::CIDT_DFE_AdjustParamsDlg(const SDfeLine& line, QWidget* pParent)
    : QDialog(pParent), m_line(line)
{
    setWindowTitle(QStringLiteral("DFE Adjust Algorithm"));
    const SDfeAdjustEntry entry = LoadDfeAdjustEntry();

    auto* pLayout = new QVBoxLayout(this);
    auto* pBerRow = new QHBoxLayout;
    pBerRow->addWidget(new QLabel(QStringLiteral("BER:"), this));
    m_pBer = new CDfeBerEdit(7, 12, entry.ber, this);
    pBerRow->addWidget(m_pBer, 1);
    pLayout->addLayout(pBerRow);

    auto* pTable = new QGridLayout;
    const char* const apszHeadings[] = {"Enable", "Tap", "Delta"};
    for (int c = 0; c < 3; ++c)
    {
        auto* pHeading = new QLabel(QString::fromLatin1(apszHeadings[c]), this);
        pHeading->setAlignment(Qt::AlignCenter);
        pTable->addWidget(pHeading, 0, c);
    }
    for (int i = 0; i < 5; ++i)
    {
        m_apEnable[i] = new QCheckBox(this);
        m_apEnable[i]->setChecked(entry.abEnable[i]);
        m_apTap[i] = new QComboBox(this);
        for (int t = 0; t < 5; ++t)
            m_apTap[i]->addItem(QString::number(t));
        m_apTap[i]->setCurrentIndex(static_cast<int>(std::min<uint32_t>(entry.auTap[i], 4)));
        m_apDelta[i] = new QLineEdit(entry.astrDelta[i], this);
        m_apDelta[i]->setAlignment(Qt::AlignRight);
        m_apDelta[i]->setMaximumWidth(70);
        pTable->addWidget(m_apEnable[i], i + 1, 0, Qt::AlignCenter);
        pTable->addWidget(m_apTap[i], i + 1, 1);
        pTable->addWidget(m_apDelta[i], i + 1, 2);
        // A row that takes no part can't be edited by mistake.
        const auto follow = [this, i](bool bOn)
        {
            m_apTap[i]->setEnabled(bOn);
            m_apDelta[i]->setEnabled(bOn);
        };
        connect(m_apEnable[i], &QCheckBox::toggled, this, follow);
        follow(entry.abEnable[i]);
    }
    pLayout->addLayout(pTable);

    auto* pIterations = new QHBoxLayout;
    pIterations->addWidget(new QLabel(QStringLiteral("Iterations:"), this));
    m_pIterations = new QComboBox(this);
    for (int n = 1; n <= 10; ++n)
        m_pIterations->addItem(QString::number(n));
    m_pIterations->setCurrentIndex(static_cast<int>(std::clamp<uint32_t>(entry.ulIterations, 1, 10) - 1));
    pIterations->addWidget(m_pIterations);
    pIterations->addStretch(1);
    pLayout->addLayout(pIterations);

    auto* pButtons = new QDialogButtonBox(this);
    m_pGo = pButtons->addButton(QStringLiteral("Go"), QDialogButtonBox::ActionRole);
    pButtons->addButton(QDialogButtonBox::Cancel);
    connect(m_pGo, &QPushButton::clicked, this, &CIDT_DFE_AdjustParamsDlg::Go);
    connect(pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    pLayout->addWidget(pButtons);
}

SDfeAdjustEntry CIDT_DFE_AdjustParamsDlg::Entry() const
{
    SDfeAdjustEntry entry;
    entry.ber = m_pBer->Ber();
    entry.ulIterations = static_cast<uint32_t>(m_pIterations->currentIndex() + 1);
    for (int i = 0; i < 5; ++i)
    {
        entry.abEnable[i] = m_apEnable[i]->isChecked();
        entry.auTap[i] = static_cast<uint32_t>(m_apTap[i]->currentIndex());
        entry.astrDelta[i] = m_apDelta[i]->text();
    }
    return entry;
}

bool CIDT_DFE_AdjustParamsDlg::Go()
{
    const SDfeAdjustEntry entry = Entry();
    SDfeAdjustParams params;
    QString strError;
    if (!CheckDfeAdjustEntry(entry, &params, &strError))
    {
        // A delta that is no number ends the check without a box; the beep and the focus say which.
        UI().Beep();
        for (int i = 0; i < 5; ++i)
        {
            uint64_t ulDelta = 0;
            if (entry.abEnable[i] && !NumberFromText(entry.astrDelta[i], 0xFFFFFFFFu, &ulDelta))
            {
                m_apDelta[i]->setFocus();
                m_apDelta[i]->selectAll();
                break;
            }
        }
        return false;
    }
    StoreDfeAdjustEntry(entry);
    params.ulSamples = DfeBerToSamples(entry.ber, m_line.ulSpeedMHz, m_line.dSampleSeconds);
    m_params = params;
    accept();
    return true;
}

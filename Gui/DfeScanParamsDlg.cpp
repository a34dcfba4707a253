#include "DfeScanParamsDlg.h"

#include "DfeTaps.h"
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

// --- CDfeBerEdit ---------------------------------------------------------------------------------

CDfeBerEdit::CDfeBerEdit(uint32_t ulMinExp, uint32_t ulMaxExp, const SDfeBer& ber, QWidget* pParent)
    : QWidget(pParent), m_ulMinExp(ulMinExp)
{
    auto* pRow = new QHBoxLayout(this);
    pRow->setContentsMargins(0, 0, 0, 0);
    m_pInt = new QComboBox(this);
    for (int n = 1; n <= 9; ++n)
        m_pInt->addItem(QString::number(n));
    m_pExp = new QComboBox(this);
    for (uint32_t e = ulMinExp; e <= ulMaxExp; ++e)
        m_pExp->addItem(QString::number(e));
    // A remembered value out of this dialog's range falls back to the nearest end.
    m_pInt->setCurrentIndex(static_cast<int>(std::clamp<uint32_t>(ber.ulInt, 1, 9) - 1));
    m_pExp->setCurrentIndex(static_cast<int>(std::clamp(ber.ulExp, ulMinExp, ulMaxExp) - ulMinExp));
    pRow->addWidget(new QLabel(QStringLiteral("1 in"), this));
    pRow->addWidget(m_pInt);
    pRow->addWidget(new QLabel(QStringLiteral("x 10"), this));
    pRow->addWidget(m_pExp);
    pRow->addWidget(new QLabel(QStringLiteral("bits."), this));
    pRow->addStretch(1);
    connect(m_pInt, &QComboBox::currentIndexChanged, this, &CDfeBerEdit::Changed);
    connect(m_pExp, &QComboBox::currentIndexChanged, this, &CDfeBerEdit::Changed);
}

SDfeBer CDfeBerEdit::Ber() const
{
    SDfeBer ber;
    ber.ulInt = static_cast<uint32_t>(m_pInt->currentIndex() + 1);
    ber.ulExp = m_ulMinExp + static_cast<uint32_t>(m_pExp->currentIndex());
    return ber;
}

// --- CIDT_DFE_ScanParamsDlg ----------------------------------------------------------------------

CIDT_DFE_ScanParamsDlg::CIDT_DFE_ScanParamsDlg(const SDfeLine& line, QWidget* pParent)
    : QDialog(pParent), m_line(line)
{
    setWindowTitle(QStringLiteral("DFE Scan Algorithm"));
    const SDfeScanEntry entry = LoadDfeScanEntry();

    auto* pLayout = new QVBoxLayout(this);
    auto* pBerRow = new QHBoxLayout;
    pBerRow->addWidget(new QLabel(QStringLiteral("BER:"), this));
    m_pBer = new CDfeBerEdit(7, 12, entry.ber, this);
    pBerRow->addWidget(m_pBer, 1);
    pLayout->addLayout(pBerRow);

    auto* pTable = new QGridLayout;
    const char* const apszHeadings[] = {"Tap", "From", "To", "By", "Max Errs"};
    for (int c = 0; c < 5; ++c)
    {
        auto* pHeading = new QLabel(QString::fromLatin1(apszHeadings[c]), this);
        pHeading->setAlignment(Qt::AlignCenter);
        pTable->addWidget(pHeading, 0, c);
    }
    const auto edit = [this](const QString& strText)
    {
        auto* pEdit = new QLineEdit(strText, this);
        pEdit->setAlignment(Qt::AlignRight);
        pEdit->setMaximumWidth(70);
        connect(pEdit, &QLineEdit::textChanged, this, &CIDT_DFE_ScanParamsDlg::UpdateEstimates);
        return pEdit;
    };
    for (int i = 0; i < 5; ++i)
    {
        auto* pTap = new QLabel(QString::number(i), this);
        pTap->setAlignment(Qt::AlignCenter);
        const SDfeTapField& field = DfeTapField(i);
        pTap->setToolTip(QStringLiteral("Tap %1 takes %2 to %3").arg(i).arg(field.lMin).arg(field.lMax));
        pTable->addWidget(pTap, i + 1, 0);
        m_apFrom[i] = edit(entry.astrFrom[i]);
        m_apTo[i] = edit(entry.astrTo[i]);
        m_apBy[i] = edit(entry.astrBy[i]);
        m_apMaxErrs[i] = edit(entry.astrMaxErrs[i]);
        pTable->addWidget(m_apFrom[i], i + 1, 1);
        pTable->addWidget(m_apTo[i], i + 1, 2);
        pTable->addWidget(m_apBy[i], i + 1, 3);
        pTable->addWidget(m_apMaxErrs[i], i + 1, 4);
    }
    pLayout->addLayout(pTable);

    m_pClearTaps = new QCheckBox(QStringLiteral("Clear Taps at Start"), this);
    m_pClearTaps->setChecked(entry.bClearTaps);
    pLayout->addWidget(m_pClearTaps);

    auto* pGo = new QGridLayout;
    m_pRatio = new QPushButton(QStringLiteral("Go (Ratio)"), this);
    m_pOneAtATime = new QPushButton(QStringLiteral("Go (1-at-a-Time)"), this);
    m_pRatioTime = new QLabel(this);
    m_pOneTime = new QLabel(this);
    pGo->addWidget(m_pRatio, 0, 0);
    pGo->addWidget(m_pRatioTime, 0, 1);
    pGo->addWidget(m_pOneAtATime, 1, 0);
    pGo->addWidget(m_pOneTime, 1, 1);
    pGo->setColumnStretch(1, 1);
    pLayout->addLayout(pGo);
    connect(m_pRatio, &QPushButton::clicked, this, [this] { Go(0); });
    connect(m_pOneAtATime, &QPushButton::clicked, this, [this] { Go(1); });
    // Both ways to go as wide as the wider, their estimates in one column.
    const int iGoWidth = std::max(m_pRatio->sizeHint().width(), m_pOneAtATime->sizeHint().width());
    m_pRatio->setMinimumWidth(iGoWidth);
    m_pOneAtATime->setMinimumWidth(iGoWidth);
    m_pRatio->setAutoDefault(false);
    m_pOneAtATime->setAutoDefault(false);

    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    connect(pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    pLayout->addWidget(pButtons);

    connect(m_pBer, &CDfeBerEdit::Changed, this, &CIDT_DFE_ScanParamsDlg::UpdateEstimates);
    UpdateEstimates();
}

SDfeScanEntry CIDT_DFE_ScanParamsDlg::Entry() const
{
    SDfeScanEntry entry;
    entry.ber = m_pBer->Ber();
    entry.bClearTaps = m_pClearTaps->isChecked();
    for (int i = 0; i < 5; ++i)
    {
        entry.astrFrom[i] = m_apFrom[i]->text();
        entry.astrTo[i] = m_apTo[i]->text();
        entry.astrBy[i] = m_apBy[i]->text();
        entry.astrMaxErrs[i] = m_apMaxErrs[i]->text();
    }
    return entry;
}

void CIDT_DFE_ScanParamsDlg::UpdateEstimates()
{
    // The ranges as typed so far; a field that is no number counts as no settings.
    SDfeScanParams params;
    for (int i = 0; i < 5; ++i)
    {
        bool bFrom = false, bTo = false, bBy = false;
        SDfeScanTap& tap = params.aTaps[i];
        tap.lMin = m_apFrom[i]->text().trimmed().toInt(&bFrom);
        tap.lMax = m_apTo[i]->text().trimmed().toInt(&bTo);
        tap.lDelta = m_apBy[i]->text().trimmed().toInt(&bBy);
        if (!bFrom || !bTo || !bBy || tap.lDelta < 0)
            tap = {0, -1, 0, 0};
    }
    const SDfeBer ber = m_pBer->Ber();
    m_pRatioTime->setText(DfeTimeText(DfeRatioScanSeconds(params, ber, m_line.ulSpeedMHz)));
    m_pOneTime->setText(DfeTimeText(DfeOneAtATimeSeconds(params, ber, m_line.ulSpeedMHz)));
}

bool CIDT_DFE_ScanParamsDlg::Go(uint32_t ulMode)
{
    const SDfeScanEntry entry = Entry();
    SDfeScanParams params;
    QString strError;
    if (!CheckDfeScanEntry(entry, &params, &strError))
    {
        // A Max Errs that is no number ends the check without a box; the beep says it.
        if (strError.isEmpty())
            UI().Beep();
        else
            UI().ShowMessage(strError, QString::fromLatin1(kDfeInvalidValueCaption), EMessageKind::Warning);
        return false;
    }
    StoreDfeScanEntry(entry);
    params.ulMode = ulMode;
    params.ulSamples = DfeBerToSamples(entry.ber, m_line.ulSpeedMHz, m_line.dSampleSeconds);
    m_params = params;
    accept();
    return true;
}

#include "MapOptionsDlg.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLabel>
#include <QVBoxLayout>

CMapOptionsDlg::CMapOptionsDlg(const SMapOptions& window, const SMapOptions& printing, QWidget* pParent)
    : QDialog(pParent)
{
    setWindowTitle(QStringLiteral("Labels"));
    auto* pLayout = new QVBoxLayout(this);
    auto* pGrid = new QGridLayout;
    pGrid->addWidget(new QLabel(QStringLiteral("<b>Window</b>")), 0, 1);
    pGrid->addWidget(new QLabel(QStringLiteral("<b>Printing</b>")), 0, 2);
    for (int i = 0; i < eMapOptionCount; ++i)
    {
        const auto eOption = static_cast<EMapOption>(i);
        pGrid->addWidget(new QLabel(MapOptionText(eOption)), i + 1, 0);
        m_apWindow[static_cast<size_t>(i)] = new QCheckBox;
        m_apWindow[static_cast<size_t>(i)]->setChecked(window[eOption]);
        m_apPrint[static_cast<size_t>(i)] = new QCheckBox;
        m_apPrint[static_cast<size_t>(i)]->setChecked(printing[eOption]);
        pGrid->addWidget(m_apWindow[static_cast<size_t>(i)], i + 1, 1, Qt::AlignCenter);
        pGrid->addWidget(m_apPrint[static_cast<size_t>(i)], i + 1, 2, Qt::AlignCenter);
    }
    pLayout->addLayout(pGrid);
    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(pButtons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    pLayout->addWidget(pButtons);
}

SMapOptions CMapOptionsDlg::WindowOptions() const
{
    SMapOptions options;
    for (int i = 0; i < eMapOptionCount; ++i)
    {
        options.abFlags[static_cast<size_t>(i)] = m_apWindow[static_cast<size_t>(i)]->isChecked();
    }
    return options;
}

SMapOptions CMapOptionsDlg::PrintOptions() const
{
    SMapOptions options;
    for (int i = 0; i < eMapOptionCount; ++i)
    {
        options.abFlags[static_cast<size_t>(i)] = m_apPrint[static_cast<size_t>(i)]->isChecked();
    }
    return options;
}

QCheckBox* CMapOptionsDlg::Check(EMapOption eOption, bool bPrinting) const
{
    return (bPrinting ? m_apPrint : m_apWindow)[static_cast<size_t>(eOption)];
}

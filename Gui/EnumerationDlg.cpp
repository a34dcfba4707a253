#include "EnumerationDlg.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QRadioButton>
#include <QVBoxLayout>

CEnumerationDlg::CEnumerationDlg(CEnumerationSettings& settings, QWidget* pParent)
    : QDialog(pParent), m_settings(settings)
{
    setWindowTitle(QStringLiteral("Standard Discovery"));
    auto* pLayout = new QVBoxLayout(this);

    auto* pWalk = new QGroupBox(QStringLiteral("Discovery"));
    auto* pWalkLayout = new QFormLayout(pWalk);
    m_pNoLocks = new QCheckBox(QStringLiteral("Do not lock PEs"));
    m_pTryAllClockRates = new QCheckBox(QStringLiteral("Try all clock rates if possible"));
    m_pScanExisting = new QCheckBox(QStringLiteral("Scan existing destination IDs"));
    m_pScanSequence = new QLineEdit;
    pWalkLayout->addRow(m_pNoLocks);
    pWalkLayout->addRow(m_pTryAllClockRates);
    pWalkLayout->addRow(m_pScanExisting);
    pWalkLayout->addRow(QStringLiteral("Destination ID scan sequence:"), m_pScanSequence);
    m_pSmall = new QRadioButton(QStringLiteral("Small (8 bit)"));
    m_pLarge = new QRadioButton(QStringLiteral("Large (16 bit)"));
    auto* pSizes = new QHBoxLayout;
    pSizes->addWidget(m_pSmall);
    pSizes->addWidget(m_pLarge);
    pWalkLayout->addRow(QStringLiteral("Transport type:"), pSizes);
    pLayout->addWidget(pWalk);

    auto* pEnumeration = new QGroupBox(QStringLiteral("Enumeration"));
    auto* pEnumerationLayout = new QFormLayout(pEnumeration);
    m_pEnumerate = new QCheckBox(QStringLiteral("Enumerate"));
    m_pHostID = new QLineEdit;
    m_pStartingID = new QLineEdit;
    m_pIncrement = new QLineEdit;
    m_pAssignVDIDs = new QCheckBox(QStringLiteral("Assign virtual destination IDs"));
    pEnumerationLayout->addRow(m_pEnumerate);
    pEnumerationLayout->addRow(QStringLiteral("Host destination ID:"), m_pHostID);
    pEnumerationLayout->addRow(QStringLiteral("Starting destination ID:"), m_pStartingID);
    pEnumerationLayout->addRow(QStringLiteral("Destination ID increment:"), m_pIncrement);
    pEnumerationLayout->addRow(m_pAssignVDIDs);
    pLayout->addWidget(pEnumeration);

    auto* pAfter = new QGroupBox(QStringLiteral("After discovery"));
    auto* pAfterLayout = new QVBoxLayout(pAfter);
    m_pUploadRegisters = new QCheckBox(QStringLiteral("Upload all registers"));
    m_pUploadTables = new QCheckBox(QStringLiteral("Upload all routing tables"));
    m_pBuildTables = new QCheckBox(QStringLiteral("Generate and download routing tables"));
    pAfterLayout->addWidget(m_pUploadRegisters);
    pAfterLayout->addWidget(m_pUploadTables);
    pAfterLayout->addWidget(m_pBuildTables);
    pLayout->addWidget(pAfter);

    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(pButtons, &QDialogButtonBox::accepted, this, &CEnumerationDlg::accept);
    connect(pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    pLayout->addWidget(pButtons);

    m_pHostID->setText(m_settings.strHostDestID);
    m_pStartingID->setText(m_settings.strStartingDestID);
    m_pIncrement->setText(m_settings.strDestIDIncrement);
    Refresh();

    // Each choice is kept as soon as it changes; the settings apply the rules between them.
    auto onClick = [this](QCheckBox* pBox, void (CEnumerationSettings::*pfnSet)(bool))
    {
        connect(pBox, &QCheckBox::clicked, this,
                [this, pfnSet](bool bOn)
                {
                    // What was typed stands, unless the choice reloads the stored sequence.
                    m_settings.strScanSequence = m_pScanSequence->text();
                    (m_settings.*pfnSet)(bOn);
                    Refresh();
                });
    };
    onClick(m_pNoLocks, &CEnumerationSettings::SetNoLocks);
    onClick(m_pTryAllClockRates, &CEnumerationSettings::SetTryAllClockRates);
    onClick(m_pScanExisting, &CEnumerationSettings::SetScanExistingIDs);
    onClick(m_pEnumerate, &CEnumerationSettings::SetEnumerate);
    onClick(m_pAssignVDIDs, &CEnumerationSettings::SetAssignVDIDs);
    onClick(m_pUploadRegisters, &CEnumerationSettings::SetUploadRegisters);
    onClick(m_pUploadTables, &CEnumerationSettings::SetUploadRoutingTables);
    onClick(m_pBuildTables, &CEnumerationSettings::SetBuildRoutingTables);
    connect(m_pLarge, &QRadioButton::toggled, this, [this](bool bOn) { m_settings.b16BitIDs = bOn; });
}

void CEnumerationDlg::Refresh()
{
    m_pNoLocks->setChecked(m_settings.bNoLocks);
    m_pTryAllClockRates->setChecked(m_settings.bTryAllClockRates);
    m_pScanExisting->setChecked(m_settings.bScanExistingIDs);
    m_pEnumerate->setChecked(m_settings.bEnumerate);
    m_pAssignVDIDs->setChecked(m_settings.bAssignVDIDs);
    m_pUploadRegisters->setChecked(m_settings.bUploadRegisters);
    m_pUploadTables->setChecked(m_settings.bUploadRoutingTables);
    m_pBuildTables->setChecked(m_settings.bBuildRoutingTables);
    (m_settings.b16BitIDs ? m_pLarge : m_pSmall)->setChecked(true);
    if (m_pScanSequence->text() != m_settings.strScanSequence)
    {
        m_pScanSequence->setText(m_settings.strScanSequence);
    }
    m_pUploadTables->setEnabled(m_settings.bUploadEnabled);
    for (QWidget* pEnumerationOnly :
         {static_cast<QWidget*>(m_pHostID), static_cast<QWidget*>(m_pStartingID),
          static_cast<QWidget*>(m_pIncrement), static_cast<QWidget*>(m_pAssignVDIDs)})
    {
        pEnumerationOnly->setEnabled(m_settings.bEnumerate);
    }
}

void CEnumerationDlg::accept()
{
    m_settings.strScanSequence = m_pScanSequence->text();
    m_settings.strHostDestID = m_pHostID->text();
    m_settings.strStartingDestID = m_pStartingID->text();
    m_settings.strDestIDIncrement = m_pIncrement->text();
    QLineEdit* pFocus = nullptr;
    switch (m_settings.Validate())
    {
    case CEnumerationSettings::eFieldNone:
        QDialog::accept();
        return;
    case CEnumerationSettings::eFieldScanSequence:
        pFocus = m_pScanSequence;
        break;
    case CEnumerationSettings::eFieldHostDestID:
        pFocus = m_pHostID;
        break;
    case CEnumerationSettings::eFieldStartingDestID:
        pFocus = m_pStartingID;
        break;
    case CEnumerationSettings::eFieldDestIDIncrement:
        pFocus = m_pIncrement;
        break;
    }
    pFocus->setFocus();
    pFocus->selectAll();
}

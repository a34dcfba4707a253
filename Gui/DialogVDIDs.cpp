#include "DialogVDIDs.h"

#include <QButtonGroup>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

CDialogVDIDs::CDialogVDIDs(CPEPrimitive& pe, const CPEList& PEs, bool bLong, QWidget* pParent)
    : QDialog(pParent), m_pe(pe), m_config(pe, PEs, bLong)
{
    setObjectName(QStringLiteral("DialogVDIDs"));
    setWindowTitle(QStringLiteral("Virtual Destination IDs - Node %1").arg(pe.iNodeNumber + 1));

    auto* pModeBox = new QGroupBox(QStringLiteral("Implementation"));
    m_pDisabled = new QRadioButton(QStringLiteral("Disabled"));
    m_pSecondary = new QRadioButton(QStringLiteral("Secondary Destination IDs"));
    m_pAcceptAll = new QRadioButton(QStringLiteral("Accept All Mode"));
    m_pSecondary->setEnabled(m_config.SecondaryAllowed());
    m_pAcceptAll->setEnabled(m_config.AcceptAllAllowed());
    auto* pGroup = new QButtonGroup(this);
    auto* pModeLayout = new QVBoxLayout(pModeBox);
    for (QRadioButton* pButton : {m_pDisabled, m_pSecondary, m_pAcceptAll})
    {
        pGroup->addButton(pButton);
        pModeLayout->addWidget(pButton);
    }
    m_pSupport = new QLabel;
    m_pSupport->setObjectName(QStringLiteral("SupportText"));
    pModeLayout->addWidget(m_pSupport);

    auto* pIDBox = new QGroupBox(QStringLiteral("Virtual Destination IDs"));
    m_pIDs = new QLineEdit(m_config.IDText());
    m_pIDs->setPlaceholderText(bLong ? QStringLiteral("e.g. 0021h,0022h") : QStringLiteral("e.g. 21h,22h"));
    m_pIDs->setMinimumWidth(fontMetrics().horizontalAdvance(QStringLiteral("0000h,0000h,0000h")) + 24);
    m_pAuto = new QPushButton(QStringLiteral("Auto Assign"));
    auto* pIDLayout = new QHBoxLayout(pIDBox);
    pIDLayout->addWidget(m_pIDs, 1);
    pIDLayout->addWidget(m_pAuto);

    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    auto* pLayout = new QVBoxLayout(this);
    pLayout->addWidget(pModeBox);
    pLayout->addWidget(pIDBox);
    pLayout->addWidget(pButtons);
    pLayout->setSizeConstraint(QLayout::SetFixedSize);

    switch (m_config.Mode())
    {
    case EVDIDMode::eSecondary:
        m_pSecondary->setChecked(true);
        break;
    case EVDIDMode::eAcceptAll:
        m_pAcceptAll->setChecked(true);
        break;
    case EVDIDMode::eDisabled:
        m_pDisabled->setChecked(true);
        break;
    }
    ShowMode();
    auto choose = [this](QRadioButton* pButton, EVDIDMode eMode)
    {
        connect(pButton, &QRadioButton::toggled, this,
                [this, eMode](bool bOn)
                {
                    if (bOn)
                    {
                        m_config.ChooseMode(eMode);
                        ShowMode();
                    }
                });
    };
    choose(m_pDisabled, EVDIDMode::eDisabled);
    choose(m_pSecondary, EVDIDMode::eSecondary);
    choose(m_pAcceptAll, EVDIDMode::eAcceptAll);
    connect(m_pAuto, &QPushButton::clicked, this,
            [this]
            {
                m_config.ChooseAutomatically();
                m_pIDs->setText(m_config.IDText());
            });
    connect(pButtons, &QDialogButtonBox::accepted, this, &CDialogVDIDs::accept);
    connect(pButtons, &QDialogButtonBox::rejected, this, &CDialogVDIDs::reject);
}

void CDialogVDIDs::ShowMode()
{
    m_pSupport->setText(m_config.SupportText());
    m_pIDs->setEnabled(m_config.IDsEnabled());
    m_pAuto->setEnabled(m_config.IDsEnabled());
}

void CDialogVDIDs::accept()
{
    if (!m_config.Accept(m_pIDs->text()))
    {
        return;
    }
    m_config.WriteTo(m_pe);
    QDialog::accept();
}

VDIDDialogFn VDIDDialogRunner(QWidget* pParent)
{
    return [pParent](CPEPrimitive& pe, const CPEList& PEs, bool bLong)
    {
        CDialogVDIDs dialog(pe, PEs, bLong, pParent);
        return dialog.exec() == QDialog::Accepted;
    };
}

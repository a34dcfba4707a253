#include "TriggerDlg.h"

#include "NumberText.h"
#include "WatchTrigger.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QVBoxLayout>

CTriggerDlg::CTriggerDlg(const WatchItem& item, int nBase, Acceptor acceptor, QWidget* pParent)
    : QDialog(pParent), m_acceptor(std::move(acceptor))
{
    setObjectName(QStringLiteral("TriggerDlg"));
    setWindowTitle(QStringLiteral("Trigger"));
    m_pType = new QComboBox(this);
    for (int eType = 0; eType < kNumWatchTriggers; ++eType)
    {
        m_pType->addItem(TriggerLabel(eType));
    }
    // The parameters carry their base's tail, so that the number entry rule reads them back as
    // they are shown ("10" alone would be decimal).
    m_pX1 = new QLineEdit(NumberToText(item.uParam1, nBase, true), this);
    m_pX2 = new QLineEdit(NumberToText(item.uParam2, nBase, true), this);
    auto* pForm = new QFormLayout;
    pForm->addRow(QStringLiteral("Trigger when"), m_pType);
    pForm->addRow(QStringLiteral("X1"), m_pX1);
    pForm->addRow(QStringLiteral("X2"), m_pX2);
    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(pButtons, &QDialogButtonBox::accepted, this, &CTriggerDlg::accept);
    connect(pButtons, &QDialogButtonBox::rejected, this, &CTriggerDlg::reject);
    auto* pLayout = new QVBoxLayout(this);
    pLayout->addLayout(pForm);
    pLayout->addWidget(pButtons);
    connect(m_pType, &QComboBox::currentIndexChanged, this, &CTriggerDlg::OnTypeChanged);
    m_pType->setCurrentIndex(item.eType >= 0 && item.eType < kNumWatchTriggers ? item.eType : 0);
    OnTypeChanged(m_pType->currentIndex());
}

void CTriggerDlg::OnTypeChanged(int eType)
{
    const int nParams = TriggerParamCount(eType);
    m_pX1->setEnabled(nParams >= 1);
    m_pX2->setEnabled(nParams == 2);
}

void CTriggerDlg::accept()
{
    if (!m_acceptor || m_acceptor(m_pType->currentIndex(), m_pX1->text(), m_pX2->text()))
    {
        QDialog::accept();
    }
}

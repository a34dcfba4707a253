#include "ParametersDlg.h"

#include "ConnectionChoice.h"
#include "UserInterface.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

CParametersDlg::CParametersDlg(QWidget* pParent) : QDialog(pParent)
{
    setWindowTitle(QStringLiteral("Parameters"));
    auto* pLayout = new QVBoxLayout(this);
    auto* pNote =
        new QLabel(QStringLiteral("Where the links to a Norvanta Server go. Numbers follow the "
                                  "number entry rule: \"15000\" is decimal, \"3A98h\" hexadecimal."));
    pNote->setWordWrap(true);
    pLayout->addWidget(pNote);
    auto* pForm = new QFormLayout;
    for (const SLinkParameter& parameter : LinkParameters())
    {
        auto* pField = new QLineEdit(LinkParameterText(parameter));
        pField->setPlaceholderText(LinkParameterDefaultText(parameter));
        pField->setToolTip(
            parameter.bAddress
                ? QStringLiteral("An IPv4 address; standard %1").arg(LinkParameterDefaultText(parameter))
                : QStringLiteral("%1 to %2; standard %3")
                      .arg(parameter.ulMin)
                      .arg(parameter.ulMax)
                      .arg(parameter.ulDefault));
        pForm->addRow(QStringLiteral("%1:").arg(QLatin1String(parameter.pszText)), pField);
        m_Fields.push_back(pField);
    }
    pLayout->addLayout(pForm);
    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    QPushButton* pDefaults = pButtons->addButton(QStringLiteral("Defaults"), QDialogButtonBox::ResetRole);
    connect(pDefaults, &QPushButton::clicked, this, &CParametersDlg::SetDefaults);
    connect(pButtons, &QDialogButtonBox::accepted, this, &CParametersDlg::accept);
    connect(pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    pLayout->addWidget(pButtons);
    resize(std::max(520, sizeHint().width()), sizeHint().height());
}

void CParametersDlg::SetDefaults()
{
    const auto& parameters = LinkParameters();
    for (size_t i = 0; i < parameters.size(); ++i)
    {
        m_Fields[i]->setText(LinkParameterDefaultText(parameters[i]));
    }
}

bool CParametersDlg::Store()
{
    const auto& parameters = LinkParameters();
    std::vector<uint32_t> values(parameters.size());
    for (size_t i = 0; i < parameters.size(); ++i)
    {
        QString strError;
        if (!ParseLinkParameter(parameters[i], m_Fields[i]->text(), &values[i], &strError))
        {
            m_Fields[i]->setFocus();
            m_Fields[i]->selectAll();
            ShowMessage(strError);
            return false;
        }
    }
    for (size_t i = 0; i < parameters.size(); ++i)
    {
        StoreLinkParameter(parameters[i], values[i]);
    }
    return true;
}

void CParametersDlg::accept()
{
    if (Store())
    {
        QDialog::accept();
    }
}

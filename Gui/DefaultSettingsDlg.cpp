#include "DefaultSettingsDlg.h"

#include "DefaultSettings.h"
#include "NumberText.h"
#include "Preferences.h"
#include "UserInterface.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QRadioButton>
#include <QVBoxLayout>

CDefaultSettingsDlg::CDefaultSettingsDlg(QWidget* pParent) : QDialog(pParent)
{
    setWindowTitle(QStringLiteral("Default Settings"));
    auto* pLayout = new QVBoxLayout(this);

    auto* pTransport = new QGroupBox(QStringLiteral("Transport"));
    auto* pTransportForm = new QFormLayout(pTransport);
    auto* pSmall = new QRadioButton(QStringLiteral("Small (8 bit)"));
    m_pLarge = new QRadioButton(QStringLiteral("Large (16 bit)"));
    (DefaultDestIDSize() == 16 ? m_pLarge : pSmall)->setChecked(true);
    auto* pSizes = new QHBoxLayout;
    pSizes->addWidget(pSmall);
    pSizes->addWidget(m_pLarge);
    pTransportForm->addRow(QStringLiteral("Transport type:"), pSizes);
    m_pSmallHostID = new QLineEdit(NumberToText(DefaultSmallHostID(), 16, true));
    m_pLargeHostID = new QLineEdit(NumberToText(DefaultLargeHostID(), 16, true));
    pTransportForm->addRow(QStringLiteral("Small host ID:"), m_pSmallHostID);
    pTransportForm->addRow(QStringLiteral("Large host ID:"), m_pLargeHostID);
    pLayout->addWidget(pTransport);

    auto* pQuestions = new QGroupBox(QStringLiteral("Questions"));
    auto* pQuestionForm = new QFormLayout(pQuestions);
    for (const SQuestionKey& question : DefaultSettingsQuestions())
    {
        auto* pCombo = new QComboBox;
        if (question.bHasAnswer)
        {
            pCombo->addItems(
                {QStringLiteral("Ask"), QStringLiteral("Always Yes"), QStringLiteral("Always No")});
        }
        else
        {
            pCombo->addItems({QStringLiteral("Show"), QStringLiteral("Don't show")});
        }
        pCombo->setCurrentIndex(
            std::min<int>(QuestionState(QLatin1String(question.pszKey)), pCombo->count() - 1));
        pQuestionForm->addRow(QLatin1String(question.pszText), pCombo);
        m_Questions.push_back(pCombo);
    }
    pLayout->addWidget(pQuestions);

    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(pButtons, &QDialogButtonBox::accepted, this, &CDefaultSettingsDlg::accept);
    connect(pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    pLayout->addWidget(pButtons);
}

bool CDefaultSettingsDlg::Store()
{
    uint64_t ulSmall = 0;
    uint64_t ulLarge = 0;
    if (!NumberFromText(m_pSmallHostID->text(), &ulSmall) ||
        !SmallHostIDValid(static_cast<uint32_t>(ulSmall)) ||
        !NumberFromText(m_pLargeHostID->text(), 0xFFFF, &ulLarge))
    {
        ShowMessage(InvalidEntryText());
        return false;
    }
    const QString strSection = QStringLiteral("Preferences");
    SetPreference(strSection, QStringLiteral("DefaultDestIDSize"), m_pLarge->isChecked() ? 16u : 8u);
    SetPreference(strSection, QStringLiteral("DefaultSmallHostID"), static_cast<uint32_t>(ulSmall));
    SetPreference(strSection, QStringLiteral("DefaultLargeHostID"), static_cast<uint32_t>(ulLarge));
    const auto& questions = DefaultSettingsQuestions();
    for (size_t i = 0; i < questions.size(); ++i)
    {
        SetQuestionState(QLatin1String(questions[i].pszKey),
                         static_cast<EQuestionState>(m_Questions[i]->currentIndex()));
    }
    return true;
}

void CDefaultSettingsDlg::accept()
{
    if (Store())
    {
        QDialog::accept();
    }
}

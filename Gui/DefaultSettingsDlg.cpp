#include "DefaultSettingsDlg.h"

#include "DefaultSettings.h"
#include "NumberText.h"
#include "Preferences.h"
#include "UserInterface.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTabWidget>
#include <QVBoxLayout>

namespace
{
const QString kDirectories = QStringLiteral("Directories");
} // namespace

CDefaultSettingsDlg::CDefaultSettingsDlg(QWidget* pParent) : QDialog(pParent)
{
    setWindowTitle(QStringLiteral("Default Settings"));
    auto* pLayout = new QVBoxLayout(this);
    m_pTabs = new QTabWidget;
    m_pTabs->addTab(MakeGeneralPage(), QStringLiteral("General"));
    m_pTabs->addTab(MakeQuestionsPage(), QStringLiteral("Questions"));
    m_pTabs->addTab(MakeDirectoriesPage(), QStringLiteral("Directories"));
    pLayout->addWidget(m_pTabs);

    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(pButtons, &QDialogButtonBox::accepted, this, &CDefaultSettingsDlg::accept);
    connect(pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    pLayout->addWidget(pButtons);
    resize(620, sizeHint().height());
}

QWidget* CDefaultSettingsDlg::MakeGeneralPage()
{
    auto* pPage = new QWidget;
    auto* pLayout = new QVBoxLayout(pPage);

    auto* pTransport = new QGroupBox(QStringLiteral("Transport"));
    auto* pTransportForm = new QFormLayout(pTransport);
    auto* pSmall = new QRadioButton(QStringLiteral("Small (8 bit)"));
    m_pLarge = new QRadioButton(QStringLiteral("Large (16 bit)"));
    (DefaultDestIDSize() == 16 ? m_pLarge : pSmall)->setChecked(true);
    auto* pSizes = new QHBoxLayout;
    pSizes->addWidget(pSmall);
    pSizes->addWidget(m_pLarge);
    pSizes->addStretch();
    pTransportForm->addRow(QStringLiteral("Transport type:"), pSizes);
    m_pSmallHostID = new QLineEdit(NumberToText(DefaultSmallHostID(), 16, true));
    m_pLargeHostID = new QLineEdit(NumberToText(DefaultLargeHostID(), 16, true));
    pTransportForm->addRow(QStringLiteral("Small host ID:"), m_pSmallHostID);
    pTransportForm->addRow(QStringLiteral("Large host ID:"), m_pLargeHostID);
    pLayout->addWidget(pTransport);

    auto* pDiscovery = new QGroupBox(QStringLiteral("Discovery window"));
    auto* pDiscoveryLayout = new QVBoxLayout(pDiscovery);
    m_pDetails = new QCheckBox(QStringLiteral("Show the details (discovery log)"));
    m_pDetails->setChecked(::DiscoveryDetails());
    m_pPinned = new QCheckBox(QStringLiteral("Keep the window open when discovery ends"));
    m_pPinned->setChecked(::DiscoveryPinned());
    pDiscoveryLayout->addWidget(m_pDetails);
    pDiscoveryLayout->addWidget(m_pPinned);
    pLayout->addWidget(pDiscovery);

    const SUpdateSettings updates = SUpdateSettings::Load();
    auto* pUpdates = new QGroupBox(QStringLiteral("Updates"));
    auto* pUpdateForm = new QFormLayout(pUpdates);
    m_pCheckForUpdates = new QCheckBox(QStringLiteral("Check for updates automatically"));
    m_pCheckForUpdates->setChecked(updates.bCheckForUpdates);
    m_pUpdateInterval = new QLineEdit(QString::number(updates.ulIntervalDays));
    m_pLastCheck =
        new QLabel(updates.strLastCheck.isEmpty() ? QStringLiteral("Never") : updates.strLastCheck);
    pUpdateForm->addRow(m_pCheckForUpdates);
    pUpdateForm->addRow(QStringLiteral("Days between checks:"), m_pUpdateInterval);
    pUpdateForm->addRow(QStringLiteral("Last check:"), m_pLastCheck);
    pLayout->addWidget(pUpdates);
    pLayout->addStretch();
    return pPage;
}

QWidget* CDefaultSettingsDlg::MakeQuestionsPage()
{
    auto* pPage = new QWidget;
    auto* pQuestionForm = new QFormLayout(pPage);
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
    return pPage;
}

QWidget* CDefaultSettingsDlg::MakeDirectoriesPage()
{
    auto* pPage = new QWidget;
    auto* pForm = new QFormLayout(pPage);
    pForm->addRow(new QLabel(QStringLiteral("An empty field takes the installed location shown in grey.")));
    for (const SDirectoryKey& directory : DefaultSettingsDirectories())
    {
        const QString strKey = QLatin1String(directory.pszKey);
        auto* pField = new QLineEdit(GetPreference(kDirectories, strKey, QString()));
        pField->setPlaceholderText(DirectoryDefault(strKey));
        pField->setMinimumWidth(360);
        auto* pBrowse = new QPushButton(QStringLiteral("..."));
        pBrowse->setAutoDefault(false);
        pBrowse->setFixedWidth(pBrowse->fontMetrics().horizontalAdvance(QStringLiteral("...")) + 24);
        connect(pBrowse, &QPushButton::clicked, this,
                [pField, strText = QLatin1String(directory.pszText)]
                {
                    const QString strChosen = UI().ChooseDirectory(strText);
                    if (!strChosen.isEmpty())
                    {
                        pField->setText(strChosen);
                    }
                });
        auto* pRow = new QHBoxLayout;
        pRow->addWidget(pField, 1);
        pRow->addWidget(pBrowse);
        pForm->addRow(QStringLiteral("%1:").arg(QLatin1String(directory.pszText)), pRow);
        m_Directories.push_back(pField);
    }
    return pPage;
}

void CDefaultSettingsDlg::ShowField(QWidget* pField)
{
    for (int i = 0; i < m_pTabs->count(); ++i)
    {
        if (m_pTabs->widget(i)->isAncestorOf(pField))
        {
            m_pTabs->setCurrentIndex(i);
        }
    }
    pField->setFocus();
}

bool CDefaultSettingsDlg::Store()
{
    uint64_t ulSmall = 0;
    uint64_t ulLarge = 0;
    if (!NumberFromText(m_pSmallHostID->text(), &ulSmall) ||
        !SmallHostIDValid(static_cast<uint32_t>(ulSmall)))
    {
        ShowField(m_pSmallHostID);
        ShowMessage(InvalidEntryText());
        return false;
    }
    if (!NumberFromText(m_pLargeHostID->text(), 0xFFFF, &ulLarge))
    {
        ShowField(m_pLargeHostID);
        ShowMessage(InvalidEntryText());
        return false;
    }
    uint64_t ulDays = 0;
    if (!NumberFromText(m_pUpdateInterval->text(), &ulDays))
    {
        ShowField(m_pUpdateInterval);
        ShowMessage(InvalidEntryText());
        return false;
    }
    if (ulDays < 1 || ulDays > kMaxUpdateIntervalDays)
    {
        ShowField(m_pUpdateInterval);
        ShowMessage(QStringLiteral("The days between update checks must lie in the range 1 to %1.")
                        .arg(kMaxUpdateIntervalDays));
        return false;
    }
    const auto& directories = DefaultSettingsDirectories();
    for (size_t i = 0; i < directories.size(); ++i)
    {
        if (!DirectoryValid(m_Directories[i]->text()))
        {
            ShowField(m_Directories[i]);
            ShowMessage(QStringLiteral("Directory not found: '%1'").arg(m_Directories[i]->text().trimmed()));
            return false;
        }
    }

    const QString strSection = QStringLiteral("Preferences");
    SetPreference(strSection, QStringLiteral("DefaultDestIDSize"), m_pLarge->isChecked() ? 16u : 8u);
    SetPreference(strSection, QStringLiteral("DefaultSmallHostID"), static_cast<uint32_t>(ulSmall));
    SetPreference(strSection, QStringLiteral("DefaultLargeHostID"), static_cast<uint32_t>(ulLarge));
    SetDiscoveryWindowState(m_pDetails->isChecked(), m_pPinned->isChecked());
    SUpdateSettings updates = SUpdateSettings::Load();
    updates.bCheckForUpdates = m_pCheckForUpdates->isChecked();
    updates.ulIntervalDays = static_cast<uint32_t>(ulDays);
    updates.Save();
    const auto& questions = DefaultSettingsQuestions();
    for (size_t i = 0; i < questions.size(); ++i)
    {
        SetQuestionState(QLatin1String(questions[i].pszKey),
                         static_cast<EQuestionState>(m_Questions[i]->currentIndex()));
    }
    for (size_t i = 0; i < directories.size(); ++i)
    {
        const QString strKey = QLatin1String(directories[i].pszKey);
        const QString strPath = m_Directories[i]->text().trimmed();
        if (strPath.isEmpty())
        {
            RemovePreference(kDirectories, strKey);
        }
        else
        {
            SetPreference(kDirectories, strKey, strPath);
        }
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

#include "FindRegisterDlg.h"

#include "NetBrowserDlgBar.h"
#include "Preferences.h"
#include "UserInterface.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace
{
const QString kPreferences = QStringLiteral("Preferences");

struct SOptionKey
{
    const char* pszText;
    const char* pszKey;
    bool bDefault;
};
// In the order of the option boxes.
constexpr std::array<SOptionKey, 6> kOptionKeys = {{
    {"Match Case", "FIND_REG_MatchCase", false},
    {"Use Regular Expressions", "FIND_REG_UseRegEx", false},
    {"Register Names", "FIND_REG_SearchRegNames", true},
    {"Group Titles", "FIND_REG_SearchTitles", true},
    {"Register Offsets (hex)", "FIND_REG_SearchOffsets", true},
    {"Bitfield Names", "FIND_REG_SearchBitfields", true},
}};

QString HistoryKey(int i)
{
    return QString::asprintf("FIND_REG_SearchString%02d", i);
}
} // namespace

CFindRegisterDlg::CFindRegisterDlg(CNetBrowserDlgBar* pBrowser, QWidget* pParent)
    : QDialog(pParent), m_pBrowser(pBrowser)
{
    setObjectName(QStringLiteral("FindRegisters"));
    setWindowTitle(QStringLiteral("Find Registers"));
    m_pSearch = new QComboBox(this);
    m_pSearch->setEditable(true);
    m_pSearch->setInsertPolicy(QComboBox::NoInsert);
    m_pSearch->setMinimumContentsLength(28);
    m_pSearch->addItems(StoredHistory());
    m_pSearch->setCurrentIndex(m_pSearch->count() > 0 ? 0 : -1);
    for (size_t i = 0; i < kOptionKeys.size(); ++i)
    {
        m_Options[i] = new QCheckBox(QString::fromLatin1(kOptionKeys[i].pszText), this);
        m_Options[i]->setChecked(GetPreference(kPreferences, QString::fromLatin1(kOptionKeys[i].pszKey),
                                               kOptionKeys[i].bDefault ? 1u : 0u) != 0);
    }
    m_pStatus = new QLabel(this);
    m_pStatus->setObjectName(QStringLiteral("FindStatus"));
    m_pStatus->setMinimumHeight(m_pStatus->fontMetrics().height() + 4);
    m_pStatus->setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);

    auto* pFindLabel = new QLabel(QStringLiteral("Fi&nd what:"), this);
    pFindLabel->setBuddy(m_pSearch);
    auto* pOptions = new QGroupBox(QStringLiteral("Options"), this);
    auto* pOptionsLayout = new QVBoxLayout(pOptions);
    pOptionsLayout->addWidget(m_Options[0]);
    pOptionsLayout->addWidget(m_Options[1]);
    pOptionsLayout->addStretch();
    auto* pScopes = new QGroupBox(QStringLiteral("Search In"), this);
    auto* pScopesLayout = new QVBoxLayout(pScopes);
    for (size_t i = 2; i < m_Options.size(); ++i)
    {
        pScopesLayout->addWidget(m_Options[i]);
    }

    auto* pButtons = new QDialogButtonBox(Qt::Vertical, this);
    m_pFind = pButtons->addButton(QStringLiteral("&Find Next"), QDialogButtonBox::ActionRole);
    m_pFind->setDefault(true);
    QPushButton* pClose = pButtons->addButton(QDialogButtonBox::Close);
    connect(m_pFind, &QPushButton::clicked, this, [this] { FindNext(); });
    connect(pClose, &QPushButton::clicked, this, &QDialog::reject);

    auto* pGrid = new QGridLayout(this);
    pGrid->addWidget(pFindLabel, 0, 0);
    pGrid->addWidget(m_pSearch, 0, 1, 1, 2);
    pGrid->addWidget(pOptions, 1, 0, 1, 2);
    pGrid->addWidget(pScopes, 1, 2);
    pGrid->addWidget(pButtons, 0, 3, 2, 1);
    pGrid->addWidget(m_pStatus, 2, 0, 1, 4);
    pGrid->setColumnStretch(1, 1);
}

QStringList CFindRegisterDlg::StoredHistory()
{
    QStringList history;
    for (int i = 0; i < kHistorySize; ++i)
    {
        const QString strText = GetPreference(kPreferences, HistoryKey(i), QString());
        if (strText.isEmpty())
        {
            break;
        }
        history << strText;
    }
    return history;
}

SRegisterSearchOptions CFindRegisterDlg::Options() const
{
    SRegisterSearchOptions options;
    options.bMatchCase = m_Options[0]->isChecked();
    options.bUseRegEx = m_Options[1]->isChecked();
    options.bSearchRegNames = m_Options[2]->isChecked();
    options.bSearchTitles = m_Options[3]->isChecked();
    options.bSearchOffsets = m_Options[4]->isChecked();
    options.bSearchBitfields = m_Options[5]->isChecked();
    return options;
}

void CFindRegisterDlg::SetOptions(const SRegisterSearchOptions& options)
{
    m_Options[0]->setChecked(options.bMatchCase);
    m_Options[1]->setChecked(options.bUseRegEx);
    m_Options[2]->setChecked(options.bSearchRegNames);
    m_Options[3]->setChecked(options.bSearchTitles);
    m_Options[4]->setChecked(options.bSearchOffsets);
    m_Options[5]->setChecked(options.bSearchBitfields);
}

void CFindRegisterDlg::StoreOptionsAndHistory()
{
    for (size_t i = 0; i < kOptionKeys.size(); ++i)
    {
        SetPreference(kPreferences, QString::fromLatin1(kOptionKeys[i].pszKey),
                      m_Options[i]->isChecked() ? 1u : 0u);
    }
    const int nKept = std::min(m_pSearch->count(), kHistorySize);
    for (int i = 0; i < nKept; ++i)
    {
        SetPreference(kPreferences, HistoryKey(i), m_pSearch->itemText(i));
    }
    // The entry behind the last ends the list.
    SetPreference(kPreferences, HistoryKey(nKept), QString());
}

bool CFindRegisterDlg::FindNext()
{
    m_bLastHit = false;
    const QString strText = m_pSearch->currentText();
    if (strText.isEmpty())
    {
        m_pStatus->setText(QStringLiteral("Enter a search string."));
        UI().Beep();
        return false;
    }
    // The text goes to the top of the history; the oldest beyond the kept number drop out.
    const int iFound = m_pSearch->findText(strText, Qt::MatchFixedString | Qt::MatchCaseSensitive);
    if (iFound != 0)
    {
        if (iFound > 0)
        {
            m_pSearch->removeItem(iFound);
        }
        m_pSearch->insertItem(0, strText);
    }
    while (m_pSearch->count() > kHistorySize)
    {
        m_pSearch->removeItem(m_pSearch->count() - 1);
    }
    m_pSearch->setCurrentIndex(0);
    m_pStatus->setText(QStringLiteral("Searching..."));
    StoreOptionsAndHistory();
    const SRegisterSearchOptions options = Options();
    if (!options.bSearchRegNames && !options.bSearchTitles && !options.bSearchOffsets &&
        !options.bSearchBitfields)
    {
        m_pStatus->setText(QStringLiteral("Nothing to search."));
        UI().Beep();
        return false;
    }
    if (!m_pBrowser)
    {
        m_pStatus->setText(QStringLiteral("Internal error. [1]"));
        UI().Beep();
        return false;
    }
    QString strStatus;
    if (!m_pBrowser->SearchRegisters(strText, options, &strStatus))
    {
        m_pStatus->setText(strStatus);
        UI().Beep();
        return false;
    }
    m_bLastHit = true;
    m_pStatus->setText(QStringLiteral("Found."));
    m_pSearch->setFocus();
    m_pSearch->lineEdit()->selectAll();
    return true;
}

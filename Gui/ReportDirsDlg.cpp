#include "ReportDirsDlg.h"

#include "Preferences.h"
#include "UserInterface.h"

#include <QDialogButtonBox>
#include <QDir>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

CReportDirsDlg::CReportDirsDlg(QWidget* pParent) : QDialog(pParent)
{
    setWindowTitle(QStringLiteral("Report Directories"));
    auto* pLayout = new QVBoxLayout(this);
    auto* pNote =
        new QLabel(QStringLiteral("Each report takes its templates from its directory and writes the "
                                  "page into the Output folder below it. Leave a box empty for the "
                                  "default."));
    pNote->setWordWrap(true);
    pLayout->addWidget(pNote);
    auto* pGrid = new QGridLayout;
    pGrid->setColumnStretch(1, 1);
    for (int i = 0; i < eReportKindCount; ++i)
    {
        const auto eKind = static_cast<EReportKind>(i);
        const SReportKindInfo& info = ReportKindInfo(eKind);
        auto* pEdit = new QLineEdit;
        pEdit->setText(
            GetPreference(QStringLiteral("Directories"), QString::fromLatin1(info.pszKey), QString()));
        pEdit->setPlaceholderText(QDir::toNativeSeparators(ReportDirectoryDefault(eKind)));
        pEdit->setMinimumWidth(fontMetrics().horizontalAdvance(pEdit->placeholderText()) + 24);
        auto* pLabel = new QLabel(QString::fromLatin1(info.pszDirectoryFor) + QLatin1Char(':'));
        pLabel->setBuddy(pEdit);
        auto* pBrowse = new QPushButton(QStringLiteral("Browse..."));
        connect(pBrowse, &QPushButton::clicked, this, [this, eKind] { Browse(eKind); });
        pGrid->addWidget(pLabel, i, 0);
        pGrid->addWidget(pEdit, i, 1);
        pGrid->addWidget(pBrowse, i, 2);
        m_apEdits[static_cast<size_t>(i)] = pEdit;
        m_apBrowse[static_cast<size_t>(i)] = pBrowse;
    }
    pLayout->addLayout(pGrid);
    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(pButtons, &QDialogButtonBox::accepted, this, &CReportDirsDlg::accept);
    connect(pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    pLayout->addWidget(pButtons);
}

void CReportDirsDlg::Browse(EReportKind eKind)
{
    const QString strChosen =
        UI().ChooseDirectory(QString::fromLatin1(ReportKindInfo(eKind).pszBrowsePrompt));
    if (!strChosen.isEmpty())
    {
        Edit(eKind)->setText(QDir::toNativeSeparators(strChosen));
    }
}

bool CReportDirsDlg::Save()
{
    for (int i = 0; i < eReportKindCount; ++i)
    {
        const auto eKind = static_cast<EReportKind>(i);
        const SReportKindInfo& info = ReportKindInfo(eKind);
        if (!SetPreference(QStringLiteral("Directories"), QString::fromLatin1(info.pszKey),
                           Edit(eKind)->text().trimmed()))
        {
            ShowMessage(QString::fromLatin1(info.pszSaveFailure));
            return false;
        }
    }
    return true;
}

void CReportDirsDlg::accept()
{
    if (Save())
    {
        QDialog::accept();
    }
}

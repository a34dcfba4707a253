#include "DebugLoggingDlg.h"

#include "DebugKeyFile.h"
#include "UserInterface.h"

#include <QCheckBox>
#include <QDateEdit>
#include <QDesktopServices>
#include <QFileInfo>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QPushButton>
#include <QUrl>
#include <QVBoxLayout>

CDebugLoggingDlg::CDebugLoggingDlg(QWidget* pParent) : QDialog(pParent)
{
    setWindowTitle(QStringLiteral("Norvanta Debug Logging"));
    auto* pLayout = new QVBoxLayout(this);
    auto* pChannels = new QGroupBox(QStringLiteral("Channels"));
    auto* pGrid = new QGridLayout(pChannels);
    for (int i = 0; i < eDebugChannelCount; ++i)
    {
        auto* pCheck = new QCheckBox(DebugChannelKey(i));
        pCheck->setChecked(DebugEnabled(i));
        connect(pCheck, &QCheckBox::toggled, this, [i](bool bOn) { SetDebugFlag(i, bOn); });
        pGrid->addWidget(pCheck, i / 2, i % 2);
        m_apChecks[static_cast<size_t>(i)] = pCheck;
    }
    pLayout->addWidget(pChannels);

    auto* pLogButtons = new QHBoxLayout;
    auto* pClear = new QPushButton(QStringLiteral("Clear Log"));
    auto* pView = new QPushButton(QStringLiteral("View Log"));
    pLogButtons->addWidget(pClear);
    pLogButtons->addWidget(pView);
    pLayout->addLayout(pLogButtons);
    connect(pClear, &QPushButton::clicked, this, &CDebugLoggingDlg::ClearTheLog);
    connect(pView, &QPushButton::clicked, this, &CDebugLoggingDlg::ViewLog);

    auto* pKey = new QGroupBox(QStringLiteral("Debug key"));
    auto* pKeyForm = new QFormLayout(pKey);
    m_pDate = new QDateEdit(QDate::currentDate());
    m_pDate->setDisplayFormat(QStringLiteral("dd.MM.yyyy"));
    m_pDate->setCalendarPopup(true);
    auto* pCreate = new QPushButton(QStringLiteral("Create Debug Key"));
    pKeyForm->addRow(QStringLiteral("Day:"), m_pDate);
    pKeyForm->addRow(pCreate);
    pLayout->addWidget(pKey);
    connect(pCreate, &QPushButton::clicked, this, &CDebugLoggingDlg::CreateDebugKey);

    auto* pClose = new QPushButton(QStringLiteral("Close"));
    pLayout->addWidget(pClose, 0, Qt::AlignRight);
    connect(pClose, &QPushButton::clicked, this, &QDialog::accept);
}

void CDebugLoggingDlg::ClearTheLog()
{
    ClearLog();
}

bool CDebugLoggingDlg::ViewLog()
{
    const QString strPath = DebugLogPath();
    if (!QFileInfo::exists(strPath))
    {
        ShowMessage(QString::asprintf("Error:  File not found: '%s'", qPrintable(strPath)));
        return false;
    }
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(strPath)))
    {
        ShowMessage(
            QString::asprintf("Error: No application associated with the file: '%s'", qPrintable(strPath)));
        return false;
    }
    return true;
}

bool CDebugLoggingDlg::CreateDebugKey()
{
    const QString strDirectory =
        UI().ChooseDirectory(QStringLiteral("Choose the directory where you want to store the key file."));
    if (strDirectory.isEmpty())
    {
        return false;
    }
    DebugFlags flags{};
    for (int i = 0; i < eDebugChannelCount; ++i)
    {
        flags[static_cast<size_t>(i)] = m_apChecks[static_cast<size_t>(i)]->isChecked();
    }
    return WriteDebugKeyFile(strDirectory, m_pDate->date(), flags);
}

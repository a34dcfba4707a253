#include "WorkingDlg.h"

#include <QApplication>
#include <QEventLoop>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

CWorkingDlg::CWorkingDlg(const QString& strTitle, bool bWithLog, QWidget* pParent) : QDialog(pParent)
{
    setWindowTitle(strTitle);
    setModal(true);
    auto* pLayout = new QVBoxLayout(this);
    m_pProgress = new QLabel(this);
    m_pProgress->setMinimumWidth(360);
    pLayout->addWidget(m_pProgress);
    if (bWithLog)
    {
        m_pLog = new QPlainTextEdit(this);
        m_pLog->setReadOnly(true);
        m_pLog->setMinimumHeight(160);
        pLayout->addWidget(m_pLog);
    }
    m_pButton = new QPushButton(QStringLiteral("Cancel"), this);
    pLayout->addWidget(m_pButton, 0, Qt::AlignRight);
    connect(m_pButton, &QPushButton::clicked, this, [this] { m_bCancelled = true; });
}

void CWorkingDlg::SetProgress(const QString& strText)
{
    m_pProgress->setText(strText);
}

void CWorkingDlg::AppendLog(const QString& strLine)
{
    if (m_pLog)
    {
        m_pLog->appendPlainText(strLine);
    }
}

void CWorkingDlg::Pump()
{
    QApplication::processEvents(QEventLoop::AllEvents, 50);
}

void CWorkingDlg::Finish(const QString& strText)
{
    m_pProgress->setText(strText);
    m_pButton->setText(QStringLiteral("Close"));
    disconnect(m_pButton, nullptr, this, nullptr);
    connect(m_pButton, &QPushButton::clicked, this, &QDialog::accept);
    exec();
}

QString CWorkingDlg::ProgressText() const
{
    return m_pProgress->text();
}

QString CWorkingDlg::LogText() const
{
    return m_pLog ? m_pLog->toPlainText() : QString();
}

#include "WorkingDlg.h"

#include <QApplication>
#include <QCheckBox>
#include <QEventLoop>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace
{
const QString kShowDetails = QStringLiteral("Details >>");
const QString kHideDetails = QStringLiteral("<< Details");
} // namespace

CWorkingDlg::CWorkingDlg(const QString& strTitle, bool bWithLog, QWidget* pParent) : QDialog(pParent)
{
    setWindowTitle(strTitle);
    setModal(true);
    auto* pLayout = new QVBoxLayout(this);
    m_pProgress = new QLabel(this);
    m_pProgress->setMinimumWidth(420);
    m_pProgress->setTextFormat(Qt::PlainText);
    // A long warning wraps rather than being cut at the window's edge.
    m_pProgress->setWordWrap(true);
    pLayout->addWidget(m_pProgress);
    m_pCounts = new QLabel(this);
    m_pCounts->setTextFormat(Qt::PlainText);
    m_pCounts->hide();
    pLayout->addWidget(m_pCounts);
    if (bWithLog)
    {
        m_pLog = new QPlainTextEdit(this);
        m_pLog->setReadOnly(true);
        m_pLog->setMinimumHeight(220);
        m_pLog->setLineWrapMode(QPlainTextEdit::NoWrap);
        m_pLog->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
        // Tables written with tabs (a DFE scan's rows) line up on the usual eight columns.
        m_pLog->setTabStopDistance(8 * m_pLog->fontMetrics().horizontalAdvance(QLatin1Char('0')));
        m_pLog->hide();
        pLayout->addWidget(m_pLog, 1);
    }
    auto* pButtons = new QHBoxLayout;
    if (bWithLog)
    {
        m_pDetails = new QPushButton(kShowDetails, this);
        m_pDetails->setAutoDefault(false);
        connect(m_pDetails, &QPushButton::clicked, this, [this] { SetDetails(!DetailsShown()); });
        pButtons->addWidget(m_pDetails);
        m_pPin = new QCheckBox(QStringLiteral("Keep open when done"), this);
        pButtons->addWidget(m_pPin);
    }
    pButtons->addStretch();
    m_pButton = new QPushButton(QStringLiteral("Cancel"), this);
    pButtons->addWidget(m_pButton);
    pLayout->addLayout(pButtons);
    connect(m_pButton, &QPushButton::clicked, this, [this] { m_bCancelled = true; });
}

void CWorkingDlg::SetProgress(const QString& strText)
{
    m_pProgress->setText(strText);
}

void CWorkingDlg::SetCounts(const QString& strText)
{
    m_pCounts->setText(strText);
    m_pCounts->setVisible(!strText.isEmpty());
}

void CWorkingDlg::AppendLog(const QString& strLine)
{
    if (m_pLog)
    {
        // The discovery's log lines carry their own line ends.
        QString strText = strLine;
        while (strText.endsWith(QLatin1Char('\n')) || strText.endsWith(QLatin1Char('\r')))
        {
            strText.chop(1);
        }
        m_pLog->appendPlainText(strText);
    }
}

void CWorkingDlg::SetDetails(bool bShown)
{
    if (!m_pLog)
    {
        return;
    }
    m_pLog->setVisible(bShown);
    m_pDetails->setText(bShown ? kHideDetails : kShowDetails);
    adjustSize();
}

void CWorkingDlg::SetPinned(bool bPinned)
{
    if (m_pPin)
    {
        m_pPin->setChecked(bPinned);
    }
}

bool CWorkingDlg::DetailsShown() const
{
    return m_pLog && !m_pLog->isHidden();
}

bool CWorkingDlg::Pinned() const
{
    return m_pPin && m_pPin->isChecked();
}

void CWorkingDlg::Pump()
{
    QApplication::processEvents(QEventLoop::AllEvents, 50);
}

void CWorkingDlg::Finish(const QString& strText)
{
    if (!strText.isEmpty())
    {
        m_pProgress->setText(strText);
    }
    m_bFinishing = true;
    m_pButton->setText(QStringLiteral("Close"));
    m_pButton->setDefault(true);
    disconnect(m_pButton, nullptr, this, nullptr);
    connect(m_pButton, &QPushButton::clicked, this, &QDialog::accept);
    exec();
}

void CWorkingDlg::reject()
{
    if (m_bFinishing)
    {
        QDialog::reject();
        return;
    }
    m_bCancelled = true;
}

QString CWorkingDlg::ProgressText() const
{
    return m_pProgress->text();
}

QString CWorkingDlg::CountsText() const
{
    return m_pCounts->text();
}

QString CWorkingDlg::LogText() const
{
    return m_pLog ? m_pLog->toPlainText() : QString();
}

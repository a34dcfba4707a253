#include "QtUserInterface.h"

#include "ColumnMessageDlg.h"
#include "NumberText.h"
#include "WorkingDlg.h"

#include <QApplication>
#include <QDesktopServices>
#include <QFileDialog>
#include <QInputDialog>
#include <QMessageBox>
#include <QUrl>

CQtUserInterface::CQtUserInterface(QWidget* pParent) : m_pParent(pParent)
{
    SetUserInterface(this);
}

CQtUserInterface::~CQtUserInterface()
{
    while (!m_Working.empty())
    {
        delete m_Working.back();
        m_Working.pop_back();
    }
    SetUserInterface(nullptr);
}

void CQtUserInterface::ShowMessage(const QString& strText, const QString& strTitle, EMessageKind eKind)
{
    if (CColumnMessageDlg::HasColumns(strText))
    {
        CColumnMessageDlg dialog(strText, strTitle, eKind, m_pParent);
        dialog.exec();
        return;
    }
    const QMessageBox::Icon eIcon = eKind == EMessageKind::Error     ? QMessageBox::Critical
                                    : eKind == EMessageKind::Warning ? QMessageBox::Warning
                                                                     : QMessageBox::Information;
    QMessageBox box(eIcon, strTitle, strText, QMessageBox::Ok, m_pParent);
    box.exec();
}

int CQtUserInterface::Ask(const QString& strText, const QString& strTitle, bool bWithCancel)
{
    QMessageBox::StandardButtons buttons = QMessageBox::Yes | QMessageBox::No;
    if (bWithCancel)
    {
        buttons |= QMessageBox::Cancel;
    }
    QMessageBox box(QMessageBox::Question, strTitle, strText, buttons, m_pParent);
    switch (box.exec())
    {
    case QMessageBox::Yes:
        return eAnswerYes;
    case QMessageBox::No:
        return eAnswerNo;
    default:
        return bWithCancel ? eAnswerCancel : eAnswerNo;
    }
}

void CQtUserInterface::ShowNotice(const QString& strText, const QString& strTitle)
{
    auto* pBox = new QMessageBox(QMessageBox::Information, strTitle, strText, QMessageBox::Ok, m_pParent);
    pBox->setObjectName(QStringLiteral("NoticeWindow"));
    pBox->setWindowFlag(Qt::WindowStaysOnTopHint);
    pBox->setWindowModality(Qt::NonModal);
    pBox->setAttribute(Qt::WA_DeleteOnClose);
    pBox->show();
}

void CQtUserInterface::Beep()
{
    QApplication::beep();
}

void CQtUserInterface::SetBusy(bool bBusy)
{
    if (bBusy)
    {
        QApplication::setOverrideCursor(Qt::WaitCursor);
    }
    else
    {
        QApplication::restoreOverrideCursor();
    }
}

QString CQtUserInterface::QtFilter(const QString& strFilter)
{
    const QStringList parts = strFilter.split(QLatin1Char('|'), Qt::SkipEmptyParts);
    QStringList filters;
    for (int i = 0; i + 1 < parts.size(); i += 2)
    {
        filters << (parts[i].contains(QLatin1Char('('))
                        ? parts[i]
                        : QStringLiteral("%1 (%2)").arg(parts[i], parts[i + 1]));
    }
    return filters.join(QStringLiteral(";;"));
}

QString CQtUserInterface::DefaultSuffix(const QString& strFilter)
{
    const QStringList parts = strFilter.split(QLatin1Char('|'), Qt::SkipEmptyParts);
    if (parts.size() < 2 || !parts[1].startsWith(QLatin1String("*.")))
    {
        return QString();
    }
    const QString strSuffix = parts[1].mid(2).section(QLatin1Char(';'), 0, 0);
    return strSuffix.contains(QLatin1Char('*')) ? QString() : strSuffix;
}

QString CQtUserInterface::ChooseFile(bool bSave, const QString& strTitle, const QString& strFilter,
                                     const QString& strDefaultName)
{
    const QString strQtFilter = QtFilter(strFilter);
    if (!bSave)
    {
        return QFileDialog::getOpenFileName(m_pParent, strTitle, strDefaultName, strQtFilter);
    }
    // A name typed without an extension takes the first filter's, and the dialog asks before it
    // replaces a file of that name.
    QFileDialog dialog(m_pParent, strTitle, strDefaultName, strQtFilter);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setDefaultSuffix(DefaultSuffix(strFilter));
    return dialog.exec() == QDialog::Accepted && !dialog.selectedFiles().isEmpty()
               ? dialog.selectedFiles().first()
               : QString();
}

QString CQtUserInterface::ChooseDirectory(const QString& strPrompt)
{
    return QFileDialog::getExistingDirectory(m_pParent, strPrompt);
}

bool CQtUserInterface::OpenDocument(const QString& strPath)
{
    return QDesktopServices::openUrl(QUrl::fromLocalFile(strPath));
}

bool CQtUserInterface::AskNumber(const QString& strPrompt, const QString& strTitle, uint64_t* pulValue)
{
    QString strText = NumberToText(*pulValue, 10, false);
    for (;;)
    {
        bool bOk = false;
        strText = QInputDialog::getText(m_pParent, strTitle, strPrompt, QLineEdit::Normal, strText, &bOk);
        if (!bOk)
        {
            return false;
        }
        if (NumberFromText(strText, pulValue))
        {
            return true;
        }
        ShowMessage(InvalidEntryText(), strTitle, EMessageKind::Error);
    }
}

bool CQtUserInterface::AskText(const QString& strPrompt, const QString& strTitle, QString* pstrValue)
{
    bool bOk = false;
    const QString strText =
        QInputDialog::getText(m_pParent, strTitle, strPrompt, QLineEdit::Normal, *pstrValue, &bOk);
    if (bOk)
    {
        *pstrValue = strText;
    }
    return bOk;
}

void CQtUserInterface::BeginWork(const QString& strTitle, bool bWithLog)
{
    IUserInterface::BeginWork(strTitle, bWithLog);
    // Work begun inside other work (a table transfer after a discovery) gets a window of its own
    // over the outer one, which keeps its log.
    QWidget* pParent = m_Working.empty() ? m_pParent.data() : m_Working.back();
    auto* pWorking = new CWorkingDlg(strTitle, bWithLog, pParent);
    m_Working.push_back(pWorking);
    pWorking->show();
    pWorking->Pump();
}

void CQtUserInterface::SetWorkProgress(const QString& strText)
{
    if (CWorkingDlg* pWorking = WorkingWindow())
    {
        pWorking->SetProgress(strText);
        pWorking->Pump();
    }
}

void CQtUserInterface::AppendWorkLog(const QString& strLine)
{
    if (CWorkingDlg* pWorking = WorkingWindow())
    {
        pWorking->AppendLog(strLine);
        pWorking->Pump();
    }
}

void CQtUserInterface::SetWorkCounts(const QString& strCounts)
{
    if (CWorkingDlg* pWorking = WorkingWindow())
    {
        pWorking->SetCounts(strCounts);
        pWorking->Pump();
    }
}

void CQtUserInterface::SetWorkWindowState(bool bDetails, bool bPinned)
{
    IUserInterface::SetWorkWindowState(bDetails, bPinned);
    if (CWorkingDlg* pWorking = WorkingWindow())
    {
        pWorking->SetDetails(bDetails);
        pWorking->SetPinned(bPinned);
        pWorking->Pump();
    }
}

void CQtUserInterface::GetWorkWindowState(bool* pbDetails, bool* pbPinned)
{
    if (CWorkingDlg* pWorking = WorkingWindow())
    {
        *pbDetails = pWorking->DetailsShown();
        *pbPinned = pWorking->Pinned();
        return;
    }
    IUserInterface::GetWorkWindowState(pbDetails, pbPinned);
}

bool CQtUserInterface::WorkCancelled()
{
    CWorkingDlg* pWorking = WorkingWindow();
    if (!pWorking)
    {
        return false;
    }
    pWorking->Pump();
    return pWorking->Cancelled();
}

void CQtUserInterface::EndWork(const QString& strWarning)
{
    CWorkingDlg* pWorking = WorkingWindow();
    if (!pWorking)
    {
        return;
    }
    // A warning, or the pin, keeps the window, log and all, until the person closes it.
    if (!strWarning.isEmpty())
    {
        pWorking->Finish(QStringLiteral("Warning: %1").arg(strWarning));
    }
    else if (pWorking->Pinned())
    {
        pWorking->Finish(pWorking->Cancelled() ? QStringLiteral("Cancelled.") : QStringLiteral("Done."));
    }
    // What the person made of the details and the pin outlives the window, for the caller to keep.
    if (pWorking->DetailsButton())
    {
        IUserInterface::SetWorkWindowState(pWorking->DetailsShown(), pWorking->Pinned());
    }
    m_Working.pop_back();
    delete pWorking;
}

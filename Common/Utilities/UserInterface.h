// The one port through which everything a person sees or answers passes: message boxes,
// questions with their don't-ask keys, the busy cursor, the working window. The desktop
// application implements it with dialogs, the command line with standard error, and tests with
// a recorder, which is how tests check the program's exact texts.
#pragma once

#include <QString>

#include <cstdint>

enum class EMessageKind
{
    Information,
    Warning,
    Error
};

// Answers of a question, with the values the don't-ask store keeps.
enum EAnswer
{
    eAnswerOk = 1,
    eAnswerCancel = 2,
    eAnswerYes = 6,
    eAnswerNo = 7
};

class IUserInterface
{
public:
    virtual ~IUserInterface() = default;

    // A message box with one OK button.
    virtual void ShowMessage(const QString& strText, const QString& strTitle, EMessageKind eKind) = 0;
    // A Yes/No (or Yes/No/Cancel) question; returns eAnswerYes, eAnswerNo or eAnswerCancel.
    virtual int Ask(const QString& strText, const QString& strTitle, bool bWithCancel) = 0;
    // The system's warning sound.
    virtual void Beep() = 0;
    // The wait cursor, on or off, around a blocking operation.
    virtual void SetBusy(bool bBusy) = 0;

    // The methods below have defaults that suit a program without a window: no file or number
    // is chosen (the command is cancelled) and the working window only exists as its state.

    // A file to open (bSave false) or to save to; an empty text when the person cancels.
    // strFilter has the form "Maps (*.nvm)|*.nvm|All Files|*.*||".
    virtual QString ChooseFile(bool bSave, const QString& strTitle, const QString& strFilter,
                               const QString& strDefaultName)
    {
        (void)bSave, (void)strTitle, (void)strFilter, (void)strDefaultName;
        return QString();
    }
    // A notice that doesn't wait for an answer: a small window that stays on top of the others
    // while the program goes on (a watch trigger's). Without a window it is a message.
    virtual void ShowNotice(const QString& strText, const QString& strTitle)
    {
        ShowMessage(strText, strTitle, EMessageKind::Information);
    }
    // A directory; an empty text when the person cancels.
    virtual QString ChooseDirectory(const QString& strPrompt)
    {
        (void)strPrompt;
        return QString();
    }
    // A number typed by the person, taken by the number entry rule; false when cancelled. A
    // text that isn't a number shows "Invalid data entry." and asks again.
    virtual bool AskNumber(const QString& strPrompt, const QString& strTitle, uint64_t* pulValue)
    {
        (void)strPrompt, (void)strTitle, (void)pulValue;
        return false;
    }
    // A line of text typed by the person, *pstrValue showing first; false when cancelled. The
    // caller checks the text.
    virtual bool AskText(const QString& strPrompt, const QString& strTitle, QString* pstrValue)
    {
        (void)strPrompt, (void)strTitle, (void)pstrValue;
        return false;
    }

    // Shows a document (a report page) with the application the desktop associates with it;
    // false when nothing could show it. A program without a window shows nothing.
    virtual bool OpenDocument(const QString& strPath)
    {
        (void)strPath;
        return false;
    }

    // The working window of a long operation: a title, a progress line, an optional log pane and
    // a Cancel button. It pumps the event loop whenever one of these is called.
    virtual void BeginWork(const QString& strTitle, bool bWithLog)
    {
        m_strWorkTitle = strTitle;
        m_bWorkLog = bWithLog;
        m_bWorkCancelled = false;
    }
    virtual void SetWorkProgress(const QString& strText) { m_strWorkProgress = strText; }
    virtual void AppendWorkLog(const QString& strLine) { (void)strLine; }
    // A line of counts under the progress line (PEs found so far, switches, endpoints).
    virtual void SetWorkCounts(const QString& strCounts) { (void)strCounts; }
    // How the working window shows: its details (the log pane) open, and pinned, so that it stays
    // when the work ends with its button reading "Close". The person may change both meanwhile;
    // after EndWork the state reads as the window was left.
    virtual void SetWorkWindowState(bool bDetails, bool bPinned)
    {
        m_bWorkDetails = bDetails;
        m_bWorkPinned = bPinned;
    }
    virtual void GetWorkWindowState(bool* pbDetails, bool* pbPinned)
    {
        *pbDetails = m_bWorkDetails;
        *pbPinned = m_bWorkPinned;
    }
    // Whether the person pressed Cancel since BeginWork.
    virtual bool WorkCancelled() { return m_bWorkCancelled; }
    // Ends the work. strWarning, when not empty, is shown as "Warning: %s" and the window waits
    // with its button reading "Close", as a pinned window does. Working windows nest: one begun
    // while another is open ends first, and the other goes on.
    virtual void EndWork(const QString& strWarning)
    {
        if (!strWarning.isEmpty())
        {
            ShowMessage(QStringLiteral("Warning: %1").arg(strWarning), m_strWorkTitle, EMessageKind::Warning);
        }
        m_strWorkTitle.clear();
    }

protected:
    QString m_strWorkTitle;
    QString m_strWorkProgress;
    bool m_bWorkLog = false;
    bool m_bWorkCancelled = false;
    bool m_bWorkDetails = false;
    bool m_bWorkPinned = false;
};

// The port in force: the one installed last, or a console implementation that writes to
// standard error and answers every question with Yes.
IUserInterface& UI();
// Installs a port (not owned); nullptr restores the console one.
void SetUserInterface(IUserInterface* pInterface);

// Shows a message box with the default title.
void ShowMessage(const QString& strText, EMessageKind eKind = EMessageKind::Error);

// A question that may be dismissed for good: when <key>DontAsk in section Messages is 1 the
// stored <key>Response stands for the answer and nothing is shown.
int AskDontAsk(const QString& strKey, const QString& strText, const QString& strTitle);

// Title of the program's message boxes.
QString ApplicationTitle();

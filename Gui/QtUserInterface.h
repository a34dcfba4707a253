// The user-interface port of the desktop application: message boxes, questions, file and
// directory choice, number entry and the working window, all as Qt dialogs.
#pragma once

#include "UserInterface.h"

#include <QPointer>

#include <vector>

class QWidget;
class CWorkingDlg;

class CQtUserInterface final : public IUserInterface
{
public:
    // Installs itself as the port in force; the dialogs are children of pParent.
    explicit CQtUserInterface(QWidget* pParent = nullptr);
    ~CQtUserInterface() override;

    void ShowMessage(const QString& strText, const QString& strTitle, EMessageKind eKind) override;
    int Ask(const QString& strText, const QString& strTitle, bool bWithCancel) override;
    void Beep() override;
    // A modeless message box that stays on top and closes itself when dismissed.
    void ShowNotice(const QString& strText, const QString& strTitle) override;
    void SetBusy(bool bBusy) override;
    QString ChooseFile(bool bSave, const QString& strTitle, const QString& strFilter,
                       const QString& strDefaultName) override;
    QString ChooseDirectory(const QString& strPrompt) override;
    bool OpenDocument(const QString& strPath) override;
    bool AskNumber(const QString& strPrompt, const QString& strTitle, uint64_t* pulValue) override;
    bool AskText(const QString& strPrompt, const QString& strTitle, QString* pstrValue) override;
    void BeginWork(const QString& strTitle, bool bWithLog) override;
    void SetWorkProgress(const QString& strText) override;
    void AppendWorkLog(const QString& strLine) override;
    void SetWorkCounts(const QString& strCounts) override;
    void SetWorkWindowState(bool bDetails, bool bPinned) override;
    void GetWorkWindowState(bool* pbDetails, bool* pbPinned) override;
    bool WorkCancelled() override;
    void EndWork(const QString& strWarning) override;

    // The working window of the innermost work while work runs, else null.
    CWorkingDlg* WorkingWindow() const { return m_Working.empty() ? nullptr : m_Working.back(); }

    // Turns a filter of the form "Name (*.x)|*.x|All Files|*.*||" into Qt's form.
    static QString QtFilter(const QString& strFilter);
    // The extension a saved file gets when none is typed: the first filter's ("nvm" of
    // "Maps (*.nvm)|*.nvm|..."), or none when that filter takes any name.
    static QString DefaultSuffix(const QString& strFilter);

private:
    QPointer<QWidget> m_pParent;
    std::vector<CWorkingDlg*> m_Working; // open working windows, the innermost last
};

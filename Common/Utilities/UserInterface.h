// The one port through which everything a person sees or answers passes: message boxes,
// questions with their don't-ask keys, the busy cursor, the working window. The desktop
// application implements it with dialogs, the command line with standard error, and tests with
// a recorder, which is how tests check the program's exact texts.
#pragma once

#include <QString>

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

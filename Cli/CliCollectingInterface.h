// A user-interface port for commands that read files: it keeps what the readers would show in
// message boxes, so the command prints it once, in its own form, and answers questions with No.
#pragma once

#include "UserInterface.h"

#include <QStringList>

class CCollectingInterface final : public IUserInterface
{
public:
    CCollectingInterface() : m_pPrevious(&UI()) { SetUserInterface(this); }
    ~CCollectingInterface() override { SetUserInterface(m_pPrevious); }
    CCollectingInterface(const CCollectingInterface&) = delete;
    CCollectingInterface& operator=(const CCollectingInterface&) = delete;

    void ShowMessage(const QString& strText, const QString&, EMessageKind) override
    {
        Messages.append(strText);
    }
    int Ask(const QString&, const QString&, bool) override { return eAnswerNo; }
    void Beep() override {}
    void SetBusy(bool) override {}

    QStringList Messages;

private:
    IUserInterface* m_pPrevious;
};

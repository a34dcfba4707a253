// A user-interface port for tests: it records every text shown and answers questions from a
// list given in advance (Yes when the list runs out).
#pragma once

#include "UserInterface.h"

#include <QString>
#include <QStringList>
#include <deque>

namespace nvtest
{
class CRecordingUserInterface final : public IUserInterface
{
public:
    CRecordingUserInterface() { SetUserInterface(this); }
    ~CRecordingUserInterface() override { SetUserInterface(nullptr); }

    void ShowMessage(const QString& strText, const QString&, EMessageKind) override { messages << strText; }
    int Ask(const QString& strText, const QString&, bool) override
    {
        questions << strText;
        if (answers.empty())
        {
            return eAnswerYes;
        }
        const int nAnswer = answers.front();
        answers.pop_front();
        return nAnswer;
    }
    void Beep() override { ++nBeeps; }
    void SetBusy(bool) override {}

    QStringList messages;
    QStringList questions;
    std::deque<int> answers;
    int nBeeps = 0;
};
} // namespace nvtest

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

    void ShowMessage(const QString& strText, const QString& strTitle, EMessageKind) override
    {
        messages << strText;
        messageTitles << strTitle;
    }
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
    QString ChooseFile(bool, const QString& strTitle, const QString&, const QString&) override
    {
        choices << strTitle;
        return TakeText();
    }
    QString ChooseDirectory(const QString& strPrompt) override
    {
        choices << strPrompt;
        return TakeText();
    }
    bool AskNumber(const QString& strPrompt, const QString&, uint64_t* pulValue) override
    {
        choices << strPrompt;
        if (numbers.empty())
        {
            return false;
        }
        *pulValue = numbers.front();
        numbers.pop_front();
        return true;
    }
    bool AskText(const QString& strPrompt, const QString&, QString* pstrValue) override
    {
        choices << strPrompt;
        shownTexts << *pstrValue;
        if (texts.empty())
        {
            return false;
        }
        *pstrValue = TakeText();
        return true;
    }
    bool OpenDocument(const QString& strPath) override
    {
        openedDocuments << strPath;
        return bOpenDocuments;
    }
    void BeginWork(const QString& strTitle, bool bWithLog) override
    {
        IUserInterface::BeginWork(strTitle, bWithLog);
        workTitles << strTitle;
    }
    void SetWorkProgress(const QString& strText) override { workLines << strText; }
    void AppendWorkLog(const QString& strLine) override { workLines << strLine; }
    void SetWorkCounts(const QString& strCounts) override { workCounts << strCounts; }

    QStringList messages;
    QStringList messageTitles; // the title of each message, in step with messages
    QStringList questions;
    std::deque<int> answers;
    int nBeeps = 0;
    QStringList choices;          // titles and prompts of file, directory and number requests
    std::deque<QString> texts;    // answers to file, directory and text requests (none left: cancelled)
    QStringList shownTexts;       // what text requests showed at first
    std::deque<uint64_t> numbers; // answers to number requests (none left: cancelled)
    QStringList workTitles;       // working windows opened
    QStringList workLines;        // their progress and log lines
    QStringList workCounts;       // their lines of counts
    QStringList openedDocuments;  // documents handed to the desktop to show
    bool bOpenDocuments = true;   // what showing a document answers

private:
    QString TakeText()
    {
        if (texts.empty())
        {
            return QString();
        }
        QString strText = texts.front();
        texts.pop_front();
        return strText;
    }
};
} // namespace nvtest

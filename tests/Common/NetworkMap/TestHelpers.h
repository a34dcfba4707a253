// Helpers of the network model tests: a user-interface recorder, scratch files, and a module
// directory of the test's own.
#pragma once

#include "UserInterface.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

// Records every message shown; answers every question with Yes. Installed for its lifetime.
class CMessageRecorder : public IUserInterface
{
public:
    CMessageRecorder();
    ~CMessageRecorder() override;

    void ShowMessage(const QString& strText, const QString& strTitle, EMessageKind eKind) override;
    int Ask(const QString& strText, const QString& strTitle, bool bWithCancel) override;
    void Beep() override {}
    void SetBusy(bool) override {}

    QStringList Messages;
};

// A scratch directory, removed at the end of the test, which also serves as the module and
// icon directory while it lives.
class CScratchDir
{
public:
    CScratchDir();
    ~CScratchDir();

    QString Path(const QString& strName) const;
    // Writes a file and returns its path.
    QString Write(const QString& strName, const QByteArray& contents) const;

private:
    QTemporaryDir m_Dir;
};

// Whole contents of a file, or an empty array.
QByteArray FileBytes(const QString& strPath);

// Contents of a file of the test data folder.
QByteArray TestData(const QString& strName);

// Shared pieces of the fuzz harnesses: a user interface that swallows every message (a parser
// that reports a bad file must not flood the fuzzer's output), and a scratch file for readers
// that only take a path.
#pragma once

#include "UserInterface.h"

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>

namespace nvfuzz
{
class CSilentUserInterface final : public IUserInterface
{
public:
    void ShowMessage(const QString&, const QString&, EMessageKind) override {}
    int Ask(const QString&, const QString&, bool) override { return eAnswerNo; }
    void Beep() override {}
    void SetBusy(bool) override {}
};

// Installs the silent interface once per process.
void Silence();

// Writes the input to a file of this process (in TMPDIR, or /tmp) with the given extension and
// returns its path; the same path is reused for every input.
QString ScratchFile(const uint8_t* pData, size_t nSize, const char* pszExtension);
} // namespace nvfuzz

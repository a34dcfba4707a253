// The demo without a display: the same scenario as the window's, carried out by the shell and
// told on standard output, ending in a map file that norvanta-cli can print.
#pragma once

#include "UserInterface.h"

#include <QString>

// Tells messages on standard output as they come and answers every question with Yes, as a
// person trying the demo would; installed while it exists. The headless demo and the unattended
// screenshot run with it.
class CDemoUserInterface final : public IUserInterface
{
public:
    CDemoUserInterface() { SetUserInterface(this); }
    ~CDemoUserInterface() override { SetUserInterface(nullptr); }
    CDemoUserInterface(const CDemoUserInterface&) = delete;
    CDemoUserInterface& operator=(const CDemoUserInterface&) = delete;
    void ShowMessage(const QString& strText, const QString& strTitle, EMessageKind eKind) override;
    int Ask(const QString& strText, const QString& strTitle, bool bWithCancel) override;
    void Beep() override {}
    void SetBusy(bool) override {}
};

// Starts the demo fabric, connects, runs the map commands of the scenario, saves the map to
// strMapPath and disconnects. Returns the process exit status.
int RunHeadlessDemo(const QString& strMapPath);

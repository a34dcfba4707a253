#include "UserInterface.h"

#include "Preferences.h"

#include <cstdio>

namespace
{
// Used when nothing else is installed: the command line and programs without a window.
class CConsoleUserInterface final : public IUserInterface
{
public:
    void ShowMessage(const QString& strText, const QString&, EMessageKind) override
    {
        std::fprintf(stderr, "%s\n", strText.toLocal8Bit().constData());
    }
    int Ask(const QString& strText, const QString&, bool) override
    {
        std::fprintf(stderr, "%s [Yes]\n", strText.toLocal8Bit().constData());
        return eAnswerYes;
    }
    void Beep() override {}
    void SetBusy(bool) override {}
};

CConsoleUserInterface g_consoleInterface;
IUserInterface* g_pInterface = nullptr;
} // namespace

IUserInterface& UI()
{
    return g_pInterface ? *g_pInterface : g_consoleInterface;
}

void SetUserInterface(IUserInterface* pInterface)
{
    g_pInterface = pInterface;
}

QString ApplicationTitle()
{
    return QStringLiteral("Norvanta");
}

void ShowMessage(const QString& strText, EMessageKind eKind)
{
    UI().ShowMessage(strText, ApplicationTitle(), eKind);
}

int AskDontAsk(const QString& strKey, const QString& strText, const QString& strTitle)
{
    const QString strSection = QStringLiteral("Messages");
    if (GetPreference(strSection, strKey + QStringLiteral("DontAsk"), 0u) == 1)
    {
        return static_cast<int>(GetPreference(strSection, strKey + QStringLiteral("Response"), eAnswerYes));
    }
    return UI().Ask(strText, strTitle, false);
}

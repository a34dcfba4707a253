#include "ScriptCommands.h"

#include "EepromMapCommands.h"
#include "MainFrameCore.h"
#include "NetInitScriptGenDlg.h"
#include "RegisterDlg.h"
#include "ScriptRunDlg.h"

#include <QCloseEvent>
#include <QObject>

namespace
{
// Before the window that owns them closes, each open script window is closed as its own close box
// would close it: a modified script is offered for saving, and Cancel keeps everything open.
class CScriptWindowCloser final : public QObject
{
public:
    explicit CScriptWindowCloser(QObject* pParent) : QObject(pParent) {}

protected:
    bool eventFilter(QObject* pWatched, QEvent* pEvent) override
    {
        if (pEvent->type() != QEvent::Close || pWatched != parent())
        {
            return false;
        }
        for (CScriptRunDlg* pWindow : parent()->findChildren<CScriptRunDlg*>())
        {
            // A closed window deletes itself later: the pointers hold through the loop.
            if (pWindow->isVisible() && !pWindow->close())
            {
                pEvent->ignore();
                return true;
            }
        }
        return false;
    }
};

// The PE of a command on the active map, or null.
CPEPrimitive* CommandPE(CMainFrameCore& core, const SCommandContext& context)
{
    CPEPrimitive* pPE = core.Document().pCurrentPEs->GetByNodeNumber(context.iNode);
    return pPE && !pPE->bDeleted ? pPE : nullptr;
}
// Opens the script window on a PE, with a text or empty; values it reads back are kept with the
// map and shown by the browser.
void OpenScriptOf(CMainFrameCore& core, QWidget* pParent, CPEPrimitive& pe, const QString& strText)
{
    CScriptRunDlg* pWindow = OpenScriptWindow(pParent, core.Document(), pe, strText);
    QObject::connect(pWindow, &CScriptRunDlg::registersChanged, pParent,
                     [&core](int)
                     {
                         core.SetModified();
                         core.NotifyMap();
                     });
}
} // namespace

void InstallScriptCommands(CMainFrameCore& core, QWidget* pParent)
{
    pParent->installEventFilter(new CScriptWindowCloser(pParent));
    // What the register editor records opens here as a script of its PE, ready to run again.
    CRegisterDlg::SetScriptEditorOpener(
        [&core, pParent](QWidget*, CPEPrimitive* pPE, const QString& strScript)
        {
            if (pPE && !pPE->bDeleted)
            {
                OpenScriptOf(core, pParent, *pPE, strScript);
            }
        });
    core.SetCommandHandler(eCmdRunScript,
                           [&core, pParent](const SCommandContext& context)
                           {
                               CPEPrimitive* pPE = CommandPE(core, context);
                               if (!pPE)
                               {
                                   return;
                               }
                               OpenScriptOf(core, pParent, *pPE, QString());
                           });
    core.SetCommandHandler(eCmdCreateInitScript,
                           [&core, pParent](const SCommandContext&)
                           {
                               CNetInitScriptGenDlg dialog(core.Document(), pParent);
                               dialog.exec();
                           });
    core.SetCommandHandler(eCmdEEPROMCreateImage,
                           [&core, pParent](const SCommandContext& context)
                           {
                               if (CPEPrimitive* pPE = CommandPE(core, context))
                               {
                                   CNetInitScriptGenDlg dialog(core.Document(), *pPE,
                                                               CNetInitScriptGenDlg::SEepromImageUse{},
                                                               pParent);
                                   dialog.exec();
                               }
                           });
    InstallEepromCommands(core, pParent);
    core.SetCommandHandler(eCmdSaveRegisters,
                           [&core, pParent](const SCommandContext& context)
                           {
                               if (CPEPrimitive* pPE = CommandPE(core, context))
                               {
                                   CNetInitScriptGenDlg dialog(core.Document(), *pPE, pParent);
                                   dialog.exec();
                               }
                           });
}

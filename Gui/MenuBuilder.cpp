#include "MenuBuilder.h"

#include <QAction>
#include <QKeySequence>
#include <QMenu>

void AddMenuItems(QMenu* pMenu, const std::vector<SMenuItem>& items,
                  const std::function<void(QAction*, const SMenuItem&)>& onAction)
{
    for (const SMenuItem& item : items)
    {
        if (item.IsSeparator())
        {
            pMenu->addSeparator();
        }
        else if (item.IsSubMenu())
        {
            AddMenuItems(pMenu->addMenu(item.strText), item.children, onAction);
        }
        else
        {
            QAction* pAction = pMenu->addAction(item.strText);
            pAction->setData(static_cast<int>(item.eCommand));
            if (!item.strShortcut.isEmpty())
            {
                pAction->setShortcut(QKeySequence(item.strShortcut));
            }
            onAction(pAction, item);
        }
    }
}

ECommand ActionCommand(const QAction* pAction)
{
    bool bOk = false;
    const int iCommand = pAction ? pAction->data().toInt(&bOk) : 0;
    return bOk && iCommand > eCmdNone && iCommand < eCmdCount ? static_cast<ECommand>(iCommand) : eCmdNone;
}

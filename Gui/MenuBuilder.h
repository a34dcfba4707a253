// Turns the shell's menu descriptions into Qt menus whose actions carry their command.
#pragma once

#include "MapCommands.h"

#include <functional>

class QAction;
class QMenu;

// Adds the items to a menu; onAction is called for every action made, for the caller to connect
// and enable it. The command is the action's data.
void AddMenuItems(QMenu* pMenu, const std::vector<SMenuItem>& items,
                  const std::function<void(QAction*, const SMenuItem&)>& onAction);
// The command of an action made by AddMenuItems.
ECommand ActionCommand(const QAction* pAction);

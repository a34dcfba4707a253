// The user's script bindings that a map carries with it: methods of script files bound to menu
// items and to program events.
#pragma once

#include <QString>

#include <cstdint>

struct SMenuScriptItem
{
    QString MenuItemName;
    QString MethodName;
    QString ScriptFile;
    QString Language;   // "VBScript" or "JScript"
    int iCommandID = 0; // command ID the menu item gets; given out when the menu is built
};

struct SEventScriptItem
{
    uint32_t EventID = 0;
    QString MethodName;
    QString ScriptFile;
    QString Language;
    bool Enabled = false;
};

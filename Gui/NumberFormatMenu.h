#pragma once
// The Format menu of the editors that show destination IDs: Hex, Decimal or Binary, one checked.

#include <functional>

class QLayout;
class QWidget;

// Puts a menu bar with the Format menu on pLayout; pfnChoose gets 16, 10 or 2 when one is picked.
void AddNumberFormatMenu(QWidget* pOwner, QLayout* pLayout, int nCurrentBase,
                         const std::function<void(int)>& pfnChoose);

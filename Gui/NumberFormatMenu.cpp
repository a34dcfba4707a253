#include "NumberFormatMenu.h"

#include <QAction>
#include <QActionGroup>
#include <QLayout>
#include <QMenuBar>

#include <utility>

void AddNumberFormatMenu(QWidget* pOwner, QLayout* pLayout, int nCurrentBase,
                         const std::function<void(int)>& pfnChoose)
{
    auto* pMenus = new QMenuBar;
    auto* pFormat = pMenus->addMenu(QStringLiteral("Format"));
    auto* pBases = new QActionGroup(pOwner);
    for (const auto& [strName, nBase] : {std::pair{QStringLiteral("Hex"), 16},
                                         {QStringLiteral("Decimal"), 10},
                                         {QStringLiteral("Binary"), 2}})
    {
        QAction* pAction = pFormat->addAction(strName);
        pAction->setCheckable(true);
        pAction->setChecked(nCurrentBase == nBase);
        pBases->addAction(pAction);
        QObject::connect(pAction, &QAction::triggered, pOwner,
                         [pfnChoose, nBase = nBase] { pfnChoose(nBase); });
    }
    pLayout->setMenuBar(pMenus);
}

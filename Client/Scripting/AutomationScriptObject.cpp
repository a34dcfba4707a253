#include "AutomationScriptObject.h"

#include "Automation.h"

QStringList CAutomationScriptObject::MethodNames() const
{
    QStringList names;
    for (const SAutoMethod& method : CAutomation::Methods())
    {
        names << QString::fromLatin1(method.pszName);
    }
    return names;
}

bool CAutomationScriptObject::Call(const QString& strMethod, const std::vector<CAutoValue>& args,
                                   CAutoValue* pResult, SAutoError* pError)
{
    return m_automation.Invoke(strMethod, args, pResult, pError);
}

void AddAutomationObject(IScriptEngine& engine, CAutomationScriptObject& object)
{
    engine.AddNamedObject(QString::fromLatin1(kAutomationObjectName), QString::fromLatin1(kAutomationProgID),
                          &object);
}

// The automation object as the script engines see it: the object that macros reach as the global
// Norvanta and through CreateObject("Norvanta.Automation") / new ActiveXObject(...).
#pragma once

#include "ScriptEngine.h"

class CAutomation;

// The global name and the ProgID under which macros find the automation object.
inline constexpr const char* kAutomationObjectName = "Norvanta";
inline constexpr const char* kAutomationProgID = "Norvanta.Automation";

class CAutomationScriptObject final : public IScriptHostObject
{
public:
    // The automation object is not owned and outlives this one.
    explicit CAutomationScriptObject(CAutomation& automation) : m_automation(automation) {}

    // The 74 methods, in dispatch order.
    QStringList MethodNames() const override;
    bool Call(const QString& strMethod, const std::vector<CAutoValue>& args, CAutoValue* pResult,
              SAutoError* pError) override;

private:
    CAutomation& m_automation;
};

// Makes the automation object known to an engine under its global name and ProgID.
void AddAutomationObject(IScriptEngine& engine, CAutomationScriptObject& object);

// The JavaScript engine (QJSEngine) behind the script host interface.
#pragma once

#include "ScriptEngine.h"

#include <memory>

std::unique_ptr<IScriptEngine> CreateJScriptEngine();

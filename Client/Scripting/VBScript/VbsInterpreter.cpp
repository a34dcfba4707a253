#include "VbsInterpreter.h"
#include "VBScriptEngine.h"

#include <QThread>

#include <pthread.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace vbs
{
namespace
{

// How deep scripts may recurse: by the stack the interpreter has used since the host called it
// (at most 4 MiB, and never more than half of what the thread has left), and by a plain count as
// a second line. A script level takes about 1.6 KiB in an optimised build.
constexpr ptrdiff_t kMaxStackBudget = 4 * 1024 * 1024;
constexpr int kMaxCallDepth = 5000;

} // namespace

ptrdiff_t StackBudget(const char* pBase)
{
    pthread_attr_t attr;
    if (pthread_getattr_np(pthread_self(), &attr) != 0)
    {
        return kMaxStackBudget / 4;
    }
    void* pStack = nullptr;
    size_t nSize = 0;
    const bool bKnown = pthread_attr_getstack(&attr, &pStack, &nSize) == 0;
    pthread_attr_destroy(&attr);
    if (!bKnown)
    {
        return kMaxStackBudget / 4;
    }
    const ptrdiff_t nLeft = pBase - static_cast<const char*>(pStack);
    return std::clamp<ptrdiff_t>(nLeft / 2, 0, kMaxStackBudget);
}

namespace
{

const QString kRuntimeSource = QStringLiteral("VBScript runtime error");

// Err: Number (the default), Description, Source, HelpFile, HelpContext, Clear, Raise.
class CErrObject final : public CVbsObject
{
public:
    explicit CErrObject(CVbsInterpreter& interpreter) : m_interpreter(interpreter) {}
    QString TypeName() const override { return QStringLiteral("ErrObject"); }

    CVbsValue Invoke(const QString& strName, std::vector<SVbsArg>& args) override
    {
        const QString strKey = strName.toLower();
        CVbsInterpreter::SErrState& err = m_interpreter.Err();
        if (strKey == QLatin1String("clear"))
        {
            RequireArgs(args, 0, 0, strName);
            m_interpreter.ClearErr();
            return CVbsValue();
        }
        if (strKey == QLatin1String("raise"))
        {
            RequireArgs(args, 1, 5, strName);
            CVbsError error;
            error.nNumber = ToLong(args[0].value);
            if (error.nNumber == 0)
            {
                VbsRaise(5);
            }
            error.strSource =
                args.size() > 1 && !args[1].value.IsEmpty() ? ToString(args[1].value) : kRuntimeSource;
            error.strDescription = args.size() > 2 && !args[2].value.IsEmpty() ? ToString(args[2].value)
                                                                               : VbsErrorText(error.nNumber);
            if (error.strDescription.isEmpty())
            {
                error.strDescription = QStringLiteral("Unknown runtime error");
            }
            throw error;
        }
        RequireArgs(args, 0, 0, strName);
        if (strKey == QLatin1String("number"))
        {
            return CVbsValue::Long(err.nNumber);
        }
        if (strKey == QLatin1String("description"))
        {
            return CVbsValue::String(err.strDescription);
        }
        if (strKey == QLatin1String("source"))
        {
            return CVbsValue::String(err.strSource);
        }
        if (strKey == QLatin1String("helpfile"))
        {
            return CVbsValue::String(QString());
        }
        if (strKey == QLatin1String("helpcontext"))
        {
            return CVbsValue::Long(0);
        }
        VbsRaise(438, QStringLiteral("Err.") + strName);
    }

    void Put(const QString& strName, const CVbsValue& value) override
    {
        const QString strKey = strName.toLower();
        CVbsInterpreter::SErrState& err = m_interpreter.Err();
        if (strKey == QLatin1String("number"))
        {
            err.nNumber = ToLong(value);
        }
        else if (strKey == QLatin1String("description"))
        {
            err.strDescription = ToString(value);
        }
        else if (strKey == QLatin1String("source"))
        {
            err.strSource = ToString(value);
        }
        else
        {
            VbsRaise(438, QStringLiteral("Err.") + strName);
        }
    }

    bool DefaultValue(CVbsValue* pValue) const override
    {
        *pValue = CVbsValue::Long(m_interpreter.Err().nNumber);
        return true;
    }

    static void RequireArgs(const std::vector<SVbsArg>& args, size_t nMin, size_t nMax,
                            const QString& strName)
    {
        if (args.size() < nMin || args.size() > nMax)
        {
            VbsRaise(450, strName);
        }
    }

private:
    CVbsInterpreter& m_interpreter;
};

// WScript: Echo, Sleep, Quit.
class CWScriptObject final : public CVbsObject
{
public:
    explicit CWScriptObject(CVbsInterpreter& interpreter) : m_interpreter(interpreter) {}
    QString TypeName() const override { return QStringLiteral("Object"); }

    CVbsValue Invoke(const QString& strName, std::vector<SVbsArg>& args) override
    {
        const QString strKey = strName.toLower();
        if (strKey == QLatin1String("echo"))
        {
            QStringList parts;
            for (const SVbsArg& arg : args)
            {
                parts << (arg.value.IsNull() ? QStringLiteral("Null") : ToString(arg.value));
            }
            m_interpreter.Echo(parts.join(QLatin1Char(' ')));
            return CVbsValue();
        }
        if (strKey == QLatin1String("sleep"))
        {
            CErrObject::RequireArgs(args, 1, 1, strName);
            const int32_t nMilliseconds = ToLong(args[0].value);
            if (nMilliseconds < 0)
            {
                VbsRaise(5);
            }
            QThread::msleep(static_cast<unsigned long>(nMilliseconds));
            return CVbsValue();
        }
        if (strKey == QLatin1String("quit"))
        {
            m_interpreter.Quit();
        }
        VbsRaise(438, QStringLiteral("WScript.") + strName);
    }

private:
    CVbsInterpreter& m_interpreter;
};

// A host object: its methods by name, arguments and results converted through CAutoValue, a
// failure raised with the negated status as Err.Number.
class CHostObject final : public CVbsObject
{
public:
    CHostObject(IScriptHostObject* pObject, const QString& strProgID)
        : m_pObject(pObject), m_strProgID(strProgID)
    {
        for (const QString& strMethod : pObject->MethodNames())
        {
            m_methods.insert(strMethod.toLower(), strMethod);
        }
    }
    QString TypeName() const override { return QStringLiteral("Object"); }

    CVbsValue Invoke(const QString& strName, std::vector<SVbsArg>& args) override
    {
        const auto it = m_methods.constFind(strName.toLower());
        if (it == m_methods.cend())
        {
            VbsRaise(438, strName);
        }
        std::vector<CAutoValue> autoArgs;
        autoArgs.reserve(args.size());
        for (const SVbsArg& arg : args)
        {
            autoArgs.push_back(ToAutoValue(arg.value, arg.bVariable));
        }
        CAutoValue result;
        SAutoError error;
        if (!m_pObject->Call(it.value(), autoArgs, &result, &error))
        {
            CVbsError vbsError;
            vbsError.nNumber = -error.nStatus;
            vbsError.strDescription = error.strText;
            vbsError.strSource = m_strProgID;
            throw vbsError;
        }
        return FromAutoValue(result);
    }

private:
    IScriptHostObject* m_pObject;
    QString m_strProgID;
    QHash<QString, QString> m_methods;
};

uint16_t AutoTypeOf(EVarType type)
{
    switch (type)
    {
    case EVarType::Integer:
        return eVtI2;
    case EVarType::Long:
        return eVtI4;
    case EVarType::Byte:
        return eVtUI1;
    case EVarType::Boolean:
        return eVtBool;
    case EVarType::String:
        return eVtBstr;
    case EVarType::Double:
    case EVarType::Date:
        return eVtR8;
    case EVarType::Variant:
        return eVtVariant;
    default:
        return eVtEmpty;
    }
}

CAutoValue ScalarToAuto(const CVbsValue& v)
{
    CAutoValue value;
    switch (v.type)
    {
    case EVarType::Empty:
    case EVarType::Null:
        return value;
    case EVarType::Integer:
    case EVarType::Long:
    case EVarType::Byte:
        return CAutoValue::Number(AutoTypeOf(v.type), v.n);
    case EVarType::Boolean:
        return CAutoValue::Number(eVtBool, v.n != 0 ? 1 : 0);
    case EVarType::String:
        return CAutoValue::Text(v.s);
    case EVarType::Double:
    case EVarType::Date:
    {
        const double d = RoundHalfEven(v.d);
        value = CAutoValue::Number(eVtR8, d >= 9.2e18    ? std::numeric_limits<int64_t>::max()
                                          : d <= -9.2e18 ? std::numeric_limits<int64_t>::min()
                                                         : static_cast<int64_t>(d));
        value.dValue = v.d;
        return value;
    }
    default:
        VbsRaise(13);
    }
}

// An element of a typed array, converted to that type as the array holds it.
CAutoValue TypedElementToAuto(const CVbsValue& v, EVarType element)
{
    switch (element)
    {
    case EVarType::Integer:
        return CAutoValue::Number(eVtI2, ToInteger(v));
    case EVarType::Long:
        return CAutoValue::Number(eVtI4, ToLong(v));
    case EVarType::Byte:
        return CAutoValue::Number(eVtUI1, ToByte(v));
    case EVarType::Boolean:
        return CAutoValue::Number(eVtBool, ToBool(v) ? 1 : 0);
    case EVarType::String:
        return CAutoValue::Text(ToString(v));
    case EVarType::Double:
        return ScalarToAuto(CVbsValue::Double(ToDouble(v)));
    default:
        return ScalarToAuto(v);
    }
}

EVarType VarTypeOfAuto(uint16_t vt)
{
    switch (vt)
    {
    case eVtI1:
    case eVtI2:
        return EVarType::Integer;
    case eVtUI1:
        return EVarType::Byte;
    case eVtUI2:
    case eVtI4:
    case eVtInt:
    case eVtUI4:
        return EVarType::Long;
    case eVtBool:
        return EVarType::Boolean;
    case eVtBstr:
        return EVarType::String;
    case eVtR8:
        return EVarType::Double;
    case eVtVariant:
        return EVarType::Variant;
    default:
        return EVarType::Empty;
    }
}

CVbsValue ScalarFromAuto(const CAutoValue& value, uint16_t vt)
{
    switch (vt)
    {
    case eVtI1:
    case eVtI2:
        return CVbsValue::Integer(value.nValue);
    case eVtUI1:
        return CVbsValue::Byte(value.nValue & 0xFF);
    case eVtUI2:
    case eVtI4:
    case eVtInt:
        return CVbsValue::Long(value.nValue);
    case eVtUI4:
        // Beyond a Long's range a 32-bit unsigned value becomes a Double, as arithmetic would
        // make it.
        return value.nValue <= std::numeric_limits<int32_t>::max()
                   ? CVbsValue::Long(value.nValue)
                   : CVbsValue::Double(static_cast<double>(value.nValue));
    case eVtBool:
        return CVbsValue::Bool(value.nValue != 0);
    case eVtBstr:
        return CVbsValue::String(value.strValue);
    case eVtR8:
        return CVbsValue::Double(value.dValue);
    default:
        return CVbsValue();
    }
}

} // namespace

CAutoValue ToAutoValue(const CVbsValue& value, bool bByRef)
{
    if (!value.IsArray())
    {
        if (value.IsObject())
        {
            VbsRaise(13);
        }
        return ScalarToAuto(value);
    }
    const CVbsArray& arr = *value.arr;
    if (arr.upper.size() != 1)
    {
        VbsRaise(13); // a host takes one-dimensional arrays only
    }
    CAutoValue result;
    const uint16_t vtElement =
        AutoTypeOf(arr.element) == eVtEmpty ? static_cast<uint16_t>(eVtVariant) : AutoTypeOf(arr.element);
    result.vt = static_cast<uint16_t>(vtElement | eVtArray |
                                      (bByRef ? static_cast<uint16_t>(eVtByRef) : uint16_t{0}));
    result.elements.reserve(arr.items.size());
    for (const CVbsValue& item : arr.items)
    {
        if (item.IsArray() || item.IsObject())
        {
            VbsRaise(13);
        }
        result.elements.push_back(arr.element == EVarType::Variant ? ScalarToAuto(item)
                                                                   : TypedElementToAuto(item, arr.element));
    }
    return result;
}

CVbsValue FromAutoValue(const CAutoValue& value)
{
    if (!value.IsArray())
    {
        return ScalarFromAuto(value, value.ElementType());
    }
    auto arr = std::make_shared<CVbsArray>();
    const uint16_t vtElement = value.ElementType();
    arr->element = VarTypeOfAuto(vtElement);
    if (arr->element == EVarType::Empty)
    {
        arr->element = EVarType::Variant;
    }
    arr->upper = {static_cast<int32_t>(value.elements.size()) - 1};
    arr->items.reserve(value.elements.size());
    for (const CAutoValue& element : value.elements)
    {
        arr->items.push_back(
            ScalarFromAuto(element, vtElement == eVtVariant ? element.ElementType() : vtElement));
    }
    return CVbsValue::Array(std::move(arr));
}

CVbsInterpreter::CVbsInterpreter()
{
    m_errObject = CVbsValue::Object(std::make_shared<CErrObject>(*this));
    m_wscriptObject = CVbsValue::Object(std::make_shared<CWScriptObject>(*this));
    m_random.seed(0x5EED);
}

CVbsInterpreter::~CVbsInterpreter() = default;

void CVbsInterpreter::AddNamedObject(const QString& strName, const QString& strProgID,
                                     IScriptHostObject* pObject)
{
    SNamed named;
    named.strName = strName;
    named.strProgID = strProgID;
    named.object = CVbsValue::Object(std::make_shared<CHostObject>(pObject, strProgID));
    m_named.insert(strName.toLower(), named);
}

void CVbsInterpreter::Reset()
{
    m_globals.clear();
    m_procedures.clear();
    m_program.reset();
    ClearErr();
}

static CVbsError OutOfMemory()
{
    CVbsError error;
    error.nNumber = 7;
    error.strDescription = VbsErrorText(7);
    return error;
}

static void FillError(SScriptError* pError, const CVbsError& error)
{
    if (pError)
    {
        pError->strMessage = error.strDescription;
        pError->iLine = error.iLine;
        pError->iColumn = error.iColumn;
    }
}

bool CVbsInterpreter::Load(const QString& strText, SScriptError* pError)
{
    if (m_pStackBase)
    {
        // A host object asked for a new text while this one runs: the running text stays.
        if (pError)
        {
            *pError = SScriptError{QStringLiteral("The script engine is busy running a script"), 0, 0};
        }
        return false;
    }
    Reset();
    auto program = std::make_unique<SProgram>();
    SSyntaxError syntax;
    if (!ParseProgram(strText, program.get(), &syntax))
    {
        if (pError)
        {
            pError->strMessage = syntax.strMessage;
            pError->iLine = syntax.iLine;
            pError->iColumn = syntax.iColumn;
        }
        return false;
    }
    m_program = std::move(program);
    for (const auto& proc : m_program->procedures)
    {
        m_procedures.insert(proc->strKey, proc.get());
    }
    DeclareScope(m_program->vars, m_globals);

    ArmTimeLimit();
    char cBase = 0;
    SStackBase stackBase(*this, &cBase);
    SFrame frame;
    try
    {
        ExecBlock(m_program->body, frame);
    }
    catch (const CVbsError& error)
    {
        FillError(pError, error);
        Reset();
        return false;
    }
    catch (const STimedOut& where)
    {
        FillTimedOut(pError, where);
        Reset();
        return false;
    }
    catch (const SQuit&)
    {
    }
    catch (const std::bad_alloc&)
    {
        FillError(pError, OutOfMemory());
        Reset();
        return false;
    }
    return true;
}

bool CVbsInterpreter::HasMethod(const QString& strName) const
{
    return FindProcedure(strName.toLower()) != nullptr;
}

bool CVbsInterpreter::Call(const QString& strMethod, const std::vector<CAutoValue>& args, CAutoValue* pResult,
                           SScriptError* pError)
{
    if (pResult)
    {
        *pResult = CAutoValue();
    }
    try
    {
        const SProcedure* pProc = FindProcedure(strMethod.toLower());
        if (!pProc)
        {
            VbsRaise(438, strMethod);
        }
        if (args.size() != pProc->params.size())
        {
            VbsRaise(450, pProc->strName);
        }
        ArmTimeLimit();
        char cBase = 0;
        SStackBase stackBase(*this, &cBase);
        SFrame frame;
        frame.pProc = pProc;
        for (size_t i = 0; i < args.size(); ++i)
        {
            auto var = std::make_shared<SVariable>();
            var->value = FromAutoValue(args[i]);
            frame.locals.insert(pProc->params[i].strKey, var);
        }
        CVbsValue result;
        try
        {
            result = RunProcedure(*pProc, frame);
        }
        catch (const SQuit&)
        {
            return true;
        }
        if (pResult)
        {
            *pResult = ToAutoValue(result, false);
        }
        return true;
    }
    catch (const CVbsError& error)
    {
        FillError(pError, error);
        return false;
    }
    catch (const STimedOut& where)
    {
        return FillTimedOut(pError, where);
    }
    catch (const std::bad_alloc&)
    {
        FillError(pError, OutOfMemory());
        return false;
    }
}

void CVbsInterpreter::ArmTimeLimit()
{
    if (m_pStackBase != nullptr)
    {
        return; // a call back into the engine runs on the clock of the run around it
    }
    m_bTimed = nTimeLimitMs > 0;
    m_nTimeTicks = 0;
    m_deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(nTimeLimitMs);
}

bool CVbsInterpreter::FillTimedOut(SScriptError* pError, const STimedOut& where) const
{
    if (pError)
    {
        pError->strMessage =
            QStringLiteral("The script was stopped: it ran longer than its time limit of %1 ms.")
                .arg(nTimeLimitMs);
        pError->iLine = where.iLine;
        pError->iColumn = where.iColumn;
    }
    return false;
}

void CVbsInterpreter::Echo(const QString& strText)
{
    if (onEcho)
    {
        onEcho(strText);
    }
}

int CVbsInterpreter::MessageBox(const QString& strText, int iButtons, const QString& strTitle)
{
    if (onMessageBox)
    {
        return onMessageBox(strText, iButtons, strTitle);
    }
    Echo(strText);
    return 1;
}

CVbsValue CVbsInterpreter::CreateObject(const QString& strProgID)
{
    for (const SNamed& named : std::as_const(m_named))
    {
        if (named.strProgID.compare(strProgID, Qt::CaseInsensitive) == 0)
        {
            return named.object;
        }
    }
    VbsRaise(429, strProgID);
}

double CVbsInterpreter::Random(double dArgument)
{
    if (dArgument == 0)
    {
        return m_dLastRandom;
    }
    if (dArgument < 0)
    {
        m_random.seed(static_cast<uint32_t>(std::fabs(dArgument) * 1000003));
    }
    m_dLastRandom = std::uniform_real_distribution<double>(0.0, 1.0)(m_random);
    return m_dLastRandom;
}

void CVbsInterpreter::Randomize(double dSeed)
{
    m_random.seed(static_cast<uint32_t>(static_cast<int64_t>(dSeed * 1000003)));
}

void CVbsInterpreter::Quit()
{
    throw SQuit();
}

void CVbsInterpreter::SetErr(const CVbsError& error)
{
    m_err.nNumber = error.nNumber;
    m_err.strDescription = error.strDescription;
    m_err.strSource = error.strSource.isEmpty() ? kRuntimeSource : error.strSource;
}

// ---------------------------------------------------------------------------------------------
// Names

void CVbsInterpreter::DeclareScope(const std::vector<SScopeVar>& vars, QHash<QString, PVariable>& scope)
{
    for (const SScopeVar& decl : vars)
    {
        auto var = std::make_shared<SVariable>();
        var->bConst = decl.bConst;
        var->value = decl.initial;
        if (!decl.fixedBounds.empty())
        {
            auto arr = std::make_shared<CVbsArray>();
            arr->Resize(decl.fixedBounds);
            arr->bFixed = decl.bFixed;
            var->bFixed = decl.bFixed;
            var->value = CVbsValue::Array(std::move(arr));
        }
        scope.insert(decl.strKey, std::move(var));
    }
}

PVariable CVbsInterpreter::FindVariable(const QString& strKey, SFrame& frame)
{
    if (frame.pProc)
    {
        const auto it = frame.locals.constFind(strKey);
        if (it != frame.locals.cend())
        {
            return it.value();
        }
    }
    const auto it = m_globals.constFind(strKey);
    return it != m_globals.cend() ? it.value() : nullptr;
}

// The variable a name assigns to: declared, or made here when Option Explicit is off.
PVariable CVbsInterpreter::VariableForWrite(const SExpr& name, SFrame& frame)
{
    PVariable var = FindVariable(name.strKey, frame);
    if (!var)
    {
        if ((m_program && m_program->bOptionExplicit) || FindProcedure(name.strKey) ||
            m_named.contains(name.strKey))
        {
            VbsRaise(m_program && m_program->bOptionExplicit ? 500 : 501, name.strName);
        }
        var = std::make_shared<SVariable>();
        Scope(frame).insert(name.strKey, var);
    }
    return var;
}

const SProcedure* CVbsInterpreter::FindProcedure(const QString& strKey) const
{
    return m_procedures.value(strKey, nullptr);
}

CVbsValue* CVbsInterpreter::NamedObject(const QString& strKey)
{
    const auto it = m_named.find(strKey);
    if (it != m_named.end())
    {
        return &it.value().object;
    }
    if (strKey == QLatin1String("err"))
    {
        return &m_errObject;
    }
    if (strKey == QLatin1String("wscript"))
    {
        return &m_wscriptObject;
    }
    return nullptr;
}

// ---------------------------------------------------------------------------------------------
// Statements

CVbsInterpreter::EFlow CVbsInterpreter::ExecBlock(const SBlock& block, SFrame& frame)
{
    for (const PStmt& stmt : block)
    {
        CheckTimeLimit(stmt->iLine, stmt->iColumn);
        try
        {
            const EFlow flow = ExecStmt(*stmt, frame);
            if (flow != EFlow::Normal)
            {
                return flow;
            }
        }
        catch (CVbsError& error)
        {
            if (error.iLine == 0)
            {
                error.iLine = stmt->iLine;
                error.iColumn = stmt->iColumn;
            }
            if (!frame.bResumeNext)
            {
                throw;
            }
            SetErr(error);
        }
    }
    return EFlow::Normal;
}

bool CVbsInterpreter::Condition(const SExpr& expr, SFrame& frame)
{
    const CVbsValue value = Eval(expr, frame);
    return !value.IsNull() && ToBool(value);
}

CVbsInterpreter::EFlow CVbsInterpreter::ExecStmt(const SStmt& stmt, SFrame& frame)
{
    switch (stmt.kind)
    {
    case EStmt::Assign:
        ExecAssign(stmt, frame);
        return EFlow::Normal;
    case EStmt::Call:
        EvalCall(*stmt.a, frame);
        return EFlow::Normal;
    case EStmt::Dim:
    case EStmt::Const:
    case EStmt::Nop:
        return EFlow::Normal;
    case EStmt::ReDim:
        ExecReDim(stmt, frame);
        return EFlow::Normal;
    case EStmt::If:
        for (const SBranch& branch : stmt.branches)
        {
            if (Condition(*branch.condition, frame))
            {
                return ExecBlock(branch.body, frame);
            }
        }
        return stmt.bHasElse ? ExecBlock(stmt.elseBlock, frame) : EFlow::Normal;
    case EStmt::For:
        return ExecFor(stmt, frame);
    case EStmt::ForEach:
        return ExecForEach(stmt, frame);
    case EStmt::Do:
        return ExecDo(stmt, frame);
    case EStmt::While:
        while (Condition(*stmt.a, frame))
        {
            CheckTimeLimit(stmt.iLine, stmt.iColumn); // an empty loop is stopped too
            const EFlow flow = ExecBlock(stmt.body, frame);
            if (flow != EFlow::Normal)
            {
                return flow;
            }
        }
        return EFlow::Normal;
    case EStmt::Select:
        return ExecSelect(stmt, frame);
    case EStmt::Exit:
        switch (stmt.exitKind)
        {
        case EExit::For:
            return EFlow::ExitFor;
        case EExit::Do:
            return EFlow::ExitDo;
        default:
            return EFlow::ExitProc;
        }
    case EStmt::OnError:
        frame.bResumeNext = stmt.bResumeNext;
        ClearErr();
        return EFlow::Normal;
    case EStmt::Erase:
        for (const SDecl& decl : stmt.decls)
        {
            PVariable var = FindVariable(decl.strKey, frame);
            if (!var || !var->value.IsArray())
            {
                VbsRaise(13, decl.strName);
            }
            if (var->bFixed)
            {
                for (CVbsValue& item : var->value.arr->items)
                {
                    item = CVbsValue();
                }
            }
            else
            {
                auto arr = std::make_shared<CVbsArray>();
                arr->Resize({-1});
                var->value = CVbsValue::Array(std::move(arr));
            }
        }
        return EFlow::Normal;
    case EStmt::Randomize:
        Randomize(stmt.a ? ToDouble(Eval(*stmt.a, frame)) : DateSerialNow() * 86400.0);
        return EFlow::Normal;
    }
    return EFlow::Normal;
}

void CVbsInterpreter::ExecAssign(const SStmt& stmt, SFrame& frame)
{
    CVbsValue value = Eval(*stmt.a, frame);
    if (stmt.bSet)
    {
        if (!value.IsObject())
        {
            VbsRaise(424);
        }
    }
    else if (value.IsObject())
    {
        value = ToScalar(value);
    }
    if (value.IsArray())
    {
        value.arr = value.arr->Clone(); // arrays are values
    }

    const SExpr& target = *stmt.target;
    switch (target.kind)
    {
    case EExpr::Name:
    {
        PVariable var = VariableForWrite(target, frame);
        if (var->bConst || var->bFixed)
        {
            VbsRaise(501, target.strName);
        }
        var->value = std::move(value);
        return;
    }
    case EExpr::Call:
    {
        const SExpr& base = *target.a;
        if (base.kind == EExpr::Name)
        {
            PVariable var = FindVariable(base.strKey, frame);
            if (!var && m_program->bOptionExplicit)
            {
                VbsRaise(500, base.strName);
            }
            if (!var || !var->value.IsArray())
            {
                VbsRaise(13, base.strName);
            }
            const std::vector<int64_t> subscripts = Subscripts(target.args, frame);
            CheckElement(value);
            var->value.arr->At(subscripts) = std::move(value);
            return;
        }
        CVbsValue container = Eval(base, frame);
        if (container.IsArray())
        {
            // a(1)(2) = x: the element of the inner array.
            CheckElement(value);
            container.arr->At(Subscripts(target.args, frame)) = std::move(value);
            return;
        }
        VbsRaise(base.kind == EExpr::Member ? 438 : 501, base.strName);
    }
    case EExpr::Member:
    {
        const CVbsValue object = Eval(*target.a, frame);
        if (!object.IsObject())
        {
            VbsRaise(424);
        }
        if (!object.obj)
        {
            VbsRaise(91);
        }
        object.obj->Put(target.strName, value);
        return;
    }
    default:
        VbsRaise(501);
    }
}

void CVbsInterpreter::ExecReDim(const SStmt& stmt, SFrame& frame)
{
    for (const SDecl& decl : stmt.decls)
    {
        PVariable var = FindVariable(decl.strKey, frame);
        if (!var)
        {
            var = std::make_shared<SVariable>();
            Scope(frame).insert(decl.strKey, var);
        }
        if (var->bFixed || var->bConst)
        {
            VbsRaise(10);
        }
        std::vector<int32_t> bounds;
        size_t nTotal = 1;
        for (const PExpr& bound : decl.bounds)
        {
            const int32_t nUpper = ToLong(Eval(*bound, frame));
            if (nUpper < -1)
            {
                VbsRaise(9);
            }
            nTotal *= static_cast<size_t>(nUpper + 1);
            if (nTotal > 4u * 1024 * 1024)
            {
                VbsRaise(7);
            }
            bounds.push_back(nUpper);
        }
        auto arr = std::make_shared<CVbsArray>();
        arr->Resize(bounds);
        if (stmt.bPreserve && var->value.IsArray())
        {
            const CVbsArray& old = *var->value.arr;
            if (old.upper.size() != bounds.size())
            {
                VbsRaise(9);
            }
            for (size_t i = 0; i + 1 < bounds.size(); ++i)
            {
                if (old.upper[i] != bounds[i])
                {
                    VbsRaise(9);
                }
            }
            // The last subscript varies slowest, so the kept elements are a prefix.
            const size_t nKeep = std::min(old.items.size(), arr->items.size());
            std::copy(old.items.begin(), old.items.begin() + static_cast<ptrdiff_t>(nKeep),
                      arr->items.begin());
            arr->element = old.element;
        }
        var->value = CVbsValue::Array(std::move(arr));
    }
}

CVbsInterpreter::EFlow CVbsInterpreter::ExecFor(const SStmt& stmt, SFrame& frame)
{
    SExpr name;
    name.kind = EExpr::Name;
    name.strName = stmt.strName;
    name.strKey = stmt.strKey;
    PVariable var = VariableForWrite(name, frame);
    if (var->bConst)
    {
        VbsRaise(501, stmt.strName);
    }
    CVbsValue start = ToScalar(Eval(*stmt.a, frame));
    const CVbsValue end = ToScalar(Eval(*stmt.b, frame));
    const CVbsValue step = stmt.c ? ToScalar(Eval(*stmt.c, frame)) : CVbsValue::Integer(1);
    if (start.IsString())
    {
        start = CVbsValue::Double(ToDouble(start));
    }
    const double dEnd = ToDouble(end);
    const double dStep = ToDouble(step);
    ToDouble(start); // a start that isn't a number fails here, before the loop
    var->value = start;
    while (true)
    {
        const double dCounter = ToDouble(var->value);
        if (dStep >= 0 ? dCounter > dEnd : dCounter < dEnd)
        {
            return EFlow::Normal;
        }
        CheckTimeLimit(stmt.iLine, stmt.iColumn); // an empty loop is stopped too
        const EFlow flow = ExecBlock(stmt.body, frame);
        if (flow == EFlow::ExitFor)
        {
            return EFlow::Normal;
        }
        if (flow != EFlow::Normal)
        {
            return flow;
        }
        var->value = BinaryOp(EBinaryOp::Add, var->value, step);
    }
}

CVbsInterpreter::EFlow CVbsInterpreter::ExecForEach(const SStmt& stmt, SFrame& frame)
{
    const CVbsValue collection = Eval(*stmt.a, frame);
    if (!collection.IsArray())
    {
        VbsRaise(451);
    }
    SExpr name;
    name.kind = EExpr::Name;
    name.strName = stmt.strName;
    name.strKey = stmt.strKey;
    PVariable var = VariableForWrite(name, frame);
    const std::vector<CVbsValue> items = collection.arr->items;
    for (const CVbsValue& item : items)
    {
        var->value = item;
        CheckTimeLimit(stmt.iLine, stmt.iColumn); // an empty loop is stopped too
        const EFlow flow = ExecBlock(stmt.body, frame);
        if (flow == EFlow::ExitFor)
        {
            return EFlow::Normal;
        }
        if (flow != EFlow::Normal)
        {
            return flow;
        }
    }
    return EFlow::Normal;
}

CVbsInterpreter::EFlow CVbsInterpreter::ExecDo(const SStmt& stmt, SFrame& frame)
{
    auto keepGoing = [&] { return !stmt.a || Condition(*stmt.a, frame) != stmt.bUntil; };
    while (true)
    {
        if (stmt.bTestFirst && !keepGoing())
        {
            return EFlow::Normal;
        }
        CheckTimeLimit(stmt.iLine, stmt.iColumn); // an empty loop is stopped too
        const EFlow flow = ExecBlock(stmt.body, frame);
        if (flow == EFlow::ExitDo)
        {
            return EFlow::Normal;
        }
        if (flow != EFlow::Normal)
        {
            return flow;
        }
        if (!stmt.bTestFirst && !keepGoing())
        {
            return EFlow::Normal;
        }
    }
}

CVbsInterpreter::EFlow CVbsInterpreter::ExecSelect(const SStmt& stmt, SFrame& frame)
{
    const CVbsValue subject = Eval(*stmt.a, frame);
    const bool bSubjectLiteral = stmt.a->kind == EExpr::Literal;
    for (const SCase& caseBlock : stmt.cases)
    {
        for (const SCaseItem& item : caseBlock.items)
        {
            const CVbsValue a = Eval(*item.a, frame);
            const bool bLiteral = item.a->kind == EExpr::Literal;
            bool bMatch = false;
            switch (item.kind)
            {
            case ECaseKind::Value:
                bMatch = Compare(subject, a, bSubjectLiteral, bLiteral) == 0;
                break;
            case ECaseKind::Range:
            {
                const int nLow = Compare(subject, a, bSubjectLiteral, bLiteral);
                const int nHigh =
                    Compare(subject, Eval(*item.b, frame), bSubjectLiteral, item.b->kind == EExpr::Literal);
                bMatch = nLow != 2 && nHigh != 2 && nLow >= 0 && nHigh <= 0;
                break;
            }
            case ECaseKind::Is:
            {
                const CVbsValue result = BinaryOp(item.op, subject, a, bSubjectLiteral, bLiteral);
                bMatch = !result.IsNull() && ToBool(result);
                break;
            }
            }
            if (bMatch)
            {
                return ExecBlock(caseBlock.body, frame);
            }
        }
    }
    return stmt.bHasElse ? ExecBlock(stmt.elseBlock, frame) : EFlow::Normal;
}

// ---------------------------------------------------------------------------------------------
// Expressions

CVbsValue CVbsInterpreter::Eval(const SExpr& expr, SFrame& frame)
{
    try
    {
        return EvalInner(expr, frame);
    }
    catch (CVbsError& error)
    {
        if (error.iLine == 0)
        {
            error.iLine = expr.iLine;
            error.iColumn = expr.iColumn;
        }
        throw;
    }
}

CVbsValue CVbsInterpreter::EvalInner(const SExpr& expr, SFrame& frame)
{
    switch (expr.kind)
    {
    case EExpr::Literal:
        return expr.value;
    case EExpr::Nothing:
        return CVbsValue::Object(nullptr);
    case EExpr::Paren:
        return Eval(*expr.a, frame);
    case EExpr::Unary:
    {
        const CVbsValue value = Eval(*expr.a, frame);
        return expr.unary == EUnaryOp::Negate ? Negate(value) : Not(value);
    }
    case EExpr::Binary:
    {
        const CVbsValue a = Eval(*expr.a, frame);
        const CVbsValue b = Eval(*expr.b, frame);
        return BinaryOp(expr.binary, a, b, expr.a->kind == EExpr::Literal, expr.b->kind == EExpr::Literal);
    }
    case EExpr::Name:
        return EvalName(expr, frame);
    case EExpr::Member:
    {
        const CVbsValue object = Eval(*expr.a, frame);
        if (!object.IsObject())
        {
            VbsRaise(424, expr.a->strName);
        }
        if (!object.obj)
        {
            VbsRaise(91);
        }
        std::vector<SVbsArg> noArgs;
        return object.obj->Invoke(expr.strName, noArgs);
    }
    case EExpr::Call:
        return EvalCall(expr, frame);
    }
    return CVbsValue();
}

CVbsValue CVbsInterpreter::EvalName(const SExpr& expr, SFrame& frame)
{
    if (PVariable var = FindVariable(expr.strKey, frame))
    {
        return var->value;
    }
    if (const SProcedure* pProc = FindProcedure(expr.strKey))
    {
        return CallProcedure(*pProc, {}, frame);
    }
    CVbsValue constant;
    if (FindConstant(expr.strKey, &constant))
    {
        return constant;
    }
    if (const SBuiltin* pBuiltin = FindBuiltin(expr.strKey))
    {
        SExpr call;
        call.kind = EExpr::Call;
        call.strName = expr.strName;
        return CallBuiltin(*pBuiltin, call, frame);
    }
    if (CVbsValue* pObject = NamedObject(expr.strKey))
    {
        return *pObject;
    }
    if (m_program && m_program->bOptionExplicit)
    {
        VbsRaise(500, expr.strName);
    }
    // Without Option Explicit an unknown name is a new variable, Empty.
    auto var = std::make_shared<SVariable>();
    Scope(frame).insert(expr.strKey, var);
    return CVbsValue();
}

std::vector<int64_t> CVbsInterpreter::Subscripts(const std::vector<PExpr>& args, SFrame& frame)
{
    std::vector<int64_t> subscripts;
    subscripts.reserve(args.size());
    for (const PExpr& arg : args)
    {
        subscripts.push_back(ToLong(Eval(*arg, frame)));
    }
    return subscripts;
}

std::vector<SVbsArg> CVbsInterpreter::ObjectArgs(const std::vector<PExpr>& args, SFrame& frame)
{
    std::vector<SVbsArg> values;
    values.reserve(args.size());
    for (const PExpr& arg : args)
    {
        SVbsArg value;
        value.value = Eval(*arg, frame);
        value.bVariable = arg->kind == EExpr::Name && FindVariable(arg->strKey, frame) != nullptr;
        values.push_back(std::move(value));
    }
    return values;
}

CVbsValue CVbsInterpreter::CallBuiltin(const SBuiltin& builtin, const SExpr& call, SFrame& frame)
{
    const int nArgs = static_cast<int>(call.args.size());
    if (nArgs < builtin.nMinArgs || nArgs > builtin.nMaxArgs)
    {
        VbsRaise(450, call.a ? call.a->strName : call.strName);
    }
    std::vector<CVbsValue> args;
    args.reserve(call.args.size());
    for (const PExpr& arg : call.args)
    {
        args.push_back(Eval(*arg, frame));
    }
    return builtin.pFunction(*this, args);
}

CVbsValue CVbsInterpreter::EvalCall(const SExpr& expr, SFrame& frame)
{
    const SExpr& target = *expr.a;
    if (target.kind == EExpr::Name)
    {
        if (PVariable var = FindVariable(target.strKey, frame))
        {
            const bool bReturnSlot = frame.pProc && frame.pProc->bFunction &&
                                     frame.pProc->strKey == target.strKey &&
                                     frame.locals.value(target.strKey) == var;
            if (var->value.IsArray() && !expr.args.empty())
            {
                return var->value.arr->At(Subscripts(expr.args, frame));
            }
            if (!bReturnSlot)
            {
                if (expr.args.empty() && !var->value.IsObject())
                {
                    return var->value;
                }
                VbsRaise(13, target.strName);
            }
        }
        if (const SProcedure* pProc = FindProcedure(target.strKey))
        {
            return CallProcedure(*pProc, expr.args, frame);
        }
        if (const SBuiltin* pBuiltin = FindBuiltin(target.strKey))
        {
            return CallBuiltin(*pBuiltin, expr, frame);
        }
        if (expr.args.empty())
        {
            return EvalName(target, frame);
        }
        if (m_program && m_program->bOptionExplicit && !NamedObject(target.strKey))
        {
            VbsRaise(500, target.strName);
        }
        VbsRaise(13, target.strName);
    }
    if (target.kind == EExpr::Member)
    {
        const CVbsValue object = Eval(*target.a, frame);
        if (!object.IsObject())
        {
            VbsRaise(424, target.a->strName);
        }
        if (!object.obj)
        {
            VbsRaise(91);
        }
        std::vector<SVbsArg> args = ObjectArgs(expr.args, frame);
        return object.obj->Invoke(target.strName, args);
    }
    const CVbsValue base = Eval(target, frame);
    if (base.IsArray() && !expr.args.empty())
    {
        return base.arr->At(Subscripts(expr.args, frame));
    }
    if (expr.args.empty())
    {
        return base;
    }
    VbsRaise(13);
}

CVbsValue CVbsInterpreter::CallProcedure(const SProcedure& proc, const std::vector<PExpr>& args,
                                         SFrame& caller)
{
    if (args.size() != proc.params.size())
    {
        VbsRaise(450, proc.strName);
    }
    SFrame frame;
    frame.pProc = &proc;
    for (size_t i = 0; i < args.size(); ++i)
    {
        const SParam& param = proc.params[i];
        const SExpr& arg = *args[i];
        PVariable var;
        if (param.bByRef && arg.kind == EExpr::Name)
        {
            // By reference: the callee works on the caller's variable itself.
            var = FindVariable(arg.strKey, caller);
            if (var && var->bConst)
            {
                var.reset();
            }
            CVbsValue constant;
            if (!var && !m_program->bOptionExplicit && !FindProcedure(arg.strKey) &&
                !FindConstant(arg.strKey, &constant) && !FindBuiltin(arg.strKey) && !NamedObject(arg.strKey))
            {
                // A name used for the first time here becomes the caller's variable, and the
                // callee's assignments land in it.
                var = std::make_shared<SVariable>();
                Scope(caller).insert(arg.strKey, var);
            }
        }
        if (!var)
        {
            var = std::make_shared<SVariable>();
            var->value = Eval(arg, caller);
            if (var->value.IsArray())
            {
                var->value.arr = var->value.arr->Clone();
            }
        }
        frame.locals.insert(param.strKey, std::move(var));
    }
    return RunProcedure(proc, frame);
}

CVbsValue CVbsInterpreter::RunProcedure(const SProcedure& proc, SFrame& frame)
{
    const char cHere = 0;
    if (m_nDepth >= kMaxCallDepth || (m_pStackBase && m_pStackBase - &cHere > m_nStackBudget))
    {
        VbsRaise(28);
    }
    DeclareScope(proc.vars, frame.locals);
    PVariable result;
    if (proc.bFunction)
    {
        result = std::make_shared<SVariable>();
        frame.locals.insert(proc.strKey, result);
    }
    ++m_nDepth;
    try
    {
        ExecBlock(proc.body, frame);
    }
    catch (...)
    {
        --m_nDepth;
        throw;
    }
    --m_nDepth;
    return result ? result->value : CVbsValue();
}

} // namespace vbs

std::unique_ptr<IScriptEngine> CreateVBScriptEngine()
{
    return std::make_unique<vbs::CVbsInterpreter>();
}

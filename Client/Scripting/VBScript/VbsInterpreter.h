// The tree-walking interpreter behind CreateVBScriptEngine(): variables and scopes, procedure
// calls with ByVal/ByRef, the statements, On Error Resume Next and the Err object, and the bridge
// to host objects (CAutoValue in and out).
#pragma once

#include "ScriptEngine.h"
#include "VbsAst.h"

#include <QHash>

#include <chrono>
#include <random>

namespace vbs
{

struct SVariable
{
    CVbsValue value;
    bool bConst = false;
    bool bFixed = false; // an array declared with bounds
};
using PVariable = std::shared_ptr<SVariable>;

// Values to and from the host: numbers typed as VBScript types them, arrays as arrays of variants
// (by reference when the argument was a plain variable).
CAutoValue ToAutoValue(const CVbsValue& value, bool bByRef);
CVbsValue FromAutoValue(const CAutoValue& value);

class CVbsInterpreter;

// The stack a script may use from pBase down, on the calling thread.
ptrdiff_t StackBudget(const char* pBase);

// The built-in functions and constants (VbsBuiltins.cpp).
struct SBuiltin
{
    int nMinArgs;
    int nMaxArgs;
    CVbsValue (*pFunction)(CVbsInterpreter& interpreter, std::vector<CVbsValue>& args);
};
const SBuiltin* FindBuiltin(const QString& strKey);
bool FindConstant(const QString& strKey, CVbsValue* pValue);

class CVbsInterpreter final : public IScriptEngine
{
public:
    CVbsInterpreter();
    ~CVbsInterpreter() override;

    QString Language() const override { return QStringLiteral("VBScript"); }
    void AddNamedObject(const QString& strName, const QString& strProgID,
                        IScriptHostObject* pObject) override;
    bool Load(const QString& strText, SScriptError* pError) override;
    bool HasMethod(const QString& strName) const override;
    bool Call(const QString& strMethod, const std::vector<CAutoValue>& args, CAutoValue* pResult,
              SScriptError* pError) override;

    // For the built-ins.
    void Echo(const QString& strText);
    int MessageBox(const QString& strText, int iButtons, const QString& strTitle);
    CVbsValue CreateObject(const QString& strProgID);
    double Random(double dArgument);
    void Randomize(double dSeed);
    void Quit();

    // The Err object's state.
    struct SErrState
    {
        int32_t nNumber = 0;
        QString strDescription;
        QString strSource;
    };
    SErrState& Err() { return m_err; }
    void SetErr(const CVbsError& error);
    void ClearErr() { m_err = SErrState(); }

private:
    struct SFrame
    {
        const SProcedure* pProc = nullptr;
        QHash<QString, PVariable> locals;
        bool bResumeNext = false;
    };
    enum class EFlow
    {
        Normal,
        ExitFor,
        ExitDo,
        ExitProc,
    };
    struct SQuit
    {
    };
    // Thrown past On Error Resume Next when a run outlasts nTimeLimitMs: where it was stopped.
    struct STimedOut
    {
        int iLine = 0;
        int iColumn = 0;
    };
    // Starts the clock of a run that the host began (not of a call back into the engine).
    void ArmTimeLimit();
    // Stops the run once the time limit has passed; checked before every statement and on every
    // pass of a loop, reading the clock only now and then.
    void CheckTimeLimit(int iLine, int iColumn)
    {
        if (m_bTimed && (++m_nTimeTicks & 0xFF) == 0 && std::chrono::steady_clock::now() > m_deadline)
        {
            throw STimedOut{iLine, iColumn};
        }
    }
    bool FillTimedOut(SScriptError* pError, const STimedOut& where) const;
    // Marks where the host called in, for the stack budget; a call back into the engine from a
    // host object keeps the outer mark.
    struct SStackBase
    {
        SStackBase(CVbsInterpreter& interpreter, const char* pBase) : m_interpreter(interpreter)
        {
            m_bOuter = interpreter.m_pStackBase == nullptr;
            if (m_bOuter)
            {
                interpreter.m_pStackBase = pBase;
                interpreter.m_nStackBudget = StackBudget(pBase);
                interpreter.m_nDepth = 0;
            }
        }
        ~SStackBase()
        {
            if (m_bOuter)
            {
                m_interpreter.m_pStackBase = nullptr;
            }
        }
        CVbsInterpreter& m_interpreter;
        bool m_bOuter = false;
    };

    void Reset();
    PVariable FindVariable(const QString& strKey, SFrame& frame);
    QHash<QString, PVariable>& Scope(SFrame& frame) { return frame.pProc ? frame.locals : m_globals; }
    PVariable VariableForWrite(const SExpr& name, SFrame& frame);
    void DeclareScope(const std::vector<SScopeVar>& vars, QHash<QString, PVariable>& scope);
    const SProcedure* FindProcedure(const QString& strKey) const;
    CVbsValue* NamedObject(const QString& strKey);

    EFlow ExecBlock(const SBlock& block, SFrame& frame);
    EFlow ExecStmt(const SStmt& stmt, SFrame& frame);
    void ExecAssign(const SStmt& stmt, SFrame& frame);
    void ExecReDim(const SStmt& stmt, SFrame& frame);
    EFlow ExecFor(const SStmt& stmt, SFrame& frame);
    EFlow ExecForEach(const SStmt& stmt, SFrame& frame);
    EFlow ExecDo(const SStmt& stmt, SFrame& frame);
    EFlow ExecSelect(const SStmt& stmt, SFrame& frame);
    bool Condition(const SExpr& expr, SFrame& frame);

    CVbsValue Eval(const SExpr& expr, SFrame& frame);
    CVbsValue EvalInner(const SExpr& expr, SFrame& frame);
    CVbsValue EvalName(const SExpr& expr, SFrame& frame);
    CVbsValue EvalCall(const SExpr& expr, SFrame& frame);
    std::vector<int64_t> Subscripts(const std::vector<PExpr>& args, SFrame& frame);
    std::vector<SVbsArg> ObjectArgs(const std::vector<PExpr>& args, SFrame& frame);
    CVbsValue CallBuiltin(const SBuiltin& builtin, const SExpr& call, SFrame& frame);
    CVbsValue CallProcedure(const SProcedure& proc, const std::vector<PExpr>& args, SFrame& caller);
    CVbsValue RunProcedure(const SProcedure& proc, SFrame& frame);

    std::unique_ptr<SProgram> m_program;
    QHash<QString, const SProcedure*> m_procedures;
    QHash<QString, PVariable> m_globals;
    struct SNamed
    {
        QString strName;
        QString strProgID;
        CVbsValue object;
    };
    QHash<QString, SNamed> m_named; // by lower-case name
    CVbsValue m_errObject;
    CVbsValue m_wscriptObject;
    SErrState m_err;
    int m_nDepth = 0;
    const char* m_pStackBase = nullptr;
    ptrdiff_t m_nStackBudget = 0;
    bool m_bTimed = false;
    uint32_t m_nTimeTicks = 0;
    std::chrono::steady_clock::time_point m_deadline;
    std::mt19937 m_random;
    double m_dLastRandom = 0;
};

} // namespace vbs

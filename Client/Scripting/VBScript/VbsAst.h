// The syntax tree of a VBScript program, as the parser builds it and the interpreter walks it.
// Names are kept as written (for messages) and in lower case (for look-ups: VBScript ignores case).
#pragma once

#include "VbsValue.h"

#include <QString>

#include <memory>
#include <vector>

namespace vbs
{

enum class EExpr
{
    Literal, // value
    Name,    // name
    Member,  // a.name
    Call,    // a(args): a call or an array element, decided when it runs
    Paren,   // (a): a value, never a reference
    Unary,   // op (Negate or Not) on a
    Binary,  // a op b
    Nothing, // Nothing
};

enum class EUnaryOp
{
    Negate,
    Not,
};

struct SExpr
{
    EExpr kind = EExpr::Literal;
    int iLine = 0;
    int iColumn = 0;
    int nDepth = 1; // the height of the tree below, kept bounded so evaluation can't exhaust the stack
    CVbsValue value;
    QString strName; // as written
    QString strKey;  // lower case
    EBinaryOp binary = EBinaryOp::Add;
    EUnaryOp unary = EUnaryOp::Negate;
    std::unique_ptr<SExpr> a;
    std::unique_ptr<SExpr> b;
    std::vector<std::unique_ptr<SExpr>> args;
};
using PExpr = std::unique_ptr<SExpr>;

struct SStmt;
using PStmt = std::unique_ptr<SStmt>;
using SBlock = std::vector<PStmt>;

enum class EStmt
{
    Assign,    // target = a; bSet for Set
    Call,      // a (a Call, Name or Member expression); bCallKeyword for Call
    Dim,       // declarations are hoisted; the statement does nothing when it runs
    ReDim,     // decls with bounds; bPreserve
    Const,     // decls with values
    If,        // branches, elseBlock
    For,       // strKey = a To b Step c, body
    ForEach,   // strKey In a, body
    Do,        // a the condition (or null), bUntil, bTestFirst, body
    While,     // a, body
    Select,    // a, cases, elseBlock (bHasElse)
    Exit,      // exitKind
    OnError,   // bResumeNext
    Erase,     // decls (names)
    Randomize, // a (optional seed)
    Nop,       // Option Explicit and the like
};

enum class EExit
{
    Sub,
    Function,
    For,
    Do,
};

struct SDecl
{
    QString strName;
    QString strKey;
    int iLine = 0;
    int iColumn = 0;
    std::vector<PExpr> bounds;        // ReDim: the upper bounds; Const: one value
    std::vector<int32_t> fixedBounds; // Dim a(2, 3)
    bool bArray = false;              // Dim a() or Dim a(2)
};

struct SBranch
{
    PExpr condition;
    SBlock body;
};

enum class ECaseKind
{
    Value, // a
    Range, // a To b
    Is,    // Is op a
};

struct SCaseItem
{
    ECaseKind kind = ECaseKind::Value;
    EBinaryOp op = EBinaryOp::Equal;
    PExpr a;
    PExpr b;
};

struct SCase
{
    std::vector<SCaseItem> items;
    SBlock body;
};

struct SStmt
{
    EStmt kind = EStmt::Nop;
    int iLine = 0;
    int iColumn = 0;
    QString strName; // the For variable as written
    QString strKey;
    PExpr target;
    PExpr a;
    PExpr b;
    PExpr c;
    bool bSet = false;
    bool bCallKeyword = false;
    bool bPreserve = false;
    bool bUntil = false;
    bool bTestFirst = false;
    bool bResumeNext = false;
    bool bHasElse = false;
    EExit exitKind = EExit::Sub;
    std::vector<SDecl> decls;
    std::vector<SBranch> branches;
    std::vector<SCase> cases;
    SBlock body;
    SBlock elseBlock;
};

struct SParam
{
    QString strName;
    QString strKey;
    bool bByRef = true; // VBScript passes by reference unless ByVal says otherwise
};

// A variable a scope declares (Dim, Private, Public, ReDim, Const), made when the scope starts.
struct SScopeVar
{
    QString strKey;
    bool bConst = false;
    bool bFixed = false;
    std::vector<int32_t> fixedBounds;
    CVbsValue initial; // a constant's value
};

struct SProcedure
{
    QString strName;
    QString strKey;
    bool bFunction = false;
    int iLine = 0;
    int iColumn = 0;
    std::vector<SParam> params;
    std::vector<SScopeVar> vars;
    SBlock body;
};

struct SProgram
{
    bool bOptionExplicit = false;
    std::vector<std::unique_ptr<SProcedure>> procedures;
    std::vector<SScopeVar> vars;
    SBlock body;
};

// A syntax error: VBScript's compile error number and message, and where.
struct SSyntaxError
{
    int nNumber = 0;
    QString strMessage;
    int iLine = 0;
    int iColumn = 0;
};

// Parses a program; false with *pError at the first syntax error.
bool ParseProgram(const QString& strText, SProgram* pProgram, SSyntaxError* pError);

} // namespace vbs

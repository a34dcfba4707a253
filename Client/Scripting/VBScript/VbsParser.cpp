// The lexer and the recursive-descent parser of VBScript. Syntax errors carry VBScript's compile
// error numbers and messages and the 1-based line and column of the token where they were found.
#include "VbsAst.h"

#include <QSet>

namespace vbs
{
namespace
{

enum class ETok
{
    Ident,
    Number,
    String,
    Op,
    Eol,
    Colon,
    End,
};

struct SToken
{
    ETok kind = ETok::End;
    QString strText; // as written
    QString strLower;
    CVbsValue value;
    int iLine = 1;
    int iColumn = 1;
};

// Parser nesting (blocks inside blocks, parentheses inside parentheses) beyond this is refused, so
// that no text can run the parser or the interpreter out of stack.
constexpr int kMaxNesting = 200;
constexpr int kMaxExpressionDepth = 1000;
// The most elements a fixed array may declare (ReDim has the same limit when it runs).
constexpr double kMaxFixedElements = 4.0 * 1024 * 1024;

[[noreturn]] void Fail(int nNumber, const QString& strMessage, int iLine, int iColumn)
{
    throw SSyntaxError{nNumber, strMessage, iLine, iColumn};
}

QString SyntaxText(int nNumber)
{
    switch (nNumber)
    {
    case 1002:
        return QStringLiteral("Syntax error");
    case 1005:
        return QStringLiteral("Expected '('");
    case 1006:
        return QStringLiteral("Expected ')'");
    case 1010:
        return QStringLiteral("Expected identifier");
    case 1011:
        return QStringLiteral("Expected '='");
    case 1012:
        return QStringLiteral("Expected 'If'");
    case 1013:
        return QStringLiteral("Expected 'To'");
    case 1014:
        return QStringLiteral("Expected 'End'");
    case 1015:
        return QStringLiteral("Expected 'Function'");
    case 1016:
        return QStringLiteral("Expected 'Sub'");
    case 1017:
        return QStringLiteral("Expected 'Then'");
    case 1018:
        return QStringLiteral("Expected 'Wend'");
    case 1019:
        return QStringLiteral("Expected 'Loop'");
    case 1020:
        return QStringLiteral("Expected 'Next'");
    case 1021:
        return QStringLiteral("Expected 'Case'");
    case 1022:
        return QStringLiteral("Expected 'Select'");
    case 1023:
        return QStringLiteral("Expected expression");
    case 1024:
        return QStringLiteral("Expected statement");
    case 1025:
        return QStringLiteral("Expected end of statement");
    case 1026:
        return QStringLiteral("Expected integer constant");
    case 1027:
        return QStringLiteral("Expected 'While', 'Until' or end of statement");
    case 1031:
        return QStringLiteral("Invalid number");
    case 1032:
        return QStringLiteral("Invalid character");
    case 1033:
        return QStringLiteral("Unterminated string constant");
    case 1037:
        return QStringLiteral("Expected 'Next' or 'Resume'"); // On Error ...
    case 1038:
        return QStringLiteral("'loop' without 'do'");
    case 1039:
        return QStringLiteral("Invalid 'exit' statement");
    case 1041:
        return QStringLiteral("Name redefined");
    case 1044:
        return QStringLiteral("Cannot use parentheses when calling a Sub");
    case 1045:
        return QStringLiteral("Expected literal constant");
    case 1046:
        return QStringLiteral("Expected 'In'");
    case 1053:
        return QStringLiteral("Expected '0'");
    default:
        return QStringLiteral("Syntax error");
    }
}

[[noreturn]] void Fail(int nNumber, const SToken& token)
{
    Fail(nNumber, SyntaxText(nNumber), token.iLine, token.iColumn);
}

// ---------------------------------------------------------------------------------------------
// Lexer

class CLexer
{
public:
    explicit CLexer(const QString& strText) : m_str(strText) {}

    std::vector<SToken> Run()
    {
        std::vector<SToken> tokens;
        while (true)
        {
            SkipBlanks();
            SToken token;
            token.iLine = m_iLine;
            token.iColumn = m_i - m_iLineStart + 1;
            if (m_i >= m_str.size())
            {
                token.kind = ETok::End;
                tokens.push_back(token);
                return tokens;
            }
            const QChar c = m_str[m_i];
            if (c == QLatin1Char('\''))
            {
                SkipToEndOfLine();
                continue;
            }
            if (c == QLatin1Char('\r') || c == QLatin1Char('\n'))
            {
                NewLine();
                token.kind = ETok::Eol;
                tokens.push_back(token);
                continue;
            }
            if (c == QLatin1Char('_'))
            {
                // A line continuation: " _" and nothing but blanks to the end of the line.
                qsizetype j = m_i + 1;
                while (j < m_str.size() && (m_str[j] == QLatin1Char(' ') || m_str[j] == QLatin1Char('\t')))
                {
                    ++j;
                }
                if (j < m_str.size() && (m_str[j] == QLatin1Char('\r') || m_str[j] == QLatin1Char('\n')))
                {
                    m_i = j;
                    NewLine();
                    continue;
                }
                Fail(1032, token);
            }
            if (c == QLatin1Char(':'))
            {
                ++m_i;
                token.kind = ETok::Colon;
                tokens.push_back(token);
                continue;
            }
            if (c == QLatin1Char('"'))
            {
                LexString(token);
                tokens.push_back(token);
                continue;
            }
            if (c.isDigit() || (c == QLatin1Char('.') && m_i + 1 < m_str.size() && m_str[m_i + 1].isDigit() &&
                                !FollowsOperand(tokens)))
            {
                LexNumber(token);
                tokens.push_back(token);
                continue;
            }
            if (c == QLatin1Char('&') && m_i + 2 < m_str.size() + 1 && LexRadix(token))
            {
                tokens.push_back(token);
                continue;
            }
            if (IsIdentStart(c))
            {
                const qsizetype nStart = m_i;
                while (m_i < m_str.size() && IsIdentPart(m_str[m_i]))
                {
                    ++m_i;
                }
                token.kind = ETok::Ident;
                token.strText = m_str.mid(nStart, m_i - nStart);
                token.strLower = token.strText.toLower();
                if (token.strLower == QLatin1String("rem") && AtStatementStart(tokens))
                {
                    SkipToEndOfLine();
                    continue;
                }
                tokens.push_back(token);
                continue;
            }
            if (c == QLatin1Char('['))
            {
                // [any name]: an identifier that may hold blanks or be a keyword.
                const qsizetype nEnd = m_str.indexOf(QLatin1Char(']'), m_i);
                const qsizetype nEol = m_str.indexOf(QLatin1Char('\n'), m_i);
                if (nEnd < 0 || (nEol >= 0 && nEol < nEnd))
                {
                    Fail(1032, token);
                }
                token.kind = ETok::Ident;
                token.strText = m_str.mid(m_i + 1, nEnd - m_i - 1);
                token.strLower = token.strText.toLower();
                token.value = CVbsValue::Bool(true); // marks a bracketed name: never a keyword
                m_i = nEnd + 1;
                tokens.push_back(token);
                continue;
            }
            static const QString kTwo[] = {QStringLiteral("<>"), QStringLiteral("<="), QStringLiteral(">=")};
            bool bTwo = false;
            for (const QString& strOp : kTwo)
            {
                if (QStringView(m_str).mid(m_i, 2) == strOp)
                {
                    token.kind = ETok::Op;
                    token.strText = token.strLower = strOp;
                    m_i += 2;
                    bTwo = true;
                    break;
                }
            }
            if (bTwo)
            {
                tokens.push_back(token);
                continue;
            }
            if (QStringLiteral("+-*/\\^&=<>(),.").contains(c))
            {
                token.kind = ETok::Op;
                token.strText = token.strLower = QString(c);
                ++m_i;
                tokens.push_back(token);
                continue;
            }
            Fail(1032, token);
        }
    }

private:
    static bool IsIdentStart(QChar c) { return c.isLetter() && c.unicode() < 0x80; }
    static bool IsIdentPart(QChar c)
    {
        return (c.isLetterOrNumber() && c.unicode() < 0x80) || c == QLatin1Char('_');
    }

    static bool FollowsOperand(const std::vector<SToken>& tokens)
    {
        if (tokens.empty())
        {
            return false;
        }
        const SToken& last = tokens.back();
        return last.kind == ETok::Ident || (last.kind == ETok::Op && last.strText == QLatin1String(")"));
    }

    static bool AtStatementStart(const std::vector<SToken>& tokens)
    {
        return tokens.empty() || tokens.back().kind == ETok::Eol || tokens.back().kind == ETok::Colon ||
               (tokens.back().kind == ETok::Ident && (tokens.back().strLower == QLatin1String("then") ||
                                                      tokens.back().strLower == QLatin1String("else")));
    }

    void SkipBlanks()
    {
        while (m_i < m_str.size() && (m_str[m_i] == QLatin1Char(' ') || m_str[m_i] == QLatin1Char('\t') ||
                                      m_str[m_i] == QChar(0xA0) || m_str[m_i] == QChar(0xFEFF)))
        {
            ++m_i;
        }
    }

    void SkipToEndOfLine()
    {
        while (m_i < m_str.size() && m_str[m_i] != QLatin1Char('\r') && m_str[m_i] != QLatin1Char('\n'))
        {
            ++m_i;
        }
    }

    void NewLine()
    {
        if (m_str[m_i] == QLatin1Char('\r') && m_i + 1 < m_str.size() && m_str[m_i + 1] == QLatin1Char('\n'))
        {
            ++m_i;
        }
        ++m_i;
        ++m_iLine;
        m_iLineStart = m_i;
    }

    void LexString(SToken& token)
    {
        ++m_i;
        QString str;
        while (true)
        {
            if (m_i >= m_str.size() || m_str[m_i] == QLatin1Char('\r') || m_str[m_i] == QLatin1Char('\n'))
            {
                Fail(1033, token);
            }
            if (m_str[m_i] == QLatin1Char('"'))
            {
                if (m_i + 1 < m_str.size() && m_str[m_i + 1] == QLatin1Char('"'))
                {
                    str += QLatin1Char('"');
                    m_i += 2;
                    continue;
                }
                ++m_i;
                break;
            }
            str += m_str[m_i++];
        }
        token.kind = ETok::String;
        token.value = CVbsValue::String(str);
    }

    void LexNumber(SToken& token)
    {
        const qsizetype nStart = m_i;
        bool bFloat = false;
        while (m_i < m_str.size() && m_str[m_i].isDigit())
        {
            ++m_i;
        }
        if (m_i < m_str.size() && m_str[m_i] == QLatin1Char('.'))
        {
            bFloat = true;
            ++m_i;
            while (m_i < m_str.size() && m_str[m_i].isDigit())
            {
                ++m_i;
            }
        }
        if (m_i < m_str.size() && (m_str[m_i] == QLatin1Char('e') || m_str[m_i] == QLatin1Char('E')))
        {
            qsizetype j = m_i + 1;
            if (j < m_str.size() && (m_str[j] == QLatin1Char('+') || m_str[j] == QLatin1Char('-')))
            {
                ++j;
            }
            if (j < m_str.size() && m_str[j].isDigit())
            {
                bFloat = true;
                m_i = j;
                while (m_i < m_str.size() && m_str[m_i].isDigit())
                {
                    ++m_i;
                }
            }
        }
        token.kind = ETok::Number;
        token.strText = m_str.mid(nStart, m_i - nStart);
        if (m_i < m_str.size() && IsIdentPart(m_str[m_i]))
        {
            Fail(1025, QStringLiteral("Expected end of statement"), m_iLine, m_i - m_iLineStart + 1);
        }
        bool bOk = false;
        const double d = token.strText.toDouble(&bOk);
        if (!bOk || !std::isfinite(d))
        {
            Fail(1031, token);
        }
        if (!bFloat && d <= 32767)
        {
            token.value = CVbsValue::Integer(static_cast<int64_t>(d));
        }
        else if (!bFloat && d <= 2147483647.0)
        {
            token.value = CVbsValue::Long(static_cast<int64_t>(d));
        }
        else
        {
            token.value = CVbsValue::Double(d);
        }
    }

    // &Hhex, &Ooctal, &octal, with an optional trailing & that makes the value a Long.
    bool LexRadix(SToken& token)
    {
        qsizetype j = m_i + 1;
        int nBase = 8;
        if (j < m_str.size() && (m_str[j] == QLatin1Char('h') || m_str[j] == QLatin1Char('H')))
        {
            nBase = 16;
            ++j;
        }
        else if (j < m_str.size() && (m_str[j] == QLatin1Char('o') || m_str[j] == QLatin1Char('O')))
        {
            ++j;
        }
        const qsizetype nDigits = j;
        while (j < m_str.size() &&
               (nBase == 16 ? isxdigit(m_str[j].toLatin1()) != 0
                            : (m_str[j] >= QLatin1Char('0') && m_str[j] <= QLatin1Char('7'))))
        {
            ++j;
        }
        if (j == nDigits)
        {
            return false; // the & operator
        }
        const QString strDigits = m_str.mid(nDigits, j - nDigits);
        bool bLong = false;
        if (j < m_str.size() && m_str[j] == QLatin1Char('&'))
        {
            bLong = true;
            ++j;
        }
        bool bOk = false;
        const qulonglong ulValue = strDigits.size() > 11 ? 0 : strDigits.toULongLong(&bOk, nBase);
        if (!bOk || ulValue > 0xFFFFFFFFull)
        {
            Fail(1031, token);
        }
        token.kind = ETok::Number;
        token.strText = m_str.mid(m_i, j - m_i);
        if (!bLong && ulValue <= 0xFFFF)
        {
            token.value = CVbsValue::Integer(static_cast<int16_t>(static_cast<uint16_t>(ulValue)));
        }
        else
        {
            token.value = CVbsValue::Long(static_cast<int32_t>(static_cast<uint32_t>(ulValue)));
        }
        m_i = j;
        return true;
    }

    const QString& m_str;
    qsizetype m_i = 0;
    int m_iLine = 1;
    qsizetype m_iLineStart = 0;
};

// ---------------------------------------------------------------------------------------------
// Parser

const QSet<QString>& ReservedWords()
{
    static const QSet<QString> kWords = {
        QStringLiteral("and"),      QStringLiteral("byref"),    QStringLiteral("byval"),
        QStringLiteral("call"),     QStringLiteral("case"),     QStringLiteral("class"),
        QStringLiteral("const"),    QStringLiteral("dim"),      QStringLiteral("do"),
        QStringLiteral("each"),     QStringLiteral("else"),     QStringLiteral("elseif"),
        QStringLiteral("empty"),    QStringLiteral("end"),      QStringLiteral("eqv"),
        QStringLiteral("erase"),    QStringLiteral("exit"),     QStringLiteral("false"),
        QStringLiteral("for"),      QStringLiteral("function"), QStringLiteral("goto"),
        QStringLiteral("if"),       QStringLiteral("imp"),      QStringLiteral("in"),
        QStringLiteral("is"),       QStringLiteral("let"),      QStringLiteral("loop"),
        QStringLiteral("mod"),      QStringLiteral("new"),      QStringLiteral("next"),
        QStringLiteral("not"),      QStringLiteral("nothing"),  QStringLiteral("null"),
        QStringLiteral("on"),       QStringLiteral("option"),   QStringLiteral("or"),
        QStringLiteral("preserve"), QStringLiteral("private"),  QStringLiteral("public"),
        QStringLiteral("redim"),    QStringLiteral("rem"),      QStringLiteral("select"),
        QStringLiteral("set"),      QStringLiteral("sub"),      QStringLiteral("then"),
        QStringLiteral("to"),       QStringLiteral("true"),     QStringLiteral("until"),
        QStringLiteral("wend"),     QStringLiteral("while"),    QStringLiteral("with"),
        QStringLiteral("xor"),
    };
    return kWords;
}

class CParser
{
public:
    CParser(std::vector<SToken> tokens, SProgram* pProgram)
        : m_tokens(std::move(tokens)), m_pProgram(pProgram)
    {
    }

    void Run()
    {
        while (true)
        {
            SkipSeparators();
            if (Peek().kind == ETok::End)
            {
                return;
            }
            if (IsWord(QStringLiteral("option")))
            {
                Next();
                if (!IsWord(QStringLiteral("explicit")))
                {
                    Fail(1002, Peek());
                }
                Next();
                m_pProgram->bOptionExplicit = true;
                ExpectEndOfStatement();
                continue;
            }
            if (IsProcedureStart())
            {
                ParseProcedure();
                continue;
            }
            if (IsBlockEnd())
            {
                Fail(Peek().strLower == QLatin1String("loop") ? 1038 : 1024, Peek());
            }
            m_pProgram->body.push_back(ParseStatement(false));
            ExpectEndOfStatement();
        }
    }

private:
    // -- tokens

    const SToken& Peek(size_t nAhead = 0) const
    {
        const size_t i = std::min(m_i + nAhead, m_tokens.size() - 1);
        return m_tokens[i];
    }
    const SToken& Next()
    {
        const SToken& token = Peek();
        if (m_i < m_tokens.size() - 1)
        {
            ++m_i;
        }
        return token;
    }
    bool IsWord(const QString& strWord, size_t nAhead = 0) const
    {
        const SToken& token = Peek(nAhead);
        return token.kind == ETok::Ident && token.value.IsEmpty() && token.strLower == strWord;
    }
    bool IsOp(const char* pszOp) const
    {
        return Peek().kind == ETok::Op && Peek().strText == QLatin1String(pszOp);
    }
    bool AcceptWord(const QString& strWord)
    {
        if (IsWord(strWord))
        {
            Next();
            return true;
        }
        return false;
    }
    bool AcceptOp(const char* pszOp)
    {
        if (IsOp(pszOp))
        {
            Next();
            return true;
        }
        return false;
    }
    void ExpectWord(const QString& strWord, int nError)
    {
        if (!AcceptWord(strWord))
        {
            Fail(nError, Peek());
        }
    }
    void ExpectOp(const char* pszOp, int nError)
    {
        if (!AcceptOp(pszOp))
        {
            Fail(nError, Peek());
        }
    }
    bool AtEndOfStatement() const
    {
        const ETok kind = Peek().kind;
        return kind == ETok::Eol || kind == ETok::Colon || kind == ETok::End ||
               (m_nSingleLineIf > 0 && IsWord(QStringLiteral("else")));
    }
    void ExpectEndOfStatement()
    {
        if (!AtEndOfStatement())
        {
            Fail(1025, Peek());
        }
    }
    void SkipSeparators()
    {
        while (Peek().kind == ETok::Eol || Peek().kind == ETok::Colon)
        {
            Next();
        }
    }
    // A name: any identifier that isn't a reserved word (a bracketed one always is a name).
    const SToken& ExpectName()
    {
        const SToken& token = Peek();
        if (token.kind != ETok::Ident || (token.value.IsEmpty() && ReservedWords().contains(token.strLower)))
        {
            Fail(1010, token);
        }
        return Next();
    }

    struct SNestingGuard
    {
        explicit SNestingGuard(CParser& parser) : m_parser(parser)
        {
            if (++m_parser.m_nNesting > kMaxNesting)
            {
                const SToken& token = m_parser.Peek();
                Fail(28, QStringLiteral("Out of stack space"), token.iLine, token.iColumn);
            }
        }
        ~SNestingGuard() { --m_parser.m_nNesting; }
        CParser& m_parser;
    };

    // -- declarations

    std::vector<SScopeVar>& ScopeVars() { return m_pProc ? m_pProc->vars : m_pProgram->vars; }

    void Declare(const SToken& name, SScopeVar var, bool bRedimOk)
    {
        std::vector<SScopeVar>& vars = ScopeVars();
        for (const SScopeVar& existing : vars)
        {
            if (existing.strKey == var.strKey)
            {
                if (bRedimOk)
                {
                    return;
                }
                Fail(1041, name);
            }
        }
        if (m_pProc)
        {
            for (const SParam& param : m_pProc->params)
            {
                if (param.strKey == var.strKey)
                {
                    if (bRedimOk)
                    {
                        return;
                    }
                    Fail(1041, name);
                }
            }
        }
        vars.push_back(std::move(var));
    }

    bool IsProcedureStart() const
    {
        size_t n = 0;
        if (IsWord(QStringLiteral("public")) || IsWord(QStringLiteral("private")))
        {
            n = 1;
            if (IsWord(QStringLiteral("default"), 1))
            {
                n = 2;
            }
        }
        return IsWord(QStringLiteral("sub"), n) || IsWord(QStringLiteral("function"), n);
    }

    void ParseProcedure()
    {
        if (IsWord(QStringLiteral("public")) || IsWord(QStringLiteral("private")))
        {
            Next();
            AcceptWord(QStringLiteral("default"));
        }
        auto proc = std::make_unique<SProcedure>();
        proc->bFunction = IsWord(QStringLiteral("function"));
        Next();
        const SToken& name = ExpectName();
        proc->strName = name.strText;
        proc->strKey = name.strLower;
        proc->iLine = name.iLine;
        proc->iColumn = name.iColumn;
        for (const auto& other : m_pProgram->procedures)
        {
            if (other->strKey == proc->strKey)
            {
                Fail(1041, name);
            }
        }
        if (AcceptOp("("))
        {
            if (!AcceptOp(")"))
            {
                do
                {
                    SParam param;
                    if (AcceptWord(QStringLiteral("byval")))
                    {
                        param.bByRef = false;
                    }
                    else
                    {
                        AcceptWord(QStringLiteral("byref"));
                    }
                    const SToken& paramName = ExpectName();
                    param.strName = paramName.strText;
                    param.strKey = paramName.strLower;
                    for (const SParam& other : proc->params)
                    {
                        if (other.strKey == param.strKey)
                        {
                            Fail(1041, paramName);
                        }
                    }
                    if (AcceptOp("("))
                    {
                        ExpectOp(")", 1006);
                    }
                    proc->params.push_back(param);
                } while (AcceptOp(","));
                ExpectOp(")", 1006);
            }
        }
        ExpectEndOfStatement();
        m_pProc = proc.get();
        proc->body = ParseBlock();
        m_pProc = nullptr;
        if (!AcceptWord(QStringLiteral("end")))
        {
            Fail(IsBlockEnd() ? 1024 : 1014, Peek());
        }
        if (proc->bFunction)
        {
            ExpectWord(QStringLiteral("function"), 1015);
        }
        else
        {
            ExpectWord(QStringLiteral("sub"), 1016);
        }
        ExpectEndOfStatement();
        m_pProgram->procedures.push_back(std::move(proc));
    }

    // -- statements

    // The words that end a block; ParseBlock stops at any of them and the caller checks it has
    // the one it wants.
    bool IsBlockEnd() const
    {
        static const QSet<QString> kEnds = {
            QStringLiteral("end"),  QStringLiteral("else"), QStringLiteral("elseif"), QStringLiteral("next"),
            QStringLiteral("loop"), QStringLiteral("wend"), QStringLiteral("case")};
        return Peek().kind == ETok::Ident && Peek().value.IsEmpty() && kEnds.contains(Peek().strLower);
    }

    SBlock ParseBlock()
    {
        SNestingGuard guard(*this);
        SBlock block;
        while (true)
        {
            SkipSeparators();
            if (Peek().kind == ETok::End || IsBlockEnd())
            {
                return block;
            }
            if (IsProcedureStart() || IsWord(QStringLiteral("option")))
            {
                Fail(1024, Peek());
            }
            block.push_back(ParseStatement(false));
            ExpectEndOfStatement();
        }
    }

    PStmt NewStmt(EStmt kind, const SToken& token)
    {
        auto stmt = std::make_unique<SStmt>();
        stmt->kind = kind;
        stmt->iLine = token.iLine;
        stmt->iColumn = token.iColumn;
        return stmt;
    }

    PStmt ParseStatement(bool bInSingleLineIf)
    {
        (void)bInSingleLineIf;
        const SToken& start = Peek();
        if (start.kind != ETok::Ident)
        {
            Fail(1024, start);
        }
        const QString& strWord = start.value.IsEmpty() ? start.strLower : QString();
        if (strWord == QLatin1String("dim") || strWord == QLatin1String("public") ||
            strWord == QLatin1String("private"))
        {
            Next();
            return ParseDim(start);
        }
        if (strWord == QLatin1String("redim"))
        {
            Next();
            return ParseReDim(start);
        }
        if (strWord == QLatin1String("const"))
        {
            Next();
            return ParseConst(start);
        }
        if (strWord == QLatin1String("if"))
        {
            Next();
            return ParseIf(start);
        }
        if (strWord == QLatin1String("for"))
        {
            Next();
            return AcceptWord(QStringLiteral("each")) ? ParseForEach(start) : ParseFor(start);
        }
        if (strWord == QLatin1String("do"))
        {
            Next();
            return ParseDo(start);
        }
        if (strWord == QLatin1String("while"))
        {
            Next();
            return ParseWhile(start);
        }
        if (strWord == QLatin1String("select"))
        {
            Next();
            return ParseSelect(start);
        }
        if (strWord == QLatin1String("exit"))
        {
            Next();
            return ParseExit(start);
        }
        if (strWord == QLatin1String("on"))
        {
            Next();
            return ParseOnError(start);
        }
        if (strWord == QLatin1String("erase"))
        {
            Next();
            PStmt stmt = NewStmt(EStmt::Erase, start);
            do
            {
                const SToken& name = ExpectName();
                SDecl decl;
                decl.strName = name.strText;
                decl.strKey = name.strLower;
                stmt->decls.push_back(std::move(decl));
            } while (AcceptOp(","));
            return stmt;
        }
        if (strWord == QLatin1String("call"))
        {
            Next();
            PStmt stmt = NewStmt(EStmt::Call, start);
            stmt->bCallKeyword = true;
            PExpr target = ParseChain();
            if (target->kind != EExpr::Call)
            {
                PExpr call = NewExpr(EExpr::Call, *target);
                call->a = std::move(target);
                target = std::move(call);
            }
            stmt->a = std::move(target);
            return stmt;
        }
        if (strWord == QLatin1String("set"))
        {
            Next();
            PStmt stmt = NewStmt(EStmt::Assign, start);
            stmt->bSet = true;
            stmt->target = ParseChain();
            ExpectOp("=", 1011);
            stmt->a = ParseExpression();
            return stmt;
        }
        if (strWord == QLatin1String("let"))
        {
            Next();
            PStmt stmt = NewStmt(EStmt::Assign, start);
            stmt->target = ParseChain();
            ExpectOp("=", 1011);
            stmt->a = ParseExpression();
            return stmt;
        }
        if (strWord == QLatin1String("randomize"))
        {
            Next();
            PStmt stmt = NewStmt(EStmt::Randomize, start);
            if (!AtEndOfStatement())
            {
                stmt->a = ParseExpression();
            }
            return stmt;
        }
        if (strWord == QLatin1String("stop"))
        {
            Next();
            return NewStmt(EStmt::Nop, start);
        }
        if (strWord == QLatin1String("class") || strWord == QLatin1String("with") ||
            strWord == QLatin1String("property") || strWord == QLatin1String("goto"))
        {
            Fail(1024,
                 QStringLiteral("'%1' is not supported by this VBScript interpreter").arg(start.strText),
                 start.iLine, start.iColumn);
        }
        if (!strWord.isEmpty() && ReservedWords().contains(strWord))
        {
            Fail(1024, start);
        }
        return ParseAssignOrCall(start);
    }

    PStmt ParseAssignOrCall(const SToken& start)
    {
        size_t nLastParen = 0;
        PExpr target = ParseChain(&nLastParen);
        if (AcceptOp("="))
        {
            PStmt stmt = NewStmt(EStmt::Assign, start);
            stmt->target = std::move(target);
            stmt->a = ParseExpression();
            return stmt;
        }
        PStmt stmt = NewStmt(EStmt::Call, start);
        if (AtEndOfStatement())
        {
            if (target->kind == EExpr::Call)
            {
                if (target->args.size() > 1)
                {
                    Fail(1044, m_tokens[nLastParen]);
                }
                if (target->args.size() == 1 && target->args[0]->kind != EExpr::Paren)
                {
                    // f(x) passes (x): a value, not the variable.
                    PExpr paren = NewExpr(EExpr::Paren, *target->args[0]);
                    paren->a = std::move(target->args[0]);
                    target->args[0] = std::move(paren);
                }
                stmt->a = std::move(target);
                return stmt;
            }
            PExpr call = NewExpr(EExpr::Call, *target);
            call->a = std::move(target);
            stmt->a = std::move(call);
            return stmt;
        }
        // A call without parentheses: "f a, b" or "f (a) + 1, b"; a parenthesis right after the
        // name belongs to the first argument.
        if (target->kind == EExpr::Call)
        {
            m_i = nLastParen;
            target = std::move(target->a);
        }
        PExpr call = NewExpr(EExpr::Call, *target);
        call->a = std::move(target);
        do
        {
            call->args.push_back(ParseExpression());
        } while (AcceptOp(","));
        stmt->a = std::move(call);
        return stmt;
    }

    PStmt ParseDim(const SToken& start)
    {
        PStmt stmt = NewStmt(EStmt::Dim, start);
        do
        {
            const SToken& name = ExpectName();
            SScopeVar var;
            var.strKey = name.strLower;
            if (AcceptOp("("))
            {
                var.bFixed = false;
                if (!AcceptOp(")"))
                {
                    var.bFixed = true;
                    double dElements = 1;
                    do
                    {
                        const SToken& bound = Peek();
                        if (bound.kind != ETok::Number || bound.value.type == EVarType::Double ||
                            bound.value.n < 0)
                        {
                            Fail(1026, bound);
                        }
                        var.fixedBounds.push_back(static_cast<int32_t>(bound.value.n));
                        dElements *= static_cast<double>(bound.value.n + 1);
                        if (dElements > kMaxFixedElements)
                        {
                            Fail(1001, QStringLiteral("Out of memory"), bound.iLine, bound.iColumn);
                        }
                        Next();
                    } while (AcceptOp(","));
                    ExpectOp(")", 1006);
                }
                if (!var.bFixed)
                {
                    var.fixedBounds.clear();
                    var.bFixed = false;
                    var.fixedBounds.push_back(-1); // a dynamic array, no elements yet
                }
            }
            Declare(name, std::move(var), false);
        } while (AcceptOp(","));
        return stmt;
    }

    PStmt ParseReDim(const SToken& start)
    {
        PStmt stmt = NewStmt(EStmt::ReDim, start);
        stmt->bPreserve = AcceptWord(QStringLiteral("preserve"));
        do
        {
            const SToken& name = ExpectName();
            SDecl decl;
            decl.strName = name.strText;
            decl.strKey = name.strLower;
            decl.iLine = name.iLine;
            decl.iColumn = name.iColumn;
            ExpectOp("(", 1005);
            do
            {
                decl.bounds.push_back(ParseExpression());
            } while (AcceptOp(","));
            ExpectOp(")", 1006);
            if (!m_pProc)
            {
                // In a procedure ReDim resizes the script-level array of that name when there is
                // one, so it declares nothing there ahead of time.
                SScopeVar var;
                var.strKey = decl.strKey;
                Declare(name, std::move(var), true);
            }
            stmt->decls.push_back(std::move(decl));
        } while (AcceptOp(","));
        return stmt;
    }

    PStmt ParseConst(const SToken& start)
    {
        PStmt stmt = NewStmt(EStmt::Const, start);
        do
        {
            const SToken& name = ExpectName();
            SDecl decl;
            decl.strName = name.strText;
            decl.strKey = name.strLower;
            decl.iLine = name.iLine;
            decl.iColumn = name.iColumn;
            ExpectOp("=", 1011);
            const SToken& valueToken = Peek();
            PExpr value = ParseExpression();
            SScopeVar var;
            var.strKey = decl.strKey;
            var.bConst = true;
            // A constant is a literal, signed or not, known before any code runs.
            try
            {
                if (value->kind == EExpr::Literal)
                {
                    var.initial = value->value;
                }
                else if (value->kind == EExpr::Unary && value->unary == EUnaryOp::Negate &&
                         value->a->kind == EExpr::Literal && value->a->value.IsNumeric())
                {
                    var.initial = Negate(value->a->value);
                }
                else
                {
                    Fail(1045, valueToken);
                }
            }
            catch (const CVbsError&)
            {
                Fail(1045, valueToken);
            }
            decl.bounds.push_back(std::move(value));
            Declare(name, std::move(var), false);
            stmt->decls.push_back(std::move(decl));
        } while (AcceptOp(","));
        return stmt;
    }

    PStmt ParseIf(const SToken& start)
    {
        SNestingGuard guard(*this);
        PStmt stmt = NewStmt(EStmt::If, start);
        SBranch first;
        first.condition = ParseExpression();
        ExpectWord(QStringLiteral("then"), 1017);
        if (Peek().kind != ETok::Eol && Peek().kind != ETok::End)
        {
            // The one-line form: statements separated by ":" up to the end of the line, with an
            // optional Else part.
            ++m_nSingleLineIf;
            first.body = ParseLineStatements();
            stmt->branches.push_back(std::move(first));
            if (AcceptWord(QStringLiteral("else")))
            {
                stmt->bHasElse = true;
                stmt->elseBlock = ParseLineStatements();
            }
            --m_nSingleLineIf;
            return stmt;
        }
        const int nSaved = m_nSingleLineIf;
        m_nSingleLineIf = 0;
        first.body = ParseBlock();
        stmt->branches.push_back(std::move(first));
        while (true)
        {
            if (AcceptWord(QStringLiteral("elseif")))
            {
                SBranch branch;
                branch.condition = ParseExpression();
                ExpectWord(QStringLiteral("then"), 1017);
                branch.body = ParseBlock();
                stmt->branches.push_back(std::move(branch));
                continue;
            }
            if (AcceptWord(QStringLiteral("else")))
            {
                stmt->bHasElse = true;
                stmt->elseBlock = ParseBlock();
                if (IsWord(QStringLiteral("else")) || IsWord(QStringLiteral("elseif")))
                {
                    Fail(1012, Peek());
                }
            }
            break;
        }
        if (!AcceptWord(QStringLiteral("end")))
        {
            Fail(1014, Peek());
        }
        ExpectWord(QStringLiteral("if"), 1012);
        m_nSingleLineIf = nSaved;
        return stmt;
    }

    SBlock ParseLineStatements()
    {
        SBlock block;
        while (true)
        {
            while (Peek().kind == ETok::Colon)
            {
                Next();
            }
            if (Peek().kind == ETok::Eol || Peek().kind == ETok::End || IsWord(QStringLiteral("else")))
            {
                return block;
            }
            block.push_back(ParseStatement(true));
            ExpectEndOfStatement();
        }
    }

    PStmt ParseFor(const SToken& start)
    {
        SNestingGuard guard(*this);
        PStmt stmt = NewStmt(EStmt::For, start);
        const SToken& name = ExpectName();
        stmt->strName = name.strText;
        stmt->strKey = name.strLower;
        ExpectOp("=", 1011);
        stmt->a = ParseExpression();
        ExpectWord(QStringLiteral("to"), 1013);
        stmt->b = ParseExpression();
        if (AcceptWord(QStringLiteral("step")))
        {
            stmt->c = ParseExpression();
        }
        ExpectEndOfStatement();
        ++m_nFor;
        stmt->body = WithoutSingleLine([this] { return ParseBlock(); });
        --m_nFor;
        ExpectWord(QStringLiteral("next"), 1020);
        if (Peek().kind == ETok::Ident && !IsWord(QStringLiteral("else")))
        {
            ExpectName();
        }
        return stmt;
    }

    PStmt ParseForEach(const SToken& start)
    {
        SNestingGuard guard(*this);
        PStmt stmt = NewStmt(EStmt::ForEach, start);
        const SToken& name = ExpectName();
        stmt->strName = name.strText;
        stmt->strKey = name.strLower;
        ExpectWord(QStringLiteral("in"), 1046);
        stmt->a = ParseExpression();
        ExpectEndOfStatement();
        ++m_nFor;
        stmt->body = WithoutSingleLine([this] { return ParseBlock(); });
        --m_nFor;
        ExpectWord(QStringLiteral("next"), 1020);
        if (Peek().kind == ETok::Ident && !IsWord(QStringLiteral("else")))
        {
            ExpectName();
        }
        return stmt;
    }

    PStmt ParseDo(const SToken& start)
    {
        SNestingGuard guard(*this);
        PStmt stmt = NewStmt(EStmt::Do, start);
        if (IsWord(QStringLiteral("while")) || IsWord(QStringLiteral("until")))
        {
            stmt->bUntil = Next().strLower == QLatin1String("until");
            stmt->bTestFirst = true;
            stmt->a = ParseExpression();
        }
        if (!AtEndOfStatement())
        {
            Fail(1027, Peek());
        }
        ++m_nDo;
        stmt->body = WithoutSingleLine([this] { return ParseBlock(); });
        --m_nDo;
        ExpectWord(QStringLiteral("loop"), 1019);
        if (IsWord(QStringLiteral("while")) || IsWord(QStringLiteral("until")))
        {
            if (stmt->bTestFirst)
            {
                Fail(1025, Peek());
            }
            stmt->bUntil = Next().strLower == QLatin1String("until");
            stmt->a = ParseExpression();
        }
        return stmt;
    }

    PStmt ParseWhile(const SToken& start)
    {
        SNestingGuard guard(*this);
        PStmt stmt = NewStmt(EStmt::While, start);
        stmt->a = ParseExpression();
        ExpectEndOfStatement();
        stmt->body = WithoutSingleLine([this] { return ParseBlock(); });
        ExpectWord(QStringLiteral("wend"), 1018);
        return stmt;
    }

    PStmt ParseSelect(const SToken& start)
    {
        SNestingGuard guard(*this);
        PStmt stmt = NewStmt(EStmt::Select, start);
        ExpectWord(QStringLiteral("case"), 1021);
        stmt->a = ParseExpression();
        ExpectEndOfStatement();
        const int nSaved = m_nSingleLineIf;
        m_nSingleLineIf = 0;
        SkipSeparators();
        while (AcceptWord(QStringLiteral("case")))
        {
            if (AcceptWord(QStringLiteral("else")))
            {
                stmt->bHasElse = true;
                stmt->elseBlock = ParseBlock();
                break;
            }
            SCase caseBlock;
            do
            {
                SCaseItem item;
                if (AcceptWord(QStringLiteral("is")))
                {
                    item.kind = ECaseKind::Is;
                    item.op = ParseComparisonOperator();
                    item.a = ParseConcat();
                }
                else
                {
                    item.a = ParseExpression();
                    if (AcceptWord(QStringLiteral("to")))
                    {
                        item.kind = ECaseKind::Range;
                        item.b = ParseExpression();
                    }
                }
                caseBlock.items.push_back(std::move(item));
            } while (AcceptOp(","));
            caseBlock.body = ParseBlock();
            stmt->cases.push_back(std::move(caseBlock));
        }
        if (!AcceptWord(QStringLiteral("end")))
        {
            Fail(Peek().kind == ETok::End ? 1014 : 1021, Peek());
        }
        ExpectWord(QStringLiteral("select"), 1022);
        m_nSingleLineIf = nSaved;
        return stmt;
    }

    EBinaryOp ParseComparisonOperator()
    {
        static const std::pair<const char*, EBinaryOp> kOps[] = {
            {"=", EBinaryOp::Equal},   {"<>", EBinaryOp::NotEqual},  {"<", EBinaryOp::Less},
            {">", EBinaryOp::Greater}, {"<=", EBinaryOp::LessEqual}, {">=", EBinaryOp::GreaterEqual},
        };
        for (const auto& [pszOp, op] : kOps)
        {
            if (AcceptOp(pszOp))
            {
                return op;
            }
        }
        Fail(1023, Peek());
    }

    PStmt ParseExit(const SToken& start)
    {
        PStmt stmt = NewStmt(EStmt::Exit, start);
        const SToken& what = Peek();
        if (AcceptWord(QStringLiteral("sub")))
        {
            stmt->exitKind = EExit::Sub;
            if (!m_pProc || m_pProc->bFunction)
            {
                Fail(1039, start);
            }
        }
        else if (AcceptWord(QStringLiteral("function")))
        {
            stmt->exitKind = EExit::Function;
            if (!m_pProc || !m_pProc->bFunction)
            {
                Fail(1039, start);
            }
        }
        else if (AcceptWord(QStringLiteral("for")))
        {
            stmt->exitKind = EExit::For;
            if (m_nFor == 0)
            {
                Fail(1039, start);
            }
        }
        else if (AcceptWord(QStringLiteral("do")))
        {
            stmt->exitKind = EExit::Do;
            if (m_nDo == 0)
            {
                Fail(1039, start);
            }
        }
        else
        {
            Fail(1002, what);
        }
        return stmt;
    }

    PStmt ParseOnError(const SToken& start)
    {
        PStmt stmt = NewStmt(EStmt::OnError, start);
        if (!AcceptWord(QStringLiteral("error")))
        {
            Fail(1002, Peek());
        }
        if (AcceptWord(QStringLiteral("resume")))
        {
            if (!AcceptWord(QStringLiteral("next")))
            {
                Fail(1002, Peek());
            }
            stmt->bResumeNext = true;
            return stmt;
        }
        if (AcceptWord(QStringLiteral("goto")))
        {
            const SToken& zero = Peek();
            if (zero.kind != ETok::Number || zero.value.type == EVarType::Double || zero.value.n != 0)
            {
                Fail(1053, zero);
            }
            Next();
            stmt->bResumeNext = false;
            return stmt;
        }
        Fail(1002, Peek());
    }

    template <typename F> SBlock WithoutSingleLine(F parse)
    {
        const int nSaved = m_nSingleLineIf;
        m_nSingleLineIf = 0;
        SBlock block = parse();
        m_nSingleLineIf = nSaved;
        return block;
    }

    // -- expressions

    PExpr NewExpr(EExpr kind, const SToken& token)
    {
        auto expr = std::make_unique<SExpr>();
        expr->kind = kind;
        expr->iLine = token.iLine;
        expr->iColumn = token.iColumn;
        return expr;
    }
    PExpr NewExpr(EExpr kind, const SExpr& at)
    {
        auto expr = std::make_unique<SExpr>();
        expr->kind = kind;
        expr->iLine = at.iLine;
        expr->iColumn = at.iColumn;
        return expr;
    }
    PExpr Binary(EBinaryOp op, PExpr a, PExpr b)
    {
        PExpr expr = NewExpr(EExpr::Binary, *a);
        expr->binary = op;
        expr->a = std::move(a);
        expr->b = std::move(b);
        return Deepen(std::move(expr));
    }
    // Sets a node's depth from its children's, refusing trees too deep to walk safely.
    PExpr Deepen(PExpr expr)
    {
        int nDepth = 0;
        for (const SExpr* pChild : {expr->a.get(), expr->b.get()})
        {
            if (pChild)
            {
                nDepth = std::max(nDepth, pChild->nDepth);
            }
        }
        for (const PExpr& arg : expr->args)
        {
            nDepth = std::max(nDepth, arg->nDepth);
        }
        expr->nDepth = nDepth + 1;
        if (expr->nDepth > kMaxExpressionDepth)
        {
            Fail(28, QStringLiteral("Out of stack space"), expr->iLine, expr->iColumn);
        }
        return expr;
    }

    // A name with its members and argument lists: a, a.b, a(1), a.b(1, 2).c ...
    PExpr ParseChain(size_t* pnLastParen = nullptr)
    {
        const SToken& first = Peek();
        if (first.kind != ETok::Ident || (first.value.IsEmpty() && ReservedWords().contains(first.strLower)))
        {
            Fail(first.kind == ETok::Ident ? 1024 : 1010, first);
        }
        Next();
        PExpr expr = NewExpr(EExpr::Name, first);
        expr->strName = first.strText;
        expr->strKey = first.strLower;
        return ParsePostfix(std::move(expr), pnLastParen);
    }

    PExpr ParsePostfix(PExpr expr, size_t* pnLastParen)
    {
        while (true)
        {
            if (IsOp("."))
            {
                Next();
                const SToken& member = Peek();
                if (member.kind != ETok::Ident)
                {
                    Fail(1010, member);
                }
                Next();
                PExpr access = NewExpr(EExpr::Member, *expr);
                access->strName = member.strText;
                access->strKey = member.strLower;
                access->a = std::move(expr);
                expr = Deepen(std::move(access));
                continue;
            }
            if (IsOp("("))
            {
                if (pnLastParen)
                {
                    *pnLastParen = m_i;
                }
                Next();
                PExpr call = NewExpr(EExpr::Call, *expr);
                call->a = std::move(expr);
                if (!AcceptOp(")"))
                {
                    do
                    {
                        call->args.push_back(ParseExpression());
                    } while (AcceptOp(","));
                    ExpectOp(")", 1006);
                }
                expr = Deepen(std::move(call));
                continue;
            }
            return expr;
        }
    }

    PExpr ParseExpression()
    {
        SNestingGuard guard(*this);
        return ParseImp();
    }

    PExpr ParseImp()
    {
        PExpr a = ParseEqv();
        while (AcceptWord(QStringLiteral("imp")))
        {
            a = Binary(EBinaryOp::Imp, std::move(a), ParseEqv());
        }
        return a;
    }
    PExpr ParseEqv()
    {
        PExpr a = ParseXor();
        while (AcceptWord(QStringLiteral("eqv")))
        {
            a = Binary(EBinaryOp::Eqv, std::move(a), ParseXor());
        }
        return a;
    }
    PExpr ParseXor()
    {
        PExpr a = ParseOr();
        while (AcceptWord(QStringLiteral("xor")))
        {
            a = Binary(EBinaryOp::Xor, std::move(a), ParseOr());
        }
        return a;
    }
    PExpr ParseOr()
    {
        PExpr a = ParseAnd();
        while (AcceptWord(QStringLiteral("or")))
        {
            a = Binary(EBinaryOp::Or, std::move(a), ParseAnd());
        }
        return a;
    }
    PExpr ParseAnd()
    {
        PExpr a = ParseNot();
        while (AcceptWord(QStringLiteral("and")))
        {
            a = Binary(EBinaryOp::And, std::move(a), ParseNot());
        }
        return a;
    }
    PExpr ParseNot()
    {
        if (IsWord(QStringLiteral("not")))
        {
            SNestingGuard guard(*this);
            PExpr expr = NewExpr(EExpr::Unary, Next());
            expr->unary = EUnaryOp::Not;
            expr->a = ParseNot();
            return Deepen(std::move(expr));
        }
        return ParseComparison();
    }
    PExpr ParseComparison()
    {
        PExpr a = ParseConcat();
        while (true)
        {
            if (AcceptWord(QStringLiteral("is")))
            {
                a = Binary(EBinaryOp::Is, std::move(a), ParseConcat());
                continue;
            }
            static const std::pair<const char*, EBinaryOp> kOps[] = {
                {"=", EBinaryOp::Equal},   {"<>", EBinaryOp::NotEqual},  {"<", EBinaryOp::Less},
                {">", EBinaryOp::Greater}, {"<=", EBinaryOp::LessEqual}, {">=", EBinaryOp::GreaterEqual},
            };
            bool bFound = false;
            for (const auto& [pszOp, op] : kOps)
            {
                if (AcceptOp(pszOp))
                {
                    a = Binary(op, std::move(a), ParseConcat());
                    bFound = true;
                    break;
                }
            }
            if (!bFound)
            {
                return a;
            }
        }
    }
    PExpr ParseConcat()
    {
        PExpr a = ParseAdditive();
        while (AcceptOp("&"))
        {
            a = Binary(EBinaryOp::Concat, std::move(a), ParseAdditive());
        }
        return a;
    }
    PExpr ParseAdditive()
    {
        PExpr a = ParseMod();
        while (true)
        {
            if (AcceptOp("+"))
            {
                a = Binary(EBinaryOp::Add, std::move(a), ParseMod());
            }
            else if (AcceptOp("-"))
            {
                a = Binary(EBinaryOp::Subtract, std::move(a), ParseMod());
            }
            else
            {
                return a;
            }
        }
    }
    PExpr ParseMod()
    {
        PExpr a = ParseIntDivide();
        while (AcceptWord(QStringLiteral("mod")))
        {
            a = Binary(EBinaryOp::Mod, std::move(a), ParseIntDivide());
        }
        return a;
    }
    PExpr ParseIntDivide()
    {
        PExpr a = ParseMultiplicative();
        while (AcceptOp("\\"))
        {
            a = Binary(EBinaryOp::IntDivide, std::move(a), ParseMultiplicative());
        }
        return a;
    }
    PExpr ParseMultiplicative()
    {
        PExpr a = ParseUnary();
        while (true)
        {
            if (AcceptOp("*"))
            {
                a = Binary(EBinaryOp::Multiply, std::move(a), ParseUnary());
            }
            else if (AcceptOp("/"))
            {
                a = Binary(EBinaryOp::Divide, std::move(a), ParseUnary());
            }
            else
            {
                return a;
            }
        }
    }
    // Negation binds less tightly than ^: -2 ^ 2 is -4.
    PExpr ParseUnary()
    {
        if (IsOp("-") || IsOp("+"))
        {
            SNestingGuard guard(*this);
            const SToken& op = Next();
            PExpr operand = ParseUnary();
            if (op.strText == QLatin1String("+"))
            {
                return operand;
            }
            PExpr expr = NewExpr(EExpr::Unary, op);
            expr->unary = EUnaryOp::Negate;
            expr->a = std::move(operand);
            return Deepen(std::move(expr));
        }
        return ParsePower();
    }
    PExpr ParsePower()
    {
        PExpr a = ParsePrimary();
        while (AcceptOp("^"))
        {
            PExpr b;
            if (IsOp("-") || IsOp("+"))
            {
                // 2 ^ -1: a sign right after ^ belongs to the exponent.
                SNestingGuard guard(*this);
                const SToken& op = Next();
                b = ParsePrimary();
                if (op.strText == QLatin1String("-"))
                {
                    PExpr negate = NewExpr(EExpr::Unary, op);
                    negate->unary = EUnaryOp::Negate;
                    negate->a = std::move(b);
                    b = Deepen(std::move(negate));
                }
            }
            else
            {
                b = ParsePrimary();
            }
            a = Binary(EBinaryOp::Power, std::move(a), std::move(b));
        }
        return a;
    }
    PExpr ParsePrimary()
    {
        const SToken& token = Peek();
        switch (token.kind)
        {
        case ETok::Number:
        case ETok::String:
        {
            PExpr expr = NewExpr(EExpr::Literal, token);
            expr->value = token.value;
            Next();
            return expr;
        }
        case ETok::Op:
            if (token.strText == QLatin1String("("))
            {
                Next();
                PExpr expr = NewExpr(EExpr::Paren, token);
                expr->a = ParseExpression();
                ExpectOp(")", 1006);
                return Deepen(std::move(expr));
            }
            Fail(1023, token);
        case ETok::Ident:
        {
            if (token.value.IsEmpty())
            {
                const QString& strWord = token.strLower;
                if (strWord == QLatin1String("true") || strWord == QLatin1String("false"))
                {
                    PExpr expr = NewExpr(EExpr::Literal, Next());
                    expr->value = CVbsValue::Bool(strWord == QLatin1String("true"));
                    return expr;
                }
                if (strWord == QLatin1String("empty"))
                {
                    return NewExpr(EExpr::Literal, Next());
                }
                if (strWord == QLatin1String("null"))
                {
                    PExpr expr = NewExpr(EExpr::Literal, Next());
                    expr->value = CVbsValue::Null();
                    return expr;
                }
                if (strWord == QLatin1String("nothing"))
                {
                    return NewExpr(EExpr::Nothing, Next());
                }
                if (strWord == QLatin1String("new"))
                {
                    Fail(1023, QStringLiteral("'New' is not supported by this VBScript interpreter"),
                         token.iLine, token.iColumn);
                }
                if (ReservedWords().contains(strWord))
                {
                    Fail(1023, token);
                }
            }
            return ParseChain();
        }
        default:
            Fail(1023, token);
        }
    }

    std::vector<SToken> m_tokens;
    size_t m_i = 0;
    SProgram* m_pProgram;
    SProcedure* m_pProc = nullptr;
    int m_nNesting = 0;
    int m_nSingleLineIf = 0;
    int m_nFor = 0;
    int m_nDo = 0;
};

} // namespace

bool ParseProgram(const QString& strText, SProgram* pProgram, SSyntaxError* pError)
{
    try
    {
        CLexer lexer(strText);
        CParser parser(lexer.Run(), pProgram);
        parser.Run();
        return true;
    }
    catch (const SSyntaxError& error)
    {
        *pError = error;
        return false;
    }
}

} // namespace vbs

// Errors: syntax errors at load with VBScript's messages and their line and column; run-time
// errors with their numbers, messages and the position of the failing expression; On Error
// Resume Next and the Err object; runaway recursion and pathological texts.
#include "VbsTestSupport.h"

#include <gtest/gtest.h>

namespace
{

TEST(VbsSyntaxErrors, MissingBlockEndsAndBadTokensReportWhereTheyAre)
{
    const std::pair<const char*, const char*> kCases[] = {
        {"If x Then\n  y = 1\n", "ERROR 3:1 Expected 'End'"},
        {"If x Then\n  y = 1\nEnd Sub\n", "ERROR 3:5 Expected 'If'"},
        {"If x\n", "ERROR 1:5 Expected 'Then'"},
        {"For i = 1 To 3\n  x = i\n", "ERROR 3:1 Expected 'Next'"},
        {"For i = 1 3\nNext\n", "ERROR 1:11 Expected 'To'"},
        {"Do\nx = 1\n", "ERROR 3:1 Expected 'Loop'"},
        {"While x\n", "ERROR 2:1 Expected 'Wend'"},
        {"Select Case x\nCase 1\n", "ERROR 3:1 Expected 'End'"},
        {"Sub f()\nEnd Function\n", "ERROR 2:5 Expected 'Sub'"},
        {"x = (1 + 2\n", "ERROR 1:11 Expected ')'"},
        {"x = 1 +\n", "ERROR 1:8 Expected expression"},
        {"x = \"abc\n", "ERROR 1:5 Unterminated string constant"},
        {"x = 1 2\n", "ERROR 1:7 Expected end of statement"},
        {"x = 1 $\n", "ERROR 1:7 Invalid character"},
        {"\n\n   Exit For\n", "ERROR 3:4 Invalid 'exit' statement"},
        {"Dim a\nDim b, a\n", "ERROR 2:8 Name redefined"},
        {"Loop\n", "ERROR 1:1 'loop' without 'do'"},
        {"Sub f(a, b)\nEnd Sub\nf(1, 2)\n", "ERROR 3:2 Cannot use parentheses when calling a Sub"},
        {"Dim a(n)\n", "ERROR 1:7 Expected integer constant"},
        {"= 5\n", "ERROR 1:1 Expected statement"},
        {"Dim\n", "ERROR 1:4 Expected identifier"},
        {"On Error GoTo 10\n", "ERROR 1:15 Expected '0'"},
        {"Class Foo\nEnd Class\n", "ERROR 1:1 'Class' is not supported by this VBScript interpreter"},
    };
    for (const auto& [pszText, pszExpected] : kCases)
    {
        EXPECT_EQ(EchoOf(QString::fromUtf8(pszText)), pszExpected) << pszText;
    }
}

TEST(VbsSyntaxErrors, AFailedLoadRunsNothingAndKeepsNothing)
{
    std::unique_ptr<IScriptEngine> engine = CreateVBScriptEngine();
    QStringList echo;
    engine->onEcho = [&](const QString& str) { echo << str; };
    SScriptError error;
    EXPECT_FALSE(engine->Load(QStringLiteral("WScript.Echo \"ran\"\nSub Fine()\nEnd Sub\nx = \n"), &error));
    EXPECT_TRUE(echo.isEmpty());
    EXPECT_FALSE(engine->HasMethod(QStringLiteral("Fine")));

    // A run-time error in the top-level code also leaves nothing loaded.
    EXPECT_FALSE(engine->Load(QStringLiteral("Sub Fine()\nEnd Sub\nx = 1 / 0\n"), &error));
    EXPECT_FALSE(engine->HasMethod(QStringLiteral("Fine")));
    EXPECT_EQ(error.strMessage, "Division by zero");
    EXPECT_EQ(error.iLine, 3);
}

TEST(VbsSyntaxErrors, PathologicalNestingIsRefusedNotFatal)
{
    const QString strDeep = QStringLiteral("x = ") + QString(5000, QLatin1Char('(')) + QStringLiteral("1") +
                            QString(5000, QLatin1Char(')'));
    EXPECT_EQ(EchoOf(strDeep).left(8), "ERROR 1:");
    EXPECT_TRUE(EchoOf(strDeep).endsWith("Out of stack space"));

    QString strLong = QStringLiteral("x = 1");
    for (int i = 0; i < 20000; ++i)
    {
        strLong += QStringLiteral(" + 1");
    }
    EXPECT_TRUE(EchoOf(strLong).endsWith("Out of stack space"));

    QString strIfs;
    for (int i = 0; i < 1000; ++i)
    {
        strIfs += QStringLiteral("If 1 Then\n");
    }
    EXPECT_TRUE(EchoOf(strIfs).endsWith("Out of stack space"));

    // Sizes that would exhaust memory are refused with an error.
    EXPECT_EQ(EchoOf(QStringLiteral("Dim big(100000, 100000)\n")), "ERROR 1:17 Out of memory");
    EXPECT_EQ(EchoOf(QStringLiteral("n = 5000000\nReDim big(n)\n")), "ERROR 2:1 Out of memory");
    EXPECT_EQ(EchoOf(QStringLiteral("s = \"x\"\nDo\n  s = s & s\nLoop\n")), "ERROR 3:7 Out of string space");
    EXPECT_EQ(EchoOf(QStringLiteral("a = Array()\nFor i = 1 To 100000\n  a = Array(a)\nNext\n")),
              "ERROR 3:7 Out of stack space");

    // Long but shallow texts are fine.
    QString strWide = QStringLiteral("x = 0\n");
    for (int i = 0; i < 500; ++i)
    {
        strWide += QStringLiteral("x = x + 1 + 1 + 1 + 1\n");
    }
    EXPECT_EQ(EchoOf(strWide + QStringLiteral("WScript.Echo x")), "2000");
}

TEST(VbsRuntimeErrors, CarryVBScriptNumbersMessagesAndTheFailingExpressionsPosition)
{
    const std::pair<const char*, const char*> kCases[] = {
        {"Dim a(2)\nx = 1\ny = a(5)\n", "ERROR 3:5 Subscript out of range"},
        {"x = 1\n  y = x / 0\n", "ERROR 2:7 Division by zero"},
        {"Sub f()\n  z = \"a\" * 2\nEnd Sub\nf\n", "ERROR 2:7 Type mismatch"},
        {"o.Foo\n", "ERROR 1:1 Object required: 'o'"},
        {"Set x = 5\n", "ERROR 1:1 Object required"},
        {"Sub f(a)\nEnd Sub\nf 1, 2\n",
         "ERROR 3:1 Wrong number of arguments or invalid property assignment: 'f'"},
        {"x = Foo(1)\n", "ERROR 1:5 Type mismatch: 'Foo'"},
        {"x = Len()\n", "ERROR 1:5 Wrong number of arguments or invalid property assignment: 'Len'"},
        {"x = UBound(5)\n", "ERROR 1:5 Type mismatch"},
        {"x = Chr(300)\n", "ERROR 1:5 Invalid procedure call or argument"},
        {"Dim a(1)\nReDim a(3)\n", "ERROR 2:1 This array is fixed or temporarily locked"},
        {"Option Explicit\nWScript.Echo y\n", "ERROR 2:14 Variable is undefined: 'y'"},
        {"For Each v In 5\nNext\n", "ERROR 1:1 Object not a collection"},
        {"Err.Raise 9\n", "ERROR 1:1 Subscript out of range"},
        {"Err.Raise 1000\n", "ERROR 1:1 Unknown runtime error"},
        {"x = CreateObject(\"Other.Thing\")\n",
         "ERROR 1:5 ActiveX component can't create object: 'Other.Thing'"},
    };
    for (const auto& [pszText, pszExpected] : kCases)
    {
        EXPECT_EQ(EchoOf(QString::fromUtf8(pszText)), pszExpected) << pszText;
    }
}

TEST(VbsRuntimeErrors, OnErrorResumeNextRecordsTheErrorInErrAndGoesOn)
{
    const SVbsRun run = RunVbs(QString::fromUtf8(R"(
On Error Resume Next
x = 1 / 0
WScript.Echo Err.Number, Err.Description, Err.Source
Err.Clear
WScript.Echo Err.Number, "[" & Err.Description & "]"
Err.Raise 1234, "mine", "custom text"
WScript.Echo Err.Number, Err.Source, Err.Description
If Err Then WScript.Echo "Err is its number"
On Error GoTo 0
WScript.Echo Err.Number
y = 1 / 0
WScript.Echo "not reached"
)"));
    EXPECT_FALSE(run.bLoaded);
    EXPECT_EQ(run.echo.join('|'), "11 Division by zero VBScript runtime error|0 []|1234 mine custom text|"
                                  "Err is its number|0");
    EXPECT_EQ(run.error.iLine, 12);
    EXPECT_EQ(run.error.strMessage, "Division by zero");
}

TEST(VbsRuntimeErrors, AnErrorInACalledProcedureResumesAfterTheCallInTheHandlingCaller)
{
    EXPECT_EQ(EchoOf(QString::fromUtf8(R"(
Sub Failing()
    x = 1 / 0
    WScript.Echo "after in sub"
End Sub
Sub Handling()
    On Error Resume Next
    Failing
    WScript.Echo "after call", Err.Number
End Sub
Handling
For i = 1 To 2
    On Error Resume Next
    a = Array(1)(i)
    WScript.Echo "loop", i, Err.Number
    Err.Clear
Next
)")),
              "after call 11|loop 1 9|loop 2 9");
}

TEST(VbsRuntimeErrors, RunawayRecursionStopsWithOutOfStackSpace)
{
    const SVbsRun run = RunVbs(QStringLiteral("Function R(n)\n  R = R(n + 1) + 1\nEnd Function\nx = R(1)\n"));
    EXPECT_FALSE(run.bLoaded);
    EXPECT_EQ(run.error.strMessage, "Out of stack space");
    EXPECT_EQ(run.error.iLine, 2);

    const SVbsRun subs = RunVbs(QStringLiteral("Sub S\n  S\nEnd Sub\nS\n"));
    EXPECT_EQ(subs.error.strMessage, "Out of stack space");

    // Handled at every level, the recursion still ends.
    EXPECT_EQ(EchoOf(QStringLiteral(
                  "Sub S(d)\n  On Error Resume Next\n  S d + 1\nEnd Sub\nS 0\nWScript.Echo \"done\"\n")),
              "done");

    // Reasonable depth is not refused.
    EXPECT_EQ(
        EchoOf(QStringLiteral("Function D(n)\n If n = 0 Then D = 0 Else D = 1 + D(n - 1)\nEnd Function\n"
                              "WScript.Echo D(1000)\n")),
        "1000");
}

TEST(VbsRuntimeErrors, ARunPastItsTimeLimitIsStoppedWhereItWasEvenUnderResumeNext)
{
    std::unique_ptr<IScriptEngine> engine = CreateVBScriptEngine();
    engine->nTimeLimitMs = 100;
    SScriptError error;
    // An empty endless loop in the top-level code: the load fails and keeps nothing.
    EXPECT_FALSE(
        engine->Load(QStringLiteral("Sub Later()\nEnd Sub\nOn Error Resume Next\nDo\nLoop\n"), &error));
    EXPECT_EQ(error.strMessage, "The script was stopped: it ran longer than its time limit of 100 ms.");
    EXPECT_EQ(error.iLine, 4);
    EXPECT_FALSE(engine->HasMethod(QStringLiteral("Later")));

    // A called procedure that never ends fails its call; the script stays loaded, and the next
    // call runs on a fresh clock.
    ASSERT_TRUE(
        engine->Load(QStringLiteral("Dim n\nSub Spin()\n  Do While True\n    n = n + 1\n  Loop\nEnd Sub\n"
                                    "Function Quick()\n  Quick = 7\nEnd Function\n"),
                     &error));
    CAutoValue result;
    EXPECT_FALSE(engine->Call(QStringLiteral("Spin"), {}, &result, &error));
    EXPECT_EQ(error.strMessage, "The script was stopped: it ran longer than its time limit of 100 ms.");
    EXPECT_TRUE(error.iLine == 3 || error.iLine == 4) << error.iLine;
    ASSERT_TRUE(engine->Call(QStringLiteral("Quick"), {}, &result, &error)) << error.strMessage.toStdString();
    EXPECT_EQ(result.nValue, 7);
}

} // namespace

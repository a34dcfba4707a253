// The statements and procedures of VBScript, each family through a small program whose output
// shows what ran.
#include "VbsTestSupport.h"

#include <gtest/gtest.h>

namespace
{

QString Echo(const char* pszText)
{
    return EchoOf(QString::fromUtf8(pszText));
}

TEST(VbsProcedures, FunctionsReturnByNameAndSubsRunWithAndWithoutCall)
{
    EXPECT_EQ(Echo(R"(
Function Twice(x)
    Twice = x * 2
End Function
Sub Show(a, b)
    WScript.Echo a & "-" & b
End Sub
Show Twice(3), "x"
Call Show(Twice(Twice(1)), "y")
show "CASE", "insensitive"
)"),
              "6-x|4-y|CASE-insensitive");
}

TEST(VbsProcedures, ByRefChangesTheCallersVariableAndByValDoesNot)
{
    EXPECT_EQ(Echo(R"(
Sub Bump(ByRef a, ByVal b, c)
    a = a + 1 : b = b + 1 : c = c + 1
End Sub
x = 1 : y = 1 : z = 1
Bump x, y, z
WScript.Echo x, y, z
Bump (x), y, (z)
WScript.Echo x, y, z
Call Bump(x, y, z)
WScript.Echo x, y, z
)"),
              "2 1 2|2 1 2|3 1 3");
}

TEST(VbsProcedures, ParenthesesAroundASingleArgumentPassItByValue)
{
    // "Inc(n)" without Call passes (n), a value.
    EXPECT_EQ(Echo(R"(
Sub Inc(v)
    v = v + 10
End Sub
n = 1
Inc(n)
WScript.Echo n
Inc n
WScript.Echo n
)"),
              "1|11");
}

TEST(VbsProcedures, ExitSubAndExitFunctionLeaveEarlyAndRecursionWorks)
{
    EXPECT_EQ(Echo(R"(
Function Fact(n)
    If n <= 1 Then
        Fact = 1
        Exit Function
    End If
    Fact = n * Fact(n - 1)
End Function
Sub Early()
    WScript.Echo "in"
    Exit Sub
    WScript.Echo "never"
End Sub
Early
WScript.Echo Fact(10)
)"),
              "in|3628800");
}

TEST(VbsProcedures, LocalsHideGlobalsAndProceduresCanBeCalledBeforeTheirDefinition)
{
    EXPECT_EQ(Echo(R"(
Dim g
g = "global"
Report
Sub Report()
    Dim g
    g = "local"
    WScript.Echo g
    WScript.Echo Outer()
End Sub
Function Outer()
    Outer = g
End Function
WScript.Echo g
)"),
              "local|global|global");
}

TEST(VbsStatements, IfElseIfElseInBlockAndSingleLineForm)
{
    EXPECT_EQ(Echo(R"(
For Each v In Array(1, 5, 10)
    If v < 3 Then
        WScript.Echo "small"
    ElseIf v < 7 Then
        WScript.Echo "medium"
    Else
        WScript.Echo "large"
    End If
Next
x = 4
If x = 4 Then WScript.Echo "four" : WScript.Echo "still four" Else WScript.Echo "not four"
If x = 5 Then WScript.Echo "five" Else WScript.Echo "else" : WScript.Echo "else too"
If x > 1 Then If x > 10 Then WScript.Echo "big" Else WScript.Echo "inner else"
)"),
              "small|medium|large|four|still four|else|else too|inner else");
}

TEST(VbsStatements, ForNextCountsWithStepsAndTheCounterEndsPastTheLimit)
{
    EXPECT_EQ(Echo(R"(
s = ""
For i = 1 To 10 Step 3 : s = s & i & "," : Next
WScript.Echo s, i
s = ""
For i = 5 To 1 Step -2
    s = s & i
Next
WScript.Echo s
For i = 1 To 0
    WScript.Echo "never"
Next
For i = 0 To 1 Step 0.5 : s = s & ";" & i : Next
WScript.Echo s
For i = 1 To 100
    If i = 3 Then Exit For
Next
WScript.Echo i
)"),
              "1,4,7,10, 13|531|531;0;0.5;1|3");
}

TEST(VbsStatements, DoLoopsInAllFourFormsAndWhileWend)
{
    EXPECT_EQ(Echo(R"(
n = 0
Do While n < 3 : n = n + 1 : Loop
WScript.Echo n
Do Until n = 0 : n = n - 1 : Loop
WScript.Echo n
Do : n = n + 1 : Loop While n < 0
WScript.Echo n
Do
    n = n + 1
Loop Until n >= 5
WScript.Echo n
Do
    n = n + 1
    If n = 8 Then Exit Do
Loop
WScript.Echo n
While n > 2
    n = n - 2
Wend
WScript.Echo n
)"),
              "3|0|1|5|8|2");
}

TEST(VbsStatements, ExitForLeavesOnlyTheInnerLoopAndExitDoPassesThroughAFor)
{
    EXPECT_EQ(Echo(R"(
s = ""
For i = 1 To 3
    For j = 1 To 3
        If j = 2 Then Exit For
        s = s & i & j & " "
    Next
Next
WScript.Echo s
k = 0
Do
    For i = 1 To 10
        k = k + 1
        If k = 4 Then Exit Do
    Next
Loop
WScript.Echo k
)"),
              "11 21 31 |4");
}

TEST(VbsStatements, SelectCaseWithListsRangesIsAndElse)
{
    EXPECT_EQ(Echo(R"(
Function Kind(v)
    Select Case v
        Case 1, 2, 3
            Kind = "few"
        Case 4 To 9
            Kind = "some"
        Case "a", "b"
            Kind = "letter"
        Case Is >= 100
            Kind = "huge"
        Case Else
            Kind = "other"
    End Select
End Function
WScript.Echo Kind(2), Kind(9), Kind(4.5), Kind(250), Kind("b"), Kind(50), Kind(Null)
)"),
              "few some some huge letter other other");
}

TEST(VbsArrays, FixedDynamicAndTwoDimensionalArrays)
{
    EXPECT_EQ(Echo(R"(
Dim a(3), m(2, 1), d()
For i = 0 To 3 : a(i) = i * i : Next
WScript.Echo Join(a, ","), UBound(a), LBound(a)
m(2, 1) = "corner" : m(0, 0) = "origin"
WScript.Echo m(2, 1), m(0, 0), UBound(m, 1), UBound(m, 2)
ReDim d(2)
d(0) = "x" : d(2) = "z"
ReDim Preserve d(4)
WScript.Echo UBound(d), d(0), d(2), IsEmpty(d(4))
ReDim d(1)
WScript.Echo IsEmpty(d(0))
)"),
              "0,1,4,9 3 0|corner origin 2 1|4 x z True|True");
}

TEST(VbsArrays, AssignmentCopiesAnArrayAndForEachVisitsEveryElement)
{
    EXPECT_EQ(Echo(R"(
a = Array(1, 2, 3)
b = a
b(0) = 100
WScript.Echo a(0), b(0)
total = 0
For Each v In b : total = total + v : Next
WScript.Echo total
Sub Change(arr)
    arr(1) = "changed"
End Sub
Change a
WScript.Echo a(1)
)"),
              "1 100|105|changed");
}

TEST(VbsArrays, ReDimPreserveOfTwoDimensionsKeepsElementsWhenOnlyTheLastGrows)
{
    EXPECT_EQ(Echo(R"(
ReDim g(1, 1)
g(0, 0) = "a" : g(1, 0) = "b" : g(0, 1) = "c" : g(1, 1) = "d"
ReDim Preserve g(1, 2)
g(1, 2) = "f"
WScript.Echo g(0, 0) & g(1, 0) & g(0, 1) & g(1, 1) & g(1, 2)
)"),
              "abcdf");
    EXPECT_EQ(Echo("ReDim g(1, 1)\nReDim Preserve g(2, 1)\n"), "ERROR 2:1 Subscript out of range");
}

TEST(VbsStatements, ConstOptionExplicitAndLineContinuation)
{
    EXPECT_EQ(Echo(R"(
Option Explicit
Const BASE = &H100, NAME = "reg"
Dim total
total = BASE + _
        1
WScript.Echo NAME & _
    " " & Hex(total)
)"),
              "reg 101");
    EXPECT_EQ(Echo("Option Explicit\nDim a\na = 1\nb = 2\n"), "ERROR 4:1 Variable is undefined: 'b'");
    EXPECT_EQ(Echo("Const K = 1\nK = 2\n"), "ERROR 2:1 Illegal assignment: 'K'");
}

TEST(VbsStatements, CommentsRemAndColonSeparators)
{
    EXPECT_EQ(Echo(R"(
' a comment line
Rem another one
x = 1 ' trailing comment
y = 2 : Rem after a colon
WScript.Echo x + y : WScript.Echo "rem"
)"),
              "3|rem");
}

TEST(VbsStatements, MsgBoxGoesToTheHostWithButtonsAndTitleAndGivesTheAnswer)
{
    std::unique_ptr<IScriptEngine> engine = CreateVBScriptEngine();
    QString strSeen;
    engine->onMessageBox = [&](const QString& strText, int iButtons, const QString& strTitle)
    {
        strSeen += QStringLiteral("%1/%2/%3;").arg(strText).arg(iButtons).arg(strTitle);
        return 7;
    };
    QStringList echo;
    engine->onEcho = [&](const QString& str) { echo << str; };
    SScriptError error;
    ASSERT_TRUE(engine->Load(QStringLiteral("r = MsgBox(\"Go on?\", vbYesNo + vbQuestion, \"Macro\")\n"
                                            "WScript.Echo r = vbNo\n"
                                            "MsgBox \"plain\"\n"),
                             &error))
        << error.strMessage.toStdString();
    EXPECT_EQ(strSeen, "Go on?/36/Macro;plain/0/VBScript;");
    EXPECT_EQ(echo.join('|'), "True");

    // Without a message box handler the text goes to the echo and the answer is OK.
    EXPECT_EQ(Echo("WScript.Echo MsgBox(\"hello\")"), "hello|1");
}

} // namespace

namespace
{

TEST(VbsStatements, SmallFormsKeywordsInAnyCaseQuotesAndDeclarations)
{
    EXPECT_EQ(Echo(R"(
Private p : Public q
p = "say ""hi""" : q = .5 + 1.
IF p <> "" THEN WSCRIPT.ECHO p, q
dim arr(1) : arr(0) = 1 : Erase arr
WScript.Echo IsEmpty(arr(0)), UBound(arr)
Set o = Nothing
WScript.Echo o Is Nothing, TypeName(o)
Sub SetLater(v)
    v = "set by callee"
End Sub
SetLater fresh
WScript.Echo fresh
)"),
              "say \"hi\" 1.5|True 1|True Nothing|set by callee");
}

TEST(VbsStatements, ExitFunctionFromInsideLoopsAndWScriptQuitEndsTheScriptQuietly)
{
    EXPECT_EQ(Echo(R"(
Function FirstOver(limit)
    FirstOver = -1
    For Each v In Array(3, 8, 12, 20)
        Do
            If v > limit Then
                FirstOver = v
                Exit Function
            End If
            Exit Do
        Loop
    Next
End Function
WScript.Echo FirstOver(10), FirstOver(100)
WScript.Quit
WScript.Echo "not reached"
)"),
              "12 -1");
}

TEST(VbsStrings, DatesFromTextAndTheClock)
{
    EXPECT_EQ(Echo(R"(
WScript.Echo Year("2024-03-05 14:07:09"), Month("2024-03-05"), Day("3/5/2024"), Hour("14:07:09"), Minute("14:07:09"), Second("2:07:09 PM"), Weekday("2024-03-05")
WScript.Echo TypeName(Now), TypeName(Date), TypeName(Time), TypeName(Timer), Year(Now) >= 2024, Timer >= 0 And Timer < 86400
)"),
              "2024 3 5 14 7 9 3|Date Date Date Double True True");
}

TEST(VbsStatements, ConstantsAreKnownBeforeTheirLineAndReDimInAProcedureResizesTheScriptArray)
{
    EXPECT_EQ(Echo(R"(
Dim table()
ShowLimit
Const LIMIT = -3, NAME = "cfg"
Sub ShowLimit()
    WScript.Echo LIMIT, NAME
End Sub
Sub Grow(n)
    ReDim Preserve table(n)
    table(n) = n
End Sub
Grow 1
Grow 2
WScript.Echo UBound(table), table(1), table(2)
)"),
              "-3 cfg|2 1 2");
    EXPECT_EQ(Echo("Const A = 1 + 2\n"), "ERROR 1:11 Expected literal constant");
    EXPECT_EQ(Echo("Const A = -\"x\"\n"), "ERROR 1:11 Expected literal constant");
}

} // namespace

// VBScript's coercion rules and the built-in functions, on the corners macros meet: strings in
// arithmetic, Null through operators, integer division and Mod signs, banker's rounding, the
// types results take, hex literals and their sign.
#include "VbsTestSupport.h"

#include <gtest/gtest.h>

namespace
{

// Echoes each expression on its own line: "expr => TypeName: value".
QString Eval(const QStringList& expressions)
{
    QString strText;
    for (const QString& strExpr : expressions)
    {
        strText += QStringLiteral("v = %1\nIf IsNull(v) Then WScript.Echo \"Null\" Else WScript.Echo "
                                  "TypeName(v) & \": \" & v\n")
                       .arg(strExpr);
    }
    return EchoOf(strText);
}

TEST(VbsCoercion, PlusAddsNumbersConcatenatesStringsAndConvertsNumericText)
{
    EXPECT_EQ(Eval({"\"1\" + 2", "\"1\" + \"2\"", "1 & 2", "Empty + 1", "Empty + \"s\"", "True + True",
                    "\"a\" & Null", "Null + 1", "Null & Null"}),
              "Double: 3|String: 12|String: 12|Integer: 1|String: s|Integer: -2|String: a|Null|Null");
    EXPECT_EQ(EchoOf("x = \"abc\" + 1"), "ERROR 1:5 Type mismatch");
}

TEST(VbsCoercion, IntegerResultsWidenOnOverflowInsteadOfFailing)
{
    EXPECT_EQ(Eval({"32767 + 1", "2147483647 + 1", "-32768 - 1", "200 * 200", "CByte(200) + CByte(100)",
                    "CByte(2) * CByte(3)"}),
              "Long: 32768|Double: 2147483648|Long: -32769|Long: 40000|Integer: 300|Byte: 6");
}

TEST(VbsCoercion, IntegerDivisionAndModTruncateTowardZeroAfterRoundingTheOperands)
{
    EXPECT_EQ(Eval({"7 \\ 2", "-7 \\ 2", "7 Mod 3", "-7 Mod 3", "7 Mod -3", "7.5 \\ 2", "6.5 Mod 4",
                    "100000 \\ 3"}),
              "Integer: 3|Integer: -3|Integer: 1|Integer: -1|Integer: 1|Long: 4|Long: 2|Long: 33333");
    EXPECT_EQ(EchoOf("a = 1\nb = a Mod 0\n"), "ERROR 2:5 Division by zero");
    EXPECT_EQ(EchoOf("b = 5 / 0"), "ERROR 1:5 Division by zero");
}

TEST(VbsCoercion, DivisionAndPowerGiveDoublesPrintedAsVBScriptPrintsThem)
{
    EXPECT_EQ(
        Eval({"5 / 2", "4 / 2", "1 / 3", "0.1 + 0.2", "2 ^ 10", "-2 ^ 2", "2 ^ -1", "1E+20", "1.5E-7",
              "123456789012345"}),
        "Double: 2.5|Double: 2|Double: 0.333333333333333|Double: 0.3|Double: 1024|Double: -4|Double: 0.5|"
        "Double: 1E+20|Double: 1.5E-07|Double: 123456789012345");
}

TEST(VbsCoercion, ConversionFunctionsRoundHalfToEvenAndCheckTheirRange)
{
    EXPECT_EQ(
        Eval({"CInt(2.5)", "CInt(3.5)", "CInt(-2.5)", "CLng(1.5)", "CLng(\"  42 \")", "CByte(\"255\")",
              "CDbl(\"1.25\")", "CBool(\"false\")", "CBool(2)", "CStr(True)", "Int(-2.5)", "Fix(-2.5)",
              "Round(2.5)", "Round(3.14159, 2)", "Abs(-32768)", "Sgn(-0.1)"}),
        "Integer: 2|Integer: 4|Integer: -2|Long: 2|Long: 42|Byte: 255|Double: 1.25|Boolean: False|"
        "Boolean: True|String: True|Double: -3|Double: -2|Double: 2|Double: 3.14|Long: 32768|Integer: -1");
    EXPECT_EQ(EchoOf("x = CInt(32767.5)"), "ERROR 1:5 Overflow");
    EXPECT_EQ(EchoOf("x = CByte(-1)"), "ERROR 1:5 Overflow");
    EXPECT_EQ(EchoOf("x = CLng(\"12abc\")"), "ERROR 1:5 Type mismatch");
    EXPECT_EQ(EchoOf("x = CInt(Null)"), "ERROR 1:5 Invalid use of Null");
}

TEST(VbsCoercion, HexAndOctalLiteralsTakeTheSignOfTheirWidth)
{
    EXPECT_EQ(Eval({"&HFF", "&HFFFF", "&H8000", "&HFFFF&", "&H10000", "&HFFFFFFFF", "&H7FFFFFFF", "&O17",
                    "&17", "Hex(-1)", "Hex(CLng(-1))", "Hex(255)", "Hex(&H80000000)", "Oct(8)"}),
              "Integer: 255|Integer: -1|Integer: -32768|Long: 65535|Long: 65536|Long: -1|Long: 2147483647|"
              "Integer: 15|Integer: 15|String: FFFF|String: FFFFFFFF|String: FF|String: 80000000|String: 10");
}

TEST(VbsCoercion, ComparisonsFollowVariantRules)
{
    // A number and a string compare as numbers when the string is written as a literal; two
    // variables of those kinds put the number first.
    EXPECT_EQ(EchoOf("x = 10 : s = \"10\" : t = \"9\"\n"
                     "WScript.Echo x = \"10\", s = 10, x < s, s < t, 1 < 2, \"abc\" = \"ABC\", Empty = 0, "
                     "Empty = \"\", IsNull(Null = Null)\n"),
              "True True True True True False True True True");
}

TEST(VbsCoercion, LogicalOperatorsAreBitwiseOnNumbersAndThreeValuedWithNull)
{
    EXPECT_EQ(Eval({"12 And 10", "12 Or 3", "5 Xor 3", "Not 0", "Not True", "True And False", "True Or Null",
                    "False And Null", "True And Null", "True Imp False", "False Imp Null", "True Eqv True",
                    "1 < 2 And 3 < 4"}),
              "Integer: 8|Integer: 15|Integer: 6|Integer: -1|Boolean: False|Boolean: False|Boolean: True|"
              "Boolean: False|Null|Boolean: False|Boolean: True|Boolean: True|Boolean: True");
}

TEST(VbsCoercion, TypeNameVarTypeAndTheIsFunctions)
{
    EXPECT_EQ(
        EchoOf("Dim o\nSet o = Nothing\n"
               "WScript.Echo TypeName(1), TypeName(70000), TypeName(1.5), TypeName(\"x\"), TypeName(Empty), "
               "TypeName(Null), TypeName(Array()), TypeName(o), VarType(Array(1)), VarType(\"s\"), "
               "VarType(True)\n"
               "WScript.Echo IsNumeric(\"12.5\"), IsNumeric(\"abc\"), IsNumeric(\"&H10\"), IsNumeric(\"\"), "
               "IsNumeric(Empty), IsArray(Array()), IsEmpty(x), IsObject(o), IsNull(Null)\n"),
        "Integer Long Double String Empty Null Variant() Nothing 8204 8 11|"
        "True False True False True True True True True");
}

TEST(VbsStrings, SubstringsSearchAndReplace)
{
    EXPECT_EQ(EchoOf(QString::fromUtf8(R"(
WScript.Echo Left("hello", 2), Right("hello", 2), Mid("hello", 2, 3), Mid("hello", 3), Len(123), Len("")
WScript.Echo InStr("hello", "l"), InStr(4, "hello", "l"), InStr(1, "HELLO", "l", 1), InStr("abc", "z"), InStrRev("hello", "l"), InStrRev("hello", "l", 3)
WScript.Echo Replace("a-b-c", "-", "+"), Replace("a-b-c", "-", "+", 3), Replace("a-b-c", "-", "+", 1, 1), Replace("aXbx", "x", "_", 1, -1, vbTextCompare)
)")),
              "he lo ell llo 3 0|3 4 3 0 4 3|a+b+c b+c a+b-c a_b_");
    EXPECT_EQ(EchoOf("x = Mid(\"abc\", 0)"), "ERROR 1:5 Invalid procedure call or argument");
}

TEST(VbsStrings, SplitJoinCaseTrimAndFriends)
{
    EXPECT_EQ(EchoOf(QString::fromUtf8(R"(
p = Split("a,b,,c", ",")
WScript.Echo UBound(p), p(3), UBound(Split("")), UBound(Split("a b c", " ", 2)), Join(Array(1, 2, 3), ""), Join(Array("x", "y"))
WScript.Echo UCase("MiXed"), LCase("MiXed"), "[" & Trim("  x  ") & "]", "[" & LTrim("  x ") & "]", "[" & RTrim(" x  ") & "]", "[" & Space(3) & "]"
WScript.Echo String(3, "ab"), String(2, 65), StrComp("a", "B"), StrComp("a", "B", 1), StrComp("x", "x"), StrReverse("abc"), Asc("A"), Chr(66), ChrW(&H263A) = ChrW(9786)
WScript.Echo Len(vbCrLf), Asc(vbTab), vbNullString = "", FormatNumber(1234567.891), FormatNumber(-1234.56, 1), FormatNumber(0.26, 1, 0)
)")),
              "3 c -1 1 123 x y|MIXED mixed [x] [x ] [ x] [   ]|aaa AA 1 -1 0 cba 65 B True|2 9 True "
              "1,234,567.89 -1,234.6 .3");
}

} // namespace

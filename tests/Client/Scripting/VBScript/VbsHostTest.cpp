// The bridge to the host: named objects and CreateObject, calls with arguments typed as VBScript
// types them, arrays both ways with their element types, host failures as run-time errors, and
// the host calling script functions by name.
#include "VbsTestSupport.h"

#include <gtest/gtest.h>

namespace
{

class VbsHost : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_engine = CreateVBScriptEngine();
        m_engine->AddNamedObject(QStringLiteral("Norvanta"), QStringLiteral("Norvanta.Automation"), &m_host);
        m_engine->onEcho = [this](const QString& str) { m_echo << str; };
    }

    bool Load(const QString& strText)
    {
        m_echo.clear();
        return m_engine->Load(strText, &m_error);
    }

    CRecordingHost m_host;
    std::unique_ptr<IScriptEngine> m_engine;
    QStringList m_echo;
    SScriptError m_error;
};

TEST_F(VbsHost, ArgumentsGoTypedAndArraysInVariablesGoByReference)
{
    ASSERT_TRUE(Load(QString::fromUtf8(R"(
Set a = CreateObject("norvanta.AUTOMATION")
data = Array(1, &H10, 70000, CByte(5), True, "s", 1.5)
r = a.maintwrite(1, 2, data)
Norvanta.MaintWrite 3, Array(9)
Norvanta.WriteToLog "hello"
)"))) << m_error.strMessage.toStdString();
    ASSERT_EQ(m_host.calls.size(), 3u);

    const CRecordingHost::SCall& first = m_host.calls[0];
    EXPECT_EQ(first.strMethod, "MaintWrite"); // the host's spelling, whatever the script wrote
    ASSERT_EQ(first.args.size(), 3u);
    EXPECT_EQ(first.args[0].vt, eVtI2);
    EXPECT_EQ(first.args[0].nValue, 1);
    const CAutoValue& data = first.args[2];
    EXPECT_EQ(data.vt, eVtArray | eVtVariant | eVtByRef);
    ASSERT_EQ(data.elements.size(), 7u);
    const uint16_t kTypes[] = {eVtI2, eVtI2, eVtI4, eVtUI1, eVtBool, eVtBstr, eVtR8};
    const int64_t kValues[] = {1, 16, 70000, 5, 1, 0, 2};
    for (size_t i = 0; i < 7; ++i)
    {
        EXPECT_EQ(data.elements[i].vt, kTypes[i]) << i;
        EXPECT_EQ(data.elements[i].nValue, kValues[i]) << i;
    }
    EXPECT_EQ(data.elements[5].strValue, "s");
    EXPECT_DOUBLE_EQ(data.elements[6].dValue, 1.5);

    // An array made in the argument list is no variable: by value.
    EXPECT_EQ(m_host.calls[1].args[1].vt, eVtArray | eVtVariant);
    EXPECT_EQ(m_host.calls[2].args[0].vt, eVtBstr);
    EXPECT_EQ(m_host.calls[2].args[0].strValue, "hello");
}

TEST_F(VbsHost, ResultsComeBackAsVBScriptValuesWithTheirArrayTypes)
{
    m_host.SetResult(QStringLiteral("MaintRead"), CAutoValue::NumberArray(eVtI4, {0x12345678, -1}, false));
    m_host.SetResult(QStringLiteral("IsConnected"), CAutoValue::Number(eVtBool, 1));
    CAutoValue event;
    event.vt = eVtArray | eVtVariant;
    event.elements = {CAutoValue::Number(eVtUI4, 0xFFFFFFFF), CAutoValue::Number(eVtInt, -5),
                      CAutoValue::Number(eVtUI1, 200), CAutoValue::Text(QStringLiteral("name"))};
    m_host.SetResult(QStringLiteral("GetNodeList"), event);
    ASSERT_TRUE(Load(QString::fromUtf8(R"(
v = Norvanta.MaintRead(0, 0, 2, 1)
WScript.Echo TypeName(v), VarType(v), UBound(v), Hex(v(0)), v(1)
If Norvanta.IsConnected Then WScript.Echo TypeName(Norvanta.IsConnected())
e = Norvanta.GetNodeList
WScript.Echo TypeName(e), TypeName(e(0)), e(0), TypeName(e(1)), e(1), TypeName(e(2)), TypeName(e(3)), e(3)
v(1) = 7
Norvanta.MaintWrite 0, 0, v
)"))) << m_error.strMessage.toStdString();
    EXPECT_EQ(m_echo.join('|'),
              "Long() 8195 1 12345678 -1|Boolean|Variant() Double 4294967295 Long -5 Byte String name");

    // A host's typed array goes back with its element type.
    const CAutoValue& back = m_host.calls.back().args[2];
    EXPECT_EQ(back.vt, eVtI4 | eVtArray | eVtByRef);
    ASSERT_EQ(back.elements.size(), 2u);
    EXPECT_EQ(back.elements[0].nValue, 0x12345678);
    EXPECT_EQ(back.elements[1].vt, eVtI4);
    EXPECT_EQ(back.elements[1].nValue, 7);
}

TEST_F(VbsHost, AHostFailureIsARunTimeErrorThatResumeNextLetsTheScriptRead)
{
    m_host.SetFailure(QStringLiteral("MaintRead"), -26, QStringLiteral("Unable to allocate memory."));
    ASSERT_TRUE(Load(QString::fromUtf8(R"(
On Error Resume Next
v = Norvanta.MaintRead(1, 2, 3, 4)
WScript.Echo Err.Number, Err.Description, Err.Source, IsEmpty(v)
Err.Clear
Norvanta.WriteToLog "still running"
)"))) << m_error.strMessage.toStdString();
    EXPECT_EQ(m_echo.join('|'), "26 Unable to allocate memory. Norvanta.Automation True");
    EXPECT_EQ(m_host.calls.back().strMethod, "WriteToLog");

    // Unhandled, it stops the script at the call.
    EXPECT_FALSE(Load(QStringLiteral("x = 1\ny = 2 + Norvanta.MaintRead(1, 2, 3, 4)\n")));
    EXPECT_EQ(m_error.strMessage, "Unable to allocate memory.");
    EXPECT_EQ(m_error.iLine, 2);
    EXPECT_EQ(m_error.iColumn, 9);
}

TEST_F(VbsHost, MisuseOfTheObjectGivesVBScriptErrors)
{
    EXPECT_FALSE(Load(QStringLiteral("Norvanta.Frobnicate 1\n")));
    EXPECT_EQ(m_error.strMessage, "Object doesn't support this property or method: 'Frobnicate'");
    EXPECT_FALSE(Load(QStringLiteral("x = Norvanta\n")));
    EXPECT_EQ(m_error.strMessage, "Object doesn't support this property or method");
    EXPECT_FALSE(Load(QStringLiteral("Norvanta.WriteToLog Norvanta\n")));
    EXPECT_EQ(m_error.strMessage, "Type mismatch");
    EXPECT_FALSE(Load(QStringLiteral("Dim m(1, 1)\nNorvanta.MaintWrite 0, 0, m\n")));
    EXPECT_EQ(m_error.strMessage, "Type mismatch");
    EXPECT_TRUE(m_host.calls.empty());
    EXPECT_TRUE(
        Load(QStringLiteral("Set o = Norvanta\nWScript.Echo IsObject(o), o Is Norvanta, o Is Nothing\n")));
    EXPECT_EQ(m_echo.join('|'), "True True False");
}

TEST_F(VbsHost, TheHostCallsFunctionsByNameWithConvertedArguments)
{
    ASSERT_TRUE(Load(QString::fromUtf8(R"(
Dim calls
calls = 0
Function Add(a, b)
    calls = calls + 1
    Add = a + b
End Function
Function Sum(arr)
    For Each v In arr : Sum = Sum + v : Next
End Function
Function Pair()
    Pair = Array(1, "x", True, 2.5)
End Function
Sub OnEvent(args)
    WScript.Echo "event", UBound(args), args(0)
End Sub
Function Fails(n)
    Fails = 10 / n
End Function
)"))) << m_error.strMessage.toStdString();
    EXPECT_TRUE(m_engine->HasMethod(QStringLiteral("ADD")));
    EXPECT_FALSE(m_engine->HasMethod(QStringLiteral("calls")));

    CAutoValue result;
    SScriptError error;
    ASSERT_TRUE(m_engine->Call(QStringLiteral("add"),
                               {CAutoValue::Number(eVtI4, 2), CAutoValue::Number(eVtI4, 3)}, &result,
                               &error));
    EXPECT_EQ(result.vt, eVtI4);
    EXPECT_EQ(result.nValue, 5);

    ASSERT_TRUE(
        m_engine->Call(QStringLiteral("Sum"), {CAutoValue::NumberArray(eVtI2, {1, 2, 3})}, &result, &error));
    EXPECT_EQ(result.vt, eVtI2);
    EXPECT_EQ(result.nValue, 6);

    ASSERT_TRUE(m_engine->Call(QStringLiteral("Pair"), {}, &result, &error));
    EXPECT_EQ(result.vt, eVtArray | eVtVariant);
    ASSERT_EQ(result.elements.size(), 4u);
    EXPECT_EQ(result.elements[0].vt, eVtI2);
    EXPECT_EQ(result.elements[1].strValue, "x");
    EXPECT_EQ(result.elements[2].vt, eVtBool);
    EXPECT_EQ(result.elements[2].nValue, 1);
    EXPECT_EQ(result.elements[3].vt, eVtR8);
    EXPECT_DOUBLE_EQ(result.elements[3].dValue, 2.5);

    CAutoValue event;
    event.vt = eVtArray | eVtVariant;
    event.elements = {CAutoValue::Number(eVtUI4, 7), CAutoValue::Text(QStringLiteral("t"))};
    ASSERT_TRUE(m_engine->Call(QStringLiteral("OnEvent"), {event}, &result, &error));
    EXPECT_EQ(result.vt, eVtEmpty);
    EXPECT_EQ(m_echo.join('|'), "event 1 7");

    // Globals live on between calls.
    ASSERT_TRUE(m_engine->Call(QStringLiteral("Add"), {CAutoValue::Text("a"), CAutoValue::Text("b")}, &result,
                               &error));
    EXPECT_EQ(result.strValue, "ab");
    m_echo.clear();
    ASSERT_TRUE(Load(QStringLiteral("x = 1")));
    EXPECT_FALSE(m_engine->HasMethod(QStringLiteral("Add"))); // a new load replaces the old text

    ASSERT_TRUE(
        Load(QStringLiteral("Function Fails(n)\n    Fails = 10 / n\nEnd Function\nSub NoArgs()\nEnd Sub\n")));
    EXPECT_FALSE(m_engine->Call(QStringLiteral("Fails"), {CAutoValue::Number(eVtI2, 0)}, &result, &error));
    EXPECT_EQ(error.strMessage, "Division by zero");
    EXPECT_EQ(error.iLine, 2);
    EXPECT_EQ(error.iColumn, 13);
    EXPECT_FALSE(m_engine->Call(QStringLiteral("NoArgs"), {CAutoValue::Number(eVtI2, 0)}, &result, &error));
    EXPECT_EQ(error.strMessage, "Wrong number of arguments or invalid property assignment: 'NoArgs'");
    EXPECT_FALSE(m_engine->Call(QStringLiteral("Missing"), {}, &result, &error));
    EXPECT_EQ(error.strMessage, "Object doesn't support this property or method: 'Missing'");
    EXPECT_EQ(error.iLine, 0);
}

TEST_F(VbsHost, AHostMayCallBackIntoTheScriptWhileAScriptCallRuns)
{
    ASSERT_TRUE(
        Load(QStringLiteral("Function Inner(n)\n  Inner = n * 2\nEnd Function\n"
                            "Function Outer()\n  Norvanta.WriteToLog \"x\"\n  Outer = 1\nEnd Function\n")));
    CAutoValue inner;
    SScriptError loadError;
    m_host.onCall = [&]
    {
        SScriptError error;
        m_engine->Call(QStringLiteral("Inner"), {CAutoValue::Number(eVtI4, 21)}, &inner, &error);
        // A new text can't replace the one that is running.
        EXPECT_FALSE(m_engine->Load(QStringLiteral("x = 1"), &loadError));
    };
    CAutoValue result;
    SScriptError error;
    ASSERT_TRUE(m_engine->Call(QStringLiteral("Outer"), {}, &result, &error));
    EXPECT_EQ(result.nValue, 1);
    EXPECT_EQ(inner.nValue, 42);
    EXPECT_EQ(loadError.strMessage, "The script engine is busy running a script");
    EXPECT_TRUE(m_engine->HasMethod(QStringLiteral("Outer")));
}

} // namespace

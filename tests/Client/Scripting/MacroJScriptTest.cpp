// The JavaScript engine of the macros: loading and calling, the values that go to and come back from
// host objects with their types, host failures as exceptions, errors with their positions, the
// output functions, ActiveXObject, and the time limit that stops an endless loop.
#include "JScriptEngine.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <map>

namespace nvtest
{
namespace
{
// QJSEngine wants an application object.
void EnsureApplication()
{
    if (!QCoreApplication::instance())
    {
        static int s_argc = 1;
        static char s_szName[] = "nv_test_client_macros";
        static char* s_argv[] = {s_szName, nullptr};
        static QCoreApplication s_application(s_argc, s_argv);
    }
}

// A host object that records each call and answers from what the test set up.
class CFakeHost final : public IScriptHostObject
{
public:
    QStringList MethodNames() const override
    {
        return {"MaintRead", "MaintWrite", "GetLastError", "IsConnected"};
    }
    bool Call(const QString& strMethod, const std::vector<CAutoValue>& args, CAutoValue* pResult,
              SAutoError* pError) override
    {
        calls.push_back({strMethod, args});
        const auto failure = failures.find(strMethod);
        if (failure != failures.end())
        {
            *pError = failure->second;
            return false;
        }
        *pResult = results[strMethod];
        return true;
    }

    struct SCall
    {
        QString strMethod;
        std::vector<CAutoValue> args;
    };
    std::vector<SCall> calls;
    std::map<QString, CAutoValue> results;
    std::map<QString, SAutoError> failures;
};

class CJScriptTest : public ::testing::Test
{
protected:
    CJScriptTest() : m_pEngine((EnsureApplication(), CreateJScriptEngine()))
    {
        m_pEngine->onEcho = [this](const QString& strText) { echoed << strText; };
        m_pEngine->AddNamedObject(QStringLiteral("Norvanta"), QStringLiteral("Norvanta.Automation"), &host);
    }

    // Loads a text that must load.
    void LoadOk(const QString& strText)
    {
        SScriptError error;
        ASSERT_TRUE(m_pEngine->Load(strText, &error)) << error.strMessage.toStdString();
    }

    // Calls a function that must succeed and gives its value.
    CAutoValue CallOk(const QString& strMethod, const std::vector<CAutoValue>& args = {})
    {
        CAutoValue result;
        SScriptError error;
        EXPECT_TRUE(m_pEngine->Call(strMethod, args, &result, &error)) << error.strMessage.toStdString();
        return result;
    }

    SScriptError CallFails(const QString& strMethod)
    {
        CAutoValue result;
        SScriptError error;
        EXPECT_FALSE(m_pEngine->Call(strMethod, {}, &result, &error));
        return error;
    }

    CFakeHost host;
    QStringList echoed;
    std::unique_ptr<IScriptEngine> m_pEngine;
};

TEST_F(CJScriptTest, LoadRunsTopLevelCodeAndDefinesFunctions)
{
    EXPECT_EQ(m_pEngine->Language(), QStringLiteral("JScript"));
    LoadOk(QStringLiteral("var base = 40;\nprint('loaded');\nfunction Answer(n) { return base + n; }\n"));
    EXPECT_EQ(echoed, QStringList{QStringLiteral("loaded")});
    EXPECT_TRUE(m_pEngine->HasMethod(QStringLiteral("Answer")));
    EXPECT_FALSE(m_pEngine->HasMethod(QStringLiteral("answer")));
    EXPECT_FALSE(m_pEngine->HasMethod(QStringLiteral("base")));
    const CAutoValue result = CallOk(QStringLiteral("Answer"), {CAutoValue::Number(eVtI4, 2)});
    EXPECT_EQ(result.vt, eVtI4);
    EXPECT_EQ(result.nValue, 42);

    CAutoValue unused;
    SScriptError error;
    EXPECT_FALSE(m_pEngine->Call(QStringLiteral("Missing"), {}, &unused, &error));
    EXPECT_TRUE(error.strMessage.contains(QStringLiteral("Missing"))) << error.strMessage.toStdString();

    // A second load replaces the first text whole.
    LoadOk(QStringLiteral("function Other() {}\n"));
    EXPECT_FALSE(m_pEngine->HasMethod(QStringLiteral("Answer")));
    EXPECT_TRUE(m_pEngine->HasMethod(QStringLiteral("Other")));
}

TEST_F(CJScriptTest, ArgumentsOfACallArriveWithTheirTypes)
{
    LoadOk(QStringLiteral("function Describe() {\n"
                          "  var out = [];\n"
                          "  for (var i = 0; i < arguments.length; ++i) {\n"
                          "    var a = arguments[i];\n"
                          "    out.push(Array.isArray(a) ? 'array:' + a.map(function (e) { return typeof e + "
                          "'=' + e; }).join(',')\n"
                          "                              : typeof a + '=' + a);\n"
                          "  }\n"
                          "  return out.join(';');\n"
                          "}\n"));
    CAutoValue variants;
    variants.vt = eVtArray | eVtVariant;
    variants.elements = {CAutoValue::Number(eVtUI4, 0xFFFFFFFF), CAutoValue::Number(eVtInt, -5),
                         CAutoValue::Number(eVtUI1, 200), CAutoValue::Text(QStringLiteral("port 3"))};
    const CAutoValue result =
        CallOk(QStringLiteral("Describe"),
               {CAutoValue::Number(eVtI4, -7), CAutoValue::Number(eVtBool, 1),
                CAutoValue::Text(QStringLiteral("abc")), CAutoValue(), variants, CAutoValue::Real(2.5)});
    EXPECT_EQ(result.vt, eVtBstr);
    EXPECT_EQ(result.strValue, QStringLiteral("number=-7;boolean=true;string=abc;undefined=undefined;"
                                              "array:number=4294967295,number=-5,number=200,string=port 3;"
                                              "number=2.5"));
}

TEST_F(CJScriptTest, ValuesAMacroReturnsKeepTheirTypes)
{
    LoadOk(QStringLiteral("function Big() { return 4294967295; }\n"
                          "function Half() { return 0.5; }\n"
                          "function Flag() { return false; }\n"
                          "function Nothing() { }\n"
                          "function List() { return [1, 'two', true]; }\n"
                          "function Bytes() { return new Uint8Array([1, 255]); }\n"));
    CAutoValue value = CallOk(QStringLiteral("Big"));
    EXPECT_EQ(value.vt, eVtR8);
    EXPECT_EQ(value.nValue, 4294967295LL);
    value = CallOk(QStringLiteral("Half"));
    EXPECT_EQ(value.vt, eVtR8);
    EXPECT_DOUBLE_EQ(value.dValue, 0.5);
    value = CallOk(QStringLiteral("Flag"));
    EXPECT_EQ(value.vt, eVtBool);
    EXPECT_EQ(value.nValue, 0);
    EXPECT_EQ(CallOk(QStringLiteral("Nothing")).vt, eVtEmpty);

    value = CallOk(QStringLiteral("List"));
    EXPECT_EQ(value.vt, eVtArray | eVtVariant);
    ASSERT_EQ(value.elements.size(), 3u);
    EXPECT_EQ(value.elements[0].vt, eVtI4);
    EXPECT_EQ(value.elements[1].strValue, QStringLiteral("two"));
    EXPECT_EQ(value.elements[2].vt, eVtBool);

    value = CallOk(QStringLiteral("Bytes"));
    EXPECT_EQ(value.vt, eVtArray | eVtUI1);
    ASSERT_EQ(value.elements.size(), 2u);
    EXPECT_EQ(value.elements[1].nValue, 255);
}

TEST_F(CJScriptTest, ArgumentsToTheHostAreTyped)
{
    LoadOk(QStringLiteral(
        "function Go() {\n"
        "  Norvanta.MaintWrite(0, 4294967295, 255, -1, 1.5, true, 'x', null);\n"
        "  Norvanta.MaintWrite([1, 'a', false], new Int32Array([-2, 7]), new Int16Array([-3]),\n"
        "                      new Uint8Array([255, 0]), new Int8Array([-128]));\n"
        "}\n"));
    CallOk(QStringLiteral("Go"));
    ASSERT_EQ(host.calls.size(), 2u);
    const std::vector<CAutoValue>& scalars = host.calls[0].args;
    ASSERT_EQ(scalars.size(), 8u);
    EXPECT_EQ(scalars[0].vt, eVtI4);
    EXPECT_EQ(scalars[1].vt, eVtR8);
    EXPECT_EQ(scalars[1].nValue, 0xFFFFFFFFLL);
    EXPECT_EQ(scalars[2].vt, eVtI4);
    EXPECT_EQ(scalars[2].nValue, 255);
    EXPECT_EQ(scalars[3].nValue, -1);
    EXPECT_EQ(scalars[4].vt, eVtR8);
    EXPECT_DOUBLE_EQ(scalars[4].dValue, 1.5);
    EXPECT_EQ(scalars[4].nValue, 2) << "an integer parameter takes it rounded half to even";
    EXPECT_EQ(scalars[5].vt, eVtBool);
    EXPECT_EQ(scalars[5].nValue, 1);
    EXPECT_EQ(scalars[6].vt, eVtBstr);
    EXPECT_EQ(scalars[6].strValue, QStringLiteral("x"));
    EXPECT_EQ(scalars[7].vt, eVtEmpty);

    const std::vector<CAutoValue>& arrays = host.calls[1].args;
    ASSERT_EQ(arrays.size(), 5u);
    EXPECT_EQ(arrays[0].vt, eVtArray | eVtVariant | eVtByRef);
    ASSERT_EQ(arrays[0].elements.size(), 3u);
    EXPECT_EQ(arrays[0].elements[0].vt, eVtI4);
    EXPECT_EQ(arrays[0].elements[1].vt, eVtBstr);
    EXPECT_EQ(arrays[0].elements[2].vt, eVtBool);
    const struct
    {
        uint16_t vt;
        std::vector<int64_t> values;
    } kTyped[] = {{eVtI4, {-2, 7}}, {eVtI2, {-3}}, {eVtUI1, {255, 0}}, {eVtI1, {-128}}};
    for (size_t i = 0; i < std::size(kTyped); ++i)
    {
        const CAutoValue& array = arrays[i + 1];
        EXPECT_EQ(array.vt, kTyped[i].vt | eVtArray | eVtByRef) << i;
        std::vector<int64_t> values;
        for (const CAutoValue& element : array.elements)
        {
            EXPECT_EQ(element.vt, kTyped[i].vt);
            values.push_back(element.nValue);
        }
        EXPECT_EQ(values, kTyped[i].values) << i;
    }
}

TEST_F(CJScriptTest, HostResultsBecomeScriptValues)
{
    host.results[QStringLiteral("MaintRead")] = CAutoValue::NumberArray(eVtI4, {0x03740038, -1}, false);
    CAutoValue trained;
    trained.vt = eVtArray | eVtBool;
    trained.elements = {CAutoValue::Number(eVtBool, 1), CAutoValue::Number(eVtBool, 0)};
    host.results[QStringLiteral("IsConnected")] = trained;
    host.results[QStringLiteral("GetLastError")] = CAutoValue::Number(eVtUI4, 0xFFFFFFFF);
    LoadOk(QStringLiteral("function Go() {\n"
                          "  var words = Norvanta.MaintRead(0, 0, 0, 0, 2, 4);\n"
                          "  var flags = Norvanta.IsConnected();\n"
                          "  return [Array.isArray(words), words.length, words[0], words[1],\n"
                          "          typeof flags[0], flags[0], flags[1], Norvanta.GetLastError(),\n"
                          "          typeof Norvanta.MaintWrite()].join(' ');\n"
                          "}\n"));
    EXPECT_EQ(CallOk(QStringLiteral("Go")).strValue,
              QStringLiteral("true 2 57933880 -1 boolean true false 4294967295 undefined"));
}

TEST_F(CJScriptTest, HostFailureIsAnExceptionWithTextAndNumber)
{
    host.failures[QStringLiteral("MaintRead")] = {-38, QStringLiteral("Not connected to target.")};
    LoadOk(QStringLiteral(
        "function Caught() {\n"
        "  try {\n"
        "    Norvanta.MaintRead(0, 0, 0, 0, 1, 4);\n"
        "  } catch (e) {\n"
        "    return e.number + '|' + e.message + '|' + (e instanceof Error) + '|' + e.lineNumber;\n"
        "  }\n"
        "  return 'no exception';\n"
        "}\n"
        "function Uncaught() {\n"
        "  var x = 1;\n"
        "  Norvanta.maintread(0, 0, 0, 0, 1, 4);\n"
        "}\n"
        "function Mismatch() {\n"
        "  try { Norvanta.MaintWrite({}); } catch (e) { return e.number + '|' + e.message; }\n"
        "}\n"));
    EXPECT_EQ(CallOk(QStringLiteral("Caught")).strValue,
              QStringLiteral("38|Not connected to target.|true|3"));

    const SScriptError error = CallFails(QStringLiteral("Uncaught"));
    EXPECT_EQ(error.strMessage, QStringLiteral("Not connected to target."));
    EXPECT_EQ(error.iLine, 11);
    // A method name in another case reaches the host under its own spelling.
    EXPECT_EQ(host.calls.back().strMethod, QStringLiteral("MaintRead"));

    const size_t nCalls = host.calls.size();
    const QString strMismatch = CallOk(QStringLiteral("Mismatch")).strValue;
    EXPECT_TRUE(strMismatch.startsWith(QStringLiteral("13|Type mismatch: argument 1 of MaintWrite")))
        << strMismatch.toStdString();
    EXPECT_EQ(host.calls.size(), nCalls) << "a value the host can't take must not reach it";
}

TEST_F(CJScriptTest, ActiveXObjectGivesTheHostObjectByProgID)
{
    host.results[QStringLiteral("GetLastError")] = CAutoValue::Number(eVtI4, 45);
    LoadOk(QStringLiteral(
        "function Create() {\n"
        "  var a = new ActiveXObject('norvanta.automation');\n"
        "  var b = WScript.CreateObject('Norvanta.Automation');\n"
        "  return a.GetLastError() + b.getlasterror();\n"
        "}\n"
        "function Unknown() {\n"
        "  try { new ActiveXObject('Other.Thing'); } catch (e) { return e.number + '|' + e.message; }\n"
        "}\n"
        "function UnknownUncaught() {\n"
        "  var o = new ActiveXObject('Other.Thing');\n"
        "}\n"));
    EXPECT_EQ(CallOk(QStringLiteral("Create")).nValue, 90);
    EXPECT_EQ(CallOk(QStringLiteral("Unknown")).strValue,
              QStringLiteral("-2146827859|Automation server can't create object"));
    const SScriptError error = CallFails(QStringLiteral("UnknownUncaught"));
    EXPECT_EQ(error.strMessage, QStringLiteral("Automation server can't create object"));
    EXPECT_EQ(error.iLine, 10);
}

TEST_F(CJScriptTest, ErrorsCarryTheirPositions)
{
    SScriptError error;
    // A syntax error: line and column of the offending token; nothing of the text is kept.
    EXPECT_FALSE(
        m_pEngine->Load(QStringLiteral("function Fine() {}\nvar a = 1;\n    var b = ) ;\n"), &error));
    EXPECT_EQ(error.iLine, 3);
    EXPECT_EQ(error.iColumn, 13);
    EXPECT_TRUE(error.strMessage.startsWith(QStringLiteral("SyntaxError: ")))
        << error.strMessage.toStdString();
    EXPECT_FALSE(m_pEngine->HasMethod(QStringLiteral("Fine")));

    // A run-time error in the top-level code: the load fails with the line.
    EXPECT_FALSE(m_pEngine->Load(QStringLiteral("function Fine() {}\n\nundefinedThing.call();\n"), &error));
    EXPECT_EQ(error.iLine, 3);
    EXPECT_EQ(error.iColumn, 0);
    EXPECT_TRUE(error.strMessage.startsWith(QStringLiteral("ReferenceError: ")))
        << error.strMessage.toStdString();
    EXPECT_FALSE(m_pEngine->HasMethod(QStringLiteral("Fine")));

    // Run-time errors of a call: the script's own throw, a thrown non-error, a type error.
    LoadOk(QStringLiteral("function Thrown() {\n  throw new Error('Port 4 is down');\n}\n"
                          "function Plain() { throw 'bare text'; }\n"
                          "function Typed() {\n  var o = null;\n\n  return o.field;\n}\n"));
    error = CallFails(QStringLiteral("Thrown"));
    EXPECT_EQ(error.strMessage, QStringLiteral("Port 4 is down"));
    EXPECT_EQ(error.iLine, 2);
    error = CallFails(QStringLiteral("Plain"));
    EXPECT_EQ(error.strMessage, QStringLiteral("bare text"));
    error = CallFails(QStringLiteral("Typed"));
    EXPECT_EQ(error.iLine, 8);
    EXPECT_TRUE(error.strMessage.startsWith(QStringLiteral("TypeError: "))) << error.strMessage.toStdString();
    // The engine goes on after a failed call.
    EXPECT_TRUE(m_pEngine->HasMethod(QStringLiteral("Thrown")));
}

TEST_F(CJScriptTest, OutputGoesToEchoAndMessageBox)
{
    LoadOk(QStringLiteral("function Go() {\n"
                          "  print('a', 1);\n  console.log('b', true);\n  WScript.Echo('c', [1, 2]);\n"
                          "  alert('Done.');\n}\n"));
    CallOk(QStringLiteral("Go"));
    // With no message box the text goes to the echo.
    EXPECT_EQ(echoed, (QStringList{QStringLiteral("a 1"), QStringLiteral("b true"), QStringLiteral("c 1,2"),
                                   QStringLiteral("Done.")}));
    QStringList boxes;
    m_pEngine->onMessageBox = [&boxes](const QString& strText, int, const QString&)
    {
        boxes << strText;
        return 1;
    };
    echoed.clear();
    CallOk(QStringLiteral("Go"));
    EXPECT_EQ(boxes, QStringList{QStringLiteral("Done.")});
    EXPECT_EQ(echoed.size(), 3);
}

TEST_F(CJScriptTest, TimeLimitStopsAnEndlessLoop)
{
    m_pEngine->nTimeLimitMs = 200;
    LoadOk(QStringLiteral("function Spin() {\n  for (;;) { try { while (true) {} } catch (e) {} }\n}\n"
                          "function After() { return 'still here'; }\n"));
    const SScriptError error = CallFails(QStringLiteral("Spin"));
    EXPECT_TRUE(error.strMessage.contains(QStringLiteral("time limit"))) << error.strMessage.toStdString();
    EXPECT_EQ(CallOk(QStringLiteral("After")).strValue, QStringLiteral("still here"));

    SScriptError loadError;
    EXPECT_FALSE(m_pEngine->Load(QStringLiteral("while (true) {}\n"), &loadError));
    EXPECT_TRUE(loadError.strMessage.contains(QStringLiteral("time limit")))
        << loadError.strMessage.toStdString();
}

TEST(ScriptHost, LanguageOfAFileAndTheEngineForIt)
{
    EnsureApplication();
    EXPECT_EQ(ScriptLanguageOf(QStringLiteral("/x/walk.VBS")), QStringLiteral("VBScript"));
    EXPECT_EQ(ScriptLanguageOf(QStringLiteral("walk.Js")), QStringLiteral("JScript"));
    EXPECT_EQ(ScriptLanguageOf(QStringLiteral("walk.json")), QString());
    EXPECT_EQ(ScriptLanguageOf(QStringLiteral("js")), QString());
    EXPECT_EQ(CreateScriptEngine(QStringLiteral("JScript"))->Language(), QStringLiteral("JScript"));
    EXPECT_EQ(CreateScriptEngine(QStringLiteral("VBScript"))->Language(), QStringLiteral("VBScript"));
    EXPECT_EQ(CreateScriptEngine(ScriptLanguageOf(QStringLiteral("a.vbs")))->Language(),
              QStringLiteral("VBScript"));
    EXPECT_EQ(CreateScriptEngine(QStringLiteral("Perl")), nullptr);
    EXPECT_EQ(ScriptErrorText({QStringLiteral("Type mismatch"), 12, 7}),
              QStringLiteral("Error:\tType mismatch\nCol:\t7\nLine:\t12"));
}
} // namespace
} // namespace nvtest

// The automation object inside the JavaScript engine: its methods as the script sees them, its
// failures as exceptions with the automation's codes and texts, and the watch trigger sample
// handling the arguments a real trigger hands it.
#include "AutomationScriptObject.h"

#include "Automation.h"
#include "JScriptEngine.h"
#include "StatusText.h"
#include "WatchMonitor.h"

#include "TestSupport.h"

#include <QCoreApplication>
#include <QFile>

#include <gtest/gtest.h>

namespace nvtest
{
namespace
{
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

// The watch event's values as the event raiser hands them on: each QVariant as its variant type.
CAutoValue EventArgumentArray(const QVariantList& values)
{
    CAutoValue array;
    array.vt = eVtArray | eVtVariant;
    for (const QVariant& value : values)
    {
        switch (value.typeId())
        {
        case QMetaType::UInt:
            array.elements.push_back(CAutoValue::Number(eVtUI4, value.toUInt()));
            break;
        case QMetaType::Int:
            array.elements.push_back(CAutoValue::Number(eVtInt, value.toInt()));
            break;
        case QMetaType::UChar:
            array.elements.push_back(CAutoValue::Number(eVtUI1, value.toUInt()));
            break;
        default:
            array.elements.push_back(CAutoValue::Text(value.toString()));
            break;
        }
    }
    return array;
}

class CMacroAutomationTest : public ::testing::Test
{
protected:
    CMacroAutomationTest()
        : m_automation(SAutomationHooks{[this] { return bConnected; }, {}, {}, {}, {}, {}}),
          m_object(m_automation)
    {
        EnsureApplication();
        m_pEngine = CreateJScriptEngine();
        m_pEngine->onEcho = [this](const QString& strText) { echoed << strText; };
        AddAutomationObject(*m_pEngine, m_object);
    }

    bool bConnected = false;
    QStringList echoed;
    CAutomation m_automation;
    CAutomationScriptObject m_object;
    std::unique_ptr<IScriptEngine> m_pEngine;
};

TEST_F(CMacroAutomationTest, MethodsAreTheTableInOrder)
{
    const QStringList names = m_object.MethodNames();
    ASSERT_EQ(names.size(), 74);
    EXPECT_EQ(names.front(), QStringLiteral("GetLastErrorString"));
    EXPECT_EQ(names[9], QStringLiteral("MaintRead"));
    EXPECT_EQ(names.back(), QStringLiteral("GetNodeList"));
}

TEST_F(CMacroAutomationTest, FailuresReachTheScriptWithTheAutomationsCodes)
{
    SScriptError error;
    ASSERT_TRUE(
        m_pEngine->Load(QStringLiteral("function Go() {\n"
                                       "  var out = [Norvanta.GetVersionMajor(), Norvanta.IsConnected()];\n"
                                       "  try { Norvanta.MaintRead(0, 0xFFFFFFFF, 0, 0, 1, 4); }\n"
                                       "  catch (e) { out.push(e.number, e.message); }\n"
                                       "  try { Norvanta.MaintWrite(0, 0, 0, 0, 1, [1], 4); }\n"
                                       "  catch (e) { out.push(e.number); }\n"
                                       "  out.push(Norvanta.GetLastError(), Norvanta.GetLastErrorString());\n"
                                       "  return out.join('|');\n"
                                       "}\n"),
                        &error))
        << error.strMessage.toStdString();
    CAutoValue result;
    ASSERT_TRUE(m_pEngine->Call(QStringLiteral("Go"), {}, &result, &error)) << error.strMessage.toStdString();
    const QString strNotConnected = RioErrorText(-38);
    EXPECT_EQ(result.strValue,
              QStringLiteral("%1|0|38|%2|38|38|%2").arg(NV_VERSION_MAJOR).arg(strNotConnected));
    EXPECT_EQ(m_automation.LastError(), -38);

    // The same failure uncaught: the engine's error carries the text and the macro's line.
    ASSERT_TRUE(
        m_pEngine->Load(QStringLiteral("\nfunction Go() {\n  Norvanta.GetDeviceID(0, 5, 1);\n}\n"), &error));
    EXPECT_FALSE(m_pEngine->Call(QStringLiteral("Go"), {}, &result, &error));
    EXPECT_EQ(error.strMessage, strNotConnected);
    EXPECT_EQ(error.iLine, 3);
}

TEST_F(CMacroAutomationTest, WatchSampleHandlesTheArgumentsOfARealTrigger)
{
    QFile sample(QString::fromStdString(SourceDir() + "/examples/macros/watchevent.js"));
    ASSERT_TRUE(sample.open(QIODevice::ReadOnly));
    SScriptError error;
    ASSERT_TRUE(m_pEngine->Load(QString::fromUtf8(sample.readAll()), &error))
        << error.strMessage.toStdString();
    ASSERT_TRUE(m_pEngine->HasMethod(QStringLiteral("OnWatchTrigger")));

    // The handler's summary goes to the log when the macro's logging is on.
    const QString strLog = QString::fromStdString(ProcessTempDir() + "/watch-macro.log");
    CAutoValue ignored;
    SAutoError autoError;
    ASSERT_TRUE(m_automation.Invoke(QStringLiteral("CreateLogFile"), {CAutoValue::Text(strLog)}, &ignored,
                                    &autoError))
        << autoError.strText.toStdString();
    ASSERT_TRUE(m_automation.Invoke(QStringLiteral("EnableLogging"), {CAutoValue::Number(eVtI4, 1)}, &ignored,
                                    &autoError));

    SWatchEvent event;
    event.iIndex = 2;
    event.Item.iPEID = 4;
    event.Item.uDestID = 0x0A;
    event.Item.RegName = QStringLiteral("Port 1 Error and Status CSR");
    event.Item.uRegOffset = 0x178;
    event.Item.BFName = QStringLiteral("PORT_ERR");
    event.Item.iNumBits = 1;
    event.Item.iLSB = 29;
    event.Item.iMSB = 29;
    event.Item.uOldValue = 0;
    event.Item.uNewValue = 0xFFFFFFFF;
    event.Item.iNumEvents = 3;
    const QVariantList values = WatchEventArguments(event);
    ASSERT_EQ(values.size(), 17);
    CAutoValue result;
    ASSERT_TRUE(
        m_pEngine->Call(QStringLiteral("OnWatchTrigger"), {EventArgumentArray(values)}, &result, &error))
        << error.strMessage.toStdString();

    const QString strSummary =
        QStringLiteral("Watch trigger: Port 1 Error and Status CSR (0x0178) of node 5 changed "
                       "from 0x00000000 to 0xFFFFFFFF, event 3");
    ASSERT_EQ(echoed.size(), 18);
    EXPECT_EQ(echoed[0], strSummary);
    EXPECT_EQ(echoed[3], QStringLiteral("  destID: 10"));
    EXPECT_EQ(echoed[6], QStringLiteral("  field: PORT_ERR"));
    EXPECT_EQ(echoed[11], QStringLiteral("  new value: 4294967295"));
    EXPECT_EQ(echoed[17], QStringLiteral("  trigger type: %1").arg(event.Item.eType));

    ASSERT_TRUE(m_automation.Invoke(QStringLiteral("EnableLogging"), {CAutoValue::Number(eVtI4, 0)}, &ignored,
                                    &autoError));
    EXPECT_NE(QString::fromStdString(ReadFile(strLog.toStdString())).indexOf(strSummary), -1);
}
} // namespace
} // namespace nvtest

// The automation interface on the session bus, end to end: norvanta --automation (and the window)
// on a bus the test starts, driven by gdbus, by the Python client of examples/ and by a QtDBus
// client, against norvanta-sim on a loopback port. Covers the calls and their D-Bus types, the
// error names and texts, introspection, the ways the server ends, and register/unregister with
// activation by the bus.
#include "AutomationDBus.h"
#include "Automation.h"
#include "AutomationBus.h"
#include "SimProcess.h"
#include "StatusText.h"
#include "TestSupport.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QDomDocument>
#include <QFile>
#include <QFileInfo>

#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <thread>

namespace
{
using nvtest::CChildProgram;
using nvtest::CTestBus;
using nvtest::SProgramRun;

const char* const kService = "com.halvorn.Norvanta";
const char* const kPath = "/com/halvorn/Norvanta/Automation";
const char* const kAutomation = "com.halvorn.Norvanta.IAutomation";
const char* const kApplication = "com.halvorn.Norvanta.Application";
constexpr uint32_t kHostItself = 0xFFFFFFFFu;
// Device Identity CAR of the demo topology's host: device 0001h, vendor FFF0h.
constexpr int kHostIdentity = 0x0001FFF0;

std::string Norvanta()
{
    return nvtest::BuiltProgram("App/norvanta");
}

bool Has(const std::string& strText, const std::string& strPart)
{
    return strText.find(strPart) != std::string::npos;
}

// QtDBus needs an application object in this process; one serves every test.
void EnsureApplication()
{
    if (!QCoreApplication::instance())
    {
        static int s_argc = 1;
        static char s_achName[] = "nv_test_automation_dbus";
        static char* s_argv[] = {s_achName, nullptr};
        new QCoreApplication(s_argc, s_argv);
    }
}

// A client on the test's bus.
class CBusClient
{
public:
    explicit CBusClient(const CTestBus& bus)
        : m_connection(QDBusConnection::connectToBus(QString::fromStdString(bus.Address()),
                                                     QStringLiteral("client-%1").arg(++s_nCount)))
    {
    }
    ~CBusClient() { QDBusConnection::disconnectFromBus(m_connection.name()); }

    QDBusMessage Call(const char* pszMethod, const QList<QVariant>& args = {},
                      const char* pszInterface = kAutomation)
    {
        QDBusMessage message =
            QDBusMessage::createMethodCall(QLatin1String(kService), QLatin1String(kPath),
                                           QLatin1String(pszInterface), QLatin1String(pszMethod));
        message.setArguments(args);
        return m_connection.call(message, QDBus::Block, 30000);
    }

    // Waits until the name has an owner (or the program serving it has ended).
    bool WaitForName(CChildProgram& program)
    {
        for (int i = 0; i < 400; ++i)
        {
            if (HasOwner())
            {
                return true;
            }
            if (!program.Running())
            {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(25));
        }
        return false;
    }
    bool HasOwner() { return m_connection.interface()->isServiceRegistered(QLatin1String(kService)); }
    // The process that owns the name, 0 when none.
    uint32_t OwnerPid() { return m_connection.interface()->servicePid(QLatin1String(kService)); }

private:
    static inline int s_nCount = 0;
    QDBusConnection m_connection;
};

// The first reply argument unwrapped from its variant, as a list of ints.
QList<int> IntArray(const QDBusMessage& reply)
{
    const QDBusArgument argument =
        reply.arguments().value(0).value<QDBusVariant>().variant().value<QDBusArgument>();
    return qdbus_cast<QList<int>>(argument);
}

QString VariantSignature(const QDBusMessage& reply)
{
    const QVariant content = reply.arguments().value(0).value<QDBusVariant>().variant();
    if (content.metaType() == QMetaType::fromType<QDBusArgument>())
    {
        return content.value<QDBusArgument>().currentSignature();
    }
    return content.metaType().id() == QMetaType::QByteArray ? QStringLiteral("ay") : QString();
}

QVariant Variant(const QVariant& content)
{
    return QVariant::fromValue(QDBusVariant(content));
}

// The target arguments of a method: local port 0, the host's own device, hop count 0.
QList<QVariant> Host()
{
    return {QVariant::fromValue(uchar(0)), QVariant::fromValue(kHostItself), QVariant::fromValue(uchar(0))};
}

std::vector<std::string> GdbusCall(const CTestBus& bus, const std::string& strMethod)
{
    return {"call",          "--address", bus.Address(), "--dest", kService,
            "--object-path", kPath,       "--method",    strMethod};
}

SProgramRun Gdbus(const CTestBus& bus, std::vector<std::string> args)
{
    return nvtest::RunInEnvironment("/usr/bin/gdbus", args, nvtest::BusEnvironment(bus.Address()));
}

class AutomationServer : public ::testing::Test
{
protected:
    void SetUp() override
    {
        EnsureApplication();
        ASSERT_TRUE(m_bus.Ready()) << m_bus.Failure();
    }

    // norvanta --automation with these options, waited for until it owns the name.
    std::unique_ptr<CChildProgram> Serve(const std::vector<std::string>& options, CBusClient& client)
    {
        std::vector<std::string> args = {"--automation"};
        args.insert(args.end(), options.begin(), options.end());
        auto pProgram =
            std::make_unique<CChildProgram>(Norvanta(), args, nvtest::BusEnvironment(m_bus.Address()));
        EXPECT_TRUE(client.WaitForName(*pProgram)) << pProgram->Err();
        return pProgram;
    }
    std::vector<std::string> SimOptions(const nvtest::CSimProcess& sim)
    {
        return {"--server", "127.0.0.1", "--port", std::to_string(sim.TcpPort())};
    }

    CTestBus m_bus;
};

TEST_F(AutomationServer, ServesTheSimulatorsRegistersToGdbusPythonAndQtClients)
{
    nvtest::CSimProcess sim("demo.topo");
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    CBusClient client(m_bus);
    auto pServer = Serve(SimOptions(sim), client);
    ASSERT_TRUE(client.HasOwner()) << pServer->Err();
    EXPECT_EQ(static_cast<uint32_t>(pServer->Pid()), client.OwnerPid());

    // gdbus finds the argument types by introspection, as a shell user would call it.
    SProgramRun run = Gdbus(m_bus, GdbusCall(m_bus, "com.halvorn.Norvanta.IAutomation.IsConnected"));
    EXPECT_EQ(0, run.nExitCode) << run.strErr;
    EXPECT_EQ("(1,)\n", run.strOut);
    run = Gdbus(m_bus, GdbusCall(m_bus, "com.halvorn.Norvanta.IAutomation.GetVersionString"));
    EXPECT_EQ(0, run.nExitCode) << run.strErr;
    EXPECT_TRUE(Has(run.strOut, NV_TEST_VERSION)) << run.strOut;
    std::vector<std::string> read = GdbusCall(m_bus, "com.halvorn.Norvanta.IAutomation.MaintRead");
    read.insert(read.end(), {"0", "0xFFFFFFFF", "0", "0", "1", "4"});
    run = Gdbus(m_bus, read);
    EXPECT_EQ(0, run.nExitCode) << run.strErr;
    EXPECT_EQ("(<[" + std::to_string(kHostIdentity) + "]>,)\n", run.strOut);

    // The Python client of the examples: a write of the component tag, then reads.
    const std::string strClient = nvtest::SourceDir() + "/examples/python/norvanta_client.py";
    run = nvtest::RunInEnvironment("/usr/bin/python3", {strClient, "--write", "0xDEADBEEF", "6Ch"},
                                   nvtest::BusEnvironment(m_bus.Address()));
    EXPECT_EQ(0, run.nExitCode) << run.strErr;
    EXPECT_TRUE(Has(run.strOut, ", connected\n")) << run.strOut;
    EXPECT_TRUE(Has(run.strOut, "00006Ch: 0xDEADBEEF\n")) << run.strOut;
    run = nvtest::RunInEnvironment("/usr/bin/python3", {strClient, "0"},
                                   nvtest::BusEnvironment(m_bus.Address()));
    EXPECT_EQ(0, run.nExitCode) << run.strErr;
    EXPECT_TRUE(Has(run.strOut, "000000h: 0x0001FFF0\n")) << run.strOut;

    // The same tag through the other read methods: bytes in the order of the bus, halves as an.
    QList<QVariant> args = Host();
    args << QVariant::fromValue(0x6Cu) << QVariant::fromValue(4u);
    QDBusMessage reply = client.Call("MaintRead8", args);
    ASSERT_EQ(QDBusMessage::ReplyMessage, reply.type()) << reply.errorMessage().toStdString();
    EXPECT_EQ(QStringLiteral("ay"), VariantSignature(reply));
    EXPECT_EQ(QByteArray::fromHex("DEADBEEF"),
              reply.arguments().value(0).value<QDBusVariant>().variant().toByteArray());
    args = Host();
    args << QVariant::fromValue(0x6Cu) << QVariant::fromValue(2u);
    reply = client.Call("MaintRead16", args);
    ASSERT_EQ(QDBusMessage::ReplyMessage, reply.type()) << reply.errorMessage().toStdString();
    EXPECT_EQ(QStringLiteral("an"), VariantSignature(reply));
    EXPECT_EQ((QList<short>{short(0xDEAD), short(0xBEEF)}),
              qdbus_cast<QList<short>>(
                  reply.arguments().value(0).value<QDBusVariant>().variant().value<QDBusArgument>()));

    // Scalar results keep their D-Bus types: USHORT q, ULONG u, long i.
    reply = client.Call("GetDevice", Host());
    ASSERT_EQ(QDBusMessage::ReplyMessage, reply.type()) << reply.errorMessage().toStdString();
    EXPECT_EQ(QMetaType::UShort, reply.arguments().value(0).metaType().id());
    EXPECT_EQ(0x0001, reply.arguments().value(0).toInt());
    reply = client.Call("GetVendor", Host());
    EXPECT_EQ(0xFFF0, reply.arguments().value(0).toInt());
    reply = client.Call("GetComponentTag", Host());
    EXPECT_EQ(QMetaType::UInt, reply.arguments().value(0).metaType().id());
    EXPECT_EQ(0xDEADBEEFu, reply.arguments().value(0).toUInt());

    // Signed bytes of the flash go in as ay and come back as they went.
    const QByteArray flashBytes = QByteArray::fromHex("80FF017F");
    reply = client.Call("FlashWrite", {QVariant::fromValue(0u), QVariant::fromValue(0x100u),
                                       QVariant::fromValue(4u), Variant(flashBytes)});
    ASSERT_EQ(QDBusMessage::ReplyMessage, reply.type()) << reply.errorMessage().toStdString();
    reply = client.Call("FlashRead",
                        {QVariant::fromValue(0u), QVariant::fromValue(0x100u), QVariant::fromValue(4u)});
    ASSERT_EQ(QDBusMessage::ReplyMessage, reply.type()) << reply.errorMessage().toStdString();
    EXPECT_EQ(flashBytes, reply.arguments().value(0).value<QDBusVariant>().variant().toByteArray());

    // Application.IsHeadless tells the served program apart from the window; Quit ends it with 0.
    reply = client.Call("IsHeadless", {}, kApplication);
    EXPECT_TRUE(reply.arguments().value(0).toBool());
    reply = client.Call("Quit", {}, kApplication);
    EXPECT_EQ(QDBusMessage::ReplyMessage, reply.type()) << reply.errorMessage().toStdString();
    EXPECT_EQ(0, pServer->Wait(10000)) << pServer->Err();
    EXPECT_FALSE(client.HasOwner());
    EXPECT_EQ(0, sim.Stop());
}

TEST_F(AutomationServer, FailuresComeBackAsNamedErrorsWithTheirTexts)
{
    nvtest::CSimProcess sim("demo.topo");
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    CBusClient client(m_bus);

    // Served with no target: a method that needs one fails with -38.
    {
        auto pServer = Serve({}, client);
        QList<QVariant> args = Host();
        args << QVariant::fromValue(0u) << QVariant::fromValue(1u) << QVariant::fromValue(4u);
        std::vector<std::string> read = GdbusCall(m_bus, "com.halvorn.Norvanta.IAutomation.MaintRead");
        read.insert(read.end(), {"0", "0xFFFFFFFF", "0", "0", "1", "4"});
        const SProgramRun run = Gdbus(m_bus, read);
        EXPECT_NE(0, run.nExitCode);
        EXPECT_TRUE(Has(run.strErr, "com.halvorn.Norvanta.Error.Status38")) << run.strErr;
        QDBusMessage reply = client.Call("MaintRead", args);
        ASSERT_EQ(QDBusMessage::ErrorMessage, reply.type());
        EXPECT_EQ(QStringLiteral("com.halvorn.Norvanta.Error.Status38"), reply.errorName());
        EXPECT_EQ(RioErrorText(-38), reply.errorMessage());
        reply = client.Call("GetLastError");
        EXPECT_EQ(38, reply.arguments().value(0).toInt());
        reply = client.Call("GetLastErrorString");
        EXPECT_EQ(RioErrorText(-38), reply.arguments().value(0).toString());
        reply = client.Call("IsConnected");
        EXPECT_EQ(QMetaType::Int, reply.arguments().value(0).metaType().id());
        EXPECT_EQ(0, reply.arguments().value(0).toInt());
        // The served program has no window whose map could be copied.
        reply = client.Call("MapToClipboard");
        EXPECT_EQ(QDBusMessage::ErrorMessage, reply.type());
        EXPECT_FALSE(reply.errorMessage().isEmpty());
        EXPECT_EQ(0, pServer->Signal(SIGTERM)) << pServer->Err();
    }

    auto pServer = Serve(SimOptions(sim), client);
    const QString strInvalid = RioErrorText(-39) + QStringLiteral(", ");
    auto write = [&](const QVariant& data, uint32_t ulWordCount)
    {
        QList<QVariant> args = Host();
        args << QVariant::fromValue(0x6Cu) << QVariant::fromValue(ulWordCount) << data
             << QVariant::fromValue(4u);
        return client.Call("MaintWrite", args);
    };
    // A string where the words should be, 16-bit words where 32-bit ones should be, too few words.
    QDBusMessage reply = write(Variant(QStringLiteral("DEADBEEF")), 1);
    EXPECT_EQ(QStringLiteral("com.halvorn.Norvanta.Error.Status39"), reply.errorName());
    EXPECT_EQ(strInvalid + QStringLiteral("Invalid VARIANT type.  Expected (VT_BYREF | VT_ARRAY | VT_I4)."),
              reply.errorMessage());
    reply = write(Variant(QVariant::fromValue(QList<short>{1, 2})), 1);
    EXPECT_EQ(strInvalid + QStringLiteral("Invalid VARIANT type.  Expected (VT_BYREF | VT_ARRAY | VT_I4)."),
              reply.errorMessage());
    reply = write(Variant(QVariant::fromValue(QList<int>{1})), 2);
    EXPECT_EQ(QStringLiteral("com.halvorn.Norvanta.Error.Status39"), reply.errorName());
    EXPECT_EQ(strInvalid + QStringLiteral("VARIANT array size does not match word count."),
              reply.errorMessage());
    // A longer array is taken; its first word is written.
    reply = write(Variant(QVariant::fromValue(QList<int>{0x11223344, 0x55667788})), 1);
    EXPECT_EQ(QDBusMessage::ReplyMessage, reply.type()) << reply.errorMessage().toStdString();
    reply = client.Call("GetComponentTag", Host());
    EXPECT_EQ(0x11223344u, reply.arguments().value(0).toUInt());
    // A refused argument of its own kind: 264 bytes in one packet.
    reply = client.Call("MessageSend",
                        {QVariant::fromValue(uchar(0)), QVariant::fromValue(5u), QVariant::fromValue(0u),
                         QVariant::fromValue(0), QVariant::fromValue(0u), Variant(QByteArray(264, '\0')),
                         QVariant::fromValue(264u), QVariant::fromValue(264u)});
    EXPECT_EQ(QStringLiteral("com.halvorn.Norvanta.Error.Status39"), reply.errorName());
    EXPECT_EQ(strInvalid + QStringLiteral("Invalid TotalByteCount.  Max allowed is 256."),
              reply.errorMessage());
    // Node numbers begin at 1.
    reply = client.Call("GetDestIDForNode", {QVariant::fromValue(0u)});
    EXPECT_EQ(QStringLiteral("com.halvorn.Norvanta.Error.Status10000"), reply.errorName());
    // A success leaves the last error as it was.
    reply = client.Call("GetLastError");
    EXPECT_EQ(10000, reply.arguments().value(0).toInt());

    // Calls that don't fit the interface are refused by the bus's own errors, naming what fits.
    reply = client.Call("MaintRead", Host());
    EXPECT_EQ(QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs"), reply.errorName());
    EXPECT_TRUE(reply.errorMessage().contains(QStringLiteral("(yuyuuu)")))
        << reply.errorMessage().toStdString();
    reply = client.Call("NoSuchMethod");
    EXPECT_EQ(QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod"), reply.errorName());
    reply = client.Call("GetDeviceID",
                        {QVariant::fromValue(uchar(0)), QVariant(1.5), QVariant::fromValue(uchar(0))});
    EXPECT_EQ(QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs"), reply.errorName());
    EXPECT_TRUE(reply.errorMessage().contains(QStringLiteral("ulDestID")))
        << reply.errorMessage().toStdString();
    EXPECT_EQ(0, pServer->Signal(SIGINT)) << pServer->Err();
    EXPECT_FALSE(client.HasOwner());
    EXPECT_EQ(0, sim.Stop());
}

TEST_F(AutomationServer, IntrospectionListsTheMethodsWithTheirArguments)
{
    CBusClient client(m_bus);
    auto pServer = Serve({}, client);
    QDBusMessage introspect = QDBusMessage::createMethodCall(
        QLatin1String(kService), QLatin1String(kPath), QStringLiteral("org.freedesktop.DBus.Introspectable"),
        QStringLiteral("Introspect"));
    QDBusConnection connection =
        QDBusConnection::connectToBus(QString::fromStdString(m_bus.Address()), QStringLiteral("introspect"));
    const QDBusMessage reply = connection.call(introspect);
    QDBusConnection::disconnectFromBus(QStringLiteral("introspect"));
    ASSERT_EQ(QDBusMessage::ReplyMessage, reply.type()) << reply.errorMessage().toStdString();
    QDomDocument document;
    ASSERT_TRUE(document.setContent(reply.arguments().value(0).toString()));
    QDomElement automation;
    QDomElement application;
    for (QDomElement element = document.documentElement().firstChildElement(QStringLiteral("interface"));
         !element.isNull(); element = element.nextSiblingElement(QStringLiteral("interface")))
    {
        if (element.attribute(QStringLiteral("name")) == QLatin1String(kAutomation))
        {
            automation = element;
        }
        if (element.attribute(QStringLiteral("name")) == QLatin1String(kApplication))
        {
            application = element;
        }
    }
    ASSERT_FALSE(automation.isNull());
    ASSERT_FALSE(application.isNull());
    // Every method, in the order of the dispatch IDs, with each argument's name and type.
    QStringList names;
    std::map<QString, QString> signatures;
    for (QDomElement method = automation.firstChildElement(QStringLiteral("method")); !method.isNull();
         method = method.nextSiblingElement(QStringLiteral("method")))
    {
        QString strSignature;
        for (QDomElement arg = method.firstChildElement(QStringLiteral("arg")); !arg.isNull();
             arg = arg.nextSiblingElement(QStringLiteral("arg")))
        {
            strSignature += arg.attribute(QStringLiteral("direction")) == QLatin1String("out")
                                ? QStringLiteral("->") + arg.attribute(QStringLiteral("type"))
                                : arg.attribute(QStringLiteral("name")) + QLatin1Char(':') +
                                      arg.attribute(QStringLiteral("type")) + QLatin1Char(' ');
        }
        names << method.attribute(QStringLiteral("name"));
        signatures[method.attribute(QStringLiteral("name"))] = strSignature;
    }
    ASSERT_EQ(74, names.size());
    EXPECT_EQ(QStringLiteral("GetLastErrorString"), names.first());
    EXPECT_EQ(QStringLiteral("MaintRead"), names[9]);
    EXPECT_EQ(QStringLiteral("GetNodeList"), names.last());
    EXPECT_EQ(QStringLiteral("->s"), signatures[QStringLiteral("GetLastErrorString")]);
    EXPECT_EQ(
        QStringLiteral("uchLocalPort:y ulDestID:u uchHopCount:y ulOffset:u ulWordCount:u ulStride:u ->v"),
        signatures[QStringLiteral("MaintRead")]);
    EXPECT_EQ(QStringLiteral(
                  "uchLocalPort:y ulDestID:u uchHopCount:y ulOffset:u ulWordCount:u vData:v ulStride:u ->i"),
              signatures[QStringLiteral("MaintWrite")]);
    EXPECT_EQ(
        QStringLiteral("wVendorID:q wDeviceID:q uchLocalPort:y ulDestID:u uchHopCount:y wNewDeviceID:q ->i"),
        signatures[QStringLiteral("SetDeviceID")]);
    EXPECT_EQ(QStringLiteral("uchLocalPort:y ulDestID:u uchHopCount:y ->q"),
              signatures[QStringLiteral("GetDeviceID")]);
    EXPECT_EQ(QStringLiteral(
                  "uchLocalPort:y ulDestID:u uchHopCount:y wHostDeviceID:q nTimeoutSec:q bBreakLock:i ->q"),
              signatures[QStringLiteral("AcquireDeviceLock")]);
    EXPECT_EQ(QStringLiteral("pvstrFileName:v ->i"), signatures[QStringLiteral("CreateLogFile")]);

    // gdbus shows the same.
    const SProgramRun run = Gdbus(
        m_bus, {"introspect", "--address", m_bus.Address(), "--dest", kService, "--object-path", kPath});
    EXPECT_EQ(0, run.nExitCode) << run.strErr;
    EXPECT_TRUE(Has(run.strOut, "MaintRead(in  y uchLocalPort,")) << run.strOut;
    EXPECT_TRUE(Has(run.strOut, "interface com.halvorn.Norvanta.Application {")) << run.strOut;
    EXPECT_TRUE(Has(run.strOut, "Quit();")) << run.strOut;
    EXPECT_EQ(0, pServer->Signal(SIGTERM));
}

TEST_F(AutomationServer, ASecondServerOrABadTargetEndsWithAMessage)
{
    CBusClient client(m_bus);
    auto pFirst = Serve({}, client);
    SProgramRun run =
        nvtest::RunInEnvironment(Norvanta(), {"--automation"}, nvtest::BusEnvironment(m_bus.Address()));
    EXPECT_EQ(1, run.nExitCode);
    EXPECT_TRUE(Has(run.strErr, "already serves com.halvorn.Norvanta on this session bus")) << run.strErr;
    // The first one serves on.
    EXPECT_EQ(static_cast<uint32_t>(pFirst->Pid()), client.OwnerPid());
    EXPECT_EQ(0, pFirst->Signal(SIGTERM)) << pFirst->Err();

    const auto environment = nvtest::BusEnvironment(m_bus.Address());
    // Nothing listens on a port of a simulator that has stopped.
    nvtest::CSimProcess sim("demo.topo");
    ASSERT_TRUE(sim.Ready());
    const std::string strPort = std::to_string(sim.TcpPort());
    sim.Stop();
    run = nvtest::RunInEnvironment(Norvanta(), {"--automation", "--server", "127.0.0.1", "--port", strPort},
                                   environment);
    EXPECT_EQ(1, run.nExitCode);
    EXPECT_TRUE(Has(run.strErr, "unable to connect to the server at 127.0.0.1:" + strPort + " (TCP)."))
        << run.strErr;
    EXPECT_FALSE(client.HasOwner());

    struct SCase
    {
        std::vector<std::string> args;
        std::string strMessage;
    };
    const std::vector<SCase> cases = {
        {{"--automation", "--server", "10.1.2"}, "--server: '10.1.2' is not an IPv4 address."},
        {{"--automation", "--port", "15000"}, "--port, --udp and --local-port need --server."},
        {{"--automation", "--server", "127.0.0.1", "--port", "70000"},
         "--port: '70000' is not a port number"},
        {{"--automation", "--demo", "--server", "127.0.0.1"}, "--demo and --server name two targets"},
        {{"--automation", "--map", "/no/such/map.nvm"}, "--map: the file '/no/such/map.nvm' does not exist."},
        {{"--server", "127.0.0.1"}, "go with --automation or --register"},
        {{"--unregister", "--register"}, "--unregister goes alone."},
    };
    for (const SCase& check : cases)
    {
        run = nvtest::RunInEnvironment(Norvanta(), check.args, environment);
        EXPECT_EQ(1, run.nExitCode) << check.strMessage;
        EXPECT_TRUE(Has(run.strErr, check.strMessage)) << run.strErr;
    }
}

// The demo fabric is connected and discovered, so the node methods find its seven PEs.
TEST_F(AutomationServer, TheDemoIsConnectedAndDiscovered)
{
    CBusClient client(m_bus);
    auto pServer = Serve({"--demo"}, client);
    QDBusMessage reply = client.Call("GetNodeList");
    ASSERT_EQ(QDBusMessage::ReplyMessage, reply.type()) << reply.errorMessage().toStdString();
    const QList<int> nodes = IntArray(reply);
    EXPECT_EQ(7, nodes.size());
    int iSwitches = 0;
    for (int nNode : nodes)
    {
        iSwitches += (nNode & 0x2) != 0 ? 1 : 0;
    }
    EXPECT_EQ(2, iSwitches);
    // The host is node 1, reached with no hops.
    reply = client.Call("GetHopCountForNode", {QVariant::fromValue(1u)});
    ASSERT_EQ(QDBusMessage::ReplyMessage, reply.type()) << reply.errorMessage().toStdString();
    EXPECT_EQ(0u, reply.arguments().value(0).toUInt());
    client.Call("Quit", {}, kApplication);
    EXPECT_EQ(0, pServer->Wait(10000)) << pServer->Err();
}

// Over UDP, with a map opened once connected: the node methods see the map's PEs.
TEST_F(AutomationServer, ServesOverUdpWithAMap)
{
    const std::string strMap = nvtest::ProcessTempDir() + "/served-map.nvm";
    const SProgramRun demo = nvtest::RunInEnvironment(Norvanta(), {"--headless-demo", strMap},
                                                      nvtest::BusEnvironment(std::string()), 120000);
    ASSERT_EQ(0, demo.nExitCode) << demo.strOut << demo.strErr;
    nvtest::CSimProcess sim("demo.topo");
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    CBusClient client(m_bus);
    auto pServer = Serve({"--server", "127.0.0.1", "--udp", "--port", std::to_string(sim.UdpPort()),
                          "--local-port", "0", "--map", strMap},
                         client);
    ASSERT_TRUE(client.HasOwner()) << pServer->Err();
    EXPECT_TRUE(Has(pServer->Out(),
                    "connected to the server at 127.0.0.1:" + std::to_string(sim.UdpPort()) + " (UDP)"))
        << pServer->Out();
    QList<QVariant> args = Host();
    args << QVariant::fromValue(0u) << QVariant::fromValue(1u) << QVariant::fromValue(4u);
    QDBusMessage reply = client.Call("MaintRead", args);
    ASSERT_EQ(QDBusMessage::ReplyMessage, reply.type()) << reply.errorMessage().toStdString();
    EXPECT_EQ(QList<int>{kHostIdentity}, IntArray(reply));
    reply = client.Call("GetNodeList");
    EXPECT_EQ(7, IntArray(reply).size());
    EXPECT_EQ(0, pServer->Signal(SIGTERM)) << pServer->Err();
    EXPECT_EQ(0, sim.Stop());
}

// The window serves the same interface while it runs, and Quit closes it.
TEST_F(AutomationServer, TheWindowServesTheInterfaceToo)
{
    CBusClient client(m_bus);
    CChildProgram window(Norvanta(), {},
                         nvtest::BusEnvironment(m_bus.Address(), {"QT_QPA_PLATFORM=offscreen"}));
    ASSERT_TRUE(client.WaitForName(window)) << window.Err();
    QDBusMessage reply = client.Call("IsHeadless", {}, kApplication);
    EXPECT_FALSE(reply.arguments().value(0).toBool());
    reply = client.Call("IsConnected");
    EXPECT_EQ(0, reply.arguments().value(0).toInt());
    // Only the window has a map picture to copy.
    reply = client.Call("MapToClipboard");
    ASSERT_EQ(QDBusMessage::ReplyMessage, reply.type()) << reply.errorMessage().toStdString();
    EXPECT_EQ(1, reply.arguments().value(0).toInt());
    client.Call("Quit", {}, kApplication);
    EXPECT_EQ(0, window.Wait(10000)) << window.Err();
}

// A server the bus started ends by itself after Quit; one that doesn't is a fault, and is ended.
void ExpectEnded(uint32_t ulPid)
{
    const QString strStat = QStringLiteral("/proc/%1/stat").arg(ulPid);
    bool bEnded = false;
    for (int i = 0; i < 200 && !bEnded; ++i)
    {
        QFile stat(strStat);
        bEnded = !stat.open(QIODevice::ReadOnly) || stat.readAll().contains(") Z ");
        if (!bEnded)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(25));
        }
    }
    EXPECT_TRUE(bEnded) << "the activated server " << ulPid << " did not end";
    if (!bEnded)
    {
        ::kill(static_cast<pid_t>(ulPid), SIGKILL);
    }
}

// A window started while another program holds the name says so and goes on without serving.
TEST_F(AutomationServer, AWindowAfterAServerRunsWithoutServing)
{
    CBusClient client(m_bus);
    auto pServer = Serve({}, client);
    CChildProgram window(Norvanta(), {},
                         nvtest::BusEnvironment(m_bus.Address(), {"QT_QPA_PLATFORM=offscreen"}));
    const std::string strSaid = "norvanta: The automation interface is not served: another program";
    for (int i = 0; i < 400 && !Has(window.Err(), strSaid) && window.Running(); ++i)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
    EXPECT_TRUE(Has(window.Err(), strSaid + " (:1.")) << window.Err();
    EXPECT_TRUE(window.Running());
    EXPECT_EQ(static_cast<uint32_t>(pServer->Pid()), client.OwnerPid());
    QDBusMessage reply = client.Call("IsHeadless", {}, kApplication);
    EXPECT_TRUE(reply.arguments().value(0).toBool());
    EXPECT_EQ(0, pServer->Signal(SIGTERM)) << pServer->Err();
    window.Signal(SIGKILL);
}

class AutomationRegistration : public ::testing::Test
{
protected:
    void SetUp() override
    {
        EnsureApplication();
        static int s_nCount = 0;
        m_strDataHome = nvtest::ProcessTempDir() + "/xdg-data-" + std::to_string(++s_nCount);
        m_strServiceFile = m_strDataHome + "/dbus-1/services/com.halvorn.Norvanta.service";
    }
    std::vector<std::string> Environment(const std::string& strBus = std::string())
    {
        return nvtest::BusEnvironment(strBus, {"XDG_DATA_HOME=" + m_strDataHome});
    }

    std::string m_strDataHome;
    std::string m_strServiceFile;
};

TEST_F(AutomationRegistration, RegisterInstallsAnActivationFileTheBusStartsTheServerFrom)
{
    SProgramRun run = nvtest::RunInEnvironment(Norvanta(), {"--register"}, Environment());
    ASSERT_EQ(0, run.nExitCode) << run.strErr;
    EXPECT_TRUE(Has(run.strOut, "Registered the automation server com.halvorn.Norvanta: " + m_strServiceFile))
        << run.strOut;
    EXPECT_EQ("[D-BUS Service]\nName=com.halvorn.Norvanta\nExec=" + Norvanta() + " --automation\n",
              nvtest::ReadFile(m_strServiceFile));

    // A bus that looks in that folder starts the server on the first call.
    CTestBus bus(m_strDataHome + "/dbus-1/services");
    ASSERT_TRUE(bus.Ready()) << bus.Failure();
    CBusClient client(bus);
    EXPECT_FALSE(client.HasOwner());
    run = Gdbus(bus, GdbusCall(bus, "com.halvorn.Norvanta.IAutomation.GetVersionString"));
    EXPECT_EQ(0, run.nExitCode) << run.strErr;
    EXPECT_TRUE(Has(run.strOut, NV_TEST_VERSION)) << run.strOut;
    const uint32_t ulPid = client.OwnerPid();
    ASSERT_NE(0u, ulPid);
    EXPECT_EQ(Norvanta(), QFileInfo(QStringLiteral("/proc/%1/exe").arg(ulPid)).symLinkTarget().toStdString());
    QDBusMessage reply = client.Call("IsHeadless", {}, kApplication);
    EXPECT_TRUE(reply.arguments().value(0).toBool());
    client.Call("Quit", {}, kApplication);
    ExpectEnded(ulPid);
    EXPECT_FALSE(client.HasOwner());

    // Unregister removes the file; a second one says there is nothing to remove.
    run = nvtest::RunInEnvironment(Norvanta(), {"--unregister"}, Environment());
    EXPECT_EQ(0, run.nExitCode) << run.strErr;
    EXPECT_TRUE(Has(run.strOut,
                    "Unregistered the automation server com.halvorn.Norvanta: removed " + m_strServiceFile))
        << run.strOut;
    EXPECT_FALSE(QFileInfo::exists(QString::fromStdString(m_strServiceFile)));
    run = nvtest::RunInEnvironment(Norvanta(), {"--unregister"}, Environment());
    EXPECT_EQ(0, run.nExitCode) << run.strErr;
    EXPECT_TRUE(Has(run.strOut, "The automation server com.halvorn.Norvanta is not registered"))
        << run.strOut;
}

// Target options given with --register go into the file: the started server connects there.
TEST_F(AutomationRegistration, TheRegisteredTargetIsConnectedOnActivation)
{
    nvtest::CSimProcess sim("demo.topo");
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const std::string strPort = std::to_string(sim.TcpPort());
    SProgramRun run = nvtest::RunInEnvironment(
        Norvanta(), {"--register", "--server", "127.0.0.1", "--port", strPort}, Environment());
    ASSERT_EQ(0, run.nExitCode) << run.strErr;
    EXPECT_TRUE(Has(nvtest::ReadFile(m_strServiceFile),
                    "Exec=" + Norvanta() + " --automation --server 127.0.0.1 --port " + strPort + "\n"));
    // Registering again replaces the file and says so.
    run = nvtest::RunInEnvironment(Norvanta(), {"--register", "--server", "127.0.0.1", "--port", strPort},
                                   Environment());
    EXPECT_TRUE(Has(run.strOut, "Registered again")) << run.strOut;

    CTestBus bus(m_strDataHome + "/dbus-1/services");
    ASSERT_TRUE(bus.Ready()) << bus.Failure();
    CBusClient client(bus);
    QList<QVariant> args = Host();
    args << QVariant::fromValue(0u) << QVariant::fromValue(1u) << QVariant::fromValue(4u);
    QDBusMessage reply = client.Call("MaintRead", args);
    ASSERT_EQ(QDBusMessage::ReplyMessage, reply.type()) << reply.errorMessage().toStdString();
    EXPECT_EQ(QList<int>{kHostIdentity}, IntArray(reply));
    const uint32_t ulPid = client.OwnerPid();
    ASSERT_NE(0u, ulPid);
    client.Call("Quit", {}, kApplication);
    ExpectEnded(ulPid);
    EXPECT_FALSE(client.HasOwner());
    EXPECT_EQ(0, sim.Stop());
}
} // namespace

// norvanta: the desktop application. Without options it opens the main window; --demo connects
// it to the built-in demo fabric at once; --headless-demo MAP runs the demo without a window and
// saves its map; --screenshot PNG (with --demo) discovers the demo fabric, saves a picture of the
// window and ends. --automation serves the automation interface on the D-Bus session bus with no
// window; --register and --unregister install and remove the bus's activation file for it. The
// window serves the same interface while it runs.
#include "AutomationDBus.h"
#include "AutomationServer.h"
#include "ChildView.h"
#include "DebugKeyFile.h"
#include "EnumerationSettings.h"
#include "HeadlessDemo.h"
#include "MainFrame.h"
#include "NetBrowserDlgBar.h"
#include "Preferences.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDate>
#include <QScreen>
#include <QTimer>
#include <QTreeWidgetItem>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <functional>
#include <optional>

namespace
{
// The option that needs no display is looked for before any application object exists.
bool HasArgument(int argc, char** argv, const char* pszOption)
{
    for (int i = 1; i < argc; ++i)
    {
        if (std::strcmp(argv[i], pszOption) == 0)
        {
            return true;
        }
    }
    return false;
}

// Debug flags of a key file for today stand before anything writes to the log.
void ApplyTodaysDebugKey()
{
    const QString strAppDir = GetPreference(QStringLiteral("Directories"), QStringLiteral("AppDir"),
                                            QCoreApplication::applicationDirPath());
    ApplyDebugKeyFile(strAppDir, QDate::currentDate());
}

// A port number of an option, 1 (or 0 when bZeroAllowed) to 65535.
bool PortOption(const QString& strName, const QString& strValue, bool bZeroAllowed, int32_t* plPort)
{
    bool bOk = false;
    const uint uValue = strValue.toUInt(&bOk);
    if (!bOk || uValue > 65535 || (uValue == 0 && !bZeroAllowed))
    {
        std::fprintf(stderr, "norvanta: --%s: '%s' is not a port number (%d to 65535).\n",
                     qPrintable(strName), qPrintable(strValue), bZeroAllowed ? 0 : 1);
        return false;
    }
    *plPort = static_cast<int32_t>(uValue);
    return true;
}
} // namespace

int main(int argc, char** argv)
{
    // A server that hangs up must show as a failed send, not end the program.
    std::signal(SIGPIPE, SIG_IGN);
    QCoreApplication::setOrganizationName(QStringLiteral("Halvorn"));
    QCoreApplication::setApplicationName(QStringLiteral("Norvanta4"));
    QCoreApplication::setApplicationVersion(QStringLiteral(NV_VERSION_TEXT));
    if (HasArgument(argc, argv, "--headless-demo"))
    {
        QCoreApplication application(argc, argv);
        ApplyTodaysDebugKey();
        const QStringList args = application.arguments();
        const int iAt = static_cast<int>(args.indexOf(QStringLiteral("--headless-demo")));
        if (iAt + 1 >= args.size())
        {
            std::fprintf(stderr, "usage: norvanta --headless-demo MAPFILE\n");
            return 2;
        }
        return RunHeadlessDemo(args[iAt + 1]);
    }

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Norvanta, a management and debug client for RapidIO networks"));
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    const QCommandLineOption demo(QStringLiteral("demo"),
                                  QStringLiteral("Connect to the built-in demo fabric."));
    const QCommandLineOption screenshot(QStringLiteral("screenshot"),
                                        QStringLiteral("Save a picture of the window to FILE and end."),
                                        QStringLiteral("FILE"));
    const QCommandLineOption headless(
        QStringLiteral("headless-demo"),
        QStringLiteral("Run the demo without a window and save its map to FILE."), QStringLiteral("FILE"));
    const QCommandLineOption automation(
        QStringLiteral("automation"),
        QStringLiteral("Serve the automation interface on the D-Bus session bus, with no window, until "
                       "Application.Quit, SIGINT or SIGTERM."));
    const QCommandLineOption registerServer(
        QStringLiteral("register"),
        QStringLiteral("Install the session bus's activation file that starts --automation (with the "
                       "target options given here) on the first call, and end."));
    const QCommandLineOption unregisterServer(QStringLiteral("unregister"),
                                              QStringLiteral("Remove that activation file, and end."));
    const QCommandLineOption server(QStringLiteral("server"),
                                    QStringLiteral("With --automation: connect to the server at ADDR."),
                                    QStringLiteral("ADDR"));
    const QCommandLineOption port(QStringLiteral("port"), QStringLiteral("The server's port."),
                                  QStringLiteral("N"));
    const QCommandLineOption udp(QStringLiteral("udp"), QStringLiteral("Talk to the server over UDP."));
    const QCommandLineOption localPort(QStringLiteral("local-port"),
                                       QStringLiteral("The port a UDP link binds here (0: any free one)."),
                                       QStringLiteral("N"));
    const QCommandLineOption map(QStringLiteral("map"),
                                 QStringLiteral("With --automation: open the map FILE once connected."),
                                 QStringLiteral("FILE"));
    parser.addOptions({demo, screenshot, headless, automation, registerServer, unregisterServer, server, port,
                       udp, localPort, map});
    // Help, the version and a command line that doesn't parse are answered in text and end the
    // program, so they must not need a display: they are answered before the window system starts.
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
    {
        arguments << QString::fromLocal8Bit(argv[i]);
    }
    if (!parser.parse(arguments) || parser.isSet(help) || parser.isSet(version) ||
        parser.isSet(QStringLiteral("help-all")))
    {
        QCoreApplication textOnly(argc, argv);
        parser.process(textOnly);
        return 0;
    }

    // The automation server and its registration run without a window system.
    const bool bTargetOptions = parser.isSet(server) || parser.isSet(port) || parser.isSet(udp) ||
                                parser.isSet(localPort) || parser.isSet(map);
    if (parser.isSet(automation) || parser.isSet(registerServer) || parser.isSet(unregisterServer))
    {
        QCoreApplication application(argc, argv);
        ApplyTodaysDebugKey();
        if (parser.isSet(unregisterServer))
        {
            if (parser.isSet(registerServer) || parser.isSet(automation))
            {
                std::fprintf(stderr, "norvanta: --unregister goes alone.\n");
                return 1;
            }
            return UnregisterAutomationServer();
        }
        SAutomationServerOptions options;
        options.bDemo = parser.isSet(demo);
        options.strServer = parser.value(server);
        options.bUdp = parser.isSet(udp);
        options.strMap = parser.value(map);
        int32_t lPort = 0;
        if (parser.isSet(port) && !PortOption(port.names().first(), parser.value(port), false, &lPort))
        {
            return 1;
        }
        options.wPort = static_cast<uint16_t>(lPort);
        if (parser.isSet(localPort) &&
            !PortOption(localPort.names().first(), parser.value(localPort), true, &options.lLocalPort))
        {
            return 1;
        }
        QString strError;
        if (!ValidateAutomationServerOptions(options, &strError))
        {
            std::fprintf(stderr, "norvanta: %s\n", qPrintable(strError));
            return 1;
        }
        if (parser.isSet(registerServer))
        {
            return RegisterAutomationServer(QCoreApplication::applicationFilePath(),
                                            AutomationServerArguments(options));
        }
        return RunAutomationServer(options);
    }
    if (bTargetOptions)
    {
        std::fprintf(stderr,
                     "norvanta: --server, --port, --udp, --local-port and --map go with --automation or "
                     "--register.\n");
        return 1;
    }

    QApplication application(argc, argv);
    ApplyTodaysDebugKey();
    parser.process(application);

    CMainFrame frame;
    frame.show();
    // The window serves the automation interface too, on the session bus its environment names
    // (never one started on the fly for it). The unattended screenshot serves nothing.
    CAutomationDBus service(frame.Core().Automation());
    service.onQuit = [&frame] { frame.close(); };
    if (!parser.isSet(screenshot) && !qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
    {
        QString strError;
        if (!service.Serve(QDBusConnection::sessionBus(), &strError))
        {
            std::fprintf(stderr, "norvanta: %s\n", qPrintable(strError));
        }
    }
    // The screenshot runs unattended: every question is answered Yes.
    std::optional<CDemoUserInterface> unattended;
    std::function<void()> takeScreenshot;
    if (parser.isSet(screenshot))
    {
        unattended.emplace();
        frame.SetDiscoverySettingsChooser(
            [](CEnumerationSettings& settings)
            { return settings.Validate() == CEnumerationSettings::eFieldNone; });
        frame.MapWindow()->SetHideNulls(true);
        takeScreenshot = [&frame, strPath = parser.value(screenshot)]
        {
            // The host PE's registers open, as a person would have them after a first look around.
            if (QTreeWidgetItem* pHost = frame.Browser()->ExpandNode(0))
            {
                for (int i = 0; i < pHost->childCount(); ++i)
                {
                    QTreeWidgetItem* pChild = pHost->child(i);
                    if (pChild->text(0) == QLatin1String("Registers") && pChild->childCount() > 0)
                    {
                        pChild->setExpanded(true);
                        pChild->child(0)->setExpanded(true);
                    }
                }
            }
            const bool bSaved = frame.grab().save(strPath);
            std::printf("%s %s\n", bSaved ? "saved" : "could not save", qPrintable(strPath));
            frame.Core().Disconnect();
            QCoreApplication::exit(bSaved ? 0 : 1);
        };
    }
    if (parser.isSet(demo))
    {
        QTimer::singleShot(0, &frame,
                           [&frame, &takeScreenshot]
                           {
                               if (frame.Core().ConnectDemo() && takeScreenshot)
                               {
                                   // The picture shows the fabric as a first discovery draws it.
                                   frame.RunCommand(eCmdStandardDiscovery);
                               }
                               frame.MapWindow()->ZoomToFit();
                               if (takeScreenshot)
                               {
                                   QTimer::singleShot(500, &frame, takeScreenshot);
                               }
                           });
    }
    else if (takeScreenshot)
    {
        QTimer::singleShot(1500, &frame, takeScreenshot);
    }
    return application.exec();
}

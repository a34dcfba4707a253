#include "AutomationServer.h"

#include "AutomationDBus.h"
#include "ConnectionChoice.h"
#include "LinkSettings.h"
#include "MainFrameCore.h"
#include "NetworkCommands.h"
#include "PETypes.h"
#include "Preferences.h"
#include "UserInterface.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QSocketNotifier>
#include <QStandardPaths>
#include <QTimer>

#include <csignal>
#include <cstdio>
#include <sys/socket.h>
#include <unistd.h>

namespace
{
void Tell(FILE* pStream, const QString& strLine)
{
    std::fprintf(pStream, "%s\n", strLine.toLocal8Bit().constData());
    std::fflush(pStream);
}

// Nobody sits in front of the served object: messages go to standard error as they come, and a
// question is answered Yes (the answer that lets the command go on), with the answer told beside it.
class CServerUserInterface final : public IUserInterface
{
public:
    CServerUserInterface() { SetUserInterface(this); }
    ~CServerUserInterface() override { SetUserInterface(nullptr); }
    CServerUserInterface(const CServerUserInterface&) = delete;
    CServerUserInterface& operator=(const CServerUserInterface&) = delete;

    void ShowMessage(const QString& strText, const QString&, EMessageKind) override
    {
        Tell(stderr, QStringLiteral("norvanta: ") + strText);
    }
    int Ask(const QString& strText, const QString&, bool) override
    {
        Tell(stderr, QStringLiteral("norvanta: ") + strText + QStringLiteral(" [Yes]"));
        return eAnswerYes;
    }
    void Beep() override {}
    void SetBusy(bool) override {}
};

// SIGINT and SIGTERM end the event loop through a socket pair: the handler only writes a byte.
int g_signalSockets[2] = {-1, -1};

void OnSignal(int)
{
    const char ch = 1;
    [[maybe_unused]] const ssize_t nWritten = ::write(g_signalSockets[0], &ch, 1);
}

// Quotes one word of the activation file's Exec line as the bus daemon splits it (shell rules).
QString ExecWord(const QString& strWord)
{
    static const QString strPlain =
        QStringLiteral("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/._-+=:,@");
    bool bPlain = !strWord.isEmpty();
    for (const QChar ch : strWord)
    {
        bPlain = bPlain && strPlain.contains(ch);
    }
    if (bPlain)
    {
        return strWord;
    }
    QString strQuoted = strWord;
    strQuoted.replace(QLatin1Char('\''), QStringLiteral("'\\''"));
    return QLatin1Char('\'') + strQuoted + QLatin1Char('\'');
}

bool Connect(CMainFrameCore& frame, const SAutomationServerOptions& options, QString* pstrTarget)
{
    if (options.bDemo)
    {
        Tell(stderr, QStringLiteral("norvanta: connecting to the demo fabric"));
        if (!frame.ConnectDemo())
        {
            Tell(stderr, QStringLiteral("norvanta: unable to start or connect to the demo fabric."));
            return false;
        }
        if (options.strMap.isEmpty())
        {
            frame.RunCommand(eCmdStandardDiscovery);
        }
        *pstrTarget = QStringLiteral("the demo fabric");
        return true;
    }
    uint32_t ulAddress = 0;
    ParseInternetAddress(options.strServer, &ulAddress); // checked by the validation
    if (options.wPort != 0)
    {
        SetPreferenceOverride(QStringLiteral("Preferences"), QStringLiteral("ServerPort"),
                              QString::number(options.wPort));
    }
    if (options.lLocalPort >= 0)
    {
        SetPreferenceOverride(QStringLiteral("Preferences"), QStringLiteral("UdpLocalPort"),
                              QString::number(options.lLocalPort));
    }
    ReloadLinkSettings();
    const QString strWhere = QStringLiteral("%1:%2 (%3)")
                                 .arg(options.strServer)
                                 .arg(LinkSettings().wServerPort)
                                 .arg(options.bUdp ? QStringLiteral("UDP") : QStringLiteral("TCP"));
    if (!frame.Connect(options.bUdp ? eConnInternetUDP : eConnInternetTCP, ulAddress))
    {
        Tell(stderr, QStringLiteral("norvanta: unable to connect to the server at %1.").arg(strWhere));
        return false;
    }
    *pstrTarget = QStringLiteral("the server at ") + strWhere;
    return true;
}
} // namespace

bool ValidateAutomationServerOptions(const SAutomationServerOptions& options, QString* pstrError)
{
    const bool bServerOptions = options.wPort != 0 || options.bUdp || options.lLocalPort >= 0;
    uint32_t ulAddress = 0;
    if (options.bDemo && !options.strServer.isEmpty())
    {
        *pstrError = QStringLiteral("--demo and --server name two targets; give one of them.");
    }
    else if (options.strServer.isEmpty() && bServerOptions)
    {
        *pstrError = QStringLiteral("--port, --udp and --local-port need --server.");
    }
    else if (!options.strServer.isEmpty() && !ParseInternetAddress(options.strServer, &ulAddress))
    {
        *pstrError = QStringLiteral("--server: '%1' is not an IPv4 address.").arg(options.strServer);
    }
    else if (!options.strMap.isEmpty() && !QFileInfo(options.strMap).isFile())
    {
        *pstrError = QStringLiteral("--map: the file '%1' does not exist.").arg(options.strMap);
    }
    else if (options.lLocalPort >= 0 && !options.bUdp)
    {
        *pstrError = QStringLiteral("--local-port is for a UDP link: give --udp too.");
    }
    else
    {
        return true;
    }
    return false;
}

QStringList AutomationServerArguments(const SAutomationServerOptions& options)
{
    QStringList arguments;
    if (options.bDemo)
    {
        arguments << QStringLiteral("--demo");
    }
    if (!options.strServer.isEmpty())
    {
        arguments << QStringLiteral("--server") << options.strServer;
    }
    if (options.wPort != 0)
    {
        arguments << QStringLiteral("--port") << QString::number(options.wPort);
    }
    if (options.bUdp)
    {
        arguments << QStringLiteral("--udp");
    }
    if (options.lLocalPort >= 0)
    {
        arguments << QStringLiteral("--local-port") << QString::number(options.lLocalPort);
    }
    if (!options.strMap.isEmpty())
    {
        arguments << QStringLiteral("--map") << QFileInfo(options.strMap).absoluteFilePath();
    }
    return arguments;
}

int RunAutomationServer(const SAutomationServerOptions& options)
{
    QString strError;
    if (!ValidateAutomationServerOptions(options, &strError))
    {
        Tell(stderr, QStringLiteral("norvanta: ") + strError);
        return 1;
    }
    CServerUserInterface ui;
    CMainFrameCore frame;
    InstallNetworkCommands(frame);
    QString strTarget;
    if ((options.bDemo || !options.strServer.isEmpty()) && !Connect(frame, options, &strTarget))
    {
        return 1;
    }
    // The map comes after the connection, as a person opens one once connected: its host PE is
    // marked open when it is the one connected.
    if (!options.strMap.isEmpty() && !frame.OpenMap(options.strMap))
    {
        Tell(stderr, QStringLiteral("norvanta: unable to open the map '%1'.").arg(options.strMap));
        frame.Disconnect();
        return 1;
    }

    CAutomationDBus service(frame.Automation());
    service.bHeadless = true;
    service.onQuit = [] { QCoreApplication::exit(0); };
    if (!service.Serve(QDBusConnection::sessionBus(), &strError))
    {
        Tell(stderr, QStringLiteral("norvanta: ") + strError);
        frame.Disconnect();
        return 1;
    }

    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, g_signalSockets) != 0)
    {
        Tell(stderr, QStringLiteral("norvanta: unable to watch for signals."));
        return 1;
    }
    QSocketNotifier notifier(g_signalSockets[1], QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated,
                     []
                     {
                         char ch = 0;
                         [[maybe_unused]] const ssize_t nRead = ::read(g_signalSockets[1], &ch, 1);
                         QCoreApplication::exit(0);
                     });
    struct sigaction action = {};
    action.sa_handler = OnSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);

    // A bus that goes away takes its clients with it: nobody could call Quit any more.
    QTimer busWatch;
    QObject::connect(&busWatch, &QTimer::timeout,
                     []
                     {
                         if (!QDBusConnection::sessionBus().isConnected())
                         {
                             Tell(stderr, QStringLiteral("norvanta: the session bus has gone; stopping."));
                             QCoreApplication::exit(0);
                         }
                     });
    busWatch.start(1000);

    Tell(stdout, QStringLiteral("Serving %1 at %2 on the session bus%3.")
                     .arg(QLatin1String(kAutomationServiceName), QLatin1String(kAutomationObjectPath),
                          frame.IsConnected() ? QStringLiteral(", connected to ") + strTarget
                                              : QStringLiteral(", not connected")));
    const int nExit = QCoreApplication::exec();

    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    service.Stop();
    if (frame.IsConnected())
    {
        frame.Disconnect();
    }
    ::close(g_signalSockets[0]);
    ::close(g_signalSockets[1]);
    g_signalSockets[0] = g_signalSockets[1] = -1;
    Tell(stdout, QStringLiteral("Stopped serving %1.").arg(QLatin1String(kAutomationServiceName)));
    return nExit;
}

QString AutomationServiceFilePath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           QStringLiteral("/dbus-1/services/") + QLatin1String(kAutomationServiceName) +
           QStringLiteral(".service");
}

QString AutomationServiceFileText(const QString& strProgram, const QStringList& arguments)
{
    QStringList words = {ExecWord(strProgram), QStringLiteral("--automation")};
    for (const QString& strArgument : arguments)
    {
        words << ExecWord(strArgument);
    }
    return QStringLiteral("[D-BUS Service]\nName=%1\nExec=%2\n")
        .arg(QLatin1String(kAutomationServiceName), words.join(QLatin1Char(' ')));
}

int RegisterAutomationServer(const QString& strProgram, const QStringList& arguments)
{
    const QString strPath = AutomationServiceFilePath();
    const bool bReplaced = QFileInfo::exists(strPath);
    if (!QDir().mkpath(QFileInfo(strPath).absolutePath()))
    {
        Tell(stderr, QStringLiteral("norvanta: unable to create the folder '%1'.")
                         .arg(QFileInfo(strPath).absolutePath()));
        return 1;
    }
    QSaveFile file(strPath);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text) ||
        file.write(AutomationServiceFileText(strProgram, arguments).toUtf8()) < 0 || !file.commit())
    {
        Tell(stderr, QStringLiteral("norvanta: unable to write '%1': %2").arg(strPath, file.errorString()));
        return 1;
    }
    QStringList command = {strProgram, QStringLiteral("--automation")};
    command += arguments;
    Tell(stdout,
         QStringLiteral("%1 the automation server %2: %3\nThe session bus starts '%4' on the first call.")
             .arg(bReplaced ? QStringLiteral("Registered again") : QStringLiteral("Registered"),
                  QLatin1String(kAutomationServiceName), strPath, command.join(QLatin1Char(' '))));
    return 0;
}

int UnregisterAutomationServer()
{
    const QString strPath = AutomationServiceFilePath();
    if (!QFileInfo::exists(strPath))
    {
        Tell(stdout, QStringLiteral("The automation server %1 is not registered: there is no %2")
                         .arg(QLatin1String(kAutomationServiceName), strPath));
        return 0;
    }
    QFile file(strPath);
    if (!file.remove())
    {
        Tell(stderr, QStringLiteral("norvanta: unable to remove '%1': %2").arg(strPath, file.errorString()));
        return 1;
    }
    Tell(stdout, QStringLiteral("Unregistered the automation server %1: removed %2")
                     .arg(QLatin1String(kAutomationServiceName), strPath));
    return 0;
}

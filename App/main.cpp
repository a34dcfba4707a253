// norvanta: the desktop application. Without options it opens the main window; --demo connects
// it to the built-in demo fabric at once; --headless-demo MAP runs the demo without a window and
// saves its map; --screenshot PNG (with --demo) discovers the demo fabric, saves a picture of the
// window and ends.
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
    parser.addOptions({demo, screenshot, headless});
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

    QApplication application(argc, argv);
    ApplyTodaysDebugKey();
    parser.process(application);

    CMainFrame frame;
    frame.show();
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

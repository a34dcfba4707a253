// norvanta --automation: the automation object served on the D-Bus session bus with no window,
// until Application.Quit is called or the program gets SIGINT or SIGTERM. It runs on a
// QCoreApplication, so it needs no display of any kind. norvanta --register / --unregister put
// and take away the session bus's activation file that starts it on the first call.
#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>

// Where the served automation object finds its target and its map.
struct SAutomationServerOptions
{
    bool bDemo = false; // the built-in demo fabric, connected and discovered
    QString strServer;  // IPv4 address of a server, or empty for none
    uint16_t wPort = 0; // its port, 0 for the settings' one
    bool bUdp = false;
    int32_t lLocalPort = -1; // the port a UDP link binds here, -1 for the settings' one
    QString strMap;          // a map file opened before connecting, or empty
};

// Checks the options against each other; false with the message to print.
bool ValidateAutomationServerOptions(const SAutomationServerOptions& options, QString* pstrError);
// The same options as command-line arguments, a map's path made absolute (for the activation
// file, which starts the program in another directory).
QStringList AutomationServerArguments(const SAutomationServerOptions& options);

// Connects as the options say, serves the interface and runs the event loop of the
// QCoreApplication that exists. Returns the exit status: 0 after Quit or a signal, 1 when the
// map, the target or the bus failed (each told on standard error).
int RunAutomationServer(const SAutomationServerOptions& options);

// The activation file of the session bus for this user:
// $XDG_DATA_HOME/dbus-1/services/com.halvorn.Norvanta.service (~/.local/share by default).
QString AutomationServiceFilePath();
// The file's text: the bus name, and the program with --automation and the options.
QString AutomationServiceFileText(const QString& strProgram, const QStringList& arguments);
// --register and --unregister: do it, say what was done on standard output (a failure on
// standard error) and return the exit status.
int RegisterAutomationServer(const QString& strProgram, const QStringList& arguments);
int UnregisterAutomationServer();

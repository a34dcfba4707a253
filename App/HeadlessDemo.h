// The demo without a display: the same scenario as the window's, carried out by the shell and
// told on standard output, ending in a map file that norvanta-cli can print.
#pragma once

#include <QString>

// Starts the demo fabric, connects, runs the map commands of the scenario, saves the map to
// strMapPath and disconnects. Returns the process exit status.
int RunHeadlessDemo(const QString& strMapPath);

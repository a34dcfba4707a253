// Names and texts of the operating system's socket errors, for the "Error is %d, '%s'" messages.
#pragma once

#include <QString>

// The system's text of an errno value.
QString SocketErrorText(int nError);

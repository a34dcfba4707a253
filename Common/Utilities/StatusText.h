// Texts of the client's statuses: the links, the transaction front end and the application.
#pragma once

#include <QString>
#include <cstdint>

// Text of a client status; a value without a text gives "Unknown Error %d".
QString RioErrorText(int32_t nStatus);

// Client statuses the simulated server answers with. The server speaks the client's status
// space on the wire, so these are the client's numbers, not the middleware's.
#pragma once

#include <cstdint>

namespace nvsim
{
inline constexpr int32_t kStatusOk = 0;
// A response packet came back with ERROR status (the target refused the transaction).
inline constexpr int32_t kStatusErrorResponse = -105;
// A request the driver cannot carry out as given (bad local port, word size, length, ...).
inline constexpr int32_t kStatusInvalidParameter = -304;
// The traffic generator is not part of this server.
inline constexpr int32_t kStatusNoDataGen = -306;
// The traffic generator was asked for its status or a new rate before it was started.
inline constexpr int32_t kStatusDataGenNotStarted = -307;
// NVT_DATAGEN with a command the generator does not know.
inline constexpr int32_t kStatusUnknownDataGenRequest = -400;
// No traffic generator at the destination ID (or its control structure is not where named).
inline constexpr int32_t kStatusNoGenerator = -402;
// No response came back within the time-out: the request or its response was lost.
inline constexpr int32_t kStatusTimeout = -310;
// Flash of the server host: absent, or write protected.
inline constexpr int32_t kStatusNoFlash = -33;
inline constexpr int32_t kStatusFlashProtected = -34;
} // namespace nvsim

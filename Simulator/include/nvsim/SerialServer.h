// The simulated server on a serial line: a pseudo-terminal whose other end the client opens as
// its RS232 port. Requests and replies are the client/server message protocol, carried in the
// frames of docs/serial-framing.md. Faults of the line (a byte lost, a reply in slow pieces) can
// be set while it runs.
#pragma once

#include "nvsim/Fabric.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace nvsim
{
// Faults the line puts on the replies it carries.
struct SSerialLineFaults
{
    // The next reply loses its line byte of this number (1 for the first); 0: none.
    uint32_t ulDropByte = 0;
    // Every reply goes in pieces of this many line bytes, ulPieceGapMs apart; 0: in one write.
    uint32_t ulPieceBytes = 0;
    uint32_t ulPieceGapMs = 0;
};

struct SSerialCounters
{
    uint64_t ullRequests = 0;   // requests carried out
    uint64_t ullLineErrors = 0; // bad frames received
    uint64_t ullDropped = 0;    // parts of requests thrown away (line errors, silence)
};

class CSimSerialServer
{
public:
    // The fabric must outlive the server. fnLog, when given, gets one line per request.
    explicit CSimSerialServer(CSimFabric& fabric, std::function<void(const std::string&)> fnLog = {});
    ~CSimSerialServer();
    CSimSerialServer(const CSimSerialServer&) = delete;
    CSimSerialServer& operator=(const CSimSerialServer&) = delete;

    // Makes the pseudo-terminal and starts serving it; false with *pError when it can't.
    bool Start(std::string* pError);
    void Stop();
    // The device the client opens (/dev/pts/N), once started.
    const std::string& DevicePath() const;

    void SetFaults(const SSerialLineFaults& faults);
    SSerialCounters Counters() const;

private:
    class CImpl;
    std::unique_ptr<CImpl> m_pImpl;
};

// Applies a fault of the command line or the control: "drop=N", "pieces=N/MS" or "clear".
bool ApplySerialFaultSpec(const std::string& strSpec, CSimSerialServer& server, std::string* pError);
} // namespace nvsim

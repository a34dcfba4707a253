// What the trace port sends out, caught by the switch's packet capture instead: for the time of a
// capture the trace port is put into PGC capture mode (PGC mode on), so every traced copy lands in
// its capture FIFO; Drain reads out each waiting packet, 75 words at a time, and End puts the
// port's PGC control and PGC mode back as they were.
#pragma once

#include "PacketGenAccess.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <vector>

class CTraceCapture
{
public:
    explicit CTraceCapture(IGen2SwitchAccess& access) : m_access(access) {}

    // Capture mode on nPort; false and *pstrError when the switch can't be set up.
    bool Begin(int nPort, QString* pstrError);
    // Reads every packet waiting (at most the FIFO's 16) and hands each one's 300 bytes on.
    // False and *pstrError on a failed access.
    bool Drain(const std::function<void(const uint8_t* pBytes, uint32_t nBytes)>& fnPacket,
               QString* pstrError);
    // Puts the port and PGC mode back; false and *pstrError on a failed access.
    bool End(QString* pstrError);
    bool Active() const { return m_bActive; }
    int Port() const { return m_nPort; }

private:
    IGen2SwitchAccess& m_access;
    bool m_bActive = false;
    int m_nPort = 0;
    uint32_t m_ulOldControl = 0;
    uint32_t m_ulOldPgcMode = 0;
};

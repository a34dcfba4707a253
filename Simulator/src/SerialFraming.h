// The simulator's side of the serial line's framing (docs/serial-framing.md): flag 7E, escape 7D
// for 7E, 7D, 11 and 13, CRC-32 of IEEE 802.3 after the payload, most significant byte first.
// Written from that page alone; the client has its own implementation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace nvsim::serial
{
inline constexpr size_t kMaxFramePayload = 65536;

// CRC-32 of IEEE 802.3, computed bit by bit.
uint32_t FrameCrc(const uint8_t* pbData, size_t nSize);

// The line bytes of one block: one frame per 65536 bytes of it.
std::vector<uint8_t> EncodeBlock(const std::vector<uint8_t>& block);

// Receives line bytes; every good frame's payload is added to Stream(), every bad frame counts
// as a line error.
class CFrameReader
{
public:
    // Takes bytes; returns the number of line errors they held.
    unsigned Push(const uint8_t* pbBytes, size_t nSize);
    // Payload bytes of good frames, in order, not yet taken.
    std::vector<uint8_t>& Stream() { return m_stream; }
    uint64_t LineErrors() const { return m_ullErrors; }

private:
    enum class EState
    {
        Outside, // before the first flag
        Inside,
        Escape,
        Discard // a bad frame: wait for the next flag
    };
    void Close(unsigned* puErrors);

    EState m_eState = EState::Outside;
    std::vector<uint8_t> m_frame;
    std::vector<uint8_t> m_stream;
    uint64_t m_ullErrors = 0;
};
} // namespace nvsim::serial

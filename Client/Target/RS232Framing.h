// Frames of the serial line: how a block written to an RS232 port travels as flagged, escaped,
// CRC-checked bytes, and how the bytes that come in are turned back into payloads. The format is
// described in docs/serial-framing.md; the simulator has its own implementation of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace rs232
{
inline constexpr uint8_t kFlag = 0x7E;
inline constexpr uint8_t kEscape = 0x7D;
inline constexpr uint8_t kEscapeXor = 0x20;
// Largest payload of one frame; a longer block goes as several frames.
inline constexpr size_t kMaxFramePayload = 65536;

// CRC-32 of IEEE 802.3 (reflected, initial and final value all ones).
uint32_t Crc32(const uint8_t* pbData, size_t nSize);

// Appends the frames of one block to *pOut: a flag, the escaped payload and CRC, a flag.
void AppendFrames(const uint8_t* pbBlock, size_t nSize, std::vector<uint8_t>* pOut);

// Takes the bytes of the line as they come and hands on the payload of every good frame; every
// bad frame is a line error.
class CDeframer
{
public:
    using PayloadFn = std::function<void(const uint8_t* pbPayload, size_t nSize)>;
    using ErrorFn = std::function<void()>;

    CDeframer(PayloadFn fnPayload, ErrorFn fnError);
    void Feed(const uint8_t* pbBytes, size_t nSize);
    // Forgets a frame begun; the next byte counts as outside a frame.
    void Reset();
    // Bad frames seen so far.
    uint64_t Errors() const { return m_ullErrors; }

private:
    void EndFrame();
    void Fail();

    PayloadFn m_fnPayload;
    ErrorFn m_fnError;
    std::vector<uint8_t> m_frame;
    bool m_bInFrame = false;  // a flag has been seen
    bool m_bEscaped = false;  // the last byte was the escape
    bool m_bSkipping = false; // a frame went bad; ignore bytes up to the next flag
    uint64_t m_ullErrors = 0;
};
} // namespace rs232

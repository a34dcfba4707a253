#include "RS232Framing.h"

#include <algorithm>
#include <array>

namespace rs232
{
namespace
{
constexpr uint8_t kXon = 0x11;
constexpr uint8_t kXoff = 0x13;
constexpr size_t kCrcSize = 4;

std::array<uint32_t, 256> MakeCrcTable()
{
    std::array<uint32_t, 256> table{};
    for (uint32_t i = 0; i < 256; ++i)
    {
        uint32_t ulValue = i;
        for (int iBit = 0; iBit < 8; ++iBit)
        {
            ulValue = (ulValue & 1) ? (ulValue >> 1) ^ 0xEDB88320u : ulValue >> 1;
        }
        table[i] = ulValue;
    }
    return table;
}

bool NeedsEscape(uint8_t bValue)
{
    return bValue == kFlag || bValue == kEscape || bValue == kXon || bValue == kXoff;
}

void PutEscaped(uint8_t bValue, std::vector<uint8_t>* pOut)
{
    if (NeedsEscape(bValue))
    {
        pOut->push_back(kEscape);
        pOut->push_back(static_cast<uint8_t>(bValue ^ kEscapeXor));
    }
    else
    {
        pOut->push_back(bValue);
    }
}
} // namespace

uint32_t Crc32(const uint8_t* pbData, size_t nSize)
{
    static const std::array<uint32_t, 256> kTable = MakeCrcTable();
    uint32_t ulCrc = 0xFFFFFFFFu;
    for (size_t i = 0; i < nSize; ++i)
    {
        ulCrc = kTable[(ulCrc ^ pbData[i]) & 0xFF] ^ (ulCrc >> 8);
    }
    return ~ulCrc;
}

void AppendFrames(const uint8_t* pbBlock, size_t nSize, std::vector<uint8_t>* pOut)
{
    for (size_t nStart = 0; nStart < nSize; nStart += kMaxFramePayload)
    {
        const size_t nPiece = std::min(kMaxFramePayload, nSize - nStart);
        const uint8_t* pbPiece = pbBlock + nStart;
        const uint32_t ulCrc = Crc32(pbPiece, nPiece);
        pOut->push_back(kFlag);
        for (size_t i = 0; i < nPiece; ++i)
        {
            PutEscaped(pbPiece[i], pOut);
        }
        for (int iShift = 24; iShift >= 0; iShift -= 8)
        {
            PutEscaped(static_cast<uint8_t>(ulCrc >> iShift), pOut);
        }
        pOut->push_back(kFlag);
    }
}

CDeframer::CDeframer(PayloadFn fnPayload, ErrorFn fnError)
    : m_fnPayload(std::move(fnPayload)), m_fnError(std::move(fnError))
{
}

void CDeframer::Reset()
{
    m_frame.clear();
    m_bInFrame = false;
    m_bEscaped = false;
    m_bSkipping = false;
}

void CDeframer::Fail()
{
    ++m_ullErrors;
    m_frame.clear();
    m_bEscaped = false;
    m_bSkipping = true;
    if (m_fnError)
    {
        m_fnError();
    }
}

void CDeframer::EndFrame()
{
    if (m_frame.empty())
    {
        return; // two flags in a row
    }
    if (m_frame.size() <= kCrcSize)
    {
        Fail();
        m_bSkipping = false;
        return;
    }
    const size_t nPayload = m_frame.size() - kCrcSize;
    const uint8_t* pbCrc = m_frame.data() + nPayload;
    const uint32_t ulCrc = (uint32_t{pbCrc[0]} << 24) | (uint32_t{pbCrc[1]} << 16) |
                           (uint32_t{pbCrc[2]} << 8) | uint32_t{pbCrc[3]};
    if (ulCrc != Crc32(m_frame.data(), nPayload))
    {
        Fail();
        m_bSkipping = false;
        return;
    }
    m_fnPayload(m_frame.data(), nPayload);
    m_frame.clear();
}

void CDeframer::Feed(const uint8_t* pbBytes, size_t nSize)
{
    for (size_t i = 0; i < nSize; ++i)
    {
        const uint8_t bValue = pbBytes[i];
        if (bValue == kFlag)
        {
            if (m_bEscaped)
            {
                Fail();
            }
            else if (m_bInFrame && !m_bSkipping)
            {
                EndFrame();
            }
            m_frame.clear();
            m_bInFrame = true;
            m_bSkipping = false;
            m_bEscaped = false;
            continue;
        }
        if (!m_bInFrame || m_bSkipping)
        {
            continue;
        }
        if (m_bEscaped)
        {
            m_bEscaped = false;
            const uint8_t bPlain = bValue ^ kEscapeXor;
            if (!NeedsEscape(bPlain))
            {
                Fail();
                continue;
            }
            m_frame.push_back(bPlain);
        }
        else if (bValue == kEscape)
        {
            m_bEscaped = true;
            continue;
        }
        else
        {
            m_frame.push_back(bValue);
        }
        if (m_frame.size() > kMaxFramePayload + kCrcSize)
        {
            Fail();
        }
    }
}
} // namespace rs232

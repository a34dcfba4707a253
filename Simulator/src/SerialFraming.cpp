#include "SerialFraming.h"

#include <algorithm>

namespace nvsim::serial
{
namespace
{
constexpr uint8_t kFlag = 0x7E;
constexpr uint8_t kEscape = 0x7D;

bool Special(uint8_t b)
{
    return b == 0x7E || b == 0x7D || b == 0x11 || b == 0x13;
}

void Put(std::vector<uint8_t>& out, uint8_t b)
{
    if (Special(b))
    {
        out.push_back(kEscape);
        out.push_back(static_cast<uint8_t>(b ^ 0x20));
    }
    else
        out.push_back(b);
}
} // namespace

uint32_t FrameCrc(const uint8_t* pbData, size_t nSize)
{
    uint32_t ulCrc = 0xFFFFFFFFu;
    for (size_t i = 0; i < nSize; ++i)
    {
        ulCrc ^= pbData[i];
        for (int iBit = 0; iBit < 8; ++iBit)
            ulCrc = (ulCrc >> 1) ^ (0xEDB88320u & (0u - (ulCrc & 1u)));
    }
    return ulCrc ^ 0xFFFFFFFFu;
}

std::vector<uint8_t> EncodeBlock(const std::vector<uint8_t>& block)
{
    std::vector<uint8_t> out;
    out.reserve(block.size() + block.size() / 16 + 16);
    for (size_t nAt = 0; nAt < block.size(); nAt += kMaxFramePayload)
    {
        const size_t nEnd = std::min(block.size(), nAt + kMaxFramePayload);
        const uint32_t ulCrc = FrameCrc(block.data() + nAt, nEnd - nAt);
        out.push_back(kFlag);
        for (size_t i = nAt; i < nEnd; ++i)
            Put(out, block[i]);
        Put(out, static_cast<uint8_t>(ulCrc >> 24));
        Put(out, static_cast<uint8_t>(ulCrc >> 16));
        Put(out, static_cast<uint8_t>(ulCrc >> 8));
        Put(out, static_cast<uint8_t>(ulCrc));
        out.push_back(kFlag);
    }
    return out;
}

void CFrameReader::Close(unsigned* puErrors)
{
    if (m_frame.empty())
        return;
    bool bGood = m_frame.size() > 4;
    if (bGood)
    {
        const size_t n = m_frame.size() - 4;
        const uint32_t ulSent = static_cast<uint32_t>(m_frame[n]) << 24 |
                                static_cast<uint32_t>(m_frame[n + 1]) << 16 |
                                static_cast<uint32_t>(m_frame[n + 2]) << 8 | m_frame[n + 3];
        bGood = ulSent == FrameCrc(m_frame.data(), n);
        if (bGood)
            m_stream.insert(m_stream.end(), m_frame.begin(),
                            m_frame.begin() + static_cast<std::ptrdiff_t>(n));
    }
    if (!bGood)
    {
        ++m_ullErrors;
        ++*puErrors;
    }
    m_frame.clear();
}

unsigned CFrameReader::Push(const uint8_t* pbBytes, size_t nSize)
{
    unsigned uErrors = 0;
    for (size_t i = 0; i < nSize; ++i)
    {
        const uint8_t b = pbBytes[i];
        if (b == kFlag)
        {
            if (m_eState == EState::Inside)
                Close(&uErrors);
            else if (m_eState == EState::Escape)
            {
                ++m_ullErrors;
                ++uErrors;
            }
            m_frame.clear();
            m_eState = EState::Inside;
            continue;
        }
        switch (m_eState)
        {
        case EState::Outside:
        case EState::Discard:
            break;
        case EState::Escape:
            if (!Special(static_cast<uint8_t>(b ^ 0x20)))
            {
                ++m_ullErrors;
                ++uErrors;
                m_frame.clear();
                m_eState = EState::Discard;
                break;
            }
            m_frame.push_back(static_cast<uint8_t>(b ^ 0x20));
            m_eState = EState::Inside;
            break;
        case EState::Inside:
            if (b == kEscape)
                m_eState = EState::Escape;
            else
                m_frame.push_back(b);
            break;
        }
        if (m_frame.size() > kMaxFramePayload + 4)
        {
            ++m_ullErrors;
            ++uErrors;
            m_frame.clear();
            m_eState = EState::Discard;
        }
    }
    return uErrors;
}
} // namespace nvsim::serial

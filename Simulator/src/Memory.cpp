#include "nvsim/Memory.h"

#include <algorithm>

namespace nvsim
{
void CSparseMemory::Read(uint64_t ullAddress, uint8_t* p, size_t n) const
{
    while (n > 0)
    {
        const uint64_t ullPage = ullAddress / kPageSize;
        const size_t nOffset = static_cast<size_t>(ullAddress % kPageSize);
        const size_t nChunk = std::min(n, static_cast<size_t>(kPageSize) - nOffset);
        const auto it = m_pages.find(ullPage);
        if (it == m_pages.end())
            std::fill_n(p, nChunk, m_ucFill);
        else
            std::copy_n(it->second.begin() + nOffset, nChunk, p);
        p += nChunk;
        n -= nChunk;
        ullAddress += nChunk;
    }
}

void CSparseMemory::Write(uint64_t ullAddress, const uint8_t* p, size_t n)
{
    while (n > 0)
    {
        const uint64_t ullPage = ullAddress / kPageSize;
        const size_t nOffset = static_cast<size_t>(ullAddress % kPageSize);
        const size_t nChunk = std::min(n, static_cast<size_t>(kPageSize) - nOffset);
        auto [it, bNew] = m_pages.try_emplace(ullPage);
        if (bNew)
            it->second.fill(m_ucFill);
        std::copy_n(p, nChunk, it->second.begin() + nOffset);
        p += nChunk;
        n -= nChunk;
        ullAddress += nChunk;
    }
}
} // namespace nvsim

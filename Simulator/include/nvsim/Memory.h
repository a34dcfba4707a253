// Sparse byte-addressed storage: endpoint memory behind NREAD/NWRITE, the server host's memory
// and its flash. Only pages that were written take space, so a 64-bit address space costs
// nothing until it is used.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <unordered_map>

namespace nvsim
{
class CSparseMemory
{
public:
    // ucFill is what never-written bytes read as: 0 for RAM, 0xFF for erased flash.
    explicit CSparseMemory(uint8_t ucFill = 0) : m_ucFill(ucFill) {}

    // Copies n bytes starting at ullAddress into p; the address wraps at 2^64.
    void Read(uint64_t ullAddress, uint8_t* p, size_t n) const;
    // Stores n bytes from p starting at ullAddress.
    void Write(uint64_t ullAddress, const uint8_t* p, size_t n);
    // Forgets everything written.
    void Clear() { m_pages.clear(); }

private:
    static constexpr uint64_t kPageSize = 4096;
    using Page = std::array<uint8_t, kPageSize>;

    uint8_t m_ucFill;
    std::unordered_map<uint64_t, Page> m_pages; // keyed by address / kPageSize
};
} // namespace nvsim

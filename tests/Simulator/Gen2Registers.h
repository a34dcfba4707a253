// Registers of the Gen2 switches' packet generation and capture engine and comparators, as the
// tests address them: taken from the CPS-1848 register map (IDT's CPS1848.h), not from the model.
#pragma once

#include <cstdint>

namespace gen2test
{
constexpr uint32_t kDeviceControl = 0xF2000C; // Device Control 1
constexpr uint32_t kPgcOn = 0x10000000;       // its packet generation and capture mode

// Port p's PGC mode and data registers, and its Port Operations register.
constexpr uint32_t Mode(uint8_t p)
{
    return 0x100100 + 0x10 * p;
}
constexpr uint32_t Data(uint8_t p)
{
    return 0x100104 + 0x10 * p;
}
constexpr uint32_t Ops(uint8_t p)
{
    return 0xF40004 + 0x100 * p;
}
// Comparator c's block of port p, and its trace and filter match counters.
constexpr uint32_t Comparator(uint8_t p, uint32_t c)
{
    return 0xE40000 + 0x100 * p + 40 * c;
}
constexpr uint32_t TraceCounter(uint8_t p, uint32_t c)
{
    return 0xF40020 + 0x100 * p + 4 * c;
}
constexpr uint32_t FilterCounter(uint8_t p, uint32_t c)
{
    return 0xF40030 + 0x100 * p + 4 * c;
}
} // namespace gen2test

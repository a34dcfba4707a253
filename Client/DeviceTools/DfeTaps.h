// The DFE taps register of an IDT Gen2 switch lane (0xFF802C + 0x100 x lane): an update bit in bit 0
// and six tap fields in bits 28..1. Taps 2 to 5 are signed: the sign bit is set for 0 and up with
// the magnitude as it is; a negative value v clears it and holds the bits of |v| - 1 inverted, so
// that the field read as a plain number (sign bit on top) runs up by one with the value.
#pragma once

#include <array>
#include <cstdint>

constexpr int kDfeTapCount = 6;
// Taps the searches and the grid work on; tap 5 (the offset) is never shown nor scanned.
constexpr int kDfeShownTaps = 5;
constexpr uint32_t kDfeUpdateBit = 0x1;

using DfeTapValues = std::array<int32_t, kDfeTapCount>;
using DfeRawTaps = std::array<uint32_t, kDfeTapCount>;

// One field of the register.
struct SDfeTapField
{
    int iShift;
    uint32_t ulMagnitude; // magnitude bits in place
    uint32_t ulSign;      // sign bit in place, 0 for the unsigned taps 0 and 1
    int32_t lMin;
    int32_t lMax;
};
const SDfeTapField& DfeTapField(int iTap);

// The six signed values of a register value.
DfeTapValues DecodeTaps(uint32_t ulRegister);
// ulRegister with its six fields replaced by the values; bit 0 and the bits above 28 stay.
uint32_t EncodeTaps(uint32_t ulRegister, const DfeTapValues& values);
// The six fields as plain bit groups, the sign bit on top of each signed one.
DfeRawTaps GetRawTaps(uint32_t ulRegister);
uint32_t PutRawTaps(uint32_t ulRegister, const DfeRawTaps& raw);

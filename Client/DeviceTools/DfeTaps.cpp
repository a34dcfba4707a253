#include "DfeTaps.h"

namespace
{
constexpr SDfeTapField kFields[kDfeTapCount] = {
    {1, 0x1E, 0, 0, 15},
    {5, 0x7E0, 0, 0, 31},
    {11, 0x7800, 0x8000, -15, 15},
    {16, 0x70000, 0x80000, -7, 7},
    {20, 0x300000, 0x400000, -3, 3},
    {24, 0xF800000, 0x10000000, -31, 31},
};
} // namespace

const SDfeTapField& DfeTapField(int iTap)
{
    return kFields[iTap];
}

DfeTapValues DecodeTaps(uint32_t ulRegister)
{
    DfeTapValues values{};
    for (int i = 0; i < kDfeTapCount; ++i)
    {
        const SDfeTapField& f = kFields[i];
        if (!f.ulSign || (ulRegister & f.ulSign))
        {
            values[i] = static_cast<int32_t>((ulRegister & f.ulMagnitude) >> f.iShift);
        }
        else
        {
            values[i] = -static_cast<int32_t>((~ulRegister & f.ulMagnitude) >> f.iShift) - 1;
        }
    }
    return values;
}

uint32_t EncodeTaps(uint32_t ulRegister, const DfeTapValues& values)
{
    for (int i = 0; i < kDfeTapCount; ++i)
    {
        const SDfeTapField& f = kFields[i];
        ulRegister &= ~(f.ulMagnitude | f.ulSign);
        const int32_t lValue = values[i];
        if (!f.ulSign || lValue >= 0)
        {
            ulRegister |= f.ulSign | ((static_cast<uint32_t>(lValue) << f.iShift) & f.ulMagnitude);
        }
        else
        {
            ulRegister |= ~(static_cast<uint32_t>(-lValue - 1) << f.iShift) & f.ulMagnitude;
        }
    }
    return ulRegister;
}

DfeRawTaps GetRawTaps(uint32_t ulRegister)
{
    DfeRawTaps raw{};
    for (int i = 0; i < kDfeTapCount; ++i)
    {
        const SDfeTapField& f = kFields[i];
        raw[i] = (ulRegister & (f.ulMagnitude | f.ulSign)) >> f.iShift;
    }
    return raw;
}

uint32_t PutRawTaps(uint32_t ulRegister, const DfeRawTaps& raw)
{
    for (int i = 0; i < kDfeTapCount; ++i)
    {
        const SDfeTapField& f = kFields[i];
        const uint32_t ulMask = f.ulMagnitude | f.ulSign;
        ulRegister = (ulRegister & ~ulMask) | ((raw[i] << f.iShift) & ulMask);
    }
    return ulRegister;
}

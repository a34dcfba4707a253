// Touches everything a register file read gives, as the register editor and the watch window do.
#pragma once

#include "RegisterInfo.h"

namespace nvfuzz
{
inline void WalkRegisterFile(const CRegisterFileInfo& info)
{
    for (int b = 0; b < info.GetNumBlocks(); ++b)
    {
        const CRegisterBlock* pBlock = info.GetBlock(b);
        (void)info.FindBlock(pBlock->Name);
        for (int s = 0; s < pBlock->GetNumSets(); ++s)
        {
            (void)pBlock->GetSet(s)->uOffset;
        }
        for (int r = 0; r < pBlock->GetNumRegisters(); ++r)
        {
            const CRegister* pRegister = pBlock->GetRegister(r);
            for (int f = 0; f < pRegister->GetNumBitFields(); ++f)
            {
                const CBitField* pField = pRegister->GetBitField(f);
                (void)pField->GetMask(pRegister->GetNumBits());
                (void)pField->Extract(0xA5A5A5A5u, pRegister->GetNumBits());
                (void)pField->GetValueText(1);
            }
        }
    }
}
} // namespace nvfuzz

#include "RegisterValueList.h"

SRegisterValue* CRegisterValueList::Find(uint32_t uOffset)
{
    for (SRegisterValue& value : m_Values)
    {
        if (!value.bMemSpaceIO && value.uOffset == uOffset)
        {
            return &value;
        }
    }
    return nullptr;
}

const SRegisterValue* CRegisterValueList::Find(uint32_t uOffset) const
{
    return const_cast<CRegisterValueList*>(this)->Find(uOffset);
}

SRegisterValue* CRegisterValueList::FindIO(uint64_t uLocalAddr, uint64_t uRIOAddr)
{
    for (SRegisterValue& value : m_Values)
    {
        if (value.bMemSpaceIO && value.uLocalAddr == uLocalAddr && value.uRIOAddr == uRIOAddr)
        {
            return &value;
        }
    }
    return nullptr;
}

const SRegisterValue* CRegisterValueList::FindIO(uint64_t uLocalAddr, uint64_t uRIOAddr) const
{
    return const_cast<CRegisterValueList*>(this)->FindIO(uLocalAddr, uRIOAddr);
}

void CRegisterValueList::SetValue(uint32_t uOffset, uint32_t uValue, bool bFlag)
{
    if (SRegisterValue* pValue = Find(uOffset))
    {
        pValue->uValue = uValue;
        pValue->bFlag = bFlag;
        return;
    }
    SRegisterValue value;
    value.uOffset = uOffset;
    value.uValue = uValue;
    value.bFlag = bFlag;
    m_Values.push_back(value);
}

void CRegisterValueList::SetIOValue(uint64_t uLocalAddr, uint64_t uRIOAddr, uint32_t uValue, bool bFlag)
{
    if (SRegisterValue* pValue = FindIO(uLocalAddr, uRIOAddr))
    {
        pValue->uValue = uValue;
        pValue->bFlag = bFlag;
        return;
    }
    SRegisterValue value;
    value.bMemSpaceIO = true;
    value.uLocalAddr = uLocalAddr;
    value.uRIOAddr = uRIOAddr;
    value.uValue = uValue;
    value.bFlag = bFlag;
    m_Values.push_back(value);
}

#include "PrimitiveList.h"

#include <algorithm>

CPEPrimitive* CPEList::GetPEByDestID(uint16_t wDestID) const
{
    for (const auto& pPE : *this)
    {
        if (!pPE->bDeleted && pPE->HasDestID(wDestID, true, true))
        {
            return pPE.get();
        }
    }
    return nullptr;
}

CPEPrimitive* CPEList::GetPEByUniqueID(const QString& strUniqueID) const
{
    for (const auto& pPE : *this)
    {
        if (!pPE->bDeleted && pPE->UniqueID == strUniqueID)
        {
            return pPE.get();
        }
    }
    return nullptr;
}

std::vector<CPEPrimitive*> CPEList::LivePEsInNodeOrder() const
{
    std::vector<CPEPrimitive*> pes;
    for (const auto& pPE : *this)
    {
        if (!pPE->bDeleted)
        {
            pes.push_back(pPE.get());
        }
    }
    std::stable_sort(pes.begin(), pes.end(),
                     [](const CPEPrimitive* pA, const CPEPrimitive* pB)
                     { return pA->iNodeNumber < pB->iNodeNumber; });
    return pes;
}

CPEPrimitive* CPEList::GetHostPE() const
{
    for (const auto& pPE : *this)
    {
        if (!pPE->bDeleted && pPE->bHasHostLink && pPE->bHostLinkOpen)
        {
            return pPE.get();
        }
    }
    return nullptr;
}

CPEPrimitive* CPEList::GetHostPE(uint32_t uAddress, int eConnectionType) const
{
    for (const auto& pPE : *this)
    {
        if (!pPE->bDeleted && pPE->bHasHostLink && pPE->bHostLinkOpen &&
            pPE->uNetworkServerAddress == uAddress && pPE->eConnectionType == eConnectionType)
        {
            return pPE.get();
        }
    }
    return nullptr;
}

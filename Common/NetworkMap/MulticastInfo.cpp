#include "MulticastInfo.h"

#include <algorithm>

int CMulticastInfo::AddMask(int iMaskID)
{
    SMulticastMask mask;
    mask.MaskID = iMaskID;
    m_Masks.push_back(std::move(mask));
    return static_cast<int>(m_Masks.size()) - 1;
}

bool CMulticastInfo::AddDestID(int iMaskPosition, uint16_t wDestID)
{
    if (iMaskPosition < 0 || iMaskPosition >= GetNumMasks())
    {
        return false;
    }
    std::vector<uint16_t>& ids = m_Masks[static_cast<size_t>(iMaskPosition)].DestIDs;
    if (std::find(ids.begin(), ids.end(), wDestID) == ids.end())
    {
        ids.push_back(wDestID);
    }
    return true;
}

bool CMulticastInfo::AddPort(int iMaskPosition, uint8_t uchPort)
{
    if (iMaskPosition < 0 || iMaskPosition >= GetNumMasks())
    {
        return false;
    }
    std::vector<uint8_t>& ports = m_Masks[static_cast<size_t>(iMaskPosition)].Ports;
    if (std::find(ports.begin(), ports.end(), uchPort) == ports.end())
    {
        ports.push_back(uchPort);
    }
    return true;
}

int CMulticastInfo::FindMask(int iMaskID) const
{
    for (size_t i = 0; i < m_Masks.size(); ++i)
    {
        if (m_Masks[i].MaskID == iMaskID)
        {
            return static_cast<int>(i);
        }
    }
    return -1;
}

bool CMulticastInfo::RemoveMaskAt(int iMaskPosition)
{
    if (iMaskPosition < 0 || iMaskPosition >= GetNumMasks())
    {
        return false;
    }
    m_Masks.erase(m_Masks.begin() + iMaskPosition);
    m_iMaskCursor = -1;
    return true;
}

void CMulticastInfo::ClearMasks()
{
    m_Masks.clear();
    m_iMaskCursor = -1;
}

const SMulticastMask* CMulticastInfo::GetMask(int iMaskPosition) const
{
    if (iMaskPosition < 0 || iMaskPosition >= GetNumMasks())
    {
        return nullptr;
    }
    return &m_Masks[static_cast<size_t>(iMaskPosition)];
}

int CMulticastInfo::GetFirstMask()
{
    m_iMaskCursor = -1;
    return GetNextMask();
}

int CMulticastInfo::GetNextMask()
{
    if (m_iMaskCursor + 1 >= GetNumMasks())
    {
        m_iMaskCursor = GetNumMasks();
        return -1;
    }
    ++m_iMaskCursor;
    m_iDestIDCursor = -1;
    m_iPortCursor = -1;
    return m_Masks[static_cast<size_t>(m_iMaskCursor)].MaskID;
}

int CMulticastInfo::GetFirstDestID()
{
    m_iDestIDCursor = -1;
    return GetNextDestID();
}

int CMulticastInfo::GetNextDestID()
{
    const SMulticastMask* pMask = GetMask(m_iMaskCursor);
    if (!pMask || m_iDestIDCursor + 1 >= static_cast<int>(pMask->DestIDs.size()))
    {
        return -1;
    }
    ++m_iDestIDCursor;
    return pMask->DestIDs[static_cast<size_t>(m_iDestIDCursor)];
}

int CMulticastInfo::GetFirstPort()
{
    m_iPortCursor = -1;
    return GetNextPort();
}

int CMulticastInfo::GetNextPort()
{
    const SMulticastMask* pMask = GetMask(m_iMaskCursor);
    if (!pMask || m_iPortCursor + 1 >= static_cast<int>(pMask->Ports.size()))
    {
        return -1;
    }
    ++m_iPortCursor;
    return pMask->Ports[static_cast<size_t>(m_iPortCursor)];
}

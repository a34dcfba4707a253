#include "Route.h"

#include "DebugLog.h"
#include "UserInterface.h"

#include <algorithm>

void CRoute::GetText(QString& strText) const
{
    strText.clear();
    for (const ROUTEENTRY& entry : m_Entries)
    {
        strText +=
            QString::asprintf("PE %d Port %d -> PE %d Port %d\n", static_cast<int>(entry.ulFromNode) + 1,
                              static_cast<int>(entry.ulFromPort), static_cast<int>(entry.ulToNode) + 1,
                              static_cast<int>(entry.ulToPort));
    }
}

void CRoute::Show(bool bMessage) const
{
    QString strText;
    GetText(strText);
    DebugPrint(eDebugFindRoute, "%s", strText.toLocal8Bit().constData());
    if (bMessage)
    {
        ShowMessage(strText, EMessageKind::Information);
    }
}

const ROUTEENTRY* CRoute::GetEntry(int i) const
{
    if (m_Entries.empty())
    {
        return nullptr;
    }
    i = std::clamp(i, 0, GetCount() - 1);
    return &m_Entries[static_cast<size_t>(i)];
}

const ROUTEENTRY* CRoute::First(int& pos) const
{
    pos = 0;
    return Next(pos);
}

const ROUTEENTRY* CRoute::Next(int& pos) const
{
    if (pos < 0 || pos >= GetCount())
    {
        return nullptr;
    }
    return &m_Entries[static_cast<size_t>(pos++)];
}

void CRoute::RemoveLast()
{
    if (!m_Entries.empty())
    {
        m_Entries.pop_back();
    }
}

int CRoute::CountCommonNodes(const CRoute& other) const
{
    int nCommon = 0;
    for (const ROUTEENTRY& mine : m_Entries)
    {
        for (const ROUTEENTRY& theirs : other.m_Entries)
        {
            nCommon += mine.ulToNode == theirs.ulToNode ? 1 : 0;
        }
    }
    return nCommon;
}

void CRoute::Reverse()
{
    std::reverse(m_Entries.begin(), m_Entries.end());
    for (ROUTEENTRY& entry : m_Entries)
    {
        std::swap(entry.ulToNode, entry.ulFromNode);
        std::swap(entry.ulToPort, entry.ulFromPort);
    }
}

bool CRoute::Join(const CRoute& other)
{
    if (m_Entries.empty())
    {
        return false;
    }
    const uint32_t ulEnd = m_Entries.back().ulToNode;
    auto it = std::find_if(other.m_Entries.begin(), other.m_Entries.end(),
                           [ulEnd](const ROUTEENTRY& entry) { return entry.ulToNode == ulEnd; });
    if (it != other.m_Entries.end())
    {
        m_Entries.insert(m_Entries.end(), it + 1, other.m_Entries.end());
    }
    return true;
}

// A route: the links of a path through the network in travel order. Route search fills it, the
// map shows it, and manual route creation and route generation program switches along it.
#pragma once

#include <QString>

#include <cstdint>
#include <vector>

// One link of a route.
struct ROUTEENTRY
{
    uint32_t ulToPort = 0;   // port of arrival
    uint32_t ulFromPort = 0; // port of departure
    uint32_t ulToNode = 0;   // node number of arrival
    uint32_t ulFromNode = 0; // node number of departure
};

class CRoute
{
public:
    // Appends a link.
    void AddEntry(const ROUTEENTRY& entry) { m_Entries.push_back(entry); }
    void AddEntry(uint32_t ulFromNode, uint32_t ulFromPort, uint32_t ulToNode, uint32_t ulToPort)
    {
        m_Entries.push_back({ulToPort, ulFromPort, ulToNode, ulFromNode});
    }
    int GetCount() const { return static_cast<int>(m_Entries.size()); }
    bool IsEmpty() const { return m_Entries.empty(); }
    // Links less one: the hop count of a maintenance packet that ends where the route ends.
    int GetHopCount() const { return GetCount() - 1; }
    // "PE %d Port %d -> PE %d Port %d\n" for each link, nodes shown plus one.
    void GetText(QString& strText) const;
    // Writes the text to the debug log's FindRoute channel and, with bMessage, shows it.
    void Show(bool bMessage) const;
    // The link at i, i kept within the list (a negative i gives the first); null when empty.
    const ROUTEENTRY* GetEntry(int i) const;
    // Walk over the links: the first or next one, null at the end. pos is the walk's cursor.
    const ROUTEENTRY* First(int& pos) const;
    const ROUTEENTRY* Next(int& pos) const;
    void RemoveLast();
    void Clear() { m_Entries.clear(); }
    // For every pair of a link here and one there, counts those arriving at the same node.
    int CountCommonNodes(const CRoute& other) const;
    // The same path backwards: links in reverse order, their two sides exchanged.
    void Reverse();
    // Appends what follows, in other, the first link that arrives where this route ends; false
    // when this route is empty.
    bool Join(const CRoute& other);
    const std::vector<ROUTEENTRY>& Entries() const { return m_Entries; }

private:
    std::vector<ROUTEENTRY> m_Entries;
};

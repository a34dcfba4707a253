// Edits of a map view that the map window offers: grouping the selected nodes, opening a
// group's view, and laying a link straight.
#pragma once

#include <QString>

#include <cstdint>

class CNetworkDocument;

// Makes a group of the selected nodes of the current view: a group node labelled "Undefined"
// stands for them in this view, links to nodes outside become links of the group, and a view of
// the group's own (with the group's unique ID as its number) shows the members, their links, and
// an off-view handle for each link that leaves the group. Returns the group's unique ID, or 0
// when fewer than two nodes are selected.
uint32_t GroupSelectedItems(CNetworkDocument& document);
// Shows the view of a group; false when the group has none.
bool OpenGroupView(CNetworkDocument& document, uint32_t uGroupUniqueID);
// Sets a group's label and comment, in every view that draws it.
void SetGroupProperties(CNetworkDocument& document, uint32_t uGroupUniqueID, const QString& strLabel,
                        const QString& strComment);
// Lays the link drawn for a connection straight between its two nodes.
bool StraightenLink(CNetworkDocument& document, int iConnection);

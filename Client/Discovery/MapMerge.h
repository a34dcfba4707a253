// How a newly discovered map is laid out: after the map it replaces or after the template, PE by
// PE through their unique IDs, else on a grid and then by the automatic layout.
#pragma once

#include "NetworkDocument.h"

#include <QPoint>

#include <functional>

// Lays out the current view of a document (the automatic layout program); false when it failed,
// the failure having been shown.
using LayoutFn = std::function<bool(CNetworkDocument& document)>;

// Where PE n stands on a map without a guide: five to a row, every second row and column
// shifted a little so that links don't run through other PEs.
QPoint DefaultGridPosition(int iNode);

// Replaces view 0's drawing objects with one per PE on the grid and one per connection.
void BuildDefaultDrawItems(CNetworkDocument& map);

// Gives the new map its layout, by the template (when it has more than two PEs and the person
// agrees) or the current map (likewise) as a guide, else the grid and the automatic layout.
// bForceLayout: the automatic layout also runs with a guide (a board whose map has two real
// PEs). With a guide a "Grouped View" is added.
void MergeMaps(CNetworkDocument& newMap, const CNetworkDocument& currentMap, const LayoutFn& pfnLayout,
               bool bForceLayout);

// Moves the new map's PEs, connections and views into the document, keeping views that hold
// template items, and clears the selection.
void TakeOverMap(CNetworkDocument& newMap, CNetworkDocument& map);

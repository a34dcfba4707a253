// One view of the network: its drawing objects and map size, once for the active map and once
// for the template map. "Expanded View" (-1) shows everything; "Grouped View" (-2) is made by
// grouping; other views come from the user.
#pragma once

#include "DrawObjects.h"

#include <QString>

constexpr int kExpandedViewID = -1;
constexpr int kGroupedViewID = -2;
// Map size of a new view, in pixels.
constexpr int kDefaultMapWidth = 1000;
constexpr int kDefaultMapHeight = 1000;

class CMapView
{
public:
    CMapView() = default;
    CMapView(const QString& strName, int iID) : Name(strName), iViewID(iID) {}

    QString Name;
    QString Desc;
    int iViewID = kExpandedViewID;
    CDrawList pNodes; // drawing objects of the active map
    CDrawList pEdges;
    int iWidth = kDefaultMapWidth;
    int iHeight = kDefaultMapHeight;
    CDrawList pTemplateNodes; // the same for the template map
    CDrawList pTemplateEdges;
    int iTemplateWidth = kDefaultMapWidth;
    int iTemplateHeight = kDefaultMapHeight;

    CDrawList& Nodes(bool bTemplate) { return bTemplate ? pTemplateNodes : pNodes; }
    CDrawList& Edges(bool bTemplate) { return bTemplate ? pTemplateEdges : pEdges; }
    const CDrawList& Nodes(bool bTemplate) const { return bTemplate ? pTemplateNodes : pNodes; }
    const CDrawList& Edges(bool bTemplate) const { return bTemplate ? pTemplateEdges : pEdges; }
};

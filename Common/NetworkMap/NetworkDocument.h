// The root of the network model: the active map (the network as last seen) and the template map
// (the network as the user wants it), their views, the selection, the watch table and the map's
// own scripts. Two pointers name the current map, so code that works on "the current map" needn't
// know which one it is.
#pragma once

#include "MapView.h"
#include "PrimitiveList.h"
#include "ScriptBindings.h"
#include "WatchItem.h"

#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

// One selected drawing object.
struct SSelectedItem
{
    uint32_t uUniqueID = 0;
    uint16_t uKind = 0; // EDrawKind for nodes; edges carry 0
};

class CNetworkDocument
{
public:
    // A new document: one view, "Expanded View", empty lists, the active map current.
    CNetworkDocument();
    // Deep copies; the copy selects the same view again.
    CNetworkDocument(const CNetworkDocument& other);
    CNetworkDocument& operator=(const CNetworkDocument& other);
    CNetworkDocument(CNetworkDocument&& other) noexcept;
    CNetworkDocument& operator=(CNetworkDocument&& other) noexcept;
    ~CNetworkDocument() = default;

    bool bPrinting = false;
    int iCurrentViewID = kExpandedViewID;
    bool bShowTemplate = false;
    CMapView* pCurrentView = nullptr;
    std::vector<int> ViewHistory; // views opened before, for going back
    CPEList* pCurrentPEs = nullptr;
    CConnectionList* pCurrentConnections = nullptr;
    CDrawList* pCurrentNodes = nullptr;
    CDrawList* pCurrentEdges = nullptr;
    std::vector<std::unique_ptr<CMapView>> Views; // the first is always "Expanded View"
    CPEList ActivePEs;
    CConnectionList ActiveConnections;
    CPEList TemplatePEs;
    CConnectionList TemplateConnections;
    std::vector<SSelectedItem> SelectedNodes;
    std::vector<SSelectedItem> SelectedEdges;
    std::vector<WatchItem> WatchItems;
    std::vector<SMenuScriptItem> MenuScripts;
    std::vector<SEventScriptItem> EventScripts;
    QString FileName; // name and full path of the map file; empty for a new map
    QString PathName;

    // Empties everything and makes the expanded view again.
    void New();
    // Writes the map to PathName; false when that is empty or the write fails.
    bool Save();
    // Writes the map to a new path and takes it as the document's file.
    bool SaveAs(const QString& strPath);
    // Reads a map file into this document; on failure the document is empty.
    bool Open(const QString& strPath, bool bEnciphered = false);

    // Makes a view current for the active or the template map. A view other than the expanded
    // one that has no nodes isn't shown: the history is cleared and the expanded view is taken.
    void SelectView(int iViewID, bool bTemplate);
    // Goes back to the view opened before the current one; false when there is none.
    bool SelectPreviousView();
    // Switches between the active and the template map in the current view.
    void ToggleTemplate(bool bTemplate);
    // The template map becomes a deep copy of the active map, in every view.
    void CopyActiveToTemplate();
    // The view with that ID, or null.
    CMapView* FindView(int iViewID) const;
    // Adds a view; the document owns it. Returns it.
    CMapView* AddView(std::unique_ptr<CMapView> pView);

    // Checks that no two endpoints share a destination ID (switches, unknown and Null PEs take no
    // part). On the first conflict fills strMessage and returns false.
    bool ValidateUniqueDestIDs(QString& strMessage) const;

    // An ID for drawing objects and views that is unique across sessions: the time in seconds,
    // or one more than the last ID handed out when the clock hasn't moved past it.
    static uint32_t MakeUniqueTimeID();

private:
    void MakeExpandedView();
    void UpdateCurrentPointers();
    void ApplyWatchHighlights();
};

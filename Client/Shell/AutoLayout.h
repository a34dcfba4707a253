// The automatic layout of a map view: the view's nodes and edges are written as a graph for
// Graphviz's neato, neato runs, and the positions it gives move the nodes. Writing and reading
// happen on the user interface thread; running neato, the slow part on a large map, may happen on
// any thread, so the window stays responsive while it works.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

class CNetworkDocument;
class CDrawList;

// The room a node takes on the map around its position, in map pixels: its icon and the label
// lines under it.
struct SNodeRoom
{
    double dHalfWidth = 25.0;
    double dAbove = 25.0;
    double dBelow = 25.0;
};

// What the layout is told of the drawing, so that nodes are set far enough apart for their labels.
struct SLayoutRoom
{
    // The room of a node with these label lines; null for an estimate from the number of letters.
    std::function<SNodeRoom(const QStringList& lines)> nodeRoom;
    // The longest label at the end of a link (port number, width, speed), 0 when links show none.
    double dLinkLabel = 0.0;
};

// A node position read from neato's output, by the name the input gave the node.
struct SLayoutPosition
{
    char cKind = 'P'; // P a PE (by node number), G a group, O an off-view handle (by list position)
    int iNumber = 0;
    int iX = 0;
    int iY = 0;
};

class CAutoLayout
{
public:
    // The graph of the current view: the nodes that belong to no group (Null PEs left out while
    // nulls are hidden) and the edges whose two ends were written.
    // Each node's statement is followed by its size, from the room its icon and labels take; with
    // overlaps to be removed, the removal runs with a margin that leaves room for the link labels.
    // A map of at least the fast threshold's count of nodes is laid out by the multiscale method.
    static QByteArray LayoutInput(const CNetworkDocument& document, bool bNoOverlaps, bool bHideNulls,
                                  const SLayoutRoom& room = {});
    // The node count from which the fast method lays a map out (preference LayoutFastThreshold in
    // section Preferences).
    static int FastThreshold();
    // The positions of neato's "plain-ext" output. A line whose numbers don't parse ends the
    // reading there; what was read before stands.
    static std::vector<SLayoutPosition> ParseOutput(const QByteArray& output);
    // Moves the current view's nodes to the positions and lays the edges anew. Returns the number
    // of nodes moved.
    static int Apply(CNetworkDocument& document, const std::vector<SLayoutPosition>& positions);

    // Finds the layout program: neato in the application directory, else on the PATH. On failure
    // fills the message to show ("Application directory not found." and the like).
    static bool FindProgram(QString* pstrProgram, QString* pstrError);
    // Runs neato on a graph and gives its output. Blocks until neato ends; safe on a worker thread
    // as it touches nothing but its arguments. On failure fills the message to show.
    static bool RunProgram(const QString& strProgram, const QByteArray& input, QByteArray* pOutput,
                           QString* pstrError);

    // How neato is run: RunProgram itself, or a caller's way of waiting for it.
    using ProgramRunner = std::function<bool(const QString& strProgram, const QByteArray& input,
                                             QByteArray* pOutput, QString* pstrError)>;
    // The whole layout, with the "Elliminate PE overlaps?" question and the failure messages. By
    // default neato runs on the calling thread, for callers without an event loop to keep alive.
    static bool Run(CNetworkDocument& document, bool bHideNulls, const ProgramRunner& runner = RunProgram,
                    const SLayoutRoom& room = {});
    // Asks the overlap question (key NoOverlaps); true for Yes.
    static bool AskNoOverlaps();
};

// Lays every edge of a view as a straight path between the centres of its two end nodes; a
// link from a node to itself becomes a small loop beside the node.
void RouteEdges(const CDrawList& nodes, CDrawList& edges);
// Makes the current view's map size fit its nodes, with a margin.
void AutosizeMap(CNetworkDocument& document);

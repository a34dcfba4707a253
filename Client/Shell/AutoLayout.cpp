#include "AutoLayout.h"

#include "NetworkDocument.h"
#include "Preferences.h"
#include "UserInterface.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryFile>

#include <algorithm>
#include <cerrno>
#include <map>

namespace
{
// Margin around the nodes when a map is sized to them, and the room a node takes.
constexpr int kMapMargin = 100;

// Graphviz measures in inches of 72 points; the map places a node 100 pixels per inch.
constexpr double kPixelsPerInch = 100.0;
constexpr double kPointsPerPixel = 72.0 / kPixelsPerInch;
// Room between nodes when links carry no labels, and around a link label.
constexpr double kNodeGap = 10.0;
constexpr double kLinkLabelPad = 8.0;
// Maps of this many nodes and more are laid out by the multiscale method, unless set otherwise.
constexpr int kDefaultFastThreshold = 400;
// The estimate of a label, for callers that cannot measure text: Arial at 10 pixels.
constexpr double kLetterWidth = 6.5;
constexpr double kLineHeight = 13.0;
constexpr double kIconHalf = 26.0;

const char* const kSmallNode =
    "shape=ellipse,height=0.5,width=0.5,fixedsize=true,fontsize=10,fontname=Helvetica";

QString ApplicationDirectory()
{
    return GetPreference(QStringLiteral("Directories"), QStringLiteral("AppDir"),
                         QCoreApplication::applicationDirPath());
}

QStringList NodeLines(const CDrawPrimitive& node)
{
    switch (node.eKind)
    {
    case eDrawKindGroup:
        return {static_cast<const CDrawGroup&>(node).Label};
    case eDrawKindOffViewHandle:
        return {static_cast<const CDrawOffViewHandle&>(node).Label};
    default:
        return static_cast<const CDrawNode&>(node).TextLines;
    }
}

SNodeRoom EstimateRoom(const QStringList& lines)
{
    qsizetype nLongest = 0;
    for (const QString& strLine : lines)
    {
        nLongest = std::max(nLongest, strLine.size());
    }
    SNodeRoom room;
    room.dHalfWidth = std::max(kIconHalf, static_cast<double>(nLongest) * kLetterWidth / 2 + 4);
    room.dAbove = kIconHalf;
    room.dBelow =
        lines.isEmpty() ? kIconHalf : kIconHalf + kLineHeight * static_cast<double>(lines.size()) + 2;
    return room;
}

// The name a node has in the layout input, or an empty text when it is left out.
QByteArray NodeName(const CNetworkDocument& document, const CDrawPrimitive& node, int iPosition,
                    bool bHideNulls)
{
    const auto& drawNode = static_cast<const CDrawNode&>(node);
    if (drawNode.iBelongsToGroup != kNoGroup)
    {
        return QByteArray();
    }
    switch (node.eKind)
    {
    case eDrawKindGroup:
        return "G" + QByteArray::number(iPosition);
    case eDrawKindOffViewHandle:
        return "O" + QByteArray::number(iPosition);
    case eDrawKindPE:
    {
        const CPEPrimitive* pPE = document.pCurrentPEs->GetByNodeNumber(node.iAssociatedPrimitive);
        if (!pPE || pPE->bDeleted || (bHideNulls && pPE->uType == kPETypeNull))
        {
            return QByteArray();
        }
        return "P" + QByteArray::number(node.iAssociatedPrimitive);
    }
    default:
        return QByteArray();
    }
}
} // namespace

QByteArray CAutoLayout::LayoutInput(const CNetworkDocument& document, bool bNoOverlaps, bool bHideNulls,
                                    const SLayoutRoom& room)
{
    QByteArray nodeLines;
    int nNodes = 0;
    std::map<uint32_t, QByteArray> names; // by unique ID of the node
    const CDrawList& nodes = *document.pCurrentNodes;
    for (int i = 0; i < nodes.GetCount(); ++i)
    {
        const CDrawPrimitive& node = *nodes.GetAt(i);
        const QByteArray name = NodeName(document, node, i, bHideNulls);
        if (name.isEmpty())
        {
            continue;
        }
        names[node.uUniqueID] = name;
        ++nNodes;
        if (node.eKind == eDrawKindPE)
        {
            const CPEPrimitive* pPE = document.pCurrentPEs->GetByNodeNumber(node.iAssociatedPrimitive);
            if (pPE->uType == kPETypeNull)
            {
                nodeLines += "\tnode [shape=ellipse,height=0.35,width=0.35,fixedsize=true,fontsize=10,"
                             "fontname=Helvetica]; " +
                             name + "\n";
            }
            else
            {
                nodeLines +=
                    QByteArray("\tnode [shape=") + ((pPE->uType & kPETypeBridge) ? "rectangle" : "ellipse") +
                    ",height=0.5,width=0.5,fixedsize=true,fontsize=10,fontname=Helvetica]; " + name + "\n";
            }
        }
        else
        {
            nodeLines += QByteArray("\tnode [") + kSmallNode + "]; " + name + "\n";
        }
        // The node's real size: its icon and the labels under it, centred on its position.
        const SNodeRoom nodeRoom =
            room.nodeRoom ? room.nodeRoom(NodeLines(node)) : EstimateRoom(NodeLines(node));
        const double dWidth = 2.0 * nodeRoom.dHalfWidth / kPixelsPerInch;
        const double dHeight = 2.0 * std::max(nodeRoom.dAbove, nodeRoom.dBelow) / kPixelsPerInch;
        nodeLines += "\t" + name + " [width=" + QByteArray::number(dWidth, 'f', 2) +
                     ",height=" + QByteArray::number(dHeight, 'f', 2) + "]\n";
    }
    const bool bFast = nNodes >= FastThreshold();
    QByteArray text = "graph NVT {\n\tnormalize=true\n";
    if (bNoOverlaps)
    {
        text += "\toverlap=compress\n";
        // Compression only keeps a layout free of overlaps that is free of them already: the
        // proximity-graph removal takes them out first and then compresses the result. On a large
        // map a few rounds of it do, where its default of a thousand takes half a minute.
        text += bFast ? "\toverlap=prism20\n" : "\toverlap=prism\n";
        text += "\toverlap_shrink=true\n";
        // The margin of each node holds the labels at the ends of its links.
        // Half a label each side is enough: a label slides along its link to where there is room.
        const double dMargin =
            (room.dLinkLabel > 0 ? room.dLinkLabel / 2 + kLinkLabelPad : kNodeGap) * kPointsPerPixel;
        text += "\tsep=\"+" + QByteArray::number(dMargin, 'f', 1) + "\"\n";
    }
    if (bFast)
    {
        // Stress majorization takes minutes over thousands of nodes; the multiscale method seconds.
        text += "\tlayout=sfdp\n";
    }
    text += nodeLines;
    text += "\n";
    for (const auto& pEdge : *document.pCurrentEdges)
    {
        const auto& edge = static_cast<const CDrawEdge&>(*pEdge);
        const auto start = names.find(edge.uStartUniqueID);
        const auto end = names.find(edge.uEndUniqueID);
        if (start == names.end() || end == names.end())
        {
            continue;
        }
        text += "\t" + start->second + " -- " + end->second +
                " [headlabel=\"XX\",taillabel=\"XX\",labeldistance=0.5,fontsize=7,fontname=Helvetica,"
                "color=green]\n";
    }
    text += "}\n";
    return text;
}

int CAutoLayout::FastThreshold()
{
    return static_cast<int>(GetPreference(QStringLiteral("Preferences"),
                                          QStringLiteral("LayoutFastThreshold"),
                                          static_cast<uint32_t>(kDefaultFastThreshold)));
}

std::vector<SLayoutPosition> CAutoLayout::ParseOutput(const QByteArray& output)
{
    std::vector<SLayoutPosition> positions;
    double dHeight = 0.0;
    for (const QByteArray& line : output.split('\n'))
    {
        const QList<QByteArray> words = line.simplified().split(' ');
        if (words.isEmpty() || words.front().isEmpty())
        {
            continue;
        }
        const QByteArray keyword = words.front().toLower();
        if (keyword == "stop")
        {
            break;
        }
        bool bOk = true;
        if (keyword == "graph")
        {
            if (words.size() < 4)
            {
                break;
            }
            words[2].toDouble(&bOk);
            if (bOk)
            {
                dHeight = words[3].toDouble(&bOk);
            }
        }
        else if (keyword == "node")
        {
            if (words.size() < 4 || words[1].size() < 2)
            {
                break;
            }
            SLayoutPosition position;
            position.cKind = words[1].at(0);
            position.iNumber = words[1].mid(1).toInt(&bOk);
            double dX = 0.0;
            double dY = 0.0;
            if (bOk)
            {
                dX = words[2].toDouble(&bOk);
            }
            if (bOk)
            {
                dY = words[3].toDouble(&bOk);
            }
            if (!bOk)
            {
                break;
            }
            dY = dHeight - dY;
            position.iX = 100 + static_cast<int>(dX * 100);
            position.iY = 100 + static_cast<int>(dY * 100);
            positions.push_back(position);
        }
        if (!bOk)
        {
            break;
        }
    }
    return positions;
}

int CAutoLayout::Apply(CNetworkDocument& document, const std::vector<SLayoutPosition>& positions)
{
    CDrawList& nodes = *document.pCurrentNodes;
    int nMoved = 0;
    for (const SLayoutPosition& position : positions)
    {
        CDrawPrimitive* pNode = nullptr;
        if (position.cKind == 'P')
        {
            pNode = nodes.FindPENode(position.iNumber);
        }
        else if (position.cKind == 'G' || position.cKind == 'O')
        {
            pNode = nodes.GetAt(position.iNumber);
        }
        if (pNode && pNode->IsNode())
        {
            static_cast<CDrawNode*>(pNode)->Move(position.iX, position.iY);
            ++nMoved;
        }
    }
    RouteEdges(nodes, *document.pCurrentEdges);
    AutosizeMap(document);
    return nMoved;
}

bool CAutoLayout::FindProgram(QString* pstrProgram, QString* pstrError)
{
    const QString strAppDir = ApplicationDirectory();
    if (strAppDir.isEmpty() || !QFileInfo(strAppDir).isDir())
    {
        *pstrError = QStringLiteral("Application directory not found.");
        return false;
    }
    const QString strBeside = QDir(strAppDir).filePath(QStringLiteral("neato"));
    *pstrProgram = QFileInfo(strBeside).isExecutable() ? strBeside : QStandardPaths::findExecutable("neato");
    if (pstrProgram->isEmpty())
    {
        *pstrError = QStringLiteral("Unable to run automatic layout program (1)");
        return false;
    }
    return true;
}

bool CAutoLayout::RunProgram(const QString& strProgram, const QByteArray& input, QByteArray* pOutput,
                             QString* pstrError)
{
    const QString strTemp = QDir::tempPath();
    if (strTemp.isEmpty() || !QFileInfo(strTemp).isDir())
    {
        *pstrError = QString::asprintf("Unable to locate local temporary directory. Error %d", ENOENT);
        return false;
    }
    QTemporaryFile inputFile(QDir(strTemp).filePath(QStringLiteral("NVTXXXXXX")));
    QTemporaryFile outputFile(QDir(strTemp).filePath(QStringLiteral("OUTXXXXXX")));
    if (!inputFile.open() || !outputFile.open())
    {
        *pstrError = QString::asprintf("Unable to get a local temporary file name. Error %d", errno);
        return false;
    }
    inputFile.write(input);
    inputFile.flush();
    QProcess process;
    process.setWorkingDirectory(ApplicationDirectory());
    process.start(strProgram, {QStringLiteral("-Tplain-ext"),
                               QStringLiteral("-o%1").arg(outputFile.fileName()), inputFile.fileName()});
    if (!process.waitForStarted())
    {
        *pstrError = QStringLiteral("Unable to run automatic layout program (1)");
        return false;
    }
    // A large map takes neato a while: wait as long as it runs.
    process.waitForFinished(-1);
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
    {
        *pstrError = QStringLiteral("Unable to run automatic layout program (2)");
        return false;
    }
    QFile result(outputFile.fileName());
    if (!result.open(QIODevice::ReadOnly))
    {
        *pstrError = QStringLiteral("Unable to run automatic layout program (3)");
        return false;
    }
    *pOutput = result.readAll();
    return true;
}

bool CAutoLayout::AskNoOverlaps()
{
    return AskDontAsk(QStringLiteral("NoOverlaps"), QStringLiteral("Elliminate PE overlaps?"),
                      ApplicationTitle()) == eAnswerYes;
}

bool CAutoLayout::Run(CNetworkDocument& document, bool bHideNulls, const ProgramRunner& runner,
                      const SLayoutRoom& room)
{
    const QByteArray input = LayoutInput(document, AskNoOverlaps(), bHideNulls, room);
    QString strProgram;
    QString strError;
    QByteArray output;
    if (!FindProgram(&strProgram, &strError) || !runner(strProgram, input, &output, &strError))
    {
        ShowMessage(strError);
        return false;
    }
    Apply(document, ParseOutput(output));
    return true;
}

void RouteEdges(const CDrawList& nodes, CDrawList& edges)
{
    std::map<uint32_t, QPoint> centres;
    for (const auto& pNode : nodes)
    {
        centres[pNode->uUniqueID] = QPoint(pNode->iXPos, pNode->iYPos);
    }
    for (const auto& pObject : edges)
    {
        auto& edge = static_cast<CDrawEdge&>(*pObject);
        const auto start = centres.find(edge.uStartUniqueID);
        const auto end = centres.find(edge.uEndUniqueID);
        if (start == centres.end() || end == centres.end())
        {
            continue;
        }
        if (edge.uStartUniqueID == edge.uEndUniqueID)
        {
            const QPoint at = start->second;
            edge.Style = eEdgeLoopback;
            edge.SetPath({at, at + QPoint(60, -40), at + QPoint(60, 40), at});
        }
        else
        {
            edge.Style = eEdgeStraight;
            edge.SetPath({start->second, end->second});
        }
    }
}

void AutosizeMap(CNetworkDocument& document)
{
    int iRight = 0;
    int iBottom = 0;
    for (const auto& pNode : *document.pCurrentNodes)
    {
        if (pNode->bVisible)
        {
            iRight = std::max(iRight, pNode->iXPos);
            iBottom = std::max(iBottom, pNode->iYPos);
        }
    }
    CMapView& view = *document.pCurrentView;
    int& iWidth = document.bShowTemplate ? view.iTemplateWidth : view.iWidth;
    int& iHeight = document.bShowTemplate ? view.iTemplateHeight : view.iHeight;
    iWidth = iRight + kMapMargin;
    iHeight = iBottom + kMapMargin;
}

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

#include <cerrno>
#include <map>

namespace
{
// Margin around the nodes when a map is sized to them, and the room a node takes.
constexpr int kMapMargin = 100;

const char* const kSmallNode =
    "shape=ellipse,height=0.5,width=0.5,fixedsize=true,fontsize=10,fontname=Helvetica";

QString ApplicationDirectory()
{
    return GetPreference(QStringLiteral("Directories"), QStringLiteral("AppDir"),
                         QCoreApplication::applicationDirPath());
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

QByteArray CAutoLayout::LayoutInput(const CNetworkDocument& document, bool bNoOverlaps, bool bHideNulls)
{
    QByteArray text = "graph NVT {\n\tnormalize=true\n";
    if (bNoOverlaps)
    {
        text += "\toverlap=compress\n";
    }
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
        if (node.eKind == eDrawKindPE)
        {
            const CPEPrimitive* pPE = document.pCurrentPEs->GetByNodeNumber(node.iAssociatedPrimitive);
            if (pPE->uType == kPETypeNull)
            {
                text += "\tnode [shape=ellipse,height=0.35,width=0.35,fixedsize=true,fontsize=10,"
                        "fontname=Helvetica]; " +
                        name + "\n";
            }
            else
            {
                text +=
                    QByteArray("\tnode [shape=") + ((pPE->uType & kPETypeBridge) ? "rectangle" : "ellipse") +
                    ",height=0.5,width=0.5,fixedsize=true,fontsize=10,fontname=Helvetica]; " + name + "\n";
            }
        }
        else
        {
            text += QByteArray("\tnode [") + kSmallNode + "]; " + name + "\n";
        }
    }
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

bool CAutoLayout::Run(CNetworkDocument& document, bool bHideNulls, const ProgramRunner& runner)
{
    const QByteArray input = LayoutInput(document, AskNoOverlaps(), bHideNulls);
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

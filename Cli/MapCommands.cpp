// The map commands of norvanta-cli: show a map file's contents as text, and check a map file.
#include "CliCollectingInterface.h"
#include "CliCommand.h"

#include "NetworkDocument.h"
#include "NetworkMap.h"
#include "UserInterface.h"

#include <QStringList>

#include <cstdio>
#include <string>

namespace
{
void Print(const QString& strLine)
{
    std::printf("%s\n", strLine.toLocal8Bit().constData());
}

void PrintError(const QString& strLine)
{
    std::fprintf(stderr, "%s\n", strLine.toLocal8Bit().constData());
}

// Reads the map named by the invocation ("FILE" or "--enciphered FILE"); false with the reason
// on standard error.
bool LoadFromArguments(const SCliInvocation& invocation, const char* pszCommand, CNetworkDocument& document,
                       CNetworkMap& map)
{
    bool bEnciphered = false;
    QString strPath;
    for (const std::string& strArg : invocation.args)
    {
        if (strArg == "--enciphered")
        {
            bEnciphered = true;
        }
        else if (strPath.isEmpty())
        {
            strPath = QString::fromStdString(strArg);
        }
        else
        {
            PrintError(QStringLiteral("%1: unexpected argument '%2'")
                           .arg(QLatin1String(pszCommand), QString::fromStdString(strArg)));
            return false;
        }
    }
    if (strPath.isEmpty())
    {
        PrintError(QStringLiteral("%1: a map file is needed").arg(QLatin1String(pszCommand)));
        return false;
    }
    CCollectingInterface messages;
    if (map.LoadMap(strPath, document, bEnciphered))
    {
        return true;
    }
    const QString strReason =
        messages.Messages.isEmpty() ? map.LastError() : messages.Messages.join(QLatin1Char(' '));
    PrintError(QStringLiteral("%1: %2: %3").arg(QLatin1String(pszCommand), strPath, strReason.trimmed()));
    return false;
}

QString PEName(const CPEPrimitive& pe)
{
    if (!pe.CommonName.isEmpty())
    {
        return pe.CommonName;
    }
    return QString::asprintf("%04Xh/%04Xh", pe.DeviceID, pe.ManufID);
}

QString RouteText(const SRouteEntry& entry)
{
    switch (entry.eType)
    {
    case eRouteMulticast:
        return QString::asprintf("%Xh >> Mask %d", entry.DestID, entry.Port);
    case eRouteSpecial:
        return QString::asprintf("%Xh >> ?%u", entry.DestID, entry.uSpecialType);
    default:
        return QString::asprintf("%Xh >> %d", entry.DestID, entry.Port);
    }
}

void ShowPEs(const CPEList& pes)
{
    Print(QStringLiteral("PEs: %1").arg(pes.GetCount()));
    for (const auto& pPE : pes)
    {
        const CPEPrimitive& pe = *pPE;
        QString strLine =
            QString::asprintf("  Node %d  %s  %s  device %04Xh vendor %04Xh  ports %d", pe.iNodeNumber + 1,
                              qPrintable(PEName(pe)), qPrintable(pe.GetTypeString()), pe.DeviceID, pe.ManufID,
                              pe.iNumLocalPorts);
        if (pe.bUsesDestID || pe.GetDestID() != kNoDestID)
        {
            strLine += QString::asprintf("  destID %Xh", pe.GetDestID());
        }
        if (pe.bHasHostLink)
        {
            strLine += QStringLiteral("  host link");
        }
        if (!pe.UniqueID.isEmpty())
        {
            strLine += QStringLiteral("  unique ID ") + pe.UniqueID;
        }
        Print(strLine);
        if (!pe.Comment.isEmpty())
        {
            Print(QStringLiteral("      comment: ") + pe.Comment);
        }
    }
}

void ShowConnections(const CConnectionList& connections)
{
    Print(QStringLiteral("Connections: %1").arg(connections.GetCount()));
    for (const auto& pConnection : connections)
    {
        Print(QString::asprintf("  Node %d port %d -- Node %d port %d  %s", pConnection->iPE1 + 1,
                                pConnection->iPE1Port, pConnection->iPE2 + 1, pConnection->iPE2Port,
                                qPrintable(pConnection->GetStatus())));
    }
}

void ShowTables(const CPEList& pes)
{
    Print(QStringLiteral("Routing tables:"));
    for (const auto& pPE : pes)
    {
        if (pPE->HasDefaultPort())
        {
            Print(
                QString::asprintf("  Node %d default port %d", pPE->iNodeNumber + 1, pPE->GetDefaultPort()));
        }
        for (int iSlot = 0; iSlot < kMaxPorts; ++iSlot)
        {
            const CRoutingTable* pTable = pPE->RoutingTables[static_cast<size_t>(iSlot)].get();
            if (!pTable)
            {
                continue;
            }
            QStringList routes;
            for (const SRouteEntry& entry : pTable->Entries())
            {
                routes << RouteText(entry);
            }
            const QString strTable = pPE->bHasPerPortRoutingTables ? QStringLiteral("port %1").arg(iSlot)
                                                                   : QStringLiteral("all ports");
            Print(QStringLiteral("  Node %1 %2: %3")
                      .arg(pPE->iNodeNumber + 1)
                      .arg(strTable, routes.isEmpty() ? QStringLiteral("No routes")
                                                      : routes.join(QStringLiteral(", "))));
        }
        const CMulticastInfo& multicast = pPE->Multicast;
        for (int i = 0; i < multicast.GetNumMasks(); ++i)
        {
            const SMulticastMask* pMask = multicast.GetMask(i);
            QStringList ids;
            QStringList ports;
            for (const uint16_t wID : pMask->DestIDs)
            {
                ids << QString::asprintf("%Xh", wID);
            }
            for (const uint8_t uchPort : pMask->Ports)
            {
                ports << QString::number(uchPort);
            }
            Print(QStringLiteral("  Node %1 mask %2: IDs %3; ports %4")
                      .arg(pPE->iNodeNumber + 1)
                      .arg(pMask->MaskID)
                      .arg(ids.join(QLatin1Char(' ')), ports.join(QLatin1Char(' '))));
        }
    }
}

int RunMapShow(const SCliInvocation& invocation)
{
    CNetworkDocument document;
    CNetworkMap map;
    if (!LoadFromArguments(invocation, "map show", document, map))
    {
        return 1;
    }
    Print(QStringLiteral("Map %1: version %2.%3, %4 transport")
              .arg(document.FileName)
              .arg(map.uVersion >> 16)
              .arg(map.uVersion & 0xFFFF)
              .arg(map.iTransportBits == 16 ? QStringLiteral("16-bit") : QStringLiteral("8-bit")));
    for (const bool bTemplate : {false, true})
    {
        const CPEList& pes = bTemplate ? document.TemplatePEs : document.ActivePEs;
        const CConnectionList& connections =
            bTemplate ? document.TemplateConnections : document.ActiveConnections;
        if (bTemplate && pes.IsEmpty() && connections.IsEmpty())
        {
            continue;
        }
        Print(bTemplate ? QStringLiteral("Template map") : QStringLiteral("Active map"));
        ShowPEs(pes);
        ShowConnections(connections);
        ShowTables(pes);
    }
    Print(QStringLiteral("Views: %1").arg(document.Views.size()));
    for (const auto& pView : document.Views)
    {
        Print(QStringLiteral("  %1 (%2): %3 nodes, %4 edges, %5 x %6")
                  .arg(pView->Name)
                  .arg(pView->iViewID)
                  .arg(pView->pNodes.GetCount())
                  .arg(pView->pEdges.GetCount())
                  .arg(pView->iWidth)
                  .arg(pView->iHeight));
    }
    Print(QStringLiteral("Watch items: %1").arg(document.WatchItems.size()));
    return 0;
}

// Problems that load fine but leave the map inconsistent.
QStringList CheckMap(const CNetworkDocument& document)
{
    QStringList problems;
    QString strMessage;
    if (!document.ValidateUniqueDestIDs(strMessage))
    {
        problems << strMessage;
    }
    for (const auto& pConnection : document.ActiveConnections)
    {
        for (const auto& [iNode, iPort] : {std::pair(pConnection->iPE1, pConnection->iPE1Port),
                                           std::pair(pConnection->iPE2, pConnection->iPE2Port)})
        {
            const CPEPrimitive* pPE = document.ActivePEs.GetByNodeNumber(iNode);
            if (!pPE)
            {
                problems << QStringLiteral("Connection %1 names Node %2, which isn't in the map.")
                                .arg(pConnection->iNodeNumber + 1)
                                .arg(iNode + 1);
            }
            else if (iPort >= pPE->iNumLocalPorts)
            {
                problems << QStringLiteral("Connection %1 uses port %2 of Node %3, which has %4 ports.")
                                .arg(pConnection->iNodeNumber + 1)
                                .arg(iPort)
                                .arg(iNode + 1)
                                .arg(pPE->iNumLocalPorts);
            }
        }
    }
    for (const auto& pView : document.Views)
    {
        for (const auto& pNode : pView->pNodes)
        {
            if (pNode->eKind == eDrawKindPE &&
                !document.ActivePEs.GetByNodeNumber(pNode->iAssociatedPrimitive))
            {
                problems << QStringLiteral("View '%1' draws Node %2, which isn't in the map.")
                                .arg(pView->Name)
                                .arg(pNode->iAssociatedPrimitive + 1);
            }
        }
    }
    return problems;
}

int RunMapCheck(const SCliInvocation& invocation)
{
    CNetworkDocument document;
    CNetworkMap map;
    if (!LoadFromArguments(invocation, "map check", document, map))
    {
        return 1;
    }
    const QStringList problems = CheckMap(document);
    for (const QString& strProblem : problems)
    {
        PrintError(strProblem);
    }
    if (!problems.isEmpty())
    {
        return 2;
    }
    Print(QStringLiteral("%1: OK, %2 PEs, %3 connections")
              .arg(document.FileName)
              .arg(document.ActivePEs.GetCount())
              .arg(document.ActiveConnections.GetCount()));
    return 0;
}
} // namespace

extern const SCliCommand g_aMapCommands[] = {
    {"map show", "[--enciphered] FILE", RunMapShow},
    {"map check", "[--enciphered] FILE", RunMapCheck},
    {nullptr, nullptr, nullptr},
};

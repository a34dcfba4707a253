#include "HeadlessDemo.h"

#include "MainFrameCore.h"
#include "NetworkCommands.h"

#include <cstdio>

namespace
{
void Say(const QString& strLine)
{
    std::printf("%s\n", strLine.toLocal8Bit().constData());
}

} // namespace

void CDemoUserInterface::ShowMessage(const QString& strText, const QString&, EMessageKind)
{
    Say(QStringLiteral("  ") + strText);
}

int CDemoUserInterface::Ask(const QString& strText, const QString&, bool)
{
    Say(QStringLiteral("  ") + strText + QStringLiteral(" [Yes]"));
    return eAnswerYes;
}

int RunHeadlessDemo(const QString& strMapPath)
{
    CDemoUserInterface ui;
    CMainFrameCore frame;
    InstallNetworkCommands(frame);
    Say(QStringLiteral("Connecting to the demo fabric..."));
    if (!frame.ConnectDemo())
    {
        return 1;
    }
    Say(QStringLiteral("Connected: %1, %2").arg(frame.ConnectionStatusText(), frame.TransportStatusText()));
    for (const QString& strLine : frame.Session().ServerInfo())
    {
        Say(QStringLiteral("  ") + QString(strLine).replace(QLatin1Char('\t'), QStringLiteral(": ")));
    }
    if (const CPEPrimitive* pHost = frame.HostPE())
    {
        Say(QString::asprintf("Host PE: Node %d, device %04Xh, vendor %04Xh, %s", pHost->iNodeNumber + 1,
                              pHost->DeviceID, pHost->ManufID, qPrintable(pHost->GetTypeString())));
    }
    Say(QStringLiteral("Network > Standard Discovery"));
    frame.RunCommand(eCmdStandardDiscovery);
    Say(QStringLiteral("Network > Routing Tables > Generate All"));
    frame.RunCommand(eCmdGenerateAllTables);
    Say(QStringLiteral("File > Save As %1").arg(strMapPath));
    const bool bSaved = frame.SaveMapAs(strMapPath);
    Say(QStringLiteral("Title: %1").arg(frame.TitleText()));
    frame.Disconnect();
    Say(QStringLiteral("Disconnected: %1").arg(frame.ConnectionStatusText()));
    return bSaved ? 0 : 1;
}

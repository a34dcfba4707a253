#include "DemoTarget.h"

#include "LinkSettings.h"
#include "UserInterface.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>

#include <arpa/inet.h>
#include <csignal>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{
// How long the simulator may take to bind its sockets on a loaded machine.
constexpr int kReadyMilliseconds = 20000;

QString FirstExisting(const QStringList& candidates)
{
    for (const QString& strPath : candidates)
    {
        if (QFileInfo(strPath).isFile())
        {
            return QDir::cleanPath(QFileInfo(strPath).absoluteFilePath());
        }
    }
    return QString();
}

// A UDP port on loopback that nobody holds right now, for the answers of a search.
uint16_t FreeLoopbackUdpPort()
{
    const int nSocket = ::socket(AF_INET, SOCK_DGRAM, 0);
    if (nSocket < 0)
    {
        return 0;
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t nSize = sizeof(address);
    uint16_t wPort = 0;
    if (::bind(nSocket, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0 &&
        ::getsockname(nSocket, reinterpret_cast<sockaddr*>(&address), &nSize) == 0)
    {
        wPort = ntohs(address.sin_port);
    }
    ::close(nSocket);
    return wPort;
}

uint16_t PortOf(const QString& strLine, const char* pszKey)
{
    const QRegularExpression pattern(QStringLiteral("%1=(\\d+)").arg(QLatin1String(pszKey)));
    const QRegularExpressionMatch match = pattern.match(strLine);
    return match.hasMatch() ? static_cast<uint16_t>(match.captured(1).toUInt()) : 0;
}
} // namespace

CDemoTarget::CDemoTarget() = default;

CDemoTarget::~CDemoTarget()
{
    Stop();
}

QString CDemoTarget::SimulatorProgram()
{
    const QString strAppDir = QCoreApplication::applicationDirPath();
    return FirstExisting({strAppDir + QStringLiteral("/norvanta-sim"),
                          strAppDir + QStringLiteral("/../Simulator/norvanta-sim"),
                          QStringLiteral(NV_BUILD_DIR "/Simulator/norvanta-sim")});
}

QString CDemoTarget::DemoTopology()
{
    const QString strAppDir = QCoreApplication::applicationDirPath();
    return FirstExisting({strAppDir + QStringLiteral("/../share/norvanta/topologies/demo.topo"),
                          QStringLiteral(NV_SOURCE_DIR "/Simulator/topologies/demo.topo")});
}

bool CDemoTarget::Start()
{
    Stop();
    const QString strProgram = SimulatorProgram();
    const QString strTopology = DemoTopology();
    if (strProgram.isEmpty() || strTopology.isEmpty())
    {
        ShowMessage(
            QStringLiteral("Unable to start the demo fabric: the simulator or its demo topology is not "
                           "installed."));
        return false;
    }
    const uint16_t wReplyPort = FreeLoopbackUdpPort();
    m_pProcess = std::make_unique<QProcess>();
    m_pProcess->setProcessChannelMode(QProcess::SeparateChannels);
    // The simulator is this run's own: it ends with the program even when the program is killed
    // and has no chance to stop it.
    m_pProcess->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    m_pProcess->start(strProgram,
                      {QStringLiteral("--bind"), QStringLiteral("127.0.0.1"), QStringLiteral("--tcp-port"),
                       QStringLiteral("0"), QStringLiteral("--udp-port"), QStringLiteral("0"),
                       QStringLiteral("--broadcast-port"), QStringLiteral("0"),
                       QStringLiteral("--reply-port"), QString::number(wReplyPort), strTopology});
    QString strLine;
    if (m_pProcess->waitForStarted(kReadyMilliseconds))
    {
        while (!m_pProcess->canReadLine() && m_pProcess->state() == QProcess::Running &&
               m_pProcess->waitForReadyRead(kReadyMilliseconds))
        {
        }
        strLine = QString::fromLocal8Bit(m_pProcess->readLine()).trimmed();
    }
    if (!strLine.startsWith(QLatin1String("norvanta-sim ready")))
    {
        const QString strError = QString::fromLocal8Bit(m_pProcess->readAllStandardError()).trimmed();
        Stop();
        ShowMessage(QStringLiteral("Unable to start the demo fabric.\n%1").arg(strError));
        return false;
    }
    m_wTcpPort = PortOf(strLine, "tcp");
    // Point this run's links at the simulator: its server port, and a search that stays on
    // loopback with its answers on the port the simulator was told.
    SLinkSettings& settings = LinkSettings();
    settings.wServerPort = m_wTcpPort;
    settings.wUdpLocalPort = 0;
    settings.wBroadcastPort = PortOf(strLine, "broadcast");
    settings.wReplyPort = wReplyPort;
    settings.ulBroadcastAddress = kAddress;
    return true;
}

void CDemoTarget::Stop()
{
    if (!m_pProcess)
    {
        return;
    }
    if (m_pProcess->state() != QProcess::NotRunning)
    {
        m_pProcess->terminate();
        if (!m_pProcess->waitForFinished(3000))
        {
            m_pProcess->kill();
            m_pProcess->waitForFinished(3000);
        }
    }
    m_pProcess.reset();
    m_wTcpPort = 0;
    ReloadLinkSettings();
}

#include "TargetConnection.h"

#include "ClientStatus.h"
#include "Preferences.h"
#include "RS232Comms.h"
#include "ServerCaps.h"
#include "StatusText.h"
#include "TargetClient.h"
#include "UserInterface.h"

namespace
{
QString OSName(uint16_t wType)
{
    static const char* const kNames[] = {"Norvanta Simulator", "Linux", "Neutrino", "DSP/BIOS", "SYS/BIOS"};
    return wType < 5 ? QString::fromLatin1(kNames[wType]) : QString::asprintf("Uknown type %d\n", wType);
}

QString ProcessorName(uint16_t wType)
{
    static const char* const kNames[] = {"Norvanta Simulator", "FreeScale PowerQuicc III",
                                         "TI TMS320C6455/6482 DSP", "TI TMS320C6457 DSP"};
    return wType < 4 ? QString::fromLatin1(kNames[wType]) : QString::asprintf("Uknown type %d\n", wType);
}
} // namespace

ELinkKind LinkKindOfConnection(int32_t nChoice)
{
    switch (nChoice)
    {
    case eConnEthernetTCP:
    case eConnInternetTCP:
        return eLinkTCP;
    case eConnEthernetUDP:
    case eConnInternetUDP:
        return eLinkUDP;
    case eConnRS232:
        return eLinkRS232;
    case eConnJTAG:
        return eLinkJTAG;
    case eConnI2C7Bit:
    case eConnI2C10Bit:
        return eLinkI2C;
    case eConnTsi721Driver:
        return eLinkPCIe;
    default:
        return eLinkNone;
    }
}

QStringList ServerInfoLines(const SServerInfo& info)
{
    QStringList lines;
    lines << QStringLiteral("Processor\t%1").arg(ProcessorName(info.wProcessorType))
          << QStringLiteral("OS\t%1").arg(OSName(info.wOSType))
          << QString::asprintf("Server Version\t%d.%d", info.uchServerMajor, info.uchServerMinor)
          << QString::asprintf("Driver Version\t%d.%d", static_cast<int>(info.ulDriverMajor),
                               static_cast<int>(info.ulDriverMinor))
          << QString::asprintf("Interface Version\t%08lx",
                               static_cast<unsigned long>(info.ulInterfaceVersion));
    const CServerCaps& caps = CServerCaps::Instance();
    const std::pair<bool, const char*> kLines[] = {
        {caps.bMemoryRead, "Memory Read\tSupported"},
        {caps.bMemoryWrite, "Memory Write\tSupported"},
        {caps.bLocalTrafficGen, "Local Traffic Generator\tSupported"},
        {caps.bRemoteTrafficGen, "Remote Traffic Generator\tSupported"},
        {caps.bDoorbellTx, "Doorbell Transmission\tSupported"},
        {caps.bDoorbellRx, "Doorbell Reception\tSupported"},
        {caps.bMessageTx, "Message Transmission\tSupported"},
        {caps.bMessageRx, "Message Reception\tSupported"},
        {caps.bFlashRead, "Flash Read\tSupported"},
        {caps.bFlashWrite, "Flash Write\tSupported"},
    };
    for (const auto& [bSupported, pszLine] : kLines)
    {
        if (bSupported)
        {
            lines << QString::fromLatin1(pszLine);
        }
    }
    return lines;
}

CTargetConnection::CTargetConnection() = default;

CTargetConnection::~CTargetConnection()
{
    if (IsConnected())
    {
        Disconnect();
    }
}

bool CTargetConnection::IsConnected() const
{
    return m_nChoice != 0 && m_link.IsConnected();
}

bool CTargetConnection::OpenTarget(int32_t nChoice, uint32_t ulAddressWord)
{
    if (IsConnected() || nChoice < 1 || nChoice > 9)
    {
        return false;
    }
    const ELinkKind eKind = LinkKindOfConnection(nChoice);
    switch (eKind)
    {
    case eLinkJTAG:
        m_link.lJTAGDevice = static_cast<int32_t>(ulAddressWord);
        break;
    case eLinkI2C:
        m_link.uchI2CDevice = static_cast<uint8_t>(ulAddressWord >> 8);
        m_link.uchI2CChannel = static_cast<uint8_t>(ulAddressWord);
        m_link.bI2C7Bit = nChoice == eConnI2C7Bit ? 1 : 0;
        m_link.wI2CAddress = static_cast<uint16_t>((ulAddressWord >> 16) & (m_link.bI2C7Bit ? 127u : 0x3FFu));
        break;
    case eLinkPCIe:
        m_link.wTsi721Device = static_cast<uint16_t>(ulAddressWord);
        break;
    case eLinkRS232:
    {
        // The port by its number in the list of serial devices; rate and handshake as the RS232
        // tab (or the command line, for its run) last chose them.
        const QString strSection = QStringLiteral("Preferences/RS232");
        m_link.ulCOMPort = ulAddressWord;
        m_link.strCOMDevice = SerialPortDevice(ulAddressWord).toStdString();
        m_link.lBaudRate = static_cast<int32_t>(
            GetPreference(strSection, QStringLiteral("BaudRate"), static_cast<uint32_t>(115200)));
        const uint32_t ulFlow = GetPreference(strSection, QStringLiteral("Handshake"), 0u);
        m_link.lFlowControl = ulFlow <= eFlowSoftware ? static_cast<int32_t>(ulFlow) : eFlowNone;
        break;
    }
    default:
        break;
    }
    if (!m_link.Open(eKind, ulAddressWord))
    {
        return false;
    }
    CTargetClient& client = CTargetClient::Instance();
    client.SetLink(&m_link);

    SServerInfo info;
    uint32_t ulCapabilities = 0;
    const int32_t nStatus = client.GetServerInfo(&info, &ulCapabilities);
    if (nStatus != eRioOk)
    {
        ShowMessage(RioErrorText(nStatus));
        m_link.Close();
        return false;
    }
    m_info = info;
    m_ulCapabilities = ulCapabilities;
    CServerCaps::Instance().Fill(info.ulInterfaceVersion, ulCapabilities);

    const int nVersion = (info.uchServerMajor << 8) + info.uchServerMinor;
    if (nVersion < 520)
    {
        ShowMessage(
            QString::asprintf(
                "Warning.  You are connecting to a server that is not fully compatible with this version of "
                "Norvanta.\r\n\r\nServer Version: %d.%d    Minimum Required Version: %d.%d\r\n\r\nSome "
                "Norvanta features may not be supported by the server.",
                info.uchServerMajor, info.uchServerMinor, 520 >> 8, 520 & 0xFF),
            EMessageKind::Warning);
    }

    m_nChoice = nChoice;
    m_ulAddressWord = ulAddressWord;
    switch (eKind)
    {
    case eLinkRS232:
        m_strName = QStringLiteral("Serial Connection");
        break;
    case eLinkJTAG:
        m_strName = QStringLiteral("JTAG Connection");
        break;
    case eLinkI2C:
        m_strName = QString::asprintf("I2C 0x%02X", m_link.wI2CAddress);
        break;
    case eLinkPCIe:
        m_strName = QStringLiteral("Tsi721 Eval Board");
        break;
    default:
        m_strName = QString::asprintf("%2u.%2u.%2u.%2u", ulAddressWord >> 24, (ulAddressWord >> 16) & 0xFF,
                                      (ulAddressWord >> 8) & 0xFF, ulAddressWord & 0xFF);
        break;
    }
    return true;
}

void CTargetConnection::Disconnect()
{
    if (m_link.eKind != eLinkJTAG && m_link.eKind != eLinkI2C)
    {
        uint8_t abHeader[kHeaderSize];
        EncodeHeader(abHeader, NVT_CLOSE, 0);
        m_link.Send(abHeader, sizeof(abHeader));
    }
    m_link.Close();
    // A link of no kind counts as connected; after a disconnection it must not.
    m_link.eKind = eLinkTCP;
    m_nChoice = 0;
}

#include "RS232Comms.h"

#include "Preferences.h"
#include "UserInterface.h"

#include <QDir>
#include <QElapsedTimer>
#include <QSerialPort>

#include <algorithm>
#include <cstring>

namespace
{
constexpr uint32_t kHeaderSize = 8;
// The receive polls the port in steps of this many milliseconds.
constexpr uint32_t kPollMilliseconds = 50;
// A unit longer than this is no reply of the server: the bytes before it went astray.
constexpr uint64_t kMaxUnitLength = (1u << 20) + 4096;

uint32_t BigEndian32(const uint8_t* pb)
{
    return (uint32_t{pb[0]} << 24) | (uint32_t{pb[1]} << 16) | (uint32_t{pb[2]} << 8) | uint32_t{pb[3]};
}
} // namespace

CNVTCommsMsg::CNVTCommsMsg(const uint8_t* pbData, uint32_t ulNewSize)
    : pData(pbData, pbData + ulNewSize), ulSize(ulNewSize)
{
}

std::unique_ptr<CNVTCommsMsg> CNVTCommsMsg::Clone() const
{
    auto pCopy = std::make_unique<CNVTCommsMsg>(pData.data(), ulSize);
    pCopy->ulReadPos = ulReadPos;
    return pCopy;
}

std::vector<uint8_t> CNVTCommsMsg::GetData()
{
    ulReadPos = 0;
    return pData;
}

bool CNvtMsgParser::Parse(const uint8_t* pbBlock, uint32_t ulSize)
{
    pPending.insert(pPending.end(), pbBlock, pbBlock + ulSize);
    size_t nStart = 0;
    while (pPending.size() - nStart >= kHeaderSize)
    {
        const uint64_t ullLength = BigEndian32(pPending.data() + nStart + 4);
        if (ullLength > kMaxUnitLength)
        {
            Reset();
            return false;
        }
        if (ullLength > pPending.size() - nStart - kHeaderSize)
        {
            break;
        }
        const auto ulUnit = static_cast<uint32_t>(kHeaderSize + ullLength);
        pManager->Deliver(std::make_unique<CNVTCommsMsg>(pPending.data() + nStart, ulUnit));
        nStart += ulUnit;
    }
    pPending.erase(pPending.begin(), pPending.begin() + static_cast<std::ptrdiff_t>(nStart));
    ulPendingSize = static_cast<uint32_t>(pPending.size());
    return false;
}

void CNvtMsgParser::Reset()
{
    pPending.clear();
    ulPendingSize = 0;
}

CRS232Comms::CRS232Comms()
    : m_deframer(
          [this](const uint8_t* pbPayload, size_t nSize)
          {
              if (m_pParser)
              {
                  m_pParser->Parse(pbPayload, static_cast<uint32_t>(nSize));
              }
          },
          [this]
          {
              if (m_pParser)
              {
                  m_pParser->Reset();
              }
          })
{
}

CRS232Comms::~CRS232Comms()
{
    Close();
}

bool CRS232Comms::InitComm(CNvtMsgParser* pParser, const QString& strDevice, int32_t lBaudRate,
                           ERS232Flow eFlow)
{
    Close();
    m_pParser = pParser;
    m_bFailed = false;
    m_pPort = std::make_unique<QSerialPort>();
    m_pPort->setPortName(strDevice);
    if (!m_pPort->open(QIODevice::ReadWrite))
    {
        m_strLastError = QStringLiteral("%1: %2").arg(strDevice, m_pPort->errorString());
        m_pPort.reset();
        return false;
    }
    const QSerialPort::FlowControl flow = eFlow == eFlowHardware   ? QSerialPort::HardwareControl
                                          : eFlow == eFlowSoftware ? QSerialPort::SoftwareControl
                                                                   : QSerialPort::NoFlowControl;
    if (!m_pPort->setBaudRate(lBaudRate) || !m_pPort->setDataBits(QSerialPort::Data8) ||
        !m_pPort->setParity(QSerialPort::NoParity) || !m_pPort->setStopBits(QSerialPort::OneStop) ||
        !m_pPort->setFlowControl(flow))
    {
        m_strLastError = QStringLiteral("%1: %2").arg(strDevice, m_pPort->errorString());
        m_pPort.reset();
        return false;
    }
    // Whatever the line held before this link opened is no answer to anything it will send.
    m_pPort->clear();
    m_deframer.Reset();
    m_pParser->Reset();
    m_queue.clear();
    return true;
}

void CRS232Comms::Close()
{
    if (m_pPort)
    {
        m_pPort->close();
        m_pPort.reset();
    }
    m_queue.clear();
    m_deframer.Reset();
}

void CRS232Comms::NoteFailure()
{
    if (!m_bFailed)
    {
        m_bFailed = true;
        m_strLastError = QStringLiteral("%1: %2").arg(m_pPort->portName(), m_pPort->errorString());
    }
}

bool CRS232Comms::Write(const CNVTCommsMsg& msg)
{
    if (!m_pPort || m_bFailed)
    {
        return false;
    }
    std::vector<uint8_t> frames;
    rs232::AppendFrames(msg.pData.data(), msg.ulSize, &frames);
    const qint64 llWritten =
        m_pPort->write(reinterpret_cast<const char*>(frames.data()), static_cast<qint64>(frames.size()));
    if (llWritten != static_cast<qint64>(frames.size()))
    {
        NoteFailure();
        return false;
    }
    // Ten bit times a byte at the port's rate, and a second to spare, before the write counts as
    // stuck (a hardware handshake the other side never grants).
    const qint64 llRate = std::max<qint64>(m_pPort->baudRate(), 1200);
    const qint64 llLimitMs = static_cast<qint64>(frames.size()) * 10 * 1000 / llRate + 1000;
    QElapsedTimer timer;
    timer.start();
    while (m_pPort->bytesToWrite() > 0)
    {
        const qint64 llLeft = llLimitMs - timer.elapsed();
        if (llLeft <= 0 || (!m_pPort->waitForBytesWritten(static_cast<int>(llLeft)) &&
                            m_pPort->error() != QSerialPort::TimeoutError))
        {
            NoteFailure();
            return false;
        }
    }
    return true;
}

void CRS232Comms::TakeIncoming()
{
    const QByteArray bytes = m_pPort->readAll();
    if (!bytes.isEmpty())
    {
        m_deframer.Feed(reinterpret_cast<const uint8_t*>(bytes.constData()),
                        static_cast<size_t>(bytes.size()));
    }
    const QSerialPort::SerialPortError eError = m_pPort->error();
    if (eError != QSerialPort::NoError && eError != QSerialPort::TimeoutError)
    {
        NoteFailure();
    }
    m_pPort->clearError();
}

bool CRS232Comms::WaitForBytes(uint32_t ulMilliseconds)
{
    if (!m_pPort || m_bFailed)
    {
        return false;
    }
    const bool bCame = m_pPort->waitForReadyRead(static_cast<int>(ulMilliseconds));
    TakeIncoming();
    return bCame && !m_bFailed;
}

bool CRS232Comms::Read(std::unique_ptr<CNVTCommsMsg>* ppMsg)
{
    if (m_queue.empty() && m_pPort && !m_bFailed)
    {
        m_pPort->waitForReadyRead(0);
        TakeIncoming();
    }
    if (m_queue.empty())
    {
        return false;
    }
    *ppMsg = std::move(m_queue.front());
    m_queue.pop_front();
    return true;
}

CRS232CommsManager::CRS232CommsManager(QString strDevice, uint32_t ulCOMPort)
    : m_strDevice(std::move(strDevice)), m_ulCOMPort(ulCOMPort), m_parser(&m_comms)
{
}

bool CRS232CommsManager::Init(int32_t lBaudRate, ERS232Flow eFlow)
{
    pCurrent.reset();
    m_bFailureShown = false;
    if (m_strDevice.isEmpty())
    {
        ShowMessage(QStringLiteral("Failed to Initalize RS232 Comms: %1")
                        .arg(QStringLiteral("no serial device is known by the number %1").arg(m_ulCOMPort)));
        return false;
    }
    if (!m_comms.InitComm(&m_parser, m_strDevice, lBaudRate, eFlow))
    {
        QString strText;
        m_comms.GetLastError(strText);
        ShowMessage(QStringLiteral("Failed to Initalize RS232 Comms: %1").arg(strText));
        return false;
    }
    return true;
}

bool CRS232CommsManager::Send(const void* pvBuffer, uint32_t ulLength)
{
    const CNVTCommsMsg msg(static_cast<const uint8_t*>(pvBuffer), ulLength);
    if (m_comms.Write(msg))
    {
        return true;
    }
    ShowFailure();
    return false;
}

void CRS232CommsManager::ShowFailure()
{
    // Once per opening: a line that went away fails every transaction after it the same way.
    if (m_comms.Failed() && !m_bFailureShown)
    {
        m_bFailureShown = true;
        QString strText;
        m_comms.GetLastError(strText);
        ShowMessage(QStringLiteral("Norvanta Server has dropped the connection.\n\n%1").arg(strText));
    }
}

bool CRS232CommsManager::Receive(void* pvBuffer, uint32_t* pulLength, uint32_t ulSeconds,
                                 uint32_t ulMicroSeconds)
{
    const uint32_t ulWanted = *pulLength;
    auto* pbBuffer = static_cast<uint8_t*>(pvBuffer);
    uint32_t ulGot = 0;
    while (ulGot < ulWanted)
    {
        if (!pCurrent && !m_comms.Read(&pCurrent))
        {
            // Wait in steps of 50 ms; a step ends early when bytes come.
            m_ulPolls = 0;
            const uint64_t ullWait = uint64_t{ulSeconds} * 1000 + ulMicroSeconds / 1000;
            QElapsedTimer timer;
            timer.start();
            while (!pCurrent && !m_comms.Failed())
            {
                const uint64_t ullSpent = static_cast<uint64_t>(timer.elapsed());
                if (ullSpent >= ullWait)
                {
                    break;
                }
                ++m_ulPolls;
                m_comms.WaitForBytes(
                    static_cast<uint32_t>(std::min<uint64_t>(kPollMilliseconds, ullWait - ullSpent)));
                m_comms.Read(&pCurrent);
            }
            if (!pCurrent)
            {
                ShowFailure();
                *pulLength = ulGot;
                return false;
            }
        }
        const uint32_t ulTake = std::min(ulWanted - ulGot, pCurrent->ulSize - pCurrent->ulReadPos);
        std::memcpy(pbBuffer + ulGot, pCurrent->pData.data() + pCurrent->ulReadPos, ulTake);
        pCurrent->ulReadPos += ulTake;
        ulGot += ulTake;
        if (pCurrent->ulReadPos >= pCurrent->ulSize)
        {
            pCurrent.reset();
        }
    }
    *pulLength = ulGot;
    return true;
}

void CRS232CommsManager::Close()
{
    pCurrent.reset();
    m_comms.Close();
    m_parser.Reset();
}

QStringList SerialPortCandidates()
{
    const QDir devices(QStringLiteral("/dev"));
    QStringList candidates;
    for (const QString& strName :
         devices.entryList({QStringLiteral("ttyS*"), QStringLiteral("ttyUSB*"), QStringLiteral("ttyACM*")},
                           QDir::System, QDir::Name))
    {
        candidates << devices.filePath(strName);
    }
    const QString strExtra =
        GetPreference(QStringLiteral("Preferences/RS232"), QStringLiteral("ExtraPorts"), QString());
    for (const QString& strDevice : strExtra.split(QLatin1Char(';'), Qt::SkipEmptyParts))
    {
        candidates << strDevice.trimmed();
    }
    return candidates;
}

QString SerialPortDevice(uint32_t ulCOMPort)
{
    const QStringList candidates = SerialPortCandidates();
    return ulCOMPort < static_cast<uint32_t>(candidates.size())
               ? candidates[static_cast<qsizetype>(ulCOMPort)]
               : QString();
}

bool ParseRS232Flow(const QString& strName, ERS232Flow* peFlow)
{
    if (strName == QLatin1String("none"))
    {
        *peFlow = eFlowNone;
    }
    else if (strName == QLatin1String("hw"))
    {
        *peFlow = eFlowHardware;
    }
    else if (strName == QLatin1String("sw"))
    {
        *peFlow = eFlowSoftware;
    }
    else
    {
        return false;
    }
    return true;
}

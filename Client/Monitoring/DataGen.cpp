#include "DataGen.h"

#include "NumberText.h"
#include "StatusText.h"
#include "TargetClient.h"
#include "TargetLink.h"

#include <algorithm>

namespace
{
void Put32(uint8_t* p, uint32_t ulValue)
{
    p[0] = static_cast<uint8_t>(ulValue >> 24);
    p[1] = static_cast<uint8_t>(ulValue >> 16);
    p[2] = static_cast<uint8_t>(ulValue >> 8);
    p[3] = static_cast<uint8_t>(ulValue);
}

uint32_t Get32(const uint8_t* p)
{
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}

// Statuses after which the generator is gone: reset, not found, unknown request, not supported.
bool StoppingStatus(int32_t nStatus)
{
    return nStatus == -403 || nStatus == -402 || nStatus == -400 || nStatus == -306;
}
} // namespace

bool DataGenDataKind(uint32_t ulKind)
{
    return ulKind <= eDataGenNRead;
}

bool DataGenValidKind(uint32_t ulKind)
{
    return DataGenDataKind(ulKind) || ulKind == eDataGenDoorbell || ulKind == eDataGenMessage;
}

QString DataGenKindName(uint32_t ulKind)
{
    switch (ulKind)
    {
    case eDataGenSWrite:
        return QStringLiteral("SWRITE");
    case eDataGenNWrite:
        return QStringLiteral("NWRITE");
    case eDataGenNWriteR:
        return QStringLiteral("NWRITE_R");
    case eDataGenNRead:
        return QStringLiteral("NREAD");
    case eDataGenDoorbell:
        return QStringLiteral("Doorbell");
    case eDataGenMessage:
        return QStringLiteral("Message");
    default:
        return QString();
    }
}

QString DataGenRateTitle(uint32_t ulKind)
{
    if (ulKind == eDataGenDoorbell)
        return QStringLiteral("Transaction Rate (Doorbells / second)");
    if (ulKind == eDataGenMessage)
        return QStringLiteral("Transaction Rate (Messages / second)");
    return QStringLiteral("Requested Transfer Rate (x1000 Bytes / second)");
}

QString DataGenRateColumn(uint32_t ulKind)
{
    return DataGenDataKind(ulKind) ? QStringLiteral("Rate (1000 B/s)") : QStringLiteral("Rate (Hz)");
}

std::array<uint8_t, kDataGenRequestSize> BuildDataGenRequest(const SDataGenSettings& s, uint32_t ulCommand)
{
    std::array<uint8_t, kDataGenRequestSize> body{};
    uint8_t* p = body.data();
    Put32(p + 0, ulCommand);
    Put32(p + 4, s.eKind);
    Put32(p + 8, s.ulTransferSize);
    p[23] = s.bLarge ? 1 : 0;
    p[26] = static_cast<uint8_t>(s.wRemoteDestID >> 8);
    p[27] = static_cast<uint8_t>(s.wRemoteDestID);
    // ControlHi stays 0; the local generator has no control structure.
    Put32(p + 44, s.wRemoteDestID == kLocalDataGen ? 0 : s.ulControlAddress);
    std::vector<std::pair<uint32_t, uint32_t>> steps;
    bool bRepeat = true;
    if (s.bFixed)
    {
        steps.emplace_back(1, s.ulRate * 1000);
    }
    else
    {
        steps = s.steps;
        bRepeat = s.bRepeat;
    }
    if (ulCommand == eDataGenStart)
    {
        Put32(p + 12, bRepeat ? 1 : 0);
        p[24] = static_cast<uint8_t>(s.wDestID >> 8);
        p[25] = static_cast<uint8_t>(s.wDestID);
        Put32(p + 28, static_cast<uint32_t>(s.ullDestAddress >> 32));
        Put32(p + 32, static_cast<uint32_t>(s.ullDestAddress));
        Put32(p + 36, s.ulDestSize);
    }
    if (ulCommand == eDataGenStart || ulCommand == eDataGenChangeRate)
    {
        const uint32_t ulSteps = std::min<uint32_t>(static_cast<uint32_t>(steps.size()), kDataGenMaxSteps);
        Put32(p + 48, ulSteps);
        for (uint32_t i = 0; i < ulSteps; ++i)
        {
            Put32(p + 52 + 8 * i, steps[i].first);
            Put32(p + 56 + 8 * i, steps[i].second);
        }
    }
    return body;
}

SDataGenReply DecodeDataGenReply(const uint8_t* pReply, int32_t nStatus)
{
    SDataGenReply reply;
    reply.nStatus = nStatus;
    reply.ulCommand = Get32(pReply);
    reply.ulCurrentStep = Get32(pReply + 216);
    reply.bLagging = Get32(pReply + 220) != 0;
    reply.bFinished = Get32(pReply + 224) != 0;
    return reply;
}

bool DataGenNumber(const QString& strText, uint64_t ulMax, uint64_t* pValue)
{
    return NumberFromText(strText, ulMax, pValue);
}

QString CheckDataGenControl(const QString& strText, uint32_t* pulAddress)
{
    if (strText.trimmed().isEmpty())
        return QStringLiteral(
            "Please enter the address of the control structure on the remote traffic generator.");
    uint64_t ullValue = 0;
    if (!DataGenNumber(strText, 0xFFFFFFFFu, &ullValue))
        return QStringLiteral("Invalid control structure address format.  Please re-enter.");
    *pulAddress = static_cast<uint32_t>(ullValue);
    return QString();
}

QString CheckDataGenDestID(const QString& strText, bool bLarge, uint16_t* pwDestID)
{
    if (strText.trimmed().isEmpty())
        return QStringLiteral("Please enter a destination ID.");
    uint64_t ullValue = 0;
    if (!DataGenNumber(strText, UINT64_MAX, &ullValue))
        return QStringLiteral("Invalid destination ID format.  Please re-enter.");
    const uint32_t ulLimit = bLarge ? 0xFFFF : 0xFF;
    if (ullValue > ulLimit)
        return QStringLiteral("Invalid destination ID value.  Please enter number between 0 and %1 (%2h).")
            .arg(ulLimit)
            .arg(QString::number(ulLimit, 16).toUpper());
    *pwDestID = static_cast<uint16_t>(ullValue);
    return QString();
}

QString CheckDataGenDestAddress(const QString& strText, uint64_t* pullAddress)
{
    if (strText.trimmed().isEmpty())
        return QStringLiteral("Please enter a destination RapidIO address.");
    if (!DataGenNumber(strText, UINT64_MAX, pullAddress))
        return QStringLiteral("Invalid destination RapidIO address format.  Please re-enter.");
    return QString();
}

QString CheckDataGenDestSize(const QString& strText, uint32_t* pulSize)
{
    if (strText.trimmed().isEmpty())
        return QStringLiteral("Please enter a destination buffer size.");
    uint64_t ullValue = 0;
    if (!DataGenNumber(strText, 0xFFFFFFFFu, &ullValue))
        return QStringLiteral("Invalid destination buffer size format.  Please re-enter.");
    *pulSize = static_cast<uint32_t>(ullValue);
    return QString();
}

// ---------------------------------------------------------------------------------------------
// Rate profile

CDataGenProfile CDataGenProfile::Default()
{
    CDataGenProfile profile;
    profile.m_lines = {{5, 100000}, {5, 300000}, {5, 500000}, {5, 400000}, {5, 200000}};
    return profile;
}

QString CDataGenProfile::Check(const QString& strDuration, const QString& strRate, uint32_t ulMaxRate,
                               std::pair<uint32_t, uint32_t>* pLine) const
{
    uint64_t ullDuration = 0;
    if (!NumberFromText(strDuration, 0xFFFFFFFFu, &ullDuration) || ullDuration == 0)
        return QStringLiteral("Invalid duration.  Please re-enter.");
    uint64_t ullRate = 0;
    if (!NumberFromText(strRate, &ullRate))
        return QStringLiteral("Invalid transfer rate.  Please enter a number between 1 and 500,000.");
    if (ullRate < 1 || ullRate > ulMaxRate)
        return QStringLiteral("Transfer rate must be between 1 and %1.").arg(ulMaxRate);
    *pLine = {static_cast<uint32_t>(ullDuration), static_cast<uint32_t>(ullRate)};
    return QString();
}

QString CDataGenProfile::Add(const QString& strDuration, const QString& strRate, uint32_t ulMaxRate)
{
    if (m_lines.size() >= kDataGenMaxSteps)
        return QStringLiteral("The list is full.");
    std::pair<uint32_t, uint32_t> line;
    QString strError = Check(strDuration, strRate, ulMaxRate, &line);
    if (strError.isEmpty())
        m_lines.push_back(line);
    return strError;
}

QString CDataGenProfile::Modify(int nIndex, const QString& strDuration, const QString& strRate,
                                uint32_t ulMaxRate)
{
    if (nIndex < 0 || nIndex >= Count())
        return QString();
    std::pair<uint32_t, uint32_t> line;
    QString strError = Check(strDuration, strRate, ulMaxRate, &line);
    if (strError.isEmpty())
        m_lines[static_cast<size_t>(nIndex)] = line;
    return strError;
}

bool CDataGenProfile::Remove(int nIndex)
{
    if (nIndex < 0 || nIndex >= Count())
        return false;
    m_lines.erase(m_lines.begin() + nIndex);
    return true;
}

bool CDataGenProfile::Up(int nIndex)
{
    if (nIndex < 1 || nIndex >= Count())
        return false;
    std::swap(m_lines[static_cast<size_t>(nIndex)], m_lines[static_cast<size_t>(nIndex - 1)]);
    return true;
}

bool CDataGenProfile::Down(int nIndex)
{
    if (nIndex < 0 || nIndex + 1 >= Count())
        return false;
    std::swap(m_lines[static_cast<size_t>(nIndex)], m_lines[static_cast<size_t>(nIndex + 1)]);
    return true;
}

QStringList CDataGenProfile::Texts() const
{
    QStringList texts;
    for (const auto& [ulDuration, ulRate] : m_lines)
        texts << QStringLiteral("%1\t%2").arg(ulDuration).arg(ulRate);
    return texts;
}

std::vector<std::pair<uint32_t, uint32_t>> CDataGenProfile::Steps() const
{
    std::vector<std::pair<uint32_t, uint32_t>> steps;
    for (const auto& [ulDuration, ulRate] : m_lines)
        steps.emplace_back(ulDuration, ulRate * 1000);
    return steps;
}

CDataGenProfile CDataGenProfile::FromSteps(const std::vector<std::pair<uint32_t, uint32_t>>& steps)
{
    CDataGenProfile profile;
    for (const auto& [ulDuration, ulRate] : steps)
    {
        if (profile.m_lines.size() < kDataGenMaxSteps)
            profile.m_lines.emplace_back(ulDuration, ulRate / 1000);
    }
    return profile;
}

// ---------------------------------------------------------------------------------------------
// Generator

CDataGenerator::CDataGenerator()
    : CDataGenerator([](const uint8_t* pRequest, uint8_t* pReply)
                     { return CTargetClient::Instance().DataGen(pRequest, pReply); },
                     []
                     {
                         CTargetClient& client = CTargetClient::Instance();
                         return client.Link() && client.Link()->IsConnected();
                     })
{
}

CDataGenerator::CDataGenerator(DataGenExchange fnExchange, std::function<bool()> fnLinkOpen)
    : m_fnExchange(std::move(fnExchange)), m_fnLinkOpen(std::move(fnLinkOpen))
{
}

SDataGenReply CDataGenerator::SendCommand(uint32_t ulCommand)
{
    const std::array<uint8_t, kDataGenRequestSize> request = BuildDataGenRequest(m_settings, ulCommand);
    std::array<uint8_t, kDataGenReplySize> reply{};
    const int32_t nStatus = m_fnExchange(request.data(), reply.data());
    return DecodeDataGenReply(reply.data(), nStatus);
}

bool CDataGenerator::Start(QString* pstrError)
{
    const SDataGenReply reply = SendCommand(eDataGenStart);
    if (reply.nStatus != 0)
    {
        *pstrError = QStringLiteral("Unable to send command to server.\nError %1\n%2")
                         .arg(reply.nStatus)
                         .arg(RioErrorText(reply.nStatus));
        m_bRunning = false;
        return false;
    }
    m_bRunning = true;
    m_bLagging = false;
    m_ulShownRate = m_settings.bFixed || m_settings.steps.empty() ? m_settings.ulRate
                                                                  : m_settings.steps.front().second / 1000;
    return true;
}

SDataGenReply CDataGenerator::Stop()
{
    const SDataGenReply reply = SendCommand(eDataGenStop);
    m_bRunning = false;
    m_bLagging = false;
    return reply;
}

int32_t CDataGenerator::ChangeRate(uint32_t ulRate)
{
    m_settings.ulRate = std::clamp<uint32_t>(ulRate, 1, kDataGenMaxRate);
    m_ulShownRate = m_settings.ulRate;
    if (!m_bRunning || !m_settings.bFixed)
        return 0;
    return SendCommand(eDataGenChangeRate).nStatus;
}

bool CDataGenerator::CheckControl(QString* pstrError)
{
    const SDataGenReply reply = SendCommand(eDataGenCheckControl);
    if (reply.nStatus != 0)
    {
        *pstrError = QStringLiteral("Traffic Generator Error.\n\n") + RioErrorText(reply.nStatus);
        return false;
    }
    pstrError->clear();
    return true;
}

CDataGenerator::STick CDataGenerator::Tick()
{
    STick tick;
    if (!m_bRunning)
        return tick;
    if (!m_fnLinkOpen())
    {
        m_bRunning = false;
        m_bLagging = false;
        tick.eState = STick::eLinkLost;
        return tick;
    }
    tick.reply = SendCommand(eDataGenStatus);
    if (tick.reply.nStatus != 0)
    {
        tick.strError = QStringLiteral("Traffic Generator Error.\n\n") + RioErrorText(tick.reply.nStatus);
        if (StoppingStatus(tick.reply.nStatus))
        {
            m_bRunning = false;
            m_bLagging = false;
            tick.eState = STick::eStopped;
        }
        else
        {
            tick.eState = STick::eError;
        }
        return tick;
    }
    tick.eState = STick::eRunning;
    m_bLagging = tick.reply.bLagging;
    if (!m_settings.bFixed && tick.reply.ulCommand == eDataGenStatus &&
        tick.reply.ulCurrentStep < m_settings.steps.size())
    {
        m_ulShownRate = m_settings.steps[tick.reply.ulCurrentStep].second / 1000;
    }
    return tick;
}

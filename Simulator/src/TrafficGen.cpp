#include "nvsim/TrafficGen.h"

#include "nvsim/Status.h"

#include <algorithm>
#include <cmath>

namespace nvsim
{
namespace
{
constexpr uint16_t kLocalGenerator = 0xFFFF;
constexpr uint32_t kMaxSteps = 20;
// Capability mask bits of the server (NVT_IDENTIFYEXRESP): local and remote traffic generator.
constexpr uint32_t kCapLocalGenerator = 1u << 2;
constexpr uint32_t kCapRemoteGenerator = 1u << 3;

uint32_t Get32(const std::vector<uint8_t>& body, size_t n)
{
    return (uint32_t{body[n]} << 24) | (uint32_t{body[n + 1]} << 16) | (uint32_t{body[n + 2]} << 8) |
           body[n + 3];
}

bool DataKind(uint32_t ulKind)
{
    return ulKind <= 3;
}

bool ValidKind(uint32_t ulKind)
{
    return DataKind(ulKind) || ulKind == 10 || ulKind == 11;
}

EPacketKind PacketKind(uint32_t ulKind)
{
    switch (ulKind)
    {
    case 0:
        return EPacketKind::StreamWrite;
    case 1:
        return EPacketKind::Write;
    case 2:
        return EPacketKind::WriteWithResponse;
    case 3:
        return EPacketKind::Read;
    case 10:
        return EPacketKind::Doorbell;
    default:
        return EPacketKind::Message;
    }
}
} // namespace

bool DecodeDataGen(const std::vector<uint8_t>& body, SDataGenRequest* pRequest)
{
    if (body.size() < 212)
        return false;
    SDataGenRequest& r = *pRequest;
    r.ulCommand = Get32(body, 0);
    r.ulKind = Get32(body, 4);
    r.ulTransferSize = Get32(body, 8);
    r.bRepeat = Get32(body, 12) != 0;
    r.bLarge = body[23] != 0;
    r.wDestId = static_cast<uint16_t>((body[24] << 8) | body[25]);
    r.wRemoteDestId = static_cast<uint16_t>((body[26] << 8) | body[27]);
    r.ullDestAddress = (uint64_t{Get32(body, 28)} << 32) | Get32(body, 32);
    r.ulDestBufferSize = Get32(body, 36);
    r.ulControlLo = Get32(body, 44);
    const uint32_t ulSteps = std::min(Get32(body, 48), kMaxSteps);
    r.steps.clear();
    for (uint32_t i = 0; i < ulSteps; ++i)
        r.steps.emplace_back(Get32(body, 52 + 8 * i), Get32(body, 56 + 8 * i));
    return true;
}

CSimDevice* CTrafficGenerators::Source(uint16_t wGenerator, uint8_t* puchPort, int32_t* pnStatus)
{
    const uint32_t ulCaps = m_fabric.ServerConfig().ulCapabilities;
    if (wGenerator == kLocalGenerator)
    {
        if (!(ulCaps & kCapLocalGenerator) || m_fabric.HostConfig().localPorts.empty())
        {
            *pnStatus = kStatusNoDataGen;
            return nullptr;
        }
        *puchPort = m_fabric.HostConfig().localPorts[0];
        return &m_fabric.Host();
    }
    if (!(ulCaps & kCapRemoteGenerator))
    {
        *pnStatus = kStatusNoDataGen;
        return nullptr;
    }
    for (CSimDevice* pDevice : m_fabric.Devices())
    {
        if (pDevice->Config().oDataGenControl && !pDevice->IsSwitch() &&
            (pDevice->BaseDeviceId(false) == wGenerator || pDevice->BaseDeviceId(true) == wGenerator))
        {
            *puchPort = 0;
            return pDevice;
        }
    }
    *pnStatus = kStatusNoGenerator;
    return nullptr;
}

double CTrafficGenerators::Capacity(const SGenerator& generator, CSimDevice& source, uint8_t uchPort) const
{
    const CSimLink* pLink = m_fabric.LinkAt(source, uchPort);
    if (!pLink || !m_fabric.PortTrained(source, uchPort))
        return 0;
    // 8b/10b coding: each lane carries a byte for every ten bauds.
    const double dLinkBytes = m_fabric.LinkSpeedMbaud(*pLink) * 1e6 / 10 * m_fabric.LinkWidth(*pLink);
    const uint32_t ulPayload = generator.config.ulKind == 10 ? 0 : generator.config.ulTransferSize;
    const uint32_t ulWire = ulPayload + kPacketOverhead * PacketsFor(ulPayload);
    const double dTransactions = dLinkBytes / ulWire;
    return DataKind(generator.config.ulKind) ? dTransactions * ulPayload : dTransactions;
}

SDataGenReply CTrafficGenerators::Command(const SDataGenRequest& request, uint64_t ullNowUs)
{
    auto lock = m_fabric.Lock();
    SDataGenReply reply;
    Advance(ullNowUs);
    uint8_t uchPort = 0;
    CSimDevice* pSource = Source(request.wRemoteDestId, &uchPort, &reply.nStatus);
    if (!pSource)
        return reply;
    if (request.wRemoteDestId != kLocalGenerator && request.ulCommand != 3 && request.ulCommand != 0 &&
        request.ulControlLo != *pSource->Config().oDataGenControl)
    {
        // The control structure is not where the client says: no generator answers there.
        reply.nStatus = kStatusNoGenerator;
        return reply;
    }
    auto it = m_generators.find(request.wRemoteDestId);
    auto reportOn = [&reply](const SGenerator& generator)
    {
        reply.ulCurrentStep = generator.ulStep;
        reply.bLagging = generator.bLagging;
        reply.bFinished = generator.bFinished;
    };
    switch (request.ulCommand)
    {
    case 0: // stop
        if (it != m_generators.end())
        {
            it->second.bRunning = false;
            reportOn(it->second);
        }
        return reply;
    case 1: // change the rate of a running generator
    {
        if (it == m_generators.end() || !it->second.bRunning)
        {
            reply.nStatus = kStatusDataGenNotStarted;
            return reply;
        }
        if (request.steps.empty())
        {
            reply.nStatus = kStatusInvalidParameter;
            return reply;
        }
        SGenerator& generator = it->second;
        generator.config.steps = request.steps;
        generator.ullStartUs = ullNowUs;
        generator.ulStep = 0;
        reportOn(generator);
        return reply;
    }
    case 2: // start
    {
        const bool bSized =
            request.ulKind == 10 ||
            (request.ulTransferSize > 0 && (request.ulKind != 11 || request.ulTransferSize <= 4096));
        if (!ValidKind(request.ulKind) || !bSized || request.steps.empty() ||
            (DataKind(request.ulKind) && request.ulKind != 3 && request.ulDestBufferSize == 0))
        {
            reply.nStatus = kStatusInvalidParameter;
            return reply;
        }
        SGenerator generator;
        generator.config = request;
        generator.bRunning = true;
        generator.ullStartUs = generator.ullLastUs = ullNowUs;
        m_generators[request.wRemoteDestId] = generator;
        return reply;
    }
    case 3: // status
        if (it == m_generators.end())
        {
            reply.nStatus = kStatusDataGenNotStarted;
            return reply;
        }
        reportOn(it->second);
        return reply;
    case 4: // the control structure is where the client says (checked above)
        return reply;
    default:
        reply.nStatus = kStatusUnknownDataGenRequest;
        return reply;
    }
}

bool CTrafficGenerators::AnyRunning() const
{
    auto lock = m_fabric.Lock();
    return std::any_of(m_generators.begin(), m_generators.end(),
                       [](const auto& entry) { return entry.second.bRunning; });
}

uint64_t CTrafficGenerators::Sent(uint16_t wGenerator) const
{
    auto lock = m_fabric.Lock();
    const auto it = m_generators.find(wGenerator);
    return it == m_generators.end() ? 0 : it->second.ullSent;
}

bool CTrafficGenerators::Running(uint16_t wGenerator) const
{
    auto lock = m_fabric.Lock();
    const auto it = m_generators.find(wGenerator);
    return it != m_generators.end() && it->second.bRunning;
}

void CTrafficGenerators::Advance(uint64_t ullNowUs)
{
    auto lock = m_fabric.Lock();
    for (auto& [wGenerator, generator] : m_generators)
    {
        if (generator.bRunning)
            Run(wGenerator, generator, ullNowUs);
    }
}

void CTrafficGenerators::Run(uint16_t wGenerator, SGenerator& generator, uint64_t ullNowUs)
{
    if (ullNowUs <= generator.ullLastUs)
        return;
    const SDataGenRequest& config = generator.config;
    // The profile: durations in seconds (a duration of 0 counts as 1), one cycle of them, run
    // once or for ever. What is owed between two times is the rate's integral over the profile,
    // so a tick that spans a step's end owes each step its share.
    auto stepUs = [](const std::pair<uint32_t, uint32_t>& step)
    { return uint64_t{std::max(step.first, 1u)} * 1000000; };
    uint64_t ullCycleUs = 0;
    double dCycleAmount = 0;
    for (const auto& step : config.steps)
    {
        ullCycleUs += stepUs(step);
        dCycleAmount += static_cast<double>(step.second) * static_cast<double>(stepUs(step)) / 1e6;
    }
    auto amount = [&](uint64_t ullInto)
    {
        if (!config.bRepeat)
            ullInto = std::min(ullInto, ullCycleUs);
        double dAmount = static_cast<double>(ullInto / ullCycleUs) * dCycleAmount;
        uint64_t ullRest = ullInto % ullCycleUs;
        for (const auto& step : config.steps)
        {
            const uint64_t ullPart = std::min(ullRest, stepUs(step));
            dAmount += static_cast<double>(step.second) * static_cast<double>(ullPart) / 1e6;
            ullRest -= ullPart;
        }
        return dAmount;
    };
    const uint64_t ullInto = ullNowUs - generator.ullStartUs;
    const uint64_t ullWasInto = generator.ullLastUs - generator.ullStartUs;
    const bool bDone = !config.bRepeat && ullInto >= ullCycleUs;
    uint64_t ullAt = bDone ? ullCycleUs - 1 : ullInto % ullCycleUs;
    uint32_t ulStep = 0;
    for (; ulStep + 1 < config.steps.size() && ullAt >= stepUs(config.steps[ulStep]); ++ulStep)
        ullAt -= stepUs(config.steps[ulStep]);
    generator.ulStep = ulStep;
    generator.dOwed += amount(ullInto) - amount(ullWasInto);
    if (bDone)
    {
        generator.bRunning = false;
        generator.bFinished = true;
    }

    uint8_t uchPort = 0;
    int32_t nStatus = 0;
    CSimDevice* pSource = Source(wGenerator, &uchPort, &nStatus);
    const double dSeconds = static_cast<double>(ullNowUs - generator.ullLastUs) / 1e6;
    generator.ullLastUs = ullNowUs;
    if (!pSource)
        return;
    const double dRate = config.steps[ulStep].second;
    const double dCapacity = Capacity(generator, *pSource, uchPort);
    // What is owed is in bytes for the data kinds, in transactions for doorbells and messages.
    const double dUnit = DataKind(config.ulKind) ? config.ulTransferSize : 1.0;
    const double dMost = std::min(dCapacity * dSeconds, static_cast<double>(kMaxPerAdvance) * dUnit);
    generator.bLagging = dRate > dCapacity || generator.dOwed > dMost + dUnit;
    if (generator.dOwed > dMost)
        generator.dOwed = dMost; // what the link cannot carry is not sent later
    const uint64_t ullTransactions = static_cast<uint64_t>(std::floor(generator.dOwed / dUnit));
    if (ullTransactions == 0)
        return;
    generator.dOwed -= static_cast<double>(ullTransactions) * dUnit;

    CSimFabric::SGenerated what;
    what.eKind = PacketKind(config.ulKind);
    what.uchPriority = 0;
    what.ulDestId = config.wDestId;
    what.bLarge = config.bLarge;
    what.ullAddress = config.ullDestAddress;
    what.ulBufferBytes = config.ulDestBufferSize;
    what.ullOffset = generator.ullOffset;
    what.ulBytes = config.ulKind == 10 ? 0 : config.ulTransferSize;
    generator.ullSent += m_fabric.SendGenerated(*pSource, uchPort, what, ullTransactions);
    generator.ullOffset += ullTransactions * (config.ulKind == 10 ? 1 : config.ulTransferSize);
}
} // namespace nvsim

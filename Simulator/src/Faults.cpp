#include "nvsim/Faults.h"

#include "TextUtil.h"
#include "nvsim/StdDevice.h"

#include <cstdlib>
#include <map>

namespace nvsim
{
void CFaults::Add(const SReplyFault& fault)
{
    std::lock_guard lock(m_mutex);
    m_rules.push_back(fault);
}

void CFaults::Clear()
{
    std::lock_guard lock(m_mutex);
    m_rules.clear();
}

size_t CFaults::Pending() const
{
    std::lock_guard lock(m_mutex);
    return m_rules.size();
}

std::optional<SReplyFault> CFaults::Take(uint32_t ulRequestId, bool bHasEcho)
{
    std::lock_guard lock(m_mutex);
    for (auto it = m_rules.begin(); it != m_rules.end(); ++it)
    {
        if (it->ulMessageId != 0 && it->ulMessageId != ulRequestId)
            continue;
        if (it->eKind == EReplyFault::BadEcho && !bHasEcho)
            continue;
        if (it->eKind == EReplyFault::Status && ulRequestId != 3)
            continue;
        const SReplyFault fault = *it;
        if (it->ulCount > 0 && --it->ulCount == 0)
            m_rules.erase(it);
        return fault;
    }
    return std::nullopt;
}

namespace
{
// A fault written as KIND[:KEY=VALUE,...], split up.
struct SSpec
{
    std::string strKind;
    std::map<std::string, std::string> values;
};

bool Split(const std::string& strSpec, SSpec* pSpec, std::string* pError)
{
    const size_t nColon = strSpec.find(':');
    pSpec->strKind = strSpec.substr(0, nColon);
    if (nColon == std::string::npos)
        return true;
    for (const std::string& strPair : text::Split(strSpec.substr(nColon + 1), ','))
    {
        std::string strKey, strValue;
        text::KeyValue(strPair, &strKey, &strValue);
        if (strKey.empty() || strValue.empty())
        {
            *pError = "fault '" + strSpec + "': '" + strPair + "' is not KEY=VALUE";
            return false;
        }
        pSpec->values[strKey] = strValue;
    }
    return true;
}

// Reads the values of a fault text, checking that it has no key it does not know.
class CSpecReader
{
public:
    CSpecReader(const std::string& strSpec, SSpec& spec, std::string* pError)
        : m_strSpec(strSpec), m_spec(spec), m_pError(pError)
    {
    }

    bool Fail(const std::string& strText)
    {
        if (m_pError)
            *m_pError = "fault '" + m_strSpec + "': " + strText;
        return false;
    }

    // A number under strKey, if given; ullDefault if not; a failure if required and missing.
    bool Number(const char* pszKey, int64_t llMin, int64_t llMax, int64_t* pValue, bool bRequired = false)
    {
        const auto it = m_spec.values.find(pszKey);
        if (it == m_spec.values.end())
            return !bRequired || Fail(std::string("needs ") + pszKey + "=");
        int64_t llValue = 0;
        if (!text::ParseNumber(it->second, &llValue) || llValue < llMin || llValue > llMax)
            return Fail(std::string(pszKey) + " must be a number from " + std::to_string(llMin) + " to " +
                        std::to_string(llMax));
        *pValue = llValue;
        m_spec.values.erase(it);
        return true;
    }

    // The kind's value, under value= or under its own name (ms=, bytes=).
    bool Value(const char* pszAlias, int64_t llMin, int64_t llMax, int64_t* pValue, bool bRequired = false)
    {
        if (m_spec.values.count("value") && m_spec.values.count(pszAlias))
            return Fail(std::string("give value= or ") + pszAlias + "=, not both");
        if (m_spec.values.count("value"))
            return Number("value", llMin, llMax, pValue);
        if (bRequired && !m_spec.values.count(pszAlias))
            return Fail(std::string("needs ") + pszAlias + "= (or value=)");
        return Number(pszAlias, llMin, llMax, pValue);
    }

    // A fraction from 0 to 1 under strKey ("0.25", "1"), 0 if not given.
    bool Rate(const char* pszKey, double* pdValue)
    {
        *pdValue = 0;
        const auto it = m_spec.values.find(pszKey);
        if (it == m_spec.values.end())
            return true;
        char* pEnd = nullptr;
        const double dValue = std::strtod(it->second.c_str(), &pEnd);
        if (pEnd == it->second.c_str() || *pEnd != '\0' || !(dValue >= 0 && dValue <= 1))
            return Fail(std::string(pszKey) + " must be a fraction from 0 to 1");
        *pdValue = dValue;
        m_spec.values.erase(it);
        return true;
    }

    bool Text(const char* pszKey, std::string* pValue)
    {
        const auto it = m_spec.values.find(pszKey);
        if (it == m_spec.values.end())
            return Fail(std::string("needs ") + pszKey + "=");
        *pValue = it->second;
        m_spec.values.erase(it);
        return true;
    }

    // Fails if any key was not read.
    bool Done()
    {
        if (m_spec.values.empty())
            return true;
        return Fail("unknown key '" + m_spec.values.begin()->first + "' for " + m_spec.strKind);
    }

private:
    const std::string& m_strSpec;
    SSpec& m_spec;
    std::string* m_pError;
};

const std::map<std::string, EReplyFault>& ReplyKinds()
{
    static const std::map<std::string, EReplyFault> kKinds = {
        {"drop", EReplyFault::Drop},       {"badlength", EReplyFault::BadLength},
        {"badecho", EReplyFault::BadEcho}, {"badid", EReplyFault::BadId},
        {"partial", EReplyFault::Partial}, {"garbage", EReplyFault::Garbage},
        {"close", EReplyFault::Close},     {"delay", EReplyFault::Delay},
        {"status", EReplyFault::Status},   {"noidentifyex", EReplyFault::Drop}};
    return kKinds;
}

bool IsReplyKind(const std::string& strKind)
{
    return ReplyKinds().count(strKind) != 0;
}

// "DEVICE:PORT" of a link end, resolved to its link.
CSimLink* FindLink(CSimFabric& fabric, const std::string& strEnd, CSpecReader& reader)
{
    const size_t nColon = strEnd.rfind(':');
    uint64_t ullPort = 0;
    if (nColon == std::string::npos || !text::ParseUnsigned(strEnd.substr(nColon + 1), 255, &ullPort))
    {
        reader.Fail("link= names a link by one end, DEVICE:PORT");
        return nullptr;
    }
    CSimLink* pLink = fabric.Link(strEnd.substr(0, nColon), static_cast<uint8_t>(ullPort));
    if (!pLink)
        reader.Fail("there is no link at " + strEnd);
    return pLink;
}
} // namespace

bool ParseReplyFault(const std::string& strSpec, SReplyFault* pFault, std::string* pError)
{
    SSpec spec;
    if (!Split(strSpec, &spec, pError))
        return false;
    CSpecReader reader(strSpec, spec, pError);
    const auto it = ReplyKinds().find(spec.strKind);
    if (it == ReplyKinds().end())
        return reader.Fail("not a reply fault");
    SReplyFault fault;
    fault.eKind = it->second;
    if (spec.strKind == "noidentifyex")
    {
        fault.ulCount = 0;
        fault.ulMessageId = 33;
        if (!reader.Done())
            return false;
        *pFault = fault;
        return true;
    }
    int64_t llCount = 1, llMessage = 0;
    if (!reader.Number("count", 0, UINT32_MAX, &llCount) || !reader.Number("msg", 1, UINT32_MAX, &llMessage))
        return false;
    fault.ulCount = static_cast<uint32_t>(llCount);
    fault.ulMessageId = static_cast<uint32_t>(llMessage);
    switch (fault.eKind)
    {
    case EReplyFault::BadLength:
        if (!reader.Value("delta", INT32_MIN, INT32_MAX, &fault.llValue))
            return false;
        break;
    case EReplyFault::BadId:
        if (!reader.Value("id", 0, UINT32_MAX, &fault.llValue))
            return false;
        break;
    case EReplyFault::Partial:
    case EReplyFault::Garbage:
        if (!reader.Value("bytes", 1, 1 << 20, &fault.llValue))
            return false;
        break;
    case EReplyFault::Delay:
        if (!reader.Value("ms", 0, 600000, &fault.llValue, true))
            return false;
        break;
    case EReplyFault::Status:
        if (fault.ulMessageId != 0 && fault.ulMessageId != 3)
            return reader.Fail("a status fault answers maintenance reads (msg=3) only");
        fault.ulMessageId = 3;
        fault.llValue = -310;
        if (!reader.Value("status", INT32_MIN, INT32_MAX, &fault.llValue))
            return false;
        break;
    case EReplyFault::Drop:
    case EReplyFault::BadEcho:
    case EReplyFault::Close:
        break;
    }
    if (!reader.Done())
        return false;
    *pFault = fault;
    return true;
}

bool ApplyFabricFault(const std::string& strSpec, CSimFabric& fabric, std::string* pError)
{
    SSpec spec;
    if (!Split(strSpec, &spec, pError))
        return false;
    CSpecReader reader(strSpec, spec, pError);
    const std::string strKind = spec.strKind;
    auto lock = fabric.Lock();

    if (strKind == "linkdown" || strKind == "loseresp" || strKind == "slow" || strKind == "linkerrors" ||
        strKind == "clear")
    {
        std::string strEnd;
        if (!reader.Text("link", &strEnd))
            return false;
        CSimLink* pLink = FindLink(fabric, strEnd, reader);
        if (!pLink)
            return false;
        int64_t llValue = 0;
        if (strKind == "loseresp" && !reader.Number("count", 0, UINT32_MAX, &llValue))
            return false;
        if (strKind == "slow" && !reader.Number("ms", 0, 600000, &llValue, true))
            return false;
        double dCrc = 0, dRetry = 0;
        if (strKind == "linkerrors" && (!reader.Rate("crc", &dCrc) || !reader.Rate("retry", &dRetry)))
            return false;
        if (!reader.Done())
            return false;
        if (strKind == "linkerrors")
            pLink->SetErrorRates(dCrc, dRetry);
        else if (strKind == "clear")
        {
            pLink->ClearFaults();
            pLink->SetTrained(true);
        }
        else if (strKind == "linkdown")
            pLink->SetTrained(false);
        else if (strKind == "loseresp")
            pLink->LoseResponses(static_cast<uint32_t>(llValue));
        else
            pLink->SetDelayMs(static_cast<uint32_t>(llValue));
        return true;
    }

    if (strKind != "mute" && strKind != "porterr" && strKind != "ackid" && strKind != "lock")
        return reader.Fail(IsReplyKind(strKind) ? "a reply fault has no place here" : "unknown fault kind");

    std::string strDevice;
    if (!reader.Text("device", &strDevice))
        return false;
    CSimDevice* pDevice = fabric.FindDevice(strDevice);
    if (!pDevice)
        return reader.Fail("there is no device '" + strDevice + "'");
    if (strKind == "mute")
    {
        int64_t llOffset = -1;
        if (!reader.Number("offset", 0, 0xFFFFFC, &llOffset) || !reader.Done())
            return false;
        if (llOffset >= 0)
            pDevice->MuteRegister(static_cast<uint32_t>(llOffset));
        else
            pDevice->SetMute(true);
        return true;
    }
    if (strKind == "lock")
    {
        int64_t llHolder = 0;
        if (!reader.Number("holder", 0, 0xFFFE, &llHolder, true) || !reader.Done())
            return false;
        pDevice->SetReg(reg::kHostLock, static_cast<uint32_t>(llHolder));
        return true;
    }

    int64_t llPort = 0;
    if (!reader.Number("port", 0, pDevice->PortCount() - 1, &llPort, true))
        return false;
    const uint8_t uchPort = static_cast<uint8_t>(llPort);
    if (strKind == "porterr")
    {
        int64_t llBits = 0;
        if (!reader.Number("bits", 0, UINT32_MAX, &llBits, true) || !reader.Done())
            return false;
        pDevice->InjectPortErrors(uchPort, static_cast<uint32_t>(llBits));
        return true;
    }
    // ackid: unless told otherwise, the outbound ackID steps one ahead of what the partner
    // expects, so nothing gets across the link until software realigns the two.
    const SPortState& port = pDevice->Port(uchPort);
    int64_t llInbound = port.uchInboundAckId;
    int64_t llOutstanding = port.uchOutstandingAckId;
    int64_t llOutbound = (port.uchOutboundAckId + 1) & 0x1F;
    if (!reader.Number("inbound", 0, 31, &llInbound) ||
        !reader.Number("outstanding", 0, 31, &llOutstanding) ||
        !reader.Number("outbound", 0, 31, &llOutbound) || !reader.Done())
        return false;
    pDevice->SetAckIds(uchPort, static_cast<uint8_t>(llInbound), static_cast<uint8_t>(llOutstanding),
                       static_cast<uint8_t>(llOutbound));
    return true;
}

bool ApplyFaultSpec(const std::string& strSpec, CSimFabric& fabric, CFaults& faults, std::string* pError)
{
    const std::string strKind = strSpec.substr(0, strSpec.find(':'));
    if (!IsReplyKind(strKind))
        return ApplyFabricFault(strSpec, fabric, pError);
    SReplyFault fault;
    if (!ParseReplyFault(strSpec, &fault, pError))
        return false;
    faults.Add(fault);
    return true;
}
} // namespace nvsim

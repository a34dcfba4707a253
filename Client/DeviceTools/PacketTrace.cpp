#include "PacketTrace.h"

#include "PacketGen.h"
#include "PerfMonitor.h"
#include "StatusText.h"
#include "UserInterface.h"

#include <algorithm>
#include <cstring>

const char* const kPacketTraceCaption = "Packet Trace/Filter";

namespace
{
constexpr uint32_t kTraceRoutingBit = 0x00010000;
constexpr uint32_t kTracePortBits = 0x0000003E;
const char* const kWarningCaption = "Trace/Filter Warning";

uint32_t PortOps(int nPort)
{
    return kGen2PortOps + 0x100u * static_cast<uint32_t>(nPort);
}

uint32_t ComparatorAddress(int nPort, int c)
{
    return kTraceComparatorBase + 0x100u * static_cast<uint32_t>(nPort) + 40u * static_cast<uint32_t>(c);
}
} // namespace

QString TraceRowName(int nRow)
{
    if (nRow < kTraceComparators)
        return QStringLiteral("Trace %1").arg(nRow + 1);
    if (nRow < kTraceCounterRows)
        return QStringLiteral("Filter %1").arg(nRow - kTraceComparators + 1);
    return QStringLiteral("Port Write");
}

CPacketTrace::CPacketTrace(IGen2SwitchAccess& access, int iNode) : m_access(access), m_iNode(iNode) {}

CPacketTrace::~CPacketTrace()
{
    DropTraceCounters();
}

void CPacketTrace::Open()
{
    const int nPorts = m_access.NumPorts();
    m_nPorts = nPorts > 0 ? std::min(nPorts, kTraceMaxPorts) : kTraceMaxPorts;
    m_abPortUsable.fill(false);
    bool bAsked = false;
    if (m_access.IsConnected() && m_access.ConfigureRoute())
    {
        bAsked = true;
        for (int p = 0; p < m_nPorts && bAsked; ++p)
        {
            bool bTrained = false;
            if (m_access.IsPortTrained(static_cast<uint8_t>(p), &bTrained) != 0)
                bAsked = false;
            m_abPortUsable[static_cast<size_t>(p)] = bTrained;
        }
    }
    if (!bAsked)
    {
        for (int p = 0; p < kTraceMaxPorts; ++p)
            m_abPortUsable[static_cast<size_t>(p)] = p < m_nPorts;
    }
    const std::vector<int> ports = UsablePorts();
    if (ports.empty())
    {
        UI().ShowMessage(QStringLiteral("There are no trained ports."),
                         QString::fromLatin1(kPacketTraceCaption), EMessageKind::Error);
        return;
    }
    if (!PortUsable(m_nTracePort))
        m_nTracePort = ports.front();
}

bool CPacketTrace::PortUsable(int nPort) const
{
    return nPort >= 0 && nPort < kTraceMaxPorts && m_abPortUsable[static_cast<size_t>(nPort)];
}

std::vector<int> CPacketTrace::UsablePorts() const
{
    std::vector<int> ports;
    for (int p = 0; p < kTraceMaxPorts; ++p)
    {
        if (PortUsable(p))
            ports.push_back(p);
    }
    return ports;
}

bool CPacketTrace::Fail(const char* pszText, int32_t nStatus)
{
    UI().ShowMessage(QString::fromLatin1(pszText).arg(RioErrorText(nStatus)),
                     QString::fromLatin1(kPacketTraceCaption), EMessageKind::Error);
    return false;
}

bool CPacketTrace::Reach()
{
    if (!m_access.ConfigureRoute())
    {
        UI().ShowMessage(QStringLiteral("Unable to configure routing tables."),
                         QString::fromLatin1(kPacketTraceCaption), EMessageKind::Error);
        return false;
    }
    if (!m_access.FindConnectedPE())
    {
        UI().ShowMessage(QStringLiteral("Unable to find connected PE."),
                         QString::fromLatin1(kPacketTraceCaption), EMessageKind::Error);
        return false;
    }
    return true;
}

bool CPacketTrace::ButtonNeedsLink()
{
    if (m_access.IsConnected())
        return true;
    UI().Beep();
    m_nRunState = eTraceStopped;
    return false;
}

bool CPacketTrace::Check(int nRow, int nPort) const
{
    return nRow >= 0 && nRow < kTraceRows && nPort >= 0 && nPort < kTraceMaxPorts &&
           m_abCheck[static_cast<size_t>(nRow)][static_cast<size_t>(nPort)];
}

bool CPacketTrace::RowEnabled(int nRow) const
{
    if (nRow == kTraceRowPortWrite)
        return true;
    return nRow >= 0 && nRow < kTraceCounterRows && ComparatorEnabled(nRow % kTraceComparators);
}

bool CPacketTrace::AnyBox(int nPort) const
{
    for (int r = 0; r < kTraceCounterRows; ++r)
    {
        if (Check(r, nPort))
            return true;
    }
    return false;
}

bool CPacketTrace::CounterCheck()
{
    bool bFound = false;
    for (int p : UsablePorts())
    {
        for (int k = 0; k < kTraceCounterRows; ++k)
        {
            if (!Check(k, p))
                continue;
            const uint32_t ulAddress = TraceCounterAddress(p, k);
            bFound = bFound || PerfCounterClaimed(m_iNode, ulAddress);
            EnterTraceCounter(m_iNode, ulAddress);
        }
    }
    if (bFound &&
        UI().Ask(QStringLiteral(
                     "A performance monitor is currently configured to monitor one or more of the same "
                     "trace/filter counters.  Trace/Filter must be paused for the performance monitor to "
                     "function properly.  Do you want to Pause instead?"),
                 QString::fromLatin1(kWarningCaption), false) == eAnswerYes)
    {
        m_nRunState = eTracePaused;
        return false;
    }
    return true;
}

std::array<uint32_t, 10> CPacketTrace::ComparatorWords(int c) const
{
    std::array<uint32_t, 10> words{};
    if (!ComparatorEnabled(c))
        return words;
    for (int w = 0; w < 5; ++w)
    {
        for (int b = 0; b < 4; ++b)
        {
            const size_t i = static_cast<size_t>(w * 4 + b);
            words[static_cast<size_t>(w)] =
                (words[static_cast<size_t>(w)] << 8) | m_abCompare[static_cast<size_t>(c)][i];
            words[static_cast<size_t>(w + 5)] =
                (words[static_cast<size_t>(w + 5)] << 8) | m_abMask[static_cast<size_t>(c)][i];
        }
    }
    return words;
}

bool CPacketTrace::FullStart()
{
    if (!Reach() || !CounterCheck())
        return false;
    int32_t nStatus = 0;
    uint32_t ulControl = 0;
    if ((nStatus = m_access.Read(kGen2DeviceControl, &ulControl)) != 0)
        return Fail("Unable to read Device Control Register.\n\n%1", nStatus);
    std::array<uint32_t, 40> block{};
    for (int c = 0; c < kTraceComparators; ++c)
    {
        const std::array<uint32_t, 10> words = ComparatorWords(c);
        std::copy(words.begin(), words.end(), block.begin() + 10 * c);
    }
    for (int p : UsablePorts())
    {
        // The old value is of no interest: the word is built up from 0.
        uint32_t ulOps = 0;
        if ((nStatus = m_access.Read(PortOps(p), &ulOps)) != 0)
            return Fail("Unable to read Port Operations Register.\n\n%1", nStatus);
        ulOps = 0;
        if ((nStatus = m_access.Write(PortOps(p), ulOps)) != 0)
            return Fail("Unable to write Port Operations Register.\n\n%1", nStatus);
        if (AnyBox(p) && (nStatus = m_access.WriteBurst(ComparatorAddress(p, 0), block.data(), 40)) != 0)
            return Fail("Unable to write Trace Comparison and Mask Registers.\n\n%1", nStatus);
        for (int c = 0; c < kTraceComparators; ++c)
        {
            if (!ComparatorEnabled(c))
                continue;
            if (Check(c, p))
                ulOps |= 0x200u << c;
            if (Check(kTraceComparators + c, p))
                ulOps |= 0x2000u << c;
        }
        ulOps |= kTraceCountersEnable;
        if ((nStatus = m_access.Write(PortOps(p), ulOps)) != 0)
            return Fail("Unable to write Port Operations Register.\n\n%1", nStatus);
    }
    ulControl = (ulControl & ~(kTraceRoutingBit | kTracePortBits)) | kTraceEnable |
                (static_cast<uint32_t>(m_nTraceRouting & 1) << 16) |
                (static_cast<uint32_t>(m_nTracePort & 31) << 1);
    if ((nStatus = m_access.Write(kGen2DeviceControl, ulControl)) != 0)
        return Fail("Unable to write Device Control Register.\n\n%1", nStatus);
    m_nRunState = eTraceRunning;
    return true;
}

void CPacketTrace::Play()
{
    if (!ButtonNeedsLink())
        return;
    if (m_nRunState == eTraceStopped)
    {
        FullStart();
    }
    else if (m_nRunState == eTracePaused)
    {
        if (CounterCheck())
            m_nRunState = eTraceRunning;
    }
}

void CPacketTrace::Pause()
{
    if (!ButtonNeedsLink())
        return;
    if (m_nRunState == eTraceStopped)
        UI().Beep();
    else if (m_nRunState == eTraceRunning)
        m_nRunState = eTracePaused;
}

void CPacketTrace::Stop()
{
    if (!ButtonNeedsLink() || m_nRunState == eTraceStopped || !Reach())
        return;
    int32_t nStatus = 0;
    uint32_t ulControl = 0;
    if ((nStatus = m_access.Read(kGen2DeviceControl, &ulControl)) != 0)
    {
        Fail("Unable to read Device Control Register.\n\n%1", nStatus);
        return;
    }
    if ((nStatus = m_access.Write(kGen2DeviceControl, ulControl & ~kTraceEnable)) != 0)
    {
        Fail("Unable to write Device Control Register.\n\n%1", nStatus);
        return;
    }
    m_nRunState = eTraceStopped;
    DropTraceCounters();
}

bool CPacketTrace::Disarm()
{
    if (!Reach())
        return false;
    constexpr uint32_t kComparatorEnables = 0x0001FE00; // 0x200 << c and 0x2000 << c, c 0 to 3
    for (int p : UsablePorts())
    {
        int32_t nStatus = 0;
        uint32_t ulOps = 0;
        if ((nStatus = m_access.Read(PortOps(p), &ulOps)) != 0)
            return Fail("Unable to read Port Operations Register.\n\n%1", nStatus);
        if ((ulOps & kComparatorEnables) == 0)
            continue;
        if ((nStatus = m_access.Write(PortOps(p), ulOps & ~kComparatorEnables)) != 0)
            return Fail("Unable to write Port Operations Register.\n\n%1", nStatus);
    }
    return true;
}

void CPacketTrace::Tick()
{
    if (m_nRunState != eTraceRunning)
        return;
    for (int p : UsablePorts())
    {
        uint32_t aulCounts[kTraceCounterRows] = {};
        if (m_access.ReadBurst(TraceCounterAddress(p, 0), aulCounts, kTraceCounterRows) != 0)
        {
            UI().Beep();
            return;
        }
        for (int k = 0; k < kTraceCounterRows; ++k)
        {
            if (CounterEnabled(k, p))
                m_aulTotals[static_cast<size_t>(k)][static_cast<size_t>(p)] += aulCounts[k];
        }
    }
}

void CPacketTrace::SetCheck(int nRow, int nPort, bool bOn)
{
    if (nRow < 0 || nRow >= kTraceRows || nPort < 0 || nPort >= kTraceMaxPorts)
        return;
    m_abCheck[static_cast<size_t>(nRow)][static_cast<size_t>(nPort)] = bOn;
    if (m_nRunState == eTraceRunning)
    {
        // The counter's address as the matrix numbers it: row r of port p.
        const uint32_t ulAddress =
            kTraceCounterBase + (static_cast<uint32_t>(nPort) * 64u + static_cast<uint32_t>(nRow)) * 4u;
        if (bOn)
        {
            if (PerfCounterClaimed(m_iNode, ulAddress) &&
                UI().Ask(QStringLiteral(
                             "A performance monitor is currently configured to monitor this trace/filter "
                             "counter.  Trace/Filter must be paused for the performance monitor to "
                             "function properly.  Do you want to Pause?"),
                         QString::fromLatin1(kWarningCaption), false) == eAnswerYes)
            {
                m_nRunState = eTracePaused;
            }
            if (m_nRunState == eTraceRunning)
                EnterTraceCounter(m_iNode, ulAddress);
        }
        else
        {
            RemoveTraceCounter(m_iNode, ulAddress);
        }
    }
    if (m_nRunState != eTraceStopped)
        RewriteComparator(nRow % kTraceComparators);
}

bool CPacketTrace::RewriteComparator(int c)
{
    if (!Reach())
        return false;
    const std::array<uint32_t, 10> words = ComparatorWords(c);
    const bool bEnabled = ComparatorEnabled(c);
    int32_t nStatus = 0;
    for (int p : UsablePorts())
    {
        const bool bTrace = Check(c, p);
        const bool bFilter = Check(kTraceComparators + c, p);
        uint32_t w = 0;
        if ((nStatus = m_access.Read(PortOps(p), &w)) != 0)
            return Fail("Unable to read Port Operations Register.\n\n%1", nStatus);
        // While the block changes the comparator is taken off the port. The hardware's bits are
        // those of the first comparator whichever one changes; the start sets each comparator's own.
        if (bEnabled && bTrace)
            w &= ~0x200u;
        if (bEnabled && bFilter)
            w |= 0x2000u;
        if ((nStatus = m_access.Write(PortOps(p), w)) != 0)
            return Fail("Unable to write Port Operations Register.\n\n%1", nStatus);
        if (AnyBox(p) && (nStatus = m_access.WriteBurst(ComparatorAddress(p, c), words.data(), 10)) != 0)
            return Fail("Unable to write Trace Comparison and Mask Registers.\n\n%1", nStatus);
        if (bEnabled && bTrace)
            w |= 0x200u;
        if (bEnabled && bFilter)
            w |= 0x2000u;
        if ((nStatus = m_access.Write(PortOps(p), w)) != 0)
            return Fail("Unable to write Port Operations Register.\n\n%1", nStatus);
    }
    return true;
}

bool CPacketTrace::AnyDirty() const
{
    return std::any_of(m_abDirty.begin(), m_abDirty.end(), [](bool b) { return b; });
}

void CPacketTrace::SetComparator(int c, const uint8_t* pCompare, const uint8_t* pMask, int nBytes)
{
    if (c < 0 || c >= kTraceComparators)
        return;
    const size_t n = static_cast<size_t>(std::clamp(nBytes, 0, kTraceBufferBytes));
    auto& compare = m_abCompare[static_cast<size_t>(c)];
    auto& mask = m_abMask[static_cast<size_t>(c)];
    compare.fill(0);
    mask.fill(0);
    if (n > 0)
    {
        std::memcpy(compare.data(), pCompare, n);
        std::memcpy(mask.data(), pMask, n);
    }
    m_anBytes[static_cast<size_t>(c)] = static_cast<int>(n);
    if (m_nRunState != eTraceStopped)
        m_abDirty[static_cast<size_t>(c)] = true;
}

void CPacketTrace::SetComparatorEnabled(int c, bool bEnabled)
{
    if (c < 0 || c >= kTraceComparators || m_abEnabled[static_cast<size_t>(c)] == bEnabled)
        return;
    m_abEnabled[static_cast<size_t>(c)] = bEnabled;
    if (m_nRunState != eTraceStopped)
        m_abDirty[static_cast<size_t>(c)] = true;
}

void CPacketTrace::UpdateDirty()
{
    for (int c = 0; c < kTraceComparators; ++c)
    {
        if (!m_abDirty[static_cast<size_t>(c)])
            continue;
        if (!RewriteComparator(c))
            return;
        m_abDirty[static_cast<size_t>(c)] = false;
    }
}

void CPacketTrace::SetTracePort(int nPort)
{
    m_nTracePort = nPort;
    if (m_nRunState == eTraceStopped)
        return;
    uint32_t ulControl = 0;
    if (m_access.Read(kGen2DeviceControl, &ulControl) != 0)
        return;
    m_access.Write(kGen2DeviceControl,
                   (ulControl & ~kTracePortBits) | (static_cast<uint32_t>(nPort & 31) << 1));
}

bool CPacketTrace::CounterEnabled(int nRow, int nPort) const
{
    return nRow >= 0 && nRow < kTraceCounterRows && PortUsable(nPort) && Check(nRow, nPort) &&
           ComparatorEnabled(nRow % kTraceComparators);
}

uint32_t CPacketTrace::Total(int nRow, int nPort) const
{
    if (nRow < 0 || nRow >= kTraceCounterRows || nPort < 0 || nPort >= kTraceMaxPorts)
        return 0;
    return m_aulTotals[static_cast<size_t>(nRow)][static_cast<size_t>(nPort)];
}

void CPacketTrace::ResetAll()
{
    for (auto& row : m_aulTotals)
        row.fill(0);
}

void CPacketTrace::ResetRow(int nRow)
{
    if (nRow >= 0 && nRow < kTraceCounterRows)
        m_aulTotals[static_cast<size_t>(nRow)].fill(0);
}

void CPacketTrace::ResetPort(int nPort)
{
    if (nPort < 0 || nPort >= kTraceMaxPorts)
        return;
    for (auto& row : m_aulTotals)
        row[static_cast<size_t>(nPort)] = 0;
}

void CPacketTrace::ResetCounter(int nRow, int nPort)
{
    if (nRow >= 0 && nRow < kTraceCounterRows && nPort >= 0 && nPort < kTraceMaxPorts)
        m_aulTotals[static_cast<size_t>(nRow)][static_cast<size_t>(nPort)] = 0;
}

void CPacketTrace::DropTraceCounters()
{
    for (int p = 0; p < kTraceMaxPorts; ++p)
    {
        for (int k = 0; k < kTraceRows; ++k)
            RemoveTraceCounter(m_iNode, TraceCounterAddress(p, k));
    }
}

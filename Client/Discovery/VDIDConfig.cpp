#include "VDIDConfig.h"

#include "FFRoutes.h"
#include "HalWrappers.h"
#include "NVXLTypes.h"
#include "NetworkMap.h"
#include "NumberText.h"
#include "RouteProgramming.h"
#include "RouteSearch.h"
#include "StatusText.h"
#include "UserInterface.h"

#include <QRegularExpression>
#include <QStringList>

#include <algorithm>

namespace
{
const QString kInputError = QStringLiteral("Input Error");
// The typed list is read no further than this many IDs; more than the mode allows are dropped.
constexpr int kTokensLooked = 3;

uint16_t PrimaryID(const CPEPrimitive& pe, bool bLong)
{
    return bLong ? pe.LongDestID : pe.ShortDestID;
}

uint16_t AllOnes(bool bLong)
{
    return bLong ? 0xFFFF : 0xFF;
}

// "%0*Xh": an ID in capital hexadecimal digits with the tail, zero-filled to nDigits.
QString HexID(uint16_t wID, int nDigits)
{
    return QString::number(wID, 16).toUpper().rightJustified(nDigits, QLatin1Char('0')) + QLatin1Char('h');
}
} // namespace

SVDIDBlock SVDIDBlock::Of(const CPEPrimitive& pe)
{
    SVDIDBlock block;
    block.wCaps = pe.VDID_Caps;
    block.wNumSecondary = pe.VDID_NumSecondaryIDs;
    block.wMode = pe.VDID_Impl;
    block.wNumShort = pe.VDID_NumShortIDs;
    block.wNumLong = pe.VDID_NumLongIDs;
    block.shortIDs = pe.VDID_ShortIDs;
    block.longIDs = pe.VDID_LongIDs;
    return block;
}

void SVDIDBlock::WriteTo(CPEPrimitive& pe) const
{
    pe.VDID_Caps = wCaps;
    pe.VDID_NumSecondaryIDs = wNumSecondary;
    pe.VDID_Impl = wMode;
    pe.VDID_NumShortIDs = wNumShort;
    pe.VDID_NumLongIDs = wNumLong;
    pe.VDID_ShortIDs = shortIDs;
    pe.VDID_LongIDs = longIDs;
}

CVDIDConfig::CVDIDConfig(const CPEPrimitive& pe, const CPEList& PEs, bool bLong)
    : m_pe(pe), m_PEs(PEs), m_bLong(bLong), m_block(SVDIDBlock::Of(pe))
{
    switch (Mode())
    {
    case EVDIDMode::eAcceptAll:
        m_nMaxVDIDs = kMaxVDIDsPerWidth;
        break;
    case EVDIDMode::eSecondary:
        m_nMaxVDIDs = std::min<int>(m_block.wNumSecondary, kMaxVDIDsPerWidth);
        break;
    case EVDIDMode::eDisabled:
        m_nMaxVDIDs = 0;
        break;
    }
}

bool CVDIDConfig::IsSwitch() const
{
    return (m_pe.uType & kPETypeSwitch) != 0;
}

bool CVDIDConfig::SecondaryAllowed() const
{
    return (m_block.wCaps & kVDIDSecondary) != 0;
}

bool CVDIDConfig::AcceptAllAllowed() const
{
    return (m_block.wCaps & kVDIDAcceptAll) != 0 || IsSwitch();
}

EVDIDMode CVDIDConfig::Mode() const
{
    if (m_block.wMode & kVDIDSecondary)
    {
        return EVDIDMode::eSecondary;
    }
    return (m_block.wMode & kVDIDAcceptAll) ? EVDIDMode::eAcceptAll : EVDIDMode::eDisabled;
}

void CVDIDConfig::ChooseMode(EVDIDMode eMode)
{
    switch (eMode)
    {
    case EVDIDMode::eAcceptAll:
        m_block.wMode = kVDIDAcceptAll;
        m_nMaxVDIDs = kMaxVDIDsPerWidth;
        break;
    case EVDIDMode::eSecondary:
        m_block.wMode = kVDIDSecondary;
        m_nMaxVDIDs = std::min<int>(m_block.wNumSecondary, kMaxVDIDsPerWidth);
        break;
    case EVDIDMode::eDisabled:
        m_block.wMode = 0;
        m_nMaxVDIDs = 0;
        break;
    }
}

QString CVDIDConfig::SupportText() const
{
    switch (Mode())
    {
    case EVDIDMode::eAcceptAll:
        return QStringLiteral("%1 Virtual Destination ID%2supported")
            .arg(m_nMaxVDIDs)
            .arg(m_nMaxVDIDs >= 2 ? QStringLiteral("s ") : QStringLiteral(" "));
    case EVDIDMode::eSecondary:
        return QStringLiteral("%1 Virtual Destination IDs supported").arg(m_nMaxVDIDs);
    case EVDIDMode::eDisabled:
        break;
    }
    return QString();
}

int CVDIDConfig::Count() const
{
    return std::min<int>(m_bLong ? m_block.wNumLong : m_block.wNumShort, kMaxVDIDsPerWidth);
}

uint16_t CVDIDConfig::ID(int i) const
{
    return (m_bLong ? m_block.longIDs : m_block.shortIDs)[static_cast<size_t>(i)];
}

void CVDIDConfig::SetCount(int nCount)
{
    (m_bLong ? m_block.wNumLong : m_block.wNumShort) = static_cast<uint16_t>(nCount);
}

void CVDIDConfig::SetID(int i, uint16_t wID)
{
    (m_bLong ? m_block.longIDs : m_block.shortIDs)[static_cast<size_t>(i)] = wID;
}

QString CVDIDConfig::IDText() const
{
    QStringList ids;
    for (int i = 0; i < Count(); ++i)
    {
        ids << HexID(ID(i), m_bLong ? 4 : 2);
    }
    return ids.join(QLatin1Char(','));
}

std::vector<uint16_t> CVDIDConfig::IDsOf(const CPEPrimitive& pe) const
{
    std::vector<uint16_t> ids;
    if (pe.bUsesDestID)
    {
        ids.push_back(PrimaryID(pe, m_bLong));
    }
    const uint16_t wCount = std::min<uint16_t>(m_bLong ? pe.VDID_NumLongIDs : pe.VDID_NumShortIDs, 2);
    for (uint16_t i = 0; i < wCount; ++i)
    {
        ids.push_back((m_bLong ? pe.VDID_LongIDs : pe.VDID_ShortIDs)[i]);
    }
    return ids;
}

std::vector<uint16_t> CVDIDConfig::OwnIDs() const
{
    std::vector<uint16_t> ids;
    if (m_pe.bUsesDestID)
    {
        ids.push_back(PrimaryID(m_pe, m_bLong));
    }
    for (int i = 0; i < Count(); ++i)
    {
        ids.push_back(ID(i));
    }
    return ids;
}

bool CVDIDConfig::ChooseAutomatically()
{
    m_block.wMode |= kVDIDAssigned;
    std::vector<bool> used(0x10000, false);
    for (const auto& pOther : m_PEs)
    {
        if (pOther.get() != &m_pe && !pOther->bDeleted)
        {
            for (uint16_t wID : IDsOf(*pOther))
            {
                used[wID] = true;
            }
        }
    }
    // The two top values of the width are the all-ones IDs of discovery and never handed out.
    const uint32_t ulTop = AllOnes(m_bLong) - 1u;
    const uint32_t ulStart = m_pe.bUsesDestID ? PrimaryID(m_pe, m_bLong) + 1u : 1u;
    auto nextFree = [&used, ulTop](uint32_t ulFrom, uint32_t ulTo) -> int
    {
        for (uint32_t ulID = ulFrom; ulID < ulTo && ulID < ulTop; ++ulID)
        {
            if (!used[ulID])
            {
                return static_cast<int>(ulID);
            }
        }
        return -1;
    };
    const int nKept = std::min(Count(), m_nMaxVDIDs);
    SetCount(nKept);
    for (int i = 0; i < nKept; ++i)
    {
        used[ID(i)] = true;
    }
    for (int i = nKept; i < m_nMaxVDIDs; ++i)
    {
        int nID = nextFree(ulStart, ulTop);
        if (nID < 0)
        {
            nID = nextFree(1, ulStart);
        }
        if (nID < 0)
        {
            UI().ShowMessage(QStringLiteral("Could not find enough unused IDs in the network."),
                             QStringLiteral("Error"), EMessageKind::Error);
            return false;
        }
        SetID(i, static_cast<uint16_t>(nID));
        SetCount(i + 1);
        used[static_cast<size_t>(nID)] = true;
    }
    return true;
}

bool CVDIDConfig::Accept(const QString& strIDs)
{
    if (!strIDs.trimmed().isEmpty() && m_nMaxVDIDs == 0)
    {
        UI().ShowMessage(QStringLiteral("Defined VDIDs will be ignored."), ApplicationTitle(),
                         EMessageKind::Information);
        // Nothing of either width is kept for a PE that takes no VDIDs in its mode.
        m_block.wNumLong = 0;
        SetCount(0);
    }
    else
    {
        const QStringList tokens =
            strIDs.split(QRegularExpression(QStringLiteral("[,;. ]")), Qt::SkipEmptyParts);
        std::vector<uint16_t> ids;
        for (int i = 0; i < std::min<int>(static_cast<int>(tokens.size()), kTokensLooked); ++i)
        {
            if (i >= m_nMaxVDIDs)
            {
                UI().ShowMessage(
                    QStringLiteral("Too many VDIDs have been defined. All but the first %1 will be ignored.")
                        .arg(m_nMaxVDIDs),
                    QStringLiteral("Please Note"), EMessageKind::Warning);
                break;
            }
            uint64_t ulID = 0;
            if (!NumberFromText(tokens[i], &ulID))
            {
                UI().ShowMessage(QStringLiteral("Invalid VDID format for '%1'").arg(tokens[i]), kInputError,
                                 EMessageKind::Error);
                return false;
            }
            if (ulID > AllOnes(m_bLong))
            {
                UI().ShowMessage(QStringLiteral("DestID %1 is too big.").arg(tokens[i]), kInputError,
                                 EMessageKind::Error);
                return false;
            }
            ids.push_back(static_cast<uint16_t>(ulID));
        }
        SetCount(static_cast<int>(ids.size()));
        for (size_t i = 0; i < ids.size(); ++i)
        {
            SetID(static_cast<int>(i), ids[i]);
        }
    }
    // An ID this PE already answers to may stand twice in its own list; another PE's may not.
    const std::vector<uint16_t> own = OwnIDs();
    for (const auto& pOther : m_PEs)
    {
        if (pOther.get() == &m_pe || pOther->bDeleted)
        {
            continue;
        }
        for (uint16_t wID : IDsOf(*pOther))
        {
            if (std::find(own.begin(), own.end(), wID) != own.end())
            {
                UI().ShowMessage(
                    QStringLiteral("Destination ID %1 is already in use by another PE.").arg(HexID(wID, 0)),
                    kInputError, EMessageKind::Error);
                return false;
            }
        }
    }
    return true;
}

int32_t UpdatePEVDIDs(CNetworkDocument& map, CPEPrimitive& pe)
{
    const bool bLong = MapUsesLongIDs();
    const CPEPrimitive* pHost = MapHostPE(map);
    const bool bSecondary = (pe.VDID_Impl & kVDIDSecondary) != 0;
    const bool bRouted = (pe.VDID_Impl & (kVDIDSecondary | kVDIDAcceptAll)) != 0;
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    if (bSecondary)
    {
        const int32_t nStatus = FindRoute(pHost, &pe, *map.pCurrentPEs, *map.pCurrentConnections, &ulDestID,
                                          &uchHop, false, nullptr);
        if (nStatus == kNoRouteStatus)
        {
            ShowMessage(QStringLiteral("Unable to find a route to that PE in order to make the change.\n"));
            return nStatus;
        }
        if (nStatus != 0)
        {
            ShowMessage(QStringLiteral("Unable to find a route to that PE in order to make the change.  The "
                                       "following\nerror was reported:\n") +
                        RioErrorText(nStatus));
            return nStatus;
        }
    }
    const int nCount = std::min<int>(bLong ? pe.VDID_NumLongIDs : pe.VDID_NumShortIDs, kMaxVDIDsPerWidth);
    for (int i = 0; i < nCount; ++i)
    {
        uint16_t wID = (bLong ? pe.VDID_LongIDs : pe.VDID_ShortIDs)[static_cast<size_t>(i)];
        if (bSecondary)
        {
            const int32_t nStatus =
                Set2aryDestID(pe.ManufID, pe.DeviceID, 0, ulDestID, uchHop, static_cast<uint16_t>(i),
                              bLong ? nullptr : &wID, bLong ? &wID : nullptr);
            if (nStatus != 0)
            {
                ShowMessage(
                    QStringLiteral("Unable to set secondary destination ID.  The following\nerror was "
                                   "reported:\n\n%1")
                        .arg(RioErrorText(nStatus)));
                return nStatus;
            }
        }
        // The host reaches itself without a switch to route it.
        if (!bRouted || !pHost || pHost == &pe)
        {
            continue;
        }
        CRoute route;
        if (FindShortest(route, *map.pCurrentConnections, static_cast<uint32_t>(pHost->iNodeNumber),
                         static_cast<uint32_t>(pe.iNodeNumber)) == 0)
        {
            ShowMessage(
                QStringLiteral("Unable to find an optimum route to the node.  The following\nerror was "
                               "reported:\n\n%1")
                    .arg(RioErrorText(kNoRouteStatus)));
            return kNoRouteStatus;
        }
        QString strFailure;
        int32_t nStatus = ProgramRoute(route, map, wID, false, &strFailure);
        if (nStatus == 0)
        {
            nStatus = ProgramRoute(route, map, PrimaryID(*pHost, bLong), true, &strFailure);
        }
        if (nStatus != 0)
        {
            ShowMessage(QStringLiteral("Unable to route VDID %1 to the node: an error was encountered while "
                                       "%2.  The following\nerror was reported:\n\n%3")
                            .arg(HexID(wID, 0), strFailure, RioErrorText(nStatus)));
            return nStatus;
        }
    }
    return 0;
}

bool OfferPEVDIDUpdate(CNetworkDocument& map, CPEPrimitive& pe)
{
    if (UI().Ask(QStringLiteral("Do you want to update the PE and routing tables based upon your changes to "
                                "the VDID configuration?"),
                 ApplicationTitle(), false) != eAnswerYes)
    {
        return false;
    }
    return UpdatePEVDIDs(map, pe) == 0;
}

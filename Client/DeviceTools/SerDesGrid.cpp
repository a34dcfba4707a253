#include "SerDesGrid.h"

#include "DfeSearch.h"
#include "HalWrappers.h"
#include "NVXLHal.h"
#include "NVXLStatus.h"
#include "NetworkDocument.h"
#include "NumberText.h"
#include "PacketGenAccess.h"

#include <algorithm>

namespace
{
constexpr int32_t kNoRoute = -28; // "There is no valid route to a PE using the current routing tables"

// Lane control: the drive strength and the 10b loop-back.
constexpr uint32_t kStrengthMask = 0x7E0; // bits 10:5
constexpr int kStrengthShift = 5;
constexpr uint32_t kStrengthMax = 63;
constexpr uint32_t kLoopback10b = 0x8000; // bit 15
// Lane drive: pre- and post-cursor, and the write enable of the strength.
constexpr uint32_t kPreMask = 0x7C0; // bits 10:6
constexpr int kPreShift = 6;
constexpr uint32_t kPreMax = 31;
constexpr uint32_t kPostMask = 0x3F; // bits 5:0
constexpr uint32_t kPostMax = 63;
constexpr uint32_t kStrengthWriteEnable = 0x20000000; // bit 29
// DFE control: the grid's ON/OFF bit.
constexpr uint32_t kDfeOnOffBit = 0x40000; // bit 18
// Lane error status: the errors since the last read.
constexpr uint32_t kLaneErrorMask = 0x780; // bits 10:7
constexpr int kLaneErrorShift = 7;
// Error counting of the port.
constexpr uint32_t kCountErrorRateEnable = 0x4E8015;
constexpr uint32_t kCountErrorRate = 0x30000;

const std::vector<uint32_t> kSpeeds = {1250, 2500, 3125, 5000, 6250};
const char* const kSpeedTexts[] = {"1.25", "2.5", "3.125", "5.0", "6.25"};

uint32_t Clamp(uint32_t ulValue, uint32_t ulMax)
{
    return std::min(ulValue, ulMax);
}
} // namespace

// --- The target -------------------------------------------------------------------------------

CTargetSerDesGridAccess::CTargetSerDesGridAccess(const CNetworkDocument& document, int iNode)
    : m_document(document), m_iNode(iNode)
{
}

bool CTargetSerDesGridAccess::ConfigureRoute()
{
    return ConfigureSwitchRoute(m_document, m_iNode, &m_ulDestID, &m_uchHop);
}

bool CTargetSerDesGridAccess::FindConnectedPE() const
{
    const CPEPrimitive* pPE = m_document.pCurrentPEs->GetByNodeNumber(m_iNode);
    return pPE && !pPE->bDeleted;
}

uint16_t CTargetSerDesGridAccess::DeviceID() const
{
    const CPEPrimitive* pPE = m_document.pCurrentPEs->GetByNodeNumber(m_iNode);
    return pPE ? pPE->DeviceID : 0;
}

int32_t CTargetSerDesGridAccess::Read(uint32_t ulOffset, uint32_t* pulValue)
{
    return HalStatusToClient(MaintRead(0, m_ulDestID, m_uchHop, ulOffset, pulValue, 1, 4, 4));
}

int32_t CTargetSerDesGridAccess::Write(uint32_t ulOffset, uint32_t ulValue)
{
    return HalStatusToClient(MaintWrite(0, m_ulDestID, m_uchHop, ulOffset, &ulValue, 1, 4, 4));
}

int32_t CTargetSerDesGridAccess::GetPortSpeedMHz(uint32_t ulPort, uint32_t* pulSpeedMHz)
{
    const CPEPrimitive* pPE = m_document.pCurrentPEs->GetByNodeNumber(m_iNode);
    if (!pPE)
        return kNoRoute;
    return ::GetPortSpeedMHz(pPE->ManufID, pPE->DeviceID, 0, m_ulDestID, m_uchHop,
                             static_cast<uint8_t>(ulPort), pulSpeedMHz);
}

int32_t CTargetSerDesGridAccess::SetPortSpeedMHz(uint32_t ulPort, uint32_t ulSpeedMHz)
{
    const CPEPrimitive* pPE = m_document.pCurrentPEs->GetByNodeNumber(m_iNode);
    if (!pPE)
        return kNoRoute;
    return ::SetPortSpeedMHz(pPE->ManufID, pPE->DeviceID, 0, m_ulDestID, m_uchHop,
                             static_cast<uint8_t>(ulPort), ulSpeedMHz);
}

// --- Columns and speeds -----------------------------------------------------------------------

QString SerDesColumnHeading(int iColumn)
{
    switch (iColumn)
    {
    case eSerDesLane:
        return QStringLiteral("Lane");
    case eSerDesSpeed:
        return QStringLiteral("Port\nSpeed");
    case eSerDesStrength:
        return QStringLiteral("Strength");
    case eSerDesPre:
        return QStringLiteral("Pre");
    case eSerDesPost:
        return QStringLiteral("Post");
    case eSerDesDfeOn:
        return QStringLiteral("DFE\nON/OFF");
    case eSerDesTap0:
    case eSerDesTap1:
    case eSerDesTap2:
    case eSerDesTap3:
    case eSerDesTap4:
        return QStringLiteral("DFE\nTap %1").arg(iColumn - eSerDesTap0);
    case eSerDesScan:
        return QStringLiteral("DFE\nScan");
    case eSerDesMonitor:
        return QStringLiteral("DFE\nMonitor");
    case eSerDesAdjust:
        return QStringLiteral("DFE\nAdjust");
    case eSerDesLoopback:
        return QStringLiteral("10b Loopback\nEnable");
    case eSerDesCountEnable:
        return QStringLiteral("Error Count\nEnable");
    case eSerDesErrorCount:
        return QStringLiteral("Error\nCount");
    case eSerDesErrorRate:
        return QStringLiteral("Error\nRate");
    default:
        return QString();
    }
}

QString SerDesColumnToolTip(int iColumn)
{
    switch (iColumn)
    {
    case eSerDesScan:
        return QStringLiteral("Press button to scan DFE parameters and select the best.");
    case eSerDesMonitor:
        return QStringLiteral(
            "Press button to monitor bit error rate for each link, and invoke berAdjust if/when necessary.");
    case eSerDesAdjust:
        return QStringLiteral("Press button to adjust DFE parameters based on bit error rate.");
    default:
        return QString();
    }
}

const std::vector<uint32_t>& SerDesSpeedsMHz()
{
    return kSpeeds;
}

QStringList SerDesSpeedTexts()
{
    QStringList texts;
    for (const char* pszText : kSpeedTexts)
        texts << QString::fromLatin1(pszText);
    return texts;
}

QString SerDesSpeedText(uint32_t ulSpeedMHz)
{
    for (size_t i = 0; i < kSpeeds.size(); ++i)
    {
        if (kSpeeds[i] == ulSpeedMHz)
            return QString::fromLatin1(kSpeedTexts[i]);
    }
    return QStringLiteral("Invalid");
}

// --- The rows ---------------------------------------------------------------------------------

CSerDesGrid::CSerDesGrid(ISerDesGridAccess& access) : m_access(access) {}

uint32_t CSerDesGrid::Read(uint32_t ulOffset, bool* pbOk)
{
    uint32_t ulValue = 0;
    if (m_access.Read(ulOffset, &ulValue) != 0)
    {
        if (pbOk)
            *pbOk = false;
        return 0;
    }
    return ulValue;
}

void CSerDesGrid::Write(uint32_t ulOffset, uint32_t ulValue)
{
    m_access.Write(ulOffset, ulValue);
}

bool CSerDesGrid::Load(uint16_t wDeviceID)
{
    m_rows.clear();
    m_bCounting = false;
    return LoadSerDesDeviceTable(m_access, wDeviceID, &m_table);
}

std::vector<uint32_t> CSerDesGrid::Ports() const
{
    std::vector<uint32_t> ports;
    for (uint32_t p = 0; p < m_table.ports.size(); ++p)
    {
        if (m_table.ports[p].ulLanes)
            ports.push_back(p);
    }
    return ports;
}

bool CSerDesGrid::SelectPort(uint32_t ulPort)
{
    if (ulPort >= m_table.ports.size() || m_table.ports[ulPort].ulLanes == 0)
        return false;
    StopCounting();
    m_ulPort = ulPort;
    const SSerDesPort& port = m_table.ports[ulPort];
    m_rows.assign(port.ulLanes, SSerDesLaneRow());
    for (uint32_t i = 0; i < port.ulLanes; ++i)
        m_rows[i].ulLane = port.ulFirstLane + i;
    ReadAll();
    return true;
}

uint32_t CSerDesGrid::GridRevision(bool* pbOk)
{
    return (Read(serdes::kDeviceInfo, pbOk) >> 16) & 0x1F;
}

void CSerDesGrid::ReadRow(int iRow)
{
    if (iRow < 0 || iRow >= RowCount())
        return;
    SSerDesLaneRow& row = m_rows[static_cast<size_t>(iRow)];
    const uint32_t l = row.ulLane;
    bool bOk = true;
    uint32_t ulSpeed = 0;
    row.ulSpeedMHz = m_access.GetPortSpeedMHz(m_ulPort, &ulSpeed) == 0 ? ulSpeed : 0;
    const uint32_t ulControl = Read(serdes::LaneControl(l), &bOk);
    row.ulStrength = (ulControl & kStrengthMask) >> kStrengthShift;
    const uint32_t ulDrive = Read(serdes::LaneDrive(l), &bOk);
    row.ulPre = (ulDrive & kPreMask) >> kPreShift;
    row.ulPost = ulDrive & kPostMask;
    const uint32_t ulRevision = GridRevision(&bOk);
    const bool bBit = (Read(serdes::DfeControl(l), &bOk) & kDfeOnOffBit) != 0;
    row.bDfeOn = ulRevision == 0 ? bBit : !bBit;
    row.taps = DecodeTaps(Read(serdes::DfeTaps(l), &bOk));
    // The loop-back cell speaks for the port: "Enabled" when any of its lanes loops back.
    row.bLoopback = false;
    for (const SSerDesLaneRow& other : m_rows)
    {
        const uint32_t ulOther =
            other.ulLane == l ? ulControl : Read(serdes::LaneControl(other.ulLane), &bOk);
        row.bLoopback = row.bLoopback || (ulOther & kLoopback10b) != 0;
    }
    row.bRead = bOk;
}

void CSerDesGrid::ReadAll()
{
    for (int i = 0; i < RowCount(); ++i)
        ReadRow(i);
}

bool CSerDesGrid::IsEditable(int iColumn)
{
    return iColumn == eSerDesStrength || iColumn == eSerDesPre || iColumn == eSerDesPost ||
           (iColumn >= eSerDesTap0 && iColumn <= eSerDesTap4);
}

QString CSerDesGrid::CellText(int iRow, int iColumn) const
{
    if (iRow < 0 || iRow >= RowCount())
        return QString();
    const SSerDesLaneRow& row = Row(iRow);
    switch (iColumn)
    {
    case eSerDesLane:
        return QString::number(row.ulLane);
    case eSerDesScan:
        return QStringLiteral("Scan");
    case eSerDesMonitor:
        return QStringLiteral("Monitor");
    case eSerDesAdjust:
        return QStringLiteral("Adjust");
    case eSerDesCountEnable:
        return CountEnableText();
    case eSerDesErrorCount:
        return QString::number(row.ullErrors);
    case eSerDesErrorRate:
        return row.ullErrors ? QString::asprintf("%.2e", ErrorRate(iRow)) : QStringLiteral("0");
    default:
        break;
    }
    // What was read from the switch; nothing when a read failed.
    if (!row.bRead)
        return QString();
    switch (iColumn)
    {
    case eSerDesSpeed:
        return SerDesSpeedText(row.ulSpeedMHz);
    case eSerDesStrength:
        return QString::number(row.ulStrength);
    case eSerDesPre:
        return QString::number(row.ulPre);
    case eSerDesPost:
        return QString::number(row.ulPost);
    case eSerDesDfeOn:
        return row.bDfeOn ? QStringLiteral("ON") : QStringLiteral("OFF");
    case eSerDesTap0:
    case eSerDesTap1:
    case eSerDesTap2:
    case eSerDesTap3:
    case eSerDesTap4:
        return QString::number(row.taps[static_cast<size_t>(iColumn - eSerDesTap0)]);
    case eSerDesLoopback:
        return row.bLoopback ? QStringLiteral("Enabled") : QStringLiteral("Disabled");
    default:
        return QString();
    }
}

bool CSerDesGrid::EditCell(int iRow, int iColumn, const QString& strText, QString* pstrError)
{
    if (iRow < 0 || iRow >= RowCount() || !IsEditable(iColumn))
        return false;
    QString strNumber = strText.trimmed();
    const bool bNegative = iColumn >= eSerDesTap0 && strNumber.startsWith(QLatin1Char('-'));
    if (bNegative)
        strNumber.remove(0, 1);
    uint64_t ulValue = 0;
    if (!NumberFromText(strNumber, 0xFFFFFFFFu, &ulValue))
    {
        *pstrError = InvalidEntryText();
        ReadRow(iRow);
        return false;
    }
    const uint32_t ulTyped = static_cast<uint32_t>(ulValue);
    switch (iColumn)
    {
    case eSerDesStrength:
        SetStrength(iRow, ulTyped);
        break;
    case eSerDesPre:
        SetPre(iRow, ulTyped);
        break;
    case eSerDesPost:
        SetPost(iRow, ulTyped);
        break;
    default:
    {
        const int64_t llValue = bNegative ? -static_cast<int64_t>(ulValue) : static_cast<int64_t>(ulValue);
        SetTap(iRow, iColumn - eSerDesTap0,
               static_cast<int32_t>(std::clamp<int64_t>(llValue, -0x7FFF, 0x7FFF)));
        break;
    }
    }
    return true;
}

void CSerDesGrid::SetStrength(int iRow, uint32_t ulValue)
{
    const uint32_t l = LaneOf(iRow);
    // The strength only takes while the lane drive's write enable is set.
    const uint32_t ulDrive = Read(serdes::LaneDrive(l), nullptr);
    const bool bWasClear = (ulDrive & kStrengthWriteEnable) == 0;
    if (bWasClear)
        Write(serdes::LaneDrive(l), ulDrive | kStrengthWriteEnable);
    const uint32_t ulControl = Read(serdes::LaneControl(l), nullptr);
    Write(serdes::LaneControl(l),
          (ulControl & ~kStrengthMask) | (Clamp(ulValue, kStrengthMax) << kStrengthShift));
    if (bWasClear)
        Write(serdes::LaneDrive(l), ulDrive & ~kStrengthWriteEnable);
    ReadRow(iRow);
}

void CSerDesGrid::SetPre(int iRow, uint32_t ulValue)
{
    const uint32_t l = LaneOf(iRow);
    const uint32_t ulDrive = Read(serdes::LaneDrive(l), nullptr);
    Write(serdes::LaneDrive(l), (ulDrive & ~kPreMask) | (Clamp(ulValue, kPreMax) << kPreShift));
    ReadRow(iRow);
}

void CSerDesGrid::SetPost(int iRow, uint32_t ulValue)
{
    const uint32_t l = LaneOf(iRow);
    const uint32_t ulDrive = Read(serdes::LaneDrive(l), nullptr);
    Write(serdes::LaneDrive(l), (ulDrive & ~kPostMask) | Clamp(ulValue, kPostMax));
    ReadRow(iRow);
}

void CSerDesGrid::SetDfeOn(int iRow, bool bOn)
{
    const uint32_t l = LaneOf(iRow);
    // First silicon has the bit the other way round: set is on only at revision 0.
    const uint32_t ulRevision = GridRevision(nullptr);
    const uint32_t ulControl = Read(serdes::DfeControl(l), nullptr);
    const bool bSet = ulRevision == 0 ? bOn : !bOn;
    Write(serdes::DfeControl(l), bSet ? ulControl | kDfeOnOffBit : ulControl & ~kDfeOnOffBit);
    ReadRow(iRow);
}

void CSerDesGrid::SetTap(int iRow, int iTap, int32_t lValue)
{
    if (iTap < 0 || iTap >= kDfeShownTaps)
        return;
    const uint32_t l = LaneOf(iRow);
    const SDfeTapField& field = DfeTapField(iTap);
    const uint32_t ulRegister = Read(serdes::DfeTaps(l), nullptr);
    DfeTapValues taps = DecodeTaps(ulRegister);
    taps[static_cast<size_t>(iTap)] = std::clamp(lValue, field.lMin, field.lMax);
    CDfeSearch(m_access, m_table).PutTapRegister(l, EncodeTaps(ulRegister, taps));
    ReadRow(iRow);
}

void CSerDesGrid::SetLoopback(bool bOn)
{
    for (const SSerDesLaneRow& row : m_rows)
    {
        const uint32_t ulControl = Read(serdes::LaneControl(row.ulLane), nullptr);
        Write(serdes::LaneControl(row.ulLane), bOn ? ulControl | kLoopback10b : ulControl & ~kLoopback10b);
    }
    ReadAll();
}

int32_t CSerDesGrid::SetPortSpeed(uint32_t ulSpeedMHz)
{
    const int32_t nStatus = m_access.SetPortSpeedMHz(m_ulPort, ulSpeedMHz);
    ReadAll();
    return nStatus;
}

void CSerDesGrid::SetErrorCounting(bool bOn)
{
    if (!bOn)
    {
        StopCounting();
        return;
    }
    if (m_rows.empty())
        return;
    const uint32_t p = m_ulPort;
    for (SSerDesLaneRow& row : m_rows)
    {
        row.ullErrors = 0;
        // What the lane counted before is not this count's.
        Read(serdes::LaneErrorStatus(row.ulLane), nullptr);
    }
    m_ulSeconds = 0;
    Write(serdes::PortErrorRateEnable(p), kCountErrorRateEnable);
    Write(serdes::PortErrorRate(p), kCountErrorRate);
    Write(serdes::PortErrorThreshold(p), 0);
    Write(serdes::PortOperations(p), Read(serdes::PortOperations(p), nullptr) | serdes::kCountersEnable);
    m_bCounting = true;
}

void CSerDesGrid::StopCounting()
{
    if (!m_bCounting)
        return;
    m_bCounting = false;
    const uint32_t p = m_ulPort;
    Write(serdes::PortOperations(p), Read(serdes::PortOperations(p), nullptr) & ~serdes::kCountersEnable);
}

void CSerDesGrid::Tick()
{
    if (!m_bCounting)
        return;
    ++m_ulSeconds;
    for (SSerDesLaneRow& row : m_rows)
    {
        bool bOk = true;
        const uint32_t ulStatus = Read(serdes::LaneErrorStatus(row.ulLane), &bOk);
        if (bOk)
            row.ullErrors += (ulStatus & kLaneErrorMask) >> kLaneErrorShift;
    }
}

QString CSerDesGrid::CountEnableText() const
{
    if (!m_bCounting)
        return QStringLiteral("Disabled");
    return QString::asprintf("Enabled\n%d:%02d:%02d", static_cast<int>(m_ulSeconds / 3600),
                             static_cast<int>(m_ulSeconds / 60 % 60), static_cast<int>(m_ulSeconds % 60));
}

double CSerDesGrid::ErrorRate(int iRow) const
{
    const SSerDesLaneRow& row = Row(iRow);
    const uint32_t ulSpeed = row.ulSpeedMHz ? row.ulSpeedMHz : kDfeDefaultSpeedMHz;
    if (m_ulSeconds == 0)
        return 0.0;
    return static_cast<double>(row.ullErrors) /
           (static_cast<double>(m_ulSeconds) * static_cast<double>(ulSpeed) * 1000000.0);
}

#include "RegisterReport.h"

#include "NetworkDocument.h"
#include "NumberText.h"
#include "Primitives.h"
#include "ReportTemplate.h"
#include "UserInterface.h"

#include <algorithm>

namespace
{
const QString kEmptyCell = QStringLiteral("&nbsp");
constexpr int kFieldsAcross = 4;

const SRegisterValue* StoredValue(const RegisterItem& item)
{
    if (!item.pValues || !item.pRegister)
    {
        return nullptr;
    }
    return item.bIO ? item.pValues->FindIO(item.uLocalAddr, item.uRIOAddr) : item.pValues->Find(item.uOffset);
}

QString BitsText(const CBitField& field)
{
    return field.iFirstBit == field.iLastBit
               ? QStringLiteral("Bit %1").arg(field.iFirstBit)
               : QStringLiteral("Bits %1-%2").arg(field.iFirstBit).arg(field.iLastBit);
}

QString HexText(uint32_t uValue, int iBits)
{
    return QStringLiteral("0x%1")
        .arg(uValue, std::max(1, iBits / 4), 16, QLatin1Char('0'))
        .toUpper()
        .replace(QStringLiteral("0X"), QStringLiteral("0x"));
}
} // namespace

std::vector<RegisterItem> MapRegisterItems(CNetworkDocument& map, int iNode)
{
    std::vector<RegisterItem> items;
    if (!map.pCurrentPEs)
    {
        return items;
    }
    for (CPEPrimitive* pPE : map.pCurrentPEs->LivePEsInNodeOrder())
    {
        // Registers are only ever stored for PEs that answered as themselves.
        if ((iNode >= 0 && pPE->iNodeNumber != iNode) || (pPE->uType & (kPETypeNull | kPETypeUnknown)) ||
            pPE->SavedRegisters.IsEmpty())
        {
            continue;
        }
        std::vector<RegisterItem> tree = TreeRegisterItems(*pPE);
        items.insert(items.end(), tree.begin(), tree.end());
    }
    return items;
}

QStringList RegisterReportHeadKeys()
{
    return {QStringLiteral("REG_OFFSET_TITLE"), QStringLiteral("REG_NAME_TITLE"), QStringLiteral("BFBITS_A"),
            QStringLiteral("BFBITS_B"),         QStringLiteral("BFBITS_C"),       QStringLiteral("BFBITS_D")};
}

QStringList RegisterReportRowKeys()
{
    return {QStringLiteral("OFFSET"),   QStringLiteral("REGNAME"),  QStringLiteral("BFNAME_A"),
            QStringLiteral("BFNAME_B"), QStringLiteral("BFNAME_C"), QStringLiteral("BFNAME_D"),
            QStringLiteral("BFDATA_A"), QStringLiteral("BFDATA_B"), QStringLiteral("BFDATA_C"),
            QStringLiteral("BFDATA_D")};
}

std::vector<SRegisterReportRow> RegisterReportRows(const CRegister& reg, uint32_t uOffset, uint32_t uValue,
                                                   bool bConfirmed)
{
    struct SField
    {
        QString strBits, strName, strData;
    };
    std::vector<SField> fields;
    const int nBase = static_cast<int>(reg.eDisplayBase);
    for (int i = 0; i < reg.GetNumBitFields(); ++i)
    {
        const CBitField* pField = reg.GetBitField(i);
        const uint32_t uField = pField->Extract(uValue, reg.GetNumBits());
        QString strData = NumberToText(uField, nBase, true);
        if (const QString strMeaning = pField->GetValueText(uField); !strMeaning.isEmpty())
        {
            strData += QStringLiteral(" (%1)").arg(ReportEscape(strMeaning));
        }
        fields.push_back({BitsText(*pField), ReportEscape(pField->Name), strData});
    }
    if (fields.empty())
    {
        // A register described without fields is one field of all its bits.
        fields.push_back({QStringLiteral("Bits 0-%1").arg(reg.GetNumBits() - 1), QStringLiteral("Value"),
                          NumberToText(uValue, nBase, true)});
    }

    std::vector<SRegisterReportRow> rows;
    for (size_t iFirst = 0; iFirst < fields.size(); iFirst += kFieldsAcross)
    {
        SRegisterReportRow row;
        const bool bFirstRow = iFirst == 0;
        row.headValues << (bFirstRow ? QStringLiteral("Offset: 0x%1").arg(uOffset, 0, 16) : kEmptyCell)
                       << (bFirstRow ? QStringLiteral("Register Name") : kEmptyCell);
        QString strName;
        if (bFirstRow)
        {
            strName = ReportEscape(reg.Name) +
                      QStringLiteral("<br><code>%1</code>").arg(HexText(uValue, reg.GetNumBits()));
            if (!bConfirmed)
            {
                strName += QStringLiteral(" <span class=\"note\" title=\"Stored, but not read back from the "
                                          "device\">unconfirmed</span>");
            }
        }
        row.rowValues << (bFirstRow ? HexText(uOffset, 24) : kEmptyCell)
                      << (bFirstRow ? strName : kEmptyCell);
        QStringList names, data;
        for (size_t i = iFirst; i < iFirst + kFieldsAcross; ++i)
        {
            const bool bUsed = i < fields.size();
            row.headValues << (bUsed ? fields[i].strBits : kEmptyCell);
            names << (bUsed ? fields[i].strName : kEmptyCell);
            data << (bUsed ? fields[i].strData : kEmptyCell);
        }
        row.rowValues << names << data;
        rows.push_back(row);
    }
    return rows;
}

CRegisterReport::CRegisterReport(const CNetworkDocument& map, std::vector<RegisterItem> items)
    : CReport(eReportRegister), m_items(std::move(items))
{
    SetMapName(map.FileName);
}

bool CRegisterReport::CheckContent()
{
    if (std::none_of(m_items.begin(), m_items.end(),
                     [](const RegisterItem& item) { return StoredValue(item); }))
    {
        ShowMessage(QStringLiteral("There are no valid register values to report."));
        return false;
    }
    return true;
}

bool CRegisterReport::WriteBody()
{
    const CPEPrimitive* pLastPE = nullptr;
    QString strLastBlock;
    const QStringList headKeys = RegisterReportHeadKeys();
    const QStringList rowKeys = RegisterReportRowKeys();
    for (const RegisterItem& item : m_items)
    {
        const SRegisterValue* pValue = StoredValue(item);
        if (!pValue)
        {
            continue;
        }
        if (item.pPE != pLastPE)
        {
            const CPEPrimitive& pe = *item.pPE;
            const QString strName = pe.CommonName.isEmpty() ? pe.GetTypeString() : pe.CommonName;
            if (!WritePiece(QStringLiteral("rr_rpe.htm"),
                            {QStringLiteral("NODE"), QStringLiteral("TYPE"), QStringLiteral("COMMONNAME"),
                             QStringLiteral("DEVICEID"), QStringLiteral("VENDORID")},
                            {QStringLiteral("%1 - %2").arg(pe.iNodeNumber + 1).arg(ReportEscape(strName)),
                             ReportEscape(pe.GetTypeString()), ReportEscape(pe.CommonName),
                             QString::asprintf("%04Xh", pe.DeviceID),
                             QString::asprintf("%04Xh", pe.ManufID)}))
            {
                return false;
            }
            pLastPE = item.pPE;
            strLastBlock.clear();
        }
        if (item.Name != strLastBlock || strLastBlock.isEmpty())
        {
            if (!WritePiece(QStringLiteral("rr_regh.htm"), {QStringLiteral("BLOCKNAME")},
                            {ReportEscape(item.Name)}))
            {
                return false;
            }
            strLastBlock = item.Name;
        }
        const uint32_t uOffset = item.bIO ? static_cast<uint32_t>(item.uRIOAddr) : item.uOffset;
        for (const SRegisterReportRow& row :
             RegisterReportRows(*item.pRegister, uOffset, pValue->uValue, !pValue->bFlag))
        {
            if (!WritePiece(QStringLiteral("rr_rth.htm"), headKeys, row.headValues) ||
                !WritePiece(QStringLiteral("rr_rtl.htm"), rowKeys, row.rowValues))
            {
                return false;
            }
        }
        if (!WritePiece(QStringLiteral("rr_rtf.htm")))
        {
            return false;
        }
    }
    return true;
}

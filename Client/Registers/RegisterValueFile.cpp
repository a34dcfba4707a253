#include "RegisterValueFile.h"

#include "DeviceInfo.h"
#include "NetworkDocument.h"
#include "PETypes.h"
#include "Primitives.h"
#include "RegisterAccess.h"
#include "RegisterTree.h"
#include "SRecord.h"
#include "UserInterface.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <algorithm>

namespace
{
// A CSV line as read: offset, separator, value and the carriage return.
constexpr qsizetype kCsvLineLength = 16;

// The code of ReadSRecordValue for one CSV line.
int ReadCsvValue(QIODevice& file, uint32_t* pulOffset, uint32_t* pulValue)
{
    QByteArray line;
    if (!ReadValueFileLine(file, &line))
    {
        return eSRecValueEnd;
    }
    if (line.size() != kCsvLineLength)
    {
        return eSRecValueBadLength;
    }
    if (!ParseHexDigits(line, 0, 6, pulOffset))
    {
        return eSRecValueBadOffset;
    }
    if (!ParseHexDigits(line, 7, 8, pulValue))
    {
        return eSRecValueBadValue;
    }
    return eSRecValueOk;
}

QString LineErrorText(int iCode, int iLine)
{
    switch (iCode)
    {
    case eSRecValueBadLength:
        return QString::asprintf("Line %d: Invalid line length detected.", iLine);
    case eSRecValueNotS3:
        return QString::asprintf("Line %d: Invalid format - expected S3 at beginning of line.", iLine);
    case eSRecValueBadCount:
        return QString::asprintf("Line %d: Invalid format - SRecord byte count is incorrect.", iLine);
    case eSRecValueBadOffset:
        return QString::asprintf("Line %d: Invalid format - offset field does not contain a hex value.",
                                 iLine);
    default:
        return QString::asprintf("Line %d: Invalid format - value field does not contain a hex value.",
                                 iLine);
    }
}

bool Fail(const QString& strMessage, QString* pstrError)
{
    ShowMessage(strMessage);
    if (pstrError)
    {
        *pstrError = strMessage;
    }
    return false;
}

BootImageWriter& InstalledBootImageWriter()
{
    static BootImageWriter s_writer;
    return s_writer;
}
} // namespace

bool ReadRegisterValueFile(const QString& strPath, std::vector<SRegisterFileValue>* pValues,
                           QString* pstrError)
{
    pValues->clear();
    const QString strExtension = QFileInfo(strPath).suffix().toLower();
    const bool bSRecord = strExtension == QLatin1String("sre");
    if (!bSRecord && strExtension != QLatin1String("csv"))
    {
        return Fail(QStringLiteral("Unknown file type.  Must be .bin or .sre"), pstrError);
    }
    QFile file(strPath);
    if (!file.open(QIODevice::ReadOnly))
    {
        return Fail(QStringLiteral("Unable to open file."), pstrError);
    }
    std::vector<SRegisterFileValue> values;
    for (int iLine = 1;; ++iLine)
    {
        SRegisterFileValue value;
        value.iLine = iLine;
        const int iCode = bSRecord ? ReadSRecordValue(file, &value.ulOffset, &value.ulValue)
                                   : ReadCsvValue(file, &value.ulOffset, &value.ulValue);
        if (iCode == eSRecValueEnd)
        {
            break;
        }
        if (iCode != eSRecValueOk)
        {
            return Fail(LineErrorText(iCode, iLine), pstrError);
        }
        values.push_back(value);
    }
    *pValues = std::move(values);
    return true;
}

std::vector<SKnownRegister> KnownRegisters(const CPEPrimitive& pe)
{
    std::vector<SKnownRegister> known;
    CDeviceInfo info;
    if (!info.LoadForDevice(pe.DeviceID, pe.ManufID, (pe.uType & kPETypeSwitch) != 0))
    {
        return known;
    }
    CRegisterFileInfo* pFile = RegisterFileOf(pe);
    if (!pFile)
    {
        return known;
    }
    for (int t = 0; t < info.GetNumTOCEntries(); ++t)
    {
        const CRegisterBlock* pBlock =
            info.GetTOCType(t) == eTOCRegister ? pFile->FindBlock(info.GetTOCEntry(t)) : nullptr;
        if (!pBlock)
        {
            continue;
        }
        const int nSets = std::max(1, pBlock->GetNumSets());
        for (int r = 0; r < pBlock->GetNumRegisters(); ++r)
        {
            const CRegister& reg = *pBlock->GetRegister(r);
            if (reg.bMemSpaceIO)
            {
                continue;
            }
            bool bWritable = false;
            for (int f = 0; f < reg.GetNumBitFields(); ++f)
            {
                bWritable = bWritable || reg.GetBitField(f)->iAccess != eAccessReadOnly;
            }
            for (int s = 0; s < nSets; ++s)
            {
                const RegisterSetInfo* pSet = pBlock->GetSet(s);
                known.push_back({reg.uByteOffset + (pSet ? pSet->uOffset : 0), bWritable});
            }
        }
    }
    std::stable_sort(known.begin(), known.end(),
                     [](const SKnownRegister& a, const SKnownRegister& b)
                     { return a.ulOffset < b.ulOffset; });
    return known;
}

SRegisterLoadResult LoadRegisters(CNetworkDocument& document, CPEPrimitive& pe, const QString& strPath,
                                  IRegisterTransport* pTransport)
{
    SRegisterLoadResult result;
    std::vector<SRegisterFileValue> values;
    if (!ReadRegisterValueFile(strPath, &values, &result.strError))
    {
        return result;
    }
    result.nValues = static_cast<int>(values.size());
    const std::vector<SKnownRegister> known = KnownRegisters(pe);
    if (known.empty())
    {
        Fail(QStringLiteral("No known registers"), &result.strError);
        return result;
    }
    for (const SRegisterFileValue& value : values)
    {
        const auto it = std::lower_bound(known.begin(), known.end(), value.ulOffset,
                                         [](const SKnownRegister& reg, uint32_t ulOffset)
                                         { return reg.ulOffset < ulOffset; });
        if (it == known.end() || it->ulOffset != value.ulOffset)
        {
            ShowMessage(QStringLiteral("Reg not found"), EMessageKind::Warning);
            result.unknownOffsets.push_back(value.ulOffset);
        }
    }
    // Without a way to the PE the values are kept for it all the same.
    IRegisterTransport& transport = pTransport ? *pTransport : TargetRegisterTransport();
    CRegisterAccess access(document, &transport);
    const bool bAccess = transport.IsOpen() && access.PrepareAccess(pe);
    for (const SRegisterFileValue& value : values)
    {
        pe.SavedRegisters.SetValue(value.ulOffset, value.ulValue, true);
        if (bAccess &&
            transport.MaintWrite(access.DestID(), access.HopCount(), value.ulOffset, value.ulValue) != 0)
        {
            ++result.nWriteFailures;
        }
    }
    result.bWritten = bAccess;
    result.bOk = true;
    return result;
}

ERegisterFileFormat RegisterFileFormatOf(const QString& strPath)
{
    const QString strExtension = QFileInfo(strPath).suffix().toLower();
    if (strExtension == QLatin1String("txt"))
    {
        return eRegFormatIdt;
    }
    if (strExtension == QLatin1String("sre"))
    {
        return eRegFormatSRecord;
    }
    if (strExtension == QLatin1String("csv"))
    {
        return eRegFormatCsv;
    }
    if (strExtension == QLatin1String("nvs"))
    {
        return eRegFormatBootImage;
    }
    return eRegFormatInvalid;
}

void SetBootImageWriter(BootImageWriter writer)
{
    InstalledBootImageWriter() = std::move(writer);
}

QString FormatRegisterValues(const std::vector<SRegisterFileValue>& values, ERegisterFileFormat eFormat)
{
    QString strText;
    for (const SRegisterFileValue& value : values)
    {
        switch (eFormat)
        {
        case eRegFormatIdt:
            strText += QString::asprintf("W %X %X\r\n", value.ulOffset, value.ulValue);
            break;
        case eRegFormatSRecord:
        {
            const uint8_t abValue[4] = {
                static_cast<uint8_t>(value.ulValue >> 24), static_cast<uint8_t>(value.ulValue >> 16),
                static_cast<uint8_t>(value.ulValue >> 8), static_cast<uint8_t>(value.ulValue)};
            // The record ends in a line feed; the file has CR LF, as the loader wants it.
            strText += FormatSRecord(abValue, 4, value.ulOffset, 4).chopped(1) + QStringLiteral("\r\n");
            break;
        }
        case eRegFormatCsv:
            strText += QString::asprintf("%06X,%08X\r\n", value.ulOffset, value.ulValue);
            break;
        default:
            break;
        }
    }
    return strText;
}

SRegisterSaveResult SaveRegisterValues(CNetworkDocument& document, CPEPrimitive& pe, const QString& strPath,
                                       ERegisterFileFormat eFormat, bool bExcludeReadOnly)
{
    SRegisterSaveResult result;
    if (eFormat == eRegFormatInvalid)
    {
        eFormat = RegisterFileFormatOf(strPath);
    }
    if (eFormat == eRegFormatInvalid)
    {
        ShowMessage(QStringLiteral("Invalid file extension."));
        return result;
    }
    if (eFormat == eRegFormatBootImage)
    {
        if (!InstalledBootImageWriter())
        {
            ShowMessage(QStringLiteral("Saving a boot image (.nvs) is not available in this version."));
            return result;
        }
        result.bOk = InstalledBootImageWriter()(document, pe, strPath);
        return result;
    }
    CRegisterFileInfo* pFile = RegisterFileOf(pe);
    if (!pFile)
    {
        ShowMessage(QStringLiteral("Unable to load register info."));
        return result;
    }
    // I2C registers have no maintenance value to save.
    const QStringList i2cBlocks = I2CBlockNames(pe);
    std::vector<SRegisterFileValue> values;
    for (const SRegisterTreeItem& item : RegisterTreeItems(*pFile))
    {
        if (item.eKind != eTreeRegister || item.pRegister->bMemSpaceIO ||
            i2cBlocks.contains(item.pBlock->Name))
        {
            continue;
        }
        // A missing value is an error before read-only registers are left out.
        const SRegisterValue* pValue = pe.SavedRegisters.Find(item.uOffset);
        if (!pValue)
        {
            result.errors
                << QStringLiteral(
                       "Unable to initialize register '%1': No value has been uploaded for this register.")
                       .arg(item.pRegister->Name);
            continue;
        }
        if (bExcludeReadOnly && IsReadOnlyRegister(*item.pRegister))
        {
            ++result.nSkipped;
            continue;
        }
        values.push_back({0, item.uOffset, pValue->uValue});
    }
    if (!result.errors.isEmpty())
    {
        ShowMessage(QStringLiteral("Register values cannot be saved.  Correct errors and try again."));
        return result;
    }
    QSaveFile file(strPath);
    const QByteArray text = FormatRegisterValues(values, eFormat).toLatin1();
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit())
    {
        ShowMessage(QString::asprintf("Unable to create IDT script file %s, error %d", qPrintable(strPath),
                                      static_cast<int>(file.error())));
        return result;
    }
    result.nWritten = static_cast<int>(values.size());
    result.bOk = true;
    return result;
}

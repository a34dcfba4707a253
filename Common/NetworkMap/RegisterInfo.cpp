#include "RegisterInfo.h"

#include "NumberText.h"
#include "XmlHelper.h"

#include <QDomDocument>

#include <cstring>

// ---------------------------------------------------------------------------------------------
// CBinaryArchive

void CBinaryArchive::Write8(uint8_t uValue)
{
    m_Data.append(static_cast<char>(uValue));
}

void CBinaryArchive::Write32(uint32_t uValue)
{
    for (int i = 0; i < 4; ++i)
    {
        m_Data.append(static_cast<char>((uValue >> (8 * i)) & 0xFF));
    }
}

void CBinaryArchive::Write64(uint64_t uValue)
{
    Write32(static_cast<uint32_t>(uValue));
    Write32(static_cast<uint32_t>(uValue >> 32));
}

void CBinaryArchive::WriteString(const QString& strValue)
{
    const QByteArray bytes = strValue.toUtf8();
    const auto uLength = static_cast<uint32_t>(bytes.size());
    if (uLength < 0xFF)
    {
        Write8(static_cast<uint8_t>(uLength));
    }
    else
    {
        Write8(0xFF);
        if (uLength < 0xFFFF)
        {
            Write8(static_cast<uint8_t>(uLength & 0xFF));
            Write8(static_cast<uint8_t>(uLength >> 8));
        }
        else
        {
            Write8(0xFF);
            Write8(0xFF);
            Write32(uLength);
        }
    }
    m_Data.append(bytes);
}

bool CBinaryArchive::Take(qsizetype nBytes, const char** ppData)
{
    if (m_bFailed || nBytes > Remaining())
    {
        m_bFailed = true;
        return false;
    }
    *ppData = m_Data.constData() + m_iPos;
    m_iPos += nBytes;
    return true;
}

uint8_t CBinaryArchive::Read8()
{
    const char* pData = nullptr;
    return Take(1, &pData) ? static_cast<uint8_t>(*pData) : 0;
}

uint32_t CBinaryArchive::Read32()
{
    const char* pData = nullptr;
    if (!Take(4, &pData))
    {
        return 0;
    }
    uint32_t uValue = 0;
    for (int i = 3; i >= 0; --i)
    {
        uValue = (uValue << 8) | static_cast<uint8_t>(pData[i]);
    }
    return uValue;
}

uint64_t CBinaryArchive::Read64()
{
    const uint64_t uLow = Read32();
    const uint64_t uHigh = Read32();
    return uLow | (uHigh << 32);
}

QString CBinaryArchive::ReadString()
{
    uint32_t uLength = Read8();
    if (uLength == 0xFF)
    {
        uLength = Read8();
        uLength |= static_cast<uint32_t>(Read8()) << 8;
        if (uLength == 0xFFFF)
        {
            uLength = Read32();
        }
    }
    const char* pData = nullptr;
    if (!Take(static_cast<qsizetype>(uLength), &pData))
    {
        return {};
    }
    return QString::fromUtf8(pData, static_cast<qsizetype>(uLength));
}

// ---------------------------------------------------------------------------------------------
// CBitField

QString CBitField::GetValueText(uint64_t ulValue) const
{
    for (const QString& strEntry : Values)
    {
        const qsizetype iEquals = strEntry.indexOf(QLatin1Char('='));
        if (iEquals < 0)
        {
            continue;
        }
        uint64_t ulNumber = 0;
        if (NumberFromText(strEntry.left(iEquals), &ulNumber) && ulNumber == ulValue)
        {
            return strEntry.mid(iEquals + 1);
        }
    }
    return {};
}

uint32_t CBitField::GetMask(int iRegisterBits) const
{
    uint32_t uMask = 0;
    for (int i = iFirstBit; i <= iLastBit; ++i)
    {
        const int iBit = iRegisterBits - 1 - i;
        if (iBit >= 0 && iBit < 32)
        {
            uMask |= uint32_t(1) << iBit;
        }
    }
    return uMask;
}

uint32_t CBitField::Extract(uint32_t uRegisterValue, int iRegisterBits) const
{
    const int iShift = iRegisterBits - 1 - iLastBit;
    if (iShift < 0 || iShift > 31)
    {
        return 0;
    }
    return (uRegisterValue & GetMask(iRegisterBits)) >> iShift;
}

void CBitField::Serialize(CBinaryArchive& archive)
{
    if (archive.IsStoring())
    {
        archive.WriteString(Name);
        archive.Write32(static_cast<uint32_t>(iNumBits));
        archive.Write32(static_cast<uint32_t>(iFirstBit));
        archive.Write32(static_cast<uint32_t>(iLastBit));
        archive.Write32(static_cast<uint32_t>(iAccess));
        archive.Write32(uColor);
        return;
    }
    Name = archive.ReadString();
    iNumBits = static_cast<int>(archive.Read32());
    iFirstBit = static_cast<int>(archive.Read32());
    iLastBit = static_cast<int>(archive.Read32());
    iAccess = static_cast<int>(archive.Read32());
    uColor = archive.Read32();
    if (iFirstBit < 0 || iFirstBit > iLastBit || iLastBit > 31 || iNumBits != iLastBit - iFirstBit + 1)
    {
        archive.SetFailed();
    }
}

// ---------------------------------------------------------------------------------------------
// CRegister

CRegister::CRegister(const CRegister& other)
{
    *this = other;
}

CRegister& CRegister::operator=(const CRegister& other)
{
    if (this == &other)
    {
        return *this;
    }
    bMSB_Hi = other.bMSB_Hi;
    bMemSpaceIO = other.bMemSpaceIO;
    Name = other.Name;
    uByteOffset = other.uByteOffset;
    uLocalAddr = other.uLocalAddr;
    uRIOAddr = other.uRIOAddr;
    eDisplayBase = other.eDisplayBase;
    iNumBits = other.iNumBits;
    BitFields.clear();
    for (const auto& pField : other.BitFields)
    {
        BitFields.push_back(std::make_unique<CBitField>(*pField));
    }
    return *this;
}

void CRegister::SetNumBits(int iBits)
{
    if (iBits == 8 || iBits == 16 || iBits == 24 || iBits == 32)
    {
        iNumBits = iBits;
    }
}

bool CRegister::AddBitField(std::unique_ptr<CBitField> pField)
{
    if (GetNumBitFields() >= kMaxBitFields)
    {
        return false;
    }
    BitFields.push_back(std::move(pField));
    return true;
}

CBitField* CRegister::GetBitField(int i) const
{
    return i >= 0 && i < GetNumBitFields() ? BitFields[static_cast<size_t>(i)].get() : nullptr;
}

void CRegister::Serialize(CBinaryArchive& archive)
{
    if (archive.IsStoring())
    {
        archive.Write8(bMSB_Hi ? 1 : 0);
        archive.Write8(bMemSpaceIO ? 1 : 0);
        archive.Write32(static_cast<uint32_t>(iNumBits));
        archive.WriteString(Name);
        archive.Write32(static_cast<uint32_t>(GetNumBitFields()));
        archive.Write32(uByteOffset);
        archive.Write64(uLocalAddr);
        archive.Write64(uRIOAddr);
        archive.Write32(eDisplayBase);
        for (const auto& pField : BitFields)
        {
            pField->Serialize(archive);
            archive.Write32(static_cast<uint32_t>(pField->Values.size()));
            for (const QString& strValue : pField->Values)
            {
                archive.WriteString(strValue);
            }
        }
        return;
    }
    bMSB_Hi = archive.Read8() != 0;
    bMemSpaceIO = archive.Read8() != 0;
    iNumBits = 32;
    SetNumBits(static_cast<int>(archive.Read32()));
    Name = archive.ReadString();
    const uint32_t uNumFields = archive.Read32();
    uByteOffset = archive.Read32();
    uLocalAddr = archive.Read64();
    uRIOAddr = archive.Read64();
    eDisplayBase = archive.Read32();
    BitFields.clear();
    if (uNumFields > static_cast<uint32_t>(kMaxBitFields))
    {
        archive.SetFailed();
        return;
    }
    for (uint32_t i = 0; i < uNumFields && !archive.HasFailed(); ++i)
    {
        auto pField = std::make_unique<CBitField>();
        pField->Serialize(archive);
        const uint32_t uNumValues = archive.Read32();
        // Each value text takes at least its length byte, which bounds a hostile count.
        if (uNumValues > static_cast<uint64_t>(archive.Remaining()))
        {
            archive.SetFailed();
            return;
        }
        for (uint32_t v = 0; v < uNumValues && !archive.HasFailed(); ++v)
        {
            pField->Values.append(archive.ReadString());
        }
        BitFields.push_back(std::move(pField));
    }
}

// ---------------------------------------------------------------------------------------------
// CRegisterBlock

CRegisterBlock::CRegisterBlock(const CRegisterBlock& other)
{
    *this = other;
}

CRegisterBlock& CRegisterBlock::operator=(const CRegisterBlock& other)
{
    if (this == &other)
    {
        return *this;
    }
    Name = other.Name;
    NumRegisterBits = other.NumRegisterBits;
    bMSB_Hi = other.bMSB_Hi;
    bMemSpaceIO = other.bMemSpaceIO;
    RegisterSets = other.RegisterSets;
    Registers.clear();
    for (const auto& pRegister : other.Registers)
    {
        Registers.push_back(std::make_unique<CRegister>(*pRegister));
    }
    m_iSetCursor = -1;
    m_iRegisterCursor = -1;
    return *this;
}

const RegisterSetInfo* CRegisterBlock::GetSet(int i) const
{
    return i >= 0 && i < GetNumSets() ? &RegisterSets[static_cast<size_t>(i)] : nullptr;
}

const RegisterSetInfo* CRegisterBlock::GetFirstSet()
{
    m_iSetCursor = -1;
    return GetNextSet();
}

const RegisterSetInfo* CRegisterBlock::GetNextSet()
{
    if (m_iSetCursor + 1 >= GetNumSets())
    {
        m_iSetCursor = GetNumSets();
        return nullptr;
    }
    return &RegisterSets[static_cast<size_t>(++m_iSetCursor)];
}

CRegister* CRegisterBlock::GetRegister(int i) const
{
    return i >= 0 && i < GetNumRegisters() ? Registers[static_cast<size_t>(i)].get() : nullptr;
}

CRegister* CRegisterBlock::GetFirstRegister()
{
    m_iRegisterCursor = -1;
    return GetNextRegister();
}

CRegister* CRegisterBlock::GetNextRegister()
{
    if (m_iRegisterCursor + 1 >= GetNumRegisters())
    {
        m_iRegisterCursor = GetNumRegisters();
        return nullptr;
    }
    return Registers[static_cast<size_t>(++m_iRegisterCursor)].get();
}

void CRegisterBlock::Serialize(CBinaryArchive& archive)
{
    if (archive.IsStoring())
    {
        archive.WriteString(Name);
        archive.Write32(static_cast<uint32_t>(NumRegisterBits));
        archive.Write8(bMSB_Hi ? 1 : 0);
        archive.Write8(bMemSpaceIO ? 1 : 0);
        archive.Write32(static_cast<uint32_t>(RegisterSets.size()));
        for (const RegisterSetInfo& set : RegisterSets)
        {
            archive.WriteString(set.Name);
            archive.Write32(set.uOffset);
        }
        archive.Write32(static_cast<uint32_t>(Registers.size()));
        for (const auto& pRegister : Registers)
        {
            pRegister->Serialize(archive);
        }
        return;
    }
    Name = archive.ReadString();
    NumRegisterBits = static_cast<int>(archive.Read32());
    bMSB_Hi = archive.Read8() != 0;
    bMemSpaceIO = archive.Read8() != 0;
    RegisterSets.clear();
    Registers.clear();
    m_iSetCursor = -1;
    m_iRegisterCursor = -1;
    // A set takes at least 5 bytes and a register well over 30, which bounds hostile counts.
    const uint32_t uNumSets = archive.Read32();
    if (uNumSets > static_cast<uint64_t>(archive.Remaining()) / 5)
    {
        archive.SetFailed();
        return;
    }
    for (uint32_t i = 0; i < uNumSets && !archive.HasFailed(); ++i)
    {
        RegisterSetInfo set;
        set.Name = archive.ReadString();
        set.uOffset = archive.Read32();
        RegisterSets.push_back(set);
    }
    const uint32_t uNumRegisters = archive.Read32();
    if (uNumRegisters > static_cast<uint64_t>(archive.Remaining()) / 30)
    {
        archive.SetFailed();
        return;
    }
    for (uint32_t i = 0; i < uNumRegisters && !archive.HasFailed(); ++i)
    {
        auto pRegister = std::make_unique<CRegister>();
        pRegister->Serialize(archive);
        Registers.push_back(std::move(pRegister));
    }
}

// ---------------------------------------------------------------------------------------------
// CRegisterFileInfo

namespace
{
// "%d:%d" or "%d": bit numbers of a field as the file writes them.
bool ParseBits(const QString& strText, int* piFirst, int* piSecond)
{
    const QStringList parts = strText.trimmed().split(QLatin1Char(':'));
    if (parts.size() > 2)
    {
        return false;
    }
    int64_t llFirst = 0;
    if (!CXmlHelper::ParseDecimal(parts[0], 0, 1023, &llFirst))
    {
        return false;
    }
    int64_t llSecond = llFirst;
    if (parts.size() == 2 && !CXmlHelper::ParseDecimal(parts[1], 0, 1023, &llSecond))
    {
        return false;
    }
    *piFirst = static_cast<int>(llFirst);
    *piSecond = static_cast<int>(llSecond);
    return true;
}

class CRegisterFileReader
{
public:
    explicit CRegisterFileReader(QString* pstrReason) : m_pstrReason(pstrReason) {}

    std::unique_ptr<CRegisterBlock> ReadBlock(const QDomElement& element);

private:
    bool Bad(const QString& strWhat)
    {
        *m_pstrReason = strWhat;
        return false;
    }
    bool ReadSets(const QDomElement& sets, CRegisterBlock& block);
    std::unique_ptr<CRegister> ReadRegister(const QDomElement& element, const CRegisterBlock& block);
    std::unique_ptr<CBitField> ReadBitField(const QDomElement& element, const CRegisterBlock& block);

    QString* m_pstrReason;
};

std::unique_ptr<CRegisterBlock> CRegisterFileReader::ReadBlock(const QDomElement& element)
{
    auto pBlock = std::make_unique<CRegisterBlock>();
    if (!element.hasAttribute(QStringLiteral("Name")))
    {
        Bad(QStringLiteral("RegisterBlock without Name"));
        return nullptr;
    }
    pBlock->Name = element.attribute(QStringLiteral("Name"));
    const QString strContext = QStringLiteral(" in block '%1'").arg(pBlock->Name);
    // A width that is absent, not a number or not a whole number of bytes up to 32 reads as 32 bits:
    // a file with a slip in one attribute still shows its registers.
    int64_t llBits = 32;
    if (!CXmlHelper::ParseDecimal(element.attribute(QStringLiteral("NumRegisterBits")), 8, 32, &llBits) ||
        llBits % 8 != 0)
    {
        llBits = 32;
    }
    pBlock->NumRegisterBits = static_cast<int>(llBits);
    pBlock->bMSB_Hi =
        element.attribute(QStringLiteral("BitOrder")).compare(QLatin1String("MSB_Hi"), Qt::CaseInsensitive) ==
        0;
    pBlock->bMemSpaceIO =
        element.attribute(QStringLiteral("MemSpace")).compare(QLatin1String("IO"), Qt::CaseInsensitive) == 0;

    const QDomElement sets = element.firstChildElement(QStringLiteral("RegisterSets"));
    if (sets.isNull())
    {
        Bad(QStringLiteral("Missing RegisterSets") + strContext);
        return nullptr;
    }
    if (!ReadSets(sets, *pBlock))
    {
        m_pstrReason->append(strContext);
        return nullptr;
    }
    const QDomElement list = element.firstChildElement(QStringLiteral("RegisterList"));
    if (list.isNull())
    {
        Bad(QStringLiteral("Missing RegisterList") + strContext);
        return nullptr;
    }
    for (QDomElement reg = list.firstChildElement(QStringLiteral("Register")); !reg.isNull();
         reg = reg.nextSiblingElement(QStringLiteral("Register")))
    {
        std::unique_ptr<CRegister> pRegister = ReadRegister(reg, *pBlock);
        if (!pRegister)
        {
            m_pstrReason->append(strContext);
            return nullptr;
        }
        pBlock->AddRegister(std::move(pRegister));
    }
    return pBlock;
}

bool CRegisterFileReader::ReadSets(const QDomElement& sets, CRegisterBlock& block)
{
    for (QDomElement set = sets.firstChildElement(QStringLiteral("RegisterSetInfo")); !set.isNull();
         set = set.nextSiblingElement(QStringLiteral("RegisterSetInfo")))
    {
        RegisterSetInfo info;
        if (!CXmlHelper::ChildText(set, QStringLiteral("Name"), &info.Name))
        {
            return Bad(QStringLiteral("RegisterSetInfo without Name"));
        }
        if (CXmlHelper::ChildNumber(set, QStringLiteral("Offset"), &info.uOffset) != EXmlValue::Ok)
        {
            return Bad(QStringLiteral("Bad Offset of register set '%1'").arg(info.Name));
        }
        block.AddSet(info);
    }
    return true;
}

std::unique_ptr<CRegister> CRegisterFileReader::ReadRegister(const QDomElement& element,
                                                             const CRegisterBlock& block)
{
    auto pRegister = std::make_unique<CRegister>();
    pRegister->bMSB_Hi = block.bMSB_Hi;
    pRegister->bMemSpaceIO = block.bMemSpaceIO;
    pRegister->SetNumBits(block.NumRegisterBits);
    if (!CXmlHelper::ChildText(element, QStringLiteral("Name"), &pRegister->Name))
    {
        Bad(QStringLiteral("Register without Name"));
        return nullptr;
    }
    const QString strContext = QStringLiteral(" of register '%1'").arg(pRegister->Name);
    if (block.bMemSpaceIO)
    {
        QString strLocal;
        QString strRIO;
        if (!CXmlHelper::ChildText(element, QStringLiteral("LocalAddr"), &strLocal) ||
            !CXmlHelper::ParsePrefixedHex(strLocal, UINT64_MAX, &pRegister->uLocalAddr) ||
            !CXmlHelper::ChildText(element, QStringLiteral("RIO_Addr"), &strRIO) ||
            !CXmlHelper::ParsePrefixedHex(strRIO, UINT64_MAX, &pRegister->uRIOAddr))
        {
            Bad(QStringLiteral("Bad LocalAddr or RIO_Addr") + strContext);
            return nullptr;
        }
    }
    else
    {
        QString strOffset;
        uint64_t ulOffset = 0;
        if (!CXmlHelper::ChildText(element, QStringLiteral("ByteOffset"), &strOffset) ||
            !CXmlHelper::ParsePrefixedHex(strOffset, UINT32_MAX, &ulOffset))
        {
            Bad(QStringLiteral("Bad ByteOffset") + strContext);
            return nullptr;
        }
        pRegister->uByteOffset = static_cast<uint32_t>(ulOffset);
    }
    const QDomElement fields = element.firstChildElement(QStringLiteral("BitFieldList"));
    if (fields.isNull())
    {
        Bad(QStringLiteral("Missing BitFieldList") + strContext);
        return nullptr;
    }
    // Fields past the 32nd have no place in a register and are left out.
    for (QDomElement field = fields.firstChildElement(QStringLiteral("BitField"));
         !field.isNull() && pRegister->GetNumBitFields() < CRegister::kMaxBitFields;
         field = field.nextSiblingElement(QStringLiteral("BitField")))
    {
        std::unique_ptr<CBitField> pField = ReadBitField(field, block);
        if (!pField)
        {
            m_pstrReason->append(strContext);
            return nullptr;
        }
        pRegister->AddBitField(std::move(pField));
    }
    return pRegister;
}

std::unique_ptr<CBitField> CRegisterFileReader::ReadBitField(const QDomElement& element,
                                                             const CRegisterBlock& block)
{
    auto pField = std::make_unique<CBitField>();
    if (!CXmlHelper::ChildText(element, QStringLiteral("Name"), &pField->Name))
    {
        Bad(QStringLiteral("BitField without Name"));
        return nullptr;
    }
    QString strAccess;
    if (CXmlHelper::ChildText(element, QStringLiteral("Access"), &strAccess))
    {
        pField->iAccess = strAccess.trimmed() == QLatin1String("R") ? eAccessReadOnly : eAccessReadWrite;
    }
    QString strBits;
    int iA = 0;
    int iB = 0;
    const int iTop = block.NumRegisterBits - 1;
    if (!CXmlHelper::ChildText(element, QStringLiteral("Bits"), &strBits) || !ParseBits(strBits, &iA, &iB) ||
        iA > iTop || iB > iTop)
    {
        Bad(QStringLiteral("Bad Bits of field '%1'").arg(pField->Name));
        return nullptr;
    }
    if (block.bMSB_Hi)
    {
        iA = iTop - iA;
        iB = iTop - iB;
    }
    pField->iFirstBit = std::min(iA, iB);
    pField->iLastBit = std::max(iA, iB);
    pField->iNumBits = pField->iLastBit - pField->iFirstBit + 1;

    QString strColor;
    uint64_t ulColor = 0;
    if (CXmlHelper::ChildText(element, QStringLiteral("Color"), &strColor) &&
        CXmlHelper::ParsePrefixedHex(strColor, UINT32_MAX, &ulColor))
    {
        pField->uColor = 0xFF000000u | (static_cast<uint32_t>(ulColor) & 0x00FFFFFFu);
    }
    const QDomElement values = element.firstChildElement(QStringLiteral("ValueList"));
    for (QDomElement value = values.firstChildElement(QStringLiteral("Value")); !value.isNull();
         value = value.nextSiblingElement(QStringLiteral("Value")))
    {
        pField->AddValue(value.text().trimmed());
    }
    return pField;
}
} // namespace

ERegisterFileRead CRegisterFileInfo::ReadXml(const QByteArray& text, QString* pstrReason)
{
    QString strLocalReason;
    QString* pReason = pstrReason ? pstrReason : &strLocalReason;
    QDomDocument document;
    QString strError;
    int iLine = 0;
    int iColumn = 0;
    if (!document.setContent(text, &strError, &iLine, &iColumn))
    {
        *pReason = QString::asprintf("%s (line %d, column %d)", qPrintable(strError), iLine, iColumn);
        return ERegisterFileRead::ParseError;
    }
    const QDomElement root = document.documentElement();
    if (root.tagName() != QLatin1String("NorvantaMemoryMap") ||
        root.attribute(QStringLiteral("Version")) != QLatin1String("1.3"))
    {
        *pReason = QStringLiteral("Missing or bad document version");
        return ERegisterFileRead::BadVersion;
    }
    std::vector<std::unique_ptr<CRegisterBlock>> blocks;
    CRegisterFileReader reader(pReason);
    for (QDomElement element = root.firstChildElement(QStringLiteral("RegisterBlock")); !element.isNull();
         element = element.nextSiblingElement(QStringLiteral("RegisterBlock")))
    {
        std::unique_ptr<CRegisterBlock> pBlock = reader.ReadBlock(element);
        if (!pBlock)
        {
            return ERegisterFileRead::BadContent;
        }
        blocks.push_back(std::move(pBlock));
    }
    Blocks = std::move(blocks);
    m_iBlockCursor = -1;
    return ERegisterFileRead::Ok;
}

CRegisterBlock* CRegisterFileInfo::FindBlock(const QString& strName) const
{
    for (const auto& pBlock : Blocks)
    {
        if (pBlock->Name == strName)
        {
            return pBlock.get();
        }
    }
    return nullptr;
}

CRegisterBlock* CRegisterFileInfo::GetBlock(int i) const
{
    return i >= 0 && i < GetNumBlocks() ? Blocks[static_cast<size_t>(i)].get() : nullptr;
}

CRegisterBlock* CRegisterFileInfo::GetFirstBlock()
{
    m_iBlockCursor = -1;
    return GetNextBlock();
}

CRegisterBlock* CRegisterFileInfo::GetNextBlock()
{
    if (m_iBlockCursor + 1 >= GetNumBlocks())
    {
        m_iBlockCursor = GetNumBlocks();
        return nullptr;
    }
    return Blocks[static_cast<size_t>(++m_iBlockCursor)].get();
}

#include "RIOPacket.h"

#include <algorithm>
#include <cstring>

namespace
{
// Heading colours, 0x00BBGGRR: header, IDs, transaction, addresses, data, CRCs, editing aids.
constexpr uint32_t kColourHeader = 0x00F0D8C0;
constexpr uint32_t kColourID = 0x00C8F0C8;
constexpr uint32_t kColourTransaction = 0x00B8F0F8;
constexpr uint32_t kColourAddress = 0x00A8D0F8;
constexpr uint32_t kColourData = 0x00E0E0E0;
constexpr uint32_t kColourCrc = 0x00D0C0F8;
constexpr uint32_t kColourAid = 0x00F0C8E0;
constexpr uint32_t kColourReserved = 0x00C8C8C8;

// Bytes a field of up to 32 bits keeps its value in: 1 up to 8 bits, 2 up to 16, 3 up to 24, else 4.
uint32_t ValueBytes(int32_t nBits)
{
    return nBits <= 8 ? 1u : nBits <= 16 ? 2u : nBits <= 24 ? 3u : 4u;
}

// Byte sizes of Size 11 to 15, by wdptr.
constexpr uint32_t kLargeSizes[2][5] = {{8, 32, 96, 160, 224}, {16, 64, 128, 192, 256}};

// The data size of a message by its Size.
uint32_t MessageBytes(uint32_t ulSize)
{
    switch (ulSize)
    {
    case 9:
        return 8;
    case 10:
        return 16;
    case 11:
        return 32;
    case 12:
        return 64;
    case 13:
        return 128;
    default:
        return 256;
    }
}

uint32_t RoundUp8(uint32_t n)
{
    return (n + 7) / 8 * 8;
}

// The texts of the Size pick list by wdptr, rows 0 to 15.
const char* const kSizeTexts[16][2] = {{"1 Byte  [10000000]", "1 Byte  [00001000]"},
                                       {"1 Byte  [01000000]", "1 Byte  [00000100]"},
                                       {"1 Byte  [00100000]", "1 Byte  [00000010]"},
                                       {"1 Byte  [00010000]", "1 Byte  [00000001]"},
                                       {"2 Bytes  [11000000]", "2 Bytes  [00001100]"},
                                       {"3 Bytes  [11100000]", "3 Bytes  [00000111]"},
                                       {"2 Bytes  [00110000]", "2 Bytes  [00000011]"},
                                       {"5 Bytes  [11111000]", "5 Bytes  [00011111]"},
                                       {"4 Bytes  [11110000]", "4 Bytes  [00001111]"},
                                       {"6 Bytes  [11111100]", "6 Bytes  [00111111]"},
                                       {"7 Bytes  [11111110]", "7 Bytes  [01111111]"},
                                       {"8 Bytes  [11111111]", "16 Bytes"},
                                       {"32 Bytes", "64 Bytes"},
                                       {"96 Bytes", "128 Bytes"},
                                       {"160 Bytes", "192 Bytes"},
                                       {"224 Bytes", "256 Bytes"}};

// Writes fields into a value and a mask stream, most significant bit first.
class CBitWriter
{
public:
    CBitWriter(uint8_t* pbValue, uint8_t* pbMask) : m_pbValue(pbValue), m_pbMask(pbMask) {}

    // The low nCount bits of value and mask; false once the stream is full.
    bool Write(uint8_t uValue, uint8_t uMask, int nCount)
    {
        for (int i = nCount - 1; i >= 0; --i)
        {
            if (m_nByte >= kRIOMaxPacketBytes)
            {
                return false;
            }
            const uint8_t uBit = static_cast<uint8_t>(1u << m_nBit);
            m_pbValue[m_nByte] =
                static_cast<uint8_t>((m_pbValue[m_nByte] & ~uBit) | (((uValue >> i) & 1) ? uBit : 0));
            if (m_pbMask)
            {
                m_pbMask[m_nByte] =
                    static_cast<uint8_t>((m_pbMask[m_nByte] & ~uBit) | (((uMask >> i) & 1) ? uBit : 0));
            }
            if (--m_nBit < 0)
            {
                m_nBit = 7;
                ++m_nByte;
            }
        }
        return true;
    }

    // A field in its chunks: up to 8 bits its low bits; longer, its first byte with nBits mod 8
    // bits (8 when that is 0) and each further byte whole. bZero writes zeros instead.
    bool WriteField(const CRIOPacketField& field, bool bZero)
    {
        if (field.nBits <= 0)
        {
            return true;
        }
        if (field.nBits <= 8)
        {
            return Write(bZero ? 0 : field.pbValue[0], field.pbMask[0], field.nBits);
        }
        const uint32_t nBytes = static_cast<uint32_t>(field.nBits + 7) / 8;
        for (uint32_t i = 0; i < nBytes; ++i)
        {
            const int nChunk = i == 0 && field.nBits % 8 != 0 ? field.nBits % 8 : 8;
            if (!Write(bZero ? 0 : field.pbValue[i], field.pbMask[i], nChunk))
            {
                return false;
            }
        }
        return true;
    }

    uint32_t Byte() const { return m_nByte; }
    // Bytes touched so far: the byte in hand counts once it has a bit.
    uint32_t Length() const { return m_nByte + (m_nBit < 7 ? 1u : 0u); }

private:
    uint8_t* m_pbValue;
    uint8_t* m_pbMask;
    uint32_t m_nByte = 0;
    int m_nBit = 7;
};

// Reads fields back from a stream in the same chunks; bytes from nCount on read as 0.
class CBitReader
{
public:
    CBitReader(const uint8_t* pbBytes, uint32_t nCount) : m_pbBytes(pbBytes), m_nCount(nCount) {}

    uint8_t Read(int nCount)
    {
        uint8_t uValue = 0;
        for (int i = 0; i < nCount; ++i)
        {
            const bool bBit = m_nByte < m_nCount && ((m_pbBytes[m_nByte] >> m_nBit) & 1);
            uValue = static_cast<uint8_t>((uValue << 1) | (bBit ? 1 : 0));
            if (--m_nBit < 0)
            {
                m_nBit = 7;
                ++m_nByte;
            }
        }
        return uValue;
    }

    uint32_t Byte() const { return m_nByte; }

private:
    const uint8_t* m_pbBytes;
    uint32_t m_nCount;
    uint32_t m_nByte = 0;
    int m_nBit = 7;
};

// Address composed from its pieces, nine bytes lowest first. bAddrLayout: the layout a change of
// Addr itself writes, Ext Addr unshifted after the low four bytes and ExtAdd MSBs after it.
void ComposeAddress(const CRIOPacket& packet, bool bAddrLayout)
{
    const uint32_t ulAddr = packet.GetFieldObject(eRIOFieldADDR)->GetValue();
    const bool bWdptr = packet.GetFieldObject(eRIOFieldWDPTR)->GetValue() != 0;
    const uint32_t ulMsbs = packet.GetFieldObject(eRIOFieldXAMSBS)->GetValue();
    const uint32_t nBits = packet.GetAddressBits();
    const uint32_t ulExt = nBits == 66   ? packet.GetFieldObject(eRIOFieldEXTADDR32)->GetValue()
                           : nBits == 50 ? packet.GetFieldObject(eRIOFieldEXTADDR16)->GetValue()
                                         : 0;
    uint8_t ab[9] = {};
    ab[0] = static_cast<uint8_t>((ulAddr << 3) | (bWdptr ? 4u : 0u));
    ab[1] = static_cast<uint8_t>(ulAddr >> 5);
    ab[2] = static_cast<uint8_t>(ulAddr >> 13);
    ab[3] = static_cast<uint8_t>(ulAddr >> 21);
    if (bAddrLayout)
    {
        const uint32_t nExtBytes = nBits == 66 ? 4 : nBits == 50 ? 2 : 0;
        for (uint32_t i = 0; i < nExtBytes; ++i)
        {
            ab[4 + i] = static_cast<uint8_t>(ulExt >> (8 * i));
        }
        ab[4 + nExtBytes] = static_cast<uint8_t>(ulMsbs & 3);
    }
    else
    {
        ab[4] = static_cast<uint8_t>((ulExt << 2) | ulMsbs);
        ab[5] = static_cast<uint8_t>(ulExt >> 6);
        ab[6] = static_cast<uint8_t>(ulExt >> 14);
        ab[7] = static_cast<uint8_t>(ulExt >> 22);
        ab[8] = static_cast<uint8_t>(ulExt >> 30);
    }
    packet.GetFieldObject(eRIOFieldADDRESS)->SetValueBytes(ab, 9, true);
}

// A piece of the address changed by the user: Address follows, when it is in the list.
void PieceChanged(const CRIOPacket& packet, bool bAddrLayout)
{
    if (packet.FindField(eRIOFieldADDRESS))
    {
        ComposeAddress(packet, bAddrLayout);
    }
}
} // namespace

uint32_t RioSizeBytes(uint32_t ulSize, uint32_t ulWdptr)
{
    switch (ulSize)
    {
    case 0:
    case 1:
    case 2:
    case 3:
        return 1;
    case 4:
    case 6:
        return 2;
    case 5:
        return 3;
    case 7:
        return 5;
    case 8:
        return 4;
    case 9:
        return 6;
    case 10:
        return 7;
    default:
        return kLargeSizes[ulWdptr ? 1 : 0][std::min(ulSize, 15u) - 11];
    }
}

// ---- CRIOPacketField --------------------------------------------------------------------------

CRIOPacketField::CRIOPacketField(CRIOPacket* pOwner, uint32_t nID, int32_t nWidth, const char* pszCaption,
                                 bool bRelayoutField, bool bInStream, uint32_t nBuffer)
    : pPacket(pOwner), nFieldID(nID), nBits(nWidth), nColumnWidth(50), crColour(kColourHeader),
      strCaption(QString::fromLatin1(pszCaption)), bRelayout(bRelayoutField), bInPacket(bInStream),
      pbValue(nBuffer, 0), pbMask(nBuffer, 0), nBufferBytes(nBuffer)
{
}

bool CRIOPacketField::IsValueValid() const
{
    return bValueValid;
}

void CRIOPacketField::SetValueValid(bool bValid)
{
    bValueValid = bValid;
}

void CRIOPacketField::GetOptions(QString& strText)
{
    FormatOptions(strText);
}

bool CRIOPacketField::HasToolTip()
{
    return false;
}

void CRIOPacketField::GetToolTip(QString& strText)
{
    strText.clear();
}

bool CRIOPacketField::SetValueBytes(const uint8_t* pbBytes, uint32_t nCount, bool bNoNotify)
{
    if (nCount > nBufferBytes)
    {
        return false;
    }
    if (nCount)
    {
        std::memcpy(pbValue.data(), pbBytes, nCount);
    }
    if (!bNoNotify)
    {
        NotifyPacket();
    }
    return true;
}

void CRIOPacketField::SetValue(uint32_t ulValue, bool bNoNotify)
{
    StoreValue(ulValue);
    if (!bNoNotify)
    {
        NotifyPacket();
    }
}

bool CRIOPacketField::SetMaskBytes(const uint8_t* pbBytes, uint32_t nCount, bool bNoNotify)
{
    if (nCount > nBufferBytes)
    {
        return false;
    }
    if (nCount)
    {
        std::memcpy(pbMask.data(), pbBytes, nCount);
    }
    if (!bNoNotify)
    {
        NotifyPacket();
    }
    return true;
}

void CRIOPacketField::SetMask(uint32_t ulValue, bool bNoNotify)
{
    bMaskValid = ValidateCommon(ulValue);
    ulValue = std::min(ulValue, MaxValue());
    const uint32_t nBytes = ValueBytes(nBits);
    for (uint32_t i = 0; i < nBytes; ++i)
    {
        pbMask[i] = static_cast<uint8_t>(ulValue >> (8 * (nBytes - 1 - i)));
    }
    if (!bNoNotify)
    {
        NotifyPacket();
    }
}

uint32_t CRIOPacketField::GetValue() const
{
    if (pbValue.empty())
    {
        return 0;
    }
    uint32_t ulValue = 0;
    const uint32_t nBytes = std::min<uint32_t>(ValueBytes(nBits), nBufferBytes);
    for (uint32_t i = 0; i < nBytes; ++i)
    {
        ulValue = (ulValue << 8) | pbValue[i];
    }
    return ulValue;
}

uint32_t CRIOPacketField::GetMask() const
{
    if (pbMask.empty())
    {
        return 0;
    }
    uint32_t ulValue = 0;
    const uint32_t nBytes = std::min<uint32_t>(ValueBytes(nBits), nBufferBytes);
    for (uint32_t i = 0; i < nBytes; ++i)
    {
        ulValue = (ulValue << 8) | pbMask[i];
    }
    return ulValue;
}

void CRIOPacketField::GetValueBytes(const uint8_t** ppbBytes, uint32_t* pnCount) const
{
    *ppbBytes = pbValue.data();
    *pnCount = static_cast<uint32_t>(std::max(nBits, 0) + 7) / 8;
}

void CRIOPacketField::GetMaskBytes(const uint8_t** ppbBytes, uint32_t* pnCount) const
{
    *ppbBytes = pbMask.data();
    *pnCount = static_cast<uint32_t>(std::max(nBits, 0) + 7) / 8;
}

void CRIOPacketField::SelectOption(int nIndex)
{
    if (!HasOptions())
    {
        return;
    }
    QString strScratch;
    GetOptions(strScratch); // brings vecOptions up to date
    if (nIndex >= 0 && static_cast<size_t>(nIndex) < vecOptions.size())
    {
        SetValue(vecOptions[static_cast<size_t>(nIndex)].first, false);
    }
}

bool CRIOPacketField::ValidateCommon(uint32_t& ulValue) const
{
    const uint32_t ulMax = MaxValue();
    if (ulValue <= ulMax)
    {
        return true;
    }
    ulValue = ulMax;
    return false;
}

uint32_t CRIOPacketField::MaxValue() const
{
    // The shift is taken modulo 32 as the processor does: a 32-bit field comes out with 0.
    return (1u << (static_cast<uint32_t>(nBits) & 31u)) - 1u;
}

void CRIOPacketField::StoreValue(uint32_t ulValue)
{
    bValueValid = ValidateValue(ulValue);
    ulValue = std::min(ulValue, MaxValue());
    const uint32_t nBytes = std::min<uint32_t>(ValueBytes(nBits), nBufferBytes);
    for (uint32_t i = 0; i < nBytes; ++i)
    {
        pbValue[i] = static_cast<uint8_t>(ulValue >> (8 * (nBytes - 1 - i)));
    }
}

void CRIOPacketField::NotifyPacket()
{
    pPacket->FieldChanged(this);
}

void CRIOPacketField::FormatOptions(QString& strText) const
{
    strText.clear();
    for (const SOption& option : vecOptions)
    {
        strText += QString::number(option.first, 16).toUpper() + QLatin1Char('=') + option.second +
                   QLatin1Char('\n');
    }
}

void CRIOPacketField::NoOptions(QString& strText) const
{
    strText = QStringLiteral("<Error: No Options>");
}

CRIOPacketField* CRIOPacketField::Other(uint32_t nID) const
{
    return pPacket->GetFieldObject(nID);
}

CRIOPacketField* CRIOPacketField::OtherInList(uint32_t nID) const
{
    return pPacket->FindField(nID);
}

// ---- the field classes ------------------------------------------------------------------------

#define NV_RIO_USUAL_SLOTS(Class)                                                                            \
    bool Class::ValidateValue(uint32_t& ulValue)                                                             \
    {                                                                                                        \
        return ValidateCommon(ulValue);                                                                      \
    }                                                                                                        \
    bool Class::HasOptions()                                                                                 \
    {                                                                                                        \
        return false;                                                                                        \
    }                                                                                                        \
    void Class::GetOptions(QString& strText)                                                                 \
    {                                                                                                        \
        NoOptions(strText);                                                                                  \
    }

// Classes with nothing but the usual slots: (class, ID, bits, caption, colour).
#define NV_RIO_USUAL_CLASS(Class, ID, Bits, Caption, Colour)                                                 \
    Class::Class(CRIOPacket* pOwner) : CRIOPacketField(pOwner, ID, Bits, Caption, false, true)               \
    {                                                                                                        \
        crColour = Colour;                                                                                   \
    }                                                                                                        \
    NV_RIO_USUAL_SLOTS(Class)

NV_RIO_USUAL_CLASS(CRIOPacketFieldACKID, eRIOFieldACKID, 6, "AckID", kColourHeader)
NV_RIO_USUAL_CLASS(CRIOPacketFieldVC, eRIOFieldVC, 1, "VC", kColourHeader)
NV_RIO_USUAL_CLASS(CRIOPacketFieldCRF, eRIOFieldCRF, 1, "CRF", kColourHeader)
NV_RIO_USUAL_CLASS(CRIOPacketFieldDESTID8, eRIOFieldDESTID8, 8, "Dest\nID", kColourID)
NV_RIO_USUAL_CLASS(CRIOPacketFieldDESTID16, eRIOFieldDESTID16, 16, "Dest\nID", kColourID)
NV_RIO_USUAL_CLASS(CRIOPacketFieldSRCID8, eRIOFieldSRCID8, 8, "Source\nID", kColourID)
NV_RIO_USUAL_CLASS(CRIOPacketFieldSRCID16, eRIOFieldSRCID16, 16, "Source\nID", kColourID)
NV_RIO_USUAL_CLASS(CRIOPacketFieldSOURCETID, eRIOFieldSOURCETID, 8, "Source\nTID", kColourTransaction)
NV_RIO_USUAL_CLASS(CRIOPacketFieldTARGETTID, eRIOFieldTARGETTID, 8, "Target\nTID", kColourTransaction)
NV_RIO_USUAL_CLASS(CRIOPacketFieldHOPCOUNT, eRIOFieldHOPCOUNT, 8, "Hop\nCount", kColourTransaction)
NV_RIO_USUAL_CLASS(CRIOPacketFieldRESERVED1, eRIOFieldRESERVED1, 1, "rsvd", kColourReserved)
NV_RIO_USUAL_CLASS(CRIOPacketFieldRESERVED2, eRIOFieldRESERVED2, 2, "rsvd", kColourReserved)
NV_RIO_USUAL_CLASS(CRIOPacketFieldRESERVED24, eRIOFieldRESERVED24, 24, "rsvd", kColourReserved)
NV_RIO_USUAL_CLASS(CRIOPacketFieldRESERVED8, eRIOFieldRESERVED8, 8, "rsvd", kColourReserved)
NV_RIO_USUAL_CLASS(CRIOPacketFieldPAD, eRIOFieldPAD, 16, "Pad", kColourCrc)
NV_RIO_USUAL_CLASS(CRIOPacketFieldINFO, eRIOFieldINFO, 8, "Info", kColourTransaction)
NV_RIO_USUAL_CLASS(CRIOPacketFieldMSGLEN, eRIOFieldMSGLEN, 4, "MsgLen", kColourTransaction)
NV_RIO_USUAL_CLASS(CRIOPacketFieldLETTER, eRIOFieldLETTER, 2, "Letter", kColourTransaction)
NV_RIO_USUAL_CLASS(CRIOPacketFieldMAILBOX, eRIOFieldMAILBOX, 2, "Mailbox", kColourTransaction)
NV_RIO_USUAL_CLASS(CRIOPacketFieldMSGSEG, eRIOFieldMSGSEG, 4, "MsgSeg", kColourTransaction)
#undef NV_RIO_USUAL_CLASS

// Data and Data2: no bits until the layout sizes them; bytes in wire order.
CRIOPacketFieldDATA::CRIOPacketFieldDATA(CRIOPacket* pOwner)
    : CRIOPacketField(pOwner, eRIOFieldDATA, 0, "Data", false, true, kRIOMaxPacketBytes)
{
    nColumnWidth = 80;
    crColour = kColourData;
}
NV_RIO_USUAL_SLOTS(CRIOPacketFieldDATA)

CRIOPacketFieldDATA2::CRIOPacketFieldDATA2(CRIOPacket* pOwner)
    : CRIOPacketField(pOwner, eRIOFieldDATA2, 0, "Data", false, true, kRIOMaxPacketBytes)
{
    nColumnWidth = 80;
    crColour = kColourData;
}
NV_RIO_USUAL_SLOTS(CRIOPacketFieldDATA2)

// Priority
CRIOPacketFieldPRIORITY::CRIOPacketFieldPRIORITY(CRIOPacket* pOwner)
    : CRIOPacketField(pOwner, eRIOFieldPRIORITY, 2, "Priority", false, true)
{
}

bool CRIOPacketFieldPRIORITY::ValidateValue(uint32_t& ulValue)
{
    return ValidateCommon(ulValue);
}

bool CRIOPacketFieldPRIORITY::HasOptions()
{
    return true;
}

void CRIOPacketFieldPRIORITY::GetOptions(QString& strText)
{
    vecOptions = {{0, QStringLiteral("Low")},
                  {1, QStringLiteral("Medium")},
                  {2, QStringLiteral("High")},
                  {3, QStringLiteral("Highest")}};
    FormatOptions(strText);
}

// Status
CRIOPacketFieldSTATUS::CRIOPacketFieldSTATUS(CRIOPacket* pOwner)
    : CRIOPacketField(pOwner, eRIOFieldSTATUS, 4, "Status", false, true)
{
    crColour = kColourTransaction;
}

bool CRIOPacketFieldSTATUS::ValidateValue(uint32_t& ulValue)
{
    return ValidateCommon(ulValue);
}

bool CRIOPacketFieldSTATUS::HasOptions()
{
    return true;
}

void CRIOPacketFieldSTATUS::GetOptions(QString& strText)
{
    vecOptions = {{0, QStringLiteral("Done")}, {7, QStringLiteral("Error")}};
    FormatOptions(strText);
}

// TT
CRIOPacketFieldTT::CRIOPacketFieldTT(CRIOPacket* pOwner)
    : CRIOPacketField(pOwner, eRIOFieldTT, 2, "TT", true, true)
{
}

bool CRIOPacketFieldTT::ValidateValue(uint32_t& ulValue)
{
    if (!ValidateCommon(ulValue))
    {
        return false;
    }
    return ulValue <= 1;
}

bool CRIOPacketFieldTT::HasOptions()
{
    return true;
}

void CRIOPacketFieldTT::GetOptions(QString& strText)
{
    vecOptions = {{0, QStringLiteral("8-bit Source/Dest IDs")},
                  {1, QStringLiteral("16-bit Source/Dest IDs")}};
    FormatOptions(strText);
}

// FType
CRIOPacketFieldFTYPE::CRIOPacketFieldFTYPE(CRIOPacket* pOwner)
    : CRIOPacketField(pOwner, eRIOFieldFTYPE, 4, "FType", true, true)
{
}

bool CRIOPacketFieldFTYPE::ValidateValue(uint32_t& ulValue)
{
    if (!ValidateCommon(ulValue))
    {
        return false;
    }
    switch (ulValue)
    {
    case 2:
    case 5:
    case 6:
    case 8:
    case 10:
    case 11:
    case 13:
        return true;
    default:
        return false;
    }
}

bool CRIOPacketFieldFTYPE::HasOptions()
{
    return true;
}

void CRIOPacketFieldFTYPE::GetOptions(QString& strText)
{
    vecOptions = {{2, QStringLiteral("Request Class")},         {5, QStringLiteral("Write Class")},
                  {6, QStringLiteral("Streaming-Write Class")}, {8, QStringLiteral("Maintenance Class")},
                  {10, QStringLiteral("Doorbell Class")},       {11, QStringLiteral("Message Class")},
                  {13, QStringLiteral("Response Class")}};
    FormatOptions(strText);
}

// Trans
CRIOPacketFieldTRANSACTION::CRIOPacketFieldTRANSACTION(CRIOPacket* pOwner)
    : CRIOPacketField(pOwner, eRIOFieldTRANSACTION, 4, "Trans", true, true)
{
    crColour = kColourTransaction;
}

bool CRIOPacketFieldTRANSACTION::ValidateValue(uint32_t& ulValue)
{
    if (!ValidateCommon(ulValue))
    {
        return false;
    }
    switch (pPacket->GetFType())
    {
    case 2:
        return ulValue == 4 || ulValue >= 12;
    case 5:
        return ulValue == 4 || ulValue == 5 || (ulValue >= 12 && ulValue <= 14);
    case 8:
        return ulValue < 5;
    case 13:
        return ulValue == 0 || ulValue == 1 || ulValue == 8;
    default:
        return false;
    }
}

bool CRIOPacketFieldTRANSACTION::HasOptions()
{
    const uint32_t ulFType = pPacket->GetFType();
    return ulFType == 2 || ulFType == 5 || ulFType == 8 || ulFType == 13;
}

void CRIOPacketFieldTRANSACTION::GetOptions(QString& strText)
{
    switch (pPacket->GetFType())
    {
    case 2:
        vecOptions = {{4, QStringLiteral("NREAD")},
                      {12, QStringLiteral("ATOMIC inc")},
                      {13, QStringLiteral("ATOMIC dec")},
                      {14, QStringLiteral("ATOMIC set")},
                      {15, QStringLiteral("ATOMIC clr")}};
        break;
    case 5:
        vecOptions = {{4, QStringLiteral("NWRITE")},
                      {5, QStringLiteral("NWRITE_R")},
                      {12, QStringLiteral("Atomic Swap")},
                      {13, QStringLiteral("Atomic Compare & Swap")},
                      {14, QStringLiteral("Atomic Test & Swap")}};
        break;
    case 8:
        vecOptions = {{0, QStringLiteral("Maint Read Request")},
                      {1, QStringLiteral("Maint Write Request")},
                      {2, QStringLiteral("Maint Read Response")},
                      {3, QStringLiteral("Maint Write Response")},
                      {4, QStringLiteral("Port-write Request")}};
        break;
    case 13:
        vecOptions = {{0, QStringLiteral("Response WITHOUT Data")},
                      {1, QStringLiteral("Message Response")},
                      {8, QStringLiteral("Response WITH Data")}};
        break;
    default:
        vecOptions.clear();
        break;
    }
    FormatOptions(strText);
}

// Size
CRIOPacketFieldSIZE::CRIOPacketFieldSIZE(CRIOPacket* pOwner)
    : CRIOPacketField(pOwner, eRIOFieldSIZE, 4, "Size", true, true)
{
    crColour = kColourTransaction;
}

bool CRIOPacketFieldSIZE::ValidateValue(uint32_t& ulValue)
{
    if (!ValidateCommon(ulValue))
    {
        return false;
    }
    switch (pPacket->GetFType())
    {
    case 2:
    case 5:
        return true;
    case 8:
        return ulValue < 13;
    case 11:
        return ulValue >= 9 && ulValue <= 14;
    default:
        return false;
    }
}

bool CRIOPacketFieldSIZE::HasOptions()
{
    const uint32_t ulFType = pPacket->GetFType();
    return ulFType == 2 || ulFType == 5 || ulFType == 8 || ulFType == 11;
}

void CRIOPacketFieldSIZE::GetOptions(QString& strText)
{
    vecOptions.clear();
    const uint32_t ulFType = pPacket->GetFType();
    const int nColumn = Other(eRIOFieldWDPTR)->GetValue() ? 1 : 0;
    if (ulFType == 11)
    {
        vecOptions = {{9, QStringLiteral("8 Bytes")},    {10, QStringLiteral("16 Bytes")},
                      {11, QStringLiteral("32 Bytes")},  {12, QStringLiteral("64 Bytes")},
                      {13, QStringLiteral("128 Bytes")}, {14, QStringLiteral("256 Bytes")}};
    }
    else if (ulFType == 2 || ulFType == 5 || ulFType == 8)
    {
        const uint32_t ulLast = ulFType == 8 ? 12 : 15;
        for (uint32_t ul = 0; ul <= ulLast; ++ul)
        {
            vecOptions.emplace_back(ul, QString::fromLatin1(kSizeTexts[ul][nColumn]));
        }
    }
    FormatOptions(strText);
}

// Address
CRIOPacketFieldADDRESS::CRIOPacketFieldADDRESS(CRIOPacket* pOwner)
    : CRIOPacketField(pOwner, eRIOFieldADDRESS, 66, "Address", true, false, 9)
{
    nColumnWidth = 65;
    crColour = kColourAid;
}

bool CRIOPacketFieldADDRESS::ValidateValue(uint32_t& /*ulValue*/)
{
    // Only ever written as bytes, which don't ask.
    return false;
}

bool CRIOPacketFieldADDRESS::HasOptions()
{
    return false;
}

void CRIOPacketFieldADDRESS::GetOptions(QString& strText)
{
    NoOptions(strText);
}

bool CRIOPacketFieldADDRESS::HasToolTip()
{
    return true;
}

void CRIOPacketFieldADDRESS::GetToolTip(QString& strText)
{
    strText =
        QStringLiteral("This field sets the Addr, Ext Addr (if present), XAMSBS, and wdptr fields for you.  "
                       "It is not actually part of the packet.");
}

bool CRIOPacketFieldADDRESS::SetValueBytes(const uint8_t* pbBytes, uint32_t nCount, bool bNoNotify)
{
    if (!CRIOPacketField::SetValueBytes(pbBytes, nCount, true))
    {
        return false;
    }
    if (bNoNotify)
    {
        return true;
    }
    // Address bit n is bit n mod 8 of byte n / 8.
    const uint8_t* b = pbValue.data();
    const auto set = [this](uint32_t nID, uint32_t ulValue)
    {
        if (CRIOPacketField* pField = OtherInList(nID))
        {
            pField->SetValue(ulValue, true);
        }
    };
    const uint32_t ulHigh = (uint32_t{b[8]} << 24) | (uint32_t{b[7]} << 16) | (uint32_t{b[6]} << 8) | b[5];
    set(eRIOFieldEXTADDR32, (ulHigh << 6) | (b[4] >> 2));
    set(eRIOFieldEXTADDR16, ((b[6] & 3u) << 14) | (uint32_t{b[5]} << 6) | (b[4] >> 2));
    set(eRIOFieldXAMSBS, b[4] & 3u);
    set(eRIOFieldADDR, (uint32_t{b[3]} << 21) | (uint32_t{b[2]} << 13) | (uint32_t{b[1]} << 5) | (b[0] >> 3));
    set(eRIOFieldWDPTR, (b[0] >> 2) & 1u);
    NotifyPacket();
    return true;
}

// Addr: composes Address in a layout of its own (Ext Addr unshifted after the low word).
CRIOPacketFieldADDR::CRIOPacketFieldADDR(CRIOPacket* pOwner)
    : CRIOPacketField(pOwner, eRIOFieldADDR, 29, "Addr", false, true)
{
    nColumnWidth = 60;
    crColour = kColourAddress;
}
bool CRIOPacketFieldADDR::ValidateValue(uint32_t& ulValue)
{
    return ValidateCommon(ulValue);
}
bool CRIOPacketFieldADDR::HasOptions()
{
    return false;
}
void CRIOPacketFieldADDR::GetOptions(QString& strText)
{
    NoOptions(strText);
}
void CRIOPacketFieldADDR::SetValue(uint32_t ulValue, bool bNoNotify)
{
    StoreValue(ulValue);
    if (!bNoNotify)
    {
        PieceChanged(*pPacket, true);
        NotifyPacket();
    }
}

// Ext Addr 16 and 32, ExtAdd MSBs: compose Address in the layout of the split.
#define NV_RIO_ADDRESS_PIECE(Class, ID, Bits, Caption)                                                       \
    Class::Class(CRIOPacket* pOwner) : CRIOPacketField(pOwner, ID, Bits, Caption, false, true)               \
    {                                                                                                        \
        crColour = kColourAddress;                                                                           \
    }                                                                                                        \
    NV_RIO_USUAL_SLOTS(Class)                                                                                \
    void Class::SetValue(uint32_t ulValue, bool bNoNotify)                                                   \
    {                                                                                                        \
        StoreValue(ulValue);                                                                                 \
        if (!bNoNotify)                                                                                      \
        {                                                                                                    \
            PieceChanged(*pPacket, false);                                                                   \
            NotifyPacket();                                                                                  \
        }                                                                                                    \
    }
NV_RIO_ADDRESS_PIECE(CRIOPacketFieldEXTADDR16, eRIOFieldEXTADDR16, 16, "Ext\nAddr")
NV_RIO_ADDRESS_PIECE(CRIOPacketFieldEXTADDR32, eRIOFieldEXTADDR32, 32, "Ext\nAddr")
NV_RIO_ADDRESS_PIECE(CRIOPacketFieldXAMSBS, eRIOFieldXAMSBS, 2, "ExtAdd\nMSBs")
#undef NV_RIO_ADDRESS_PIECE

// Config Offset
CRIOPacketFieldCONFIGOFFSET::CRIOPacketFieldCONFIGOFFSET(CRIOPacket* pOwner)
    : CRIOPacketField(pOwner, eRIOFieldCONFIGOFFSET, 21, "Config\nOffset", false, true)
{
    crColour = kColourAddress;
}
NV_RIO_USUAL_SLOTS(CRIOPacketFieldCONFIGOFFSET)

void CRIOPacketFieldCONFIGOFFSET::SetValue(uint32_t ulValue, bool bNoNotify)
{
    StoreValue(ulValue);
    if (bNoNotify)
    {
        return;
    }
    if (CRIOPacketField* pRegister = OtherInList(eRIOFieldREGADDRESS))
    {
        pRegister->SetValue((GetValue() << 3) | (Other(eRIOFieldWDPTR)->GetValue() ? 4u : 0u), false);
    }
    NotifyPacket();
}

// wdptr
CRIOPacketFieldWDPTR::CRIOPacketFieldWDPTR(CRIOPacket* pOwner)
    : CRIOPacketField(pOwner, eRIOFieldWDPTR, 1, "wdptr", true, true)
{
    crColour = kColourAddress;
}

bool CRIOPacketFieldWDPTR::ValidateValue(uint32_t& ulValue)
{
    return ValidateCommon(ulValue);
}

bool CRIOPacketFieldWDPTR::HasOptions()
{
    return true;
}

void CRIOPacketFieldWDPTR::GetOptions(QString& strText)
{
    const uint32_t ulSize = std::min(Other(eRIOFieldSIZE)->GetValue(), 15u);
    vecOptions = {{0, QString::fromLatin1(kSizeTexts[ulSize][0])},
                  {1, QString::fromLatin1(kSizeTexts[ulSize][1])}};
    FormatOptions(strText);
}

void CRIOPacketFieldWDPTR::SetValue(uint32_t ulValue, bool bNoNotify)
{
    StoreValue(ulValue);
    if (bNoNotify)
    {
        return;
    }
    PieceChanged(*pPacket, false);
    if (CRIOPacketField* pRegister = OtherInList(eRIOFieldREGADDRESS))
    {
        pRegister->SetValue((Other(eRIOFieldCONFIGOFFSET)->GetValue() << 3) | (GetValue() ? 4u : 0u), false);
    }
    NotifyPacket();
}

// Early CRC
CRIOPacketFieldEARLYCRC::CRIOPacketFieldEARLYCRC(CRIOPacket* pOwner)
    : CRIOPacketField(pOwner, eRIOFieldEARLYCRC, 16, "Early\nCRC", false, true)
{
    crColour = kColourCrc;
}
NV_RIO_USUAL_SLOTS(CRIOPacketFieldEARLYCRC)

bool CRIOPacketFieldEARLYCRC::HasToolTip()
{
    return true;
}

void CRIOPacketFieldEARLYCRC::GetToolTip(QString& strText)
{
    strText = QStringLiteral("Early CRC for the packet.  Double click to force automatic calculation.");
}

// CRC
CRIOPacketFieldCRC::CRIOPacketFieldCRC(CRIOPacket* pOwner)
    : CRIOPacketField(pOwner, eRIOFieldCRC, 16, "CRC", false, true)
{
    crColour = kColourCrc;
}

bool CRIOPacketFieldCRC::ValidateValue(uint32_t& ulValue)
{
    if (!ValidateCommon(ulValue))
    {
        return false;
    }
    return bValueValid; // the CRC check decides
}

bool CRIOPacketFieldCRC::HasOptions()
{
    return false;
}

void CRIOPacketFieldCRC::GetOptions(QString& strText)
{
    NoOptions(strText);
}

bool CRIOPacketFieldCRC::HasToolTip()
{
    return true;
}

void CRIOPacketFieldCRC::GetToolTip(QString& strText)
{
    strText = QStringLiteral("CRC for the packet.  Double click to force automatic calculation.");
}

// Data Size
CRIOPacketFieldDATASIZE::CRIOPacketFieldDATASIZE(CRIOPacket* pOwner)
    : CRIOPacketField(pOwner, eRIOFieldDATASIZE, 16, "Data\nSize\n(bytes)", true, false)
{
    crColour = kColourAid;
    pbValue[0] = 0;
    pbValue[1] = 64;
}
NV_RIO_USUAL_SLOTS(CRIOPacketFieldDATASIZE)

bool CRIOPacketFieldDATASIZE::HasToolTip()
{
    return true;
}

void CRIOPacketFieldDATASIZE::GetToolTip(QString& strText)
{
    const uint32_t ulFType = pPacket->GetFType();
    if (ulFType == 5 || ulFType == 6)
    {
        strText = QStringLiteral(
            "This field sets the size of the Data field(s).  It is not actually part of the packet.");
    }
    else
    {
        strText.clear();
    }
}

// Register Address
CRIOPacketFieldREGADDRESS::CRIOPacketFieldREGADDRESS(CRIOPacket* pOwner)
    : CRIOPacketField(pOwner, eRIOFieldREGADDRESS, 24, "Register\nAddress", true, false)
{
    nColumnWidth = 55;
    crColour = kColourAid;
}
NV_RIO_USUAL_SLOTS(CRIOPacketFieldREGADDRESS)

bool CRIOPacketFieldREGADDRESS::HasToolTip()
{
    return true;
}

void CRIOPacketFieldREGADDRESS::GetToolTip(QString& strText)
{
    strText =
        QStringLiteral("This field sets the Config Offset and wdptr fields for you.  It is not actually part "
                       "of the packet.");
}

void CRIOPacketFieldREGADDRESS::SetValue(uint32_t ulValue, bool bNoNotify)
{
    StoreValue(ulValue);
    const uint32_t ulStored = GetValue();
    Other(eRIOFieldCONFIGOFFSET)->SetValue(ulStored >> 3, true);
    Other(eRIOFieldWDPTR)->SetValue((ulStored >> 2) & 1u, true);
    if (!bNoNotify)
    {
        NotifyPacket();
    }
}
#undef NV_RIO_USUAL_SLOTS

// ---- CRIOPacket -------------------------------------------------------------------------------

CRIOPacket::CRIOPacket()
{
    for (uint32_t i = 0; i < 256; ++i)
    {
        uint16_t uCrc = static_cast<uint16_t>(i << 8);
        for (int nBit = 0; nBit < 8; ++nBit)
        {
            uCrc = static_cast<uint16_t>((uCrc & 0x8000) ? (uCrc << 1) ^ 0x1021 : uCrc << 1);
        }
        awCrcTable[i] = uCrc;
    }
    apFields[eRIOFieldACKID] = std::make_unique<CRIOPacketFieldACKID>(this);
    apFields[eRIOFieldVC] = std::make_unique<CRIOPacketFieldVC>(this);
    apFields[eRIOFieldCRF] = std::make_unique<CRIOPacketFieldCRF>(this);
    apFields[eRIOFieldPRIORITY] = std::make_unique<CRIOPacketFieldPRIORITY>(this);
    apFields[eRIOFieldTT] = std::make_unique<CRIOPacketFieldTT>(this);
    apFields[eRIOFieldFTYPE] = std::make_unique<CRIOPacketFieldFTYPE>(this);
    apFields[eRIOFieldDESTID8] = std::make_unique<CRIOPacketFieldDESTID8>(this);
    apFields[eRIOFieldDESTID16] = std::make_unique<CRIOPacketFieldDESTID16>(this);
    apFields[eRIOFieldSRCID8] = std::make_unique<CRIOPacketFieldSRCID8>(this);
    apFields[eRIOFieldSRCID16] = std::make_unique<CRIOPacketFieldSRCID16>(this);
    apFields[eRIOFieldTRANSACTION] = std::make_unique<CRIOPacketFieldTRANSACTION>(this);
    apFields[eRIOFieldSIZE] = std::make_unique<CRIOPacketFieldSIZE>(this);
    apFields[eRIOFieldSTATUS] = std::make_unique<CRIOPacketFieldSTATUS>(this);
    apFields[eRIOFieldSOURCETID] = std::make_unique<CRIOPacketFieldSOURCETID>(this);
    apFields[eRIOFieldTARGETTID] = std::make_unique<CRIOPacketFieldTARGETTID>(this);
    apFields[eRIOFieldHOPCOUNT] = std::make_unique<CRIOPacketFieldHOPCOUNT>(this);
    apFields[eRIOFieldADDRESS] = std::make_unique<CRIOPacketFieldADDRESS>(this);
    apFields[eRIOFieldADDR] = std::make_unique<CRIOPacketFieldADDR>(this);
    apFields[eRIOFieldEXTADDR16] = std::make_unique<CRIOPacketFieldEXTADDR16>(this);
    apFields[eRIOFieldEXTADDR32] = std::make_unique<CRIOPacketFieldEXTADDR32>(this);
    apFields[eRIOFieldCONFIGOFFSET] = std::make_unique<CRIOPacketFieldCONFIGOFFSET>(this);
    apFields[eRIOFieldWDPTR] = std::make_unique<CRIOPacketFieldWDPTR>(this);
    apFields[eRIOFieldRESERVED1] = std::make_unique<CRIOPacketFieldRESERVED1>(this);
    apFields[eRIOFieldRESERVED2] = std::make_unique<CRIOPacketFieldRESERVED2>(this);
    apFields[eRIOFieldRESERVED24] = std::make_unique<CRIOPacketFieldRESERVED24>(this);
    apFields[eRIOFieldRESERVED8] = std::make_unique<CRIOPacketFieldRESERVED8>(this);
    apFields[eRIOFieldXAMSBS] = std::make_unique<CRIOPacketFieldXAMSBS>(this);
    apFields[eRIOFieldDATA] = std::make_unique<CRIOPacketFieldDATA>(this);
    apFields[eRIOFieldDATA2] = std::make_unique<CRIOPacketFieldDATA2>(this);
    apFields[eRIOFieldEARLYCRC] = std::make_unique<CRIOPacketFieldEARLYCRC>(this);
    apFields[eRIOFieldCRC] = std::make_unique<CRIOPacketFieldCRC>(this);
    apFields[eRIOFieldPAD] = std::make_unique<CRIOPacketFieldPAD>(this);
    apFields[eRIOFieldINFO] = std::make_unique<CRIOPacketFieldINFO>(this);
    apFields[eRIOFieldMSGLEN] = std::make_unique<CRIOPacketFieldMSGLEN>(this);
    apFields[eRIOFieldLETTER] = std::make_unique<CRIOPacketFieldLETTER>(this);
    apFields[eRIOFieldMAILBOX] = std::make_unique<CRIOPacketFieldMAILBOX>(this);
    apFields[eRIOFieldMSGSEG] = std::make_unique<CRIOPacketFieldMSGSEG>(this);
    apFields[eRIOFieldDATASIZE] = std::make_unique<CRIOPacketFieldDATASIZE>(this);
    apFields[eRIOFieldREGADDRESS] = std::make_unique<CRIOPacketFieldREGADDRESS>(this);
    SetTypeAndIDSize(0, 0);
}

CRIOPacket::~CRIOPacket() = default;

int CRIOPacket::GetFieldCount() const
{
    return static_cast<int>(vecFields.size());
}

CRIOPacketField* CRIOPacket::GetField(int nIndex) const
{
    if (nIndex < 0 || static_cast<size_t>(nIndex) >= vecFields.size())
    {
        return nullptr;
    }
    return vecFields[static_cast<size_t>(nIndex)];
}

CRIOPacketField* CRIOPacket::FindField(uint32_t nFieldID) const
{
    for (CRIOPacketField* pField : vecFields)
    {
        if (pField->nFieldID == nFieldID)
        {
            return pField;
        }
    }
    return nullptr;
}

CRIOPacketField* CRIOPacket::GetFieldObject(uint32_t nFieldID) const
{
    return nFieldID < kRIOFieldCount ? apFields[nFieldID].get() : nullptr;
}

bool CRIOPacket::InList(const CRIOPacketField* pField) const
{
    return std::find(vecFields.begin(), vecFields.end(), pField) != vecFields.end();
}

void CRIOPacket::SetTypeAndIDSize(uint32_t ulFType, uint32_t ulTT)
{
    apFields[eRIOFieldFTYPE]->SetValue(ulFType, false);
    apFields[eRIOFieldTT]->SetValue(ulTT, false);
    RebuildLayout();
}

void CRIOPacket::SetAddressBits(uint32_t nBits)
{
    if (nBits != 34 && nBits != 50 && nBits != 66)
    {
        return;
    }
    nAddressBits = nBits;
    RebuildLayout();
}

void CRIOPacket::SetLayoutCallback(void* pArg, LayoutCallback pfn)
{
    pLayoutArg = pArg;
    pfnLayoutChanged = pfn;
}

void CRIOPacket::SetFieldCallback(void* pArg, FieldCallback pfn)
{
    pFieldArg = pArg;
    pfnFieldChanged = pfn;
}

uint32_t CRIOPacket::GetFType() const
{
    return apFields[eRIOFieldFTYPE]->GetValue();
}

uint32_t CRIOPacket::GetTT() const
{
    return apFields[eRIOFieldTT]->GetValue();
}

uint32_t CRIOPacket::GetSourceID() const
{
    return apFields[GetTT() == 0 ? eRIOFieldSRCID8 : eRIOFieldSRCID16]->GetValue();
}

uint32_t CRIOPacket::GetDestID() const
{
    return apFields[GetTT() == 0 ? eRIOFieldDESTID8 : eRIOFieldDESTID16]->GetValue();
}

bool CRIOPacket::ExpectsResponse() const
{
    switch (GetFType())
    {
    case 2:
    case 10:
    case 11:
        return true;
    case 5:
    case 8:
        return apFields[eRIOFieldTRANSACTION]->GetValue() != 4;
    default:
        return false;
    }
}

uint16_t CRIOPacket::Crc(const uint8_t* pbBytes, uint32_t nCount) const
{
    uint16_t uCrc = 0xFFFF;
    for (uint32_t i = 0; i < nCount; ++i)
    {
        uCrc = static_cast<uint16_t>((uCrc << 8) ^ awCrcTable[((uCrc >> 8) ^ pbBytes[i]) & 0xFF]);
    }
    return uCrc;
}

uint32_t CRIOPacket::InPacketBitsBefore(uint32_t nFieldID) const
{
    uint32_t nBits = 0;
    for (const CRIOPacketField* pField : vecFields)
    {
        if (pField->nFieldID == nFieldID)
        {
            break;
        }
        if (pField->bInPacket)
        {
            nBits += static_cast<uint32_t>(std::max(pField->nBits, 0));
        }
    }
    return nBits;
}

bool CRIOPacket::RebuildLayout()
{
    vecFields.clear();
    const auto add = [this](uint32_t nID) { vecFields.push_back(apFields[nID].get()); };
    for (uint32_t nID :
         {eRIOFieldACKID, eRIOFieldVC, eRIOFieldCRF, eRIOFieldPRIORITY, eRIOFieldTT, eRIOFieldFTYPE})
    {
        add(nID);
    }
    const bool bLarge = GetTT() != 0;
    const uint32_t nDest = bLarge ? eRIOFieldDESTID16 : eRIOFieldDESTID8;
    const uint32_t nSource = bLarge ? eRIOFieldSRCID16 : eRIOFieldSRCID8;
    const auto addExt = [&]()
    {
        if (nAddressBits == 50)
        {
            add(eRIOFieldEXTADDR16);
        }
        else if (nAddressBits == 66)
        {
            add(eRIOFieldEXTADDR32);
        }
    };
    // The tail of a long packet: Early CRC and Data2 when L bytes of data go past byte 80.
    const auto addLongTail = [&](uint32_t ulDataBytes)
    {
        const uint32_t nRoom = 80 - InPacketBitsBefore(eRIOFieldDATA) / 8;
        if (ulDataBytes > nRoom)
        {
            add(eRIOFieldEARLYCRC);
            add(eRIOFieldDATA2);
        }
    };
    const uint32_t ulFType = std::min(GetFType(), 15u);
    const uint32_t ulTrans = apFields[eRIOFieldTRANSACTION]->GetValue();
    const uint32_t ulSize = apFields[eRIOFieldSIZE]->GetValue();
    const uint32_t ulWdptr = apFields[eRIOFieldWDPTR]->GetValue();
    const uint32_t ulDataSize = apFields[eRIOFieldDATASIZE]->GetValue();
    bool bLayout = true;
    switch (ulFType)
    {
    case 2:
    case 5:
        for (uint32_t nID : {nDest, nSource, uint32_t{eRIOFieldTRANSACTION}, uint32_t{eRIOFieldSIZE},
                             uint32_t{eRIOFieldSOURCETID}})
        {
            add(nID);
        }
        addExt();
        for (uint32_t nID : {eRIOFieldADDRESS, eRIOFieldADDR, eRIOFieldWDPTR, eRIOFieldXAMSBS})
        {
            add(nID);
        }
        if (ulFType == 5)
        {
            add(eRIOFieldDATA);
            uint32_t ulBytes = RoundUp8(RioSizeBytes(ulSize, ulWdptr));
            if (ulTrans == 14)
            {
                ulBytes *= 2;
            }
            addLongTail(ulBytes);
        }
        break;
    case 6:
        add(nDest);
        add(nSource);
        addExt();
        for (uint32_t nID : {eRIOFieldADDRESS, eRIOFieldADDR, eRIOFieldRESERVED1, eRIOFieldXAMSBS,
                             eRIOFieldDATASIZE, eRIOFieldDATA})
        {
            add(nID);
        }
        addLongTail(ulDataSize);
        break;
    case 8:
        add(nDest);
        add(nSource);
        add(eRIOFieldTRANSACTION);
        if (ulTrans == 2 || ulTrans == 3)
        {
            for (uint32_t nID : {eRIOFieldSTATUS, eRIOFieldTARGETTID, eRIOFieldHOPCOUNT, eRIOFieldRESERVED24})
            {
                add(nID);
            }
            if (ulTrans == 2)
            {
                add(eRIOFieldDATA);
            }
        }
        else
        {
            for (uint32_t nID : {eRIOFieldSIZE, eRIOFieldSOURCETID, eRIOFieldHOPCOUNT, eRIOFieldREGADDRESS,
                                 eRIOFieldCONFIGOFFSET, eRIOFieldWDPTR, eRIOFieldRESERVED2})
            {
                add(nID);
            }
            if (ulTrans != 0)
            {
                add(eRIOFieldDATA);
            }
        }
        break;
    case 10:
        for (uint32_t nID : {nDest, nSource, uint32_t{eRIOFieldRESERVED8}, uint32_t{eRIOFieldSOURCETID},
                             uint32_t{eRIOFieldINFO}})
        {
            add(nID);
        }
        break;
    case 11:
        for (uint32_t nID :
             {nDest, nSource, uint32_t{eRIOFieldMSGLEN}, uint32_t{eRIOFieldSIZE}, uint32_t{eRIOFieldLETTER},
              uint32_t{eRIOFieldMAILBOX}, uint32_t{eRIOFieldMSGSEG}, uint32_t{eRIOFieldDATA}})
        {
            add(nID);
        }
        addLongTail(MessageBytes(ulSize));
        break;
    case 13:
        add(nDest);
        add(nSource);
        add(eRIOFieldTRANSACTION);
        add(eRIOFieldSTATUS);
        if (ulTrans == 1)
        {
            add(eRIOFieldLETTER);
            add(eRIOFieldMAILBOX);
            add(eRIOFieldMSGSEG);
        }
        else
        {
            add(eRIOFieldTARGETTID);
            if (ulTrans != 0)
            {
                add(eRIOFieldDATASIZE);
                add(eRIOFieldDATA);
                addLongTail(ulDataSize);
            }
        }
        break;
    default:
        bLayout = false;
        break;
    }
    add(eRIOFieldCRC);
    SizeData();
    uint32_t nBits = 0;
    for (const CRIOPacketField* pField : vecFields)
    {
        if (pField->bInPacket)
        {
            nBits += static_cast<uint32_t>(std::max(pField->nBits, 0));
        }
    }
    if (nBits % 32 != 0)
    {
        add(eRIOFieldPAD);
    }
    if (pfnLayoutChanged)
    {
        pfnLayoutChanged(pLayoutArg);
    }
    return bLayout;
}

void CRIOPacket::SizeData()
{
    CRIOPacketField* pData = apFields[eRIOFieldDATA].get();
    CRIOPacketField* pData2 = apFields[eRIOFieldDATA2].get();
    const uint32_t nRoom = 80 - InPacketBitsBefore(eRIOFieldDATA) / 8;
    // L bytes: Data up to the early CRC, the rest in Data2; a size that fits leaves Data2 as it is.
    const auto split = [&](uint32_t ulBytes)
    {
        if (ulBytes <= nRoom)
        {
            pData->nBits = static_cast<int32_t>(ulBytes * 8);
        }
        else
        {
            pData->nBits = static_cast<int32_t>(nRoom * 8);
            pData2->nBits = static_cast<int32_t>((ulBytes - nRoom) * 8);
        }
    };
    CRIOPacketField* pSize = apFields[eRIOFieldSIZE].get();
    CRIOPacketField* pWdptr = apFields[eRIOFieldWDPTR].get();
    const uint32_t ulDataSize = apFields[eRIOFieldDATASIZE]->GetValue();
    switch (std::min(GetFType(), 15u))
    {
    case 5:
    {
        // With Data Size and Address both in the list, Size and wdptr follow from them. The layout
        // of this class doesn't list Data Size, so this rests unused until somebody adds it.
        if (FindField(eRIOFieldDATASIZE) && FindField(eRIOFieldADDRESS))
        {
            const uint32_t a = apFields[eRIOFieldADDRESS]->GetValue() & 7u;
            const uint32_t n = ulDataSize;
            const auto setBoth = [&](uint32_t ulNewWdptr, uint32_t ulNewSize)
            {
                pWdptr->SetValue(ulNewWdptr, true);
                pSize->SetValue(ulNewSize, true);
            };
            if (n <= 1)
            {
                setBoth(a / 4, a % 4);
            }
            else if (n == 2)
            {
                setBoth(a / 4, a % 4 < 2 ? 4 : 6);
            }
            else if (n <= 7)
            {
                constexpr uint32_t kSizes[] = {5, 8, 7, 9, 10};
                setBoth(a / 4, kSizes[n - 3]);
            }
            else if (n == 8)
            {
                setBoth(0, 11);
            }
            else if (n <= 16)
            {
                setBoth(1, 11);
            }
            else if (n <= 32)
            {
                setBoth(0, 12);
            }
            else if (n <= 64)
            {
                setBoth(1, 12);
            }
            else if (n <= 128)
            {
                setBoth(1, 13);
            }
            else if (n <= 256)
            {
                setBoth(1, 15);
            }
        }
        uint32_t ulBytes = RoundUp8(std::min(RioSizeBytes(pSize->GetValue(), pWdptr->GetValue()), 256u));
        if (apFields[eRIOFieldTRANSACTION]->GetValue() == 14)
        {
            ulBytes *= 2;
        }
        split(ulBytes);
        break;
    }
    case 6:
        split(std::clamp((ulDataSize + 7) / 8 * 8, 8u, 256u));
        break;
    case 8:
    {
        const uint32_t ulTrans = apFields[eRIOFieldTRANSACTION]->GetValue();
        if (ulTrans == 1 || ulTrans == 2 || ulTrans == 4)
        {
            const uint32_t ulBytes =
                RoundUp8(std::min(RioSizeBytes(pSize->GetValue(), pWdptr->GetValue()), 64u));
            pData->nBits = static_cast<int32_t>(ulBytes * 8);
        }
        else
        {
            pData->nBits = 0;
        }
        break;
    }
    case 11:
        split(MessageBytes(pSize->GetValue()));
        break;
    case 13:
        split(std::clamp(ulDataSize / 8 * 8, 8u, 256u));
        break;
    default:
        break;
    }
}

void CRIOPacket::FieldChanged(CRIOPacketField* pField)
{
    if (!InList(pField))
    {
        RebuildLayout();
        return;
    }
    if (pField->bRelayout)
    {
        RebuildLayout();
    }
    UpdateCRC(!bAutoCRC);
    PackStream();
    if (pfnFieldChanged)
    {
        pfnFieldChanged(pFieldArg, pField->nFieldID);
    }
}

void CRIOPacket::PackStream()
{
    std::memset(abValueStream, 0, sizeof abValueStream);
    std::memset(abMaskStream, 0, sizeof abMaskStream);
    CBitWriter writer(abValueStream, abMaskStream);
    for (const CRIOPacketField* pField : vecFields)
    {
        if (pField->bInPacket && !writer.WriteField(*pField, false))
        {
            break;
        }
    }
    nPacketBytes = writer.Length();
}

void CRIOPacket::UpdateCRC(bool bVerifyOnly)
{
    std::vector<uint8_t> scratch(kRIOMaxPacketBytes, 0);
    CBitWriter writer(scratch.data(), nullptr);
    for (CRIOPacketField* pField : vecFields)
    {
        if (!pField->bInPacket)
        {
            continue;
        }
        const bool bCrc = pField->nFieldID == eRIOFieldCRC;
        if (bCrc || pField->nFieldID == eRIOFieldEARLYCRC)
        {
            const uint16_t uCrc = Crc(scratch.data(), writer.Byte());
            if (bVerifyOnly)
            {
                pField->SetValueValid(pField->GetValue() == uCrc);
            }
            else
            {
                pField->SetValue(uCrc, true);
                pField->SetValueValid(true);
            }
        }
        if (!writer.WriteField(*pField, pField->nFieldID == eRIOFieldACKID) || bCrc)
        {
            break;
        }
    }
}

void CRIOPacket::SetAutoCRC(bool bAuto)
{
    bAutoCRC = bAuto;
    UpdateCRC(!bAuto);
    // The stream follows the fields, so that the raw bytes show the CRCs just stored.
    PackStream();
}

bool CRIOPacket::GetStream(std::vector<uint8_t>& bytes, uint32_t* pnDataBytes, uint32_t* pnDataSize,
                           std::vector<uint8_t>* pMask) const
{
    bytes.assign(abValueStream, abValueStream + nPacketBytes);
    if (pMask)
    {
        pMask->assign(abMaskStream, abMaskStream + nPacketBytes);
    }
    if (pnDataBytes)
    {
        uint32_t nBits = 0;
        for (uint32_t nID : {eRIOFieldDATA, eRIOFieldDATA2})
        {
            if (const CRIOPacketField* pField = FindField(nID))
            {
                nBits += static_cast<uint32_t>(std::max(pField->nBits, 0));
            }
        }
        *pnDataBytes = nBits / 8;
    }
    if (pnDataSize)
    {
        const CRIOPacketField* pDataSize = FindField(eRIOFieldDATASIZE);
        *pnDataSize = pDataSize ? pDataSize->GetValue() : 0;
    }
    return nPacketBytes != 0;
}

bool CRIOPacket::GetData(std::vector<uint8_t>& bytes, std::vector<uint8_t>* pMask) const
{
    bytes.clear();
    if (pMask)
    {
        pMask->clear();
    }
    const CRIOPacketField* pData = FindField(eRIOFieldDATA);
    if (!pData || pData->nBits <= 0)
    {
        return false;
    }
    for (const CRIOPacketField* pField :
         {pData, static_cast<const CRIOPacketField*>(FindField(eRIOFieldDATA2))})
    {
        if (!pField || pField->nBits <= 0)
        {
            continue;
        }
        const auto nBytes = static_cast<ptrdiff_t>(pField->nBits / 8);
        bytes.insert(bytes.end(), pField->pbValue.begin(), pField->pbValue.begin() + nBytes);
        if (pMask)
        {
            pMask->insert(pMask->end(), pField->pbMask.begin(), pField->pbMask.begin() + nBytes);
        }
    }
    return true;
}

bool CRIOPacket::SetData(const uint8_t* pbBytes, const uint8_t* pbMask, uint32_t nCount)
{
    CRIOPacketField* pData = FindField(eRIOFieldDATA);
    if (!pData)
    {
        return false;
    }
    const uint32_t nFirst = std::min(nCount, static_cast<uint32_t>(std::max(pData->nBits, 0) / 8));
    CRIOPacketField* pData2 = apFields[eRIOFieldDATA2].get();
    if (nCount > nFirst)
    {
        const uint32_t nRest = std::min(nCount - nFirst, pData2->nBufferBytes);
        pData2->SetValueBytes(pbBytes + nFirst, nRest, true);
        if (pbMask)
        {
            pData2->SetMaskBytes(pbMask + nFirst, nRest, true);
        }
    }
    if (pbMask)
    {
        pData->SetMaskBytes(pbMask, nFirst, true);
    }
    return pData->SetValueBytes(pbBytes, nFirst, false);
}

void CRIOPacket::LoadStream(const uint8_t* pbBytes, uint32_t nCount, const uint32_t* pnDataSize,
                            const uint8_t* pbMask)
{
    nCount = std::min(nCount, kRIOMaxPacketBytes);
    if (nCount)
    {
        std::memcpy(abValueStream, pbBytes, nCount);
        if (pbMask)
        {
            std::memcpy(abMaskStream, pbMask, nCount);
        }
    }
    CBitReader values(abValueStream, nCount);
    CBitReader masks(abMaskStream, nCount);
    for (CRIOPacketField* pField : vecFields)
    {
        if (!pField)
        {
            break;
        }
        if (!pField->bInPacket || pField->nBits <= 0)
        {
            continue;
        }
        if (values.Byte() >= nCount)
        {
            break;
        }
        if (pField->nBits <= 8)
        {
            const uint8_t uValue = values.Read(pField->nBits);
            const uint8_t uMask =
                pbMask ? masks.Read(pField->nBits) : static_cast<uint8_t>((1u << pField->nBits) - 1);
            pField->SetValue(uValue, true);
            pField->SetMask(uMask, true);
            continue;
        }
        const uint32_t nBytes = static_cast<uint32_t>(pField->nBits + 7) / 8;
        std::vector<uint8_t> value(nBytes), mask(nBytes);
        for (uint32_t i = 0; i < nBytes; ++i)
        {
            const int nChunk = i == 0 && pField->nBits % 8 != 0 ? pField->nBits % 8 : 8;
            value[i] = values.Read(nChunk);
            mask[i] = pbMask ? masks.Read(nChunk) : static_cast<uint8_t>((1u << nChunk) - 1);
        }
        pField->SetValueBytes(value.data(), nBytes, true);
        pField->SetMaskBytes(mask.data(), nBytes, true);
    }
    if (pnDataSize)
    {
        apFields[eRIOFieldDATASIZE]->SetValue(*pnDataSize, true);
    }
}

bool LoadPacketBytes(CRIOPacket& packet, const uint8_t* pbBytes, uint32_t nCount)
{
    nCount = std::min(nCount, kRIOMaxPacketBytes);
    packet.SetAutoCRC(false);
    // The header decides the class, Trans the layout within it, Size and wdptr the data: load,
    // lay out again, until the list stands still.
    std::vector<uint32_t> previous;
    for (int nPass = 0; nPass < 6; ++nPass)
    {
        packet.LoadStream(pbBytes, nCount);
        packet.SetAddressBits(packet.GetAddressBits());
        std::vector<uint32_t> layout;
        for (int i = 0; i < packet.GetFieldCount(); ++i)
        {
            layout.push_back(packet.GetField(i)->nFieldID ^
                             (static_cast<uint32_t>(packet.GetField(i)->nBits) << 8));
        }
        if (layout == previous)
        {
            break;
        }
        previous = std::move(layout);
    }
    // Classes sized by Data Size: the size whose layout is as long as the bytes.
    const auto layoutBytes = [&packet]()
    {
        uint32_t nBits = 0;
        for (int i = 0; i < packet.GetFieldCount(); ++i)
        {
            const CRIOPacketField* pField = packet.GetField(i);
            if (pField->bInPacket)
            {
                nBits += static_cast<uint32_t>(std::max(pField->nBits, 0));
            }
        }
        return (nBits + 7) / 8;
    };
    if (CRIOPacketField* pDataSize = packet.FindField(eRIOFieldDATASIZE))
    {
        uint32_t ulChosen = 0;
        for (uint32_t ulSize = 8; ulSize <= 256 && !ulChosen; ulSize += 8)
        {
            pDataSize->SetValue(ulSize, true);
            packet.SetAddressBits(packet.GetAddressBits());
            if (layoutBytes() == nCount)
            {
                ulChosen = ulSize;
            }
        }
        if (!ulChosen)
        {
            // No size fits: as much data as the bytes hold.
            ulChosen = 8;
            for (uint32_t ulSize = 16; ulSize <= 256; ulSize += 8)
            {
                pDataSize->SetValue(ulSize, true);
                packet.SetAddressBits(packet.GetAddressBits());
                if (layoutBytes() <= nCount)
                {
                    ulChosen = ulSize;
                }
            }
        }
        pDataSize->SetValue(ulChosen, true);
        packet.SetAddressBits(packet.GetAddressBits());
        packet.LoadStream(pbBytes, nCount, &ulChosen);
    }
    // The editing aids from their pieces: a notified wdptr composes Address and Register Address.
    if (CRIOPacketField* pWdptr = packet.FindField(eRIOFieldWDPTR))
    {
        pWdptr->SetValue(pWdptr->GetValue(), false);
    }
    // The stream as long as the layout, holding the bytes as they came.
    packet.PackStream();
    packet.LoadStream(pbBytes, nCount);
    packet.UpdateCRC(true);
    return layoutBytes() == nCount;
}

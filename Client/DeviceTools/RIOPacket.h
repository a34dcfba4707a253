// The RapidIO packet as the packet tools edit it: an ordered list of typed fields that packs into,
// and unpacks from, the bit stream that goes on the link.
//
// CRIOPacket owns one object of each of the 39 field classes for its whole life and keeps a list
// of the ones that make up the packet at present, in wire order. A field whose change alters the
// layout (TT, FType, Trans, Size, wdptr and the editing aids) rebuilds that list. The editing aids
// Address, Data Size and Register Address stand in the list but not on the wire; they are kept in
// step with the pieces they stand for (Addr, Ext Addr, ExtAdd MSBs, wdptr, Config Offset).
//
// The wire form follows the RapidIO physical layer (serial, 2.x): ackID (6 bits), VC, CRF, prio,
// tt, ftype; the CRC-CCITT over the packet with the ackID bits taken as 0, an early CRC after the
// first 80 bytes of a long packet, and 16 zero bits of pad when the packet is not a multiple of
// 32 bits. Some of the model's own rules differ from the standard on purpose and are kept:
// the doorbell's Info is 8 bits, and the 32-bit Ext Addr can only get a non-zero value from bytes.
//
// No register access, no user interface; QtCore only. Everything runs on the thread of the window
// that owns the packet.
#pragma once

#include <QString>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

class CRIOPacket;

// The field kinds; the number is nFieldID.
enum ERIOFieldID : uint32_t
{
    eRIOFieldACKID = 0,
    eRIOFieldVC = 1,
    eRIOFieldCRF = 2,
    eRIOFieldPRIORITY = 3,
    eRIOFieldTT = 4,
    eRIOFieldFTYPE = 5,
    eRIOFieldDESTID8 = 6,
    eRIOFieldDESTID16 = 7,
    eRIOFieldSRCID8 = 8,
    eRIOFieldSRCID16 = 9,
    eRIOFieldTRANSACTION = 10,
    eRIOFieldSIZE = 11,
    eRIOFieldSTATUS = 12,
    eRIOFieldSOURCETID = 13,
    eRIOFieldTARGETTID = 14,
    eRIOFieldHOPCOUNT = 15,
    eRIOFieldADDRESS = 16,
    eRIOFieldADDR = 17,
    eRIOFieldEXTADDR16 = 18,
    eRIOFieldEXTADDR32 = 19,
    eRIOFieldCONFIGOFFSET = 20,
    eRIOFieldWDPTR = 21,
    eRIOFieldRESERVED1 = 22,
    eRIOFieldRESERVED2 = 23,
    eRIOFieldRESERVED24 = 24,
    eRIOFieldRESERVED8 = 25,
    eRIOFieldXAMSBS = 26,
    eRIOFieldDATA = 27,
    eRIOFieldDATA2 = 28,
    eRIOFieldEARLYCRC = 29,
    eRIOFieldCRC = 30,
    eRIOFieldPAD = 31,
    eRIOFieldINFO = 32,
    eRIOFieldMSGLEN = 33,
    eRIOFieldLETTER = 34,
    eRIOFieldMAILBOX = 35,
    eRIOFieldMSGSEG = 36,
    eRIOFieldDATASIZE = 37,
    eRIOFieldREGADDRESS = 38,
    kRIOFieldCount = 39
};

// Largest packet the model packs, in bytes.
constexpr uint32_t kRIOMaxPacketBytes = 1024;

// One field of a packet. The grid reads the public members (caption, widths, colours, flags) and
// talks to the value through the eleven virtual operations below, in this order.
class CRIOPacketField
{
public:
    using SOption = std::pair<uint32_t, QString>; // value, text of a pick list entry

    virtual ~CRIOPacketField() = default;
    CRIOPacketField(const CRIOPacketField&) = delete;
    CRIOPacketField& operator=(const CRIOPacketField&) = delete;

    // 0: whether the value is legal (the grid shows an illegal one in red).
    virtual bool IsValueValid() const;
    // 1: whether a value is legal; an out-of-range value is clamped to the largest the field holds.
    virtual bool ValidateValue(uint32_t& ulValue) = 0;
    // 2
    virtual void SetValueValid(bool bValid);
    // 3: whether the field has a pick list at present.
    virtual bool HasOptions() = 0;
    // 4: the pick list as lines "%X=%s\n" (fields without one write "<Error: No Options>"); rebuilds
    // vecOptions.
    virtual void GetOptions(QString& strText);
    // 5, 6
    virtual bool HasToolTip();
    virtual void GetToolTip(QString& strText);
    // 7: copies nCount bytes into the value (false when more than nBufferBytes); tells the packet
    // unless bNoNotify.
    virtual bool SetValueBytes(const uint8_t* pbBytes, uint32_t nCount, bool bNoNotify);
    // 8: validates, clamps and stores a value of up to 32 bits; tells the packet unless bNoNotify.
    virtual void SetValue(uint32_t ulValue, bool bNoNotify);
    // 9, 10: the same for the mask, with the common range rule.
    virtual bool SetMaskBytes(const uint8_t* pbBytes, uint32_t nCount, bool bNoNotify);
    virtual void SetMask(uint32_t ulValue, bool bNoNotify);

    // The value of up to 32 bits, big-endian from the first 1 to 4 bytes by nBits.
    uint32_t GetValue() const;
    uint32_t GetMask() const;
    // The bytes of the value, (nBits + 7) / 8 of them.
    void GetValueBytes(const uint8_t** ppbBytes, uint32_t* pnCount) const;
    void GetMaskBytes(const uint8_t** ppbBytes, uint32_t* pnCount) const;
    bool IsMaskValid() const { return bMaskValid; }
    void ClearOptions() { vecOptions.clear(); }
    // Takes entry nIndex of the current pick list as the value (with notification).
    void SelectOption(int nIndex);

    CRIOPacket* pPacket;
    uint32_t nFieldID;
    int32_t nBits;         // 0: no bits at present (Data before sizing)
    uint32_t nColumnWidth; // grid column width
    uint32_t crColour;     // heading colour, 0x00BBGGRR
    QString strCaption;    // heading, with line breaks
    bool bRelayout;        // a change rebuilds the field list
    bool bInPacket;        // false for the editing aids
    bool bValueValid = true;
    bool bMaskValid = true;
    std::vector<uint8_t> pbValue; // up to 32 bits: right-aligned big-endian; Address: 9 bytes,
    std::vector<uint8_t> pbMask;  // lowest first; Data: wire order
    uint32_t nBufferBytes;
    std::vector<SOption> vecOptions;

protected:
    CRIOPacketField(CRIOPacket* pOwner, uint32_t nID, int32_t nWidth, const char* pszCaption,
                    bool bRelayoutField, bool bInStream, uint32_t nBuffer = 4);

    // The usual legality rule: a value that fits the width is legal, a larger one is clamped.
    bool ValidateCommon(uint32_t& ulValue) const;
    // (1 << nBits) - 1 with the shift taken modulo 32.
    uint32_t MaxValue() const;
    // Validates with ValidateValue, clamps and stores, without telling anybody.
    void StoreValue(uint32_t ulValue);
    void NotifyPacket();
    // Lines "%X=%s\n" of vecOptions.
    void FormatOptions(QString& strText) const;
    void NoOptions(QString& strText) const;
    CRIOPacketField* Other(uint32_t nID) const;       // any field object of the packet
    CRIOPacketField* OtherInList(uint32_t nID) const; // a field of the current list, or null
};

// The 39 field classes; each derives directly from CRIOPacketField and replaces only the slots
// its kind needs.
#define NV_RIO_USUAL_FIELD(Class)                                                                            \
    class Class final : public CRIOPacketField                                                               \
    {                                                                                                        \
    public:                                                                                                  \
        explicit Class(CRIOPacket* pOwner);                                                                  \
        bool ValidateValue(uint32_t& ulValue) override;                                                      \
        bool HasOptions() override;                                                                          \
        void GetOptions(QString& strText) override;                                                          \
    };
NV_RIO_USUAL_FIELD(CRIOPacketFieldACKID)
NV_RIO_USUAL_FIELD(CRIOPacketFieldVC)
NV_RIO_USUAL_FIELD(CRIOPacketFieldCRF)
NV_RIO_USUAL_FIELD(CRIOPacketFieldDESTID8)
NV_RIO_USUAL_FIELD(CRIOPacketFieldDESTID16)
NV_RIO_USUAL_FIELD(CRIOPacketFieldSRCID8)
NV_RIO_USUAL_FIELD(CRIOPacketFieldSRCID16)
NV_RIO_USUAL_FIELD(CRIOPacketFieldSOURCETID)
NV_RIO_USUAL_FIELD(CRIOPacketFieldTARGETTID)
NV_RIO_USUAL_FIELD(CRIOPacketFieldHOPCOUNT)
NV_RIO_USUAL_FIELD(CRIOPacketFieldRESERVED1)
NV_RIO_USUAL_FIELD(CRIOPacketFieldRESERVED2)
NV_RIO_USUAL_FIELD(CRIOPacketFieldRESERVED24)
NV_RIO_USUAL_FIELD(CRIOPacketFieldRESERVED8)
NV_RIO_USUAL_FIELD(CRIOPacketFieldDATA)
NV_RIO_USUAL_FIELD(CRIOPacketFieldDATA2)
NV_RIO_USUAL_FIELD(CRIOPacketFieldPAD)
NV_RIO_USUAL_FIELD(CRIOPacketFieldINFO)
NV_RIO_USUAL_FIELD(CRIOPacketFieldMSGLEN)
NV_RIO_USUAL_FIELD(CRIOPacketFieldLETTER)
NV_RIO_USUAL_FIELD(CRIOPacketFieldMAILBOX)
NV_RIO_USUAL_FIELD(CRIOPacketFieldMSGSEG)
#undef NV_RIO_USUAL_FIELD

// Fields with a pick list: Priority and Status keep the usual range rule.
class CRIOPacketFieldPRIORITY final : public CRIOPacketField
{
public:
    explicit CRIOPacketFieldPRIORITY(CRIOPacket* pOwner);
    bool ValidateValue(uint32_t& ulValue) override;
    bool HasOptions() override;
    void GetOptions(QString& strText) override;
};

class CRIOPacketFieldSTATUS final : public CRIOPacketField
{
public:
    explicit CRIOPacketFieldSTATUS(CRIOPacket* pOwner);
    bool ValidateValue(uint32_t& ulValue) override;
    bool HasOptions() override;
    void GetOptions(QString& strText) override;
};

// TT: 0 and 1 are legal.
class CRIOPacketFieldTT final : public CRIOPacketField
{
public:
    explicit CRIOPacketFieldTT(CRIOPacket* pOwner);
    bool ValidateValue(uint32_t& ulValue) override;
    bool HasOptions() override;
    void GetOptions(QString& strText) override;
};

// FType: the classes the model lays out (2, 5, 6, 8, 10, 11, 13) are legal.
class CRIOPacketFieldFTYPE final : public CRIOPacketField
{
public:
    explicit CRIOPacketFieldFTYPE(CRIOPacket* pOwner);
    bool ValidateValue(uint32_t& ulValue) override;
    bool HasOptions() override;
    void GetOptions(QString& strText) override;
};

// Trans: legal values and pick list by FType.
class CRIOPacketFieldTRANSACTION final : public CRIOPacketField
{
public:
    explicit CRIOPacketFieldTRANSACTION(CRIOPacket* pOwner);
    bool ValidateValue(uint32_t& ulValue) override;
    bool HasOptions() override;
    void GetOptions(QString& strText) override;
};

// Size: legal values and pick list by FType (and wdptr for the texts).
class CRIOPacketFieldSIZE final : public CRIOPacketField
{
public:
    explicit CRIOPacketFieldSIZE(CRIOPacket* pOwner);
    bool ValidateValue(uint32_t& ulValue) override;
    bool HasOptions() override;
    void GetOptions(QString& strText) override;
};

// Address: the 66-bit editing aid; written as nine bytes, lowest first, it sets the pieces.
class CRIOPacketFieldADDRESS final : public CRIOPacketField
{
public:
    explicit CRIOPacketFieldADDRESS(CRIOPacket* pOwner);
    bool ValidateValue(uint32_t& ulValue) override;
    bool HasOptions() override;
    void GetOptions(QString& strText) override;
    bool HasToolTip() override;
    void GetToolTip(QString& strText) override;
    bool SetValueBytes(const uint8_t* pbBytes, uint32_t nCount, bool bNoNotify) override;
};

// The address pieces: a change composes Address again.
class CRIOPacketFieldADDR final : public CRIOPacketField
{
public:
    explicit CRIOPacketFieldADDR(CRIOPacket* pOwner);
    bool ValidateValue(uint32_t& ulValue) override;
    bool HasOptions() override;
    void GetOptions(QString& strText) override;
    void SetValue(uint32_t ulValue, bool bNoNotify) override;
};

class CRIOPacketFieldEXTADDR16 final : public CRIOPacketField
{
public:
    explicit CRIOPacketFieldEXTADDR16(CRIOPacket* pOwner);
    bool ValidateValue(uint32_t& ulValue) override;
    bool HasOptions() override;
    void GetOptions(QString& strText) override;
    void SetValue(uint32_t ulValue, bool bNoNotify) override;
};

class CRIOPacketFieldEXTADDR32 final : public CRIOPacketField
{
public:
    explicit CRIOPacketFieldEXTADDR32(CRIOPacket* pOwner);
    bool ValidateValue(uint32_t& ulValue) override;
    bool HasOptions() override;
    void GetOptions(QString& strText) override;
    void SetValue(uint32_t ulValue, bool bNoNotify) override;
};

class CRIOPacketFieldXAMSBS final : public CRIOPacketField
{
public:
    explicit CRIOPacketFieldXAMSBS(CRIOPacket* pOwner);
    bool ValidateValue(uint32_t& ulValue) override;
    bool HasOptions() override;
    void GetOptions(QString& strText) override;
    void SetValue(uint32_t ulValue, bool bNoNotify) override;
};

// Config Offset: a change composes Register Address.
class CRIOPacketFieldCONFIGOFFSET final : public CRIOPacketField
{
public:
    explicit CRIOPacketFieldCONFIGOFFSET(CRIOPacket* pOwner);
    bool ValidateValue(uint32_t& ulValue) override;
    bool HasOptions() override;
    void GetOptions(QString& strText) override;
    void SetValue(uint32_t ulValue, bool bNoNotify) override;
};

// wdptr: part of both Address and Register Address; its pick list names the bytes for the Size.
class CRIOPacketFieldWDPTR final : public CRIOPacketField
{
public:
    explicit CRIOPacketFieldWDPTR(CRIOPacket* pOwner);
    bool ValidateValue(uint32_t& ulValue) override;
    bool HasOptions() override;
    void GetOptions(QString& strText) override;
    void SetValue(uint32_t ulValue, bool bNoNotify) override;
};

class CRIOPacketFieldEARLYCRC final : public CRIOPacketField
{
public:
    explicit CRIOPacketFieldEARLYCRC(CRIOPacket* pOwner);
    bool ValidateValue(uint32_t& ulValue) override;
    bool HasOptions() override;
    void GetOptions(QString& strText) override;
    bool HasToolTip() override;
    void GetToolTip(QString& strText) override;
};

// CRC: a value in range keeps the validity the CRC check gave it.
class CRIOPacketFieldCRC final : public CRIOPacketField
{
public:
    explicit CRIOPacketFieldCRC(CRIOPacket* pOwner);
    bool ValidateValue(uint32_t& ulValue) override;
    bool HasOptions() override;
    void GetOptions(QString& strText) override;
    bool HasToolTip() override;
    void GetToolTip(QString& strText) override;
};

// Data Size (bytes): the editing aid that sizes the data of streaming writes and responses.
class CRIOPacketFieldDATASIZE final : public CRIOPacketField
{
public:
    explicit CRIOPacketFieldDATASIZE(CRIOPacket* pOwner);
    bool ValidateValue(uint32_t& ulValue) override;
    bool HasOptions() override;
    void GetOptions(QString& strText) override;
    bool HasToolTip() override;
    void GetToolTip(QString& strText) override;
};

// Register Address: the editing aid of maintenance requests; splits into Config Offset and wdptr.
class CRIOPacketFieldREGADDRESS final : public CRIOPacketField
{
public:
    explicit CRIOPacketFieldREGADDRESS(CRIOPacket* pOwner);
    bool ValidateValue(uint32_t& ulValue) override;
    bool HasOptions() override;
    void GetOptions(QString& strText) override;
    bool HasToolTip() override;
    void GetToolTip(QString& strText) override;
    void SetValue(uint32_t ulValue, bool bNoNotify) override;
};

// The packet. Not copyable: the grid and the fields hold pointers into it.
class CRIOPacket
{
public:
    using LayoutCallback = void (*)(void* pArg);
    using FieldCallback = void (*)(void* pArg, uint32_t nFieldID);

    CRIOPacket();
    ~CRIOPacket();
    CRIOPacket(const CRIOPacket&) = delete;
    CRIOPacket& operator=(const CRIOPacket&) = delete;

    // The fields of the current layout, in wire order.
    int GetFieldCount() const;
    CRIOPacketField* GetField(int nIndex) const;
    // A field of the current list by its ID, or null when it isn't in the list at present.
    CRIOPacketField* FindField(uint32_t nFieldID) const;
    // The field object of an ID, in the list or not.
    CRIOPacketField* GetFieldObject(uint32_t nFieldID) const;

    // Sets FType and TT (with notification) and rebuilds the list.
    void SetTypeAndIDSize(uint32_t ulFType, uint32_t ulTT);
    // 34, 50 or 66 (other values are ignored); rebuilds the list.
    void SetAddressBits(uint32_t nBits);
    uint32_t GetAddressBits() const { return nAddressBits; }

    void SetLayoutCallback(void* pArg, LayoutCallback pfn);
    void SetFieldCallback(void* pArg, FieldCallback pfn);

    // The packed stream (nPacketBytes bytes); false when it is empty. Optional outputs: the bytes of
    // Data and Data2 together, the value of Data Size (0 when it isn't in the list), the mask stream.
    bool GetStream(std::vector<uint8_t>& bytes, uint32_t* pnDataBytes = nullptr,
                   uint32_t* pnDataSize = nullptr, std::vector<uint8_t>* pMask = nullptr) const;
    uint32_t GetPacketBytes() const { return nPacketBytes; }
    // The bytes of Data followed by those of Data2 (and the same of the masks); false if Data is
    // absent or has no width.
    bool GetData(std::vector<uint8_t>& bytes, std::vector<uint8_t>* pMask = nullptr) const;
    // The inverse: the block is split at the byte width of Data. pbMask may be null. False if Data
    // is absent.
    bool SetData(const uint8_t* pbBytes, const uint8_t* pbMask, uint32_t nCount);
    // Unpacks raw bytes into the fields of the current list, with notification off; the list is
    // not rebuilt (bring FType, TT and the rest to the right values first, or call it twice).
    // pnDataSize, if given, goes to Data Size; pbMask, if given, to the masks (else all ones).
    void LoadStream(const uint8_t* pbBytes, uint32_t nCount, const uint32_t* pnDataSize = nullptr,
                    const uint8_t* pbMask = nullptr);

    bool IsAutoCRC() const { return bAutoCRC; }
    // On: recomputes and stores both CRCs; off: checks them, marking a wrong one illegal.
    void SetAutoCRC(bool bAuto);
    // Computes the CRCs over the fields (ackID as zeros): stores them, or with bVerifyOnly only
    // marks each CRC field legal when it holds the right value. Doesn't repack the stream.
    void UpdateCRC(bool bVerifyOnly);
    // Packs the fields into the stream now (each notified change does it by itself).
    void PackStream();

    uint32_t GetFType() const;
    uint32_t GetTT() const;
    uint32_t GetSourceID() const;
    uint32_t GetDestID() const;
    // Whether the target answers this packet with a response.
    bool ExpectsResponse() const;

    // The CRC-CCITT (polynomial 0x1021, start 0xFFFF) of bytes, by this packet's table.
    uint16_t Crc(const uint8_t* pbBytes, uint32_t nCount) const;

    // Called by a field whose value was taken over with notification.
    void FieldChanged(CRIOPacketField* pField);

private:
    bool RebuildLayout();
    void SizeData();
    uint32_t InPacketBitsBefore(uint32_t nFieldID) const;
    bool InList(const CRIOPacketField* pField) const;

    uint32_t dwReserved = 0;
    uint32_t nPacketBytes = 0;
    uint8_t abValueStream[kRIOMaxPacketBytes] = {};
    uint8_t abMaskStream[kRIOMaxPacketBytes] = {};
    uint16_t awCrcTable[256] = {};
    void* pLayoutArg = nullptr;
    LayoutCallback pfnLayoutChanged = nullptr;
    void* pFieldArg = nullptr;
    FieldCallback pfnFieldChanged = nullptr;
    uint32_t nAddressBits = 34;
    std::unique_ptr<CRIOPacketField> apFields[kRIOFieldCount];
    std::vector<CRIOPacketField*> vecFields;
    bool bAutoCRC = true;
};

// Loads a raw packet into a packet and settles its layout from the bytes: FType, TT and Trans
// decide the classes, and where the class takes its data size from Data Size, the size that makes
// the layout as long as the bytes. The CRCs are checked, not recomputed (auto CRC is turned off);
// the editing aids (Address, Register Address) are composed from their pieces. True when the
// layout covers exactly the bytes given.
bool LoadPacketBytes(CRIOPacket& packet, const uint8_t* pbBytes, uint32_t nCount);

// The number of data bytes Size and wdptr stand for in requests and writes (1 to 256).
uint32_t RioSizeBytes(uint32_t ulSize, uint32_t ulWdptr);

// The register library's objects: a file's blocks, each block's register sets and registers, and
// each register's bit fields with the texts of their values. Inside the program bits are numbered
// as RapidIO numbers them: bit 0 is the most significant bit of the register.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>
#include <vector>

// A binary archive of the register objects: little-endian numbers, and strings as a length
// (one byte up to 254; else 0xFF and a 16-bit length; from 0xFFFF on 0xFF, 0xFFFF and a
// 32-bit length) followed by the UTF-8 bytes.
class CBinaryArchive
{
public:
    // An archive to write into.
    CBinaryArchive() = default;
    // An archive to read from.
    explicit CBinaryArchive(const QByteArray& data) : m_Data(data), m_bStoring(false) {}

    bool IsStoring() const { return m_bStoring; }
    // A read ran past the end or met a value out of range; everything read after is zero.
    bool HasFailed() const { return m_bFailed; }
    void SetFailed() { m_bFailed = true; }
    // Bytes left to read.
    qsizetype Remaining() const { return m_Data.size() - m_iPos; }
    const QByteArray& Data() const { return m_Data; }

    void Write8(uint8_t uValue);
    void Write32(uint32_t uValue);
    void Write64(uint64_t uValue);
    void WriteString(const QString& strValue);
    uint8_t Read8();
    uint32_t Read32();
    uint64_t Read64();
    QString ReadString();

private:
    bool Take(qsizetype nBytes, const char** ppData);

    QByteArray m_Data;
    qsizetype m_iPos = 0;
    bool m_bStoring = true;
    bool m_bFailed = false;
};

enum EBitAccess
{
    eAccessReadOnly = 0,
    eAccessReadWrite = 1,
};

// Colour of a field that has none of its own.
constexpr uint32_t kNoFieldColor = 0xFFFFFFFF;

class CBitField
{
public:
    QString Name;
    int iNumBits = 0;
    int iFirstBit = 0; // the smaller bit number (RapidIO numbering)
    int iLastBit = 0;  // the larger one
    int iAccess = eAccessReadOnly;
    uint32_t uColor = kNoFieldColor; // ARGB
    QStringList Values;              // "number=text" entries

    void AddValue(const QString& strText) { Values.append(strText); }
    // The text behind the "=" of the first entry whose number equals the value; empty if none.
    QString GetValueText(uint64_t ulValue) const;
    // The field's bits in a register of iRegisterBits bits.
    uint32_t GetMask(int iRegisterBits) const;
    // The field's value in a register value.
    uint32_t Extract(uint32_t uRegisterValue, int iRegisterBits) const;

    void Serialize(CBinaryArchive& archive);
};

class CRegister
{
public:
    static constexpr int kMaxBitFields = 32;

    CRegister() = default;
    CRegister(const CRegister& other);
    CRegister& operator=(const CRegister& other);

    bool bMSB_Hi = false;     // copied from the block
    bool bMemSpaceIO = false; // copied from the block
    QString Name;
    uint32_t uByteOffset = 0;
    uint64_t uLocalAddr = 0; // I/O space only
    uint64_t uRIOAddr = 0;
    uint32_t eDisplayBase = 16; // 2, 10 or 16

    int GetNumBits() const { return iNumBits; }
    // Accepts 8, 16, 24 and 32; any other width leaves the old one.
    void SetNumBits(int iBits);
    int GetNumBitFields() const { return static_cast<int>(BitFields.size()); }
    // Adds a field; false when the register has 32 already.
    bool AddBitField(std::unique_ptr<CBitField> pField);
    // The field at a position, or null.
    CBitField* GetBitField(int i) const;

    void Serialize(CBinaryArchive& archive);

private:
    std::vector<std::unique_ptr<CBitField>> BitFields;
    int iNumBits = 32;
};

struct RegisterSetInfo
{
    QString Name;
    uint32_t uOffset = 0; // added to each register's offset
};

class CRegisterBlock
{
public:
    CRegisterBlock() = default;
    CRegisterBlock(const CRegisterBlock& other);
    CRegisterBlock& operator=(const CRegisterBlock& other);

    QString Name; // the key by which TOC entries find the block
    int NumRegisterBits = 32;
    bool bMSB_Hi = false;     // bit numbers in the file count from the least significant bit
    bool bMemSpaceIO = false; // registers lie in I/O space

    void AddSet(const RegisterSetInfo& set) { RegisterSets.push_back(set); }
    void AddRegister(std::unique_ptr<CRegister> pRegister) { Registers.push_back(std::move(pRegister)); }

    int GetNumSets() const { return static_cast<int>(RegisterSets.size()); }
    // The set at a position, or null.
    const RegisterSetInfo* GetSet(int i) const;
    const RegisterSetInfo* GetFirstSet();
    const RegisterSetInfo* GetNextSet();
    int GetNumRegisters() const { return static_cast<int>(Registers.size()); }
    // The register at a position, or null.
    CRegister* GetRegister(int i) const;
    CRegister* GetFirstRegister();
    CRegister* GetNextRegister();

    void Serialize(CBinaryArchive& archive);

private:
    std::vector<RegisterSetInfo> RegisterSets;
    std::vector<std::unique_ptr<CRegister>> Registers;
    int m_iSetCursor = -1;
    int m_iRegisterCursor = -1;
};

// What reading a register file's text found.
enum class ERegisterFileRead
{
    Ok,
    ParseError, // not well-formed XML
    BadVersion, // wrong root or a version other than 1.3
    BadContent, // a required element is missing or a value is out of range
};

// The blocks of one register file, kept by the cache under a device and vendor ID.
class CRegisterFileInfo
{
public:
    uint16_t DeviceID = 0;
    uint16_t VendorID = 0;
    QString Name; // base name of the file read

    // Reads the blocks from a file's text; on anything but Ok, strReason says what was wrong.
    ERegisterFileRead ReadXml(const QByteArray& text, QString* pstrReason);

    // The first block of exactly that name, or null.
    CRegisterBlock* FindBlock(const QString& strName) const;
    int GetNumBlocks() const { return static_cast<int>(Blocks.size()); }
    CRegisterBlock* GetBlock(int i) const;
    CRegisterBlock* GetFirstBlock();
    CRegisterBlock* GetNextBlock();

private:
    std::vector<std::unique_ptr<CRegisterBlock>> Blocks;
    int m_iBlockCursor = -1;
};

// A device information file (.nvi): what a device type is (icon, common name, PE type) and the
// table of contents of the register files that describe it. A PE whose identity has such a file
// counts as known; others fall back on the generic file of a switch or of an endpoint.
#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>
#include <vector>

enum ETOCType
{
    eTOCNone = 0,
    eTOCRegister = 1,
    eTOCI2C = 2,
};

class CDeviceInfo
{
public:
    static constexpr int kMaxTOCEntries = 200;
    // Ranks of a device's files, tried from the highest.
    static constexpr int kMaxRank = 9;

    // True if a known device's files are there: the .nvi of the highest rank present, with an
    // .envr (enciphered, preferred) or .nvr of the same rank.
    static bool DeviceFilesExist(uint16_t wDevice, uint16_t wVendor, bool* pbEnciphered = nullptr,
                                 int* piRank = nullptr);
    // "<dir><rank>_<device><vendor>" without extension, in upper-case hexadecimal.
    static QString DeviceFileBase(int iRank, uint16_t wDevice, uint16_t wVendor);
    // The generic base name of a switch ("0_FFFFFFFE") or of anything else ("0_FFFFFFFF").
    static QString GenericFileBase(bool bSwitch);

    // Reads one file; shows what is wrong and returns false on failure.
    bool Load(const QString& strPath);
    // Reads the file of rank 1, else of rank 0, else the generic one for a switch or an endpoint.
    bool LoadForDevice(uint16_t wDevice, uint16_t wVendor, bool bSwitch);

    int GetNumTOCEntries() const { return iNumTOCEntries; }
    // The base name of a register file; empty when out of range.
    QString GetTOCEntry(int i) const;
    // eTOCRegister or eTOCI2C; 0 when out of range.
    int GetTOCType(int i) const;
    QString GetBitmapFile() const { return BitmapFile; }
    uint32_t GetPEType() const { return uPEType; }
    QString GetCommonName() const { return CommonName; }
    bool GetEnhancedAvail() const { return bEnhancedAvail; }
    // Text of the comment lines at the head of the file, one line each.
    QString GetComments() const { return Comments; }
    // Why the last load failed, as shown to the user.
    QString LastError() const { return m_strError; }

private:
    bool Fail(const QString& strMessage);

    QString Comments;
    int iNumTOCEntries = 0;
    bool bEnhancedAvail = false;
    std::vector<QString> TOCEntries;
    std::vector<int> TOCTypes;
    QString BitmapFile;
    uint32_t uPEType = 0;
    QString CommonName;
    QString m_strError;
};

// Type flags from a type text: "Unknown" (16), "Null" (32), or any of the capital letters
// S (switch), B (bridge), M (memory), P (processor) anywhere in the text. Case matters.
uint32_t PETypeFromText(const QString& strText);
// The type text as files write it: "Unknown", "Null", or the letters in the order P, B, M, S.
QString PETypeToText(uint32_t uType);

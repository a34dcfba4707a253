// The register files in use, read on demand once per device type and kept for the life of the
// map, so that the watch timer and the report writer never parse a file.
#pragma once

#include "RegisterInfo.h"

#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

class CPEList;

class CRegisterInfoCache
{
public:
    // Identity pairs under which the generic files are kept.
    static constexpr uint16_t kGenericSwitchDevice = 0xFFFE;
    static constexpr uint16_t kGenericOtherDevice = 0xFFFF;
    static constexpr uint16_t kGenericVendor = 0xFFFF;

    // The register file information of a device, reading its file if need be: the device's own
    // file when it is known, else the generic file of a switch or of anything else. Null on
    // failure; a failed read isn't cached, so the next call tries the file again.
    CRegisterFileInfo* GetFileInfo(uint16_t wDevice, uint16_t wVendor, bool bSwitch);
    // Empties the cache, then reads the file of each PE that is neither unknown nor Null.
    void Rebuild(const CPEList& peList);
    // Deletes all entries; objects handed out before are gone.
    void Clear() { m_Entries.clear(); }
    int GetCount() const { return static_cast<int>(m_Entries.size()); }
    // Why the last GetFileInfo failed (also when nothing was shown to the user).
    QString LastError() const { return m_strError; }

    // Reads one register file (deciphering an .envr) into a new object. Failures of the file
    // itself and of its XML are shown to the user; missing elements only go to pstrError.
    static std::unique_ptr<CRegisterFileInfo> ReadFile(const QString& strPath, bool bEnciphered,
                                                       QString* pstrError);

private:
    std::vector<std::unique_ptr<CRegisterFileInfo>> m_Entries;
    QString m_strError;
};

// The one cache of the program, made on first use.
CRegisterInfoCache& GetRegisterInfoCache();

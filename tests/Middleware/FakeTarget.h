// A fake RapidIO device behind the middleware's transport table: a sparse register space that
// records every access and plays the standard registers whose behaviour the HAL relies on (the
// host lock, the route configuration registers in the small or large form, write-1-to-clear port
// error bits). Device-specific behaviour comes from per-test hooks on single words. Data
// transactions (NREAD/NWRITE) reach a byte-addressed space, and server memory a word space.
#pragma once

#include "NVXLTransport.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace nvtest
{
// One maintenance transaction as the transport saw it.
struct SAccess
{
    bool bWrite = false;
    uint8_t uchLocalPort = 0;
    uint32_t ulDestID = 0;
    uint8_t uchHopCount = 0;
    uint32_t ulOffset = 0;
    uint32_t ulWordCount = 0;
    uint32_t ulWordSize = 0;
    uint32_t ulStride = 0;
    std::vector<uint32_t> aulWords; // written words, or the words read
    uint32_t bLargeTransport = 0;
    uint32_t ulPriority = 0;
};

// One data transaction or server memory access.
struct SDataAccess
{
    enum EKind
    {
        eDataRead,
        eDataWrite,
        eMemoryRead,
        eMemoryWrite
    } eKind = eDataRead;
    uint32_t ulDestID = 0; // data transactions only
    uint32_t ulAddress = 0;
    uint32_t ulXferType = 0;         // data transactions only
    uint32_t ulSize = 0;             // bytes of a data transaction, words of a memory access
    std::vector<uint32_t> aulValues; // bytes of a data transaction, words of a memory access
};

class CFakeTarget
{
public:
    CFakeTarget();
    ~CFakeTarget();
    CFakeTarget(const CFakeTarget&) = delete;
    CFakeTarget& operator=(const CFakeTarget&) = delete;

    // Installs this target as the middleware's transport.
    void Install();

    // Plain register contents (the lock register starts free).
    void SetReg(uint32_t ulOffset, uint32_t ulValue) { m_mapRegs[ulOffset] = ulValue; }
    uint32_t Reg(uint32_t ulOffset) const;

    // Plays a standard routing table of this many IDs through 0x70/0x74, in the large form (four
    // ports a word, select bit 31 on writes) or the small one. Unlisted IDs route to 255.
    void SetRouteTable(std::vector<uint8_t> auchPorts, bool bLargeForm);
    const std::vector<uint8_t>& RouteTable() const { return m_auchRoutes; }

    // A port error status register: a write clears the written error bits that are write-1-to-clear;
    // the sticky bits come back at once.
    void SetErrorStatusRegister(uint32_t ulOffset, uint32_t ulValue, uint32_t ulStickyBits);

    // Accesses to this offset fail with the status.
    void FailReads(uint32_t ulOffset, NVXL_STATUS nStatus) { m_mapFailReads[ulOffset] = nStatus; }
    void FailWrites(uint32_t ulOffset, NVXL_STATUS nStatus) { m_mapFailWrites[ulOffset] = nStatus; }

    // Called after every write has taken effect (another host can act here).
    std::function<void(const SAccess&)> m_fnAfterWrite;
    // Per-word device behaviour: a hook that returns true has answered the read (or taken the
    // write) of that word itself, and the register space is left alone.
    std::function<bool(uint32_t ulOffset, uint32_t& ulValue)> m_fnReadWord;
    std::function<bool(uint32_t ulOffset, uint32_t ulValue)> m_fnWriteWord;

    // The space of data transactions, one byte per address, and server memory, one word per address.
    std::map<uint32_t, uint8_t> m_mapDataBytes;
    std::map<uint32_t, uint32_t> m_mapMemoryWords;
    std::vector<SDataAccess> m_aDataAccesses;

    // The answer of GetRioErrors.
    NVXL_STATUS m_nRioErrorsStatus = NVXL_OK;
    std::string m_strRioErrors;

    std::vector<SAccess> m_aAccesses;
    std::vector<std::string> m_astrDebug;
    // Everything the middleware wrote to its debug log, in one string.
    std::string DebugText() const;
    size_t NumWrites() const;

    // Writes a value to the lock register as another host would, with the register's semantics.
    void WriteLockAsOtherHost(uint16_t wValue) { WriteWord(0x68, wValue); }

private:
    static NVXL_STATUS MaintRead(void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID,
                                 uint8_t uchHopCount, uint32_t ulOffset, void* pvData, uint32_t ulWordCount,
                                 uint32_t ulWordSize, uint32_t ulStride, uint32_t bLargeTransport,
                                 uint32_t ulPriority);
    static NVXL_STATUS MaintWrite(void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID,
                                  uint8_t uchHopCount, uint32_t ulOffset, const void* pvData,
                                  uint32_t ulWordCount, uint32_t ulWordSize, uint32_t ulStride,
                                  uint32_t bLargeTransport, uint32_t ulPriority);
    static NVXL_STATUS DataRead(void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID,
                                uint32_t ulRioAddressHi, uint32_t ulRioAddressLo, uint32_t ulXferType,
                                uint32_t ulPriority, void* pvData, uint32_t ulByteCount,
                                uint32_t bLargeTransport);
    static NVXL_STATUS DataWrite(void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID,
                                 uint32_t ulRioAddressHi, uint32_t ulRioAddressLo, uint32_t ulXferType,
                                 uint32_t ulPriority, const void* pvData, uint32_t ulByteCount,
                                 uint32_t bLargeTransport);
    static NVXL_STATUS MemoryRead(void* pvContext, uint32_t dwAddressHi, uint32_t dwAddressLo,
                                  uint32_t dwWordCount, uint32_t dwWordSize, void* pvData);
    static NVXL_STATUS MemoryWrite(void* pvContext, uint32_t dwAddressHi, uint32_t dwAddressLo,
                                   uint32_t dwWordCount, uint32_t dwWordSize, const void* pvData);
    static NVXL_STATUS GetRioErrors(void* pvContext, char* pszText, uint32_t ulSize);
    static void DebugOutput(void* pvContext, const char* pszText);

    uint32_t ReadWord(uint32_t ulOffset);
    void WriteWord(uint32_t ulOffset, uint32_t ulValue);

    std::map<uint32_t, uint32_t> m_mapRegs;
    std::map<uint32_t, uint32_t> m_mapStickyBits;
    std::map<uint32_t, NVXL_STATUS> m_mapFailReads;
    std::map<uint32_t, NVXL_STATUS> m_mapFailWrites;
    std::vector<uint8_t> m_auchRoutes;
    bool m_bLargeRouteForm = false;
    uint32_t m_ulRouteSelect = 0;
};
} // namespace nvtest

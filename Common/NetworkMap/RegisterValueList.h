// Register values kept per PE: what was last read from, written to, or loaded for the device.
// Maintenance registers are keyed by offset, I/O space words by their two addresses; the two
// kinds never see each other in a look-up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

struct SRegisterValue
{
    uint32_t uOffset = 0;    // maintenance offset (maintenance registers)
    uint64_t uLocalAddr = 0; // local address (I/O space words)
    uint64_t uRIOAddr = 0;   // RapidIO address (I/O space words)
    bool bMemSpaceIO = false;
    uint32_t uValue = 0;
    bool bFlag = false; // the value hasn't been confirmed by a read of the hardware
};

class CRegisterValueList
{
public:
    // The maintenance entry at an offset, or null.
    SRegisterValue* Find(uint32_t uOffset);
    const SRegisterValue* Find(uint32_t uOffset) const;
    // The I/O space entry at a pair of addresses, or null.
    SRegisterValue* FindIO(uint64_t uLocalAddr, uint64_t uRIOAddr);
    const SRegisterValue* FindIO(uint64_t uLocalAddr, uint64_t uRIOAddr) const;
    // Replaces or adds the value of a maintenance register.
    void SetValue(uint32_t uOffset, uint32_t uValue, bool bFlag);
    // Replaces or adds the value of an I/O space word.
    void SetIOValue(uint64_t uLocalAddr, uint64_t uRIOAddr, uint32_t uValue, bool bFlag);
    // Appends an entry as it stands (readers of files that may repeat a key keep the first).
    void Append(const SRegisterValue& value) { m_Values.push_back(value); }

    int GetCount() const { return static_cast<int>(m_Values.size()); }
    bool IsEmpty() const { return m_Values.empty(); }
    const SRegisterValue& GetAt(int i) const { return m_Values[static_cast<size_t>(i)]; }
    void Clear() { m_Values.clear(); }

private:
    std::vector<SRegisterValue> m_Values;
};

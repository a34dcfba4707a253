// An ordered list of owned network records with a built-in read cursor. Position and node number
// are different things (a map read from a file drops deleted PEs but keeps the others' numbers),
// so the two look-ups stay separate.
#pragma once

#include "Primitives.h"

#include <memory>
#include <vector>

template <typename T> class CPrimitiveList
{
public:
    CPrimitiveList() = default;
    CPrimitiveList(const CPrimitiveList& other) { CopyFrom(other); }
    CPrimitiveList(CPrimitiveList&&) noexcept = default;
    // Deletes the old content, then deep-copies every record.
    CPrimitiveList& operator=(const CPrimitiveList& other)
    {
        if (this != &other)
        {
            CopyFrom(other);
        }
        return *this;
    }
    CPrimitiveList& operator=(CPrimitiveList&&) noexcept = default;

    // Appends a record; the list takes ownership. Returns the record.
    T* AddPrimitive(std::unique_ptr<T> pRecord)
    {
        m_Records.push_back(std::move(pRecord));
        return m_Records.back().get();
    }
    // The record at a position, or null when out of range.
    T* GetByIndex(int i) const
    {
        return i >= 0 && i < GetCount() ? m_Records[static_cast<size_t>(i)].get() : nullptr;
    }
    // The first record with that node number, or null.
    T* GetByNodeNumber(int iNodeNumber) const
    {
        for (const auto& pRecord : m_Records)
        {
            if (pRecord->iNodeNumber == iNodeNumber)
            {
                return pRecord.get();
            }
        }
        return nullptr;
    }
    // Position of a record, or -1.
    int GetIndexOf(const T* pRecord) const
    {
        for (size_t i = 0; i < m_Records.size(); ++i)
        {
            if (m_Records[i].get() == pRecord)
            {
                return static_cast<int>(i);
            }
        }
        return -1;
    }
    int GetCount() const { return static_cast<int>(m_Records.size()); }
    bool IsEmpty() const { return m_Records.empty(); }
    void RemoveAll()
    {
        m_Records.clear();
        m_iCursor = -1;
    }

    // Cursor walk over all records, deleted ones included; null at the end.
    T* GetFirst()
    {
        m_iCursor = -1;
        return GetNext();
    }
    T* GetNext()
    {
        if (m_iCursor + 1 >= GetCount())
        {
            m_iCursor = GetCount();
            return nullptr;
        }
        return m_Records[static_cast<size_t>(++m_iCursor)].get();
    }

    // Range access for walks that don't need the cursor.
    auto begin() const { return m_Records.begin(); }
    auto end() const { return m_Records.end(); }

private:
    void CopyFrom(const CPrimitiveList& other)
    {
        m_Records.clear();
        m_Records.reserve(other.m_Records.size());
        for (const auto& pRecord : other.m_Records)
        {
            m_Records.push_back(std::make_unique<T>(*pRecord));
        }
        m_iCursor = -1;
    }

    std::vector<std::unique_ptr<T>> m_Records;
    int m_iCursor = -1;
};

class CConnectionList : public CPrimitiveList<CConnectionPrimitive>
{
};

class CPEList : public CPrimitiveList<CPEPrimitive>
{
public:
    // The look-ups below pass over deleted PEs.
    // The first PE, in list order, whose primary ID or one of whose VDIDs is the ID; each PE's
    // primary ID is tried before its VDIDs. Null if none.
    CPEPrimitive* GetPEByDestID(uint16_t wDestID) const;
    // The first PE with exactly that unique ID, or null.
    CPEPrimitive* GetPEByUniqueID(const QString& strUniqueID) const;
    // The first PE whose host link is there and open: the PE every access starts from.
    CPEPrimitive* GetHostPE() const;
    // The same, for one server address and connection type.
    CPEPrimitive* GetHostPE(uint32_t uAddress, int eConnectionType) const;
    // The PEs not deleted, by node number (list order among equal numbers), as the browser lists
    // them.
    std::vector<CPEPrimitive*> LivePEsInNodeOrder() const;
};

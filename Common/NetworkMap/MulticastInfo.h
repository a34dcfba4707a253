// What a switch can do for multicast and the masks the map holds for it. Iteration goes through
// cursors kept in the object, as the editors and the map writer walk masks, then the current
// mask's IDs and ports.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

struct SMulticastMask
{
    int MaskID = 0;
    std::vector<uint16_t> DestIDs; // destination IDs associated with the mask
    std::vector<uint8_t> Ports;    // ports the mask copies to
};

class CMulticastInfo
{
public:
    bool bCapsValid = false; // the capabilities below were read from the device
    bool bSupportsMulticast = false;
    bool bSupportsSimpleAssociation = false;
    bool bSupportsBlockAssociation = false;
    bool bSupportsPerPortAssociation = false;
    bool bNeedsRoutes = false; // multicast IDs also need routes of type 4 in the routing tables
    int iMaxAssociationsPerMask = 0;
    int iMaxMasks = 0;

    // Appends a mask and returns its position.
    int AddMask(int iMaskID);
    // Adds an ID or a port to the mask at a position: false when the position is out of range,
    // true (and nothing added) when the value is already there.
    bool AddDestID(int iMaskPosition, uint16_t wDestID);
    bool AddPort(int iMaskPosition, uint8_t uchPort);
    // Position of the mask with that ID, or -1.
    int FindMask(int iMaskID) const;
    // Removes the mask at a position; false when out of range.
    bool RemoveMaskAt(int iMaskPosition);
    void ClearMasks();

    int GetNumMasks() const { return static_cast<int>(m_Masks.size()); }
    // The mask at a position, or null when out of range.
    const SMulticastMask* GetMask(int iMaskPosition) const;

    // Cursor walk: each returns the mask ID, destination ID or port, or -1 at the end. The ID and
    // port walks are over the mask that the mask walk stands on.
    int GetFirstMask();
    int GetNextMask();
    int GetFirstDestID();
    int GetNextDestID();
    int GetFirstPort();
    int GetNextPort();

private:
    std::vector<SMulticastMask> m_Masks;
    int m_iMaskCursor = -1;
    int m_iDestIDCursor = -1;
    int m_iPortCursor = -1;
};

// A switch's multicast masks: editing them (CMulticastEditor, the logic behind the configuration
// window), and writing them from the map to the hardware, for one switch or every switch of the
// map that has masks. Only the per-port association model is served; a switch whose stored
// capabilities say otherwise is refused with the reason, and nothing is written to it.
#pragma once

#include "NetworkDocument.h"

#include <QString>
#include <QStringList>

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

// Whether the masks of the PE may go to its hardware, by the capabilities stored in the map: shows
// why not (no capabilities stored, the simple or block association model, no per-port
// association) and returns false.
bool CheckMulticastSupport(const CPEPrimitive& pe);

// Reaches the switch, deletes all ports of every mask up to the device's number of masks, then
// for each of the PE's masks in list order adds its ports and associates each of its destination
// IDs with it for every ingress port of the switch. The first failure is shown and ends the
// download; what was written stays. False when refused or ended on a failure.
bool DownloadMulticast(const CNetworkDocument& map, const CPEPrimitive& pe);

// What a download of all switches did.
struct SMulticastDownload
{
    int nSwitches = 0; // switches with valid capabilities and at least one mask
    int nDone = 0;     // of those, downloaded without a failure
};

// DownloadMulticast for each switch with valid multicast capabilities and masks, in map order,
// under one working window; Cancel stops between switches, leaving what was written.
SMulticastDownload DownloadAllMulticast(const CNetworkDocument& map);

// The edit of one switch's masks, without its widgets. It works on a copy of the PE's multicast
// data: the mask shown is held apart (its IDs in the order added and its ticked ports) and goes
// back into the copy when another mask is chosen or the edit is accepted. A mask left with neither
// IDs nor ports drops out of the copy.
class CMulticastEditor
{
public:
    // One row of the ports list: a port with a link on the map.
    struct SPortRow
    {
        int iPort = 0;
        QString strText; // "Port %d\tConnected" or "Port %d\t(Not Connected)"
    };

    // bConnected: a target is connected, so accepting may offer to update the switch.
    CMulticastEditor(CNetworkDocument& map, CPEPrimitive& pe, bool bConnected);

    // "<name> - Multicast Configuration Dialog", the name being the PE's common name or, without
    // one, its type.
    QString Title() const;
    // A row for each port that has a link: "Connected" when a real PE is at the far end, "(Not
    // Connected)" when an empty or unknown record is. A port with no link has no row, so a row's
    // position is not its port number.
    std::vector<SPortRow> PortRows() const;
    // "Mask %d" for each mask the device has.
    QStringList MaskNames() const;

    // Puts the mask shown back into the copy and shows another (0 up to the device's masks less
    // one). False for a mask out of range.
    bool SelectMask(int iMask);
    // The mask shown, or -1 on a device that reports no masks.
    int CurrentMask() const { return m_iCurrentMask; }

    // The number base of the ID list (2, 10 or 16); the list is shown anew in it.
    void SetNumberBase(int nBase);
    int NumberBase() const { return m_nBase; }
    // The IDs of the mask shown, in the order added, as texts in the number base.
    QStringList IDTexts() const;
    const std::vector<uint16_t>& IDs() const { return m_IDs; }

    // Whether a port is ticked in the mask shown, and ticking it. Ticks alone don't count as a
    // change to offer to the switch.
    bool IsPortTicked(int iPort) const;
    void TickPort(int iPort, bool bTicked);

    // Adds the ID a person typed to the mask shown. A text that isn't an ID of the network's width
    // shows "Invalid Destination ID." and returns false; a full list (the device's associations
    // per mask) shows "Unable to add destID to list". An ID that is there already is left alone.
    bool AddID(const QString& strText);
    // Removes the ID at a row of the list; false for a row out of range.
    bool RemoveID(int iRow);
    // Whether IDs were added or removed since the edit began or the switch was last updated.
    bool Changed() const { return m_bChanged; }

    // Puts the mask shown back into the copy: it is taken out, and added anew at the end of the
    // list with its IDs and ticked ports if it has any.
    void SaveCurrentMask();
    // The copy as it stands (the mask shown as last saved).
    const CMulticastInfo& Copy() const { return m_copy; }

    // Writes the copy to the switch: all-ones routes to it, every mask of the device emptied, the
    // copy's masks written, the copy stored into the PE and, on a device that needs them, the
    // multicast routes added to the map's tables and the switch's. The first failure is shown and
    // ends the update, leaving written what was written. Clears the change mark on success.
    bool Update();
    // The person pressed OK: saves the mask shown; when IDs changed and a target is connected,
    // asks "Do you want to update the PE?" and on Yes updates the switch; then stores the copy into
    // the PE whatever the update did.
    void Accept();

private:
    void ShowMask(int iMask);
    bool AddMulticastRoutes(uint8_t uchHopCount);

    CNetworkDocument& m_map;
    CPEPrimitive& m_pe;
    bool m_bConnected;
    CMulticastInfo m_copy;
    int m_iCurrentMask = -1;
    std::vector<uint16_t> m_IDs;
    std::array<bool, kMaxPorts> m_abTicked{};
    int m_nBase;
    int m_iIDBits;
    bool m_bChanged = false;
};

// The edit of a switch's masks (the PE pop-up's Multicast > Configure..., and the network
// browser's multicast item). From the map, with a target connected and no capabilities stored,
// the capabilities are read from the switch first (bFetchCaps; the browser doesn't). A switch
// that may not be edited is refused with the reason. fnDialog shows the editor and returns true
// when the person pressed OK (having called Accept). True when the map changed: the edit was
// accepted, or capabilities were read.
bool EditMulticast(CNetworkDocument& map, CPEPrimitive& pe, bool bConnected, bool bFetchCaps,
                   const std::function<bool(CMulticastEditor&)>& fnDialog);

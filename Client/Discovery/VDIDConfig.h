// Virtual destination IDs (VDIDs) of one PE: the extra IDs a PE answers to, through secondary
// destination ID registers or by accepting every ID routed to it. CVDIDConfig is the logic behind
// the configuration window and the command line: it keeps a copy of the PE's VDID block, offers
// the modes the device allows, reads the IDs a person types, checks them against the rest of the
// map, chooses free IDs, and writes the copy back whole. UpdatePEVDIDs then takes the PE's VDIDs
// to the hardware: the secondary ID registers, and the routes that bring each VDID to the PE.
#pragma once

#include "NetworkDocument.h"
#include "Route.h"

#include <QString>

#include <array>
#include <cstdint>
#include <vector>

// Bits of the PE's VDID mode word and capability flags.
constexpr uint16_t kVDIDSecondary = 0x0001; // secondary destination ID registers
constexpr uint16_t kVDIDAcceptAll = 0x0002; // the device consumes every ID routed to it
constexpr uint16_t kVDIDAssigned = 0x8000;  // the IDs were chosen by the program, not typed
// The most VDIDs a PE keeps of each ID width.
constexpr int kMaxVDIDsPerWidth = 2;

// The VDID fields of a PE, as one block.
struct SVDIDBlock
{
    uint16_t wCaps = 0;         // capability flags (kVDIDSecondary, kVDIDAcceptAll)
    uint16_t wNumSecondary = 0; // secondary ID registers the device offers
    uint16_t wMode = 0;         // mode word (kVDIDSecondary, kVDIDAcceptAll, kVDIDAssigned)
    uint16_t wNumShort = 0;     // valid 8-bit VDIDs
    uint16_t wNumLong = 0;      // valid 16-bit VDIDs
    std::array<uint16_t, 2> shortIDs{};
    std::array<uint16_t, 2> longIDs{};

    static SVDIDBlock Of(const CPEPrimitive& pe);
    void WriteTo(CPEPrimitive& pe) const;
};

// The three choices of mode.
enum class EVDIDMode
{
    eDisabled,
    eSecondary,
    eAcceptAll,
};

class CVDIDConfig
{
public:
    // A configuration of pe on a map whose PEs are PEs; bLong: the network uses 16-bit IDs.
    CVDIDConfig(const CPEPrimitive& pe, const CPEList& PEs, bool bLong);

    // Which modes the device allows: secondary IDs when it has the registers; accept-all when it
    // says it can, and always on a switch, which consumes any packet whose hop count runs out.
    bool SecondaryAllowed() const;
    bool AcceptAllAllowed() const;
    // The choice the mode word makes.
    EVDIDMode Mode() const;
    // Picks a mode: sets the mode word and the number of VDIDs it allows.
    void ChooseMode(EVDIDMode eMode);
    // VDIDs allowed in the present mode (0 to 2).
    int MaxVDIDs() const { return m_nMaxVDIDs; }
    // "%d Virtual Destination IDs supported" for the present mode; empty when disabled.
    QString SupportText() const;
    // Whether the ID field and the automatic choice are on.
    bool IDsEnabled() const { return Mode() != EVDIDMode::eDisabled; }

    // The copy's VDIDs of the network's width, joined by commas ("%04Xh" or "%02Xh").
    QString IDText() const;
    // Fills the places the mode allows with unused IDs; places that hold an ID keep it. Shows
    // "Could not find enough unused IDs in the network." and returns false when it runs out.
    bool ChooseAutomatically();
    // Reads the typed IDs into the copy and checks them against the other PEs, showing what is
    // wrong. True when the copy may be written back; false keeps the operation open.
    bool Accept(const QString& strIDs);
    // Writes the copy back to the PE, whole.
    void WriteTo(CPEPrimitive& pe) const { m_block.WriteTo(pe); }

    const SVDIDBlock& Block() const { return m_block; }
    // The IDs of the network's width in the copy.
    int Count() const;
    uint16_t ID(int i) const;

private:
    bool IsSwitch() const;
    // The primary ID of a PE (when it uses one) and its VDIDs of the network's width.
    std::vector<uint16_t> IDsOf(const CPEPrimitive& pe) const;
    std::vector<uint16_t> OwnIDs() const;
    void SetCount(int nCount);
    void SetID(int i, uint16_t wID);

    const CPEPrimitive& m_pe;
    const CPEList& m_PEs;
    bool m_bLong;
    SVDIDBlock m_block;
    int m_nMaxVDIDs = 0;
};

// Takes a PE's VDIDs to the hardware: each one into a secondary ID register (secondary mode),
// and, in either mode, a route for it from the host to the PE along the shortest path with the
// host's ID routed back the same way; the map's tables get the same entries. Shows what went
// wrong and returns its status; an update that ends leaves the hardware partly changed.
int32_t UpdatePEVDIDs(CNetworkDocument& map, CPEPrimitive& pe);

// After a PE's VDIDs changed on a map connected to a target: asks "Do you want to update the PE and
// routing tables based upon your changes to the VDID configuration?" and on Yes updates the PE.
// True when the update ran and succeeded.
bool OfferPEVDIDUpdate(CNetworkDocument& map, CPEPrimitive& pe);

// The packet generator tool as the window and the command line use it: the packet list with its
// file, and "Send Packet" with its checks, the PGC sequence and the decision whether what the end
// port caught is a copy of the packet or a response to it. The packet in hand belongs to the
// caller (the grid owns it in the window).
#pragma once

#include "PacketGen.h"

#include <QString>
#include <QStringList>

#include <array>
#include <vector>

class CRIOPacket;

// The packet list's line of the packet's stream ("" for an empty stream).
QString PacketStreamLine(const CRIOPacket& packet);

// Finds where a captured packet ends: the capture holds the packet's bytes and zeros after them,
// and RapidIO doesn't carry the length, so the packet is laid out by its own header (FType, TT,
// Trans) with each address size and data size the class allows until its CRC (and early CRC) check.
// On success *pPacket holds the packet's bytes; false when no layout checks.
bool MeasureCapturedPacket(const uint8_t* pBytes, uint32_t nBytes, std::vector<uint8_t>* pPacket);

// Loads a packet list line into a packet laid out for it: the layout its header gives, with the
// address and data size that make it as long as the line. The packet's CRCs stay as the line has
// them (automatic CRCs off). False when no layout has the line's length: the packet then has the
// header's layout with 34-bit addresses.
bool LoadPacketLine(CRIOPacket& packet, const std::vector<uint8_t>& bytes);

class CPacketGenerator
{
public:
    explicit CPacketGenerator(IGen2SwitchAccess& access) : m_pAccess(&access) {}

    // Re-targets the tool to another switch; the list stays.
    void SetAccess(IGen2SwitchAccess& access) { m_pAccess = &access; }
    SPacketGenSettings& Settings() { return m_settings; }
    const SPacketGenSettings& Settings() const { return m_settings; }
    CPacketList& List() { return m_list; }
    const CPacketList& List() const { return m_list; }
    // "Update CRC Automatically".
    bool AutoCRC() const { return m_bAutoCRC; }
    void SetAutoCRC(bool bAuto) { m_bAutoCRC = bAuto; }

    // "Add to Packet List", "Update Packet List" and "Edit" with the packet in hand.
    void AddToList(const CRIOPacket& packet);
    void UpdateList(const CRIOPacket& packet);
    bool EditLine(int nIndex, CRIOPacket& packet);

    // "Send Packet" with the packet in hand (null: none). Messages go to the user interface under
    // "Packet Generator". A response is loaded into the packet and added to the list.
    EPgcResult Send(CRIOPacket* pPacket);
    // After a send that captured: whether it was a copy of the packet sent, and the 300 bytes read.
    bool LastWasCopy() const { return m_bLastCopy; }
    const std::array<uint8_t, kPgcCaptureBytes>& LastCapture() const { return m_abCapture; }

    // "Open": reads a file and adds its lines, asking first whether to append to a list that isn't
    // empty (Cancel ends, No empties the list). False when nothing was read.
    bool OpenFile(const QString& strPath);
    // "Save": the lines to save. With lines selected the question whether to save them all is put
    // first; false on Cancel.
    bool LinesToSave(const std::vector<int>& selected, QStringList* pLines);
    // Writes lines to a file; false and the message on failure.
    bool SaveFile(const QString& strPath, const QStringList& lines);

private:
    void Message(const QString& strText, bool bError = true);

    IGen2SwitchAccess* m_pAccess;
    SPacketGenSettings m_settings;
    CPacketList m_list;
    bool m_bAutoCRC = true;
    bool m_bLastCopy = false;
    std::array<uint8_t, kPgcCaptureBytes> m_abCapture{};
};

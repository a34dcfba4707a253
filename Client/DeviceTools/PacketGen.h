// The packet generator of the IDT Gen2 switches: a list of raw packets, and the sending of one
// packet through the switch's packet generation and capture (PGC) registers, with the capture of
// what comes back. The window and norvanta-cli drive the same classes; every access to the
// switch goes through IGen2SwitchAccess.
#pragma once

#include "PacketGenAccess.h"

#include <QString>
#include <QStringList>

#include <array>
#include <cstdint>
#include <vector>

class CRIOPacket;

// The caption of every message of the generator.
extern const char* const kPacketGenCaption; // "Packet Generator"

// Number of bytes the capture of one packet reads: 75 words.
constexpr int kPgcCaptureBytes = 300;

// The packet list: display strings, each with a running number. nNextPacketID counts up from 0;
// nCurrentPacketID is the number of the entry the packet in hand came from, or -1.
class CPacketList
{
public:
    struct SEntry
    {
        QString strText;
        int nID = 0;
    };

    int Count() const { return static_cast<int>(m_entries.size()); }
    const SEntry& Entry(int nIndex) const { return m_entries[static_cast<size_t>(nIndex)]; }
    QStringList Texts() const;
    // The index of the entry with this number, or -1.
    int IndexOf(int nID) const;

    int NextPacketID() const { return m_nNextPacketID; }
    int CurrentPacketID() const { return m_nCurrentPacketID; }
    void SetCurrentPacketID(int nID) { m_nCurrentPacketID = nID; }

    // Appends a line with the next number; returns the number.
    int Append(const QString& strText);
    // "Add to Packet List": appends the line and makes it the current entry.
    int AddCurrent(const QString& strText);
    // "Update Packet List": false (nothing done) while there is no current entry; else the entry
    // with the current number gets the text in place, or is appended again when it is gone.
    bool UpdateCurrent(const QString& strText);
    // "Edit": the text of the line at nIndex, whose number becomes the current one; false when
    // no such line.
    bool Edit(int nIndex, QString* pstrText);
    // "Move Up", "Move Down": swaps with the neighbour, the numbers go with the lines; false at the
    // ends of the list.
    bool MoveUp(int nIndex);
    bool MoveDown(int nIndex);
    // "Delete": removes the line; the current entry is forgotten when it was this one. Returns the
    // index to select afterwards (the same index, or the last line), -1 for an empty list.
    int Delete(int nIndex);
    // Empties the list; the numbers go on counting.
    void Clear();

private:
    std::vector<SEntry> m_entries;
    int m_nNextPacketID = 0;
    int m_nCurrentPacketID = -1;
};

// The choices of the window. A port or flow of -1 is not chosen.
struct SPacketGenSettings
{
    int nScenario = 1;
    int nAddressBits = 34;
    int nFlow = -1; // "Flow Type": 0 to 7
    int nStartPort = -1;
    int nEndPort = -1;
    int nTestPort = -1; // scenario 2 only
};

// The texts of the "Flow Type" choice: "VC0 PRI 0 CRF 0" ... "VC0 PRI 3 CRF 1".
QStringList PacketGenFlowNames();

// Registers of the Gen2 PGC and the ports.
constexpr uint32_t kGen2DeviceReset = 0xF20300;
constexpr uint32_t kGen2DeviceControl = 0xF2000C;
constexpr uint32_t kGen2PgcMode = 0x10000000;
constexpr uint32_t kGen2PortOps = 0xF40004; // + 0x100 x port
constexpr uint32_t kGen2PortLoopback = 0x00200000;
constexpr uint32_t kGen2PortControl = 0x15C; // Port n Control CSR, + 0x20 x port
constexpr uint32_t kGen2PortDisable = 0x00800000;
constexpr uint32_t kGen2ReceptionComplete = 0x8000;
inline uint32_t PgcControl(int nPort)
{
    return 0x100100u + 0x10u * static_cast<uint32_t>(nPort);
}

// How a send through the PGC ended.
enum class EPgcResult
{
    Failed,   // a check or an access failed; its message has been shown
    Sent,     // the packet went and nothing was to be captured
    Captured, // the packet went and 300 bytes were read from the end port's capture
    TimedOut, // nothing arrived at the end port within a second
};

// The register sequence of one send, checks excluded: resets, routes, PGC set-up, the loading
// of the packet word by word, the wait for reception, the capture, and the undoing of the
// loop-back and of PGC mode. Messages go to the user interface under "Packet Generator".
class CPgcSender
{
public:
    explicit CPgcSender(IGen2SwitchAccess& access) : m_access(access) {}

    // Sends nBytes of a packet with the given source and destination IDs. With bCapture (the
    // packet expects a response) the end port's capture is read into *pCapture.
    EPgcResult Send(const SPacketGenSettings& settings, const uint8_t* pStream, uint32_t nBytes,
                    uint16_t wSrcID, uint16_t wDstID, bool bCapture,
                    std::array<uint8_t, kPgcCaptureBytes>* pCapture);

private:
    // Shows the message with the status's text and ends the send.
    EPgcResult Fail(const char* pszText, int32_t nStatus);
    void UndoLoopback(int nPort, uint32_t ulControl);

    IGen2SwitchAccess& m_access;
};

// The settings checks before a send, in order (connection excluded): ports and flow chosen and
// apart. Returns the message of the first that fails, or an empty text.
QString CheckPacketGenSettings(const SPacketGenSettings& settings);

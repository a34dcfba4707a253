// The lane grid of an IDT Gen2 switch: one row per lane of a chosen port, with the lane's port
// speed, transmitter drive (strength, pre- and post-cursor), receiver equaliser (DFE on or off and
// taps 0 to 4), 10b loop-back and error counting. The rows are read from the switch, and every
// edit of a cell is the register sequence of that cell; the window only shows the texts and hands
// the person's edits in. QtCore only, so that the sequences can be tested against a scripted
// switch.
//
// Error counting: while a port's Error Count Enable is on, each tick (the window's one-second
// timer) reads each lane's error status (0x2010 + 0x20 l, bits 10:7, the errors since the last
// read) and adds them to the lane's running count. The rate shown is that count per bit the lane
// received at the port's speed over the time counted (1250 MHz when the speed can't be read).
#pragma once

#include "DfeTaps.h"
#include "SerDesAccess.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <vector>

class CNetworkDocument;

// What the grid needs of the switch beyond its registers: the port speed through the HAL.
class ISerDesGridAccess : public ISerDesAccess
{
public:
    // HalGetPortSpeedMHz / HalSetPortSpeedMHz of the switch; client statuses.
    virtual int32_t GetPortSpeedMHz(uint32_t ulPort, uint32_t* pulSpeedMHz) = 0;
    virtual int32_t SetPortSpeedMHz(uint32_t ulPort, uint32_t ulSpeedMHz) = 0;
};

// The switch of node iNode of a map, reached through the HAL's maintenance accesses (local port
// 0). ConfigureRoute finds the way to it (the map's route, or all-ones routes laid to it) and
// keeps it until the next call.
class CTargetSerDesGridAccess final : public ISerDesGridAccess
{
public:
    CTargetSerDesGridAccess(const CNetworkDocument& document, int iNode);

    int Node() const { return m_iNode; }
    // False when the map has no way to the switch.
    bool ConfigureRoute();
    // Whether the node is a PE of the map.
    bool FindConnectedPE() const;
    uint16_t DeviceID() const;

    int32_t Read(uint32_t ulOffset, uint32_t* pulValue) override;
    int32_t Write(uint32_t ulOffset, uint32_t ulValue) override;
    int32_t GetPortSpeedMHz(uint32_t ulPort, uint32_t* pulSpeedMHz) override;
    int32_t SetPortSpeedMHz(uint32_t ulPort, uint32_t ulSpeedMHz) override;

private:
    const CNetworkDocument& m_document;
    int m_iNode;
    uint32_t m_ulDestID = 0xFFFFFFFFu;
    uint8_t m_uchHop = 0;
};

// The columns of the grid, left to right.
enum ESerDesColumn
{
    eSerDesLane,
    eSerDesSpeed,
    eSerDesStrength, // under "Transmitter"
    eSerDesPre,
    eSerDesPost,
    eSerDesDfeOn, // under "Receiver", with the taps
    eSerDesTap0,
    eSerDesTap1,
    eSerDesTap2,
    eSerDesTap3,
    eSerDesTap4,
    eSerDesScan,
    eSerDesMonitor,
    eSerDesAdjust,
    eSerDesLoopback,
    eSerDesCountEnable,
    eSerDesErrorCount,
    eSerDesErrorRate,
    eSerDesColumns
};

// The column's heading ("Port\nSpeed", "DFE\nTap 2", ...).
QString SerDesColumnHeading(int iColumn);
// The tool tip of a button column, empty for the others.
QString SerDesColumnToolTip(int iColumn);

// The port speeds of the pick list, in MHz, in its order, and their texts ("1.25" ... "6.25").
const std::vector<uint32_t>& SerDesSpeedsMHz();
QStringList SerDesSpeedTexts();
// The text of a speed: one of the list's, or "Invalid".
QString SerDesSpeedText(uint32_t ulSpeedMHz);

// One lane's row as last read.
struct SSerDesLaneRow
{
    uint32_t ulLane = 0;
    bool bRead = false;      // every register of the row answered
    uint32_t ulSpeedMHz = 0; // 0: the HAL could not tell (shown "Invalid")
    uint32_t ulStrength = 0;
    uint32_t ulPre = 0;
    uint32_t ulPost = 0;
    bool bDfeOn = false;
    DfeTapValues taps{};
    bool bLoopback = false; // any lane of the port loops back
    uint64_t ullErrors = 0; // counted since Error Count Enable went on
};

class CSerDesGrid
{
public:
    explicit CSerDesGrid(ISerDesGridAccess& access);

    // Reads the quad configuration and the lanes of each port; false for a device the tools do
    // not serve or a failed read.
    bool Load(uint16_t wDeviceID);
    const SSerDesDeviceTable& Table() const { return m_table; }
    // The ports with lanes in the present quad configuration.
    std::vector<uint32_t> Ports() const;

    // Shows the lanes of a port (stopping the error count of the port shown before) and reads
    // them; false for a port without lanes.
    bool SelectPort(uint32_t ulPort);
    uint32_t Port() const { return m_ulPort; }
    int RowCount() const { return static_cast<int>(m_rows.size()); }
    const SSerDesLaneRow& Row(int iRow) const { return m_rows[static_cast<size_t>(iRow)]; }
    uint32_t LaneOf(int iRow) const { return Row(iRow).ulLane; }

    // Reads one row, or all of them, from the switch again.
    void ReadRow(int iRow);
    void ReadAll();

    // What a cell shows.
    QString CellText(int iRow, int iColumn) const;
    // Whether a cell may be edited (text cells; the lane, counts and rate are read-only).
    static bool IsEditable(int iColumn);

    // A typed value for Strength, Pre, Post or a tap: decimal (taps may be negative; Strength, Pre
    // and Post by the number entry rule). False with the text to show when it is no number; the
    // row is re-read either way.
    bool EditCell(int iRow, int iColumn, const QString& strText, QString* pstrError);

    // The cell edits, each its register sequence; the row (or rows) read again afterwards.
    void SetStrength(int iRow, uint32_t ulValue);
    void SetPre(int iRow, uint32_t ulValue);
    void SetPost(int iRow, uint32_t ulValue);
    void SetDfeOn(int iRow, bool bOn);
    void SetTap(int iRow, int iTap, int32_t lValue);
    // 10b loop-back for every lane of the port.
    void SetLoopback(bool bOn);
    // The port's speed through the HAL; a client status.
    int32_t SetPortSpeed(uint32_t ulSpeedMHz);

    // Error Count Enable of the port shown.
    void SetErrorCounting(bool bOn);
    bool IsCounting() const { return m_bCounting; }
    // One second of counting: reads each lane's errors.
    void Tick();
    uint32_t CountedSeconds() const { return m_ulSeconds; }
    // "Enabled\n%d:%02d:%02d" while counting, "Disabled" otherwise.
    QString CountEnableText() const;
    // The lane's errors per bit over the time counted.
    double ErrorRate(int iRow) const;

private:
    uint32_t Read(uint32_t ulOffset, bool* pbOk);
    void Write(uint32_t ulOffset, uint32_t ulValue);
    // The revision the grid reads the DFE ON/OFF bit by: Device Info bits 20:16.
    uint32_t GridRevision(bool* pbOk);
    void StopCounting();

    ISerDesGridAccess& m_access;
    SSerDesDeviceTable m_table;
    uint32_t m_ulPort = 0;
    std::vector<SSerDesLaneRow> m_rows;
    bool m_bCounting = false;
    uint32_t m_ulSeconds = 0;
};

// The serial line under an RS232 link: the port (QSerialPort with the framing of
// RS232Framing.h), the messages it hands over, the parser that cuts the server protocol's units
// out of what arrives, and the manager the link holds, which makes the link's send and receive
// of them.
#pragma once

#include "RS232Framing.h"

#include <QString>

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

class QSerialPort;

// Flow control of the port, in the order the RS232 tab lists it (the Handshake preference).
enum ERS232Flow : int32_t
{
    eFlowNone = 0,
    eFlowHardware = 1,
    eFlowSoftware = 2
};

// One block of bytes that came in: a whole unit of the server protocol.
class CNVTCommsMsg
{
public:
    CNVTCommsMsg(const uint8_t* pbData, uint32_t ulSize);
    std::unique_ptr<CNVTCommsMsg> Clone() const;
    // A copy of the bytes; the message counts as unread again.
    std::vector<uint8_t> GetData();

    std::vector<uint8_t> pData; // the bytes, owned
    uint32_t ulSize = 0;
    uint32_t ulReadPos = 0; // bytes already consumed by the link's receive
};

// Where the parser puts the units it finds.
class IRS232MsgSink
{
public:
    virtual ~IRS232MsgSink() = default;
    virtual void Deliver(std::unique_ptr<CNVTCommsMsg> pMsg) = 0;
};

// Cuts units (8-byte header, then Length bytes) out of the payloads of the line, whatever the
// pieces they come in; what is left waits for the next payload.
class CNvtMsgParser
{
public:
    explicit CNvtMsgParser(IRS232MsgSink* pManager) : pManager(pManager) {}
    // Takes one payload; always false (a unit is never refused).
    bool Parse(const uint8_t* pbBlock, uint32_t ulSize);
    // Throws away a unit begun: after a line error its missing bytes can't be found again.
    void Reset();

    IRS232MsgSink* pManager;
    std::vector<uint8_t> pPending;
    uint32_t ulPendingSize = 0;
};

// The port. It opens a serial device, writes blocks as frames and collects the units that come
// in, for Read to hand out one at a time.
class CRS232Comms : public IRS232MsgSink
{
public:
    CRS232Comms();
    ~CRS232Comms() override;
    CRS232Comms(const CRS232Comms&) = delete;
    CRS232Comms& operator=(const CRS232Comms&) = delete;

    // Opens strDevice at lBaudRate with the flow control, 8 data bits, no parity, one stop bit.
    bool InitComm(CNvtMsgParser* pParser, const QString& strDevice, int32_t lBaudRate, ERS232Flow eFlow);
    // Writes one block as its frames and waits until the port took them.
    bool Write(const CNVTCommsMsg& msg);
    // Takes what has come without waiting and hands out the oldest unit, if there is one.
    bool Read(std::unique_ptr<CNVTCommsMsg>* ppMsg);
    // Waits up to ulMilliseconds for bytes; false when none came or the port failed.
    bool WaitForBytes(uint32_t ulMilliseconds);
    // Whether the port has failed since it opened (the device went away, a read error).
    bool Failed() const { return m_bFailed; }
    // The text of the last failure.
    void GetLastError(QString& strText) const { strText = m_strLastError; }
    void Close();
    // Bad frames seen on the line.
    uint64_t LineErrors() const { return m_deframer.Errors(); }

    void Deliver(std::unique_ptr<CNVTCommsMsg> pMsg) override { m_queue.push_back(std::move(pMsg)); }

private:
    void TakeIncoming();
    void NoteFailure();

    std::unique_ptr<QSerialPort> m_pPort;
    CNvtMsgParser* m_pParser = nullptr;
    rs232::CDeframer m_deframer;
    std::deque<std::unique_ptr<CNVTCommsMsg>> m_queue;
    QString m_strLastError;
    bool m_bFailed = false;
};

// What an RS232 link holds: the port, its parser, and the unit being read.
class CRS232CommsManager
{
public:
    CRS232CommsManager(QString strDevice, uint32_t ulCOMPort);

    // Opens the port; on failure shows "Failed to Initalize RS232 Comms: %s" and returns false.
    bool Init(int32_t lBaudRate, ERS232Flow eFlow);
    // The link's send: the buffer as one block.
    bool Send(const void* pvBuffer, uint32_t ulLength);
    // The link's receive: *pulLength bytes out of the units that came, in order, waiting for the
    // next unit up to the limit (polled in steps of 50 ms). True when all came; *pulLength is the
    // count that came either way.
    bool Receive(void* pvBuffer, uint32_t* pulLength, uint32_t ulSeconds, uint32_t ulMicroSeconds);
    void Close();

    const QString& Device() const { return m_strDevice; }
    uint32_t COMPort() const { return m_ulCOMPort; }
    CRS232Comms& Comms() { return m_comms; }
    // Polls of the port during the last receive that had to wait (for the wait limit's count).
    uint32_t LastPollCount() const { return m_ulPolls; }

private:
    // Tells of a port that failed, the first time.
    void ShowFailure();

    QString m_strDevice;
    uint32_t m_ulCOMPort;
    CRS232Comms m_comms;
    CNvtMsgParser m_parser;
    std::unique_ptr<CNVTCommsMsg> pCurrent;
    uint32_t m_ulPolls = 0;
    bool m_bFailureShown = false;
};

// The serial devices the RS232 tab offers, in order; the address word of an RS232 connection is an
// index into this list. It holds /dev/ttyS*, /dev/ttyUSB* and /dev/ttyACM*, then the devices
// named in the preference Preferences\RS232\ExtraPorts (a list separated by ';', for devices with
// other names such as a simulator's pseudo-terminal or a /dev/serial/by-id link).
QStringList SerialPortCandidates();
// The device of an address word, or empty when the index is out of range.
QString SerialPortDevice(uint32_t ulCOMPort);
// The flow control of a name of the command line ("none", "hw", "sw"); false for anything else.
bool ParseRS232Flow(const QString& strName, ERS232Flow* peFlow);

// The connection of a norvanta-cli run: the global options that say where the target is, and
// the opening and closing of it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

class CPEPrimitive;
class CTargetConnection;

struct SCliGlobals
{
    std::string strServer = "127.0.0.1"; // IPv4 address of the server
    bool bUdp = false;                   // talk to it over UDP
    bool bLarge = false;                 // 16-bit destination IDs
    std::string strLog;                  // transaction log file
    std::string strJtag;                 // --jtag POD:POSITION: a JTAG chain entry instead of a server
    int32_t lPcie = -1;                  // --pcie N: the local Tsi721 bridge N instead of a server
    std::string strSerial;               // serial device of an RS232 link, or empty for a server
    std::string strI2c;                  // --i2c CHANNEL:ADDRESS: the target is behind an I2C pod
    bool bI2cTenBit = false;             // its address is a 10-bit one
};

// Takes --serial DEV, --baud N or --flow none|hw|sw; the rate and handshake stand for this run
// only. False (with the message printed) for a rate or flow control the link does not offer.
bool SetCliSerialOption(const std::string& strOption, const std::string& strValue);

// The connection choice and address word of --i2c CHANNEL:ADDRESS. CHANNEL is N for the kernel
// adapter /dev/i2c-N, ftdiN for the N-th FTDI cable, podN for channel N of the pod library;
// ADDRESS follows the number entry rule. False with the message to print.
bool ParseCliI2cTarget(const std::string& strText, bool bTenBit, int32_t* pnChoice, uint32_t* pulAddressWord,
                       std::string* pstrError);

// The globals of this run, filled by main.
SCliGlobals& CliGlobals();

// An open target, closed when it goes.
using CliConnection = std::unique_ptr<CTargetConnection, void (*)(CTargetConnection*)>;

// The address word of "POD:POSITION" (POD "USB<n>" or <n>); false for anything else.
bool ParseJtagTarget(const std::string& strText, uint32_t* pulAddressWord);

// Opens the target of the globals; prints the failure and returns nullptr when it can't.
CliConnection OpenCliTarget();

// Makes a PE the host of a walk: its host link open to the server of the globals, by TCP or UDP.
void SetCliHostLink(CPEPrimitive& host);

// Prints the text of a client status to standard error and returns the exit status 1.
int CliFailure(int32_t nStatus);

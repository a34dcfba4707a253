// Register value files: lists of (offset, value) pairs for one PE, loaded into its saved register
// values and written to the device ("Load Registers"), and written from the saved values in the
// three forms of "Save Registers": comma-separated values, an IDT script, and S3 records.
#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>
#include <vector>

class CNetworkDocument;
class CPEPrimitive;
class IRegisterTransport;

struct SRegisterFileValue
{
    int iLine = 0; // line number in the file, from 1
    uint32_t ulOffset = 0;
    uint32_t ulValue = 0;
};

// Reads a .csv or .sre value file (the extension decides, ignoring case). Lines are taken in
// binary, so each must end in a carriage return and line feed: a CSV line is 6 hexadecimal digits
// of offset, one separator character that isn't looked at, and 8 of value; an S-Record line an S3
// record with a byte count of 09. The first bad line ends the read with its message, which is
// shown and returned in *pstrError.
bool ReadRegisterValueFile(const QString& strPath, std::vector<SRegisterFileValue>* pValues,
                           QString* pstrError = nullptr);

// A register the device's files describe: its offset (with the set offset) and whether any of its
// fields may be written.
struct SKnownRegister
{
    uint32_t ulOffset = 0;
    bool bWritable = false;
};

// The maintenance registers of the register blocks that a PE's device information lists, sorted
// by offset. Empty (with the reader's message shown) when the files can't be read.
std::vector<SKnownRegister> KnownRegisters(const CPEPrimitive& pe);

// What a load did.
struct SRegisterLoadResult
{
    bool bOk = false;                     // the file was read and its values stored
    int nValues = 0;                      // values the file held
    std::vector<uint32_t> unknownOffsets; // offsets no register of the device has (loaded all the same)
    bool bWritten = false;                // the device was reached and the values written
    int nWriteFailures = 0;               // writes that failed (they don't end the load)
    QString strError;                     // why the load failed
};

// Loads a value file into a PE: every value goes into its saved register values as not yet
// confirmed, and, when a link is open and the PE can be reached, is written to the device. An
// offset no register has shows "Reg not found" and is loaded all the same.
SRegisterLoadResult LoadRegisters(CNetworkDocument& document, CPEPrimitive& pe, const QString& strPath,
                                  IRegisterTransport* pTransport = nullptr);

// The forms "Save Registers" writes.
enum ERegisterFileFormat
{
    eRegFormatInvalid = -1,
    eRegFormatIdt = 2,       // "W %X %X" lines (.txt)
    eRegFormatSRecord = 3,   // S3 records (.sre)
    eRegFormatCsv = 4,       // "%06X,%08X" lines (.csv)
    eRegFormatBootImage = 5, // a switch's boot image (.nvs)
};

// The form a file name's extension asks for; eRegFormatInvalid for any other.
ERegisterFileFormat RegisterFileFormatOf(const QString& strPath);

// The writer of boot images (.nvs), which the EEPROM tools install. Without one, saving in that
// form says it isn't available.
using BootImageWriter = std::function<bool(CNetworkDocument&, CPEPrimitive&, const QString& strPath)>;
void SetBootImageWriter(BootImageWriter writer);

// What a save did.
struct SRegisterSaveResult
{
    bool bOk = false;
    int nWritten = 0;   // register values in the file
    int nSkipped = 0;   // read-only registers left out
    QStringList errors; // one line per register that has no value
};

// Writes the saved values of a PE's maintenance registers, in the order of its register tree, in
// the given form (eRegFormatInvalid: the one the extension asks for). A register without a value
// is an error, and any error stops the save with "Register values cannot be saved.  Correct errors
// and try again."; with bExcludeReadOnly read-only registers are left out.
SRegisterSaveResult SaveRegisterValues(CNetworkDocument& document, CPEPrimitive& pe, const QString& strPath,
                                       ERegisterFileFormat eFormat = eRegFormatInvalid,
                                       bool bExcludeReadOnly = false);

// The text of a value file in one of the three text forms, lines ended by CR LF.
QString FormatRegisterValues(const std::vector<SRegisterFileValue>& values, ERegisterFileFormat eFormat);

// Packet files (.npf): a text file whose first two lines name the format and its version, and
// whose every further line is one packet as the packet list shows it ("00A20011 22334455 6677").
// The generator's list and the trace's comparators read and write them; the readers take the
// packet lines as they stand, the generator checks nothing in them either.
#pragma once

#include <QString>
#include <QStringList>

extern const char* const kNpfFormatLine;  // "Norvanta Packet File"
extern const char* const kNpfVersionLine; // "V1.0"
// The file filter of the open and save dialogs.
extern const char* const kNpfFilter; // "Norvanta Packet File (*.npf)|*.npf||"

// Reads the packet lines of a file. On failure *pstrError holds the message: "Unable to open
// packet file %s, error %d" with the system's error number, or "Invalid packet file format. [n]"
// for a missing (1) or other (2) first line, and a missing (3) or other (4) second line.
bool ReadNpfFile(const QString& strPath, QStringList* pPackets, QString* pstrError);

// Writes the two header lines and then the packet lines, in one go: a failure leaves any old file
// as it was and *pstrError holds "Unable to create packet file %s, error %d".
bool WriteNpfFile(const QString& strPath, const QStringList& packets, QString* pstrError);

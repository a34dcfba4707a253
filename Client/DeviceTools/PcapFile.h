// Captures as pcap files: the classic format, little-endian header (magic d4 c3 b2 a1), version
// 2.4, snap length 65535, link-layer type 147 (LINKTYPE_USER0). Each record is one RapidIO
// packet exactly as on the link, from the byte holding the ackID to the last byte of the final
// CRC or pad: no control symbols, no pseudo-header. The Wireshark dissector in
// Plugins/wireshark/ reads them.
#pragma once

#include "SafeFile.h"

#include <QString>

#include <cstdint>
#include <vector>

constexpr uint32_t kPcapLinkTypeRapidIO = 147;
constexpr uint32_t kPcapSnapLength = 65535;

// A file written record by record; nothing stands at the path until Close succeeds, and a failure
// leaves any old file as it was.
class CPcapWriter
{
public:
    // Starts the file with its header; false and *pstrError on failure.
    bool Open(const QString& strPath, QString* pstrError);
    // One packet, stamped with the microseconds since the epoch.
    bool Write(const uint8_t* pBytes, uint32_t nBytes, uint64_t ullMicroseconds);
    // Checks and puts the file in place; false and *pstrError on failure.
    bool Close(QString* pstrError);
    int Records() const { return m_nRecords; }

private:
    CSafeFileWriter m_writer;
    int m_nRecords = 0;
};

struct SPcapRecord
{
    uint64_t ullMicroseconds = 0;
    uint32_t ulOriginalLength = 0;
    std::vector<uint8_t> bytes;
};

// Reads a file of this format back (either byte order of the header); false and *pstrError for a
// file that isn't one or is cut short. *pulLinkType receives the header's link-layer type.
bool ReadPcapFile(const QString& strPath, std::vector<SPcapRecord>* pRecords, uint32_t* pulLinkType,
                  QString* pstrError);

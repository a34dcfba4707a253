// The map's copies of the switches' routing tables and the hardware: reading them from a switch
// (upload), writing them to it (download) or to its boot store (flash), and the switch's default
// output port. Every operation first gets a way to the switch (ReachPE).
#pragma once

#include "NetworkDocument.h"

#include <QString>

#include <cstdint>
#include <memory>

// Reads a table from the hardware into *ppTable (made if absent, emptied if present): port and
// multicast entries, and special entries with their code; other kinds are dropped. The table is
// left marked modified, as every add marks it; callers clear the mark. Returns a client status.
int32_t UploadTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                    uint8_t uchHopCount, uint8_t uchTable, std::unique_ptr<CRoutingTable>* ppTable);
// Writes a whole table (a null table is written as an empty one): port entries as port entries,
// multicast as multicast, anything else as special. Returns a client status.
int32_t DownloadTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                      uint8_t uchHopCount, uint8_t uchTable, const CRoutingTable* pTable, bool bFlash);

// One table of a switch (its slot in the PE's tables) to the hardware, a null one as an empty
// table, or to its boot store with bFlash; or from the hardware into the map. Either clears the
// table's modified mark on success and shows a failure.
bool SendPETable(CPEPrimitive& pe, uint32_t ulDestID, uint8_t uchHopCount, int iTable, bool bFlash);
bool FetchPETable(CPEPrimitive& pe, uint32_t ulDestID, uint8_t uchHopCount, int iTable);

// Whether a port of a PE leads to an empty or unknown place on the map. A port without a
// connection, or whose far PE isn't on the map, is not unused.
bool IsUnusedPort(const CNetworkDocument& map, const CPEPrimitive& pe, int iPort);

// All tables of one switch, to the hardware or from it. bOwnWindow: the operation shows its own
// working window; without it the caller's window shows the progress. False when it ended on a
// failure, which has been shown.
bool DownloadPETables(const CNetworkDocument& map, CPEPrimitive& pe, bool bFlash, bool bInitEEPROM,
                      bool bSkipUnused, bool bOwnWindow = true);
bool UploadPETables(const CNetworkDocument& map, CPEPrimitive& pe, bool bSkipUnused, bool bOwnWindow = true);

// Every switch of the map in turn, under one working window; Cancel stops between switches. The
// download asks "Skip routing table download for unused ports?" first. Each returns the number of
// switches done.
int DownloadAllTables(CNetworkDocument& map);
int UploadAllTables(CNetworkDocument& map, bool bSkipUnused);
// The question callers of UploadAllTables ask first: "Skip routing table upload for unused
// ports?", remembered as SkipUploadFromUnusedPorts. True for Yes.
bool AskSkipUploadForUnusedPorts();

// The default output port of a switch: reads it (showing why it can't), and sets it from the text
// the person entered. ReadDefaultPort gives the text to show ("%lxh").
bool ReadDefaultPort(const CNetworkDocument& map, CPEPrimitive& pe, QString* pstrShown);
bool SetDefaultPortFromText(const CNetworkDocument& map, CPEPrimitive& pe, const QString& strText);

// A destination ID as the routing table windows show it: "%sb" with 8 or 16 digits in binary,
// "%Xh" in hexadecimal, "%d" in decimal. Every form reads back through the number parser.
QString RouteIDText(uint16_t wID, int nBase, int iIDBits);

// The lines of the routing table view: "  ? >> %d" for a default port, then one line per entry.
// nBase is the number format in force (2, 10 or 16); iIDBits the ID width. "No routes" for a null
// table.
QStringList RoutingTableLines(const CRoutingTable* pTable, bool bShowDefault, uint8_t uchDefaultPort,
                              int nBase, int iIDBits);

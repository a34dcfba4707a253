// What the network browser shows, as a tree of plain items: for each PE its node, destination
// IDs, register blocks, routing tables, multicast data and port settings. The window turns the
// items into its tree control; building a PE's items is left until its node opens, so a map of
// thousands of PEs shows at once.
#pragma once

#include <QString>

#include <cstdint>
#include <functional>
#include <vector>

class CNetworkDocument;
class CPEPrimitive;
class IRegisterTransport;

enum EBrowserKind
{
    eBrowsePE,
    eBrowseText,      // a line of information
    eBrowseRegisters, // the "Registers" heading
    eBrowseBlock,
    eBrowseRegisterSet,
    eBrowseRegister,
    eBrowseTables,
    eBrowseTable,
    eBrowseMulticast,
    eBrowseMask,
    eBrowsePorts,
    eBrowsePort,
};

struct SBrowserItem
{
    EBrowserKind eKind = eBrowseText;
    int iNode = -1; // node number of the PE the item belongs to
    QString strText;
    bool bCheckable = false;       // registers carry check boxes for the bulk commands
    uint32_t uOffset = 0;          // a register's offset (set offset included)
    int iTableSlot = -1;           // a table's slot
    int iTreeItem = -1;            // a block's, set's or register's position in the PE's register tree
    bool bHasLazyChildren = false; // a PE whose items are built when it opens
    std::vector<SBrowserItem> children;
};

// One item per PE of the current map, in node order, with its items still to be built.
std::vector<SBrowserItem> BrowserPEItems(const CNetworkDocument& document);
// The items under a PE's node.
std::vector<SBrowserItem> BrowserPEChildren(const CPEPrimitive& pe);

// The failure text of the browser's commands, with the status's own text, and the longer form
// when there is more to tell.
QString BrowserFailureText(int32_t nStatus, const QString& strAction, const QString& strDetail = QString());

// A checked register of the browser: the PE and the register's offset.
struct SCheckedRegister
{
    int iNode = -1;
    uint32_t uOffset = 0;
};

// How a command reaches a PE: the destination ID and hop count, or a client status. Route search
// installs the full one; without it only the host PE can be reached.
using RouteFinder =
    std::function<int32_t(const CNetworkDocument&, int iNode, uint32_t* pulDestID, uint8_t* puchHopCount)>;
// The finder in force, and the one that knows the host PE only.
RouteFinder& PERouteFinder();
int32_t HostOnlyRoute(const CNetworkDocument& document, int iNode, uint32_t* pulDestID,
                      uint8_t* puchHopCount);

// The transport that the register commands of the browser and the editor use: the target's,
// unless another was put in its place (tests put a simulated fabric there).
IRegisterTransport& ShellRegisterTransport();
void SetShellRegisterTransport(IRegisterTransport* pTransport);

// Reads the checked registers from the target into each PE's saved register values, under the
// working window "Uploading register data.  Please wait...". The first failure is shown in the
// browser's form ("... attempting to upload a register") and ends the command. Returns the number
// of registers read.
int UploadRegisters(CNetworkDocument& document, const std::vector<SCheckedRegister>& registers);
// Writes the saved value of each checked register that has one and reads it back into the saved
// values, under "Downloading register data.  Please wait...". Failures as for UploadRegisters,
// with "attempting to write data to a register" or "attempting to read back the contents of a
// register". Returns the number of registers written.
int DownloadRegisters(CNetworkDocument& document, const std::vector<SCheckedRegister>& registers);
// Every register of every PE that the register library describes (memory-space registers left
// out), PE by PE in map order.
std::vector<SCheckedRegister> AllRegisters(const CNetworkDocument& document);
// The browser's bulk commands on the checked registers: "Nothing to upload." or "Nothing to
// download." when none is checked, and the question "Upload %d registers?" or "Download %d
// registers?" above 50, before the transfer.
int UploadCheckedRegisters(CNetworkDocument& document, const std::vector<SCheckedRegister>& registers);
int DownloadCheckedRegisters(CNetworkDocument& document, const std::vector<SCheckedRegister>& registers);

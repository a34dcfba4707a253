// Network initialisation scripts: from a map and the node that will be the initialisation host,
// the ordered list of actions that brings the same network up from power-on (destination IDs,
// routing tables, port speeds, register values), and that list as a script, as a header for the
// embedded middleware, or as register value files. The generator reads only the map; it sends
// nothing to the target. CNetInitScriptGen is the logic behind the generator window: its tree of
// what can be initialised, with check boxes, its options, and its "Script" and "Errors" texts.
#pragma once

#include "NVXLScript.h"

#include <QString>

#include <cstdint>
#include <vector>

class CNetworkDocument;
class CPEPrimitive;
class CRoute;

// Kinds of the tree's items.
enum EInitItemKind
{
    eInitItemNode = 0,          // "Node %d"
    eInitItemRegisters = 1,     // "Registers"
    eInitItemRegisterGroup = 2, // a register block, or a set of registers within one
    eInitItemRegister = 3,      // one register
    eInitItemRoutingTables = 5, // "Routing Tables"
    eInitItemTable = 6,         // "Port %d" or "All Ports"
    eInitItemPortSettings = 7,  // "Port Settings"
    eInitItemPortSpeed = 8,     // "Port %d, %.3f Gbps"
    eInitItemDestID = 9,        // "DestID: Short=%s Long=%s"
};

struct SInitTreeItem
{
    int eKind = eInitItemNode;
    QString strText;
    bool bChecked = true;
    int iNode = -1;          // node number of the PE the item belongs to
    int iPort = -1;          // table or port number; -1 for the device's one table
    uint32_t ulOffset = 0;   // a register's offset
    bool bReadOnly = false;  // a register with no writable field
    QString strRegisterName; // a register's name
    std::vector<SInitTreeItem> children;

    // Checks or unchecks the item and all its descendants.
    void SetChecked(bool bCheck);
};

// One action of the list, with the comment the generator gives it ("" without comments).
struct SInitScriptRecord
{
    NVXL_SCRIPTCOMMANDSTRUCT s{};
    QString strComment;
};

// Output formats: the script and the header are the generator's own; 2, 3 and 4 are value files.
enum EInitScriptFormat
{
    eInitFormatScript = 0,
    eInitFormatHeader = 1,
    eInitFormatIdt = 2,
    eInitFormatSRecord = 3,
    eInitFormatCsv = 4,
};

// The list in one of the formats, with CR LF line ends.
QString FormatInitScript(const std::vector<SInitScriptRecord>& records, int eFormat);

class CNetInitScriptGen
{
public:
    explicit CNetInitScriptGen(const CNetworkDocument& map);

    // Builds the tree from the map: one node item per PE that is neither unknown nor empty, with
    // its IDs, its registers (from the register library), its routing tables and its port speeds.
    // Everything is checked except the registers with no value kept for them and the tables the map
    // doesn't hold, which is what a person would check to bring up the network as it was found.
    void BuildTree();
    std::vector<SInitTreeItem>& Tree() { return m_tree; }
    // The node item of a PE, or null.
    SInitTreeItem* NodeItem(int iNode);

    // Options.
    bool bComments = false;  // "Include comments"
    bool bPreInitRT = false; // "Pre-initialize Routing Tables"
    bool bExcludeRO = false; // "Exclude read-only registers"
    int eFormat = eInitFormatScript;

    // "Generate": the host number as the person typed it (counted from 1). False when the host is
    // refused (a message box says why); the list, the script and the errors otherwise, even when
    // errors were found.
    bool Generate(const QString& strHostNumber);
    // The same with the host forced to a PE of the map, of any kind, as the register value files
    // and boot images of one PE have it. False when the map has no such PE.
    bool GenerateFrom(int iHostNode);

    // The nodes in the order of initialisation from a host: the host, then a walk of the map from
    // its port 0, depth first, into switches only.
    std::vector<int> InitOrder(int iHostNode) const;

    const std::vector<SInitScriptRecord>& Records() const { return m_records; }
    const QString& ScriptText() const { return m_strScript; }
    const QString& ErrorsText() const { return m_strErrors; }
    int ErrorCount() const { return m_nErrors; }
    // Whether the "Errors" tab is the one shown after the last generation.
    bool ShowErrorsTab() const { return m_nErrors != 0; }

private:
    int GenerateNode(const SInitTreeItem& item);
    int GenerateRegisters(const SInitTreeItem& item);
    // The temporary routes for a PE's power-up ID along the shortest path from the host; the hop
    // count of that path, or -1 when the walk ended on an error (counted in *pnErrors).
    int AddTemporaryRoutes(const CPEPrimitive& pe, uint16_t wPowerUpID, int* pnErrors);
    int AddTable(const CPEPrimitive& pe, int iTable, uint32_t ulDest, uint8_t uchHop);
    void AddError(const QString& strText) { m_strErrors += strText; }
    SInitScriptRecord& Add(uint32_t eOp, const CPEPrimitive& pe, uint32_t ulDest, uint8_t uchHop,
                           const QString& strComment);
    void AddComment(const QString& strComment);
    bool Find(const CPEPrimitive& pe, uint32_t* pulDest, uint8_t* puchHop, CRoute* pRoute) const;

    const CNetworkDocument& m_map;
    std::vector<SInitTreeItem> m_tree;
    const CPEPrimitive* m_pHost = nullptr;
    std::vector<SInitScriptRecord> m_records;
    QString m_strScript;
    QString m_strErrors;
    int m_nErrors = 0;
};

// The routing table editor of one switch, without its widgets: which tables the switch has, the
// rows of the table shown, the two entry fields, adding and deleting entries, moving the shown
// table to and from the hardware, and what happens to modified tables when the editor closes.
#pragma once

#include "NetworkDocument.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <vector>

// The number base in which destination IDs are shown (2, 10 or 16): the one the person chose in
// the settings, hexadecimal when none was chosen.
int RoutingTableNumberBase();
// The width of destination IDs in the map's transport: 8 or 16 bits.
int RoutingTableIDBits();

// The switch and table that route what comes in over a link: the first end of the link that is a
// switch, and the table of its port on the link (slot 0 on a switch without per-port tables).
// False when neither end is a switch on the map.
bool LinkRoutingTable(const CNetworkDocument& map, const CConnectionPrimitive& connection,
                      const CPEPrimitive** ppPE, int* piTable);

class CRoutingTableEditor
{
public:
    // One row of the entry list.
    struct SRow
    {
        QString strID;   // by the number base and ID width in force
        QString strType; // "Port Route", "Multicast" or "Special %d"
        QString strPort;
    };

    // bConnected: a target is connected, so the closing question may send tables.
    CRoutingTableEditor(CNetworkDocument& map, CPEPrimitive& pe, bool bConnected);

    // "Port %d" for each port of a switch with per-port tables, else the one "All Ports".
    QStringList TableNames() const;
    // Whether the person may choose another table: only a switch with per-port tables has any.
    bool TableChoiceEnabled() const { return m_pe.bHasPerPortRoutingTables; }
    // Shows another table (its slot in the PE's tables); the entry selection and fields are
    // cleared. False for a slot out of range.
    bool SelectTable(int iTable);
    int CurrentTable() const { return m_iTable; }
    // The table shown, or null while the switch has none there.
    const CRoutingTable* CurrentTableData() const;

    // The number base of the ID column and field (2, 10 or 16).
    void SetNumberBase(int nBase);
    int NumberBase() const { return m_nBase; }
    // The rows of the table shown, in table order.
    std::vector<SRow> Rows() const;

    // Selects an entry by row and fills the two fields with its ID and port; -1 clears the
    // selection. False for a row out of range.
    bool SelectEntry(int iRow);
    int SelectedEntry() const { return m_iSelected; }
    const QString& IDField() const { return m_strIDField; }
    const QString& PortField() const { return m_strPortField; }

    // Adds a port route from the two field texts, overwriting an entry for the same ID and making
    // the table if the switch has none there. A text that doesn't parse shows why; false then.
    bool Add(const QString& strID, const QString& strPort);
    // Removes the selected entry and empties the fields; false when nothing is selected.
    bool DeleteSelected();

    // Reads the shown table from the switch, and its default port. False on a failure, which has
    // been shown.
    bool Upload();
    // Writes the shown table to the switch, an absent one as an empty table. False on a failure,
    // which has been shown.
    bool Download();

    // What closing does with modified tables, asking the person where needed. True when the
    // editor may close; false when the person chose Cancel or sending a table failed.
    bool Close();
    // Whether anything in the map changed while editing, so that it needs saving.
    bool MapChanged() const { return m_bMapChanged; }

private:
    int TableCount() const;
    void ClearFields();

    CNetworkDocument& m_map;
    CPEPrimitive& m_pe;
    bool m_bConnected;
    int m_iTable = 0;
    int m_nBase;
    int m_iIDBits;
    int m_iSelected = -1;
    QString m_strIDField;
    QString m_strPortField;
    bool m_bMapChanged = false;
};

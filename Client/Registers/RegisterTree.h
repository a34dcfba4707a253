// The register tree of a device as the network browser shows it under "Registers": each block of
// the device's register file in file order, its sets when it has more than one, and the registers
// of each set. Search, saving and the command line all walk the tree in this one order, and none of
// them needs a tree control: a block never opened on screen is walked all the same.
#pragma once

#include "RegisterInfo.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <vector>

class CPEPrimitive;

enum ERegisterTreeKind
{
    eTreeBlock,    // a block's title
    eTreeSet,      // a set's title, when the block has more than one set
    eTreeRegister, // a register, once per set
};

struct SRegisterTreeItem
{
    ERegisterTreeKind eKind = eTreeBlock;
    const CRegisterBlock* pBlock = nullptr;
    const RegisterSetInfo* pSet = nullptr; // the set a register is in; null for a block without sets
    const CRegister* pRegister = nullptr;  // registers only
    int iBlock = -1;
    int iSet = -1; // -1 for a block without sets
    int iRegister = -1;
    uint32_t uOffset = 0; // a maintenance register's offset with its set's offset

    // The text the tree shows for a title, or the register's name.
    QString Text() const;
    // "block" or "block, set": where a register sits.
    QString Place() const;
};

// The items of a register file in tree order.
std::vector<SRegisterTreeItem> RegisterTreeItems(const CRegisterFileInfo& info);

// The register file of a PE through the cache: its own when the device is known, else the generic
// one of a switch or of an endpoint. Null (with the cache's message shown) when there is none.
CRegisterFileInfo* RegisterFileOf(const CPEPrimitive& pe);

// Names of the blocks that a PE's device information lists as I2C registers: they are bytes behind
// a switch's I2C master and have no maintenance value.
QStringList I2CBlockNames(const CPEPrimitive& pe);

// A register with any field that may be written is writable; one whose fields are all read-only
// is read-only. A register without fields counts as writable.
bool IsReadOnlyRegister(const CRegister& reg);

// Registers of the tree that a text names: a maintenance register whose name is the text (ignoring
// case), or else, when the text is a hexadecimal offset ("15C", "15Ch" or "0x15C"), the
// register at that offset. Several registers share a name when their block has sets.
std::vector<SRegisterTreeItem> FindRegisters(const std::vector<SRegisterTreeItem>& items,
                                             const QString& strText);

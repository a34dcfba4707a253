#include "RegisterTree.h"

#include "DeviceInfo.h"
#include "PETypes.h"
#include "Primitives.h"
#include "RegisterInfoCache.h"

#include <algorithm>

QString SRegisterTreeItem::Text() const
{
    switch (eKind)
    {
    case eTreeBlock:
        return pBlock->Name;
    case eTreeSet:
        return pSet->Name;
    case eTreeRegister:
        break;
    }
    return pRegister->Name;
}

QString SRegisterTreeItem::Place() const
{
    // A lone set adds nothing to its block's title, as the tree shows it.
    if (pSet && pBlock->GetNumSets() > 1)
    {
        return pBlock->Name + QStringLiteral(", ") + pSet->Name;
    }
    return pBlock->Name;
}

std::vector<SRegisterTreeItem> RegisterTreeItems(const CRegisterFileInfo& info)
{
    std::vector<SRegisterTreeItem> items;
    for (int b = 0; b < info.GetNumBlocks(); ++b)
    {
        SRegisterTreeItem blockItem;
        blockItem.pBlock = info.GetBlock(b);
        blockItem.iBlock = b;
        items.push_back(blockItem);
        const CRegisterBlock& block = *blockItem.pBlock;
        const int nSets = std::max(1, block.GetNumSets());
        for (int s = 0; s < nSets; ++s)
        {
            SRegisterTreeItem setItem = blockItem;
            setItem.pSet = block.GetSet(s);
            setItem.iSet = setItem.pSet ? s : -1;
            if (block.GetNumSets() > 1)
            {
                setItem.eKind = eTreeSet;
                items.push_back(setItem);
            }
            for (int r = 0; r < block.GetNumRegisters(); ++r)
            {
                SRegisterTreeItem regItem = setItem;
                regItem.eKind = eTreeRegister;
                regItem.pRegister = block.GetRegister(r);
                regItem.iRegister = r;
                regItem.uOffset = regItem.pRegister->uByteOffset + (setItem.pSet ? setItem.pSet->uOffset : 0);
                items.push_back(regItem);
            }
        }
    }
    return items;
}

CRegisterFileInfo* RegisterFileOf(const CPEPrimitive& pe)
{
    return GetRegisterInfoCache().GetFileInfo(pe.DeviceID, pe.ManufID, (pe.uType & kPETypeSwitch) != 0);
}

QStringList I2CBlockNames(const CPEPrimitive& pe)
{
    QStringList names;
    CDeviceInfo info;
    if (info.LoadForDevice(pe.DeviceID, pe.ManufID, (pe.uType & kPETypeSwitch) != 0))
    {
        for (int t = 0; t < info.GetNumTOCEntries(); ++t)
        {
            if (info.GetTOCType(t) == eTOCI2C)
            {
                names << info.GetTOCEntry(t);
            }
        }
    }
    return names;
}

bool IsReadOnlyRegister(const CRegister& reg)
{
    for (int i = 0; i < reg.GetNumBitFields(); ++i)
    {
        if (reg.GetBitField(i)->iAccess != eAccessReadOnly)
        {
            return false;
        }
    }
    return reg.GetNumBitFields() > 0;
}

std::vector<SRegisterTreeItem> FindRegisters(const std::vector<SRegisterTreeItem>& items,
                                             const QString& strText)
{
    std::vector<SRegisterTreeItem> found;
    const QString strName = strText.trimmed();
    for (const SRegisterTreeItem& item : items)
    {
        if (item.eKind == eTreeRegister && !item.pRegister->bMemSpaceIO &&
            item.pRegister->Name.compare(strName, Qt::CaseInsensitive) == 0)
        {
            found.push_back(item);
        }
    }
    if (!found.empty())
    {
        return found;
    }
    QString strHex = strName;
    if (strHex.startsWith(QStringLiteral("0x"), Qt::CaseInsensitive))
    {
        strHex = strHex.mid(2);
    }
    else if (strHex.endsWith(QLatin1Char('h'), Qt::CaseInsensitive))
    {
        strHex.chop(1);
    }
    bool bOk = false;
    const uint32_t uOffset = strHex.toUInt(&bOk, 16);
    if (!bOk || strHex.isEmpty())
    {
        return found;
    }
    for (const SRegisterTreeItem& item : items)
    {
        if (item.eKind == eTreeRegister && !item.pRegister->bMemSpaceIO && item.uOffset == uOffset)
        {
            found.push_back(item);
            break;
        }
    }
    return found;
}

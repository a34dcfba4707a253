// The register commands of norvanta-cli: the register tree of a device as the register library
// describes it, searching it, and the registers of a PE of a map: loading value files into it,
// saving its values, and setting one field.
#include "CliCollectingInterface.h"
#include "CliCommand.h"
#include "CliMap.h"
#include "CliOptions.h"
#include "CliTarget.h"

#include "DeviceInfo.h"
#include "NetworkDocument.h"
#include "NetworkMap.h"
#include "NumberText.h"
#include "PETypes.h"
#include "RegisterAccess.h"
#include "RegisterInfoCache.h"
#include "RegisterSearch.h"
#include "RegisterTree.h"
#include "RegisterValueFile.h"
#include "RegisterValueList.h"
#include "TargetConnection.h"
#include "UserInterface.h"

#include <QStringList>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace
{
void Print(const QString& strLine)
{
    std::printf("%s\n", strLine.toLocal8Bit().constData());
}

void PrintError(const QString& strLine)
{
    std::fprintf(stderr, "regs show: %s\n", strLine.toLocal8Bit().constData());
}

bool ParseID(const std::string& strText, uint16_t* pwValue)
{
    uint64_t ulValue = 0;
    if (!NumberFromText(QString::fromStdString(strText), 0xFFFF, &ulValue))
    {
        return false;
    }
    *pwValue = static_cast<uint16_t>(ulValue);
    return true;
}

void ShowBlock(const CRegisterBlock& block)
{
    QString strHead =
        QStringLiteral("Block \"%1\": %2-bit registers").arg(block.Name).arg(block.NumRegisterBits);
    if (block.bMemSpaceIO)
    {
        strHead += QStringLiteral(", I/O space");
    }
    Print(strHead);
    if (block.GetNumSets() > 0)
    {
        QStringList sets;
        for (int i = 0; i < block.GetNumSets(); ++i)
        {
            sets
                << QStringLiteral("%1 +0x%2").arg(block.GetSet(i)->Name).arg(block.GetSet(i)->uOffset, 0, 16);
        }
        Print(QStringLiteral("  Sets: ") + sets.join(QStringLiteral(", ")));
    }
    for (int r = 0; r < block.GetNumRegisters(); ++r)
    {
        const CRegister& reg = *block.GetRegister(r);
        const QString strAddress =
            reg.bMemSpaceIO
                ? QString::asprintf("0x%llX/0x%llX", static_cast<unsigned long long>(reg.uLocalAddr),
                                    static_cast<unsigned long long>(reg.uRIOAddr))
                : QString::asprintf("0x%06X", reg.uByteOffset);
        Print(QStringLiteral("  %1  %2").arg(strAddress, reg.Name));
        for (int f = 0; f < reg.GetNumBitFields(); ++f)
        {
            const CBitField& field = *reg.GetBitField(f);
            const QString strBits = field.iFirstBit == field.iLastBit
                                        ? QString::asprintf("%d", field.iFirstBit)
                                        : QString::asprintf("%d:%d", field.iFirstBit, field.iLastBit);
            Print(QStringLiteral("      [%1] %2 (%3)")
                      .arg(strBits, field.Name,
                           field.iAccess == eAccessReadOnly ? QStringLiteral("R") : QStringLiteral("RW")));
            for (const QString& strValue : field.Values)
            {
                Print(QStringLiteral("          ") + strValue);
            }
        }
    }
}

int RunRegsShow(const SCliInvocation& invocation)
{
    std::vector<std::string> words;
    bool bSwitch = false;
    for (const std::string& strArg : invocation.args)
    {
        if (strArg == "--switch")
        {
            bSwitch = true;
        }
        else
        {
            words.push_back(strArg);
        }
    }
    uint16_t wDevice = 0;
    uint16_t wVendor = 0;
    if (words.size() < 2 || words.size() > 3 || !ParseID(words[0], &wDevice) || !ParseID(words[1], &wVendor))
    {
        PrintError(QStringLiteral("DEVICE and VENDOR must be numbers up to FFFFh, such as 374h or 0x0038"));
        return 1;
    }
    CCollectingInterface messages;
    CDeviceInfo info;
    const bool bKnown = CDeviceInfo::DeviceFilesExist(wDevice, wVendor);
    bool bHaveInfo = info.LoadForDevice(wDevice, wVendor, bSwitch);
    if (bKnown && bHaveInfo)
    {
        bSwitch = (info.GetPEType() & kPETypeSwitch) != 0;
    }
    CRegisterFileInfo* pFile = GetRegisterInfoCache().GetFileInfo(wDevice, wVendor, bSwitch);
    if (!pFile)
    {
        const QString strReason = messages.Messages.isEmpty() ? GetRegisterInfoCache().LastError()
                                                              : messages.Messages.join(QLatin1Char(' '));
        PrintError(strReason.trimmed());
        return 1;
    }
    const QString strName = bHaveInfo && !info.GetCommonName().isEmpty() ? info.GetCommonName()
                                                                         : QStringLiteral("unknown device");
    Print(QString::asprintf(
        "Device %04Xh vendor %04Xh: %s%s, register file %s", wDevice, wVendor, qPrintable(strName),
        bKnown ? "" : (bSwitch ? " (generic switch)" : " (generic endpoint)"), qPrintable(pFile->Name)));
    if (words.size() == 3)
    {
        const QString strBlock = QString::fromStdString(words[2]);
        const CRegisterBlock* pBlock = pFile->FindBlock(strBlock);
        if (!pBlock)
        {
            PrintError(QStringLiteral("no block '%1' in %2").arg(strBlock, pFile->Name));
            return 1;
        }
        ShowBlock(*pBlock);
        return 0;
    }
    // The blocks in the order of the device's table of contents, as the register editor lists them.
    QStringList shown;
    if (bHaveInfo)
    {
        for (int i = 0; i < info.GetNumTOCEntries(); ++i)
        {
            const QString strEntry = info.GetTOCEntry(i);
            const CRegisterBlock* pBlock = pFile->FindBlock(strEntry);
            if (pBlock && !shown.contains(strEntry))
            {
                ShowBlock(*pBlock);
                shown << strEntry;
            }
        }
    }
    for (int b = 0; b < pFile->GetNumBlocks(); ++b)
    {
        if (!shown.contains(pFile->GetBlock(b)->Name))
        {
            ShowBlock(*pFile->GetBlock(b));
        }
    }
    return 0;
}

void PrintErrorOf(const char* pszCommand, const QString& strText)
{
    for (const QString& strLine : strText.trimmed().split(QLatin1Char('\n')))
    {
        std::fprintf(stderr, "%s: %s\n", pszCommand, strLine.trimmed().toLocal8Bit().constData());
    }
}

// Prints what the library would have shown in message boxes, and forgets it.
void PrintMessages(const char* pszCommand, CCollectingInterface& messages)
{
    for (const QString& strMessage : messages.Messages)
    {
        PrintErrorOf(pszCommand, strMessage);
    }
    messages.Messages.clear();
}

// A map and the PE a command works on, with the target opened for it.
class CMapTarget
{
public:
    // Reads the map (its own ID width in force) and finds the node as people number it, from 1.
    // Returns 0, or the exit status of the failure, which is printed.
    int Open(const char* pszCommand, const std::string& strMap, const std::string& strNode)
    {
        uint64_t ulNode = 0;
        if (!CliNumber(strNode, 0xFFFFFFFFu, &ulNode))
        {
            return 2;
        }
        if (!LoadCommandMap(strMap, m_map))
        {
            return 1;
        }
        m_pPE = ulNode ? m_map.ActivePEs.GetByNodeNumber(static_cast<int>(ulNode - 1)) : nullptr;
        if (!m_pPE || m_pPE->bDeleted)
        {
            PrintErrorOf(pszCommand, QStringLiteral("Node not found"));
            return 1;
        }
        if (m_pPE->uType & (kPETypeNull | kPETypeUnknown))
        {
            PrintErrorOf(
                pszCommand,
                QStringLiteral("Node %1 has no registers the register library describes.").arg(ulNode));
            return 1;
        }
        return 0;
    }
    // Opens the target and marks the map's host PE as the one reached through it.
    bool Connect()
    {
        m_connection = OpenMapTarget(m_map);
        return m_connection != nullptr;
    }
    CNetworkDocument& Map() { return m_map; }
    CPEPrimitive& PE() { return *m_pPE; }
    int Node() const { return m_pPE->iNodeNumber + 1; }

private:
    CNetworkDocument m_map;
    CPEPrimitive* m_pPE = nullptr;
    CliConnection m_connection{nullptr, [](CTargetConnection*) {}};
};

int RunRegsLoad(const SCliInvocation& invocation)
{
    const char* const pszCommand = "regs load";
    const CCliOptions options(invocation.args, {}, {});
    if (!options.Ok() || options.Positional().size() != 3)
    {
        return CliUsage("regs load MAP NODE FILE");
    }
    CCollectingInterface messages;
    CMapTarget target;
    if (const int iStatus = target.Open(pszCommand, options.Positional()[0], options.Positional()[1]))
    {
        PrintMessages(pszCommand, messages);
        return iStatus;
    }
    if (!target.Connect())
    {
        PrintMessages(pszCommand, messages);
        return 1;
    }
    const QString strFile = QString::fromStdString(options.Positional()[2]);
    const SRegisterLoadResult result = LoadRegisters(target.Map(), target.PE(), strFile);
    messages.Messages.removeAll(QStringLiteral("Reg not found"));
    PrintMessages(pszCommand, messages);
    if (!result.bOk)
    {
        return 1;
    }
    for (uint32_t ulOffset : result.unknownOffsets)
    {
        PrintErrorOf(pszCommand, QString::asprintf("Reg not found: offset %06Xh", ulOffset));
    }
    if (!result.bWritten)
    {
        PrintErrorOf(pszCommand,
                     QStringLiteral("Node %1 could not be reached; nothing was written.").arg(target.Node()));
        return 1;
    }
    std::printf("Loaded %d register values from %s and wrote them to Node %d\n", result.nValues,
                options.Positional()[2].c_str(), target.Node());
    if (result.nWriteFailures)
    {
        PrintErrorOf(pszCommand, QStringLiteral("%1 of the writes failed").arg(result.nWriteFailures));
        return 1;
    }
    return 0;
}

int RunRegsSave(const SCliInvocation& invocation)
{
    const char* const pszCommand = "regs save";
    const char* const pszUsage = "regs save MAP NODE FILE [--format csv|idt|sre] [--exclude-read-only]";
    const CCliOptions options(invocation.args, {"--format"}, {"--exclude-read-only"});
    if (!options.Ok() || options.Positional().size() != 3)
    {
        return CliUsage(pszUsage);
    }
    ERegisterFileFormat eFormat = eRegFormatInvalid;
    if (options.Has("--format"))
    {
        const std::string strFormat = options.Value("--format");
        eFormat = strFormat == "csv"   ? eRegFormatCsv
                  : strFormat == "idt" ? eRegFormatIdt
                  : strFormat == "sre" ? eRegFormatSRecord
                                       : eRegFormatInvalid;
        if (eFormat == eRegFormatInvalid)
        {
            return CliUsage(pszUsage);
        }
    }
    CCollectingInterface messages;
    CMapTarget target;
    if (const int iStatus = target.Open(pszCommand, options.Positional()[0], options.Positional()[1]))
    {
        PrintMessages(pszCommand, messages);
        return iStatus;
    }
    const QString strFile = QString::fromStdString(options.Positional()[2]);
    if (eFormat == eRegFormatInvalid && RegisterFileFormatOf(strFile) == eRegFormatInvalid)
    {
        PrintErrorOf(pszCommand, QStringLiteral("Invalid file extension."));
        return 1;
    }
    if (!target.Connect())
    {
        PrintMessages(pszCommand, messages);
        return 1;
    }
    // The values come from the device: every register is read first.
    const std::vector<RegisterItem> items = TreeRegisterItems(target.PE());
    CRegisterAccess access(target.Map());
    const int nRead = items.empty() ? 0 : access.UploadAll(items);
    PrintMessages(pszCommand, messages);
    if (items.empty() || nRead != static_cast<int>(items.size()))
    {
        PrintErrorOf(pszCommand, QStringLiteral("Read %1 of the %2 registers of Node %3; nothing was saved.")
                                     .arg(nRead)
                                     .arg(items.size())
                                     .arg(target.Node()));
        return 1;
    }
    std::printf("Read %d registers of Node %d\n", nRead, target.Node());
    const SRegisterSaveResult result =
        SaveRegisterValues(target.Map(), target.PE(), strFile, eFormat, options.Has("--exclude-read-only"));
    for (const QString& strError : result.errors)
    {
        PrintErrorOf(pszCommand, strError);
    }
    PrintMessages(pszCommand, messages);
    if (!result.bOk)
    {
        return 1;
    }
    std::printf("Saved %d register values to %s\n", result.nWritten, options.Positional()[2].c_str());
    return 0;
}

int RunRegsSet(const SCliInvocation& invocation)
{
    const char* const pszCommand = "regs set";
    const CCliOptions options(invocation.args, {}, {});
    if (!options.Ok() || options.Positional().size() != 5)
    {
        return CliUsage("regs set MAP NODE REGISTER FIELD VALUE");
    }
    CCollectingInterface messages;
    CMapTarget target;
    if (const int iStatus = target.Open(pszCommand, options.Positional()[0], options.Positional()[1]))
    {
        PrintMessages(pszCommand, messages);
        return iStatus;
    }
    const CRegisterFileInfo* pInfo = RegisterFileOf(target.PE());
    if (!pInfo)
    {
        PrintMessages(pszCommand, messages);
        return 1;
    }
    const QString strRegister = QString::fromStdString(options.Positional()[2]);
    const std::vector<SRegisterTreeItem> found = FindRegisters(RegisterTreeItems(*pInfo), strRegister);
    if (found.empty())
    {
        PrintErrorOf(pszCommand,
                     QStringLiteral("No register '%1' on Node %2").arg(strRegister).arg(target.Node()));
        return 1;
    }
    if (found.size() > 1)
    {
        QStringList offsets;
        for (const SRegisterTreeItem& item : found)
        {
            offsets << QString::asprintf("%Xh (%s)", item.uOffset, qPrintable(item.Place()));
        }
        PrintErrorOf(pszCommand, QStringLiteral("'%1' names several registers; give its offset: %2")
                                     .arg(strRegister, offsets.join(QStringLiteral(", "))));
        return 1;
    }
    const SRegisterTreeItem& treeItem = found.front();
    const QString strField = QString::fromStdString(options.Positional()[3]);
    int iField = -1;
    for (int f = 0; f < treeItem.pRegister->GetNumBitFields(); ++f)
    {
        if (treeItem.pRegister->GetBitField(f)->Name.compare(strField, Qt::CaseInsensitive) == 0)
        {
            iField = f;
            break;
        }
    }
    if (iField < 0)
    {
        PrintErrorOf(
            pszCommand,
            QStringLiteral("Register '%1' has no field '%2'").arg(treeItem.pRegister->Name, strField));
        return 1;
    }
    const CBitField& field = *treeItem.pRegister->GetBitField(iField);
    const QString strValue = QString::fromStdString(options.Positional()[4]);
    uint64_t ulField = 0;
    if (!NumberFromText(strValue, field.iNumBits >= 64 ? ~0ull : (1ull << field.iNumBits) - 1, &ulField))
    {
        PrintErrorOf(pszCommand, InvalidEntryText() + QStringLiteral(" '%1' does not fit the %2 bits of %3")
                                                          .arg(strValue)
                                                          .arg(field.iNumBits)
                                                          .arg(field.Name));
        return 2;
    }
    if (!target.Connect())
    {
        PrintMessages(pszCommand, messages);
        return 1;
    }
    RegisterItem item;
    for (const RegisterItem& candidate : TreeRegisterItems(target.PE()))
    {
        if (candidate.pRegister == treeItem.pRegister && candidate.uOffset == treeItem.uOffset)
        {
            item = candidate;
        }
    }
    if (!item.pRegister)
    {
        PrintErrorOf(
            pszCommand,
            QStringLiteral("Register '%1' is not a maintenance register").arg(treeItem.pRegister->Name));
        return 1;
    }
    // The editor's commit: the register is read, the field merged in, written and read back.
    CRegisterAccess access(target.Map());
    uint32_t ulBefore = 0;
    if (!access.PrepareAccess(target.PE()) || access.UploadRegister(item, &ulBefore) != 0 ||
        !access.CommitField(item, iField, strValue))
    {
        PrintMessages(pszCommand, messages);
        return 1;
    }
    const uint32_t ulAfter = target.PE().SavedRegisters.Find(item.uOffset)->uValue;
    std::printf("Node %d %s at %Xh, field %s = %s: %08Xh -> %08Xh\n", target.Node(),
                qPrintable(treeItem.pRegister->Name), item.uOffset, qPrintable(field.Name),
                qPrintable(NumberToText(field.Extract(ulAfter, treeItem.pRegister->GetNumBits()), 16, true)),
                ulBefore, ulAfter);
    return 0;
}

int RunRegsFind(const SCliInvocation& invocation)
{
    const char* const pszCommand = "regs find";
    const char* const pszUsage = "regs find DEVICE VENDOR TEXT [--match-case] [--regex] [--scope "
                                 "names,groups,offsets,fields] [--switch]";
    const CCliOptions options(invocation.args, {"--scope"}, {"--match-case", "--regex", "--switch"});
    uint16_t wDevice = 0;
    uint16_t wVendor = 0;
    if (!options.Ok() || options.Positional().size() != 3 || !ParseID(options.Positional()[0], &wDevice) ||
        !ParseID(options.Positional()[1], &wVendor))
    {
        return CliUsage(pszUsage);
    }
    SRegisterSearchOptions search;
    search.bMatchCase = options.Has("--match-case");
    search.bUseRegEx = options.Has("--regex");
    if (options.Has("--scope"))
    {
        search.bSearchRegNames = search.bSearchTitles = search.bSearchOffsets = search.bSearchBitfields =
            false;
        for (const QString& strScope :
             QString::fromStdString(options.Value("--scope")).split(QLatin1Char(',')))
        {
            if (strScope == QLatin1String("names"))
            {
                search.bSearchRegNames = true;
            }
            else if (strScope == QLatin1String("groups"))
            {
                search.bSearchTitles = true;
            }
            else if (strScope == QLatin1String("offsets"))
            {
                search.bSearchOffsets = true;
            }
            else if (strScope == QLatin1String("fields"))
            {
                search.bSearchBitfields = true;
            }
            else
            {
                return CliUsage(pszUsage);
            }
        }
    }
    CRegisterSearch finder;
    if (!finder.SetPattern(QString::fromStdString(options.Positional()[2]), search))
    {
        PrintErrorOf(pszCommand, finder.Error());
        return 1;
    }
    CCollectingInterface messages;
    bool bSwitch = options.Has("--switch");
    CDeviceInfo info;
    if (CDeviceInfo::DeviceFilesExist(wDevice, wVendor) && info.LoadForDevice(wDevice, wVendor, bSwitch))
    {
        bSwitch = (info.GetPEType() & kPETypeSwitch) != 0;
    }
    CRegisterFileInfo* pFile = GetRegisterInfoCache().GetFileInfo(wDevice, wVendor, bSwitch);
    if (!pFile)
    {
        PrintErrorOf(pszCommand, messages.Messages.isEmpty() ? GetRegisterInfoCache().LastError()
                                                             : messages.Messages.join(QLatin1Char(' ')));
        return 1;
    }
    const std::vector<SRegisterTreeItem> items = RegisterTreeItems(*pFile);
    const std::vector<int> hits = finder.FindAll(items);
    for (int iHit : hits)
    {
        const SRegisterTreeItem& item = items[static_cast<size_t>(iHit)];
        if (item.eKind != eTreeRegister)
        {
            std::printf("group     %s\n",
                        qPrintable(item.eKind == eTreeSet ? item.Place() : item.pBlock->Name));
            continue;
        }
        QString strWhat;
        finder.Matches(item, &strWhat);
        const QString strAddress =
            item.pRegister->bMemSpaceIO
                ? QString::asprintf("%llXh",
                                    static_cast<unsigned long long>(item.pRegister->uLocalAddr +
                                                                    (item.pSet ? item.pSet->uOffset : 0)))
                : QString::asprintf("%06Xh", item.uOffset);
        std::printf("register  %s  %s  [%s]  (%s)\n", qPrintable(strAddress),
                    qPrintable(item.pRegister->Name), qPrintable(item.Place()), qPrintable(strWhat));
    }
    if (hits.empty())
    {
        PrintErrorOf(pszCommand, QStringLiteral("Not found."));
        return 1;
    }
    return 0;
}
} // namespace

extern const SCliCommand g_aRegsCommands[] = {
    {"regs show", "[--switch] DEVICE VENDOR [BLOCK]", RunRegsShow},
    {"regs find",
     "DEVICE VENDOR TEXT [--match-case] [--regex] [--scope names,groups,offsets,fields] [--switch]",
     RunRegsFind},
    {"regs load", "MAP NODE FILE", RunRegsLoad},
    {"regs save", "MAP NODE FILE [--format csv|idt|sre] [--exclude-read-only]", RunRegsSave},
    {"regs set", "MAP NODE REGISTER FIELD VALUE", RunRegsSet},
    {nullptr, nullptr, nullptr},
};

// The register commands of norvanta-cli: the register tree of a device as the register library
// describes it.
#include "CliCollectingInterface.h"
#include "CliCommand.h"

#include "DeviceInfo.h"
#include "NumberText.h"
#include "PETypes.h"
#include "RegisterInfoCache.h"
#include "UserInterface.h"

#include <QStringList>

#include <cstdio>
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
} // namespace

extern const SCliCommand g_aRegsCommands[] = {
    {"regs show", "[--switch] DEVICE VENDOR [BLOCK]", RunRegsShow},
    {nullptr, nullptr, nullptr},
};

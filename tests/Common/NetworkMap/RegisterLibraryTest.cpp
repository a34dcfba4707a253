// The register library shipped under Modules/: every device file loads, every table of contents
// entry finds its block, and the generic files describe the standard registers.
#include "DeviceInfo.h"
#include "RegisterInfoCache.h"
#include "TestHelpers.h"

#include <QDir>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <set>

namespace
{
const QString kModules = QStringLiteral(NV_MODULES_SOURCE_DIR);

std::unique_ptr<CRegisterFileInfo> ReadPlain(const QString& strPath)
{
    QString strError;
    auto pInfo = CRegisterInfoCache::ReadFile(strPath, false, &strError);
    EXPECT_NE(pInfo, nullptr) << strPath.toStdString() << ": " << strError.toStdString();
    return pInfo;
}

// Checks what every register file of the library must hold: sane fields in every register.
void CheckRegisters(const CRegisterFileInfo& info, const QString& strFile)
{
    for (int b = 0; b < info.GetNumBlocks(); ++b)
    {
        const CRegisterBlock& block = *info.GetBlock(b);
        EXPECT_GT(block.GetNumRegisters(), 0) << strFile.toStdString() << " " << block.Name.toStdString();
        for (int r = 0; r < block.GetNumRegisters(); ++r)
        {
            const CRegister& reg = *block.GetRegister(r);
            EXPECT_EQ(reg.uByteOffset % 4, 0u) << strFile.toStdString() << " " << reg.Name.toStdString();
            uint32_t uSeen = 0;
            for (int f = 0; f < reg.GetNumBitFields(); ++f)
            {
                const uint32_t uMask = reg.GetBitField(f)->GetMask(reg.GetNumBits());
                EXPECT_EQ(uSeen & uMask, 0u)
                    << strFile.toStdString() << ": overlapping fields in " << reg.Name.toStdString();
                uSeen |= uMask;
            }
        }
    }
}
} // namespace

TEST(RegisterLibrary, EveryDeviceFileLoadsAndFindsItsBlocks)
{
    CMessageRecorder recorder;
    const QStringList devices = QDir(kModules).entryList({QStringLiteral("*.nvi")}, QDir::Files);
    std::set<QString> names;
    for (const QString& strName : devices)
    {
        names.insert(strName);
    }
    // The generic pair and the device families the library promises.
    for (const char* pszName : {"0_FFFFFFFE.nvi", "0_FFFFFFFF.nvi", "0_03740038.nvi", "0_03750038.nvi",
                                "0_03790038.nvi", "0_03780038.nvi", "0_0574000D.nvi", "0_0575000D.nvi",
                                "0_0577000D.nvi", "0_0578000D.nvi", "0_0568000D.nvi", "0_80AB0038.nvi"})
    {
        EXPECT_TRUE(names.count(QString::fromLatin1(pszName))) << pszName;
    }
    for (const QString& strName : devices)
    {
        const QString strPath = kModules + QLatin1Char('/') + strName;
        CDeviceInfo info;
        ASSERT_TRUE(info.Load(strPath)) << info.LastError().toStdString();
        EXPECT_FALSE(info.GetComments().isEmpty()) << strName.toStdString() << " names no source";
        EXPECT_TRUE(QFileInfo::exists(QStringLiteral(NV_MODULES_SOURCE_DIR "/../Bitmaps/") +
                                      info.GetBitmapFile() + QStringLiteral("-kwn-lrg-nosel.svg")))
            << info.GetBitmapFile().toStdString();
        const QString strRegisters = strPath.chopped(4) + QStringLiteral(".nvr");
        auto pFile = ReadPlain(strRegisters);
        ASSERT_NE(pFile, nullptr);
        CheckRegisters(*pFile, strRegisters);
        for (int i = 0; i < info.GetNumTOCEntries(); ++i)
        {
            if (info.GetTOCType(i) == eTOCRegister)
            {
                EXPECT_NE(pFile->FindBlock(info.GetTOCEntry(i)), nullptr)
                    << strName.toStdString() << ": " << info.GetTOCEntry(i).toStdString();
            }
        }
    }
    EXPECT_TRUE(recorder.Messages.isEmpty()) << recorder.Messages.join(QLatin1Char('\n')).toStdString();
}

TEST(RegisterLibrary, GenericFilesHoldTheStandardRegistersPerPort)
{
    for (const char* pszName : {"0_FFFFFFFE.nvr", "0_FFFFFFFF.nvr"})
    {
        auto pFile = ReadPlain(kModules + QLatin1Char('/') + QLatin1String(pszName));
        ASSERT_NE(pFile, nullptr);
        const CRegisterBlock* pCars = pFile->FindBlock(QStringLiteral("Capability Registers (CARs)"));
        ASSERT_NE(pCars, nullptr);
        const CRegister* pIdentity = pCars->GetRegister(0);
        ASSERT_NE(pIdentity, nullptr);
        EXPECT_EQ(pIdentity->uByteOffset, 0u);
        ASSERT_EQ(pIdentity->GetNumBitFields(), 2);
        EXPECT_EQ(pIdentity->GetBitField(0)->iFirstBit, 0);
        EXPECT_EQ(pIdentity->GetBitField(0)->iLastBit, 15);

        const CRegisterBlock* pSerial = pFile->FindBlock(QStringLiteral("LP-Serial Port Registers"));
        ASSERT_NE(pSerial, nullptr);
        ASSERT_GE(pSerial->GetNumSets(), QLatin1String(pszName) == QLatin1String("0_FFFFFFFE.nvr") ? 16 : 2);
        EXPECT_EQ(pSerial->GetSet(1)->uOffset - pSerial->GetSet(0)->uOffset, 0x20u);
        const CRegisterBlock* pErrors = pFile->FindBlock(QStringLiteral("Error Management Port Registers"));
        ASSERT_NE(pErrors, nullptr);
        EXPECT_EQ(pErrors->GetSet(1)->uOffset - pErrors->GetSet(0)->uOffset, 0x40u);

        // Where the standard enumerates a field's values, the field carries them.
        bool bFound = false;
        for (int r = 0; r < pSerial->GetNumRegisters(); ++r)
        {
            const CRegister& reg = *pSerial->GetRegister(r);
            for (int f = 0; f < reg.GetNumBitFields(); ++f)
            {
                if (reg.GetBitField(f)->Name == QLatin1String("Selected Baudrate"))
                {
                    bFound = true;
                    EXPECT_EQ(reg.uByteOffset, 0x54u);
                    EXPECT_EQ(reg.GetBitField(f)->iFirstBit, 0);
                    EXPECT_EQ(reg.GetBitField(f)->iLastBit, 3);
                    EXPECT_EQ(reg.GetBitField(f)->GetValueText(2), QStringLiteral("2.5 Gbaud"));
                }
            }
        }
        EXPECT_TRUE(bFound);
    }
}

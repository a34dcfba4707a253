// Register files and their cache: bit numbering, colours, value texts, limits, the serialized
// form, and which file the cache reads for a device.
#include "Cipher.h"
#include "DeviceInfo.h"
#include "PrimitiveList.h"
#include "RegisterInfoCache.h"
#include "TestHelpers.h"

#include <gtest/gtest.h>

namespace
{
QByteArray Field(const QByteArray& strBits, const QByteArray& strExtra = {})
{
    return "<BitField><Name>F</Name><Bits>" + strBits + "</Bits>" + strExtra + "</BitField>";
}

QByteArray RegisterFile(const QByteArray& strFields, const QByteArray& strBlockAttributes = {},
                        const QByteArray& strOffset = "<ByteOffset>0x60</ByteOffset>")
{
    return "<?xml version=\"1.0\"?>\n<NorvantaMemoryMap Version=\"1.3\">\n<RegisterBlock Name=\"Block\"" +
           strBlockAttributes +
           "><RegisterSets><RegisterSetInfo><Name>Port 0</Name><Offset>0x158</Offset></RegisterSetInfo>"
           "<RegisterSetInfo><Name>Port 1</Name><Offset>376</Offset></RegisterSetInfo></RegisterSets>"
           "<RegisterList><Register>" +
           strOffset + "<Name>Reg</Name><BitFieldList>" + strFields +
           "</BitFieldList></Register></RegisterList></RegisterBlock>\n</NorvantaMemoryMap>\n";
}

class RegisterFiles : public ::testing::Test
{
protected:
    // Reads a file's text as the cache does; the first field of the first register, or null.
    const CBitField* FirstField(const QByteArray& text)
    {
        m_Info = std::make_unique<CRegisterFileInfo>();
        QString strReason;
        m_Result = m_Info->ReadXml(text, &strReason);
        if (m_Result != ERegisterFileRead::Ok)
        {
            return nullptr;
        }
        CRegister* pRegister = m_Info->GetBlock(0)->GetRegister(0);
        return pRegister ? pRegister->GetBitField(0) : nullptr;
    }

    void TearDown() override { GetRegisterInfoCache().Clear(); }

    CMessageRecorder m_Recorder;
    std::unique_ptr<CRegisterFileInfo> m_Info;
    ERegisterFileRead m_Result = ERegisterFileRead::Ok;
};
} // namespace

TEST_F(RegisterFiles, BitNumbersFollowTheBlockOrder)
{
    const CBitField* pField = FirstField(RegisterFile(Field("7:0"), " BitOrder=\"msb_hi\""));
    ASSERT_NE(pField, nullptr);
    EXPECT_EQ(pField->iFirstBit, 24);
    EXPECT_EQ(pField->iLastBit, 31);
    EXPECT_EQ(pField->iNumBits, 8);
    EXPECT_EQ(pField->GetMask(32), 0x000000FFu);
    EXPECT_EQ(pField->Extract(0x12345678, 32), 0x78u);

    pField = FirstField(RegisterFile(Field("7:0")));
    ASSERT_NE(pField, nullptr);
    EXPECT_EQ(pField->iFirstBit, 0);
    EXPECT_EQ(pField->iLastBit, 7);
    EXPECT_EQ(pField->GetMask(32), 0xFF000000u);
    EXPECT_EQ(pField->Extract(0x12345678, 32), 0x12u);

    pField = FirstField(RegisterFile(Field("3:12"), " NumRegisterBits=\"16\" BitOrder=\"MSB_Hi\""));
    ASSERT_NE(pField, nullptr);
    EXPECT_EQ(pField->iFirstBit, 3);
    EXPECT_EQ(pField->iLastBit, 12);
    EXPECT_EQ(m_Info->GetBlock(0)->GetRegister(0)->GetNumBits(), 16);
    EXPECT_TRUE(m_Info->GetBlock(0)->GetRegister(0)->bMSB_Hi);
    EXPECT_EQ(pField->GetMask(16), 0x1FF8u);

    pField = FirstField(RegisterFile(Field("5")));
    ASSERT_NE(pField, nullptr);
    EXPECT_EQ(pField->iNumBits, 1);
    EXPECT_EQ(pField->iFirstBit, 5);
    EXPECT_EQ(pField->iLastBit, 5);

    // A bit beyond the register's width has no meaning.
    EXPECT_EQ(FirstField(RegisterFile(Field("32"))), nullptr);
    EXPECT_EQ(m_Result, ERegisterFileRead::BadContent);
    EXPECT_EQ(FirstField(RegisterFile(Field("3:-1"))), nullptr);
}

// A block's width that is missing or bad is 32 bits: the file is read, numbered from the top of a
// 32-bit register.
TEST_F(RegisterFiles, AMissingOrBadRegisterWidthIs32Bits)
{
    for (const QByteArray& attribute :
         {QByteArray(), QByteArray(" NumRegisterBits=\"wide\""), QByteArray(" NumRegisterBits=\"\""),
          QByteArray(" NumRegisterBits=\"12\""), QByteArray(" NumRegisterBits=\"64\"")})
    {
        const CBitField* pField =
            FirstField(RegisterFile(Field("31") + Field("7:0"), attribute + " BitOrder=\"MSB_Hi\""));
        ASSERT_NE(pField, nullptr) << attribute.constData();
        EXPECT_EQ(m_Info->GetBlock(0)->NumRegisterBits, 32) << attribute.constData();
        EXPECT_EQ(m_Info->GetBlock(0)->GetRegister(0)->GetNumBits(), 32) << attribute.constData();
        EXPECT_EQ(pField->iFirstBit, 0) << attribute.constData();
        EXPECT_EQ(m_Info->GetBlock(0)->GetRegister(0)->GetBitField(1)->GetMask(32), 0x000000FFu);
    }
    // A good width still holds, and a bit beyond it is still refused.
    ASSERT_NE(FirstField(RegisterFile(Field("7:0"), " NumRegisterBits=\"8\" BitOrder=\"MSB_Hi\"")), nullptr);
    EXPECT_EQ(m_Info->GetBlock(0)->NumRegisterBits, 8);
    EXPECT_EQ(FirstField(RegisterFile(Field("8"), " NumRegisterBits=\"8\"")), nullptr);
    EXPECT_EQ(m_Result, ERegisterFileRead::BadContent);
}

TEST_F(RegisterFiles, ColoursAccessAndValueTexts)
{
    const CBitField* pField = FirstField(RegisterFile(
        Field("0:3", "<Color>0x00FF00</Color><Access>WO</Access><ValueList><Value>0x3=Three</Value>"
                     "<Value>101b=Five=5</Value><Value>junk</Value><Value>3=Again</Value></ValueList>")));
    ASSERT_NE(pField, nullptr);
    EXPECT_EQ(pField->uColor, 0xFF00FF00u);
    EXPECT_EQ(pField->iAccess, eAccessReadWrite);
    EXPECT_EQ(pField->GetValueText(3), QStringLiteral("Three"));
    EXPECT_EQ(pField->GetValueText(5), QStringLiteral("Five=5"));
    EXPECT_EQ(pField->GetValueText(4), QString());

    pField = FirstField(RegisterFile(Field("0", "<Color>green</Color><Access>R</Access>")));
    ASSERT_NE(pField, nullptr);
    EXPECT_EQ(pField->uColor, kNoFieldColor);
    EXPECT_EQ(pField->iAccess, eAccessReadOnly);
    pField = FirstField(RegisterFile(Field("0")));
    EXPECT_EQ(pField->iAccess, eAccessReadOnly);
}

TEST_F(RegisterFiles, SetsOffsetsAndLimits)
{
    QByteArray fields;
    for (int i = 0; i < 33; ++i)
    {
        fields += Field(QByteArray::number(i % 32));
    }
    ASSERT_NE(FirstField(RegisterFile(fields)), nullptr);
    CRegisterBlock& block = *m_Info->GetBlock(0);
    EXPECT_EQ(block.GetRegister(0)->GetNumBitFields(), 32);
    EXPECT_EQ(block.GetRegister(0)->uByteOffset, 0x60u);
    ASSERT_EQ(block.GetNumSets(), 2);
    EXPECT_EQ(block.GetSet(0)->uOffset, 0x158u);
    EXPECT_EQ(block.GetSet(1)->uOffset, 376u);
    EXPECT_EQ(block.GetSet(2), nullptr);
    EXPECT_EQ(block.GetFirstSet()->Name, QStringLiteral("Port 0"));
    EXPECT_EQ(block.GetNextSet()->Name, QStringLiteral("Port 1"));
    EXPECT_EQ(block.GetNextSet(), nullptr);
    EXPECT_EQ(m_Info->FindBlock(QStringLiteral("Block")), &block);
    EXPECT_EQ(m_Info->GetFirstBlock(), &block);
    EXPECT_EQ(m_Info->GetNextBlock(), nullptr);
    EXPECT_EQ(block.GetFirstRegister(), block.GetRegister(0));
    EXPECT_EQ(block.GetNextRegister(), nullptr);
    EXPECT_EQ(m_Info->FindBlock(QStringLiteral("block")), nullptr);

    CRegister reg;
    for (int i = 0; i < 32; ++i)
    {
        EXPECT_TRUE(reg.AddBitField(std::make_unique<CBitField>()));
    }
    EXPECT_FALSE(reg.AddBitField(std::make_unique<CBitField>()));
    reg.SetNumBits(24);
    EXPECT_EQ(reg.GetNumBits(), 24);
    reg.SetNumBits(12);
    EXPECT_EQ(reg.GetNumBits(), 24);

    // Offsets without "0x" fail the read; I/O blocks take two addresses.
    EXPECT_EQ(FirstField(RegisterFile(Field("0"), {}, "<ByteOffset>100</ByteOffset>")), nullptr);
    EXPECT_EQ(m_Result, ERegisterFileRead::BadContent);
    ASSERT_NE(FirstField(RegisterFile(Field("0"), " MemSpace=\"io\"",
                                      "<LocalAddr>0x1000000000</LocalAddr><RIO_Addr>0xFFFF0000</RIO_Addr>")),
              nullptr);
    EXPECT_TRUE(m_Info->GetBlock(0)->GetRegister(0)->bMemSpaceIO);
    EXPECT_EQ(m_Info->GetBlock(0)->GetRegister(0)->uLocalAddr, 0x1000000000ull);
    EXPECT_EQ(FirstField(RegisterFile(Field("0"), " MemSpace=\"IO\"")), nullptr);

    EXPECT_EQ(FirstField("<NorvantaMemoryMap Version=\"1.2\"/>"), nullptr);
    EXPECT_EQ(m_Result, ERegisterFileRead::BadVersion);
    EXPECT_EQ(FirstField("<NorvantaMemoryMap Version=\"1.3\">"), nullptr);
    EXPECT_EQ(m_Result, ERegisterFileRead::ParseError);
    EXPECT_EQ(FirstField(RegisterFile(Field("0"))
                             .replace("<RegisterSets>", "<Sets>")
                             .replace("</RegisterSets>", "</Sets>")),
              nullptr);
    EXPECT_EQ(m_Result, ERegisterFileRead::BadContent);
}

TEST_F(RegisterFiles, SerializedFormRoundTripsAndRefusesHostileCounts)
{
    ASSERT_NE(FirstField(RegisterFile(Field("2:9", "<Color>0x123456</Color><ValueList><Value>1=On</Value>"
                                                   "</ValueList>") +
                                      Field("31"))),
              nullptr);
    CRegisterBlock& block = *m_Info->GetBlock(0);
    block.GetRegister(0)->Name = QString(300, QLatin1Char('x'));
    block.GetRegister(0)->eDisplayBase = 2;
    CBinaryArchive out;
    block.Serialize(out);
    // The long name is written with the byte 0xFF and a 16-bit length.
    EXPECT_TRUE(out.Data().contains(QByteArray("\xFF\x2C\x01", 3)));

    CBinaryArchive in(out.Data());
    CRegisterBlock copy;
    copy.Serialize(in);
    ASSERT_FALSE(in.HasFailed());
    EXPECT_EQ(in.Remaining(), 0);
    EXPECT_EQ(copy.Name, QStringLiteral("Block"));
    EXPECT_EQ(copy.GetNumSets(), 2);
    EXPECT_EQ(copy.GetSet(1)->uOffset, 376u);
    ASSERT_EQ(copy.GetNumRegisters(), 1);
    const CRegister& reg = *copy.GetRegister(0);
    EXPECT_EQ(reg.Name.size(), 300);
    EXPECT_EQ(reg.eDisplayBase, 2u);
    EXPECT_EQ(reg.uByteOffset, 0x60u);
    ASSERT_EQ(reg.GetNumBitFields(), 2);
    EXPECT_EQ(reg.GetBitField(0)->iFirstBit, 2);
    EXPECT_EQ(reg.GetBitField(0)->iLastBit, 9);
    EXPECT_EQ(reg.GetBitField(0)->uColor, 0xFF123456u);
    EXPECT_EQ(reg.GetBitField(0)->Values, QStringList{QStringLiteral("1=On")});

    // Cut short, or with a count no file could hold, the archive fails instead of allocating.
    CBinaryArchive truncated(out.Data().left(out.Data().size() - 3));
    CRegisterBlock partial;
    partial.Serialize(truncated);
    EXPECT_TRUE(truncated.HasFailed());
    QByteArray hostile = out.Data();
    hostile.replace(QByteArray("\x02\x00\x00\x00", 4) + "\x06Port 0",
                    QByteArray("\xFF\xFF\xFF\x7F", 4) + "\x06Port 0");
    CBinaryArchive many(hostile);
    partial.Serialize(many);
    EXPECT_TRUE(many.HasFailed());
}

TEST_F(RegisterFiles, CacheReadsTheGenericFileOnceForAllUnknownSwitches)
{
    CScratchDir modules;
    QByteArray generic = RegisterFile(Field("0"));
    ASSERT_TRUE(EncipherBuffer(generic, ECipherKey::RegisterFile));
    modules.Write(QStringLiteral("0_FFFFFFFE.envr"), generic);

    CRegisterInfoCache& cache = GetRegisterInfoCache();
    CRegisterFileInfo* pFirst = cache.GetFileInfo(0x1111, 0x0038, true);
    ASSERT_NE(pFirst, nullptr) << cache.LastError().toStdString();
    EXPECT_EQ(pFirst->DeviceID, 0xFFFE);
    EXPECT_EQ(pFirst->VendorID, 0xFFFF);
    EXPECT_EQ(cache.GetFileInfo(0x2222, 0x000D, true), pFirst);
    EXPECT_EQ(cache.GetCount(), 1);

    // The endpoint's generic file is missing: reported each time, never cached.
    EXPECT_EQ(cache.GetFileInfo(0x1111, 0x0038, false), nullptr);
    EXPECT_EQ(m_Recorder.Messages, QStringList{QStringLiteral("Unable to find register file")});
    modules.Write(QStringLiteral("0_FFFFFFFF.envr"), RegisterFile(Field("0")));
    m_Recorder.Messages.clear();
    EXPECT_EQ(cache.GetFileInfo(0x1111, 0x0038, false), nullptr);
    EXPECT_EQ(m_Recorder.Messages, QStringList{QStringLiteral("Invalid register library file format.")});

    // A known device's own file, plain.
    modules.Write(QStringLiteral("0_03780038.nvi"), "<NorvantaDeviceInfo Version=\"1.3\"/>");
    modules.Write(QStringLiteral("0_03780038.nvr"), RegisterFile(Field("4:7")));
    CRegisterFileInfo* pOwn = cache.GetFileInfo(0x0378, 0x0038, true);
    ASSERT_NE(pOwn, nullptr);
    EXPECT_EQ(pOwn->DeviceID, 0x0378);
    EXPECT_EQ(pOwn->Name, QStringLiteral("0_03780038"));

    // A missing element fails without a message, and the entry isn't kept.
    modules.Write(QStringLiteral("0_04780038.nvi"), "<NorvantaDeviceInfo Version=\"1.3\"/>");
    modules.Write(QStringLiteral("0_04780038.nvr"),
                  RegisterFile(Field("0"), {}, "<ByteOffset>100</ByteOffset>"));
    m_Recorder.Messages.clear();
    EXPECT_EQ(cache.GetFileInfo(0x0478, 0x0038, true), nullptr);
    EXPECT_TRUE(m_Recorder.Messages.isEmpty());
    EXPECT_FALSE(cache.LastError().isEmpty());

    modules.Write(QStringLiteral("0_05780038.nvi"), "<NorvantaDeviceInfo Version=\"1.3\"/>");
    modules.Write(QStringLiteral("0_05780038.nvr"), "<NorvantaMemoryMap Version=\"2.0\"/>");
    EXPECT_EQ(cache.GetFileInfo(0x0578, 0x0038, true), nullptr);
    EXPECT_EQ(m_Recorder.Messages,
              QStringList{QStringLiteral("Invalid file format.  Missing or bad document version")});

    // Rebuild reads the files of real PEs only.
    CPEList pes;
    auto pKnown = std::make_unique<CPEPrimitive>();
    pKnown->DeviceID = 0x0378;
    pKnown->ManufID = 0x0038;
    pKnown->uType = kPETypeSwitch;
    pes.AddPrimitive(std::move(pKnown));
    auto pNull = std::make_unique<CPEPrimitive>();
    pNull->uType = kPETypeNull;
    pes.AddPrimitive(std::move(pNull));
    cache.Rebuild(pes);
    EXPECT_EQ(cache.GetCount(), 1);
}

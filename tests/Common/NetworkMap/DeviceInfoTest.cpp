// Device information files: which rank of a device's files counts, what loads, and the texts of
// every refusal.
#include "DeviceInfo.h"
#include "PETypes.h"
#include "TestHelpers.h"

#include <gtest/gtest.h>

namespace
{
QByteArray DeviceFile(const QByteArray& strPEType, const QByteArray& strTOC, const char* pszVersion = "1.3")
{
    return QByteArray("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n") +
           "<!-- Test device -->\n<!--   second line   -->\n<NorvantaDeviceInfo Version=\"" + pszVersion +
           "\" EnhancedAvail=\"Yes\">\n<BitmapFile>sw-reg</BitmapFile>\n<CommonName>Test</CommonName>\n"
           "<PEType>" +
           strPEType + "</PEType>\n<TOC>" + strTOC + "</TOC>\n</NorvantaDeviceInfo>\n";
}

const QByteArray kOneEntry = "<TOCEntry Type=\"Register\">Standard Registers</TOCEntry>";

class DeviceInfo : public ::testing::Test
{
protected:
    CMessageRecorder m_Recorder;
    CScratchDir m_Modules;
};
} // namespace

TEST_F(DeviceInfo, TheHighestRankWithAnInformationFileDecides)
{
    bool bEnciphered = true;
    int iRank = -1;
    EXPECT_FALSE(CDeviceInfo::DeviceFilesExist(0x0374, 0x000D, &bEnciphered, &iRank));

    m_Modules.Write(QStringLiteral("4_0374000D.nvi"), DeviceFile("S", kOneEntry));
    m_Modules.Write(QStringLiteral("4_0374000D.nvr"), "");
    EXPECT_TRUE(CDeviceInfo::DeviceFilesExist(0x0374, 0x000D, &bEnciphered, &iRank));
    EXPECT_FALSE(bEnciphered);
    EXPECT_EQ(iRank, 4);

    // An .nvi of rank 5 without its register file hides the complete rank 4.
    m_Modules.Write(QStringLiteral("5_0374000D.nvi"), DeviceFile("S", kOneEntry));
    EXPECT_FALSE(CDeviceInfo::DeviceFilesExist(0x0374, 0x000D));
    m_Modules.Write(QStringLiteral("5_0374000D.nvr"), "");
    m_Modules.Write(QStringLiteral("5_0374000D.envr"), "");
    EXPECT_TRUE(CDeviceInfo::DeviceFilesExist(0x0374, 0x000D, &bEnciphered, &iRank));
    EXPECT_TRUE(bEnciphered);
    EXPECT_EQ(iRank, 5);
}

TEST_F(DeviceInfo, LoadForDeviceTakesRankOneOrZeroElseTheGenericFile)
{
    m_Modules.Write(QStringLiteral("3_ABCD0038.nvi"), DeviceFile("P", kOneEntry));
    m_Modules.Write(QStringLiteral("3_ABCD0038.nvr"), "");
    CDeviceInfo info;
    EXPECT_TRUE(CDeviceInfo::DeviceFilesExist(0xABCD, 0x0038));
    EXPECT_FALSE(info.LoadForDevice(0xABCD, 0x0038, true));
    EXPECT_EQ(m_Recorder.Messages, QStringList{QStringLiteral("The generic device file is missing.")});

    m_Modules.Write(QStringLiteral("0_FFFFFFFE.nvi"), DeviceFile("S", kOneEntry));
    m_Modules.Write(QStringLiteral("0_FFFFFFFF.nvi"), DeviceFile("PM", kOneEntry));
    ASSERT_TRUE(info.LoadForDevice(0xABCD, 0x0038, true));
    EXPECT_EQ(info.GetPEType(), kPETypeSwitch);
    ASSERT_TRUE(info.LoadForDevice(0xABCD, 0x0038, false));
    EXPECT_EQ(info.GetPEType(), kPETypeProcessor | kPETypeMemory);

    m_Modules.Write(QStringLiteral("0_ABCD0038.nvi"), DeviceFile("B", kOneEntry));
    ASSERT_TRUE(info.LoadForDevice(0xABCD, 0x0038, false));
    EXPECT_EQ(info.GetPEType(), kPETypeBridge);
    m_Modules.Write(QStringLiteral("1_ABCD0038.nvi"), DeviceFile("SP", kOneEntry));
    ASSERT_TRUE(info.LoadForDevice(0xABCD, 0x0038, false));
    EXPECT_EQ(info.GetPEType(), 10u);
}

TEST_F(DeviceInfo, ReadsFieldsCommentsAndAtMost200Entries)
{
    QByteArray toc;
    for (int i = 0; i < 201; ++i)
    {
        toc += "<TOCEntry Type=\"" + QByteArray(i % 2 ? "I2C" : "Register") + "\">Block " +
               QByteArray::number(i) + "</TOCEntry>";
    }
    CDeviceInfo info;
    ASSERT_TRUE(info.Load(m_Modules.Write(QStringLiteral("many.nvi"), DeviceFile("Unknown", toc))));
    EXPECT_EQ(info.GetNumTOCEntries(), 200);
    EXPECT_EQ(info.GetTOCEntry(0), QStringLiteral("Block 0"));
    EXPECT_EQ(info.GetTOCType(0), eTOCRegister);
    EXPECT_EQ(info.GetTOCType(199), eTOCI2C);
    EXPECT_EQ(info.GetTOCEntry(199), QStringLiteral("Block 199"));
    EXPECT_EQ(info.GetTOCType(200), 0);
    EXPECT_EQ(info.GetTOCEntry(200), QString());
    EXPECT_EQ(info.GetTOCType(-1), 0);
    EXPECT_EQ(info.GetPEType(), kPETypeUnknown);
    EXPECT_EQ(info.GetBitmapFile(), QStringLiteral("sw-reg"));
    EXPECT_EQ(info.GetCommonName(), QStringLiteral("Test"));
    EXPECT_TRUE(info.GetEnhancedAvail());
    EXPECT_EQ(info.GetComments(), QStringLiteral("Test device\nsecond line\n"));

    ASSERT_TRUE(info.Load(m_Modules.Write(QStringLiteral("null.nvi"), DeviceFile("Null", kOneEntry))));
    EXPECT_EQ(info.GetPEType(), kPETypeNull);
    // The words are compared with their case.
    ASSERT_TRUE(info.Load(m_Modules.Write(QStringLiteral("null.nvi"), DeviceFile("null", kOneEntry))));
    EXPECT_EQ(info.GetPEType(), 0u);
    EXPECT_TRUE(m_Recorder.Messages.isEmpty());
}

TEST_F(DeviceInfo, RefusalsNameTheFile)
{
    const QString strPath = m_Modules.Path(QStringLiteral("bad.nvi"));
    const struct
    {
        QByteArray contents;
        QString strMessage;
    } cases[] = {
        {DeviceFile("S", "<TOCEntry Type=\"register\">R</TOCEntry>"),
         QStringLiteral("Invalid file format.  Invalid Type attribute on TOCEntry element.\n\n") + strPath},
        {DeviceFile("S", "<TOCEntry>R</TOCEntry>"),
         QStringLiteral("Invalid file format.  Bad or missing 'Type' attribute on TOCEntry element.\n\n") +
             strPath},
        {DeviceFile("S", ""), QStringLiteral("Invalid file format.  Can't find TOCEntry\n\n") + strPath},
        {DeviceFile("S", kOneEntry).replace("<TOC>", "<Contents>").replace("</TOC>", "</Contents>"),
         QStringLiteral("Invalid file format.  Can't find TOC\n\n") + strPath},
        {DeviceFile("S", kOneEntry).replace("<PEType>S</PEType>", ""),
         QStringLiteral("Invalid file format.  Missing PEType\n\n") + strPath},
        {DeviceFile("S", kOneEntry).replace("<BitmapFile>sw-reg</BitmapFile>", ""),
         QStringLiteral("Invalid file format.  Missing BitmapFile\n\n") + strPath},
        {DeviceFile("S", kOneEntry, "1.2"),
         QStringLiteral("Unsupported file version detected on the following support file:\n\n") + strPath +
             QStringLiteral("\n\nPlease install the latest version.")},
        {DeviceFile("S", kOneEntry, "one"),
         QStringLiteral("The following support file has a bad document version tag:\n\n") + strPath},
        {DeviceFile("S", kOneEntry).replace(" Version=\"1.3\"", ""),
         QStringLiteral("The following support file has a bad or missing document version tag:\n\n") +
             strPath},
        {DeviceFile("S", kOneEntry).replace("NorvantaDeviceInfo", "DeviceInfo"),
         QStringLiteral("The following support file has a bad or missing document version tag:\n\n") +
             strPath},
    };
    for (const auto& testCase : cases)
    {
        m_Recorder.Messages.clear();
        m_Modules.Write(QStringLiteral("bad.nvi"), testCase.contents);
        CDeviceInfo info;
        EXPECT_FALSE(info.Load(strPath));
        EXPECT_EQ(m_Recorder.Messages, QStringList{testCase.strMessage});
        EXPECT_EQ(info.LastError(), testCase.strMessage);
    }

    m_Recorder.Messages.clear();
    m_Modules.Write(QStringLiteral("bad.nvi"), "<NorvantaDeviceInfo Version=\"1.3\">");
    CDeviceInfo info;
    EXPECT_FALSE(info.Load(strPath));
    ASSERT_EQ(m_Recorder.Messages.size(), 1);
    EXPECT_TRUE(m_Recorder.Messages[0].startsWith(QStringLiteral("Error parsing file ")));
    m_Recorder.Messages.clear();
    EXPECT_FALSE(info.Load(m_Modules.Path(QStringLiteral("absent.nvi"))));
    EXPECT_EQ(m_Recorder.Messages, QStringList{QStringLiteral("Unable to read comments from file.")});
}

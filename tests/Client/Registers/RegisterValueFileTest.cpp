// Register value files: reading .csv and .sre files line by line, loading them into a PE and its
// device, and saving a PE's values in the three text forms.
#include "RegisterFixture.h"

#include "RegisterValueFile.h"
#include "RegisterValueList.h"

namespace
{
using nvtest::CRegisterTest;

class RegisterValueFiles : public CRegisterTest
{
protected:
    // Reads a file written with the contents; the values, or the message of the refusal.
    std::vector<SRegisterFileValue> Read(const QString& strName, const QByteArray& contents,
                                         QString* pstrError)
    {
        std::vector<SRegisterFileValue> values;
        pstrError->clear();
        m_ui.messages.clear();
        const bool bOk = ReadRegisterValueFile(ScratchFile(strName, contents), &values, pstrError);
        EXPECT_EQ(bOk, pstrError->isEmpty());
        EXPECT_EQ(bOk ? QStringList() : QStringList(*pstrError), m_ui.messages);
        return values;
    }
    QString SavedText(const QString& strPath)
    {
        return QString::fromStdString(nvtest::ReadFile(strPath.toStdString()));
    }
    // Gives every maintenance register of the test device a value.
    void SaveAllValues()
    {
        for (uint32_t ulOffset : {0x0u, 0x68u, 0x100u, 0x104u, 0x120u, 0x124u, 0x5004u})
        {
            m_pHost->SavedRegisters.SetValue(ulOffset, 0xC0DE0000u | ulOffset, false);
        }
    }
};

TEST_F(RegisterValueFiles, LinesAreReadInBinaryWithTheirLineNumberOnFailure)
{
    QString strError;
    // The separator of a CSV line isn't looked at; S3 records may be in lower case, with any checksum.
    std::vector<SRegisterFileValue> values =
        Read(QStringLiteral("good.csv"), "000100,12345678\r\n000124;ABCDEF01\r\n", &strError);
    ASSERT_EQ(2u, values.size()) << strError.toStdString();
    EXPECT_EQ(0x124u, values[1].ulOffset);
    EXPECT_EQ(0xABCDEF01u, values[1].ulValue);
    EXPECT_EQ(2, values[1].iLine);
    values =
        Read(QStringLiteral("good.SRE"), "s3090000010012345678ff\r\nS3090000012400000001FF\r\n", &strError);
    ASSERT_EQ(2u, values.size()) << strError.toStdString();
    EXPECT_EQ(0x100u, values[0].ulOffset);
    EXPECT_EQ(0x12345678u, values[0].ulValue);

    const struct
    {
        const char* pszName;
        QByteArray contents;
        const char* pszError;
    } refusals[] = {
        {"lf.csv", "000100,12345678\n", "Line 1: Invalid line length detected."},
        {"short.csv", "000100,12345678\r\n000100,1234567\r\n", "Line 2: Invalid line length detected."},
        {"nocr.csv", "000100,12345678\r\n000100,12345678", "Line 2: Invalid line length detected."},
        {"blank.csv", "000100,12345678\r\n\r\n000100,12345678\r\n", "Line 2: Invalid line length detected."},
        {"offset.csv", "000100,12345678\r\n000100,12345678\r\n00010X,12345678\r\n",
         "Line 3: Invalid format - offset field does not contain a hex value."},
        {"value.csv", "000100,1234567G\r\n",
         "Line 1: Invalid format - value field does not contain a hex value."},
        {"lf.sre", "S3090000010012345678FF\n", "Line 1: Invalid line length detected."},
        {"s1.sre", "S3090000010012345678FF\r\nS1090000010012345678FF\r\n",
         "Line 2: Invalid format - expected S3 at beginning of line."},
        {"count.sre", "S3050000010012345678FF\r\n",
         "Line 1: Invalid format - SRecord byte count is incorrect."},
        {"offset.sre", "S30900000-0012345678FF\r\n",
         "Line 1: Invalid format - offset field does not contain a hex value."},
        {"value.sre", "S309000001001234 678FF\r\n",
         "Line 1: Invalid format - value field does not contain a hex value."},
        {"values.bin", "000100,12345678\r\n", "Unknown file type.  Must be .bin or .sre"},
    };
    for (const auto& refusal : refusals)
    {
        values = Read(QString::fromLatin1(refusal.pszName), refusal.contents, &strError);
        EXPECT_TRUE(values.empty()) << refusal.pszName;
        EXPECT_EQ(QString::fromLatin1(refusal.pszError), strError) << refusal.pszName;
    }
    m_ui.messages.clear();
    EXPECT_FALSE(ReadRegisterValueFile(m_strModules + QStringLiteral("/missing.csv"), &values, &strError));
    EXPECT_EQ(QStringLiteral("Unable to open file."), strError);
}

TEST_F(RegisterValueFiles, LoadingStoresEveryValueAndWritesItToTheDevice)
{
    m_pHost->SavedRegisters.SetValue(0x100, 0x1, false);
    const QString strPath =
        ScratchFile(QStringLiteral("load.csv"), "000124,00000055\r\n000200,DEADBEEF\r\n000100,00000077\r\n");
    // A write that fails doesn't end the load.
    m_transport.nWriteStatus = -20;
    SRegisterLoadResult result = LoadRegisters(m_document, *m_pHost, strPath, &m_transport);
    ASSERT_TRUE(result.bOk) << result.strError.toStdString();
    EXPECT_EQ(3, result.nValues);
    EXPECT_TRUE(result.bWritten);
    EXPECT_EQ(3, result.nWriteFailures);
    // 200h is no register of the device: said so, and loaded and written all the same.
    EXPECT_EQ(std::vector<uint32_t>({0x200}), result.unknownOffsets);
    EXPECT_EQ(QStringList(QStringLiteral("Reg not found")), m_ui.messages);
    EXPECT_EQ(QStringList({"MaintWrite FFFFFFFF 0 124 55", "MaintWrite FFFFFFFF 0 200 DEADBEEF",
                           "MaintWrite FFFFFFFF 0 100 77"}),
              m_transport.calls);
    for (const auto& [ulOffset, ulValue] : {std::pair{0x124u, 0x55u}, {0x200u, 0xDEADBEEFu}, {0x100u, 0x77u}})
    {
        const SRegisterValue* pValue = m_pHost->SavedRegisters.Find(ulOffset);
        ASSERT_NE(nullptr, pValue);
        EXPECT_EQ(ulValue, pValue->uValue);
        EXPECT_TRUE(pValue->bFlag) << "a loaded value isn't confirmed by the hardware";
    }
    EXPECT_EQ(3, m_pHost->SavedRegisters.GetCount());

    // Without a link the values are kept for the PE and nothing is sent.
    m_transport.calls.clear();
    m_transport.bOpen = false;
    result =
        LoadRegisters(m_document, *m_pHost,
                      ScratchFile(QStringLiteral("load2.sre"), "S3090000006800000009FF\r\n"), &m_transport);
    ASSERT_TRUE(result.bOk);
    EXPECT_FALSE(result.bWritten);
    EXPECT_TRUE(m_transport.calls.isEmpty());
    EXPECT_EQ(9u, m_pHost->SavedRegisters.Find(0x68)->uValue);
}

TEST_F(RegisterValueFiles, AFileThatCantBeLoadedChangesNothing)
{
    m_pHost->SavedRegisters.SetValue(0x100, 0x1, false);
    // A bad third line: the two good lines before it aren't kept either.
    SRegisterLoadResult result = LoadRegisters(
        m_document, *m_pHost,
        ScratchFile(QStringLiteral("bad.csv"), "000100,00000002\r\n000104,00000003\r\n000108;0000004\r\n"),
        &m_transport);
    EXPECT_FALSE(result.bOk);
    EXPECT_EQ(QStringLiteral("Line 3: Invalid line length detected."), result.strError);
    EXPECT_EQ(1, m_pHost->SavedRegisters.GetCount());
    EXPECT_EQ(1u, m_pHost->SavedRegisters.Find(0x100)->uValue);

    // A device whose information lists no block of its register file has no known registers.
    m_ui.messages.clear();
    WriteModule(QStringLiteral("0_0568000D.nvr"), nvtest::kTestRegisterFile);
    WriteDeviceInfo(QStringLiteral("0_0568000D.nvi"), "<TOCEntry Type=\"Register\">Other Block</TOCEntry>"
                                                      "<TOCEntry Type=\"I2C\">Global</TOCEntry>");
    m_pHost->DeviceID = 0x0568;
    result = LoadRegisters(m_document, *m_pHost, ScratchFile(QStringLiteral("ok.csv"), "000100,00000002\r\n"),
                           &m_transport);
    EXPECT_FALSE(result.bOk);
    EXPECT_EQ(QStringList(QStringLiteral("No known registers")), m_ui.messages);
    EXPECT_EQ(1u, m_pHost->SavedRegisters.Find(0x100)->uValue);
    EXPECT_TRUE(m_transport.calls.isEmpty());
}

TEST_F(RegisterValueFiles, KnownRegistersComeFromTheListedBlocksOncePerSet)
{
    std::vector<uint32_t> offsets;
    std::vector<bool> writable;
    for (const SKnownRegister& reg : KnownRegisters(*m_pHost))
    {
        offsets.push_back(reg.ulOffset);
        writable.push_back(reg.bWritable);
    }
    // The I2C block and the I/O block have no maintenance offsets.
    EXPECT_EQ(std::vector<uint32_t>({0x0, 0x68, 0x100, 0x104, 0x120, 0x124}), offsets);
    EXPECT_EQ(std::vector<bool>({false, true, true, false, true, false}), writable);
}

TEST_F(RegisterValueFiles, SavingWritesEachFormInTreeOrder)
{
    SaveAllValues();
    const QString strDir = QString::fromStdString(nvtest::ProcessTempDir());
    SRegisterSaveResult result =
        SaveRegisterValues(m_document, *m_pHost, strDir + QStringLiteral("/regs.csv"));
    ASSERT_TRUE(result.bOk) << m_ui.messages.join('|').toStdString();
    EXPECT_EQ(6, result.nWritten);
    EXPECT_EQ(QStringLiteral("000000,C0DE0000\r\n000068,C0DE0068\r\n000100,C0DE0100\r\n000104,C0DE0104\r\n"
                             "000120,C0DE0120\r\n000124,C0DE0124\r\n"),
              SavedText(strDir + QStringLiteral("/regs.csv")));
    // The IDT script form, and read-only registers left out on request.
    result = SaveRegisterValues(m_document, *m_pHost, strDir + QStringLiteral("/regs.txt"), eRegFormatInvalid,
                                true);
    ASSERT_TRUE(result.bOk);
    EXPECT_EQ(3, result.nWritten);
    EXPECT_EQ(3, result.nSkipped);
    EXPECT_EQ(QStringLiteral("W 68 C0DE0068\r\nW 100 C0DE0100\r\nW 120 C0DE0120\r\n"),
              SavedText(strDir + QStringLiteral("/regs.txt")));
    // S3 records: offset as the address, the value's bytes high first, the checksum of the format.
    result =
        SaveRegisterValues(m_document, *m_pHost, strDir + QStringLiteral("/regs.data"), eRegFormatSRecord);
    ASSERT_TRUE(result.bOk);
    const QStringList lines = SavedText(strDir + QStringLiteral("/regs.data")).split(QStringLiteral("\r\n"));
    ASSERT_EQ(7, lines.size());
    EXPECT_EQ(QStringLiteral("S30900000068C0DE006888"), lines[1]);
    EXPECT_TRUE(lines[6].isEmpty());
}

TEST_F(RegisterValueFiles, SavedFilesLoadBackToTheSameValues)
{
    SaveAllValues();
    const QString strDir = QString::fromStdString(nvtest::ProcessTempDir());
    for (const char* pszName : {"/round.csv", "/round.sre"})
    {
        const QString strPath = strDir + QString::fromLatin1(pszName);
        ASSERT_TRUE(SaveRegisterValues(m_document, *m_pHost, strPath).bOk);
        CPEPrimitive& pe = *m_pHost;
        const CRegisterValueList saved = pe.SavedRegisters;
        pe.SavedRegisters.Clear();
        m_transport.calls.clear();
        const SRegisterLoadResult result = LoadRegisters(m_document, pe, strPath, &m_transport);
        ASSERT_TRUE(result.bOk) << result.strError.toStdString();
        EXPECT_TRUE(result.unknownOffsets.empty());
        EXPECT_EQ(6, m_transport.calls.size());
        for (int i = 0; i < saved.GetCount(); ++i)
        {
            const SRegisterValue& value = saved.GetAt(i);
            if (value.uOffset == 0x5004)
            {
                continue; // an I2C register: not a maintenance value
            }
            ASSERT_NE(nullptr, pe.SavedRegisters.Find(value.uOffset)) << pszName << value.uOffset;
            EXPECT_EQ(value.uValue, pe.SavedRegisters.Find(value.uOffset)->uValue);
        }
        pe.SavedRegisters = saved;
    }
}

TEST_F(RegisterValueFiles, SavingRefusesMissingValuesAndUnknownForms)
{
    SaveAllValues();
    const QString strDir = QString::fromStdString(nvtest::ProcessTempDir());
    CRegisterValueList partial;
    partial.SetValue(0x100, 1, false);
    partial.SetValue(0x104, 2, false);
    m_pHost->SavedRegisters = partial;
    // A missing value counts before read-only registers are left out.
    SRegisterSaveResult result = SaveRegisterValues(
        m_document, *m_pHost, strDir + QStringLiteral("/none.csv"), eRegFormatInvalid, true);
    EXPECT_FALSE(result.bOk);
    EXPECT_EQ(QStringList(
                  {"Unable to initialize register 'Identity': No value has been uploaded for this register.",
                   "Unable to initialize register 'Host Lock': No value has been uploaded for this register.",
                   "Unable to initialize register 'Control': No value has been uploaded for this register.",
                   "Unable to initialize register 'Status': No value has been uploaded for this register."}),
              result.errors);
    EXPECT_EQ(QStringList(QStringLiteral("Register values cannot be saved.  Correct errors and try again.")),
              m_ui.messages);
    EXPECT_FALSE(QFile::exists(strDir + QStringLiteral("/none.csv")));

    m_ui.messages.clear();
    EXPECT_FALSE(SaveRegisterValues(m_document, *m_pHost, strDir + QStringLiteral("/x.bin")).bOk);
    EXPECT_FALSE(SaveRegisterValues(m_document, *m_pHost, strDir + QStringLiteral("/x.nvs")).bOk);
    EXPECT_EQ(QStringList({"Invalid file extension.",
                           "Saving a boot image (.nvs) is not available in this version."}),
              m_ui.messages);
    // The EEPROM tools' writer takes .nvs files once it is installed.
    QString strHandedOver;
    SetBootImageWriter(
        [&strHandedOver](CNetworkDocument&, CPEPrimitive&, const QString& strPath)
        {
            strHandedOver = strPath;
            return true;
        });
    EXPECT_TRUE(SaveRegisterValues(m_document, *m_pHost, strDir + QStringLiteral("/x.nvs")).bOk);
    SetBootImageWriter(nullptr);
    EXPECT_EQ(strDir + QStringLiteral("/x.nvs"), strHandedOver);

    // A file that can't be made.
    m_ui.messages.clear();
    SaveAllValues();
    EXPECT_FALSE(SaveRegisterValues(m_document, *m_pHost, strDir + QStringLiteral("/no/such/dir/x.csv")).bOk);
    ASSERT_EQ(1, m_ui.messages.size());
    EXPECT_TRUE(m_ui.messages[0].startsWith(
        QStringLiteral("Unable to create IDT script file %1/no/such/dir/x.csv, error ").arg(strDir)));
}
} // namespace

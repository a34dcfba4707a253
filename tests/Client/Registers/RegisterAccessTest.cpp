// Register access by kind, its failure texts, the field commit and the recording of writes.
#include "RegisterFixture.h"

#include "RegisterValueList.h"
#include "StatusText.h"

namespace
{
using nvtest::CRegisterTest;

class RegisterAccess : public CRegisterTest
{
};

TEST_F(RegisterAccess, ItemsCarryTheSetOffsetAndName)
{
    const std::vector<RegisterItem> port1 = Items(QStringLiteral("Port Control"), 1);
    ASSERT_EQ(2u, port1.size());
    EXPECT_EQ(0x120u, port1[0].uOffset);
    EXPECT_EQ(0x124u, port1[1].uOffset);
    EXPECT_EQ(0x120u, port1[0].uSetOffset);
    EXPECT_EQ(QStringLiteral("Port Control,Port 1"), port1[0].Name);
    EXPECT_EQ(&m_pHost->SavedRegisters, port1[0].pValues);
    // No set, or one beyond the sets: the block alone at offset 0.
    for (int iSet : {-1, 2})
    {
        const std::vector<RegisterItem> plain = Items(QStringLiteral("Port Control"), iSet);
        EXPECT_EQ(0x4u, plain[1].uOffset);
        EXPECT_EQ(QStringLiteral("Port Control"), plain[1].Name);
    }
    // I/O registers keep their addresses, with the set's offset added.
    const std::vector<RegisterItem> io = Items(QStringLiteral("Mailbox"), 0);
    ASSERT_EQ(1u, io.size());
    EXPECT_TRUE(io[0].bIO);
    EXPECT_EQ(0u, io[0].uOffset);
    EXPECT_EQ(0x1010u, io[0].uLocalAddr);
    EXPECT_EQ(0x200000010u, io[0].uRIOAddr);

    // The whole tree's maintenance registers, as saving and bulk reads take them: no I2C block, no
    // I/O space, every set.
    QStringList tree;
    for (const RegisterItem& item : TreeRegisterItems(*m_pHost))
    {
        tree << QString::asprintf("%X %s", item.uOffset, qPrintable(item.Name));
    }
    EXPECT_EQ(QStringList({"0 Global", "68 Global", "100 Port Control,Port 0", "104 Port Control,Port 0",
                           "120 Port Control,Port 1", "124 Port Control,Port 1"}),
              tree);

    std::vector<RegisterItem> none;
    EXPECT_FALSE(MakeRegisterItems(*m_pHost, QStringLiteral("Nope"), -1, 1, &none));
    EXPECT_TRUE(none.empty());
    EXPECT_EQ(QStringList(QStringLiteral("Unable to find register block\n\n'Nope'")), m_ui.messages);
}

TEST_F(RegisterAccess, EachKindOfRegisterTakesItsOwnTransaction)
{
    CRegisterAccess access(m_document, &m_transport);
    ASSERT_TRUE(access.PrepareAccess(*m_pHost));
    EXPECT_EQ(0xFFFFFFFFu, access.DestID());
    m_transport.memory[0x124] = 0x80000001u;
    uint32_t ulValue = 0;
    ASSERT_EQ(0, access.UploadRegister(Items(QStringLiteral("Port Control"), 1)[1], &ulValue));
    EXPECT_EQ(0x80000001u, ulValue);
    // The host's own I/O space is local memory.
    ASSERT_EQ(0, access.UploadRegister(Items(QStringLiteral("Mailbox"), 0)[0], &ulValue));
    EXPECT_EQ(0x5A5A5A5Au, ulValue);
    // I2C registers of the Tsi500: device address in the high byte of the offset, register low.
    ASSERT_EQ(0, access.UploadRegister(Items(QStringLiteral("EEPROM Bytes"), -1, 2)[0], &ulValue));
    EXPECT_EQ(0x3Cu, ulValue);
    ASSERT_EQ(0, access.DownloadRegister(Items(QStringLiteral("EEPROM Bytes"), -1, 2)[0], 0x1C7));
    EXPECT_EQ(QStringList({"MaintRead FFFFFFFF 0 124", "LocalRead 1010", "I2CRead FFFFFFFF 0 50 4",
                           "I2CWrite FFFFFFFF 0 50 4 C7"}),
              m_transport.calls);
    // What was read is kept, confirmed.
    ASSERT_NE(nullptr, m_pHost->SavedRegisters.Find(0x124));
    EXPECT_EQ(0x80000001u, m_pHost->SavedRegisters.Find(0x124)->uValue);
    EXPECT_FALSE(m_pHost->SavedRegisters.Find(0x124)->bFlag);
    ASSERT_NE(nullptr, m_pHost->SavedRegisters.FindIO(0x1010, 0x200000010u));
    EXPECT_EQ(0x5A5A5A5Au, m_pHost->SavedRegisters.FindIO(0x1010, 0x200000010u)->uValue);
    EXPECT_EQ(0x3Cu, m_pHost->SavedRegisters.Find(0x5004)->uValue);

    // Away from the host, I/O space is reached by NREAD and NWRITE.
    m_transport.calls.clear();
    m_transport.bOpen = false;
    CRegisterAccess remote(m_document, &m_transport);
    ASSERT_TRUE(remote.PrepareAccess(*m_pHost));
    ASSERT_EQ(0, remote.UploadRegister(Items(QStringLiteral("Mailbox"), 0)[0], &ulValue));
    ASSERT_EQ(0, remote.DownloadRegister(Items(QStringLiteral("Mailbox"), 0)[0], 0x11223344));
    EXPECT_EQ(QStringList({"NRead 0 200000010", "NWrite 0 200000010 11223344"}), m_transport.calls);

    // I2C registers of any other device are neither read nor written.
    m_transport.calls.clear();
    const RegisterItem i2c = Items(QStringLiteral("EEPROM Bytes"), -1, 2)[0];
    m_pHost->DeviceID = 0x0568;
    ulValue = 77;
    EXPECT_EQ(0, access.UploadRegister(i2c, &ulValue));
    EXPECT_EQ(0, access.DownloadRegister(i2c, 5));
    EXPECT_EQ(77u, ulValue);
    EXPECT_TRUE(m_transport.calls.isEmpty());
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join('|').toStdString();
}

TEST_F(RegisterAccess, FailuresSayWhatHappenedAndKeepTheSavedValue)
{
    CRegisterAccess access(m_document, &m_transport);
    ASSERT_TRUE(access.PrepareAccess(*m_pHost));
    const RegisterItem control = Items(QStringLiteral("Port Control"), 0)[0];
    m_pHost->SavedRegisters.SetValue(0x100, 0x1234, true);
    uint32_t ulValue = 0;
    m_transport.nReadStatus = -45;
    EXPECT_EQ(-45, access.UploadRegister(control, &ulValue));
    m_transport.nReadStatus = -305;
    EXPECT_EQ(-305, access.UploadRegister(control, &ulValue));
    m_transport.strDetail = QStringLiteral("Port 3: packet time-out");
    EXPECT_EQ(-305, access.UploadRegister(control, &ulValue));
    m_transport.nReadStatus = -511;
    EXPECT_EQ(-511, access.UploadRegister(Items(QStringLiteral("EEPROM Bytes"), -1, 2)[0], &ulValue));
    m_transport.nWriteStatus = -20;
    EXPECT_EQ(-20, access.DownloadRegister(control, 1));
    const QString strAdvice =
        QStringLiteral("This error is often caused by invalid routing tables.  Please ensure that you have "
                       "either generated and "
                       "downloaded routing tables, or you have uploaded existing routing tables.");
    ASSERT_EQ(5, m_ui.messages.size());
    EXPECT_EQ(QStringLiteral("Error 45 (%1) encountered when attempting to upload a register.")
                  .arg(RioErrorText(-45)),
              m_ui.messages[0]);
    EXPECT_EQ(QStringLiteral("Error 305 (%1) encountered when attempting to upload a register.\r\n\r\n%2")
                  .arg(RioErrorText(-305), strAdvice),
              m_ui.messages[1]);
    EXPECT_EQ(QStringLiteral("Error 305 (%1) encountered when attempting to upload a register.  Additional "
                             "information follows:\r\n\r\nPort 3: packet time-out\r\n\r\n%2")
                  .arg(RioErrorText(-305), strAdvice),
              m_ui.messages[2]);
    EXPECT_EQ(QStringLiteral("Read-back failed.\n\n") + RioErrorText(-511), m_ui.messages[3]);
    EXPECT_EQ(QStringLiteral("Unable to update register.\nRapidIO HAL Error -20"), m_ui.messages[4]);
    EXPECT_EQ(0x1234u, m_pHost->SavedRegisters.Find(0x100)->uValue);
    EXPECT_TRUE(m_pHost->SavedRegisters.Find(0x100)->bFlag);
}

TEST_F(RegisterAccess, AFieldCommitMergesIntoTheSavedValueWritesAndReadsBack)
{
    CRegisterAccess access(m_document, &m_transport);
    const RegisterItem control = Items(QStringLiteral("Port Control"), 1)[0];
    // The hardware holds something else: the other bits come from the saved value.
    m_transport.memory[0x120] = 0x12345678u;
    m_pHost->SavedRegisters.SetValue(0x120, 0x0000FF00u, false);
    // The device keeps only some of the bits written, and the saved value is what it reads back.
    m_transport.ulWritableMask = 0xF000FFFFu;
    ASSERT_TRUE(access.CommitField(control, 0, QStringLiteral("1010b")));
    EXPECT_EQ(QStringList({"MaintWrite FFFFFFFF 0 120 A000FF00", "MaintRead FFFFFFFF 0 120"}),
              m_transport.calls);
    EXPECT_EQ(0xA000FF00u, m_pHost->SavedRegisters.Find(0x120)->uValue);
    EXPECT_FALSE(m_pHost->SavedRegisters.Find(0x120)->bFlag);
    // A one-bit field in the middle and a field at the low end, in the entry rule's forms.
    m_transport.calls.clear();
    m_transport.ulWritableMask = 0xFFFFFFFFu;
    ASSERT_TRUE(access.CommitField(control, 1, QStringLiteral("1")));
    ASSERT_TRUE(access.CommitField(control, 2, QStringLiteral("3Ch")));
    EXPECT_EQ(0xA080FF3Cu, m_pHost->SavedRegisters.Find(0x120)->uValue);

    // A register without a saved value starts from 0.
    m_transport.calls.clear();
    const RegisterItem port0 = Items(QStringLiteral("Port Control"), 0)[0];
    ASSERT_TRUE(access.CommitField(port0, 2, QStringLiteral("255")));
    EXPECT_EQ(QStringList({"MaintWrite FFFFFFFF 0 100 FF", "MaintRead FFFFFFFF 0 100"}), m_transport.calls);

    // Texts that aren't a number for the field change nothing and send nothing.
    m_transport.calls.clear();
    for (const char* pszText : {"16", "12G", "", "1_0000b"})
    {
        EXPECT_FALSE(access.CommitField(control, 0, QString::fromLatin1(pszText))) << pszText;
    }
    EXPECT_TRUE(m_transport.calls.isEmpty());
    EXPECT_EQ(4, m_ui.messages.count(QStringLiteral("Invalid data entry.")));
    EXPECT_EQ(0xA080FF3Cu, m_pHost->SavedRegisters.Find(0x120)->uValue);

    // A write that fails leaves the value unconfirmed.
    m_ui.messages.clear();
    m_transport.nWriteStatus = -20;
    EXPECT_FALSE(access.CommitField(control, 1, QStringLiteral("0")));
    EXPECT_EQ(0xA080FF3Cu, m_pHost->SavedRegisters.Find(0x120)->uValue);
    EXPECT_EQ(QStringList(QStringLiteral("Unable to update register.\nRapidIO HAL Error -20")),
              m_ui.messages);
}

TEST_F(RegisterAccess, RecordingCollectsMaintenanceWritesUnderAHeaderPerTarget)
{
    // Without a link the access stays at destination 0; with it the host is FFFFFFFFh.
    m_transport.bOpen = false;
    CRegisterAccess access(m_document, &m_transport);
    EXPECT_EQ(QStringLiteral("Register Editor"), access.WindowTitle());
    ASSERT_TRUE(access.PrepareAccess(*m_pHost));
    const std::vector<RegisterItem> port = Items(QStringLiteral("Port Control"), 1);
    const RegisterItem mailbox = Items(QStringLiteral("Mailbox"), 0)[0];
    access.DownloadRegister(port[0], 1); // not recording yet
    access.StartRecording();
    EXPECT_EQ(QStringLiteral("Register Editor - Recording"), access.WindowTitle());
    access.DownloadRegister(port[0], 0xAB);
    access.DownloadRegister(port[1], 0xCD);
    access.DownloadRegister(mailbox, 0xEF); // I/O space: never recorded
    access.PauseRecording();
    EXPECT_EQ(QStringLiteral("Register Editor - Recording Paused"), access.WindowTitle());
    access.DownloadRegister(port[0], 0x12);
    access.ResumeRecording();
    access.DownloadRegister(port[0], 0x34);
    m_transport.bOpen = true;
    ASSERT_TRUE(access.PrepareAccess(*m_pHost));
    access.DownloadRegister(port[1], 0x56);
    const QString strExpected =
        QStringLiteral("// The following commands were recorded for DestID 0h, HopCount 0\r\n"
                       "w 120 AB\r\nw 124 CD\r\nw 120 34\r\n"
                       "// The following commands were recorded for DestID FFFFFFFFh, "
                       "HopCount 0\r\nw 124 56\r\n");
    EXPECT_EQ(strExpected, access.RecordText());
    EXPECT_EQ(strExpected, access.StopRecording());
    EXPECT_EQ(QStringLiteral("Register Editor"), access.WindowTitle());
    EXPECT_EQ(eRecordOff, access.RecordState());
    EXPECT_TRUE(access.RecordText().isEmpty());
    // A new recording starts with a header again, although the target is the same.
    access.StartRecording();
    access.DownloadRegister(port[0], 0x78);
    EXPECT_EQ(QStringLiteral("// The following commands were recorded for DestID FFFFFFFFh, HopCount 0\r\n"
                             "w 120 78\r\n"),
              access.RecordText());
    // Every write went out, recorded or not.
    EXPECT_EQ(8, m_transport.calls.size());
}
} // namespace

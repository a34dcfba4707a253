// Register tests on a register library of their own: a made-up switch of the Tsi500's identity
// (the one device whose I2C registers the editor reaches), with a block of per-port maintenance
// registers, a block of I2C registers and a block in I/O space. A transport records every
// transaction and answers reads from a table, so a test sees which access a register takes.
#pragma once

#include "ModuleLibrary.h"
#include "RecordingUserInterface.h"
#include "TestSupport.h"

#include "NetworkDocument.h"
#include "NetworkMap.h"
#include "Preferences.h"
#include "RegisterAccess.h"
#include "RegisterInfoCache.h"

#include <QFile>

#include <gtest/gtest.h>

#include <map>
#include <memory>

namespace nvtest
{
class CRecordingTransport final : public IRegisterTransport
{
public:
    bool IsOpen() override { return bOpen; }
    int32_t MaintRead(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t* pulValue) override
    {
        calls << QString::asprintf("MaintRead %X %u %X", ulDestID, uchHop, ulOffset);
        *pulValue = memory[ulOffset];
        return nReadStatus;
    }
    int32_t MaintWrite(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t ulValue) override
    {
        calls << QString::asprintf("MaintWrite %X %u %X %X", ulDestID, uchHop, ulOffset, ulValue);
        if (nWriteStatus == 0)
        {
            memory[ulOffset] = ulValue & ulWritableMask;
        }
        return nWriteStatus;
    }
    int32_t NRead(uint32_t ulDestID, uint64_t ulAddress, uint32_t* pulValue) override
    {
        calls << QString::asprintf("NRead %X %llX", ulDestID, static_cast<unsigned long long>(ulAddress));
        *pulValue = 0xA5A5A5A5u;
        return nReadStatus;
    }
    int32_t NWrite(uint32_t ulDestID, uint64_t ulAddress, uint32_t ulValue) override
    {
        calls << QString::asprintf("NWrite %X %llX %X", ulDestID, static_cast<unsigned long long>(ulAddress),
                                   ulValue);
        return nWriteStatus;
    }
    int32_t LocalRead(uint64_t ulAddress, uint32_t* pulValue) override
    {
        calls << QString::asprintf("LocalRead %llX", static_cast<unsigned long long>(ulAddress));
        *pulValue = 0x5A5A5A5Au;
        return nReadStatus;
    }
    int32_t LocalWrite(uint64_t ulAddress, uint32_t ulValue) override
    {
        calls << QString::asprintf("LocalWrite %llX %X", static_cast<unsigned long long>(ulAddress), ulValue);
        return nWriteStatus;
    }
    int32_t I2CRead(uint32_t ulDestID, uint8_t uchHop, uint32_t ulDevice, uint32_t ulRegister,
                    uint8_t* puchValue) override
    {
        calls << QString::asprintf("I2CRead %X %u %X %X", ulDestID, uchHop, ulDevice, ulRegister);
        *puchValue = 0x3C;
        return nReadStatus;
    }
    int32_t I2CWrite(uint32_t ulDestID, uint8_t uchHop, uint32_t ulDevice, uint32_t ulRegister,
                     uint8_t uchValue) override
    {
        calls << QString::asprintf("I2CWrite %X %u %X %X %X", ulDestID, uchHop, ulDevice, ulRegister,
                                   uchValue);
        return nWriteStatus;
    }
    QString RioErrorDetail() override { return strDetail; }

    bool bOpen = true;
    int32_t nReadStatus = 0;
    int32_t nWriteStatus = 0;
    uint32_t ulWritableMask = 0xFFFFFFFFu; // bits a write changes in memory
    std::map<uint32_t, uint32_t> memory;
    QString strDetail;
    QStringList calls;
};

// The register file of the made-up device.
inline const QByteArray kTestRegisterFile = QByteArray(R"(<?xml version="1.0"?>
<NorvantaMemoryMap Version="1.3">
<RegisterBlock Name="Global">
  <RegisterSets></RegisterSets>
  <RegisterList>
    <Register><ByteOffset>0x0</ByteOffset><Name>Identity</Name><BitFieldList>
      <BitField><Name>Device</Name><Bits>0:15</Bits><Access>R</Access></BitField>
      <BitField><Name>Vendor</Name><Bits>16:31</Bits><Access>R</Access></BitField>
    </BitFieldList></Register>
    <Register><ByteOffset>0x68</ByteOffset><Name>Host Lock</Name><BitFieldList>
      <BitField><Name>HostID</Name><Bits>16:31</Bits><Access>RW</Access></BitField>
    </BitFieldList></Register>
  </RegisterList>
</RegisterBlock>
<RegisterBlock Name="Port Control">
  <RegisterSets>
    <RegisterSetInfo><Name>Port 0</Name><Offset>0x100</Offset></RegisterSetInfo>
    <RegisterSetInfo><Name>Port 1</Name><Offset>0x120</Offset></RegisterSetInfo>
  </RegisterSets>
  <RegisterList>
    <Register><ByteOffset>0x0</ByteOffset><Name>Control</Name><BitFieldList>
      <BitField><Name>Width</Name><Bits>0:3</Bits><Access>RW</Access></BitField>
      <BitField><Name>Enable</Name><Bits>8</Bits><Access>RW</Access></BitField>
      <BitField><Name>Speed</Name><Bits>24:31</Bits><Access>RW</Access></BitField>
    </BitFieldList></Register>
    <Register><ByteOffset>0x4</ByteOffset><Name>Status</Name><BitFieldList>
      <BitField><Name>Trained</Name><Bits>31</Bits><Access>R</Access></BitField>
    </BitFieldList></Register>
  </RegisterList>
</RegisterBlock>
<RegisterBlock Name="EEPROM Bytes" NumRegisterBits="8">
  <RegisterSets></RegisterSets>
  <RegisterList>
    <Register><ByteOffset>0x5004</ByteOffset><Name>Boot Byte</Name><BitFieldList>
      <BitField><Name>Data</Name><Bits>0:7</Bits><Access>RW</Access></BitField>
    </BitFieldList></Register>
  </RegisterList>
</RegisterBlock>
)") + kIOSpaceRegisterBlock + "</NorvantaMemoryMap>\n";

class CRegisterTest : public ::testing::Test
{
protected:
    static constexpr uint16_t kDevice = kI2CRegisterDevice;
    static constexpr uint16_t kVendor = kI2CRegisterVendor;

    void SetUp() override
    {
        m_strModules = UseScratchModuleDir(QStringLiteral("regmodules"));
        WriteModule(QStringLiteral("0_0500000D.nvr"), kTestRegisterFile);
        WriteDeviceInfo(QStringLiteral("0_0500000D.nvi"),
                        "<TOCEntry Type=\"Register\">Global</TOCEntry>"
                        "<TOCEntry Type=\"Register\">Port Control</TOCEntry>"
                        "<TOCEntry Type=\"I2C\">EEPROM Bytes</TOCEntry>"
                        "<TOCEntry Type=\"Register\">Mailbox</TOCEntry>");
        SetMapTransportAccess([] { return 8; }, [](int) {});

        m_document.ActivePEs.AddPrimitive(std::make_unique<CPEPrimitive>());
        m_pHost = m_document.ActivePEs.GetByIndex(0);
        m_pHost->iNodeNumber = 0;
        m_pHost->bHasHostLink = true;
        m_pHost->bHostLinkOpen = true;
        m_pHost->bUsesDestID = true;
        m_pHost->DeviceID = kDevice;
        m_pHost->ManufID = kVendor;
        m_pHost->uType = kPETypeSwitch;
    }
    void TearDown() override
    {
        GetRegisterInfoCache().Clear();
        ClearPreferenceOverrides();
    }

    void WriteModule(const QString& strName, const QByteArray& text) const
    {
        WriteModuleFile(m_strModules, strName, text);
    }
    void WriteDeviceInfo(const QString& strName, const QByteArray& toc) const
    {
        WriteModule(strName, DeviceInfoText("sw", "Test Switch", "S", toc));
    }
    // A file in the test's scratch directory.
    QString ScratchFile(const QString& strName, const QByteArray& contents) const
    {
        const QString strPath = QString::fromStdString(ProcessTempDir()) + QLatin1Char('/') + strName;
        QFile file(strPath);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(contents);
        return strPath;
    }
    std::vector<RegisterItem> Items(const QString& strBlock, int iSet, int eType = 1)
    {
        std::vector<RegisterItem> items;
        EXPECT_TRUE(MakeRegisterItems(*m_pHost, strBlock, iSet, eType, &items))
            << m_ui.messages.join('|').toStdString();
        return items;
    }

    CRecordingUserInterface m_ui;
    CRecordingTransport m_transport;
    CNetworkDocument m_document;
    CPEPrimitive* m_pHost = nullptr;
    QString m_strModules;
};
} // namespace nvtest

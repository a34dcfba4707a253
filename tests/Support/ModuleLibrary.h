// A register library of a test's own: a scratch directory the preferences name as the module
// directory, with the files a test writes into it, and register file parts more than one test
// describes its devices with.
#pragma once

#include "TestSupport.h"

#include "Preferences.h"
#include "RegisterInfoCache.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>

#include <gtest/gtest.h>

namespace nvtest
{
// A block of one register in I/O space, at local address 1000h and RapidIO address 200000000h,
// with one set at offset 10h.
inline const char* const kIOSpaceRegisterBlock = R"(<RegisterBlock Name="Mailbox" MemSpace="IO">
  <RegisterSets>
    <RegisterSetInfo><Name>Box 1</Name><Offset>0x10</Offset></RegisterSetInfo>
  </RegisterSets>
  <RegisterList>
    <Register><LocalAddr>0x1000</LocalAddr><RIO_Addr>0x200000000</RIO_Addr><Name>Doorbell Word</Name>
      <BitFieldList><BitField><Name>Word</Name><Bits>0:31</Bits><Access>RW</Access></BitField></BitFieldList>
    </Register>
  </RegisterList>
</RegisterBlock>
)";

// Makes an empty directory of that name in the test's scratch directory, names it the module
// directory and empties the register info cache, so nothing of another test's library is seen.
// Returns its path. The override lasts until ClearPreferenceOverrides().
inline QString UseScratchModuleDir(const QString& strName)
{
    const QString strDir = QString::fromStdString(ProcessTempDir()) + QLatin1Char('/') + strName;
    QDir(strDir).removeRecursively();
    QDir().mkpath(strDir);
    SetPreferenceOverride(QStringLiteral("Directories"), QStringLiteral("ModuleDir"), strDir);
    GetRegisterInfoCache().Clear();
    return strDir;
}

// Writes a file of a module directory; a failure of the test when it can't.
inline void WriteModuleFile(const QString& strDir, const QString& strName, const QByteArray& text)
{
    QFile file(strDir + QLatin1Char('/') + strName);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << file.fileName().toStdString();
    file.write(text);
}

// The text of a device information file: its bitmap, common name, PE type letter and the
// TOCEntry elements of its table of contents.
inline QByteArray DeviceInfoText(const char* pszBitmap, const char* pszCommonName, const char* pszPEType,
                                 const QByteArray& toc)
{
    return QByteArray("<?xml version=\"1.0\"?>\n<NorvantaDeviceInfo Version=\"1.3\" EnhancedAvail=\"No\">"
                      "<BitmapFile>") +
           pszBitmap + "</BitmapFile><CommonName>" + pszCommonName + "</CommonName><PEType>" + pszPEType +
           "</PEType><TOC>" + toc + "</TOC></NorvantaDeviceInfo>\n";
}
} // namespace nvtest

// A map save that fails on the way to the disk keeps the map file that was there, and the person
// is told so.
#include "FaultInjection.h"
#include "NetworkDocument.h"
#include "NetworkMap.h"
#include "TestHelpers.h"

#include <QDir>

#include <gtest/gtest.h>

namespace
{
// A map of one switch, large enough that its text exceeds a small size limit.
CNetworkDocument SwitchMap(const QString& strComment)
{
    CNetworkDocument document;
    auto pPE = std::make_unique<CPEPrimitive>();
    pPE->iNodeNumber = 0;
    pPE->UniqueID = QStringLiteral("3780d");
    pPE->DeviceID = 0x0378;
    pPE->ManufID = 0x0038;
    pPE->uType = kPETypeSwitch;
    pPE->Symbol = QStringLiteral("sw-reg");
    pPE->Comment = strComment;
    pPE->iNumLocalPorts = 18;
    document.ActivePEs.AddPrimitive(std::move(pPE));
    return document;
}

// Checks, in the child, what a failed save must leave: false, one message saying the save failed
// and the old file stands, the old bytes, the document's file name unchanged.
std::string CheckFailedSave(const QString& strPath, const QByteArray& old)
{
    CMessageRecorder recorder;
    CNetworkDocument document = SwitchMap(QString(6000, QLatin1Char('c')));
    document.PathName = QStringLiteral("/elsewhere/before.nvm");
    CNetworkMap map;
    if (map.SaveMapAs(document, strPath))
    {
        return "the save reported success";
    }
    if (recorder.Messages.size() != 1 ||
        !recorder.Messages[0].startsWith(QStringLiteral("Saving ") + strPath + " failed: ") ||
        !recorder.Messages[0].endsWith(QStringLiteral("The old file is untouched.")))
    {
        return "messages: " + recorder.Messages.join(QStringLiteral(" | ")).toStdString();
    }
    if (FileBytes(strPath) != old)
    {
        return "the old map changed to " + std::to_string(FileBytes(strPath).size()) + " bytes";
    }
    if (document.PathName != QStringLiteral("/elsewhere/before.nvm"))
    {
        return "the document took the new name";
    }
    CNetworkDocument reread;
    if (!reread.Open(strPath, false) || reread.ActivePEs.GetCount() != 1)
    {
        return "the old map no longer opens";
    }
    return std::string();
}
} // namespace

TEST(MapSaveFailure, AWriteCutShortKeepsTheOldMap)
{
    CScratchDir dir;
    const QString strPath = dir.Path(QStringLiteral("net.nvm"));
    ASSERT_TRUE(SwitchMap(QStringLiteral("old")).SaveAs(strPath));
    const QByteArray old = FileBytes(strPath);
    const std::string strError = nvtest::RunInChild(
        [&]
        {
            nvtest::LimitFileSize(4096);
            return CheckFailedSave(strPath, old);
        });
    EXPECT_EQ("", strError);
    EXPECT_EQ(old, FileBytes(strPath));
    EXPECT_EQ("", nvtest::HiddenFiles(QFileInfo(strPath).path().toStdString()));
}

TEST(MapSaveFailure, ASaveOntoAFullFileSystemKeepsTheOldMap)
{
    CScratchDir dir;
    const QString strMount = dir.Path(QStringLiteral("disk"));
    ASSERT_TRUE(QDir().mkpath(strMount));
    const std::string strError = nvtest::RunInChild(
        [&]() -> std::string
        {
            const std::string strMounted = nvtest::MountSmallFilesystem(strMount.toStdString(), 64);
            if (!strMounted.empty())
            {
                return strMounted;
            }
            const QString strPath = strMount + QStringLiteral("/net.nvm");
            CMessageRecorder recorder;
            if (!SwitchMap(QStringLiteral("old")).SaveAs(strPath) ||
                !nvtest::FillFilesystem(strMount.toStdString()))
            {
                return "could not prepare the full file system";
            }
            return CheckFailedSave(strPath, FileBytes(strPath));
        });
    if (strError.rfind("SKIP: ", 0) == 0)
    {
        GTEST_SKIP() << strError;
    }
    EXPECT_EQ("", strError);
}

// A file that can't even be made is the open failure of the writer: false, and the reason kept
// for the caller rather than shown.
TEST(MapSaveFailure, AMissingDirectoryFailsWithoutAMessage)
{
    CMessageRecorder recorder;
    CScratchDir dir;
    CNetworkDocument document = SwitchMap(QStringLiteral("x"));
    CNetworkMap map;
    const QString strPath = dir.Path(QStringLiteral("missing/net.nvm"));
    EXPECT_FALSE(map.SaveMapAs(document, strPath));
    EXPECT_TRUE(recorder.Messages.isEmpty());
    EXPECT_FALSE(map.LastErrorShown());
    EXPECT_EQ(
        QStringLiteral("Saving %1 failed: No such file or directory. No file was written.").arg(strPath),
        map.LastError());
}

namespace
{
// A switch whose per-port tables route every 16-bit ID: a text of about twenty megabytes, which
// the save hands to the file in several pieces.
CNetworkDocument RoutedSwitchMap()
{
    CNetworkDocument document = SwitchMap(QStringLiteral("routed"));
    CPEPrimitive& pe = *document.ActivePEs.GetByIndex(0);
    pe.bHasPerPortRoutingTables = true;
    for (int iPort = 0; iPort < 5; ++iPort)
    {
        auto pTable = std::make_unique<CRoutingTable>();
        for (int iID = 0; iID < 0x10000; ++iID)
        {
            pTable->AddEntry(static_cast<uint16_t>(iID), static_cast<uint8_t>((iID + iPort) % 18),
                             iID % 97 == 0 ? 4u : (iID % 89 == 0 ? 5u : 3u), iID % 89 == 0 ? 2u : 0u, false);
        }
        pe.RoutingTables[static_cast<size_t>(iPort)] = std::move(pTable);
    }
    return document;
}
} // namespace

// The file a save writes piece by piece is the text the writer makes in one, byte for byte.
TEST(MapSaveFailure, ALargeMapSavedInPiecesIsTheWholeText)
{
    CScratchDir dir;
    const QString strPath = dir.Path(QStringLiteral("routed.nvm"));
    CNetworkDocument document = RoutedSwitchMap();
    CNetworkMap map;
    const QByteArray text = map.WriteMapText(document);
    ASSERT_GT(text.size(), 3 * (4 << 20));
    ASSERT_TRUE(map.SaveMapAs(document, strPath));
    EXPECT_TRUE(FileBytes(strPath) == text);
}

// A write that fails after the first pieces reached the file still leaves the old map whole.
TEST(MapSaveFailure, AFailureAfterSomePiecesKeepsTheOldMap)
{
    CScratchDir dir;
    const QString strPath = dir.Path(QStringLiteral("net.nvm"));
    ASSERT_TRUE(SwitchMap(QStringLiteral("old")).SaveAs(strPath));
    const QByteArray old = FileBytes(strPath);
    const std::string strError = nvtest::RunInChild(
        [&]() -> std::string
        {
            nvtest::LimitFileSize(10 << 20);
            CMessageRecorder recorder;
            CNetworkDocument document = RoutedSwitchMap();
            if (CNetworkMap().SaveMapAs(document, strPath))
            {
                return "the save reported success";
            }
            if (recorder.Messages.size() != 1 ||
                !recorder.Messages[0].endsWith(QStringLiteral("The old file is untouched.")))
            {
                return "messages: " + recorder.Messages.join(QStringLiteral(" | ")).toStdString();
            }
            return std::string();
        });
    EXPECT_EQ("", strError);
    EXPECT_EQ(old, FileBytes(strPath));
    EXPECT_EQ("", nvtest::HiddenFiles(QFileInfo(strPath).path().toStdString()));
}

// Saving a file aside and renaming it over the old one: the old file survives every failure on
// the way, nothing is left behind, and the text says what happened.
#include "SafeFile.h"
#include "FaultInjection.h"
#include "TestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
const QByteArray kOld = "old contents\n";

QByteArray Bytes(const QString& strPath)
{
    QFile file(strPath);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

void Put(const QString& strPath, const QByteArray& data)
{
    QFile file(strPath);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_EQ(data.size(), file.write(data));
}

// Puts failing system calls in place for the life of the object.
class CFailingCalls
{
public:
    explicit CFailingCalls(const SSafeFileCalls& calls) : m_previous(SetSafeFileCalls(calls)) {}
    ~CFailingCalls() { SetSafeFileCalls(m_previous); }

private:
    SSafeFileCalls m_previous;
};

ssize_t WriteNoSpace(int, const void*, size_t)
{
    errno = ENOSPC;
    return -1;
}
// Writes at most 5 bytes at a time, and nothing after the first 5: a device that stops taking
// data without saying why.
ssize_t WriteStalls(int iFd, const void* pBuffer, size_t nBytes)
{
    if (::lseek(iFd, 0, SEEK_CUR) >= 5)
    {
        return 0;
    }
    return ::write(iFd, pBuffer, std::min<size_t>(nBytes, 5));
}
int FsyncIoError(int)
{
    errno = EIO;
    return -1;
}
int CloseIoError(int iFd)
{
    ::close(iFd);
    errno = EIO;
    return -1;
}
int RenameCrossDevice(const char*, const char*)
{
    errno = EXDEV;
    return -1;
}
// Pretends the bytes were written while dropping the last one: only the size check sees it.
ssize_t WriteDropsLastByte(int iFd, const void* pBuffer, size_t nBytes)
{
    const ssize_t nWritten = ::write(iFd, pBuffer, nBytes > 1 ? nBytes - 1 : nBytes);
    return nWritten < 0 ? nWritten : static_cast<ssize_t>(nBytes);
}
} // namespace

TEST(SafeFile, ReplacesTheOldFileKeepingItsPermissionsAndLeavesNothingBehind)
{
    QTemporaryDir dir;
    const QString strPath = dir.filePath(QStringLiteral("net.nvm"));
    Put(strPath, kOld);
    ASSERT_TRUE(QFile::setPermissions(strPath, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup));

    const CSafeSaveResult result = SaveFileSafely(strPath, "new contents, longer than the old\n");
    ASSERT_TRUE(result.Ok()) << result.Text().toStdString();
    EXPECT_TRUE(result.Text().isEmpty());
    EXPECT_EQ(QByteArray("new contents, longer than the old\n"), Bytes(strPath));
    struct stat fileStat = {};
    ASSERT_EQ(0, ::stat(QFile::encodeName(strPath).constData(), &fileStat));
    EXPECT_EQ(0640u, fileStat.st_mode & 0777);
    EXPECT_EQ("", nvtest::HiddenFiles(dir.path().toStdString()));

    // A shorter text leaves no tail of the old one, and an empty one gives an empty file.
    ASSERT_TRUE(SaveFileSafely(strPath, "x").Ok());
    EXPECT_EQ(QByteArray("x"), Bytes(strPath));
    ASSERT_TRUE(SaveFileSafely(strPath, QByteArray()).Ok());
    EXPECT_EQ(QByteArray(), Bytes(strPath));
}

TEST(SafeFile, AFailureAtAnyStepKeepsTheOldFileAndSaysSo)
{
    const SSafeFileCalls real = SafeFileSystemCalls();
    struct Case
    {
        const char* pszName;
        SSafeFileCalls calls;
        ESafeSaveStep eStep;
        int iErrno;
        const char* pszWhy;
    };
    const Case cases[] = {
        {"write fails",
         {&WriteNoSpace, real.pfnFsync, real.pfnClose, real.pfnRename},
         ESafeSaveStep::Write,
         ENOSPC,
         "No space left on device"},
        {"write stalls",
         {&WriteStalls, real.pfnFsync, real.pfnClose, real.pfnRename},
         ESafeSaveStep::Write,
         0,
         "only 5 of 31 bytes could be written"},
        {"fsync fails",
         {real.pfnWrite, &FsyncIoError, real.pfnClose, real.pfnRename},
         ESafeSaveStep::Flush,
         EIO,
         "Input/output error"},
        {"write loses a byte",
         {&WriteDropsLastByte, real.pfnFsync, real.pfnClose, real.pfnRename},
         ESafeSaveStep::Verify,
         0,
         "the new file holds 30 of 31 bytes"},
        {"close fails",
         {real.pfnWrite, real.pfnFsync, &CloseIoError, real.pfnRename},
         ESafeSaveStep::Flush,
         EIO,
         "Input/output error"},
        {"rename fails",
         {real.pfnWrite, real.pfnFsync, real.pfnClose, &RenameCrossDevice},
         ESafeSaveStep::Rename,
         EXDEV,
         "Invalid cross-device link"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.pszName);
        QTemporaryDir dir;
        const QString strPath = dir.filePath(QStringLiteral("net.nvm"));
        Put(strPath, kOld);
        CSafeSaveResult result;
        {
            CFailingCalls failing(c.calls);
            result = SaveFileSafely(strPath, "a map of thirty-one bytes here\n");
        }
        EXPECT_FALSE(result.Ok());
        EXPECT_EQ(c.eStep, result.Step());
        EXPECT_EQ(c.iErrno, result.ErrorNumber());
        EXPECT_TRUE(result.OldFileKept());
        EXPECT_EQ(QStringLiteral("Saving %1 failed: %2. The old file is untouched.")
                      .arg(strPath, QString::fromLatin1(c.pszWhy)),
                  result.Text());
        EXPECT_EQ(kOld, Bytes(strPath));
        EXPECT_EQ("", nvtest::HiddenFiles(dir.path().toStdString()));
    }
}

TEST(SafeFile, AFailedFirstSaveLeavesNoFileAndAReadOnlyFileIsNotReplaced)
{
    QTemporaryDir dir;
    const QString strPath = dir.filePath(QStringLiteral("new.nvm"));
    {
        CFailingCalls failing({&WriteNoSpace, &::fsync, &::close, &::rename});
        const CSafeSaveResult result = SaveFileSafely(strPath, "data");
        EXPECT_FALSE(result.OldFileKept());
        EXPECT_TRUE(result.Text().endsWith(QStringLiteral("No file was written.")))
            << result.Text().toStdString();
    }
    EXPECT_FALSE(QFile::exists(strPath));
    EXPECT_TRUE(QDir(dir.path()).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));

    // Root may write any file, so the read-only case only means something for another user.
    if (::geteuid() != 0)
    {
        Put(strPath, kOld);
        ASSERT_TRUE(QFile::setPermissions(strPath, QFile::ReadOwner));
        const CSafeSaveResult result = SaveFileSafely(strPath, "data");
        EXPECT_EQ(ESafeSaveStep::Create, result.Step());
        EXPECT_EQ(EACCES, result.ErrorNumber());
        EXPECT_EQ(kOld, Bytes(strPath));
    }

    // A directory that doesn't exist can't take the new file.
    const CSafeSaveResult missing = SaveFileSafely(dir.filePath(QStringLiteral("no/such/dir/x.nvm")), "data");
    EXPECT_EQ(ESafeSaveStep::Create, missing.Step());
    EXPECT_EQ(ENOENT, missing.ErrorNumber());
}

TEST(SafeFile, ASymbolicLinkIsFollowedAndStaysALink)
{
    QTemporaryDir dir;
    const QString strTarget = dir.filePath(QStringLiteral("real.nvm"));
    const QString strLink = dir.filePath(QStringLiteral("link.nvm"));
    Put(strTarget, kOld);
    ASSERT_TRUE(QFile::link(strTarget, strLink));
    ASSERT_TRUE(SaveFileSafely(strLink, "through the link").Ok());
    EXPECT_TRUE(QFileInfo(strLink).isSymLink());
    EXPECT_EQ(QByteArray("through the link"), Bytes(strTarget));
}

// A real write that the system cuts short: the process may not write files past 4 KiB.
TEST(SafeFile, AWriteCutShortBySizeLimitKeepsTheOldFile)
{
    QTemporaryDir dir;
    const QString strPath = dir.filePath(QStringLiteral("big.nvm"));
    Put(strPath, kOld);
    const std::string strError = nvtest::RunInChild(
        [&]() -> std::string
        {
            nvtest::LimitFileSize(4096);
            const CSafeSaveResult result = SaveFileSafely(strPath, QByteArray(10000, 'm'));
            if (result.Ok())
            {
                return "a save past the size limit succeeded";
            }
            if (result.Step() != ESafeSaveStep::Write || result.ErrorNumber() != EFBIG)
            {
                return "unexpected failure: " + result.Text().toStdString();
            }
            return std::string();
        });
    EXPECT_EQ("", strError);
    EXPECT_EQ(kOld, Bytes(strPath));
    EXPECT_EQ("", nvtest::HiddenFiles(dir.path().toStdString()));
}

// The failure that started it all: a small file saved onto a full file system. The new file can
// be made (there are inodes left) but not one byte of it can be stored.
TEST(SafeFile, ASaveOntoAFullFileSystemKeepsTheOldFile)
{
    QTemporaryDir dir;
    const std::string strMount = dir.path().toStdString();
    const std::string strError = nvtest::RunInChild(
        [&]() -> std::string
        {
            std::string strMounted = nvtest::MountSmallFilesystem(strMount, 64);
            if (!strMounted.empty())
            {
                return strMounted;
            }
            const QString strPath = QString::fromStdString(strMount + "/small.nvm");
            if (!SaveFileSafely(strPath, kOld).Ok() || !nvtest::FillFilesystem(strMount))
            {
                return "could not prepare the full file system";
            }
            const CSafeSaveResult result = SaveFileSafely(strPath, "<NorvantaMap Version=\"1.7\"/>\n");
            if (result.Ok())
            {
                return "the save onto a full file system succeeded";
            }
            if (result.ErrorNumber() != ENOSPC || !result.Text().contains(QStringLiteral("No space left")) ||
                !result.Text().endsWith(QStringLiteral("The old file is untouched.")))
            {
                return "unexpected failure: " + result.Text().toStdString();
            }
            if (Bytes(strPath) != kOld)
            {
                return "the old file changed: " + Bytes(strPath).toStdString();
            }
            if (!nvtest::HiddenFiles(strMount).empty())
            {
                return "left behind: " + nvtest::HiddenFiles(strMount);
            }
            // Once there is room again the same save goes through.
            std::filesystem::remove(strMount + "/fill");
            return SaveFileSafely(strPath, "room again").Ok() && Bytes(strPath) == "room again"
                       ? std::string()
                       : "the save failed with room on the disk";
        });
    if (strError.rfind("SKIP: ", 0) == 0)
    {
        GTEST_SKIP() << strError;
    }
    EXPECT_EQ("", strError);
}

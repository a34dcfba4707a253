#include "SafeFile.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
SSafeFileCalls& Calls()
{
    static SSafeFileCalls calls = {&::write, &::fsync, &::close, &::rename};
    return calls;
}

QString ErrnoText(int iErrno)
{
    return QString::fromLocal8Bit(std::strerror(iErrno));
}

// The file a save really replaces: the end of a chain of symbolic links, or the path itself.
QString TargetPath(const QString& strPath)
{
    const QFileInfo info(strPath);
    if (info.isSymLink())
    {
        const QString strTarget = info.canonicalFilePath();
        // A dangling link names a file still to be made.
        return strTarget.isEmpty() ? info.symLinkTarget() : strTarget;
    }
    return strPath;
}

mode_t NewFileMode()
{
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return static_cast<mode_t>(0666 & ~mask);
}
} // namespace

SSafeFileCalls SafeFileSystemCalls()
{
    return Calls();
}

SSafeFileCalls SetSafeFileCalls(const SSafeFileCalls& calls)
{
    const SSafeFileCalls previous = Calls();
    Calls() = calls;
    return previous;
}

CSafeSaveResult SaveFileSafely(const QString& strPath, const QByteArray& data)
{
    const SSafeFileCalls& calls = Calls();
    CSafeSaveResult result;
    const QByteArray target = QFile::encodeName(TargetPath(strPath));
    struct stat oldStat = {};
    result.m_bOldFileExisted = ::stat(target.constData(), &oldStat) == 0;

    auto fail = [&](ESafeSaveStep eStep, int iErrno, const QString& strWhy)
    {
        result.m_eStep = eStep;
        result.m_iErrno = iErrno;
        result.m_strText = QStringLiteral("Saving %1 failed: %2. %3")
                               .arg(strPath, strWhy,
                                    result.m_bOldFileExisted ? QStringLiteral("The old file is untouched.")
                                                             : QStringLiteral("No file was written."));
        return result;
    };

    // A file the person may not write stays as it is, as it would with a write in place.
    if (result.m_bOldFileExisted && ::access(target.constData(), W_OK) != 0)
    {
        const int iErrno = errno;
        return fail(ESafeSaveStep::Create, iErrno, ErrnoText(iErrno));
    }

    // The new file lies in the target's directory, so that the rename stays on one file system.
    const int iSlash = target.lastIndexOf('/');
    QByteArray tempName = iSlash < 0 ? QByteArray() : target.left(iSlash + 1);
    tempName += '.' + target.mid(iSlash + 1) + ".save-XXXXXX";
    const int iFd = ::mkostemp(tempName.data(), O_CLOEXEC);
    if (iFd < 0)
    {
        const int iErrno = errno;
        return fail(ESafeSaveStep::Create, iErrno, ErrnoText(iErrno));
    }
    ::fchmod(iFd, result.m_bOldFileExisted ? (oldStat.st_mode & 07777) : NewFileMode());

    // From here on every failure closes and removes the new file.
    bool bOpen = true;
    auto abandon = [&](ESafeSaveStep eStep, int iErrno, const QString& strWhy)
    {
        if (bOpen)
        {
            calls.pfnClose(iFd);
        }
        ::unlink(tempName.constData());
        return fail(eStep, iErrno, strWhy);
    };

    const char* pData = data.constData();
    const size_t nTotal = static_cast<size_t>(data.size());
    size_t nDone = 0;
    while (nDone < nTotal)
    {
        errno = 0;
        const ssize_t nWritten = calls.pfnWrite(iFd, pData + nDone, nTotal - nDone);
        if (nWritten < 0 && errno == EINTR)
        {
            continue;
        }
        if (nWritten <= 0)
        {
            const int iErrno = nWritten < 0 ? errno : 0;
            return abandon(
                ESafeSaveStep::Write, iErrno,
                iErrno != 0 ? ErrnoText(iErrno)
                            : QStringLiteral("only %1 of %2 bytes could be written").arg(nDone).arg(nTotal));
        }
        nDone += static_cast<size_t>(nWritten);
    }
    if (calls.pfnFsync(iFd) != 0)
    {
        const int iErrno = errno;
        return abandon(ESafeSaveStep::Flush, iErrno, ErrnoText(iErrno));
    }
    struct stat newStat = {};
    if (::fstat(iFd, &newStat) != 0 || newStat.st_size != static_cast<off_t>(nTotal))
    {
        return abandon(ESafeSaveStep::Verify, 0,
                       QStringLiteral("the new file holds %1 of %2 bytes")
                           .arg(static_cast<qint64>(newStat.st_size))
                           .arg(nTotal));
    }
    bOpen = false;
    if (calls.pfnClose(iFd) != 0)
    {
        // Network file systems report a failed write back as late as here.
        const int iErrno = errno;
        return abandon(ESafeSaveStep::Flush, iErrno, ErrnoText(iErrno));
    }
    if (calls.pfnRename(tempName.constData(), target.constData()) != 0)
    {
        const int iErrno = errno;
        return abandon(ESafeSaveStep::Rename, iErrno, ErrnoText(iErrno));
    }
    // Make the rename itself lasting. The new file is in place whatever this answers, so a
    // failure here is no failure of the save.
    const QByteArray directory = iSlash < 0 ? QByteArray(".") : target.left(iSlash + 1);
    const int iDirFd = ::open(directory.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (iDirFd >= 0)
    {
        ::fsync(iDirFd);
        ::close(iDirFd);
    }
    return result;
}

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

CSafeFileWriter::~CSafeFileWriter()
{
    if (m_iFd >= 0)
    {
        Calls().pfnClose(m_iFd);
        ::unlink(m_tempName.constData());
    }
}

bool CSafeFileWriter::Fail(ESafeSaveStep eStep, int iErrno, const QString& strWhy)
{
    if (m_iFd >= 0)
    {
        Calls().pfnClose(m_iFd);
        m_iFd = -1;
        ::unlink(m_tempName.constData());
    }
    m_result.m_eStep = eStep;
    m_result.m_iErrno = iErrno;
    m_result.m_strText = QStringLiteral("Saving %1 failed: %2. %3")
                             .arg(m_strPath, strWhy,
                                  m_result.m_bOldFileExisted ? QStringLiteral("The old file is untouched.")
                                                             : QStringLiteral("No file was written."));
    return false;
}

bool CSafeFileWriter::Open(const QString& strPath)
{
    m_strPath = strPath;
    m_target = QFile::encodeName(TargetPath(strPath));
    m_nWritten = 0;
    m_result = CSafeSaveResult();
    struct stat oldStat = {};
    m_result.m_bOldFileExisted = ::stat(m_target.constData(), &oldStat) == 0;

    // A file the person may not write stays as it is, as it would with a write in place.
    if (m_result.m_bOldFileExisted && ::access(m_target.constData(), W_OK) != 0)
    {
        const int iErrno = errno;
        return Fail(ESafeSaveStep::Create, iErrno, ErrnoText(iErrno));
    }

    // The new file lies in the target's directory, so that the rename stays on one file system.
    const int iSlash = m_target.lastIndexOf('/');
    m_tempName = iSlash < 0 ? QByteArray() : m_target.left(iSlash + 1);
    m_tempName += '.' + m_target.mid(iSlash + 1) + ".save-XXXXXX";
    m_iFd = ::mkostemp(m_tempName.data(), O_CLOEXEC);
    if (m_iFd < 0)
    {
        const int iErrno = errno;
        return Fail(ESafeSaveStep::Create, iErrno, ErrnoText(iErrno));
    }
    ::fchmod(m_iFd, m_result.m_bOldFileExisted ? (oldStat.st_mode & 07777) : NewFileMode());
    return true;
}

bool CSafeFileWriter::Write(const char* pData, size_t nBytes)
{
    if (m_iFd < 0)
    {
        return false;
    }
    size_t nDone = 0;
    while (nDone < nBytes)
    {
        errno = 0;
        const ssize_t nWritten = Calls().pfnWrite(m_iFd, pData + nDone, nBytes - nDone);
        if (nWritten < 0 && errno == EINTR)
        {
            continue;
        }
        if (nWritten <= 0)
        {
            const int iErrno = nWritten < 0 ? errno : 0;
            const size_t nTotal = m_nWritten + nBytes;
            return Fail(ESafeSaveStep::Write, iErrno,
                        iErrno != 0 ? ErrnoText(iErrno)
                                    : QStringLiteral("only %1 of %2 bytes could be written")
                                          .arg(m_nWritten + nDone)
                                          .arg(nTotal));
        }
        nDone += static_cast<size_t>(nWritten);
    }
    m_nWritten += nBytes;
    return true;
}

CSafeSaveResult CSafeFileWriter::Commit()
{
    if (m_iFd < 0)
    {
        return m_result;
    }
    if (Calls().pfnFsync(m_iFd) != 0)
    {
        const int iErrno = errno;
        Fail(ESafeSaveStep::Flush, iErrno, ErrnoText(iErrno));
        return m_result;
    }
    struct stat newStat = {};
    if (::fstat(m_iFd, &newStat) != 0 || newStat.st_size != static_cast<off_t>(m_nWritten))
    {
        Fail(ESafeSaveStep::Verify, 0,
             QStringLiteral("the new file holds %1 of %2 bytes")
                 .arg(static_cast<qint64>(newStat.st_size))
                 .arg(m_nWritten));
        return m_result;
    }
    const int iFd = m_iFd;
    m_iFd = -1;
    if (Calls().pfnClose(iFd) != 0)
    {
        // Network file systems report a failed write back as late as here.
        const int iErrno = errno;
        ::unlink(m_tempName.constData());
        Fail(ESafeSaveStep::Flush, iErrno, ErrnoText(iErrno));
        return m_result;
    }
    if (Calls().pfnRename(m_tempName.constData(), m_target.constData()) != 0)
    {
        const int iErrno = errno;
        ::unlink(m_tempName.constData());
        Fail(ESafeSaveStep::Rename, iErrno, ErrnoText(iErrno));
        return m_result;
    }
    // Make the rename itself lasting. The new file is in place whatever this answers, so a
    // failure here is no failure of the save.
    const int iSlash = m_target.lastIndexOf('/');
    const QByteArray directory = iSlash < 0 ? QByteArray(".") : m_target.left(iSlash + 1);
    const int iDirFd = ::open(directory.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (iDirFd >= 0)
    {
        ::fsync(iDirFd);
        ::close(iDirFd);
    }
    return m_result;
}

CSafeSaveResult SaveFileSafely(const QString& strPath, const QByteArray& data)
{
    CSafeFileWriter writer;
    if (writer.Open(strPath))
    {
        writer.Write(data.constData(), static_cast<size_t>(data.size()));
    }
    return writer.Commit();
}

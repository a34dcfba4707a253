// Saving a whole file without ever losing the old one. The bytes go to a new file beside the
// target; every write is checked, the file is flushed to the disk and its size compared with
// what was meant, and only then is it renamed over the old file. Any failure on the way (a full
// disk, a size limit, an I/O error) removes the new file and leaves the old one as it was, and
// the result says so in words a person can act on.
#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <sys/types.h>

// The step at which a save stopped.
enum class ESafeSaveStep
{
    None,   // the save succeeded
    Create, // the new file beside the target could not be made
    Write,  // a write failed or wrote less than asked
    Flush,  // the data could not be forced to the disk
    Verify, // the file on disk is not as long as the data
    Rename  // the new file could not replace the old one
};

class CSafeSaveResult
{
public:
    bool Ok() const { return m_eStep == ESafeSaveStep::None; }
    ESafeSaveStep Step() const { return m_eStep; }
    // The system's error number of the failure, 0 when there was none (or none was given).
    int ErrorNumber() const { return m_iErrno; }
    // True when a file stood at the target before the save (and therefore still does).
    bool OldFileKept() const { return m_bOldFileExisted; }
    // What a person sees: that the save of the file failed, why, and that the old file is
    // untouched (or that nothing was written when there was none). Empty on success.
    QString Text() const { return m_strText; }

private:
    friend class CSafeFileWriter;
    ESafeSaveStep m_eStep = ESafeSaveStep::None;
    int m_iErrno = 0;
    bool m_bOldFileExisted = false;
    QString m_strText;
};

// A save written in pieces, for files too large to hold twice in memory: Open makes the new file
// beside the target, Write appends to it, and Commit checks it and renames it over the target.
// The first failure ends the save: the new file is removed, later calls do nothing, and Commit
// (or Result) says what went wrong. A writer dropped without Commit removes its new file.
class CSafeFileWriter
{
public:
    CSafeFileWriter() = default;
    CSafeFileWriter(const CSafeFileWriter&) = delete;
    CSafeFileWriter& operator=(const CSafeFileWriter&) = delete;
    ~CSafeFileWriter();

    bool Open(const QString& strPath);
    bool Write(const char* pData, size_t nBytes);
    CSafeSaveResult Commit();
    // The outcome so far: a failure of Open or Write, or success while the save goes on.
    const CSafeSaveResult& Result() const { return m_result; }

private:
    bool Fail(ESafeSaveStep eStep, int iErrno, const QString& strWhy);

    QString m_strPath;
    QByteArray m_target;
    QByteArray m_tempName;
    int m_iFd = -1;
    size_t m_nWritten = 0;
    CSafeSaveResult m_result;
};

// Writes data to strPath through a file beside it and a rename. A symbolic link at strPath is
// followed, so the file it names is replaced and the link stays. The new file takes the old
// file's permissions, or those of a newly made file when there was none.
CSafeSaveResult SaveFileSafely(const QString& strPath, const QByteArray& data);

// The system calls of a save, so that a test can make any one of them fail. Each has the
// meaning and result convention of the POSIX call of the same name.
struct SSafeFileCalls
{
    ssize_t (*pfnWrite)(int iFd, const void* pBuffer, size_t nBytes);
    int (*pfnFsync)(int iFd);
    int (*pfnClose)(int iFd);
    int (*pfnRename)(const char* pszFrom, const char* pszTo);
};

// The calls in use now, and a way to change them; returns the calls that were in use.
SSafeFileCalls SafeFileSystemCalls();
SSafeFileCalls SetSafeFileCalls(const SSafeFileCalls& calls);

#include "FaultInjection.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace nvtest
{
namespace
{
bool WriteText(const char* pszPath, const std::string& strText)
{
    const int iFd = ::open(pszPath, O_WRONLY | O_CLOEXEC);
    if (iFd < 0)
    {
        return false;
    }
    const bool bOk = ::write(iFd, strText.data(), strText.size()) == static_cast<ssize_t>(strText.size());
    ::close(iFd);
    return bOk;
}

std::string SystemError(const char* pszWhat)
{
    return std::string(pszWhat) + ": " + std::strerror(errno);
}
} // namespace

std::string RunInChild(const std::function<std::string()>& fn)
{
    int aiPipe[2];
    if (::pipe(aiPipe) != 0)
    {
        return SystemError("pipe");
    }
    const pid_t pid = ::fork();
    if (pid < 0)
    {
        return SystemError("fork");
    }
    if (pid == 0)
    {
        ::close(aiPipe[0]);
        std::string strResult;
        try
        {
            strResult = fn();
        }
        catch (const std::exception& e)
        {
            strResult = std::string("exception: ") + e.what();
        }
        strResult.insert(0, "=");
        size_t nDone = 0;
        while (nDone < strResult.size())
        {
            const ssize_t n = ::write(aiPipe[1], strResult.data() + nDone, strResult.size() - nDone);
            if (n <= 0)
            {
                break;
            }
            nDone += static_cast<size_t>(n);
        }
        ::_exit(0);
    }
    ::close(aiPipe[1]);
    std::string strResult;
    char achBuffer[512];
    ssize_t n = 0;
    while ((n = ::read(aiPipe[0], achBuffer, sizeof achBuffer)) > 0 || (n < 0 && errno == EINTR))
    {
        strResult.append(achBuffer, static_cast<size_t>(n > 0 ? n : 0));
    }
    ::close(aiPipe[0]);
    int iStatus = 0;
    ::waitpid(pid, &iStatus, 0);
    if (WIFSIGNALED(iStatus))
    {
        return "the child died of signal " + std::to_string(WTERMSIG(iStatus));
    }
    if (strResult.empty() || strResult[0] != '=')
    {
        return "the child ended without a result";
    }
    return strResult.substr(1);
}

void LimitFileSize(long nBytes)
{
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit = {};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = nBytes < 0 ? limit.rlim_max : static_cast<rlim_t>(nBytes);
    ::setrlimit(RLIMIT_FSIZE, &limit);
}

std::string MountSmallFilesystem(const std::string& strDir, int nKiB)
{
    const uid_t uid = ::getuid();
    const gid_t gid = ::getgid();
    if (uid == 0)
    {
        if (::unshare(CLONE_NEWNS) != 0)
        {
            return "SKIP: " + SystemError("unshare(CLONE_NEWNS)");
        }
    }
    else
    {
        if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        {
            return "SKIP: " + SystemError("unshare(CLONE_NEWUSER | CLONE_NEWNS)");
        }
        // Map this user to root of the new namespace, so that files on the mount have an owner.
        WriteText("/proc/self/setgroups", "deny");
        if (!WriteText("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1") ||
            !WriteText("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1"))
        {
            return "SKIP: " + SystemError("uid_map");
        }
    }
    // Keep the mount out of the parent's namespace.
    if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
    {
        return "SKIP: " + SystemError("mount --make-rprivate /");
    }
    const std::string strOptions = "size=" + std::to_string(nKiB) + "k";
    if (::mount("tmpfs", strDir.c_str(), "tmpfs", 0, strOptions.c_str()) != 0)
    {
        return "SKIP: " + SystemError("mount tmpfs");
    }
    return std::string();
}

bool FillFilesystem(const std::string& strDir)
{
    const std::string strPath = strDir + "/fill";
    const int iFd = ::open(strPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (iFd < 0)
    {
        return false;
    }
    // Large pieces first, then single bytes into the last partly used block.
    static const char achBlock[4096] = {};
    while (::write(iFd, achBlock, sizeof achBlock) > 0)
    {
    }
    while (::write(iFd, achBlock, 1) > 0)
    {
    }
    const bool bFull = errno == ENOSPC;
    ::close(iFd);
    return bFull;
}

std::string HiddenFiles(const std::string& strDir)
{
    std::string strNames;
    if (DIR* pDir = ::opendir(strDir.c_str()))
    {
        while (const dirent* pEntry = ::readdir(pDir))
        {
            const std::string strName = pEntry->d_name;
            if (strName != "." && strName != ".." && strName[0] == '.')
            {
                strNames += strName + " ";
            }
        }
        ::closedir(pDir);
    }
    return strNames;
}
} // namespace nvtest

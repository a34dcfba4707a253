// Ways to make a file write fail for real: a size limit on the files a process may write, and a
// small file system that can be filled. Both change the whole process, so they run in a forked
// child; the child reports back in words.
#pragma once

#include <functional>
#include <string>

namespace nvtest
{
// Runs fn in a forked child and returns what it returned: empty when every check held, else
// what went wrong. A text that begins with "SKIP: " means the system can't do what the child
// needed. A child that dies or exits without a word reports that.
std::string RunInChild(const std::function<std::string()>& fn);

// In the calling process: writes past nBytes of any file fail with EFBIG instead of raising
// SIGXFSZ; a negative nBytes lifts the limit again. Meant for a child of RunInChild.
void LimitFileSize(long nBytes);

// In the calling process (a child of RunInChild): mounts a tmpfs of nKiB kibibytes on strDir in
// a mount namespace of its own, with a user namespace when not run as root. Empty on success,
// else a "SKIP: " text saying why the system refused.
std::string MountSmallFilesystem(const std::string& strDir, int nKiB);

// Fills the file system that holds strDir until not one more byte fits. False when it could not.
bool FillFilesystem(const std::string& strDir);

// The names in strDir that start with a dot: files a failed save could have left behind.
std::string HiddenFiles(const std::string& strDir);
} // namespace nvtest

#include "TestSupport.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace nvtest
{
namespace
{
struct ProcessDir
{
    std::string strPath;
    ProcessDir()
    {
        std::string strTemplate = (std::filesystem::temp_directory_path() / "nvtest-XXXXXX").string();
        char* pszMade = mkdtemp(strTemplate.data());
        strPath = pszMade ? pszMade : "/tmp";
        const std::string strConfig = strPath + "/config";
        const std::string strTmp = strPath + "/tmp";
        std::filesystem::create_directories(strConfig);
        std::filesystem::create_directories(strTmp);
        setenv("HOME", strPath.c_str(), 1);
        setenv("XDG_CONFIG_HOME", strConfig.c_str(), 1);
        setenv("TMPDIR", strTmp.c_str(), 1);
    }
    ~ProcessDir()
    {
        if (strPath != "/tmp")
        {
            std::error_code ec;
            std::filesystem::remove_all(strPath, ec);
        }
    }
};
} // namespace

const std::string& ProcessTempDir()
{
    static ProcessDir dir;
    return dir.strPath;
}

std::string SourceDir()
{
    return NV_SOURCE_DIR;
}

std::string BinaryDir()
{
    const char* pszDir = std::getenv("NV_BUILD_DIR");
    return pszDir && *pszDir ? pszDir : NV_BINARY_DIR;
}

std::string BuiltProgram(const std::string& strRelative)
{
    return BinaryDir() + "/" + strRelative;
}

std::string ReadFile(const std::string& strPath)
{
    std::ifstream in(strPath, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

std::vector<std::string> Lines(const std::string& strText)
{
    std::vector<std::string> lines;
    std::istringstream stream(strText);
    std::string strLine;
    while (std::getline(stream, strLine))
        lines.push_back(strLine);
    return lines;
}
} // namespace nvtest

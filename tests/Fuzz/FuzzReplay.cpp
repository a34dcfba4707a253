// Runs every file under the given files and directories through a fuzz harness once, so that the
// seed corpus and every input that once made a harness fail are checked by the normal test run,
// with the normal compiler. A crash or a sanitizer report ends the run as it would under the
// fuzzer; a path that holds no input at all is an error, so that a moved corpus is noticed.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize);

int main(int argc, char** argv)
{
    namespace fs = std::filesystem;
    std::vector<fs::path> files;
    for (int i = 1; i < argc; ++i)
    {
        const fs::path path(argv[i]);
        if (fs::is_directory(path))
        {
            for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path))
            {
                if (entry.is_regular_file() && entry.path().filename() != "README")
                {
                    files.push_back(entry.path());
                }
            }
        }
        else if (fs::is_regular_file(path))
        {
            files.push_back(path);
        }
        else
        {
            std::fprintf(stderr, "no such input: %s\n", argv[i]);
            return 2;
        }
    }
    std::sort(files.begin(), files.end());
    if (files.empty())
    {
        std::fprintf(stderr, "no inputs found\n");
        return 2;
    }
    for (const fs::path& path : files)
    {
        std::ifstream in(path, std::ios::binary);
        const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        std::fprintf(stderr, "%s\n", path.c_str());
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    }
    std::printf("%zu inputs replayed\n", files.size());
    return 0;
}

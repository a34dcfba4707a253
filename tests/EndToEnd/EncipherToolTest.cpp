// nv-encipher, which makes the enciphered register files of the library: its output goes whole
// or not at all.
#include "FaultInjection.h"
#include "SimProcess.h"
#include "TestSupport.h"

#include <fstream>
#include <gtest/gtest.h>

namespace
{
nvtest::SRunResult Encipher(const std::vector<std::string>& args)
{
    return nvtest::RunProgram(nvtest::BuiltProgram("tools/nv-encipher"), args);
}

void Put(const std::string& strPath, const std::string& strText)
{
    std::ofstream(strPath, std::ios::binary) << strText;
}
} // namespace

TEST(EncipherTool, OutputRoundTripsAndAFailedWriteKeepsTheOldOutput)
{
    const std::string strDir = nvtest::ProcessTempDir();
    const std::string strInput = strDir + "/generic.nvr";
    const std::string strOutput = strDir + "/generic.envr";
    const std::string strBack = strDir + "/back.nvr";
    std::string strXml = "<?xml version=\"1.0\"?>\n<NorvantaMemoryMap Version=\"1.3\">\n";
    while (strXml.size() < 10000)
    {
        strXml += "\t<RegisterBlock Name=\"Block\"></RegisterBlock>\n";
    }
    strXml += "</NorvantaMemoryMap>\n";
    Put(strInput, strXml);

    nvtest::SRunResult result = Encipher({"--register", strInput, strOutput});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    const std::string strEnciphered = nvtest::ReadFile(strOutput);
    EXPECT_EQ(strXml.size(), strEnciphered.size());
    EXPECT_NE(strXml, strEnciphered);
    result = Encipher({"--register", "--decipher", strOutput, strBack});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ(strXml, nvtest::ReadFile(strBack));

    // Files may not grow past 4 KiB: the new output can't be written, and the old one stands.
    Put(strOutput, "old output");
    const std::string strError = nvtest::RunInChild(
        [&]() -> std::string
        {
            nvtest::LimitFileSize(4096);
            const nvtest::SRunResult limited = Encipher({"--register", strInput, strOutput});
            if (limited.nExitCode != 1)
            {
                return "exit code " + std::to_string(limited.nExitCode);
            }
            const std::string strExpected =
                "nv-encipher: Saving " + strOutput + " failed: File too large. The old file is untouched.\n";
            return limited.strErr == strExpected ? std::string() : "stderr: " + limited.strErr;
        });
    EXPECT_EQ("", strError);
    EXPECT_EQ("old output", nvtest::ReadFile(strOutput));
    EXPECT_EQ("", nvtest::HiddenFiles(strDir));
}

// The desktop program's text-only answers need no display: help and the version are printed and
// the program ends without starting a window system.
#include "TerminalRun.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

namespace
{
// An environment with no display of any kind and no platform chosen.
std::vector<std::string> NoDisplay()
{
    return {"HOME=" + nvtest::ProcessTempDir(), "PATH=/usr/bin:/bin", "LANG=C.UTF-8",
            "XDG_RUNTIME_DIR=" + nvtest::ProcessTempDir()};
}

bool Has(const std::string& strText, const std::string& strPart)
{
    return strText.find(strPart) != std::string::npos;
}

TEST(AppCommandLine, HelpAndVersionNeedNoDisplay)
{
    const std::string strProgram = nvtest::BuiltProgram("App/norvanta");
    for (const char* pszHelp : {"--help", "-h"})
    {
        const nvtest::STerminalRun result = nvtest::RunWithEnvironment(strProgram, {pszHelp}, NoDisplay());
        ASSERT_EQ(0, result.nExitCode) << pszHelp << "\n" << result.strTerminal;
        EXPECT_TRUE(Has(result.strOut, "Usage: ")) << result.strOut;
        EXPECT_TRUE(Has(result.strOut, "Norvanta, a management and debug client for RapidIO networks"));
        EXPECT_TRUE(Has(result.strOut, "--demo")) << result.strOut;
        EXPECT_TRUE(Has(result.strOut, "--headless-demo <FILE>")) << result.strOut;
    }
    nvtest::STerminalRun result = nvtest::RunWithEnvironment(strProgram, {"--version"}, NoDisplay());
    ASSERT_EQ(0, result.nExitCode) << result.strTerminal;
    EXPECT_EQ("Norvanta4 " NV_TEST_VERSION "\n", result.strOut);

    // An option it doesn't know is refused in text too, with a failing status.
    result = nvtest::RunWithEnvironment(strProgram, {"--no-such-option"}, NoDisplay());
    EXPECT_EQ(1, result.nExitCode) << result.strTerminal;
    EXPECT_TRUE(Has(result.strTerminal, "Unknown option 'no-such-option'.")) << result.strTerminal;
}
} // namespace

// Common main of the test executables: every process gets its own private home and temporary
// directory before any test runs, so tests can run in parallel without sharing state.
#include "TestSupport.h"

#include <csignal>
#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    nvtest::ProcessTempDir();
    // A peer that hangs up must show as a failed send, not kill the test process.
    std::signal(SIGPIPE, SIG_IGN);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

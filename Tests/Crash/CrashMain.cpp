// Without arguments of the tests' own this is the test program; with them it is the process that is
// ended.

#include "Tests/Crash/Ending.h"

#include <gtest/gtest.h>

int main(int argc, char ** argv) {
    int const exitCode = Tests::RunWorker({argv + 1, argv + argc});
    if (exitCode >= 0)
        return exitCode;
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

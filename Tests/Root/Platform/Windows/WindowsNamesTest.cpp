#include "Tests/Root/Platform/Windows/WindowsNames.h"

#include "Tests/Support/TempFolder.h"

#include <gtest/gtest.h>

TEST(WindowsNames, LetBothCallTheirOwnInEitherOrder) {
    Tests::TempFolder const folder;
    std::string const path = (folder / "entry").string();
    EXPECT_TRUE(UseBothWindowsFirst(path.c_str()));
    EXPECT_TRUE(UseBothWindowsLast(path.c_str()));
}

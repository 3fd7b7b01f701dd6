#include <gtest/gtest.h>

// Whatever of the standard library our headers use: that bears such macros no better.
#include <algorithm>
#include <atomic>
#include <charconv>
#include <compare>
#include <concepts>
#include <filesystem>
#include <functional>
#include <limits>
#include <span>
#include <streambuf>
#include <string_view>
#include <system_error>

// As <windows.h> has them with the compiler that it comes from, unless the host forbids it.
#define min(a, b) ((a) < (b) ? (a) : (b))
#define max(a, b) ((a) > (b) ? (a) : (b))

#include <Kestrel/Kestrel.h>

#undef min
#undef max

TEST(Headers, BearTheMinAndMaxOfAHost) {
    Mu::Array<int> array{1, 2, 3};
    array.SetSize(2);
    EXPECT_EQ(array.GetSize(), 2u);
}

#include <Kestrel/FileSystem/NativePath.h>

#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

using IO::FromNativePath;
using IO::IsNativePath;
using IO::ToNativePath;
using Mu::UniString;

TEST(NativePath, HasNoFormForARelativeOne) {
    UniString text = U("before");
    EXPECT_FALSE(ToNativePath(U("a\\b"), &text));
    EXPECT_TRUE(text.IsEmpty());
    text = U("before");
    EXPECT_FALSE(FromNativePath(U("a/b"), &text));
    EXPECT_TRUE(text.IsEmpty());
    EXPECT_TRUE(ToNativePath(U("a\\b")).empty());
    EXPECT_TRUE(FromNativePath(std::filesystem::path("a/b")).IsEmpty());
    EXPECT_TRUE(ToNativePath(UniString()).empty());
}

TEST(NativePath, FitsItsBufferOrIsNotThere) {
    IO::NativeUnit units[16];
    UniString const path = U("C:\\abc");
    unsigned int const length = ToNativePath(path, units, 16);
    ASSERT_NE(length, 0u);
    EXPECT_EQ(units[length], 0);
    EXPECT_EQ(ToNativePath(path, units, length + 1), length);
    EXPECT_EQ(ToNativePath(path, units, length), 0u);
    EXPECT_EQ(units[0], 0);
    EXPECT_EQ(ToNativePath(path, units, 0), 0u);
}

#if defined(_WIN32)

TEST(NativePath, IsThePortableOneOnWindows) {
    UniString text;
    EXPECT_FALSE(IsNativePath(U("/home/x")));
    EXPECT_TRUE(FromNativePath(U("C:/a//./b"), &text));
    EXPECT_EQ(ToUtf8(text), "C:\\a\\b");
    EXPECT_TRUE(FromNativePath(U("\\\\?\\c:"), &text));
    EXPECT_EQ(ToUtf8(text), "c:\\");
    EXPECT_TRUE(FromNativePath(U("//host/share/x"), &text));
    EXPECT_EQ(ToUtf8(text), "\\\\host\\share\\x");
}

#else

TEST(NativePath, KeepsBytesThatAreNoText) {
    std::filesystem::path const path = "/tmp/\xFF\xC3(\\";
    UniString const portable = FromNativePath(path);
    EXPECT_TRUE(portable == u"C:\\tmp\\\xEFFF\xEFC3(\xF05C");
    EXPECT_EQ(ToNativePath(portable), path);
    EXPECT_FALSE(IsNativePath(portable));
    UniString text;
    EXPECT_TRUE(ToNativePath(portable, &text) && text == u"/tmp/\xEFFF\xEFC3(\\");
    EXPECT_TRUE(IsNativePath(text));
    EXPECT_TRUE(FromNativePath(text, &text) && text == portable);
}

#endif

#include <Kestrel/Root/Text/TextFormat.h>

#include <Kestrel/Root/Text/UniString.h>

#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <climits>

using Mu::UniString;

TEST(TextScan, StoresFieldsAndTellsHowMany) {
    unsigned int numbers[4] = {};
    UniString const address("300.1.22.4");
    EXPECT_EQ(address.Scanf("%u.%u.%u.%u", &numbers[0], &numbers[1], &numbers[2], &numbers[3]), 4);
    EXPECT_EQ(numbers[0], 300u);
    EXPECT_EQ(numbers[3], 4u);
    EXPECT_EQ(UniString("1.2.x").Scanf("%u.%u.%u", &numbers[0], &numbers[1], &numbers[2]), 2);
    EXPECT_EQ(UniString("1,2").Scanf("%u.%u", &numbers[0], &numbers[1]), 1);
    EXPECT_EQ(UniString("7").Scanf("%u%u", &numbers[0]), 1) << "no second target";
    EXPECT_EQ(UniString("7").Scanf(nullptr, &numbers[0]), 0);
}

TEST(TextScan, StoresNumbersOfAnyWidth) {
    signed char tiny = 0;
    short small = 0;
    unsigned short mark = 0;
    unsigned long medium = 0;
    long long large = 0;
    int bare = 0, none = 7;
    UniString const text("  -100 +77 0xAFfe 4294967295 -9223372036854775808 1c 0x1");
    EXPECT_EQ(
        text.Scanf("%d%d %x %lu %d %x %d", &tiny, &small, &mark, &medium, &large, &bare, &none), 7);
    EXPECT_EQ(bare, 0x1C);
    EXPECT_EQ(none, 0) << "what a decimal number can take of it";
    EXPECT_EQ(tiny, -100);
    EXPECT_EQ(small, 77);
    EXPECT_EQ(mark, 0xAFFE);
    EXPECT_EQ(medium, 4294967295ul);
    EXPECT_EQ(large, LLONG_MIN);
}

// So a caller's range check meets them, where wrapping around would hide them from it.
TEST(TextScan, CutsNumbersToTheNearestThatFits) {
    int number = 0;
    EXPECT_EQ(UniString("99999999999999999999999").Scanf("%d", &number), 1);
    EXPECT_EQ(number, INT_MAX);
    EXPECT_EQ(UniString("-4294967297").Scanf("%d", &number), 1);
    EXPECT_EQ(number, INT_MIN);
    unsigned short port = 0;
    EXPECT_EQ(UniString("65536").Scanf("%u", &port), 1);
    EXPECT_EQ(port, 65535);
    EXPECT_EQ(UniString("-1").Scanf("%u", &port), 1);
    EXPECT_EQ(port, 0);
    unsigned long long large = 0;
    EXPECT_EQ(UniString("18446744073709551616").Scanf("%lu", &large), 1);
    EXPECT_EQ(large, ~0ull);
    EXPECT_EQ(UniString("18446744073709551614").Scanf("%lu", &large), 1);
    EXPECT_EQ(large, ~0ull - 1);
}

TEST(TextScan, KeepsTextsInsideTheirTargets) {
    char buffer[4] = {};
    UniString word;
    UniString const text(u"overlong \u00E4\u00F6\u00FC tail");
    EXPECT_EQ(text.Scanf("%s %ls", &buffer, &word), 2);
    EXPECT_STREQ(buffer, "ove");
    EXPECT_TRUE(word == u"\u00E4\u00F6\u00FC");
    EXPECT_EQ(UniString("abcdef").Scanf("%2s%s", &word, &buffer), 2);
    EXPECT_EQ(ToUtf8(word), "ab");
    EXPECT_STREQ(buffer, "cde");
    EXPECT_EQ(UniString("   ").Scanf("%s", &word), 0);
    EXPECT_EQ(ToUtf8(word), "ab");
#if !defined(_WIN32) // where the machine's code takes two bytes for it
    EXPECT_EQ(UniString(u"\u00E4\u00F6").Scanf("%s", &buffer), 1);
    EXPECT_STREQ(buffer, "\xC3\xA4") << "whole characters only";
#endif
}

TEST(TextScan, StopsWhereTextOrTargetDoNotFit) {
    int number = 5;
    UniString word("kept");
    EXPECT_EQ(UniString("12").Scanf("%d", &word), 0);
    char const * const rows[][2] = {{"12", "%s"}, {"-", "%d"},  {"0x", "%x"}, {"", "%u"},
                                    {" x", "%u"}, {"12", "%q"}, {"12", "%"}};
    for (auto const & [text, format] : rows)
        EXPECT_EQ(UniString(text).Scanf(format, &number), 0) << text << format;
    EXPECT_EQ(number, 5);
    EXPECT_EQ(ToUtf8(word), "kept");
}

TEST(TextScan, PassesOverAndTellsThePosition) {
    int number = 0;
    unsigned int end = 99;
    EXPECT_EQ(UniString("10 20%x").Scanf("%*d %d%%%n", &number, &end), 1);
    EXPECT_EQ(number, 20);
    EXPECT_EQ(end, 6u);
    EXPECT_EQ(UniString("12345").Scanf("%3d%n", &number, &end), 1);
    EXPECT_EQ(number, 123);
    EXPECT_EQ(end, 3u);
}

#include <Kestrel/Root/Text/TextFormat.h>

#include <Kestrel/Root/Text/UniString.h>

#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <charconv>
#include <limits>
#include <random>
#include <string>

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

// The nearest that fits, so that a caller's range check meets it, where wrapping around would hide it.
template <typename T>
static void ExpectNearest(std::mt19937 & random) {
    for (int round = 0; round < 400; ++round) {
        int const base = round % 2 == 0 ? 10 : 16;
        bool const isNegative = random() % 3 == 0;
        std::string text(isNegative, '-');
        for (unsigned int i = random() % (round % 3 == 0 ? 24 : 4 * sizeof(T)) + 1; i > 0; --i)
            text += "0123456789abcdef"[random() % base];
        T expected{}, number{};
        auto const end = text.data() + text.size();
        if (isNegative && std::is_unsigned_v<T>)
            expected = 0;
        else if (std::from_chars(text.data(), end, expected, base).ec != std::errc())
            expected = isNegative ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max();
        if (base == 16 && random() % 2 == 0)
            text.insert(isNegative, random() % 2 == 0 ? "0x" : "0");
        text.insert(0, isNegative || random() % 2 == 0 ? "  " : "+");
        ASSERT_EQ(UniString(text.c_str()).Scanf(base == 16 ? "%lx" : "%d", &number), 1);
        ASSERT_EQ(number, expected) << text;
    }
}

TEST(TextScan, StoresTheNearestNumber) {
    std::mt19937 random(1);
    ExpectNearest<signed char>(random);
    ExpectNearest<unsigned char>(random);
    ExpectNearest<short>(random);
    ExpectNearest<unsigned short>(random);
    ExpectNearest<int>(random);
    ExpectNearest<unsigned int>(random);
    ExpectNearest<long>(random);
    ExpectNearest<unsigned long>(random);
    ExpectNearest<long long>(random);
    ExpectNearest<unsigned long long>(random);
    int bare = 0, none = 7;
    EXPECT_EQ(UniString("1c 0x1").Scanf("%x %d", &bare, &none), 2);
    EXPECT_EQ(bare, 0x1C);
    EXPECT_EQ(none, 0) << "what a decimal number can take of it";
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

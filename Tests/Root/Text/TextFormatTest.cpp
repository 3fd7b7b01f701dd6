#include <Kestrel/Root/Text/TextFormat.h>

#include <Kestrel/Root/Text/String.h>
#include <Kestrel/Root/Text/UniString.h>

#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <climits>

using Mu::UniString;

namespace {

template <typename... Arguments>
std::string Print(char const * format, Arguments const &... arguments) {
    return ToUtf8(UniString::Printf(format, arguments...));
}

// A value of every type prints by every directive as the C library prints an int of that value.
template <typename... Types>
void ExpectLikeC(char const * format, int value) {
    char expected[64];
    std::snprintf(expected, sizeof(expected), format, value);
    std::string const text[] = {Print(format, static_cast<Types>(value))...};
    for (std::string const & each : text)
        EXPECT_EQ(each, expected) << format;
}

} // namespace

TEST(TextFormat, TakesNumbersOfAnyWidth) {
    for (unsigned int flags = 0; flags < 16; ++flags)
        for (char const * size : {"", "1", "3", "12", ".1", ".5", "9.3"})
            for (char const * conversion : {"d]", "i]", "u]", "x]", "X]"}) {
                std::string format = "[%";
                for (unsigned int i = 0; i < 4; ++i)
                    format.append(flags >> i & 1, "-0+#"[i]);
                format.append(size).append(conversion);
                for (int value : {0, 1, 42, 1000000, INT_MAX})
                    ExpectLikeC<int, unsigned int, long, unsigned long, long long,
                                unsigned long long>(format.c_str(), value);
                for (int value : {-1, -42, INT_MIN})
                    if (*conversion == 'd' || *conversion == 'i')
                        ExpectLikeC<int, long, long long>(format.c_str(), value);
            }
    EXPECT_EQ(Print("%010lu %010lu", 42u, 0xFFFFFFFFul), "0000000042 4294967295");
    EXPECT_EQ(Print("%lu %lu", 1, 0xFFFFFFFFFFFFFFFFull), "1 18446744073709551615");
    EXPECT_EQ(Print("%08lX:%04hx", 0xDEADu, static_cast<unsigned short>(0xAF)), "0000DEAD:00af");
}

TEST(TextFormat, TakesNegativeNumbersOfAnyWidth) {
    EXPECT_EQ(Print("%u %x", -1, static_cast<short>(-1)), "4294967295 ffffffff");
    EXPECT_EQ(Print("%u", -1L), "4294967295") << "on either platform";
    EXPECT_EQ(Print("%x", -1LL), "ffffffffffffffff");
    EXPECT_EQ(Print("%d", 0xFFFFFFFFu), "-1");
    EXPECT_EQ(Print("%d", LLONG_MIN), "-9223372036854775808");
}

TEST(TextFormat, TakesTextOfAnyKind) {
    UniString const text(u"\u00E4\u20ACx");
    EXPECT_EQ(Print("%s|%ls|%s", "narrow", text, text.ToUStr()),
              "narrow|\xC3\xA4\xE2\x82\xACx|\xC3\xA4\xE2\x82\xACx");
    EXPECT_EQ(Print("%ls%s%s", text(0, 1), Mu::String("str"), UniString("c").ToCStr()),
              "\xC3\xA4strc");
    EXPECT_EQ(Print("[%5s][%-5s][%.2s][%4.1s]", "abc", "abc", "abc", "abc"),
              "[  abc][abc  ][ab][   a]");
    EXPECT_EQ(Print("[%s]", static_cast<char const *>(nullptr)), "[]");
    EXPECT_EQ(Print("%c%c%c", 'a', u'\u00E4', 0x62), "a\xC3\xA4"
                                                     "b");
    EXPECT_EQ(Print("100%% %s", "x"), "100% x");
    EXPECT_EQ(Print("0x%p", reinterpret_cast<void *>(0xABC)), "0x0000000000000ABC");
}

TEST(TextFormat, PrintsAsItStandsWhatHasNoFittingArgument) {
    EXPECT_EQ(Print("%d %s"), "%d %s");
    EXPECT_EQ(Print("%d %d", 1), "1 %d");
    EXPECT_EQ(Print("%s %05d", 1, "x"), "%s %05d");
    EXPECT_EQ(Print("%q %d", 1, 2), "%q 2");
    EXPECT_EQ(Print("end %", 1), "end %");
    EXPECT_EQ(Print("end %-5l", 1), "end %-5l");
    EXPECT_EQ(Print("none", 1, 2), "none");
    EXPECT_EQ(Print(nullptr, 1), "");
    EXPECT_EQ(Print("%99999999999d", 1).size(), 100000u) << "a width that no one means";
}

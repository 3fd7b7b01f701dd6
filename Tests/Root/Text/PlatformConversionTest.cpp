#include <Kestrel/Root/Text/PlatformConversion.h>

#include <Kestrel/Root/Internal/CharacterSets.h>

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#if !defined(_WIN32)
#include <iconv.h>
#endif

using Mu::PlatformSign;

namespace {

std::string Recode(PlatformSign origin, std::string text, PlatformSign destination) {
    IVChars(origin, text.data(), static_cast<int>(text.size()), MuMachineCharCode, destination);
    return text;
}

std::string AllBytes() {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte)
        bytes += static_cast<char>(byte);
    return bytes;
}

} // namespace

TEST(PlatformConversion, LosesNothingThereAndBack) {
    std::string const all = AllBytes();
    std::string const there = Recode(Mu::WindowsSign, all, Mu::BigEndianMacSign);
    EXPECT_NE(there, all);
    EXPECT_EQ(there.substr(0, 128), all.substr(0, 128)) << "ASCII stays";
    EXPECT_EQ(std::set<char>(there.begin(), there.end()).size(), 256u);
    EXPECT_EQ(Recode(Mu::BigEndianMacSign, there, Mu::WindowsSign), all);
}

TEST(PlatformConversion, LeavesEqualAndUnknownSignsAlone) {
    std::string const all = AllBytes();
    for (PlatformSign const sign :
         {Mu::WindowsSign, Mu::BigEndianMacSign, Mu::LittleEndianMacSign, PlatformSign(12345)}) {
        EXPECT_EQ(Recode(sign, all, sign), all);
        EXPECT_EQ(Recode(sign, all, PlatformSign(1)), all);
        EXPECT_EQ(Recode(PlatformSign(1), all, sign), all);
    }
    EXPECT_EQ(Recode(Mu::BigEndianMacSign, all, Mu::LittleEndianMacSign), all);
}

TEST(PlatformConversion, StopsAtTheLengthOrTheZeroByte) {
    char text[] = "\x8A\x8A\0\x8A";
    IVChars(Mu::BigEndianMacSign, text, -1, MuMachineCharCode, Mu::WindowsSign);
    EXPECT_EQ(std::string(text, 4), std::string("\xE4\xE4\0\x8A", 4));
    IVChars(Mu::WindowsSign, text, 1, MuMachineCharCode, Mu::BigEndianMacSign);
    EXPECT_EQ(std::string(text, 4), std::string("\x8A\xE4\0\x8A", 4));
    IVChars(Mu::WindowsSign, nullptr, -1, MuMachineCharCode, Mu::BigEndianMacSign);
}

TEST(PlatformConversion, TurnsBytesRoundForTheOtherOrderOnly) {
    unsigned char bytes[] = {1, 2, 3, 4};
    for (auto const & [sign, expected] : {std::pair{Mu::BigEndianMacSign, 0x01020304u},
                                          {Mu::WindowsSign, 0x04030201u},
                                          {Mu::LittleEndianMacSign, 0x04030201u}}) {
        unsigned int value = 0;
        std::memcpy(&value, bytes, 4);
        IVULong(sign, &value);
        EXPECT_EQ(value, expected) << sign;
        IVULong(sign, &value);
        EXPECT_EQ(std::memcmp(&value, bytes, 4), 0) << sign;
    }
    unsigned int value = 7;
    IVULong(PlatformSign(5), &value);
    EXPECT_EQ(value, 7u);
    IVULong(Mu::BigEndianMacSign, nullptr);
}

#if !defined(_WIN32)

namespace {

void ExpectLikeSystem(char const * name, Mu::Internal::CharacterRows const & rows,
                      std::set<int> const & others) {
    iconv_t const converter = iconv_open("UTF-16LE", name);
    ASSERT_NE(converter, iconv_t(-1));
    for (int row = 0; row < 128; ++row) {
        char source = static_cast<char>(0x80 + row);
        unsigned char units[2] = {};
        char *from = &source, *to = reinterpret_cast<char *>(units);
        std::size_t fromLeft = 1, toLeft = 2;
        (void)iconv(converter, &from, &fromLeft, &to, &toLeft); // 0 for a byte without a character
        EXPECT_EQ(rows[row] == (units[0] | units[1] << 8), others.count(0x80 + row) == 0)
            << name << " " << 0x80 + row;
    }
    iconv_close(converter);
}

} // namespace

// The differences are known: bytes that code page 1252 does not use, and two characters which the
// system's converter takes for a Greek letter and for a private one of its own.
TEST(PlatformConversion, HasTheSystemsCharacterSets) {
    ExpectLikeSystem("CP1252", Mu::Internal::windows1252Rows, {0x81, 0x8D, 0x8F, 0x90, 0x9D});
    ExpectLikeSystem("MACINTOSH", Mu::Internal::macRomanRows, {0xC6, 0xF0});
}

#endif

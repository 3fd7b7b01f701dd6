#include <Kestrel/Location/Platform/NativeText.h>

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace {

using IO::BytePath;
using IO::PathText;
using IO::TextBuffer;

std::u16string ToPortable(std::string_view name) {
    char16_t units[600];
    TextBuffer text{units, 600, 0};
    EXPECT_TRUE(IO::AppendPortableName(name, &text));
    EXPECT_EQ(units[text.length], 0);
    return std::u16string(text.GetText());
}

std::string ToNative(PathText name) {
    BytePath path;
    EXPECT_EQ(IO::AppendNativeName(name, &path), IO::FileError::None);
    EXPECT_EQ(path.text[path.length], 0);
    return std::string(path.GetText());
}

unsigned int TryToNative(PathText name) {
    BytePath path;
    return IO::AppendNativeName(name, &path);
}

} // namespace

TEST(NativeText, TakesNamesAsUtf8) {
    using Row = std::pair<char const *, char16_t const *>;
    for (auto const & [native, portable] : {
             Row{"a\xC3\xA9\xE2\x82\xAC\xF0\x9F\xA6\x85", u"a\u00e9\u20ac\U0001F985"},
             Row{"a:b*?", u"a:b*?"},                               // not legal, but itself
             Row{"\xFF", u"\xDCFF"},                               // no UTF-8 at all
             Row{"a\x80z", u"a\xDC80z"},                           // a stray continuation
             Row{"\xC3", u"\xDCC3"},                               // cut off
             Row{"\xC0\xAF", u"\xDCC0\xDCAF"},                     // overlong
             Row{"\xED\xA0\x80", u"\xDCED\xDCA0\xDC80"},           // a surrogate
             Row{"\xF4\x90\x80\x80", u"\xDCF4\xDC90\xDC80\xDC80"}, // beyond the last one
             Row{"..\\..\\x", u"..\xF05C..\xF05Cx"},               // no way up
             Row{"\xEF\x81\x9C", u"\xDCEF\xDC81\xDC9C"},           // what hides a `\`, itself
         }) {
        EXPECT_EQ(ToPortable(native), portable) << native;
        EXPECT_EQ(ToNative(portable), native) << native;
    }
}

TEST(NativeText, GivesEveryNameBackByteByByte) {
    std::mt19937 random(7);
    for (int round = 0; round < 20000; ++round) {
        std::string name(1 + random() % 12, 0);
        // Mostly bytes that come close to being UTF-8.
        static constexpr unsigned char likely[] = {'a',  '\\', 0x80, 0x81, 0x9C, 0xBF, 0xC3, 0xE0,
                                                   0xED, 0xEF, 0xF0, 0xF4, 0xA0, 0x90, 0xFF, ':'};
        for (char & c : name)
            c = static_cast<char>(likely[random() % sizeof(likely)]);
        std::u16string const portable = ToPortable(name);
        ASSERT_EQ(portable.find(u'\\'), std::u16string::npos);
        ASSERT_EQ(ToNative(portable), name);
    }
}

TEST(NativeText, RefusesUnitsThatNoNameHolds) {
    for (char16_t const unit : {0, 0xD800, 0xDBFF, 0xDC00, 0xDC7F, 0xDD00, 0xDFFF}) {
        char16_t const name[] = {u'a', unit, u'b'};
        EXPECT_EQ(TryToNative(PathText(name, 3)), IO::FileError::InvalidName)
            << static_cast<unsigned int>(unit);
    }
    EXPECT_EQ(TryToNative(PathText(u"\xD83E", 1)), IO::FileError::InvalidName) << "half a pair";
}

TEST(NativeText, KnowsTheEndOfItsBuffers) {
    EXPECT_EQ(TryToNative(std::u16string(4095, u'x')), IO::FileError::None);
    EXPECT_EQ(TryToNative(std::u16string(4096, u'x')), IO::FileError::NameTooLong);
    EXPECT_EQ(TryToNative(std::u16string(2047, u'\u00e9')), IO::FileError::None);
    EXPECT_EQ(TryToNative(std::u16string(2048, u'\u00e9')), IO::FileError::NameTooLong);

    char16_t units[4] = {};
    TextBuffer text{units, 4, 0};
    EXPECT_TRUE(IO::AppendPortableName("abc", &text));
    text.length = 0;
    EXPECT_FALSE(IO::AppendPortableName("abcd", &text));
}

TEST(NativeText, PutsAPartInThePlaceOfAnother) {
    BytePath path;
    ASSERT_TRUE(path.Append("/a/bc/d"));
    ASSERT_TRUE(path.Replace(3, 2, "longer"));
    EXPECT_EQ(path.GetText(), "/a/longer/d");
    ASSERT_TRUE(path.Replace(3, 6, ""));
    EXPECT_EQ(path.GetText(), "/a//d");
    EXPECT_FALSE(path.Replace(0, 1, std::string(4095, 'x')));
    EXPECT_EQ(path.GetText(), "/a//d");
    EXPECT_EQ(path.text[path.length], 0);
}

TEST(NativeText, TakesSpellingsOfOneNameForOne) {
    EXPECT_EQ(IO::HashNameUpperCased("READ me \xC3\x84"),
              IO::HashNameUpperCased("read ME \xC3\xA4"));
    EXPECT_NE(IO::HashNameUpperCased("readme"), IO::HashNameUpperCased("readm"));
    EXPECT_TRUE(IO::IsSpellingOf("\xC3\xA4.TXT", u"\u00C4.txt"));
    EXPECT_FALSE(IO::IsSpellingOf("a", u"b"));
    EXPECT_FALSE(IO::IsSpellingOf("a", u"ab"));
    EXPECT_TRUE(IO::IsSameSpelling(u"", u""));
    // One unit to one unit: what would become longer stays what it is.
    EXPECT_FALSE(IO::IsSameSpelling(u"stra\u00DFe", u"STRASSE"));
}

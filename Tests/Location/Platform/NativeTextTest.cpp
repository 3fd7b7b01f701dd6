#include <Kestrel/Location/Platform/NativeText.h>

#include <Kestrel/Location/Name.h>

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
             Row{"\xC3\xA9\xE2\x82\xAC\xF0\x90\x80\x80\xF0\x9F\xA6\x85",
                 u"\u00e9\u20ac\U00010000\U0001F985"},
             Row{"a:b*?.c", u"a\xF03A\x62\xF02A\xF03F.c"},
             Row{"\xFF", u"\xEFFF"},                               // no UTF-8 at all
             Row{"a\x80z", u"a\xEF80z"},                           // a stray continuation
             Row{"\xC3", u"\xEFC3"},                               // cut off
             Row{"\xC0\xAF", u"\xEFC0\xEFAF"},                     // overlong
             Row{"\xED\xA0\x80", u"\xEFED\xEFA0\xEF80"},           // a surrogate
             Row{"\xF4\x90\x80\x80", u"\xEFF4\xEF90\xEF80\xEF80"}, // beyond the last one
             Row{"..\\..\\x", u"..\xF05C..\xF05Cx"},               // no way up
             Row{"\xEF\x81\x9C", u"\xEFEF\xEF81\xEF9C"},           // U+F05C itself
             Row{"\xEF\x80\xAF", u"\xF02F"},                       // stands for nothing else
             Row{"...", u"..\xF02E"},
             Row{" ", u"\xF020"},
             Row{"..", u".."},
             Row{"Con", u"Con\xF000"},
             Row{"con.x", u"con.x"},
         }) {
        EXPECT_EQ(ToPortable(native), portable) << native;
        EXPECT_EQ(ToNative(portable), native) << native;
    }
}

// Every name comes back byte by byte, so that no two names have one portable form, and all
// platforms take it.
TEST(NativeText, GivesEveryNameBackAsALegalOne) {
    std::mt19937 random(7);
    for (int round = 0; round < 20000; ++round) {
        // Mostly bytes that come close to being UTF-8, or to being a reserved word.
        static constexpr unsigned char likely[] = {'a',  '\\', 0x80, 0x81, 0x9C, 0xBF, 0xC3,
                                                   0xE0, 0xED, 0xEF, 0xF0, 0xF4, 0xA0, 0x90,
                                                   0xFF, ':',  '.',  ' ',  0xEE, 0xBE};
        static constexpr char const * words[] = {"", "", "", "", "", "con", "Prn", "LPT", "com"};
        std::string name = words[random() % std::size(words)];
        for (unsigned int left = 1 + random() % 12; left > 0; --left)
            name += static_cast<char>(random() % 4 != 0 ? likely[random() % sizeof(likely)]
                                                        : 1 + random() % 255);
        if (random() % 8 == 0)
            name = name.substr(0, 4);
        name.resize(std::min(name.size(), name.find('/')));
        if (name.empty())
            continue;
        std::u16string const portable = ToPortable(name);
        ASSERT_EQ(ToNative(portable), name) << ::testing::PrintToString(name);
        ASSERT_EQ(IO::MeasureNativeName(portable), name.size());
        ASSERT_TRUE(IO::Name(portable).IsMultiplatform()) << ::testing::PrintToString(name);
        ASSERT_TRUE(IO::Name(portable).IsLegal());
    }
    EXPECT_TRUE(IO::Name(ToPortable(std::string(255, '\xFF'))).IsMultiplatform());
    EXPECT_EQ(IO::MeasureNativeName(u"\u007Fa\u0080"), 4u);
}

// The short way of a whole path is that of its names, and not taken where they need more.
TEST(NativeText, CopiesAPathThatIsPlain) {
    std::mt19937 random(3);
    int plain = 0;
    for (int round = 0; round < 20000; ++round) {
        std::string path;
        std::u16string portable;
        bool isPlain = true;
        for (unsigned int names = 1 + random() % 4; names > 0; --names) {
            static constexpr char const * words[] = {"con", "AUX", "nul", "prn", "com1", "lpt9"};
            std::string name = random() % 4 == 0 ? words[random() % std::size(words)] : "";
            for (unsigned int left = random() % 5; left > 0; --left)
                name += "aX1_. :\xC3"[random() % (random() % 2 == 0 ? 4 : 8)];
            path += '/' + name;
            portable += u'\\' + ToPortable(name);
            isPlain = isPlain && !name.empty() && name != "." && name != ".." &&
                      ToPortable(name) == std::u16string(name.begin(), name.end());
        }
        char16_t units[200];
        unsigned int const room = static_cast<unsigned int>(random() % 4);
        TextBuffer text{units, static_cast<unsigned int>(path.size()) + room, 0};
        isPlain = isPlain && room != 0; // for a zero behind it
        ASSERT_EQ(IO::AppendPlainPath(path, &text), isPlain) << path;
        ASSERT_EQ(text.GetText(), isPlain ? portable : u"") << path;
        std::string const folder = random() % 2 == 0 ? "/" : "/a";
        IO::BytePath native;
        native.Append(folder);
        for (char16_t & unit : portable)
            unit = unit == u'\\' && random() % 2 == 0 ? u'/' : unit;
        bool const isCopied = IO::AppendPlainNames(portable, &native);
        ASSERT_TRUE(isCopied || !isPlain) << path;
        ASSERT_FALSE(isCopied && (path.ends_with('/') || path.find("//") != path.npos)) << path;
        std::string const whole = isCopied ? (folder == "/" ? "" : folder) + path : folder;
        ASSERT_EQ(native.GetText(), whole) << path;
        ASSERT_EQ(native.text[native.length], 0);
        plain += isPlain ? 1 : 0;
    }
    EXPECT_GT(plain, 1000);
}

TEST(NativeText, RefusesUnitsThatNoNameHolds) {
    for (char16_t const unit : {0, 0xD800, 0xDBFF, 0xDC00, 0xDC80, 0xDFFF}) {
        char16_t const name[] = {u'a', unit, u'b'};
        EXPECT_EQ(TryToNative(PathText(name, 3)), IO::FileError::InvalidName)
            << static_cast<unsigned int>(unit);
        EXPECT_EQ(IO::MeasureNativeName(PathText(name, 3)), 0u);
    }
    for (char16_t const * leads : {u"\xF000", u"\xF02E", u".\xF02E", u"..\xF000", u"\xD83E"})
        EXPECT_EQ(TryToNative(leads), IO::FileError::InvalidName) << "no name, or half a pair";
}

TEST(NativeText, KnowsTheEndOfItsBuffers) {
    EXPECT_EQ(TryToNative(std::u16string(4095, u'x')), IO::FileError::None);
    EXPECT_EQ(TryToNative(std::u16string(4096, u'x')), IO::FileError::NameTooLong);
    EXPECT_EQ(TryToNative(std::u16string(2047, u'\u00e9')), IO::FileError::None);
    EXPECT_EQ(TryToNative(std::u16string(2048, u'\u00e9')), IO::FileError::NameTooLong);

    for (std::size_t size = 4090; size < 4100; ++size) {
        std::string const name(size, 'x');
        BytePath added, joined, replaced;
        EXPECT_EQ(added.Append(name), size <= 4095);
        EXPECT_EQ(joined.AppendName(name), size <= 4094) << "behind a separator";
        ASSERT_TRUE(replaced.Append("abc"));
        EXPECT_EQ(replaced.Replace(1, 1, name), size <= 4093);
    }
    char16_t units[4] = {};
    TextBuffer text{units, 4, 0};
    EXPECT_TRUE(IO::AppendPortableName("abc", &text));
    text.length = 0;
    EXPECT_FALSE(IO::AppendPortableName("abcd", &text));
}

TEST(NativeText, PutsAPartInThePlaceOfAnother) {
    BytePath path;
    EXPECT_TRUE(path.AppendName("") && path.AppendName("a"));
    EXPECT_EQ(path.GetText(), "/a") << "one separator, also behind the root's";
    path.Truncate(0);
    ASSERT_TRUE(path.Append("/a/bc/d"));
    ASSERT_TRUE(path.Replace(3, 2, "longer"));
    EXPECT_EQ(path.GetText(), "/a/longer/d");
    ASSERT_TRUE(path.Replace(3, 6, ""));
    EXPECT_EQ(path.GetText(), "/a//d");
    EXPECT_EQ(path.text[path.length], 0);
}

TEST(NativeText, TakesSpellingsOfOneNameForOne) {
    EXPECT_EQ(IO::HashNameUpperCased("READ me \xC3\x84"),
              IO::HashNameUpperCased("read ME \xC3\xA4"));
    std::string const longest(254, 'x');
    EXPECT_NE(IO::HashNameUpperCased(longest + "a"), IO::HashNameUpperCased(longest + "b"));
    EXPECT_TRUE(IO::IsSpellingOf(longest + "a", std::u16string(254, u'X') + u"A"));
    EXPECT_TRUE(IO::IsSpellingOf("\xC3\xA4.TXT", u"\u00C4.txt"));
    EXPECT_FALSE(IO::IsSpellingOf("a", u"b"));
    EXPECT_FALSE(IO::IsSpellingOf("a", u"ab"));
    EXPECT_TRUE(IO::IsSameSpelling(u"", u""));
    // One unit to one unit: what would become longer stays what it is.
    EXPECT_FALSE(IO::IsSameSpelling(u"stra\u00DFe", u"STRASSE"));
}

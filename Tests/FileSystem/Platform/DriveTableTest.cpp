#include <Kestrel/FileSystem/Platform/DriveTable.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using IO::BytePath;
using IO::DriveTable;
using IO::TextBuffer;
using IO::FileError::None;

std::string ToNative(DriveTable const & table, IO::PathText path) {
    BytePath native;
    unsigned int rootLength = 0;
    unsigned int const error = table.ToNative(path, &native, &rootLength);
    return error == None ? std::string(native.GetText()) : std::to_string(error);
}

std::u16string ToPortable(DriveTable const & table, std::string_view path) {
    char16_t units[1024];
    TextBuffer text{units, 1024, 0};
    unsigned int const error = table.ToPortable(path, &text);
    if (error == None)
        return std::u16string(text.GetText());
    std::string const number = std::to_string(error);
    return std::u16string(number.begin(), number.end());
}

constexpr char Table[] = "C=/;D=/mnt/data;e:=/mnt/data/deep//er/;\\\\Host\\Share=/srv/share";

} // namespace

TEST(DriveTable, MakesNativePathsOfPortableOnes) {
    DriveTable const table(Table);
    std::pair<char16_t const *, char const *> const rows[] = {
        {u"C:\\", "/"},
        {u"C:", "/"},
        {u"c:\\a\\b", "/a/b"},
        {u"C:/a/b", "/a/b"},
        {u"C:\\a\\\\b\\", "/a/b"},
        {u"D:\\", "/mnt/data"},
        {u"D:\\x", "/mnt/data/x"},
        {u"E:\\x", "/mnt/data/deep/er/x"},
        {u"\\\\host\\SHARE", "/srv/share"},
        {u"\\\\host\\share\\x", "/srv/share/x"},
        {u"//host/share/x", "/srv/share/x"},
        {u"", "3"},
        {u"a\\b", "3"},
        {u"\\a", "3"},
        {u"/a", "3"},
        {u"F:\\a", "3"},
        {u"1:\\a", "3"},
        {u"C:a", "3"},
        {u"\\\\host", "53"},
        {u"\\\\host\\", "53"},
        {u"\\\\\\share\\a", "53"},
        {u"\\\\other\\share\\a", "53"},
        {u"C:\\a\xD800z", "123"},
    };
    for (auto const & [portable, native] : rows)
        EXPECT_EQ(ToNative(table, portable), native);
    EXPECT_EQ(ToNative(table, IO::PathText(u"C:\\a\0b", 6)), "123");
    EXPECT_EQ(ToNative(table, u"C:\\" + std::u16string(4095, u'x')), "206");
    EXPECT_EQ(ToNative(table, u"\\\\" + std::u16string(5000, u'x') + u"\\s"), "53");
}

TEST(DriveTable, GivesNativePathsTheDeepestDrive) {
    DriveTable const table(Table);
    std::pair<char const *, char16_t const *> const rows[] = {
        {"/", u"C:\\"},
        {"//", u"C:\\"},
        {"/a//b/./c/", u"C:\\a\\b\\c"},
        {"/a/../b", u"C:\\a\\..\\b"}, // where that leads only the system knows
        {"/mnt", u"C:\\mnt"},
        {"/mnt/data", u"D:\\"},
        {"/mnt/data/x", u"D:\\x"},
        {"/mnt/database", u"C:\\mnt\\database"},
        {"/mnt/data/deep/er/x", u"E:\\x"},
        {"/srv/share/x", u"C:\\srv\\share\\x"}, // a drive goes before a share
        {"/a\\b", u"C:\\a\xF05C"
                  u"b"},
        {"a/b", u"123"},
        {"", u"123"},
    };
    for (auto const & [native, portable] : rows)
        EXPECT_EQ(ToPortable(table, native), portable) << native;

    EXPECT_EQ(ToPortable(table, std::string_view("/a\0b", 4)), u"123");

    DriveTable const noRoot("C=;D=/mnt;\\\\h\\s=/srv/share");
    EXPECT_EQ(ToPortable(noRoot, "/srv/share/x"), u"\\\\h\\s\\x");
    EXPECT_EQ(ToPortable(noRoot, "/srv/share"), u"\\\\h\\s");
    EXPECT_EQ(ToPortable(noRoot, "/home"), u"3");
    EXPECT_EQ(ToNative(noRoot, u"C:\\"), "3");
}

TEST(DriveTable, TellsNativePathsFromPortableOnes) {
    DriveTable const table(Table);
    for (char16_t const * text : {u"/", u"/home/x", u"/C", u"/Z:/x", u"/C:x", u"/ C:/x"})
        EXPECT_TRUE(table.IsNative(text));
    for (char16_t const * text : {u"", u"a", u"C:\\a", u"/C:", u"/c:/x", u"/D:\\x", u"//host/share",
                                  u"\\\\host\\share", u"\\a", u"/\\a"})
        EXPECT_FALSE(table.IsNative(text));
}

TEST(DriveTable, PassesOverWhatMakesNoSense) {
    DriveTable const table(";=;C;D=relative;5=/five;EE=/ee;\\\\host=/h;\\\\h\\s\\t=/t;F=/f;F=/g;"
                           "\\\\k\\s=/a;\\\\K\\S=/b");
    EXPECT_EQ(ToNative(table, u"\\\\k\\s\\x"), "/b/x") << "the last one counts";
    EXPECT_EQ(table.GetFolder('C'), "/");
    EXPECT_EQ(table.GetFolder('D'), "");
    EXPECT_EQ(table.GetFolder('E'), "");
    EXPECT_EQ(table.GetFolder('F'), "/g");
    EXPECT_EQ(ToNative(table, u"\\\\host\\share"), "53");
    EXPECT_EQ(ToNative(table, u"\\\\h\\s\\t"), "53");

    std::string const longest = "\\\\h\\" + std::string(510, 's');
    DriveTable const withLongest(longest + "=/s");
    EXPECT_EQ(ToNative(withLongest, std::u16string(longest.begin(), longest.end())), "/s");

    // More than it can keep is dropped, not written past its end.
    std::string large;
    for (int i = 0; i < 200; ++i)
        large += "\\\\h\\share" + std::to_string(i) + "=/srv/" + std::string(60, 'x') +
                 std::to_string(i) + ";";
    DriveTable const full(large + "G=/" + std::string(5000, 'y'));
    EXPECT_EQ(ToNative(full, u"\\\\h\\share31"), "/srv/" + std::string(60, 'x') + "31");
    EXPECT_EQ(ToNative(full, u"\\\\h\\share32"), "53");
    EXPECT_EQ(full.GetFolder('G'), "");
}

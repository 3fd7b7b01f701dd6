#define FMT_HEADER_ONLY
#include <Kestrel/Comfort.h>
#include <Kestrel/Comfort/Format.h>
#include <Kestrel/Kestrel.h>

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <set>
#include <span>
#include <sstream>
#include <stdexcept>

// What a C++ programmer types without looking it up, as it is typed.

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

class Comfort : public testing::Test {
protected:
    Comfort() {
        fs::remove_all(native);
        fs::create_directories(native / "sub" / "deep");
        std::ofstream(native / "a.txt") << "seven";
        std::ofstream(native / "sub" / "deep" / fs::path(u8"\u00E4.txt")) << "x";
    }
    ~Comfort() override { fs::remove_all(native); }

    fs::path const native = fs::current_path() / "host-comfort";
    IO::Location const here{native};
};

} // namespace

TEST_F(Comfort, TakesAndGivesTheTextsOfTheStandardLibrary) {
    std::string const path = "C:\\comfort\\\xC3\xA4";
    IO::Location const location(path);
    EXPECT_EQ(location, IO::Location(std::string_view(path)));
    EXPECT_EQ(location, IO::Location(u8"C:\\comfort\\\u00E4"));
    EXPECT_EQ(location, IO::Location(std::u8string(u8"C:\\comfort\\\u00E4")));
    EXPECT_EQ(location, IO::Location(std::u16string(u"C:\\comfort\\\u00E4")));
    EXPECT_EQ(IO::GetPath(location).GetValue(), path);
    EXPECT_EQ(IO::RelativeLocation(std::string("a/b")), IO::RelativeLocation("a/b"));

    Mu::UniString const text(path);
    EXPECT_EQ(std::string(text), path);
    EXPECT_EQ(Mu::ToUtf8(text), path);
    EXPECT_EQ(std::u16string(text), u"C:\\comfort\\\u00E4");
    EXPECT_EQ(std::string(Mu::UniString(std::string("a\0b", 3))), std::string("a\0b", 3));
    EXPECT_TRUE(Mu::UniString(static_cast<char8_t const *>(nullptr)).IsEmpty());
    IO::Name name = std::string("\xC3\xA4.txt");
    EXPECT_TRUE(name == std::string_view("\xC3\xA4.txt") && name == u8"\u00E4.txt");

    EXPECT_EQ(std::string(name), "\xC3\xA4.txt");
    EXPECT_EQ(std::string(location), path);
    EXPECT_EQ(IO::ToNativePath(here), native);
    EXPECT_EQ(fs::path(here), native);
    EXPECT_EQ(IO::Location(fs::path("host-comfort")), here) << "below the current folder";
    EXPECT_EQ(IO::Location(fs::path()).GetStatus(), IO::ErrIllegalLocation);
}

TEST_F(Comfort, GoesUpAndDownAPath) {
    IO::Location const file = here / "sub" / std::string("deep") / u8"\u00E4.txt";
    EXPECT_EQ(IO::GetSize(file).GetValue(), 1u);
    EXPECT_EQ(file, here / IO::RelativeLocation(u8"sub/deep/\u00E4.txt"));
    EXPECT_EQ(IO::GetParent(file).GetValue(), here / "sub" / "deep");
    EXPECT_EQ(std::string(IO::GetLastName(file)->ToString()), "\xC3\xA4.txt");
    IO::Location walked;
    for (IO::Name const & name : IO::Names(file))
        walked /= name;
    EXPECT_EQ(walked, file);
    EXPECT_EQ(IO::GetParent(IO::Location()).GetStatus(), IO::Error);
    EXPECT_EQ(IO::GetLastName(IO::Location(fs::path())).GetStatus(), IO::ErrIllegalLocation);
    EXPECT_FALSE((IO::Location() / IO::RelativeLocation("../x")).IsValid());
    EXPECT_EQ(IO::GetSize(here / "none").GetError(), std::errc::no_such_file_or_directory);
    EXPECT_TRUE(IO::GetSize(here / "none") == std::errc::no_such_file_or_directory);
    IO::Status const made = IO::Folder(here).CreateFolder("sub");
    EXPECT_TRUE(made == std::errc::file_exists && !made.IsDone());
    std::ostringstream words;
    words << made << "; " << IO::GetSize(here / "none") << "; " << IO::GetSize(file);
    EXPECT_EQ(words.str(), "target already exists; file is not found; 1");
    EXPECT_THROW((void)IO::GetSize(here / "none").GetValue(), std::system_error);
}

TEST_F(Comfort, EnumeratesFoldersAndTrees) {
    IO::Folder const folder(here);
    std::map<std::string, bool> found;
    for (auto const & entry : folder) {
        found[std::string(entry.name)] = entry.isFolder;
        if (!entry.isFolder) {
            EXPECT_EQ(IO::GetSize(folder, entry).GetValue(), 5u);
            EXPECT_EQ(
                entry.modificationTime.value_or(*IO::GetModificationTime(IO::File(here / "a.txt"))),
                *IO::GetModificationTime(IO::File(folder, "a.txt")));
        }
    }
    EXPECT_EQ(found, (std::map<std::string, bool>{{"a.txt", false}, {"sub", true}}));

    int count = 0;
    EXPECT_EQ(folder.ForEach([&](IO::FoundEntry const &) { return ++count < 1; }), IO::NoError);
    EXPECT_EQ(count, 1) << "it was ended";
    EXPECT_THROW(
        (void)IO::ForEach(folder, [](auto const &, bool) { throw std::runtime_error(""); }),
        std::runtime_error);

    std::set<std::string> below;
    EXPECT_EQ(IO::ForEachBelow(folder,
                               [&](IO::Folder const & parent, IO::Name const & name, bool) {
                                   IO::Location at;
                                   EXPECT_EQ(parent.GetLocation(&at), IO::NoError);
                                   below.insert(IO::GetPath(at / name).GetValue());
                               }),
              IO::NoError);
    IO::Location const deep = here / "sub" / "deep";
    EXPECT_EQ(below,
              (std::set<std::string>{*IO::GetPath(here / "a.txt"), *IO::GetPath(here / "sub"),
                                     *IO::GetPath(deep), *IO::GetPath(deep / u8"\u00E4.txt")}));
    EXPECT_THROW((void)IO::ForEachBelow(
                     folder, [](auto const &...) -> bool { throw std::runtime_error(""); }),
                 std::runtime_error);
    IO::Folder const none(here / "none", IO::Folder::OnNotFound::FailQuietly);
    EXPECT_EQ(IO::GetEntries(none).GetStatus(), IO::ErrFolderNotFound);
    EXPECT_THROW((void)begin(none), std::system_error);
    EXPECT_THROW((void)IO::Tree(none).begin(), std::system_error);
}

TEST_F(Comfort, GoesThroughTreesAsRanges) {
    IO::Folder folder(here);
    ASSERT_EQ(folder.CreateLink("link", here / "sub"), IO::NoError);
    using Links = IO::Folder::LinkProcessing;
    for (Links const links : {Links::Resolve, Links::ReportLinks}) {
        std::multimap<std::string, std::string> found;
        for (IO::TreeEntry const & entry : IO::Tree(folder, links)) {
            EXPECT_EQ(entry.GetFolder(), *IO::GetParent(entry.GetLocation()));
            found.emplace(std::string(entry.name),
                          std::to_string(entry.depth) +
                              (entry.isLink     ? "link"
                               : entry.isFolder ? "folder"
                                                : std::to_string(*IO::GetSize(entry))));
        }
        std::multimap<std::string, std::string> expected{
            {"a.txt", "05"}, {"sub", "0folder"}, {"deep", "1folder"}, {"\xC3\xA4.txt", "21"}};
        if (links == Links::ReportLinks)
            expected.emplace("link", "0link");
        else
            expected.insert({{"link", "0folder"}, {"deep", "1folder"}, {"\xC3\xA4.txt", "21"}});
        EXPECT_EQ(found, expected);
    }
}

TEST_F(Comfort, ReadsAndWritesWholeFiles) {
    IO::Location const place = here / "whole";
    std::string const long_(100000, 'x');
    for (std::string const & content : {std::string(), long_, std::string("a\0b", 3)}) {
        EXPECT_EQ(IO::WriteAll(place, content), IO::NoError);
        EXPECT_EQ(IO::ReadAll(place).GetValue(), content);
        EXPECT_EQ(IO::ReadAll<std::vector<std::byte>>(place)->size(), content.size());
        EXPECT_EQ(IO::ReadAll(place, content.size()).GetStatus(), IO::NoError);
    }
    EXPECT_EQ(IO::ReadAll(place, 2).GetStatus(), IO::Error) << "more than that";
    EXPECT_EQ(IO::WriteAll(place, "literal"), IO::NoError);
    EXPECT_EQ(IO::ReadAll(place).GetValue(), "literal");
    EXPECT_EQ(IO::WriteAll(here / "no" / "folder", "x"), IO::ErrFileCreationFailed);

    EXPECT_EQ(IO::SaveByReplacing(place, "saved"), IO::NoError);
    EXPECT_EQ(IO::SaveByReplacing(place, std::vector<char>{'s', 'o'}), IO::NoError);
    EXPECT_EQ(IO::ReadAll(place).GetValue(), "so");

    std::vector<int> const numbers{1, -2, 3};
    EXPECT_EQ(IO::WriteAll(place, std::span(numbers)), IO::NoError);
    std::array<int, 3> read{};
    IO::File file(place);
    ASSERT_EQ(file.Open(IO::File::OpenMode::ReadOnly), IO::NoError);
    EXPECT_EQ(IO::ReadBytes(file, read), IO::NoError);
    EXPECT_TRUE(std::ranges::equal(read, numbers));
    EXPECT_EQ(IO::ReadBytes(file, std::span(read)), IO::EOI);
    EXPECT_EQ(file.Close(), IO::NoError);

    auto const then = std::chrono::sys_days(2001y / 2 / 3) + 4h;
    EXPECT_EQ(IO::SetModificationTime(file, then), IO::NoError);
    EXPECT_EQ(IO::GetModificationTime(file).GetValue(), then);
    for (auto const far :
         {std::chrono::sys_days(1860y / 1 / 2), std::chrono::sys_days(2100y / 1 / 2)}) {
        bool const isHeld = IO::SetModificationTime(file, far) != IO::ErrFileInvalidTime;
        EXPECT_EQ(IO::GetModificationTime(file).GetValue(), isHeld ? far : then);
        int narrow = 0; // whether the disk can hold it or not
        EXPECT_EQ(file.GetModificationTime(&narrow), isHeld ? IO::ErrFileInvalidTime : IO::NoError);
        EXPECT_EQ(IO::SetModificationTime(file, then), IO::NoError);
    }
    EXPECT_EQ(IO::SetModificationTime(file, std::chrono::sys_days(1600y / 1 / 1)),
              IO::ErrFileInvalidTime);
    EXPECT_EQ(file.SetTime(IO::TimeKind::Creation, std::numeric_limits<long long>::max()),
              IO::ErrFileInvalidTime);
    IO::Folder folder(here);
    EXPECT_EQ(IO::SetModificationTime(folder, then), IO::NoError);
    EXPECT_EQ(IO::GetModificationTime(folder).GetValue(), then);
    EXPECT_TRUE(IO::GetCreationTime(folder));
}

// What is left out is what is meant mostly.
TEST_F(Comfort, MovesAndDeletesWithTheUsualArguments) {
    IO::Folder folder(here), sub(here / "sub");
    EXPECT_EQ(folder.Rename("a.txt", "b"), IO::NoError);
    EXPECT_EQ(folder.Move("b", sub, "c"), IO::NoError);
    EXPECT_EQ(IO::fileSystem.Rename(here / "sub" / "c", "d"), IO::NoError);
    EXPECT_EQ(IO::fileSystem.Move(here / "sub" / "d", here / "e"), IO::NoError);
    EXPECT_EQ(folder.Delete("e"), IO::NoError);
    EXPECT_EQ(IO::fileSystem.Delete(here / "sub"), IO::NoError);
    EXPECT_EQ(IO::GetEntries(folder)->size(), 0u);
}

TEST_F(Comfort, WritesAndReadsTextThroughChannels) {
    IO::File file(here / "text", IO::File::OnNotFound::Create);
    ASSERT_EQ(file.Open(IO::File::OpenMode::WriteOnly), IO::NoError);
    file << 5 << ' ' << -6L << ' ' << 7u << ' ' << true << ' ' << std::string("word ")
         << std::string_view("view ") << Mu::UniString(u8"\u00E4 ") << 18446744073709551615ull
         << "\nlast line";
    ASSERT_EQ(file.Close(), IO::NoError);
    EXPECT_EQ(IO::ReadAll(here / "text").GetValue(),
              "5 -6 7 1 word view \xC3\xA4 18446744073709551615\nlast line");
    ASSERT_EQ(file.Open(IO::File::OpenMode::ReadOnly), IO::NoError);
    int five = 0;
    long six = 0;
    std::string word;
    file >> five >> six;
    EXPECT_EQ(IO::Extract<double>(file).GetValue(), 7.0);
    EXPECT_EQ(IO::Extract<bool>(file).GetValue(), true);
    file >> word;
    EXPECT_EQ(IO::Extract<int>(file).GetStatus(), IO::Error) << "a word stands there";
    EXPECT_EQ(std::to_string(five) + std::to_string(six) + word, "5-6word");
    EXPECT_EQ(IO::ReadLine(file).GetValue(), "view \xC3\xA4 18446744073709551615");
    EXPECT_EQ(IO::ReadLine(file).GetValue(), "last line");
    EXPECT_EQ(IO::ReadLine(file).GetStatus(), IO::EOI);
}

TEST_F(Comfort, MountsNamesWithBytesOrFunctions) {
    IO::MapVFS files;
    int calls = 0;
    std::string const path = "\xC3\xA4/readme.txt"; // UTF-8 on both platforms
    EXPECT_EQ(files.Add(path, std::string_view("read me")), IO::NoError);
    EXPECT_EQ(files.Add("state/now.txt", [&] { return std::to_string(++calls); }), IO::NoError);
    EXPECT_EQ(files.Add("state/broken", []() -> std::string { throw std::runtime_error(""); }),
              IO::NoError);
    for (char const * const wrong : {"", "state", "state/now.txt", "state/now.txt/x", "../x"})
        EXPECT_EQ(files.Add(wrong, "x"), IO::Error) << wrong;
    ASSERT_EQ(IO::fileSystem.Mount(files, here / "map"), IO::NoError);
    IO::Location const map = here / "map";
    IO::Location const readme = map / u8"\u00E4" / "readme.txt";
    EXPECT_EQ(IO::ReadAll(readme).GetValue(), "read me");
    for (std::string const content : {"1", "2"})
        EXPECT_EQ(IO::ReadAll(map / "state" / "now.txt").GetValue(), content);
    EXPECT_FALSE(IO::ReadAll(map / "state" / "broken"));
    EXPECT_EQ(IO::GetEntries(IO::Folder(map / "state"))->size(), 2u);
    EXPECT_NE(IO::WriteAll(readme, "x"), IO::NoError);
    EXPECT_NE(IO::WriteAll(map / "new", "x"), IO::NoError);
    EXPECT_EQ(IO::Folder(map / u8"\u00E4").Delete("readme.txt", IO::DataSafety::IgnoreProtection),
              IO::ErrFolderAccessDenied);
    EXPECT_EQ(IO::fileSystem.Copy(readme, here / "copy"), IO::NoError);
    EXPECT_EQ(IO::ReadAll(here / "copy").GetValue(), "read me");
    EXPECT_EQ(IO::fileSystem.Unmount(files), IO::NoError);
}

TEST_F(Comfort, LogsInOneCall) {
    testing::internal::CaptureStderr();
    {
        Mu::StandardErrorLog log(Mu::LogSeverity::Info);
        Mu::Log(Mu::LogSeverity::Warning, "Host", "% of %: \"%\" at %% % %", -3, 4.5,
                std::string("a\nb"), "literal", here / "x");
        Mu::Log(Mu::LogSeverity::Trace, "Host", "unheard");
        log.SetLeast(Mu::LogSeverity::Error);
        Mu::Log(Mu::LogSeverity::Info, "Host", "unheard");
    }
    Mu::Log(Mu::LogSeverity::Error, "Host", "unheard");
    std::string const lines = testing::internal::GetCapturedStderr();
    EXPECT_EQ(lines, "Host: warning: -3 of 4.500000: \"a\\nb\" at % literal " +
                         *IO::GetPath(here / "x") + "\n");
}

#if __has_include(<fmt/format.h>)
TEST_F(Comfort, StandsInFormats) {
    EXPECT_EQ(fmt::format("{:>4}|{:.1}|{}|{}|{}", IO::Name("x"), Mu::UniString(u8"\u00E4b"),
                          IO::RelativeLocation("a/b"), here / "c", *IO::GetParent(here / "c")),
              "   x|\xC3\xA4|a/b|" + *IO::GetPath(here / "c") + "|" + *IO::GetPath(here));
    EXPECT_EQ(fmt::format("{}, {}, {}", IO::Status(IO::ErrTargetExists), IO::GetSize(here / "none"),
                          IO::GetSize(here / "a.txt")),
              "target already exists, file is not found, 5");
}
#endif

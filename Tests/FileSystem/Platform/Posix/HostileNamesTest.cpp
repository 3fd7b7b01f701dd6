#include <Kestrel/FileSystem/NativePath.h>

#include "Tests/Support/FileSystem/Place.h"

#include <algorithm>
#include <fstream>
#include <vector>

using IO::Folder;
using IO::Location;
using IO::Name;

namespace {

namespace fs = std::filesystem;
constexpr IO::DataSafety keep = IO::DataSafety::KeepProtected;

/// Of all that the system allows in names, with no two that differ in case alone.
std::vector<std::string> GetHostileNames() {
    std::vector<std::string> names{
        "con",    "NUL",  "lpt5", "com1.x", "aux.",     "...",     ". .",          " ",
        "a.",     "a ",   "C:",   "a:b",    "x\\..\\y", "http:",   "::<a>b",       "\xC3\xA4",
        "\xC3",   "\x80", "-rf",  "~",      "$HOME",    "%41",     "\xEF\x81\x9C", "\xEE\xBE\x80",
        "\n\r\t", "=.",   ".a",   "#",      "a\xFF.",   "\x7F\x1", "\xED\xA0\x80"};
    for (int byte = 1; byte < 256; ++byte)
        if (byte != '/' && byte != '.' && byte != ' ' && byte != 0x80 && byte != 0xC3 &&
            byte != '#' && byte != '~' && !(byte >= 'A' && byte <= 'Z'))
            names.emplace_back(1, static_cast<char>(byte));
    names.emplace_back(255, '\xFF');
    names.emplace_back(254, '?');
    return names;
}

bool Collect(Folder const &, Name const & name, bool isFolder, void * data) {
    EXPECT_FALSE(isFolder);
    static_cast<std::vector<Name> *>(data)->push_back(name);
    return true;
}

std::vector<std::string> List(fs::path const & folder) {
    std::vector<std::string> names;
    for (auto const & entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace

TEST(HostileNames, AreUsedLikeAllOthers) {
    Tests::Place const place(false);
    fs::path const native = place.GetPath() / "a:b\\c ";
    fs::create_directory(native);
    std::vector<std::string> written = GetHostileNames();
    for (std::string const & name : written)
        std::ofstream(native / name) << "content of " << name;
    std::sort(written.begin(), written.end());

    Location const location(native);
    Folder folder(location);
    std::vector<Name> names;
    ASSERT_EQ(folder.Enumerate(Collect, &names), IO::NoError);
    ASSERT_EQ(names.size(), written.size());
    for (Name const & name : names) {
        Location const entry(location, name);
        std::string const bytes = IO::ToNativePath(entry).filename();
        SCOPED_TRACE(::testing::PrintToString(bytes));
        EXPECT_TRUE(name.IsLegal() && name.IsMultiplatform());
        EXPECT_TRUE(Location(native / bytes) == entry) << "the way back";
        EXPECT_EQ(Tests::Place::Read(entry), "content of " + bytes);
        EXPECT_EQ(folder.Rename(name, "plain"), IO::NoError);
        EXPECT_TRUE(fs::exists(native / "plain"));
        EXPECT_EQ(folder.Rename("plain", name), IO::NoError);
    }
    unsigned int count = 0;
    EXPECT_EQ(IO::fileSystem.CountFiles(place.GetRoot(), &count), IO::NoError);
    EXPECT_EQ(count, written.size());
    EXPECT_EQ(List(native), written) << "all were renamed back to what they were";

    Name last;
    ASSERT_EQ(location.GetLastLocalName(&last), IO::NoError);
    Folder root(place.GetRoot());
    EXPECT_EQ(root.Copy(last, "copy"), IO::NoError);
    EXPECT_EQ(List(place.GetPath() / "copy"), written);
    for (Name const & name : names)
        EXPECT_EQ(folder.Delete(name, keep), IO::NoError);
    EXPECT_TRUE(List(native).empty());
    EXPECT_EQ(root.Delete("copy", keep), IO::NoError);
    EXPECT_FALSE(fs::exists(place.GetPath() / "copy"));
}

TEST(HostileNames, MayBeThoseOfTheCurrentFolder) {
    Tests::Place const place(false);
    fs::path const before = fs::current_path();
    fs::path const here = place.GetPath() / "a: b*" / std::string(255, 'x') / std::string(255, '"');
    fs::create_directories(here);
    fs::current_path(here);
    Location current;
    EXPECT_EQ(IO::fileSystem.GetSpecialLocation(IO::SpecLocId::CurrentFolder, &current),
              IO::NoError);
    Location const file(fs::path("con."));
    fs::current_path(before);
    EXPECT_EQ(IO::ToNativePath(current), here);
    EXPECT_TRUE(current.IsAncestorOf(file));
    EXPECT_EQ(IO::File(file, IO::File::OnNotFound::Create).GetStatus(), IO::NoError);
    EXPECT_EQ(List(here), std::vector<std::string>{"con."});
}

#include <Kestrel/FileSystem/TreeEnumerator.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/FileSystem/Place.h"
#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/Text.h"

#include <algorithm>
#include <functional>
#include <random>
#include <set>

using IO::Folder;
using IO::Location;
using IO::Name;

namespace {

/// Writes down what is called, as "file a", "folder b", and does what it is told to at each line.
class Diary : public IO::TreeEnumerator {
public:
    using TreeEnumerator::GetParent;
    using TreeEnumerator::GetStatus;
    using TreeEnumerator::ProcessFileFound;
    using TreeEnumerator::ProcessFolderFound;
    using TreeEnumerator::ProcessLinkFound;
    using TreeEnumerator::Stop;
    using TreeEnumerator::TreeEnumerator;

    bool EntryFound(Name const & name, bool isFolder) override {
        return Note(isFolder ? "entry/" : "entry", name);
    }
    bool FileFound(Name const & name) override {
        unsigned long long length = 0;
        int time = 0;
        bool isDevice = false;
        if (GetParent()->GetFoundFile(name, nullptr, nullptr, &isDevice) && isDevice)
            devices.insert(ToUtf8(name.ToString()));
        if (GetParent()->GetFoundFile(name, &length, &time)) {
            IO::File const file(*GetParent(), name);
            unsigned long long expectedLength = 0;
            int expected = 0;
            file.GetDataLength(&expectedLength);
            file.GetModificationTime(&expected);
            EXPECT_EQ(length, expectedLength);
            EXPECT_EQ(time, expected);
            ++known;
        }
        return Note("file", name);
    }
    bool FolderFound(Name const & name) override { return Note("folder", name); }
    bool LinkFound(Name const & name) override { return Note("link", name); }
    void FolderEntered(Name const & name, Folder const &) override {
        Note("entered", name);
        path += ToUtf8(name.ToString()) + "/";
    }
    void FolderExited(Name const & name, Folder const &) override {
        path.resize(path.size() - ToUtf8(name.ToString()).size() - 1);
        Note("exited", name);
    }

    std::vector<std::string> lines;
    std::multiset<std::string> files, devices;
    std::size_t known = 0; // of these, as plain files
    std::string path;
    std::function<bool(std::string const & line)> answer;

private:
    bool Note(char const * what, Name const & name) {
        std::string const text = ToUtf8(name.ToString());
        lines.push_back(std::string(what) + " " + text);
        if (std::string_view(what) == "file")
            files.insert(path + text);
        return answer == nullptr || answer(lines.back());
    }
};

using Lines = std::vector<std::string>;
using Files = std::multiset<std::string>;

Location Make(Location const & above, char const * name) {
    Folder folder(Location(above, Name(name)), Folder::OnNotFound::Create);
    EXPECT_EQ(folder.GetStatus(), IO::NoError) << name;
    return Location(above, Name(name));
}

void Put(Location const & folder, char const * name, unsigned int size) {
    IO::File file(Location(folder, Name(name)), IO::File::OnNotFound::Create);
    ASSERT_EQ(file.Open(IO::File::OpenMode::WriteOnlyEmpty), IO::NoError) << name;
    ASSERT_EQ(file.WriteBin(std::string(size, 'x').data(), size, nullptr), IO::NoError);
}

void Link(Location const & folder, char const * name, Location const & target) {
    ASSERT_EQ(Folder(folder).CreateLink(name, target), IO::NoError) << name;
}

unsigned int CountFiles(Location const & location, MuErrCode expected = IO::NoError) {
    unsigned int count = 99;
    EXPECT_EQ(IO::fileSystem.CountFiles(location, &count), expected);
    return count;
}

unsigned long long CountSize(Location const & location, MuErrCode expected = IO::NoError) {
    unsigned long long size = 99;
    EXPECT_EQ(IO::fileSystem.CountSize(location, &size), expected);
    return size;
}

std::size_t CountWarnings(Tests::LogCapture const & log) {
    std::size_t count = 0;
    for (Tests::LogCapture::Line const & line : log.GetLines())
        if (line.severity == Mu::LogSeverity::Warning) {
            EXPECT_TRUE(line.text.starts_with("Recursive link \"C:\\") &&
                        line.text.find(".lnk\" referring to \"C:\\") != std::string::npos &&
                        line.text.ends_with("\" is not followed during the enumeration"));
            ++count;
        }
    return count;
}

// a/b/inner, a/outer
void Plant(Location const & root) {
    Location const a = Make(root, "a");
    Put(Make(a, "b"), "inner", 5);
    Put(a, "outer", 7);
}

} // namespace

using TreeOn = Tests::OnEachPlace;
INSTANTIATE_TEST_SUITE_P(Place, TreeOn, ::testing::Bool(), Tests::NamePlace);

TEST_P(TreeOn, CallsInTheOrderOfTheWalkUntilItIsStopped) {
    Put(Make(Make(place.GetRoot(), "a"), "b"), "inner", 5);
    Folder const root(place.GetRoot());
    Lines const expected{"entry/ a",  "folder a",    "entered a",  "entry/ b", "folder b",
                         "entered b", "entry inner", "file inner", "exited b", "exited a"};
    Diary diary(root); // which can be done again
    for (std::size_t stop = 1; stop <= expected.size() + 1; ++stop) {
        diary.answer = [&](std::string const &) {
            if (diary.lines.size() == stop)
                diary.Stop();
            return true;
        };
        diary.lines.clear();
        diary.path.clear();
        EXPECT_EQ(diary.Do(), IO::NoError);
        EXPECT_EQ(diary.lines,
                  Lines(expected.begin(), expected.begin() + std::min(stop, expected.size())));
        EXPECT_EQ(diary.GetParent(), &root) << "the walk is over";
    }
}

TEST_P(TreeOn, PassesOverWhatIsNotWanted) {
    Plant(place.GetRoot());
    Folder const root(place.GetRoot());
    for (auto const & [unwanted, files] : {std::pair("entry/ b", Files{"a/outer"}),
                                           {"folder b", Files{"a/outer"}},
                                           {"entry outer", Files{"a/b/inner"}},
                                           {"file outer", Files{"a/b/inner", "a/outer"}}}) {
        Diary diary(root);
        diary.answer = [unwanted = unwanted](std::string const & line) { return line != unwanted; };
        EXPECT_EQ(diary.Do(), IO::NoError);
        EXPECT_EQ(diary.files, files) << unwanted;
    }
}

TEST(TreeEnumerator, WalksToTheDeepestLegalLocation) {
    Tests::Place const place(false);
    std::filesystem::path deepest = place.GetPath();
    unsigned int levels = 0; // a location may not be longer than 260 units on Windows
    for (Location level = place.GetRoot();
         levels < 300 && level.AppendToLocal("d") == IO::NoError && level.IsLegal(); ++levels)
        deepest /= "d";
    ASSERT_GE(levels, 40u);
    std::filesystem::create_directories(deepest);
    Folder const root(place.GetRoot());
    Diary diary(root);
    EXPECT_EQ(diary.Do(), IO::NoError);
    for (char const * line : {"entered d", "exited d"})
        EXPECT_EQ(std::count(diary.lines.begin(), diary.lines.end(), line), levels);
    EXPECT_EQ(CountSize(place.GetRoot()), 0u);
}

namespace {

/// Folders by their numbers, each in one of lower number, with files, and links to files and folders.
struct Tree {
    struct Entry {
        std::string name;
        int folder; // -1: a file
        bool isLink;
        unsigned int size;
    };
    std::vector<Location> places;
    std::vector<int> above{-1};
    std::vector<std::vector<Entry>> entries{{}};

    bool IsAtOrAbove(int folder, int other) const {
        return other >= 0 && (folder == other || IsAtOrAbove(folder, above[other]));
    }
    /// Follows each link but those to a folder that lies above it or on the way here.
    void Walk(int folder, std::string const & path, std::vector<int> way, Files * files,
              unsigned long long * size, unsigned int * warnings) const {
        way.push_back(folder);
        for (Entry const & entry : entries[folder]) {
            if (entry.folder < 0) {
                files->insert(path + entry.name);
                *size += entry.size;
            } else if (entry.isLink && (IsAtOrAbove(entry.folder, folder) ||
                                        std::count(way.begin(), way.end(), entry.folder) != 0)) {
                ++*warnings;
            } else {
                Walk(entry.folder, path + entry.name + "/", way, files, size, warnings);
            }
        }
    }
};

} // namespace

// Whatever lies in a tree, mounted or linked: no way ends up in a circle, and none is left out.
TEST(TreeEnumerator, TakesEachWayThatMeetsNoFolderTwice) {
#if defined(_WIN32) // where to read links takes Wine minutes
    constexpr unsigned int seeds = 6;
#else
    constexpr unsigned int seeds = 40;
#endif
    for (unsigned int seed = 1; seed <= seeds; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        Tests::Place const place(false);
        Tests::DiskFixedVFS mounted;
        Tree tree;
        tree.places.push_back(place.GetRoot());
        for (int folder = 1; folder < 5; ++folder) {
            int const above = static_cast<int>(random() % folder);
            std::string const name = "f" + std::to_string(folder);
            Location const location(tree.places[above], Name(name.c_str()));
            if (folder == 3)
                EXPECT_EQ(IO::fileSystem.Mount(mounted, location), IO::NoError);
            else
                Make(tree.places[above], name.c_str());
            if (folder == 3)
                mounted.GetDisk();
            tree.places.push_back(location);
            tree.above.push_back(above);
            tree.entries.push_back({});
            tree.entries[above].push_back({name, folder, false, 0});
        }
        for (int i = 0; i < 8; ++i) {
            int const at = static_cast<int>(random() % 5);
            std::string name = "e" + std::to_string(i);
            unsigned int const size = random() % 9;
            bool const isLink = random() % 2 == 0;
            if (!isLink || i == 0) {
                Put(tree.places[at], name.c_str(), size);
                tree.entries[at].push_back({name, -1, false, size});
            } else if (!tree.IsAtOrAbove(3, at)) { // only the disk has links
                int const target = static_cast<int>(random() % 5);
                name += ".lnk";
                Link(tree.places[at], name.c_str(), tree.places[target]);
                if (target != 3) // a mount point is no entry that a link leads to
                    tree.entries[at].push_back({name, target, true, 0});
            }
        }
        Link(place.GetRoot(), "to nothing.lnk", place / "nothing");
        Link(place.GetRoot(), "to file.lnk", place / "x");
        Put(place.GetRoot(), "x", 7);
        tree.entries[0].push_back({"x", -1, false, 7});
        tree.entries[0].push_back({"to file.lnk", -1, true, 7});
        Files files;
        unsigned long long size = 0;
        unsigned int warnings = 0;
        int const start = static_cast<int>(random() % 8) % 5; // also below what links lead to
        tree.Walk(start, "", {}, &files, &size, &warnings);
        Folder const root(tree.places[start]);
        Diary diary(root);
        Tests::LogCapture const log;
        EXPECT_EQ(diary.Do(), IO::NoError);
        EXPECT_EQ(diary.files, files);
        EXPECT_TRUE(start != 0 || (diary.known > 0) == IO::GetFileCalls().MarksLinks());
        EXPECT_EQ(CountWarnings(log), warnings);
        EXPECT_EQ(CountFiles(tree.places[start]), files.size());
        EXPECT_EQ(CountSize(tree.places[start]), size);
        EXPECT_LE(mounted.CountConnected(), 1) << "where the walk began alone";
        IO::fileSystem.Unmount(mounted);
    }
}

TEST(TreeEnumerator, ReturnsErrorForNothing) {
    auto const nothing = []() __attribute__((no_sanitize("null")))->Folder const & {
        return *static_cast<Folder const *>(nullptr);
    };
    Diary diary(nothing());
    EXPECT_EQ(diary.GetParent(), nullptr);
    diary.ProcessFolderFound("a");
    diary.ProcessLinkFound("a");
    EXPECT_EQ(diary.Do(), IO::Error);
    CountFiles(Location(u""), IO::Error);
    Tests::Place const place(false);
    place.Write("file", "");
    EXPECT_EQ(CountFiles(place / "file", IO::ErrNotAFolder), 0u);
    EXPECT_EQ(CountSize(place / "absent", IO::ErrFolderNotFound), 0u);
}

// What is counted at a glance must be what a walk by File and GetType finds.
TEST(TreeCounters, CountWhatAWalkFindsWhateverTheSystemRefuses) {
    Tests::Place const place(false);
    Plant(place.GetRoot());
    Put(place / "a", "more", 11);
    Link(place.GetRoot(), "link.lnk", Location(place / "a", Name("b")));
    Tests::ScriptedFileCalls calls;
    for (Tests::FileCall const call :
         {Tests::FileCall::LookAtFound, Tests::FileCall::GetFileAttributes,
          Tests::FileCall::FindFirstFile, Tests::FileCall::FindNextFile}) {
        for (unsigned int n = 1; n <= 12; ++n) {
            calls.Fail(call, n, IO::FileError::AccessDenied);
            unsigned int count = 0;
            MuErrCode const status = IO::fileSystem.CountFiles(place.GetRoot(), &count);
            bool const failed = calls.Clear();
            EXPECT_LE(count, 4u);
            if (!failed || call == Tests::FileCall::LookAtFound) {
                EXPECT_EQ(status, IO::NoError);
                EXPECT_EQ(count, 4u) << "there is another way";
            }
            EXPECT_EQ(calls.CountOpen(), 0);
        }
    }
    // A folder that may not be entered; the first failure stands.
    calls.Fail(Tests::FileCall::OpenFolder, 3, IO::FileError::AccessDenied, true);
    Folder const root(place.GetRoot());
    Diary diary(root);
    diary.answer = [&](std::string const & line) {
        if (line == "exited a")
            diary.ProcessFolderFound("absent");
        return true;
    };
    EXPECT_EQ(diary.Do(), IO::ErrTreeAccessDenied);
    EXPECT_EQ(diary.files.count("a/outer") + diary.files.count("a/more"), 2u);
    if (!calls.MarksLinks())
        return; // a file must be read here to know that it is no link
    calls.Clear();
    calls.ResetCounts();
    EXPECT_EQ(CountSize(place / "a"), 5u + 7 + 11);
    EXPECT_EQ(calls.Count(Tests::FileCall::LookAtFound), 3u) << "at each file once";
    EXPECT_LE(calls.Count(Tests::FileCall::GetFileAttributes), 4u);
}

#if !defined(_WIN32) // other systems refuse to make these

TEST(TreeCounters, TakeOddFilesAsAWalkDoes) {
    Tests::Place const place(false);
    Put(Make(place.GetRoot(), "plain"), "file", 3);
    namespace fs = std::filesystem;
    fs::path const & disk = place.GetDisk().GetPath();
    fs::create_symlink("circle", disk / "circle");
    fs::create_symlink(".", disk / "here");
    fs::create_symlink("plain/../plain/file", disk / "relative");
    ASSERT_EQ(std::system(("mkfifo '" + (disk / "pipe").string() + "'").c_str()), 0);
    Folder const folder(place.GetRoot());
    Diary diary(folder);
    MuErrCode const status = diary.Do();
    EXPECT_EQ(CountFiles(place.GetRoot(), status), diary.files.size());
    EXPECT_EQ(diary.devices, Files{"pipe"});
}

#endif

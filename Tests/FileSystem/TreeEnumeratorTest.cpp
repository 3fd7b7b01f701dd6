#include <Kestrel/FileSystem/TreeEnumerator.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/FileSystem/Place.h"
#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/Text.h"

#include <algorithm>
#include <functional>
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
    bool FileFound(Name const & name) override { return Note("file", name); }
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
    std::multiset<std::string> files;
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

/// Counts by what each walk offers, and nothing else.
class PlainCounter : public IO::TreeEnumerator {
public:
    using TreeEnumerator::TreeEnumerator;
    bool FileFound(Name const & name) override {
        unsigned long long length = 0;
        ++count;
        if (IO::File(*GetParent(), name).GetDataLength(&length) == IO::NoError)
            size += length;
        return true;
    }
    unsigned int count = 0;
    unsigned long long size = 0;
};

void ExpectCountedAsWalked(Location const & location) {
    Folder const folder(location);
    PlainCounter plain(folder);
    MuErrCode const status = plain.Do();
    EXPECT_EQ(CountFiles(location, status), plain.count);
    EXPECT_EQ(CountSize(location, status), plain.size);
}

std::size_t CountWarnings(Tests::LogCapture const & log) {
    std::size_t count = 0;
    for (Tests::LogCapture::Line const & line : log.GetLines())
        count += line.severity == Mu::LogSeverity::Warning ? 1 : 0;
    return count;
}

std::string ToLogText(Location const & location) {
    Mu::UniString text;
    location.ToLogText(&text);
    return ToUtf8(text);
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

TEST_P(TreeOn, CallsInTheOrderOfTheWalkAndCanBeDoneAgain) {
    Location const a = Make(place.GetRoot(), "a");
    Put(Make(a, "b"), "inner", 5);
    Folder const root(place.GetRoot());
    Diary diary(root);
    Lines const expected{"entry/ a",  "folder a",    "entered a",  "entry/ b", "folder b",
                         "entered b", "entry inner", "file inner", "exited b", "exited a"};
    for (int i = 0; i < 2; ++i) {
        diary.lines.clear();
        EXPECT_EQ(diary.Do(), IO::NoError);
        EXPECT_EQ(diary.lines, expected);
        EXPECT_EQ(diary.GetParent(), &root) << "the walk is over";
    }
}

TEST_P(TreeOn, StopsAtAnyOperationAndCallsNothingMore) {
    Plant(place.GetRoot());
    if (!GetParam())
        Link(place.GetRoot(), "link.lnk", place / "a");
    Folder const root(place.GetRoot());
    Diary whole(root);
    ASSERT_EQ(whole.Do(), IO::NoError);
    for (std::size_t stop = 1; stop <= whole.lines.size(); ++stop) {
        Diary diary(root);
        diary.answer = [&](std::string const &) {
            if (diary.lines.size() == stop)
                diary.Stop();
            return true;
        };
        EXPECT_EQ(diary.Do(), IO::NoError);
        EXPECT_EQ(diary.lines.size(), stop) << whole.lines[stop - 1];
        EXPECT_EQ(diary.GetParent(), &root);
    }
}

TEST_P(TreeOn, PassesOverWhatIsNotWanted) {
    Plant(place.GetRoot());
    Folder const root(place.GetRoot());
    auto const walk = [&](char const * unwanted) {
        Diary diary(root);
        diary.answer = [=](std::string const & line) { return line != unwanted; };
        EXPECT_EQ(diary.Do(), IO::NoError);
        return diary.files;
    };
    EXPECT_EQ(walk("none"), (Files{"a/b/inner", "a/outer"}));
    EXPECT_EQ(walk("entry/ b"), Files{"a/outer"});
    EXPECT_EQ(walk("folder b"), Files{"a/outer"});
    EXPECT_EQ(walk("entry outer"), Files{"a/b/inner"});
    EXPECT_EQ(walk("file outer"), (Files{"a/b/inner", "a/outer"})) << "nobody asks";
}

TEST_P(TreeOn, CountsFilesAndBytes) {
    EXPECT_EQ(CountFiles(place.GetRoot()), 0u);
    EXPECT_EQ(CountSize(place.GetRoot()), 0u);
    Plant(place.GetRoot());
    Put(place.GetRoot(), "empty", 0);
    EXPECT_EQ(CountFiles(place.GetRoot()), 3u);
    EXPECT_EQ(CountSize(place.GetRoot()), 12u);
    EXPECT_EQ(CountFiles(place / "empty", IO::ErrNotAFolder), 0u);
    EXPECT_EQ(CountSize(place / "absent", IO::ErrFolderNotFound), 0u);
}

TEST_P(TreeOn, WalksThreeHundredLevels) {
    Location level = place.GetRoot();
    unsigned int depth = 0;
    // A location on a disk may not be longer than 260 units.
    while (depth < 300 && Folder(level).CreateFolder("d") == IO::NoError) {
        level.AppendToLocal("d");
        ++depth;
    }
    if (!GetParam()) { // the last one was made in a folder with a location, and has none itself
        Name name;
        level.MoveLastLocalName(&name);
        ASSERT_EQ(Folder(level).Delete(name, IO::DataSafety::KeepProtected), IO::NoError);
        --depth;
    }
    ASSERT_GE(depth, GetParam() ? 300u : 40u);
    if (GetParam())
        Put(level, "bottom", 3);
    Folder const root(place.GetRoot());
    auto const expectLevels = [&](MuErrCode status, unsigned int levels) {
        Diary diary(root);
        EXPECT_EQ(diary.Do(), status);
        EXPECT_EQ(std::count(diary.lines.begin(), diary.lines.end(), "entered d"), levels);
        EXPECT_EQ(std::count(diary.lines.begin(), diary.lines.end(), "exited d"), levels);
        EXPECT_EQ(CountSize(place.GetRoot(), status), GetParam() ? 3u : 0u);
    };
    expectLevels(IO::NoError, depth);
#if !defined(_WIN32) // where the system has the same limit
    if (GetParam())
        return;
    std::filesystem::path deeper = place.GetDisk().GetPath();
    for (unsigned int i = 0; i < 300; ++i)
        deeper /= "d";
    std::filesystem::create_directories(deeper);
    Tests::LogCapture const log;
    expectLevels(IO::Error, depth + 1);
    EXPECT_TRUE(log.Contains("folder is not found")) << "the first one that has no legal location";
#endif
}

TEST_P(TreeOn, GoesOnPastWhatChangesUnderIt) {
    Plant(place.GetRoot());
    Folder root(place.GetRoot());
    Diary diary(root);
    diary.answer = [&](std::string const & line) {
        MuErrCode deleted = IO::NoError;
        if (line == "entry outer")
            deleted = Folder(place / "a").Delete("outer", IO::DataSafety::KeepProtected);
        if (line == "folder b") // between being found and being entered
            deleted = Folder(place / "a").Delete("b", IO::DataSafety::KeepProtected);
        EXPECT_EQ(deleted, IO::NoError);
        return true;
    };
    Tests::LogCapture log;
    EXPECT_EQ(diary.Do(), IO::Error) << "a folder went away";
    EXPECT_EQ(diary.files, Files{});
    EXPECT_TRUE(log.Contains("folder is not found"));
    EXPECT_EQ(std::count(diary.lines.begin(), diary.lines.end(), "exited b"), 1);
}

TEST_P(TreeOn, TakesStepsByHand) {
    Plant(place.GetRoot());
    Folder const root(place.GetRoot());
    Diary diary(root);
    diary.ProcessFileFound("x");
    diary.ProcessFolderFound("a");
    EXPECT_EQ(diary.files, (Files{"x", "a/b/inner", "a/outer"}));
    diary.ProcessFolderFound("absent");
    diary.ProcessLinkFound("absent");
    EXPECT_EQ(diary.GetStatus(), IO::Error);
    EXPECT_EQ(diary.GetParent(), &root);
    diary.Stop();
    diary.lines.clear();
    diary.ProcessFolderFound("a");
    diary.ProcessLinkFound("a");
    EXPECT_EQ(diary.lines, Lines{});
    EXPECT_EQ(diary.Do(), IO::NoError) << "which begins anew";
}

TEST_P(TreeOn, IsAsItWasWhenMemoryFails) {
    Plant(place.GetRoot());
    Make(place.GetRoot(), "c");
#if defined(_WIN32) // where to read a link again and again takes minutes
    bool const hasLink = false;
#else
    bool const hasLink = !GetParam();
#endif
    if (hasLink)
        Link(place.GetRoot(), "link.lnk", place / "a");
    Folder const root(place.GetRoot());
    unsigned int const files = hasLink ? 4 : 2;
    SweepAllocations([&](bool failed) {
        PlainCounter plain(root);
        unsigned int count = 0;
        unsigned long long size = 0;
        try {
            MuErrCode const status = plain.Do();
            EXPECT_TRUE(status == IO::NoError || failed);
            EXPECT_TRUE(IO::fileSystem.CountFiles(place.GetRoot(), &count) == IO::NoError ||
                        failed);
            EXPECT_TRUE(IO::fileSystem.CountSize(place.GetRoot(), &size) == IO::NoError || failed);
        } catch (Mu::OutOfMemoryException const &) {
            ASSERT_TRUE(failed);
            return;
        }
        EXPECT_TRUE(failed || count == files);
        EXPECT_LE(plain.count, files);
    });
}

TEST(TreeEnumerator, FollowsLinksUnderTheirOwnNames) {
    Tests::Place const place(false);
    Plant(place.GetRoot());
    Link(place.GetRoot(), "to folder.lnk", place / "a");
    Link(place.GetRoot(), "to file.lnk", Location(place / "a", Name("outer")));
    Link(place.GetRoot(), "to nothing.lnk", place / "nothing");
    Folder const root(place.GetRoot());
    Diary diary(root);
    Tests::LogCapture const log;
    EXPECT_EQ(diary.Do(), IO::NoError);
    EXPECT_EQ(diary.files, (Files{"a/b/inner", "a/outer", "to file.lnk", "to folder.lnk/b/inner",
                                  "to folder.lnk/outer"}));
    EXPECT_EQ(CountWarnings(log), 0u);
    EXPECT_EQ(CountFiles(place.GetRoot()), 5u);
    EXPECT_EQ(CountSize(place.GetRoot()), 5u + 7 + 7 + 5 + 7) << "a link to a file has its length";

    Diary unlinked(root);
    unlinked.answer = [](std::string const & line) { return line.rfind("link", 0) != 0; };
    EXPECT_EQ(unlinked.Do(), IO::NoError);
    EXPECT_EQ(unlinked.files, (Files{"a/b/inner", "a/outer"}));
}

TEST(TreeEnumerator, WarnsOfALinkToAFolderAboveIt) {
    Tests::Place const place(false);
    Location const a = Make(place.GetRoot(), "a");
    Link(a, "self.lnk", a);
    Link(a, "up.lnk", place.GetRoot());
    Tests::LogCapture const log;
    EXPECT_EQ(CountFiles(place.GetRoot()), 0u);
    EXPECT_EQ(CountWarnings(log), 2u);
    EXPECT_TRUE(log.Contains("Recursive link \"" + ToLogText(Location(a, Name("up.lnk"))) +
                             "\" referring to \"" + ToLogText(place.GetRoot()) +
                             "\" is not followed during the enumeration"));
    EXPECT_EQ(CountFiles(a), 0u) << "above where the walk began, too";
}

// Each folder has a file and a link to the next, and the last one to the first.
TEST(TreeEnumerator, LeavesCirclesOfAnyLength) {
    for (unsigned int const length : {1u, 2u, 3u, 4u, 7u}) {
        SCOPED_TRACE(length);
        Tests::Place const place(false);
        std::vector<Location> folders;
        for (unsigned int i = 0; i < length; ++i) {
            folders.push_back(Make(place.GetRoot(), ("f" + std::to_string(i)).c_str()));
            Put(folders.back(), "file", 1);
        }
        for (unsigned int i = 0; i < length; ++i)
            Link(folders[i], "next.lnk", folders[(i + 1) % length]);
        Tests::LogCapture const log;
        EXPECT_EQ(CountFiles(folders[0]), length) << "each folder of the circle once";
        EXPECT_EQ(CountWarnings(log), 1u);
        EXPECT_EQ(CountSize(place.GetRoot()), length * length) << "from each folder once round";
        EXPECT_EQ(CountWarnings(log), 1u + length);
        ExpectCountedAsWalked(place.GetRoot());
    }
}

TEST(TreeEnumerator, LeavesAMeshOfLinks) {
    Tests::Place const place(false);
    constexpr unsigned int count = 4;
    std::vector<Location> folders;
    for (unsigned int i = 0; i < count; ++i)
        folders.push_back(Make(place.GetRoot(), ("f" + std::to_string(i)).c_str()));
    Put(folders[0], "file", 1);
    for (Location const & from : folders)
        for (unsigned int i = 0; i < count; ++i)
            Link(from, ("to" + std::to_string(i) + ".lnk").c_str(), folders[i]);
    // The ways through the folders that meet none twice, each of which ends in the first: one by
    // one, after 0, 1, 2 and 3 of the others in any order.
    EXPECT_EQ(CountFiles(place.GetRoot()), 1u + 3 + 3 * 2 + 3 * 2 * 1);
}

TEST(TreeEnumerator, TakesMountedFoldersForFolders) {
    Tests::Place const place(false);
    Plant(place.GetRoot());
    Tests::MemoryFixedVFS outer;
    Tests::MemoryFixedVFS inner;
    outer.tree.AddFile("x/y", "12345678901");
    outer.tree.AddFile("z", "1");
    inner.tree.AddFile("deep/file", "123");
    Location const mountPoint = place / "mounted";
    ASSERT_EQ(IO::fileSystem.Mount(outer, mountPoint), IO::NoError);
    ASSERT_EQ(IO::fileSystem.Mount(inner, Location(Location(mountPoint, Name("x")), Name("in"))),
              IO::NoError);
    Link(place.GetRoot(), "into.lnk", Location(mountPoint, Name("x")));
    EXPECT_EQ(CountFiles(place.GetRoot()), 5u + 2);
    EXPECT_EQ(CountSize(place.GetRoot()), 5u + 7 + 11 + 1 + 3 + 11 + 3);
    ExpectCountedAsWalked(place.GetRoot());
    EXPECT_EQ(outer.tree.CountConnected() + inner.tree.CountConnected(), 0);
    IO::fileSystem.Unmount(inner);
    IO::fileSystem.Unmount(outer);
}

TEST(TreeEnumerator, CountsOnPastADeniedFolder) {
    Tests::Place const place(false);
    Plant(place.GetRoot());
    Tests::MemoryFixedVFS denied;
    denied.tree.AddFile("file", "123");
    denied.tree.refusesAccess = true;
    Location const mountPoint = Location(place / "a", Name("denied"));
    ASSERT_EQ(IO::fileSystem.Mount(denied, mountPoint), IO::NoError);
    EXPECT_EQ(CountFiles(place.GetRoot(), IO::ErrTreeAccessDenied), 2u);
    EXPECT_EQ(CountSize(place.GetRoot(), IO::ErrTreeAccessDenied), 12u);

    // The first failure stands.
    Folder const root(place.GetRoot());
    Diary diary(root);
    diary.answer = [&](std::string const & line) {
        if (line == "exited a")
            diary.ProcessFolderFound("absent");
        return true;
    };
    EXPECT_EQ(diary.Do(), IO::ErrTreeAccessDenied);
    EXPECT_EQ(diary.files, (Files{"a/b/inner", "a/outer"}));
    IO::fileSystem.Unmount(denied);
}

TEST(TreeEnumerator, AnswersErrorForNothing) {
    auto const nothing = []() __attribute__((no_sanitize("null")))->Folder const & {
        return *static_cast<Folder const *>(nullptr);
    };
    auto const nowhere = []() __attribute__((no_sanitize("null")))->Location const & {
        return *static_cast<Location const *>(nullptr);
    };
    Diary diary(nothing());
    EXPECT_EQ(diary.GetParent(), nullptr);
    diary.ProcessFolderFound("a");
    diary.ProcessLinkFound("a");
    EXPECT_EQ(diary.Do(), IO::Error);
    unsigned int count = 0;
    unsigned long long size = 0;
    EXPECT_EQ(IO::fileSystem.CountFiles(nowhere(), &count), IO::Error);
    EXPECT_EQ(IO::fileSystem.CountSize(nowhere(), &size), IO::Error);
    Location const unhealthy(u"");
    EXPECT_EQ(IO::fileSystem.CountFiles(unhealthy, &count), IO::Error);
}

// What is counted at a glance must be what a walk by File and GetType finds.
TEST(TreeCounters, CountWhatAWalkFindsWhateverTheSystemRefuses) {
    Tests::Place const place(false);
    Plant(place.GetRoot());
    Put(place / "a", "more", 11);
    Link(place.GetRoot(), "link.lnk", Location(place / "a", Name("b")));
    for (Tests::FileCall const call :
         {Tests::FileCall::LookAtFound, Tests::FileCall::GetFileAttributes,
          Tests::FileCall::FindFirstFile, Tests::FileCall::FindNextFile}) {
        for (unsigned int n = 1; n <= 12; ++n) {
            Tests::ScriptedFileCalls calls;
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
}

TEST(TreeCounters, LookAtEachFileOnce) {
    Tests::Place const place(false);
    for (int i = 0; i < 20; ++i)
        Put(place.GetRoot(), ("file" + std::to_string(i)).c_str(), 3);
    Tests::ScriptedFileCalls calls;
    if (!calls.MarksLinks())
        GTEST_SKIP() << "a file must be read here to know that it is no link";
    EXPECT_EQ(CountSize(place.GetRoot()), 60u);
    EXPECT_EQ(calls.Count(Tests::FileCall::LookAtFound), 20u);
    EXPECT_LE(calls.Count(Tests::FileCall::GetFileAttributes), 2u);
    calls.ResetCounts();
    EXPECT_EQ(CountFiles(place.GetRoot()), 20u);
    EXPECT_EQ(calls.Count(Tests::FileCall::LookAtFound), 1u);
}

#if !defined(_WIN32) // other systems refuse to make these

TEST(TreeCounters, TakeOddNamesAndOddFilesAsAWalkDoes) {
    Tests::Place const place(false);
    Put(Make(place.GetRoot(), "plain"), "file", 3);
    namespace fs = std::filesystem;
    fs::path const & disk = place.GetDisk().GetPath();
    std::string const accents = "\xC3\xA9";
    std::string longest;
    while (longest.size() < 254)
        longest += accents;
    for (std::string const & name :
         {std::string(255, 'n'), longest, std::string("a:b"), std::string("con"),
          std::string("dot."), std::string(" "), std::string("line\nbreak"),
          std::string("\xff\xfe"), std::string("back\\slash"), std::string("a*?b"),
          std::string("CON"), std::string("Con")})
        place.GetDisk().Write(name, "1234");
    fs::create_directory(disk / "folder:");
    place.GetDisk().Write("folder:/file", "12345");
    fs::create_symlink("circle", disk / "circle");
    fs::create_symlink(".", disk / "here");
    fs::create_symlink("plain/../plain/file", disk / "relative");
    ASSERT_EQ(std::system(("mkfifo '" + (disk / "pipe").string() + "'").c_str()), 0);
    ExpectCountedAsWalked(place.GetRoot());
}

#endif

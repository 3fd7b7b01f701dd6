#include <Kestrel/Reflection/RemoteReflectionVFS.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/HandClock.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/OwnProcess.h"
#include "Tests/Support/Reflection/DrawnTree.h"
#include "Tests/Support/TempFolder.h"

#include <Kestrel/Comfort/Files.h>
#include <Kestrel/Comfort/Paths.h>
#include <Kestrel/FileSystem/FileEntry.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/FolderEntry.h>
#include <Kestrel/FileSystem/NativeFileSystem.h>
#include <Kestrel/Location/LocationValidator.h>
#include <Kestrel/Reflection/ReflectRollingVFS.h>

#include <gtest/gtest.h>

#include <fstream>
#include <optional>
#include <set>
#include <sstream>

namespace {

using IO::Location;
using IO::Name;
using Tests::BadLink;
using Tests::DrawnTree;
using Tests::LinkServer;
using Tests::Thing;
using Tests::Things;
using VFS = IO::RemoteReflectionVFS;

// Each byte over a socket takes long under Wine.
#if defined(_WIN32)
constexpr unsigned int Trees = 1;
constexpr unsigned int Links = 5;
constexpr unsigned int UsualNames = 2000;
#else
constexpr unsigned int Trees = 4;
constexpr unsigned int Links = 20;
constexpr unsigned int UsualNames = 20000;
#endif
constexpr char MountPoint[] = "C:\\Kestrel remote";

struct Mounted {
    explicit Mounted(unsigned short port, IO::RemoteReflectionLimits const & limits = {})
        : system("127.0.0.1", port, limits) {
        EXPECT_EQ(IO::fileSystem.Mount(system, top), IO::NoError);
    }
    ~Mounted() { EXPECT_EQ(IO::fileSystem.Unmount(system), IO::NoError); }
    Location const top{MountPoint};
    VFS system;
};

std::string Show(Thing const & thing) {
    std::string text = thing.isFolder ? "folder " : "thing ";
    for (std::u16string const & name : thing.path)
        text += ToUtf8(VFS::EscapeName(Name(name)).ToString()) + " | ";
    return text + thing.content;
}

void ExpectSame(Things const & found, Things const & expected) {
    for (Thing const & thing : found)
        EXPECT_EQ(found.count(thing), expected.count(thing)) << Show(thing);
    EXPECT_EQ(found.size(), expected.size());
}

bool AreOf(DrawnTree const & tree, Things const & found) {
    return std::includes(tree.GetThings().begin(), tree.GetThings().end(), found.begin(),
                         found.end());
}

// With regard to every unit, which names are not compared by everywhere.
bool IsForEveryDisk(Name const & name) {
    std::u16string_view const text = name.ToString();
    return IO::LocationValidator::Find(Mu::WindowsSign)->IsLegal(name) && text != u"." &&
           text != u"..";
}

/// What could be read below a folder, by the names of the process; `isWhole` becomes false otherwise.
void Read(Location const & place, std::vector<std::u16string> const & path, Things * found,
          bool * isWhole) {
    IO::Folder const folder(place);
    std::vector<std::pair<Name, bool>> entries;
    auto const collect = [](IO::Folder const &, Name const & name, bool isFolder, void * data) {
        static_cast<std::vector<std::pair<Name, bool>> *>(data)->push_back({name, isFolder});
        return true;
    };
    *isWhole &= folder.Enumerate(collect, &entries) == IO::NoError;
    for (auto const & [name, isFolder] : entries) {
        EXPECT_TRUE(IsForEveryDisk(name)) << name;
        Thing thing{path, isFolder, ""};
        bool const isTable = name == VFS::TableName && !isFolder;
        thing.path.emplace_back(std::u16string_view(VFS::UnescapeName(name).ToString()));
        Location const below(place, name);
        if (isFolder)
            Read(below, thing.path, found, isWhole);
        else if (auto const text = IO::ReadAll<std::string>(below); text)
            thing.content = *text;
        else {
            *isWhole = false;
            continue;
        }
        if (isTable)
            thing = {path, false, Tests::NormaliseTable(thing.content)};
        found->insert(thing);
    }
}

// Every character that a name may have, and beside it those that need care.
TEST(RemoteReflectionVFS, EscapesNamesOneToOneForEveryDisk) {
    for (char const * text : {"comx", "com10", "lpt", "con1", "nulls", "Conin"})
        EXPECT_EQ(VFS::EscapeName(Name(text)), Name(text)) << "no device has that name";
    std::mt19937 random(1);
    std::map<std::u16string, std::u16string> plainOf;
    for (int round = 0; round < 3000; ++round) {
        std::u16string name;
        for (unsigned int i = 1 + random() % 4; i > 0; --i)
            name += Tests::DrawPiece(random);
        if (random() % 4 == 0)
            name += static_cast<char16_t>(1 + random() % 0xFFFF);
        Name const escaped = VFS::EscapeName(Name(name));
        ASSERT_TRUE(IsForEveryDisk(escaped)) << escaped;
        ASSERT_TRUE(VFS::UnescapeName(escaped).ToString() == Mu::UniString(name)) << escaped;
        auto const [at, isNew] =
            plainOf.try_emplace(std::u16string(std::u16string_view(escaped.ToString())), name);
        ASSERT_TRUE(isNew || at->second == name);
        Mu::UniString const cell = VFS::EscapeCell(Mu::UniString(name));
        ASSERT_TRUE(VFS::UnescapeCell(cell) == Mu::UniString(name)) << cell;
        ASSERT_TRUE(std::all_of(cell.begin(), cell.end(), [](unsigned int unit) {
            return unit >= 32 && (unit < 0x7F || unit >= 0xA0);
        }));
        static_cast<void>(VFS::UnescapeName(Name(u"%" + name + u"%C3%2")));
        static_cast<void>(VFS::UnescapeCell(Mu::UniString(u"\\" + name + u"\\u12")));
    }
}

TEST(RemoteReflectionVFS, ShowsADrawnTreeByMountByUrlAndOnTheDisk) {
    Tests::LogCapture const log;
    for (unsigned int seed = 1; seed <= Trees; ++seed) {
        SCOPED_TRACE(seed);
        DrawnTree const tree(seed);
        LinkServer server;
        Things found;
        bool isWhole = true;
        IO::RemoteReflectionLimits limits;
        limits.keepTime = 600000;
        {
            Mounted const mounted(server.GetPort(), limits);
            Read(mounted.top, {}, &found, &isWhole);
            EXPECT_TRUE(isWhole);
            ExpectSame(found, tree.GetThings());
            // Nothing is asked twice: a level is two questions, a table and a content one.
            EXPECT_LE(server.CountQuestions(), 2 * tree.CountFolders() + found.size());
            Tests::TempFolder const disk;
            Location const copy(disk.GetPortable("copy"));
            EXPECT_EQ(IO::fileSystem.Copy(mounted.top / "drawn", copy), IO::NoError);
            Things copied;
            Read(copy, {u"drawn"}, &copied, &isWhole);
            found.erase(Thing{{u"drawn"}, true, ""});
            ExpectSame(copied, found);
        }
        IO::ReflectRollingVFS processes;
        EXPECT_EQ(IO::fileSystem.Mount(processes), IO::NoError);
        Things again;
        std::string const url = "reflect://127.0.0.1:" + std::to_string(server.GetPort()) + "/";
        Read(Location(url + "drawn"), {u"drawn"}, &again, &isWhole);
        EXPECT_TRUE(isWhole);
        ExpectSame(again, found);
        // The plain name leads there too.
        for (Thing const & thing : again) {
            Location place(url);
            bool isPlain = true;
            for (std::u16string const & name : thing.path)
                isPlain &= name.find(u'%') == name.npos && Name(name) != VFS::TableName;
            if (!isPlain)
                continue;
            for (std::u16string const & name : thing.path)
                EXPECT_EQ(place.AppendToLocal(Name(name)), IO::NoError);
            bool isThere = false;
            EXPECT_EQ(IO::fileSystem.Contains(place, &isThere), IO::NoError) << Show(thing);
            EXPECT_TRUE(isThere) << Show(thing);
        }
        EXPECT_EQ(IO::fileSystem.Unmount(processes), IO::NoError);
    }
}

// The link ends behind the n-th byte of its answers, or each time that so many came, or stands still,
// or is slow, or changes them.
TEST(RemoteReflectionVFS, ReadsWhatIsRightOrFailsOverABadLink) {
    Tests::LogCapture const log;
    DrawnTree const tree(5);
    for (unsigned int seed = 1; seed <= Links; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        LinkServer const server;
        BadLink link(server.GetPort(), seed);
        IO::RemoteReflectionLimits limits;
        limits.timeout = seed % 5 == 0 ? 40 : seed % 4 == 1 ? 200 : 5000;
        limits.keepTime = seed % 3 == 0 ? 0 : 2000;
        limits.keptSize = seed % 4 == 2 ? 300 : 1 << 20;
        limits.retryTime = seed % 2 == 0 ? 0 : 1000;
        bool const isChanged = seed % 4 == 1;
        std::optional<Mounted> mounted(std::in_place, link.GetPort(), limits);
        bool const isNobody = seed % 8 == 3;
        link.SetHarm({isNobody ? 0 : static_cast<unsigned int>(random() % 4000),
                      seed % 2 == 0 || isNobody, limits.timeout < 100, seed % 4 == 2, isChanged});
        Things found;
        bool isWhole = true;
        Read(mounted->top, {}, &found, &isWhole);
        // Bytes that are changed on the way are as good as others.
        EXPECT_TRUE(isChanged || AreOf(tree, found));
        EXPECT_TRUE(!isWhole || isChanged || found == tree.GetThings());
        link.SetHarm({});
        // What was changed may be kept, and a short limit is not met by a machine with much to do.
        if (isChanged || limits.timeout < 100) {
            mounted.reset();
            mounted.emplace(link.GetPort());
        } else if (limits.retryTime > 0) { // who mounts anew need not wait
            EXPECT_EQ(IO::fileSystem.Unmount(mounted->system), IO::NoError);
            EXPECT_EQ(IO::fileSystem.Mount(mounted->system, mounted->top), IO::NoError);
        }
        Things again;
        Read(mounted->top, {}, &again, &isWhole);
        ExpectSame(again, tree.GetThings()); // the next use makes a new connection
    }
}

constexpr int Killed = 77;
constexpr unsigned int ChildSeed = 5;

/// Another process, which shows a drawn tree and may be killed in the middle of the n-th question.
class Child {
public:
    Child(Tests::TempFolder const & folder, unsigned int question)
        : portFile(folder.GetPath() / "port"), process([this, question] {
              exitCode = Tests::RunAgain(
                  {"--gtest_also_run_disabled_tests", "--gtest_brief=1",
                   "--gtest_filter=RemoteReflectionVFS.DISABLED_ShowsATreeAsLongAsItMay",
                   "--kestrel_file=" + portFile.string(), std::to_string(question)});
          }) {
        while (port == 0 && exitCode < 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            std::ifstream(portFile) >> port;
        }
    }
    ~Child() { Join(); }
    int Join() {
        std::filesystem::remove(portFile);
        if (process.joinable())
            process.join();
        return exitCode;
    }
    unsigned short GetPort() const { return port; }

private:
    std::filesystem::path const portFile;
    std::atomic<int> exitCode = -1;
    unsigned short port = 0;
    std::thread process;
};

struct Mortal : DrawnTree {
    mutable std::atomic<int> left;
    explicit Mortal(int question) : DrawnTree(ChildSeed), left(question) {}
    bool GetContent(IO::RelativeLocation const & place, Mu::OChannel & channel) const override {
        if (--left == 0)
            Tests::EndProcess(Killed);
        return DrawnTree::GetContent(place, channel);
    }
};

TEST(RemoteReflectionVFS, DISABLED_ShowsATreeAsLongAsItMay) {
    std::vector<std::string> const arguments = ::testing::internal::GetArgvs();
    std::filesystem::path const file = arguments.at(arguments.size() - 2).substr(15);
    Mortal const tree(std::stoi(arguments.back()));
    LinkServer const server;
    std::ofstream(file.string() + "~") << server.GetPort() << "\n";
    std::filesystem::rename(file.string() + "~", file);
    while (std::filesystem::exists(file))
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

TEST(RemoteReflectionVFS, OutlivesAProcessThatIsKilledBehindASlowLink) {
    Tests::LogCapture const log;
    Tests::TempFolder const folder;
    DrawnTree const tree(ChildSeed);
    for (unsigned int question : {2, 9}) {
        SCOPED_TRACE(question);
        std::optional<Child> child(std::in_place, folder, question);
        BadLink link(child->GetPort(), question);
        link.SetHarm({~0u, false, false, true, false});
        Mounted const mounted(link.GetPort());
        Things found;
        bool isWhole = true;
        Read(mounted.top, {}, &found, &isWhole);
        EXPECT_FALSE(isWhole);
        EXPECT_FALSE(found.empty());
        EXPECT_TRUE(AreOf(tree, found));
        EXPECT_EQ(child->Join(), Killed);
        child.emplace(folder, 0);
        link.SetProcess(child->GetPort());
        std::this_thread::sleep_for(std::chrono::milliseconds(1100)); // the retry time
        Things again;
        Read(mounted.top, {}, &again, &isWhole);
        ExpectSame(again, tree.GetThings());
    }
}

bool HasLinesOf(std::string const & table, std::string const & whole) {
    std::istringstream lines(table);
    for (std::string line; std::getline(lines, line);)
        if (!line.ends_with("\t\t") && line != "name" && whole.find(line) == whole.npos)
            return false;
    return true;
}

// Each time a thing is asked for, it may be there or not.
TEST(RemoteReflectionVFS, WalksATreeThatChanges) {
    Tests::LogCapture const log;
    for (unsigned int seed = 1; seed <= Trees; ++seed) {
        SCOPED_TRACE(seed);
        DrawnTree const tree(seed, true);
        LinkServer server;
        IO::RemoteReflectionLimits limits;
        limits.keepTime = seed % 2 * 100;
        Mounted const mounted(server.GetPort(), limits);
        Things found;
        bool isWhole = true;
        Read(mounted.top, {}, &found, &isWhole);
        for (Thing const & thing : found) {
            bool isRight = thing.content.empty() || tree.GetThings().count(thing) == 1;
            // In a table, each line is that of the tree, or of a thing that has gone.
            for (Thing const & expected : tree.GetThings())
                isRight |=
                    expected.path == thing.path && HasLinesOf(thing.content, expected.content);
            EXPECT_TRUE(isRight) << Show(thing);
        }
    }
}

TEST(RemoteReflectionVFS, ChangesNothingAndSaysWhy) {
    Tests::LogCapture const log;
    DrawnTree const tree(3);
    LinkServer server;
    Tests::HandClock clock;
    Mounted mounted(server.GetPort());
    Location top = mounted.top / "drawn";
    IO::Folder folder(top);
    EXPECT_EQ(folder.CreateFolder("new"), IO::ErrFolderAccessDenied);
    EXPECT_EQ(folder.Delete("any", IO::DataSafety::KeepProtected), IO::ErrFolderAccessDenied);
    EXPECT_EQ(IO::fileSystem.Delete(top, IO::DataSafety::IgnoreProtection,
                                    IO::AccessDeniedTreatment::Fail),
              IO::ErrFolderAccessDenied);
    EXPECT_FALSE(folder.IsWriteable());
    EXPECT_EQ(IO::Folder(top / "none").GetStatus(), IO::ErrFolderNotFound);
    EXPECT_EQ(IO::File(top).GetStatus(), IO::ErrNotAFile);
    IO::File table(top / VFS::TableName);
    EXPECT_EQ(IO::Folder(top / VFS::TableName).GetStatus(), IO::ErrNotAFolder);
    EXPECT_EQ(table.Open(IO::File::OpenMode::WriteOnly, IO::AccessDeniedTreatment::Fail),
              IO::ErrFileAccessDenied);
    ASSERT_EQ(table.Open(IO::File::OpenMode::ReadOnly), IO::NoError);
    EXPECT_NE(table.SetDataLength(0), IO::NoError);
    // What was answered is good until its time is over.
    std::size_t const asked = server.CountQuestions();
    EXPECT_EQ(IO::Folder(top).GetStatus(), IO::NoError);
    EXPECT_EQ(server.CountQuestions(), asked);
    clock.Advance(2001);
    EXPECT_EQ(IO::Folder(top).GetStatus(), IO::NoError);
    EXPECT_EQ(server.CountQuestions(), asked + 2);
    for (unsigned int i = 0; i < VFS::DeepestLevel; ++i)
        top /= "deep";
    EXPECT_EQ(IO::Folder(top).GetStatus(), IO::Error);
}

// A tree that takes three seconds of the clock for each list.
struct Slow : DrawnTree {
    Tests::HandClock & clock;
    mutable std::atomic<unsigned int> lists = 0;
    explicit Slow(Tests::HandClock & clock) : DrawnTree(3), clock(clock) {}
    bool GetChildren(IO::RelativeLocation const & place, Mu::Array<Name> * folders,
                     Mu::Array<Name> * files) const override {
        ++lists;
        clock.Advance(3000);
        return DrawnTree::GetChildren(place, folders, files);
    }
};

TEST(RemoteReflectionVFS, WaitsBetweenItsTriesAndKeepsWhatTookLong) {
    Tests::LogCapture const log;
    Tests::HandClock clock;
    Slow const tree(clock);
    LinkServer const server;
    BadLink link(LinkServer().GetPort(), 1); // to nobody
    Mounted const mounted(link.GetPort());
    Location const top = mounted.top / "drawn";
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(IO::Folder(top).GetStatus(), IO::Error);
    EXPECT_EQ(link.CountConnections(), 1u);
    link.SetProcess(server.GetPort());
    EXPECT_EQ(IO::Folder(top).GetStatus(), IO::Error);
    clock.Advance(1001);
    auto const count = [&](unsigned int expected) {
        unsigned int entries = 0;
        EXPECT_EQ(IO::Folder(top).CountEntries(&entries), IO::NoError);
        EXPECT_EQ(tree.lists, expected);
    };
    count(1);
    clock.Advance(29000);
    count(1);
    clock.Advance(1001);
    count(2);
}

TEST(ReflectRollingVFS, ClaimsWhatTheDiskTurnsDown) {
    Tests::LogCapture const log;
    IO::ReflectRollingVFS processes;
    for (char const * text : {"reflect:///C:/x", "reflect://user@host/", "reflects://host/",
                              "lan://host/x", "C:\\x", "\\\\reflect\\x"})
        EXPECT_FALSE(processes.Serves(Location(text))) << text;
    for (char const * text : {"reflect://host/", "reflect://127.0.0.1:5/Kestrel/a%20b"}) {
        Location location(text);
        Mu::UniString path;
        IO::FileEntry * file = nullptr;
        EXPECT_TRUE(processes.Serves(location));
        EXPECT_NE(location.ToPath(&path), IO::NoError) << "no call of the system can name it";
        EXPECT_NE(IO::NativeFileSystem::Get()->Connect(&location, &file),
                  IO::BaseFileSystem::ConnectStatus::Connected);
    }
    // There are more processes than are kept; and nobody is there.
    EXPECT_EQ(IO::fileSystem.Mount(processes), IO::NoError);
    DrawnTree const tree(1);
    std::vector<std::unique_ptr<LinkServer>> servers(IO::ReflectRollingVFS::MostProcesses + 2);
    for (auto & server : servers) {
        server = std::make_unique<LinkServer>();
        std::string const port = std::to_string(server->GetPort());
        EXPECT_EQ(IO::Folder(Location("reflect://127.0.0.1:" + port + "/drawn")).GetStatus(),
                  IO::NoError);
    }
    unsigned short const nobody = LinkServer().GetPort(); // of no server that is there
    EXPECT_EQ(IO::Folder(Location("reflect://127.0.0.1:" + std::to_string(nobody))).GetStatus(),
              IO::Error);
    EXPECT_EQ(IO::fileSystem.Unmount(processes), IO::NoError);
}

// KESTREL_REMOTE_NAMES=1000000 takes so many.
TEST(RemoteReflectionVFS, ShowsALevelOfManyNames) {
    char const * const wanted = std::getenv("KESTREL_REMOTE_NAMES");
    unsigned int const count =
        wanted == nullptr ? UsualNames : static_cast<unsigned int>(std::atoi(wanted));
    DrawnTree const tree(1, false, count);
    LinkServer server;
    IO::RemoteReflectionLimits limits;
    limits.keepTime = 600000;
    limits.timeout = 0; // a machine with much to do takes long
    Mounted const mounted(server.GetPort(), limits);
    IO::Folder const folder(mounted.top / "drawn");
    unsigned int entries = 0;
    EXPECT_EQ(folder.CountEntries(&entries), IO::NoError);
    EXPECT_EQ(entries, count + 1);
    auto const table = IO::ReadAll<std::string>(mounted.top / "drawn" / VFS::TableName);
    ASSERT_TRUE(table);
    EXPECT_EQ(std::count(table->begin(), table->end(), '\n'), count + 1);
    for (unsigned int i = 0; i < 1000; ++i) {
        IO::File const file(folder, Tests::DrawnTree::ToName(count - 1 - i));
        ASSERT_EQ(file.GetStatus(), IO::NoError);
    }
    EXPECT_LE(server.CountQuestions(), 4 + (count + 999) / 1000);
}

TEST(RemoteReflectionVFS, MeetsEveryFailedAllocation) {
    Tests::LogCapture const log;
    DrawnTree const tree(1, false, 3);
    SweepAllocations([&](bool failed) {
        LinkServer server;
        VFS system("127.0.0.1", server.GetPort(), {.timeout = 2000});
        if (IO::fileSystem.Mount(system, Location(MountPoint)) != IO::NoError)
            return;
        Things found;
        bool isWhole = true;
        try {
            Read(Location(MountPoint), {}, &found, &isWhole);
            // The process shares the memory, and lists less where it has none.
            EXPECT_LE(found.size(), 5u);
            EXPECT_TRUE(failed || (isWhole && found.size() == 5));
        } catch (Mu::OutOfMemoryException const &) {
            EXPECT_TRUE(failed);
        }
        static_cast<void>(IO::fileSystem.Unmount(system));
    });
}

} // namespace

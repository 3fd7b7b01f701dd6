#include <Kestrel/FileSystem/FileSystem.h>

#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/FileSystem/Internal/Start.h>
#include <Kestrel/FileSystem/Internal/WinFileSystem.h>
#include <Kestrel/Root/Threads/Lock.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/FileSystem/Connection.h"
#include "Tests/Support/FileSystem/DiskVFS.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/TempFolder.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <thread>
#include <vector>

namespace {

using Tests::DiskFixedVFS;
using Tests::DiskRollingVFS;

// What was logged since the last call, as "LEVEL text" with a line break between two.
std::string TakeLog(Tests::LogCapture & log) {
    static constexpr char const * levels[] = {"TRACE", "INFO", "WARNING", "ERROR"};
    std::string text;
    for (Tests::LogCapture::Line const & line : log.GetLines()) {
        EXPECT_EQ(line.domain, "IO");
        text += text.empty() ? "" : "\n";
        text += std::string(levels[static_cast<int>(line.severity)]) + " " + line.text;
    }
    log.Clear();
    return text;
}

// Unmounts at the end of a test, however it ends.
template <typename System>
class MountGuard {
public:
    explicit MountGuard(System & system) : system(system) {}
    ~MountGuard() { EXPECT_EQ(IO::fileSystem.Unmount(system), IO::NoError); }

private:
    System & system;
};

// Who serves a file of this location: a look at its content tells.
std::string ContentAt(IO::Location const & location) {
    Tests::FileConnection const entry(location);
    if (entry.GetStatus() != IO::NoError)
        return entry.GetStatus() == IO::ErrFSFileNotFound ? "not found" : "no answer";
    char text[64];
    unsigned int read = 0;
    EXPECT_EQ(entry->Open(IO::FileEntry::OpenMode::Read), IO::FileEntry::OpenStatus::Done);
    (void)entry->Read(text, sizeof text, &read);
    (void)entry->Close();
    return std::string(text, read);
}

IO::Location At(Tests::TempFolder const & folder, std::string const & name) {
    return IO::Location(Mu::UniString(folder.GetPortable(name)));
}

// A FileSystem without mounts.
class FreshFileSystem {
public:
    FreshFileSystem() { IO::FileSystemStart::Make(operator->()); }
    ~FreshFileSystem() { IO::FileSystemStart::Unmake(*operator->()); }
    IO::FileSystem * operator->() { return reinterpret_cast<IO::FileSystem *>(place); }

private:
    alignas(IO::FileSystem) unsigned char place[sizeof(IO::FileSystem)];
};

bool Collect(IO::Location const & location, void * data) {
    Mu::UniString text;
    location.ToLogText(&text);
    static_cast<std::vector<std::string> *>(data)->push_back(ToUtf8(text));
    return true;
}

bool Stop(IO::Location const &, void * data) {
    ++*static_cast<int *>(data);
    return false;
}

/// Systems of which some come and others go, as a seed wants it, whenever one of them is visited.
class Restless {
public:
    static constexpr unsigned int Count = 6;

    Restless(unsigned int seed, bool isFixed) : random(seed), isFixed(isFixed) {
        for (unsigned int i = 0; i < Count; ++i) {
            rolling[i].visited = [this, i] { Visit(i); };
            if (random() % 4 != 0)
                Change(i);
            hasChanged[i] = false;
        }
    }
    ~Restless() {
        for (unsigned int i = 0; i < Count; ++i) {
            EXPECT_TRUE(hasChanged[i] || visits[i] == (isMounted[i] ? 1 : 0));
            if (isMounted[i])
                Change(i);
        }
    }

    static bool Found(IO::Location const & place, void * self) {
        for (unsigned int i = 0; i < Count; ++i)
            if (place == At(i))
                static_cast<Restless *>(self)->Visit(i);
        return true;
    }

private:
    struct Rolling : DiskRollingVFS {
        Rolling() : DiskRollingVFS(IO::Location()) {}
        bool Serves(IO::Location const &) override { return visited(), false; }
        std::function<void()> visited;
    };
    static IO::Location At(unsigned int i) {
        return IO::Location(IO::Location("Q:\\restless"), IO::Name(std::to_string(i).c_str()));
    }
    void Visit(unsigned int visited) {
        EXPECT_TRUE(isMounted[visited]);
        ++visits[visited];
        for (unsigned int i = random() % 4; i != 0; --i)
            Change(random() % Count);
    }
    void Change(unsigned int i) {
        auto & front = IO::fileSystem;
        MuErrCode const status = isMounted[i]
                                     ? isFixed ? front.Unmount(fixed[i]) : front.Unmount(rolling[i])
                                 : isFixed ? front.Mount(fixed[i], At(i))
                                           : front.Mount(rolling[i]);
        EXPECT_EQ(status, IO::NoError);
        isMounted[i] = !isMounted[i];
        hasChanged[i] = true;
    }

    std::mt19937 random;
    bool const isFixed;
    DiskFixedVFS fixed[Count];
    Rolling rolling[Count];
    bool isMounted[Count] = {};
    bool hasChanged[Count];
    int visits[Count] = {};
};

} // namespace

TEST(FileSystem, AsksEachSystemOnceWhileSystemsComeAndGo) {
    for (unsigned int seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(seed);
        Restless rolling(seed, false), fixed(seed, true);
        EXPECT_EQ(ContentAt(IO::Location("Q:\\nowhere")), "not found");
        EXPECT_EQ(IO::fileSystem.EnumerateVirtualMountPoints(Restless::Found, &fixed), IO::NoError);
    }
}

// The disk serves what it has, then the deepest fixed mount that the location lies in, and only
// where there is none a rolling one that claims it alone.
TEST(FileSystem, LetsTheRightSystemServe) {
    Tests::TempFolder const folder;
    folder.Write("both", "disk");
    folder.Write("kind", "disk");
    DiskFixedVFS outer, inner, fixed, onDisk;
    DiskRollingVFS wide(IO::Location("Q:\\r")), narrow(IO::Location("Q:\\r\\s"));
    outer.AddFile("b/c", "outer");
    outer.AddFile("x", "outer");
    inner.AddFile("c", "inner");
    fixed.AddFile("y", "fixed");
    onDisk.AddFile("both", "mounted");
    onDisk.AddFile("only", "mounted");
    onDisk.AddFile("kind/x", "mounted");
    wide.AddFile("x", "wide");
    wide.AddFile("s/y", "wide");
    narrow.AddFile("y", "narrow");
    std::pair<DiskFixedVFS *, IO::Location> const mounts[] = {
        {&outer, IO::Location("Q:\\a")},
        {&inner, IO::Location("Q:\\a\\b")},
        {&fixed, IO::Location("Q:\\r\\s\\t")},
        {&onDisk, IO::Location(Mu::UniString(folder.GetPortable()))}};
    for (int order : {1, -1}) {
        for (int i = order > 0 ? 0 : 3; i >= 0 && i < 4; i += order)
            ASSERT_EQ(IO::fileSystem.Mount(*mounts[i].first, mounts[i].second), IO::NoError);
        ASSERT_EQ(IO::fileSystem.Mount(wide), IO::NoError);
        EXPECT_EQ(ContentAt(IO::Location("Q:\\r\\s\\y")), "wide");
        ASSERT_EQ(IO::fileSystem.Mount(narrow), IO::NoError);
        for (auto const & [place, content] :
             {std::pair(IO::Location("Q:\\A\\B\\C"), "inner"), // names overlook the case
              {IO::Location("Q:\\a\\x"), "outer"},
              {IO::Location("Q:\\a\\y"), "not found"},
              {IO::Location("Q:\\ab"), "not found"},
              {IO::Location("Q:\\r\\x"), "wide"},
              {IO::Location("Q:\\r\\s\\y"), "not found"}, // two claim it
              {At(folder, "both"), "disk"},
              {At(folder, "only"), "mounted"}})
            EXPECT_EQ(ContentAt(place), content) << place;
        Tests::FolderConnection const kind(At(folder, "kind"));
        ASSERT_EQ(kind.GetStatus(), IO::NoError) << "the disk has a file of this name";
        EXPECT_EQ(kind->GetOwnerFileSystem(), &onDisk);
        int const before = wide.questions;
        EXPECT_EQ(ContentAt(IO::Location("Q:\\r\\s\\t\\y")), "fixed");
        EXPECT_EQ(wide.questions, before) << "a fixed mount is not up for claims";
        for (auto const & mount : mounts)
            EXPECT_EQ(IO::fileSystem.Unmount(*mount.first), IO::NoError);
        EXPECT_EQ(IO::fileSystem.Unmount(narrow), IO::NoError);
        EXPECT_EQ(IO::fileSystem.Unmount(wide), IO::NoError);
    }
    EXPECT_EQ(inner.CountConnected() + onDisk.CountConnected() + wide.CountConnected(), 0);
}

// Between file systems no look at a folder tells whether it is another's; where they lie does.
TEST(FileSystem, CopiesNoFolderIntoAnotherSystemInIt) {
    Tests::TempFolder folder;
    DiskFixedVFS outer, inner, onDisk;
    outer.AddFile("tree/sub/hidden", "h");
    std::filesystem::create_directory(folder / "disk");
    std::string const places[] = {"outer", "outer\\tree\\sub", "disk\\mounted"};
    DiskFixedVFS * const systems[] = {&outer, &inner, &onDisk};
    for (int i = 0; i < 3; ++i) {
        systems[i]->GetDisk();
        ASSERT_EQ(IO::fileSystem.Mount(*systems[i], At(folder, places[i])), IO::NoError);
    }
    MountGuard const outerGuard(outer), innerGuard(inner), diskGuard(onDisk);
    EXPECT_EQ(IO::fileSystem.Copy(At(folder, "outer\\tree"), At(folder, places[1] + "\\copy")),
              IO::Error);
    EXPECT_EQ(IO::fileSystem.Copy(At(folder, "disk"), At(folder, places[2] + "\\copy")), IO::Error);
    EXPECT_TRUE(std::filesystem::is_empty(inner.GetDisk().GetPath()));
    EXPECT_TRUE(std::filesystem::is_empty(onDisk.GetDisk().GetPath()));
}

// A host's own rules for names hold on every platform, and no longer than its system.
TEST(FileSystem, AsksTheHostsNativeSystemForNames) {
    class ByLength final : public IO::NativeFileSystem {
        ConnectStatus Connect(IO::Location *, IO::FolderEntry **) override {
            return ConnectStatus::NotFound;
        }
        ConnectStatus Connect(IO::Location *, IO::FileEntry **) override {
            return ConnectStatus::NotFound;
        }
        void Disconnect(IO::FolderEntry *) override {}
        void Disconnect(IO::FileEntry *) override {}
        bool IsOnLine(IO::Location const &) override { return false; }
        bool GetSpecialLocation(IO::SpecLocId, IO::Location *) override { return false; }
        bool ResolveLocation(IO::Location const &, IO::Location *) override { return false; }
        MountPointsStatus EnumerateMountPoints(MountPointCallback, void *) override { return {}; }
        bool IsSameName(Mu::UniString const & a, Mu::UniString const & b) override {
            return a.GetLength() == b.GetLength();
        }
        void SetOption(unsigned int, unsigned int) override {}
    };
    {
        ByLength native;
        EXPECT_EQ(IO::NativeFileSystem::Get(), &native);
        EXPECT_TRUE(IO::Name("ab") == "xy" && IO::Name("ab") != "abc");
        EXPECT_TRUE(IO::Location("C:\\ab") == IO::Location("C:\\xy"));
    }
    EXPECT_TRUE(IO::Name("ab") != "xy");
    static IO::WinFileSystem again; // for the tests behind this one
    EXPECT_TRUE(IO::Name("AB") == "ab");
    IO::CompareNamesNatively(!IO::GetPlatformFileCalls().ComparesByUnits());
}

TEST(FileSystem, ReportsMounting) {
    Tests::LogCapture log;
    DiskFixedVFS a, b;
    DiskRollingVFS rolling{IO::Location("Q:\\r")};
    IO::Location const place("Q:\\m"), other("Q:\\other"), unhealthy("C:\\a\\\\b");
    auto & front = IO::fileSystem;
    struct {
        std::function<MuErrCode()> run;
        MuErrCode status;
        char const * line;
    } const rows[] = {
        {[&] { return front.Mount(a, place); }, IO::NoError,
         "INFO Mounting fixed virtual file system at mount point \"Q:\\m\""},
        {[&] { return front.Mount(a, other); }, IO::ErrFSAlreadyMounted,
         "ERROR Mounting fixed virtual file system at mount point \"Q:\\other\" has failed: it is "
         "already mounted (OS errors: )"},
        {[&] { return front.Mount(b, place); }, IO::ErrFSMountPointExists,
         "ERROR Mounting fixed virtual file system at mount point \"Q:\\m\" has failed: mount "
         "point "
         "already exists (OS errors: )"},
        {[&] { return front.Unmount(a); }, IO::NoError,
         "INFO Unmounting fixed virtual file system \"Q:\\m\""},
        {[&] { return front.Unmount(a); }, IO::ErrFSNotMounted,
         "ERROR Unmounting fixed virtual file system has failed: it was not found"},
        {[&] { return front.Mount(a, unhealthy); }, IO::Error, ""},
        {[&] { return front.Mount(rolling); }, IO::NoError,
         "INFO Mounting rolling virtual file system"},
        {[&] { return front.Mount(rolling); }, IO::ErrFSAlreadyMounted,
         "ERROR Mounting rolling virtual file system has failed: it is already mounted (OS errors: "
         ")"},
        {[&] { return front.Unmount(rolling); }, IO::NoError,
         "INFO Unmounting rolling virtual file system"},
        {[&] { return front.Unmount(rolling); }, IO::ErrFSNotMounted,
         "ERROR Unmounting rolling virtual file system has failed: it was not found"},
    };
    for (auto const & row : rows) {
        log.Clear();
        EXPECT_EQ(row.run(), row.status);
        EXPECT_EQ(TakeLog(log), row.line);
        bool const isMounted = &row < rows + 3;
        EXPECT_EQ(a.mountCount, isMounted ? 1 : 0);
        EXPECT_EQ(front.IsMountPoint(IO::Location("q:\\M")), isMounted);
        EXPECT_FALSE(front.IsMountPoint(IO::Location("Q:\\m\\n")));
    }
    EXPECT_EQ(b.mountCount, 0);
}

TEST(FileSystem, EnumeratesTheComputerItsDrivesAndTheMounts) {
    DiskFixedVFS a, b;
    ASSERT_EQ(IO::fileSystem.Mount(a, IO::Location("Q:\\z")), IO::NoError);
    MountGuard const guardA(a);
    ASSERT_EQ(IO::fileSystem.Mount(b, IO::Location("Q:\\y")), IO::NoError);
    MountGuard const guardB(b);
    Tests::LogCapture log;
    std::vector<std::string> places;
    EXPECT_EQ(IO::fileSystem.EnumerateMountPoints(Collect, &places), IO::NoError);
    EXPECT_EQ(TakeLog(log), "TRACE Enumerating mount points");
    ASSERT_GE(places.size(), 4u);
    EXPECT_EQ(places.front(), "");
    EXPECT_EQ(std::count(places.begin(), places.end(), "C:"), 1);
    std::vector<std::string> const mounts{"Q:\\z", "Q:\\y"}; // in the order of mounting
    EXPECT_EQ(std::vector<std::string>(places.end() - 2, places.end()), mounts);
    places.clear();
    EXPECT_EQ(IO::fileSystem.EnumerateVirtualMountPoints(Collect, &places), IO::NoError);
    EXPECT_EQ(places, mounts);
    int calls = 0;
    EXPECT_EQ(IO::fileSystem.EnumerateMountPoints(Stop, &calls), IO::NoError);
    EXPECT_EQ(TakeLog(log), "TRACE Enumerating mount points (succeeded with break)");
    EXPECT_EQ(IO::fileSystem.EnumerateVirtualMountPoints(Stop, &calls), IO::NoError);
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(IO::fileSystem.EnumerateMountPoints(nullptr, nullptr), IO::Error);
    EXPECT_EQ(IO::fileSystem.EnumerateVirtualMountPoints(nullptr, nullptr), IO::Error);
}

TEST(FileSystem, DoesNotHoldItsLockWhileAnEntryWorks) {
    auto const look = [](IO::Folder const &, IO::Name const &, bool, void * isFree) {
        std::thread([isFree] {
            *static_cast<bool *>(isFree) = IO::GetFileSystemLock().TryEnter();
            if (*static_cast<bool *>(isFree))
                IO::GetFileSystemLock().Leave();
        }).join();
        return true;
    };
    Tests::TempFolder folder;
    folder.Write("file", "");
    bool isFree = false;
    IO::Folder const place{IO::Location(folder.GetPortable().c_str())};
    EXPECT_EQ(place.Enumerate(look, &isFree), IO::NoError);
    EXPECT_TRUE(isFree);
}

// Over tables of its own, which it must take from the heap.
TEST(FileSystem, MountsNothingWithoutMemory) {
    IO::Location const place("Q:\\m");
    FreshFileSystem fresh;
    Tests::LogCapture log;
    DiskFixedVFS fixed;
    DiskRollingVFS rolling(place);
    for (MuErrCode const expected : {IO::ErrMemoryFull, IO::NoError}) {
        Tests::Shortage const shortage(expected == IO::NoError ? 0 : 1);
        EXPECT_EQ(fresh->Mount(fixed, place), expected);
        EXPECT_EQ(fresh->Mount(rolling), expected);
        EXPECT_EQ(fixed.mountCount, expected == IO::NoError);
        EXPECT_EQ(fresh->IsMountPoint(place), expected == IO::NoError);
    }
    EXPECT_TRUE(log.Contains("\" has failed: memory is full (OS errors: "));
    EXPECT_TRUE(log.Contains("Mounting rolling virtual file system has failed: memory is full (OS "
                             "errors: "));
}

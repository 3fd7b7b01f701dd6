#include <Kestrel/FileSystem/FileSystem.h>

#include <Kestrel/FileSystem/Internal/Start.h>
#include <Kestrel/FileSystem/Internal/WinFileSystem.h>
#include <Kestrel/Root/Lock.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/FileSystem/MemoryFS.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/TempFolder.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <thread>
#include <vector>

namespace {

using Tests::MemoryFixedVFS;
using Tests::MemoryRollingVFS;

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
std::string ContentAt(IO::Location location) {
    IO::FileEntry * entry = nullptr;
    MuErrCode const status = IO::fileSystem.Connect(&location, &entry);
    if (status == IO::ErrFSFileNotFound)
        return "not found";
    if (status != IO::NoError)
        return "status " + std::to_string(status);
    char text[64];
    unsigned int read = 0;
    EXPECT_EQ(entry->Open(IO::FileEntry::OpenMode::Read), IO::FileEntry::OpenStatus::Done);
    (void)entry->Read(text, sizeof text, &read);
    (void)entry->Close();
    IO::fileSystem.Disconnect(entry);
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

} // namespace

namespace {

/// Mounts and unmounts itself and others, as a seed wants it, whenever it is asked.
class Restless : public MemoryRollingVFS {
public:
    explicit Restless(std::mt19937 & random) : MemoryRollingVFS(IO::Location()), random(random) {}
    bool Serves(IO::Location const &) override {
        EXPECT_TRUE(isMounted);
        ++asked;
        for (unsigned int i = random() % 4; i != 0; --i)
            (*all)[random() % all->size()]->Change();
        return false;
    }
    void Change() {
        hasChanged = true;
        EXPECT_EQ(isMounted ? IO::fileSystem.Unmount(*this) : IO::fileSystem.Mount(*this),
                  IO::NoError);
        isMounted = !isMounted;
    }

    std::mt19937 & random;
    std::vector<std::unique_ptr<Restless>> * all = nullptr;
    bool isMounted = false;
    bool hasChanged = false;
    int asked = 0;
};

/// The same while fixed systems are enumerated.
struct Points {
    std::mt19937 random;
    MemoryFixedVFS systems[6];
    bool isMounted[6] = {};
    bool hasChanged[6] = {};
    int seen[6] = {};

    static IO::Location At(unsigned int i) {
        return IO::Location(IO::Location("Q:\\restless"), IO::Name(std::to_string(i).c_str()));
    }
    void Change(unsigned int i) {
        hasChanged[i] = true;
        EXPECT_EQ(isMounted[i] ? IO::fileSystem.Unmount(systems[i])
                               : IO::fileSystem.Mount(systems[i], At(i)),
                  IO::NoError);
        isMounted[i] = !isMounted[i];
    }
    static bool Found(IO::Location const & place, void * data) {
        Points & self = *static_cast<Points *>(data);
        for (unsigned int i = 0; i < 6; ++i)
            self.seen[i] += place == At(i);
        for (unsigned int i = self.random() % 4; i != 0; --i)
            self.Change(self.random() % 6);
        return true;
    }
};

} // namespace

TEST(FileSystem, AsksEachSystemOnceWhileSystemsComeAndGo) {
    for (unsigned int seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        std::vector<std::unique_ptr<Restless>> all;
        for (int i = 0; i < 6; ++i) {
            all.push_back(std::make_unique<Restless>(random));
            all.back()->all = &all;
            if (random() % 4 != 0)
                all.back()->Change();
            all.back()->hasChanged = false;
        }
        EXPECT_EQ(ContentAt(IO::Location("Q:\\nowhere")), "not found");
        for (auto const & system : all) {
            EXPECT_TRUE(system->hasChanged || system->asked == (system->isMounted ? 1 : 0));
            if (system->isMounted)
                system->Change();
        }
        Points points;
        points.random.seed(seed);
        for (unsigned int i = 0; i < 6; ++i)
            points.Change(i);
        std::fill_n(points.hasChanged, 6, false);
        EXPECT_EQ(IO::fileSystem.EnumerateVirtualMountPoints(Points::Found, &points), IO::NoError);
        for (unsigned int i = 0; i < 6; ++i) {
            EXPECT_TRUE(points.hasChanged[i] || points.seen[i] == 1);
            if (points.isMounted[i])
                points.Change(i);
        }
    }
}

TEST(FileSystem, LetsTheDeepestFixedMountServe) {
    IO::Location const outer("Q:\\a"), inner("Q:\\a\\b");
    for (bool const innerFirst : {false, true}) {
        MemoryFixedVFS a, b;
        a.tree.AddFile("b/c", "outer");
        a.tree.AddFile("x", "outer x");
        b.tree.AddFile("c", "inner");
        EXPECT_EQ(innerFirst ? IO::fileSystem.Mount(b, inner) : IO::fileSystem.Mount(a, outer),
                  IO::NoError);
        EXPECT_EQ(innerFirst ? IO::fileSystem.Mount(a, outer) : IO::fileSystem.Mount(b, inner),
                  IO::NoError);
        MountGuard const guardA(a), guardB(b);
        EXPECT_EQ(ContentAt(IO::Location("Q:\\a\\b\\c")), "inner");
        EXPECT_EQ(ContentAt(IO::Location("Q:\\A\\B\\C")), "inner") << "names overlook the case";
        EXPECT_EQ(ContentAt(IO::Location("Q:\\a\\x")), "outer x");
        EXPECT_EQ(ContentAt(IO::Location("Q:\\a\\y")), "not found");
        EXPECT_EQ(ContentAt(IO::Location("Q:\\ab")), "not found");
        EXPECT_EQ(a.tree.CountConnected() + b.tree.CountConnected(), 0);
    }
}

TEST(FileSystem, LetsTheDiskServeWhatItHas) {
    Tests::TempFolder folder;
    folder.Write("both", "disk");
    MemoryFixedVFS system;
    system.tree.AddFile("both", "memory");
    system.tree.AddFile("only", "memory");
    IO::Location const place(Mu::UniString(folder.GetPortable()));
    ASSERT_EQ(IO::fileSystem.Mount(system, place), IO::NoError);
    MountGuard const guard(system);
    EXPECT_EQ(ContentAt(At(folder, "both")), "disk");
    EXPECT_EQ(ContentAt(At(folder, "only")), "memory");
}

// A file and a folder of one name go to the one who has what is asked for.
TEST(FileSystem, AsksTheMountsWhenTheDiskHasTheOtherKind) {
    Tests::TempFolder folder;
    folder.Write("entry", "disk");
    MemoryFixedVFS system;
    system.tree.AddFolder("entry");
    ASSERT_EQ(IO::fileSystem.Mount(system, IO::Location(Mu::UniString(folder.GetPortable()))),
              IO::NoError);
    MountGuard const guard(system);
    IO::Location location = At(folder, "entry");
    IO::FolderEntry * entry = nullptr;
    ASSERT_EQ(IO::fileSystem.Connect(&location, &entry), IO::NoError);
    EXPECT_EQ(entry->GetOwnerFileSystem(), &system);
    IO::fileSystem.Disconnect(entry);
    EXPECT_EQ(system.tree.CountConnected(), 0);
}

TEST(FileSystem, ServesWhatJustOneRollingSystemClaims) {
    IO::Location const wide("Q:\\r"), narrow("Q:\\r\\s");
    MemoryRollingVFS first(wide), second(narrow);
    first.tree.AddFile("x", "first");
    first.tree.AddFile("s/y", "first");
    second.tree.AddFile("y", "second");
    ASSERT_EQ(IO::fileSystem.Mount(first), IO::NoError);
    MountGuard const guardFirst(first);
    EXPECT_EQ(ContentAt(IO::Location("Q:\\r\\s\\y")), "first");
    {
        ASSERT_EQ(IO::fileSystem.Mount(second), IO::NoError);
        MountGuard const guardSecond(second);
        EXPECT_EQ(ContentAt(IO::Location("Q:\\r\\x")), "first");
        EXPECT_EQ(ContentAt(IO::Location("Q:\\r\\s\\y")), "not found") << "two claim it";

        MemoryFixedVFS fixed;
        fixed.tree.AddFile("y", "fixed");
        ASSERT_EQ(IO::fileSystem.Mount(fixed, narrow), IO::NoError);
        MountGuard const guardFixed(fixed);
        int const before = first.questions;
        EXPECT_EQ(ContentAt(IO::Location("Q:\\r\\s\\y")), "fixed");
        EXPECT_EQ(first.questions, before) << "a fixed mount is not up for claims";
    }
    EXPECT_EQ(ContentAt(IO::Location("Q:\\r\\s\\y")), "first");
}

// Between file systems no look at a folder tells whether it is another's; where they lie does.
TEST(FileSystem, CopiesNoFolderIntoAnotherSystemInIt) {
    Tests::TempFolder folder;
    MemoryFixedVFS outer, inner;
    IO::fileSystem.Mount(outer, At(folder, "outer"));
    MountGuard const outerGuard(outer);
    outer.tree.AddFile("tree/sub/hidden", "h");
    IO::fileSystem.Mount(inner, At(folder, "outer\\tree\\sub"));
    MountGuard const innerGuard(inner);
    std::filesystem::create_directory(folder / "disk");
    MemoryFixedVFS onDisk;
    IO::fileSystem.Mount(onDisk, At(folder, "disk\\mounted"));
    MountGuard const diskGuard(onDisk);
    EXPECT_EQ(IO::fileSystem.Copy(At(folder, "outer\\tree"), At(folder, "outer\\tree\\sub\\copy")),
              IO::Error);
    EXPECT_TRUE(inner.tree.GetRoot().children.empty());
    EXPECT_EQ(IO::fileSystem.Copy(At(folder, "disk"), At(folder, "disk\\mounted\\copy")),
              IO::Error);
    EXPECT_TRUE(onDisk.tree.GetRoot().children.empty());
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
    IO::AskNativeForNames(!IO::GetPlatformFileCalls().ComparesByUnits());
}

TEST(FileSystem, ReportsMountingOfFixedSystems) {
    Tests::LogCapture log;
    MemoryFixedVFS a, b;
    IO::Location const place("Q:\\m");
    EXPECT_EQ(IO::fileSystem.Mount(a, place), IO::NoError);
    EXPECT_EQ(TakeLog(log), "INFO Mounting fixed virtual file system at mount point \"Q:\\m\"");
    EXPECT_EQ(a.mountCount, 1);
    EXPECT_TRUE(IO::fileSystem.IsMountPoint(IO::Location("q:\\M")));
    EXPECT_FALSE(IO::fileSystem.IsMountPoint(IO::Location("Q:\\m\\n")));

    EXPECT_EQ(IO::fileSystem.Mount(a, IO::Location("Q:\\other")), IO::ErrFSAlreadyMounted);
    EXPECT_EQ(TakeLog(log), "ERROR Mounting fixed virtual file system at mount point \"Q:\\other\" "
                            "has failed: it is already mounted (OS errors: )");
    EXPECT_EQ(IO::fileSystem.Mount(b, place), IO::ErrFSMountPointExists);
    EXPECT_EQ(TakeLog(log), "ERROR Mounting fixed virtual file system at mount point \"Q:\\m\" "
                            "has failed: mount point already exists (OS errors: )");
    EXPECT_EQ(b.mountCount, 0);

    EXPECT_EQ(IO::fileSystem.Unmount(a), IO::NoError);
    EXPECT_EQ(TakeLog(log), "INFO Unmounting fixed virtual file system \"Q:\\m\"");
    EXPECT_EQ(a.mountCount, 0);
    EXPECT_EQ(IO::fileSystem.Unmount(a), IO::ErrFSNotMounted);
    EXPECT_EQ(TakeLog(log),
              "ERROR Unmounting fixed virtual file system has failed: it was not found");

    IO::Location const unhealthy("C:\\a\\\\b");
    log.Clear();
    EXPECT_EQ(IO::fileSystem.Mount(a, unhealthy), IO::Error);
    EXPECT_EQ(TakeLog(log), "");
}

TEST(FileSystem, ReportsMountingOfRollingSystems) {
    Tests::LogCapture log;
    MemoryRollingVFS system{IO::Location("Q:\\r")};
    EXPECT_EQ(IO::fileSystem.Mount(system), IO::NoError);
    EXPECT_EQ(TakeLog(log), "INFO Mounting rolling virtual file system");
    EXPECT_EQ(IO::fileSystem.Mount(system), IO::ErrFSAlreadyMounted);
    EXPECT_EQ(TakeLog(log), "ERROR Mounting rolling virtual file system has failed: it is already "
                            "mounted (OS errors: )");
    EXPECT_EQ(IO::fileSystem.Unmount(system), IO::NoError);
    EXPECT_EQ(TakeLog(log), "INFO Unmounting rolling virtual file system");
    EXPECT_EQ(IO::fileSystem.Unmount(system), IO::ErrFSNotMounted);
    EXPECT_EQ(TakeLog(log),
              "ERROR Unmounting rolling virtual file system has failed: it was not found");
}

TEST(FileSystem, EnumeratesTheComputerItsDrivesAndTheMounts) {
    MemoryFixedVFS a, b;
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
    EXPECT_NE(std::find(places.begin(), places.end(), "C:"), places.end());
    EXPECT_EQ(places[places.size() - 2], "Q:\\z") << "in the order of mounting";
    EXPECT_EQ(places.back(), "Q:\\y");

    places.clear();
    EXPECT_EQ(IO::fileSystem.EnumerateVirtualMountPoints(Collect, &places), IO::NoError);
    EXPECT_EQ(places, (std::vector<std::string>{"Q:\\z", "Q:\\y"}));

    int calls = 0;
    log.Clear();
    EXPECT_EQ(IO::fileSystem.EnumerateMountPoints(Stop, &calls), IO::NoError);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(TakeLog(log), "TRACE Enumerating mount points (succeeded with break)");
    EXPECT_EQ(IO::fileSystem.EnumerateVirtualMountPoints(Stop, &calls), IO::NoError);
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(IO::fileSystem.EnumerateMountPoints(nullptr, nullptr), IO::Error);
    EXPECT_EQ(IO::fileSystem.EnumerateVirtualMountPoints(nullptr, nullptr), IO::Error);
}

TEST(FileSystem, DoesNotHoldItsLockWhileAnEntryWorks) {
    class Looker final : public IO::EntryEnumerator {
    public:
        bool EntryFound(IO::Name const &, bool) override {
            std::thread([this] {
                isFree = IO::GetFileSystemLock().TryEnter();
                if (isFree)
                    IO::GetFileSystemLock().Leave();
            }).join();
            return false;
        }
        bool isFree = false;
    };
    Tests::TempFolder folder;
    folder.Write("file", "");
    IO::Location location(Mu::UniString(folder.GetPortable()));
    IO::FolderEntry * entry = nullptr;
    ASSERT_EQ(IO::fileSystem.Connect(&location, &entry), IO::NoError);
    Looker looker;
    EXPECT_EQ(entry->Enumerate(looker), IO::FolderEntry::EnumerateStatus::Stopped);
    EXPECT_TRUE(looker.isFree);
    IO::fileSystem.Disconnect(entry);
}

// Each thread mounts, connects and unmounts in a place of its own, and reads the disk meanwhile.
TEST(FileSystem, ServesManyThreadsAtOnce) {
    Tests::TempFolder folder;
    folder.Write("file", "disk");
    IO::Location const onDisk = At(folder, "file");
    auto const work = [&](int number) {
        IO::Location const place(U("Q:\\thread" + std::to_string(number)));
        for (int round = 0; round < 40; ++round) {
            MemoryFixedVFS system;
            system.tree.AddFile("f", std::to_string(number));
            EXPECT_EQ(IO::fileSystem.Mount(system, place), IO::NoError);
            EXPECT_EQ(ContentAt(IO::Location(place, IO::Name("f"))), std::to_string(number));
            EXPECT_EQ(ContentAt(onDisk), "disk");
            EXPECT_EQ(IO::fileSystem.Unmount(system), IO::NoError);
            EXPECT_EQ(ContentAt(IO::Location(place, IO::Name("f"))), "not found");
        }
    };
    work(0);
    std::vector<std::thread> threads;
    for (int i = 1; i <= 4; ++i)
        threads.emplace_back(work, i);
    for (std::thread & thread : threads)
        thread.join();
}

TEST(FileSystem, MountsManySystemsAndKeepsTheirOrder) {
    std::vector<std::unique_ptr<MemoryFixedVFS>> systems;
    for (int i = 0; i < 230; ++i) {
        systems.push_back(std::make_unique<MemoryFixedVFS>());
        systems.back()->tree.AddFile("f", std::to_string(i));
        ASSERT_EQ(
            IO::fileSystem.Mount(*systems.back(), IO::Location(U("Q:\\many" + std::to_string(i)))),
            IO::NoError);
    }
    EXPECT_EQ(IO::fileSystem.Unmount(*systems[7]), IO::NoError);
    std::vector<std::string> places;
    EXPECT_EQ(IO::fileSystem.EnumerateVirtualMountPoints(Collect, &places), IO::NoError);
    ASSERT_EQ(places.size(), 229u);
    EXPECT_EQ(places[6], "Q:\\many6");
    EXPECT_EQ(places[7], "Q:\\many8");
    EXPECT_EQ(ContentAt(IO::Location("Q:\\many200\\f")), "200");
    EXPECT_EQ(ContentAt(IO::Location("Q:\\many7\\f")), "not found");
    for (int i = 0; i < 230; ++i)
        EXPECT_EQ(IO::fileSystem.Unmount(*systems[i]), i == 7 ? IO::ErrFSNotMounted : IO::NoError);
}

TEST(FileSystem, GrowsItsTablesFromAHundredByDoubling) {
    FreshFileSystem fresh;
    std::vector<std::unique_ptr<MemoryRollingVFS>> systems;
    IO::Location const place("Q:\\r");
    for (unsigned int i = 1; i <= 401; ++i) {
        systems.push_back(std::make_unique<MemoryRollingVFS>(place));
        unsigned long long const before = Tests::CountAllocations();
        ASSERT_EQ(fresh->Mount(*systems.back()), IO::NoError);
        bool const grows = i == 1 || i == 101 || i == 201 || i == 401;
        EXPECT_EQ(Tests::CountAllocations() - before, grows ? 1u : 0u) << i;
    }
}

// Over a table of its own, which each round must take from the heap.
TEST(FileSystem, MeetsEveryFailedAllocationOfAMount) {
    IO::Location const place("Q:\\m");
    SweepAllocations([&](bool failed) {
        FreshFileSystem fresh;
        Tests::LogCapture log;
        MemoryFixedVFS fixed;
        MemoryRollingVFS rolling(place);
        MuErrCode const status = fresh->Mount(fixed, place);
        EXPECT_EQ(fixed.mountCount, status == IO::NoError ? 1 : 0);
        EXPECT_EQ(fresh->IsMountPoint(place), status == IO::NoError);
        if (status != IO::NoError) {
            EXPECT_TRUE(failed);
            EXPECT_EQ(status, IO::ErrMemoryFull);
            EXPECT_TRUE(log.Contains("\" has failed: memory is full (OS errors: "));
        }
        MuErrCode const rollingStatus = fresh->Mount(rolling);
        if (rollingStatus != IO::NoError) {
            EXPECT_TRUE(failed);
            EXPECT_EQ(rollingStatus, IO::ErrMemoryFull);
            EXPECT_TRUE(log.Contains("Mounting rolling virtual file system has failed: memory is "
                                     "full (OS errors: "));
        }
    });
}

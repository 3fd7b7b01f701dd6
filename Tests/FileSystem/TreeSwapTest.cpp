// What works on a whole tree stays in it, whatever somebody else puts in the place of its folders.

#include <Kestrel/FileSystem/Folder.h>

#include "Tests/Support/DiskContent.h"
#include "Tests/Support/FileSystem/DiskVFS.h"
#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/TempFolder.h"
#include "Tests/Support/Text.h"

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/TreeEnumerator.h>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

constexpr char secret[] = "not of the tree";

/// A tree, and beside it a folder whose entries have the names of those in the tree. A file system is
/// mounted in the folder of both.
class Ground {
public:
    Ground() { EXPECT_EQ(IO::fileSystem.Mount(mounted, GetLocation("mounted")), IO::NoError); }
    ~Ground() { IO::fileSystem.Unmount(mounted); }

    void Set() {
        fs::remove_all(disk.GetPath() / "base");
        for (char const * folder :
             {"base/tree/sub/deep", "base/outside/sub/deep", "base/outside/made/deep"}) {
            fs::create_directories(disk / folder);
            for (fs::path place = disk / folder; place.filename() != "base";
                 place = place.parent_path())
                disk.Write((place / "file").lexically_relative(disk.GetPath()).string(),
                           IsOutside(place) ? secret : "of the tree");
        }
        for (auto const & entry : fs::directory_iterator(mounted.GetDisk().GetPath()))
            fs::remove_all(entry);
        mounted.AddFile("source/file", "of the tree");
        mounted.AddFile("source/deep/file", "of the tree");
    }

    // A folder goes aside, and a link to its twin outside takes its place.
    void Swap(std::string const & name) const {
        fs::path const place = disk / ("base/tree" + name);
        std::error_code ignored; // it may be gone
        fs::rename(place, disk / "base/aside", ignored);
        if (!ignored)
            fs::create_directory_symlink(disk / ("base/outside" + name), place, ignored);
    }

    void ExpectNothingLeftOrLeaked() {
        unsigned int kept = 0;
        for (auto const & entry : fs::recursive_directory_iterator(disk / "base"))
            if (entry.is_regular_file() && !entry.is_symlink()) {
                bool const isSecret =
                    disk.Read(entry.path().lexically_relative(disk.GetPath()).string()) == secret;
                kept += isSecret;
                EXPECT_EQ(isSecret, IsOutside(entry.path())) << entry.path();
            }
        EXPECT_EQ(kept, 5u);
        EXPECT_FALSE(Tests::HasFileWith(Tests::LookAt(mounted.GetDisk()), secret));
    }

    IO::Folder GetBase() const { return IO::Folder(GetLocation("base")); }
    IO::Folder GetMounted() const { return IO::Folder(GetLocation("mounted")); }

    Tests::TempFolder disk;
    Tests::DiskFixedVFS mounted;

private:
    IO::Location GetLocation(char const * name) const {
        return IO::Location(disk.GetPortable(name).c_str());
    }
    static bool IsOutside(fs::path const & path) {
        return path.string().find("outside") != std::string::npos;
    }
};

/// Collects what a walk that follows no link finds.
class Walk : public IO::TreeEnumerator {
public:
    using TreeEnumerator::TreeEnumerator;
    bool LinkFound(IO::Name const &) override { return false; }
    bool FileFound(IO::Name const & name) override {
        IO::Location place;
        (void)GetParent()->GetLocation(&place);
        found += ToUtf8(name);
        return true;
    }
    std::string found;
};

constexpr auto protect = IO::DataSafety::KeepProtected;
constexpr auto fail = IO::AccessDeniedTreatment::Fail;

struct Work {
    char const * name;
    char const * folders[3]; // those that are swapped
    void (*run)(IO::Folder & base, IO::Folder & mounted);
};

Work const works[] = {
    {"Delete",
     {"", "/sub", "/sub/deep"},
     [](IO::Folder & base, IO::Folder &) { (void)base.Delete("tree", protect, fail); }},
    {"DeleteAll",
     {"", "/sub", "/sub/deep"},
     [](IO::Folder & base, IO::Folder &) {
         (void)IO::Folder(base, "tree").DeleteAll(protect, fail);
     }},
    {"Copy",
     {"", "/sub", "/sub/deep"},
     [](IO::Folder & base, IO::Folder &) { (void)base.Copy("tree", "copy"); }},
    {"Move",
     {"", "/sub", "/sub/deep"},
     [](IO::Folder & base, IO::Folder &) { (void)base.Move("tree", base, "moved", protect); }},
    {"Copy away",
     {"", "/sub", "/sub/deep"},
     [](IO::Folder & base, IO::Folder & mounted) { (void)base.Copy("tree", mounted, "copy"); }},
    {"Move away",
     {"", "/sub", "/sub/deep"},
     [](IO::Folder & base, IO::Folder & mounted) {
         (void)base.Move("tree", mounted, "moved", protect);
     }},
    {"Copy here",
     {"", "/made", "/made/deep"},
     [](IO::Folder & base, IO::Folder & mounted) {
         IO::Folder tree(base, "tree");
         (void)mounted.Copy("source", tree, "made");
     }},
    {"Move here",
     {"", "/made", "/made/deep"},
     [](IO::Folder & base, IO::Folder & mounted) {
         IO::Folder tree(base, "tree");
         (void)mounted.Move("source", tree, "made", protect);
     }},
};

/// Moves nothing by its name, as if every folder were a device of its own.
class Devices : public IO::ForwardingFileCalls {
public:
    Devices() : ForwardingFileCalls(IO::SetFileCalls(this)) {}
    ~Devices() override { IO::SetFileCalls(&GetBelow()); }
    unsigned int MoveFile(IO::PathText, IO::PathText) override {
        return IO::FileError::NotSameDevice;
    }
};

bool CanLink(Ground const & ground) {
    std::error_code error;
    fs::create_directory_symlink(ground.disk.GetPath(), ground.disk / "link", error);
    return !error;
}

} // namespace

TEST(TreeSwap, LeadsNothingAstrayAtAnyCall) {
    Ground ground;
    if (!CanLink(ground))
        GTEST_SKIP() << "no links can be made here";
    Devices const devices;
    for (Work const & work : works)
        for (char const * folder : work.folders) {
            // A folder that the work is given is found by its path before it is held.
            bool const isOwn =
                folder[0] == 0 &&
                std::string("DeleteAll, Copy here, Move here").find(work.name) != std::string::npos;
            bool isMet = true;
            for (unsigned int n = isOwn ? 6 : 1; isMet && !testing::Test::HasFailure(); ++n) {
                SCOPED_TRACE(std::string(work.name) + " " + folder + " " + std::to_string(n));
                ground.Set();
                isMet = false;
                IO::Folder base = ground.GetBase();
                IO::Folder mounted = ground.GetMounted();
                Tests::ScriptedFileCalls calls;
                calls.Before(n, [&] {
                    isMet = true;
                    ground.Swap(folder);
                });
                work.run(base, mounted);
                ground.ExpectNothingLeftOrLeaked();
            }
        }
}

TEST(TreeSwap, LeadsNoWalkAstray) {
    Ground ground;
    if (!CanLink(ground))
        GTEST_SKIP() << "no links can be made here";
    for (char const * folder : {"/sub", "/sub/deep"}) {
        bool isMet = true;
        for (unsigned int n = 1; isMet && !testing::Test::HasFailure(); ++n) {
            SCOPED_TRACE(std::string(folder) + " " + std::to_string(n));
            ground.Set();
            ground.disk.Write("base/outside/sub/secret", secret);
            ground.disk.Write("base/outside/sub/deep/secret", secret);
            isMet = false;
            IO::Folder const tree(ground.GetBase(), "tree");
            Walk walk(tree);
            Tests::ScriptedFileCalls calls;
            calls.Before(n, [&] {
                isMet = true;
                ground.Swap(folder);
            });
            (void)walk.Do();
            EXPECT_EQ(walk.found.find("secret"), std::string::npos) << walk.found;
        }
    }
}

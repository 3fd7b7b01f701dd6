#include <Kestrel/FileSystem/NativePath.h>
#include <Kestrel/FileSystem/TreeEnumerator.h>

#include "Tests/Support/FileSystem/Place.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <set>

using IO::Folder;
using IO::Name;

namespace {

namespace fs = std::filesystem;

using Entries = std::set<std::string>;

/// All that a walk meets below the folder, as native paths with the lengths of plain files.
class Lister : public IO::TreeEnumerator {
public:
    using TreeEnumerator::TreeEnumerator;
    bool EntryFound(Name const & name, bool isFolder) override {
        if (isFolder)
            Add(name, "");
        return true;
    }
    bool FileFound(Name const & name) override {
        unsigned long long length = 0;
        IO::File const file(*GetParent(), name);
        Add(name, file.GetDataLength(&length) == IO::NoError ? std::to_string(length) : "?");
        size += length;
        return true;
    }
    bool LinkFound(Name const & name) override {
        Add(name, "link");
        return false;
    }

    Entries found;
    unsigned long long size = 0;

private:
    void Add(Name const & name, std::string const & what) {
        IO::Location location;
        EXPECT_EQ(GetParent()->GetLocation(&location), IO::NoError);
        found.insert(IO::ToNativePath(IO::Location(location, name)).native() + " " + what);
    }
};

std::string RunShell(std::string const & command) {
    std::string output;
    std::FILE * const pipe = ::popen(command.c_str(), "r");
    char part[65536];
    for (std::size_t got; pipe != nullptr && (got = std::fread(part, 1, sizeof part, pipe)) != 0;)
        output.append(part, got);
    EXPECT_EQ(::pclose(pipe), 0) << command;
    return output;
}

Entries ListBySystem(fs::path const & top) {
    std::string const output =
        RunShell("find '" + top.string() +
                 "' -mindepth 1 \\( -type d -printf '%p \\0' \\) -o "
                 "\\( -type l -printf '%p link\\0' \\) -o -printf '%p %s\\0'");
    Entries found;
    for (std::size_t begin = 0; begin < output.size(); begin = output.find('\0', begin) + 1)
        found.insert(output.c_str() + begin);
    return found;
}

/// What `du` counts there, without the folders and links themselves.
unsigned long long SumBySystem(fs::path const & top) {
    std::string const place = "'" + top.string() + "'";
    return std::stoull(RunShell("du -slB1 --apparent-size " + place)) -
           std::stoull(RunShell("find " + place +
                                " \\( -type d -o -type l \\) -printf '%s\\n' | "
                                "awk '{ sum += $1 } END { printf \"%d\", sum }'"));
}

} // namespace

// The folders of this machine, against what its own tools find, and copies of those that are not
// large. By itself a part of "/usr", drawn; KESTREL_WHOLE_SYSTEM in the environment has all of it.
TEST(WholeSystem, IsWalkedWithNothingLeftOut) {
    std::vector<fs::path> tops;
    for (auto const & entry : fs::directory_iterator("/usr/share"))
        if (entry.is_directory() && !entry.is_symlink())
            tops.push_back(entry.path());
    unsigned int const seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    std::shuffle(tops.begin(), tops.end(), random);
    tops.resize(std::min<std::size_t>(tops.size(), 10));
    tops.insert(tops.end(), {"/etc", "/proc/self/net", "/proc/sys/kernel"});
    if (std::getenv("KESTREL_WHOLE_SYSTEM") != nullptr)
        tops = {"/etc", "/usr", "/var", "/proc/sys"};
    for (fs::path const & top : tops) {
        Entries const before = ListBySystem(top);
        Folder const folder{IO::Location(top)};
        Lister lister(folder);
        MuErrCode const status = lister.Do();
        if (ListBySystem(top) != before)
            continue; // somebody is at work there
        EXPECT_EQ(status, IO::NoError) << top;
        Entries missing;
        std::set_symmetric_difference(before.begin(), before.end(), lister.found.begin(),
                                      lister.found.end(), std::inserter(missing, missing.end()));
        EXPECT_EQ(missing, Entries()) << top;
        if (top.string().rfind("/proc", 0) == 0)
            continue;
        EXPECT_EQ(lister.size, SumBySystem(top)) << top;
        if (lister.size > 30000000 || top.string().rfind("/usr", 0) != 0)
            continue; // what all users may read
        Tests::Place const place(false);
        Folder target(place.GetRoot());
        Name name;
        EXPECT_EQ(IO::Location(top).GetLastLocalName(&name), IO::NoError);
        EXPECT_EQ(Folder(IO::Location(top.parent_path())).Copy(name, target, "copy"), IO::NoError)
            << top;
        std::string const copy = (place.GetPath() / "copy").string();
        EXPECT_EQ(RunShell("diff -r --no-dereference '" + top.string() + "' '" + copy + "'"), "");
    }
}

// A process that ends while "/proc" is walked.
TEST(WholeSystem, PassesOverAFolderThatWent) {
    struct Deleter : IO::TreeEnumerator {
        Deleter(Folder const & folder, fs::path const & path)
            : TreeEnumerator(folder), path(path) {}
        bool FolderFound(Name const &) override { return fs::remove(path); }
        void FolderExited(Name const &, Folder const &) override { ++exited; }
        fs::path path;
        int exited = 0;
    };
    Tests::Place const place(false);
    Folder const root(place.GetRoot());
    Deleter walk(root, place.GetPath() / "folder");
    fs::create_directory(walk.path);
    EXPECT_EQ(walk.Do(), IO::NoError);
    EXPECT_EQ(walk.exited, 1);
}

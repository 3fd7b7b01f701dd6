#include <Kestrel/FileSystem/NativePath.h>
#include <Kestrel/FileSystem/TransferScope.h>
#include <Kestrel/FileSystem/TreeEnumerator.h>

#include "Tests/Support/FileSystem/Place.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <strings.h>
#include <unistd.h>

using IO::Folder;
using IO::Name;

namespace {

namespace fs = std::filesystem;

/// The entries below a folder by their native paths: the lengths of files, "link", or "".
using Entries = std::map<std::string, std::string>;

/// All that a walk reports, its lengths, and the disk space that it takes.
class Lister : public IO::TreeEnumerator {
public:
    explicit Lister(Folder const & folder) : TreeEnumerator(folder) {
        IO::DiskUse own;
        EXPECT_EQ(folder.GetDiskUse(&own), IO::NoError);
        diskUse = own.bytes;
    }
    bool EntryFound(Name const & name, bool isFolder) override {
        IO::DiskUse use;
        if (GetParent()->GetDiskUse(name, &use) == IO::NoError &&
            (isFolder || use.names < 2 || counted.insert({use.volume, use.id}).second))
            diskUse += use.bytes;
        if (isFolder)
            Add(name, "");
        return true;
    }
    bool FileFound(Name const & name) override {
        unsigned long long length = 0;
        bool const isKnown = GetParent()->GetFoundFile(name, &length, nullptr) ||
                             IO::File(*GetParent(), name).GetDataLength(&length) == IO::NoError;
        Add(name, isKnown ? std::to_string(length) : "?");
        size += length;
        return true;
    }
    bool LinkFound(Name const & name) override {
        Add(name, "link");
        return false;
    }

    Entries found;
    unsigned long long size = 0;
    unsigned long long diskUse = 0;

private:
    void Add(Name const & name, std::string const & what) {
        IO::Location location;
        EXPECT_EQ(GetParent()->GetLocation(&location), IO::NoError);
        found[IO::ToNativePath(IO::Location(location, name)).native()] = what;
    }

    std::set<std::pair<unsigned long long, unsigned long long>> counted; // hard links
};

/// The entries that a walk or a copy leaves out, each of each of which must be reported and indeed unusable.
class LeftOut : public IO::TransferObserver {
public:
    bool Advanced(IO::TransferProgress const &) override { return true; }
    bool Failed(Mu::UniString const & place, MuErrCode status, char const * causes) override {
        fs::path const path = IO::ToNativePath(place);
        EXPECT_NE(status, IO::NoError) << path;
        EXPECT_FALSE(IsUsable(path)) << path << causes;
        paths.insert(path.native());
        return true;
    }
    bool Holds(fs::path const & path) const {
        for (fs::path at = path; at.has_relative_path(); at = at.parent_path())
            if (paths.count(at.native()) != 0)
                return true;
        return false;
    }

private:
    static bool IsUsable(fs::path const & path) {
        std::error_code error;
        fs::file_status const status = fs::symlink_status(path, error);
        for (auto const & other : fs::directory_iterator(path.parent_path(), error))
            if (other.path() != path &&
                ::strcasecmp(other.path().filename().c_str(), path.filename().c_str()) == 0)
                return false; // the copy can hold only one of the two spellings
        if (fs::is_directory(status))
            return fs::directory_iterator(path, error), !error;
        if (!fs::is_regular_file(status) && !fs::is_symlink(status))
            return false;
        if (fs::is_symlink(status))
            return true;
        std::FILE * const file = std::fopen(path.c_str(), "rb");
        char part[65536];
        while (file != nullptr && std::fread(part, 1, sizeof part, file) != 0) {
        }
        bool const isRead = file != nullptr && std::ferror(file) == 0;
        return file != nullptr && std::fclose(file) == 0 && isRead;
    }

    std::set<std::string> paths;
};

std::string RunShell(std::string const & command) {
    std::string output;
    std::FILE * const pipe = ::popen((command + " 2>/dev/null").c_str(), "r");
    char part[65536];
    for (std::size_t got; pipe != nullptr && (got = std::fread(part, 1, sizeof part, pipe)) != 0;)
        output.append(part, got);
    ::pclose(pipe);
    return output;
}

Entries ListBySystem(fs::path const & top) {
    std::string const output = RunShell("find '" + top.string() +
                                        "' -mindepth 1 \\( -type d -printf '%p\\0\\0' \\) -o "
                                        "\\( -type l -printf '%p\\0link\\0' \\) -o "
                                        "-printf '%p\\0%s\\0'");
    Entries found;
    std::string_view left = output;
    auto const take = [&left] {
        std::string_view const text = left.substr(0, left.find('\0'));
        left.remove_prefix(text.size() + 1);
        return std::string(text);
    };
    while (!left.empty()) {
        std::string const path = take();
        found[path] = take();
    }
    return found;
}

/// Entries that were the same before and after the walk must be so in it, and no others exist.
void Compare(Entries const & before, Entries const & found, Entries const & after) {
    std::string const own = "/proc/" + std::to_string(::getpid()) + "/";
    auto const get = [](Entries const & entries, std::string const & path) {
        auto const at = entries.find(path);
        return at != entries.end() ? at->second : "(none)";
    };
    for (Entries const * const entries : {&before, &found})
        for (auto const & [path, what] : *entries) {
            std::string const expected = get(before, path);
            std::string const actual = get(found, path);
            // Of the links to what a process has open, those without a path are files.
            bool const isAccepted = actual == expected || expected != get(after, path) ||
                                    path.rfind(own, 0) == 0 ||
                                    (path.rfind("/proc/", 0) == 0 && expected == "link" &&
                                     actual != "" && actual != "(none)");
            std::error_code error;
            if (!isAccepted && fs::exists(fs::symlink_status(path, error)))
                ADD_FAILURE() << path << ": " << actual << " for " << expected;
        }
}

bool HaveSameContent(fs::path const & path, fs::path const & copy) {
    if (fs::is_symlink(path))
        return fs::read_symlink(path) == fs::read_symlink(copy);
    std::ifstream files[] = {std::ifstream(path), std::ifstream(copy)};
    static char parts[2][1 << 18];
    do
        for (int i = 0; i < 2; ++i)
            files[i].read(parts[i], sizeof parts[i]);
    while (files[0].gcount() == files[1].gcount() && files[0].gcount() != 0 &&
           std::memcmp(parts[0], parts[1], static_cast<std::size_t>(files[0].gcount())) == 0);
    return files[0].gcount() == 0 && files[1].gcount() == 0;
}

/// Each entry of the folder must be in its copy, or have been reported as left out.
void CheckCopy(fs::path const & top, Entries const & before) {
    Tests::Place const place(false);
    Folder target(place.GetRoot());
    Name name;
    EXPECT_EQ(IO::Location(top).GetLastLocalName(&name), IO::NoError);
    LeftOut leftOut;
    IO::TransferScope const scope(leftOut);
    (void)Folder(IO::Location(top.parent_path())).Copy(name, target, "copy");
    for (auto const & [path, what] : before) {
        fs::path const copy =
            (place.GetPath() / "copy").native() + path.substr(top.native().size());
        if (leftOut.Holds(path) || !fs::exists(fs::symlink_status(path)))
            continue;
        fs::file_type const type = fs::symlink_status(path).type();
        EXPECT_EQ(fs::symlink_status(copy).type(), type) << path;
        bool const isCompared =
            type != fs::file_type::directory && top.native().rfind("/proc", 0) != 0;
        EXPECT_TRUE(!isCompared || HaveSameContent(path, copy)) << path;
    }
}

void AddFolders(fs::path const & folder, std::vector<fs::path> * tops) {
    for (auto const & entry : fs::directory_iterator(folder))
        if (entry.is_directory() && !entry.is_symlink() &&
            entry.path().filename().native().find_first_not_of("0123456789") != std::string::npos)
            tops->push_back(entry.path());
}

} // namespace

// The folders of this machine, against what its own tools find, and copies of them. By itself a
// small part of "/usr", drawn, and KESTREL_WHOLE_SYSTEM in the environment has all: some minutes and
// as much room in the folder for temporary files as the largest folder below "/usr" takes.
TEST(WholeSystem, IsWalkedAndCopiedWithNothingLeftOut) {
    bool const isWhole = std::getenv("KESTREL_WHOLE_SYSTEM") != nullptr;
    std::vector<fs::path> tops;
    AddFolders("/usr/share", &tops);
    unsigned int const seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    std::shuffle(tops.begin(), tops.end(), random);
    tops.resize(std::min<std::size_t>(tops.size(), 10));
    tops.insert(tops.end(), {"/etc", "/proc/self/net", "/proc/sys/kernel"});
    if (isWhole) {
        tops = {"/etc", "/proc"};
        for (char const * const folder : {"/usr", "/var", "/proc"})
            AddFolders(folder, &tops);
    }
    for (fs::path const & top : tops) {
        SCOPED_TRACE(top);
        Entries const before = ListBySystem(top);
        Folder const folder{IO::Location(top)};
        Lister lister(folder);
        {
            LeftOut unread;
            IO::TransferScope const scope(unread);
            (void)lister.Do();
        }
        Entries const after = ListBySystem(top);
        Compare(before, lister.found, after);
        bool const isProc = top.native().rfind("/proc", 0) == 0;
        if (!isProc && before == after) {
            EXPECT_EQ(lister.diskUse, std::stoull(RunShell("du -sB1 '" + top.native() + "'")));
        }
        if (isWhole ? top != "/proc" : !isProc && top != "/etc" && lister.size < 30000000)
            CheckCopy(top, before);
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

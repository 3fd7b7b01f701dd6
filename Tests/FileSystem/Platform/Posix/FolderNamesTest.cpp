#include <Kestrel/FileSystem/Platform/Posix/FolderNames.h>

#include "Tests/Support/TempFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <map>
#include <random>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using namespace IO;
using Tests::TempFolder;

struct stat GetInfo(std::string const & path) {
    struct stat info = {};
    EXPECT_EQ(::stat(path.c_str(), &info), 0);
    return info;
}

std::string FindInFolder(TempFolder const & folder, std::string_view name) {
    std::string const path = folder.GetPath();
    BytePath found;
    std::lock_guard<std::recursive_mutex> const guard(FolderNames::Get().GetLock());
    unsigned int const error =
        FolderNames::Get().FindInFolder(AT_FDCWD, path.c_str(), GetInfo(path), name, &found);
    EXPECT_TRUE(error == FileError::None || error == FileError::FileNotFound) << error;
    return error == FileError::None ? std::string(found.GetText()) : "";
}

bool IsRemembered(TempFolder const & folder) {
    std::lock_guard<std::recursive_mutex> const guard(FolderNames::Get().GetLock());
    return FolderNames::Get().IsCurrent(GetInfo(folder.GetPath()));
}

struct Entry : NativeEntry {
    Entry(TempFolder const & folder, std::string const & name) {
        path.Append((folder / name).string());
        rootLength = 1;
    }
};

// Makes or removes an entry as the file calls do.
bool Make(TempFolder const & folder, std::string const & name) {
    Entry entry(folder, name);
    return MakeEntry(&entry, FileError::FileExists, [](int at, char const * path) {
               int const file = ::openat(at, path, O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
               ::close(file);
               return file >= 0;
           }) == FileError::None;
}

void Remove(TempFolder const & folder, std::string const & name) {
    Entry entry(folder, name);
    FolderChange change(&entry);
    change.Prepare();
    if (::unlink(entry.path.text) == 0)
        change.Removed();
}

std::string ToUpper(std::string text) {
    for (char & c : text)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

} // namespace

TEST(FolderNames, PreferTheNameItselfThenTheFirst) {
    TempFolder folder;
    for (char const * const name : {"abc", "Abc", "aBC"})
        folder.Write(name, "");
    EXPECT_EQ(FindInFolder(folder, "aBC"), "aBC");
    EXPECT_EQ(FindInFolder(folder, "ABC"), "Abc");
    EXPECT_EQ(FindInFolder(folder, std::string(300, 'x')), "");
}

TEST(FolderNames, SeeWhatOthersChange) {
    TempFolder folder;
    EXPECT_TRUE(Make(folder, "mine"));
    EXPECT_TRUE(IsRemembered(folder));
    EXPECT_FALSE(Make(folder, "MINE"));
    struct stat const before = GetInfo(folder.GetPath());
    folder.Write("Theirs", "");
    struct stat const after = GetInfo(folder.GetPath());
    if (before.st_ctim.tv_sec == after.st_ctim.tv_sec &&
        before.st_ctim.tv_nsec == after.st_ctim.tv_nsec)
        GTEST_SKIP() << "this kernel's change times are too coarse to tell two changes apart";
    EXPECT_FALSE(IsRemembered(folder));
    EXPECT_FALSE(Make(folder, "THEIRS"));
    std::filesystem::remove(folder / "Theirs");
    EXPECT_TRUE(Make(folder, "THEIRS"));
}

// What nobody could look into is no folder without the name: a second spelling would be made.
TEST(FolderNames, DoNotTakeTooManyOpenFilesForNoSuchName) {
    TempFolder folder;
    folder.Write("Name", "");
    struct rlimit before;
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    struct rlimit const none = {0, before.rlim_max};
    BytePath path;
    path.Append((folder / "name").string());
    Entry entry(folder, "NAME");
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    unsigned int const found = FolderNames::Get().FindSpelling(&path, 1);
    unsigned int const made =
        MakeEntry(&entry, FileError::FileExists, [](int, char const *) { return true; });
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(found, FileError::TooManyOpenFiles);
    EXPECT_EQ(made, FileError::TooManyOpenFiles);
    namespace fs = std::filesystem;
    fs::permissions(folder.GetPath(), fs::perms::owner_write | fs::perms::owner_exec);
    EXPECT_TRUE(Make(folder, "other")) << "a folder that may not be read has no other spellings";
    EXPECT_EQ(FindInFolder(folder, "NAME"), ::geteuid() == 0 ? "Name" : "");
    fs::permissions(folder.GetPath(), fs::perms::owner_all);
}

// From the root of a drive on: what it lies in is not looked through.
TEST(FolderNames, CorrectEveryNameBehindTheRoot) {
    TempFolder folder;
    std::filesystem::create_directory(folder / "Sub");
    folder.Write("Sub/File", "");
    std::string const root = folder.GetPath(), right = root + "/Sub/File";
    std::string const rest = "/SUB/FILE", wrong = ToUpper(root) + rest;
    unsigned int const length = static_cast<unsigned int>(root.size());
    auto const correct = [](std::string const & text, unsigned int rootLength) {
        BytePath path;
        path.Append(text);
        unsigned int const error = FolderNames::Get().FindSpelling(&path, rootLength);
        return error == FileError::None ? std::string(path.GetText()) : std::to_string(error);
    };
    EXPECT_EQ(correct(root + rest, length), right);
    EXPECT_EQ(correct(wrong, 1), right);
    EXPECT_EQ(correct(wrong, length), std::to_string(FileError::PathNotFound));
}

// Whatever is made and removed, by us or by others, the answers are those of the folder itself.
TEST(FolderNames, AreASetOfSpellings) {
    std::mt19937 random(11);
    for (int round = 0; round < 5; ++round) {
        TempFolder folder;
        std::map<std::string, std::string> model;         // upper case to name
        unsigned int const most = round == 0 ? 4000 : 60; // the first one has to be read anew
        for (int step = 0; step < (round == 0 ? 3500 : 400); ++step) {
            std::string name = "n" + std::to_string(random() % most);
            if (random() % 2 != 0)
                name = ToUpper(name);
            auto const found = model.find(ToUpper(name));
            switch (random() % 3) {
            case 0:
                ASSERT_EQ(Make(folder, name), found == model.end()) << name;
                model.emplace(ToUpper(name), name);
                break;
            case 1:
                if (found != model.end()) {
                    Remove(folder, found->second);
                    model.erase(found);
                }
                break;
            default:
                ASSERT_EQ(FindInFolder(folder, name), found == model.end() ? "" : found->second);
            }
        }
    }
}

// The operations of the front door, of File and of Folder that neither their own tests sweep nor those
// of the tool, while memory or the system's file calls fail: what is told to be done is done, what is
// answered is the truth, and no file is lost.

#include <Kestrel/FileSystem/FileSystem.h>

#include "Tests/Support/DiskContent.h"
#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/FileSystem/DiskVFS.h"
#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/FileSystem/ScriptedVFS.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/TempFolder.h"
#include "Tests/Support/Text.h"

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/FileSystem/NativePath.h>
#include <Kestrel/Location/Internal/OSErrors.h>

#include <gtest/gtest.h>

#include <functional>
#include <optional>

namespace fs = std::filesystem;

using IO::File;
using IO::Folder;
using IO::Location;
using Safety = IO::DataSafety;

namespace {

constexpr auto always = IO::AccessDeniedTreatment::RetryAlways;
constexpr int someTime = 1234567890;

/// Entries on the disk, and the truth that a step tells of them.
class Stage {
public:
    Stage() {
        Folder folder{Location(links.GetPortable().c_str())};
        EXPECT_EQ(folder.CreateLink("link.lnk", *this / "a"), IO::NoError);
    }

    Location operator/(char const * name) const {
        return Location(Location(disk.GetPortable().c_str()), IO::Name(name));
    }
    Location GetRoot() const { return Location(disk.GetPortable().c_str()); }

    void Answer(std::string const & text) const { answer += text + "\n"; }
    void Answer(unsigned long long number) const { Answer(std::to_string(number)); }

    /// Uses nothing of the library, where a fault may wait already.
    void Set() {
        for (auto const & entry : fs::directory_iterator(disk.GetPath())) {
            if (!entry.is_symlink()) // what is protected cannot be removed everywhere
                fs::permissions(entry.path(), fs::perms::owner_write, fs::perm_options::add);
            fs::remove_all(entry.path());
        }
        fs::create_directories(disk / "sub" / "empty");
        disk.Write("a", "the first");
        disk.Write("b", "the second");
        disk.Write("sub/c", "the third");
        fs::copy(links / "link.lnk", disk / "link.lnk", fs::copy_options::copy_symlinks);
        answer.clear();
    }

    Tests::TempFolder disk;
    mutable std::string answer;

private:
    Tests::TempFolder links; // one that Set copies
};

struct Step {
    char const * name;
    std::function<MuErrCode(Stage const &)> run;
    bool deletes = false;
    bool strays = false;  ///< done, but elsewhere: a retry goes on from where the last try ended
    bool guesses = false; ///< of what it cannot look at it tells less, and that is no failure
    bool isSweptWhole = false; ///< with each error number that some table tells apart
};

/// The first failure of several calls.
class All {
public:
    All & operator<<(MuErrCode next) {
        if (status == IO::NoError)
            status = next;
        return *this;
    }
    operator MuErrCode() const { return status; }

private:
    MuErrCode status = IO::NoError;
};

MuErrCode Enumerate(Stage const & stage) {
    auto const note = [](Folder const &, IO::Name const & name, bool isFolder, void * data) {
        static_cast<std::vector<std::string> *>(data)->push_back(ToUtf8(name) +
                                                                 (isFolder ? "/" : ""));
        return true;
    };
    std::vector<std::string> names;
    Folder const folder(stage.GetRoot());
    MuErrCode const status = folder.Enumerate(note, &names);
    std::sort(names.begin(), names.end());
    for (std::string const & name : names)
        stage.Answer(name);
    return status;
}

MuErrCode AppendToFile(Stage const & stage) {
    File file(stage / "a");
    All status;
    status << file.Open(File::OpenMode::Append);
    std::string const more(20000, 'm'); // than a buffer holds
    status << file.WriteBin(more.data(), 20000, nullptr) << file.Flush();
    status << file.WriteBin("!", 1, nullptr) << file.Close();
    return status;
}

MuErrCode ReadAndWrite(Stage const & stage) {
    File file(stage / "b");
    char read[4] = {};
    All status;
    status << file.Open(File::OpenMode::ReadWrite) << file.ReadBin(read, 4, nullptr);
    status << file.WriteBin("SEC", 3, nullptr) << file.Seek(File::SeekOrigin::End, -1);
    status << file.WriteBin("D", 1, nullptr) << file.SetPosition(0)
           << file.ReadBin(read, 3, nullptr);
    status << file.Flush() << file.Close();
    stage.Answer(std::string(read, sizeof read));
    return status;
}

MuErrCode SetFileProperties(Stage const & stage) {
    File file(stage / "a");
    int created = 0;
    int modified = 0;
    bool isProtected = false;
    unsigned long long length = 0;
    All status;
    status << file.SetDataLength(4) << file.GetDataLength(&length);
    status << file.SetModificationTime(someTime) << file.GetModificationTime(&modified);
    status << file.GetCreationTime(&created);
    status << file.SetWriteProtection() << file.IsWriteProtected(&isProtected);
    status << file.ClearWriteProtection();
    stage.Answer(length);
    stage.Answer(static_cast<unsigned long long>(modified));
    stage.Answer(isProtected);
    return status;
}

MuErrCode AskFolder(Stage const & stage) {
    Folder folder(stage.GetRoot());
    unsigned int files = 0;
    unsigned int folders = 0;
    bool empty = true;
    bool local = false;
    bool fixed = false;
    unsigned long long space = 0;
    All status;
    status << folder.CountFiles(&files) << folder.CountFolders(&folders) << folder.IsEmpty(&empty);
    status << folder.IsOnLocalVolume(&local) << folder.IsOnFixedVolume(&fixed);
    status << folder.GetFreeSpace(&space);
    stage.Answer(files);
    stage.Answer(folders);
    stage.Answer(empty);
    stage.Answer(local);
    return status;
}

MuErrCode SetFolderTimes(Stage const & stage) {
    Folder folder(stage / "sub");
    int created = 0;
    int modified = 0;
    All status;
    status << folder.SetModificationTime(someTime) << folder.GetModificationTime(&modified);
    status << folder.GetCreationTime(&created);
    stage.Answer(static_cast<unsigned long long>(modified));
    return status;
}

MuErrCode MakeUnusedName(Stage const & stage) {
    Folder folder(stage.GetRoot());
    if (folder.GetStatus() != IO::NoError)
        return folder.GetStatus();
    IO::Name name;
    if (folder.GenerateUnusedName(&name, "a") != 0)
        return IO::Error;
    All status;
    status << folder.CreateFile(name) << folder.Rename(name, "unused", always);
    return status;
}

MuErrCode CountTree(Stage const & stage) {
    unsigned int count = 0;
    unsigned long long size = 0;
    bool contained = false;
    All status;
    status << IO::fileSystem.CountFiles(stage.GetRoot(), &count);
    status << IO::fileSystem.CountSize(stage.GetRoot(), &size);
    status << IO::fileSystem.Contains(stage / "sub", &contained);
    stage.Answer(count);
    stage.Answer(size);
    stage.Answer(contained);
    return status;
}

/// Takes them away whatever comes.
struct Mounted {
    Tests::DiskFixedVFS fixed;
    Tests::DiskRollingVFS rolling;

    explicit Mounted(Stage const & stage) : rolling(stage / "rolling") {}
    ~Mounted() {
        (void)IO::fileSystem.Unmount(fixed);
        (void)IO::fileSystem.Unmount(rolling);
        EXPECT_EQ(fixed.CountConnected() + rolling.CountConnected(), 0);
    }
    Mounted(Mounted const &) = delete;
    Mounted & operator=(Mounted const &) = delete;
};

MuErrCode MountAndUse(Stage const & stage) {
    Mounted mounted(stage);
    Tests::DiskFixedVFS & fixed = mounted.fixed;
    Tests::DiskRollingVFS & rolling = mounted.rolling;
    fixed.AddFile("x", "elsewhere");
    rolling.AddFile("y", "elsewhere, too");
    All status;
    status << IO::fileSystem.Mount(fixed, stage / "mounted") << IO::fileSystem.Mount(rolling);
    if (status == IO::NoError) {
        for (Location const & location :
             {Location(stage / "mounted", "x"), Location(stage / "rolling", "y")}) {
            File file(location);
            unsigned long long length = 0;
            status << file.GetStatus() << file.GetDataLength(&length);
            stage.Answer(length);
        }
        status << IO::fileSystem.Copy(Location(stage / "mounted", "x"), stage / "x");
        status << Enumerate(stage); // with what is mounted below
    }
    return status;
}

std::vector<Step> ListSteps() {
    auto & front = IO::fileSystem;
    return {
        {"CreateFile", [&](Stage const & s) { return front.CreateFile(s / "new"); }},
        {"CreateFolder", [&](Stage const & s) { return front.CreateFolder(s / "new"); }},
        {"CreateFolderTree",
         [&](Stage const & s) { return front.CreateFolderTree(Location(s / "x", "y")); }},
        {"CreateLink",
         [](Stage const & s) { return Folder(s.GetRoot()).CreateLink("new.lnk", s / "b"); }},
        {"Rename", [&](Stage const & s) { return front.Rename(s / "a", "new", always); }},
        {"Exchange", [](Stage const & s) { return Folder(s.GetRoot()).Exchange("a", "b", always); },
         false, true},
        {"Move",
         [&](Stage const & s) {
             return front.Move(s / "a", Location(s / "sub", "moved"), Safety::KeepProtected);
         }},
        {"Copy", [&](Stage const & s) { return front.Copy(s / "sub", s / "copy"); }},
        {"Delete",
         [&](Stage const & s) { return front.Delete(s / "sub", Safety::KeepProtected, always); },
         true},
        {"DeleteAll",
         [](Stage const & s) { return Folder(s / "sub").DeleteAll(Safety::KeepProtected, always); },
         true},
        {"AppendToFile", AppendToFile, false, false, false, true},
        {"ReadAndWrite", ReadAndWrite, true},
        {"SetFileProperties", SetFileProperties, true},
        {"SetFolderTimes", SetFolderTimes},
        {"MakeUnusedName", MakeUnusedName},
        {"CountTree", CountTree, false, false, true},
        {"AskFolder", AskFolder, false, false, true},
        {"Enumerate", Enumerate},
        {"MountAndUse", MountAndUse},
    };
}

class FileSystemSweep : public ::testing::TestWithParam<Step> {
protected:
    void Meet(bool failed) {
        stage.Set();
        MuErrCode const status = GetParam().run(stage);
        IO::ClearOSErrors(); // of a query that tells by its answer alone
        Tests::DiskContent const content = Tests::LookAt(stage.disk);
        if (!expected) {
            ASSERT_EQ(status, IO::NoError);
            expected = {stage.answer, content};
        }
        if (status == IO::NoError) {
            if (!failed || !GetParam().guesses) {
                EXPECT_EQ(stage.answer, expected->first);
            }
            if (!failed || !GetParam().strays) {
                EXPECT_EQ(content, expected->second);
            }
        } else {
            EXPECT_TRUE(failed) << status;
        }
        if (GetParam().deletes)
            return;
        for (char const * text : {"the first", "the second", "the third"})
            EXPECT_TRUE(Tests::HasFileWith(content, text)) << text << " is lost";
    }

private:
    Stage stage;
    std::optional<std::pair<std::string, Tests::DiskContent>> expected; // without a fault
};

std::ostream & operator<<(std::ostream & stream, Step const & step) {
    return stream << step.name;
}

std::string NameStep(::testing::TestParamInfo<Step> const & info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Step, FileSystemSweep, ::testing::ValuesIn(ListSteps()), NameStep);

TEST_P(FileSystemSweep, MeetsEveryFailedAllocation) {
    SweepAllocations([this](bool failed) { Meet(failed); });
}

TEST_P(FileSystemSweep, MeetsEveryFileCallThatFails) {
#if defined(_WIN32)
    if (GetParam().guesses)
        GTEST_SKIP() << "every look at a shell link takes Wine so long that this takes minutes";
#endif
    auto const meet = [this](bool failed) { Meet(failed); };
    if (GetParam().isSweptWhole)
        Tests::SweepFileCalls(meet);
    else
        Tests::SweepFileCallsBriefly(meet);
}

} // namespace

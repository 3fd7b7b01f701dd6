// Long work that shows itself, is ended, and goes on behind what fails.

#include <Kestrel/FileSystem/Internal/TransferStep.h>
#include <Kestrel/FileSystem/ReplacingFile.h>
#include <Kestrel/FileSystem/TransferScope.h>
#include <Kestrel/FileSystem/TreeEnumerator.h>

#include "Tests/Support/FileSystem/Place.h"
#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/HandClock.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>

namespace fs = std::filesystem;

namespace {

/// Ends the work at the n-th report, skips or does not, and keeps what it hears.
struct Watch : IO::TransferObserver {
    bool Advanced(IO::TransferProgress const & now) override {
        last = now;
        return ++reports != endAt;
    }
    bool Failed(Mu::UniString const & place, MuErrCode status, char const * causes) override {
        failed.push_back(std::to_string(status) + " " + std::string(place) + "|" + causes);
        return skips;
    }

    IO::TransferProgress last;
    unsigned int reports = 0;
    unsigned int endAt = 0; // 0: never
    bool skips = false;
    std::vector<std::string> failed;
};

/// A tree of three files of 1000 bytes, one of them in a folder.
class TransferScope : public testing::TestWithParam<bool> {
protected:
    TransferScope() {
        fs::create_directories(place.GetPath() / "tree" / "inner");
        for (char const * const name : {"tree/a", "tree/inner/b", "tree/z"})
            std::ofstream(place.GetPath() / name) << std::string(1000, 'x');
    }
    // Without the scope's knowledge.
    unsigned int CountCopied() const {
        unsigned int count = 0;
        if (fs::exists(other.GetPath() / "copy"))
            for (fs::directory_entry const & entry :
                 fs::recursive_directory_iterator(other.GetPath() / "copy"))
                count += entry.is_regular_file();
        return count;
    }

    Tests::Place place{GetParam()};
    Tests::Place other{false};
};

} // namespace

TEST_P(TransferScope, HearsOfEachEntryAndEndsAnyWorkAtAnyOfThem) {
    IO::Location const tree = place / "tree";
    std::function<MuErrCode()> const works[] = {
        [&] { return IO::fileSystem.Copy(tree, other / "copy"); },
        [&] {
            unsigned long long size = 0;
            MuErrCode const status = IO::fileSystem.CountSize(tree, &size);
            EXPECT_TRUE(status != IO::NoError || size == 3000);
            return status;
        },
        [&] { return IO::TreeEnumerator(IO::Folder(tree)).Do(); },
        [&] {
            MuErrCode const status = IO::fileSystem.Copy(IO::Location(tree, "a"), other / "one");
            EXPECT_EQ(fs::remove(other.GetPath() / "one"), status == IO::NoError);
            return status;
        },
        [&] {
            return IO::fileSystem.Delete(other / "copy", IO::DataSafety::KeepProtected,
                                         IO::AccessDeniedTreatment::Fail);
        },
    };
    for (std::function<MuErrCode()> const & work : works)
        for (unsigned int end = 1;; ++end) {
            Watch watch;
            watch.endAt = end;
            IO::TransferScope scope(watch, 0);
            MuErrCode const status = work();
            EXPECT_EQ(status, scope.IsEnded() ? IO::Error : IO::NoError);
            EXPECT_EQ(scope.IsEnded(), watch.reports >= end);
            EXPECT_TRUE(watch.failed.empty());
            if (&work == &works[0]) {
                IO::TransferProgress const & now = scope.GetProgress();
                EXPECT_EQ(CountCopied(), scope.IsEnded() ? 0u : 3u);
                EXPECT_TRUE(scope.IsEnded() || (now.bytes == 3000 && now.entries == 5));
            }
            if (!scope.IsEnded())
                break;
        }
    EXPECT_EQ(CountCopied(), 0u);
    Watch watch;
    watch.endAt = 1;
    IO::TransferScope const scope(watch, 0);
    unsigned int count = 0;
    EXPECT_EQ(IO::fileSystem.CountFiles(tree, &count), IO::Error);
    // What is not begun any more, and what is cleaned up nevertheless.
    EXPECT_EQ(IO::Folder(tree).DeleteAll(IO::DataSafety::KeepProtected), IO::Error);
    EXPECT_EQ(IO::fileSystem.Move(tree, place / "to", IO::DataSafety::KeepProtected), IO::Error);
    IO::ReplacingFile(IO::Location(tree, "a")).GetFile() << "dropped";
    EXPECT_EQ(std::distance(fs::recursive_directory_iterator(place.GetPath() / "tree"), {}), 4);
}

TEST_P(TransferScope, ReportsAtMostOnceInItsInterval) {
    Tests::HandClock clock;
    Watch watch;
    IO::TransferScope const scope(watch);
    unsigned int count = 0;
    EXPECT_EQ(IO::fileSystem.CountFiles(place / "tree", &count), IO::NoError);
    EXPECT_EQ(watch.reports, 0u);
    clock.Advance(100);
    EXPECT_EQ(IO::fileSystem.CountFiles(place / "tree", &count), IO::NoError);
    EXPECT_EQ(watch.reports, 1u);
    EXPECT_EQ(std::string(watch.last.place).substr(1, 2), ":\\");
}

INSTANTIATE_TEST_SUITE_P(Places, TransferScope, testing::Bool());

TEST(TransferScopeSkips, GoesOnBehindWhatFailsAndNamesIt) {
    Tests::Place const place(false);
    fs::create_directories(place.GetPath() / "tree" / "inner");
    for (char const * const name : {"tree/a", "tree/inner/b", "tree/inner/c", "tree/z"})
        std::ofstream(place.GetPath() / name) << "x";
    for (bool const skips : {false, true}) {
        Tests::ScriptedFileCalls calls;
        Watch watch;
        watch.skips = skips;
        IO::TransferScope const scope(watch);
        IO::TransferStep const around(u"walk");
        unsigned int count = 0;
        calls.Fail(Tests::FileCall::CopyFile, 1, IO::FileError::DiskFull);
        EXPECT_EQ(IO::fileSystem.Copy(place / "tree", place / "copy"), IO::ErrDeviceFull);
        (void)IO::fileSystem.CountFiles(place / "copy", &count);
        EXPECT_EQ(count, skips ? 3u : 0u);
        ASSERT_EQ(watch.failed.size(), 1u);
        EXPECT_TRUE(watch.failed[0].starts_with(std::to_string(IO::ErrDeviceFull)));
        EXPECT_NE(watch.failed[0].find("CopyFile: 112"), std::string::npos);
        EXPECT_NE(watch.failed[0].find("\\tree\\"), std::string::npos);
        if (!skips) {
            calls.Fail(Tests::FileCall::CopyFile, 1, IO::FileError::DiskFull);
            EXPECT_EQ(IO::fileSystem.Copy(place / "tree", place / "copy"), IO::ErrDeviceFull);
            EXPECT_EQ(watch.failed.size(), 2u) << "a refusal is for the one copy";
            continue;
        }
        // The first is that of the folder itself, which is no file.
        calls.Fail(Tests::FileCall::DeleteFile, 2, IO::FileError::AccessDenied);
        EXPECT_EQ(IO::fileSystem.Delete(place / "copy", IO::DataSafety::KeepProtected,
                                        IO::AccessDeniedTreatment::Fail),
                  IO::ErrFolderAccessDenied);
        ASSERT_EQ(watch.failed.size(), 2u);
        EXPECT_TRUE(watch.failed[1].starts_with(std::to_string(IO::ErrFolderAccessDenied)));
        calls.Clear();
        (void)IO::fileSystem.CountFiles(place / "copy", &count);
        EXPECT_EQ(count, 1u) << "the others went";
    }
}

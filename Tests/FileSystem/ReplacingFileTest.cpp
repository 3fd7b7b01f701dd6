// A new content that comes as a whole or not at all.

#include <Kestrel/FileSystem/ReplacingFile.h>

#include "Tests/Support/FileSystem/Place.h"
#include "Tests/Support/FileSystem/ScriptedFileCalls.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>

namespace fs = std::filesystem;

namespace {

class ReplacingFile : public testing::TestWithParam<bool> {
protected:
    static MuErrCode Save(IO::Location const & location, std::string const & content) {
        IO::ReplacingFile file(location);
        (void)file.GetFile().WriteBin(content.data(), static_cast<unsigned int>(content.size()),
                                      nullptr);
        return file.Commit();
    }
    long CountEntries() const {
        return std::distance(fs::directory_iterator(place.GetPath()), fs::directory_iterator());
    }

    Tests::Place place{GetParam()};
};

} // namespace

TEST_P(ReplacingFile, LeavesTheOldContentOrTheNewOneAndNothingElse) {
    fs::path const name = place.GetPath() / "name"; // past the faults
    std::ofstream(name) << "old";
    std::string now = "old";
    unsigned int round = 0;
    Tests::SweepFileCallsBriefly([&](bool failed) {
        std::string const next(20000, static_cast<char>('a' + round++ % 26));
        MuErrCode const status = Save(place / "name", next);
        EXPECT_TRUE(failed || status == IO::NoError);
        if (status == IO::NoError)
            now = next;
        // Faults that go on stand in the way of taking the new one away, and, where replacing takes
        // three steps, of taking these back.
        std::set<fs::path> holders;
        for (fs::directory_entry const & entry : fs::directory_iterator(place.GetPath()))
            if (place.GetDisk().Read(entry.path().string()) == now)
                holders.insert(entry.path());
            else if (failed)
                fs::remove(entry);
        ASSERT_EQ(holders.size(), 1u);
        EXPECT_TRUE(*holders.begin() == name || (failed && GetParam()));
        fs::rename(*holders.begin(), name);
    });
    EXPECT_EQ(CountEntries(), 1);
}

TEST_P(ReplacingFile, MakesOneWhereThereIsNoneAndDropsWhatIsNotCommitted) {
    Tests::ScriptedFileCalls calls;
    calls.Fail(Tests::FileCall::CreateFile, 1, IO::FileError::FileExists); // its name was taken
    EXPECT_EQ(Save(place / "name", "first"), IO::NoError);
    EXPECT_TRUE(calls.Clear());
    {
        IO::ReplacingFile dropped(place / "name");
        dropped.GetFile() << "dropped";
        EXPECT_EQ(CountEntries(), 2);
    }
    EXPECT_EQ(place.Read("name"), "first");
    EXPECT_EQ(CountEntries(), 1);
    IO::ReplacingFile twice(place / "name");
    EXPECT_EQ(twice.Commit(), IO::NoError);
    EXPECT_EQ(twice.Commit(), IO::Error);
    EXPECT_EQ(place.Read("name"), "");
    {
        IO::File reader(place / "name");
        ASSERT_EQ(reader.Open(IO::File::OpenMode::ReadOnly), IO::NoError);
        EXPECT_EQ(Save(place / "name", "taken from a reader"), IO::ErrFileAccessDenied);
    }
    EXPECT_EQ(Save(place.GetRoot(), "a folder"), IO::ErrNotAFile);
    EXPECT_EQ(CountEntries(), 1);
}

INSTANTIATE_TEST_SUITE_P(Places, ReplacingFile, testing::Bool());

#if defined(__linux__)

TEST(ReplacingFileRights, StayAndLinksLeadOn) {
    Tests::Place const place(false);
    place.Write("name", "old");
    fs::permissions(place.GetPath() / "name", fs::perms{0640});
    fs::create_symlink("name", place.GetPath() / "link");
    IO::ReplacingFile file(place / "link");
    file.GetFile() << "new";
    EXPECT_EQ(file.Commit(), IO::NoError);
    EXPECT_EQ(place.Read("name"), "new");
    EXPECT_TRUE(fs::is_symlink(place.GetPath() / "link"));
    EXPECT_EQ(fs::status(place.GetPath() / "name").permissions(), fs::perms{0640});
    fs::create_symlink("link", place.GetPath() / "second");
    fs::rename(place.GetPath() / "name", place.GetPath() / "old");
    IO::ReplacingFile broken(place / "second");
    broken.GetFile() << "newer";
    EXPECT_EQ(broken.Commit(), IO::NoError);
    EXPECT_EQ(place.Read("name"), "newer") << "where the links lead";
    fs::permissions(place.GetPath() / "name", fs::perms{0440});
    EXPECT_EQ(IO::ReplacingFile(place / "name").GetStatus(), IO::ErrFileAccessDenied);
}

#endif

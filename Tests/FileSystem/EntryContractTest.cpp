// What every file system must do alike: the same bodies run on the disk and in memory.

#include <Kestrel/FileSystem/FileEntry.h>
#include <Kestrel/FileSystem/FolderEntry.h>

#include "Tests/Support/FileSystem/Connection.h"
#include "Tests/Support/FileSystem/Place.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <climits>
#include <set>

namespace {

using Entry = IO::FileEntry;
using Mode = Entry::OpenMode;
using Origin = Entry::SeekOrigin;
using Tests::FileConnection;
using Tests::FolderConnection;

// Deletes each entry as it is found, and remembers their names.
class Eater final : public IO::EntryEnumerator {
public:
    explicit Eater(IO::FolderEntry & folder) : folder(folder) {}
    bool EntryFound(IO::Name const & name, bool isFolder) override {
        EXPECT_EQ(folder.Delete(name, false), IO::FolderEntry::DeleteStatus::Done);
        EXPECT_TRUE(names.insert(ToUtf8(name) + (isFolder ? "/" : "")).second) << "told twice";
        return true;
    }
    std::set<std::string> names;

private:
    IO::FolderEntry & folder;
};

} // namespace

class FileEntryOn : public Tests::OnEachPlace {};
class FolderEntryOn : public Tests::OnEachPlace {};
INSTANTIATE_TEST_SUITE_P(Place, FileEntryOn, testing::Bool(), Tests::NamePlace);
INSTANTIATE_TEST_SUITE_P(Place, FolderEntryOn, testing::Bool(), Tests::NamePlace);

TEST_P(FileEntryOn, RefusesOpenersThatDoNotFitTogether) {
    place.Write("file", "0123456789");
    FileConnection const file(place / "file");
    ASSERT_EQ(file.GetStatus(), IO::NoError);
    // By the mode of the first opener and of the second: whether both can be.
    static constexpr bool fits[7][7] = {
        {true, false, false, false, true, false, false},
        {false, false, false, false, false, false, false},
        {false, false, false, false, false, false, false},
        {false, false, false, false, false, false, false},
        {true, false, false, false, true, true, true},
        {false, false, false, false, true, false, false},
        {false, false, false, false, true, false, false},
    };
    FileConnection const other(place / "file");
    for (unsigned int first = 0; first < 7; ++first)
        for (unsigned int second = 0; second < 7; ++second) {
            SCOPED_TRACE(testing::Message() << first << " then " << second);
            ASSERT_EQ(file->Open(static_cast<Mode>(first)), Entry::OpenStatus::Done);
            Entry::OpenStatus const status = other->Open(static_cast<Mode>(second));
            EXPECT_EQ(status, fits[first][second] ? Entry::OpenStatus::Done
                                                  : Entry::OpenStatus::AccessDenied);
            if (status == Entry::OpenStatus::Done) {
                EXPECT_EQ(other->Close(), Entry::CloseStatus::Done);
            }
            EXPECT_EQ(file->Close(), Entry::CloseStatus::Done);
        }
}

TEST_P(FileEntryOn, SeeksInsideTheFileOnly) {
    place.Write("file", "0123456789");
    FileConnection const file(place / "file");
    ASSERT_EQ(file.GetStatus(), IO::NoError);
    struct {
        Origin origin;
        long long offset;
        Entry::SeekStatus status;
        unsigned long long position; // afterwards; it is 4 before
    } const table[] = {
        {Origin::Beginning, 0, Entry::SeekStatus::Done, 0},
        {Origin::Beginning, 10, Entry::SeekStatus::Done, 10},
        {Origin::Beginning, 11, Entry::SeekStatus::IllegalPosition, 4},
        {Origin::Beginning, -1, Entry::SeekStatus::IllegalPosition, 4},
        {Origin::Beginning, LLONG_MAX, Entry::SeekStatus::IllegalPosition, 4},
        {Origin::Current, 6, Entry::SeekStatus::Done, 10},
        {Origin::Current, 7, Entry::SeekStatus::IllegalPosition, 4},
        {Origin::Current, -4, Entry::SeekStatus::Done, 0},
        {Origin::Current, -5, Entry::SeekStatus::IllegalPosition, 4},
        {Origin::Current, LLONG_MAX, Entry::SeekStatus::IllegalPosition, 4},
        {Origin::End, 0, Entry::SeekStatus::Done, 10},
        {Origin::End, -10, Entry::SeekStatus::Done, 0},
        {Origin::End, 1, Entry::SeekStatus::IllegalPosition, 4},
        {Origin::End, -11, Entry::SeekStatus::IllegalPosition, 4},
        {static_cast<Origin>(3), 1, Entry::SeekStatus::Other, 4},
        {static_cast<Origin>(3), 0, Entry::SeekStatus::Other, 4},
    };
    ASSERT_EQ(file->Open(Mode::Read), Entry::OpenStatus::Done);
    for (auto const & row : table) {
        SCOPED_TRACE(testing::Message() << "row " << &row - table);
        unsigned long long position = 0;
        ASSERT_EQ(file->Seek(Origin::Beginning, 4, &position), Entry::SeekStatus::Done);
        EXPECT_EQ(file->Seek(row.origin, row.offset, &position), row.status);
        EXPECT_EQ(file->Seek(Origin::Current, 0, &position), Entry::SeekStatus::Done);
        EXPECT_EQ(position, row.position);
    }
}

TEST_P(FolderEntryOn, TellsEachEntryOnceWhileItIsEmptied) {
    FolderConnection const folder(place.GetRoot());
    std::set<std::string> names;
    for (int i = 0; i < 300; ++i) {
        names.insert("entry" + std::to_string(i));
        ASSERT_EQ(folder->CreateFile(IO::Name(U("entry" + std::to_string(i))), nullptr),
                  IO::FolderEntry::CreateStatus::Done);
    }
    Eater eater(*folder);
    EXPECT_EQ(folder->Enumerate(eater), IO::FolderEntry::EnumerateStatus::Done);
    EXPECT_EQ(eater.names, names);
}

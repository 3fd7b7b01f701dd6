#include <Kestrel/FileSystem/File.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/FileSystem/Place.h"
#include "Tests/Support/FileSystem/Protection.h"
#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/LogCapture.h"

#include <Kestrel/Location/Internal/OSErrors.h>

#include <random>

using IO::File;
using IO::Location;
using Mode = IO::File::OpenMode;

namespace {

constexpr Mode allModes[] = {Mode::ReadOnly,
                             Mode::WriteOnly,
                             Mode::WriteOnlyEmpty,
                             Mode::ReadWrite,
                             Mode::Append,
                             Mode::ReadOnlySharedToReadWrite,
                             Mode::WriteOnlySharedToRead,
                             Mode::WriteOnlyEmptySharedToRead};

MuErrCode Put(File & file, std::string const & text) {
    return file.WriteBin(text.data(), static_cast<unsigned int>(text.size()), nullptr);
}

std::string Get(File & file, unsigned int count) {
    std::string text(count, '\0');
    unsigned int read = 0;
    file.ReadBin(text.data(), count, &read);
    text.resize(read);
    return text;
}

// Wine tells the time of the last write as that of the creation.
constexpr bool KnowsNoCreationTime() {
#if defined(_WIN32)
    return true;
#else
    return false;
#endif
}

unsigned long long PositionOf(File const & file) {
    unsigned long long position = 0;
    EXPECT_EQ(file.GetPosition(&position), IO::NoError);
    return position;
}

} // namespace

using FileOn = Tests::OnEachPlace;
INSTANTIATE_TEST_SUITE_P(Place, FileOn, ::testing::Bool(), Tests::NamePlace);

TEST_P(FileOn, AllowsWhatTheModeAllows) {
    struct {
        bool reads, writes, seeks;
    } constexpr allowed[] = {{true, false, true}, {false, true, true},  {false, true, true},
                             {true, true, true},  {false, true, false}, {true, false, true},
                             {false, true, true}, {false, true, true}};
    for (Mode mode : allModes) {
        SCOPED_TRACE(static_cast<int>(mode));
        place.Write("file", "0123456789");
        File file(place / "file");
        ASSERT_EQ(file.Open(mode), IO::NoError);
        auto const & row = allowed[static_cast<int>(mode)];
        EXPECT_EQ(file.CheckReadOperation(), row.reads);
        EXPECT_EQ(file.CheckWriteOperation(), row.writes);
        EXPECT_EQ(file.CheckRandomOperation(), row.seeks);
        char c = 0;
        unsigned int count = 7;
        EXPECT_EQ(file.ReadBin(&c, 1, &count), row.reads ? IO::NoError : IO::Error);
        EXPECT_EQ(count, row.reads ? 1u : 0u);
        EXPECT_EQ(file.WriteBin("x", 1, &count), row.writes ? IO::NoError : IO::Error);
        EXPECT_EQ(count, row.writes ? 1u : 0u);
        EXPECT_EQ(file.Seek(File::SeekOrigin::Beginning, 0), row.seeks ? IO::NoError : IO::Error);
        EXPECT_EQ(file.Flush(), row.writes ? IO::NoError : IO::Error);
    }
    EXPECT_EQ(place.Read("file"), "x");
}

TEST_P(FileOn, StaysAsItIsWhenItIsOpenedAgain) {
    place.Write("file", "abc");
    File file(place / "file");
    ASSERT_EQ(file.Open(Mode::ReadOnly), IO::NoError);
    EXPECT_EQ(Get(file, 2), "ab");
    EXPECT_EQ(file.Open(Mode::WriteOnlyEmpty), IO::NoError);
    EXPECT_FALSE(file.CheckWriteOperation());
    EXPECT_EQ(PositionOf(file), 2u);
    EXPECT_FALSE(file.IsOpenable(Mode::ReadOnly)) << "it is open already";
    EXPECT_EQ(file.Close(), IO::NoError);
    EXPECT_EQ(file.Close(), IO::NoError) << "closing what is closed";
    EXPECT_EQ(place.Read("file"), "abc");
}

TEST_P(FileOn, AppendsBehindTheContentAndNeverSeeks) {
    place.Write("file", "abc");
    File file(place / "file");
    ASSERT_EQ(file.Open(Mode::Append), IO::NoError);
    unsigned long long position = 0;
    EXPECT_EQ(file.GetPosition(&position), IO::Error);
    EXPECT_EQ(file.SetPosition(0), IO::Error);
    EXPECT_EQ(file.Seek(File::SeekOrigin::Beginning, 0), IO::Error);
    EXPECT_EQ(Put(file, "def"), IO::NoError);
    EXPECT_EQ(file.Close(), IO::NoError);
    EXPECT_EQ(place.Read("file"), "abcdef");
}

TEST_P(FileOn, SeeksNoFurtherThanTheEnd) {
    place.Write("file", "0123456789");
    File file(place / "file");
    ASSERT_EQ(file.Open(Mode::ReadOnly), IO::NoError);
    EXPECT_EQ(file.Seek(File::SeekOrigin::End, -3), IO::NoError);
    EXPECT_EQ(Get(file, 1), "7");
    EXPECT_EQ(file.Seek(File::SeekOrigin::Current, -5), IO::NoError); // behind what was read ahead
    EXPECT_EQ(Get(file, 1), "3");
    EXPECT_EQ(file.Seek(File::SeekOrigin::Current, 2), IO::NoError); // within it
    EXPECT_EQ(Get(file, 1), "6");
    EXPECT_EQ(file.SetPosition(0), IO::NoError);
    EXPECT_EQ(Get(file, 1), "0");
    EXPECT_EQ(file.Seek(File::SeekOrigin::Beginning, 11), IO::ErrIllegalPosition);
    EXPECT_EQ(file.Seek(File::SeekOrigin::End, 1), IO::ErrIllegalPosition);
    EXPECT_EQ(file.Seek(File::SeekOrigin::Beginning, -1), IO::ErrIllegalPosition);
    EXPECT_EQ(file.Seek(static_cast<File::SeekOrigin>(3), 0), IO::Error);
    EXPECT_EQ(file.Seek(File::SeekOrigin::Beginning, 10), IO::NoError);
    EXPECT_EQ(Get(file, 1), "");
    EXPECT_EQ(file.Seek(File::SeekOrigin::Beginning, 1), IO::NoError);
    EXPECT_EQ(Get(file, 2), "12") << "a seek takes the end of input back";
}

TEST_P(FileOn, PatchesBehindAMark) {
    File file(place / "file", File::OnNotFound::Create);
    ASSERT_EQ(file.Open(Mode::WriteOnlyEmpty), IO::NoError);
    EXPECT_EQ(Put(file, "<"), IO::NoError);
    EXPECT_EQ(file.PushMark(), IO::NoError);
    EXPECT_EQ(Put(file, "????"), IO::NoError);
    EXPECT_EQ(Put(file, std::string(20000, 'b')), IO::NoError);
    EXPECT_EQ(file.Seek(File::SeekOrigin::Beginning, 0), IO::Error) << "a mark is alive";
    EXPECT_EQ(file.PopMark(), IO::NoError);
    EXPECT_EQ(PositionOf(file), 1u);
    EXPECT_EQ(file.GetOffset(), 20004u);
    EXPECT_EQ(Put(file, "size"), IO::NoError);
    file.ResetOffset();
    EXPECT_EQ(PositionOf(file), 20005u);
    EXPECT_EQ(Put(file, ">"), IO::NoError);
    EXPECT_EQ(file.Close(), IO::NoError);
    EXPECT_EQ(place.Read("file"), "<size" + std::string(20000, 'b') + ">");
}

TEST_P(FileOn, LetsWhatIsBehindAMarkBeSeenAndReplacedInPlace) {
    File file(place / "file", File::OnNotFound::Create);
    char * data = nullptr;
    unsigned int available = 1;
    EXPECT_EQ(file.DirectOutputAccess(0, &data, &available), IO::Error) << "it is closed";
    EXPECT_EQ(available, 0u);
    ASSERT_EQ(file.Open(Mode::WriteOnly), IO::NoError);
    EXPECT_EQ(file.PushMark(), IO::NoError);
    EXPECT_EQ(Put(file, "0000body"), IO::NoError);
    EXPECT_EQ(file.PopMark(), IO::NoError);
    ASSERT_EQ(file.DirectOutputAccess(4, &data, &available), IO::NoError);
    EXPECT_EQ(std::string(data, available), "body");
    data[0] = 'B';
    file.ResetOffset();
    EXPECT_EQ(file.Close(), IO::NoError);
    ASSERT_EQ(file.Open(Mode::ReadOnly), IO::NoError);
    EXPECT_EQ(Get(file, 8), "0000Body");
}

TEST_P(FileOn, TellsWhetherItCouldBeOpenedAndStaysClosed) {
    File file(place / "file", File::OnNotFound::Create);
    EXPECT_TRUE(file.IsOpenable(Mode::ReadOnly));
    EXPECT_TRUE(file.IsOpenable(Mode::WriteOnly));
    EXPECT_FALSE(file.IsOpen());
    EXPECT_FALSE(file.IsOpenable(static_cast<Mode>(8)));
    File other(place / "file");
    ASSERT_EQ(other.Open(Mode::WriteOnly), IO::NoError);
    EXPECT_FALSE(file.IsOpenable(Mode::ReadOnly)) << "the other shares with nobody";
    EXPECT_EQ(other.Close(), IO::NoError);
    EXPECT_FALSE(File(place / "none", File::OnNotFound::FailQuietly).IsOpenable(Mode::ReadOnly));
}

TEST_P(FileOn, ChangesItsLength) {
    place.Write("file", "0123456789");
    File file(place / "file");
    EXPECT_EQ(file.SetDataLength(4), IO::NoError) << "while it is closed";
    ASSERT_EQ(file.Open(Mode::ReadWrite), IO::NoError);
    EXPECT_EQ(file.SetDataLength(6), IO::NoError);
    EXPECT_EQ(PositionOf(file), 6u);
    EXPECT_EQ(Put(file, "ab"), IO::NoError);
    unsigned int length = 0;
    EXPECT_EQ(file.GetDataLength(&length), IO::NoError);
    EXPECT_EQ(length, 8u);
    file.Close();
    EXPECT_EQ(place.Read("file"), std::string("0123\0\0ab", 8));
    ASSERT_EQ(file.Open(Mode::ReadOnly), IO::NoError);
    EXPECT_EQ(file.SetDataLength(1), IO::Error) << "not open for writing";
}

TEST_P(FileOn, KeepsItsTimes) {
    place.Write("file", "x");
    File file(place / "file");
    int time = 0;
    EXPECT_EQ(file.SetCreationTime(1111111111), IO::NoError);
    EXPECT_EQ(file.GetCreationTime(&time), IO::NoError);
    EXPECT_TRUE(time == 1111111111 || KnowsNoCreationTime()) << time;
    EXPECT_EQ(file.SetModificationTime(1234567890), IO::NoError);
    EXPECT_EQ(file.GetModificationTime(&time), IO::NoError);
    EXPECT_EQ(time, 1234567890);
}

TEST_P(FileOn, IsNotWrittenWhileItIsProtected) {
    place.Write("file", "x");
    File file(place / "file");
    bool isProtected = true;
    EXPECT_EQ(file.IsWriteProtected(&isProtected), IO::NoError);
    EXPECT_FALSE(isProtected);
    EXPECT_EQ(file.SetWriteProtection(), IO::NoError);
    if (!GetParam() && !Tests::IsProtectionKept(place.GetDisk() / "file"))
        GTEST_SKIP() << "the system lets this user write to protected files";
    EXPECT_TRUE(file.IsReadable());
    EXPECT_FALSE(file.IsWriteable());
    File::WriteAccessFailureReason reason;
    Mu::UniString locker;
    EXPECT_FALSE(file.IsWriteable(&reason, &locker));
    EXPECT_EQ(reason, File::WriteAccessFailureReason::WriteProtected);
    EXPECT_EQ(file.Open(Mode::WriteOnly, IO::AccessDeniedTreatment::RetryAlways),
              IO::ErrFileAccessDenied);
    EXPECT_EQ(file.ClearWriteProtection(), IO::NoError);
    EXPECT_TRUE(file.IsWriteable(&reason, &locker));
}

TEST_P(FileOn, IsClosedByAQuestionForTheOtherDirection) {
    place.Write("file", "x");
    File file(place / "file");
    ASSERT_EQ(file.Open(Mode::ReadOnly), IO::NoError);
    EXPECT_TRUE(file.IsReadable());
    EXPECT_TRUE(file.IsOpen());
    EXPECT_TRUE(file.IsWriteable());
    EXPECT_FALSE(file.IsOpen());
}

TEST_P(FileOn, TellsWhyItDidNotConnect) {
    EXPECT_EQ(File(place / "absent").GetStatus(), IO::ErrFileNotFound);
    EXPECT_EQ(File(place.GetRoot()).GetStatus(), IO::ErrNotAFile);
    IO::Location const lost(place / "absent", IO::Name("file"));
    EXPECT_EQ(File(lost, File::OnNotFound::Create).GetStatus(), IO::ErrFileCreationFailed);
    EXPECT_EQ(File(IO::Location(u"")).GetStatus(), IO::Error);

    Tests::LogCapture log;
    EXPECT_EQ(File(place / "absent", File::OnNotFound::FailQuietly).GetStatus(),
              IO::ErrFileNotFound);
    EXPECT_TRUE(log.GetLines().empty());
    File absent(place / "absent");
    ASSERT_EQ(log.GetLines().size(), 1u);
    EXPECT_TRUE(log.Contains("Connection to file \"absent\" in folder \""));
    EXPECT_TRUE(log.Contains("\" has failed: file is not found (OS errors: "));
    EXPECT_EQ(absent.Open(Mode::ReadOnly), IO::ErrFileNotFound);
    EXPECT_EQ(absent.Close(), IO::ErrFileNotFound);
    unsigned long long number = 0;
    EXPECT_EQ(absent.GetDataLength(&number), IO::ErrFileNotFound);
    EXPECT_FALSE(absent.IsReadable());
    EXPECT_FALSE(absent.IsOpen());
}

TEST_P(FileOn, IsMadeByNewAllOrNothing) {
    File * file = nullptr;
    EXPECT_EQ(File::New(&file, place / "file", File::OnNotFound::FailQuietly), IO::ErrFileNotFound);
    EXPECT_EQ(file, nullptr);
    EXPECT_EQ(File::New(nullptr, place / "file", File::OnNotFound::Create), IO::Error);
    IO::Folder folder(place.GetRoot());
    EXPECT_EQ(File::New(&file, folder, IO::Name("file"), File::OnNotFound::Create), IO::NoError);
    ASSERT_NE(file, nullptr);
    IO::Location location;
    EXPECT_EQ(file->GetLocation(&location), IO::NoError);
    EXPECT_TRUE(location == place / "file");
    delete file;
}

// Whatever is read, written, pushed back or sought, the file is a string with a cursor; what was pushed
// back lies over it there until it is read, or written over.
TEST_P(FileOn, IsAStringWithACursor) {
    for (unsigned int seed = 1; seed <= 30; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        std::string model;
        for (unsigned int i = random() % 9000; i != 0; --i)
            model += static_cast<char>('a' + random() % 26);
        place.Write("file", model);
        File file(place / "file");
        bool const readWrite = random() % 3 != 0;
        ASSERT_EQ(file.Open(readWrite ? Mode::ReadWrite : Mode::ReadOnly), IO::NoError);
        std::size_t cursor = 0;
        std::string pushed;
        auto const look = [&](std::size_t size) {
            std::string const front = pushed.substr(0, size);
            std::size_t const behind = cursor + pushed.size();
            return behind > model.size() ? front
                                         : front + model.substr(behind, size - front.size());
        };
        auto const pass = [&](std::size_t size) {
            pushed.erase(0, size);
            cursor += size;
        };
        for (int step = 0; step < 200; ++step) {
            unsigned int const size = random() % (random() % 4 == 0 ? 9000 : 20);
            std::string const there = look(size);
            std::string text(size, '?');
            unsigned int count = 0;
            switch (random() % (readWrite ? 11 : 8)) {
            case 0:
                ASSERT_EQ(Get(file, size), there);
                pass(there.size());
                break;
            case 1: {
                std::size_t const target = random() % (model.size() + 1);
                ASSERT_EQ(file.SetPosition(target), IO::NoError);
                pushed.erase(0, target < cursor ? pushed.size() : target - cursor);
                cursor = target;
                break;
            }
            case 2: {
                unsigned long long skipped = 0;
                file.Skip(there.size(), &skipped);
                ASSERT_EQ(skipped, there.size());
                pass(there.size());
                break;
            }
            case 3:
                file.ResetInputStatus(); // an end that was met is told until then
                ASSERT_EQ(file.IsEOI(), look(1).empty());
                break;
            case 4: {
                char c = 0;
                (void)file.Look(size, &c);
                std::string const byte = look(size + 1).substr(there.size());
                ASSERT_EQ(c, there.size() == size && !byte.empty() ? byte[0] : 0);
                break;
            }
            case 5:
                (void)file.CopyBin(text.data(), size, &count);
                ASSERT_EQ(text.substr(0, count), there);
                break;
            case 6: {
                char * data = nullptr;
                (void)file.DirectInputAccess(size, &data, &count);
                ASSERT_TRUE(size == 0 || std::string(data, count) == there);
                break;
            }
            case 7: {
                text = std::string(std::min<std::size_t>(size, cursor), 'P');
                ASSERT_EQ(file.PushBack(text.data(), static_cast<unsigned int>(text.size())),
                          IO::NoError);
                pushed = text + pushed;
                cursor -= text.size();
                break;
            }
            case 8: {
                std::size_t const length = random() % 2 == 0 ? model.size() + size : size;
                ASSERT_EQ(file.SetDataLength(length), IO::NoError);
                model.resize(length);
                cursor = length;
                pushed.clear();
                break;
            }
            default: {
                text = std::string(size, static_cast<char>('A' + step % 26));
                ASSERT_EQ(Put(file, text), IO::NoError);
                model.replace(cursor, std::min(text.size(), model.size() - cursor), text);
                cursor += size;
                pushed.clear();
            }
            }
            ASSERT_EQ(PositionOf(file), cursor);
            unsigned long long available = 0;
            ASSERT_EQ(file.GetAvailable(&available), IO::NoError);
            ASSERT_EQ(available, model.size() - cursor);
        }
        file.Close();
        EXPECT_EQ(place.Read("file"), model);
    }
}

// What was written in part is written over: the next byte goes where the caller stands.
TEST(File, StandsWhereItStoodWhenAWriteOrALengthFails) {
    using Tests::FileCall;
    Tests::TempFolder const disk;
    for (FileCall const call : {FileCall::WriteFile, FileCall::SetEndOfFile})
        for (Mode const mode : {Mode::ReadWrite, Mode::WriteOnly}) {
            if (call == FileCall::WriteFile && mode == Mode::WriteOnly)
                continue; // which holds what it could not write
            disk.Write("file", "0123456789");
            File file(Location(disk.GetPortable("file").c_str()));
            ASSERT_EQ(file.Open(mode), IO::NoError);
            ASSERT_EQ(file.SetPosition(2), IO::NoError);
            Tests::ScriptedFileCalls calls;
            calls.Fail(call, 1, IO::FileError::DiskFull, false, 3);
            EXPECT_EQ(call == FileCall::WriteFile ? Put(file, "abcdef") : file.SetDataLength(7),
                      IO::EOO);
            calls.Clear();
            file.ResetOutputStatus();
            EXPECT_EQ(Put(file, "X"), IO::NoError);
            EXPECT_EQ(file.Close(), IO::NoError);
            EXPECT_EQ(disk.Read("file"), call == FileCall::WriteFile ? "01Xbc56789" : "01X3456789");
        }
}

TEST_P(FileOn, MeetsEveryFailedAllocation) {
    place.Write("file", "0123456789");
    SweepAllocations([this](bool failed) {
        File * file = nullptr;
        MuErrCode const made = File::New(&file, place / "file", File::OnNotFound::Create);
        if (made != IO::NoError) {
            ASSERT_TRUE(failed);
            if (!GetParam()) {
                EXPECT_EQ(made, IO::ErrMemoryFull) << "the file is there all the same";
            }
            return;
        }
        std::unique_ptr<File> const owner(file);
        MuErrCode status = file->Open(Mode::ReadOnly);
        char bytes[10];
        unsigned int read = 0;
        if (status == IO::NoError)
            status = file->ReadBin(bytes, 10, &read);
        if (status == IO::NoError)
            EXPECT_EQ(std::string(bytes, read), "0123456789");
        else
            EXPECT_TRUE(failed);
    });
}

// Whichever call fails, and how: what is told to be written is there, and what was reported is
// forgotten.
TEST(File, LosesNothingInSilenceWhateverTheSystemRefuses) {
    Tests::Place place(false);
    std::string const content(20000, 'n'); // more than the buffer holds
    Tests::SweepFileCalls([&](bool failed) {
        place.GetDisk().Write("file", "the old content");
        MuErrCode status = IO::NoError;
        auto const take = [&status](MuErrCode next) {
            if (status == IO::NoError)
                status = next;
        };
        {
            File file(place / "file");
            take(file.GetStatus());
            take(file.Open(Mode::WriteOnlyEmpty));
            take(Put(file, content));
            take(file.Seek(File::SeekOrigin::Beginning, 1));
            take(Put(file, "X"));
            unsigned long long length = 0;
            take(file.GetDataLength(&length));
            take(file.SetDataLength(30000));
            take(file.Flush());
            take(file.Close());
        }
        EXPECT_STREQ(IO::GetOSErrors(), "");
        if (status == IO::NoError) {
            std::string expected = content + std::string(10000, '\0');
            expected[1] = 'X';
            EXPECT_EQ(place.GetDisk().Read("file"), expected);
        } else {
            EXPECT_TRUE(failed);
        }
        std::string read(30001, '?');
        unsigned int count = 0;
        File file(place / "file");
        status = file.GetStatus();
        take(file.Open(Mode::ReadOnly));
        take(file.ReadBin(read.data(), 30001, &count));
        if (status == IO::EOI) {
            EXPECT_EQ(read.substr(0, count), place.GetDisk().Read("file"));
        } else {
            EXPECT_TRUE(failed);
        }
    });
}

TEST(File, TakesOneSystemSeekForAJumpOf5GiB) {
    Tests::Place place(true);
    place.Write("file", "x");
    File file(place / "file");
    ASSERT_EQ(file.Open(Mode::ReadOnly), IO::NoError);
    // Kept: only the low 32 bits of the difference count; 4 GiB and nothing stay where they are.
    EXPECT_EQ(file.SetPosition(0x100000000ull), IO::NoError);
    EXPECT_EQ(PositionOf(file), 0u);
    EXPECT_EQ(file.SetPosition(0x100000001ull), IO::NoError);
    EXPECT_EQ(PositionOf(file), 1u);
}

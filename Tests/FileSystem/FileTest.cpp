#include <Kestrel/FileSystem/File.h>

#include "Tests/Support/FileSystem/Place.h"
#include "Tests/Support/FileSystem/Protection.h"
#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/Location/Locations.h"
#include "Tests/Support/LogCapture.h"

#include <climits>
#include <random>

using IO::File;
using IO::Location;
using Mode = IO::File::OpenMode;

namespace {

// By OpenMode.
constexpr struct {
    bool reads, writes, seeks, empties;
} modes[] = {{true, false, true, false}, {false, true, true, false},  {false, true, true, true},
             {true, true, true, false},  {false, true, false, false}, {true, false, true, false},
             {false, true, true, false}, {false, true, true, true}};

MuErrCode Put(File & file, std::string const & text) {
    return file.WriteBin(text.data(), static_cast<unsigned int>(text.size()), nullptr);
}

// What stops short says that it met the end; so does all behind it, until somebody moves.
bool IsTold(MuErrCode status, bool isWhole) {
    return status == IO::EOI || (isWhole && status == IO::NoError);
}

std::string Get(File & file, unsigned int count) {
    std::string text(count, '\0');
    unsigned int read = 0;
    MuErrCode const status = file.ReadBin(text.data(), count, &read);
    EXPECT_TRUE(IsTold(status, read == count)) << status;
    text.resize(read);
    return text;
}

// The same by single bytes, until a status.
MuErrCode PutSingly(File & file, std::string const & text) {
    for (char const c : text)
        if (MuErrCode const status = file.Write(c); status != IO::NoError)
            return status;
    return IO::NoError;
}

std::string GetSingly(File & file, unsigned int count) {
    std::string text;
    file.ResetInputStatus();
    for (char c; text.size() < count && file.Read(c) == IO::NoError;)
        text += c;
    return text;
}

unsigned long long PositionOf(File const & file) {
    unsigned long long position = 0;
    EXPECT_EQ(file.GetPosition(&position), IO::NoError);
    return position;
}

} // namespace

using FileOn = Tests::OnEachPlace;
INSTANTIATE_TEST_SUITE_P(Place, FileOn, ::testing::Bool(), Tests::NamePlace);

TEST_P(FileOn, StaysAsItIsWhenItIsOpenedAgain) {
    place.Write("file", "abc");
    File file(place / "file");
    ASSERT_EQ(file.Open(Mode::ReadOnly), IO::NoError);
    unsigned long long available = 0;
    EXPECT_EQ(file.PushBack("<", 1), IO::NoError);
    EXPECT_EQ(file.GetAvailable(&available), IO::NoError);
    EXPECT_EQ(available, 4u);
    EXPECT_EQ(Get(file, 3), "<ab");
    EXPECT_EQ(file.Open(Mode::WriteOnlyEmpty), IO::NoError);
    EXPECT_FALSE(file.CheckWriteOperation());
    EXPECT_EQ(PositionOf(file), 2u);
    EXPECT_FALSE(file.IsOpenable(Mode::ReadOnly)) << "it is open already";
    EXPECT_EQ(file.Close(), IO::NoError);
    EXPECT_EQ(file.Close(), IO::NoError) << "closing what is closed";
    EXPECT_EQ(place.Read("file"), "abc");
}

TEST_P(FileOn, PatchesBehindAMark) {
    File file(place / "file", File::OnNotFound::Create);
    char * data = nullptr;
    unsigned int available = 1;
    EXPECT_EQ(file.DirectOutputAccess(0, &data, &available), IO::Error) << "it is closed";
    EXPECT_EQ(available, 0u);
    ASSERT_EQ(file.Open(Mode::WriteOnlyEmpty), IO::NoError);
    EXPECT_EQ(Put(file, "<"), IO::NoError);
    EXPECT_EQ(file.PushMark(), IO::NoError);
    EXPECT_EQ(Put(file, "????" + std::string(20000, 'b')), IO::NoError);
    EXPECT_EQ(file.Seek(File::SeekOrigin::Beginning, 0), IO::Error) << "a mark is alive";
    EXPECT_EQ(file.PopMark(), IO::NoError);
    EXPECT_EQ(PositionOf(file), 1u);
    EXPECT_EQ(file.GetOffset(), 20004u);
    EXPECT_EQ(Put(file, "size"), IO::NoError);
    ASSERT_EQ(file.DirectOutputAccess(0, &data, &available), IO::NoError);
    data[0] = 'B';
    file.ResetOffset();
    EXPECT_EQ(PositionOf(file), 20005u);
    EXPECT_EQ(Put(file, ">"), IO::NoError);
    EXPECT_EQ(file.Close(), IO::NoError);
    EXPECT_EQ(place.Read("file"), "<sizeB" + std::string(19999, 'b') + ">");
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

TEST(File, IsNotWrittenWhileItIsProtected) {
    Tests::Place const place(false);
    place.Write("file", "x");
    File file(place / "file");
    EXPECT_EQ(file.SetWriteProtection(), IO::NoError);
    if (!Tests::IsProtectionKept(place.GetDisk() / "file"))
        GTEST_SKIP() << "the system lets this user write to protected files";
    EXPECT_TRUE(file.IsReadable());
    File::WriteAccessFailureReason reason;
    Mu::UniString locker;
    EXPECT_FALSE(file.IsWriteable(&reason, &locker));
    EXPECT_EQ(reason, File::WriteAccessFailureReason::WriteProtected);
    EXPECT_EQ(file.SetDataLength(0), IO::ErrFileAccessDenied);
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

TEST_P(FileOn, IsCreatedByNewAllOrNothing) {
    File * file = nullptr;
    EXPECT_EQ(File::New(&file, place / "file", File::OnNotFound::FailQuietly), IO::ErrFileNotFound);
    EXPECT_EQ(file, nullptr);
    EXPECT_EQ(File::New(nullptr, place / "file", File::OnNotFound::Create), IO::Error);
    EXPECT_EQ(File::New(&file, Tests::NullReference<Location const>(), File::OnNotFound::Create),
              IO::Error);
    IO::Folder folder(place.GetRoot());
    EXPECT_EQ(File::New(&file, folder, IO::Name("file"), File::OnNotFound::Create), IO::NoError);
    std::unique_ptr<File> const owner(file);
    IO::Location location;
    EXPECT_EQ(file->GetLocation(&location), IO::NoError);
    EXPECT_TRUE(location == place / "file");
    constexpr auto modified = IO::TimeKind::Modification;
    long long seconds = 0;
    for (long long const time : {0ll, 1234567890ll, 1ll << 33, 1ll << 62}) {
        MuErrCode const set = file->SetTime(modified, time);
        // The second last is not for every disk.
        EXPECT_TRUE(set == (time >> 34 == 0 ? IO::NoError : IO::ErrFileInvalidTime) ||
                    (time >> 33 == 1 && set == IO::ErrFileInvalidTime));
        EXPECT_EQ(file->GetTime(modified, &seconds), IO::NoError);
        EXPECT_EQ(seconds == time, set == IO::NoError);
    }

    EXPECT_EQ(File(place.GetRoot()).GetStatus(), IO::ErrNotAFile);
    IO::Location const lost(place / "absent", IO::Name("file"));
    EXPECT_EQ(File(lost, File::OnNotFound::Create).GetStatus(), IO::ErrFileCreationFailed);
    EXPECT_EQ(File(IO::Location(u"")).GetStatus(), IO::Error);
    Tests::LogCapture const log;
    File absent(place / "absent", File::OnNotFound::FailQuietly);
    EXPECT_TRUE(log.GetLines().empty());
    constexpr auto created = IO::TimeKind::Creation;
    Mu::UniString locker;
    unsigned int number = 0;
    unsigned long long length = 0;
    int time = 0;
    bool is = false;
    IO::DiskUse use;
    for (MuErrCode const status : {absent.GetStatus(),
                                   absent.Open(Mode::ReadOnly),
                                   absent.Close(),
                                   absent.Flush(),
                                   absent.GetDataLength(&length),
                                   absent.SetDataLength(0),
                                   absent.SetTime(created, 0),
                                   absent.GetTime(created, &seconds),
                                   absent.SetCreationTime(1),
                                   absent.GetCreationTime(&time),
                                   absent.SetModificationTime(1),
                                   absent.GetModificationTime(&time),
                                   absent.GetDiskUse(&use),
                                   absent.SetTypeInfo(1, 2),
                                   absent.GetTypeInfo(&number, &number),
                                   absent.IsWriteProtected(&is),
                                   absent.SetWriteProtection(),
                                   absent.ClearWriteProtection(),
                                   absent.GetLocation(&location),
                                   absent.GetPosition(&number),
                                   absent.Seek(File::SeekOrigin::Beginning, 0)})
        EXPECT_EQ(status, IO::ErrFileNotFound);
    EXPECT_FALSE(absent.IsReadable() || absent.IsOpen() || absent.IsWriteable(nullptr, &locker));
    unsigned int * const noNumber = nullptr;
    unsigned long long * const noLength = nullptr;
    int const & noTime = Tests::NullReference<int const>();
    for (File * any : {file, &absent})
        for (MuErrCode const status :
             {any->GetDataLength(noNumber), any->GetDataLength(noLength),
              any->GetPosition(noNumber), any->GetPosition(noLength),
              any->GetInputPosition(noLength), any->GetAvailable(noLength),
              any->GetTime(created, nullptr), any->GetCreationTime(nullptr),
              any->GetModificationTime(nullptr), any->SetCreationTime(noTime),
              any->SetModificationTime(noTime), any->GetDiskUse(nullptr),
              any->GetTypeInfo(&number, nullptr), any->GetTypeInfo(nullptr, &number),
              any->IsWriteProtected(nullptr), any->GetLocation(nullptr)})
            EXPECT_EQ(status, IO::Error);
}

// Whatever is read, written, pushed back or sought in any mode, the file is a string with a cursor;
// what was pushed back lies over it there until it is read, or written over.
TEST_P(FileOn, IsAStringWithACursor) {
    for (unsigned int seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        std::string model;
        for (unsigned int i = random() % 9000; i != 0; --i)
            model += static_cast<char>('a' + random() % 26);
        place.Write("file", model);
        File file(place / "file");
        Mode const mode = static_cast<Mode>(random() % 3 == 0 ? 3 : random() % 8);
        SCOPED_TRACE(static_cast<int>(mode));
        auto const [reads, writes, seeks, empties] = modes[static_cast<int>(mode)];
        ASSERT_EQ(file.Open(mode), IO::NoError);
        EXPECT_EQ(file.CheckReadOperation(), reads);
        EXPECT_EQ(file.CheckWriteOperation(), writes);
        EXPECT_EQ(file.CheckRandomOperation(), seeks);
        if (empties)
            model.clear();
        std::size_t cursor = mode == Mode::Append ? model.size() : 0;
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
            char * data = nullptr;
            unsigned long long number = 0;
            unsigned int const operation = random() % 12;
            if (operation < 7 && !reads) {
                for (MuErrCode const status :
                     {file.ReadBin(text.data(), size, &count), file.CopyBin(text.data(), 1, &count),
                      file.Look(0, text.data()), file.PushBack("x", 1), file.Skip(1, &number),
                      file.DirectInputAccess(1, &data, &count)})
                    ASSERT_EQ(status, IO::Error);
                ASSERT_EQ(count + number, 0u);
                continue;
            }
            switch (operation) {
            case 0:
                ASSERT_EQ(step % 2 == 0 ? Get(file, size) : GetSingly(file, size), there);
                pass(there.size());
                break;
            case 2: {
                // Also past the end, by more than a position counts.
                unsigned long long const asked = step % 4 == 0 ? ULLONG_MAX - size : size;
                unsigned long long const passed = look(asked).size();
                ASSERT_TRUE(IsTold(file.Skip(asked, &number), asked == passed));
                ASSERT_EQ(number, passed);
                pass(passed);
                break;
            }
            case 3:
                file.ResetInputStatus(); // an end that was met is told until then
                ASSERT_EQ(file.IsEOI(), look(1).empty());
                break;
            case 4: {
                char c = 0;
                std::string const byte = look(size + 1).substr(there.size());
                bool const isThere = there.size() == size && !byte.empty();
                ASSERT_TRUE(IsTold(file.Look(size, &c), isThere));
                ASSERT_EQ(c, isThere ? byte[0] : 0);
                break;
            }
            case 5:
                ASSERT_TRUE(IsTold(file.CopyBin(text.data(), size, &count), there.size() == size));
                ASSERT_EQ(text.substr(0, count), there);
                break;
            case 6:
                (void)file.DirectInputAccess(size, &data, &count);
                ASSERT_TRUE(size == 0 || std::string(data, count) == there);
                break;
            case 1: {
                text = std::string(std::min<std::size_t>(size, cursor), 'P');
                ASSERT_EQ(file.PushBack(text.data(), static_cast<unsigned int>(text.size())),
                          IO::NoError);
                pushed = text + pushed;
                cursor -= text.size();
                break;
            }
            case 7: {
                std::size_t const target = random() % (model.size() + 1);
                // Kept: only the low 32 bits of a jump count.
                unsigned long long const asked = target + (random() % 4 == 0 ? 1ull << 32 : 0);
                ASSERT_EQ(file.SetPosition(asked), seeks ? IO::NoError : IO::Error);
                if (seeks) {
                    pushed.erase(0, target < cursor ? pushed.size() : target - cursor);
                    cursor = target;
                }
                break;
            }
            case 8: {
                long long const length = static_cast<long long>(model.size());
                long long const bases[] = {0, static_cast<long long>(cursor), length, 0};
                unsigned int const origin = random() % 4;
                long long const target = random() % (length + 6) - 3;
                bool const isFar = random() % 8 == 0;
                long long const offset = isFar ? LLONG_MAX - size : target - bases[origin];
                bool const isLegal = !isFar && target >= 0 && target <= length;
                ASSERT_EQ(file.Seek(static_cast<File::SeekOrigin>(origin), offset),
                          !seeks || origin == 3 ? IO::Error
                          : isLegal             ? IO::NoError
                                                : IO::ErrIllegalPosition);
                if (!seeks)
                    break;
                bool const isInside = isLegal && origin == 1 && offset >= 0;
                pushed.erase(0, isInside ? static_cast<std::size_t>(offset) : pushed.size());
                // Where a refused one leaves a file that is read ahead is its own matter.
                cursor = isLegal && origin != 3 ? static_cast<std::size_t>(target)
                                                : static_cast<std::size_t>(PositionOf(file));
                ASSERT_LE(cursor, model.size());
                break;
            }
            case 9: {
                std::size_t const length = random() % 2 == 0 ? model.size() + size : size;
                ASSERT_EQ(file.SetDataLength(length), writes ? IO::NoError : IO::Error);
                if (writes) {
                    model.resize(length);
                    cursor = length;
                    pushed.clear();
                }
                break;
            }
            default: {
                text = std::string(size, static_cast<char>('A' + step % 26));
                if (size != 0 && step % 3 == 0) {
                    ASSERT_EQ(PutSingly(file, text), writes ? IO::NoError : IO::Error);
                } else {
                    ASSERT_EQ(file.WriteBin(text.data(), size, &count),
                              writes ? IO::NoError : IO::Error);
                    ASSERT_EQ(count, writes ? size : 0);
                }
                if (writes) {
                    model.replace(cursor, std::min(text.size(), model.size() - cursor), text);
                    cursor += size;
                    pushed.clear();
                }
                if (random() % 4 == 0) {
                    ASSERT_EQ(file.Flush(), writes ? IO::NoError : IO::Error);
                }
                for (unsigned int i = 0; !writes && i < 3; ++i)
                    ASSERT_EQ(i == 0   ? file.PushMark()
                              : i == 1 ? file.PopMark()
                                       : file.DirectOutputAccess(0, &data, &count),
                              IO::Error);
                ASSERT_EQ(file.GetOffset(), 0u);
            }
            }
            ASSERT_EQ(file.GetPosition(&number), seeks ? IO::NoError : IO::Error);
            ASSERT_EQ(number, seeks ? cursor : 0);
            ASSERT_EQ(file.GetInputPosition(&number), reads ? IO::NoError : IO::Error);
            ASSERT_EQ(number, reads ? cursor : 0);
            ASSERT_EQ(file.GetAvailable(&number), reads ? IO::NoError : IO::Error);
            ASSERT_EQ(number, reads ? model.size() - cursor : 0);
            if (random() % 4 == 0) { // which writes what is buffered
                ASSERT_EQ(file.GetDataLength(&number), IO::NoError);
                ASSERT_EQ(number, model.size());
            }
        }
        file.Close();
        EXPECT_EQ(place.Read("file"), model);
    }
}

// What was written in part is written over: the next byte goes where the caller stands, which is no
// further than the end where a buffer has lost something. What is refused is not written later.
TEST(File, StandsWhereItStoodWhenAWriteOrALengthFails) {
    using Tests::FileCall;
    Tests::TempFolder const disk;
    for (FileCall const call : {FileCall::WriteFile, FileCall::SetEndOfFile})
        for (Mode const mode : {Mode::ReadWrite, Mode::WriteOnly}) {
            bool const writes = call == FileCall::WriteFile;
            disk.Write("file", "01234");
            File file(Location(disk.GetPortable("file").c_str()));
            ASSERT_EQ(file.Open(mode), IO::NoError);
            ASSERT_EQ(file.SetPosition(2), IO::NoError);
            Tests::ScriptedFileCalls calls;
            calls.Fail(call, 1, IO::FileError::DiskFull, false, 3);
            EXPECT_TRUE(!writes || Put(file, "abcdef") == IO::EOO || mode == Mode::WriteOnly);
            EXPECT_EQ(writes ? file.Flush() : file.SetDataLength(7), IO::EOO);
            calls.Clear();
            EXPECT_EQ(writes ? Put(file, "refused") : IO::EOO, IO::EOO);
            file.ResetOutputStatus();
            EXPECT_EQ(Put(file, "X"), IO::NoError);
            unsigned long long const end = PositionOf(file);
            EXPECT_EQ(file.Close(), IO::NoError);
            EXPECT_EQ(disk.Read("file"), !writes                   ? "01X34"
                                         : mode == Mode::ReadWrite ? "01Xbc"
                                                                   : "01abcX");
            EXPECT_EQ(end, disk.Read("file").find('X') + 1);
        }
}

#include <Kestrel/FileSystem/Platform/RecordingFileCalls.h>

#include <Kestrel/Location/Internal/OSErrors.h>

#include "Tests/Support/FileSystem/ScriptedFileCalls.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

using namespace IO;
using Tests::FileCall;
using Tests::ScriptedFileCalls;

/// Has words of its own for one error and none for the others.
class WordyFileCalls : public ForwardingFileCalls {
public:
    WordyFileCalls() : ForwardingFileCalls(GetPlatformFileCalls()) {}
    unsigned int FormatMessage(unsigned int error, char * text, unsigned int size) override {
        SetLastError(4321); // as a real one may
        if (error != 5)
            return 0;
        std::snprintf(text, size, "No way. ");
        return 8;
    }
};

std::string TakeErrors() {
    char const * const errors = GetOSErrors();
    std::string const text = errors != nullptr ? errors : "(null)";
    ClearOSErrors();
    return text;
}

} // namespace

TEST(RecordingFileCalls, LeavesTheCallsWithoutARecordAlone) {
    ScriptedFileCalls scripted;
    FileCalls & calls = GetFileCalls();
    ClearOSErrors();
    scripted.Fail(FileCall::Any, 1, 5, true);
    FindData data;
    char16_t units[16];
    TextBuffer text{units, 16, 0};
    EXPECT_EQ(calls.FindNextFile(nullptr, &data), 5u);
    EXPECT_EQ(calls.SetFilePointerEx(nullptr, 0, nullptr, 0), 5u);
    EXPECT_EQ(calls.GetDriveType(u"C:\\"), DriveType::NoRoot);
    EXPECT_EQ(calls.SHGetFolderPath(5, &text), 5u);
    scripted.Clear();
    EXPECT_EQ(TakeErrors(), "");
}

TEST(RecordingFileCalls, SaysWhatItCanAboutAnUnknownNumber) {
    WordyFileCalls words;
    FileCalls & before = SetFileCalls(&words);
    {
        ScriptedFileCalls scripted;
        ClearOSErrors();
        GetFileCalls().SetLastError(77);
        scripted.Fail(FileCall::DeleteFile, 1, 4000000000u);
        EXPECT_EQ(GetFileCalls().DeleteFile(u"C:\\x"), 4000000000u);
        scripted.Fail(FileCall::DeleteFile, 1, 5);
        EXPECT_EQ(GetFileCalls().DeleteFile(u"C:\\x"), 5u);
        EXPECT_EQ(GetFileCalls().GetLastError(), 77u) << "recording leaves the number as it was";
        EXPECT_EQ(TakeErrors(), "DeleteFile: 4000000000 = \"???\", DeleteFile: 5 = \"No way. \"");
    }
    SetFileCalls(&before);
}

TEST(RecordingFileCalls, WritesInPieces) {
    static char const memory[1] = {};
    class Pieces : public ForwardingFileCalls {
    public:
        Pieces() : ForwardingFileCalls(GetPlatformFileCalls()) {}
        unsigned int WriteFile(FileHandle, char const * source, unsigned int count,
                               unsigned int * written) override {
            EXPECT_EQ(source - memory, pieces.size() * 0x1FF8000);
            pieces.push_back(count);
            bool const fails = pieces.size() == failAt;
            *written = fails ? 7 : count;
            return fails ? FileError::DiskFull : FileError::None;
        }
        std::vector<unsigned int> pieces;
        std::size_t failAt = 0;
    } pieces;
    RecordingFileCalls calls(pieces);
    using Counts = std::vector<unsigned int>;
    for (auto const & [count, expected] :
         {std::pair(40000000u, Counts{0x1FF8000, 40000000 - 0x1FF8000}),
          {0xFFFFFFFFu, Counts(2, 0x1FF8000)}, // the second of these fails
          {0u, Counts(1, 0)}}) {
        unsigned int written = 99;
        bool const fails = count == 0xFFFFFFFF;
        pieces.pieces.clear();
        pieces.failAt = fails ? 2 : 0;
        EXPECT_EQ(calls.WriteFile(nullptr, memory, count, &written),
                  fails ? FileError::DiskFull : 0);
        EXPECT_EQ(written, fails ? 0x1FF8000 + 7 : count);
        EXPECT_EQ(pieces.pieces, expected);
    }
    ClearOSErrors();
}

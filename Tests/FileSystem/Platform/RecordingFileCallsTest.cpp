#include <Kestrel/FileSystem/Platform/RecordingFileCalls.h>

#include <Kestrel/Location/Internal/OSErrors.h>

#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/TempFolder.h"

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
        scripted.Fail(FileCall::DeleteFile, 1, 5);
        EXPECT_EQ(GetFileCalls().DeleteFile(u"C:\\x"), 5u);
        scripted.Fail(FileCall::DeleteFile, 1, 4000000000u);
        EXPECT_EQ(GetFileCalls().DeleteFile(u"C:\\x"), 4000000000u);
        EXPECT_EQ(GetFileCalls().GetLastError(), 77u) << "recording leaves the number as it was";
        EXPECT_EQ(TakeErrors(), "DeleteFile: 5 = \"No way. \", DeleteFile: 4000000000 = \"???\"");
    }
    SetFileCalls(&before);
}

TEST(RecordingFileCalls, WritesInPieces) {
    class Pieces : public ForwardingFileCalls {
    public:
        Pieces() : ForwardingFileCalls(GetPlatformFileCalls()) {}
        unsigned int WriteFile(FileHandle, char const * source, unsigned int count,
                               unsigned int * written) override {
            pieces.push_back(count);
            begins.push_back(source);
            bool const fails = pieces.size() == failAt;
            *written = fails ? 7 : count;
            return fails ? FileError::DiskFull : FileError::None;
        }
        std::vector<unsigned int> pieces;
        std::vector<char const *> begins;
        std::size_t failAt = 0;
    };
    static char const memory[1] = {};
    Pieces pieces;
    RecordingFileCalls calls(pieces);
    unsigned int written = 0;
    EXPECT_EQ(calls.WriteFile(nullptr, memory, 40000000, &written), 0u);
    EXPECT_EQ(written, 40000000u);
    EXPECT_EQ(pieces.pieces, (std::vector<unsigned int>{0x1FF8000, 40000000 - 0x1FF8000}));
    EXPECT_EQ(pieces.begins[1] - pieces.begins[0], 0x1FF8000);
    pieces.pieces.clear();
    pieces.failAt = 2;
    EXPECT_EQ(calls.WriteFile(nullptr, memory, 0xFFFFFFFF, &written), FileError::DiskFull);
    EXPECT_EQ(written, 0x1FF8000u + 7);
    EXPECT_EQ(pieces.pieces.size(), 2u);
    pieces.pieces.clear();
    pieces.failAt = 0;
    EXPECT_EQ(calls.WriteFile(nullptr, memory, 0, &written), 0u);
    EXPECT_EQ(pieces.pieces, std::vector<unsigned int>(1, 0));
    ClearOSErrors();
}

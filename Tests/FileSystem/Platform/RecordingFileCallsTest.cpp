#include <Kestrel/FileSystem/Platform/RecordingFileCalls.h>

#include <Kestrel/Location/Internal/OSErrors.h>

#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/TempFolder.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
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

TEST(RecordingFileCalls, PutsEachFailureDownUnderItsName) {
    ScriptedFileCalls scripted;
    FileCalls & calls = GetFileCalls();
    char16_t units[16];
    TextBuffer text{units, 16, 0};
    FindHandle find;
    FileHandle file;
    FindData data;
    unsigned int count;
    unsigned long long size;
    struct Row {
        char const * name;
        std::function<unsigned int()> call;
    };
    std::vector<Row> const rows = {
        {"SetFileAttributes", [&] { return calls.SetFileAttributes(u"C:\\", 1); }},
        {"GetDiskFreeSpaceEx", [&] { return calls.GetDiskFreeSpaceEx(u"C:\\", &size); }},
        {"FindFirstFile", [&] { return calls.FindFirstFile(u"C:\\", &data); }},
        {"FindFirstFile", [&] { return calls.OpenFolder(u"C:\\", FolderUse::List, &find); }},
        {"CreateFile", [&] { return calls.CreateFile(u"C:\\", 0, 0, 3, 0, &file); }},
        {"CopyFile", [&] { return calls.CopyFile(u"C:\\", u"C:\\"); }},
        {"MoveFile", [&] { return calls.MoveFile(u"C:\\", u"C:\\"); }},
        {"DeleteFile", [&] { return calls.DeleteFile(u"C:\\"); }},
        {"CreateDirectory", [&] { return calls.CreateDirectory(u"C:\\"); }},
        {"RemoveDirectory", [&] { return calls.RemoveDirectory(u"C:\\"); }},
        {"SetFileTime", [&] { return calls.SetFileTime(nullptr, &size, nullptr); }},
        {"GetFileAttributes", [&] { return calls.GetFileAttributes(u"C:\\", &count); }},
        {"GetSystemDirectory", [&] { return calls.GetSystemDirectory(&text); }},
        {"GetModuleFileName", [&] { return calls.GetModuleFileName(&text); }},
        {"GetCurrentDirectory", [&] { return calls.GetCurrentDirectory(&text); }},
        {"GetTempPath", [&] { return calls.GetTempPath(&text); }},
        {"GetLongPathName", [&] { return calls.GetLongPathName(u"C:\\", &text); }},
        {"GetVolumeInformation", [&] { return calls.GetVolumeInformation(u"C:\\"); }},
        {"GetLogicalDriveStrings", [&] { return calls.GetLogicalDriveStrings(&text); }},
        {"ReadFile", [&] { return calls.ReadFile(nullptr, nullptr, 0, &count); }},
        {"SetEndOfFile", [&] { return calls.SetEndOfFile(nullptr); }},
        {"GetFileSizeEx", [&] { return calls.GetFileSizeEx(nullptr, &size); }},
        {"FlushFileBuffers", [&] { return calls.FlushFileBuffers(nullptr); }},
    };
    char words[256];
    ASSERT_NE(calls.FormatMessage(5, words, sizeof(words)), 0u);
    for (Row const & row : rows) {
        ClearOSErrors();
        scripted.Fail(FileCall::Any, 1, 5, true);
        EXPECT_EQ(row.call(), 5u) << row.name;
        scripted.Clear();
        EXPECT_EQ(TakeErrors(), std::string(row.name) + ": 5 = \"" + words + "\"");
    }
}

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

TEST(RecordingFileCalls, KeepsDialogsAwayRoundTheMarkedCalls) {
    class ModeWatch : public ForwardingFileCalls {
    public:
        ModeWatch() : ForwardingFileCalls(GetPlatformFileCalls()) {}
        unsigned int SetErrorMode(unsigned int mode) override {
            std::swap(mode, current);
            return mode;
        }
        unsigned int GetFileAttributes(EntryPath, unsigned int *) override { return Note(); }
        unsigned int SetFileAttributes(EntryPath, unsigned int) override { return Note(); }
        unsigned int GetDiskFreeSpaceEx(PathText, unsigned long long *) override { return Note(); }
        unsigned int FindFirstFile(PathText, FindData *) override { return Note(); }
        unsigned int GetDriveType(PathText) override { return Note(); }
        unsigned int DeleteFile(EntryPath) override { return Note(); }
        unsigned int GetVolumeInformation(PathText) override { return Note(); }
        unsigned int Note() {
            seen.push_back(current);
            return 0;
        }
        unsigned int current = 1;
        std::vector<unsigned int> seen;
    };
    ModeWatch watch;
    RecordingFileCalls calls(watch);
    unsigned int attributes;
    unsigned long long available;
    FindData data;
    (void)calls.GetFileAttributes(u"", &attributes);
    (void)calls.SetFileAttributes(u"", 0);
    (void)calls.GetDiskFreeSpaceEx(u"", &available);
    (void)calls.FindFirstFile(u"", &data);
    (void)calls.GetDriveType(u"");
    EXPECT_EQ(watch.seen, std::vector<unsigned int>(5, 0x8001));
    watch.seen.clear();
    (void)calls.DeleteFile(u"");
    (void)calls.GetVolumeInformation(u""); // its caller puts the mark
    EXPECT_EQ(watch.seen, std::vector<unsigned int>(2, 1));
    EXPECT_EQ(watch.current, 1u);
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

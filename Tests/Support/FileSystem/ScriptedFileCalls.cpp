#include "Tests/Support/FileSystem/ScriptedFileCalls.h"

#include <algorithm>
#include <iterator>
#include <span>

namespace Tests {

namespace {

// What the sweep lets each call answer: every number that some table of the library tells apart.
constexpr unsigned int sweptErrors[] = {3, 5, 32, 33, 4, 39, 112, 2, 80, 183, 145, 17, 19, 29, 87};

constexpr unsigned int worstErrors[] = {5, 2, 112};

class FileCallFaults : public FaultSource {
public:
    explicit FileCallFaults(std::span<unsigned int const> errors) : errors(errors) {}
    char const * GetName() const override { return "filecall"; }
    unsigned int CountWays() const override { return static_cast<unsigned int>(errors.size()); }
    void Arm(Fault const & fault) override {
        calls.Fail(FileCall::Any, fault.n, errors[fault.way], fault.onwards);
        if (fault.later != 0)
            calls.FailAgain(fault.later, errors[fault.laterWay]);
    }
    bool Disarm() override { return calls.Clear(); }
    long long CountHeld() const override { return calls.CountOpen(); }

private:
    std::span<unsigned int const> errors;
    ScriptedFileCalls calls;
};

} // namespace

void SweepFileCalls(std::function<void(bool failed)> const & scenario) {
    FileCallFaults faults(sweptErrors);
    SweepFaults(faults, scenario);
}

void SweepFileCallsBriefly(std::function<void(bool failed)> const & scenario) {
    FileCallFaults faults(worstErrors);
    SweepFaults(faults, scenario);
}

ScriptedFileCalls::ScriptedFileCalls() : ForwardingFileCalls(IO::SetFileCalls(this)) {}

ScriptedFileCalls::~ScriptedFileCalls() {
    IO::SetFileCalls(&GetBelow());
}

void ScriptedFileCalls::Fail(FileCall kind, unsigned int n, unsigned int error, bool onwards,
                             unsigned int bytes) {
    failing = kind;
    firstError = error;
    movedBytes = bytes;
    script = {n, 0, onwards, 0, 0};
    faults.Arm(script);
}

void ScriptedFileCalls::FailAgain(unsigned int later, unsigned int error) {
    secondError = error;
    script.later = later;
    faults.Arm(script);
}

bool ScriptedFileCalls::Clear() {
    return faults.Disarm();
}

unsigned int ScriptedFileCalls::Count(FileCall kind) const {
    return counts[static_cast<unsigned int>(kind)];
}

void ScriptedFileCalls::ResetCounts() {
    std::fill(std::begin(counts), std::end(counts), 0);
}

void ScriptedFileCalls::Before(unsigned int n, std::function<void()> newAction) {
    untilAction = n;
    action = std::move(newAction);
}

bool ScriptedFileCalls::Meets(FileCall kind) {
    if (untilAction != 0 && --untilAction == 0)
        action();
    ++counts[static_cast<unsigned int>(kind)];
    ++counts[static_cast<unsigned int>(FileCall::Any)];
    if (failing != FileCall::Any && failing != kind)
        return false;
    FaultCounter::Hit const hit = faults.Count();
    if (hit == FaultCounter::Hit::None)
        return false;
    failure = hit == FaultCounter::Hit::First ? firstError.load() : secondError.load();
    return true;
}

unsigned int ScriptedFileCalls::SetFileAttributes(EntryPath path, unsigned int attributes) {
    if (Meets(FileCall::SetFileAttributes))
        return failure;
    return ForwardingFileCalls::SetFileAttributes(path, attributes);
}

unsigned int ScriptedFileCalls::GetFileAttributes(EntryPath path, unsigned int * attributes) {
    if (Meets(FileCall::GetFileAttributes)) {
        *attributes = 0;
        return failure;
    }
    return ForwardingFileCalls::GetFileAttributes(path, attributes);
}

unsigned int ScriptedFileCalls::GetDiskFreeSpaceEx(PathText folder,
                                                   unsigned long long * available) {
    if (Meets(FileCall::GetDiskFreeSpaceEx)) {
        *available = 0;
        return failure;
    }
    return ForwardingFileCalls::GetDiskFreeSpaceEx(folder, available);
}

unsigned int ScriptedFileCalls::FindFirstFile(PathText path, FindData * data) {
    if (Meets(FileCall::FindFirstFile))
        return failure;
    return ForwardingFileCalls::FindFirstFile(path, data);
}

unsigned int ScriptedFileCalls::OpenFolder(EntryPath folder, IO::FolderUse use, FindHandle * find) {
    if (Meets(FileCall::OpenFolder)) {
        *find = nullptr;
        return failure;
    }
    unsigned int const error = ForwardingFileCalls::OpenFolder(folder, use, find);
    open += error == IO::FileError::None;
    return error;
}

unsigned int ScriptedFileCalls::GetFolderId(FindHandle find, IO::FolderId * id) {
    if (Meets(FileCall::GetFolderId))
        return failure;
    return ForwardingFileCalls::GetFolderId(find, id);
}

unsigned int ScriptedFileCalls::FindNextFile(FindHandle find, FindData * data) {
    if (Meets(FileCall::FindNextFile))
        return failure;
    return ForwardingFileCalls::FindNextFile(find, data);
}

unsigned int ScriptedFileCalls::LookAtFound(FindHandle find, FindData * data) {
    if (Meets(FileCall::LookAtFound))
        return failure;
    return ForwardingFileCalls::LookAtFound(find, data);
}

unsigned int ScriptedFileCalls::FindClose(FindHandle find) {
    bool const fails = Meets(FileCall::FindClose);
    --open;
    unsigned int const error = ForwardingFileCalls::FindClose(find);
    return fails ? failure.load() : error;
}

unsigned int ScriptedFileCalls::CreateFile(EntryPath path, unsigned int access, unsigned int share,
                                           unsigned int disposition, unsigned int attributes,
                                           FileHandle * file) {
    if (Meets(FileCall::CreateFile)) {
        *file = nullptr;
        return failure;
    }
    unsigned int const error =
        ForwardingFileCalls::CreateFile(path, access, share, disposition, attributes, file);
    open += error == IO::FileError::None;
    return error;
}

unsigned int ScriptedFileCalls::CloseHandle(FileHandle file) {
    bool const fails = Meets(FileCall::CloseHandle);
    --open;
    unsigned int const error = ForwardingFileCalls::CloseHandle(file);
    return fails ? failure.load() : error;
}

unsigned int ScriptedFileCalls::CopyFile(EntryPath from, EntryPath to) {
    if (Meets(FileCall::CopyFile))
        return failure;
    return ForwardingFileCalls::CopyFile(from, to);
}

unsigned int ScriptedFileCalls::MoveFile(PathText from, PathText to) {
    if (Meets(FileCall::MoveFile))
        return failure;
    return ForwardingFileCalls::MoveFile(from, to);
}

unsigned int ScriptedFileCalls::DeleteFile(EntryPath path) {
    if (Meets(FileCall::DeleteFile))
        return failure;
    return ForwardingFileCalls::DeleteFile(path);
}

unsigned int ScriptedFileCalls::CreateDirectory(EntryPath path) {
    if (Meets(FileCall::CreateDirectory))
        return failure;
    return ForwardingFileCalls::CreateDirectory(path);
}

unsigned int ScriptedFileCalls::RemoveDirectory(EntryPath path) {
    if (Meets(FileCall::RemoveDirectory))
        return failure;
    return ForwardingFileCalls::RemoveDirectory(path);
}

unsigned int ScriptedFileCalls::SetFileTime(FileHandle file,
                                            unsigned long long const * creationTime,
                                            unsigned long long const * lastWriteTime) {
    if (Meets(FileCall::SetFileTime))
        return failure;
    return ForwardingFileCalls::SetFileTime(file, creationTime, lastWriteTime);
}

unsigned int ScriptedFileCalls::GetSystemDirectory(TextBuffer * path) {
    if (Meets(FileCall::GetSystemDirectory)) {
        path->length = 0;
        return failure;
    }
    return ForwardingFileCalls::GetSystemDirectory(path);
}

unsigned int ScriptedFileCalls::GetModuleFileName(TextBuffer * path) {
    if (Meets(FileCall::GetModuleFileName)) {
        path->length = 0;
        return failure;
    }
    return ForwardingFileCalls::GetModuleFileName(path);
}

unsigned int ScriptedFileCalls::GetCurrentDirectory(TextBuffer * path) {
    if (Meets(FileCall::GetCurrentDirectory)) {
        path->length = 0;
        return failure;
    }
    return ForwardingFileCalls::GetCurrentDirectory(path);
}

unsigned int ScriptedFileCalls::GetTempPath(TextBuffer * path) {
    if (Meets(FileCall::GetTempPath)) {
        path->length = 0;
        return failure;
    }
    return ForwardingFileCalls::GetTempPath(path);
}

unsigned int ScriptedFileCalls::GetLongPathName(PathText path, TextBuffer * longPath) {
    if (Meets(FileCall::GetLongPathName)) {
        longPath->length = 0;
        return failure;
    }
    return ForwardingFileCalls::GetLongPathName(path, longPath);
}

unsigned int ScriptedFileCalls::SHGetFolderPath(int folder, TextBuffer * path) {
    if (Meets(FileCall::SHGetFolderPath)) {
        path->length = 0;
        return failure;
    }
    return ForwardingFileCalls::SHGetFolderPath(folder, path);
}

unsigned int ScriptedFileCalls::GetVolumeInformation(PathText root) {
    if (Meets(FileCall::GetVolumeInformation))
        return failure;
    return ForwardingFileCalls::GetVolumeInformation(root);
}

unsigned int ScriptedFileCalls::GetLogicalDriveStrings(TextBuffer * drives) {
    if (Meets(FileCall::GetLogicalDriveStrings)) {
        drives->length = 0;
        return failure;
    }
    return ForwardingFileCalls::GetLogicalDriveStrings(drives);
}

unsigned int ScriptedFileCalls::GetDriveType(PathText root) {
    return Meets(FileCall::GetDriveType) ? IO::DriveType::NoRoot
                                         : ForwardingFileCalls::GetDriveType(root);
}

unsigned int ScriptedFileCalls::ReadFile(FileHandle file, char * destination, unsigned int count,
                                         unsigned int * read) {
    if (!Meets(FileCall::ReadFile))
        return ForwardingFileCalls::ReadFile(file, destination, count, read);
    *read = 0;
    unsigned int const moved = std::min(count, movedBytes.load());
    unsigned int const error = moved == 0
                                   ? IO::FileError::None
                                   : ForwardingFileCalls::ReadFile(file, destination, moved, read);
    return error != IO::FileError::None ? error : failure.load();
}

unsigned int ScriptedFileCalls::WriteFile(FileHandle file, char const * source, unsigned int count,
                                          unsigned int * written) {
    if (!Meets(FileCall::WriteFile))
        return ForwardingFileCalls::WriteFile(file, source, count, written);
    *written = 0;
    unsigned int const moved = std::min(count, movedBytes.load());
    unsigned int const error = moved == 0
                                   ? IO::FileError::None
                                   : ForwardingFileCalls::WriteFile(file, source, moved, written);
    return error != IO::FileError::None ? error : failure.load();
}

unsigned int ScriptedFileCalls::SetEndOfFile(FileHandle file) {
    if (Meets(FileCall::SetEndOfFile))
        return failure;
    return ForwardingFileCalls::SetEndOfFile(file);
}

unsigned int ScriptedFileCalls::GetFileSizeEx(FileHandle file, unsigned long long * size) {
    if (Meets(FileCall::GetFileSizeEx)) {
        *size = 0;
        return failure;
    }
    return ForwardingFileCalls::GetFileSizeEx(file, size);
}

unsigned int ScriptedFileCalls::FlushFileBuffers(FileHandle file) {
    if (Meets(FileCall::FlushFileBuffers))
        return failure;
    return ForwardingFileCalls::FlushFileBuffers(file);
}

unsigned int ScriptedFileCalls::SetFilePointerEx(FileHandle file, long long offset,
                                                 unsigned long long * position,
                                                 unsigned int origin) {
    if (Meets(FileCall::SetFilePointerEx))
        return failure;
    return ForwardingFileCalls::SetFilePointerEx(file, offset, position, origin);
}

LinkStatus ScriptedFileCalls::ReadShellLink(PathText path, TextBuffer * target) {
    return Meets(FileCall::ReadShellLink) ? IO::LinkStatus::Failed
                                          : ForwardingFileCalls::ReadShellLink(path, target);
}

unsigned int ScriptedFileCalls::CreateShellLink(PathText path, PathText target,
                                                PathText description) {
    if (Meets(FileCall::CreateShellLink))
        return failure;
    return ForwardingFileCalls::CreateShellLink(path, target, description);
}

} // namespace Tests

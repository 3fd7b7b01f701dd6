#include "Tests/Support/FileSystem/ScriptedFileCalls.h"

#include <algorithm>

namespace Tests {

namespace {

// What the sweep lets each call answer: every number that some table of the library tells apart.
constexpr unsigned int sweptErrors[] = {3, 5, 32, 33, 4, 39, 112, 2, 80, 183, 145, 17, 19, 29, 87};

constexpr unsigned int worstErrors[] = {5, 2, 112};

} // namespace

void SweepFileCalls(std::function<void(bool failed)> const & scenario) {
    SweepCalls<ScriptedFileCalls, FileCall>("filecall", sweptErrors, scenario);
}

void SweepFileCallsBriefly(std::function<void(bool failed)> const & scenario) {
    SweepCalls<ScriptedFileCalls, FileCall>("filecall", worstErrors, scenario);
}

ScriptedFileCalls::ScriptedFileCalls() : ForwardingFileCalls(IO::SetFileCalls(this)) {}

ScriptedFileCalls::~ScriptedFileCalls() {
    IO::SetFileCalls(&GetBelow());
}

unsigned int ScriptedFileCalls::OpenFolder(EntryPath folder, IO::FolderUse use, FindHandle * find) {
    if (auto const failure = Meet(FileCall::OpenFolder)) {
        *find = nullptr;
        return *failure;
    }
    unsigned int const error = ForwardingFileCalls::OpenFolder(folder, use, find);
    open += error == IO::FileError::None;
    return error;
}

unsigned int ScriptedFileCalls::FindClose(FindHandle find) {
    auto const failure = Meet(FileCall::FindClose);
    --open;
    unsigned int const error = ForwardingFileCalls::FindClose(find);
    return failure.value_or(error);
}

unsigned int ScriptedFileCalls::CreateFile(EntryPath path, unsigned int access, unsigned int share,
                                           unsigned int disposition, unsigned int attributes,
                                           FileHandle * file) {
    if (auto const failure = Meet(FileCall::CreateFile)) {
        *file = nullptr;
        return *failure;
    }
    unsigned int const error =
        ForwardingFileCalls::CreateFile(path, access, share, disposition, attributes, file);
    open += error == IO::FileError::None;
    return error;
}

unsigned int ScriptedFileCalls::CloseHandle(FileHandle file) {
    auto const failure = Meet(FileCall::CloseHandle);
    --open;
    unsigned int const error = ForwardingFileCalls::CloseHandle(file);
    return failure.value_or(error);
}

unsigned int ScriptedFileCalls::GetDriveType(PathText root) {
    return Meet(FileCall::GetDriveType) ? IO::DriveType::NoRoot
                                        : ForwardingFileCalls::GetDriveType(root);
}

unsigned int ScriptedFileCalls::ReadFile(FileHandle file, char * destination, unsigned int count,
                                         unsigned int * read) {
    auto const failure = Meet(FileCall::ReadFile);
    if (!failure)
        return ForwardingFileCalls::ReadFile(file, destination, count, read);
    *read = 0;
    unsigned int const moved = std::min(count, movedBytes.load());
    unsigned int const error = moved == 0
                                   ? IO::FileError::None
                                   : ForwardingFileCalls::ReadFile(file, destination, moved, read);
    return error != IO::FileError::None ? error : *failure;
}

unsigned int ScriptedFileCalls::WriteFile(FileHandle file, char const * source, unsigned int count,
                                          unsigned int * written) {
    auto const failure = Meet(FileCall::WriteFile);
    if (!failure)
        return ForwardingFileCalls::WriteFile(file, source, count, written);
    *written = 0;
    unsigned int const moved = std::min(count, movedBytes.load());
    unsigned int const error = moved == 0
                                   ? IO::FileError::None
                                   : ForwardingFileCalls::WriteFile(file, source, moved, written);
    return error != IO::FileError::None ? error : *failure;
}

LinkStatus ScriptedFileCalls::ReadShellLink(PathText path, TextBuffer * target) {
    return Meet(FileCall::ReadShellLink) ? IO::LinkStatus::Failed
                                         : ForwardingFileCalls::ReadShellLink(path, target);
}

} // namespace Tests

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

unsigned int ScriptedFileCalls::OpenFolder(EntryPath folder, IO::FolderUse use, FindHandle * find) {
    if (Meets(FileCall::OpenFolder)) {
        *find = nullptr;
        return failure;
    }
    unsigned int const error = ForwardingFileCalls::OpenFolder(folder, use, find);
    open += error == IO::FileError::None;
    return error;
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

LinkStatus ScriptedFileCalls::ReadShellLink(PathText path, TextBuffer * target) {
    return Meets(FileCall::ReadShellLink) ? IO::LinkStatus::Failed
                                          : ForwardingFileCalls::ReadShellLink(path, target);
}

} // namespace Tests

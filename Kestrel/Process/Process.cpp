#include <Kestrel/Process/Process.h>

#include <Kestrel/Process/Platform/ProcessCalls.h>
#include <Kestrel/Root/Threads/Process.h>

#include <utility>

namespace IO::Process {

namespace {

ProcessCalls * calls = nullptr; // null: the platform's own

SnapshotHandle walk = nullptr; // null: none is in progress
ProcessEntry present;          // the current process of the walk

int EndWalk() {
    if (walk != nullptr)
        GetProcessCalls().CloseSnapshot(std::exchange(walk, nullptr));
    return Error;
}

/// Finds the program among the modules of a process.
class ProgramFinder final : public ModuleVisitor {
public:
    explicit ProgramFinder(Name const & program) : program(program) {}

    bool ModuleFound(ModuleEntry const & entry) override {
        Mu::UniString name(entry.module);
        name.SetToLowerCase();
        if (program != name)
            return true;
        path = Location(Mu::UniString(entry.exePath));
        found.Swap(name);
        return false;
    }

    bool IsFound() const { return !found.IsEmpty(); }

    Mu::UniString found;
    Location path;

private:
    Name const & program;
};

bool Describe(ProcessEntry const & entry, Descriptor * descriptor) {
    // Some letters differ from their own lower-case forms even if case is ignored.
    Mu::UniString exeFile{PathText(entry.exeFile)};
    exeFile.SetToLowerCase();
    Name const program(std::move(exeFile));
    ProgramFinder finder(program);
    if (GetProcessCalls().EnumerateModules(entry.processId, finder) != FileError::None ||
        !finder.IsFound())
        return false;
    // Operations that can throw come first, so that the descriptor changes as a whole or not at
    // all.
    descriptor->name.Swap(finder.found);
    descriptor->path = std::move(finder.path);
    descriptor->processId = entry.processId;
    descriptor->parentProcessId = entry.parentProcessId;
    return true;
}

// Describes the first process from the current one on for which that is possible.
int GoOn(unsigned int error, Descriptor * descriptor) {
    for (; error == FileError::None; error = GetProcessCalls().NextProcess(walk, &present))
        if (Describe(present, descriptor))
            return NoError;
    return EndWalk();
}

} // namespace

ProcessCalls & GetProcessCalls() {
    return calls != nullptr ? *calls : GetPlatformProcessCalls();
}

ProcessCalls & SetProcessCalls(ProcessCalls * other) {
    ProcessCalls & before = GetProcessCalls();
    calls = other;
    return before;
}

int GetPid() {
    return static_cast<int>(Mu::Process::GetCurrentProcessId());
}

int GetActualProcess(Descriptor * descriptor) {
    if (descriptor == nullptr)
        return Error;
    char16_t units[4096];
    TextBuffer text{units, static_cast<unsigned int>(std::size(units)), 0};
    GetProcessCalls().GetModuleFileName(&text);
    Location path(Mu::UniString(text.GetText()));
    Name name;
    if (path.GetLastLocalName(&name) == NoError)
        name.DeleteExtension();
    descriptor->name = name.ToString();
    descriptor->path = std::move(path);
    descriptor->processId = GetPid();
    descriptor->parentProcessId = 0;
    return NoError;
}

int GetFirstProcess(Descriptor * descriptor) {
    EndWalk();
    if (descriptor == nullptr || GetProcessCalls().CreateProcessSnapshot(&walk) != FileError::None)
        return Error;
    return GoOn(GetProcessCalls().FirstProcess(walk, &present), descriptor);
}

int GetNextProcess(Descriptor * descriptor) {
    if (walk == nullptr || descriptor == nullptr)
        return Error;
    return GoOn(GetProcessCalls().NextProcess(walk, &present), descriptor);
}

} // namespace IO::Process

#pragma once

#include <Kestrel/Process/Platform/ForwardingProcessCalls.h>

#include <algorithm>
#include <string>
#include <vector>

namespace Tests {

/// Processes of the test's own; a walk holds one of its looks open.
class ScriptedProcessCalls final : public IO::Process::ForwardingProcessCalls {
public:
    struct Running {
        int id;
        std::u16string exeFile;
        std::vector<std::u16string> modules; // none: it may not be looked into
    };

    explicit ScriptedProcessCalls(std::vector<Running> running)
        : ForwardingProcessCalls(IO::Process::GetPlatformProcessCalls()),
          running(std::move(running)) {
        IO::Process::SetProcessCalls(this);
    }
    ~ScriptedProcessCalls() override { IO::Process::SetProcessCalls(nullptr); }

    unsigned int CreateProcessSnapshot(IO::Process::SnapshotHandle * snapshot) override {
        *snapshot = nullptr;
        if (isRefused)
            return IO::FileError::NotEnoughMemory;
        ++open;
        *snapshot = this;
        return 0;
    }
    unsigned int FirstProcess(IO::Process::SnapshotHandle snapshot,
                              IO::Process::ProcessEntry * entry) override {
        next = 0;
        return NextProcess(snapshot, entry);
    }
    unsigned int NextProcess(IO::Process::SnapshotHandle,
                             IO::Process::ProcessEntry * entry) override {
        if (next == running.size())
            return IO::FileError::NoMoreFiles;
        Running const & process = running[next++];
        *entry = {process.id, process.id + 1000, {}};
        process.exeFile.copy(entry->exeFile, process.exeFile.size());
        return 0;
    }
    void CloseSnapshot(IO::Process::SnapshotHandle) override { --open; }
    unsigned int EnumerateModules(int processId, IO::Process::ModuleVisitor & visitor) override {
        auto const process = std::find_if(running.begin(), running.end(),
                                          [=](auto const & one) { return one.id == processId; });
        if (process->modules.empty())
            return IO::FileError::AccessDenied;
        for (std::u16string const & module : process->modules)
            if (!visitor.ModuleFound({module, u"C:\\Bin\\" + module}))
                break;
        return 0;
    }
    unsigned int Launch(std::filesystem::path::value_type const * path,
                        IO::PathText parameters) override {
        launched += std::filesystem::path(path).filename().string() + "(" +
                    std::string(parameters.begin(), parameters.end()) + ")";
        return launchError;
    }

    std::vector<Running> running;
    std::string launched;
    unsigned int launchError = 0;
    std::size_t next = 0;
    int open = 0;
    bool isRefused = false;
};

} // namespace Tests

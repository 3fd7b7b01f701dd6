#pragma once

#include <Kestrel/Process/Platform/ProcessCalls.h>

namespace IO::Process {

/// The process calls by /proc, posix_spawn and xdg-open.
class PosixProcessCalls final : public ProcessCalls {
public:
    unsigned int GetModuleFileName(TextBuffer * path) override;
    unsigned int CreateProcessSnapshot(SnapshotHandle * snapshot) override;
    unsigned int FirstProcess(SnapshotHandle snapshot, ProcessEntry * entry) override;
    unsigned int NextProcess(SnapshotHandle snapshot, ProcessEntry * entry) override;
    void CloseSnapshot(SnapshotHandle snapshot) override;
    unsigned int EnumerateModules(int processId, ModuleVisitor & visitor) override;
    unsigned int Launch(char const * path, PathText parameters) override;
};

} // namespace IO::Process

#pragma once

#include <Kestrel/Process/Platform/ProcessCalls.h>

namespace IO::Process {

/// Forwards every call to others, so that a derived class can change one operation.
///
/// Memory, threads and failure are those of the calls below.
class ForwardingProcessCalls : public ProcessCalls {
public:
    /// `below` must outlive this.
    explicit ForwardingProcessCalls(ProcessCalls & below) : below(below) {}

    unsigned int GetModuleFileName(TextBuffer * path) override {
        return below.GetModuleFileName(path);
    }
    unsigned int CreateProcessSnapshot(SnapshotHandle * snapshot) override {
        return below.CreateProcessSnapshot(snapshot);
    }
    unsigned int FirstProcess(SnapshotHandle snapshot, ProcessEntry * entry) override {
        return below.FirstProcess(snapshot, entry);
    }
    unsigned int NextProcess(SnapshotHandle snapshot, ProcessEntry * entry) override {
        return below.NextProcess(snapshot, entry);
    }
    void CloseSnapshot(SnapshotHandle snapshot) override { below.CloseSnapshot(snapshot); }
    unsigned int EnumerateModules(int processId, ModuleVisitor & visitor) override {
        return below.EnumerateModules(processId, visitor);
    }
    unsigned int Launch(std::filesystem::path::value_type const * path,
                        PathText parameters) override {
        return below.Launch(path, parameters);
    }

private:
    ProcessCalls & below;
};

} // namespace IO::Process

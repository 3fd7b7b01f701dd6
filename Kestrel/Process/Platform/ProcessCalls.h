#pragma once

#include <Kestrel/Location/Platform/NativeTypes.h>

#include <filesystem>

namespace IO::Process {

/// A snapshot of the processes of the machine. Null is none; the caller releases it.
using SnapshotHandle = void *;

/// What a look finds of a process.
struct ProcessEntry {
    static constexpr unsigned int NameSize = 260;

    int processId;
    int parentProcessId;
    char16_t exeFile[NameSize]; // zero-terminated; the program's file name, without folders
};

/// A file that a process has loaded: the program itself or a library of it.
struct ModuleEntry {
    PathText module;  ///< the file's name, without folders
    PathText exePath; ///< as Location reads it: portable or native, absolute
};

/// Gets the modules of a process. The texts live as long as the call.
class ModuleVisitor {
public:
    /// True to continue.
    virtual bool ModuleFound(ModuleEntry const & entry) = 0;

protected:
    ~ModuleVisitor() = default;
};

/// The operating system's process calls, as far as the library needs them, and its only way to
/// them. Names and error numbers are those of Windows everywhere.
///
/// An implementation translates and does nothing else.
///
/// Memory:  none from the root but for a launch; what a shortage prevents is NotEnoughMemory.
/// Threads: any number at once, but one at a time on one snapshot.
/// Failure: each call returns 0 or the error number; out-parameters are then as documented for the
///          call.
class ProcessCalls {
public:
    virtual ~ProcessCalls() = default;

    /// The file of the running program, as ModuleEntry::exePath. An empty text after a failure.
    virtual unsigned int GetModuleFileName(TextBuffer * path) = 0;

    /// Null in `*snapshot` after a failure.
    virtual unsigned int CreateProcessSnapshot(SnapshotHandle * snapshot) = 0;
    /// NoMoreFiles when there is none.
    virtual unsigned int FirstProcess(SnapshotHandle snapshot, ProcessEntry * entry) = 0;
    /// NoMoreFiles behind the last. On Linux only processes whose program can be read are in it.
    virtual unsigned int NextProcess(SnapshotHandle snapshot, ProcessEntry * entry) = 0;
    virtual void CloseSnapshot(SnapshotHandle snapshot) = 0;

    /// Shows the modules of a process; on Linux only the program. Fails, without a visit, for a
    /// process that may not be looked into or has ended. What the visitor throws goes on, and
    /// nothing is left open.
    virtual unsigned int EnumerateModules(int processId, ModuleVisitor & visitor) = 0;

    /// Starts the program, or opens the file with what the user has for its kind, and does not wait
    /// for it: nothing of it stays with this process. `path` is native and zero-terminated.
    ///
    /// On Linux the parameters are split at blanks, and there is no way to quote one. A file that
    /// the system does not take as a program goes to xdg-open, without the parameters.
    virtual unsigned int Launch(std::filesystem::path::value_type const * path,
                                PathText parameters) = 0;
};

/// The calls in use: the platform's own, or what SetProcessCalls put there.
ProcessCalls & GetProcessCalls();
/// The platform's own calls.
ProcessCalls & GetPlatformProcessCalls();
/// Puts other calls in the place; null the platform's own. Returns what was there before. Not while
/// a walk runs, or another thread uses the calls.
ProcessCalls & SetProcessCalls(ProcessCalls * calls);

} // namespace IO::Process

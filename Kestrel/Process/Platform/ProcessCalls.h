#pragma once

#include <Kestrel/Location/Platform/NativeTypes.h>

#include <filesystem>

namespace IO::Process {

/// A snapshot of the processes of the machine. Null for none; the caller closes it.
using SnapshotHandle = void *;

/// The data of a process in a snapshot.
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

/// Receives the modules of a process. The texts are valid during the call.
class ModuleVisitor {
public:
    /// True to continue.
    virtual bool ModuleFound(ModuleEntry const & entry) = 0;

protected:
    ~ModuleVisitor() = default;
};

/// The operating system's process calls, as far as the library needs them, and its only access to
/// them. Names and error numbers are those of Windows everywhere.
///
/// An implementation translates and does nothing else.
///
/// Memory:  none from the root except for a launch; NotEnoughMemory when out of memory.
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
    /// NoMoreFiles if there is none.
    virtual unsigned int FirstProcess(SnapshotHandle snapshot, ProcessEntry * entry) = 0;
    /// NoMoreFiles after the last. On Linux only processes whose program can be read are included.
    virtual unsigned int NextProcess(SnapshotHandle snapshot, ProcessEntry * entry) = 0;
    virtual void CloseSnapshot(SnapshotHandle snapshot) = 0;

    /// Visits the modules of a process; on Linux only the program. Fails, without a visit, for a
    /// process that may not be inspected or has ended. Exceptions of the visitor are passed on, and
    /// nothing is left open.
    virtual unsigned int EnumerateModules(int processId, ModuleVisitor & visitor) = 0;

    /// Starts the program, or opens the file with the user's program for its kind, and does not
    /// wait for it: this process keeps nothing of it. `path` is native and zero-terminated.
    ///
    /// On Linux the parameters are split at blanks, without quoting. A file that the system does
    /// not accept as a program is passed to xdg-open, without the parameters.
    virtual unsigned int Launch(std::filesystem::path::value_type const * path,
                                PathText parameters) = 0;
};

/// The calls in use: the platform's own, or those of SetProcessCalls.
ProcessCalls & GetProcessCalls();
/// The platform's own calls.
ProcessCalls & GetPlatformProcessCalls();
/// Replaces the calls in use; null restores the platform's own. Returns the earlier ones. Not
/// during a walk, nor while another thread uses the calls.
ProcessCalls & SetProcessCalls(ProcessCalls * calls);

} // namespace IO::Process

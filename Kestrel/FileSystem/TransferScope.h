#pragma once

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO {

class TransferStep;

/// The progress of the work under a TransferScope.
struct TransferProgress {
    unsigned long long bytes = 0;   ///< copied, read and counted
    unsigned long long entries = 0; ///< files, folders and links that were started
    Mu::UniString place;            ///< the portable path of the entry being worked on
};

/// Observes the progress of work, and decides whether it continues. Called on the working thread;
/// must not throw, and must not start file operations that the same scope would report.
class KESTREL_API TransferObserver {
public:
    virtual ~TransferObserver() = default;
    /// Called at most once per interval of the scope. Return false to end the work.
    virtual bool Advanced(TransferProgress const & progress) = 0;
    /// An entry of a tree could not be copied, moved, deleted or entered; `causes` contains the
    /// errors of the operating system, as in the log, and may be empty. Return true to continue
    /// with the next entry; false, as here, makes the operation fail.
    virtual bool Failed(Mu::UniString const & place, MuErrCode status, char const * causes);
};

/// Reports the progress of long operations, and can end them, during its lifetime:
///
///     struct Watch : IO::TransferObserver {
///         bool Advanced(IO::TransferProgress const & now) override { return !userHasHadEnough; }
///     } watch;
///     IO::TransferScope scope(watch);
///     MuErrCode const status = IO::fileSystem.Copy(source, target);
///     if (scope.IsEnded()) ...
///
/// It applies to the thread that creates it, and to Copy, Move, Delete and DeleteAll of files and
/// folders, CountFiles and CountSize, every TreeEnumerator, and IO::ReadAll. The innermost scope of
/// a thread is used.
///
/// Work that is ended returns Error, and deletes incomplete results as after any failure; the log
/// line names the scope as the cause. All other work under the scope ends at once from then on.
/// Only the deletion of the source of a Move between drives is always completed.
///
/// If the observer lets entries be skipped, a copy contains the others and a deletion continues;
/// the operation then returns the status of the first such entry. A Move skips nothing, nor does a
/// copy between file systems. A walk
/// always continues, unless the observer refuses.
///
/// Memory:  the path of the place. Without a scope, work costs one test of a variable of the thread
///          for each entry and block.
/// Threads: one.
class KESTREL_API TransferScope final {
public:
    explicit TransferScope(TransferObserver & observer, unsigned int milliseconds = 100);
    ~TransferScope();
    TransferScope(TransferScope const &) = delete;
    TransferScope & operator=(TransferScope const &) = delete;

    /// The innermost scope of this thread; null if there is none.
    static TransferScope * GetCurrent() noexcept;
    /// Counts bytes for the scope of this thread, if there is one. False: end the work.
    static bool Add(unsigned long long bytes) noexcept {
        TransferScope * const scope = GetCurrent();
        return scope == nullptr || scope->AddBytes(bytes);
    }

    /// Whether the observer ended the work.
    bool IsEnded() const { return isEnded; }
    TransferProgress const & GetProgress() const { return progress; }

private:
    friend class TransferPause;
    friend class TransferStep;
    friend class TransferWhole;

    bool AddBytes(unsigned long long bytes) noexcept;
    void Report() noexcept;

    TransferObserver & observer;
    TransferScope * const outer;
    TransferProgress progress;
    Mu::UniString path;            // of all current steps, one after another
    TransferStep * step = nullptr; // the innermost
    unsigned long long interval;   // microseconds
    unsigned long long next;       // when to report again
    unsigned int whole = 0;        // above 0, no entry is skipped
    bool isEnded = false;
    bool isFailing = false; // the observer has refused to skip, while the operation returns
};

} // namespace IO

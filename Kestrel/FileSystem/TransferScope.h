#pragma once

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO {

class TransferStep;

/// How far the work under a TransferScope has come.
struct TransferProgress {
    unsigned long long bytes = 0;   ///< copied, read and counted
    unsigned long long entries = 0; ///< files, folders and links that were begun
    Mu::UniString place;            ///< the portable path of the entry being worked on
};

/// Observes the progress of work, and decides whether it continues. Called in the thread that works; nothing may
/// be thrown, and no file operations started that the same scope would report.
class KESTREL_API TransferObserver {
public:
    virtual ~TransferObserver() = default;
    /// Called at most once in the interval of the scope. False ends the work.
    virtual bool Advanced(TransferProgress const & progress) = 0;
    /// An entry of a tree could not be copied, moved, deleted or entered; `causes` is what the
    /// operating system reported, in the form of the log, and may be empty. True: the work continues with
    /// the next entry. False, as here: it fails now.
    virtual bool Failed(Mu::UniString const & place, MuErrCode status, char const * causes);
};

/// Reports the progress of long work, and allows to end it, as long as the scope lives:
///
///     struct Watch : IO::TransferObserver {
///         bool Advanced(IO::TransferProgress const & now) override { return !userHasHadEnough; }
///     } watch;
///     IO::TransferScope scope(watch);
///     MuErrCode const status = IO::fileSystem.Copy(source, target);
///     if (scope.IsEnded()) ...
///
/// It is for the thread that makes it, and for Copy, Move, Delete and DeleteAll of files and folders,
/// CountFiles and CountSize, every TreeEnumerator, and IO::ReadAll. The innermost scope of a thread
/// counts.
///
/// Work that is ended returns Error, and deletes what is half done as after any failure; the log
/// line names the scope as the cause. Everything else under the scope ends at once from then on.
/// Deleting the source of a Move from one drive to another is not ended any more.
///
/// Where the observer lets entries be skipped, a copy keeps the others and a deletion continues;
/// the operation then returns the status of the first such entry. In a Move nothing is skipped. A
/// walk continues anyway, unless the observer refuses.
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

    /// Null: none is alive in this thread.
    static TransferScope * GetCurrent() noexcept;
    /// Counts bytes for the scope of this thread, where there is one. False: the work is to end.
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
    unsigned int whole = 0;        // above 0, nothing is skipped
    bool isEnded = false;
    bool isFailing = false; // the observer has refused to skip, on the way out of the operation
};

} // namespace IO

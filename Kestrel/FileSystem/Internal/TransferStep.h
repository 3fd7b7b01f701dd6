#pragma once

#include <Kestrel/FileSystem/TransferScope.h>
#include <Kestrel/Location/Platform/NativeTypes.h>

namespace IO {

class Folder;
class Name;

/// The processing of one entry under a TransferScope. Does nothing without a scope.
class TransferStep {
public:
    /// The first entry, by its path.
    explicit TransferStep(PathText path) : scope(TransferScope::GetCurrent()) {
        if (scope != nullptr)
            Enter(path, false);
    }
    /// An entry of the folder that the outer step is for.
    static struct Below {
    } const below;
    TransferStep(Below, PathText name) : scope(TransferScope::GetCurrent()) {
        if (scope != nullptr)
            Enter(name, true);
    }
    /// The current entry of `walk`: its root, or an entry of the folder that its outer step is for.
    TransferStep(void const * walk, Folder const & folder, Name const & name)
        : scope(TransferScope::GetCurrent()), walk(walk) {
        if (scope != nullptr)
            EnterIn(folder, name);
    }
    ~TransferStep() {
        if (scope != nullptr)
            Leave();
    }
    TransferStep(TransferStep const &) = delete;
    TransferStep & operator=(TransferStep const &) = delete;

    /// Whether the work is to end.
    bool IsEnded() const { return scope != nullptr && IsOver(); }
    /// Whether the scope of this thread has ended, for work that is not begun as a step.
    static bool IsOver();
    /// Whether to continue with the next entry although this one failed.
    bool Skips(MuErrCode status) { return scope != nullptr && AskToSkip(status); }
    /// The same for the innermost step of the thread.
    static bool SkipsCurrent(MuErrCode status);

private:
    void Enter(PathText text, bool isBelow);
    void EnterIn(Folder const & folder, Name const & name);
    void Leave() noexcept;
    bool AskToSkip(MuErrCode status);

    TransferScope * scope;
    void const * walk = nullptr;
    TransferStep * outer = nullptr;
    unsigned int begin = 0; // of its path, where the text of the outer step ends
    unsigned int before = 0;
    bool hasSkipped = false; // whether something in it was
};

/// During its lifetime, nothing is skipped: a source may only be deleted after a complete copy.
class TransferWhole {
public:
    TransferWhole() : scope(TransferScope::GetCurrent()) {
        if (scope != nullptr)
            ++scope->whole;
    }
    ~TransferWhole() {
        if (scope != nullptr)
            --scope->whole;
    }
    TransferWhole(TransferWhole const &) = delete;
    TransferWhole & operator=(TransferWhole const &) = delete;

private:
    TransferScope * scope;
};

/// During its lifetime, the thread has no scope: for work that must be completed.
class TransferPause {
public:
    TransferPause() noexcept;
    ~TransferPause();
    TransferPause(TransferPause const &) = delete;
    TransferPause & operator=(TransferPause const &) = delete;

private:
    TransferScope * scope;
};

} // namespace IO

#pragma once

#include <Kestrel/Root/Export.h>

namespace IO::IPC {

/// Lets code on the stack detect that the object that it works on was deleted by a call. The pool
/// runs inside blocking reads and writes, and any object may be deleted there.
///
///     Life::Mark const mark(life);
///     CommunicatorPool::Instance().Process();
///     if (mark.IsOver())
///         return Error; // and access no member
///
/// Memory: none. Threads: one.
class KESTREL_API Life {
public:
    class KESTREL_API Mark {
    public:
        explicit Mark(Life & life);
        ~Mark();
        Mark(Mark const &) = delete;
        Mark & operator=(Mark const &) = delete;

        bool IsOver() const { return life == nullptr; }

    private:
        friend class Life;
        Life * life; // null once the object is deleted
        Mark * outer;
    };

    Life() = default;
    ~Life();
    Life(Life const &) = delete;
    Life & operator=(Life const &) = delete;

private:
    Mark * marks = nullptr; // the innermost
};

} // namespace IO::IPC

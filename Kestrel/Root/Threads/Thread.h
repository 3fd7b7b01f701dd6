#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Text/UniString.h>
#include <Kestrel/Root/Time/Timeout.h>

#include <atomic>

namespace Mu {

/// What a thread runs.
class KESTREL_API Runnable : public Allocated {
public:
    Runnable() = default;
    virtual ~Runnable() = default;
    Runnable(Runnable const &) = delete;
    Runnable & operator=(Runnable const &) = delete;

    /// Once, on the thread. An exception that leaves it ends the thread, and only the thread.
    virtual void Run() = 0;

private:
    friend class RunnableTask;
    std::atomic<unsigned int> owners = 0;
};

/// Owns a runnable, together with its copies: the last one deletes it. Null runs nothing.
class KESTREL_API RunnableTask {
public:
    explicit RunnableTask(Runnable * runnable) noexcept;
    RunnableTask(RunnableTask const & other) noexcept : RunnableTask(other.runnable) {}
    RunnableTask & operator=(RunnableTask const & other) noexcept;
    ~RunnableTask() { Release(); }

    void Run() const;
    void Release() noexcept;

private:
    Runnable * runnable;
};

/// Something that blocks, and that another thread can wake. See Thread::BlockOn.
class KESTREL_API Interruptible {
public:
    virtual ~Interruptible() = default;
    /// On another thread. Wakes what is blocked, or what is just about to block. Must not wait.
    virtual void Interrupt() = 0;
};

/// Something that can be asked to end early.
class KESTREL_API Cancelable {
public:
    virtual ~Cancelable() = default;
    virtual void Cancel() = 0;
    virtual bool IsCanceled() const = 0;
};

/// Something whose end can be waited for.
class KESTREL_API Waitable {
public:
    virtual ~Waitable() = default;
    /// An interruptible wait leaves with Mu::InterruptedIOException when the waiting thread, not
    /// the one waited for, is interrupted.
    virtual void Wait(bool interruptible) = 0;
    /// At most so long. False: it is not over yet. `*remaining`, which may be null, receives how
    /// many of the milliseconds are left.
    virtual bool Wait(unsigned int milliseconds, bool interruptible, unsigned int * remaining) = 0;
    virtual bool Wait(Timeout const & timeout, bool interruptible, unsigned int * remaining) = 0;
};

/// A thread of the operating system, and the way to wake it when it blocks.
///
/// Interruption is a word to a thread that it should stop blocking. Its present blocking call, or
/// else its next one, throws Mu::InterruptedIOException: a Sleep or Wait that was asked to be
/// interruptible, and whatever announces itself by BlockOn, such as a socket. An Interrupt does so
/// once. Cancel does so from then on, so that a loop round a blocking call ends, even one that
/// swallows exceptions and looks at IsCanceled.
///
/// A Thread may be deleted while its thread runs; the thread then goes on by itself, as do the
/// threads that run when the process ends.
///
/// Memory:  one block, and what the system takes.
/// Threads: one owner drives a Thread object. Interrupt, Cancel and IsCanceled are for any thread,
///          as are the static operations.
/// Failure: Mu::ThreadingException for a start or a wait that cannot be; Mu::OutOfMemoryException.
class KESTREL_API Thread : public Allocated, public Cancelable, public Waitable {
public:
    /// Does not start. The name, which may be empty, is for debuggers; the system may cut it.
    Thread(RunnableTask const & task, UniString const & name);
    /// Does not wait. Releases the task, which the running thread keeps until it ends.
    ~Thread() override;
    Thread(Thread const &) = delete;
    Thread & operator=(Thread const &) = delete;

    /// Once. False: the system could not create a thread, or the thread was started before.
    bool Start();
    /// Waits until the thread has run and is gone from the system. One that was never started is
    /// not waited for. A thread that waits for itself throws.
    void Join(bool interruptible);
    void Wait(bool interruptible) override;
    bool Wait(unsigned int milliseconds, bool interruptible, unsigned int * remaining) override;
    bool Wait(Timeout const & timeout, bool interruptible, unsigned int * remaining) override;
    /// Started, and Run has not ended.
    bool IsRunning() const;

    /// Wakes the thread once.
    void Interrupt();
    /// Wakes the thread, and it will not block any more where it can be interrupted. A thread that
    /// is started after Cancel finds itself canceled.
    void Cancel() override;
    bool IsCanceled() const override;
    UniString const & GetName() const;
    /// A small number of its own, which log lines show. The threads of a process count from 1.
    unsigned int GetNumber() const;

    /// Records what the current thread is about to block on, so that Interrupt reaches it; null
    /// when it has left. Once this has returned, the earlier one is not called any more. Look at
    /// Interrupted() afterwards: a thread that was interrupted before is not woken again.
    void BlockOn(Interruptible * interruptible);

    /// The calling thread; also for threads that this class did not start. The object is valid on
    /// this thread until it ends.
    static Thread & GetCurrent();
    static void Sleep(unsigned int milliseconds, bool interruptible);
    /// Whether the current thread was interrupted since it asked last, or is canceled.
    static bool Interrupted();

    class State;
    /// For the library's start of threads only: the whole life of the current one.
    static void Run(State & state);

private:
    explicit Thread(State & state);

    State * state; // shared with the running thread
};

/// The start and end of everything that has to do with threads, counted.
class KESTREL_API Threading {
public:
    /// Makes the calling thread known. Mu::ThreadingException: the system has no room for that.
    static void Initialize();
    /// At the last one, waits for those threads that have run but are still leaving the library's
    /// code, so that the library may be unloaded. It neither cancels a running one nor waits.
    static void Terminate();
};

} // namespace Mu

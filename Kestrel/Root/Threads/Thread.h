#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Text/UniString.h>
#include <Kestrel/Root/Time/Timeout.h>

#include <atomic>

namespace Mu {

/// The code that a thread runs.
class KESTREL_API Runnable : public Allocated {
public:
    Runnable() = default;
    virtual ~Runnable() = default;
    Runnable(Runnable const &) = delete;
    Runnable & operator=(Runnable const &) = delete;

    /// Called once, on the thread. An exception that it throws ends the thread, but not the
    /// process.
    virtual void Run() = 0;

private:
    friend class RunnableTask;
    std::atomic<unsigned int> owners = 0;
};

/// Shared ownership of a runnable: the last copy deletes it. Null runs nothing.
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

/// A blocking operation that another thread can wake. See Thread::BlockOn.
class KESTREL_API Interruptible {
public:
    virtual ~Interruptible() = default;
    /// Called on another thread. Wakes the operation if it is blocked or about to block. Must not
    /// wait.
    virtual void Interrupt() = 0;
};

/// Something that can be requested to end early.
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
    /// An interruptible wait throws Mu::InterruptedIOException if the waiting thread, not the one
    /// waited for, is interrupted.
    virtual void Wait(bool interruptible) = 0;
    /// Waits at most for the milliseconds. False: it has not ended yet. `*remaining`, which may be
    /// null, receives the rest of the time.
    virtual bool Wait(unsigned int milliseconds, bool interruptible, unsigned int * remaining) = 0;
    virtual bool Wait(Timeout const & timeout, bool interruptible, unsigned int * remaining) = 0;
};

/// A thread of the operating system, with a way to wake it when it blocks.
///
/// Interruption requests a thread to stop blocking. Its current blocking call, or else its next
/// one, throws Mu::InterruptedIOException: an interruptible Sleep or Wait, and everything that
/// registers itself with BlockOn, such as a socket. Interrupt has this effect once. Cancel has it
/// from then on, so that a loop around a blocking call ends, even one that ignores exceptions and
/// checks IsCanceled.
///
/// A Thread may be destroyed while its thread runs; the thread then continues on its own, as do the
/// threads that are running when the process ends.
///
/// Memory:  one block, and the system's resources.
/// Threads: one owner uses a Thread object. Interrupt, Cancel and IsCanceled may be called on any
///          thread, as may the static operations.
/// Failure: Mu::ThreadingException if a start or a wait is impossible; Mu::OutOfMemoryException.
class KESTREL_API Thread : public Allocated, public Cancelable, public Waitable {
public:
    /// Does not start. The name, which may be empty, is for debuggers; the system may truncate it.
    Thread(RunnableTask const & task, UniString const & name);
    /// Does not wait. Releases the task, which a running thread keeps until it ends.
    ~Thread() override;
    Thread(Thread const &) = delete;
    Thread & operator=(Thread const &) = delete;

    /// May be called once. False: the system could not create a thread, or it was started before.
    bool Start();
    /// Waits until the thread has ended and was removed by the system. Returns at once if it was
    /// never started. A thread that waits for itself throws.
    void Join(bool interruptible);
    void Wait(bool interruptible) override;
    bool Wait(unsigned int milliseconds, bool interruptible, unsigned int * remaining) override;
    bool Wait(Timeout const & timeout, bool interruptible, unsigned int * remaining) override;
    /// Whether it was started and Run has not ended.
    bool IsRunning() const;

    /// Wakes the thread once.
    void Interrupt();
    /// Wakes the thread, which then never blocks again in interruptible calls. A thread that is
    /// started after Cancel is canceled from the beginning.
    void Cancel() override;
    bool IsCanceled() const override;
    UniString const & GetName() const;
    /// A small unique number, which log lines contain. The threads of a process count from 1.
    unsigned int GetNumber() const;

    /// Registers the operation that the current thread is about to block on, so that Interrupt can
    /// wake it; null after it has returned. Once this returns, the earlier one is not called any
    /// more. Check Interrupted() afterwards: an earlier interruption does not wake the thread
    /// again.
    void BlockOn(Interruptible * interruptible);

    /// The calling thread; also for threads that this class did not start. The object is valid on
    /// this thread until it ends.
    static Thread & GetCurrent();
    static void Sleep(unsigned int milliseconds, bool interruptible);
    /// Whether the current thread was interrupted since the last call, or is canceled.
    static bool Interrupted();

    class State;
    /// For the start of threads by the library only: the entire run of the current one.
    static void Run(State & state);

private:
    explicit Thread(State & state);

    State * state; // shared with the running thread
};

/// Initialisation and shutdown of threads, counted.
class KESTREL_API Threading {
public:
    /// Registers the calling thread. Mu::ThreadingException: the system has no resources for that.
    static void Initialize();
    /// The last call waits for threads that have ended but are still executing the library's code,
    /// so that the library may be unloaded. It neither cancels running threads nor waits for them.
    static void Terminate();
};

} // namespace Mu

#pragma once

#include <Kestrel/Root/Export.h>

#include <atomic>
#include <cstdint>

namespace Mu {

/// A lock, which one thread at a time can hold.
///
/// Use it with a LockGuard, so that it is released when an exception is thrown.
///
/// Memory:  none.
/// Threads: any.
/// Failure: Mu::SynchronizationException. A lock whose Enter threw is not held.
class KESTREL_API Lockable {
public:
    virtual ~Lockable() = default;
    /// Waits until the calling thread holds the lock.
    virtual void Enter() = 0;
    /// Takes the lock if that is possible without waiting, and returns whether it did.
    virtual bool TryEnter() = 0;
    /// Only on the thread that holds it.
    virtual void Leave() = 0;
};

/// The implementation of all blocking locks: re-entrant, non-throwing, and usable before dynamic
/// initialisation. Outside the root use one of the named classes instead.
class KESTREL_API LockCore {
public:
    constexpr LockCore() = default;
    LockCore(LockCore const &) = delete;
    LockCore & operator=(LockCore const &) = delete;

    /// Whether the system supports such locks.
    bool Create();
    /// False: the system refused to wait; the lock is not held then.
    [[nodiscard]] bool Enter();
    bool TryEnter();
    void Leave();
    bool IsMine() const;

private:
    bool TakeNow(std::uintptr_t me);
    bool EnterContended(std::uintptr_t me);
    bool WaitAndTake();

    std::atomic<unsigned int> state = 0;   // 0 free, 1 held, 2 held and others may be waiting
    unsigned int depth = 0;                // how often the owner holds it; for the owner only
    std::atomic<std::uintptr_t> owner = 0; // the identification of the thread that holds it, or 0
    void * waitPlace[2] = {};              // for the system's wait function; initially zero
};

/// A re-entrant lock that is very cheap without contention: no virtual call, and one atomic
/// exchange each to enter and leave. For data that is locked very often, such as the address tree.
class KESTREL_API FastLock {
public:
    FastLock();
    FastLock(FastLock const &) = delete;
    FastLock & operator=(FastLock const &) = delete;
    void Enter() {
        if (!core.Enter())
            ThrowNotAcquired();
    }
    bool TryEnter() { return core.TryEnter(); }
    void Leave() { core.Leave(); }

private:
    [[noreturn]] static void ThrowNotAcquired();

    LockCore core;
};

/// A lock that its holder may enter again; it is free after as many leaves.
class KESTREL_API ReentrantLock final : public Lockable {
public:
    ReentrantLock();
    ReentrantLock(ReentrantLock const &) = delete;
    ReentrantLock & operator=(ReentrantLock const &) = delete;
    void Enter() override;
    bool TryEnter() override;
    void Leave() override;

private:
    LockCore core;
};

/// A lock that its holder must not enter again: the second Enter throws instead of waiting forever.
class KESTREL_API Lock final : public Lockable {
public:
    Lock();
    Lock(Lock const &) = delete;
    Lock & operator=(Lock const &) = delete;
    void Enter() override;
    /// Also false if the calling thread is the holder.
    bool TryEnter() override;
    void Leave() override;

private:
    LockCore core;
};

/// A lock for a few instructions: it spins instead of blocking, yields the processor after a while,
/// and never throws. Not re-entrant. Usable before dynamic initialisation.
class KESTREL_API SpinLock final : public Lockable {
public:
    constexpr SpinLock() = default;
    SpinLock(SpinLock const &) = delete;
    SpinLock & operator=(SpinLock const &) = delete;
    void Enter() override;
    bool TryEnter() override;
    void Leave() override;

private:
    std::atomic<bool> held = false;
};

/// Holds a lock of any kind during its lifetime: `Mu::LockGuard guard(lock);`
template <typename AnyLock>
class LockGuard {
public:
    explicit LockGuard(AnyLock & givenLock) : lock(givenLock) { givenLock.Enter(); }
    ~LockGuard() { lock.Leave(); }
    LockGuard(LockGuard const &) = delete;
    LockGuard & operator=(LockGuard const &) = delete;

private:
    AnyLock & lock;
};

} // namespace Mu

#pragma once

#include <Kestrel/Root/Export.h>

#include <atomic>
#include <cstdint>

namespace Mu {

/// Something that one thread at a time can hold, around a span of code.
///
/// Take it with a LockGuard, so that an exception cannot leave it held.
///
/// Memory:  none of the kinds takes any.
/// Threads: any.
/// Failure: Mu::SynchronizationException. A lock whose Enter threw is not held.
class KESTREL_API Lockable {
public:
    virtual ~Lockable() = default;
    /// Waits until the calling thread holds the lock.
    virtual void Enter() = 0;
    /// Takes the lock if that needs no waiting, and returns whether it did.
    virtual bool TryEnter() = 0;
    /// Only by the thread that holds it.
    virtual void Leave() = 0;
};

/// The word that all blocking locks are made of: re-entrant, silent, and usable before any
/// constructor has run. Outside the root take one of the named kinds instead.
class KESTREL_API LockCore {
public:
    constexpr LockCore() = default;
    LockCore(LockCore const &) = delete;
    LockCore & operator=(LockCore const &) = delete;

    /// Checks whether the system can create a lock here. False: it cannot.
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
    unsigned int depth = 0;                // how often the owner holds it; the owner's alone
    std::atomic<std::uintptr_t> owner = 0; // the token of the thread that holds it, or 0
    void * waitPlace[2] = {};              // what the system needs to wait here; all zero at first
};

/// A re-entrant lock that costs next to nothing without contention: no virtual call, and one atomic
/// exchange each way. For what is locked millions of times, such as the address tree.
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

/// A lock that its holder may take again; it is free when it was left as often.
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

/// A lock that its holder must not take again: the second Enter throws instead of waiting for ever.
class KESTREL_API Lock final : public Lockable {
public:
    Lock();
    Lock(Lock const &) = delete;
    Lock & operator=(Lock const &) = delete;
    void Enter() override;
    /// False too when the calling thread is the holder.
    bool TryEnter() override;
    void Leave() override;

private:
    LockCore core;
};

/// A lock for a few instructions: it burns time instead of blocking, yields the processor after a
/// while, and never throws. Not re-entrant. Usable before any constructor has run.
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

/// Holds a lock of any kind from its construction to its end: `Mu::LockGuard guard(lock);`
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

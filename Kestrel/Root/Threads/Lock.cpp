#include <Kestrel/Root/Threads/Lock.h>

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Platform/SystemCalls.h>

namespace Mu {

namespace {

constexpr unsigned int Free = 0;
constexpr unsigned int Held = 1;
constexpr unsigned int Awaited = 2;

// The library holds its locks for some hundred instructions; blocking costs thousands.
constexpr unsigned int SpinCount = 100;

void CreateOrThrow(LockCore & core, char const * message) {
    if (!core.Create())
        throw SynchronizationException(message, __FILE__, __LINE__, NoCauseException);
}

[[noreturn]] void ThrowNotAcquired(char const * message) {
    throw SynchronizationException(message, __FILE__, __LINE__, NoCauseException);
}

} // namespace

bool LockCore::Create() {
    return Platform::systemCalls.createLock(waitPlace);
}

bool LockCore::IsMine() const {
    return owner.load(std::memory_order_relaxed) == Platform::GetThreadToken();
}

// Inline here, since the exported functions that call it are not.
inline bool LockCore::TakeNow(std::uintptr_t me) {
    unsigned int expected = Free;
    if (owner.load(std::memory_order_relaxed) != me) {
        if (!state.compare_exchange_strong(expected, Held, std::memory_order_acquire,
                                           std::memory_order_relaxed))
            return false;
        owner.store(me, std::memory_order_relaxed);
    }
    ++depth;
    return true;
}

bool LockCore::TryEnter() {
    return TakeNow(Platform::GetThreadToken());
}

bool LockCore::Enter() {
    std::uintptr_t const me = Platform::GetThreadToken();
    return TakeNow(me) || EnterContended(me);
}

bool LockCore::EnterContended(std::uintptr_t me) {
    if (!WaitAndTake())
        return false;
    owner.store(me, std::memory_order_relaxed);
    depth = 1;
    return true;
}

bool LockCore::WaitAndTake() {
    for (unsigned int spin = 0; spin < SpinCount; ++spin) {
        unsigned int expected = Free;
        if (state.load(std::memory_order_relaxed) == Free &&
            state.compare_exchange_weak(expected, Held, std::memory_order_acquire,
                                        std::memory_order_relaxed))
            return true;
        Platform::Pause();
    }
    // A thread that has waited takes the lock as Awaited: it cannot know whether it was the only
    // waiter.
    while (state.exchange(Awaited, std::memory_order_acquire) != Free)
        if (!Platform::systemCalls.wait(waitPlace, state, Awaited, Platform::Forever))
            return false;
    return true;
}

void LockCore::Leave() {
    if (--depth != 0)
        return;
    owner.store(0, std::memory_order_relaxed);
    if (state.exchange(Free, std::memory_order_release) == Awaited)
        Platform::systemCalls.wake(waitPlace, state, false);
}

FastLock::FastLock() {
    CreateOrThrow(core, "Failed to create fast lock: failed to create critical section.");
}

void FastLock::ThrowNotAcquired() {
    Mu::ThrowNotAcquired("Failed to acquire fast lock: failed to enter critical section.");
}

ReentrantLock::ReentrantLock() {
    CreateOrThrow(core, "Failed to create re-entrant lock.");
}

void ReentrantLock::Enter() {
    if (!core.Enter())
        ThrowNotAcquired("Failed to acquire re-entrant lock.");
}

bool ReentrantLock::TryEnter() {
    return core.TryEnter();
}

void ReentrantLock::Leave() {
    core.Leave();
}

Lock::Lock() {
    CreateOrThrow(core, "Failed to create lock.");
}

void Lock::Enter() {
    if (core.IsMine())
        ThrowNotAcquired("Failed to acquire lock: this thread holds it.");
    if (!core.Enter())
        ThrowNotAcquired("Failed to acquire lock.");
}

bool Lock::TryEnter() {
    return !core.IsMine() && core.TryEnter();
}

void Lock::Leave() {
    core.Leave();
}

void SpinLock::Enter() {
    for (unsigned int spin = 0; !TryEnter(); ++spin) {
        if (spin < SpinCount)
            Platform::Pause();
        else
            Platform::YieldThread();
    }
}

bool SpinLock::TryEnter() {
    return !held.load(std::memory_order_relaxed) && !held.exchange(true, std::memory_order_acquire);
}

void SpinLock::Leave() {
    held.store(false, std::memory_order_release);
}

} // namespace Mu

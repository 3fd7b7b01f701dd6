#include <Kestrel/Root/Internal/ThreadState.h>

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Internal/InterruptibleWait.h>

namespace Mu {

namespace {

constinit std::atomic<unsigned int> lastNumber = 0;
constinit LockCore leftBehindLock;

} // namespace

// Under leftBehindLock: the threads that outlived their Thread object, each referenced by the list.
static constinit Thread::State * leftBehind = nullptr;

unsigned int MakeThreadNumber() {
    return lastNumber.fetch_add(1, std::memory_order_relaxed) + 1;
}

Thread::State::State() : task(nullptr), number(GetCurrentThreadNumber()) {}

Thread::State::State(RunnableTask const & task, UniString const & name)
    : task(task), name(name), number(MakeThreadNumber()) {}

void Thread::State::Release() {
    if (owners.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete this;
}

bool Thread::State::Start() {
    Keep();
    started = Platform::systemCalls.startThread(this, &handle);
    if (!started)
        Release();
    return started;
}

void Thread::State::Live() {
    RunTask();
    End();
    Release();
}

void Thread::State::RunTask() {
    try {
        Platform::NameThread(name.ToCStr(0, NotFound, MuLogCharCode));
    } catch (...) { // no memory for a name, which only debuggers show
    }
    try {
        task.Run();
    } catch (...) { // ends the thread, as every way out of Run does
    }
    task.Release();
}

void Thread::State::End() {
    ended.store(true, std::memory_order_release);
    waiters.NotifyAll();
}

bool Thread::State::WaitForEnd(Timeout const & timeout, bool interruptible) {
    if (this == GetCurrent().state)
        throw ThreadingException("A thread cannot wait for itself.", __FILE__, __LINE__,
                                 NoCauseException);
    if (!started)
        return true;
    {
        InterruptibleWait wait(interruptible);
        WaitQueue::Waiter waiter{&wait.GetParker()};
        waiters.Append(waiter);
        if (!HasEnded()) // an end from here on finds the waiter
            wait.Wait(timeout);
        waiters.Remove(waiter);
        if (!HasEnded()) {
            wait.ThrowIfInterrupted();
            return false;
        }
    }
    Gather();
    return true;
}

void Thread::State::Gather() {
    if (!gathered.exchange(true, std::memory_order_acq_rel))
        Platform::JoinThread(handle);
}

void Thread::State::AddLeftBehind() {
    Keep();
    CoreGuard guard(leftBehindLock);
    nextLeftBehind = leftBehind;
    leftBehind = this;
}

void Thread::State::GatherLeftBehind() {
    State * endedOnes = nullptr;
    {
        CoreGuard guard(leftBehindLock);
        for (State ** each = &leftBehind; *each != nullptr;) {
            State * const state = *each;
            if (!state->HasEnded()) {
                each = &state->nextLeftBehind;
                continue;
            }
            *each = state->nextLeftBehind;
            state->nextLeftBehind = endedOnes;
            endedOnes = state;
        }
    }
    while (State * const state = endedOnes) {
        endedOnes = state->nextLeftBehind;
        state->Gather();
        state->Release();
    }
}

void Thread::State::Interrupt(bool forEver) {
    CoreGuard guard(interruptionLock);
    if (forEver)
        canceled.store(true, std::memory_order_release);
    interrupted.store(true, std::memory_order_release);
    if (blockedOn != nullptr)
        blockedOn->Interrupt();
}

bool Thread::State::TakeInterruption() {
    return interrupted.exchange(false, std::memory_order_acq_rel) || IsCanceled();
}

void Thread::State::BlockOn(Interruptible * interruptible) {
    CoreGuard guard(interruptionLock);
    blockedOn = interruptible;
}

} // namespace Mu

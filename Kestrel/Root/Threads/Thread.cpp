#include <Kestrel/Root/Threads/Thread.h>

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Internal/InterruptibleWait.h>
#include <Kestrel/Root/Internal/ThreadState.h>

#include <new>

namespace Mu {

namespace {

/// The content of the system's storage of each thread. The memory is zeroed at first and freed
/// without a destructor, so nothing in it may own anything.
struct Storage {
    Thread * current;
    unsigned int number;
    alignas(Thread) unsigned char thread[sizeof(Thread)];
    alignas(
        Thread::State) unsigned char state[sizeof(Thread::State)]; // of a thread not started here
};
static_assert(sizeof(Storage) <= Platform::ThreadStorageSize);

Storage * GetStorage() {
    return static_cast<Storage *>(Platform::GetThreadStorage());
}

constinit std::atomic<unsigned int> initializations = 0;

} // namespace

unsigned int GetCurrentThreadNumber() {
    Storage * const storage = GetStorage();
    if (storage == nullptr)
        return 0;
    if (storage->number == 0)
        storage->number = MakeThreadNumber();
    return storage->number;
}

RunnableTask::RunnableTask(Runnable * runnable) noexcept : runnable(runnable) {
    if (runnable != nullptr)
        runnable->owners.fetch_add(1, std::memory_order_relaxed);
}

RunnableTask & RunnableTask::operator=(RunnableTask const & other) noexcept {
    RunnableTask const old(*this); // may be the last owner of the object that contains `other`
    Runnable * const taken = other.runnable;
    if (taken != nullptr)
        taken->owners.fetch_add(1, std::memory_order_relaxed);
    Release();
    runnable = taken;
    return *this;
}

void RunnableTask::Run() const {
    if (runnable != nullptr)
        runnable->Run();
}

void RunnableTask::Release() noexcept {
    Runnable * const released = runnable;
    runnable = nullptr;
    if (released != nullptr && released->owners.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete released;
}

Thread::Thread(RunnableTask const & task, UniString const & name) : state(new State(task, name)) {}

Thread::Thread(State & state) : state(&state) {}

Thread::~Thread() {
    if (state->IsStarted()) {
        if (state->HasEnded())
            state->Gather();
        else
            state->AddLeftBehind();
    }
    state->Release();
    State::GatherLeftBehind();
}

bool Thread::Start() {
    State::GatherLeftBehind();
    return !state->IsStarted() && state->Start();
}

void Thread::Join(bool interruptible) {
    state->WaitForEnd(Timeout(), interruptible);
}

void Thread::Wait(bool interruptible) {
    state->WaitForEnd(Timeout(), interruptible);
}

bool Thread::Wait(unsigned int milliseconds, bool interruptible, unsigned int * remaining) {
    return Wait(Timeout(milliseconds), interruptible, remaining);
}

bool Thread::Wait(Timeout const & timeout, bool interruptible, unsigned int * remaining) {
    bool const ended = state->WaitForEnd(timeout, interruptible);
    if (remaining != nullptr) {
        unsigned long long const left = timeout.GetRemaining() / 1000;
        *remaining = left < 0xFFFFFFFFu ? static_cast<unsigned int>(left) : 0xFFFFFFFFu;
    }
    return ended;
}

bool Thread::IsRunning() const {
    return state->IsStarted() && !state->HasEnded();
}

void Thread::Interrupt() {
    state->Interrupt(false);
}

void Thread::Cancel() {
    state->Interrupt(true);
}

bool Thread::IsCanceled() const {
    return state->IsCanceled();
}

UniString const & Thread::GetName() const {
    return state->GetName();
}

unsigned int Thread::GetNumber() const {
    return state->GetNumber();
}

void Thread::BlockOn(Interruptible * interruptible) {
    state->BlockOn(interruptible);
}

Thread & Thread::GetCurrent() {
    Storage * const storage = GetStorage();
    if (storage == nullptr)
        ThrowOutOfMemory();
    if (storage->current == nullptr) {
        State * const state = ::new (storage->state) State();
        storage->current = ::new (storage->thread) Thread(*state);
    }
    return *storage->current;
}

void Thread::Sleep(unsigned int milliseconds, bool interruptible) {
    InterruptibleWait wait(interruptible);
    wait.Wait(Timeout(milliseconds));
    wait.ThrowIfInterrupted();
}

bool Thread::Interrupted() {
    return GetCurrent().state->TakeInterruption();
}

void Thread::Run(State & state) {
    if (Storage * const storage = GetStorage()) {
        storage->number = state.GetNumber();
        storage->current = ::new (storage->thread) Thread(state);
        state.Live();
        storage->current = nullptr;
    } else {
        state.Live();
    }
}

// A thread's storage is created by its first use. Done here, so that a failure shows now and not
// later.
void Threading::Initialize() {
    if (Platform::GetThreadStorage() == nullptr)
        throw ThreadingException("No storage for threads.", __FILE__, __LINE__, NoCauseException);
    initializations.fetch_add(1, std::memory_order_relaxed);
}

void Threading::Terminate() {
    if (initializations.fetch_sub(1, std::memory_order_relaxed) == 1)
        Thread::State::GatherLeftBehind();
}

} // namespace Mu

void Mu::Platform::ThreadMain(void * argument) {
    Thread::Run(*static_cast<Thread::State *>(argument));
}

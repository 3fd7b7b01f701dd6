#pragma once

#include <Kestrel/Root/Platform/SystemCalls.h>
#include <Kestrel/Root/Threads/Lock.h>

namespace Mu {

/// Holds a lock core in places that must not fail: where the system refuses to wait, it retries.
class CoreGuard {
public:
    explicit CoreGuard(LockCore & core) : core(core) { Enter(core); }
    ~CoreGuard() { core.Leave(); }
    CoreGuard(CoreGuard const &) = delete;
    CoreGuard & operator=(CoreGuard const &) = delete;

    static void Enter(LockCore & core) {
        while (!core.Enter())
            Platform::YieldThread();
    }

private:
    LockCore & core;
};

} // namespace Mu

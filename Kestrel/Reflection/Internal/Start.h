#pragma once

namespace Mu {
class Thread;
}

namespace IO {

/// Takes the running service from the process when it is made, so that another one may start, and ends
/// it when it goes. That waits for hooks, which may want any lock: hold none meanwhile.
class ServiceEnd {
public:
    ServiceEnd();
    ~ServiceEnd();
    ServiceEnd(ServiceEnd const &) = delete;
    ServiceEnd & operator=(ServiceEnd const &) = delete;

private:
    Mu::Thread * thread; // owned; null when none runs
};

/// Makes what this floor has of statics, in this order: the views of the address tree, the mounts, the
/// file types and the root. They are registered from then on. A second call does nothing. The library's start
/// calls it, and the tests of floors without one.
void StartReflection();

/// Takes all that back in reverse.
void EndReflection();

} // namespace IO

#pragma once

namespace Mu {
class Thread;
}

namespace IO {

/// Takes over the running service of the process when it is constructed, so that another one may
/// start, and ends it when it is destroyed. That waits for hooks, which may need any lock: hold
/// none meanwhile.
class ServiceEnd {
public:
    ServiceEnd();
    ~ServiceEnd();
    ServiceEnd(ServiceEnd const &) = delete;
    ServiceEnd & operator=(ServiceEnd const &) = delete;

private:
    Mu::Thread * thread; // owned; null when none runs
};

/// Creates and registers the statics of this floor, in this order: the views of the address tree,
/// the mounts, the file types and the root. A second call does nothing. Called by the library's
/// start, and by the tests of floors without one.
void StartReflection();

/// Destroys them in reverse order.
void EndReflection();

} // namespace IO

#pragma once

#include <functional>

namespace Tests {

/// How many system calls the work makes, by a second process that does it while this one counts.
/// -1 where they cannot be counted: on Windows, under a sanitizer that makes calls of its own, and
/// where tracing is forbidden. The work must leave nothing behind that later work needs: what it
/// does to memory stays in the second process.
long long CountSystemCalls(std::function<void()> const & work);

} // namespace Tests

// The tests of a floor do not see the floor above, which starts the library; so they start what they
// need in its stead.

#include <Kestrel/Socket/Internal/Start.h>

namespace {

struct Start {
    Start() { IO::Socket::StartSockets(); }
    ~Start() { IO::Socket::EndSockets(); }
} start;

} // namespace

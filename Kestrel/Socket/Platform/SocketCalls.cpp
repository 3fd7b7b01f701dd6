#include <Kestrel/Socket/Platform/SocketCalls.h>

namespace IO::Socket {
namespace {

constinit SocketCalls * callsInUse = nullptr; // null: the platform's own

} // namespace

SocketCalls & GetSocketCalls() {
    return callsInUse != nullptr ? *callsInUse : GetPlatformSocketCalls();
}

SocketCalls & SetSocketCalls(SocketCalls * calls) {
    SocketCalls & before = GetSocketCalls();
    callsInUse = calls;
    return before;
}

} // namespace IO::Socket

#include <Kestrel/Socket/Platform/InterfaceCalls.h>

namespace IO::Socket {

namespace {

constinit InterfaceCalls * callsInUse = nullptr; // null: the platform's own

} // namespace

InterfaceCalls & GetInterfaceCalls() {
    return callsInUse != nullptr ? *callsInUse : GetPlatformInterfaceCalls();
}

void SetInterfaceCalls(InterfaceCalls * calls) {
    callsInUse = calls;
}

} // namespace IO::Socket

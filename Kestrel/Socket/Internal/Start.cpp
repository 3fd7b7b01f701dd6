#include <Kestrel/Socket/Internal/Start.h>

#include <Kestrel/Socket/Internal/SocketFactories.h>
#include <Kestrel/Socket/Platform/SocketCalls.h>

namespace IO::Socket {
namespace {

constinit bool isStarted = false;
constinit SocketCalls * startedCalls = nullptr; // null: the system refused to start

void StartSystem(SocketCalls & calls) {
    // The older version if the newer is not available.
    constexpr unsigned short versions[] = {0x0002, 0x0101};
    for (unsigned short const version : versions) {
        if (calls.WSAStartup(version) != WSAError::None)
            continue;
        startedCalls = &calls;
        return;
    }
}

} // namespace

void StartSockets() {
    if (isStarted)
        return;
    isStarted = true;
    StartInternetAddresses();
    socketFactory = serverSocketFactory = &TCPIPSocketImplFactory::Get();
    StartSystem(GetPlatformSocketCalls());
}

void EndSockets() {
    if (!isStarted)
        return;
    isStarted = false;
    if (startedCalls != nullptr)
        startedCalls->WSACleanup();
    startedCalls = nullptr;
    EndInternetAddresses();
}

} // namespace IO::Socket

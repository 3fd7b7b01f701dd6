#include <Kestrel/Socket/Internal/SocketSignal.h>

#include <Kestrel/Root/Internal/CoreGuard.h>
#include <Kestrel/Socket/Internal/ErrorText.h>
#include <Kestrel/Socket/Platform/SocketCalls.h>
#include <Kestrel/Socket/SocketExceptions.h>

#include <utility>

namespace IO::Socket {

struct SocketSignal::Signal : Mu::Allocated {
    SocketHandle handle = NoSocket;
    unsigned int watches = 0; // under the owner's lock
};

void SocketSignal::CloseUnwatched(Signal * signal) {
    if (signal->watches != 0)
        return;
    GetSocketCalls().CloseSignal(signal->handle);
    delete signal;
}

// What cannot be raised stays, so that a later Interrupt may do it.
void SocketSignal::Interrupt() {
    Mu::CoreGuard guard(lock);
    if (current == nullptr)
        return;
    if (current->watches != 0 && GetSocketCalls().RaiseSignal(current->handle) != WSAError::None)
        return;
    CloseUnwatched(std::exchange(current, nullptr));
}

void SocketSignal::Close() {
    Mu::CoreGuard guard(lock);
    if (current != nullptr)
        CloseUnwatched(std::exchange(current, nullptr));
}

void SocketSignal::Make() {
    Signal * const made = new Signal;
    unsigned int const error = GetSocketCalls().CreateSignal(&made->handle);
    if (error != WSAError::None) {
        delete made;
        Throw<SocketException>("Failed to create interrupt socket.", error);
    }
    current = made;
}

SocketSignal::Watch::Watch(SocketSignal & owner) : owner(owner) {
    Mu::CoreGuard guard(owner.lock);
    if (owner.current == nullptr)
        owner.Make();
    signal = owner.current;
    ++signal->watches;
}

SocketSignal::Watch::~Watch() {
    Mu::CoreGuard guard(owner.lock);
    --signal->watches;
    if (signal != owner.current)
        CloseUnwatched(signal);
}

SocketHandle SocketSignal::Watch::GetHandle() const {
    return signal->handle;
}

bool SocketSignal::Watch::IsGone() const {
    Mu::CoreGuard guard(owner.lock);
    return signal != owner.current;
}

} // namespace IO::Socket

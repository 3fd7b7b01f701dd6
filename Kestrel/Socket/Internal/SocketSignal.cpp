#include <Kestrel/Socket/Internal/SocketSignal.h>

#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Socket/Internal/ErrorText.h>
#include <Kestrel/Socket/Platform/SocketCalls.h>
#include <Kestrel/Socket/SocketExceptions.h>

// Who waits is counted before it looks which signal is current. So a signal that is not current any
// more belongs to nobody from the first moment on at which nobody waits.

namespace IO::Socket {

struct SocketSignal::Signal : Mu::Allocated {
    ~Signal() {
        if (handle != NoSocket)
            GetSocketCalls().CloseSignal(handle);
    }

    SocketHandle handle = NoSocket;
    Signal * next = nullptr; // in the list of the used ones
};

SocketSignal::Watch::Watch(SocketSignal & owner) : owner(owner) {
    owner.waiting.fetch_add(1);
    signal = owner.current.load();
    if (signal != nullptr)
        return;
    try {
        signal = owner.Make();
    } catch (...) {
        owner.Leave(); // there will be no destructor
        throw;
    }
}

SocketHandle SocketSignal::Watch::GetHandle() const {
    return signal->handle;
}

void SocketSignal::Leave() {
    if (waiting.fetch_sub(1) == 1 && used.load() != nullptr)
        CloseUsed();
}

// Two threads may come here at once; the signal of the first one serves both.
SocketSignal::Signal * SocketSignal::Make() {
    Signal * const made = new Signal;
    unsigned int const error = GetSocketCalls().CreateSignal(&made->handle);
    if (error != WSAError::None) {
        delete made;
        Throw<SocketException>("Failed to create interrupt socket.", error);
    }
    Signal * found = nullptr;
    if (current.compare_exchange_strong(found, made))
        return made;
    delete made;
    return found;
}

// What cannot be raised stays current, so that a later Interrupt may do it.
void SocketSignal::Interrupt() {
    Signal * const signal = current.exchange(nullptr);
    if (signal == nullptr)
        return;
    Signal * none = nullptr;
    if (GetSocketCalls().RaiseSignal(signal->handle) != WSAError::None &&
        current.compare_exchange_strong(none, signal))
        return;
    Keep(signal);
    if (waiting.load() == 0)
        CloseUsed();
}

void SocketSignal::Close() {
    if (Signal * const signal = current.exchange(nullptr))
        Keep(signal);
    if (waiting.load() == 0)
        CloseUsed();
}

void SocketSignal::Keep(Signal * signal) {
    signal->next = used.load();
    while (!used.compare_exchange_weak(signal->next, signal)) {
    }
}

// Taken off the list before looking whether somebody waits: what comes there later may be polled by
// who came later.
void SocketSignal::CloseUsed() {
    Signal * list = used.exchange(nullptr);
    bool const isFree = waiting.load() == 0;
    while (Signal * const signal = list) {
        list = signal->next;
        if (isFree)
            delete signal;
        else
            Keep(signal);
    }
}

} // namespace IO::Socket

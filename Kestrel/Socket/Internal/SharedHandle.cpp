#include <Kestrel/Socket/Internal/SharedHandle.h>

#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Socket/Platform/SocketCalls.h>

#include <memory>

// A use is counted before it reads the current handle. So once the count is 0 at any moment after a
// handle has been replaced, nothing uses that handle any more.

namespace IO::Socket {

struct SharedHandle::Owned : Mu::Allocated {
    SocketHandle handle = NoSocket;
    Owned * next = nullptr; // in the list of retired ones
};

SharedHandle::Use::Use(SharedHandle & owner) : owner(owner) {
    owner.users.fetch_add(1);
    owned = owner.current.load();
}

unsigned int SharedHandle::Use::SetIfNone(unsigned int (SocketCalls::*make)(SocketHandle *)) {
    if (owned != nullptr)
        return WSAError::None;
    auto made = std::make_unique<Owned>();
    unsigned int const error = (GetSocketCalls().*make)(&made->handle);
    if (error != WSAError::None)
        return error;
    if (owner.current.compare_exchange_strong(owned, made.get()))
        owned = made.release();
    else
        (GetSocketCalls().*owner.close)(made->handle);
    return error;
}

SocketHandle SharedHandle::Use::GetHandle() const {
    return owned != nullptr ? owned->handle : NoSocket;
}

SocketHandle SharedHandle::Get() {
    return Use(*this).GetHandle();
}

void SharedHandle::Set(SocketHandle handle) {
    Owned * const owned = new Owned;
    owned->handle = handle;
    Retire(current.exchange(owned));
}

void SharedHandle::Close() {
    Retire(current.exchange(nullptr));
}

// Uses that start after the exchange do not get this handle, so that all of its users are already
// counted.
void SharedHandle::Close(unsigned int (SocketCalls::*last)(SocketHandle)) {
    Owned * const owned = current.exchange(nullptr);
    Owned * none = nullptr;
    bool const isFailed = owned != nullptr && users.load() != 0 &&
                          (GetSocketCalls().*last)(owned->handle) != WSAError::None;
    if (!isFailed || !current.compare_exchange_strong(none, owned))
        Retire(owned);
}

void SharedHandle::Leave() {
    if (users.fetch_sub(1) == 1 && retired.load() != nullptr)
        CloseRetired();
}

void SharedHandle::Keep(Owned * owned) {
    owned->next = retired.load();
    while (!retired.compare_exchange_weak(owned->next, owned)) {
    }
}

void SharedHandle::Retire(Owned * owned) {
    if (owned == nullptr)
        return;
    Keep(owned);
    if (users.load() == 0)
        CloseRetired();
}

// Taken off the list before the users are counted: a handle that is added later may have later
// users.
void SharedHandle::CloseRetired() {
    do {
        Owned * list = retired.exchange(nullptr);
        bool const isFree = users.load() == 0;
        while (Owned * const owned = list) {
            list = owned->next;
            if (isFree) {
                (GetSocketCalls().*close)(owned->handle);
                delete owned;
            } else {
                Keep(owned);
            }
        }
    } while (retired.load() != nullptr && users.load() == 0);
}

} // namespace IO::Socket

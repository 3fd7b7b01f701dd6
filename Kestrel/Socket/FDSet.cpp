#include <Kestrel/Socket/FDSet.h>

#include <Kestrel/Socket/Internal/FDSetImpl.h>

#include <algorithm>

namespace IO::Socket {

// Hosts built without optimisation take the addresses.
constexpr unsigned int FDSet::Capacity;

FDSet::~FDSet() = default;

FDSet * FDSet::New() {
    return new FDSetImpl();
}

// Kept: a socket for which there is no room is dropped silently.
void FDSetImpl::Add(unsigned long long socket) {
    if (count < Capacity && !IsSet(socket))
        sockets[count++] = socket;
}

bool FDSetImpl::IsSet(unsigned long long socket) const {
    return std::find(begin(), end(), socket) != end();
}

} // namespace IO::Socket

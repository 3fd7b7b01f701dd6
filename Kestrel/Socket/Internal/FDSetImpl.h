#pragma once

#include <Kestrel/Socket/FDSet.h>
#include <Kestrel/Socket/Platform/SocketCallTypes.h>

namespace IO::Socket {

/// The implementation of FDSet::New: an array, in the order of adding.
class FDSetImpl final : public FDSet {
public:
    void Zero() override { count = 0; }
    void Add(unsigned long long socket) override;
    bool IsSet(unsigned long long socket) const override;

    SocketHandle const * begin() const { return sockets; }
    SocketHandle const * end() const { return sockets + count; }

private:
    unsigned int count = 0;
    SocketHandle sockets[Capacity];
};

} // namespace IO::Socket

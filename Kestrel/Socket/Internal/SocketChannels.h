#pragma once

#include <Kestrel/Socket/SocketImpl.h>

namespace IO::Socket {

/// The reading side of a socket as a channel, which is a part of it.
class ISocketChannel final : public Mu::IBinaryChannel {
public:
    explicit ISocketChannel(SocketImpl * impl) : impl(impl) {}

    unsigned int Read(char * destination, unsigned int count) override {
        return impl->Read(destination, count);
    }
    unsigned int GetAvailable() override { return impl->GetAvailable(); }
    void Close() override { impl->Close(); }

private:
    SocketImpl * impl;
};

/// The writing side.
class OSocketChannel final : public Mu::OBinaryChannel {
public:
    explicit OSocketChannel(SocketImpl * impl) : impl(impl) {}

    void Write(char const * source, unsigned int count) override { impl->Write(source, count); }
    void Flush() override { impl->Flush(); }
    void Close() override { impl->Close(); }

private:
    SocketImpl * impl;
};

} // namespace IO::Socket

#pragma once

#include <Kestrel/Reflection/ReflectionClient.h>
#include <Kestrel/Root/Streams/BinaryChannel.h>

namespace IO {

/// A client's connection. A seam for tests and harnesses, which pass channels of their own.
struct ReflectionClient::Connection : Mu::Allocated {
    virtual ~Connection() = default;
    virtual Mu::IBinaryChannel & GetInput() = 0;
    virtual Mu::OBinaryChannel & GetOutput() = 0;
    virtual void Close() = 0;
};

/// Connects a client to something other than a socket, and takes ownership of it.
struct ReflectionClientStart {
    using Connection = ReflectionClient::Connection;
    static void Connect(ReflectionClient & client, Connection * connection) {
        client.Disconnect();
        client.connection = connection;
    }
};

} // namespace IO

#pragma once

#include <Kestrel/Reflection/ReflectionClient.h>
#include <Kestrel/Root/Streams/BinaryChannel.h>

namespace IO {

/// What a client asks through. The seam for tests and harnesses, which put channels of their own here.
struct ReflectionClient::Connection : Mu::Allocated {
    virtual ~Connection() = default;
    virtual Mu::IBinaryChannel & GetInput() = 0;
    virtual Mu::OBinaryChannel & GetOutput() = 0;
    virtual void Close() = 0;
};

/// Connects a client to something else than a socket, which it owns from then on.
struct ReflectionClientStart {
    using Connection = ReflectionClient::Connection;
    static void Connect(ReflectionClient & client, Connection * connection) {
        client.Disconnect();
        client.connection = connection;
    }
};

} // namespace IO

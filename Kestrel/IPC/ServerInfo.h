#pragma once

#include <Kestrel/Root/Containers/HashSet.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Objects/Object.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO::IPC {

/// What a process publishes about one of its servers: the port, and the names of its services.
///
/// A set contains at most one for each port.
///
/// Memory:  that of the names. Mu::OutOfMemoryException on shortage, from Read too.
/// Threads: a plain value; one writer, or any number of readers.
/// Failure: Read and Write return statuses.
class KESTREL_API ServerInfo : public Mu::Object {
public:
    using ServiceSet = Mu::HashSet<Mu::UniString>;

    static Mu::ClassInfo const & GetClassInfoStatic();
    Mu::ClassInfo const & GetClassInfo() const override;
    ServerInfo * Clone() const override;
    ~ServerInfo() override;
    /// After a failure behind the port, the port is 0 and the set contains the names that were
    /// read.
    MuErrCode Read(Mu::IChannel & channel) override;
    /// Writes the port, the number of services and their names, without a frame.
    MuErrCode Write(Mu::OChannel & channel) const override;

    ServerInfo();
    ServerInfo(ServerInfo const & other);
    ServerInfo & operator=(ServerInfo const & other);

    unsigned int GetPort() const { return port; }
    ServiceSet & GetServiceSet() { return services; }
    ServiceSet const & GetServiceSet() const { return services; }

    friend bool operator==(ServerInfo const & a, ServerInfo const & b) { return a.port == b.port; }
    unsigned int GenerateHashValue() const { return port; }

private:
    unsigned int port = 0;
    ServiceSet services;
};

} // namespace IO::IPC

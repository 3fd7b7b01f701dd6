#pragma once

#include <Kestrel/Socket/Platform/InterfaceCalls.h>

namespace IO::Socket {

/// Forwards every call to others, so that a derived class can change one operation.
///
/// Memory, threads and failure are those of the calls below.
class ForwardingInterfaceCalls : public InterfaceCalls {
public:
    /// `below` must outlive this.
    explicit ForwardingInterfaceCalls(InterfaceCalls & below) : below(&below) {}

    InterfaceCalls & GetBelow() const { return *below; }

    unsigned int GetIfTable(InterfaceTables & tables) override { return below->GetIfTable(tables); }
    unsigned int GetIpAddrTable(InterfaceTables & tables) override {
        return below->GetIpAddrTable(tables);
    }
    unsigned int GetAdaptersAddresses(InterfaceTables & tables) override {
        return below->GetAdaptersAddresses(tables);
    }
    unsigned int GetAdaptersInfo(InterfaceTables & tables) override {
        return below->GetAdaptersInfo(tables);
    }

private:
    InterfaceCalls * below;
};

} // namespace IO::Socket

#pragma once

#include <Kestrel/Socket/InternetAddress.h>
#include <Kestrel/Socket/Platform/InterfaceCalls.h>

#include <vector>

namespace Tests {

/// Stands in for the system's interface tables during its life, with tables that a test makes.
class MadeInterfaces final : public IO::Socket::InterfaceCalls {
public:
    MadeInterfaces() { IO::Socket::SetInterfaceCalls(this); }
    ~MadeInterfaces() override { IO::Socket::SetInterfaceCalls(nullptr); }

    /// One interface of Ethernet, up, for each list of addresses.
    void Set(std::vector<std::vector<IO::Socket::InternetAddress>> const & lists);

    unsigned int GetIfTable(IO::Socket::InterfaceTables & tables) override;
    unsigned int GetIpAddrTable(IO::Socket::InterfaceTables & tables) override;
    unsigned int GetAdaptersAddresses(IO::Socket::InterfaceTables & tables) override;
    unsigned int GetAdaptersInfo(IO::Socket::InterfaceTables & tables) override;

    IO::Socket::InterfaceTables tables;
    int failing = -1; ///< which of the four calls fails, from 0
    unsigned int error = 50;
    std::vector<int> calls; ///< what was called, in order
};

} // namespace Tests

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

    // The first one hands out everything.
    unsigned int GetIfTable(IO::Socket::InterfaceTables & result) override {
        result = tables;
        return Meet(0);
    }
    unsigned int GetIpAddrTable(IO::Socket::InterfaceTables &) override { return Meet(1); }
    unsigned int GetAdaptersAddresses(IO::Socket::InterfaceTables &) override { return Meet(2); }
    unsigned int GetAdaptersInfo(IO::Socket::InterfaceTables &) override { return Meet(3); }

    int failing = -1; ///< which of the four calls fails, from 0
    unsigned int error = 50;
    int calls = 0; ///< how many there were

private:
    unsigned int Meet(int call) {
        ++calls;
        return failing == call ? error : 0;
    }

    IO::Socket::InterfaceTables tables;
};

} // namespace Tests

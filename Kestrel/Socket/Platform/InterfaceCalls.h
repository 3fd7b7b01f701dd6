#pragma once

#include <Kestrel/Socket/Platform/InterfaceTables.h>

namespace IO::Socket {

/// The operating system's tables of its network interfaces, and the library's only way to them. Names
/// and error numbers are those of Windows everywhere.
///
/// An implementation translates and does nothing else; which table counts for what is decided in
/// MergeInterfaces. Each call fills its own table and lists of `tables`, which were empty before. They
/// are called in the order in which they stand here, and a later one may use what an earlier one has
/// found.
///
/// Memory:  the tables', from the root; Mu::OutOfMemoryException is let through, and nothing stays
///          open behind it.
/// Threads: any number at once.
/// Failure: each call returns 0, the error number, or FailedWithoutCode.
class InterfaceCalls {
public:
    /// A failure that is reported with the code 0.
    static constexpr unsigned int FailedWithoutCode = 0xFFFFFFFF;

    virtual ~InterfaceCalls() = default;

    /// Sorted by index.
    virtual unsigned int GetIfTable(InterfaceTables & tables) = 0;
    virtual unsigned int GetIpAddrTable(InterfaceTables & tables) = 0;
    virtual unsigned int GetAdaptersAddresses(InterfaceTables & tables) = 0;
    virtual unsigned int GetAdaptersInfo(InterfaceTables & tables) = 0;
};

/// The calls in use: the platform's own, or what SetInterfaceCalls put there.
InterfaceCalls & GetInterfaceCalls();
/// The platform's own calls.
InterfaceCalls & GetPlatformInterfaceCalls();
/// Puts other calls there; null the platform's own. Not while another thread lists interfaces.
void SetInterfaceCalls(InterfaceCalls * calls);

} // namespace IO::Socket

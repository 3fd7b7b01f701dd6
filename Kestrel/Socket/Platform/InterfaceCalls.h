#pragma once

#include <Kestrel/Socket/Platform/InterfaceTables.h>

namespace IO::Socket {

/// The operating system's tables of its network interfaces, and the library's only access to them.
/// Names and error numbers are those of Windows everywhere.
///
/// An implementation translates and does nothing else; MergeInterfaces decides which table is used
/// for what. Each call fills its own table and lists of `tables`, which were empty before. They are
/// called in the order of their declarations, and a later one may use the results of an earlier
/// one.
///
/// Memory:  the tables', from the root; Mu::OutOfMemoryException is passed on, and nothing is left
///          open.
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

/// The calls in use: the platform's own, or those of SetInterfaceCalls.
InterfaceCalls & GetInterfaceCalls();
/// The platform's own calls.
InterfaceCalls & GetPlatformInterfaceCalls();
/// Replaces the calls in use; null restores the platform's own. Not while another thread lists
/// interfaces.
void SetInterfaceCalls(InterfaceCalls * calls);

} // namespace IO::Socket

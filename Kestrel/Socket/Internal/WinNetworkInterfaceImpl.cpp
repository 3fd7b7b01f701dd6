#include <Kestrel/Socket/Internal/WinNetworkInterfaceImpl.h>

#include <Kestrel/Socket/Internal/ErrorText.h>
#include <Kestrel/Socket/Internal/MergeInterfaces.h>
#include <Kestrel/Socket/Platform/InterfaceCalls.h>
#include <Kestrel/Socket/SocketExceptions.h>

#include <utility>

namespace IO::Socket {

namespace {

using Fetch = unsigned int (InterfaceCalls::*)(InterfaceTables & tables);

struct Step {
    Fetch fetch;
    char const * failure;
};

constexpr Step steps[] = {
    {&InterfaceCalls::GetIfTable,
     "Failed to get network interfaces: failed to get interface table."},
    {&InterfaceCalls::GetIpAddrTable,
     "Failed to get network interfaces: failed to get address table."},
    {&InterfaceCalls::GetAdaptersAddresses,
     "Failed to get network interfaces: failed to get adapter addresses."},
    {&InterfaceCalls::GetAdaptersInfo,
     "Failed to get network interfaces: failed to get adapter infos."},
};

// Appends all to the result, or nothing.
void Append(Mu::PagedArray<NetworkInterface> & found, Mu::PagedArray<NetworkInterface> & result) {
    unsigned int const before = result.GetSize();
    try {
        for (NetworkInterface & interface : found)
            result.Push(std::move(interface));
    } catch (...) {
        while (result.GetSize() > before)
            result.DeleteLast();
        throw;
    }
}

} // namespace

NetworkInterfaceImpl::~NetworkInterfaceImpl() = default;
WinNetworkInterfaceImpl::~WinNetworkInterfaceImpl() = default;

unsigned int
WinNetworkInterfaceImpl::GetNetworkInterfaces(Mu::PagedArray<NetworkInterface> & result) {
    InterfaceCalls & calls = GetInterfaceCalls();
    InterfaceTables tables;
    for (Step const & step : steps)
        if (unsigned int const error = (calls.*step.fetch)(tables); error != 0)
            Throw<NetworkInterfaceException>(
                step.failure, error == InterfaceCalls::FailedWithoutCode ? 0 : error);
    Mu::PagedArray<NetworkInterface> found;
    MergeInterfaces(tables, found);
    unsigned int const count = found.GetSize();
    if (result.IsEmpty())
        result.Swap(found);
    else
        Append(found, result);
    return count;
}

} // namespace IO::Socket

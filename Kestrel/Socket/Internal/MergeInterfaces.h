#pragma once

#include <Kestrel/Root/Containers/PagedArray.h>
#include <Kestrel/Socket/NetworkInterface.h>
#include <Kestrel/Socket/Platform/InterfaceTables.h>

namespace IO::Socket {

/// Makes one list of the four tables and appends it: first what the interface table has, in its order,
/// then the adapters that it does not have, in theirs. Calls nothing of the system, so it is the same
/// on every platform. Throws Mu::OutOfMemoryException.
///
/// Linear in the number of rows; an interface's addresses are compared with each other.
void MergeInterfaces(InterfaceTables const & tables, Mu::PagedArray<NetworkInterface> & result);

} // namespace IO::Socket

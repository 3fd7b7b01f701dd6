#pragma once

#include <Kestrel/Root/Containers/PagedArray.h>
#include <Kestrel/Socket/NetworkInterface.h>
#include <Kestrel/Socket/Platform/InterfaceTables.h>

namespace IO::Socket {

/// Merges the four tables into one list and appends it: first the rows of the interface table, in
/// its order, then the adapters that it lacks, in theirs. Makes no system calls, so it is the same
/// on every platform. Throws Mu::OutOfMemoryException.
///
/// Linear in the number of rows; an interface's addresses are compared with each other.
void MergeInterfaces(InterfaceTables const & tables, Mu::PagedArray<NetworkInterface> & result);

} // namespace IO::Socket

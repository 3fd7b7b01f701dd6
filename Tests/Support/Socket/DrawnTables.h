#pragma once

#include <Kestrel/Socket/NetworkInterface.h>
#include <Kestrel/Socket/Platform/InterfaceTables.h>

#include <string>
#include <vector>

namespace Tests {

/// Interface tables of a few rows each, which share their indexes now and then, and hold what is off:
/// states and types without a name, texts that are no addresses, lists of different lengths.
IO::Socket::InterfaceTables DrawTables(unsigned int seed);

/// What the merge must make of the tables, one line an interface, from a restatement that looks each
/// row up by walking the table.
std::vector<std::string> GetExpected(IO::Socket::InterfaceTables const & tables);

/// An address in the form of four numbers.
std::string Dotted(unsigned int number);

/// The same line of an interface as it is.
std::string Describe(IO::Socket::NetworkInterface const & interface);

} // namespace Tests

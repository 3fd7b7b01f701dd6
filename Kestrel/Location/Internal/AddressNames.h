#pragma once

#include <Kestrel/Root/Text/CharCode.h>

namespace Mu {
class OChannel;
}

namespace IO {

class Address;

/// How many names, from the first on, two addresses have in common.
unsigned int CountCommonNames(Address const & first, Address const & second);

/// Prints the names with "/" between them. Throws Mu::OutOfMemoryException.
void PrintNames(Mu::OChannel & channel, Address const & names, MuCharCode code);

} // namespace IO

// Outside bytes as a persisted name, in the present and the two older forms.

#include "Fuzz/Support/Persisted.h"

#include <Kestrel/Location/Name.h>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    Fuzz::ReadWriteRead<IO::Name>(
        {data, size}, {{1, 0}, {1, 1}, {2, 0}},
        [](IO::Name const & a, IO::Name const & b) { return a.ToString() == b.ToString(); });
    return 0;
}

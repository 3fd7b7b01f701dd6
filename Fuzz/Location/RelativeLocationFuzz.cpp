// Outside bytes as a persisted relative location, in both forms.

#include "Fuzz/Support/Persisted.h"

#include <Kestrel/Location/RelativeLocation.h>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    Fuzz::ReadWriteRead<IO::RelativeLocation>(
        {data, size}, {{1, 0}, {1, 1}},
        [](IO::RelativeLocation const & a, IO::RelativeLocation const & b) {
            return a.GetStatus() != IO::NoError ? b.GetStatus() != IO::NoError
                                                : a == b && a.IsLegal() == b.IsLegal();
        });
    return 0;
}

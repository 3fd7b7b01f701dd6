// Outside bytes as a persisted relative location, in both forms.

#include "Fuzz/Support/Attachments.h"
#include "Fuzz/Support/Persisted.h"

#include <Kestrel/Location/RelativeLocation.h>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    Fuzz::ReadWriteRead<IO::RelativeLocation>(
        {data, size}, {{1, 0}, {1, 1}},
        [](IO::RelativeLocation const & a, IO::RelativeLocation const & b) {
            if (a.GetStatus() != IO::NoError)
                return b.GetStatus() != IO::NoError;
            return Fuzz::HasAttached(a) || (a == b && a.IsLegal() == b.IsLegal());
        });
    return 0;
}

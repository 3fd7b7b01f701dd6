// Outside bytes as a persisted address, in all its forms.

#include "Fuzz/Support/Attachments.h"
#include "Fuzz/Support/Persisted.h"

#include <Kestrel/Location/Address.h>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    Fuzz::ReadWriteRead<IO::Address>(
        {data, size}, {{1, 0}, {1, 1}, {1, 2}}, [](IO::Address const & a, IO::Address const & b) {
            if (Fuzz::HasAttached(a))
                return true;
            return a == b && a.GenerateHashValue() == b.GenerateHashValue();
        });
    return 0;
}

// Outside bytes as a persisted location, in all its forms.

#include "Fuzz/Support/Attachments.h"
#include "Fuzz/Support/Persisted.h"

#include <Kestrel/Location/Location.h>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    Fuzz::ReadWriteRead<IO::Location>(
        {data, size}, {{1, 0}, {1, 1}, {1, 2}}, [](IO::Location const & a, IO::Location const & b) {
            if (a.GetStatus() != IO::NoError)
                return b.GetStatus() != IO::NoError;
            return Fuzz::HasAttached(a) ||
                   (a == b && a.GetScheme() == b.GetScheme() && a.GetPort() == b.GetPort() &&
                    a.GetPassword() == b.GetPassword() && a.IsLegal() == b.IsLegal());
        });
    return 0;
}

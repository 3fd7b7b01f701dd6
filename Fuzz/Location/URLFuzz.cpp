// Texts from outside as URLs, in UTF-8.

#include "Fuzz/Support/Attachments.h"
#include "Fuzz/Support/FuzzInput.h"

#include <Kestrel/Location/Location.h>

using Fuzz::Require;

namespace {

bool IsLetterOrDigit(unsigned short unit) {
    return (unit >= 'a' && unit <= 'z') || (unit >= '0' && unit <= '9');
}

// Whether the URL form tells all of it. It has no escapes for what separates the labels of a host,
// drops an empty last name, and writes "localhost" where there is no host.
bool IsPlain(IO::Location const & location) {
    if (Fuzz::HasAttached(location))
        return false;
    IO::Name name;
    for (unsigned int i = 0; location.GetNetworkName(i, &name) == IO::NoError; ++i) {
        for (unsigned int k = 0; k < name.GetLength(); ++k)
            if (!IsLetterOrDigit(name[k]))
                return false;
        if (name.IsEmpty() || name == IO::Name("localhost"))
            return false;
    }
    bool const hasHost = location.GetNetworkLength() != 0;
    bool const endsWell =
        location.GetLastLocalName(&name) != IO::NoError ? hasHost : !name.IsEmpty();
    bool const hasUser = !location.GetUserName().IsEmpty() || location.GetPassword().IsEmpty();
    return endsWell && hasUser &&
           (hasHost || location.GetNetworkModel() != IO::Location::SchemeModel) &&
           location.GetScheme() != "url";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    Fuzz::FuzzInput input(data, size);
    Mu::UniString const text(input.TakeBytes(4000).c_str(), MuCharCode(99));
    IO::Location location;
    if (location.Set(text) != IO::NoError)
        return 0;
    Mu::UniString url;
    if (location.ToURL(&url) != IO::NoError)
        return 0;
    IO::Location again;
    MuErrCode const status = again.Set(url);
    if (!IsPlain(location))
        return 0;
    Require(status == IO::NoError);
    Require(again == location && again.GetPort() == location.GetPort());
    Mu::UniString second;
    Require(again.ToURL(&second) == IO::NoError && second == url);
    return 0;
}

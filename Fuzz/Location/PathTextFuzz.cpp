// Texts from outside as paths: absolute and relative, in UTF-16 and in the narrow code. The first
// byte chooses.

#include "Fuzz/Support/Attachments.h"
#include "Fuzz/Support/FuzzInput.h"

#include <Kestrel/Location/Location.h>
#include <Kestrel/Location/RelativeLocation.h>

using Fuzz::Require;

namespace {

// What has a path is read back from it, but for the root, whose path is empty.
void CheckAbsolute(Mu::UniString const & text) {
    IO::Location location;
    MuErrCode const status = location.Set(text);
    Require(location.GetStatus() == IO::NoError);
    Mu::UniString shown;
    location.ToLogText(&shown);
    (void)location.ToURL(&shown);
    bool const legal = location.IsLegal();
    if (status != IO::NoError || !legal || Fuzz::HasAttached(location) || location.IsRoot() ||
        location.ToPath(&shown) != IO::NoError)
        return;
    IO::Location const again(shown);
    Require(again.GetStatus() == IO::NoError && again == location);
    Require(again.GenerateHashValue() == location.GenerateHashValue());
}

void CheckRelative(Mu::UniString const & text) {
    IO::RelativeLocation relative;
    MuErrCode const status = relative.Set(text);
    Require(relative.GetStatus() == IO::NoError);
    (void)relative.IsMultiplatform();
    IO::Name last;
    Mu::UniString url;
    // The URL form drops an empty last name.
    if (Fuzz::HasAttached(relative) ||
        (relative.GetLastName(&last) == IO::NoError && last.IsEmpty()))
        return;
    if (status != IO::NoError || relative.ToURL(&url) != IO::NoError)
        return;
    IO::RelativeLocation again;
    Require(again.Set(url) == IO::NoError && again == relative);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    Fuzz::FuzzInput input(data, size);
    unsigned int const choice = input.TakeByte();
    Mu::UniString text;
    if (choice & 1)
        text = Mu::UniString(input.TakeUnits(12000).c_str());
    else
        text = Mu::UniString(input.TakeBytes(12000).c_str());
    if (choice & 2)
        CheckAbsolute(text);
    else
        CheckRelative(text);
    return 0;
}

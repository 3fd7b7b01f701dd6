// The text of a settings file, as people may leave it behind, with a key and a name that are looked
// for in it. The first bytes tell how long those are.

#include "Fuzz/Support/FuzzInput.h"

#include <Kestrel/Root/Internal/PreferenceText.h>

using Fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    Fuzz::FuzzInput input(data, size);
    std::string const key = input.TakeBytes(input.TakeChoice(16));
    std::string const name = input.TakeBytes(input.TakeChoice(16));
    std::string const text(input.GetRest(), input.GetRestSize());
    Mu::PreferencePlace const place = Mu::FindPreference(text, key, name);
    unsigned int number = 0;
    (void)Mu::ParsePreference(place.value, &number);
    Require(place.lineBegin <= place.lineEnd && place.lineEnd <= text.size());
    Require(place.insertion <= text.size());
    if (!place.found || !Mu::IsPreferenceKey(key) || !Mu::IsPreferenceName(name))
        return 0;
    // The value's line gone, or another in its place, nothing else has changed.
    std::string changed = text;
    changed.replace(place.lineBegin, place.lineEnd - place.lineBegin, name + " = 17\n");
    Mu::PreferencePlace const after = Mu::FindPreference(changed, key, name);
    Require(after.found && Mu::ParsePreference(after.value, &number) && number == 17);
    return 0;
}

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
    std::string_view value = "left alone";
    unsigned int number = 17;
    if (Mu::FindPreference(text, key, name, &value))
        Require(value.data() >= text.data() && value.end() <= text.data() + text.size());
    else
        Require(value == "left alone");
    (void)Mu::ParsePreference(value, &number);
    return 0;
}

// Outside bytes as the content of the settings file.

#include "Fuzz/Support/FuzzInput.h"

#include <Kestrel/Internal/Settings.h>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    Fuzz::FuzzInput input(data, size);
    std::string text = input.TakeBytes(100'000);
    IO::ApplySettings(text.data(), static_cast<unsigned int>(text.size()));
    return 0;
}

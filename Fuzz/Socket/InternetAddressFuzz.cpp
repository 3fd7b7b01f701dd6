// Any text as an address of a host, and as the mask of a network.

#include "Fuzz/Support/FuzzInput.h"

#include <Kestrel/Socket/Internal/DottedText.h>
#include <Kestrel/Socket/SubnetMask.h>

using namespace IO::Socket;

namespace {

// Whether one bits stand in front, or inside one byte only behind some; the shape of what is accepted.
bool IsMask(unsigned int mask, short prefix) {
    unsigned int const bytes = static_cast<unsigned int>(prefix + 7) / 8;
    unsigned int const behind = bytes < 4 ? ~0u >> (8 * bytes) : 0;
    bool const endsInItsByte = prefix % 8 == 0 || (mask >> (32 - prefix) & 1) == 1;
    return (mask & behind) == 0 && mask != 0 && endsInItsByte;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    Fuzz::FuzzInput input(data, size);
    bool const isWide = input.TakeChoice(2) == 1;
    Mu::UniString const text = isWide ? Mu::UniString(input.TakeUnits(4096))
                                      : Mu::UniString(input.GetRest(), input.GetRestSize());
    unsigned char bytes[4] = {1, 2, 3, 4};
    bool const isParsed = InternetAddress::ParseHostAddress(text, bytes);
    Fuzz::Require(isParsed || ToNumber(bytes) == 0x01020304);
    short const prefix = SubnetMask::GetPrefixLength(text);
    Fuzz::Require(prefix == -1 || (isParsed && prefix >= 1 && prefix <= 32));
    Fuzz::Require(prefix == -1 || IsMask(ToNumber(bytes), prefix));

    Mu::String const narrow(input.GetRest(), isWide ? 0 : input.GetRestSize());
    if (narrow.IsEmpty() || !InternetAddress::IsHostAddress(narrow))
        return 0;
    // The dotted form of what is read reads as the same.
    InternetAddress const address = InternetAddress::GetByAddress(narrow);
    Fuzz::Require(InternetAddress::GetByAddress(address.GetHostAddress()) == address);
    unsigned char again[4];
    Mu::UniString const dotted(address.GetHostAddress().ToCStr());
    Fuzz::Require(InternetAddress::ParseHostAddress(dotted, again));
    Fuzz::Require(InternetAddress(again[0], again[1], again[2], again[3]) == address);
    return 0;
}

// Any text as a hardware address.

#include "Fuzz/Support/FuzzInput.h"

#include <Kestrel/Root/Exceptions.h>
#include <Kestrel/Socket/HardwareAddress.h>

using IO::Socket::HardwareAddress;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    Fuzz::FuzzInput input(data, size);
    bool const isWide = input.TakeChoice(2) == 1;
    Mu::UniString const text = isWide ? Mu::UniString(input.TakeUnits(4096))
                                      : Mu::UniString(input.GetRest(), input.GetRestSize());
    HardwareAddress address("kept", 4);
    if (text.IsEmpty())
        return 0;
    if (!HardwareAddress::Parse(text, address)) {
        Fuzz::Require(address == HardwareAddress("kept", 4));
        return 0;
    }
    bool const isPlain = !text.Contains('-') && !text.Contains(':');
    unsigned int const count = address.GetAddressLength();
    Fuzz::Require(text.GetLength() == (isPlain ? 2 * count : 3 * count - 1));
    // What is written without letters reads back.
    Mu::UniString const written = isPlain ? address.ToString(0) : address.ToString();
    Fuzz::Require(written.GetLength() == text.GetLength());
    HardwareAddress again;
    Fuzz::Require(HardwareAddress::Parse(written, again));
    bool const hasLetters = written.FindFirstIn("ABCDEF") != Mu::NotFound;
    Fuzz::Require(hasLetters || again == address);
    return 0;
}

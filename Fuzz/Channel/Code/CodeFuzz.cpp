// Outside bytes as an enciphered stream, with searches for the next record; and the same bytes as
// key and text of a stream that must read back as it was written, also behind a lost record. The
// first byte chooses.

#include "Fuzz/Support/FuzzInput.h"

#include <Kestrel/Channel/Code/CodeIChannel.h>
#include <Kestrel/Channel/Code/CodeOChannel.h>
#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>

using Fuzz::Require;

namespace {

std::string ReadAll(Mu::IChannel & channel, MuErrCode * status) {
    std::string text;
    char byte;
    while ((*status = channel.ReadBin(&byte, 1, nullptr)) == IO::NoError)
        text += byte;
    return text;
}

void ReadForeign(Fuzz::FuzzInput input) {
    std::string const key = input.TakeBytes(input.TakeChoice(20));
    IO::MemoryIChannel source(input.GetRest(), input.GetRestSize());
    IO::CodeIChannel code(source, key.data(), static_cast<unsigned int>(key.size()));
    for (int breaks = 0; breaks < 10; ++breaks) {
        MuErrCode status;
        (void)ReadAll(code, &status);
        if (status == IO::EOI || code.FindNextBlock() != IO::NoError)
            return;
    }
}

void WriteAndReadBack(Fuzz::FuzzInput input) {
    std::string const key = input.TakeBytes(input.TakeByte());
    std::string const text(input.GetRest(), input.GetRestSize());
    IO::MemoryOChannel destination;
    {
        IO::CodeOChannel code(destination, key.data(), static_cast<unsigned int>(key.size()));
        Require(code.WriteBin(text.data(), static_cast<unsigned int>(text.size()), nullptr) ==
                IO::NoError);
    }
    char const * const bytes = destination.GetDestination();
    IO::MemoryIChannel source(bytes, destination.GetDataSize());
    IO::CodeIChannel code(source, key.data(), static_cast<unsigned int>(key.size()));
    MuErrCode status;
    Require(ReadAll(code, &status) == text && status == IO::EOI);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    Fuzz::FuzzInput input(data, size);
    if (input.TakeByte() & 1)
        WriteAndReadBack(input);
    else
        ReadForeign(input);
    return 0;
}

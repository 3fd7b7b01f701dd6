// Outside bytes as a compressed stream, with searches for the next point to read on from; and the
// same bytes as operations of a writer whose stream must read back as it was written. The first
// byte chooses.

#include "Fuzz/Support/FuzzInput.h"

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/Channel/Zip/ZipIChannel.h>
#include <Kestrel/Channel/Zip/ZipOChannel.h>

using Fuzz::Require;

namespace {

// Reads to the end, or to a break.
std::string ReadAll(Mu::IChannel & channel, MuErrCode * status) {
    std::string text;
    char block[1000];
    unsigned int read = 0;
    do {
        *status = channel.ReadBin(block, sizeof block, &read);
        text.append(block, read);
    } while (*status == IO::NoError && text.size() < 10'000'000);
    return text;
}

void ReadForeign(Fuzz::FuzzInput input) {
    IO::MemoryIChannel source(input.GetRest(), input.GetRestSize());
    IO::ZipIChannel zip(source);
    for (int breaks = 0; breaks < 10; ++breaks) {
        MuErrCode status;
        (void)ReadAll(zip, &status);
        if (status == IO::EOI || zip.FindNextFlushFlush(0) != IO::NoError)
            return;
    }
}

std::string WriteOwn(Fuzz::FuzzInput input, IO::MemoryOChannel & destination) {
    using Options = IO::ZipOChannelOptions;
    Options const options(static_cast<Options::CompressionLevel>(input.TakeChoice(10)),
                          input.TakeNumber(), Options::WritingThread);
    IO::ZipOChannel zip(destination, options);
    std::string written;
    while (!input.IsEmpty()) {
        unsigned int const choice = input.TakeByte();
        if (choice == 255) {
            (void)zip.FullFlush();
        } else if (choice == 254) {
            Require(zip.Flush() == IO::NoError);
        } else {
            std::string const piece(choice * 40, static_cast<char>(input.TakeByte()));
            Require(zip.WriteBin(piece.data(), static_cast<unsigned int>(piece.size()), nullptr) ==
                    IO::NoError);
            written += piece;
        }
    }
    return written;
}

void WriteAndReadBack(Fuzz::FuzzInput input) {
    IO::MemoryOChannel destination;
    std::string const written = WriteOwn(input, destination);
    char const * const bytes = destination.GetDestination();
    IO::MemoryIChannel source(bytes, destination.GetDataSize());
    IO::ZipIChannel zip(source);
    MuErrCode status;
    Require(ReadAll(zip, &status) == written && status == IO::EOI && source.IsEOI());
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

// What only a host of the shared library can show of channels.

#include <Kestrel/Kestrel.h>

#include <gtest/gtest.h>

#if defined(__GNUC__) && !defined(__clang__) && !defined(_WIN32)

#include <dlfcn.h>

#pragma GCC diagnostic ignored "-Wpedantic" // what a slot holds is asked by an extension

// Makes a copy of the operation in this module, as a guess does.
__attribute__((optimize("O0"))) static MuErrCode CallDirectly(Mu::OChannel & channel) {
    return IO::binOProtocol.IO::BinOProtocol::Write(channel, 1);
}

// A value is written in line where its slot holds what the host's compiler guesses: the copy that
// all modules agree on. When the library binds the slots to copies of its own, each guess fails, and
// nothing else shows it.
TEST(Host, HasTheAddressesThatItsCompilerGuesses) {
    using Function = MuErrCode (*)(IO::BinOProtocol *, Mu::OChannel &, int);
    using Operation = MuErrCode (IO::BinOProtocol::*)(Mu::OChannel &, int);
    Operation const operation = &IO::BinOProtocol::Write;
    IO::BinOProtocol * volatile protocol = &IO::binOProtocol; // so that nobody knows it too well
    Function const slot = reinterpret_cast<Function>((*protocol).*operation);
    void * const guess = dlsym(RTLD_DEFAULT, "_ZN2IO12BinOProtocol5WriteERN2Mu8OChannelEi");
    ASSERT_NE(guess, nullptr);
    EXPECT_EQ(reinterpret_cast<void *>(slot), guess);
    IO::MemoryOChannel channel;
    EXPECT_EQ(CallDirectly(channel), IO::NoError);
}

#endif

// What only a host of the shared library can show of channels.

#include <Kestrel/Kestrel.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#if !defined(_WIN32)
#include <dlfcn.h>
#endif

#if defined(__GNUC__) && !defined(__clang__) && !defined(_WIN32)

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

#if !defined(_WIN32) // its command interpreter passes on no exit code that could be told here

TEST(Tool, DeletesNothingThatItDidNotMake) {
    std::filesystem::remove_all("host-kept");
    std::filesystem::create_directory("host-kept");
    std::ofstream("host-kept/rubbish") << "no stream at all";
    std::ofstream("host-kept/old") << "old";
    auto const run = [](char const * arguments) {
        return std::system((std::string("./" KESTREL_TOOL " ") + arguments + " >host-tool.log 2>&1")
                               .c_str()) >>
               8;
    };
    EXPECT_EQ(run("unzip -f host-kept/rubbish host-kept/old"), 1);
    EXPECT_TRUE(std::filesystem::exists("host-kept/old"));
    EXPECT_EQ(run("unzip host-kept/rubbish host-kept/new"), 1);
    EXPECT_FALSE(std::filesystem::exists("host-kept/new"));
    std::filesystem::remove_all("host-kept");
}

#endif

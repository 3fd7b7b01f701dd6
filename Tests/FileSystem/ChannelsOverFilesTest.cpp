// Everything that works on memory works on a file: channels stacked over one, and what they make of
// the same values there and in memory compared byte by byte.

#include <Kestrel/FileSystem/File.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/FileSystem/Place.h"

#include <Kestrel/Channel/Code/CodeIChannel.h>
#include <Kestrel/Channel/Code/CodeOChannel.h>
#include <Kestrel/Channel/MD5Channel.h>
#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/Channel/PlatformProtocol.h>
#include <Kestrel/Channel/ReadText.h>
#include <Kestrel/Channel/Streams.h>
#include <Kestrel/Channel/SubIChannel.h>
#include <Kestrel/Channel/Zip/ZipIChannel.h>
#include <Kestrel/Channel/Zip/ZipOChannel.h>

using IO::File;
using Options = IO::ZipOChannelOptions;

namespace {

constexpr char key[] = "the key";
constexpr unsigned int keyLength = 7;
constexpr int rows = 4000;

// Typed values in the form of another platform, compressed, enciphered, into `out`.
void WriteStacked(Mu::OChannel & out, Options::MultiThreading threading) {
    IO::CodeOChannel code(out, key, keyLength);
    IO::ZipOChannel zip(code, Options(Options::DefaultLevel, 10000, threading));
    ASSERT_EQ(IO::SetPlatformOProtocol(zip, Mu::BigEndianMacSign), IO::NoError);
    for (int i = 0; i < rows; ++i) {
        zip.Write(static_cast<short>(i));
        zip.Write(i * 0.25);
        zip.Write("a text with an umlaut: \xE4");
    }
    EXPECT_EQ(zip.GetOutputStatus(), IO::NoError);
}

// The same way back, and to the end.
void ReadStacked(Mu::IChannel & in) {
    IO::CodeIChannel code(in, key, keyLength);
    IO::ZipIChannel zip(code);
    ASSERT_EQ(IO::SetPlatformIProtocol(zip, Mu::BigEndianMacSign), IO::NoError);
    for (int i = 0; i < rows; ++i) {
        short number = -1;
        double part = -1;
        char text[32];
        ASSERT_EQ(zip.Read(number), IO::NoError);
        ASSERT_EQ(zip.Read(part), IO::NoError);
        ASSERT_EQ(IO::ReadText(zip, text, sizeof text, nullptr), IO::NoError);
        ASSERT_EQ(number, static_cast<short>(i));
        ASSERT_EQ(part, i * 0.25);
        ASSERT_STREQ(text, "a text with an umlaut: \xE4");
    }
    EXPECT_TRUE(zip.IsEOI());
    EXPECT_EQ(zip.GetZipError(), IO::NoError);
}

MD5::FingerPrint Digest(Mu::IChannel & in) {
    IO::MD5Channel digest;
    char piece[1000];
    unsigned int read = 0;
    do {
        (void)in.ReadBin(piece, sizeof piece, &read);
        (void)digest.WriteBin(piece, read, nullptr);
    } while (read != 0);
    MD5::FingerPrint print;
    digest.Finish(&print);
    return print;
}

} // namespace

using ChannelsOverFiles = Tests::OnEachPlace;
INSTANTIATE_TEST_SUITE_P(Place, ChannelsOverFiles, ::testing::Bool(), Tests::NamePlace);

TEST_P(ChannelsOverFiles, AreStackedAsOverMemory) {
    for (auto threading : {Options::WritingThread, Options::WorkerThread}) {
        IO::MemoryOChannel memory;
        WriteStacked(memory, threading);
        File file(place / "stack", File::OnNotFound::Create);
        ASSERT_EQ(file.Open(File::OpenMode::WriteOnlyEmpty), IO::NoError);
        WriteStacked(file, threading);
        ASSERT_EQ(file.Close(), IO::NoError);

        char const * const bytes = memory.GetDestination();
        IO::MemoryIChannel twin(bytes, memory.GetDataSize());
        ASSERT_EQ(file.Open(File::OpenMode::ReadOnly), IO::NoError);
        EXPECT_EQ(Digest(file), Digest(twin));
        ASSERT_EQ(file.Close(), IO::NoError);
        ASSERT_EQ(file.Open(File::OpenMode::ReadOnly), IO::NoError);
        ReadStacked(file);
        char c;
        EXPECT_EQ(file.ReadBin(&c, 1, nullptr), IO::EOI) << "all of it was taken";
        ASSERT_EQ(file.Close(), IO::NoError);
    }
}

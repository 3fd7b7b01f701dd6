// The streams of the zip channels and those of a program with a compressor of its own: GNU gzip,
// whose files hold the same compressed data between another head and another end.

#include <Kestrel/Channel/Zip/ZipIChannel.h>
#include <Kestrel/Channel/Zip/ZipOChannel.h>

#include "Tests/Support/TempFolder.h"

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>

#include <gtest/gtest.h>

#include <zlib.h> // for the sums alone

#include <cstdlib>
#include <random>
#include <string>

namespace {

std::string const gzipHead("\x1F\x8B\x08\0\0\0\0\0\0\x03", 10);
std::string const zlibHead("\x78\x9C", 2);

std::string LowFirst(uLong value) {
    std::string bytes;
    for (int i = 0; i < 4; ++i)
        bytes += static_cast<char>(value >> 8 * i);
    return bytes;
}

std::string HighFirst(uLong value) {
    std::string const bytes = LowFirst(value);
    return std::string(bytes.rbegin(), bytes.rend());
}

template <typename Sum>
uLong SumOf(Sum sum, std::string const & text) {
    auto const * const bytes = reinterpret_cast<Bytef const *>(text.data());
    return sum(sum(0, nullptr, 0), bytes, static_cast<uInt>(text.size()));
}

std::string Zip(std::string const & text, IO::ZipOChannelOptions const & options) {
    IO::MemoryOChannel out;
    {
        IO::ZipOChannel zip(out, options);
        EXPECT_EQ(zip.WriteBin(text.data(), static_cast<unsigned int>(text.size()), nullptr),
                  IO::NoError);
    }
    char const * const bytes = out.GetDestination();
    return std::string(bytes, out.GetDataSize());
}

std::string Unzip(std::string const & bytes, std::size_t size) {
    IO::MemoryIChannel in(bytes.data(), static_cast<unsigned int>(bytes.size()));
    IO::ZipIChannel zip(in);
    std::string text(size + 1, '\0');
    unsigned int read = 0;
    EXPECT_EQ(zip.ReadBin(text.data(), static_cast<unsigned int>(text.size()), &read), IO::EOI);
    text.resize(read);
    return text;
}

std::string MakeText() {
    std::mt19937 random(11);
    std::string text;
    while (text.size() < 300000)
        text += "number " + std::to_string(random() % 3000) + '\n';
    return text;
}

#if defined(_WIN32)
constexpr bool hasGzip = false;
#else
constexpr bool hasGzip = true;
#endif

bool RunIn(Tests::TempFolder const & folder, char const * command) {
    return std::system(("cd '" + folder.GetPath().string() + "' && " + command).c_str()) == 0;
}

TEST(ZipInterop, ReadsBytesOfAnotherProgram) {
    std::string const bytes("\x78\x9C\x2B\xC9\x48\x55\x28\x4E\xCC\x4D\x55\x28\xCF\x2F\x4A\x29\xD6"
                            "\x51\x28\xC1\xCB\x57\x48\x4C\x4F\xCC\xCC\x03\x00\xEE\x2D\x12\xBB",
                            33);
    EXPECT_EQ(Unzip(bytes, 52), "the same words, the same words, the same words again");
}

TEST(ZipInterop, IsReadByAnotherProgram) {
    if (!hasGzip)
        GTEST_SKIP() << "there is no other program here that could read it";
    std::string const text = MakeText();
    Tests::TempFolder const folder;
    for (auto threading :
         {IO::ZipOChannelOptions::WritingThread, IO::ZipOChannelOptions::WorkerThread})
        for (unsigned int flushAfter : {0u, 20000u}) {
            IO::ZipOChannelOptions options;
            options.SetMT(threading);
            options.SetAutoFullFlushAfterBytesOfData(flushAfter);
            std::string const bytes = Zip(text, options);
            ASSERT_EQ(bytes.substr(0, 2), zlibHead);
            ASSERT_EQ(bytes.substr(bytes.size() - 4), HighFirst(SumOf(adler32, text)));
            folder.Write("ours.gz", gzipHead + bytes.substr(2, bytes.size() - 6) +
                                        LowFirst(SumOf(crc32, text)) + LowFirst(text.size()));
            ASSERT_TRUE(RunIn(folder, "gzip -dc ours.gz > theirs"));
            EXPECT_TRUE(folder.Read("theirs") == text);
        }
}

TEST(ZipInterop, ReadsWhatAnotherProgramWrites) {
    if (!hasGzip)
        GTEST_SKIP() << "there is no other program here that could write it";
    std::string const text = MakeText();
    Tests::TempFolder const folder;
    folder.Write("ours", text);
    for (char const * const command : {"gzip -1nc < ours > theirs", "gzip -9nc < ours > theirs"}) {
        ASSERT_TRUE(RunIn(folder, command));
        std::string const bytes = folder.Read("theirs");
        ASSERT_GT(bytes.size(), 18u);
        std::string const body = bytes.substr(10, bytes.size() - 18);
        EXPECT_TRUE(Unzip(zlibHead + body + HighFirst(SumOf(adler32, text)), text.size()) == text);
    }
}

} // namespace

#include <Kestrel/Channel/Zip/ZipIChannel.h>
#include <Kestrel/Channel/Zip/ZipOChannel.h>

#include "Tests/Support/Channel/Ends.h"
#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Gate.h"
#include "Tests/Support/Root/ByteChannels.h"

#include <Kestrel/Channel/MemoryIChannel.h>

#include <gtest/gtest.h>

#include <zlib.h>

#include <atomic>
#include <random>
#include <string>
#include <thread>

using IO::MemoryIChannel;
using IO::ZipIChannel;
using IO::ZipOChannel;
using Tests::ByteOChannel;
using Tests::ReadAll;
using Options = IO::ZipOChannelOptions;

namespace {

constexpr auto alone = Options::WritingThread;
constexpr auto withWorker = Options::WorkerThread;

Options With(Options::MultiThreading threading, unsigned int autoFlush = 0,
             Options::CompressionLevel level = Options::DefaultLevel) {
    return Options(level, autoFlush, threading);
}

// Repeats itself enough to be worth compressing, and not so much that nothing comes out.
std::string MakeText(std::size_t size, unsigned int seed) {
    std::mt19937 random(seed);
    std::string text;
    while (text.size() < size)
        text += "value " + std::to_string(random() % 5000) + "; ";
    text.resize(size);
    return text;
}

MuErrCode Put(Mu::OChannel & channel, std::string const & text) {
    return channel.WriteBin(text.data(), static_cast<unsigned int>(text.size()), nullptr);
}

std::string Zip(std::string const & text, Options const & options, std::size_t step = ~0u) {
    ByteOChannel out;
    {
        ZipOChannel zip(out, options);
        for (std::size_t at = 0; at < text.size(); at += step)
            EXPECT_EQ(Put(zip, text.substr(at, step)), IO::NoError);
    }
    return out.GetBytes();
}

MemoryIChannel::OwnershipType const borrowed = MemoryIChannel::LeaveWithCaller;

std::string Unzip(std::string const & bytes, MuErrCode end = IO::EOI) {
    MemoryIChannel in(bytes.data(), static_cast<unsigned int>(bytes.size()), borrowed);
    ZipIChannel zip(in);
    std::string text = ReadAll(zip);
    EXPECT_EQ(zip.GetInputStatus(), end);
    EXPECT_EQ(zip.GetZipError(), IO::NoError);
    return text;
}

// By zlib alone, in one call.
std::string PlainUnzip(std::string const & bytes, std::size_t size) {
    std::string text(size, '\0');
    uLongf length = static_cast<uLongf>(size);
    EXPECT_EQ(uncompress(reinterpret_cast<Bytef *>(text.data()), &length,
                         reinterpret_cast<Bytef const *>(bytes.data()),
                         static_cast<uLong>(bytes.size())),
              Z_OK);
    text.resize(length);
    return text;
}

} // namespace

class ZipChannel : public ::testing::TestWithParam<Options::MultiThreading> {};
INSTANTIATE_TEST_SUITE_P(Thread, ZipChannel, ::testing::Values(alone, withWorker),
                         [](auto const & info) {
                             return info.param == alone ? "Alone" : "Worker";
                         });

TEST_P(ZipChannel, WritesOnePlainStream) {
    for (std::size_t size : {0u, 1u, 4095u, 4096u, 4097u, 16385u, 1000000u}) {
        for (Options::CompressionLevel level :
             {Options::DefaultLevel, Options::NoCompression, Options::Fastest, Options::Best}) {
            std::string const text = MakeText(size, 7);
            std::string const bytes = Zip(text, With(GetParam(), 0, level));
            EXPECT_TRUE(PlainUnzip(bytes, size + 1) == text);
            EXPECT_TRUE(Unzip(bytes) == text);
        }
    }
    EXPECT_EQ(Zip("", With(GetParam())).size(), 8u);
}

TEST_P(ZipChannel, FlushesFullyByItselfAndOnDemand) {
    std::string const mark("\0\0\xFF\xFF", 4);
    auto const countMarks = [&](std::string const & bytes) {
        int count = 0;
        for (std::size_t at = bytes.find(mark); at != std::string::npos;
             at = bytes.find(mark, at + 1))
            ++count;
        return count;
    };
    // Blocks of 16384 bytes come down; the seventh passes the limit.
    EXPECT_EQ(countMarks(Zip(std::string(6 * 16384, 'x'), With(GetParam(), 100000))), 0);
    EXPECT_EQ(countMarks(Zip(std::string(7 * 16384, 'x'), With(GetParam(), 100000), 16384)), 1);
    ByteOChannel out;
    {
        ZipOChannel zip(out, With(GetParam()));
        unsigned long long position = 0;
        Put(zip, "first");
        EXPECT_EQ(zip.GetOutputPosition(&position), IO::NoError);
        EXPECT_EQ(position, 5u) << "what is written counts, not what comes out";
        EXPECT_EQ(zip.FullFlush(), IO::NoError);
        EXPECT_EQ(zip.FullFlush(), GetParam() == alone ? IO::Error : IO::NoError);
        Put(zip, "2");
        EXPECT_EQ(zip.FullFlush(), IO::NoError);
        Put(zip, "third");
    }
    std::string const bytes = out.GetBytes();
    EXPECT_EQ(Unzip(bytes), "first2third") << "two flushes in a row do no harm";
    EXPECT_EQ(Unzip(bytes.substr(0, bytes.rfind(mark) + 4), IO::InputFailure), "first2");
}

TEST(ZipIChannel, ReadsFromAnySource) {
    std::string const text = MakeText(6000, 4); // the twins hold what fits into a ring
    Tests::ForEachIChannel(Zip(text, With(alone)), [&](Mu::IChannel & source) {
        ZipIChannel zip(source);
        EXPECT_TRUE(ReadAll(zip) == text);
    });
}

TEST(ZipIChannel, LeavesTheSourceBehindTheStream) {
    std::string const bytes = Zip("first", With(alone)) + Zip("second", With(alone)) + "rest";
    MemoryIChannel in(bytes.data(), static_cast<unsigned int>(bytes.size()), borrowed);
    for (char const * expected : {"first", "second"}) {
        ZipIChannel zip(in);
        EXPECT_EQ(ReadAll(zip), expected);
        EXPECT_EQ(zip.GetInputStatus(), IO::EOI);
        unsigned long long number = 77;
        EXPECT_EQ(zip.GetAvailable(&number), IO::Error);
        EXPECT_EQ(number, 77u);
        zip.GetInputPosition(&number);
        EXPECT_EQ(number, std::string(expected).size());
    }
    EXPECT_EQ(ReadAll(in), "rest");
}

TEST(ZipIChannel, MeetsACutAtEveryPlace) {
    std::string const text = MakeText(300, 5);
    std::string const bytes = Zip(text, With(alone));
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        SCOPED_TRACE(size);
        EXPECT_TRUE(text.starts_with(Unzip(bytes.substr(0, size), IO::InputFailure)));
    }
}

// Behind a flush point there must be a block; this is none.
static std::string Damage(std::string bytes, std::size_t from) {
    std::size_t const point = bytes.find(std::string("\0\0\xFF\xFF", 4), from);
    EXPECT_NE(point, std::string::npos);
    bytes[point + 4] = '\xFF';
    return bytes;
}

TEST(ZipIChannel, LooksOnceBeforeTheLimitCounts) {
    std::string const bytes = Damage(Zip(std::string(80000, 'a'), With(alone, 10000), 20000), 0);
    MemoryIChannel in(bytes.data(), static_cast<unsigned int>(bytes.size()), borrowed);
    ZipIChannel zip(in);
    ReadAll(zip);
    unsigned long long position = 0;
    in.GetInputPosition(&position);
    EXPECT_EQ(zip.FindNextFlushFlush(position), IO::NoError) << "the next one was offered already";
}

TEST(ZipIChannel, GoesOnBehindADamage) {
    std::string const text = MakeText(400000, 9);
    std::string const whole = Zip(text, With(alone, 50000), 10000);
    std::string const bytes = Damage(whole, whole.size() / 3);
    MemoryIChannel in(bytes.data(), static_cast<unsigned int>(bytes.size()), borrowed);
    ZipIChannel zip(in);
    std::string const before = ReadAll(zip);
    EXPECT_EQ(zip.GetInputStatus(), IO::InputFailure);
    EXPECT_EQ(zip.GetZipError(), IO::ZipDataError);
    unsigned long long position = 0;
    zip.PushBack("back", 4);
    zip.GetInputPosition(&position);
    EXPECT_LE(position, before.size());
    zip.Skip(4, nullptr);
    ASSERT_EQ(zip.FindNextFlushFlush(0), IO::NoError);
    std::string const after = ReadAll(zip);
    EXPECT_GT(after.size(), 100000u);
    EXPECT_TRUE(text.ends_with(after)) << "all of the end is saved";
    EXPECT_EQ(zip.GetZipError(), IO::ZipDataError) << "it stays";
}

TEST(ZipIChannel, SearchesNoFurtherThanItMay) {
    std::string const bytes = "no stream at all, and no flush point in it";
    MemoryIChannel in(bytes.data(), static_cast<unsigned int>(bytes.size()), borrowed);
    ZipIChannel zip(in);
    char c;
    EXPECT_EQ(zip.ReadBin(&c, 1, nullptr), IO::InputFailure);
    EXPECT_EQ(zip.FindNextFlushFlush(1), IO::Error) << "the limit";
    EXPECT_EQ(zip.FindNextFlushFlush(0), IO::EOI) << "the end of the source";
}

// What it was given belongs to the writer, and is gone when the destination has recovered.
TEST(ZipOChannel, KeepsNothingOfWhatItCouldNotWrite) {
    Tests::RecordingOChannel out;
    out.DisableOutputBuffering();
    out.sink.failFrom = 1;
    {
        ZipOChannel zip(out, With(alone, 0, Options::NoCompression));
        MuErrCode status = IO::NoError;
        for (unsigned int i = 0; i < 40 && status == IO::NoError; ++i)
            status = Put(zip, MakeText(50000, 1));
        EXPECT_EQ(status, IO::EOO);
        out.sink.failFrom = 0;
        out.ResetOutputStatus();
        zip.ResetOutputStatus();
        EXPECT_EQ(Put(zip, MakeText(50000, 2)), IO::NoError);
    }
    EXPECT_NE(out.sink.GetText().find(MakeText(50000, 2).substr(0, 500)), std::string::npos);
}

TEST(ZipOChannel, TakesAFailedDestinationQuietlyWhileAWorkerHasIt) {
    Tests::RecordingOChannel out;
    out.sink.failFrom = 1;
    {
        ZipOChannel zip(out, With(withWorker));
        EXPECT_EQ(Put(zip, MakeText(200000, 1)), IO::NoError); // less than the blocks hold
    }
    EXPECT_EQ(out.GetOutputStatus(), IO::EOO);
}

// Less than a block is written: a worker that a shortage ended leaves the writer waiting for more, as
// the header says.
TEST(ZipOChannel, MeetsEveryFailedAllocationBesideAWorker) {
    std::string const text = MakeText(4000, 2);
    Tests::SweepAllocations([&](bool failed) {
        Tests::RecordingOChannel out;
        out.DisableOutputBuffering();
        MuErrCode status;
        {
            ZipOChannel zip(out, With(withWorker));
            status = Put(zip, text);
            if (status == IO::NoError)
                status = zip.Flush();
        }
        EXPECT_TRUE(failed || (status == IO::NoError && Unzip(out.sink.GetText()) == text));
    });
}

// Kept: beside a worker the count is taken as signed.
TEST(ZipOChannel, CopiesNothingOfAWriteOfHalfTheAddresses) {
    ByteOChannel out;
    {
        ZipOChannel zip(out, With(withWorker));
        unsigned int written = 0;
        EXPECT_EQ(zip.WriteBin("", 0x80000000u, &written), IO::NoError);
        EXPECT_EQ(written, 0x80000000u);
        EXPECT_EQ(Put(zip, "after"), IO::NoError);
    }
    EXPECT_EQ(Unzip(out.GetBytes()), "after");
}

// The worker stands at a destination that takes nothing for the time being.
TEST(ZipOChannel, RunsAHundredBlocksAheadOfItsWorker) {
    Tests::Gate stuck, free;
    Tests::RecordingOChannel out;
    out.DisableOutputBuffering();
    out.sink.onWrite = [&] {
        stuck.Open();
        free.Wait();
    };
    ZipOChannel zip(out, With(withWorker, 0, Options::NoCompression));
    zip.DisableOutputBuffering();
    constexpr unsigned int blockSize = 4096;
    std::string const block(blockSize, 'b');
    for (unsigned int i = 0; i < 40; ++i) // what the compressor itself holds, and some
        EXPECT_EQ(Put(zip, block), IO::NoError);
    stuck.Wait();
    std::atomic<unsigned int> ahead = 0;
    std::thread writer([&] {
        for (unsigned int i = 0; i < 200; ++i) {
            EXPECT_EQ(Put(zip, block), IO::NoError);
            ++ahead;
        }
    });
    while (ahead < 50)
        std::this_thread::yield();
    for (int i = 0; i < 2000; ++i)
        std::this_thread::yield();
    EXPECT_LE(ahead, 100u);
    free.Open();
    writer.join();
}

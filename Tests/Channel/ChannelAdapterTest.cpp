#include <Kestrel/Channel/IChannelAdapter.h> // first: the headers stand on their own

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/Channel/OChannelAdapter.h>
#include <Kestrel/Channel/PlatformProtocol.h>

#include "Tests/Support/Channel/Ends.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using Tests::RecordingOChannel;

TEST(IChannelAdapter, TakesNullForEveryCount) {
    Tests::ForEachIChannel("abcdefgh", [](Mu::IChannel & channel) {
        char bytes[8] = {};
        char * data = nullptr;
        EXPECT_EQ(channel.ReadBin(bytes, 2, nullptr), IO::NoError);
        EXPECT_STREQ(bytes, "ab");
        EXPECT_EQ(channel.CopyBin(bytes, 3, nullptr), IO::NoError);
        EXPECT_STREQ(bytes, "cde");
        EXPECT_EQ(channel.Skip(2, nullptr), IO::NoError);
        EXPECT_EQ(channel.DirectInputAccess(2, &data, nullptr), IO::NoError);
        EXPECT_EQ(std::string(data, 2), "ef");
        EXPECT_EQ(channel.PushBack('_'), IO::NoError);
        EXPECT_EQ(channel.ReadBin(bytes, 5, nullptr), IO::NoError);
        EXPECT_STREQ(bytes, "_efgh");
        EXPECT_TRUE(channel.IsEOI());
        EXPECT_EQ(channel.GetInputStatus(), IO::EOI);
        channel.ResetInputStatus();
        EXPECT_EQ(channel.GetInputStatus(), IO::NoError);
    });
}

TEST(OChannelAdapter, TellsAllAsWrittenAlsoBesideAFailure) {
    RecordingOChannel channel;
    channel.sink.failFrom = 1;
    unsigned int written = 0;
    EXPECT_EQ(channel.WriteBin("abc", 3, &written), IO::NoError);
    EXPECT_EQ(written, 3u);
    EXPECT_EQ(channel.WriteBin("abc", 3, nullptr), IO::NoError);
    EXPECT_EQ(channel.Flush(), IO::EOO);
    EXPECT_EQ(channel.WriteBin("abcde", 5, &written), IO::EOO);
    EXPECT_EQ(written, 5u);
    EXPECT_EQ(channel.GetOutputStatus(), IO::EOO);
    channel.ResetOutputStatus();
    EXPECT_EQ(channel.GetOutputStatus(), IO::NoError);
}

TEST(OChannelAdapter, TellsThePositionOfTheWriter) {
    RecordingOChannel channel;
    auto const tell = [&] {
        unsigned long long position = 999;
        EXPECT_EQ(channel.GetOutputPosition(&position), IO::NoError);
        return position;
    };
    EXPECT_EQ(channel.WriteBin("abcde", 5, nullptr), IO::NoError);
    EXPECT_EQ(channel.Flush(), IO::NoError);
    EXPECT_EQ(channel.PushMark(), IO::NoError);
    EXPECT_EQ(channel.WriteBin("0123456789", 10, nullptr), IO::NoError);
    EXPECT_EQ(channel.PopMark(), IO::NoError);
    EXPECT_EQ(tell(), 5u);
    EXPECT_EQ(channel.WriteBin("+", 1, nullptr), IO::NoError);
    EXPECT_EQ(tell(), 6u) << "it follows the overwriting";
    channel.ResetOffset();
    channel.DisableOutputBuffering();
    EXPECT_EQ(channel.WriteBin("!", 1, nullptr), IO::NoError);
    EXPECT_EQ(tell(), 16u);
    EXPECT_EQ(channel.sink.GetText(), "abcde+123456789!");
}

TEST(OChannelAdapter, DropsWhatIsNotFlushedAtItsEnd) {
    Tests::RecordingSink sink;
    struct Watched : RecordingOChannel {
        explicit Watched(Tests::RecordingSink & sink) { SetBinOutput(sink); }
    };
    { EXPECT_EQ(Watched(sink).WriteBin("abc", 3, nullptr), IO::NoError); }
    EXPECT_EQ(sink.calls, 0u);
}

// Does one thing to a channel, the same for the same numbers: numbers in line, or by its protocol.
void WriteOne(Mu::OChannel & channel, bool inLine, unsigned int operation, unsigned int number) {
    auto const write = [&](auto value) {
        (void)(inLine ? channel.Write(value) : channel.GetOutputProtocol().Write(channel, value));
    };
    std::string const text(number % (operation == 4 ? 20000 : 20), 'b');
    switch (operation) {
    case 0: (void)channel.Flush(); break;
    case 1: (void)channel.PushMark(); break;
    case 2: (void)channel.PopMark(); break;
    case 3: channel.ResetOffset(); break;
    case 4:
    case 5:
        (void)channel.WriteBin(text.data(), static_cast<unsigned int>(text.size()), nullptr);
        break;
    case 6:
        (void)IO::SetPlatformOProtocol(channel,
                                       number % 2 ? Mu::BigEndianMacSign : Mu::WindowsSign);
        break;
    case 7: channel.SetDefaultOutputProtocol(); break;
    case 8: channel.ResetOutputStatus(); break;
    case 9: channel << static_cast<char>(number); break;
    case 10: write(number % 2 == 0); break;
    case 11: write(static_cast<double>(number)); break;
    case 12: write(static_cast<short>(number)); break;
    case 13: write(static_cast<long>(number)); break;
    default: write(static_cast<char>(number)); break;
    }
}

std::string ReadOne(Mu::IChannel & channel, bool inLine, unsigned int operation,
                    unsigned int number) {
    std::string result;
    auto const read = [&](auto value) {
        MuErrCode const status =
            inLine ? channel.Read(value) : channel.GetInputProtocol().Read(channel, value);
        result = std::to_string(status);
        if (status == IO::NoError)
            result.append(reinterpret_cast<char const *>(&value), sizeof value);
    };
    std::string text(number % (operation == 2 ? 6000 : 20), 'b');
    unsigned int const size = static_cast<unsigned int>(text.size());
    char * data = nullptr;
    switch (operation) {
    case 0: (void)channel.PushBack(text.data(), size); break;
    case 1: result += std::to_string(channel.Skip(size, nullptr)); break;
    case 2:
    case 3: result += std::to_string(channel.ReadBin(text.data(), size, nullptr)) + text; break;
    case 4: result += std::to_string(channel.CopyBin(text.data(), size, nullptr)) + text; break;
    case 5: result += std::to_string(channel.Look(size, text.data())) + text; break;
    case 6:
        (void)IO::SetPlatformIProtocol(channel,
                                       number % 2 ? Mu::BigEndianMacSign : Mu::WindowsSign);
        break;
    case 7: channel.SetDefaultInputProtocol(); break;
    case 8: channel.ResetInputStatus(); break;
    case 9: result += std::to_string(channel.DirectInputAccess(size, &data, nullptr)); break;
    case 10: read(false); break;
    case 11: read(0.0); break;
    case 12: read(short(0)); break;
    case 13: read(0l); break;
    default: read(char(0)); break;
    }
    unsigned long long position = 0;
    (void)channel.GetInputPosition(&position);
    return result + '/' + std::to_string(channel.GetInputStatus()) + '/' + std::to_string(position);
}

// Nobody can tell by the bytes, the statuses or the positions which numbers passed in line.
TEST(ChannelAdapter, GoesTheSameWayInLineAsByTheProtocol) {
    for (unsigned int seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        IO::MemoryOChannel outputs[2];
        IO::MemoryOChannel limited[2] = {IO::MemoryOChannel(8, 100), IO::MemoryOChannel(8, 100)};
        auto & channels = seed % 4 == 0 ? limited : outputs;
        for (int step = 0; step < 2000; ++step) {
            unsigned int const operation = random() % 40, number = random();
            unsigned long long positions[2];
            for (int i = 0; i < 2; ++i) {
                WriteOne(channels[i], i == 0, operation, number);
                (void)channels[i].GetOutputPosition(&positions[i]);
            }
            ASSERT_EQ(positions[0], positions[1]);
            ASSERT_EQ(channels[0].GetOutputStatus(), channels[1].GetOutputStatus());
            ASSERT_EQ(channels[0].GetOffset(), channels[1].GetOffset());
        }
        std::string texts[2];
        for (int i = 0; i < 2; ++i) {
            do {
                channels[i].ResetOutputStatus();
                channels[i].ResetOffset();
            } while (channels[i].PopMark() == IO::NoError || channels[i].GetOutputStatus());
            char const * const text = channels[i].GetDestination(); // with all that was written
            texts[i].assign(text, channels[i].GetDataSize());
        }
        ASSERT_EQ(texts[0], texts[1]);

        unsigned int const size = static_cast<unsigned int>(texts[0].size());
        IO::MemoryIChannel inLine(texts[0].data(), size), called(texts[0].data(), size);
        for (int step = 0; step < 2000; ++step) {
            unsigned int const operation = random() % 40, number = random();
            ASSERT_EQ(ReadOne(inLine, true, operation, number),
                      ReadOne(called, false, operation, number));
        }
    }
}

// Who puts an operation in the place of ours meets every number.
TEST(ChannelAdapter, LeavesNumbersToWhoReadsAndWritesThemOtherwise) {
    struct Output : IO::MemoryOChannel {
        MuErrCode WriteBin(char const * source, unsigned int count, unsigned int * put) override {
            ++calls;
            return MemoryOChannel::WriteBin(source, count, put);
        }
        unsigned int calls = 0;
    } output;
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(output.Write(i), IO::NoError);
    output << 'c';
    EXPECT_EQ(output.calls, 4u);
    struct Input : IO::MemoryIChannel {
        using MemoryIChannel::MemoryIChannel;
        MuErrCode ReadBin(char * destination, unsigned int count, unsigned int * read) override {
            ++calls;
            return MemoryIChannel::ReadBin(destination, count, read);
        }
        unsigned int calls = 0;
    } input("abcdefghi", 9);
    for (short value; input.Read(value) == IO::NoError;)
        continue;
    EXPECT_EQ(input.calls, 5u);
}

} // namespace

// The channels that stand beside those with sweeps of their own, each fed by the one before it, while
// memory fails: what comes out is a beginning of what went in, and all of it where no status says
// otherwise.

#include "Tests/Support/Channel/Ends.h"
#include "Tests/Support/FaultSweep.h"

#include <Kestrel/Channel/BinProtocol.h>
#include <Kestrel/Channel/Code/CodeIChannel.h>
#include <Kestrel/Channel/Code/CodeOChannel.h>
#include <Kestrel/Channel/MD5Channel.h>
#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/Channel/NullOChannel.h>
#include <Kestrel/Channel/PlatformProtocol.h>
#include <Kestrel/Channel/ReadText.h>
#include <Kestrel/Channel/Streams.h>
#include <Kestrel/Channel/SubIChannel.h>
#include <Kestrel/Channel/Zip/ZipIChannel.h>
#include <Kestrel/Channel/Zip/ZipOChannel.h>
#include <Kestrel/Root/Frame.h>
#include <Kestrel/Root/Guid.h>
#include <Kestrel/Root/UniString.h>

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

namespace {

std::string MakeContent() {
    std::string content;
    for (unsigned int i = 0; content.size() < 70000; ++i)
        content += std::to_string(i * 7919) + (i % 5 == 0 ? "\n" : " ");
    return content;
}

std::string const content = MakeContent();

std::string GetBytes(IO::MemoryOChannel const & channel) {
    char const * const bytes = channel.GetDestination();
    return bytes == nullptr ? "" : std::string(bytes, channel.GetDataSize());
}

/// All that comes, and what ended it.
MuErrCode Drain(Mu::IChannel & channel, std::string * text) {
    char piece[1000];
    MuErrCode status = IO::NoError;
    while (status == IO::NoError) {
        unsigned int read = 0;
        status = channel.ReadBin(piece, sizeof piece, &read);
        text->append(piece, read);
    }
    return status;
}

void ExpectBeginning(std::string const & text, MuErrCode end, std::string const & whole) {
    EXPECT_TRUE(whole.compare(0, text.size(), text) == 0) << "other bytes came out";
    EXPECT_TRUE(end != IO::EOI || text.size() == whole.size()) << text.size() << " bytes";
}

template <typename Channel, typename... Arguments>
MuErrCode WriteThrough(IO::MemoryOChannel & memory, Arguments const &... arguments) {
    MuErrCode status;
    {
        Channel channel(memory, arguments...);
        status =
            channel.WriteBin(content.data(), static_cast<unsigned int>(content.size()), nullptr);
        if (status == IO::NoError)
            status = channel.Flush();
    }
    return status != IO::NoError ? status : memory.GetOutputStatus();
}

TEST(ChannelSweep, ZipAndCipherGiveBackWhatTheyTook) {
    for (bool isZip : {true, false})
        SweepAllocations([isZip](bool failed) {
            IO::MemoryOChannel memory;
            IO::ZipOChannelOptions const options(IO::ZipOChannelOptions::Fastest, 20000,
                                                 IO::ZipOChannelOptions::WritingThread);
            MuErrCode const written = isZip ? WriteThrough<IO::ZipOChannel>(memory, options)
                                            : WriteThrough<IO::CodeOChannel>(memory, "key", 3u);
            std::string const bytes = GetBytes(memory);
            EXPECT_TRUE(failed || written == IO::NoError);
            IO::MemoryIChannel input(bytes.data(), static_cast<unsigned int>(bytes.size()));
            std::unique_ptr<Mu::IChannel> channel;
            if (isZip)
                channel = std::make_unique<IO::ZipIChannel>(input);
            else
                channel = std::make_unique<IO::CodeIChannel>(input, "key", 3u);
            std::string text;
            MuErrCode const read = Drain(*channel, &text);
            EXPECT_TRUE(failed || read == IO::EOI);
            // A cipher ends as if all were well where its source could not be read.
            bool const isRead = isZip || input.GetInputStatus() == IO::NoError;
            if (written == IO::NoError && isRead)
                ExpectBeginning(text, read, content);
        });
}

// SubIChannel, NullOChannel, MD5Channel, and the bridges to streams.
TEST(ChannelSweep, PassersOnLoseNothing) {
    SweepAllocations([](bool failed) {
        std::istringstream source(content);
        IO::StreamIChannel stream(source);
        IO::SubIChannel sub(&stream, 50000);
        std::string text;
        MuErrCode const read = Drain(sub, &text);
        EXPECT_TRUE(failed || read == IO::EOI);
        if (read == IO::EOI) { // else the tail is void
            EXPECT_EQ(text, content.substr(0, 50000));
        }

        std::ostringstream destination;
        IO::StreamOChannel out(destination);
        IO::NullOChannel null;
        IO::MD5Channel digest;
        unsigned int const size = static_cast<unsigned int>(content.size());
        for (Mu::OChannel * channel :
             {static_cast<Mu::OChannel *>(&out), static_cast<Mu::OChannel *>(&null),
              static_cast<Mu::OChannel *>(&digest)}) {
            MuErrCode status = channel->WriteBin(content.data(), size, nullptr);
            if (status == IO::NoError)
                status = channel->Flush();
            EXPECT_TRUE(failed || status == IO::NoError);
            if (status == IO::NoError && channel == &out) {
                EXPECT_EQ(destination.str(), content);
            }
            if (status == IO::NoError && channel == &null) {
                EXPECT_EQ(null.GetDataSize(), size);
            }
        }
        MD5::FingerPrint print;
        digest.Finish(&print);
    });
}

// BinIProtocol, BinOProtocol, those of a platform, ReadText and IChannelStream.
TEST(ChannelSweep, ProtocolsReadWhatTheyWrote) {
    SweepAllocations([](bool failed) {
        for (bool isMac : {false, true}) {
            IO::MemoryOChannel memory;
            Mu::Guid guid;
            guid.data2 = 77;
            if (isMac && IO::SetPlatformOProtocol(memory, Mu::BigEndianMacSign) != IO::NoError)
                continue;
            memory.Write(12345u);
            memory.Write(guid);
            memory.Write("a text");
            memory.Write(2.5);
            EXPECT_TRUE(failed || memory.GetOutputStatus() == IO::NoError);
            if (memory.GetOutputStatus() != IO::NoError)
                continue;
            std::string const bytes = GetBytes(memory);
            IO::MemoryIChannel input(bytes.data(), static_cast<unsigned int>(bytes.size()));
            if (isMac && IO::SetPlatformIProtocol(input, Mu::BigEndianMacSign) != IO::NoError)
                continue;
            unsigned int number = 0;
            Mu::Guid read;
            char text[20] = "";
            double real = 0;
            input.Read(number);
            input.Read(read);
            MuErrCode const status = IO::ReadText(input, text, sizeof text, nullptr);
            input.Read(real);
            if (status != IO::NoError || input.GetInputStatus() != IO::NoError) {
                EXPECT_TRUE(failed) << status;
                continue;
            }
            EXPECT_EQ(number, 12345u);
            EXPECT_EQ(read, guid);
            EXPECT_STREQ(text, "a text");
            EXPECT_EQ(real, 2.5);
        }
    });
}

// What writes its end when it goes does so into a destination that throws, and nobody hears of it.
TEST(ChannelSweep, EndsOutliveADestinationThatThrows) {
    for (unsigned int from : {1u, 2u}) {
        Tests::RecordingOChannel out;
        out.DisableOutputBuffering();
        out.sink.throws = true;
        auto const arm = [&] { out.sink.failFrom = out.sink.calls + from; };
        for (auto threading :
             {IO::ZipOChannelOptions::WritingThread, IO::ZipOChannelOptions::WorkerThread}) {
            arm();
            IO::ZipOChannel zip(out, {IO::ZipOChannelOptions::NoCompression, 0, threading});
            EXPECT_EQ(zip.WriteBin(content.data(), 5000, nullptr), IO::NoError);
        }
        {
            arm();
            IO::CodeOChannel code(out, "key", 3u);
            EXPECT_EQ(code.WriteBin(content.data(), 5, nullptr), IO::NoError);
        }
        out.sink.failFrom = 0;
        Mu::OutputFrame const frame(out, Mu::UniString().GetClassInfo());
        out.sink.failFrom = out.sink.calls + 1;
    }
}

} // namespace

// Channels that change what goes through them, while memory fails and while the destination throws.

#include "Tests/Support/Channel/Ends.h"
#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Root/ByteChannels.h"

#include <Kestrel/Channel/Code/CodeIChannel.h>
#include <Kestrel/Channel/Code/CodeOChannel.h>
#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/Zip/ZipIChannel.h>
#include <Kestrel/Channel/Zip/ZipOChannel.h>
#include <Kestrel/Root/Objects/Frame.h>
#include <Kestrel/Root/Text/UniString.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

std::string MakeContent() {
    std::string content;
    for (unsigned int i = 0; content.size() < 70000; ++i)
        content += std::to_string(i * 7919) + (i % 5 == 0 ? "\n" : " ");
    return content;
}

std::string const content = MakeContent();

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
            Tests::ByteOChannel memory;
            IO::ZipOChannelOptions const options(IO::ZipOChannelOptions::Fastest, 20000,
                                                 IO::ZipOChannelOptions::WritingThread);
            MuErrCode const written = isZip ? WriteThrough<IO::ZipOChannel>(memory, options)
                                            : WriteThrough<IO::CodeOChannel>(memory, "key", 3u);
            std::string const bytes = memory.GetBytes();
            EXPECT_TRUE(failed || written == IO::NoError);
            IO::MemoryIChannel input(bytes.data(), static_cast<unsigned int>(bytes.size()));
            std::unique_ptr<Mu::IChannel> channel;
            if (isZip)
                channel = std::make_unique<IO::ZipIChannel>(input);
            else
                channel = std::make_unique<IO::CodeIChannel>(input, "key", 3u);
            std::string const text = Tests::ReadAll(*channel);
            MuErrCode const read = channel->GetInputStatus();
            EXPECT_TRUE(failed || read == IO::EOI);
            // A cipher ends as if all were well where its source could not be read.
            bool const isRead = isZip || input.GetInputStatus() == IO::NoError;
            if (written == IO::NoError && isRead) {
                EXPECT_TRUE(content.starts_with(text)) << "other bytes came out";
                EXPECT_TRUE(read != IO::EOI || text == content) << text.size() << " bytes";
            }
        });
}

TEST(ChannelSweep, PassOnWhatTheDestinationSays) {
    for (bool isZip : {true, false})
        for (unsigned int n = 1; n < 8; ++n) {
            Tests::RecordingOChannel out;
            out.sink.failFrom = n;
            IO::ZipOChannel zip(out, {IO::ZipOChannelOptions::NoCompression, 0,
                                      IO::ZipOChannelOptions::WritingThread});
            IO::CodeOChannel code(out, "key", 3u);
            Mu::OChannel & channel = isZip ? static_cast<Mu::OChannel &>(zip) : code;
            MuErrCode status = IO::NoError;
            for (int i = 0; i < 200 && status == IO::NoError; ++i)
                status = channel.WriteBin(content.data(), 5000, nullptr);
            EXPECT_EQ(status, IO::EOO);
            EXPECT_EQ(channel.WriteBin(content.data(), 50000, nullptr), IO::EOO) << "it sticks";
        }
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

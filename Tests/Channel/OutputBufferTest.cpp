#include <Kestrel/Channel/OutputBuffer.h> // first: the header stands on its own

#include "Tests/Support/Channel/Ends.h"
#include "Tests/Support/FaultSweep.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using IO::OutputBuffer;
using Tests::RecordingSink;

std::string Letters(std::size_t count) {
    std::string text(count, ' ');
    for (std::size_t i = 0; i < count; ++i)
        text[i] = static_cast<char>('a' + i % 23);
    return text;
}

MuErrCode Put(OutputBuffer & buffer, std::string const & text) {
    return buffer.Put(text.data(), static_cast<unsigned int>(text.size()));
}

using Pieces = std::vector<std::string>;

TEST(OutputBuffer, CollectsAndDrains) {
    RecordingSink sink;
    OutputBuffer buffer(&sink, 8);
    EXPECT_TRUE(buffer.IsEmpty());
    EXPECT_EQ(Put(buffer, "abc"), IO::NoError);
    EXPECT_EQ(buffer.Put('d'), IO::NoError);
    EXPECT_EQ(buffer.GetDataSize(), 4u);
    EXPECT_EQ(buffer.GetFreeSpace(), 4u);
    EXPECT_EQ(Put(buffer, "efgh"), IO::NoError);
    EXPECT_TRUE(sink.pieces.empty()) << "a full block waits for what comes next";
    EXPECT_EQ(Put(buffer, "ij"), IO::NoError);
    EXPECT_EQ(sink.pieces, Pieces{"abcdefgh"});
    EXPECT_EQ(buffer.Flush(), IO::NoError);
    EXPECT_EQ(sink.GetText(), "abcdefghij");
    EXPECT_EQ(buffer.GetWrittenBytes(), 10u);
    EXPECT_EQ(buffer.Flush(), IO::NoError);
    EXPECT_EQ(sink.calls, 2u) << "nothing to write is no call";
}

TEST(OutputBuffer, PassesALargeWriteByTheBlock) {
    RecordingSink sink;
    OutputBuffer buffer(&sink);
    EXPECT_EQ(Put(buffer, Letters(20000)), IO::NoError);
    EXPECT_EQ(sink.pieces, Pieces{Letters(20000)});
    EXPECT_EQ(Put(buffer, "xyz"), IO::NoError);
    EXPECT_EQ(Put(buffer, Letters(16384)), IO::NoError);
    EXPECT_EQ(sink.pieces.back(), "xyz") << "one that fits the drained block waits in it";
    EXPECT_EQ(buffer.GetDataSize(), 16384u);
}

TEST(OutputBuffer, PassesEverythingOnWithoutBuffering) {
    RecordingSink sink;
    OutputBuffer buffer(&sink, 8);
    EXPECT_EQ(Put(buffer, "ab"), IO::NoError);
    buffer.DisableBuffering();
    EXPECT_EQ(sink.pieces, Pieces{"ab"}) << "drained first";
    EXPECT_EQ(Put(buffer, "cd"), IO::NoError);
    EXPECT_EQ(buffer.Put('e'), IO::NoError);
    EXPECT_EQ(Put(buffer, ""), IO::NoError);
    EXPECT_EQ(sink.pieces, (Pieces{"ab", "cd", "e"}));
    EXPECT_EQ(buffer.PushMark(), IO::Error);
    EXPECT_EQ(buffer.PopMark(), IO::Error);
    EXPECT_EQ(buffer.GetStatus(), IO::NoError);
    buffer.EnableBuffering();
    EXPECT_EQ(Put(buffer, "f"), IO::NoError);
    EXPECT_EQ(sink.pieces.size(), 3u);
}

// A length in front of its body, in the middle of the third block when the body is done.
TEST(OutputBuffer, PatchesAndDrainsALongChain) {
    RecordingSink sink;
    OutputBuffer buffer(&sink);
    EXPECT_EQ(buffer.PushMark(), IO::NoError);
    EXPECT_EQ(Put(buffer, Letters(40000)), IO::NoError);
    EXPECT_EQ(buffer.PopMark(), IO::NoError);
    EXPECT_EQ(buffer.GetOffset(), 40000u);
    EXPECT_EQ(Put(buffer, "1234"), IO::NoError);
    EXPECT_EQ(buffer.GetOffset(), 39996u);
    EXPECT_EQ(buffer.GetDataSize(), 40000u);
    EXPECT_EQ(sink.calls, 0u);
    buffer.ResetOffset();
    EXPECT_EQ(sink.GetText(), "1234" + Letters(40000).substr(4));
    EXPECT_EQ(sink.pieces.size(), 3u);
    EXPECT_TRUE(buffer.IsEmpty());
}

TEST(OutputBuffer, KeepsAShortChainAfterPatching) {
    RecordingSink sink;
    OutputBuffer buffer(&sink, 4);
    EXPECT_EQ(buffer.PushMark(), IO::NoError);
    EXPECT_EQ(Put(buffer, "abcdefgh"), IO::NoError); // two blocks, the second one full
    EXPECT_EQ(buffer.PopMark(), IO::NoError);
    buffer.ResetOffset();
    EXPECT_EQ(sink.calls, 0u);
    EXPECT_EQ(Put(buffer, "i"), IO::NoError); // no mark: drains instead of growing
    EXPECT_EQ(sink.pieces, (Pieces{"abcd", "efgh"}));
}

TEST(OutputBuffer, RefusesWhatItsStateForbids) {
    RecordingSink sink;
    OutputBuffer buffer(&sink, 4);
    char * data = nullptr;
    unsigned int available = 9;
    EXPECT_EQ(buffer.PopMark(), IO::Error) << "no mark";
    EXPECT_EQ(buffer.DirectAccess(0, &data, &available), IO::Error) << "not rewound";
    EXPECT_EQ(buffer.PushMark(), IO::NoError);
    EXPECT_TRUE(buffer.IsInMarkMode());
    EXPECT_EQ(buffer.Flush(), IO::Error);
    EXPECT_EQ(Put(buffer, "abcdef"), IO::NoError);
    buffer.DisableBuffering();
    EXPECT_TRUE(buffer.IsBufferingEnabled()) << "ignored while marked";
    EXPECT_EQ(buffer.PopMark(), IO::NoError);
    EXPECT_EQ(buffer.Flush(), IO::Error);
    EXPECT_EQ(buffer.PopMark(), IO::Error);
    EXPECT_EQ(buffer.DirectAccess(7, &data, &available), IO::Error) << "behind the data";
    buffer.DisableBuffering();
    EXPECT_TRUE(buffer.IsBufferingEnabled());
    EXPECT_EQ(buffer.GetStatus(), IO::NoError) << "none of it sticks";
    buffer.ResetOffset();
    EXPECT_EQ(buffer.Flush(), IO::NoError);
    EXPECT_EQ(sink.GetText(), "abcdef");
}

TEST(OutputBuffer, StopsAnOverwritingAtTheEndOfTheData) {
    RecordingSink sink;
    OutputBuffer buffer(&sink, 4);
    EXPECT_EQ(buffer.PushMark(), IO::NoError);
    EXPECT_EQ(Put(buffer, "abcdef"), IO::NoError);
    EXPECT_EQ(buffer.PopMark(), IO::NoError);
    EXPECT_EQ(Put(buffer, "1234567"), IO::Error);
    EXPECT_EQ(Put(buffer, "1"), IO::Error) << "it sticks, though the byte is put";
    buffer.ResetOutputStatus();
    EXPECT_EQ(Put(buffer, "23456"), IO::NoError);
    EXPECT_EQ(buffer.GetOffset(), 0u);
    buffer.ResetOffset();
    EXPECT_EQ(buffer.Flush(), IO::NoError);
    EXPECT_EQ(sink.GetText(), "123456");
}

// After stepping into the last block the fast way of Put only sees the end of the block: bytes past
// the end of the data are stored and are no data. Nothing may be read or written outside the chain
// for it, marks taken there included.
TEST(OutputBuffer, DropsWhatRanPastTheEndOfTheData) {
    RecordingSink sink;
    OutputBuffer buffer(&sink, 8);
    EXPECT_EQ(buffer.PushMark(), IO::NoError);
    EXPECT_EQ(buffer.PushMark(), IO::NoError);
    EXPECT_EQ(Put(buffer, "abcdefghij"), IO::NoError);
    EXPECT_EQ(buffer.PopMark(), IO::NoError);
    EXPECT_EQ(Put(buffer, "12345678"), IO::NoError);
    EXPECT_EQ(Put(buffer, "9"), IO::NoError); // steps into the last block
    EXPECT_EQ(Put(buffer, "0xyz"), IO::NoError);
    EXPECT_EQ(buffer.GetDataSize(), 10u);
    EXPECT_EQ(buffer.GetWritePosition(), 13u);
    EXPECT_EQ(buffer.GetOffset(), 0u);
    EXPECT_EQ(buffer.PushMark(), IO::NoError); // past the data
    buffer.ResetOffset();
    EXPECT_EQ(buffer.GetWritePosition(), 10u);
    EXPECT_EQ(buffer.PopMark(), IO::NoError);
    EXPECT_EQ(Put(buffer, ""), IO::NoError);
    EXPECT_EQ(buffer.Put('!'), IO::Error);
    buffer.ResetOutputStatus();
    buffer.ResetOffset();
    EXPECT_EQ(buffer.PopMark(), IO::NoError);
    EXPECT_EQ(buffer.GetOffset(), 10u);
    buffer.ResetOffset();
    EXPECT_EQ(buffer.Flush(), IO::NoError);
    EXPECT_EQ(sink.GetText(), "1234567890");
}

TEST(OutputBuffer, MayBeMarkedBeforeTheFirstByte) {
    RecordingSink sink;
    OutputBuffer buffer(&sink, 8);
    EXPECT_EQ(buffer.PushMark(), IO::NoError);
    EXPECT_EQ(buffer.PopMark(), IO::NoError);
    EXPECT_EQ(buffer.GetOffset(), 0u);
    char * data = nullptr;
    unsigned int available = 9;
    EXPECT_EQ(buffer.DirectAccess(0, &data, &available), IO::NoError);
    EXPECT_EQ(available, 0u);
    EXPECT_EQ(Put(buffer, "a"), IO::Error) << "there is nothing to overwrite";
    buffer.ResetOutputStatus();
    buffer.ClearContent();
    EXPECT_FALSE(buffer.IsInMarkMode());
    EXPECT_EQ(Put(buffer, "b"), IO::NoError);
    EXPECT_EQ(buffer.Flush(), IO::NoError);
    EXPECT_EQ(sink.GetText(), "b");
}

// The n-th call fails: the status is that of the sink and sticks, the sink is left alone from then
// on, and the count of bytes goes on as if it had taken them.
TEST(OutputBuffer, LeavesAFailedSinkAlone) {
    for (unsigned int n = 1; n <= 4; ++n) {
        SCOPED_TRACE(n);
        RecordingSink sink;
        sink.failFrom = n;
        OutputBuffer buffer(&sink, 4);
        unsigned int given = 0;
        while (Put(buffer, "abcd") == IO::NoError)
            ++given;
        EXPECT_EQ(given, n);
        EXPECT_EQ(sink.calls, n);
        EXPECT_EQ(buffer.GetWrittenBytes(), n * 4u);
        EXPECT_EQ(Put(buffer, "ef"), IO::EOO);
        EXPECT_EQ(Put(buffer, Letters(50)), IO::EOO);
        EXPECT_EQ(buffer.Flush(), IO::EOO);
        EXPECT_EQ(buffer.GetDataSize(), 2u) << "what fits stays";
        EXPECT_EQ(sink.calls, n);
        sink.failFrom = 0;
        buffer.ResetOutputStatus();
        EXPECT_EQ(buffer.Flush(), IO::NoError);
        EXPECT_EQ(sink.pieces.back(), "ef");
    }
}

TEST(OutputBuffer, TakesNothingWithoutASink) {
    OutputBuffer buffer(nullptr, 4);
    EXPECT_EQ(Put(buffer, "abc"), IO::NoError);
    EXPECT_EQ(buffer.Flush(), IO::EOO);
    buffer.Reset();
    EXPECT_EQ(buffer.GetStatus(), IO::NoError);
    EXPECT_EQ(buffer.GetWrittenBytes(), 3u) << "the count stays";
    RecordingSink sink;
    buffer.SetBinOutput(sink);
    EXPECT_EQ(&buffer.GetBinOutput(), &sink);
    EXPECT_EQ(Put(buffer, "abc"), IO::NoError);
    buffer.ClearContent();
    EXPECT_TRUE(buffer.IsEmpty());
    buffer.ClearBinOutput();
    EXPECT_EQ(Put(buffer, "abcdefg"), IO::EOO);
    EXPECT_TRUE(sink.pieces.empty());
}

TEST(OutputBuffer, RecyclesBlocksOfTheDefaultSize) {
    { OutputBuffer(nullptr).Put('a'); }
    unsigned long long const before = Tests::CountAllocations();
    for (int i = 0; i < 50; ++i) {
        OutputBuffer buffer;
        EXPECT_EQ(buffer.Put('a'), IO::NoError);
    }
    EXPECT_EQ(Tests::CountAllocations(), before);
}

TEST(OutputBuffer, MeetsEveryFailedAllocation) {
    for (unsigned int blockSize : {7u, OutputBuffer::DefaultBlockSize}) {
        SweepAllocations([&](bool failed) {
            RecordingSink sink;
            OutputBuffer buffer(&sink, blockSize);
            std::string const body = Letters(blockSize * 6);
            std::string expected = Letters(11) + "12" + body + "3";
            MuErrCode status = Put(buffer, Letters(11));
            status = status != IO::NoError ? status : buffer.PushMark();
            for (int i = 0; i < 10 && status == IO::NoError; ++i)
                status = buffer.PushMark(); // more than have room inline
            status = status != IO::NoError ? status : Put(buffer, "__" + body);
            status = status != IO::NoError ? status : buffer.PopMark();
            status = status != IO::NoError ? status : Put(buffer, "12");
            buffer.ResetOffset();
            while (status == IO::NoError && buffer.IsInMarkMode()) {
                status = buffer.PopMark();
                buffer.ResetOffset();
            }
            status = status != IO::NoError ? status : Put(buffer, "3");
            status = status != IO::NoError ? status : buffer.Flush();
            if (status == IO::NoError) {
                EXPECT_EQ(sink.GetText(), expected);
                return;
            }
            ASSERT_TRUE(failed);
            EXPECT_EQ(status, IO::ErrMemoryFull);
            EXPECT_EQ(buffer.Flush(), IO::ErrMemoryFull) << "it sticks";
            buffer.Reset();
            EXPECT_EQ(buffer.GetStatus(), IO::NoError);
        });
    }
}

// Whatever the order of operations, the bytes are a text with a write position and a stack of
// marks, of which the sink has a beginning, and all of it only when nothing holds it back.
class TextModel {
public:
    explicit TextModel(unsigned int seed) : random(seed), buffer(&sink, 1 + Random(64)) {}

    void Step() {
        (this->*operations[Random(std::size(operations))])();
        ExpectAgreement();
    }

    void Finish() {
        while (!marks.empty()) {
            DoPopMark();
            DoResetOffset();
        }
        DoResetOffset();
        ASSERT_EQ(buffer.Flush(), IO::NoError);
        ASSERT_EQ(sink.GetText(), text);
        ASSERT_TRUE(buffer.IsEmpty());
    }

private:
    unsigned int Random(std::size_t below) { return static_cast<unsigned int>(random() % below); }

    void ExpectAgreement() {
        std::size_t const sent = buffer.GetWrittenBytes();
        ASSERT_EQ(sent + buffer.GetDataSize(), text.size());
        ASSERT_EQ(buffer.GetOffset(), text.size() - position);
        ASSERT_EQ(sent + buffer.GetWritePosition(), position);
        ASSERT_EQ(buffer.IsInMarkMode(), rewound || !marks.empty());
        ASSERT_EQ(buffer.GetStatus(), IO::NoError);
        ASSERT_TRUE(!buffer.IsInMarkMode() || sink.calls == callsAtMark)
            << "nothing leaves while a mark is alive";
    }

    void DoPut() {
        std::size_t const most = rewound ? text.size() - position : 70;
        std::string bytes(Random(1 + std::min<std::size_t>(most, Random(2) == 0 ? 9 : 70)), ' ');
        for (char & c : bytes)
            c = static_cast<char>('a' + Random(26));
        ASSERT_EQ(bytes.size() == 1 ? buffer.Put(bytes[0]) : Put(buffer, bytes), IO::NoError);
        if (rewound)
            text.replace(position, bytes.size(), bytes);
        else
            text += bytes;
        position += bytes.size();
    }
    void DoFlush() {
        bool const held = rewound || !marks.empty();
        ASSERT_EQ(buffer.Flush(), held ? IO::Error : IO::NoError);
    }
    void DoPushMark() {
        ASSERT_EQ(buffer.PushMark(), IO::NoError);
        if (!rewound && marks.empty())
            callsAtMark = sink.calls;
        marks.push_back(position);
    }
    void DoPopMark() {
        ASSERT_EQ(buffer.PopMark(), marks.empty() ? IO::Error : IO::NoError);
        if (marks.empty())
            return;
        position = marks.back();
        marks.pop_back();
        rewound = true;
    }
    void DoResetOffset() {
        buffer.ResetOffset();
        position = text.size();
        rewound = false;
    }
    void DoDirectAccess() {
        unsigned int const size = static_cast<unsigned int>(text.size() - position);
        unsigned int const offset = Random(size + 1);
        char * data = nullptr;
        unsigned int available = 99;
        if (!rewound) {
            ASSERT_EQ(buffer.DirectAccess(offset, &data, &available), IO::Error);
            return;
        }
        ASSERT_EQ(buffer.DirectAccess(offset, &data, &available), IO::NoError);
        ASSERT_LE(available, size - offset);
        ASSERT_TRUE(available > 0 || offset == size);
        ASSERT_EQ(std::string_view(data, available), text.substr(position + offset, available));
    }

    using Operation = void (TextModel::*)();
    static constexpr Operation operations[] = {
        &TextModel::DoPut,     &TextModel::DoPut,         &TextModel::DoPut,
        &TextModel::DoPut,     &TextModel::DoFlush,       &TextModel::DoPushMark,
        &TextModel::DoPopMark, &TextModel::DoResetOffset, &TextModel::DoDirectAccess};

    std::mt19937 random;
    RecordingSink sink;
    OutputBuffer buffer;
    std::string text;
    std::size_t position = 0;
    bool rewound = false;
    std::vector<std::size_t> marks;
    unsigned int callsAtMark = 0;
};

TEST(OutputBuffer, IsATextWithMarksInEveryOrderOfOperations) {
    for (unsigned int seed = 1; seed <= 400; ++seed) {
        SCOPED_TRACE(seed);
        TextModel model(seed);
        for (int step = 0; step < 200 && !HasFatalFailure(); ++step)
            model.Step();
        model.Finish();
        if (HasFatalFailure())
            return;
    }
}

} // namespace

#include <Kestrel/Channel/InputBuffer.h> // first: the header stands on its own

#include "Tests/Support/Channel/Ends.h"
#include "Tests/Support/FaultSweep.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>

namespace {

using IO::InputBuffer;
using Tests::ScriptedSource;

std::string Get(InputBuffer & buffer, unsigned int count, MuErrCode expected = IO::NoError) {
    std::string text(count, '?');
    unsigned int read = 999999;
    EXPECT_EQ(buffer.Get(text.data(), count, &read), expected);
    EXPECT_LE(read, count);
    text.resize(std::min(read, count));
    return text;
}

std::string Letters(std::size_t count) {
    std::string text(count, ' ');
    for (std::size_t i = 0; i < count; ++i)
        text[i] = static_cast<char>('a' + i % 23);
    return text;
}

// The size of the ring, seen from outside: what DirectAccess asks for without reading ahead.
unsigned int SizeOfRing(InputBuffer & buffer, ScriptedSource & source) {
    source.requests.clear();
    char * data = nullptr;
    unsigned int available = 0;
    EXPECT_EQ(buffer.DirectAccess(0, &data, &available), IO::NoError);
    return source.requests.at(0);
}

unsigned int ReadAheadOf(double reservedRatio) {
    ScriptedSource source(Letters(300));
    InputBuffer buffer(&source, 100, 0, reservedRatio);
    char c;
    EXPECT_EQ(buffer.Look(&c), IO::NoError);
    return source.requests.at(0);
}

// The told sequence: four bytes, six more without a failure, and only then the end.
TEST(InputBuffer, DefersAStatusThatCameWithEnoughBytes) {
    ScriptedSource source("0123456789");
    InputBuffer buffer(&source);
    EXPECT_EQ(Get(buffer, 4), "0123");
    EXPECT_EQ(source.requests, std::vector<unsigned int>{4055});
    EXPECT_EQ(Get(buffer, 6), "456789");
    EXPECT_EQ(Get(buffer, 1, IO::EOI), "");
    EXPECT_EQ(source.requests.size(), 1u) << "the deferred status needs no call";
}

TEST(InputBuffer, KeepsTheBytesThatCameWithAStatusAndTooFew) {
    ScriptedSource source("abcdefghij", {{3, IO::InputFailure}});
    InputBuffer buffer(&source);
    EXPECT_EQ(Get(buffer, 8, IO::InputFailure), "abc");
    EXPECT_EQ(Get(buffer, 8, IO::InputFailure), "") << "it sticks";
    EXPECT_EQ(buffer.PushBack("xy", 2), IO::InputFailure) << "pushing takes back only an end";
    EXPECT_EQ(Get(buffer, 2, IO::InputFailure), "xy");
    buffer.ResetEOI();
    EXPECT_EQ(buffer.GetStatus(), IO::InputFailure) << "which is no end of input";
    EXPECT_EQ(source.requests.size(), 1u);
    buffer.ResetInputStatus();
    EXPECT_EQ(Get(buffer, 7), "defghij");
}

TEST(InputBuffer, BringsItsSizesIntoTheirBounds) {
    ScriptedSource source(Letters(100000));
    {
        InputBuffer buffer(&source, 1, 0, 0.0);
        EXPECT_EQ(SizeOfRing(buffer, source), 32u);
    }
    {
        InputBuffer buffer(&source, 64, 33, 0.0); // the maximum is raised to the size
        EXPECT_EQ(Get(buffer, 64).size(), 64u);
        EXPECT_EQ(buffer.PushBack(Letters(64).data(), 64), IO::NoError);
        EXPECT_EQ(buffer.PushBack('x'), IO::Error);
    }
    EXPECT_EQ(ReadAheadOf(0.0), 100u);
    EXPECT_EQ(ReadAheadOf(-3.0), 100u);
    EXPECT_EQ(ReadAheadOf(0.25), 75u);
    EXPECT_EQ(ReadAheadOf(1.0), 1u) << "a computed 0 is raised";
    EXPECT_EQ(ReadAheadOf(7.0), 1u);
}

// Memory is only taken by the first read, so a ring of any size can be made; this one is cut to
// 1,000,000,000 bytes, which a source that is asked for all of it sees.
TEST(InputBuffer, CutsAHugeRing) {
    ScriptedSource source("");
    InputBuffer buffer(&source, 2000000000, 0, 0.0);
    char c;
    MuErrCode const status = buffer.Look(&c);
    if (status == IO::ErrMemoryFull)
        GTEST_SKIP() << "no gigabyte of address space here";
    EXPECT_EQ(status, IO::EOI);
    EXPECT_EQ(source.requests.at(0), 1000000000u);
}

// What is asked of the source: all that the read-ahead may hold, in one piece from the start of an
// empty ring, and in two where the free part lies round its end; with the length of a grown ring.
TEST(InputBuffer, AsksTheSourceForAllThatFits) {
    using Requests = std::vector<unsigned int>;
    ScriptedSource source(Letters(500), {{20, IO::NoError}, {20, IO::NoError}});
    InputBuffer buffer(&source, 32, 0, 0.0);
    char c = 0;
    EXPECT_EQ(buffer.Look(&c), IO::NoError);
    EXPECT_EQ(Get(buffer, 20), Letters(20));
    EXPECT_EQ(buffer.Look(&c), IO::NoError);
    EXPECT_EQ(source.requests, (Requests{32, 32})) << "empty: from its start again";
    EXPECT_EQ(Get(buffer, 15), Letters(35).substr(20));
    source.requests.clear();
    EXPECT_EQ(buffer.Look(24, &c), IO::NoError);
    EXPECT_EQ(c, Letters(60)[59]);
    EXPECT_EQ(source.requests, (Requests{12, 15})) << "up to the end, and round it";
    std::string copy(40, ' ');
    unsigned int copied = 0;
    EXPECT_EQ(buffer.Copy(copy.data(), 40, &copied), IO::NoError);
    EXPECT_EQ(Get(buffer, 40), Letters(75).substr(35));
    source.requests.clear();
    EXPECT_EQ(buffer.Look(&c), IO::NoError);
    EXPECT_EQ(source.requests, Requests{40});
}

TEST(InputBuffer, TakesNoRingForPiecesAsLargeAsAReadAhead) {
    ScriptedSource source(Letters(9000));
    InputBuffer buffer(&source);
    std::string text(4055, ' ');
    unsigned int read = 0;
    unsigned long long const before = Tests::CountAllocations();
    EXPECT_EQ(buffer.Get(text.data(), 4055, &read), IO::NoError);
    EXPECT_EQ(Tests::CountAllocations(), before);
    EXPECT_EQ(text, Letters(4055));
}

TEST(InputBuffer, ReadsLargePiecesPastTheRing) {
    ScriptedSource source(Letters(20000));
    InputBuffer buffer(&source);
    EXPECT_EQ(Get(buffer, 10), Letters(10));
    EXPECT_EQ(buffer.GetDataSize(), 4045u);
    EXPECT_EQ(Get(buffer, 4045 + 4055), Letters(8110).substr(10));
    EXPECT_TRUE(buffer.IsEmpty());
    EXPECT_EQ(source.requests, (std::vector<unsigned int>{4055, 4055}));
    EXPECT_EQ(Get(buffer, 4054), Letters(8110 + 4054).substr(8110));
    EXPECT_EQ(buffer.GetDataSize(), 1u) << "one byte less, and it goes by the ring";
}

TEST(InputBuffer, FetchesOnlyWhatIsAskedForWithoutBuffering) {
    ScriptedSource source(Letters(100));
    InputBuffer buffer(&source);
    buffer.DisableBuffering();
    char c = 0;
    EXPECT_EQ(buffer.Get(&c), IO::NoError);
    EXPECT_EQ(Get(buffer, 5), "bcdef");
    EXPECT_EQ(buffer.Look(2, &c), IO::NoError);
    EXPECT_EQ(c, 'i');
    unsigned long long skipped = 0;
    EXPECT_EQ(buffer.Skip(10, &skipped), IO::NoError);
    EXPECT_EQ(source.requests, (std::vector<unsigned int>{1, 5, 3, 7}));
}

TEST(InputBuffer, TakesBytesBackInFrontAndAcrossTheEndOfTheRing) {
    ScriptedSource source("defghij");
    InputBuffer buffer(&source, 32, 32, 0.5);
    EXPECT_EQ(buffer.PushBack("abc", 3), IO::NoError); // lies round the end
    EXPECT_EQ(buffer.PushBack('_'), IO::NoError);
    EXPECT_EQ(Get(buffer, 6), "_abcde");
    EXPECT_EQ(Get(buffer, 9, IO::EOI), "fghij");
    EXPECT_EQ(buffer.PushBack("xy", 2), IO::NoError) << "an end that was met is taken back";
    EXPECT_EQ(Get(buffer, 2), "xy");
    EXPECT_EQ(Get(buffer, 1, IO::EOI), "") << "and shows up again behind the bytes";
}

TEST(InputBuffer, GrowsByExactlyWhatIsMissing) {
    ScriptedSource source(Letters(200));
    InputBuffer buffer(&source, 32, 64, 0.0);
    EXPECT_EQ(Get(buffer, 1), "a");
    EXPECT_EQ(buffer.PushBack('a'), IO::NoError); // full
    EXPECT_EQ(buffer.PushBack("12345", 5), IO::NoError);
    EXPECT_EQ(buffer.GetDataSize(), 37u);
    char * data = nullptr;
    unsigned int available = 0;
    EXPECT_EQ(buffer.DirectAccess(0, &data, &available), IO::NoError);
    EXPECT_EQ(std::string_view(data, available), "12345") << "up to the end of a ring of 37 bytes";
    std::string copy(41, ' ');
    unsigned int copied = 0;
    EXPECT_EQ(buffer.Copy(copy.data(), 41, &copied), IO::NoError);
    EXPECT_EQ(copy, "12345" + Letters(36));
    EXPECT_EQ(buffer.Copy(copy.data(), 65, &copied), IO::Error);
    EXPECT_EQ(copied, 41u) << "what the ring holds is given";
    buffer.ResetInputStatus();
    EXPECT_EQ(Get(buffer, 41), "12345" + Letters(36)) << "unread bytes are intact";
}

// No sum of counts may wrap: each of these would be a small number in 32 bits.
TEST(InputBuffer, RefusesCountsPastWhatARingCanBe) {
    ScriptedSource source(Letters(100));
    InputBuffer buffer(&source, 32, 32);
    EXPECT_EQ(buffer.PushBack(Letters(40).data(), 40), IO::Error);
    EXPECT_TRUE(buffer.IsEmpty());
    buffer.ResetInputStatus();
    EXPECT_EQ(Get(buffer, 1), "a");
    EXPECT_EQ(buffer.PushBack("", 0xFFFFFFFFu - 15), IO::Error);
    buffer.ResetInputStatus();
    char c = '?';
    EXPECT_EQ(buffer.Look(0xFFFFFFFFu, &c), IO::Error);
    EXPECT_EQ(c, '?');
    buffer.ResetInputStatus();
    char * data = &c;
    unsigned int available = 9;
    EXPECT_EQ(buffer.DirectAccess(0xFFFFFFF0u, &data, &available), IO::Error);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(available, 0u);
    buffer.ResetInputStatus();
    EXPECT_EQ(Get(buffer, 3), "bcd");
}

TEST(InputBuffer, LooksPastTheEndWithoutLosingWhatIsThere) {
    ScriptedSource source("abc");
    InputBuffer buffer(&source);
    char c = '?';
    EXPECT_EQ(buffer.Look(5, &c), IO::EOI);
    EXPECT_EQ(c, '?');
    EXPECT_EQ(buffer.GetDataSize(), 3u);
    buffer.ResetEOI();
    EXPECT_EQ(buffer.Look(2, &c), IO::NoError);
    EXPECT_EQ(c, 'c');
    EXPECT_EQ(Get(buffer, 3), "abc");
}

TEST(InputBuffer, ReadsForIsEOIOnlyWhenEmpty) {
    ScriptedSource source("ab");
    InputBuffer buffer(&source);
    EXPECT_FALSE(buffer.IsEOI());
    EXPECT_EQ(source.requests.size(), 1u);
    EXPECT_FALSE(buffer.IsEOI());
    EXPECT_EQ(source.requests.size(), 1u);
    EXPECT_EQ(Get(buffer, 2), "ab");
    EXPECT_TRUE(buffer.IsEOI());
    EXPECT_EQ(buffer.GetStatus(), IO::EOI);
}

TEST(InputBuffer, GivesAllThereIsToADirectAccessWithoutASize) {
    ScriptedSource source("abcde");
    InputBuffer buffer(&source);
    char * data = nullptr;
    unsigned int available = 99;
    EXPECT_EQ(buffer.DirectAccess(0, &data, &available), IO::NoError);
    EXPECT_EQ(std::string(data, available), "abcde");
    EXPECT_EQ(buffer.DirectAccess(9, &data, &available), IO::EOI);
    EXPECT_EQ(std::string(data, available), "abcde");
    buffer.ResetInputStatus();
    EXPECT_EQ(Get(buffer, 5), "abcde");
    EXPECT_EQ(buffer.DirectAccess(0, &data, &available), IO::NoError);
    EXPECT_EQ(available, 0u);
    buffer.DisableBuffering();
    EXPECT_EQ(buffer.PushBack("xyz", 3), IO::NoError);
    EXPECT_EQ(buffer.DirectAccess(0, &data, &available), IO::NoError);
    EXPECT_EQ(std::string(data, available), "x") << "one byte, without buffering";
}

TEST(InputBuffer, SkipsBufferedAndUnbufferedBytes) {
    ScriptedSource source(Letters(1000));
    InputBuffer buffer(&source, 32, 32, 0.0);
    unsigned long long skipped = 0;
    EXPECT_EQ(Get(buffer, 1), "a");
    EXPECT_EQ(buffer.Skip(31, &skipped), IO::NoError);
    EXPECT_EQ(skipped, 31u);
    EXPECT_EQ(buffer.Skip(100, &skipped), IO::NoError);
    EXPECT_EQ(skipped, 100u);
    EXPECT_EQ(buffer.GetDataSize(), 28u) << "the surplus of the last read-ahead";
    EXPECT_EQ(Get(buffer, 5), Letters(137).substr(132));
    EXPECT_EQ(buffer.Skip(1ull << 40, &skipped), IO::EOI);
    EXPECT_EQ(skipped, 1000u - 137);
}

TEST(InputBuffer, StaysEmptyWithoutASource) {
    InputBuffer buffer;
    EXPECT_TRUE(buffer.IsEOI());
    buffer.Reset();
    ScriptedSource source("ab");
    buffer.SetBinInput(source);
    EXPECT_EQ(&buffer.GetBinInput(), &source);
    EXPECT_EQ(Get(buffer, 1), "a");
    buffer.ClearBinInput();
    EXPECT_EQ(Get(buffer, 2, IO::EOI), "b");
}

// A source that claims more than it was asked for must not move the indices past the ring.
TEST(InputBuffer, DoesNotTrustTheCountOfASource) {
    class Boaster : public InputBuffer::BinInput {
        MuErrCode InternalRead(char * to, unsigned int count, unsigned int * read) override {
            std::memset(to, 'x', count);
            *read = count + 1000000;
            return IO::NoError;
        }
    } boaster;
    InputBuffer buffer(&boaster, 32, 32, 0.0);
    EXPECT_EQ(Get(buffer, 5), "xxxxx");
    EXPECT_EQ(buffer.GetDataSize(), 27u);
}

TEST(InputBuffer, MeetsEveryFailedAllocation) {
    SweepAllocations([](bool failed) {
        ScriptedSource source(Letters(500));
        InputBuffer buffer(&source, 32, 0, 0.0);
        std::string model = Letters(500);
        std::string taken(40, ' ');
        unsigned int count = 0;
        char * data = nullptr;
        for (int round = 0; round < 4; ++round) {
            bool const ok = buffer.GetStatus() == IO::NoError;
            MuErrCode status = buffer.Get(taken.data(), 30, &count); // leaves the ring to wrap
            EXPECT_EQ(taken.substr(0, count), model.substr(0, count));
            model.erase(0, count);
            EXPECT_TRUE(ok || status == IO::ErrMemoryFull) << "it sticks";
            status = buffer.DirectAccess(24, &data, &count);
            EXPECT_EQ(std::string_view(data, count), model.substr(0, count));
            unsigned int const before = buffer.GetDataSize();
            status = buffer.PushBack("0123456789", 10);
            bool const pushed = buffer.GetDataSize() > before; // it may be, beside a sticky failure
            EXPECT_TRUE(pushed || status == IO::ErrMemoryFull);
            model.insert(0, pushed ? "0123456789" : "");
            status = buffer.Copy(taken.data(), 40, &count);
            EXPECT_EQ(taken.substr(0, count), model.substr(0, count));
            if (status != IO::NoError) {
                ASSERT_TRUE(failed);
                EXPECT_EQ(status, IO::ErrMemoryFull);
                // Pushed or not, what is in the ring is what the model begins with.
                buffer.ResetInputStatus();
            }
        }
    });
}

// Whatever the order of operations, what comes out is what the source holds, with what was pushed
// back in between: no byte lost, doubled or changed, however the source breaks it into pieces.
class StreamModel {
public:
    explicit StreamModel(unsigned int seed)
        : random(seed), text(Letters(3000)), source(text, MakeScript()),
          buffer(&source, 32 + Random(40), 32 + Random(100), Random(11) / 10.0),
          unread(text.begin(), text.end()) {}

    void Step() {
        if (Random(4) == 0)
            buffer.ResetInputStatus();
        std::size_t const calls = source.requests.size();
        bool const failed = buffer.GetStatus() != IO::NoError;
        (this->*operations[Random(std::size(operations))])(1 + Random(Random(2) == 0 ? 8 : 90));
        if (failed) {
            EXPECT_EQ(source.requests.size(), calls) << "the source is left alone after a failure";
        }
    }

    void ReadToTheEnd() {
        for (int i = 0; i < 1000 && !unread.empty(); ++i) {
            buffer.ResetInputStatus();
            DoGet(50);
        }
        EXPECT_TRUE(unread.empty());
    }

private:
    std::vector<Tests::Piece> MakeScript() {
        std::vector<Tests::Piece> script;
        for (int i = 0; i < 400; ++i) {
            MuErrCode const statuses[] = {IO::EOI, IO::InputFailure, IO::Error};
            script.push_back(Random(3) == 0 ? Tests::Piece{Random(60), statuses[Random(3)]}
                                            : Tests::Piece{99999, IO::NoError});
        }
        return script;
    }

    unsigned int Random(std::size_t below) { return static_cast<unsigned int>(random() % below); }

    // The first bytes that are unread.
    void ExpectNext(std::string_view bytes) {
        ASSERT_LE(bytes.size(), unread.size());
        ASSERT_TRUE(std::equal(bytes.begin(), bytes.end(), unread.begin()));
    }
    void Take(std::size_t count) {
        ASSERT_LE(count, unread.size());
        unread.erase(unread.begin(), unread.begin() + static_cast<std::ptrdiff_t>(count));
    }

    void DoGet(unsigned int count) {
        char bytes[100];
        unsigned int read = 999;
        MuErrCode const status = buffer.Get(bytes, count, &read);
        ASSERT_LE(read, count);
        ASSERT_TRUE(status != IO::NoError || read == count);
        ExpectNext({bytes, read});
        Take(read);
    }
    void DoGetByte(unsigned int) {
        char c = '?';
        unsigned int const before = buffer.GetDataSize();
        MuErrCode const status = buffer.Get(&c);
        if (status == IO::NoError || before > 0) {
            ExpectNext({&c, 1});
            Take(1);
        } else {
            ASSERT_EQ(c, '?');
        }
    }
    void DoCopy(unsigned int count) {
        char bytes[100];
        unsigned int copied = 999;
        MuErrCode const status = buffer.Copy(bytes, count, &copied);
        ASSERT_TRUE(status != IO::NoError || copied == count);
        ExpectNext({bytes, copied});
    }
    void DoLook(unsigned int offset) {
        char c = '?';
        if (buffer.Look(offset, &c) == IO::NoError) {
            ASSERT_EQ(c, unread[offset]);
        }
    }
    void DoPushBack(unsigned int count) {
        unsigned int const before = buffer.GetDataSize();
        std::string const bytes(count, static_cast<char>('A' + Random(26)));
        MuErrCode const status =
            count == 1 ? buffer.PushBack(bytes[0]) : buffer.PushBack(bytes.data(), count);
        bool const pushed = buffer.GetDataSize() == before + count;
        ASSERT_TRUE(pushed || status == IO::Error);
        ASSERT_TRUE(pushed || buffer.GetDataSize() == before);
        if (pushed)
            unread.insert(unread.begin(), bytes.begin(), bytes.end());
    }
    void DoSkip(unsigned int count) {
        count *= 1 + Random(3);
        unsigned long long skipped = 999;
        MuErrCode const status = buffer.Skip(count, &skipped);
        ASSERT_TRUE(status != IO::NoError || skipped == count);
        Take(skipped);
    }
    void DoDirectAccess(unsigned int size) {
        size = Random(3) == 0 ? 0 : size;
        char * data = nullptr;
        unsigned int available = 999;
        MuErrCode const status = buffer.DirectAccess(size, &data, &available);
        ASSERT_TRUE(size == 0 || status != IO::NoError || available == size);
        ExpectNext({data, available});
    }
    void DoIsEOI(unsigned int) {
        bool const isEOI = buffer.IsEOI();
        ASSERT_TRUE(isEOI || !unread.empty());
    }
    void DoSwitchBuffering(unsigned int) {
        buffer.IsBufferingEnabled() ? buffer.DisableBuffering() : buffer.EnableBuffering();
    }
    void DoResetEOI(unsigned int) { buffer.ResetEOI(); }

    using Operation = void (StreamModel::*)(unsigned int count);
    static constexpr Operation operations[] = {&StreamModel::DoGet,
                                               &StreamModel::DoGet,
                                               &StreamModel::DoGetByte,
                                               &StreamModel::DoCopy,
                                               &StreamModel::DoLook,
                                               &StreamModel::DoPushBack,
                                               &StreamModel::DoSkip,
                                               &StreamModel::DoDirectAccess,
                                               &StreamModel::DoIsEOI,
                                               &StreamModel::DoResetEOI,
                                               &StreamModel::DoSwitchBuffering};

    std::mt19937 random;
    std::string text;
    ScriptedSource source;
    InputBuffer buffer;
    std::deque<char> unread;
};

TEST(InputBuffer, IsTheStreamOfItsSourceInEveryOrderOfOperations) {
    for (unsigned int seed = 1; seed <= 400; ++seed) {
        SCOPED_TRACE(seed);
        StreamModel model(seed);
        for (int step = 0; step < 150; ++step)
            model.Step();
        model.ReadToTheEnd();
        if (HasFatalFailure() || HasNonfatalFailure())
            return;
    }
}

} // namespace

#include <Kestrel/Channel/InputBuffer.h> // first: the header stands on its own

#include <Kestrel/Channel/PlatformProtocol.h>

#include "Tests/Support/Channel/Ends.h"
#include "Tests/Support/FaultSweep.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <deque>
#include <limits>
#include <random>

namespace {

using IO::InputBuffer;
using Tests::Piece;
using Tests::ScriptedSource;
using Source = InputBuffer::BinInput;

/// The rules of the ring over a plain queue: the same operations give the same bytes, counts and
/// statuses, and ask the source for the same counts.
class RingModel {
public:
    RingModel(unsigned int wanted, unsigned int most, double ratio)
        : ratio(std::isnan(ratio) ? 0.0 : std::clamp(ratio, 0.0, 1.0)) {
        size = std::clamp(wanted == 0 ? 4096u : wanted, 32u, 1000000000u);
        maximum = std::max(most == 0 ? 0xFFFFFFFFu : most, size);
        Resize(size);
    }

    std::string Get(unsigned int count) {
        std::string out = Take(std::min<std::size_t>(count, held.size()));
        unsigned int const rest = count - static_cast<unsigned int>(out.size());
        if (rest == 0)
            return out;
        if (rest >= ahead || !isBuffering)
            return out + Read(rest, rest);
        if (!HasRing())
            return out;
        start = 0;
        Hold(Read(rest, ahead));
        return out + Take(std::min<std::size_t>(rest, held.size()));
    }

    bool Fill(unsigned long long count) {
        if (!HasRing())
            return false;
        if (held.empty())
            start = 0;
        if (held.size() + count > size && !Grow(held.size() + count))
            return false;
        unsigned int const least = static_cast<unsigned int>(count);
        bool const isAhead = isBuffering && held.size() + count < ahead;
        unsigned int const wanted = isAhead ? ahead - GetHeld() : least;
        unsigned int const first = std::min(wanted, size - (start + GetHeld()) % size);
        unsigned int const got = Hold(Read(std::min(least, first), first));
        if (got >= least || got < first)
            return got >= least;
        return got + Hold(Read(least - first, wanted - first)) >= least;
    }

    void PushBack(std::string const & bytes) {
        if (!HasRing())
            return;
        status = status == IO::EOI ? IO::NoError : status;
        if (held.size() + bytes.size() > size && !Grow(held.size() + bytes.size()))
            return;
        start = (start + size - static_cast<unsigned int>(bytes.size())) % size;
        held.insert(held.begin(), bytes.begin(), bytes.end());
    }

    // Leaves `*skipped` alone without a ring.
    void Skip(unsigned long long count, unsigned long long * skipped) {
        if (count > held.size() && !HasRing())
            return;
        unsigned long long left = count - std::min<unsigned long long>(count, held.size());
        if (left == 0) {
            Take(count);
        } else {
            Clear();
            unsigned int got = size;
            while (left >= size && got == size)
                left -= got = static_cast<unsigned int>(Read(size, size).size());
            if (left > 0 && left < size && got == size) {
                unsigned int const rest = static_cast<unsigned int>(left);
                std::string const bytes = Read(rest, isBuffering ? std::max(ahead, rest) : rest);
                left -= std::min<std::size_t>(bytes.size(), rest);
                if (bytes.size() > rest) {
                    Hold(bytes.substr(rest));
                    start = rest;
                }
            }
        }
        *skipped = count - left;
    }

    // What a DirectAccess gives; a view of nothing is one of none after a failure.
    std::string Show(unsigned int asked) {
        unsigned int const wanted = asked != 0 ? asked : isBuffering ? size - start : 1;
        if (wanted > held.size() && !Fill(wanted - GetHeld())) {
            if (status != IO::EOI)
                return "";
            status = asked == 0 ? IO::NoError : status;
        }
        unsigned int const there = std::min(wanted, GetHeld());
        if (start + there > size) {
            if (isShort) {
                status = IO::ErrMemoryFull;
                return "";
            }
            start = 0;
        }
        return Peek(there);
    }

    std::string Peek(std::size_t count) const {
        return {held.begin(), held.begin() + static_cast<std::ptrdiff_t>(count)};
    }
    std::string Take(std::size_t count) {
        std::string const out = Peek(count);
        held.erase(held.begin(), held.begin() + static_cast<std::ptrdiff_t>(count));
        start = static_cast<unsigned int>((start + count) % size);
        return out;
    }
    void Clear() {
        held.clear();
        start = 0;
    }
    void Reset() {
        Clear();
        hasRing = false;
        status = pending = IO::NoError;
    }
    unsigned int GetHeld() const { return static_cast<unsigned int>(held.size()); }

    double const ratio;
    unsigned int size, maximum, ahead = 0, start = 0;
    std::deque<char> held;
    bool isBuffering = true, isShort = false, hasRing = false;
    MuErrCode status = IO::NoError, pending = IO::NoError;
    Source * source = nullptr;

private:
    void Resize(unsigned int to) {
        size = to;
        double const share = (1.0 - ratio) * size + 0.5;
        ahead = std::clamp(static_cast<unsigned int>(share), 1u, size);
    }
    bool HasRing() {
        if (!hasRing && status != IO::ErrMemoryFull) {
            hasRing = !isShort;
            status = isShort ? IO::ErrMemoryFull : status;
        }
        return hasRing;
    }
    bool Grow(unsigned long long to) {
        if (to > maximum || isShort) {
            status = to > maximum ? IO::Error : IO::ErrMemoryFull;
            return false;
        }
        start = 0;
        Resize(static_cast<unsigned int>(to));
        return true;
    }
    unsigned int Hold(std::string const & bytes) {
        held.insert(held.end(), bytes.begin(), bytes.end());
        return static_cast<unsigned int>(bytes.size());
    }
    // A failure beside enough bytes waits until the source is needed again.
    std::string Read(unsigned int least, unsigned int most) {
        if (status == IO::NoError)
            status = pending;
        if (status != IO::NoError)
            return "";
        std::string bytes(most, ' ');
        unsigned int got = 0;
        pending = source != nullptr ? source->InternalRead(bytes.data(), most, &got) : IO::EOI;
        status = got < least ? pending : IO::NoError;
        return bytes.substr(0, got);
    }
};

/// A channel, by the names of a ring's operations.
class RingChannel : public IO::IChannelAdapter {
public:
    RingChannel(void *, unsigned int, unsigned int, double) : IChannelAdapter(IO::binIProtocol) {
        ReadInLine(*this);
    }
    MuErrCode GetInputPosition(unsigned long long *) const override { return IO::Error; }
    void SetDefaultInputProtocol() override {}

    MuErrCode Get(char * to, unsigned int count, unsigned int * read) {
        return ReadBin(to, count, read);
    }
    MuErrCode Copy(char * to, unsigned int count, unsigned int * copied) {
        return CopyBin(to, count, copied);
    }
    using IChannelAdapter::Look;
    MuErrCode Look(char * c) { return Look(0, c); }
    MuErrCode DirectAccess(unsigned int size, char ** data, unsigned int * available) {
        return DirectInputAccess(size, data, available);
    }
    MuErrCode GetStatus() const { return GetInputStatus(); }
    unsigned int GetDataSize() const { return GetDataSizeInInputBuffer(); }
    bool IsEmpty() const { return GetDataSize() == 0; }
    bool IsBufferingEnabled() const { return IsInputBufferingEnabled(); }
    void EnableBuffering() { EnableInputBuffering(); }
    void DisableBuffering() { DisableInputBuffering(); }
    void Reset() { ResetInputBuffer(); }
    using IChannelAdapter::ClearBinInput;
    using IChannelAdapter::GetBinInput;
    void SetBinInput(Source & source) { IChannelAdapter::SetBinInput(source); }
};

/// A ring or a channel, and its model, over two equal sources, driven by one seed.
template <typename Ring>
class RingTrial {
public:
    explicit RingTrial(unsigned int seed)
        : random(seed), sources{MakeSource(seed), MakeSource(seed)},
          size(isChannel ? 0 : std::array{0u, 1u, 32u, 33u, 32 + Random(70)}[Random(5)]),
          most(isChannel ? 0 : std::array{0u, 33u, size + Random(100), size + 300}[Random(4)]),
          ratio(std::array{0.01, 0.0, 0.25, 0.5, 1.0, -3.0, 7.0, nan}[isChannel ? 0 : Random(8)]),
          model(size, most, ratio), buffer(nullptr, size, most, ratio) {
        SetSource();
    }

    void Step() {
        model.isShort = Random(10) == 0;
        Operation const operation = operations[Random(std::size(operations))];
        unsigned int const count = Count();
        {
            Tests::Shortage const shortage(model.isShort ? 1 : 0);
            (this->*operation)(count);
        }
        ASSERT_EQ(buffer.GetStatus(), model.status);
        ASSERT_EQ(buffer.GetDataSize(), model.held.size());
        ASSERT_EQ(buffer.IsEmpty(), model.held.empty());
        ASSERT_EQ(buffer.IsBufferingEnabled(), model.isBuffering);
        ASSERT_EQ(sources[0].requests, sources[1].requests);
        ASSERT_EQ(Tests::CountLiveBlocks() - blocks, model.hasRing ? 1 : 0);
        if (Random(4) == 0)
            ResetStatus(0);
    }

private:
    static constexpr bool isChannel = std::is_same_v<Ring, RingChannel>;
    static constexpr double nan = std::numeric_limits<double>::quiet_NaN();

    unsigned int Random(std::size_t below) { return static_cast<unsigned int>(random() % below); }

    static ScriptedSource MakeSource(unsigned int seed) {
        std::mt19937 random(seed);
        std::string text(random() % 20000, ' ');
        for (char & c : text)
            c = static_cast<char>(random());
        std::vector<Piece> script;
        for (unsigned int i = 0; i < 100; ++i) {
            MuErrCode const statuses[] = {IO::EOI, IO::InputFailure, IO::Error, IO::NoError};
            script.push_back(random() % 3 == 0 ? Piece{static_cast<unsigned int>(random() % 90),
                                                       statuses[random() % std::size(statuses)]}
                                               : Piece{99999, IO::NoError});
        }
        return ScriptedSource(text, script);
    }

    // Where rings have their edges, or anywhere.
    unsigned int Count() {
        unsigned int const edges[] = {model.GetHeld(),
                                      model.ahead,
                                      model.size,
                                      model.size - model.start,
                                      model.size - model.GetHeld(),
                                      model.ahead - std::min(model.ahead, model.GetHeld())};
        if (Random(2) == 0)
            return Random(Random(2) == 0 ? 10 : model.size * 2);
        return std::max(1u, edges[Random(std::size(edges))] + Random(3)) - 1;
    }
    // More than the ring may hold, so that each sum of it would wrap in 32 bits.
    bool IsHuge() { return model.maximum < 100000 && Random(30) == 0; }

    void Get(unsigned int count) {
        std::string bytes(count, '?');
        unsigned int read = 99999;
        MuErrCode const status = buffer.Get(bytes.data(), count, &read);
        ASSERT_EQ(bytes.substr(0, read), model.Get(count));
        ASSERT_EQ(status, model.status);
    }
    void GetByte(unsigned int) {
        char c = '?', expected = '?';
        MuErrCode status;
        if constexpr (isChannel) {
            status = buffer.ReadBin(&c, 1, nullptr);
            if (std::string const byte = model.Get(1); !byte.empty())
                expected = byte[0];
        } else {
            status = buffer.Get(&c);
            if (!model.held.empty() || model.Fill(1))
                expected = model.Take(1)[0];
        }
        ASSERT_EQ(c, expected);
        ASSERT_EQ(status, model.status);
    }
    void Copy(unsigned int count) {
        std::string bytes(count, '?');
        unsigned int copied = 99999;
        MuErrCode const status = buffer.Copy(bytes.data(), count, &copied);
        if (count > model.held.size())
            model.Fill(count - model.GetHeld());
        ASSERT_EQ(bytes.substr(0, copied), model.Peek(std::min(count, model.GetHeld())));
        ASSERT_EQ(status, model.status);
    }
    void Look(unsigned int offset) {
        offset = IsHuge() ? 0xFFFFFFFFu : offset;
        char c = '?', expected = '?';
        MuErrCode const status = offset == 0 ? buffer.Look(&c) : buffer.Look(offset, &c);
        if (offset < model.held.size() || model.Fill(offset - model.GetHeld() + 1ull))
            expected = model.held[offset];
        ASSERT_EQ(c, expected);
        ASSERT_EQ(status, model.status);
    }
    void PushBack(unsigned int count) {
        std::string bytes(count, ' ');
        for (char & c : bytes)
            c = static_cast<char>(random());
        MuErrCode const status =
            count == 1 ? buffer.PushBack(bytes[0]) : buffer.PushBack(bytes.data(), count);
        model.PushBack(bytes);
        ASSERT_EQ(status, model.status);
    }
    void PushBackHuge(unsigned int) {
        if (!IsHuge() || model.GetHeld() < 17)
            return;
        EXPECT_EQ(buffer.PushBack("", 0xFFFFFFFFu - 15), IO::Error);
        model.status = IO::Error;
    }
    void Skip(unsigned int count) {
        unsigned long long const all = Random(20) == 0 ? 1ull << 40 : count * (1ull + Random(4));
        unsigned long long skipped = 99, expected = isChannel ? 0 : 99;
        MuErrCode const status = buffer.Skip(all, &skipped);
        model.Skip(all, &expected);
        ASSERT_EQ(skipped, expected);
        ASSERT_EQ(status, model.status);
    }
    void DirectAccess(unsigned int size) {
        size = IsHuge() ? 0xFFFFFFF0u : Random(3) == 0 ? 0 : size;
        char * data = nullptr;
        unsigned int available = 99999;
        MuErrCode const status = buffer.DirectAccess(size, &data, &available);
        std::string const expected = model.Show(size);
        ASSERT_EQ(available, expected.size());
        ASSERT_EQ(status, model.status);
        ASSERT_EQ(std::string_view(data, available), expected);
    }
    void GetNumber(unsigned int) {
        if constexpr (isChannel) {
            int value = 7, expected = 7;
            bool const isTurned = Random(3) == 0;
            buffer.SetInputProtocol(IO::binIProtocol);
            if (isTurned)
                (void)IO::SetPlatformIProtocol(buffer, Mu::BigEndianMacSign);
            MuErrCode const status = buffer.Read(value);
            std::string bytes = model.Get(4);
            ASSERT_EQ(status, bytes.empty() ? model.status
                                            : Mu::IChannel::ConvertObjectReadError(model.status));
            bytes.resize(4, '\0'); // a source may give less and no reason
            if (isTurned)
                std::reverse(bytes.begin(), bytes.end());
            if (model.status == IO::NoError)
                std::memcpy(&expected, bytes.data(), 4);
            ASSERT_EQ(value, expected);
        } else {
            ASSERT_EQ(buffer.IsEOI(), model.held.empty() && !model.Fill(1));
        }
    }
    void SwitchBuffering(unsigned int) {
        model.isBuffering = !model.isBuffering;
        model.isBuffering ? buffer.EnableBuffering() : buffer.DisableBuffering();
    }
    void ResetStatus(unsigned int) {
        buffer.ResetInputStatus();
        model.status = model.pending = IO::NoError;
    }
    void ResetEOI(unsigned int) {
        if constexpr (isChannel)
            return;
        else
            buffer.ResetEOI();
        for (MuErrCode * status : {&model.status, &model.pending})
            *status = *status == IO::EOI ? IO::NoError : *status;
    }
    void Clear(unsigned int count) {
        if (!isChannel && count % 3 == 0) {
            if constexpr (!isChannel)
                buffer.ClearContent();
            model.Clear();
        } else if (count % 3 == 1) {
            buffer.Reset();
            model.Reset();
        }
    }
    void ChangeSource(unsigned int count) {
        if (count % 3 != 0) {
            SetSource();
            return;
        }
        buffer.ClearBinInput();
        model.source = nullptr;
    }
    void SetSource() {
        buffer.SetBinInput(sources[0]);
        EXPECT_EQ(&buffer.GetBinInput(), &sources[0]);
        model.source = &sources[1];
    }

    using Operation = void (RingTrial::*)(unsigned int count);
    static constexpr Operation operations[] = {
        &RingTrial::Get,          &RingTrial::Get,          &RingTrial::GetByte,
        &RingTrial::GetByte,      &RingTrial::Copy,         &RingTrial::Look,
        &RingTrial::Look,         &RingTrial::PushBack,     &RingTrial::PushBackHuge,
        &RingTrial::Skip,         &RingTrial::DirectAccess, &RingTrial::DirectAccess,
        &RingTrial::GetNumber,    &RingTrial::ResetEOI,     &RingTrial::SwitchBuffering,
        &RingTrial::ChangeSource, &RingTrial::Clear};

    std::mt19937 random;
    ScriptedSource sources[2]; // the buffer's and the model's
    unsigned int const size, most;
    double const ratio;
    RingModel model;
    Ring buffer;
    long long const blocks = Tests::CountLiveBlocks();
};

TEST(InputBuffer, KeepsTheRulesOfTheRingInEveryOrderOfOperations) {
    Tests::RunTrials<RingTrial<InputBuffer>>(250);
    Tests::RunTrials<RingTrial<RingChannel>>(50);
}

// Memory is only taken by the first read, so a ring of any size can be made; this one is cut.
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

// A source that claims more than it was asked for must not move the indices past the ring.
TEST(InputBuffer, DoesNotTrustTheCountOfASource) {
    class Boaster : public Source {
        MuErrCode InternalRead(char * to, unsigned int count, unsigned int * read) override {
            std::memset(to, 'x', count);
            *read = count + 1000000;
            return IO::NoError;
        }
    } boaster;
    InputBuffer buffer(&boaster, 32, 32, 0.0);
    char bytes[5];
    unsigned int read = 0;
    EXPECT_EQ(buffer.Get(bytes, 5, &read), IO::NoError);
    EXPECT_EQ(read, 5u);
    EXPECT_EQ(buffer.GetDataSize(), 27u);
}

} // namespace

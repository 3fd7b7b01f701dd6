#pragma once

#include <Kestrel/Channel/BinProtocol.h>
#include <Kestrel/Channel/IChannelAdapter.h>
#include <Kestrel/Channel/InputBuffer.h>
#include <Kestrel/Channel/OChannelAdapter.h>
#include <Kestrel/Channel/OutputBuffer.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace Tests {

/// One answer of a ScriptedSource: at most so many bytes, with this status.
struct Piece {
    unsigned int size;
    MuErrCode status;
};

/// The far end of an input channel: a text, handed out in the pieces of a script, and after the
/// script as a plain source does, with EOI beside the last bytes or alone.
class ScriptedSource : public IO::InputBuffer::BinInput {
public:
    explicit ScriptedSource(std::string text, std::vector<Piece> script = {})
        : text(std::move(text)), script(std::move(script)) {}

    MuErrCode InternalRead(char * destination, unsigned int count, unsigned int * read) override {
        requests.push_back(count);
        Piece piece{count, IO::NoError};
        if (next < script.size())
            piece = script[next++];
        std::size_t const left = text.size() - position;
        *read = static_cast<unsigned int>(std::min<std::size_t>({piece.size, count, left}));
        if (*read > 0)
            std::memcpy(destination, text.data() + position, *read);
        position += *read;
        if (piece.status == IO::NoError && *read < std::min(piece.size, count))
            return IO::EOI;
        return piece.status;
    }

    std::vector<unsigned int> requests; // the count of each call

private:
    std::string text;
    std::vector<Piece> script;
    std::size_t next = 0;
    std::size_t position = 0;
};

/// The far end of an output channel: keeps the pieces it got, and fails or throws from the n-th on.
class RecordingSink : public IO::OutputBuffer::BinOutput {
public:
    MuErrCode InternalWrite(char const * source, unsigned int count,
                            unsigned int * written) override {
        ++calls;
        if (onWrite)
            onWrite();
        if (failFrom != 0 && calls >= failFrom) {
            *written = 0;
            if (throws)
                throw failFrom;
            return failure;
        }
        pieces.emplace_back(source, count);
        *written = count;
        return IO::NoError;
    }

    std::string GetText() const {
        std::string text;
        for (std::string const & piece : pieces)
            text += piece;
        return text;
    }

    std::vector<std::string> pieces;
    unsigned int calls = 0;
    unsigned int failFrom = 0; // 0: never
    MuErrCode failure = IO::EOO;
    bool throws = false; // instead
    std::function<void()> onWrite;
};

/// A channel over a ScriptedSource.
class ScriptedIChannel : public IO::IChannelAdapter {
public:
    explicit ScriptedIChannel(std::string text, std::vector<Piece> script = {})
        : IO::IChannelAdapter(IO::binIProtocol), source(std::move(text), std::move(script)) {
        SetBinInput(source);
        ReadInLine(*this);
    }
    MuErrCode GetInputPosition(unsigned long long * position) const override {
        *position = 0;
        return IO::Error; // a source of pieces has none
    }
    void SetDefaultInputProtocol() override { SetInputProtocol(IO::binIProtocol); }

    ScriptedSource source;
};

/// A channel over a RecordingSink.
class RecordingOChannel : public IO::OChannelAdapter {
public:
    RecordingOChannel() : IO::OChannelAdapter(IO::binOProtocol) {
        SetBinOutput(sink);
        WriteInLine(*this);
    }
    void SetDefaultOutputProtocol() override { SetOutputProtocol(IO::binOProtocol); }

    RecordingSink sink;
};

/// Takes the steps of a trial of each seed, up to the first failure.
template <typename Trial>
void RunTrials(unsigned int seeds) {
    for (unsigned int seed = 1; seed <= seeds; ++seed) {
        SCOPED_TRACE(seed);
        Trial trial(seed);
        for (int step = 0; step < 200; ++step) {
            trial.Step();
            if (::testing::Test::HasFailure())
                return;
        }
    }
}

/// Up to so many bytes, and expects the status.
inline std::string ReadBytes(Mu::IChannel & channel, unsigned int count,
                             MuErrCode expected = IO::NoError) {
    std::string text(count, '?');
    unsigned int read = 0;
    EXPECT_EQ(channel.ReadBin(text.data(), count, &read), expected);
    text.resize(read);
    return text;
}

/// All that comes; the status stays in the channel.
inline std::string ReadAll(Mu::IChannel & channel) {
    std::string text;
    for (unsigned int read = 1; read != 0;) {
        char bytes[4093];
        (void)channel.ReadBin(bytes, sizeof bytes, &(read = 0));
        text.append(bytes, read);
    }
    return text;
}

/// Runs the body over channels that hold the text and behave as differently as channels may: with
/// and without reading ahead, the end beside the last bytes and behind them, the first bytes put
/// back, and all of it buffered round the end of the ring.
inline void ForEachIChannel(std::string const & text,
                            std::function<void(Mu::IChannel & channel)> const & body) {
    {
        ScriptedIChannel plain(text);
        body(plain);
    }
    {
        ScriptedIChannel unbuffered(text);
        unbuffered.DisableInputBuffering();
        body(unbuffered);
    }
    if (!text.empty()) {
        unsigned int const size = static_cast<unsigned int>(text.size());
        ScriptedIChannel endApart(text, {{size, IO::NoError}, {0, IO::EOI}});
        char c;
        (void)endApart.Look(0, &c); // with a short piece, all of it, and no status
        body(endApart);
    }
    {
        ScriptedIChannel putBack("");
        for (std::size_t i = text.size(); i-- > 0;)
            (void)putBack.PushBack(text[i]);
        body(putBack);
    }
    {
        // 4093 bytes in front leave three before the ring's end.
        ScriptedIChannel wrapped(std::string(4093, '.') + text);
        wrapped.DisableInputBuffering();
        (void)wrapped.CopyBin(std::string(4093, ' ').data(), 4093, nullptr);
        char c;
        (void)wrapped.Look(0, &c);
        (void)wrapped.Skip(4092, nullptr);
        std::string ahead(1 + std::min<std::size_t>(text.size(), 4000), ' ');
        (void)wrapped.CopyBin(ahead.data(), static_cast<unsigned int>(ahead.size()), nullptr);
        (void)wrapped.Skip(1, nullptr);
        body(wrapped);
    }
}

} // namespace Tests

#pragma once

#include <Kestrel/Channel/BinProtocol.h>
#include <Kestrel/Channel/IChannelAdapter.h>
#include <Kestrel/Channel/OChannelAdapter.h>

#include <algorithm>
#include <istream>
#include <ostream>
#include <streambuf>

// Conversions between channels and the streams of the standard library, in both directions. They
// add no buffer to the existing one and no state except the stream's own; typed binary values are
// faster through the channel itself.

namespace IO {

/// A channel's input as a std::streambuf. Does not read ahead, so that the channel may be read in
/// between.
///
/// The stream ends when the channel returns no more bytes; its status is the cause. Positions can
/// be queried (tellg) but not set. A byte can be put back any number of times; unget works for the
/// last byte read.
class IChannelStreamBuffer : public std::streambuf {
public:
    /// The channel must outlive this.
    explicit IChannelStreamBuffer(Mu::IChannel & givenChannel) : channel(givenChannel) {}

protected:
    int_type underflow() override {
        char c;
        unsigned int copied = 0;
        // The count decides: a byte may come with a sticky status.
        (void)channel.CopyBin(&c, 1, &copied);
        return copied == 1 ? traits_type::to_int_type(c) : traits_type::eof();
    }
    int_type uflow() override {
        char c;
        return xsgetn(&c, 1) == 1 ? traits_type::to_int_type(c) : traits_type::eof();
    }
    std::streamsize xsgetn(char * destination, std::streamsize count) override {
        std::streamsize done = 0;
        unsigned int read = 1;
        while (done < count && read > 0) {
            std::streamsize const part = std::min<std::streamsize>(count - done, 0x40000000);
            (void)channel.ReadBin(destination + done, static_cast<unsigned int>(part), &read);
            done += read;
        }
        if (done > 0)
            last = traits_type::to_int_type(destination[done - 1]);
        return done;
    }
    int_type pbackfail(int_type c) override {
        if (traits_type::eq_int_type(c, traits_type::eof()))
            c = last;
        last = traits_type::eof();
        if (traits_type::eq_int_type(c, traits_type::eof()))
            return c;
        bool const done = channel.PushBack(traits_type::to_char_type(c)) == NoError;
        return done ? c : traits_type::eof();
    }
    std::streamsize showmanyc() override {
        unsigned long long available = 0;
        if (channel.GetAvailable(&available) != NoError)
            return 0;
        return static_cast<std::streamsize>(
            std::min<unsigned long long>(available, 0x7FFFFFFFFFFFFFFFull));
    }
    pos_type seekoff(off_type offset, std::ios_base::seekdir from,
                     std::ios_base::openmode) override {
        unsigned long long position = 0;
        if (offset != 0 || from != std::ios_base::cur ||
            channel.GetInputPosition(&position) != NoError)
            return pos_type(off_type(-1));
        return pos_type(static_cast<off_type>(position));
    }

private:
    Mu::IChannel & channel;
    int_type last = traits_type::eof(); // the byte that unget puts back
};

/// A channel's output as a std::streambuf, buffered by the channel. std::flush flushes the channel,
/// which fails while it has marks.
class OChannelStreamBuffer : public std::streambuf {
public:
    /// The channel must outlive this.
    explicit OChannelStreamBuffer(Mu::OChannel & givenChannel) : channel(givenChannel) {}

protected:
    int_type overflow(int_type c) override {
        if (traits_type::eq_int_type(c, traits_type::eof()))
            return traits_type::not_eof(c);
        char const byte = traits_type::to_char_type(c);
        return xsputn(&byte, 1) == 1 ? c : traits_type::eof();
    }
    std::streamsize xsputn(char const * source, std::streamsize count) override {
        std::streamsize done = 0;
        while (done < count) {
            std::streamsize const part = std::min<std::streamsize>(count - done, 0x40000000);
            if (channel.WriteBin(source + done, static_cast<unsigned int>(part), nullptr) !=
                NoError)
                break; // none of this part can be reported as written
            done += part;
        }
        return done;
    }
    int sync() override { return channel.Flush() == NoError ? 0 : -1; }
    pos_type seekoff(off_type offset, std::ios_base::seekdir from,
                     std::ios_base::openmode) override {
        unsigned long long position = 0;
        if (offset != 0 || from != std::ios_base::cur ||
            channel.GetOutputPosition(&position) != NoError)
            return pos_type(off_type(-1));
        return pos_type(static_cast<off_type>(position));
    }

private:
    Mu::OChannel & channel;
};

/// A channel as a std::istream: `IChannelStream in(file); std::getline(in, line);`
class IChannelStream : public std::istream {
public:
    /// The channel must outlive this.
    explicit IChannelStream(Mu::IChannel & channel) : std::istream(nullptr), buffer(channel) {
        rdbuf(&buffer);
    }

private:
    IChannelStreamBuffer buffer;
};

/// A channel as a std::ostream. Does not flush in its destructor; the channel or its owner does.
class OChannelStream : public std::ostream {
public:
    /// The channel must outlive this.
    explicit OChannelStream(Mu::OChannel & channel) : std::ostream(nullptr), buffer(channel) {
        rdbuf(&buffer);
    }

private:
    OChannelStreamBuffer buffer;
};

/// A std::istream as a channel. Reads ahead: for a stream that has other readers or is interactive,
/// disable the buffering.
///
/// Memory:  the adapter's ring of 4096 bytes.
/// Threads: one at a time.
/// Failure: EOI at the stream's end, InputFailure if the stream is bad or fails. Exceptions that
///          the stream is configured to throw are converted to them.
class StreamIChannel final : public IChannelAdapter, public InputBuffer::BinInput {
public:
    /// The stream must outlive this channel.
    explicit StreamIChannel(std::istream & givenStream)
        : IChannelAdapter(binIProtocol), stream(givenStream) {
        SetBinInput(*this);
    }

    /// Counted from the stream's position at construction.
    MuErrCode GetInputPosition(unsigned long long * position) const override {
        *position = taken - std::min<unsigned long long>(taken, GetDataSizeInInputBuffer());
        return NoError;
    }
    void SetDefaultInputProtocol() override { SetInputProtocol(binIProtocol); }

private:
    MuErrCode InternalRead(char * destination, unsigned int count, unsigned int * read) override {
        try {
            stream.read(destination, static_cast<std::streamsize>(count));
        } catch (std::exception const &) {
            // The stream's state contains the same information.
        }
        *read = static_cast<unsigned int>(stream.gcount());
        taken += *read;
        if (*read == count)
            return NoError;
        return stream.eof() && !stream.bad() ? EOI : InputFailure;
    }

    std::istream & stream;
    unsigned long long taken = 0;
};

/// A std::ostream as a channel. Flush also flushes the stream, and the destructor does both.
///
/// Memory:  the adapter's block of 16384 bytes.
/// Threads: one at a time.
/// Failure: OutputClosed if the stream fails. Exceptions that the stream is configured to throw are
///          converted to it.
class StreamOChannel final : public OChannelAdapter, public OutputBuffer::BinOutput {
public:
    /// The stream must outlive this channel.
    explicit StreamOChannel(std::ostream & givenStream)
        : OChannelAdapter(binOProtocol), stream(givenStream) {
        SetBinOutput(*this);
    }
    ~StreamOChannel() override { (void)Flush(); }

    MuErrCode Flush() override {
        MuErrCode const status = OChannelAdapter::Flush();
        return status != NoError ? status : Do([this] { stream.flush(); });
    }
    void SetDefaultOutputProtocol() override { SetOutputProtocol(binOProtocol); }

private:
    MuErrCode InternalWrite(char const * source, unsigned int count,
                            unsigned int * written) override {
        MuErrCode const status =
            Do([&] { stream.write(source, static_cast<std::streamsize>(count)); });
        *written = status == NoError ? count : 0;
        return status;
    }

    template <typename Operation>
    MuErrCode Do(Operation operation) {
        try {
            operation();
        } catch (...) { // the stream's owner chose what it throws
            return OutputClosed;
        }
        return stream.good() ? NoError : OutputClosed;
    }

    std::ostream & stream;
};

} // namespace IO

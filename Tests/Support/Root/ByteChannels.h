#pragma once

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>

#include <string>

// Channels that objects are written to and read from.

namespace Tests {

/// Gives the bytes it was made with, without a buffer in between.
class ByteIChannel : public IO::MemoryIChannel {
public:
    explicit ByteIChannel(std::string source) : bytes(std::move(source)) {
        SetSource(bytes.data(), static_cast<unsigned int>(bytes.size()), LeaveWithCaller);
        DisableInputBuffering();
    }

    std::size_t GetLeft() const {
        unsigned long long left = 0;
        (void)GetAvailable(&left);
        return static_cast<std::size_t>(left);
    }

private:
    std::string bytes;
};

/// Keeps what is written, up to a limit; 0: there is none. Beyond it a flush returns EOO.
class ByteOChannel : public IO::MemoryOChannel {
public:
    explicit ByteOChannel(unsigned int limit = 0) : MemoryOChannel(0, limit) {}

    std::string GetBytes() const {
        char const * const bytes = GetDestination();
        return bytes == nullptr ? std::string() : std::string(bytes, GetDataSize());
    }
};

/// As a file that is written without a buffer: it cannot go back, so that the end of a frame is
/// written behind its content.
class UnmarkedOChannel : public ByteOChannel {
public:
    using ByteOChannel::ByteOChannel;
    MuErrCode PushMark() override { return Mu::Error; }
};

} // namespace Tests

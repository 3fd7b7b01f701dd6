#pragma once

#include <Kestrel/Channel/BinProtocol.h>
#include <Kestrel/Channel/MemoryIChannel.h>

#include <string>
#include <vector>

// Channels that objects are written to and read from without a buffer in between.

namespace Tests {

/// Gives the bytes it was made with.
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

/// Keeps what is written, up to a limit; beyond it returns EOO. Marks are honoured.
class ByteOChannel : public Mu::OChannel {
public:
    explicit ByteOChannel(std::size_t limit = ~std::size_t(0))
        : OChannel(IO::binOProtocol), limit(limit) {}

    std::string const & GetBytes() const { return bytes; }

    MuErrCode WriteBin(char const * source, unsigned int count, unsigned int * written) override;
    MuErrCode DirectOutputAccess(unsigned int offset, char ** data,
                                 unsigned int * available) override;
    MuErrCode GetOutputPosition(unsigned long long * at) const override;
    MuErrCode Flush() override { return status; }
    void SetDefaultOutputProtocol() override { SetOutputProtocol(IO::binOProtocol); }
    MuErrCode PushMark() override;
    MuErrCode PopMark() override;
    unsigned int GetOffset() const override;
    void ResetOffset() override { position = bytes.size(); }
    MuErrCode GetOutputStatus() const override { return status; }
    void ResetOutputStatus() override { status = Mu::NoError; }

private:
    std::string bytes;
    std::vector<std::size_t> marks;
    std::size_t position = 0;
    std::size_t limit;
    MuErrCode status = Mu::NoError;
};

} // namespace Tests

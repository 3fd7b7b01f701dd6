#pragma once

#include <Kestrel/Root/IChannel.h>
#include <Kestrel/Root/OChannel.h>

#include <string>
#include <vector>

// The least channels that objects can be written to and read from, for the tests of the root, which
// sees no real ones. Values travel low byte first.

namespace Tests {

class ByteIProtocol : public Mu::IProtocol {
public:
    using Mu::IProtocol::Read;
    MuErrCode Read(Mu::IChannel & c, Mu::Object & v) override;
    MuErrCode Read(Mu::IChannel &, char *) override { return Mu::Error; }
    MuErrCode Read(Mu::IChannel & c, long double & v) override { return Take(c, v); }
    MuErrCode Read(Mu::IChannel & c, double & v) override { return Take(c, v); }
    MuErrCode Read(Mu::IChannel & c, float & v) override { return Take(c, v); }
    MuErrCode Read(Mu::IChannel & c, unsigned long long & v) override { return Take(c, v); }
    MuErrCode Read(Mu::IChannel & c, long long & v) override { return Take(c, v); }
    MuErrCode Read(Mu::IChannel & c, unsigned long & v) override { return TakeLong(c, v); }
    MuErrCode Read(Mu::IChannel & c, long & v) override { return TakeLong(c, v); }
    MuErrCode Read(Mu::IChannel & c, unsigned int & v) override { return Take(c, v); }
    MuErrCode Read(Mu::IChannel & c, int & v) override { return Take(c, v); }
    MuErrCode Read(Mu::IChannel & c, unsigned short & v) override { return Take(c, v); }
    MuErrCode Read(Mu::IChannel & c, short & v) override { return Take(c, v); }
    MuErrCode Read(Mu::IChannel & c, unsigned char & v) override { return Take(c, v); }
    MuErrCode Read(Mu::IChannel & c, char & v) override { return Take(c, v); }
    MuErrCode Read(Mu::IChannel & c, bool & v) override { return Take(c, v); }

private:
    template <typename T>
    static MuErrCode Take(Mu::IChannel & channel, T & value) {
        unsigned int read = 0;
        MuErrCode const status =
            channel.ReadBin(reinterpret_cast<char *>(&value), sizeof(T), &read);
        return read == 0 || read == sizeof(T) ? status
                                              : Mu::IChannel::ConvertObjectReadError(status);
    }
    // A `long` travels as 4 bytes.
    template <typename T>
    static MuErrCode TakeLong(Mu::IChannel & channel, T & value) {
        int four = 0;
        MuErrCode const status = Take(channel, four);
        value = static_cast<T>(four);
        return status;
    }
};

class ByteOProtocol : public Mu::OProtocol {
public:
    using Mu::OProtocol::Write;
    MuErrCode Write(Mu::OChannel & c, Mu::Object const & v) override;
    MuErrCode Write(Mu::OChannel & c, char const * v) override;
    MuErrCode Write(Mu::OChannel & c, void const * v) override { return Put(c, v); }
    MuErrCode Write(Mu::OChannel & c, long double v) override { return Put(c, v); }
    MuErrCode Write(Mu::OChannel & c, double v) override { return Put(c, v); }
    MuErrCode Write(Mu::OChannel & c, float v) override { return Put(c, v); }
    MuErrCode Write(Mu::OChannel & c, unsigned long long v) override { return Put(c, v); }
    MuErrCode Write(Mu::OChannel & c, long long v) override { return Put(c, v); }
    MuErrCode Write(Mu::OChannel & c, unsigned long v) override {
        return Put(c, static_cast<unsigned int>(v));
    }
    MuErrCode Write(Mu::OChannel & c, long v) override { return Put(c, static_cast<int>(v)); }
    MuErrCode Write(Mu::OChannel & c, unsigned int v) override { return Put(c, v); }
    MuErrCode Write(Mu::OChannel & c, int v) override { return Put(c, v); }
    MuErrCode Write(Mu::OChannel & c, unsigned short v) override { return Put(c, v); }
    MuErrCode Write(Mu::OChannel & c, short v) override { return Put(c, v); }
    MuErrCode Write(Mu::OChannel & c, unsigned char v) override { return Put(c, v); }
    MuErrCode Write(Mu::OChannel & c, char v) override { return Put(c, v); }
    MuErrCode Write(Mu::OChannel & c, bool v) override { return Put(c, v); }

private:
    template <typename T>
    static MuErrCode Put(Mu::OChannel & channel, T value) {
        return channel.WriteBin(reinterpret_cast<char const *>(&value), sizeof(T), nullptr);
    }
};

/// Gives the bytes it was made with, then EOI, or the status that SetEnd named.
class ByteIChannel : public Mu::IChannel {
public:
    explicit ByteIChannel(std::string bytes);

    void SetEnd(MuErrCode status) { end = status; }
    std::size_t GetLeft() const { return bytes.size() - position; }

    MuErrCode ReadBin(char * destination, unsigned int count, unsigned int * read) override;
    MuErrCode CopyBin(char * destination, unsigned int count, unsigned int * copied) override;
    MuErrCode Look(unsigned int offset, char * c) override;
    using Mu::IChannel::PushBack;
    MuErrCode PushBack(char const * source, unsigned int count) override;
    MuErrCode Skip(unsigned long long count, unsigned long long * skipped) override;
    MuErrCode DirectInputAccess(unsigned int size, char ** data, unsigned int * available) override;
    MuErrCode GetInputPosition(unsigned long long * at) const override;
    void SetDefaultInputProtocol() override;
    MuErrCode GetInputStatus() const override { return status; }
    void ResetInputStatus() override { status = Mu::NoError; }

private:
    std::string bytes;
    std::size_t position = 0;
    MuErrCode end = Mu::EOI;
    MuErrCode status = Mu::NoError;
};

/// Keeps what is written, up to a limit; beyond it answers EOO. Marks are honoured.
class ByteOChannel : public Mu::OChannel {
public:
    explicit ByteOChannel(std::size_t limit = ~std::size_t(0));

    std::string const & GetBytes() const { return bytes; }

    MuErrCode WriteBin(char const * source, unsigned int count, unsigned int * written) override;
    MuErrCode DirectOutputAccess(unsigned int offset, char ** data,
                                 unsigned int * available) override;
    MuErrCode GetOutputPosition(unsigned long long * at) const override;
    MuErrCode Flush() override { return status; }
    void SetDefaultOutputProtocol() override;
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

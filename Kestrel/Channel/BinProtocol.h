#pragma once

#include <Kestrel/Channel/Wire.h>
#include <Kestrel/Root/Streams/IProtocol.h>
#include <Kestrel/Root/Streams/OProtocol.h>

namespace IO {

/// Reads values in the library's own format: their bytes, low byte first, without tags and padding.
///
/// This is the default of all channels. The sizes are those on the wire, whatever the host's types:
///
///     bool, char, unsigned char     1     the value's byte; a bool is true unless it is 0
///     short, unsigned short         2
///     int, unsigned int             4
///     long, unsigned long           4     the low 32 bits
///     long long, unsigned long long 8
///     float                         4     IEEE 754
///     double, long double           8     IEEE 754
///     void const *                  8     written only
///     Mu::Guid                      16    as in memory
///     char *                        4 + n the length as unsigned int, then the bytes
///     Mu::Object                    ?     by its own Read and Write
///
/// For a peer of another byte order or character set, see PlatformProtocol.h.
///
/// Memory:  none.
/// Threads: any number at once; there is no state.
/// Failure: statuses. The end of the input between two values is EOI; inside a value it is the
///          result of Mu::IChannel::ConvertObjectReadError, and the value must not be used.
class KESTREL_API BinIProtocol : public Mu::IProtocol {
public:
    BinIProtocol() = default;
    using Mu::IProtocol::Plain;
    constexpr explicit BinIProtocol(Plain form) : IProtocol(form) {}
    ~BinIProtocol() override;
    MuErrCode Read(Mu::IChannel & channel, Mu::Guid & value) override;
    MuErrCode Read(Mu::IChannel & channel, Mu::Object & value) override;
    // Kept: trusts the writer with the length, and reports any failure as that of a broken object,
    // even the end of the input in front of the text. For untrusted input, use ReadText.
    MuErrCode Read(Mu::IChannel & channel, char * text) override;
    KESTREL_INLINE_API MuErrCode Read(Mu::IChannel & channel, long double & value) override {
        return Wire::ReadValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Read(Mu::IChannel & channel, double & value) override {
        return Wire::ReadValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Read(Mu::IChannel & channel, float & value) override {
        return Wire::ReadValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Read(Mu::IChannel & channel, unsigned long long & value) override {
        return Wire::ReadValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Read(Mu::IChannel & channel, long long & value) override {
        return Wire::ReadValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Read(Mu::IChannel & channel, unsigned long & value) override {
        return Wire::ReadValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Read(Mu::IChannel & channel, long & value) override {
        return Wire::ReadValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Read(Mu::IChannel & channel, unsigned int & value) override {
        return Wire::ReadValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Read(Mu::IChannel & channel, int & value) override {
        return Wire::ReadValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Read(Mu::IChannel & channel, unsigned short & value) override {
        return Wire::ReadValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Read(Mu::IChannel & channel, short & value) override {
        return Wire::ReadValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Read(Mu::IChannel & channel, unsigned char & value) override {
        return ReadData(channel, reinterpret_cast<char *>(&value), 1);
    }
    KESTREL_INLINE_API MuErrCode Read(Mu::IChannel & channel, char & value) override {
        return ReadData(channel, &value, 1);
    }
    KESTREL_INLINE_API MuErrCode Read(Mu::IChannel & channel, bool & value) override {
        return Wire::ReadValue<order>(channel, value);
    }

private:
    static constexpr Wire::ByteOrder order = Wire::ByteOrder::LowFirst;

    static MuErrCode ReadData(Mu::IChannel & channel, char * destination, unsigned int count) {
        return Wire::ReadWhole(channel, destination, count);
    }
};

/// Writes values in the library's own format, as documented for BinIProtocol.
///
/// Memory:  none.
/// Threads: any number at once; there is no state.
/// Failure: the channel's status; Error for a null text, for which nothing is written.
class KESTREL_API BinOProtocol : public Mu::OProtocol {
public:
    BinOProtocol() = default;
    using Mu::OProtocol::Plain;
    constexpr explicit BinOProtocol(Plain form) : OProtocol(form) {}
    ~BinOProtocol() override;
    MuErrCode Write(Mu::OChannel & channel, Mu::Guid const & value) override;
    MuErrCode Write(Mu::OChannel & channel, Mu::Object const & value) override;
    MuErrCode Write(Mu::OChannel & channel, char const * text) override;
    MuErrCode Write(Mu::OChannel & channel, void const * pointer) override;
    KESTREL_INLINE_API MuErrCode Write(Mu::OChannel & channel, long double value) override {
        return Wire::WriteValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Write(Mu::OChannel & channel, double value) override {
        return Wire::WriteValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Write(Mu::OChannel & channel, float value) override {
        return Wire::WriteValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Write(Mu::OChannel & channel, unsigned long long value) override {
        return Wire::WriteValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Write(Mu::OChannel & channel, long long value) override {
        return Wire::WriteValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Write(Mu::OChannel & channel, unsigned long value) override {
        return Wire::WriteValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Write(Mu::OChannel & channel, long value) override {
        return Wire::WriteValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Write(Mu::OChannel & channel, unsigned int value) override {
        return Wire::WriteValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Write(Mu::OChannel & channel, int value) override {
        return Wire::WriteValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Write(Mu::OChannel & channel, unsigned short value) override {
        return Wire::WriteValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Write(Mu::OChannel & channel, short value) override {
        return Wire::WriteValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Write(Mu::OChannel & channel, unsigned char value) override {
        return Wire::WriteValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Write(Mu::OChannel & channel, char value) override {
        return Wire::WriteValue<order>(channel, value);
    }
    KESTREL_INLINE_API MuErrCode Write(Mu::OChannel & channel, bool value) override {
        return Wire::WriteValue<order>(channel, value);
    }

private:
    static constexpr Wire::ByteOrder order = Wire::ByteOrder::LowFirst;
};

KESTREL_API extern BinIProtocol binIProtocol;
KESTREL_API extern BinOProtocol binOProtocol;

} // namespace IO
